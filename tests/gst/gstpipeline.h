#pragma once
// A GStreamer pipeline for the tests of the lsxcorrect element: made from a description, its
// samples pulled from an appsink and its errors read from the bus, every wait with a deadline.
#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>
#include <gst/gst.h>

#include <QString>

#include <cstring>
#include <vector>

namespace gsttest {

// The bytes of a buffer, empty when it cannot be read.
inline std::vector<uint8_t> bytesOf(GstBuffer* buffer)
{
    std::vector<uint8_t> out;
    GstMapInfo map;
    if (gst_buffer_map(buffer, &map, GST_MAP_READ)) {
        out.assign(map.data, map.data + map.size);
        gst_buffer_unmap(buffer, &map);
    }
    return out;
}

class Pipeline {
public:
    // Parses `description`; error() tells why when that fails.
    explicit Pipeline(const QString& description)
    {
        GError* error = nullptr;
        m_pipeline = gst_parse_launch(description.toUtf8().constData(), &error);
        if (error) {
            m_error = QString::fromUtf8(error->message);
            g_error_free(error);
        }
    }
    ~Pipeline()
    {
        if (m_pipeline) {
            gst_element_set_state(m_pipeline, GST_STATE_NULL);
            gst_object_unref(m_pipeline);
        }
    }
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    bool ok() const { return m_pipeline != nullptr; }
    GstElement* element(const char* name) const { return gst_bin_get_by_name(GST_BIN(m_pipeline), name); }

    // To PLAYING; false, with the error of the bus within `ms`, when the change fails. A pipeline
    // fed by an appsrc completes the change with its first buffer.
    bool play(int ms = 10000)
    {
        if (gst_element_set_state(m_pipeline, GST_STATE_PLAYING) != GST_STATE_CHANGE_FAILURE) return true;
        readError(ms);
        return false;
    }

    // A buffer of `bytes` into the appsrc "src".
    bool push(const std::vector<uint8_t>& bytes)
    {
        GstBuffer* buffer = gst_buffer_new_allocate(nullptr, bytes.size(), nullptr);
        gst_buffer_fill(buffer, 0, bytes.data(), bytes.size());
        return push(buffer);
    }
    // `buffer` into the appsrc "src", which takes it over.
    bool push(GstBuffer* buffer)
    {
        GstElement* src = element("src");
        const GstFlowReturn r = gst_app_src_push_buffer(GST_APP_SRC(src), buffer);
        gst_object_unref(src);
        return r == GST_FLOW_OK;
    }

    // The next sample's bytes from the appsink "sink", empty after `ms` or at an error.
    std::vector<uint8_t> pull(int ms = 10000)
    {
        GstElement* sink = element("sink");
        GstSample* sample = gst_app_sink_try_pull_sample(GST_APP_SINK(sink), GstClockTime(ms) * GST_MSECOND);
        gst_object_unref(sink);
        if (!sample) {
            readError(0);
            return {};
        }
        std::vector<uint8_t> out = bytesOf(gst_sample_get_buffer(sample));
        gst_sample_unref(sample);
        return out;
    }

    // The first error on the bus within `ms`, as "message (debug)".
    QString readError(int ms)
    {
        if (!m_error.isEmpty() || !m_pipeline) return m_error;
        GstBus* bus = gst_element_get_bus(m_pipeline);
        GstMessage* msg = gst_bus_timed_pop_filtered(bus, GstClockTime(ms) * GST_MSECOND, GST_MESSAGE_ERROR);
        if (msg) {
            GError* error = nullptr;
            gchar* debug = nullptr;
            gst_message_parse_error(msg, &error, &debug);
            m_error = QString::fromUtf8(error->message) + QStringLiteral(" (") + QString::fromUtf8(debug ? debug : "")
                      + QLatin1Char(')');
            g_error_free(error);
            g_free(debug);
            gst_message_unref(msg);
        }
        gst_object_unref(bus);
        return m_error;
    }
    QString error() const { return m_error; }

private:
    GstElement* m_pipeline = nullptr;
    QString m_error;
};

}  // namespace gsttest

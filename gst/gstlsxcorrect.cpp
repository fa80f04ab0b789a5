// lsxcorrect: a GStreamer element that corrects a line-scan camera's frames with the calibration
// tool's FPN, FFC and LSC files, through liblsxcorrect.
//
//   gst-launch-1.0 aravissrc camera-name=... ! lsxcorrect fpn-file=cam.FAC.FPN ! ...
//
// The element's story:
//  1. start (READY to PAUSED): the files named by its properties are loaded; a file that cannot
//     be read or is not one stops the pipeline with the library's sentence, and so does an
//     element given no file at all;
//  2. caps: mono 8 or 16 bits, RGB or BGR, the same on both sides; the data are checked against
//     the caps' format and width before the first buffer (the columns the files cover, the
//     colour planes, the rows of the gain), a mismatch refuses the caps with its sentence;
//  3. each buffer is corrected in place (the base class copies a buffer it may not write), on
//     every core, the line count running on from buffer to buffer for multi-line sensors;
//  4. gain and switches may change while playing: they reach the correction at the next buffer.
//     With every switch off, or only those of files not loaded, the buffers pass untouched.
#include "lsxcorrect.h"

#include <gst/gst.h>
#include <gst/video/gstvideofilter.h>
#include <gst/video/video.h>

#include <optional>
#include <string>

GST_DEBUG_CATEGORY_STATIC(lsx_correct_debug);
#define GST_CAT_DEFAULT lsx_correct_debug

namespace {

// What the properties hold; read by the streaming thread under the object's lock.
struct Settings {
    std::string fpnFile, ffcFile, lscFile;
    double gain = 1.0;
    bool fpn = true, ffc = true, lsc = true;
    int regionX = -1;
    int sensorLines = 1;
    int pixelBits = 16;
};

enum {
    PROP_0,
    PROP_FPN_FILE,
    PROP_FFC_FILE,
    PROP_LSC_FILE,
    PROP_GAIN,
    PROP_FPN,
    PROP_FFC,
    PROP_LSC,
    PROP_REGION_X,
    PROP_SENSOR_LINES,
    PROP_PIXEL_BITS
};

}  // namespace

struct GstLsxCorrect {
    GstVideoFilter parent;
    Settings* settings;        // under the object lock
    gboolean changed;          // settings changed since the correction last took them
    lsxcCorrection* correction;  // the streaming thread's, between start and stop
    guint64 lines;               // lines since start, corrected or passed through
    guint64 firstLine;           // the buffer's first line
    int format;                  // LSXC_xxx of the negotiated caps
};

struct GstLsxCorrectClass {
    GstVideoFilterClass parent_class;
};

G_DEFINE_TYPE(GstLsxCorrect, gst_lsx_correct, GST_TYPE_VIDEO_FILTER)

#define GST_LSX_CORRECT(obj) (reinterpret_cast<GstLsxCorrect*>(obj))

namespace {

const char kCaps[] = "video/x-raw, format = (string) { GRAY8, GRAY16_LE, RGB, BGR }, "
                     "width = (int) [ 1, 65536 ], height = (int) [ 1, MAX ], framerate = (fraction) [ 0, MAX ]";

std::string lastError(lsxcCorrection* c)
{
    char text[1024] = {};
    lsxcLastError(c, text, sizeof text);
    return text;
}

// The switches, gain, region and lines of the settings into the correction; false with the
// library's sentence.
bool applySettings(GstLsxCorrect* self, const Settings& s, std::string& why)
{
    lsxcCorrection* c = self->correction;
    const int32_t switches = (s.fpn ? LSXC_FPN : 0) | (s.ffc ? LSXC_FFC : 0) | (s.lsc ? LSXC_LSC : 0);
    if (lsxcSetGain(c, s.gain) != LSXC_OK || lsxcSetSwitches(c, switches) != LSXC_OK
        || lsxcSetRegion(c, s.regionX) != LSXC_OK || lsxcSetSensorLines(c, s.sensorLines) != LSXC_OK) {
        why = lastError(c);
        return false;
    }
    return true;
}

// Takes the settings if they changed, and the samples' depth; false with the sentence when the
// correction refuses them.
bool takeSettings(GstLsxCorrect* self, int& bits, std::string& why)
{
    std::optional<Settings> s;
    GST_OBJECT_LOCK(self);
    if (self->changed) s = *self->settings;
    self->changed = FALSE;
    bits = self->settings->pixelBits;
    GST_OBJECT_UNLOCK(self);
    return !s || applySettings(self, *s, why);
}

gboolean start(GstBaseTransform* trans)
{
    GstLsxCorrect* self = GST_LSX_CORRECT(trans);
    GST_OBJECT_LOCK(self);
    const Settings s = *self->settings;
    self->changed = FALSE;
    GST_OBJECT_UNLOCK(self);
    if (s.fpnFile.empty() && s.ffcFile.empty() && s.lscFile.empty()) {
        GST_ELEMENT_ERROR(self, RESOURCE, NOT_FOUND, ("No correction file given"),
                          ("set fpn-file, ffc-file or lsc-file"));
        return FALSE;
    }
    if (lsxcCreate(&self->correction) != LSXC_OK) {
        GST_ELEMENT_ERROR(self, CORE, FAILED, ("Out of memory"), (nullptr));
        return FALSE;
    }
    const struct {
        const std::string& path;
        lsxcStatus (*load)(lsxcCorrection*, const char*);
    } files[] = {{s.fpnFile, lsxcLoadFpn}, {s.ffcFile, lsxcLoadFfc}, {s.lscFile, lsxcLoadLsc}};
    std::string why;
    bool ok = true;
    for (const auto& f : files)
        if (ok && !f.path.empty() && f.load(self->correction, f.path.c_str()) != LSXC_OK) {
            why = lastError(self->correction);
            ok = false;
        }
    if (ok) ok = applySettings(self, s, why);
    if (!ok) {
        GST_ELEMENT_ERROR(self, RESOURCE, READ, ("Cannot use the correction data: %s", why.c_str()), (nullptr));
        lsxcDestroy(self->correction);
        self->correction = nullptr;
        return FALSE;
    }
    self->lines = 0;
    self->firstLine = 0;
    return TRUE;
}

gboolean stop(GstBaseTransform* trans)
{
    GstLsxCorrect* self = GST_LSX_CORRECT(trans);
    lsxcDestroy(self->correction);
    self->correction = nullptr;
    return TRUE;
}

// The negotiated format; its data checked against the files before the first buffer.
gboolean setInfo(GstVideoFilter* filter, GstCaps*, GstVideoInfo* in, GstCaps*, GstVideoInfo*)
{
    GstLsxCorrect* self = GST_LSX_CORRECT(filter);
    switch (GST_VIDEO_INFO_FORMAT(in)) {
    case GST_VIDEO_FORMAT_GRAY8: self->format = LSXC_MONO8; break;
    case GST_VIDEO_FORMAT_GRAY16_LE: self->format = LSXC_MONO16; break;
    case GST_VIDEO_FORMAT_RGB: self->format = LSXC_RGB8; break;
    case GST_VIDEO_FORMAT_BGR: self->format = LSXC_BGR8; break;
    default: return FALSE;
    }
    std::string why;
    int bits = 0;
    if (!self->correction || !takeSettings(self, bits, why)) {
        GST_ELEMENT_ERROR(self, CORE, NEGOTIATION, ("Cannot use the correction data: %s", why.c_str()), (nullptr));
        return FALSE;
    }
    // A block of no lines: the data are matched to the format and width, nothing is written.
    const lsxcImage probe{self->format, self->format == LSXC_MONO16 ? bits : 0, GST_VIDEO_INFO_WIDTH(in), 0, 0,
                          nullptr, 0};
    const lsxcStatus status = lsxcCorrect(self->correction, &probe, &probe);
    if (status != LSXC_OK && status != LSXC_ERR_NO_DATA) {
        GST_ELEMENT_ERROR(self, CORE, NEGOTIATION,
                          ("The correction data do not fit %s frames %d pixels wide: %s",
                           gst_video_format_to_string(GST_VIDEO_INFO_FORMAT(in)), GST_VIDEO_INFO_WIDTH(in),
                           lastError(self->correction).c_str()),
                          (nullptr));
        return FALSE;
    }
    GST_INFO_OBJECT(self, "correcting %s, %d pixels a line", gst_video_format_to_string(GST_VIDEO_INFO_FORMAT(in)),
                    GST_VIDEO_INFO_WIDTH(in));
    return TRUE;
}

// Every buffer, corrected or passed through, counts its lines: a multi-line sensor's line cycle
// runs on across a time with every switch off.
void beforeTransform(GstBaseTransform* trans, GstBuffer*)
{
    GstLsxCorrect* self = GST_LSX_CORRECT(trans);
    self->firstLine = self->lines;
    self->lines += guint64(GST_VIDEO_INFO_HEIGHT(&GST_VIDEO_FILTER(trans)->in_info));
}

GstFlowReturn transformFrameIp(GstVideoFilter* filter, GstVideoFrame* frame)
{
    GstLsxCorrect* self = GST_LSX_CORRECT(filter);
    std::string why;
    int bits = 0;
    if (!takeSettings(self, bits, why)) {
        GST_ELEMENT_ERROR(self, STREAM, FAILED, ("Cannot use the correction settings: %s", why.c_str()), (nullptr));
        return GST_FLOW_ERROR;
    }
    // A frame passed through is mapped for reading only, and its buffer may be another's (a
    // tee's, a pool's): the mapping decides, not the passthrough of now, which a switch turned on
    // meanwhile has changed.
    if (!(frame->map[0].flags & GST_MAP_WRITE)) return GST_FLOW_OK;
    const int height = GST_VIDEO_FRAME_HEIGHT(frame);
    lsxcImage image{self->format,
                    self->format == LSXC_MONO16 ? bits : 0,
                    GST_VIDEO_FRAME_WIDTH(frame),
                    height,
                    GST_VIDEO_FRAME_PLANE_STRIDE(frame, 0),
                    GST_VIDEO_FRAME_PLANE_DATA(frame, 0),
                    int64_t(self->firstLine)};
    const lsxcStatus status = lsxcCorrect(self->correction, &image, &image);
    // The corrections switched on are not among those loaded: the buffer passes as it is.
    if (status == LSXC_ERR_NO_DATA) return GST_FLOW_OK;
    if (status != LSXC_OK) {
        GST_ELEMENT_ERROR(self, STREAM, FAILED, ("Cannot correct the frame: %s", lastError(self->correction).c_str()),
                          (nullptr));
        return GST_FLOW_ERROR;
    }
    return GST_FLOW_OK;
}

void setProperty(GObject* object, guint id, const GValue* value, GParamSpec* pspec)
{
    GstLsxCorrect* self = GST_LSX_CORRECT(object);
    GST_OBJECT_LOCK(self);
    Settings& s = *self->settings;
    auto text = [&] {
        const gchar* t = g_value_get_string(value);
        return std::string(t ? t : "");
    };
    switch (id) {
    case PROP_FPN_FILE: s.fpnFile = text(); break;
    case PROP_FFC_FILE: s.ffcFile = text(); break;
    case PROP_LSC_FILE: s.lscFile = text(); break;
    case PROP_GAIN: s.gain = g_value_get_double(value); break;
    case PROP_FPN: s.fpn = g_value_get_boolean(value); break;
    case PROP_FFC: s.ffc = g_value_get_boolean(value); break;
    case PROP_LSC: s.lsc = g_value_get_boolean(value); break;
    case PROP_REGION_X: s.regionX = g_value_get_int(value); break;
    case PROP_SENSOR_LINES: s.sensorLines = g_value_get_int(value); break;
    case PROP_PIXEL_BITS: s.pixelBits = g_value_get_int(value); break;
    default: G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
    self->changed = TRUE;
    const bool none = !s.fpn && !s.ffc && !s.lsc;
    GST_OBJECT_UNLOCK(self);
    // The switches take effect at the next buffer; with none on the buffers pass untouched, and
    // the element is called for them again once one is switched on. Passthrough is set here
    // alone, never by the streaming thread, and holds from one start to the next.
    if (id == PROP_FPN || id == PROP_FFC || id == PROP_LSC) gst_base_transform_set_passthrough(GST_BASE_TRANSFORM(self), none);
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec* pspec)
{
    GstLsxCorrect* self = GST_LSX_CORRECT(object);
    GST_OBJECT_LOCK(self);
    const Settings& s = *self->settings;
    switch (id) {
    case PROP_FPN_FILE: g_value_set_string(value, s.fpnFile.empty() ? nullptr : s.fpnFile.c_str()); break;
    case PROP_FFC_FILE: g_value_set_string(value, s.ffcFile.empty() ? nullptr : s.ffcFile.c_str()); break;
    case PROP_LSC_FILE: g_value_set_string(value, s.lscFile.empty() ? nullptr : s.lscFile.c_str()); break;
    case PROP_GAIN: g_value_set_double(value, s.gain); break;
    case PROP_FPN: g_value_set_boolean(value, s.fpn); break;
    case PROP_FFC: g_value_set_boolean(value, s.ffc); break;
    case PROP_LSC: g_value_set_boolean(value, s.lsc); break;
    case PROP_REGION_X: g_value_set_int(value, s.regionX); break;
    case PROP_SENSOR_LINES: g_value_set_int(value, s.sensorLines); break;
    case PROP_PIXEL_BITS: g_value_set_int(value, s.pixelBits); break;
    default: G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
    GST_OBJECT_UNLOCK(self);
}

void finalize(GObject* object)
{
    GstLsxCorrect* self = GST_LSX_CORRECT(object);
    lsxcDestroy(self->correction);
    delete self->settings;
    G_OBJECT_CLASS(gst_lsx_correct_parent_class)->finalize(object);
}

}  // namespace

static void gst_lsx_correct_class_init(GstLsxCorrectClass* klass)
{
    GObjectClass* object = G_OBJECT_CLASS(klass);
    GstElementClass* element = GST_ELEMENT_CLASS(klass);
    GstBaseTransformClass* transform = GST_BASE_TRANSFORM_CLASS(klass);
    GstVideoFilterClass* filter = GST_VIDEO_FILTER_CLASS(klass);
    object->set_property = setProperty;
    object->get_property = getProperty;
    object->finalize = finalize;

    const auto file = [](const char* name, const char* nick, const char* blurb) {
        return g_param_spec_string(
            name, nick, blurb, nullptr,
            GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY));
    };
    const auto playing = GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING);
    const auto ready = GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY);
    g_object_class_install_property(
        object, PROP_FPN_FILE,
        file("fpn-file", "FPN file",
             "The calibration tool's FPN file (*.FAC.FPN): per column an offset B and a gain K, per gain and colour "
             "plane or sensor line"));
    g_object_class_install_property(
        object, PROP_FFC_FILE,
        file("ffc-file", "FFC file",
             "The calibration tool's flat-field file (<model>.FAC.FFC.<name>): one gain per sensor column and channel"));
    g_object_class_install_property(
        object, PROP_LSC_FILE,
        file("lsc-file", "LSC file",
             "The calibration tool's lens-shading file (*.LSC.FAC): a polynomial per channel over the ROI's columns"));
    g_object_class_install_property(
        object, PROP_GAIN,
        g_param_spec_double("gain", "Analog gain",
                            "The camera's analog gain: the FPN rows of gain round(gain) are applied (the first rows "
                            "for gain 1, the last rows above the file's range), as the camera picks them",
                            0.01, 1000.0, 1.0, playing));
    g_object_class_install_property(
        object, PROP_FPN, g_param_spec_boolean("fpn", "FPN", "Apply the FPN file's B and K", TRUE, playing));
    g_object_class_install_property(
        object, PROP_FFC, g_param_spec_boolean("ffc", "FFC", "Apply the flat-field gains", TRUE, playing));
    g_object_class_install_property(
        object, PROP_LSC, g_param_spec_boolean("lsc", "LSC", "Apply the lens-shading gains", TRUE, playing));
    g_object_class_install_property(
        object, PROP_REGION_X,
        g_param_spec_int("region-x", "Region X",
                         "The frames' first sensor column (the camera's OffsetX); -1: the ROI X the files were made on",
                         -1, 1 << 20, -1, ready));
    g_object_class_install_property(
        object, PROP_SENSOR_LINES,
        g_param_spec_int("sensor-lines", "Sensor lines",
                         "Sensor lines of a multi-line mono sensor, interleaved line by line in the frames", 1, 64, 1,
                         ready));
    g_object_class_install_property(
        object, PROP_PIXEL_BITS,
        g_param_spec_int("pixel-bits", "Pixel bits",
                         "GRAY16_LE only: the samples' depth in the low bits of the words: 10 for Mono10, 12 for "
                         "Mono12 (as aravissrc delivers them), 16 for Mono16 and the calibration tool's own 16-bit "
                         "frames (10-bit data in the high bits)",
                         10, 16, 16, ready));

    gst_element_class_set_static_metadata(
        element, "Line-scan camera correction", "Filter/Effect/Video",
        "Corrects a line-scan camera's frames with the calibration tool's FPN, FFC and LSC files, with the camera's "
        "own arithmetic: (v - B) x K x flat-field gain x lens-shading gain, rounded and saturated, in place, on every "
        "core (liblsxcorrect)",
        "LineScanCalibration");
    GstCaps* caps = gst_caps_from_string(kCaps);
    gst_element_class_add_pad_template(element, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, caps));
    gst_element_class_add_pad_template(element, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, caps));
    gst_caps_unref(caps);

    transform->start = start;
    transform->stop = stop;
    transform->before_transform = beforeTransform;
    transform->passthrough_on_same_caps = FALSE;
    filter->set_info = setInfo;
    filter->transform_frame_ip = transformFrameIp;
}

static void gst_lsx_correct_init(GstLsxCorrect* self)
{
    self->settings = new Settings;
    self->changed = TRUE;
    self->correction = nullptr;
    self->lines = 0;
    self->firstLine = 0;
    self->format = 0;
    gst_base_transform_set_in_place(GST_BASE_TRANSFORM(self), TRUE);
}

static gboolean plugin_init(GstPlugin* plugin)
{
    GST_DEBUG_CATEGORY_INIT(lsx_correct_debug, "lsxcorrect", 0, "line-scan camera correction");
    return gst_element_register(plugin, "lsxcorrect", GST_RANK_NONE, gst_lsx_correct_get_type());
}

#define PACKAGE "lsxcorrect"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, lsxcorrect,
                  "Line-scan camera corrections from the calibration tool's parameter files", plugin_init, "1.0",
                  "Proprietary", "LineScanCalibration", "https://localhost/linescan-calibration")

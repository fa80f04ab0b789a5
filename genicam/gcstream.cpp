// The image stream of a GenICam camera and its trigger.
//
//  - lsxStart builds an Aravis stream with a ring of buffers of the camera's payload size and
//    starts acquisition (free running or on the frame trigger, whatever the camera is set to).
//  - lsxGetFrame pops the next buffer within its time-out. A buffer that came incomplete
//    (packets lost, a size that does not fit) is counted, given back to the stream and skipped;
//    when it answered a software trigger, the trigger is fired again, so that one fire still
//    brings one frame when the network lost the first.
//    The buffer handed out stays the caller's until the next call; 10- and 12-bit samples are
//    lifted to the high bits of their words in it. When the time runs out, one register read
//    tells a quiet camera (-1000) from one that is gone (-1104).
//  - The wait runs in slices without the camera's lock, so that setters, a stop, or a restart of
//    the stream after a change of size or format are seen within one slice.
//  - The soft trigger is the frame trigger (TriggerSelector FrameStart where the camera has
//    one): TriggerMode On, TriggerSource Software, one TriggerSoftware per frame.
#include "gccamera.h"

#include "gcpixel.h"
#include "gcstatus.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

namespace lsxgc {

namespace {

using Clock = std::chrono::steady_clock;

// One slice of a frame wait.
constexpr auto kWaitSlice = std::chrono::milliseconds(50);
// The ring of buffers: a few frames, and never more than about 128 MB.
constexpr size_t kRingBytes = size_t(128) << 20;
constexpr size_t kMinBuffers = 4;
constexpr size_t kMaxBuffers = 16;
// On the loopback nothing paces the packets as a wire does and there is no wire MTU: packets of
// 64 kB and a socket buffer of a few frames keep a frame from overflowing the receiving socket.
constexpr gint kLoopbackPacketSize = 65000;
constexpr size_t kLoopbackSocketFrames = 4;
constexpr size_t kMaxSocketBuffer = size_t(64) << 20;

}  // namespace

StreamSession::~StreamSession()
{
    if (stream) g_object_unref(stream);
}

bool Camera::streamingLocked() const
{
    return currentStream() != nullptr;
}

std::shared_ptr<StreamSession> Camera::currentStream() const
{
    std::lock_guard<std::mutex> lock(m_streamMutex);
    return m_stream;
}

void Camera::releaseHeld()
{
    if (m_heldBuffer) {
        // Back into the stream it came from, or freed when that stream is gone.
        if (const std::shared_ptr<StreamSession> session = m_heldStream.lock())
            arv_stream_push_buffer(session->stream, m_heldBuffer);
        else
            g_object_unref(m_heldBuffer);
        m_heldBuffer = nullptr;
    }
    m_heldStream.reset();
}

lsxStatus Camera::startLocked()
{
    if (streamingLocked()) return 2;  // already running: a partial outcome, success after lsxStart
    auto fail = [this](const ErrorSlot& e) {
        bool lostLink = false;
        const lsxStatus st = e.status(&lostLink);
        if (lostLink) m_link->lost.store(true);
        return st;
    };
    ErrorSlot error;
    if (m_gigE && m_loopback) {
        // The packet socket reads frames off the network card below the IP stack; a camera on
        // the loopback has no card, and its frames come only through the ordinary socket.
        arv_camera_gv_set_stream_options(m_camera, ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
        arv_camera_gv_set_packet_size_adjustment(m_camera, ARV_GV_PACKET_SIZE_ADJUSTMENT_NEVER);
        arv_camera_gv_set_packet_size(m_camera, kLoopbackPacketSize, error.out());
        if (error.failed()) return fail(error);
    }
    if (m_features.has("AcquisitionMode")) m_features.setEntry("AcquisitionMode", "Continuous");

    const guint payload = arv_camera_get_payload(m_camera, error.out());
    if (error.failed()) return fail(error);
    if (payload == 0) return LSX_ERR_NOT_SUPPORTED;
    ArvStream* stream = arv_camera_create_stream(m_camera, nullptr, nullptr, error.out());
    if (!stream) return error.failed() ? fail(error) : LSX_ERR_UNKNOWN;
    auto session = std::make_shared<StreamSession>();
    session->stream = stream;
    session->payload = payload;
    if (ARV_IS_GV_STREAM(stream)) {
        if (m_loopback)
            g_object_set(stream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size",
                         gint(std::min(kMaxSocketBuffer, kLoopbackSocketFrames * payload)), nullptr);
        else
            g_object_set(stream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_AUTO, nullptr);
    }
    const size_t count = std::clamp(kRingBytes / payload, kMinBuffers, kMaxBuffers);
    for (size_t i = 0; i < count; ++i) arv_stream_push_buffer(stream, arv_buffer_new_allocate(payload));

    arv_camera_start_acquisition(m_camera, error.out());
    if (error.failed()) return fail(error);
    std::lock_guard<std::mutex> lock(m_streamMutex);
    m_stream = std::move(session);
    return LSX_OK;
}

lsxStatus Camera::stopLocked()
{
    std::shared_ptr<StreamSession> session;
    {
        std::lock_guard<std::mutex> lock(m_streamMutex);
        session = std::move(m_stream);
    }
    if (!session) return LSX_OK;
    m_pendingFires.store(0);
    lsxStatus st = LSX_OK;
    if (!lost()) {
        ErrorSlot error;
        arv_camera_stop_acquisition(m_camera, error.out());
        bool lostLink = false;
        st = error.status(&lostLink);
        if (lostLink) m_link->lost.store(true);
    }
    // The stream goes now, before another is made: on its way out it closes the camera's stream
    // channel, which must not happen to the next stream. A frame wait lets go of it within one
    // slice of its wait. The stream of a camera that is gone goes on a thread of its own, as its
    // last word to the camera would wait for the control channel's time-outs.
    const Clock::time_point deadline = Clock::now() + 4 * kWaitSlice;
    while (session.use_count() > 1 && Clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (lost()) std::thread([s = std::move(session)]() mutable { s.reset(); }).detach();
    session.reset();
    return st;
}

lsxStatus Camera::start()
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    return startLocked();
}

lsxStatus Camera::stop()
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) {
        stopLocked();
        return st;
    }
    return stopLocked();
}

lsxStatus Camera::getFrame(lsxFrame* frame, void** buffer, uint32_t timeoutMs)
{
    std::lock_guard<std::mutex> frameLock(m_frameMutex);
    releaseHeld();
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
        {
            // The stream is held for one slice at most, and never while waiting for the lock.
            const std::shared_ptr<StreamSession> session = currentStream();
            if (!session) return LSX_ERR_NOT_STARTED;
            const Clock::time_point now = Clock::now();
            ArvBuffer* b = nullptr;
            if (now >= deadline) {
                b = arv_stream_try_pop_buffer(session->stream);
            } else {
                const auto slice = std::min<Clock::duration>(deadline - now, kWaitSlice);
                const auto us = std::chrono::duration_cast<std::chrono::microseconds>(slice).count();
                b = arv_stream_timeout_pop_buffer(session->stream, guint64(std::max<int64_t>(us, 1)));
            }
            if (b) {
                if (arv_buffer_get_status(b) != ARV_BUFFER_STATUS_SUCCESS || takeFrame(b, frame, buffer) != LSX_OK) {
                    m_incomplete.fetch_add(1);
                    arv_stream_push_buffer(session->stream, b);
                    if (m_pendingFires.load() > 0) refire();
                    continue;
                }
                int pending = m_pendingFires.load();
                while (pending > 0 && !m_pendingFires.compare_exchange_weak(pending, pending - 1)) {}
                m_heldStream = session;
                m_heldBuffer = b;
                m_frames.fetch_add(1);
                return LSX_OK;
            }
        }
        if (Clock::now() < deadline) continue;
        // No frame in time. A camera that still answers is only quiet.
        {
            std::lock_guard<std::recursive_mutex> lock(m_mutex);
            if (!lost() && !closed()) m_features.probe();
        }
        if (lost()) return LSX_ERR_DISCONNECTED;
        return LSX_ERR_TIMEOUT;
    }
}

lsxStatus Camera::takeFrame(ArvBuffer* b, lsxFrame* frame, void** data)
{
    // A buffer without a picture in its first part (chunk data alone, a leader of another kind)
    // is no frame.
    const ArvBufferPayloadType type = arv_buffer_get_payload_type(b);
    if (type != ARV_BUFFER_PAYLOAD_TYPE_IMAGE && type != ARV_BUFFER_PAYLOAD_TYPE_EXTENDED_CHUNK_DATA
        && type != ARV_BUFFER_PAYLOAD_TYPE_MULTIPART)
        return -1601;
    if (arv_buffer_get_n_parts(b) < 1 || arv_buffer_get_part_data_type(b, 0) != ARV_BUFFER_PART_DATA_TYPE_2D_IMAGE)
        return -1601;
    size_t size = 0;
    const void* image = arv_buffer_get_image_data(b, &size);
    if (!image) return -1601;
    const uint32_t pf = arv_buffer_get_image_pixel_format(b);
    const gint width = arv_buffer_get_image_width(b);
    const gint height = arv_buffer_get_image_height(b);
    gint xPadding = 0, yPadding = 0;
    arv_buffer_get_image_padding(b, &xPadding, &yPadding);
    const FrameLayout layout = layoutOf(pf);
    if (width <= 0 || height <= 0 || xPadding < 0) return -1601;
    const size_t row = size_t(width) * layout.bytesPerPixel;
    const size_t stride = row + size_t(xPadding);
    if (size < stride * size_t(height - 1) + row) return -1601;  // fewer bytes than the image

    auto* pixels = static_cast<uint8_t*>(const_cast<void*>(image));
    if (xPadding > 0) {
        m_packed.resize(row * size_t(height));
        for (gint y = 0; y < height; ++y) std::memcpy(&m_packed[size_t(y) * row], pixels + size_t(y) * stride, row);
        pixels = m_packed.data();
    }
    if (layout.liftShift > 0)
        liftToHighBits(reinterpret_cast<uint16_t*>(pixels), size_t(width) * size_t(height), layout.liftShift,
                       layout.valueMask);

    std::memset(frame, 0, sizeof *frame);
    frame->format = layout.format;
    frame->bits = layout.bits;
    frame->channels = layout.channels;
    frame->width = width;
    frame->height = height;
    frame->size = uint32_t(std::min<size_t>(row * size_t(height), UINT32_MAX));
    frame->frameId = arv_buffer_get_frame_id(b);
    frame->timestampUs = arv_buffer_get_timestamp(b) / 1000u;
    *data = pixels;
    return LSX_OK;
}

// ---- trigger ----

void Camera::refire()
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (liveStatus() != LSX_OK || !streamingLocked()) return;
    m_features.execute("TriggerSoftware");
}

lsxStatus Camera::frameTrigger()
{
    m_features.select("TriggerSelector", "FrameStart");
    return lost() ? LSX_ERR_DISCONNECTED : LSX_OK;
}

lsxStatus Camera::getTriggerState(bool& on)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    if (!m_features.has("TriggerMode")) {
        on = false;  // a camera without a trigger runs free
        return LSX_OK;
    }
    if (const lsxStatus st = frameTrigger(); st != LSX_OK) return st;
    std::string mode;
    const lsxStatus st = m_features.getEntry("TriggerMode", mode);
    if (st == LSX_OK) on = mode == "On";
    return st;
}

lsxStatus Camera::setTriggerState(bool on)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    if (!m_features.has("TriggerMode")) return on ? LSX_ERR_NOT_SUPPORTED : LSX_OK;
    if (const lsxStatus st = frameTrigger(); st != LSX_OK) return st;
    m_pendingFires.store(0);
    return m_features.setEntry("TriggerMode", on ? "On" : "Off");
}

lsxStatus Camera::getTriggerSource(int32_t& source)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    if (!m_features.has("TriggerSource")) return LSX_ERR_NOT_SUPPORTED;
    if (const lsxStatus st = frameTrigger(); st != LSX_OK) return st;
    std::string entry;
    if (const lsxStatus st = m_features.getEntry("TriggerSource", entry); st != LSX_OK) return st;
    // Software is source 0, input line k is k + 1; any other source reads as 99.
    if (entry == "Software")
        source = 0;
    else if (entry.rfind("Line", 0) == 0 && entry.size() > 4
             && entry.find_first_not_of("0123456789", 4) == std::string::npos)
        source = std::stoi(entry.substr(4)) + 1;
    else
        source = 99;
    return LSX_OK;
}

lsxStatus Camera::setTriggerSource(int32_t source)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    if (!m_features.has("TriggerSource")) return LSX_ERR_NOT_SUPPORTED;
    if (source < 0) return LSX_ERR_OUT_OF_RANGE;
    if (const lsxStatus st = frameTrigger(); st != LSX_OK) return st;
    if (source == 0 && !m_features.hasEntry("TriggerSource", "Software")) return LSX_ERR_NOT_SUPPORTED;
    return m_features.setEntry("TriggerSource", source == 0 ? "Software" : "Line" + std::to_string(source - 1));
}

lsxStatus Camera::fire()
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    if (!streamingLocked()) return LSX_ERR_NOT_STARTED;
    if (!m_features.has("TriggerSoftware")) return LSX_ERR_NOT_SUPPORTED;
    if (const lsxStatus st = frameTrigger(); st != LSX_OK) return st;
    std::string mode, source;
    m_features.getEntry("TriggerMode", mode);
    m_features.getEntry("TriggerSource", source);
    if (mode != "On" || source != "Software") return -53;  // no soft trigger set up: misuse
    const lsxStatus st = m_features.execute("TriggerSoftware");
    if (st == LSX_OK) m_pendingFires.fetch_add(1);
    return st;
}

}  // namespace lsxgc

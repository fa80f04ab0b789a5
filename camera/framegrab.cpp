// Frame grabbing and the display conversion.
#include "camera/framegrab.h"

#include "camera/cameraserver.h"
#include "correct/parts.h"

#include <QDebug>
#include <QThread>

#include <opencv2/imgproc.hpp>

#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include <vector>

int frameMatType(const lsxFrame& frame)
{
    switch (frame.format) {
    case FORMAT_MONO:
        if (frame.bits == LSX_BITS_8) return CV_8UC1;
        if (frame.bits == LSX_BITS_16) return CV_16UC1;
        return -1;
    case FORMAT_BGR24:
    case FORMAT_RGB24: return CV_8UC3;
    case FORMAT_BGR32:
    case FORMAT_RGB32: return CV_8UC4;
    default: return -1;
    }
}

FrameCheck checkFrame(const lsxFrame& frame, const void* buffer)
{
    const int type = frameMatType(frame);
    if (type < 0)
        return {LSX_ERR_NOT_SUPPORTED,
                QStringLiteral("frame format %1 with bits %2 is not taken").arg(frame.format).arg(frame.bits)};
    if (frame.width <= 0 || frame.height <= 0)
        return {LSX_ERR_INVALID_ARG, QStringLiteral("frame of %1 x %2 pixels").arg(frame.width).arg(frame.height)};
    if (buffer == nullptr) return {LSX_ERR_INVALID_ARG, QStringLiteral("frame without a buffer")};
    // A library is held to the size it reports: a descriptor promising more pixels than were
    // delivered would make the copy read past the buffer.
    const uint64_t bytes = uint64_t(frame.width) * uint64_t(frame.height) * uint64_t(CV_ELEM_SIZE(type));
    if (uint64_t(frame.size) < bytes)
        return {LSX_ERR_BLOCK_SIZE, QStringLiteral("frame of %1 x %2 pixels needs %3 bytes, the buffer holds %4")
                                        .arg(frame.width)
                                        .arg(frame.height)
                                        .arg(bytes)
                                        .arg(frame.size)};
    return {};
}

cv::Mat frameView(const lsxFrame& frame, const void* buffer)
{
    if (!checkFrame(frame, buffer).ok()) return cv::Mat();
    return cv::Mat(frame.height, frame.width, frameMatType(frame), const_cast<void*>(buffer));
}

cv::Mat frameToMat(const lsxFrame& frame, const void* buffer)
{
    return frameView(frame, buffer).clone();
}

namespace {
// Whether `m` is the only header of its pixels. The count is read atomically: another thread
// may be letting go of a header of the same pixels meanwhile, and then it only goes down.
bool heldByItAlone(const cv::Mat& m)
{
    return m.u != nullptr && CV_XADD(&m.u->refcount, 0) == 1;
}
}  // namespace

cv::Mat FrameBuffers::take(int rows, int cols, int type)
{
    auto fits = [&](const cv::Mat& m) { return m.rows == rows && m.cols == cols && m.type() == type; };
    for (cv::Mat& m : m_kept)
        if (fits(m) && heldByItAlone(m)) return m;
    // None free: a new one, in place of an empty slot or of a free buffer of another size, else
    // in place of one still held elsewhere, which then stays with its holder alone.
    cv::Mat* slot = &m_kept[0];
    for (cv::Mat& m : m_kept)
        if (m.empty() || heldByItAlone(m)) {
            slot = &m;
            break;
        }
    slot->release();
    slot->create(rows, cols, type);
    return *slot;
}

FrameWait::FrameWait()
{
    m_since.start();
    m_attempt.start();
}

int FrameWait::timedOut()
{
    ++m_count;
    const int shift = std::min(m_count - 1, 16);
    const qint64 spacing = std::min<qint64>(qint64(kFirstPauseMs) << shift, kLongestPauseMs);
    // The time the attempt took, from the end of the last pause to its time-out.
    const qint64 spent = std::max<qint64>(0, m_attempt.elapsed() - m_lastPauseMs);
    const qint64 pause = std::max<qint64>(0, spacing - spent);
    m_attempt.start();
    m_lastPauseMs = pause;
    return int(pause);
}

void FrameWait::delivered()
{
    m_count = 0;
    m_since.start();
    m_attempt.start();
    m_lastPauseMs = 0;
    m_reported.invalidate();
}

bool FrameWait::reportDue()
{
    if (m_reported.isValid() && m_reported.elapsed() < 1000) return false;
    m_reported.start();
    return true;
}

bool pauseUnless(int ms, const std::function<bool()>& stop)
{
    QElapsedTimer clock;
    clock.start();
    for (;;) {
        if (stop && stop()) return false;
        const qint64 left = ms - clock.elapsed();
        if (left <= 0) return true;
        QThread::msleep(static_cast<unsigned long>(std::min<qint64>(20, left)));
    }
}

bool CameraServer::frameRetry(FrameWait& wait, const QString& prefix, int progress)
{
    int pause = wait.timedOut();
    const int limit = frameTimeout();
    const QString seconds = QString::number(wait.elapsedMs() / 1000.0, 'f', 1);
    if (limit > 0 && wait.elapsedMs() >= limit) {
        emit OS_FpnInfo(101,
                        tr("%1相机已 %2 秒没有送出图像（超时 %3 次），停止等待。请检查相机的连接、触发方式与光路。")
                            .arg(prefix, seconds)
                            .arg(wait.count()));
        return false;
    }
    if (wait.reportDue())
        emit OS_FpnInfo(progress,
                        tr("%1等待相机图像：已超时 %2 次，已等待 %3 秒。").arg(prefix).arg(wait.count()).arg(seconds));
    // The last attempt comes at the time-out itself, not a long pause after it.
    if (limit > 0) pause = int(std::min<qint64>(pause, std::max<qint64>(0, limit - wait.elapsedMs())));
    return pauseUnless(pause, [this] { return cancelRequested(); });
}

lsxStatus grabLines(CameraServer* server, lsxHandle handle, lsxFrame* frame, cv::Mat& out)
{
    out.release();
    std::vector<cv::Mat> rows;
    lsxStatus status = LSX_OK;
    int count = 0;
    // An external trigger may take long; a server with a frame time-out waits no longer than that.
    const int limit = server ? server->frameTimeout() : 0;
    const uint32_t timeoutMs = limit > 0 ? std::min<uint32_t>(uint32_t(limit), kTvk317TimeoutMs) : kTvk317TimeoutMs;
    while (count < kTvk317Lines) {
        // A camera being closed ends the grab between two readouts.
        if (server && server->closing()) {
            status = LSX_ERR_NOT_OPEN;
            break;
        }
        void* buffer = nullptr;
        status = lsxGetFrame(handle, frame, &buffer, timeoutMs);
        if (status != LSX_OK) {
            qDebug() << "get frame failed with : " << status;
            break;
        }
        if (frame->format != FORMAT_MONO) {
            ++count;  // a readout the program cannot use still takes its place in the image
            continue;
        }
        const FrameCheck check = checkFrame(*frame, buffer);
        if (!check.ok()) {
            qDebug() << "get frame failed with : " << check.status << check.why;
            status = check.status;
            break;
        }
        const int64_t samples = int64_t(frame->height) * frame->width;
        if (samples > std::numeric_limits<int>::max()) {
            qDebug() << "get frame failed with : " << LSX_ERR_BLOCK_SIZE << "readout of" << samples << "samples";
            status = LSX_ERR_BLOCK_SIZE;
            break;
        }
        const int type = frameMatType(*frame);
        if (count > 0 && !rows.empty() && rows.back().type() != type) {
            // The camera switched its sample width: what was gathered no longer fits.
            rows.clear();
            count = 0;
        }
        rows.push_back(cv::Mat(1, int(samples), type, buffer).clone());
        ++count;
    }
    if (!rows.empty()) {
        // Readouts of different lengths cannot be stacked; keep the run of the last length.
        const int cols = rows.back().cols;
        std::vector<cv::Mat> same;
        for (const cv::Mat& r : rows)
            if (r.cols == cols) same.push_back(r);
        cv::vconcat(same, out);
    }
    return status;
}

namespace {
// Colour channels in R, G, B order from an interleaved matrix, by the channel indices given.
cv::Mat mergeChannels(const std::vector<cv::Mat>& planes, int c0, int c1, int c2)
{
    cv::Mat rgb;
    cv::merge(std::vector<cv::Mat>{planes[c0], planes[c1], planes[c2]}, rgb);
    return rgb;
}

// The display image as a view over `shown` (the frame itself or a converted copy of it), with
// the matrix's line length. Null when the frame cannot be shown.
QImage displayView(const cv::Mat& img, int format, int bits, cv::Mat& shown)
{
    if (img.empty()) return QImage();
    QImage::Format qformat = QImage::Format_RGB888;
    switch (format) {
    case FORMAT_MONO:
        qformat = QImage::Format_Grayscale8;
        if (bits == LSX_BITS_8 && img.type() == CV_8UC1) {
            shown = img;
        } else if (bits == LSX_BITS_16 && img.type() == CV_16UC1) {
            // Scale 1/255, not 1/256: the 10-bit data in the high bits fills the 8-bit range,
            // and 16-bit frames holding 8-bit values look almost black.
            img.convertTo(shown, CV_8U, 0.00392156862745098, 0.0);
        } else {
            return QImage();
        }
        break;
    case FORMAT_RGB24:
        if (img.type() != CV_8UC3) return QImage();
        shown = img;
        break;
    case FORMAT_BGR24: {
        if (img.type() != CV_8UC3) return QImage();
        std::vector<cv::Mat> planes;
        cv::split(img, planes);
        shown = mergeChannels(planes, 2, 1, 0);
        break;
    }
    case FORMAT_BGR32:
    case FORMAT_RGB32: {
        if (img.type() != CV_8UC4) return QImage();
        std::vector<cv::Mat> planes;
        cv::split(img, planes);
        const cv::Mat rgb = format == FORMAT_BGR32 ? mergeChannels(planes, 2, 1, 0) : mergeChannels(planes, 0, 1, 2);
        // The fourth channel is shown as a grey image below the colour one.
        cv::Mat fourth;
        cv::cvtColor(planes[3], fourth, cv::COLOR_GRAY2BGR);
        cv::vconcat(rgb, fourth, shown);
        break;
    }
    default: return QImage();
    }
    return QImage(shown.data, shown.cols, shown.rows, static_cast<qsizetype>(shown.step[0]), qformat);
}
}  // namespace

QImage matToImage(const cv::Mat& img, int format, int bits)
{
    cv::Mat shown;
    return displayView(img, format, bits, shown).copy();
}

namespace {

// ---- The pixmap ----
// The pixmap keeps the image's own format (grey for mono frames, RGB888 for colour) instead of
// letting Qt widen it to RGB32 on the way: that conversion of a 16384 x 1000 frame took about
// 30 ms and wrote four bytes a pixel. A pixmap of either format draws the same pixels. Mono
// 8-bit, RGB24 and BGR24 frames are their own display image (BGR24 as Qt's BGR888): the live
// preview's pixmap shares them (sharedPixmap), other pixmaps copy them. The rest is written
// straight from the frame into a buffer the worker keeps, and the pixmap then shares that.

// Sixteen-bit samples shown on the 8-bit scale: float(v) x float(1/255), rounded to nearest
// (ties to even) and saturated, which is what cv::Mat::convertTo does for the display view (the
// kernel tests compare the two over all 65536 values).
constexpr float kWideToGrey = static_cast<float>(0.00392156862745098);

inline uint8_t wideGrey(uint16_t v)
{
    const float t = std::min(static_cast<float>(v) * kWideToGrey, 255.0f);
    return static_cast<uint8_t>(std::nearbyint(t));
}

void wideToGrey(const uint16_t* p, uint8_t* q, int n)
{
    const __m128i z = _mm_setzero_si128();
    const __m128 scale = _mm_set1_ps(kWideToGrey), top = _mm_set1_ps(255.0f);
    auto grey4 = [&](__m128i v) { return _mm_cvtps_epi32(_mm_min_ps(_mm_mul_ps(_mm_cvtepi32_ps(v), scale), top)); };
    int x = 0;
    for (; x + 16 <= n; x += 16) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + x));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + x + 8));
        const __m128i w0 = _mm_packs_epi32(grey4(_mm_unpacklo_epi16(a, z)), grey4(_mm_unpackhi_epi16(a, z)));
        const __m128i w1 = _mm_packs_epi32(grey4(_mm_unpacklo_epi16(b, z)), grey4(_mm_unpackhi_epi16(b, z)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(q + x), _mm_packus_epi16(w0, w1));
    }
    for (; x < n; ++x) q[x] = wideGrey(p[x]);
}

// Pixels of `pitch` bytes to packed R, G, B; r, g, b are the byte offsets of red, green and blue.
void toRgb888Plain(const uint8_t* p, uint8_t* q, int n, int pitch, int r, int g, int b)
{
    for (int x = 0; x < n; ++x, p += pitch, q += 3) {
        q[0] = p[r];
        q[1] = p[g];
        q[2] = p[b];
    }
}

// An image of this size and format to write into: one the worker made before and that no
// pixmap holds any more (the window lets go of a frame when the next one arrives), else a new
// one. Writing a buffer again spares the page faults of a fresh allocation on every frame.
QImage& displayBuffer(int width, int height, QImage::Format format)
{
    thread_local QImage spare[2];
    auto fits = [&](const QImage& s) { return s.width() == width && s.height() == height && s.format() == format; };
    for (QImage& s : spare)
        if (fits(s) && s.isDetached()) return s;
    // Replace the one that does not fit first, else the first.
    QImage* slot = &spare[0];
    for (QImage& s : spare)
        if (!fits(s)) {
            slot = &s;
            break;
        }
    *slot = QImage();
    *slot = QImage(width, height, format);
    return *slot;
}

}  // namespace

namespace {

// Whether the pixmap conversion takes this frame (the table of the display conversion).
bool showable(const cv::Mat& img, int format, int bits)
{
    if (img.empty()) return false;
    switch (format) {
    case FORMAT_MONO:
        return (bits == LSX_BITS_8 && img.type() == CV_8UC1) || (bits == LSX_BITS_16 && img.type() == CV_16UC1);
    case FORMAT_BGR24:
    case FORMAT_RGB24: return img.type() == CV_8UC3;
    case FORMAT_BGR32:
    case FORMAT_RGB32: return img.type() == CV_8UC4;
    default: return false;
    }
}

// The QImage format of a frame that is its own display image (mono 8-bit, RGB24, BGR24 as
// Qt's BGR888), or Format_Invalid for a frame that needs converting.
QImage::Format ownFormat(int format, int bits)
{
    if (format == FORMAT_MONO) return bits == LSX_BITS_8 ? QImage::Format_Grayscale8 : QImage::Format_Invalid;
    if (format == FORMAT_RGB24) return QImage::Format_RGB888;
    if (format == FORMAT_BGR24) return QImage::Format_BGR888;
    return QImage::Format_Invalid;
}

// The display image written into a buffer the worker keeps, in row stripes shared out among the
// preview's threads; the pixmap then shares that buffer.
QPixmap convertedPixmap(const cv::Mat& img, int format, int bits)
{
    const QImage::Format own = ownFormat(format, bits);
    const bool four = format == FORMAT_BGR32 || format == FORMAT_RGB32;
    const int w = img.cols, h = img.rows;
    const QImage::Format target = own != QImage::Format_Invalid ? own
                                  : format == FORMAT_MONO       ? QImage::Format_Grayscale8
                                                                : QImage::Format_RGB888;
    QImage& out = displayBuffer(w, four ? 2 * h : h, target);
    if (out.isNull()) return QPixmap();
    // Each row is written from its own row of the frame alone. The pixels are taken once here
    // (bits() detaches): the image itself is not to be touched from several threads.
    uint8_t* const bits0 = out.bits();
    const qsizetype line = out.bytesPerLine();
    const size_t rowBytes = img.cols * img.elemSize();
    const int parts = lsxc::partsFor(h);
    lsxc::forEachPart(parts, [&](int part) {
        const lsxc::PartRange r = lsxc::partOf(h, parts, part);
        for (int y = r.begin; y < r.end; ++y) {
            uint8_t* q = bits0 + y * line;
            const uint8_t* p = img.ptr<uint8_t>(y);
            if (own != QImage::Format_Invalid) {
                std::copy_n(p, rowBytes, q);
            } else if (format == FORMAT_MONO) {
                wideToGrey(img.ptr<uint16_t>(y), q, w);
            } else {
                // The colour image above, the fourth channel as grey below.
                if (format == FORMAT_BGR32)
                    toRgb888Plain(p, q, w, 4, 2, 1, 0);
                else
                    toRgb888Plain(p, q, w, 4, 0, 1, 2);
                toRgb888Plain(p, bits0 + (h + y) * line, w, 4, 3, 3, 3);
            }
        }
    });
    // The pixmap shares the image as it is, in its own format.
    return QPixmap::fromImage(out, Qt::NoFormatConversion);
}

}  // namespace

QPixmap matToPixmap(const cv::Mat& img, int format, int bits)
{
    if (!showable(img, format, bits)) return QPixmap();
    return convertedPixmap(img, format, bits);
}

QPixmap sharedPixmap(const cv::Mat& img, int format, int bits)
{
    if (!showable(img, format, bits)) return QPixmap();
    const QImage::Format own = ownFormat(format, bits);
    if (own == QImage::Format_Invalid) return convertedPixmap(img, format, bits);
    // The frame is its own display image: the pixmap shares its pixels, read-only (a painter on
    // the pixmap works on a copy), and holds a header of the frame until the pixmap goes, so
    // that its buffer is not written again meanwhile (FrameBuffers hands out only buffers that
    // nothing else holds).
    auto* held = new cv::Mat(img);
    const QImage view(
        static_cast<const uchar*>(held->data), img.cols, img.rows, static_cast<qsizetype>(held->step[0]), own,
        [](void* m) { delete static_cast<cv::Mat*>(m); }, held);
    return QPixmap::fromImage(view, Qt::NoFormatConversion);
}

// Frame grabbing and the display conversion.
#include "camera/framegrab.h"

#include <QDebug>

#include <opencv2/imgproc.hpp>

#include <emmintrin.h>
#include <tmmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include <vector>

int frameMatType(const lsxFrame& frame)
{
    switch (frame.format) {
    case FORMAT_MONO:
        if (frame.bits == LSX_BITS_8) return CV_8UC1;
        if (frame.bits == LSX_BITS_16) return CV_16UC1;
        return -1;
    case FORMAT_BGR24:
    case FORMAT_RGB24:
        return CV_8UC3;
    case FORMAT_BGR32:
    case FORMAT_RGB32:
        return CV_8UC4;
    default:
        return -1;
    }
}

namespace {
// A library that reports its buffer's size is held to it: a descriptor promising more pixels
// than were delivered would make the copy read past the buffer. A size of 0 is not reported.
bool bufferHolds(const lsxFrame& frame, size_t bytes)
{
    return frame.size == 0 || frame.size >= bytes;
}
}  // namespace

cv::Mat frameToMat(const lsxFrame& frame, const void* buffer)
{
    const int type = frameMatType(frame);
    if (type < 0 || buffer == nullptr || frame.width <= 0 || frame.height <= 0) return cv::Mat();
    const cv::Mat view(frame.height, frame.width, type, const_cast<void*>(buffer));
    if (!bufferHolds(frame, view.total() * view.elemSize())) return cv::Mat();
    return view.clone();
}

lsxStatus grabLines(CameraServer* /*server*/, lsxHandle handle, lsxFrame* frame, cv::Mat& out)
{
    out.release();
    std::vector<cv::Mat> rows;
    lsxStatus status = LSX_OK;
    int count = 0;
    while (count < kTvk317Lines) {
        void* buffer = nullptr;
        status = lsxGetFrame(handle, frame, &buffer, kTvk317TimeoutMs);
        if (status != LSX_OK) {
            qDebug() << "get frame failed with : " << status;
            break;
        }
        if (frame->format != FORMAT_MONO) {
            ++count;  // a readout the program cannot use still takes its place in the image
            continue;
        }
        const int type = frame->bits != 0 ? CV_16UC1 : CV_8UC1;
        const int samples = frame->height * frame->width;
        if (count > 0 && !rows.empty() && rows.back().type() != type) {
            // The camera switched its sample width: what was gathered no longer fits.
            rows.clear();
            count = 0;
        }
        const size_t bytes = size_t(samples > 0 ? samples : 0) * (type == CV_16UC1 ? 2 : 1);
        if (buffer != nullptr && samples > 0 && bufferHolds(*frame, bytes)) {
            rows.push_back(cv::Mat(1, samples, type, buffer).clone());
        }
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
        const cv::Mat rgb =
            format == FORMAT_BGR32 ? mergeChannels(planes, 2, 1, 0) : mergeChannels(planes, 0, 1, 2);
        // The fourth channel is shown as a grey image below the colour one.
        cv::Mat fourth;
        cv::cvtColor(planes[3], fourth, cv::COLOR_GRAY2BGR);
        cv::vconcat(rgb, fourth, shown);
        break;
    }
    default:
        return QImage();
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

// ---- The pixmap, written in the format the raster backend keeps ----
// A pixmap made from a Grayscale8 or RGB888 image is converted by Qt to RGB32 (for a 16384 x 1000
// frame that conversion alone took about 30 ms). The image below is written as RGB32 straight
// from the frame, pixel for pixel what that conversion gives (0xff, R, G, B; grey as R = G = B),
// and the pixmap then shares it instead of converting it.

inline uint32_t greyPixel(uint8_t g)
{
    return 0xff000000u | (static_cast<uint32_t>(g) * 0x010101u);
}

// Sixteen grey bytes to sixteen RGB32 pixels.
inline void storeGrey16(__m128i g, uint32_t* q)
{
    const __m128i alpha = _mm_set1_epi32(static_cast<int>(0xff000000u));
    const __m128i lo = _mm_unpacklo_epi8(g, g), hi = _mm_unpackhi_epi8(g, g);
    auto* out = reinterpret_cast<__m128i*>(q);
    _mm_storeu_si128(out, _mm_or_si128(_mm_unpacklo_epi16(lo, lo), alpha));
    _mm_storeu_si128(out + 1, _mm_or_si128(_mm_unpackhi_epi16(lo, lo), alpha));
    _mm_storeu_si128(out + 2, _mm_or_si128(_mm_unpacklo_epi16(hi, hi), alpha));
    _mm_storeu_si128(out + 3, _mm_or_si128(_mm_unpackhi_epi16(hi, hi), alpha));
}

// Eight-bit grey to RGB32, sixteen pixels at a time.
void greyToRgb32(const uint8_t* p, uint32_t* q, int n)
{
    int x = 0;
    for (; x + 16 <= n; x += 16) storeGrey16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + x)), q + x);
    for (; x < n; ++x) q[x] = greyPixel(p[x]);
}

// Sixteen-bit samples shown on the 8-bit scale: float(v) x float(1/255), rounded to nearest
// (ties to even) and saturated, which is what cv::Mat::convertTo does for the display view (the
// kernel tests compare the two over all 65536 values).
constexpr float kWideToGrey = static_cast<float>(0.00392156862745098);

inline uint8_t wideGrey(uint16_t v)
{
    const float t = std::min(static_cast<float>(v) * kWideToGrey, 255.0f);
    return static_cast<uint8_t>(std::nearbyint(t));
}

void wideGreyToRgb32(const uint16_t* p, uint32_t* q, int n)
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
        storeGrey16(_mm_packus_epi16(w0, w1), q + x);
    }
    for (; x < n; ++x) q[x] = greyPixel(wideGrey(p[x]));
}

// Three bytes per pixel to RGB32; r, g, b are the byte offsets of red, green and blue.
void colourToRgb32Plain(const uint8_t* p, uint32_t* q, int n, int pitch, int r, int g, int b)
{
    for (int x = 0; x < n; ++x, p += pitch)
        q[x] = 0xff000000u | (static_cast<uint32_t>(p[r]) << 16) | (static_cast<uint32_t>(p[g]) << 8) | p[b];
}

// The same for packed three-byte pixels, sixteen at a time with a byte shuffle (SSSE3, used only
// where the processor has it).
__attribute__((target("ssse3"))) void packedToRgb32Ssse3(const uint8_t* p, uint32_t* q, int n, bool bgr)
{
    // Output bytes per pixel in memory: B, G, R, 0xff.
    const __m128i order = bgr ? _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1)
                              : _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1);
    const __m128i alpha = _mm_set1_epi32(static_cast<int>(0xff000000u));
    int x = 0;
    // Four loads of 16 bytes cover 16 pixels (48 bytes); the last load reads 48..63 only while
    // at least 22 pixels remain, so it never passes the row's end.
    for (; x + 22 <= n; x += 16) {
        const uint8_t* s = p + x * 3;
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 12));
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 24));
        const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 36));
        auto* out = reinterpret_cast<__m128i*>(q + x);
        _mm_storeu_si128(out, _mm_or_si128(_mm_shuffle_epi8(a, order), alpha));
        _mm_storeu_si128(out + 1, _mm_or_si128(_mm_shuffle_epi8(b, order), alpha));
        _mm_storeu_si128(out + 2, _mm_or_si128(_mm_shuffle_epi8(c, order), alpha));
        _mm_storeu_si128(out + 3, _mm_or_si128(_mm_shuffle_epi8(d, order), alpha));
    }
    colourToRgb32Plain(p + x * 3, q + x, n - x, 3, bgr ? 2 : 0, 1, bgr ? 0 : 2);
}

void packedToRgb32(const uint8_t* p, uint32_t* q, int n, bool bgr)
{
    static const bool ssse3 = __builtin_cpu_supports("ssse3");
    if (ssse3)
        packedToRgb32Ssse3(p, q, n, bgr);
    else
        colourToRgb32Plain(p, q, n, 3, bgr ? 2 : 0, 1, bgr ? 0 : 2);
}

// An RGB32 image of this size to write into: one the worker made before and that no pixmap
// holds any more (the window lets go of a frame when the next one arrives), else a new one.
// Writing a buffer again spares the page faults of a fresh 64 MB allocation on every frame.
QImage& displayBuffer(int width, int height)
{
    thread_local QImage spare[2];
    for (QImage& s : spare)
        if (s.width() == width && s.height() == height && s.isDetached()) return s;
    // Replace the one that is not of this size first, else the first.
    QImage* slot = &spare[0];
    for (QImage& s : spare)
        if (s.width() != width || s.height() != height) {
            slot = &s;
            break;
        }
    *slot = QImage();
    *slot = QImage(width, height, QImage::Format_RGB32);
    return *slot;
}

}  // namespace

QPixmap matToPixmap(const cv::Mat& img, int format, int bits)
{
    if (img.empty()) return QPixmap();
    const bool four = format == FORMAT_BGR32 || format == FORMAT_RGB32;
    switch (format) {
    case FORMAT_MONO:
        if (!(bits == LSX_BITS_8 && img.type() == CV_8UC1) && !(bits == LSX_BITS_16 && img.type() == CV_16UC1))
            return QPixmap();
        break;
    case FORMAT_BGR24:
    case FORMAT_RGB24:
        if (img.type() != CV_8UC3) return QPixmap();
        break;
    case FORMAT_BGR32:
    case FORMAT_RGB32:
        if (img.type() != CV_8UC4) return QPixmap();
        break;
    default:
        return QPixmap();
    }
    const int w = img.cols, h = img.rows;
    QImage& out = displayBuffer(w, four ? 2 * h : h);
    if (out.isNull()) return QPixmap();
    for (int y = 0; y < h; ++y) {
        auto* q = reinterpret_cast<uint32_t*>(out.scanLine(y));
        switch (format) {
        case FORMAT_MONO:
            if (bits == LSX_BITS_8)
                greyToRgb32(img.ptr<uint8_t>(y), q, w);
            else
                wideGreyToRgb32(img.ptr<uint16_t>(y), q, w);
            break;
        case FORMAT_BGR24:
        case FORMAT_RGB24:
            packedToRgb32(img.ptr<uint8_t>(y), q, w, format == FORMAT_BGR24);
            break;
        default: {
            // The colour image above, the fourth channel as grey below.
            const uint8_t* p = img.ptr<uint8_t>(y);
            if (format == FORMAT_BGR32)
                colourToRgb32Plain(p, q, w, 4, 2, 1, 0);
            else
                colourToRgb32Plain(p, q, w, 4, 0, 1, 2);
            auto* g = reinterpret_cast<uint32_t*>(out.scanLine(h + y));
            for (int x = 0; x < w; ++x) g[x] = greyPixel(p[x * 4 + 3]);
        }
        }
    }
    return QPixmap::fromImage(out);  // RGB32 is kept as it is: the pixmap shares the image
}

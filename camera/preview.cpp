// The numeric kernels of the live preview.
#include "camera/preview.h"


#include "calibration/klevels.h"
#include "camera/preview_wide.h"
#include "lsx.h"

#include <emmintrin.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>

namespace {

// Full scale of a sample type, for saturation.
template <typename T>
constexpr float fullScale()
{
    return static_cast<float>(std::numeric_limits<T>::max());
}

// Saturated and rounded to nearest, ties to even, as the frame's depth takes a float result.
// Adding and taking away 1.5 * 2^23 rounds in the current (nearest-even) mode; the clamp comes
// first so that the value stays in the range where that holds. NaN goes to 0.
template <typename T>
inline T toDepth(float t)
{
    t = t > 0.0f ? t : 0.0f;
    t = t < fullScale<T>() ? t : fullScale<T>();
    const float r = (t + 12582912.0f) - 12582912.0f;
    return static_cast<T>(static_cast<int>(r));
}

// The same from a double result (1.5 * 2^52 for double).
template <typename T>
inline T toDepth(double t)
{
    t = t > 0.0 ? t : 0.0;
    t = t < static_cast<double>(fullScale<T>()) ? t : static_cast<double>(fullScale<T>());
    const double r = (t + 6755399441055744.0) - 6755399441055744.0;
    return static_cast<T>(static_cast<int>(r));
}

// ---- Eight samples at a time (SSE2, part of every x86-64) ----
// _mm_cvtps_epi32 and _mm_cvtpd_epi32 round in the current mode, nearest-even, like rint; the
// clamp to the depth's range comes first (max_ps puts NaN to 0), so the result is the saturated
// rint of the scalar code exactly.

inline void load8(const uint8_t* p, __m128i& lo, __m128i& hi)
{
    const __m128i z = _mm_setzero_si128();
    const __m128i w = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)), z);
    lo = _mm_unpacklo_epi16(w, z);
    hi = _mm_unpackhi_epi16(w, z);
}
inline void load8(const uint16_t* p, __m128i& lo, __m128i& hi)
{
    const __m128i z = _mm_setzero_si128();
    const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    lo = _mm_unpacklo_epi16(w, z);
    hi = _mm_unpackhi_epi16(w, z);
}
// Stores eight values already clamped to the depth's range.
inline void store8(uint8_t* p, __m128i lo, __m128i hi)
{
    const __m128i w = _mm_packs_epi32(lo, hi);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(w, w));
}
inline void store8(uint16_t* p, __m128i lo, __m128i hi)
{
    const __m128i bias = _mm_set1_epi32(32768);
    const __m128i w = _mm_packs_epi32(_mm_sub_epi32(lo, bias), _mm_sub_epi32(hi, bias));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_xor_si128(w, _mm_set1_epi16(static_cast<short>(0x8000))));
}

template <typename T>
inline __m128i roundClamp(__m128 t)
{
    t = _mm_min_ps(_mm_max_ps(t, _mm_setzero_ps()), _mm_set1_ps(fullScale<T>()));
    return _mm_cvtps_epi32(t);
}

template <typename T>
inline __m128i roundClampD(__m128d a, __m128d b)
{
    const __m128d zero = _mm_setzero_pd(), top = _mm_set1_pd(static_cast<double>(fullScale<T>()));
    a = _mm_min_pd(_mm_max_pd(a, zero), top);
    b = _mm_min_pd(_mm_max_pd(b, zero), top);
    return _mm_unpacklo_epi64(_mm_cvtpd_epi32(a), _mm_cvtpd_epi32(b));
}

// ---- The chain of one row ----

// The corrections that apply to one frame, resolved once per frame: each pointer is null when
// its correction is off or its coefficients do not fit the frame.
struct Chain {
    const FpnLevelTable* fpn = nullptr;     // FPN with level bands
    const LineFpnTable* lineFpn = nullptr;  // FPN per sensor line
    const float* ffc = nullptr;             // FFC gain rows, one per sensor line
    int ffcRows = 1;
    const double* lsc = nullptr;  // LSC gain row
    bool any() const { return fpn || lineFpn || ffc || lsc; }
};

// The whole chain of eight elements in registers: FPN (b, k), FFC (f), LSC (l), each with its
// own rounding and saturation to the depth, as the scalar tail spells it out; the results are
// added to `acc` as float when it is given. A null pointer skips its step.
// K of the FPN of one element: either from a plain row `k`, or, with level bands, from `bands`
// ([element][band], `count` bands) at the band of the element's own value (its high byte for
// 16-bit data).
// The wide kernels take the bands the other way round: `byBand` ([band][element], `stride`
// elements a band) with the level where each band starts.
struct KSource {
    const float* k = nullptr;
    const float* bands = nullptr;
    const uint8_t* bandOf = nullptr;
    int count = 0;
    const float* byBand = nullptr;
    size_t stride = 0;
    const int32_t* start = nullptr;
    bool on() const { return k || bands; }
};

// The processor's widest registers, looked up once; a test may ask for narrower ones.
int bestIsa()
{
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f")) return static_cast<int>(PreviewIsa::Avx512);
    if (__builtin_cpu_supports("avx2")) return static_cast<int>(PreviewIsa::Avx2);
    return static_cast<int>(PreviewIsa::Sse2);
}
std::atomic<int> g_isa{bestIsa()};

// The first elements of a row through the wide kernel of the registers in use; returns how
// many it did.
template <typename T>
int wideChain(T* p, int n, const float* b, const KSource& ks, const float* f, const double* l, float* acc)
{
    const int isa = g_isa.load(std::memory_order_relaxed);
    if (isa == static_cast<int>(PreviewIsa::Sse2)) return 0;
    WideRow r;
    if (ks.on()) {
        r.b = b;
        r.k = ks.k;
        r.bands = ks.byBand;
        r.bandStride = ks.stride;
        r.bandStart = ks.start;
        r.bandShift = sizeof(T) == 2 ? 8 : 0;  // 16-bit data: the band of the high byte
        r.bandCount = ks.count;
    }
    r.f = f;
    r.l = l;
    r.acc = acc;
    return isa == static_cast<int>(PreviewIsa::Avx512) ? chainRowAvx512(p, n, r) : chainRowAvx2(p, n, r);
}

template <typename T>
inline float kOf(const KSource& s, const T* p, int i)
{
    constexpr int shift = sizeof(T) == 2 ? 8 : 0;
    return s.k ? s.k[i] : s.bands[static_cast<size_t>(i) * s.count + s.bandOf[p[i] >> shift]];
}

template <typename T>
void chainRow(T* p, int n, const float* b, const KSource& ks, const float* f, const double* l, float* acc)
{
    int i = wideChain(p, n, b, ks, f, l, acc);
    for (; i + 8 <= n; i += 8) {
        __m128i lo, hi;
        load8(p + i, lo, hi);
        if (ks.on()) {
            __m128 k0, k1;
            if (ks.k) {
                k0 = _mm_loadu_ps(ks.k + i);
                k1 = _mm_loadu_ps(ks.k + i + 4);
            } else {
                k0 = _mm_setr_ps(kOf(ks, p, i), kOf(ks, p, i + 1), kOf(ks, p, i + 2), kOf(ks, p, i + 3));
                k1 = _mm_setr_ps(kOf(ks, p, i + 4), kOf(ks, p, i + 5), kOf(ks, p, i + 6), kOf(ks, p, i + 7));
            }
            const __m128 a0 = _mm_mul_ps(_mm_sub_ps(_mm_cvtepi32_ps(lo), _mm_loadu_ps(b + i)), k0);
            const __m128 a1 = _mm_mul_ps(_mm_sub_ps(_mm_cvtepi32_ps(hi), _mm_loadu_ps(b + i + 4)), k1);
            lo = roundClamp<T>(a0);
            hi = roundClamp<T>(a1);
        }
        if (f) {
            lo = roundClamp<T>(_mm_mul_ps(_mm_cvtepi32_ps(lo), _mm_loadu_ps(f + i)));
            hi = roundClamp<T>(_mm_mul_ps(_mm_cvtepi32_ps(hi), _mm_loadu_ps(f + i + 4)));
        }
        if (l) {
            const __m128d a0 = _mm_mul_pd(_mm_cvtepi32_pd(lo), _mm_loadu_pd(l + i));
            const __m128d a1 = _mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(lo, 8)), _mm_loadu_pd(l + i + 2));
            const __m128d a2 = _mm_mul_pd(_mm_cvtepi32_pd(hi), _mm_loadu_pd(l + i + 4));
            const __m128d a3 = _mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(hi, 8)), _mm_loadu_pd(l + i + 6));
            lo = roundClampD<T>(a0, a1);
            hi = roundClampD<T>(a2, a3);
        }
        if (acc) {
            _mm_storeu_ps(acc + i, _mm_add_ps(_mm_loadu_ps(acc + i), _mm_cvtepi32_ps(lo)));
            _mm_storeu_ps(acc + i + 4, _mm_add_ps(_mm_loadu_ps(acc + i + 4), _mm_cvtepi32_ps(hi)));
        }
        store8(p + i, lo, hi);
    }
    for (; i < n; ++i) {
        T v = p[i];
        if (ks.on()) v = toDepth<T>((static_cast<float>(v) - b[i]) * kOf(ks, p, i));
        if (f) v = toDepth<T>(static_cast<float>(v) * f[i]);
        if (l) v = toDepth<T>(static_cast<double>(v) * l[i]);
        if (acc) acc[i] += static_cast<float>(v);
        p[i] = v;
    }
}

// FPN, FFC and LSC of elements [i0, i1) of row y in one pass (at most one of the two FPN forms
// fits a frame: the level bands need one FPN row per channel, the sensor lines two or more rows
// of a mono frame). Each step is element by element with its own rounding and saturation, so
// doing them strip by strip gives what doing them frame by frame gives.
template <typename T>
void correctRow(T* p, int y, int i0, int i1, int n, const Chain& c, float* acc)
{
    const float* b = nullptr;
    KSource ks;
    if (c.fpn) {
        const FpnLevelTable& t = *c.fpn;
        b = t.bInterleaved.data();
        ks.bands = t.kByElement.data() + static_cast<size_t>(i0) * t.bandCount;
        ks.bandOf = t.bandOf.data();
        ks.count = t.bandCount;
        ks.byBand = t.kByBand.data() + i0;
        ks.stride = static_cast<size_t>(t.rows) * t.columns;
        ks.start = t.bandStart.data();
    } else if (c.lineFpn) {
        const LineFpnTable& t = *c.lineFpn;
        const size_t line = static_cast<size_t>(y % t.lines) * t.columns;
        b = t.b.data() + line;
        ks.k = t.k.data() + line + i0;
    }
    const float* f = c.ffc ? c.ffc + static_cast<size_t>(y % c.ffcRows) * n + i0 : nullptr;
    chainRow<T>(p + i0, i1 - i0, b ? b + i0 : nullptr, ks, f, c.lsc ? c.lsc + i0 : nullptr, acc ? acc + i0 : nullptr);
}

// Every row through the chain, in strips of 1024 elements from top to bottom so that the
// strip's coefficients (B, K of every band, the FFC and LSC gains: about 56 KB) stay in the
// cache from row to row. With `acc`, each corrected element is added to it as float, in the
// order of the rows (the column sums of columnMeans).
template <typename T>
void correctFrame(cv::Mat& img, const Chain& c, float* acc)
{
    constexpr int strip = 1024;
    const int n = img.cols * img.channels();
    for (int i0 = 0; i0 < n; i0 += strip) {
        const int i1 = std::min(n, i0 + strip);
        for (int y = 0; y < img.rows; ++y) correctRow<T>(img.ptr<T>(y), y, i0, i1, n, c, acc);
    }
}

// The lists that meet channels 0, 1, 2(, 3) of a frame of this format.
std::vector<int> channelLists(int format)
{
    switch (format) {
    case FORMAT_BGR24: return {0, 1, 2};
    case FORMAT_RGB24: return {2, 1, 0};
    case FORMAT_BGR32: return {0, 1, 2, 3};
    case FORMAT_RGB32: return {2, 1, 0, 3};
    default: return {0};
    }
}

int channelsOf(int format)
{
    switch (format) {
    case FORMAT_MONO: return 1;
    case FORMAT_BGR24:
    case FORMAT_RGB24: return 3;
    case FORMAT_BGR32:
    case FORMAT_RGB32: return 4;
    default: return 0;
    }
}

// The FFC gain rows of one frame, or empty when the list does not fit it.
std::vector<float> ffcGains(const QList<QList<double>>& ffc, int format, int width, int lineCount, int& rows)
{
    rows = 1;
    if (ffc.isEmpty() || ffc[0].size() != width) return {};
    if (format == FORMAT_MONO) {
        if (lineCount >= 2) {
            if (ffc.size() != lineCount) return {};
            rows = lineCount;
        }
        std::vector<float> g(static_cast<size_t>(rows) * width);
        for (int r = 0; r < rows; ++r) {
            if (ffc[r].size() < width) return {};
            for (int x = 0; x < width; ++x) g[static_cast<size_t>(r) * width + x] = static_cast<float>(ffc[r][x]);
        }
        return g;
    }
    const std::vector<int> lists = channelLists(format);
    const int channels = static_cast<int>(lists.size());
    if (ffc.size() < channels) return {};
    for (int l : lists)
        if (ffc[l].size() < width) return {};
    std::vector<float> g(static_cast<size_t>(channels) * width, 0.0f);
    // RGB32 frames have always been filled at a pitch of three floats: each pixel's fourth gain
    // is overwritten by the next pixel's first, and the last quarter of the row keeps 0.
    const int pitch = format == FORMAT_RGB32 ? 3 : channels;
    for (int x = 0; x < width; ++x)
        for (int c = 0; c < channels; ++c) g[static_cast<size_t>(x) * pitch + c] = static_cast<float>(ffc[lists[c]][x]);
    return g;
}

// The LSC gain row of one frame, or empty when the table does not reach the frame's columns.
std::vector<double> lscGains(const LscTable& lsc, int format, int width, int regionX)
{
    const std::vector<int> lists = channelLists(format);
    const int channels = static_cast<int>(lists.size());
    if (lsc.lists < 1 || regionX < 0 || int64_t(lsc.size) < int64_t(width) + regionX) return {};
    for (int l : lists)
        if (l >= lsc.lists) return {};
    std::vector<double> g(static_cast<size_t>(channels) * width);
    for (int x = 0; x < width; ++x)
        for (int c = 0; c < channels; ++c)
            g[static_cast<size_t>(x) * channels + c] = lsc.gain[static_cast<size_t>(lists[c]) * lsc.size + regionX + x];
    return g;
}

template <typename T>
void sumBlocksT(const cv::Mat& src, cv::Mat& dst, int s)
{
    const int channels = src.channels();
    const int n = dst.cols * channels;
    std::vector<uint32_t> acc(static_cast<size_t>(n));
    const uint32_t top = std::numeric_limits<T>::max();
    for (int y = 0; y < dst.rows; ++y) {
        std::fill(acc.begin(), acc.end(), 0u);
        for (int dy = 0; dy < s; ++dy) {
            const T* p = src.ptr<T>(y * s + dy);
            for (int x = 0; x < dst.cols; ++x)
                for (int dx = 0; dx < s; ++dx)
                    for (int c = 0; c < channels; ++c) acc[x * channels + c] += p[(x * s + dx) * channels + c];
        }
        T* q = dst.ptr<T>(y);
        for (int i = 0; i < n; ++i) q[i] = static_cast<T>(std::min(acc[i], top));
    }
}

template <typename T>
void addRows(const cv::Mat& img, float* acc)
{
    const int n = img.cols * img.channels();
    for (int y = 0; y < img.rows; ++y) {
        const T* p = img.ptr<T>(y);
        for (int i = 0; i < n; ++i) acc[i] += static_cast<float>(p[i]);
    }
}

}  // namespace

FpnLevelTable buildFpnLevelTable(const std::vector<uint16_t>& levels, const QList<QList<double>>& bList,
                                 const QList<double>& kScaleList, const KAtLevelFn& kAtLevel)
{
    FpnLevelTable t;
    if (bList.isEmpty() || kScaleList.size() != bList.size() || levels.empty() || !kAtLevel) return t;
    const int rows = static_cast<int>(bList.size());
    const int columns = static_cast<int>(bList[0].size());
    if (columns == 0) return t;

    std::vector<std::vector<float>> bands;  // K of every row and column, per band
    QList<double> current;
    size_t i = 0;
    for (int level = 0; level <= 255; ++level) {
        const bool inBand = i < levels.size() && level <= levels[i];
        if (!(inBand && !current.isEmpty())) {
            if (i < levels.size() && level > levels[i]) ++i;
            kAtLevel(levelStepK(levels, static_cast<int>(i)), current, rows);
            const qsizetype perRow = current.size() / rows;
            if (perRow < 1) return FpnLevelTable();
            for (qsizetype e = 0; e < current.size(); ++e) {
                const qsizetype r = e / perRow;
                current[e] *= r < kScaleList.size() ? kScaleList[r] : 1.0;
            }
            if (current.size() != static_cast<qsizetype>(rows) * columns) return FpnLevelTable();
            bands.emplace_back(current.begin(), current.end());
        }
        t.bandOffset[level] = static_cast<int32_t>((bands.size() - 1) * columns);
        t.bandOf[level] = static_cast<uint8_t>(bands.size() - 1);
    }

    t.rows = rows;
    t.columns = columns;
    t.bandCount = static_cast<int>(bands.size());
    t.k.resize(static_cast<size_t>(rows) * t.bandCount * columns);
    for (int r = 0; r < rows; ++r)
        for (int band = 0; band < t.bandCount; ++band)
            std::copy_n(bands[band].begin() + static_cast<size_t>(r) * columns, columns,
                        t.k.begin() + (static_cast<size_t>(r) * t.bandCount + band) * columns);
    t.b.assign(static_cast<size_t>(rows) * columns, 0.0f);
    for (int r = 0; r < rows; ++r)
        for (int x = 0; x < columns && x < bList[r].size(); ++x)
            t.b[static_cast<size_t>(r) * columns + x] = static_cast<float>(bList[r][x]);
    // The sweep reads the K of an element by its position in the frame's row and its band.
    // The wide kernels read K band by band, the elements of a band in the frame's order.
    t.kByElement.resize(t.k.size());
    t.kByBand.resize(t.k.size());
    for (int r = 0; r < rows; ++r)
        for (int band = 0; band < t.bandCount; ++band)
            for (int x = 0; x < columns; ++x) {
                const float k = t.k[(static_cast<size_t>(r) * t.bandCount + band) * columns + x];
                t.kByElement[(static_cast<size_t>(x) * rows + r) * t.bandCount + band] = k;
                t.kByBand[static_cast<size_t>(band) * rows * columns + static_cast<size_t>(x) * rows + r] = k;
            }
    t.bandStart.assign(static_cast<size_t>(t.bandCount), 0);
    for (int level = 255; level >= 0; --level) t.bandStart[t.bandOf[level]] = level;
    t.bInterleaved.resize(t.b.size());
    for (int r = 0; r < rows; ++r)
        for (int x = 0; x < columns; ++x)
            t.bInterleaved[static_cast<size_t>(x) * rows + r] = t.b[static_cast<size_t>(r) * columns + x];
    return t;
}

LineFpnTable buildLineFpnTable(const QList<QList<double>>& bList, const QList<QList<double>>& kList, int lineCount)
{
    LineFpnTable t;
    if (lineCount < 2 || bList.size() != lineCount || kList.size() != lineCount) return t;
    qsizetype columns = std::numeric_limits<int>::max();
    for (int l = 0; l < lineCount; ++l) columns = std::min({columns, bList[l].size(), kList[l].size()});
    t.lines = lineCount;
    t.columns = static_cast<int>(columns);
    t.b.resize(static_cast<size_t>(lineCount) * columns);
    t.k.resize(t.b.size());
    for (int l = 0; l < lineCount; ++l)
        for (int x = 0; x < columns; ++x) {
            t.b[static_cast<size_t>(l) * columns + x] = static_cast<float>(bList[l][x]);
            t.k[static_cast<size_t>(l) * columns + x] = static_cast<float>(kList[l][x]);
        }
    return t;
}

LscTable buildLscTable(const QList<QList<double>>& lscKList)
{
    LscTable t;
    if (lscKList.isEmpty()) return t;
    qsizetype size = std::numeric_limits<int>::max();
    for (const QList<double>& l : lscKList) size = std::min(size, l.size());
    t.lists = static_cast<int>(lscKList.size());
    t.size = static_cast<int>(size);
    t.gain.resize(static_cast<size_t>(t.lists) * size);
    for (int l = 0; l < t.lists; ++l)
        for (int x = 0; x < size; ++x)
            t.gain[static_cast<size_t>(l) * size + x] = static_cast<double>(static_cast<float>(lscKList[l][x]));
    return t;
}

PreviewCorrections buildPreviewCorrections(const std::vector<uint16_t>& levels, const QList<QList<double>>& bList,
                                           const QList<QList<double>>& kList, const QList<double>& kScaleList,
                                           const KAtLevelFn& kAtLevel, int lineCount,
                                           const QList<QList<double>>& lscKList)
{
    PreviewCorrections c;
    c.fpn = buildFpnLevelTable(levels, bList, kScaleList, kAtLevel);
    c.lineFpn = buildLineFpnTable(bList, kList, lineCount);
    c.lsc = buildLscTable(lscKList);
    return c;
}

namespace {

// The FFC and LSC gain rows of one frame, kept alive while its chain is used.
struct FrameGains {
    std::vector<float> ffc;
    std::vector<double> lsc;
};

// Resolves which corrections apply to a frame of this format and size. False for a format the
// preview does not take, or a frame it leaves alone (empty, or not matching its format).
bool resolveChain(const cv::Mat& img, int format, const PreviewCorrections& corrections,
                  const PreviewSwitches& switches, const QList<QList<double>>& ffcKList, FrameGains& gains,
                  Chain& chain, bool& process)
{
    process = false;
    const int channels = channelsOf(format);
    if (channels == 0) return false;
    if (img.empty() || img.channels() != channels) return true;  // nothing to do
    const bool mono = format == FORMAT_MONO;
    const bool wide = img.depth() == CV_16U;
    if (img.depth() != CV_8U && !wide) return true;
    if (!mono && wide) return true;
    process = true;
    const int width = img.cols;

    if (switches.fpn) {
        const FpnLevelTable& t = corrections.fpn;
        const bool oneLine = mono ? t.rows == 1 : t.rows == channels;
        if (t.valid() && oneLine && t.columns == width) chain.fpn = &t;
        const LineFpnTable& l = corrections.lineFpn;
        if (mono && switches.lineCount >= 2 && l.lines == switches.lineCount && l.columns >= width)
            chain.lineFpn = &l;
    }
    if (switches.ffc) {
        gains.ffc = ffcGains(ffcKList, format, width, mono ? switches.lineCount : 1, chain.ffcRows);
        if (!gains.ffc.empty()) chain.ffc = gains.ffc.data();
    }
    if (switches.lsc) {
        gains.lsc = lscGains(corrections.lsc, format, width, switches.regionX);
        if (!gains.lsc.empty()) chain.lsc = gains.lsc.data();
    }
    return true;
}

// An 8-bit frame whose rows all go through the same chain (one sensor line, or colour): the
// result of each element is a function of its position in the row and its own value alone.
bool chainIsPerElement(const cv::Mat& img, const Chain& chain)
{
    return img.depth() == CV_8U && chain.lineFpn == nullptr && chain.ffcRows == 1 && chain.any();
}

// The table of that function: the chain run over 256 rows, row v filled with v, then turned so
// that the 256 results of one element lie together. Built by the row kernels themselves, so a
// lookup gives exactly what the arithmetic gives.
void buildByteTable(const cv::Mat& img, const Chain& chain, std::vector<uint8_t>& table)
{
    cv::Mat levels(256, img.cols, img.type());
    for (int v = 0; v < 256; ++v) levels.row(v).setTo(cv::Scalar::all(v));
    cv::Mat flat = levels.reshape(1);
    for (int v = 0; v < 256; ++v) correctRow<uint8_t>(flat.ptr<uint8_t>(v), 0, 0, flat.cols, flat.cols, chain, nullptr);
    table.resize(static_cast<size_t>(flat.cols) * 256);
    cv::Mat turned(flat.cols, 256, CV_8UC1, table.data());
    cv::transpose(flat, turned);
}

// The table for this frame's chain: the one of the previous frame while nothing it depends on
// has changed (the FFC gains may change between frames), else a new one.
const uint8_t* byteTableFor(const cv::Mat& img, int format, const Chain& chain, const PreviewCorrections& c,
                            const PreviewSwitches& switches)
{
    PreviewByteTable& t = c.byteTable;
    const std::vector<float> ffc = chain.ffc ? std::vector<float>(chain.ffc, chain.ffc + img.cols * img.channels())
                                             : std::vector<float>();
    const bool same = !t.table.empty() && t.format == format && t.width == img.cols && t.fpn == (chain.fpn != nullptr) &&
                      t.lsc == (chain.lsc != nullptr) && t.regionX == switches.regionX && t.fpnK == c.fpn.k.data() &&
                      t.fpnB == c.fpn.bInterleaved.data() && t.lscGain == c.lsc.gain.data() && t.ffc == ffc;
    if (!same) {
        t.format = format;
        t.width = img.cols;
        t.fpn = chain.fpn != nullptr;
        t.lsc = chain.lsc != nullptr;
        t.regionX = switches.regionX;
        t.fpnK = c.fpn.k.data();
        t.fpnB = c.fpn.bInterleaved.data();
        t.lscGain = c.lsc.gain.data();
        t.ffc = ffc;
        buildByteTable(img, chain, t.table);
    }
    return t.table.data();
}

// One strip of 64 elements of every row through its part of the table, the results' column sums
// into sums[0..63]. Sixteen-bit sums are carried into 32 bits every 256 rows (255 x 256 fits).
void byteStrip(uint8_t* p, size_t step, int rows, const uint8_t* __restrict t, uint32_t* sums)
{
    const __m128i z = _mm_setzero_si128();
    __m128i s16[8];
    for (__m128i& a : s16) a = z;
    auto carry = [&] {
        for (int j = 0; j < 8; ++j) {
            uint16_t w[8];
            _mm_storeu_si128(reinterpret_cast<__m128i*>(w), s16[j]);
            for (int e = 0; e < 8; ++e) sums[j * 8 + e] += w[e];
            s16[j] = z;
        }
    };
    auto add = [&](const uint8_t* q) {
        for (int j = 0; j < 4; ++j) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(q + 16 * j));
            s16[2 * j] = _mm_add_epi16(s16[2 * j], _mm_unpacklo_epi8(v, z));
            s16[2 * j + 1] = _mm_add_epi16(s16[2 * j + 1], _mm_unpackhi_epi8(v, z));
        }
    };
    // A row's sums are taken a few rows later: reading sixteen bytes just written one by one
    // cannot be forwarded from the store buffer and waits for the stores to land.
    constexpr int lag = 4;
    uint8_t* const first = p;
    for (int y = 0; y < rows; ++y, p += step) {
        if (y + 8 < rows) _mm_prefetch(reinterpret_cast<const char*>(p + 8 * step), _MM_HINT_T0);
        uint8_t* __restrict q = p;
#pragma GCC unroll 64
        for (int i = 0; i < 64; ++i) q[i] = t[i * 256 + q[i]];
        if (y >= lag) {
            add(p - lag * step);
            if (((y - lag) & 255) == 255) carry();
        }
    }
    for (int y = std::max(0, rows - lag); y < rows; ++y) {
        add(first + static_cast<size_t>(y) * step);
        if ((y & 255) == 255) carry();
    }
    carry();
}

// One lookup per element. The frame is swept in strips of 64 elements from top to bottom, so
// that the strip's part of the table (16 KB) stays in the first-level cache; the column sums
// are gathered on the way into `sums` (one per element of a row).
void applyByteTable(cv::Mat& img, const uint8_t* table, uint32_t* sums)
{
    constexpr int strip = 64;
    const int n = img.cols * img.channels();
    const size_t step = img.step[0];
    int i0 = 0;
    for (; i0 + strip <= n; i0 += strip)
        byteStrip(img.ptr<uint8_t>(0) + i0, step, img.rows, table + static_cast<size_t>(i0) * 256, sums + i0);
    // The last, narrower strip.
    for (int y = 0; y < img.rows; ++y) {
        uint8_t* p = img.ptr<uint8_t>(y);
        for (int i = i0; i < n; ++i) {
            p[i] = table[static_cast<size_t>(i) * 256 + p[i]];
            sums[i] += p[i];
        }
    }
}

// Float column sums to column means on the 8-bit scale, channels as B, G, R.
void finishMeans(cv::Mat& mean, int rows, int format, int bits)
{
    const int channels = mean.channels();
    float* acc = mean.ptr<float>(0);
    const float divisor = static_cast<float>((bits == LSX_BITS_16 ? 256.0 : 1.0) * rows);
    const int n = mean.cols * channels;
    for (int i = 0; i < n; ++i) acc[i] = acc[i] / divisor;
    if ((format == FORMAT_RGB24 || format == FORMAT_RGB32) && channels >= 3)
        for (int x = 0; x < mean.cols; ++x) std::swap(acc[x * channels], acc[x * channels + 2]);
}

// The corrections of one frame; with `means`, also its row of column means, taken in the same
// sweep (valid only when the frame is not regrouped or summed afterwards). False for a format
// the preview does not take.
bool correct(cv::Mat& img, int format, const PreviewCorrections& corrections, const PreviewSwitches& switches,
             const QList<QList<double>>& ffcKList, int bits, cv::Mat* means)
{
    FrameGains gains;
    Chain chain;
    bool process = false;
    if (!resolveChain(img, format, corrections, switches, ffcKList, gains, chain, process)) return false;
    if (!process) return true;
    float* acc = nullptr;
    if (means) {
        *means = cv::Mat::zeros(1, img.cols, CV_MAKETYPE(CV_32F, img.channels()));
        acc = means->ptr<float>(0);
    }
    // Column sums of 8-bit data are exact in 32-bit integers and, below 2^24, in float.
    if (chainIsPerElement(img, chain) && img.rows <= 65793) {
        const uint8_t* table = byteTableFor(img, format, chain, corrections, switches);
        std::vector<uint32_t> sums(static_cast<size_t>(img.cols) * img.channels(), 0u);
        applyByteTable(img, table, sums.data());
        if (acc)
            for (size_t i = 0; i < sums.size(); ++i) acc[i] = static_cast<float>(sums[i]);
    } else if (img.depth() == CV_16U) {
        correctFrame<uint16_t>(img, chain, acc);
    } else {
        correctFrame<uint8_t>(img, chain, acc);
    }
    if (means) finishMeans(*means, img.rows, format, bits);
    if (format == FORMAT_MONO && switches.lineCount > 1) img = regroupLines(img, switches.lineCount);
    return true;
}

}  // namespace

bool applyPreview(cv::Mat& img, int format, const PreviewCorrections& corrections, const PreviewSwitches& switches,
                  const QList<QList<double>>& ffcKList)
{
    return correct(img, format, corrections, switches, ffcKList, 0, nullptr);
}

bool previewFrame(cv::Mat& img, int format, int bits, const PreviewCorrections& corrections,
                  const PreviewSwitches& switches, const QList<QList<double>>& ffcKList, int sum, cv::Mat& staticMat)
{
    staticMat = cv::Mat();
    // The means of the corrected frame come with the sweep, unless regrouping or Sum comes between.
    const bool meansInSweep = sum <= 1 && !(format == FORMAT_MONO && switches.lineCount > 1) && !img.empty() &&
                              img.channels() == channelsOf(format) && (img.depth() == CV_8U || img.depth() == CV_16U);
    if (!correct(img, format, corrections, switches, ffcKList, bits, meansInSweep ? &staticMat : nullptr)) return false;
    if (meansInSweep && !staticMat.empty()) return true;
    img = sumBlocks(img, sum);
    staticMat = columnMeans(img, format, bits);
    return true;
}

cv::Mat regroupLines(const cv::Mat& img, int lineCount)
{
    if (lineCount <= 1 || img.rows == 0) return img;
    cv::Mat out(img.rows, img.cols, img.type());
    int to = 0;
    for (int l = 0; l < lineCount; ++l)
        for (int y = l; y < img.rows; y += lineCount) img.row(y).copyTo(out.row(to++));
    return out;
}

cv::Mat sumBlocks(const cv::Mat& img, int s)
{
    if (s <= 1 || img.empty()) return img;
    if (img.depth() != CV_8U && img.depth() != CV_16U) return img;
    cv::Mat out(img.rows / s, img.cols / s, img.type());
    if (out.empty()) return out;
    if (img.depth() == CV_8U)
        sumBlocksT<uint8_t>(img, out, s);
    else
        sumBlocksT<uint16_t>(img, out, s);
    return out;
}

cv::Mat columnMeans(const cv::Mat& img, int format, int bits)
{
    if (img.empty()) return cv::Mat();
    const int channels = img.channels();
    cv::Mat mean = cv::Mat::zeros(1, img.cols, CV_MAKETYPE(CV_32F, channels));
    float* acc = mean.ptr<float>(0);
    switch (img.depth()) {
    case CV_8U: addRows<uint8_t>(img, acc); break;
    case CV_16U: addRows<uint16_t>(img, acc); break;
    case CV_32F: addRows<float>(img, acc); break;
    default: {
        cv::Mat f;
        img.convertTo(f, CV_MAKETYPE(CV_32F, channels));
        addRows<float>(f, acc);
    }
    }
    finishMeans(mean, img.rows, format, bits);
    return mean;
}

PreviewIsa previewIsa()
{
    return static_cast<PreviewIsa>(g_isa.load());
}

PreviewIsa setPreviewIsa(PreviewIsa wanted)
{
    g_isa.store(std::min(static_cast<int>(wanted), bestIsa()));
    return previewIsa();
}

const char* previewIsaName(PreviewIsa isa)
{
    switch (isa) {
    case PreviewIsa::Avx512: return "AVX-512";
    case PreviewIsa::Avx2: return "AVX2";
    default: return "SSE2";
    }
}

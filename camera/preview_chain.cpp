// The row chain of the preview on SSE2 (every x86-64) with the dispatch to the wider registers
// the processor has, and the sweep of a frame through it, shared out among the threads.
#include "camera/preview_chain.h"

#include "camera/preview_stripes.h"
#include "camera/preview_wide.h"

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
int wideChain(const T* src, T* p, int n, const float* b, const KSource& ks, const float* f, const double* l, float* acc)
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
    return isa == static_cast<int>(PreviewIsa::Avx512) ? chainRowAvx512(src, p, n, r) : chainRowAvx2(src, p, n, r);
}

template <typename T>
inline float kOf(const KSource& s, const T* p, int i)
{
    constexpr int shift = sizeof(T) == 2 ? 8 : 0;
    return s.k ? s.k[i] : s.bands[static_cast<size_t>(i) * s.count + s.bandOf[p[i] >> shift]];
}

template <typename T>
void chainRow(const T* src, T* p, int n, const float* b, const KSource& ks, const float* f, const double* l, float* acc)
{
    int i = wideChain(src, p, n, b, ks, f, l, acc);
    for (; i + 8 <= n; i += 8) {
        __m128i lo, hi;
        load8(src + i, lo, hi);
        if (ks.on()) {
            __m128 k0, k1;
            if (ks.k) {
                k0 = _mm_loadu_ps(ks.k + i);
                k1 = _mm_loadu_ps(ks.k + i + 4);
            } else {
                k0 = _mm_setr_ps(kOf(ks, src, i), kOf(ks, src, i + 1), kOf(ks, src, i + 2), kOf(ks, src, i + 3));
                k1 = _mm_setr_ps(kOf(ks, src, i + 4), kOf(ks, src, i + 5), kOf(ks, src, i + 6), kOf(ks, src, i + 7));
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
        T v = src[i];
        if (ks.on()) v = toDepth<T>((static_cast<float>(v) - b[i]) * kOf(ks, src, i));
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
void correctRow(const T* src, T* p, int y, int i0, int i1, int n, const Chain& c, float* acc)
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
    chainRow<T>(src + i0, p + i0, i1 - i0, b ? b + i0 : nullptr, ks, f, c.lsc ? c.lsc + i0 : nullptr,
                acc ? acc + i0 : nullptr);
}

// Elements [i0, i1) of every row, from the top row of `to` to the bottom.
template <typename T>
void correctColumns(const cv::Mat& from, cv::Mat& to, const int* rowOf, int i0, int i1, const Chain& c, float* acc)
{
    const int n = to.cols * to.channels();
    // The rows of a strip lie a whole row apart: the processor's prefetcher does not follow
    // them, so each row's part is asked for a few rows ahead, where it is read and where it is
    // written.
    constexpr int ahead = 4;
    const size_t bytes = static_cast<size_t>(i1 - i0) * sizeof(T);
    const bool copy = from.data != to.data;
    auto sourceRow = [&](int j) { return rowOf ? rowOf[j] : j; };
    for (int j = 0; j < to.rows; ++j) {
        if (j + ahead < to.rows) {
            const char* next = reinterpret_cast<const char*>(from.ptr<T>(sourceRow(j + ahead)) + i0);
            for (size_t o = 0; o < bytes; o += 64) _mm_prefetch(next + o, _MM_HINT_T0);
            if (copy) {
                const char* into = reinterpret_cast<const char*>(to.ptr<T>(j + ahead) + i0);
                for (size_t o = 0; o < bytes; o += 64) _mm_prefetch(into + o, _MM_HINT_T0);
            }
        }
        const int y = sourceRow(j);
        correctRow<T>(from.ptr<T>(y), to.ptr<T>(j), y, i0, i1, n, c, acc);
    }
}

}  // namespace

std::vector<int> regroupedRows(int rows, int lineCount)
{
    std::vector<int> rowOf;
    if (lineCount <= 1) return rowOf;
    rowOf.reserve(static_cast<size_t>(std::max(rows, 0)));
    for (int l = 0; l < lineCount; ++l)
        for (int y = l; y < rows; y += lineCount) rowOf.push_back(y);
    return rowOf;
}

void correctFrame(const cv::Mat& from, cv::Mat& to, const int* rowOf, const Chain& chain, float* acc)
{
    // Strips of at most 512 elements: a strip's coefficients (B, K of nine bands, the FFC and LSC
    // gains, the sums: about 28 KB) stay in the first-level cache from row to row. Narrower ones
    // where a frame would otherwise leave a thread without a strip. Whole blocks of 64 elements,
    // so that the wide registers see no ragged edge inside the row.
    const int n = to.cols * to.channels();
    const int parts = std::max((n + 511) / 512, partsFor(n, 64));
    const bool wide = to.depth() == CV_16U;
    forEachPart(parts, [&](int part) {
        const PartRange r = partOf(n, parts, part, 64);
        if (wide)
            correctColumns<uint16_t>(from, to, rowOf, r.begin, r.end, chain, acc);
        else
            correctColumns<uint8_t>(from, to, rowOf, r.begin, r.end, chain, acc);
    });
}

void correctByteRow(uint8_t* p, int n, const Chain& chain)
{
    correctRow<uint8_t>(p, p, 0, 0, n, n, chain, nullptr);
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

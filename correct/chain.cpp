// The row chain on SSE2 (every x86-64) with the dispatch to the wider registers the processor
// has, and the sweep of a block of rows through it, shared out among the threads.
#include "kernel.h"
#include "parts.h"
#include "wide.h"

#include <emmintrin.h>

#include <algorithm>
#include <atomic>

namespace lsxc {

namespace {

// Saturated and rounded to nearest, ties to even, as the samples take a float result. Adding
// and taking away 1.5 * 2^23 rounds in the current (nearest-even) mode; the clamp comes first so
// that the value stays in the range where that holds. NaN goes to 0.
template <typename T>
inline T toDepth(float t, float top)
{
    t = t > 0.0f ? t : 0.0f;
    t = t < top ? t : top;
    const float r = (t + 12582912.0f) - 12582912.0f;
    return static_cast<T>(static_cast<int>(r));
}

// The same from a double result (1.5 * 2^52 for double).
template <typename T>
inline T toDepth(double t, float top)
{
    t = t > 0.0 ? t : 0.0;
    t = t < static_cast<double>(top) ? t : static_cast<double>(top);
    const double r = (t + 6755399441055744.0) - 6755399441055744.0;
    return static_cast<T>(static_cast<int>(r));
}

// ---- Eight samples at a time (SSE2, part of every x86-64) ----
// _mm_cvtps_epi32 and _mm_cvtpd_epi32 round in the current mode, nearest-even, like rint; the
// clamp to the samples' range comes first (max_ps puts NaN to 0), so the result is the saturated
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
// Stores eight values already clamped to the samples' range.
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

inline __m128i roundClamp(__m128 t, __m128 top)
{
    return _mm_cvtps_epi32(_mm_min_ps(_mm_max_ps(t, _mm_setzero_ps()), top));
}

inline __m128i roundClampD(__m128d a, __m128d b, __m128d top)
{
    const __m128d zero = _mm_setzero_pd();
    a = _mm_min_pd(_mm_max_pd(a, zero), top);
    b = _mm_min_pd(_mm_max_pd(b, zero), top);
    return _mm_unpacklo_epi64(_mm_cvtpd_epi32(a), _mm_cvtpd_epi32(b));
}

// ---- The chain of one row ----

// The coefficients of one row segment, each pointer at the segment's first element.
struct Segment {
    const float* b = nullptr;
    const float* k = nullptr;
    const float* bands = nullptr;  // [band][element], `stride` elements a band
    size_t stride = 0;
    const float* from = nullptr;
    int count = 0;
    bool byOffset = false;
    const float* f = nullptr;
    const double* l = nullptr;
    float* acc = nullptr;
    float top = 255.0f;
};

// K of the FPN of element i at its level: the last band whose start the level is above.
inline float kOf(const Segment& s, float level, int i)
{
    if (s.k) return s.k[i];
    int j = 0;
    while (j + 1 < s.count && level > s.from[j + 1]) ++j;
    return s.bands[static_cast<size_t>(j) * s.stride + i];
}

// The processor's widest registers, looked up once; a test may ask for narrower ones.
int bestIsa()
{
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f")) return static_cast<int>(Isa::Avx512);
    if (__builtin_cpu_supports("avx2")) return static_cast<int>(Isa::Avx2);
    return static_cast<int>(Isa::Sse2);
}
std::atomic<int> g_isa{bestIsa()};

// The first elements of a row through the wide kernel of the registers in use; returns how
// many it did.
template <typename T>
int wideChain(const T* src, T* p, int n, const Segment& s)
{
    const int isa = g_isa.load(std::memory_order_relaxed);
    if (isa == static_cast<int>(Isa::Sse2)) return 0;
    WideRow r;
    if (s.b) {
        r.b = s.b;
        r.k = s.k;
        r.bands = s.bands;
        r.bandStride = s.stride;
        r.bandFrom = s.from;
        r.bandCount = s.count;
        r.bandByOffset = s.byOffset;
    }
    r.f = s.f;
    r.l = s.l;
    r.acc = s.acc;
    r.top = s.top;
    return isa == static_cast<int>(Isa::Avx512) ? chainRowAvx512(src, p, n, r) : chainRowAvx2(src, p, n, r);
}

// The whole chain of eight elements in registers: FPN (b, k), FFC (f), LSC (l), each with its
// own rounding and saturation, as the scalar tail spells it out; the results are added to `acc`
// as float when it is given. A null pointer skips its step.
template <typename T>
void chainRow(const T* src, T* p, int n, const Segment& s)
{
    int i = wideChain(src, p, n, s);
    const __m128 top = _mm_set1_ps(s.top);
    const __m128d topD = _mm_set1_pd(s.top);
    for (; i + 8 <= n; i += 8) {
        __m128i lo, hi;
        load8(src + i, lo, hi);
        if (s.b) {
            const __m128 x0 = _mm_cvtepi32_ps(lo), x1 = _mm_cvtepi32_ps(hi);
            const __m128 d0 = _mm_sub_ps(x0, _mm_loadu_ps(s.b + i));
            const __m128 d1 = _mm_sub_ps(x1, _mm_loadu_ps(s.b + i + 4));
            __m128 k0, k1;
            if (s.k) {
                k0 = _mm_loadu_ps(s.k + i);
                k1 = _mm_loadu_ps(s.k + i + 4);
            } else {
                alignas(16) float l[8];
                _mm_store_ps(l, s.byOffset ? d0 : x0);
                _mm_store_ps(l + 4, s.byOffset ? d1 : x1);
                k0 = _mm_setr_ps(kOf(s, l[0], i), kOf(s, l[1], i + 1), kOf(s, l[2], i + 2), kOf(s, l[3], i + 3));
                k1 = _mm_setr_ps(kOf(s, l[4], i + 4), kOf(s, l[5], i + 5), kOf(s, l[6], i + 6), kOf(s, l[7], i + 7));
            }
            lo = roundClamp(_mm_mul_ps(d0, k0), top);
            hi = roundClamp(_mm_mul_ps(d1, k1), top);
        }
        if (s.f) {
            lo = roundClamp(_mm_mul_ps(_mm_cvtepi32_ps(lo), _mm_loadu_ps(s.f + i)), top);
            hi = roundClamp(_mm_mul_ps(_mm_cvtepi32_ps(hi), _mm_loadu_ps(s.f + i + 4)), top);
        }
        if (s.l) {
            const __m128d a0 = _mm_mul_pd(_mm_cvtepi32_pd(lo), _mm_loadu_pd(s.l + i));
            const __m128d a1 = _mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(lo, 8)), _mm_loadu_pd(s.l + i + 2));
            const __m128d a2 = _mm_mul_pd(_mm_cvtepi32_pd(hi), _mm_loadu_pd(s.l + i + 4));
            const __m128d a3 = _mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(hi, 8)), _mm_loadu_pd(s.l + i + 6));
            lo = roundClampD(a0, a1, topD);
            hi = roundClampD(a2, a3, topD);
        }
        if (s.acc) {
            _mm_storeu_ps(s.acc + i, _mm_add_ps(_mm_loadu_ps(s.acc + i), _mm_cvtepi32_ps(lo)));
            _mm_storeu_ps(s.acc + i + 4, _mm_add_ps(_mm_loadu_ps(s.acc + i + 4), _mm_cvtepi32_ps(hi)));
        }
        store8(p + i, lo, hi);
    }
    for (; i < n; ++i) {
        T v = src[i];
        if (s.b) {
            const float x = static_cast<float>(v);
            const float d = x - s.b[i];
            v = toDepth<T>(d * kOf(s, s.byOffset ? d : x, i), s.top);
        }
        if (s.f) v = toDepth<T>(static_cast<float>(v) * s.f[i], s.top);
        if (s.l) v = toDepth<T>(static_cast<double>(v) * s.l[i], s.top);
        if (s.acc) s.acc[i] += static_cast<float>(v);
        p[i] = v;
    }
}

// FPN, FFC and LSC of elements [i0, i1) of the row of line cycle index y in one pass. Each step
// is element by element with its own rounding and saturation, so doing them strip by strip gives
// what doing them row by row gives.
template <typename T>
void correctRow(const T* src, T* p, int64_t y, int i0, int i1, const Chain& c, float* acc)
{
    Segment s;
    if (c.b) {
        const size_t line = c.lines > 1 ? static_cast<size_t>(y % c.lines) * c.lineStride : 0;
        s.b = c.b + line + i0;
        if (c.k) {
            s.k = c.k + line + i0;
        } else {
            s.bands = c.bands + line + i0;
            s.stride = c.bandStride;
            s.from = c.bandFrom;
            s.count = c.bandCount;
            s.byOffset = c.bandByOffset;
        }
    }
    if (c.ffc) s.f = c.ffc + (c.ffcRows > 1 ? static_cast<size_t>(y % c.ffcRows) * c.ffcStride : 0) + i0;
    if (c.lsc) s.l = c.lsc + i0;
    if (acc) s.acc = acc + i0;
    s.top = c.top;
    chainRow<T>(src + i0, p + i0, i1 - i0, s);
}

// Elements [i0, i1) of every row, from the top row of `to` to the bottom.
template <typename T>
void correctColumns(const Rows& r, int i0, int i1, const Chain& c, float* acc)
{
    // The rows of a strip lie a whole row apart: the processor's prefetcher does not follow
    // them, so each row's part is asked for a few rows ahead, where it is read and where it is
    // written.
    constexpr int ahead = 4;
    const size_t bytes = static_cast<size_t>(i1 - i0) * sizeof(T);
    const bool copy = r.from != r.to;
    auto sourceRow = [&](int j) { return r.rowOf ? r.rowOf[j] : j; };
    auto fromRow = [&](int y) { return reinterpret_cast<const T*>(r.from + static_cast<size_t>(y) * r.fromStep); };
    auto toRow = [&](int j) { return reinterpret_cast<T*>(r.to + static_cast<size_t>(j) * r.toStep); };
    for (int j = 0; j < r.rows; ++j) {
        if (j + ahead < r.rows) {
            const char* next = reinterpret_cast<const char*>(fromRow(sourceRow(j + ahead)) + i0);
            for (size_t o = 0; o < bytes; o += 64) _mm_prefetch(next + o, _MM_HINT_T0);
            if (copy) {
                const char* into = reinterpret_cast<const char*>(toRow(j + ahead) + i0);
                for (size_t o = 0; o < bytes; o += 64) _mm_prefetch(into + o, _MM_HINT_T0);
            }
        }
        const int y = sourceRow(j);
        correctRow<T>(fromRow(y), toRow(j), r.firstRow + y, i0, i1, c, acc);
    }
}

// Below this many samples a block stays on the calling thread: handing it to a helper costs
// more than the work.
constexpr int64_t kSamplesPerThread = 1 << 16;

}  // namespace

void correctRows(const Rows& r, const Chain& chain, float* acc)
{
    if (r.rows <= 0 || r.elements <= 0) return;
    if (!acc) {
        // No column sums: whole rows, in bands of rows shared out among the threads. The
        // processor's prefetcher follows a row from its first byte to its last, and a row's
        // coefficients stay in the second-level cache from row to row.
        const bool wide = r.bytes == 2;
        const int parts = int64_t(r.elements) * r.rows < kSamplesPerThread ? 1 : partsFor(r.rows);
        forEachPart(parts, [&](int part) {
            const PartRange p = partOf(r.rows, parts, part);
            for (int j = p.begin; j < p.end; ++j) {
                const int y = r.rowOf ? r.rowOf[j] : j;
                const uint8_t* from = r.from + static_cast<size_t>(y) * r.fromStep;
                uint8_t* to = r.to + static_cast<size_t>(j) * r.toStep;
                if (wide)
                    correctRow<uint16_t>(reinterpret_cast<const uint16_t*>(from), reinterpret_cast<uint16_t*>(to),
                                         r.firstRow + y, 0, r.elements, chain, nullptr);
                else
                    correctRow<uint8_t>(from, to, r.firstRow + y, 0, r.elements, chain, nullptr);
            }
        });
        return;
    }
    // Strips of at most 512 elements: a strip's coefficients (B, K of nine bands, the FFC and LSC
    // gains, the sums: about 28 KB) stay in the first-level cache from row to row. Narrower ones
    // where a block would otherwise leave a thread without a strip. Whole blocks of 64 elements,
    // so that the wide registers see no ragged edge inside the row.
    const int n = r.elements;
    const bool small = int64_t(n) * r.rows < kSamplesPerThread;
    const int parts = small ? (n + 511) / 512 : std::max((n + 511) / 512, partsFor(n, 64));
    auto strip = [&](int part) {
        const PartRange p = partOf(n, parts, part, 64);
        if (r.bytes == 2)
            correctColumns<uint16_t>(r, p.begin, p.end, chain, acc);
        else
            correctColumns<uint8_t>(r, p.begin, p.end, chain, acc);
    };
    if (small) {
        for (int part = 0; part < parts; ++part) strip(part);
        return;
    }
    forEachPart(parts, strip);
}

bool chainIsPerElement(int bytes, const Chain& chain)
{
    return bytes == 1 && chain.lines <= 1 && chain.ffcRows <= 1 && chain.any();
}

void correctByteRow(uint8_t* p, int n, const Chain& chain)
{
    correctRow<uint8_t>(p, p, 0, 0, n, chain, nullptr);
}

Isa isa()
{
    return static_cast<Isa>(g_isa.load());
}

Isa setIsa(Isa wanted)
{
    g_isa.store(std::min(static_cast<int>(wanted), bestIsa()));
    return isa();
}

const char* isaName(Isa isa)
{
    switch (isa) {
    case Isa::Avx512: return "AVX-512";
    case Isa::Avx2: return "AVX2";
    default: return "SSE2";
    }
}

}  // namespace lsxc

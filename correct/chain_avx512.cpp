// The row chain on AVX-512 registers, sixteen elements at a time. This file alone is compiled
// with AVX-512; chain.cpp calls it only where the processor has it.
#include "wide.h"

#include <immintrin.h>

namespace {

struct Avx512Lanes {
    static constexpr int N = 16;
    using vi = __m512i;
    using vf = __m512;

    static vi load(const uint8_t* p)
    {
        return _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    }
    static vi load(const uint16_t* p)
    {
        return _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
    }
    // Stores values already clamped to the depth's range.
    static void store(uint8_t* p, vi v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm512_cvtepi32_epi8(v)); }
    static void store(uint16_t* p, vi v)
    {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm512_cvtepi32_epi16(v));
    }
    static vf cvt(vi v) { return _mm512_cvtepi32_ps(v); }
    static vf loadf(const float* p) { return _mm512_loadu_ps(p); }
    static void storef(float* p, vf v) { _mm512_storeu_ps(p, v); }
    static vf add(vf a, vf b) { return _mm512_add_ps(a, b); }
    static vf sub(vf a, vf b) { return _mm512_sub_ps(a, b); }
    static vf mul(vf a, vf b) { return _mm512_mul_ps(a, b); }
    // Clamped to [0, top] (NaN to 0), then rounded to nearest, ties to even.
    static vi roundClamp(vf t, float top)
    {
        return _mm512_cvtps_epi32(_mm512_min_ps(_mm512_max_ps(t, _mm512_setzero_ps()), _mm512_set1_ps(top)));
    }
    // k with the lanes whose level is above `edge` taken from `from`. A whole load and a
    // blend: a masked load into k would chain the bands' load latencies one after the other.
    static vf selectAbove(vf k, vf level, float edge, const float* from)
    {
        const __mmask16 m = _mm512_cmp_ps_mask(level, _mm512_set1_ps(edge), _CMP_GT_OQ);
        return _mm512_mask_blend_ps(m, k, _mm512_loadu_ps(from));
    }
    // double(v) x l, clamped and rounded.
    static vi scaleDouble(vi v, const double* l, float top)
    {
        const __m512d zero = _mm512_setzero_pd(), t = _mm512_set1_pd(top);
        __m512d a = _mm512_mul_pd(_mm512_cvtepi32_pd(_mm512_castsi512_si256(v)), _mm512_loadu_pd(l));
        __m512d b = _mm512_mul_pd(_mm512_cvtepi32_pd(_mm512_extracti64x4_epi64(v, 1)), _mm512_loadu_pd(l + 8));
        a = _mm512_min_pd(_mm512_max_pd(a, zero), t);
        b = _mm512_min_pd(_mm512_max_pd(b, zero), t);
        return _mm512_inserti64x4(_mm512_castsi256_si512(_mm512_cvtpd_epi32(a)), _mm512_cvtpd_epi32(b), 1);
    }
};

}  // namespace

int chainRowAvx512(const uint8_t* src, uint8_t* p, int n, const WideRow& r)
{
    return chainRowWide<Avx512Lanes>(src, p, n, r);
}
int chainRowAvx512(const uint16_t* src, uint16_t* p, int n, const WideRow& r)
{
    return chainRowWide<Avx512Lanes>(src, p, n, r);
}

// The row chain on AVX2 registers, eight elements at a time. This file alone is compiled with
// AVX2; chain.cpp calls it only where the processor has it.
#include "wide.h"

#include <immintrin.h>

namespace {

struct Avx2Lanes {
    static constexpr int N = 8;
    using vi = __m256i;
    using vf = __m256;

    static vi load(const uint8_t* p)
    {
        return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
    }
    static vi load(const uint16_t* p)
    {
        return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    }
    // Stores values already clamped to the depth's range.
    static void store(uint8_t* p, vi v)
    {
        const __m128i w = _mm_packus_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(w, w));
    }
    static void store(uint16_t* p, vi v)
    {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p),
                         _mm_packus_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)));
    }
    static vf cvt(vi v) { return _mm256_cvtepi32_ps(v); }
    static vf loadf(const float* p) { return _mm256_loadu_ps(p); }
    static void storef(float* p, vf v) { _mm256_storeu_ps(p, v); }
    static vf add(vf a, vf b) { return _mm256_add_ps(a, b); }
    static vf sub(vf a, vf b) { return _mm256_sub_ps(a, b); }
    static vf mul(vf a, vf b) { return _mm256_mul_ps(a, b); }
    // Clamped to [0, top] (NaN to 0), then rounded to nearest, ties to even.
    static vi roundClamp(vf t, float top)
    {
        return _mm256_cvtps_epi32(_mm256_min_ps(_mm256_max_ps(t, _mm256_setzero_ps()), _mm256_set1_ps(top)));
    }
    // k with the lanes whose level is above `edge` taken from `from`.
    static vf selectAbove(vf k, vf level, float edge, const float* from)
    {
        const __m256 m = _mm256_cmp_ps(level, _mm256_set1_ps(edge), _CMP_GT_OQ);
        return _mm256_blendv_ps(k, _mm256_loadu_ps(from), m);
    }
    // double(v) x l, clamped and rounded.
    static vi scaleDouble(vi v, const double* l, float top)
    {
        const __m256d zero = _mm256_setzero_pd(), t = _mm256_set1_pd(top);
        __m256d a = _mm256_mul_pd(_mm256_cvtepi32_pd(_mm256_castsi256_si128(v)), _mm256_loadu_pd(l));
        __m256d b = _mm256_mul_pd(_mm256_cvtepi32_pd(_mm256_extracti128_si256(v, 1)), _mm256_loadu_pd(l + 4));
        a = _mm256_min_pd(_mm256_max_pd(a, zero), t);
        b = _mm256_min_pd(_mm256_max_pd(b, zero), t);
        return _mm256_set_m128i(_mm256_cvtpd_epi32(b), _mm256_cvtpd_epi32(a));
    }
};

}  // namespace

int chainRowAvx2(const uint8_t* src, uint8_t* p, int n, const WideRow& r)
{
    return chainRowWide<Avx2Lanes>(src, p, n, r);
}
int chainRowAvx2(const uint16_t* src, uint16_t* p, int n, const WideRow& r)
{
    return chainRowWide<Avx2Lanes>(src, p, n, r);
}

#pragma once
// The chain of one row (FPN, FFC, LSC, column sums) on wide registers: AVX2 (eight elements at a
// time) and AVX-512 (sixteen). Each is compiled in a file of its own with its instruction set
// switched on and is called only where the processor has it; the rest of the library stays plain
// x86-64.
//
// The arithmetic is the one of the narrow kernels in chain.cpp, operation for operation: the
// same single- and double-precision products, the clamp to the depth's range before rounding to
// nearest (ties to even), the float column sums in the order of the rows. No fused multiply-add.
//
// This header is included by those files only with the intrinsics headers and <cstddef>/
// <cstdint>: code of the standard library instantiated there could be emitted with the wide
// instruction set and then be picked by the linker for the whole program.

#include <cstddef>
#include <cstdint>

// The coefficients of the elements of one row segment, each pointer at the segment's first
// element; a null pointer skips its step.
struct WideRow {
    const float* b = nullptr;  // FPN offset B (null: no FPN)
    const float* k = nullptr;  // FPN gain K of each element, when it does not depend on the value
    // FPN gain K by level band: band j of the element at i is bands[j * bandStride + i]; band j
    // (j >= 1) where the level is above bandFrom[j] (ascending), the level being the sample, or
    // the sample less B with bandByOffset.
    const float* bands = nullptr;
    size_t bandStride = 0;
    const float* bandFrom = nullptr;
    int bandCount = 0;
    bool bandByOffset = false;
    const float* f = nullptr;   // FFC gain
    const double* l = nullptr;  // LSC gain
    float* acc = nullptr;       // column sums, the corrected value added as float
    float top = 255.0f;         // full scale of the samples
};

// The chain over the first elements of the segment, a whole number of registers' worth, read
// from `src` and written to `p` (the same row, or the row of the frame's copy); returns how many
// it did (the caller does the rest). Call only where the processor has the set.
int chainRowAvx2(const uint8_t* src, uint8_t* p, int n, const WideRow& r);
int chainRowAvx2(const uint16_t* src, uint16_t* p, int n, const WideRow& r);
int chainRowAvx512(const uint8_t* src, uint8_t* p, int n, const WideRow& r);
int chainRowAvx512(const uint16_t* src, uint16_t* p, int n, const WideRow& r);

// ---- The kernel, written once for both sets ----
// V supplies the registers and their operations: N lanes, vi (32-bit integers), vf (floats).

template <class V, typename T>
inline int chainRowWide(const T* src, T* p, int n, const WideRow& row)
{
    const float top = row.top;
    constexpr int N = V::N;
    // The coefficients in locals: stores to the row must not make them be read again.
    const float* __restrict b = row.b;
    const float* __restrict kPlain = row.k;
    const float* __restrict bands = row.bands;
    const size_t stride = row.bandStride;
    const int count = row.bandCount < 256 ? row.bandCount : 256;
    // Where each band starts, read once here: the loop below compares against a broadcast from
    // memory.
    float from[256];
    for (int j = 0; j < count; ++j) from[j] = row.bandFrom[j];
    const bool byOffset = row.bandByOffset;
    const float* __restrict f = row.f;
    const double* __restrict l = row.l;
    float* __restrict acc = row.acc;
    int i = 0;
    if (b && kPlain && !f && !l && !acc) {
        // The FPN step alone with one K per element (the library's correction, which folds the
        // flat field and the lens shading into K): the same operations in a loop of its own, two
        // registers' worth at a time.
        for (; i + 2 * N <= n; i += 2 * N) {
            const typename V::vi v0 = V::load(src + i), v1 = V::load(src + i + N);
            const typename V::vf d0 = V::sub(V::cvt(v0), V::loadf(b + i));
            const typename V::vf d1 = V::sub(V::cvt(v1), V::loadf(b + i + N));
            V::store(p + i, V::roundClamp(V::mul(d0, V::loadf(kPlain + i)), top));
            V::store(p + i + N, V::roundClamp(V::mul(d1, V::loadf(kPlain + i + N)), top));
        }
    }
    for (; i + N <= n; i += N) {
        typename V::vi v = V::load(src + i);
        if (b) {
            const typename V::vf x = V::cvt(v);
            const typename V::vf d = V::sub(x, V::loadf(b + i));
            typename V::vf k;
            if (kPlain) {
                k = V::loadf(kPlain + i);
            } else {
                // K of the element's band: the first band's, replaced band by band where the
                // level is above the next band's start (bands ascend). No early way out: on a
                // noisy frame whether any lane reaches the next band is a coin toss, and a
                // mispredicted branch costs more than the remaining blends.
                const typename V::vf level = byOffset ? d : x;
                k = V::loadf(bands + i);
                for (int j = 1; j < count; ++j) k = V::selectAbove(k, level, from[j], bands + j * stride + i);
            }
            v = V::roundClamp(V::mul(d, k), top);
        }
        if (f) v = V::roundClamp(V::mul(V::cvt(v), V::loadf(f + i)), top);
        if (l) v = V::scaleDouble(v, l + i, top);
        if (acc) V::storef(acc + i, V::add(V::loadf(acc + i), V::cvt(v)));
        V::store(p + i, v);
    }
    return i;
}

#pragma once
// The correction kernels: the chain FPN -> FFC -> LSC of each sample of a row, swept over a block
// of rows on every core, and the byte table that replaces the chain of 8-bit data by one lookup.
// One implementation for the library's own correction (lsxcorrect.h) and for the program's live
// preview, which builds its own coefficients and calls these; neither knows the other's tables.
//
// Arithmetic of one sample v of a row, each step only when its coefficients are given:
//  - FPN: (float(v) - B) * K, rounded to nearest (ties to even) and saturated to [0, top]; K of
//    the element, or K of the element's level band, the band chosen by the level of v, or of
//    v - B (as the camera's firmware chooses it);
//  - FFC: float(v) * F, rounded and saturated;
//  - LSC: double(v) * L, rounded and saturated.
// The library folds FFC and LSC into K and runs the FPN step alone (one rounding, as the camera
// does); the preview runs the three steps one after the other, as it has always shown them.
// Whatever the processor's registers and the number of threads, the results are the same to the
// last bit. No fused multiply-add.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lsxc {

// The coefficients of one block of rows. Every pointer is at the row's first element; a null
// pointer skips its step.
struct Chain {
    // FPN.
    const float* b = nullptr;        // B per element (null: no FPN)
    const float* k = nullptr;        // K per element, when it does not depend on the level
    const float* bands = nullptr;    // K by level band: band j of element i at bands[j * bandStride + i]
    size_t bandStride = 0;           //
    int bandCount = 0;               //
    const float* bandFrom = nullptr;  // ascending; band j (j >= 1) where the level is above bandFrom[j]
    bool bandByOffset = false;        // the level is v - B, else v
    int lines = 1;                    // B, K and the bands cycle with the row: row y has line y % lines,
    size_t lineStride = 0;            // its coefficients lineStride elements after line 0's
    // FFC: gain rows cycling with the row, ffcStride elements apart.
    const float* ffc = nullptr;
    int ffcRows = 1;
    size_t ffcStride = 0;
    // LSC.
    const double* lsc = nullptr;
    // Full scale of the samples: 255 or 65535, or 1023 and 4095 for 10- and 12-bit samples in the
    // low bits of 16-bit words.
    float top = 255.0f;

    bool any() const { return b || ffc || lsc; }
};

// A block of rows through the chain: `rows` rows of `elements` samples of `bytes` (1 or 2)
// bytes, read from `from` and written to `to` (the same memory, or a copy of the same size).
struct Rows {
    const uint8_t* from = nullptr;
    size_t fromStep = 0;
    uint8_t* to = nullptr;
    size_t toStep = 0;
    int rows = 0;
    int elements = 0;
    int bytes = 1;
    const int* rowOf = nullptr;  // row j of `to` comes from row rowOf[j] of `from` (else row j)
    int64_t firstRow = 0;        // the line cycle's index of the block's row 0
};

// Every row of the block through the chain. With `acc`, each result is added to acc[element]
// as float, in the order of the rows of `to`: column sums that do not depend on the cut.
//
// Without sums the block is cut into bands of whole rows, shared out among the threads. With
// sums it is cut into column strips, each swept from the top row to the bottom by one thread, so
// that its coefficients stay in the first-level cache and each column is summed in the order of
// the rows. Each element's result depends on its own value and position only, so where the
// block is cut does not change it. Small blocks stay on the calling thread.
void correctRows(const Rows& rows, const Chain& chain, float* acc = nullptr);

// Whether the chain of 8-bit data is a function of each element's position and value alone (no
// line cycle), so that a byte table can stand for it.
bool chainIsPerElement(int bytes, const Chain& chain);

// The byte table of such a chain over `elements` elements: 256 results per element, made by
// running the chain itself over the 256 values, so one lookup gives exactly what the arithmetic
// gives. table[e * 256 + v].
void buildByteTable(int elements, const Chain& chain, std::vector<uint8_t>& table);

// The first n elements of one 8-bit row through the chain, in place, as row 0 of a block.
void correctByteRow(uint8_t* p, int n, const Chain& chain);

// Every row of an 8-bit block through its byte table, the integer column sums of the results
// added into sums (one per element; exact, whatever the cut).
void applyByteTable(const Rows& rows, const uint8_t* table, uint32_t* sums);

// The widest registers the arithmetic runs on: the best the processor has (SSE2 is part of
// every x86-64), unless a test asked for narrower ones to compare them.
enum class Isa { Sse2 = 0, Avx2 = 1, Avx512 = 2 };
Isa isa();
// Asks for `wanted`, capped at what the processor has; returns what is then in use.
Isa setIsa(Isa wanted);
const char* isaName(Isa isa);

}  // namespace lsxc

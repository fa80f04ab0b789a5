// The byte table of 8-bit data: the chain's result of every element at each of the 256 values,
// and the sweep of a block of rows through it.
#include "kernel.h"
#include "parts.h"

#include <emmintrin.h>

#include <algorithm>
#include <cstring>

namespace lsxc {

namespace {

// One strip of 64 elements of every row through its part of the table, the results' column sums
// into sums[0..63]. Sixteen-bit sums are carried into 32 bits every 256 rows (255 x 256 fits).
//
// The results of sixteen elements are put together in two 64-bit registers, stored at once and
// summed from the register. Reading them back from the row instead would wait for byte stores
// that cannot be forwarded as one load, and with rows a multiple of 4 KB apart (16384 columns)
// every row of the strip falls into the same set of the first-level cache, so the rows read
// back a few rows later are often gone from it.
//
// Row y of the strip is read from `from` (the source row rowOf[y] with rowOf, else y) and written
// to `to`; the two may be the same.
void byteStrip(const uint8_t* from, size_t fromStep, const int* rowOf, uint8_t* to, size_t step, int rows,
               const uint8_t* __restrict t, uint32_t* sums)
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
    auto source = [&](int y) { return from + static_cast<size_t>(rowOf ? rowOf[y] : y) * fromStep; };
    constexpr int ahead = 8;
    const bool copy = from != to;
    for (int y = 0; y < rows; ++y, to += step) {
        if (y + ahead < rows) {
            _mm_prefetch(reinterpret_cast<const char*>(source(y + ahead)), _MM_HINT_T0);
            if (copy) _mm_prefetch(reinterpret_cast<const char*>(to + ahead * step), _MM_HINT_T0);
        }
        const uint8_t* p = source(y);
        for (int j = 0; j < 4; ++j) {
            const uint8_t* q = p + 16 * j;
            const uint8_t* __restrict tj = t + 16 * j * 256;
            uint64_t lo = 0, hi = 0;
            for (int e = 0; e < 8; ++e) lo |= uint64_t(tj[e * 256 + q[e]]) << (8 * e);
            for (int e = 0; e < 8; ++e) hi |= uint64_t(tj[(8 + e) * 256 + q[8 + e]]) << (8 * e);
            const __m128i v = _mm_set_epi64x(static_cast<int64_t>(hi), static_cast<int64_t>(lo));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 16 * j), v);
            s16[2 * j] = _mm_add_epi16(s16[2 * j], _mm_unpacklo_epi8(v, z));
            s16[2 * j + 1] = _mm_add_epi16(s16[2 * j + 1], _mm_unpackhi_epi8(v, z));
        }
        if ((y & 255) == 255) carry();
    }
    carry();
}

// Elements [i0, i1) of every row through the table: whole strips of 64 elements swept from the
// top row to the bottom, so that a strip's part of the table (16 KB) stays in the first-level
// cache, then what is left of the range (the row's last, narrower strip).
void byteColumns(const Rows& r, int i0, int i1, const uint8_t* table, uint32_t* sums)
{
    constexpr int strip = 64;
    int i = i0;
    for (; i + strip <= i1; i += strip)
        byteStrip(r.from + i, r.fromStep, r.rowOf, r.to + i, r.toStep, r.rows, table + static_cast<size_t>(i) * 256,
                  sums + i);
    for (int y = 0; y < r.rows && i < i1; ++y) {
        const uint8_t* p = r.from + static_cast<size_t>(r.rowOf ? r.rowOf[y] : y) * r.fromStep;
        uint8_t* q = r.to + static_cast<size_t>(y) * r.toStep;
        for (int e = i; e < i1; ++e) {
            q[e] = table[static_cast<size_t>(e) * 256 + p[e]];
            sums[e] += q[e];
        }
    }
}

}  // namespace

// The chain run over 256 rows, row v filled with v, then turned in blocks so that the 256
// results of one element lie together. Built by the row kernel itself, so a lookup gives exactly
// what the arithmetic gives. Both steps are shared out among the threads: a 16384-column colour
// frame's table is 12 MB, made again whenever the window changes the FFC gains while the preview
// runs.
void buildByteTable(int n, const Chain& chain, std::vector<uint8_t>& table)
{
    std::vector<uint8_t> levels(static_cast<size_t>(n) * 256);
    table.resize(levels.size());
    const int rowParts = partsFor(256);
    forEachPart(rowParts, [&](int part) {
        const PartRange r = partOf(256, rowParts, part);
        for (int v = r.begin; v < r.end; ++v) {
            uint8_t* row = levels.data() + static_cast<size_t>(v) * n;
            std::memset(row, v, static_cast<size_t>(n));
            correctByteRow(row, n, chain);
        }
    });
    constexpr int block = 64;
    const int columnParts = partsFor(n, block);
    forEachPart(columnParts, [&](int part) {
        const PartRange r = partOf(n, columnParts, part, block);
        for (int e0 = r.begin; e0 < r.end; e0 += block) {
            const int e1 = std::min(r.end, e0 + block);
            for (int v = 0; v < 256; ++v) {
                const uint8_t* row = levels.data() + static_cast<size_t>(v) * n;
                for (int e = e0; e < e1; ++e) table[static_cast<size_t>(e) * 256 + v] = row[e];
            }
        }
    });
}

void applyByteTable(const Rows& r, const uint8_t* table, uint32_t* sums)
{
    const int n = r.elements;
    const int parts = partsFor(n, 64);
    forEachPart(parts, [&](int part) {
        const PartRange p = partOf(n, parts, part, 64);
        byteColumns(r, p.begin, p.end, table, sums);
    });
}

}  // namespace lsxc

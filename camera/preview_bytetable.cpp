// The byte-table path of the preview: the table of a frame's chain, kept from frame to frame,
// and the sweep of the frame through it.
#include "camera/preview_bytetable.h"

#include "camera/preview_stripes.h"

#include <emmintrin.h>

#include <algorithm>

namespace {

// The table of the chain: the chain run over 256 rows, row v filled with v, then turned so that
// the 256 results of one element lie together. Built by the row kernels themselves, so a lookup
// gives exactly what the arithmetic gives. Both steps are shared out among the threads: a
// 16384-column colour frame's table is 12 MB, made again whenever the window changes the FFC
// gains while the preview runs.
void buildByteTable(const cv::Mat& img, const Chain& chain, std::vector<uint8_t>& table)
{
    cv::Mat levels(256, img.cols, img.type());
    for (int v = 0; v < 256; ++v) levels.row(v).setTo(cv::Scalar::all(v));
    cv::Mat flat = levels.reshape(1);
    const int n = flat.cols;
    table.resize(static_cast<size_t>(n) * 256);
    cv::Mat turned(n, 256, CV_8UC1, table.data());
    const int rowParts = partsFor(256);
    forEachPart(rowParts, [&](int part) {
        const PartRange r = partOf(256, rowParts, part);
        for (int v = r.begin; v < r.end; ++v) correctByteRow(flat.ptr<uint8_t>(v), n, chain);
    });
    const int columnParts = partsFor(n, 64);
    forEachPart(columnParts, [&](int part) {
        const PartRange r = partOf(n, columnParts, part, 64);
        if (r.end > r.begin) cv::transpose(flat.colRange(r.begin, r.end), turned.rowRange(r.begin, r.end));
    });
}

// The table for this frame's chain: the one of the previous frame while nothing it depends on
// has changed (the FFC gains may change between frames), else a new one.
const uint8_t* byteTableFor(const cv::Mat& img, int format, const Chain& chain, const PreviewCorrections& c,
                            const PreviewSwitches& switches)
{
    PreviewByteTable& t = c.byteTable;
    const size_t n = static_cast<size_t>(img.cols) * img.channels();
    const bool sameFfc =
        chain.ffc ? t.ffc.size() == n && std::equal(t.ffc.begin(), t.ffc.end(), chain.ffc) : t.ffc.empty();
    const bool same = !t.table.empty() && t.format == format && t.width == img.cols && t.fpn == (chain.fpn != nullptr)
                      && t.lsc == (chain.lsc != nullptr) && t.regionX == switches.regionX && t.fpnK == c.fpn.k.data()
                      && t.fpnB == c.fpn.bInterleaved.data() && t.lscGain == c.lsc.gain.data() && sameFfc;
    if (!same) {
        t.format = format;
        t.width = img.cols;
        t.fpn = chain.fpn != nullptr;
        t.lsc = chain.lsc != nullptr;
        t.regionX = switches.regionX;
        t.fpnK = c.fpn.k.data();
        t.fpnB = c.fpn.bInterleaved.data();
        t.lscGain = c.lsc.gain.data();
        if (chain.ffc)
            t.ffc.assign(chain.ffc, chain.ffc + n);
        else
            t.ffc.clear();
        buildByteTable(img, chain, t.table);
    }
    return t.table.data();
}

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
void byteColumns(const cv::Mat& from, const int* rowOf, cv::Mat& to, int i0, int i1, const uint8_t* table,
                 uint32_t* sums)
{
    constexpr int strip = 64;
    int i = i0;
    for (; i + strip <= i1; i += strip)
        byteStrip(from.ptr<uint8_t>(0) + i, from.step[0], rowOf, to.ptr<uint8_t>(0) + i, to.step[0], to.rows,
                  table + static_cast<size_t>(i) * 256, sums + i);
    for (int y = 0; y < to.rows && i < i1; ++y) {
        const uint8_t* p = from.ptr<uint8_t>(rowOf ? rowOf[y] : y);
        uint8_t* q = to.ptr<uint8_t>(y);
        for (int e = i; e < i1; ++e) {
            q[e] = table[static_cast<size_t>(e) * 256 + p[e]];
            sums[e] += q[e];
        }
    }
}

}  // namespace

bool chainIsPerElement(const cv::Mat& img, const Chain& chain)
{
    return img.depth() == CV_8U && chain.lineFpn == nullptr && chain.ffcRows == 1 && chain.any();
}

void applyByteTable(const cv::Mat& from, cv::Mat& to, const int* rowOf, int format, const Chain& chain,
                    const PreviewCorrections& corrections, const PreviewSwitches& switches, uint32_t* sums)
{
    const uint8_t* table = byteTableFor(to, format, chain, corrections, switches);
    const int n = to.cols * to.channels();
    const int parts = partsFor(n, 64);
    forEachPart(parts, [&](int part) {
        const PartRange r = partOf(n, parts, part, 64);
        byteColumns(from, rowOf, to, r.begin, r.end, table, sums);
    });
}

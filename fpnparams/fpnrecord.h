#pragma once
// The records that carry B and K into the camera, built from plain lists.
//
// Key 45, the FPN record: a 40-byte head (lsxFpnHeader) and, in the same block, float32 pairs
// K, B. B is in the frame's raw units (0..255 for 8-bit data, 0..65472 for 16-bit data), K a
// plain factor. Key 47, the gain table: a 544-byte head (lsxGainTableHeader) and 3 bytes per
// column and gain, K in fixed point with 11 fractional bits and B as a 12-bit integer.

#include "lsx.h"

#include <QList>

#include <cstdint>
#include <utility>
#include <vector>

// Rows of K and B widened from the ROI to the whole sensor, for as many rows as both lists have:
// `roiX` entries of K 1.0 and B meanB (the mean of the row's B) in front, and the same after the
// row up to `sensorWidth` columns, counted from roiX + roiW. Rows beyond the shorter list stay as
// they are.
void padToSensor(QList<QList<double>>& kList, QList<QList<double>>& bList, int roiX, int roiW, int sensorWidth);

// The lowest and highest K over rows 0..rows-1 (rows that exist), in single precision; (0, 0)
// when there is none.
std::pair<float, float> kRange(const QList<QList<double>>& kList, int rows);

// How the pairs lie in the record: sensor lines one after the other (a multi-line sensor whose
// rows are its lines), or interleaved by column (column 0 of every row, then column 1, ...).
enum class FpnOrder { Interleaved, LineByLine };
FpnOrder fpnDataOrder(int rows, int lineCount);

// One FPN record in one block: head, then `pairs` float32 pairs. The head's data address points
// into the block, as the camera reads it; the block frees itself.
class FpnRecord {
public:
    explicit FpnRecord(uint32_t pairs);
    lsxFpnHeader& head() { return *reinterpret_cast<lsxFpnHeader*>(m_block.data()); }
    const lsxFpnHeader& head() const { return *reinterpret_cast<const lsxFpnHeader*>(m_block.data()); }
    float* pairs() { return reinterpret_cast<float*>(m_block.data() + sizeof(lsxFpnHeader)); }
    const float* pairs() const { return reinterpret_cast<const float*>(m_block.data() + sizeof(lsxFpnHeader)); }
    uint32_t pairCount() const { return m_pairs; }
    void* block() { return m_block.data(); }
    // Type in bits 0..3, the other bits 0, and the more-follows flag.
    void setType(uint32_t type, bool moreFollows);

private:
    uint32_t m_pairs;
    std::vector<uint8_t> m_block;
};

// The data of the line-scan record: the first `columns` entries of rows 0..rows-1 of kList and
// bList in `order`, each narrowed to float32. Missing entries (a row shorter than `columns`) give
// K 1.0 and B 0.
void fillFpnPairs(FpnRecord& record, const QList<QList<double>>& kList, const QList<QList<double>>& bList, int rows,
                  int columns, FpnOrder order);

// Overwrites only the K of each pair with a band of K laid out row after row (band[r * columns
// + j]), in the interleaved order (column by column, rows inside), B staying.
void setBandK(FpnRecord& record, const QList<double>& band, int rows, int columns);

// The factory K-band scale of each row: maxv / m, m the lowest of 65535.0 and of (maxv - B[r][j])
// x K at the top level (kTop, rows after rows, `columns` each); maxv 65472 for 16-bit data, 255
// for 8-bit data.
std::vector<double> factoryRowGains(const QList<double>& kTop, const QList<QList<double>>& bList, int rows, int columns,
                                    double maxv);

// One band of K as the factory set takes it: each entry times its row's gain (row = entry / (size
// / rows)); a K above maxK - 0.5, or at or below 0.5, becomes 1.0.
QList<double> factoryBandK(const QList<double>& band, const std::vector<double>& rowGain, int rows, uint8_t maxK);

// ---- The gain table (key 47) ----

// The three bytes of one column at one gain: the low 24 bits, low byte first, of
// (trunc(K x 2048) << 12) | (trunc(B) & 0xFFF).
uint32_t gainTableEntry(double k, double b);

// The whole record of key 47 for rows g = 0..G-1 of K and B (row g is gain gainMin + g), W the
// length of the rows: head of 544 bytes, then G x W x 3 bytes.
std::vector<uint8_t> packGainTable(const QList<QList<double>>& kList, const QList<QList<double>>& bList, float gainMin);

// The records that carry B and K into the camera (fpnrecord.h).
#include "fpnparams/fpnrecord.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

void padToSensor(QList<QList<double>>& kList, QList<QList<double>>& bList, int roiX, int roiW, int sensorWidth)
{
    const int rows = std::min(kList.size(), bList.size());
    const int front = std::max(0, roiX);
    const int back = std::max(0, sensorWidth - (roiX + roiW));
    for (int r = 0; r < rows; ++r) {
        QList<double>& b = bList[r];
        double meanB = 0.0;
        for (double v : b) meanB += v;
        meanB = b.isEmpty() ? 0.0 : meanB / b.size();
        QList<double> k = QList<double>(front, 1.0) + kList[r] + QList<double>(back, 1.0);
        b = QList<double>(front, meanB) + b + QList<double>(back, meanB);
        kList[r] = std::move(k);
    }
}

std::pair<float, float> kRange(const QList<QList<double>>& kList, int rows)
{
    float lo = std::numeric_limits<float>::max(), hi = std::numeric_limits<float>::lowest();
    bool any = false;
    for (int r = 0; r < std::min(rows, int(kList.size())); ++r)
        for (double k : kList[r]) {
            lo = std::min(lo, float(k));
            hi = std::max(hi, float(k));
            any = true;
        }
    return any ? std::make_pair(lo, hi) : std::make_pair(0.0f, 0.0f);
}

FpnOrder fpnDataOrder(int rows, int lineCount)
{
    return (rows == lineCount && lineCount > 1) ? FpnOrder::LineByLine : FpnOrder::Interleaved;
}

FpnRecord::FpnRecord(uint32_t pairs) : m_pairs(pairs), m_block(sizeof(lsxFpnHeader) + size_t(pairs) * 8, 0)
{
    head().dataSize = pairs * 8;
    head().data = m_block.data() + sizeof(lsxFpnHeader);
}

void FpnRecord::setType(uint32_t type, bool moreFollows)
{
    head().type = type & 0xF;
    head().moreFollows = moreFollows ? 1 : 0;
}

void fillFpnPairs(FpnRecord& record, const QList<QList<double>>& kList, const QList<QList<double>>& bList, int rows,
                  int columns, FpnOrder order)
{
    float* p = record.pairs();
    const size_t capacity = record.pairCount();
    auto at = [](const QList<QList<double>>& list, int r, int j, double fallback) {
        return (r < list.size() && j < list[r].size()) ? list[r][j] : fallback;
    };
    auto put = [&](size_t e, int r, int j) {
        if (e >= capacity) return;
        p[2 * e] = float(at(kList, r, j, 1.0));
        p[2 * e + 1] = float(at(bList, r, j, 0.0));
    };
    for (int r = 0; r < rows; ++r)
        for (int j = 0; j < columns; ++j)
            put(order == FpnOrder::LineByLine ? size_t(r) * columns + j : size_t(j) * rows + r, r, j);
}

void setBandK(FpnRecord& record, const QList<double>& band, int rows, int columns)
{
    float* p = record.pairs();
    size_t e = 0;
    for (int j = 0; j < columns; ++j)
        for (int r = 0; r < rows; ++r, ++e) {
            const qsizetype i = qsizetype(r) * columns + j;
            if (e < record.pairCount() && i < band.size()) p[2 * e] = float(band[i]);
        }
}

std::vector<double> factoryRowGains(const QList<double>& kTop, const QList<QList<double>>& bList, int rows, int columns,
                                    double maxv)
{
    std::vector<double> gain;
    for (int r = 0; r < rows; ++r) {
        double m = 65535.0;
        for (int j = 0; j < columns; ++j) {
            const qsizetype i = qsizetype(r) * columns + j;
            if (i >= kTop.size() || r >= bList.size() || j >= bList[r].size()) continue;
            const double t = (maxv - bList[r][j]) * kTop[i];
            if (t < m) m = t;
        }
        gain.push_back(maxv / m);
    }
    return gain;
}

QList<double> factoryBandK(const QList<double>& band, const std::vector<double>& rowGain, int rows, uint8_t maxK)
{
    QList<double> out;
    out.reserve(band.size());
    const qsizetype perRow = rows > 0 ? band.size() / rows : 0;
    for (qsizetype c = 0; c < band.size(); ++c) {
        const size_t row = perRow > 0 ? size_t(c / perRow) : 0;
        double k = band[c] * (row < rowGain.size() ? rowGain[row] : 1.0);
        // The band's K must stay where the camera takes it; anything else is no correction.
        if (k > double(maxK) - 0.5 || k <= 0.5) k = 1.0;
        out.append(k);
    }
    return out;
}

uint32_t gainTableEntry(double k, double b)
{
    const uint32_t kBits = uint32_t(int64_t(std::trunc(k * 2048.0)));
    const uint32_t bBits = uint32_t(int64_t(std::trunc(b))) & 0xFFFu;
    return ((kBits << 12) | bBits) & 0xFFFFFFu;
}

std::vector<uint8_t> packGainTable(const QList<QList<double>>& kList, const QList<QList<double>>& bList, float gainMin)
{
    const int gains = int(std::min(kList.size(), bList.size()));
    const int w = gains > 0 ? int(kList[0].size()) : 0;
    const uint32_t entryBytes = uint32_t(w) * 3;
    std::vector<uint8_t> block(LSX_GAIN_TABLE_DATA + size_t(gains) * entryBytes, 0);
    auto* head = reinterpret_cast<lsxGainTableHeader*>(block.data());
    head->zero = 0;
    head->dataOffset = LSX_GAIN_TABLE_DATA;
    head->gains = uint32_t(gains);
    head->dataSize = uint32_t(gains) * entryBytes;
    // The head has room for 32 gains; the data of more would still follow.
    for (int g = 0; g < std::min(gains, 32); ++g) {
        head->entries[g].gain = gainMin + float(g);
        head->entries[g].offset = uint32_t(g) * entryBytes;
        head->entries[g].size = entryBytes;
    }
    uint8_t* data = block.data() + LSX_GAIN_TABLE_DATA;
    for (int g = 0; g < gains; ++g)
        for (int j = 0; j < w; ++j) {
            const double k = j < kList[g].size() ? kList[g][j] : 1.0;
            const double b = j < bList[g].size() ? bList[g][j] : 0.0;
            const uint32_t v = gainTableEntry(k, b);
            uint8_t* q = data + size_t(g) * entryBytes + size_t(j) * 3;
            q[0] = uint8_t(v);
            q[1] = uint8_t(v >> 8);
            q[2] = uint8_t(v >> 16);
        }
    return block;
}

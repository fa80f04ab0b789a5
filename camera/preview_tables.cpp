// The tables of a capture run: K per level band with B, the B and K of each sensor line, the
// lens-shading gains. Made once when capture starts, not per frame.
#include "camera/preview.h"

#include "calibration/klevels.h"

#include <algorithm>
#include <limits>

FpnLevelTable buildFpnLevelTable(const std::vector<uint16_t>& levels, const QList<QList<double>>& bList,
                                 const QList<double>& kScaleList, const KAtLevelFn& kAtLevel)
{
    FpnLevelTable t;
    if (bList.isEmpty() || kScaleList.size() != bList.size() || levels.empty() || !kAtLevel) return t;
    const int rows = static_cast<int>(bList.size());
    const int columns = static_cast<int>(bList[0].size());
    if (columns == 0) return t;

    std::vector<std::vector<float>> bands;  // K of every row and column, per band
    std::array<uint8_t, 256> bandOf{};      // per 8-bit level: its band
    QList<double> current;
    size_t i = 0;
    for (int level = 0; level <= 255; ++level) {
        const bool inBand = i < levels.size() && level <= levels[i];
        if (!(inBand && !current.isEmpty())) {
            if (i < levels.size() && level > levels[i]) ++i;
            kAtLevel(levelStepK(levels, static_cast<int>(i)), current, rows);
            const qsizetype perRow = current.size() / rows;
            if (perRow < 1) return FpnLevelTable();
            for (qsizetype e = 0; e < current.size(); ++e) {
                const qsizetype r = e / perRow;
                current[e] *= r < kScaleList.size() ? kScaleList[r] : 1.0;
            }
            if (current.size() != static_cast<qsizetype>(rows) * columns) return FpnLevelTable();
            bands.emplace_back(current.begin(), current.end());
        }
        t.bandOffset[level] = static_cast<int32_t>((bands.size() - 1) * columns);
        bandOf[level] = static_cast<uint8_t>(bands.size() - 1);
    }

    t.rows = rows;
    t.columns = columns;
    t.bandCount = static_cast<int>(bands.size());
    t.k.resize(static_cast<size_t>(rows) * t.bandCount * columns);
    for (int r = 0; r < rows; ++r)
        for (int band = 0; band < t.bandCount; ++band)
            std::copy_n(bands[band].begin() + static_cast<size_t>(r) * columns, columns,
                        t.k.begin() + (static_cast<size_t>(r) * t.bandCount + band) * columns);
    t.b.assign(static_cast<size_t>(rows) * columns, 0.0f);
    for (int r = 0; r < rows; ++r)
        for (int x = 0; x < columns && x < bList[r].size(); ++x)
            t.b[static_cast<size_t>(r) * columns + x] = static_cast<float>(bList[r][x]);
    // The kernels read K band by band, the elements of a band in the frame's order.
    t.kByBand.resize(t.k.size());
    for (int r = 0; r < rows; ++r)
        for (int band = 0; band < t.bandCount; ++band)
            for (int x = 0; x < columns; ++x) {
                const float k = t.k[(static_cast<size_t>(r) * t.bandCount + band) * columns + x];
                t.kByBand[static_cast<size_t>(band) * rows * columns + static_cast<size_t>(x) * rows + r] = k;
            }
    t.bandStart.assign(static_cast<size_t>(t.bandCount), 0);
    for (int level = 255; level >= 0; --level) t.bandStart[bandOf[level]] = level;
    t.bInterleaved.resize(t.b.size());
    for (int r = 0; r < rows; ++r)
        for (int x = 0; x < columns; ++x)
            t.bInterleaved[static_cast<size_t>(x) * rows + r] = t.b[static_cast<size_t>(r) * columns + x];
    return t;
}

LineFpnTable buildLineFpnTable(const QList<QList<double>>& bList, const QList<QList<double>>& kList, int lineCount)
{
    LineFpnTable t;
    if (lineCount < 2 || bList.size() != lineCount || kList.size() != lineCount) return t;
    qsizetype columns = std::numeric_limits<int>::max();
    for (int l = 0; l < lineCount; ++l) columns = std::min({columns, bList[l].size(), kList[l].size()});
    t.lines = lineCount;
    t.columns = static_cast<int>(columns);
    t.b.resize(static_cast<size_t>(lineCount) * columns);
    t.k.resize(t.b.size());
    for (int l = 0; l < lineCount; ++l)
        for (int x = 0; x < columns; ++x) {
            t.b[static_cast<size_t>(l) * columns + x] = static_cast<float>(bList[l][x]);
            t.k[static_cast<size_t>(l) * columns + x] = static_cast<float>(kList[l][x]);
        }
    return t;
}

LscTable buildLscTable(const QList<QList<double>>& lscKList)
{
    LscTable t;
    if (lscKList.isEmpty()) return t;
    qsizetype size = std::numeric_limits<int>::max();
    for (const QList<double>& l : lscKList) size = std::min(size, l.size());
    t.lists = static_cast<int>(lscKList.size());
    t.size = static_cast<int>(size);
    t.gain.resize(static_cast<size_t>(t.lists) * size);
    for (int l = 0; l < t.lists; ++l)
        for (int x = 0; x < size; ++x)
            t.gain[static_cast<size_t>(l) * size + x] = static_cast<double>(static_cast<float>(lscKList[l][x]));
    return t;
}

PreviewCorrections buildPreviewCorrections(const std::vector<uint16_t>& levels, const QList<QList<double>>& bList,
                                           const QList<QList<double>>& kList, const QList<double>& kScaleList,
                                           const KAtLevelFn& kAtLevel, int lineCount,
                                           const QList<QList<double>>& lscKList)
{
    PreviewCorrections c;
    c.fpn = buildFpnLevelTable(levels, bList, kScaleList, kAtLevel);
    c.lineFpn = buildLineFpnTable(bList, kList, lineCount);
    c.lsc = buildLscTable(lscKList);
    return c;
}

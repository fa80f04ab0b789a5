// K level interpolation and the level tables.
#include "calibration/klevels.h"

#include <cmath>

const std::vector<uint16_t> fpnLevels3{16, 64, 255};
const std::vector<uint16_t> fpnLevels6{8, 12, 16, 32, 64, 255};
const std::vector<uint16_t> fpnLevels9{4, 8, 12, 16, 24, 32, 64, 128, 255};

const std::vector<uint16_t>& fpnLevelsFor(int fpnSel)
{
    if (fpnSel == 6) return fpnLevels6;
    if (fpnSel == 9) return fpnLevels9;
    return fpnLevels3;
}

uint8_t levelStepK(const std::vector<uint16_t>& table, int band)
{
    if (band < 0 || band >= static_cast<int>(table.size())) return 0;
    double v = table[band] * 3.0 * 0.25;
    // A narrow band is sampled in its middle, so that the sample stays inside the band.
    if (band > 0 && !(table[band - 1] + 1.0 > v)) v = (table[band] + table[band - 1]) * 0.5;
    const double r = std::nearbyint(v);
    if (r <= 0.0) return 0;
    if (r >= 255.0) return 255;
    return static_cast<uint8_t>(r);
}

void kAtLevel(const QList<QList<KPoint>>& kPoints, uint8_t maxK, uint8_t level, QList<double>& out, int rows)
{
    out.clear();
    if (kPoints.isEmpty() || rows < 1) return;
    const int per = static_cast<int>(kPoints.size()) / rows;
    if (per < 1) return;
    const double upper = maxK - 0.2;
    for (int r = 0; r < rows; ++r) {
        const int first = r * per;
        const int columns = static_cast<int>(kPoints[first].size());
        for (int c = 0; c < columns; ++c) {
            int found = -1;
            for (int e = 0; e < per; ++e) {
                const QList<KPoint>& list = kPoints[first + e];
                if (c < list.size() && list[c].x > level) {
                    found = e;
                    break;
                }
            }
            double k;
            if (found == 0) {
                k = kPoints[first][c].y;
            } else if (found < 0) {
                const QList<KPoint>& last = kPoints[first + per - 1];
                k = c < last.size() ? last[c].y : 1.0;
            } else {
                const QList<KPoint>& lowerList = kPoints[first + found - 1];
                const KPoint a = c < lowerList.size() ? lowerList[c] : KPoint{};
                const KPoint b = kPoints[first + found][c];
                const double t = (level - a.x) / (b.x - a.x);
                k = (1.0 - t) * a.y + t * b.y;
            }
            // Only a K known to be below the limit is kept: NaN becomes the limit.
            k = (k < upper) ? k : upper;
            k = (k > 0.51) ? k : 0.51;
            out.append(k);
        }
    }
}

// K level interpolation: the level tables, the sampling level of each band, kAtLevel's limits.
#include "calibration/klevels.h"
#include "camera/preview.h"

#include <QtTest>

#include <cmath>
#include <limits>

namespace {
QList<KPoint> flat(int columns, double x, double y)
{
    return QList<KPoint>(columns, KPoint{x, y});
}
}  // namespace

class TestKLevels : public QObject {
    Q_OBJECT
private slots:
    void tablesAsGiven()
    {
        QCOMPARE(fpnLevels3, (std::vector<uint16_t>{16, 64, 255}));
        QCOMPARE(fpnLevels6, (std::vector<uint16_t>{8, 12, 16, 32, 64, 255}));
        QCOMPARE(fpnLevels9, (std::vector<uint16_t>{4, 8, 12, 16, 24, 32, 64, 128, 255}));
    }

    void fpnSelChoosesTheTable()
    {
        QCOMPARE(&fpnLevelsFor(6), &fpnLevels6);
        QCOMPARE(&fpnLevelsFor(9), &fpnLevels9);
        QCOMPARE(&fpnLevelsFor(7), &fpnLevels3);
        QCOMPARE(&fpnLevelsFor(3), &fpnLevels3);
        QCOMPARE(&fpnLevelsFor(0), &fpnLevels3);
    }

    void samplingLevelsOfEveryBand()
    {
        auto all = [](const std::vector<uint16_t>& t) {
            std::vector<int> v;
            for (int n = 0; n < static_cast<int>(t.size()); ++n) v.push_back(levelStepK(t, n));
            return v;
        };
        QCOMPARE(all(fpnLevels3), (std::vector<int>{12, 40, 160}));
        QCOMPARE(all(fpnLevels6), (std::vector<int>{6, 10, 12, 24, 48, 160}));
        QCOMPARE(all(fpnLevels9), (std::vector<int>{3, 6, 10, 12, 20, 24, 48, 96, 192}));
    }

    void levelZeroBelowAllSamplesTakesTheFirstExposure()
    {
        QList<QList<KPoint>> pts{flat(3, 40, 1.3), flat(3, 120, 1.1), flat(3, 200, 0.9)};
        QList<double> out{7.0};
        kAtLevel(pts, 2, 0, out, 1);
        QCOMPARE(out, (QList<double>{1.3, 1.3, 1.3}));
        // The first exposure's K is limited too.
        pts[0] = flat(3, 40, 3.0);
        kAtLevel(pts, 2, 0, out, 1);
        QCOMPARE(out, (QList<double>{1.8, 1.8, 1.8}));
        pts[0] = flat(3, 40, 0.2);
        kAtLevel(pts, 2, 0, out, 1);
        QCOMPARE(out, (QList<double>{0.51, 0.51, 0.51}));
    }

    void levelAboveAllSamplesTakesTheLastExposure()
    {
        QList<QList<KPoint>> pts{flat(2, 40, 1.3), flat(2, 120, 1.1), flat(2, 200, 0.9)};
        QList<double> out;
        kAtLevel(pts, 2, 250, out, 1);
        QCOMPARE(out, (QList<double>{0.9, 0.9}));
        // Toward a saturated sample (x 256, K 1) the interpolation tends to 1.
        pts[2] = flat(2, kSaturatedLevel, 1.0);
        kAtLevel(pts, 2, 255, out, 1);
        const double t = (255.0 - 120.0) / (256.0 - 120.0);
        QCOMPARE(out[0], (1 - t) * 1.1 + t * 1.0);
        QVERIFY(std::abs(out[0] - 1.0) < 0.001);
    }

    void interpolatesBetweenTwoExposures()
    {
        QList<QList<KPoint>> pts{QList<KPoint>{{40, 1.4}, {60, 1.2}}, QList<KPoint>{{120, 1.0}, {160, 0.8}}};
        QList<double> out;
        kAtLevel(pts, 2, 80, out, 1);
        QCOMPARE(out.size(), 2);
        QCOMPARE(out[0], 0.5 * 1.4 + 0.5 * 1.0);
        QCOMPARE(out[1], 0.8 * 1.2 + 0.2 * 0.8);
        // The sample at exactly the level does not count as above it.
        kAtLevel(pts, 2, 40, out, 1);
        QCOMPARE(out[0], 1.4);
    }

    void maxKOfOneLimitsAtPointEight()
    {
        QList<QList<KPoint>> pts{flat(2, 100, 1.5)};
        QList<double> out;
        kAtLevel(pts, 1, 10, out, 1);
        QCOMPARE(out[0], 1 - 0.2);
        QCOMPARE(out[1], 1 - 0.2);
    }

    void notANumberComesOutAsTheLimit()
    {
        QList<QList<KPoint>> pts{flat(1, 100, std::numeric_limits<double>::quiet_NaN())};
        QList<double> out;
        kAtLevel(pts, 2, 10, out, 1);
        QCOMPARE(out, (QList<double>{2 - 0.2}));
    }

    void emptySamplesLeaveOutEmpty()
    {
        QList<double> out{1.0, 2.0};
        kAtLevel({}, 2, 10, out, 1);
        QVERIFY(out.isEmpty());
        out = {1.0};
        kAtLevel({flat(2, 100, 1.0)}, 2, 10, out, 0);
        QVERIFY(out.isEmpty());
    }

    void rowsTakeTheirOwnGroups()
    {
        // Two rows, two exposures each: row 0 uses lists 0 and 1, row 1 lists 2 and 3.
        QList<QList<KPoint>> pts{flat(2, 50, 1.2), flat(2, 150, 1.0), flat(2, 50, 0.7), flat(2, 150, 0.9)};
        QList<double> out;
        kAtLevel(pts, 2, 100, out, 2);
        QCOMPARE(out.size(), 4);
        QCOMPARE(out[0], 0.5 * 1.2 + 0.5 * 1.0);
        QCOMPARE(out[2], 0.5 * 0.7 + 0.5 * 0.9);
    }

    void fpnSelSixBands()
    {
        // The level table of the preview asks K at each band's sampling level: with FpnSel 6
        // the bands are 0-8 at 6, 9-12 at 10, 13-16 at 12, 17-32 at 24, 33-64 at 48, 65-255 at 160.
        std::vector<int> asked;
        const FpnLevelTable t = buildFpnLevelTable(fpnLevels6, {QList<double>(2, 0.0)}, {1.0},
                                                   [&](uint8_t level, QList<double>& out, int rows) {
                                                       asked.push_back(level);
                                                       out = QList<double>(2 * rows, double(level));
                                                   });
        QCOMPARE(asked, (std::vector<int>{6, 10, 12, 24, 48, 160}));
        auto sampledAt = [&](int level) { return t.kAt(level, 0, 1); };
        for (int l = 0; l <= 8; ++l) QCOMPARE(sampledAt(l), 6.0f);
        for (int l = 9; l <= 12; ++l) QCOMPARE(sampledAt(l), 10.0f);
        for (int l = 13; l <= 16; ++l) QCOMPARE(sampledAt(l), 12.0f);
        for (int l = 17; l <= 32; ++l) QCOMPARE(sampledAt(l), 24.0f);
        for (int l = 33; l <= 64; ++l) QCOMPARE(sampledAt(l), 48.0f);
        for (int l = 65; l <= 255; ++l) QCOMPARE(sampledAt(l), 160.0f);
        QCOMPARE(t.bandCount, 6);
    }
};

QTEST_GUILESS_MAIN(TestKLevels)
#include "test_klevels.moc"

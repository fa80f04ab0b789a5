// The kernels of the bright field with exact numbers: the search windows and their edges, the
// bisection, the spaced series, the column gains and their orders, the read-back rows, and the
// final K scale with the lift of B.
#include "calibration/brightstats.h"
#include "calibration/klevels.h"

#include <QtTest>

#include <cmath>
#include <limits>

namespace {

using Verdict = ExposureSearch::Verdict;

// A 16-bit plane of `rows` rows whose column x holds value(x) everywhere.
cv::Mat plane16(int columns, int rows, const std::function<int(int)>& value)
{
    cv::Mat m(rows, columns, CV_16UC1);
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < columns; ++x) m.at<uint16_t>(y, x) = uint16_t(value(x));
    return m;
}

QList<double> constant(int n, double v)
{
    return QList<double>(n, v);
}

}  // namespace

class TestBrightStats : public QObject {
    Q_OBJECT

private slots:
    // ---- Windows and the bisection ----

    void targetWindows()
    {
        const ExposureSearch a = ExposureSearch::forTarget(16.0, 2.0, 2.0);
        QCOMPARE(a.winLow, 15.0);
        QCOMPARE(a.winHigh, 17.0);
        QCOMPARE(a.lo, 2.0);
        QCOMPARE(a.hi, 32.0);
        QCOMPARE(a.cur, 32.0);
        const ExposureSearch b = ExposureSearch::forTarget(0.5, 10.0, 2.0);
        QCOMPARE(b.winLow, 0.0);
        QCOMPARE(b.winHigh, 1.0);
        const ExposureSearch up = ExposureSearch::upper(255, 2.0, 250.0, 2.0);
        QCOMPARE(up.winLow, 254.0);
        QCOMPARE(up.winHigh, 255.0);
        const ExposureSearch low = ExposureSearch::lower(0, 255, 2.0, 800.0, 2.0);
        QCOMPARE(low.winLow, 0.0);
        QCOMPARE(low.winHigh, 1.0);
        QCOMPARE(low.cur, 2.0);
        QCOMPARE(low.hi, 800.0);
    }

    void darkSceneDoublesHi()
    {
        ExposureSearch s = ExposureSearch::forTarget(180.0, 2.0, 2.0);
        QCOMPARE(s.judge(10.0), Verdict::Measure);
        QCOMPARE(s.hi, 64.0);
        QCOMPARE(s.cur, 64.0);
        // Still below winHigh, even inside the window: before bracketing that doubles too.
        QCOMPARE(s.judge(179.5), Verdict::Measure);
        QCOMPARE(s.hi, 128.0);
        QVERIFY(!s.bracketed);
        QCOMPARE(s.lo, 2.0);
    }

    void targetBisectionAndEdges()
    {
        ExposureSearch s = ExposureSearch::forTarget(16.0, 2.0, 2.0);  // window 15..17, cur 32
        // At winHigh: too high, brackets: hi = 32, cur = (32 + 2) / 2.
        QCOMPARE(s.judge(17.0), Verdict::Measure);
        QVERIFY(s.bracketed);
        QCOMPARE(s.hi, 32.0);
        QCOMPARE(s.cur, 17.0);
        // Too low: lo = 17, cur = (17 + 32) / 2.
        QCOMPARE(s.judge(14.9), Verdict::Measure);
        QCOMPARE(s.lo, 17.0);
        QCOMPARE(s.cur, 24.5);
        // At winLow: inside.
        QCOMPARE(s.judge(15.0), Verdict::Found);
        QCOMPARE(s.cur, 24.5);
    }

    void upperEdges()
    {
        ExposureSearch s = ExposureSearch::upper(255, 2.0, 250.0, 2.0);
        // Below winLow before bracketing: hi doubles.
        QCOMPARE(s.judge(200.0), Verdict::Measure);
        QCOMPARE(s.hi, 500.0);
        // At winHigh: too high.
        QCOMPARE(s.judge(255.0), Verdict::Measure);
        QCOMPARE(s.hi, 500.0);
        QCOMPARE(s.cur, 251.0);
        QCOMPARE(s.judge(254.0), Verdict::Found);
    }

    void lowerEdges()
    {
        // The first frame at or above winLow ends at once with min.
        ExposureSearch a = ExposureSearch::lower(0, 255, 2.0, 800.0, 2.0);
        QCOMPARE(a.judge(0.0), Verdict::Found);
        QCOMPARE(a.cur, 2.0);
        // At winHigh the lower search is inside its window.
        ExposureSearch b = ExposureSearch::lower(100, 255, 2.0, 800.0, 2.0);  // window 99..101
        QCOMPARE(b.judge(50.0), Verdict::Measure);                            // too low: lo 2, cur (2+800)/2
        QCOMPARE(b.cur, 401.0);
        QCOMPARE(b.judge(101.0), Verdict::Found);
        ExposureSearch c = ExposureSearch::lower(100, 255, 2.0, 800.0, 2.0);
        QCOMPARE(c.judge(50.0), Verdict::Measure);
        QCOMPARE(c.judge(101.5), Verdict::Measure);  // above winHigh: too high
        QCOMPARE(c.hi, 401.0);
    }

    void loEqualToHi()
    {
        // A minimum above 250: upper starts at min, so lo equals hi on the first counted frame.
        ExposureSearch s = ExposureSearch::upper(255, 300.0, 300.0, 300.0);
        // lo 150, hi 600, then too high: hi = 300, cur = (300 + 150) / 2 = 225: below min + 1.
        QCOMPARE(s.judge(255.0), Verdict::AtMinimum);
        QCOMPARE(s.lo, 150.0);
        QCOMPARE(s.hi, 300.0);
        QCOMPARE(s.cur, 225.0);
        ExposureSearch t = ExposureSearch::upper(255, 300.0, 300.0, 300.0);
        QCOMPARE(t.judge(254.5), Verdict::Found);
        QCOMPARE(t.lo, 150.0);
        QCOMPARE(t.hi, 600.0);
        QCOMPARE(t.cur, 300.0);
    }

    void brightSceneReachesTheMinimum()
    {
        ExposureSearch s = ExposureSearch::forTarget(16.0, 2.0, 2.0);
        Verdict v = Verdict::Measure;
        int steps = 0;
        while (v == Verdict::Measure && steps < 100) {
            v = s.judge(250.0);
            ++steps;
        }
        QCOMPARE(v, Verdict::AtMinimum);
        QVERIFY(s.cur - 2.0 < 1.0);
        QVERIFY(s.cur >= 2.0);
    }

    void spacedSeries()
    {
        const QVector<double> found{26.0, 50.0, 110.0, 200.0};
        const QVector<double> e = spacedExposures(found, 2.0, 0.1);
        // 25 points 2..26 by 1, 13 points 27..51 by 2, 15 points 53..193 by 10.
        QCOMPARE(e.size(), 25 + 13 + 15);
        QCOMPARE(e[0], 2.0);
        QCOMPARE(e[24], 26.0);
        QCOMPARE(e[25], 27.0);
        QCOMPARE(e[37], 51.0);
        QCOMPARE(e[38], 53.0);
        QCOMPARE(e.last(), 193.0);
        // A stretch below one step takes the step; a short list stands unchanged.
        const QVector<double> tight = spacedExposures({3.0, 3.5, 4.0, 4.2}, 2.0, 1.0);
        QCOMPARE(tight, (QVector<double>{2.0, 3.0, 4.0}));
        QCOMPARE(spacedExposures({10.0, 20.0}, 2.0, 0.1), (QVector<double>{10.0, 20.0}));
    }

    void brightnessOfPlanes()
    {
        std::vector<cv::Mat> planes{cv::Mat(2, 3, CV_8UC1, cv::Scalar(10)), cv::Mat(2, 3, CV_8UC1, cv::Scalar(30))};
        planes[0].at<uint8_t>(0, 1) = 130;  // one column mean 70, plane mean 30
        QCOMPARE(highestPlaneMean(planes), 30.0);
        QCOMPARE(highestColumnMean(planes), 70.0);
    }

    // ---- calcColumnK ----

    void windowWidths_data()
    {
        QTest::addColumn<int>("columns");
        QTest::addColumn<int>("W");
        QTest::newRow("999") << 999 << 80;
        QTest::newRow("1999") << 1999 << 80;
        QTest::newRow("2000") << 2000 << 160;
        QTest::newRow("3000") << 3000 << 240;
        QTest::newRow("4000") << 4000 << 320;
        QTest::newRow("9000") << 9000 << 320;
    }

    void windowWidths()
    {
        QFETCH(int, columns);
        QFETCH(int, W);
        // Column x at 1000 + x, dark 0: column 0 averages columns 0..W-1.
        const cv::Mat p = plane16(columns, 2, [](int x) { return 1000 + x; });
        QList<double> k;
        const QList<KPoint> pts = calcColumnK(p, k, constant(columns, 0.0), false, 600, false);
        QCOMPARE(k.size(), columns);
        QCOMPARE(pts.size(), columns);
        QCOMPARE(k[0], (1000.0 + (W - 1) / 2.0) / 1000.0);
        // A middle column sees 2W columns, from i - W up to i + W - 1.
        const int i = columns / 2;
        QCOMPARE(k[i], (1000.0 + i - 0.5) / (1000.0 + i));
        QCOMPARE(pts[0].x, 1000.0 / 256.0);
    }

    void flatReferenceAndDarkMean()
    {
        // 8-bit, columns 100, 200, 150; dark 10, 20, 30 (mean 20).
        cv::Mat p(2, 3, CV_8UC1);
        for (int y = 0; y < 2; ++y) {
            p.at<uint8_t>(y, 0) = 100;
            p.at<uint8_t>(y, 1) = 200;
            p.at<uint8_t>(y, 2) = 150;
        }
        QList<double> k;
        const QList<KPoint> pts = calcColumnK(p, k, {10.0, 20.0, 30.0}, true, 600, false);
        QCOMPARE(k, (QList<double>{180.0 / 90.0, 180.0 / 180.0, 180.0 / 120.0}));
        QCOMPARE(pts[1].x, 200.0);
        QCOMPARE(pts[1].y, 1.0);
    }

    void saturatedColumn()
    {
        const cv::Mat p = plane16(2, 1, [](int x) { return x == 0 ? 64600 : 32000; });
        QList<double> k;
        const QList<KPoint> pts = calcColumnK(p, k, {0.0, 0.0}, true, 600, false);
        QVERIFY(64600.0 / 256.0 > 252.0);
        QCOMPARE(k[0], 1.0);
        QCOMPARE(pts[0].x, 256.0);
        QCOMPARE(pts[0].y, 1.0);
        QCOMPARE(k[1], 64600.0 / 32000.0);
        QCOMPARE(pts[1].x, 125.0);
    }

    void columnAtItsDarkLevel()
    {
        cv::Mat p(1, 2, CV_8UC1, cv::Scalar(10));
        QList<double> k;
        calcColumnK(p, k, {10.0, 0.0}, true, 600, false);
        QVERIFY(std::isinf(k[0]));
    }

    void renormalizeScalesThePoints()
    {
        cv::Mat p(1, 2, CV_8UC1);
        p.at<uint8_t>(0, 0) = 100;
        p.at<uint8_t>(0, 1) = 200;
        QList<double> k;
        const QList<KPoint> pts = calcColumnK(p, k, {0.0, 0.0}, false, 600, true);
        // Local mean 150 for both: K 1.5 and 0.75; m = min(255 * 1.5, 255 * 0.75) = 191.25.
        QCOMPARE(k, (QList<double>{1.5, 0.75}));
        QCOMPARE(pts[0].y, 1.5 * 255.0 / 191.25);
        QCOMPARE(pts[1].y, 0.75 * 255.0 / 191.25);
    }

    void otherTypesGiveNothing()
    {
        QList<double> k{1.0};
        QVERIFY(calcColumnK(cv::Mat(2, 2, CV_32FC1, cv::Scalar(1)), k, {0.0, 0.0}, true, 600, false).isEmpty());
        QVERIFY(k.isEmpty());
        QVERIFY(calcColumnK(cv::Mat(2, 2, CV_8UC1, cv::Scalar(1)), k, {0.0}, true, 600, false).isEmpty());
    }

    // ---- fitColumnGains ----

    void refusedInputs()
    {
        QList<QList<double>> kList{{9.0}};
        QList<QList<KPoint>> kPoints;
        const QList<QList<double>> b{constant(4, 0.0), constant(4, 0.0), constant(4, 0.0), constant(4, 0.0)};
        QVERIFY(!fitColumnGains({}, b, 1, true, 600, kList, kPoints));
        QVERIFY(!fitColumnGains({cv::Mat(2, 4, CV_8UC2, cv::Scalar(5, 5))}, b, 1, true, 600, kList, kPoints));
        QVERIFY(!fitColumnGains({cv::Mat(cv::Mat::zeros(2, 4, CV_8UC(5)))}, b, 1, true, 600, kList, kPoints));
        // A dark row short of the planes, or of the width.
        QVERIFY(
            !fitColumnGains({cv::Mat(2, 4, CV_8UC3, cv::Scalar(5, 5, 5))}, b.mid(0, 2), 1, true, 600, kList, kPoints));
        QVERIFY(!fitColumnGains({cv::Mat(2, 4, CV_8UC1, cv::Scalar(5))}, QList<QList<double>>{}, 1, true, 600, kList,
                                kPoints));
        QVERIFY(!fitColumnGains({cv::Mat(2, 5, CV_8UC1, cv::Scalar(5))}, b, 1, true, 600, kList, kPoints));
        QVERIFY(!fitColumnGains({cv::Mat(4, 4, CV_8UC1, cv::Scalar(5))}, b.mid(0, 1), 2, true, 600, kList, kPoints));
        QCOMPARE(kList, (QList<QList<double>>{{9.0}}));
        QVERIFY(kPoints.isEmpty());
    }

    void monoOrder()
    {
        QList<QList<double>> kList;
        QList<QList<KPoint>> kPoints;
        const QList<cv::Mat> images{cv::Mat(2, 2, CV_8UC1, cv::Scalar(50)), cv::Mat(2, 2, CV_8UC1, cv::Scalar(100))};
        QVERIFY(fitColumnGains(images, {{0.0, 0.0}}, 1, true, 600, kList, kPoints));
        QCOMPARE(kList.size(), 2);
        QCOMPARE(kPoints.size(), 2);
        QCOMPARE(kPoints[0][0].x, 50.0);
        QCOMPARE(kPoints[1][0].x, 100.0);
    }

    void colourOrders()
    {
        // Two images of three planes, plane p of image i at 10 * (i + 1) + p.
        QList<cv::Mat> images;
        for (int i = 0; i < 2; ++i)
            images.append(cv::Mat(1, 2, CV_8UC3, cv::Scalar(10 * (i + 1), 10 * (i + 1) + 1, 10 * (i + 1) + 2)));
        const QList<QList<double>> b{{0.0, 0.0}, {0.0, 0.0}, {0.0, 0.0}};
        QList<QList<double>> kList;
        QList<QList<KPoint>> kPoints;
        QVERIFY(fitColumnGains(images, b, 1, true, 600, kList, kPoints));
        QCOMPARE(kList.size(), 6);
        QCOMPARE(kPoints.size(), 6);
        // Samples plane-major: plane 0 of images 0 and 1, then plane 1, then plane 2.
        const double want[6] = {10, 20, 11, 21, 12, 22};
        for (int i = 0; i < 6; ++i) QCOMPARE(kPoints[i][0].x, want[i]);
        // Four channels go the same way.
        kList.clear();
        kPoints.clear();
        QVERIFY(fitColumnGains({cv::Mat(1, 2, CV_8UC4, cv::Scalar(1, 2, 3, 4))}, b + QList<QList<double>>{{0.0, 0.0}},
                               1, true, 600, kList, kPoints));
        QCOMPARE(kList.size(), 4);
        QCOMPARE(kPoints[3][0].x, 4.0);
    }

    void linesFromTheLastImage()
    {
        // Rows a0, b0, a1, b1 of the last image: line 0 at 40, line 1 at 80.
        cv::Mat last(4, 2, CV_8UC1);
        for (int y = 0; y < 4; ++y) last.row(y).setTo(y % 2 ? 80 : 40);
        QList<QList<double>> kList;
        QList<QList<KPoint>> kPoints;
        QVERIFY(fitColumnGains({cv::Mat(4, 2, CV_8UC1, cv::Scalar(200)), last}, {{0.0, 0.0}, {0.0, 0.0}}, 2, true, 600,
                               kList, kPoints));
        QCOMPARE(kList.size(), 2);
        QVERIFY(kPoints.isEmpty());
        QCOMPARE(kList[0], (QList<double>{1.0, 1.0}));
    }

    // Each image against its own dark rows: the dark predicted at its exposure.
    void darkOfEachImage()
    {
        // Two mono images of two columns: column 1 is hot, its dark 10 at the first exposure and
        // 40 at the second.
        const QList<cv::Mat> images{(cv::Mat_<uint8_t>(1, 2) << 110, 110), (cv::Mat_<uint8_t>(1, 2) << 210, 240)};
        const QList<QList<QList<double>>> darks{{{10.0, 10.0}}, {{10.0, 40.0}}};
        QList<QList<double>> kList;
        QList<QList<KPoint>> kPoints;
        QVERIFY(fitColumnGains(images, darks, 1, true, 600, kList, kPoints));
        // K = (brightest - mean dark) / (m - dark): image 0 (110 - 10) / 100; image 1
        // (240 - 25) / (210 - 10) and (240 - 25) / (240 - 40).
        QCOMPARE(kList, (QList<QList<double>>{{1.0, 1.0}, {215.0 / 200.0, 215.0 / 200.0}}));
        // Against the one dark of the first exposure the hot column would come out low.
        QList<QList<double>> one;
        QList<QList<KPoint>> onePoints;
        QVERIFY(fitColumnGains(images, QList<QList<double>>{{10.0, 10.0}}, 1, true, 600, one, onePoints));
        QCOMPARE(one[1][1], 230.0 / 230.0);
        // One entry serves every image; another count is refused, as is a short dark row.
        QVERIFY(fitColumnGains(images, QList<QList<QList<double>>>{{{10.0, 10.0}}}, 1, true, 600, kList, kPoints));
        QVERIFY(!fitColumnGains(images, QList<QList<QList<double>>>{{{1.0, 1.0}}, {{1.0, 1.0}}, {{1.0, 1.0}}}, 1, true,
                                600, kList, kPoints));
        QVERIFY(
            !fitColumnGains(images, QList<QList<QList<double>>>{{{1.0, 1.0}}, {{1.0}}}, 1, true, 600, kList, kPoints));
        QCOMPARE(kList.size(), 4);
    }

    void unusableKLimited()
    {
        QList<double> k{1.2, std::numeric_limits<double>::infinity(), std::nan(""), -0.5, 0.0, 0.9};
        QCOMPARE(limitUnusableK(k, 1.8), (std::vector<int>{1, 2, 3, 4}));
        QCOMPARE(k, (QList<double>{1.2, 1.8, 1.8, 1.8, 1.8, 0.9}));
        QList<KPoint> points{{10.0, -std::numeric_limits<double>::infinity()}, {20.0, 1.1}};
        QCOMPARE(limitUnusableK(points, 3.8), (std::vector<int>{0}));
        QCOMPARE(points[0].y, 3.8);
        QCOMPARE(points[0].x, 10.0);
        QCOMPARE(points[1].y, 1.1);
        // A dead column, its bright mean at its dark, gives an infinite K before the limit.
        QList<double> out;
        calcColumnK((cv::Mat_<uint8_t>(1, 2) << 100, 10), out, {10.0, 10.0}, true, 600, false);
        QVERIFY(std::isinf(out[1]));
    }

    void darkLevelsOfTheSearch()
    {
        const QList<QList<double>> rows{{10.0, 20.0}, {30.0, 50.0}, {1.0, 1.0}, {7.0, 9.0}};
        // Colour: plane p from row p.
        QCOMPARE(planeDarkLevels(rows, 3, 1), (std::vector<double>{15.0, 40.0, 1.0}));
        // Mono of four lines: the lines' mean.
        QCOMPARE(planeDarkLevels(rows, 1, 4), (std::vector<double>{(15.0 + 40.0 + 1.0 + 8.0) / 4.0}));
        QCOMPARE(planeDarkLevels(rows, 1, 1), (std::vector<double>{15.0}));
        QVERIFY(planeDarkLevels(rows.mid(0, 2), 3, 1).empty());
        // The brightest plane above its dark.
        const std::vector<cv::Mat> planes{cv::Mat(2, 2, CV_8UC1, cv::Scalar(100)),
                                          cv::Mat(2, 2, CV_8UC1, cv::Scalar(110))};
        QCOMPARE(highestPlaneMean(planes, {0.0, 0.0}), 110.0);
        QCOMPARE(highestPlaneMean(planes, {5.0, 30.0}), 95.0);
        QCOMPARE(highestPlaneMean(planes, {5.0}), 110.0);
        QCOMPARE(highestPlaneMean(planes, {}), highestPlaneMean(planes));
    }

    // ---- Read-back ----

    void readBackPlaneCounts()
    {
        for (int code : {0, 1, 2, 3, 4, 30, 31, 32, 33, 34}) QCOMPARE(readBackPlanes(code), 1);
        for (int code : {10, 14, 40, 44}) QCOMPARE(readBackPlanes(code), 3);
        for (int code : {11, 15}) QCOMPARE(readBackPlanes(code), 4);
        for (int code : {5, 12, 35, -1}) QCOMPARE(readBackPlanes(code), 0);
    }

    void readBackRows()
    {
        // Two planes, three columns: pairs (K, B) interleaved by column.
        const float first[12] = {1, 10, 1, 20, 1, 11, 1, 21, 1, 12, 1, 22};
        QList<QList<double>> b;
        appendReadBackRows(b, first, 3, 2);
        QCOMPARE(b, (QList<QList<double>>{{10, 11, 12}, {20, 21, 22}}));
        // A second gain grows the first rows; its own rows stay empty.
        const float second[12] = {1, 30, 1, 40, 1, 31, 1, 41, 1, 32, 1, 42};
        appendReadBackRows(b, second, 3, 2);
        QCOMPARE(b.size(), 4);
        QCOMPARE(b[0], (QList<double>{10, 11, 12, 30, 31, 32}));
        QCOMPARE(b[1], (QList<double>{20, 21, 22, 40, 41, 42}));
        QVERIFY(b[2].isEmpty() && b[3].isEmpty());
    }

    // ---- Final step ----

    void fullScaleWithDarkZero()
    {
        QList<QList<double>> b{{0.0, 0.0}};
        QList<QList<double>> k{{1.0, 1.0}};
        QList<double> scale;
        finishSingleLevel(b, k, {}, 255.0, scale);
        QCOMPARE(scale, (QList<double>{1.0}));
        QCOMPARE(k[0], (QList<double>{1.0, 1.0}));
        // No lift entry counts as 0.
        QCOMPARE(b[0], (QList<double>{0.0, 0.0}));
    }

    void scaleAndLift()
    {
        // 16-bit: (65472 - 472) * 1.0 = 65000 is the lowest reach; s = 65472 / 65000.
        QList<QList<double>> b{{472.0, 0.0}, {5.0}, {7.0}};
        QList<QList<double>> k{{1.0, 1.2}, {1.0}};
        QList<double> scale;
        finishSingleLevel(b, k, {650.0, 2.0}, 65472.0, scale);
        const double s = 65472.0 / 65000.0;
        QCOMPARE(scale, (QList<double>{s, 65472.0 / ((65472.0 - 5.0) * 1.0), 1.0}));
        QCOMPARE(k[0][1], 1.2 * s);
        // Each column lifted by the lift over its own K: its corrected dark sits the lift below 0.
        QCOMPARE(b[0][0], 650.0 / (1.0 * s) + 472.0);
        QCOMPARE(b[0][1], 650.0 / (1.2 * s) + 0.0);
        QCOMPARE((b[0][0] - 472.0) * k[0][0], 650.0);
        QCOMPARE((b[0][1] - 0.0) * k[0][1], 650.0);
        QCOMPARE(b[1][0], 2.0 / (65472.0 / (65472.0 - 5.0)) + 5.0);
        // The row without K (the shorter list) is left as it is.
        QCOMPARE(b[2], (QList<double>{7.0}));
    }

    void scaleCappedAt65535()
    {
        QList<QList<double>> b{{0.0}};
        QList<QList<double>> k{{2.0}};
        QList<double> scale;
        finishSingleLevel(b, k, {}, 65472.0, scale);
        QCOMPARE(scale[0], 65472.0 / 65535.0);
    }

    void emptyK()
    {
        QList<QList<double>> b{{3.0}};
        QList<QList<double>> k;
        QList<double> scale;
        finishSingleLevel(b, k, {1.0}, 255.0, scale);
        QCOMPARE(scale, (QList<double>{1.0}));
        QCOMPARE(b[0], (QList<double>{3.0}));
    }

    void multiLevelOneExposure()
    {
        // One exposure per row: K is the same at every level, within its limits.
        QList<QList<double>> b{{10.0, 20.0}};
        const QList<QList<KPoint>> points{{{100.0, 1.0}, {100.0, 1.5}}};
        QList<double> scale;
        finishMultiLevel(b, points, 2, fpnLevels9, {3.0}, 255.0, scale);
        const double s = 255.0 / 245.0;  // min(245 * 1.0, 235 * 1.5)
        QCOMPARE(scale, (QList<double>{s}));
        // Each column over its own K of the first band (a dark pixel's): 1.0 and 1.5.
        QCOMPARE(b[0][0], 3.0 / (1.0 * s) + 10.0);
        QCOMPARE(b[0][1], 3.0 / (1.5 * s) + 20.0);
    }

    void multiLevelTables()
    {
        // K rises with the level from 1.0 at 0 to 2.0 at 200: the largest band K depends on the table.
        const QList<QList<KPoint>> points{{{0.0, 1.0}}, {{200.0, 2.0}}};
        auto liftFor = [&](const std::vector<uint16_t>& table) {
            QList<QList<double>> b{{0.0}};
            QList<double> scale;
            finishMultiLevel(b, points, 4, table, {1.0}, 255.0, scale);
            return QPair<double, double>(scale[0], b[0][0]);
        };
        // Top level 191 for every table: K 1.955, s = 255 / (255 * 1.955).
        const double s = 1.0 / 1.955;
        QCOMPARE(liftFor(fpnLevels3).first, s);
        // The lift goes over the K a dark pixel takes, the first band's: three bands sample it at
        // 12 (K 1.06), nine at 3 (K 1.015).
        QCOMPARE(liftFor(fpnLevels3).second, 1.0 / (1.06 * s));
        QCOMPARE(liftFor(fpnLevels9).second, 1.0 / (1.015 * s));
        QCOMPARE(liftFor(fpnLevelsFor(3)), liftFor(fpnLevels3));
        QCOMPARE(liftFor(fpnLevelsFor(7)), liftFor(fpnLevels3));
    }

    void multiLevelWithoutSamples()
    {
        QList<QList<double>> b{{4.0}};
        QList<double> scale;
        finishMultiLevel(b, {}, 2, fpnLevels3, {}, 65472.0, scale);
        QCOMPARE(scale, (QList<double>{65472.0 / 65535.0}));
        QCOMPARE(b[0][0], 4.0);
    }
};

QTEST_GUILESS_MAIN(TestBrightStats)
#include "test_brightstats.moc"

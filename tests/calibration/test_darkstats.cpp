// The kernels of the dark-field measurement, with exact numbers and no camera: planes of a frame,
// column means and their range, the B row and its lift, the DOffset wrap and the judging step of
// its walk.
#include "calibration/darkstats.h"

#include "lsx.h"

#include <QtTest>

#include <functional>

namespace {

// A mono 8-bit frame whose row y holds the value y % 256 in every column.
cv::Mat rowNumbered(int rows, int cols)
{
    cv::Mat m(rows, cols, CV_8UC1);
    for (int y = 0; y < rows; ++y) m.row(y).setTo(y % 256);
    return m;
}

// Runs the walk against a camera whose darkest and brightest column means (on the walk's scale)
// follow the value on trial; gives the values tried and the result.
struct WalkRun {
    QList<int> trials;
    int result = 0;
};
WalkRun walk(const std::function<float(int)>& darkest, const std::function<float(int)>& brightest, int maxB)
{
    WalkRun run;
    DoffsetWalk w;
    const int limit = doffsetLimit(maxB);
    while (!w.done && w.d >= -limit && w.d <= limit && run.trials.size() < 1000) {
        run.trials.append(w.d);
        judgeDoffsetFrame(w, darkest(w.d), brightest(w.d), maxB);
    }
    run.result = w.d;
    return run;
}

}  // namespace

class TestDarkStats : public QObject {
    Q_OBJECT

private slots:
    // ---- Planes ----

    void fourLinesDealtRowByRow()
    {
        const cv::Mat frame = rowNumbered(4000, 5);
        std::vector<cv::Mat> planes;
        QVERIFY(splitFramePlanes(frame, FORMAT_MONO, 4, true, planes));
        QCOMPARE(int(planes.size()), 4);
        for (const cv::Mat& p : planes) QCOMPARE(p.rows, 1000);
        // Plane 1 begins with frame row 1, and goes on every fourth row.
        QCOMPARE(int(planes[1].at<uint8_t>(0, 0)), 1);
        QCOMPARE(int(planes[1].at<uint8_t>(1, 3)), 5);
        QCOMPARE(int(planes[3].at<uint8_t>(2, 4)), 11);
    }

    void unevenRowsGoToTheFirstPlanes()
    {
        std::vector<cv::Mat> planes;
        QVERIFY(splitFramePlanes(rowNumbered(4002, 3), FORMAT_MONO, 4, true, planes));
        QCOMPARE(int(planes.size()), 4);
        QCOMPARE(planes[0].rows, 1001);
        QCOMPARE(planes[1].rows, 1001);
        QCOMPARE(planes[2].rows, 1000);
        QCOMPARE(planes[3].rows, 1000);
        QCOMPARE(int(planes[1].at<uint8_t>(1000, 0)), 4001 % 256);
    }

    void planesAreCopies()
    {
        cv::Mat frame = rowNumbered(8, 4);
        std::vector<cv::Mat> planes;
        QVERIFY(splitFramePlanes(frame, FORMAT_MONO, 2, true, planes));
        frame.setTo(200);
        QCOMPARE(int(planes[0].at<uint8_t>(1, 0)), 2);
    }

    void withoutDeinterleavingOnePlane()
    {
        const cv::Mat frame = rowNumbered(4000, 5);
        std::vector<cv::Mat> planes;
        QVERIFY(splitFramePlanes(frame, FORMAT_MONO, 4, false, planes));
        QCOMPARE(int(planes.size()), 1);
        QCOMPARE(planes[0].rows, 4000);
        QVERIFY(splitFramePlanes(frame, FORMAT_MONO, 1, true, planes));
        QCOMPARE(int(planes.size()), 1);
    }

    void colourPlanesInMemoryOrder_data()
    {
        QTest::addColumn<int>("format");
        QTest::addColumn<int>("channels");
        QTest::newRow("BGR24") << int(FORMAT_BGR24) << 3;
        QTest::newRow("RGB24") << int(FORMAT_RGB24) << 3;
        QTest::newRow("BGR32") << int(FORMAT_BGR32) << 4;
        QTest::newRow("RGB32") << int(FORMAT_RGB32) << 4;
    }

    void colourPlanesInMemoryOrder()
    {
        QFETCH(int, format);
        QFETCH(int, channels);
        cv::Mat frame(8, 3, CV_8UC(channels), cv::Scalar(10, 20, 30, 40));
        std::vector<cv::Mat> planes;
        // Colour frames are never dealt out by sensor line.
        QVERIFY(splitFramePlanes(frame, format, 4, true, planes));
        QCOMPARE(int(planes.size()), channels);
        for (int c = 0; c < channels; ++c) {
            QCOMPARE(planes[size_t(c)].rows, 8);
            QCOMPARE(planes[size_t(c)].type(), CV_8UC1);
            QCOMPARE(int(planes[size_t(c)].at<uint8_t>(7, 2)), 10 * (c + 1));
        }
    }

    // Names as the Chinese interface shows them (no translation is installed here), and keys
    // beside them, numbered alike.
    void planeNamesAndKeys()
    {
        QCOMPARE(planeName(FORMAT_MONO, 1, 0), QStringLiteral("\u9ED1\u767D"));
        QCOMPARE(planeKey(FORMAT_MONO, 1, 0), QStringLiteral("mono"));
        QCOMPARE(planeName(FORMAT_MONO, 4, 3), QStringLiteral("\u4F20\u611F\u5668\u884C3"));
        QCOMPARE(planeKey(FORMAT_MONO, 4, 0), QStringLiteral("line0"));
        QCOMPARE(planeKey(FORMAT_MONO, 4, 3), QStringLiteral("line3"));
        QCOMPARE(planeName(FORMAT_BGR24, 3, 0), QStringLiteral("B"));
        QCOMPARE(planeKey(FORMAT_BGR24, 3, 0), QStringLiteral("B"));
        QCOMPARE(planeKey(FORMAT_RGB32, 4, 0), QStringLiteral("R"));
        QCOMPARE(planeKey(FORMAT_BGR32, 4, 2), QStringLiteral("R"));
        QCOMPARE(planeName(FORMAT_RGB32, 4, 3), QStringLiteral("\u901A\u90534"));
        QCOMPARE(planeKey(FORMAT_RGB32, 4, 3), QStringLiteral("channel4"));
    }

    void unknownFormatsAndMismatchesRefused()
    {
        std::vector<cv::Mat> planes{cv::Mat(1, 1, CV_8UC1)};
        QVERIFY(!splitFramePlanes(rowNumbered(4, 4), 99, 1, true, planes));
        QVERIFY(planes.empty());
        QVERIFY(!splitFramePlanes(rowNumbered(4, 4), FORMAT_BGR24, 1, true, planes));
        QVERIFY(!splitFramePlanes(cv::Mat(), FORMAT_RGB32, 1, true, planes));
        QVERIFY(!splitFramePlanes(cv::Mat(4, 4, CV_8UC3), FORMAT_MONO, 1, true, planes));
    }

    void monoFrameOfUnknownWidthGivesEmptyPlanes()
    {
        std::vector<cv::Mat> planes;
        QVERIFY(splitFramePlanes(cv::Mat(), FORMAT_MONO, 1, true, planes));
        QCOMPARE(int(planes.size()), 1);
        QVERIFY(planes[0].empty());
        QVERIFY(splitFramePlanes(cv::Mat(), FORMAT_MONO, 4, true, planes));
        QCOMPARE(int(planes.size()), 4);
        const DarkRow row = darkRow(planes[0]);
        QVERIFY(row.b.isEmpty());
        QCOMPARE(row.lift, 0.0);
        QCOMPARE(columnMeanRange(planes[0], 1.0f).max, 0.0f);
    }

    // ---- Column means and the limit ----

    void sixteenBitMeanJudgedOnTheEightBitScale()
    {
        const cv::Mat plane(1000, 16, CV_16UC1, cv::Scalar(6400));
        const MeanRange r = columnMeanRange(plane, eightBitScale(LSX_BITS_16));
        QCOMPARE(QString::number(r.min, 'f', 2), QStringLiteral("25.00"));
        QCOMPARE(QString::number(r.max, 'f', 2), QStringLiteral("25.00"));
        const DarkRow row = darkRow(plane);
        QCOMPARE(row.b.size(), 16);
        for (double b : row.b) QCOMPARE(b, 6400.0);
        QCOMPARE(row.lift, 0.0);
    }

    void columnAtTheLimitIsNotAboveIt()
    {
        cv::Mat plane(1000, 4, CV_8UC1, cv::Scalar(3));
        plane.col(2).setTo(64);
        const MeanRange r = columnMeanRange(plane, eightBitScale(LSX_BITS_8));
        QCOMPARE(r.max, 64.0f);
        QCOMPARE(r.min, 3.0f);
        QVERIFY(!(r.max > 64.0f));
        plane.at<uint8_t>(0, 2) = 65;
        QVERIFY(columnMeanRange(plane, 1.0f).max > 64.0f);
    }

    void rangeOverPlanes()
    {
        std::vector<cv::Mat> planes{cv::Mat(4, 3, CV_16UC1, cv::Scalar(640)), cv::Mat(4, 3, CV_16UC1, cv::Scalar(64))};
        planes[0].at<uint16_t>(0, 1) = 640 + 4 * 64;  // column mean 704
        const MeanRange r = columnMeanRange(planes, doffsetScale(LSX_BITS_16));
        QCOMPARE(r.min, 1.0f);
        QCOMPARE(r.max, 11.0f);
        QCOMPARE(doffsetScale(LSX_BITS_8), 1.0f);
    }

    void sampleScaleBeforeTheSum()
    {
        const cv::Mat plane(512, 2, CV_16UC1, cv::Scalar(1000));
        const cv::Mat means = columnMeansF(plane, 1.0f / 256.0f);
        QCOMPARE(means.cols, 2);
        QCOMPARE(means.at<float>(0, 1), 3.90625f);
        QCOMPARE(meanRange(means).max, 3.90625f);
        QVERIFY(columnMeansF(cv::Mat(3, 3, CV_32FC1, cv::Scalar(1))).empty());
    }

    // ---- The B row ----

    void eightBitMeansKeepTheirFraction()
    {
        cv::Mat plane(1000, 3, CV_8UC1);
        for (int y = 0; y < plane.rows; ++y) plane.row(y).setTo(y % 2 ? 11 : 10);
        plane.at<uint8_t>(7, 2) = 40;  // one bright sample in column 2
        const DarkRow row = darkRow(plane);
        QCOMPARE(row.b.size(), 3);
        QCOMPARE(row.b[0], 10.5);
        QCOMPARE(row.b[2], 10.5 + 29.0 / 1000.0);
        // Lift: mean over columns of (maximum - mean).
        const double lift = (0.5 + 0.5 + (40.0 - (10.5 + 0.029))) / 3.0;
        QCOMPARE(row.lift, lift);
    }

    void sixteenBitMeansTruncatedLiftFromTheFullMean()
    {
        cv::Mat plane(1000, 2, CV_16UC1);
        for (int y = 0; y < plane.rows; ++y) plane.row(y).setTo(y % 2 ? 6465 : 6464);
        const DarkRow row = darkRow(plane);
        QCOMPARE(row.b[0], 6464.0);
        QCOMPARE(row.b[1], 6464.0);
        QCOMPARE(row.lift, 0.5);
    }

    void otherElementTypeGivesAnEmptyRow()
    {
        const DarkRow row = darkRow(cv::Mat(4, 4, CV_32FC1, cv::Scalar(3)));
        QVERIFY(row.b.isEmpty());
        QCOMPARE(row.lift, 0.0);
    }

    // Four 8-bit frames a black-level step (a quarter sample) apart give the level of the first
    // at a quarter-sample resolution, whether the steps go up or, at the top of the black level's
    // range, down.
    void ditheredRowUpAndDown()
    {
        // Frame j of 4 rows: j rows one sample above (or below) the level, the others at it.
        auto frames = [](int direction) {
            std::vector<cv::Mat> out;
            for (int j = 0; j < 4; ++j) {
                cv::Mat f(4, 2, CV_8UC1);
                for (int y = 0; y < 4; ++y) {
                    const int up = y < j ? direction : 0;
                    f.at<uint8_t>(y, 0) = uint8_t(10 + up);
                    f.at<uint8_t>(y, 1) = uint8_t(30 + up);
                }
                out.push_back(f);
            }
            return out;
        };
        QCOMPARE(ditheredDarkRow(frames(1)), (QList<double>{10.0, 30.0}));
        QCOMPARE(ditheredDarkRow(frames(-1)), (QList<double>{10.0, 30.0}));
        // A camera that does not follow the black level: the plain mean.
        QCOMPARE(ditheredDarkRow(frames(0)), (QList<double>{10.0, 30.0}));
        QVERIFY(ditheredDarkRow({frames(1).front()}).isEmpty());
    }

    // The steps of a dithered dark go up while the last stays within 127, else down.
    void ditherTurnsDownAtTheTop()
    {
        QCOMPARE(doffsetRoom(0, 4), 124);
        QCOMPARE(doffsetRoom(124, 4), 0);
        QCOMPARE(doffsetRoom(125, 4), -1);
        QCOMPARE(doffsetRoom(120, 8), 0);
        QCOMPARE(ditherDirection(124, 4), 1);
        QCOMPARE(ditherDirection(125, 4), -1);
        QCOMPARE(ditherDirection(128, 4), -1);
        QCOMPARE(ditherDirection(-128, 4), 1);
    }

    // ---- DOffset ----

    void wrap()
    {
        QCOMPARE(wrapDoffset(200), -56);
        QCOMPARE(wrapDoffset(128), 128);
        QCOMPARE(wrapDoffset(129), -127);
        QCOMPARE(wrapDoffset(255), -1);
        QCOMPARE(wrapDoffset(-5), -5);
        QCOMPARE(wrapDoffset(0), 0);
    }

    void limit()
    {
        QCOMPARE(doffsetLimit(200), 127);
        QCOMPARE(doffsetLimit(127), 127);
        QCOMPARE(doffsetLimit(64), 64);
    }

    void walkDownJumpsOverZero()
    {
        // Darkest column 5.0 at 1, falling 1.0 a step; the brightest far below the limit.
        const WalkRun run = walk([](int d) { return 4.0f + d; }, [](int d) { return 20.0f + d; }, 64);
        QCOMPARE(run.trials, (QList<int>{1, -1, -2, -3}));
        // -3 leaves the darkest column at 1.0, no longer above: the value before is kept.
        QCOMPARE(run.result, -2);
    }

    void walkUpFromTooDark()
    {
        // Darkest column 0.5 at 1, rising 1.0 a step.
        const WalkRun run = walk([](int d) { return d - 0.5f; }, [](int d) { return 20.0f + d; }, 64);
        QCOMPARE(run.trials, (QList<int>{1, 2, 1}));
        QCOMPARE(run.result, 2);
    }

    void tooBrightAtTheStartMayLandOnZero()
    {
        // The brightest column at the limit until d = -2, the darkest well lit.
        const WalkRun run = walk([](int d) { return 30.0f + d; }, [](int d) { return 66.0f + d; }, 64);
        QCOMPARE(run.trials.mid(0, 4), (QList<int>{1, 0, -1, -2}));
        // -3 is the first value below the limit; the walk goes on down from there.
        QVERIFY(run.trials.contains(-3));
        QCOMPARE(run.result, -28);  // the last value whose darkest column (30 + d) stays above 1.0
    }

    void brightnessJudgedWithTheWholeLimit()
    {
        // maxB 200: a brightest column of 150 is below the limit though the walk is bounded to 127.
        DoffsetWalk w;
        judgeDoffsetFrame(w, 5.0f, 150.0f, 200);
        QVERIFY(w.prevBelow);
        QCOMPARE(w.d, -1);
        DoffsetWalk bright;
        judgeDoffsetFrame(bright, 5.0f, 200.0f, 200);
        QVERIFY(!bright.prevBelow);
        QCOMPARE(bright.d, 0);
    }

    void tooBrightEverywhereLeavesTheBound()
    {
        const WalkRun run = walk([](int) { return 30.0f; }, [](int) { return 64.0f; }, 64);
        QCOMPARE(run.trials.size(), 66);  // 1, 0, -1, ... -64
        QCOMPARE(run.result, -65);
    }
};

QTEST_GUILESS_MAIN(TestDarkStats)
#include "test_darkstats.moc"

// The numbers of the exposure test, with exact values and no camera: the spread of the exposures
// over the range, and the row of column means of a frame by the camera's target format.
#include "calibration/exposurestats.h"

#include "lsx.h"

#include <QtTest>

#include <cmath>
#include <limits>

namespace {

QVector<double> evenly(double from, double step, int count)
{
    QVector<double> out;
    for (int i = 0; i < count; ++i) out.append(from + i * step);
    return out;
}

// The values of a row, channel after channel inside each column.
QList<float> valuesOf(const cv::Mat& row)
{
    QList<float> out;
    const float* p = row.ptr<float>(0);
    for (int i = 0; i < row.cols * row.channels(); ++i) out.append(p[i]);
    return out;
}

}  // namespace

class TestExposureStats : public QObject {
    Q_OBJECT

private slots:
    // ---- The exposures ----

    void series_data()
    {
        QTest::addColumn<double>("lower");
        QTest::addColumn<double>("upper");
        QTest::addColumn<double>("step");
        QTest::addColumn<int>("count");
        QTest::addColumn<double>("k");
        QTest::addColumn<double>("interval");
        QTest::addColumn<double>("n");
        QTest::addColumn<double>("last");
        QTest::addColumn<QVector<double>>("exposures");
        QTest::newRow("20 to 1020, step 1")
            << 20.0 << 1020.0 << 1.0 << 10 << 100.0 << 100.0 << 11.0 << 1120.0 << evenly(20.0, 100.0, 11);
        QTest::newRow("20 to 1020, step 25")
            << 20.0 << 1020.0 << 25.0 << 10 << 4.0 << 100.0 << 11.0 << 1120.0 << evenly(20.0, 100.0, 11);
        // Narrower than ten steps: ceil(5 / 10) / 1 is 1, so k is 1 and the interval the step.
        QTest::newRow("narrow range") << 20.0 << 25.0 << 1.0 << 10 << 1.0 << 1.0 << 6.0 << 26.0 << evenly(20.0, 1.0, 6);
        // Narrower still: ceil(3 / 10) / 25 is 0.04, truncated to 0, so k is raised to 1.
        QTest::newRow("range below one step")
            << 20.0 << 23.0 << 25.0 << 10 << 1.0 << 25.0 << 1.0 << 45.0 << QVector<double>{20.0};
        QTest::newRow("one exposure") << 300.0 << 300.0 << 1.0 << 10 << 1.0 << 1.0 << 1.0 << 301.0
                                      << QVector<double>{300.0};
        // The count is a target: ceil(1000 / 7) = 143 on a step of 25 is k 5, interval 125, and
        // 9 exposures up to 1020.
        QTest::newRow("seven asked") << 20.0 << 1020.0 << 25.0 << 7 << 5.0 << 125.0 << 9.0 << 1145.0
                                     << evenly(20.0, 125.0, 9);
        // A range that does not end on the grid: n is truncated, so the series stops a whole
        // interval short of upper, and `last` lies past it.
        QTest::newRow("two asked") << 2.0 << 191.0 << 1.0 << 2 << 95.0 << 95.0 << 2.0 << 192.0
                                   << QVector<double>{2.0, 97.0};
    }

    void series()
    {
        QFETCH(double, lower);
        QFETCH(double, upper);
        QFETCH(double, step);
        QFETCH(int, count);
        const ExposureTestSeries s = exposureTestSeries(lower, upper, step, count);
        QTEST(s.k, "k");
        QTEST(s.interval, "interval");
        QTEST(s.n, "n");
        QTEST(s.last, "last");
        QTEST(s.exposures, "exposures");
    }

    void seriesOnTheSimulatedCamerasStep()
    {
        // The camera's step of 0.1 us: ceil(188 / 40) = 5, k 50, interval 5 (in double), 38 exposures.
        const ExposureTestSeries s = exposureTestSeries(2.0, 190.0, 0.1, 40);
        QCOMPARE(s.k, 50.0);
        QVERIFY(std::abs(s.interval - 5.0) < 1e-12);
        QCOMPARE(s.exposures.size(), 38);
        QCOMPARE(s.exposures.first(), 2.0);
        QVERIFY(std::abs(s.exposures.last() - 187.0) < 1e-9);
        for (int i = 1; i < s.exposures.size(); ++i) QVERIFY(s.exposures[i] > s.exposures[i - 1]);
    }

    void seriesOfUnusableInput()
    {
        // Upper below lower: n is 0 and no exposure is taken.
        QVERIFY(exposureTestSeries(100.0, 99.0, 1.0, 10).exposures.isEmpty());
        // A count of 0 counts as 1: one interval of the whole span, both ends.
        QCOMPARE(exposureTestSeries(20.0, 120.0, 1.0, 0).exposures, (QVector<double>{20.0, 120.0}));
        // A camera step of 0 counts as 1 us.
        QCOMPARE(exposureTestSeries(20.0, 1020.0, 0.0, 10).exposures, evenly(20.0, 100.0, 11));
        QCOMPARE(exposureTestSeries(20.0, 1020.0, std::nan(""), 10).interval, 100.0);
        // A range that is not finite gives nothing.
        QVERIFY(exposureTestSeries(20.0, std::numeric_limits<double>::infinity(), 1.0, 10).exposures.isEmpty());
        QVERIFY(exposureTestSeries(std::nan(""), 20.0, 1.0, 10).exposures.isEmpty());
        // An interval that cannot move e: the list stops at n + 1 entries.
        const ExposureTestSeries stuck = exposureTestSeries(1e20, 1e20 + 1e6, 1.0, 1000000);
        QCOMPARE(stuck.interval, 1.0);
        QVERIFY(stuck.exposures.size() <= int(stuck.n) + 1);
    }

    // ---- The target format ----

    void layout()
    {
        QCOMPARE(exposureRowLayout(true, FORMAT_MONO16).divisor, 256.0);
        QVERIFY(!exposureRowLayout(true, FORMAT_MONO16).exchange);
        QVERIFY(exposureRowLayout(true, FORMAT_RGB24).exchange);
        QCOMPARE(exposureRowLayout(true, FORMAT_RGB24).divisor, 1.0);
        for (int32_t f : {0, 2, 10, 11, 15, 30}) {
            QCOMPARE(exposureRowLayout(true, f).divisor, 1.0);
            QVERIFY(!exposureRowLayout(true, f).exchange);
        }
        // A format that could not be read: as delivered.
        QCOMPARE(exposureRowLayout(false, FORMAT_MONO16).divisor, 1.0);
        QVERIFY(!exposureRowLayout(false, FORMAT_RGB24).exchange);
    }

    // ---- Rows ----

    void sixteenBitMonoOnTheEightBitScale()
    {
        const cv::Mat frame(4, 3, CV_16UC1, cv::Scalar(6400));
        const cv::Mat row = exposureRow(frame, exposureRowLayout(true, FORMAT_MONO16));
        QCOMPARE(row.type(), CV_32FC1);
        QCOMPARE(row.rows, 1);
        QCOMPARE(row.cols, 3);
        QCOMPARE(valuesOf(row), (QList<float>{25.0f, 25.0f, 25.0f}));
        // Another target leaves the 16-bit means as they are.
        QCOMPARE(valuesOf(exposureRow(frame, exposureRowLayout(true, FORMAT_MONO))), (QList<float>{6400, 6400, 6400}));
    }

    void rgbTargetComesInBlueGreenRed()
    {
        // An RGB24 frame of all (R 10, G 20, B 30): memory order R, G, B.
        const cv::Mat frame(2, 2, CV_8UC3, cv::Scalar(10, 20, 30));
        const cv::Mat row = exposureRow(frame, exposureRowLayout(true, FORMAT_RGB24));
        QCOMPARE(row.type(), CV_32FC3);
        QCOMPARE(valuesOf(row), (QList<float>{30, 20, 10, 30, 20, 10}));
    }

    void bgrTargetStaysAsDelivered()
    {
        // A BGR24 frame of all (B 30, G 20, R 10).
        const cv::Mat frame(2, 2, CV_8UC3, cv::Scalar(30, 20, 10));
        const cv::Mat row = exposureRow(frame, exposureRowLayout(true, FORMAT_BGR24));
        QCOMPARE(valuesOf(row), (QList<float>{30, 20, 10, 30, 20, 10}));
    }

    void fourChannelTargetsStayAsDelivered()
    {
        // RGB32 is not exchanged: its rows keep R, G, B and the fourth channel.
        const cv::Mat frame(3, 1, CV_8UC4, cv::Scalar(10, 20, 30, 40));
        const cv::Mat row = exposureRow(frame, exposureRowLayout(true, FORMAT_RGB32));
        QCOMPARE(row.type(), CV_32FC4);
        QCOMPARE(valuesOf(row), (QList<float>{10, 20, 30, 40}));
        // An exchange asked for on four channels swaps 0 and 2 and leaves the fourth.
        ExposureRowLayout swap;
        swap.exchange = true;
        QCOMPARE(valuesOf(exposureRow(frame, swap)), (QList<float>{30, 20, 10, 40}));
        // One channel has nothing to exchange.
        QCOMPARE(valuesOf(exposureRow(cv::Mat(2, 2, CV_8UC1, cv::Scalar(7)), swap)), (QList<float>{7, 7}));
    }

    void columnMeansOverAllRows()
    {
        // Column c of row y holds 10 y + c; four rows give the means 15 + c. The lines of a
        // multi-line sensor are not told apart: all rows count.
        cv::Mat frame(4, 3, CV_16UC1);
        for (int y = 0; y < 4; ++y)
            for (int c = 0; c < 3; ++c) frame.at<uint16_t>(y, c) = uint16_t(10 * y + c);
        QCOMPARE(valuesOf(exposureRow(frame, ExposureRowLayout{})), (QList<float>{15, 16, 17}));
        // With the 16-bit target: (15 + c) / 256.
        const QList<float> scaled = valuesOf(exposureRow(frame, exposureRowLayout(true, FORMAT_MONO16)));
        for (int c = 0; c < 3; ++c) QCOMPARE(scaled[c], float((60.0 + 4 * c) * (1.0 / float(4 * 256.0f))));
    }

    void sumInSinglePrecision()
    {
        // 513 rows of 65472 bring the float running sum to 33587136, past 2^25, where the float's
        // spacing is 4: each of the 2000 rows of 1 that follow is lost in the sum. The mean is
        // 33587136 / 2513, not the (33587136 + 2000) / 2513 of an exact sum.
        cv::Mat frame(2513, 1, CV_16UC1, cv::Scalar(1));
        frame.rowRange(0, 513).setTo(65472);
        const float got = exposureRow(frame, ExposureRowLayout{}).at<float>(0, 0);
        QVERIFY2(std::abs(got - 33587136.0 / 2513.0) < 0.01, qPrintable(QString::number(got)));
        QVERIFY(std::abs(got - 33589136.0 / 2513.0) > 0.7);
    }

    void emptyFrameKeepsItsPlace()
    {
        const QList<cv::Mat> rows =
            exposureRows({cv::Mat(2, 2, CV_8UC1, cv::Scalar(4)), cv::Mat(), cv::Mat(2, 2, CV_8UC1, cv::Scalar(8))},
                         ExposureRowLayout{});
        QCOMPARE(rows.size(), 3);
        QCOMPARE(valuesOf(rows[0]), (QList<float>{4, 4}));
        QVERIFY(rows[1].empty());
        QCOMPARE(valuesOf(rows[2]), (QList<float>{8, 8}));
    }
};

QTEST_APPLESS_MAIN(TestExposureStats)
#include "test_exposurestats.moc"

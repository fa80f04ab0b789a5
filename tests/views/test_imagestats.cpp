// The figures of the window's image tools, with exact numbers: histograms of known frames, the
// statistics of a rectangle, the share of samples at full scale, the planes by channel order.
#include "views/imagestats.h"

#include <QtTest>

#include <opencv2/core.hpp>

class TestImageStats : public QObject {
    Q_OBJECT

private slots:
    void planesInReadingOrder()
    {
        const QList<FramePlane> mono = framePlanes(1);
        QCOMPARE(mono.size(), 1);
        QCOMPARE(mono[0].name, QStringLiteral("灰度"));
        const QList<FramePlane> colour = framePlanes(3);
        QCOMPARE(colour.size(), 3);
        QCOMPARE(colour[0].name, QStringLiteral("R"));
        QCOMPARE(colour[0].channel, 2);
        QCOMPARE(colour[2].name, QStringLiteral("B"));
        QCOMPARE(colour[2].channel, 0);
        QCOMPARE(framePlanes(4).size(), 4);
        QCOMPARE(framePlanes(4)[3].channel, 3);
        QVERIFY(framePlanes(2).isEmpty());
    }

    void fullScale()
    {
        QCOMPARE(fullScaleOf(CV_8U), 255.0);
        QCOMPARE(fullScaleOf(CV_16U), 65472.0);
        QCOMPARE(fullScaleOf(CV_32F), 0.0);
    }

    void histogramOfAKnownMonoFrame()
    {
        // 3 x 4: three 0, four 7, one 200, four 255.
        const cv::Mat frame = (cv::Mat_<uint8_t>(3, 4) << 0, 0, 7, 255, 7, 7, 255, 0, 200, 255, 7, 255);
        const auto h = channelHistograms(frame);
        QCOMPARE(int(h.size()), 1);
        QCOMPARE(int(h[0].size()), 256);
        QCOMPARE(h[0][0], quint64(3));
        QCOMPARE(h[0][7], quint64(4));
        QCOMPARE(h[0][200], quint64(1));
        QCOMPARE(h[0][255], quint64(4));
        quint64 total = 0;
        for (quint64 n : h[0]) total += n;
        QCOMPARE(total, quint64(12));
    }

    void histogramOfASixteenBitFrameCountsDn10()
    {
        // 0 and 63 fall in bin 0, 64 and 127 in bin 1, 65472 and 65535 in bin 1023.
        const cv::Mat frame = (cv::Mat_<uint16_t>(1, 6) << 0, 63, 64, 127, 65472, 65535);
        const auto h = channelHistograms(frame);
        QCOMPARE(int(h[0].size()), 1024);
        QCOMPARE(h[0][0], quint64(2));
        QCOMPARE(h[0][1], quint64(2));
        QCOMPARE(h[0][1023], quint64(2));
        QCOMPARE(h[0][2], quint64(0));
    }

    void histogramPerColourChannel()
    {
        // Two pixels, B, G, R: (1, 2, 3) and (1, 5, 3).
        cv::Mat frame(1, 2, CV_8UC3);
        frame.at<cv::Vec3b>(0, 0) = cv::Vec3b(1, 2, 3);
        frame.at<cv::Vec3b>(0, 1) = cv::Vec3b(1, 5, 3);
        const auto h = channelHistograms(frame);
        QCOMPARE(int(h.size()), 3);
        QCOMPARE(h[0][1], quint64(2));
        QCOMPARE(h[1][2], quint64(1));
        QCOMPARE(h[1][5], quint64(1));
        QCOMPARE(h[2][3], quint64(2));
        QCOMPARE(h[2][1], quint64(0));
    }

    void rgbOrderIsSwappedToBgr()
    {
        cv::Mat frame(1, 1, CV_8UC3, cv::Scalar(10, 20, 30));
        const cv::Mat bgr = toBgrOrder(frame, true);
        QCOMPARE(bgr.at<cv::Vec3b>(0, 0), cv::Vec3b(30, 20, 10));
        QCOMPARE(toBgrOrder(frame, false).data, frame.data);
        cv::Mat four(1, 1, CV_8UC4, cv::Scalar(1, 2, 3, 4));
        QCOMPARE(toBgrOrder(four, true).at<cv::Vec4b>(0, 0), cv::Vec4b(3, 2, 1, 4));
    }

    void regionStatisticsOfAKnownFrame()
    {
        // Rows 0..3 of 10 x column + row; the rectangle x 1..2, y 1..2 holds 11, 21, 12, 22.
        cv::Mat frame(4, 4, CV_16UC1);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x) frame.at<uint16_t>(y, x) = uint16_t(10 * x + y);
        const auto s = regionStatistics(frame, cv::Rect(1, 1, 2, 2));
        QCOMPARE(int(s.size()), 1);
        QCOMPARE(s[0].count, qint64(4));
        QCOMPARE(s[0].mean, 16.5);
        // Deviations -5.5, 4.5, -4.5, 5.5: variance (30.25 + 20.25) x 2 / 4 = 25.25.
        QCOMPARE(s[0].stddev, std::sqrt(25.25));
        QCOMPARE(s[0].min, 11.0);
        QCOMPARE(s[0].max, 22.0);
    }

    void regionIsClippedToTheFrame()
    {
        const cv::Mat frame(2, 3, CV_8UC3, cv::Scalar(4, 5, 6));
        const auto s = regionStatistics(frame, cv::Rect(-5, -5, 100, 100));
        QCOMPARE(int(s.size()), 3);
        QCOMPARE(s[0].count, qint64(6));
        QCOMPARE(s[0].mean, 4.0);
        QCOMPARE(s[2].max, 6.0);
        QCOMPARE(s[1].stddev, 0.0);
        QVERIFY(regionStatistics(frame, cv::Rect(10, 10, 2, 2)).empty());
        QCOMPARE(clipToFrame(cv::Rect(2, 1, 5, 5), frame), cv::Rect(2, 1, 1, 1));
    }

    void shareAtFullScale()
    {
        // 16-bit: 65472 and above count, 65471 does not: 2 of 8.
        const cv::Mat wide = (cv::Mat_<uint16_t>(2, 4) << 65472, 65535, 65471, 0, 1, 2, 3, 4);
        const auto w = fullScaleShares(wide);
        QCOMPARE(int(w.size()), 1);
        QCOMPARE(w[0], 0.25);
        // 8-bit colour: only the red channel (2) has one sample at 255 of two.
        cv::Mat colour(1, 2, CV_8UC3, cv::Scalar(254, 0, 255));
        colour.at<cv::Vec3b>(0, 1)[2] = 3;
        const auto c = fullScaleShares(colour);
        QCOMPARE(c[0], 0.0);
        QCOMPARE(c[2], 0.5);
        QVERIFY(fullScaleShares(cv::Mat()).empty());
    }
};

QTEST_MAIN(TestImageStats)
#include "test_imagestats.moc"

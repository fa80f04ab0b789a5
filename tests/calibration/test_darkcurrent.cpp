// The dark-current kernels with exact numbers and no camera: the second exposure, the slope of
// each column with the noise rule, the predicted dark, the largest shift, and the file beside the
// FPN file.
#include "calibration/darkcurrent.h"
#include "fpnparams/paramfile.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// A 16-bit plane whose column x holds levels[x] in every row, with +-noise[x] on alternate rows
// (an even number of rows keeps the mean at levels[x]).
cv::Mat plane16(const std::vector<int>& levels, int rows, const std::vector<int>& noise = {})
{
    cv::Mat m(rows, int(levels.size()), CV_16UC1);
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < m.cols; ++x) {
            const int n = x < int(noise.size()) ? noise[size_t(x)] : 0;
            m.at<uint16_t>(y, x) = uint16_t(levels[size_t(x)] + (y % 2 ? n : -n));
        }
    return m;
}

}  // namespace

class TestDarkCurrent : public QObject {
    Q_OBJECT

private slots:
    void secondExposure()
    {
        // The shortest exposure when it leaves a lever of at least half the working exposure.
        QCOMPARE(secondDarkExposure(100.0, 2.0, 20000.0), 2.0);
        QCOMPARE(secondDarkExposure(4.0, 2.0, 20000.0), 2.0);
        // Too close: twice the working exposure instead.
        QCOMPARE(secondDarkExposure(3.0, 2.0, 20000.0), 6.0);
        // Neither possible: not measured.
        QCOMPARE(secondDarkExposure(3.0, 2.0, 5.0), 0.0);
        QCOMPARE(secondDarkExposure(0.0, 2.0, 20000.0), 0.0);
    }

    // Without noise every column has its own slope unless it equals the median.
    void slopesWithoutNoise()
    {
        // Working 102 us, second 2 us: 100 us apart. Column 3 is hot: 6400 raw more in 100 us.
        const cv::Mat w = plane16({400, 410, 420, 7000, 400}, 4);
        const cv::Mat s = plane16({390, 400, 410, 600, 390}, 4);
        const QList<double> slope = darkSlopeRow(w, s, 102.0, 2.0);
        // Noise-free: any column off the median keeps its own value; the others are the median.
        QCOMPARE(slope, (QList<double>{0.1, 0.1, 0.1, 64.0, 0.1}));
    }

    // With noise, a column within five standard deviations of its measurement takes the median.
    void slopesWithNoise()
    {
        // Every column alternates +-8 raw over 4 rows: variance 64 * 4 / 3 per column.
        const std::vector<int> noise{8, 8, 8, 8, 8};
        const cv::Mat w = plane16({400, 420, 400, 800, 400}, 4, noise);
        const cv::Mat s = plane16({400, 400, 400, 400, 400}, 4, noise);
        // sd of a slope = sqrt(2 * (256 / 3) / 4) / 10 = 0.6532 raw/us; five of them 3.266.
        const QList<double> slope = darkSlopeRow(w, s, 12.0, 2.0);
        QCOMPARE(slope.size(), 5);
        // Column 1: 2.0 raw/us, within 3.266 of the median 0: the median.
        QCOMPARE(slope[1], 0.0);
        // Column 3: 40 raw/us, its own.
        QCOMPARE(slope[3], 40.0);
        QCOMPARE(slope[0], 0.0);
    }

    // A dithered dark: four blocks of rows at black levels 40 raw apart, the same at both
    // exposures. The steps cancel in the means and are no noise: within the blocks the variance
    // is 64 x 16 / 12, the sd of a slope sqrt(2 x 85.33 / 16) / 10 = 0.3266 raw/us, five of them
    // 1.633, and column 3's 4 raw/us is its own. Taken as one block the steps' spread (variance
    // about 2000) hides it.
    void slopesOfADitheredDark()
    {
        const std::vector<int> noise{8, 8, 8, 8, 8};
        auto dithered = [&noise](const std::vector<int>& levels) {
            std::vector<cv::Mat> blocks;
            for (int j = 0; j < 4; ++j) {
                std::vector<int> lifted;
                for (int v : levels) lifted.push_back(v + 40 * j);
                blocks.push_back(plane16(lifted, 4, noise));
            }
            cv::Mat stack;
            cv::vconcat(blocks, stack);
            return stack;
        };
        const cv::Mat w = dithered({400, 400, 400, 440, 400}), s = dithered({400, 400, 400, 400, 400});
        QCOMPARE(darkSlopeRow(w, s, 12.0, 2.0, 4), (QList<double>{0.0, 0.0, 0.0, 4.0, 0.0}));
        QCOMPARE(darkSlopeRow(w, s, 12.0, 2.0), (QList<double>{0.0, 0.0, 0.0, 0.0, 0.0}));
        // Rows that do not divide into the blocks, or blocks of one row.
        QVERIFY(darkSlopeRow(w, s, 12.0, 2.0, 3).isEmpty());
        QVERIFY(darkSlopeRow(w, s, 12.0, 2.0, 16).isEmpty());
    }

    void slopesRefused()
    {
        const cv::Mat a = plane16({1, 2, 3}, 4), b = plane16({1, 2}, 4);
        QVERIFY(darkSlopeRow(a, b, 10.0, 2.0).isEmpty());
        QVERIFY(darkSlopeRow(a, a, 10.0, 10.0).isEmpty());
        QVERIFY(darkSlopeRow(plane16({1, 2}, 1), plane16({1, 2}, 1), 10.0, 2.0).isEmpty());
        cv::Mat eight;
        a.convertTo(eight, CV_8U);
        QVERIFY(darkSlopeRow(a, eight, 10.0, 2.0).isEmpty());
    }

    void prediction()
    {
        const QList<double> dark{100.0, 200.0, 300.0};
        const QList<double> slope{0.5, 0.0, -1.0};
        QCOMPARE(predictedDark(dark, slope, 100.0, 120.0), (QList<double>{110.0, 200.0, 280.0}));
        QCOMPARE(predictedDark(dark, slope, 100.0, 100.0), dark);
        QCOMPARE(predictedDark(dark, slope, 100.0, 2.0), (QList<double>{51.0, 200.0, 398.0}));
        // A short slope row predicts nothing.
        QCOMPARE(predictedDark(dark, {1.0}, 100.0, 120.0), dark);

        DarkCurrent c;
        c.exposure = 100.0;
        c.slope = {slope, {2.0, 2.0, 2.0}};
        const QList<QList<double>> rows{dark, {0.0, 0.0, 0.0}};
        QVERIFY(c.fits(rows));
        QCOMPARE(predictedDarkRows(rows, c, 110.0), (QList<QList<double>>{{105.0, 200.0, 290.0}, {20.0, 20.0, 20.0}}));
        // Rows of another shape keep their dark.
        const QList<QList<double>> other{dark};
        QVERIFY(!c.fits(other));
        QCOMPARE(predictedDarkRows(other, c, 110.0), other);
    }

    void largestShift()
    {
        DarkCurrent c;
        c.exposure = 100.0;
        c.bits = 2;
        c.slope = {{0.5, -6.4}, {1.0, 0.0}};
        // 6.4 raw/us over 10 us is 64 raw: 1 DN10.
        QCOMPARE(largestDarkShift(c, 110.0), 1.0);
        QCOMPARE(largestDarkShift(c, 90.0), 1.0);
        QCOMPARE(largestDarkShift(c, 100.0), 0.0);
        c.bits = 0;
        // 8-bit rows: 6.4 8-bit units per us over 10 us is 64 units, 256 DN10.
        QCOMPARE(largestDarkShift(c, 110.0), 256.0);
        QCOMPARE(largestDarkShift(DarkCurrent(), 500.0), 0.0);
    }

    void fileRoundTrip()
    {
        QTemporaryDir dir;
        const QString fpn = dir.filePath(QStringLiteral("cam.FAC.FPN"));
        QCOMPARE(darkCurrentPath(fpn), fpn + QStringLiteral(".dark"));
        DarkCurrent c;
        c.exposure = 144.4;
        c.secondExposure = 2.0;
        c.bits = 2;
        c.slope = {{0.1, 1.0 / 3.0, 64.25}, {-0.5, 0.0, 1e-9}};
        QString error;
        QVERIFY2(writeDarkCurrentFile(darkCurrentPath(fpn), QStringLiteral("SIM-A"), c, &error), qPrintable(error));
        DarkCurrent back;
        QVERIFY2(readDarkCurrentFile(darkCurrentPath(fpn), QStringLiteral("SIM-A"), back, &error), qPrintable(error));
        QCOMPARE(back.exposure, c.exposure);
        QCOMPARE(back.secondExposure, c.secondExposure);
        QCOMPARE(back.bits, c.bits);
        // Every double comes back exactly.
        QCOMPARE(back.slope, c.slope);
        // Without a pairing, none comes back; with one, the FPN file's digest.
        QVERIFY(back.fpnDigest.isEmpty());
        QFile f(fpn);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("abc");
        f.close();
        c.fpnDigest = sha256OfFile(fpn);
        QCOMPARE(c.fpnDigest, QStringLiteral("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
        QVERIFY2(writeDarkCurrentFile(darkCurrentPath(fpn), QStringLiteral("SIM-A"), c, &error), qPrintable(error));
        QVERIFY2(readDarkCurrentFile(darkCurrentPath(fpn), QStringLiteral("SIM-A"), back, &error), qPrintable(error));
        QCOMPARE(back.fpnDigest, c.fpnDigest);
        QVERIFY(sha256OfFile(dir.filePath(QStringLiteral("none"))).isEmpty());
        QCOMPARE(darkCurrentAsidePath(fpn), fpn + QStringLiteral(".dark.old"));
    }

    void fileRefused_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("why");
        const QByteArray good = R"({"format":"lsxcalib-dark-current","version":1,"camera":"SIM-A","exposureUs":100,)"
                                R"("secondExposureUs":2,"bits":16,"slopes":[[1,2]]})";
        QTest::newRow("not json") << QByteArray("B_0 = 1") << QStringLiteral("不是 JSON 文件。");
        QByteArray v = good;
        QTest::newRow("version") << v.replace("\"version\":1", "\"version\":2") << QStringLiteral("的格式或版本不对。");
        v = good;
        QTest::newRow("camera") << v.replace("SIM-A", "SIM-B")
                                << QStringLiteral("属于相机 \"SIM-B\"，不是 \"SIM-A\"。");
        v = good;
        QTest::newRow("exposure") << v.replace("\"exposureUs\":100", "\"exposureUs\":2")
                                  << QStringLiteral("的曝光时间或位深无效。");
        v = good;
        QTest::newRow("value") << v.replace("[[1,2]]", "[[1,\"x\"]]") << QStringLiteral("第 0 行第 1 列不是数值。");
        v = good;
        QTest::newRow("row") << v.replace("[[1,2]]", "[3]") << QStringLiteral("第 0 行不是数列。");
        v = good;
        QTest::newRow("digest") << v.replace("\"slopes\"", "\"fpnSha256\":\"abc\",\"slopes\"")
                                << QStringLiteral("的FPN文件摘要无效。");
    }

    void fileRefused()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, why);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("x.FAC.FPN.dark"));
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(text);
        f.close();
        DarkCurrent out;
        out.exposure = 7.0;
        QString error;
        QVERIFY(!readDarkCurrentFile(path, QStringLiteral("SIM-A"), out, &error));
        QCOMPARE(error, QStringLiteral("暗电流文件 %1 %2").arg(QDir::toNativeSeparators(path), why));
        // Nothing read.
        QCOMPARE(out.exposure, 7.0);
        QVERIFY(!readDarkCurrentFile(dir.filePath(QStringLiteral("none")), QStringLiteral("SIM-A"), out, &error));
        QVERIFY(error.endsWith(QStringLiteral("无法读取。")));
    }

    // A file that cannot be written says so and leaves the old one.
    void unwritable()
    {
        QTemporaryDir dir;
        DarkCurrent c;
        c.exposure = 10.0;
        c.secondExposure = 2.0;
        QString error;
        QVERIFY(!writeDarkCurrentFile(dir.filePath(QStringLiteral("missing/x.dark")), QStringLiteral("A"), c, &error));
        QVERIFY(error.startsWith(QStringLiteral("无法写入暗电流文件 ")));
    }
};

QTEST_MAIN(TestDarkCurrent)
#include "test_darkcurrent.moc"

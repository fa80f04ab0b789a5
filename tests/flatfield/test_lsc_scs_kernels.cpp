// The lens-shading and colour-alignment kernels with exact numbers: the degree-6 fit and its
// targets, the gains over the sensor, the memory block with its checksum, the LSC file, and the
// line shift and column stretch of the colour planes.
#include "flatfield/lscfit.h"
#include "flatfield/scs.h"

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <cstring>

namespace {

cv::Mat rowOf(int n, const std::function<float(int)>& f)
{
    cv::Mat m(1, n, CV_32FC1);
    for (int i = 0; i < n; ++i) m.at<float>(0, i) = f(i);
    return m;
}

lsxRegion region(int x, int y, int w, int h)
{
    lsxRegion r;
    std::memset(&r, 0, sizeof r);
    r.X = x;
    r.Y = y;
    r.W = w;
    r.H = h;
    return r;
}

cv::Mat columnPlane(const std::vector<uint8_t>& rows, int width)
{
    cv::Mat p(int(rows.size()), width, CV_8UC1);
    for (int r = 0; r < p.rows; ++r) p.row(r).setTo(rows[size_t(r)]);
    return p;
}

std::vector<int> firstColumn(const cv::Mat& p)
{
    std::vector<int> out;
    for (int r = 0; r < p.rows; ++r) out.push_back(p.at<uint8_t>(r, 0));
    return out;
}

}  // namespace

class TestLscScsKernels : public QObject {
    Q_OBJECT

private slots:
    // ---- the fit ----
    void flatRowGivesTargetOverValue()
    {
        const cv::Mat row = rowOf(300, [](int) { return 120.0f; });
        const QList<double> poly = lscFitChannel(row, 300, -1.0f, 1.0f);
        QCOMPARE(poly.size(), 8);
        QCOMPARE(poly[7], 120.0);
        QVERIFY(lscFitUsable(poly));
        const QList<double> gains = lscSensorGains(poly, 0, 300, 300);
        for (int x = 0; x < 300; ++x)
            QVERIFY2(std::abs(gains[x] - 1.0) < 1e-6, qPrintable(QString::number(gains[x], 'g', 12)));
        const QList<double> at180 = lscSensorGains(lscFitChannel(row, 300, 180.0f, 1.0f), 0, 300, 300);
        for (int x = 0; x < 300; x += 17) QVERIFY(std::abs(at180[x] - 1.5) < 1e-6);
    }

    void knownPolynomialIsRecovered()
    {
        // 200 - 0.002 (i - 100)^2 + 1e-9 (i - 100)^4 over 200 columns: highest power first.
        auto f = [](int i) {
            const double u = i - 100.0;
            return float(200.0 - 0.002 * u * u + 1e-9 * u * u * u * u);
        };
        const cv::Mat row = rowOf(200, f);
        const QList<double> poly = lscFitChannel(row, 200, 1.0f, 1.0f);
        for (int i = 0; i < 200; i += 13) QVERIFY(std::abs(lscPolyValue(poly, i) - f(i)) < 1e-3);
        QCOMPARE(poly[7], double(f(100)));  // goalRate 1: the maximum
    }

    void goalRateHalfIsPulledByAHotColumn()
    {
        const cv::Mat row = rowOf(64, [](int i) { return i == 10 ? 200.0f : 100.0f; });
        const QList<double> poly = lscFitChannel(row, 64, 0.5f, 1.0f);
        QCOMPARE(poly[7], 150.0);
    }

    void targetsOfMeanAndBrightness()
    {
        const cv::Mat row = rowOf(4, [](int i) { return float(100 + 10 * i); });
        QCOMPARE(lscFitChannel(row, 4, -1.0f, 1.0f)[7], 115.0);
        QCOMPARE(lscFitChannel(row, 4, 180.0f, 0.9f)[7], double(180.0f * 0.9f));
    }

    void ratiosOnlyForThreeRows()
    {
        const std::vector<float> r =
            lscChannelRatios({rowOf(2, [](int i) { return 80.0f + i; }), rowOf(2, [](int) { return 100.0f; }),
                              rowOf(2, [](int i) { return 110.0f + i; })});
        QCOMPARE(r, (std::vector<float>{float(81.0 / 100.0), 1.0f, float(111.0 / 100.0)}));
        QCOMPARE(lscChannelRatios({rowOf(2, [](int) { return 5.0f; })}), (std::vector<float>{1.0f, 1.0f, 1.0f}));
    }

    void sensorWiderThanTheRoi()
    {
        const QList<double> poly{0, 0, 0, 0, 0, 0, 50.0, 100.0};
        const QList<double> gains = lscSensorGains(poly, 100, 50, 400);
        QCOMPARE(gains.size(), 400);
        for (int s = 0; s < 400; ++s) QCOMPARE(gains[s], s >= 100 && s < 150 ? 2.0 : 1.0);
    }

    void zeroOfThePolynomialGivesInfiniteGain()
    {
        // p(x) = x - 2 over a ROI of 4 columns at X 1: the column at x = 2 gets target / 0.
        const QList<double> poly{0, 0, 0, 0, 0, 1.0, -2.0, 100.0};
        const QList<double> gains = lscSensorGains(poly, 1, 4, 6);
        QCOMPARE(gains[0], 1.0);
        QCOMPARE(gains[1], -50.0);
        QVERIFY(std::isinf(gains[3]));
        QCOMPARE(gains[4], 100.0);
        QCOMPARE(gains[5], 1.0);
    }

    void unusableFits()
    {
        // A row narrower than the ROI can't be fitted; a dark row fits to all zeros.
        QVERIFY(lscFitChannel(rowOf(10, [](int) { return 1.0f; }), 11, -1.0f, 1.0f).isEmpty());
        const QList<double> dark = lscFitChannel(rowOf(50, [](int) { return 0.0f; }), 50, -1.0f, 1.0f);
        QVERIFY(!lscFitUsable(dark));
        QVERIFY(!lscFitUsable({1, 2, 3, std::nan(""), 5, 6, 7, 8}));
        QVERIFY(!lscFitUsable({1, 2, 3}));
    }

    // ---- the block ----
    void threeChannelsBlock()
    {
        const QList<QList<double>> polys{QList<double>(8, 1.0), QList<double>(8, 2.0), QList<double>(8, 3.0)};
        const std::vector<uint8_t> b = lscPackBlock(polys, region(8, 2, 1024, 500));
        QCOMPARE(b.size(), size_t(208));
        lsxLscBlockHead h;
        std::memcpy(&h, b.data(), sizeof h);
        QCOMPARE(h.magic, LSX_LSC_MAGIC);
        QCOMPARE(h.roiX, uint16_t(8));
        QCOMPARE(h.roiY, uint16_t(2));
        QCOMPARE(h.roiW, uint16_t(1024));
        QCOMPARE(h.roiH, uint16_t(500));
        QCOMPARE(h.payloadSize, uint16_t(192));
        // R first: 3.0 is 0x4008000000000000, 2.0 0x4000..., 1.0 0x3FF0...
        double first = 0, last = 0;
        std::memcpy(&first, b.data() + 16, 8);
        std::memcpy(&last, b.data() + 200, 8);
        QCOMPARE(first, 3.0);
        QCOMPARE(last, 1.0);
        // The checksum over the 192 payload bytes only, each as an unsigned byte.
        QCOMPARE(int(h.checksum), 8 * (0x08 + 0x40) + 8 * 0x40 + 8 * (0xF0 + 0x3F));
    }

    void oneChannelBlockBytesLowFirst()
    {
        const QList<QList<double>> polys{QList<double>(8, 1.0)};
        const std::vector<uint8_t> b = lscPackBlock(polys, region(0, 0, 64, 8));
        QCOMPARE(b.size(), size_t(80));
        QCOMPARE(int(b[14] | (b[15] << 8)), 64);
        // 1.0 in memory: 00 00 00 00 00 00 F0 3F.
        QCOMPARE(int(b[16 + 6]), 0xF0);
        QCOMPARE(int(b[16 + 7]), 0x3F);
        QCOMPARE(int(b[12] | (b[13] << 8)), 8 * (0xF0 + 0x3F));
        // A checksum past 16 bits wraps: 255 bytes of 0xFF-heavy doubles.
        const double big = -std::numeric_limits<double>::quiet_NaN();
        const std::vector<uint8_t> w = lscPackBlock({QList<double>(8, big)}, region(0, 0, 1, 1));
        uint32_t sum = 0;
        for (int i = 16; i < 80; ++i) sum += w[size_t(i)];
        QCOMPARE(int(w[12] | (w[13] << 8)), int(sum & 0xFFFF));
        QVERIFY(lscPackBlock({}, region(0, 0, 1, 1)).empty());
        QVERIFY(lscPackBlock({QList<double>(7, 1.0)}, region(0, 0, 1, 1)).empty());
    }

    // ---- the file ----
    void fileKeysAToK()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("a.LSC.FAC"));
        QList<QList<double>> polys;
        for (int c = 0; c < 3; ++c) {
            QList<double> p;
            for (int i = 0; i < 8; ++i) p.append(c * 10 + i + 0.5);
            polys.append(p);
        }
        QString why;
        QVERIFY(lscSaveFile(path, region(4, 0, 100, 50), polys, &why));
        QSettings f(path, QSettings::IniFormat);
        QCOMPARE(f.value(QStringLiteral("FFC/Version")).toInt(), 2);
        QVERIFY(!f.contains(QStringLiteral("FFC/PAC")));
        QCOMPARE(f.value(QStringLiteral("FFC_R/A_R")).toDouble(), polys[2][0]);
        QCOMPARE(f.value(QStringLiteral("FFC_R/H_R")).toDouble(), polys[2][7]);
        QCOMPARE(f.value(QStringLiteral("FFC_B/G_B")).toDouble(), polys[0][6]);
        QCOMPARE(f.value(QStringLiteral("FFC_G/K_G")).toDouble(), 0.0);
        QCOMPARE(f.value(QStringLiteral("FFC_ROI/Width")).toInt(), 100);
        const LscFileContent c = lscReadFile(path);
        QVERIFY(c.ok);
        QCOMPARE(c.polys, polys);
        QCOMPARE(c.roiX, 4);
    }

    void monoFileHasZerosForGAndB()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("m.LSC.FAC"));
        const QList<QList<double>> polys{{1, 2, 3, 4, 5, 6, 7, 8}};
        QString why;
        QVERIFY(lscSaveFile(path, region(0, 0, 10, 10), polys, &why));
        QSettings f(path, QSettings::IniFormat);
        QCOMPARE(f.value(QStringLiteral("FFC_R/A_R")).toDouble(), 1.0);
        for (char l = 'A'; l <= 'K'; ++l) QCOMPARE(f.value(QStringLiteral("FFC_B/%1_B").arg(l)).toDouble(), 0.0);
        QCOMPARE(lscReadFile(path).polys, polys);
    }

    void badFiles_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("message");
        QByteArray good = "[FFC]\nVersion=2\n[FFC_ROI]\nOffsetH=0\nOffsetV=0\nWidth=10\nHeight=10\n";
        for (char n : {'R', 'G', 'B'}) {
            good += QByteArray("[FFC_") + n + "]\n";
            for (char l = 'A'; l <= 'K'; ++l) good += QByteArray() + l + "_" + n + "=1\n";
        }
        QTest::newRow("good") << good << QString();
        QByteArray missing = good;
        missing.replace("C_G=1\n", "");
        QTest::newRow("missing key") << missing << QStringLiteral("参数文件中 FFC_G/C_G 缺失或无效，无法解析。");
        QByteArray garbage = good;
        garbage.replace("H_B=1", "H_B=lots");
        QTest::newRow("garbage") << garbage << QStringLiteral("参数文件中 FFC_B/H_B 缺失或无效，无法解析。");
        QByteArray inf = good;
        inf.replace("A_R=1", "A_R=inf");
        QTest::newRow("infinite") << inf << QStringLiteral("参数文件中 FFC_R/A_R 缺失或无效，无法解析。");
        QByteArray noRoi = good;
        noRoi.replace("Width=10\n", "");
        QTest::newRow("no width") << noRoi << QStringLiteral("参数文件中 FFC_ROI/Width 缺失或无效，无法解析。");
        QTest::newRow("version") << QByteArray("[FFC]\nVersion=3\n")
                                 << QStringLiteral("不支持的参数版本号，无法解析及加载。");
    }

    void badFiles()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, message);
        QTemporaryDir dir;
        QFile f(dir.filePath(QStringLiteral("x")));
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(text);
        f.close();
        const LscFileContent c = lscReadFile(f.fileName());
        QCOMPARE(c.ok, message.isEmpty());
        QCOMPARE(c.text, message);
        if (c.ok) QCOMPARE(c.polys.size(), 3);
    }

    // ---- colour lines ----
    void shiftOfPointFour()
    {
        const cv::Mat p = columnPlane({0, 100, 200}, 3);
        QCOMPARE(firstColumn(scsShiftLines(p, 0.4f)), (std::vector<int>{0, 60, 160}));
        QCOMPARE(firstColumn(scsShiftLines(p, -0.4f)), (std::vector<int>{40, 140, 200}));
        const std::vector<cv::Mat> shifted = scsShiftPlanes({p, p, p}, 0.4f, 0.0f);
        QCOMPARE(firstColumn(shifted[0]), (std::vector<int>{0, 60, 160}));
        QCOMPARE(firstColumn(shifted[1]), (std::vector<int>{0, 100, 200}));
        QCOMPARE(firstColumn(shifted[2]), (std::vector<int>{40, 140, 200}));
    }

    void shiftOfMinusTwoAndAHalf()
    {
        const cv::Mat p = columnPlane({0, 10, 20, 30, 40}, 2);
        // k -2: rows 2..4 move up, the last two rows keep their own; f -0.5 then blends each
        // row with the one below.
        QCOMPARE(firstColumn(scsShiftLines(p, -2.0f)), (std::vector<int>{20, 30, 40, 30, 40}));
        QCOMPARE(firstColumn(scsShiftLines(p, -2.5f)), (std::vector<int>{25, 35, 35, 35, 40}));
        QCOMPARE(firstColumn(scsShiftLines(p, 2.0f)), (std::vector<int>{0, 10, 0, 10, 20}));
        // A shift past the plane's height leaves it as it is.
        QCOMPARE(firstColumn(scsShiftLines(p, 7.0f)), (std::vector<int>{0, 10, 20, 30, 40}));
    }

    void stretchAboutTheCentre()
    {
        cv::Mat ramp(4, 101, CV_8UC1);
        for (int x = 0; x < 101; ++x) ramp.col(x).setTo(2 * x);
        QCOMPARE(cv::norm(scsStretchColumns(ramp, 0.0f), ramp, cv::NORM_INF), 0.0);
        // s = 10: dst(x) = src(10 + x * 81/101); the centre stays.
        const cv::Mat out = scsStretchColumns(ramp, 10.0f);
        for (int x : {0, 20, 50, 77, 100}) {
            const double expected = 2.0 * (10.0 + x * 81.0 / 101.0);
            QVERIFY2(std::abs(out.at<uint8_t>(1, x) - expected) <= 1.0, qPrintable(QString::number(x)));
        }
        // s = -10 squeezes: the ends map from outside the plane and keep their own values.
        const cv::Mat in = scsStretchColumns(ramp, -10.0f);
        QCOMPARE(int(in.at<uint8_t>(1, 0)), 0);
        QCOMPARE(int(in.at<uint8_t>(1, 100)), 200);
        QVERIFY(std::abs(in.at<uint8_t>(1, 50) - 100) <= 1);
        QVERIFY(scsShiftPlanes({ramp, ramp}, 1.0f, 1.0f).empty());
    }
};

QTEST_GUILESS_MAIN(TestLscScsKernels)
#include "test_lsc_scs_kernels.moc"

// The flat-field kernels with exact numbers and no camera: smoothing, ratios, targets, gains and
// limits; the statistics of frames and pictures; the record of the write-down with its padding and
// payload orders; the camera's memory view; the parameter file; the edits of the gains.
#include "flatfield/ffcadjust.h"
#include "flatfield/ffcfile.h"
#include "flatfield/ffcgains.h"
#include "flatfield/ffcrecord.h"

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <limits>

namespace {

cv::Mat row1(const std::vector<float>& v)
{
    cv::Mat m(1, int(v.size()), CV_32FC1);
    for (size_t i = 0; i < v.size(); ++i) m.at<float>(0, int(i)) = v[i];
    return m;
}

std::vector<float> values(const cv::Mat& m)
{
    std::vector<float> out;
    for (int i = 0; i < m.cols; ++i) out.push_back(m.at<float>(0, i));
    return out;
}

const lsxFpnHeader& headOf(const std::vector<uint8_t>& record)
{
    return *reinterpret_cast<const lsxFpnHeader*>(record.data());
}

const lsxFfcEntry* entriesOf(const std::vector<uint8_t>& record)
{
    return reinterpret_cast<const lsxFfcEntry*>(record.data() + sizeof(lsxFpnHeader));
}

GainList ramp(int channels, int columns, double base)
{
    GainList g;
    for (int c = 0; c < channels; ++c) {
        QList<double> l;
        for (int x = 0; x < columns; ++x) l.append(base + c + x * 0.001);
        g.append(l);
    }
    return g;
}

}  // namespace

class TestFfcKernels : public QObject {
    Q_OBJECT

private slots:
    // ---- smoothing ----
    void radiusZeroKeepsTheRow()
    {
        const cv::Mat r = row1({3, 9, 1, 250, 7});
        QCOMPARE(values(ffcSmoothRow(r, 0)), values(r));
    }

    void spanNarrowsTowardsTheEnds()
    {
        // r = min(i, n-1-i, radius): the ends are single columns, column 1 a span of three.
        const cv::Mat out = ffcSmoothRow(row1({0, 3, 6, 30, 12}), 60);
        QCOMPARE(out.at<float>(0, 0), 0.0f);
        QCOMPARE(out.at<float>(0, 4), 12.0f);
        QCOMPARE(out.at<float>(0, 1), 3.0f);  // (0 + 3 + 6) / 3, nothing beyond 3 sigma
        QCOMPARE(out.at<float>(0, 2), 51.0f / 5.0f);
    }

    void spikeIsDroppedFromWideSpans()
    {
        std::vector<float> v(41, 10.0f);
        v[20] = 100.0f;
        // Spans of 21 columns: the spike lies beyond three sigma and is dropped everywhere, so
        // its own column becomes the mean of its neighbours.
        const cv::Mat wide = ffcSmoothRow(row1(v), 10);
        for (int i = 0; i < 41; ++i)
            if (i != 0 && i != 40) QCOMPARE(wide.at<float>(0, i), 10.0f);
        // A span of 9 cannot drop one column (its distance is sqrt(8) sigma): it stays in.
        const cv::Mat narrow = ffcSmoothRow(row1(v), 4);
        QCOMPARE(narrow.at<float>(0, 20), 20.0f);
        QCOMPARE(narrow.at<float>(0, 10), 10.0f);
    }

    // ---- ratios, targets, gains, limits ----
    void ratiosOfThreeAndFourChannels()
    {
        const std::vector<double> three = ffcChannelRatios({row1({80, 90}), row1({100, 50}), row1({120, 1})});
        QCOMPARE(three, (std::vector<double>{0.9, 1.0, 1.2}));
        const std::vector<double> four = ffcChannelRatios({row1({80}), row1({100}), row1({120}), row1({60})});
        QCOMPARE(four, (std::vector<double>{0.8, 1.0, 120.0, 60.0}));
        QCOMPARE(ffcChannelRatios({row1({5}), row1({7})}), (std::vector<double>{1.0, 1.0}));
    }

    void targetsOfTheThreeModes()
    {
        const cv::Mat r = row1({100, 150, 200, 150});
        QCOMPARE(ffcTarget(r, -1.0f, 1.0), 150.0f);
        QCOMPARE(ffcTarget(r, 1.0f, 1.0), 200.0f);
        QCOMPARE(ffcTarget(r, 0.0f, 1.0), 100.0f);
        QCOMPARE(ffcTarget(r, 0.5f, 1.0), 150.0f);
        QCOMPARE(ffcTarget(r, 180.0f, 0.9), float(180.0 * 0.9));
    }

    void goalRateOneAndZero()
    {
        const cv::Mat stat = row1({100, 150, 200, 180});
        // Rate 1.0: the target is the maximum; every gain at least 1.
        const GainList top = ffcComputeGains(stat, 0, 1.0f, 2);
        QCOMPARE(top[0], (QList<double>{2.0 - 0.0001, double(200.0f / 150.0f), 1.0, double(200.0f / 180.0f)}));
        // Rate 0.0: the target is the minimum; all gains at most 1, and 100/200 = 0.5 is lifted
        // to the lower limit 0.55.
        const GainList bottom = ffcComputeGains(stat, 0, 0.0f, 2);
        QCOMPARE(bottom[0], (QList<double>{1.0, double(100.0f / 150.0f), 0.55, double(100.0f / 180.0f)}));
    }

    void zeroColumnGetsTheUpperLimit()
    {
        const GainList g = ffcComputeGains(row1({0, 100, 100}), 0, 100.0f, 4);
        QCOMPARE(g[0][0], 4.0 - 0.0001);
        QCOMPARE(g[0][1], 1.0);
        // 0 / 0 is no gain either: the limit again, never a NaN.
        const GainList n = ffcComputeGains(row1({0, 0}), 0, 0.0f, 2);
        QCOMPARE(n[0], (QList<double>{2.0 - 0.0001, 2.0 - 0.0001}));
    }

    void colourAt180KeepsTheBalance()
    {
        cv::Mat stat(1, 3, CV_32FC3);
        stat.at<cv::Vec3f>(0, 0) = {90, 100, 120};
        stat.at<cv::Vec3f>(0, 1) = {45, 50, 60};
        stat.at<cv::Vec3f>(0, 2) = {90, 100, 120};
        const GainList g = ffcComputeGains(stat, 0, 180.0f, 4);
        QCOMPARE(g.size(), 3);
        // G's target 180; B's 180 x 90/100 = 162, R's 180 x 1.2 = 216.
        QCOMPARE(g[1][0], double(180.0f / 100.0f));
        QCOMPARE(g[0][0], double(float(180.0 * (90.0 / 100.0)) / 90.0f));
        QCOMPARE(g[2][0], double(float(180.0 * (120.0 / 100.0)) / 120.0f));
        QCOMPARE(g[1][1], double(180.0f / 50.0f));
        // Every column's three gains bring it to the three targets: the balance stays.
        for (int x = 0; x < 3; ++x) {
            const cv::Vec3f v = stat.at<cv::Vec3f>(0, x);
            QVERIFY(std::abs(g[0][x] * v[0] - 162.0) < 1e-3);
            QVERIFY(std::abs(g[2][x] * v[2] - 216.0) < 1e-3);
        }
    }

    // ---- statistics ----
    void frameStatisticHighByteAndLines()
    {
        cv::Mat frame(4, 2, CV_16UC1);
        const uint16_t v[4][2] = {{0x1234, 0xFF00}, {0x2000, 0x0100}, {0x3400, 0x00FF}, {0x4000, 0x0200}};
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 2; ++c) frame.at<uint16_t>(r, c) = v[r][c];
        const cv::Mat one = ffcFrameStatistic(frame, 1);
        QCOMPARE(one.type(), CV_32FC1);
        QCOMPARE(one.at<float>(0, 0), float(0x12 + 0x20 + 0x34 + 0x40) / 4.0f);
        QCOMPARE(one.at<float>(0, 1), float(0xFF + 0x01 + 0x00 + 0x02) / 4.0f);
        const cv::Mat two = ffcFrameStatistic(frame, 2);
        QCOMPARE(two.type(), CV_32FC2);
        QCOMPARE(two.at<cv::Vec2f>(0, 0)[0], float(0x12 + 0x34) / 2.0f);
        QCOMPARE(two.at<cv::Vec2f>(0, 0)[1], float(0x20 + 0x40) / 2.0f);
        QVERIFY(ffcFrameStatistic(cv::Mat(), 1).empty());
        QVERIFY(ffcFrameStatistic(cv::Mat(2, 2, CV_32FC1), 1).empty());
    }

    void redBlueSwapOfFormats14And15()
    {
        cv::Mat three(1, 2, CV_32FC3);
        three.at<cv::Vec3f>(0, 0) = {1, 2, 3};
        three.at<cv::Vec3f>(0, 1) = {4, 5, 6};
        ffcSwapRedBlue(three, 14);
        QCOMPARE(three.at<cv::Vec3f>(0, 0), cv::Vec3f(3, 2, 1));
        QCOMPARE(three.at<cv::Vec3f>(0, 1), cv::Vec3f(6, 5, 4));
        // Format 15: the step of three floats over four channels skews the columns.
        cv::Mat four(1, 2, CV_32FC4);
        four.at<cv::Vec4f>(0, 0) = {1, 2, 3, 4};
        four.at<cv::Vec4f>(0, 1) = {5, 6, 7, 8};
        ffcSwapRedBlue(four, 15);
        QCOMPARE(four.at<cv::Vec4f>(0, 0), cv::Vec4f(3, 2, 1, 6));
        QCOMPARE(four.at<cv::Vec4f>(0, 1), cv::Vec4f(5, 4, 7, 8));
        cv::Mat same = three.clone();
        ffcSwapRedBlue(same, 10);
        QCOMPARE(same.at<cv::Vec3f>(0, 0), three.at<cv::Vec3f>(0, 0));
    }

    void pictureStatisticTakesTheRadiusRow()
    {
        cv::Mat rgb(3, 2, CV_8UC3, cv::Scalar(0, 0, 0));
        rgb.at<cv::Vec3b>(2, 1) = {10, 20, 30};  // R, G, B
        const cv::Mat s = ffcPictureStatistic(rgb, 2);
        QCOMPARE(s.type(), CV_32FC3);
        QCOMPARE(s.at<cv::Vec3f>(0, 1), cv::Vec3f(30, 20, 10));  // B, G, R
        QVERIFY(ffcPictureStatistic(rgb, 3).empty());
        cv::Mat grey(2, 2, CV_8UC1);
        grey.at<uint8_t>(0, 0) = 10;
        grey.at<uint8_t>(1, 0) = 15;
        grey.at<uint8_t>(0, 1) = 0;
        grey.at<uint8_t>(1, 1) = 255;
        const cv::Mat g = ffcPictureStatistic(grey, 60);
        QCOMPARE(values(g), (std::vector<float>{12.5f, 127.5f}));
    }

    // ---- write-down record ----
    void paddingInBin2GivesOneValuePerSensorColumn()
    {
        const GainList table = ramp(1, 1000, 1.2);
        const GainList wide = ffcPadTable(table, 500, 1000, 4096, ffcBinningFactor(QStringLiteral("BIN2")));
        QCOMPARE(wide[0].size(), 8192);
        for (int i = 0; i < 1000; ++i) QCOMPARE(wide[0][i], 1.0);
        for (int i = 0; i < 1000; ++i) {
            QCOMPARE(wide[0][1000 + 2 * i], table[0][i]);
            QCOMPARE(wide[0][1000 + 2 * i + 1], table[0][i]);
        }
        for (int i = 3000; i < 8192; ++i) QCOMPARE(wide[0][i], 1.0);
        QCOMPARE(ffcBinningFactor(QStringLiteral("SUM2")), 2);
        QCOMPARE(ffcBinningFactor(QStringLiteral("SUM4")), 4);
        QCOMPARE(ffcBinningFactor(QStringLiteral("Full")), 1);
    }

    void monoRecordHead()
    {
        const GainList table = ramp(1, 5, 0.9);
        FfcRecordHead h;
        h.frameBits = 2;
        h.doffset = 0x1F3;
        h.pixelMax = 0x12345;
        h.targetFormat = 14;
        ffcGainRange(table, h.minK, h.maxK);
        const std::vector<uint8_t> rec = ffcPackRecord(table, h);
        QCOMPARE(rec.size(), size_t(40 + 5 * 8 + 1));
        const lsxFpnHeader& head = headOf(rec);
        QCOMPARE(head.columns, 5u);
        QCOMPARE(head.lines, 1u);
        QCOMPARE(head.bits, uint8_t(2));
        QCOMPARE(head.doffset, uint8_t(0xF3));
        QCOMPARE(head.level, uint16_t(0x2345));
        QCOMPARE(head.minK, 0.9f);
        QCOMPARE(head.maxK, float(0.9 + 0.004));
        QCOMPARE(head.type, uint32_t(LSX_FPN_FLATFIELD));
        QCOMPARE(head.moreFollows, uint8_t(0));
        QCOMPARE(head.dataSize, 40u);
        QCOMPARE(head.data, static_cast<const void*>(rec.data() + 40));
        for (int x = 0; x < 5; ++x) {
            QCOMPARE(entriesOf(rec)[x].k, float(table[0][x]));  // no reordering for one channel
            QCOMPARE(entriesOf(rec)[x].zero, 0u);
        }
    }

    void twoLinesArePlanar()
    {
        const GainList table = ramp(2, 2048, 1.0);
        FfcRecordHead h;
        h.lineCount = 2;
        const std::vector<uint8_t> rec = ffcPackRecord(table, h);
        QCOMPARE(headOf(rec).columns, 2048u);
        QCOMPARE(headOf(rec).lines, 2u);
        QCOMPARE(headOf(rec).dataSize, 4096u * 8u);
        QCOMPARE(entriesOf(rec)[0].k, float(table[0][0]));
        QCOMPARE(entriesOf(rec)[2047].k, float(table[0][2047]));
        QCOMPARE(entriesOf(rec)[2048].k, float(table[1][0]));
        QCOMPARE(entriesOf(rec)[4095].k, float(table[1][2047]));
    }

    void colourPayloadOrders()
    {
        const GainList three = ramp(3, 4, 1.0);
        FfcRecordHead h;
        h.targetFormat = 14;
        std::vector<uint8_t> rec = ffcPackRecord(three, h);
        QCOMPARE(headOf(rec).columns, 12u);
        // Format 14: per column, channels from last to first.
        QCOMPARE(entriesOf(rec)[3].k, float(three[2][1]));
        QCOMPARE(entriesOf(rec)[5].k, float(three[0][1]));
        // Format 10 and a format-15 target with three channels: list order.
        for (int format : {10, 15}) {
            h.targetFormat = format;
            rec = ffcPackRecord(three, h);
            QCOMPARE(entriesOf(rec)[3].k, float(three[0][1]));
            QCOMPARE(entriesOf(rec)[5].k, float(three[2][1]));
        }
        // Format 15 with four channels: 2, 1, 0, 3.
        const GainList four = ramp(4, 2, 1.0);
        h.targetFormat = 15;
        rec = ffcPackRecord(four, h);
        QCOMPARE(entriesOf(rec)[4].k, float(four[2][1]));
        QCOMPARE(entriesOf(rec)[5].k, float(four[1][1]));
        QCOMPARE(entriesOf(rec)[6].k, float(four[0][1]));
        QCOMPARE(entriesOf(rec)[7].k, float(four[3][1]));
        // Ragged or empty tables give no record.
        GainList ragged = three;
        ragged[1].removeLast();
        QVERIFY(ffcPackRecord(ragged, h).empty());
        QVERIFY(ffcPackRecord(GainList(), h).empty());
    }

    // ---- the camera's memory ----
    void memoryOfTwoChannels()
    {
        std::vector<uint8_t> m(16 + 2 * 3 * 2, 0);
        m[8] = 3;
        m[14] = 12;
        const uint16_t k[6] = {16384, 8192, 32768, 1, 65535, 20000};
        std::memcpy(m.data() + 16, k, sizeof k);
        const GainList g = ffcParseMemory(m.data(), m.size());
        QCOMPARE(g.size(), 2);
        QCOMPARE(g[0], (QList<double>{1.0, 0.5, 2.0}));
        QCOMPARE(g[1], (QList<double>{6.103515625e-5, 65535 / 16384.0, 20000 / 16384.0}));
    }

    void memoryHeadOfZeroColumnsIsEmpty()
    {
        std::vector<uint8_t> m(64, 0);
        m[14] = 40;
        QVERIFY(ffcParseMemory(m.data(), m.size()).isEmpty());
        // A payload the buffer does not hold is not read either.
        m[8] = 4;
        m[14] = 200;
        QVERIFY(ffcParseMemory(m.data(), m.size()).isEmpty());
        QVERIFY(ffcParseMemory(nullptr, 0).isEmpty());
    }

    // ---- the parameter file ----
    void fileNameCarriesTheModel()
    {
        QCOMPARE(ffcFileName(QStringLiteral("/data/ffc/x.FAC.FFC.old"), QStringLiteral("LSM4096A"), true),
                 QStringLiteral("/data/ffc/LSM4096A.FAC.FFC.old"));
        QCOMPARE(ffcFileName(QStringLiteral("/data/ffc/x.FAC.FFC.old"), QStringLiteral("LSM4096A"), false),
                 QStringLiteral("/data/ffc/LSM4096A.FAC.FFC.x.FAC.FFC.old"));
        QCOMPARE(ffcFileName(QStringLiteral("d:/cal/line1"), QString(), true), QStringLiteral("d:/cal/.FAC.FFC.line1"));
        QCOMPARE(ffcCleanPath(QStringLiteral("c:\\\\cal\\a")), QStringLiteral("c:/cal/a"));
    }

    void colourFileRoundTrip()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("c.FAC.FFC.t"));
        const GainList gains = ramp(3, 4, 1.1);
        QString why;
        QVERIFY(ffcSaveFile(path, FfcRoi{100, 0, 4, 1000}, gains, &why));
        QSettings f(path, QSettings::IniFormat);
        QCOMPARE(f.value(QStringLiteral("FFC/Version")).toInt(), 2);
        QCOMPARE(f.value(QStringLiteral("FFC/PAC")).toInt(), 1);
        // R holds channel 2, B channel 0; keys are absolute sensor columns.
        QCOMPARE(f.value(QStringLiteral("FFC_R/100")).toDouble(), gains[2][0]);
        QCOMPARE(f.value(QStringLiteral("FFC_B/103")).toDouble(), gains[0][3]);
        const FfcFileContent c = ffcReadFile(path, FfcRoi{0, 0, 8, 8});
        QVERIFY(c.ok);
        QCOMPARE(c.roi.x, 100);
        QCOMPARE(c.roi.w, 4);
        QCOMPARE(c.roi.h, 1000);
        QCOMPARE(c.gains, gains);
    }

    void monoFileUnderR()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("m"));
        const GainList gains = ramp(1, 3, 0.8);
        QString why;
        QVERIFY(ffcSaveFile(path, FfcRoi{0, 0, 3, 10}, gains, &why));
        QSettings f(path, QSettings::IniFormat);
        QCOMPARE(f.childGroups(), (QStringList{"FFC", "FFC_R", "FFC_ROI"}));
        const FfcFileContent c = ffcReadFile(path, FfcRoi{});
        QVERIFY(c.ok);
        QCOMPARE(c.gains, gains);
        QCOMPARE(c.missingSections, (QStringList{"FFC_B", "FFC_G"}));
    }

    // A section or a key missing: a file cut short. Its gains are there with 1.0 in the gaps, and
    // it is partial (loaded only when the operator agrees); two sections are R and G as written.
    void missingSectionAndKey()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("k"));
        QString why;
        QVERIFY(ffcSaveFile(path, FfcRoi{10, 0, 3, 10}, ramp(3, 3, 1.2), &why));
        {
            QSettings f(path, QSettings::IniFormat);
            f.remove(QStringLiteral("FFC_G"));
            f.remove(QStringLiteral("FFC_R/11"));
        }
        const FfcFileContent c = ffcReadFile(path, FfcRoi{});
        QVERIFY(c.ok);
        QVERIFY(c.partial);
        QCOMPARE(c.missingKeys, 1);
        QCOMPARE(c.firstMissing, QStringLiteral("FFC_R/11"));
        QCOMPARE(c.missingSections, QStringList{QStringLiteral("FFC_G")});
        QCOMPARE(c.gains.size(), 2);  // R, B as they stand in the file
        QCOMPARE(c.gains[0][1], 1.0);
        QCOMPARE(c.gains[0][0], 3.2);
        QCOMPARE(c.gains[1][0], 1.2);
    }

    void refusedFiles_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("message");
        const QString version = QStringLiteral("不支持的参数版本号，无法解析及加载。");
        QTest::newRow("version 1") << QByteArray("[FFC]\nVersion=1\n[FFC_R]\n0=1.0\n") << version;
        QTest::newRow("no version") << QByteArray("[FFC_R]\n0=1.0\n") << version;
        QTest::newRow("not an ini") << QByteArray("\x89PNG\r\n\x1a\n\0\0garbage", 18) << version;
        QTest::newRow("garbage") << QByteArray("[FFC]\nVersion=2\n[FFC_ROI]\nWidth=2\n[FFC_R]\n0=1.0\n1=abc\n")
                                 << QStringLiteral("参数文件中 FFC_R/1 的值无效，无法加载。");
        QTest::newRow("nan") << QByteArray("[FFC]\nVersion=2\n[FFC_ROI]\nWidth=2\n[FFC_G]\n0=nan\n")
                             << QStringLiteral("参数文件中 FFC_G/0 的值无效，无法加载。");
        QTest::newRow("negative") << QByteArray("[FFC]\nVersion=2\n[FFC_ROI]\nWidth=2\n[FFC_B]\n1=-0.5\n")
                                  << QStringLiteral("参数文件中 FFC_B/1 的值无效，无法加载。");
        QTest::newRow("zero width") << QByteArray("[FFC]\nVersion=2\n[FFC_ROI]\nWidth=0\n[FFC_R]\n0=1.0\n")
                                    << QStringLiteral("参数文件中的ROI无效（FFC_ROI/Width = 0），无法加载。");
        QTest::newRow("huge width") << QByteArray("[FFC]\nVersion=2\n[FFC_ROI]\nWidth=2000000000\n")
                                    << QStringLiteral("参数文件中的ROI无效（FFC_ROI/Width = 2000000000），无法加载。");
        QTest::newRow("width text") << QByteArray("[FFC]\nVersion=2\n[FFC_ROI]\nWidth=wide\n")
                                    << QStringLiteral("参数文件中的ROI无效（FFC_ROI/Width = wide），无法加载。");
        QTest::newRow("negative offset") << QByteArray("[FFC]\nVersion=2\n[FFC_ROI]\nOffsetH=-3\nWidth=4\n")
                                         << QStringLiteral("参数文件中的ROI无效（FFC_ROI/OffsetH = -3），无法加载。");
    }

    void refusedFiles()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, message);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("bad"));
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(text);
        f.close();
        const FfcFileContent c = ffcReadFile(path, FfcRoi{0, 0, 4, 4});
        QVERIFY(!c.ok);
        QCOMPARE(c.text, message);
        QVERIFY(c.gains.isEmpty());
    }

    // ---- edits ----
    void factorOneRestoresExactly()
    {
        const GainList saved = ramp(3, 50, 0.7);
        GainList out;
        QVERIFY(ffcScaleGains(saved, {1.0, 1.0, 1.0}, out).outcome == FfcScale::Ok);
        QCOMPARE(out, saved);
        QVERIFY(ffcScaleGains(saved, {0.0, 2.0, -0.5}, out).outcome == FfcScale::Ok);
        QCOMPARE(out[0][10], 1.0);
        QCOMPARE(out[1][10], (saved[1][10] - 1.0) * 2.0 + 1.0);
        QCOMPARE(out[2][10], (saved[2][10] - 1.0) * -0.5 + 1.0);
        GainList untouched = saved;
        QVERIFY(ffcScaleGains(saved, {1.0}, untouched).outcome == FfcScale::ChannelCount);
        QCOMPARE(untouched, saved);
    }

    // A turn that would leave a gain at 0 or below is refused whole, naming the first such gain.
    void scalingToANonGainIsRefused()
    {
        const GainList saved = ramp(3, 50, 0.7);  // channel 2 from 2.7
        GainList out = saved;
        const FfcScaleResult r = ffcScaleGains(saved, {1.0, 1.0, -1.0}, out);
        QVERIFY(r.outcome == FfcScale::NotAGain);
        QCOMPARE(r.channel, 2);
        QCOMPARE(r.column, 0);
        QCOMPARE(r.value, (saved[2][0] - 1.0) * -1.0 + 1.0);
        QCOMPARE(out, saved);
        // A factor that brings the largest gain to exactly 0 is refused too.
        const GainList one{{1.5, 2.0, 1.25}};
        const FfcScaleResult zero = ffcScaleGains(one, {-1.0}, out);
        QVERIFY(zero.outcome == FfcScale::NotAGain);
        QCOMPARE(zero.column, 1);
        QCOMPARE(zero.value, 0.0);
        QCOMPARE(ffcFirstNonGain(one), (std::pair<int, int>(-1, -1)));
        QCOMPARE(ffcFirstNonGain({{1.0, 1.0}, {1.0, -0.1}}), (std::pair<int, int>(1, 1)));
    }

    void flattenInsideTheData()
    {
        const cv::Mat d = row1({1.0f, 1.5f, 0.5f, 2.0f, 1.2f, 1.1f});
        bool changed = false;
        // sx 10 pixels per column, left 0: columns 1 .. 4.
        const cv::Mat out = ffcFlattenStretch(d, 45.0, 15.0, 10.0f, 0.0, 0, &changed);
        QVERIFY(changed);
        const float step = (1.2f - 1.5f) / 3.0f;
        QCOMPARE(values(out), (std::vector<float>{1.0f, 1.5f, step + 1.5f, 2 * step + 1.5f, 3 * step + 1.5f, 1.1f}));
    }

    void flattenLeftAndRightOfTheData()
    {
        const cv::Mat d = row1({1.0f, 1.5f, 0.5f, 2.0f});
        // From left of the data (column -2) to column 2: the value at the right end.
        const cv::Mat left = ffcFlattenStretch(d, 0.0, 45.0, 10.0f, -2.0, 0);
        QCOMPARE(values(left), (std::vector<float>{0.5f, 0.5f, 0.5f, 2.0f}));
        // From column 1 past the right edge: the value at the left end.
        const cv::Mat right = ffcFlattenStretch(d, 10.0, 80.0, 10.0f, 0.0, 0);
        QCOMPARE(values(right), (std::vector<float>{1.0f, 1.5f, 1.5f, 1.5f}));
    }

    void flattenOneChannelOfThree()
    {
        cv::Mat d(1, 3, CV_32FC3);
        d.at<cv::Vec3f>(0, 0) = {1, 2, 3};
        d.at<cv::Vec3f>(0, 1) = {9, 9, 9};
        d.at<cv::Vec3f>(0, 2) = {3, 4, 5};
        const cv::Mat g = ffcFlattenStretch(d, 0.0, 25.0, 10.0f, 0.0, 2);  // G only
        QCOMPARE(g.at<cv::Vec3f>(0, 1), cv::Vec3f(9, 3, 9));
        const cv::Mat all = ffcFlattenStretch(d, 0.0, 25.0, 10.0f, 0.0, 0);
        QCOMPARE(all.at<cv::Vec3f>(0, 1), cv::Vec3f(2, 3, 4));
    }

    void stretchInsideOneColumnKeepsIt()
    {
        const cv::Mat d = row1({1.0f, 1.5f, 0.5f});
        bool changed = true;
        const cv::Mat out = ffcFlattenStretch(d, 11.0, 18.0, 10.0f, 0.0, 0, &changed);
        QVERIFY(!changed);
        QCOMPARE(values(out), values(d));
        for (float v : values(out)) QVERIFY(std::isfinite(v));
    }

    void profileBackIntoGains()
    {
        const GainList current = ramp(1, 3, 1.0);
        const GainList back = ffcGainsFromProfile(row1({0.5f, 0.75f, 2.0f}), current);
        QCOMPARE(back[0], (QList<double>{0.5, 0.75, 2.0}));
        // A 1-channel row against three lists: nothing changes.
        QCOMPARE(ffcGainsFromProfile(row1({0.5f, 0.75f, 2.0f}), ramp(3, 3, 1.0)), ramp(3, 3, 1.0));
    }
};

QTEST_GUILESS_MAIN(TestFfcKernels)
#include "test_ffc_kernels.moc"

// Writing FPN into the camera and the FPN parameter files, against a camera library that records
// every call and keeps every record as it received it: the records byte by byte (sizes, types,
// more-follows flags, level fields, the K range, the data order, padding and cut), the gain table,
// the reports, the library's log, and the files with the camera left alone when they are refused.
#include "calibration/recordharness.h"

#include "calibration/klevels.h"
#include "statustext.h"

#include <QSignalSpy>

#include <cmath>
#include <cstring>

namespace {

// A record as the camera received it.
struct Received {
    lsxFpnHeader head{};
    std::vector<float> pairs;
    float k(int e) const { return pairs[size_t(2 * e)]; }
    float b(int e) const { return pairs[size_t(2 * e + 1)]; }
};

Received decode(const std::vector<uint8_t>& bytes)
{
    Received r;
    std::memcpy(&r.head, bytes.data(), sizeof r.head);
    r.pairs.resize((bytes.size() - sizeof r.head) / 4);
    std::memcpy(r.pairs.data(), bytes.data() + sizeof r.head, r.pairs.size() * 4);
    return r;
}

// Samples of one exposure per row: every column at level x with gain k(row, column).
QList<QList<KPoint>> samples(int rows, int columns, double x, std::function<double(int, int)> k)
{
    QList<QList<KPoint>> out;
    for (int r = 0; r < rows; ++r) {
        QList<KPoint> row;
        for (int c = 0; c < columns; ++c) row.append({x, k(r, c)});
        out.append(row);
    }
    return out;
}

// The recording camera shows no set selection: what a write would overwrite cannot be read back,
// and the write says so before its records.
Report noBackup(const QString& why)
{
    return {5, QStringLiteral("写入前无法备份相机当前的参数组：%1。写入后不能恢复原有参数。").arg(why)};
}
const Report kNoBackup = noBackup(QStringLiteral("读取相机当前的FPN参数组出错"));

}  // namespace

class TestFpnWrite : public QObject, RecordCamHarness {
    Q_OBJECT

    // A server as a dark and a bright run leave it on the 8-column recording camera: one row of
    // B (16-bit data) and K, samples at one exposure.
    std::unique_ptr<CameraServer> calibrated(int rows = 1)
    {
        auto s = server();
        s->m_frameBits = LSX_BITS_16;
        cam().roi = {0, 0, 8, 1000, {}};
        for (int r = 0; r < rows; ++r) {
            QList<double> b, k;
            for (int c = 0; c < 8; ++c) {
                b.append(1000.0 + 100 * r + c);
                k.append(1.0 + 0.01 * c + 0.1 * r);
            }
            s->m_bList.append(b);
            s->m_kList.append(k);
        }
        s->m_kPoints = samples(rows, 8, 180.0, [](int r, int c) { return 1.0 + 0.01 * c + 0.1 * r; });
        return s;
    }

    QList<Report> write(CameraServer* s, int sel)
    {
        QSignalSpy info(s, &CameraServer::OS_FpnInfo);
        s->fpnWriteDown(sel);
        return reportsOf(info);
    }

    QString writeText(const QString& name, const QByteArray& text)
    {
        const QString p = m_doc->path() + QLatin1Char('/') + name;
        QFile f(p);
        f.open(QIODevice::WriteOnly | QIODevice::Truncate);
        f.write(text);
        return p;
    }

private slots:
    void initTestCase() { bindRecordCam(); }
    void init() { freshCamera(); }
    void cleanupTestCase() { lsx::unbindLibrary(); }

    // ---- Line-scan write ----

    void selectableSetAfterADarkRun()
    {
        auto s = calibrated();
        store(FpnIni::DOffset, -3);
        const QList<Report> reports = write(s.get(), 0);
        QCOMPARE(reports, (QList<Report>{kNoBackup,
                                         {100, QStringLiteral("FPN参数成功写入")},
                                         {100, QStringLiteral("\n已使能相机内部FPN，点击确定查看效果。")}}));
        QCOMPARE(cam().fpnRecords.size(), size_t(2));
        const Received dark = decode(cam().fpnRecords[0]), bright = decode(cam().fpnRecords[1]);
        QCOMPARE(dark.head.type, uint32_t(LSX_FPN_DARK));
        QCOMPARE(int(dark.head.moreFollows), 1);
        QCOMPARE(bright.head.type, uint32_t(LSX_FPN_BRIGHT));
        QCOMPARE(int(bright.head.moreFollows), 0);
        for (const Received& r : {dark, bright}) {
            QCOMPARE(r.head.columns, 8u);
            QCOMPARE(r.head.lines, 1u);
            QCOMPARE(int(r.head.bits), int(LSX_BITS_16));
            QCOMPARE(int(r.head.doffset), 0xFD);  // the low byte of -3
            QCOMPARE(int(r.head.level), 180);
            QCOMPARE(r.head.dataSize, 64u);
            QCOMPARE(r.head.minK, 1.0f);
            QCOMPARE(r.head.maxK, 1.07f);
            QCOMPARE(r.pairs.size(), size_t(16));
            for (int c = 0; c < 8; ++c) {
                QCOMPARE(r.k(c), float(1.0 + 0.01 * c));
                QCOMPARE(r.b(c), float(1000 + c));
            }
        }
        // The size argument is the head's, 40; then the camera's FPN on.
        QCOMPARE(toList(cam().callsOf("lsxSet(45")), (QStringList{"lsxSet(45,40)", "lsxSet(45,40)"}));
        QCOMPARE(toList(cam().calls).last(), QStringLiteral("lsxSetConfigString(FPNC.Enable,true)"));
    }

    void afterADarkReadBackOnlyTheBrightHalf()
    {
        auto s = calibrated();
        s->m_darkFromCamera = true;
        write(s.get(), 0);
        QCOMPARE(cam().fpnRecords.size(), size_t(1));
        QCOMPARE(decode(cam().fpnRecords[0]).head.type, uint32_t(LSX_FPN_BRIGHT));
    }

    void kRebuiltFromTheSamplesAtPixelMax()
    {
        auto s = calibrated();
        store(FpnIni::PixelMax, 100);
        // Two exposures: K 1.0 at level 50, 2.0 at level 150, every column; maxK 4.
        s->m_maxK = 4;
        s->m_kPoints = {QList<KPoint>(8, KPoint{50.0, 1.0}), QList<KPoint>(8, KPoint{150.0, 2.0})};
        write(s.get(), 0);
        // Halfway at 100: 1.5, unscaled, replacing what the bright run left.
        QCOMPARE(s->m_kList, (QList<QList<double>>{QList<double>(8, 1.5)}));
        const Received r = decode(cam().fpnRecords[1]);
        QCOMPARE(r.k(0), 1.5f);
        QCOMPARE(r.head.minK, 1.5f);
        QCOMPARE(r.head.maxK, 1.5f);
        QCOMPARE(int(r.head.level), 100);
    }

    void coloursInterleavedByColumn()
    {
        auto s = calibrated(3);
        s->m_kPoints.clear();
        s->m_frameBits = LSX_BITS_8;
        write(s.get(), 0);
        const Received r = decode(cam().fpnRecords[0]);
        QCOMPARE(r.head.columns, 24u);
        QCOMPARE(r.head.lines, 1u);
        QCOMPARE(int(r.head.bits), 0);
        // Column 0 of B, G, R, then column 1.
        QCOMPARE(r.b(0), 1000.0f);
        QCOMPARE(r.b(1), 1100.0f);
        QCOMPARE(r.b(2), 1200.0f);
        QCOMPARE(r.b(3), 1001.0f);
        QCOMPARE(r.k(2), float(1.2));
        QCOMPARE(r.head.maxK, float(1.0 + 0.07 + 0.2));
    }

    void sensorLinesOneAfterTheOther()
    {
        auto s = calibrated(4);
        s->m_kPoints.clear();
        s->m_lineCount = 4;
        write(s.get(), 0);
        const Received r = decode(cam().fpnRecords[0]);
        QCOMPARE(r.head.columns, 8u);
        QCOMPARE(r.head.lines, 4u);
        QCOMPARE(r.head.dataSize, 256u);
        // Line 0's eight pairs, then line 1's.
        QCOMPARE(r.b(7), 1007.0f);
        QCOMPARE(r.b(8), 1100.0f);
        QCOMPARE(r.b(31), 1307.0f);
    }

    void paddedToTheSensorAndCut()
    {
        // ROI x 2 and width 4 on a sensor of 8: the rows grow to 8, and the record takes the first
        // 4 entries: two of padding (K 1.0, the mean B) and the ROI's first two columns.
        auto s = server();
        s->m_frameBits = LSX_BITS_16;
        s->m_bList = {{10, 20, 30, 40}};
        s->m_kList = {{1.1, 1.2, 1.3, 1.4}};
        cam().roi = {2, 0, 4, 1000, {}};
        write(s.get(), 0);
        const Received r = decode(cam().fpnRecords[1]);
        QCOMPARE(r.head.columns, 4u);
        const float k[] = {1.0f, 1.0f, 1.1f, 1.2f}, b[] = {25, 25, 10, 20};
        for (int e = 0; e < 4; ++e) {
            QCOMPARE(r.k(e), k[e]);
            QCOMPARE(r.b(e), b[e]);
        }
        // The K range counts the padding and the cut-off columns too.
        QCOMPARE(r.head.minK, 1.0f);
        QCOMPARE(r.head.maxK, 1.4f);
        // The data in memory is not padded.
        QCOMPARE(s->m_bList, (QList<QList<double>>{{10, 20, 30, 40}}));
    }

    void factorySetWhole()
    {
        auto s = calibrated();
        write(s.get(), 1);
        QCOMPARE(cam().fpnRecords.size(), size_t(1));
        const Received r = decode(cam().fpnRecords[0]);
        QCOMPARE(r.head.type, uint32_t(LSX_FPN_WHOLE));
        QCOMPARE(int(r.head.moreFollows), 0);
    }

    void factoryMultiLevelBands()
    {
        // fpnLevels3: the dark half, then three bands of K at levels 16, 64, 255.
        auto s = calibrated();
        s->m_supportMLK = 1;
        s->m_maxK = 4;
        store(FpnIni::FpnSel, 3);
        // K 2.0 at level 20, 1.0 at level 200: the bands sample at 12, 40, 160.
        s->m_kPoints = {QList<KPoint>(8, KPoint{20.0, 2.0}), QList<KPoint>(8, KPoint{200.0, 1.0})};
        s->m_bList = {QList<double>(8, 1000.0)};
        const QList<Report> reports = write(s.get(), 1);
        // The bands of a multi-level factory set cannot be read back.
        QCOMPARE(reports.first(),
                 Report(5, QStringLiteral("写入前无法备份相机参数组 factory：多级K的出厂参数组的K不能读回。"
                                          "写入后不能恢复原有参数。")));
        QCOMPARE(reports.at(1), Report(100, QStringLiteral("FPN参数成功写入")));
        QCOMPARE(cam().fpnRecords.size(), size_t(4));
        const Received dark = decode(cam().fpnRecords[0]);
        QCOMPARE(dark.head.type, uint32_t(LSX_FPN_FACTORY_DARK));
        QCOMPARE(int(dark.head.moreFollows), 1);
        QCOMPARE(int(dark.head.level), 16);
        // The row's gain: at the top level 191, K = 2 - (191 - 20) / 180 = 1.05, and
        // (65472 - 1000) x 1.05 lies above the cap 65535, which then sets it.
        const double kTop = 2.0 - (191.0 - 20.0) / 180.0;
        QVERIFY((65472.0 - 1000.0) * kTop > 65535.0);
        const double gain = 65472.0 / 65535.0;
        const int levels[] = {16, 64, 255}, more[] = {1, 1, 0};
        const double at[] = {12, 40, 160};
        for (int n = 0; n < 3; ++n) {
            const Received band = decode(cam().fpnRecords[size_t(n + 1)]);
            QCOMPARE(band.head.type, uint32_t(LSX_FPN_FACTORY_KBAND));
            QCOMPARE(int(band.head.level), levels[n]);
            QCOMPARE(int(band.head.moreFollows), more[n]);
            const double k = std::min(2.0, 2.0 - (at[n] - 20.0) / 180.0) * gain;
            QCOMPARE(band.k(0), float(k));
            // B stays as the dark half put it.
            QCOMPARE(band.b(5), 1000.0f);
        }
        QCOMPARE(toList(cam().calls).last(), QStringLiteral("lsxSetConfigString(FPNC.Enable,true)"));
        // The library's log of a factory write.
        QStringList log;
        for (const std::string& l : cam().log) log.append(QString::fromStdString(l));
        QCOMPARE(log, (QStringList{"16 Vesmira lsxset dsnu : totalsize - 104", "16 Vesmira lsxset dsnu : succeed",
                                   "16 Vesmira lsxset calc kgain - channels : 1.", "16 Vesmira lsxset set 0's k val.",
                                   "16 Vesmira lsxset set 0's k val succeed.", "16 Vesmira lsxset set 1's k val.",
                                   "16 Vesmira lsxset set 1's k val succeed.", "16 Vesmira lsxset set 2's k val.",
                                   "16 Vesmira lsxset set 2's k val succeed.", "16 Vesmira lsxset succeed."}));
    }

    void factoryBandAtOneHalfWrittenAsOne()
    {
        auto s = calibrated();
        s->m_supportMLK = 1;
        s->m_maxK = 4;
        store(FpnIni::FpnSel, 3);
        // 8-bit data, B 0, K 1.0 at level 12 rising to 2.0 at level 191: at the top level the
        // lowest (255 - 0) x 2.0 gives the row gain 0.5, so the first band (level 12, K 1.0) comes
        // to exactly 0.5 and is written as 1.0; the second (level 40) is kept.
        s->m_frameBits = LSX_BITS_8;
        s->m_bList = {QList<double>(8, 0.0)};
        s->m_kPoints = {QList<KPoint>(8, KPoint{12.0, 1.0}), QList<KPoint>(8, KPoint{191.0, 2.0})};
        write(s.get(), 1);
        QCOMPARE(cam().fpnRecords.size(), size_t(4));
        QCOMPARE(decode(cam().fpnRecords[1]).k(0), 1.0f);
        QCOMPARE(decode(cam().fpnRecords[2]).k(3), float((1.0 + 28.0 / 179.0) * 0.5));
    }

    void factoryMultiLevelRefusals_data()
    {
        QTest::addColumn<int>("rows");
        QTest::addColumn<int>("lines");
        QTest::newRow("six rows") << 6 << 1;
        QTest::newRow("four sensor lines") << 4 << 4;
    }

    void factoryMultiLevelRefusals()
    {
        QFETCH(int, rows);
        QFETCH(int, lines);
        auto s = calibrated(rows);
        s->m_supportMLK = 1;
        s->m_lineCount = lines;
        const QList<Report> reports = write(s.get(), 1);
        QCOMPARE(reports, (QList<Report>{{101, QStringLiteral("明暗场参数不匹配，写入参数失败.")}}));
        QVERIFY(cam().fpnRecords.empty());
    }

    void thirdRecordFailing()
    {
        auto s = calibrated();
        s->m_supportMLK = 1;
        store(FpnIni::FpnSel, 3);
        cam().faults["lsxSet"] = {2, -1201, 1};
        const QList<Report> reports = write(s.get(), 1);
        // The dark half is in and a band is not: without a backup the operator hears it is a mixture.
        QCOMPARE(reports.size(), 3);
        QCOMPARE(reports.at(1),
                 Report(101, QStringLiteral("FPN明场参数写入失败，失败原因：-1201-%1.").arg(statusText(-1201))));
        QCOMPARE(reports.at(2),
                 Report(101, QStringLiteral("写入前没有备份，无法恢复。相机参数组 factory 现在是新的暗场参数"
                                            "与原有明场参数的混合，不能使用：请重新写入。")));
        // Two records went; nothing after the failure, the camera's FPN not switched on.
        QCOMPARE(cam().fpnRecords.size(), size_t(2));
        QCOMPARE(cam().count("lsxSetConfigString"), 0);
    }

    void failures_data()
    {
        QTest::addColumn<QString>("op");
        QTest::addColumn<int>("after");
        QTest::addColumn<QList<Report>>("reports");
        const QString t = statusText(-1104);
        QTest::newRow("region") << "lsxGetRoi" << 0
                                << QList<Report>{
                                       {101, QStringLiteral("获取FPN校正范围出错，错误原因：-1104-%1").arg(t)}};
        QTest::newRow("sensor width") << "lsxGetRoiDescr" << 0
                                      << QList<Report>{
                                             {101, QStringLiteral("获取FPN校正范围出错，错误原因：-1104-%1").arg(t)}};
        QTest::newRow("dark half") << "lsxSet" << 0
                                   << QList<Report>{
                                          kNoBackup,
                                          {101, QStringLiteral("FPN参数写入失败，失败原因：-1104-%1.").arg(t)}};
        QTest::newRow("bright half")
            << "lsxSet" << 1
            << QList<Report>{
                   kNoBackup,
                   {101, QStringLiteral("FPN参数写入失败，失败原因：-1104-%1.").arg(t)},
                   {101, QStringLiteral("写入前没有备份，无法恢复。相机当前的参数组现在是新的暗场参数与原有明场参数的"
                                        "混合，不能使用：请重新写入。")}};
        QTest::newRow("switching on")
            << "lsxSetConfigString" << 0
            << QList<Report>{
                   kNoBackup,
                   {100, QStringLiteral("FPN参数成功写入")},
                   {101,
                    QStringLiteral("\n使能相机内部FPN失败，失败原因：-1104-%1.请手动打开相机内部FPN使能。").arg(t)}};
    }

    void failures()
    {
        QFETCH(QString, op);
        QFETCH(int, after);
        QFETCH(QList<Report>, reports);
        auto s = calibrated();
        cam().faults[op.toStdString()] = {after, -1104, 1};
        QCOMPARE(write(s.get(), 0), reports);
    }

    void nothingToWrite()
    {
        auto s = server();
        QCOMPARE(write(s.get(), 0), (QList<Report>{{101, QStringLiteral("未执行校正过程")}}));
        QVERIFY(cam().calls.empty());
    }

    void gainRanges_data()
    {
        QTest::addColumn<double>("gainMin");
        QTest::addColumn<double>("gainMax");
        QTest::addColumn<bool>("refused");
        QTest::newRow("one gain") << 2.0 << 2.0 << false;
        QTest::newRow("half a step") << 1.0 << 1.5 << false;
        QTest::newRow("G 0") << 3.0 << 2.0 << true;
        QTest::newRow("G 0 within a step") << 2.5 << 1.6 << true;
        QTest::newRow("G negative") << 4.0 << 1.0 << true;
    }

    void gainRanges()
    {
        QFETCH(double, gainMin);
        QFETCH(double, gainMax);
        QFETCH(bool, refused);
        auto s = calibrated();
        store(FpnIni::GainMin, gainMin);
        store(FpnIni::GainMax, gainMax);
        const QList<Report> reports = write(s.get(), 0);
        if (refused) {
            QCOMPARE(reports,
                     (QList<Report>{{101, QStringLiteral("设置 Params/GainMin 的值 %1 大于 Params/GainMax 的值 %2："
                                                         "增益范围内没有一个增益，校正不会执行。请把 Params/GainMin "
                                                         "设为不大于 Params/GainMax 的值。")
                                              .arg(gainMin)
                                              .arg(gainMax)}}));
            QVERIFY(cam().fpnRecords.empty());
        } else {
            QCOMPARE(reports.at(1).first, 100);
        }
    }

    // The settings the records are made of: a bad one refuses the write before anything is sent,
    // and the K rows stay as the calibration left them.
    void settingsOutOfRangeRefused_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("range");
        QTest::addColumn<QString>("what");
        QTest::newRow("PixelMax 1e308") << FpnIni::PixelMax << "1e308"
                                        << "[2, 255]"
                                        << "超出范围";
        QTest::newRow("DOffset nan") << FpnIni::DOffset << "nan"
                                     << "[-128, 128]"
                                     << "不是数";
        QTest::newRow("FpnSel 2.5") << FpnIni::FpnSel << "2.5"
                                    << "[3, 9]"
                                    << "超出范围";
        QTest::newRow("GainMax inf") << FpnIni::GainMax << "inf"
                                     << "[1, 32]"
                                     << "超出范围";
    }
    void settingsOutOfRangeRefused()
    {
        QFETCH(QString, key);
        QFETCH(QString, value);
        QFETCH(QString, range);
        QFETCH(QString, what);
        auto s = calibrated();
        const QList<QList<double>> k = s->m_kList;
        store(key, value);
        QCOMPARE(write(s.get(), 0),
                 (QList<Report>{
                     {101, QStringLiteral("设置 %1 的值 \"%2\" %3，应在 %4 之内。").arg(key, value, what, range)}}));
        QVERIFY(cam().fpnRecords.empty());
        QCOMPARE(s->m_kList, k);
    }

    void kAndBRowsDiffer()
    {
        auto s = calibrated();
        s->m_kPoints.clear();
        s->m_kList.clear();
        QCOMPARE(write(s.get(), 0), (QList<Report>{{101, QStringLiteral("明暗场参数不匹配，写入参数失败.")}}));
        // Another value of sel skips the check and sends nothing.
        QCOMPARE(write(s.get(), 2).first(), Report(100, QStringLiteral("FPN参数成功写入")));
        QVERIFY(cam().fpnRecords.empty());
    }

    // ---- Gain table (a camera of several gains without line-scan data) ----

    void gainTable()
    {
        auto s = server();
        s->m_isLinescan = false;
        s->m_frameBits = LSX_BITS_16;
        cam().roi = {0, 0, 8, 1, {}};
        store(FpnIni::GainMin, 1.0);
        store(FpnIni::GainMax, 2.0);
        s->m_bList = {QList<double>(8, 100.0), QList<double>(8, 200.0)};
        s->m_kList = {QList<double>(8, 1.0), QList<double>(8, 0.5)};
        QCOMPARE(write(s.get(), 0), (QList<Report>{{100, QStringLiteral("FPN参数成功写入")}}));
        QCOMPARE(toList(cam().callsOf("lsxSet(47")), (QStringList{"lsxSet(47,592)"}));
        const std::vector<uint8_t>& t = cam().gainTable;
        QCOMPARE(t.size(), size_t(544 + 2 * 8 * 3));
        // Gain 2's first column: K 0.5 = 1024 in fixed point, B 200.
        const size_t at = 544 + 8 * 3;
        QCOMPARE(uint32_t(t[at]) | (uint32_t(t[at + 1]) << 8) | (uint32_t(t[at + 2]) << 16), (1024u << 12) | 200u);
        // Rows of K and B of different lengths: told as a finished run.
        s->m_kList[1].removeLast();
        QCOMPARE(write(s.get(), 0), (QList<Report>{{100, QStringLiteral("FPN参数不匹配")}}));
        // Not one row per gain.
        s->m_kList.removeLast();
        QCOMPARE(write(s.get(), 0), (QList<Report>{{101, QStringLiteral("FPN参数不匹配")}}));
    }

    // ---- TVK317 ----

    void tvk317()
    {
        auto s = server();
        s->m_isTvk317 = true;
        s->m_isLinescan = false;
        s->m_frameBits = LSX_BITS_8;
        cam().roi = {0, 0, 4, 2, {}};
        s->m_bList = {{1, 2, 3, 4, 5, 6, 7, 8}};
        s->m_kList = {{1.5, 1, 1, 1, 1, 1, 1, 1.25}};
        QCOMPARE(write(s.get(), 0), (QList<Report>{noBackup(QStringLiteral("此相机的逐像素FPN数据不能读回")),
                                                   {99, QStringLiteral("FPN参数成功写入")},
                                                   {100, QStringLiteral("\n已使能相机内部FPN，点击确定查看效果。")}}));
        const Received r = decode(cam().fpnRecords[0]);
        QCOMPARE(r.head.columns, 4u);
        QCOMPARE(r.head.lines, 2u);
        QCOMPARE(int(r.head.level), 10);
        QCOMPARE(r.head.minK, 1.0f);
        QCOMPARE(r.head.maxK, 4.0f);
        QCOMPARE(r.head.type, 0u);
        QCOMPARE(r.head.dataSize, 64u);
        QCOMPARE(r.k(0), 1.5f);
        QCOMPARE(r.b(7), 8.0f);
        QCOMPARE(toList(cam().calls).last(), QStringLiteral("lsxSet(46,true,0)"));
    }

    void tvk317Refusals()
    {
        auto s = server();
        s->m_isTvk317 = true;
        s->m_isLinescan = false;
        cam().roi = {0, 0, 4, 2, {}};
        // A dark field without a bright field.
        s->m_bList = {QList<double>(8, 1.0)};
        QCOMPARE(write(s.get(), 0), (QList<Report>{{101, QStringLiteral("参数为空，写入失败")}}));
        // Another resolution than the data's.
        s->m_kList = {QList<double>(8, 1.0)};
        cam().roi = {0, 0, 4, 4, {}};
        QCOMPARE(write(s.get(), 0), (QList<Report>{{101, QStringLiteral("分辨率模式不匹配")}}));
        QVERIFY(cam().fpnRecords.empty());
    }

    // ---- Files ----

    void saveAndLoadBack()
    {
        auto s = calibrated();
        // Twelve columns, so that an order of the keys as text ("0", "1", "10", ...) would show.
        cam().roi = {0, 0, 12, 1000, {}};
        cam().roiDescr.maxWidth = 16;
        s->m_kPoints.clear();
        s->m_bList = {{}};
        s->m_kList = {{}};
        for (int c = 0; c < 12; ++c) {
            s->m_bList[0].append(100 + c);
            s->m_kList[0].append(1.0 + c / 100.0);
        }
        cam().source = 2;
        cam().target = 34;
        const QString path = m_doc->path() + QStringLiteral("/a.FAC.FPN");
        QVERIFY(s->saveFpnFile(path));
        // As written, with the kind of K as a word: it loads back with no edit.
        QFile f(path);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QVERIFY(f.readAll().contains("SupportMLK=false"));
        f.close();

        auto t = server();
        t->m_kPoints = samples(1, 12, 180.0, [](int, int) { return 1.7; });  // an earlier calibration's
        t->m_darkFromCamera = true;
        cam().calls.clear();
        cam().roi = {5, 3, 4, 1000, {}};
        cam().source = 0;
        QString why;
        QVERIFY2(t->loadFpnFile(path, &why), qPrintable(why));
        QCOMPARE(t->m_bList, s->m_bList);
        QCOMPARE(t->m_kList, s->m_kList);
        // The file replaces the calibration: no samples of an earlier one, no scale, B not the camera's.
        QVERIFY(t->m_kPoints.isEmpty());
        QCOMPARE(t->m_kScaleList, QList<double>{1.0});
        QVERIFY(!t->m_darkFromCamera);
        // The camera as the file was made for it: formats, then X and width, Y and height kept.
        QCOMPARE(toList(cam().callsOf("lsxSet")),
                 (QStringList{"lsxSetSourceFormat(2)", "lsxSetTargetFormat(34)", "lsxSetRoi(0,3,12,1000)"}));
    }

    // A camera that does not take the file's region: put back as it was, and the load refused
    // with both regions named.
    void regionNotTakenPutsTheCameraBack()
    {
        auto s = calibrated();
        const QString path = m_doc->path() + QStringLiteral("/r.FAC.FPN");
        QVERIFY(s->saveFpnFile(path));
        auto t = server();
        cam().roi = {2, 0, 6, 1000, {}};
        cam().source = 0;
        cam().faults["lsxSetRoi"] = RecordCam::Fault{0, LSX_ERR_OUT_OF_RANGE, 1};
        QString why;
        QVERIFY(!t->loadFpnFile(path, &why));
        QVERIFY2(why.startsWith(QStringLiteral("相机不接受文件的区域 X = 0、宽 8 列（相机的区域为 X = 2、宽 6 列）")),
                 qPrintable(why));
        QVERIFY(t->m_bList.isEmpty());
        QCOMPARE(cam().roi.X, 2);
        QCOMPARE(cam().roi.W, 6);
        QCOMPARE(cam().source, 0);
    }

    void saveWithoutDataAndExport()
    {
        auto s = server();
        const QString path = m_doc->path() + QStringLiteral("/none.FAC.FPN");
        QString why;
        QVERIFY(!s->saveFpnFile(path, &why));
        QCOMPARE(why, QStringLiteral("没有可保存的FPN参数，请先执行校正过程。"));
        QVERIFY(!QFile::exists(path));
        QVERIFY(s->exportFpnFile(path));
        QVERIFY(!QFile::exists(path));
    }

    // A K that is not a number (a dead column's inf) is never written: the save is refused with the
    // row and column named, and an earlier file at the path stays as it was.
    void nonFiniteValuesAreNotSaved_data()
    {
        QTest::addColumn<bool>("inK");
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("why");
        QTest::newRow("K inf") << true << qInf() << QStringLiteral("K 第 0 行第 5 列的值 inf 不是有限数。");
        QTest::newRow("K nan") << true << qQNaN() << QStringLiteral("K 第 0 行第 5 列的值 nan 不是有限数。");
        QTest::newRow("B -inf") << false << -qInf() << QStringLiteral("B 第 0 行第 5 列的值 -inf 不是有限数。");
        QTest::newRow("K 0") << true << 0.0
                             << QStringLiteral("K 第 0 行第 5 列的值 0 超出 K 的范围（大于 0，至多 255）。");
    }

    void nonFiniteValuesAreNotSaved()
    {
        QFETCH(bool, inK);
        QFETCH(double, value);
        QFETCH(QString, why);
        auto s = calibrated();
        const QString path = m_doc->path() + QStringLiteral("/dead.FAC.FPN");
        QVERIFY(s->saveFpnFile(path));
        QFile f(path);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray before = f.readAll();
        f.close();
        (inK ? s->m_kList : s->m_bList)[0][5] = value;
        QString told;
        QVERIFY(!s->saveFpnFile(path, &told));
        QCOMPARE(told, why);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), before);
    }

    void multiLevelFileHoldsNineBands()
    {
        auto s = calibrated();
        s->m_supportMLK = 1;
        const QString path = m_doc->path() + QStringLiteral("/mlk.FAC.FPN");
        QVERIFY(s->saveFpnFile(path));
        QSettings in(path, QSettings::IniFormat);
        QCOMPARE(in.value(QStringLiteral("Head/SupportMLK")).toString(), QStringLiteral("true"));
        QStringList kGroups;
        for (const QString& g : in.childGroups())
            if (g.startsWith(QLatin1String("K_"))) kGroups.append(g);
        QCOMPARE(kGroups.size(), 9);
        in.beginGroup(QStringLiteral("K_0"));
        QCOMPARE(in.childKeys().size(), 8);
        QCOMPARE(in.value(QStringLiteral("3")).toDouble(), 1.03);
    }

    // A multi-level file loads back whole: B, and its nine bands as samples from which K at every
    // band's level is the band again; saved once more, the file is the same byte for byte.
    void multiLevelRoundTrip()
    {
        // One row: the recording camera has one gain (rows by gains: test_paramfiles).
        auto s = calibrated(1);
        s->m_supportMLK = 1;
        // K that differ by level, so that a band taken for another would show.
        s->m_kPoints.clear();
        for (int r = 0; r < 1; ++r)
            for (double x : {10.0, 60.0, 200.0}) {
                QList<KPoint> row;
                for (int c = 0; c < 8; ++c) row.append({x, 1.0 + 0.001 * x + 0.01 * c + 0.1 * r});
                s->m_kPoints.append(row);
            }
        const QString first = m_doc->path() + QStringLiteral("/mlk1.FAC.FPN");
        const QString second = m_doc->path() + QStringLiteral("/mlk2.FAC.FPN");
        QVERIFY(s->saveFpnFile(first));

        auto t = server();
        t->m_supportMLK = 1;
        QString why;
        QVERIFY2(t->loadFpnFile(first, &why), qPrintable(why));
        QCOMPARE(t->m_bList, s->m_bList);
        for (int n = 0; n < int(fpnLevels9.size()); ++n) {
            QList<double> saved, loaded;
            s->kAtLevel(levelStepK(fpnLevels9, n), saved, 1);
            t->kAtLevel(levelStepK(fpnLevels9, n), loaded, 1);
            QCOMPARE(loaded.size(), 8);
            QCOMPARE(loaded, saved);
        }
        QVERIFY(t->saveFpnFile(second));
        QFile a(first), b(second);
        QVERIFY(a.open(QIODevice::ReadOnly) && b.open(QIODevice::ReadOnly));
        QCOMPARE(b.readAll(), a.readAll());
    }

    void refusedFilesLeaveEverything_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("why");
        const QByteArray head =
            "[Head]\nVersion=1\nCamera=REC-1\nSupportMLK=0\nSourceFormat=2\nTargetFormat=34\nX=0\nW=8\n";
        QByteArray row = "[B_0]\n";
        for (int c = 0; c < 8; ++c) row += QByteArray::number(c) + "=1\n";
        QTest::newRow("other camera") << QByteArray(head).replace("REC-1", "REC-2") + row
                                      << QStringLiteral(
                                             "文件属于相机 \"REC-2\"（Head/Camera），而当前相机是 \"REC-1\"。");
        QTest::newRow("version 2") << QByteArray(head).replace("Version=1", "Version=2") + row
                                   << QStringLiteral("Head/Version 为 2，只能加载版本 1。");
        QTest::newRow("truncated") << head + row + "[B_1]\n0=1\n"
                                   << QStringLiteral(
                                          "文件有 2 行 B 参数，而相机至多 1 行（每个增益 1 行，1 个增益）。");
        QTest::newRow("not numbers") << head + QByteArray(row).replace("3=1", "3=x")
                                     << QStringLiteral("B_0/3（B 第 0 行，第 3 列）的值 \"x\" 不是数。");
        QTest::newRow("nan") << head + row + QByteArray(row).replace("B_0", "K_0").replace("2=1", "2=nan")
                             << QStringLiteral("K_0/2（K 第 0 行，第 2 列）的值 nan 不是有限数。");
        QTest::newRow("inf") << head + QByteArray(row).replace("0=1", "0=inf")
                             << QStringLiteral("B_0/0（B 第 0 行，第 0 列）的值 inf 不是有限数。");
        QTest::newRow("empty") << QByteArray() << QStringLiteral("缺少 Head/Version（只能加载版本 1）。");
        QByteArray noise;
        for (int i = 0; i < 4096; ++i) noise.append(char((i * 7919 + 13) % 256));
        QTest::newRow("random bytes") << noise << QStringLiteral("缺少 Head/Version（只能加载版本 1）。");
    }

    void refusedFilesLeaveEverything()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, why);
        auto s = calibrated();
        const QList<QList<double>> b = s->m_bList, k = s->m_kList;
        const QString path =
            writeText(QStringLiteral("bad-%1.FAC.FPN").arg(QTest::currentDataTag()).replace(' ', '_'), text);
        cam().calls.clear();
        QString told;
        QVERIFY(!s->loadFpnFile(path, &told));
        QCOMPARE(told, why);
        // The camera was asked about itself, and nothing of it was set.
        QVERIFY(cam().callsOf("lsxSet").empty());
        QCOMPARE(s->m_bList, b);
        QCOMPARE(s->m_kList, k);
        const QString missing = m_doc->path() + QStringLiteral("/missing.FAC.FPN");
        QVERIFY(!s->loadFpnFile(missing, &told));
        QCOMPARE(told, QStringLiteral("文件 %1 不存在。").arg(missing));
    }

    void unwritablePathIsAFailure()
    {
        auto s = calibrated();
        QString why;
        QVERIFY(!s->saveFpnFile(QStringLiteral("/proc/no-such-folder/x.FAC.FPN"), &why));
        QVERIFY2(why.startsWith(QStringLiteral("无法写入文件 /proc/no-such-folder/x.FAC.FPN：")), qPrintable(why));
    }
};

QTEST_GUILESS_MAIN(TestFpnWrite)
#include "test_fpnwrite.moc"

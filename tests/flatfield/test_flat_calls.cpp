// The flat-field and lens-shading procedures against a camera library that records every call:
// the order of the camera's preparation (which differs between the two), the switch record's
// bytes, the write-down's record, set switch and pauses order, and frames the runs cannot use.
#include "calibration/recordharness.h"

#include "statustext.h"

#include <QSignalSpy>

#include <cstring>

#include <memory>

namespace {

// The calls that tell the story, in order: the switch record, the selections, DOffset, the
// trigger, the stream and the records.
std::vector<std::string> story(const std::vector<std::string>& calls)
{
    static const std::vector<std::string> names = {"lsxGet(40",
                                                   "lsxSet(40",
                                                   "lsxGetConfigString(",
                                                   "lsxSetConfigString(PRNUC",
                                                   "lsxSetConfigString(LSC",
                                                   "lsxSetTriggerState",
                                                   "lsxReadGenICamReg(",
                                                   "lsxSetSaturationState",
                                                   "lsxStart()",
                                                   "lsxTriggerFire()",
                                                   "lsxGetFrame",
                                                   "lsxStop",
                                                   "lsxSet(45",
                                                   "lsxWriteGenICamMem",
                                                   "lsxWriteGenICamReg"};
    std::vector<std::string> out;
    for (const std::string& c : calls)
        for (const std::string& n : names)
            if (c.compare(0, n.size(), n) == 0) {
                out.push_back(c.substr(0, c.find(',') == std::string::npos ? c.size() : c.find(',')));
                break;
            }
    return out;
}

}  // namespace

class TestFlatCalls : public QObject, RecordCamHarness {
    Q_OBJECT

    // A server as the harness makes it, with the procedures' settling pauses cut to nothing.
    std::unique_ptr<CameraServer> server()
    {
        auto s = RecordCamHarness::server();
        s->m_pauseScale = 0.0;
        return s;
    }

private slots:
    void initTestCase() { bindRecordCam(); }
    void init() { freshCamera(); }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    void ffcPreparesInItsOrder()
    {
        auto s = server();
        cam().correction.enable = 1;
        cam().correction.mode = LSX_SWITCH_BOTH;
        cam().correction.reserved7[10] = 0x5A;
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->applyFFC(cv::Mat(), cv::Mat(), -1.0f);
        QCOMPARE(reportsOf(info).last().first, 100);
        const std::vector<std::string> expected = {
            "lsxReadGenICamReg(16782880)",  // line count
            "lsxSetTriggerState(true)",     "lsxGet(40)", "lsxGetConfigString(LSC", "lsxSet(40",
            "lsxReadGenICamReg(16777764)",  // DOffset
            "lsxSetSaturationState(false)", "lsxStart()", "lsxTriggerFire()",       "lsxGetFrame(3000)", "lsxStop()"};
        QCOMPARE(story(cam().calls), expected);
        // The measurement with the camera's flat field off; the rest of the record as it was.
        QCOMPARE(int(cam().correction.enable), 1);  // lens shading stays on: "LSC" is not "Disable"
        QCOMPARE(int(cam().correction.mode), int(LSX_SWITCH_LENS_ONLY));
        QCOMPARE(int(cam().correction.reserved7[10]), 0x5A);
    }

    void lscPreparesInItsOrder()
    {
        auto s = server();
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->applyLSC(-1.0f);
        const std::vector<std::string> expected = {"lsxGet(40)",
                                                   "lsxGetConfigString(PRNUC",
                                                   "lsxSet(40",
                                                   "lsxSetTriggerState(true)",
                                                   "lsxReadGenICamReg(16777764)",
                                                   "lsxSetSaturationState(false)",
                                                   "lsxStart()",
                                                   "lsxTriggerFire()",
                                                   "lsxGetFrame(3000)",
                                                   "lsxStop()"};
        QCOMPARE(story(cam().calls), expected);
        QCOMPARE(int(cam().correction.enable), 1);
        QCOMPARE(int(cam().correction.mode), int(LSX_SWITCH_FLAT_ONLY));
        QCOMPARE(reportsOf(info).last().first, 100);
        QCOMPARE(s->m_lscPolyList.size(), 1);
    }

    void ffcWriteDownSwitchesThroughDisable()
    {
        auto s = server();
        lsxRegion roi{};
        roi.W = 8;
        roi.H = 8;
        cam().roi = roi;
        s->m_ffcKList = {QList<double>(8, 1.25)};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->ffcWriteDown(0, QStringLiteral("UserSet2"));
        // The record as the camera took it: a flat-field record, the size argument the head's.
        QCOMPARE(cam().fpnRecords.size(), size_t(1));
        lsxFpnHeader head{};
        std::memcpy(&head, cam().fpnRecords[0].data(), sizeof head);
        QCOMPARE(head.type, uint32_t(LSX_FPN_FLATFIELD));
        QCOMPARE(toList(cam().callsOf("lsxSet(45")), (QStringList{"lsxSet(45,40)"}));
        // First the set is chosen and its memory read into the backup; then the record, and the
        // selection through "Disable".
        const std::vector<std::string> expected = {"lsxGetConfigString(PRNUC",
                                                   "lsxSetConfigString(PRNUC",
                                                   "lsxSet(45",
                                                   "lsxSetConfigString(PRNUC",
                                                   "lsxSetConfigString(PRNUC",
                                                   "lsxGet(40)",
                                                   "lsxGetConfigString(LSC",
                                                   "lsxSet(40"};
        QCOMPARE(story(cam().calls), expected);
        const std::vector<std::string> sets = cam().callsOf("lsxSetConfigString(PRNUC");
        QCOMPARE(sets,
                 (std::vector<std::string>{"lsxSetConfigString(PRNUC,UserSet2)", "lsxSetConfigString(PRNUC,Disable)",
                                           "lsxSetConfigString(PRNUC,UserSet2)"}));
        QCOMPARE(cam().count("lsxReadGenICamMem"), 1);
        QCOMPARE(int(cam().correction.enable), 1);
        QCOMPARE(int(cam().correction.mode), int(LSX_SWITCH_BOTH));
        QList<Report> reports = reportsOf(info);
        QVERIFY(!reports.isEmpty());
        const Report backup = reports.takeFirst();
        QCOMPARE(backup.first, 5);
        QVERIFY2(backup.second.startsWith(QStringLiteral("写入前已将相机参数组 UserSet2 备份到 ")),
                 qPrintable(backup.second));
        QCOMPARE(reports, (QList<Report>{{99, QStringLiteral("FFC参数成功写入")},
                                         {99, QStringLiteral("\nFFC参数组设为UserSet2.")},
                                         {100, QStringLiteral("\nFFC使能成功。")}}));
    }

    // The head's PixelMax out of its range: refused before the set is chosen or backed up.
    void ffcWriteDownRefusesASettingOutOfRange()
    {
        auto s = server();
        lsxRegion roi{};
        roi.W = 8;
        cam().roi = roi;
        s->m_ffcKList = {QList<double>(8, 1.25)};
        store(FpnIni::PixelMax, QStringLiteral("1e308"));
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->ffcWriteDown(0, QStringLiteral("UserSet2"));
        QCOMPARE(reportsOf(info).last(),
                 Report(101, QStringLiteral("设置 Params/PixelMax 的值 \"1e308\" 超出范围，应在 [2, 255] 之内。")));
        for (const std::string& call : cam().calls) QVERIFY2(call.rfind("lsxSet", 0) != 0, call.c_str());
        QVERIFY(cam().fpnRecords.empty());
    }

    void ffcWriteDownEndsAtTheFirstSelectionFailure()
    {
        auto s = server();
        lsxRegion roi{};
        roi.W = 8;
        cam().roi = roi;
        s->m_ffcKList = {QList<double>(8, 1.25)};
        cam().faults["lsxSet"] = RecordCam::Fault{0, LSX_OK, 1};
        // The selection of the set to back it up passes; the switch to "Disable" does not.
        cam().faults["lsxSetConfigString"] = RecordCam::Fault{1, -5, 1};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->ffcWriteDown(0, QStringLiteral("UserSet2"));
        QCOMPARE(
            reportsOf(info).last(),
            Report(101, QStringLiteral("\n切换Disable失败失败，失败原因：-5-%1。请手动重试。").arg(statusText(-5))));
        QCOMPARE(cam().count("lsxSetConfigString"), 2);
        QCOMPARE(cam().count("lsxGet"), 0);
    }

    void framesTheRunsCannotUse_data()
    {
        QTest::addColumn<int>("format");
        QTest::addColumn<int>("bits");
        QTest::addColumn<int>("progress");
        QTest::addColumn<QString>("message");
        const QString format = QStringLiteral("不支持的图像格式，仅支持 FORMAT_MONO & FORMAT_BGR24 & FORMAT_RGB24.");
        QTest::newRow("mono of 12 bits") << 0 << 1 << 101
                                         << QStringLiteral(
                                                "没有用于平场校正的图像。请加载本地图像或打开相机采集图像。");
        QTest::newRow("format 12") << 12 << 0 << 90 << format;
    }

    void framesTheRunsCannotUse()
    {
        QFETCH(int, format);
        QFETCH(int, bits);
        QFETCH(int, progress);
        QFETCH(QString, message);
        auto s = server();
        s->m_ffcKList = {QList<double>(8, 1.5)};
        cam().frame = [format, bits](RecordCam&, lsxFrame& f, std::vector<uint8_t>& buffer) {
            f.format = uint32_t(format);
            f.bits = uint32_t(bits);
            f.width = 8;
            f.height = 8;
            buffer.assign(128, 100);
            f.size = 128;
            return LSX_OK;
        };
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QSignalSpy finished(s.get(), &CameraServer::OS_FFCFinished);
        s->applyFFC(cv::Mat(), cv::Mat(), -1.0f);
        QCOMPARE(reportsOf(info).last(), Report(progress, message));
        QCOMPARE(finished.count(), 0);
        QCOMPARE(s->m_ffcKList, (QList<QList<double>>{QList<double>(8, 1.5)}));
        QCOMPARE(cam().callsOf("lsxStop").size(), size_t(1));
    }
};

QTEST_GUILESS_MAIN(TestFlatCalls)
#include "test_flat_calls.moc"

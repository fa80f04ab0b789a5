// The calibration preparation, the DOffset operations and the dark-field procedure against a camera
// library that records every call: the exact call sequences, the DOffset walks, every failure
// with its words, and the B rows a run leaves. The procedures are called directly on the test's
// thread (the worker is idle), so their reports arrive in order on a plain QSignalSpy.
#include "calibration/recordharness.h"

#include "statustext.h"

#include <QSignalSpy>

namespace {

// The calls of the seventeen steps that switch the camera's image processing off, for a camera
// whose colour solutions are `solutions`, "user" at index `userAt` (-1: none).
QStringList ispCalls(int solutions, int userAt)
{
    QStringList calls{"lsxSetSaturationState(false)",
                      "lsxSetColorTemperatureState(false)",
                      "lsxSetBayerDecodeSel(0)",
                      "lsxSetGammaState(false)",
                      "lsxSetContrastState(false)",
                      "lsxSetBlackLevelState(false)",
                      "lsxSetNoiseReduct2dState(false)",
                      "lsxSetNoiseReduct3dState(false)",
                      "lsxSetSharpnessState(false)",
                      "lsxSetFlipHorizontalState(false)",
                      "lsxSetMonoState(false)",
                      "lsxSetInverseState(false)",
                      "lsxSetConfigString(ReverseX,false)",
                      "lsxSetConfigString(SCS.LineShift,0)",
                      "lsxSetBoolValue(CCMEnable,false)"};
    const int last = userAt >= 0 ? userAt : solutions;
    for (int i = 0; i <= last; ++i) calls.append(QStringLiteral("lsxGetColorSolutionSelDetail(%1)").arg(i));
    if (userAt >= 0) calls.append(QStringLiteral("lsxSetColorSolutionSel(%1)").arg(userAt));
    calls.append("lsxSetUserColorMatrix()");
    return calls;
}

// The reports of a DOffset walk without the line each trial shows.
QList<Report> withoutTrials(const QList<Report>& reports)
{
    QList<Report> out;
    for (const Report& r : reports)
        if (!r.second.startsWith(QStringLiteral("检测DOffset-DOffset为"))) out.append(r);
    return out;
}

}  // namespace

class TestDarkField : public QObject, RecordCamHarness {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        bindRecordCam();
        // A real camera library offers no scene.
        QVERIFY(!lsx::hasSceneControl());
    }

    void init() { freshCamera(); }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    // ---- Preparation ----

    void ispOffInItsOrder()
    {
        auto s = server();
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->disableSoftIsp();
        QCOMPARE(toList(cam().calls), ispCalls(3, 2));
        QCOMPARE(reportsOf(info),
                 (QList<Report>{{10, QStringLiteral("正在关闭色彩、翻转等相关设置...\n可在操作结束后恢复。")}}));
        // An identity in the first 12 numbers.
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 3; ++c) QCOMPARE(cam().lastMatrix.m[r][c], (r == c) ? 1.0f : 0.0f);
    }

    void colourSolutionSearch_data()
    {
        QTest::addColumn<QStringList>("solutions");
        QTest::addColumn<int>("userAt");
        QTest::newRow("none") << QStringList{"Standard", "Vivid"} << -1;
        QTest::newRow("capitals") << QStringList{"Standard", "USER-DEFINED", "user2"} << 1;
        QTest::newRow("first") << QStringList{"MyUser"} << 0;
        QTest::newRow("empty list") << QStringList{} << -1;
    }

    void colourSolutionSearch()
    {
        QFETCH(QStringList, solutions);
        QFETCH(int, userAt);
        auto s = server();
        cam().colorSolutions.clear();
        for (const QString& t : solutions) cam().colorSolutions.push_back(t.toStdString());
        s->disableSoftIsp();
        QCOMPARE(toList(cam().calls), ispCalls(int(solutions.size()), userAt));
    }

    void ispLeftAloneOnTheTvk317()
    {
        auto s = server();
        s->m_isLinescan = false;
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->disableSoftIsp();
        QVERIFY(cam().calls.empty());
        QCOMPARE(info.count(), 0);
    }

    void softTrigger()
    {
        auto s = server();
        cam().triggerSource = 2;
        cam().trigger = false;
        QCOMPARE(s->enableSoftTrigger(), LSX_OK);
        QCOMPARE(toList(cam().calls), (QStringList{"lsxGetTriggerSource()", "lsxSetTriggerSource(0)",
                                                   "lsxGetTriggerState()", "lsxSetTriggerState(true)"}));
        cam().calls.clear();
        QCOMPARE(s->enableSoftTrigger(), LSX_OK);
        QCOMPARE(toList(cam().calls), (QStringList{"lsxGetTriggerSource()", "lsxGetTriggerState()"}));
    }

    void softTriggerHandsOnTheFirstFailure()
    {
        auto s = server();
        cam().triggerSource = 1;
        cam().faults["lsxSetTriggerSource"] = {0, -53, 0};
        QCOMPARE(s->enableSoftTrigger(), -53);
        QCOMPARE(toList(cam().calls), (QStringList{"lsxGetTriggerSource()", "lsxSetTriggerSource(0)"}));
        cam().faults.clear();
        cam().faults["lsxSetTriggerState"] = {0, -4, 0};
        QCOMPARE(s->enableSoftTrigger(), -4);
    }

    void roiHeightThatFitsIsNotWritten()
    {
        auto s = server();
        cam().roi = {0, 0, 8, 1000, {}};
        QVERIFY(s->fpnRoiCheck(1000));
        QCOMPARE(cam().count("lsxSetRoi"), 0);
        QCOMPARE(toList(cam().calls), (QStringList{"lsxGetRoiState()", "lsxGetRoi()"}));
    }

    void roiHeightWrittenWithTheRestAsRead()
    {
        auto s = server();
        cam().roi = {16, 2, 512, 8, {}};
        QVERIFY(s->fpnRoiCheck(4000));
        QCOMPARE(toList(cam().callsOf("lsxSetRoi")), (QStringList{"lsxSetRoi(16,2,512,4000)"}));
        // A line-scan camera has no cap.
        QVERIFY(s->fpnRoiCheck(100000));
        QCOMPARE(cam().roi.H, 100000);
    }

    void roiOffIsReadAllTheSame()
    {
        auto s = server();
        cam().roiOn = false;
        QVERIFY(s->fpnRoiCheck(1000));
        QCOMPARE(toList(cam().calls), (QStringList{"lsxGetRoiState()", "lsxGetRoi()", "lsxSetRoi(0,0,0,1000)"}));
    }

    void areaCameraCappedBySensor()
    {
        auto s = server();
        s->m_isLinescan = false;
        cam().sensorMaxHeight = 8;
        cam().roi = {0, 0, 1024, 4, {}};
        QVERIFY(s->fpnRoiCheck(1000));
        QCOMPARE(toList(cam().callsOf("lsxSetRoi")), (QStringList{"lsxSetRoi(0,0,1024,8)"}));
        cam().faults["lsxGetSensorInfo"] = {0, -2, 0};
        QVERIFY(!s->fpnRoiCheck(1000));
    }

    void roiFailures()
    {
        auto s = server();
        cam().faults["lsxGetRoiState"] = {0, -1104, 1};
        QVERIFY(!s->fpnRoiCheck(1000));
        QCOMPARE(cam().count("lsxGetRoi"), 0);
        cam().faults["lsxGetRoi"] = {0, -13, 1};
        QVERIFY(!s->fpnRoiCheck(1000));
        cam().faults["lsxSetRoi"] = {0, -5, 1};
        QVERIFY(!s->fpnRoiCheck(1000));
    }

    // ---- DOffset: reading, applying ----

    void readByRegister_data()
    {
        QTest::addColumn<uint32_t>("word");
        QTest::addColumn<int>("value");
        QTest::newRow("200") << 200u << -56;
        QTest::newRow("128") << 128u << 128;
        QTest::newRow("7") << 7u << 7;
    }

    void readByRegister()
    {
        QFETCH(uint32_t, word);
        QFETCH(int, value);
        auto s = server();
        s->m_hasBlackLevelReg = false;
        cam().blackLevelReg = word;
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QCOMPARE(s->fpnReadDoffset(), LSX_OK);
        QVERIFY(s->m_hasBlackLevelReg);
        QCOMPARE(reportsOf(info), (QList<Report>{{10, QStringLiteral("当前DOffset为：%1.").arg(value)}}));
        QCOMPARE(setting(FpnIni::DOffset).toInt(), value);
        QCOMPARE(cam().count("lsxGet"), 0);
    }

    void readBySensorRegisters_data()
    {
        QTest::addColumn<uint32_t>("magnitude");
        QTest::addColumn<uint32_t>("sign");
        QTest::addColumn<int>("value");
        QTest::newRow("200") << 200u << 0u << -56;
        QTest::newRow("128") << 128u << 0u << 128;
        QTest::newRow("-5") << 5u << 8u << -5;
    }

    void readBySensorRegisters()
    {
        QFETCH(uint32_t, magnitude);
        QFETCH(uint32_t, sign);
        QFETCH(int, value);
        auto s = server();
        cam().blackLevelReg = LSX_REG_UNSUPPORTED;
        cam().reg83 = magnitude;
        cam().reg84 = sign;
        QCOMPARE(s->fpnReadDoffset(), LSX_OK);
        QVERIFY(!s->m_hasBlackLevelReg);
        QCOMPARE(toList(cam().calls), (QStringList{"lsxReadGenICamReg(16777764)", "lsxGet(129,83)", "lsxGet(129,84)"}));
        QCOMPARE(setting(FpnIni::DOffset).toInt(), value);
    }

    void readFailureStoresNothing()
    {
        auto s = server();
        cam().blackLevelReg = LSX_REG_UNSUPPORTED;
        store(FpnIni::DOffset, 9);
        cam().faults["lsxGet"] = {1, -1104, 0};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QCOMPARE(s->fpnReadDoffset(), -1104);
        QCOMPARE(info.count(), 0);
        QCOMPARE(setting(FpnIni::DOffset).toInt(), 9);
    }

    void camerasWithoutDoffsetAreLeftAlone_data()
    {
        QTest::addColumn<bool>("linescan");
        QTest::addColumn<QString>("model");
        QTest::newRow("not line-scan") << false << "LSREC";
        QTest::newRow("listed model") << true << "XX-TQW4A2N60-B";
    }

    void camerasWithoutDoffsetAreLeftAlone()
    {
        QFETCH(bool, linescan);
        QFETCH(QString, model);
        auto s = server();
        s->m_isLinescan = linescan;
        lsxCameraInfo info = cam().info;
        std::snprintf(info.model, sizeof info.model, "%s", model.toLatin1().constData());
        cameraInfoMap.insert(QStringLiteral("REC-1"), info);
        QSignalSpy reports(s.get(), &CameraServer::OS_FpnInfo);
        QCOMPARE(s->fpnReadDoffset(), LSX_OK);
        QVERIFY(s->fpnSetDoffset());
        QVERIFY(s->fpnDetectDoffset());
        QVERIFY(cam().calls.empty());
        QCOMPARE(reports.count(), 0);
    }

    void listedModelIsCaseSensitive()
    {
        auto s = server();
        lsxCameraInfo info = cam().info;
        std::snprintf(info.model, sizeof info.model, "tqw4a2n60");
        cameraInfoMap.insert(QStringLiteral("REC-1"), info);
        s->fpnSetDoffset();
        QCOMPARE(cam().doffsetWrites, (std::vector<int>{0}));
    }

    void setOnAFreshFileCreatesTheKey()
    {
        auto s = server();
        QVERIFY(!QFile::exists(fpnIniPath()) || !setting(FpnIni::DOffset).isValid());
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(s->fpnSetDoffset());
        QCOMPARE(setting(FpnIni::DOffset), QVariant(0));
        QCOMPARE(toList(cam().calls), (QStringList{"lsxWriteGenICamReg(16777764,0)"}));
        QCOMPARE(reportsOf(info), (QList<Report>{{10, QStringLiteral("DOffset设置为：0.")}}));
    }

    void setBySensorRegisters()
    {
        auto s = server();
        s->m_hasBlackLevelReg = false;
        cam().blackLevelReg = LSX_REG_UNSUPPORTED;
        store(FpnIni::DOffset, -5);
        QVERIFY(s->fpnSetDoffset());
        QCOMPARE(toList(cam().calls), (QStringList{"lsxSet(129,83,5)", "lsxSet(129,84,8)"}));
        QCOMPARE(cam().doffset(), -5);
    }

    void setFailureSkipsTheSignAndStops()
    {
        auto s = server();
        s->m_hasBlackLevelReg = false;
        store(FpnIni::DOffset, 3);
        cam().faults["lsxSet"] = {0, -1104, 1};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(!s->fpnSetDoffset());
        QCOMPARE(toList(cam().calls), (QStringList{"lsxSet(129,83,3)", "lsxStop()"}));
        QCOMPARE(reportsOf(info),
                 (QList<Report>{{101, QStringLiteral("DOffset设置出错，错误原因：-1104-%1.").arg(statusText(-1104))}}));
    }

    // A stored value out of its range is never written: toInt() made 0 of "1e308".
    void storedValueOutOfRangeIsNotWritten()
    {
        auto s = server();
        s->m_hasBlackLevelReg = false;
        store(FpnIni::DOffset, QStringLiteral("1e308"));
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(!s->fpnSetDoffset());
        QCOMPARE(toList(cam().calls), (QStringList{"lsxStop()"}));
        QCOMPARE(reportsOf(info),
                 (QList<Report>{
                     {101, QStringLiteral("设置 Params/DOffset 的值 \"1e308\" 超出范围，应在 [-128, 128] 之内。")}}));
        QCOMPARE(setting(FpnIni::DOffset).toString(), QStringLiteral("1e308"));
    }

    // ---- DOffset: the walk on a camera whose image follows it ----

    void walkJumpsOverZero()
    {
        auto s = server();
        cam().started = true;
        // The darkest column at 5.0 at d = 1, the image falling 1.0 a step down.
        cam().darkLevel = [](int x, int d) { return (x == 3 ? 4.0 : 12.0) + d; };
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(s->fpnDetectDoffset());
        // Trials 1, -1, -2, -3, then the value found is applied.
        QCOMPARE(cam().doffsetWrites, (std::vector<int>{1, -1, -2, -3, -2}));
        QCOMPARE(setting(FpnIni::DOffset).toInt(), -2);
        QCOMPARE(cam().doffset(), -2);
        QCOMPARE(textsOf(withoutTrials(reportsOf(info))), (QStringList{QStringLiteral("DOffset设置为：-2.")}));
        // Each trial shows its value and its darkest and brightest column, in DN10, the bar
        // moving on.
        QCOMPARE(
            reportsOf(info).mid(0, 4),
            (QList<Report>{{3, QStringLiteral("检测DOffset-DOffset为1：最小列均值5.00 DN10，最大列均值13.00 DN10.")},
                           {4, QStringLiteral("检测DOffset-DOffset为-1：最小列均值3.00 DN10，最大列均值11.00 DN10.")},
                           {5, QStringLiteral("检测DOffset-DOffset为-2：最小列均值2.00 DN10，最大列均值10.00 DN10.")},
                           {6, QStringLiteral("检测DOffset-DOffset为-3：最小列均值1.00 DN10，最大列均值9.00 DN10.")}}));
        // One trigger and one frame of 3000 ms per trial, on a ROI of the measurement's height.
        QCOMPARE(cam().count("lsxTriggerFire"), 4);
        QCOMPARE(toList(cam().callsOf("lsxGetFrame")), QStringList(4, "lsxGetFrame(3000)"));
        QCOMPARE(cam().roi.H, 1000);
    }

    void walkUpFromTooDark()
    {
        auto s = server();
        cam().started = true;
        cam().darkLevel = [](int, int d) { return d - 0.5; };
        QVERIFY(s->fpnDetectDoffset());
        QCOMPARE(cam().doffsetWrites, (std::vector<int>{1, 2, 1, 2}));
        QCOMPARE(setting(FpnIni::DOffset).toInt(), 2);
    }

    void walkFromTooBrightTriesZero()
    {
        auto s = server();
        cam().started = true;
        // The brightest column at 66 at d = 1; the darkest far above 1.
        cam().darkLevel = [](int x, int d) { return (x == 0 ? 65.0 : 30.0) + d; };
        QVERIFY(s->fpnDetectDoffset());
        QCOMPARE(std::vector<int>(cam().doffsetWrites.begin(), cam().doffsetWrites.begin() + 4),
                 (std::vector<int>{1, 0, -1, -2}));
        QCOMPARE(setting(FpnIni::DOffset).toInt(), -28);
    }

    void walkBoundedTo127WhileTheLimitIs200()
    {
        auto s = server();
        s->m_maxB = 200;
        cam().started = true;
        // A dead column at 0 and a bright one at 150 whatever the DOffset: below 200, never above 1.
        cam().darkLevel = [](int x, int) { return x == 0 ? 0.0 : 150.0; };
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(!s->fpnDetectDoffset());
        // Every trial from 1 to 127, then the value stored given to the camera.
        QCOMPARE(cam().doffsetWrites.size(), size_t(128));
        QCOMPARE(cam().doffsetWrites.at(126), 127);
        QCOMPARE(cam().doffsetWrites.back(), 126);
        QCOMPARE(cam().doffset(), 126);
        QCOMPARE(withoutTrials(reportsOf(info)),
                 (QList<Report>{
                     {101, QStringLiteral("检测DOffset出错，使用最大DOffset也无法满足条件，请手动输入数值重试。")}}));
        // The bar stops short of the measurement's 20.
        QCOMPARE(reportsOf(info).at(125).first, 19);
        QCOMPARE(setting(FpnIni::DOffset).toInt(), 126);
        QCOMPARE(cam().calls.back(), std::string("lsxStop()"));
    }

    void darkroomFailureAt65()
    {
        auto s = server();
        cam().started = true;
        cam().darkLevel = [](int x, int) { return x == 5 ? 70.0 : 20.0; };
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(!s->fpnDetectDoffset());
        QCOMPARE(cam().doffsetWrites.front(), 1);
        // The trials down to -64, then the value stored given to the camera.
        QCOMPARE(cam().doffsetWrites.at(65), -64);
        QCOMPARE(cam().doffsetWrites.back(), -63);
        QCOMPARE(cam().doffsetWrites.size(), size_t(67));
        QCOMPARE(cam().doffset(), -63);
        QCOMPARE(withoutTrials(reportsOf(info)),
                 (QList<Report>{{101, QStringLiteral("检测DOffset出错，环境亮度太高，请在暗场下执行暗场校正。")}}));
        QCOMPARE(setting(FpnIni::DOffset).toInt(), -63);
    }

    void walkEndsOnTheValueOnTrial_data()
    {
        QTest::addColumn<QString>("cause");
        QTest::newRow("trigger") << "trigger";
        QTest::newRow("frame") << "frame";
        QTest::newRow("format") << "format";
        QTest::newRow("cancel") << "cancel";
    }

    void walkEndsOnTheValueOnTrial()
    {
        QFETCH(QString, cause);
        auto s = server();
        cam().started = true;
        cam().darkLevel = [](int, int d) { return 20.0 + d; };  // would walk down for a long time
        auto frames = cam().frame;
        int calls = 0;
        cam().frame = [&, frames](RecordCam& c, lsxFrame& f, std::vector<uint8_t>& b) {
            const lsxStatus st = frames(c, f, b);
            if (++calls == 3) {
                if (cause == "frame") return lsxStatus(LSX_ERR_TIMEOUT);
                if (cause == "format") f.format = 99;
                if (cause == "cancel") s->cancel();
            }
            return st;
        };
        if (cause == "trigger") cam().faults["lsxTriggerFire"] = {2, -10, 0};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(s->fpnDetectDoffset());
        // The trials ran 1, -1, -2; a cancel is seen before the next trial, a bad frame at once.
        const int onTrial = cause == "cancel" ? -3 : -2;
        QCOMPARE(setting(FpnIni::DOffset).toInt(), onTrial);
        QCOMPARE(cam().doffset(), onTrial);
        QStringList expected;
        if (cause == "format")
            expected << QStringLiteral("不支持的图像格式，仅支持 FORMAT_MONO & FORMAT_BGR24 & FORMAT_RGB24.");
        expected << QStringLiteral("DOffset设置为：%1.").arg(onTrial);
        QCOMPARE(textsOf(withoutTrials(reportsOf(info))), expected);
        if (cause == "format") QCOMPARE(withoutTrials(reportsOf(info)).first().first, 90);
    }

    void walkWriteFailureStops()
    {
        auto s = server();
        store(FpnIni::DOffset, 17);
        cam().started = true;
        cam().faults["lsxWriteGenICamReg"] = {1, -5, 0};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(!s->fpnDetectDoffset());
        QCOMPARE(withoutTrials(reportsOf(info)),
                 (QList<Report>{{101, QStringLiteral("DOffset设置出错，错误原因：-5-%1.").arg(statusText(-5))}}));
        QCOMPARE(setting(FpnIni::DOffset).toInt(), 17);
        QCOMPARE(cam().calls.back(), std::string("lsxStop()"));
    }

    // A hot column more than the DOffset's window above the darkest: no value can hold both ends,
    // and the walk says so at its first frame, naming the column, its level and the exposure.
    void hotColumnFailsTheWalkAtOnce()
    {
        auto s = server();
        store(FpnIni::DOffset, 5);
        cam().started = true;
        cam().roi.W = 200;
        cam().exposure = 300.0;
        cam().darkLevel = [](int x, int d) { return (x == 2 ? 100.0 : 4.0) + d; };
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(!s->fpnDetectDoffset());
        QCOMPARE(
            reportsOf(info),
            (QList<Report>{{3, QStringLiteral("检测DOffset-DOffset为1：最小列均值5.00 DN10，最大列均值101.00 DN10.")},
                           {101, QStringLiteral("检测DOffset出错：曝光时间 300 us 下第 2 列（101.0 DN10）的暗电平过高，"
                                                "任何DOffset都无法同时使最暗列高于 1 DN10、最亮列低于限制值 64 DN10。"
                                                "这些列的暗电流随曝光时间增长，请缩短曝光时间后重试。")}}));
        // One frame; the stored value kept, and the camera given it back.
        QCOMPARE(cam().count("lsxGetFrame"), 1);
        QCOMPARE(setting(FpnIni::DOffset).toInt(), 5);
        QCOMPARE(cam().doffset(), 5);
        QVERIFY(cam().count("lsxStop") == 1);
    }

    // The walk finds that the value whose darkest column lies at its floor is the last one under
    // the limit, and fails naming the column above it.
    void walkEndingAtTheFloorFails()
    {
        auto s = server();
        store(FpnIni::DOffset, 5);
        cam().started = true;
        cam().roi.W = 200;
        // At 1 the darkest column lies at 0.8, under its floor, and column 7 at 63.5: a spread of
        // 62.7 that a DOffset could take, were the steps finer.
        cam().darkLevel = [](int x, int d) { return (x == 7 ? 62.5 : -0.2) + d; };
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(!s->fpnDetectDoffset());
        // 2 puts column 7 above the limit; the stored value back.
        QCOMPARE(cam().doffsetWrites, (std::vector<int>{1, 2, 5}));
        QCOMPARE(
            withoutTrials(reportsOf(info)),
            (QList<Report>{{101, QStringLiteral("检测DOffset出错：曝光时间 100 us 下第 7 列（64.5 DN10）的暗电平过高，"
                                                "任何DOffset都无法同时使最暗列高于 1 DN10、最亮列低于限制值 64 DN10。"
                                                "这些列的暗电流随曝光时间增长，请缩短曝光时间后重试。")}}));
        QCOMPARE(setting(FpnIni::DOffset).toInt(), 5);
    }

    // Half the columns that high are the scene's light: the dark field's own words for it.
    void manyColumnsAtTheFloorAreTheLight()
    {
        auto s = server();
        store(FpnIni::DOffset, 5);
        cam().started = true;
        cam().roi.W = 200;
        cam().darkLevel = [](int x, int d) { return (x % 2 ? 60.0 : -5.0) + d; };
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(!s->fpnDetectDoffset());
        QCOMPARE(withoutTrials(reportsOf(info)),
                 (QList<Report>{{101, QStringLiteral("检测DOffset出错，环境亮度太高，请在暗场下执行暗场校正。")}}));
        QCOMPARE(setting(FpnIni::DOffset).toInt(), 5);
        // The camera holds the stored value, not the one on trial.
        QCOMPARE(cam().doffset(), 5);
        QCOMPARE(cam().calls.back(), std::string("lsxStop()"));
        // A spread too wide at the first frame from many columns is not refused at once either.
        auto t = server();
        cam().started = true;
        cam().darkLevel = [](int x, int d) { return (x % 2 ? 120.0 : 4.0) + d; };
        QSignalSpy again(t.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(!t->fpnDetectDoffset());
        QCOMPARE(withoutTrials(reportsOf(again)),
                 (QList<Report>{{101, QStringLiteral("检测DOffset出错，环境亮度太高，请在暗场下执行暗场校正。")}}));
    }

    // The stored value that the camera will not take back is told with its status.
    void walkFailureWriteBackFailureTold()
    {
        auto s = server();
        s->m_maxB = 200;
        cam().started = true;
        cam().darkLevel = [](int x, int) { return x == 0 ? 0.0 : 150.0; };
        cam().faults["lsxWriteGenICamReg"] = {127, -5, 1};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(!s->fpnDetectDoffset());
        QCOMPARE(withoutTrials(reportsOf(info)),
                 (QList<Report>{
                     {101, QStringLiteral("检测DOffset出错，使用最大DOffset也无法满足条件，请手动输入数值重试。")},
                     {101, QStringLiteral("DOffset设置出错，错误原因：-5-%1.").arg(statusText(-5))}}));
        QCOMPARE(cam().calls.back(), std::string("lsxStop()"));
    }

    void walkWithoutTheRoiSaysNothing()
    {
        auto s = server();
        store(FpnIni::DOffset, 17);
        cam().faults["lsxSetRoi"] = {0, -5, 0};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(!s->fpnDetectDoffset());
        QCOMPARE(info.count(), 0);
        QCOMPARE(setting(FpnIni::DOffset).toInt(), 17);
        QVERIFY(cam().doffsetWrites.empty());
    }

    void walkBySensorRegisters()
    {
        auto s = server();
        s->m_hasBlackLevelReg = false;
        cam().blackLevelReg = LSX_REG_UNSUPPORTED;
        cam().started = true;
        cam().darkLevel = [](int x, int d) { return (x == 3 ? 4.0 : 12.0) + d; };
        QVERIFY(s->fpnDetectDoffset());
        QCOMPARE(cam().doffsetWrites, (std::vector<int>{1, -1, -2, -3, -2}));
        QCOMPARE(cam().callsOf("lsxSet(129,84")[1], std::string("lsxSet(129,84,8)"));
    }

    // ---- Open ----

    void openReadsTheDoffsetOfALineScanCamera()
    {
        cam().blackLevelReg = 200;
        {
            CameraServer s;
            s.enumerate();
            s.open(QStringLiteral("REC-1"));
            QVERIFY(s.m_opened);
            QCOMPARE(setting(FpnIni::DOffset).toInt(), -56);
            QVERIFY(s.m_hasBlackLevelReg);
        }
        m_reset();
        std::snprintf(cam().info.cameraType, sizeof cam().info.cameraType, "Generic");
        cam().blackLevelReg = 200;
        store(FpnIni::DOffset, 4);
        CameraServer s;
        s.enumerate();
        s.open(QStringLiteral("REC-1"));
        QVERIFY(s.m_opened);
        QCOMPARE(setting(FpnIni::DOffset).toInt(), 4);
        QCOMPARE(cam().count("lsxReadGenICamReg"), 0);
    }

    // ---- Dark field ----

    void darkFieldCallSequence()
    {
        auto s = server();
        store(FpnIni::DOffset, 3);
        cam().roi = {0, 0, 8, 1000, {}};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        const QStringList calls = toList(cam().calls);
        QStringList expected{"lsxReadGenICamReg(16782880)",
                             "lsxSet(46,false,0)",
                             "lsxGet(40)",
                             "lsxSet(40,0)",
                             "lsxGetSourceFormat()",
                             "lsxGetTargetFormat()",
                             "lsxSetSourceFormat(2)",
                             "lsxSetTargetFormat(34)",
                             "lsxGetTriggerSource()",
                             "lsxSetTriggerSource(0)",
                             "lsxGetTriggerState()",
                             "lsxSetTriggerState(true)",
                             "lsxSetConfigString(LineRate,10000)",
                             "lsxSetRgbGain(1,1,1)"};
        expected << ispCalls(3, 2);
        expected << "lsxStart()"
                 << "lsxGetExposure()"
                 << "lsxGetExposureDescr()"
                 << "lsxSetAnalogGain(1)"
                 << "lsxWriteGenICamReg(16777764,3)"
                 << "lsxGetRoiState()"
                 << "lsxGetRoi()"
                 << "lsxTriggerFire()"
                 << "lsxGetFrame(3000)"
                 // The second dark at the shortest exposure, its first frame let pass, then the
                 // working exposure again.
                 << "lsxSetExposure(2)"
                 << "lsxTriggerFire()"
                 << "lsxGetFrame(3000)"
                 << "lsxTriggerFire()"
                 << "lsxGetFrame(3000)"
                 << "lsxSetExposure(100)"
                 << "lsxStop()";
        QCOMPARE(calls, expected);
        // The flat field went off with the rest of its block written back as read.
        QCOMPARE(int(cam().correction.enable), 0);
        QVERIFY(!cam().fpnEnable);
        QCOMPARE(
            textsOf(reportsOf(info)),
            (QStringList{QStringLiteral("正在关闭色彩、翻转等相关设置...\n可在操作结束后恢复。"),
                         QStringLiteral("暗场校正-增益范围 : [1, 1]"), QStringLiteral("暗场校正-增益设为 1."),
                         QStringLiteral("DOffset设置为：3."), QStringLiteral("\n"),
                         QStringLiteral("暗场校正-最小列均值为1.75，最大列均值为1.75."), QStringLiteral("\n"),
                         QStringLiteral("暗场校正-抓图完成."), QStringLiteral("暗场校正-增益为 1 暗场校正完成.\n"),
                         QStringLiteral(
                             "暗场校正-暗电流：曝光时间 100 us 与 2 us 的暗场之差，最大 0.0 DN10/ms（黑白 第 0 列）。"),
                         QStringLiteral("暗场校正-暗场校正执行完成。")}));
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports[1].first, 1);
        QCOMPARE(reports[2].first, 2);
        QCOMPARE(reports.last().first, 100);
        // B of the one plane: (4 + 3) * 64, raw 16-bit units.
        QCOMPARE(s->m_bList.size(), 1);
        QCOMPARE(s->m_bList[0], QList<double>(8, 448.0));
        QCOMPARE(s->m_incBList, QList<double>{0.0});
        QCOMPARE(s->m_frameBits, 2);
    }

    void formatFixes_data()
    {
        QTest::addColumn<int>("source");
        QTest::addColumn<int>("target");
        QTest::addColumn<QStringList>("writes");
        QTest::newRow("8-bit mono") << 0 << 0 << QStringList{"lsxSetSourceFormat(2)", "lsxSetTargetFormat(34)"};
        QTest::newRow("target 30") << 2 << 30 << QStringList{"lsxSetTargetFormat(34)"};
        QTest::newRow("16-bit mono") << 2 << 34 << QStringList{};
        QTest::newRow("BGR to RGB") << 10 << 14 << QStringList{"lsxSetTargetFormat(10)"};
        QTest::newRow("RGB to BGR") << 14 << 10 << QStringList{"lsxSetSourceFormat(10)"};
        QTest::newRow("RGB to RGB") << 14 << 14 << QStringList{};
    }

    void formatFixes()
    {
        QFETCH(int, source);
        QFETCH(int, target);
        QFETCH(QStringList, writes);
        auto s = server();
        cam().source = source;
        cam().target = target;
        // The preparation alone: the first gain is refused by the camera.
        cam().faults["lsxSetAnalogGain"] = {0, -1104, 0};
        s->dsnuStart(false);
        QStringList seen = toList(cam().callsOf("lsxSetSourceFormat"));
        seen << toList(cam().callsOf("lsxSetTargetFormat"));
        std::sort(seen.begin(), seen.end());
        std::sort(writes.begin(), writes.end());
        QCOMPARE(seen, writes);
    }

    void multiLevelCameraAtFullResolution()
    {
        auto s = server();
        s->m_supportMLK = 1;
        // The preparation alone: the first gain is refused by the camera.
        cam().faults["lsxSetAnalogGain"] = {0, -1104, 0};
        s->dsnuStart(false);
        QCOMPARE(toList(cam().callsOf("lsxSetResolutionModeSel")), QStringList{"lsxSetResolutionModeSel(0)"});
        auto plain = server();
        plain->dsnuStart(false);
        QCOMPARE(cam().count("lsxSetResolutionModeSel"), 0);
    }

    void flatFieldAlreadyOffIsNotWritten()
    {
        auto s = server();
        cam().correction.enable = 0;
        // The preparation alone: the first gain is refused by the camera.
        cam().faults["lsxSetAnalogGain"] = {0, -1104, 0};
        s->dsnuStart(false);
        QCOMPARE(cam().count("lsxGet"), 1);
        QCOMPARE(toList(cam().callsOf("lsxSet(40")), QStringList{});
    }

    void failuresBeforeTheStream_data()
    {
        QTest::addColumn<QString>("op");
        QTest::addColumn<int>("after");
        QTest::addColumn<QString>("text");
        QTest::newRow("FPN off") << "lsxSet" << 0 << "暗场校正-关闭FPN功能出错，错误原因：%1-%2.";
        QTest::newRow("flat-field read") << "lsxGet" << 0 << "暗场校正-获取平场使能参数出错，错误原因：%1-%2.";
        QTest::newRow("flat field off") << "lsxSet" << 1 << "暗场校正-关闭平场使能出错，错误原因：%1-%2.";
        QTest::newRow("soft trigger") << "lsxGetTriggerSource" << 0 << "暗场校正-使能软触发出错，错误原因：%1-%2.";
        QTest::newRow("stream") << "lsxStart" << 0 << "暗场校正-启动视频流出错，错误原因：%1-%2.";
    }

    void failuresBeforeTheStream()
    {
        QFETCH(QString, op);
        QFETCH(int, after);
        QFETCH(QString, text);
        auto s = server();
        s->m_bList = {{1.0}};
        s->m_darkFromCamera = true;
        cam().faults[op.toStdString()] = {after, -1104, 0};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        // Only the specific message: the stream was never started, nor stopped.
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports.last(), Report(101, text.arg(-1104).arg(statusText(-1104))));
        QCOMPARE(failures(reports), 1);
        QCOMPARE(cam().count("lsxStop"), 0);
        QCOMPARE(cam().count("lsxSetAnalogGain"), 0);
        QVERIFY(s->m_bList.isEmpty());
        QVERIFY(s->m_darkFromCamera);
    }

    void streamAnswerAboveOneIsSuccess()
    {
        auto s = server();
        cam().faults["lsxStart"] = {0, 2, 0};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        QCOMPARE(reportsOf(info).last().first, 100);
    }

    void gainRange_data()
    {
        QTest::addColumn<QVariant>("gainMin");
        QTest::addColumn<QVariant>("gainMax");
        QTest::addColumn<QStringList>("gains");
        QTest::addColumn<QString>("range");
        QTest::newRow("fresh file") << QVariant() << QVariant() << QStringList{"lsxSetAnalogGain(1)"} << "[1, 1]";
        QTest::newRow("1 to 2.5") << QVariant(1.0) << QVariant(2.5)
                                  << QStringList{"lsxSetAnalogGain(1)", "lsxSetAnalogGain(2)"} << "[1, 2.5]";
        QTest::newRow("1 to 3") << QVariant(1.0) << QVariant(3.0)
                                << QStringList{"lsxSetAnalogGain(1)", "lsxSetAnalogGain(2)", "lsxSetAnalogGain(3)"}
                                << "[1, 3]";
    }

    void gainRange()
    {
        QFETCH(QVariant, gainMin);
        QFETCH(QVariant, gainMax);
        QFETCH(QStringList, gains);
        QFETCH(QString, range);
        if (gainMin.isValid()) store(FpnIni::GainMin, gainMin);
        if (gainMax.isValid()) store(FpnIni::GainMax, gainMax);
        auto s = server();
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        QCOMPARE(toList(cam().callsOf("lsxSetAnalogGain")), gains);
        QVERIFY(reportsOf(info).contains(Report(1, QStringLiteral("暗场校正-增益范围 : ") + range)));
        QCOMPARE(reportsOf(info).last(), Report(100, QStringLiteral("暗场校正-暗场校正执行完成。")));
        QCOMPARE(s->m_bList.size(), gains.size());
        // The defaults are in the file now.
        QCOMPARE(setting(FpnIni::GainMin).isValid(), true);
        QCOMPARE(setting(FpnIni::GainMax).isValid(), true);
        if (!gainMin.isValid()) QCOMPARE(setting(FpnIni::GainMin).toFloat(), 1.0f);
    }

    // A gain range that is no number, out of its range or without a pass refuses the run before any
    // camera call, and the rows of the earlier run stay.
    void gainSettingsRefused_data()
    {
        QTest::addColumn<QVariant>("gainMin");
        QTest::addColumn<QVariant>("gainMax");
        QTest::addColumn<QString>("text");
        QTest::newRow("min above max")
            << QVariant(3.0) << QVariant(2.0)
            << "设置 Params/GainMin 的值 3 大于 Params/GainMax 的值 2：增益范围内没有一个增益，校正不会执行。"
               "请把 Params/GainMin 设为不大于 Params/GainMax 的值。";
        QTest::newRow("not a number") << QVariant("x") << QVariant(2.0)
                                      << "设置 Params/GainMin 的值 \"x\" 不是数，应在 [1, 32] 之内。";
        QTest::newRow("nan") << QVariant(1.0) << QVariant("nan")
                             << "设置 Params/GainMax 的值 \"nan\" 不是数，应在 [1, 32] 之内。";
        QTest::newRow("1e308") << QVariant("1e308") << QVariant(2.0)
                               << "设置 Params/GainMin 的值 \"1e308\" 超出范围，应在 [1, 32] 之内。";
    }

    void gainSettingsRefused()
    {
        QFETCH(QVariant, gainMin);
        QFETCH(QVariant, gainMax);
        QFETCH(QString, text);
        store(FpnIni::GainMin, gainMin);
        store(FpnIni::GainMax, gainMax);
        auto s = server();
        s->m_bList = {{1.0}};
        s->m_darkFromCamera = true;
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        QCOMPARE(reportsOf(info), (QList<Report>{{101, QStringLiteral("暗场校正-") + text}}));
        QCOMPARE(toList(cam().calls), QStringList{});
        QCOMPARE(s->m_bList, (QList<QList<double>>{{1.0}}));
        QVERIFY(s->m_darkFromCamera);
    }

    void storedDoffsetOutOfRangeRefused()
    {
        store(FpnIni::DOffset, QStringLiteral("1e308"));
        auto s = server();
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        QCOMPARE(reportsOf(info), (QList<Report>{{101, QStringLiteral("暗场校正-设置 Params/DOffset 的值 \"1e308\" "
                                                                      "超出范围，应在 [-128, 128] 之内。")}}));
        QCOMPARE(toList(cam().calls), QStringList{});
        // The search finds its own value: the stored one does not count.
        auto t = server();
        QSignalSpy searched(t.get(), &CameraServer::OS_FpnInfo);
        t->dsnuStart(true);
        QVERIFY(!reportsOf(searched).first().second.contains(QStringLiteral("Params/DOffset")));
    }

    void limitAtMaxBPassesAboveFails()
    {
        auto s = server();
        cam().frame = monoFrames(LSX_BITS_8, [](int x, int, float) { return x == 4 ? 64 : 10; });
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        QVERIFY(reportsOf(info).contains(Report(20, QStringLiteral("暗场校正-最小列均值为10.00，最大列均值为64.00."))));
        QCOMPARE(reportsOf(info).last().first, 100);
        QCOMPARE(s->m_bList.size(), 1);
        QCOMPARE(s->m_frameBits, 0);
        QCOMPARE(s->m_bList[0][4], 64.0);

        auto t = server();
        // Column 4 at 64.002.
        cam().frame = monoFrames(LSX_BITS_8, [](int x, int y, float) { return x == 4 && y < 2 ? 65 : 64; });
        QSignalSpy again(t.get(), &CameraServer::OS_FpnInfo);
        t->dsnuStart(false);
        const QList<Report> reports = reportsOf(again);
        QCOMPARE(reports[reports.size() - 2],
                 Report(101, QStringLiteral("暗场校正-暗场亮度过高，超过限制值64，无法继续执行暗场校正。")));
        QCOMPARE(reports.last(), Report(101, QStringLiteral("暗场校正-暗场校正执行失败，请重试。")));
        QVERIFY(t->m_bList.isEmpty());
        QCOMPARE(cam().calls.back(), std::string("lsxStop()"));
    }

    // More than 1 % of a plane at 0: its mean is not the dark's; the run fails with the share,
    // the DOffset and the exposure. Exactly 1 % passes.
    void darkCutOffAtZeroFails()
    {
        store(FpnIni::DOffset, 3);
        auto s = server();
        cam().roi.W = 200;
        cam().frame = monoFrames(LSX_BITS_16, [](int x, int, float) { return x < 3 ? 0 : 6400; });
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports.mid(reports.size() - 2),
                 (QList<Report>{{101, QStringLiteral("暗场校正-黑白 有 1.5% 的像素为 0（最多允许 1%）：暗电平被截断，"
                                                     "无法测得暗场均值。DOffset 为 3，曝光时间 100 us；"
                                                     "请提高DOffset（或勾选自动检测DOffset）后重试。")},
                                {101, QStringLiteral("暗场校正-暗场校正执行失败，请重试。")}}));
        QVERIFY(s->m_bList.isEmpty());

        auto t = server();
        cam().frame = monoFrames(LSX_BITS_16, [](int x, int, float) { return x < 2 ? 0 : 6400; });
        QSignalSpy again(t.get(), &CameraServer::OS_FpnInfo);
        t->dsnuStart(false);
        QCOMPARE(reportsOf(again).last().first, 100);
    }

    // The second dark gives each column's slope; a column off the median by more than its noise
    // keeps its own (here noise-free: every column off the median). The exposure goes back.
    void darkCurrentFromTheSecondDark()
    {
        auto s = server();
        cam().roi.W = 6;
        // 4 DN10 plus 0.3 DN10/us in column 3, 0.0005 DN10/us elsewhere, in raw 16-bit units.
        auto raw = [](int x, double us) { return int(std::lround((4.0 + (x == 3 ? 0.3 : 0.0005) * us) * 64.0)); };
        cam().frame = cameraFrames(LSX_BITS_16, [raw](const RecordCam& c, int x, int) { return raw(x, c.exposure); });
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        QCOMPARE(reportsOf(info).last().first, 100);
        QCOMPARE(cam().exposure, 100.0);
        const DarkCurrent& c = s->m_darkCurrent;
        QCOMPARE(c.exposure, 100.0);
        QCOMPARE(c.secondExposure, 2.0);
        QCOMPARE(c.bits, int(LSX_BITS_16));
        QCOMPARE(c.slope.size(), 1);
        const double hot = (raw(3, 100.0) - raw(3, 2.0)) / 98.0, cold = (raw(0, 100.0) - raw(0, 2.0)) / 98.0;
        QCOMPARE(c.slope[0], (QList<double>{cold, cold, cold, hot, cold, cold}));
        QVERIFY(s->darkCurrentUsable());
        QVERIFY(reportsOf(info).contains(Report(
            99, QStringLiteral("暗场校正-暗电流：曝光时间 100 us 与 2 us 的暗场之差，最大 %1 DN10/ms（黑白 第 3 列）。")
                    .arg(hot * 1000.0 / 64.0, 0, 'f', 1))));
        // The dark predicted at 50 us: half the hot column's growth less.
        QCOMPARE(s->darkRowsAt(50.0)[0][3], s->m_bList[0][3] - 50.0 * hot);
        // A working exposure too near the shortest: twice it instead.
        auto t = server();
        cam().exposure = 3.0;
        t->dsnuStart(false);
        QCOMPARE(t->m_darkCurrent.secondExposure, 6.0);
        QCOMPARE(cam().exposure, 3.0);
    }

    // An 8-bit dark is dithered over four black levels, here 2 samples apart, at both exposures;
    // the steps are not the frames' noise (1 sample on alternate rows): column 3, one sample
    // higher in every eighth row at the working exposure, keeps its own slope of 0.125 sample in
    // 98 us, 11 standard deviations of the noise but 2.4 of the noise and the steps' spread.
    void darkCurrentOfADitheredDark()
    {
        auto s = server();
        cam().frame = cameraFrames(LSX_BITS_8, [](const RecordCam& c, int x, int y) {
            const int hot = x == 3 && c.exposure > 50.0 && y % 8 == 0 ? 1 : 0;
            return 20 + 2 * c.doffset() + y % 2 + hot;
        });
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        QCOMPARE(reportsOf(info).last().first, 100);
        // The black levels of both darks, each back to the stored one.
        QCOMPARE(cam().doffsetWrites, (std::vector<int>{0, 1, 2, 3, 0, 1, 2, 3, 0}));
        const DarkCurrent& c = s->m_darkCurrent;
        QCOMPARE(c.bits, int(LSX_BITS_8));
        QCOMPARE(c.slope.size(), 1);
        QCOMPARE(c.slope[0], (QList<double>{0.0, 0.0, 0.0, 0.125 / 98.0, 0.0, 0.0, 0.0, 0.0}));
    }

    // A second dark with more than 1 % of its samples at 0 has no measurable mean: no dark
    // current, told with the plane and its share, and the run keeps its rows of B.
    void clippedSecondDarkMeasuresNothing()
    {
        auto s = server();
        cam().frame = cameraFrames(LSX_BITS_16,
                                   [](const RecordCam& c, int x, int) { return c.exposure < 50.0 && x < 2 ? 0 : 640; });
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports.last().first, 100);
        QVERIFY(reports.contains(Report(
            99, QStringLiteral(
                    "暗场校正-第二次暗场（曝光时间 2 us）的 黑白 有 25.0% 的像素为 0（最多允许 1%），暗电平被截断，"
                    "未测量暗电流：明场校正将按工作曝光时间的暗场计算。"))));
        QVERIFY(s->m_darkCurrent.empty());
        QCOMPARE(s->m_bList, (QList<QList<double>>{QList<double>(8, 640.0)}));
    }

    // A camera that refuses the second exposure: told, the run succeeds with one dark.
    void secondExposureRefused()
    {
        auto s = server();
        cam().faults["lsxSetExposure"] = {0, -5, 1};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        QCOMPARE(reportsOf(info).last().first, 100);
        QVERIFY(reportsOf(info).contains(Report(
            99, QStringLiteral("暗场校正-无法设置曝光时间 2 us，未测量暗电流：明场校正将按工作曝光时间的暗场计算。"))));
        QVERIFY(s->m_darkCurrent.empty());
        QVERIFY(!s->darkCurrentUsable());
        QCOMPARE(s->darkRowsAt(50.0), s->m_bList);
    }

    // A camera that takes the second exposure but will not take the working one back: the run
    // fails, saying so with the status, instead of going on at the wrong exposure.
    void workingExposureNotTakenBack()
    {
        auto s = server();
        cam().faults["lsxSetExposure"] = {1, -5, 1};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports.mid(reports.size() - 2),
                 (QList<Report>{
                     {101, QStringLiteral("暗场校正-曝光时间无法恢复为 100 us，错误原因：-5-%1.").arg(statusText(-5))},
                     {101, QStringLiteral("暗场校正-暗场校正执行失败，请重试。")}}));
        QCOMPARE(cam().count("lsxSetExposure"), 2);
        QCOMPARE(cam().exposure, 2.0);
    }

    void sixteenBitMeanOf6400()
    {
        auto s = server();
        cam().frame = monoFrames(LSX_BITS_16, [](int, int, float) { return 6400; });
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        QVERIFY(reportsOf(info).contains(Report(20, QStringLiteral("暗场校正-最小列均值为25.00，最大列均值为25.00."))));
        QCOMPARE(s->m_bList, (QList<QList<double>>{QList<double>(8, 6400.0)}));
    }

    void fourLinesGiveFourRowsPerGain()
    {
        auto s = server();
        cam().lineReg = 4;
        store(FpnIni::GainMin, 1.0);
        store(FpnIni::GainMax, 2.0);
        int rowsSeen = 0;
        cam().frame = monoFrames(LSX_BITS_16, [&rowsSeen](int x, int y, float gain) {
            rowsSeen = std::max(rowsSeen, y + 1);
            return int(gain) * 1000 + (y % 4) * 100 + x + (y / 4 % 2);  // odd rows of a line one higher
        });
        s->dsnuStart(false);
        QCOMPARE(s->m_lineCount, 4);
        QCOMPARE(rowsSeen, 4000);
        QCOMPARE(s->m_bList.size(), 8);
        QCOMPARE(s->m_incBList.size(), 8);
        for (int gain = 1; gain <= 2; ++gain)
            for (int line = 0; line < 4; ++line) {
                const QList<double>& row = s->m_bList[(gain - 1) * 4 + line];
                QCOMPARE(row.size(), 8);
                // mean = base + 0.5 over 1000 rows, truncated for 16-bit
                QCOMPARE(row[5], double(gain * 1000 + line * 100 + 5));
                QCOMPARE(s->m_incBList[(gain - 1) * 4 + line], 0.5);
            }
    }

    void thirdOfFourPlanesFailingKeepsEarlierGains()
    {
        auto s = server();
        cam().lineReg = 4;
        store(FpnIni::GainMin, 1.0);
        store(FpnIni::GainMax, 3.0);
        // Line 2 goes above the limit (64 on the 8-bit scale) at gain 2.
        cam().frame = monoFrames(
            LSX_BITS_16, [](int, int y, float gain) { return (y % 4 == 2 && gain >= 2.0f) ? 70 * 256 : 20 * 256; });
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        QCOMPARE(s->m_bList.size(), 4);
        QCOMPARE(s->m_incBList.size(), 4);
        QCOMPARE(cam().count("lsxSetAnalogGain"), 2);
        const QStringList texts = textsOf(reportsOf(info));
        // Gain 2: planes 0 and 1 judged, plane 2 failed, plane 3 never judged.
        QCOMPARE(texts.count(QStringLiteral("暗场校正-最小列均值为20.00，最大列均值为20.00.")), 4 + 2);
        QVERIFY(texts.contains(QStringLiteral("暗场校正-最小列均值为70.00，最大列均值为70.00.")));
        QCOMPARE(texts.last(), QStringLiteral("暗场校正-暗场校正执行失败，请重试。"));
    }

    void neverDeliveringRetriggersUntilCancelled()
    {
        auto s = server();
        s->m_darkFromCamera = true;
        int waits = 0;
        cam().frame = [&](RecordCam&, lsxFrame&, std::vector<uint8_t>&) {
            if (++waits == 5) s->cancel();
            return lsxStatus(LSX_ERR_TIMEOUT);
        };
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        QCOMPARE(cam().count("lsxTriggerFire"), 5);
        QCOMPARE(toList(cam().callsOf("lsxGetFrame")), QStringList(5, "lsxGetFrame(3000)"));
        // A cancel ends the run quietly: only the closing failure.
        QCOMPARE(failures(reportsOf(info)), 1);
        QCOMPARE(reportsOf(info).last(), Report(101, QStringLiteral("暗场校正-暗场校正执行失败，请重试。")));
        QVERIFY(s->m_bList.isEmpty());
        QVERIFY(s->m_darkFromCamera);
        QCOMPARE(cam().calls.back(), std::string("lsxStop()"));
    }

    void silentFailuresOfTheGrab_data()
    {
        QTest::addColumn<QString>("op");
        QTest::addColumn<int>("status");
        QTest::newRow("trigger") << "lsxTriggerFire" << -10;
        QTest::newRow("frame") << "lsxGetFrame" << -1104;
    }

    void silentFailuresOfTheGrab()
    {
        QFETCH(QString, op);
        QFETCH(int, status);
        auto s = server();
        store(FpnIni::GainMax, 2.0);
        cam().faults[op.toStdString()] = {1, status, 0};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        QCOMPARE(s->m_bList.size(), 1);  // the first gain's row stays
        QCOMPARE(failures(reportsOf(info)), 1);
        QCOMPARE(reportsOf(info).last().first, 101);
        QCOMPARE(cam().calls.back(), std::string("lsxStop()"));
    }

    void gainSetterFailure()
    {
        auto s = server();
        store(FpnIni::GainMax, 3.0);
        cam().faults["lsxSetAnalogGain"] = {1, -5, 0};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports[reports.size() - 2],
                 Report(101, QStringLiteral("暗场校正-设置增益出错，错误原因：-5-%1.").arg(statusText(-5))));
        QCOMPARE(s->m_bList.size(), 1);
    }

    void roiFailureWithTheStoredDoffset()
    {
        auto s = server();
        cam().faults["lsxSetRoi"] = {0, -5, 0};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports[reports.size() - 2], Report(101, QStringLiteral("暗场校正-设置ROI出错.")));
        QCOMPARE(reports.last().first, 101);
    }

    void automaticDoffsetSearchedAtEveryGain()
    {
        auto s = server();
        store(FpnIni::GainMax, 2.0);
        // The darkest column at 5.0 + 2 (gain - 1) at d = 1.
        cam().darkLevel = [](int x, int d) { return (x == 3 ? 4.0 : 12.0) + d; };
        s->dsnuStart(true);
        QCOMPARE(cam().doffsetWrites, (std::vector<int>{1, -1, -2, -3, -2, 1, -1, -2, -3, -2}));
        QCOMPARE(s->m_bList.size(), 2);
        QCOMPARE(s->m_bList[0][3], 2.0 * 64);  // the darkest column at the value found
        QCOMPARE(setting(FpnIni::DOffset).toInt(), -2);
    }

    void failedSearchEndsTheRun()
    {
        auto s = server();
        cam().darkLevel = [](int x, int) { return x == 5 ? 70.0 : 20.0; };
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(true);
        const QStringList texts = textsOf(reportsOf(info));
        QCOMPARE(texts.mid(texts.size() - 2),
                 (QStringList{QStringLiteral("检测DOffset出错，环境亮度太高，请在暗场下执行暗场校正。"),
                              QStringLiteral("暗场校正-暗场校正执行失败，请重试。")}));
        QCOMPARE(cam().count("lsxStop"), 2);  // the search's and the run's own: harmless
        QVERIFY(s->m_bList.isEmpty());
    }

    void unsupportedFormatWarnsAndFails()
    {
        auto s = server();
        auto frames = cam().frame;
        cam().frame = [frames](RecordCam& c, lsxFrame& f, std::vector<uint8_t>& b) {
            const lsxStatus st = frames(c, f, b);
            f.format = 99;
            return st;
        };
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports[reports.size() - 2],
                 Report(90, QStringLiteral(
                                "暗场校正-不支持的图像格式，当前仅支持 FORMAT_MONO & FORMAT_BGR24 & FORMAT_RGB24.")));
        QCOMPARE(reports.last().first, 101);
    }

    void monoFrameOfOtherBitsGivesAnEmptyRow()
    {
        auto s = server();
        cam().frame = monoFrames(LSX_BITS_8, [](int, int, float) { return 3; });
        auto frames = cam().frame;
        cam().frame = [frames](RecordCam& c, lsxFrame& f, std::vector<uint8_t>& b) {
            const lsxStatus st = frames(c, f, b);
            f.bits = 1;
            return st;
        };
        s->dsnuStart(false);
        QCOMPARE(s->m_bList, (QList<QList<double>>{QList<double>{}}));
        QCOMPARE(s->m_incBList, QList<double>{0.0});
        QCOMPARE(s->m_frameBits, 1);
    }

    void successMarksTheDataMeasured()
    {
        auto s = server();
        s->m_darkFromCamera = true;
        s->m_bList = {{9.0}, {9.0}, {9.0}};
        s->m_incBList = {1, 2, 3};
        s->dsnuStart(false);
        QVERIFY(!s->m_darkFromCamera);
        QCOMPARE(s->m_bList.size(), 1);
        QCOMPARE(s->m_incBList.size(), 1);
    }

    // ---- TVK317 ----

    void tvk317()
    {
        auto s = server();
        s->m_isLinescan = false;
        s->m_isTvk317 = true;
        s->m_darkFromCamera = true;
        cam().roi = {0, 0, 4, 2, {}};
        cam().frame = monoFrames(LSX_BITS_16, [](int x, int y, float) { return 6400 + 256 * (x + y); });
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(true);
        QStringList expected{"lsxGetSourceFormat()",   "lsxGetTargetFormat()", "lsxSetSourceFormat(2)",
                             "lsxSetTargetFormat(34)", "lsxSet(46,false,0)",   "lsxStart()"};
        for (int i = 0; i < 512; ++i) expected << "lsxGetFrame(1000000)";
        expected << "lsxStop()";
        QCOMPARE(toList(cam().calls), expected);
        QCOMPARE(reportsOf(info), (QList<Report>{{1, QStringLiteral("暗场校正-TVK317.")},
                                                 {20, QStringLiteral("\n已关闭相机内部FPN。")},
                                                 {30, QStringLiteral("\n已启动视频流。")},
                                                 {20, QStringLiteral("\n")},
                                                 {40, QStringLiteral("暗场校正-最小列均值为25.00，最大列均值为29.00.")},
                                                 {80, QStringLiteral("\n")},
                                                 {90, QStringLiteral("暗场校正-抓图完成.")},
                                                 {100, QStringLiteral("暗场校正-暗场校正执行完成。")}}));
        // One row of the readout's 8 samples, kept on the 8-bit scale.
        QCOMPARE(s->m_bList, (QList<QList<double>>{{25, 26, 27, 28, 26, 27, 28, 29}}));
        QVERIFY(s->m_incBList.isEmpty());
        QVERIFY(s->m_darkFromCamera);
    }

    void tvk317Failures()
    {
        auto s = server();
        s->m_isLinescan = false;
        s->m_isTvk317 = true;
        cam().faults["lsxSet"] = {0, -1202, 0};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->dsnuStart(false);
        QCOMPARE(reportsOf(info).last(),
                 Report(101, QStringLiteral("\n关闭相机内部FPN失败，失败原因：-1202-%1.请手动关闭相机内部FPN使能。")
                                 .arg(statusText(-1202))));
        QCOMPARE(cam().count("lsxStart"), 0);

        auto t = server();
        t->m_isLinescan = false;
        t->m_isTvk317 = true;
        cam().faults.clear();
        cam().roi = {0, 0, 4, 2, {}};
        cam().frame = monoFrames(LSX_BITS_8, [](int, int, float) { return 70; });
        QSignalSpy bright(t.get(), &CameraServer::OS_FpnInfo);
        t->dsnuStart(false);
        const QList<Report> reports = reportsOf(bright);
        QCOMPARE(reports[reports.size() - 2],
                 Report(101, QStringLiteral("暗场校正-暗场亮度过高，超过限制值64，无法继续执行暗场校正。")));
        QCOMPARE(reports.last(), Report(101, QStringLiteral("暗场校正-暗场校正执行失败，请重试。")));
        QVERIFY(t->m_bList.isEmpty());
        QCOMPARE(cam().calls.back(), std::string("lsxStop()"));
    }
};

QTEST_GUILESS_MAIN(TestDarkField)
#include "test_darkfield.moc"

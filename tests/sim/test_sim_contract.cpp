// The simulated camera against the device contract: enumeration, statuses, every record read
// back as written, the stream and trigger model, concurrency and injected faults.
#include "simops.h"
#include "simtestutil.h"

#include <QFile>
#include <QTemporaryDir>

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <thread>

using namespace simtest;

class TestSimContract : public QObject {
    Q_OBJECT

private slots:
    void init() { QCOMPARE(lsxSimReset(), LSX_OK); }

    void everyOperationOnEveryCamera()
    {
        QTemporaryDir dir;
        const auto ops = everyOperation(dir.path() + "/state.ini");
        QCOMPARE(int(ops.size()) + 3, LSX_OPERATION_COUNT);  // plus lsxRefresh, lsxEnum, lsxOpenByName
        for (const char* name :
             {"SIM-LS4096-M", "SIM-LS2048-ML4", "SIM-LS2048-C", "SIM-LS8192-MLK", "SIM-TQW4A2N60", "SIM-TVK317"}) {
            lsxHandle h = openCamera(name);
            QVERIFY2(h, name);
            lsxSimSetTimeScale(name, 0);
            for (const Op& op : ops) {
                const lsxStatus st = op.call(h);
                QVERIFY2(st == op.expected(name), qPrintable(QString("%1 on %2: %3").arg(op.name, name).arg(st)));
            }
        }
    }

    void everyOperationAnswersAWrongHandle()
    {
        QTemporaryDir dir;
        for (const Op& op : everyOperation(dir.path() + "/state.ini"))
            if (QByteArray(op.name) != "lsxDebugFormat")  // the log takes any handle
                QVERIFY2(op.call(0xDEAD) == LSX_ERR_INVALID_HANDLE, op.name);
    }

    void everyOperationAnswersADisconnectedCamera()
    {
        QTemporaryDir dir;
        lsxHandle h = openCamera("SIM-LS2048-C");
        QCOMPARE(lsxSimDisconnectAfterFrames("SIM-LS2048-C", 0), LSX_OK);
        for (const Op& op : everyOperation(dir.path() + "/state.ini")) {
            const QByteArray name(op.name);
            if (name == "lsxDebugFormat" || name == "lsxClose") continue;
            QVERIFY2(op.call(h) == LSX_ERR_DISCONNECTED, op.name);
        }
        QCOMPARE(lsxClose(h), LSX_OK);
    }

    void enumeratesTheBuiltInCameras()
    {
        int32_t count = 0;
        QCOMPARE(lsxRefresh(&count), LSX_OK);
        QCOMPARE(count, 6);
        const char* names[] = {"SIM-LS4096-M",   "SIM-LS2048-ML4", "SIM-LS2048-C",
                               "SIM-LS8192-MLK", "SIM-TQW4A2N60",  "SIM-TVK317"};
        for (int i = 0; i < 6; ++i) {
            lsxCameraInfo info;
            QCOMPARE(lsxEnum(i, &info), LSX_OK);
            const char* raw = reinterpret_cast<const char*>(&info);
            QCOMPARE(QString(raw + 640), QString(names[i]));
            const QString type(raw + 832), sensor(raw + 768);
            QCOMPARE(type.contains("LineScan"), i != 5);
            QCOMPARE(sensor.contains("K317"), i == 5);
        }
        lsxCameraInfo info;
        QCOMPARE(lsxEnum(0, &info), LSX_OK);
        QCOMPARE(QString(info.model), QString("LSM4096A"));
        QCOMPARE(lsxEnum(4, &info), LSX_OK);
        QCOMPARE(QString(info.model), QString("TQW4A2N60"));
        QCOMPARE(lsxEnum(6, &info), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxEnum(0, nullptr), LSX_ERR_INVALID_ARG);
        QCOMPARE(lsxRefresh(nullptr), LSX_ERR_INVALID_ARG);
    }

    void openAndCloseStatuses()
    {
        int32_t count = 0;
        lsxRefresh(&count);
        lsxHandle h = 0, h2 = 0;
        QCOMPARE(lsxOpenByName("NO-SUCH-CAMERA", 1, &h), LSX_ERR_LOGICAL_DEVICE);
        QCOMPARE(lsxOpenByName("SIM-LS4096-M", 3, &h), LSX_ERR_INVALID_ARG);
        QCOMPARE(lsxOpenByName("SIM-LS4096-M", 1, &h), LSX_OK);
        QVERIFY(h != 0);
        QCOMPARE(lsxOpenByName("SIM-LS4096-M", 1, &h2), LSX_ERR_ALREADY_OPEN);
        lsxCameraInfo info;
        QCOMPARE(lsxGetCameraInfo(h, &info), LSX_OK);
        QCOMPARE(QString(info.friendlyName), QString("SIM-LS4096-M"));
        QCOMPARE(lsxGetCameraInfo(h + 77, &info), LSX_ERR_INVALID_HANDLE);
        QCOMPARE(lsxClose(h), LSX_OK);
        QCOMPARE(lsxClose(h), LSX_ERR_INVALID_HANDLE);
        double us = 0;
        QCOMPARE(lsxGetExposure(h, &us), LSX_ERR_INVALID_HANDLE);
        QCOMPARE(lsxOpenByName("SIM-LS4096-M", 1, &h2), LSX_OK);
        QVERIFY(h2 != h);
        QCOMPARE(lsxShowPropertyModalDialog(h2, 0), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxDebugFormat(h2, 16, "Vesmira", "lsxset : %s %d", "DSNU", 42), LSX_OK);
        int32_t lines = 0;
        QCOMPARE(lsxSimLogCount(&lines), LSX_OK);
        QCOMPARE(lines, 1);
        char text[128];
        QCOMPARE(lsxSimLogLine(0, text, sizeof text), LSX_OK);
        QVERIFY(QString(text).endsWith("lsxset : DSNU 42"));
    }

    void sensorAndGeometryDescriptions()
    {
        lsxHandle h = openCamera("SIM-LS4096-M");
        QVERIFY(h);
        lsxSensorInfo si;
        QCOMPARE(lsxGetSensorInfo(h, &si), LSX_OK);
        QCOMPARE(si.maxWidth, 4096);
        QCOMPARE(si.maxHeight, 16384);
        lsxRegionDescr d;
        QCOMPARE(lsxGetRoiDescr(h, &d), LSX_OK);
        QCOMPARE(d.maxWidth, 4096);
        QCOMPARE(d.minWidth, 64);
        QCOMPARE(d.widthStep, 8);
        QCOMPARE(d.heightStep, 1);
        bool inUse = false;
        QCOMPARE(lsxGetRoiState(h, &inUse), LSX_OK);
        QVERIFY(inUse);
        lsxRegion r{};
        QCOMPARE(lsxGetRoi(h, &r), LSX_OK);
        QCOMPARE(r.W, 4096);
        QCOMPARE(r.H, 1000);
        r.X = 500;
        r.W = 1000;
        r.H = 4000;
        QCOMPARE(lsxSetRoi(h, &r), LSX_OK);
        lsxRegion back{};
        lsxGetRoi(h, &back);
        QCOMPARE(back.X, 500);
        QCOMPARE(back.W, 1000);
        QCOMPARE(back.H, 4000);
        r.W = 3600;  // past the line's end
        QCOMPARE(lsxSetRoi(h, &r), LSX_ERR_OUT_OF_RANGE);
        r.W = 1001;  // off the width step
        QCOMPARE(lsxSetRoi(h, &r), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxSetRoi(h, nullptr), LSX_ERR_INVALID_ARG);

        lsxDoubleDescr e;
        QCOMPARE(lsxGetExposureDescr(h, &e), LSX_OK);
        QCOMPARE(e.min, 2.0);
        QCOMPARE(e.max, 20000.0);
        QCOMPARE(lsxSetExposure(h, 250.5), LSX_OK);
        double us = 0;
        lsxGetExposure(h, &us);
        QCOMPARE(us, 250.5);
        QCOMPARE(lsxSetExposure(h, 1.0), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxSetExposure(h, 20000.5), LSX_ERR_OUT_OF_RANGE);
        lsxFloatDescr g;
        QCOMPARE(lsxGetAnalogGainDescr(h, &g), LSX_OK);
        QCOMPARE(g.min, 1.0f);
        QCOMPARE(g.max, 8.0f);
        QCOMPARE(lsxSetAnalogGain(h, 2.5f), LSX_OK);
        float gain = 0;
        lsxGetAnalogGain(h, &gain);
        QCOMPARE(gain, 2.5f);
        QCOMPARE(lsxSetAnalogGain(h, 0.5f), LSX_ERR_OUT_OF_RANGE);

        // Formats: mono 8, the calibration formats 2 and 34; colour only on the colour camera.
        int32_t f = -1;
        QCOMPARE(lsxGetSourceFormat(h, &f), LSX_OK);
        QCOMPARE(f, 0);
        QCOMPARE(lsxSetSourceFormat(h, 2), LSX_OK);
        QCOMPARE(lsxSetTargetFormat(h, 34), LSX_OK);
        lsxGetTargetFormat(h, &f);
        QCOMPARE(f, 34);
        QCOMPARE(lsxSetTargetFormat(h, FORMAT_BGR24), LSX_ERR_NOT_SUPPORTED);
        lsxHandle c = openCamera("SIM-LS2048-C");
        QCOMPARE(lsxGetTargetFormat(c, &f), LSX_OK);
        QCOMPARE(f, int(FORMAT_BGR24));
        for (int t : {14, 11, 15, 10}) QCOMPARE(lsxSetTargetFormat(c, t), LSX_OK);
        QCOMPARE(lsxSetTargetFormat(c, 34), LSX_ERR_NOT_SUPPORTED);
        lsxSelectionDetail sd;
        QCOMPARE(lsxGetColorSolutionSelDetail(c, 2, &sd), LSX_OK);
        QVERIFY(QString(sd.text).contains("user", Qt::CaseInsensitive));
        QCOMPARE(lsxGetColorSolutionSelDetail(c, 3, &sd), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxGetColorSolutionSelDetail(h, 0, &sd), LSX_ERR_NOT_SUPPORTED);
        lsxClose(c);
        lsxClose(h);
    }

    void registersPerFamily()
    {
        struct Row {
            const char* name;
            uint32_t multi;
            bool blackReg;
            uint8_t maxK, maxB;
            bool mlk;
        } rows[] = {{"SIM-LS4096-M", 1, true, 2, 64, false},
                    {"SIM-LS2048-ML4", 4, true, 2, 64, false},
                    {"SIM-LS2048-C", 1, true, 2, 64, false},
                    {"SIM-LS8192-MLK", 1, false, 4, 64, true},
                    {"SIM-TQW4A2N60", 1, true, 2, 64, false}};
        for (const Row& row : rows) {
            lsxHandle h = openCamera(row.name);
            QVERIFY2(h, row.name);
            uint32_t v = 0;
            QCOMPARE(lsxReadGenICamReg(h, GVR_MULTI_FPN_SELECT, &v), LSX_OK);
            QCOMPARE(v, row.multi);
            QCOMPARE(lsxReadGenICamReg(h, GVR_SEN_BLACK_LEVEL, &v), LSX_OK);
            QCOMPARE(v == LSX_REG_UNSUPPORTED, !row.blackReg);
            lsxFactoryRecord fr;
            uint32_t size = sizeof fr;
            QCOMPARE(lsxGet(h, LSX_KEY_FACTORY, &fr, &size), LSX_OK);
            QCOMPARE(fr.maxK, row.maxK);
            QCOMPARE(fr.maxB, row.maxB);
            QCOMPARE(bool((fr.flags >> LSX_FACTORY_MLK_BIT) & 1), row.mlk);
            QCOMPARE(lsxSet(h, LSX_KEY_FACTORY, &fr, &size), LSX_ERR_WRITE_PROTECTED);
            lsxRegPair pair{LSX_SENSOR_REG_DOFFSET_MAG, 5};
            QCOMPARE(lsxSet(h, LSX_KEY_SENSOR_REG, &pair, nullptr), row.blackReg ? LSX_ERR_NOT_SUPPORTED : LSX_OK);
            if (row.blackReg) {
                // One byte in the sensor: -3 reads back as 253, which the program turns into -3.
                QCOMPARE(lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, uint32_t(-3)), LSX_OK);
                QCOMPARE(lsxReadGenICamReg(h, GVR_SEN_BLACK_LEVEL, &v), LSX_OK);
                QCOMPARE(v, 253u);
                QCOMPARE(lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, 300), LSX_ERR_OUT_OF_RANGE);
            } else {
                QCOMPARE(lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, 3), LSX_ERR_NOT_SUPPORTED);
                lsxRegPair sign{LSX_SENSOR_REG_DOFFSET_SIGN, 8};
                QCOMPARE(lsxSet(h, LSX_KEY_SENSOR_REG, &sign, nullptr), LSX_OK);
                lsxRegPair back{LSX_SENSOR_REG_DOFFSET_MAG, 0};
                QCOMPARE(lsxGet(h, LSX_KEY_SENSOR_REG, &back, nullptr), LSX_OK);
                QCOMPARE(back.value, 5u);
                back = {LSX_SENSOR_REG_DOFFSET_SIGN, 0};
                QCOMPARE(lsxGet(h, LSX_KEY_SENSOR_REG, &back, nullptr), LSX_OK);
                QCOMPARE(back.value, 8u);
                sign.value = 3;
                QCOMPARE(lsxSet(h, LSX_KEY_SENSOR_REG, &sign, nullptr), LSX_ERR_OUT_OF_RANGE);
            }
            QCOMPARE(lsxWriteGenICamReg(h, GVR_MULTI_FPN_SELECT, 2), -54);
            QCOMPARE(lsxGet(h, 999, &v, nullptr), LSX_ERR_NOT_SUPPORTED);
            lsxClose(h);
        }
        lsxHandle h = openCamera("SIM-LS8192-MLK", LSX_OPEN_FACTORY);
        lsxFactoryRecord fr;
        uint32_t size = sizeof fr;
        QCOMPARE(lsxGet(h, LSX_KEY_FACTORY, &fr, &size), LSX_OK);
        fr.maxB = 80;
        QCOMPARE(lsxSet(h, LSX_KEY_FACTORY, &fr, &size), LSX_OK);
        lsxFactoryRecord back;
        lsxGet(h, LSX_KEY_FACTORY, &back, &size);
        QCOMPARE(back.maxB, uint8_t(80));
    }

    void resolutionModesAndBinning()
    {
        lsxHandle h = openCamera("SIM-LS8192-MLK");
        lsxSelectionDescr d;
        QCOMPARE(lsxGetResolutionModeSelDescr(h, &d), LSX_OK);
        QCOMPARE(d.count, 5);
        const char* names[] = {"Full", "SUM2", "BIN2", "SUM4", "USER"};
        for (int i = 0; i < 5; ++i) {
            lsxSelectionDetail det;
            QCOMPARE(lsxGetResolutionModeSelDetail(h, i, &det), LSX_OK);
            QCOMPARE(QString(det.text), QString(names[i]));
            QCOMPARE(det.index, i);
        }
        QCOMPARE(lsxSetResolutionModeSel(h, 5), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxSetResolutionModeSel(h, 3), LSX_OK);
        lsxRegionDescr rd;
        lsxGetRoiDescr(h, &rd);
        QCOMPARE(rd.maxWidth, 2048);
        lsxRegion r{};
        lsxGetRoi(h, &r);
        QCOMPARE(r.W, 2048);
        QCOMPARE(lsxSetResolutionModeSel(h, 4), LSX_OK);
        int64_t cur = 0, values[8];
        int32_t n = 8;
        QCOMPARE(lsxGetEnumValue(h, "BinningHorizontal", &cur, values, &n), LSX_OK);
        QCOMPARE(n, 3);
        QCOMPARE(values[2], int64_t(4));
        QCOMPARE(cur, int64_t(1));
        char text[16];
        QCOMPARE(lsxGetEnumNameValue(h, "BinningMode", 1, text, sizeof text), LSX_OK);
        QCOMPARE(QString(text), QString("BIN"));
        QCOMPARE(lsxGetEnumNameValue(h, "BinningMode", 2, text, sizeof text), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxSetEnumValueByString(h, "BinningHorizontal", "2"), LSX_OK);
        QCOMPARE(lsxSetEnumValueByString(h, "BinningHorizontal", "3"), LSX_ERR_OUT_OF_RANGE);
        lsxGetEnumValue(h, "BinningHorizontal", &cur, values, &n);
        QCOMPARE(cur, int64_t(2));
        lsxGetRoiDescr(h, &rd);
        QCOMPARE(rd.maxWidth, 4096);
        n = 1;
        QCOMPARE(lsxGetEnumValue(h, "BinningVertical", &cur, values, &n), LSX_ERR_BLOCK_SIZE);
        QCOMPARE(n, 3);
        lsxHandle m = openCamera("SIM-LS4096-M");
        QCOMPARE(lsxGetResolutionModeSelDescr(m, &d), LSX_OK);
        QCOMPARE(d.count, 1);
        n = 8;
        QCOMPARE(lsxGetEnumValue(m, "BinningMode", &cur, values, &n), LSX_ERR_NOT_SUPPORTED);
    }

    void selectionsAndConfigStrings()
    {
        lsxHandle h = openCamera("SIM-LS2048-C");
        struct Sel {
            const char* key;
            int count;
            const char* first;
            const char* current;
        } sels[] = {{"FPNC.Selector", 4, "factory", "UserSet0"},
                    {"PRNUC", 5, "Disable", "Disable"},
                    {"LSC", 17, "Disable", "Disable"}};
        for (const Sel& s : sels) {
            lsxSelectionDescr d;
            QCOMPARE(lsxGetSelectionDescr(h, s.key, &d), LSX_OK);
            QCOMPARE(d.count, s.count);
            lsxSelectionDetail det;
            QCOMPARE(lsxGetSelectionDetail(h, s.key, 0, &det), LSX_OK);
            QCOMPARE(QString(det.text), QString(s.first));
            QCOMPARE(lsxGetSelectionDetail(h, s.key, s.count, &det), LSX_ERR_OUT_OF_RANGE);
            char v[64];
            QCOMPARE(lsxGetConfigString(h, s.key, v, sizeof v), LSX_OK);
            QCOMPARE(QString(v), QString(s.current));
        }
        QCOMPARE(lsxGetSelectionDetail(h, "LSC", 16, nullptr), LSX_ERR_INVALID_ARG);
        lsxSelectionDetail det;
        QCOMPARE(lsxGetSelectionDetail(h, "LSC", 16, &det), LSX_OK);
        QCOMPARE(QString(det.text), QString("UserSet15"));
        QCOMPARE(lsxSetConfigString(h, "PRNUC", "UserSet9"), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxSetConfigString(h, "PRNUC", "UserSet2"), LSX_OK);
        QCOMPARE(lsxSetConfigString(h, "FPNC.Enable", "maybe"), LSX_ERR_INVALID_ARG);
        QCOMPARE(lsxSetConfigString(h, "FPNC.Enable", "true"), LSX_OK);
        uint8_t on = 0;
        uint32_t size = 48;
        QCOMPARE(lsxGet(h, LSX_KEY_FPN_ENABLE, &on, &size), LSX_OK);
        QCOMPARE(on, uint8_t(1));
        QCOMPARE(size, 1u);
        on = 0;
        size = 0;
        QCOMPARE(lsxSet(h, LSX_KEY_FPN_ENABLE, &on, &size), LSX_OK);
        char v[64];
        lsxGetConfigString(h, "FPNC.Enable", v, sizeof v);
        QCOMPARE(QString(v), QString("false"));
        QCOMPARE(lsxSetConfigString(h, "SCS.LineShift", "2.5"), LSX_OK);
        QCOMPARE(lsxSetConfigString(h, "SCS.PixelShift", "-1.25"), LSX_OK);
        QCOMPARE(lsxSetConfigString(h, "SCS.PixelShift", "51"), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxSetConfigString(h, "SCS.PixelShift", "abc"), LSX_ERR_INVALID_ARG);
        lsxGetConfigString(h, "SCS.LineShift", v, sizeof v);
        QCOMPARE(QString(v), QString("2.5"));
        lsxGetConfigString(h, "SCS.PixelShift", v, sizeof v);
        QCOMPARE(QString(v), QString("-1.25"));
        QCOMPARE(lsxSetConfigString(h, "LineRate", "10000"), LSX_OK);
        lsxGetConfigString(h, "LineRate", v, sizeof v);
        QCOMPARE(QString(v), QString("10000"));
        QCOMPARE(lsxSetConfigString(h, "ReverseX", "false"), LSX_OK);
        QCOMPARE(lsxSetConfigString(h, "NoSuchKey", "1"), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxGetConfigString(h, "LineRate", v, 3), LSX_ERR_BLOCK_SIZE);
        QCOMPARE(lsxSetBoolValue(h, "CCMEnable", false), LSX_OK);
        lsxColorMatrix cm{};
        QCOMPARE(lsxSetUserColorMatrix(h, &cm), LSX_OK);
        lsxHandle m = openCamera("SIM-LS4096-M");
        QCOMPARE(lsxSetConfigString(m, "SCS.LineShift", "0"), LSX_ERR_NOT_SUPPORTED);
    }

    void correctionSwitchRecordReadsBackWhole()
    {
        lsxHandle h = openCamera("SIM-LS4096-M");
        lsxCorrectionSwitch sw;
        uint32_t size = 104;
        QCOMPARE(lsxGet(h, LSX_KEY_CORRECTION_SWITCH, &sw, &size), LSX_OK);
        QCOMPARE(size, 104u);
        QCOMPARE(sw.enable, uint8_t(0));
        sw.enable = 1;
        sw.mode = LSX_SWITCH_FLAT_ONLY;
        sw.reserved7[50] = 0x5A;
        QCOMPARE(lsxSet(h, LSX_KEY_CORRECTION_SWITCH, &sw, &size), LSX_OK);
        lsxCorrectionSwitch back{};
        QCOMPARE(lsxGet(h, LSX_KEY_CORRECTION_SWITCH, &back, &size), LSX_OK);
        QCOMPARE(std::memcmp(&sw, &back, 104), 0);
        size = 50;
        QCOMPARE(lsxGet(h, LSX_KEY_CORRECTION_SWITCH, &back, &size), LSX_ERR_BLOCK_SIZE);
    }

    void fpnRecordsReadBackAsWritten()
    {
        // Types 2 and 3 go to the selected set; the reader gets K, B interleaved and the DOffset.
        lsxHandle h = openCamera("SIM-LS4096-M");
        lsxSetTargetFormat(h, 34);
        FpnRecord dark(4096, 1, LSX_FPN_DARK), bright(4096, 1, LSX_FPN_BRIGHT);
        dark.head()->doffset = uint8_t(-2);
        bright.head()->doffset = uint8_t(-2);
        dark.head()->moreFollows = 1;
        for (int x = 0; x < 4096; ++x) {
            dark.pairs()[2 * x] = 1.0f + x * 1e-5f;
            dark.pairs()[2 * x + 1] = 640.0f + 64.0f * (x % 7);
            bright.pairs()[2 * x] = 1.0f + x * 1e-5f;
            bright.pairs()[2 * x + 1] = 640.0f + 64.0f * (x % 7);
        }
        QCOMPARE(dark.send(h), LSX_OK);
        QCOMPARE(bright.send(h), LSX_OK);
        FpnRecord read(4096, 1, 0);
        uint32_t size = uint32_t(read.block.size());
        QCOMPARE(lsxGet(h, LSX_KEY_FPN, read.block.data(), &size), LSX_OK);
        QCOMPARE(int(int8_t(read.head()->doffset)), -2);
        QCOMPARE(read.head()->bits, uint8_t(LSX_BITS_16));
        for (int x : {0, 1, 6, 2047, 4095}) {
            QCOMPARE(read.pairs()[2 * x], 1.0f + x * 1e-5f);
            QCOMPARE(read.pairs()[2 * x + 1], 640.0f + 64.0f * (x % 7));
        }
        size = 100;
        QCOMPARE(lsxGet(h, LSX_KEY_FPN, read.block.data(), &size), LSX_ERR_BLOCK_SIZE);
        // An 8-bit target reads B on the 8-bit scale.
        lsxSetTargetFormat(h, 0);
        size = uint32_t(read.block.size());
        QCOMPARE(lsxGet(h, LSX_KEY_FPN, read.block.data(), &size), LSX_OK);
        QCOMPARE(read.pairs()[2 * 6 + 1], 4.0f);  // 1024 on the 16-bit scale is 16 DN10, 4 on the 8-bit scale
        // Malformed records.
        FpnRecord bad(4096, 1, 9);
        QCOMPARE(bad.send(h), LSX_ERR_INVALID_ARG);
        FpnRecord odd(4096, 1, LSX_FPN_DARK);
        odd.head()->dataSize = 8;
        QCOMPARE(odd.send(h), LSX_ERR_BLOCK_SIZE);
        odd.head()->dataSize = 4096 * 8;
        odd.head()->data = nullptr;
        QCOMPARE(odd.send(h), LSX_ERR_INVALID_ARG);
    }

    void factorySetIsWriteProtected()
    {
        lsxHandle h = openCamera("SIM-LS4096-M");
        FpnRecord whole(4096, 1, LSX_FPN_WHOLE);
        for (int x = 0; x < 4096; ++x) whole.pairs()[2 * x] = 1.0f;
        QCOMPARE(whole.send(h), LSX_ERR_WRITE_PROTECTED);
        QCOMPARE(lsxSetConfigString(h, "FPNC.Selector", "factory"), LSX_OK);
        FpnRecord dark(4096, 1, LSX_FPN_DARK);
        QCOMPARE(dark.send(h), LSX_ERR_WRITE_PROTECTED);
        lsxClose(h);
        h = openCamera("SIM-LS4096-M", LSX_OPEN_FACTORY);
        QVERIFY(h);
        QCOMPARE(whole.send(h), LSX_OK);
        QCOMPARE(lsxSetConfigString(h, "FPNC.Selector", "factory"), LSX_OK);
        QCOMPARE(dark.send(h), LSX_OK);
    }

    void flatFieldSetReadsBackFromMemory()
    {
        // The colour camera, RGB24 target: the payload comes interleaved R, G, B per column; the
        // memory shows the set planar B, G, R as K * 2^14.
        lsxHandle h = openCamera("SIM-LS2048-C");
        lsxSetTargetFormat(h, FORMAT_RGB24);
        QCOMPARE(lsxSetConfigString(h, "PRNUC", "UserSet1"), LSX_OK);
        FpnRecord ffc(2048 * 3, 1, LSX_FPN_FLATFIELD);
        for (int x = 0; x < 2048; ++x) {
            ffc.pairs()[2 * (3 * x + 0)] = 1.25f;               // R
            ffc.pairs()[2 * (3 * x + 1)] = 1.0f;                // G
            ffc.pairs()[2 * (3 * x + 2)] = 0.5f + x / 8192.0f;  // B
        }
        QCOMPARE(ffc.send(h), LSX_OK);
        uint8_t head[16];
        QCOMPARE(lsxReadGenICamMem(h, LSX_MEM_FFC_SET, head, 16), LSX_OK);
        uint16_t cols, payload;
        std::memcpy(&cols, head + 8, 2);
        std::memcpy(&payload, head + 14, 2);
        QCOMPARE(int(cols), 2048);
        QCOMPARE(int(payload), 2048 * 3 * 2);
        std::vector<uint16_t> all(8 + 2048 * 3);
        QCOMPARE(lsxReadGenICamMem(h, LSX_MEM_FFC_SET, all.data(), 16 + payload), LSX_OK);
        const uint16_t* k = all.data() + 8;
        QCOMPARE(int(k[0]), 8192);          // B at column 0: 0.5
        QCOMPARE(int(k[100]), 8192 + 200);  // B at column 100
        QCOMPARE(int(k[2048 + 5]), 16384);  // G
        QCOMPARE(int(k[4096 + 7]), 20480);  // R: 1.25
        // Another set selected: its memory is empty.
        lsxSetConfigString(h, "PRNUC", "UserSet0");
        QCOMPARE(lsxReadGenICamMem(h, LSX_MEM_FFC_SET, head, 16), LSX_OK);
        std::memcpy(&cols, head + 8, 2);
        QCOMPARE(int(cols), 0);
        QCOMPARE(lsxWriteGenICamMem(h, LSX_MEM_FFC_SET, head, 16), -54);
        QCOMPARE(lsxReadGenICamMem(h, 0x1234, head, 16), LSX_ERR_ADDRESS);
        // Written while "Disable" is selected: lands in the set selected next.
        lsxSetConfigString(h, "PRNUC", "Disable");
        QCOMPARE(ffc.send(h), LSX_OK);
        lsxSetConfigString(h, "PRNUC", "UserSet3");
        lsxReadGenICamMem(h, LSX_MEM_FFC_SET, head, 16);
        std::memcpy(&cols, head + 8, 2);
        QCOMPARE(int(cols), 2048);
    }

    void lensShadingBlockIsChecked()
    {
        lsxHandle h = openCamera("SIM-LS2048-C");
        std::vector<uint8_t> block(16 + 192, 0);
        const uint32_t magic = LSX_LSC_MAGIC;
        std::memcpy(block.data(), &magic, 4);
        const uint16_t w = 2048, payload = 192;
        std::memcpy(&block[8], &w, 2);
        std::memcpy(&block[14], &payload, 2);
        for (int c = 0; c < 3; ++c) {
            double q[8] = {0, 0, 0, 0, 0, 0, 100.0, 120.0};
            std::memcpy(&block[16 + c * 64], q, 64);
        }
        uint32_t sum = 0;
        for (int i = 0; i < 192; ++i) sum += block[size_t(16 + i)];
        uint16_t cs = uint16_t(sum + 1);
        std::memcpy(&block[12], &cs, 2);
        QCOMPARE(lsxWriteGenICamMem(h, LSX_MEM_LSC_BLOCK, block.data(), 208), LSX_ERR_CHECKSUM);
        cs = uint16_t(sum);
        std::memcpy(&block[12], &cs, 2);
        std::vector<uint8_t> wrongMagic = block;
        wrongMagic[0] ^= 1;
        QCOMPARE(lsxWriteGenICamMem(h, LSX_MEM_LSC_BLOCK, wrongMagic.data(), 208), LSX_ERR_CHECKSUM);
        QCOMPARE(lsxWriteGenICamMem(h, LSX_MEM_LSC_BLOCK, block.data(), 100), LSX_ERR_BLOCK_SIZE);
        QCOMPARE(lsxWriteGenICamMem(h, LSX_MEM_LSC_BLOCK, block.data(), 208), LSX_OK);
        std::vector<uint8_t> back(208);
        QCOMPARE(lsxReadGenICamMem(h, LSX_MEM_LSC_BLOCK, back.data(), 208), LSX_OK);
        QVERIFY(back == block);
        uint32_t idx = 0;
        QCOMPARE(lsxReadGenICamReg(h, GVR_LSC_SET_INDEX, &idx), LSX_OK);
        idx = (idx & ~0xFF0000u) | (5u << 16) | 0x11u;
        QCOMPARE(lsxWriteGenICamReg(h, GVR_LSC_SET_INDEX, idx), LSX_OK);
        uint32_t again = 0;
        lsxReadGenICamReg(h, GVR_LSC_SET_INDEX, &again);
        QCOMPARE(again, idx);
        QCOMPARE(lsxWriteGenICamReg(h, GVR_LSC_SET_INDEX, 16u << 16), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxWriteGenICamReg(h, GVR_FLASH_STORE, 2), LSX_OK);
        QCOMPARE(lsxWriteGenICamReg(h, GVR_FLASH_STORE, 3), LSX_ERR_OUT_OF_RANGE);
    }

    void configurationFileRestoresTheSettings()
    {
        QTemporaryDir dir;
        const QByteArray path = (dir.path() + "/SIM-LS4096-M.ini").toLocal8Bit();
        lsxHandle h = openCamera("SIM-LS4096-M");
        lsxSetExposure(h, 321.5);
        lsxSetAnalogGain(h, 3.0f);
        lsxSetTargetFormat(h, 34);
        lsxSetConfigString(h, "FPNC.Selector", "UserSet2");
        lsxSetConfigString(h, "LineRate", "12345");
        lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, 7);
        lsxRegion r{};
        lsxGetRoi(h, &r);
        r.X = 64;
        r.W = 2048;
        lsxSetRoi(h, &r);
        QCOMPARE(lsxSaveConfig(h, path.constData()), LSX_OK);
        lsxSetExposure(h, 50);
        lsxSetAnalogGain(h, 1.0f);
        lsxSetTargetFormat(h, 0);
        lsxSetConfigString(h, "FPNC.Selector", "UserSet0");
        lsxSetConfigString(h, "LineRate", "20000");
        lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, 0);
        r.X = 0;
        r.W = 4096;
        lsxSetRoi(h, &r);
        QCOMPARE(lsxLoadConfig(h, path.constData()), LSX_OK);
        double us = 0;
        float g = 0;
        int32_t t = 0;
        uint32_t bl = 0;
        char v[64];
        lsxGetExposure(h, &us);
        lsxGetAnalogGain(h, &g);
        lsxGetTargetFormat(h, &t);
        lsxReadGenICamReg(h, GVR_SEN_BLACK_LEVEL, &bl);
        QCOMPARE(us, 321.5);
        QCOMPARE(g, 3.0f);
        QCOMPARE(t, 34);
        QCOMPARE(bl, 7u);
        lsxGetConfigString(h, "FPNC.Selector", v, sizeof v);
        QCOMPARE(QString(v), QString("UserSet2"));
        lsxGetConfigString(h, "LineRate", v, sizeof v);
        QCOMPARE(QString(v), QString("12345"));
        lsxGetRoi(h, &r);
        QCOMPARE(r.X, 64);
        QCOMPARE(r.W, 2048);
        QCOMPARE(lsxLoadConfig(h, (dir.path() + "/missing.ini").toLocal8Bit().constData()), LSX_ERR_FILE_OPEN);
        QFile junk(dir.path() + "/junk.ini");
        QVERIFY(junk.open(QIODevice::WriteOnly));
        junk.write("not a camera file\n");
        junk.close();
        QCOMPARE(lsxLoadConfig(h, (dir.path() + "/junk.ini").toLocal8Bit().constData()), LSX_ERR_FILE_FORMAT);
    }

    void softwareTriggerGivesExactlyOneFramePerFire()
    {
        lsxHandle h = openCamera("SIM-LS4096-M");
        lsxFrame f;
        void* buf = nullptr;
        QCOMPARE(lsxGetFrame(h, &f, &buf, 10), LSX_ERR_NOT_STARTED);
        QCOMPARE(lsxTriggerFire(h), LSX_ERR_NOT_STARTED);
        prepare(h, 2, 34, 100);
        QCOMPARE(lsxStart(h), 2);  // already running: a partial outcome, success after lsxStart
        QCOMPARE(lsxGetFrame(h, &f, &buf, 50), LSX_ERR_TIMEOUT);
        QCOMPARE(lsxTriggerFire(h), LSX_OK);
        QCOMPARE(lsxTriggerFire(h), LSX_OK);
        QCOMPARE(lsxGetFrame(h, &f, &buf, 1000), LSX_OK);
        QCOMPARE(f.width, 4096);
        QCOMPARE(f.height, 100);
        QCOMPARE(f.bits, uint32_t(LSX_BITS_16));
        QCOMPARE(f.format, uint32_t(FORMAT_MONO));
        QCOMPARE(f.size, 4096u * 100u * 2u);
        QCOMPARE(lsxGetFrame(h, &f, &buf, 1000), LSX_OK);
        QCOMPARE(lsxGetFrame(h, &f, &buf, 50), LSX_ERR_TIMEOUT);
        uint64_t frames = 0, fires = 0;
        QCOMPARE(lsxSimGetCounters(handleName(h).c_str(), &frames, &fires), LSX_OK);
        QCOMPARE(frames, uint64_t(2));
        QCOMPARE(fires, uint64_t(2));
        QCOMPARE(lsxGetFrame(h, nullptr, &buf, 50), LSX_ERR_INVALID_ARG);
    }

    void setterGoesThroughWhileAnotherThreadWaits()
    {
        lsxHandle h = openCamera("SIM-LS4096-M");
        prepare(h, 2, 34, 100);
        std::atomic<int> result{0};
        std::atomic<bool> done{false};
        QElapsedTimer t;
        t.start();
        std::thread worker([&] {
            lsxFrame f;
            void* buf = nullptr;
            result = lsxGetFrame(h, &f, &buf, 3000);  // no trigger: waits its full time
            done = true;
        });
        QTest::qWait(100);
        QVERIFY(!done);
        QElapsedTimer s;
        s.start();
        QCOMPARE(lsxSetExposure(h, 400.0), LSX_OK);
        QCOMPARE(lsxSetAnalogGain(h, 2.0f), LSX_OK);
        char v[64];
        QCOMPARE(lsxGetConfigString(h, "FPNC.Enable", v, sizeof v), LSX_OK);
        QVERIFY2(s.elapsed() < 1000, "a setter waited for the frame");  // the frame wait is 3000 ms
        QVERIFY(!done);
        QCOMPARE(lsxTriggerFire(h), LSX_OK);  // and the fire from this thread wakes the waiting one
        QTRY_VERIFY_WITH_TIMEOUT(done.load(), 2000);
        worker.join();
        QCOMPARE(result.load(), LSX_OK);
        QVERIFY(t.elapsed() < 2500);
        // A stop from this thread ends a wait at once.
        std::thread worker2([&] {
            lsxFrame f;
            void* buf = nullptr;
            result = lsxGetFrame(h, &f, &buf, 5000);
        });
        QTest::qWait(50);
        QCOMPARE(lsxStop(h), LSX_OK);
        worker2.join();
        QCOMPARE(result.load(), LSX_ERR_NOT_STARTED);
    }

    void twoThreadsHammerOneHandle()
    {
        lsxHandle h = openCamera("SIM-LS2048-C");
        prepare(h, 10, 10, 50);
        std::atomic<int> failures{0};
        std::thread a([&] {
            for (int i = 0; i < 200; ++i) {
                lsxFrame f;
                void* buf = nullptr;
                if (lsxTriggerFire(h) != LSX_OK || lsxGetFrame(h, &f, &buf, 1000) != LSX_OK) ++failures;
            }
        });
        for (int i = 0; i < 2000; ++i) {
            if (lsxSetExposure(h, 50.0 + i % 100) != LSX_OK) ++failures;
            lsxRegion r{};
            r.W = 2048;
            r.H = 50 + (i % 3);
            if (lsxSetRoi(h, &r) != LSX_OK) ++failures;
            if (lsxSetConfigString(h, "PRNUC", i % 2 ? "UserSet0" : "Disable") != LSX_OK) ++failures;
        }
        a.join();
        QCOMPARE(failures.load(), 0);
    }

    void injectedFaults()
    {
        lsxHandle h = openCamera("SIM-LS4096-M");
        QCOMPARE(lsxSimInjectFault("lsxSetExposure", 2, -1001, 1), LSX_OK);
        QCOMPARE(lsxSetExposure(h, 100), LSX_OK);
        QCOMPARE(lsxSetExposure(h, 100), LSX_OK);
        QCOMPARE(lsxSetExposure(h, 100), -1001);
        QCOMPARE(lsxSetExposure(h, 100), LSX_OK);  // once only
        QCOMPARE(lsxSimInjectFault("lsxSet", 0, LSX_ERR_WRITE_PROTECTED, 0), LSX_OK);
        uint8_t on = 1;
        QCOMPARE(lsxSet(h, LSX_KEY_FPN_ENABLE, &on, nullptr), LSX_ERR_WRITE_PROTECTED);
        QCOMPARE(lsxSet(h, LSX_KEY_FPN_ENABLE, &on, nullptr), LSX_ERR_WRITE_PROTECTED);
        QCOMPARE(lsxSimClearFaults(), LSX_OK);
        QCOMPARE(lsxSet(h, LSX_KEY_FPN_ENABLE, &on, nullptr), LSX_OK);

        // Frame time-outs: the triggered frame waits for the next call.
        prepare(h, 2, 34, 20);
        QCOMPARE(lsxSimFrameTimeouts("SIM-LS4096-M", 2), LSX_OK);
        lsxFrame f;
        void* buf = nullptr;
        QCOMPARE(lsxTriggerFire(h), LSX_OK);
        QCOMPARE(lsxGetFrame(h, &f, &buf, 3000), LSX_ERR_TIMEOUT);
        QCOMPARE(lsxGetFrame(h, &f, &buf, 3000), LSX_ERR_TIMEOUT);
        QCOMPARE(lsxGetFrame(h, &f, &buf, 3000), LSX_OK);

        // Disconnect after two frames.
        QCOMPARE(lsxSimDisconnectAfterFrames(handleName(h).c_str(), 2), LSX_OK);
        Frame fr;
        QCOMPARE(grab(h, fr), LSX_OK);
        QCOMPARE(grab(h, fr), LSX_OK);
        QCOMPARE(grab(h, fr), LSX_ERR_DISCONNECTED);
        double us;
        QCOMPARE(lsxGetExposure(h, &us), LSX_ERR_DISCONNECTED);
        int32_t count = 0;
        lsxRefresh(&count);
        QCOMPARE(count, 5);
        QCOMPARE(lsxClose(h), LSX_OK);
        lsxHandle again = 0;
        QCOMPARE(lsxOpenByName("SIM-LS4096-M", 1, &again), LSX_ERR_LOGICAL_DEVICE);
        QCOMPARE(lsxSimReconnect("SIM-LS4096-M"), LSX_OK);
        QCOMPARE(lsxOpenByName("SIM-LS4096-M", 1, &again), LSX_OK);
        QCOMPARE(lsxSimSetNoise("NO-SUCH", false), LSX_ERR_LOGICAL_DEVICE);
    }

    void areaCameraDeliversOneReadoutPerFrame()
    {
        lsxHandle h = openCamera("SIM-TVK317");
        lsxRegion r{};
        QCOMPARE(lsxGetRoi(h, &r), LSX_OK);
        QCOMPARE(r.W, 1024);
        QCOMPARE(r.H, 8);
        lsxSensorInfo si;
        lsxGetSensorInfo(h, &si);
        QCOMPARE(si.maxHeight, 8);
        r.H = 9;
        QCOMPARE(lsxSetRoi(h, &r), LSX_ERR_OUT_OF_RANGE);
        lsxSimSetTimeScale("SIM-TVK317", 0);
        lsxSetTargetFormat(h, 34);
        QCOMPARE(lsxStart(h), LSX_OK);
        lsxFrame f;
        void* buf = nullptr;
        for (int i = 0; i < 512; ++i) QCOMPARE(lsxGetFrame(h, &f, &buf, 1000000), LSX_OK);
        QCOMPARE(f.width, 1024);
        QCOMPARE(f.height, 8);
        QCOMPARE(f.bits, uint32_t(LSX_BITS_16));
        // FPN per pixel of the readout, one whole record (type 0) into the selected set.
        FpnRecord rec(1024, 8, LSX_FPN_WHOLE);
        for (int i = 0; i < 1024 * 8; ++i) rec.pairs()[2 * i] = 1.0f;
        QCOMPARE(rec.send(h), LSX_OK);
        uint8_t on = 1;
        uint32_t zero = 0;
        QCOMPARE(lsxSet(h, LSX_KEY_FPN_ENABLE, &on, &zero), LSX_OK);
    }
};

QTEST_GUILESS_MAIN(TestSimContract)
#include "test_sim_contract.moc"

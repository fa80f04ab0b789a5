// The GenICam camera library against the device contract, on a GigE Vision line-scan camera on
// the loopback: every operation with what it answers (the maker's corrections as absent and
// off, their data refused with -2 and never written), enumeration and open by vendor, model and
// serial, the image region, exposure, gain and line rate through their standard features, the
// pixel formats behind the format codes, the black level behind the DOffset register, the
// camera's own features by name, and the state file.
#include "common/contractops.h"
#include "genicam/gvtestutil.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <set>

using namespace gvtest;

namespace {

// What the library answers -2 to on a camera without the maker's firmware: the property dialog,
// colour solutions, binning enumerations, the FPN sets, the LSC set register, memory windows.
const std::set<std::string> kNotSupported = {"lsxShowPropertyModalDialog", "lsxGetColorSolutionSelDetail",
                                             "lsxSetColorSolutionSel",     "lsxGetEnumValue",
                                             "lsxGetEnumNameValue",        "lsxSetEnumValueByString",
                                             "lsxGetConfigString",         "lsxWriteGenICamReg",
                                             "lsxReadGenICamMem",          "lsxWriteGenICamMem"};

}  // namespace

class TestGenicamContract : public QObject {
    Q_OBJECT

    TestCamera m_camera;
    QString m_name;

    // Every register of the device the library can reach, to see that a refused write left them.
    QList<uint32_t> deviceRegisters()
    {
        QList<uint32_t> out;
        for (uint32_t a = 0x100; a <= 0x138; a += 4) out.append(peek(m_camera, a));
        for (uint32_t a = 0x300; a <= 0x30c; a += 4) out.append(peek(m_camera, a));
        for (uint32_t a = 0x8000; a <= 0x8020; a += 4) out.append(peek(m_camera, a));
        return out;
    }

private slots:
    void initTestCase()
    {
        const QString failed = startAndFind(m_camera, "C");
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
        m_name = m_camera.friendlyName(kWidth);
        QCOMPARE(m_camera.command(QStringLiteral("noise off")), QStringLiteral("ok"));
    }

    void cleanupTestCase() { m_camera.stop(); }

    void everyOperationOnTheLoopbackCamera()
    {
        QTemporaryDir dir;
        const auto ops = contract::everyOperation((dir.path() + "/state.txt").toLocal8Bit());
        QCOMPARE(int(ops.size()) + 3, LSX_OPERATION_COUNT);  // plus lsxRefresh, lsxEnum, lsxOpenByName
        const Session h(openReset(m_name));
        QVERIFY(h);
        for (const contract::Operation& op : ops) {
            // The table asks for the second LSC set; the camera offers one choice, "Disable".
            const lsxStatus expected = kNotSupported.count(op.name)                     ? LSX_ERR_NOT_SUPPORTED
                                       : QByteArray(op.name) == "lsxGetSelectionDetail" ? LSX_ERR_OUT_OF_RANGE
                                                                                        : LSX_OK;
            const lsxStatus st = op.call(h);
            QVERIFY2(st == expected,
                     qPrintable(QStringLiteral("%1: %2, expected %3").arg(op.name).arg(st).arg(expected)));
        }
    }

    void everyOperationAnswersAWrongHandle()
    {
        QTemporaryDir dir;
        for (const contract::Operation& op : contract::everyOperation((dir.path() + "/state.txt").toLocal8Bit()))
            if (QByteArray(op.name) != "lsxDebugFormat")  // the log takes any handle
                QVERIFY2(op.call(0xDEAD) == LSX_ERR_INVALID_HANDLE, op.name);
    }

    void enumeratesByVendorModelAndSerial()
    {
        int32_t count = 0;
        QCOMPARE(lsxRefresh(&count), LSX_OK);
        QVERIFY(count >= 1);
        int found = -1;
        for (int i = 0; i < count; ++i) {
            lsxCameraInfo info;
            QCOMPARE(lsxEnum(i, &info), LSX_OK);
            if (QString::fromLatin1(info.friendlyName) == m_name) found = i;
        }
        QVERIFY2(found >= 0, qPrintable(m_name));
        lsxCameraInfo info;
        QCOMPARE(lsxEnum(found, &info), LSX_OK);
        QCOMPARE(QString::fromLatin1(info.vendor), QStringLiteral("LSXTest"));
        QCOMPARE(QString::fromLatin1(info.model), QStringLiteral("LS1024-GV"));
        QCOMPARE(QString::fromLatin1(info.serialNumber), uniqueSerial("C"));
        // The type is known once the feature tree is read.
        QCOMPARE(QString::fromLatin1(info.cameraType), QString());
        const Session h(openReset(m_name));
        QVERIFY(h);
        QCOMPARE(lsxGetCameraInfo(h, &info), LSX_OK);
        QCOMPARE(QString::fromLatin1(info.friendlyName), m_name);
        QCOMPARE(QString::fromLatin1(info.cameraType), QStringLiteral("LineScan"));
        QCOMPARE(QString::fromLatin1(info.sensor), QStringLiteral("1024x1"));
        QVERIFY(!QString::fromLatin1(info.sensor).contains(QStringLiteral("K317")));
        // While open, the scan's record carries the whole description.
        QCOMPARE(lsxEnum(found, &info), LSX_OK);
        QCOMPARE(QString::fromLatin1(info.cameraType), QStringLiteral("LineScan"));
        lsxSensorInfo sensor;
        QCOMPARE(lsxGetSensorInfo(h, &sensor), LSX_OK);
        QCOMPARE(sensor.maxWidth, kWidth);
        QCOMPARE(sensor.maxHeight, 1);
        QCOMPARE(sensor.bitDepth, 16u);
        QCOMPARE(lsxClose(h), LSX_OK);
        QCOMPARE(lsxEnum(count, &info), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxEnum(0, nullptr), LSX_ERR_INVALID_ARG);
        QCOMPARE(lsxRefresh(nullptr), LSX_ERR_INVALID_ARG);
    }

    void openAndCloseStatuses()
    {
        int32_t count = 0;
        lsxRefresh(&count);
        lsxHandle h = 0, h2 = 0;
        QCOMPARE(lsxOpenByName("LSXTest NO-SUCH 0", 1, &h), LSX_ERR_LOGICAL_DEVICE);
        QCOMPARE(lsxOpenByName(m_name.toLatin1().constData(), 3, &h), LSX_ERR_INVALID_ARG);
        QCOMPARE(lsxOpenByName(m_name.toLatin1().constData(), 1, &h), LSX_OK);
        QCOMPARE(lsxOpenByName(m_name.toLatin1().constData(), 1, &h2), LSX_ERR_ALREADY_OPEN);
        QCOMPARE(lsxClose(h), LSX_OK);
        QCOMPARE(lsxClose(h), LSX_ERR_INVALID_HANDLE);
        double us = 0;
        QCOMPARE(lsxGetExposure(h, &us), LSX_ERR_INVALID_HANDLE);
        // The factory mode opens as the normal one: there is no factory data to protect.
        QCOMPARE(lsxOpenByName(m_name.toLatin1().constData(), LSX_OPEN_FACTORY, &h2), LSX_OK);
        QVERIFY(h2 != h);
        QCOMPARE(lsxDebugFormat(h2, 16, "Vesmira", "lsxset : %s %d", "DSNU", 42), LSX_OK);
        QCOMPARE(lsxClose(h2), LSX_OK);
    }

    void regionExposureAndGainThroughTheirFeatures()
    {
        const Session h(openReset(m_name));
        QVERIFY(h);
        lsxRegionDescr d;
        QCOMPARE(lsxGetRoiDescr(h, &d), LSX_OK);
        QCOMPARE(d.minWidth, 64);
        QCOMPARE(d.maxWidth, kWidth);
        QCOMPARE(d.widthStep, 8);
        QCOMPARE(d.minHeight, 1);
        QCOMPARE(d.maxHeight, 16384);
        QCOMPARE(d.heightStep, 1);
        bool inUse = false;
        QCOMPARE(lsxGetRoiState(h, &inUse), LSX_OK);
        QVERIFY(inUse);
        lsxRegion r{};
        QCOMPARE(lsxGetRoi(h, &r), LSX_OK);
        QCOMPARE(r.X, 0);
        QCOMPARE(r.W, kWidth);
        QCOMPARE(r.H, 1000);
        std::memset(r.reserved, 0x5A, sizeof r.reserved);
        r.X = 64;
        r.W = 512;
        r.H = 300;
        QCOMPARE(lsxSetRoi(h, &r), LSX_OK);
        QCOMPARE(peek(m_camera, 0x130), 64u);
        QCOMPARE(peek(m_camera, 0x100), 512u);
        QCOMPARE(peek(m_camera, 0x104), 300u);
        lsxRegion back{};
        QCOMPARE(lsxGetRoi(h, &back), LSX_OK);
        QCOMPARE(back.X, 64);
        QCOMPARE(back.W, 512);
        QCOMPARE(back.H, 300);
        // Back to the whole line from an offset: the offset goes first.
        r.X = 0;
        r.W = kWidth;
        QCOMPARE(lsxSetRoi(h, &r), LSX_OK);
        QCOMPARE(peek(m_camera, 0x100), uint32_t(kWidth));
        // Refused regions leave the camera as it was.
        r.W = kWidth + 8;
        QCOMPARE(lsxSetRoi(h, &r), LSX_ERR_OUT_OF_RANGE);
        r.W = 513;
        QCOMPARE(lsxSetRoi(h, &r), LSX_ERR_OUT_OF_RANGE);
        r.W = 512;
        r.X = 516;  // off the offset's step
        QCOMPARE(lsxSetRoi(h, &r), LSX_ERR_OUT_OF_RANGE);
        r.X = 520;  // past the line's end
        QCOMPARE(lsxSetRoi(h, &r), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(peek(m_camera, 0x100), uint32_t(kWidth));
        QCOMPARE(peek(m_camera, 0x130), 0u);
        QCOMPARE(lsxSetRoi(h, nullptr), LSX_ERR_INVALID_ARG);

        lsxDoubleDescr e;
        QCOMPARE(lsxGetExposureDescr(h, &e), LSX_OK);
        QCOMPARE(e.min, 2.0);
        QCOMPARE(e.max, 20000.0);
        QCOMPARE(lsxSetExposure(h, 250.0), LSX_OK);
        double us = 0;
        QCOMPARE(lsxGetExposure(h, &us), LSX_OK);
        QCOMPARE(us, 250.0);
        QCOMPARE(peek(m_camera, 0x120), 250u);
        QCOMPARE(lsxSetExposure(h, 1.0), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxSetExposure(h, 20000.5), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(peek(m_camera, 0x120), 250u);
        lsxFloatDescr g;
        QCOMPARE(lsxGetAnalogGainDescr(h, &g), LSX_OK);
        QCOMPARE(g.min, 1.0f);
        QCOMPARE(g.max, 8.0f);
        QCOMPARE(lsxSetAnalogGain(h, 2.5f), LSX_OK);
        float gain = 0;
        QCOMPARE(lsxGetAnalogGain(h, &gain), LSX_OK);
        QCOMPARE(gain, 2.5f);
        QCOMPARE(peek(m_camera, 0x110), 250u);  // hundredths in the device
        QCOMPARE(lsxSetAnalogGain(h, 0.5f), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxSetAnalogGain(h, 1.0f), LSX_OK);

        // The line rate: a float feature in lines per second.
        QCOMPARE(lsxSetConfigString(h, "LineRate", "10000"), LSX_OK);
        QCOMPARE(configString(h, "LineRate"), QStringLiteral("10000"));
        QCOMPARE(lsxSetConfigString(h, "LineRate", "12345.5"), LSX_OK);
        QCOMPARE(configString(h, "LineRate"), QStringLiteral("12345.5"));
        QCOMPARE(lsxSetConfigString(h, "LineRate", "500000"), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxSetConfigString(h, "LineRate", "fast"), LSX_ERR_INVALID_ARG);
        QCOMPARE(configString(h, "LineRate"), QStringLiteral("12345.5"));
        char small[3];
        QCOMPARE(lsxGetConfigString(h, "LineRate", small, sizeof small), LSX_ERR_BLOCK_SIZE);
        QCOMPARE(lsxSetConfigString(h, "LineRate", "20000"), LSX_OK);
        lsxClose(h);
    }

    void formatsPickThePixelFormat()
    {
        const Session h(openReset(m_name));
        QVERIFY(h);
        int32_t f = -1;
        QCOMPARE(lsxGetTargetFormat(h, &f), LSX_OK);
        QCOMPARE(f, int32_t(FORMAT_MONO));
        QCOMPARE(lsxGetSourceFormat(h, &f), LSX_OK);
        QCOMPARE(f, int32_t(FORMAT_MONO));
        // The calibrations' formats: the sensor side follows the delivered format.
        QCOMPARE(lsxSetSourceFormat(h, FORMAT_MONO16_SOURCE), LSX_OK);
        QCOMPARE(lsxSetTargetFormat(h, FORMAT_MONO16), LSX_OK);
        QCOMPARE(peek(m_camera, 0x128), 0x01100003u);  // Mono10: the program's own depth first
        QCOMPARE(lsxGetTargetFormat(h, &f), LSX_OK);
        QCOMPARE(f, int32_t(FORMAT_MONO16));
        QCOMPARE(lsxGetSourceFormat(h, &f), LSX_OK);
        QCOMPARE(f, int32_t(FORMAT_MONO16_SOURCE));
        QCOMPARE(lsxSetTargetFormat(h, FORMAT_BGR24), LSX_OK);
        QCOMPARE(peek(m_camera, 0x128), 0x02180015u);
        QCOMPARE(lsxSetTargetFormat(h, FORMAT_RGB24), LSX_OK);
        QCOMPARE(peek(m_camera, 0x128), 0x02180014u);
        QCOMPARE(lsxSetTargetFormat(h, FORMAT_BGR32), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxSetTargetFormat(h, 77), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(peek(m_camera, 0x128), 0x02180014u);
        QCOMPARE(lsxSetSourceFormat(h, FORMAT_BGR32), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxSetTargetFormat(h, 30), LSX_OK);  // 8-bit mono under its other code
        QCOMPARE(peek(m_camera, 0x128), 0x01080001u);
        lsxClose(h);
    }

    void blackLevelBehindTheDoffsetRegister()
    {
        const Session h(openReset(m_name));
        QVERIFY(h);
        uint32_t v = 0;
        QCOMPARE(lsxReadGenICamReg(h, GVR_SEN_BLACK_LEVEL, &v), LSX_OK);
        QCOMPARE(v, 0u);
        // One signed byte, as the maker's register: -3 reads back as 253.
        QCOMPARE(lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, uint32_t(-3)), LSX_OK);
        QCOMPARE(peek(m_camera, 0x8010), uint32_t(-3));
        QCOMPARE(lsxReadGenICamReg(h, GVR_SEN_BLACK_LEVEL, &v), LSX_OK);
        QCOMPARE(v, 253u);
        QCOMPARE(lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, 253), LSX_OK);
        QCOMPARE(peek(m_camera, 0x8010), uint32_t(-3));
        QCOMPARE(lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, 7), LSX_OK);
        QCOMPARE(peek(m_camera, 0x8010), 7u);
        QCOMPARE(lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, 300), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(peek(m_camera, 0x8010), 7u);
        QCOMPARE(lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, 0), LSX_OK);
        QCOMPARE(lsxReadGenICamReg(h, GVR_MULTI_FPN_SELECT, &v), LSX_OK);
        QCOMPARE(v, 0u);  // no sensor line with FPN data of its own
        lsxClose(h);
    }

    void makerCorrectionsReadAsAbsentAndOff()
    {
        const Session h(openReset(m_name));
        QVERIFY(h);
        const QList<uint32_t> before = deviceRegisters();

        uint8_t on = 1;
        uint32_t size = 48;
        QCOMPARE(lsxGet(h, LSX_KEY_FPN_ENABLE, &on, &size), LSX_OK);
        QCOMPARE(on, uint8_t(0));
        QCOMPARE(size, 1u);
        on = 0;
        size = 0;
        QCOMPARE(lsxSet(h, LSX_KEY_FPN_ENABLE, &on, &size), LSX_OK);  // "turn the camera's FPN off"
        on = 1;
        QCOMPARE(lsxSet(h, LSX_KEY_FPN_ENABLE, &on, &size), LSX_ERR_NOT_SUPPORTED);

        lsxCorrectionSwitch sw;
        std::memset(&sw, 0xA5, sizeof sw);
        size = sizeof sw;
        QCOMPARE(lsxGet(h, LSX_KEY_CORRECTION_SWITCH, &sw, &size), LSX_OK);
        QCOMPARE(sw.enable, uint8_t(0));
        QCOMPARE(sw.mode, uint8_t(0));
        QCOMPARE(size, 104u);
        size = 50;
        QCOMPARE(lsxGet(h, LSX_KEY_CORRECTION_SWITCH, &sw, &size), LSX_ERR_BLOCK_SIZE);
        size = sizeof sw;
        QCOMPARE(lsxSet(h, LSX_KEY_CORRECTION_SWITCH, &sw, &size), LSX_OK);
        sw.enable = 1;
        sw.mode = LSX_SWITCH_FLAT_ONLY;
        QCOMPARE(lsxSet(h, LSX_KEY_CORRECTION_SWITCH, &sw, &size), LSX_ERR_NOT_SUPPORTED);

        // Correction data has no place in the camera.
        std::vector<uint8_t> record(40 + kWidth * 8, 0);
        auto* head = reinterpret_cast<lsxFpnHeader*>(record.data());
        head->columns = kWidth;
        head->lines = 1;
        head->bits = LSX_BITS_16;
        head->type = LSX_FPN_DARK;
        head->dataSize = kWidth * 8;
        head->data = record.data() + 40;
        size = 40;
        QCOMPARE(lsxSet(h, LSX_KEY_FPN, record.data(), &size), LSX_ERR_NOT_SUPPORTED);
        head->type = LSX_FPN_FLATFIELD;
        QCOMPARE(lsxSet(h, LSX_KEY_FPN, record.data(), &size), LSX_ERR_NOT_SUPPORTED);
        size = uint32_t(record.size());
        QCOMPARE(lsxGet(h, LSX_KEY_FPN, record.data(), &size), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxSet(h, LSX_KEY_GAIN_TABLE, record.data(), &size), LSX_ERR_NOT_SUPPORTED);
        lsxRegPair pair{LSX_SENSOR_REG_DOFFSET_MAG, 5};
        QCOMPARE(lsxSet(h, LSX_KEY_SENSOR_REG, &pair, nullptr), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxGet(h, LSX_KEY_SENSOR_REG, &pair, nullptr), LSX_ERR_NOT_SUPPORTED);
        lsxFactoryRecord factory;
        size = sizeof factory;
        QCOMPARE(lsxGet(h, LSX_KEY_FACTORY, &factory, &size), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxSet(h, LSX_KEY_FACTORY, &factory, &size), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxGet(h, 999, &factory, &size), LSX_ERR_NOT_SUPPORTED);

        uint32_t v = 0;
        QCOMPARE(lsxReadGenICamReg(h, GVR_LSC_SET_INDEX, &v), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxWriteGenICamReg(h, GVR_LSC_SET_INDEX, 5u << 16), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxWriteGenICamReg(h, GVR_FLASH_STORE, LSX_FLASH_STORE_LSC), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxWriteGenICamReg(h, GVR_MULTI_FPN_SELECT, 2), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxWriteGenICamReg(h, 0x100, 64), LSX_ERR_NOT_SUPPORTED);  // a raw address: never
        uint8_t mem[208] = {};
        QCOMPARE(lsxReadGenICamMem(h, LSX_MEM_FFC_SET, mem, 16), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxWriteGenICamMem(h, LSX_MEM_LSC_BLOCK, mem, sizeof mem), LSX_ERR_NOT_SUPPORTED);

        // The maker's selections and switches.
        QCOMPARE(configString(h, "FPNC.Enable"), QStringLiteral("false"));
        QCOMPARE(lsxSetConfigString(h, "FPNC.Enable", "false"), LSX_OK);
        QCOMPARE(lsxSetConfigString(h, "FPNC.Enable", "true"), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxSetConfigString(h, "FPNC.Enable", "maybe"), LSX_ERR_INVALID_ARG);
        lsxSelectionDescr d;
        QCOMPARE(lsxGetSelectionDescr(h, "FPNC.Selector", &d), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxSetConfigString(h, "FPNC.Selector", "UserSet0"), LSX_ERR_NOT_SUPPORTED);
        for (const char* key : {"PRNUC", "LSC"}) {
            QCOMPARE(lsxGetSelectionDescr(h, key, &d), LSX_OK);
            QCOMPARE(d.count, 1);
            lsxSelectionDetail det;
            QCOMPARE(lsxGetSelectionDetail(h, key, 0, &det), LSX_OK);
            QCOMPARE(QString::fromLatin1(det.text), QStringLiteral("Disable"));
            QCOMPARE(lsxGetSelectionDetail(h, key, 1, &det), LSX_ERR_OUT_OF_RANGE);
            QCOMPARE(configString(h, key), QStringLiteral("Disable"));
            QCOMPARE(lsxSetConfigString(h, key, "Disable"), LSX_OK);
            QCOMPARE(lsxSetConfigString(h, key, "UserSet1"), LSX_ERR_NOT_SUPPORTED);
        }
        QCOMPARE(configString(h, "SCS.LineShift"), QStringLiteral("0"));
        QCOMPARE(lsxSetConfigString(h, "SCS.LineShift", "0"), LSX_OK);
        QCOMPARE(lsxSetConfigString(h, "SCS.PixelShift", "1.5"), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(configString(h, "ReverseX"), QStringLiteral("false"));
        QCOMPARE(lsxSetConfigString(h, "ReverseX", "false"), LSX_OK);
        QCOMPARE(lsxSetConfigString(h, "ReverseX", "true"), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxSetConfigString(h, "NoSuchKey", "1"), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxSetBoolValue(h, "CCMEnable", false), LSX_OK);
        QCOMPARE(lsxSetBoolValue(h, "CCMEnable", true), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxSetGammaState(h, true), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxSetRgbGain(h, 1.0f, 1.5f, 1.0f), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxSetBayerDecodeSel(h, 1), LSX_ERR_NOT_SUPPORTED);
        lsxColorMatrix m{};
        m.m[0][0] = m.m[1][1] = m.m[2][2] = 1.0f;
        QCOMPARE(lsxSetUserColorMatrix(h, &m), LSX_OK);
        m.m[0][1] = 0.5f;
        QCOMPARE(lsxSetUserColorMatrix(h, &m), LSX_ERR_NOT_SUPPORTED);
        int32_t mode = -1;
        QCOMPARE(lsxGetResolutionModeSel(h, &mode), LSX_OK);
        QCOMPARE(mode, 0);
        QCOMPARE(lsxGetResolutionModeSelDescr(h, &d), LSX_OK);
        QCOMPARE(d.count, 1);
        QCOMPARE(lsxSetResolutionModeSel(h, 1), LSX_ERR_OUT_OF_RANGE);

        // Nothing of all that reached the device.
        QCOMPARE(deviceRegisters(), before);
        lsxClose(h);
    }

    void camerasOwnFeaturesByName()
    {
        const Session h(openReset(m_name));
        QVERIFY(h);
        // User sets: the selector takes the value, then the command runs.
        QCOMPARE(lsxSetConfigString(h, "UserSetSave", "UserSet1"), LSX_OK);
        QCOMPARE(peek(m_camera, 0x8014), 1u);
        QCOMPARE(peek(m_camera, 0x8018), 1u);
        QCOMPARE(lsxSetConfigString(h, "UserSetSave", "UserSet9"), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(configString(h, "DeviceScanType"), QStringLiteral("Linescan"));
        QCOMPARE(lsxSetConfigString(h, "DeviceScanType", "Areascan"), -54);
        // Enumerations of the camera.
        int64_t current = -1, values[8];
        int32_t n = 8;
        QCOMPARE(lsxGetEnumValue(h, "TriggerSource", &current, values, &n), LSX_OK);
        QCOMPARE(n, 2);
        QCOMPARE(values[1], int64_t(1));
        char text[16];
        QCOMPARE(lsxGetEnumNameValue(h, "TriggerSource", 1, text, sizeof text), LSX_OK);
        QCOMPARE(QString::fromLatin1(text), QStringLiteral("Software"));
        QCOMPARE(lsxGetEnumNameValue(h, "TriggerSource", 2, text, sizeof text), LSX_ERR_OUT_OF_RANGE);
        n = 1;
        QCOMPARE(lsxGetEnumValue(h, "TriggerSource", &current, values, &n), LSX_ERR_BLOCK_SIZE);
        QCOMPARE(n, 2);
        QCOMPARE(lsxSetEnumValueByString(h, "TriggerSource", "Line0"), LSX_OK);
        QCOMPARE(peek(m_camera, 0x304), 0u);
        QCOMPARE(lsxSetEnumValueByString(h, "TriggerSource", "Line7"), LSX_ERR_OUT_OF_RANGE);
        lsxClose(h);
    }

    void stateFileRestoresTheSettings()
    {
        QTemporaryDir dir;
        const QByteArray path = (dir.path() + "/camera.txt").toLocal8Bit();
        const Session h(openReset(m_name));
        QVERIFY(h);
        lsxSetExposure(h, 321.0);
        lsxSetAnalogGain(h, 3.0f);
        lsxSetTargetFormat(h, FORMAT_MONO16);
        lsxSetConfigString(h, "LineRate", "12345");
        lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, 7);
        lsxSetTriggerState(h, true);
        lsxRegion r{};
        lsxGetRoi(h, &r);
        r.X = 64;
        r.W = 512;
        r.H = 400;
        QCOMPARE(lsxSetRoi(h, &r), LSX_OK);
        QCOMPARE(lsxSaveConfig(h, path.constData()), LSX_OK);
        lsxSetExposure(h, 50);
        lsxSetAnalogGain(h, 1.0f);
        lsxSetTargetFormat(h, FORMAT_MONO);
        lsxSetConfigString(h, "LineRate", "20000");
        lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, 0);
        lsxSetTriggerState(h, false);
        r = {};
        r.W = kWidth;
        r.H = 1000;
        QCOMPARE(lsxSetRoi(h, &r), LSX_OK);

        QCOMPARE(lsxLoadConfig(h, path.constData()), LSX_OK);
        double us = 0;
        float g = 0;
        int32_t t = 0;
        uint32_t bl = 0;
        bool on = false;
        lsxGetExposure(h, &us);
        lsxGetAnalogGain(h, &g);
        lsxGetTargetFormat(h, &t);
        lsxReadGenICamReg(h, GVR_SEN_BLACK_LEVEL, &bl);
        lsxGetTriggerState(h, &on);
        QCOMPARE(us, 321.0);
        QCOMPARE(g, 3.0f);
        QCOMPARE(t, int32_t(FORMAT_MONO16));
        QCOMPARE(bl, 7u);
        QVERIFY(on);
        QCOMPARE(configString(h, "LineRate"), QStringLiteral("12345"));
        lsxGetRoi(h, &r);
        QCOMPARE(r.X, 64);
        QCOMPARE(r.W, 512);
        QCOMPARE(r.H, 400);
        QCOMPARE(lsxLoadConfig(h, (dir.path() + "/missing.txt").toLocal8Bit().constData()), LSX_ERR_FILE_OPEN);
        QFile junk(dir.path() + "/junk.txt");
        QVERIFY(junk.open(QIODevice::WriteOnly));
        junk.write("not a camera file\n");
        junk.close();
        QCOMPARE(lsxLoadConfig(h, (dir.path() + "/junk.txt").toLocal8Bit().constData()), LSX_ERR_FILE_FORMAT);
        QCOMPARE(us, 321.0);
        // Back to the defaults for the tests after.
        lsxSetExposure(h, 100.0);
        lsxSetAnalogGain(h, 1.0f);
        lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, 0);
        lsxSetConfigString(h, "LineRate", "20000");
        r = {};
        r.W = kWidth;
        r.H = 1000;
        lsxSetRoi(h, &r);
        lsxClose(h);
    }
};

QTEST_GUILESS_MAIN(TestGenicamContract)
#include "test_genicam_contract.moc"

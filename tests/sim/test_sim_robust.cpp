// The simulated camera under bad input: its JSON configuration checked field by field (a bad
// camera is not built, the refusal names the camera, the field and the range), a file that is no
// object leaves no camera, bad faults are not injected, the camera configuration text of
// lsxLoadConfig refused whole, and no exception crossing the library's boundary. Every wait has a
// deadline: a frame is asked for with a time-out.
#include "simops.h"
#include "simtestutil.h"

using namespace simtest;

namespace {

QStringList cameraNames()
{
    QStringList names;
    int32_t n = 0;
    if (lsxRefresh(&n) != LSX_OK) return {"lsxRefresh failed"};
    for (int32_t i = 0; i < n; ++i) {
        lsxCameraInfo info;
        if (lsxEnum(i, &info) == LSX_OK) names << info.friendlyName;
    }
    return names;
}

bool logHas(const QString& words)
{
    for (const QString& line : logLines())
        if (line.contains(words)) return true;
    return false;
}

QString logText()
{
    return logLines().join('\n');
}

}  // namespace

class TestSimRobust : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void cleanup()
    {
        QVERIFY(useConfig(m_dir, {}));
        QCOMPARE(lsxSimClearFaults(), LSX_OK);
    }

    void badFieldRefusesItsCamera_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("camera");
        QTest::addColumn<QString>("words");
        QTest::addColumn<int>("built");
        auto row = [](const char* tag, const char* camera, const QByteArray& fields, const char* words, int built = 5) {
            const QByteArray json = QByteArray(R"({"cameras": [{"friendlyName": ")") + camera + "\", " + fields + "}]}";
            QTest::newRow(tag) << json << QString(camera) << QString(words) << built;
        };
        row("negative exposure", "SIM-LS4096-M", R"("exposure": -5)",
            R"(camera "SIM-LS4096-M": field "exposure" = -5 is not a number in 2 .. 20000 us; the camera is not built)");
        row("ePerDn -1", "SIM-LS4096-M", R"("ePerDn": -1)",
            R"(camera "SIM-LS4096-M": field "ePerDn" = -1 is not a number in 0.01 .. 100000 electrons per DN10)");
        row("width 1e12", "SIM-LS4096-M", R"("width": 1e12)",
            R"(field "width" = 1000000000000 is not a whole number in 16 .. 32768)");
        row("width off the step", "SIM-LS4096-M", R"("width": 1001)", R"(field "width" = 1001 is not a multiple of 8)");
        row("negative ROI height", "SIM-LS4096-M", R"("roiHeight": -10)",
            R"(field "roiHeight" = -10 is not a whole number in 1 .. 16384)");
        row("ROI height 100000", "SIM-LS4096-M", R"("roiHeight": 100000)",
            R"(field "roiHeight" = 100000 is not a whole number in 1 .. 16384)");
        row("negative area height", "SIM-TVK317", R"("areaHeight": -3)",
            R"(camera "SIM-TVK317": field "areaHeight" = -3 is not a whole number in 1 .. 64)");
        row("lines 1e9", "SIM-LS2048-ML4", R"("lines": 1e9)",
            R"(field "lines" = 1000000000 is not a whole number in 1 .. 16)");
        row("planes 1e9", "SIM-LS2048-C", R"("planes": 1e9)",
            R"(field "planes" = 1000000000 is not a whole number in 1 .. 3)");
        row("two planes", "SIM-LS2048-C", R"("planes": 2)", R"(field "planes" = 2 is not 1 (mono) or 3 (colour))");
        row("line rate zero", "SIM-LS4096-M", R"("lineRate": 0)",
            R"(field "lineRate" = 0 is not a number in 100 .. 200000 lines/s)");
        row("line rate negative", "SIM-LS4096-M", R"("lineRate": -100)",
            R"(field "lineRate" = -100 is not a number in 100 .. 200000 lines/s)");
        row("hot columns 1e8", "SIM-LS4096-M", R"("hotColumns": 1e8)",
            R"(field "hotColumns" = 100000000 is not a whole number in 0 .. 32768)");
        row("hot columns past the width", "SIM-LS4096-M", R"("width": 1024, "hotColumns": 2000)",
            R"(field "hotColumns" = 2000 is more than the width 1024)");
        row("time scale huge", "SIM-LS4096-M", R"("timeScale": 1e9)",
            R"(field "timeScale" = 1000000000 is not a number in 0 .. 1000)");
        row("not a number", "SIM-LS4096-M", R"("readNoise": "0.7")",
            R"(field "readNoise" = "0.7" is not a number in 0 .. 50 DN10)");
        row("wrong type", "SIM-LS4096-M", R"("noise": "yes")", R"(field "noise" = "yes" is not true or false)");
        row("unknown field", "SIM-LS4096-M", R"("exposur": 10)",
            R"(field "exposur" is not a field of a simulated camera)");
        row("unknown scene", "SIM-LS4096-M", R"("scene": "bright")",
            R"(field "scene" = "bright" is not "dark", "flat" or "pattern")");
        row("unknown mode", "SIM-LS8192-MLK", R"("resModes": ["Full", "SUM8"])",
            R"(field "resModes" = an array is not a list)");
        row("register text", "SIM-LS4096-M", R"("registers": {"0x1001620": "lots"})",
            R"(field "registers.0x1001620" = "lots" is not a 32-bit word)");
        row("factory byte", "SIM-LS4096-M", R"("factory": {"bytes": {"200": 1}})",
            R"(field "factory.bytes.200" is not an offset 0 .. 127)");
        row("non-linearity", "SIM-LS4096-M", R"("nonLinearity": 0.5)",
            R"(field "nonLinearity" = 0.5 is not a number in -0.05 .. 0.1)");
        row("width off the binning", "SIM-LS8192-MLK", R"("width": 1000)",
            R"(field "width" = 1000 is not a multiple of 8 x its largest binning 4)");
        row("too much data", "BIG", R"("base": "SIM-LS2048-C", "width": 32768, "lines": 16)",
            R"(camera "BIG": field "width" x lines x planes = 32768 x 16 x 3 is more than 1048576 columns of data)", 6);
        row("new camera, unknown base", "MY-CAM", R"("base": "NO-SUCH")",
            R"(camera "MY-CAM": field "base" = "NO-SUCH" names no camera; the camera is not built)", 6);
        row("new camera, bad field", "MY-CAM", R"("base": "SIM-LS4096-M", "dsnu": -1)",
            R"(camera "MY-CAM": field "dsnu" = -1 is not a number in 0 .. 100 DN10)", 6);
    }

    void badFieldRefusesItsCamera()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, camera);
        QFETCH(QString, words);
        QFETCH(int, built);
        QVERIFY(useConfig(m_dir, json));
        const QStringList names = cameraNames();
        QCOMPARE(names.size(), built);
        QVERIFY(!names.contains(camera));
        QVERIFY2(logHas(words), qPrintable(logText()));
        QVERIFY2(logHas(QStringLiteral("LSX_SIM_CONFIG ") + m_dir.filePath("sim.json")), qPrintable(logText()));
        lsxHandle h = 0;
        QCOMPARE(lsxOpenByName(camera.toLatin1().constData(), LSX_OPEN_NORMAL, &h), LSX_ERR_LOGICAL_DEVICE);
        // The cameras that were built work: a frame within its time-out.
        h = openCamera(names.first().toLatin1().constData());
        QVERIFY(h);
        prepare(h, 2, 34, 4);
        Frame f;
        QCOMPARE(grab(h, f, 3000), LSX_OK);
        QCOMPARE(lsxClose(h), LSX_OK);
    }

    void fileRefusedWhole_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("words");
        QTest::newRow("array at the top") << QByteArray(R"([{"friendlyName": "SIM-LS4096-M"}])")
                                          << "the top level is an array, not an object; no camera is built";
        QTest::newRow("not JSON") << QByteArray(R"({"cameras": [)") << "not JSON (";
        QTest::newRow("empty") << QByteArray(" ") << "not JSON (";
        QTest::newRow("field at the top")
            << QByteArray(R"({"exposure": -1})")
            << R"(every camera: field "exposure" = -1 is not a number in 2 .. 20000 us; no camera is built)";
        QTest::newRow("cameras not a list") << QByteArray(R"({"cameras": 5})")
                                            << R"(every camera: field "cameras" = 5 is not a list; no camera is built)";
    }

    void fileRefusedWhole()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, words);
        QVERIFY(useConfig(m_dir, json));
        QVERIFY2(logHas(words), qPrintable(logText()));
        QVERIFY(!logHas("no error occurred"));
        int32_t n = -1;
        QCOMPARE(lsxRefresh(&n), LSX_OK);
        QCOMPARE(n, 0);
        lsxHandle h = 0;
        QCOMPARE(lsxOpenByName("SIM-LS4096-M", LSX_OPEN_NORMAL, &h), LSX_ERR_NO_DEVICE);
    }

    void missingFileLeavesNoCamera()
    {
        qputenv("LSX_SIM_CONFIG", m_dir.filePath("missing.json").toLocal8Bit());
        QCOMPARE(lsxSimReset(), LSX_OK);
        QVERIFY2(logHas("missing.json: cannot be read"), qPrintable(logText()));
        QCOMPARE(cameraNames().size(), 0);
    }

    void twinNamesAndRemovals()
    {
        QVERIFY(useConfig(m_dir, R"({"cameras": [{"friendlyName": "SIM-TVK317", "remove": true},
            {"friendlyName": "TWIN", "base": "SIM-LS4096-M"}, {"friendlyName": "SIM-LS2048-C", "remove": "yes"}]})"));
        const QStringList names = cameraNames();
        QVERIFY(!names.contains("SIM-TVK317"));
        QVERIFY(!names.contains("SIM-LS2048-C"));
        QVERIFY(names.contains("TWIN"));
        QVERIFY2(logHas(R"(camera "SIM-LS2048-C": field "remove" = "yes" is not true or false)"),
                 qPrintable(logText()));
    }

    void badFaultsAreNotInjected()
    {
        // Faults of the file apply from the first call; the bad ones are refused one by one.
        QVERIFY(useConfig(m_dir, R"({"faults": [{"op": "lsxNoSuch", "status": -5},
            {"op": "lsxSetExposure", "after": -1, "status": -1001},
            {"op": "lsxGetExposure", "status": -1001, "times": 1},
            {"op": "lsxSetAnalogGain", "status": -1001, "colour": 1}]})"));
        QVERIFY2(
            logHas(
                R"(fault 0: field "op" = "lsxNoSuch" is not an operation of the camera library or "*"; the fault is not injected)"),
            qPrintable(logText()));
        QVERIFY2(
            logHas(
                R"(fault 1: field "after" = -1 is not a whole number in 0 .. 2147483647; the fault is not injected)"),
            qPrintable(logText()));
        QVERIFY2(logHas(R"(fault 3: field "colour" is not one of op, after, status, times)"), qPrintable(logText()));
        lsxHandle h = openCamera("SIM-LS4096-M");
        QVERIFY(h);
        double us = 0;
        QCOMPARE(lsxGetExposure(h, &us), -1001);
        QCOMPARE(lsxGetExposure(h, &us), LSX_OK);
        QCOMPARE(lsxSetExposure(h, 50.0), LSX_OK);
        QCOMPARE(lsxSetAnalogGain(h, 2.0f), LSX_OK);
    }

    void noExceptionCrossesTheBoundary_data()
    {
        QTest::addColumn<int>("thrown");
        QTest::addColumn<int>("status");
        QTest::newRow("out of memory") << int(LSX_SIM_THROW_NO_MEMORY) << -1200;
        QTest::newRow("any other") << int(LSX_SIM_THROW_ERROR) << int(LSX_ERR_UNKNOWN);
    }

    void noExceptionCrossesTheBoundary()
    {
        // Every operation throws inside the library: each one answers a status.
        QFETCH(int, thrown);
        QFETCH(int, status);
        lsxHandle h = openCamera("SIM-LS4096-M");
        QVERIFY(h);
        QCOMPARE(lsxSimInjectFault("*", 0, thrown, 0), LSX_OK);
        int32_t n = 0;
        lsxCameraInfo info;
        lsxHandle other = 0;
        QCOMPARE(lsxRefresh(&n), status);
        QCOMPARE(lsxEnum(0, &info), status);
        QCOMPARE(lsxOpenByName("SIM-LS2048-C", LSX_OPEN_NORMAL, &other), status);
        int count = 3;  // and lsxDebugFormat among them
        for (const Op& op : everyOperation(m_dir.filePath("state.ini"))) {
            QVERIFY2(op.call(h) == status, op.name);
            ++count;
        }
        QCOMPARE(count, LSX_OPERATION_COUNT);
        QCOMPARE(lsxSimClearFaults(), LSX_OK);
        QCOMPARE(lsxClose(h), LSX_OK);
    }

    void cameraConfigurationTextIsChecked_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("register not a number") << QByteArray("reg.abc=1");
        QTest::newRow("register value too large") << QByteArray("reg.5=99999999999");
        QTest::newRow("register value not a number") << QByteArray("reg.5=x");
        QTest::newRow("negative exposure") << QByteArray("exposure=-5");
        QTest::newRow("exposure not a number") << QByteArray("exposure=12abc");
        QTest::newRow("gain too high") << QByteArray("gain=100");
        QTest::newRow("line rate zero") << QByteArray("lineRate=0");
        QTest::newRow("ROI height 100000") << QByteArray("roiH=100000");
        QTest::newRow("binning 3") << QByteArray("binH=3");
        QTest::newRow("switch not hexadecimal") << QByteArray("switch=" + QByteArray(208, 'z'));
        QTest::newRow("switch too short") << QByteArray("switch=00");
        QTest::newRow("colour matrix short") << QByteArray("ccm=1,2,3");
        QTest::newRow("rgb out of range") << QByteArray("rgb=1,1,-1");
        QTest::newRow("unknown switch") << QByteArray("isp.warp=1");
        QTest::newRow("lens set 16") << QByteArray("lscIndex=1048576");
        QTest::newRow("no equals sign") << QByteArray("exposure");
        QTest::newRow("selector unknown") << QByteArray("fpnSelector=UserSet9");
    }

    void cameraConfigurationTextIsChecked()
    {
        // A saved state with one bad line is refused whole (-1301): nothing of it applied.
        QFETCH(QByteArray, line);
        lsxHandle h = openCamera("SIM-LS4096-M");
        QVERIFY(h);
        const QByteArray path = m_dir.filePath("state.ini").toLocal8Bit();
        QCOMPARE(lsxSetExposure(h, 250.0), LSX_OK);
        QCOMPARE(lsxSaveConfig(h, path.constData()), LSX_OK);
        QFile f(QString::fromLocal8Bit(path));
        QVERIFY(f.open(QIODevice::ReadOnly));
        QByteArray text = f.readAll();
        f.close();
        text.replace("exposure=250\n", "");
        text += line + "\n";
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(text);
        f.close();
        QCOMPARE(lsxSetExposure(h, 80.0), LSX_OK);
        QCOMPARE(lsxSetAnalogGain(h, 2.0f), LSX_OK);
        QCOMPARE(lsxLoadConfig(h, path.constData()), LSX_ERR_FILE_FORMAT);
        double us = 0;
        float gain = 0;
        QCOMPARE(lsxGetExposure(h, &us), LSX_OK);
        QCOMPARE(lsxGetAnalogGain(h, &gain), LSX_OK);
        QCOMPARE(us, 80.0);
        QCOMPARE(gain, 2.0f);  // the file's gain 1 not applied either
        prepare(h, 2, 34, 4);
        Frame frame;
        QCOMPARE(grab(h, frame, 3000), LSX_OK);
    }

    void allCamerasTogetherHaveABudget()
    {
        // Nine cameras of 32768 x 16: seven fit beside the built-ins in 2^22 columns of data.
        QStringList list;
        for (int i = 0; i < 9; ++i)
            list << QStringLiteral("{\"friendlyName\": \"BIG%1\", \"width\": 32768, \"lines\": 16}").arg(i);
        const QByteArray json = "{\"cameras\": [" + list.join(',').toLatin1() + "]}";
        QVERIFY(useConfig(m_dir, json));
        const QStringList names = cameraNames();
        QCOMPARE(names.size(), 6 + 7);
        QVERIFY(names.contains("BIG6") && !names.contains("BIG7") && !names.contains("BIG8"));
        QVERIFY2(
            logHas(
                R"(camera "BIG7": field "width" makes the cameras' data together more than 4194304 columns; the camera is not built)"),
            qPrintable(logText()));
    }

    void loadedRoiIsOneTheSetterTakes()
    {
        // A file with a ROI narrower than the camera's smallest (another camera's file): the
        // camera keeps its full line, which it can be given back.
        lsxHandle h = openCamera("SIM-LS4096-M");
        const QByteArray path = m_dir.filePath("narrow.ini").toLocal8Bit();
        QFile f(QString::fromLocal8Bit(path));
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("# lsxsim camera configuration 1\nroiX=0\nroiW=8\nroiH=10\n");
        f.close();
        QCOMPARE(lsxLoadConfig(h, path.constData()), LSX_OK);
        lsxRegion r{};
        QCOMPARE(lsxGetRoi(h, &r), LSX_OK);
        QCOMPARE(r.X, 0);
        QCOMPARE(r.W, 4096);
        QCOMPARE(r.H, 10);
        QCOMPARE(lsxSetRoi(h, &r), LSX_OK);
    }

    void hangsAreRefusedAtTheSetters()
    {
        lsxHandle h = openCamera("SIM-LS4096-M");
        QCOMPARE(lsxSetConfigString(h, "LineRate", "0"), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxSetConfigString(h, "LineRate", "-100"), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxSetConfigString(h, "LineRate", "nan"), LSX_ERR_INVALID_ARG);
        lsxRegion r{};
        QCOMPARE(lsxGetRoi(h, &r), LSX_OK);
        r.H = 100000;
        QCOMPARE(lsxSetRoi(h, &r), LSX_ERR_OUT_OF_RANGE);
        r.H = -5;
        QCOMPARE(lsxSetRoi(h, &r), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxSimSetTimeScale("SIM-LS4096-M", 1e9), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxSimSetScene("SIM-LS4096-M", LSX_SIM_SCENE_FLAT, std::nan(""), -1, -1), LSX_ERR_INVALID_ARG);
        // The longest exposure on the tallest frame: the read-out takes minutes of the camera's
        // clock, and a frame asked for answers its time-out in time.
        QCOMPARE(lsxSetExposure(h, 20000.0), LSX_OK);
        r.H = 16384;
        QCOMPARE(lsxSetRoi(h, &r), LSX_OK);
        QCOMPARE(lsxSetTriggerState(h, false), LSX_OK);
        QCOMPARE(lsxStart(h), LSX_OK);
        QElapsedTimer t;
        t.start();
        lsxFrame frame;
        void* buf = nullptr;
        QCOMPARE(lsxGetFrame(h, &frame, &buf, 200), LSX_ERR_TIMEOUT);
        QVERIFY(t.elapsed() >= 190);
        QCOMPARE(lsxStop(h), LSX_OK);
    }
};

QTEST_GUILESS_MAIN(TestSimRobust)
#include "test_sim_robust.moc"

// LSX_SIM_CONFIG: overrides by friendly name, an added camera of another type, a removed one.
#include "simtestutil.h"

using namespace simtest;

class TestSimConfig : public QObject {
    Q_OBJECT

private slots:
    void configurationFileShapesTheCameraList()
    {
        // The file's fault on lsxRefresh applies to the very first call the library gets.
        int32_t count = 0;
        QCOMPARE(lsxRefresh(&count), -1001);
        QCOMPARE(lsxRefresh(&count), LSX_OK);
        QCOMPARE(count, 7);  // six built-ins, one removed, two added
        QStringList names;
        for (int i = 0; i < count; ++i) {
            lsxCameraInfo info;
            QCOMPARE(lsxEnum(i, &info), LSX_OK);
            names << info.friendlyName;
        }
        QVERIFY(!names.contains("SIM-TVK317"));
        QCOMPARE(names.at(5), QString("SIM-GENERIC"));
        QCOMPARE(names.at(6), QString("SIM-WIDE"));

        lsxHandle g = openCamera("SIM-GENERIC");
        QVERIFY(g);
        lsxCameraInfo info;
        lsxGetCameraInfo(g, &info);
        QCOMPARE(QString(info.cameraType), QString("Generic"));
        QCOMPARE(QString(info.sensor), QString("G100"));
        QCOMPARE(QString(info.model), QString("GEN100"));
        uint32_t v = 0;
        QCOMPARE(lsxReadGenICamReg(g, GVR_MULTI_FPN_SELECT, &v), LSX_OK);
        QCOMPARE(v, 0xFFFFFFFFu);
        lsxFactoryRecord fr;
        uint32_t size = sizeof fr;
        QCOMPARE(lsxGet(g, LSX_KEY_FACTORY, &fr, &size), LSX_OK);
        QCOMPARE(fr.maxK, uint8_t(0));
        QCOMPARE(fr.maxB, uint8_t(32));
        lsxRegionDescr d;
        lsxGetRoiDescr(g, &d);
        QCOMPARE(d.maxWidth, 512);
        // The file's faults: the second gain write fails once; the camera leaves after 3 frames.
        QCOMPARE(lsxSetAnalogGain(g, 1.0f), LSX_OK);
        QCOMPARE(lsxSetAnalogGain(g, 1.0f), -1001);
        QCOMPARE(lsxSetAnalogGain(g, 1.0f), LSX_OK);
        lsxSetTriggerState(g, true);
        QCOMPARE(lsxStart(g), LSX_OK);
        Frame f;
        for (int i = 0; i < 3; ++i) QCOMPARE(grab(g, f), LSX_OK);
        QCOMPARE(grab(g, f), LSX_ERR_DISCONNECTED);
        QCOMPARE(lsxClose(g), LSX_OK);
    }

    void helperFindsTheLoadedLibrary()
    {
        // LSX_LIBRARY names the library this test is linked with: the helper must bind the same
        // instance, not a second copy.
        const auto& api = lsx::sim::api();
        QVERIFY(api.ok());
        QCOMPARE(reinterpret_cast<void*>(api.reset), reinterpret_cast<void*>(&lsxSimReset));
        QCOMPARE(reinterpret_cast<void*>(api.getTruth), reinterpret_cast<void*>(&lsxSimGetTruth));
        QVERIFY(api.setScene && api.setNoise && api.setTimeScale && api.injectFault && api.clearFaults
                && api.frameTimeouts && api.disconnectAfterFrames && api.reconnect && api.getTrueDark
                && api.getTrueResponse && api.getCounters && api.logCount && api.logLine);
        QVERIFY(!lsx::sim::loadApi("/nonexistent/liblsxsim.so").ok());
    }

    void wideFramesComeWhole()
    {
        // 16384 columns by 1000 rows, 16-bit, with noise: the per-column terms are computed once
        // per settings change, each pixel costs a table look-up of noise.
        lsxHandle h = openCamera("SIM-WIDE");
        QVERIFY(h);
        lsxSetTriggerState(h, true);
        lsxSetSourceFormat(h, 2);
        lsxSetTargetFormat(h, 34);
        lsxStart(h);
        lsxFrame f;
        void* buf = nullptr;
        QElapsedTimer t;
        t.start();
        for (int i = 0; i < 5; ++i) {
            QCOMPARE(lsxTriggerFire(h), LSX_OK);
            QCOMPARE(lsxGetFrame(h, &f, &buf, 3000), LSX_OK);
        }
        QCOMPARE(f.width, 16384);
        QCOMPARE(f.height, 1000);
        // How fast is measured in bench_sim, not here.
        qInfo() << "five frames of 16384 x 1000:" << t.elapsed() << "ms";
    }

    void overridesApplyByName()
    {
        // 1024 columns, no noise, a dark scene and instant time, from the file.
        lsxHandle h = openCamera("SIM-LS4096-M");
        QVERIFY(h);
        lsxRegionDescr d;
        lsxGetRoiDescr(h, &d);
        QCOMPARE(d.maxWidth, 1024);
        lsxSetTriggerState(h, true);
        lsxSetSourceFormat(h, 2);
        lsxSetTargetFormat(h, 34);
        lsxStart(h);
        Frame a, b;
        QElapsedTimer t;
        t.start();
        QCOMPARE(grab(h, a), LSX_OK);
        QCOMPARE(grab(h, b), LSX_OK);
        QVERIFY(t.elapsed() < 500);
        QVERIFY(a.v == b.v);  // no noise: the same frame twice
        const auto dark = truth(h, LSX_SIM_TRUE_DARK);
        const auto means = columnMeans(a);
        for (int x = 0; x < 1024; ++x) QVERIFY(std::abs(means[size_t(x)] - std::lround(dark[size_t(x)])) < 1e-9);
    }
};

QTEST_GUILESS_MAIN(TestSimConfig)
#include "test_sim_config.moc"

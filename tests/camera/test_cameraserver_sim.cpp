// CameraServer on the simulated camera library: the built-in families and the edge cases of
// model detection, factory record and line count, set up through LSX_SIM_CONFIG.
#include "camera/cameraserver.h"
#include "camera/metatypes.h"
#include "camera/tables.h"
#include "loader.h"
#include "sim/lsxsim.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

class TestCameraServerSim : public QObject {
    Q_OBJECT
    QTemporaryDir m_root;

    // Opens the mono camera with `path` as the settings' camera configuration file; what the
    // operator was told.
    static QStringList openWithConfiguration(CameraServer& s, const QString& path)
    {
        s.m_settings->setValue(FpnIni::CameraConfig, path);
        s.enumerate();
        QSignalSpy warning(&s, &CameraServer::OS_CameraWarning);
        s.open(QStringLiteral("SIM-LS4096-M"));
        s.m_settings->remove(FpnIni::CameraConfig);
        QStringList texts;
        for (const QList<QVariant>& w : warning) texts.append(w.at(0).toString());
        return texts;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        qputenv("TELORINE_DOCUMENT_PATH", m_root.path().toLocal8Bit());
        const QString config = m_root.path() + QStringLiteral("/sim.json");
        QFile f(config);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(R"({"timeScale": 0, "noise": false, "cameras": [
            {"friendlyName": "EDGE-NEITHER", "base": "SIM-LS4096-M", "type": "AreaScan", "sensor": "TVK401",
             "factory": {"maxK": 4, "maxB": 32}},
            {"friendlyName": "EDGE-BOTH", "base": "SIM-LS4096-M", "type": "LineScan", "sensor": "TVK317"},
            {"friendlyName": "EDGE-K0", "base": "SIM-LS4096-M", "factory": {"maxK": 0, "maxB": 32}},
            {"friendlyName": "EDGE-B0", "base": "SIM-LS4096-M", "factory": {"maxK": 3, "maxB": 0}},
            {"friendlyName": "EDGE-LC0", "base": "SIM-LS4096-M", "registers": {"0x1001620": 0}},
            {"friendlyName": "EDGE-LCFF", "base": "SIM-LS4096-M", "registers": {"0x1001620": "0xFFFFFFFF"}},
            {"friendlyName": "EDGE-LCF0", "base": "SIM-LS4096-M", "registers": {"0x1001620": "0xFFFFFFF0"}},
            {"friendlyName": "EDGE-LC5M", "base": "SIM-LS4096-M", "registers": {"0x1001620": 5000000}},
            {"friendlyName": "EDGE-LC16", "base": "SIM-LS4096-M", "registers": {"0x1001620": 16}}
        ]})");
        f.close();
        qputenv("LSX_SIM_CONFIG", config.toLocal8Bit());
        const lsx::BindResult bound = lsx::bindLibrary(lsx::chooseLibrary("", ""));
        QVERIFY2(bound.ok, bound.message.c_str());
        QVERIFY(lsx::sim::api().ok());
        registerMetaTypes();
    }
    void init() { QCOMPARE(lsx::sim::api().reset(), LSX_OK); }
    void cleanupTestCase() { lsx::unbindLibrary(); }

    void enumerateFindsTheSimulatedCameras()
    {
        CameraServer s;
        const QStringList names = s.enumerate();
        for (const char* name : {"SIM-LS4096-M", "SIM-LS2048-ML4", "SIM-LS2048-C", "SIM-LS8192-MLK", "SIM-TQW4A2N60",
                                 "SIM-TVK317", "EDGE-BOTH"})
            QVERIFY2(names.contains(QLatin1String(name)), name);
        QCOMPARE(cameraInfoMap.size(), names.size());
    }

    void families_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("linescanSignal");
        QTest::addColumn<bool>("tvk317");
        QTest::addColumn<int>("maxK");
        QTest::addColumn<int>("maxB");
        QTest::addColumn<int>("mlk");
        QTest::addColumn<int>("lineCount");
        QTest::addColumn<int>("roiHeight");
        QTest::newRow("mono") << "SIM-LS4096-M" << true << false << 2 << 64 << 0 << 1 << 1000;
        QTest::newRow("four lines") << "SIM-LS2048-ML4" << true << false << 2 << 64 << 0 << 4 << 4000;
        QTest::newRow("multi-level K") << "SIM-LS8192-MLK" << true << false << 4 << 64 << 1 << 1 << 1000;
        QTest::newRow("neither text") << "EDGE-NEITHER" << false << false << 2 << 64 << 0 << 4 << 4000;
        QTest::newRow("both texts") << "EDGE-BOTH" << true << false << 2 << 64 << 0 << 1 << 1000;
        QTest::newRow("byte 40 zero") << "EDGE-K0" << true << false << 2 << 32 << 0 << 1 << 1000;
        QTest::newRow("byte 41 zero") << "EDGE-B0" << true << false << 3 << 64 << 0 << 1 << 1000;
        QTest::newRow("line count 0") << "EDGE-LC0" << true << false << 2 << 64 << 0 << 1 << 1000;
        QTest::newRow("line count 0xFFFFFFFF") << "EDGE-LCFF" << true << false << 2 << 64 << 0 << 1 << 1000;
        // Impossible line counts are refused (with a word to the operator, below), never wrapped.
        QTest::newRow("line count 0xFFFFFFF0") << "EDGE-LCF0" << true << false << 2 << 64 << 0 << 1 << 1000;
        QTest::newRow("line count 5000000") << "EDGE-LC5M" << true << false << 2 << 64 << 0 << 1 << 1000;
        QTest::newRow("line count 16") << "EDGE-LC16" << true << false << 2 << 64 << 0 << 16 << 16000;
    }

    void families()
    {
        QFETCH(QString, name);
        CameraServer s;
        s.enumerate();
        QSignalSpy line(&s, &CameraServer::OS_IsLinescan);
        QSignalSpy tvk(&s, &CameraServer::OS_IsTVK317);
        s.open(name);
        QVERIFY(s.m_opened);
        QCOMPARE(line.size(), 1);
        QTEST(line.at(0).at(0).toBool(), "linescanSignal");
        QCOMPARE(tvk.size(), 1);
        QTEST(tvk.at(0).at(0).toBool(), "tvk317");
        QTEST(int(s.m_maxK), "maxK");
        QTEST(int(s.m_maxB), "maxB");
        QTEST(s.m_supportMLK, "mlk");
        QTEST(s.m_lineCount, "lineCount");
        QTEST(s.m_roiHeight, "roiHeight");
    }

    void impossibleLineCountIsToldOnce()
    {
        CameraServer s;
        s.enumerate();
        QSignalSpy warning(&s, &CameraServer::OS_CameraWarning);
        s.open(QStringLiteral("EDGE-LC5M"));
        QCOMPARE(warning.size(), 1);
        QVERIFY(warning.at(0).at(0).toString().contains(QStringLiteral("5000000")));
        s.readLineCount();
        QCOMPARE(warning.size(), 1);
        QCOMPARE(s.m_lineCount, 1);
        QCOMPARE(s.m_roiHeight, 1000);
    }

    void stateThatCannotBeBackedUpIsTold()
    {
        CameraServer s;
        s.enumerate();
        QSignalSpy warning(&s, &CameraServer::OS_CameraWarning);
        QVERIFY(lsx::sim::api().injectFault("lsxSaveConfig", 0, LSX_ERR_FILE_OPEN, 1) == LSX_OK);
        s.open(QStringLiteral("SIM-LS4096-M"));
        QVERIFY(s.m_opened);
        QCOMPARE(warning.size(), 1);
        QVERIFY(warning.at(0).at(0).toString().contains(QStringLiteral("无法备份相机当前状态")));
        QVERIFY(warning.at(0).at(0).toString().contains(QString::number(LSX_ERR_FILE_OPEN)));
    }

    void settingsThatCannotBeWrittenAreTold()
    {
        // FPN.ini stands where a folder of that name is: nothing can be written to it.
        QTemporaryDir doc;
        QVERIFY(QDir(doc.path()).mkpath(QStringLiteral("FPN/FPN.ini")));
        qputenv("TELORINE_DOCUMENT_PATH", doc.path().toLocal8Bit());
        {
            CameraServer s;
            QVERIFY(s.startWarning().contains(QStringLiteral("无法写入")));
            QSignalSpy warning(&s, &CameraServer::OS_CameraWarning);
            s.m_settings->setValue(FpnIni::DOffset, 3);
            s.syncSettings();
            s.syncSettings();
            // Told at the start already: not again.
            QCOMPARE(warning.size(), 0);
        }
        qputenv("TELORINE_DOCUMENT_PATH", m_root.path().toLocal8Bit());
        CameraServer fine;
        QVERIFY(fine.startWarning().isEmpty());
    }

    void tvk317Family()
    {
        CameraServer s;
        s.enumerate();
        QSignalSpy line(&s, &CameraServer::OS_IsLinescan);
        QSignalSpy tvk(&s, &CameraServer::OS_IsTVK317);
        s.open(QStringLiteral("SIM-TVK317"));
        QCOMPARE(line.size(), 0);
        QCOMPARE(tvk.size(), 1);
        QVERIFY(tvk.at(0).at(0).toBool());
        QVERIFY(!s.m_isLinescan);
        QCOMPARE(s.m_lineCount, 1);
        QCOMPARE(int(s.m_maxK), 2);
        QCOMPARE(int(s.m_maxB), 64);
    }

    void failedOpenCarriesTheLibraryStatus()
    {
        CameraServer s;
        s.enumerate();
        QVERIFY(lsx::sim::api().injectFault("lsxOpenByName", 0, LSX_ERR_ALREADY_OPEN, 1) == LSX_OK);
        QSignalSpy failed(&s, &CameraServer::OS_OpenCameraFailed);
        s.open(QStringLiteral("SIM-LS4096-M"));
        QCOMPARE(failed.size(), 1);
        QCOMPARE(failed.at(0).at(0).value<lsxStatus>(), lsxStatus(LSX_ERR_ALREADY_OPEN));
        QVERIFY(!s.m_opened);
        lsx::sim::api().clearFaults();
        // A name the library doesn't know: its own status comes through.
        s.open(QStringLiteral("NO-SUCH-CAMERA"));
        QCOMPARE(failed.size(), 2);
        QVERIFY(failed.at(1).at(0).value<lsxStatus>() != LSX_OK);
    }

    void openingAnotherCameraRestoresTheFirst()
    {
        CameraServer s;
        s.enumerate();
        s.open(QStringLiteral("SIM-LS4096-M"));
        double before = 0;
        QCOMPARE(lsxGetExposure(s.m_handle, &before), LSX_OK);
        QCOMPARE(lsxSetExposure(s.m_handle, before * 2 + 10), LSX_OK);
        s.m_kList = {{1.0}};
        s.m_bList = {{2.0}};
        s.m_ffcKList = {{1.0}};
        s.open(QStringLiteral("SIM-LS2048-ML4"));
        QVERIFY(s.m_kList.isEmpty() && s.m_bList.isEmpty() && s.m_ffcKList.isEmpty());
        QVERIFY(QFile::exists(m_root.path() + QStringLiteral("/FPN/SIM-LS4096-M.ini")));
        // The first camera, opened again on its own, has the exposure it had at the first open.
        lsxHandle h = 0;
        QCOMPARE(lsxOpenByName("SIM-LS4096-M", 1, &h), LSX_OK);
        double after = 0;
        QCOMPARE(lsxGetExposure(h, &after), LSX_OK);
        QCOMPARE(after, before);
        lsxClose(h);
    }

    // The station's camera configuration file (Params/CameraConfig): one that is missing or that
    // the camera refuses is told, with the file and the reason, and the camera keeps its settings.
    void refusedConfigurationFileIsTold_data()
    {
        QTest::addColumn<QByteArray>("content");  // empty: no file at all
        QTest::addColumn<QString>("words");
        QTest::newRow("missing") << QByteArray()
                                 << QStringLiteral("不存在（设置 Params/CameraConfig）。相机保持打开时的设置。");
        QTest::newRow("not a configuration")
            << QByteArray("exposure=5\n")
            << QStringLiteral("加载失败，错误原因：-1301-文件格式无效。相机保持打开时的设置。");
        QTest::newRow("value out of range") << QByteArray("# lsxsim camera configuration 1\nexposure=-5\n")
                                            << QStringLiteral("加载失败，错误原因：-1301-文件格式无效。");
    }

    void refusedConfigurationFileIsTold()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, words);
        const QString path =
            m_root.path() + QStringLiteral("/station-%1.cfg").arg(QTest::currentDataTag()).replace(' ', '_');
        if (!content.isEmpty()) {
            QFile f(path);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(content);
        }
        CameraServer s;
        const QStringList warnings = openWithConfiguration(s, path);
        QVERIFY(s.m_opened);
        QCOMPARE(warnings.size(), 1);
        const QString& text = warnings.first();
        QVERIFY2(text.startsWith(QStringLiteral("相机配置文件 %1 ").arg(path)), qPrintable(text));
        QVERIFY2(text.contains(words), qPrintable(text));
        double exposure = 0;
        QCOMPARE(lsxGetExposure(s.m_handle, &exposure), LSX_OK);
        QVERIFY(exposure > 0);
    }

    void acceptedConfigurationFileIsSilent()
    {
        const QString path = m_root.path() + QStringLiteral("/station-good.cfg");
        {
            lsxHandle h = 0;
            QCOMPARE(lsxOpenByName("SIM-LS4096-M", 1, &h), LSX_OK);
            QCOMPARE(lsxSetExposure(h, 321.0), LSX_OK);
            QCOMPARE(lsxSaveConfig(h, path.toLocal8Bit().constData()), LSX_OK);
            QCOMPARE(lsxSetExposure(h, 100.0), LSX_OK);
            lsxClose(h);
        }
        CameraServer s;
        QCOMPARE(openWithConfiguration(s, path), QStringList());
        double exposure = 0;
        QCOMPARE(lsxGetExposure(s.m_handle, &exposure), LSX_OK);
        QCOMPARE(exposure, 321.0);
    }

    // A close the library refuses once: the camera counts as closed, the operator hears why, and
    // it opens again (its stale handle closed first). Refused for good: the open's failure comes
    // with the reason.
    void failedCloseLeavesTheCameraOpenable()
    {
        const lsx::sim::Api& sim = lsx::sim::api();
        CameraServer s;
        s.enumerate();
        s.open(QStringLiteral("SIM-LS4096-M"));
        QVERIFY(s.m_opened);
        QSignalSpy warning(&s, &CameraServer::OS_CameraWarning);
        QSignalSpy failed(&s, &CameraServer::OS_OpenCameraFailed);
        QCOMPARE(sim.injectFault("lsxClose", 0, LSX_ERR_UNKNOWN, 1), LSX_OK);
        s.close();
        QVERIFY(!s.m_opened);
        QCOMPARE(warning.size(), 1);
        QVERIFY(warning.at(0).at(0).toString().startsWith(QStringLiteral("关闭相机 SIM-LS4096-M 出错，错误原因：-1-")));
        s.open(QStringLiteral("SIM-LS4096-M"));
        QVERIFY(s.m_opened);
        QCOMPARE(failed.size(), 0);

        QCOMPARE(sim.injectFault("lsxClose", 0, LSX_ERR_UNKNOWN, 0), LSX_OK);
        s.close();
        QVERIFY(!s.m_opened);
        s.open(QStringLiteral("SIM-LS4096-M"));
        QVERIFY(!s.m_opened);
        QCOMPARE(failed.size(), 1);
        QCOMPARE(failed.at(0).at(0).value<lsxStatus>(), lsxStatus(LSX_ERR_ALREADY_OPEN));
        QCOMPARE(warning.size(), 3);
        QVERIFY(warning.at(2).at(0).toString().startsWith(
            QStringLiteral("相机仍被上一次未能关闭的连接占用（关闭出错：-1-")));
        QCOMPARE(sim.clearFaults(), LSX_OK);
        s.open(QStringLiteral("SIM-LS4096-M"));
        QVERIFY(s.m_opened);
    }

    void sameCameraAgainDoesNothing()
    {
        CameraServer s;
        s.enumerate();
        s.open(QStringLiteral("SIM-LS4096-M"));
        const lsxHandle h = s.m_handle;
        s.m_bList = {{5.0}};
        s.open(QStringLiteral("SIM-LS4096-M"));
        QCOMPARE(s.m_handle, h);
        QCOMPARE(s.m_bList, (QList<QList<double>>{{5.0}}));
    }
};

QTEST_MAIN(TestCameraServerSim)
#include "test_cameraserver_sim.moc"

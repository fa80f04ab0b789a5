// CameraServer on a scripted camera library: the worker thread and its eleven queued
// connections, open and close with the configuration backup, model detection, the factory
// record, the line count, the flag setters and the teardown.
#include "camera/cameraserver.h"
#include "camera/metatypes.h"
#include "camera/tables.h"
#include "fakecamera.h"
#include "loader.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QThread>
#include <QtTest>

#include <dlfcn.h>

#include <atomic>
#include <cstring>

namespace {

// Sees the queued calls arriving at the server and notes the thread that delivers them.
class MetaCallWatcher : public QObject {
public:
    std::atomic<int> calls{0};
    std::atomic<int> offWorker{0};
    QThread* worker = nullptr;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::MetaCall) {
            ++calls;
            if (QThread::currentThread() != worker) ++offWorker;
        }
        return QObject::eventFilter(watched, event);
    }
};

void setText(char* field, std::size_t size, const char* text)
{
    std::memset(field, 0, size);
    std::strncpy(field, text, size - 1);
}

}  // namespace

// The server's friend in the tests: reaches QObject's count of receivers.
class CameraServerTestAccess {
public:
    static int receivers(const CameraServer& s, const char* signal) { return s.receivers(signal); }
};

class TestCameraServer : public QObject {
    Q_OBJECT
    QTemporaryDir m_docRoot;
    FakeCamControl* m_fake = nullptr;
    FakeCamResetFn m_reset = nullptr;

    QString docDir() const { return m_docRoot.path() + QStringLiteral("/FPN"); }
    FakeCam& cam(int i) { return m_fake->cams[i]; }
    QVariant iniValue(const QString& key)
    {
        QSettings s(docDir() + QStringLiteral("/FPN.ini"), QSettings::IniFormat);
        return s.value(key);
    }
    void setIni(const QString& key, const QVariant& value)
    {
        QSettings s(docDir() + QStringLiteral("/FPN.ini"), QSettings::IniFormat);
        s.setValue(key, value);
        s.sync();
    }
    static void fillCoefficients(CameraServer& s)
    {
        s.m_kList = {{1.0, 1.1}};
        s.m_bList = {{2.0, 3.0}};
        s.m_ffcKList = {{1.2, 1.3}};
        s.m_lscKList = {{0.9}};
        s.m_lscPolyList = {{1, 2, 3, 4, 5, 6, 7, 8}};
        s.setFpnEnabled(true);
        s.setFilterEnabled(true);
        s.m_flatEnable = true;
        QWriteLocker lock(&s.m_lock);
        s.m_lscEnabled = true;
        s.m_ffcEnabled = true;
    }

    // After fillCoefficients, what every close (and so every open) leaves: no coefficient list,
    // FPN, flat and LSC simulation off; FFC and the filter flag are left for the window to clear
    // with its check boxes.
    static void checkDroppedAsAtClose(const CameraServer& s)
    {
        QVERIFY(s.m_kList.isEmpty());
        QVERIFY(s.m_bList.isEmpty());
        QVERIFY(s.m_ffcKList.isEmpty());
        QVERIFY(s.m_lscKList.isEmpty());
        QVERIFY(s.m_lscPolyList.isEmpty());
        QVERIFY(!s.m_fpnEnabled);
        QVERIFY(!s.m_flatEnable);
        QVERIFY(!s.m_lscEnabled);
        QVERIFY(s.m_ffcEnabled);
        QVERIFY(s.m_filterEnabled);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_docRoot.isValid());
        qputenv("TELORINE_DOCUMENT_PATH", m_docRoot.path().toLocal8Bit());
        const QByteArray lib = qgetenv("LSX_FAKECAM");
        QVERIFY(!lib.isEmpty());
        const lsx::BindResult bound = lsx::bindLibrary(lib.toStdString());
        QVERIFY2(bound.ok, bound.message.c_str());
        void* handle = dlopen(lib.constData(), RTLD_NOW | RTLD_NOLOAD);
        QVERIFY(handle);
        auto control = reinterpret_cast<FakeCamControlFn>(dlsym(handle, "fakecamControl"));
        m_reset = reinterpret_cast<FakeCamResetFn>(dlsym(handle, "fakecamReset"));
        QVERIFY(control && m_reset);
        m_fake = control();
        registerMetaTypes();
    }

    void init()
    {
        m_reset();
        QFile::remove(docDir() + QStringLiteral("/FPN.ini"));
        cameraInfoMap.clear();
    }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    // ---- Construction ----

    void constructionDefaults()
    {
        CameraServer s;
        QVERIFY(s.m_thread);
        QVERIFY(s.m_thread->isRunning());
        QCOMPARE(s.thread(), s.m_thread);
        QCOMPARE(s.m_thread->parent(), &s);
        QCOMPARE(s.m_settings->thread(), QThread::currentThread());
        QCOMPARE(s.m_settings->fileName(), docDir() + QStringLiteral("/FPN.ini"));
        QCOMPARE(s.m_settings->format(), QSettings::IniFormat);
        QVERIFY(s.cameraName().isEmpty());
        QVERIFY(!s.m_opened);
        QVERIFY(s.m_isLinescan);
        QVERIFY(!s.m_isTvk317);
        QVERIFY(s.m_lastFrame.empty());
        QVERIFY(!s.m_stopCapture);
        QVERIFY(!s.m_cancel);
        QCOMPARE(int(s.m_maxK), 2);
        QCOMPARE(int(s.m_maxB), 64);
        QCOMPARE(s.m_supportMLK, 0);
        QCOMPARE(s.m_ffcRadius, 60);
        QVERIFY(s.m_flatEnable);
        QVERIFY(!s.m_fpnEnabled);
        QVERIFY(!s.m_filterEnabled);
        QCOMPARE(s.m_sum, 1);
        QVERIFY(!s.m_ffcEnabled);
        QVERIFY(!s.m_lscEnabled);
        QCOMPARE(s.m_frameBits, 0);
        QVERIFY(!s.m_darkFromCamera);
        QCOMPARE(s.m_lineCount, 4);
        QCOMPARE(s.m_roiHeight, 4000);
    }

    void supportedModelsInOrder()
    {
        QCOMPARE(supportedModels,
                 (QStringList{"TQW4A1N60", "TQW4A2N60", "TQW4A2N61", "TQW32A2N60", "TQW4A3D60", "TQW32A3D60"}));
    }

    void metaTypesRegistered()
    {
        registerMetaTypes();
        QCOMPARE(QMetaType::fromName("lsxHandle").id(), int(QMetaType::UInt));
        QCOMPARE(QMetaType::fromName("QRgb").id(), int(QMetaType::UInt));
        QVERIFY(QMetaType::fromName("lsxStatus").isValid());
        QCOMPARE(QMetaType::fromName("lsxStatus").sizeOf(), 4);
        QCOMPARE(QMetaType::fromName("cv::Mat"), QMetaType::fromType<cv::Mat>());
        QCOMPARE(QMetaType::fromName("QList<cv::Mat>"), QMetaType::fromType<QList<cv::Mat>>());
        QCOMPARE(QMetaType::fromName("QVector<double>"), QMetaType::fromType<QVector<double>>());
        QCOMPARE(QMetaType::fromName("QList<QList<double>>"), QMetaType::fromType<QList<QList<double>>>());
    }

    // The eleven input signals each reach one slot, as a queued call delivered by the worker.
    void elevenConnectionsRunOnTheWorker()
    {
        CameraServer s;
        MetaCallWatcher watcher;
        watcher.worker = s.m_thread;
        watcher.moveToThread(s.m_thread);
        QMetaObject::invokeMethod(
            &s, [&] { s.installEventFilter(&watcher); }, Qt::BlockingQueuedConnection);

        const char* inputs[] = {SIGNAL(IS_Capture(bool)),
                                SIGNAL(IS_DSNUStart(bool)),
                                SIGNAL(IS_FpnStart()),
                                SIGNAL(IS_FpnWriteDown(int)),
                                SIGNAL(IS_ExpTest(int)),
                                SIGNAL(IS_ApplyFFC(cv::Mat, cv::Mat, float)),
                                SIGNAL(IS_SaveFFC(QString)),
                                SIGNAL(IS_FFCWriteDown(int, QString)),
                                SIGNAL(IS_ApplyLSC(float)),
                                SIGNAL(IS_SavaLSC()),
                                SIGNAL(IS_LSCWriteDown(int, QString))};
        for (const char* signal : inputs) QCOMPARE(CameraServerTestAccess::receivers(s, signal), 1);

        // The preview loop would hold the worker; stop it at once, as the window does.
        s.stopCapture();
        // Only the stubbed procedures run here: each returns at once on a closed camera.
        emit s.IS_SaveFFC(QStringLiteral("x"));
        emit s.IS_SavaLSC();
        emit s.IS_FpnStart();
        emit s.IS_FpnWriteDown(0);
        emit s.IS_ExpTest(0);
        emit s.IS_ApplyFFC(cv::Mat(), cv::Mat(), 0.5f);
        emit s.IS_FFCWriteDown(0, QString());
        emit s.IS_ApplyLSC(0.5f);
        emit s.IS_LSCWriteDown(0, QString());
        emit s.IS_DSNUStart(false);
        emit s.IS_Capture(false);
        // Nothing ran on this thread: every call went through the worker's queue.
        QTRY_COMPARE_WITH_TIMEOUT(watcher.calls.load(), 11, 10000);
        QCOMPARE(watcher.offWorker.load(), 0);
        QThread* here = QThread::currentThread();
        QMetaObject::invokeMethod(
            &s,
            [&] {
                s.removeEventFilter(&watcher);
                watcher.moveToThread(here);
            },
            Qt::BlockingQueuedConnection);
    }

    // ---- Enumeration ----

    void enumerateListsTheCameras()
    {
        CameraServer s;
        cam(1).enumStatus = LSX_ERR_TIMEOUT;  // skipped without a word
        const QStringList names = s.enumerate();
        QCOMPARE(names, (QStringList{"FAKE-A", "FAKE-C"}));
        QCOMPARE(cameraInfoMap.size(), 2);
        QCOMPARE(QString::fromLatin1(s.cameraInfo("FAKE-C").friendlyName), QStringLiteral("FAKE-C"));

        m_fake->cameraCount = 0;
        QVERIFY(s.enumerate().isEmpty());
        QVERIFY(cameraInfoMap.isEmpty());
    }

    void cameraInfoOfAnUnknownNameIsZero()
    {
        CameraServer s;
        s.enumerate();
        const lsxCameraInfo info = s.cameraInfo(QStringLiteral("nobody"));
        lsxCameraInfo zero;
        std::memset(&zero, 0, sizeof zero);
        QCOMPARE(std::memcmp(&info, &zero, sizeof info), 0);
    }

    // ---- Open ----

    void openFailureReportsTheStatus()
    {
        CameraServer s;
        s.enumerate();
        m_fake->openStatus = LSX_ERR_ALREADY_OPEN;
        QSignalSpy failed(&s, &CameraServer::OS_OpenCameraFailed);
        s.open(QStringLiteral("FAKE-A"));
        QCOMPARE(failed.size(), 1);
        QCOMPARE(failed.at(0).at(0).value<lsxStatus>(), lsxStatus(-1102));
        QVERIFY(!s.m_opened);
        QVERIFY(s.cameraName().isEmpty());
        QCOMPARE(m_fake->saveConfigCalls, 0);
    }

    void openLineScanCamera()
    {
        cam(0).factory.maxK = 4;
        cam(0).factory.maxB = 32;
        cam(0).factory.flags = 1u << 9;
        cam(0).lineReg = 4;
        CameraServer s;
        s.enumerate();
        QSignalSpy line(&s, &CameraServer::OS_IsLinescan);
        QSignalSpy tvk(&s, &CameraServer::OS_IsTVK317);
        s.open(QStringLiteral("FAKE-A"));
        QVERIFY(s.m_opened);
        QCOMPARE(s.cameraName(), QStringLiteral("FAKE-A"));
        QCOMPARE(m_fake->lastOpenMode, 1);
        QCOMPARE(line.size(), 1);
        QCOMPARE(line.at(0).at(0).toBool(), true);
        QCOMPARE(tvk.size(), 1);
        QCOMPARE(tvk.at(0).at(0).toBool(), false);
        QCOMPARE(int(s.m_maxK), 4);
        QCOMPARE(int(s.m_maxB), 32);
        QCOMPARE(s.m_supportMLK, 1);
        QCOMPARE(s.m_lineCount, 4);
        QCOMPARE(s.m_roiHeight, 4000);
        // The camera's state as found is kept beside the settings, and the limits published.
        QCOMPARE(QString::fromLocal8Bit(m_fake->lastSavePath), docDir() + QStringLiteral("/FAKE-A.ini"));
        QVERIFY(QFile::exists(docDir() + QStringLiteral("/FAKE-A.ini")));
        QCOMPARE(iniValue(FpnIni::MaxK).toInt(), 4);
        QCOMPARE(iniValue(FpnIni::MaxB).toInt(), 32);
        QCOMPARE(m_fake->loadConfigCalls, 0);
    }

    void openWithoutEnumerationKeepsDefaults()
    {
        // lsxGetCameraInfo failing and no list: no detection, limits 2 and 64.
        m_fake->cameraInfoStatus = LSX_ERR_TIMEOUT;
        cam(0).factory.maxK = 4;
        CameraServer s;
        QSignalSpy line(&s, &CameraServer::OS_IsLinescan);
        s.open(QStringLiteral("FAKE-A"));
        QVERIFY(s.m_opened);
        QCOMPARE(line.size(), 0);
        QCOMPARE(m_fake->factoryReads, 0);
        QCOMPARE(int(s.m_maxK), 2);
        QCOMPARE(int(s.m_maxB), 64);
        QCOMPARE(s.m_lineCount, 4);
    }

    void factoryModeOpensInMode5()
    {
        CameraServer s;
        QVERIFY(!s.factoryMode());
        setIni(FpnIni::Factory, true);  // an outside edit counts at once
        QVERIFY(s.factoryMode());
        s.open(QStringLiteral("FAKE-B"));
        QCOMPARE(m_fake->lastOpenMode, 5);
    }

    void openingTheOpenCameraAgainChangesNothing()
    {
        CameraServer s;
        s.enumerate();
        s.open(QStringLiteral("FAKE-A"));
        fillCoefficients(s);
        const int opens = m_fake->openCalls;
        QSignalSpy line(&s, &CameraServer::OS_IsLinescan);
        s.open(QStringLiteral("FAKE-A"));
        QCOMPARE(m_fake->openCalls, opens);
        QCOMPARE(m_fake->closeCalls, 0);
        QCOMPARE(line.size(), 0);
        QCOMPARE(s.m_kList, (QList<QList<double>>{{1.0, 1.1}}));
        QCOMPARE(s.m_bList, (QList<QList<double>>{{2.0, 3.0}}));
        QCOMPARE(s.m_ffcKList.size(), 1);
        QCOMPARE(s.m_lscKList.size(), 1);
        QCOMPARE(s.m_lscPolyList.size(), 1);
        QVERIFY(s.m_fpnEnabled);
        QVERIFY(s.m_lscEnabled);
    }

    void openingAnotherCameraDiscardsAndRestores()
    {
        CameraServer s;
        s.enumerate();
        s.open(QStringLiteral("FAKE-A"));
        QCOMPARE(cam(0).state, 10);
        cam(0).state = 99;  // the operator changes the camera while it is open
        fillCoefficients(s);
        s.open(QStringLiteral("FAKE-B"));
        QCOMPARE(cam(0).state, 10);  // back to the configuration saved at its own open
        QCOMPARE(QString::fromLocal8Bit(m_fake->lastLoadPath), docDir() + QStringLiteral("/FAKE-A.ini"));
        QCOMPARE(m_fake->closeCalls, 1);
        QCOMPARE(s.cameraName(), QStringLiteral("FAKE-B"));
        QVERIFY(s.m_opened);
        checkDroppedAsAtClose(s);
        if (QTest::currentTestFailed()) return;
    }

    void typeTextNeitherLineScanNorK317()
    {
        setText(cam(2).info.cameraType, sizeof cam(2).info.cameraType, "AreaScan");
        setText(cam(2).info.sensor, sizeof cam(2).info.sensor, "TVK401");
        cam(2).factory.maxK = 4;
        cam(2).factory.maxB = 32;
        cam(2).lineReg = 2;
        CameraServer s;
        s.enumerate();
        QSignalSpy line(&s, &CameraServer::OS_IsLinescan);
        QSignalSpy tvk(&s, &CameraServer::OS_IsTVK317);
        s.open(QStringLiteral("FAKE-C"));
        QVERIFY(s.m_opened);
        QCOMPARE(line.size(), 1);
        QCOMPARE(line.at(0).at(0).toBool(), false);
        QCOMPARE(tvk.size(), 1);
        QCOMPARE(tvk.at(0).at(0).toBool(), false);
        QCOMPARE(int(s.m_maxK), 2);
        QCOMPARE(int(s.m_maxB), 64);
        QCOMPARE(m_fake->factoryReads, 0);
        QCOMPARE(m_fake->lineRegReads, 0);
        QCOMPARE(s.m_lineCount, 4);  // as it was
        QVERIFY(s.m_isLinescan);
        QVERIFY(!s.m_isTvk317);
    }

    void k317SensorIsTheAreaFamily()
    {
        setText(cam(2).info.cameraType, sizeof cam(2).info.cameraType, "AreaScan");
        setText(cam(2).info.sensor, sizeof cam(2).info.sensor, "tvk317");
        cam(2).factory.maxK = 4;
        CameraServer s;
        s.enumerate();
        QSignalSpy line(&s, &CameraServer::OS_IsLinescan);
        QSignalSpy tvk(&s, &CameraServer::OS_IsTVK317);
        s.open(QStringLiteral("FAKE-C"));
        QCOMPARE(line.size(), 0);
        QCOMPARE(tvk.size(), 1);
        QCOMPARE(tvk.at(0).at(0).toBool(), true);
        QVERIFY(!s.m_isLinescan);
        QVERIFY(s.m_isTvk317);
        QCOMPARE(s.m_lineCount, 1);
        QCOMPARE(s.m_supportMLK, 0);
        QCOMPARE(int(s.m_maxK), 2);
        QCOMPARE(int(s.m_maxB), 64);
    }

    void bothTextsCountAsLineScan()
    {
        setText(cam(1).info.cameraType, sizeof cam(1).info.cameraType, "K317 LineScan");
        setText(cam(1).info.sensor, sizeof cam(1).info.sensor, "TVK317");
        cam(1).lineReg = 2;
        CameraServer s;
        s.enumerate();
        QSignalSpy line(&s, &CameraServer::OS_IsLinescan);
        QSignalSpy tvk(&s, &CameraServer::OS_IsTVK317);
        s.open(QStringLiteral("FAKE-B"));
        QCOMPARE(line.size(), 1);
        QCOMPARE(line.at(0).at(0).toBool(), true);
        QCOMPARE(tvk.size(), 1);
        QCOMPARE(tvk.at(0).at(0).toBool(), false);
        QVERIFY(s.m_isLinescan);
        QVERIFY(!s.m_isTvk317);
        QCOMPARE(m_fake->factoryReads, 1);
        QCOMPARE(s.m_lineCount, 2);
        QCOMPARE(s.m_roiHeight, 2000);
    }

    void factoryRecordZeroFallsBackAlone_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("byte40");
        QTest::addColumn<int>("byte41");
        QTest::addColumn<int>("maxK");
        QTest::addColumn<int>("maxB");
        QTest::newRow("byte 40 zero") << int(LSX_OK) << 0 << 32 << 2 << 32;
        QTest::newRow("byte 41 zero") << int(LSX_OK) << 3 << 0 << 3 << 64;
        QTest::newRow("both zero") << int(LSX_OK) << 0 << 0 << 2 << 64;
        QTest::newRow("read fails") << int(LSX_ERR_NOT_SUPPORTED) << 4 << 32 << 2 << 64;
        QTest::newRow("both set") << int(LSX_OK) << 4 << 255 << 4 << 255;
    }

    void factoryRecordZeroFallsBackAlone()
    {
        QFETCH(int, status);
        QFETCH(int, byte40);
        QFETCH(int, byte41);
        cam(0).factoryStatus = status;
        cam(0).factory.maxK = uint8_t(byte40);
        cam(0).factory.maxB = uint8_t(byte41);
        CameraServer s;
        s.enumerate();
        s.open(QStringLiteral("FAKE-A"));
        QTEST(int(s.m_maxK), "maxK");
        QTEST(int(s.m_maxB), "maxB");
        QTEST(iniValue(FpnIni::MaxK).toInt(), "maxK");
        QTEST(iniValue(FpnIni::MaxB).toInt(), "maxB");
    }

    void lineCountRegister_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<uint>("value");
        QTest::addColumn<int>("lineCount");
        QTest::addColumn<int>("roiHeight");
        QTest::newRow("0") << int(LSX_OK) << 0u << 1 << 1000;
        QTest::newRow("0xFFFFFFFF") << int(LSX_OK) << 0xFFFFFFFFu << 1 << 1000;
        QTest::newRow("read fails") << int(LSX_ERR_NOT_SUPPORTED) << 4u << 1 << 1000;
        QTest::newRow("4 lines") << int(LSX_OK) << 4u << 4 << 4000;
        QTest::newRow("2 lines") << int(LSX_OK) << 2u << 2 << 2000;
    }

    void lineCountRegister()
    {
        QFETCH(int, status);
        QFETCH(uint, value);
        cam(0).lineRegStatus = status;
        cam(0).lineReg = value;
        CameraServer s;
        s.enumerate();
        s.open(QStringLiteral("FAKE-A"));
        QTEST(s.m_lineCount, "lineCount");
        QTEST(s.m_roiHeight, "roiHeight");
        // Called again on its own (the procedures do so on the worker): the same answer.
        s.m_lineCount = 7;
        s.readLineCount();
        QTEST(s.m_lineCount, "lineCount");
        QTEST(s.m_roiHeight, "roiHeight");
    }

    void readLineCountOffLineScanReadsNothing()
    {
        CameraServer s;
        s.m_isLinescan = false;
        s.readLineCount();
        QCOMPARE(s.m_lineCount, 1);
        QCOMPARE(s.m_roiHeight, 1000);
        QCOMPARE(m_fake->lineRegReads, 0);
    }

    void cameraConfigLoadedAtOpen()
    {
        QTemporaryDir cfgDir;
        const QString relative = QDir::current().relativeFilePath(cfgDir.path() + QStringLiteral("/line.cfg"));
        QFile f(cfgDir.path() + QStringLiteral("/line.cfg"));
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("state=77\n");
        f.close();
        setIni(FpnIni::CameraConfig, relative);
        CameraServer s;
        s.enumerate();
        s.open(QStringLiteral("FAKE-A"));
        QCOMPARE(QString::fromLocal8Bit(m_fake->lastLoadPath), QDir(relative).absolutePath());
        QCOMPARE(cam(0).state, 77);
        // The backup was taken before: closing puts back the state as found.
        s.close();
        QCOMPARE(cam(0).state, 10);
    }

    // The camera configuration file of the settings: one that is missing is not handed to the
    // library, one the library refuses is told with its status; the camera stays open either way.
    void cameraConfigFailureIsTold()
    {
        setIni(FpnIni::CameraConfig, QStringLiteral("/nonexistent/line.cfg"));
        {
            CameraServer s;
            s.enumerate();
            QSignalSpy warning(&s, &CameraServer::OS_CameraWarning);
            s.open(QStringLiteral("FAKE-A"));
            QVERIFY(s.m_opened);
            QCOMPARE(m_fake->loadConfigCalls, 0);
            QCOMPARE(warning.size(), 1);
            QCOMPARE(
                warning.at(0).at(0).toString(),
                QStringLiteral(
                    "相机配置文件 /nonexistent/line.cfg 不存在（设置 Params/CameraConfig）。相机保持打开时的设置。"));
        }
        QTemporaryFile file;
        QVERIFY(file.open());
        setIni(FpnIni::CameraConfig, file.fileName());
        m_fake->loadConfigStatus = LSX_ERR_FILE_OPEN;
        CameraServer s;
        s.enumerate();
        QSignalSpy warning(&s, &CameraServer::OS_CameraWarning);
        const int loads = m_fake->loadConfigCalls;
        s.open(QStringLiteral("FAKE-A"));
        QVERIFY(s.m_opened);
        QCOMPARE(m_fake->loadConfigCalls, loads + 1);
        QCOMPARE(warning.size(), 1);
        QCOMPARE(warning.at(0).at(0).toString(),
                 QStringLiteral("相机配置文件 %1 加载失败，错误原因：-1304-打开文件失败。相机保持打开时的设置。")
                     .arg(file.fileName()));
    }

    // ---- Close ----

    void closeOnAClosedObject()
    {
        CameraServer s;
        fillCoefficients(s);
        QElapsedTimer t;
        t.start();
        s.close();
        QVERIFY2(t.elapsed() < 400, "close of a closed object must not sleep");
        QCOMPARE(m_fake->closeCalls, 0);
        QCOMPARE(m_fake->loadConfigCalls, 0);
        QVERIFY(!s.m_stopCapture);
        checkDroppedAsAtClose(s);
        if (QTest::currentTestFailed()) return;
    }

    void closeOfAnOpenCamera()
    {
        CameraServer s;
        s.enumerate();
        s.open(QStringLiteral("FAKE-A"));
        cam(0).state = 55;
        QElapsedTimer t;
        t.start();
        s.close();
        // No slot on the worker: nothing to hand over, no pause (the capture tests time the
        // hand-over to a running loop).
        QVERIFY2(t.elapsed() < 400, qPrintable(QString::number(t.elapsed())));
        QVERIFY(s.m_stopCapture);
        QVERIFY(!s.m_opened);
        QCOMPARE(m_fake->closeCalls, 1);
        QCOMPARE(cam(0).state, 10);
    }

    // A close the library refuses: the handle is dropped all the same and the operator told why;
    // the next open closes that handle again first, then opens the camera afresh.
    void failedCloseReleasesTheCamera()
    {
        CameraServer s;
        s.enumerate();
        s.open(QStringLiteral("FAKE-A"));
        fillCoefficients(s);
        QSignalSpy warning(&s, &CameraServer::OS_CameraWarning);
        m_fake->closeStatus = LSX_ERR_DISCONNECTED;
        s.close();
        QVERIFY(!s.m_opened);
        checkDroppedAsAtClose(s);
        if (QTest::currentTestFailed()) return;
        QCOMPARE(warning.size(), 1);
        QCOMPARE(warning.at(0).at(0).toString(),
                 QStringLiteral(
                     "关闭相机 FAKE-A 出错，错误原因：-1104-设备已经断开连接。连接已释放，再次连接时会重新关闭它。"));
        m_fake->closeStatus = LSX_OK;
        const int opens = m_fake->openCalls, closes = m_fake->closeCalls;
        s.open(QStringLiteral("FAKE-A"));
        QVERIFY(s.m_opened);
        QCOMPARE(m_fake->openCalls, opens + 1);
        QCOMPARE(m_fake->closeCalls, closes + 1);
        // Closed once: not again at the next open.
        s.close();
        s.open(QStringLiteral("FAKE-A"));
        QCOMPARE(m_fake->closeCalls, closes + 2);
    }

    // ---- Flags ----

    void flagSettersTakeTheLock()
    {
        CameraServer s;
        s.stopCapture();
        s.cancel();
        s.setFpnEnabled(true);
        s.setFilterEnabled(true);
        s.setSum(4);
        s.setFlatEnable(false);
        QVERIFY(s.m_stopCapture);
        QVERIFY(s.m_cancel);
        QVERIFY(s.m_fpnEnabled);
        QVERIFY(s.m_filterEnabled);
        QCOMPARE(s.m_sum, 4);
        QVERIFY(!s.m_flatEnable);
        // A writer holding the lock keeps the setter out until it lets go.
        s.m_lock.lockForRead();
        std::atomic<bool> done{false};
        QThread* writer = QThread::create([&] {
            s.setSum(8);
            done = true;
        });
        writer->start();
        QVERIFY(!writer->wait(100));
        QVERIFY(!done);
        s.m_lock.unlock();
        QVERIFY(writer->wait(5000));
        delete writer;
        QCOMPARE(s.m_sum, 8);
    }

    void ffcSwitchRefusals()
    {
        CameraServer s;
        s.enumerate();
        s.open(QStringLiteral("FAKE-A"));
        QVERIFY(!s.setFfcEnabled(true));  // no gains
        QVERIFY(!s.m_ffcEnabled);
        s.m_ffcKList = {QList<double>(4095, 1.0)};
        QVERIFY(!s.setFfcEnabled(true));  // one gain short of the ROI
        s.m_ffcKList = {QList<double>(4096, 1.0)};
        cam(0).roiStatus = LSX_ERR_TIMEOUT;
        QVERIFY(!s.setFfcEnabled(true));
        cam(0).roiStatus = LSX_OK;
        QVERIFY(s.setFfcEnabled(true));
        QVERIFY(s.m_ffcEnabled);
        s.m_ffcKList.clear();
        QVERIFY(s.setFfcEnabled(false));  // switching off never fails
        QVERIFY(!s.m_ffcEnabled);
    }

    void lscSwitchRefusals()
    {
        CameraServer s;
        s.enumerate();
        s.open(QStringLiteral("FAKE-A"));
        QVERIFY(!s.setLscEnabled(true));
        QVERIFY(!s.setLscEnabled(false));  // no lens shading: refused either way
        s.m_lscKList = {QList<double>(4096, 1.0)};
        cam(0).roiStatus = LSX_ERR_TIMEOUT;
        QVERIFY(!s.setLscEnabled(true));
        cam(0).roiStatus = LSX_OK;
        QVERIFY(s.setLscEnabled(true));
        QVERIFY(s.m_lscEnabled);
        QVERIFY(s.setLscEnabled(false));
        QVERIFY(!s.m_lscEnabled);
    }

    void propertyDialogOnlyWhenOpen()
    {
        CameraServer s;
        s.showPropertyDialog(0);
        QCOMPARE(m_fake->dialogCalls, 0);
        s.enumerate();
        s.open(QStringLiteral("FAKE-A"));
        m_fake->dialogStatus = LSX_ERR_NOT_SUPPORTED;
        s.showPropertyDialog(0);
        QCOMPARE(m_fake->dialogCalls, 1);
    }

    // ---- Teardown ----

    void destructionRestoresTheCameraAndSyncs()
    {
        auto* s = new CameraServer;
        s->enumerate();
        s->open(QStringLiteral("FAKE-A"));
        cam(0).state = 42;
        s->m_settings->setValue(FpnIni::DOffset, 12);
        delete s;
        QCOMPARE(cam(0).state, 10);
        QCOMPARE(m_fake->closeCalls, 1);
        QCOMPARE(iniValue(FpnIni::DOffset).toInt(), 12);
    }

    void destructionKillsARunningProcedure()
    {
        auto* s = new CameraServer;
        std::atomic<bool> started{false};
        std::atomic<bool> finished{false};
        // A procedure that would run for a minute.
        QMetaObject::invokeMethod(s, [&] {
            started = true;
            for (int i = 0; i < 6000; ++i) QThread::msleep(10);
            finished = true;
        });
        QTRY_VERIFY_WITH_TIMEOUT(started.load(), 5000);
        QElapsedTimer t;
        t.start();
        delete s;
        QVERIFY2(t.elapsed() < 4000, "the teardown must not wait for the procedure");
        QVERIFY(!finished);
    }
};

QTEST_MAIN(TestCameraServer)
#include "test_cameraserver.moc"

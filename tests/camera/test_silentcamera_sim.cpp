// Procedures waiting for a camera that has gone silent, on the simulated camera: its library
// answers every lsxGetFrame after the first few with a time-out at once. In the window (no frame
// time-out on the server) the procedures keep waiting, tell the count of time-outs and the time
// waited about once a second, and end on the operator's cancel; with the server's frame time-out
// (the command line's --frame-timeout) they end with a message naming the camera's silence.
#include "camera/cameraserver.h"
#include "camera/metatypes.h"
#include "camera/tables.h"
#include "common/threadspy.h"
#include "loader.h"
#include "sim/lsxsim.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>

namespace {

const char* const kCamera = "SIM-LS4096-M";

// The reports of one run, in order, as (progress, text).
QList<QPair<int, QString>> reportsOf(const ThreadSpy& spy)
{
    QList<QPair<int, QString>> out;
    for (const QList<QVariant>& r : spy) out.append({r.at(0).toInt(), r.at(1).toString()});
    return out;
}

}  // namespace

class TestSilentCamera : public QObject {
    Q_OBJECT
    QTemporaryDir m_root;

    // A fresh server on the camera, its scene set, and how many frames a procedure gets before the
    // camera falls silent.
    void start(CameraServer& s, const QString& procedure, int framesFirst, int frameTimeoutMs)
    {
        const lsx::sim::Api& sim = lsx::sim::api();
        s.m_pauseScale = 0.0;
        s.setFrameTimeout(frameTimeoutMs);
        s.enumerate();
        s.open(QString::fromLatin1(kCamera));
        QVERIFY(s.m_opened);
        const bool dark = procedure == QLatin1String("dark");
        QCOMPARE(sim.setScene(kCamera, dark ? LSX_SIM_SCENE_DARK : LSX_SIM_SCENE_FLAT, -1.0, -1.0, -1.0), LSX_OK);
        QCOMPARE(sim.injectFault("lsxGetFrame", framesFirst, LSX_ERR_TIMEOUT, 0), LSX_OK);
        // The verification's questions answered at once, as with the lens already covered.
        connect(
            &s, &CameraServer::OS_VerifyAsk, &s, [&s](int step, const QString&) { s.verifyAnswer(step, true); },
            Qt::DirectConnection);
        m_ended = false;
        if (dark) emit s.IS_DSNUStart(false);
        if (procedure == QLatin1String("bright")) emit s.IS_FpnStart();
        if (procedure == QLatin1String("verify")) emit s.IS_VerifyStart();
        // Queued behind the procedure on the worker: it runs when the procedure has ended.
        QMetaObject::invokeMethod(
            &s, [this] { m_ended = true; }, Qt::QueuedConnection);
    }
    std::atomic<bool> m_ended{false};

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        qputenv("TELORINE_DOCUMENT_PATH", m_root.path().toLocal8Bit());
        const QString config = m_root.path() + QStringLiteral("/sim.json");
        QFile f(config);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(R"({"timeScale": 0, "noise": false, "hotAmp": 5,
                    "cameras": [{"friendlyName": "SIM-LS4096-M", "width": 256}]})");
        f.close();
        qputenv("LSX_SIM_CONFIG", config.toLocal8Bit());
        const lsx::BindResult bound = lsx::bindLibrary(lsx::chooseLibrary("", ""));
        QVERIFY2(bound.ok, bound.message.c_str());
        QVERIFY(lsx::sim::api().ok());
        registerMetaTypes();
    }
    void init() { QCOMPARE(lsx::sim::api().reset(), LSX_OK); }
    void cleanupTestCase() { lsx::unbindLibrary(); }

    // The window: the dark field's trigger loop and the exposure search keep waiting, and say so.
    void windowKeepsWaitingAndTellsTheWait_data()
    {
        QTest::addColumn<QString>("procedure");
        QTest::addColumn<int>("framesFirst");
        QTest::addColumn<QString>("prefix");
        QTest::newRow("dark field") << "dark" << 0 << "暗场校正-";
        QTest::newRow("exposure search") << "bright" << 8 << "";
    }

    void windowKeepsWaitingAndTellsTheWait()
    {
        QFETCH(QString, procedure);
        QFETCH(int, framesFirst);
        QFETCH(QString, prefix);
        CameraServer s;
        ThreadSpy reports(&s, &CameraServer::OS_FpnInfo);
        start(s, procedure, framesFirst, 0);
        QTest::qWait(3500);
        QVERIFY(!m_ended);
        const QRegularExpression told(QStringLiteral("^%1等待相机图像：已超时 (\\d+) 次，已等待 (\\d+\\.\\d) 秒。$")
                                          .arg(QRegularExpression::escape(prefix)));
        QList<int> counts;
        QList<double> seconds;
        for (const auto& [progress, text] : reportsOf(reports)) {
            QVERIFY2(progress <= 100, qPrintable(text));
            const QRegularExpressionMatch m = told.match(text);
            if (!m.hasMatch()) continue;
            counts.append(m.captured(1).toInt());
            seconds.append(m.captured(2).toDouble());
        }
        // Told at the first time-out, then about once a second, with the count and the time rising.
        QVERIFY2(counts.size() >= 3 && counts.size() <= 5, qPrintable(QString::number(counts.size())));
        QCOMPARE(counts.first(), 1);
        for (int i = 1; i < counts.size(); ++i) {
            QVERIFY(counts[i] > counts[i - 1]);
            QVERIFY(seconds[i] >= seconds[i - 1] + 0.9);
        }
        QVERIFY(seconds.last() >= 2.0);
        // Paced: a library answering at once is asked about once a second, not in a loop.
        QVERIFY2(counts.last() <= 12, qPrintable(QString::number(counts.last())));
        // The operator's cancel ends the wait at once.
        QElapsedTimer cancelled;
        cancelled.start();
        s.cancel();
        QTRY_VERIFY_WITH_TIMEOUT(m_ended, 2000);
        QVERIFY2(cancelled.elapsed() < 1000, qPrintable(QString::number(cancelled.elapsed())));
    }

    // The command line: after the frame time-out the run ends, the camera's silence named.
    void frameTimeoutEndsTheRun_data()
    {
        QTest::addColumn<QString>("procedure");
        QTest::addColumn<int>("framesFirst");
        QTest::addColumn<QString>("prefix");
        QTest::newRow("dark field") << "dark" << 0 << "暗场校正-";
        QTest::newRow("exposure search") << "bright" << 8 << "";
    }

    void frameTimeoutEndsTheRun()
    {
        QFETCH(QString, procedure);
        QFETCH(int, framesFirst);
        QFETCH(QString, prefix);
        CameraServer s;
        ThreadSpy reports(&s, &CameraServer::OS_FpnInfo);
        QElapsedTimer clock;
        clock.start();
        start(s, procedure, framesFirst, 1500);
        QTRY_VERIFY_WITH_TIMEOUT(m_ended, 5000);
        QVERIFY2(clock.elapsed() < 3500, qPrintable(QString::number(clock.elapsed())));
        QCoreApplication::processEvents();
        const QRegularExpression silence(
            QStringLiteral("^%1相机已 (\\d+\\.\\d) 秒没有送出图像（超时 \\d+ 次），停止等待。")
                .arg(QRegularExpression::escape(prefix)));
        int told = 0;
        for (const auto& [progress, text] : reportsOf(reports)) {
            const QRegularExpressionMatch m = silence.match(text);
            if (!m.hasMatch()) continue;
            ++told;
            QCOMPARE(progress, 101);
            QVERIFY(m.captured(1).toDouble() >= 1.5);
            QVERIFY(m.captured(1).toDouble() < 3.0);
        }
        QCOMPARE(told, 1);
        // The run ends as failed, never as done.
        QCOMPARE(reports.last().at(0).toInt(), 101);
        for (const auto& [progress, text] : reportsOf(reports)) QVERIFY2(progress != 100, qPrintable(text));
    }

    // The verification gives up after three time-outs in a row, in the window too, and says so.
    void verificationGivesUpOnASilentCamera()
    {
        CameraServer s;
        ThreadSpy reports(&s, &CameraServer::OS_FpnInfo);
        start(s, QStringLiteral("verify"), 0, 0);
        QTRY_VERIFY_WITH_TIMEOUT(m_ended, 5000);
        QCoreApplication::processEvents();
        bool waited = false, failed = false;
        for (const auto& [progress, text] : reportsOf(reports)) {
            waited = waited || text.startsWith(QStringLiteral("校正验证-等待相机图像：已超时 1 次"));
            failed = failed
                     || (progress == 101 && text == QStringLiteral("校正验证-采集图像失败，错误原因：-1000-超时错误."));
        }
        QVERIFY(waited);
        QVERIFY(failed);
        QCOMPARE(reports.last().at(0).toInt(), 101);
    }
};

QTEST_MAIN(TestSilentCamera)
#include "test_silentcamera_sim.moc"

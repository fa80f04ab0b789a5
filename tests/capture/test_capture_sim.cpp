// The live loop on the simulated camera with no wait for the read-out: the camera delivers
// frames as fast as they are asked for, the loop shows one every 30 ms at most and drops the
// rest unprocessed, and the frame kept as m_lastFrame keeps its pixels while the next frames go
// through the buffers the loop reuses.
#include "camera/cameraserver.h"
#include "camera/metatypes.h"
#include "common/threadspy.h"
#include "loader.h"
#include "sim/lsxsim.h"

#include <QElapsedTimer>
#include <QtTest>

#include <atomic>
#include <vector>

namespace {

bool sameMat(const cv::Mat& a, const cv::Mat& b)
{
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0.0;
}

// What the worker records as it emits each frame, through a direct connection: the test thread
// reads it only once `done` is set, and the worker writes nothing more after that.
struct Seen {
    static constexpr int kFrames = 12;
    QElapsedTimer clock;
    std::vector<qint64> emittedMs;
    cv::Mat kept, keptCopy;  // m_lastFrame after the first frame, and a copy of its pixels then
    bool keptUnchanged = false;
    bool laterFrameDiffers = false;
    int format = 0;
    std::atomic<int> shown{0};
    std::atomic<bool> done{false};
};

}  // namespace

class TestCaptureSim : public QObject {
    Q_OBJECT

    // The mono camera opened, its frames delivered at once.
    static void openAtOnce(CameraServer& server)
    {
        server.enumerate();
        server.open(QStringLiteral("SIM-LS4096-M"));
        QVERIFY(server.m_opened);
        QCOMPARE(lsx::sim::api().setTimeScale("SIM-LS4096-M", 0.0), LSX_OK);
    }

private slots:
    void initTestCase()
    {
        const lsx::BindResult bound = lsx::bindLibrary(lsx::chooseLibrary("", ""));
        QVERIFY2(bound.ok, bound.message.c_str());
        QVERIFY(lsx::sim::api().ok());
        registerMetaTypes();
    }
    void init() { QCOMPARE(lsx::sim::api().reset(), LSX_OK); }
    void cleanupTestCase() { lsx::unbindLibrary(); }

    void framesWithin30msDroppedAndTheKeptFrameUnchanged_data()
    {
        QTest::addColumn<QString>("camera");
        QTest::addColumn<int>("target");
        QTest::addColumn<int>("format");
        QTest::addRow("mono 8-bit") << "SIM-LS4096-M" << int(FORMAT_MONO) << int(FORMAT_MONO);
        QTest::addRow("mono 16-bit") << "SIM-LS4096-M" << int(FORMAT_MONO16) << int(FORMAT_MONO);
        QTest::addRow("BGR24") << "SIM-LS2048-C" << int(FORMAT_BGR24) << int(FORMAT_BGR24);
    }

    void framesWithin30msDroppedAndTheKeptFrameUnchanged()
    {
        QFETCH(QString, camera);
        QFETCH(int, target);
        QFETCH(int, format);
        const QByteArray name = camera.toLatin1();
        const lsx::sim::Api& sim = lsx::sim::api();
        Seen seen;  // outlives the server, whose worker writes into it
        CameraServer server;
        server.enumerate();
        server.open(camera);
        QVERIFY(server.m_opened);
        // Frames at once, with noise, so that each frame differs from the one before.
        QCOMPARE(sim.setTimeScale(name.constData(), 0.0), LSX_OK);
        QCOMPARE(sim.setNoise(name.constData(), true), LSX_OK);
        QCOMPARE(sim.setScene(name.constData(), LSX_SIM_SCENE_FLAT, -1.0, -1.0, -1.0), LSX_OK);
        QCOMPARE(lsxSetTargetFormat(server.m_handle, target), LSX_OK);
        lsxRegion roi{};
        QCOMPARE(lsxGetRoi(server.m_handle, &roi), LSX_OK);
        // A small frame, so that the camera delivers many within 30 ms even on a slow build.
        roi.X = 0;
        roi.W = 512;
        roi.H = 16;
        QCOMPARE(lsxSetRoi(server.m_handle, &roi), LSX_OK);

        seen.clock.start();
        connect(
            &server, &CameraServer::OS_NewFrame, &server,
            [&](const QPixmap&, const cv::Mat&) {
                // On the worker, right after m_lastFrame was replaced.
                if (seen.done.load()) return;
                const int n = seen.shown.load() + 1;
                seen.emittedMs.push_back(seen.clock.elapsed());
                if (n == 1) {
                    seen.kept = server.m_lastFrame;
                    seen.keptCopy = server.m_lastFrame.clone();
                    seen.format = server.m_lastFrame.type();
                }
                if (n == Seen::kFrames) {
                    seen.keptUnchanged = sameMat(seen.kept, seen.keptCopy);
                    seen.laterFrameDiffers = !sameMat(server.m_lastFrame, seen.keptCopy);
                    seen.done.store(true);
                }
                seen.shown.store(n);
            },
            Qt::DirectConnection);
        uint64_t framesBefore = 0, triggers = 0;
        QCOMPARE(sim.getCounters(name.constData(), &framesBefore, &triggers), LSX_OK);
        emit server.IS_Capture(true);
        QTRY_VERIFY_WITH_TIMEOUT(seen.done.load(), 20000);
        uint64_t framesAfter = 0;
        QCOMPARE(sim.getCounters(name.constData(), &framesAfter, &triggers), LSX_OK);
        server.stopCapture();

        QCOMPARE(int(seen.emittedMs.size()), Seen::kFrames);
        QCOMPARE(seen.format, format == FORMAT_BGR24 ? CV_8UC3 : (target == FORMAT_MONO16 ? CV_16UC1 : CV_8UC1));
        // The camera delivered many more frames than were shown: those within 30 ms of the last
        // one shown were dropped. The frames shown are about 30 ms apart, never a frame period
        // of the camera (well under a millisecond here).
        const uint64_t delivered = framesAfter - framesBefore;
        qInfo("%llu frames delivered while %d were shown", static_cast<unsigned long long>(delivered), Seen::kFrames);
        QVERIFY2(delivered >= 3u * Seen::kFrames, qPrintable(QString::number(delivered)));
        for (size_t i = 1; i < seen.emittedMs.size(); ++i) {
            const qint64 gap = seen.emittedMs[i] - seen.emittedMs[i - 1];
            QVERIFY2(gap >= 20,
                     qPrintable(QStringLiteral("frames %1 and %2 shown %3 ms apart").arg(i - 1).arg(i).arg(gap)));
        }
        const qint64 span = seen.emittedMs.back() - seen.emittedMs.front();
        QVERIFY2(span >= 29 * (Seen::kFrames - 1), qPrintable(QString::number(span)));
        // The first frame, kept as m_lastFrame was then, still has its pixels after eleven more
        // frames went through the loop's buffers, and the frames shown since differ from it.
        QVERIFY(seen.keptUnchanged);
        QVERIFY(seen.laterFrameDiffers);
        QVERIFY(sameMat(seen.kept, seen.keptCopy));
    }

    // A camera that stops delivering after 8 frames, its library answering every later
    // lsxGetFrame with a time-out at once: the loop does not spin. Forty time-outs are injected;
    // a loop that asked without a pause would use them up in a moment and see frames again, the
    // paced one asks about once a second and still waits for them 3 s later. When the camera
    // speaks again its frames are shown within the longest pause.
    void silentCameraIsNotAskedInALoop()
    {
        const lsx::sim::Api& sim = lsx::sim::api();
        CameraServer server;
        openAtOnce(server);
        QCOMPARE(sim.injectFault("lsxGetFrame", 8, LSX_ERR_TIMEOUT, 40), LSX_OK);
        std::atomic<int> shown{0};
        connect(
            &server, &CameraServer::OS_NewFrame, &server, [&](const QPixmap&, const cv::Mat&) { ++shown; },
            Qt::DirectConnection);
        emit server.IS_Capture(true);
        uint64_t frames = 0, triggers = 0;
        QTRY_VERIFY((sim.getCounters("SIM-LS4096-M", &frames, &triggers), frames >= 8));
        QTest::qWait(3000);
        uint64_t later = 0;
        QCOMPARE(sim.getCounters("SIM-LS4096-M", &later, &triggers), LSX_OK);
        QCOMPARE(later, frames);
        QVERIFY(server.workerBusy());
        const int before = shown.load();
        QElapsedTimer speaking;
        speaking.start();
        QCOMPARE(sim.clearFaults(), LSX_OK);
        QTRY_VERIFY_WITH_TIMEOUT(shown.load() > before, 3000);
        QVERIFY2(speaking.elapsed() < 1500, qPrintable(QString::number(speaking.elapsed())));
        server.stopCapture();
        QTRY_VERIFY(!server.workerBusy());
    }

    // A camera that leaves the link during live view ends capture and is reported lost once.
    void lostCameraIsReported()
    {
        const lsx::sim::Api& sim = lsx::sim::api();
        CameraServer server;
        openAtOnce(server);
        QCOMPARE(sim.disconnectAfterFrames("SIM-LS4096-M", 3), LSX_OK);
        ThreadSpy lost(&server, &CameraServer::OS_CameraLostConnection);
        ThreadSpy failed(&server, &CameraServer::OS_CaptureFailed);
        emit server.IS_Capture(true);
        QTRY_COMPARE(lost.count(), 1);
        QCOMPARE(failed.count(), 1);
        QCOMPARE(failed.at(0).at(0).value<lsxStatus>(), lsxStatus(LSX_ERR_DISCONNECTED));
        QTRY_VERIFY(!server.workerBusy());
        // Closing the lost camera releases its handle.
        server.close();
        QVERIFY(!server.m_opened);
    }
};

QTEST_MAIN(TestCaptureSim)
#include "test_capture_sim.moc"

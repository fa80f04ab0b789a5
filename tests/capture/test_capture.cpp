// Grabbing and the preview loop against a scripted camera library: the TVK317 stacking with its
// restarts and partial images, and the capture slot's corrections, sum, statistics and stop rule.
#include "camera/cameraserver.h"
#include "camera/framegrab.h"
#include "common/badframes.h"
#include "common/threadspy.h"
#include "loader.h"

#include <QElapsedTimer>
#include <QtTest>

#include <atomic>

#include <dlfcn.h>

namespace {
using PushFn = void (*)(lsxStatus, uint32_t, uint32_t, int32_t, int32_t, const void*, uint32_t, int32_t);
using ResetFn = void (*)();
using CountFn = int32_t (*)(int32_t);
using PushDescriptorFn = void (*)(const lsxFrame*, const void*, uint32_t, int32_t);
using SwitchFn = void (*)(int32_t);

// Lines of the log that tell a failed grab, counted from every thread.
std::atomic<int> g_grabFailureLines{0};
QtMessageHandler g_previousHandler = nullptr;
void countGrabFailures(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (text.contains(QLatin1String("get frame failed with"))) {
        ++g_grabFailureLines;
        return;
    }
    if (g_previousHandler) g_previousHandler(type, context, text);
}

struct Script {
    PushFn push = nullptr;
    ResetFn reset = nullptr;
    CountFn count = nullptr;
    PushDescriptorFn pushDescriptor = nullptr;
    SwitchFn timeoutsAtOnce = nullptr;

    void frame(uint32_t format, uint32_t bits, int w, int h, int value, int delayMs = 0)
    {
        const int bytesPer = format == FORMAT_MONO                                ? (bits == LSX_BITS_16 ? 2 : 1)
                             : (format == FORMAT_BGR24 || format == FORMAT_RGB24) ? 3
                                                                                  : 4;
        std::vector<uint8_t> data(static_cast<size_t>(w) * h * bytesPer);
        if (bytesPer == 2) {
            for (size_t i = 0; i < data.size() / 2; ++i) reinterpret_cast<uint16_t*>(data.data())[i] = uint16_t(value);
        } else {
            std::fill(data.begin(), data.end(), uint8_t(value));
        }
        push(LSX_OK, format, bits, w, h, data.data(), uint32_t(data.size()), delayMs);
    }
    void failure(lsxStatus s) { push(s, 0, 0, 0, 0, nullptr, 0, 0); }
    int getFrames() const { return count(0); }
    int stops() const { return count(2); }
    int closes() const { return count(3); }
};
}  // namespace

class TestCapture : public QObject {
    Q_OBJECT
    Script script;
    CameraServer* server = nullptr;

    void setUpServer()
    {
        server->m_handle = 1;
        server->m_lineCount = 1;
        server->m_isTvk317 = false;
        server->m_sum = 1;
        server->m_fpnEnabled = false;
    }

private slots:
    void initTestCase()
    {
        const std::string path = qEnvironmentVariable("LSX_SCRIPTED").toStdString();
        QVERIFY(lsx::bindLibrary(path).ok);
        void* lib = dlopen(path.c_str(), RTLD_NOW);
        QVERIFY(lib);
        script.push = reinterpret_cast<PushFn>(dlsym(lib, "scriptPush"));
        script.reset = reinterpret_cast<ResetFn>(dlsym(lib, "scriptReset"));
        script.count = reinterpret_cast<CountFn>(dlsym(lib, "scriptCount"));
        script.pushDescriptor = reinterpret_cast<PushDescriptorFn>(dlsym(lib, "scriptPushDescriptor"));
        script.timeoutsAtOnce = reinterpret_cast<SwitchFn>(dlsym(lib, "scriptTimeoutsAtOnce"));
        QVERIFY(script.push && script.reset && script.count && script.pushDescriptor && script.timeoutsAtOnce);
        server = new CameraServer;
    }
    void cleanupTestCase()
    {
        delete server;
        lsx::unbindLibrary();
    }
    void init()
    {
        script.reset();
        setUpServer();
    }

    // ---- grabLines ----

    void typeChangeRestartsTheCount()
    {
        for (int i = 0; i < 3; ++i) script.frame(FORMAT_MONO, LSX_BITS_8, 4, 1, 7);
        for (int i = 0; i < 512; ++i) script.frame(FORMAT_MONO, LSX_BITS_16, 4, 1, 900);
        lsxFrame frame{};
        cv::Mat out;
        QCOMPARE(grabLines(server, 1, &frame, out), LSX_OK);
        QCOMPARE(out.rows, 512);
        QCOMPARE(out.cols, 4);
        QCOMPARE(out.type(), CV_16UC1);
        QCOMPARE(out.at<uint16_t>(511, 3), uint16_t(900));
        QCOMPARE(script.getFrames(), 515);
    }

    void failureAfter511GivesAPartialImage()
    {
        for (int i = 0; i < 511; ++i) script.frame(FORMAT_MONO, LSX_BITS_8, 2, 3, i % 256);
        script.failure(LSX_ERR_DISCONNECTED);
        lsxFrame frame{};
        cv::Mat out(5, 5, CV_8UC1);
        QCOMPARE(grabLines(server, 1, &frame, out), LSX_ERR_DISCONNECTED);
        QCOMPARE(out.rows, 511);
        QCOMPARE(out.cols, 6);  // one readout of 3 x 2 samples is one row
        QCOMPARE(out.at<uint8_t>(300, 5), uint8_t(300 % 256));
    }

    void failureAtOnceGivesAnEmptyImage()
    {
        script.failure(LSX_ERR_DISCONNECTED);
        lsxFrame frame{};
        cv::Mat out(5, 5, CV_8UC1);
        QCOMPARE(grabLines(server, 1, &frame, out), LSX_ERR_DISCONNECTED);
        QVERIFY(out.empty());
    }

    void nonMonoReadoutsUseUpTheCount()
    {
        for (int i = 0; i < 10; ++i) script.frame(FORMAT_BGR24, LSX_BITS_8, 4, 1, 1);
        for (int i = 0; i < 502; ++i) script.frame(FORMAT_MONO, LSX_BITS_8, 4, 1, 2);
        lsxFrame frame{};
        cv::Mat out;
        QCOMPARE(grabLines(server, 1, &frame, out), LSX_OK);
        QCOMPARE(out.rows, 502);
        QCOMPARE(script.getFrames(), 512);
    }

    // ---- The line-scan preview ----

    void fpnOfTheLevelTableOnTheLiveFrame()
    {
        server->m_bList = {QList<double>(8, 10.0)};
        server->m_kList = {QList<double>(8, 1.5)};
        server->m_kScaleList = {1.0};
        server->m_kPoints = {QList<KPoint>(8, KPoint{100, 1.5})};
        server->m_fpnEnabled = true;
        script.frame(FORMAT_MONO, LSX_BITS_8, 8, 3, 200);
        ThreadSpy frames(server, &CameraServer::OS_NewFrame);
        emit server->IS_Capture(false);
        QTRY_VERIFY_WITH_TIMEOUT(frames.count() >= 1, 5000);  // emitted on the worker, maybe before we look
        QTRY_COMPARE(script.stops(), 1);
        QCOMPARE(server->m_lastFrame.at<uint8_t>(2, 7), uint8_t(255));  // (200 - 10) x 1.5
        const cv::Mat stat = frames.at(0).at(1).value<cv::Mat>();
        QCOMPARE(stat.at<float>(0, 0), 255.0f);
        QVERIFY(!frames.at(0).at(0).value<QPixmap>().isNull());
        server->m_fpnEnabled = false;
        server->m_bList.clear();
        server->m_kList.clear();
        server->m_kScaleList.clear();
        server->m_kPoints.clear();
    }

    void sixteenBitStatisticsReadOneHundred()
    {
        script.frame(FORMAT_MONO, LSX_BITS_16, 6, 5, 25600);
        ThreadSpy frames(server, &CameraServer::OS_NewFrame);
        emit server->IS_Capture(false);
        QTRY_VERIFY_WITH_TIMEOUT(frames.count() >= 1, 5000);  // emitted on the worker, maybe before we look
        QTRY_COMPARE(script.stops(), 1);
        const cv::Mat stat = frames.at(0).at(1).value<cv::Mat>();
        QCOMPARE(stat.cols, 6);
        QCOMPARE(stat.at<float>(0, 5), 100.0f);
        QCOMPARE(server->m_frameBits, 2);
        QCOMPARE(server->m_lastStatistic.at<float>(0, 0), 100.0f);
    }

    void sumOfThreeOnALargeFrame()
    {
        server->m_sum = 3;
        script.frame(FORMAT_MONO, LSX_BITS_8, 4000, 1000, 30);
        ThreadSpy frames(server, &CameraServer::OS_NewFrame);
        emit server->IS_Capture(false);
        QTRY_VERIFY_WITH_TIMEOUT(frames.count() >= 1, 10000);  // emitted on the worker, maybe before we look
        QTRY_COMPARE(script.stops(), 1);
        QCOMPARE(server->m_lastFrame.cols, 1333);
        QCOMPARE(server->m_lastFrame.rows, 333);
        QCOMPARE(server->m_lastFrame.at<uint8_t>(332, 1332), uint8_t(255));
    }

    void twoLinesRegroupedOnTheLiveFrame()
    {
        server->m_lineCount = 2;
        std::vector<uint8_t> rows{10, 20, 11, 21};  // a0, b0, a1, b1
        script.push(LSX_OK, FORMAT_MONO, LSX_BITS_8, 1, 4, rows.data(), 4, 0);
        ThreadSpy frames(server, &CameraServer::OS_NewFrame);
        emit server->IS_Capture(false);
        QTRY_VERIFY_WITH_TIMEOUT(frames.count() >= 1, 5000);  // emitted on the worker, maybe before we look
        QTRY_COMPARE(script.stops(), 1);
        const cv::Mat shown = server->m_lastFrame;
        QCOMPARE(std::vector<uint8_t>(shown.datastart, shown.dataend), (std::vector<uint8_t>{10, 11, 20, 21}));
    }

    void stopWhileNoFramesArriveWaitsForAFrame()
    {
        ThreadSpy frames(server, &CameraServer::OS_NewFrame);
        emit server->IS_Capture(true);
        QTRY_VERIFY(script.getFrames() >= 3);
        server->stopCapture();
        const int seen = script.getFrames();
        QTRY_VERIFY(script.getFrames() >= seen + 5);  // still grabbing, the request not yet seen
        QCOMPARE(script.stops(), 0);
        QCoreApplication::processEvents();  // the spy records what the worker has posted
        QCOMPARE(frames.count(), 0);
        script.frame(FORMAT_MONO, LSX_BITS_8, 4, 2, 9);
        QTRY_COMPARE(script.stops(), 1);
        QCoreApplication::processEvents();  // the spy records what the worker has posted
        QCOMPARE(frames.count(), 1);
    }

    void continuousRunShowsFramesUntilStopped()
    {
        ThreadSpy frames(server, &CameraServer::OS_NewFrame);
        for (int i = 0; i < 3; ++i) script.frame(FORMAT_MONO, LSX_BITS_8, 4, 2, 9, 40);
        emit server->IS_Capture(true);
        QTRY_COMPARE(frames.count(), 3);
        server->stopCapture();
        script.frame(FORMAT_MONO, LSX_BITS_8, 4, 2, 9, 40);
        QTRY_COMPARE(script.stops(), 1);
        QCoreApplication::processEvents();  // the spy records what the worker has posted
        QCOMPARE(frames.count(), 4);
    }

    void framesWithin30msAreDropped()
    {
        ThreadSpy frames(server, &CameraServer::OS_NewFrame);
        script.frame(FORMAT_MONO, LSX_BITS_8, 4, 2, 9);
        for (int i = 0; i < 4; ++i) script.frame(FORMAT_MONO, LSX_BITS_8, 4, 2, 9, 1);
        script.frame(FORMAT_MONO, LSX_BITS_8, 4, 2, 9, 60);
        emit server->IS_Capture(true);
        QTRY_VERIFY(script.getFrames() >= 8);  // all six taken and the camera gone quiet
        QCoreApplication::processEvents();     // the spy records what the worker has posted
        QCOMPARE(frames.count(), 2);
        server->stopCapture();
        script.frame(FORMAT_MONO, LSX_BITS_8, 4, 2, 9, 40);
        QTRY_COMPARE(script.stops(), 1);
    }

    void unsupportedFormatEndsTheRun()
    {
        ThreadSpy failed(server, &CameraServer::OS_CaptureFailed);
        script.frame(13, LSX_BITS_8, 4, 2, 9);
        emit server->IS_Capture(true);
        QTRY_VERIFY_WITH_TIMEOUT(failed.count() >= 1, 5000);  // emitted on the worker, maybe before we look
        QCOMPARE(failed.at(0).at(0).value<lsxStatus>(), LSX_ERR_NOT_SUPPORTED);
        QTRY_COMPARE(script.stops(), 1);
    }

    void grabErrorEndsTheRun()
    {
        ThreadSpy failed(server, &CameraServer::OS_CaptureFailed);
        script.failure(LSX_ERR_DISCONNECTED);
        emit server->IS_Capture(true);
        QTRY_VERIFY_WITH_TIMEOUT(failed.count() >= 1, 5000);  // emitted on the worker, maybe before we look
        QCOMPARE(failed.at(0).at(0).value<lsxStatus>(), LSX_ERR_DISCONNECTED);
        QTRY_COMPARE(script.stops(), 1);
    }

    // A descriptor that does not hold together ends capture with its reason before any byte of
    // its buffer is read, and never becomes a picture.
    void badDescriptorsEndCapture_data() { addBadFrameRows(); }

    void badDescriptorsEndCapture()
    {
        QFETCH(int, frame);
        const BadFrame& bad = kBadFrames[frame];
        ThreadSpy failed(server, &CameraServer::OS_CaptureFailed);
        ThreadSpy frames(server, &CameraServer::OS_NewFrame);
        const lsxFrame f = descriptorOf(bad);
        const std::vector<uint8_t> data(64, 5);
        script.pushDescriptor(&f, data.data(), uint32_t(data.size()), bad.nullBuffer);
        emit server->IS_Capture(true);
        QTRY_VERIFY_WITH_TIMEOUT(failed.count() >= 1, 5000);
        QCOMPARE(failed.at(0).at(0).value<lsxStatus>(), bad.status);
        QTRY_COMPARE(script.stops(), 1);
        QCoreApplication::processEvents();
        QCOMPARE(frames.count(), 0);
        QCOMPARE(failed.count(), 1);
    }

    // A library that answers time-outs as fast as it is asked, for ever and even for a closed
    // handle: the loop asks again after a pause that doubles from 10 ms up to one second (not
    // tens of millions of times), the log folds the repeats, and closing the camera ends the loop
    // at once.
    void endlessTimeOutsPacedAndEndedByTheClose()
    {
        g_grabFailureLines = 0;
        g_previousHandler = qInstallMessageHandler(countGrabFailures);
        script.timeoutsAtOnce(1);
        QElapsedTimer running;
        running.start();
        emit server->IS_Capture(true);
        QTRY_VERIFY(script.getFrames() >= 1);
        QTest::qWait(2500);
        // Calls at 0, 10, 30, 70, 150, 310, 630, 1270 and 2270 ms.
        const int calls = script.getFrames();
        QVERIFY2(calls >= 7 && calls <= 10,
                 qPrintable(QStringLiteral("%1 calls in %2 ms").arg(calls).arg(running.elapsed())));
        // The stop request waits for a frame that never comes, as it should.
        server->stopCapture();
        QTest::qWait(50);
        QVERIFY(server->workerBusy());
        QElapsedTimer timer;
        timer.start();
        server->m_opened = true;
        server->close();
        QVERIFY(timer.elapsed() >= 450);  // the hand-over pause to the running capture
        QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(!server->workerBusy());
        QVERIFY(!server->closing());
        qInstallMessageHandler(g_previousHandler);
        QCOMPARE(script.closes(), 1);
        QCOMPARE(script.stops(), 1);
        // The first line and the count of its repeats at the end.
        QCOMPARE(g_grabFailureLines.load(), 2);
    }

    // A camera that speaks again after a long silence is heard within the longest pause.
    void frameAfterASilenceIsShownWithinASecond()
    {
        script.timeoutsAtOnce(1);
        ThreadSpy frames(server, &CameraServer::OS_NewFrame);
        emit server->IS_Capture(true);
        QTest::qWait(3000);  // the pauses have reached their longest
        QElapsedTimer shown;
        shown.start();
        script.frame(FORMAT_MONO, LSX_BITS_8, 4, 2, 9);
        QTRY_VERIFY_WITH_TIMEOUT(frames.count() >= 1, 2000);
        QVERIFY2(shown.elapsed() < 1200, qPrintable(QString::number(shown.elapsed())));
        server->stopCapture();
        QTest::qWait(50);  // past the 30 ms in which a frame is dropped unseen
        script.frame(FORMAT_MONO, LSX_BITS_8, 4, 2, 9);
        QTRY_COMPARE(script.stops(), 1);
    }

    // ---- The TVK317 path ----

    void tvk317StacksReadoutsAndSumIsAGain()
    {
        server->m_isTvk317 = true;
        server->m_sum = 2;
        server->m_bList = {QList<double>(4, 10.0)};
        server->m_kList = {QList<double>(4, 0.5)};
        server->m_fpnEnabled = true;
        for (int i = 0; i < 512; ++i) script.frame(FORMAT_MONO, LSX_BITS_8, 4, 1, 101);
        ThreadSpy frames(server, &CameraServer::OS_NewFrame);
        emit server->IS_Capture(false);
        QTRY_VERIFY_WITH_TIMEOUT(frames.count() >= 1, 5000);  // emitted on the worker, maybe before we look
        QTRY_COMPARE(script.stops(), 1);
        QCOMPARE(server->m_lastFrame.rows, 512);
        QCOMPARE(server->m_lastFrame.cols, 4);
        // rint((101 - 10) x 0.5) = rint(45.5) = 46, then the gain of 2.
        QCOMPARE(server->m_lastFrame.at<uint8_t>(511, 3), uint8_t(92));
        server->m_fpnEnabled = false;
        server->m_bList.clear();
        server->m_kList.clear();
    }

    void memberKAtLevelUsesTheServersSamples()
    {
        server->m_kPoints = {QList<KPoint>(2, KPoint{50, 3.0})};
        server->m_maxK = 1;
        QList<double> out;
        server->kAtLevel(10, out, 1);
        QCOMPARE(out, (QList<double>{0.8, 0.8}));
        server->m_maxK = 2;
        server->m_kPoints.clear();
        server->kAtLevel(10, out, 1);
        QVERIFY(out.isEmpty());
    }
};

QTEST_MAIN(TestCapture)
#include "test_capture.moc"

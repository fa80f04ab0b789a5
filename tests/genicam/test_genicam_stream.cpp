// The GenICam camera library's image stream on a GigE Vision line-scan camera on the loopback:
// every pixel format in its frame descriptor with its data in the high bits, the soft trigger
// with one frame per fire, free running at the line rate, a setter and a stop while another
// thread waits for a frame, two threads on one handle, incomplete frames counted and skipped, a
// quiet camera's time-out, Aravis' own area camera, and a camera that leaves the network.
#include "common/contractops.h"
#include "genicam/gvtestutil.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <cmath>
#include <thread>

using namespace gvtest;

class TestGenicamStream : public QObject {
    Q_OBJECT

    TestCamera m_camera;
    QString m_name;

private slots:
    void initTestCase()
    {
        const QString failed = startAndFind(m_camera, "S");
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
        m_name = m_camera.friendlyName(kWidth);
        QCOMPARE(m_camera.command(QStringLiteral("noise off")), QStringLiteral("ok"));
    }

    void cleanupTestCase() { m_camera.stop(); }

    void framesOfEveryPixelFormat()
    {
        const Session h(openReset(m_name));
        QVERIFY(h);
        prepare(h, FORMAT_MONO, 50);
        Frame mono8;
        QCOMPARE(grab(h, mono8), LSX_OK);
        QCOMPARE(mono8.info.format, uint32_t(FORMAT_MONO));
        QCOMPARE(mono8.info.bits, uint32_t(LSX_BITS_8));
        QCOMPARE(mono8.info.channels, 1u);
        QCOMPARE(mono8.info.width, kWidth);
        QCOMPARE(mono8.info.height, 50);
        QCOMPARE(mono8.info.size, uint32_t(kWidth * 50));
        double mean8 = 0;
        for (size_t i = 0; i < mono8.bytes.size(); ++i) mean8 += mono8.bytes[i];
        mean8 /= double(mono8.bytes.size());
        QVERIFY2(mean8 > 5.0 && mean8 < 250.0, qPrintable(QString::number(mean8)));

        // 10-, 12- and 16-bit pixels all arrive with their data in the high bits.
        struct Deep {
            const char* name;
            uint32_t code;
            uint16_t step;
        } deep[] = {{"Mono10", 0x01100003u, 64}, {"Mono12", 0x01100005u, 16}, {"Mono16", 0x01100007u, 64}};
        for (const Deep& d : deep) {
            QCOMPARE(lsxSetConfigString(h, "PixelFormat", d.name), LSX_OK);
            QCOMPARE(peek(m_camera, 0x128), d.code);
            Frame f;
            QCOMPARE(grab(h, f), LSX_OK);
            QCOMPARE(f.info.format, uint32_t(FORMAT_MONO));
            QCOMPARE(f.info.bits, uint32_t(LSX_BITS_16));
            QCOMPARE(f.info.size, uint32_t(kWidth * 50 * 2));
            double mean = 0;
            int offStep = 0, aboveFull = 0;
            const size_t n = size_t(kWidth) * 50;
            for (size_t i = 0; i < n; ++i) {
                const uint16_t v = f.at<uint16_t>(i);
                mean += v;
                offStep += (v % d.step) != 0;
                aboveFull += v > LSX_FULL_SCALE_16;
            }
            mean /= double(n);
            QVERIFY2(offStep == 0, d.name);
            QVERIFY2(aboveFull == 0, d.name);
            // The same picture as the 8-bit one, on the 16-bit scale.
            QVERIFY2(std::abs(mean / 256.0 - mean8) < 1.0,
                     qPrintable(QStringLiteral("%1: %2 against %3").arg(d.name).arg(mean / 256.0).arg(mean8)));
        }
        for (int32_t code : {FORMAT_RGB24, FORMAT_BGR24}) {
            QCOMPARE(lsxSetTargetFormat(h, code), LSX_OK);
            Frame f;
            QCOMPARE(grab(h, f), LSX_OK);
            QCOMPARE(f.info.format, uint32_t(code));
            QCOMPARE(f.info.bits, uint32_t(LSX_BITS_8));
            QCOMPARE(f.info.channels, 3u);
            QCOMPARE(f.info.size, uint32_t(kWidth * 50 * 3));
            // The test camera's colour is its grey in three channels: the same picture, noise off.
            for (size_t i = 0; i < mono8.bytes.size(); i += 97)
                for (int c = 0; c < 3; ++c) QCOMPARE(f.bytes[3 * i + size_t(c)], mono8.bytes[i]);
        }
        QCOMPARE(lsxStop(h), LSX_OK);
        lsxClose(h);
    }

    void softwareTriggerGivesExactlyOneFramePerFire()
    {
        const Session h(openReset(m_name));
        QVERIFY(h);
        lsxFrame f;
        void* buf = nullptr;
        QCOMPARE(lsxGetFrame(h, &f, &buf, 10), LSX_ERR_NOT_STARTED);
        QCOMPARE(lsxTriggerFire(h), LSX_ERR_NOT_STARTED);
        prepare(h, FORMAT_MONO16, 20);
        QCOMPARE(lsxStart(h), 2);  // already running: a partial outcome, success after lsxStart
        bool on = false;
        QCOMPARE(lsxGetTriggerState(h, &on), LSX_OK);
        QVERIFY(on);
        int32_t source = -1;
        QCOMPARE(lsxGetTriggerSource(h, &source), LSX_OK);
        QCOMPARE(source, 0);
        QCOMPARE(peek(m_camera, 0x300), 1u);  // TriggerMode On
        QCOMPARE(peek(m_camera, 0x304), 1u);  // TriggerSource Software
        QCOMPARE(lsxGetFrame(h, &f, &buf, 100), LSX_ERR_TIMEOUT);
        QCOMPARE(lsxTriggerFire(h), LSX_OK);
        QCOMPARE(lsxGetFrame(h, &f, &buf, 3000), LSX_OK);
        QCOMPARE(f.height, 20);
        QCOMPARE(lsxTriggerFire(h), LSX_OK);
        QCOMPARE(lsxGetFrame(h, &f, &buf, 3000), LSX_OK);
        QCOMPARE(lsxGetFrame(h, &f, &buf, 100), LSX_ERR_TIMEOUT);
        QCOMPARE(lsxGetFrame(h, nullptr, &buf, 50), LSX_ERR_INVALID_ARG);
        // Line 0 as the source: a fire is then a misuse.
        QCOMPARE(lsxSetTriggerSource(h, 1), LSX_OK);
        QCOMPARE(lsxGetTriggerSource(h, &source), LSX_OK);
        QCOMPARE(source, 1);
        QCOMPARE(lsxTriggerFire(h), -53);
        QCOMPARE(lsxSetTriggerSource(h, 5), LSX_ERR_OUT_OF_RANGE);
        QCOMPARE(lsxStop(h), LSX_OK);
        QCOMPARE(lsxGetFrame(h, &f, &buf, 0), LSX_ERR_NOT_STARTED);
        lsxClose(h);
    }

    void freeRunningTakesItsLinesAtTheLineRate()
    {
        // 1000 lines at 20000 lines a second: 50 ms a frame.
        const Session h(openReset(m_name));
        QVERIFY(h);
        QCOMPARE(lsxSetTriggerState(h, false), LSX_OK);
        QCOMPARE(lsxSetConfigString(h, "LineRate", "20000"), LSX_OK);
        QCOMPARE(lsxSetTargetFormat(h, FORMAT_MONO), LSX_OK);
        lsxFrame f;
        void* buf = nullptr;
        QCOMPARE(lsxStart(h), LSX_OK);
        QCOMPARE(lsxGetFrame(h, &f, &buf, 3000), LSX_OK);  // the clock is running
        QElapsedTimer t;
        t.start();
        for (int i = 0; i < 6; ++i) QCOMPARE(lsxGetFrame(h, &f, &buf, 3000), LSX_OK);
        QVERIFY2(t.elapsed() >= 250, qPrintable(QString::number(t.elapsed())));
        QVERIFY2(t.elapsed() < 2000, qPrintable(QString::number(t.elapsed())));
        QCOMPARE(f.height, 1000);
        QCOMPARE(f.width, kWidth);
        QCOMPARE(lsxStop(h), LSX_OK);
        lsxClose(h);
    }

    void setterGoesThroughWhileAnotherThreadWaits()
    {
        const Session h(openReset(m_name));
        QVERIFY(h);
        prepare(h, FORMAT_MONO, 20);
        std::atomic<int> result{0};
        std::atomic<bool> done{false};
        std::thread worker([&] {
            lsxFrame f;
            void* buf = nullptr;
            result = lsxGetFrame(h, &f, &buf, 4000);  // no trigger: waits its full time
            done = true;
        });
        QTest::qWait(100);
        QVERIFY(!done);
        QElapsedTimer s;
        s.start();
        QCOMPARE(lsxSetExposure(h, 400.0), LSX_OK);
        QCOMPARE(lsxSetAnalogGain(h, 2.0f), LSX_OK);
        QCOMPARE(configString(h, "FPNC.Enable"), QStringLiteral("false"));
        QVERIFY2(s.elapsed() < 2000, "a setter waited for the frame");  // the frame wait is 4000 ms
        QVERIFY(!done);
        QCOMPARE(lsxTriggerFire(h), LSX_OK);  // and the fire from this thread wakes the waiting one
        QTRY_VERIFY_WITH_TIMEOUT(done.load(), 3000);
        worker.join();
        QCOMPARE(result.load(), LSX_OK);
        // A stop from this thread ends a wait within a slice.
        std::thread worker2([&] {
            lsxFrame f;
            void* buf = nullptr;
            result = lsxGetFrame(h, &f, &buf, 5000);
        });
        QTest::qWait(100);
        QElapsedTimer stop;
        stop.start();
        QCOMPARE(lsxStop(h), LSX_OK);
        worker2.join();
        QCOMPARE(result.load(), LSX_ERR_NOT_STARTED);
        QVERIFY2(stop.elapsed() < 2000, qPrintable(QString::number(stop.elapsed())));
        lsxSetAnalogGain(h, 1.0f);
        lsxSetExposure(h, 100.0);
        lsxClose(h);
    }

    void twoThreadsHammerOneHandle()
    {
        const Session h(openReset(m_name));
        QVERIFY(h);
        prepare(h, FORMAT_MONO, 10);
        std::atomic<int> failures{0};
        std::thread a([&] {
            for (int i = 0; i < 40; ++i) {
                lsxFrame f;
                void* buf = nullptr;
                if (lsxTriggerFire(h) != LSX_OK || lsxGetFrame(h, &f, &buf, 3000) != LSX_OK) ++failures;
            }
        });
        for (int i = 0; i < 100; ++i) {
            if (lsxSetExposure(h, 50.0 + i % 100) != LSX_OK) ++failures;
            if (lsxSetAnalogGain(h, 1.0f + float(i % 3)) != LSX_OK) ++failures;
            if (lsxSetConfigString(h, "PRNUC", "Disable") != LSX_OK) ++failures;
            lsxRegion r{};
            if (lsxGetRoi(h, &r) != LSX_OK || r.H != 10) ++failures;
        }
        a.join();
        QCOMPARE(failures.load(), 0);
        lsxSetAnalogGain(h, 1.0f);
        lsxSetExposure(h, 100.0);
        lsxClose(h);
    }

    void incompleteFramesAreCountedAndSkipped()
    {
        const Session h(openReset(m_name));
        QVERIFY(h);
        // Small frames of a few packets, a hundred a second, half the packets lost on the way.
        lsxRegion r{};
        r.W = 64;
        r.H = 10;
        QCOMPARE(lsxSetRoi(h, &r), LSX_OK);
        QCOMPARE(lsxSetConfigString(h, "LineRate", "1000"), LSX_OK);
        QCOMPARE(lsxSetTriggerState(h, false), LSX_OK);
        QCOMPARE(lsxSetTargetFormat(h, FORMAT_MONO), LSX_OK);
        QCOMPARE(m_camera.command(QStringLiteral("lose 0.5")), QStringLiteral("ok"));
        QCOMPARE(lsxStart(h), LSX_OK);
        const uint64_t incompleteBefore = configString(h, "Stream.Incomplete").toULongLong();
        for (int i = 0; i < 10; ++i) {
            Frame f;
            QCOMPARE(grab(h, f, 5000, false), LSX_OK);
            QCOMPARE(f.info.width, 64);
            QCOMPARE(f.info.height, 10);
            QCOMPARE(f.info.size, 640u);
        }
        const uint64_t incomplete = configString(h, "Stream.Incomplete").toULongLong();
        QVERIFY2(incomplete > incompleteBefore, qPrintable(QString::number(incomplete)));
        QVERIFY(configString(h, "Stream.Frames").toULongLong() >= 10);
        QCOMPARE(lsxSetConfigString(h, "Stream.Frames", "0"), -54);
        QCOMPARE(m_camera.command(QStringLiteral("lose 0")), QStringLiteral("ok"));
        QCOMPARE(lsxStop(h), LSX_OK);
        r.W = kWidth;
        r.H = 1000;
        lsxSetRoi(h, &r);
        lsxSetConfigString(h, "LineRate", "20000");
        lsxClose(h);
    }

    void aQuietCameraTimesOut()
    {
        const Session h(openReset(m_name));
        QVERIFY(h);
        prepare(h, FORMAT_MONO, 10);
        lsxFrame f;
        void* buf = nullptr;
        QElapsedTimer t;
        t.start();
        QCOMPARE(lsxGetFrame(h, &f, &buf, 700), LSX_ERR_TIMEOUT);
        QVERIFY2(t.elapsed() >= 690, qPrintable(QString::number(t.elapsed())));
        QVERIFY2(t.elapsed() < 3000, qPrintable(QString::number(t.elapsed())));
        // Still there: the next fire brings its frame.
        QCOMPARE(lsxTriggerFire(h), LSX_OK);
        QCOMPARE(lsxGetFrame(h, &f, &buf, 3000), LSX_OK);
        lsxStop(h);
        lsxClose(h);
    }

    void areaCameraOfAravisOwnTree()
    {
        // Aravis' own description of its test device: GainRaw and ExposureTimeAbs, no line rate,
        // no black level, a sensor 2048 lines high.
        m_camera.stop();
        const QString failed = startAndFind(m_camera, "A", true);
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
        const QString name = m_camera.friendlyName(kWidth);
        lsxHandle h = 0;
        QCOMPARE(lsxOpenByName(name.toLatin1().constData(), LSX_OPEN_NORMAL, &h), LSX_OK);
        const Session session(h);
        lsxCameraInfo info;
        QCOMPARE(lsxGetCameraInfo(h, &info), LSX_OK);
        QCOMPARE(QString::fromLatin1(info.cameraType), QStringLiteral("AreaScan"));
        lsxFloatDescr g;
        QCOMPARE(lsxGetAnalogGainDescr(h, &g), LSX_OK);
        QCOMPARE(g.min, 0.0f);
        QCOMPARE(g.max, 10.0f);
        QCOMPARE(g.step, 1.0f);
        QCOMPARE(lsxSetAnalogGain(h, 2.4f), LSX_OK);  // to the nearest whole GainRaw
        float gain = 0;
        QCOMPARE(lsxGetAnalogGain(h, &gain), LSX_OK);
        QCOMPARE(gain, 2.0f);
        QCOMPARE(lsxSetExposure(h, 5000.0), LSX_OK);
        double us = 0;
        QCOMPARE(lsxGetExposure(h, &us), LSX_OK);
        QCOMPARE(us, 5000.0);
        uint32_t v = 0;
        QCOMPARE(lsxReadGenICamReg(h, GVR_SEN_BLACK_LEVEL, &v), LSX_OK);
        QCOMPARE(v, LSX_REG_UNSUPPORTED);
        QCOMPARE(lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, 3), LSX_ERR_NOT_SUPPORTED);
        QCOMPARE(lsxSetConfigString(h, "LineRate", "10000"), LSX_ERR_NOT_SUPPORTED);
        lsxSensorInfo sensor;
        QCOMPARE(lsxGetSensorInfo(h, &sensor), LSX_OK);
        QCOMPARE(sensor.maxHeight, 2048);
        QCOMPARE(sensor.bitDepth, 16u);
        prepare(h, FORMAT_MONO, 16);
        Frame f;
        QCOMPARE(grab(h, f), LSX_OK);
        QCOMPARE(f.info.height, 16);
        QCOMPARE(lsxStop(h), LSX_OK);
        QCOMPARE(lsxClose(h), LSX_OK);
    }

    void aCameraThatLeavesTheNetwork()
    {
        // Whatever camera runs now: free running, then unplugged mid-stream.
        const QString name = m_camera.friendlyName(kWidth);
        lsxHandle h = 0;
        QCOMPARE(lsxOpenByName(name.toLatin1().constData(), LSX_OPEN_NORMAL, &h), LSX_OK);
        const Session session(h);
        int32_t count = 0;
        QCOMPARE(lsxSetTriggerState(h, false), LSX_OK);
        QCOMPARE(lsxStart(h), LSX_OK);
        lsxFrame f;
        void* buf = nullptr;
        QCOMPARE(lsxGetFrame(h, &f, &buf, 3000), LSX_OK);
        QCOMPARE(m_camera.command(QStringLiteral("unplug")), QStringLiteral("ok"));
        QElapsedTimer t;
        t.start();
        lsxStatus st = LSX_OK;
        while (st == LSX_OK && t.elapsed() < 5000) st = lsxGetFrame(h, &f, &buf, 1000);
        QCOMPARE(st, lsxStatus(LSX_ERR_DISCONNECTED));
        QVERIFY2(t.elapsed() < 8000, qPrintable(QString::number(t.elapsed())));
        QTemporaryDir dir;
        for (const contract::Operation& op : contract::everyOperation((dir.path() + "/state.txt").toLocal8Bit())) {
            const QByteArray opName(op.name);
            if (opName == "lsxDebugFormat" || opName == "lsxClose") continue;
            QVERIFY2(op.call(h) == LSX_ERR_DISCONNECTED, op.name);
        }
        // Letting go of a camera that is gone does not wait for it.
        QElapsedTimer close;
        close.start();
        QCOMPARE(lsxClose(h), LSX_OK);
        QVERIFY2(close.elapsed() < 500, qPrintable(QString::number(close.elapsed())));
        QCOMPARE(lsxRefresh(&count), LSX_OK);
        for (int i = 0; i < count; ++i) {
            lsxCameraInfo info;
            QCOMPARE(lsxEnum(i, &info), LSX_OK);
            QVERIFY(QString::fromLatin1(info.friendlyName) != name);
        }
    }
};

QTEST_GUILESS_MAIN(TestGenicamStream)
#include "test_genicam_stream.moc"

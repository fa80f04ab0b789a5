// The simulated camera's clock and its temporal noise: the line period is the longer of the line
// rate's and the exposure, frames carry their read-out's end on the camera's clock and count the
// read-outs, a free-running camera keeps its clock whatever the host's speed, and the noise is
// new at every opening unless its seed is fixed.
#include "simtestutil.h"

using namespace simtest;

namespace {

constexpr const char* kCam = "SIM-LS4096-M";

struct Stamp {
    lsxStatus status = LSX_ERR_UNKNOWN;
    uint64_t id = 0, us = 0;
};

Stamp nextFrame(lsxHandle h, bool fire, uint32_t timeoutMs = 3000)
{
    Stamp s;
    if (fire && (s.status = lsxTriggerFire(h)) != LSX_OK) return s;
    lsxFrame f{};
    void* buf = nullptr;
    s.status = lsxGetFrame(h, &f, &buf, timeoutMs);
    s.id = f.frameId;
    s.us = f.timestampUs;
    return s;
}

// Share of the samples that differ between two frames.
double differing(const Frame& a, const Frame& b)
{
    if (a.v.size() != b.v.size() || a.v.empty()) return -1;
    size_t n = 0;
    for (size_t i = 0; i < a.v.size(); ++i) n += a.v[i] != b.v[i];
    return double(n) / a.v.size();
}

}  // namespace

class TestSimClock : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void init() { QVERIFY(useConfig(m_dir, {})); }

    void linePeriodIsTheLongerOfLineRateAndExposure_data()
    {
        QTest::addColumn<double>("exposure");
        QTest::addColumn<bool>("triggered");
        QTest::addColumn<qint64>("frameUs");
        // 1000 rows at LineRate 10000: 100 us a line, unless the exposure is longer.
        QTest::newRow("500 us, free running") << 500.0 << false << qint64(500000);
        QTest::newRow("50 us, free running") << 50.0 << false << qint64(100000);
        QTest::newRow("500 us, triggered") << 500.0 << true << qint64(500000);
        QTest::newRow("50 us, triggered") << 50.0 << true << qint64(100000);
    }

    void linePeriodIsTheLongerOfLineRateAndExposure()
    {
        QFETCH(double, exposure);
        QFETCH(bool, triggered);
        QFETCH(qint64, frameUs);
        QCOMPARE(lsxSimSetTimeScale(kCam, 0), LSX_OK);  // before the opening: the clock stands at 0
        lsxHandle h = openCamera(kCam);
        QVERIFY(h);
        QCOMPARE(lsxSetConfigString(h, "LineRate", "10000"), LSX_OK);
        QCOMPARE(lsxSetExposure(h, exposure), LSX_OK);
        QCOMPARE(lsxSetTriggerSource(h, 0), LSX_OK);
        QCOMPARE(lsxSetTriggerState(h, triggered), LSX_OK);
        QCOMPARE(lsxStart(h), LSX_OK);
        Stamp s[3];
        for (Stamp& one : s) {
            one = nextFrame(h, triggered);
            QCOMPARE(one.status, LSX_OK);
        }
        // The clock starts at the opening; each frame ends one read-out after the one before.
        QCOMPARE(qint64(s[0].us), frameUs);
        QCOMPARE(qint64(s[1].us - s[0].us), frameUs);
        QCOMPARE(qint64(s[2].us - s[1].us), frameUs);
        QCOMPARE(s[0].id, uint64_t(1));
        QCOMPARE(s[2].id, uint64_t(3));
        // The line rate set stays what it was set to.
        char v[32];
        QCOMPARE(lsxGetConfigString(h, "LineRate", v, sizeof v), LSX_OK);
        QCOMPARE(QString(v), QString("10000"));
    }

    void triggersFiredTogetherQueueTheirReadOuts()
    {
        lsxHandle h = openCamera(kCam);
        prepare(h, 2, 34, 100);  // 100 rows at LineRate 20000 and 100 us: the exposure's 10 ms a frame
        for (int i = 0; i < 3; ++i) QCOMPARE(lsxTriggerFire(h), LSX_OK);
        Stamp s[3];
        for (Stamp& one : s) {
            one = nextFrame(h, false);
            QCOMPARE(one.status, LSX_OK);
        }
        QCOMPARE(s[1].us - s[0].us, uint64_t(10000));
        QCOMPARE(s[2].us - s[1].us, uint64_t(10000));
        QCOMPARE(s[2].id - s[0].id, uint64_t(2));
    }

    void verticalBinningTakesTwoLinesARow()
    {
        lsxHandle h = openCamera("SIM-LS8192-MLK");
        prepare(h, 2, 34, 100);
        QCOMPARE(lsxSetResolutionModeSel(h, 4), LSX_OK);
        const Stamp a = nextFrame(h, true);
        QCOMPARE(lsxSetEnumValueByString(h, "BinningVertical", "2"), LSX_OK);
        const Stamp b = nextFrame(h, true);
        QCOMPARE(a.status, LSX_OK);
        QCOMPARE(b.status, LSX_OK);
        QCOMPARE(b.us - a.us, uint64_t(20000));  // 100 rows of two lines at 100 us
    }

    void freeRunningTakesTheReadOutTime()
    {
        // 1000 lines at 20000 lines/s and 50 us: 50 ms a frame on the camera's clock, at time scale 1.
        // However slow the host (a sanitizer build draws a frame in longer than its read-out),
        // the frames' times are whole read-outs apart, the ids count the read-outs between, and
        // the host cannot have seen a frame before the camera's clock reached its end.
        lsxHandle h = openCamera(kCam);
        QCOMPARE(lsxSetTriggerState(h, false), LSX_OK);
        QCOMPARE(lsxSetExposure(h, 50.0), LSX_OK);
        QElapsedTimer t;
        t.start();
        QCOMPARE(lsxStart(h), LSX_OK);
        std::vector<Stamp> s;
        for (int i = 0; i < 5; ++i) {
            s.push_back(nextFrame(h, false));
            QCOMPARE(s.back().status, LSX_OK);
        }
        const qint64 elapsedUs = t.nsecsElapsed() / 1000;
        QVERIFY2(s[0].us >= 50000, qPrintable(QString::number(s[0].us)));
        for (size_t i = 1; i < s.size(); ++i) {
            QVERIFY(s[i].id > s[i - 1].id);
            const qint64 apart = qint64(s[i].us - s[i - 1].us) - qint64(s[i].id - s[i - 1].id) * 50000;
            QVERIFY2(std::abs(apart) <= 1, qPrintable(QString::number(apart)));
        }
        QVERIFY2(qint64(s.back().us) <= elapsedUs + 2000, qPrintable(QString("%1 %2").arg(s.back().us).arg(elapsedUs)));
        uint64_t frames = 0, fires = 0;
        QCOMPARE(lsxSimGetCounters(kCam, &frames, &fires), LSX_OK);
        QCOMPARE(frames, uint64_t(5));
        lsxStop(h);
    }

    void noiseIsNewAtEveryOpening()
    {
        Frame first, second, third;
        lsxHandle h = openCamera(kCam);
        prepare(h, 2, 34, 50);
        QCOMPARE(grab(h, first), LSX_OK);
        QCOMPARE(lsxClose(h), LSX_OK);
        h = openCamera(kCam);
        prepare(h, 2, 34, 50);
        QCOMPARE(grab(h, second), LSX_OK);
        QCOMPARE(lsxSimReset(), LSX_OK);
        h = openCamera(kCam);
        prepare(h, 2, 34, 50);
        QCOMPARE(grab(h, third), LSX_OK);
        // Read noise 0.7 DN: most samples differ by at least one step.
        QVERIFY2(differing(first, second) > 0.5, qPrintable(QString::number(differing(first, second))));
        QVERIFY2(differing(second, third) > 0.5, qPrintable(QString::number(differing(second, third))));
        QVERIFY2(differing(first, third) > 0.5, qPrintable(QString::number(differing(first, third))));
    }

    void aFixedSeedRepeatsTheNoise()
    {
        Frame a1, a2, b1, b2;
        lsxHandle h = openCamera(kCam);
        prepare(h, 2, 34, 50);
        QCOMPARE(lsxSimSetNoiseSeed(kCam, 7), LSX_OK);
        QCOMPARE(grab(h, a1), LSX_OK);
        QCOMPARE(grab(h, a2), LSX_OK);
        QCOMPARE(lsxClose(h), LSX_OK);
        h = openCamera(kCam);
        prepare(h, 2, 34, 50);
        QCOMPARE(lsxSimSetNoiseSeed(handleName(h).c_str(), 7), LSX_OK);
        QCOMPARE(grab(h, b1), LSX_OK);
        QCOMPARE(grab(h, b2), LSX_OK);
        QVERIFY(differing(a1, a2) > 0.5);
        QCOMPARE(differing(a1, b1), 0.0);
        QCOMPARE(differing(a2, b2), 0.0);
        // From the configuration: every opening starts the same noise.
        QVERIFY(useConfig(m_dir, R"({"noiseSeed": 12345})"));
        Frame c1, c2;
        h = openCamera(kCam);
        prepare(h, 2, 34, 50);
        QCOMPARE(grab(h, c1), LSX_OK);
        QCOMPARE(lsxClose(h), LSX_OK);
        h = openCamera(kCam);
        prepare(h, 2, 34, 50);
        QCOMPARE(grab(h, c2), LSX_OK);
        QCOMPARE(differing(c1, c2), 0.0);
        QVERIFY(differing(c1, a1) > 0.5);
    }
};

QTEST_GUILESS_MAIN(TestSimClock)
#include "test_sim_clock.moc"

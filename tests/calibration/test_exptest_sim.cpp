// The exposure test on the simulated camera, proven against the camera's truth: the straight line
// the statistics window fits through a column's points is the column's true response (slope
// within 1 %, offset within 1 DN on the 8-bit scale) below saturation, the run's highest exposure
// lies at the sensor's saturation, and on the colour camera each channel's slope follows its
// plane's balance, whatever the target format's channel order. The truth is asked for at each
// exposure of the run, so the comparison holds for a linear sensor and for one that bends toward
// full scale alike.
#include "calibration/reports.h"
#include "calibration/simharness.h"
#include "camera/cameraserver.h"
#include "common/threadspy.h"
#include "loader.h"
#include "sim/lsxsim.h"
#include "views/linefit.h"
#include "views/statisticswidget.h"

#include <QCheckBox>
#include <QFile>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QtCharts/QLineSeries>
#include <QtCharts/QSplineSeries>
#include <QtTest>

#include <algorithm>
#include <cmath>
#include <memory>

namespace {

constexpr int kWidth = 256;
// The output's top code: 255 on the 8-bit scale is 1020 DN10 and up.
constexpr double kTopLevel10 = 1020.0;
// Points at or above this level (8-bit scale, truth) count as at saturation: noise there reaches
// the clip.
constexpr double kBelowSaturation = 250.0;

const QString kDone = QStringLiteral("曝光范围内图像采集成功，点击确认显示统计图。");

struct Line {
    double slope = 0.0;   // 8-bit scale per us
    double offset = 0.0;  // 8-bit scale at 0 us
};

Line lineOf(const std::vector<cv::Point2f>& points)
{
    const cv::Vec4f fit = fitResponseLine(points);
    return {double(fit[1] / fit[0]), double(fitLineAt(fit, 0.0))};
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

}  // namespace

class TestExpTestSim : public QObject, SimHarness {
    Q_OBJECT

    // What a run handed to the window.
    struct Result {
        QList<Report> reports;
        QVector<double> exposures;
        QList<cv::Mat> rows;
    };

    // The camera's true level (DN10, before the output's quantisation) of each column and plane
    // at each exposure: the noise-free dark level plus the scene's signal, averaged over the
    // sensor lines as the test's column means are. [exposure][plane][column].
    using Levels = std::vector<std::vector<std::vector<double>>>;

    std::unique_ptr<CameraServer> openServer(const QString& name, int roiHeight)
    {
        auto s = std::make_unique<CameraServer>();
        s->enumerate();
        s->open(name);
        // Short frames: the series' means are over every row anyway.
        s->m_roiHeight = roiHeight;
        return s;
    }

    // The slot on the test's thread; its answers through a receiver of this thread.
    Result run(CameraServer* s, int expCount)
    {
        Result r;
        QObject here;
        connect(s, &CameraServer::OS_FpnInfo, &here, [&r](int p, QString t) { r.reports.append({p, t}); });
        connect(s, &CameraServer::OS_ExpTestFinished, &here, [&r](QVector<double> e, QList<cv::Mat> rows) {
            r.exposures = e;
            r.rows = rows;
        });
        s->expTest(expCount);
        return r;
    }

    Levels trueLevels(CameraServer* s, const QString& name, const QVector<double>& exposures, int planes, int lines)
    {
        const QByteArray cam = name.toLatin1();
        Levels out;
        for (double e : exposures) {
            if (lsxSetExposure(s->m_handle, e) != LSX_OK) return {};
            std::vector<std::vector<double>> byPlane;
            for (int p = 0; p < planes; ++p) {
                std::vector<double> level(kWidth, 0.0);
                for (int l = 0; l < lines; ++l) {
                    std::vector<float> dark(kWidth), signal(kWidth);
                    int32_t n = kWidth, m = kWidth;
                    if (m_api->getTruth(cam.constData(), LSX_SIM_TRUE_DARK, p, l, dark.data(), &n) != LSX_OK) return {};
                    if (m_api->getTruth(cam.constData(), LSX_SIM_TRUE_SIGNAL, p, l, signal.data(), &m) != LSX_OK)
                        return {};
                    if (n != kWidth || m != kWidth) return {};
                    for (int x = 0; x < kWidth; ++x) level[size_t(x)] += (dark[size_t(x)] + signal[size_t(x)]) / lines;
                }
                byPlane.push_back(level);
            }
            out.push_back(byPlane);
        }
        return out;
    }

    // The exposure at which the brightest column of the frame (the highest column mean of all
    // planes, the lines together, as the range search judges it) truly reaches the output's top
    // code: a bisection over the camera's truth.
    double saturationExposure(CameraServer* s, const QString& name, int planes, int lines)
    {
        auto top = [&](double e) {
            const Levels l = trueLevels(s, name, {e}, planes, lines);
            double best = 0.0;
            for (const auto& plane : l.at(0)) best = std::max(best, *std::max_element(plane.begin(), plane.end()));
            return best;
        };
        double lo = 2.0, hi = 20000.0;
        for (int i = 0; i < 50; ++i) {
            const double mid = 0.5 * (lo + hi);
            (top(mid) < kTopLevel10 ? lo : hi) = mid;
        }
        return 0.5 * (lo + hi);
    }

    // Every column's fitted line against the truth's, below saturation. `drop10` is what the
    // output's quantisation takes off the level on average (1.5 DN10 when the two low bits are
    // dropped). Returns the slopes per channel and column.
    std::vector<std::vector<double>> checkColumns(const Result& r, const Levels& truth, const QString& what,
                                                  double drop10)
    {
        const int channels = r.rows.first().channels();
        std::vector<std::vector<double>> slopes(static_cast<size_t>(channels));
        double worstSlope = 0.0, worstOffset = 0.0;
        for (int k = 0; k < channels; ++k)
            for (int x = 0; x < kWidth; ++x) {
                std::vector<cv::Point2f> measured, expected;
                for (int i = 0; i < r.rows.size(); ++i) {
                    const double level8 = (truth[size_t(i)][size_t(k)][size_t(x)] - drop10) / 4.0;
                    if (level8 >= kBelowSaturation) continue;
                    const float e = float(r.exposures[i]);
                    measured.emplace_back(e, r.rows[i].ptr<float>(0)[x * channels + k]);
                    expected.emplace_back(e, float(level8));
                }
                if (measured.size() < 10) {
                    QTest::qFail(qPrintable(QStringLiteral("%1: column %2 has %3 points below saturation")
                                                .arg(what)
                                                .arg(x)
                                                .arg(measured.size())),
                                 __FILE__, __LINE__);
                    return {};
                }
                const Line got = lineOf(measured), want = lineOf(expected);
                const double slopeError = std::abs(got.slope / want.slope - 1.0);
                const double offsetError = std::abs(got.offset - want.offset);
                worstSlope = std::max(worstSlope, slopeError);
                worstOffset = std::max(worstOffset, offsetError);
                slopes[size_t(k)].push_back(got.slope);
            }
        qInfo("%s: %d columns x %d channels, worst slope error %.3f %%, worst offset error %.3f DN8", qPrintable(what),
              kWidth, channels, 100 * worstSlope, worstOffset);
        if (worstSlope > 0.01 || worstOffset > 1.0) {
            QTest::qFail(
                qPrintable(
                    QStringLiteral("%1: slope error %2, offset error %3").arg(what).arg(worstSlope).arg(worstOffset)),
                __FILE__, __LINE__);
            return {};
        }
        return slopes;
    }

    // On a sensor whose truth is a straight line over the run (a linear one), the measured slope
    // is also the product of gain, response and light (DN10 per us, / 4 for the 8-bit scale),
    // plus whatever the dark level grows with the exposure. A column whose truth bends is left to
    // the comparison with its truth line above.
    void checkLinearModel(CameraServer* s, const QString& name, const Result& r, const Levels& truth,
                          const std::vector<std::vector<double>>& slopes)
    {
        const QByteArray cam = name.toLatin1();
        float gain = 0.0f;
        QCOMPARE(lsxGetAnalogGain(s->m_handle, &gain), LSX_OK);
        const int channels = int(slopes.size());
        const size_t planes = static_cast<size_t>(channels);
        std::vector<std::vector<float>> response(planes), light(planes), darkFirst(planes), darkLast(planes);
        auto truthOf = [&](int kind, int k, std::vector<float>& out) {
            out.assign(kWidth, 0.0f);
            int32_t n = kWidth;
            return m_api->getTruth(cam.constData(), kind, k, 0, out.data(), &n) == LSX_OK && n == kWidth;
        };
        for (int k = 0; k < channels; ++k) {
            QVERIFY(truthOf(LSX_SIM_TRUE_RESPONSE, k, response[size_t(k)]));
            QVERIFY(truthOf(LSX_SIM_TRUE_LIGHT, k, light[size_t(k)]));
        }
        const double e0 = r.exposures.first(), e1 = r.exposures.last();
        QCOMPARE(lsxSetExposure(s->m_handle, e0), LSX_OK);
        for (int k = 0; k < channels; ++k) QVERIFY(truthOf(LSX_SIM_TRUE_DARK, k, darkFirst[size_t(k)]));
        QCOMPARE(lsxSetExposure(s->m_handle, e1), LSX_OK);
        for (int k = 0; k < channels; ++k) QVERIFY(truthOf(LSX_SIM_TRUE_DARK, k, darkLast[size_t(k)]));

        int straight = 0;
        double worst = 0.0;
        for (int k = 0; k < channels; ++k)
            for (int x = 0; x < kWidth; ++x) {
                std::vector<cv::Point2f> points;
                for (int i = 0; i < r.rows.size(); ++i) {
                    const double level8 = truth[size_t(i)][size_t(k)][size_t(x)] / 4.0;
                    if (level8 < kBelowSaturation) points.emplace_back(float(r.exposures[i]), float(level8));
                }
                const cv::Vec4f fit = fitResponseLine(points);
                double bend = 0.0;
                for (const cv::Point2f& p : points) bend = std::max(bend, std::abs(double(fitLineAt(fit, p.x)) - p.y));
                if (bend > 0.05) continue;
                ++straight;
                const double darkDrift = (darkLast[size_t(k)][size_t(x)] - darkFirst[size_t(k)][size_t(x)]) / (e1 - e0);
                const double model =
                    (gain * response[size_t(k)][size_t(x)] * light[size_t(k)][size_t(x)] + darkDrift) / 4.0;
                worst = std::max(worst, std::abs(slopes[size_t(k)][size_t(x)] / model - 1.0));
            }
        qInfo("%s: %d of %d columns on a straight truth; their slope against gain x response x light within %.3f %%",
              qPrintable(name), straight, channels * kWidth, 100 * worst);
        QVERIFY2(worst < 0.01, qPrintable(QString::number(worst)));
    }

private slots:
    void initTestCase()
    {
        // Small sensors, frames at once, the flat scene with its slope and lens fall-off.
        bindSim(QStringLiteral(R"({"timeScale": 0, "cameras": [
            {"friendlyName": "SIM-LS4096-M", "width": %1},
            {"friendlyName": "SIM-LS2048-ML4", "width": %1},
            {"friendlyName": "SIM-LS2048-C", "width": %1}
        ]})")
                    .arg(kWidth));
    }

    void init() { freshSim(); }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    // ---- Mono ----

    void monoColumnsFollowTheirTruth_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("lines");
        QTest::addColumn<int>("source");
        QTest::addColumn<int>("target");
        QTest::addColumn<double>("drop10");
        // The 8-bit output drops the two low bits of the 10-bit level; the 16-bit target from the
        // 16-bit source carries them, and its means come to the 8-bit scale by 1/256.
        QTest::newRow("8-bit") << "SIM-LS4096-M" << 1 << 0 << 0 << 1.5;
        QTest::newRow("16-bit, target 34") << "SIM-LS4096-M" << 1 << 2 << int(FORMAT_MONO16) << 0.0;
        // Four sensor lines interleaved: the means run over all of them.
        QTest::newRow("four lines, 16-bit") << "SIM-LS2048-ML4" << 4 << 2 << int(FORMAT_MONO16) << 0.0;
    }

    void monoColumnsFollowTheirTruth()
    {
        QFETCH(QString, name);
        QFETCH(int, lines);
        QFETCH(int, source);
        QFETCH(int, target);
        QFETCH(double, drop10);
        auto s = openServer(name, 100 * lines);
        QVERIFY(s->m_opened);
        QCOMPARE(lsxSetSourceFormat(s->m_handle, source), LSX_OK);
        QCOMPARE(lsxSetTargetFormat(s->m_handle, target), LSX_OK);

        const Result r = run(s.get(), 40);
        QCOMPARE(r.reports.last(), Report(100, kDone));
        // About the 40 asked for: the interval is rounded up to a whole exposure step.
        QVERIFY(r.exposures.size() >= 30 && r.exposures.size() <= 42);
        QCOMPARE(r.rows.size(), r.exposures.size());
        QCOMPARE(r.rows.first().type(), CV_32FC1);
        QCOMPARE(r.rows.first().cols, kWidth);
        // The shortest exposure of the range is the camera's minimum.
        QCOMPARE(r.exposures.first(), 2.0);

        // The top of the run at the sensor's saturation.
        const double saturation = saturationExposure(s.get(), name, 1, lines);
        qInfo("%s: highest exposure %.1f us, saturation %.1f us (%.2f %%)", qPrintable(name), r.exposures.last(),
              saturation, 100 * (r.exposures.last() / saturation - 1.0));
        QVERIFY(std::abs(r.exposures.last() / saturation - 1.0) < 0.05);

        const Levels truth = trueLevels(s.get(), name, r.exposures, 1, lines);
        QCOMPARE(int(truth.size()), int(r.exposures.size()));
        const auto slopes = checkColumns(r, truth, QString::fromLatin1(QTest::currentDataTag()), drop10);
        if (QTest::currentTestFailed()) return;
        if (lines == 1) checkLinearModel(s.get(), name, r, truth, slopes);
    }

    // ---- Colour ----

    void colourChannelsFollowTheirPlanes_data()
    {
        QTest::addColumn<int>("target");
        QTest::newRow("BGR24, target 10") << int(FORMAT_BGR24);
        // The RGB target delivers R first; the rows still come in B, G, R.
        QTest::newRow("RGB24, target 14") << int(FORMAT_RGB24);
    }

    void colourChannelsFollowTheirPlanes()
    {
        QFETCH(int, target);
        const QString name = QStringLiteral("SIM-LS2048-C");
        auto s = openServer(name, 100);
        QVERIFY(s->m_opened);
        QCOMPARE(lsxSetTargetFormat(s->m_handle, target), LSX_OK);

        const Result r = run(s.get(), 40);
        QCOMPARE(r.reports.last(), Report(100, kDone));
        QCOMPARE(r.rows.size(), r.exposures.size());
        QCOMPARE(r.rows.first().type(), CV_32FC3);

        const double saturation = saturationExposure(s.get(), name, 3, 1);
        qInfo("colour: highest exposure %.1f us, saturation %.1f us", r.exposures.last(), saturation);
        QVERIFY(std::abs(r.exposures.last() / saturation - 1.0) < 0.05);

        const Levels truth = trueLevels(s.get(), name, r.exposures, 3, 1);
        const auto slopes = checkColumns(r, truth, QString::fromLatin1(QTest::currentDataTag()), 1.5);
        if (QTest::currentTestFailed()) return;
        checkLinearModel(s.get(), name, r, truth, slopes);

        // The planes' balance, as the truth knows it: the median of the columns' response ratios.
        const QByteArray cam = name.toLatin1();
        std::vector<std::vector<float>> response(3, std::vector<float>(kWidth));
        for (int p = 0; p < 3; ++p) {
            int32_t n = kWidth;
            QCOMPARE(m_api->getTruth(cam.constData(), LSX_SIM_TRUE_RESPONSE, p, 0, response[size_t(p)].data(), &n),
                     LSX_OK);
        }
        for (int p : {0, 2}) {
            std::vector<double> measured, balance;
            for (int x = 0; x < kWidth; ++x) {
                measured.push_back(slopes[size_t(p)][size_t(x)] / slopes[1][size_t(x)]);
                balance.push_back(double(response[size_t(p)][size_t(x)]) / response[1][size_t(x)]);
            }
            const double got = median(measured), want = median(balance);
            qInfo("colour plane %d: slope against green %.4f, balance %.4f", p, got, want);
            QVERIFY(std::abs(got / want - 1.0) < 0.01);
        }
        // Blue and red differ enough that channels in the wrong order could not pass.
        const double blue = median(std::vector<double>(slopes[0].begin(), slopes[0].end()));
        const double red = median(std::vector<double>(slopes[2].begin(), slopes[2].end()));
        QVERIFY(red / blue > 1.05);
    }

    // ---- The window fed from the run ----

    void windowDrawsTheTruthLine()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name, 100);
        QCOMPARE(lsxSetSourceFormat(s->m_handle, 2), LSX_OK);
        QCOMPARE(lsxSetTargetFormat(s->m_handle, FORMAT_MONO16), LSX_OK);
        const Result r = run(s.get(), 20);
        QVERIFY(r.rows.size() >= 20);
        const Levels truth = trueLevels(s.get(), name, r.exposures, 1, 1);

        StatisticsWidget w;
        w.dataReady(r.exposures, r.rows);
        QCOMPARE(w.expVec(), r.exposures);
        for (int column : {17, 128, 230}) {
            w.colSelSBox()->setValue(column);
            // Per channel: spline, markers, fitted line, mean curve.
            auto* fit = qobject_cast<QLineSeries*>(w.chart()->series().value(2));
            QVERIFY(fit && !qobject_cast<QSplineSeries*>(fit));
            QCOMPARE(fit->count(), 2);
            const QPointF a = fit->at(0), b = fit->at(1);
            QCOMPARE(a.x(), r.exposures.first());
            QCOMPARE(b.x(), r.exposures.last());
            const double slope = (b.y() - a.y()) / (b.x() - a.x());
            const double offset = a.y() - slope * a.x();
            std::vector<cv::Point2f> points;
            for (int i = 0; i < r.rows.size(); ++i)
                points.emplace_back(float(r.exposures[i]), float(truth[size_t(i)][0][size_t(column)] / 4.0));
            const Line want = lineOf(points);
            qInfo("column %d: window line %.5f x + %.3f, truth %.5f x + %.3f", column, slope, offset, want.slope,
                  want.offset);
            QVERIFY(std::abs(slope / want.slope - 1.0) < 0.01);
            QVERIFY(std::abs(offset - want.offset) < 1.0);
            // The markers are the run's means of that column.
            auto* markers = qobject_cast<QXYSeries*>(w.chart()->series().value(1));
            QVERIFY(markers);
            QCOMPARE(markers->count(), int(r.rows.size()));
            QCOMPARE(markers->at(5).y(), double(r.rows[5].at<float>(0, column)));
        }
    }

    // ---- Through its signal, on the worker ----

    void runsOnTheWorker()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name, 100);
        ThreadSpy finished(s.get(), &CameraServer::OS_ExpTestFinished);
        ThreadSpy info(s.get(), &CameraServer::OS_FpnInfo);
        emit s->IS_ExpTest(5);
        QTRY_VERIFY_WITH_TIMEOUT(!info.isEmpty() && info.last().at(0).toInt() >= 100, 20000);
        QCOMPARE(info.last().at(1).toString(), kDone);
        QCOMPARE(finished.size(), 1);
        const QVector<double> e = finished.first().at(0).value<QVector<double>>();
        const QList<cv::Mat> rows = finished.first().at(1).value<QList<cv::Mat>>();
        QVERIFY(e.size() >= 4);
        QCOMPARE(rows.size(), e.size());
        // The brightest column of the top exposure below full scale on the 8-bit output.
        double top = 0.0;
        cv::minMaxIdx(rows.last(), nullptr, &top);
        qInfo("top exposure %.1f us, brightest column %.2f", e.last(), top);
        QVERIFY(top > 100.0 && top < 255.0);
    }

    // ---- Faults ----

    void cameraGoneInTheSeries()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        const QByteArray cam = name.toLatin1();
        auto s = openServer(name, 100);
        // Without noise every search takes the same frames: count them once. The camera then
        // vanishes after the range's frames and four of the series': the first exposure's three
        // shots and the first shot of the second are delivered, the second's other shots fail
        // (its delivered frame is kept), and the third exposure is refused, which ends the
        // series. The run still hands on what it has.
        QCOMPARE(m_api->setNoise(cam.constData(), false), LSX_OK);
        uint64_t before = 0, after = 0, triggers = 0;
        QCOMPARE(m_api->getCounters(cam.constData(), &before, &triggers), LSX_OK);
        QCOMPARE(s->enableSoftTrigger(), LSX_OK);
        double lower = 0.0, upper = 0.0;
        QVERIFY(s->fpnExposureCheck(lower, upper, 0, 255));
        QCOMPARE(m_api->getCounters(cam.constData(), &after, &triggers), LSX_OK);
        QCOMPARE(m_api->disconnectAfterFrames(cam.constData(), int(after - before) + 4), LSX_OK);
        const Result r = run(s.get(), 10);
        QCOMPARE(r.reports.last(), Report(100, kDone));
        QVERIFY(r.exposures.size() >= 9);
        QCOMPARE(r.rows.size(), 2);
        // Each row its own exposure's: the second brighter than the first.
        QVERIFY(cv::mean(r.rows[1])[0] > cv::mean(r.rows[0])[0] + 10.0);

        // The window takes only a whole test: this one leaves the old data on show.
        StatisticsWidget w;
        w.dataReady(r.exposures, r.rows);
        QVERIFY(w.expVec().isEmpty());
    }

    void timeOutsInTheSeries()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        const QByteArray cam = name.toLatin1();
        auto s = openServer(name, 100);
        uint64_t before = 0, after = 0, triggers = 0;
        QCOMPARE(m_api->setNoise(cam.constData(), false), LSX_OK);
        QCOMPARE(m_api->getCounters(cam.constData(), &before, &triggers), LSX_OK);
        QCOMPARE(s->enableSoftTrigger(), LSX_OK);
        double lower = 0.0, upper = 0.0;
        QVERIFY(s->fpnExposureCheck(lower, upper, 0, 255));
        QCOMPARE(m_api->getCounters(cam.constData(), &after, &triggers), LSX_OK);
        // The three shots at the series' third exposure time out: that entry repeats the second.
        const int searchFrames = int(after - before);
        QCOMPARE(m_api->injectFault("lsxGetFrame", searchFrames + 6, LSX_ERR_TIMEOUT, 3), LSX_OK);
        const Result r = run(s.get(), 10);
        m_api->clearFaults();
        QCOMPARE(r.reports.last(), Report(100, kDone));
        QCOMPARE(r.rows.size(), r.exposures.size());
        QCOMPARE(cv::norm(r.rows[2], r.rows[1], cv::NORM_INF), 0.0);
        QVERIFY(cv::norm(r.rows[3], r.rows[2], cv::NORM_INF) > 1.0);
    }
};

QTEST_MAIN(TestExpTestSim)
#include "test_exptest_sim.moc"

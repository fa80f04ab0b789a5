// The bright field on the simulated camera, proven by the picture: after a dark run under the lens
// cap and a bright run under the flat light, the tool's own software correction (the live
// preview's kernels) makes the camera's flat frame flat, on the mono, four-line and colour
// cameras; without the flat-field option the light's slow profile stays and only the
// pixel-to-pixel spread goes. Then the run under the camera's faults.
#include "calibration/simharness.h"

#include <QElapsedTimer>

namespace {

constexpr int kWidth = 256;

}  // namespace

class TestBrightFieldSim : public QObject, SimHarness {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // Small sensors, frames at once, the flat scene with its slope and lens fall-off; hot
        // columns weak enough for the B limit.
        bindSim(QStringLiteral(R"({"timeScale": 0, "hotAmp": 5, "cameras": [
            {"friendlyName": "SIM-LS4096-M", "width": %1},
            {"friendlyName": "SIM-LS2048-ML4", "width": %1},
            {"friendlyName": "SIM-LS2048-C", "width": %1},
            {"friendlyName": "SIM-TQW4A2N60", "width": 2048}
        ]})")
                    .arg(kWidth));
    }

    void init() { freshSim(); }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    void correctedFrameIsFlat_data() { sensorKinds(); }

    void correctedFrameIsFlat()
    {
        QFETCH(QString, name);
        QFETCH(int, planes);
        QFETCH(int, lines);
        auto s = openServer(name);
        QVERIFY(s->m_opened);
        // "同时进行感光平场(FFC)" on: K refers every column to the brightest.
        s->setFlatEnable(true);
        calibrate(s.get(), name);
        QCOMPARE(s->m_bList.size(), planes * lines);
        QCOMPARE(s->m_kList.size(), planes * lines);

        const cv::Mat raw = frameAtLevel(s.get(), 180.0);
        QVERIFY(!raw.empty());
        const cv::Mat img = corrected(s.get(), raw);
        QVERIFY(!img.empty());
        // The corrected multi-line frame comes regrouped: each sensor line a block of rows.
        const int rows = raw.rows / lines;
        for (int p = 0; p < planes; ++p)
            for (int l = 0; l < lines; ++l) {
                // Raw rows of line l are l, l + lines, ...: their mean is that line's profile.
                const std::vector<double> rawMeans = lineMeansOf(raw, p, l, lines);
                const double before = nonUniformity(rawMeans);
                const double after = nonUniformity(columnMeansOf(img, p, l * rows, rows));
                qInfo("%s plane %d line %d: non-uniformity %.3f %% raw, %.3f %% corrected", qPrintable(name), p, l,
                      100 * before, 100 * after);
                QVERIFY2(before > 0.02, qPrintable(QString::number(before)));
                QVERIFY2(after < 0.003, qPrintable(QString::number(after)));
            }
    }

    void withoutFlatFieldTheSlowProfileStays()
    {
        // A wider sensor, so that the fit's window (160 columns to each side) is short beside the
        // lens fall-off; a model without DOffset.
        const QString name = QStringLiteral("SIM-TQW4A2N60");
        auto s = openServer(name);
        s->setFlatEnable(false);
        calibrate(s.get(), name);
        const cv::Mat raw = frameAtLevel(s.get(), 180.0);
        QVERIFY(!raw.empty());
        const cv::Mat img = corrected(s.get(), raw);
        const std::vector<double> out = columnMeansOf(img, 0, 0, img.rows);
        const int n = int(out.size()), w = 160;
        QCOMPARE(n, 2048);
        std::vector<float> light(static_cast<size_t>(n));
        int32_t count = n;
        QCOMPARE(m_api->getTruth(name.toLatin1().constData(), LSX_SIM_TRUE_LIGHT, 0, 0, light.data(), &count), LSX_OK);
        QCOMPARE(count, n);
        // Where the fit's window lies whole (at the ends it is one-sided and pulls the profile
        // toward the inside), the output follows the light, and its pixels follow their
        // neighbours.
        const std::vector<double> near = localMeans(out, 16);
        double outMean = 0.0, lightMean = 0.0;
        for (int x = w; x < n - w; ++x) {
            outMean += out[size_t(x)];
            lightMean += light[size_t(x)];
        }
        double worst = 0.0, spread = 0.0;
        for (int x = w; x < n - w; ++x) {
            worst = std::max(worst, std::abs(out[size_t(x)] / outMean - light[size_t(x)] / lightMean) * (n - 2 * w));
            spread += std::pow(out[size_t(x)] / near[size_t(x)] - 1.0, 2);
        }
        spread = std::sqrt(spread / (n - 2 * w));
        const auto [lo, hi] = std::minmax_element(light.begin() + w, light.end() - w);
        const double lightRange = (*hi - *lo) / (lightMean / (n - 2 * w));
        const std::vector<double> rawMeans = columnMeansOf(raw, 0, 0, raw.rows);
        qInfo("light varies %.2f %% inside; output follows it within %.3f %%; pixel spread %.3f %% (raw %.3f %%)",
              100 * lightRange, 100 * worst, 100 * spread, 100 * nonUniformity(rawMeans));
        QVERIFY(lightRange > 0.05);
        QVERIFY2(worst < 0.01, qPrintable(QString::number(worst)));
        QVERIFY2(spread < 0.003, qPrintable(QString::number(spread)));
    }

    // ---- Faults: the documented words, no crash, the dark rows kept ----

    void lightTooWeakForTheTarget()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        setScene(name, LSX_SIM_SCENE_DARK);
        QCOMPARE(reportsOfRun(s.get(), [&] { s->dsnuStart(true); }).last().first, 100);
        const QList<QList<double>> dark = s->m_bList;
        // A light so weak that even the longest exposure stays far under the target.
        QCOMPARE(m_api->setScene(name.toLatin1().constData(), LSX_SIM_SCENE_FLAT, 1e-6, -1, -1), LSX_OK);
        const QList<Report> r = reportsOfRun(s.get(), [&] { s->fpnStart(); });
        QCOMPARE(r.last(), Report(101, QStringLiteral("明场校正-曝光范围检测失败")));
        QCOMPARE(s->m_bList, dark);
    }

    void aSlowSearchSaysWhereItIs()
    {
        // A clock 30 times slower than real time: frames of about half a second, a search of several
        // seconds. It says
        // once a second which exposure it tries, with a progress that rises and stays between the
        // search's start (20) and its end (50).
        const QString name = QStringLiteral("SIM-LS4096-M");
        const QByteArray cam = name.toLatin1();
        auto s = openServer(name);
        setScene(name, LSX_SIM_SCENE_DARK);
        QCOMPARE(reportsOfRun(s.get(), [&] { s->dsnuStart(false); }).last().first, 100);
        setScene(name, LSX_SIM_SCENE_FLAT);
        QCOMPARE(m_api->setTimeScale(cam.constData(), 30), LSX_OK);
        QElapsedTimer took;
        took.start();
        QVector<double> found;
        const QList<Report> r = reportsOfRun(s.get(), [&] { found = s->fpnExposureCheck({180.0}); });
        const qint64 ms = took.elapsed();
        QCOMPARE(m_api->setTimeScale(cam.constData(), 0), LSX_OK);
        QCOMPARE(found.size(), 1);
        QList<Report> trials;
        for (const Report& one : r)
            if (one.second.startsWith(QStringLiteral("曝光时间搜索中："))) trials.append(one);
        qInfo("search of %lld ms, %lld reports", ms, qlonglong(trials.size()));
        QVERIFY2(ms > 2000, qPrintable(QString::number(ms)));
        // One a second, give or take the frame under way.
        QVERIFY2(trials.size() >= int(ms / 1000) - 1 && trials.size() <= int(ms / 1000) + 1,
                 qPrintable(QString::number(trials.size())));
        int last = 20;
        for (const Report& t : trials) {
            QVERIFY2(t.first > last && t.first < 50, qPrintable(t.second));
            QVERIFY2(t.second.contains(QStringLiteral(" us 时亮度为 ")), qPrintable(t.second));
            last = t.first;
        }
    }

    void faultsInTheSeries_data()
    {
        QTest::addColumn<bool>("disconnect");
        QTest::addColumn<int>("last");
        QTest::addColumn<QString>("text");
        // Time-outs at the series' first exposure: its three shots give no frame, nothing to fit.
        QTest::newRow("time-outs") << false << 101 << "明场校正-明场校正执行失败";
        // The camera gone after the search: the series cannot begin.
        QTest::newRow("disconnect") << true << 101 << "明场校正-明场校正图像采集失败";
    }

    void faultsInTheSeries()
    {
        QFETCH(bool, disconnect);
        QFETCH(int, last);
        QFETCH(QString, text);
        const QString name = QStringLiteral("SIM-LS4096-M");
        const QByteArray cam = name.toLatin1();
        auto s = openServer(name);
        QCOMPARE(m_api->setNoise(cam.constData(), false), LSX_OK);
        setScene(name, LSX_SIM_SCENE_DARK);
        QCOMPARE(reportsOfRun(s.get(), [&] { s->dsnuStart(false); }).last().first, 100);
        const QList<QList<double>> dark = s->m_bList;
        setScene(name, LSX_SIM_SCENE_FLAT);
        // Without noise the search takes the same frames every time: count them once.
        uint64_t before = 0, after = 0, triggers = 0;
        QCOMPARE(m_api->getCounters(cam.constData(), &before, &triggers), LSX_OK);
        QVERIFY(!s->fpnExposureCheck({180.0}).isEmpty());
        QCOMPARE(m_api->getCounters(cam.constData(), &after, &triggers), LSX_OK);
        const int searchFrames = int(after - before);
        QVERIFY(searchFrames > 2);

        if (disconnect) {
            QCOMPARE(m_api->disconnectAfterFrames(cam.constData(), searchFrames), LSX_OK);
        } else {
            // Every frame call after the search's times out, three of them: the first exposure.
            QCOMPARE(m_api->injectFault("lsxGetFrame", searchFrames, LSX_ERR_TIMEOUT, 3), LSX_OK);
        }
        const QList<Report> r = reportsOfRun(s.get(), [&] { s->fpnStart(); });
        QCOMPARE(r.last(), Report(last, text));
        QCOMPARE(failures(r), 1);
        QCOMPARE(s->m_bList, dark);
        m_api->clearFaults();
        if (disconnect) return;
        // The camera is fine again: a fresh run succeeds.
        QCOMPARE(reportsOfRun(s.get(), [&] { s->fpnStart(); }).last().first, 100);
    }
};

QTEST_MAIN(TestBrightFieldSim)
#include "test_brightfield_sim.moc"

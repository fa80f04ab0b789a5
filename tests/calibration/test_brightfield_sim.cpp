// The bright field on the simulated camera, proven by the picture: after a dark run under the lens
// cap and a bright run under the flat light, the tool's own software correction (the live
// preview's kernels) makes the camera's flat frame flat, on the mono, four-line and colour
// cameras; without the flat-field option the light's slow profile stays and only the
// pixel-to-pixel spread goes. Then the run under the camera's faults.
#include "camera/cameraserver.h"
#include "camera/preview.h"
#include "camera/tables.h"
#include "calibration/klevels.h"
#include "calibration/reports.h"
#include "loader.h"
#include "sim/lsxsim.h"

#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <memory>

namespace {

constexpr int kWidth = 256;

// Column means of one block of rows of one channel of a frame, in raw sample units.
std::vector<double> columnMeansOf(const cv::Mat& img, int channel, int firstRow, int rows)
{
    std::vector<double> m(size_t(img.cols), 0.0);
    for (int y = firstRow; y < firstRow + rows; ++y)
        for (int x = 0; x < img.cols; ++x) {
            const int c = img.channels();
            m[size_t(x)] += img.depth() == CV_16U ? img.ptr<uint16_t>(y)[x * c + channel]
                                                  : img.ptr<uint8_t>(y)[x * c + channel];
        }
    for (double& v : m) v /= rows;
    return m;
}

double meanOf(const std::vector<double>& v)
{
    double s = 0.0;
    for (double x : v) s += x;
    return s / double(v.size());
}

// Residual column non-uniformity: standard deviation of the column means over their mean.
double nonUniformity(const std::vector<double>& m)
{
    const double mu = meanOf(m);
    double s2 = 0.0;
    for (double x : m) s2 += (x - mu) * (x - mu);
    return std::sqrt(s2 / double(m.size())) / mu;
}

// The mean of m over [max(0, i - w), min(i + w, n)) for each i: the local reference of the fit.
std::vector<double> localMeans(const std::vector<double>& m, int w)
{
    const int n = int(m.size());
    std::vector<double> out(m.size());
    for (int i = 0; i < n; ++i) {
        double s = 0.0;
        const int a = std::max(0, i - w), b = std::min(i + w, n);
        for (int j = a; j < b; ++j) s += m[size_t(j)];
        out[size_t(i)] = s / (b - a);
    }
    return out;
}

}  // namespace

class TestBrightFieldSim : public QObject {
    Q_OBJECT

    QTemporaryDir m_root;
    std::unique_ptr<QTemporaryDir> m_doc;
    const lsx::sim::Api* m_api = nullptr;

    std::unique_ptr<CameraServer> openServer(const QString& name)
    {
        auto s = std::make_unique<CameraServer>();
        s->enumerate();
        s->open(name);
        return s;
    }

    void setScene(const QString& name, int kind)
    {
        QCOMPARE(m_api->setScene(name.toLatin1().constData(), kind, -1, -1, -1), LSX_OK);
    }

    // A run of one procedure on the test's thread, its reports in order.
    template <typename Run>
    QList<Report> reportsOfRun(CameraServer* s, Run run)
    {
        QSignalSpy info(s, &CameraServer::OS_FpnInfo);
        run();
        return reportsOf(info);
    }

    // One frame of the camera as the procedures left it (soft trigger), at the exposure that
    // reaches `level` on the 8-bit scale.
    cv::Mat frameAtLevel(CameraServer* s, double level)
    {
        const QVector<double> e = s->fpnExposureCheck({level});
        if (e.size() != 1) return cv::Mat();
        s->fpnRoiCheck(s->m_roiHeight);
        lsxSetExposure(s->m_handle, e.first());
        lsxStart(s->m_handle);
        lsxFrame frame{};
        void* buffer = nullptr;
        cv::Mat out;
        // The first frame after an exposure change is not trusted.
        for (int shot = 0; shot < 2; ++shot) {
            lsxTriggerFire(s->m_handle);
            if (lsxGetFrame(s->m_handle, &frame, &buffer, 3000) != LSX_OK) return cv::Mat();
        }
        const int type = frame.format == FORMAT_MONO ? (frame.bits == LSX_BITS_16 ? CV_16UC1 : CV_8UC1) : CV_8UC3;
        out = cv::Mat(int(frame.height), int(frame.width), type, buffer).clone();
        lsxStop(s->m_handle);
        m_format = int(frame.format);
        m_bits = int(frame.bits);
        return out;
    }
    int m_format = 0;
    int m_bits = 0;

    // The software FPN of the live preview on a copy of `raw`.
    cv::Mat corrected(CameraServer* s, const cv::Mat& raw)
    {
        const int fpnSel = QSettings(fpnIniPath(), QSettings::IniFormat).value(FpnIni::FpnSel, 9).toInt();
        const PreviewCorrections c = buildPreviewCorrections(
            fpnLevelsFor(fpnSel), s->m_bList, s->m_kList, s->m_kScaleList,
            [s](uint8_t level, QList<double>& out, int rows) { s->kAtLevel(level, out, rows); }, s->m_lineCount,
            {});
        PreviewSwitches on;
        on.fpn = true;
        on.lineCount = s->m_lineCount;
        cv::Mat img = raw.clone();
        if (!applyPreview(img, m_format, c, on, {})) return cv::Mat();
        return img;
    }

    // Dark run under the lens cap, then bright run under the flat light; both must succeed.
    void calibrate(CameraServer* s, const QString& name)
    {
        setScene(name, LSX_SIM_SCENE_DARK);
        QList<Report> r = reportsOfRun(s, [s] { s->dsnuStart(true); });
        QCOMPARE(r.last(), Report(100, QStringLiteral("暗场校正-暗场校正执行完成。")));
        setScene(name, LSX_SIM_SCENE_FLAT);
        r = reportsOfRun(s, [s] { s->fpnStart(); });
        QCOMPARE(r.last(), Report(100, QStringLiteral("明场校正-明场校正执行完成")));
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        // Small sensors, frames at once, the flat scene with its slope and lens fall-off; hot
        // columns weak enough for the B limit.
        const QString config = m_root.path() + QStringLiteral("/sim.json");
        QFile f(config);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(QStringLiteral(R"({"timeScale": 0, "hotAmp": 5, "cameras": [
            {"friendlyName": "SIM-LS4096-M", "width": %1},
            {"friendlyName": "SIM-LS2048-ML4", "width": %1},
            {"friendlyName": "SIM-LS2048-C", "width": %1},
            {"friendlyName": "SIM-TQW4A2N60", "width": 2048}
        ]})")
                    .arg(kWidth)
                    .toLatin1());
        f.close();
        qputenv("LSX_SIM_CONFIG", config.toLocal8Bit());
        const lsx::BindResult bound = lsx::bindLibrary(lsx::chooseLibrary("", ""));
        QVERIFY2(bound.ok, bound.message.c_str());
        m_api = &lsx::sim::api();
        QVERIFY(m_api->ok());
    }

    void init()
    {
        QCOMPARE(m_api->reset(), LSX_OK);
        m_doc = std::make_unique<QTemporaryDir>();
        qputenv("TELORINE_DOCUMENT_PATH", m_doc->path().toLocal8Bit());
    }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    void correctedFrameIsFlat_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("planes");
        QTest::addColumn<int>("lines");
        QTest::newRow("mono") << "SIM-LS4096-M" << 1 << 1;
        QTest::newRow("four lines") << "SIM-LS2048-ML4" << 1 << 4;
        QTest::newRow("colour") << "SIM-LS2048-C" << 3 << 1;
    }

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
                std::vector<double> rawMeans(size_t(raw.cols), 0.0);
                for (int y = l; y < raw.rows; y += lines) {
                    const std::vector<double> one = columnMeansOf(raw, p, y, 1);
                    for (size_t x = 0; x < one.size(); ++x) rawMeans[x] += one[x] / rows;
                }
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
        QCOMPARE(m_api->getTruth(name.toLatin1().constData(), LSX_SIM_TRUE_LIGHT, 0, 0, light.data(), &count),
                 LSX_OK);
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

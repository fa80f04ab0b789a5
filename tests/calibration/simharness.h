#pragma once
// What the procedure tests on the simulated camera share: the library bound on a configuration of
// small test cameras, a fresh FPN.ini per test, servers on opened cameras, the scene, procedure
// runs with their reports, frames taken as the procedures leave the camera, the software FPN of
// the live preview, and the flatness figures.
#include "calibration/klevels.h"
#include "calibration/reports.h"
#include "camera/cameraserver.h"
#include "camera/preview.h"
#include "camera/tables.h"
#include "loader.h"
#include "sim/lsxsim.h"

#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <memory>
#include <vector>

// Column means of one block of rows of one channel of a frame, in raw sample units.
inline std::vector<double> columnMeansOf(const cv::Mat& img, int channel, int firstRow, int rows)
{
    std::vector<double> m(size_t(img.cols), 0.0);
    for (int y = firstRow; y < firstRow + rows; ++y)
        for (int x = 0; x < img.cols; ++x) {
            const int c = img.channels();
            m[size_t(x)] +=
                img.depth() == CV_16U ? img.ptr<uint16_t>(y)[x * c + channel] : img.ptr<uint8_t>(y)[x * c + channel];
        }
    for (double& v : m) v /= rows;
    return m;
}

// Column means of one sensor line of a frame whose lines are interleaved row by row (rows l,
// l + lines, ...), in raw sample units.
inline std::vector<double> lineMeansOf(const cv::Mat& img, int channel, int line, int lines)
{
    std::vector<double> m(size_t(img.cols), 0.0);
    int rows = 0;
    for (int y = line; y < img.rows; y += lines, ++rows) {
        const std::vector<double> one = columnMeansOf(img, channel, y, 1);
        for (size_t x = 0; x < m.size(); ++x) m[x] += one[x];
    }
    for (double& v : m) v /= std::max(1, rows);
    return m;
}

// Four-line sensors and colour cameras as data rows of a test: camera, planes, sensor lines.
inline void sensorKinds()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("planes");
    QTest::addColumn<int>("lines");
    QTest::newRow("mono") << "SIM-LS4096-M" << 1 << 1;
    QTest::newRow("four lines") << "SIM-LS2048-ML4" << 1 << 4;
    QTest::newRow("colour") << "SIM-LS2048-C" << 3 << 1;
}

inline double meanOf(const std::vector<double>& v)
{
    double s = 0.0;
    for (double x : v) s += x;
    return s / double(v.size());
}

// Residual column non-uniformity: standard deviation of the column means over their mean.
inline double nonUniformity(const std::vector<double>& m)
{
    const double mu = meanOf(m);
    double s2 = 0.0;
    for (double x : m) s2 += (x - mu) * (x - mu);
    return std::sqrt(s2 / double(m.size())) / mu;
}

// Standard deviation of the column means.
inline double columnSpread(const std::vector<double>& m)
{
    return nonUniformity(m) * meanOf(m);
}

// The mean of m over [max(0, i - w), min(i + w, n)) for each i: the local reference of the fit.
inline std::vector<double> localMeans(const std::vector<double>& m, int w)
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

class SimHarness {
protected:
    QTemporaryDir m_root;
    std::unique_ptr<QTemporaryDir> m_doc;
    const lsx::sim::Api* m_api = nullptr;
    int m_format = 0;
    int m_bits = 0;

    // For initTestCase: the simulated camera on `json` (its "cameras" list and settings).
    void bindSim(const QString& json)
    {
        QVERIFY(m_root.isValid());
        const QString config = m_root.path() + QStringLiteral("/sim.json");
        QFile f(config);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(json.toLatin1());
        f.close();
        qputenv("LSX_SIM_CONFIG", config.toLocal8Bit());
        const lsx::BindResult bound = lsx::bindLibrary(lsx::chooseLibrary("", ""));
        QVERIFY2(bound.ok, bound.message.c_str());
        m_api = &lsx::sim::api();
        QVERIFY(m_api->ok());
    }

    // For init: the cameras as configured, a fresh FPN.ini.
    void freshSim()
    {
        QCOMPARE(m_api->reset(), LSX_OK);
        m_doc = std::make_unique<QTemporaryDir>();
        qputenv("TELORINE_DOCUMENT_PATH", m_doc->path().toLocal8Bit());
    }

    void store(const QString& key, const QVariant& value)
    {
        QSettings ini(fpnIniPath(), QSettings::IniFormat);
        ini.setValue(key, value);
    }

    // The camera opened on a server of the test's own; the procedures' settling pauses off (the
    // simulated camera needs none).
    std::unique_ptr<CameraServer> openServer(const QString& name)
    {
        auto s = std::make_unique<CameraServer>();
        s->enumerate();
        s->open(name);
        s->m_pauseScale = 0.0;
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

    // One verification on the test's thread, every question answered with the scene it asks for
    // (darkness for the lens cap, the flat target for the light); its result, empty when it gave
    // none, and its reports.
    VerifyReport verifyAnswered(CameraServer* s, const QString& name, QList<Report>* reports = nullptr)
    {
        const QMetaObject::Connection c = QObject::connect(
            s, &CameraServer::OS_VerifyAsk, s,
            [this, s, name](int step, QString) {
                setScene(name, step == 1 ? LSX_SIM_SCENE_DARK : LSX_SIM_SCENE_FLAT);
                s->verifyAnswer(step, true);
            },
            Qt::DirectConnection);
        QSignalSpy finished(s, &CameraServer::OS_VerifyFinished);
        const QList<Report> r = reportsOfRun(s, [s] { s->verifyStart(); });
        QObject::disconnect(c);
        if (reports) *reports = r;
        return finished.size() == 1 ? finished.at(0).at(0).value<VerifyReport>() : VerifyReport();
    }

    // One frame of the camera as the procedures left it (soft trigger), at the exposure that
    // reaches `level` on the 8-bit scale; at the current exposure for a level of 0.
    cv::Mat frameAtLevel(CameraServer* s, double level)
    {
        if (level > 0) {
            const QVector<double> e = s->fpnExposureCheck({level});
            if (e.size() != 1) return cv::Mat();
            lsxSetExposure(s->m_handle, e.first());
        }
        s->fpnRoiCheck(s->m_roiHeight);
        lsxStart(s->m_handle);
        lsxFrame frame{};
        void* buffer = nullptr;
        // The first frame after an exposure change is not trusted.
        for (int shot = 0; shot < 2; ++shot) {
            lsxTriggerFire(s->m_handle);
            if (lsxGetFrame(s->m_handle, &frame, &buffer, 3000) != LSX_OK) return cv::Mat();
        }
        const int type = frame.format == FORMAT_MONO ? (frame.bits == LSX_BITS_16 ? CV_16UC1 : CV_8UC1) : CV_8UC3;
        const cv::Mat out = cv::Mat(int(frame.height), int(frame.width), type, buffer).clone();
        lsxStop(s->m_handle);
        m_format = int(frame.format);
        m_bits = int(frame.bits);
        return out;
    }

    // The software FPN of the live preview on a copy of `raw`.
    cv::Mat corrected(CameraServer* s, const cv::Mat& raw)
    {
        const int fpnSel = QSettings(fpnIniPath(), QSettings::IniFormat).value(FpnIni::FpnSel, 9).toInt();
        const PreviewCorrections c = buildPreviewCorrections(
            fpnLevelsFor(fpnSel), s->m_bList, s->m_kList, s->m_kScaleList,
            [s](uint8_t level, QList<double>& out, int rows) { s->kAtLevel(level, out, rows); }, s->m_lineCount, {});
        PreviewSwitches on;
        on.fpn = true;
        on.lineCount = s->m_lineCount;
        cv::Mat img = raw.clone();
        if (!applyPreview(img, m_format, c, on, {})) return cv::Mat();
        return img;
    }

    // Dark run under the lens cap (with the DOffset search), then bright run under the flat
    // light; both must succeed.
    void calibrate(CameraServer* s, const QString& name)
    {
        setScene(name, LSX_SIM_SCENE_DARK);
        QList<Report> r = reportsOfRun(s, [s] { s->dsnuStart(true); });
        QCOMPARE(r.last(), Report(100, QStringLiteral("暗场校正-暗场校正执行完成。")));
        setScene(name, LSX_SIM_SCENE_FLAT);
        r = reportsOfRun(s, [s] { s->fpnStart(); });
        QCOMPARE(r.last(), Report(100, QStringLiteral("明场校正-明场校正执行完成")));
    }

    // The calibration a station runs before it verifies: a dark run (it prepares the camera) to
    // find the exposure of the working grey level `level`, then the dark run again at that
    // exposure (a hot column's dark grows with the exposure, so B holds at the exposure it was
    // taken at), the bright run, and the working exposure set again.
    void calibrateAt(CameraServer* s, const QString& name, double level)
    {
        setScene(name, LSX_SIM_SCENE_DARK);
        QCOMPARE(reportsOfRun(s, [s] { s->dsnuStart(true); }).last().first, 100);
        setScene(name, LSX_SIM_SCENE_FLAT);
        QVERIFY(!frameAtLevel(s, level).empty());
        double working = 0.0;
        QCOMPARE(lsxGetExposure(s->m_handle, &working), LSX_OK);
        calibrate(s, name);
        QCOMPARE(lsxSetExposure(s->m_handle, working), LSX_OK);
    }
};

// The flat field on the simulated camera: a run on a camera frame of the flat scene, written into
// a user set and switched on, flattens the camera's own output (against its raw PRNU and lens
// fall-off) at the target brightness; the set read back from the camera's memory equals what was
// written to the record's fixed point; the same per channel on the colour camera. Then the
// write-down on the multi-level camera in BIN2, the backup of an overwritten set written back value
// for value, and the loaded picture refused where it does not fit the camera, with the camera
// untouched.
#include "calibration/reports.h"
#include "calibration/simharness.h"
#include "camera/cameraserver.h"
#include "camera/tables.h"
#include "flatfield/flatharness.h"
#include "loader.h"
#include "sim/lsxsim.h"
#include "statustext.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <memory>

using GainList = QList<QList<double>>;

namespace {

constexpr int kWidth = 1024;
constexpr int kRows = 200;

struct Flatness {
    double mean = 0, sd = 0, pp = 0;
    double relSd() const { return sd / mean; }
    double relPp() const { return pp / mean; }
};

Flatness flatness(const std::vector<double>& v)
{
    Flatness f;
    double lo = 1e300, hi = -1e300;
    for (double x : v) {
        f.mean += x;
        lo = std::min(lo, x);
        hi = std::max(hi, x);
    }
    f.mean /= double(v.size());
    for (double x : v) f.sd += (x - f.mean) * (x - f.mean);
    f.sd = std::sqrt(f.sd / double(v.size()));
    f.pp = hi - lo;
    return f;
}

}  // namespace

class TestFfcSim : public QObject, SimHarness {
    Q_OBJECT

    // A flat scene, a little brighter than the target at the line's centre.
    void flatScene(const char* name) { QCOMPARE(m_api->setScene(name, LSX_SIM_SCENE_FLAT, 8.0, 0.1, 0.25), LSX_OK); }

    void setRoiHeight(lsxHandle h, int rows)
    {
        lsxRegion roi;
        std::memset(&roi, 0, sizeof roi);
        QCOMPARE(lsxGetRoi(h, &roi), LSX_OK);
        roi.H = rows;
        QCOMPARE(lsxSetRoi(h, &roi), LSX_OK);
    }

private slots:
    void initTestCase()
    {
        bindSim(QStringLiteral(R"({"timeScale": 0, "cameras": [
            {"friendlyName": "SIM-LS4096-M", "width": %1, "roiHeight": %2},
            {"friendlyName": "SIM-LS2048-ML4", "width": %1},
            {"friendlyName": "SIM-LS2048-C", "width": %1, "roiHeight": %2}
        ]})")
                    .arg(kWidth)
                    .arg(kRows));
    }

    void init() { freshSim(); }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    void closedLoopFlattensTheCamera_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("channels");
        QTest::newRow("mono 16-bit") << "SIM-LS4096-M" << 1;
        QTest::newRow("colour") << "SIM-LS2048-C" << 3;
    }

    void closedLoopFlattensTheCamera()
    {
        QFETCH(QString, name);
        QFETCH(int, channels);
        const QByteArray cam = name.toLatin1();
        auto s = openServer(cam.constData());
        QVERIFY(s->m_opened);
        const lsxHandle h = s->m_handle;
        if (channels == 1) {
            QCOMPARE(lsxSetSourceFormat(h, FORMAT_MONO16_SOURCE), LSX_OK);
            QCOMPARE(lsxSetTargetFormat(h, FORMAT_MONO16), LSX_OK);
        }
        flatScene(cam.constData());
        // Radius 0: one gain per column, so that the PRNU goes too, not only the fall-off.
        s->m_ffcRadius = 0;

        // The raw output first, as the figure the correction is measured against.
        QCOMPARE(lsxSetTriggerSource(h, 0), LSX_OK);
        QCOMPARE(lsxSetTriggerState(h, true), LSX_OK);
        const auto raw = outputMeans(h, 2);
        QCOMPARE(int(raw.size()), channels);

        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QSignalSpy finished(s.get(), &CameraServer::OS_FFCFinished);
        s->applyFFC(cv::Mat(), cv::Mat(), 180.0f);
        QList<Report> reports = reportsOf(info);
        QCOMPARE(reports.first(), Report(1, QStringLiteral("FFC执行中...")));
        QCOMPARE(reports.last().first, 100);
        QCOMPARE(finished.count(), 1);
        QCOMPARE(s->m_ffcKList.size(), channels);
        QCOMPARE(s->m_ffcKList.first().size(), kWidth);
        // The camera's flat field was off for the measurement (no lens-shading set is selected).
        QCOMPARE(int(switchOf(h).enable), 0);
        QCOMPARE(int(switchOf(h).mode), int(LSX_SWITCH_BOTH));

        info.clear();
        s->ffcWriteDown(0, QStringLiteral("UserSet0"));
        reports = reportsOf(info);
        QCOMPARE(reports.last(), Report(100, QStringLiteral("\nFFC使能成功。")));
        QVERIFY(reports.contains(Report(99, QStringLiteral("FFC参数成功写入"))));
        QVERIFY(reports.contains(Report(99, QStringLiteral("\nFFC参数组设为UserSet0."))));
        QCOMPARE(int(switchOf(h).enable), 1);
        QCOMPARE(int(switchOf(h).mode), int(LSX_SWITCH_FLAT_ONLY));

        // The camera's own output: flat, at the target.
        const auto out = outputMeans(h, 5);
        QCOMPARE(int(out.size()), channels);
        std::vector<double> ratios(3, 1.0);
        if (channels == 3) {
            // The targets keep the source's balance: 180 times each channel's maximum over G's.
            double m[3];
            for (int c = 0; c < 3; ++c) {
                m[c] = 0;
                // The maxima the run saw are those of its own statistic; the raw frame stands in,
                // so the check of the level gets a margin of the frame's noise.
                for (double v : raw[size_t(c)]) m[c] = std::max(m[c], v);
            }
            ratios = {m[0] / m[1], 1.0, m[2] / m[1]};
        }
        for (int c = 0; c < channels; ++c) {
            const Flatness before = flatness(raw[size_t(c)]);
            const Flatness after = flatness(out[size_t(c)]);
            qInfo("%s channel %d: raw %.3f %% sd, %.3f %% p-p; corrected %.4f %% sd, %.4f %% p-p, mean %.3f",
                  cam.constData(), c, 100 * before.relSd(), 100 * before.relPp(), 100 * after.relSd(),
                  100 * after.relPp(), after.mean);
            QVERIFY(before.relSd() > 0.02);
            QVERIFY2(after.relSd() < 0.003, qPrintable(QString::number(after.relSd())));
            const double target = 180.0 * ratios[size_t(c)];
            QVERIFY2(std::abs(after.mean - target) < 0.01 * target,
                     qPrintable(QStringLiteral("%1 against %2").arg(after.mean).arg(target)));
        }

        // Read back from the camera's memory: the written gains to the fixed point's half step.
        const GainList back = s->readFfcParam(1);
        QCOMPARE(back.size(), channels);
        for (int c = 0; c < channels; ++c) {
            QCOMPARE(back[c].size(), kWidth);
            for (int x = 0; x < kWidth; ++x)
                if (std::abs(back[c][x] - s->m_ffcKList[c][x]) > 0.5 / 16384.0 + 1e-12)
                    QFAIL(qPrintable(QStringLiteral("channel %1 column %2: %3 read, %4 written")
                                         .arg(c)
                                         .arg(x)
                                         .arg(back[c][x])
                                         .arg(s->m_ffcKList[c][x])));
        }
        QVERIFY(s->readFfcParam(0).isEmpty());
    }

    // A ROI of 1000 columns at X 500 in BIN2 on the multi-level camera: one gain per physical
    // sensor column, 8192, with 1.0 outside the ROI.
    void multiLevelCameraGetsTheWholeSensor()
    {
        auto s = openServer("SIM-LS8192-MLK");
        QVERIFY(s->m_supportMLK != 0);
        const lsxHandle h = s->m_handle;
        QCOMPARE(lsxSetResolutionModeSel(h, 2), LSX_OK);
        lsxSelectionDetail detail;
        QCOMPARE(lsxGetResolutionModeSelDetail(h, 2, &detail), LSX_OK);
        QCOMPARE(QString::fromLatin1(detail.text), QStringLiteral("BIN2"));
        lsxRegionDescr descr;
        QCOMPARE(lsxGetRoiDescr(h, &descr), LSX_OK);
        QCOMPARE(descr.maxWidth, 4096);
        lsxRegion roi;
        std::memset(&roi, 0, sizeof roi);
        QCOMPARE(lsxGetRoi(h, &roi), LSX_OK);
        roi.X = 500;
        roi.W = 1000;
        roi.H = 100;
        QCOMPARE(lsxSetRoi(h, &roi), LSX_OK);
        QList<double> gains;
        for (int x = 0; x < 1000; ++x) gains.append(1.25 + x / 8000.0);
        s->m_ffcKList = {gains};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->ffcWriteDown(1, QStringLiteral("UserSet1"));
        QCOMPARE(reportsOf(info).last(), Report(100, QStringLiteral("\nFFC使能成功。")));
        const GainList back = s->readFfcParam(2);
        QCOMPARE(back.size(), 1);
        QCOMPARE(back[0].size(), 8192);
        QCOMPARE(back[0][999], 1.0);
        QVERIFY(std::abs(back[0][1000] - gains[0]) < 1e-4);
        QVERIFY(std::abs(back[0][1001] - gains[0]) < 1e-4);
        QVERIFY(std::abs(back[0][2999] - gains[999]) < 1e-4);
        QCOMPARE(back[0][3000], 1.0);
        QCOMPARE(back[0][8191], 1.0);
    }

    // Without multi-level K the table goes as it is, one gain per ROI column.
    void oneLevelCameraGetsTheRoiOnly()
    {
        auto s = openServer("SIM-LS4096-M");
        QCOMPARE(s->m_supportMLK, 0);
        lsxRegion roi;
        std::memset(&roi, 0, sizeof roi);
        QCOMPARE(lsxGetRoi(s->m_handle, &roi), LSX_OK);
        roi.X = 128;
        roi.W = 512;
        QCOMPARE(lsxSetRoi(s->m_handle, &roi), LSX_OK);
        QList<double> gains;
        for (int x = 0; x < 512; ++x) gains.append(0.75 + x / 1000.0);
        s->m_ffcKList = {gains};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->ffcWriteDown(2, QStringLiteral("UserSet2"));
        QCOMPARE(reportsOf(info).last(), Report(100, QStringLiteral("\nFFC使能成功。")));
        const GainList back = s->readFfcParam(3);
        QCOMPARE(back.size(), 1);
        QCOMPARE(back[0].size(), 512);
        for (int x = 0; x < 512; x += 7) QVERIFY(std::abs(back[0][x] - gains[x]) <= 0.5 / 16384.0);
    }

    // What a write-down overwrites is kept and comes back value for value: gains written into
    // UserSet1, others over them, the backup of the first written back, the memory read again.
    void backupRestoredValueForValue()
    {
        auto s = openServer("SIM-LS4096-M");
        QList<double> first(kWidth), second(kWidth, 1.5);
        for (int x = 0; x < kWidth; ++x) first[x] = 0.75 + double(x % 97) / 256.0;
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->m_ffcKList = {first};
        s->ffcWriteDown(1, QStringLiteral("UserSet1"));
        QCOMPARE(reportsOf(info).last(), Report(100, QStringLiteral("\nFFC使能成功。")));
        const GainList before = s->readFfcParam(1);
        QCOMPARE(before.size(), 1);

        info.clear();
        s->m_ffcKList = {second};
        s->ffcWriteDown(1, QStringLiteral("UserSet1"));
        QList<Report> reports = reportsOf(info);
        QCOMPARE(reports.first(),
                 Report(5, QStringLiteral("写入前已将相机参数组 UserSet1 备份到 %1").arg(s->lastBackupPath())));
        QCOMPARE(reports.last(), Report(100, QStringLiteral("\nFFC使能成功。")));
        QVERIFY(s->readFfcParam(1) != before);

        info.clear();
        const QString backup = s->lastBackupPath();
        s->restoreBackup(backup);
        reports = reportsOf(info);
        QCOMPARE(reports.last(), Report(100, QStringLiteral("\n已将备份 %1 写回相机参数组 UserSet1。").arg(backup)));
        QCOMPARE(s->readFfcParam(1), before);
    }

    void writeDownRefusals()
    {
        auto s = openServer("SIM-LS4096-M");
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->ffcWriteDown(0, QStringLiteral("UserSet0"));
        QCOMPARE(reportsOf(info).last(), Report(101, QStringLiteral("没有执行FFC校正功能，请先执行FFC校正。")));
        info.clear();
        s->m_ffcKList = {QList<double>(kWidth - 2, 1.0)};
        s->ffcWriteDown(0, QStringLiteral("UserSet0"));
        QCOMPARE(reportsOf(info).last(), Report(101, QStringLiteral("执行FFC时的ROI与当前ROI不一致，请重试。")));
        // A gain that is not a number never reaches the camera.
        info.clear();
        QList<double> bad(kWidth, 1.0);
        bad[7] = std::nan("");
        s->m_ffcKList = {bad};
        s->ffcWriteDown(0, QStringLiteral("UserSet0"));
        QCOMPARE(reportsOf(info).last(), Report(101, QStringLiteral("FFC参数中有无效数值，无法写入相机。")));
        QVERIFY(s->readFfcParam(1).isEmpty());
        QCOMPARE(reportsOf(info).size(), 1);
    }

    void picturesThatDoNotFitAreRefused_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("pictureWidth");
        QTest::addColumn<int>("roiX");
        QTest::addColumn<int>("roiW");
        QTest::addColumn<QString>("message");
        const QString size = QStringLiteral("加载图像与相机尺寸不一致，无法进行对应平场操作。");
        QTest::newRow("wider than the sensor") << "SIM-LS4096-M" << kWidth + 1 << 0 << kWidth << size;
        QTest::newRow("ROI beyond the picture") << "SIM-LS4096-M" << 600 << 200 << 512 << size;
        QTest::newRow("multi-line camera")
            << "SIM-LS2048-ML4" << kWidth << 0 << kWidth << QStringLiteral("当前机型不支持图像FFC。");
    }

    void picturesThatDoNotFitAreRefused()
    {
        QFETCH(QString, name);
        QFETCH(int, pictureWidth);
        QFETCH(int, roiX);
        QFETCH(int, roiW);
        QFETCH(QString, message);
        const QByteArray cam = name.toLatin1();
        auto s = openServer(cam.constData());
        lsxRegion roi;
        std::memset(&roi, 0, sizeof roi);
        QCOMPARE(lsxGetRoi(s->m_handle, &roi), LSX_OK);
        roi.X = roiX;
        roi.W = roiW;
        QCOMPARE(lsxSetRoi(s->m_handle, &roi), LSX_OK);
        const GainList before = {QList<double>(roiW, 1.5)};
        s->m_ffcKList = before;
        const lsxCorrectionSwitch sw = switchOf(s->m_handle);
        uint64_t frames = 0, fires = 0;
        QCOMPARE(m_api->getCounters(cam.constData(), &frames, &fires), LSX_OK);

        const cv::Mat picture(50, pictureWidth, CV_8UC1, cv::Scalar(100));
        const cv::Mat stat(1, pictureWidth, CV_32FC1, cv::Scalar(100));
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QSignalSpy finished(s.get(), &CameraServer::OS_FFCFinished);
        s->applyFFC(picture, stat, -1.0f);
        QCOMPARE(reportsOf(info).last(), Report(101, message));
        QCOMPARE(finished.count(), 0);
        QCOMPARE(s->m_ffcKList, before);
        // The camera untouched: no frame, no fire, the same switch record.
        uint64_t framesAfter = 0, firesAfter = 0;
        QCOMPARE(m_api->getCounters(cam.constData(), &framesAfter, &firesAfter), LSX_OK);
        QCOMPARE(framesAfter, frames);
        QCOMPARE(firesAfter, fires);
        const lsxCorrectionSwitch swAfter = switchOf(s->m_handle);
        QCOMPARE(std::memcmp(&sw, &swAfter, sizeof sw), 0);
    }

    // A picture that fits: its gains, on the camera's ROI, and nothing of the camera is touched.
    void pictureCroppedToTheRoi()
    {
        auto s = openServer("SIM-LS4096-M");
        lsxRegion roi;
        std::memset(&roi, 0, sizeof roi);
        QCOMPARE(lsxGetRoi(s->m_handle, &roi), LSX_OK);
        roi.X = 100;
        roi.W = 512;
        QCOMPARE(lsxSetRoi(s->m_handle, &roi), LSX_OK);
        s->m_ffcRadius = 0;
        cv::Mat stat(1, 800, CV_32FC1);
        for (int x = 0; x < 800; ++x) stat.at<float>(0, x) = 100.0f + float(x % 7);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->applyFFC(cv::Mat(10, 800, CV_8UC1, cv::Scalar(1)), stat, 150.0f);
        QCOMPARE(reportsOf(info).last().first, 100);
        QCOMPARE(s->m_ffcKList.size(), 1);
        QCOMPARE(s->m_ffcKList[0].size(), 512);
        QCOMPARE(s->m_ffcKList[0][0], double(150.0f / stat.at<float>(0, 100)));
        QCOMPARE(s->m_ffcKList[0][511], double(150.0f / stat.at<float>(0, 611)));
    }

    // A frame that does not come ends the run with its message; the former gains stay.
    void grabFailureKeepsTheGains()
    {
        auto s = openServer("SIM-LS4096-M");
        s->m_ffcKList = {QList<double>(kWidth, 1.1)};
        m_api->injectFault("lsxGetFrame", 0, LSX_ERR_TIMEOUT, 1);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->applyFFC(cv::Mat(), cv::Mat(), -1.0f);
        const QString grab = QStringLiteral("触发出图出错，出错原因：-1000-%1.").arg(statusText(-1000));
        QCOMPARE(reportsOf(info).last(), Report(101, grab));
        QCOMPARE(s->m_ffcKList, (GainList{QList<double>(kWidth, 1.1)}));
        // The stream is stopped after the failed grab.
        lsxFrame frame;
        void* buffer = nullptr;
        QCOMPARE(lsxGetFrame(s->m_handle, &frame, &buffer, 0), LSX_ERR_NOT_STARTED);
    }
};

QTEST_GUILESS_MAIN(TestFfcSim)
#include "test_ffc_sim.moc"

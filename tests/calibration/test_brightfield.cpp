// The exposure search, the exposure series and the bright-field procedure against a camera
// library that records every call: the exposures tried, the frames kept, the reports with their
// progress, the camera's dark rows read back, and the K and B a run leaves.
#include "calibration/recordharness.h"

#include "calibration/brightstats.h"
#include "calibration/klevels.h"
#include "statustext.h"

#include <QImage>
#include <QSignalSpy>

#include <cmath>

namespace {

// A uniform 16-bit scene: every sample at `perUs` x exposure on the 8-bit scale (raw x 256).
FrameMaker uniformScene(double perUs)
{
    return cameraFrames(LSX_BITS_16,
                        [perUs](const RecordCam& c, int, int) { return int(std::lround(perUs * c.exposure * 256.0)); });
}

// The exposures the program set, in order.
QList<double> exposuresSet(const RecordCam& c)
{
    QList<double> out;
    for (const std::string& call : c.callsOf("lsxSetExposure(")) out.append(std::stod(call.substr(15)));
    return out;
}

// What the run tells when the camera will not take back its exposure of 123 us (status -1104).
QString exposureLeft(double now)
{
    return QStringLiteral("明场校正-曝光时间无法恢复为 123 us（错误原因：-1104-%1），当前为 %2 us。")
        .arg(statusText(-1104))
        .arg(now);
}

}  // namespace

class TestBrightField : public QObject, RecordCamHarness {
    Q_OBJECT

    // A server with a dark row of one plane at 0 for the 8 columns, as a dark-field run leaves it.
    // (The run reads the line count anew: its frames are 1000 rows high.)
    std::unique_ptr<CameraServer> darkServer()
    {
        auto s = server();
        s->m_bList = {QList<double>(8, 0.0)};
        s->m_incBList = {0.0};
        return s;
    }

private slots:
    void initTestCase() { bindRecordCam(); }
    void init() { freshCamera(); }
    void cleanupTestCase() { lsx::unbindLibrary(); }

    // ---- Exposure search, the bright field's form ----

    void searchBisectsIntoTheWindow()
    {
        auto s = server();
        cam().frame = uniformScene(0.5);  // 8-bit brightness half the exposure
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        const QVector<double> found = s->fpnExposureCheck({100.0});
        // From lo = min 2: hi = 32 (its first frame thrown away), doubled until a frame reaches
        // the window [99, 101), then bisected.
        QCOMPARE(exposuresSet(cam()), (QList<double>{32, 32, 64, 128, 256, 129, 192.5, 224.25, 208.375, 200.4375}));
        QCOMPARE(found, (QVector<double>{200.4375}));
        // The short image, the camera's exposure range, stream and DOffset before the search.
        const QStringList calls = toList(cam().calls);
        QCOMPARE(calls.mid(0, 7),
                 (QStringList{"lsxGetRoiState()", "lsxGetRoi()", "lsxSetRoi(0,0,8,100)", "lsxGetExposureDescr()",
                              "lsxStart()", "lsxWriteGenICamReg(16777764,0)", "lsxSetExposure(32)"}));
        QCOMPARE(calls.mid(7, 2), (QStringList{"lsxTriggerFire()", "lsxGetFrame(3000)"}));
        QCOMPARE(calls.last(), QStringLiteral("lsxStop()"));
        QCOMPARE(s->m_frameBits, int(LSX_BITS_16));
        QCOMPARE(failures(reportsOf(info)), 0);
    }

    void windowEdgeAtWinHighIsTooHigh()
    {
        auto s = server();
        // Target 16: window 15 to 17. A scene of exactly 17 at every exposure is always too high,
        // so the walk comes down to the sensor's minimum and takes it without a word.
        cam().frame = cameraFrames(LSX_BITS_16, [](const RecordCam&, int, int) { return 17 * 256; });
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        const QVector<double> found = s->fpnExposureCheck({16.0});
        QCOMPARE(found.size(), 1);
        QVERIFY(found.first() - 2.0 < 1.0);
        QCOMPARE(failures(reportsOf(info)), 0);
        // Before the first bracketing every frame below winHigh doubles hi, one inside the window
        // too: a scene that stays at 15 runs up to the exposure the camera refuses.
        cam().calls.clear();
        cam().exposureMax = 1000.0;
        cam().frame = cameraFrames(LSX_BITS_16, [](const RecordCam&, int, int) { return 15 * 256; });
        QVERIFY(s->fpnExposureCheck({16.0}).isEmpty());
        QCOMPARE(exposuresSet(cam()), (QList<double>{32, 32, 64, 128, 256, 512, 1024}));
    }

    void darkSceneDoublesUntilTheCameraRefuses()
    {
        auto s = server();
        cam().frame = uniformScene(0.0);
        cam().exposureMax = 20000.0;
        QVERIFY(s->fpnExposureCheck({180.0}).isEmpty());
        QList<double> expected{32};
        for (double e = 32; e <= 32768; e *= 2) expected.append(e);
        QCOMPARE(exposuresSet(cam()), expected);
        // The stream is stopped after the searches.
        QCOMPARE(toList(cam().calls).last(), QStringLiteral("lsxStop()"));
    }

    void timeOutAtTheFirstFrameIsNotTheDiscardedOne()
    {
        auto s = server();
        cam().frame = uniformScene(0.5);
        cam().faults["lsxGetFrame"] = {0, LSX_ERR_TIMEOUT, 1};
        // Target 10, window 9 to 11: the frame at 32 (16) is too high, the next try is 17.
        QCOMPARE(s->fpnExposureCheck({10.0}).size(), 1);
        // The time-out, the thrown-away frame, then the judged one: three frames at 32.
        QCOMPARE(exposuresSet(cam()).mid(0, 4), (QList<double>{32, 32, 32, 17}));
    }

    void eachTargetStartsFromTheLastFound()
    {
        auto s = server();
        cam().frame = uniformScene(1.0);
        const QVector<double> found = s->fpnExposureCheck({16.0, 40.0});
        QCOMPARE(found.size(), 2);
        QVERIFY(std::abs(found[0] - 16.0) < 1.0);
        QVERIFY(std::abs(found[1] - 40.0) < 1.0);
        // The second search starts at the first result + 30, its first frame thrown away.
        const QList<double> set = exposuresSet(cam());
        const int second = set.indexOf(found[0] + 30.0);
        QVERIFY(second > 0);
        QCOMPARE(set.at(second + 1), found[0] + 30.0);
    }

    void cancelKeepsTheStartValues()
    {
        auto s = server();
        cam().frame = uniformScene(1.0);
        s->cancel();
        // No frame is taken; each target gives the exposure it would start from.
        QCOMPARE(s->fpnExposureCheck({100.0, 150.0}), (QVector<double>{32.0, 62.0}));
        QCOMPARE(cam().count("lsxGetFrame"), 0);
    }

    void fourLevelsGiveTheSpacedSeries()
    {
        auto s = server();
        cam().frame = uniformScene(1.0);
        cam().exposureDescr = {1.0, 2.0, 20000.0};
        const QVector<double> found = s->fpnExposureCheck({16.0, 64.0, 160.0, 240.0});
        // The series runs from the minimum in steps of whole exposure steps, past the first levels,
        // up to the fourth.
        QVERIFY(found.size() > 24 + 12);
        QCOMPARE(found.first(), 2.0);
        QVERIFY(found.last() < 241.0);
        for (int i = 1; i < found.size(); ++i) QVERIFY(found[i] > found[i - 1]);
    }

    void fourLevelsWithAMissingLevelStandAsFound()
    {
        auto s = server();
        // The light tops out at 200 on the 8-bit scale: the level 240 is never reached.
        cam().frame = cameraFrames(LSX_BITS_16, [](const RecordCam& c, int, int) {
            return int(std::lround(std::min(200.0, c.exposure) * 256.0));
        });
        const QVector<double> found = s->fpnExposureCheck({16.0, 64.0, 160.0, 240.0});
        QCOMPARE(found.size(), 3);
        QVERIFY(std::abs(found[0] - 16.0) < 1.0);
        QVERIFY(std::abs(found[2] - 160.0) < 1.0);
    }

    void searchFailures_data()
    {
        QTest::addColumn<QString>("op");
        QTest::addColumn<int>("started");
        QTest::addColumn<int>("failuresReported");
        QTest::newRow("ROI") << "lsxGetRoiState" << 0 << 0;
        QTest::newRow("exposure range") << "lsxGetExposureDescr" << 0 << 0;
        QTest::newRow("stream") << "lsxStart" << 1 << 0;
        QTest::newRow("DOffset") << "lsxWriteGenICamReg" << 1 << 1;
    }

    void searchFailures()
    {
        QFETCH(QString, op);
        QFETCH(int, started);
        QFETCH(int, failuresReported);
        auto s = server();
        cam().frame = uniformScene(1.0);
        cam().faults[op.toStdString()] = {0, -1104, 1};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(s->fpnExposureCheck({16.0}).isEmpty());
        QCOMPARE(cam().count("lsxStart"), started);
        QCOMPARE(cam().count("lsxSetExposure"), 0);
        QCOMPARE(failures(reportsOf(info)), failuresReported);
    }

    void unsupportedFormatGivesNoEntry()
    {
        auto s = server();
        cam().frame = [](RecordCam& c, lsxFrame& f, std::vector<uint8_t>& buffer) {
            buffer.assign(size_t(c.roi.W) * c.roi.H * 2, 0);
            f.format = 30;
            f.bits = LSX_BITS_16;
            f.width = c.roi.W;
            f.height = c.roi.H;
            f.size = uint32_t(buffer.size());
            return LSX_OK;
        };
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QVERIFY(s->fpnExposureCheck({16.0}).isEmpty());
        QCOMPARE(reportsOf(info).last(),
                 Report(90, QStringLiteral("不支持的图像格式，仅支持 FORMAT_MONO & FORMAT_BGR24 & FORMAT_RGB24.")));
    }

    // ---- Exposure search, the exposure test's form ----

    void rangeFindsTheTopAndTakesTheMinimum()
    {
        auto s = server();
        cam().frame = uniformScene(0.05);
        double lower = 0.0, upper = 0.0;
        QVERIFY(s->fpnExposureCheck(lower, upper, 0, 255));
        // The brightest column at 254 up to 255 on the 8-bit scale.
        const double b = std::lround(0.05 * upper * 256.0) / 256.0;
        QVERIFY2(b >= 254.0 && b <= 255.0, qPrintable(QString::number(b)));
        // The lower window 0 to 1 holds the first frame at the minimum.
        QCOMPARE(lower, 2.0);
        QCOMPARE(exposuresSet(cam()).last(), 2.0);
        QCOMPARE(toList(cam().calls).last(), QStringLiteral("lsxStop()"));
    }

    void rangeTooBrightAtTheMinimum()
    {
        auto s = server();
        cam().frame = cameraFrames(LSX_BITS_8, [](const RecordCam&, int, int) { return 255; });
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        double lower = 0.0, upper = 0.0;
        QVERIFY(!s->fpnExposureCheck(lower, upper, 0, 255));
        QCOMPARE(reportsOf(info).last(),
                 Report(101, QStringLiteral(
                                 "光照太强，最小曝光时间下也无法达到预设亮度。请调低光照强度，或增加预设亮度后重试")));
        QCOMPARE(toList(cam().calls).last(), QStringLiteral("lsxStop()"));
    }

    void rangeWithMinimumAbove250StartsBracketed()
    {
        auto s = server();
        cam().exposureDescr = {1.0, 300.0, 20000.0};
        // The first counted frame is already in the window 254 to 255: lo = hi = 300 is halved and
        // doubled, and the search ends at once with 300.
        cam().frame = cameraFrames(LSX_BITS_8, [](const RecordCam&, int, int) { return 254; });
        double lower = 0.0, upper = 0.0;
        QVERIFY(s->fpnExposureCheck(lower, upper, 0, 255));
        QCOMPARE(upper, 300.0);
        QCOMPARE(lower, 300.0);
        // Upper search: one frame thrown away, one judged; lower search: its first frame.
        QCOMPARE(exposuresSet(cam()), (QList<double>{300, 300, 300}));
    }

    // ---- Exposure series ----

    void emptySeries()
    {
        auto s = server();
        QList<cv::Mat> images;
        QVERIFY(s->fpnCapture({}, images));
        QVERIFY(images.isEmpty());
        QCOMPARE(toList(cam().calls), (QStringList{"lsxGetRoiState()", "lsxGetRoi()", "lsxSetRoi(0,0,8,1000)",
                                                   "lsxStart()", "lsxWriteGenICamReg(16777764,0)", "lsxStop()"}));
    }

    void seriesProgress_data()
    {
        QTest::addColumn<QVector<double>>("exposures");
        QTest::addColumn<QList<int>>("progress");
        QTest::newRow("two") << QVector<double>{10, 20} << QList<int>{55, 80};
        QTest::newRow("three") << QVector<double>{10, 20, 30.5} << QList<int>{46, 63, 80};
    }

    void seriesProgress()
    {
        QFETCH(QVector<double>, exposures);
        QFETCH(QList<int>, progress);
        auto s = server();
        s->m_roiHeight = 4;
        cam().frame = uniformScene(1.0);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        QSignalSpy shown(s.get(), &CameraServer::OS_NewFrame);
        QList<cv::Mat> images;
        QVERIFY(s->fpnCapture(exposures, images));
        QCOMPARE(images.size(), exposures.size());
        QList<Report> expected{{10, QStringLiteral("DOffset设置为：0.")}};
        for (int i = 0; i < exposures.size(); ++i)
            expected.append(
                {progress[i], QStringLiteral("曝光设为 %1 us, 第 %2 张图像采集完成").arg(exposures[i]).arg(i + 1)});
        QCOMPARE(reportsOf(info), expected);
        // Three shots per exposure, LineRate 10000 each time, the frame of the last one kept.
        QCOMPARE(cam().count("lsxTriggerFire"), 3 * int(exposures.size()));
        QCOMPARE(cam().count("lsxSetConfigString"), int(exposures.size()));
        for (int i = 0; i < exposures.size(); ++i) {
            QCOMPARE(images[i].type(), CV_16UC1);
            QCOMPARE(images[i].rows, 4);
            QCOMPARE(int(images[i].at<uint16_t>(0, 0)), int(std::lround(exposures[i] * 256.0)));
        }
        // Shown as they come, 16-bit brought to 8 bits by 1/256.
        QCOMPARE(shown.count(), int(exposures.size()));
        const QImage first = shown.at(0).at(0).value<QPixmap>().toImage();
        QCOMPARE(qGray(first.pixel(0, 0)), 10);
    }

    void threeTimeOutsStillAppend()
    {
        auto s = server();
        s->m_roiHeight = 2;
        cam().frame = uniformScene(1.0);
        // The three shots of the second exposure all time out: its entry is the first one's frame.
        cam().faults["lsxGetFrame"] = {3, LSX_ERR_TIMEOUT, 3};
        QList<cv::Mat> images;
        QVERIFY(s->fpnCapture({10, 20}, images));
        QCOMPARE(images.size(), 2);
        QCOMPARE(int(images[1].at<uint16_t>(0, 0)), 2560);
        QVERIFY(images[0].data != images[1].data);
    }

    void seriesEndsEarly_data()
    {
        QTest::addColumn<QString>("op");
        QTest::addColumn<int>("after");
        QTest::addColumn<bool>("result");
        QTest::addColumn<int>("entries");
        QTest::addColumn<bool>("started");
        QTest::newRow("ROI") << "lsxGetRoiState" << 0 << false << 0 << false;
        QTest::newRow("stream") << "lsxStart" << 0 << false << 0 << true;
        QTest::newRow("exposure refused at the second") << "lsxSetExposure" << 1 << true << 1 << true;
    }

    void seriesEndsEarly()
    {
        QFETCH(QString, op);
        QFETCH(int, after);
        QFETCH(bool, result);
        QFETCH(int, entries);
        QFETCH(bool, started);
        auto s = server();
        s->m_roiHeight = 2;
        cam().frame = uniformScene(1.0);
        cam().faults[op.toStdString()] = {after, -5, 1};
        QList<cv::Mat> images;
        QCOMPARE(s->fpnCapture({10, 20, 30}, images), result);
        QCOMPARE(images.size(), entries);
        QCOMPARE(cam().count("lsxStart"), started ? 1 : 0);
    }

    void cancelBeforeTheFirstExposure()
    {
        auto s = server();
        s->cancel();
        QList<cv::Mat> images;
        QVERIFY(s->fpnCapture({10, 20}, images));
        QVERIFY(images.isEmpty());
        QCOMPARE(cam().count("lsxSetExposure"), 0);
        QCOMPARE(toList(cam().calls).last(), QStringLiteral("lsxStop()"));
    }

    // ---- Bright-field run ----

    void runFitsKAndLiftsB()
    {
        auto s = darkServer();
        // Dark 4 on the 8-bit scale (raw 1024), the lift of the dark run 512 raw.
        s->m_bList = {QList<double>(8, 1024.0)};
        s->m_incBList = {512.0};
        store(FpnIni::PixelMax, 100);
        // Columns respond 0.8, 0.9, ..., 1.5 around a light of 0.5 per us above the dark level.
        cam().frame = cameraFrames(LSX_BITS_16, [](const RecordCam& c, int x, int) {
            return int(std::lround(1024.0 + (0.8 + 0.1 * x) * 0.5 * c.exposure * 256.0));
        });
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports.first(), Report(10, QStringLiteral("明场校正-增益范围 : [1, 1]")));
        QCOMPARE(reports.at(1), Report(10, QStringLiteral("明场校正-像素范围 : [0, 100]")));
        QCOMPARE(reports.last(), Report(100, QStringLiteral("明场校正-明场校正执行完成")));
        QVERIFY(textsOf(reports).contains(QStringLiteral("\n明场校正-增益设为 1")));
        QVERIFY(textsOf(reports).contains(QStringLiteral("明场校正-增益为 1 时明场校正执行完成")));
        QCOMPARE(failures(reports), 0);

        // K brings every column to the brightest one (x = 7, K 1), then s makes the smallest
        // (65472 - B) x K reach full scale: K[x] = s x 1.5 / (0.8 + 0.1 x), s = 65472 / (65472 - 1024).
        QCOMPARE(s->m_kList.size(), 1);
        QCOMPARE(s->m_kList[0].size(), 8);
        const double scale = 65472.0 / (65472.0 - 1024.0);
        QCOMPARE(s->m_kScaleList.size(), 1);
        QVERIFY(std::abs(s->m_kScaleList[0] - scale) < 1e-12);
        QVERIFY(std::abs(s->m_kList[0][7] - scale) < 1e-12);
        for (int x = 0; x < 7; ++x) QVERIFY(std::abs(s->m_kList[0][x] * (0.8 + 0.1 * x) - 1.5 * scale) < 2e-3);
        // B lifted by the dark run's lift over each column's own K: every column's corrected dark,
        // (1024 - B) x K, sits the lift (512) below 0.
        for (int x = 0; x < 8; ++x) {
            QVERIFY(std::abs(s->m_bList[0][x] - (1024.0 + 512.0 / s->m_kList[0][x])) < 1e-9);
            QVERIFY(std::abs((1024.0 - s->m_bList[0][x]) * s->m_kList[0][x] + 512.0) < 1e-9);
        }
        // One sample list per exposure.
        QCOMPARE(s->m_kPoints.size(), 1);
        // The camera's FPN and flat field went off, the soft trigger on.
        QVERIFY(!cam().fpnEnable);
        QCOMPARE(int(cam().correction.enable), 0);
        QVERIFY(cam().trigger);
    }

    // The exposure searches and the series move the exposure: it goes back as found, at a good
    // end and at a failed one.
    void exposurePutBack()
    {
        auto s = darkServer();
        cam().exposure = 123.0;
        cam().frame = uniformScene(0.5);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        QCOMPARE(reportsOf(info).last().first, 100);
        QCOMPARE(cam().exposure, 123.0);
        QCOMPARE(exposuresSet(cam()).last(), 123.0);
        // A series that cannot begin.
        auto t = darkServer();
        cam().exposure = 77.0;
        cam().faults["lsxSetRoi"] = {1, -5, 0};
        t->fpnStart();
        QCOMPARE(cam().exposure, 77.0);
    }

    // An exposure the camera will not take back is told with the value it is left at, before the
    // report that ends the run: the good end, a failed exposure search; after the failure only
    // where the failing step reports itself (the flat field will not go off).
    void exposureNotPutBackIsTold()
    {
        auto s = darkServer();
        cam().exposure = 123.0;
        cam().frame = uniformScene(0.5);
        s->fpnStart();
        const int sets = cam().count("lsxSetExposure");
        QVERIFY(sets > 1);

        auto t = darkServer();
        cam().exposure = 123.0;
        cam().faults["lsxSetExposure"] = {sets - 1, -1104, 1};
        QSignalSpy info(t.get(), &CameraServer::OS_FpnInfo);
        t->fpnStart();
        QList<Report> reports = reportsOf(info);
        QVERIFY(cam().exposure != 123.0);
        QCOMPARE(reports.at(reports.size() - 2), Report(99, exposureLeft(cam().exposure)));
        QCOMPARE(reports.last().first, 100);
    }

    void exposureNotPutBackAfterAFailureIsTold()
    {
        auto u = darkServer();
        cam().exposure = 123.0;
        cam().faults["lsxSet"] = {1, -1104, 1};
        cam().faults["lsxSetExposure"] = {0, -1104, 1};
        QSignalSpy early(u.get(), &CameraServer::OS_FpnInfo);
        u->fpnStart();
        const QList<Report> reports = reportsOf(early);
        QCOMPARE(reports.mid(reports.size() - 2),
                 (QList<Report>{
                     {101, QStringLiteral("明场校正-关闭平场使能出错，错误原因：-1104-%1.").arg(statusText(-1104))},
                     {99, exposureLeft(123.0)}}));

        // A search that finds no light: its last exposure set is the keeper's.
        auto v = darkServer();
        cam().faults.clear();
        cam().exposure = 123.0;
        cam().frame = uniformScene(0.0);
        cam().exposureMax = 1000.0;
        v->fpnStart();
        const int sets = cam().count("lsxSetExposure");
        auto w = darkServer();
        cam().exposure = 123.0;
        cam().faults["lsxSetExposure"] = {sets - 1, -1104, 1};
        QSignalSpy search(w.get(), &CameraServer::OS_FpnInfo);
        w->fpnStart();
        const QList<Report> searched = reportsOf(search);
        QCOMPARE(
            searched.mid(searched.size() - 2),
            (QList<Report>{{99, exposureLeft(cam().exposure)}, {101, QStringLiteral("明场校正-曝光范围检测失败")}}));
        QCOMPARE(failures(searched), 1);
    }

    // A hot column's dark grows with the exposure: its K comes out as its neighbours' only when
    // its frame is taken against the dark predicted at the frame's exposure.
    void hotColumnAgainstTheDarkOfItsExposure()
    {
        // Dark 4 (8-bit scale) everywhere at 100 us, column 3 growing by 0.1 per us more; every
        // column responds alike, 0.5 per us.
        auto dark = [](int x, double us) { return 4.0 + (x == 3 ? 0.1 * (us - 100.0) : 0.0); };
        cam().frame = cameraFrames(LSX_BITS_16, [dark](const RecordCam& c, int x, int) {
            return int(std::lround((dark(x, c.exposure) + 0.5 * c.exposure) * 256.0));
        });
        store(FpnIni::PixelMax, 180);
        auto kOf = [&](bool withDarkCurrent) {
            auto s = darkServer();
            s->m_bList = {QList<double>(8, 1024.0)};
            if (withDarkCurrent) {
                s->m_darkCurrent.exposure = 100.0;
                s->m_darkCurrent.secondExposure = 2.0;
                s->m_darkCurrent.bits = LSX_BITS_16;
                QList<double> slope(8, 0.0);
                slope[3] = 0.1 * 256.0;
                s->m_darkCurrent.slope = {slope};
            }
            s->fpnStart();
            return s->m_kList.value(0);
        };
        const QList<double> k = kOf(true);
        QCOMPARE(k.size(), 8);
        for (int x = 0; x < 8; ++x) QVERIFY2(std::abs(k[x] / k[0] - 1.0) < 1e-4, qPrintable(QString::number(k[x])));
        // Against the one dark of 100 us the hot column's K is some 14 % low.
        const QList<double> one = kOf(false);
        QVERIFY2(one[3] / one[0] < 0.9, qPrintable(QString::number(one[3] / one[0])));
        // The search judged the brightness above the dark of the exposure on trial: 180 above it
        // needs 360 us (the plane's mean itself, dark included, reaches 180 at 346 us).
        auto s = darkServer();
        s->m_bList = {QList<double>(8, 1024.0)};
        s->m_darkCurrent.exposure = 100.0;
        s->m_darkCurrent.secondExposure = 2.0;
        s->m_darkCurrent.bits = LSX_BITS_16;
        s->m_darkCurrent.slope = {QList<double>{0, 0, 0, 25.6, 0, 0, 0, 0}};
        const QVector<double> found = s->fpnExposureCheck({180.0});
        QCOMPARE(found.size(), 1);
        QVERIFY2(std::abs(found[0] - 360.0) < 2.0, qPrintable(QString::number(found[0])));
        auto plain = darkServer();
        const QVector<double> without = plain->fpnExposureCheck({180.0});
        QVERIFY2(std::abs(without[0] - 346.0) < 2.0, qPrintable(QString::number(without[0])));
    }

    // A dead column (its bright mean at its dark) gets no infinite K: the upper limit, named.
    void deadColumnLimitedAndNamed()
    {
        auto s = darkServer();
        s->m_bList = {QList<double>(8, 1024.0)};
        cam().frame = cameraFrames(LSX_BITS_16, [](const RecordCam& c, int x, int) {
            return x == 5 ? 1024 : int(std::lround(1024.0 + 0.5 * c.exposure * 256.0));
        });
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports.last().first, 100);
        QVERIFY(reports.contains(Report(
            85, QStringLiteral(
                    "明场校正-黑白 第 5 列对光无响应（明场均值不高于暗场均值），K 取限值 1.8，这些列为缺陷列。"))));
        for (double k : s->m_kList[0]) QVERIFY(std::isfinite(k) && k > 0.0);
        QCOMPARE(s->m_kList[0][5] / s->m_kScaleList[0], 1.8);
        for (const KPoint& p : s->m_kPoints[0]) QVERIFY(std::isfinite(p.y));
    }

    void gainMinAboveGainMax()
    {
        auto s = darkServer();
        store(FpnIni::GainMin, 3.0);
        store(FpnIni::GainMax, 2.0);
        s->m_kList = {{1.5}};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        // Refused, before the camera is set: no pass would run, and nothing would be calibrated.
        QCOMPARE(reportsOf(info),
                 (QList<Report>{{101, QStringLiteral("明场校正-设置 Params/GainMin 的值 3 大于 Params/GainMax 的值 2："
                                                     "增益范围内没有一个增益，校正不会执行。请把 Params/GainMin "
                                                     "设为不大于 Params/GainMax 的值。")}}));
        for (const std::string& call : cam().calls) QVERIFY2(call.rfind("lsxSet", 0) != 0, call.c_str());
        QCOMPARE(cam().count("lsxStart"), 0);
        QCOMPARE(s->m_kList, (QList<QList<double>>{{1.5}}));
    }

    // PixelMax 1e308 read as an integer was 0: the run calibrated toward level 0.
    void pixelSettingsOutOfRangeRefused()
    {
        auto s = darkServer();
        store(FpnIni::PixelMax, QStringLiteral("1e308"));
        store(FpnIni::PixelMin, QStringLiteral("-1"));
        // Applied by the exposure searches.
        store(FpnIni::DOffset, QStringLiteral("nan"));
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        QCOMPARE(
            reportsOf(info),
            (QList<Report>{
                {101, QStringLiteral("明场校正-设置 Params/PixelMax 的值 \"1e308\" 超出范围，应在 [2, 255] 之内。\n"
                                     "设置 Params/PixelMin 的值 \"-1\" 超出范围，应在 [0, 255] 之内。\n"
                                     "设置 Params/DOffset 的值 \"nan\" 不是数，应在 [-128, 128] 之内。")}}));
        QCOMPARE(cam().count("lsxSetAnalogGain"), 0);
        QCOMPARE(cam().count("lsxStart"), 0);
    }

    void halfAGainStepRunsOnce()
    {
        auto s = darkServer();
        store(FpnIni::GainMin, 1.0);
        store(FpnIni::GainMax, 1.5);
        cam().frame = uniformScene(1.0);
        s->fpnStart();
        QCOMPARE(toList(cam().callsOf("lsxSetAnalogGain")), (QStringList{"lsxSetAnalogGain(1)"}));
    }

    void freshSettingsAreWritten()
    {
        auto s = darkServer();
        cam().frame = uniformScene(1.0);
        s->fpnStart();
        QCOMPARE(setting(FpnIni::GainMin).toFloat(), 1.0f);
        QCOMPARE(setting(FpnIni::GainMax).toFloat(), 1.0f);
        QCOMPARE(setting(FpnIni::PixelMax).toInt(), 180);
        // PixelMin is read, never written.
        QVERIFY(!setting(FpnIni::PixelMin).isValid());
    }

    void multiLevelCameraOutsideTheFactoryTakesOneLevel()
    {
        auto s = darkServer();
        s->m_supportMLK = 1;
        store(FpnIni::PixelMax, 100);
        cam().frame = uniformScene(1.0);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        QCOMPARE(reportsOf(info).last().first, 100);
        // One exposure: one sample list for the one row, and the whole-range K from it.
        QCOMPARE(s->m_kPoints.size(), 1);
        QCOMPARE(s->m_kScaleList.size(), 1);
    }

    void multiLevelCameraInTheFactoryTakesTheSeries()
    {
        auto s = darkServer();
        s->m_supportMLK = 1;
        store(FpnIni::Factory, true);
        cam().exposureDescr = {1.0, 2.0, 20000.0};
        cam().frame = uniformScene(1.0);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        QCOMPARE(reportsOf(info).last().first, 100);
        // A series of some forty exposures: one sample list and one K list per exposure.
        QVERIFY(s->m_kPoints.size() > 36);
        QCOMPARE(s->m_kList.size(), s->m_kPoints.size());
        QCOMPARE(s->m_kScaleList.size(), 1);
    }

    void cancelDuringTheLastGainEndsQuietly()
    {
        auto s = darkServer();
        store(FpnIni::GainMin, 1.0);
        store(FpnIni::GainMax, 2.0);
        CameraServer* server = s.get();
        // The operator cancels while the second gain's series is taken (its frames are the
        // measurement's 1000 rows high, the search's 100): the frame in hand is kept and fitted,
        // then the run ends.
        cam().frame = cameraFrames(LSX_BITS_16, [server](const RecordCam& c, int, int) {
            if (c.gain > 1.5f && c.roi.H == 1000) server->cancel();
            return int(std::lround(c.exposure * 256.0));
        });
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports.last(), Report(99, QStringLiteral("明场校正-增益为 2 时明场校正执行完成")));
        QVERIFY(s->m_kScaleList.isEmpty());
    }

    void preparationFailures_data()
    {
        QTest::addColumn<QString>("op");
        QTest::addColumn<int>("after");
        QTest::addColumn<QString>("text");
        QTest::newRow("FPN off") << "lsxSet" << 0 << "明场校正-关闭FPN功能出错，错误原因：%1-%2.";
        QTest::newRow("flat field read") << "lsxGet" << 0 << "明场校正-获取平场使能参数出错，错误原因：%1-%2.";
        QTest::newRow("flat field off") << "lsxSet" << 1 << "明场校正-关闭平场使能出错，错误原因：%1-%2.";
        QTest::newRow("soft trigger") << "lsxGetTriggerSource" << 0 << "明场校正-使能软触发出错，错误原因：%1-%2.";
    }

    void preparationFailures()
    {
        QFETCH(QString, op);
        QFETCH(int, after);
        QFETCH(QString, text);
        auto s = darkServer();
        cam().faults[op.toStdString()] = {after, -1104, 1};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        QCOMPARE(reportsOf(info).last(), Report(101, text.arg(-1104).arg(statusText(-1104))));
        QCOMPARE(failures(reportsOf(info)), 1);
        QCOMPARE(cam().count("lsxSetAnalogGain"), 0);
    }

    void gainSetterFailure()
    {
        auto s = darkServer();
        cam().faults["lsxSetAnalogGain"] = {0, -5, 1};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        QCOMPARE(reportsOf(info).last(), Report(101, QStringLiteral("明场校正-明场校正执行失败")));
        QVERIFY(s->m_kScaleList.isEmpty());
    }

    void exposureSearchFailureKeepsB()
    {
        auto s = darkServer();
        s->m_bList = {QList<double>(8, 1024.0)};
        cam().frame = uniformScene(0.0);
        cam().exposureMax = 1000.0;
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        QCOMPARE(reportsOf(info).last(), Report(101, QStringLiteral("明场校正-曝光范围检测失败")));
        QCOMPARE(s->m_bList, (QList<QList<double>>{QList<double>(8, 1024.0)}));
    }

    void seriesThatCannotBeginFails()
    {
        auto s = darkServer();
        cam().frame = uniformScene(1.0);
        // The search's stream starts; the series' does not.
        cam().faults["lsxStart"] = {1, -1104, 1};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        QCOMPARE(reportsOf(info).last(), Report(101, QStringLiteral("明场校正-明场校正图像采集失败")));
    }

    // ---- The camera's dark rows ----

    void readBackWithoutADarkRun()
    {
        auto s = server();
        s->m_roiHeight = 2;
        cam().frame = uniformScene(1.0);
        cam().fpnDoffset = 7;
        cam().fpnPair = [](int column, int, float) { return std::pair<float, float>(1.5f, float(100 + column)); };
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports.at(2), Report(5, QStringLiteral("明场校正-未进行暗场校正，尝试读取相机内部暗场参数...")));
        QCOMPARE(reports.at(3), Report(10, QStringLiteral("明场校正-相机内部暗场DOffset = 7")));
        QCOMPARE(reports.at(4),
                 Report(10, QStringLiteral("明场校正-读取暗场参数完成，将使用相机内部暗场参数进行FPN校正。")));
        QCOMPARE(reports.last().first, 100);
        QVERIFY(s->m_darkFromCamera);
        QCOMPARE(setting(FpnIni::DOffset).toInt(), 7);
        // One read of the whole sensor (roiDescr's largest width 8), one plane: 8 pairs.
        QCOMPARE(toList(cam().callsOf("lsxGet(45,")), (QStringList{"lsxGet(45,104)"}));
        // B from the camera, lifted by nothing (no dark run gave a lift).
        QCOMPARE(s->m_bList.size(), 1);
        for (int x = 0; x < 8; ++x) QCOMPARE(s->m_bList[0][x], 100.0 + x);
    }

    void readBackDoffsetIsSigned()
    {
        // The write puts the low byte of a negative DOffset there; it comes back negative, as the
        // camera's registers give it (a byte above 128 wraps).
        auto s = server();
        cam().fpnDoffset = 0xFE;
        cam().faults["lsxSetAnalogGain"] = {1, -5, 1};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        QVERIFY(reportsOf(info).contains(Report(10, QStringLiteral("明场校正-相机内部暗场DOffset = -2"))));
        QCOMPARE(setting(FpnIni::DOffset).toInt(), -2);
    }

    void readBackOfTwoGainsGrowsTheFirstRow()
    {
        auto s = server();
        store(FpnIni::GainMin, 1.0);
        store(FpnIni::GainMax, 2.0);
        cam().source = 0;
        cam().fpnPair = [](int column, int, float gain) { return std::pair<float, float>(1.0f, gain * 10 + column); };
        // The run itself fails at its gain, after the read-back.
        cam().faults["lsxSetAnalogGain"] = {2, -5, 1};
        s->fpnStart();
        QCOMPARE(s->m_bList.size(), 2);
        QCOMPARE(s->m_bList[0].size(), 16);
        QVERIFY(s->m_bList[1].isEmpty());
        QCOMPARE(s->m_bList[0][0], 10.0);
        QCOMPARE(s->m_bList[0][8], 20.0);
        QCOMPARE(cam().callsOf("lsxGet(45,").size(), size_t(2));
    }

    void readBackOfColourPairsInterleaved()
    {
        auto s = server();
        cam().source = 14;
        cam().fpnPair = [](int column, int plane, float) {
            return std::pair<float, float>(1.0f, plane * 100 + column);
        };
        cam().faults["lsxSetAnalogGain"] = {1, -5, 1};
        s->fpnStart();
        QCOMPARE(s->m_bList.size(), 3);
        for (int p = 0; p < 3; ++p)
            for (int x = 0; x < 8; ++x) QCOMPARE(s->m_bList[p][x], double(p * 100 + x));
        QCOMPARE(toList(cam().callsOf("lsxGet(45,")), (QStringList{"lsxGet(45,232)"}));
    }

    void readBackSkippedWithTwoLines()
    {
        auto s = server();
        cam().lineReg = 2;
        cam().frame = uniformScene(1.0);
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        QVERIFY(cam().callsOf("lsxGet(45,").empty());
        QVERIFY(
            !textsOf(reportsOf(info)).contains(QStringLiteral("明场校正-未进行暗场校正，尝试读取相机内部暗场参数...")));
        // No dark rows for the two lines: the fit cannot run.
        QCOMPARE(reportsOf(info).last(), Report(101, QStringLiteral("明场校正-明场校正执行失败")));
    }

    void readBackFailures_data()
    {
        QTest::addColumn<QString>("op");
        QTest::addColumn<int>("source");
        QTest::addColumn<QList<Report>>("last");
        const QString none = QStringLiteral("明场校正-无法读取暗场参数，请先执行暗场校正。");
        QTest::newRow("sensor width") << "lsxGetRoiDescr" << 0 << QList<Report>{{101, none}};
        QTest::newRow("source format") << "lsxGetSourceFormat" << 0 << QList<Report>{{101, none}};
        QTest::newRow("unknown format") << "" << 99
                                        << QList<Report>{
                                               {101, QStringLiteral("明场校正-不支持的目标图像格式，无法继续。")}};
        QTest::newRow("gain") << "lsxSetAnalogGain" << 0 << QList<Report>{{101, none}};
        QTest::newRow("record")
            << "lsxGet" << 0
            << QList<Report>{
                   {90, QStringLiteral("明场校正-读取暗场参数出错，错误原因：-1104-%1.").arg(statusText(-1104))},
                   {101, none}};
    }

    void readBackFailures()
    {
        QFETCH(QString, op);
        QFETCH(int, source);
        QFETCH(QList<Report>, last);
        auto s = server();
        cam().source = source;
        if (!op.isEmpty()) cam().faults[op.toStdString()] = {0, -1104, 1};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        const QList<Report> reports = reportsOf(info);
        QCOMPARE(reports.mid(reports.size() - last.size()), last);
        QVERIFY(!s->m_darkFromCamera);
        // The run ended before it touched the camera's FPN switch.
        QVERIFY(cam().fpnEnable);
    }

    // The rows the program held before the read (here read from the camera earlier) are still
    // there after a read that fails, whatever failed, and after one that fails at its second gain
    // with the first gain's rows already taken.
    void readBackFailureKeepsTheRows_data() { readBackFailures_data(); }

    void readBackFailureKeepsTheRows()
    {
        QFETCH(QString, op);
        QFETCH(int, source);
        const QList<QList<double>> rows{QList<double>(8, 5.0)};
        auto s = server();
        s->m_bList = rows;
        s->m_darkFromCamera = true;
        cam().source = source;
        if (!op.isEmpty()) cam().faults[op.toStdString()] = {0, -1104, 1};
        s->fpnStart();
        QCOMPARE(s->m_bList, rows);

        auto t = server();
        t->m_bList = rows;
        t->m_darkFromCamera = true;
        store(FpnIni::GainMin, 1.0);
        store(FpnIni::GainMax, 2.0);
        cam().source = 0;
        cam().faults.clear();
        cam().faults["lsxGet"] = {1, -1104, 1};
        t->fpnStart();
        QCOMPARE(cam().callsOf("lsxGet(45,").size(), size_t(2));
        QCOMPARE(t->m_bList, rows);
    }

    void darkFromTheCameraIsReadAgain()
    {
        auto s = darkServer();
        s->m_darkFromCamera = true;
        cam().frame = uniformScene(1.0);
        cam().fpnPair = [](int, int, float) { return std::pair<float, float>(1.0f, 3.0f); };
        s->fpnStart();
        QCOMPARE(cam().callsOf("lsxGet(45,").size(), size_t(1));
        QCOMPARE(s->m_bList[0][0], 3.0);
    }

    // ---- TVK317 ----

    void tvk317()
    {
        auto s = server();
        s->m_isTvk317 = true;
        s->m_isLinescan = false;
        cam().roi = {0, 0, 8, 1, {}};
        s->m_bList = {QList<double>(8, 0.0)};
        cam().frame = cameraFrames(LSX_BITS_8, [](const RecordCam&, int x, int) { return 100 + x; });
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        QCOMPARE(reportsOf(info), (QList<Report>{{0, QStringLiteral("明场校正开始")},
                                                 {20, QStringLiteral("明场校正-开始采图...")},
                                                 {60, QStringLiteral("明场校正-明场校正图像采集完成")},
                                                 {60, QStringLiteral("明场校正-开始执行明场校正...")},
                                                 {100, QStringLiteral("明场校正-明场校正执行完成")}}));
        // One K list against the brightest column; no final step, no scale.
        QCOMPARE(s->m_kList.size(), 1);
        QCOMPARE(s->m_kList[0][7], 1.0);
        QCOMPARE(s->m_kList[0][0], 107.0 / 100.0);
        QVERIFY(s->m_kScaleList.isEmpty());
        QCOMPARE(toList(cam().calls).last(), QStringLiteral("lsxStop()"));
    }

    void tvk317Failures()
    {
        auto s = server();
        s->m_isTvk317 = true;
        s->m_isLinescan = false;
        cam().faults["lsxStart"] = {0, -1104, 1};
        QSignalSpy info(s.get(), &CameraServer::OS_FpnInfo);
        s->fpnStart();
        QCOMPARE(reportsOf(info).last(),
                 Report(101, QStringLiteral("明场校正-启动视频流出错，错误原因：-1104-%1.").arg(statusText(-1104))));
        // Without a dark row the fit fails, and the stream stays started.
        cam().faults.clear();
        cam().calls.clear();
        cam().roi = {0, 0, 8, 1, {}};
        info.clear();
        s->fpnStart();
        QCOMPARE(reportsOf(info).last(), Report(101, QStringLiteral("明场校正-明场校正执行失败")));
        QCOMPARE(cam().count("lsxStop"), 0);
    }
};

QTEST_MAIN(TestBrightField)
#include "test_brightfield.moc"

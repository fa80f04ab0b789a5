// The exposure test against a camera library that records every call: the calls of a whole run
// in order, its reports with their progress, the exposures and rows it hands to the statistics
// window, the target formats, and every way it can end early.
#include "calibration/recordharness.h"

#include "statustext.h"

#include <QSignalSpy>

#include <cmath>

namespace {

// The light of these tests: 1.016 per us on the 8-bit scale, so that the range's upper search
// finds 254 at its first judged frame, at 250 us, and the range is [2, 250] on the recording
// camera's minimum of 2 us.
constexpr double kPerUs = 254.0 / 250.0;

int sample16(double e)
{
    return int(std::lround(kPerUs * e * 256.0));
}

// A uniform 16-bit mono scene at kPerUs.
FrameMaker uniformScene()
{
    return cameraFrames(LSX_BITS_16, [](const RecordCam& c, int, int) { return sample16(c.exposure); });
}

// An 8-bit colour scene in `format` (memory order by the format): columns 0 to 6 hold the
// channel values `memory`, column 7 the light min(255, round(kPerUs x e)) on every channel, so
// that the range search finds the same [2, 250].
FrameMaker colourScene(uint32_t format, int channels, std::vector<int> memory)
{
    return [format, channels, memory](RecordCam& c, lsxFrame& f, std::vector<uint8_t>& buffer) {
        const int w = c.roi.W, h = c.roi.H;
        buffer.assign(size_t(w) * h * channels, 0);
        const int light = std::min(255, int(std::lround(kPerUs * c.exposure)));
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                for (int k = 0; k < channels; ++k)
                    buffer[(size_t(y) * w + x) * channels + k] = uint8_t(x == w - 1 ? light : memory[size_t(k)]);
        f.format = format;
        f.bits = LSX_BITS_8;
        f.channels = uint32_t(channels);
        f.width = w;
        f.height = h;
        f.size = uint32_t(buffer.size());
        return LSX_OK;
    };
}

// The series of the range [2, 250] on a step of 1 with 10 asked for: ceil(248 / 10) = 25, so
// k 25, interval 25, n 10, last 252.
QVector<double> expectedExposures()
{
    QVector<double> out;
    for (int i = 0; i < 10; ++i) out.append(2.0 + 25.0 * i);
    return out;
}

const QString kRangeText = QStringLiteral("曝光范围取[2, 252]，曝光间隔取 25.");
const QString kDoneText = QStringLiteral("曝光范围内图像采集成功，点击确认显示统计图。");

}  // namespace

class TestExpTest : public QObject, RecordCamHarness {
    Q_OBJECT

    // What a run gave: its reports, and the test it handed on (with how many times, and how many
    // reports had gone out before it).
    struct Run {
        QList<Report> reports;
        int finished = 0;
        int reportsBeforeFinished = -1;
        QVector<double> expVec;
        QList<cv::Mat> rows;
    };

    // The slot called on the test's thread (the worker is idle); the answers are heard through a
    // receiver of the test's thread, so that they arrive at once and in order.
    Run run(CameraServer* s, int expCount = 10)
    {
        Run r;
        QObject here;
        QObject::connect(s, &CameraServer::OS_FpnInfo, &here, [&r](int progress, QString info) {
            r.reports.append({progress, info});
        });
        QObject::connect(s, &CameraServer::OS_ExpTestFinished, &here, [&r](QVector<double> e, QList<cv::Mat> rows) {
            ++r.finished;
            r.reportsBeforeFinished = int(r.reports.size());
            r.expVec = e;
            r.rows = rows;
        });
        // Open for the run only: the harness's servers are not opened, so that no test pays for
        // the close's hand-over pause.
        s->m_opened = true;
        s->expTest(expCount);
        s->m_opened = false;
        return r;
    }

    // A server on the recording camera with the camera's step of 1 us and short frames.
    std::unique_ptr<CameraServer> testServer()
    {
        auto s = server();
        s->m_roiHeight = 4;
        cam().exposureDescr = {1.0, 2.0, 20000.0};
        return s;
    }

private slots:
    void initTestCase() { bindRecordCam(); }
    void init() { freshCamera(); }
    void cleanupTestCase() { lsx::unbindLibrary(); }

    // ---- A whole run ----

    void runCallsInOrder()
    {
        auto s = testServer();
        cam().frame = uniformScene();
        cam().target = FORMAT_MONO16;
        run(s.get());

        QStringList expected{"lsxGetExposureDescr()",
                             // Soft trigger: the camera stood on source 1 with the trigger off.
                             "lsxGetTriggerSource()", "lsxSetTriggerSource(0)", "lsxGetTriggerState()",
                             "lsxSetTriggerState(true)",
                             // The range: short image, stream, DOffset; the upper search throws its
                             // first frame away and finds 254 at 250; the lower one takes 2 at once.
                             "lsxGetRoiState()", "lsxGetRoi()", "lsxSetRoi(0,0,8,100)", "lsxGetExposureDescr()",
                             "lsxStart()", "lsxWriteGenICamReg(16777764,0)"};
        for (double e : {250.0, 250.0, 2.0})
            expected << QStringLiteral("lsxSetExposure(%1)").arg(e) << "lsxTriggerFire()"
                     << "lsxGetFrame(3000)";
        expected << "lsxStop()"
                 << "lsxSetRgbGain(1,1,1)"
                 // The series at the image height of a measurement.
                 << "lsxGetRoiState()"
                 << "lsxGetRoi()"
                 << "lsxSetRoi(0,0,8,4)"
                 << "lsxStart()"
                 << "lsxWriteGenICamReg(16777764,0)";
        for (double e : expectedExposures()) {
            expected << QStringLiteral("lsxSetExposure(%1)").arg(e) << "lsxSetConfigString(LineRate,10000)";
            for (int shot = 0; shot < 3; ++shot)
                expected << "lsxTriggerFire()"
                         << "lsxGetFrame(3000)";
        }
        expected << "lsxStop()"
                 << "lsxGetTargetFormat()";
        QCOMPARE(toList(cam().calls), expected);
        // The camera is measured as it is set: its FPN, flat field and image processing are
        // not touched (no key 46 or 40, no colour or flip settings), nor its gain.
        QVERIFY(cam().fpnEnable);
        QVERIFY(cam().trigger);
    }

    void runReportsAndHandsOnTheTest()
    {
        auto s = testServer();
        cam().frame = uniformScene();
        cam().target = FORMAT_MONO16;
        const Run r = run(s.get());

        QList<Report> expected{
            {10, QStringLiteral("DOffset设置为：0.")}, {30, kRangeText}, {10, QStringLiteral("DOffset设置为：0.")}};
        const QVector<double> exposures = expectedExposures();
        for (int i = 0; i < exposures.size(); ++i)
            expected.append(
                {35 + 5 * i, QStringLiteral("曝光设为 %1 us, 第 %2 张图像采集完成").arg(exposures[i]).arg(i + 1)});
        expected.append({100, kDoneText});
        QCOMPARE(r.reports, expected);

        // Handed on once, before the closing report.
        QCOMPARE(r.finished, 1);
        QCOMPARE(r.reportsBeforeFinished, int(expected.size()) - 1);
        QCOMPARE(r.expVec, exposures);
        QCOMPARE(r.rows.size(), exposures.size());
        for (int i = 0; i < r.rows.size(); ++i) {
            const cv::Mat& row = r.rows[i];
            QCOMPARE(row.type(), CV_32FC1);
            QCOMPARE(row.rows, 1);
            QCOMPARE(row.cols, 8);
            // The 16-bit target on the 8-bit scale: the sample / 256.
            const float want = float(sample16(exposures[i])) / 256.0f;
            for (int c = 0; c < 8; ++c) QCOMPARE(row.at<float>(0, c), want);
        }
        QCOMPARE(r.rows[0].at<float>(0, 0), 520.0f / 256.0f);
        // The exposure test stores nothing in the server.
        QVERIFY(s->m_bList.isEmpty());
        QVERIFY(s->m_kList.isEmpty());
        QCOMPARE(s->m_frameBits, int(LSX_BITS_16));
    }

    void aCancelOfBeforeIsCleared()
    {
        auto s = testServer();
        cam().frame = uniformScene();
        s->cancel();
        const Run r = run(s.get());
        QCOMPARE(r.rows.size(), 10);
        QVERIFY(!s->m_cancel);
    }

    void expCountIsATarget_data()
    {
        QTest::addColumn<int>("expCount");
        QTest::addColumn<QString>("rangeText");
        QTest::addColumn<int>("exposures");
        // ceil(248 / 2) = 124: n 3, 2 to 250.
        QTest::newRow("two") << 2 << QStringLiteral("曝光范围取[2, 374]，曝光间隔取 124.") << 3;
        // ceil(248 / 30) = 9: n 28, up to 245.
        QTest::newRow("thirty") << 30 << QStringLiteral("曝光范围取[2, 254]，曝光间隔取 9.") << 28;
    }

    void expCountIsATarget()
    {
        QFETCH(int, expCount);
        auto s = testServer();
        cam().frame = uniformScene();
        const Run r = run(s.get(), expCount);
        QFETCH(QString, rangeText);
        QVERIFY(r.reports.contains(Report(30, rangeText)));
        QTEST(int(r.expVec.size()), "exposures");
        QCOMPARE(r.rows.size(), r.expVec.size());
        QCOMPARE(r.expVec.first(), 2.0);
    }

    // ---- Target formats ----

    void targetFormats_data()
    {
        QTest::addColumn<int>("target");
        QTest::addColumn<int>("frameFormat");
        QTest::addColumn<int>("channels");
        QTest::addColumn<QList<int>>("memory");
        QTest::addColumn<QList<float>>("row");
        QTest::newRow("14: R 10, G 20, B 30 in B, G, R")
            << int(FORMAT_RGB24) << int(FORMAT_RGB24) << 3 << QList<int>{10, 20, 30} << QList<float>{30, 20, 10};
        QTest::newRow("10: B 30, G 20, R 10 as delivered")
            << int(FORMAT_BGR24) << int(FORMAT_BGR24) << 3 << QList<int>{30, 20, 10} << QList<float>{30, 20, 10};
        QTest::newRow("15: four channels as delivered") << int(FORMAT_RGB32) << int(FORMAT_RGB32) << 4
                                                        << QList<int>{10, 20, 30, 40} << QList<float>{10, 20, 30, 40};
        QTest::newRow("11: four channels as delivered") << int(FORMAT_BGR32) << int(FORMAT_BGR32) << 4
                                                        << QList<int>{30, 20, 10, 40} << QList<float>{30, 20, 10, 40};
    }

    void targetFormats()
    {
        QFETCH(int, target);
        QFETCH(int, frameFormat);
        QFETCH(int, channels);
        QFETCH(QList<int>, memory);
        QFETCH(QList<float>, row);
        auto s = testServer();
        cam().target = target;
        cam().frame = colourScene(uint32_t(frameFormat), channels, std::vector<int>(memory.begin(), memory.end()));
        const Run r = run(s.get());
        QVERIFY(r.reports.contains(Report(30, kRangeText)));
        QCOMPARE(r.rows.size(), 10);
        for (int i = 0; i < r.rows.size(); ++i) {
            const cv::Mat& m = r.rows[i];
            QCOMPARE(m.type(), CV_MAKETYPE(CV_32F, channels));
            QCOMPARE(m.cols, 8);
            for (int c = 0; c < 7; ++c)
                for (int k = 0; k < channels; ++k) QCOMPARE(m.ptr<float>(0)[c * channels + k], row[k]);
            // The lit column: the light on every channel.
            const float light = float(std::min(255L, std::lround(kPerUs * r.expVec[i])));
            QCOMPARE(m.ptr<float>(0)[7 * channels], light);
        }
        QCOMPARE(r.reports.last(), Report(100, kDoneText));
    }

    void otherTargetsKeepTheSamples()
    {
        // 16-bit frames on a target other than 34 stay on the raw scale, and so do they when the
        // target cannot be read.
        for (bool readable : {true, false}) {
            freshCamera();
            auto s = testServer();
            cam().frame = uniformScene();
            cam().target = FORMAT_MONO;
            if (!readable) cam().faults["lsxGetTargetFormat"] = {0, -1104, 1};
            const Run r = run(s.get());
            QCOMPARE(r.rows.size(), 10);
            QCOMPARE(r.rows[0].at<float>(0, 3), 520.0f);
            QCOMPARE(r.rows[9].at<float>(0, 3), float(sample16(227.0)));
            QCOMPARE(r.reports.last(), Report(100, kDoneText));
        }
    }

    // ---- Ends before the series ----

    void noCameraOpenDoesNothing()
    {
        auto s = testServer();
        s->cancel();
        s->expTest(10);
        QVERIFY(cam().calls.empty());
        // The cancel flag is cleared all the same, as at the start of every run.
        QVERIFY(!s->m_cancel);
    }

    void storedDoffsetOutOfRangeRefused()
    {
        auto s = testServer();
        cam().frame = uniformScene();
        store(FpnIni::DOffset, QStringLiteral("200"));
        const Run r = run(s.get());
        QCOMPARE(r.reports, (QList<Report>{{101, QStringLiteral("设置 Params/DOffset 的值 \"200\" 超出范围，"
                                                                "应在 [-128, 128] 之内。")}}));
        QCOMPARE(r.finished, 0);
        QCOMPARE(toList(cam().calls), QStringList{"lsxGetExposureDescr()"});
    }

    void noExposureDescriptionSaysNothing()
    {
        auto s = testServer();
        cam().frame = uniformScene();
        cam().faults["lsxGetExposureDescr"] = {0, -1104, 1};
        const Run r = run(s.get());
        QVERIFY(r.reports.isEmpty());
        QCOMPARE(r.finished, 0);
        QCOMPARE(toList(cam().calls), QStringList{"lsxGetExposureDescr()"});
    }

    void softTriggerFails_data()
    {
        QTest::addColumn<QString>("op");
        QTest::newRow("source read") << "lsxGetTriggerSource";
        QTest::newRow("source set") << "lsxSetTriggerSource";
        QTest::newRow("state read") << "lsxGetTriggerState";
        QTest::newRow("state set") << "lsxSetTriggerState";
    }

    void softTriggerFails()
    {
        QFETCH(QString, op);
        auto s = testServer();
        cam().frame = uniformScene();
        cam().faults[op.toStdString()] = {0, -1104, 1};
        const Run r = run(s.get());
        QCOMPARE(r.reports,
                 (QList<Report>{{101, QStringLiteral("使能软触发出错，错误原因：-1104-%1.").arg(statusText(-1104))}}));
        QCOMPARE(r.finished, 0);
        QCOMPARE(cam().count("lsxStart"), 0);
    }

    void rangeTooBright()
    {
        auto s = testServer();
        cam().frame = cameraFrames(LSX_BITS_8, [](const RecordCam&, int, int) { return 255; });
        const Run r = run(s.get());
        QCOMPARE(failures(r.reports), 2);
        QCOMPARE(r.reports.at(r.reports.size() - 2),
                 Report(101, QStringLiteral(
                                 "光照太强，最小曝光时间下也无法达到预设亮度。请调低光照强度，或增加预设亮度后重试")));
        QCOMPARE(r.reports.last(), Report(101, QStringLiteral("曝光范围检测出错，请重试。")));
        QCOMPARE(r.finished, 0);
        QCOMPARE(cam().count("lsxSetRgbGain"), 0);
        QCOMPARE(toList(cam().calls).last(), QStringLiteral("lsxStop()"));
    }

    void rangeWithoutTheShortImage()
    {
        auto s = testServer();
        cam().frame = uniformScene();
        cam().faults["lsxSetRoi"] = {0, -5, 1};
        const Run r = run(s.get());
        QCOMPARE(r.reports, (QList<Report>{{101, QStringLiteral("曝光范围检测出错，请重试。")}}));
        QCOMPARE(cam().count("lsxStart"), 0);
    }

    void seriesCannotBegin_data()
    {
        QTest::addColumn<QString>("op");
        QTest::addColumn<int>("after");
        // The range's own ROI and stream pass; the series' fail.
        QTest::newRow("image height") << "lsxSetRoi" << 1;
        QTest::newRow("stream") << "lsxStart" << 1;
    }

    void seriesCannotBegin()
    {
        QFETCH(QString, op);
        QFETCH(int, after);
        auto s = testServer();
        cam().frame = uniformScene();
        cam().faults[op.toStdString()] = {after, -5, 1};
        const Run r = run(s.get());
        QCOMPARE(r.reports.last(), Report(101, QStringLiteral("曝光范围内图像采集失败.")));
        QVERIFY(r.reports.contains(Report(30, kRangeText)));
        QCOMPARE(failures(r.reports), 1);
        QCOMPARE(r.finished, 0);
        QCOMPARE(cam().count("lsxGetTargetFormat"), 0);
    }

    // ---- Ends inside the series ----

    void seriesEndsEarly()
    {
        auto s = testServer();
        cam().frame = uniformScene();
        cam().target = FORMAT_MONO16;
        // The range sets three exposures; the fifth of the series is refused.
        cam().faults["lsxSetExposure"] = {3 + 4, -5, 1};
        const Run r = run(s.get());
        // All the exposures go out, with the rows of the frames taken, and the run says success.
        QCOMPARE(r.finished, 1);
        QCOMPARE(r.expVec, expectedExposures());
        QCOMPARE(r.rows.size(), 4);
        QCOMPARE(r.rows[3].at<float>(0, 0), float(sample16(77.0)) / 256.0f);
        QCOMPARE(r.reports.last(), Report(100, kDoneText));
        QCOMPARE(failures(r.reports), 0);
    }

    void cancelDuringTheSearch()
    {
        auto s = testServer();
        // The operator cancels while the first frame of the range is taken.
        CameraServer* server = s.get();
        const FrameMaker scene = uniformScene();
        cam().frame = [server, scene](RecordCam& c, lsxFrame& f, std::vector<uint8_t>& buffer) {
            server->cancel();
            return scene(c, f, buffer);
        };
        const Run r = run(s.get());
        // The search ends well where it stands (upper 250, lower 2); the series stops at once.
        QCOMPARE(cam().count("lsxGetFrame"), 1);
        QCOMPARE(r.finished, 1);
        QCOMPARE(r.expVec, expectedExposures());
        QVERIFY(r.rows.isEmpty());
        QCOMPARE(r.reports.last(), Report(100, kDoneText));
        QCOMPARE(toList(cam().calls).last(), QStringLiteral("lsxGetTargetFormat()"));
    }
};

QTEST_MAIN(TestExpTest)
#include "test_exptest.moc"

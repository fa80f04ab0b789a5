// A calibration applied outside the tool, end to end on the loopback camera: lsxcalib-cli calibrates
// the GigE Vision test camera through the GenICam camera library (dark field under the lens cap,
// bright field, the FPN file, the flat field and its file), then a GStreamer pipeline
// aravissrc ! lsxcorrect ! appsink corrects 200 frames of the camera with those files, and the
// corrected frames' residual PRNU (EMVA 1288, dark and bright stacks) is measured against the raw
// frames'.
//
// The camera is the loopback test camera with its black-level feature, and again with that feature
// removed from its feature tree, as a standard camera without the maker's firmware is: there the
// dark field keeps DOffset at 0 and says so once, and the FPN file holds 0.
#include "calibration/verifystats.h"
#include "camera/tables.h"
#include "genicam/testcamera.h"
#include "gst/gstpipeline.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <linux/capability.h>
#include <sys/syscall.h>

#include <cmath>

namespace {

constexpr int kWidth = 1024;
constexpr int kLines = 100;   // lines per frame of the stream
constexpr int kFrames = 200;  // frames of a stack
constexpr double kRawPrnuAbout = 2.0;

QString simConfig()
{
    // A flat target (no slope, no lens fall-off), as EMVA 1288 measures non-uniformity under.
    return QStringLiteral(R"({"timeScale": 0, "readNoise": 0.7, "hotAmp": 5, "slope": 0, "falloff": 0,
        "cameras": [{"friendlyName": "SIM-LS4096-M", "width": %1}]})")
        .arg(kWidth);
}

// Aravis reads a GigE Vision stream through a packet socket where the process may open one (the
// tests run as root); a camera on the loopback has no network card, and its packets come only
// through the ordinary socket. The process gives up the right to raw sockets.
bool withoutRawSockets()
{
    __user_cap_header_struct head{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2] = {};
    if (syscall(SYS_capget, &head, data) != 0) return false;
    for (auto& d : data) {
        d.effective &= ~(1u << CAP_NET_RAW);
        d.permitted &= ~(1u << CAP_NET_RAW);
        d.inheritable &= ~(1u << CAP_NET_RAW);
    }
    return syscall(SYS_capset, &head, data) == 0;
}

}  // namespace

class TestGenicamGstreamer : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    // One stack of frames of the pipeline: kFrames x kLines lines of kWidth 8-bit samples.
    cv::Mat stack(const QString& description, QString& why)
    {
        gsttest::Pipeline p(description);
        if (!p.ok() || !p.play()) {
            why = p.error();
            return cv::Mat();
        }
        cv::Mat all(kFrames * kLines, kWidth, CV_8UC1);
        for (int f = 0; f < kFrames; ++f) {
            const std::vector<uint8_t> frame = p.pull(15000);
            if (frame.size() != size_t(kWidth) * kLines) {
                why = QStringLiteral("frame %1: %2 bytes %3").arg(f).arg(frame.size()).arg(p.readError(0));
                return cv::Mat();
            }
            std::memcpy(all.ptr(f * kLines), frame.data(), frame.size());
        }
        return all;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY2(withoutRawSockets(), "the right to raw sockets could not be given up");
        // Plugins scanned in this process, into a registry of this run: a scanner process of its
        // own cannot load an element built with the sanitizers, and a shared registry would
        // remember that it failed.
        qputenv("GST_REGISTRY_FORK", "no");
        qputenv("GST_REGISTRY", m_dir.filePath(QStringLiteral("gst-registry.bin")).toLocal8Bit());
        gst_init(nullptr, nullptr);
        for (const char* element : {"aravissrc", "lsxcorrect", "appsink"}) {
            GstElementFactory* f = gst_element_factory_find(element);
            QVERIFY2(f, element);
            gst_object_unref(f);
        }
    }

    void calibratedFramesThroughGStreamer_data()
    {
        QTest::addColumn<bool>("blackLevel");
        QTest::newRow("camera with a black level") << true;
        QTest::newRow("camera without a black level") << false;
    }
    void calibratedFramesThroughGStreamer()
    {
        QFETCH(bool, blackLevel);
        gvtest::TestCamera camera;
        gvtest::Options options;
        options.serial = gvtest::uniqueSerial("G");
        options.simConfig = simConfig();
        if (!blackLevel) {
            options.xml = m_dir.filePath(QStringLiteral("noblack.xml"));
            QVERIFY(
                gvtest::writeTreeWithoutBlackLevel(QString::fromLocal8Bit(qgetenv("LSX_GVCAMERA_XML")), options.xml));
        }
        const QString failed = camera.start(options);
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
        const QString name = camera.friendlyName(kWidth);

        // 1. The calibration, as a station runs it: one gain, the flat field apart from K.
        {
            QSettings ini(fpnIniPath(), QSettings::IniFormat);
            ini.setValue(FpnIni::GainMin, 1.0);
            ini.setValue(FpnIni::GainMax, 1.0);
            ini.setValue(FpnIni::FlatEnable, true);
        }
        const QString fpn = m_dir.filePath(QStringLiteral("loopback.FAC.FPN"));
        const QString json = m_dir.filePath(QStringLiteral("calibration.json"));
        QProcess cli;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("LSX_LIBRARY"), QString::fromLocal8Bit(qgetenv("LSX_GENICAM_LIBRARY")));
        cli.setProcessEnvironment(env);
        cli.setWorkingDirectory(m_dir.path());
        cli.start(
            QCoreApplication::applicationDirPath() + QStringLiteral("/lsxcalib-cli"),
            {QStringLiteral("-d"), name, QStringLiteral("--json"), json, QStringLiteral("dark"),
             QStringLiteral("bright"), QStringLiteral("save-fpn"), fpn, QStringLiteral("ffc"), QStringLiteral("--goal"),
             QStringLiteral("level:180"), QStringLiteral("--save"), QStringLiteral("run")});
        QVERIFY(cli.waitForStarted(10000));
        // The operator's part: the lens cap on, off, the target lit; each answered with Enter.
        QString said;
        const QDeadlineTimer deadline(240000);
        while (cli.state() != QProcess::NotRunning && !deadline.hasExpired()) {
            cli.waitForReadyRead(200);
            said += QString::fromLocal8Bit(cli.readAllStandardError());
            const auto answer = [&](const QString& question, const char* scene) {
                if (!said.contains(question)) return;
                said.replace(question, QStringLiteral("(answered)"));
                if (scene)
                    QCOMPARE(camera.command(QStringLiteral("scene %1").arg(QLatin1String(scene))),
                             QStringLiteral("ok"));
                cli.write("\n");
            };
            answer(QStringLiteral("请盖上镜头盖"), "dark");
            answer(QStringLiteral("请取下镜头盖"), "flat");
            answer(QStringLiteral("平场校正：请对准均匀照明的白色目标"), nullptr);
        }
        QVERIFY2(cli.state() == QProcess::NotRunning || cli.waitForFinished(10000), qPrintable(said));
        said += QString::fromLocal8Bit(cli.readAllStandardError());
        QVERIFY2(
            cli.exitStatus() == QProcess::NormalExit && cli.exitCode() == 0,
            qPrintable(QStringLiteral("exit %1 (%2): %3").arg(cli.exitCode()).arg(int(cli.exitStatus())).arg(said)));
        QFile result(json);
        QVERIFY(result.open(QIODevice::ReadOnly));
        const QJsonArray steps = QJsonDocument::fromJson(result.readAll()).object()[QStringLiteral("steps")].toArray();
        QCOMPARE(steps.size(), 4);
        // The black level the dark field found and measured at (its report "DOffset设置为：N.").
        // Without a black level: "DOffset固定为0" once, and no DOffset written.
        int doffset = -1, fixedAtZero = 0;
        for (const QJsonValue& m : steps[0].toObject()[QStringLiteral("messages")].toArray()) {
            const QString text = m.toObject()[QStringLiteral("text")].toString();
            if (text.startsWith(QStringLiteral("DOffset设置为："))) doffset = text.mid(11).chopped(1).toInt();
            if (text.startsWith(QStringLiteral("DOffset固定为0"))) ++fixedAtZero;
        }
        QVERIFY2(blackLevel ? doffset >= 0 && fixedAtZero == 0 : doffset == -1 && fixedAtZero == 1, qPrintable(said));
        const QString ffc = steps[3].toObject()[QStringLiteral("files")].toArray().last().toString();
        QVERIFY2(QFile::exists(fpn) && QFile::exists(ffc), qPrintable(said));
        if (!blackLevel)
            QCOMPARE(QSettings(fpn, QSettings::IniFormat).value(QStringLiteral("Head/Doffset")).toString(),
                     QStringLiteral("0"));
        qInfo("calibrated: DOffset %d, %s, %s", doffset, qPrintable(fpn), qPrintable(ffc));

        // 2. The camera at the calibration's black level, exposed to half its range.
        const QString features = blackLevel ? QStringLiteral(" features=\"BlackLevel=%1\"").arg(doffset) : QString();
        auto source = [&](double exposure) {
            return QStringLiteral(
                       "aravissrc camera-name=\"%1\" num-buffers=%2 packet-size=65000 exposure=%3%4 "
                       "! video/x-raw,format=GRAY8,width=%5,height=%6 ! ")
                .arg(QString(name).replace(QLatin1Char(' '), QLatin1Char('-')))
                .arg(kFrames)
                .arg(exposure)
                .arg(features)
                .arg(kWidth)
                .arg(kLines);
        };
        const QString sink = QStringLiteral("appsink name=sink sync=false max-buffers=%1").arg(kFrames + 10);
        QString why;
        QCOMPARE(camera.command(QStringLiteral("scene flat")), QStringLiteral("ok"));
        const double probeExposure = 100.0;
        const cv::Mat probe = stack(source(probeExposure) + sink, why);
        QVERIFY2(!probe.empty(), qPrintable(why));
        QCOMPARE(camera.command(QStringLiteral("scene dark")), QStringLiteral("ok"));
        const cv::Mat probeDark = stack(source(probeExposure) + sink, why);
        QVERIFY2(!probeDark.empty(), qPrintable(why));
        const double signal = cv::mean(probe)[0] - cv::mean(probeDark)[0];
        QVERIFY(signal > 5.0);
        const double exposure = std::round(probeExposure * 0.5 * 255.0 / signal);

        // 3. Dark and bright stacks: raw, through lsxcorrect with the FPN file, and with the FPN and
        //    the flat-field files.
        const QString withFpn = QStringLiteral("lsxcorrect fpn-file=\"%1\" ! ").arg(fpn);
        const QString withBoth = QStringLiteral("lsxcorrect fpn-file=\"%1\" ffc-file=\"%2\" ! ").arg(fpn, ffc);
        cv::Mat raw[2], corrected[2], both[2];
        for (int bright = 0; bright < 2; ++bright) {
            QCOMPARE(camera.command(
                         QStringLiteral("scene %1").arg(bright ? QStringLiteral("flat") : QStringLiteral("dark"))),
                     QStringLiteral("ok"));
            raw[bright] = stack(source(exposure) + sink, why);
            QVERIFY2(!raw[bright].empty(), qPrintable(why));
            corrected[bright] = stack(source(exposure) + withFpn + sink, why);
            QVERIFY2(!corrected[bright].empty(), qPrintable(why));
            both[bright] = stack(source(exposure) + withBoth + sink, why);
            QVERIFY2(!both[bright].empty(), qPrintable(why));
        }

        // 4. The figures on the 10-bit scale, at half the range where EMVA 1288 takes them, from
        //    stacks that are not clipped. The corrected dark stands at 0 (B takes the dark level
        //    and a little more): its clipped spread only makes the figure larger.
        const BrightLevel rawLevel = brightLevel(raw[1], 255.0);
        const BrightLevel level = brightLevel(corrected[1], 255.0);
        const double before = prnu1288(stackStats(raw[0], 4.0), stackStats(raw[1], 4.0));
        const double after = prnu1288(stackStats(corrected[0], 4.0), stackStats(corrected[1], 4.0));
        const double afterBoth = prnu1288(stackStats(both[0], 4.0), stackStats(both[1], 4.0));
        qInfo(
            "%d frames of %d lines at %.0f us: raw level %.2f, PRNU1288 %.3f %%; through lsxcorrect: level %.2f, "
            "clipped %.4f, PRNU1288 %.3f %% with the FPN file, %.3f %% with the FPN and FFC files",
            kFrames, kLines, exposure, rawLevel.level, before, level.level, level.clipped, after, afterBoth);
        QVERIFY(rawLevel.level > 0.4 && rawLevel.level < 0.6 && rawLevel.clipped < kVerifyMaxClipped);
        QVERIFY(level.level > 0.4 && level.clipped < kVerifyMaxClipped);
        QVERIFY2(before > kRawPrnuAbout / 2 && before < kRawPrnuAbout * 2, qPrintable(QString::number(before)));
        QVERIFY2(after < 0.3, qPrintable(QString::number(after)));
        // The flat field of this camera is taken from its uncorrected frames, so it also carries
        // the columns' response smoothed over its radius; on top of K it stays within the
        // verification's limit.
        QVERIFY2(afterBoth < VerifyLimits().maxPrnu, qPrintable(QString::number(afterBoth)));
        camera.stop();
    }
};

QTEST_GUILESS_MAIN(TestGenicamGstreamer)
#include "test_genicam_gstreamer.moc"

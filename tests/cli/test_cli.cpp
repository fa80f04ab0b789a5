// The command-line runner: its command lines and recipes read into plans, and the executable run
// as a station runs it, on the simulated camera with no display: exit codes, the JSON result,
// the operator's messages, the files it writes (loaded back by the window's own code), Ctrl-C,
// and no Qt Widgets among its libraries; writes into the camera confirmed (--yes or "y") with a
// backup first, restored by the restore step, and the camera left as the runner reported it, as
// a second process finds it.
#include "cli/cliplan.h"
#include "cli/clirunner.h"

#include "camera/cameraserver.h"
#include "camera/metatypes.h"
#include "common/fpnreadback.h"
#include "common/runnerprocess.h"
#include "loader.h"
#include "sim/lsxsim.h"
#include "statustext.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>

#include <sys/resource.h>
#include <unistd.h>

namespace {

using Run = RunnerResult;

}  // namespace

class TestCli : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_exe;

    QString path(const QString& name) const { return m_dir.path() + QLatin1Char('/') + name; }

    // The runner's environment: the simulated camera on small sensors, this test's documents, and
    // no display at all. `extra` adds fields to the simulator's configuration (its faults).
    QProcessEnvironment environment(double timeScale = 0.0, const QString& extra = QString()) const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove(QStringLiteral("DISPLAY"));
        env.remove(QStringLiteral("WAYLAND_DISPLAY"));
        env.remove(QStringLiteral("QT_QPA_PLATFORM"));
        env.remove(QStringLiteral("LSX_LIBRARY"));
        env.insert(QStringLiteral("TELORINE_DOCUMENT_PATH"), m_dir.path());
        env.insert(QStringLiteral("LSX_SIM_STATE"), path(QStringLiteral("state")));
        const QString config = path(QStringLiteral("sim-%1-%2.json").arg(timeScale).arg(qHash(extra)));
        QFile f(config);
        if (!f.exists() && f.open(QIODevice::WriteOnly))
            f.write(QStringLiteral(R"({"timeScale": %1, "hotAmp": 5, %2 "cameras": [
                {"friendlyName": "SIM-LS4096-M", "width": 256}]})")
                        .arg(timeScale)
                        .arg(extra.isEmpty() ? QString() : extra + QLatin1Char(','))
                        .toLatin1());
        env.insert(QStringLiteral("LSX_SIM_CONFIG"), config);
        return env;
    }

    // The runner with `args`; `extra` adds to the simulator's configuration, `childSetup` runs in
    // the child before the runner starts, `input` is what the operator types at its terminal.
    Run run(const QStringList& args, double timeScale = 0.0, const QString& extra = QString(),
            const std::function<void()>& childSetup = nullptr, const QByteArray& input = QByteArray())
    {
        QProcess p;
        p.setProcessEnvironment(environment(timeScale, extra));
        if (childSetup) p.setChildProcessModifier(childSetup);
        p.setWorkingDirectory(m_dir.path());
        p.start(m_exe, args);
        if (!input.isEmpty()) p.write(input);
        p.closeWriteChannel();
        return finishRunner(p);
    }

    // The steps of the Ctrl-C tests, each with the report that shows it under way.
    static void interruptRows()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QString>("marker");
        // In this process: under way once so many soft triggers have fired; 0 for the steps that
        // first let the camera settle (a second into that pause).
        QTest::addColumn<int>("triggers");
        QTest::newRow("dark") << QStringList{"--sim-scene", "dark", "dark", "--auto-doffset"} << "暗场校正-增益设为"
                              << 1;
        QTest::newRow("exposure search") << QStringList{"--sim-scene", "flat", "bright"} << "曝光范围自动检测中" << 1;
        QTest::newRow("bright series") << QStringList{"--sim-scene", "flat", "bright"} << "明场校正-开始采图" << 12;
        QTest::newRow("ffc") << QStringList{"--sim-scene", "flat", "ffc"} << "FFC执行中" << 0;
        QTest::newRow("lsc") << QStringList{"--sim-scene", "flat", "lsc"} << "LSC执行中" << 0;
        QTest::newRow("verify") << QStringList{"verify"} << "采集明场图像（" << 1;
    }

    QJsonObject json(const QString& file)
    {
        QFile f(file);
        if (!f.open(QIODevice::ReadOnly)) return {};
        return QJsonDocument::fromJson(f.readAll()).object();
    }

    // This program again, as a second program on the runner's camera (the same configuration,
    // documents and state folder), running peerSide in `mode`; what it printed, or empty on a
    // failure (printed with qWarning).
    QString peer(const QString& mode, const QString& argument = QString())
    {
        QProcess p;
        QProcessEnvironment env = environment();
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        env.insert(QStringLiteral("LSX_CLI_PEER"), mode);
        env.insert(QStringLiteral("LSX_CLI_PEER_ARG"), argument);
        p.setProcessEnvironment(env);
        p.setProcessChannelMode(QProcess::MergedChannels);
        p.start(QCoreApplication::applicationFilePath(), {QStringLiteral("peerSide")});
        if (!p.waitForFinished(120000)) p.kill();
        const QString out = QString::fromLocal8Bit(p.readAll());
        if (p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
            qWarning("%s", qPrintable(out));
            return QString();
        }
        const QRegularExpressionMatch m = QRegularExpression(QStringLiteral("peer: (.*)")).match(out);
        return m.hasMatch() ? m.captured(1).trimmed() : QString();
    }

    // The set `set` as the camera's record gives it back, K and B of every column, as text.
    static QString setText(lsxHandle h, const QString& set)
    {
        const std::vector<uint8_t> block = fpnReadBack(h, set.toLatin1().constData(), 256);
        if (block.empty()) return QString();
        return QString::fromLatin1(QByteArray(reinterpret_cast<const char*>(block.data() + 40), 256 * 8).toHex());
    }

    // The backups the runs have taken, newest last.
    QStringList backups() const
    {
        QDir dir(m_dir.path() + QStringLiteral("/FPN/backup"));
        QStringList out;
        for (const QFileInfo& f :
             dir.entryInfoList({QStringLiteral("*.backup.ini")}, QDir::Files, QDir::Time | QDir::Reversed))
            out.append(f.absoluteFilePath());
        return out;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_exe = QCoreApplication::applicationDirPath() + QStringLiteral("/lsxcalib-cli");
        registerMetaTypes();
        QVERIFY(QFile::exists(m_exe));
    }

    // ---- Plans ----

    void commandLine()
    {
        const CliPlan p = parseCommandLine(
            {"-d",   "CAM",    "--yes",     "--sim-scene", "dark",     "dark",   "--auto-doffset", "--sim-scene",
             "flat", "bright", "write-fpn", "UserSet0",    "--json",   "r.json", "save-fpn",       "x.FAC.FPN",
             "ffc",  "--goal", "rate:0.5",  "--write",     "UserSet1", "verify", "--report",       "a.pdf"});
        QVERIFY2(p.error.isEmpty(), qPrintable(p.error));
        QCOMPARE(p.camera, QStringLiteral("CAM"));
        QVERIFY(p.yes);
        QCOMPARE(p.json, QStringLiteral("r.json"));
        QCOMPARE(int(p.steps.size()), 6);
        QCOMPARE(p.steps[0].name, QStringLiteral("dark"));
        QCOMPARE(p.steps[0].scene, QStringLiteral("dark"));
        QVERIFY(p.steps[0].options.contains(QStringLiteral("auto-doffset")));
        QCOMPARE(p.steps[1].scene, QStringLiteral("flat"));
        QCOMPARE(p.steps[2].args, QStringList{"UserSet0"});
        QCOMPARE(p.steps[3].args, QStringList{"x.FAC.FPN"});
        QCOMPARE(p.steps[4].options.value(QStringLiteral("goal")), QStringLiteral("rate:0.5"));
        QCOMPARE(p.steps[4].options.value(QStringLiteral("write")), QStringLiteral("UserSet1"));
        QCOMPARE(p.steps[5].options.value(QStringLiteral("report")), QStringLiteral("a.pdf"));
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("words");
        QTest::newRow("nothing") << QStringList{} << "没有给出任何步骤。";
        QTest::newRow("unknown step") << QStringList{"fly"} << "未知的步骤 \"fly\"。";
        QTest::newRow("unknown option") << QStringList{"dark", "--fast"} << "未知的选项 \"--fast\"。";
        QTest::newRow("missing set") << QStringList{"write-fpn"} << "步骤 write-fpn 需要 1 个参数。";
        QTest::newRow("scene") << QStringList{"--sim-scene", "sunny", "dark"}
                               << "未知的模拟场景 \"sunny\"（可选 dark、flat、pattern）。";
        QTest::newRow("scene at the end") << QStringList{"dark", "--sim-scene", "flat"} << "--sim-scene 之后缺少步骤。";
        QTest::newRow("-d alone") << QStringList{"dark", "-d"} << "选项 -d 缺少参数。";
        QTest::newRow("empty library") << QStringList{"--sdk", "", "info"} << "选项 --sdk 的相机库路径为空。";
        QTest::newRow("frame time-out 0") << QStringList{"--frame-timeout", "0", "dark"}
                                          << "--frame-timeout 应为 0 到 86400 之间的秒数，而不是 \"0\"。";
        QTest::newRow("frame time-out -5") << QStringList{"--frame-timeout", "-5", "dark"}
                                           << "--frame-timeout 应为 0 到 86400 之间的秒数，而不是 \"-5\"。";
        QTest::newRow("frame time-out word") << QStringList{"--frame-timeout", "soon", "dark"}
                                             << "--frame-timeout 应为 0 到 86400 之间的秒数，而不是 \"soon\"。";
    }

    // A word that reads as a number is a value, minus sign and all; an option is not.
    void negativeNumbersAreValues()
    {
        CliPlan p = parseCommandLine({"exposure", "-100", "--yes"});
        QVERIFY2(p.error.isEmpty(), qPrintable(p.error));
        QCOMPARE(p.steps.front().args, QStringList{"-100"});
        QVERIFY(p.yes);
        p = parseCommandLine({"exposure", "-2.5e3"});
        QCOMPARE(p.steps.front().args, QStringList{"-2.5e3"});
        p = parseCommandLine({"exposure", "-d", "CAM"});
        QCOMPARE(p.error, QStringLiteral("步骤 exposure 需要 1 个参数。"));
    }

    void frameTimeoutOption()
    {
        QCOMPARE(parseCommandLine({"dark"}).frameTimeoutMs, 30000);
        QCOMPARE(parseCommandLine({"--frame-timeout", "2.5", "dark"}).frameTimeoutMs, 2500);
        QCOMPARE(parseCommandLine({"dark", "--frame-timeout", "600"}).frameTimeoutMs, 600000);
    }

    // The terminal's wording where the window says "点击".
    void commandLineWording_data()
    {
        QTest::addColumn<QString>("window");
        QTest::addColumn<QString>("terminal");
        QTest::newRow("write-down") << "\n已使能相机内部FPN，点击确定查看效果。"
                                    << "\n已使能相机内部FPN。";
        QTest::newRow("verdict") << "校正验证-校正验证完成，结果：合格。点击确定查看报告。"
                                 << "校正验证-校正验证完成，结果：合格。";
        QTest::newRow("question") << "校正验证-请盖上镜头盖，使传感器处于完全黑暗中，然后点击“继续”。"
                                  << "校正验证-请盖上镜头盖，使传感器处于完全黑暗中。";
        QTest::newRow("exposure test") << "曝光范围内图像采集成功，点击确认显示统计图。"
                                       << "曝光范围内图像采集成功。";
        QTest::newRow("no click") << "暗场校正-暗场校正执行完成。"
                                  << "暗场校正-暗场校正执行完成。";
    }

    void commandLineWording()
    {
        QFETCH(QString, window);
        QTEST(cliWording(window), "terminal");
    }

    void usageErrors()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, words);
        QCOMPARE(parseCommandLine(args).error, words);
    }

    void recipe()
    {
        const QString file = path("station.ini");
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(
            "; a station's calibration\n[camera]\nname = SIM-LS4096-M\n[params]\nGainMin = 1\nGainMax = 2 # two gains\n"
            "[verify]\nMaxPRNU = 0.5\n[steps]\nstep = --sim-scene dark dark --auto-doffset\nstep = bright\n"
            "step = save-fpn \"a b.FAC.FPN\"\n");
        f.close();
        CliPlan p;
        QVERIFY2(readRecipe(file, p), qPrintable(p.error));
        QCOMPARE(p.camera, QStringLiteral("SIM-LS4096-M"));
        QCOMPARE(p.settings.value(QStringLiteral("Params/GainMax")), QStringLiteral("2"));
        QCOMPARE(p.settings.value(QStringLiteral("Verify/MaxPRNU")), QStringLiteral("0.5"));
        QCOMPARE(int(p.steps.size()), 3);
        QCOMPARE(p.steps[0].scene, QStringLiteral("dark"));
        QCOMPARE(p.steps[2].args, QStringList{"a b.FAC.FPN"});
        // -d wins over the recipe's camera.
        CliPlan q;
        q.camera = QStringLiteral("OTHER");
        QVERIFY(readRecipe(file, q));
        QCOMPARE(q.camera, QStringLiteral("OTHER"));
    }

    void badRecipes_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("words");
        QTest::newRow("section") << QByteArray("[stuff]\n") << "第 1 行：未知的节 [stuff]。";
        QTest::newRow("no section") << QByteArray("a = 1\n") << "第 1 行：键 \"a\" 不在任何节中。";
        QTest::newRow("step") << QByteArray("[steps]\nstep = fly\n") << "第 2 行：未知的步骤 \"fly\"。";
        QTest::newRow("nested run") << QByteArray("[steps]\nstep = run x.ini\n") << "第 2 行：配方里不能再用 run。";
        QTest::newRow("no equals") << QByteArray("[params]\nGainMin\n") << "第 2 行：应为 \"键 = 值\"。";
    }

    void badRecipes()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, words);
        const QString file = path(QStringLiteral("bad-%1.ini").arg(QTest::currentDataTag()).replace(' ', '_'));
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(text);
        f.close();
        CliPlan p;
        QVERIFY(!readRecipe(file, p));
        QVERIFY2(p.error.endsWith(words), qPrintable(p.error));
    }

    // ---- The executable ----

    void helpListsEveryStep()
    {
        const Run r = run({"--help"});
        QCOMPARE(r.exit, 0);
        for (const char* step : {"list", "info", "exposure US", "dark", "bright", "write-fpn SET", "save-fpn FILE",
                                 "load-fpn FILE", "ffc", "lsc", "verify", "run RECIPE.ini", "restore BACKUP",
                                 "--sim-scene", "--json", "--yes", "写入相机", "备份"})
            QVERIFY2(r.out.contains(QString::fromUtf8(step)), step);
    }

    void stationCalibration()
    {
        const QString result = path("r.json"), file = path("x.FAC.FPN");
        // The station's settings: K takes in the lens fall-off too ("同时进行感光平场(FFC)"), so
        // that the camera's output is flat and not only its columns.
        {
            QSettings ini(m_dir.path() + QStringLiteral("/FPN/FPN.ini"), QSettings::IniFormat);
            ini.setValue(QStringLiteral("Params/FlatEnable"), true);
        }
        const Run r = run({"-d", "SIM-LS4096-M", "--yes", "--sim-scene", "dark", "dark", "--sim-scene", "flat",
                           "bright", "write-fpn", "UserSet0", "save-fpn", "x.FAC.FPN", "verify", "--json", "r.json"});
        QVERIFY2(r.exit == 0, qPrintable(r.err));
        QVERIFY(r.err.contains(QStringLiteral("暗场校正-暗场校正执行完成。")));
        QVERIFY(r.err.contains(QStringLiteral("明场校正-明场校正执行完成")));
        QVERIFY(r.err.contains(QStringLiteral("已使能相机内部FPN")));
        // The program's own debug log stays out of the operator's messages, and so does the
        // window's "点击".
        QVERIFY(!r.err.contains(QStringLiteral("fpnCapture -------------")));
        QVERIFY2(!r.err.contains(QStringLiteral("点击")), qPrintable(r.err));
        const QJsonObject j = json(result);
        QCOMPARE(j.value(QStringLiteral("exitCode")).toInt(), 0);
        QCOMPARE(j.value(QStringLiteral("camera")).toObject().value(QStringLiteral("model")).toString(),
                 QStringLiteral("LSM4096A"));
        const QJsonArray steps = j.value(QStringLiteral("steps")).toArray();
        QCOMPARE(steps.size(), 5);
        for (const QJsonValue& s : steps)
            QCOMPARE(s.toObject().value(QStringLiteral("outcome")).toString(), QStringLiteral("ok"));
        // The verification: the camera's own output flat, within the limits of FPN.ini.
        const QJsonObject verified = steps[4].toObject().value(QStringLiteral("figures")).toObject();
        QVERIFY(verified.value(QStringLiteral("passes")).toBool());
        const QJsonObject plane = verified.value(QStringLiteral("planes")).toArray().first().toObject();
        QVERIFY(plane.value(QStringLiteral("prnuAfter")).toDouble()
                < verified.value(QStringLiteral("maxPrnu")).toDouble());
        QVERIFY(plane.value(QStringLiteral("dsnuAfter")).toDouble()
                < verified.value(QStringLiteral("maxDsnu")).toDouble());
        QVERIFY(plane.value(QStringLiteral("prnuBefore")).toDouble() > 1.0);
        QCOMPARE(
            steps[0].toObject().value(QStringLiteral("figures")).toObject().value(QStringLiteral("bRows")).toArray(),
            (QJsonArray{256}));
        QCOMPARE(steps[3].toObject().value(QStringLiteral("files")).toArray().first().toString(),
                 QFileInfo(file).absoluteFilePath());

        // The file loads back in the window's own code as it was written.
        qputenv("LSX_SIM_CONFIG", environment().value(QStringLiteral("LSX_SIM_CONFIG")).toLocal8Bit());
        qputenv("TELORINE_DOCUMENT_PATH", m_dir.path().toLocal8Bit());
        QVERIFY(lsx::bindLibrary(lsx::chooseLibrary("", QCoreApplication::applicationDirPath().toStdString())).ok);
        {
            CameraServer s;
            s.enumerate();
            s.open(QStringLiteral("SIM-LS4096-M"));
            QVERIFY(s.loadFpnFile(file));
            QCOMPARE(s.m_bList.size(), 1);
            QCOMPARE(s.m_bList[0].size(), 256);
        }
        lsx::unbindLibrary();
    }

    void flatFieldAndLensShading()
    {
        const Run r = run({"-d", "SIM-LS4096-M", "--yes", "--sim-scene", "flat", "ffc", "--goal", "level:150",
                           "--write", "UserSet1", "--save", "cam", "lsc", "--write", "UserSet0", "--save",
                           "cam.LSC.FAC", "--json", "flat.json"});
        QVERIFY2(r.exit == 0, qPrintable(r.err));
        // The FFC file carries the camera's model in its name.
        QVERIFY(QFile::exists(path("LSM4096A.FAC.FFC.cam")));
        QVERIFY(QFile::exists(path("cam.LSC.FAC")));
        QVERIFY(r.err.contains(QStringLiteral("LSC使能成功。")));
        const QJsonArray steps = json(path("flat.json")).value(QStringLiteral("steps")).toArray();
        QCOMPARE(steps.size(), 2);
        const QJsonObject ffc = steps[0].toObject().value(QStringLiteral("figures")).toObject();
        QCOMPARE(ffc.value(QStringLiteral("set")).toString(), QStringLiteral("UserSet1"));
        const QJsonObject channel = ffc.value(QStringLiteral("channels")).toArray().first().toObject();
        QCOMPARE(channel.value(QStringLiteral("columns")).toInt(), 256);
        QVERIFY(channel.value(QStringLiteral("maxK")).toDouble() > channel.value(QStringLiteral("minK")).toDouble());
        const QJsonArray poly = steps[1]
                                    .toObject()
                                    .value(QStringLiteral("figures"))
                                    .toObject()
                                    .value(QStringLiteral("channels"))
                                    .toArray()
                                    .first()
                                    .toArray();
        QCOMPARE(poly.size(), 8);
    }

    void flatStepsRefuseBadTargets()
    {
        Run r = run({"-d", "SIM-LS4096-M", "--yes", "ffc", "--goal", "rate:2"});
        QCOMPARE(r.exit, 2);
        QVERIFY(r.err.contains(QStringLiteral("--goal 应为 mean")));
        r = run({"-d", "SIM-LS4096-M", "--yes", "lsc", "--write", "Disable"});
        QCOMPARE(r.exit, 2);
        QVERIFY(r.err.contains(QStringLiteral("请选择正确的写入位置！")));
    }

    void darkStepWithTheLensOpenFails()
    {
        const Run r = run({"-d", "SIM-LS4096-M", "--yes", "--sim-scene", "flat", "dark", "--json", "lit.json"});
        QCOMPARE(r.exit, 1);
        QVERIFY(r.err.contains(QStringLiteral("暗场校正-暗场亮度过高，超过限制值64，无法继续执行暗场校正。")));
        const QJsonArray steps = json(path("lit.json")).value(QStringLiteral("steps")).toArray();
        QCOMPARE(steps.first().toObject().value(QStringLiteral("outcome")).toString(), QStringLiteral("failed"));
    }

    void unknownCameraAndUsage()
    {
        Run r = run({"-d", "NO-SUCH-CAMERA", "info"});
        QCOMPARE(r.exit, 2);
        QVERIFY(r.err.contains(QStringLiteral("未找到相机 \"NO-SUCH-CAMERA\"")));
        r = run({"fly"});
        QCOMPARE(r.exit, 2);
        r = run({"--sdk", "/no/such/library.so", "info"});
        QCOMPARE(r.exit, 2);
    }

    void sceneOnlyOnTheSimulatedCamera()
    {
        // Without the scene functions (the recording library of the procedure tests has none).
        const QString rec = QString::fromLocal8Bit(qgetenv("LSX_RECORDCAM"));
        QVERIFY(!rec.isEmpty());
        const Run r = run({"--sdk", rec, "--yes", "--sim-scene", "dark", "dark"});
        QCOMPARE(r.exit, 2);
        QVERIFY(r.err.contains(QStringLiteral("--sim-scene 只用于模拟相机")));
    }

    void noOperatorWithoutYes()
    {
        // Standard input closed and no --yes: nobody can confirm the lens cap.
        const Run r = run({"-d", "SIM-LS4096-M", "dark"});
        QCOMPARE(r.exit, 2);
        QVERIFY(r.err.contains(QStringLiteral("暗场校正：请盖上镜头盖")));
    }

    void interruptDuringBright()
    {
        // Frames at the camera's own pace, so that the bright run lasts long enough to be stopped.
        QProcess p;
        p.setProcessEnvironment(environment(1.0));
        p.setWorkingDirectory(m_dir.path());
        p.start(m_exe, {"-d", "SIM-LS4096-M", "--yes", "--sim-scene", "flat", "bright", "--json", "int.json"});
        QVERIFY(p.waitForStarted());
        QString err;
        QElapsedTimer t;
        t.start();
        while (!err.contains(QStringLiteral("曝光范围自动检测中")) && t.elapsed() < 30000) {
            p.waitForReadyRead(200);
            err += QString::fromLocal8Bit(p.readAllStandardError());
        }
        QVERIFY(err.contains(QStringLiteral("曝光范围自动检测中")));
        ::kill(pid_t(p.processId()), SIGINT);
        QVERIFY(p.waitForFinished(30000));
        QCOMPARE(p.exitCode(), 130);
        const QJsonArray steps = json(path("int.json")).value(QStringLiteral("steps")).toArray();
        QCOMPARE(steps.first().toObject().value(QStringLiteral("outcome")).toString(), QStringLiteral("cancelled"));
        // The next run goes through.
        const Run r = run({"-d", "SIM-LS4096-M", "--yes", "--sim-scene", "dark", "dark"});
        QCOMPARE(r.exit, 0);
    }

    void shippedRecipe()
    {
        const QString recipe = QStringLiteral(LSX_SOURCE_DIR "/cli/example-recipe.ini");
        const Run r = run({"--yes", "--json", "recipe.json", "run", recipe});
        QVERIFY2(r.exit == 0, qPrintable(r.err));
        QVERIFY(QFile::exists(path("station.FAC.FPN")));
        const QJsonArray steps = json(path("recipe.json")).value(QStringLiteral("steps")).toArray();
        QCOMPARE(steps.size(), 7);
        // The verification passes on the calibrated camera, and its report is written.
        const QJsonObject verify = steps[6].toObject();
        QCOMPARE(verify.value(QStringLiteral("step")).toString(), QStringLiteral("verify"));
        QCOMPARE(verify.value(QStringLiteral("outcome")).toString(), QStringLiteral("ok"));
        const QJsonObject figures = verify.value(QStringLiteral("figures")).toObject();
        QVERIFY(figures.value(QStringLiteral("passes")).toBool());
        const QJsonObject plane = figures.value(QStringLiteral("planes")).toArray().first().toObject();
        QVERIFY(plane.value(QStringLiteral("prnuBefore")).toDouble() > 1.0);
        QVERIFY(plane.value(QStringLiteral("prnuAfter")).toDouble() < 0.5);
        QVERIFY(plane.value(QStringLiteral("dsnuAfter")).toDouble() < 0.5);
        QCOMPARE(plane.value(QStringLiteral("defectsAfter")).toInt(), 0);
        const QJsonObject report = json(path("station-verify.json"));
        QVERIFY(!report.isEmpty());
        QVERIFY(r.err.contains(QStringLiteral("校正验证-校正验证完成，结果：合格。")));
        QSettings ini(m_dir.path() + QStringLiteral("/FPN/FPN.ini"), QSettings::IniFormat);
        QCOMPARE(ini.value(QStringLiteral("Params/PixelMax")).toInt(), 180);
    }

    // A limit the calibrated camera cannot meet: the verification's verdict is the exit code 3,
    // and the step's outcome says so.
    void verificationOverItsLimit()
    {
        const QString file = path("strict.ini");
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(
            "[camera]\nname = SIM-LS4096-M\n[params]\nFlatEnable = true\n[verify]\nMaxPRNU = 0.001\n"
            "[steps]\nstep = exposure 100\nstep = --sim-scene dark dark\nstep = --sim-scene flat bright\n"
            "step = exposure 100\nstep = write-fpn UserSet0\nstep = verify\nstep = info\n");
        f.close();
        const Run r = run({"--yes", "--json", "strict.json", "run", file});
        QCOMPARE(r.exit, 3);
        QVERIFY(r.err.contains(QStringLiteral("校正验证-校正验证完成，结果：不合格。")));
        const QJsonObject j = json(path("strict.json"));
        QCOMPARE(j.value(QStringLiteral("exitCode")).toInt(), 3);
        const QJsonArray steps = j.value(QStringLiteral("steps")).toArray();
        // The run ends at the verification: "info" does not run, and stands as skipped.
        QCOMPARE(steps.size(), 7);
        const QJsonObject verify = steps[5].toObject();
        QCOMPARE(verify.value(QStringLiteral("outcome")).toString(), QStringLiteral("limits"));
        QVERIFY(!verify.value(QStringLiteral("figures")).toObject().value(QStringLiteral("passes")).toBool());
        QCOMPARE(steps.last().toObject().value(QStringLiteral("step")).toString(), QStringLiteral("info"));
        QCOMPARE(steps.last().toObject().value(QStringLiteral("outcome")).toString(), QStringLiteral("skipped"));
    }

    // The report is the JSON one; a bad exposure is refused before anything runs.
    void verifyAndExposureUsage()
    {
        Run r = run({"-d", "SIM-LS4096-M", "--yes", "verify", "--report", "a.pdf"});
        QCOMPARE(r.exit, 2);
        QVERIFY(r.err.contains(QStringLiteral("--report 保存 JSON 报告")));
        r = run({"-d", "SIM-LS4096-M", "--yes", "exposure", "fast"});
        QCOMPARE(r.exit, 2);
        QVERIFY(r.err.contains(QStringLiteral("曝光时间应在 2 到 20000 微秒之间")));
        r = run({"-d", "SIM-LS4096-M", "--yes", "exposure", "0"});
        QCOMPARE(r.exit, 2);
    }

    // The runner speaks as a command line: each step's progress only moves forward, and each step
    // ends with exactly one line of its own.
    void progressForwardAndOneClosingLinePerStep()
    {
        const Run r = run({"-d", "SIM-LS4096-M", "--yes", "--sim-scene", "dark", "dark", "--auto-doffset",
                           "--sim-scene", "flat", "bright", "info"});
        QVERIFY2(r.exit == 0, qPrintable(r.err));
        const QStringList lines = r.err.split(QLatin1Char('\n'));
        const QRegularExpression progress(QStringLiteral("^\\[\\s*(\\d+)\\] "));
        const QRegularExpression closing(QStringLiteral("^(\\S+) (完成|失败|未达到限值|已取消)"));
        int last = 0, reports = 0;
        QStringList closed;
        for (const QString& line : lines) {
            if (line.startsWith(QLatin1String("== "))) last = 0;
            if (const QRegularExpressionMatch m = progress.match(line); m.hasMatch()) {
                const int p = m.captured(1).toInt();
                QVERIFY2(p >= last, qPrintable(line));
                last = p;
                ++reports;
            }
            if (const QRegularExpressionMatch m = closing.match(line); m.hasMatch()) closed.append(m.captured(0));
        }
        QVERIFY(reports > 10);
        QCOMPARE(closed, (QStringList{"dark 完成", "bright 完成", "info 完成"}));
        QVERIFY(r.err.contains(QStringLiteral("\ndark 完成：暗场校正-暗场校正执行完成。\n")));
        QVERIFY(r.err.contains(QStringLiteral("\ninfo 完成。\n")));
    }

    void negativeExposureIsAValueRefused()
    {
        const Run r = run({"-d", "SIM-LS4096-M", "--yes", "exposure", "-100"});
        QCOMPARE(r.exit, 2);
        QVERIFY2(
            r.err.contains(QStringLiteral("exposure -100 失败：曝光时间应在 2 到 20000 微秒之间，而不是 \"-100\"。")),
            qPrintable(r.err));
    }

    // ---- The result file ----

    // Into a folder that does not exist: said before anything runs, and exit 1.
    void resultIntoAMissingFolder()
    {
        const Run r = run({"-d", "SIM-LS4096-M", "--json", "no/such/folder/r.json", "info"});
        QCOMPARE(r.exit, 1);
        QVERIFY2(r.err.contains(QStringLiteral("无法写入结果文件 %1：目录 %2 不存在。没有执行任何步骤。")
                                    .arg(path("no/such/folder/r.json"), path("no/such/folder"))),
                 qPrintable(r.err));
        QVERIFY(!r.err.contains(QStringLiteral("== info")));
    }

    // A result that cannot be written whole (a file size limit stands in for a full disk): exit 1,
    // the reason told, and the earlier result left whole, with no temporary file beside it.
    void resultThatCannotBeWrittenLeavesTheEarlierOne()
    {
        QDir folder(path("limited"));
        QVERIFY(folder.mkpath(QStringLiteral(".")));
        const QString result = folder.filePath(QStringLiteral("r.json"));
        const QByteArray earlier = "{\"earlier\": true}\n";
        {
            QFile f(result);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(earlier);
        }
        // The dark step's result is about 2 kB; the camera's backup and FPN.ini are smaller.
        const Run r =
            run({"-d", "SIM-LS4096-M", "--yes", "--sim-scene", "dark", "dark", "--json", result}, 0.0, QString(), [] {
                const rlimit limit{1500, 1500};
                ::setrlimit(RLIMIT_FSIZE, &limit);
            });
        QCOMPARE(r.exit, 1);
        QVERIFY2(r.err.contains(QStringLiteral("dark 完成：暗场校正-暗场校正执行完成。")), qPrintable(r.err));
        QVERIFY2(r.err.contains(QStringLiteral("无法写入结果文件 %1：").arg(result)), qPrintable(r.err));
        QVERIFY(r.err.contains(QStringLiteral("结果没有保存，原有的文件保持不变。")));
        QFile f(result);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), earlier);
        QCOMPARE(folder.entryList(QDir::Files), QStringList{"r.json"});
        // Without the limit the same run writes its result, exit 0.
        const Run again = run({"-d", "SIM-LS4096-M", "--yes", "--sim-scene", "dark", "dark", "--json", result});
        QCOMPARE(again.exit, 0);
        QVERIFY(json(result).value(QStringLiteral("steps")).toArray().size() == 1);
        QVERIFY(QFileInfo(result).size() > 1500);
    }

    // ---- A camera that falls silent ----

    // The camera stops delivering after its first frames: each procedure gives up after the
    // frame time-out, names the camera's silence, and the run ends with exit 1.
    void silentCameraEndsTheRun_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<int>("framesFirst");
        QTest::addColumn<QString>("words");
        QTest::newRow("dark") << QStringList{"--sim-scene", "dark", "dark", "--auto-doffset"} << 2
                              << "暗场校正-相机已 1.";
        QTest::newRow("exposure search") << QStringList{"--sim-scene", "flat", "bright"} << 8 << "相机已 1.";
        QTest::newRow("flat field") << QStringList{"--sim-scene", "flat", "ffc"} << 0
                                    << "触发出图出错，出错原因：-1000-超时错误.";
        QTest::newRow("verification") << QStringList{"verify"} << 0
                                      << "校正验证-采集图像失败，错误原因：-1000-超时错误.";
    }

    void silentCameraEndsTheRun()
    {
        QFETCH(QStringList, steps);
        QFETCH(int, framesFirst);
        QFETCH(QString, words);
        const QString faults =
            QStringLiteral(R"("faults": [{"op": "lsxGetFrame", "after": %1, "status": -1000, "times": 0}])")
                .arg(framesFirst);
        QElapsedTimer clock;
        clock.start();
        const Run r = run(QStringList{"-d", "SIM-LS4096-M", "--yes", "--frame-timeout", "1.5"} + steps
                              + QStringList{"--json", "silent.json"},
                          0.0, faults);
        QCOMPARE(r.exit, 1);
        QVERIFY2(clock.elapsed() < 8000, qPrintable(QString::number(clock.elapsed())));
        QVERIFY2(r.err.contains(words), qPrintable(r.err));
        if (words.contains(QStringLiteral("相机已")))
            QVERIFY2(r.err.contains(QRegularExpression(
                         QStringLiteral("相机已 1\\.\\d 秒没有送出图像（超时 \\d+ 次），停止等待。"))),
                     qPrintable(r.err));
        // One closing line, the failure's.
        const QRegularExpression closing(QStringLiteral("^\\S+ 失败："), QRegularExpression::MultilineOption);
        QCOMPARE(r.err.count(closing), 1);
        const QJsonArray done = json(path("silent.json")).value(QStringLiteral("steps")).toArray();
        QCOMPARE(done.last().toObject().value(QStringLiteral("outcome")).toString(), QStringLiteral("failed"));
    }

    // ---- Ctrl-C ----

    // SIGINT in the middle of each step: the program ends within a second of the signal with 130,
    // the step told once as cancelled, and none of the procedure's failure reports after it.
    void interruptEndsEveryStepWithinASecond_data() { interruptRows(); }

    void interruptEndsEveryStepWithinASecond()
    {
        QFETCH(QStringList, steps);
        QFETCH(QString, marker);
        QProcess p;
        p.setProcessEnvironment(environment(5.0));
        p.setWorkingDirectory(m_dir.path());
        const QString result = QStringLiteral("int-%1.json").arg(QTest::currentDataTag()).replace(' ', '-');
        p.start(m_exe, QStringList{"-d", "SIM-LS4096-M", "--yes"} + steps + QStringList{"--json", result});
        QVERIFY(p.waitForStarted());
        QString err;
        QElapsedTimer t;
        t.start();
        while (!err.contains(marker) && t.elapsed() < 30000 && p.state() == QProcess::Running) {
            p.waitForReadyRead(50);
            err += QString::fromLocal8Bit(p.readAllStandardError());
        }
        QVERIFY2(err.contains(marker), qPrintable(err));
        QElapsedTimer sent;
        sent.start();
        ::kill(pid_t(p.processId()), SIGINT);
        QVERIFY(p.waitForFinished(10000));
        const qint64 ms = sent.elapsed();
        err += QString::fromLocal8Bit(p.readAllStandardError());
        qInfo("%s: ended %lld ms after the signal", QTest::currentDataTag(), ms);
        QCOMPARE(p.exitStatus(), QProcess::NormalExit);
        QCOMPARE(p.exitCode(), 130);
        QVERIFY2(ms < 1000, qPrintable(QString::number(ms)));
        QCOMPARE(err.count(QStringLiteral("已取消。")), 1);
        QVERIFY2(!err.contains(QStringLiteral("失败")), qPrintable(err));
        QVERIFY(!err.contains(QStringLiteral("取消操作。")));
        const QJsonArray done = json(path(result)).value(QStringLiteral("steps")).toArray();
        QCOMPARE(done.last().toObject().value(QStringLiteral("outcome")).toString(), QStringLiteral("cancelled"));
    }

    // The same in this process, to read the camera back: after the cancelled step the camera's
    // settings are those it had before the run, value for value (its saved configuration), and
    // the run returned within a second of the interrupt.
    void interruptLeavesTheCameraAsFound_data() { interruptRows(); }

    void interruptLeavesTheCameraAsFound()
    {
        QFETCH(QStringList, steps);
        QFETCH(int, triggers);
        const QByteArray doc = qgetenv("TELORINE_DOCUMENT_PATH"), sim = qgetenv("LSX_SIM_CONFIG");
        qputenv("TELORINE_DOCUMENT_PATH", m_dir.path().toLocal8Bit());
        qputenv("LSX_SIM_CONFIG", environment(5.0).value(QStringLiteral("LSX_SIM_CONFIG")).toLocal8Bit());
        QVERIFY(lsx::bindLibrary(lsx::chooseLibrary("", "")).ok);
        const lsx::sim::Api& api = lsx::sim::api();
        QVERIFY(api.ok());
        QCOMPARE(api.reset(), LSX_OK);
        const QString before = path("before.cfg"), after = path("after.cfg");
        auto saveCamera = [](const QString& file) {
            lsxHandle h = 0;
            if (lsxOpenByName("SIM-LS4096-M", 1, &h) != LSX_OK) return false;
            const bool saved = lsxSaveConfig(h, file.toLocal8Bit().constData()) == LSX_OK;
            return lsxClose(h) == LSX_OK && saved;
        };
        QVERIFY(saveCamera(before));

        CliPlan plan = parseCommandLine(QStringList{"-d", "SIM-LS4096-M", "--yes"} + steps);
        QVERIFY2(plan.error.isEmpty(), qPrintable(plan.error));
        int code = -1;
        QElapsedTimer sinceInterrupt;
        {
            CliRunner runner;
            // Interrupted once the step is under way: its first soft trigger fired, or for the
            // steps that first let the camera settle, some time into that pause.
            QElapsedTimer running;
            running.start();
            QTimer watch;
            watch.setInterval(10);
            connect(&watch, &QTimer::timeout, &runner, [&] {
                uint64_t frames = 0, fired = 0;
                api.getCounters("SIM-LS4096-M", &frames, &fired);
                const bool underWay = triggers > 0 ? fired >= uint64_t(triggers) : running.elapsed() > 1000;
                if (!underWay) return;
                watch.stop();
                sinceInterrupt.start();
                runner.interrupt();
            });
            watch.start();
            code = runner.run(plan, QString());
        }
        const qint64 ms = sinceInterrupt.isValid() ? sinceInterrupt.elapsed() : -1;
        QVERIFY(saveCamera(after));
        lsx::unbindLibrary();
        qputenv("TELORINE_DOCUMENT_PATH", doc);
        qputenv("LSX_SIM_CONFIG", sim);

        QCOMPARE(code, 130);
        QVERIFY2(ms >= 0 && ms < 1000, qPrintable(QString::number(ms)));
        QFile a(before), b(after);
        QVERIFY(a.open(QIODevice::ReadOnly) && b.open(QIODevice::ReadOnly));
        // Setting by setting. The simulated camera's image-processing switches and flags are off
        // until first set, and its saved settings name them only from then on: one written off
        // since is the same setting as one never written.
        auto settingsOf = [](QFile& f) {
            QMap<QString, QString> m;
            for (const QString& line : QString::fromLatin1(f.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts))
                if (!line.startsWith(QLatin1Char('#')))
                    m.insert(line.section(QLatin1Char('='), 0, 0), line.section(QLatin1Char('='), 1));
            return m;
        };
        QMap<QString, QString> found = settingsOf(a);
        const QMap<QString, QString> left = settingsOf(b);
        for (auto it = left.cbegin(); it != left.cend(); ++it)
            if (!found.contains(it.key()) && it.value() == QLatin1String("0")
                && (it.key().startsWith(QLatin1String("isp.")) || it.key().startsWith(QLatin1String("bool."))))
                found.insert(it.key(), it.value());
        auto lines = [](const QMap<QString, QString>& m) {
            QStringList out;
            for (auto it = m.cbegin(); it != m.cend(); ++it) out.append(it.key() + QLatin1Char('=') + it.value());
            return out;
        };
        QCOMPARE(lines(left), lines(found));
        QVERIFY(found.size() > 30);
    }

    // In this process, to fail the camera at the close: once the flat field is written and the
    // dark step is under way, the camera takes no setting by name. The set written cannot be kept:
    // the runner says so on the terminal, does not count it as kept, and fails the run.
    void setNotKeptAtTheCloseFailsTheRun()
    {
        const QByteArray doc = qgetenv("TELORINE_DOCUMENT_PATH"), sim = qgetenv("LSX_SIM_CONFIG");
        qputenv("TELORINE_DOCUMENT_PATH", m_dir.path().toLocal8Bit());
        qputenv("LSX_SIM_CONFIG", environment().value(QStringLiteral("LSX_SIM_CONFIG")).toLocal8Bit());
        QVERIFY(lsx::bindLibrary(lsx::chooseLibrary("", "")).ok);
        const lsx::sim::Api& api = lsx::sim::api();
        QVERIFY(api.ok());
        QCOMPARE(api.reset(), LSX_OK);
        const QString result = path("not-kept.json"), err = path("not-kept.err");
        const CliPlan plan = parseCommandLine({"-d", "SIM-LS4096-M", "--yes", "--sim-scene", "flat", "ffc", "--write",
                                               "UserSet1", "--sim-scene", "dark", "dark", "--json", result});
        QVERIFY2(plan.error.isEmpty(), qPrintable(plan.error));
        int code = -1;
        bool injected = false;
        {
            CliRunner runner;
            bool flat = false;
            QTimer watch;
            watch.setInterval(0);
            connect(&watch, &QTimer::timeout, &runner, [&] {
                lsx::Scene scene;
                lsx::getScene("SIM-LS4096-M", scene);
                flat = flat || scene.kind == LSX_SIM_SCENE_FLAT;
                if (!flat || scene.kind != LSX_SIM_SCENE_DARK) return;
                watch.stop();
                injected = api.injectFault("lsxSetConfigString", 0, LSX_ERR_DISCONNECTED, 0) == LSX_OK;
            });
            watch.start();
            // The runner's terminal into a file.
            std::fflush(stderr);
            const int terminal = dup(STDERR_FILENO);
            FILE* file = std::fopen(QFile::encodeName(err).constData(), "w");
            QVERIFY(terminal >= 0 && file);
            dup2(fileno(file), STDERR_FILENO);
            code = runner.run(plan, QString());
            std::fflush(stderr);
            dup2(terminal, STDERR_FILENO);
            ::close(terminal);
            std::fclose(file);
        }
        api.clearFaults();
        lsx::unbindLibrary();
        qputenv("TELORINE_DOCUMENT_PATH", doc);
        qputenv("LSX_SIM_CONFIG", sim);

        QVERIFY(injected);
        QFile said(err);
        QVERIFY(said.open(QIODevice::ReadOnly));
        const QString text = QString::fromLocal8Bit(said.readAll());
        const QString problem = QStringLiteral("保持FFC参数组 UserSet1出错（%1-%2）")
                                    .arg(LSX_ERR_DISCONNECTED)
                                    .arg(statusText(LSX_ERR_DISCONNECTED));
        QVERIFY2(text.contains(QStringLiteral("相机已关闭：保持 无；")), qPrintable(text));
        QVERIFY2(text.contains(QStringLiteral("错误：") + problem + QLatin1Char('\n')), qPrintable(text));
        QCOMPARE(code, 1);
        const QJsonObject r = json(result);
        QCOMPARE(r.value(QStringLiteral("exitCode")).toInt(), 1);
        // Both steps did their work; the close is what failed.
        const QJsonArray steps = r.value(QStringLiteral("steps")).toArray();
        QCOMPARE(steps.size(), 2);
        for (const QJsonValue& step : steps) QCOMPARE(step[QStringLiteral("outcome")].toString(), QStringLiteral("ok"));
        const QJsonObject left = r.value(QStringLiteral("cameraLeft")).toObject();
        QCOMPARE(left.value(QStringLiteral("kept")).toArray(), QJsonArray());
        QCOMPARE(left.value(QStringLiteral("problems")).toArray(), QJsonArray{problem});
    }

    // The second program of secondProcessFindsTheWrittenSet and restoreFromTheCommandLine: it
    // opens the camera afresh and prints what it finds after "peer: ".
    void peerSide()
    {
        const QString mode = qEnvironmentVariable("LSX_CLI_PEER");
        if (mode.isEmpty()) QSKIP("the second program of other tests");
        const QString argument = qEnvironmentVariable("LSX_CLI_PEER_ARG");
        registerMetaTypes();
        QVERIFY(lsx::bindLibrary(lsx::chooseLibrary("", QCoreApplication::applicationDirPath().toStdString())).ok);
        const QString name = QStringLiteral("SIM-LS4096-M");
        CameraServer s;
        s.enumerate();
        s.open(name);
        QVERIFY(s.m_opened);
        if (mode == QLatin1String("read")) {
            const QString text = setText(s.m_handle, argument);
            QVERIFY(!text.isEmpty());
            std::printf("peer: %s\n", qPrintable(text));
            return;
        }
        // "verify": UserSet0 loaded and switched on, the flat measured at the exposure given.
        QCOMPARE(lsxSetConfigString(s.m_handle, "FPNC.Selector", "UserSet0"), LSX_OK);
        QCOMPARE(lsxSetConfigString(s.m_handle, "FPNC.Enable", "true"), LSX_OK);
        QCOMPARE(lsxSetExposure(s.m_handle, argument.toDouble()), LSX_OK);
        QVERIFY(lsx::hasSceneControl());
        auto answer = connect(
            &s, &CameraServer::OS_VerifyAsk, this,
            [&](int step, QString) {
                lsx::Scene scene;
                lsx::getScene(name.toStdString(), scene);
                scene.kind = step == 1 ? LSX_SIM_SCENE_DARK : LSX_SIM_SCENE_FLAT;
                lsx::setScene(name.toStdString(), scene);
                s.verifyAnswer(step, true);
            },
            Qt::DirectConnection);
        QSignalSpy finished(&s, &CameraServer::OS_VerifyFinished);
        s.verifyStart();
        disconnect(answer);
        QCOMPARE(finished.size(), 1);
        const VerifyReport report = finished.first().first().value<VerifyReport>();
        QCOMPARE(report.planes.size(), 1);
        QVERIFY(report.fpnOn);
        // The DOffset the camera kept, as the server read it at the opening.
        std::printf("peer: %.6f %d\n", report.planes.first().after.prnu,
                    s.settings().value(QStringLiteral("Params/DOffset")).toInt());
    }

    // The station's write as a second program finds it: after write-fpn and the verification in
    // the first process, this process opens the camera, loads UserSet0 and measures the flat at the
    // same exposure: the residual PRNU is the verification's within 0.01 %, and the DOffset is the
    // one the runner said it left.
    void secondProcessFindsTheWrittenSet()
    {
        {
            // The station's settings, and the verification's limits at their defaults again.
            QSettings ini(m_dir.path() + QStringLiteral("/FPN/FPN.ini"), QSettings::IniFormat);
            ini.setValue(QStringLiteral("Params/FlatEnable"), true);
            ini.remove(QStringLiteral("Verify"));
        }
        const int taken = int(backups().size());
        const Run r =
            run({"-d", "SIM-LS4096-M", "--yes", "--sim-scene", "dark", "dark", "--auto-doffset", "--sim-scene", "flat",
                 "bright", "write-fpn", "UserSet0", "verify", "--report", "first-verify.json", "--json", "first.json"});
        QVERIFY2(r.exit == 0, qPrintable(r.err.right(2000)));
        const QJsonObject first = json(path("first.json"));
        const QJsonObject left = first.value(QStringLiteral("cameraLeft")).toObject();
        QCOMPARE(left.value(QStringLiteral("fpnSet")).toString(), QStringLiteral("UserSet0"));
        QVERIFY(left.value(QStringLiteral("fpnEnabled")).toBool());
        QVERIFY(left.value(QStringLiteral("stateAsFound")).toBool());
        QVERIFY(left.contains(QStringLiteral("doffset")));
        QVERIFY(r.err.contains(QStringLiteral("相机已关闭：保持 FPN UserSet0")));
        // The write kept what it overwrote.
        const QJsonArray steps = first.value(QStringLiteral("steps")).toArray();
        QVERIFY(QJsonDocument(steps[2].toObject()).toJson().contains("写入前已将相机参数组 UserSet0 备份到"));
        QCOMPARE(int(backups().size()), taken + 1);
        const QJsonObject report = json(path("first-verify.json"));
        const double exposure =
            report.value(QStringLiteral("settings")).toObject().value(QStringLiteral("exposureUs")).toDouble();
        const double prnuFirst = report.value(QStringLiteral("planes"))
                                     .toArray()
                                     .first()
                                     .toObject()
                                     .value(QStringLiteral("after"))
                                     .toObject()
                                     .value(QStringLiteral("prnu"))
                                     .toDouble();
        QVERIFY(exposure > 0.0);
        QVERIFY(prnuFirst > 0.0 && prnuFirst < 0.5);

        const QStringList found =
            peer(QStringLiteral("verify"), QString::number(exposure, 'g', 17)).split(QLatin1Char(' '));
        QCOMPARE(found.size(), 2);
        const double prnuSecond = found[0].toDouble();
        qInfo("residual PRNU: %.4f %% in the runner, %.4f %% in the second program", prnuFirst, prnuSecond);
        QVERIFY2(std::abs(prnuSecond - prnuFirst) < 0.01, qPrintable(QString::number(prnuSecond - prnuFirst)));
        QCOMPARE(found[1].toInt(), left.value(QStringLiteral("doffset")).toInt());
    }

    // Writes need the operator's "y" or --yes: a closed terminal or another answer writes nothing
    // and keeps no backup; "y" writes.
    void writesNeedConfirmation()
    {
        const QStringList calibration{"-d",   "SIM-LS4096-M", "--sim-scene", "dark",
                                      "dark", "--sim-scene",  "flat",        "bright"};
        const int before = int(backups().size());
        // The question comes before the write, whatever the runner holds.
        Run r = run({"-d", "SIM-LS4096-M", "write-fpn", "UserSet1", "--json", "closed.json"});
        QCOMPARE(r.exit, 2);
        QVERIFY2(r.err.contains(QStringLiteral("将覆盖相机 SIM-LS4096-M 的FPN参数组 UserSet1。写入前的内容将备份到 ")),
                 qPrintable(r.err));
        QVERIFY(r.err.contains(QStringLiteral("写入相机需要操作员确认，但标准输入已关闭；无人值守时请加 --yes。")));
        QVERIFY(!json(path("closed.json"))
                     .value(QStringLiteral("cameraLeft"))
                     .toObject()
                     .value(QStringLiteral("fpnEnabled"))
                     .toBool());

        r = run(calibration + QStringList{"write-fpn", "UserSet1"}, 0.0, QString(), nullptr, "\n\nno\n");
        QCOMPARE(r.exit, 1);
        QVERIFY(r.err.contains(QStringLiteral("没有确认写入，相机未被改动。")));
        QCOMPARE(int(backups().size()), before);

        r = run(calibration + QStringList{"write-fpn", "UserSet1", "--json", "yes.json"}, 0.0, QString(), nullptr, "\n\ny\n");
        QVERIFY2(r.exit == 0, qPrintable(r.err));
        QVERIFY(r.err.contains(QStringLiteral("已使能相机内部FPN")));
        QCOMPARE(int(backups().size()), before + 1);
        QCOMPARE(json(path("yes.json"))
                     .value(QStringLiteral("cameraLeft"))
                     .toObject()
                     .value(QStringLiteral("fpnSet"))
                     .toString(),
                 QStringLiteral("UserSet1"));

        // The lens shading cannot be read back: the question says so.
        r = run({"-d", "SIM-LS4096-M", "--sim-scene", "flat", "lsc", "--write", "UserSet0"});
        QCOMPARE(r.exit, 2);
        QVERIFY2(
            r.err.contains(QStringLiteral(
                "将覆盖相机 SIM-LS4096-M 的LSC参数组 UserSet0。无法备份（相机的镜头校正（LSC）参数组不能读回），写入后不能恢复原有参数。")),
            qPrintable(r.err));
    }

    // The restore step writes a backup back, value for value, after its own question.
    void restoreFromTheCommandLine()
    {
        // A calibration in UserSet2, then another one over it.
        const QStringList calibrate{"-d",          "SIM-LS4096-M", "--yes",  "--sim-scene", "dark",    "dark",
                                    "--sim-scene", "flat",         "bright", "write-fpn",   "UserSet2"};
        Run r = run(calibrate);
        QVERIFY2(r.exit == 0, qPrintable(r.err));
        const QString before = peer(QStringLiteral("read"), QStringLiteral("UserSet2"));
        QVERIFY(!before.isEmpty());
        // The second at its own black level (the noise of a new process repeats the first's).
        QStringList second = calibrate;
        second.insert(second.indexOf(QStringLiteral("dark"), 5) + 1, QStringLiteral("--auto-doffset"));
        r = run(second);
        QVERIFY2(r.exit == 0, qPrintable(r.err));
        const QString backup = backups().last();
        // Two backups of one set in the same second are told apart by a number ("-2").
        QVERIFY2(QRegularExpression(QStringLiteral("_FPN_UserSet2(-\\d+)?\\.backup\\.ini$")).match(backup).hasMatch(),
                 qPrintable(backups().join(" ")));
        QVERIFY(peer(QStringLiteral("read"), QStringLiteral("UserSet2")) != before);

        r = run({"-d", "SIM-LS4096-M", "restore", backup});
        QCOMPARE(r.exit, 2);
        r = run({"-d", "SIM-LS4096-M", "--yes", "restore", backup, "--json", "restore.json"});
        QVERIFY2(r.exit == 0, qPrintable(r.err));
        QVERIFY(r.err.contains(QStringLiteral("已将备份 %1 写回相机参数组 UserSet2。").arg(backup)));
        const QJsonObject left = json(path("restore.json")).value(QStringLiteral("cameraLeft")).toObject();
        QCOMPARE(left.value(QStringLiteral("fpnSet")).toString(), QStringLiteral("UserSet2"));
        QCOMPARE(peer(QStringLiteral("read"), QStringLiteral("UserSet2")), before);

        // A file that is no backup writes nothing.
        QFile bad(path("bad.backup.ini"));
        QVERIFY(bad.open(QIODevice::WriteOnly));
        bad.write("[Backup]\nVersion=1\n");
        bad.close();
        r = run({"-d", "SIM-LS4096-M", "--yes", "restore", bad.fileName()});
        QCOMPARE(r.exit, 1);
        QVERIFY(r.err.contains(QStringLiteral("缺少键 Backup/Kind")));
    }

    void noWidgetsAmongItsLibraries()
    {
        QProcess readelf;
        readelf.start(QStringLiteral("readelf"), {"-d", m_exe});
        QVERIFY(readelf.waitForFinished(30000));
        const QString deps = QString::fromLocal8Bit(readelf.readAllStandardOutput());
        QVERIFY(deps.contains(QStringLiteral("libQt6Core")));
        QVERIFY(!deps.contains(QStringLiteral("Widgets")));
        QVERIFY(!deps.contains(QStringLiteral("Charts")));
    }
};

// A GUI application: the in-process runner's procedures make pictures of their frames.
QTEST_MAIN(TestCli)
#include "test_cli.moc"

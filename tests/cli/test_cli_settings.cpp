// The runner and the settings of FPN.ini: a setting out of its range, not a number, or a gain
// range without a pass refuses the step with the key, the value and the range named, exit 1, and
// leaves the camera untouched; a recipe that carries such a value is refused before anything runs,
// exit 2, and FPN.ini keeps what it held.
#include "cli/cliplan.h"
#include "cli/clirunner.h"

#include "camera/metatypes.h"
#include "camera/tables.h"
#include "loader.h"
#include "common/runnerprocess.h"
#include "sim/lsxsim.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

namespace {

using Run = RunnerResult;

const QString kNoPass = QStringLiteral(
    "设置 Params/GainMin 的值 5 大于 Params/GainMax 的值 2：增益范围内没有一个增益，校正不会执行。"
    "请把 Params/GainMin 设为不大于 Params/GainMax 的值。");

}  // namespace

class TestCliSettings : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_exe;

    QString path(const QString& name) const { return m_dir.path() + QLatin1Char('/') + name; }
    QString iniPath() const { return path(QStringLiteral("FPN/FPN.ini")); }

    // The runner's environment: the simulated camera on a small sensor, this test's documents.
    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove(QStringLiteral("DISPLAY"));
        env.remove(QStringLiteral("QT_QPA_PLATFORM"));
        env.remove(QStringLiteral("LSX_LIBRARY"));
        env.insert(QStringLiteral("TELORINE_DOCUMENT_PATH"), m_dir.path());
        env.insert(QStringLiteral("LSX_SIM_STATE"), path(QStringLiteral("state")));
        env.insert(QStringLiteral("LSX_SIM_CONFIG"), simConfig());
        return env;
    }

    QString simConfig() const
    {
        const QString config = path(QStringLiteral("sim.json"));
        QFile f(config);
        if (!f.exists() && f.open(QIODevice::WriteOnly))
            f.write(R"({"timeScale": 0, "cameras": [{"friendlyName": "SIM-LS4096-M", "width": 256},
                {"friendlyName": "SIM-TVK317", "width": 64}]})");
        return config;
    }

    Run run(const QStringList& args)
    {
        QProcess p;
        p.setProcessEnvironment(environment());
        p.setWorkingDirectory(m_dir.path());
        p.start(m_exe, args);
        p.closeWriteChannel();
        return finishRunner(p);
    }

    // FPN.ini with exactly these settings.
    void writeIni(const QMap<QString, QString>& values)
    {
        QFile::remove(iniPath());
        QSettings ini(iniPath(), QSettings::IniFormat);
        for (auto it = values.cbegin(); it != values.cend(); ++it) ini.setValue(it.key(), it.value());
        ini.sync();
        QCOMPARE(ini.status(), QSettings::NoError);
    }

    static void settingRows()
    {
        QTest::addColumn<QString>("step");
        QTest::addColumn<QStringMap>("settings");
        QTest::addColumn<QString>("message");
        const QString dark = QStringLiteral("暗场校正-"), bright = QStringLiteral("明场校正-"),
                      verify = QStringLiteral("校正验证-");
        QTest::newRow("GainMin above GainMax")
            << "dark" << QStringMap{{"Params/GainMin", "5"}, {"Params/GainMax", "2"}} << dark + kNoPass;
        QTest::newRow("GainMin nan") << "dark" << QStringMap{{"Params/GainMin", "nan"}}
                                     << dark + "设置 Params/GainMin 的值 \"nan\" 不是数，应在 [1, 32] 之内。";
        QTest::newRow("GainMax 1e308") << "dark" << QStringMap{{"Params/GainMax", "1e308"}}
                                       << dark + "设置 Params/GainMax 的值 \"1e308\" 超出范围，应在 [1, 32] 之内。";
        QTest::newRow("bright GainMin above GainMax")
            << "bright" << QStringMap{{"Params/GainMin", "5"}, {"Params/GainMax", "2"}} << bright + kNoPass;
        QTest::newRow("PixelMax 1e308") << "bright" << QStringMap{{"Params/PixelMax", "1e308"}}
                                        << bright
                                               + "设置 Params/PixelMax 的值 \"1e308\" 超出范围，应在 [2, 255] 之内。";
        QTest::newRow("MaxPRNU 1e308") << "verify" << QStringMap{{"Verify/MaxPRNU", "1e308"}}
                                       << verify + "设置 Verify/MaxPRNU 的值 \"1e308\" 超出范围，应在 (0, 100] 之内。";
        QTest::newRow("MaxPRNU nan") << "verify" << QStringMap{{"Verify/MaxPRNU", "nan"}}
                                     << verify + "设置 Verify/MaxPRNU 的值 \"nan\" 不是数，应在 (0, 100] 之内。";
        QTest::newRow("MaxDSNU -1") << "verify" << QStringMap{{"Verify/MaxDSNU", "-1"}}
                                    << verify + "设置 Verify/MaxDSNU 的值 \"-1\" 超出范围，应在 (0, 1023] 之内。";
        QTest::newRow("MaxDefects -5") << "verify" << QStringMap{{"Verify/MaxDefects", "-5"}}
                                       << verify
                                              + "设置 Verify/MaxDefects 的值 \"-5\" 超出范围，应在 [0, 65535] 之内。";
        QTest::newRow("DefectResponse -5")
            << "verify" << QStringMap{{"Verify/DefectResponse", "-5"}}
            << verify + "设置 Verify/DefectResponse 的值 \"-5\" 超出范围，应在 (0, 100] 之内。";
    }

public:
    using QStringMap = QMap<QString, QString>;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(QDir().mkpath(path(QStringLiteral("FPN"))));
        m_exe = QCoreApplication::applicationDirPath() + QStringLiteral("/lsxcalib-cli");
        registerMetaTypes();
        QVERIFY(QFile::exists(m_exe));
    }

    // A bad setting in FPN.ini: the step fails with its message, the run exits 1.
    void settingRefusesTheStep_data() { settingRows(); }
    void settingRefusesTheStep()
    {
        QFETCH(QString, step);
        QFETCH(QStringMap, settings);
        QFETCH(QString, message);
        writeIni(settings);
        const Run r = run({"-d", "SIM-LS4096-M", "--yes", step});
        QCOMPARE(r.exit, 1);
        QVERIFY2(r.err.contains(QStringLiteral("%1 失败：%2").arg(step, message)), qPrintable(r.err));
        QVERIFY2(!r.err.contains(QStringLiteral("执行完成")), qPrintable(r.err));
        QVERIFY2(!r.err.contains(QStringLiteral("合格")), qPrintable(r.err));
        // The settings stay as the station wrote them.
        QSettings ini(iniPath(), QSettings::IniFormat);
        for (auto it = settings.cbegin(); it != settings.cend(); ++it)
            QCOMPARE(ini.value(it.key()).toString(), it.value());
    }

    // The same values in a recipe: refused before the camera opens, exit 2, FPN.ini untouched.
    void recipeRefusedBeforeAnythingRuns_data() { settingRows(); }
    void recipeRefusedBeforeAnythingRuns()
    {
        QFETCH(QString, step);
        QFETCH(QStringMap, settings);
        QFETCH(QString, message);
        writeIni({{"Params/PixelMax", "170"}});
        QByteArray text = "[camera]\nname = SIM-LS4096-M\n";
        for (auto it = settings.cbegin(); it != settings.cend(); ++it)
            text += "[" + it.key().section('/', 0, 0).toLatin1() + "]\n" + it.key().section('/', 1).toLatin1() + " = "
                    + it.value().toLatin1() + "\n";
        text += "[steps]\nstep = " + step.toLatin1() + "\n";
        const QString file = path(QStringLiteral("recipe.ini"));
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(text);
        f.close();
        const Run r = run({"--yes", "run", file});
        QCOMPARE(r.exit, 2);
        // The message without the step's prefix: the recipe names the setting.
        const QString setting = message.section(QLatin1Char('-'), 1, -1);
        QVERIFY2(r.err.contains(setting), qPrintable(r.err));
        QVERIFY2(r.err.contains(QStringLiteral("配方文件 \"%1\"").arg(file)), qPrintable(r.err));
        QVERIFY2(!r.err.contains(QStringLiteral("已连接相机")), qPrintable(r.err));
        QSettings ini(iniPath(), QSettings::IniFormat);
        QCOMPARE(ini.allKeys(), QStringList{"Params/PixelMax"});
    }

    // A recipe whose settings cannot go into FPN.ini (here a folder of that name) fails before
    // its steps, and says so on the terminal in its closing line.
    void recipeWhoseSettingsCannotBeWritten()
    {
        QFile::remove(iniPath());
        QVERIFY(QDir().mkpath(iniPath() + QStringLiteral("/blocked")));
        const QString file = path(QStringLiteral("unwritable.ini"));
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write("[camera]\nname = SIM-LS4096-M\n[params]\nGainMin = 1\n[steps]\nstep = dark\n");
        f.close();
        const Run r = run({"--yes", "run", file});
        QVERIFY(QDir(iniPath()).removeRecursively());
        QCOMPARE(r.exit, 1);
        QVERIFY2(r.err.contains(QStringLiteral("run %1 失败：无法写入设置文件 %2。").arg(file, iniPath())),
                 qPrintable(r.err));
        QVERIFY2(!r.err.contains(QStringLiteral("已连接相机")), qPrintable(r.err));
    }

    // Without GainMax in FPN.ini the run's figures give the gain range the dark field used: one
    // gain on a line-scan camera, up to 8 on an area camera.
    void absentGainMaxAsTheCalibrationTakesIt_data()
    {
        QTest::addColumn<QString>("camera");
        QTest::addColumn<double>("gainMax");
        QTest::newRow("line scan") << "SIM-LS4096-M" << 1.0;
        QTest::newRow("area") << "SIM-TVK317" << 8.0;
    }
    void absentGainMaxAsTheCalibrationTakesIt()
    {
        QFETCH(QString, camera);
        QFETCH(double, gainMax);
        writeIni({});
        const QString result = path(QStringLiteral("gain-%1.json").arg(camera));
        const Run r = run({"-d", camera, "--yes", "--sim-scene", "dark", "dark", "--json", result});
        QVERIFY2(r.exit == 0, qPrintable(r.err));
        QFile f(result);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QJsonObject figures = QJsonDocument::fromJson(f.readAll())
                                        .object()[QStringLiteral("steps")][0][QStringLiteral("figures")]
                                        .toObject();
        QCOMPARE(figures[QStringLiteral("gainMin")].toDouble(), 1.0);
        QCOMPARE(figures[QStringLiteral("gainMax")].toDouble(), gainMax);
    }

    // In this process, to see the camera: no frame taken, no trigger fired, and its settings as
    // they were.
    void refusedStepLeavesTheCameraUntouched()
    {
        writeIni({{"Params/GainMin", "nan"}, {"Verify/MaxPRNU", "1e308"}});
        const QByteArray doc = qgetenv("TELORINE_DOCUMENT_PATH"), sim = qgetenv("LSX_SIM_CONFIG"),
                         state = qgetenv("LSX_SIM_STATE");
        qputenv("TELORINE_DOCUMENT_PATH", m_dir.path().toLocal8Bit());
        qputenv("LSX_SIM_CONFIG", simConfig().toLocal8Bit());
        qputenv("LSX_SIM_STATE", path(QStringLiteral("state")).toLocal8Bit());
        QVERIFY(lsx::bindLibrary(lsx::chooseLibrary("", "")).ok);
        const lsx::sim::Api& api = lsx::sim::api();
        QVERIFY(api.ok());
        QCOMPARE(api.reset(), LSX_OK);
        auto saveCamera = [](const QString& file) {
            lsxHandle h = 0;
            if (lsxOpenByName("SIM-LS4096-M", 1, &h) != LSX_OK) return false;
            const bool saved = lsxSaveConfig(h, file.toLocal8Bit().constData()) == LSX_OK;
            return lsxClose(h) == LSX_OK && saved;
        };
        const QString before = path("before.cfg"), after = path("after.cfg");
        QVERIFY(saveCamera(before));
        int darkExit = -1, verifyExit = -1;
        {
            CliRunner runner;
            darkExit = runner.run(parseCommandLine({"-d", "SIM-LS4096-M", "--yes", "dark"}), QString());
        }
        {
            CliRunner runner;
            verifyExit = runner.run(parseCommandLine({"-d", "SIM-LS4096-M", "--yes", "verify"}), QString());
        }
        uint64_t frames = 99, fired = 99;
        const lsxStatus counted = api.getCounters("SIM-LS4096-M", &frames, &fired);
        QVERIFY(saveCamera(after));
        lsx::unbindLibrary();
        qputenv("TELORINE_DOCUMENT_PATH", doc);
        qputenv("LSX_SIM_CONFIG", sim);
        qputenv("LSX_SIM_STATE", state);

        QCOMPARE(darkExit, 1);
        QCOMPARE(verifyExit, 1);
        QCOMPARE(counted, LSX_OK);
        QCOMPARE(frames, uint64_t(0));
        QCOMPARE(fired, uint64_t(0));
        QFile a(before), b(after);
        QVERIFY(a.open(QIODevice::ReadOnly) && b.open(QIODevice::ReadOnly));
        QCOMPARE(b.readAll(), a.readAll());
    }
};

QTEST_GUILESS_MAIN(TestCliSettings)
#include "test_cli_settings.moc"

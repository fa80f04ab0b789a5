// The runner in English (--lang en) on the simulated camera: its --help, its usage errors, and
// the output and JSON result of a full station line hold no Chinese, the procedures' reports and the
// names of the planes included.
#include "common/cjk.h"
#include "common/runnerprocess.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

using Run = RunnerResult;

// The lines of a runner's output that hold a Chinese character.
QStringList cjkLines(const QString& output)
{
    QStringList bad;
    for (const QString& line : output.split(QLatin1Char('\n')))
        if (containsCjk(line)) bad << line;
    return bad;
}

}  // namespace

class TestEnglishRunner : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

    QString path(const QString& name) const { return m_dir.filePath(name); }

    Run run(const QStringList& args, const QString& lang = QStringLiteral("en_US.UTF-8"))
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("LANG"), lang);
        env.remove(QStringLiteral("DISPLAY"));
        env.remove(QStringLiteral("QT_QPA_PLATFORM"));
        env.insert(QStringLiteral("TELORINE_DOCUMENT_PATH"), m_dir.path());
        env.insert(QStringLiteral("LSX_SIM_STATE"), path(QStringLiteral("state")));
        env.insert(QStringLiteral("LSX_SIM_CONFIG"), path(QStringLiteral("sim.json")));
        QProcess p;
        p.setProcessEnvironment(env);
        p.setWorkingDirectory(m_dir.path());
        p.start(QCoreApplication::applicationDirPath() + QStringLiteral("/lsxcalib-cli"), args);
        p.closeWriteChannel();
        return finishRunner(p);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QFile f(path(QStringLiteral("sim.json")));
        QVERIFY(f.open(QIODevice::WriteOnly));
        QVERIFY(f.write(R"({"timeScale": 0, "cameras": [{"friendlyName": "SIM-LS4096-M", "width": 256}]})") > 0);
    }

    void helpIsInEnglish()
    {
        const Run en = run({QStringLiteral("--help")});
        QCOMPARE(en.exit, 0);
        const QString help = en.out + en.err;
        QVERIFY2(!containsCjk(help), qPrintable(help));
        QVERIFY(help.contains(QLatin1String("Usage: lsxcalib-cli [-d CAMERA]")));
        QVERIFY(help.contains(QLatin1String("  --frame-timeout S  end the step when the camera sends no image")));
        QVERIFY(help.contains(QLatin1String("  verify [--report V]\n      calibration verification")));
        QVERIFY(help.contains(QLatin1String("3 the calibration verification did not meet its limits")));

        const Run zh = run({QStringLiteral("--help")}, QStringLiteral("zh_CN.UTF-8"));
        QCOMPARE(zh.exit, 0);
        QVERIFY(
            (zh.out + zh.err).contains(QStringLiteral("  --frame-timeout S  相机持续 S 秒没有送出图像时结束该步骤")));
    }

    void usageAndRecipeErrorsAreInEnglish()
    {
        const Run step = run({QStringLiteral("--lang"), QStringLiteral("en"), QStringLiteral("nosuchstep")});
        QCOMPARE(step.exit, 2);
        QVERIFY2(step.err.contains(QLatin1String("Unknown step \"nosuchstep\".")), qPrintable(step.err));
        QVERIFY2(!containsCjk(step.err + step.out), qPrintable(step.err));

        const Run timeout = run({QStringLiteral("--lang"), QStringLiteral("en"), QStringLiteral("--frame-timeout"),
                                 QStringLiteral("soon"), QStringLiteral("list")});
        QCOMPARE(timeout.exit, 2);
        QVERIFY2(timeout.err.contains(QLatin1String("--frame-timeout should be a number of seconds from 0 to 86400, "
                                                    "not \"soon\".")),
                 qPrintable(timeout.err));
        QVERIFY2(!containsCjk(timeout.err + timeout.out), qPrintable(timeout.err));
    }

    void aStationLineIsInEnglish()
    {
        const QString json = path(QStringLiteral("station.json"));
        const Run r =
            run({QStringLiteral("--lang"), QStringLiteral("en"), QStringLiteral("-d"), QStringLiteral("SIM-LS4096-M"),
                 QStringLiteral("--yes"), QStringLiteral("--json"), json, QStringLiteral("--sim-scene"),
                 QStringLiteral("dark"), QStringLiteral("dark"), QStringLiteral("--sim-scene"), QStringLiteral("flat"),
                 QStringLiteral("bright"), QStringLiteral("save-fpn"), QStringLiteral("F"), QStringLiteral("verify")});
        // The verification may or may not meet its limits on this small sensor; it runs either way.
        QVERIFY2(r.exit == 0 || r.exit == 3, qPrintable(r.err));
        QVERIFY2(cjkLines(r.err + r.out).isEmpty(), qPrintable(cjkLines(r.err + r.out).join(QLatin1Char('\n'))));
        QVERIFY2(r.err.contains(QLatin1String("Simulated scene: flat")), qPrintable(r.err));
        QVERIFY2(r.err.contains(QLatin1String("FPN parameters saved to ")), qPrintable(r.err));
        QVERIFY2(r.err.contains(QLatin1String("Camera closed: kept ")), qPrintable(r.err));
        QVERIFY2((r.err + r.out).contains(QLatin1String("mono: DSNU ")), qPrintable(r.err + r.out));

        QFile f(json);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QJsonObject root = QJsonDocument::fromJson(f.readAll()).object();
        QCOMPARE(root.value(QLatin1String("language")).toString(), QStringLiteral("en"));
        QCOMPARE(root.value(QLatin1String("outcome")).toString(),
                 r.exit == 0 ? QStringLiteral("ok") : QStringLiteral("limits"));
        const QJsonArray steps = root.value(QLatin1String("steps")).toArray();
        QCOMPARE(steps.size(), 4);
        // The verification's plane by its key, as in every language.
        const QJsonObject verify = steps[3].toObject().value(QLatin1String("figures")).toObject();
        QCOMPARE(verify.value(QLatin1String("planes")).toArray()[0].toObject().value(QLatin1String("plane")).toString(),
                 QStringLiteral("mono"));
        for (const QJsonValue& s : steps) {
            const QJsonObject step = s.toObject();
            for (auto it = step.constBegin(); it != step.constEnd(); ++it) QVERIFY(!containsCjk(it.key()));
            QVERIFY(!containsCjk(step.value(QLatin1String("outcome")).toString()));
            // The runner's messages and the procedures' in English.
            for (const QJsonValue& m : step.value(QLatin1String("messages")).toArray())
                QVERIFY2(cjkLines(m.toObject().value(QLatin1String("text")).toString()).isEmpty(),
                         qPrintable(m.toObject().value(QLatin1String("text")).toString()));
        }

        // The same line in Chinese keeps its Chinese texts.
        const Run zh = run({QStringLiteral("-d"), QStringLiteral("SIM-LS4096-M"), QStringLiteral("--yes"),
                            QStringLiteral("--sim-scene"), QStringLiteral("dark"), QStringLiteral("dark"),
                            QStringLiteral("save-fpn"), QStringLiteral("G")},
                           QStringLiteral("zh_CN.UTF-8"));
        QCOMPARE(zh.exit, 0);
        QVERIFY2(zh.err.contains(QStringLiteral("FPN参数已保存到 ")), qPrintable(zh.err));
        QVERIFY2(zh.err.contains(QStringLiteral("相机已关闭：保持 ")), qPrintable(zh.err));
    }
};

QTEST_GUILESS_MAIN(TestEnglishRunner)
#include "test_english_runner.moc"

// The runner's records, with lsxcalib-cli run as stations run it on simulated cameras: the JSON
// result (serial and firmware, times and durations, every option as given, figures as fields,
// files with their SHA-256, steps not reached marked skipped) and the record that equals it;
// four runners at once into one PostgreSQL database and into one SQLite file, every record there
// once with its figures; the server stopped in the middle of a batch and started again, all
// records arriving once and the exit codes as without a database; the history step and its CSV
// read by Python's csv module.
#include "cli/cliplan.h"
#include "common/runnerprocess.h"
#include "records/pgcluster.h"
#include "records/recordstore.h"
#include "records/runrecord.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <vector>

namespace {

using Run = RunnerResult;

const char* kCamera = "SIM-LS4096-M";

}  // namespace

class TestRecordsCli : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_exe;
    PgCluster m_pg;

    // A station: its own document folder (FPN.ini with its id and settings) and its own simulated
    // camera of serial `serial`.
    QString station(const QString& name, const QString& serial)
    {
        const QString dir = m_dir.filePath(name);
        QDir().mkpath(dir + QStringLiteral("/FPN"));
        QSettings ini(dir + QStringLiteral("/FPN/FPN.ini"), QSettings::IniFormat);
        ini.setValue(QStringLiteral("Station/Id"), name);
        // K takes in the lens fall-off, so that the verification after the write-down passes.
        ini.setValue(QStringLiteral("Params/FlatEnable"), true);
        QFile f(dir + QStringLiteral("/sim.json"));
        if (f.open(QIODevice::WriteOnly))
            f.write(QStringLiteral(R"({"timeScale": 0, "hotAmp": 5, "cameras": [
                {"friendlyName": "%1", "width": 256, "serial": "%2", "version": "2.3.4"}]})")
                        .arg(QLatin1String(kCamera), serial)
                        .toUtf8());
        return dir;
    }

    QProcessEnvironment environment(const QString& stationDir) const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char* v : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "LSX_LIBRARY"})
            env.remove(QString::fromLatin1(v));
        env.insert(QStringLiteral("TELORINE_DOCUMENT_PATH"), stationDir);
        env.insert(QStringLiteral("LSX_SIM_CONFIG"), stationDir + QStringLiteral("/sim.json"));
        return env;
    }

    std::unique_ptr<QProcess> start(const QString& stationDir, const QStringList& args)
    {
        auto p = std::make_unique<QProcess>();
        p->setProcessEnvironment(environment(stationDir));
        p->setWorkingDirectory(stationDir);
        p->start(m_exe, args);
        p->closeWriteChannel();
        return p;
    }

    static Run finish(QProcess& p) { return finishRunner(p); }

    Run run(const QString& stationDir, const QStringList& args) { return finish(*start(stationDir, args)); }

    static QJsonObject json(const QString& file)
    {
        QFile f(file);
        if (!f.open(QIODevice::ReadOnly)) return {};
        return QJsonDocument::fromJson(f.readAll()).object();
    }

    // The station's calibration: dark, bright, write-down, verification.
    static QStringList calibration(const QString& db, const QString& result)
    {
        return {"-d",          kCamera, "--yes",  "--db",      db,         "--sim-scene", "dark",   "dark",
                "--sim-scene", "flat",  "bright", "write-fpn", "UserSet0", "verify",      "--json", result};
    }

    // Every record of these results in the database once, with the figures of its result.
    void checkRecords(const RecordLocation& where, const QList<QJsonObject>& results)
    {
        RecordStore store(where);
        QVERIFY2(store.open(), qPrintable(store.error()));
        for (const QJsonObject& result : results) {
            const QString id = result.value("runId").toString();
            QVERIFY(!id.isEmpty());
            QCOMPARE(store.count(id), 1);
            RunRecord back;
            QVERIFY(store.run(id, back));
            QCOMPARE(back.serial, result.value("camera").toObject().value("serial").toString());
            QCOMPARE(back.station, result.value("station").toString());
            QCOMPARE(back.exitCode, result.value("exitCode").toInt());
            int expected = 0;
            const QJsonArray steps = result.value("steps").toArray();
            for (int i = 0; i < steps.size(); ++i)
                expected += int(flattenFigures(i, steps[i].toObject().value("figures").toObject()).size());
            QCOMPARE(back.figures.size(), expected);
            QVERIFY(expected > 10);
        }
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_exe = QCoreApplication::applicationDirPath() + QStringLiteral("/lsxcalib-cli");
        QVERIFY(QFile::exists(m_exe));
        QString error;
        QVERIFY2(m_pg.start(&error), qPrintable(error));
    }

    // --operator and --db are options of the run; the history step's --json (right after the step,
    // as a step's options stand) is its own export, not the run's result.
    void commandLineOptions()
    {
        const CliPlan p = parseCommandLine({"--operator", "王五", "history", "--serial", "SN-1", "--json", "h.json",
                                            "--csv", "h.csv", "--db", "sqlite:x.db"});
        QVERIFY2(p.error.isEmpty(), qPrintable(p.error));
        QCOMPARE(p.operatorName, QStringLiteral("王五"));
        QCOMPARE(p.db, QStringLiteral("sqlite:x.db"));
        QVERIFY(p.json.isEmpty());
        QCOMPARE(int(p.steps.size()), 1);
        QCOMPARE(p.steps[0].options.value("serial"), QStringLiteral("SN-1"));
        QCOMPARE(p.steps[0].options.value("json"), QStringLiteral("h.json"));
        QCOMPARE(p.steps[0].options.value("csv"), QStringLiteral("h.csv"));
        QCOMPARE(parseCommandLine({"history", "--db"}).error, QStringLiteral("选项 --db 缺少参数。"));
        // A --db that cannot be understood is refused before anything runs.
        const QString st = station(QStringLiteral("line-U"), QStringLiteral("SN-U"));
        const Run r = run(st, {"--db", "mysql://db/records", "--yes", "dark"});
        QCOMPARE(r.exit, 2);
        QVERIFY2(r.err.contains(QStringLiteral("未知的记录数据库地址 \"mysql://db/records\"")), qPrintable(r.err));
        QVERIFY(!r.err.contains(QStringLiteral("暗场校正")));
    }

    // The result of a station's calibration, and its record equal to it.
    void resultAndItsRecord()
    {
        const QString st = station(QStringLiteral("line-A"), QStringLiteral("SN-A"));
        const QString db = QStringLiteral("sqlite:") + m_dir.filePath(QStringLiteral("a.sqlite"));
        const QStringList args{"-d",     kCamera,       "--yes",     "--operator", "李四",           "--db",
                               db,       "--sim-scene", "dark",      "dark",       "--auto-doffset", "--sim-scene",
                               "flat",   "bright",      "write-fpn", "UserSet0",   "save-fpn",       "x.FAC.FPN",
                               "verify", "--json",      "r.json"};
        const Run r = run(st, args);
        QVERIFY2(r.exit == 0, qPrintable(r.err));
        QVERIFY2(r.err.contains(QStringLiteral("记录已保存到 ") + m_dir.filePath(QStringLiteral("a.sqlite"))),
                 qPrintable(r.err));

        // Plain UTF-8: the operator's name as it was typed, not escaped.
        QFile file(st + QStringLiteral("/r.json"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        QVERIFY(bytes.contains(QStringLiteral("\"operator\": \"李四\"").toUtf8()));
        const QJsonObject j = QJsonDocument::fromJson(bytes).object();
        QCOMPARE(j.value("station").toString(), QStringLiteral("line-A"));
        QCOMPARE(j.value("source").toString(), QStringLiteral("lsxcalib-cli"));
        QCOMPARE(j.value("camera").toObject().value("serial").toString(), QStringLiteral("SN-A"));
        QCOMPARE(j.value("camera").toObject().value("firmware").toString(), QStringLiteral("2.3.4"));
        QCOMPARE(j.value("commandLine").toArray(), QJsonArray::fromStringList(args));
        QCOMPARE(j.value("options").toObject().value("operator").toString(), QStringLiteral("李四"));
        QCOMPARE(j.value("options").toObject().value("db").toString(), db);
        QCOMPARE(j.value("outcome").toString(), QStringLiteral("ok"));

        // Times: the steps in order within the run, each duration its own span.
        const QDateTime started = parseRecordTime(j.value("startedAt").toString());
        const QDateTime ended = parseRecordTime(j.value("endedAt").toString());
        QVERIFY(started.isValid() && ended.isValid());
        QCOMPARE(qint64(j.value("durationMs").toDouble()), started.msecsTo(ended));
        const QJsonArray steps = j.value("steps").toArray();
        QCOMPARE(steps.size(), 5);
        QDateTime last = started;
        for (const QJsonValue& v : steps) {
            const QJsonObject s = v.toObject();
            const QDateTime a = parseRecordTime(s.value("startedAt").toString());
            const QDateTime b = parseRecordTime(s.value("endedAt").toString());
            QVERIFY(a >= last && b >= a && b <= ended);
            QCOMPARE(qint64(s.value("durationMs").toDouble()), a.msecsTo(b));
            last = b;
        }

        // Options as given, and figures as fields.
        const QJsonObject dark = steps[0].toObject();
        QCOMPARE(dark.value("options").toObject(), (QJsonObject{{"auto-doffset", true}}));
        QCOMPARE(dark.value("scene").toString(), QStringLiteral("dark"));
        const QJsonObject darkFigures = dark.value("figures").toObject();
        QVERIFY(darkFigures.value("doffset").isDouble());
        QCOMPARE(darkFigures.value("gainMin").toDouble(), 1.0);
        QCOMPARE(darkFigures.value("autoDoffset").toBool(), true);
        QCOMPARE(darkFigures.value("b").toArray()[0].toObject().value("columns").toInt(), 256);
        const QJsonObject bright = steps[1].toObject().value("figures").toObject();
        const QJsonArray exposures = bright.value("exposures").toArray();
        QVERIFY(!exposures.isEmpty());
        for (const QJsonValue& e : exposures) QVERIFY(e.isDouble() && e.toDouble() >= 2.0);
        QCOMPARE(bright.value("pixelMax").toInt(), 180);
        QVERIFY(bright.value("k").toArray()[0].toObject().value("max").toDouble()
                > bright.value("k").toArray()[0].toObject().value("min").toDouble());
        const QJsonObject verify = steps[4].toObject().value("figures").toObject();
        QCOMPARE(verify.value("verdict").toString(), QStringLiteral("pass"));
        const QJsonObject plane = verify.value("planes").toArray()[0].toObject();
        QCOMPARE(plane.value("plane").toString(), QStringLiteral("mono"));  // the key, in any language
        QVERIFY(plane.value("prnuAfter").toDouble() > 0.0 && plane.value("prnuAfter").toDouble() < 0.5);
        QVERIFY(plane.value("prnuBefore").toDouble() > 1.0);

        // The file with its SHA-256, as the file on disk.
        const QJsonObject digest = steps[3].toObject().value("fileDigests").toArray()[0].toObject();
        QFile fpn(st + QStringLiteral("/x.FAC.FPN"));
        QVERIFY(fpn.open(QIODevice::ReadOnly));
        QCOMPARE(digest.value("sha256").toString(),
                 QString::fromLatin1(QCryptographicHash::hash(fpn.readAll(), QCryptographicHash::Sha256).toHex()));
        QCOMPARE(qint64(digest.value("bytes").toDouble()), fpn.size());

        // The record: the run's figures as the result has them, field for field.
        RecordStore store(parseRecordLocation(db, st, nullptr));
        QVERIFY(store.open());
        RunRecord rec;
        QVERIFY(store.run(j.value("runId").toString(), rec));
        QCOMPARE(rec.operatorName, QStringLiteral("李四"));
        QCOMPARE(rec.firmware, QStringLiteral("2.3.4"));
        QCOMPARE(rec.started, started);
        QCOMPARE(rec.durationMs, started.msecsTo(ended));
        QCOMPARE(rec.steps.size(), 5);
        int figures = 0;
        for (int i = 0; i < steps.size(); ++i) {
            const QList<RecordFigure> want = flattenFigures(i, steps[i].toObject().value("figures").toObject());
            figures += int(want.size());
            for (const RecordFigure& w : want) {
                bool found = false;
                for (const RecordFigure& g : rec.figures) {
                    if (g.step != i || g.name != w.name || g.plane != w.plane) continue;
                    found = true;
                    QCOMPARE(g.hasValue(), w.hasValue());
                    if (w.hasValue()) QCOMPARE(g.value, w.value);
                    QCOMPARE(g.text, w.text);
                }
                QVERIFY2(found, qPrintable(w.name));
            }
        }
        QCOMPARE(rec.figures.size(), figures);
        auto figure = [&rec](int step, const QString& name, const QString& plane = QString()) {
            for (const RecordFigure& f : rec.figures)
                if (f.step == step && f.name == name && f.plane == plane) return f.value;
            return kNoFigure;
        };
        QCOMPARE(figure(0, "doffset"), darkFigures.value("doffset").toDouble());
        QCOMPARE(figure(1, "exposures[0]"), exposures[0].toDouble());
        QCOMPARE(figure(4, "planes.prnuAfter", plane.value("plane").toString()), plane.value("prnuAfter").toDouble());
        QCOMPARE(rec.prnuAfter, plane.value("prnuAfter").toDouble());
        QCOMPARE(rec.dsnuAfter, plane.value("dsnuAfter").toDouble());
        QCOMPARE(rec.verdict, QStringLiteral("pass"));
        QCOMPARE(rec.files.size(), 1);
        QCOMPARE(rec.files[0].sha256, digest.value("sha256").toString());
    }

    // A failed step: the steps after it stand as skipped, with their options; the record says so.
    void stepsNotReachedAreSkipped()
    {
        const QString st = station(QStringLiteral("line-S"), QStringLiteral("SN-S"));
        const QString db = QStringLiteral("sqlite:") + m_dir.filePath(QStringLiteral("s.sqlite"));
        const Run r = run(st, {"-d", kCamera, "--yes", "--db", db, "--sim-scene", "flat", "dark", "bright", "ffc",
                               "--goal", "rate:0.5", "--json", "s.json"});
        QCOMPARE(r.exit, 1);
        const QJsonObject j = json(st + QStringLiteral("/s.json"));
        const QJsonArray steps = j.value("steps").toArray();
        QCOMPARE(steps.size(), 3);
        QCOMPARE(steps[0].toObject().value("outcome").toString(), QStringLiteral("failed"));
        QCOMPARE(steps[1].toObject().value("outcome").toString(), QStringLiteral("skipped"));
        QCOMPARE(steps[2].toObject().value("outcome").toString(), QStringLiteral("skipped"));
        QCOMPARE(steps[2].toObject().value("options").toObject().value("goal").toString(), QStringLiteral("rate:0.5"));
        QVERIFY(!steps[1].toObject().contains("startedAt"));
        QCOMPARE(j.value("outcome").toString(), QStringLiteral("failed"));
        RecordStore store(parseRecordLocation(db, st, nullptr));
        QVERIFY(store.open());
        RunRecord rec;
        QVERIFY(store.run(j.value("runId").toString(), rec));
        QCOMPARE(rec.outcome, QStringLiteral("failed"));
        QCOMPARE(rec.exitCode, 1);
        QCOMPARE(rec.steps[2].outcome, QStringLiteral("skipped"));
        QVERIFY(!rec.steps[2].started.isValid());
    }

    // A database that refuses the station (an unknown user): the run completes, its record waits,
    // and the password given on the command line is in none of the files or messages.
    void refusedAndPasswordLeftOut()
    {
        const QString st = station(QStringLiteral("line-P"), QStringLiteral("SN-P"));
        const QString db = QStringLiteral("postgresql://nobody:s3cret@/records?host=") + m_pg.socketDir();
        const Run r = run(st, {"-d", kCamera, "--yes", "--db", db, "--sim-scene", "dark", "dark", "--json", "p.json"});
        QCOMPARE(r.exit, 0);
        QVERIFY2(r.err.contains(QStringLiteral("本次记录已暂存在")), qPrintable(r.err));
        QVERIFY(!r.err.contains(QStringLiteral("s3cret")));
        QFile result(st + QStringLiteral("/p.json"));
        QVERIFY(result.open(QIODevice::ReadOnly));
        const QByteArray bytes = result.readAll();
        QVERIFY(!bytes.contains("s3cret"));
        QVERIFY(bytes.contains("postgresql://nobody@/records?host="));
        const QDir spool(st + QStringLiteral("/FPN/records-spool"));
        const QStringList waiting = spool.entryList(QDir::Files);
        QCOMPARE(waiting.size(), 1);
        QFile spooled(spool.filePath(waiting.first()));
        QVERIFY(spooled.open(QIODevice::ReadOnly));
        QVERIFY(!spooled.readAll().contains("s3cret"));
    }

    void fourRunnersAtOnce_data()
    {
        QTest::addColumn<bool>("postgres");
        QTest::newRow("PostgreSQL") << true;
        QTest::newRow("SQLite") << false;
    }

    // Four stations calibrating at the same time into one database.
    void fourRunnersAtOnce()
    {
        QFETCH(bool, postgres);
        const QString tag = postgres ? QStringLiteral("pg") : QStringLiteral("lite");
        const QString db =
            postgres ? m_pg.url() : QStringLiteral("sqlite:") + m_dir.filePath(QStringLiteral("four.sqlite"));
        std::vector<std::unique_ptr<QProcess>> runners;
        QStringList dirs;
        for (int i = 0; i < 4; ++i) {
            dirs << station(QStringLiteral("%1-%2").arg(tag).arg(i), QStringLiteral("SN-%1-%2").arg(tag).arg(i));
            runners.push_back(start(dirs.last(), calibration(db, QStringLiteral("four.json"))));
        }
        QList<QJsonObject> results;
        for (int i = 0; i < 4; ++i) {
            const Run r = finish(*runners[size_t(i)]);
            QVERIFY2(r.exit == 0, qPrintable(r.err));
            QVERIFY2(r.err.contains(QStringLiteral("记录已保存到")), qPrintable(r.err));
            results << json(dirs[i] + QStringLiteral("/four.json"));
        }
        checkRecords(parseRecordLocation(db, m_dir.path(), nullptr), results);
        RecordStore store(parseRecordLocation(db, m_dir.path(), nullptr));
        QVERIFY(store.open());
        for (int i = 0; i < 4; ++i) {
            QList<RunRecord> runs;
            QVERIFY(store.runs(QStringLiteral("SN-%1-%2").arg(tag).arg(i), runs));
            QCOMPARE(runs.size(), 1);
            QVERIFY(runs[0].prnuAfter < 0.5);
        }
    }

    // The server stopped in the middle of a batch and started again.
    void serverStoppedMidBatch()
    {
        const QString st = station(QStringLiteral("line-B"), QStringLiteral("SN-B"));
        const QString db = m_pg.url();
        // Dark fields; the fourth with the lens open fails.
        const QList<int> expected{0, 0, 0, 1, 0, 0};
        QList<QJsonObject> results;
        for (int i = 0; i < expected.size(); ++i) {
            if (i == 2) QVERIFY(m_pg.stop());
            if (i == 4) {
                QString error;
                QVERIFY2(m_pg.restart(&error), qPrintable(error));
            }
            const QString result = QStringLiteral("b%1.json").arg(i);
            const Run r = run(st, {"-d", kCamera, "--yes", "--db", db, "--sim-scene", i == 3 ? "flat" : "dark", "dark",
                                   "--json", result});
            QCOMPARE(r.exit, expected[i]);
            if (i == 2 || i == 3) {
                QVERIFY2(
                    r.err.contains(QStringLiteral("本次记录已暂存在 ") + st + QStringLiteral("/FPN/records-spool")),
                    qPrintable(r.err));
                QCOMPARE(QDir(st + QStringLiteral("/FPN/records-spool")).entryList(QDir::Files).size(), i - 1);
            }
            if (i == 4) QVERIFY2(r.err.contains(QStringLiteral("另有 2 条暂存的记录已发送。")), qPrintable(r.err));
            results << json(st + QLatin1Char('/') + result);
            QCOMPARE(results.last().value("exitCode").toInt(), expected[i]);
        }
        QVERIFY(QDir(st + QStringLiteral("/FPN/records-spool")).entryList(QDir::Files).isEmpty());
        RecordStore store(parseRecordLocation(db, st, nullptr));
        QVERIFY(store.open());
        QList<RunRecord> runs;
        QVERIFY(store.runs(QStringLiteral("SN-B"), runs));
        QCOMPARE(runs.size(), expected.size());
        for (const QJsonObject& result : results) QCOMPARE(store.count(result.value("runId").toString()), 1);

        // The history of the camera, exported; Python's csv module reads one row per run.
        const Run h = run(st, {"--db", db, "history", "--serial", "SN-B", "--csv", "h.csv", "--json", "h.json"});
        QVERIFY2(h.exit == 0, qPrintable(h.err));
        QCOMPARE(h.out.count(QLatin1Char('\n')), expected.size());
        QCOMPARE(json(st + QStringLiteral("/h.json")).value("runs").toArray().size(), expected.size());
        QProcess python;
        python.start(QStringLiteral("python3"),
                     {"-c",
                      "import csv, sys\n"
                      "rows = list(csv.DictReader(open(sys.argv[1], newline='', encoding='utf-8')))\n"
                      "print(len(rows))\n"
                      "for r in rows: print(r['run_id'], r['serial'], r['station'], r['exit_code'], r['doffset'])\n",
                      st + QStringLiteral("/h.csv")});
        QVERIFY(python.waitForFinished(30000));
        QCOMPARE(python.exitCode(), 0);
        const QStringList lines = QString::fromUtf8(python.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.first(), QString::number(expected.size()));
        for (int i = 0; i < expected.size(); ++i) {
            const QString want =
                QStringLiteral("%1 SN-B line-B %2").arg(results[i].value("runId").toString()).arg(expected[i]);
            QVERIFY2(lines[i + 1].startsWith(want), qPrintable(lines[i + 1] + " / " + want));
        }
        // A good run's DOffset as its result has it.
        const QJsonValue doffset =
            results[0].value("steps").toArray()[0].toObject().value("figures").toObject().value("doffset");
        QVERIFY(lines[1].endsWith(QLatin1Char(' ') + QString::number(doffset.toInt())));
    }
};

QTEST_GUILESS_MAIN(TestRecordsCli)
#include "test_records_cli.moc"

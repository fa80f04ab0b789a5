// The runner's parameter files, run as a station runs it on the simulated camera: FPN files saved
// and loaded back with equal data (a calibration, and files with and without multi-level K),
// damaged files refused with the check that failed and nothing written to the camera, FFC and
// LSC files named by one rule and read back as the runner reported them, a save that cannot be
// written (a missing folder, a file size limit) told with the earlier file left whole, and the
// document folder made at start.
#include "common/runnerprocess.h"
#include "flatfield/ffcfile.h"
#include "flatfield/lscfit.h"
#include "fpnparams/fpnfile.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/resource.h>
#include <csignal>

namespace {

using Run = RunnerResult;

constexpr int kWidth = 256;

// The camera of the runs as a load sees it: 256 columns, one line, gains 1 to 8.
FpnCamera camera(const char* name, bool mlk)
{
    FpnCamera c;
    c.name = QLatin1String(name);
    c.multiLevelK = mlk;
    c.gains = 8;
    c.sensorWidth = kWidth;
    c.minWidth = 1;
    return c;
}

QList<QList<double>> rows(int count, int columns, double base, double step)
{
    QList<QList<double>> out;
    for (int r = 0; r < count; ++r) {
        QList<double> row;
        for (int c = 0; c < columns; ++c) row.append(base + r * 0.25 + c * step);
        out.append(row);
    }
    return out;
}

FpnFileHead head(const char* name, bool mlk)
{
    FpnFileHead h;
    h.camera = QLatin1String(name);
    h.supportMLK = mlk;
    h.sourceFormat = 2;
    h.targetFormat = 34;
    h.w = kWidth;
    h.cols = kWidth;
    return h;
}

QByteArray bytesOf(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

}  // namespace

class TestCliFiles : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_exe;

    QString path(const QString& name) const { return m_dir.path() + QLatin1Char('/') + name; }

    QProcessEnvironment environment(const QString& documents, const QString& simConfig = QString()) const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove(QStringLiteral("DISPLAY"));
        env.remove(QStringLiteral("QT_QPA_PLATFORM"));
        env.remove(QStringLiteral("LSX_LIBRARY"));
        env.insert(QStringLiteral("TELORINE_DOCUMENT_PATH"), documents);
        const QString config = path(QStringLiteral("sim.json"));
        QFile f(config);
        if (!f.exists() && f.open(QIODevice::WriteOnly))
            f.write(R"({"timeScale": 0, "hotAmp": 5, "cameras": [
                {"friendlyName": "SIM-LS4096-M", "width": 256}, {"friendlyName": "SIM-LS8192-MLK", "width": 256}]})");
        env.insert(QStringLiteral("LSX_SIM_CONFIG"), simConfig.isEmpty() ? config : simConfig);
        return env;
    }

    // The runner with its arguments; `fileSizeLimit` above 0 limits the size of every file it
    // writes, as a disk with that much room left.
    Run run(const QStringList& args, const QString& documents = QString(), qint64 fileSizeLimit = 0,
            const QString& simConfig = QString())
    {
        QProcess p;
        p.setProcessEnvironment(environment(documents.isEmpty() ? m_dir.path() : documents, simConfig));
        p.setWorkingDirectory(m_dir.path());
        if (fileSizeLimit > 0)
            p.setChildProcessModifier([fileSizeLimit] {
                std::signal(SIGXFSZ, SIG_IGN);
                const rlimit rl{rlim_t(fileSizeLimit), rlim_t(fileSizeLimit)};
                setrlimit(RLIMIT_FSIZE, &rl);
            });
        p.start(m_exe, args);
        p.closeWriteChannel();
        return finishRunner(p);
    }

    QJsonArray steps(const QString& json)
    {
        QFile f(path(json));
        if (!f.open(QIODevice::ReadOnly)) return {};
        return QJsonDocument::fromJson(f.readAll()).object().value(QStringLiteral("steps")).toArray();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_exe = QCoreApplication::applicationDirPath() + QStringLiteral("/lsxcalib-cli");
        QVERIFY(QFile::exists(m_exe));
    }

    // A calibration saved, loaded and saved again: the second file is the first, byte for byte,
    // and it reads back as the rows of the camera. The ending is added to a name without it.
    void calibrationRoundTrip()
    {
        const Run r = run({"-d", "SIM-LS4096-M", "--yes", "--sim-scene", "dark", "dark", "--sim-scene", "flat", "bright",
                           "save-fpn", "a", "load-fpn", "a.FAC.FPN", "save-fpn", "b.FAC.FPN", "--json", "rt.json"});
        QVERIFY2(r.exit == 0, qPrintable(r.err));
        QVERIFY(r.err.contains(QStringLiteral("FPN参数已保存到 %1").arg(path("a.FAC.FPN"))));
        QVERIFY(!QFile::exists(path("a")));
        const QByteArray first = bytesOf(path("a.FAC.FPN"));
        QVERIFY(first.startsWith("[Head]"));
        QCOMPARE(bytesOf(path("b.FAC.FPN")), first);
        const FpnFileContent c = readFpnFile(path("a.FAC.FPN"), camera("SIM-LS4096-M", false));
        QVERIFY2(c.ok, qPrintable(c.why));
        QCOMPARE(c.b.size(), 1);
        QCOMPARE(c.k.size(), 1);
        QCOMPARE(c.b[0].size(), kWidth);
        QCOMPARE(steps(QStringLiteral("rt.json"))[2].toObject().value(QStringLiteral("files")).toArray().first().toString(),
                 path("a.FAC.FPN"));
    }

    // After a bright field with a dead column (response 0), a file is written only if it loads
    // back whole: saved, loaded and saved again it is the same file; or the save is refused with
    // the row and column of the K that cannot stand in a file, and nothing is written. (Which of
    // the two depends on whether the bright field limits such a K; neither writes a file that the
    // tool would refuse.)
    void deadColumnNeverGivesAFileThatDoesNotLoad()
    {
        QFile config(path(QStringLiteral("dead.json")));
        QVERIFY(config.open(QIODevice::WriteOnly));
        config.write(R"({"timeScale": 0, "cameras": [{"friendlyName": "SIM-LS4096-M", "width": 256,
            "weakColumns": 2, "weakFactor": 0}]})");
        config.close();
        const Run r = run({"-d", "SIM-LS4096-M", "--yes", "--sim-scene", "dark", "dark", "--sim-scene", "flat",
                           "bright", "save-fpn", "dead", "load-fpn", "dead.FAC.FPN", "save-fpn", "dead2"},
                          QString(), 0, config.fileName());
        if (r.exit == 0) {
            QCOMPARE(bytesOf(path("dead2.FAC.FPN")), bytesOf(path("dead.FAC.FPN")));
        } else {
            QCOMPARE(r.exit, 1);
            static const QRegularExpression refusal(
                QStringLiteral("保存FPN参数出错，请重试。K 第 0 行第 \\d+ 列的值 \\S+ (不是有限数|超出 K 的范围)"));
            QVERIFY2(refusal.match(r.err).hasMatch(), qPrintable(r.err));
            QVERIFY(!QFile::exists(path("dead.FAC.FPN")));
        }
    }

    // Files with and without multi-level K, loaded and saved again by the runner: equal B and K.
    void filesOfBothKindsRoundTrip_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("mlk");
        QTest::newRow("one level") << QStringLiteral("SIM-LS4096-M") << false;
        QTest::newRow("multi-level") << QStringLiteral("SIM-LS8192-MLK") << true;
    }

    void filesOfBothKindsRoundTrip()
    {
        QFETCH(QString, name);
        QFETCH(bool, mlk);
        const QByteArray n = name.toLatin1();
        const QList<QList<double>> b = rows(2, kWidth, 900.25, 0.125);
        // Multi-level: nine bands of both rows, within the K a band may have (0.51 to MAXK - 0.2 =
        // 3.8 on this camera), 0.75 to 3.0.
        const QList<QList<double>> k =
            mlk ? rows(9, 2 * kWidth, 0.75, 1.0 / 2048.0) : rows(2, kWidth, 1.0, 1.0 / 1024.0);
        const QString in = path(QStringLiteral("in-%1.FAC.FPN").arg(name));
        QVERIFY(writeFpnFile(in, head(n.constData(), mlk), b, k));
        const Run r = run({"-d", name, "load-fpn", in, "save-fpn", QStringLiteral("out-%1").arg(name)});
        QVERIFY2(r.exit == 0, qPrintable(r.err));
        QVERIFY(r.err.contains(QStringLiteral("已加载FPN参数 %1").arg(in)));
        const FpnFileContent out = readFpnFile(path(QStringLiteral("out-%1.FAC.FPN").arg(name)), camera(n.constData(), mlk));
        QVERIFY2(out.ok, qPrintable(out.why));
        QCOMPARE(out.b, b);
        QCOMPARE(out.k, k);
    }

    // Damaged files: refused with the check that failed, and the write after them never runs.
    void damagedFilesAreRefused_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("why");
        QByteArray h = "[Head]\nVersion=1\nCamera=SIM-LS4096-M\nSupportMLK=false\nSourceFormat=2\nTargetFormat=34\n"
                       "X=0\nW=256\nCols=256\nDoffset=0\n";
        auto group = [](const QByteArray& g, int columns, const QByteArray& v) {
            QByteArray out = "[" + g + "]\n";
            for (int c = 0; c < columns; ++c) out += QByteArray::number(c) + "=" + v + "\n";
            return out;
        };
        QTest::newRow("K row cut short") << h + group("B_0", 256, "1000") + group("K_0", 88, "1.1")
                                         << QStringLiteral("[K_0] 只有 88 列，应有 256 列（与 [B_0] 相同）：缺少第 88 列。");
        QByteArray many = h;
        for (int r = 0; r < 64; ++r) many += group("B_" + QByteArray::number(r), 256, "1000");
        QTest::newRow("64 rows") << many << QStringLiteral("文件有 64 行 B 参数，而相机至多 8 行（每个增益 1 行，8 个增益）。");
        QTest::newRow("1e308") << h + group("B_0", 256, "1e308") + group("K_0", 256, "-1e308")
                               << QStringLiteral("B_0/0（B 第 0 行，第 0 列）的值 1e+308 超出 B 的范围（0 到 65535）。");
        QTest::newRow("head X 1e9, W -5")
            << QByteArray(h).replace("X=0\nW=256", "X=1000000000\nW=-5") + group("B_0", 256, "1000")
            << QStringLiteral("文件的区域 Head/X = 1000000000、Head/W = -5 不在相机当前的宽度 256 列之内（宽度至少 64 列）。");
    }

    void damagedFilesAreRefused()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, why);
        const QString file = path(QStringLiteral("bad-%1.FAC.FPN").arg(QString::fromLatin1(QTest::currentDataTag()).replace(' ', '_')));
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(text);
        f.close();
        const Run r = run({"-d", "SIM-LS4096-M", "load-fpn", file, "write-fpn", "UserSet0"});
        QCOMPARE(r.exit, 1);
        QVERIFY2(r.err.contains(QStringLiteral("加载FPN参数出错，请重试。") + why), qPrintable(r.err));
        QVERIFY(!r.err.contains(QStringLiteral("FPN参数成功写入")));
    }

    // "ffc --save f1" and "lsc --save l1": each name with its file type's mark, the full path told,
    // and the files read back as the runner reported their data.
    void flatFilesByOneRule()
    {
        const Run r = run({"-d", "SIM-LS4096-M", "--yes", "--sim-scene", "flat", "ffc", "--goal", "level:150", "--save",
                           "f1", "lsc", "--save", "l1", "--json", "flat.json"});
        QVERIFY2(r.exit == 0, qPrintable(r.err));
        const QString ffcPath = path(QStringLiteral("LSM4096A.FAC.FFC.f1")), lscPath = path(QStringLiteral("l1.LSC.FAC"));
        QVERIFY(r.err.contains(QStringLiteral("校正参数已保存至 %1").arg(ffcPath)));
        QVERIFY(r.err.contains(QStringLiteral("校正参数已保存至 %1").arg(lscPath)));
        const QJsonArray s = steps(QStringLiteral("flat.json"));
        QCOMPARE(s[0].toObject().value(QStringLiteral("files")).toArray().first().toString(), ffcPath);
        QCOMPARE(s[1].toObject().value(QStringLiteral("files")).toArray().first().toString(), lscPath);

        const FfcFileContent ffc = ffcReadFile(ffcPath, FfcRoi{});
        QVERIFY(ffc.ok);
        QVERIFY(!ffc.partial);
        QCOMPARE(ffc.gains.size(), 1);
        const QJsonObject channel =
            s[0].toObject().value(QStringLiteral("figures")).toObject().value(QStringLiteral("channels")).toArray().first().toObject();
        QCOMPARE(ffc.gains[0].size(), channel.value(QStringLiteral("columns")).toInt());
        QCOMPARE(*std::min_element(ffc.gains[0].begin(), ffc.gains[0].end()), channel.value(QStringLiteral("minK")).toDouble());
        QCOMPARE(*std::max_element(ffc.gains[0].begin(), ffc.gains[0].end()), channel.value(QStringLiteral("maxK")).toDouble());

        const LscFileContent lsc = lscReadFile(lscPath);
        QVERIFY(lsc.ok);
        const QJsonArray poly =
            s[1].toObject().value(QStringLiteral("figures")).toObject().value(QStringLiteral("channels")).toArray().first().toArray();
        QCOMPARE(lsc.polys.size(), 1);
        QCOMPARE(lsc.polys[0].size(), poly.size());
        for (int i = 0; i < poly.size(); ++i) QCOMPARE(lsc.polys[0][i], poly[i].toDouble());
    }

    // A save that cannot be written is told with the file's path and its cause, exit 1; with the
    // room of a nearly full disk the earlier file at the path stays byte for byte.
    void savesThatCannotBeWritten()
    {
        // Eight rows of B and K over 256 columns: some 50 kB, beyond a disk with 16 kB left.
        const QString in = path(QStringLiteral("eight.FAC.FPN"));
        QVERIFY(writeFpnFile(in, head("SIM-LS4096-M", false), rows(8, kWidth, 900.25, 0.125),
                             rows(8, kWidth, 1.0, 1.0 / 1024.0)));
        QVERIFY(QFileInfo(in).size() > 32 * 1024);
        Run r = run({"-d", "SIM-LS4096-M", "load-fpn", in, "save-fpn", "/proc/no-such-folder/x"});
        QCOMPARE(r.exit, 1);
        QVERIFY2(r.err.contains(QStringLiteral("保存FPN参数出错，请重试。无法写入文件 /proc/no-such-folder/x.FAC.FPN：")),
                 qPrintable(r.err));

        const QString earlier = path(QStringLiteral("earlier.FAC.FPN"));
        QFile f(earlier);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("[Head]\nthe earlier file\n");
        f.close();
        r = run({"-d", "SIM-LS4096-M", "load-fpn", in, "save-fpn", earlier}, QString(), 16 * 1024);
        QCOMPARE(r.exit, 1);
        QVERIFY2(r.err.contains(QStringLiteral("保存FPN参数出错，请重试。无法写入文件 %1：").arg(earlier)), qPrintable(r.err));
        QCOMPARE(bytesOf(earlier), QByteArray("[Head]\nthe earlier file\n"));
    }

    // A document folder that does not exist yet is made at start: the runner's FPN.ini is in its
    // FPN folder from the first write on.
    void documentFolderMadeAtStart()
    {
        const QString documents = path(QStringLiteral("new/doc"));
        QVERIFY(!QDir(documents).exists());
        const Run r = run({"-d", "SIM-LS4096-M", "info"}, documents);
        QVERIFY2(r.exit == 0, qPrintable(r.err));
        QVERIFY(QFile::exists(documents + QStringLiteral("/FPN/FPN.ini")));
        QVERIFY(!QFile::exists(documents + QStringLiteral("/FPN.ini")));
        QCOMPARE(QSettings(documents + QStringLiteral("/FPN/FPN.ini"), QSettings::IniFormat).value(QStringLiteral("Params/MAXK")).toInt(),
                 2);
    }
};

QTEST_GUILESS_MAIN(TestCliFiles)
#include "test_cli_files.moc"

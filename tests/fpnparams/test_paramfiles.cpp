// The three parameter files on plain lists, with no camera: the FPN file's whole-file check
// against a camera (every damaged file met at a station, as a fixture with the message the
// operator reads), its round trip in numeric column order and with both spellings of the kind of
// K; the FFC file's partial, foreign and refused contents; the LSC file's round trip; the names
// of the files; and the atomic save, under a file size limit and killed half way, each in a child
// process of this program, leaving the earlier file byte for byte.
#include "calibration/klevels.h"
#include "flatfield/ffcfile.h"
#include "flatfield/lscfit.h"
#include "fpnparams/fpnfile.h"
#include "fpnparams/paramfile.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <sys/resource.h>
#include <cmath>
#include <csignal>
#include <cstring>

namespace {

const QString kCamera = QStringLiteral("SIM-LS4096-M");

// The station's camera of the fixtures: one line, 256 columns, gains 1 to 8.
FpnCamera stationCamera()
{
    FpnCamera c;
    c.name = kCamera;
    c.lineCount = 1;
    c.gains = 8;
    c.sensorWidth = 256;
    c.minWidth = 1;
    c.roiHeight = 1000;
    return c;
}

QByteArray head(int w, int x = 0, const QByteArray& mlk = "false", int cols = -1, int source = 2)
{
    return "[Head]\nVersion=1\nCamera=" + kCamera.toLatin1() + "\nSupportMLK=" + mlk
           + "\nSourceFormat=" + QByteArray::number(source) + "\nTargetFormat=34\nX=" + QByteArray::number(x)
           + "\nW=" + QByteArray::number(w) + "\nCols=" + QByteArray::number(cols < 0 ? w : cols) + "\nDoffset=8\n";
}

// A value group of `columns` keys 0..columns-1, all `value` (its text as given).
QByteArray group(const QByteArray& name, qsizetype columns, const QByteArray& value)
{
    QByteArray g = "[" + name + "]\n";
    for (qsizetype c = 0; c < columns; ++c) g += QByteArray::number(c) + "=" + value + "\n";
    return g;
}

QByteArray rows(const char* prefix, int count, qsizetype columns, const QByteArray& value)
{
    QByteArray out;
    for (int i = 0; i < count; ++i) out += group(prefix + QByteArray::number(i), columns, value);
    return out;
}

QByteArray readAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<unreadable>");
}

lsxRegion region(int x, int y, int w, int h)
{
    lsxRegion r;
    std::memset(&r, 0, sizeof r);
    r.X = x;
    r.Y = y;
    r.W = w;
    r.H = h;
    return r;
}

// ---- The child: one save in a process of its own ----
//
//   test_paramfiles --save-child KIND PATH LIMIT SIZE
// KIND fpn, ffc, lsc or raw; LIMIT the file size limit in bytes (0: none); SIZE about the bytes
// to write. Prints why a save failed; exit 0 saved, 1 refused.
int saveChild(char** argv)
{
    const QByteArray kind = argv[2];
    const QString path = QString::fromLocal8Bit(argv[3]);
    const rlim_t limit = rlim_t(QByteArray(argv[4]).toLongLong());
    const qsizetype size = qsizetype(QByteArray(argv[5]).toLongLong());
    if (limit > 0) {
        // A write past the limit answers "file too large" instead of ending the process.
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit rl{limit, limit};
        setrlimit(RLIMIT_FSIZE, &rl);
    }
    const qsizetype columns = std::max<qsizetype>(1, size / 16);
    QString why;
    bool saved = false;
    if (kind == "fpn") {
        FpnFileHead h;
        h.camera = kCamera;
        h.w = int(columns);
        saved = writeFpnFile(path, h, {QList<double>(columns, 1000.5)}, {QList<double>(columns, 1.25)}, &why);
    } else if (kind == "ffc") {
        saved = ffcSaveFile(path, FfcRoi{0, 0, int(columns), 10}, {QList<double>(columns, 1.5)}, &why);
    } else if (kind == "lsc") {
        saved = lscSaveFile(path, region(0, 0, 100, 10), {{1, 2, 3, 4, 5, 6, 7, 8}}, &why);
    } else {
        // A large file written as the program writes all of them; it tells when it begins.
        const QByteArray bytes(size, 'x');
        std::fputs("writing\n", stdout);
        std::fflush(stdout);
        saved = saveAtomically(path, bytes, &why);
    }
    std::fputs(why.toUtf8().constData(), stdout);
    return saved ? 0 : 1;
}

// The bytes a process has written so far (the kernel's count of its write calls).
qint64 bytesWritten(qint64 pid)
{
    QFile io(QStringLiteral("/proc/%1/io").arg(pid));
    if (!io.open(QIODevice::ReadOnly)) return -1;
    for (const QByteArray& line : io.readAll().split('\n'))
        if (line.startsWith("wchar:")) return line.mid(6).trimmed().toLongLong();
    return -1;
}

}  // namespace

class TestParamFiles : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

    QString path(const QString& name) const { return m_dir.filePath(name); }

    QString write(const QString& name, const QByteArray& text)
    {
        const QString p = path(name);
        QFile f(p);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)) return QString();
        f.write(text);
        return p;
    }

    // A file of its own per case: QSettings keeps what it read of a path.
    QString fixture(const QByteArray& text)
    {
        return write(QStringLiteral("%1-%2-%3.FAC.FPN")
                         .arg(QString::fromLatin1(QTest::currentTestFunction()),
                              QString::fromUtf8(QTest::currentDataTag()).replace(QLatin1Char(' '), QLatin1Char('_')))
                         .arg(++m_files),
                     text);
    }
    int m_files = 0;

    // Runs the save child; its exit code and what it printed.
    QPair<int, QString> child(const QString& kind, const QString& file, qint64 limit, qint64 size)
    {
        QProcess p;
        p.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--save-child"), kind, file, QString::number(limit), QString::number(size)});
        if (!p.waitForFinished(60000)) {
            p.kill();
            return {-1, QStringLiteral("timed out")};
        }
        return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -2,
                QString::fromUtf8(p.readAllStandardOutput())};
    }

private slots:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    // ---- FPN: every damaged file of the station, refused with the check that failed ----

    void damagedFpnFiles_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("why");
        const QByteArray b256 = group("B_0", 256, "1000.5");
        QTest::newRow("K row cut short to 3 of 256")
            << head(256) + b256 + group("K_0", 3, "1.1")
            << QStringLiteral("[K_0] 只有 3 列，应有 256 列（与 [B_0] 相同）：缺少第 3 列。");
        QTest::newRow("K row cut short to 88 of 256")
            << head(256) + b256 + group("K_0", 88, "1.1")
            << QStringLiteral("[K_0] 只有 88 列，应有 256 列（与 [B_0] 相同）：缺少第 88 列。");
        QTest::newRow("rows of 100 on a 256-column head")
            << head(256) + group("B_0", 100, "1000") + group("K_0", 100, "1.1")
            << QStringLiteral("[B_0] 只有 100 列，应有 256 列（Head/W）：缺少第 100 列。");
        QTest::newRow("B of 256 with K of 100")
            << head(256) + b256 + group("K_0", 100, "1.1")
            << QStringLiteral("[K_0] 只有 100 列，应有 256 列（与 [B_0] 相同）：缺少第 100 列。");
        QTest::newRow("B 1e308 with K -1e308")
            << head(256) + group("B_0", 256, "1e308") + group("K_0", 256, "-1e308")
            << QStringLiteral("B_0/0（B 第 0 行，第 0 列）的值 1e+308 超出 B 的范围（0 到 65535）。");
        QTest::newRow("K -1e308") << head(256) + b256 + group("K_0", 256, "-1e308")
                                  << QStringLiteral(
                                         "K_0/0（K 第 0 行，第 0 列）的值 -1e+308 超出 K 的范围（大于 0，至多 255）。");
        QTest::newRow("head X 1e9, W -5")
            << head(-5, 1000000000, "false", 256) + b256
            << QStringLiteral(
                   "文件的区域 Head/X = 1000000000、Head/W = -5 不在相机当前的宽度 256 列之内（宽度至少 1 列）。");
        QTest::newRow("64 rows on a one-line camera")
            << head(256) + rows("B_", 64, 256, "1000") + rows("K_", 64, 256, "1.1")
            << QStringLiteral("文件有 64 行 B 参数，而相机至多 8 行（每个增益 1 行，8 个增益）。");
        QTest::newRow("wider than the camera")
            << head(300) + group("B_0", 300, "1")
            << QStringLiteral("文件的区域 Head/X = 0、Head/W = 300 不在相机当前的宽度 256 列之内（宽度至少 1 列）。");
        QTest::newRow("a key past the head's width") << head(4) + group("B_0", 4, "1") + "[B_0]\n9=1\n"
                                                     << QStringLiteral("[B_0] 有第 9 列，而每行只有 4 列（Head/W）。");
        QTest::newRow("Cols against W") << head(4, 0, "false", 5) + group("B_0", 4, "1")
                                        << QStringLiteral("Head/Cols 为 5 列，而 Head/W 为 4 列。");
        QTest::newRow("K rows not one per B row") << head(4) + rows("B_", 2, 4, "1") + group("K_0", 4, "1")
                                                  << QStringLiteral("文件有 1 行 K 参数，而 B 参数有 2 行。");
        QTest::newRow("a group missing") << head(4) + group("B_0", 4, "1") + group("B_2", 4, "1")
                                         << QStringLiteral("缺少参数组 [B_1]：文件有 2 个 B_ 组，应编号为 0 到 1。");
        QTest::newRow("a group named twice")
            << head(4) + group("B_0", 4, "1") + group("b_0", 4, "1") << QStringLiteral("参数组 [b_0] 重复出现。");
        QTest::newRow("a group not numbered")
            << head(4) + group("B_01", 4, "1") << QStringLiteral("参数组 [B_01] 的名字不是 B_ 加行号。");
        QTest::newRow("no B") << head(4) << QStringLiteral("文件中没有 B 参数组。");
        QTest::newRow("a key not a column") << head(4) + group("B_0", 4, "1") + "[B_0]\nx=1\n"
                                            << QStringLiteral("[B_0] 中的键 \"x\" 不是列号。");
        QTest::newRow("a list") << head(2) + "[B_0]\n0=1,2\n1=1\n"
                                << QStringLiteral("B_0/0（B 第 0 行，第 0 列）的值 \"1,2\" 不是数。");
        QTest::newRow("an empty value") << head(2) + "[B_0]\n0=\n1=1\n"
                                        << QStringLiteral("B_0/0（B 第 0 行，第 0 列）的值 \"\" 不是数。");
        QTest::newRow("nan") << head(2) + "[B_0]\n0=1\n1=nan\n"
                             << QStringLiteral("B_0/1（B 第 0 行，第 1 列）的值 nan 不是有限数。");
        QTest::newRow("head X not an integer") << QByteArray(head(4)).replace("X=0", "X=1e9") + group("B_0", 4, "1")
                                               << QStringLiteral("Head/X 的值 \"1e9\" 不是整数。");
        QTest::newRow("no W") << QByteArray(head(4)).replace("W=4\n", "") + group("B_0", 4, "1")
                              << QStringLiteral("缺少 Head/W。");
        QTest::newRow("kind of K garbage")
            << QByteArray(head(4, 0, "maybe")) + group("B_0", 4, "1")
            << QStringLiteral("Head/SupportMLK 的值 \"maybe\" 不是 0、1、false 或 true。");
        QTest::newRow("multi-level file")
            << QByteArray(head(4, 0, "true")) + group("B_0", 4, "1")
            << QStringLiteral("文件是多级K的参数（Head/SupportMLK），而当前相机不支持多级K。");
        QTest::newRow("no kind of K") << QByteArray(head(4)).replace("SupportMLK=false\n", "") + group("B_0", 4, "1")
                                      << QStringLiteral("缺少 Head/SupportMLK。");
        QTest::newRow("another camera")
            << QByteArray(head(4)).replace("SIM-LS4096-M", "SIM-LS2048-C") + group("B_0", 4, "1")
            << QStringLiteral("文件属于相机 \"SIM-LS2048-C\"（Head/Camera），而当前相机是 \"SIM-LS4096-M\"。");
        QTest::newRow("version 2") << QByteArray(head(4)).replace("Version=1", "Version=2") + group("B_0", 4, "1")
                                   << QStringLiteral("Head/Version 为 2，只能加载版本 1。");
        QTest::newRow("not an ini") << QByteArray("\x89PNG\r\n\x1a\n\0\0garbage", 18)
                                    << QStringLiteral("缺少 Head/Version（只能加载版本 1）。");
    }

    void damagedFpnFiles()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, why);
        const FpnFileContent c = readFpnFile(fixture(text), stationCamera());
        QVERIFY(!c.ok);
        QCOMPARE(c.why, why);
        QVERIFY(c.b.isEmpty() && c.k.isEmpty());
    }

    // 200,000 columns: refused by its size before it is read, naming the camera's width.
    void fpnFileLargerThanTheCameraCanUse()
    {
        const QString p = fixture(head(200000) + group("B_0", 200000, "1000.5") + group("K_0", 200000, "1.25"));
        const qint64 size = QFileInfo(p).size();
        QElapsedTimer t;
        t.start();
        const FpnFileContent c = readFpnFile(p, stationCamera());
        QVERIFY(t.elapsed() < 100);
        QVERIFY(!c.ok);
        const qint64 limit = fpnFileSizeLimit(stationCamera());
        QCOMPARE(limit, 64 * 1024 + qint64(24 + 24) * 256 * kIniBytesPerValue);
        QCOMPARE(c.why, QStringLiteral("文件过大：%1 字节，而相机 SIM-LS4096-M（宽 256 列）的FPN参数文件至多 %2 字节。")
                            .arg(size)
                            .arg(limit));
    }

    // What the camera's largest legal file may be stays under the limit: 3 planes x 8 gains of B
    // and K over the whole sensor, with the longest values.
    void largestLegalFileIsRead()
    {
        QByteArray text = head(256, 0, "false", 256, 10);
        text += rows("B_", 24, 256, "65534.123456789012");
        text += rows("K_", 24, 256, "1.2345678901234567");
        const QString p = fixture(text);
        QVERIFY(QFileInfo(p).size() < fpnFileSizeLimit(stationCamera()));
        const FpnFileContent c = readFpnFile(p, stationCamera());
        QVERIFY2(c.ok, qPrintable(c.why));
        QCOMPARE(c.b.size(), 24);
        QCOMPARE(c.k.size(), 24);
    }

    // ---- FPN: round trips ----

    void fpnRoundTripInColumnOrder()
    {
        QList<double> b, k;
        for (int c = 0; c < 12; ++c) {
            b.append(100.25 + c);
            k.append(1.0 + c / 1000.0);
        }
        FpnFileHead h;
        h.camera = kCamera;
        h.x = 3;
        h.w = 12;
        h.cols = 12;
        h.sourceFormat = 2;
        h.targetFormat = 34;
        const QString p = path(QStringLiteral("order.FAC.FPN"));
        QVERIFY(writeFpnFile(p, h, {b, b}, {k, k}));
        const FpnFileContent c = readFpnFile(p, stationCamera());
        QVERIFY2(c.ok, qPrintable(c.why));
        // Column 10 after column 9: the keys' numbers, not their text, give the order.
        QCOMPARE(c.b, (QList<QList<double>>{b, b}));
        QCOMPARE(c.k, (QList<QList<double>>{k, k}));
        QCOMPARE(c.head.x, 3);
        QCOMPARE(c.head.w, 12);
        QCOMPARE(c.head.sourceFormat, 2);
        QCOMPARE(c.head.targetFormat, 34);
        QCOMPARE(c.head.doffset, 0);
    }

    void kindOfKInBothSpellings_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("mlk");
        QTest::newRow("false") << QByteArray("false") << false;
        QTest::newRow("0") << QByteArray("0") << false;
        QTest::newRow("true") << QByteArray("true") << true;
        QTest::newRow("1") << QByteArray("1") << true;
        QTest::newRow("TRUE") << QByteArray("TRUE") << true;
    }

    void kindOfKInBothSpellings()
    {
        QFETCH(QByteArray, text);
        QFETCH(bool, mlk);
        FpnCamera camera = stationCamera();
        camera.multiLevelK = mlk;
        const QString file = fixture(head(4, 0, text) + group("B_0", 4, "1"));
        const FpnFileContent c = readFpnFile(file, camera);
        QVERIFY2(c.ok, qPrintable(c.why));
        QCOMPARE(c.head.supportMLK, mlk);
        camera.multiLevelK = !mlk;
        QVERIFY(!readFpnFile(file, camera).ok);
    }

    // Rows by the camera's kind: a multi-line sensor's rows come by its lines, a colour camera's
    // by its three planes, the area family's one row by the pixels of a frame; a multi-level
    // file's K are nine bands of all rows.
    void rowsByKindOfCamera()
    {
        FpnCamera lines = stationCamera();
        lines.lineCount = 4;
        QVERIFY(readFpnFile(fixture(head(4) + rows("B_", 8, 4, "1") + rows("K_", 8, 4, "1")), lines).ok);
        const FpnFileContent three = readFpnFile(fixture(head(4) + rows("B_", 3, 4, "1")), lines);
        QCOMPARE(three.why, QStringLiteral("文件有 3 行 B 参数，不是相机每个增益 4 行的整数倍。"));

        const FpnFileContent colour =
            readFpnFile(fixture(head(4, 0, "false", -1, FORMAT_BGR24) + rows("B_", 6, 4, "1")), stationCamera());
        QVERIFY2(colour.ok, qPrintable(colour.why));
        QCOMPARE(colour.b.size(), 6);

        FpnCamera area = stationCamera();
        area.area = true;
        area.roiHeight = 2;
        const FpnFileContent frame = readFpnFile(fixture(head(4, 0, "false", 8) + group("B_0", 8, "1")), area);
        QVERIFY2(frame.ok, qPrintable(frame.why));
        QCOMPARE(frame.b.first().size(), 8);
        const FpnFileContent short4 = readFpnFile(fixture(head(4, 0, "false", 0) + group("B_0", 4, "1")), area);
        QCOMPARE(short4.why, QStringLiteral("[B_0] 只有 4 列，应有 8 列（Head/W 4 × 高度 2）：缺少第 4 列。"));

        FpnCamera mlk = stationCamera();
        mlk.multiLevelK = true;
        const FpnFileContent bands =
            readFpnFile(fixture(head(4, 0, "true") + rows("B_", 2, 4, "1") + rows("K_", 9, 8, "1.5")), mlk);
        QVERIFY2(bands.ok, qPrintable(bands.why));
        QCOMPARE(bands.k.size(), 9);
        // With the camera's largest K known, a band's K lies between 0.51 and that less 0.2.
        mlk.maxK = 4;
        const FpnFileContent high =
            readFpnFile(fixture(head(4, 0, "true") + rows("B_", 2, 4, "1") + rows("K_", 9, 8, "3.9")), mlk);
        QCOMPARE(high.why, QStringLiteral("K_0/0（K 第 0 级，第 0 列）的值 3.9 超出 K 的范围（0.51 到 3.8）。"));
        QCOMPARE(fpnDataRefusal({{1, 2}}, QList<QList<double>>(9, {0.5, 1}), true, 4),
                 QStringLiteral("K 第 0 级第 0 行第 0 列的值 0.5 超出 K 的范围（0.51 到 3.8）。"));
        const FpnFileContent fewBands =
            readFpnFile(fixture(head(4, 0, "true") + rows("B_", 2, 4, "1") + rows("K_", 3, 8, "1.5")), mlk);
        QCOMPARE(fewBands.why, QStringLiteral("文件有 3 个 K 参数组，多级K的文件应有 9 个。"));
    }

    // The samples made of a multi-level file's bands give each band back at its level exactly.
    void bandsBackAsSamples()
    {
        const int rows = 2, columns = 3;
        QList<QList<double>> bands;
        for (int n = 0; n < 9; ++n) {
            QList<double> band;
            for (int e = 0; e < rows * columns; ++e) band.append(0.6 + 0.1 * n + 0.01 * e);
            bands.append(band);
        }
        std::vector<uint8_t> levels;
        for (int n = 0; n < 9; ++n) levels.push_back(levelStepK(fpnLevels9, n));
        const QList<QList<KPoint>> points = kPointsFromBands(bands, levels, rows);
        QCOMPARE(points.size(), rows * 9);
        for (int n = 0; n < 9; ++n) {
            QList<double> k;
            kAtLevel(points, 4, levels[size_t(n)], k, rows);
            QCOMPARE(k, bands[n]);
        }
    }

    void savedDataMustLoadBack()
    {
        QCOMPARE(fpnDataRefusal({{1, 2}, {1}}, {}, false), QStringLiteral("B 第 1 行有 1 列，而第 0 行有 2 列。"));
        QCOMPARE(fpnDataRefusal({{1, 2}}, {{1, 2}, {1, 2}}, false), QStringLiteral("K 有 2 行，而 B 有 1 行。"));
        QCOMPARE(fpnDataRefusal({{1, 2}}, {{1}}, false), QStringLiteral("K 第 0 行有 1 列，而应有 2 列。"));
        QCOMPARE(fpnDataRefusal({{1, 2}}, {{1, qInf()}}, false),
                 QStringLiteral("K 第 0 行第 1 列的值 inf 不是有限数。"));
        QCOMPARE(fpnDataRefusal({{1, 2}}, QList<QList<double>>(9, {1, 2}), true), QString());
        QCOMPARE(fpnDataRefusal({{1, 2}}, QList<QList<double>>(9, {1, -2}), true),
                 QStringLiteral("K 第 0 级第 0 行第 1 列的值 -2 超出 K 的范围（大于 0，至多 255）。"));
        QCOMPARE(fpnDataRefusal({{1, 2}}, {}, false), QString());
    }

    // The fuzz harness's seeds are what their names say: the good files are taken by the camera
    // of their kind, the damaged ones (the station's, small) refused by every kind.
    void fuzzSeeds()
    {
        const QDir corpus(QStringLiteral(LSX_SOURCE_DIR "/tests/fuzz/corpus/fpnfile"));
        FpnCamera mono = stationCamera(), lines = mono, mlk = mono, area = mono;
        lines.lineCount = 4;
        mlk.multiLevelK = true;
        mlk.maxK = 4;
        area.area = true;
        area.gains = 1;
        area.roiHeight = 2;
        const QMap<QString, FpnCamera> good{{QStringLiteral("mono"), mono},
                                            {QStringLiteral("multi-line"), lines},
                                            {QStringLiteral("colour-mlk"), mlk},
                                            {QStringLiteral("area"), area}};
        int damaged = 0;
        for (const QString& name : corpus.entryList(QDir::Files)) {
            const QString file = corpus.filePath(name);
            if (good.contains(name)) {
                const FpnFileContent c = readFpnFile(file, good.value(name));
                QVERIFY2(c.ok, qPrintable(name + QLatin1Char(' ') + c.why));
            } else {
                ++damaged;
                for (const FpnCamera& camera : good) QVERIFY2(!readFpnFile(file, camera).ok, qPrintable(name));
            }
        }
        QVERIFY(damaged >= 8);
    }

    // ---- FFC ----

    void ffcRoundTrips_data()
    {
        QTest::addColumn<int>("channels");
        QTest::newRow("mono") << 1;
        QTest::newRow("two lines") << 2;
        QTest::newRow("colour") << 3;
    }

    void ffcRoundTrips()
    {
        QFETCH(int, channels);
        GainList gains;
        for (int c = 0; c < channels; ++c) {
            QList<double> l;
            for (int i = 0; i < 300; ++i) l.append(0.75 + c * 0.125 + i * 1e-3 / 3.0);
            gains.append(l);
        }
        const QString p = path(QStringLiteral("LSM.FAC.FFC.rt%1").arg(channels));
        QString why;
        QVERIFY2(ffcSaveFile(p, FfcRoi{40, 0, 300, 1000}, gains, &why), qPrintable(why));
        const FfcFileContent c = ffcReadFile(p, FfcRoi{});
        QVERIFY(c.ok);
        QVERIFY(!c.partial);
        QCOMPARE(c.gains, gains);
        QCOMPARE(c.roi.x, 40);
        QCOMPARE(ffcChannelRefusal(c, channels), QString());
        QCOMPARE(ffcChannelRefusal(c, 4),
                 QStringLiteral("参数文件有 %1 个通道，而相机的图像有 4 个通道，无法加载。").arg(channels));
        QCOMPARE(ffcRegionRefusal(c, 340), QString());
        QCOMPARE(ffcRegionRefusal(c, 339),
                 QStringLiteral("参数文件的ROI（第 40 列起，宽 300 列）超出相机的宽度 339 列。"));
    }

    // A file cut short: the columns it lacks are counted, and it is partial, not whole.
    void ffcTruncatedFileIsPartial()
    {
        const QString p = path(QStringLiteral("LSM.FAC.FFC.cut"));
        QString why;
        QVERIFY(ffcSaveFile(p, FfcRoi{0, 0, 10, 10}, {QList<double>(10, 1.25)}, &why));
        QByteArray text = readAll(p);
        text.chop(text.size() - text.indexOf("7=1.25"));  // cut in the last section
        const QString cut = write(QStringLiteral("LSM.FAC.FFC.cut2"), text);
        const FfcFileContent c = ffcReadFile(cut, FfcRoi{});
        QVERIFY(c.ok);
        QVERIFY(c.partial);
        QCOMPARE(c.missingKeys, 3);
        QCOMPARE(c.firstMissing, QStringLiteral("FFC_R/7"));
        QCOMPARE(c.gains.first().mid(5), (QList<double>{1.25, 1.25, 1.0, 1.0, 1.0}));
        QCOMPARE(
            ffcPartialQuestion(c),
            QStringLiteral(
                "参数文件不完整：缺少 3 列的增益（从 FFC_R/7 起）。\n是否加载不完整的参数？缺少的列按增益 1.0 加载。"));
    }

    void ffcForeignKeysAndSavesRefused()
    {
        const QString foreign =
            write(QStringLiteral("foreign"),
                  "[FFC]\nVersion=2\n[FFC_ROI]\nOffsetH=10\nWidth=2\nHeight=5\n[FFC_R]\n10=1\n11=1\n12=1\n");
        const FfcFileContent c = ffcReadFile(foreign, FfcRoi{});
        QVERIFY(!c.ok);
        QCOMPARE(c.text, QStringLiteral("参数文件中 FFC_R/12 不是ROI（第 10 到 11 列）中的列，无法加载。"));

        QString why;
        const QString p = path(QStringLiteral("refused"));
        QVERIFY(!ffcSaveFile(p, FfcRoi{5, 0, 3, 1}, {{1.0, 0.0, 1.0}}, &why));
        QCOMPARE(why, QStringLiteral("FFC_R/6 的增益 0 不是大于 0 的有限数，不能保存。"));
        QVERIFY(!ffcSaveFile(p, FfcRoi{0, 0, 3, 1}, {{1, 1, 1}, {1, 1, 1}, {1, 1, qInf()}}, &why));
        QCOMPARE(why, QStringLiteral("FFC_R/2 的增益 inf 不是大于 0 的有限数，不能保存。"));
        QVERIFY(!ffcSaveFile(p, FfcRoi{0, 0, 3, 1}, GainList(4, {1, 1, 1}), &why));
        QCOMPARE(why, QStringLiteral("FFC参数文件至多保存三个通道，当前有 4 个。"));
        QVERIFY(!ffcSaveFile(p, FfcRoi{0, 0, 4, 1}, {{1, 1, 1}}, &why));
        QCOMPARE(why, QStringLiteral("FFC_R 有 3 列增益，而当前ROI宽 4 列。"));
        QVERIFY(!QFile::exists(p));
    }

    // Larger than any camera's file: refused before it is read, however large.
    void oversizedFilesAreNotRead()
    {
        const QString big = path(QStringLiteral("big"));
        {
            QFile f(big);
            QVERIFY(f.open(QIODevice::WriteOnly));
            QVERIFY(f.resize(qint64(1) << 30));  // 1 GiB, sparse
        }
        QElapsedTimer t;
        t.start();
        const FfcFileContent ffc = ffcReadFile(big, FfcRoi{});
        QCOMPARE(ffc.text, QStringLiteral("文件过大：1073741824 字节，而参数文件至多 %1 字节。").arg(kFfcFileMaxBytes));
        QCOMPARE(lscReadFile(big).text,
                 QStringLiteral("文件过大：1073741824 字节，而参数文件至多 %1 字节。").arg(kLscFileMaxBytes));
        QVERIFY(!readFpnFile(big, stationCamera()).ok);
        QVERIFY(t.elapsed() < 200);
    }

    // ---- LSC ----

    void lscRoundTrips()
    {
        const QList<QList<double>> three{
            {1e-12, -2e-9, 3, 4, 5, 6, 7.5, 180}, {1, 2, 3, 4, 5, 6, 7, 8}, {0, 0, 0, 0, 0, 0, 1, 9}};
        for (const QList<QList<double>>& polys : {three, QList<QList<double>>{three[0]}, QList<QList<double>>{}}) {
            const QString p = path(QStringLiteral("l%1.LSC.FAC").arg(polys.size()));
            QString why;
            QVERIFY2(lscSaveFile(p, region(4, 0, 100, 50), polys, &why), qPrintable(why));
            const LscFileContent c = lscReadFile(p);
            QVERIFY(c.ok);
            QCOMPARE(c.polys, polys);
            QCOMPARE(c.roiX, 4);
            QCOMPARE(c.roiW, 100);
        }
        QString why;
        QVERIFY(!lscSaveFile(path(QStringLiteral("nan.LSC.FAC")), region(0, 0, 1, 1), {{1, 2, qQNaN(), 4, 5, 6, 7, 8}},
                             &why));
        QCOMPARE(why, QStringLiteral("FFC_R/C_R 的值 nan 不是有限数，不能保存。"));
        QVERIFY(!QFile::exists(path(QStringLiteral("nan.LSC.FAC"))));
    }

    // Every double reads back as it was written, a negative zero too (lists of doubles compare
    // their bytes).
    void valuesReadBackExactly()
    {
        const QList<double> values{-0.0, 0.0, 1e-300, -2.5e-17, 0.1, 65534.999999999993, 1.0 / 3.0};
        IniText text;
        text.section(QStringLiteral("V"));
        for (int i = 0; i < values.size(); ++i) text.value(QString::number(i), values[i]);
        QVERIFY(text.bytes().contains("0=-0\n"));
        const QString p = write(QStringLiteral("values.ini"), text.bytes());
        QSettings in(p, QSettings::IniFormat);
        QList<double> back;
        for (int i = 0; i < values.size(); ++i)
            back.append(in.value(QStringLiteral("V/%1").arg(i)).toString().toDouble());
        QCOMPARE(back, values);
        QVERIFY(std::signbit(back[0]));
    }

    // ---- Names ----

    void names()
    {
        QCOMPARE(withEnding(QStringLiteral("/d/cam1"), QStringLiteral(".FAC.FPN")), QStringLiteral("/d/cam1.FAC.FPN"));
        QCOMPARE(withEnding(QStringLiteral("/d/cam1.fac.fpn"), QStringLiteral(".FAC.FPN")),
                 QStringLiteral("/d/cam1.fac.fpn"));
        QCOMPARE(withEnding(QStringLiteral("l1"), QStringLiteral(".LSC.FAC")), QStringLiteral("l1.LSC.FAC"));
        QCOMPARE(defaultFileStem(QStringLiteral("LSM4096A"), QStringLiteral("SN100011"), QDate(2026, 11, 23)),
                 QStringLiteral("LSM4096A_SN100011_20261123"));
        QCOMPARE(defaultFileStem(QStringLiteral("a/b c"), QStringLiteral("x:y"), QDate(2026, 1, 2)),
                 QStringLiteral("a_b_c_x_y_20260102"));
    }

    // ---- Atomic saves ----

    void saveIntoAMissingFolderIsTold()
    {
        const QString p = path(QStringLiteral("no/such/folder/x.FAC.FPN"));
        QString why;
        QVERIFY(!saveAtomically(p, "x", &why));
        QVERIFY2(why.startsWith(QStringLiteral("无法写入文件 %1：").arg(p)), qPrintable(why));
    }

    // A disk too small for the file (a file size limit in the save's process): the save fails
    // with a message naming the file, and the earlier file is there byte for byte.
    void saveBeyondTheSpaceLeavesTheEarlierFile_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<qint64>("limit");
        QTest::addColumn<qint64>("size");
        QTest::newRow("FPN") << QStringLiteral("fpn") << qint64(64 * 1024) << qint64(4 << 20);
        QTest::newRow("FFC") << QStringLiteral("ffc") << qint64(64 * 1024) << qint64(4 << 20);
        QTest::newRow("LSC") << QStringLiteral("lsc") << qint64(200) << qint64(0);
    }

    void saveBeyondTheSpaceLeavesTheEarlierFile()
    {
        QFETCH(QString, kind);
        QFETCH(qint64, limit);
        QFETCH(qint64, size);
        const QString p = path(QStringLiteral("full-%1").arg(kind));
        const QByteArray earlier = "[Head]\nVersion=1\nthe earlier file\n";
        write(QFileInfo(p).fileName(), earlier);
        const auto [exit, told] = child(kind, p, limit, size);
        QCOMPARE(exit, 1);
        QVERIFY2(told.startsWith(QStringLiteral("无法写入文件 %1：").arg(p)), qPrintable(told));
        QCOMPARE(readAll(p), earlier);
        // Nothing of the failed save is left beside it.
        QCOMPARE(QDir(m_dir.path()).entryList({QStringLiteral("full-%1*").arg(kind)}, QDir::Files),
                 QStringList{QFileInfo(p).fileName()});
        // Without the limit the same save goes through.
        QCOMPARE(child(kind, p, 0, size).first, 0);
        QVERIFY(readAll(p) != earlier);
    }

    // A save killed half way (SIGKILL while it writes 256 MiB): the earlier file stays whole.
    void saveKilledHalfWayLeavesTheEarlierFile()
    {
        const QString p = path(QStringLiteral("killed.FAC.FPN"));
        const QByteArray earlier = "[Head]\nVersion=1\nthe earlier file\n";
        write(QFileInfo(p).fileName(), earlier);
        const qint64 size = qint64(256) << 20;
        QProcess saving;
        saving.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--save-child"), QStringLiteral("raw"), p,
                                                               QStringLiteral("0"), QString::number(size)});
        QVERIFY(saving.waitForStarted(10000));
        // It says so once its 256 MiB are in memory, just before the save.
        QVERIFY(saving.waitForReadyRead(20000));
        // Killed once a part of the file is written and well before all of it.
        QElapsedTimer t;
        t.start();
        qint64 written = 0;
        while (t.elapsed() < 20000 && saving.state() == QProcess::Running) {
            written = bytesWritten(saving.processId());
            if (written > (8 << 20)) break;
            QThread::usleep(100);
        }
        QVERIFY2(written > (8 << 20) && written < size, qPrintable(QString::number(written)));
        ::kill(pid_t(saving.processId()), SIGKILL);
        QVERIFY(saving.waitForFinished(10000));
        QCOMPARE(saving.exitStatus(), QProcess::CrashExit);
        QCOMPARE(readAll(p), earlier);
    }
};

int main(int argc, char** argv)
{
    if (argc == 6 && std::strcmp(argv[1], "--save-child") == 0) {
        QCoreApplication app(argc, argv);
        return saveChild(argv);
    }
    QCoreApplication app(argc, argv);
    TestParamFiles test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_paramfiles.moc"

// lsxcalib-cli apply: the tool's files applied to pictures and raw dumps on the disk, run as a
// station runs the executable; the output equals the correction library's own result, every
// file it writes reads back, and bad input leaves no output and says why.
#include "correct/correctfiles.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <opencv2/imgcodecs.hpp>

#include <random>

using namespace correcttest;

namespace {

struct Run {
    int exit = -1;
    QString err;
};

}  // namespace

class TestCliApply : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_exe, m_fpn, m_ffc, m_lsc, m_colourFpn, m_wideFpn, m_fourByteFpn;
    std::mt19937 m_rng{6};

    QString path(const QString& name) const { return m_dir.filePath(name); }

    Run cli(const QStringList& args)
    {
        QProcess p;
        p.start(m_exe, args);
        Run r;
        if (!p.waitForFinished(60000)) {
            p.kill();
            p.waitForFinished();
            return r;
        }
        r.exit = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -2;
        r.err = QString::fromLocal8Bit(p.readAllStandardError());
        return r;
    }

    // The library's correction of a picture, in place.
    void libraryCorrects(cv::Mat& m, int format, const QStringList& files, double gain = 1.0, int bits = 0)
    {
        Correction c;
        if (!files.value(0).isEmpty()) QCOMPARE(lsxcLoadFpn(c, files[0].toUtf8().constData()), LSXC_OK);
        if (!files.value(1).isEmpty()) QCOMPARE(lsxcLoadFfc(c, files[1].toUtf8().constData()), LSXC_OK);
        if (!files.value(2).isEmpty()) QCOMPARE(lsxcLoadLsc(c, files[2].toUtf8().constData()), LSXC_OK);
        QCOMPARE(lsxcSetGain(c, gain), LSXC_OK);
        lsxcImage img{format, bits, m.cols, m.rows, int64_t(m.step[0]), m.data, 0};
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_OK);
    }

    cv::Mat randomPicture(int type, int rows = 30, int cols = 200)
    {
        cv::Mat m(rows, cols, type);
        cv::randu(m, 0, CV_MAT_DEPTH(type) == CV_16U ? 65472 : 256);
        return m;
    }

private slots:
    void initTestCase()
    {
        m_exe = QCoreApplication::applicationDirPath() + QStringLiteral("/lsxcalib-cli");
        QVERIFY(QFileInfo::exists(m_exe));
        m_fpn = path(QStringLiteral("m.FAC.FPN"));
        QVERIFY(writeFpn(m_fpn, 0, FORMAT_MONO, randomRows(m_rng, 2, 200, 0, 10), randomRows(m_rng, 2, 200, 0.8, 1.2)));
        m_ffc = path(QStringLiteral("LS.FAC.FFC.a"));
        QVERIFY(writeFfc(m_ffc, 0, 200, randomRows(m_rng, 1, 200, 0.9, 1.1)));
        m_lsc = path(QStringLiteral("m.LSC.FAC"));
        QVERIFY(writeLsc(m_lsc, 0, 200, {{0, 0, 0, 0, 2e-5, -4e-3, 1.0, 1.05}}));
        m_colourFpn = path(QStringLiteral("c.FAC.FPN"));
        QVERIFY(writeFpn(m_colourFpn, 0, FORMAT_BGR24, randomRows(m_rng, 3, 200, 0, 10),
                         randomRows(m_rng, 3, 200, 0.8, 1.2)));
        m_fourByteFpn = path(QStringLiteral("c32.FAC.FPN"));
        QVERIFY(writeFpn(m_fourByteFpn, 0, FORMAT_BGR32, randomRows(m_rng, 3, 200, 0, 10),
                         randomRows(m_rng, 3, 200, 0.8, 1.2)));
        m_wideFpn = path(QStringLiteral("w.FAC.FPN"));
        QVERIFY(writeFpn(m_wideFpn, 0, FORMAT_MONO16, randomRows(m_rng, 1, 200, 0, 2000),
                         randomRows(m_rng, 1, 200, 0.8, 1.2)));
    }

    void picturesEqualTheLibrary_data()
    {
        QTest::addColumn<QString>("suffix");
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("format");
        QTest::addColumn<QString>("fpn");
        QTest::addColumn<QStringList>("extra");
        QTest::newRow("png mono8, gain 2") << "png" << CV_8UC1 << int(LSXC_MONO8) << m_fpn
                                           << QStringList{"--ffc", m_ffc, "--lsc", m_lsc, "--gain", "2"};
        QTest::newRow("tiff mono8") << "tif" << CV_8UC1 << int(LSXC_MONO8) << m_fpn << QStringList{"--ffc", m_ffc};
        QTest::newRow("png mono16") << "png" << CV_16UC1 << int(LSXC_MONO16) << m_wideFpn << QStringList{"--lsc", m_lsc};
        QTest::newRow("tiff mono16") << "tiff" << CV_16UC1 << int(LSXC_MONO16) << m_wideFpn << QStringList();
        QTest::newRow("png colour") << "png" << CV_8UC3 << int(LSXC_BGR8) << m_colourFpn << QStringList();
    }
    void picturesEqualTheLibrary()
    {
        QFETCH(QString, suffix);
        QFETCH(int, type);
        QFETCH(int, format);
        QFETCH(QString, fpn);
        QFETCH(QStringList, extra);
        const cv::Mat picture = randomPicture(type);
        const QString in = path(QStringLiteral("in.") + suffix), out = path(QStringLiteral("out.") + suffix);
        QVERIFY(cv::imwrite(in.toStdString(), picture));
        const Run run = cli(QStringList{"apply", "--fpn", fpn} + extra + QStringList{in, out});
        QVERIFY2(run.exit == 0, qPrintable(run.err));
        const cv::Mat written = cv::imread(out.toStdString(), cv::IMREAD_UNCHANGED);
        QCOMPARE(written.type(), type);
        cv::Mat expected = picture.clone();
        const int g = extra.indexOf(QStringLiteral("--gain"));
        libraryCorrects(expected, format,
                        {fpn, extra.contains(QStringLiteral("--ffc")) ? m_ffc : QString(),
                         extra.contains(QStringLiteral("--lsc")) ? m_lsc : QString()},
                        g >= 0 ? extra[g + 1].toDouble() : 1.0);
        QVERIFY(cv::norm(expected, picture, cv::NORM_INF) > 0);
        QCOMPARE(cv::norm(written, expected, cv::NORM_INF), 0.0);
        QVERIFY(run.err.contains(QStringLiteral("已校正")));
        // No temporary file is left beside the output.
        QCOMPARE(QDir(m_dir.path()).entryList({QStringLiteral(".*part*")}, QDir::Files | QDir::Hidden), QStringList());
    }

    void rawDumpsTakeTheirLayoutFromTheFiles()
    {
        // Mono8 lines of the FPN file's width, 25 of them; then 16-bit Mono12 words in the low bits.
        std::vector<uint8_t> lines(200 * 25);
        for (uint8_t& v : lines) v = uint8_t(m_rng());
        const QString in = path(QStringLiteral("lines.raw")), out = path(QStringLiteral("lines.out.raw"));
        QFile f(in);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(reinterpret_cast<const char*>(lines.data()), qint64(lines.size()));
        f.close();
        Run run = cli({"apply", "--fpn", m_fpn, in, out});
        QVERIFY2(run.exit == 0, qPrintable(run.err));
        QVERIFY(run.err.contains(QStringLiteral("25 行 x 200 像素（mono8）")));
        cv::Mat expected(25, 200, CV_8UC1, lines.data());
        expected = expected.clone();
        libraryCorrects(expected, LSXC_MONO8, {m_fpn});
        QFile o(out);
        QVERIFY(o.open(QIODevice::ReadOnly));
        const QByteArray written = o.readAll();
        QCOMPARE(written.size(), qsizetype(lines.size()));
        QVERIFY(std::memcmp(written.constData(), expected.data, lines.size()) == 0);

        // The 8-bit mono target 30 lays a dump out as mono8 too.
        const QString fpn30 = path(QStringLiteral("m30.FAC.FPN"));
        QVERIFY(writeFpn(fpn30, 0, 30, randomRows(m_rng, 2, 200, 0, 10), randomRows(m_rng, 2, 200, 0.8, 1.2)));
        run = cli({"apply", "--fpn", fpn30, in, path(QStringLiteral("lines30.out.raw"))});
        QVERIFY2(run.exit == 0, qPrintable(run.err));
        QVERIFY2(run.err.contains(QStringLiteral("25 行 x 200 像素（mono8）")), qPrintable(run.err));

        std::vector<uint16_t> words(200 * 4);
        for (uint16_t& w : words) w = uint16_t(m_rng() & 0xFFF);
        const QString in16 = path(QStringLiteral("w.bin")), out16 = path(QStringLiteral("w.png"));
        QFile g(in16);
        QVERIFY(g.open(QIODevice::WriteOnly));
        g.write(reinterpret_cast<const char*>(words.data()), qint64(words.size() * 2));
        g.close();
        run = cli({"apply", "--fpn", m_wideFpn, "--bits", "12", in16, out16});
        QVERIFY2(run.exit == 0, qPrintable(run.err));
        cv::Mat expected16(4, 200, CV_16UC1, words.data());
        expected16 = expected16.clone();
        libraryCorrects(expected16, LSXC_MONO16, {m_wideFpn}, 1.0, 12);
        const cv::Mat png = cv::imread(out16.toStdString(), cv::IMREAD_UNCHANGED);
        QCOMPARE(png.type(), CV_16UC1);
        QCOMPARE(cv::norm(png, expected16, cv::NORM_INF), 0.0);
        double top = 0;
        cv::minMaxLoc(png, nullptr, &top);
        QVERIFY(top <= 4095);
    }

    void badInputLeavesNoOutput_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("exit");
        QTest::addColumn<QString>("cause");
        const QString out = QStringLiteral("never.png");
        QTest::newRow("no file") << QStringList{"apply", "in.png", out} << 2 << QStringLiteral("至少一个校正文件");
        QTest::newRow("missing picture") << QStringList{"apply", "--fpn", "m.FAC.FPN", "nothere.png", out} << 1
                                         << QStringLiteral("无法读取图像");
        QTest::newRow("damaged fpn") << QStringList{"apply", "--fpn", "bad.FAC.FPN", "in.png", out} << 1
                                     << QStringLiteral("bad.FAC.FPN: version 7; only version 1 is read");
        QTest::newRow("wider than the data") << QStringList{"apply", "--fpn", "m.FAC.FPN", "wide.png", out} << 1
                                             << QStringLiteral("covers sensor columns 0 to 199, not a frame of 300");
        QTest::newRow("colour picture, mono data") << QStringList{"apply", "--fpn", "m.FAC.FPN", "colour.png", out} << 1
                                                   << QStringLiteral("made on a mono camera, the frames are colour");
        QTest::newRow("four channels") << QStringList{"apply", "--fpn", "m.FAC.FPN", "rgba.png", out} << 1
                                       << QStringLiteral("4 通道");
        QTest::newRow("ragged dump") << QStringList{"apply", "--fpn", "m.FAC.FPN", "ragged.raw", "never.raw"} << 1
                                     << QStringLiteral("有 450 字节，不是整数行（每行 200 像素 mono8，200 字节）");
        QTest::newRow("dump without layout") << QStringList{"apply", "--ffc", "LS.FAC.FFC.a", "ragged.raw", "never.raw"}
                                             << 2 << QStringLiteral("--format");
        // The camera's 4-byte colour tells no layout of a dump: --format must.
        QTest::newRow("dump of a 4-byte format")
            << QStringList{"apply", "--fpn", "c32.FAC.FPN", "colour.raw", "never.raw"} << 2
            << QStringLiteral("FPN 文件的目标格式 11 不是");
        // A save that cannot be made names the file and the cause.
        QTest::newRow("picture into a missing folder")
            << QStringList{"apply", "--fpn", "m.FAC.FPN", "in.png", "nowhere/never.png"} << 1
            << QStringLiteral("无法写入文件 %1：").arg(path(QStringLiteral("nowhere/never.png")));
        QTest::newRow("dump into a missing folder")
            << QStringList{"apply", "--fpn", "m.FAC.FPN", "plain.raw", "nowhere/never.raw"} << 1
            << QStringLiteral("无法写入文件 %1：").arg(path(QStringLiteral("nowhere/never.raw")));
        QTest::newRow("gain") << QStringList{"apply", "--fpn", "m.FAC.FPN", "--gain", "x", "in.png", out} << 2
                              << QStringLiteral("--gain 应在");
        QTest::newRow("over its input") << QStringList{"apply", "--fpn", "m.FAC.FPN", "in.png", "in.png"} << 2
                                        << QStringLiteral("就是输入文件");
    }
    void badInputLeavesNoOutput()
    {
        QFETCH(QStringList, args);
        QFETCH(int, exit);
        QFETCH(QString, cause);
        QDir::setCurrent(m_dir.path());
        cv::imwrite(path(QStringLiteral("in.png")).toStdString(), randomPicture(CV_8UC1));
        cv::imwrite(path(QStringLiteral("wide.png")).toStdString(), randomPicture(CV_8UC1, 5, 300));
        cv::imwrite(path(QStringLiteral("colour.png")).toStdString(), randomPicture(CV_8UC3));
        cv::imwrite(path(QStringLiteral("rgba.png")).toStdString(), randomPicture(CV_8UC4));
        QFile bad(path(QStringLiteral("bad.FAC.FPN")));
        QVERIFY(bad.open(QIODevice::WriteOnly));
        bad.write("[Head]\nVersion=7\n");
        bad.close();
        QFile ragged(path(QStringLiteral("ragged.raw")));
        QVERIFY(ragged.open(QIODevice::WriteOnly));
        ragged.write(QByteArray(450, 'x'));
        ragged.close();
        QFile colour(path(QStringLiteral("colour.raw")));
        QVERIFY(colour.open(QIODevice::WriteOnly));
        colour.write(QByteArray(200 * 3 * 5, 'x'));
        colour.close();
        QFile plain(path(QStringLiteral("plain.raw")));
        QVERIFY(plain.open(QIODevice::WriteOnly));
        plain.write(QByteArray(200 * 5, 'x'));
        plain.close();
        const Run run = cli(args);
        QCOMPARE(run.exit, exit);
        QVERIFY2(run.err.contains(cause), qPrintable(run.err));
        // A cause follows the file's name.
        if (cause.endsWith(QStringLiteral("：")))
            QVERIFY2(!run.err.contains(cause + QLatin1Char('\n')), qPrintable(run.err));
        QVERIFY(!QFileInfo::exists(path(QStringLiteral("never.png"))));
        QVERIFY(!QFileInfo::exists(path(QStringLiteral("never.raw"))));
        QCOMPARE(QDir(m_dir.path()).entryList({QStringLiteral(".*part*")}, QDir::Files | QDir::Hidden), QStringList());
    }

    void theJsonResultNamesTheFiles()
    {
        const QString in = path(QStringLiteral("j.png")), out = path(QStringLiteral("j.out.png"));
        const QString json = path(QStringLiteral("r.json"));
        QVERIFY(cv::imwrite(in.toStdString(), randomPicture(CV_8UC1)));
        const Run run = cli({"--json", json, "apply", "--fpn", m_fpn, "--ffc", m_ffc, in, out});
        QVERIFY2(run.exit == 0, qPrintable(run.err));
        QFile f(json);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QJsonObject step = QJsonDocument::fromJson(f.readAll()).object()[QStringLiteral("steps")].toArray()[0].toObject();
        QCOMPARE(step[QStringLiteral("outcome")].toString(), QStringLiteral("ok"));
        const QJsonArray files = step[QStringLiteral("files")].toArray();
        QCOMPARE(files.size(), 3);
        QCOMPARE(files[0].toString(), m_fpn);
        QCOMPARE(files[2].toString(), out);
        QCOMPARE(step[QStringLiteral("figures")].toObject()[QStringLiteral("lines")].toInt(), 30);
    }
};

QTEST_GUILESS_MAIN(TestCliApply)
#include "test_cliapply.moc"

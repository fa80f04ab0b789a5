// liblsxcorrect: its file loaders against the tool's own writers, its arithmetic with exact
// numbers, and the refusals that leave data and image as they were.
#include "correct/files.h"
#include "correct/kernel.h"
#include "correctfiles.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <random>
#include <vector>

using namespace correcttest;

namespace {

// A row of n equal values.
QList<double> row(int n, double v)
{
    return QList<double>(n, v);
}

// An image over a vector of samples.
template <typename T>
lsxcImage imageOf(std::vector<T>& px, int format, int width, int lines, int bits = 0)
{
    lsxcImage img{};
    img.format = format;
    img.bits = bits;
    img.width = width;
    img.lines = lines;
    img.data = px.data();
    return img;
}

// One sample through a fresh correct call, in place.
template <typename T>
T corrected(lsxcCorrection* c, int format, T v, int bits = 0)
{
    std::vector<T> px(1, v);
    lsxcImage img = imageOf(px, format, 1, 1, bits);
    if (lsxcCorrect(c, &img, &img) != LSXC_OK) return T(0xDEAD & 0xFF);
    return px[0];
}

}  // namespace

class TestCorrect : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QString path(const char* name) const { return m_dir.filePath(QLatin1String(name)); }

    // A text file written as it stands.
    QString textFile(const char* name, const QByteArray& text)
    {
        QFile f(path(name));
        f.open(QIODevice::WriteOnly | QIODevice::Truncate);
        f.write(text);
        return f.fileName();
    }

private slots:
    void fpnFileReadsTheToolsFile()
    {
        // Twelve columns: more than ten, so that the text order of the keys is not the columns'.
        QList<double> b0, k0, b1, k1;
        for (int x = 0; x < 12; ++x) {
            b0 << 0.5 * x;
            k0 << 1.0 + 0.01 * x;
            b1 << 100.0 + x;
            k1 << 2.0 - 0.125 * x;
        }
        QVERIFY(writeFpn(path("a.FAC.FPN"), 7, FORMAT_MONO16, {b0, b1}, {k0, k1}));
        lsxc::FpnFile f;
        std::string why;
        QVERIFY2(lsxc::loadFpnFile(path("a.FAC.FPN").toStdString(), f, why), why.c_str());
        QCOMPARE(f.x, 7);
        QCOMPARE(f.columns, 12);
        QCOMPARE(f.bits, 16);
        QCOMPARE(f.colour, false);
        QCOMPARE(f.multiLevel, false);
        QCOMPARE(int(f.b.size()), 2);
        QCOMPARE(int(f.k.size()), 2);
        for (int x = 0; x < 12; ++x) {
            QCOMPARE(f.b[0][size_t(x)], b0[x]);
            QCOMPARE(f.k[0][size_t(x)], k0[x]);
            QCOMPARE(f.b[1][size_t(x)], b1[x]);
            QCOMPARE(f.k[1][size_t(x)], k1[x]);
        }
        // A dark field alone (no K rows) and a colour file in RGB order.
        QVERIFY(writeFpn(path("b.FAC.FPN"), 0, FORMAT_RGB24, {row(3, 1), row(3, 2), row(3, 3)}, {}));
        QVERIFY(lsxc::loadFpnFile(path("b.FAC.FPN").toStdString(), f, why));
        QVERIFY(f.k.empty());
        QVERIFY(f.colour && f.rgbOrder);
        QCOMPARE(f.bits, 8);
    }

    void ffcAndLscFilesReadTheToolsFiles()
    {
        QVERIFY(writeFfc(path("m.FAC.FFC.a"), 100, 4, {{1.5, 0.75, 1.25, 2.0}}));
        lsxc::FfcFile f;
        std::string why;
        QVERIFY2(lsxc::loadFfcFile(path("m.FAC.FFC.a").toStdString(), f, why), why.c_str());
        QCOMPARE(f.x, 100);
        QCOMPARE(f.width, 4);
        QCOMPARE(int(f.channels.size()), 1);
        QCOMPARE(f.channels.at('R'), (std::vector<double>{1.5, 0.75, 1.25, 2.0}));
        // Colour: the tool's list is B, G, R and the file names them.
        QVERIFY(writeFfc(path("c.FAC.FFC.a"), 0, 2, {{1.0, 1.1}, {1.2, 1.3}, {1.4, 1.5}}));
        QVERIFY(lsxc::loadFfcFile(path("c.FAC.FFC.a").toStdString(), f, why));
        QCOMPARE(f.channels.at('B'), (std::vector<double>{1.0, 1.1}));
        QCOMPARE(f.channels.at('R'), (std::vector<double>{1.4, 1.5}));

        QVERIFY(writeLsc(path("m.LSC.FAC"), 10, 20, {{0, 0, 0, 0, 0, 0, 2.0, 3.0}}));
        lsxc::LscFile l;
        QVERIFY2(lsxc::loadLscFile(path("m.LSC.FAC").toStdString(), l, why), why.c_str());
        QCOMPARE(int(l.channels.size()), 1);
        QCOMPARE(l.x, 10);
        QCOMPARE(l.width, 20);
        QCOMPARE(lsxc::lscGainAt(l.channels.at('R'), l.x, l.width, 10), 1.5);
        QCOMPARE(lsxc::lscGainAt(l.channels.at('R'), l.x, l.width, 29), 1.5);
        QCOMPARE(lsxc::lscGainAt(l.channels.at('R'), l.x, l.width, 30), 1.0);
        QCOMPARE(lsxc::lscGainAt(l.channels.at('R'), l.x, l.width, 9), 1.0);
        // The camera's limits: at most 16, and 1 where the quotient is no gain.
        QCOMPARE(lsxc::lscGainAt({0, 0, 0, 0, 0, 0, 0.1, 3.0}, 0, 5, 2), 16.0);
        QCOMPARE(lsxc::lscGainAt({0, 0, 0, 0, 0, 0, -2.0, 3.0}, 0, 5, 2), 1.0);
        QCOMPARE(lsxc::lscGainAt({0, 0, 0, 0, 0, 1.0, 0.0, 3.0}, 0, 5, 0), 1.0);  // 3 / 0
        // x^2 + 1 at column 3 of the ROI: 10 / 10.
        QCOMPARE(lsxc::lscGainAt({0, 0, 0, 0, 1.0, 0, 1.0, 10.0}, 5, 10, 8), 1.0);
    }

    void damagedFilesAreRefusedWithTheirCause_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("cause");
        const QByteArray head = "[Head]\nVersion=1\nCamera=x\nSupportMLK=false\nSourceFormat=0\nTargetFormat=0\nX=0\nW=2\n";
        QTest::newRow("version") << QByteArray("[Head]\nVersion=2\n") << "version 2; only version 1";
        QTest::newRow("no head") << QByteArray("[B_0]\n0=1\n") << "no Head/Version";
        QTest::newRow("target") << QByteArray(head).replace("TargetFormat=0", "TargetFormat=99")
                                << "Head/TargetFormat 99";
        QTest::newRow("no rows") << head << "no B rows";
        QTest::newRow("gap") << head + "[B_0]\n0=1\n1=2\n[B_2]\n0=1\n1=2\n" << "[B_1] is missing";
        QTest::newRow("garbage") << head + "[B_0]\n0=1\n1=abc\n" << "[B_0] 1 is \"abc\", not a finite number";
        QTest::newRow("nan") << head + "[B_0]\n0=1\n1=nan\n" << "not a finite number";
        QTest::newRow("column") << head + "[B_0]\n0=1\n2=2\n" << "not a column 0 to 1";
        QTest::newRow("short") << head + "[B_0]\n0=1\n1=2\n[B_1]\n0=1\n" << "[B_1] has 1 columns, [B_0] 2";
        QTest::newRow("k rows") << head + "[B_0]\n0=1\n1=2\n[K_0]\n0=1\n1=1\n[K_1]\n0=1\n1=1\n" << "2 K rows for 1 B rows";
        QTest::newRow("twice") << head + "[B_0]\n0=1\n0=2\n" << "the key \"0\" twice";
        QTest::newRow("quote") << QByteArray("[Head]\nCamera=\"open\n") << "does not close";
        QTest::newRow("no key") << QByteArray("[Head]\njust text\n") << "line 2 is no key=value";
        QTest::newRow("binary") << QByteArray("[Head]\nVersion=1\0\1\2", 19) << "not a text file";
    }
    void damagedFilesAreRefusedWithTheirCause()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, cause);
        // A good file first: a refused one must leave it in force.
        QVERIFY(writeFpn(path("good.FAC.FPN"), 0, FORMAT_MONO, {row(1, 10.0)}, {row(1, 1.5)}));
        Correction c;
        QCOMPARE(lsxcLoadFpn(c, path("good.FAC.FPN").toUtf8().constData()), LSXC_OK);
        QCOMPARE(corrected<uint8_t>(c, LSXC_MONO8, 100), uint8_t(135));
        const QString bad = textFile("bad.FAC.FPN", text);
        QCOMPARE(lsxcLoadFpn(c, bad.toUtf8().constData()), LSXC_ERR_FILE_FORMAT);
        QVERIFY2(c.error().contains(cause), qPrintable(c.error()));
        QVERIFY2(c.error().contains(bad), qPrintable(c.error()));
        QCOMPARE(corrected<uint8_t>(c, LSXC_MONO8, 100), uint8_t(135));
    }

    void damagedFlatFilesAreRefused()
    {
        Correction c;
        QCOMPARE(lsxcLoadFfc(c, path("none").toUtf8().constData()), LSXC_ERR_FILE_OPEN);
        QVERIFY(c.error().contains(QStringLiteral("cannot be opened")));
        const QString v1 = textFile("v1.FFC", "[FFC]\nVersion=1\n[FFC_ROI]\nOffsetH=0\nWidth=2\n[FFC_R]\n0=1\n1=1\n");
        QCOMPARE(lsxcLoadFfc(c, v1.toUtf8().constData()), LSXC_ERR_FILE_FORMAT);
        QVERIFY(c.error().contains(QStringLiteral("only version 2")));
        const QString zero = textFile("z.FFC", "[FFC]\nVersion=2\n[FFC_ROI]\nOffsetH=0\nWidth=2\n[FFC_R]\n0=1\n1=0\n");
        QCOMPARE(lsxcLoadFfc(c, zero.toUtf8().constData()), LSXC_ERR_FILE_FORMAT);
        QVERIFY(c.error().contains(QStringLiteral("[FFC_R] 1 is \"0\", not a gain above 0")));
        const QString wide = textFile("w.FFC", "[FFC]\nVersion=2\n[FFC_ROI]\nOffsetH=0\nWidth=70000\n[FFC_R]\n");
        QCOMPARE(lsxcLoadFfc(c, wide.toUtf8().constData()), LSXC_ERR_FILE_FORMAT);
        QVERIFY(c.error().contains(QStringLiteral("FFC_ROI/Width is \"70000\"")));
        const QString none = textFile("n.FFC", "[FFC]\nVersion=2\n[FFC_ROI]\nOffsetH=0\nWidth=2\n");
        QCOMPARE(lsxcLoadFfc(c, none.toUtf8().constData()), LSXC_ERR_FILE_FORMAT);
        QVERIFY(c.error().contains(QStringLiteral("none of [FFC_R]")));
        // A column without its key, or a key outside the ROI: the tool asks about the first and
        // refuses the second; with no one to ask, both are refused, the first offender named,
        // and the file in force stays.
        const QString good = textFile("ok.FFC", "[FFC]\nVersion=2\n[FFC_ROI]\nOffsetH=5\nWidth=2\n[FFC_R]\n5=2\n6=3\n");
        QCOMPARE(lsxcLoadFfc(c, good.toUtf8().constData()), LSXC_OK);
        const QString gap = textFile("g.FFC", "[FFC]\nVersion=2\n[FFC_ROI]\nOffsetH=5\nWidth=4\n[FFC_R]\n5=2\n7=2\n");
        QCOMPARE(lsxcLoadFfc(c, gap.toUtf8().constData()), LSXC_ERR_FILE_FORMAT);
        QVERIFY2(c.error().contains(QStringLiteral("[FFC_R] has no gain for 2 of the ROI's 4 columns, the first sensor "
                                                   "column 6")),
                 qPrintable(c.error()));
        const QString outside =
            textFile("o.FFC", "[FFC]\nVersion=2\n[FFC_ROI]\nOffsetH=5\nWidth=2\n[FFC_G]\n5=2\n6=2\n7=2\n");
        QCOMPARE(lsxcLoadFfc(c, outside.toUtf8().constData()), LSXC_ERR_FILE_FORMAT);
        QVERIFY2(c.error().contains(QStringLiteral("[FFC_G] \"7\" is not a column of the ROI (sensor columns 5 to 6)")),
                 qPrintable(c.error()));
        const QString text =
            textFile("t.FFC", "[FFC]\nVersion=2\n[FFC_ROI]\nOffsetH=5\nWidth=2\n[FFC_R]\n5=2\n6=2\nnote=x\n");
        QCOMPARE(lsxcLoadFfc(c, text.toUtf8().constData()), LSXC_ERR_FILE_FORMAT);
        QVERIFY2(c.error().contains(QStringLiteral("[FFC_R] \"note\" is not a column of the ROI")),
                 qPrintable(c.error()));
        std::vector<uint8_t> px{10, 10};
        lsxcImage img = imageOf(px, LSXC_MONO8, 2, 1);
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_OK);
        QCOMPARE(px, (std::vector<uint8_t>{20, 30}));

        QVERIFY(writeLsc(path("two.LSC.FAC"), 0, 4, {{0, 0, 0, 0, 0, 0, 1, 1}, {0, 0, 0, 0, 0, 0, 1, 1}}));
        QCOMPARE(lsxcLoadLsc(c, path("two.LSC.FAC").toUtf8().constData()), LSXC_ERR_FILE_FORMAT);
        QVERIFY2(c.error().contains(QStringLiteral("one of [FFC_G], [FFC_B] but not in the other")),
                 qPrintable(c.error()));
        QVERIFY(writeLsc(path("zero.LSC.FAC"), 0, 4, {}));
        QCOMPARE(lsxcLoadLsc(c, path("zero.LSC.FAC").toUtf8().constData()), LSXC_ERR_FILE_FORMAT);
        QVERIFY(c.error().contains(QStringLiteral("no polynomial in [FFC_R]")));
    }

    void fpnIsTheCamerasArithmetic()
    {
        // (v - B) x K, rounded and saturated: 200 with B 10 and K 1.5 is 255, with K 0.5 is 95.
        QVERIFY(writeFpn(path("k15.FAC.FPN"), 0, FORMAT_MONO, {row(1, 10.0)}, {row(1, 1.5)}));
        QVERIFY(writeFpn(path("k05.FAC.FPN"), 0, FORMAT_MONO, {row(1, 10.0)}, {row(1, 0.5)}));
        Correction c;
        QCOMPARE(lsxcLoadFpn(c, path("k15.FAC.FPN").toUtf8().constData()), LSXC_OK);
        QCOMPARE(corrected<uint8_t>(c, LSXC_MONO8, 200), uint8_t(255));
        QCOMPARE(corrected<uint8_t>(c, LSXC_MONO8, 5), uint8_t(0));
        QCOMPARE(lsxcLoadFpn(c, path("k05.FAC.FPN").toUtf8().constData()), LSXC_OK);
        QCOMPARE(corrected<uint8_t>(c, LSXC_MONO8, 200), uint8_t(95));
        QCOMPARE(corrected<uint8_t>(c, LSXC_MONO8, 11), uint8_t(0));  // 0.5: ties to even
        QCOMPARE(corrected<uint8_t>(c, LSXC_MONO8, 13), uint8_t(2));  // 1.5
        // An 8-bit calibration on 16-bit words: B 10 is 2560 on the 16-bit scale, 40 in Mono10,
        // 160 in Mono12; full scale is the depth's.
        QCOMPARE(corrected<uint16_t>(c, LSXC_MONO16, 12560), uint16_t(5000));
        QCOMPARE(corrected<uint16_t>(c, LSXC_MONO16, 540, 10), uint16_t(250));
        QCOMPARE(corrected<uint16_t>(c, LSXC_MONO16, 2160, 12), uint16_t(1000));
        QCOMPARE(lsxcLoadFpn(c, path("k15.FAC.FPN").toUtf8().constData()), LSXC_OK);
        QCOMPARE(corrected<uint16_t>(c, LSXC_MONO16, 1000, 10), uint16_t(1023));
        QCOMPARE(corrected<uint16_t>(c, LSXC_MONO16, 4000, 12), uint16_t(4095));
        QCOMPARE(corrected<uint16_t>(c, LSXC_MONO16, 60000), uint16_t(65535));
        // A 16-bit calibration on 8-bit data: B 2560 is 10.
        QVERIFY(writeFpn(path("w.FAC.FPN"), 0, FORMAT_MONO16, {row(1, 2560.0)}, {row(1, 0.5)}));
        QCOMPARE(lsxcLoadFpn(c, path("w.FAC.FPN").toUtf8().constData()), LSXC_OK);
        QCOMPARE(corrected<uint8_t>(c, LSXC_MONO8, 200), uint8_t(95));
        // Depths the library does not take.
        std::vector<uint16_t> px(1, 5);
        lsxcImage img = imageOf(px, LSXC_MONO16, 1, 1, 14);
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_ERR_NOT_SUPPORTED);
        QCOMPARE(px[0], uint16_t(5));
    }

    void theGainPicksItsRows()
    {
        // Three gains of one row each: B 1, 2, 3.
        QVERIFY(writeFpn(path("g.FAC.FPN"), 0, FORMAT_MONO, {row(2, 1), row(2, 2), row(2, 3)}, {}));
        Correction c;
        QCOMPARE(lsxcLoadFpn(c, path("g.FAC.FPN").toUtf8().constData()), LSXC_OK);
        const std::vector<std::pair<double, int>> cases{{1.0, 99}, {1.4, 99}, {1.6, 98}, {2.4, 98},
                                                        {2.6, 97}, {3.0, 97}, {8.0, 97}, {0.5, 99}};
        for (const auto& [gain, expected] : cases) {
            QCOMPARE(lsxcSetGain(c, gain), LSXC_OK);
            QCOMPARE(int(corrected<uint8_t>(c, LSXC_MONO8, 100)), expected);
        }
        QCOMPARE(lsxcSetGain(c, -1.0), LSXC_ERR_ARGUMENT);
        QCOMPARE(lsxcSetGain(c, std::nan("")), LSXC_ERR_ARGUMENT);
        lsxcInfo info;
        QCOMPARE(lsxcGetInfo(c, &info), LSXC_OK);
        QCOMPARE(info.gain, 0.5);
        QCOMPARE(info.fpnRows, 3);
        QCOMPARE(info.fpnColumns, 2);
        QCOMPARE(info.loaded, int(LSXC_FPN));
    }

    void colourRowsAndChannelsMeetByName()
    {
        // Rows of an RGB calibration: R 10, G 20, B 30; of a BGR one: B 10, G 20, R 30.
        QVERIFY(writeFpn(path("rgb.FAC.FPN"), 0, FORMAT_RGB24, {row(1, 10), row(1, 20), row(1, 30)}, {}));
        QVERIFY(writeFpn(path("bgr.FAC.FPN"), 0, FORMAT_BGR24, {row(1, 10), row(1, 20), row(1, 30)}, {}));
        // Flat field: B 1.5, G 1.25, R 1.0 (the tool's list is B, G, R).
        QVERIFY(writeFfc(path("c.FAC.FFC.x"), 0, 1, {{1.5}, {1.25}, {1.0}}));
        Correction c;
        QCOMPARE(lsxcLoadFpn(c, path("rgb.FAC.FPN").toUtf8().constData()), LSXC_OK);
        QCOMPARE(lsxcLoadFfc(c, path("c.FAC.FFC.x").toUtf8().constData()), LSXC_OK);
        std::vector<uint8_t> rgb{100, 100, 100}, bgr{100, 100, 100};
        lsxcImage a = imageOf(rgb, LSXC_RGB8, 1, 1), b = imageOf(bgr, LSXC_BGR8, 1, 1);
        QCOMPARE(lsxcCorrect(c, &a, &a), LSXC_OK);
        QCOMPARE(lsxcCorrect(c, &b, &b), LSXC_OK);
        // R: (100 - 10) x 1.0, G: (100 - 20) x 1.25, B: (100 - 30) x 1.5.
        QCOMPARE(rgb, (std::vector<uint8_t>{90, 100, 105}));
        QCOMPARE(bgr, (std::vector<uint8_t>{105, 100, 90}));
        QCOMPARE(lsxcLoadFpn(c, path("bgr.FAC.FPN").toUtf8().constData()), LSXC_OK);
        rgb = {100, 100, 100};
        QCOMPARE(lsxcCorrect(c, &a, &a), LSXC_OK);
        QCOMPARE(rgb, (std::vector<uint8_t>{70, 100, 135}));
        // A mono calibration does not fit colour frames, nor a colour one mono frames.
        std::vector<uint8_t> mono{100};
        lsxcImage m = imageOf(mono, LSXC_MONO8, 1, 1);
        QCOMPARE(lsxcCorrect(c, &m, &m), LSXC_ERR_SIZE);
        QVERIFY(c.error().contains(QStringLiteral("made on a colour camera, the frames are mono")));
        QCOMPARE(mono[0], uint8_t(100));
    }

    void flatFieldAndLensShadingFollowTheSensorColumn()
    {
        QList<double> gains;
        for (int i = 0; i < 50; ++i) gains << 1.0 + i / 100.0;
        QVERIFY(writeFfc(path("r.FAC.FFC.x"), 100, 50, {gains}));
        Correction c;
        QCOMPARE(lsxcLoadFfc(c, path("r.FAC.FFC.x").toUtf8().constData()), LSXC_OK);
        std::vector<uint8_t> px(20, 100);
        lsxcImage img = imageOf(px, LSXC_MONO8, 20, 1);
        QCOMPARE(lsxcSetRegion(c, 110), LSXC_OK);
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_OK);
        for (int x = 0; x < 20; ++x) QCOMPARE(int(px[size_t(x)]), int(std::nearbyint(100.0 * float(gains[10 + x]))));
        // The region's own X by default: the file's.
        px.assign(20, 100);
        QCOMPARE(lsxcSetRegion(c, -1), LSXC_OK);
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_OK);
        QCOMPARE(int(px[19]), 119);
        // Frames beyond the file's columns are refused, untouched.
        px.assign(20, 100);
        QCOMPARE(lsxcSetRegion(c, 140), LSXC_OK);
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_ERR_SIZE);
        QVERIFY2(c.error().contains(QStringLiteral(
                     "the FFC file covers sensor columns 100 to 149, not a frame of 20 columns from sensor column 140")),
                 qPrintable(c.error()));
        QCOMPARE(px, std::vector<uint8_t>(20, 100));

        // Lens shading: 3 / (x^2 / 100 + 2) over the ROI from column 10, 1 outside; the flat
        // field and the lens shading multiply before the one rounding.
        QVERIFY(writeLsc(path("m.LSC.FAC"), 10, 20, {{0, 0, 0, 0, 0.01, 0, 2.0, 3.0}}));
        QCOMPARE(lsxcLoadLsc(c, path("m.LSC.FAC").toUtf8().constData()), LSXC_OK);
        QCOMPARE(lsxcSetRegion(c, 100), LSXC_OK);
        QCOMPARE(lsxcSetSwitches(c, LSXC_LSC), LSXC_OK);
        px.assign(20, 100);
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_OK);
        QCOMPARE(px, std::vector<uint8_t>(20, 100));  // sensor columns 100..119 lie outside the ROI
        QCOMPARE(lsxcSetRegion(c, 0), LSXC_OK);
        QCOMPARE(lsxcSetSwitches(c, LSXC_ALL), LSXC_OK);
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_ERR_SIZE);  // the FFC file does not reach column 0
        QCOMPARE(lsxcSetSwitches(c, LSXC_LSC), LSXC_OK);
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_OK);
        for (int x = 0; x < 20; ++x) {
            const double l = x < 10 ? 1.0 : 3.0 / ((x - 10) * (x - 10) / 100.0 + 2.0);
            QCOMPARE(int(px[size_t(x)]), int(std::nearbyint(100.0 * float(l))));
        }
        // Switched off, nothing applies: said, and the image untouched.
        QCOMPARE(lsxcSetSwitches(c, 0), LSXC_OK);
        const std::vector<uint8_t> before = px;
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_ERR_NO_DATA);
        QCOMPARE(px, before);
        QCOMPARE(lsxcSetSwitches(c, 8), LSXC_ERR_ARGUMENT);
    }

    void oneRoundingForTheWholeProduct()
    {
        // (101 - 0.5) x 1.0 x 1.5 x 1 = 150.75 -> 151; rounded after each step it would be
        // round(round(100.5) x 1.5) = 150.
        QVERIFY(writeFpn(path("h.FAC.FPN"), 0, FORMAT_MONO, {row(1, 0.5)}, {row(1, 1.0)}));
        QVERIFY(writeFfc(path("h.FAC.FFC.x"), 0, 1, {{1.5}}));
        Correction c;
        QCOMPARE(lsxcLoadFpn(c, path("h.FAC.FPN").toUtf8().constData()), LSXC_OK);
        QCOMPARE(lsxcLoadFfc(c, path("h.FAC.FFC.x").toUtf8().constData()), LSXC_OK);
        QCOMPARE(corrected<uint8_t>(c, LSXC_MONO8, 101), uint8_t(151));
    }

    void kBandsFollowTheLevelLessB()
    {
        // Nine bands of K 1.0, 1.1, ... 1.8 (levels up to 4, 8, 12, 16, 24, 32, 64, 128, 255), B 10.
        QList<QList<double>> bands;
        for (int j = 0; j < 9; ++j) bands << row(1, 1.0 + 0.1 * j);
        QVERIFY(writeFpn(path("mlk.FAC.FPN"), 0, FORMAT_MONO, {row(1, 10.0)}, bands, true));
        Correction c;
        QCOMPARE(lsxcLoadFpn(c, path("mlk.FAC.FPN").toUtf8().constData()), LSXC_OK);
        lsxcInfo info;
        lsxcGetInfo(c, &info);
        QCOMPARE(info.fpnBands, 9);
        QCOMPARE(corrected<uint8_t>(c, LSXC_MONO8, 14), uint8_t(4));   // level 4: band 0
        QCOMPARE(corrected<uint8_t>(c, LSXC_MONO8, 16), uint8_t(7));    // level 6: band 1, 6 x 1.1
        QCOMPARE(corrected<uint8_t>(c, LSXC_MONO8, 74), uint8_t(102));  // level 64: band 6, 64 x 1.6
        QCOMPARE(corrected<uint8_t>(c, LSXC_MONO8, 76), uint8_t(112));  // level 66: band 7, 66 x 1.7
        QCOMPARE(corrected<uint8_t>(c, LSXC_MONO8, 200), uint8_t(255));
        // 16-bit words: the levels on the 16-bit scale (x 256), B 2560.
        QCOMPARE(corrected<uint16_t>(c, LSXC_MONO16, 2560 + 1024), uint16_t(1024));  // level 4: band 0
        QCOMPARE(corrected<uint16_t>(c, LSXC_MONO16, 2560 + 1030), uint16_t(1133));  // band 1: 1030 x 1.1
        QCOMPARE(corrected<uint16_t>(c, LSXC_MONO16, 40 + 17, 10), uint16_t(19));    // Mono10: 17 x 1.1
    }

    void sensorLinesFollowTheLineNumber()
    {
        // Two sensor lines, B 10 and 20.
        QVERIFY(writeFpn(path("l.FAC.FPN"), 0, FORMAT_MONO, {row(3, 10), row(3, 20)}, {row(3, 1), row(3, 1)}));
        Correction c;
        QCOMPARE(lsxcLoadFpn(c, path("l.FAC.FPN").toUtf8().constData()), LSXC_OK);
        std::vector<uint8_t> px(12, 100);
        lsxcImage img = imageOf(px, LSXC_MONO8, 3, 4);
        // One line: the file's two rows are two gains.
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_OK);
        QCOMPARE(px, std::vector<uint8_t>(12, 90));
        QCOMPARE(lsxcSetSensorLines(c, 2), LSXC_OK);
        px.assign(12, 100);
        img.firstLine = 7;  // an odd first line: the block starts on the second sensor line
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_OK);
        QCOMPARE(px, (std::vector<uint8_t>{80, 80, 80, 90, 90, 90, 80, 80, 80, 90, 90, 90}));
        QCOMPARE(lsxcSetSensorLines(c, 3), LSXC_OK);
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_ERR_SIZE);
        QVERIFY(c.error().contains(QStringLiteral("2 rows are not a whole number of gains of 3 sensor lines")));
        QCOMPARE(lsxcSetSensorLines(c, 0), LSXC_ERR_ARGUMENT);
    }

    void sensorLinesTakeTheirFlatFieldListsByName()
    {
        // Two sensor lines take the lists R and G, counted from 1; a file of R and B has two
        // lists all the same, but none for the second line.
        const QByteArray head = "[FFC]\nVersion=2\n[FFC_ROI]\nOffsetH=0\nWidth=1\n[FFC_R]\n0=2\n";
        const QString rg = textFile("rg.FFC", head + "[FFC_G]\n0=3\n");
        const QString rb = textFile("rb.FFC", head + "[FFC_B]\n0=3\n");
        Correction c;
        QCOMPARE(lsxcSetSensorLines(c, 2), LSXC_OK);
        QCOMPARE(lsxcLoadFfc(c, rg.toUtf8().constData()), LSXC_OK);
        std::vector<uint8_t> px{10, 10};
        lsxcImage img = imageOf(px, LSXC_MONO8, 1, 2);
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_OK);
        QCOMPARE(px, (std::vector<uint8_t>{20, 30}));
        QCOMPARE(lsxcLoadFfc(c, rb.toUtf8().constData()), LSXC_OK);
        px = {10, 10};
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_ERR_SIZE);
        QVERIFY2(c.error().contains(QStringLiteral("the FFC file has no list G for sensor line 1")),
                 qPrintable(c.error()));
        QCOMPARE(px, (std::vector<uint8_t>{10, 10}));
    }

    void imagesAreCheckedBeforeAnythingIsWritten()
    {
        QVERIFY(writeFpn(path("i.FAC.FPN"), 0, FORMAT_MONO, {row(8, 10)}, {row(8, 1)}));
        Correction c;
        std::vector<uint8_t> px(64, 100), out(64, 7);
        lsxcImage img = imageOf(px, LSXC_MONO8, 8, 8);
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_ERR_NO_DATA);
        QVERIFY(c.error().contains(QStringLiteral("no correction is loaded")));
        QCOMPARE(lsxcLoadFpn(c, path("i.FAC.FPN").toUtf8().constData()), LSXC_OK);
        QCOMPARE(c.error(), QString());
        // Wider than the data.
        lsxcImage wide = imageOf(px, LSXC_MONO8, 9, 7);
        QCOMPARE(lsxcCorrect(c, &wide, &wide), LSXC_ERR_SIZE);
        QVERIFY(c.error().contains(QStringLiteral("covers sensor columns 0 to 7")));
        // Into another buffer: the input stays, the output has the result.
        lsxcImage to = imageOf(out, LSXC_MONO8, 8, 8);
        QCOMPARE(lsxcCorrect(c, &img, &to), LSXC_OK);
        QCOMPARE(px, std::vector<uint8_t>(64, 100));
        QCOMPARE(out, std::vector<uint8_t>(64, 90));
        // Overlapping buffers, sizes that differ, lines too short, odd 16-bit addresses, no data.
        lsxcImage shifted = imageOf(px, LSXC_MONO8, 8, 7);
        shifted.data = px.data() + 8;
        lsxcImage first = imageOf(px, LSXC_MONO8, 8, 7);
        QCOMPARE(lsxcCorrect(c, &first, &shifted), LSXC_ERR_ARGUMENT);
        QVERIFY(c.error().contains(QStringLiteral("overlap")));
        lsxcImage other = imageOf(out, LSXC_MONO8, 8, 7);
        QCOMPARE(lsxcCorrect(c, &img, &other), LSXC_ERR_ARGUMENT);
        img.stride = 4;
        QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_ERR_ARGUMENT);
        QVERIFY(c.error().contains(QStringLiteral("lines of 4 bytes hold no 8 pixels")));
        std::vector<uint16_t> words(9, 100);
        lsxcImage odd{LSXC_MONO16, 0, 8, 1, 0, reinterpret_cast<uint8_t*>(words.data()) + 1, 0};
        QCOMPARE(lsxcCorrect(c, &odd, &odd), LSXC_ERR_ARGUMENT);
        lsxcImage none{LSXC_MONO8, 0, 8, 1, 0, nullptr, 0};
        QCOMPARE(lsxcCorrect(c, &none, &none), LSXC_ERR_ARGUMENT);
        lsxcImage unknown{9, 0, 8, 1, 0, px.data(), 0};
        QCOMPARE(lsxcCorrect(c, &unknown, &unknown), LSXC_ERR_ARGUMENT);
        QCOMPARE(lsxcCorrect(c, nullptr, &unknown), LSXC_ERR_ARGUMENT);
        QCOMPARE(lsxcCorrect(nullptr, &img, &img), LSXC_ERR_ARGUMENT);
        QCOMPARE(lsxcLoadFpn(c, nullptr), LSXC_ERR_ARGUMENT);
        QCOMPARE(px, std::vector<uint8_t>(64, 100));
        int32_t version = 0;
        QCOMPARE(lsxcVersion(&version), LSXC_OK);
        QCOMPARE(version, LSXC_VERSION);
    }

    void resultsDoNotDependOnBlocksThreadsOrRegisters()
    {
        // A wide colour frame with everything on, once whole on every core, once line by line on
        // one thread with the narrowest registers, once with the stride of a larger buffer.
        const int w = 3000, h = 40;
        std::mt19937 rng(5);
        std::uniform_real_distribution<double> bd(0, 20), kd(0.8, 1.3), fd(0.9, 1.2);
        QList<QList<double>> b, k, f;
        for (int r = 0; r < 3; ++r) {
            QList<double> br, kr, fr;
            for (int x = 0; x < w; ++x) {
                br << bd(rng);
                kr << kd(rng);
                fr << fd(rng);
            }
            b << br;
            k << kr;
            f << fr;
        }
        QVERIFY(writeFpn(path("r.FAC.FPN"), 0, FORMAT_BGR24, b, k));
        QVERIFY(writeFfc(path("r.FAC.FFC.x"), 0, w, f));
        QVERIFY(writeLsc(
            path("r.LSC.FAC"), 0, w,
            {{0, 0, 0, 0, 1e-7, -3e-4, 1.0, 1.1}, {0, 0, 0, 0, 1e-7, -3e-4, 1.0, 1.0}, {0, 0, 0, 0, 0, 0, 1.0, 0.9}}));
        Correction c;
        QCOMPARE(lsxcLoadFpn(c, path("r.FAC.FPN").toUtf8().constData()), LSXC_OK);
        QCOMPARE(lsxcLoadFfc(c, path("r.FAC.FFC.x").toUtf8().constData()), LSXC_OK);
        QCOMPARE(lsxcLoadLsc(c, path("r.LSC.FAC").toUtf8().constData()), LSXC_OK);
        std::vector<uint8_t> frame(size_t(w) * 3 * h);
        for (uint8_t& v : frame) v = uint8_t(rng() & 0xFF);

        std::vector<uint8_t> whole = frame;
        lsxcImage a = imageOf(whole, LSXC_BGR8, w, h);
        QCOMPARE(lsxcSetThreads(0), LSXC_OK);
        QCOMPARE(lsxcCorrect(c, &a, &a), LSXC_OK);
        QVERIFY(whole != frame);

        std::vector<uint8_t> lines = frame;
        const lsxc::Isa best = lsxc::isa();
        lsxc::setIsa(lsxc::Isa::Sse2);
        QCOMPARE(lsxcSetThreads(1), LSXC_OK);
        for (int y = 0; y < h; ++y) {
            lsxcImage one = imageOf(lines, LSXC_BGR8, w, 1);
            one.data = lines.data() + size_t(y) * w * 3;
            one.firstLine = y;
            QCOMPARE(lsxcCorrect(c, &one, &one), LSXC_OK);
        }
        lsxc::setIsa(best);
        QCOMPARE(lsxcSetThreads(0), LSXC_OK);
        QCOMPARE(lines, whole);

        std::vector<uint8_t> strided(size_t(w + 16) * 3 * h, 0);
        for (int y = 0; y < h; ++y)
            std::copy_n(frame.data() + size_t(y) * w * 3, w * 3, strided.data() + size_t(y) * (w + 16) * 3);
        lsxcImage s = imageOf(strided, LSXC_BGR8, w, h);
        s.stride = (w + 16) * 3;
        QCOMPARE(lsxcCorrect(c, &s, &s), LSXC_OK);
        for (int y = 0; y < h; ++y)
            QVERIFY(std::equal(whole.data() + size_t(y) * w * 3, whole.data() + size_t(y + 1) * w * 3,
                               strided.data() + size_t(y) * (w + 16) * 3));

        // Against the arithmetic written out for one pixel of each channel.
        const int x = 1234;
        for (int ch = 0; ch < 3; ++ch) {
            const size_t e = size_t(x) * 3 + ch;
            const double poly[3][8] = {{0, 0, 0, 0, 1e-7, -3e-4, 1.0, 1.1},
                                       {0, 0, 0, 0, 1e-7, -3e-4, 1.0, 1.0},
                                       {0, 0, 0, 0, 0, 0, 1.0, 0.9}};
            std::array<double, 8> p{};
            std::copy(poly[ch], poly[ch] + 8, p.begin());
            const float m = float(k[ch][x]) * float(f[ch][x] * lsxc::lscGainAt(p, 0, w, x));
            const float d = float(frame[e]) - float(b[ch][x]);
            const double expected = std::clamp(std::nearbyint(double(d * m)), 0.0, 255.0);
            QCOMPARE(int(whole[e]), int(expected));
        }
    }
};

QTEST_GUILESS_MAIN(TestCorrect)
#include "test_correct.moc"

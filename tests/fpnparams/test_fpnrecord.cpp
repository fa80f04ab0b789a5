// The FPN records and the FPN parameter file on plain lists, with exact numbers and no camera:
// padding to the sensor, the K range, the data orders, the factory bands, the 24-bit gain table,
// and the file's text as it is written (its reading and checks: test_paramfiles).
#include "fpnparams/fpnfile.h"
#include "fpnparams/fpnrecord.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <limits>

namespace {

float pairK(const FpnRecord& r, int e)
{
    return r.pairs()[2 * e];
}
float pairB(const FpnRecord& r, int e)
{
    return r.pairs()[2 * e + 1];
}

}  // namespace

class TestFpnRecord : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

    QString path(const QString& name) const { return m_dir.path() + QLatin1Char('/') + name; }

    void writeText(const QString& file, const QByteArray& text)
    {
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(text);
    }

private slots:
    // ---- Records ----

    void paddingToTheSensor()
    {
        // ROI x 2, width 3, sensor 8: two columns in front, three behind, K 1.0 and the row's mean B.
        QList<QList<double>> k{{1.1, 1.2, 1.3}, {0.9, 0.8, 0.7}};
        QList<QList<double>> b{{10, 20, 30}, {4, 5, 6}};
        padToSensor(k, b, 2, 3, 8);
        QCOMPARE(k[0], (QList<double>{1, 1, 1.1, 1.2, 1.3, 1, 1, 1}));
        QCOMPARE(b[0], (QList<double>{20, 20, 10, 20, 30, 20, 20, 20}));
        QCOMPARE(b[1], (QList<double>{5, 5, 4, 5, 6, 5, 5, 5}));
        // Only as many rows as both lists have.
        QList<QList<double>> k1{{1.5}};
        QList<QList<double>> b1{{2.0}, {3.0}};
        padToSensor(k1, b1, 1, 1, 3);
        QCOMPARE(k1[0], (QList<double>{1, 1.5, 1}));
        QCOMPARE(b1[1], (QList<double>{3.0}));
    }

    void roiAtAnOffsetLosesItsRightPart()
    {
        // The record takes the first C = 3 entries of the padded rows: the left padding and the
        // first column of the ROI; the rest of the ROI is cut.
        QList<QList<double>> k{{1.1, 1.2, 1.3}};
        QList<QList<double>> b{{10, 20, 30}};
        padToSensor(k, b, 2, 3, 8);
        FpnRecord r(3);
        fillFpnPairs(r, k, b, 1, 3, FpnOrder::Interleaved);
        QCOMPARE(pairK(r, 0), 1.0f);
        QCOMPARE(pairB(r, 0), 20.0f);
        QCOMPARE(pairK(r, 1), 1.0f);
        QCOMPARE(pairK(r, 2), 1.1f);
        QCOMPARE(pairB(r, 2), 10.0f);
    }

    void kRangeOverTheRows()
    {
        const QList<QList<double>> k{{1.0, 0.75, 1.25}, {2.0, 0.5}};
        QCOMPARE(kRange(k, 1), std::make_pair(0.75f, 1.25f));
        QCOMPARE(kRange(k, 2), std::make_pair(0.5f, 2.0f));
        QCOMPARE(kRange({}, 1), std::make_pair(0.0f, 0.0f));
    }

    void dataOrders()
    {
        QCOMPARE(fpnDataOrder(4, 4), FpnOrder::LineByLine);
        QCOMPARE(fpnDataOrder(3, 1), FpnOrder::Interleaved);
        QCOMPARE(fpnDataOrder(8, 4), FpnOrder::Interleaved);  // two gains of a four-line sensor
        QCOMPARE(fpnDataOrder(1, 1), FpnOrder::Interleaved);
        const QList<QList<double>> k{{1, 2}, {3, 4}, {5, 6}};
        const QList<QList<double>> b{{10, 20}, {30, 40}, {50, 60}};
        FpnRecord inter(6), lines(6);
        fillFpnPairs(inter, k, b, 3, 2, FpnOrder::Interleaved);
        fillFpnPairs(lines, k, b, 3, 2, FpnOrder::LineByLine);
        // Interleaved: column 0 of rows 0, 1, 2, then column 1.
        const float interK[] = {1, 3, 5, 2, 4, 6};
        const float lineK[] = {1, 2, 3, 4, 5, 6};
        for (int e = 0; e < 6; ++e) {
            QCOMPARE(pairK(inter, e), interK[e]);
            QCOMPARE(pairB(inter, e), interK[e] * 10.0f);
            QCOMPARE(pairK(lines, e), lineK[e]);
        }
    }

    void recordBlock()
    {
        FpnRecord r(5);
        QCOMPARE(r.head().dataSize, 40u);
        // The data address is byte 40 of the same block.
        QCOMPARE(static_cast<uint8_t*>(r.head().data), static_cast<uint8_t*>(r.block()) + 40);
        r.setType(6, true);
        QCOMPARE(r.head().type, 6u);
        QCOMPARE(int(r.head().moreFollows), 1);
        r.setType(0x13, false);
        QCOMPARE(r.head().type, 3u);
        QCOMPARE(int(r.head().moreFollows), 0);
    }

    void bandKInterleavedWithBStaying()
    {
        const QList<QList<double>> k{{1, 1}, {1, 1}};
        const QList<QList<double>> b{{10, 20}, {30, 40}};
        FpnRecord r(4);
        fillFpnPairs(r, k, b, 2, 2, FpnOrder::LineByLine);
        // A band row after row: row 0 = {1.5, 1.6}, row 1 = {1.7, 1.8}.
        setBandK(r, {1.5, 1.6, 1.7, 1.8}, 2, 2);
        const float ks[] = {1.5f, 1.7f, 1.6f, 1.8f};
        const float bs[] = {10, 20, 30, 40};
        for (int e = 0; e < 4; ++e) {
            QCOMPARE(pairK(r, e), ks[e]);
            QCOMPARE(pairB(r, e), bs[e]);
        }
    }

    void factoryBandLimits()
    {
        // maxK 4: above 3.5 or at and below 0.5 becomes 1.0; exactly 3.5 is kept.
        const std::vector<double> gain{1.0, 2.0};
        const QList<double> out = factoryBandK({0.5, 3.5, 0.25, 1.75}, gain, 2, 4);
        QCOMPARE(out, (QList<double>{1.0, 3.5, 1.0, 3.5}));
        QCOMPARE(factoryBandK({0.5000001}, {1.0}, 1, 2), (QList<double>{0.5000001}));
        QCOMPARE(factoryBandK({1.5000001}, {1.0}, 1, 2), (QList<double>{1.0}));
    }

    void factoryRowGainsReachFullScale()
    {
        // Row 0: (255 - 5) x 1.2 = 300 is the lowest: 255 / 300. Row 1: capped at 65535.
        const QList<double> kTop{1.2, 1.3, 1000.0, 1000.0};
        const QList<QList<double>> b{{5, 5}, {0, 0}};
        const std::vector<double> g = factoryRowGains(kTop, b, 2, 2, 255.0);
        QCOMPARE(g.size(), size_t(2));
        QCOMPARE(g[0], 255.0 / 300.0);
        QCOMPARE(g[1], 255.0 / 65535.0);
    }

    void gainTableEntries()
    {
        // K 1.0 is 2048 << 12; B 100.
        QCOMPARE(gainTableEntry(1.0, 100.0), uint32_t((2048u << 12) | 100u) & 0xFFFFFFu);
        // K 1.5 = 3072: only its low 12 bits fit; B beyond 12 bits is cut; both truncated.
        QCOMPARE(gainTableEntry(1.5, 4097.9), ((3072u << 12) | 1u) & 0xFFFFFFu);
        QCOMPARE(gainTableEntry(0.25, 7.9), (512u << 12) | 7u);
    }

    void gainTableLayout()
    {
        const QList<QList<double>> k{{1.0, 0.5}, {0.25, 1.0}};
        const QList<QList<double>> b{{1, 2}, {3, 4}};
        const std::vector<uint8_t> t = packGainTable(k, b, 1.5f);
        QCOMPARE(t.size(), size_t(544 + 2 * 2 * 3));
        auto u16 = [&](size_t o) { return uint32_t(t[o] | (t[o + 1] << 8)); };
        auto u32 = [&](size_t o) { return uint32_t(t[o] | (t[o + 1] << 8) | (t[o + 2] << 16) | (t[o + 3] << 24)); };
        auto f32 = [&](size_t o) {
            float f;
            std::memcpy(&f, t.data() + o, 4);
            return f;
        };
        QCOMPARE(u16(0), 0u);
        QCOMPARE(u16(2), 544u);
        QCOMPARE(u32(24), 2u);
        QCOMPARE(u32(28), 12u);
        QCOMPARE(f32(32), 1.5f);
        QCOMPARE(u32(36), 0u);
        QCOMPARE(u32(40), 6u);
        QCOMPARE(f32(48), 2.5f);
        QCOMPARE(u32(52), 6u);
        QCOMPARE(u32(56), 6u);
        // Gain 0, column 1: K 0.5 = 1024, B 2, low byte first.
        const uint32_t v = (1024u << 12) | 2u;
        QCOMPARE(uint32_t(t[547]), v & 0xFF);
        QCOMPARE(uint32_t(t[548]), (v >> 8) & 0xFF);
        QCOMPARE(uint32_t(t[549]), (v >> 16) & 0xFF);
        // Gain 1, column 0: K 0.25 = 512, B 3.
        QCOMPARE(uint32_t(t[550]) | (uint32_t(t[551]) << 8) | (uint32_t(t[552]) << 16), (512u << 12) | 3u);
    }

    // ---- The parameter file ----

    void smallFileShape()
    {
        const QString p = path("small.FAC.FPN");
        FpnFileHead head;
        head.camera = QStringLiteral("SIM-LS4096-M");
        head.w = 2;
        head.cols = 2;
        head.doffset = 8;
        QVERIFY(writeFpnFile(p, head, {{12.5, 13.25}}, {{1.0312, 0.9896}}));
        QFile f(p);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QStringList lines = QString::fromUtf8(f.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines, (QStringList{"[Head]", "Version=1", "Camera=SIM-LS4096-M", "SupportMLK=false", "SourceFormat=0",
                                     "TargetFormat=0", "X=0", "W=2", "Cols=2", "Doffset=8", "[B_0]", "0=12.5",
                                     "1=13.25", "[K_0]", "0=1.0312", "1=0.9896"}));
    }

    void writingClearsAnOlderFile()
    {
        const QString p = path("older.FAC.FPN");
        writeText(p, "[B_7]\n0=1\n[Other]\nx=1\n");
        QVERIFY(writeFpnFile(p, FpnFileHead{}, {{1.0}}, {}));
        QSettings again(p, QSettings::IniFormat);
        QCOMPARE(again.childGroups(), (QStringList{"B_0", "Head"}));
    }

    void unwritablePathIsTold()
    {
        QVERIFY(!writeFpnFile(QStringLiteral("/proc/no-such-folder/x.FAC.FPN"), FpnFileHead{}, {{1.0}}, {}));
    }

    void cameraNamesReadBackAsWritten_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("plain") << "SIM-LS4096-M";
        QTest::newRow("comma and quotes") << "Cam, \"x\" = 2; #1";
        QTest::newRow("spaces at the ends") << " Cam 2 ";
        QTest::newRow("chinese then hex digits") << QStringLiteral("相机abc1");
        QTest::newRow("backslash") << "a\\b";
        QTest::newRow("empty") << "";
    }

    void cameraNamesReadBackAsWritten()
    {
        QFETCH(QString, name);
        const QString p = path(QStringLiteral("name-%1.FAC.FPN").arg(QTest::currentDataTag()).replace(' ', '_'));
        FpnFileHead head;
        head.camera = name;
        QVERIFY(writeFpnFile(p, head, {{1.0}}, {}));
        QSettings in(p, QSettings::IniFormat);
        QCOMPARE(in.value(QStringLiteral("Head/Camera")).toString(), name);
        QCOMPARE(in.value(QStringLiteral("B_0/0")).toString(), QStringLiteral("1"));
    }
};

QTEST_GUILESS_MAIN(TestFpnRecord)
#include "test_fpnrecord.moc"

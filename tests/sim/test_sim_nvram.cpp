// The simulated camera's non-volatile memory across processes: what one process writes (an FPN
// user set and the factory set, a flat-field set, a lens-shading set stored into the FLASH, the
// gain table, the factory record, the DOffset) a second process opening the same camera finds,
// value for value; lsxSimReset clears it; a state file that does not fit is not taken, and the
// camera says so in its log. The second process is this program again, running peerSide.
#include "simtestutil.h"

#include "common/fpnreadback.h"

#include <QProcess>

#include <cstring>

using namespace simtest;

namespace {

const char* kCamera = "SIM-LS4096-M";
constexpr int kWidth = 256;

float userK(int x)
{
    return 1.0f + float(x) / 1000.0f;
}
// B as a 16-bit record carries it: DN10 x 64.
float userB(int x)
{
    return float((x % 5) * 64);
}
uint16_t ffcWord(int x)
{
    return uint16_t(16384 + 32 * x);
}

std::vector<uint8_t> gainTable()
{
    std::vector<uint8_t> t(544 + 3 * kWidth);
    for (size_t i = 0; i < t.size(); ++i) t[i] = uint8_t(i * 7 + 3);
    return t;
}

// The lens-shading block of one channel whose polynomial is the constant 50 and target 100: a
// gain of 2 on every column.
std::vector<uint8_t> lscBlock()
{
    std::vector<uint8_t> b(16 + 64, 0);
    const uint32_t magic = LSX_LSC_MAGIC;
    std::memcpy(b.data(), &magic, 4);
    const uint16_t w = kWidth, h = 1000, payload = 64;
    std::memcpy(&b[8], &w, 2);
    std::memcpy(&b[10], &h, 2);
    std::memcpy(&b[14], &payload, 2);
    const double poly[8] = {0, 0, 0, 0, 0, 0, 50.0, 100.0};
    std::memcpy(&b[16], poly, 64);
    uint32_t sum = 0;
    for (int i = 16; i < 80; ++i) sum += b[size_t(i)];
    const uint16_t check = uint16_t(sum);
    std::memcpy(&b[12], &check, 2);
    return b;
}

// The set "FPNC.Selector" chooses, read as the program reads it: K and B of every column.
bool readFpnSet(lsxHandle h, const char* set, std::vector<float>& k, std::vector<float>& b)
{
    const std::vector<float> pairs = fpnPairs(fpnReadBack(h, set, kWidth));
    if (pairs.size() != size_t(kWidth) * 2) return false;
    k.assign(kWidth, 0.0f);
    b.assign(kWidth, 0.0f);
    for (int x = 0; x < kWidth; ++x) {
        k[size_t(x)] = pairs[2 * size_t(x)];
        b[size_t(x)] = pairs[2 * size_t(x) + 1];
    }
    return true;
}

}  // namespace

class TestSimNvram : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_state;

    // This program again, as a second process on the same state folder, running peerSide in
    // `mode`; its exit code, its output on a failure.
    int peer(const char* mode, QString& output)
    {
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("LSX_SIM_NV_PEER"), QString::fromLatin1(mode));
        env.insert(QStringLiteral("LSX_SIM_STATE"), m_state);
        env.insert(QStringLiteral("LSX_SIM_CONFIG"), QString::fromLocal8Bit(qgetenv("LSX_SIM_CONFIG")));
        p.setProcessEnvironment(env);
        p.setProcessChannelMode(QProcess::MergedChannels);
        p.start(QCoreApplication::applicationFilePath(), {QStringLiteral("peerSide")});
        if (!p.waitForFinished(60000)) {
            p.kill();
            return -1;
        }
        output = QString::fromLocal8Bit(p.readAll());
        return p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -2;
    }

    void checkKept()
    {
        const lsxHandle h = openCamera(kCamera);
        QVERIFY(h);
        uint32_t black = 0;
        QCOMPARE(lsxReadGenICamReg(h, GVR_SEN_BLACK_LEVEL, &black), LSX_OK);
        QCOMPARE(black, 7u);
        QCOMPARE(lsxSetTargetFormat(h, FORMAT_MONO16), LSX_OK);
        std::vector<float> k, b;
        QVERIFY(readFpnSet(h, "UserSet1", k, b));
        for (int x = 0; x < kWidth; ++x) {
            QCOMPARE(k[size_t(x)], userK(x));
            QCOMPARE(b[size_t(x)], userB(x));
        }
        QVERIFY(readFpnSet(h, "factory", k, b));
        QCOMPARE(k[10], 0.875f);
        QVERIFY(readFpnSet(h, "UserSet0", k, b));
        QCOMPARE(k[10], 1.0f);  // never written
        QCOMPARE(b[10], 0.0f);

        QCOMPARE(lsxSetConfigString(h, "PRNUC", "UserSet2"), LSX_OK);
        std::vector<uint8_t> mem(16 + kWidth * 2);
        QCOMPARE(lsxReadGenICamMem(h, LSX_MEM_FFC_SET, mem.data(), uint32_t(mem.size())), LSX_OK);
        uint16_t columns = 0;
        std::memcpy(&columns, &mem[8], 2);
        QCOMPARE(int(columns), kWidth);
        for (int x = 0; x < kWidth; ++x) {
            uint16_t w = 0;
            std::memcpy(&w, &mem[16 + size_t(x) * 2], 2);
            QCOMPARE(w, ffcWord(x));
        }

        std::vector<uint8_t> table(4096);
        uint32_t size = uint32_t(table.size());
        QCOMPARE(lsxGet(h, LSX_KEY_GAIN_TABLE, table.data(), &size), LSX_OK);
        table.resize(size);
        QCOMPARE(table, gainTable());

        lsxFactoryRecord factory{};
        size = sizeof factory;
        QCOMPARE(lsxGet(h, LSX_KEY_FACTORY, &factory, &size), LSX_OK);
        QCOMPARE(int(factory.maxB), 48);

        // The lens-shading set in the FLASH acts on the image: a gain of 2 where it is chosen.
        lsxSimSetNoise(kCamera, false);
        lsxSimSetScene(kCamera, LSX_SIM_SCENE_FLAT, 1.0, 0.0, 0.0);
        prepare(h, 0, FORMAT_MONO16, 20);
        Frame plain, shaded;
        QCOMPARE(grab(h, plain), LSX_OK);
        QCOMPARE(lsxSetConfigString(h, "LSC", "UserSet2"), LSX_OK);
        lsxCorrectionSwitch sw{};
        size = sizeof sw;
        QCOMPARE(lsxGet(h, LSX_KEY_CORRECTION_SWITCH, &sw, &size), LSX_OK);
        sw.enable = 1;
        sw.mode = LSX_SWITCH_LENS_ONLY;
        QCOMPARE(lsxSet(h, LSX_KEY_CORRECTION_SWITCH, &sw, &size), LSX_OK);
        QCOMPARE(grab(h, shaded), LSX_OK);
        const double ratio = mean(columnMeans(shaded)) / mean(columnMeans(plain));
        QVERIFY2(std::abs(ratio - 2.0) < 0.02, qPrintable(QString::number(ratio)));
        lsxClose(h);
    }

    void checkEmpty()
    {
        const lsxHandle h = openCamera(kCamera);
        QVERIFY(h);
        uint32_t black = 99;
        QCOMPARE(lsxReadGenICamReg(h, GVR_SEN_BLACK_LEVEL, &black), LSX_OK);
        QCOMPARE(black, 0u);
        std::vector<float> k, b;
        QVERIFY(readFpnSet(h, "UserSet1", k, b));
        QCOMPARE(k[10], 1.0f);
        QCOMPARE(b[10], 0.0f);
        QCOMPARE(lsxSetConfigString(h, "PRNUC", "UserSet2"), LSX_OK);
        std::vector<uint8_t> mem(16);
        QCOMPARE(lsxReadGenICamMem(h, LSX_MEM_FFC_SET, mem.data(), 16), LSX_OK);
        QCOMPARE(int(mem[8]) + int(mem[9]), 0);
        std::vector<uint8_t> table(4096);
        uint32_t size = uint32_t(table.size());
        QVERIFY(lsxGet(h, LSX_KEY_GAIN_TABLE, table.data(), &size) != LSX_OK);
        lsxClose(h);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        if (qEnvironmentVariableIsSet("LSX_SIM_NV_PEER")) return;
        m_state = m_dir.filePath(QStringLiteral("state"));
        qputenv("LSX_SIM_STATE", m_state.toLocal8Bit());
        QVERIFY(
            useConfig(m_dir, QByteArray(R"({"timeScale": 0, "cameras": [{"friendlyName": "SIM-LS4096-M", "width": )")
                                 + QByteArray::number(kWidth) + "}]}"));
    }

    // The second process: what it finds, by the mode its first process gave it.
    void peerSide()
    {
        const QByteArray mode = qgetenv("LSX_SIM_NV_PEER");
        if (mode.isEmpty()) QSKIP("run by keptAcrossProcesses as its second process");
        if (mode == "kept") checkKept();
        if (mode == "empty") checkEmpty();
        if (mode == "refused") {
            checkEmpty();
            bool said = false;
            for (const QString& line : logLines()) said = said || line.contains(QStringLiteral("not taken"));
            QVERIFY(said);
        }
    }

    void keptAcrossProcesses()
    {
        if (qEnvironmentVariableIsSet("LSX_SIM_NV_PEER")) QSKIP("the first process only");
        lsxHandle h = openCamera(kCamera);
        QVERIFY(h);
        QCOMPARE(lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, 7), LSX_OK);
        QCOMPARE(lsxSetConfigString(h, "FPNC.Selector", "UserSet1"), LSX_OK);
        FpnRecord dark(kWidth, 1, LSX_FPN_DARK), bright(kWidth, 1, LSX_FPN_BRIGHT);
        for (int x = 0; x < kWidth; ++x) {
            dark.pairs()[2 * x] = 1.0f;
            dark.pairs()[2 * x + 1] = userB(x);
            bright.pairs()[2 * x] = userK(x);
            bright.pairs()[2 * x + 1] = userB(x);
        }
        QCOMPARE(dark.send(h), LSX_OK);
        QCOMPARE(bright.send(h), LSX_OK);

        QCOMPARE(lsxSetConfigString(h, "PRNUC", "UserSet2"), LSX_OK);
        FpnRecord flat(kWidth, 1, LSX_FPN_FLATFIELD);
        for (int x = 0; x < kWidth; ++x) flat.pairs()[2 * x] = float(ffcWord(x)) / 16384.0f;
        QCOMPARE(flat.send(h), LSX_OK);

        std::vector<uint8_t> block = lscBlock();
        QCOMPARE(lsxWriteGenICamMem(h, LSX_MEM_LSC_BLOCK, block.data(), uint32_t(block.size())), LSX_OK);
        QCOMPARE(lsxWriteGenICamReg(h, GVR_LSC_SET_INDEX, 2u << 16), LSX_OK);
        QCOMPARE(lsxWriteGenICamReg(h, GVR_FLASH_STORE, LSX_FLASH_STORE_LSC), LSX_OK);

        std::vector<uint8_t> table = gainTable();
        uint32_t size = uint32_t(table.size());
        QCOMPARE(lsxSet(h, LSX_KEY_GAIN_TABLE, table.data(), &size), LSX_OK);
        QCOMPARE(lsxClose(h), LSX_OK);

        // The factory set and record, written in factory mode.
        h = openCamera(kCamera, LSX_OPEN_FACTORY);
        QVERIFY(h);
        QCOMPARE(lsxSetConfigString(h, "FPNC.Selector", "factory"), LSX_OK);
        FpnRecord whole(kWidth, 1, LSX_FPN_WHOLE);
        for (int x = 0; x < kWidth; ++x) whole.pairs()[2 * x] = 0.875f;
        QCOMPARE(whole.send(h), LSX_OK);
        lsxFactoryRecord factory{};
        size = sizeof factory;
        QCOMPARE(lsxGet(h, LSX_KEY_FACTORY, &factory, &size), LSX_OK);
        factory.maxB = 48;
        QCOMPARE(lsxSet(h, LSX_KEY_FACTORY, &factory, &size), LSX_OK);
        QCOMPARE(lsxClose(h), LSX_OK);

        QString out;
        QVERIFY2(peer("kept", out) == 0, qPrintable(out));

        // Reset: the next process finds a camera as new.
        QCOMPARE(lsxSimReset(), LSX_OK);
        QVERIFY2(peer("empty", out) == 0, qPrintable(out));
    }

    void unfitStateIsNotTaken()
    {
        if (qEnvironmentVariableIsSet("LSX_SIM_NV_PEER")) QSKIP("the first process only");
        QCOMPARE(lsxSimReset(), LSX_OK);
        const lsxHandle h = openCamera(kCamera);
        QVERIFY(h);
        QCOMPARE(lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, 9), LSX_OK);
        QCOMPARE(lsxClose(h), LSX_OK);
        const QString file = m_state + QStringLiteral("/SIM-LS4096-M.nvram");
        QVERIFY(QFile::exists(file));
        // The memory of a wider sensor of the same name.
        QFile f(file);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QByteArray text = f.readAll();
        f.close();
        text.replace("geometry=256 ", "geometry=4096 ");
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(text);
        f.close();
        QString out;
        QVERIFY2(peer("refused", out) == 0, qPrintable(out));
        QVERIFY(out.contains(QStringLiteral("written for another sensor geometry")));
    }
};

QTEST_GUILESS_MAIN(TestSimNvram)
#include "test_sim_nvram.moc"

// liblsxcorrect against the simulated camera's own corrections, for every format it takes.
//
// The same correction data go two ways: into the tool's parameter files by the tool's own
// writers, and into the simulated camera by the tool's own records (FPN sets of two gains, a
// flat-field set, the lens-shading block), the camera's corrections then switched on. The camera
// corrects its sensor data with its own, independent arithmetic; the library corrects the
// camera's uncorrected frame of the same scene from the files. The two must agree within one
// step of the camera's output everywhere, while the correction itself moves most pixels by many
// steps.
#include "correctfiles.h"
#include "flatfield/ffcrecord.h"
#include "fpnparams/fpnrecord.h"
#include "sim/simtestutil.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <random>

using namespace correcttest;

namespace {

struct Format {
    const char* camera;
    int source, target;  // the simulated camera's formats
    int image;           // LSXC_xxx
    int bits;            // lsxcImage.bits
    int shift;           // the camera's 16-bit words shifted right by this: Mono10 6, Mono12 4
    int step;            // one step of the camera's output in the image's units
};

// One frame's bytes as the camera delivered them.
std::vector<uint8_t> grabBytes(lsxHandle h)
{
    if (lsxTriggerFire(h) != LSX_OK) return {};
    lsxFrame f{};
    void* buffer = nullptr;
    if (lsxGetFrame(h, &f, &buffer, 3000) != LSX_OK) return {};
    const auto* p = static_cast<const uint8_t*>(buffer);
    return std::vector<uint8_t>(p, p + f.size);
}

// The camera's corrections all on or all off: its FPN switch and the flat-field/lens switch.
void cameraCorrections(lsxHandle h, bool on)
{
    QCOMPARE(lsxSetConfigString(h, "FPNC.Enable", on ? "true" : "false"), LSX_OK);
    lsxCorrectionSwitch sw{};
    uint32_t size = sizeof sw;
    QCOMPARE(lsxGet(h, LSX_KEY_CORRECTION_SWITCH, &sw, &size), LSX_OK);
    sw.enable = on ? 1 : 0;
    sw.mode = LSX_SWITCH_BOTH;
    size = sizeof sw;
    QCOMPARE(lsxSet(h, LSX_KEY_CORRECTION_SWITCH, &sw, &size), LSX_OK);
}

}  // namespace

Q_DECLARE_METATYPE(Format)

class TestCorrectSim : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QCOMPARE(lsxSimReset(), LSX_OK);
    }

    void libraryEqualsTheCamera_data()
    {
        QTest::addColumn<Format>("format");
        QTest::newRow("Mono8") << Format{"SIM-LS4096-M", FORMAT_MONO, FORMAT_MONO, LSXC_MONO8, 0, 0, 1};
        QTest::newRow("Mono10") << Format{"SIM-LS4096-M", FORMAT_MONO16_SOURCE, FORMAT_MONO16, LSXC_MONO16, 10, 6, 1};
        QTest::newRow("Mono12") << Format{"SIM-LS4096-M", FORMAT_MONO16_SOURCE, FORMAT_MONO16, LSXC_MONO16, 12, 4, 4};
        QTest::newRow("Mono16") << Format{"SIM-LS4096-M", FORMAT_MONO16_SOURCE, FORMAT_MONO16, LSXC_MONO16, 16, 0, 64};
        QTest::newRow("RGB8") << Format{"SIM-LS2048-C", FORMAT_RGB24, FORMAT_RGB24, LSXC_RGB8, 0, 0, 1};
        QTest::newRow("BGR8") << Format{"SIM-LS2048-C", FORMAT_BGR24, FORMAT_BGR24, LSXC_BGR8, 0, 0, 1};
    }
    void libraryEqualsTheCamera()
    {
        QFETCH(Format, format);
        const lsxHandle h = simtest::openCamera(format.camera);
        QVERIFY(h != 0);
        const std::string name = simtest::handleName(h);
        const bool colour = format.image == LSXC_RGB8 || format.image == LSXC_BGR8;
        const bool wide = format.target == FORMAT_MONO16;
        const int planes = colour ? 3 : 1;

        // The scene: a flat target, lens fall-off and a slope, no temporal noise, at gain 2. The
        // region does not start at 0, and its width divides nothing of the sensor's.
        QCOMPARE(lsxSimSetNoise(name.c_str(), false), LSX_OK);
        QCOMPARE(lsxSimSetScene(name.c_str(), LSX_SIM_SCENE_FLAT, 2.2, 0.1, 0.25), LSX_OK);
        QCOMPARE(lsxSetAnalogGain(h, 2.0f), LSX_OK);
        QCOMPARE(lsxSetExposure(h, 100.0), LSX_OK);
        simtest::prepare(h, format.source, format.target, 40);
        lsxRegionDescr descr{};
        QCOMPARE(lsxGetRoiDescr(h, &descr), LSX_OK);
        lsxRegion roi{};
        QCOMPARE(lsxGetRoi(h, &roi), LSX_OK);
        roi.X = 300;
        roi.W = 1000;
        QCOMPARE(lsxSetRoi(h, &roi), LSX_OK);
        const int sensorWidth = descr.maxWidth;

        // The correction data: B and K of two gains, the flat field and the lens shading.
        std::mt19937 rng(11);
        const double bTop = wide ? 6.0 * 256.0 : 6.0;
        QList<QList<double>> b = randomRows(rng, 2 * planes, roi.W, 0.0, bTop);
        QList<QList<double>> k = randomRows(rng, 2 * planes, roi.W, 0.85, 1.2);
        const GainList ffc = randomRows(rng, planes, roi.W, 0.9, 1.1);
        QList<QList<double>> lsc;
        for (int c = 0; c < planes; ++c) lsc << QList<double>{0, 0, 0, 0, 2e-7, -2e-4, 1.0, 1.05 - 0.02 * c};

        const QString fpnPath = m_dir.filePath(QStringLiteral("cam.FAC.FPN"));
        const QString ffcPath = m_dir.filePath(QStringLiteral("LS.FAC.FFC.a"));
        const QString lscPath = m_dir.filePath(QStringLiteral("cam.LSC.FAC"));
        QVERIFY(writeFpn(fpnPath, roi.X, format.target, b, k));
        QVERIFY(writeFfc(ffcPath, roi.X, roi.W, ffc));
        QVERIFY(writeLsc(lscPath, roi.X, roi.W, lsc));

        // Into the camera as the tool writes it: FPN over the whole sensor, dark half then bright
        // half, into the selected set; the flat-field record into set UserSet0; the lens block,
        // stored as set 0.
        padToSensor(k, b, roi.X, roi.W, sensorWidth);
        const int rows = 2 * planes;
        FpnRecord record(uint32_t(sensorWidth) * uint32_t(rows));
        record.head().columns = uint32_t(sensorWidth * rows);
        record.head().lines = 1;
        record.head().bits = wide ? LSX_BITS_16 : LSX_BITS_8;
        fillFpnPairs(record, k, b, rows, sensorWidth, FpnOrder::Interleaved);
        for (uint32_t type : {uint32_t(LSX_FPN_DARK), uint32_t(LSX_FPN_BRIGHT)}) {
            record.setType(type, type == LSX_FPN_DARK);
            uint32_t size = sizeof(lsxFpnHeader);
            QCOMPARE(lsxSet(h, LSX_KEY_FPN, record.block(), &size), LSX_OK);
        }
        QCOMPARE(lsxSetConfigString(h, "PRNUC", "UserSet0"), LSX_OK);
        FfcRecordHead ffcHead;
        ffcHead.frameBits = wide ? LSX_BITS_16 : LSX_BITS_8;
        ffcHead.targetFormat = format.target;
        ffcGainRange(ffc, ffcHead.minK, ffcHead.maxK);
        std::vector<uint8_t> ffcRecord = ffcPackRecord(ffc, ffcHead);
        QVERIFY(!ffcRecord.empty());
        uint32_t size = sizeof(lsxFpnHeader);
        QCOMPARE(lsxSet(h, LSX_KEY_FPN, ffcRecord.data(), &size), LSX_OK);
        const std::vector<uint8_t> block = lscPackBlock(lsc, roi);
        QCOMPARE(lsxWriteGenICamMem(h, LSX_MEM_LSC_BLOCK, block.data(), uint32_t(block.size())), LSX_OK);
        uint32_t index = 0;
        QCOMPARE(lsxReadGenICamReg(h, GVR_LSC_SET_INDEX, &index), LSX_OK);
        QCOMPARE(lsxWriteGenICamReg(h, GVR_LSC_SET_INDEX, index & ~0xFF0000u), LSX_OK);
        QCOMPARE(lsxWriteGenICamReg(h, GVR_FLASH_STORE, LSX_FLASH_STORE_LSC), LSX_OK);
        QCOMPARE(lsxSetConfigString(h, "LSC", "UserSet0"), LSX_OK);

        // The same scene, uncorrected and as the camera corrects it.
        cameraCorrections(h, false);
        const std::vector<uint8_t> raw = grabBytes(h);
        cameraCorrections(h, true);
        const std::vector<uint8_t> camera = grabBytes(h);
        QVERIFY(!raw.empty());
        QCOMPARE(camera.size(), raw.size());
        lsxStop(h);
        lsxClose(h);

        // The library on the uncorrected frame, in the image's own form.
        Correction c;
        QCOMPARE(lsxcLoadFpn(c, fpnPath.toUtf8().constData()), LSXC_OK);
        QCOMPARE(lsxcLoadFfc(c, ffcPath.toUtf8().constData()), LSXC_OK);
        QCOMPARE(lsxcLoadLsc(c, lscPath.toUtf8().constData()), LSXC_OK);
        QCOMPARE(lsxcSetGain(c, 2.0), LSXC_OK);
        const size_t samples = size_t(roi.W) * roi.H * (colour ? 3 : 1);
        std::vector<int> library(samples), cameraOut(samples), input(samples);
        if (wide) {
            std::vector<uint16_t> words(samples);
            std::memcpy(words.data(), raw.data(), samples * 2);
            for (uint16_t& w : words) w = uint16_t(w >> format.shift);
            lsxcImage img{format.image, format.bits, roi.W, roi.H, 0, words.data(), 0};
            for (size_t i = 0; i < samples; ++i) input[i] = words[i];
            QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_OK);
            const auto* cam = reinterpret_cast<const uint16_t*>(camera.data());
            for (size_t i = 0; i < samples; ++i) {
                library[i] = words[i];
                cameraOut[i] = cam[i] >> format.shift;
            }
        } else {
            std::vector<uint8_t> bytes = raw;
            lsxcImage img{format.image, 0, roi.W, roi.H, 0, bytes.data(), 0};
            QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_OK);
            for (size_t i = 0; i < samples; ++i) {
                input[i] = raw[i];
                library[i] = bytes[i];
                cameraOut[i] = camera[i];
            }
        }

        int worst = 0;
        size_t moved = 0, clipped = 0;
        double level = 0.0;
        const int top = wide ? (format.shift ? (65535 >> format.shift) : 65472) : 255;
        for (size_t i = 0; i < samples; ++i) {
            worst = std::max(worst, std::abs(library[i] - cameraOut[i]));
            if (std::abs(cameraOut[i] - input[i]) > 3 * format.step) ++moved;
            if (cameraOut[i] == 0 || cameraOut[i] >= top) ++clipped;
            level += cameraOut[i];
        }
        level /= double(samples) * top;
        qInfo("%s: worst difference %d (one step %d), %.1f %% of samples moved by more than 3 steps, level %.2f",
              QTest::currentDataTag(), worst, format.step, 100.0 * moved / samples, level);
        // A comparison that can fail: a scene in the middle of the range, nothing clipped, and a
        // correction that moves most samples.
        QVERIFY(level > 0.3 && level < 0.7);
        QCOMPARE(clipped, size_t(0));
        QVERIFY(moved > samples / 2);
        QVERIFY2(worst <= format.step, qPrintable(QStringLiteral("worst %1, step %2").arg(worst).arg(format.step)));
    }
};

QTEST_GUILESS_MAIN(TestCorrectSim)
#include "test_correct_sim.moc"

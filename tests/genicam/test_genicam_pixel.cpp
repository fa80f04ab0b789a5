// The pixel-format rules of the GenICam camera library, with no camera: which contract format
// and sample width each pixel format is delivered as, which pixel format a format code asks for,
// and the lift of 10- and 12-bit samples to the high bits of their words.
#include "gcpixel.h"

#include <QtTest>

#include <vector>

using namespace lsxgc;

class TestGenicamPixel : public QObject {
    Q_OBJECT

private slots:
    void layoutOfEachFormat_data()
    {
        QTest::addColumn<uint>("pixelFormat");
        QTest::addColumn<bool>("known");
        QTest::addColumn<uint>("format");
        QTest::addColumn<uint>("bits");
        QTest::addColumn<uint>("channels");
        QTest::addColumn<uint>("bytes");
        QTest::addColumn<int>("shift");
        QTest::newRow("Mono8") << uint(kPfMono8) << true << uint(FORMAT_MONO) << uint(LSX_BITS_8) << 1u << 1u << 0;
        QTest::newRow("Mono10") << uint(kPfMono10) << true << uint(FORMAT_MONO) << uint(LSX_BITS_16) << 1u << 2u << 6;
        QTest::newRow("Mono12") << uint(kPfMono12) << true << uint(FORMAT_MONO) << uint(LSX_BITS_16) << 1u << 2u << 4;
        QTest::newRow("Mono16") << uint(kPfMono16) << true << uint(FORMAT_MONO) << uint(LSX_BITS_16) << 1u << 2u << 0;
        QTest::newRow("RGB8") << uint(kPfRGB8) << true << uint(FORMAT_RGB24) << uint(LSX_BITS_8) << 3u << 3u << 0;
        QTest::newRow("BGR8") << uint(kPfBGR8) << true << uint(FORMAT_BGR24) << uint(LSX_BITS_8) << 3u << 3u << 0;
        QTest::newRow("RGBa8") << uint(kPfRGBa8) << true << uint(FORMAT_RGB32) << uint(LSX_BITS_8) << 4u << 4u << 0;
        QTest::newRow("BGRa8") << uint(kPfBGRa8) << true << uint(FORMAT_BGR32) << uint(LSX_BITS_8) << 4u << 4u << 0;
        // Formats the contract has no code for keep their own code in the descriptor.
        QTest::newRow("BayerRG8") << 0x01080009u << false << 0x01080009u << uint(LSX_BITS_8) << 1u << 1u << 0;
        QTest::newRow("Mono12Packed") << 0x010C0006u << false << 0x010C0006u << uint(LSX_BITS_16) << 1u << 2u << 0;
    }

    void layoutOfEachFormat()
    {
        QFETCH(uint, pixelFormat);
        QFETCH(bool, known);
        QFETCH(uint, format);
        QFETCH(uint, bits);
        QFETCH(uint, channels);
        QFETCH(uint, bytes);
        QFETCH(int, shift);
        const FrameLayout l = layoutOf(pixelFormat);
        QCOMPARE(l.known, known);
        QCOMPARE(l.format, format);
        QCOMPARE(l.bits, bits);
        QCOMPARE(l.channels, channels);
        QCOMPARE(l.bytesPerPixel, bytes);
        QCOMPARE(l.liftShift, shift);
    }

    void formatCodes()
    {
        QCOMPARE(targetCodeOf(kPfMono8), int32_t(FORMAT_MONO));
        QCOMPARE(targetCodeOf(kPfMono10), int32_t(FORMAT_MONO16));
        QCOMPARE(targetCodeOf(kPfMono16), int32_t(FORMAT_MONO16));
        QCOMPARE(targetCodeOf(kPfBGR8), int32_t(FORMAT_BGR24));
        QCOMPARE(targetCodeOf(0x01080009u), -1);
        QCOMPARE(sourceCodeOf(kPfMono8), int32_t(FORMAT_MONO));
        QCOMPARE(sourceCodeOf(kPfMono12), int32_t(FORMAT_MONO16_SOURCE));
        QCOMPARE(sourceCodeOf(kPfRGB8), int32_t(FORMAT_RGB24));
        // 16-bit mono: the program's own 10 bits first.
        QCOMPARE(pixelFormatsFor(FORMAT_MONO16), (std::vector<uint32_t>{kPfMono10, kPfMono12, kPfMono16}));
        QCOMPARE(pixelFormatsFor(FORMAT_MONO), std::vector<uint32_t>{kPfMono8});
        QCOMPARE(pixelFormatsFor(30), std::vector<uint32_t>{kPfMono8});
        QCOMPARE(pixelFormatsFor(FORMAT_BGR32), std::vector<uint32_t>{kPfBGRa8});
        QVERIFY(pixelFormatsFor(2).empty());
        QVERIFY(pixelFormatsFor(-1).empty());
        for (int32_t c : {0, 1, 2, 3, 4, 30, 31, 32, 33, 34}) QVERIFY(isMonoCode(c));
        for (int32_t c : {-1, 5, 10, 11, 14, 15, 29, 35}) QVERIFY(!isMonoCode(c));
        QCOMPARE(bytesPerPixelOf(0x010C0006u), 2u);  // 12 bits take two bytes
        QCOMPARE(bytesPerPixelOf(0x02180014u), 3u);
    }

    void tenAndTwelveBitsLiftToTheHighBits()
    {
        std::vector<uint16_t> ten{0, 1, 512, 1023, 0x7FF, 0xFFFF};
        const FrameLayout l10 = layoutOf(kPfMono10);
        liftToHighBits(ten.data(), ten.size(), l10.liftShift, l10.valueMask);
        // Stray bits above the tenth are dropped: full scale stays 65472.
        QCOMPARE(ten, (std::vector<uint16_t>{0, 64, 32768, 65472, 65472, 65472}));
        std::vector<uint16_t> twelve{0, 1, 4095, 0xF800};
        const FrameLayout l12 = layoutOf(kPfMono12);
        liftToHighBits(twelve.data(), twelve.size(), l12.liftShift, l12.valueMask);
        QCOMPARE(twelve, (std::vector<uint16_t>{0, 16, 65520, 32768}));
        // 16-bit samples stay as they are.
        std::vector<uint16_t> sixteen{0, 1, 65535};
        liftToHighBits(sixteen.data(), sixteen.size(), 0, 0xFFFF);
        QCOMPARE(sixteen, (std::vector<uint16_t>{0, 1, 65535}));
    }
};

QTEST_GUILESS_MAIN(TestGenicamPixel)
#include "test_genicam_pixel.moc"

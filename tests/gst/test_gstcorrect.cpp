// The GStreamer element lsxcorrect: buffers through it equal what liblsxcorrect makes of them, in
// every format it takes; its properties while playing; its refusals, each with its cause.
#include "correct/correctfiles.h"
#include "gstpipeline.h"

#include <QTemporaryDir>
#include <QtTest>

#include <gst/video/gstvideometa.h>

#include <random>
#include <utility>

using namespace correcttest;
using gsttest::Pipeline;

namespace {

std::vector<uint8_t> randomBytes(std::mt19937& rng, size_t n, int mask = 0xFF)
{
    std::vector<uint8_t> out(n);
    for (uint8_t& v : out) v = uint8_t(rng() & unsigned(mask));
    return out;
}

// The library's own correction of one buffer, in place.
void libraryCorrects(lsxcCorrection* c, std::vector<uint8_t>& bytes, int format, int bits, int width, int lines,
                     int64_t firstLine = 0)
{
    lsxcImage img{format, bits, width, lines, 0, bytes.data(), firstLine};
    QCOMPARE(lsxcCorrect(c, &img, &img), LSXC_OK);
}

QString appsrc(const char* format, int width, int height)
{
    return QStringLiteral("appsrc name=src format=time caps=video/x-raw,format=%1,width=%2,height=%3,framerate=0/1 ! ")
        .arg(QLatin1String(format))
        .arg(width)
        .arg(height);
}

const QString kSink = QStringLiteral(" ! appsink name=sink sync=false");

// The element whose FPN the next frame mapping through mapSwitchingFpnOn switches on.
GstElement* g_switchOnAtMap = nullptr;

// A plane of a one-memory buffer mapped as the video meta's own mapping does, after switching
// the FPN of g_switchOnAtMap on: a property set by another thread between the element's choice of
// mapping and its work on the frame.
gboolean mapSwitchingFpnOn(GstVideoMeta* meta, guint plane, GstMapInfo* info, gpointer* data, gint* stride,
                           GstMapFlags flags)
{
    if (GstElement* element = std::exchange(g_switchOnAtMap, nullptr)) g_object_set(element, "fpn", TRUE, nullptr);
    if (!gst_buffer_map(meta->buffer, info, flags)) return FALSE;
    *data = info->data + meta->offset[plane];
    *stride = meta->stride[plane];
    return TRUE;
}

}  // namespace

class TestGstCorrect : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_fpn, m_ffc, m_lsc, m_rgbFpn, m_rgbFfc, m_wideFpn, m_lines;

    static QString arg(const QString& path) { return QLatin1Char('"') + path + QLatin1Char('"'); }

private slots:
    void initTestCase()
    {
        // Plugins scanned in this process, into a registry of this run: a scanner process of its
        // own cannot load an element built with the sanitizers, and a shared registry would
        // remember that it failed.
        qputenv("GST_REGISTRY_FORK", "no");
        qputenv("GST_REGISTRY", m_dir.filePath(QStringLiteral("gst-registry.bin")).toLocal8Bit());
        gst_init(nullptr, nullptr);
        GstElementFactory* factory = gst_element_factory_find("lsxcorrect");
        QVERIFY2(factory, "the lsxcorrect plugin is not found on GST_PLUGIN_PATH");
        gst_object_unref(factory);
        // Mono data of 2 gains over 256 columns from sensor column 0; colour data; 16-bit data;
        // two sensor lines.
        std::mt19937 rng(4);
        m_fpn = m_dir.filePath(QStringLiteral("m.FAC.FPN"));
        QVERIFY(writeFpn(m_fpn, 0, FORMAT_MONO, randomRows(rng, 2, 256, 0, 10), randomRows(rng, 2, 256, 0.8, 1.25)));
        m_ffc = m_dir.filePath(QStringLiteral("m.FAC.FFC.a"));
        QVERIFY(writeFfc(m_ffc, 0, 256, randomRows(rng, 1, 256, 0.9, 1.1)));
        m_lsc = m_dir.filePath(QStringLiteral("m.LSC.FAC"));
        QVERIFY(writeLsc(m_lsc, 0, 256, {{0, 0, 0, 0, 1e-5, -2.5e-3, 1.0, 1.1}}));
        m_rgbFpn = m_dir.filePath(QStringLiteral("c.FAC.FPN"));
        QVERIFY(writeFpn(m_rgbFpn, 0, FORMAT_RGB24, randomRows(rng, 3, 256, 0, 10), randomRows(rng, 3, 256, 0.8, 1.25)));
        m_rgbFfc = m_dir.filePath(QStringLiteral("c.FAC.FFC.a"));
        QVERIFY(writeFfc(m_rgbFfc, 0, 256, randomRows(rng, 3, 256, 0.9, 1.1)));
        m_wideFpn = m_dir.filePath(QStringLiteral("w.FAC.FPN"));
        QVERIFY(writeFpn(m_wideFpn, 0, FORMAT_MONO16, randomRows(rng, 1, 256, 0, 2000),
                         randomRows(rng, 1, 256, 0.8, 1.25)));
        m_lines = m_dir.filePath(QStringLiteral("l.FAC.FPN"));
        QVERIFY(writeFpn(m_lines, 0, FORMAT_MONO, {QList<double>(256, 10.0), QList<double>(256, 30.0)}, {}));
    }

    void buffersEqualTheLibrary_data()
    {
        QTest::addColumn<QString>("caps");
        QTest::addColumn<int>("format");
        QTest::addColumn<int>("bits");
        QTest::addColumn<QString>("properties");
        QTest::addColumn<QStringList>("files");  // FPN, FFC, LSC: empty for none
        QTest::newRow("GRAY8") << "GRAY8" << int(LSXC_MONO8) << 0 << QString()
                               << QStringList{m_fpn, m_ffc, m_lsc};
        QTest::newRow("GRAY8 gain 2") << "GRAY8" << int(LSXC_MONO8) << 0 << QStringLiteral("gain=2.0")
                                      << QStringList{m_fpn, m_ffc, QString()};
        QTest::newRow("GRAY16_LE Mono10") << "GRAY16_LE" << int(LSXC_MONO16) << 10 << QStringLiteral("pixel-bits=10")
                                          << QStringList{m_wideFpn, m_ffc, QString()};
        QTest::newRow("GRAY16_LE") << "GRAY16_LE" << int(LSXC_MONO16) << 16 << QString()
                                   << QStringList{m_wideFpn, QString(), m_lsc};
        QTest::newRow("RGB") << "RGB" << int(LSXC_RGB8) << 0 << QString() << QStringList{m_rgbFpn, m_rgbFfc, QString()};
        QTest::newRow("BGR") << "BGR" << int(LSXC_BGR8) << 0 << QString() << QStringList{m_rgbFpn, m_rgbFfc, QString()};
    }
    void buffersEqualTheLibrary()
    {
        QFETCH(QString, caps);
        QFETCH(int, format);
        QFETCH(int, bits);
        QFETCH(QString, properties);
        QFETCH(QStringList, files);
        const int width = 256, lines = 20;
        QString element = QStringLiteral("lsxcorrect ") + properties;
        const char* names[] = {"fpn-file", "ffc-file", "lsc-file"};
        Correction c;
        for (int i = 0; i < 3; ++i) {
            if (files[i].isEmpty()) continue;
            element += QStringLiteral(" %1=%2").arg(QLatin1String(names[i]), arg(files[i]));
            const QByteArray path = files[i].toUtf8();
            QCOMPARE((i == 0 ? lsxcLoadFpn : i == 1 ? lsxcLoadFfc : lsxcLoadLsc)(c, path.constData()), LSXC_OK);
        }
        if (properties.contains(QStringLiteral("gain=2.0"))) QCOMPARE(lsxcSetGain(c, 2.0), LSXC_OK);
        Pipeline p(appsrc(caps.toLatin1().constData(), width, lines) + element + kSink);
        QVERIFY2(p.ok(), qPrintable(p.error()));
        QVERIFY2(p.play(), qPrintable(p.error()));
        std::mt19937 rng(8);
        const size_t bytes = size_t(width) * lines * (format == LSXC_MONO8 ? 1 : format == LSXC_MONO16 ? 2 : 3);
        for (int n = 0; n < 3; ++n) {
            std::vector<uint8_t> in = randomBytes(rng, bytes);
            if (format == LSXC_MONO16)
                for (size_t i = 1; i < in.size(); i += 2) in[i] &= bits == 10 ? 0x03 : 0xFF;
            QVERIFY(p.push(in));
            const std::vector<uint8_t> out = p.pull();
            QVERIFY2(!out.empty(), qPrintable(p.error()));
            std::vector<uint8_t> expected = in;
            libraryCorrects(c, expected, format, bits, width, lines);
            QVERIFY(expected != in);
            QVERIFY(out == expected);
        }
    }

    void sensorLinesRunOnFromBufferToBuffer()
    {
        // Two sensor lines, B 10 and 30, buffers of three lines: the second buffer begins with
        // the second sensor line.
        Pipeline p(appsrc("GRAY8", 256, 3) + QStringLiteral("lsxcorrect name=c sensor-lines=2 fpn-file=") + arg(m_lines)
                   + kSink);
        QVERIFY2(p.play(), qPrintable(p.error()));
        GstElement* element = p.element("c");
        QVERIFY(element);
        for (int n = 0; n < 4; ++n) {
            // The third buffer passes with the correction off; its lines count all the same.
            g_object_set(element, "fpn", n != 2, nullptr);
            QVERIFY(p.push(std::vector<uint8_t>(768, 100)));
            const std::vector<uint8_t> out = p.pull();
            QCOMPARE(int(out.size()), 768);
            const int first = n == 2 ? 100 : n % 2 ? 70 : 90, second = n == 2 ? 100 : n % 2 ? 90 : 70;
            QCOMPARE(int(out[0]), first);
            QCOMPARE(int(out[256]), second);
            QCOMPARE(int(out[512]), first);
        }
        gst_object_unref(element);
    }

    void propertiesChangeWhilePlaying()
    {
        Pipeline p(appsrc("GRAY8", 256, 4) + QStringLiteral("lsxcorrect name=c fpn-file=") + arg(m_fpn) + kSink);
        QVERIFY2(p.play(), qPrintable(p.error()));
        Correction c;
        QCOMPARE(lsxcLoadFpn(c, m_fpn.toUtf8().constData()), LSXC_OK);
        std::mt19937 rng(2);
        const std::vector<uint8_t> in = randomBytes(rng, 1024);
        GstElement* element = p.element("c");
        for (double gain : {1.0, 2.0, 1.0}) {
            g_object_set(element, "gain", gain, nullptr);
            QCOMPARE(lsxcSetGain(c, gain), LSXC_OK);
            QVERIFY(p.push(in));
            std::vector<uint8_t> expected = in;
            libraryCorrects(c, expected, LSXC_MONO8, 0, 256, 4);
            QVERIFY(p.pull() == expected);
        }
        // Every switch off: the buffers pass untouched; on again, corrected again.
        g_object_set(element, "fpn", FALSE, "ffc", FALSE, "lsc", FALSE, nullptr);
        QVERIFY(p.push(in));
        QVERIFY(p.pull() == in);
        g_object_set(element, "fpn", TRUE, nullptr);
        QVERIFY(p.push(in));
        QVERIFY(p.pull() != in);
        gchar* file = nullptr;
        gdouble gain = 0;
        g_object_get(element, "fpn-file", &file, "gain", &gain, nullptr);
        QCOMPARE(QString::fromUtf8(file), m_fpn);
        QCOMPARE(gain, 1.0);
        g_free(file);
        gst_object_unref(element);
    }

    void aBufferMappedForReadingIsNotWritten()
    {
        // Every switch off: the buffers pass through, mapped for reading only, and may be held
        // elsewhere too (a tee's other branch). A switch turned on while such a frame is mapped
        // leaves that frame as it is; the next buffer is corrected.
        Pipeline p(appsrc("GRAY8", 256, 4) + QStringLiteral("lsxcorrect name=c fpn=false ffc=false lsc=false fpn-file=")
                   + arg(m_fpn) + kSink);
        QVERIFY2(p.play(), qPrintable(p.error()));
        GstElement* element = p.element("c");
        QVERIFY(element);
        std::mt19937 rng(3);
        const std::vector<uint8_t> in = randomBytes(rng, 1024);
        GstBuffer* shared = gst_buffer_new_allocate(nullptr, in.size(), nullptr);
        gst_buffer_fill(shared, 0, in.data(), in.size());
        GstVideoMeta* meta =
            gst_buffer_add_video_meta(shared, GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_FORMAT_GRAY8, 256, 4);
        meta->map = mapSwitchingFpnOn;
        g_switchOnAtMap = element;
        QVERIFY(p.push(gst_buffer_ref(shared)));
        const std::vector<uint8_t> out = p.pull();
        QVERIFY(!g_switchOnAtMap);  // switched on with the frame mapped
        QVERIFY(gsttest::bytesOf(shared) == in);
        QVERIFY(out == in);
        gst_buffer_unref(shared);
        Correction c;
        QCOMPARE(lsxcLoadFpn(c, m_fpn.toUtf8().constData()), LSXC_OK);
        std::vector<uint8_t> expected = in;
        libraryCorrects(c, expected, LSXC_MONO8, 0, 256, 4);
        QVERIFY(expected != in);
        QVERIFY(p.push(in));
        QVERIFY(p.pull() == expected);
        gst_object_unref(element);
    }

    void refusalsSayWhy_data()
    {
        QTest::addColumn<QString>("pipeline");
        QTest::addColumn<QString>("cause");
        QTest::newRow("no file") << appsrc("GRAY8", 256, 4) + QStringLiteral("lsxcorrect") + kSink
                                 << QStringLiteral("No correction file given");
        QTest::newRow("missing") << appsrc("GRAY8", 256, 4) + QStringLiteral("lsxcorrect fpn-file=/nonexistent.FAC.FPN")
                                        + kSink
                                 << QStringLiteral("/nonexistent.FAC.FPN: cannot be opened");
        QTest::newRow("wider than the data")
            << appsrc("GRAY8", 300, 4) + QStringLiteral("lsxcorrect fpn-file=") + arg(m_fpn) + kSink
            << QStringLiteral("do not fit GRAY8 frames 300 pixels wide: the FPN file covers sensor columns 0 to 255");
        QTest::newRow("colour data, mono frames")
            << appsrc("GRAY8", 256, 4) + QStringLiteral("lsxcorrect fpn-file=") + arg(m_rgbFpn) + kSink
            << QStringLiteral("made on a colour camera, the frames are mono");
        QTest::newRow("depth") << appsrc("GRAY16_LE", 256, 4) + QStringLiteral("lsxcorrect pixel-bits=14 fpn-file=")
                                      + arg(m_wideFpn) + kSink
                               << QStringLiteral("samples of 14 bits");
    }
    void refusalsSayWhy()
    {
        QFETCH(QString, pipeline);
        QFETCH(QString, cause);
        Pipeline p(pipeline);
        QVERIFY2(p.ok(), qPrintable(p.error()));
        // The refusal comes at the start or with the caps of the first buffer.
        if (p.play(3000)) {
            p.push(std::vector<uint8_t>(size_t(256 * 4 * 2), 0));
            QVERIFY(p.pull(3000).empty());
        }
        const QString error = p.readError(3000);
        QVERIFY2(error.contains(cause), qPrintable(error));
    }
};

QTEST_GUILESS_MAIN(TestGstCorrect)
#include "test_gstcorrect.moc"

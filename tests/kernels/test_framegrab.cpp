// Frames from the library's buffer to a matrix the program owns (the copy, the checks of the
// descriptor, the buffers kept from frame to frame) and from a processed frame to the pixmap.
#include "camera/framegrab.h"
#include "camera/preview.h"
#include "common/badframes.h"

#include <QPainter>
#include <QtTest>

#include <random>

namespace {

// The descriptor of a mono frame, as the library fills it (size left unreported).
lsxFrame monoFrame(int width, int height, uint32_t bits)
{
    lsxFrame f{};
    f.format = FORMAT_MONO;
    f.bits = bits;
    f.width = width;
    f.height = height;
    return f;
}

// Puts back the default thread count however a test ends.
struct DefaultThreads {
    ~DefaultThreads() { setPreviewThreads(0); }
};

}  // namespace

class TestFrameGrab : public QObject {
    Q_OBJECT

private slots:
    void deepCopyByFormatAndBits()
    {
        // Room for the largest frame asked for below: 3 x 2 pixels of three bytes.
        std::vector<uint16_t> buffer(9, 1234);
        lsxFrame f = monoFrame(3, 2, LSX_BITS_16);
        f.size = uint32_t(buffer.size() * sizeof(uint16_t));
        cv::Mat m = frameToMat(f, buffer.data());
        QCOMPARE(m.type(), CV_16UC1);
        QCOMPARE(m.size(), cv::Size(3, 2));
        buffer[0] = 1;
        QCOMPARE(m.at<uint16_t>(0, 0), uint16_t(1234));  // a copy, not a view
        f.bits = 1;
        QVERIFY(frameToMat(f, buffer.data()).empty());
        f.bits = LSX_BITS_8;
        QCOMPARE(frameToMat(f, buffer.data()).type(), CV_8UC1);
        f.format = FORMAT_RGB24;
        f.bits = LSX_BITS_16;  // colour frames are always 8-bit
        QCOMPARE(frameToMat(f, buffer.data()).type(), CV_8UC3);
        f.format = FORMAT_BGR32;
        f.height = 1;
        QCOMPARE(frameToMat(f, buffer.data()).type(), CV_8UC4);
        f.format = 13;
        QCOMPARE(frameMatType(f), -1);
    }

    // A descriptor that promises more pixels than the library says its buffer holds is not
    // copied, and a size of 0 says the buffer holds nothing.
    void bufferSmallerThanTheFrameIsRefused()
    {
        std::vector<uint8_t> buffer(6, 7);
        lsxFrame f = monoFrame(3, 2, LSX_BITS_8);
        f.size = 6;
        QCOMPARE(frameToMat(f, buffer.data()).total(), size_t(6));
        QVERIFY(checkFrame(f, buffer.data()).ok());
        f.size = 0;
        QVERIFY(frameToMat(f, buffer.data()).empty());
        QCOMPARE(checkFrame(f, buffer.data()).status, LSX_ERR_BLOCK_SIZE);
        f.size = 5;
        QVERIFY(frameToMat(f, buffer.data()).empty());
        f.bits = LSX_BITS_16;
        f.size = 6;
        QVERIFY(frameToMat(f, buffer.data()).empty());
    }

    // Every field of the descriptor is checked before the buffer is read, in 64-bit arithmetic.
    void descriptorsThatDoNotHoldTogether_data() { addBadFrameRows(); }

    void descriptorsThatDoNotHoldTogether()
    {
        QFETCH(int, frame);
        const BadFrame& bad = kBadFrames[frame];
        const std::vector<uint8_t> data(24, 9);
        const void* buffer = bad.nullBuffer ? nullptr : data.data();
        const FrameCheck check = checkFrame(descriptorOf(bad), buffer);
        QCOMPARE(check.status, bad.status);
        QVERIFY(!check.why.isEmpty());
        QVERIFY(frameToMat(descriptorOf(bad), buffer).empty());
    }

    void descriptorsThatHoldTogether()
    {
        const std::vector<uint8_t> data(24, 9);
        for (const BadFrame& good :
             {BadFrame{"mono", 0, 0, 3, 2, 6, false, LSX_OK}, BadFrame{"colour", 11, 0, 3, 2, 24, false, LSX_OK}}) {
            const FrameCheck check = checkFrame(descriptorOf(good), data.data());
            QVERIFY2(check.ok() && check.why.isEmpty(), good.name);
            QCOMPARE(frameToMat(descriptorOf(good), data.data()).total(), size_t(6));
        }
    }

    void sixteenBitFullScaleShowsWhite()
    {
        const cv::Mat full(3, 4, CV_16UC1, cv::Scalar(LSX_FULL_SCALE_16));
        QImage shown = matToImage(full, FORMAT_MONO, LSX_BITS_16);
        QCOMPARE(shown.format(), QImage::Format_Grayscale8);
        QCOMPARE(shown.size(), QSize(4, 3));
        QCOMPARE(shown.pixelColor(3, 2), QColor(255, 255, 255));
        // 64898 and up are white; 64897 is not.
        QCOMPARE(qGray(matToImage(cv::Mat(1, 1, CV_16UC1, cv::Scalar(64898)), FORMAT_MONO, 2).pixel(0, 0)), 255);
        QCOMPARE(qGray(matToImage(cv::Mat(1, 1, CV_16UC1, cv::Scalar(64897)), FORMAT_MONO, 2).pixel(0, 0)), 254);
        // 8-bit values in a 16-bit frame show almost black: 255 shows as 1.
        const cv::Mat eight(2, 2, CV_16UC1, cv::Scalar(255));
        shown = matToImage(eight, FORMAT_MONO, LSX_BITS_16);
        QCOMPARE(qGray(shown.pixel(1, 1)), 1);
        QVERIFY(!matToPixmap(full, FORMAT_MONO, LSX_BITS_16).isNull());
    }

    void monoOfOtherBitsHasNoPixmap()
    {
        QVERIFY(matToPixmap(cv::Mat(), FORMAT_MONO, 1).isNull());
        QVERIFY(matToPixmap(cv::Mat(2, 2, CV_8UC1, cv::Scalar(1)), FORMAT_MONO, 1).isNull());
        QVERIFY(matToPixmap(cv::Mat(2, 2, CV_8UC1, cv::Scalar(1)), 7, 0).isNull());
        QVERIFY(sharedPixmap(cv::Mat(), FORMAT_MONO, LSX_BITS_8).isNull());
        QVERIFY(sharedPixmap(cv::Mat(2, 2, CV_8UC1, cv::Scalar(1)), FORMAT_MONO, 1).isNull());
        QVERIFY(sharedPixmap(cv::Mat(2, 2, CV_8UC3, cv::Scalar(1)), FORMAT_BGR32, 0).isNull());
    }

    // The pixmap (the frame itself, or the conversion written in row stripes on 1, 2 and 7
    // threads): pixel for pixel what Qt makes of the display image, for heights that do not
    // divide into the threads' parts.
    void pixmapEqualsTheDisplayImage()
    {
        DefaultThreads restore;
        std::mt19937 rng(3);
        struct Case {
            int format, bits, type;
        };
        const Case cases[] = {{FORMAT_MONO, LSX_BITS_8, CV_8UC1}, {FORMAT_MONO, LSX_BITS_16, CV_16UC1},
                              {FORMAT_BGR24, 0, CV_8UC3},         {FORMAT_RGB24, 0, CV_8UC3},
                              {FORMAT_BGR32, 0, CV_8UC4},         {FORMAT_RGB32, 0, CV_8UC4}};
        for (const Case& c : cases)
            for (int width : {1, 17, 53, 300})
                for (int height : {1, 3, 5, 1001})
                    for (int threads : {1, 2, 7}) {
                        setPreviewThreads(threads);
                        cv::Mat img(height, width, c.type);
                        cv::randu(img, 0, c.type == CV_16UC1 ? 65536 : 256);
                        const QImage expected = matToImage(img, c.format, c.bits).convertToFormat(QImage::Format_RGB32);
                        const QString where = QStringLiteral("format %1, %2 x %3, %4 threads")
                                                  .arg(c.format)
                                                  .arg(width)
                                                  .arg(height)
                                                  .arg(threads);
                        const QImage shown =
                            matToPixmap(img, c.format, c.bits).toImage().convertToFormat(QImage::Format_RGB32);
                        QCOMPARE(shown.size(), expected.size());
                        QVERIFY2(shown == expected, qPrintable(where));
                        const QImage shared =
                            sharedPixmap(img, c.format, c.bits).toImage().convertToFormat(QImage::Format_RGB32);
                        QVERIFY2(shared == expected, qPrintable(where));
                    }
        // Every 16-bit value.
        cv::Mat all(256, 256, CV_16UC1);
        for (int v = 0; v < 65536; ++v) all.at<uint16_t>(v / 256, v % 256) = static_cast<uint16_t>(v);
        QVERIFY(matToPixmap(all, FORMAT_MONO, LSX_BITS_16).toImage().convertToFormat(QImage::Format_RGB32)
                == matToImage(all, FORMAT_MONO, LSX_BITS_16).convertToFormat(QImage::Format_RGB32));
    }

    // A pixmap the window still holds keeps its pixels while the next frames are converted.
    void heldPixmapKeepsItsPixels()
    {
        const QPixmap first = matToPixmap(cv::Mat(4, 40, CV_8UC1, cv::Scalar(10)), FORMAT_MONO, LSX_BITS_8);
        QPixmap later;
        for (int v : {20, 30, 40}) later = matToPixmap(cv::Mat(4, 40, CV_8UC1, cv::Scalar(v)), FORMAT_MONO, LSX_BITS_8);
        QCOMPARE(first.toImage().pixelColor(39, 3), QColor(10, 10, 10));
        QCOMPARE(later.toImage().pixelColor(0, 0), QColor(40, 40, 40));
    }

    void colourSwapsAndStackedFourthChannel()
    {
        cv::Mat bgr(2, 3, CV_8UC3, cv::Scalar(10, 20, 30));
        QImage shown = matToImage(bgr, FORMAT_BGR24, 0);
        QCOMPARE(shown.format(), QImage::Format_RGB888);
        QCOMPARE(shown.pixelColor(2, 1), QColor(30, 20, 10));
        shown = matToImage(bgr, FORMAT_RGB24, 0);
        QCOMPARE(shown.pixelColor(0, 0), QColor(10, 20, 30));

        cv::Mat four(2, 3, CV_8UC4, cv::Scalar(10, 20, 30, 77));
        shown = matToImage(four, FORMAT_BGR32, 0);
        QCOMPARE(shown.size(), QSize(3, 4));
        QCOMPARE(shown.pixelColor(1, 1), QColor(30, 20, 10));
        QCOMPARE(shown.pixelColor(1, 2), QColor(77, 77, 77));
        shown = matToImage(four, FORMAT_RGB32, 0);
        QCOMPARE(shown.size(), QSize(3, 4));
        QCOMPARE(shown.pixelColor(0, 0), QColor(10, 20, 30));
        QCOMPARE(shown.pixelColor(2, 3), QColor(77, 77, 77));
        const QPixmap pm = matToPixmap(four, FORMAT_RGB32, 0);
        QCOMPARE(pm.size(), QSize(3, 4));
    }

    // ---- Buffers kept from frame to frame ----

    // A steady stream of one size writes into the same buffers: one that nothing else holds is
    // handed out again, one still held (as m_lastFrame holds the frame before) is not.
    void buffersAreReusedWhereNothingHoldsThem()
    {
        FrameBuffers buffers;
        cv::Mat first = buffers.take(3, 5, CV_16UC1);
        const uchar* firstData = first.data;
        first.setTo(cv::Scalar(111));
        cv::Mat kept = first;  // the frame kept past the next grab
        first.release();
        cv::Mat second = buffers.take(3, 5, CV_16UC1);
        QVERIFY(second.data != firstData);
        second.setTo(cv::Scalar(222));
        QCOMPARE(cv::countNonZero(kept != 111), 0);
        // The next frame replaces the one kept: the first buffer is free again and written next.
        kept = second;
        second.release();
        cv::Mat third = buffers.take(3, 5, CV_16UC1);
        QCOMPARE(third.data, firstData);
        QCOMPARE(cv::countNonZero(kept != 222), 0);
        // Another size or type: a buffer of its own.
        const cv::Mat other = buffers.take(3, 5, CV_8UC1);
        QCOMPARE(other.type(), CV_8UC1);
        QVERIFY(other.data != firstData && other.data != kept.data);
        const cv::Mat wider = buffers.take(3, 6, CV_16UC1);
        QCOMPARE(wider.size(), cv::Size(6, 3));
    }

    // More frames held than the buffers kept: each gets a buffer of its own all the same.
    void everyHeldFrameKeepsItsPixels()
    {
        FrameBuffers buffers;
        std::vector<cv::Mat> held;
        for (int v = 0; v < 9; ++v) {
            cv::Mat m = buffers.take(2, 4, CV_8UC3);
            m.setTo(cv::Scalar::all(v));
            held.push_back(m);
        }
        for (int v = 0; v < 9; ++v) QCOMPARE(held[size_t(v)].at<cv::Vec3b>(1, 3), cv::Vec3b(v, v, v));
    }

    // Mono 8-bit, RGB24 and BGR24 frames are their own display image: the preview's pixmap
    // shares the frame's pixels and holds them, so the buffer is not handed out while the window
    // shows it. matToPixmap's pixmap has pixels of its own.
    void pixmapSharesTheFrameAndHoldsItsBuffer()
    {
        struct Case {
            int format, type;
            QColor shown;
        };
        for (const Case& c :
             {Case{FORMAT_MONO, CV_8UC1, QColor(10, 10, 10)}, Case{FORMAT_RGB24, CV_8UC3, QColor(10, 20, 30)},
              Case{FORMAT_BGR24, CV_8UC3, QColor(30, 20, 10)}}) {
            FrameBuffers buffers;
            cv::Mat frame = buffers.take(4, 40, c.type);
            frame.setTo(cv::Scalar(10, 20, 30));
            const uchar* data = frame.data;
            QVERIFY(matToPixmap(frame, c.format, LSX_BITS_8).toImage().constBits() != data);
            QPixmap pixmap = sharedPixmap(frame, c.format, LSX_BITS_8);
            QCOMPARE(pixmap.toImage().constBits(), data);
            cv::Mat original = frame;  // only to look at the pixels below
            frame.release();
            cv::Mat next = buffers.take(4, 40, c.type);
            QVERIFY(next.data != data);
            QVERIFY(next.data != original.data);
            next.setTo(cv::Scalar::all(99));
            QCOMPARE(pixmap.toImage().pixelColor(39, 3), c.shown);
            // A painter on the pixmap works on its own copy, not on the frame.
            {
                QPainter painter(&pixmap);
                painter.fillRect(0, 0, 2, 2, Qt::white);
            }
            QCOMPARE(pixmap.toImage().pixelColor(0, 0), QColor(255, 255, 255));
            QCOMPARE(original.ptr<uint8_t>(0)[0], uint8_t(10));
            pixmap = QPixmap();
            original.release();
            next.release();
            QCOMPARE(buffers.take(4, 40, c.type).data, data);
        }
    }

    // The header over the library's buffer copies nothing; previewFrame makes the copy from it.
    void viewOverTheLibrarysBuffer()
    {
        std::vector<uint8_t> buffer(12, 7);
        lsxFrame f = monoFrame(4, 3, LSX_BITS_8);
        f.size = 12;
        const cv::Mat view = frameView(f, buffer.data());
        QCOMPARE(view.data, buffer.data());
        QCOMPARE(view.size(), cv::Size(4, 3));
        cv::Mat img, staticMat;
        FrameBuffers buffers;
        QVERIFY(previewFrame(view, img, FORMAT_MONO, LSX_BITS_8, PreviewCorrections{}, PreviewSwitches{}, {}, 1,
                             staticMat, &buffers));
        QVERIFY(img.data != buffer.data());
        buffer[5] = 200;
        QCOMPARE(img.at<uint8_t>(1, 1), uint8_t(7));
        QCOMPARE(staticMat.at<float>(0, 3), 7.0f);
        f.size = 11;
        QVERIFY(frameView(f, buffer.data()).empty());
    }
};

QTEST_MAIN(TestFrameGrab)
#include "test_framegrab.moc"

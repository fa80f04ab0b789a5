// Frame grabbing and the display conversion.
#include "camera/framegrab.h"

#include <QDebug>

#include <opencv2/imgproc.hpp>

#include <vector>

int frameMatType(const lsxFrame& frame)
{
    switch (frame.format) {
    case FORMAT_MONO:
        if (frame.bits == LSX_BITS_8) return CV_8UC1;
        if (frame.bits == LSX_BITS_16) return CV_16UC1;
        return -1;
    case FORMAT_BGR24:
    case FORMAT_RGB24:
        return CV_8UC3;
    case FORMAT_BGR32:
    case FORMAT_RGB32:
        return CV_8UC4;
    default:
        return -1;
    }
}

cv::Mat frameToMat(const lsxFrame& frame, const void* buffer)
{
    const int type = frameMatType(frame);
    if (type < 0 || buffer == nullptr || frame.width <= 0 || frame.height <= 0) return cv::Mat();
    const cv::Mat view(frame.height, frame.width, type, const_cast<void*>(buffer));
    return view.clone();
}

lsxStatus grabLines(CameraServer* /*server*/, lsxHandle handle, lsxFrame* frame, cv::Mat& out)
{
    out.release();
    std::vector<cv::Mat> rows;
    lsxStatus status = LSX_OK;
    int count = 0;
    while (count < kTvk317Lines) {
        void* buffer = nullptr;
        status = lsxGetFrame(handle, frame, &buffer, kTvk317TimeoutMs);
        if (status != LSX_OK) {
            qDebug() << "get frame failed with : " << status;
            break;
        }
        if (frame->format != FORMAT_MONO) {
            ++count;  // a readout the program cannot use still takes its place in the image
            continue;
        }
        const int type = frame->bits != 0 ? CV_16UC1 : CV_8UC1;
        const int samples = frame->height * frame->width;
        if (count > 0 && !rows.empty() && rows.back().type() != type) {
            // The camera switched its sample width: what was gathered no longer fits.
            rows.clear();
            count = 0;
        }
        if (buffer != nullptr && samples > 0) {
            rows.push_back(cv::Mat(1, samples, type, buffer).clone());
        }
        ++count;
    }
    if (!rows.empty()) {
        // Readouts of different lengths cannot be stacked; keep the run of the last length.
        const int cols = rows.back().cols;
        std::vector<cv::Mat> same;
        for (const cv::Mat& r : rows)
            if (r.cols == cols) same.push_back(r);
        cv::vconcat(same, out);
    }
    return status;
}

namespace {
// Colour channels in R, G, B order from an interleaved matrix, by the channel indices given.
cv::Mat mergeChannels(const std::vector<cv::Mat>& planes, int c0, int c1, int c2)
{
    cv::Mat rgb;
    cv::merge(std::vector<cv::Mat>{planes[c0], planes[c1], planes[c2]}, rgb);
    return rgb;
}

// The display image as a view over `shown` (the frame itself or a converted copy of it), with
// the matrix's line length. Null when the frame cannot be shown.
QImage displayView(const cv::Mat& img, int format, int bits, cv::Mat& shown)
{
    if (img.empty()) return QImage();
    QImage::Format qformat = QImage::Format_RGB888;
    switch (format) {
    case FORMAT_MONO:
        qformat = QImage::Format_Grayscale8;
        if (bits == LSX_BITS_8 && img.type() == CV_8UC1) {
            shown = img;
        } else if (bits == LSX_BITS_16 && img.type() == CV_16UC1) {
            // Scale 1/255, not 1/256: the 10-bit data in the high bits fills the 8-bit range,
            // and 16-bit frames holding 8-bit values look almost black.
            img.convertTo(shown, CV_8U, 0.00392156862745098, 0.0);
        } else {
            return QImage();
        }
        break;
    case FORMAT_RGB24:
        if (img.type() != CV_8UC3) return QImage();
        shown = img;
        break;
    case FORMAT_BGR24: {
        if (img.type() != CV_8UC3) return QImage();
        std::vector<cv::Mat> planes;
        cv::split(img, planes);
        shown = mergeChannels(planes, 2, 1, 0);
        break;
    }
    case FORMAT_BGR32:
    case FORMAT_RGB32: {
        if (img.type() != CV_8UC4) return QImage();
        std::vector<cv::Mat> planes;
        cv::split(img, planes);
        const cv::Mat rgb =
            format == FORMAT_BGR32 ? mergeChannels(planes, 2, 1, 0) : mergeChannels(planes, 0, 1, 2);
        // The fourth channel is shown as a grey image below the colour one.
        cv::Mat fourth;
        cv::cvtColor(planes[3], fourth, cv::COLOR_GRAY2BGR);
        cv::vconcat(rgb, fourth, shown);
        break;
    }
    default:
        return QImage();
    }
    return QImage(shown.data, shown.cols, shown.rows, static_cast<qsizetype>(shown.step[0]), qformat);
}
}  // namespace

QImage matToImage(const cv::Mat& img, int format, int bits)
{
    cv::Mat shown;
    return displayView(img, format, bits, shown).copy();
}

QPixmap matToPixmap(const cv::Mat& img, int format, int bits)
{
    cv::Mat shown;
    const QImage view = displayView(img, format, bits, shown);
    if (view.isNull()) return QPixmap();
    return QPixmap::fromImage(view);  // copies the pixels
}

#include "imagestats.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

#include <QCoreApplication>

namespace {

constexpr double kFullScale8 = 255.0;
constexpr double kFullScale16 = 65472.0;
constexpr int kWideShift = 6;

bool takenDepth(int depth)
{
    return depth == CV_8U || depth == CV_16U;
}

template <typename T, int Shift>
void countRows(const cv::Mat& frame, std::vector<std::vector<quint64>>& out)
{
    const int channels = frame.channels();
    for (int y = 0; y < frame.rows; ++y) {
        const T* p = frame.ptr<T>(y);
        for (int x = 0; x < frame.cols; ++x)
            for (int c = 0; c < channels; ++c) ++out[c][*p++ >> Shift];
    }
}

// Per channel, the samples at or above `top`, in one pass over the frame.
template <typename T>
std::vector<qint64> countAtLeast(const cv::Mat& frame, T top)
{
    const int channels = frame.channels();
    std::vector<qint64> out(channels, 0);
    for (int y = 0; y < frame.rows; ++y) {
        const T* p = frame.ptr<T>(y);
        for (int x = 0; x < frame.cols; ++x)
            for (int c = 0; c < channels; ++c) out[c] += *p++ >= top;
    }
    return out;
}

template <typename T>
std::vector<RegionStats> statsOf(const cv::Mat& part)
{
    const int channels = part.channels();
    std::vector<RegionStats> out(channels);
    std::vector<double> sum(channels, 0.0), squares(channels, 0.0);
    std::vector<T> lo(channels, std::numeric_limits<T>::max()), hi(channels, 0);
    for (int y = 0; y < part.rows; ++y) {
        const T* p = part.ptr<T>(y);
        for (int x = 0; x < part.cols; ++x)
            for (int c = 0; c < channels; ++c, ++p) {
                const double v = *p;
                sum[c] += v;
                squares[c] += v * v;
                lo[c] = std::min(lo[c], *p);
                hi[c] = std::max(hi[c], *p);
            }
    }
    const qint64 n = qint64(part.rows) * part.cols;
    for (int c = 0; c < channels; ++c) {
        RegionStats& s = out[c];
        s.count = n;
        s.mean = sum[c] / double(n);
        // The mean of the squares less the square of the mean; rounding may take it below 0.
        s.stddev = std::sqrt(std::max(0.0, squares[c] / double(n) - s.mean * s.mean));
        s.min = lo[c];
        s.max = hi[c];
    }
    return out;
}

}  // namespace

QList<FramePlane> framePlanes(int channels)
{
    switch (channels) {
    case 1: return {{QCoreApplication::translate("ImageStats", "灰度"), 0}};
    case 3: return {{QStringLiteral("R"), 2}, {QStringLiteral("G"), 1}, {QStringLiteral("B"), 0}};
    case 4:
        return {{QStringLiteral("R"), 2}, {QStringLiteral("G"), 1}, {QStringLiteral("B"), 0}, {QStringLiteral("X"), 3}};
    default: return {};
    }
}

double fullScaleOf(int depth)
{
    if (depth == CV_8U) return kFullScale8;
    if (depth == CV_16U) return kFullScale16;
    return 0.0;
}

cv::Mat toBgrOrder(const cv::Mat& frame, bool rgbOrder)
{
    if (!rgbOrder || frame.channels() < 3) return frame;
    cv::Mat out;
    if (frame.channels() == 3)
        cv::cvtColor(frame, out, cv::COLOR_RGB2BGR);
    else
        cv::cvtColor(frame, out, cv::COLOR_RGBA2BGRA);
    return out;
}

int histogramBins(int depth)
{
    if (depth == CV_8U) return 256;
    if (depth == CV_16U) return 65536 >> kWideShift;
    return 0;
}

std::vector<std::vector<quint64>> channelHistograms(const cv::Mat& frame)
{
    if (frame.empty() || !takenDepth(frame.depth())) return {};
    std::vector<std::vector<quint64>> out(frame.channels(), std::vector<quint64>(histogramBins(frame.depth()), 0));
    if (frame.depth() == CV_8U)
        countRows<uint8_t, 0>(frame, out);
    else
        countRows<uint16_t, kWideShift>(frame, out);
    return out;
}

cv::Rect clipToFrame(const cv::Rect& rect, const cv::Mat& frame)
{
    const cv::Rect clipped = rect & cv::Rect(0, 0, frame.cols, frame.rows);
    return clipped.area() > 0 ? clipped : cv::Rect();
}

std::vector<RegionStats> regionStatistics(const cv::Mat& frame, const cv::Rect& rect)
{
    if (frame.empty() || !takenDepth(frame.depth())) return {};
    const cv::Rect inside = clipToFrame(rect, frame);
    if (inside.area() == 0) return {};
    const cv::Mat part = frame(inside);
    return frame.depth() == CV_8U ? statsOf<uint8_t>(part) : statsOf<uint16_t>(part);
}

std::vector<double> fullScaleShares(const cv::Mat& frame)
{
    if (frame.empty() || !takenDepth(frame.depth())) return {};
    const std::vector<qint64> counts = frame.depth() == CV_8U ? countAtLeast<uint8_t>(frame, uint8_t(kFullScale8))
                                                              : countAtLeast<uint16_t>(frame, uint16_t(kFullScale16));
    std::vector<double> out;
    const double n = double(frame.total());
    for (qint64 c : counts) out.push_back(double(c) / n);
    return out;
}

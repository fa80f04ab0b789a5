#include "ffcgains.h"

#include <algorithm>
#include <cmath>
#include <limits>

cv::Mat ffcSmoothRow(const cv::Mat& row, int radius)
{
    CV_Assert(row.rows == 1 && row.type() == CV_32FC1);
    const cv::Mat src = row.clone();
    cv::Mat out = row.clone();
    if (radius <= 0) return out;
    const int n = src.cols;
    const float* v = src.ptr<float>(0);
    float* o = out.ptr<float>(0);
    for (int i = 0; i < n; ++i) {
        const int r = std::min({i, n - 1 - i, radius});
        const int count = 2 * r + 1;
        double sum = 0.0;
        for (int j = i - r; j <= i + r; ++j) sum += v[j];
        const double mean = sum / count;
        double squares = 0.0;
        for (int j = i - r; j <= i + r; ++j) squares += (mean - v[j]) * (mean - v[j]);
        const double sigma = std::sqrt(squares / count);
        float weighted = 0.0f;
        float weights = 0.0f;
        for (int j = i - r; j <= i + r; ++j) {
            const double w = std::fabs(v[j] - mean) > 3.0 * sigma ? 0.0 : 1.0;
            weighted = float(double(weighted) + w * v[j]);
            weights = float(double(weights) + w);
        }
        o[i] = weighted / weights;
    }
    return out;
}

std::vector<double> ffcChannelRatios(const std::vector<cv::Mat>& smoothed)
{
    std::vector<double> m;
    for (const cv::Mat& row : smoothed) {
        double lo = 0.0, hi = 0.0;
        cv::minMaxIdx(row, &lo, &hi);
        m.push_back(hi);
    }
    if (m.size() == 3) {
        return {m[0] / m[1], 1.0, m[2] / m[1]};
    }
    if (m.size() == 4) {
        m[0] = m[0] / m[1];
        m[1] = 1.0;
        m[2] = m[2] / m[1];
        m[3] = m[3] / m[1];
        return m;
    }
    return std::vector<double>(smoothed.size(), 1.0);
}

float ffcTarget(const cv::Mat& smoothed, float goalRate, double ratio)
{
    if (goalRate < 0.0f) {
        const float* v = smoothed.ptr<float>(0);
        float sum = 0.0f;
        for (int i = 0; i < smoothed.cols; ++i) sum += v[i];
        return sum / float(smoothed.cols);
    }
    if (goalRate <= 1.0f) {
        double lo = 0.0, hi = 0.0;
        cv::minMaxIdx(smoothed, &lo, &hi);
        return float((hi - lo) * goalRate + lo);
    }
    return float(goalRate * ratio);
}

QList<double> ffcGainsOfRow(const cv::Mat& smoothed, float target)
{
    QList<double> gains;
    gains.reserve(smoothed.cols);
    const float* v = smoothed.ptr<float>(0);
    for (int i = 0; i < smoothed.cols; ++i) gains.append(double(target / v[i]));
    return gains;
}

void ffcLimitGains(GainList& gains, uint8_t maxK)
{
    const double cap = double(maxK) - kFfcMaxKMargin;
    for (QList<double>& channel : gains) {
        for (double& k : channel) {
            if (std::isnan(k) || k > cap) k = cap;
            if (k < kFfcMinK) k = kFfcMinK;
        }
    }
}

GainList ffcComputeGains(const cv::Mat& statistic, int radius, float goalRate, uint8_t maxK)
{
    GainList gains;
    if (statistic.empty() || statistic.depth() != CV_32F) return gains;
    std::vector<cv::Mat> channels;
    cv::split(statistic, channels);
    std::vector<cv::Mat> smoothed;
    for (const cv::Mat& row : channels) smoothed.push_back(ffcSmoothRow(row, radius));
    const std::vector<double> ratios = ffcChannelRatios(smoothed);
    for (size_t c = 0; c < smoothed.size(); ++c)
        gains.append(ffcGainsOfRow(smoothed[c], ffcTarget(smoothed[c], goalRate, ratios[c])));
    ffcLimitGains(gains, maxK);
    return gains;
}

namespace {

// A sample on the 8-bit scale: the high byte of a 16-bit sample.
template <typename T>
float eightBit(T v)
{
    if constexpr (sizeof(T) == 2)
        return float(v >> 8);
    else
        return float(v);
}

template <typename T>
cv::Mat lineMeans(const cv::Mat& frame, int lineCount)
{
    cv::Mat stat(1, frame.cols, CV_32FC(lineCount), cv::Scalar::all(0));
    float* s = stat.ptr<float>(0);
    for (int c = 0; c < lineCount; ++c) {
        int taken = 0;
        for (int r = c; r < frame.rows; r += lineCount, ++taken) {
            const T* p = frame.ptr<T>(r);
            for (int x = 0; x < frame.cols; ++x) s[x * lineCount + c] += eightBit(p[x]);
        }
        if (taken == 0) continue;
        for (int x = 0; x < frame.cols; ++x) s[x * lineCount + c] /= float(taken);
    }
    return stat;
}

template <typename T>
cv::Mat rowMeans(const cv::Mat& frame)
{
    const int ch = frame.channels();
    cv::Mat stat(1, frame.cols, CV_32FC(ch), cv::Scalar::all(0));
    float* s = stat.ptr<float>(0);
    const int n = frame.cols * ch;
    for (int r = 0; r < frame.rows; ++r) {
        const T* p = frame.ptr<T>(r);
        for (int i = 0; i < n; ++i) s[i] += eightBit(p[i]);
    }
    for (int i = 0; i < n; ++i) s[i] /= float(frame.rows);
    return stat;
}

}  // namespace

cv::Mat ffcFrameStatistic(const cv::Mat& frame, int lineCount)
{
    if (frame.empty()) return cv::Mat();
    const int type = frame.type();
    if (type == CV_8UC1 || type == CV_16UC1) {
        if (lineCount >= 2 && lineCount <= CV_CN_MAX)
            return type == CV_8UC1 ? lineMeans<uint8_t>(frame, lineCount) : lineMeans<uint16_t>(frame, lineCount);
        return type == CV_8UC1 ? rowMeans<uint8_t>(frame) : rowMeans<uint16_t>(frame);
    }
    if (type == CV_8UC3 || type == CV_8UC4) return rowMeans<uint8_t>(frame);
    return cv::Mat();
}

void ffcSwapRedBlue(cv::Mat& statistic, int format)
{
    if (statistic.empty() || statistic.depth() != CV_32F) return;
    if (format != 14 && format != 15) return;
    float* s = statistic.ptr<float>(0);
    const size_t total = statistic.total() * size_t(statistic.channels());
    // Three floats per column in both cases; on a four-channel row the later columns are read
    // at the wrong place, as they always have been.
    for (size_t i = 0; i + 2 < total && i / 3 < size_t(statistic.cols); i += 3) std::swap(s[i], s[i + 2]);
}

cv::Mat ffcPictureStatistic(const cv::Mat& picture, int row)
{
    if (picture.empty()) return cv::Mat();
    if (picture.type() == CV_8UC3) {
        if (row < 0 || row >= picture.rows) return cv::Mat();
        cv::Mat stat(1, picture.cols, CV_32FC3);
        const cv::Vec3b* p = picture.ptr<cv::Vec3b>(row);
        cv::Vec3f* s = stat.ptr<cv::Vec3f>(0);
        for (int x = 0; x < picture.cols; ++x) s[x] = cv::Vec3f(p[x][2], p[x][1], p[x][0]);
        return stat;
    }
    if (picture.type() == CV_8UC1) {
        cv::Mat stat(1, picture.cols, CV_32FC1, cv::Scalar(0));
        float* s = stat.ptr<float>(0);
        for (int r = 0; r < picture.rows; ++r) {
            const uint8_t* p = picture.ptr<uint8_t>(r);
            for (int x = 0; x < picture.cols; ++x) s[x] += float(p[x]);
        }
        for (int x = 0; x < picture.cols; ++x) s[x] /= float(picture.rows);
        return stat;
    }
    return cv::Mat();
}

// The numbers of the dark-field measurement.
#include "calibration/darkstats.h"

#include "lsx.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>

bool splitFramePlanes(const cv::Mat& frame, int format, int lineCount, bool deinterleave, std::vector<cv::Mat>& planes)
{
    planes.clear();
    switch (format) {
    case FORMAT_MONO:
        if (!frame.empty() && frame.channels() != 1) return false;
        break;
    case FORMAT_BGR24:
    case FORMAT_RGB24:
    case FORMAT_BGR32:
    case FORMAT_RGB32: {
        const int channels = (format == FORMAT_BGR24 || format == FORMAT_RGB24) ? 3 : 4;
        if (frame.empty() || frame.channels() != channels) return false;
        cv::split(frame, planes);
        return true;
    }
    default: return false;
    }
    if (!deinterleave || lineCount <= 1) {
        planes.push_back(frame);
        return true;
    }
    // Rows of one sensor line every lineCount rows; the first planes take the extra rows.
    for (int line = 0; line < lineCount; ++line) {
        std::vector<cv::Mat> rows;
        for (int y = line; y < frame.rows; y += lineCount) rows.push_back(frame.row(y));
        cv::Mat plane;
        if (!rows.empty()) cv::vconcat(rows, plane);
        planes.push_back(plane);
    }
    return true;
}

namespace {

template <typename T>
void sumColumnsF(const cv::Mat& plane, float scale, float* acc)
{
    for (int y = 0; y < plane.rows; ++y) {
        const T* p = plane.ptr<T>(y);
        for (int x = 0; x < plane.cols; ++x) acc[x] += static_cast<float>(p[x]) * scale;
    }
}

}  // namespace

cv::Mat columnMeansF(const cv::Mat& plane, float sampleScale)
{
    if (plane.empty() || plane.channels() != 1) return cv::Mat();
    cv::Mat acc(1, plane.cols, CV_32F, cv::Scalar(0));
    switch (plane.depth()) {
    case CV_8U: sumColumnsF<uint8_t>(plane, sampleScale, acc.ptr<float>()); break;
    case CV_16U: sumColumnsF<uint16_t>(plane, sampleScale, acc.ptr<float>()); break;
    default: return cv::Mat();
    }
    const double inv = 1.0 / plane.rows;
    float* a = acc.ptr<float>();
    for (int x = 0; x < plane.cols; ++x) a[x] = static_cast<float>(a[x] * inv);
    return acc;
}

MeanRange columnMeanRange(const cv::Mat& plane, float scale)
{
    return meanRange(columnMeansF(plane), scale);
}

MeanRange meanRange(const cv::Mat& means, float scale)
{
    MeanRange r;
    if (means.empty()) return r;
    const float* m = means.ptr<float>();
    const auto [lo, hi] = std::minmax_element(m, m + means.cols);
    r.min = *lo * scale;
    r.max = *hi * scale;
    return r;
}

MeanRange columnMeanRange(const std::vector<cv::Mat>& planes, float scale)
{
    MeanRange all;
    bool first = true;
    for (const cv::Mat& plane : planes) {
        const MeanRange r = columnMeanRange(plane, scale);
        all.min = first ? r.min : std::min(all.min, r.min);
        all.max = first ? r.max : std::max(all.max, r.max);
        first = false;
    }
    return all;
}

float eightBitScale(uint32_t bits)
{
    return bits == LSX_BITS_8 ? 1.0f : 1.0f / 256.0f;
}

float doffsetScale(uint32_t bits)
{
    return bits == LSX_BITS_8 ? 1.0f : 1.0f / 64.0f;
}

namespace {

template <typename T>
DarkRow darkRowOf(const cv::Mat& plane, bool truncate)
{
    DarkRow row;
    std::vector<double> sum(size_t(plane.cols), 0.0), top(size_t(plane.cols), 0.0);
    for (int y = 0; y < plane.rows; ++y) {
        const T* p = plane.ptr<T>(y);
        for (int x = 0; x < plane.cols; ++x) {
            sum[size_t(x)] += p[x];
            top[size_t(x)] = std::max(top[size_t(x)], double(p[x]));
        }
    }
    double total = 0.0;
    row.b.reserve(plane.cols);
    for (int x = 0; x < plane.cols; ++x) {
        const double mean = sum[size_t(x)] / plane.rows;
        total += top[size_t(x)] - mean;
        row.b.append(truncate ? std::trunc(mean) : mean);
    }
    row.lift = total / plane.cols;
    return row;
}

}  // namespace

DarkRow darkRow(const cv::Mat& plane)
{
    if (plane.empty() || plane.channels() != 1) return DarkRow();
    if (plane.depth() == CV_8U) return darkRowOf<uint8_t>(plane, false);
    if (plane.depth() == CV_16U) return darkRowOf<uint16_t>(plane, true);
    return DarkRow();
}

double zeroShare(const cv::Mat& plane)
{
    if (plane.empty() || plane.channels() != 1) return 0.0;
    const double total = double(plane.total());
    return (total - double(cv::countNonZero(plane))) / total;
}

QList<double> ditheredDarkRow(const std::vector<cv::Mat>& frames)
{
    if (frames.size() < 2) return {};
    const int n = int(frames.size());
    std::vector<std::vector<double>> means;
    for (const cv::Mat& f : frames) {
        if (f.empty() || f.channels() != 1 || f.cols != frames.front().cols) return {};
        cv::Mat m;
        cv::reduce(f, m, 0, cv::REDUCE_AVG, CV_64F);
        means.emplace_back(m.ptr<double>(0), m.ptr<double>(0) + m.cols);
    }
    const int cols = frames.front().cols;
    double rise = 0.0;
    for (int x = 0; x < cols; ++x) rise += means.back()[size_t(x)] - means.front()[size_t(x)];
    const double step = rise / cols / (n - 1);
    // The frames weighed by their rows, as one stack; its mean lift likewise.
    double rows = 0.0, lift = 0.0;
    for (int j = 0; j < n; ++j) {
        rows += frames[size_t(j)].rows;
        lift += double(j) * frames[size_t(j)].rows;
    }
    lift *= step / rows;
    QList<double> row;
    row.reserve(cols);
    for (int x = 0; x < cols; ++x) {
        double sum = 0.0;
        for (int j = 0; j < n; ++j) sum += means[size_t(j)][size_t(x)] * frames[size_t(j)].rows;
        row.append(sum / rows - lift);
    }
    return row;
}

int doffsetRoom(int doffset, int steps)
{
    return kDoffsetMax - doffset - (steps - 1);
}

int ditherDirection(int doffset, int steps)
{
    return doffsetRoom(doffset, steps) >= 0 ? 1 : -1;
}

namespace {

bool colourFormat(int format)
{
    return format == FORMAT_BGR24 || format == FORMAT_BGR32 || format == FORMAT_RGB24 || format == FORMAT_RGB32;
}

// The channel letter of colour plane p (0..2) in memory order.
QString channelLetter(int format, size_t p)
{
    static const char* const bgrNames[] = {"B", "G", "R"};
    static const char* const rgbNames[] = {"R", "G", "B"};
    const bool bgr = format == FORMAT_BGR24 || format == FORMAT_BGR32;
    return QString::fromLatin1(bgr ? bgrNames[p] : rgbNames[p]);
}

}  // namespace

QString planeName(int format, size_t planes, size_t p)
{
    if (colourFormat(format)) {
        if (p < 3) return channelLetter(format, p);
        return QCoreApplication::translate("DarkStats", "通道%1").arg(p + 1);
    }
    if (planes == 1) return QCoreApplication::translate("DarkStats", "黑白");
    return QCoreApplication::translate("DarkStats", "传感器行%1").arg(p);
}

QString planeKey(int format, size_t planes, size_t p)
{
    if (colourFormat(format)) {
        if (p < 3) return channelLetter(format, p);
        return QStringLiteral("channel%1").arg(p + 1);
    }
    if (planes == 1) return QStringLiteral("mono");
    return QStringLiteral("line%1").arg(p);
}

int32_t wrapDoffset(int32_t value)
{
    return value > 128 ? value - 256 : value;
}

int doffsetLimit(int maxB)
{
    return std::min(maxB, kDoffsetMax);
}

void judgeDoffsetFrame(DoffsetWalk& w, float minMean, float maxMean, int maxB)
{
    const bool below = static_cast<float>(maxB) > maxMean;
    if (w.prevBelow && !below) {
        w.d = w.last;
        w.done = true;
        w.conflict = !w.prevAbove;
        return;
    }
    if (!w.prevBelow && !below) {
        // Too bright: step down, and 0 is a legal value here.
        w.last = w.d;
        w.d -= 1;
        return;
    }
    const bool above = minMean > 1.0f;
    if (w.prevAbove && !above) {
        w.d = w.last;
        w.done = true;
        return;
    }
    w.last = w.d;
    w.d += above ? -1 : 1;
    if (w.d == 0) w.d = above ? -1 : 1;
    w.prevBelow = below;
    w.prevAbove = above;
}

std::vector<HighColumn> columnsAtLeast(const std::vector<cv::Mat>& planes, float scale, float level)
{
    std::vector<HighColumn> out;
    for (size_t p = 0; p < planes.size(); ++p) {
        const cv::Mat means = columnMeansF(planes[p]);
        for (int x = 0; x < means.cols; ++x) {
            const float m = means.at<float>(0, x) * scale;
            if (m >= level) out.push_back({int(p), x, m});
        }
    }
    return out;
}

bool doffsetCanHold(const MeanRange& range, int maxB)
{
    return range.max - range.min < float(maxB) - 1.0f;
}

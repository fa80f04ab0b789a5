#include "exposurestats.h"

#include "lsx.h"

#include <algorithm>
#include <cmath>
#include <vector>

ExposureTestSeries exposureTestSeries(double lower, double upper, double step, int expCount)
{
    ExposureTestSeries s;
    if (expCount < 1) expCount = 1;
    if (!(step > 0.0) || !std::isfinite(step)) step = 1.0;
    s.interval = step;
    if (!std::isfinite(lower) || !std::isfinite(upper)) return s;
    const double span = upper - lower;
    s.k = std::max(1.0, std::trunc(std::ceil(span / expCount) / step));
    s.interval = s.k * step;
    s.n = std::trunc(span / s.interval + 1.0);
    s.last = s.n * s.interval + lower;
    for (double e = lower; s.last > e && double(s.exposures.size()) <= s.n; e += s.interval) s.exposures.append(e);
    return s;
}

ExposureRowLayout exposureRowLayout(bool formatRead, int32_t targetFormat)
{
    ExposureRowLayout layout;
    if (!formatRead) return layout;
    if (targetFormat == FORMAT_RGB24) layout.exchange = true;
    if (targetFormat == FORMAT_MONO16) layout.divisor = 256.0;
    return layout;
}

cv::Mat exposureRow(const cv::Mat& frame, const ExposureRowLayout& layout)
{
    if (frame.empty()) return cv::Mat();
    const int cn = frame.channels();
    const int type = CV_MAKETYPE(CV_32F, cn);
    cv::Mat sum = cv::Mat::zeros(1, frame.cols, type);
    // Row by row: the conversion to float is exact for the camera's 8- and 16-bit samples, so
    // this adds the same numbers in the same order as converting the whole frame first, without
    // a float copy of a frame of thousands of rows.
    cv::Mat line;
    for (int y = 0; y < frame.rows; ++y) {
        frame.row(y).convertTo(line, type, 1.0, 0.0);
        cv::add(sum, line, sum);
    }
    const float product = static_cast<float>(frame.rows) * static_cast<float>(layout.divisor);
    sum *= 1.0 / product;
    if (layout.exchange && cn >= 3) {
        std::vector<cv::Mat> planes;
        cv::split(sum, planes);
        cv::swap(planes[0], planes[2]);
        cv::merge(planes, sum);
    }
    return sum;
}

QList<cv::Mat> exposureRows(const QList<cv::Mat>& frames, const ExposureRowLayout& layout)
{
    QList<cv::Mat> rows;
    rows.reserve(frames.size());
    for (const cv::Mat& frame : frames) rows.append(exposureRow(frame, layout));
    return rows;
}

#include "linefit.h"

#include <opencv2/imgproc.hpp>

#include <limits>

cv::Vec4f fitResponseLine(const std::vector<cv::Point2f>& points)
{
    if (points.size() < 2) return cv::Vec4f::all(std::numeric_limits<float>::quiet_NaN());
    cv::Vec4f line;
    cv::fitLine(points, line, cv::DIST_L12, 0, 0.01, 0.01);
    return line;
}

float fitLineAt(const cv::Vec4f& line, double x)
{
    const float vx = line[0], vy = line[1], x0 = line[2], y0 = line[3];
    const float slope = vy / vx;
    return static_cast<float>((x - x0) * slope + y0);
}

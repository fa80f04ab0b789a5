#include "scs.h"

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdlib>

cv::Mat scsShiftLines(const cv::Mat& src, float x)
{
    const int k = x > 0 ? int(std::floor(x)) : int(std::ceil(x));
    const int rows = src.rows;
    cv::Mat dst;
    if (k == 0 || std::abs(k) >= rows) {
        dst = src;
    } else {
        dst.create(src.size(), src.type());
        if (k > 0) {
            src.rowRange(0, k).copyTo(dst.rowRange(0, k));
            src.rowRange(0, rows - k).copyTo(dst.rowRange(k, rows));
        } else {
            src.rowRange(-k, rows).copyTo(dst.rowRange(0, rows + k));
            src.rowRange(rows + k, rows).copyTo(dst.rowRange(rows + k, rows));
        }
    }
    const float f = x - float(k);
    if (f == 0.0f) return dst;
    const double a = double(1.0f - std::fabs(f));
    const double b = 1.0 - a;
    cv::Mat out(dst.size(), dst.type());
    if (f > 0.0f) {
        dst.row(0).copyTo(out.row(0));
        for (int r = 1; r < rows; ++r) {
            cv::Mat row = out.row(r);
            cv::addWeighted(dst.row(r), a, dst.row(r - 1), b, 0.0, row);
        }
    } else {
        for (int r = 0; r + 1 < rows; ++r) {
            cv::Mat row = out.row(r);
            cv::addWeighted(dst.row(r), a, dst.row(r + 1), b, 0.0, row);
        }
        dst.row(rows - 1).copyTo(out.row(rows - 1));
    }
    return out;
}

cv::Mat scsStretchColumns(const cv::Mat& plane, float s)
{
    const float W = float(plane.cols), H = float(plane.rows);
    const cv::Point2f from[3] = {{s, 0.0f}, {W - s, 0.0f}, {W - s, H}};
    const cv::Point2f to[3] = {{0.0f, 0.0f}, {W, 0.0f}, {W, H}};
    const cv::Mat m = cv::getAffineTransform(from, to);
    cv::Mat out = plane.clone();
    cv::warpAffine(plane, out, m, plane.size(), cv::INTER_LINEAR, cv::BORDER_TRANSPARENT, cv::Scalar(0));
    return out;
}

std::vector<cv::Mat> scsShiftPlanes(const std::vector<cv::Mat>& planes, float dV, float dH)
{
    if (planes.size() != 3) return {};
    cv::Mat p0, p2;
    if (dV == 0.0f) {
        p0 = planes[0].clone();
        p2 = planes[2].clone();
    } else {
        p0 = scsShiftLines(planes[0], dV);
        p2 = scsShiftLines(planes[2], -dV);
    }
    if (dH != 0.0f) {
        p0 = scsStretchColumns(p0, dH);
        p2 = scsStretchColumns(p2, -dH);
    }
    return {p0, planes[1], p2};
}

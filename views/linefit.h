#pragma once
// The straight line of the exposure statistics: fitted through the points of one column's (or
// the columns' mean) brightness against the exposure, and read back at a given exposure.

#include <opencv2/core.hpp>

#include <vector>

// The line through `points` (x the exposure in us, y the brightness), as cv::fitLine gives it
// with the distance DIST_L12, param 0, reps 0.01 and aeps 0.01: (vx, vy, x0, y0), a unit
// direction and a point on the line, in float. Fewer than two points give a line of NaNs, which
// draws nothing.
cv::Vec4f fitResponseLine(const std::vector<cv::Point2f>& points);

// y of the line (vx, vy, x0, y0) at x: (x - x0) x (vy / vx) + y0, the quotient in single
// precision, the rest in double, the result as float. A vertical line (vx of 0) has an infinite
// quotient and gives a value that is not finite (NaN at x0, an infinity elsewhere).
float fitLineAt(const cv::Vec4f& line, double x);

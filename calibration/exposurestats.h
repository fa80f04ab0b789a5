#pragma once
// The numbers of the exposure test: the evenly spaced exposures over the usable range, and the
// row of column means each frame of the series comes down to.
//
// Units: exposures in microseconds (double). A row holds column means in the frame's own sample
// units, except for the 16-bit mono target, whose means are brought to the 8-bit scale (/ 256).

#include <QList>
#include <QVector>

#include <opencv2/core.hpp>

#include <cstdint>

// The exposures of a test over [lower, upper] with about `expCount` steps, on the camera's
// exposure step, all in double precision:
//   span = upper - lower;
//   k = whole part of ceil(span / expCount) / step, at least 1;
//   interval = k * step;
//   n = whole part of span / interval + 1.0;
//   last = n * interval + lower;
//   exposures: e from lower, appended while last is above e, growing by interval.
// So the series runs from lower in whole multiples of the step and its last entry lies within
// one interval below `last` (at or below upper). Upper equal to lower gives the one exposure
// lower; upper below lower gives none. An expCount below 1 counts as 1, a step that is not a
// positive number as 1.0 us; a range that is not finite gives no exposures. The list never grows
// past n + 1 entries, so an interval too small to move e cannot run away.
struct ExposureTestSeries {
    double k = 1.0;
    double interval = 0.0;
    double n = 1.0;
    double last = 0.0;
    QVector<double> exposures;
};
ExposureTestSeries exposureTestSeries(double lower, double upper, double step, int expCount);

// How the rows of a test are scaled and ordered by the camera's target format: 34 (16-bit mono)
// divides by 256.0, so that the means stand on the 8-bit scale; 14 (RGB24) exchanges channels 0
// and 2, so that a three-channel row is in the order B, G, R. Everything else, and a format that
// could not be read, stays as delivered (divisor 1.0, no exchange).
struct ExposureRowLayout {
    double divisor = 1.0;
    bool exchange = false;
};
ExposureRowLayout exposureRowLayout(bool formatRead, int32_t targetFormat);

// One frame's row: 1 x columns, 32-bit float with the frame's channels. The frame is converted to
// float (scale 1.0, offset 0), its rows are added up one after the other in single precision,
// and the sum is scaled by 1.0 / p, p = rows x divisor formed in single precision. With
// `exchange` and at least three channels, channels 0 and 2 trade places. The lines of a
// multi-line sensor are not told apart: the mean runs over all rows. An empty frame gives an
// empty row, so that the rows stay paired with their exposures by index.
cv::Mat exposureRow(const cv::Mat& frame, const ExposureRowLayout& layout);

// exposureRow of every frame, in order.
QList<cv::Mat> exposureRows(const QList<cv::Mat>& frames, const ExposureRowLayout& layout);

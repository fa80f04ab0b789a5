#pragma once
// Flat-field gains: from one row of column means to one multiplying gain K per column and channel.
//
// All rows here are the statistic of a bright picture: 1 x columns, 32-bit float, on the 8-bit
// scale (0..255), channels in the order of the statistic (B, G, R for colour; one per sensor line
// on a multi-line camera). A gain list is a list of lists of double: outer index the channel,
// inner index the column.

#include <QList>
#include <QtGlobal>

#include <opencv2/core.hpp>

#include <vector>

using GainList = QList<QList<double>>;

// The lower limit of a flat-field gain, and the distance the upper one keeps below the camera's
// K limit (the record's fixed point cannot hold the limit itself).
constexpr double kFfcMinK = 0.55;
constexpr double kFfcMaxKMargin = 0.0001;

// The sigma-filtered moving mean of one single-channel float row. For each column i the span is
// the columns i - r .. i + r with r = min(i, n - 1 - i, radius), so it narrows symmetrically
// towards both ends; mean and sigma of the span are taken in double from the unsmoothed row,
// columns further than 3 sigma from the mean get weight 0, the rest weight 1, and the new value
// is the weighted sum over the sum of weights, both accumulated in float. Radius 0 (or below)
// returns the row unchanged. Quadratic in the radius, by design: it runs once per calibration.
cv::Mat ffcSmoothRow(const cv::Mat& row, int radius);

// The ratio of each channel's maximum to the green one, in double, from the smoothed rows:
// 3 channels m0/m1, 1, m2/m1; 4 channels m0/m1, 1, m2, m3 (the last two are divided by the new
// m1 = 1 and so stay unscaled); any other count 1.0 each.
std::vector<double> ffcChannelRatios(const std::vector<cv::Mat>& smoothed);

// The target brightness of one smoothed channel row, as a float:
//   goalRate < 0:       the float sum of the row in column order over the number of columns;
//   0 <= goalRate <= 1: (max - min) x goalRate + min, in double, rounded to float;
//   goalRate > 1:       goalRate x ratio, in double, rounded to float.
float ffcTarget(const cv::Mat& smoothed, float goalRate, double ratio);

// K = target / smoothed value per column, as a float division stored as double (unlimited).
QList<double> ffcGainsOfRow(const cv::Mat& smoothed, float target);

// The limits of a flat-field gain: above maxK - 0.0001 it becomes maxK - 0.0001 (an infinite K
// included), then below 0.55 it becomes 0.55. A NaN (0 / 0) is taken as the upper limit.
void ffcLimitGains(GainList& gains, uint8_t maxK);

// The whole computation on a statistic of 1, 3 or 4 channels (or one channel per sensor line):
// split, smooth each channel with `radius`, channel ratios, target by goalRate, gains, limits.
GainList ffcComputeGains(const cv::Mat& statistic, int radius, float goalRate, uint8_t maxK);

// The statistic of one camera frame, on the 8-bit scale: a 1 x width float row.
//  - lineCount >= 2 (mono, several interleaved sensor lines): channel c is the mean of rows
//    c, c + lineCount, ...;
//  - otherwise every row is added element by element and divided by the number of rows.
// 16-bit samples contribute their high byte (0..255), 8-bit samples themselves. `frame` is
// CV_8UC1, CV_16UC1, CV_8UC3 or CV_8UC4; anything else (or an empty frame) gives an empty row.
cv::Mat ffcFrameStatistic(const cv::Mat& frame, int lineCount);

// The colour order fix of the camera path: format 14 (RGB24) swaps the first and the third
// float of every column, so that the row reads B, G, R. Format 15 (RGB32) does the same swap
// with a step of three floats over a four-channel row, which skews its columns; this is how the
// camera path has always treated it and is kept. Other formats are left alone.
void ffcSwapRedBlue(cv::Mat& statistic, int format);

// The statistic of a loaded picture, already turned by 90 degrees so that a column of the file
// is a row here. Colour (CV_8UC3 in R, G, B order): the B, G, R values of the single row whose
// index is `row` (the value of the radius box), as a 3-channel float row; empty when the
// picture has no such row. Grey (CV_8UC1): the mean of every column over all rows.
cv::Mat ffcPictureStatistic(const cv::Mat& picture, int row);

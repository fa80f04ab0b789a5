#pragma once
// The numbers of the bright-field calibration: the exposure search and its spaced series, the
// column gains K of one plane and of a list of images, the read-back of the camera's dark rows,
// and the final K scale with the lift of B.
//
// Units: exposures in microseconds (double). Brightness is judged on the 8-bit scale (16-bit
// frames times 1/256). "raw" is the sample as the frame holds it (0..255 for 8-bit frames,
// 0..65472 for 16-bit frames). K is a plain factor; a KPoint's x is a column's level on the
// 8-bit scale, or kSaturatedLevel.

#include "calibration/kpoint.h"

#include <QList>
#include <QVector>

#include <opencv2/core.hpp>

#include <cstdint>
#include <vector>

// ---- Exposure search ----

// The brightness of a frame for the bright-field search: the highest of the planes' means
// (cv::mean over each whole plane), in raw units. 0 for no planes.
double highestPlaneMean(const std::vector<cv::Mat>& planes);
// The same above each plane's dark: the highest of mean(plane p) - darks[p] (raw units); a plane
// without a dark level counts as dark 0.
double highestPlaneMean(const std::vector<cv::Mat>& planes, const std::vector<double>& darks);
// The dark level of each plane of a search frame (its planes not dealt into sensor lines), in raw
// units, from dark rows of the first gain: colour plane p is the mean of row p; a mono frame's one
// plane the mean of rows 0 .. lineCount - 1 (its lines alternate in it). Empty when the rows do
// not cover the planes.
std::vector<double> planeDarkLevels(const QList<QList<double>>& darkRows, int planes, int lineCount);
// The brightness of a frame for the exposure range: the highest column mean of all planes, each
// column summed over its rows in single precision and divided by the row count, in raw units.
double highestColumnMean(const std::vector<cv::Mat>& planes);

// One bisection over the exposure, fed one brightness after another. Three kinds differ in their
// window, in what happens before the first bracketing and at the sensor's minimum:
//  - Targets: window [whole part of max(t - 1, 0), whole part of t + 1); before bracketing a
//    frame below winHigh doubles hi; at or above winHigh is too high; reaching the minimum is
//    accepted.
//  - Upper: window [high - 1, min(high + 1, 255)]; before bracketing a frame below winLow doubles
//    hi; at or above winHigh is too high; reaching the minimum is a failure.
//  - Lower: window [max(low - 1, 0), low + 1]; a first frame not below winLow ends the search at
//    once with the minimum; only above winHigh is too high; reaching the minimum is a failure.
// Each step, once bracketed: lo equal to hi halves lo and doubles hi; too high sets hi = cur and
// cur += lo, too low sets lo = cur and cur += hi, inside the window ends the search with cur;
// then cur is halved, and cur - min below 1.0 means the sensor's minimum is reached.
struct ExposureSearch {
    enum class Kind { Targets, Upper, Lower };
    enum class Verdict { Measure, Found, AtMinimum };

    Kind kind = Kind::Targets;
    double lo = 0.0, hi = 0.0, cur = 0.0;
    double min = 0.0;
    double winLow = 0.0, winHigh = 0.0;
    bool bracketed = false;
    // The window written to the debug line (the lower search writes the upper one's).
    double logLow = 0.0, logHigh = 0.0;

    // The first form's search for target t: lo from the last result (min with none), hi = lo + 30,
    // cur = hi.
    static ExposureSearch forTarget(double t, double lo, double min);
    // The upper and lower searches of the exposure range.
    static ExposureSearch upper(int highTarget, double lower, double upper, double min);
    static ExposureSearch lower(int lowTarget, int highTarget, double lower, double upper, double min);

    // Moves the search on by the brightness b (8-bit scale) of the frame taken at cur. Measure: take
    // the next frame at cur. Found: the search ended well with cur. AtMinimum: cur came within
    // 1.0 of min (what that means is the caller's, by kind).
    Verdict judge(double b);
};

// The exposure series of a four-level calibration, from the four found exposures r0..r3 and the
// camera's minimum and step: about 24 points from min up to r0, 12 more up to r1, then steps of
// a sixth of r2 - r1 up to (not including) r3. Each stretch's step is a whole multiple of `step`
// (at least one step), rounded to single precision; e runs on from one stretch to the next.
QVector<double> spacedExposures(const QVector<double>& found, double min, double step);

// ---- Column gains ----

// The gain K of each column of one plane (8- or 16-bit unsigned, one channel) against the dark
// row of that plane, and its samples.
//  - m[i]: mean of column i (sum in double / rows), raw units. d: mean of all of `dark`.
//  - reference: with `flat` the brightest m; without it the mean of m over the columns
//    [max(0, i - W), min(i + W, columns)), W = 80 x clamp(columns / 1000, 1, 4).
//  - K[i] = (reference - d) / (m[i] - dark[i]); no limit here (a column at its dark level gets
//    an infinite or undefined K).
//  - x[i] = m[i] on the 8-bit scale (16-bit / 256.0); above 252.0 the column is saturated:
//    K 1.0, x kSaturatedLevel.
// kOut (emptied first) receives K; the result holds (x, K) per column. `colCount` is not used.
// With `renormalize` and not `flat`, every KPoint's K (not kOut) is scaled by maxv / m, m the
// lowest (maxv - dark[i]) x K[i] from 65535.0, maxv 255 or 65472. Another element type, a plane
// without rows, or a dark row shorter than the plane gives empty lists.
QList<KPoint> calcColumnK(const cv::Mat& plane, QList<double>& kOut, const QList<double>& dark, bool flat, int colCount,
                          bool renormalize);

// calcColumnK over a list of images, appending to kList and kPoints:
//  - one channel, lineCount <= 1: each image against dark row 0; one K list and one sample list
//    per image;
//  - one channel, lineCount > 1: only the last image, dealt into its sensor lines (rows l,
//    l + lineCount, ...), line l against dark row l; K lists only;
//  - three or four channels: each image split into planes, plane p against dark row p; K lists
//    image after image, planes inside; sample lists plane after plane, images inside.
// False, with nothing appended, for an empty list, a first image of 2 or more than 4 channels,
// fewer dark rows than planes or lines used, or a dark row shorter than the images are wide.
bool fitColumnGains(const QList<cv::Mat>& images, const QList<QList<double>>& bList, int lineCount, bool flat,
                    int colCount, QList<QList<double>>& kList, QList<QList<KPoint>>& kPoints);
// The same with the dark rows of each image: darks[i] for image i (the dark predicted at its
// exposure), or darks[0] for every image when there is one. False as above when any image's dark
// rows fall short, or when darks has neither one entry nor one per image.
bool fitColumnGains(const QList<cv::Mat>& images, const QList<QList<QList<double>>>& darks, int lineCount, bool flat,
                    int colCount, QList<QList<double>>& kList, QList<QList<KPoint>>& kPoints);

// A gain that no column can use: not a number, infinite, or not above 0 (a column whose bright
// mean does not rise above its dark, a dead column). Each such K of `k` becomes `limit`; the
// columns are returned, ascending.
std::vector<int> limitUnusableK(QList<double>& k, double limit);
// The same for the K of samples.
std::vector<int> limitUnusableK(QList<KPoint>& points, double limit);

// ---- The camera's dark rows ----

// The planes of the FPN record for a source format code: 1 for mono codes (0..4, 30..34), 3 for
// 10, 14, 40, 44, 4 for 11 and 15; 0 for a code the record does not take.
int readBackPlanes(int32_t sourceFormat);

// The dark rows of one read of the FPN record: `pairs` holds columns x planes float32 pairs K, B,
// interleaved by column. `planes` empty rows are appended to bList, but the B values (widened to
// double) go to rows 0..planes-1 counted from the start of the list, so that at a second gain
// the first rows grow on and the new ones stay empty. K is not kept.
void appendReadBackRows(QList<QList<double>>& bList, const float* pairs, int columns, int planes);

// ---- Final step ----

// The lift for row i of bList: m_incBList's entry, 0 for a row without one.
double liftOf(const QList<double>& incBList, int row);

// Single-level K: per row i (of the shorter of bList and kList) s = maxv / m, m the lowest
// (maxv - B) x K over the columns from 65535.0 (a NaN product takes its place); K scaled by s;
// then B += lift / K column by column (a column whose K is not above 0 or not finite over the
// row's largest K), so that each column's corrected dark sits the lift below 0. kScaleList becomes one entry per row of bList (1.0 for
// rows without K). maxv is 255 or 65472.
void finishSingleLevel(QList<QList<double>>& bList, QList<QList<double>>& kList, const QList<double>& incBList,
                       double maxv, QList<double>& kScaleList);

// Multi-level K: K at the table's top sampling level (three quarters of the last level, rounded)
// gives per row s = maxv / m as above; then over the 256 pixel levels, band by band of `table`,
// K at each band's sampling level times s; B += lift / K column by column, K of the first band
// (the one a dark pixel takes), its largest over the bands standing in as above. kAtLevel is
// given the kPoints, maxK and the row count of bList.
void finishMultiLevel(QList<QList<double>>& bList, const QList<QList<KPoint>>& kPoints, uint8_t maxK,
                      const std::vector<uint16_t>& table, const QList<double>& incBList, double maxv,
                      QList<double>& kScaleList);

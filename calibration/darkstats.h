#pragma once
// The numbers of the dark-field measurement: a frame dealt into its planes, the column means
// and their range per plane, the judging step of the DOffset walk, and the B row with its lift.
//
// Units: "raw" is the sample as the frame holds it (0..255 for 8-bit frames, 0..65472 for
// 16-bit frames, the 10-bit data in the high bits). Brightness limits are judged on a scale the
// caller gives: 1 for 8-bit frames, 1/256 (the 8-bit scale) for the dark-field limit and 1/64
// (10-bit units) for the DOffset walk on 16-bit frames.

#include <QList>
#include <QString>

#include <opencv2/core.hpp>

#include <cstdint>
#include <vector>

// The image planes of one frame held as a matrix of its own (a deep copy of the library's buffer,
// `frame` rows x columns). Mono frames give one plane; with `deinterleave` and lineCount above 1
// that plane is dealt into lineCount planes, plane i made of rows i, i + lineCount, i + 2 *
// lineCount and so on (so 4002 rows give 1001, 1001, 1000, 1000). Three- and four-channel colour
// frames give their channels in memory order. A mono frame the program could not take (an empty
// matrix) stays one empty plane, or lineCount empty planes. Returns false, with no planes, for a
// format other than mono, BGR24, RGB24, BGR32 and RGB32, or a matrix whose channel count does not
// fit the format.
bool splitFramePlanes(const cv::Mat& frame, int format, int lineCount, bool deinterleave, std::vector<cv::Mat>& planes);

// Column means of one plane of 8- or 16-bit samples, as the brightness checks take them: each
// sample times `sampleScale` in single precision, each column summed over all rows in single
// precision, then times 1/rows. A 1 x columns CV_32F row; empty for a plane without rows or of
// another element type.
cv::Mat columnMeansF(const cv::Mat& plane, float sampleScale = 1.0f);

// The darkest and the brightest of a row of column means, times `scale` (single precision).
// Both 0 for an empty row.
struct MeanRange {
    float min = 0.0f;
    float max = 0.0f;
};
MeanRange meanRange(const cv::Mat& means, float scale = 1.0f);
// The same of a plane's column means (columnMeansF).
MeanRange columnMeanRange(const cv::Mat& plane, float scale);
// The range over several planes: the smallest minimum and the largest maximum.
MeanRange columnMeanRange(const std::vector<cv::Mat>& planes, float scale);

// The samples' scale for a brightness judged on the 8-bit scale, by the frame's bits (0 is
// 8-bit): 1 or 1/256.
float eightBitScale(uint32_t bits);
// The samples' scale of the DOffset walk: 1 for 8-bit frames, 1/64 (10-bit units) otherwise.
float doffsetScale(uint32_t bits);

// One row of B, from a dark plane, in double precision: per column the sum over all rows and the
// column's maximum (from 0); mean = sum / rows. 8-bit planes keep the mean with its fraction,
// 16-bit planes keep it truncated toward zero, in raw 16-bit units. `lift` is the average over
// the columns of (maximum - mean), in raw units, from the means before truncation. Another
// element type, or a plane without rows or columns, gives an empty row and a lift of 0.
struct DarkRow {
    QList<double> b;
    double lift = 0.0;
};
DarkRow darkRow(const cv::Mat& plane);

// The share of a plane's samples at 0 (8- or 16-bit, one channel): an output cut off at 0 hides
// how far below it the dark lies. 0 for an empty plane.
double zeroShare(const cv::Mat& plane);
// A dark plane is clipped, and its B not measured, when more than this share of it sits at 0.
constexpr double kDarkMaxZeroShare = 0.01;

// The name of plane p of `planes` planes of a frame of this format, as the operator reads it, in
// the interface language: the channel letter in memory order for colour ("通道N" from the fourth
// on, N counted from 1), "黑白" for a one-line mono sensor, "传感器行N" for line N of a
// multi-line sensor.
QString planeName(int format, size_t planes, size_t p);
// The same plane's key, the same in every language, for what is stored or read by a machine (the
// records, the JSON results): "R", "G", "B", "channelN", "mono", "lineN", numbered as the names.
QString planeKey(int format, size_t planes, size_t p);

// One row of B at a resolution finer than the samples: the same plane taken at n black levels a
// step apart (frames[j] at the level as found plus j steps, or minus j steps where the top of
// the black level's range allows no lift (ditherDirection); 8-bit samples are 4 steps wide, and
// the dark's noise alone cannot dither them). Per column the mean over every frame's rows (double
// precision, the frames weighed by their rows), less their mean lift (with equal frames
// (n - 1) / 2 x the step), the step measured, with its sign, as the mean over the columns of
// (mean of the last frame - mean of the first) / (n - 1): a camera whose output does not follow
// the black level gets the plain mean. Empty when the frames differ in columns or are fewer than
// two.
QList<double> ditheredDarkRow(const std::vector<cv::Mat>& frames);
// The black-level steps an 8-bit dark is dithered over.
constexpr int kDarkDitherSteps = 4;

// The largest black level the camera takes: past it the register's byte wraps to a negative level.
constexpr int kDoffsetMax = 127;
// How far a lift of `steps` black levels a step apart (the first at the lift itself, the last
// steps - 1 higher) may start above `doffset` before its last level passes kDoffsetMax; below 0
// when even a lift from `doffset` itself would pass it.
int doffsetRoom(int doffset, int steps);
// The sign of the steps a dark is dithered over from `doffset`: +1 (up) where doffsetRoom leaves
// room for them, else -1 (down).
int ditherDirection(int doffset, int steps);

// ---- DOffset ----

// The signed black level as the camera reports it: a value above 128 wraps to value - 256, so
// 200 is -56 and 128 stays 128.
int32_t wrapDoffset(int32_t value);

// The walk's bound: values beyond +-min(maxB, 127) are not tried.
int doffsetLimit(int maxB);

// The state of the DOffset walk: the value on trial, the value of the trial before, and how the
// frame of that trial was judged. A new walk starts at 1 with both judgements false.
struct DoffsetWalk {
    int d = 1;
    int last = 1;
    bool prevBelow = false;
    bool prevAbove = false;
    bool done = false;  // d is the result
    // The walk ended on a value whose frame kept the brightest column under maxB but not the
    // darkest above its floor: the next value up was too bright. No value holds both, the dark
    // lies cut off at 0, and the result must not be taken.
    bool conflict = false;
};

// Judges the frame taken at w.d, with the darkest and the brightest column mean of all its planes
// on the walk's scale (doffsetScale), and moves the walk on:
//  - below: maxB is strictly above the brightest mean; above: the darkest mean is strictly
//    above 1.0;
//  - a frame no longer below after one that was, or no longer above after one that was, ends the
//    walk on the value before (d = last);
//  - too bright (neither this frame nor the last below): d falls by 1, and may land on 0;
//  - otherwise d falls by 1 when above and rises by 1 when not, jumping over 0 either way.
// The value found is the lowest on the walk whose darkest column stays above 1.0 while the
// brightest stays under maxB.
// A walk that ends on a value judged not above after one judged below sets `conflict`.
void judgeDoffsetFrame(DoffsetWalk& w, float minMean, float maxMean, int maxB);

// A column of a frame's planes that stands too high for the DOffset walk: its plane, its column
// and its mean on the walk's scale.
struct HighColumn {
    int plane = 0;
    int column = 0;
    float mean = 0.0f;
};
// The columns of all planes whose mean (on `scale`, single precision as columnMeansF) is at or
// above `level`, plane by plane, column by column.
std::vector<HighColumn> columnsAtLeast(const std::vector<cv::Mat>& planes, float scale, float level);
// Whether any DOffset can hold the darkest column strictly above 1.0 and the brightest strictly
// under maxB at once (on the walk's scale): a DOffset moves every column alike, so the spread of
// the column means must stay below maxB - 1.0. A frame cut off at 0 or at full scale shows less
// spread than it has; this test never refuses what the walk could find.
bool doffsetCanHold(const MeanRange& range, int maxB);

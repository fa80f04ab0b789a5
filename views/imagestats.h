#pragma once
// Figures of the frame on show, for the window's image tools: the histogram of each plane, the
// statistics of a rectangle, the share of samples at full scale. Free functions on a cv::Mat of
// 8-bit or 16-bit samples with 1, 3 or 4 channels, channels in the frame's B, G, R(, X) order
// (a frame delivered R, G, B goes through toBgrOrder first). No display, no camera.
//
// Units: a frame's own samples. 8-bit frames: 0 to 255 (DN8). 16-bit frames carry 10-bit data in
// their high bits (full scale 65472); their histogram counts DN10 = value >> 6.

#include <QList>
#include <QString>
#include <QtGlobal>

#include <opencv2/core.hpp>

#include <vector>

// One plane as the operator reads it: its name and the frame channel that holds it.
struct FramePlane {
    QString name;
    int channel = 0;
};

// The planes of a frame of `channels` channels in B, G, R(, X) order, in reading order: one grey
// plane ("灰度"); R, G, B; R, G, B and the fourth channel ("X"). Empty for other counts.
QList<FramePlane> framePlanes(int channels);

// The value of a sample at full scale: 255 for 8-bit, 65472 (1023 << 6) for 16-bit frames; 0 for
// another depth.
double fullScaleOf(int depth);

// The frame with channels 0 and 2 swapped when `rgbOrder` (a deep copy), else the frame itself.
cv::Mat toBgrOrder(const cv::Mat& frame, bool rgbOrder);

// Bins of a frame's histogram: 256 for 8-bit, 1024 for 16-bit frames, 0 for another depth.
int histogramBins(int depth);

// Per channel, the count of samples in each bin: an 8-bit sample v in bin v, a 16-bit one in bin
// v >> 6. Empty for an empty frame or another depth.
std::vector<std::vector<quint64>> channelHistograms(const cv::Mat& frame);

// Mean, standard deviation (over the samples themselves, divided by their count), minimum and
// maximum of one channel's samples in a region, in the frame's own units.
struct RegionStats {
    double mean = 0.0;
    double stddev = 0.0;
    double min = 0.0;
    double max = 0.0;
    qint64 count = 0;
};

// The part of `rect` that lies in the frame; an empty rectangle when none does.
cv::Rect clipToFrame(const cv::Rect& rect, const cv::Mat& frame);

// Per channel, the statistics of the samples inside `rect` (clipped to the frame). Empty when the
// rectangle and the frame do not overlap, or for another depth.
std::vector<RegionStats> regionStatistics(const cv::Mat& frame, const cv::Rect& rect);

// Per channel, the share (0 to 1) of the samples at or above full scale. Empty for an empty frame
// or another depth.
std::vector<double> fullScaleShares(const cv::Mat& frame);

// A frame is called saturated above this share of samples at full scale in any plane: 0.1 %.
constexpr double kSaturationShare = 0.001;

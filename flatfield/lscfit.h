#pragma once
// Lens shading: one polynomial of degree 6 per channel fitted to a row of column means, its gains
// over the whole sensor, the memory block the camera takes, and the parameter file.
//
// A polynomial list holds 8 values per channel: c6, c5, c4, c3, c2, c1, c0 (highest power
// first), then the channel's target brightness. Its argument is the column index within the ROI,
// 0 at the ROI's left edge. Channels are in the order B, G, R (one list for mono).

#include "flatfield/ffcgains.h"
#include "fpnparams/paramfile.h"
#include "lsx.h"

#include <QString>
#include <QStringList>

#include <opencv2/core.hpp>

#include <cstdint>
#include <vector>

// The channel ratios of lens shading: 1.0 each, and with exactly three rows m0/m1 and m2/m1 of
// their raw maxima, in double rounded to float, for channels 0 and 2.
std::vector<float> lscChannelRatios(const std::vector<cv::Mat>& rows);

// The fit of one channel: the normal equations A = sum X X^T, b = sum y X over the columns
// i = 0 .. roiW - 1 with X[k] = i^k (k = 0..6, pow in double) and y the column mean, solved as
// inverse(A) (LU) times b, with no scaling of the argument. Then the target (a float): below 0
// the float sum of the row over its width; 0..1 (max - min) x goalRate + min in double; above 1
// goalRate x ratio in float. Returns c6..c0 and the target; empty when the row has fewer than
// roiW columns or roiW is below 1.
QList<double> lscFitChannel(const cv::Mat& row, int roiW, float goalRate, float ratio);

// Whether a fitted list can be used: 8 values, all finite, and not the all-zero answer of a
// singular system.
bool lscFitUsable(const QList<double>& poly);

// The polynomial at x: c6 x^6 + ... + c0, each power by pow in double, summed from the highest.
double lscPolyValue(const QList<double>& poly, double x);

// The gains of one channel over the whole sensor: target / p(s - roiX) inside the ROI
// (roiX <= s < roiX + roiW), 1.0 outside; no limit.
QList<double> lscSensorGains(const QList<double>& poly, int roiX, int roiW, int sensorWidth);

// The block written at LSX_MEM_LSC_BLOCK: the head (magic, ROI, checksum, payload size) and, for
// the channels from the last to the first, their 8 doubles as they stand in memory. The checksum
// is the sum of the payload's bytes, as unsigned bytes, modulo 65536. Empty for no channels, a
// channel that is not 8 values long, or a payload that does not fit the 16-bit size field.
std::vector<uint8_t> lscPackBlock(const QList<QList<double>>& polys, const lsxRegion& roi);

// The LSC file: FFC/Version 2, the four ROI keys, and for the channel names R, G, B the eleven
// keys "FFC_<n>/A_<n>" .. "K_<n>": A..G c6..c0, H the target, I..K 0.0. Three channels are
// reversed first (R gets channel 2); one channel goes under R, and a name without a channel gets
// eleven zeros (so no channel at all gives the head and zeros).
QByteArray lscFileText(const lsxRegion& roi, const QList<QList<double>>& polys);
// Why these polynomials cannot be saved as a file that loads back: more than three channels, a
// channel not of 8 values, a value that is not finite (its key named). Empty when they can.
QString lscPolysRefusal(const QList<QList<double>>& polys);
// Writes the file anew and atomically (an earlier file at the path stays whole when the save
// fails). False with `why` for polynomials that cannot be saved or a file that cannot be written.
bool lscSaveFile(const QString& path, const lsxRegion& roi, const QList<QList<double>>& polys, QString* why);

// The largest LSC file worth reading: its 37 keys need far less.
constexpr qint64 kLscFileMaxBytes = 64 * 1024;

// An LSC file read back, for the operator's records and the checks of a file: `ok` false with
// `text` the reason (size, version, a missing or garbage key); otherwise the ROI and the channels
// found, B, G, R order (three sections), the R list alone (a file of one channel: G and B all
// zeros), or none (a file of the head and zeros).
struct LscFileContent {
    bool ok = false;
    QString text;
    int roiX = 0, roiY = 0, roiW = 0, roiH = 0;
    QList<QList<double>> polys;
};
LscFileContent lscReadFile(const QString& path);

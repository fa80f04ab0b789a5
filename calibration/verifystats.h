#pragma once
// The figures of the calibration verification: how much column non-uniformity is left in the
// camera's output, measured after the definitions of EMVA 1288 (release 4.0) taken over to a
// line-scan sensor, before and after the camera's corrections.
//
// A line-scan frame is L temporal samples of one spatial row. A "stack" here is one plane of a
// frame (a colour plane, or one sensor line of a multi-line sensor): L rows x N columns, each row
// the same pixels read out at another moment. Stacks may be 8- or 16-bit unsigned, or 32- or
// 64-bit float, one channel; every kernel multiplies each sample by the caller's `scale` first.
// The verification passes DN10, the sensor's 10-bit units: 16-bit samples (10-bit data in the
// high bits) times 1/64, 8-bit samples times 4. All sums run in double precision.

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QVector>

#include <opencv2/core.hpp>

#include <vector>

// ---- One stack ----

// Column means: mu[x] = 1/L * sum over l of y[l][x], times scale. A 1 x N CV_64F row; empty for a
// stack without rows or columns, of more than one channel or of another depth.
cv::Mat stackColumnMeans(const cv::Mat& stack, double scale = 1.0);

// Temporal variance, the mean over the columns of each column's variance over time:
// sigma2_y = 1/N * sum over x of [ 1/(L - 1) * sum over l of (y[l][x] - mu[x])^2 ], in scale^2.
// 0 for fewer than two rows.
double stackTemporalVariance(const cv::Mat& stack, double scale = 1.0);

// Spatial variance of the column means, less the part the temporal noise leaves in a mean of L
// samples: s2_y = 1/(N - 1) * sum over x of (mu[x] - mean(mu))^2 - sigma2_y / L. Without the
// correction a stack of pure temporal noise would show a pattern of sigma2_y / L. It can come out
// slightly below 0 for a stack without pattern; 0 for fewer than two columns or no lines.
double spatialVariance(const cv::Mat& means, double temporalVar, int lines);

// What a stack gives: its column means, their mean mu_y, sigma2_y and s2_y, with L and N.
// `zeros` is the share of samples at 0: an output cut off at 0 spreads less than its sensor.
struct StackStats {
    cv::Mat means;
    double mean = 0.0;
    double temporalVar = 0.0;
    double spatialVar = 0.0;
    double zeros = 0.0;
    int lines = 0;
    int columns = 0;
};
StackStats stackStats(const cv::Mat& stack, double scale = 1.0);

// DSNU1288 = s_y.dark = sqrt(max(0, s2_y.dark)), in the stack's units after scale (DN10).
double dsnu1288(const StackStats& dark);

// PRNU1288 = 100 * sqrt(max(0, s2_y.bright - s2_y.dark)) / (mu_y.bright - mu_y.dark), in per
// cent. NaN when the bright stack is not brighter than the dark one.
double prnu1288(const StackStats& dark, const StackStats& bright);

// ---- One row of column means ----

// The spectrogram of a row: the amplitude per spatial frequency k / N cycles per column, for k = 0
// to N / 2. With Y[k] the discrete Fourier transform of the row less its mean,
// a[k] = sqrt(|Y[k]|^2 / N), in the row's units: the mean of a[k]^2 over all N frequencies equals
// the row's variance (1/N), and a column pattern A * sin(2 pi k0 x / N) stands out as a[k0] =
// A * sqrt(N) / 2. a[0] is 0. Empty for an empty row.
std::vector<double> spectrogram(const cv::Mat& row);

// The moving average of `window` columns over the part of the row where the whole window fits:
// out[i] = 1/window * sum of row[i .. i + window - 1], for i = 0 to N - window (a window wider
// than the row shrinks to the row, giving its mean alone).
std::vector<double> movingAverage(const cv::Mat& row, int window);

// The peak-to-peak of the slow profile: max - min of movingAverage(row, window). 0 for an empty
// row. The profile's slope and lens fall-off show here; column to column noise averages out.
double slowProfilePeakToPeak(const cv::Mat& row, int window = 64);

// The mean of the neighbours of each column: the `window` columns centred on x, x itself left
// out, cut at the row's ends (window 15: up to 7 either side). The reference a defect column is
// judged against.
std::vector<double> neighbourMeans(const cv::Mat& row, int window);

// Defect columns, ascending: those whose dark mean lies more than `darkLimit` (units of the means)
// from its neighbours' mean, or whose response (bright mean - dark mean) lies more than
// `responsePercent` per cent from its neighbours' mean response. A column whose neighbours have
// no response (mean response not above 0) is judged by its dark value alone. Both rows must have
// the same size; otherwise none.
std::vector<int> defectColumns(const cv::Mat& darkMeans, const cv::Mat& brightMeans, double darkLimit,
                               double responsePercent, int window);

// ---- The bright frame's fitness ----

// A bright plane is refused when more than this share of its samples stands at full scale
// (clipped: its spread is cut off) ...
constexpr double kVerifyMaxClipped = 0.001;
// ... or when its mean is below this share of full scale (the pattern drowns in the dark's).
constexpr double kVerifyMinBright = 0.1;

// Of one plane: the share of samples at or above `fullScale` and the mean over full scale, in
// raw sample units (full scale 255 for 8-bit samples, 65472 for 16-bit ones).
struct BrightLevel {
    double clipped = 0.0;
    double level = 0.0;
};
BrightLevel brightLevel(const cv::Mat& plane, double fullScale);

// ---- The verification's result ----

// The limits a verified camera is judged by (FPN.ini, group Verify), and those of a defect column.
// The defaults suit this camera family (10-bit data, DN10): a good FPN calibration leaves about
// 0.1 % PRNU and 0.1 DN10 DSNU at a mid-scale grey, so half a per cent and half a DN10 leave room
// for the light source and the temporal noise while a missing or stale calibration (typically 1 to
// 3 % and 1 DN10 and more) fails. A correctable hot or weak column does not survive a good
// calibration, so none is allowed. A column is a defect 5 DN10 off its neighbours in the dark
// (five times a typical DSNU at gain 1) or 10 % off their response (five times a typical PRNU).
struct VerifyLimits {
    double maxPrnu = 0.5;          // Verify/MaxPRNU, per cent
    double maxDsnu = 0.5;          // Verify/MaxDSNU, DN10
    int maxDefects = 0;            // Verify/MaxDefects, per plane
    double defectDark = 5.0;       // Verify/DefectDark, DN10 from the neighbours' dark mean
    double defectResponse = 10.0;  // Verify/DefectResponse, per cent from the neighbours' response
};

// The columns of a defect judgement, and of the slow profile.
constexpr int kDefectWindow = 15;
constexpr int kSlowWindow = 64;

// The figures of one plane in one state of the camera (its corrections off, or as found), in DN10.
struct VerifyFigures {
    double darkMean = 0.0, brightMean = 0.0;                // mu_y.dark, mu_y.bright
    double darkTemporalVar = 0.0, brightTemporalVar = 0.0;  // sigma2_y
    double darkSpatialVar = 0.0, brightSpatialVar = 0.0;    // s2_y
    double dsnu = 0.0;                                      // DSNU1288, DN10
    double prnu = 0.0;                                      // PRNU1288, per cent
    double darkSlow = 0.0;                                  // slow profile peak-to-peak of the dark row, DN10
    double brightSlow = 0.0;                                // of the response row, per cent of the mean response
    // Share of the dark samples at 0: an output whose dark level the correction takes to 0 is
    // cut off there, and its dark spread says only that it is flat.
    double darkZero = 0.0;
    QVector<int> defects;
    QVector<double> darkMeans, brightMeans;          // column means, DN10
    QVector<double> darkSpectrum, responseSpectrum;  // spectrogram of the dark row, of bright - dark
};

// The figures of a dark and a bright stack of one plane, from their statistics in DN10 ...
VerifyFigures verifyFigures(const StackStats& dark, const StackStats& bright, const VerifyLimits& limits);
// ... or from the stacks themselves, `scale` taking samples to DN10.
VerifyFigures verifyFigures(const cv::Mat& dark, const cv::Mat& bright, double scale, const VerifyLimits& limits);

// One plane, before (corrections off) and after (as the operator had them).
struct VerifyPlane {
    QString name;
    VerifyFigures before, after;
};

struct VerifyReport {
    QString camera, model, serial, version;
    QDateTime when;
    double gain = 0.0;
    double exposure = 0.0;  // microseconds
    int bits = 0;           // of the frames: 0 8-bit, 2 16-bit
    int lines = 0;          // temporal samples per plane and stack
    bool fpnOn = false;     // the camera's corrections as found, which "after" measures
    bool flatOn = false;
    VerifyLimits limits;
    QList<VerifyPlane> planes;
};

// Whether one plane's "after" figures keep within the limits; every plane must.
bool planePasses(const VerifyFigures& after, const VerifyLimits& limits);
bool reportPasses(const VerifyReport& report);

// The report as the station's database takes it: the camera, the settings, the limits, the
// verdict, and per plane both states with every figure, the defect columns and the column means.
QJsonObject verifyReportJson(const VerifyReport& report);

// The scale from samples to DN10 by a frame's bits (0 is 8-bit): 4 or 1/64.
double dn10Scale(int bits);
// Full scale in raw sample units by the frame's bits: 255 or 65472.
double rawFullScale(int bits);

Q_DECLARE_METATYPE(VerifyReport)

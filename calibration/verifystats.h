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
// A stack taken over `steps` black-level steps, one block of rows after the other (a dark dithered
// over the steps, dark8BitDither), is as many operating points: each column's squared deviations
// are taken from its own block's mean and pooled, 1/(L - steps) * sum over the blocks b and their
// rows l of (y[l][x] - mu_b[x])^2; the steps between the blocks are no noise, and their mean is
// the same in every column mean. Block b holds rows [b * L / steps, (b + 1) * L / steps); with
// fewer than two rows a block, the stack is taken as one block.
double stackTemporalVariance(const cv::Mat& stack, double scale = 1.0, int steps = 1);

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
// `steps` as for stackTemporalVariance.
StackStats stackStats(const cv::Mat& stack, double scale = 1.0, int steps = 1);

// DSNU1288 = s_y.dark = sqrt(s2_y.dark), in the stack's units after scale (DN10). NaN (not
// measurable) when the estimate s2_y.dark is negative: the pattern is below what the temporal
// noise lets L lines resolve, and 0 would be a figure nobody measured.
double dsnu1288(const StackStats& dark);

// PRNU1288 = 100 * sqrt(s2_y.bright - s2_y.dark) / (mu_y.bright - mu_y.dark), in per cent. NaN
// (not measurable) when the bright stack is not brighter than the dark one, or the difference of
// the spatial variances is negative.
double prnu1288(const StackStats& dark, const StackStats& bright);

// PRNU of the response row, per cent: the columns' spread of bright - dark (column means at the
// same exposure), its temporal share taken off, over the mean signal:
// 100 * sqrt(s2(mu_bright - mu_dark) - sigma2_bright / L_bright - sigma2_dark / L_dark) / signal.
// Unlike PRNU1288 it subtracts the dark column by column, so a dark pattern that the lit stack
// carries too (hot columns away from their B) cancels instead of entering as a cross term that
// can take PRNU1288 below the truth or below 0. NaN (not measurable) as PRNU1288.
double prnuOfResponse(const StackStats& dark, const StackStats& bright);

// The PRNU a verdict can rest on: the larger of PRNU1288 and the response row's, so that neither
// estimator's blind spot passes a camera; NaN when the response row's is not measurable (a
// PRNU1288 not measurable beside a measurable response row is that estimator's failure, not the
// camera's).
double judgedPrnu(double prnu1288, double response);

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
// out, cut at the row's ends (window 15: up to 7 either side).
std::vector<double> neighbourMeans(const cv::Mat& row, int window);

// The median of the neighbours of each column, over the same columns as neighbourMeans (x itself
// left out; of an even count the mean of the two middle values). The reference a defect column
// is judged against: a hot column pulls its neighbours' mean, never their median, so one hot
// column flags one column.
std::vector<double> neighbourMedians(const cv::Mat& row, int window);

// Defect columns, ascending: those whose dark mean lies more than `darkLimit` (units of the means)
// from its neighbours' median, or whose response (bright mean - dark mean) lies more than
// `responsePercent` per cent from its neighbours' median response. A column whose neighbours have
// no response (median response not above 0) is judged by its dark value alone. Both rows must
// have the same size; otherwise none.
std::vector<int> defectColumns(const cv::Mat& darkMeans, const cv::Mat& brightMeans, double darkLimit,
                               double responsePercent, int window);

// The spectrogram of a response row (bright - dark column means) in per cent of its mean: a[k]
// of spectrogram() times 100 / mean(row), the unit of PRNU. Empty when the mean is not above 0.
std::vector<double> responseSpectrogram(const cv::Mat& row);

// ---- A dark cut off at 0 ----

// The largest share of any one column's samples at 0 (one channel, 8- or 16-bit or float). A
// dark whose correction takes it below 0 is cut off there; its mean and spread say nothing.
double worstColumnZeroShare(const cv::Mat& stack);
// A dark stack is taken as it comes when no column has more than this share at 0.
constexpr double kDarkMaxColumnZeros = 0.01;

// The dark at the black level as found, from two stacks taken with it lifted by the known steps
// s1 < s2 (steps of the black-level setting): the output is linear in the black level, so row by
// row y0 = y1 - s1 * (y2 - y1) / (s2 - s1). A CV_64F stack of the smaller row count, in the
// stacks' units; its temporal variance is that of the extrapolation. Empty for stacks that differ
// in columns or type, or steps not rising.
cv::Mat extrapolatedDark(const cv::Mat& lifted1, double s1, const cv::Mat& lifted2, double s2);

// The black-level steps (DN10) an 8-bit dark is taken over, a share of its lines at each: an
// 8-bit sample (bits 0) is 4 DN10 wide, which the output's noise (less than a sample) cannot
// dither alone, and behind a correction with K != 1 a step moves the output by K DN10, so the
// steps span two samples to keep the cut-off's left-over small; 1 for 16-bit output.
int dark8BitDither(int bits);

// How the dark of one plane was measured: as it came (no lift), or with the black level lifted by
// two known steps and extrapolated back to the level as found (on 8-bit output each lift spans
// `steps` steps, a share of the lines at each). Not measurable when no lift the black level allows
// leaves every column clear of 0.
struct DarkLift {
    int first = 0, second = 0;      // black-level steps; 0 and 0 when the dark was taken as it came
    int steps = 1;                  // steps each lift spans
    double zerosAsFound = 0.0;      // share of the samples at 0 at the black level as found
    double worstColumnZeros = 0.0;  // the largest share of one column at 0 in the stacks used
    bool measurable = true;
};

// ---- Levels ----

// The levels of saturation (per cent) a verification measures PRNU at, from the text of the
// setting Verify/Levels ("25,50,80"): whole or decimal numbers from 10 to 95 separated by commas
// or spaces, ascending, each once. False, with `levels` untouched, for anything else.
bool parseVerifyLevels(const QString& text, QList<double>& levels);
// The default of Verify/Levels: EMVA 1288's middle level.
inline const QString kVerifyLevelsDefault = QStringLiteral("50");
// A level is reached when the brightest plane's signal lies within this share of it.
constexpr double kVerifyLevelTolerance = 0.05;

// ---- The bright frame's fitness ----

// A bright plane is refused when more than this share of its samples stands at full scale
// (clipped: its spread is cut off) ...
constexpr double kVerifyMaxClipped = 0.001;
// ... or when its mean is below this share of full scale (the pattern drowns in the dark's); and
// a lit stage whose signal is less than this share of saturation above the dark is refused too.
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

// The figures of one plane in one state of the camera at one level of saturation: the bright
// stack and the dark stack taken at the same exposure, in DN10.
struct VerifyLevelFigures {
    double target = 0.0;                                    // the level asked for, per cent of saturation
    double exposure = 0.0;                                  // microseconds
    double level = 0.0;                                     // reached: signal over (full scale - dark), per cent
    double darkMean = 0.0, brightMean = 0.0;                // mu_y.dark, mu_y.bright
    double darkTemporalVar = 0.0, brightTemporalVar = 0.0;  // sigma2_y
    double darkSpatialVar = 0.0, brightSpatialVar = 0.0;    // s2_y
    double prnu = 0.0;                                      // judged: judgedPrnu of the two below
    double prnu1288 = 0.0;                                  // PRNU1288, per cent; NaN: not measurable
    double prnuResponse = 0.0;                              // of the response row, per cent; NaN likewise
    double brightSlow = 0.0;                                // slow profile of the response, per cent
    DarkLift darkLift;
    QVector<double> brightMeans, darkMeans;  // column means, DN10
    QVector<double> responseSpectrum;        // spectrogram of bright - dark, per cent of the signal
};

// The columns' spread of non-linearity between two levels: the sample standard deviation over
// the columns of (r_a / mean r_a) / (r_b / mean r_b), r the response rows (bright - dark column
// means) of the two levels, per cent. Temporal noise is not taken off (it is small beside the
// figure with 1000 lines). NaN when a row is missing, of unequal length or without signal.
double responseShapeChange(const VerifyLevelFigures& a, const VerifyLevelFigures& b);

// The figures of one plane in one state of the camera (its corrections off, or as found): the
// dark at the working exposure (DSNU), and PRNU at each level; the bright figures, the profile,
// the spectrum and the defect columns are those of the reference level (nearest to 50 %).
struct VerifyFigures {
    double darkMean = 0.0, brightMean = 0.0;                // mu_y.dark, mu_y.bright
    double darkTemporalVar = 0.0, brightTemporalVar = 0.0;  // sigma2_y
    double darkSpatialVar = 0.0, brightSpatialVar = 0.0;    // s2_y
    double dsnu = 0.0;                                      // DSNU1288, DN10; NaN: not measurable
    double prnu = 0.0;        // judged PRNU, per cent: the worst level's; NaN when a level has none
    double prnu1288 = 0.0;    // PRNU1288 of the worst level by it; NaN when a level is not measurable
    double prnuResponse = 0.0;  // of the response row, likewise
    // How the response row's shape changes from the lowest level to the highest, per cent
    // (responseShapeChange); NaN with fewer than two levels. One K per column follows the row at
    // the level it was taken at only: this is what it leaves at the others.
    double shapeChange = 0.0;
    double darkSlow = 0.0;    // slow profile peak-to-peak of the dark row, DN10
    double brightSlow = 0.0;  // of the response row, per cent of the mean response
    // Share of the dark samples at 0 at the black level as found: an output whose dark level the
    // correction takes to 0 is cut off there; the dark figures then come from a lifted black level.
    double darkZero = 0.0;
    DarkLift darkLift;
    QList<VerifyLevelFigures> levels;
    QVector<int> defects;
    QVector<double> darkMeans, brightMeans;          // column means, DN10
    QVector<double> darkSpectrum, responseSpectrum;  // of the dark row (DN10), of bright - dark (per cent)
};

// One plane's dark and bright stacks at one level of saturation, summed up (DN10), with how the
// dark was measured.
struct VerifyLevelStacks {
    double target = 0.0;
    double exposure = 0.0;
    StackStats dark, bright;
    DarkLift darkLift;
};

// The figures of one level: PRNU1288 and the rest; `fullScale` in DN10 (1023 or 1020).
VerifyLevelFigures verifyLevelFigures(const VerifyLevelStacks& stacks, double fullScale);
// The figures of a plane from its dark at the working exposure and its levels; the reference
// level is the one whose target lies nearest to 50 %.
VerifyFigures verifyFigures(const StackStats& dark, const DarkLift& darkLift, const QList<VerifyLevelStacks>& levels,
                            const VerifyLimits& limits, double fullScale);
// The figures of a dark and a bright stack taken at one exposure, from their statistics in DN10
// (one level, the dark taken as it came) ...
VerifyFigures verifyFigures(const StackStats& dark, const StackStats& bright, const VerifyLimits& limits);
// ... or from the stacks themselves, `scale` taking samples to DN10.
VerifyFigures verifyFigures(const cv::Mat& dark, const cv::Mat& bright, double scale, const VerifyLimits& limits);

// One plane, before (corrections off) and after (as the operator had them).
struct VerifyPlane {
    QString name;  // as the operator reads it, in the run's language (planeName)
    QString key;   // the same in every language (planeKey): what records and machines key on
    VerifyFigures before, after;
};

struct VerifyReport {
    QString camera, model, serial, version;
    QDateTime when;
    double gain = 0.0;
    double exposure = 0.0;         // the working exposure as found, microseconds: the DSNU's
    int doffset = 0;               // the black level as found
    QList<double> levels;          // the levels of saturation PRNU was measured at, per cent
    QList<double> levelExposures;  // the exposure set for each, microseconds
    int bits = 0;           // of the frames: 0 8-bit, 2 16-bit
    int lines = 0;          // temporal samples per plane and stack
    bool fpnOn = false;     // the camera's corrections as found, which "after" measures
    bool flatOn = false;
    VerifyLimits limits;
    QList<VerifyPlane> planes;
};

// Whether one plane's "after" figures keep within the limits; every plane must. A figure that
// is not measurable (NaN) does not pass.
bool planePasses(const VerifyFigures& after, const VerifyLimits& limits);
bool reportPasses(const VerifyReport& report);

// The report as the station's database takes it: the camera, the settings, the limits, the
// verdict, and per plane its name as shown ("name", in the run's language) and its key ("plane",
// the same in every language), both states with every figure, the defect columns and the column
// means.
QJsonObject verifyReportJson(const VerifyReport& report);

// The scale from samples to DN10 by a frame's bits (0 is 8-bit): 4 or 1/64.
double dn10Scale(int bits);
// Full scale in DN10 by the frame's bits: 1020 (255 x 4) or 1023.
double dn10FullScale(int bits);
// Full scale in raw sample units by the frame's bits: 255 or 65472.
double rawFullScale(int bits);

Q_DECLARE_METATYPE(VerifyReport)

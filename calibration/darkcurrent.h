#pragma once
// The dark current of the sensor's columns: how much a column's dark level grows with the
// exposure. The dark field measures it from a second dark frame at another exposure; the bright
// field subtracts, from every frame it takes, the dark predicted for that frame's own exposure
// instead of the one dark of the working exposure. A hot column gains hundreds of DN10 per
// millisecond, so one dark is right at one exposure only.
//
// Units: dark levels in the raw units of the dark rows (m_bList: 8-bit samples, or raw 16-bit
// samples with 64 per DN10), exposures in microseconds, slopes in raw units per microsecond.

#include <QList>
#include <QString>

#include <opencv2/core.hpp>

// What a dark run leaves of the dark current: the exposure the dark rows were taken at, the
// second exposure, and per row of the dark rows (m_bList), per column, the slope.
struct DarkCurrent {
    double exposure = 0.0;        // the working exposure of the dark rows, us
    double secondExposure = 0.0;  // the exposure of the second dark, us
    int bits = 0;                 // the frames' bits: 0 for 8-bit rows, else 16-bit rows
    QList<QList<double>> slope;   // raw units per microsecond, per row, per column
    // The SHA-256 (hex) of the FPN file these slopes were saved beside; empty when not known (a
    // measurement not saved yet, or a file written before the pairing was kept).
    QString fpnDigest;
    // Set while the exposure stands so far from `exposure` that a column's dark moved by more
    // than kDarkShiftLimit: the operator has been told once.
    bool warned = false;

    bool empty() const { return slope.isEmpty(); }
    // Whether these slopes belong to dark rows of this shape: one slope row per dark row, each as
    // long as its dark row.
    bool fits(const QList<QList<double>>& darkRows) const;
};

// A column's predicted dark may move this far (DN10) before the dark rows count as taken at
// another exposure.
constexpr double kDarkShiftLimit = 1.0;
// A column's slope is its own only when it stands more than this many standard deviations of its
// measurement from the row's median; below that the difference is the frames' temporal noise, and
// the column takes the median.
constexpr double kDarkCurrentSignificance = 5.0;

// The exposure of the second dark: the camera's shortest, `minimum`. When that lies above half the
// working exposure it leaves too short a lever for the slope, and twice the working exposure is
// taken instead, if the camera allows it (`maximum`); 0 when neither gives a lever of half the
// working exposure (the dark current is then not measured).
double secondDarkExposure(double working, double minimum, double maximum);

// The slopes of one plane's columns from its dark at the working exposure and at the second one
// (8- or 16-bit, one channel, the same columns): per column (mean at working - mean at second) /
// (working - second), means over the rows in double precision. The standard deviation of that
// difference of means is sqrt(vw / Lw + vs / Ls) / |working - second|, vw and vs the planes'
// temporal variances (mean over the columns of each column's variance over its rows, 1 / (L - 1)),
// Lw and Ls their rows. A column whose slope lies within kDarkCurrentSignificance such deviations
// of the row's median slope takes the median (the upper one of an even count). Empty for planes
// that differ in columns, have fewer than two rows, or exposures that are equal.
// A dithered 8-bit dark is stacked of `steps` equal blocks of rows, one per black level, the same
// levels at both exposures: the means are over all rows (the levels' lifts cancel in the
// difference), the variances within the blocks (each block's spread about its own column means,
// 1 / (L - steps)), so that the black-level steps do not count as temporal noise. Empty as well
// when a plane's rows do not divide into `steps` blocks of two rows or more.
QList<double> darkSlopeRow(const cv::Mat& atWorking, const cv::Mat& atSecond, double working, double second,
                           int steps = 1);

// The dark of a row at `exposure`: dark[x] + slope[x] * (exposure - working), raw units. The dark
// row itself when the slope row is shorter than it.
QList<double> predictedDark(const QList<double>& dark, const QList<double>& slope, double working, double exposure);

// The dark rows of `darkRows` predicted at `exposure` by `current`; the rows as they are when the
// dark current does not fit them.
QList<QList<double>> predictedDarkRows(const QList<QList<double>>& darkRows, const DarkCurrent& current,
                                       double exposure);

// The largest move of any column's dark (DN10, from the rows' raw units by `bits`) between the
// working exposure and `exposure`: max |slope| * |exposure - working|. 0 without a dark current.
double largestDarkShift(const DarkCurrent& current, double exposure);

// ---- The file beside the FPN file ----

// The dark current's file beside an FPN file: the same path with ".dark" added.
QString darkCurrentPath(const QString& fpnPath);
// Where a save of the FPN file keeps the earlier dark current while it replaces the file: the
// side file's path with ".old" added.
QString darkCurrentAsidePath(const QString& fpnPath);


// Writes the dark current of `camera` as JSON to `path`, atomically (a temporary file renamed
// over the old one). False, with the path and the cause in `error`, when it cannot be written.
bool writeDarkCurrentFile(const QString& path, const QString& camera, const DarkCurrent& current, QString* error);

// Reads a file of writeDarkCurrentFile. False, with the reason in `error`, for a file that cannot
// be read, is not such a file, belongs to another camera, or whose rows are not numbers.
bool readDarkCurrentFile(const QString& path, const QString& camera, DarkCurrent& out, QString* error);

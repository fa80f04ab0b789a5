#pragma once
// The FPN parameter file "*.FAC.FPN": an INI file as QSettings writes it, with a group Head, one
// group B_<i> per row of B and one group K_<i> per row of K (or per level band of K on a
// multi-level camera). Keys of a value group are the column numbers in decimal; values are
// doubles in QSettings' text form, B in the frame's raw units.
//
// A file is checked as a whole before anything of it is used: its head against the open camera,
// every value group whole, B and K of one row of one width, that width the head's, the rows as
// many as the camera's lines and gains can hold, every value a finite number inside what the
// camera's FPN record can hold. A refusal names the check that failed, with its key, group, row
// and column, in the words the operator reads.

#include "calibration/kpoint.h"

#include <QList>
#include <QString>

#include <cstdint>
#include <vector>

struct FpnFileHead {
    int version = 1;
    QString camera;
    bool supportMLK = false;
    int sourceFormat = 0;
    int targetFormat = 0;
    int x = 0;
    int w = 0;
    int cols = 0;
    int doffset = 0;
};

// What a file must fit: the open camera as a load finds it.
struct FpnCamera {
    QString name;
    bool multiLevelK = false;
    bool area = false;    // the TVK317 family: one row of B with a value per pixel of a frame
    int lineCount = 1;    // sensor lines with rows of their own
    int gains = 1;        // whole gains of the camera's range: rows per line or plane at most
    int sensorWidth = 0;  // widest region of the current resolution mode; 0 when unknown
    int minWidth = 1;     // narrowest region
    int roiHeight = 1;    // lines of a frame (the area family's rows are width x height long)
    int maxK = 0;         // the largest K the camera takes (its factory record); 0 when unknown
};

// What the camera's FPN record holds for one column: B from 0 to the raw 16-bit full scale, K
// above 0 and at most 255 (a camera states its largest K in one byte). The K bands of a
// multi-level camera lie where its level interpolation keeps every K: from 0.51 to the camera's
// largest K less 0.2.
constexpr double kFpnMaxB = 65535.0;
constexpr double kFpnMaxK = 255.0;
constexpr double kFpnBandMinK = 0.51;
constexpr double kFpnBandMaxKMargin = 0.2;
// The bands of K in the file of a multi-level camera: the nine of the finest level table.
constexpr int kFpnKBands = 9;

// A file read and checked. `ok` false: nothing may be used, `why` says which check failed.
// Otherwise `head` as the file has it, `b` its rows of B and `k` its rows of K (bands on a
// multi-level camera; empty for a file of the dark field alone), columns in numeric order.
struct FpnFileContent {
    bool ok = false;
    QString why;
    QString path;
    FpnFileHead head;
    QList<QList<double>> b;
    QList<QList<double>> k;
};

// The largest file the camera could use, in bytes: its widest rows, as many as its lines, planes
// and gains allow, B and K (nine bands on a multi-level camera), at kIniBytesPerValue per value,
// and room for the head. A larger file is refused before it is read.
qint64 fpnFileSizeLimit(const FpnCamera& camera);

// Reads a file and checks it whole against the camera (see the top of this header). The "kind of
// K" Head/SupportMLK is taken as "0"/"1" and as "false"/"true", which is how the file is written.
// Safe on any thread: no camera call, a settings object of its own.
FpnFileContent readFpnFile(const QString& path, const FpnCamera& camera);

// Why these rows cannot be written as a file that loads back: rows of B of unequal width, rows
// of K that are not one per row of B (or, on a multi-level camera, bands of rows x columns), a
// value that is not finite or outside the record's range (`maxK` the camera's largest K, 0 when
// unknown); the row and column named. Empty when they can be written.
QString fpnDataRefusal(const QList<QList<double>>& b, const QList<QList<double>>& k, bool multiLevelK, int maxK = 0);

// The file's text: Head, the B rows as B_0, B_1, ... and the K rows as K_0, K_1, ..., values in
// the shortest text that reads back to the same double.
QByteArray fpnFileText(const FpnFileHead& head, const QList<QList<double>>& bRows, const QList<QList<double>>& kRows);

// Writes the file anew and atomically (nothing of an older file at the path survives, and a
// failed save leaves it whole). False with `why` when it cannot be written.
bool writeFpnFile(const QString& path, const FpnFileHead& head, const QList<QList<double>>& bRows,
                  const QList<QList<double>>& kRows, QString* why = nullptr);

// The samples that give back the bands of a multi-level file: for each of `rows` rows, one sample
// list per band (in band order), each column's sample at the band's level with the band's K. K
// at a band's level interpolated from these (kAtLevel) is the band's K exactly.
QList<QList<KPoint>> kPointsFromBands(const QList<QList<double>>& bands, const std::vector<uint8_t>& levels, int rows);

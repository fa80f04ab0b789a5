#pragma once
// The FPN parameter file "*.FAC.FPN": an INI file as QSettings writes it, with a group Head, one
// group B_<i> per row of B and one group K_<i> per row of K (or per level band of K on a
// multi-level camera). Keys of a value group are the column numbers in decimal; values are
// doubles in QSettings' text form, B in the frame's raw units.

#include <QList>
#include <QSettings>
#include <QString>

#include <cstdint>

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

// Writes the file anew, in the INI form QSettings reads, section after section: Head, the B rows as
// B_0, B_1, ... and the K rows as K_0, K_1, ... (values in the shortest text that reads back to
// the same double). Nothing of an older file at the path survives. False when the file cannot be
// written.
bool writeFpnFile(const QString& path, const FpnFileHead& head, const QList<QList<double>>& bRows,
                  const QList<QList<double>>& kRows);

// A text value as an INI file of QSettings holds it: as it is when that reads back the same,
// else in double quotes with \, \" and \x escapes.
QString iniValueText(const QString& value);

// Why a file is refused before anything is taken from it.
enum class FpnFileCheck {
    Ok,
    Version,     // Head/Version is not 1 (a missing key reads 0)
    Camera,      // Head/Camera is not the open camera's name
    SupportMLK,  // Head/SupportMLK missing, or its text is not the camera's flag as a number ("0"/"1")
    MissingKey,  // one of Head/X, Head/W, Head/SourceFormat, Head/TargetFormat missing
    BadValues    // a value group whose keys are not the columns 0..n-1, a value that is not a finite
                 // number, or rows of unequal length (a damaged or truncated file)
};

// Checks a file against the open camera and fills `head` with the values a load applies. The
// multi-level flag is compared as text with the number: a file that says "true" or "false", as
// the writer puts it, is refused; it has to say "0" or "1".
FpnFileCheck checkFpnFile(QSettings& file, const QString& camera, int32_t supportMLK, FpnFileHead& head);

// The number of value groups: of B_ groups, and of the other groups those that begin with K_;
// both tests ignore case.
int fpnFileGroupCount(QSettings& file, bool kGroups);

// Rows "<prefix><i>" for i = 0..count-1, each the values of its keys in text order (so key "10"
// comes before key "2": the columns stay in that order), a value read as a double with the
// default 1.0.
QList<QList<double>> readFpnFileRows(QSettings& file, const QString& prefix, int count);

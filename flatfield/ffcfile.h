#pragma once
// The FFC parameter file: an INI file of one key per column and channel ("FFC_R/<column>"), with
// the ROI it was taken on. Column numbers are absolute sensor columns: OffsetH + index.

#include "flatfield/ffcgains.h"

#include <QString>
#include <QStringList>

class QSettings;

struct FfcRoi {
    int x = 0, y = 0, w = 0, h = 0;
};

// The version this program writes and the only one it loads.
constexpr int kFfcFileVersion = 2;

// The path as the program uses it: back-slashes to forward slashes, then "//" to "/".
QString ffcCleanPath(const QString& path);

// The file name with the camera's model in front: the last part of the path gets the prefix
// "<model>.FAC.FFC."; with `dropOldPrefix` (saving, not exporting) a name that already carries
// "FAC.FFC." first loses everything up to and including its last "<anything>.FAC.FFC.", so that
// "x.FAC.FFC.old" becomes "<model>.FAC.FFC.old". An absolute path stays absolute.
QString ffcFileName(const QString& cleanedPath, const QString& model, bool dropOldPrefix);

// Writes the keys: FFC/Version 2, FFC/PAC 1, the four ROI keys, then per channel name R, G, B
// the gains in ascending column. Three channels are reversed first (R gets channel 2, B channel
// 0); one channel is written under R, two under R and G; a fourth channel is not written.
void ffcWriteFile(QSettings& file, const FfcRoi& roi, const GainList& gains);

// A loaded file. `ok` false: nothing may be applied; `title` and `text` are the operator's
// message. On success `roi` holds the file's ROI (the current one where a key is missing),
// `gains` the channels found in the order B, G, R, each from OffsetH to OffsetH + Width - 1 with
// 1.0 for a missing key, and `missingSections` the channel names without a section.
struct FfcFileContent {
    bool ok = false;
    QString title;
    QString text;
    FfcRoi roi;
    GainList gains;
    QStringList missingSections;
};

// The widest ROI a file may describe; anything wider is not a camera's.
constexpr int kFfcFileMaxWidth = 1 << 16;

// Reads and checks a whole file before anything is applied: version 2 (else "版本错误"), an ROI
// of positive width and height no wider than kFfcFileMaxWidth, and every present gain a finite
// number above 0 (garbage, NaN, infinite, zero or negative values refuse the file).
FfcFileContent ffcReadFile(const QString& path, const FfcRoi& current);

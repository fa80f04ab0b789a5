#pragma once
// The FFC parameter file: an INI file of one key per column and channel ("FFC_R/<column>"), with
// the ROI it was taken on. Column numbers are absolute sensor columns: OffsetH + index.

#include "flatfield/ffcgains.h"
#include "fpnparams/paramfile.h"

#include <QString>
#include <QStringList>

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

// The file's text: FFC/Version 2, FFC/PAC 1, the four ROI keys, then per channel name R, G, B
// the gains in ascending column. Three channels are reversed first (R gets channel 2, B channel
// 0); one channel is written under R, two under R and G.
QByteArray ffcFileText(const FfcRoi& roi, const GainList& gains);

// Why these gains cannot be saved as a file that loads back: more than three channels, a channel
// not as wide as the ROI, a gain that is not a finite number above 0 (its key named). Empty when
// they can.
QString ffcGainsRefusal(const FfcRoi& roi, const GainList& gains);

// Writes the file anew and atomically (an earlier file at the path stays whole when the save
// fails). False with `why` for gains that cannot be saved or a file that cannot be written.
bool ffcSaveFile(const QString& path, const FfcRoi& roi, const GainList& gains, QString* why);

// A loaded file. `ok` false: nothing may be applied; `title` and `text` are the operator's
// message. On success `roi` holds the file's ROI (the current one where a key is missing),
// `gains` the channels found, each from OffsetH to OffsetH + Width - 1: with all three sections in
// the order B, G, R (the program's colour order), with fewer in the order R, G they are written
// in. `missingSections` names the channel sections the file lacks. A file cut short, whose
// sections lack columns, is `partial`: `missingKeys` columns, the first of them `firstMissing`;
// it may be loaded only when the operator agrees, with 1.0 for each missing column.
struct FfcFileContent {
    bool ok = false;
    QString title;
    QString text;
    FfcRoi roi;
    GainList gains;
    QStringList missingSections;
    bool partial = false;
    int missingKeys = 0;
    QString firstMissing;
};

// The widest ROI a file may describe; anything wider is not a camera's.
constexpr int kFfcFileMaxWidth = 1 << 16;
// The largest file any camera could use: three channels of the widest ROI and room for the head.
// A larger file is refused before it is read.
constexpr qint64 kFfcFileMaxBytes = 64 * 1024 + qint64(3) * kFfcFileMaxWidth * kIniBytesPerValue;

// Reads and checks a whole file before anything is applied: its size, version 2 (else
// "版本错误"), an ROI of positive width and height no wider than kFfcFileMaxWidth, every key of a
// section a column of that ROI, and every present gain a finite number above 0 (garbage, NaN,
// infinite, zero or negative values refuse the file). Safe on any thread.
FfcFileContent ffcReadFile(const QString& path, const FfcRoi& current);

// Why a read file does not suit the camera: not as many channels as its images have; an ROI
// beyond its sensor (`sensorWidth` 0: not known). Empty when it suits.
QString ffcChannelRefusal(const FfcFileContent& content, int channels);
QString ffcRegionRefusal(const FfcFileContent& content, int sensorWidth);

// The question before a partial file is loaded.
QString ffcPartialQuestion(const FfcFileContent& content);

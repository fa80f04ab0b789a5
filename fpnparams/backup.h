#pragma once
// The backup of what a write into the camera is about to overwrite: one FPN set (all its gains,
// K and B of every column as the camera's record gives them back) or one flat-field set (its
// gains per channel as the camera's memory shows them), with the camera and the time it was
// taken. One file per camera serial, set and time in the document folder's backup folder, written
// to a temporary name and renamed, read back with every check named. Plain data and files, no
// camera: the reading of the camera and the writing back are CameraServer's (backupcamera.cpp).

#include <QDateTime>
#include <QList>
#include <QString>

struct CameraBackup {
    enum class Kind { Fpn, Ffc };
    Kind kind = Kind::Fpn;
    QString camera;  // friendly name
    QString model;
    QString serial;
    QString set;  // the set overwritten: "UserSet0", "factory", ...
    QDateTime time;

    // ---- FPN ----
    bool fpnEnabled = false;  // "FPNC.Enable" as found
    int bits = 0;             // the read's bit depth (LSX_BITS_8 or LSX_BITS_16): the scale of B
    int doffset = 0;          // the DOffset stored with the set
    int targetFormat = 0;     // the target format the set was read under (it orders colour planes)
    float gainMin = 1.0f;     // rows of gain g hold the set at analog gain gainMin + g
    int gains = 1;
    int planes = 1;
    // gains x planes rows (row = gain x planes + plane), each of the sensor's full width.
    QList<QList<float>> k, b;

    // ---- Flat field ----
    // The set's gains per channel, in the camera's memory order; empty when the set held none.
    QList<QList<double>> ffc;
    int columns() const;
};

// "FPN" or "FFC", as the file and its name say it.
QString backupKindName(CameraBackup::Kind kind);

// The file name of a backup: "<serial>_<yyyyMMdd-HHmmss>_<kind>_<set>.backup.ini", the serial (or
// the camera's name when it has none) and the set with every character outside letters, digits,
// '-' and '.' replaced by '_'.
QString backupFileName(const CameraBackup& backup);

// A camera's text (name, model, serial) as a backup keeps it: one line, every control character
// a space, no space at either end, so that it reads back as it was written and compares with the
// camera's own text passed through here.
QString backupText(QString text);
// The filter of the window's file dialog.
inline const QString kBackupFilter = QStringLiteral("*.backup.ini");

// Writes the file through a temporary name; false with `error` (naming the path and the cause),
// the earlier file of that name left whole.
bool saveBackupFile(const QString& path, const CameraBackup& backup, QString& error);

// Reads a file written by saveBackupFile; false with `error` naming the check that failed (the
// key, the row, the column). A file larger than any camera's memory is refused before it is read.
bool loadBackupFile(const QString& path, CameraBackup& backup, QString& error);

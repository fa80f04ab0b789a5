#pragma once
// What the three parameter files (FPN "*.FAC.FPN", FFC "<model>.FAC.FFC.*", LSC "*.LSC.FAC") have
// in common: their INI text in the form QSettings reads, the atomic save that never leaves half a
// file, their names, and the size a file may have before it is read at all.

#include <QByteArray>
#include <QDate>
#include <QString>

// An INI text built section by section, in the order the program writes it. Values are written
// as QSettings reads them back: integers in decimal, doubles in the shortest text that reads back
// to the same double, texts plain where that reads back the same and quoted with escapes else.
class IniText {
public:
    void section(const QString& name);
    void value(const QString& key, int v);
    void value(const QString& key, double v);
    void value(const QString& key, const QString& text);
    const QByteArray& bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

// A text value as an INI file of QSettings holds it: as it is when that reads back the same,
// else in double quotes with \, \" and \x escapes.
QString iniValueText(const QString& value);

// Writes `bytes` to `path` atomically: into a temporary file beside it, flushed to the disk, then
// renamed over the path. A save that fails (a missing folder, a full disk, a size limit) or is
// killed half way leaves the earlier file at the path as it was. False with `why` naming the path
// and the cause.
bool saveAtomically(const QString& path, const QByteArray& bytes, QString* why);
// The same save, false with only the cause in `cause` (the system's text), for a caller that
// names the file in its own words.
bool writeAtomically(const QString& path, const QByteArray& bytes, QString* cause);

// A text as part of a file name: every character outside ASCII letters, digits, '.', '_' and '-'
// replaced by '_'; "_" for an empty text.
QString safeFileName(QString text);

// The SHA-256 of a file's bytes, in lower-case hex; empty when the file cannot be read.
QString sha256OfFile(const QString& path);

// The path with its file type's ending: as given when it already ends with `ending` (any case),
// else with `ending` added. The name the operator types is kept; only the ending is supplied.
QString withEnding(const QString& path, const QString& ending);

// The name proposed for a camera's parameter file: "<model>_<serial>_<yyyyMMdd>". A character
// that cannot stand in a file name (a slash, a control character, a space) becomes '_'; an empty
// model or serial stays empty between its underscores.
QString defaultFileStem(const QString& model, const QString& serial, const QDate& date);

// Why a file is not read at all: it does not exist, cannot be opened, or is larger than `limit`
// bytes (the size is named with the limit). Empty when the file may be read. Reading nothing of
// a file that is too large keeps a load of a wrong file quick, whatever its size.
QString fileReadRefusal(const QString& path, qint64 limit);

// The longest line one value of a parameter file takes, generously: a key of up to 8 digits, '=',
// a double of up to 24 characters, a line end. Size limits count this per value.
constexpr qint64 kIniBytesPerValue = 48;

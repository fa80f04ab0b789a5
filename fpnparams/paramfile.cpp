// Parameter files in common (paramfile.h).
#include "fpnparams/paramfile.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>
#include <QSaveFile>

#include <algorithm>
#include <cmath>

namespace {

constexpr qsizetype kSavePiece = 1 << 20;

}  // namespace

void IniText::section(const QString& name)
{
    if (!m_bytes.isEmpty()) m_bytes += '\n';
    m_bytes += '[' + name.toUtf8() + "]\n";
}

void IniText::value(const QString& key, int v)
{
    m_bytes += key.toUtf8() + '=' + QByteArray::number(v) + '\n';
}

void IniText::value(const QString& key, double v)
{
    // QString::number drops the sign of a negative zero, which then would not read back the same.
    const QByteArray text = v == 0.0 && std::signbit(v)
                                ? QByteArray("-0")
                                : QString::number(v, 'g', QLocale::FloatingPointShortest).toUtf8();
    m_bytes += key.toUtf8() + '=' + text + '\n';
}

void IniText::value(const QString& key, const QString& text)
{
    m_bytes += key.toUtf8() + '=' + iniValueText(text).toUtf8() + '\n';
}

QString iniValueText(const QString& value)
{
    const QString special = QStringLiteral("\"\\,;=#[]");
    bool plain = value.trimmed() == value;
    for (QChar c : value)
        if (c.unicode() < 0x20 || c.unicode() > 0x7e || special.contains(c)) plain = false;
    if (plain) return value;
    QString out = QStringLiteral("\"");
    bool afterHex = false;
    for (QChar c : value) {
        const ushort u = c.unicode();
        // A hex escape runs on over hex digits, so a digit right after one is escaped as well.
        const bool hexDigit = (u >= '0' && u <= '9') || (u >= 'a' && u <= 'f') || (u >= 'A' && u <= 'F');
        if (u < 0x20 || u > 0x7e || (afterHex && hexDigit)) {
            out += QStringLiteral("\\x%1").arg(u, 4, 16, QLatin1Char('0'));
            afterHex = true;
            continue;
        }
        afterHex = false;
        if (c == QLatin1Char('"') || c == QLatin1Char('\\')) out += QLatin1Char('\\');
        out += c;
    }
    return out + QLatin1Char('"');
}

bool writeAtomically(const QString& path, const QByteArray& bytes, QString* cause)
{
    QSaveFile file(path);
    // No fallback to writing the file in place: a folder that takes no temporary file is a failure.
    file.setDirectWriteFallback(false);
    // Unbuffered: a write that fails is seen at the write (a buffered one failing at the commit's
    // flush would be taken for done and a cut file renamed over the earlier one).
    bool written = file.open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    // In pieces: a large file is seen to grow, and a disk that fills up stops it at the piece
    // that did not fit.
    for (qsizetype at = 0; written && at < bytes.size(); at += kSavePiece) {
        const qsizetype piece = std::min(kSavePiece, bytes.size() - at);
        written = file.write(bytes.constData() + at, piece) == piece;
    }
    if (!written) {
        if (cause) *cause = file.errorString();
        file.cancelWriting();
        return false;
    }
    // commit() flushes, syncs and renames; on a failure the temporary file is removed.
    if (file.commit()) return true;
    if (cause) *cause = file.errorString();
    return false;
}

bool saveAtomically(const QString& path, const QByteArray& bytes, QString* why)
{
    QString cause;
    if (writeAtomically(path, bytes, &cause)) return true;
    if (why)
        *why = QCoreApplication::translate("ParamFile", "无法写入文件 %1：%2")
                   .arg(QFileInfo(path).absoluteFilePath(), cause);
    return false;
}

QString withEnding(const QString& path, const QString& ending)
{
    if (path.endsWith(ending, Qt::CaseInsensitive)) return path;
    return path + ending;
}

QString defaultFileStem(const QString& model, const QString& serial, const QDate& date)
{
    QString stem = QStringLiteral("%1_%2_%3").arg(model, serial, date.toString(QStringLiteral("yyyyMMdd")));
    for (QChar& c : stem)
        if (c.unicode() < 0x20 || c == QLatin1Char(' ') || QStringLiteral("/\\:*?\"<>|").contains(c))
            c = QLatin1Char('_');
    return stem;
}

QString fileReadRefusal(const QString& path, qint64 limit)
{
    const QFileInfo info(path);
    if (!info.exists()) return QCoreApplication::translate("ParamFile", "文件 %1 不存在。").arg(path);
    if (!info.isFile() || !info.isReadable())
        return QCoreApplication::translate("ParamFile", "无法读取文件 %1。").arg(path);
    if (info.size() > limit)
        return QCoreApplication::translate("ParamFile", "文件过大：%1 字节，而参数文件至多 %2 字节。")
            .arg(info.size())
            .arg(limit);
    return QString();
}

QString sha256OfFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return QString();
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!hash.addData(&file)) return QString();
    return QString::fromLatin1(hash.result().toHex());
}

QString safeFileName(QString text)
{
    static const QRegularExpression unsafe(QStringLiteral("[^A-Za-z0-9._-]"));
    text.replace(unsafe, QStringLiteral("_"));
    return text.isEmpty() ? QStringLiteral("_") : text;
}

// The FPN parameter file (fpnfile.h).
#include "fpnparams/fpnfile.h"

#include <QLocale>
#include <QSaveFile>
#include <QStringList>
#include <QTextStream>

#include <algorithm>
#include <cmath>

namespace {

const QString kB = QStringLiteral("B_");
const QString kK = QStringLiteral("K_");

void writeRows(QTextStream& out, const QString& prefix, const QList<QList<double>>& rows)
{
    for (int i = 0; i < rows.size(); ++i) {
        out << '[' << prefix << i << "]\n";
        for (int c = 0; c < rows[i].size(); ++c)
            out << c << '=' << QString::number(rows[i][c], 'g', QLocale::FloatingPointShortest) << '\n';
        out << '\n';
    }
}

// The keys of the current group in text order, whatever order the settings object keeps.
QStringList keysInTextOrder(const QSettings& file)
{
    QStringList keys = file.childKeys();
    std::sort(keys.begin(), keys.end());
    return keys;
}

// A value group that holds the columns 0..n-1 with finite numbers; its n, or -1.
int columnsOfGroup(QSettings& file, const QString& group)
{
    file.beginGroup(group);
    const QStringList keys = file.childKeys();
    std::vector<bool> seen(size_t(keys.size()), false);
    bool good = true;
    for (const QString& key : keys) {
        bool isNumber = false;
        const int c = key.toInt(&isNumber);
        if (!isNumber || c < 0 || c >= keys.size() || seen[size_t(c)] || key != QString::number(c)) {
            good = false;
            break;
        }
        seen[size_t(c)] = true;
        const QVariant v = file.value(key);
        bool ok = false;
        const double d = v.toString().trimmed().toDouble(&ok);
        if (v.userType() == QMetaType::QStringList || !ok || !std::isfinite(d)) {
            good = false;
            break;
        }
    }
    file.endGroup();
    return good ? int(keys.size()) : -1;
}

bool startsWith(const QString& group, const QString& prefix)
{
    return group.startsWith(prefix, Qt::CaseInsensitive);
}

}  // namespace

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

bool writeFpnFile(const QString& path, const FpnFileHead& head, const QList<QList<double>>& bRows,
                  const QList<QList<double>>& kRows)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text)) return false;
    QTextStream out(&file);
    out << "[Head]\n"
        << "Version=" << head.version << '\n'
        << "Camera=" << iniValueText(head.camera) << '\n'
        << "SupportMLK=" << (head.supportMLK ? "true" : "false") << '\n'
        << "SourceFormat=" << head.sourceFormat << '\n'
        << "TargetFormat=" << head.targetFormat << '\n'
        << "X=" << head.x << '\n'
        << "W=" << head.w << '\n'
        << "Cols=" << head.cols << '\n'
        << "Doffset=" << head.doffset << "\n\n";
    writeRows(out, kB, bRows);
    writeRows(out, kK, kRows);
    out.flush();
    return out.status() == QTextStream::Ok && file.commit();
}

FpnFileCheck checkFpnFile(QSettings& file, const QString& camera, int32_t supportMLK, FpnFileHead& head)
{
    if (file.value(QStringLiteral("Head/Version"), 0).toInt() != 1) return FpnFileCheck::Version;
    if (file.value(QStringLiteral("Head/Camera"), QString()).toString() != camera) return FpnFileCheck::Camera;
    // Compared as the number's text: "0" or "1" passes, "true"/"false" and a missing key do not.
    const QVariant mlk = file.value(QStringLiteral("Head/SupportMLK"));
    if (!mlk.isValid() || mlk.userType() != QMetaType::QString
        || mlk.toString() != QString::number(uint32_t(supportMLK)))
        return FpnFileCheck::SupportMLK;
    for (const char* key : {"Head/X", "Head/W", "Head/SourceFormat", "Head/TargetFormat"})
        if (!file.contains(QLatin1String(key))) return FpnFileCheck::MissingKey;

    // Nothing of a damaged file is taken: every value group whole and numeric, rows of one length.
    int bColumns = -2, kColumns = -2;
    for (const QString& group : file.childGroups()) {
        const bool isB = startsWith(group, kB);
        if (!isB && !startsWith(group, kK)) continue;
        const int n = columnsOfGroup(file, group);
        int& expected = isB ? bColumns : kColumns;
        if (n < 0 || (expected != -2 && n != expected)) return FpnFileCheck::BadValues;
        expected = n;
    }

    head.version = 1;
    head.camera = camera;
    head.supportMLK = supportMLK != 0;
    head.x = file.value(QStringLiteral("Head/X")).toInt();
    head.w = file.value(QStringLiteral("Head/W")).toInt();
    head.sourceFormat = file.value(QStringLiteral("Head/SourceFormat")).toInt();
    head.targetFormat = file.value(QStringLiteral("Head/TargetFormat")).toInt();
    head.cols = file.value(QStringLiteral("Head/Cols")).toInt();
    head.doffset = file.value(QStringLiteral("Head/Doffset")).toInt();
    return FpnFileCheck::Ok;
}

int fpnFileGroupCount(QSettings& file, bool kGroups)
{
    int count = 0;
    for (const QString& group : file.childGroups()) {
        const bool isB = startsWith(group, kB);
        if (kGroups ? (!isB && startsWith(group, kK)) : isB) ++count;
    }
    return count;
}

QList<QList<double>> readFpnFileRows(QSettings& file, const QString& prefix, int count)
{
    QList<QList<double>> rows;
    for (int i = 0; i < count; ++i) {
        file.beginGroup(prefix + QString::number(i));
        QList<double> row;
        for (const QString& key : keysInTextOrder(file)) row.append(file.value(key, 1.0).toDouble());
        file.endGroup();
        rows.append(row);
    }
    return rows;
}

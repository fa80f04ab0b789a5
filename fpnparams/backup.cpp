// The backup file of what a write into the camera overwrites (backup.h).
//
// The file is text in the manner of an INI file, written and read here (a camera's name may hold
// characters that QSettings would take for a list):
//   [Backup]  Version=1, Kind=FPN|FFC, Camera, Model, Serial, Set, Time (ISO 8601)
//   [FPN]     Enabled, Bits, DOffset, TargetFormat, GainMin, Gains, Planes, Columns, then K<r> and
//             B<r> for every row r: the values of the columns, blank-separated
//   [FFC]     Channels (0: the set held no gains), Columns, then K<c> for every channel c
// Floats are written with 9 significant digits and doubles with 17, so that they read back to
// the same value.
#include "fpnparams/backup.h"

#include "fpnparams/paramfile.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QStringList>
#include <QTextStream>

#include <cmath>

namespace {

constexpr int kVersion = 1;
// Larger than the memory of any camera there is: such a file is refused unread.
constexpr qint64 kMaxFileBytes = qint64(64) << 20;
constexpr int kMaxColumns = 65536;
constexpr int kMaxGains = 64;
constexpr int kMaxPlanes = 4;
// The flat field's gains as the camera keeps them: K x 2^14 in 16 bits.
constexpr double kMaxFfcGain = 65535.0 / 16384.0;

const QString kTimeFormat = QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzz");


}  // namespace

QString backupText(QString text)
{
    for (QChar& c : text)
        if (c.category() == QChar::Other_Control) c = QLatin1Char(' ');
    return text.trimmed();
}

namespace {

template <typename T>
QString joined(const QList<T>& row, int digits)
{
    QStringList parts;
    parts.reserve(row.size());
    for (T v : row) parts.append(QString::number(double(v), 'g', digits));
    return parts.join(QLatin1Char(' '));
}

// The file's values by "section/key", with the line each stood on.
struct Entries {
    QMap<QString, QPair<QString, int>> values;
    QString path;
    QString error;

    bool fail(const QString& why)
    {
        error = QCoreApplication::translate("Backup", "备份文件 %1 无效：%2").arg(path, why);
        return false;
    }
    bool text(const QString& key, QString& out)
    {
        auto it = values.constFind(key);
        if (it == values.constEnd()) return fail(QCoreApplication::translate("Backup", "缺少键 %1").arg(key));
        out = it->first;
        return true;
    }
    bool integer(const QString& key, int lo, int hi, int& out)
    {
        QString t;
        if (!text(key, t)) return false;
        bool ok = false;
        out = t.toInt(&ok);
        if (!ok || out < lo || out > hi)
            return fail(QCoreApplication::translate("Backup", "键 %1 的值 \"%2\" 应为 %3 到 %4 的整数")
                            .arg(key, t)
                            .arg(lo)
                            .arg(hi));
        return true;
    }
    // One row of `columns` finite values, each inside [lo, hi].
    template <typename T>
    bool row(const QString& key, int columns, double lo, double hi, QList<T>& out)
    {
        QString t;
        if (!text(key, t)) return false;
        const QStringList parts = t.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (parts.size() != columns)
            return fail(QCoreApplication::translate("Backup", "%1 有 %2 列，应为 %3 列")
                            .arg(key)
                            .arg(parts.size())
                            .arg(columns));
        out.clear();
        out.reserve(columns);
        for (int c = 0; c < columns; ++c) {
            bool ok = false;
            const double v = parts[c].toDouble(&ok);
            if (!ok || !std::isfinite(v) || v < lo || v > hi)
                return fail(QCoreApplication::translate("Backup", "%1 第 %2 列的值 \"%3\" 不是 %4 到 %5 之间的数")
                                .arg(key)
                                .arg(c)
                                .arg(parts[c])
                                .arg(lo)
                                .arg(hi));
            out.append(T(v));
        }
        return true;
    }
};

}  // namespace

int CameraBackup::columns() const
{
    if (kind == Kind::Fpn) return k.isEmpty() ? 0 : int(k.first().size());
    return ffc.isEmpty() ? 0 : int(ffc.first().size());
}

QString backupKindName(CameraBackup::Kind kind)
{
    return kind == CameraBackup::Kind::Fpn ? QStringLiteral("FPN") : QStringLiteral("FFC");
}

QString backupFileName(const CameraBackup& backup)
{
    const QString who = backup.serial.isEmpty() ? backup.camera : backup.serial;
    return QStringLiteral("%1_%2_%3_%4.backup.ini")
        .arg(safeFileName(who), backup.time.toString(QStringLiteral("yyyyMMdd-HHmmss")), backupKindName(backup.kind),
             safeFileName(backup.set));
}

bool saveBackupFile(const QString& path, const CameraBackup& backup, QString& error)
{
    QString text;
    QTextStream o(&text);
    // The '#' that makes the line a comment is the file's, not the language's: a translation
    // cannot take it away, nor break the line in two.
    o << "# " << QCoreApplication::translate("Backup", "线扫相机校正工具：写入相机前的参数备份").simplified() << '\n';
    o << "[Backup]\n";
    o << "Version=" << kVersion << '\n';
    o << "Kind=" << backupKindName(backup.kind) << '\n';
    o << "Camera=" << backupText(backup.camera) << '\n';
    o << "Model=" << backupText(backup.model) << '\n';
    o << "Serial=" << backupText(backup.serial) << '\n';
    o << "Set=" << backupText(backup.set) << '\n';
    o << "Time=" << backup.time.toString(kTimeFormat) << '\n';
    if (backup.kind == CameraBackup::Kind::Fpn) {
        o << "[FPN]\n";
        o << "Enabled=" << int(backup.fpnEnabled) << '\n';
        o << "Bits=" << backup.bits << '\n';
        o << "DOffset=" << backup.doffset << '\n';
        o << "TargetFormat=" << backup.targetFormat << '\n';
        o << "GainMin=" << QString::number(double(backup.gainMin), 'g', 9) << '\n';
        o << "Gains=" << backup.gains << '\n';
        o << "Planes=" << backup.planes << '\n';
        o << "Columns=" << backup.columns() << '\n';
        for (int r = 0; r < backup.k.size(); ++r) {
            o << 'K' << r << '=' << joined(backup.k[r], 9) << '\n';
            o << 'B' << r << '=' << joined(backup.b[r], 9) << '\n';
        }
    } else {
        o << "[FFC]\n";
        o << "Channels=" << backup.ffc.size() << '\n';
        o << "Columns=" << backup.columns() << '\n';
        for (int c = 0; c < backup.ffc.size(); ++c) o << 'K' << c << '=' << joined(backup.ffc[c], 17) << '\n';
    }
    o.flush();

    QString cause;
    if (!writeAtomically(path, text.toUtf8(), &cause)) {
        error = QCoreApplication::translate("Backup", "无法写入备份文件 %1：%2").arg(path, cause);
        return false;
    }
    return true;
}

bool loadBackupFile(const QString& path, CameraBackup& backup, QString& error)
{
    Entries e;
    e.path = path;
    auto done = [&](bool ok) {
        error = e.error;
        return ok;
    };
    QFile f(path);
    if (!f.exists()) return done(e.fail(QCoreApplication::translate("Backup", "文件不存在")));
    if (f.size() > kMaxFileBytes)
        return done(
            e.fail(QCoreApplication::translate("Backup", "文件大小 %1 字节，超出任何相机参数的大小").arg(f.size())));
    if (!f.open(QIODevice::ReadOnly))
        return done(e.fail(QCoreApplication::translate("Backup", "无法读取：%1").arg(f.errorString())));

    const QStringList lines = QString::fromUtf8(f.readAll()).split(QLatin1Char('\n'));
    QString section;
    for (int i = 0; i < lines.size(); ++i) {
        const QString line = lines[i].trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#'))) continue;
        if (line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'))) {
            section = line.mid(1, line.size() - 2);
            continue;
        }
        const int eq = line.indexOf(QLatin1Char('='));
        if (eq <= 0 || section.isEmpty())
            return done(e.fail(QCoreApplication::translate("Backup", "第 %1 行不是 \"[节]\" 或 \"键=值\"").arg(i + 1)));
        const QString key = section + QLatin1Char('/') + line.left(eq);
        if (e.values.contains(key))
            return done(e.fail(QCoreApplication::translate("Backup", "第 %1 行：键 %2 重复").arg(i + 1).arg(key)));
        e.values.insert(key, {line.mid(eq + 1), i + 1});
    }

    CameraBackup b;
    int version = 0;
    QString kind, time;
    if (!e.integer(QStringLiteral("Backup/Version"), kVersion, kVersion, version)) return done(false);
    if (!e.text(QStringLiteral("Backup/Kind"), kind)) return done(false);
    if (kind != QLatin1String("FPN") && kind != QLatin1String("FFC"))
        return done(
            e.fail(QCoreApplication::translate("Backup", "键 Backup/Kind 的值 \"%1\" 应为 FPN 或 FFC").arg(kind)));
    b.kind = kind == QLatin1String("FPN") ? CameraBackup::Kind::Fpn : CameraBackup::Kind::Ffc;
    if (!e.text(QStringLiteral("Backup/Camera"), b.camera) || !e.text(QStringLiteral("Backup/Model"), b.model)
        || !e.text(QStringLiteral("Backup/Serial"), b.serial) || !e.text(QStringLiteral("Backup/Set"), b.set)
        || !e.text(QStringLiteral("Backup/Time"), time))
        return done(false);
    if (b.camera.isEmpty()) return done(e.fail(QCoreApplication::translate("Backup", "键 Backup/Camera 为空")));
    if (b.set.isEmpty()) return done(e.fail(QCoreApplication::translate("Backup", "键 Backup/Set 为空")));
    b.time = QDateTime::fromString(time, kTimeFormat);
    if (!b.time.isValid())
        return done(e.fail(QCoreApplication::translate("Backup", "键 Backup/Time 的值 \"%1\" 不是时间").arg(time)));

    int columns = 0;
    if (b.kind == CameraBackup::Kind::Fpn) {
        int enabled = 0;
        QString gainMin;
        if (!e.integer(QStringLiteral("FPN/Enabled"), 0, 1, enabled)
            || !e.integer(QStringLiteral("FPN/Bits"), 0, 2, b.bits)
            || !e.integer(QStringLiteral("FPN/DOffset"), -128, 255, b.doffset)
            || !e.integer(QStringLiteral("FPN/TargetFormat"), 0, 255, b.targetFormat)
            || !e.text(QStringLiteral("FPN/GainMin"), gainMin)
            || !e.integer(QStringLiteral("FPN/Gains"), 1, kMaxGains, b.gains)
            || !e.integer(QStringLiteral("FPN/Planes"), 1, kMaxPlanes, b.planes)
            || !e.integer(QStringLiteral("FPN/Columns"), 1, kMaxColumns, columns))
            return done(false);
        if (b.bits == 1) return done(e.fail(QCoreApplication::translate("Backup", "键 FPN/Bits 的值 1 应为 0 或 2")));
        bool ok = false;
        b.gainMin = gainMin.toFloat(&ok);
        if (!ok || !std::isfinite(b.gainMin))
            return done(
                e.fail(QCoreApplication::translate("Backup", "键 FPN/GainMin 的值 \"%1\" 不是数").arg(gainMin)));
        b.fpnEnabled = enabled != 0;
        const int rows = b.gains * b.planes;
        for (int r = 0; r < rows; ++r) {
            QList<float> k, bv;
            if (!e.row(QStringLiteral("FPN/K%1").arg(r), columns, -1e30, 1e30, k)
                || !e.row(QStringLiteral("FPN/B%1").arg(r), columns, -1e30, 1e30, bv))
                return done(false);
            b.k.append(k);
            b.b.append(bv);
        }
        if (e.values.contains(QStringLiteral("FPN/K%1").arg(rows)))
            return done(e.fail(QCoreApplication::translate("Backup", "行数多于 Gains x Planes = %1").arg(rows)));
    } else {
        int channels = 0;
        if (!e.integer(QStringLiteral("FFC/Channels"), 0, kMaxPlanes, channels)
            || !e.integer(QStringLiteral("FFC/Columns"), channels ? 1 : 0, kMaxColumns, columns))
            return done(false);
        for (int c = 0; c < channels; ++c) {
            QList<double> k;
            if (!e.row(QStringLiteral("FFC/K%1").arg(c), columns, 0.0, kMaxFfcGain, k)) return done(false);
            b.ffc.append(k);
        }
        if (e.values.contains(QStringLiteral("FFC/K%1").arg(channels)))
            return done(e.fail(QCoreApplication::translate("Backup", "通道数多于 Channels = %1").arg(channels)));
    }
    backup = b;
    return done(true);
}

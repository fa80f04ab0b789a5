#include "ffcfile.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QSettings>

#include <algorithm>

#include <cmath>

namespace {

const QString kNames[3] = {QStringLiteral("R"), QStringLiteral("G"), QStringLiteral("B")};

QString gainKey(const QString& channel, int column)
{
    return QStringLiteral("FFC_%1/%2").arg(channel).arg(column);
}

FfcFileContent refused(const QString& title, const QString& text)
{
    FfcFileContent c;
    c.title = title;
    c.text = text;
    return c;
}

// An int key with a default; a value that is not an integer fails.
bool intValue(QSettings& file, const QString& key, int fallback, int& out)
{
    if (!file.contains(key)) {
        out = fallback;
        return true;
    }
    bool ok = false;
    out = file.value(key).toString().trimmed().toInt(&ok);
    return ok;
}

}  // namespace

QString ffcCleanPath(const QString& path)
{
    QString p = path;
    p.replace(QLatin1Char('\\'), QLatin1Char('/'));
    p.replace(QStringLiteral("//"), QStringLiteral("/"));
    return p;
}

QString ffcFileName(const QString& cleanedPath, const QString& model, bool dropOldPrefix)
{
    QStringList parts = cleanedPath.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    if (parts.isEmpty()) return QString();
    QString name = parts.takeLast();
    if (dropOldPrefix && name.contains(QLatin1String("FAC.FFC."))) {
        static const QRegularExpression old(QRegularExpression::wildcardToRegularExpression(
            QStringLiteral("*.FAC.FFC."), QRegularExpression::UnanchoredWildcardConversion));
        name.remove(old);
    }
    parts.append(QStringLiteral("%1.FAC.FFC.").arg(model) + name);
    const QString joined = parts.join(QLatin1Char('/'));
    return cleanedPath.startsWith(QLatin1Char('/')) ? QLatin1Char('/') + joined : joined;
}

QByteArray ffcFileText(const FfcRoi& roi, const GainList& gains)
{
    GainList list = gains;
    if (list.size() == 3) std::reverse(list.begin(), list.end());
    IniText text;
    text.section(QStringLiteral("FFC"));
    text.value(QStringLiteral("Version"), kFfcFileVersion);
    text.value(QStringLiteral("PAC"), 1);
    text.section(QStringLiteral("FFC_ROI"));
    text.value(QStringLiteral("OffsetH"), roi.x);
    text.value(QStringLiteral("OffsetV"), roi.y);
    text.value(QStringLiteral("Width"), roi.w);
    text.value(QStringLiteral("Height"), roi.h);
    for (int c = 0; c < 3 && c < list.size(); ++c) {
        text.section(QStringLiteral("FFC_%1").arg(kNames[c]));
        const QList<double>& channel = list.at(c);
        for (int i = 0; i < channel.size(); ++i) text.value(QString::number(roi.x + i), channel.at(i));
    }
    return text.bytes();
}

QString ffcGainsRefusal(const FfcRoi& roi, const GainList& gains)
{
    if (gains.isEmpty()) return QCoreApplication::translate("FfcFile", "当前没有FFC参数可供读取。");
    if (gains.size() > 3)
        return QCoreApplication::translate("FfcFile", "FFC参数文件至多保存三个通道，当前有 %1 个。").arg(gains.size());
    GainList list = gains;
    if (list.size() == 3) std::reverse(list.begin(), list.end());
    for (int c = 0; c < list.size(); ++c) {
        if (list[c].size() != roi.w)
            return QCoreApplication::translate("FfcFile", "FFC_%1 有 %2 列增益，而当前ROI宽 %3 列。")
                .arg(kNames[c])
                .arg(list[c].size())
                .arg(roi.w);
        for (int i = 0; i < list[c].size(); ++i)
            if (!std::isfinite(list[c][i]) || !(list[c][i] > 0.0))
                return QCoreApplication::translate("FfcFile", "%1 的增益 %2 不是大于 0 的有限数，不能保存。")
                    .arg(gainKey(kNames[c], roi.x + i))
                    .arg(list[c][i]);
    }
    return QString();
}

bool ffcSaveFile(const QString& path, const FfcRoi& roi, const GainList& gains, QString* why)
{
    const QString refusal = ffcGainsRefusal(roi, gains);
    if (!refusal.isEmpty()) {
        if (why) *why = refusal;
        return false;
    }
    return saveAtomically(path, ffcFileText(roi, gains), why);
}

FfcFileContent ffcReadFile(const QString& path, const FfcRoi& current)
{
    const QString unreadable = fileReadRefusal(path, kFfcFileMaxBytes);
    if (!unreadable.isEmpty()) return refused(QCoreApplication::translate("FfcFile", "错误"), unreadable);
    QSettings file(path, QSettings::IniFormat);
    if (file.status() != QSettings::NoError || file.value(QStringLiteral("FFC/Version"), 0).toInt() != kFfcFileVersion)
        return refused(QCoreApplication::translate("FfcFile", "版本错误"),
                       QCoreApplication::translate("FfcFile", "不支持的参数版本号，无法解析及加载。"));

    // Each key of the ROI a whole number in its range; a refusal names the key and its value.
    FfcFileContent c;
    struct RoiKey {
        const char* key;
        int fallback;
        int* out;
        int lowest;
    };
    const RoiKey keys[] = {{"FFC_ROI/OffsetH", current.x, &c.roi.x, 0},
                           {"FFC_ROI/OffsetV", current.y, &c.roi.y, 0},
                           {"FFC_ROI/Width", current.w, &c.roi.w, 1},
                           {"FFC_ROI/Height", current.h, &c.roi.h, 1}};
    for (const RoiKey& k : keys) {
        const QString key = QLatin1String(k.key);
        const bool whole = intValue(file, key, k.fallback, *k.out);
        const bool highest = key == QLatin1String("FFC_ROI/Height");
        if (!whole || *k.out < k.lowest || (!highest && *k.out > kFfcFileMaxWidth))
            return refused(
                QCoreApplication::translate("FfcFile", "错误"),
                QCoreApplication::translate("FfcFile", "参数文件中的ROI无效（%1 = %2），无法加载。")
                    .arg(key, file.contains(key) ? file.value(key).toString() : QString::number(k.fallback)));
    }

    const QStringList groups = file.childGroups();
    QList<int> present;  // channel names by index into kNames, looked up in the order B, G, R
    for (int n = 2; n >= 0; --n) {
        const QString section = QStringLiteral("FFC_%1").arg(kNames[n]);
        if (groups.contains(section))
            present.append(n);
        else
            c.missingSections.append(section);
    }
    // All three: the program's order B, G, R; fewer: as they are written, R first.
    if (present.size() < 3) std::reverse(present.begin(), present.end());
    for (int n : present) {
        const QString section = QStringLiteral("FFC_%1").arg(kNames[n]);
        // Every key a column of the file's ROI: a key outside it belongs to another file.
        file.beginGroup(section);
        const QStringList keys = file.childKeys();
        file.endGroup();
        for (const QString& key : keys) {
            bool isNumber = false;
            const int column = key.toInt(&isNumber);
            if (!isNumber || column < c.roi.x || column >= c.roi.x + c.roi.w)
                return refused(QCoreApplication::translate("FfcFile", "错误"),
                               QCoreApplication::translate(
                                   "FfcFile", "参数文件中 %1/%2 不是ROI（第 %3 到 %4 列）中的列，无法加载。")
                                   .arg(section, key)
                                   .arg(c.roi.x)
                                   .arg(c.roi.x + c.roi.w - 1));
        }
        QList<double> list;
        list.reserve(c.roi.w);
        for (int column = c.roi.x; column < c.roi.x + c.roi.w; ++column) {
            const QString key = gainKey(kNames[n], column);
            double k = 1.0;
            if (file.contains(key)) {
                bool ok = false;
                k = file.value(key).toString().trimmed().toDouble(&ok);
                if (!ok || !std::isfinite(k) || k <= 0.0)
                    return refused(
                        QCoreApplication::translate("FfcFile", "错误"),
                        QCoreApplication::translate("FfcFile", "参数文件中 %1 的值无效，无法加载。").arg(key));
            } else {
                if (c.missingKeys == 0) c.firstMissing = key;
                ++c.missingKeys;
            }
            list.append(k);
        }
        c.gains.append(list);
    }
    c.partial = c.missingKeys > 0;
    c.ok = true;
    return c;
}

QString ffcChannelRefusal(const FfcFileContent& content, int channels)
{
    if (content.gains.size() == channels) return QString();
    return QCoreApplication::translate("FfcFile", "参数文件有 %1 个通道，而相机的图像有 %2 个通道，无法加载。")
        .arg(content.gains.size())
        .arg(channels);
}

QString ffcRegionRefusal(const FfcFileContent& content, int sensorWidth)
{
    if (sensorWidth <= 0 || qint64(content.roi.x) + content.roi.w <= sensorWidth) return QString();
    return QCoreApplication::translate("FfcFile", "参数文件的ROI（第 %1 列起，宽 %2 列）超出相机的宽度 %3 列。")
        .arg(content.roi.x)
        .arg(content.roi.w)
        .arg(sensorWidth);
}

QString ffcPartialQuestion(const FfcFileContent& content)
{
    return QCoreApplication::translate(
               "FfcFile",
               "参数文件不完整：缺少 %1 列的增益（从 %2 起）。\n是否加载不完整的参数？缺少的列按增益 1.0 加载。")
        .arg(content.missingKeys)
        .arg(content.firstMissing);
}

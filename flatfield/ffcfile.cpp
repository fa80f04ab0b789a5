#include "ffcfile.h"

#include <QRegularExpression>
#include <QSettings>

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

void ffcWriteFile(QSettings& file, const FfcRoi& roi, const GainList& gains)
{
    GainList list = gains;
    if (list.size() == 3) std::reverse(list.begin(), list.end());
    file.setValue(QStringLiteral("FFC/Version"), kFfcFileVersion);
    file.setValue(QStringLiteral("FFC/PAC"), 1);
    file.setValue(QStringLiteral("FFC_ROI/OffsetH"), roi.x);
    file.setValue(QStringLiteral("FFC_ROI/OffsetV"), roi.y);
    file.setValue(QStringLiteral("FFC_ROI/Width"), roi.w);
    file.setValue(QStringLiteral("FFC_ROI/Height"), roi.h);
    for (int c = 0; c < 3 && c < list.size(); ++c) {
        const QList<double>& channel = list.at(c);
        for (int i = 0; i < channel.size(); ++i) file.setValue(gainKey(kNames[c], roi.x + i), channel.at(i));
    }
    file.sync();
}

FfcFileContent ffcReadFile(const QString& path, const FfcRoi& current)
{
    QSettings file(path, QSettings::IniFormat);
    if (file.status() != QSettings::NoError || file.value(QStringLiteral("FFC/Version"), 0).toInt() != kFfcFileVersion)
        return refused(QStringLiteral("版本错误"), QStringLiteral("不支持的参数版本号，无法解析及加载。"));

    FfcFileContent c;
    const QString badRoi = QStringLiteral("参数文件中的ROI无效，无法加载。");
    if (!intValue(file, QStringLiteral("FFC_ROI/OffsetH"), current.x, c.roi.x)
        || !intValue(file, QStringLiteral("FFC_ROI/OffsetV"), current.y, c.roi.y)
        || !intValue(file, QStringLiteral("FFC_ROI/Width"), current.w, c.roi.w)
        || !intValue(file, QStringLiteral("FFC_ROI/Height"), current.h, c.roi.h))
        return refused(QStringLiteral("错误"), badRoi);
    if (c.roi.x < 0 || c.roi.y < 0 || c.roi.w <= 0 || c.roi.h <= 0 || c.roi.w > kFfcFileMaxWidth
        || c.roi.x > kFfcFileMaxWidth)
        return refused(QStringLiteral("错误"), badRoi);

    const QStringList groups = file.childGroups();
    // Loaded in the order B, G, R: the program's own order of a colour list.
    for (int n = 2; n >= 0; --n) {
        const QString section = QStringLiteral("FFC_%1").arg(kNames[n]);
        if (!groups.contains(section)) {
            c.missingSections.append(section);
            continue;
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
                    return refused(QStringLiteral("错误"),
                                   QStringLiteral("参数文件中 %1 的值无效，无法加载。").arg(key));
            }
            list.append(k);
        }
        c.gains.append(list);
    }
    c.ok = true;
    return c;
}

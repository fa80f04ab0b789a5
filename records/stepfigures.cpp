// The figures of each kind of step (stepfigures.h).
#include "records/stepfigures.h"

#include <QCoreApplication>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// A number, or null for one that could not be measured (JSON has no NaN).
QJsonValue number(double v)
{
    return std::isfinite(v) ? QJsonValue(v) : QJsonValue(QJsonValue::Null);
}

QJsonArray numbers(const QList<double>& values)
{
    QJsonArray a;
    for (double v : values) a.append(number(v));
    return a;
}

// A NUL-terminated ASCII text of the camera's record, read no further than its field.
QString infoText(const char* field, std::size_t capacity)
{
    const void* end = std::memchr(field, 0, capacity);
    return QString::fromLatin1(field, end ? static_cast<const char*>(end) - field : qsizetype(capacity));
}

QJsonArray rowSizes(const QList<QList<double>>& rows)
{
    QJsonArray out;
    for (const QList<double>& r : rows) out.append(int(r.size()));
    return out;
}

}  // namespace

QJsonObject cameraResultJson(const QString& name, const lsxCameraInfo& info)
{
    return QJsonObject{{QStringLiteral("name"), name},
                       {QStringLiteral("model"), infoText(info.model, sizeof info.model)},
                       {QStringLiteral("serial"), infoText(info.serialNumber, sizeof info.serialNumber)},
                       {QStringLiteral("firmware"), infoText(info.version, sizeof info.version)},
                       {QStringLiteral("vendor"), infoText(info.vendor, sizeof info.vendor)},
                       {QStringLiteral("sensor"), infoText(info.sensor, sizeof info.sensor)},
                       {QStringLiteral("type"), infoText(info.cameraType, sizeof info.cameraType)}};
}

QJsonArray rowSummaries(const QList<QList<double>>& rows)
{
    QJsonArray out;
    for (int i = 0; i < rows.size(); ++i) {
        const QList<double>& r = rows[i];
        QJsonObject o{{QStringLiteral("row"), i}, {QStringLiteral("columns"), int(r.size())}};
        if (!r.isEmpty()) {
            double sum = 0.0;
            for (double v : r) sum += v;
            const double mean = sum / double(r.size());
            double s2 = 0.0;
            for (double v : r) s2 += (v - mean) * (v - mean);
            const auto [lo, hi] = std::minmax_element(r.begin(), r.end());
            o.insert(QStringLiteral("mean"), number(mean));
            o.insert(QStringLiteral("min"), number(*lo));
            o.insert(QStringLiteral("max"), number(*hi));
            o.insert(QStringLiteral("std"), number(std::sqrt(s2 / double(r.size()))));
        }
        out.append(o);
    }
    return out;
}

QJsonObject darkStepFigures(const QList<QList<double>>& b, double doffset, double gainMin, double gainMax,
                            bool autoDoffset)
{
    return QJsonObject{{QStringLiteral("doffset"), number(doffset)},         {QStringLiteral("gainMin"), number(gainMin)},
                       {QStringLiteral("gainMax"), number(gainMax)}, {QStringLiteral("autoDoffset"), autoDoffset},
                       {QStringLiteral("bRows"), rowSizes(b)},       {QStringLiteral("b"), rowSummaries(b)}};
}

QJsonObject brightStepFigures(const QList<QList<double>>& k, const QList<double>& kScale, int samples,
                              const QVector<double>& exposures, double gainMin, double gainMax, double pixelMax)
{
    return QJsonObject{{QStringLiteral("gainMin"), number(gainMin)},
                       {QStringLiteral("gainMax"), number(gainMax)},
                       {QStringLiteral("pixelMax"), number(pixelMax)},
                       {QStringLiteral("exposures"), numbers(QList<double>(exposures.begin(), exposures.end()))},
                       {QStringLiteral("kRows"), rowSizes(k)},
                       {QStringLiteral("kScale"), numbers(kScale)},
                       {QStringLiteral("samples"), samples},
                       {QStringLiteral("k"), rowSummaries(k)}};
}

QJsonObject flatStepFigures(bool ffc, const QList<QList<double>>& coefficients)
{
    QJsonArray channels;
    for (const QList<double>& c : coefficients) {
        if (ffc) {
            const auto [lo, hi] = std::minmax_element(c.begin(), c.end());
            channels.append(QJsonObject{{QStringLiteral("columns"), int(c.size())},
                                        {QStringLiteral("minK"), c.isEmpty() ? 0.0 : *lo},
                                        {QStringLiteral("maxK"), c.isEmpty() ? 0.0 : *hi}});
        } else {
            channels.append(numbers(c));
        }
    }
    return QJsonObject{{QStringLiteral("channels"), channels}};
}

QJsonObject verifyStepFigures(const VerifyReport& r)
{
    const bool passes = reportPasses(r);
    QJsonArray planes;
    for (const VerifyPlane& p : r.planes)
        planes.append(QJsonObject{{QStringLiteral("plane"), p.key},
                                  {QStringLiteral("dsnuBefore"), number(p.before.dsnu)},
                                  {QStringLiteral("dsnuAfter"), number(p.after.dsnu)},
                                  {QStringLiteral("prnuBefore"), number(p.before.prnu)},
                                  {QStringLiteral("prnuAfter"), number(p.after.prnu)},
                                  {QStringLiteral("defectsBefore"), int(p.before.defects.size())},
                                  {QStringLiteral("defectsAfter"), int(p.after.defects.size())},
                                  {QStringLiteral("brightAfter"), number(p.after.brightMean)},
                                  {QStringLiteral("passes"), planePasses(p.after, r.limits)}});
    return QJsonObject{{QStringLiteral("passes"), passes},
                       {QStringLiteral("verdict"), passes ? QStringLiteral("pass") : QStringLiteral("fail")},
                       {QStringLiteral("gain"), number(r.gain)},
                       {QStringLiteral("exposureUs"), number(r.exposure)},
                       {QStringLiteral("bits"), r.bits == 0 ? 8 : 16},
                       {QStringLiteral("maxPrnu"), r.limits.maxPrnu},
                       {QStringLiteral("maxDsnu"), r.limits.maxDsnu},
                       {QStringLiteral("maxDefects"), r.limits.maxDefects},
                       {QStringLiteral("planes"), planes}};
}

namespace {

// The camera server's progress message for each frame of an exposure series, in the interface
// language of the run that wrote it: the Chinese source and its translation are both read.
const char* const kFrameCaptured = QT_TRANSLATE_NOOP("CameraServer", "曝光设为 %1 us, 第 %2 张图像采集完成");

QRegularExpression framePattern(const QString& message)
{
    QString p = QRegularExpression::escape(message);
    p.replace(QLatin1String("\\%1"), QLatin1String("([-+0-9.eE]+)"))
        .replace(QLatin1String("\\%2"), QLatin1String("\\d+"));
    return QRegularExpression(p);
}

}  // namespace

QVector<double> exposuresFromMessages(const QJsonArray& messages)
{
    const QRegularExpression frames[] = {framePattern(QString::fromUtf8(kFrameCaptured)),
                                         framePattern(QCoreApplication::translate("CameraServer", kFrameCaptured))};
    QVector<double> out;
    for (const QJsonValue& m : messages) {
        const QString text = m.toObject().value(QLatin1String("text")).toString();
        QRegularExpressionMatch match = frames[0].match(text);
        if (!match.hasMatch()) match = frames[1].match(text);
        bool ok = false;
        const double us = match.hasMatch() ? match.captured(1).toDouble(&ok) : 0.0;
        if (ok) out.append(us);
    }
    return out;
}

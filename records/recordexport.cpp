// The records as others read them (recordexport.h).
#include "records/recordexport.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMap>
#include <QRegularExpression>
#include <QSaveFile>

#include <algorithm>

namespace {

QString csvField(const QString& s)
{
    if (!s.contains(QLatin1Char(',')) && !s.contains(QLatin1Char('"')) && !s.contains(QLatin1Char('\n'))
        && !s.contains(QLatin1Char('\r')))
        return s;
    QString quoted = s;
    quoted.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

QString numberText(double v)
{
    return std::isnan(v) ? QString() : QString::number(v, 'g', 12);
}

// The last step of one of `names`; -1 when there is none.
int lastStep(const RunRecord& r, std::initializer_list<const char*> names)
{
    int found = -1;
    for (const RecordStep& s : r.steps)
        for (const char* n : names)
            if (s.name == QLatin1String(n) && s.outcome != QLatin1String("skipped")) found = s.index;
    return found;
}

double figure(const RunRecord& r, int step, const QString& name)
{
    for (const RecordFigure& f : r.figures)
        if (f.step == step && f.name == name && f.plane.isEmpty()) return f.value;
    return kNoFigure;
}

// The greatest value of a per-plane figure of one step; NaN when a plane could not measure it.
double worstPlane(const RunRecord& r, int step, const QString& name)
{
    double worst = kNoFigure;
    for (const RecordFigure& f : r.figures) {
        if (f.step != step || f.name != name || f.plane.isEmpty()) continue;
        if (!f.hasValue()) return kNoFigure;
        worst = std::isnan(worst) ? f.value : std::max(worst, f.value);
    }
    return worst;
}

// The values of a list figure ("exposures[0]", "exposures[1]" ...) of one step, in index order.
QStringList listFigure(const RunRecord& r, int step, const QString& name)
{
    const QRegularExpression item(QRegularExpression::escape(name) + QStringLiteral("\\[(\\d+)\\]$"));
    QMap<int, QString> values;
    for (const RecordFigure& f : r.figures) {
        if (f.step != step || !f.plane.isEmpty()) continue;
        const QRegularExpressionMatch m = item.match(f.name);
        if (m.hasMatch()) values.insert(m.captured(1).toInt(), numberText(f.value));
    }
    return values.values();
}

QJsonValue jsonNumber(double v)
{
    return std::isnan(v) ? QJsonValue(QJsonValue::Null) : QJsonValue(v);
}

bool writeFile(const QString& path, const QByteArray& bytes, QString* error)
{
    QSaveFile f(path);
    if (f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size() && f.commit()) return true;
    if (error)
        *error = QCoreApplication::translate("RecordExport", "无法写入文件 %1（%2）。").arg(path, f.errorString());
    return false;
}

}  // namespace

QString stepsText(const RunRecord& r)
{
    QStringList parts;
    for (const RecordStep& s : r.steps) parts << s.name + QLatin1Char(':') + s.outcome;
    return parts.join(QLatin1Char(' '));
}

QByteArray runsCsv(const QList<RunRecord>& runs)
{
    const QStringList header{"run_id",
                             "started_at",
                             "ended_at",
                             "duration_s",
                             "station",
                             "operator",
                             "source",
                             "camera",
                             "model",
                             "serial",
                             "firmware",
                             "sensor",
                             "steps",
                             "outcome",
                             "exit_code",
                             "verdict",
                             "doffset",
                             "gain_min",
                             "gain_max",
                             "exposures_us",
                             "prnu_before_percent",
                             "prnu_after_percent",
                             "dsnu_before_dn10",
                             "dsnu_after_dn10",
                             "defects_after",
                             "files"};
    QString out = header.join(QLatin1Char(',')) + QStringLiteral("\r\n");
    for (const RunRecord& r : runs) {
        const int dark = lastStep(r, {"dark"});
        const int gains = dark >= 0 ? dark : lastStep(r, {"bright"});
        const int bright = lastStep(r, {"bright"});
        const int verify = lastVerifyStep(r);
        QStringList files;
        for (const RecordFile& f : r.files) files << f.path + QLatin1Char('=') + f.sha256;
        const QStringList row{r.runId,
                              recordTime(r.started),
                              recordTime(r.ended),
                              r.durationMs < 0 ? QString() : QString::number(r.durationMs / 1000.0, 'f', 3),
                              r.station,
                              r.operatorName,
                              r.source,
                              r.camera,
                              r.model,
                              r.serial,
                              r.firmware,
                              r.sensor,
                              stepsText(r),
                              r.outcome,
                              r.exitCode < 0 ? QString() : QString::number(r.exitCode),
                              r.verdict,
                              numberText(figure(r, dark, QStringLiteral("doffset"))),
                              numberText(figure(r, gains, QStringLiteral("gainMin"))),
                              numberText(figure(r, gains, QStringLiteral("gainMax"))),
                              listFigure(r, bright, QStringLiteral("exposures")).join(QLatin1Char(';')),
                              numberText(worstPlane(r, verify, QStringLiteral("planes.prnuBefore"))),
                              numberText(r.prnuAfter),
                              numberText(worstPlane(r, verify, QStringLiteral("planes.dsnuBefore"))),
                              numberText(r.dsnuAfter),
                              r.defectsAfter < 0 ? QString() : QString::number(r.defectsAfter),
                              files.join(QLatin1Char(';'))};
        QStringList fields;
        for (const QString& f : row) fields << csvField(f);
        out += fields.join(QLatin1Char(',')) + QStringLiteral("\r\n");
    }
    return out.toUtf8();
}

QJsonObject runsJson(const QList<RunRecord>& runs, const QString& serial)
{
    QJsonArray list;
    for (const RunRecord& r : runs) {
        QJsonArray steps, figures, files;
        for (const RecordStep& s : r.steps)
            steps.append(QJsonObject{{QStringLiteral("index"), s.index},
                                     {QStringLiteral("step"), s.name},
                                     {QStringLiteral("args"), s.args},
                                     {QStringLiteral("options"), s.options},
                                     {QStringLiteral("outcome"), s.outcome},
                                     {QStringLiteral("startedAt"), recordTime(s.started)},
                                     {QStringLiteral("endedAt"), recordTime(s.ended)},
                                     {QStringLiteral("durationMs"), double(s.durationMs)},
                                     {QStringLiteral("messages"), s.messages}});
        for (const RecordFigure& f : r.figures) {
            QJsonObject o{{QStringLiteral("step"), f.step},
                          {QStringLiteral("name"), f.name},
                          {QStringLiteral("value"), jsonNumber(f.value)}};
            if (!f.plane.isEmpty()) o.insert(QStringLiteral("plane"), f.plane);
            if (!f.text.isEmpty()) o.insert(QStringLiteral("text"), f.text);
            figures.append(o);
        }
        for (const RecordFile& f : r.files)
            files.append(QJsonObject{{QStringLiteral("step"), f.step},
                                     {QStringLiteral("path"), f.path},
                                     {QStringLiteral("sha256"), f.sha256},
                                     {QStringLiteral("bytes"), double(f.bytes)}});
        list.append(QJsonObject{
            {QStringLiteral("runId"), r.runId},
            {QStringLiteral("source"), r.source},
            {QStringLiteral("station"), r.station},
            {QStringLiteral("operator"), r.operatorName},
            {QStringLiteral("camera"), QJsonObject{{QStringLiteral("name"), r.camera},
                                                   {QStringLiteral("model"), r.model},
                                                   {QStringLiteral("serial"), r.serial},
                                                   {QStringLiteral("firmware"), r.firmware},
                                                   {QStringLiteral("sensor"), r.sensor}}},
            {QStringLiteral("startedAt"), recordTime(r.started)},
            {QStringLiteral("endedAt"), recordTime(r.ended)},
            {QStringLiteral("durationMs"), double(r.durationMs)},
            {QStringLiteral("outcome"), r.outcome},
            {QStringLiteral("exitCode"), r.exitCode < 0 ? QJsonValue() : QJsonValue(r.exitCode)},
            {QStringLiteral("verdict"), r.verdict},
            {QStringLiteral("prnuAfter"), jsonNumber(r.prnuAfter)},
            {QStringLiteral("dsnuAfter"), jsonNumber(r.dsnuAfter)},
            {QStringLiteral("defectsAfter"), r.defectsAfter < 0 ? QJsonValue() : QJsonValue(r.defectsAfter)},
            {QStringLiteral("steps"), steps},
            {QStringLiteral("figures"), figures},
            {QStringLiteral("files"), files}});
    }
    return QJsonObject{{QStringLiteral("exportedAt"), recordTime(QDateTime::currentDateTimeUtc())},
                       {QStringLiteral("serial"), serial},
                       {QStringLiteral("runs"), list}};
}

bool writeRunsCsv(const QString& path, const QList<RunRecord>& runs, QString* error)
{
    return writeFile(path, runsCsv(runs), error);
}

bool writeRunsJson(const QString& path, const QList<RunRecord>& runs, const QString& serial, QString* error)
{
    return writeFile(path, QJsonDocument(runsJson(runs, serial)).toJson(QJsonDocument::Indented), error);
}

QList<TrendPoint> trendSeries(const QList<RunRecord>& runs)
{
    QList<TrendPoint> out;
    for (const RunRecord& r : runs)
        if (lastVerifyStep(r) >= 0) out.append(TrendPoint{r.started, r.runId, r.prnuAfter, r.dsnuAfter});
    std::stable_sort(out.begin(), out.end(), [](const TrendPoint& a, const TrendPoint& b) { return a.when < b.when; });
    return out;
}

// The record of one calibration run (runrecord.h).
#include "records/runrecord.h"

#include "fpnparams/paramfile.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>

namespace {

QString text(const QJsonObject& o, const char* key)
{
    return o.value(QLatin1String(key)).toString();
}

// A figure's value: a number, or a flag as 1 and 0; NaN for anything else.
void setValue(RecordFigure& f, const QJsonValue& v)
{
    if (v.isDouble()) {
        f.value = v.toDouble();
    } else if (v.isBool()) {
        f.value = v.toBool() ? 1.0 : 0.0;
        f.text = v.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    } else if (v.isString()) {
        f.text = v.toString();
    }
}

bool planeArray(const QJsonArray& a)
{
    if (a.isEmpty()) return false;
    for (const QJsonValue& v : a)
        if (!v.isObject() || !v.toObject().value(QLatin1String("plane")).isString()) return false;
    return true;
}

void flatten(int step, const QString& name, const QString& plane, const QJsonValue& v, QList<RecordFigure>& out)
{
    if (v.isObject()) {
        const QJsonObject o = v.toObject();
        for (auto it = o.constBegin(); it != o.constEnd(); ++it)
            flatten(step, name.isEmpty() ? it.key() : name + QLatin1Char('.') + it.key(), plane, it.value(), out);
        return;
    }
    if (v.isArray()) {
        const QJsonArray a = v.toArray();
        if (plane.isEmpty() && planeArray(a)) {
            for (const QJsonValue& e : a) {
                QJsonObject o = e.toObject();
                const QString p = recordPlane(o.take(QLatin1String("plane")).toString());
                flatten(step, name, p, o, out);
            }
            return;
        }
        for (int i = 0; i < a.size(); ++i) flatten(step, QStringLiteral("%1[%2]").arg(name).arg(i), plane, a[i], out);
        return;
    }
    RecordFigure f;
    f.step = step;
    f.name = name;
    f.plane = plane;
    setValue(f, v);
    out.append(f);
}

}  // namespace

QString recordTime(const QDateTime& t)
{
    return t.isValid() ? t.toUTC().toString(Qt::ISODateWithMs) : QString();
}

QDateTime parseRecordTime(const QString& text)
{
    QDateTime t = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!t.isValid()) t = QDateTime::fromString(text, Qt::ISODate);
    return t.isValid() ? t.toUTC() : QDateTime();
}

QString recordPlane(const QString& stored)
{
    // The names the Chinese interface gave the planes before records keyed them: data to match,
    // written as escapes ("\u9ED1\u767D" 黑白, "\u4F20\u611F\u5668\u884C" 传感器行, "\u901A\u9053" 通道).
    static const QString mono = QStringLiteral("\u9ED1\u767D");
    static const QRegularExpression numbered(QStringLiteral("^(\u4F20\u611F\u5668\u884C|\u901A\u9053)(\\d+)$"));
    if (stored == mono) return QStringLiteral("mono");
    const QRegularExpressionMatch m = numbered.match(stored);
    if (!m.hasMatch()) return stored;
    return (m.captured(1).size() == 2 ? QStringLiteral("channel") : QStringLiteral("line")) + m.captured(2);
}

QList<RecordFigure> flattenFigures(int step, const QJsonObject& figures)
{
    QList<RecordFigure> out;
    flatten(step, QString(), QString(), figures, out);
    // Names stay unique within a step (two planes of one name would collide): a repeat is numbered.
    QSet<QString> seen;
    for (RecordFigure& f : out) {
        const QString key = f.name + QLatin1Char('\n') + f.plane;
        if (!seen.contains(key)) {
            seen.insert(key);
            continue;
        }
        for (int n = 2;; ++n) {
            const QString name = QStringLiteral("%1#%2").arg(f.name).arg(n);
            if (!seen.contains(name + QLatin1Char('\n') + f.plane)) {
                f.name = name;
                seen.insert(name + QLatin1Char('\n') + f.plane);
                break;
            }
        }
    }
    return out;
}

int lastVerifyStep(const RunRecord& r)
{
    int last = -1;
    for (const RecordStep& s : r.steps)
        if (s.name == QLatin1String("verify")
            && (s.outcome == QLatin1String("ok") || s.outcome == QLatin1String("limits")))
            last = s.index;
    return last;
}

void fillTrend(RunRecord& r)
{
    r.verdict.clear();
    r.prnuAfter = r.dsnuAfter = kNoFigure;
    r.defectsAfter = -1;
    const int last = lastVerifyStep(r);
    if (last < 0) return;
    // The worst plane counts; a plane whose figure could not be measured leaves none for the run.
    bool prnuMeasured = true, dsnuMeasured = true, anyPlane = false;
    double prnu = -1.0, dsnu = -1.0;
    int defects = -1;
    for (const RecordFigure& f : r.figures) {
        if (f.step != last) continue;
        if (f.name == QLatin1String("passes") && f.plane.isEmpty() && f.hasValue())
            r.verdict = f.value != 0.0 ? QStringLiteral("pass") : QStringLiteral("fail");
        if (f.plane.isEmpty()) continue;
        if (f.name == QLatin1String("planes.prnuAfter")) {
            anyPlane = true;
            if (!f.hasValue())
                prnuMeasured = false;
            else
                prnu = std::max(prnu, f.value);
        } else if (f.name == QLatin1String("planes.dsnuAfter")) {
            anyPlane = true;
            if (!f.hasValue())
                dsnuMeasured = false;
            else
                dsnu = std::max(dsnu, f.value);
        } else if (f.name == QLatin1String("planes.defectsAfter") && f.hasValue()) {
            defects = std::max(defects, int(f.value));
        }
    }
    if (!anyPlane) return;
    if (prnuMeasured && prnu >= 0.0) r.prnuAfter = prnu;
    if (dsnuMeasured && dsnu >= 0.0) r.dsnuAfter = dsnu;
    r.defectsAfter = defects;
}

bool recordFromResult(const QJsonObject& result, RunRecord& r, QString* error)
{
    auto refuse = [error](const QString& why) {
        if (error) *error = why;
        return false;
    };
    r = RunRecord();
    r.result = result;
    r.runId = text(result, "runId");
    if (r.runId.isEmpty()) return refuse(QCoreApplication::translate("RunRecord", "记录缺少运行编号（runId）。"));
    r.started = parseRecordTime(text(result, "startedAt"));
    if (!r.started.isValid())
        return refuse(QCoreApplication::translate("RunRecord", "记录 %1 缺少开始时间（startedAt）。").arg(r.runId));
    if (!result.value(QLatin1String("steps")).isArray())
        return refuse(QCoreApplication::translate("RunRecord", "记录 %1 缺少步骤列表（steps）。").arg(r.runId));
    r.ended = parseRecordTime(text(result, "endedAt"));
    r.durationMs = qint64(result.value(QLatin1String("durationMs")).toDouble(-1));
    r.source = text(result, "source");
    r.station = text(result, "station");
    r.operatorName = text(result, "operator");
    r.outcome = text(result, "outcome");
    r.exitCode = result.value(QLatin1String("exitCode")).toInt(-1);
    const QJsonObject camera = result.value(QLatin1String("camera")).toObject();
    r.camera = text(camera, "name");
    r.model = text(camera, "model");
    r.serial = text(camera, "serial");
    r.firmware = text(camera, "firmware");
    r.sensor = text(camera, "sensor");

    const QJsonArray steps = result.value(QLatin1String("steps")).toArray();
    for (int i = 0; i < steps.size(); ++i) {
        const QJsonObject o = steps[i].toObject();
        RecordStep s;
        s.index = i;
        s.name = text(o, "step");
        s.args = o.value(QLatin1String("args")).toArray();
        s.options = o.value(QLatin1String("options")).toObject();
        s.outcome = text(o, "outcome");
        s.started = parseRecordTime(text(o, "startedAt"));
        s.ended = parseRecordTime(text(o, "endedAt"));
        s.durationMs = qint64(o.value(QLatin1String("durationMs")).toDouble(-1));
        s.messages = o.value(QLatin1String("messages")).toArray();
        r.steps.append(s);
        r.figures += flattenFigures(i, o.value(QLatin1String("figures")).toObject());
        // Files with their digests; a file named without one keeps an empty digest.
        QSet<QString> paths;
        for (const QJsonValue& d : o.value(QLatin1String("fileDigests")).toArray()) {
            const QJsonObject f = d.toObject();
            RecordFile file{i, text(f, "path"), text(f, "sha256"),
                            qint64(f.value(QLatin1String("bytes")).toDouble(-1))};
            if (file.path.isEmpty() || paths.contains(file.path)) continue;
            paths.insert(file.path);
            r.files.append(file);
        }
        for (const QJsonValue& p : o.value(QLatin1String("files")).toArray()) {
            const QString path = p.toString();
            if (path.isEmpty() || paths.contains(path)) continue;
            paths.insert(path);
            r.files.append(RecordFile{i, path, QString(), -1});
        }
    }
    if (r.outcome.isEmpty()) {
        r.outcome = QStringLiteral("ok");
        for (const RecordStep& s : r.steps)
            if (s.outcome != QLatin1String("ok") && s.outcome != QLatin1String("skipped")) r.outcome = s.outcome;
    }
    fillTrend(r);
    return true;
}

RecordFile fileDigest(const QString& path, int step)
{
    RecordFile f;
    f.step = step;
    f.path = path;
    f.sha256 = sha256OfFile(path);
    if (!f.sha256.isEmpty()) f.bytes = QFileInfo(path).size();
    return f;
}

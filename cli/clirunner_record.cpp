// The command-line runner: the run's result and its record (clirunner.h).
//
// The result (--json) and the record hold the same thing: the run's id, station and operator, its
// start, end and duration, the command line and every option as given, the camera (model,
// serial, firmware, sensor), and each step with its options, outcome, times, messages, figures
// as fields and files with their SHA-256; the steps a failure or a cancel did not reach are
// there too, marked "skipped". The record goes to the records' database, or waits in the
// station's spool when the database does not answer; it never changes the run's exit code.
#include "cli/clirunner.h"

#include "camera/tables.h"
#include "language.h"
#include "loader.h"

#include <QCoreApplication>
#include <QUuid>

#include <cstdio>

namespace {

// Steps that calibrate or verify a camera or write its data: a run of these gets a record.
bool calibrationStep(const QString& name)
{
    for (const char* n : {"dark", "bright", "write-fpn", "save-fpn", "load-fpn", "ffc", "lsc", "verify"})
        if (name == QLatin1String(n)) return true;
    return false;
}

QString outcomeOf(int exit)
{
    switch (exit) {
    case CliOk: return QStringLiteral("ok");
    case CliLimits: return QStringLiteral("limits");
    case CliInterrupted: return QStringLiteral("cancelled");
    case CliUsage: return QStringLiteral("usage");
    default: return QStringLiteral("failed");
    }
}

}  // namespace

void CliRunner::beginRecord(const CliPlan& plan)
{
    m_started = QDateTime::currentDateTimeUtc();
    m_runId = QUuid::createUuid().toString(QUuid::WithoutBraces);
    m_records = readRecordSettings(fpnIniPath(), documentDir(), plan.db);
    m_operator = plan.operatorName.isEmpty() ? loginName() : plan.operatorName;
    // The command line as given, with a database password left out.
    const QString db = m_records.location.password.isEmpty() ? plan.db : m_records.location.shown();
    const QStringList args = QCoreApplication::arguments().mid(1);
    m_commandLine = QJsonArray();
    for (int i = 0; i < args.size(); ++i)
        m_commandLine.append(i > 0 && args[i - 1] == QLatin1String("--db") ? db : args[i]);
    m_options = QJsonObject{{QStringLiteral("yes"), plan.yes}, {QStringLiteral("verbose"), plan.verbose}};
    if (!plan.camera.isEmpty()) m_options.insert(QStringLiteral("camera"), plan.camera);
    if (!plan.sdk.isEmpty()) m_options.insert(QStringLiteral("sdk"), plan.sdk);
    if (!plan.json.isEmpty()) m_options.insert(QStringLiteral("json"), plan.json);
    if (!plan.operatorName.isEmpty()) m_options.insert(QStringLiteral("operator"), plan.operatorName);
    if (!plan.db.isEmpty()) m_options.insert(QStringLiteral("db"), db);
}

QJsonObject CliRunner::stepEntry(const CliStep& step)
{
    // A flag stands as true, an option with a value as its text.
    QJsonObject options;
    for (auto it = step.options.cbegin(); it != step.options.cend(); ++it)
        options.insert(it.key(), it.value().isNull() ? QJsonValue(true) : QJsonValue(it.value()));
    QJsonObject entry{{QStringLiteral("step"), step.name},
                      {QStringLiteral("args"), QJsonArray::fromStringList(step.args)},
                      {QStringLiteral("options"), options}};
    if (!step.scene.isEmpty()) entry.insert(QStringLiteral("scene"), step.scene);
    return entry;
}

void CliRunner::skipSteps(const std::vector<CliStep>& steps, size_t from)
{
    for (size_t i = from; i < steps.size(); ++i) {
        QJsonObject entry = stepEntry(steps[i]);
        entry.insert(QStringLiteral("outcome"), QStringLiteral("skipped"));
        m_steps.append(entry);
    }
}

QJsonObject CliRunner::resultJson(int exit) const
{
    const QDateTime ended = m_ended.isValid() ? m_ended : QDateTime::currentDateTimeUtc();
    QJsonObject root{{QStringLiteral("runId"), m_runId},
                     {QStringLiteral("source"), QStringLiteral("lsxcalib-cli")},
                     // The language of the operator's texts in it (messages), for a reader that keys on them.
                     {QStringLiteral("language"), languageCode(currentLanguage())},
                     {QStringLiteral("station"), m_records.station},
                     {QStringLiteral("operator"), m_operator},
                     {QStringLiteral("startedAt"), recordTime(m_started)},
                     {QStringLiteral("endedAt"), recordTime(ended)},
                     {QStringLiteral("durationMs"), double(m_started.msecsTo(ended))},
                     {QStringLiteral("commandLine"), m_commandLine},
                     {QStringLiteral("options"), m_options},
                     {QStringLiteral("library"), QString::fromStdString(lsx::boundLibraryPath())},
                     {QStringLiteral("camera"), m_camera},
                     {QStringLiteral("steps"), m_steps},
                     {QStringLiteral("outcome"), outcomeOf(exit)},
                     {QStringLiteral("exitCode"), exit}};
    if (!m_recipe.isEmpty()) root.insert(QStringLiteral("recipe"), m_recipe);
    if (!m_cameraLeft.isEmpty()) root.insert(QStringLiteral("cameraLeft"), m_cameraLeft);
    return root;
}

void CliRunner::recordRun(int exit)
{
    bool calibrated = false;
    for (const QJsonValue& s : m_steps) {
        const QJsonObject o = s.toObject();
        if (calibrationStep(o.value(QLatin1String("step")).toString())
            && o.value(QLatin1String("outcome")).toString() != QLatin1String("skipped"))
            calibrated = true;
    }
    if (!calibrated) return;
    if (!m_records.error.isEmpty()) std::fprintf(stderr, "%s\n", m_records.error.toLocal8Bit().constData());
    const Delivery d = deliverRecord(resultJson(exit), m_records.location, m_records.spoolDir);
    if (!d.message.isEmpty()) std::fprintf(stderr, "%s\n", d.message.toLocal8Bit().constData());
}

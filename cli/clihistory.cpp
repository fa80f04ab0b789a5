// The runner's "history" step (clihistory.h).
//
// Its story:
//  1. the station's settings: the records' database (--db, Records/Url, or the SQLite file of
//     the document folder) and its spool;
//  2. the spool sent, as after a run;
//  3. the runs of the serial (or all) read from the database;
//  4. one line per run on standard output; the CSV and the JSON export written as asked.
#include "cli/clihistory.h"

#include "camera/tables.h"
#include "records/recordexport.h"
#include "records/recordspool.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <cmath>
#include <cstdio>

namespace {

QString figureText(double v, int decimals)
{
    return std::isnan(v) ? QStringLiteral("-") : QString::number(v, 'f', decimals);
}

}  // namespace

HistoryOutcome runHistory(const CliStep& step, const QString& dbOverride)
{
    HistoryOutcome h;
    auto failed = [&h](const QString& why) {
        h.exit = 1;
        h.error = why;
        return h;
    };
    // 1.
    const RecordSettings settings = readRecordSettings(fpnIniPath(), documentDir(), dbOverride);
    if (!settings.error.isEmpty()) return failed(settings.error);
    // 2.
    const Delivery sent = sendSpool(settings.location, settings.spoolDir);
    if (sent.othersSent > 0)
        h.notes << QCoreApplication::translate("CliHistory", "已发送 %1 条暂存的记录。").arg(sent.othersSent);
    if (!sent.message.isEmpty()) h.notes << sent.message;
    // 3.
    const QString serial = step.options.value(QStringLiteral("serial"));
    RecordStore store(settings.location);
    QList<RunRecord> runs;
    if (!store.open() || !store.runs(serial, runs)) return failed(store.error());
    // 4.
    for (const RunRecord& r : runs) {
        const QString line = QStringLiteral("%1  %2  %3  %4  %5  %6  PRNU %7 %  DSNU %8 DN10  %9\n")
                                 .arg(r.started.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")),
                                      r.serial.isEmpty() ? QStringLiteral("-") : r.serial, r.station, r.operatorName,
                                      r.outcome, r.verdict.isEmpty() ? QStringLiteral("-") : r.verdict,
                                      figureText(r.prnuAfter, 3), figureText(r.dsnuAfter, 3), stepsText(r));
        std::fputs(line.toLocal8Bit().constData(), stdout);
    }
    std::fflush(stdout);
    h.notes << QCoreApplication::translate("CliHistory", "%1 中共 %2 条记录%3。")
                   .arg(settings.location.shown())
                   .arg(runs.size())
                   .arg(serial.isEmpty() ? QString()
                                         : QCoreApplication::translate("CliHistory", "（序列号 %1）").arg(serial));
    h.figures = QJsonObject{{QStringLiteral("database"), settings.location.shown()},
                            {QStringLiteral("serial"), serial},
                            {QStringLiteral("runs"), int(runs.size())},
                            {QStringLiteral("pending"), sent.pending}};
    QString error;
    const QString csv = step.options.value(QStringLiteral("csv"));
    if (!csv.isEmpty()) {
        const QString path = QFileInfo(csv).absoluteFilePath();
        if (!writeRunsCsv(path, runs, &error)) return failed(error);
        h.files << path;
    }
    const QString json = step.options.value(QStringLiteral("json"));
    if (!json.isEmpty()) {
        const QString path = QFileInfo(json).absoluteFilePath();
        if (!writeRunsJson(path, runs, serial, &error)) return failed(error);
        h.files << path;
    }
    return h;
}

#pragma once
// The records as others read them: a CSV table of one row per run, a JSON document of whole
// records, and the trend of the residual non-uniformity over a camera's runs.
//
// CSV (UTF-8, RFC 4180: fields with a comma, quote or line break quoted, quotes doubled, CRLF
// line ends), one header row of language-neutral names, then one row per run:
//   run_id, started_at, ended_at, duration_s, station, operator, source, camera, model, serial,
//   firmware, sensor, steps ("dark:ok bright:ok ..."), outcome, exit_code, verdict, doffset,
//   gain_min, gain_max, exposures_us (";"-separated), prnu_before_percent, prnu_after_percent,
//   dsnu_before_dn10, dsnu_after_dn10, defects_after, files ("path=sha256", ";"-separated)
// A figure the run does not have is an empty field.

#include "records/runrecord.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>

QByteArray runsCsv(const QList<RunRecord>& runs);
// The whole records: {"exportedAt", "serial", "runs": [{header, steps, figures, files}]}.
QJsonObject runsJson(const QList<RunRecord>& runs, const QString& serial);

// Written to a temporary name and renamed; false with `error` set.
bool writeRunsCsv(const QString& path, const QList<RunRecord>& runs, QString* error);
bool writeRunsJson(const QString& path, const QList<RunRecord>& runs, const QString& serial, QString* error);

// One point per run that has a verification: its start, its residual PRNU (%) and DSNU (DN10)
// after correction (NaN where the run could not measure it), oldest first.
struct TrendPoint {
    QDateTime when;
    QString runId;
    double prnu = kNoFigure;
    double dsnu = kNoFigure;
};
QList<TrendPoint> trendSeries(const QList<RunRecord>& runs);

// The steps of a run with their outcomes, "dark:ok bright:failed verify:skipped".
QString stepsText(const RunRecord& run);

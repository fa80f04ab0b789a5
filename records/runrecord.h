#pragma once
// The record of one calibration run: which camera, on which station, by whom, when, every step
// with its options, outcome, messages, duration and figures, and every file written with its
// SHA-256.
//
// A run's record is made from its result, the JSON object the command-line runner writes with
// --json and the window builds for each of its workflows (see resultJson of those two). The
// result is kept whole beside the record; the record's fields are what a database can query:
//
//   { "runId": "<uuid>", "source": "lsxcalib-cli" | "window", "station": "...", "operator": "...",
//     "startedAt": "2024-05-01T08:00:00.000Z", "endedAt": "...", "durationMs": 1234,
//     "camera": { "name", "model", "serial", "firmware", "sensor", "type", "vendor" },
//     "steps": [ { "step": "dark", "args": [], "options": { "auto-doffset": true },
//                  "outcome": "ok" | "failed" | "cancelled" | "limits" | "skipped",
//                  "startedAt", "endedAt", "durationMs", "messages": [ { "progress", "text" } ],
//                  "figures": { ... }, "files": [ "/abs/path" ],
//                  "fileDigests": [ { "path", "sha256", "bytes" } ] }, ... ],
//     "outcome": "ok" | ..., "exitCode": 0 }
//
// Figures are flattened into named numbers (or texts): nested objects join their keys with '.',
// arrays index with "[i]", and an array of objects that carry a "plane" name (the verification's
// planes) gives its figures by plane instead: "planes.prnuAfter" of plane "mono". A figure that
// could not be measured (null, or NaN in memory) has no value.
//
// A plane is recorded by its key, the same in every language ("mono", "line0", "R", "channel4":
// planeKey of calibration/darkstats.h). Records written before the keys name their planes as the
// Chinese interface showed them; they are read as the keys (recordPlane), so that a camera's
// figures compare plane by plane across both.

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <cmath>
#include <limits>

constexpr double kNoFigure = std::numeric_limits<double>::quiet_NaN();

struct RecordFigure {
    int step = 0;
    QString name;
    QString plane;             // the plane of a verification figure; empty otherwise
    double value = kNoFigure;  // NaN: a text, or not measurable
    QString text;              // a text figure, or "true"/"false" beside the value of a flag
    bool hasValue() const { return !std::isnan(value); }
};

struct RecordFile {
    int step = 0;
    QString path;
    QString sha256;  // lower-case hex; empty when the file could not be read
    qint64 bytes = -1;
};

struct RecordStep {
    int index = 0;
    QString name;
    QJsonArray args;
    QJsonObject options;
    QString outcome;
    QDateTime started, ended;  // invalid for a step that did not run
    qint64 durationMs = -1;
    QJsonArray messages;
};

struct RunRecord {
    QString runId;
    QString source;
    QString station;
    QString operatorName;
    QString camera, model, serial, firmware, sensor;
    QDateTime started, ended;
    qint64 durationMs = -1;
    QString outcome;
    int exitCode = -1;  // -1: none (a run of the window)
    QString verdict;    // "pass", "fail", or empty without a verification
    // The residual non-uniformity after the run's last verification, the worst plane: PRNU1288
    // in per cent, DSNU1288 in DN10, defect columns; NaN and -1 without one.
    double prnuAfter = kNoFigure;
    double dsnuAfter = kNoFigure;
    int defectsAfter = -1;
    QList<RecordStep> steps;
    QList<RecordFigure> figures;
    QList<RecordFile> files;
    QJsonObject result;  // the run's result as written
};

// The record of a run's result; false with `error` set when the result lacks what every record
// needs (a run id, a start time, a list of steps).
bool recordFromResult(const QJsonObject& result, RunRecord& record, QString* error);

// The key of a plane as a record names it: the Chinese names of older records ("黑白",
// "传感器行N", "通道N") as their keys ("mono", "lineN", "channelN"); a key, or any other name, as it
// stands.
QString recordPlane(const QString& stored);

// The figures of one step's "figures" object, flattened as told above, in the object's order.
QList<RecordFigure> flattenFigures(int step, const QJsonObject& figures);

// The index of the run's last verification that measured (a step "verify" that ended "ok" or
// "limits"); -1 without one.
int lastVerifyStep(const RunRecord& record);
// The verdict and residual figures of that verification into the record's trend fields: the worst
// plane's PRNU and DSNU after correction (NaN when a plane could not measure it) and defects.
void fillTrend(RunRecord& record);

// A file's SHA-256 (lower-case hex) and size; an empty digest when the file cannot be read.
RecordFile fileDigest(const QString& path, int step = 0);

// Times as records keep them: UTC, ISO 8601 with milliseconds ("2024-05-01T08:00:00.123Z").
QString recordTime(const QDateTime& t);
QDateTime parseRecordTime(const QString& text);

#pragma once
// The runner's "history" step: the runs on record, from the station's records database, without
// a camera. It sends the station's spool first, so that runs made while the database was away
// are listed once it answers; then it prints one line per run (oldest first) and writes the CSV
// and JSON exports asked for.
//
//   history [--serial S] [--csv FILE] [--json FILE]

#include "cli/cliplan.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

struct HistoryOutcome {
    int exit = 0;         // 0, or 1 when the database cannot be read or a file cannot be written
    QString error;        // why, in the operator's words
    QStringList notes;    // what the operator should hear besides (records sent from the spool)
    QJsonObject figures;  // database, serial, runs, pending
    QStringList files;    // the exports written
};

// `dbOverride`: the runner's --db (empty: Records/Url of FPN.ini, then the SQLite file).
HistoryOutcome runHistory(const CliStep& step, const QString& dbOverride);

#pragma once
// The station's spool: records that wait for their database, one file each in the document
// folder, and their delivery.
//
// A run's record goes to the spool first (written to a temporary name and renamed), then the
// whole spool is sent; a file leaves the spool only once the database holds its run. The insert
// is idempotent on the run's id, so a record sent twice (a crash between insert and removal, two
// programs of one station sending at once) is still stored once. A station is never stopped by
// its database: when the database cannot be reached, the run's record stays in the spool and goes
// with the next delivery that finds the database answering.

#include "records/recordstore.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

class RecordSpool {
public:
    explicit RecordSpool(const QString& dir);
    QString dir() const { return m_dir; }

    // Writes the result into the spool; false with `error` set when it cannot be written.
    bool put(const QJsonObject& result, QString* error);
    // The files waiting, oldest run first.
    QStringList pending() const;

    struct Sent {
        int stored = 0;      // newly stored
        int already = 0;     // the database held them already
        int left = 0;        // still waiting
        QStringList runIds;  // the runs that left the spool
        QStringList errors;  // unreadable files and failed inserts, in the operator's words
    };
    // Sends every waiting record through an open store; stops at the first failure of the
    // database itself (the rest wait for the next time).
    Sent send(RecordStore& store);

private:
    QString m_dir;
};

// What became of one run's record.
struct Delivery {
    bool stored = false;   // in the database (now or before)
    bool spooled = false;  // waiting in the spool
    int pending = 0;       // records still waiting in the spool, this one included
    int othersSent = 0;    // earlier records of the spool sent with this one
    QStringList sent;      // the runs the database holds now that were waiting or delivered here
    QString message;       // for the operator, empty when all went well silently
};

// The record of `result` into the spool, then the spool into the database at `where`.
Delivery deliverRecord(const QJsonObject& result, const RecordLocation& where, const QString& spoolDir);

// Sends the spool alone (at start, on a timer, before reading the history); `where` and the
// counts as for deliverRecord.
Delivery sendSpool(const RecordLocation& where, const QString& spoolDir);

// ---- The station's own settings (FPN.ini) ----

struct RecordSettings {
    RecordLocation location;
    QString station;   // Station/Id, or the host name
    QString spoolDir;  // the document folder's "records-spool"
    QString error;     // a Records/Url or --db that cannot be understood
};

// Reads Records/Url and Station/Id from the settings file; `dbOverride` (the runner's --db) wins
// over Records/Url.
RecordSettings readRecordSettings(const QString& iniPath, const QString& documentDir,
                                  const QString& dbOverride = QString());

// The operator's login name, for a run that names none.
QString loginName();

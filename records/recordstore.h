#pragma once
// Where the records are kept, and the store that keeps them, through Qt SQL.
//
// A station keeps its records in one SQLite file in its document folder (records.sqlite); a plant
// names its PostgreSQL database in FPN.ini (Records/Url) or on the runner's command line (--db):
//
//   postgresql://[USER[:PASSWORD]@][HOST][:PORT]/DATABASE[?host=/socket/dir&connect_timeout=5&...]
//   sqlite:/path/to/file.sqlite, or a plain path (relative to the document folder)
//
// Query parameters other than host, port, user, password and dbname go to the server's client
// library as they stand (sslmode, connect_timeout, application_name ...); connect_timeout is 5 s
// unless given, so that a server that does not answer holds a station for a few seconds only.
//
// The schema carries its version (table schema_info) and is brought up to date on open, in one
// transaction that other stations wait for. A run is inserted once: its id is the key, and an
// insert of a run the database already holds changes nothing (an idempotent insert), so that
// several stations, and a station sending its spool again, never double a record.

#include "records/runrecord.h"

#include <QString>
#include <QStringList>

struct RecordLocation {
    enum Kind { Invalid, Sqlite, Postgres };
    Kind kind = Invalid;
    QString path;  // SQLite: the file
    QString host;  // PostgreSQL: a host name, or a socket folder (starting with '/')
    int port = -1;
    QString database, user, password;
    QString options;  // the client library's connect options, "key=value;key=value"
    QString problem;  // why an Invalid location is invalid
    // The location as the operator may read it: the password left out.
    QString shown() const;
};

// The location named by `text` (empty: the SQLite file of the document folder); an Invalid one
// with `error` set when the text cannot be understood.
RecordLocation parseRecordLocation(const QString& text, const QString& documentDir, QString* error);

// The schema version this program writes.
constexpr int kRecordSchemaVersion = 2;

class RecordStore {
public:
    explicit RecordStore(const RecordLocation& where);
    ~RecordStore();
    RecordStore(const RecordStore&) = delete;
    RecordStore& operator=(const RecordStore&) = delete;

    // Connects and brings the schema to `version` (the current one unless a test asks for an
    // older one); false with error() set. A database of a newer schema than this program knows
    // is refused and left as it is.
    bool open(int version = kRecordSchemaVersion);
    bool isOpen() const { return m_open; }
    QString error() const { return m_error; }
    // The schema version found at open, before any migration (0 for a new database).
    int versionFound() const { return m_versionFound; }

    enum class Insert { Stored, AlreadyStored, Failed };
    // Inserts the whole record in one transaction: all of it or nothing.
    Insert insert(const RunRecord& record);

    // The runs of a camera serial (every run for an empty one), oldest first, with their steps,
    // figures and files as the database holds them; the result as stored in `result`.
    bool runs(const QString& serial, QList<RunRecord>& out);
    // One run by id; false when it is not there (error() empty) or on a failure.
    bool run(const QString& runId, RunRecord& out);
    // The serials of the cameras on record, in order.
    bool serials(QStringList& out);
    // The number of runs the database holds with this id (0 or 1 when all is well).
    int count(const QString& runId);

private:
    bool exec(const QString& sql);
    // A write transaction; `migration` also waits for any other station's migration.
    bool begin(bool migration);
    bool commit();
    void rollback();
    bool migrate(int version);
    int readVersion();
    bool refuseNewer();
    bool load(const QString& where, const QStringList& binds, QList<RunRecord>& out);
    bool fail(const QString& what, const QString& detail);

    RecordLocation m_where;
    QString m_connection;
    QString m_error;
    bool m_open = false;
    int m_versionFound = 0;
};

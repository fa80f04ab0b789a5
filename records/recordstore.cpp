// The records' store through Qt SQL (recordstore.h).
//
// How a record goes in:
//  1. open: connect (SQLite waits up to 30 s for another writer; PostgreSQL gives up after its
//     connect timeout), read the schema version, and when it is behind, take the database's write
//     lock (SQLite: BEGIN IMMEDIATE; PostgreSQL: a transaction-scoped advisory lock taken alone),
//     read it again and run the migrations after it, in that one transaction;
//  2. insert: in one transaction (PostgreSQL: the advisory lock shared), the version read again,
//     the run's row with ON CONFLICT (run_id) DO NOTHING; when that changed no row the run is
//     there already and nothing else is written; otherwise its steps, figures and files follow
//     and the transaction commits.
// Both dialects take the same SQL apart from the lock; times are ISO 8601 texts in UTC, lists and
// objects compact JSON texts, a figure that could not be measured NULL.
#include "records/recordstore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QJsonDocument>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QUrl>
#include <QUuid>
#include <QVariant>

#include <functional>

namespace {

// Any number, the same for every station: the lock of a migration on PostgreSQL.
constexpr qint64 kMigrationLock = 7329029;

QString decoded(const QString& s)
{
    return QUrl::fromPercentEncoding(s.toUtf8());
}

QString compact(const QJsonArray& a)
{
    return QString::fromUtf8(QJsonDocument(a).toJson(QJsonDocument::Compact));
}

QString compact(const QJsonObject& o)
{
    return QString::fromUtf8(QJsonDocument(o).toJson(QJsonDocument::Compact));
}

// A text for a NOT NULL column: Qt SQL binds a null QString as NULL.
QVariant text(const QString& s)
{
    return s.isNull() ? QVariant(QStringLiteral("")) : QVariant(s);
}

QVariant orNull(double v)
{
    return std::isnan(v) ? QVariant() : QVariant(v);
}

QVariant orNull(qint64 v)
{
    return v < 0 ? QVariant() : QVariant(v);
}

QVariant orNull(const QDateTime& t)
{
    return t.isValid() ? QVariant(recordTime(t)) : QVariant();
}

double doubleOr(const QVariant& v)
{
    return v.isNull() ? kNoFigure : v.toDouble();
}

bool parsePostgres(const QString& text, RecordLocation& l, QString* error)
{
    auto refuse = [&](const QString& why) {
        l.problem =
            QCoreApplication::translate("RecordStore", "记录数据库地址 \"%1\" 无法使用：%2").arg(l.shown(), why);
        if (error) *error = l.problem;
        l.kind = RecordLocation::Invalid;
        return false;
    };
    l.kind = RecordLocation::Postgres;
    QString rest = text.mid(text.indexOf(QLatin1String("://")) + 3);
    QString query;
    if (const int q = rest.indexOf(QLatin1Char('?')); q >= 0) {
        query = rest.mid(q + 1);
        rest.truncate(q);
    }
    const int slash = rest.indexOf(QLatin1Char('/'));
    const QString authority = slash >= 0 ? rest.left(slash) : rest;
    l.database = slash >= 0 ? decoded(rest.mid(slash + 1)) : QString();
    QString hostPort = authority;
    if (const int at = authority.lastIndexOf(QLatin1Char('@')); at >= 0) {
        const QString userInfo = authority.left(at);
        hostPort = authority.mid(at + 1);
        const int colon = userInfo.indexOf(QLatin1Char(':'));
        l.user = decoded(colon >= 0 ? userInfo.left(colon) : userInfo);
        if (colon >= 0) l.password = decoded(userInfo.mid(colon + 1));
    }
    QString portText;
    if (hostPort.startsWith(QLatin1Char('['))) {
        const int close = hostPort.indexOf(QLatin1Char(']'));
        if (close < 0) return refuse(QCoreApplication::translate("RecordStore", "主机地址缺少 \"]\"。"));
        l.host = hostPort.mid(1, close - 1);
        if (hostPort.mid(close + 1).startsWith(QLatin1Char(':'))) portText = hostPort.mid(close + 2);
    } else {
        const int colon = hostPort.lastIndexOf(QLatin1Char(':'));
        l.host = decoded(colon >= 0 ? hostPort.left(colon) : hostPort);
        if (colon >= 0) portText = hostPort.mid(colon + 1);
    }
    QStringList options;
    bool timeoutGiven = false;
    for (const QString& item : query.split(QLatin1Char('&'), Qt::SkipEmptyParts)) {
        const int eq = item.indexOf(QLatin1Char('='));
        if (eq <= 0) return refuse(QCoreApplication::translate("RecordStore", "参数 \"%1\" 应为 键=值。").arg(item));
        const QString key = decoded(item.left(eq)), value = decoded(item.mid(eq + 1));
        if (key == QLatin1String("host"))
            l.host = value;
        else if (key == QLatin1String("port"))
            portText = value;
        else if (key == QLatin1String("user"))
            l.user = value;
        else if (key == QLatin1String("password"))
            l.password = value;
        else if (key == QLatin1String("dbname"))
            l.database = value;
        else {
            if (key.contains(QLatin1Char(';')) || value.contains(QLatin1Char(';')))
                return refuse(QCoreApplication::translate("RecordStore", "参数 \"%1\" 不能含有 \";\"。").arg(key));
            timeoutGiven = timeoutGiven || key == QLatin1String("connect_timeout");
            options << key + QLatin1Char('=') + value;
        }
    }
    if (!timeoutGiven) options.prepend(QStringLiteral("connect_timeout=5"));
    l.options = options.join(QLatin1Char(';'));
    if (!portText.isEmpty()) {
        bool ok = false;
        l.port = portText.toInt(&ok);
        if (!ok || l.port < 1 || l.port > 65535)
            return refuse(
                QCoreApplication::translate("RecordStore", "端口 \"%1\" 不是 1 到 65535 的数。").arg(portText));
    }
    if (l.database.isEmpty())
        return refuse(QCoreApplication::translate("RecordStore", "缺少数据库名（postgresql://主机/数据库名）。"));
    return true;
}

}  // namespace

QString RecordLocation::shown() const
{
    if (kind == Sqlite) return path;
    QString s = QStringLiteral("postgresql://");
    if (!user.isEmpty()) s += user + QLatin1Char('@');
    if (!host.startsWith(QLatin1Char('/')))
        s += host.contains(QLatin1Char(':')) ? QLatin1Char('[') + host + QLatin1Char(']') : host;
    if (port > 0) s += QLatin1Char(':') + QString::number(port);
    s += QLatin1Char('/') + database;
    if (host.startsWith(QLatin1Char('/'))) s += QStringLiteral("?host=") + host;
    return s;
}

RecordLocation parseRecordLocation(const QString& text, const QString& documentDir, QString* error)
{
    RecordLocation l;
    const QString t = text.trimmed();
    auto sqliteAt = [&](const QString& path) {
        l.kind = RecordLocation::Sqlite;
        l.path = QDir::cleanPath(QDir(documentDir).absoluteFilePath(path));
        return l;
    };
    if (t.isEmpty()) return sqliteAt(QStringLiteral("records.sqlite"));
    if (t.startsWith(QLatin1String("postgresql://"), Qt::CaseInsensitive)
        || t.startsWith(QLatin1String("postgres://"), Qt::CaseInsensitive)) {
        parsePostgres(t, l, error);
        return l;
    }
    if (t.startsWith(QLatin1String("sqlite:"), Qt::CaseInsensitive)) {
        QString path = t.mid(7);
        if (path.startsWith(QLatin1String("///")))
            path = path.mid(2);
        else if (path.startsWith(QLatin1String("//")))
            path = path.mid(2);
        if (path.isEmpty()) {
            l.problem = QCoreApplication::translate("RecordStore", "记录数据库地址 \"%1\" 缺少文件名。").arg(t);
            if (error) *error = l.problem;
            return l;
        }
        return sqliteAt(decoded(path));
    }
    if (t.contains(QLatin1String("://"))) {
        l.problem =
            QCoreApplication::translate(
                "RecordStore", "未知的记录数据库地址 \"%1\"（可用 postgresql://主机/数据库名 或 sqlite:文件）。")
                .arg(t);
        if (error) *error = l.problem;
        return l;
    }
    return sqliteAt(t);
}

// ---- The store ----

RecordStore::RecordStore(const RecordLocation& where)
    : m_where(where), m_connection(QStringLiteral("records-") + QUuid::createUuid().toString(QUuid::WithoutBraces))
{}

RecordStore::~RecordStore()
{
    if (QSqlDatabase::contains(m_connection)) {
        {
            QSqlDatabase db = QSqlDatabase::database(m_connection, false);
            db.close();
        }
        QSqlDatabase::removeDatabase(m_connection);
    }
}

bool RecordStore::fail(const QString& what, const QString& detail)
{
    m_error =
        detail.isEmpty() ? what : QCoreApplication::translate("RecordStore", "%1：%2").arg(what, detail.trimmed());
    return false;
}

bool RecordStore::exec(const QString& sql)
{
    QSqlQuery q(QSqlDatabase::database(m_connection, false));
    if (q.exec(sql)) return true;
    return fail(QCoreApplication::translate("RecordStore", "记录数据库 %1 的操作失败").arg(m_where.shown()),
                q.lastError().text());
}

bool RecordStore::begin(bool migration)
{
    // SQLite: the write lock at once, so that two writers never both hold a read lock they cannot
    // upgrade. PostgreSQL: the stations' common lock, shared by inserts (rows lock themselves) and
    // taken alone by a migration, so that no insert writes the columns of a schema being changed.
    if (m_where.kind == RecordLocation::Sqlite) return exec(QStringLiteral("BEGIN IMMEDIATE"));
    if (!exec(QStringLiteral("BEGIN"))) return false;
    return exec(QStringLiteral("SELECT pg_advisory_xact_lock%1(%2)")
                    .arg(migration ? QString() : QStringLiteral("_shared"))
                    .arg(kMigrationLock));
}

bool RecordStore::commit()
{
    if (exec(QStringLiteral("COMMIT"))) return true;
    rollback();
    return false;
}

void RecordStore::rollback()
{
    QSqlQuery q(QSqlDatabase::database(m_connection, false));
    q.exec(QStringLiteral("ROLLBACK"));
}

bool RecordStore::refuseNewer()
{
    return fail(QCoreApplication::translate(
                    "RecordStore", "记录数据库 %1 的版本 %2 高于本程序支持的版本 %3，请升级本程序；数据库保持不变。")
                    .arg(m_where.shown())
                    .arg(m_versionFound)
                    .arg(kRecordSchemaVersion),
                QString());
}

int RecordStore::readVersion()
{
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    if (!db.tables().contains(QStringLiteral("schema_info"))) return 0;
    QSqlQuery q(db);
    if (!q.exec(QStringLiteral("SELECT version FROM schema_info")) || !q.next()) {
        fail(QCoreApplication::translate("RecordStore", "记录数据库 %1 的版本无法读取").arg(m_where.shown()),
             q.lastError().text());
        return -1;
    }
    return q.value(0).toInt();
}

bool RecordStore::open(int version)
{
    m_open = false;
    m_error.clear();
    if (m_where.kind == RecordLocation::Invalid)
        return fail(m_where.problem.isEmpty() ? QCoreApplication::translate("RecordStore", "记录数据库的地址无效。")
                                              : m_where.problem,
                    QString());
    const bool sqlite = m_where.kind == RecordLocation::Sqlite;
    const QString driver = sqlite ? QStringLiteral("QSQLITE") : QStringLiteral("QPSQL");
    if (!QSqlDatabase::isDriverAvailable(driver))
        return fail(QCoreApplication::translate("RecordStore", "没有 Qt SQL 的 %1 驱动（Debian 包 %2），记录无法保存。")
                        .arg(driver, sqlite ? QStringLiteral("libqt6sql6-sqlite") : QStringLiteral("libqt6sql6-psql")),
                    QString());
    QSqlDatabase db = QSqlDatabase::contains(m_connection) ? QSqlDatabase::database(m_connection, false)
                                                           : QSqlDatabase::addDatabase(driver, m_connection);
    if (sqlite) {
        const QFileInfo file(m_where.path);
        if (!QDir().mkpath(file.absolutePath()))
            return fail(
                QCoreApplication::translate("RecordStore", "无法创建记录数据库的文件夹 %1。").arg(file.absolutePath()),
                QString());
        db.setDatabaseName(m_where.path);
        // Several processes may write one file: a writer waits for the other's transaction.
        db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=30000"));
    } else {
        db.setHostName(m_where.host);
        if (m_where.port > 0) db.setPort(m_where.port);
        db.setDatabaseName(m_where.database);
        db.setUserName(m_where.user);
        db.setPassword(m_where.password);
        db.setConnectOptions(m_where.options);
    }
    if (!db.open())
        return fail(QCoreApplication::translate("RecordStore", "记录数据库 %1 无法打开").arg(m_where.shown()),
                    db.lastError().text());

    m_versionFound = readVersion();
    if (m_versionFound < 0) return false;
    if (m_versionFound > kRecordSchemaVersion) return refuseNewer();
    if (m_versionFound < version && !migrate(version)) return false;
    m_open = true;
    return true;
}

// ---- Migrations ----

namespace {

struct Migration {
    int version;
    QStringList statements;
    // What the statements cannot say: data carried over into the new columns.
    std::function<bool(QSqlDatabase&, QString*)> after;
};

// Version 2 keeps each run's residual figures beside it for the trend; runs already stored get
// them from their figures, as a new record gets them.
bool backfillTrend(QSqlDatabase& db, QString* error)
{
    QSqlQuery runs(db);
    if (!runs.exec(QStringLiteral("SELECT run_id FROM runs"))) {
        *error = runs.lastError().text();
        return false;
    }
    QStringList ids;
    while (runs.next()) ids << runs.value(0).toString();
    for (const QString& id : ids) {
        RunRecord r;
        r.runId = id;
        QSqlQuery q(db);
        q.prepare(QStringLiteral("SELECT step_index, name, outcome FROM steps WHERE run_id = ? ORDER BY step_index"));
        q.addBindValue(id);
        if (!q.exec()) {
            *error = q.lastError().text();
            return false;
        }
        while (q.next()) {
            RecordStep s;
            s.index = q.value(0).toInt();
            s.name = q.value(1).toString();
            s.outcome = q.value(2).toString();
            r.steps << s;
        }
        q.prepare(QStringLiteral("SELECT step_index, name, plane, value, text FROM figures WHERE run_id = ?"));
        q.addBindValue(id);
        if (!q.exec()) {
            *error = q.lastError().text();
            return false;
        }
        while (q.next())
            r.figures << RecordFigure{q.value(0).toInt(), q.value(1).toString(), recordPlane(q.value(2).toString()),
                                      doubleOr(q.value(3)), q.value(4).toString()};
        fillTrend(r);
        QSqlQuery u(db);
        u.prepare(QStringLiteral("UPDATE runs SET prnu_after = ?, dsnu_after = ?, defects_after = ? WHERE run_id = ?"));
        u.addBindValue(orNull(r.prnuAfter));
        u.addBindValue(orNull(r.dsnuAfter));
        u.addBindValue(r.defectsAfter < 0 ? QVariant() : QVariant(r.defectsAfter));
        u.addBindValue(id);
        if (!u.exec()) {
            *error = u.lastError().text();
            return false;
        }
    }
    return true;
}

const QList<Migration>& migrations()
{
    static const QList<Migration> list{
        {1,
         {QStringLiteral("CREATE TABLE schema_info (version INTEGER NOT NULL)"),
          QStringLiteral("INSERT INTO schema_info (version) VALUES (0)"),
          QStringLiteral("CREATE TABLE runs (run_id TEXT PRIMARY KEY, source TEXT NOT NULL, station TEXT NOT NULL, "
                         "operator TEXT NOT NULL, camera TEXT NOT NULL, model TEXT NOT NULL, serial TEXT NOT NULL, "
                         "firmware TEXT NOT NULL, sensor TEXT NOT NULL, started_at TEXT NOT NULL, ended_at TEXT, "
                         "duration_ms BIGINT, outcome TEXT NOT NULL, exit_code INTEGER, verdict TEXT, "
                         "result TEXT NOT NULL)"),
          QStringLiteral(
              "CREATE TABLE steps (run_id TEXT NOT NULL REFERENCES runs (run_id), step_index INTEGER NOT NULL, "
              "name TEXT NOT NULL, args TEXT NOT NULL, options TEXT NOT NULL, outcome TEXT NOT NULL, "
              "started_at TEXT, ended_at TEXT, duration_ms BIGINT, messages TEXT NOT NULL, "
              "PRIMARY KEY (run_id, step_index))"),
          QStringLiteral("CREATE TABLE figures (run_id TEXT NOT NULL REFERENCES runs (run_id), "
                         "step_index INTEGER NOT NULL, name TEXT NOT NULL, plane TEXT NOT NULL, "
                         "value DOUBLE PRECISION, text TEXT NOT NULL, PRIMARY KEY (run_id, step_index, name, plane))"),
          QStringLiteral(
              "CREATE TABLE files (run_id TEXT NOT NULL REFERENCES runs (run_id), step_index INTEGER NOT NULL, "
              "path TEXT NOT NULL, sha256 TEXT NOT NULL, bytes BIGINT, "
              "PRIMARY KEY (run_id, step_index, path))")},
         nullptr},
        {2,
         {QStringLiteral("ALTER TABLE runs ADD COLUMN prnu_after DOUBLE PRECISION"),
          QStringLiteral("ALTER TABLE runs ADD COLUMN dsnu_after DOUBLE PRECISION"),
          QStringLiteral("ALTER TABLE runs ADD COLUMN defects_after INTEGER"),
          QStringLiteral("CREATE INDEX runs_by_serial ON runs (serial, started_at)")},
         backfillTrend},
    };
    return list;
}

}  // namespace

bool RecordStore::migrate(int version)
{
    if (!begin(true)) return false;
    // Another station may have migrated meanwhile: the version under the lock counts.
    const int found = readVersion();
    if (found < 0 || found > kRecordSchemaVersion || found >= version) {
        rollback();
        if (found > kRecordSchemaVersion) {
            m_versionFound = found;
            return refuseNewer();
        }
        return found >= 0;
    }
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    for (const Migration& m : migrations()) {
        if (m.version <= found || m.version > version) continue;
        for (const QString& sql : m.statements) {
            QSqlQuery q(db);
            if (!q.exec(sql)) {
                const QString detail = q.lastError().text();
                rollback();
                return fail(QCoreApplication::translate("RecordStore", "记录数据库 %1 无法升级到版本 %2")
                                .arg(m_where.shown())
                                .arg(m.version),
                            detail);
            }
        }
        QString detail;
        if (m.after && !m.after(db, &detail)) {
            rollback();
            return fail(QCoreApplication::translate("RecordStore", "记录数据库 %1 无法升级到版本 %2")
                            .arg(m_where.shown())
                            .arg(m.version),
                        detail);
        }
    }
    if (found < version && !exec(QStringLiteral("UPDATE schema_info SET version = %1").arg(version))) {
        rollback();
        return false;
    }
    return commit();
}

// ---- Writing ----

RecordStore::Insert RecordStore::insert(const RunRecord& r)
{
    if (!m_open) {
        if (m_error.isEmpty()) fail(QCoreApplication::translate("RecordStore", "记录数据库没有打开。"), QString());
        return Insert::Failed;
    }
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    if (!begin(false)) return Insert::Failed;
    // The schema as it stands under the lock: another program may have migrated it since open.
    const int version = readVersion();
    if (version < 0 || version > kRecordSchemaVersion) {
        rollback();
        if (version > kRecordSchemaVersion) {
            m_versionFound = version;
            refuseNewer();
        }
        return Insert::Failed;
    }
    auto failed = [&](const QSqlQuery& q) {
        const QString detail = q.lastError().text();
        rollback();
        fail(QCoreApplication::translate("RecordStore", "记录 %1 无法写入记录数据库 %2").arg(r.runId, m_where.shown()),
             detail);
        return Insert::Failed;
    };

    const bool trend = version >= 2;
    QSqlQuery q(db);
    q.prepare(QStringLiteral("INSERT INTO runs (run_id, source, station, operator, camera, model, serial, firmware, "
                             "sensor, started_at, ended_at, duration_ms, outcome, exit_code, verdict, result%1) "
                             "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?%2) "
                             "ON CONFLICT (run_id) DO NOTHING")
                  .arg(trend ? QStringLiteral(", prnu_after, dsnu_after, defects_after") : QString(),
                       trend ? QStringLiteral(", ?, ?, ?") : QString()));
    for (const QVariant& v :
         {text(r.runId), text(r.source), text(r.station), text(r.operatorName), text(r.camera), text(r.model),
          text(r.serial), text(r.firmware), text(r.sensor), orNull(r.started), orNull(r.ended), orNull(r.durationMs),
          text(r.outcome), r.exitCode < 0 ? QVariant() : QVariant(r.exitCode),
          r.verdict.isEmpty() ? QVariant() : QVariant(r.verdict), QVariant(compact(r.result))})
        q.addBindValue(v);
    if (trend) {
        q.addBindValue(orNull(r.prnuAfter));
        q.addBindValue(orNull(r.dsnuAfter));
        q.addBindValue(r.defectsAfter < 0 ? QVariant() : QVariant(r.defectsAfter));
    }
    if (!q.exec()) return failed(q);
    if (q.numRowsAffected() == 0) {
        rollback();
        return Insert::AlreadyStored;
    }

    q.prepare(
        QStringLiteral("INSERT INTO steps (run_id, step_index, name, args, options, outcome, started_at, "
                       "ended_at, duration_ms, messages) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"));
    for (const RecordStep& s : r.steps) {
        for (const QVariant& v :
             {text(r.runId), QVariant(s.index), text(s.name), QVariant(compact(s.args)), QVariant(compact(s.options)),
              text(s.outcome), orNull(s.started), orNull(s.ended), orNull(s.durationMs), QVariant(compact(s.messages))})
            q.addBindValue(v);
        if (!q.exec()) return failed(q);
    }
    q.prepare(
        QStringLiteral("INSERT INTO figures (run_id, step_index, name, plane, value, text) VALUES (?, ?, ?, ?, ?, ?)"));
    for (const RecordFigure& f : r.figures) {
        for (const QVariant& v :
             {text(r.runId), QVariant(f.step), text(f.name), text(f.plane), orNull(f.value), text(f.text)})
            q.addBindValue(v);
        if (!q.exec()) return failed(q);
    }
    q.prepare(QStringLiteral("INSERT INTO files (run_id, step_index, path, sha256, bytes) VALUES (?, ?, ?, ?, ?)"));
    for (const RecordFile& f : r.files) {
        for (const QVariant& v : {text(r.runId), QVariant(f.step), text(f.path), text(f.sha256), orNull(f.bytes)})
            q.addBindValue(v);
        if (!q.exec()) return failed(q);
    }
    return commit() ? Insert::Stored : Insert::Failed;
}

// ---- Reading ----

bool RecordStore::load(const QString& where, const QStringList& binds, QList<RunRecord>& out)
{
    out.clear();
    if (!m_open) return fail(QCoreApplication::translate("RecordStore", "记录数据库没有打开。"), QString());
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    auto query = [&](const QString& sql, QSqlQuery& q) {
        q = QSqlQuery(db);
        q.setForwardOnly(true);
        q.prepare(sql.arg(where));
        for (const QString& b : binds) q.addBindValue(b);
        if (q.exec()) return true;
        return fail(QCoreApplication::translate("RecordStore", "记录数据库 %1 无法读取").arg(m_where.shown()),
                    q.lastError().text());
    };
    QSqlQuery q;
    if (!query(QStringLiteral("SELECT run_id, source, station, operator, camera, model, serial, firmware, sensor, "
                              "started_at, ended_at, duration_ms, outcome, exit_code, verdict, result, prnu_after, "
                              "dsnu_after, defects_after FROM runs WHERE %1 ORDER BY started_at, run_id"),
               q))
        return false;
    QHash<QString, int> index;
    while (q.next()) {
        RunRecord r;
        r.runId = q.value(0).toString();
        r.source = q.value(1).toString();
        r.station = q.value(2).toString();
        r.operatorName = q.value(3).toString();
        r.camera = q.value(4).toString();
        r.model = q.value(5).toString();
        r.serial = q.value(6).toString();
        r.firmware = q.value(7).toString();
        r.sensor = q.value(8).toString();
        r.started = parseRecordTime(q.value(9).toString());
        r.ended = parseRecordTime(q.value(10).toString());
        r.durationMs = q.value(11).isNull() ? -1 : q.value(11).toLongLong();
        r.outcome = q.value(12).toString();
        r.exitCode = q.value(13).isNull() ? -1 : q.value(13).toInt();
        r.verdict = q.value(14).toString();
        r.result = QJsonDocument::fromJson(q.value(15).toString().toUtf8()).object();
        r.prnuAfter = doubleOr(q.value(16));
        r.dsnuAfter = doubleOr(q.value(17));
        r.defectsAfter = q.value(18).isNull() ? -1 : q.value(18).toInt();
        index.insert(r.runId, int(out.size()));
        out.append(r);
    }
    const QString ofRuns = QStringLiteral(" WHERE run_id IN (SELECT run_id FROM runs WHERE %1)");
    if (!query(QStringLiteral("SELECT run_id, step_index, name, args, options, outcome, started_at, ended_at, "
                              "duration_ms, messages FROM steps")
                   + ofRuns + QStringLiteral(" ORDER BY run_id, step_index"),
               q))
        return false;
    while (q.next()) {
        const auto it = index.constFind(q.value(0).toString());
        if (it == index.constEnd()) continue;
        RecordStep s;
        s.index = q.value(1).toInt();
        s.name = q.value(2).toString();
        s.args = QJsonDocument::fromJson(q.value(3).toString().toUtf8()).array();
        s.options = QJsonDocument::fromJson(q.value(4).toString().toUtf8()).object();
        s.outcome = q.value(5).toString();
        s.started = parseRecordTime(q.value(6).toString());
        s.ended = parseRecordTime(q.value(7).toString());
        s.durationMs = q.value(8).isNull() ? -1 : q.value(8).toLongLong();
        s.messages = QJsonDocument::fromJson(q.value(9).toString().toUtf8()).array();
        out[*it].steps.append(s);
    }
    if (!query(QStringLiteral("SELECT run_id, step_index, name, plane, value, text FROM figures") + ofRuns
                   + QStringLiteral(" ORDER BY run_id, step_index"),
               q))
        return false;
    while (q.next()) {
        const auto it = index.constFind(q.value(0).toString());
        if (it == index.constEnd()) continue;
        // A plane as its key, also in runs stored before the keys.
        out[*it].figures.append(RecordFigure{q.value(1).toInt(), q.value(2).toString(),
                                             recordPlane(q.value(3).toString()), doubleOr(q.value(4)),
                                             q.value(5).toString()});
    }
    if (!query(QStringLiteral("SELECT run_id, step_index, path, sha256, bytes FROM files") + ofRuns
                   + QStringLiteral(" ORDER BY run_id, step_index, path"),
               q))
        return false;
    while (q.next()) {
        const auto it = index.constFind(q.value(0).toString());
        if (it == index.constEnd()) continue;
        out[*it].files.append(RecordFile{q.value(1).toInt(), q.value(2).toString(), q.value(3).toString(),
                                         q.value(4).isNull() ? -1 : q.value(4).toLongLong()});
    }
    return true;
}

bool RecordStore::runs(const QString& serial, QList<RunRecord>& out)
{
    return serial.isEmpty() ? load(QStringLiteral("1 = 1"), {}, out)
                            : load(QStringLiteral("serial = ?"), {serial}, out);
}

bool RecordStore::run(const QString& runId, RunRecord& out)
{
    QList<RunRecord> found;
    if (!load(QStringLiteral("run_id = ?"), {runId}, found)) return false;
    if (found.isEmpty()) {
        m_error.clear();
        return false;
    }
    out = found.first();
    return true;
}

bool RecordStore::serials(QStringList& out)
{
    out.clear();
    if (!m_open) return fail(QCoreApplication::translate("RecordStore", "记录数据库没有打开。"), QString());
    QSqlQuery q(QSqlDatabase::database(m_connection, false));
    if (!q.exec(QStringLiteral("SELECT DISTINCT serial FROM runs WHERE serial <> '' ORDER BY serial")))
        return fail(QCoreApplication::translate("RecordStore", "记录数据库 %1 无法读取").arg(m_where.shown()),
                    q.lastError().text());
    while (q.next()) out << q.value(0).toString();
    return true;
}

int RecordStore::count(const QString& runId)
{
    if (!m_open) return -1;
    QSqlQuery q(QSqlDatabase::database(m_connection, false));
    q.prepare(QStringLiteral("SELECT COUNT(*) FROM runs WHERE run_id = ?"));
    q.addBindValue(runId);
    if (!q.exec() || !q.next()) return -1;
    return q.value(0).toInt();
}

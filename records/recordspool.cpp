// The station's spool and the delivery of records (recordspool.h).
#include "records/recordspool.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QSaveFile>
#include <QSettings>
#include <QSysInfo>

#include <pwd.h>
#include <unistd.h>

namespace {

const QString kSuffix = QStringLiteral(".json");

// The spool's file of a run: its start time first, so that the names sort oldest first.
QString spoolName(const RunRecord& r)
{
    return r.started.toUTC().toString(QStringLiteral("yyyyMMdd'T'HHmmsszzz")) + QLatin1Char('-') + r.runId + kSuffix;
}

bool readResult(const QString& path, QJsonObject& out, QString* error)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) {
        *error = f.errorString();
        return false;
    }
    QJsonParseError parse{};
    const QJsonDocument doc = QJsonDocument::fromJson(f.readAll(), &parse);
    if (parse.error != QJsonParseError::NoError) {
        *error = QCoreApplication::translate("RecordSpool", "不是有效的 JSON（%1，第 %2 字节）")
                     .arg(parse.errorString())
                     .arg(parse.offset);
        return false;
    }
    if (!doc.isObject()) {
        *error = QCoreApplication::translate("RecordSpool", "不是 JSON 对象");
        return false;
    }
    out = doc.object();
    return true;
}

QString waitingText(int pending)
{
    return QCoreApplication::translate("RecordSpool", "共 %1 条记录等待发送，数据库恢复后自动发送").arg(pending);
}

}  // namespace

RecordSpool::RecordSpool(const QString& dir) : m_dir(dir) {}

bool RecordSpool::put(const QJsonObject& result, QString* error)
{
    RunRecord r;
    if (!recordFromResult(result, r, error)) return false;
    if (!QDir().mkpath(m_dir)) {
        *error = QCoreApplication::translate("RecordSpool", "无法创建文件夹 %1").arg(m_dir);
        return false;
    }
    QSaveFile f(QDir(m_dir).filePath(spoolName(r)));
    const QByteArray data = QJsonDocument(result).toJson(QJsonDocument::Indented);
    // Flushed before the commit: a commit does not see its own last flush fail (a full disk, a
    // size limit), and would leave a record cut short in the spool.
    if (!f.open(QIODevice::WriteOnly) || f.write(data) != data.size() || !f.flush() || !f.commit()) {
        *error = QCoreApplication::translate("RecordSpool", "无法写入 %1（%2）").arg(f.fileName(), f.errorString());
        f.cancelWriting();
        return false;
    }
    return true;
}

QStringList RecordSpool::pending() const
{
    QStringList out;
    const QDir dir(m_dir);
    for (const QString& name : dir.entryList({QStringLiteral("*") + kSuffix}, QDir::Files, QDir::Name))
        out << dir.filePath(name);
    return out;
}

RecordSpool::Sent RecordSpool::send(RecordStore& store)
{
    Sent s;
    for (const QString& path : pending()) {
        QJsonObject result;
        QString error;
        RunRecord r;
        if (!readResult(path, result, &error) || !recordFromResult(result, r, &error)) {
            // Left where it is for a person to look at; the others go on.
            s.errors << QCoreApplication::translate("RecordSpool", "暂存记录 %1 无法读取：%2。").arg(path, error);
            ++s.left;
            continue;
        }
        const RecordStore::Insert done = store.insert(r);
        if (done == RecordStore::Insert::Failed) {
            s.errors << store.error();
            ++s.left;
            continue;
        }
        (done == RecordStore::Insert::Stored ? s.stored : s.already)++;
        s.runIds << r.runId;
        // Held by the database now: a file that stays would only be found there again.
        QFile::remove(path);
    }
    return s;
}

Delivery sendSpool(const RecordLocation& where, const QString& spoolDir)
{
    Delivery d;
    RecordSpool spool(spoolDir);
    d.pending = int(spool.pending().size());
    if (d.pending == 0) return d;
    RecordStore store(where);
    if (!store.open()) {
        d.message = QCoreApplication::translate("RecordSpool", "%1；%2。").arg(store.error(), waitingText(d.pending));
        return d;
    }
    const RecordSpool::Sent sent = spool.send(store);
    d.othersSent = int(sent.runIds.size());
    d.sent = sent.runIds;
    d.pending = sent.left;
    if (!sent.errors.isEmpty()) d.message = sent.errors.join(QLatin1Char('\n'));
    return d;
}

Delivery deliverRecord(const QJsonObject& result, const RecordLocation& where, const QString& spoolDir)
{
    Delivery d;
    RunRecord record;
    QString error;
    if (!recordFromResult(result, record, &error)) {
        d.message = QCoreApplication::translate("RecordSpool", "记录无法保存：%1").arg(error);
        return d;
    }
    RecordSpool spool(spoolDir);
    QString spoolError;
    d.spooled = spool.put(result, &spoolError);

    RecordStore store(where);
    if (!store.open()) {
        d.pending = int(spool.pending().size());
        d.message =
            d.spooled ? QCoreApplication::translate("RecordSpool", "%1；本次记录已暂存在 %2，%3。")
                            .arg(store.error(), spool.dir(), waitingText(d.pending))
                      : QCoreApplication::translate("RecordSpool", "%1；记录也无法暂存（%2）：本次运行的记录没有保存。")
                            .arg(store.error(), spoolError);
        return d;
    }
    QStringList problems;
    if (!d.spooled) {
        // The spool cannot take it: straight into the database.
        problems << QCoreApplication::translate("RecordSpool", "记录无法暂存（%1）。").arg(spoolError);
        const RecordStore::Insert done = store.insert(record);
        d.stored = done != RecordStore::Insert::Failed;
        if (!d.stored) problems << store.error();
    }
    const RecordSpool::Sent sent = spool.send(store);
    if (sent.runIds.contains(record.runId)) {
        d.stored = true;
        d.spooled = false;
    }
    d.othersSent = int(sent.runIds.size()) - (sent.runIds.contains(record.runId) ? 1 : 0);
    d.sent = sent.runIds;
    if (d.stored && !d.sent.contains(record.runId)) d.sent << record.runId;
    d.pending = sent.left;
    problems += sent.errors;
    QString text;
    if (d.stored) {
        text = QCoreApplication::translate("RecordSpool", "记录已保存到 %1（运行编号 %2）。")
                   .arg(where.shown(), record.runId);
        if (d.othersSent > 0)
            text += QCoreApplication::translate("RecordSpool", "另有 %1 条暂存的记录已发送。").arg(d.othersSent);
    } else if (d.spooled) {
        text = QCoreApplication::translate("RecordSpool", "本次记录已暂存在 %1，%2。")
                   .arg(spool.dir(), waitingText(d.pending));
    }
    if (!problems.isEmpty())
        text += (text.isEmpty() ? QString() : QStringLiteral("\n")) + problems.join(QLatin1Char('\n'));
    d.message = text;
    return d;
}

RecordSettings readRecordSettings(const QString& iniPath, const QString& documentDir, const QString& dbOverride)
{
    RecordSettings s;
    const QSettings ini(iniPath, QSettings::IniFormat);
    const QString url = dbOverride.isEmpty() ? ini.value(QStringLiteral("Records/Url")).toString() : dbOverride;
    s.location = parseRecordLocation(url, documentDir, &s.error);
    s.station = ini.value(QStringLiteral("Station/Id")).toString().trimmed();
    if (s.station.isEmpty()) s.station = QSysInfo::machineHostName();
    s.spoolDir = QDir(documentDir).filePath(QStringLiteral("records-spool"));
    return s;
}

QString loginName()
{
    for (const char* name : {"USER", "LOGNAME"}) {
        const QString v = qEnvironmentVariable(name).trimmed();
        if (!v.isEmpty()) return v;
    }
    if (const passwd* pw = getpwuid(geteuid())) return QString::fromLocal8Bit(pw->pw_name);
    return QString::number(geteuid());
}

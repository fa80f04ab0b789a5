#pragma once
// The window's delivery of records, on a thread of its own: a database that does not answer
// holds this thread for its connect timeout, never the window. The window puts each run's record
// into the station's spool itself (a local file, at once, so that nothing waits in memory when
// the window closes) and asks this sender to send the spool; while records wait they are sent
// again every 30 s. A record the window could not spool comes here whole and is delivered as
// deliverRecord does.

#include "records/recordspool.h"

#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QStringList>

class QTimer;

class RecordSender : public QObject {
    Q_OBJECT
public:
    // The settings file and document folder of the station; read again at every delivery, so
    // that an edit of Records/Url or Station/Id counts at once.
    RecordSender(const QString& iniPath, const QString& documentDir);

    // The retry period while records wait.
    void setRetryInterval(int ms) { m_retryMs = ms; }

public slots:
    // Delivers a record the window could not spool.
    void submit(QJsonObject result);
    // Sends what waits in the spool, if anything.
    void retry();

signals:
    // After each delivery: the runs the database now holds, how many still wait, and what the
    // operator should hear (empty when all went well).
    void delivered(QStringList sent, int pending, QString message);
    // A record given to submit that neither the spool nor the database could take.
    void lost(QString runId, QString message);

private:
    void armRetry(int pending);

    QString m_iniPath;
    QString m_documentDir;
    int m_retryMs = 30000;
    QTimer* m_timer = nullptr;
};

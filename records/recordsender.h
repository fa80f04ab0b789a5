#pragma once
// The window's delivery of records, on a thread of its own: a database that does not answer
// holds this thread for its connect timeout, never the window. Records are submitted as run
// results (runrecord.h); each is spooled and sent as deliverRecord does, and while records wait
// in the spool they are sent again every 30 s.

#include "records/recordspool.h"

#include <QJsonObject>
#include <QObject>
#include <QString>

class QTimer;

class RecordSender : public QObject {
    Q_OBJECT
public:
    // The settings file and document folder of the station; read again at every delivery, so
    // that an edit of Records/Url or Station/Id counts at once.
    RecordSender(const QString& iniPath, const QString& documentDir);

    // The retry period while records wait; tests shorten it.
    void setRetryInterval(int ms) { m_retryMs = ms; }

public slots:
    void submit(QJsonObject result);
    // Sends what waits in the spool, if anything.
    void retry();

signals:
    // After each delivery: `runId` empty for a retry of the spool alone.
    void delivered(QString runId, bool stored, int pending, QString message);

private:
    void armRetry(int pending);

    QString m_iniPath;
    QString m_documentDir;
    int m_retryMs = 30000;
    QTimer* m_timer = nullptr;
};

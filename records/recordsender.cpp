// The window's delivery of records on a thread of its own (recordsender.h).
#include "records/recordsender.h"

#include <QTimer>

RecordSender::RecordSender(const QString& iniPath, const QString& documentDir)
    : m_iniPath(iniPath), m_documentDir(documentDir)
{}

void RecordSender::armRetry(int pending)
{
    if (!m_timer) {
        // Made on the sender's own thread, at its first delivery.
        m_timer = new QTimer(this);
        m_timer->setSingleShot(true);
        connect(m_timer, &QTimer::timeout, this, &RecordSender::retry);
    }
    if (pending > 0)
        m_timer->start(m_retryMs);
    else
        m_timer->stop();
}

void RecordSender::submit(QJsonObject result)
{
    const RecordSettings s = readRecordSettings(m_iniPath, m_documentDir);
    const Delivery d = deliverRecord(result, s.location, s.spoolDir);
    armRetry(d.pending);
    if (!d.stored && !d.spooled) emit lost(result.value(QLatin1String("runId")).toString(), d.message);
    emit delivered(d.sent, d.pending, d.message);
}

void RecordSender::retry()
{
    const RecordSettings s = readRecordSettings(m_iniPath, m_documentDir);
    const Delivery d = sendSpool(s.location, s.spoolDir);
    armRetry(d.pending);
    emit delivered(d.sent, d.pending, d.message);
}

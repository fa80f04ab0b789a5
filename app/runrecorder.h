#pragma once
// The window's records: one record per workflow the operator runs (dark field, bright field,
// write-downs, exposure test, flat field, lens shading, verification) and per file saved from the
// window, in the shape of the runner's result (records/runrecord.h) with source "window".
//
// It listens to the server rather than to the workflow slots: each IS_xxx signal the window emits
// opens a run with the options it carries; the procedure's reports go into the run's messages;
// once the procedure's slot has left the worker (a call queued behind it there), the run closes
// with "ok" (a report of 100), "failed" (above 100) or "cancelled" (neither), and its figures are
// read from the server as the procedure left them. The record is put into the station's spool at
// once and sent from a thread of its own, so that neither the window nor the operator waits for
// the database.

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QThread>
#include <QVector>

#include "calibration/verifystats.h"

class CameraServer;
class RecordSender;

class RunRecorder : public QObject {
    Q_OBJECT
public:
    // Must outlive the server's worker (the window deletes its server first).
    RunRecorder(CameraServer* server, QObject* parent);
    ~RunRecorder() override;

    // Files the operator saved from the window: a record of their own, with their SHA-256.
    void fileSaved(const QString& step, const QStringList& paths);
    // Asks for the spool to be sent now.
    void sendNow();
    // Records waiting in the spool after the last delivery.
    int pending() const { return m_pending; }
    RecordSender* sender() const { return m_sender; }

signals:
    // The runs the database now holds, how many still wait, and what the operator should hear.
    void delivered(QStringList sent, int pending, QString message);
    // A record that neither the spool nor the database could take.
    void recordLost(QString message);

private:
    struct Active {
        QString runId;
        QString step;
        QJsonObject options;
        QJsonObject camera;
        QDateTime started;
        QJsonArray messages;
        bool finished = false;  // a report of 100
        bool failed = false;    // a report above 100
        bool hasReport = false;
        VerifyReport report;
        QVector<double> exposures;  // of an exposure test
    };

    void begin(const QString& step, const QJsonObject& options = QJsonObject());
    void ended();
    QJsonObject figuresOf(const Active& run) const;
    QJsonObject cameraJson() const;
    QJsonObject resultOf(const QString& runId, const QJsonObject& camera, const QDateTime& started,
                         const QJsonObject& step) const;
    void record(const QJsonObject& result);
    void onDelivered(const QStringList& sent, int pending, const QString& message);

    CameraServer* m_server = nullptr;
    QThread m_thread;
    RecordSender* m_sender = nullptr;
    QList<Active> m_active;
    int m_pending = 0;
};

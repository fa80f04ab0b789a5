// The window's records (runrecorder.h).
//
// A workflow's record, step by step:
//  1. the window emits IS_xxx; the server's own connection queues the slot on the worker, then
//     ours opens the run (its id, the camera, the start, the options of the signal) and queues a
//     call on the worker behind the slot;
//  2. the procedure's reports (OS_FpnInfo) and results (OS_VerifyFinished, OS_ExpTestFinished)
//     go into the oldest open run, the one on the worker;
//  3. the queued call runs when the slot has left the worker and comes back here: the run closes,
//     its figures are read from the server as the procedure left them (step figures,
//     records/stepfigures.h), and its result goes into the station's spool;
//  4. the sender's thread sends the spool to the database.
#include "app/runrecorder.h"

#include "camera/cameraserver.h"
#include "camera/properties.h"
#include "camera/settingranges.h"
#include "camera/tables.h"
#include "loader.h"
#include "records/recordsender.h"
#include "records/recordspool.h"
#include "records/stepfigures.h"

#include <QSettings>
#include <QUuid>

#include <limits>

namespace {

QString goalText(float goal)
{
    if (goal < 0.0f) return QStringLiteral("mean");
    if (goal <= 1.0f) return QStringLiteral("rate:%1").arg(double(goal));
    return QStringLiteral("level:%1").arg(double(goal));
}

}  // namespace

RunRecorder::RunRecorder(CameraServer* server, QObject* parent) : QObject(parent), m_server(server)
{
    m_sender = new RecordSender(fpnIniPath(), documentDir());
    m_sender->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_sender, &QObject::deleteLater);
    connect(m_sender, &RecordSender::delivered, this, &RunRecorder::onDelivered);
    connect(m_sender, &RecordSender::lost, this,
            [this](const QString&, const QString& message) { emit recordLost(message); });
    m_thread.setObjectName(QStringLiteral("records"));
    m_thread.start();

    CameraServer* s = m_server;
    connect(s, &CameraServer::IS_DSNUStart, this, [this](bool autoDoffset) {
        begin(QStringLiteral("dark"), {{QStringLiteral("auto-doffset"), autoDoffset}});
    });
    connect(s, &CameraServer::IS_FpnStart, this, [this] { begin(QStringLiteral("bright")); });
    connect(s, &CameraServer::IS_FpnWriteDown, this, [this](int sel) {
        const QString set = sel == 1 ? QStringLiteral("factory") : m_server->currentSelection(properties::kFpnSelKey);
        begin(QStringLiteral("write-fpn"), {{QStringLiteral("set"), set}});
    });
    connect(s, &CameraServer::IS_ExpTest, this, [this](int count) {
        begin(QStringLiteral("exposure-test"), {{QStringLiteral("exposures"), count}});
    });
    connect(s, &CameraServer::IS_ApplyFFC, this, [this](cv::Mat picture, cv::Mat, float goal) {
        begin(QStringLiteral("ffc"),
              {{QStringLiteral("goal"), goalText(goal)},
               {QStringLiteral("source"), picture.empty() ? QStringLiteral("camera") : QStringLiteral("picture")}});
    });
    connect(s, &CameraServer::IS_FFCWriteDown, this, [this](int, QString set) {
        begin(QStringLiteral("write-ffc"), {{QStringLiteral("set"), set}});
    });
    connect(s, &CameraServer::IS_ApplyLSC, this, [this](float goal) {
        begin(QStringLiteral("lsc"), {{QStringLiteral("goal"), goalText(goal)}});
    });
    connect(s, &CameraServer::IS_LSCWriteDown, this, [this](int, QString set) {
        begin(QStringLiteral("write-lsc"), {{QStringLiteral("set"), set}});
    });
    connect(s, &CameraServer::IS_VerifyStart, this, [this] { begin(QStringLiteral("verify")); });

    connect(s, &CameraServer::OS_FpnInfo, this, [this](int progress, const QString& text) {
        if (m_active.isEmpty()) return;
        Active& run = m_active.first();
        run.messages.append(QJsonObject{{QStringLiteral("progress"), progress}, {QStringLiteral("text"), text}});
        if (progress == 100) run.finished = true;
        if (progress > 100) run.failed = true;
    });
    connect(s, &CameraServer::OS_VerifyFinished, this, [this](const VerifyReport& report) {
        if (m_active.isEmpty()) return;
        m_active.first().report = report;
        m_active.first().hasReport = true;
    });
    connect(s, &CameraServer::OS_ExpTestFinished, this, [this](const QVector<double>& exposures, QList<cv::Mat>) {
        if (!m_active.isEmpty()) m_active.first().exposures = exposures;
    });

    // What an earlier session left in the spool goes first.
    sendNow();
}

RunRecorder::~RunRecorder()
{
    // A delivery under way ends within the database's connect timeout; what has not gone yet
    // waits in the spool for the next start.
    m_thread.quit();
    m_thread.wait();
}

void RunRecorder::sendNow()
{
    QMetaObject::invokeMethod(m_sender, &RecordSender::retry, Qt::QueuedConnection);
}

QJsonObject RunRecorder::cameraJson() const
{
    if (!m_server->m_opened) return QJsonObject();
    const QString name = m_server->cameraName();
    return cameraResultJson(name, m_server->cameraInfo(name));
}

void RunRecorder::begin(const QString& step, const QJsonObject& options)
{
    Active run;
    run.runId = QUuid::createUuid().toString(QUuid::WithoutBraces);
    run.step = step;
    run.options = options;
    run.camera = cameraJson();
    run.started = QDateTime::currentDateTimeUtc();
    m_active.append(run);
    // Queued behind the procedure's slot: it runs when the slot has left the worker, and every
    // report the slot made is on its way here ahead of it.
    QMetaObject::invokeMethod(
        m_server, [this] { QMetaObject::invokeMethod(this, &RunRecorder::ended, Qt::QueuedConnection); },
        Qt::QueuedConnection);
}

QJsonObject RunRecorder::figuresOf(const Active& run) const
{
    const QSettings ini(fpnIniPath(), QSettings::IniFormat);
    // The settings as the procedures read them: a value out of its range is no figure (null).
    auto setting = [&ini](const QString& key) {
        const SettingValue v = checkSetting(key, ini.value(key));
        return v.ok() ? v.value : std::numeric_limits<double>::quiet_NaN();
    };
    const CameraServer& s = *m_server;
    const double gainMin = setting(FpnIni::GainMin);
    // An absent GainMax is filled in by the calibration by the kind of camera.
    const double gainMax = ini.contains(FpnIni::GainMax) ? setting(FpnIni::GainMax)
                                                          : FpnIni::gainMaxCalibrationDefault(s.m_isLinescan);
    if (run.step == QLatin1String("dark"))
        return darkStepFigures(s.m_bList, setting(FpnIni::DOffset), gainMin, gainMax,
                               run.options.value(QLatin1String("auto-doffset")).toBool());
    if (run.step == QLatin1String("bright"))
        return brightStepFigures(s.m_kList, s.m_kScaleList, int(s.m_kPoints.size()),
                                 exposuresFromMessages(run.messages), gainMin, gainMax,
                                 setting(FpnIni::PixelMax));
    if (run.step == QLatin1String("ffc")) return flatStepFigures(true, s.m_ffcKList);
    if (run.step == QLatin1String("lsc")) return flatStepFigures(false, s.m_lscPolyList);
    if (run.step == QLatin1String("verify") && run.hasReport) return verifyStepFigures(run.report);
    if (run.step == QLatin1String("exposure-test")) {
        QJsonArray exposures;
        for (double e : run.exposures) exposures.append(e);
        return QJsonObject{{QStringLiteral("exposures"), exposures}};
    }
    if (run.step.startsWith(QLatin1String("write-"))) return run.options;
    return QJsonObject();
}

void RunRecorder::ended()
{
    if (m_active.isEmpty()) return;
    const Active run = m_active.takeFirst();
    const QDateTime ended = QDateTime::currentDateTimeUtc();
    QString outcome = run.failed     ? QStringLiteral("failed")
                      : run.finished ? QStringLiteral("ok")
                                     : QStringLiteral("cancelled");
    QJsonObject figures;
    if (outcome == QLatin1String("ok")) {
        figures = figuresOf(run);
        if (run.step == QLatin1String("verify") && run.hasReport && !reportPasses(run.report))
            outcome = QStringLiteral("limits");
    }
    QJsonObject step{{QStringLiteral("step"), run.step},
                     {QStringLiteral("args"), QJsonArray()},
                     {QStringLiteral("options"), run.options},
                     {QStringLiteral("outcome"), outcome},
                     {QStringLiteral("startedAt"), recordTime(run.started)},
                     {QStringLiteral("endedAt"), recordTime(ended)},
                     {QStringLiteral("durationMs"), double(run.started.msecsTo(ended))},
                     {QStringLiteral("messages"), run.messages}};
    if (!figures.isEmpty()) step.insert(QStringLiteral("figures"), figures);
    QJsonObject result = resultOf(run.runId, run.camera, run.started, step);
    result.insert(QStringLiteral("endedAt"), recordTime(ended));
    result.insert(QStringLiteral("durationMs"), double(run.started.msecsTo(ended)));
    record(result);
}

void RunRecorder::fileSaved(const QString& step, const QStringList& paths)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QJsonArray files, digests;
    for (const QString& path : paths) {
        const RecordFile d = fileDigest(path);
        files.append(path);
        digests.append(QJsonObject{{QStringLiteral("path"), d.path},
                                   {QStringLiteral("sha256"), d.sha256},
                                   {QStringLiteral("bytes"), double(d.bytes)}});
    }
    const QJsonObject entry{{QStringLiteral("step"), step},
                            {QStringLiteral("args"), QJsonArray::fromStringList(paths)},
                            {QStringLiteral("options"), QJsonObject()},
                            {QStringLiteral("outcome"), QStringLiteral("ok")},
                            {QStringLiteral("startedAt"), recordTime(now)},
                            {QStringLiteral("endedAt"), recordTime(now)},
                            {QStringLiteral("durationMs"), 0},
                            {QStringLiteral("messages"), QJsonArray()},
                            {QStringLiteral("files"), files},
                            {QStringLiteral("fileDigests"), digests}};
    record(resultOf(QUuid::createUuid().toString(QUuid::WithoutBraces), cameraJson(), now, entry));
}

QJsonObject RunRecorder::resultOf(const QString& runId, const QJsonObject& camera, const QDateTime& started,
                                  const QJsonObject& step) const
{
    const RecordSettings settings = readRecordSettings(fpnIniPath(), documentDir());
    return QJsonObject{{QStringLiteral("runId"), runId},
                       {QStringLiteral("source"), QStringLiteral("window")},
                       {QStringLiteral("station"), settings.station},
                       {QStringLiteral("operator"), loginName()},
                       {QStringLiteral("startedAt"), recordTime(started)},
                       {QStringLiteral("endedAt"), step.value(QLatin1String("endedAt"))},
                       {QStringLiteral("durationMs"), step.value(QLatin1String("durationMs"))},
                       {QStringLiteral("library"), QString::fromStdString(lsx::boundLibraryPath())},
                       {QStringLiteral("camera"), camera},
                       {QStringLiteral("steps"), QJsonArray{step}},
                       {QStringLiteral("outcome"), step.value(QLatin1String("outcome"))}};
}

void RunRecorder::record(const QJsonObject& result)
{
    // Into the spool at once, on this thread: a local file, and nothing left in memory when the
    // window closes. A record the spool cannot take goes to the sender whole.
    const RecordSettings settings = readRecordSettings(fpnIniPath(), documentDir());
    QString error;
    if (RecordSpool(settings.spoolDir).put(result, &error)) {
        sendNow();
        return;
    }
    QMetaObject::invokeMethod(
        m_sender, [sender = m_sender, result] { sender->submit(result); }, Qt::QueuedConnection);
}

void RunRecorder::onDelivered(const QStringList& sent, int pending, const QString& message)
{
    m_pending = pending;
    emit delivered(sent, pending, message);
}

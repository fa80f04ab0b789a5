// CameraServer: construction and teardown of the worker, opening and closing the camera,
// enumeration, model detection, the factory record and the flag setters.
#include "cameraserver.h"

#include "statustext.h"
#include "tables.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QThread>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <pthread.h>

namespace {

// The close hands over to a running capture loop by this pause alone: nothing waits for the
// loop to end.
constexpr unsigned long kCloseHandOverMs = 500;
// After the hard terminate, how long the teardown lets the kill take effect before it gives
// up on deleting the thread object (a running QThread must not be deleted).
constexpr unsigned long kTerminateSettleMs = 3000;
// How long an idle worker gets to leave its event loop after quit.
constexpr unsigned long kIdleQuitGraceMs = 100;

// After the camera is closed, how long the close waits for the worker to leave its slot before
// it gives up handing over (the worker's waits end when the library answers for the closed handle).
constexpr int kCloseWorkerGraceMs = 1000;

constexpr uint8_t kDefaultMaxK = 2;
constexpr uint8_t kDefaultMaxB = 64;
// The most sensor lines with their own FPN data that the program takes from the camera: the
// image of a measurement is 1000 rows per line.
constexpr uint32_t kMaxSensorLines = 16;

// The status the process ends with when the worker is stuck at teardown; -1: kill the worker.
std::atomic<int> g_exitWhenStuck{-1};

bool textContains(const char* field, std::size_t capacity, const char* what)
{
    return cameraInfoText(field, capacity).contains(QLatin1String(what), Qt::CaseInsensitive);
}

}  // namespace

CameraServer::CameraServer() : QObject(nullptr), m_thread(new QThread(this))
{
    moveToThread(m_thread);
    // A kill must never land while the finishing thread tears down its event dispatcher (that
    // would abort the process): from "finished" on, the worker ignores terminate.
    connect(
        m_thread, &QThread::finished, m_thread, [] { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr); },
        Qt::DirectConnection);
    m_thread->start(QThread::InheritPriority);

    // Made after the move: the settings object stays on the GUI thread; the worker makes its own.
    m_settings = new QSettings(documentDir() + QStringLiteral("/FPN.ini"), QSettings::IniFormat);
    if (!m_settings->isWritable())
        m_warned.append(tr("参数文件 %1 无法写入，本次修改的设置将不会被保存。").arg(m_settings->fileName()));

    // The receiver lives on the worker now, so the automatic type queues every call there.
    connect(this, qOverload<bool>(&CameraServer::IS_Capture), this, &CameraServer::capture);
    connect(this, &CameraServer::IS_DSNUStart, this, &CameraServer::dsnuStart);
    connect(this, &CameraServer::IS_FpnStart, this, &CameraServer::fpnStart);
    connect(this, &CameraServer::IS_FpnWriteDown, this, &CameraServer::fpnWriteDown);
    connect(this, &CameraServer::IS_ExpTest, this, &CameraServer::expTest);
    connect(this, &CameraServer::IS_ApplyFFC, this, &CameraServer::applyFFC);
    connect(this, &CameraServer::IS_SaveFFC, this, &CameraServer::saveFFC);
    connect(this, &CameraServer::IS_FFCWriteDown, this, &CameraServer::ffcWriteDown);
    connect(this, &CameraServer::IS_ApplyLSC, this, &CameraServer::applyLSC);
    connect(this, &CameraServer::IS_SavaLSC, this, &CameraServer::saveLSC);
    connect(this, &CameraServer::IS_LSCWriteDown, this, &CameraServer::lscWriteDown);
    connect(this, &CameraServer::IS_VerifyStart, this, &CameraServer::verifyStart);
    connect(this, &CameraServer::IS_RestoreBackup, this, &CameraServer::restoreBackup);
}

CameraServer::~CameraServer()
{
    close();
    m_thread->quit();
    // An idle worker leaves its event loop at once. One still inside a procedure, whose library
    // did not let go when the camera closed, is not awaited: the grace below is only long
    // enough for an idle loop to notice the quit.
    if (!m_thread->wait(kIdleQuitGraceMs)) {
        const int status = g_exitWhenStuck.load();
        if (status >= 0) {
            qDebug() << "worker busy, process ends";
            m_settings->sync();
            std::fflush(nullptr);
            std::_Exit(status);
        }
        qDebug() << "worker busy, terminate";
        m_thread->terminate();
    }
    // The thread object is our child and lives on the worker; take it out of the children so
    // that QObject's teardown never deletes it while the kill is still under way.
    QThread* thread = m_thread;
    m_thread = nullptr;
    thread->setParent(nullptr);
    if (thread->wait(kTerminateSettleMs))
        delete thread;
    else
        qDebug() << "worker thread did not end after terminate, left behind";

    m_settings->sync();
    delete m_settings;
    m_settings = nullptr;
    delete m_workerSettings;
    m_workerSettings = nullptr;
}

void CameraServer::exitWhenWorkerStuck(int status)
{
    g_exitWhenStuck = status;
}

QSettings& CameraServer::settings()
{
    if (QThread::currentThread() != m_thread || !m_thread) return *m_settings;
    if (!m_workerSettings) m_workerSettings = new QSettings(m_settings->fileName(), QSettings::IniFormat);
    return *m_workerSettings;
}

void CameraServer::syncSettings()
{
    QSettings& s = settings();
    s.sync();
    if (s.status() == QSettings::AccessError)
        warnOnce(tr("参数文件 %1 无法写入，本次修改的设置将不会被保存。").arg(s.fileName()));
}

void CameraServer::warnOnce(const QString& text)
{
    qDebug() << text;
    if (m_warned.contains(text)) return;
    m_warned.append(text);
    emit OS_CameraWarning(text);
}

bool CameraServer::waitWorkerIdle(int ms) const
{
    QDeadlineTimer deadline(ms);
    while (workerBusy() && QThread::currentThread() != m_thread) {
        if (deadline.hasExpired()) return false;
        QThread::msleep(5);
    }
    return true;
}

QString CameraServer::backupPath(const QString& name) const
{
    return documentDir() + QStringLiteral("/%1.ini").arg(name);
}

QStringList CameraServer::enumerate()
{
    cameraInfoMap = QMap<QString, lsxCameraInfo>();
    QStringList names;
    int32_t count = 0;
    lsxRefresh(&count);
    if (count <= 0) return names;
    for (int32_t index = 0; index < count; ++index) {
        lsxCameraInfo info;
        std::memset(&info, 0, sizeof info);
        if (lsxEnum(index, &info) != LSX_OK) continue;
        const QString name = cameraInfoText(info.friendlyName, sizeof info.friendlyName);
        names.append(name);
        cameraInfoMap.insert(name, info);
    }
    return names;
}

lsxCameraInfo CameraServer::cameraInfo(const QString& name) const
{
    lsxCameraInfo zero;
    std::memset(&zero, 0, sizeof zero);
    return cameraInfoMap.value(name, zero);
}

void CameraServer::open(const QString& name)
{
    if (name == m_cameraName && m_opened) return;
    close();

    // A handle whose close failed is closed again first: it may still hold the camera.
    lsxStatus staleClose = LSX_OK;
    if (m_staleHandle) {
        staleClose = lsxClose(*m_staleHandle);
        if (staleClose == LSX_OK) m_staleHandle.reset();
    }

    const int32_t mode = factoryMode() ? LSX_OPEN_FACTORY : LSX_OPEN_NORMAL;
    const QByteArray localName = name.toLocal8Bit();
    const lsxStatus status = lsxOpenByName(localName.constData(), mode, &m_handle);
    if (status != LSX_OK) {
        emit OS_OpenCameraFailed(status);
        qDebug() << "open camera failed with : " << status;
        if (m_staleHandle && status == LSX_ERR_ALREADY_OPEN)
            emit OS_CameraWarning(
                tr("相机仍被上一次未能关闭的连接占用（关闭出错：%1-%2）。请重新插拔相机或重启程序后再连接。")
                    .arg(staleClose)
                    .arg(statusText(staleClose)));
        return;
    }
    m_opened = true;
    m_closing = false;
    m_cameraName = name;

    // The camera's state as found, put back at close.
    const lsxStatus saved = lsxSaveConfig(m_handle, backupPath(name).toLocal8Bit().constData());
    if (saved != LSX_OK)
        warnOnce(
            tr("无法备份相机当前状态（%1-%2），断开连接时将无法恢复相机原有设置。").arg(saved).arg(statusText(saved)));

    lsxCameraInfo info;
    std::memset(&info, 0, sizeof info);
    if (lsxGetCameraInfo(m_handle, &info) == LSX_OK) cameraInfoMap.insert(name, info);

    m_maxK = kDefaultMaxK;
    m_maxB = kDefaultMaxB;
    if (cameraInfoMap.contains(name)) {
        const lsxCameraInfo& known = cameraInfoMap[name];
        const bool isLine = textContains(known.cameraType, sizeof known.cameraType, "LineScan");
        // A line-scan type text wins: the sensor text is then not looked at.
        const bool isK = !isLine && textContains(known.sensor, sizeof known.sensor, "K317");
        if (isK) {
            m_isLinescan = false;
            m_isTvk317 = true;
            m_supportMLK = 0;
            m_lineCount = 1;
        } else {
            m_isLinescan = true;
            m_isTvk317 = false;
            emit OS_IsLinescan(isLine);
        }
        emit OS_IsTVK317(m_isTvk317);

        if (isLine) {
            const lsxStatus doffset = fpnReadDoffset();
            if (doffset != LSX_OK)
                qDebug() << tr("读取DOffset出错，错误原因：%1-%2.").arg(doffset).arg(statusText(doffset));
            readFactoryRecord();
            readLineCount();
        } else {
            m_maxK = kDefaultMaxK;
            m_maxB = kDefaultMaxB;
        }
    }

    qDebug() << "-----------  : " << m_lineCount << " - " << m_roiHeight << " - " << m_supportMLK;

    m_settings->setValue(FpnIni::MaxK, m_maxK);
    m_settings->setValue(FpnIni::MaxB, m_maxB);
    syncSettings();

    // The station's configuration file; a file missing or refused leaves the camera as it opened,
    // and the operator is told.
    const QString config = m_settings->value(FpnIni::CameraConfig, FpnIni::CameraConfigDefault).toString();
    if (!config.isEmpty()) {
        const QString path = QDir(config).absolutePath();
        const bool exists = QFileInfo::exists(path);
        const lsxStatus loaded = exists ? lsxLoadConfig(m_handle, path.toLocal8Bit().constData()) : LSX_ERR_FILE_OPEN;
        if (loaded != LSX_OK) {
            qDebug() << "Load " << config << " failed with " << loaded;
            emit OS_CameraWarning(
                exists
                    ? tr("相机配置文件 %1 加载失败，错误原因：%2-%3。相机保持打开时的设置。")
                          .arg(path)
                          .arg(loaded)
                          .arg(statusText(loaded))
                    : tr("相机配置文件 %1 不存在（设置 %2）。相机保持打开时的设置。").arg(path, FpnIni::CameraConfig));
        }
    }
}

void CameraServer::readFactoryRecord()
{
    lsxFactoryRecord record;
    std::memset(&record, 0, sizeof record);
    uint32_t size = sizeof record;
    if (lsxGet(m_handle, LSX_KEY_FACTORY, &record, &size) == LSX_OK) {
        m_maxK = record.maxK;
        m_maxB = record.maxB;
        qDebug() << tr("读取工厂参数成功 ：") << m_maxK << " -- " << m_maxB;
        m_supportMLK = (record.flags >> LSX_FACTORY_MLK_BIT) & 1u;
    } else {
        m_maxK = kDefaultMaxK;
        m_maxB = kDefaultMaxB;
    }
    // A record never written holds zeros: each one falls back alone.
    if (m_maxB == 0) m_maxB = kDefaultMaxB;
    if (m_maxK == 0) m_maxK = kDefaultMaxK;
}

void CameraServer::readLineCount()
{
    m_lineCount = 1;
    m_roiHeight = 1000;
    if (!m_isLinescan) return;
    uint32_t value = 0;
    if (lsxReadGenICamReg(m_handle, GVR_MULTI_FPN_SELECT, &value) != LSX_OK) return;
    qDebug() << "read GVR_MULTI_FPN_SELECT : " << value;
    if (value != 0 && value != LSX_REG_UNSUPPORTED && value > kMaxSensorLines) {
        warnOnce(
            tr("相机报告的传感器行数 %1 不合理（应为 1 到 %2），按单行传感器处理。").arg(value).arg(kMaxSensorLines));
        return;
    }
    if (value != 0 && value != LSX_REG_UNSUPPORTED) {
        m_lineCount = static_cast<int32_t>(value);
        m_roiHeight = static_cast<int32_t>(value) * 1000;
    }
}

void CameraServer::close()
{
    if (m_opened) {
        m_closing = true;
        {
            QWriteLocker lock(&m_lock);
            m_stopCapture = true;
        }
        qDebug() << "stopCapture();";
        // The hand-over to a running capture loop; with no slot on the worker there is nothing
        // to hand over.
        if (workerBusy()) QThread::msleep(kCloseHandOverMs);
        // The state found at open goes back, and then what the write-downs reported stays.
        const lsxStatus restored = lsxLoadConfig(m_handle, backupPath(m_cameraName).toLocal8Bit().constData());
        keepWrittenSets(restored == LSX_OK);
        const lsxStatus status = lsxClose(m_handle);
        if (status != LSX_OK) {
            // The handle is dropped all the same: the camera counts as closed, and the next open
            // closes that handle again before it opens.
            qDebug() << "close camera failed with : " << status;
            m_staleHandle = m_handle;
            emit OS_CameraWarning(tr("关闭相机 %1 出错，错误原因：%2-%3。连接已释放，再次连接时会重新关闭它。")
                                      .arg(m_cameraName)
                                      .arg(status)
                                      .arg(statusText(status)));
        } else {
            qDebug() << "lsxClose";
        }
        m_opened = false;
    }
    // The worker's waits end once the library answers for the closed handle; what it reads is
    // not rewritten under it.
    if (!waitWorkerIdle(kCloseWorkerGraceMs)) {
        qDebug() << "worker still busy after close: coefficients kept until it ends";
        return;
    }
    m_closing = false;
    clearCoefficients();
}

void CameraServer::clearCoefficients()
{
    m_kList.clear();
    m_bList.clear();
    m_ffcKList.clear();
    m_lscPolyList.clear();
    m_lscKList.clear();
    m_flatEnable = false;
    QWriteLocker lock(&m_lock);
    m_fpnEnabled = false;
    m_lscEnabled = false;
}

void CameraServer::showPropertyDialog(uintptr_t parent)
{
    if (!m_opened) return;
    const lsxStatus status = lsxShowPropertyModalDialog(m_handle, parent);
    if (status != LSX_OK) qDebug() << "show property dialog failed with : " << status;
}

bool CameraServer::factoryMode()
{
    // Synced first, so that an outside edit of the file counts at once.
    settings().sync();
    return settings().value(FpnIni::Factory, FpnIni::FactoryDefault).toBool();
}

void CameraServer::stopCapture()
{
    QWriteLocker lock(&m_lock);
    m_stopCapture = true;
}

void CameraServer::cancel()
{
    QWriteLocker lock(&m_lock);
    m_cancel = true;
}

void CameraServer::setFpnEnabled(bool on)
{
    QWriteLocker lock(&m_lock);
    m_fpnEnabled = on;
}

void CameraServer::setFilterEnabled(bool on)
{
    QWriteLocker lock(&m_lock);
    m_filterEnabled = on;
}

bool CameraServer::setFfcEnabled(bool on)
{
    if (on) {
        // The gains must fit the image as it is now: one per ROI column.
        if (m_ffcKList.isEmpty()) return false;
        lsxRegion roi;
        std::memset(&roi, 0, sizeof roi);
        if (lsxGetRoi(m_handle, &roi) != LSX_OK) return false;
        if (m_ffcKList.first().size() != roi.W) return false;
    }
    QWriteLocker lock(&m_lock);
    m_ffcEnabled = on;
    return true;
}

bool CameraServer::setLscEnabled(bool on)
{
    // Refused either way when no lens shading exists: the caller then unchecks its box.
    if (m_lscKList.isEmpty()) return false;
    lsxRegion roi;
    std::memset(&roi, 0, sizeof roi);
    if (lsxGetRoi(m_handle, &roi) != LSX_OK) return false;
    QWriteLocker lock(&m_lock);
    m_lscEnabled = on;
    return true;
}

void CameraServer::setSum(int sum)
{
    QWriteLocker lock(&m_lock);
    m_sum = sum;
}

// Kept as slots for the window's signals; the parameter files are written on the GUI thread.
void CameraServer::saveFFC(QString) {}
void CameraServer::saveLSC() {}

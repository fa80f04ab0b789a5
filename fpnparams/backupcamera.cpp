// CameraServer: what a write into the camera overwrites, kept before it is written and written
// back on request; and the camera as it is left at close.
//
// The operator's story of a write-down, as far as this file tells it:
//  1. before the question, the window (or the runner) asks planBackup what will be kept: the file
//     the backup will go to, or why this camera's set cannot be read back (a camera library that
//     cannot read it, the TVK317 family, a multi-line sensor, a multi-level factory set, any lens
//     shading set);
//  2. on the worker, just before the first record, backupBeforeWrite reads the set the write goes
//     to (the FPN record of key 45 at every gain of the calibration, as the bright field reads the
//     camera's dark data; the flat-field memory window of the set) and saves it; a read that
//     fails for another reason than "not supported" stops the write, so that nothing is
//     overwritten that was meant to be kept;
//  3. a write that fails half way writes the backup back through the same records (fpnRecover);
//  4. "恢复写入前参数" (restoreBackup) checks the file against the open camera, keeps the set as it
//     is now in a backup of its own, and writes the file's set back through the same records.
// At close, the state found at open is put back and then what the write-downs of this opening
// reported goes back in place: the written FPN set selected and switched on with the DOffset it
// was measured at, the flat-field and lens-shading sets selected and switched on. What the camera
// holds then is read into cameraLeft.
#include "camera/cameraserver.h"

#include "calibration/brightstats.h"
#include "calibration/darkstats.h"
#include "camera/settingranges.h"
#include "camera/tables.h"
#include "flatfield/ffcrecord.h"
#include "fpnparams/fpnrecord.h"
#include "statustext.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr int kBackupProgress = 5;
// More gains than any camera has: the read stops there.
constexpr int kMaxBackupGains = 64;

// The FPN record of the set "FPNC.Selector" chooses, at the current gain, as the program reads it
// (the whole sensor, planes interleaved by column): the block of `pairs` pairs, the head first.
lsxStatus readFpnRecord(lsxHandle handle, uint32_t pairs, std::vector<uint8_t>& record)
{
    record.assign(size_t(pairs) * 8 + sizeof(lsxFpnHeader), 0);
    auto* head = reinterpret_cast<lsxFpnHeader*>(record.data());
    head->columns = pairs;
    head->lines = 1;
    head->dataSize = pairs * 8;
    head->data = record.data() + sizeof(lsxFpnHeader);
    uint32_t size = uint32_t(record.size());
    return lsxGet(handle, LSX_KEY_FPN, record.data(), &size);
}

// The set as a message names it: its name, or the current one where the camera did not tell it.
QString setWords(const QString& set)
{
    return set.isEmpty() ? QCoreApplication::translate("CameraServer", "当前的参数组")
                         : QCoreApplication::translate("CameraServer", "参数组 %1 ").arg(set);
}

QList<QList<double>> widened(const QList<QList<float>>& rows)
{
    QList<QList<double>> out;
    for (const QList<float>& r : rows) {
        QList<double> d;
        d.reserve(r.size());
        for (float v : r) d.append(double(v));
        out.append(d);
    }
    return out;
}

}  // namespace

QString CameraServer::writeKindName(WriteKind kind)
{
    switch (kind) {
    case WriteKind::Fpn: return QStringLiteral("FPN");
    case WriteKind::Ffc: return QStringLiteral("FFC");
    case WriteKind::Lsc: return QStringLiteral("LSC");
    }
    return QString();
}

QString CameraServer::backupFolder()
{
    return documentDir() + QStringLiteral("/backup");
}

CameraBackup CameraServer::backupHead(WriteKind kind, const QString& set) const
{
    CameraBackup b;
    b.kind = kind == WriteKind::Ffc ? CameraBackup::Kind::Ffc : CameraBackup::Kind::Fpn;
    const lsxCameraInfo info = cameraInfo(m_cameraName);
    b.camera = backupText(m_cameraName);
    b.model = backupText(cameraInfoText(info.model, sizeof info.model));
    b.serial = backupText(cameraInfoText(info.serialNumber, sizeof info.serialNumber));
    b.set = backupText(set);
    b.time = QDateTime::currentDateTime();
    return b;
}

QString CameraServer::newBackupPath(WriteKind kind, const QString& set) const
{
    const QString stem = backupFolder() + QLatin1Char('/') + backupFileName(backupHead(kind, set));
    // Two backups of one set within a second get their own names.
    QString path = stem;
    for (int n = 2; QFileInfo::exists(path); ++n)
        path = stem.chopped(int(QStringLiteral(".backup.ini").size())) + QStringLiteral("-%1.backup.ini").arg(n);
    return path;
}

QString CameraServer::backupImpossible(WriteKind kind, const QString& set, bool probe)
{
    if (kind == WriteKind::Lsc) return tr("相机的镜头校正（LSC）参数组不能读回");
    if (kind == WriteKind::Fpn) {
        if (m_isTvk317) return tr("此相机的逐像素FPN数据不能读回");
        if (m_lineCount > 1) return tr("多行传感器的FPN数据不能逐行读回");
        if (set == QLatin1String("factory") && m_supportMLK != 0) return tr("多级K的出厂参数组的K不能读回");
        if (set.isEmpty()) return tr("读取相机当前的FPN参数组出错");
    }
    if (!probe) return QString();
    // One read of what the camera shows now: a library that cannot read it back says so here.
    lsxStatus status = LSX_OK;
    if (kind == WriteKind::Fpn) {
        lsxRegionDescr descr{};
        int32_t source = -1;
        status = lsxGetRoiDescr(m_handle, &descr);
        if (status == LSX_OK) status = lsxGetSourceFormat(m_handle, &source);
        const int planes = readBackPlanes(source);
        if (status == LSX_OK && (planes == 0 || descr.maxWidth < 1)) return tr("不支持的图像格式");
        std::vector<uint8_t> record;
        if (status == LSX_OK) status = readFpnRecord(m_handle, uint32_t(planes) * uint32_t(descr.maxWidth), record);
    } else {
        lsxFfcMemHead head{};
        status = lsxReadGenICamMem(m_handle, LSX_MEM_FFC_SET, &head, sizeof head);
    }
    if (status != LSX_OK)
        return tr("相机不能读回%1参数（%2-%3）").arg(writeKindName(kind)).arg(status).arg(statusText(status));
    return QString();
}

CameraServer::BackupPlan CameraServer::planBackup(WriteKind kind, const QString& set)
{
    BackupPlan plan;
    plan.kind = kind;
    plan.set = set;
    plan.reason = m_opened ? backupImpossible(kind, set, true) : tr("没有连接上相机");
    if (plan.reason.isEmpty()) plan.path = newBackupPath(kind, set);
    m_backupPlan = plan;
    return plan;
}

lsxStatus CameraServer::readFpnBackup(const QString& set, CameraBackup& out)
{
    out = backupHead(WriteKind::Fpn, set);
    lsxRegionDescr descr{};
    int32_t source = -1, target = 0;
    float gainFound = 1.0f;
    char enabled[LSX_TEXT_SIZE] = {};
    lsxStatus status = lsxGetRoiDescr(m_handle, &descr);
    if (status == LSX_OK) status = lsxGetSourceFormat(m_handle, &source);
    if (status == LSX_OK) status = lsxGetTargetFormat(m_handle, &target);
    if (status == LSX_OK) status = lsxGetAnalogGain(m_handle, &gainFound);
    if (status == LSX_OK) status = lsxGetConfigString(m_handle, "FPNC.Enable", enabled, sizeof enabled);
    if (status != LSX_OK) return status;
    const int planes = readBackPlanes(source);
    const int width = descr.maxWidth;
    if (planes == 0 || width < 1) return LSX_ERR_NOT_SUPPORTED;
    out.fpnEnabled = QLatin1String(enabled) == QLatin1String("true");
    out.targetFormat = target;
    out.planes = planes;

    // The set is read where the selection shows it; the selection goes back as it was.
    const QString selected = currentSelection("FPNC.Selector");
    if (selected != set) {
        status = lsxSetConfigString(m_handle, "FPNC.Selector", set.toLatin1().constData());
        if (status != LSX_OK) return status;
    }
    // The gains of the calibration, as the bright field reads the camera's dark data.
    // A gain range that is refused takes the gain as found: the backup is never refused for it.
    SettingCheck check(settings());
    float gainMin = check.read(FpnIni::GainMin, FpnIni::GainMinDefault);
    float gainMax = check.read(FpnIni::GainMax, FpnIni::gainMaxCalibrationDefault(m_isLinescan));
    check.gainRange(gainMin, gainMax);
    if (!check.ok()) gainMin = gainMax = gainFound;
    out.gainMin = gainMin;
    out.gains = 0;
    for (float gain = gainMin; !(gain > gainMax) && out.gains < kMaxBackupGains; gain += 1.0f) {
        status = lsxSetAnalogGain(m_handle, gain);
        if (status != LSX_OK) break;
        std::vector<uint8_t> record;
        status = readFpnRecord(m_handle, uint32_t(planes) * uint32_t(width), record);
        if (status != LSX_OK) break;
        const auto* head = reinterpret_cast<const lsxFpnHeader*>(record.data());
        if (out.gains == 0) {
            out.bits = head->bits;
            out.doffset = wrapDoffset(head->doffset);
        }
        // The pairs come interleaved by column: plane after plane within a column.
        const auto* p = reinterpret_cast<const float*>(record.data() + sizeof(lsxFpnHeader));
        for (int plane = 0; plane < planes; ++plane) {
            QList<float> k, b;
            k.reserve(width);
            b.reserve(width);
            for (int x = 0; x < width; ++x) {
                k.append(p[2 * (size_t(x) * planes + plane)]);
                b.append(p[2 * (size_t(x) * planes + plane) + 1]);
            }
            out.k.append(k);
            out.b.append(b);
        }
        ++out.gains;
    }
    lsxSetAnalogGain(m_handle, gainFound);
    if (selected != set && !selected.isEmpty())
        lsxSetConfigString(m_handle, "FPNC.Selector", selected.toLatin1().constData());
    return status;
}

lsxStatus CameraServer::readFfcBackup(const QString& set, CameraBackup& out)
{
    out = backupHead(WriteKind::Ffc, set);
    // The memory window shows the set "PRNUC" selects: the set the write-down goes to.
    if (currentSelection("PRNUC") != set) {
        const lsxStatus status = lsxSetConfigString(m_handle, "PRNUC", set.toLatin1().constData());
        if (status != LSX_OK) return status;
    }
    return readFfcMemory(out.ffc);
}

CameraServer::Backup CameraServer::backupBeforeWrite(WriteKind kind, const QString& set, CameraBackup& out)
{
    QString reason = backupImpossible(kind, set, false);
    if (reason.isEmpty()) {
        const lsxStatus status = kind == WriteKind::Fpn ? readFpnBackup(set, out) : readFfcBackup(set, out);
        if (status == LSX_ERR_NOT_SUPPORTED) {
            reason = tr("相机不能读回%1参数（%2-%3）").arg(writeKindName(kind)).arg(status).arg(statusText(status));
        } else if (status != LSX_OK) {
            emit OS_FpnInfo(101, tr("写入前读取相机参数组 %1 出错，错误原因：%2-%3。为免丢失原有参数，未写入相机。")
                                     .arg(set)
                                     .arg(status)
                                     .arg(statusText(status)));
            return Backup::Failed;
        }
    }
    if (!reason.isEmpty()) {
        emit OS_FpnInfo(kBackupProgress,
                        tr("写入前无法备份相机%1：%2。写入后不能恢复原有参数。").arg(setWords(set).trimmed(), reason));
        return Backup::Impossible;
    }

    const bool planned = m_backupPlan.kind == kind && m_backupPlan.set == set && !m_backupPlan.path.isEmpty()
                         && !QFileInfo::exists(m_backupPlan.path);
    const QString path = planned ? m_backupPlan.path : newBackupPath(kind, set);
    m_backupPlan = BackupPlan{};
    QString error;
    if (!QDir().mkpath(QFileInfo(path).absolutePath()) || !saveBackupFile(path, out, error)) {
        if (error.isEmpty()) error = tr("无法创建备份文件夹 %1").arg(QFileInfo(path).absolutePath());
        emit OS_FpnInfo(101, error + tr("。为免丢失原有参数，未写入相机。"));
        return Backup::Failed;
    }
    // Only a backup that loads counts as taken: the file is read back once as a restore reads it
    // (a text of the camera's that breaks its lines, a value the file cannot hold). One that does
    // not load is removed, so that no restore is offered from it.
    CameraBackup loaded;
    if (!loadBackupFile(path, loaded, error)) {
        QFile::remove(path);
        emit OS_FpnInfo(101, error + tr("。为免丢失原有参数，未写入相机。"));
        return Backup::Failed;
    }
    m_lastBackup = path;
    emit OS_FpnInfo(kBackupProgress, tr("写入前已将相机参数组 %1 备份到 %2").arg(set, path));
    return Backup::Taken;
}

lsxStatus CameraServer::fpnWriteBack(const CameraBackup& backup, bool& partial)
{
    partial = false;
    // The camera tells rows from columns by its own width: the region spans the whole sensor while
    // the full rows go in, and the target format that ordered the colour planes of the read is
    // the one they are written under. Both go back as they were.
    lsxRegion roi{};
    lsxRegionDescr descr{};
    int32_t target = 0;
    lsxStatus status = lsxGetRoi(m_handle, &roi);
    if (status == LSX_OK) status = lsxGetRoiDescr(m_handle, &descr);
    if (status == LSX_OK) status = lsxGetTargetFormat(m_handle, &target);
    if (status != LSX_OK) return status;
    if (descr.maxWidth != backup.columns()) return LSX_ERR_BLOCK_SIZE;
    const bool wholeRoi = roi.X == 0 && roi.W == descr.maxWidth;
    if (!wholeRoi) {
        lsxRegion full = roi;
        full.X = 0;
        full.W = descr.maxWidth;
        status = lsxSetRoi(m_handle, &full);
        if (status != LSX_OK) return status;
    }
    if (target != backup.targetFormat) lsxSetTargetFormat(m_handle, backup.targetFormat);

    const bool factory = backup.set == QLatin1String("factory");
    status = lsxSetConfigString(m_handle, "FPNC.Selector", backup.set.toLatin1().constData());
    if (status == LSX_OK) {
        const int rows = int(backup.k.size());
        const int columns = backup.columns();
        const QList<QList<double>> k = widened(backup.k), b = widened(backup.b);
        const auto [minK, maxK] = kRange(k, rows);
        FpnRecord record(uint32_t(columns) * uint32_t(rows));
        lsxFpnHeader& head = record.head();
        head.columns = uint32_t(columns * rows);
        head.lines = 1;
        head.bits = static_cast<uint8_t>(backup.bits);
        head.doffset = static_cast<uint8_t>(backup.doffset & 0xFF);
        // The level is the record's label; a restore is not refused for it (the default stands in).
        head.level = static_cast<uint16_t>(checkSetting(FpnIni::PixelMax, settings().value(FpnIni::PixelMax)).value);
        head.minK = minK;
        head.maxK = maxK;
        fillFpnPairs(record, k, b, rows, columns, FpnOrder::Interleaved);
        status = fpnSendSet(record, factory, true, partial);
    }
    if (status == LSX_OK) status = lsxSetConfigString(m_handle, "FPNC.Enable", backup.fpnEnabled ? "true" : "false");

    if (target != backup.targetFormat) lsxSetTargetFormat(m_handle, target);
    if (!wholeRoi) lsxSetRoi(m_handle, &roi);
    return status;
}

void CameraServer::fpnRecover(const CameraBackup* backup, const QString& set)
{
    const QString mixed = tr("相机%1现在是新的暗场参数与原有明场参数的混合，不能使用：请重新写入").arg(setWords(set));
    if (!backup) {
        emit OS_FpnInfo(101, tr("写入前没有备份，无法恢复。") + mixed + tr("。"));
        return;
    }
    bool partial = false;
    const lsxStatus status = fpnWriteBack(*backup, partial);
    if (status == LSX_OK) {
        emit OS_FpnInfo(101,
                        tr("已从备份 %1 写回写入前的参数组 %2，相机中的参数与写入前相同。").arg(m_lastBackup, set));
        return;
    }
    emit OS_FpnInfo(101, tr("从备份写回写入前的参数也失败，失败原因：%1-%2。").arg(status).arg(statusText(status))
                             + mixed + tr("，或用“恢复写入前参数”写回备份 %1。").arg(m_lastBackup));
}

void CameraServer::restoreBackup(QString path)
{
    guarded(
        "restoreBackup", [&] { restoreRun(path); }, [this] { emit OS_FpnInfo(101, tr("写回备份失败，请重试。")); });
}

void CameraServer::restoreRun(const QString& path)
{
    // 1. The file, whole and fitting this camera.
    CameraBackup backup;
    QString error;
    if (!loadBackupFile(path, backup, error)) {
        emit OS_FpnInfo(101, error + tr("。未写入相机。"));
        return;
    }
    if (!m_opened) {
        emit OS_FpnInfo(101, tr("没有连接上相机。"));
        return;
    }
    const CameraBackup here = backupHead(WriteKind::Fpn, backup.set);
    const bool sameCamera =
        backup.serial.isEmpty() && here.serial.isEmpty() ? backup.camera == here.camera : backup.serial == here.serial;
    if (!sameCamera) {
        emit OS_FpnInfo(101, tr("备份来自相机 %1（序列号 %2），不是当前的相机 %3（序列号 %4）。未写入相机。")
                                 .arg(backup.camera, backup.serial, here.camera, here.serial));
        return;
    }
    const bool fpn = backup.kind == CameraBackup::Kind::Fpn;
    if (fpn) {
        lsxRegionDescr descr{};
        int32_t source = -1;
        lsxGetRoiDescr(m_handle, &descr);
        lsxGetSourceFormat(m_handle, &source);
        if (descr.maxWidth != backup.columns() || readBackPlanes(source) != backup.planes) {
            emit OS_FpnInfo(101,
                            tr("备份的宽度 %1 列、%2 个颜色平面与相机当前的 %3 列、%4 个颜色平面不符。未写入相机。")
                                .arg(backup.columns())
                                .arg(backup.planes)
                                .arg(descr.maxWidth)
                                .arg(readBackPlanes(source)));
            return;
        }
        if (backup.set == QLatin1String("factory") && !factoryMode()) {
            emit OS_FpnInfo(101, tr("没有写入Factory参数权限。"));
            return;
        }
    }

    // 2. What the set holds now, kept in a backup of its own.
    const WriteKind kind = fpn ? WriteKind::Fpn : WriteKind::Ffc;
    const QString restored = path;
    CameraBackup now;
    const Backup kept = backupBeforeWrite(kind, backup.set, now);
    if (kept == Backup::Failed) return;

    // 3. The file's set written back through the write-down's records.
    emit OS_FpnInfo(50, tr("写回备份 %1 到相机参数组 %2 ...").arg(restored, backup.set));
    if (fpn) {
        bool partial = false;
        const lsxStatus status = fpnWriteBack(backup, partial);
        if (status != LSX_OK) {
            emit OS_FpnInfo(101, withStatus(tr("写回备份失败，失败原因：%1-%2."), status));
            if (partial) fpnRecover(kept == Backup::Taken ? &now : nullptr, backup.set);
            return;
        }
        m_written.fpn = true;
        m_written.fpnSet = backup.set;
        m_written.fpnEnabled = backup.fpnEnabled;
    } else {
        // A set that held no gains goes back as gains of 1.0 over the columns it has now.
        QList<QList<double>> table = backup.ffc;
        if (table.isEmpty()) {
            const int channels = std::max(1, int(now.ffc.size()));
            const int columns = now.ffc.isEmpty() ? 0 : int(now.ffc.first().size());
            lsxRegion roi{};
            lsxGetRoi(m_handle, &roi);
            table = QList<QList<double>>(channels, QList<double>(columns > 0 ? columns : roi.W, 1.0));
        }
        float minK = 0.0f, maxK = 0.0f;
        ffcGainRange(table, minK, maxK);
        if (!ffcSendTable(table, minK, maxK, backup.set)) return;
        m_written.ffcSet = backup.set;
    }
    emit OS_FpnInfo(100, tr("\n已将备份 %1 写回相机参数组 %2。").arg(restored, backup.set));
}

void CameraServer::keepWrittenSets(bool asFound)
{
    CameraLeft left;
    left.closed = true;
    left.asFound = asFound;
    // The first problem when there is one: a caller tells the sets not kept by the ones after it.
    if (!asFound) left.problems.append(tr("相机打开时的状态没能恢复"));
    // What a write-down left is kept, or told as a problem: never both.
    auto keep = [&](const QString& what, const QString& kept, lsxStatus status) {
        if (status == LSX_OK)
            left.kept.append(kept);
        else
            left.problems.append(tr("%1出错（%2-%3）").arg(what).arg(status).arg(statusText(status)));
    };

    if (m_written.fpn) {
        if (m_written.fpnSet.isEmpty()) {
            keep(tr("保持相机内部FPN使能"), QStringLiteral("FPN"), setCameraFpn(m_written.fpnEnabled));
        } else {
            lsxStatus status = lsxSetConfigString(m_handle, "FPNC.Selector", m_written.fpnSet.toLatin1().constData());
            if (status == LSX_OK)
                status = lsxSetConfigString(m_handle, "FPNC.Enable", m_written.fpnEnabled ? "true" : "false");
            keep(tr("保持FPN参数组 %1").arg(m_written.fpnSet), QStringLiteral("FPN %1").arg(m_written.fpnSet), status);
        }
        // B was measured at this black level: without it the corrected dark would be off.
        if (m_written.keepDoffset && !doffsetSkipped())
            keep(tr("保持DOffset %1").arg(m_written.doffset), QStringLiteral("DOffset %1").arg(m_written.doffset),
                 writeDoffset(m_written.doffset));
    }
    if (!m_written.ffcSet.isEmpty()) {
        lsxStatus status = lsxSetConfigString(m_handle, "PRNUC", m_written.ffcSet.toLatin1().constData());
        if (status == LSX_OK) status = setCorrectionSwitch("LSC", 1, LSX_SWITCH_FLAT_ONLY, 1, LSX_SWITCH_BOTH);
        keep(tr("保持FFC参数组 %1").arg(m_written.ffcSet), QStringLiteral("FFC %1").arg(m_written.ffcSet), status);
    }
    if (!m_written.lscSet.isEmpty()) {
        lsxStatus status = lsxSetConfigString(m_handle, "LSC", m_written.lscSet.toLatin1().constData());
        if (status == LSX_OK) status = setCorrectionSwitch("PRNUC", 1, LSX_SWITCH_LENS_ONLY, 1, LSX_SWITCH_BOTH);
        keep(tr("保持LSC参数组 %1").arg(m_written.lscSet), QStringLiteral("LSC %1").arg(m_written.lscSet), status);
    }
    m_written = Written{};

    // What the camera holds now, as it will be found.
    left.fpnSet = currentSelection("FPNC.Selector");
    left.fpnEnabled = currentSelection("FPNC.Enable") == QLatin1String("true");
    left.ffcSet = currentSelection("PRNUC");
    left.lscSet = currentSelection("LSC");
    lsxCorrectionSwitch block{};
    uint32_t size = sizeof block;
    if (lsxGet(m_handle, LSX_KEY_CORRECTION_SWITCH, &block, &size) == LSX_OK) {
        left.switchEnable = block.enable;
        left.switchMode = block.mode;
    }
    if (!doffsetSkipped()) {
        uint32_t word = LSX_REG_UNSUPPORTED;
        if (m_hasBlackLevelReg && lsxReadGenICamReg(m_handle, GVR_SEN_BLACK_LEVEL, &word) == LSX_OK) {
            left.doffsetKnown = true;
            left.doffset = wrapDoffset(int(word & 0xFF));
        } else if (!m_hasBlackLevelReg) {
            lsxRegPair magnitude{LSX_SENSOR_REG_DOFFSET_MAG, 0}, sign{LSX_SENSOR_REG_DOFFSET_SIGN, 0};
            if (lsxGet(m_handle, LSX_KEY_SENSOR_REG, &magnitude, nullptr) == LSX_OK
                && lsxGet(m_handle, LSX_KEY_SENSOR_REG, &sign, nullptr) == LSX_OK) {
                left.doffsetKnown = true;
                left.doffset = sign.value != 0 ? -int(magnitude.value) : int(magnitude.value);
            }
        }
    }
    m_cameraLeft = left;
    // Said in the log only: the window is going away (the runner reports cameraLeft itself).
    for (const QString& p : left.problems) qDebug() << "close:" << p;
}

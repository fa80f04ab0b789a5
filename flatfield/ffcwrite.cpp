// CameraServer: writing the flat-field gains into the camera, and reading its current set back.
//
// The operator's story of a write-down (ffcWriteDown, with the name of the chosen set):
//  1. there must be gains, taken on the ROI the camera has now;
//  2. on a multi-level camera the table is widened to the whole sensor (1.0 outside the ROI) and
//     each value repeated by the binning factor, so that it has one gain per physical column;
//  3. what the chosen set holds now is read back from the camera's memory and kept in a backup
//     file (where the camera cannot be read back, the operator is told so);
//  4. the record of key 45 (type 4) is built with the target format, the settings' pixel
//     maximum and DOffset, and the range of the gains, and sent;
//  5. the camera's set selection goes to "Disable", 2.5 s pass, and it goes to the chosen set:
//     the camera takes the new data into that set only by this switch, in this order;
//  6. the switch record turns the flat field on (with the lens shading when a set of it is
//     selected); the set stays so when the camera is closed.
// A failure ends the run with its message; after step 4 the data is in the camera and the
// messages tell the operator to repeat the selection by hand. m_ffcKList is not changed.
// Steps 4 to 6 also write a backup back (restoreBackup).
//
// readFfcParam: the camera's memory window shows the set "PRNUC" selects: a 16-byte head, then
// the gains in fixed point.
#include "camera/cameraserver.h"

#include "camera/settingranges.h"
#include "camera/tables.h"
#include "flatfield/ffcrecord.h"
#include "statustext.h"

#include <QDebug>
#include <QSettings>

#include <cmath>
#include <cstring>
#include <vector>

namespace {

const char* const kFailedRun = QT_TRANSLATE_NOOP("CameraServer", "FFC参数写入失败，请重试。");

bool allFinite(const GainList& gains)
{
    for (const QList<double>& channel : gains)
        for (double k : channel)
            if (!std::isfinite(k)) return false;
    return true;
}

}  // namespace

void CameraServer::ffcWriteDown(int /*lscSel*/, QString lscStr)
{
    guarded(
        "ffcWriteDown", [&] { ffcWriteRun(lscStr); }, [this] { emit OS_FpnInfo(101, tr(kFailedRun)); });
}

void CameraServer::ffcWriteRun(const QString& setName)
{
    if (m_ffcKList.isEmpty()) {
        emit OS_FpnInfo(101, tr("没有执行FFC校正功能，请先执行FFC校正。"));
        return;
    }
    lsxRegion roi;
    std::memset(&roi, 0, sizeof roi);
    lsxGetRoi(m_handle, &roi);
    if (roi.W != m_ffcKList.first().size()) {
        emit OS_FpnInfo(101, tr("执行FFC时的ROI与当前ROI不一致，请重试。"));
        return;
    }
    // Gains edited to something that is not a number never reach the camera.
    if (!allFinite(m_ffcKList)) {
        emit OS_FpnInfo(101, tr("FFC参数中有无效数值，无法写入相机。"));
        return;
    }
    // The record's head carries PixelMax and DOffset: a setting out of its range never reaches it.
    SettingCheck check(settings());
    check.readWhole(FpnIni::PixelMax, FpnIni::PixelMaxDefault);
    check.readWhole(FpnIni::DOffset, FpnIni::DOffsetDefault);
    if (!check.ok()) {
        emit OS_FpnInfo(101, check.message());
        return;
    }

    GainList table = m_ffcKList;
    if (m_supportMLK != 0) {
        lsxRegionDescr descr;
        std::memset(&descr, 0, sizeof descr);
        lsxGetRoiDescr(m_handle, &descr);
        int32_t mode = 0;
        lsxSelectionDetail detail;
        std::memset(&detail, 0, sizeof detail);
        lsxGetResolutionModeSel(m_handle, &mode);
        lsxGetResolutionModeSelDetail(m_handle, mode, &detail);
        const QString modeName = cameraInfoText(detail.text, sizeof detail.text);
        int factor = ffcBinningFactor(modeName);
        if (modeName == QLatin1String("USER")) {
            int64_t current = 0;
            int64_t values[32] = {};
            int32_t count = 32;
            const lsxStatus status = lsxGetEnumValue(m_handle, "BinningHorizontal", &current, values, &count);
            if (status != LSX_OK) {
                emit OS_FpnInfo(101, withStatus(tr("USER分辨率下获取属性失败，失败原因：%1-%2."), status));
                return;
            }
            factor = int(current);
        }
        table = ffcPadTable(table, roi.X, roi.W, descr.maxWidth, factor);
    }

    CameraBackup backup;
    if (backupBeforeWrite(WriteKind::Ffc, setName, backup) == Backup::Failed) return;
    float minK = 0.0f, maxK = 0.0f;
    ffcGainRange(m_ffcKList, minK, maxK);
    if (ffcSendTable(table, minK, maxK, setName)) m_written.ffcSet = setName;
}

bool CameraServer::ffcSendTable(const GainList& table, float minK, float maxK, const QString& setName)
{
    FfcRecordHead head;
    int32_t target = FORMAT_BGR24;
    lsxGetTargetFormat(m_handle, &target);
    head.targetFormat = target;
    head.lineCount = m_lineCount;
    head.frameBits = m_frameBits;
    // Checked by the write-down; a restore is not refused for the head's labels (defaults stand in).
    head.pixelMax = int(checkSetting(FpnIni::PixelMax, settings().value(FpnIni::PixelMax)).value);
    head.doffset = int(checkSetting(FpnIni::DOffset, settings().value(FpnIni::DOffset)).value);
    head.minK = minK;
    head.maxK = maxK;

    std::vector<uint8_t> record = ffcPackRecord(table, head);
    if (record.empty()) {
        emit OS_FpnInfo(101, tr("FFC参数中有无效数值，无法写入相机。"));
        return false;
    }
    uint32_t size = sizeof(lsxFpnHeader);
    lsxStatus status = lsxSet(m_handle, LSX_KEY_FPN, record.data(), &size);
    qDebug() << "lsxset : ffc - " << size << " -- " << record.size() << " -- " << status;
    record.clear();
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("FFC参数写入失败，失败原因：%1-%2."), status));
        return false;
    }
    settle(1000);
    emit OS_FpnInfo(99, tr("FFC参数成功写入"));

    // The camera takes the new data into the set only through "Disable" and back.
    status = lsxSetConfigString(m_handle, "PRNUC", "Disable");
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("\n切换Disable失败失败，失败原因：%1-%2。请手动重试。"), status));
        return false;
    }
    settle(2500);
    status = lsxSetConfigString(m_handle, "PRNUC", setName.toLatin1().constData());
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("\n选择FFC参数集失败，失败原因：%1-%2。请手动重试。"), status));
        return false;
    }
    emit OS_FpnInfo(99, tr("\nFFC参数组设为%1.").arg(setName));

    status = setCorrectionSwitch("LSC", 1, LSX_SWITCH_FLAT_ONLY, 1, LSX_SWITCH_BOTH);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("FFC使能出错，错误原因：%1-%2."), status));
        return false;
    }
    emit OS_FpnInfo(100, tr("\nFFC使能成功。"));
    return true;
}

QList<QList<double>> CameraServer::readFfcParam(int index)
{
    if (index == 0) return {};
    QList<QList<double>> gains;
    readFfcMemory(gains);
    return gains;
}

lsxStatus CameraServer::readFfcMemory(QList<QList<double>>& gains)
{
    gains.clear();
    lsxFfcMemHead head;
    std::memset(&head, 0, sizeof head);
    lsxStatus status = lsxReadGenICamMem(m_handle, LSX_MEM_FFC_SET, &head, sizeof head);
    if (status != LSX_OK) {
        qDebug() << "lsxReadGenICamMem head faild with : " << status << statusText(status);
        return status;
    }
    // A head of 0 columns has no gains to divide among channels.
    if (head.columns == 0 || head.payloadSize == 0) return LSX_OK;
    std::vector<uint8_t> block(sizeof head + head.payloadSize, 0);
    status = lsxReadGenICamMem(m_handle, LSX_MEM_FFC_SET, block.data(), uint32_t(block.size()));
    if (status != LSX_OK) {
        qDebug() << "lsxReadGenICamMem main faild with : " << status << statusText(status);
        return status;
    }
    gains = ffcParseMemory(block.data(), block.size());
    return LSX_OK;
}

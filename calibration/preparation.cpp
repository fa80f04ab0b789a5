// CameraServer: bringing the camera to raw data on demand before a calibration measures.
//
// Shared by the dark field, the bright field and the exposure test; the flat-field and
// lens-shading computations use the soft trigger and the switch-off of the image processing too.
//  - disableSoftIsp: colour, gamma, contrast, black level, noise reduction, sharpness, flips,
//    mono, inverse, the SCS shift and the colour matrix all off, the user colour solution chosen
//    and an identity matrix written. Nothing is remembered: the window re-reads the camera's
//    features when the operator closes the procedure's panel.
//  - enableSoftTrigger: trigger source software, trigger mode on.
//  - fpnRoiCheck: the image height a measurement needs.
//  - splitFramePlanes: a delivered frame as planes of its own (the library reuses its buffer).
#include "camera/cameraserver.h"

#include "calibration/darkstats.h"
#include "calibration/klevels.h"
#include "camera/framegrab.h"
#include "camera/tables.h"
#include "statustext.h"

#include <QDebug>

#include <algorithm>
#include <cstring>

QString CameraServer::withStatus(const QString& text, lsxStatus status)
{
    return text.arg(status).arg(statusText(status));
}

void CameraServer::disableSoftIsp()
{
    if (!m_isLinescan) return;
    emit OS_FpnInfo(10, tr("正在关闭色彩、翻转等相关设置...\n可在操作结束后恢复。"));
    // No answer is checked: a camera without one of these features keeps the others.
    lsxSetSaturationState(m_handle, false);
    lsxSetColorTemperatureState(m_handle, false);
    lsxSetBayerDecodeSel(m_handle, 0);
    lsxSetGammaState(m_handle, false);
    lsxSetContrastState(m_handle, false);
    lsxSetBlackLevelState(m_handle, false);
    lsxSetNoiseReduct2dState(m_handle, false);
    lsxSetNoiseReduct3dState(m_handle, false);
    lsxSetSharpnessState(m_handle, false);
    lsxSetFlipHorizontalState(m_handle, false);
    lsxSetMonoState(m_handle, false);
    lsxSetInverseState(m_handle, false);
    lsxSetConfigString(m_handle, "ReverseX", "false");
    lsxSetConfigString(m_handle, "SCS.LineShift", "0");
    lsxSetBoolValue(m_handle, "CCMEnable", false);

    // The colour solution whose name says "user", in any case; with none the selection stays.
    for (int32_t index = 0;; ++index) {
        lsxSelectionDetail detail;
        std::memset(&detail, 0, sizeof detail);
        if (lsxGetColorSolutionSelDetail(m_handle, index, &detail) != LSX_OK) break;
        const QString text = cameraInfoText(detail.text, sizeof detail.text);
        if (text.contains(QLatin1String("user"), Qt::CaseInsensitive)) {
            lsxSetColorSolutionSel(m_handle, index);
            break;
        }
    }

    lsxColorMatrix identity;
    std::memset(&identity, 0, sizeof identity);
    identity.m[0][0] = identity.m[1][1] = identity.m[2][2] = 1.0f;
    lsxSetUserColorMatrix(m_handle, &identity);
}

lsxStatus CameraServer::enableSoftTrigger()
{
    int32_t source = 0;
    lsxStatus status = lsxGetTriggerSource(m_handle, &source);
    if (status != LSX_OK) return status;
    if (source != 0) {
        status = lsxSetTriggerSource(m_handle, 0);
        if (status != LSX_OK) return status;
    }
    bool on = false;
    status = lsxGetTriggerState(m_handle, &on);
    if (status != LSX_OK) return status;
    if (!on) return lsxSetTriggerState(m_handle, true);
    return LSX_OK;
}

lsxStatus CameraServer::setCameraFpn(bool on)
{
    // The size argument points at 0 on a write of this key.
    uint8_t value = on ? 1 : 0;
    uint32_t size = 0;
    return lsxSet(m_handle, LSX_KEY_FPN_ENABLE, &value, &size);
}

bool CameraServer::cameraCorrectionsOff(const QString& prefix)
{
    lsxStatus status = setCameraFpn(false);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(prefix + tr("关闭FPN功能出错，错误原因：%1-%2."), status));
        return false;
    }
    // The flat field's master enable is byte 1 of the switch block; the rest goes back as read.
    lsxCorrectionSwitch block;
    std::memset(&block, 0, sizeof block);
    uint32_t size = sizeof block;
    status = lsxGet(m_handle, LSX_KEY_CORRECTION_SWITCH, &block, &size);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(prefix + tr("获取平场使能参数出错，错误原因：%1-%2."), status));
        return false;
    }
    if (block.enable == 0) return true;
    block.enable = 0;
    size = sizeof block;
    status = lsxSet(m_handle, LSX_KEY_CORRECTION_SWITCH, &block, &size);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(prefix + tr("关闭平场使能出错，错误原因：%1-%2."), status));
        return false;
    }
    return true;
}

bool CameraServer::fpnRoiCheck(int height)
{
    bool roiOn = false;
    if (lsxGetRoiState(m_handle, &roiOn) != LSX_OK) return false;
    // With ROI off the camera need not fill the record; it is read all the same, over zeros, so
    // that the comparison and the write below start from what the camera has.
    lsxRegion region;
    std::memset(&region, 0, sizeof region);
    const lsxStatus read = lsxGetRoi(m_handle, &region);
    if (roiOn && read != LSX_OK) return false;

    int wanted = height;
    if (!m_isLinescan) {
        lsxSensorInfo sensor;
        std::memset(&sensor, 0, sizeof sensor);
        if (lsxGetSensorInfo(m_handle, &sensor) != LSX_OK) return false;
        if (region.H == height) return true;
        wanted = std::min(wanted, sensor.maxHeight);
    } else if (region.H == height) {
        return true;
    }
    region.H = wanted;
    return lsxSetRoi(m_handle, &region) == LSX_OK;
}

bool CameraServer::splitFramePlanes(const lsxFrame& frameInfo, const void* buffer, bool deinterleave,
                                    std::vector<cv::Mat>& planes) const
{
    return ::splitFramePlanes(frameToMat(frameInfo, buffer), static_cast<int>(frameInfo.format), m_lineCount,
                              deinterleave, planes);
}

void CameraServer::kAtLevel(uint8_t level, QList<double>& out, int rows) const
{
    ::kAtLevel(m_kPoints, m_maxK, level, out, rows);
}

// CameraServer: the lens-shading correction (LSC): a polynomial of degree 6 per channel fitted to
// one bright frame, and its write-down into the camera's memory and FLASH.
//
// The operator's story of a run (applyLSC):
//  1. the former result is dropped, so a failed run leaves none;
//  2. the camera's lens shading off in its switch record (its flat field stays on only while a
//     flat-field set is selected), soft trigger on, DOffset read, image processing off;
//  3. the stream on, one triggered frame, the stream off;
//  4. the column means on the 8-bit scale, B, G, R on a colour camera (all rows in one row of
//     means: sensor lines are not told apart here);
//  5. per channel: the fit (lscFitChannel) over the ROI's columns with the target of the chosen
//     mode, and the gains over the whole sensor for the software simulation;
//  6. report; nothing goes to the camera here.
// A cancel ends the run quietly in the camera's settling pauses, with the stream stopped and no
// result.
//
// The story of a write-down (lscWriteDown, with the set's index and name):
//  1. there must be a fit;
//  2. the block (magic, ROI, checksum, size, the polynomials from the last channel to the first)
//     goes into the camera's memory, the set index into its register, and the FLASH store is
//     started;
//  3. the set selection goes to "Disable", 2.5 s pass, and it goes to the chosen set; a failure
//     of either is told and the run goes on, so that the switch is still set;
//  4. the switch record turns the lens shading on (with the flat field when a set of it is
//     selected); the set stays so when the camera is closed.
// The camera's lens-shading sets cannot be read back, so no backup is kept of what a write-down
// overwrites; the operator is told so before it is written.
#include "camera/cameraserver.h"

#include "camera/framegrab.h"
#include "flatfield/ffcgains.h"
#include "flatfield/lscfit.h"

#include <QDebug>

#include <cmath>
#include <cstring>

namespace {

constexpr uint32_t kLscFrameTimeoutMs = 3000;
const char* const kFailedRun = QT_TRANSLATE_NOOP("CameraServer", "LSC执行失败，请重试。");
const char* const kFailedWrite = QT_TRANSLATE_NOOP("CameraServer", "LSC参数写入失败，请重试。");

bool allFinite(const QList<QList<double>>& lists)
{
    for (const QList<double>& l : lists)
        for (double v : l)
            if (!std::isfinite(v)) return false;
    return true;
}

}  // namespace

void CameraServer::applyLSC(float goalRate)
{
    guarded(
        "applyLSC", [&] { lscRun(goalRate); },
        [this] {
            lsxStop(m_handle);
            m_lscPolyList.clear();
            m_lscKList.clear();
            emit OS_FpnInfo(101, tr(kFailedRun));
        });
}

void CameraServer::lscRun(float goalRate)
{
    {
        QWriteLocker lock(&m_lock);
        m_cancel = false;
    }
    m_lscPolyList.clear();
    m_lscKList.clear();
    emit OS_FpnInfo(1, tr("LSC执行中..."));

    lsxStatus status = setCorrectionSwitch("PRNUC", 0, LSX_SWITCH_BOTH, 1, LSX_SWITCH_FLAT_ONLY);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("关闭LSC使能出错，错误原因：%1-%2."), status));
        return;
    }
    if (!settleUnlessCancelled(2000)) return;
    status = enableSoftTrigger();
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("使能软触发出错，错误原因：%1-%2."), status));
        return;
    }
    if (!settleUnlessCancelled(1000)) return;
    status = fpnReadDoffset();
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("读取DOffset出错，错误原因：%1-%2."), status));
        return;
    }
    if (!settleUnlessCancelled(1000)) return;
    disableSoftIsp();
    if (!settleUnlessCancelled(1000)) return;

    status = lsxStart(m_handle);
    if (status < LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("启动视频流出错，错误原因：%1-%2."), status));
        return;
    }
    if (!settleUnlessCancelled(1000)) {
        lsxStop(m_handle);
        return;
    }
    lsxFrame frame;
    std::memset(&frame, 0, sizeof frame);
    void* buffer = nullptr;
    status = lsxTriggerFire(m_handle);
    if (status == LSX_OK) status = lsxGetFrame(m_handle, &frame, &buffer, kLscFrameTimeoutMs);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("触发出图出错，出错原因：%1-%2."), status));
        lsxStop(m_handle);
        return;
    }
    m_frameBits = static_cast<int32_t>(frame.bits);
    const int format = static_cast<int>(frame.format);
    if (format != FORMAT_MONO && format != FORMAT_BGR24 && format != FORMAT_RGB24) {
        emit OS_FpnInfo(90, tr("不支持的图像格式，仅支持 FORMAT_MONO & FORMAT_BGR24 & FORMAT_RGB24."));
        lsxStop(m_handle);
        return;
    }
    const cv::Mat image = frameToMat(frame, buffer);
    cv::Mat statistic = ffcFrameStatistic(image, 1);
    ffcSwapRedBlue(statistic, format);
    lsxStop(m_handle);
    if (image.empty() || statistic.empty()) {
        emit OS_FpnInfo(101, tr("没有用于镜头校正的图像。请打开相机采集图像。"));
        return;
    }

    lsxRegion roi;
    std::memset(&roi, 0, sizeof roi);
    status = lsxGetRoi(m_handle, &roi);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("LSC获取ROI失败，失败原因：%1-%2."), status));
        return;
    }
    lsxSensorInfo sensor;
    std::memset(&sensor, 0, sizeof sensor);
    lsxGetSensorInfo(m_handle, &sensor);
    emit OS_FpnInfo(40, tr("LSC-获取到Sensor最大宽度 : %1").arg(sensor.maxWidth));

    std::vector<cv::Mat> rows;
    cv::split(statistic, rows);
    const std::vector<float> ratio = lscChannelRatios(rows);
    QList<QList<double>> polys, gains;
    for (size_t c = 0; c < rows.size(); ++c) {
        // The fit runs over the ROI's columns: a frame narrower than the ROI can't give them.
        if (rows[c].cols < roi.W || roi.W < 1) {
            emit OS_FpnInfo(101, tr("LSC图像宽度%1与ROI宽度%2不符，无法拟合。").arg(rows[c].cols).arg(roi.W));
            return;
        }
        const QList<double> poly = lscFitChannel(rows[c], roi.W, goalRate, ratio[c]);
        // A singular system answers all zeros (a dark row, or a ROI too wide for the powers of
        // its columns in double); that polynomial has no gain anywhere.
        if (!lscFitUsable(poly)) {
            emit OS_FpnInfo(101,
                            tr("LSC拟合失败：第%1通道的多项式无法求解，请检查图像亮度或缩小ROI后重试。").arg(c + 1));
            return;
        }
        polys.append(poly);
        gains.append(lscSensorGains(poly, roi.X, roi.W, sensor.maxWidth));
    }
    m_lscPolyList = polys;
    m_lscKList = gains;
    emit OS_FpnInfo(100, tr("LSC参数计算完成。\n\n请选择软件模拟查看效果，确认效果较好后写入相机或保存为文件。"));
}

void CameraServer::lscWriteDown(int lscSel, QString lscStr)
{
    guarded(
        "lscWriteDown", [&] { lscWriteRun(lscSel, lscStr); }, [this] { emit OS_FpnInfo(101, tr(kFailedWrite)); });
}

void CameraServer::lscWriteRun(int setIndex, const QString& setName)
{
    if (m_lscPolyList.isEmpty()) {
        emit OS_FpnInfo(101, tr("没有执行LSC校正功能，请先执行LSC校正。"));
        return;
    }
    if (!allFinite(m_lscPolyList)) {
        emit OS_FpnInfo(101, tr("LSC参数中有无效数值，无法写入相机。"));
        return;
    }
    // The camera's lens-shading sets cannot be read back: the operator hears that nothing is kept.
    CameraBackup backup;
    if (backupBeforeWrite(WriteKind::Lsc, setName, backup) == Backup::Failed) return;
    lsxRegion roi;
    std::memset(&roi, 0, sizeof roi);
    lsxGetRoi(m_handle, &roi);
    std::vector<uint8_t> block = lscPackBlock(m_lscPolyList, roi);
    if (block.empty()) {
        emit OS_FpnInfo(101, tr("LSC参数中有无效数值，无法写入相机。"));
        return;
    }
    // The camera's memory, then its FLASH: each step is told before it starts, as both may take
    // seconds on a camera.
    emit OS_FpnInfo(30, tr("LSC参数写入相机内存..."));
    lsxStatus status = lsxWriteGenICamMem(m_handle, LSX_MEM_LSC_BLOCK, block.data(), uint32_t(block.size()));
    block.clear();
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("LSC参数写入失败，失败原因：%1-%2."), status));
        return;
    }

    uint32_t word = 0;
    lsxReadGenICamReg(m_handle, GVR_LSC_SET_INDEX, &word);
    word = (word & ~0x00FF0000u) | (uint32_t(uint8_t(setIndex)) << 16);
    status = lsxWriteGenICamReg(m_handle, GVR_LSC_SET_INDEX, word);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("设置LSC参数索引失败，失败原因：%1-%2."), status));
        return;
    }
    emit OS_FpnInfo(60, tr("LSC参数存入相机FLASH，请勿断开相机..."));
    status = lsxWriteGenICamReg(m_handle, GVR_FLASH_STORE, LSX_FLASH_STORE_LSC);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("LSC参数更新到FLASH失败，失败原因：%1-%2."), status));
        return;
    }
    emit OS_FpnInfo(99, tr("LSC参数成功写入"));

    // Through "Disable" and back; a failure is told and the run goes on to the switch.
    status = lsxSetConfigString(m_handle, "LSC", "Disable");
    if (status != LSX_OK)
        emit OS_FpnInfo(101, withStatus(tr("\n切换Disable失败，失败原因：%1-%2.请手动切换。"), status));
    settle(2500);
    status = lsxSetConfigString(m_handle, "LSC", setName.toLatin1().constData());
    if (status == LSX_OK)
        emit OS_FpnInfo(99, tr("\nLSC参数组设为%1.").arg(setName));
    else
        emit OS_FpnInfo(101,
                        withStatus(tr("\n设为选中的LSC参数组失败，失败原因：%1-%2.请手动选择写入的参数组-%3"), status)
                            .arg(setName));

    status = setCorrectionSwitch("PRNUC", 1, LSX_SWITCH_LENS_ONLY, 1, LSX_SWITCH_BOTH);
    if (status != LSX_OK) {
        // The switch-off text on purpose, as the station's operators know it.
        emit OS_FpnInfo(101, withStatus(tr("关闭LSC使能出错，错误原因：%1-%2."), status));
        return;
    }
    m_written.lscSet = setName;
    emit OS_FpnInfo(100, tr("\nLSC使能成功。"));
}

// CameraServer: the flat-field computation (FFC), from one bright image to one gain per column.
//
// The operator's story of a run:
//  1. the sensor's line count is read again;
//  2. the image: either the picture the operator loaded (refused on a multi-line sensor, or
//     when it is wider than the sensor; its statistic is cropped to the ROI when the widths
//     differ), or one frame of the camera:
//     a. soft trigger on;
//     b. the camera's own flat field off in its switch record (lens shading stays on only while
//        a lens-shading set is selected);
//     c. DOffset read, image processing off, the stream on, one triggered frame, the stream off;
//     d. the column means on the 8-bit scale, per sensor line on a multi-line sensor, in the
//        order B, G, R on a colour camera;
//  3. compute (ffcComputeGains): smoothing with the sampling radius, channel ratios, the target
//     of the chosen mode, gains, limits;
//  4. store the gains in m_ffcKList and report; nothing goes to the camera here.
// A failure before step 4 leaves the former gains in place, and so does a cancel: it ends the run
// quietly in the camera's settling pauses, with the stream stopped.
#include "camera/cameraserver.h"

#include "camera/framegrab.h"
#include "camera/tables.h"
#include "flatfield/ffcgains.h"

#include <QDebug>
#include <QThread>

#include <algorithm>
#include <cstring>

namespace {

constexpr uint32_t kFfcFrameTimeoutMs = 3000;

const char* const kSizeMismatch = QT_TRANSLATE_NOOP("CameraServer", "加载图像与相机尺寸不一致，无法进行对应平场操作。");
const char* const kRoiFailed = QT_TRANSLATE_NOOP("CameraServer", "获取图像信息出错，出错原因：%1-%2.");
const char* const kGrabFailed = QT_TRANSLATE_NOOP("CameraServer", "触发出图出错，出错原因：%1-%2.");
const char* const kNoImage =
    QT_TRANSLATE_NOOP("CameraServer", "没有用于平场校正的图像。请加载本地图像或打开相机采集图像。");
const char* const kFailedRun = QT_TRANSLATE_NOOP("CameraServer", "FFC执行失败，请重试。");

bool hasImage(const cv::Mat& m)
{
    return !m.empty() && m.data && m.dims > 0;
}

}  // namespace

void CameraServer::settle(int ms) const
{
    const qint64 total = qint64(ms * m_pauseScale);
    for (qint64 waited = 0; waited < total && !closing(); waited += 20)
        QThread::msleep(static_cast<unsigned long>(std::min<qint64>(20, total - waited)));
}

bool CameraServer::settleUnlessCancelled(int ms) const
{
    return pauseUnless(int(ms * m_pauseScale), [this] { return cancelRequested(); });
}

QString CameraServer::currentSelection(const char* key) const
{
    char text[LSX_TEXT_SIZE] = {};
    if (lsxGetConfigString(m_handle, key, text, sizeof text) != LSX_OK) return QString();
    return cameraInfoText(text, sizeof text);
}

lsxStatus CameraServer::setCorrectionSwitch(const char* otherKey, uint8_t enableIfOtherOff, uint8_t modeIfOtherOff,
                                            uint8_t enableOtherwise, uint8_t modeOtherwise)
{
    lsxCorrectionSwitch block;
    std::memset(&block, 0, sizeof block);
    uint32_t size = sizeof block;
    const lsxStatus read = lsxGet(m_handle, LSX_KEY_CORRECTION_SWITCH, &block, &size);
    // A record that can't be read is not written back over zeros.
    if (read != LSX_OK) return read;
    const bool otherOff = currentSelection(otherKey) == QLatin1String("Disable");
    block.enable = otherOff ? enableIfOtherOff : enableOtherwise;
    block.mode = otherOff ? modeIfOtherOff : modeOtherwise;
    size = sizeof block;
    return lsxSet(m_handle, LSX_KEY_CORRECTION_SWITCH, &block, &size);
}

void CameraServer::applyFFC(cv::Mat srcImg, cv::Mat statisticMat, float goalRate)
{
    guarded(
        "applyFFC", [&] { ffcRun(srcImg, statisticMat, goalRate); },
        [this] {
            lsxStop(m_handle);
            emit OS_FpnInfo(101, tr(kFailedRun));
        });
}

void CameraServer::ffcRun(cv::Mat srcImg, cv::Mat statisticMat, float goalRate)
{
    {
        QWriteLocker lock(&m_lock);
        m_cancel = false;
    }
    emit OS_FpnInfo(1, tr("FFC执行中..."));
    readLineCount();

    if (hasImage(srcImg)) {
        if (!ffcFromPicture(srcImg, statisticMat)) return;
    } else {
        if (!ffcFromCamera(srcImg, statisticMat)) return;
    }

    if (srcImg.empty() || statisticMat.empty()) {
        emit OS_FpnInfo(101, tr(kNoImage));
        return;
    }
    const GainList gains = ffcComputeGains(statisticMat, m_ffcRadius, goalRate, m_maxK);
    if (gains.isEmpty()) {
        emit OS_FpnInfo(101, tr(kNoImage));
        return;
    }
    m_ffcKList = gains;
    emit OS_FpnInfo(100, tr("FFC执行计算完成。\n\n请选择软件模拟查看效果，确认效果较好后写入相机或保存为文件。"));
    emit OS_FFCFinished(m_ffcKList);
}

bool CameraServer::ffcFromPicture(const cv::Mat& srcImg, cv::Mat& statisticMat)
{
    if (m_lineCount >= 2) {
        emit OS_FpnInfo(101, tr("当前机型不支持图像FFC。"));
        return false;
    }
    lsxRegionDescr descr;
    std::memset(&descr, 0, sizeof descr);
    lsxStatus status = lsxGetRoiDescr(m_handle, &descr);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr(kRoiFailed), status));
        return false;
    }
    if (srcImg.cols > descr.maxWidth) {
        emit OS_FpnInfo(101, tr(kSizeMismatch));
        return false;
    }
    lsxRegion roi;
    std::memset(&roi, 0, sizeof roi);
    status = lsxGetRoi(m_handle, &roi);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr(kRoiFailed), status));
        return false;
    }
    if (roi.W != srcImg.cols) {
        // The ROI is expected to lie inside the picture; one that does not is refused rather
        // than read past the row.
        if (roi.X < 0 || roi.W <= 0 || int64_t(roi.X) + roi.W > statisticMat.cols) {
            emit OS_FpnInfo(101, tr(kSizeMismatch));
            return false;
        }
        statisticMat = statisticMat.colRange(roi.X, roi.X + roi.W);
    }
    return true;
}

bool CameraServer::ffcFromCamera(cv::Mat& srcImg, cv::Mat& statisticMat)
{
    lsxStatus status = enableSoftTrigger();
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("使能软触发出错，错误原因：%1-%2."), status));
        return false;
    }
    // The camera's flat field off for the measurement; its lens shading stays on only while a
    // lens-shading set is selected.
    status = setCorrectionSwitch("LSC", 0, LSX_SWITCH_BOTH, 1, LSX_SWITCH_LENS_ONLY);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("关闭FFC使能出错，错误原因：%1-%2."), status));
        return false;
    }
    if (!settleUnlessCancelled(2000)) return false;
    status = fpnReadDoffset();
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("读取DOffset出错，错误原因：%1-%2."), status));
        return false;
    }
    if (!settleUnlessCancelled(2000)) return false;
    disableSoftIsp();
    if (!settleUnlessCancelled(1000)) return false;

    status = lsxStart(m_handle);
    if (status < LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("启动视频流出错，错误原因：%1-%2."), status));
        return false;
    }
    if (!settleUnlessCancelled(1000)) {
        lsxStop(m_handle);
        return false;
    }
    status = lsxTriggerFire(m_handle);
    lsxFrame frame;
    std::memset(&frame, 0, sizeof frame);
    void* buffer = nullptr;
    if (status == LSX_OK) status = lsxGetFrame(m_handle, &frame, &buffer, kFfcFrameTimeoutMs);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr(kGrabFailed), status));
        lsxStop(m_handle);
        return false;
    }

    m_frameBits = static_cast<int32_t>(frame.bits);
    const int format = static_cast<int>(frame.format);
    if (format != FORMAT_MONO && format != FORMAT_BGR24 && format != FORMAT_RGB24 && format != FORMAT_BGR32
        && format != FORMAT_RGB32) {
        emit OS_FpnInfo(90, tr("不支持的图像格式，仅支持 FORMAT_MONO & FORMAT_BGR24 & FORMAT_RGB24."));
        lsxStop(m_handle);
        return false;
    }
    // A mono frame of another sample width stays empty and ends at the check of an image.
    srcImg = frameToMat(frame, buffer);
    statisticMat = ffcFrameStatistic(srcImg, format == FORMAT_MONO ? m_lineCount : 1);
    if (!statisticMat.empty()) qDebug() << "statisticMat : " << statisticMat.cols << " - " << statisticMat.channels();
    ffcSwapRedBlue(statisticMat, format);
    lsxStop(m_handle);
    return true;
}

// CameraServer: the dark-field correction (DSNU), in darkness, at every gain of the range.
//
// The operator's story of a normal run:
//  1. prepare: line count, the camera's FPN and flat field off, formats that give raw 16-bit
//     mono (or the colour format as it is), the full resolution mode, soft trigger, line rate,
//     RGB gains 1, image processing off, stream on;
//  2. for each gain from Params/GainMin in steps of 1.0 up to Params/GainMax (a gain setting that
//     is not a number, out of its range, or a range without a pass refuses the run before step 1):
//     a. set the gain;
//     b. DOffset: searched at this gain (automatic) or the stored one applied, and the image
//        height of a measurement;
//     c. grab one triggered frame, waiting through any number of time-outs (told with their count
//        and the time waited) until it comes or the operator cancels, or until the server's frame
//        time-out when it has one;
//     d. check: each plane's brightest column mean must not exceed the camera's B limit;
//     e. store: one row of B per plane (m_bList) and its lift (m_incBList);
//  3. stop the stream and report.
// A failure leaves the rows of the gains finished before it; nothing of the camera is restored.
//
// The TVK317 family has no gain loop, DOffset, soft trigger or colour: its camera FPN goes off,
// 512 free-running readouts are stacked into one image, and their column means on the 8-bit
// scale make the one row of B.
#include "camera/cameraserver.h"

#include "calibration/darkstats.h"
#include "camera/framegrab.h"
#include "camera/settingranges.h"
#include "camera/tables.h"

#include <QDebug>
#include <QSettings>

#include <cmath>
#include <cstring>

namespace {

constexpr uint32_t kDarkFrameTimeoutMs = 3000;

const QString kFailedRun = QStringLiteral("暗场校正-暗场校正执行失败，请重试。");
const QString kDoneRun = QStringLiteral("暗场校正-暗场校正执行完成。");
const QString kStreamFailed = QStringLiteral("暗场校正-启动视频流出错，错误原因：%1-%2.");
const QString kTooBright = QStringLiteral("暗场校正-暗场亮度过高，超过限制值%1，无法继续执行暗场校正。");
const QString kMeanRange = QStringLiteral("暗场校正-最小列均值为%1，最大列均值为%2.");

QString meanRangeText(const MeanRange& r)
{
    return kMeanRange.arg(r.min, 0, 'f', 2).arg(r.max, 0, 'f', 2);
}

}  // namespace

void CameraServer::dsnuStart(bool autoDoffset)
{
    guarded(
        "dsnuStart", [&] { dsnuRun(autoDoffset); },
        [this] {
            lsxStop(m_handle);
            emit OS_FpnInfo(101, kFailedRun);
        });
}

void CameraServer::dsnuRun(bool autoDoffset)
{
    {
        QWriteLocker lock(&m_lock);
        m_cancel = false;
    }
    // The settings that decide the run, refused before the camera is touched and the rows of an
    // earlier run are dropped.
    SettingCheck check(settings());
    const double rangeMin = check.read(FpnIni::GainMin, FpnIni::GainMinDefault);
    check.gainRange(rangeMin, check.read(FpnIni::GainMax, FpnIni::gainMaxCalibrationDefault(m_isLinescan)));
    if (!autoDoffset) check.read(FpnIni::DOffset, FpnIni::DOffsetDefault);
    if (!m_isTvk317 && !check.ok()) {
        emit OS_FpnInfo(101, QStringLiteral("暗场校正-") + check.message());
        return;
    }
    m_bList.clear();
    m_incBList.clear();
    m_doffsetZeroSaid = false;
    if (m_isTvk317) {
        dsnuTvk317();
        return;
    }

    if (!dsnuPrepare()) return;
    // A gain setting read as a float; a missing key gets its default written first.
    const QStringList keys = settings().allKeys();
    auto gainSetting = [&](const QString& key, float fallback) {
        if (!keys.contains(key)) {
            settings().setValue(key, fallback);
            syncSettings();
        }
        return settings().value(key, fallback).toFloat();
    };
    const float gainMin = gainSetting(FpnIni::GainMin, FpnIni::GainMinDefault);
    const float gainMax = gainSetting(FpnIni::GainMax, FpnIni::gainMaxCalibrationDefault(m_isLinescan));
    emit OS_FpnInfo(1, QStringLiteral("暗场校正-增益范围 : [%1, %2]").arg(gainMin).arg(gainMax));

    // Gains in single precision, 1.0 apart: the top of the range is reached only when a step
    // lands on it. A setting that is not a number runs no pass.
    bool outcome = true;
    if (std::isfinite(gainMin) && std::isfinite(gainMax)) {
        for (float gain = gainMin; !(gainMax < gain); gain += 1.0f) {
            if (!dsnuGain(gain, autoDoffset)) {
                outcome = false;
                break;
            }
        }
    }

    lsxStop(m_handle);
    if (outcome) {
        m_darkFromCamera = false;
        emit OS_FpnInfo(100, kDoneRun);
    } else {
        emit OS_FpnInfo(101, kFailedRun);
    }
}

bool CameraServer::dsnuPrepare()
{
    readLineCount();

    if (!cameraCorrectionsOff(QStringLiteral("暗场校正-"))) return false;

    // Raw 16-bit mono from an 8-bit or unset target; a colour camera keeps its channel order
    // consistent between source and target. All four tests use the values as read.
    int32_t source = -1, target = -1;
    lsxGetSourceFormat(m_handle, &source);
    lsxGetTargetFormat(m_handle, &target);
    if (source == FORMAT_MONO) lsxSetSourceFormat(m_handle, FORMAT_MONO16_SOURCE);
    if (target == 30 || target == FORMAT_MONO) lsxSetTargetFormat(m_handle, FORMAT_MONO16);
    if (source == FORMAT_BGR24 && target == FORMAT_RGB24) lsxSetTargetFormat(m_handle, FORMAT_BGR24);
    if (source == FORMAT_RGB24 && target == FORMAT_BGR24) lsxSetSourceFormat(m_handle, FORMAT_BGR24);

    if (m_supportMLK != 0) lsxSetResolutionModeSel(m_handle, 0);

    lsxStatus status = enableSoftTrigger();
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(QStringLiteral("暗场校正-使能软触发出错，错误原因：%1-%2."), status));
        return false;
    }
    lsxSetConfigString(m_handle, "LineRate", "10000");
    lsxSetRgbGain(m_handle, 1.0f, 1.0f, 1.0f);
    disableSoftIsp();

    status = lsxStart(m_handle);
    if (status < LSX_OK) {
        emit OS_FpnInfo(101, withStatus(kStreamFailed, status));
        return false;
    }
    return true;
}

bool CameraServer::dsnuGain(float gain, bool autoDoffset)
{
    emit OS_FpnInfo(2, QStringLiteral("暗场校正-增益设为 %1.").arg(gain));
    const lsxStatus gainStatus = lsxSetAnalogGain(m_handle, gain);
    if (gainStatus != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(QStringLiteral("暗场校正-设置增益出错，错误原因：%1-%2."), gainStatus));
        return false;
    }

    // The black level depends on the gain: searched again at every gain.
    if (autoDoffset) {
        if (!fpnDetectDoffset()) return false;
    } else {
        if (!fpnSetDoffset()) return false;
        if (!fpnRoiCheck(m_roiHeight)) {
            emit OS_FpnInfo(101, QStringLiteral("暗场校正-设置ROI出错."));
            return false;
        }
    }

    // One triggered frame. A time-out triggers again, for as long as it takes; only the
    // operator's cancel ends the wait (or the server's frame time-out).
    lsxFrame frame;
    void* buffer = nullptr;
    FrameWait silence;
    for (;;) {
        if (cancelRequested()) return false;
        if (lsxTriggerFire(m_handle) != LSX_OK) return false;
        const lsxStatus got = lsxGetFrame(m_handle, &frame, &buffer, kDarkFrameTimeoutMs);
        if (got == LSX_ERR_TIMEOUT) {
            if (!frameRetry(silence, QStringLiteral("暗场校正-"), 2)) return false;
            continue;
        }
        if (got != LSX_OK) return false;
        break;
    }
    m_frameBits = static_cast<int32_t>(frame.bits);

    std::vector<cv::Mat> planes;
    if (!splitFramePlanes(frame, buffer, true, planes)) {
        emit OS_FpnInfo(
            90, QStringLiteral("暗场校正-不支持的图像格式，当前仅支持 FORMAT_MONO & FORMAT_BGR24 & FORMAT_RGB24."));
        return false;
    }
    emit OS_FpnInfo(20, QStringLiteral("\n"));

    // Every plane within the limit, judged on the 8-bit scale, before anything of this gain is kept.
    for (const cv::Mat& plane : planes) {
        const MeanRange range = columnMeanRange(plane, eightBitScale(frame.bits));
        emit OS_FpnInfo(20, meanRangeText(range));
        if (range.max > static_cast<float>(m_maxB)) {
            emit OS_FpnInfo(101, kTooBright.arg(m_maxB));
            return false;
        }
    }
    emit OS_FpnInfo(20, QStringLiteral("\n"));

    for (const cv::Mat& plane : planes) {
        const DarkRow row = darkRow(plane);
        m_bList.append(row.b);
        m_incBList.append(row.lift);
    }
    qDebug() << "m_incBList : " << m_incBList;
    emit OS_FpnInfo(90, QStringLiteral("暗场校正-抓图完成."));
    emit OS_FpnInfo(99, QStringLiteral("暗场校正-增益为 %1 暗场校正完成.\n").arg(gain));
    return true;
}

void CameraServer::dsnuTvk317()
{
    emit OS_FpnInfo(1, QStringLiteral("暗场校正-TVK317."));
    int32_t source = -1, target = -1;
    lsxGetSourceFormat(m_handle, &source);
    lsxGetTargetFormat(m_handle, &target);
    if (source == FORMAT_MONO) lsxSetSourceFormat(m_handle, FORMAT_MONO16_SOURCE);
    if (target == 30 || target == FORMAT_MONO) lsxSetTargetFormat(m_handle, FORMAT_MONO16);

    lsxStatus status = setCameraFpn(false);
    if (status != LSX_OK) {
        emit OS_FpnInfo(
            101,
            withStatus(QStringLiteral("\n关闭相机内部FPN失败，失败原因：%1-%2.请手动关闭相机内部FPN使能。"), status));
        return;
    }
    emit OS_FpnInfo(20, QStringLiteral("\n已关闭相机内部FPN。"));
    status = lsxStart(m_handle);
    if (status < LSX_OK) {
        emit OS_FpnInfo(101, withStatus(kStreamFailed, status));
        return;
    }
    emit OS_FpnInfo(30, QStringLiteral("\n已启动视频流。"));

    auto measure = [this]() {
        if (cancelRequested()) return false;
        lsxFrame frame;
        std::memset(&frame, 0, sizeof frame);
        cv::Mat image;
        if (grabLines(this, m_handle, &frame, image) != LSX_OK) return false;
        m_frameBits = static_cast<int32_t>(frame.bits);
        if (frame.format != FORMAT_MONO) {
            emit OS_FpnInfo(90, QStringLiteral("暗场校正-不支持的图像格式，当前仅支持FORMAT_MONO."));
            return false;
        }
        emit OS_FpnInfo(20, QStringLiteral("\n"));
        // This family keeps its B on the 8-bit scale, in single precision.
        const cv::Mat means = columnMeansF(image, eightBitScale(frame.bits));
        const MeanRange range = meanRange(means);
        emit OS_FpnInfo(40, meanRangeText(range));
        if (range.max > static_cast<float>(m_maxB)) {
            emit OS_FpnInfo(101, kTooBright.arg(m_maxB));
            return false;
        }
        emit OS_FpnInfo(80, QStringLiteral("\n"));
        QList<double> row;
        row.reserve(means.cols);
        for (int x = 0; x < means.cols; ++x) row.append(means.at<float>(0, x));
        m_bList.append(row);
        emit OS_FpnInfo(90, QStringLiteral("暗场校正-抓图完成."));
        return true;
    };
    const bool outcome = measure();
    lsxStop(m_handle);
    emit OS_FpnInfo(outcome ? 100 : 101, outcome ? kDoneRun : kFailedRun);
}

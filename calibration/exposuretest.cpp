// CameraServer: the exposure test, which shows how every column of the sensor answers over the
// whole usable exposure range. It measures the camera as it is set: its FPN, flat field and image
// processing stay as they are, and nothing is stored in the server.
//
// The operator's story:
//  1. the cancel flag cleared; the camera's exposure step (no camera open: nothing to do);
//  2. soft trigger on;
//  3. the range: from the shortest exposure to the one at which the brightest column just
//     reaches full scale;
//  4. about as many exposures as asked for, evenly spread over the range on the camera's step,
//     reported with the range and the interval;
//  5. RGB gains 1, then one frame at each exposure (progress 30 to 80);
//  6. each frame down to one row of column means, on the 8-bit scale for the 16-bit mono target
//     and in blue-green-red order for the RGB target;
//  7. the exposures and the rows to the statistics window, then the closing report.
// A series that ends early still goes out with the rows it has; a cancel gives no rows at all.
#include "camera/cameraserver.h"

#include "calibration/exposurestats.h"
#include "camera/settingranges.h"
#include "camera/tables.h"

#include <QDebug>

namespace {

const char* const kTriggerFailed = QT_TRANSLATE_NOOP("CameraServer", "使能软触发出错，错误原因：%1-%2.");
const char* const kRangeFailed = QT_TRANSLATE_NOOP("CameraServer", "曝光范围检测出错，请重试。");
const char* const kRange = QT_TRANSLATE_NOOP("CameraServer", "曝光范围取[%1, %2]，曝光间隔取 %3.");
const char* const kSeriesFailed = QT_TRANSLATE_NOOP("CameraServer", "曝光范围内图像采集失败.");
const char* const kDone = QT_TRANSLATE_NOOP("CameraServer", "曝光范围内图像采集成功，点击确认显示统计图。");
// Said when the slot fails in a way no camera answer explains (out of memory).
const char* const kTestFailed = QT_TRANSLATE_NOOP("CameraServer", "曝光测试执行失败，请重试。");

}  // namespace

void CameraServer::expTest(int expCount)
{
    guarded(
        "expTest", [&] { expTestRun(expCount); },
        [this] {
            lsxStop(m_handle);
            emit OS_FpnInfo(101, tr(kTestFailed));
        });
}

void CameraServer::expTestRun(int expCount)
{
    // 1. Cancel flag, exposure step. Without the camera's exposure description there is nothing
    // to say: the panel stays open and the operator cancels.
    {
        QWriteLocker lock(&m_lock);
        m_cancel = false;
    }
    // Without an open camera there is nothing to measure, and no handle to ask; the window starts
    // no test then, so this is a signal that reached the server on its own.
    if (!m_opened) return;
    lsxDoubleDescr descr{};
    if (lsxGetExposureDescr(m_handle, &descr) != LSX_OK) return;
    const double step = descr.step;
    // The exposure searches apply the stored DOffset: one out of its range refuses the test here.
    SettingCheck check(settings());
    if (!doffsetSkipped()) check.readWhole(FpnIni::DOffset, FpnIni::DOffsetDefault);
    if (!check.ok()) {
        emit OS_FpnInfo(101, check.message());
        return;
    }

    // 2. Soft trigger.
    const lsxStatus status = enableSoftTrigger();
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr(kTriggerFailed), status));
        return;
    }

    // 3. The usable range. A cancel here makes the search succeed; the series then stops at its
    // first look at the flag.
    double lower = 0.0, upper = 0.0;
    if (!fpnExposureCheck(lower, upper, 0, 255)) {
        emit OS_FpnInfo(101, tr(kRangeFailed));
        return;
    }

    // 4. The exposures.
    const ExposureTestSeries series = exposureTestSeries(lower, upper, step, expCount);
    qDebug() << "expTest : " << lower << upper << series.interval << series.exposures.size();
    emit OS_FpnInfo(30, tr(kRange).arg(lower).arg(series.last).arg(series.interval));

    // 5. One frame per exposure.
    lsxSetRgbGain(m_handle, 1.0f, 1.0f, 1.0f);
    QList<cv::Mat> frames;
    if (!fpnCapture(series.exposures, frames)) {
        emit OS_FpnInfo(101, tr(kSeriesFailed));
        return;
    }

    // 6. Rows of column means, scaled and ordered by the target format.
    int32_t target = 0;
    const bool formatRead = lsxGetTargetFormat(m_handle, &target) == LSX_OK;
    QList<cv::Mat> rows = exposureRows(frames, exposureRowLayout(formatRead, target));
    // Only the rows leave the slot; the full frames go now.
    frames.clear();

    // 7. To the window.
    emit OS_ExpTestFinished(series.exposures, rows);
    emit OS_FpnInfo(100, tr(kDone));
}

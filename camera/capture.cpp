// The live preview loop: the slot behind the "采图" button.
//
//  1. Start the camera free running.
//  2. Build the run's corrections once: K per level band from the bright-field samples, B, the
//     multi-line tables, the lens-shading gains.
//  3. Loop: grab, drop what comes within 30 ms of the last frame shown, deep copy and correct
//     in one sweep (into a buffer of the run that nothing else holds), sum, column means,
//     pixmap, publish, stop check. The per-frame work is shared out among the processor's cores.
//     Time-outs go on for ever, paced when the library answers them at once; a camera that has
//     left the link ends the loop and is reported lost.
//
// The TVK317 family has its own loop: 512 single readouts stacked into one image, FPN without
// level bands, and Sum as a gain.
#include "calibration/klevels.h"
#include "camera/cameraserver.h"
#include "camera/foldedlog.h"
#include "camera/framegrab.h"
#include "camera/preview.h"
#include "camera/settingranges.h"
#include "camera/tables.h"

#include <QDateTime>
#include <QDebug>
#include <QSettings>

#include <cmath>

namespace {

// What reaches the screen is limited to about 33 frames a second; the rest is dropped before
// any processing.
constexpr qint64 kMinFrameSpacingMs = 30;
constexpr uint32_t kLineScanTimeoutMs = 1000;

// TVK317 FPN: per pixel, in double throughout, no level bands.
template <typename T>
void tvkFpn(cv::Mat& img, const QList<double>& b, const QList<double>& k)
{
    const double top = std::numeric_limits<T>::max();
    for (int y = 0; y < img.rows; ++y) {
        T* p = img.ptr<T>(y);
        for (int x = 0; x < img.cols && x < b.size() && x < k.size(); ++x) {
            double v = std::nearbyint((p[x] - b[x]) * k[x]);
            v = v > 0.0 ? v : 0.0;
            p[x] = static_cast<T>(v < top ? v : top);
        }
    }
}

}  // namespace

void CameraServer::capture(bool continuous)
{
    guarded(
        "capture", [&] { captureRun(continuous); },
        [this] {
            lsxStop(m_handle);
            emit OS_CaptureFailed(LSX_ERR_UNKNOWN);
        });
}

void CameraServer::captureRun(bool continuous)
{
    {
        QWriteLocker lock(&m_lock);
        m_stopCapture = false;
    }
    lsxStatus status = lsxSetTriggerState(m_handle, false);
    if (status != LSX_OK) {
        emit OS_CaptureFailed(status);
        if (!m_isTvk317) qDebug() << "start capture failed with : " << status;
        return;
    }
    status = lsxStart(m_handle);
    if (status < LSX_OK) {
        emit OS_CaptureFailed(status);
        if (!m_isTvk317) qDebug() << "start capture failed with : " << status;
        return;
    }

    if (m_isTvk317) {
        lsxFrame frame{};
        for (;;) {
            cv::Mat img;
            status = grabLines(this, m_handle, &frame, img);
            if (status != LSX_OK) {
                emit OS_CaptureFailed(status);
                if (status == LSX_ERR_DISCONNECTED) emit OS_CameraLostConnection();
                qDebug() << "get frame failed with : " << status;
                lsxStop(m_handle);
                return;
            }
            m_frameBits = static_cast<int32_t>(frame.bits);
            if (frame.format != FORMAT_MONO) {
                emit OS_CaptureFailed(LSX_ERR_NOT_SUPPORTED);
                lsxStop(m_handle);
                return;
            }
            if (locked(m_fpnEnabled) && m_bList.size() == 1 && m_kList.size() == 1 && !img.empty()) {
                if (img.depth() == CV_16U)
                    tvkFpn<uint16_t>(img, m_bList[0], m_kList[0]);
                else
                    tvkFpn<uint8_t>(img, m_bList[0], m_kList[0]);
            }
            // Sum is a gain on this camera: the image keeps its size.
            const int sum = locked(m_sum);
            if (!img.empty()) img.convertTo(img, img.type(), sum);
            const cv::Mat staticMat = columnMeans(img, FORMAT_MONO, m_frameBits);
            const QPixmap pixmap = sharedPixmap(img, FORMAT_MONO, m_frameBits);
            m_lastFrame = img;
            m_lastStatistic = staticMat;
            emit OS_NewFrame(pixmap, staticMat);
            if (locked(m_stopCapture) || !continuous) {
                lsxStop(m_handle);
                return;
            }
        }
    }

    // The run's corrections: K per level band is built here once, so that a new calibration
    // shows from the next start of capture.
    // The level table only steers the preview: a bad setting shows with the default, said once.
    const int fpnSel = settingOrDefault(FpnIni::FpnSel, settings().value(FpnIni::FpnSel),
                                        [this](const QString& t) { emit OS_CameraWarning(t); });
    const PreviewCorrections corrections = buildPreviewCorrections(
        fpnLevelsFor(fpnSel), m_bList, m_kList, m_kScaleList,
        [this](uint8_t level, QList<double>& out, int rows) { kAtLevel(level, out, rows); }, m_lineCount, m_lscKList);
    qDebug() << "channels : " << (corrections.fpn.valid() ? corrections.fpn.rows : 1);

    qint64 last = 0;
    FoldedLog log;
    // The run's frame buffers: the copy of the next frame goes into one that nothing holds any
    // more, while the frame kept as m_lastFrame keeps its own.
    FrameBuffers buffers;
    FrameWait silence;
    for (;;) {
        lsxRegion region{};
        lsxGetRoi(m_handle, &region);
        lsxFrame frame{};
        void* buffer = nullptr;
        status = lsxGetFrame(m_handle, &frame, &buffer, kLineScanTimeoutMs);
        if (status == LSX_ERR_TIMEOUT) {
            // No frame: the stop flag is only looked at after a frame was shown. A camera being
            // closed ends the loop all the same, in case its library keeps answering time-outs;
            // one that answers them at once is asked again after a growing pause, not in a loop.
            log.line(QStringLiteral("get frame failed with : %1").arg(status));
            if (!continuous || closing()) break;
            pauseUnless(silence.timedOut(), [this] { return closing(); });
            continue;
        }
        if (status != LSX_OK) {
            emit OS_CaptureFailed(status);
            log.line(QStringLiteral("get frame failed with : %1").arg(status));
            // A camera gone from the link: the window counts it as closed.
            if (status == LSX_ERR_DISCONNECTED) emit OS_CameraLostConnection();
            break;
        }
        silence.delivered();
        // A descriptor that does not hold together ends capture before its buffer is read.
        const FrameCheck check = checkFrame(frame, buffer);
        if (!check.ok()) {
            log.line(QStringLiteral("Capture failed with : %1 (%2)").arg(check.status).arg(check.why));
            emit OS_CaptureFailed(check.status);
            break;
        }
        const qint64 now = QDateTime::currentMSecsSinceEpoch();
        if (now - last < kMinFrameSpacingMs) {
            if (continuous) continue;
            break;
        }

        m_frameBits = static_cast<int32_t>(frame.bits);
        const int format = static_cast<int>(frame.format);
        // The library's buffer as it is: previewFrame makes the deep copy as it corrects it.
        const cv::Mat view = frameView(frame, buffer);

        // The GUI thread flips these while the loop runs; each is read once under the lock.
        PreviewSwitches switches;
        switches.fpn = locked(m_fpnEnabled);
        switches.ffc = locked(m_ffcEnabled);
        switches.lsc = locked(m_lscEnabled);
        switches.lineCount = m_lineCount;
        switches.regionX = region.X;
        QList<QList<double>> ffcKList;
        {
            // The window adjusts the flat-field gains while the preview runs.
            QReadLocker lock(&m_lock);
            ffcKList = m_ffcKList;
        }
        // Corrections, Sum and the column means.
        cv::Mat img, staticMat;
        if (!previewFrame(view, img, format, m_frameBits, corrections, switches, ffcKList, locked(m_sum), staticMat,
                          &buffers)) {
            emit OS_CaptureFailed(LSX_ERR_NOT_SUPPORTED);
            qDebug() << "Capture failed with : " << LSX_ERR_NOT_SUPPORTED;
            break;
        }
        const QPixmap pixmap = sharedPixmap(img, format, m_frameBits);

        m_lastFrame = img;
        m_lastStatistic = staticMat;
        emit OS_NewFrame(pixmap, staticMat);
        if (locked(m_stopCapture)) break;
        last = now;
        if (!continuous) break;
    }
    qDebug() << "capture stop";
    lsxStop(m_handle);
}

// CameraServer: which exposures give which brightness under the operator's light, and the series
// of frames taken at them.
//
// fpnExposureCheck, the bright field's form:
//  1. the short image of a search (100 rows), the camera's exposure step and minimum;
//  2. stream on, the stored DOffset applied;
//  3. for each target grey level: bisect the exposure (one soft-triggered frame per step, the
//     first frame thrown away, the highest plane mean judged, above the dark predicted for the
//     exposure on trial when the dark run measured the dark current) from the last exposure found;
//     A search that takes longer than a second says once a second which exposure it tries and the
//     brightness found there, its progress rising between 20 and 50;
//  4. stream off; a four-level calibration (16, 64, 160, 240) turns its four exposures into a
//     spaced series, else one exposure per target found.
// fpnExposureCheck, the exposure test's form:
//  1. the short image; lower = the minimum exposure, upper = at least 250 us;
//  2. stream on, DOffset;
//  3. upper search: the exposure at which the brightest column mean reaches the high target;
//  4. lower search from the minimum: the exposure of the low target (both searches report as the
//     bright field's do, progress between 5 and 30);
//  5. stream off.
// fpnCapture:
//  1. the image height of a measurement, stream on, DOffset;
//  2. per exposure: set it, line rate 10000, three soft-triggered shots of which the last one
//     counts, keep the frame, show it, report progress from 30 to 80;
//  3. stream off.
#include "camera/cameraserver.h"

#include "calibration/brightstats.h"
#include "camera/framegrab.h"

#include <QDebug>
#include <QElapsedTimer>

#include <algorithm>

namespace {

constexpr uint32_t kSearchFrameTimeoutMs = 3000;
constexpr uint32_t kSeriesFrameTimeoutMs = 3000;
constexpr int kSearchHeight = 100;
constexpr int kShotsPerExposure = 3;
constexpr qint64 kSearchReportMs = 1000;

const char* const kUnsupportedFormat =
    QT_TRANSLATE_NOOP("CameraServer", "不支持的图像格式，仅支持 FORMAT_MONO & FORMAT_BGR24 & FORMAT_RGB24.");
const char* const kSearching = QT_TRANSLATE_NOOP("CameraServer", "曝光时间搜索中：%1 us 时亮度为 %2（8 位）。");
const char* const kTooBright = QT_TRANSLATE_NOOP(
    "CameraServer", "光照太强，最小曝光时间下也无法达到预设亮度。请调低光照强度，或增加预设亮度后重试");

bool isSeriesFormat(uint32_t format)
{
    return format == FORMAT_MONO || format == FORMAT_BGR24 || format == FORMAT_RGB24 || format == FORMAT_BGR32
           || format == FORMAT_RGB32;
}

// The picture of a series frame: as the live view shows it, except that 16-bit mono comes to 8 bits
// by 1/256.
QPixmap seriesPixmap(const cv::Mat& image, const lsxFrame& frame)
{
    if (frame.format == FORMAT_MONO && image.depth() == CV_16U) {
        cv::Mat eight;
        image.convertTo(eight, CV_8U, 1.0 / 256.0);
        return matToPixmap(eight, FORMAT_MONO, LSX_BITS_8);
    }
    return matToPixmap(image, static_cast<int>(frame.format), static_cast<int>(frame.bits));
}

}  // namespace

CameraServer::SearchEnd CameraServer::runExposureSearch(ExposureSearch& search, int& progress, int ceiling)
{
    QElapsedTimer sinceReport;
    sinceReport.start();
    const bool targets = search.kind == ExposureSearch::Kind::Targets;
    // The first frame of the bright-field and the upper search comes from before the exposure
    // change settled; the lower search follows the upper one and uses its first frame.
    bool discard = search.kind != ExposureSearch::Kind::Lower;
    FrameWait silence;
    for (;;) {
        if (cancelRequested()) return SearchEnd::Found;
        if (lsxSetExposure(m_handle, search.cur) != LSX_OK) return SearchEnd::Failed;
        if (lsxTriggerFire(m_handle) != LSX_OK) return SearchEnd::Failed;
        lsxFrame frame{};
        void* buffer = nullptr;
        const lsxStatus got = lsxGetFrame(m_handle, &frame, &buffer, kSearchFrameTimeoutMs);
        if (got == LSX_ERR_TIMEOUT) {
            // Same exposure again; a time-out is not the discarded frame. A cancel ends the search
            // at the top of the loop.
            if (frameRetry(silence, QString(), 20) || cancelRequested()) continue;
            return SearchEnd::Silent;
        }
        if (got != LSX_OK) return SearchEnd::Failed;
        silence.delivered();
        if (discard) {
            discard = false;
            continue;
        }
        if (search.kind != ExposureSearch::Kind::Lower) m_frameBits = static_cast<int32_t>(frame.bits);

        std::vector<cv::Mat> planes;
        if (!splitFramePlanes(frame, buffer, false, planes)) {
            emit OS_FpnInfo(90, tr(kUnsupportedFormat));
            return SearchEnd::Failed;
        }
        // Above the dark of this very exposure where the dark current is known.
        const std::vector<double> darks = targets && darkCurrentUsable()
                                              ? planeDarkLevels(darkRowsAt(search.cur), int(planes.size()), m_lineCount)
                                              : std::vector<double>();
        double b = targets ? highestPlaneMean(planes, darks) : highestColumnMean(planes);
        if (frame.format == FORMAT_MONO && frame.bits != LSX_BITS_8) b *= 1.0 / 256.0;
        if (sinceReport.elapsed() >= kSearchReportMs) {
            sinceReport.restart();
            progress = std::min(progress + 1, ceiling - 1);
            emit OS_FpnInfo(progress, tr(kSearching).arg(search.cur).arg(b, 0, 'f', 1));
        }

        switch (search.judge(b)) {
        case ExposureSearch::Verdict::Measure: break;
        case ExposureSearch::Verdict::Found: return SearchEnd::Found;
        case ExposureSearch::Verdict::AtMinimum: return SearchEnd::AtMinimum;
        }
    }
}

QVector<double> CameraServer::fpnExposureCheck(std::vector<double> targets)
{
    QVector<double> found;
    if (targets.empty()) return found;
    if (!fpnRoiCheck(kSearchHeight)) return found;
    lsxDoubleDescr descr{};
    if (lsxGetExposureDescr(m_handle, &descr) != LSX_OK) return found;
    const double step = descr.step, min = descr.min;
    if (lsxStart(m_handle) < LSX_OK) return found;
    if (!fpnSetDoffset()) return found;

    int progress = 20;
    for (double t : targets) {
        // Each target starts from the exposure of the one before: the targets rise.
        ExposureSearch search = ExposureSearch::forTarget(t, found.isEmpty() ? min : found.last(), min);
        // The sensor's minimum reached is taken as the answer: the target lies below what the
        // light allows, and the shortest exposure is the nearest to it.
        const SearchEnd end = runExposureSearch(search, progress, 50);
        const bool ok = end != SearchEnd::Failed && end != SearchEnd::Silent;
        qDebug() << "fpnExposureCheck : " << t << " -- " << ok;
        if (ok) found.append(search.cur);
        // A camera that has gone silent is not waited for again at the next target.
        if (end == SearchEnd::Silent) break;
    }

    lsxStop(m_handle);
    qDebug() << "expvec : " << found;
    const bool fourLevels = targets.size() == 4 && targets[0] == 16.0 && targets[1] == 64.0 && targets[2] == 160.0;
    // A four-level search that missed a level has no series to build: its exposures stand.
    if (fourLevels && found.size() == 4) return spacedExposures(found, min, step);
    return found;
}

bool CameraServer::fpnExposureCheck(double& lower, double& upper, int lowTarget, int highTarget)
{
    if (!fpnRoiCheck(kSearchHeight)) return false;
    lsxDoubleDescr descr{};
    if (lsxGetExposureDescr(m_handle, &descr) != LSX_OK) return false;
    const double min = descr.min;
    lower = min;
    upper = std::max(min, 250.0);
    if (lsxStart(m_handle) < LSX_OK) return false;
    if (!fpnSetDoffset()) return false;

    int progress = 5;
    ExposureSearch up = ExposureSearch::upper(highTarget, lower, upper, min);
    SearchEnd end = runExposureSearch(up, progress, 30);
    lower = up.lo;
    upper = up.cur;
    bool ok = end == SearchEnd::Found;
    if (end == SearchEnd::AtMinimum) emit OS_FpnInfo(101, tr(kTooBright));
    qDebug() << "fpnExposureCheck : " << ok;
    if (!ok) {
        lsxStop(m_handle);
        return false;
    }

    lower = min;
    qDebug() << "fpnExposureCheck : " << lower << " -- " << upper;
    ExposureSearch down = ExposureSearch::lower(lowTarget, highTarget, lower, upper, min);
    end = runExposureSearch(down, progress, 30);
    lower = down.cur;
    ok = end == SearchEnd::Found;
    if (end == SearchEnd::AtMinimum) emit OS_FpnInfo(101, tr(kTooBright));

    lsxStop(m_handle);
    qDebug() << "fpnExposureCheck : " << lower << " -- " << upper;
    return ok;
}

bool CameraServer::fpnCapture(const QVector<double>& exposures, QList<cv::Mat>& images, QVector<double>* taken)
{
    qDebug() << "fpnRoiCheck -------------";
    if (!fpnRoiCheck(m_roiHeight)) return false;
    if (lsxStart(m_handle) < LSX_OK) return false;
    qDebug() << "fpnSetDoffset -------------";
    if (!fpnSetDoffset()) return false;

    double progress = 30.0;
    // The last frame the camera delivered, copied out of the library's buffer at once (the next
    // call may reuse that buffer, even one that times out), and its descriptor: shots that fail
    // leave it standing, and it is what the exposure keeps.
    lsxFrame delivered{};
    cv::Mat last;
    bool anyFrame = false;
    for (double e : exposures) {
        qDebug() << "fpnCapture ------------- " << e;
        if (cancelRequested()) break;
        if (lsxSetExposure(m_handle, e) != LSX_OK) break;
        lsxSetConfigString(m_handle, "LineRate", "10000");

        // Three shots; only the last delivered frame is used, so the two frames after an exposure
        // change are dropped. A time-out counts as a shot.
        bool fresh = false;
        for (int shot = 0; shot < kShotsPerExposure; ++shot) {
            if (lsxTriggerFire(m_handle) != LSX_OK) break;
            lsxFrame frame{};
            void* buffer = nullptr;
            const lsxStatus got = lsxGetFrame(m_handle, &frame, &buffer, kSeriesFrameTimeoutMs);
            if (got == LSX_ERR_TIMEOUT) continue;
            if (got != LSX_OK) break;
            // Empty for a frame the program cannot read (a mono frame of other bits, a descriptor
            // that does not describe its buffer).
            last = frameToMat(frame, buffer);
            delivered = frame;
            fresh = anyFrame = true;
        }
        if (!anyFrame) {
            // Nothing has come yet in this series: there is no frame to keep for this exposure.
            qDebug() << "fpnCapture : no frame at " << e;
            continue;
        }

        m_frameBits = static_cast<int32_t>(delivered.bits);
        if (!isSeriesFormat(delivered.format)) {
            emit OS_FpnInfo(90, tr(kUnsupportedFormat));
            break;
        }
        // A stale frame is kept again as its own entry (a copy, so that no two entries share data).
        images.append(fresh ? last : last.clone());
        if (taken) taken->append(e);
        progress += 50.0 / exposures.size();
        emit OS_NewFrame(seriesPixmap(last, delivered), cv::Mat());
        emit OS_FpnInfo(static_cast<int>(progress),
                        tr("曝光设为 %1 us, 第 %2 张图像采集完成").arg(e).arg(images.size()));
    }
    lsxStop(m_handle);
    return true;
}

// The stages of the calibration verification (verifystages.h).
#include "calibration/verifystages.h"

#include "calibration/darkstats.h"
#include "camera/framegrab.h"
#include "camera/preview.h"
#include "statustext.h"

#include <QCoreApplication>
#include <QDebug>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace verify {

namespace {

constexpr uint32_t kFrameTimeoutMs = 3000;
// Time-outs in a row before a stack is given up.
constexpr int kMaxTimeouts = 3;
// Exposure changes before a level counts as not reached.
constexpr int kLevelSteps = 8;
// A lit stage darker than this share of full scale is no lit stage.
constexpr double kLitAtAll = 0.01;
// A frame with more than this share at full scale is cut off: its level says only "too bright".
constexpr double kCutOff = 0.02;
// The first black-level lift tried for a 16-bit dark cut off at 0 (each further one doubles it),
// and the least distance of the second lift from the first.
constexpr int kFirstLift = 4;
constexpr int kMinSecondLift = 4;

const char* const kPrefix = QT_TRANSLATE_NOOP("CameraServer", "校正验证-");
const char* const kFrameFailed = QT_TRANSLATE_NOOP("CameraServer", "校正验证-采集图像失败，错误原因：%1-%2.");
const char* const kUnsupported = QT_TRANSLATE_NOOP(
    "CameraServer",
    "校正验证-不支持的图像格式，当前仅支持 FORMAT_MONO & FORMAT_BGR24 & FORMAT_RGB24 & FORMAT_BGR32 & FORMAT_RGB32.");
const char* const kSizeChanged = QT_TRANSLATE_NOOP("CameraServer", "校正验证-采集过程中图像尺寸发生变化，请重试。");
const char* const kExposureFailed =
    QT_TRANSLATE_NOOP("CameraServer", "校正验证-设置曝光时间 %1 us 出错，错误原因：%2-%3.");
const char* const kDoffsetFailed = QT_TRANSLATE_NOOP("CameraServer", "校正验证-设置黑电平 %1 出错，错误原因：%2-%3.");
const char* const kLitDark = QT_TRANSLATE_NOOP(
    "CameraServer",
    "校正验证-明场过暗：曝光时间 %1 us 时亮度最高的平面只有满量程的 %2%，请确认镜头盖已取下、光源已打开后重试。");
const char* const kOutOfRange = QT_TRANSLATE_NOOP(
    "CameraServer",
    "校正验证-无法达到 %1% 饱和：约需曝光时间 %2 us，超出相机的范围 %3 – %4 us，请调整光源亮度后重试。");
const char* const kNotReached = QT_TRANSLATE_NOOP(
    "CameraServer", "校正验证-曝光时间调节 %1 次后仍未达到 %2% 饱和（最后为满量程的 %3%），请检查光源是否稳定后重试。");

QString withStatusText(const QString& text, lsxStatus status)
{
    return text.arg(status).arg(statusText(status));
}

// The largest per-column share at 0 over the planes of a grab.
double worstZeros(const std::vector<cv::Mat>& planes)
{
    double worst = 0.0;
    for (const cv::Mat& p : planes) worst = std::max(worst, worstColumnZeroShare(p));
    return worst;
}

}  // namespace

// ---- The camera as found ----

lsxStatus SwitchKeeper::read()
{
    const lsxHandle h = m_s.m_handle;
    char text[32] = {};
    if (lsxGetConfigString(h, "FPNC.Enable", text, sizeof text) == LSX_OK) {
        m_fpnByText = true;
        m_fpnOn = QString::fromLatin1(text).trimmed().compare(QLatin1String("true"), Qt::CaseInsensitive) == 0;
    } else {
        uint8_t value = 0;
        uint32_t size = 1;
        const lsxStatus status = lsxGet(h, LSX_KEY_FPN_ENABLE, &value, &size);
        if (status != LSX_OK) return status;
        m_fpnOn = value != 0;
    }
    std::memset(&m_flat, 0, sizeof m_flat);
    uint32_t size = sizeof m_flat;
    lsxStatus status = lsxGet(h, LSX_KEY_CORRECTION_SWITCH, &m_flat, &size);
    if (status != LSX_OK) return status;
    if ((status = lsxGetTriggerState(h, &m_triggerOn)) != LSX_OK) return status;
    if ((status = lsxGetTriggerSource(h, &m_triggerSource)) != LSX_OK) return status;
    if ((status = lsxGetSourceFormat(h, &m_source)) != LSX_OK) return status;
    if ((status = lsxGetTargetFormat(h, &m_target)) != LSX_OK) return status;
    if ((status = lsxGetExposure(h, &m_exposure)) != LSX_OK) return status;
    // A camera without a black level is measured all the same; its dark cannot be lifted.
    m_hasDoffset = !m_s.doffsetSkipped() && m_s.readDoffset(m_doffset) == LSX_OK;
    m_known = true;
    return LSX_OK;
}

void SwitchKeeper::sixteenBit()
{
    if (m_source == FORMAT_MONO && lsxSetSourceFormat(m_s.m_handle, FORMAT_MONO16_SOURCE) == LSX_OK)
        m_sourceChanged = true;
    if ((m_target == 30 || m_target == FORMAT_MONO) && lsxSetTargetFormat(m_s.m_handle, FORMAT_MONO16) == LSX_OK)
        m_targetChanged = true;
}

lsxStatus SwitchKeeper::softTrigger()
{
    m_triggerTouched = true;
    return m_s.enableSoftTrigger();
}

lsxStatus SwitchKeeper::correctionsAsFound()
{
    lsxStatus status;
    if (m_fpnByText)
        status = lsxSetConfigString(m_s.m_handle, "FPNC.Enable", m_fpnOn ? "true" : "false");
    else
        status = m_s.setCameraFpn(m_fpnOn);
    lsxCorrectionSwitch block = m_flat;
    uint32_t size = sizeof block;
    const lsxStatus flat = lsxSet(m_s.m_handle, LSX_KEY_CORRECTION_SWITCH, &block, &size);
    return status != LSX_OK ? status : flat;
}

lsxStatus SwitchKeeper::setExposure(double us)
{
    m_exposureChanged = true;
    return lsxSetExposure(m_s.m_handle, us);
}

lsxStatus SwitchKeeper::liftDoffset(int lift)
{
    m_doffsetChanged = true;
    return m_s.writeDoffset(m_doffset + lift);
}

lsxStatus SwitchKeeper::restore()
{
    if (m_restored) return m_restoreStatus;
    m_restored = true;
    const lsxHandle h = m_s.m_handle;
    lsxStop(h);
    if (!m_known) return m_restoreStatus = LSX_OK;
    lsxStatus first = LSX_OK;
    auto keep = [&first](lsxStatus status) {
        if (first == LSX_OK && status != LSX_OK) first = status;
    };
    if (m_sourceChanged) keep(lsxSetSourceFormat(h, m_source));
    if (m_targetChanged) keep(lsxSetTargetFormat(h, m_target));
    if (m_triggerTouched) {
        int32_t source = -1;
        bool on = false;
        if (lsxGetTriggerSource(h, &source) != LSX_OK || source != m_triggerSource)
            keep(lsxSetTriggerSource(h, m_triggerSource));
        if (lsxGetTriggerState(h, &on) != LSX_OK || on != m_triggerOn) keep(lsxSetTriggerState(h, m_triggerOn));
    }
    keep(correctionsAsFound());
    if (m_exposureChanged) keep(lsxSetExposure(h, m_exposure));
    if (m_doffsetChanged) keep(m_s.writeDoffset(m_doffset));
    return m_restoreStatus = first;
}

// ---- Stacks ----

StackGrab grabStack(CameraServer& s, int lines, int progress, const Cancelled& cancelled)
{
    StackGrab g;
    std::vector<std::vector<cv::Mat>> parts;
    int timeouts = 0;
    FrameWait silence;
    bool settled = false;
    for (;;) {
        if (cancelled()) {
            g.stop = Stop::cancel();
            return g;
        }
        lsxStatus status = lsxTriggerFire(s.m_handle);
        lsxFrame frame;
        std::memset(&frame, 0, sizeof frame);
        void* buffer = nullptr;
        if (status == LSX_OK) status = lsxGetFrame(s.m_handle, &frame, &buffer, kFrameTimeoutMs);
        // A silent camera is waited for a few time-outs, told with their count and the time
        // waited, and no longer than the server's frame time-out.
        if (status == LSX_ERR_TIMEOUT && ++timeouts < kMaxTimeouts
            && (s.frameRetry(silence, QCoreApplication::translate("CameraServer", kPrefix), progress) || cancelled()))
            continue;
        if (status != LSX_OK) {
            g.stop = Stop::failure(withStatusText(QCoreApplication::translate("CameraServer", kFrameFailed), status));
            return g;
        }
        timeouts = 0;
        silence.delivered();
        if (!settled) {
            settled = true;
            continue;
        }
        std::vector<cv::Mat> planes;
        if (!s.splitFramePlanes(frame, buffer, true, planes) || planes.empty() || planes.front().empty()) {
            g.stop = Stop::failure(QCoreApplication::translate("CameraServer", kUnsupported));
            return g;
        }
        if (!parts.empty()) {
            const std::vector<cv::Mat>& first = parts.front();
            bool same = planes.size() == first.size() && int(frame.bits) == g.bits;
            for (size_t p = 0; same && p < planes.size(); ++p) same = planes[p].cols == first[p].cols;
            if (!same) {
                g.stop = Stop::failure(QCoreApplication::translate("CameraServer", kSizeChanged));
                return g;
            }
        }
        g.bits = int(frame.bits);
        g.format = int(frame.format);
        parts.push_back(std::move(planes));
        std::vector<int> rows(parts.front().size(), 0);
        for (const auto& part : parts)
            for (size_t p = 0; p < part.size(); ++p) rows[p] += part[p].rows;
        if (*std::min_element(rows.begin(), rows.end()) >= lines) break;
    }
    for (size_t p = 0; p < parts.front().size(); ++p) {
        std::vector<cv::Mat> rows;
        for (const auto& part : parts) rows.push_back(part[p]);
        cv::Mat stack;
        cv::vconcat(rows, stack);
        g.planes.push_back(stack);
    }
    return g;
}

LevelExposure findLevelExposure(CameraServer& s, SwitchKeeper& keeper, double target, const Cancelled& cancelled)
{
    LevelExposure out;
    lsxDoubleDescr range{};
    if (lsxGetExposureDescr(s.m_handle, &range) != LSX_OK) range = {0.0, 0.0, 0.0};
    auto inRange = [&range](double e) { return range.max <= range.min || (e >= range.min && e <= range.max); };
    double e = keeper.exposure();
    for (int step = 0; step < kLevelSteps; ++step) {
        const lsxStatus set = keeper.setExposure(e);
        if (set != LSX_OK) {
            out.stop = Stop::failure(
                QCoreApplication::translate("CameraServer", kExposureFailed).arg(e).arg(set).arg(statusText(set)));
            return out;
        }
        // One frame's worth of lines is enough to judge the level.
        const StackGrab g = grabStack(s, 1, kWaitProgress, cancelled);
        if (g.stop.any()) {
            out.stop = g.stop;
            return out;
        }
        const double full = rawFullScale(g.bits);
        double level = 0.0, cut = 0.0;
        for (const cv::Mat& plane : g.planes) {
            const BrightLevel b = brightLevel(plane, full);
            level = std::max(level, b.level);
            cut = std::max(cut, b.clipped);
        }
        out.exposure = e;
        out.reached = 100.0 * level;
        qDebug() << "verify level " << target << " at " << e << " us: " << out.reached << " % (cut off " << cut << ")";
        if (cut <= kCutOff && std::abs(out.reached / target - 1.0) <= kVerifyLevelTolerance) return out;
        if (cut <= kCutOff && level < kLitAtAll) {
            out.stop =
                Stop::failure(QCoreApplication::translate("CameraServer", kLitDark).arg(e).arg(out.reached, 0, 'f', 2));
            return out;
        }
        // The signal grows with the exposure; a frame cut off at full scale only says "less".
        const double next = cut > kCutOff ? e / 2.0 : e * target / out.reached;
        if (!inRange(next)) {
            out.stop = Stop::failure(QCoreApplication::translate("CameraServer", kOutOfRange)
                                         .arg(target)
                                         .arg(next, 0, 'f', 1)
                                         .arg(range.min)
                                         .arg(range.max));
            return out;
        }
        e = next;
    }
    out.stop = Stop::failure(QCoreApplication::translate("CameraServer", kNotReached)
                                 .arg(kLevelSteps)
                                 .arg(target)
                                 .arg(out.reached, 0, 'f', 1));
    return out;
}

DarkGrab grabDark(CameraServer& s, SwitchKeeper& keeper, int lines, const Cancelled& cancelled, bool keepParts)
{
    DarkGrab out;
    StackGrab asFound = grabStack(s, lines, kWaitProgress, cancelled);
    out.stop = asFound.stop;
    out.bits = asFound.bits;
    out.format = asFound.format;
    if (out.stop.any()) return out;
    out.asFound = asFound.planes;
    out.lifts.resize(asFound.planes.size());
    for (size_t p = 0; p < asFound.planes.size(); ++p) {
        out.lifts[p].zerosAsFound = zeroShare(asFound.planes[p]);
        out.lifts[p].worstColumnZeros = worstColumnZeroShare(asFound.planes[p]);
    }
    // An 8-bit sample is 4 black-level steps wide: its dark is taken over 8 lifts a step apart
    // (each an eighth of the lines), whose mean is the mean at 10-bit resolution; a 16-bit
    // sample's dark as it comes, when nothing of it is cut off at 0.
    const int dither = dark8BitDither(out.bits);
    if (dither == 1 && worstZeros(asFound.planes) <= kDarkMaxColumnZeros) {
        out.planes = std::move(asFound.planes);
        return out;
    }

    auto notMeasurable = [&] {
        for (DarkLift& l : out.lifts) l.measurable = false;
        out.planes = asFound.planes;
        return out;
    };
    if (!keeper.hasDoffset()) return notMeasurable();
    // The black level's room above its value as found, up to the register's range (the B limit
    // binds the calibration's black level, not a lift for a measurement), each lift taking
    // `dither` steps.
    const int room = doffsetRoom(keeper.doffset(), dither);
    // The planes at lifts lift .. lift + dither - 1, a share of the lines each, one stack per plane.
    auto grabAt = [&](int lift, StackGrab& g) {
        std::vector<std::vector<cv::Mat>> parts;
        for (int j = 0; j < dither; ++j) {
            const lsxStatus set = keeper.liftDoffset(lift + j);
            if (set != LSX_OK) {
                g.stop = Stop::failure(QCoreApplication::translate("CameraServer", kDoffsetFailed)
                                           .arg(keeper.doffset() + lift + j)
                                           .arg(set)
                                           .arg(statusText(set)));
                return false;
            }
            const int share = lines / dither;
            StackGrab one = grabStack(s, share, kWaitProgress, cancelled);
            if (one.stop.any()) {
                g.stop = one.stop;
                return false;
            }
            for (size_t p = 0; p < one.planes.size(); ++p) {
                if (parts.size() <= p) parts.resize(p + 1);
                parts[p].push_back(one.planes[p].rowRange(0, std::min(share, one.planes[p].rows)));
            }
            g.bits = one.bits;
            g.format = one.format;
        }
        g.planes.clear();
        for (const std::vector<cv::Mat>& rows : parts) {
            cv::Mat stack;
            cv::vconcat(rows, stack);
            g.planes.push_back(stack);
        }
        if (keepParts) out.parts.push_back({lift, dither, lines / dither, g.planes});
        return true;
    };
    StackGrab first, second;
    int s1 = -1;
    // From no lift for an 8-bit dark, else from kFirstLift, doubling; the last try as high as
    // leaves room for the second lift.
    for (int lift = dither > 1 ? 0 : kFirstLift, tried = -1; tried < room - kMinSecondLift;
         lift = std::max(kFirstLift, 2 * lift)) {
        tried = std::min(lift, room - kMinSecondLift);
        if (!grabAt(tried, first)) break;
        if (worstZeros(first.planes) <= kDarkMaxColumnZeros) {
            s1 = tried;
            break;
        }
    }
    // The second lift at least twice as far again: the extrapolation back over s1 multiplies what
    // is left of the noise and the cut-off in the difference by s1 / (s2 - s1), here at most 1/2.
    const int s2 = std::min(room, s1 + std::max(kMinSecondLift, 2 * (s1 + dither)));
    bool measured = s1 >= 0 && !first.stop.any() && s2 - s1 >= kMinSecondLift && grabAt(s2, second);
    const lsxStatus back = keeper.liftDoffset(0);
    for (const Stop* stop : {&first.stop, &second.stop})
        if (stop->any()) {
            out.stop = *stop;
            return out;
        }
    if (back != LSX_OK) {
        out.stop = Stop::failure(QCoreApplication::translate("CameraServer", kDoffsetFailed)
                                     .arg(keeper.doffset())
                                     .arg(back)
                                     .arg(statusText(back)));
        return out;
    }
    measured = measured && first.planes.size() == asFound.planes.size() && second.planes.size() == first.planes.size();
    if (!measured) return notMeasurable();
    // Each lift's stack stands at the middle of its steps.
    const double middle = (dither - 1) / 2.0;
    for (size_t p = 0; p < first.planes.size(); ++p) {
        cv::Mat dark = extrapolatedDark(first.planes[p], s1 + middle, second.planes[p], s2 + middle);
        if (dark.empty()) return notMeasurable();
        out.planes.push_back(dark);
        out.lifts[p].first = s1;
        out.lifts[p].second = s2;
        out.lifts[p].steps = dither;
        out.lifts[p].worstColumnZeros =
            std::max(worstColumnZeroShare(first.planes[p]), worstColumnZeroShare(second.planes[p]));
    }
    return out;
}

void showFrame(CameraServer& s, uint32_t timeoutMs)
{
    if (lsxTriggerFire(s.m_handle) != LSX_OK) return;
    lsxFrame frame;
    std::memset(&frame, 0, sizeof frame);
    void* buffer = nullptr;
    if (lsxGetFrame(s.m_handle, &frame, &buffer, timeoutMs) != LSX_OK) return;
    const cv::Mat image = frameToMat(frame, buffer);
    if (image.empty()) return;
    emit s.OS_VerifyFrame(matToPixmap(image, int(frame.format), int(frame.bits)),
                          columnMeans(image, int(frame.format), int(frame.bits)));
}

}  // namespace verify

// CameraServer: calibration verification. How flat the camera's output came out: the residual
// column non-uniformity, measured with the camera's corrections off ("before") and as the operator
// has them ("after"), in darkness and on the lit flat target, at the gain and exposure as set.
// It changes nothing for good: every switch it touches goes back as it was found.
//
// The operator's story:
//  1. the cancel flag cleared; the camera's switches as found: its FPN ("FPNC.Enable", else key
//     46), the flat-field block (key 40), trigger mode and source, source and target format; the
//     limits of FPN.ini; the camera's name, serial, firmware, gain and exposure for the report;
//  2. raw 16-bit mono from an 8-bit mono target, soft trigger on, stream on;
//  3. "cover the lens": the run waits for the operator's answer;
//  4. dark with the corrections off, then with them as found: each time a frame let pass after
//     the switch, then frames until every plane holds 1000 lines; a lens left open (a column
//     mean above the camera's B limit, as the dark field judges) is refused;
//  5. "uncover the lens and light the flat target": the run waits again;
//  6. bright, the same two ways; a plane that clips (more than 0.1 % of its samples at full scale)
//     or stays below 10 % of full scale is refused, with what the operator must change;
//  7. stream off and every switch back as found, here and at every earlier end (a cancel, a
//     failure, an exception);
//  8. the figures of every plane before and after, to the window, and the closing report.
// A cancel, here and while the run waits for an answer, ends it quietly, switches restored.
#include "camera/cameraserver.h"

#include "calibration/darkstats.h"
#include "calibration/verifystats.h"
#include "camera/tables.h"
#include "statustext.h"

#include <QDateTime>
#include <QDebug>
#include <QSettings>

#include <cstring>
#include <functional>

namespace {

constexpr uint32_t kFrameTimeoutMs = 3000;
// Time-outs in a row before a stack is given up.
constexpr int kMaxTimeouts = 3;
// Temporal samples per plane and stack.
constexpr int kLines = 1000;

enum Question { AskDark = 1, AskBright = 2 };

const QString kPrefix = QStringLiteral("校正验证-");
const QString kNoCamera = QStringLiteral("校正验证-没有连接上相机。");
const QString kNotLineScan = QStringLiteral("校正验证-此相机类型不支持校正验证。");
const QString kReadSwitches = QStringLiteral("校正验证-读取相机校正开关出错，错误原因：%1-%2.");
const QString kStart = QStringLiteral("校正验证-增益 %1，曝光时间 %2 us，每个平面采集 %3 行。");
const QString kNothingOn = QStringLiteral("校正验证-相机FPN与平场校正均未打开，校正后的数值将与校正前相同。");
const QString kTriggerFailed = QStringLiteral("校正验证-使能软触发出错，错误原因：%1-%2.");
const QString kStreamFailed = QStringLiteral("校正验证-启动视频流出错，错误原因：%1-%2.");
const QString kAskDark = QStringLiteral("校正验证-请盖上镜头盖，使传感器处于完全黑暗中，然后点击“继续”。");
const QString kAskBright = QStringLiteral("校正验证-请取下镜头盖，用均匀光源照亮平场目标，然后点击“继续”。");
const QString kDarkBefore = QStringLiteral("校正验证-采集暗场图像（关闭相机校正）...");
const QString kDarkAfter = QStringLiteral("校正验证-采集暗场图像（相机校正按原设置）...");
const QString kBrightBefore = QStringLiteral("校正验证-采集明场图像（关闭相机校正）...");
const QString kBrightAfter = QStringLiteral("校正验证-采集明场图像（相机校正按原设置）...");
const QString kAsFoundFailed = QStringLiteral("校正验证-恢复相机校正开关出错，错误原因：%1-%2.");
const QString kFrameFailed = QStringLiteral("校正验证-采集图像失败，错误原因：%1-%2.");
const QString kUnsupported = QStringLiteral(
    "校正验证-不支持的图像格式，当前仅支持 FORMAT_MONO & FORMAT_BGR24 & FORMAT_RGB24 & FORMAT_BGR32 & FORMAT_RGB32.");
const QString kSizeChanged = QStringLiteral("校正验证-采集过程中图像尺寸发生变化，请重试。");
const QString kNotDark =
    QStringLiteral("校正验证-暗场图像过亮：%1 的最大列均值为 %2（限制 %3），请确认镜头盖已盖好后重试。");
const QString kClipped = QStringLiteral(
    "校正验证-明场图像过亮：%1 有 %2% 的像素达到满量程（最多允许 0.1%），请降低光源亮度或曝光时间后重试。");
const QString kTooDark = QStringLiteral(
    "校正验证-明场图像过暗：%1 的平均亮度只有满量程的 %2%（至少需要 10%），请提高光源亮度或曝光时间后重试。");
const QString kComputing = QStringLiteral("校正验证-计算残余非均匀性...");
const QString kRestored = QStringLiteral("校正验证-相机设置已恢复。");
const QString kRestoreFailed =
    QStringLiteral("校正验证-恢复相机设置出错，错误原因：%1-%2.请检查相机的FPN与平场使能、触发方式和图像格式。");
const QString kPassed = QStringLiteral("校正验证-校正验证完成，结果：合格。点击确定查看报告。");
const QString kNotPassed = QStringLiteral("校正验证-校正验证完成，结果：不合格。点击确定查看报告。");
const QString kFailedRun = QStringLiteral("校正验证-校正验证执行失败，请重试。");

QString withStatusText(const QString& text, lsxStatus status)
{
    return text.arg(status).arg(statusText(status));
}

// How a stage ended early: quietly on a cancel, or on a failure told in `text` (empty when the
// failing step has told it already).
struct Stop {
    enum Kind { None, Cancelled, Failed };
    Kind kind = None;
    QString text;
    bool any() const { return kind != None; }
    static Stop cancel() { return {Cancelled, QString()}; }
    static Stop failure(const QString& text) { return {Failed, text}; }
};

// The camera's switches as the verification found them, and the way back to them. The stream
// goes off and everything changed goes back at restore(), which runs at the latest when the
// keeper goes out of scope, so that no end of the run leaves the camera as the measurement had it.
class SwitchKeeper {
public:
    explicit SwitchKeeper(CameraServer& s) : m_s(s) {}
    ~SwitchKeeper() { restore(); }
    SwitchKeeper(const SwitchKeeper&) = delete;
    SwitchKeeper& operator=(const SwitchKeeper&) = delete;

    // The FPN switch (its text, else key 46), the flat-field block, the trigger and the formats;
    // the first failing status. Nothing is changed before all of them are known.
    lsxStatus read()
    {
        char text[32] = {};
        if (lsxGetConfigString(m_s.m_handle, "FPNC.Enable", text, sizeof text) == LSX_OK) {
            m_fpnByText = true;
            m_fpnOn = QString::fromLatin1(text).trimmed().compare(QLatin1String("true"), Qt::CaseInsensitive) == 0;
        } else {
            uint8_t value = 0;
            uint32_t size = 1;
            const lsxStatus status = lsxGet(m_s.m_handle, LSX_KEY_FPN_ENABLE, &value, &size);
            if (status != LSX_OK) return status;
            m_fpnOn = value != 0;
        }
        std::memset(&m_flat, 0, sizeof m_flat);
        uint32_t size = sizeof m_flat;
        lsxStatus status = lsxGet(m_s.m_handle, LSX_KEY_CORRECTION_SWITCH, &m_flat, &size);
        if (status != LSX_OK) return status;
        if ((status = lsxGetTriggerState(m_s.m_handle, &m_triggerOn)) != LSX_OK) return status;
        if ((status = lsxGetTriggerSource(m_s.m_handle, &m_triggerSource)) != LSX_OK) return status;
        if ((status = lsxGetSourceFormat(m_s.m_handle, &m_source)) != LSX_OK) return status;
        if ((status = lsxGetTargetFormat(m_s.m_handle, &m_target)) != LSX_OK) return status;
        m_known = true;
        return LSX_OK;
    }

    bool fpnOn() const { return m_fpnOn; }
    bool flatOn() const { return m_flat.enable != 0; }

    // Raw 16-bit mono, as the calibrations measure: an 8-bit mono source or target is widened.
    void sixteenBit()
    {
        if (m_source == FORMAT_MONO && lsxSetSourceFormat(m_s.m_handle, FORMAT_MONO16_SOURCE) == LSX_OK)
            m_sourceChanged = true;
        if ((m_target == 30 || m_target == FORMAT_MONO) && lsxSetTargetFormat(m_s.m_handle, FORMAT_MONO16) == LSX_OK)
            m_targetChanged = true;
    }

    lsxStatus softTrigger()
    {
        m_triggerTouched = true;
        return m_s.enableSoftTrigger();
    }

    // The FPN switch and the flat-field block as found.
    lsxStatus correctionsAsFound()
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

    // Stream off, then formats, trigger and corrections as found; every step is tried, the first
    // failing status is the answer. Once only.
    lsxStatus restore()
    {
        if (m_restored) return m_restoreStatus;
        m_restored = true;
        lsxStop(m_s.m_handle);
        if (!m_known) return m_restoreStatus = LSX_OK;
        lsxStatus first = LSX_OK;
        auto keep = [&first](lsxStatus status) {
            if (first == LSX_OK && status != LSX_OK) first = status;
        };
        if (m_sourceChanged) keep(lsxSetSourceFormat(m_s.m_handle, m_source));
        if (m_targetChanged) keep(lsxSetTargetFormat(m_s.m_handle, m_target));
        if (m_triggerTouched) {
            int32_t source = -1;
            bool on = false;
            if (lsxGetTriggerSource(m_s.m_handle, &source) != LSX_OK || source != m_triggerSource)
                keep(lsxSetTriggerSource(m_s.m_handle, m_triggerSource));
            if (lsxGetTriggerState(m_s.m_handle, &on) != LSX_OK || on != m_triggerOn)
                keep(lsxSetTriggerState(m_s.m_handle, m_triggerOn));
        }
        keep(correctionsAsFound());
        return m_restoreStatus = first;
    }

private:
    CameraServer& m_s;
    bool m_known = false;
    bool m_fpnByText = false;
    bool m_fpnOn = false;
    lsxCorrectionSwitch m_flat{};
    bool m_triggerOn = false;
    int32_t m_triggerSource = 0;
    int32_t m_source = -1, m_target = -1;
    bool m_sourceChanged = false, m_targetChanged = false, m_triggerTouched = false;
    bool m_restored = false;
    lsxStatus m_restoreStatus = LSX_OK;
};

// The planes of one stack: frames on soft trigger, the first let pass (it may have been exposed
// before the last switch), then each frame dealt into its planes and their rows appended, until
// every plane holds `lines` rows.
struct StackGrab {
    std::vector<cv::Mat> planes;
    int bits = 0;
    int format = 0;
    Stop stop;
};

StackGrab grabStack(CameraServer& s, int lines, const std::function<bool()>& cancelled)
{
    StackGrab g;
    std::vector<std::vector<cv::Mat>> parts;
    int timeouts = 0;
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
        if (status == LSX_ERR_TIMEOUT && ++timeouts < kMaxTimeouts) continue;
        if (status != LSX_OK) {
            g.stop = Stop::failure(withStatusText(kFrameFailed, status));
            return g;
        }
        timeouts = 0;
        if (!settled) {
            settled = true;
            continue;
        }
        std::vector<cv::Mat> planes;
        if (!s.splitFramePlanes(frame, buffer, true, planes) || planes.empty() || planes.front().empty()) {
            g.stop = Stop::failure(kUnsupported);
            return g;
        }
        if (!parts.empty()) {
            const std::vector<cv::Mat>& first = parts.front();
            bool same = planes.size() == first.size() && int(frame.bits) == g.bits;
            for (size_t p = 0; same && p < planes.size(); ++p) same = planes[p].cols == first[p].cols;
            if (!same) {
                g.stop = Stop::failure(kSizeChanged);
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

// The limits of FPN.ini; a missing key is written with its default, so that the station sees
// what it may set.
VerifyLimits verifyLimitsSetting(CameraServer& s)
{
    const VerifyLimits defaults;
    // Synced first, so that an edit of the file while the program runs counts at once.
    s.settings().sync();
    const QStringList keys = s.settings().allKeys();
    bool wrote = false;
    auto value = [&](const QString& key, const QVariant& fallback) {
        if (!keys.contains(key)) {
            s.settings().setValue(key, fallback);
            wrote = true;
        }
        return s.settings().value(key, fallback);
    };
    VerifyLimits l;
    l.maxPrnu = value(VerifyIni::MaxPrnu, defaults.maxPrnu).toDouble();
    l.maxDsnu = value(VerifyIni::MaxDsnu, defaults.maxDsnu).toDouble();
    l.maxDefects = value(VerifyIni::MaxDefects, defaults.maxDefects).toInt();
    l.defectDark = value(VerifyIni::DefectDark, defaults.defectDark).toDouble();
    l.defectResponse = value(VerifyIni::DefectResponse, defaults.defectResponse).toDouble();
    if (wrote) s.syncSettings();
    return l;
}

}  // namespace

void CameraServer::verifyStart()
{
    qRegisterMetaType<VerifyReport>();
    // The keeper inside the run has put the camera back by the time this runs.
    guarded(
        "verifyStart", [&] { verifyRun(); }, [this] { emit OS_FpnInfo(101, kFailedRun); });
}

void CameraServer::verifyRun()
{
    // 1. The switches as found, the limits, the report's heading.
    {
        QWriteLocker lock(&m_lock);
        m_cancel = false;
    }
    if (!m_opened) {
        emit OS_FpnInfo(101, kNoCamera);
        return;
    }
    if (!m_isLinescan || m_isTvk317) {
        emit OS_FpnInfo(101, kNotLineScan);
        return;
    }
    readLineCount();

    VerifyReport report;
    report.when = QDateTime::currentDateTime();
    report.camera = m_cameraName;
    lsxCameraInfo info;
    std::memset(&info, 0, sizeof info);
    if (lsxGetCameraInfo(m_handle, &info) == LSX_OK) {
        report.model = cameraInfoText(info.model, sizeof info.model);
        report.serial = cameraInfoText(info.serialNumber, sizeof info.serialNumber);
        report.version = cameraInfoText(info.version, sizeof info.version);
    }
    float gain = 0.0f;
    lsxGetAnalogGain(m_handle, &gain);
    report.gain = gain;
    lsxGetExposure(m_handle, &report.exposure);
    report.limits = verifyLimitsSetting(*this);

    SwitchKeeper keeper(*this);
    const lsxStatus read = keeper.read();
    if (read != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(kReadSwitches, read));
        return;
    }
    report.fpnOn = keeper.fpnOn();
    report.flatOn = keeper.flatOn();
    emit OS_FpnInfo(1, kStart.arg(report.gain).arg(report.exposure).arg(kLines));
    if (!report.fpnOn && !report.flatOn) emit OS_FpnInfo(5, kNothingOn);

    // How every later stage ends early: its own message (if any), the camera put back, the
    // closing failure; a cancel is quiet unless the camera cannot be put back.
    auto end = [&](const Stop& stop) {
        if (!stop.text.isEmpty()) emit OS_FpnInfo(101, stop.text);
        const lsxStatus restored = keeper.restore();
        if (restored != LSX_OK) emit OS_FpnInfo(101, withStatus(kRestoreFailed, restored));
        if (stop.kind != Stop::Cancelled || restored != LSX_OK) emit OS_FpnInfo(101, kFailedRun);
    };

    // 2. Raw data on soft trigger, stream on.
    keeper.sixteenBit();
    lsxStatus status = keeper.softTrigger();
    if (status != LSX_OK) return end(Stop::failure(withStatus(kTriggerFailed, status)));
    status = lsxStart(m_handle);
    if (status < LSX_OK) return end(Stop::failure(withStatus(kStreamFailed, status)));

    // The operator's answer to one question; a cancel, a closing camera or a "stop" end the wait.
    auto ask = [this](Question step, int progress, const QString& text) {
        m_verifyPrompt.arm(step);
        emit OS_FpnInfo(progress, text);
        emit OS_VerifyAsk(step, text);
        return m_verifyPrompt.wait([this] { return cancelRequested(); }) == OperatorPrompt::Outcome::Proceed;
    };
    auto cancelled = [this] { return cancelRequested(); };
    // One stack with the corrections off, then one with them as found; each summed up per plane
    // at once, so that no more than one stack is held.
    auto measurePair = [&](int progress, const QString& offText, const QString& onText, bool bright,
                           std::vector<StackStats>& off, std::vector<StackStats>& on, int& format) -> Stop {
        for (int pass = 0; pass < 2; ++pass) {
            emit OS_FpnInfo(progress + 10 * pass, pass == 0 ? offText : onText);
            if (pass == 0) {
                if (!cameraCorrectionsOff(kPrefix)) return Stop::failure(QString());
            } else {
                const lsxStatus asFound = keeper.correctionsAsFound();
                if (asFound != LSX_OK) return Stop::failure(withStatus(kAsFoundFailed, asFound));
            }
            const StackGrab g = grabStack(*this, kLines, cancelled);
            if (g.stop.any()) return g.stop;
            report.bits = g.bits;
            format = g.format;
            std::vector<StackStats>& out = pass == 0 ? off : on;
            for (size_t p = 0; p < g.planes.size(); ++p) {
                // Darkness is judged as the dark field judges it: no column above the camera's B
                // limit on the 8-bit scale.
                if (!bright && pass == 0) {
                    const MeanRange range = columnMeanRange(g.planes[p], eightBitScale(uint32_t(g.bits)));
                    if (range.max > float(m_maxB))
                        return Stop::failure(kNotDark.arg(planeName(g.format, g.planes.size(), p))
                                                 .arg(range.max, 0, 'f', 2)
                                                 .arg(m_maxB));
                }
                if (bright) {
                    const BrightLevel level = brightLevel(g.planes[p], rawFullScale(g.bits));
                    const QString name = planeName(g.format, g.planes.size(), p);
                    if (level.clipped > kVerifyMaxClipped)
                        return Stop::failure(kClipped.arg(name).arg(100.0 * level.clipped, 0, 'f', 2));
                    if (level.level < kVerifyMinBright)
                        return Stop::failure(kTooDark.arg(name).arg(100.0 * level.level, 0, 'f', 1));
                }
                out.push_back(stackStats(g.planes[p], dn10Scale(g.bits)));
            }
        }
        return Stop{};
    };

    // 3, 4. Dark, both ways.
    if (!ask(AskDark, 10, kAskDark)) return end(Stop::cancel());
    std::vector<StackStats> darkOff, darkOn, brightOff, brightOn;
    int format = 0;
    Stop stop = measurePair(20, kDarkBefore, kDarkAfter, false, darkOff, darkOn, format);
    if (stop.any()) return end(stop);

    // 5, 6. Bright, both ways, each plane judged fit first.
    if (!ask(AskBright, 40, kAskBright)) return end(Stop::cancel());
    stop = measurePair(50, kBrightBefore, kBrightAfter, true, brightOff, brightOn, format);
    if (stop.any()) return end(stop);

    // 7. The camera as it was.
    const lsxStatus restored = keeper.restore();
    if (restored != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(kRestoreFailed, restored));
        emit OS_FpnInfo(101, kFailedRun);
        return;
    }
    emit OS_FpnInfo(80, kRestored);

    // 8. The figures, plane by plane.
    emit OS_FpnInfo(85, kComputing);
    const size_t planes = std::min({darkOff.size(), darkOn.size(), brightOff.size(), brightOn.size()});
    if (planes == 0 || darkOff.size() != brightOff.size()) return end(Stop::failure(kSizeChanged));
    report.lines = darkOff.front().lines;
    for (size_t p = 0; p < planes; ++p) {
        VerifyPlane plane;
        plane.name = planeName(format, planes, p);
        plane.before = verifyFigures(darkOff[p], brightOff[p], report.limits);
        plane.after = verifyFigures(darkOn[p], brightOn[p], report.limits);
        report.lines =
            std::min({report.lines, darkOff[p].lines, darkOn[p].lines, brightOff[p].lines, brightOn[p].lines});
        qDebug() << "verify" << plane.name << "before" << plane.before.dsnu << plane.before.prnu << "after"
                 << plane.after.dsnu << plane.after.prnu << "defects" << plane.after.defects.size();
        report.planes.append(plane);
    }
    emit OS_VerifyFinished(report);
    emit OS_FpnInfo(100, reportPasses(report) ? kPassed : kNotPassed);
}

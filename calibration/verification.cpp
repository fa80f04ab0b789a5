// CameraServer: calibration verification. How flat the camera's output came out: the residual
// column non-uniformity after EMVA 1288, measured with the camera's corrections off ("before") and
// as the operator has them ("after"): DSNU in darkness at the working exposure, PRNU at the levels
// of saturation EMVA uses, each with a dark taken at its own exposure. It changes nothing for
// good: every switch, the exposure and the black level go back as they were found.
//
// The operator's story:
//  1. the cancel flag cleared; the camera's switches as found: its FPN ("FPNC.Enable", else key
//     46), the flat-field block (key 40), trigger mode and source, source and target format, the
//     exposure (the working one, at which the calibration took its dark) and the black level; the
//     limits, the levels (Verify/Levels) and where to keep the raw stacks (Verify/StackFolder) of
//     FPN.ini; the camera's name, serial, firmware and gain for the report;
//  2. raw 16-bit mono from an 8-bit mono target, soft trigger on, stream on;
//  3. "light the flat target": the run waits for the operator's answer, the image shown;
//  4. per level: the exposure that brings the brightest plane to that share of full scale, set by
//     the run itself with the corrections off; then a bright stack with the corrections off and
//     one with them as found; a plane that clips (more than 0.1 % of its samples at full scale) is
//     refused, with what the operator must change;
//  5. "cover the lens": the run waits again;
//  6. darks, with the corrections off and as found, at the working exposure (DSNU) and at each
//     level's exposure (the dark that level's PRNU subtracts): each clear of 0, the black level
//     lifted by known steps and extrapolated back where the output is cut off at 0 (a corrected
//     dark usually is), or not measurable; a lens left open (a column mean above the camera's B
//     limit, as the dark field judges) is refused;
//  7. stream off and everything back as found, here and at every earlier end (a cancel, a
//     failure, an exception);
//  8. a lit stage less than 10 % of saturation above its dark is refused; otherwise the figures of
//     every plane before and after go to the window, and the closing report.
// A cancel, here and while the run waits for an answer, ends it quietly, the camera restored.
// Where Verify/StackFolder names a folder, every stack of steps 4 and 6 is kept there as grabbed,
// with an index that the closing figures complete (verifystacks.h); at an earlier end the index
// holds the stacks so far.
#include "camera/cameraserver.h"

#include "calibration/darkstats.h"
#include "calibration/verifystacks.h"
#include "calibration/verifystages.h"
#include "calibration/verifystats.h"
#include "camera/framegrab.h"
#include "camera/settingranges.h"
#include "camera/tables.h"
#include "statustext.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QElapsedTimer>
#include <QSettings>

#include <cstring>

using verify::Stop;

namespace {

// Temporal samples per plane and stack.
constexpr int kLines = 1000;
// While the run waits for an answer, the image is shown this often, each frame given this long.
constexpr qint64 kLiveEveryMs = 150;
constexpr uint32_t kLiveTimeoutMs = 500;

enum Question { AskDark = 1, AskBright = 2 };

const char* const kPrefix = QT_TRANSLATE_NOOP("CameraServer", "校正验证-");
const char* const kNoCamera = QT_TRANSLATE_NOOP("CameraServer", "校正验证-没有连接上相机。");
const char* const kNotLineScan = QT_TRANSLATE_NOOP("CameraServer", "校正验证-此相机类型不支持校正验证。");
const char* const kBadLevels = QT_TRANSLATE_NOOP(
    "CameraServer",
    "校正验证-设置 Verify/Levels 的值“%1”无效：应为 10 到 95 之间由小到大的饱和百分数，以逗号分隔，如 25,50,80。");
const char* const kReadSwitches = QT_TRANSLATE_NOOP("CameraServer", "校正验证-读取相机校正开关出错，错误原因：%1-%2.");
const char* const kStart = QT_TRANSLATE_NOOP(
    "CameraServer", "校正验证-增益 %1，工作曝光时间 %2 us，黑电平 %3；PRNU 在 %4 饱和下测量，每个平面采集 %5 行。");
const char* const kNothingOn =
    QT_TRANSLATE_NOOP("CameraServer", "校正验证-相机FPN与平场校正均未打开，校正后的数值将与校正前相同。");
const char* const kTriggerFailed = QT_TRANSLATE_NOOP("CameraServer", "校正验证-使能软触发出错，错误原因：%1-%2.");
const char* const kStreamFailed = QT_TRANSLATE_NOOP("CameraServer", "校正验证-启动视频流出错，错误原因：%1-%2.");
const char* const kAskDark =
    QT_TRANSLATE_NOOP("CameraServer", "校正验证-请盖上镜头盖，使传感器处于完全黑暗中，然后点击“继续”。");
const char* const kAskBright =
    QT_TRANSLATE_NOOP("CameraServer", "校正验证-请取下镜头盖，用均匀光源照亮平场目标，然后点击“继续”。");
const char* const kLevelFound =
    QT_TRANSLATE_NOOP("CameraServer", "校正验证-%1% 饱和：曝光时间 %2 us（亮度最高的平面为满量程的 %3%）。");
const char* const kBrightBefore =
    QT_TRANSLATE_NOOP("CameraServer", "校正验证-采集明场图像（%1% 饱和，关闭相机校正）...");
const char* const kBrightAfter =
    QT_TRANSLATE_NOOP("CameraServer", "校正验证-采集明场图像（%1% 饱和，相机校正按原设置）...");
const char* const kDarkBefore =
    QT_TRANSLATE_NOOP("CameraServer", "校正验证-采集暗场图像（曝光时间 %1 us，关闭相机校正）...");
const char* const kDarkAfter =
    QT_TRANSLATE_NOOP("CameraServer", "校正验证-采集暗场图像（曝光时间 %1 us，相机校正按原设置）...");
const char* const kLifted =
    QT_TRANSLATE_NOOP("CameraServer", "校正验证-暗场在黑电平抬升 %1 与 %2 后测量，外推到原黑电平。");
const char* const kUnliftable = QT_TRANSLATE_NOOP(
    "CameraServer",
    "校正验证-%1在曝光时间 %2 us 的暗场被截断为 0（有列超过 1% 的像素为 0），%3：该暗场不可测，相应的 DSNU/PRNU "
    "记为不可测，结论不能为合格。");
const char* const kNoDoffset = QT_TRANSLATE_NOOP("CameraServer", "相机的黑电平无法调节");
const char* const kNoRoom = QT_TRANSLATE_NOOP("CameraServer", "黑电平抬升到上限仍无法消除截断");
const char* const kAsFoundFailed = QT_TRANSLATE_NOOP("CameraServer", "校正验证-恢复相机校正开关出错，错误原因：%1-%2.");
const char* const kNotDark = QT_TRANSLATE_NOOP(
    "CameraServer", "校正验证-暗场图像过亮：%1 的最大列均值为 %2（限制 %3），请确认镜头盖已盖好后重试。");
const char* const kClipped = QT_TRANSLATE_NOOP(
    "CameraServer",
    "校正验证-明场图像过亮：%1 有 %2% 的像素达到满量程（最多允许 0.1%），请降低光源亮度或曝光时间后重试。");
const char* const kNotApart = QT_TRANSLATE_NOOP(
    "CameraServer",
    "校正验证-明场与暗场几乎相同：%1 在 %2% 饱和（曝光时间 %3 us）时只比暗场高出饱和值的 %4%（至少需要 10%），"
    "请确认测量明场时镜头盖已取下、光源已打开后重试。");
const char* const kComputing = QT_TRANSLATE_NOOP("CameraServer", "校正验证-计算残余非均匀性...");
const char* const kRestored = QT_TRANSLATE_NOOP("CameraServer", "校正验证-相机设置已恢复。");
const char* const kRestoreFailed = QT_TRANSLATE_NOOP(
    "CameraServer",
    "校正验证-恢复相机设置出错，错误原因：%1-%2.请检查相机的FPN与平场使能、触发方式、图像格式、曝光时间和黑电平。");
const char* const kPassed = QT_TRANSLATE_NOOP("CameraServer", "校正验证-校正验证完成，结果：合格。点击确定查看报告。");
const char* const kNotPassed =
    QT_TRANSLATE_NOOP("CameraServer", "校正验证-校正验证完成，结果：不合格。点击确定查看报告。");
const char* const kFailedRun = QT_TRANSLATE_NOOP("CameraServer", "校正验证-校正验证执行失败，请重试。");

// The limits of FPN.ini, the levels and the folder of the raw stacks (empty: not kept); a missing
// key is written with its default, so that the station sees what it may set. `refused` names every
// limit that is not a number or out of its range; false for levels that are not a list of levels.
bool verifySettings(CameraServer& s, VerifyLimits& l, QList<double>& levels, QString& levelsText, QString& stackFolder,
                    QString& refused)
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
    SettingCheck check;
    l.maxPrnu = check.number(VerifyIni::MaxPrnu, value(VerifyIni::MaxPrnu, defaults.maxPrnu));
    l.maxDsnu = check.number(VerifyIni::MaxDsnu, value(VerifyIni::MaxDsnu, defaults.maxDsnu));
    l.maxDefects = check.number(VerifyIni::MaxDefects, value(VerifyIni::MaxDefects, defaults.maxDefects));
    l.defectDark = check.number(VerifyIni::DefectDark, value(VerifyIni::DefectDark, defaults.defectDark));
    l.defectResponse =
        check.number(VerifyIni::DefectResponse, value(VerifyIni::DefectResponse, defaults.defectResponse));
    refused = check.message();
    // A text written with commas (a list, a folder's name) comes back from the INI file as a list
    // of texts.
    auto text = [](const QVariant& v) {
        return v.userType() == QMetaType::QStringList ? v.toStringList().join(QLatin1Char(',')) : v.toString();
    };
    levelsText = text(value(VerifyIni::Levels, kVerifyLevelsDefault));
    stackFolder = text(value(VerifyIni::StackFolder, QString()));
    if (wrote) s.syncSettings();
    return parseVerifyLevels(levelsText, levels);
}

QString levelsList(const QList<double>& levels)
{
    QStringList out;
    for (double l : levels) out.append(QStringLiteral("%1%").arg(l));
    return out.join(QCoreApplication::translate("CameraServer", "、"));
}

// A lift as the operator reads it: "8", or "4–7" where it spans several steps.
QString liftText(const DarkLift& l, bool second)
{
    const int from = second ? l.second : l.first;
    return l.steps > 1 ? QStringLiteral("%1–%2").arg(from).arg(from + l.steps - 1) : QString::number(from);
}

// What one level measured of every plane: its exposure and the stacks summed up (DN10).
struct LevelStage {
    double target = 0.0;
    double exposure = 0.0;
    std::vector<StackStats> brightOff, brightOn, darkOff, darkOn;
    std::vector<DarkLift> liftOff, liftOn;
};

}  // namespace

void CameraServer::verifyStart()
{
    qRegisterMetaType<VerifyReport>();
    // The keeper inside the run has put the camera back by the time this runs.
    guarded(
        "verifyStart", [&] { verifyRun(); }, [this] { emit OS_FpnInfo(101, tr(kFailedRun)); });
}

void CameraServer::verifyRun()
{
    // 1. The camera as found, the settings, the report's heading.
    {
        QWriteLocker lock(&m_lock);
        m_cancel = false;
    }
    if (!m_opened) {
        emit OS_FpnInfo(101, tr(kNoCamera));
        return;
    }
    if (!m_isLinescan || m_isTvk317) {
        emit OS_FpnInfo(101, tr(kNotLineScan));
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
    QString levelsText, stackFolder, refused;
    const bool levelsRead = verifySettings(*this, report.limits, report.levels, levelsText, stackFolder, refused);
    if (!refused.isEmpty()) {
        emit OS_FpnInfo(101, tr(kPrefix) + refused);
        return;
    }
    if (!levelsRead) {
        emit OS_FpnInfo(101, tr(kBadLevels).arg(levelsText));
        return;
    }

    verify::SwitchKeeper keeper(*this);
    const lsxStatus read = keeper.read();
    if (read != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr(kReadSwitches), read));
        return;
    }
    report.fpnOn = keeper.fpnOn();
    report.flatOn = keeper.flatOn();
    report.exposure = keeper.exposure();
    report.doffset = keeper.doffset();
    emit OS_FpnInfo(1, tr(kStart)
                           .arg(report.gain)
                           .arg(report.exposure)
                           .arg(keeper.hasDoffset() ? QString::number(report.doffset) : tr("无"))
                           .arg(levelsList(report.levels))
                           .arg(kLines));
    if (!report.fpnOn && !report.flatOn) emit OS_FpnInfo(5, tr(kNothingOn));
    verify::StackFolder stacks([this](int progress, const QString& text) { emit OS_FpnInfo(progress, text); });
    stacks.open(stackFolder, report.camera, report.when, report.doffset, 5);

    // How every later stage ends early: its own message (if any), the camera put back, the
    // closing failure; a cancel is quiet unless the camera cannot be put back.
    auto end = [&](const Stop& stop) {
        stacks.finish(QJsonValue());
        if (!stop.text.isEmpty()) emit OS_FpnInfo(101, stop.text);
        const lsxStatus restored = keeper.restore();
        if (restored != LSX_OK) emit OS_FpnInfo(101, withStatus(tr(kRestoreFailed), restored));
        if (stop.kind != Stop::Cancelled || restored != LSX_OK) emit OS_FpnInfo(101, tr(kFailedRun));
    };

    // 2. Raw data on soft trigger, stream on.
    keeper.sixteenBit();
    lsxStatus status = keeper.softTrigger();
    if (status != LSX_OK) return end(Stop::failure(withStatus(tr(kTriggerFailed), status)));
    status = lsxStart(m_handle);
    if (status < LSX_OK) return end(Stop::failure(withStatus(tr(kStreamFailed), status)));

    // The operator's answer to one question, the camera's image shown meanwhile; a cancel, a
    // closing camera or a "stop" end the wait.
    auto ask = [this](Question step, int progress, const QString& text) {
        m_verifyPrompt.arm(step);
        emit OS_FpnInfo(progress, text);
        emit OS_VerifyAsk(step, text);
        QElapsedTimer shown;
        shown.start();
        const auto outcome = m_verifyPrompt.wait([&] {
            if (cancelRequested()) return true;
            if (shown.elapsed() >= kLiveEveryMs) {
                verify::showFrame(*this, kLiveTimeoutMs);
                shown.restart();
            }
            return false;
        });
        return outcome == OperatorPrompt::Outcome::Proceed;
    };
    auto cancelled = [this] { return cancelRequested(); };
    auto correctionsOff = [&]() -> Stop {
        return cameraCorrectionsOff(tr(kPrefix)) ? Stop{} : Stop::failure(QString());
    };
    auto correctionsAsFound = [&]() -> Stop {
        const lsxStatus asFound = keeper.correctionsAsFound();
        return asFound == LSX_OK ? Stop{} : Stop::failure(withStatus(tr(kAsFoundFailed), asFound));
    };
    auto setExposure = [&](double us) -> Stop {
        const lsxStatus set = keeper.setExposure(us);
        return set == LSX_OK
                   ? Stop{}
                   : Stop::failure(
                       tr("校正验证-设置曝光时间 %1 us 出错，错误原因：%2-%3.").arg(us).arg(set).arg(statusText(set)));
    };
    int format = 0;
    // One bright stack per plane at the exposure and corrections as set, each plane judged fit.
    auto brightStacks = [&](const QString& stage, const LevelStage& st, int progress,
                            std::vector<StackStats>& out) -> Stop {
        const verify::StackGrab g = verify::grabStack(*this, kLines, verify::kWaitProgress, cancelled);
        if (g.stop.any()) return g.stop;
        stacks.keepBright(stage, st.target, st.exposure, g, progress);
        report.bits = g.bits;
        format = g.format;
        for (size_t p = 0; p < g.planes.size(); ++p) {
            const BrightLevel level = brightLevel(g.planes[p], rawFullScale(g.bits));
            if (level.clipped > kVerifyMaxClipped)
                return Stop::failure(
                    tr(kClipped).arg(planeName(g.format, g.planes.size(), p)).arg(100.0 * level.clipped, 0, 'f', 2));
            out.push_back(stackStats(g.planes[p], dn10Scale(g.bits)));
        }
        return Stop{};
    };
    // One dark stack per plane clear of 0 at the exposure and corrections as set; with
    // `judgeDark`, a lens left open is refused as the dark field refuses it, judged on the raw
    // stack as found (an 8-bit dark's planes are always extrapolated from its lifts).
    auto darkStacks = [&](const QString& stage, double target, double exposure, int progress, bool judgeDark,
                          std::vector<StackStats>& out, std::vector<DarkLift>& lifts) -> Stop {
        const verify::DarkGrab g = verify::grabDark(*this, keeper, kLines, cancelled, stacks.on());
        if (g.stop.any()) return g.stop;
        stacks.keepDark(stage, target, exposure, g, progress);
        format = g.format;
        for (size_t p = 0; p < g.planes.size(); ++p) {
            const QString name = planeName(g.format, g.planes.size(), p);
            if (judgeDark) {
                const MeanRange range = columnMeanRange(g.asFound[p], eightBitScale(uint32_t(g.bits)));
                if (range.max > float(m_maxB))
                    return Stop::failure(tr(kNotDark).arg(name).arg(range.max, 0, 'f', 2).arg(m_maxB));
            }
            if (!g.lifts[p].measurable)
                emit OS_FpnInfo(60, tr(kUnliftable)
                                        .arg(g.planes.size() > 1 ? name + QLatin1Char(' ') : QString())
                                        .arg(exposure)
                                        .arg(keeper.hasDoffset() ? tr(kNoRoom) : tr(kNoDoffset)));
            // A dark dithered over black-level steps has its temporal noise within each step.
            const int steps = g.lifts[p].measurable ? g.lifts[p].steps : 1;
            out.push_back(stackStats(g.planes[p], dn10Scale(g.bits), steps));
        }
        if (!g.lifts.empty() && g.lifts.front().measurable && g.lifts.front().second > 0)
            emit OS_FpnInfo(60, tr(kLifted).arg(liftText(g.lifts.front(), false)).arg(liftText(g.lifts.front(), true)));
        lifts = g.lifts;
        return Stop{};
    };

    // 3, 4. The lit target, level by level: the exposure found with the corrections off, then the
    // bright stacks both ways.
    if (!ask(AskBright, 10, tr(kAskBright))) return end(Stop::cancel());
    std::vector<LevelStage> stages;
    for (int i = 0; i < report.levels.size(); ++i) {
        LevelStage stage;
        stage.target = report.levels[i];
        const int progress = 12 + 28 * i / int(report.levels.size());
        Stop stop = correctionsOff();
        if (stop.any()) return end(stop);
        const verify::LevelExposure found = verify::findLevelExposure(*this, keeper, stage.target, cancelled);
        if (found.stop.any()) return end(found.stop);
        stage.exposure = found.exposure;
        report.levelExposures.append(found.exposure);
        emit OS_FpnInfo(progress, tr(kLevelFound).arg(stage.target).arg(found.exposure).arg(found.reached, 0, 'f', 1));
        emit OS_FpnInfo(progress, tr(kBrightBefore).arg(stage.target));
        if ((stop = brightStacks(verify::kBrightBefore, stage, progress, stage.brightOff)).any()) return end(stop);
        emit OS_FpnInfo(progress, tr(kBrightAfter).arg(stage.target));
        if ((stop = correctionsAsFound()).any()
            || (stop = brightStacks(verify::kBrightAfter, stage, progress, stage.brightOn)).any())
            return end(stop);
        stages.push_back(std::move(stage));
    }

    // 5, 6. Darkness: at the working exposure for DSNU, at each level's for its PRNU.
    if (!ask(AskDark, 45, tr(kAskDark))) return end(Stop::cancel());
    std::vector<StackStats> darkOff, darkOn;
    std::vector<DarkLift> liftOff, liftOn;
    // `target` 0: the dark at the working exposure.
    auto darkPair = [&](double target, double exposure, int progress, std::vector<StackStats>& off,
                        std::vector<StackStats>& on, std::vector<DarkLift>& offLift,
                        std::vector<DarkLift>& onLift) -> Stop {
        Stop stop = setExposure(exposure);
        if (stop.any()) return stop;
        emit OS_FpnInfo(progress, tr(kDarkBefore).arg(exposure));
        if ((stop = correctionsOff()).any()) return stop;
        const bool working = exposure == keeper.exposure();
        if ((stop = darkStacks(verify::kDarkBefore, target, exposure, progress, working, off, offLift)).any())
            return stop;
        emit OS_FpnInfo(progress, tr(kDarkAfter).arg(exposure));
        if ((stop = correctionsAsFound()).any()) return stop;
        return darkStacks(verify::kDarkAfter, target, exposure, progress, false, on, onLift);
    };
    Stop stop = darkPair(0.0, keeper.exposure(), 50, darkOff, darkOn, liftOff, liftOn);
    if (stop.any()) return end(stop);
    for (size_t i = 0; i < stages.size(); ++i) {
        LevelStage& st = stages[i];
        stop = darkPair(st.target, st.exposure, 55 + int(20 * i / stages.size()), st.darkOff, st.darkOn, st.liftOff,
                        st.liftOn);
        if (stop.any()) return end(stop);
    }

    // 7. The camera as it was.
    const lsxStatus restored = keeper.restore();
    if (restored != LSX_OK) {
        stacks.finish(QJsonValue());
        emit OS_FpnInfo(101, withStatus(tr(kRestoreFailed), restored));
        emit OS_FpnInfo(101, tr(kFailedRun));
        return;
    }
    emit OS_FpnInfo(80, tr(kRestored));

    // 8. The figures, plane by plane; a lit stage that is not lit is no measurement.
    emit OS_FpnInfo(85, tr(kComputing));
    const size_t planes = darkOff.size();
    bool sizesAgree = planes > 0 && darkOn.size() == planes;
    for (const LevelStage& st : stages)
        sizesAgree = sizesAgree && st.brightOff.size() == planes && st.brightOn.size() == planes
                     && st.darkOff.size() == planes && st.darkOn.size() == planes;
    if (!sizesAgree) {
        stacks.finish(QJsonValue());
        emit OS_FpnInfo(101, tr("校正验证-采集过程中图像尺寸发生变化，请重试。"));
        emit OS_FpnInfo(101, tr(kFailedRun));
        return;
    }
    const double fullScale = dn10FullScale(report.bits);
    for (const LevelStage& st : stages)
        for (size_t p = 0; p < planes; ++p) {
            const double apart = (st.brightOff[p].mean - st.darkOff[p].mean) / (fullScale - st.darkOff[p].mean);
            if (!(apart >= kVerifyMinBright)) {
                stacks.finish(QJsonValue());
                emit OS_FpnInfo(101, tr(kNotApart)
                                         .arg(planeName(format, planes, p))
                                         .arg(st.target)
                                         .arg(st.exposure)
                                         .arg(100.0 * apart, 0, 'f', 1));
                emit OS_FpnInfo(101, tr(kFailedRun));
                return;
            }
        }
    report.lines = kLines;
    for (size_t p = 0; p < planes; ++p) {
        QList<VerifyLevelStacks> off, on;
        for (const LevelStage& st : stages) {
            off.append({st.target, st.exposure, st.darkOff[p], st.brightOff[p], st.liftOff[p]});
            on.append({st.target, st.exposure, st.darkOn[p], st.brightOn[p], st.liftOn[p]});
            report.lines = std::min(
                {report.lines, st.darkOff[p].lines, st.darkOn[p].lines, st.brightOff[p].lines, st.brightOn[p].lines});
        }
        VerifyPlane plane;
        plane.name = planeName(format, planes, p);
        plane.key = planeKey(format, planes, p);
        plane.before = verifyFigures(darkOff[p], liftOff[p], off, report.limits, fullScale);
        plane.after = verifyFigures(darkOn[p], liftOn[p], on, report.limits, fullScale);
        report.lines = std::min({report.lines, darkOff[p].lines, darkOn[p].lines});
        qDebug() << "verify" << plane.name << "before" << plane.before.dsnu << plane.before.prnu << "after"
                 << plane.after.dsnu << plane.after.prnu << "defects" << plane.after.defects.size();
        report.planes.append(plane);
    }
    stacks.finish(verifyReportJson(report));
    emit OS_VerifyFinished(report);
    emit OS_FpnInfo(100, reportPasses(report) ? tr(kPassed) : tr(kNotPassed));
}

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
//     d. check: each plane's brightest column mean must not exceed the camera's B limit, and no
//        more than 1 % of its samples may sit at 0 (a dark cut off there has no measurable B);
//     e. store: one row of B per plane (m_bList) and its lift (m_incBList);
//     f. the dark current: a second dark at the second exposure (the shortest the camera allows,
//        or twice the working one when the shortest is too close), each column's slope per
//        microsecond kept beside its row of B (m_darkCurrent), the working exposure set again (a
//        camera that will not take it back fails the run); a second dark with more than 1 % of a
//        plane's samples at 0 measures no dark current;
//  3. stop the stream and report.
// A failure leaves the rows of the gains finished before it; nothing of the camera is restored
// but the exposure, set back as soon as the second dark is taken.
//
// The TVK317 family has no gain loop, DOffset, soft trigger or colour: its camera FPN goes off,
// 512 free-running readouts are stacked into one image, and their column means on the 8-bit
// scale make the one row of B.
#include "camera/cameraserver.h"

#include "calibration/darkcurrent.h"
#include "calibration/darkstats.h"
#include "camera/framegrab.h"
#include "camera/settingranges.h"
#include "camera/tables.h"
#include "fpnparams/paramfile.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QSettings>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// The largest median dark current of a plausible dark, DN10 per ms (the sensors' is about 1).
constexpr double kMaxMedianDarkCurrent = 50.0;

constexpr uint32_t kDarkFrameTimeoutMs = 3000;

const char* const kFailedRun = QT_TRANSLATE_NOOP("CameraServer", "暗场校正-暗场校正执行失败，请重试。");
const char* const kDoneRun = QT_TRANSLATE_NOOP("CameraServer", "暗场校正-暗场校正执行完成。");
const char* const kStreamFailed = QT_TRANSLATE_NOOP("CameraServer", "暗场校正-启动视频流出错，错误原因：%1-%2.");
const char* const kTooBright =
    QT_TRANSLATE_NOOP("CameraServer", "暗场校正-暗场亮度过高，超过限制值%1，无法继续执行暗场校正。");
const char* const kMeanRange = QT_TRANSLATE_NOOP("CameraServer", "暗场校正-最小列均值为%1，最大列均值为%2.");
const char* const kClippedDark = QT_TRANSLATE_NOOP(
    "CameraServer",
    "暗场校正-%1 有 %2% 的像素为 0（最多允许 1%）：暗电平被截断，无法测得暗场均值。DOffset 为 %3，曝光时间 %4 us；"
    "请提高DOffset（或勾选自动检测DOffset）后重试。");
const char* const kDarkCurrent = QT_TRANSLATE_NOOP(
    "CameraServer", "暗场校正-暗电流：曝光时间 %1 us 与 %2 us 的暗场之差，最大 %3 DN10/ms（%4 第 %5 列）。");
const char* const kClippedSecond = QT_TRANSLATE_NOOP(
    "CameraServer", "第二次暗场（曝光时间 %1 us）的 %2 有 %3% 的像素为 0（最多允许 1%），暗电平被截断");
const char* const kExposureBack =
    QT_TRANSLATE_NOOP("CameraServer", "暗场校正-曝光时间无法恢复为 %1 us，错误原因：%2-%3.");
const char* const kNoDarkCurrent =
    QT_TRANSLATE_NOOP("CameraServer", "暗场校正-%1，未测量暗电流：明场校正将按工作曝光时间的暗场计算。");

QString meanRangeText(const MeanRange& r)
{
    return QCoreApplication::translate("CameraServer", kMeanRange).arg(r.min, 0, 'f', 2).arg(r.max, 0, 'f', 2);
}

}  // namespace

void CameraServer::dsnuStart(bool autoDoffset)
{
    guarded(
        "dsnuStart", [&] { dsnuRun(autoDoffset); },
        [this] {
            lsxStop(m_handle);
            emit OS_FpnInfo(101, tr(kFailedRun));
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
        emit OS_FpnInfo(101, tr("暗场校正-") + check.message());
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
    // The working exposure, at which B is taken; the dark current needs a second one.
    double working = 0.0;
    lsxDoubleDescr range{};
    const bool exposureKnown =
        lsxGetExposure(m_handle, &working) == LSX_OK && lsxGetExposureDescr(m_handle, &range) == LSX_OK;
    m_darkCurrent = DarkCurrent();
    m_darkCurrent.exposure = working;
    m_darkCurrent.secondExposure = exposureKnown ? secondDarkExposure(working, range.min, range.max) : 0.0;
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
    emit OS_FpnInfo(1, tr("暗场校正-增益范围 : [%1, %2]").arg(gainMin).arg(gainMax));

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
        emit OS_FpnInfo(100, tr(kDoneRun));
    } else {
        emit OS_FpnInfo(101, tr(kFailedRun));
    }
}

bool CameraServer::dsnuPrepare()
{
    readLineCount();

    if (!cameraCorrectionsOff(tr("暗场校正-"))) return false;

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
        emit OS_FpnInfo(101, withStatus(tr("暗场校正-使能软触发出错，错误原因：%1-%2."), status));
        return false;
    }
    lsxSetConfigString(m_handle, "LineRate", "10000");
    lsxSetRgbGain(m_handle, 1.0f, 1.0f, 1.0f);
    disableSoftIsp();

    status = lsxStart(m_handle);
    if (status < LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr(kStreamFailed), status));
        return false;
    }
    return true;
}

bool CameraServer::dsnuGain(float gain, bool autoDoffset)
{
    emit OS_FpnInfo(2, tr("暗场校正-增益设为 %1.").arg(gain));
    const lsxStatus gainStatus = lsxSetAnalogGain(m_handle, gain);
    if (gainStatus != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("暗场校正-设置增益出错，错误原因：%1-%2."), gainStatus));
        return false;
    }

    // The black level depends on the gain: searched again at every gain.
    if (autoDoffset) {
        if (!fpnDetectDoffset()) return false;
    } else {
        if (!fpnSetDoffset()) return false;
        if (!fpnRoiCheck(m_roiHeight)) {
            emit OS_FpnInfo(101, tr("暗场校正-设置ROI出错."));
            return false;
        }
    }

    lsxFrame frame;
    void* buffer = nullptr;
    if (!dsnuGrab(frame, buffer)) return false;
    m_frameBits = static_cast<int32_t>(frame.bits);

    std::vector<cv::Mat> planes;
    if (!splitFramePlanes(frame, buffer, true, planes)) {
        emit OS_FpnInfo(90, tr("暗场校正-不支持的图像格式，当前仅支持 FORMAT_MONO & FORMAT_BGR24 & FORMAT_RGB24."));
        return false;
    }
    emit OS_FpnInfo(20, QStringLiteral("\n"));

    // Every plane within the limit, judged on the 8-bit scale, before anything of this gain is kept.
    for (const cv::Mat& plane : planes) {
        const MeanRange range = columnMeanRange(plane, eightBitScale(frame.bits));
        emit OS_FpnInfo(20, meanRangeText(range));
        if (range.max > static_cast<float>(m_maxB)) {
            emit OS_FpnInfo(101, tr(kTooBright).arg(m_maxB));
            return false;
        }
    }
    // A dark cut off at 0 spreads less than the sensor and its mean lies too high: no B of it.
    for (size_t p = 0; p < planes.size(); ++p) {
        const double zeros = zeroShare(planes[p]);
        if (zeros > kDarkMaxZeroShare) {
            emit OS_FpnInfo(101, tr(kClippedDark)
                                     .arg(planeName(int(frame.format), planes.size(), p))
                                     .arg(100.0 * zeros, 0, 'f', 1)
                                     .arg(settings().value(FpnIni::DOffset, FpnIni::DOffsetDefault).toInt())
                                     .arg(m_darkCurrent.exposure));
            return false;
        }
    }
    emit OS_FpnInfo(20, QStringLiteral("\n"));

    // An 8-bit sample is 4 DN10 wide and the dark's noise does not dither it: B from this frame and
    // three more a black-level step apart each, at 10-bit resolution.
    std::vector<std::vector<cv::Mat>> dithered;
    if (!dsnuDither(frame.bits, planes, dithered)) return false;
    std::vector<cv::Mat> working;
    for (size_t p = 0; p < planes.size(); ++p) {
        DarkRow row = darkRow(planes[p]);
        if (!dithered.empty()) {
            row.b = ditheredDarkRow(dithered[p]);
            // For the dark current: one stack, a block of rows per black level.
            cv::Mat all;
            cv::vconcat(dithered[p], all);
            working.push_back(all);
        }
        m_bList.append(row.b);
        m_incBList.append(row.lift);
    }
    qDebug() << "m_incBList : " << m_incBList;
    emit OS_FpnInfo(90, tr("暗场校正-抓图完成."));
    emit OS_FpnInfo(99, tr("暗场校正-增益为 %1 暗场校正完成.\n").arg(gain));
    return dsnuDarkCurrent(dithered.empty() ? planes : working, frame.bits);
}

bool CameraServer::dsnuDither(uint32_t bits, const std::vector<cv::Mat>& planes, std::vector<std::vector<cv::Mat>>& out)
{
    out.clear();
    if (bits != LSX_BITS_8 || doffsetSkipped()) return true;
    out.resize(planes.size());
    for (size_t p = 0; p < planes.size(); ++p) out[p].push_back(planes[p]);
    const int doffset = settings().value(FpnIni::DOffset, FpnIni::DOffsetDefault).toInt();
    // Up from the black level, or down where the top of its range leaves no room: the register
    // would wrap to a negative level.
    const int direction = ditherDirection(doffset, kDarkDitherSteps);
    bool grabbed = true;
    for (int step = 1; step < kDarkDitherSteps && grabbed; ++step) {
        const lsxStatus written = writeDoffset(doffset + direction * step);
        // A camera without a black level cannot step it: its dark stays at 8-bit resolution.
        if (step == 1 && written == LSX_ERR_NOT_SUPPORTED && doffsetAbsent()) {
            out.clear();
            return true;
        }
        if (written != LSX_OK) {
            emit OS_FpnInfo(101, withStatus(tr("DOffset设置出错，错误原因：%1-%2."), written));
            grabbed = false;
            break;
        }
        // The first frame after the change may have been read out before it: the second counts.
        lsxFrame frame;
        void* buffer = nullptr;
        std::vector<cv::Mat> more;
        grabbed = dsnuGrab(frame, buffer) && dsnuGrab(frame, buffer) && splitFramePlanes(frame, buffer, true, more)
                  && more.size() == planes.size();
        for (size_t p = 0; grabbed && p < planes.size(); ++p) out[p].push_back(more[p]);
    }
    const bool back = writeDoffset(doffset) == LSX_OK;
    return grabbed && back;
}

bool CameraServer::dsnuGrab(lsxFrame& frame, void*& buffer)
{
    // A time-out triggers again, for as long as it takes; only the operator's cancel ends the wait
    // (or the server's frame time-out).
    FrameWait silence;
    for (;;) {
        if (cancelRequested()) return false;
        if (lsxTriggerFire(m_handle) != LSX_OK) return false;
        const lsxStatus got = lsxGetFrame(m_handle, &frame, &buffer, kDarkFrameTimeoutMs);
        if (got == LSX_ERR_TIMEOUT) {
            if (!frameRetry(silence, tr("暗场校正-"), 2)) return false;
            continue;
        }
        return got == LSX_OK;
    }
}

bool CameraServer::dsnuDarkCurrent(const std::vector<cv::Mat>& atWorking, uint32_t bits)
{
    const double working = m_darkCurrent.exposure, second = m_darkCurrent.secondExposure;
    // Measured at every gain or at none: a failure drops the rows of earlier gains too, so that the
    // dark current never covers only some rows of B. Told once.
    auto notMeasured = [this](const QString& why) {
        emit OS_FpnInfo(99, tr(kNoDarkCurrent).arg(why));
        m_darkCurrent.secondExposure = 0.0;
        m_darkCurrent.slope.clear();
        return true;
    };
    if (!(second > 0.0)) {
        const bool firstGain = m_bList.size() == qsizetype(atWorking.size());
        return firstGain ? notMeasured(tr("相机的曝光时间范围不足以测量暗电流")) : true;
    }
    if (lsxSetExposure(m_handle, second) != LSX_OK) return notMeasured(tr("无法设置曝光时间 %1 us").arg(second));

    // The first frame after an exposure change may have been exposed before it: the second counts;
    // an 8-bit dark dithered as the first one was.
    lsxFrame frame;
    void* buffer = nullptr;
    bool grabbed = dsnuGrab(frame, buffer) && dsnuGrab(frame, buffer);
    std::vector<cv::Mat> planes;
    bool split = grabbed && splitFramePlanes(frame, buffer, true, planes);
    // Judged as the first dark is: a plane cut off at 0 has no measurable mean.
    int clipped = -1;
    double zeros = 0.0;
    for (size_t p = 0; split && clipped < 0 && p < planes.size(); ++p)
        if ((zeros = zeroShare(planes[p])) > kDarkMaxZeroShare) clipped = int(p);
    std::vector<std::vector<cv::Mat>> dithered;
    if (split && clipped < 0) grabbed = dsnuDither(bits, planes, dithered);
    for (size_t p = 0; p < dithered.size(); ++p) cv::vconcat(dithered[p], planes[p]);
    // Both darks stacked of the same black levels, one block of rows each.
    const int steps = dithered.empty() ? 1 : int(dithered.front().size());
    // The next gain's dark, and the camera the run leaves, need the working exposure back.
    const lsxStatus back = lsxSetExposure(m_handle, working);
    if (back != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr(kExposureBack).arg(working), back));
        return false;
    }
    if (!grabbed) return false;
    if (!split || planes.size() != atWorking.size()) return notMeasured(tr("第二次暗场的图像格式与第一次不同"));
    if (clipped >= 0)
        return notMeasured(tr(kClippedSecond)
                               .arg(second)
                               .arg(planeName(int(frame.format), planes.size(), size_t(clipped)))
                               .arg(100.0 * zeros, 0, 'f', 1));

    m_darkCurrent.bits = m_frameBits;
    const double perMs = 1000.0 * (m_frameBits == LSX_BITS_8 ? 4.0 : 1.0 / 64.0);
    double steepest = 0.0;
    size_t steepestPlane = 0;
    int steepestColumn = 0;
    for (size_t p = 0; p < planes.size(); ++p) {
        const QList<double> slope = darkSlopeRow(atWorking[p], planes[p], working, second, steps);
        if (slope.size() != atWorking[p].cols) return notMeasured(tr("第二次暗场的图像尺寸与第一次不同"));
        for (int x = 0; x < slope.size(); ++x)
            if (std::abs(slope[x]) > std::abs(steepest)) {
                steepest = slope[x];
                steepestPlane = p;
                steepestColumn = x;
            }
        m_darkCurrent.slope.append(slope);
    }
    // A sensor's dark current is small in most columns and large only in a few hot ones. A dark
    // that grows with the exposure in most columns is light reaching the sensor (a cap that
    // leaks, a camera that cannot be darkened): not a dark current to predict darks with.
    std::vector<double> all;
    for (qsizetype r = m_darkCurrent.slope.size() - qsizetype(planes.size()); r < m_darkCurrent.slope.size(); ++r)
        for (double v : m_darkCurrent.slope[r]) all.push_back(std::abs(v));
    if (!all.empty()) {
        std::nth_element(all.begin(), all.begin() + all.size() / 2, all.end());
        const double median = all[all.size() / 2] * perMs;
        if (median > kMaxMedianDarkCurrent)
            return notMeasured(
                tr("多数列的暗场随曝光时间增长（中位 %1 DN10/ms），像是有光照到传感器").arg(median, 0, 'f', 1));
    }
    emit OS_FpnInfo(99, tr(kDarkCurrent)
                            .arg(working)
                            .arg(second)
                            .arg(steepest * perMs, 0, 'f', 1)
                            .arg(planeName(int(frame.format), planes.size(), steepestPlane))
                            .arg(steepestColumn));
    return true;
}

void CameraServer::dsnuTvk317()
{
    emit OS_FpnInfo(1, tr("暗场校正-TVK317."));
    int32_t source = -1, target = -1;
    lsxGetSourceFormat(m_handle, &source);
    lsxGetTargetFormat(m_handle, &target);
    if (source == FORMAT_MONO) lsxSetSourceFormat(m_handle, FORMAT_MONO16_SOURCE);
    if (target == 30 || target == FORMAT_MONO) lsxSetTargetFormat(m_handle, FORMAT_MONO16);

    lsxStatus status = setCameraFpn(false);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101,
                        withStatus(tr("\n关闭相机内部FPN失败，失败原因：%1-%2.请手动关闭相机内部FPN使能。"), status));
        return;
    }
    emit OS_FpnInfo(20, tr("\n已关闭相机内部FPN。"));
    status = lsxStart(m_handle);
    if (status < LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr(kStreamFailed), status));
        return;
    }
    emit OS_FpnInfo(30, tr("\n已启动视频流。"));

    auto measure = [this]() {
        if (cancelRequested()) return false;
        lsxFrame frame;
        std::memset(&frame, 0, sizeof frame);
        cv::Mat image;
        if (grabLines(this, m_handle, &frame, image) != LSX_OK) return false;
        m_frameBits = static_cast<int32_t>(frame.bits);
        if (frame.format != FORMAT_MONO) {
            emit OS_FpnInfo(90, tr("暗场校正-不支持的图像格式，当前仅支持FORMAT_MONO."));
            return false;
        }
        emit OS_FpnInfo(20, QStringLiteral("\n"));
        // This family keeps its B on the 8-bit scale, in single precision.
        const cv::Mat means = columnMeansF(image, eightBitScale(frame.bits));
        const MeanRange range = meanRange(means);
        emit OS_FpnInfo(40, meanRangeText(range));
        if (range.max > static_cast<float>(m_maxB)) {
            emit OS_FpnInfo(101, tr(kTooBright).arg(m_maxB));
            return false;
        }
        emit OS_FpnInfo(80, QStringLiteral("\n"));
        QList<double> row;
        row.reserve(means.cols);
        for (int x = 0; x < means.cols; ++x) row.append(means.at<float>(0, x));
        m_bList.append(row);
        emit OS_FpnInfo(90, tr("暗场校正-抓图完成."));
        return true;
    };
    const bool outcome = measure();
    lsxStop(m_handle);
    emit OS_FpnInfo(outcome ? 100 : 101, outcome ? tr(kDoneRun) : tr(kFailedRun));
}

// ---- The dark current in use ----

QList<QList<double>> CameraServer::darkRowsAt(double exposure) const
{
    return darkCurrentUsable() ? predictedDarkRows(m_bList, m_darkCurrent, exposure) : m_bList;
}

QString CameraServer::darkCurrentWarning(double exposure)
{
    if (!darkCurrentUsable()) return QString();
    const double shift = largestDarkShift(m_darkCurrent, exposure);
    const bool far = shift > kDarkShiftLimit;
    const bool tell = far && !m_darkCurrent.warned;
    m_darkCurrent.warned = far;
    if (!tell) return QString();
    return tr("曝光时间由暗场校正时的 %1 us 改为 %2 us，热像素列的暗电平将变化 %3 DN10（超过 %4 DN10）："
              "暗场数据只适用于暗场校正时的曝光时间，请在新的曝光时间下重新执行暗场校正（再执行明场校正）。")
        .arg(m_darkCurrent.exposure)
        .arg(exposure)
        .arg(shift, 0, 'f', 1)
        .arg(kDarkShiftLimit);
}

bool CameraServer::saveDarkCurrentBeside(const QString& fpnPath, QString* why)
{
    const QString path = darkCurrentPath(fpnPath);
    if (!darkCurrentUsable()) {
        // An older file there would be taken for this one's.
        if (QFile::exists(path) && !QFile::remove(path)) {
            if (why) *why = tr("无法删除旧的暗电流文件 %1。").arg(QDir::toNativeSeparators(path));
            return false;
        }
        return true;
    }
    // Bound to the file just written: a later change of the FPN file alone leaves it unpaired.
    DarkCurrent paired = m_darkCurrent;
    paired.fpnDigest = sha256OfFile(fpnPath);
    QString error;
    if (writeDarkCurrentFile(path, m_cameraName, paired, &error)) return true;
    if (why) *why = error;
    return false;
}

void CameraServer::loadDarkCurrentBeside(const QString& fpnPath)
{
    m_darkCurrent = DarkCurrent();
    QString path = darkCurrentPath(fpnPath);
    // A save cut short between moving the earlier side file aside and writing the new one leaves
    // it as ".dark.old": it is this file's again when its digest says so (the FPN file was not
    // replaced), and goes back in place.
    const QString aside = darkCurrentAsidePath(fpnPath);
    const bool fromAside = !QFile::exists(path) && QFile::exists(aside);
    if (fromAside) path = aside;
    if (!QFile::exists(path)) return;
    DarkCurrent read;
    QString error;
    if (!readDarkCurrentFile(path, m_cameraName, read, &error)) {
        if (!fromAside) emit OS_CameraWarning(error + tr("明场校正将按工作曝光时间的暗场计算。"));
        return;
    }
    const bool paired = !read.fpnDigest.isEmpty() && read.fpnDigest == sha256OfFile(fpnPath);
    if (fromAside) {
        if (!paired) {
            emit OS_CameraWarning(tr("暗电流文件 %1 属于这个FPN文件被替换前的版本（上次保存未完成），未加载；"
                                     "明场校正将按工作曝光时间的暗场计算。")
                                      .arg(QDir::toNativeSeparators(path)));
            return;
        }
        if (!QFile::rename(aside, darkCurrentPath(fpnPath))) return;
        path = darkCurrentPath(fpnPath);
    } else if (!read.fpnDigest.isEmpty() && !paired) {
        emit OS_CameraWarning(tr("暗电流文件 %1 不属于这个FPN文件（FPN文件在其后被改动或另行保存过），未加载；"
                                 "明场校正将按工作曝光时间的暗场计算。")
                                  .arg(QDir::toNativeSeparators(path)));
        return;
    }
    if (!read.fits(m_bList)) {
        emit OS_CameraWarning(tr("暗电流文件 %1 与FPN参数的行列数不符，未加载；明场校正将按工作曝光时间的暗场计算。")
                                  .arg(QDir::toNativeSeparators(path)));
        return;
    }
    m_darkCurrent = read;
}

// CameraServer: the bright-field correction (PRNU): one gain K per column and row, and the final B.
//
// The operator's story of a normal run, under an even light:
//  1. prepare: line count; the gain and grey-level settings shown;
//  2. without dark rows of a dark-field run (or with dark rows that came from the camera), the
//     camera's stored dark rows and DOffset are read back, gain by gain; a camera with no dark
//     record to read keeps the program's own dark rows, where it has some;
//  3. the camera's FPN and flat field off, soft trigger on, K cleared, RGB gains 1, image
//     processing off;
//  4. for each gain from Params/GainMin in steps of 1.0 up to Params/GainMax:
//     a. set the gain and the line rate;
//     b. measure: the exposures that reach the grey levels (Params/PixelMax, or 16, 64, 160 and
//        240 for a multi-level calibration in factory mode), then one frame at each;
//     c. compute: K per column of every frame (fpnCorrect), against the dark rows predicted at
//        that frame's own exposure (the dark run's dark current); a K no column can use (a dead
//        column) is limited and the column told as a defect;
//     d. a cancel ends the run here, quietly;
//  5. store: K scaled so that full scale still reaches full scale, B lifted by the dark run's
//     lift; the multi-level camera evaluates K band by band first;
//  6. the working exposure as found, and report.
// Of the camera only the exposure is put back, at every end (told when the camera will not take
// it back); a failure leaves K as far as it came and B untouched.
//
// The TVK317 family has no gains, exposure search or final step: one stacked image gives K.
#include "camera/cameraserver.h"

#include "calibration/brightstats.h"
#include "calibration/darkstats.h"
#include "calibration/klevels.h"
#include "camera/framegrab.h"
#include "camera/settingranges.h"
#include "camera/tables.h"
#include "statustext.h"

#include <QCoreApplication>
#include <QDebug>
#include <QSettings>

#include <QStringList>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

// The grey levels of a multi-level calibration; the top level 240 is added by the run.
const std::vector<double> fpnTargets{16.0, 64.0, 160.0};

const char* const kFailedRun = QT_TRANSLATE_NOOP("CameraServer", "明场校正-明场校正执行失败");
const char* const kDoneRun = QT_TRANSLATE_NOOP("CameraServer", "明场校正-明场校正执行完成");
const char* const kNoDark = QT_TRANSLATE_NOOP("CameraServer", "明场校正-无法读取暗场参数，请先执行暗场校正。");
const char* const kDeadColumns =
    QT_TRANSLATE_NOOP("CameraServer", "明场校正-%1对光无响应（明场均值不高于暗场均值），K 取限值 %2，这些列为缺陷列。");
const char* const kExposureLeft =
    QT_TRANSLATE_NOOP("CameraServer", "明场校正-曝光时间无法恢复为 %1 us（错误原因：%2-%3），当前为 %4 us。");
// Columns named in a report; more are counted.
constexpr size_t kNamedColumns = 8;

// The exposure as the run found it, set again when the run ends, however it ends; a camera that
// will not take it back is told, with the exposure it is left at (at 99: the run's own last
// report says how the run ended).
class ExposureKeeper {
public:
    explicit ExposureKeeper(CameraServer& s) : m_s(s) { m_known = lsxGetExposure(s.m_handle, &m_found) == LSX_OK; }
    ~ExposureKeeper() { restore(); }
    ExposureKeeper(const ExposureKeeper&) = delete;
    ExposureKeeper& operator=(const ExposureKeeper&) = delete;
    // Once; nothing when nothing was known to restore.
    void restore()
    {
        if (!m_known) return;
        m_known = false;
        const lsxStatus status = lsxSetExposure(m_s.m_handle, m_found);
        if (status == LSX_OK) return;
        double now = 0.0;
        lsxGetExposure(m_s.m_handle, &now);
        emit m_s.OS_FpnInfo(99, QCoreApplication::translate("CameraServer", kExposureLeft)
                                    .arg(m_found)
                                    .arg(status)
                                    .arg(statusText(status))
                                    .arg(now));
    }

private:
    CameraServer& m_s;
    double m_found = 0.0;
    bool m_known = false;
};

}  // namespace

void CameraServer::fpnStart()
{
    guarded(
        "fpnStart", [&] { fpnRun(); },
        [this] {
            lsxStop(m_handle);
            emit OS_FpnInfo(101, tr(kFailedRun));
        });
}

void CameraServer::fpnRun()
{
    if (m_isTvk317) {
        fpnTvk317();
        return;
    }

    // 1. Line count and settings.
    readLineCount();
    m_doffsetZeroSaid = false;
    const QStringList keys = settings().allKeys();
    auto withDefault = [&](const QString& key, const QVariant& fallback) {
        if (!keys.contains(key)) {
            settings().setValue(key, fallback);
            syncSettings();
        }
        return settings().value(key, fallback);
    };
    SettingCheck check;
    const float gainMin = check.number(FpnIni::GainMin, withDefault(FpnIni::GainMin, FpnIni::GainMinDefault));
    const float gainMax =
        check.number(FpnIni::GainMax, withDefault(FpnIni::GainMax, FpnIni::gainMaxCalibrationDefault(m_isLinescan)));
    const int pixelMax = check.number(FpnIni::PixelMax, withDefault(FpnIni::PixelMax, FpnIni::PixelMaxDefault));
    const int pixelMin = check.number(FpnIni::PixelMin, settings().value(FpnIni::PixelMin, FpnIni::PixelMinDefault));
    if (m_supportMLK != 0) check.number(FpnIni::FpnSel, settings().value(FpnIni::FpnSel, FpnIni::FpnSelDefault));
    // The exposure searches apply the stored DOffset.
    if (!doffsetSkipped()) check.number(FpnIni::DOffset, settings().value(FpnIni::DOffset));
    check.gainRange(gainMin, gainMax);
    if (!check.ok()) {
        emit OS_FpnInfo(101, tr("明场校正-") + check.message());
        return;
    }
    const bool factory = settings().value(FpnIni::Factory, FpnIni::FactoryDefault).toBool();
    qDebug() << "fpnStart : " << gainMin << gainMax << pixelMin << pixelMax;
    emit OS_FpnInfo(10, tr("明场校正-增益范围 : [%1, %2]").arg(gainMin).arg(gainMax));
    emit OS_FpnInfo(10, tr("明场校正-像素范围 : [%1, %2]").arg(pixelMin).arg(pixelMax));

    // 2. Dark rows from the camera where no dark-field run gave them.
    if ((m_bList.isEmpty() || m_darkFromCamera) && m_lineCount == 1) {
        emit OS_FpnInfo(5, tr("明场校正-未进行暗场校正，尝试读取相机内部暗场参数..."));
        if (!fpnReadDark()) return;
    }

    // 3. Prepare. The exposure searches and the series change the exposure: it goes back at the end.
    ExposureKeeper exposure(*this);
    {
        QWriteLocker lock(&m_lock);
        m_cancel = false;
    }
    // A failure after this: the exposure back first, then the failure, the run's last report.
    auto fail = [&](const QString& text) {
        exposure.restore();
        emit OS_FpnInfo(101, text);
    };
    if (!cameraCorrectionsOff(tr("明场校正-"))) return;
    lsxStatus status = enableSoftTrigger();
    if (status != LSX_OK) return fail(withStatus(tr("明场校正-使能软触发出错，错误原因：%1-%2."), status));
    m_kList.clear();
    m_kPoints.clear();
    lsxSetRgbGain(m_handle, 1.0f, 1.0f, 1.0f);
    disableSoftIsp();

    // 4. Gains in single precision, 1.0 apart: the top of the range is reached only when a step
    // lands on it. A setting that is not a number runs no pass.
    bool failed = false;
    if (std::isfinite(gainMin) && std::isfinite(gainMax)) {
        for (float gain = gainMin; !(gain > gainMax); gain += 1.0f) {
            emit OS_FpnInfo(20, tr("\n明场校正-增益设为 %1").arg(gain));
            if (lsxSetAnalogGain(m_handle, gain) != LSX_OK) {
                failed = true;
                break;
            }
            lsxSetConfigString(m_handle, "LineRate", "10000");
            emit OS_FpnInfo(20, tr("明场校正-曝光范围自动检测中"));

            std::vector<double> targets{static_cast<double>(pixelMax)};
            if (m_supportMLK != 0 && factory) {
                targets = fpnTargets;
                targets.push_back(240.0);
            }
            const QVector<double> exposures = fpnExposureCheck(targets);
            if (exposures.isEmpty()) return fail(tr("明场校正-曝光范围检测失败"));

            emit OS_FpnInfo(50, tr("明场校正-曝光范围检测完成。"));
            emit OS_FpnInfo(50, tr("明场校正-开始采图..."));
            qDebug() << "fpnCapture -------------";
            QList<cv::Mat> images;
            QVector<double> taken;
            if (!fpnCapture(exposures, images, &taken)) return fail(tr("明场校正-明场校正图像采集失败"));

            emit OS_FpnInfo(80, tr("明场校正-明场校正图像采集完成"));
            emit OS_FpnInfo(80, tr("明场校正-开始执行明场校正..."));
            qDebug() << "fpnCorrect -------------";
            if (!fpnCorrect(images, taken)) return fail(tr(kFailedRun));
            emit OS_FpnInfo(99, tr("明场校正-增益为 %1 时明场校正执行完成").arg(gain));
            if (cancelRequested()) return;
        }
    }

    // 5. Final step.
    qDebug() << "calc -------------";
    if (failed) return fail(tr(kFailedRun));
    fpnFinish();
    // 6.
    exposure.restore();
    emit OS_FpnInfo(100, tr(kDoneRun));
}

bool CameraServer::fpnReadDark()
{
    // The program's own dark rows (a dark run, a loaded file), kept for a camera that has no dark
    // record to read back.
    const QList<QList<double>> own = m_bList;
    m_bList.clear();
    // A failed read leaves the rows as they were, not half of the camera's.
    auto fail = [&] {
        m_bList = own;
        return false;
    };
    lsxRegionDescr region{};
    int32_t source = -1;
    if (lsxGetRoiDescr(m_handle, &region) != LSX_OK || lsxGetSourceFormat(m_handle, &source) != LSX_OK) {
        emit OS_FpnInfo(101, tr(kNoDark));
        return fail();
    }
    // The record covers the whole sensor, not the ROI.
    const int width = region.maxWidth;
    const int planes = readBackPlanes(source);
    if (planes == 0) {
        emit OS_FpnInfo(101, tr("明场校正-不支持的目标图像格式，无法继续。"));
        return fail();
    }
    const float gainMin = settings().value(FpnIni::GainMin, FpnIni::GainMinDefault).toFloat();
    const float gainMax = settings().value(FpnIni::GainMax, FpnIni::gainMaxCalibrationDefault(m_isLinescan)).toFloat();
    if (!std::isfinite(gainMin) || !std::isfinite(gainMax) || width < 1) return true;

    for (float gain = gainMin; !(gain > gainMax); gain += 1.0f) {
        if (lsxSetAnalogGain(m_handle, gain) != LSX_OK) {
            emit OS_FpnInfo(101, tr(kNoDark));
            return fail();
        }
        // The record is this reader's: allocated for this read, freed when its values are copied.
        const uint32_t pairs = static_cast<uint32_t>(planes) * static_cast<uint32_t>(width);
        std::vector<uint8_t> record(size_t(pairs) * 8 + sizeof(lsxFpnHeader), 0);
        auto* head = reinterpret_cast<lsxFpnHeader*>(record.data());
        head->columns = pairs;
        head->lines = 1;
        head->type = 0;
        head->dataSize = pairs * 8;
        head->data = record.data() + sizeof(lsxFpnHeader);
        uint32_t size = static_cast<uint32_t>(record.size());
        const lsxStatus status = lsxGet(m_handle, LSX_KEY_FPN, record.data(), &size);
        qDebug() << status << " : " << statusText(status);
        if (status == LSX_ERR_NOT_SUPPORTED && !own.isEmpty() && m_bList.isEmpty()) {
            m_bList = own;
            m_darkFromCamera = false;
            emit OS_FpnInfo(10, tr("明场校正-相机不支持读取暗场参数，将使用程序中的暗场参数进行FPN校正。"));
            return true;
        }
        if (status != LSX_OK) {
            emit OS_FpnInfo(90, withStatus(tr("明场校正-读取暗场参数出错，错误原因：%1-%2."), status));
            emit OS_FpnInfo(101, tr(kNoDark));
            return fail();
        }
        // The pairs follow the head in the same block.
        appendReadBackRows(m_bList, reinterpret_cast<const float*>(record.data() + sizeof(lsxFpnHeader)), width,
                           planes);
        // The byte the write put there, the low byte of a signed value: read back as the camera's
        // registers are, so that -2 comes back as -2, not 254.
        const int doffset = wrapDoffset(record[offsetof(lsxFpnHeader, doffset)]);
        settings().setValue(FpnIni::DOffset, doffset);
        syncSettings();
        emit OS_FpnInfo(10, tr("明场校正-相机内部暗场DOffset = %1").arg(doffset));
        emit OS_FpnInfo(10, tr("明场校正-读取暗场参数完成，将使用相机内部暗场参数进行FPN校正。"));
        m_darkFromCamera = true;
    }
    return true;
}

bool CameraServer::fpnCorrect(const QList<cv::Mat>& images, const QVector<double>& exposures)
{
    const int colCount = settingOrDefault(FpnIni::ColCount, settings().value(FpnIni::ColCount),
                                          [this](const QString& t) { emit OS_FpnInfo(80, tr("明场校正-") + t); });
    // Each frame against the dark of its own exposure, where the dark run measured how it grows.
    QList<QList<QList<double>>> darks;
    if (darkCurrentUsable() && exposures.size() == images.size())
        for (double e : exposures) darks.append(darkRowsAt(e));
    else
        darks.append(m_bList);
    const qsizetype kFrom = m_kList.size(), pointsFrom = m_kPoints.size();
    if (!fitColumnGains(images, darks, m_lineCount, m_flatEnable, colCount, m_kList, m_kPoints)) return false;

    // A column whose bright mean does not rise above its dark has no gain: never a K that is not
    // a number, infinite or not above 0 (nothing could write or load it). It takes the upper limit
    // of kAtLevel and is named, once per plane, as a defect.
    const double limit = m_maxK - 0.2;
    const int channels = images.first().channels();
    const int perImage = channels == 1 ? std::max(1, m_lineCount) : channels;
    std::vector<std::vector<int>> dead(static_cast<size_t>(perImage));
    for (qsizetype r = kFrom; r < m_kList.size(); ++r) {
        std::vector<int>& plane = dead[size_t((r - kFrom) % perImage)];
        for (int x : limitUnusableK(m_kList[r], limit))
            if (std::find(plane.begin(), plane.end(), x) == plane.end()) plane.push_back(x);
    }
    for (qsizetype r = pointsFrom; r < m_kPoints.size(); ++r) limitUnusableK(m_kPoints[r], limit);
    const int format = channels == 1 ? FORMAT_MONO : channels == 3 ? FORMAT_BGR24 : FORMAT_BGR32;
    for (size_t p = 0; p < dead.size(); ++p) {
        if (dead[p].empty()) continue;
        std::sort(dead[p].begin(), dead[p].end());
        QStringList columns;
        for (size_t i = 0; i < dead[p].size() && i < kNamedColumns; ++i) columns.append(QString::number(dead[p][i]));
        QString where = tr("%1 第 %2 列").arg(planeName(format, dead.size(), p), columns.join(tr("、")));
        if (dead[p].size() > kNamedColumns) where += tr("等 %1 列").arg(dead[p].size());
        qDebug() << "fpnCorrect: unusable K in " << where;
        emit OS_FpnInfo(85, tr(kDeadColumns).arg(where).arg(limit));
    }
    return true;
}

void CameraServer::fpnFinish()
{
    const double maxv = m_frameBits != 0 ? double(LSX_FULL_SCALE_16) : double(LSX_FULL_SCALE_8);
    if (m_supportMLK == 0) {
        finishSingleLevel(m_bList, m_kList, m_incBList, maxv, m_kScaleList);
        return;
    }
    const int fpnSel = checkSetting(FpnIni::FpnSel, settings().value(FpnIni::FpnSel)).value;
    finishMultiLevel(m_bList, m_kPoints, m_maxK, fpnLevelsFor(fpnSel), m_incBList, maxv, m_kScaleList);
}

void CameraServer::fpnTvk317()
{
    m_kList.clear();
    m_kPoints.clear();
    emit OS_FpnInfo(0, tr("明场校正开始"));
    lsxStatus status = lsxStart(m_handle);
    if (status < LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("明场校正-启动视频流出错，错误原因：%1-%2."), status));
        return;
    }
    emit OS_FpnInfo(20, tr("明场校正-开始采图..."));
    lsxFrame frame;
    std::memset(&frame, 0, sizeof frame);
    cv::Mat image;
    status = grabLines(this, m_handle, &frame, image);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("明场校正-明场校正图像采集失败，错误原因：%1-%2."), status));
        return;
    }
    m_frameBits = static_cast<int32_t>(frame.bits);
    emit OS_FpnInfo(60, tr("明场校正-明场校正图像采集完成"));
    emit OS_FpnInfo(60, tr("明场校正-开始执行明场校正..."));
    if (!fpnCorrect(QList<cv::Mat>{image})) {
        emit OS_FpnInfo(101, tr(kFailedRun));
        return;
    }
    lsxStop(m_handle);
    emit OS_FpnInfo(100, tr(kDoneRun));
}

// CameraServer: the camera's black level DOffset.
//
//  - fpnReadDoffset (at open, on the GUI thread, and before a save or a flat-field run): the
//    camera's value, by its register or by the two sensor registers, into Params/DOffset.
//  - fpnSetDoffset: the stored value into the camera.
//  - fpnDetectDoffset, with the stream running on soft trigger:
//     1. the image height of a measurement;
//     2. walk: write the value on trial, take one dark frame, show its darkest and brightest
//        column, judge them (judgeDoffsetFrame) and step, until the walk ends, leaves its bounds
//        (failure, with the value two steps back stored and written) or the operator cancels;
//     3. a walk that cannot hold the darkest column above its floor and the brightest under the
//        B limit at once fails, naming the columns too high, their dark level and the exposure:
//        at once when the first frame's spread is wider than any DOffset can take, else when the
//        walk ends on a frame cut off at 0 (a hot column's dark current at a long exposure); the
//        stored value goes back into the camera;
//     4. store and apply the value found.
// Cameras that are not line-scan cameras, and the models that take no DOffset, are left alone.
// A camera without a black level has DOffset 0: read as 0, applied without a write, and told once
// per run.
#include "camera/cameraserver.h"

#include "calibration/darkstats.h"
#include "camera/settingranges.h"
#include "camera/tables.h"
#include "statustext.h"

#include <QCoreApplication>
#include <QDebug>
#include <QSettings>
#include <QStringList>

#include <utility>

namespace {

constexpr uint32_t kDoffsetFrameTimeoutMs = 3000;
// DOffset sign register value for a negative level.
constexpr uint32_t kNegativeSign = 8;

const char* const kSetFailed = QT_TRANSLATE_NOOP("CameraServer", "DOffset设置出错，错误原因：%1-%2.");
const char* const kTrial =
    QT_TRANSLATE_NOOP("CameraServer", "检测DOffset-DOffset为%1：最小列均值%2 DN10，最大列均值%3 DN10.");
const char* const kCannotHold =
    QT_TRANSLATE_NOOP("CameraServer",
                      "检测DOffset出错：曝光时间 %1 us 下%2的暗电平过高，任何DOffset都无法同时使最暗列高于 %3 DN10、"
                      "最亮列低于限制值 %4 DN10。这些列的暗电流随曝光时间增长，请缩短曝光时间后重试。");
// Fewer columns than this share too high for the DOffset are the sensor's (hot columns); more are
// the scene's light.
constexpr double kDoffsetFewColumns = 0.01;
// Columns named in a refusal; more are counted.
constexpr size_t kNamedColumns = 8;

// The walk's scale (doffsetScale) in DN10: 8-bit units are 4 DN10, 16-bit frames are in DN10.
float walkToDn10(uint32_t bits)
{
    return bits == LSX_BITS_8 ? 4.0f : 1.0f;
}

// "第 12 列（97.3 DN10）、传感器行1 第 40 列（80.1 DN10）等 9 列".
QString columnList(const std::vector<HighColumn>& columns, size_t planes, int format, float toDn10)
{
    QStringList named;
    for (size_t i = 0; i < columns.size() && i < kNamedColumns; ++i) {
        const HighColumn& c = columns[i];
        const QString where = planes > 1 ? planeName(format, planes, size_t(c.plane)) + QLatin1Char(' ') : QString();
        named.append(QCoreApplication::translate("CameraServer", "%1第 %2 列（%3 DN10）")
                         .arg(where)
                         .arg(c.column)
                         .arg(c.mean * toDn10, 0, 'f', 1));
    }
    QString text = named.join(QCoreApplication::translate("CameraServer", "、"));
    if (columns.size() > kNamedColumns)
        text += QCoreApplication::translate("CameraServer", "等 %1 列").arg(columns.size());
    return text;
}

}  // namespace

bool CameraServer::doffsetSkipped() const
{
    if (!m_isLinescan) return true;
    const lsxCameraInfo info = cameraInfo(m_cameraName);
    const QString model = cameraInfoText(info.model, sizeof info.model);
    for (const QString& row : supportedModels)
        if (model.contains(row, Qt::CaseSensitive)) return true;
    return false;
}

bool CameraServer::doffsetAbsent()
{
    uint32_t word = 0;
    if (lsxReadGenICamReg(m_handle, GVR_SEN_BLACK_LEVEL, &word) != LSX_OK || word != LSX_REG_UNSUPPORTED) return false;
    lsxRegPair magnitude{LSX_SENSOR_REG_DOFFSET_MAG, 0};
    return lsxGet(m_handle, LSX_KEY_SENSOR_REG, &magnitude, nullptr) == LSX_ERR_NOT_SUPPORTED;
}

lsxStatus CameraServer::writeDoffset(int value)
{
    if (m_hasBlackLevelReg) return lsxWriteGenICamReg(m_handle, GVR_SEN_BLACK_LEVEL, static_cast<uint32_t>(value));
    lsxRegPair magnitude{LSX_SENSOR_REG_DOFFSET_MAG, static_cast<uint32_t>(value < 0 ? -value : value)};
    const lsxStatus status = lsxSet(m_handle, LSX_KEY_SENSOR_REG, &magnitude, nullptr);
    if (status != LSX_OK) return status;
    lsxRegPair sign{LSX_SENSOR_REG_DOFFSET_SIGN, value < 0 ? kNegativeSign : 0u};
    return lsxSet(m_handle, LSX_KEY_SENSOR_REG, &sign, nullptr);
}

lsxStatus CameraServer::readDoffset(int& value) const
{
    if (m_hasBlackLevelReg) {
        uint32_t word = 0;
        const lsxStatus status = lsxReadGenICamReg(m_handle, GVR_SEN_BLACK_LEVEL, &word);
        if (status == LSX_OK) value = wrapDoffset(static_cast<int32_t>(word));
        return status;
    }
    lsxRegPair magnitude{LSX_SENSOR_REG_DOFFSET_MAG, 0};
    lsxRegPair sign{LSX_SENSOR_REG_DOFFSET_SIGN, 0};
    lsxStatus status = lsxGet(m_handle, LSX_KEY_SENSOR_REG, &magnitude, nullptr);
    if (status == LSX_OK) status = lsxGet(m_handle, LSX_KEY_SENSOR_REG, &sign, nullptr);
    if (status != LSX_OK) return status;
    const int32_t v = static_cast<int32_t>(magnitude.value);
    value = wrapDoffset(sign.value == kNegativeSign ? -v : v);
    return LSX_OK;
}

lsxStatus CameraServer::fpnReadDoffset()
{
    if (doffsetSkipped()) return LSX_OK;
    // A failed read counts as a camera without the register.
    uint32_t word = LSX_REG_UNSUPPORTED;
    const lsxStatus status = lsxReadGenICamReg(m_handle, GVR_SEN_BLACK_LEVEL, &word);
    qDebug() << "read GVR_SEN_BLACK_LEVEL : " << word;
    m_hasBlackLevelReg = word != LSX_REG_UNSUPPORTED;
    int value = wrapDoffset(static_cast<int32_t>(word));
    if (!m_hasBlackLevelReg) {
        const lsxStatus read = readDoffset(value);
        // Neither register there (doffsetAbsent): the camera's DOffset is 0.
        if (read == LSX_ERR_NOT_SUPPORTED && status == LSX_OK)
            value = 0;
        else if (read != LSX_OK) {
            qDebug() << "set doffset failed : " << statusText(read);
            return read;
        }
    }
    emit OS_FpnInfo(10, tr("当前DOffset为：%1.").arg(value));
    settings().setValue(FpnIni::DOffset, value);
    syncSettings();
    qDebug() << "get doffset : " << value;
    return status;
}

bool CameraServer::fpnSetDoffset()
{
    if (doffsetSkipped()) return true;
    syncSettings();
    if (!settings().allKeys().contains(FpnIni::DOffset)) {
        settings().setValue(FpnIni::DOffset, FpnIni::DOffsetDefault);
        syncSettings();
    }
    SettingCheck check(settings());
    const int value = check.readWhole(FpnIni::DOffset, FpnIni::DOffsetDefault);
    if (!check.ok()) {
        emit OS_FpnInfo(101, check.message());
        lsxStop(m_handle);
        return false;
    }
    const lsxStatus status = writeDoffset(value);
    if (status == LSX_ERR_NOT_SUPPORTED && doffsetAbsent()) {
        settings().setValue(FpnIni::DOffset, 0);
        syncSettings();
        if (!std::exchange(m_doffsetZeroSaid, true))
            emit OS_FpnInfo(10, tr("DOffset固定为0：相机没有黑电平功能（BlackLevel）。"));
        return true;
    }
    if (status != LSX_OK) {
        qDebug() << "set doffset failed.";
        emit OS_FpnInfo(101, withStatus(tr(kSetFailed), status));
        lsxStop(m_handle);
        return false;
    }
    emit OS_FpnInfo(10, tr("DOffset设置为：%1.").arg(value));
    return true;
}

bool CameraServer::fpnDetectDoffset()
{
    if (doffsetSkipped()) return true;
    if (!fpnRoiCheck(m_roiHeight)) return false;

    // The walk fails when it leaves its bounds or a write fails. Otherwise it ends on the value it
    // stands on, which is stored and applied: found, cancelled, or taken when no usable frame came
    // (the caller's own cancel test or grab then ends the run).
    // A failed walk stores `stored` and gives it to the camera, which holds the value on trial.
    auto failAt = [this](const QString& why, int stored) {
        emit OS_FpnInfo(101, why);
        settings().setValue(FpnIni::DOffset, stored);
        syncSettings();
        const lsxStatus written = writeDoffset(stored);
        if (written != LSX_OK) emit OS_FpnInfo(101, withStatus(tr(kSetFailed), written));
        lsxStop(m_handle);
        return false;
    };

    // The walk cannot succeed because of a few columns: those too high, at the exposure that
    // makes them so. Many columns that high are the light of the scene, not the sensor's.
    auto fewColumns = [](const std::vector<HighColumn>& high, const std::vector<cv::Mat>& planes) {
        size_t columns = 0;
        for (const cv::Mat& p : planes) columns += size_t(p.cols);
        return !high.empty() && double(high.size()) < kDoffsetFewColumns * double(columns);
    };
    auto cannotHold = [&](const std::vector<HighColumn>& high, const std::vector<cv::Mat>& planes,
                          const lsxFrame& frame) {
        const float toDn10 = walkToDn10(frame.bits);
        double exposure = 0.0;
        lsxGetExposure(m_handle, &exposure);
        // The camera keeps the stored value, not the one on trial.
        return failAt(tr(kCannotHold)
                          .arg(exposure)
                          .arg(columnList(high, planes.size(), int(frame.format), toDn10))
                          .arg(1.0f * toDn10)
                          .arg(float(m_maxB) * toDn10),
                      settings().value(FpnIni::DOffset, FpnIni::DOffsetDefault).toInt());
    };

    const int limit = doffsetLimit(m_maxB);
    DoffsetWalk walk;
    int trials = 0;
    while (!walk.done && !cancelRequested()) {
        if (walk.d < -limit) return failAt(tr("检测DOffset出错，环境亮度太高，请在暗场下执行暗场校正。"), walk.d + 2);
        if (walk.d > limit)
            return failAt(tr("检测DOffset出错，使用最大DOffset也无法满足条件，请手动输入数值重试。"), walk.d - 2);
        const lsxStatus written = writeDoffset(walk.d);
        if (written == LSX_ERR_NOT_SUPPORTED && doffsetAbsent()) return fpnSetDoffset();  // nothing to search
        if (written != LSX_OK) {
            qDebug() << "set doffset failed.";
            emit OS_FpnInfo(101, withStatus(tr(kSetFailed), written));
            lsxStop(m_handle);
            return false;
        }

        lsxFrame frame;
        void* buffer = nullptr;
        if (lsxTriggerFire(m_handle) != LSX_OK) break;
        if (lsxGetFrame(m_handle, &frame, &buffer, kDoffsetFrameTimeoutMs) != LSX_OK) break;
        std::vector<cv::Mat> planes;
        if (!splitFramePlanes(frame, buffer, true, planes)) {
            emit OS_FpnInfo(90, tr("不支持的图像格式，仅支持 FORMAT_MONO & FORMAT_BGR24 & FORMAT_RGB24."));
            break;
        }
        const MeanRange range = columnMeanRange(planes, doffsetScale(frame.bits));
        const float toDn10 = walkToDn10(frame.bits);
        emit OS_FpnInfo(3 + std::min(trials++, 16),
                        tr(kTrial).arg(walk.d).arg(range.min * toDn10, 0, 'f', 2).arg(range.max * toDn10, 0, 'f', 2));
        const float scale = doffsetScale(frame.bits);
        // A DOffset moves every column alike: a spread wider than the window fails at once.
        if (!doffsetCanHold(range, m_maxB)) {
            const std::vector<HighColumn> high = columnsAtLeast(planes, scale, range.min + float(m_maxB) - 1.0f);
            if (fewColumns(high, planes)) return cannotHold(high, planes, frame);
        }
        judgeDoffsetFrame(walk, range.min, range.max, m_maxB);
        // Ended on a value whose darkest column lies at its floor: the frame of this trial, one
        // step up, was too bright.
        if (walk.conflict) {
            const std::vector<HighColumn> high = columnsAtLeast(planes, scale, float(m_maxB));
            if (fewColumns(high, planes)) return cannotHold(high, planes, frame);
            return failAt(tr("检测DOffset出错，环境亮度太高，请在暗场下执行暗场校正。"),
                          settings().value(FpnIni::DOffset, FpnIni::DOffsetDefault).toInt());
        }
    }

    qDebug() << "final doffset : " << walk.d;
    settings().setValue(FpnIni::DOffset, walk.d);
    syncSettings();
    return fpnSetDoffset();
}

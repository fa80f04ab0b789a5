// CameraServer: B and K into the camera's FPN set (key 45), and the camera's own FPN on.
//
// The operator's story of a line-scan write:
//  1. K at the level the operator works at (Params/PixelMax), from the bright field's samples;
//  2. B and K widened to the whole sensor, the region's outside at K 1.0 and the row's mean B;
//  3. the gain range and the level table checked;
//  4. one record built with the head the camera needs (lines, depth, DOffset, level, K range);
//  5. what the set holds now read back and kept in a backup file (where the camera can be read
//     back; where it cannot, the operator is told so and the write goes on);
//  6. sent as the set the operator chose: a selectable set as its dark half (unless the dark data
//     came from the camera itself) and its bright half; the factory set whole, or on a
//     multi-level camera as its dark half and one K band per level of the table;
//  7. the camera's FPN switched on; the set, with its DOffset, stays so when the camera is closed.
// The TVK317 family takes one whole record per pixel and is switched on by key 46. A camera of
// several gains without line-scan data would take the gain table of key 47.
// A failure stops the write. One that leaves part of the set written (the dark half in, the
// bright half refused) writes the earlier set back from the backup and says so; when that fails
// too, or there is no backup, the operator is told that the set is now a mixture.
#include "camera/cameraserver.h"

#include "calibration/klevels.h"
#include "camera/settingranges.h"
#include "camera/tables.h"
#include "fpnparams/fpnrecord.h"
#include "statustext.h"

#include <QDebug>
#include <QSettings>

#include <cmath>

namespace {

const char* const kWriteFailed = QT_TRANSLATE_NOOP("CameraServer", "FPN参数写入失败，失败原因：%1-%2.");
const char* const kWritten = QT_TRANSLATE_NOOP("CameraServer", "FPN参数成功写入");
const char* const kEmpty = QT_TRANSLATE_NOOP("CameraServer", "参数为空，写入失败");
const char* const kRangeFailed = QT_TRANSLATE_NOOP("CameraServer", "获取FPN校正范围出错，错误原因：%1-%2");
const char* const kMismatch = QT_TRANSLATE_NOOP("CameraServer", "明暗场参数不匹配，写入参数失败.");
const char* const kEnableFailed =
    QT_TRANSLATE_NOOP("CameraServer", "\n使能相机内部FPN失败，失败原因：%1-%2.请手动打开相机内部FPN使能。");
const char* const kEnabled = QT_TRANSLATE_NOOP("CameraServer", "\n已使能相机内部FPN，点击确定查看效果。");

// The camera library's own log.
constexpr int32_t kLogLevel = 16;
constexpr const char* kLogTag = "Vesmira";

// The level of the first grey target of a multi-level calibration.
constexpr uint16_t kFactoryDarkLevel = 16;
// The factory band write scales rows by a table of five.
constexpr int kFactoryMaxRows = 5;

}  // namespace

void CameraServer::fpnWriteDown(int sel)
{
    guarded(
        "fpnWriteDown", [&] { fpnWriteRun(sel); },
        [this] { emit OS_FpnInfo(101, withStatus(tr(kWriteFailed), LSX_ERR_UNKNOWN)); });
}

void CameraServer::fpnWriteRun(int sel)
{
    if (m_bList.isEmpty()) {
        emit OS_FpnInfo(101, tr("未执行校正过程"));
        return;
    }
    if (m_isTvk317) {
        fpnWriteTvk317();
        return;
    }

    // 1. The settings the records are made of, refused before anything is changed; K at the
    // working level, limited and unscaled, from the samples.
    SettingCheck check(settings());
    const int pixelMax = check.readWhole(FpnIni::PixelMax, FpnIni::PixelMaxDefault);
    const float gainMin = check.read(FpnIni::GainMin, FpnIni::GainMinDefault);
    const float gainMax = check.read(FpnIni::GainMax, FpnIni::gainMaxCalibrationDefault(m_isLinescan));
    const int doffset = check.readWhole(FpnIni::DOffset, FpnIni::DOffsetDefault);
    const std::vector<uint16_t>& levels = fpnLevelsFor(check.readWhole(FpnIni::FpnSel, FpnIni::FpnSelDefault));
    check.gainRange(gainMin, gainMax);
    if (!check.ok()) {
        emit OS_FpnInfo(101, check.message());
        return;
    }
    const int rows = int(m_bList.size());
    const int columns = int(m_bList.first().size());
    if (!m_kPoints.isEmpty()) {
        QList<double> all;
        kAtLevel(static_cast<uint8_t>(pixelMax & 0xFF), all, rows);
        m_kList.clear();
        for (int r = 0; r < rows; ++r) m_kList.append(all.mid(qsizetype(r) * columns, columns));
    }

    // 2. The whole sensor.
    QList<QList<double>> k = m_kList;
    QList<QList<double>> b = m_bList;
    lsxRegion roi{};
    lsxStatus status = lsxGetRoi(m_handle, &roi);
    lsxRegionDescr descr{};
    if (status == LSX_OK) status = lsxGetRoiDescr(m_handle, &descr);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr(kRangeFailed), status));
        return;
    }
    padToSensor(k, b, roi.X, roi.W, descr.maxWidth);

    // 3. Gains and levels.
    // The settings' check above refused a range without a gain: there is at least one.
    const int gains = static_cast<int>(std::floor(gainMax - gainMin) + 1.0f);
    if (k.isEmpty() && b.isEmpty()) {
        emit OS_FpnInfo(101, tr(kEmpty));
        return;
    }
    if (!m_isLinescan) {
        fpnWriteGainTable(k, b, gains, gainMin);
        return;
    }
    const bool multiLevel = sel == 1 && m_supportMLK != 0;
    if ((sel == 0 || sel == 1) && (k.size() != b.size() || k.isEmpty())) {
        emit OS_FpnInfo(101, tr(kMismatch));
        return;
    }
    // The factory bands scale at most five rows, and come from samples a multi-line sensor has not.
    if (multiLevel && (rows > kFactoryMaxRows || m_lineCount > 1 || m_kPoints.isEmpty())) {
        emit OS_FpnInfo(101, tr(kMismatch));
        return;
    }

    // 4. The record; its type is set per record below.
    const auto [minK, maxK] = kRange(k, rows);
    const int lineCount = std::max(1, m_lineCount);
    FpnRecord record(uint32_t(columns) * uint32_t(rows));
    lsxFpnHeader& head = record.head();
    head.columns = uint32_t(columns * rows / lineCount);
    head.lines = uint32_t(lineCount);
    head.bits = static_cast<uint8_t>(m_frameBits & 0xFF);
    head.doffset = static_cast<uint8_t>(doffset & 0xFF);
    head.level = static_cast<uint16_t>(pixelMax);
    head.minK = minK;
    head.maxK = maxK;
    record.setType(uint32_t(sel + 1), false);
    fillFpnPairs(record, k, b, rows, columns, fpnDataOrder(rows, m_lineCount));

    // 5. What the set holds now, kept first.
    const QString target = sel == 1 ? QStringLiteral("factory") : currentSelection("FPNC.Selector");
    CameraBackup backup;
    Backup kept = Backup::Impossible;
    if (sel == 0 || sel == 1) {
        kept = backupBeforeWrite(WriteKind::Fpn, target, backup);
        if (kept == Backup::Failed) return;
    }

    // 6. The set the operator chose.
    bool partial = false;
    if (multiLevel) {
        if (!fpnWriteFactoryLevels(record, levels, rows, columns, partial)) {
            if (partial) fpnRecover(nullptr, target);
            return;
        }
    } else if (sel == 0 || sel == 1) {
        // Dark data read from the camera is already there: only the bright half goes.
        status = fpnSendSet(record, sel == 1, !m_darkFromCamera, partial);
        if (status != LSX_OK) {
            emit OS_FpnInfo(101, withStatus(tr(kWriteFailed), status));
            if (partial) fpnRecover(kept == Backup::Taken ? &backup : nullptr, target);
            return;
        }
    }
    emit OS_FpnInfo(100, tr(kWritten));

    // 7. The camera corrects by itself from now on, and is left so.
    m_written.fpn = true;
    m_written.fpnSet = target;
    m_written.fpnEnabled = true;
    m_written.keepDoffset = true;
    m_written.doffset = doffset;
    status = lsxSetConfigString(m_handle, "FPNC.Enable", "true");
    if (status != LSX_OK)
        emit OS_FpnInfo(101, withStatus(tr(kEnableFailed), status));
    else
        emit OS_FpnInfo(100, tr(kEnabled));
}

lsxStatus CameraServer::fpnSendSet(FpnRecord& record, bool whole, bool sendDark, bool& partial)
{
    partial = false;
    auto send = [&](const char* what, uint32_t type, bool more) {
        record.setType(type, more);
        uint32_t size = sizeof(lsxFpnHeader);
        const lsxStatus st = lsxSet(m_handle, LSX_KEY_FPN, record.block(), &size);
        qDebug() << "lsxset : " << what << sizeof(lsxFpnHeader) + record.head().dataSize << " -- " << size << " -- "
                 << st;
        return st;
    };
    if (whole) return send("factory", LSX_FPN_WHOLE, false);
    if (sendDark) {
        const lsxStatus status = send("DSNU", LSX_FPN_DARK, true);
        if (status != LSX_OK) return status;
        partial = true;
    }
    return send("PRNU", LSX_FPN_BRIGHT, false);
}

bool CameraServer::fpnWriteFactoryLevels(FpnRecord& record, const std::vector<uint16_t>& levels, int rows, int columns,
                                         bool& partial)
{
    partial = false;
    // The dark half, at the level of the first grey target.
    lsxFpnHeader& head = record.head();
    const uint32_t total = uint32_t(sizeof(lsxFpnHeader) + head.dataSize);
    head.level = kFactoryDarkLevel;
    record.setType(LSX_FPN_FACTORY_DARK, true);
    uint32_t size = sizeof(lsxFpnHeader);
    lsxStatus status = lsxSet(m_handle, LSX_KEY_FPN, record.block(), &size);
    qDebug() << "lsxset : factory " << total << " -- " << size << " -- " << status;
    lsxDebugFormat(m_handle, kLogLevel, kLogTag, "lsxset dsnu : totalsize - %d", int(total));
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr("FPN暗场参数写入失败，失败原因：%1-%2."), status));
        return false;
    }
    lsxDebugFormat(m_handle, kLogLevel, kLogTag, "lsxset dsnu : succeed");
    partial = true;

    // Each row scaled so that a full-scale pixel still reaches full scale at the top level.
    const double maxv = m_frameBits != 0 ? double(LSX_FULL_SCALE_16) : double(LSX_FULL_SCALE_8);
    const double top = std::nearbyint(double(levels.back()) * 3.0 * 0.25);
    QList<double> all;
    kAtLevel(static_cast<uint8_t>(std::clamp(top, 0.0, 255.0)), all, rows);
    const std::vector<double> rowGain = factoryRowGains(all, m_bList, rows, columns, maxv);
    lsxDebugFormat(m_handle, kLogLevel, kLogTag, "lsxset calc kgain - channels : %d.", rows);

    // One K band per level of the table; B stays as the dark half put it.
    for (int n = 0; n < int(levels.size()); ++n) {
        QList<double> band;
        kAtLevel(levelStepK(levels, n), band, rows);
        band = factoryBandK(band, rowGain, rows, m_maxK);
        head.level = levels[size_t(n)];
        record.setType(LSX_FPN_FACTORY_KBAND, n + 1 < int(levels.size()));
        setBandK(record, band, rows, columns);
        lsxDebugFormat(m_handle, kLogLevel, kLogTag, "lsxset set %d's k val.", n);
        size = sizeof(lsxFpnHeader);
        status = lsxSet(m_handle, LSX_KEY_FPN, record.block(), &size);
        lsxDebugFormat(m_handle, kLogLevel, kLogTag, "lsxset set %d's k val succeed.", n);
        if (status != LSX_OK) {
            emit OS_FpnInfo(101, withStatus(tr("FPN明场参数写入失败，失败原因：%1-%2."), status));
            return false;
        }
    }
    lsxDebugFormat(m_handle, kLogLevel, kLogTag, "lsxset succeed.");
    return true;
}

void CameraServer::fpnWriteGainTable(const QList<QList<double>>& k, const QList<QList<double>>& b, int gains,
                                     float gainMin)
{
    if (k.size() != gains || b.size() != gains) {
        emit OS_FpnInfo(101, tr("FPN参数不匹配"));
        return;
    }
    for (int r = 0; r < gains; ++r)
        if (k[r].size() != b[r].size()) {
            // Told as a finished run: the window closes as on success.
            emit OS_FpnInfo(100, tr("FPN参数不匹配"));
            return;
        }
    std::vector<uint8_t> block = packGainTable(k, b, gainMin);
    const uint32_t computed = uint32_t(block.size());
    uint32_t size = computed;
    const lsxStatus status = lsxSet(m_handle, LSX_KEY_GAIN_TABLE, block.data(), &size);
    qDebug() << "lsxset : " << computed << " -- " << size << " -- " << status;
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr(kWriteFailed), status));
        return;
    }
    emit OS_FpnInfo(100, tr(kWritten));
}

void CameraServer::fpnWriteTvk317()
{
    // A dark field without a bright field has no K to send.
    if (m_kList.isEmpty() || m_bList.isEmpty()) {
        emit OS_FpnInfo(101, tr(kEmpty));
        return;
    }
    lsxRegion roi{};
    lsxStatus status = lsxGetRoi(m_handle, &roi);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr(kRangeFailed), status));
        return;
    }
    // This family keeps data for every pixel of a readout.
    const qsizetype n = m_bList.first().size();
    if (roi.W <= 0 || roi.H <= 0 || n != qsizetype(roi.W) * roi.H || m_kList.first().size() != n) {
        emit OS_FpnInfo(101, tr("分辨率模式不匹配"));
        return;
    }
    CameraBackup backup;
    if (backupBeforeWrite(WriteKind::Fpn, currentSelection("FPNC.Selector"), backup) == Backup::Failed) return;
    FpnRecord record{static_cast<uint32_t>(n)};
    lsxFpnHeader& head = record.head();
    head.columns = uint32_t(roi.W);
    head.lines = uint32_t(roi.H);
    head.bits = static_cast<uint8_t>(m_frameBits & 0xFF);
    head.doffset = 0;
    head.level = 10;
    head.minK = 1.0f;
    head.maxK = 4.0f;
    record.setType(LSX_FPN_WHOLE, false);
    fillFpnPairs(record, {m_kList.first()}, {m_bList.first()}, 1, int(n), FpnOrder::Interleaved);
    uint32_t size = sizeof(lsxFpnHeader);
    status = lsxSet(m_handle, LSX_KEY_FPN, record.block(), &size);
    if (status != LSX_OK) {
        emit OS_FpnInfo(101, withStatus(tr(kWriteFailed), status));
        return;
    }
    emit OS_FpnInfo(99, tr(kWritten));
    m_written.fpn = true;
    m_written.fpnSet.clear();
    m_written.fpnEnabled = true;
    status = setCameraFpn(true);
    if (status != LSX_OK)
        emit OS_FpnInfo(101, withStatus(tr(kEnableFailed), status));
    else
        emit OS_FpnInfo(100, tr(kEnabled));
}

// CameraServer: FPN parameters to and from a "*.FAC.FPN" file, on the window's thread.
//
// Saving:
//  1. something to save: rows of B, and rows of K that fit them, every value finite and in range
//     (else the save is refused with the row and column named, and no file is written);
//  2. the camera's formats, region and DOffset into the head, B row by row, and K row by row or,
//     on a multi-level camera, K at each of the nine bands of the finest level table;
//  3. the file written atomically: a failed save leaves an earlier file at the path whole, and
//     with it the dark current beside it; a save leaves beside the file its own dark current
//     or none.
// Loading is two halves, so that a window can read a large file off its own thread:
//  1. fpnFileCamera: what a file must fit, taken from the open camera (the caller's thread);
//  2. readFpnFile (fpnfile.h): the file read and checked as a whole (any thread);
//  3. applyFpnFile: the camera goes to the formats and the region the file was made for (and back
//     as it was when it does not take them), then B and K replace the calibration in memory.
// What goes with a loaded file belongs in applyFpnFile, so that the window and the runner both
// get it.
#include "camera/cameraserver.h"

#include "calibration/darkcurrent.h"
#include "calibration/klevels.h"
#include "camera/settingranges.h"
#include "camera/tables.h"
#include "fpnparams/fpnfile.h"
#include "statustext.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

#include <cmath>
#include <cstring>

namespace {

// Without a gain range the rows of a file are limited by the most gains a record holds.
constexpr int kGainsWhenUnknown = 32;

lsxRegion regionOf(lsxHandle handle, lsxStatus* status = nullptr)
{
    lsxRegion roi;
    std::memset(&roi, 0, sizeof roi);
    const lsxStatus s = lsxGetRoi(handle, &roi);
    if (status) *status = s;
    return roi;
}

}  // namespace

bool CameraServer::saveFpnFile(const QString& path, QString* why)
{
    if (m_bList.isEmpty()) {
        if (why) *why = tr("没有可保存的FPN参数，请先执行校正过程。");
        return false;
    }
    QList<QList<double>> kRows = m_kList;
    if (m_supportMLK != 0) {
        // K at every band of the finest table, whatever table the camera uses, limited and unscaled.
        kRows.clear();
        for (int n = 0; n < int(fpnLevels9.size()); ++n) {
            QList<double> band;
            kAtLevel(levelStepK(fpnLevels9, n), band, int(m_bList.size()));
            if (!band.isEmpty()) kRows.append(band);
        }
    }
    const QString refusal = fpnDataRefusal(m_bList, kRows, m_supportMLK != 0, m_maxK);
    if (!refusal.isEmpty()) {
        if (why) *why = refusal;
        return false;
    }

    FpnFileHead head;
    head.camera = m_cameraName;
    head.supportMLK = m_supportMLK != 0;
    int32_t source = 0, target = 0;
    lsxGetSourceFormat(m_handle, &source);
    lsxGetTargetFormat(m_handle, &target);
    const lsxRegion roi = regionOf(m_handle);
    head.sourceFormat = source;
    head.targetFormat = target;
    head.x = roi.X;
    head.w = roi.W;
    head.cols = int(m_bList.first().size());
    fpnReadDoffset();
    SettingCheck check(settings());
    head.doffset = check.readWhole(FpnIni::DOffset, FpnIni::DOffsetDefault);
    if (!check.ok()) {
        if (why) *why = check.message();
        return false;
    }
    // The dark current beside the file is this file's or none: an earlier one is moved aside
    // before the file is replaced (back in place when the file is not written), so that a save
    // that fails after the file never pairs it with the dark current of the file it replaced.
    QString failed;
    const QString dark = darkCurrentPath(path);
    const QString aside = darkCurrentAsidePath(path);
    bool movedAside = false;
    if (QFileInfo::exists(dark) || QFileInfo(dark).isSymLink()) {
        QFile::remove(aside);
        movedAside = QFile::rename(dark, aside);
        if (!movedAside) failed = tr("无法删除旧的暗电流文件 %1。").arg(QDir::toNativeSeparators(dark));
    }
    bool written = failed.isEmpty() && writeFpnFile(path, head, m_bList, kRows, &failed);
    if (movedAside && written)
        QFile::remove(aside);
    else if (movedAside)
        QFile::rename(aside, dark);
    // The dark current goes beside the file.
    written = written && saveDarkCurrentBeside(path, &failed);
    if (!written) {
        qDebug() << "saveFpnFile: " << failed;
        if (why) *why = failed;
    }
    return written;
}

FpnCamera CameraServer::fpnFileCamera() const
{
    FpnCamera c;
    c.name = m_cameraName;
    c.multiLevelK = m_supportMLK != 0;
    c.area = m_isTvk317;
    c.lineCount = std::max(1, int(m_lineCount));
    lsxFloatDescr gain{};
    c.gains = lsxGetAnalogGainDescr(m_handle, &gain) == LSX_OK && gain.max >= gain.min
                  ? int(std::floor(gain.max - gain.min)) + 1
                  : kGainsWhenUnknown;
    lsxRegionDescr descr;
    std::memset(&descr, 0, sizeof descr);
    if (lsxGetRoiDescr(m_handle, &descr) == LSX_OK) {
        c.sensorWidth = descr.maxWidth;
        c.minWidth = descr.minWidth;
    }
    c.roiHeight = std::max(1, int(regionOf(m_handle).H));
    c.maxK = m_maxK;
    return c;
}

bool CameraServer::applyFpnFile(const FpnFileContent& content, QString* why)
{
    auto refuse = [why](const QString& text) {
        if (why) *why = text;
        qDebug() << "loadFpnFile: refused: " << text;
        return false;
    };
    if (!content.ok) return refuse(content.why);
    if (content.head.camera != m_cameraName)
        return refuse(tr("文件属于相机 \"%1\"，而当前相机是 \"%2\"。").arg(content.head.camera, m_cameraName));

    // The camera as the file was made for it, before any value is taken; as it was when it does
    // not take the file's formats or region.
    int32_t source = 0, target = 0;
    lsxGetSourceFormat(m_handle, &source);
    lsxGetTargetFormat(m_handle, &target);
    const lsxRegion before = regionOf(m_handle);
    auto restore = [&] {
        lsxSetSourceFormat(m_handle, source);
        lsxSetTargetFormat(m_handle, target);
        lsxRegion back = before;
        lsxSetRoi(m_handle, &back);
    };
    const FpnFileHead& head = content.head;
    lsxStatus status = lsxSetSourceFormat(m_handle, head.sourceFormat);
    if (status == LSX_OK) status = lsxSetTargetFormat(m_handle, head.targetFormat);
    if (status != LSX_OK) {
        restore();
        return refuse(tr("相机不接受文件的图像格式（Head/SourceFormat %1，Head/TargetFormat %2）：%3-%4。")
                          .arg(head.sourceFormat)
                          .arg(head.targetFormat)
                          .arg(status)
                          .arg(statusText(status)));
    }
    lsxRegion roi = regionOf(m_handle);
    roi.X = head.x;
    roi.W = head.w;
    status = lsxSetRoi(m_handle, &roi);
    const lsxRegion now = regionOf(m_handle);
    if (status != LSX_OK || now.X != head.x || now.W != head.w) {
        restore();
        return refuse(tr("相机不接受文件的区域 X = %1、宽 %2 列（相机的区域为 X = %3、宽 %4 列）%5。")
                          .arg(head.x)
                          .arg(head.w)
                          .arg(now.X)
                          .arg(now.W)
                          .arg(status == LSX_OK ? QString() : tr("：%1-%2").arg(status).arg(statusText(status))));
    }

    // The file replaces the calibration in memory: its B, its K (a multi-level camera keeps K as
    // samples at the bands' levels, from which every level's K comes back), no scale on top, and
    // B that no longer come from the camera.
    const int rows = int(content.b.size());
    m_bList = content.b;
    if (m_supportMLK != 0) {
        std::vector<uint8_t> levels;
        for (int n = 0; n < int(fpnLevels9.size()); ++n) levels.push_back(levelStepK(fpnLevels9, n));
        m_kPoints = kPointsFromBands(content.k, levels, rows);
        m_kList.clear();
    } else {
        m_kList = content.k;
        m_kPoints.clear();
    }
    m_kScaleList = QList<double>(rows, 1.0);
    m_darkFromCamera = false;
    // How each column's dark grows with the exposure, from beside the file when it was saved.
    loadDarkCurrentBeside(content.path);
    return true;
}

bool CameraServer::loadFpnFile(const QString& path, QString* why)
{
    return applyFpnFile(readFpnFile(path, fpnFileCamera()), why);
}

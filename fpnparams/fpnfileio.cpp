// CameraServer: FPN parameters to and from a "*.FAC.FPN" file, on the window's thread.
//
// Saving: the camera's formats, region and DOffset into the head, B row by row, and K row by row,
// or, on a multi-level camera, K at each of the nine bands of the finest level table.
// Loading:
//  1. the file must be of this version, of this camera and of its kind of K;
//  2. the camera goes back to the formats and the region the file was made for;
//  3. B, and K on a camera without multi-level K, replace what is in memory.
// A file that is damaged (keys that are not columns, values that are not numbers, rows cut
// short) is refused before the camera or the data is touched.
#include "camera/cameraserver.h"

#include "calibration/klevels.h"
#include "camera/tables.h"
#include "fpnparams/fpnfile.h"

#include <QDebug>
#include <QFile>
#include <QSettings>

bool CameraServer::saveFpnFile(const QString& path)
{
    if (m_bList.isEmpty()) return false;
    FpnFileHead head;
    head.camera = m_cameraName;
    head.supportMLK = m_supportMLK != 0;
    int32_t source = 0, target = 0;
    lsxRegion roi{};
    lsxGetSourceFormat(m_handle, &source);
    lsxGetTargetFormat(m_handle, &target);
    lsxGetRoi(m_handle, &roi);
    head.sourceFormat = source;
    head.targetFormat = target;
    head.x = roi.X;
    head.w = roi.W;
    head.cols = int(m_bList.first().size());
    fpnReadDoffset();
    head.doffset = settings().value(FpnIni::DOffset, FpnIni::DOffsetDefault).toInt();

    QList<QList<double>> kRows = m_kList;
    if (m_supportMLK != 0) {
        // K at every band of the finest table, whatever table the camera uses, limited and unscaled.
        kRows.clear();
        for (int n = 0; n < int(fpnLevels9.size()); ++n) {
            QList<double> band;
            kAtLevel(levelStepK(fpnLevels9, n), band, int(m_bList.size()));
            kRows.append(band);
        }
    }
    const bool written = writeFpnFile(path, head, m_bList, kRows) && saveDarkCurrentBeside(path);
    if (!written) qDebug() << "saveFpnFile: cannot write " << path;
    return written;
}

bool CameraServer::loadFpnFile(const QString& path)
{
    if (!QFile::exists(path)) return false;
    QSettings file(path, QSettings::IniFormat);
    FpnFileHead head;
    const FpnFileCheck check = checkFpnFile(file, m_cameraName, m_supportMLK, head);
    if (check != FpnFileCheck::Ok) {
        qDebug() << "loadFpnFile: refused " << path << int(check);
        return false;
    }

    // The camera as the file was made for it, before any value is taken.
    lsxSetSourceFormat(m_handle, head.sourceFormat);
    lsxSetTargetFormat(m_handle, head.targetFormat);
    lsxRegion roi{};
    lsxGetRoi(m_handle, &roi);
    roi.X = head.x;
    roi.W = head.w;
    lsxSetRoi(m_handle, &roi);

    m_bList = readFpnFileRows(file, QStringLiteral("B_"), fpnFileGroupCount(file, false));
    // A multi-level camera keeps its K as samples: the file's bands are not read back.
    if (m_supportMLK == 0) m_kList = readFpnFileRows(file, QStringLiteral("K_"), fpnFileGroupCount(file, true));
    loadDarkCurrentBeside(path);
    return true;
}

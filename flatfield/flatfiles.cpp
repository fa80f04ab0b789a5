// CameraServer: the flat-field and lens-shading files of the gains and polynomials held here, for
// the window and the command-line runner alike (each tells the operator in its own way). Both
// name a file by one rule, the name the operator chose with its type's mark added:
//  - saveFfcFile: the camera's model in front ("<model>.FAC.FFC.<name>"), the camera's region,
//    the gains per channel;
//  - saveLscFile: ".LSC.FAC" at the end when it is missing, the camera's region and the
//    polynomial of every channel with its target (the head and zeros when there is none).
// Each refuses what would not load back (the key named) and writes atomically.
#include "camera/cameraserver.h"

#include "camera/tables.h"
#include "flatfield/ffcfile.h"
#include "flatfield/lscfit.h"
#include "fpnparams/paramfile.h"

#include <QDate>

#include <cstring>

namespace {

lsxRegion regionOf(lsxHandle handle)
{
    lsxRegion roi;
    std::memset(&roi, 0, sizeof roi);
    lsxGetRoi(handle, &roi);
    return roi;
}

}  // namespace

QString CameraServer::saveFfcFile(const QString& chosen, QString* why)
{
    if (m_ffcKList.isEmpty()) {
        if (why) *why = tr("当前没有FFC参数可供读取。");
        return QString();
    }
    const lsxCameraInfo info = cameraInfo(m_cameraName);
    const QString path = ffcFileName(ffcCleanPath(chosen), cameraInfoText(info.model, sizeof info.model), true);
    const lsxRegion roi = regionOf(m_handle);
    if (!ffcSaveFile(path, FfcRoi{roi.X, roi.Y, roi.W, roi.H}, m_ffcKList, why)) return QString();
    return path;
}

QString CameraServer::saveLscFile(const QString& chosen, QString* why)
{
    // An empty list is not refused: the file then holds the head and zeros.
    const QString path = withEnding(chosen, QStringLiteral(".LSC.FAC"));
    if (!lscSaveFile(path, regionOf(m_handle), m_lscPolyList, why)) return QString();
    return path;
}

QString CameraServer::parameterFileStem() const
{
    const lsxCameraInfo info = cameraInfo(m_cameraName);
    return defaultFileStem(cameraInfoText(info.model, sizeof info.model),
                           cameraInfoText(info.serialNumber, sizeof info.serialNumber), QDate::currentDate());
}

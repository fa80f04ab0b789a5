// CameraServer: the flat-field and lens-shading files of the gains and polynomials held here, for
// the window and the command-line runner alike (each tells the operator in its own way).
//  - saveFfcFile: the name as the operator chose it with the camera's model in front, the
//    camera's region, the gains per channel.
//  - saveLscFile: the camera's region and the polynomial of every channel with its target (the
//    head and zeros when there is none).
#include "camera/cameraserver.h"

#include "camera/tables.h"
#include "flatfield/ffcfile.h"
#include "flatfield/lscfit.h"

#include <QSettings>

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

QString CameraServer::saveFfcFile(const QString& chosen)
{
    if (m_ffcKList.isEmpty()) return QString();
    const lsxCameraInfo info = cameraInfo(m_cameraName);
    const QString path = ffcFileName(ffcCleanPath(chosen), cameraInfoText(info.model, sizeof info.model), true);
    const lsxRegion roi = regionOf(m_handle);
    QSettings file(path, QSettings::IniFormat);
    ffcWriteFile(file, FfcRoi{roi.X, roi.Y, roi.W, roi.H}, m_ffcKList);
    return file.status() == QSettings::NoError ? path : QString();
}

bool CameraServer::saveLscFile(const QString& path)
{
    // An empty list is not refused: the file then holds the head and zeros.
    QSettings file(path, QSettings::IniFormat);
    lscWriteFile(file, regionOf(m_handle), m_lscPolyList);
    file.sync();
    return file.status() == QSettings::NoError;
}

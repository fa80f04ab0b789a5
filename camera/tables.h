#pragma once
// The program's file-level tables, its two folders and the keys of the settings file FPN.ini.
// Every module may read these; none of them is guarded by a lock.

#include "lsx.h"

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <cstddef>

// The cameras of the last enumeration, by friendly name; refreshed at open.
extern QMap<QString, lsxCameraInfo> cameraInfoMap;
// Line-scan models without a DOffset: their DOffset read ends at once with success.
extern const QStringList supportedModels;

// The document folder: TELORINE_DOCUMENT_PATH plus "/FPN" (created when missing), the value as
// it stands when "FPN" can't be created there, the application folder when the variable is empty.
QString documentDir();
// The snapshot folder: TELORINE_PICTURE_PATH, or the application folder when it is empty.
QString pictureDir();
// Makes the document folder at start, TELORINE_DOCUMENT_PATH with its "FPN" folder, so that
// documentDir() gives one answer for the whole run (and the window, the camera server and the
// runner share one FPN.ini). Empty when the folder is there; else why it could not be made.
QString makeDocumentDir();

// A NUL-terminated ASCII text field of a camera record, read no further than its capacity.
QString cameraInfoText(const char* field, std::size_t capacity);
// The settings file: documentDir() + "/FPN.ini".
QString fpnIniPath();

// ---- Keys of FPN.ini (group "Params") and their defaults. No key is required. ----
namespace FpnIni {
inline const QString GainMin = QStringLiteral("Params/GainMin");
inline const QString GainMax = QStringLiteral("Params/GainMax");
inline const QString PixelMax = QStringLiteral("Params/PixelMax");
inline const QString PixelMin = QStringLiteral("Params/PixelMin");
inline const QString DOffset = QStringLiteral("Params/DOffset");
inline const QString FlatEnable = QStringLiteral("Params/FlatEnable");
inline const QString HideFunction = QStringLiteral("Params/HideFunction");
inline const QString FpnSel = QStringLiteral("Params/FpnSel");
inline const QString Factory = QStringLiteral("Params/Factory");
inline const QString MaxK = QStringLiteral("Params/MAXK");
inline const QString MaxB = QStringLiteral("Params/MAXB");
inline const QString CameraConfig = QStringLiteral("Params/CameraConfig");
inline const QString ColCount = QStringLiteral("Params/ColCount");
inline const QString StopShowHelp = QStringLiteral("Params/StopShowHelp");

constexpr float GainMinDefault = 1.0f;
constexpr float GainMaxDefault = 1.0f;
// Where a calibration fills in an absent GainMax: 1 on a line-scan camera, else 8.
constexpr float gainMaxCalibrationDefault(bool isLinescan)
{
    return isLinescan ? 1.0f : 8.0f;
}
constexpr int PixelMaxDefault = 180;
constexpr int PixelMinDefault = 0;
constexpr int DOffsetDefault = 0;
constexpr bool FlatEnableDefault = false;
// Stored as text: an absent key reads "true".
inline const QString HideFunctionDefault = QStringLiteral("true");
constexpr int FpnSelDefault = 9;
constexpr bool FactoryDefault = false;
inline const QString CameraConfigDefault = QString();
constexpr int ColCountDefault = 600;
constexpr bool StopShowHelpDefault = true;

// The default of a key as QSettings::value takes it; an invalid QVariant for MAXK and MAXB,
// which have none, and for an unknown key.
QVariant defaultValue(const QString& key);
// Every key of the file, in the order of the table above.
QStringList allKeys();
}  // namespace FpnIni

// ---- Keys of the calibration verification (group "Verify"). Their defaults are those of
// VerifyLimits (calibration/verifystats.h); a verification writes a missing key with its default,
// so that the station finds in FPN.ini what it may set. ----
namespace VerifyIni {
inline const QString MaxPrnu = QStringLiteral("Verify/MaxPRNU");                // per cent
inline const QString MaxDsnu = QStringLiteral("Verify/MaxDSNU");                // DN10
inline const QString MaxDefects = QStringLiteral("Verify/MaxDefects");          // columns per plane
inline const QString DefectDark = QStringLiteral("Verify/DefectDark");          // DN10
inline const QString DefectResponse = QStringLiteral("Verify/DefectResponse");  // per cent
inline const QString Levels = QStringLiteral("Verify/Levels");                  // per cent of saturation, "25,50,80"
// Where the run keeps its raw stacks for a second look (empty: not kept).
inline const QString StackFolder = QStringLiteral("Verify/StackFolder");
}  // namespace VerifyIni

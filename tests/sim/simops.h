#pragma once
// Every operation of the camera library that takes a handle, called with valid arguments, and
// what each built-in camera answers: for the contract test and the library's boundary test.
#include "simtestutil.h"

#include <functional>
#include <vector>

namespace simtest {

// Every operation that takes a handle, with valid arguments, and what each camera answers:
// 1, or -2 where the family lacks the feature (colour operations on mono cameras, the sensor
// registers where the black-level register exists, the binning enumerations, the dialog).
struct Op {
    const char* name;
    std::function<lsxStatus(lsxHandle)> call;
    std::function<lsxStatus(const QString&)> expected;
};

inline lsxStatus ok(const QString&) { return LSX_OK; }

inline std::vector<Op> everyOperation(const QString& configPath)
{
    static lsxFrame frame;
    static void* buffer;
    static std::vector<uint8_t> block(40 + 8192 * 3 * 8);
    static lsxCorrectionSwitch sw;
    auto colour = [](const QString& n) { return n == "SIM-LS2048-C" ? LSX_OK : LSX_ERR_NOT_SUPPORTED; };
    auto mlk = [](const QString& n) { return n == "SIM-LS8192-MLK" ? LSX_OK : LSX_ERR_NOT_SUPPORTED; };
    const QByteArray path = configPath.toLocal8Bit();
    return {
        {"lsxGetCameraInfo", [](lsxHandle h) { lsxCameraInfo i; return lsxGetCameraInfo(h, &i); }, ok},
        {"lsxGetSensorInfo", [](lsxHandle h) { lsxSensorInfo i; return lsxGetSensorInfo(h, &i); }, ok},
        {"lsxSaveConfig", [path](lsxHandle h) { return lsxSaveConfig(h, path.constData()); }, ok},
        {"lsxLoadConfig", [path](lsxHandle h) { return lsxLoadConfig(h, path.constData()); }, ok},
        {"lsxShowPropertyModalDialog", [](lsxHandle h) { return lsxShowPropertyModalDialog(h, 0); },
         [](const QString&) { return LSX_ERR_NOT_SUPPORTED; }},
        {"lsxDebugFormat", [](lsxHandle h) { return lsxDebugFormat(h, 16, "Vesmira", "%s", "x"); }, ok},
        {"lsxSetTriggerSource", [](lsxHandle h) { return lsxSetTriggerSource(h, 0); }, ok},
        {"lsxSetTriggerState", [](lsxHandle h) { return lsxSetTriggerState(h, true); }, ok},
        {"lsxGetTriggerSource", [](lsxHandle h) { int32_t s; return lsxGetTriggerSource(h, &s); }, ok},
        {"lsxGetTriggerState", [](lsxHandle h) { bool b; return lsxGetTriggerState(h, &b); }, ok},
        {"lsxStart", [](lsxHandle h) { return lsxStart(h); }, ok},
        {"lsxTriggerFire", [](lsxHandle h) { return lsxTriggerFire(h); }, ok},
        {"lsxGetFrame", [](lsxHandle h) { return lsxGetFrame(h, &frame, &buffer, 3000); }, ok},
        {"lsxStop", [](lsxHandle h) { return lsxStop(h); }, ok},
        {"lsxGetRoi", [](lsxHandle h) { lsxRegion r; return lsxGetRoi(h, &r); }, ok},
        {"lsxSetRoi", [](lsxHandle h) { lsxRegion r; lsxGetRoi(h, &r); return lsxSetRoi(h, &r); }, ok},
        {"lsxGetRoiDescr", [](lsxHandle h) { lsxRegionDescr d; return lsxGetRoiDescr(h, &d); }, ok},
        {"lsxGetRoiState", [](lsxHandle h) { bool b; return lsxGetRoiState(h, &b); }, ok},
        {"lsxGetExposure", [](lsxHandle h) { double d; return lsxGetExposure(h, &d); }, ok},
        {"lsxSetExposure", [](lsxHandle h) { return lsxSetExposure(h, 80.0); }, ok},
        {"lsxGetExposureDescr", [](lsxHandle h) { lsxDoubleDescr d; return lsxGetExposureDescr(h, &d); }, ok},
        {"lsxGetAnalogGain", [](lsxHandle h) { float g; return lsxGetAnalogGain(h, &g); }, ok},
        {"lsxSetAnalogGain", [](lsxHandle h) { return lsxSetAnalogGain(h, 1.0f); }, ok},
        {"lsxGetAnalogGainDescr", [](lsxHandle h) { lsxFloatDescr d; return lsxGetAnalogGainDescr(h, &d); }, ok},
        {"lsxSetRgbGain", [](lsxHandle h) { return lsxSetRgbGain(h, 1.0f, 1.0f, 1.0f); }, ok},
        {"lsxGetSourceFormat", [](lsxHandle h) { int32_t f; return lsxGetSourceFormat(h, &f); }, ok},
        {"lsxSetSourceFormat", [](lsxHandle h) { int32_t f; lsxGetSourceFormat(h, &f); return lsxSetSourceFormat(h, f); }, ok},
        {"lsxGetTargetFormat", [](lsxHandle h) { int32_t f; return lsxGetTargetFormat(h, &f); }, ok},
        {"lsxSetTargetFormat", [](lsxHandle h) { int32_t f; lsxGetTargetFormat(h, &f); return lsxSetTargetFormat(h, f); }, ok},
        {"lsxGetResolutionModeSel", [](lsxHandle h) { int32_t i; return lsxGetResolutionModeSel(h, &i); }, ok},
        {"lsxSetResolutionModeSel", [](lsxHandle h) { return lsxSetResolutionModeSel(h, 0); }, ok},
        {"lsxGetResolutionModeSelDescr", [](lsxHandle h) { lsxSelectionDescr d; return lsxGetResolutionModeSelDescr(h, &d); }, ok},
        {"lsxGetResolutionModeSelDetail", [](lsxHandle h) { lsxSelectionDetail d; return lsxGetResolutionModeSelDetail(h, 0, &d); }, ok},
        {"lsxSetSaturationState", [](lsxHandle h) { return lsxSetSaturationState(h, false); }, ok},
        {"lsxSetColorTemperatureState", [](lsxHandle h) { return lsxSetColorTemperatureState(h, false); }, ok},
        {"lsxSetGammaState", [](lsxHandle h) { return lsxSetGammaState(h, false); }, ok},
        {"lsxSetContrastState", [](lsxHandle h) { return lsxSetContrastState(h, false); }, ok},
        {"lsxSetBlackLevelState", [](lsxHandle h) { return lsxSetBlackLevelState(h, false); }, ok},
        {"lsxSetNoiseReduct2dState", [](lsxHandle h) { return lsxSetNoiseReduct2dState(h, false); }, ok},
        {"lsxSetNoiseReduct3dState", [](lsxHandle h) { return lsxSetNoiseReduct3dState(h, false); }, ok},
        {"lsxSetSharpnessState", [](lsxHandle h) { return lsxSetSharpnessState(h, false); }, ok},
        {"lsxSetMonoState", [](lsxHandle h) { return lsxSetMonoState(h, false); }, ok},
        {"lsxSetInverseState", [](lsxHandle h) { return lsxSetInverseState(h, false); }, ok},
        {"lsxSetFlipHorizontalState", [](lsxHandle h) { return lsxSetFlipHorizontalState(h, false); }, ok},
        {"lsxSetBayerDecodeSel", [](lsxHandle h) { return lsxSetBayerDecodeSel(h, 0); }, ok},
        {"lsxGetColorSolutionSelDetail", [](lsxHandle h) { lsxSelectionDetail d; return lsxGetColorSolutionSelDetail(h, 0, &d); }, colour},
        {"lsxSetColorSolutionSel", [](lsxHandle h) { return lsxSetColorSolutionSel(h, 0); }, colour},
        {"lsxSetUserColorMatrix", [](lsxHandle h) { lsxColorMatrix m{}; return lsxSetUserColorMatrix(h, &m); }, colour},
        {"lsxSetBoolValue", [](lsxHandle h) { return lsxSetBoolValue(h, "CCMEnable", false); }, ok},
        {"lsxGetEnumValue", [](lsxHandle h) { int64_t c, v[4]; int32_t n = 4; return lsxGetEnumValue(h, "BinningMode", &c, v, &n); }, mlk},
        {"lsxGetEnumNameValue", [](lsxHandle h) { char t[16]; return lsxGetEnumNameValue(h, "BinningMode", 0, t, sizeof t); }, mlk},
        {"lsxSetEnumValueByString", [](lsxHandle h) { return lsxSetEnumValueByString(h, "BinningMode", "SUM"); }, mlk},
        {"lsxGetConfigString", [](lsxHandle h) { char v[64]; return lsxGetConfigString(h, "FPNC.Selector", v, sizeof v); }, ok},
        {"lsxSetConfigString", [](lsxHandle h) { return lsxSetConfigString(h, "LineRate", "10000"); }, ok},
        {"lsxGetSelectionDescr", [](lsxHandle h) { lsxSelectionDescr d; return lsxGetSelectionDescr(h, "PRNUC", &d); }, ok},
        {"lsxGetSelectionDetail", [](lsxHandle h) { lsxSelectionDetail d; return lsxGetSelectionDetail(h, "LSC", 1, &d); }, ok},
        {"lsxGet", [](lsxHandle h) { uint32_t n = 104; return lsxGet(h, LSX_KEY_CORRECTION_SWITCH, &sw, &n); }, ok},
        {"lsxSet", [](lsxHandle h) { uint32_t n = 104; return lsxSet(h, LSX_KEY_CORRECTION_SWITCH, &sw, &n); }, ok},
        {"lsxReadGenICamReg", [](lsxHandle h) { uint32_t v; return lsxReadGenICamReg(h, GVR_SEN_BLACK_LEVEL, &v); }, ok},
        {"lsxWriteGenICamReg", [](lsxHandle h) { return lsxWriteGenICamReg(h, GVR_LSC_SET_INDEX, 0); }, ok},
        {"lsxReadGenICamMem", [](lsxHandle h) { uint8_t b[16]; return lsxReadGenICamMem(h, LSX_MEM_FFC_SET, b, 16); }, ok},
        {"lsxWriteGenICamMem", [](lsxHandle h) { uint8_t b[16] = {}; return lsxWriteGenICamMem(h, LSX_MEM_LSC_BLOCK, b, 16); },
         [](const QString&) { return LSX_ERR_CHECKSUM; }},
        {"lsxClose", [](lsxHandle h) { return lsxClose(h); }, ok},
    };
}


}  // namespace simtest

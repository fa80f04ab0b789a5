#pragma once
// Every operation of the camera contract that takes a handle, called with valid arguments, in
// an order that works on a freshly opened camera: the trigger is set up before the stream
// starts, a fire comes before the frame it brings, the stream stops before the close. Each
// camera library's contract test says what its cameras answer to each one.
#include "lsx.h"

#include <QByteArray>

#include <functional>
#include <vector>

namespace contract {

struct Operation {
    const char* name;
    std::function<lsxStatus(lsxHandle)> call;
};

// configPath: a file lsxSaveConfig may write and lsxLoadConfig then reads.
inline std::vector<Operation> everyOperation(const QByteArray& configPath)
{
    static lsxFrame frame;
    static void* buffer;
    static lsxCorrectionSwitch sw;
    const QByteArray path = configPath;
    // One operation a line, as a table.
    // clang-format off
    return {
        {"lsxGetCameraInfo", [](lsxHandle h) { lsxCameraInfo i; return lsxGetCameraInfo(h, &i); }},
        {"lsxGetSensorInfo", [](lsxHandle h) { lsxSensorInfo i; return lsxGetSensorInfo(h, &i); }},
        {"lsxSaveConfig", [path](lsxHandle h) { return lsxSaveConfig(h, path.constData()); }},
        {"lsxLoadConfig", [path](lsxHandle h) { return lsxLoadConfig(h, path.constData()); }},
        {"lsxShowPropertyModalDialog", [](lsxHandle h) { return lsxShowPropertyModalDialog(h, 0); }},
        {"lsxDebugFormat", [](lsxHandle h) { return lsxDebugFormat(h, 16, "Vesmira", "%s", "x"); }},
        {"lsxSetTriggerSource", [](lsxHandle h) { return lsxSetTriggerSource(h, 0); }},
        {"lsxSetTriggerState", [](lsxHandle h) { return lsxSetTriggerState(h, true); }},
        {"lsxGetTriggerSource", [](lsxHandle h) { int32_t s; return lsxGetTriggerSource(h, &s); }},
        {"lsxGetTriggerState", [](lsxHandle h) { bool b; return lsxGetTriggerState(h, &b); }},
        {"lsxStart", [](lsxHandle h) { return lsxStart(h); }},
        {"lsxTriggerFire", [](lsxHandle h) { return lsxTriggerFire(h); }},
        {"lsxGetFrame", [](lsxHandle h) { return lsxGetFrame(h, &frame, &buffer, 3000); }},
        {"lsxStop", [](lsxHandle h) { return lsxStop(h); }},
        {"lsxGetRoi", [](lsxHandle h) { lsxRegion r; return lsxGetRoi(h, &r); }},
        {"lsxSetRoi", [](lsxHandle h) { lsxRegion r; lsxGetRoi(h, &r); return lsxSetRoi(h, &r); }},
        {"lsxGetRoiDescr", [](lsxHandle h) { lsxRegionDescr d; return lsxGetRoiDescr(h, &d); }},
        {"lsxGetRoiState", [](lsxHandle h) { bool b; return lsxGetRoiState(h, &b); }},
        {"lsxGetExposure", [](lsxHandle h) { double d; return lsxGetExposure(h, &d); }},
        {"lsxSetExposure", [](lsxHandle h) { return lsxSetExposure(h, 80.0); }},
        {"lsxGetExposureDescr", [](lsxHandle h) { lsxDoubleDescr d; return lsxGetExposureDescr(h, &d); }},
        {"lsxGetAnalogGain", [](lsxHandle h) { float g; return lsxGetAnalogGain(h, &g); }},
        {"lsxSetAnalogGain", [](lsxHandle h) { return lsxSetAnalogGain(h, 1.0f); }},
        {"lsxGetAnalogGainDescr", [](lsxHandle h) { lsxFloatDescr d; return lsxGetAnalogGainDescr(h, &d); }},
        {"lsxSetRgbGain", [](lsxHandle h) { return lsxSetRgbGain(h, 1.0f, 1.0f, 1.0f); }},
        {"lsxGetSourceFormat", [](lsxHandle h) { int32_t f; return lsxGetSourceFormat(h, &f); }},
        {"lsxSetSourceFormat", [](lsxHandle h) { int32_t f; lsxGetSourceFormat(h, &f); return lsxSetSourceFormat(h, f); }},
        {"lsxGetTargetFormat", [](lsxHandle h) { int32_t f; return lsxGetTargetFormat(h, &f); }},
        {"lsxSetTargetFormat", [](lsxHandle h) { int32_t f; lsxGetTargetFormat(h, &f); return lsxSetTargetFormat(h, f); }},
        {"lsxGetResolutionModeSel", [](lsxHandle h) { int32_t i; return lsxGetResolutionModeSel(h, &i); }},
        {"lsxSetResolutionModeSel", [](lsxHandle h) { return lsxSetResolutionModeSel(h, 0); }},
        {"lsxGetResolutionModeSelDescr", [](lsxHandle h) { lsxSelectionDescr d; return lsxGetResolutionModeSelDescr(h, &d); }},
        {"lsxGetResolutionModeSelDetail", [](lsxHandle h) { lsxSelectionDetail d; return lsxGetResolutionModeSelDetail(h, 0, &d); }},
        {"lsxSetSaturationState", [](lsxHandle h) { return lsxSetSaturationState(h, false); }},
        {"lsxSetColorTemperatureState", [](lsxHandle h) { return lsxSetColorTemperatureState(h, false); }},
        {"lsxSetGammaState", [](lsxHandle h) { return lsxSetGammaState(h, false); }},
        {"lsxSetContrastState", [](lsxHandle h) { return lsxSetContrastState(h, false); }},
        {"lsxSetBlackLevelState", [](lsxHandle h) { return lsxSetBlackLevelState(h, false); }},
        {"lsxSetNoiseReduct2dState", [](lsxHandle h) { return lsxSetNoiseReduct2dState(h, false); }},
        {"lsxSetNoiseReduct3dState", [](lsxHandle h) { return lsxSetNoiseReduct3dState(h, false); }},
        {"lsxSetSharpnessState", [](lsxHandle h) { return lsxSetSharpnessState(h, false); }},
        {"lsxSetMonoState", [](lsxHandle h) { return lsxSetMonoState(h, false); }},
        {"lsxSetInverseState", [](lsxHandle h) { return lsxSetInverseState(h, false); }},
        {"lsxSetFlipHorizontalState", [](lsxHandle h) { return lsxSetFlipHorizontalState(h, false); }},
        {"lsxSetBayerDecodeSel", [](lsxHandle h) { return lsxSetBayerDecodeSel(h, 0); }},
        {"lsxGetColorSolutionSelDetail", [](lsxHandle h) { lsxSelectionDetail d; return lsxGetColorSolutionSelDetail(h, 0, &d); }},
        {"lsxSetColorSolutionSel", [](lsxHandle h) { return lsxSetColorSolutionSel(h, 0); }},
        {"lsxSetUserColorMatrix", [](lsxHandle h) {
             lsxColorMatrix m{};
             m.m[0][0] = m.m[1][1] = m.m[2][2] = 1.0f;  // the identity, as the calibrations write it
             return lsxSetUserColorMatrix(h, &m);
         }},
        {"lsxSetBoolValue", [](lsxHandle h) { return lsxSetBoolValue(h, "CCMEnable", false); }},
        {"lsxGetEnumValue", [](lsxHandle h) { int64_t c, v[4]; int32_t n = 4; return lsxGetEnumValue(h, "BinningMode", &c, v, &n); }},
        {"lsxGetEnumNameValue", [](lsxHandle h) { char t[16]; return lsxGetEnumNameValue(h, "BinningMode", 0, t, sizeof t); }},
        {"lsxSetEnumValueByString", [](lsxHandle h) { return lsxSetEnumValueByString(h, "BinningMode", "SUM"); }},
        {"lsxGetConfigString", [](lsxHandle h) { char v[64]; return lsxGetConfigString(h, "FPNC.Selector", v, sizeof v); }},
        {"lsxSetConfigString", [](lsxHandle h) { return lsxSetConfigString(h, "LineRate", "10000"); }},
        {"lsxGetSelectionDescr", [](lsxHandle h) { lsxSelectionDescr d; return lsxGetSelectionDescr(h, "PRNUC", &d); }},
        {"lsxGetSelectionDetail", [](lsxHandle h) { lsxSelectionDetail d; return lsxGetSelectionDetail(h, "LSC", 1, &d); }},
        {"lsxGet", [](lsxHandle h) { uint32_t n = 104; return lsxGet(h, LSX_KEY_CORRECTION_SWITCH, &sw, &n); }},
        {"lsxSet", [](lsxHandle h) { uint32_t n = 104; return lsxSet(h, LSX_KEY_CORRECTION_SWITCH, &sw, &n); }},
        {"lsxReadGenICamReg", [](lsxHandle h) { uint32_t v; return lsxReadGenICamReg(h, GVR_SEN_BLACK_LEVEL, &v); }},
        {"lsxWriteGenICamReg", [](lsxHandle h) { return lsxWriteGenICamReg(h, GVR_LSC_SET_INDEX, 0); }},
        {"lsxReadGenICamMem", [](lsxHandle h) { uint8_t b[16]; return lsxReadGenICamMem(h, LSX_MEM_FFC_SET, b, 16); }},
        {"lsxWriteGenICamMem", [](lsxHandle h) { uint8_t b[16] = {}; return lsxWriteGenICamMem(h, LSX_MEM_LSC_BLOCK, b, 16); }},
        {"lsxClose", [](lsxHandle h) { return lsxClose(h); }},
    };
    // clang-format on
}

}  // namespace contract

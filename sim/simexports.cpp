// The exported operations of the simulated camera library: thin wrappers that find the camera
// behind a handle and call it, plus the lsxSim... extensions for tests.
//
// Statuses as the maker's library answers them: -13 for a handle that is not open, -1104 once
// the camera is disconnected, -4 for null or malformed arguments, -5 for values out of range,
// -2 for what the model does not have, -1202 for a protected write. lsxOpenByName answers
// -1100 when no camera is found, -1101 for an unknown name and -1102 when the camera is
// already open (one handle per camera, as on a real link).
//
// Every export runs its body through guarded(): no exception crosses the C boundary; running out
// of memory answers -1200, anything else unexpected -1.
#include "lsxsim.h"
#include "simcamera.h"

#include <QByteArray>

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

using lsxsim::Camera;

namespace {

constexpr lsxStatus kNoMemory = -1200;

// The boundary of every exported function: its body's status, or a status for what it threw.
template <typename F>
lsxStatus guarded(F&& body) noexcept
{
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return kNoMemory;
    } catch (...) {
        return LSX_ERR_UNKNOWN;
    }
}

struct Registry {
    std::mutex mutex;
    bool built = false;
    std::vector<std::shared_ptr<Camera>> cameras;
    std::vector<std::shared_ptr<Camera>> found;  // the last scan
    std::map<lsxHandle, std::shared_ptr<Camera>> handles;
    lsxHandle next = 0x1001;
};

void injectConfigFaults(const std::vector<lsxsim::FaultPlan>& faults);
void logLine(const std::string& text);

Registry& registry()
{
    static Registry r;
    return r;
}

void buildLocked(Registry& r)
{
    if (r.built) return;
    auto definitions = lsxsim::builtinCameras();
    std::vector<lsxsim::FaultPlan> faults;
    std::vector<std::string> messages;
    lsxsim::applyConfigFile(definitions, faults, messages);
    for (const std::string& m : messages) lsxsim::simLog(m);
    injectConfigFaults(faults);
    r.cameras.clear();
    for (const auto& s : definitions) {
        r.cameras.push_back(std::make_shared<Camera>(s));
        r.cameras.back()->loadNv();  // what the camera kept from an earlier process
    }
    r.found = r.cameras;
    r.built = true;
}

// The cameras (and the configuration's faults) are there before any operation runs.
void ensureBuilt()
{
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    buildLocked(r);
}

void scanLocked(Registry& r)
{
    buildLocked(r);
    r.found.clear();
    for (const auto& c : r.cameras)
        if (!c->disconnected()) r.found.push_back(c);
}

std::shared_ptr<Camera> byHandle(lsxHandle h)
{
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    auto it = r.handles.find(h);
    return it == r.handles.end() ? nullptr : it->second;
}

// Cameras named by a decimal handle or a friendly name; all of them for null or "".
std::vector<std::shared_ptr<Camera>> named(const char* camera)
{
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    buildLocked(r);
    std::vector<std::shared_ptr<Camera>> out;
    if (!camera || !*camera) return r.cameras;
    char* end = nullptr;
    const unsigned long h = std::strtoul(camera, &end, 0);
    if (end && *end == 0) {
        auto it = r.handles.find(lsxHandle(h));
        if (it != r.handles.end()) out.push_back(it->second);
        return out;
    }
    for (const auto& c : r.cameras)
        if (c->definition().friendlyName == camera) out.push_back(c);
    return out;
}

// ---- faults ----
struct Fault {
    int32_t after = 0;
    lsxStatus status = LSX_ERR_UNKNOWN;
    int32_t times = 0;
};
std::mutex g_faultMutex;
std::map<std::string, Fault> g_faults;

void injectConfigFaults(const std::vector<lsxsim::FaultPlan>& faults)
{
    std::lock_guard<std::mutex> lock(g_faultMutex);
    for (const auto& f : faults) g_faults[f.op] = Fault{f.after, f.status, f.times};
}

lsxStatus faultFor(const char* op)
{
    ensureBuilt();
    std::lock_guard<std::mutex> lock(g_faultMutex);
    if (g_faults.empty()) return LSX_OK;
    for (const char* key : {op, "*"}) {
        auto it = g_faults.find(key);
        if (it == g_faults.end()) continue;
        Fault& f = it->second;
        if (f.after > 0) {
            --f.after;
            continue;
        }
        const lsxStatus st = f.status;
        if (f.times > 0 && --f.times == 0) g_faults.erase(it);
        if (st == LSX_SIM_THROW_NO_MEMORY) throw std::bad_alloc();
        if (st == LSX_SIM_THROW_ERROR) throw std::runtime_error("injected");
        return st;
    }
    return LSX_OK;
}

// ---- log ----
std::mutex g_logMutex;
std::deque<std::string> g_log;

void logLine(const std::string& text)
{
    if (std::getenv("LSX_SIM_LOG")) std::fprintf(stderr, "[lsxsim] %s\n", text.c_str());
    std::lock_guard<std::mutex> lock(g_logMutex);
    g_log.push_back(text);
    while (g_log.size() > 256) g_log.pop_front();
}

}  // namespace

void lsxsim::simLog(const std::string& text)
{
    if (!std::getenv("LSX_SIM_QUIET")) std::fprintf(stderr, "lsxsim: %s\n", text.c_str());
    logLine(text);
}

namespace {

template <typename F>
lsxStatus withCamera(lsxHandle h, F&& fn)
{
    auto cam = byHandle(h);
    if (!cam) return LSX_ERR_INVALID_HANDLE;
    if (cam->disconnected()) return LSX_ERR_DISCONNECTED;
    return fn(*cam);
}

}  // namespace

#define LSX_SIM_FAULT(op) \
    if (const lsxStatus fault = faultFor(#op); fault != LSX_OK) return fault;
#define LSX_SIM_CALL(op, h, expr)                                           \
    return guarded([&]() -> lsxStatus {                                     \
        LSX_SIM_FAULT(op)                                                   \
        return withCamera(h, [&](Camera& c) -> lsxStatus { return expr; }); \
    });

extern "C" {

// ---- session and discovery ----

lsxStatus lsxRefresh(int32_t* count)
{
    return guarded([&]() -> lsxStatus {
        LSX_SIM_FAULT(lsxRefresh)
        if (!count) return LSX_ERR_INVALID_ARG;
        Registry& r = registry();
        std::lock_guard<std::mutex> lock(r.mutex);
        scanLocked(r);
        *count = int32_t(r.found.size());
        return LSX_OK;
    });
}

lsxStatus lsxEnum(int32_t index, lsxCameraInfo* info)
{
    return guarded([&]() -> lsxStatus {
        LSX_SIM_FAULT(lsxEnum)
        if (!info) return LSX_ERR_INVALID_ARG;
        Registry& r = registry();
        std::lock_guard<std::mutex> lock(r.mutex);
        if (index < 0 || index >= int32_t(r.found.size())) return LSX_ERR_OUT_OF_RANGE;
        *info = r.found[size_t(index)]->info();
        return LSX_OK;
    });
}

lsxStatus lsxOpenByName(const char* name, int32_t mode, lsxHandle* handle)
{
    return guarded([&]() -> lsxStatus {
        LSX_SIM_FAULT(lsxOpenByName)
        if (!name || !handle) return LSX_ERR_INVALID_ARG;
        if (mode != LSX_OPEN_NORMAL && mode != LSX_OPEN_FACTORY) return LSX_ERR_INVALID_ARG;
        Registry& r = registry();
        std::lock_guard<std::mutex> lock(r.mutex);
        std::shared_ptr<Camera> cam;
        bool any = false;
        for (const auto& c : r.cameras) {
            if (c->disconnected()) continue;
            any = true;
            if (c->definition().friendlyName == name) cam = c;
        }
        if (!any) return LSX_ERR_NO_DEVICE;
        if (!cam) return LSX_ERR_LOGICAL_DEVICE;
        const lsxStatus st = cam->open(mode);
        if (st != LSX_OK) return st;
        const lsxHandle h = r.next++;
        r.handles[h] = cam;
        *handle = h;
        return LSX_OK;
    });
}

lsxStatus lsxClose(lsxHandle h)
{
    return guarded([&]() -> lsxStatus {
        LSX_SIM_FAULT(lsxClose)
        std::shared_ptr<Camera> cam;
        {
            Registry& r = registry();
            std::lock_guard<std::mutex> lock(r.mutex);
            auto it = r.handles.find(h);
            if (it == r.handles.end()) return LSX_ERR_INVALID_HANDLE;
            cam = it->second;
            r.handles.erase(it);
        }
        return cam->close();
    });
}

lsxStatus lsxGetCameraInfo(lsxHandle h, lsxCameraInfo* info)
{
    LSX_SIM_CALL(lsxGetCameraInfo, h, info ? (*info = c.info(), LSX_OK) : LSX_ERR_INVALID_ARG)
}
lsxStatus lsxGetSensorInfo(lsxHandle h, lsxSensorInfo* info)
{
    LSX_SIM_CALL(lsxGetSensorInfo, h, c.sensorInfo(info))
}
lsxStatus lsxSaveConfig(lsxHandle h, const char* path)
{
    LSX_SIM_CALL(lsxSaveConfig, h, c.saveConfig(path))
}
lsxStatus lsxLoadConfig(lsxHandle h, const char* path)
{
    LSX_SIM_CALL(lsxLoadConfig, h, c.loadConfig(path))
}
lsxStatus lsxShowPropertyModalDialog(lsxHandle h, uintptr_t)
{
    // No dialog of its own: the scene is controlled through lsxSimSetScene.
    LSX_SIM_CALL(lsxShowPropertyModalDialog, h, ((void)c, LSX_ERR_NOT_SUPPORTED))
}

lsxStatus lsxDebugFormat(lsxHandle, int32_t level, const char* tag, const char* format, ...)
{
    if (!format) return guarded([] { return LSX_ERR_INVALID_ARG; });
    char text[2048];
    va_list ap;
    va_start(ap, format);
    std::vsnprintf(text, sizeof text, format, ap);
    va_end(ap);
    return guarded([&]() -> lsxStatus {
        LSX_SIM_FAULT(lsxDebugFormat)
        logLine(std::string("[") + std::to_string(level) + "][" + (tag ? tag : "") + "] " + text);
        return LSX_OK;
    });
}

// ---- stream and trigger ----

lsxStatus lsxStart(lsxHandle h)
{
    LSX_SIM_CALL(lsxStart, h, c.start())
}
lsxStatus lsxStop(lsxHandle h)
{
    LSX_SIM_CALL(lsxStop, h, c.stop())
}
lsxStatus lsxGetFrame(lsxHandle h, lsxFrame* frame, void** buffer, uint32_t timeoutMs)
{
    LSX_SIM_CALL(lsxGetFrame, h, c.getFrame(frame, buffer, timeoutMs))
}
lsxStatus lsxGetTriggerState(lsxHandle h, bool* on)
{
    LSX_SIM_CALL(lsxGetTriggerState, h, c.getTriggerState(on))
}
lsxStatus lsxSetTriggerState(lsxHandle h, bool on)
{
    LSX_SIM_CALL(lsxSetTriggerState, h, c.setTriggerState(on))
}
lsxStatus lsxGetTriggerSource(lsxHandle h, int32_t* s)
{
    LSX_SIM_CALL(lsxGetTriggerSource, h, c.getTriggerSource(s))
}
lsxStatus lsxSetTriggerSource(lsxHandle h, int32_t s)
{
    LSX_SIM_CALL(lsxSetTriggerSource, h, c.setTriggerSource(s))
}
lsxStatus lsxTriggerFire(lsxHandle h)
{
    LSX_SIM_CALL(lsxTriggerFire, h, c.triggerFire())
}

// ---- image properties ----

lsxStatus lsxGetRoi(lsxHandle h, lsxRegion* r)
{
    LSX_SIM_CALL(lsxGetRoi, h, c.getRoi(r))
}
lsxStatus lsxSetRoi(lsxHandle h, const lsxRegion* r)
{
    LSX_SIM_CALL(lsxSetRoi, h, c.setRoi(r))
}
lsxStatus lsxGetRoiDescr(lsxHandle h, lsxRegionDescr* d)
{
    LSX_SIM_CALL(lsxGetRoiDescr, h, c.getRoiDescr(d))
}
lsxStatus lsxGetRoiState(lsxHandle h, bool* on)
{
    LSX_SIM_CALL(lsxGetRoiState, h, c.getRoiState(on))
}
lsxStatus lsxGetExposure(lsxHandle h, double* us)
{
    LSX_SIM_CALL(lsxGetExposure, h, c.getExposure(us))
}
lsxStatus lsxSetExposure(lsxHandle h, double us)
{
    LSX_SIM_CALL(lsxSetExposure, h, c.setExposure(us))
}
lsxStatus lsxGetExposureDescr(lsxHandle h, lsxDoubleDescr* d)
{
    LSX_SIM_CALL(lsxGetExposureDescr, h, c.getExposureDescr(d))
}
lsxStatus lsxGetAnalogGain(lsxHandle h, float* g)
{
    LSX_SIM_CALL(lsxGetAnalogGain, h, c.getGain(g))
}
lsxStatus lsxSetAnalogGain(lsxHandle h, float g)
{
    LSX_SIM_CALL(lsxSetAnalogGain, h, c.setGain(g))
}
lsxStatus lsxGetAnalogGainDescr(lsxHandle h, lsxFloatDescr* d)
{
    LSX_SIM_CALL(lsxGetAnalogGainDescr, h, c.getGainDescr(d))
}
lsxStatus lsxSetRgbGain(lsxHandle h, float r, float g, float b)
{
    LSX_SIM_CALL(lsxSetRgbGain, h, c.setRgbGain(r, g, b))
}
lsxStatus lsxGetSourceFormat(lsxHandle h, int32_t* f)
{
    LSX_SIM_CALL(lsxGetSourceFormat, h, c.getSourceFormat(f))
}
lsxStatus lsxSetSourceFormat(lsxHandle h, int32_t f)
{
    LSX_SIM_CALL(lsxSetSourceFormat, h, c.setSourceFormat(f))
}
lsxStatus lsxGetTargetFormat(lsxHandle h, int32_t* f)
{
    LSX_SIM_CALL(lsxGetTargetFormat, h, c.getTargetFormat(f))
}
lsxStatus lsxSetTargetFormat(lsxHandle h, int32_t f)
{
    LSX_SIM_CALL(lsxSetTargetFormat, h, c.setTargetFormat(f))
}
lsxStatus lsxGetResolutionModeSel(lsxHandle h, int32_t* i)
{
    LSX_SIM_CALL(lsxGetResolutionModeSel, h, c.getResMode(i))
}
lsxStatus lsxSetResolutionModeSel(lsxHandle h, int32_t i)
{
    LSX_SIM_CALL(lsxSetResolutionModeSel, h, c.setResMode(i))
}
lsxStatus lsxGetResolutionModeSelDescr(lsxHandle h, lsxSelectionDescr* d)
{
    LSX_SIM_CALL(lsxGetResolutionModeSelDescr, h, c.getResModeDescr(d))
}
lsxStatus lsxGetResolutionModeSelDetail(lsxHandle h, int32_t i, lsxSelectionDetail* d)
{
    LSX_SIM_CALL(lsxGetResolutionModeSelDetail, h, c.getResModeDetail(i, d))
}

// ---- image-processing switches ----

lsxStatus lsxSetSaturationState(lsxHandle h, bool on)
{
    LSX_SIM_CALL(lsxSetSaturationState, h, c.setIspSwitch("saturation", on))
}
lsxStatus lsxSetColorTemperatureState(lsxHandle h, bool on)
{
    LSX_SIM_CALL(lsxSetColorTemperatureState, h, c.setIspSwitch("colorTemperature", on))
}
lsxStatus lsxSetGammaState(lsxHandle h, bool on)
{
    LSX_SIM_CALL(lsxSetGammaState, h, c.setIspSwitch("gamma", on))
}
lsxStatus lsxSetContrastState(lsxHandle h, bool on)
{
    LSX_SIM_CALL(lsxSetContrastState, h, c.setIspSwitch("contrast", on))
}
lsxStatus lsxSetBlackLevelState(lsxHandle h, bool on)
{
    LSX_SIM_CALL(lsxSetBlackLevelState, h, c.setIspSwitch("blackLevel", on))
}
lsxStatus lsxSetNoiseReduct2dState(lsxHandle h, bool on)
{
    LSX_SIM_CALL(lsxSetNoiseReduct2dState, h, c.setIspSwitch("noiseReduct2d", on))
}
lsxStatus lsxSetNoiseReduct3dState(lsxHandle h, bool on)
{
    LSX_SIM_CALL(lsxSetNoiseReduct3dState, h, c.setIspSwitch("noiseReduct3d", on))
}
lsxStatus lsxSetSharpnessState(lsxHandle h, bool on)
{
    LSX_SIM_CALL(lsxSetSharpnessState, h, c.setIspSwitch("sharpness", on))
}
lsxStatus lsxSetMonoState(lsxHandle h, bool on)
{
    LSX_SIM_CALL(lsxSetMonoState, h, c.setIspSwitch("mono", on))
}
lsxStatus lsxSetInverseState(lsxHandle h, bool on)
{
    LSX_SIM_CALL(lsxSetInverseState, h, c.setIspSwitch("inverse", on))
}
lsxStatus lsxSetFlipHorizontalState(lsxHandle h, bool on)
{
    LSX_SIM_CALL(lsxSetFlipHorizontalState, h, c.setIspSwitch("flip", on))
}
lsxStatus lsxSetBayerDecodeSel(lsxHandle h, int32_t i)
{
    LSX_SIM_CALL(lsxSetBayerDecodeSel, h, c.setBayerDecode(i))
}
lsxStatus lsxGetColorSolutionSelDetail(lsxHandle h, int32_t i, lsxSelectionDetail* d)
{
    LSX_SIM_CALL(lsxGetColorSolutionSelDetail, h, c.getColorSolutionDetail(i, d))
}
lsxStatus lsxSetColorSolutionSel(lsxHandle h, int32_t i)
{
    LSX_SIM_CALL(lsxSetColorSolutionSel, h, c.setColorSolution(i))
}
lsxStatus lsxSetUserColorMatrix(lsxHandle h, const lsxColorMatrix* m)
{
    LSX_SIM_CALL(lsxSetUserColorMatrix, h, c.setColorMatrix(m))
}
lsxStatus lsxSetBoolValue(lsxHandle h, const char* name, bool v)
{
    LSX_SIM_CALL(lsxSetBoolValue, h, c.setBoolValue(name, v))
}

// ---- named values ----

lsxStatus lsxGetEnumValue(lsxHandle h, const char* name, int64_t* current, int64_t* values, int32_t* count)
{
    LSX_SIM_CALL(lsxGetEnumValue, h, c.getEnumValue(name, current, values, count))
}
lsxStatus lsxGetEnumNameValue(lsxHandle h, const char* name, int32_t index, char* text, uint32_t size)
{
    LSX_SIM_CALL(lsxGetEnumNameValue, h, c.getEnumName(name, index, text, size))
}
lsxStatus lsxSetEnumValueByString(lsxHandle h, const char* name, const char* value)
{
    LSX_SIM_CALL(lsxSetEnumValueByString, h, c.setEnumByString(name, value))
}
lsxStatus lsxGetConfigString(lsxHandle h, const char* key, char* value, uint32_t size)
{
    LSX_SIM_CALL(lsxGetConfigString, h, c.getConfigString(key, value, size))
}
lsxStatus lsxSetConfigString(lsxHandle h, const char* key, const char* value)
{
    LSX_SIM_CALL(lsxSetConfigString, h, c.setConfigString(key, value))
}
lsxStatus lsxGetSelectionDescr(lsxHandle h, const char* key, lsxSelectionDescr* d)
{
    LSX_SIM_CALL(lsxGetSelectionDescr, h, c.getSelectionDescr(key, d))
}
lsxStatus lsxGetSelectionDetail(lsxHandle h, const char* key, int32_t i, lsxSelectionDetail* d)
{
    LSX_SIM_CALL(lsxGetSelectionDetail, h, c.getSelectionDetail(key, i, d))
}

// ---- raw access ----

lsxStatus lsxGet(lsxHandle h, uint32_t key, void* payload, uint32_t* size)
{
    LSX_SIM_CALL(lsxGet, h, c.get(key, payload, size))
}
lsxStatus lsxSet(lsxHandle h, uint32_t key, void* payload, uint32_t* size)
{
    LSX_SIM_CALL(lsxSet, h, c.set(key, payload, size))
}
lsxStatus lsxReadGenICamReg(lsxHandle h, uint32_t reg, uint32_t* v)
{
    LSX_SIM_CALL(lsxReadGenICamReg, h, c.readReg(reg, v))
}
lsxStatus lsxWriteGenICamReg(lsxHandle h, uint32_t reg, uint32_t v)
{
    LSX_SIM_CALL(lsxWriteGenICamReg, h, c.writeReg(reg, v))
}
lsxStatus lsxReadGenICamMem(lsxHandle h, uint64_t address, void* buffer, uint32_t size)
{
    LSX_SIM_CALL(lsxReadGenICamMem, h, c.readMem(address, buffer, size))
}
lsxStatus lsxWriteGenICamMem(lsxHandle h, uint64_t address, const void* buffer, uint32_t size)
{
    LSX_SIM_CALL(lsxWriteGenICamMem, h, c.writeMem(address, buffer, size))
}

// ---- extensions for tests ----

#define LSX_SIM_EACH(camera, stmt)                       \
    return guarded([&]() -> lsxStatus {                  \
        auto list = named(camera);                       \
        if (list.empty()) return LSX_ERR_LOGICAL_DEVICE; \
        for (auto& cam : list) {                         \
            stmt;                                        \
        }                                                \
        return LSX_OK;                                   \
    });

// The one camera `camera` names, or the status why not.
#define LSX_SIM_ONE(camera, stmt)                                                                 \
    return guarded([&]() -> lsxStatus {                                                           \
        auto list = named(camera);                                                                \
        if (list.size() != 1) return list.empty() ? LSX_ERR_LOGICAL_DEVICE : LSX_ERR_INVALID_ARG; \
        auto& cam = list[0];                                                                      \
        stmt;                                                                                     \
    });

lsxStatus lsxSimSetScene(const char* camera, int32_t kind, double level, double slope, double falloff)
{
    if (kind < 0 || kind > 2) return LSX_ERR_OUT_OF_RANGE;
    if (std::isnan(level) || std::isnan(slope) || std::isnan(falloff)) return LSX_ERR_INVALID_ARG;
    LSX_SIM_EACH(camera, cam->setScene(kind, level, slope, falloff))
}

lsxStatus lsxSimGetScene(const char* camera, int32_t* kind, double* level, double* slope, double* falloff)
{
    if (!kind || !level || !slope || !falloff) return LSX_ERR_INVALID_ARG;
    LSX_SIM_ONE(camera, cam->scene(kind, level, slope, falloff); return LSX_OK)
}

lsxStatus lsxSimSetNoise(const char* camera, bool on)
{
    LSX_SIM_EACH(camera, cam->setNoise(on))
}

lsxStatus lsxSimSetNoiseSeed(const char* camera, uint32_t seed)
{
    LSX_SIM_EACH(camera, cam->setNoiseSeed(seed))
}

lsxStatus lsxSimSetNonLinearity(const char* camera, bool on)
{
    LSX_SIM_EACH(camera, cam->setNonLinearity(on))
}

lsxStatus lsxSimSetTimeScale(const char* camera, double scale)
{
    if (!(scale >= 0 && scale <= 1000)) return LSX_ERR_OUT_OF_RANGE;
    LSX_SIM_EACH(camera, cam->setTimeScale(scale))
}

lsxStatus lsxSimInjectFault(const char* op, int32_t afterCalls, lsxStatus status, int32_t times)
{
    if (!op || !*op || afterCalls < 0 || times < 0) return LSX_ERR_INVALID_ARG;
    return guarded([&]() -> lsxStatus {
        ensureBuilt();  // the configuration's faults first, so that this one is not replaced later
        std::lock_guard<std::mutex> lock(g_faultMutex);
        g_faults[op] = Fault{afterCalls, status, times};
        return LSX_OK;
    });
}

lsxStatus lsxSimClearFaults(void)
{
    return guarded([]() -> lsxStatus {
        ensureBuilt();
        std::lock_guard<std::mutex> lock(g_faultMutex);
        g_faults.clear();
        return LSX_OK;
    });
}

lsxStatus lsxSimFrameTimeouts(const char* camera, int32_t n)
{
    LSX_SIM_EACH(camera, cam->frameTimeouts(n))
}

lsxStatus lsxSimDisconnectAfterFrames(const char* camera, int32_t n)
{
    LSX_SIM_EACH(camera, cam->disconnectAfterFrames(n))
}

lsxStatus lsxSimReconnect(const char* camera)
{
    LSX_SIM_EACH(camera, cam->setDisconnected(false))
}

lsxStatus lsxSimGetTruth(const char* camera, int32_t kind, int32_t plane, int32_t line, float* out, int32_t* count)
{
    LSX_SIM_ONE(camera, return cam->truth(kind, plane, line, -1.0, out, count))
}

lsxStatus lsxSimGetTruthAt(const char* camera, int32_t kind, int32_t plane, int32_t line, double level, float* out,
                           int32_t* count)
{
    if (!(level >= 0 && level <= 1e6)) return LSX_ERR_OUT_OF_RANGE;
    if (kind != LSX_SIM_TRUE_SIGNAL && kind != LSX_SIM_TRUE_NOISE) return LSX_ERR_INVALID_ARG;
    LSX_SIM_ONE(camera, return cam->truth(kind, plane, line, level, out, count))
}

lsxStatus lsxSimGetTrueDark(const char* camera, int32_t plane, int32_t line, float* out, int32_t* count)
{
    return lsxSimGetTruth(camera, LSX_SIM_TRUE_DARK, plane, line, out, count);
}

lsxStatus lsxSimGetTrueResponse(const char* camera, int32_t plane, int32_t line, float* out, int32_t* count)
{
    return lsxSimGetTruth(camera, LSX_SIM_TRUE_SIGNAL, plane, line, out, count);
}

lsxStatus lsxSimGetCounters(const char* camera, uint64_t* frames, uint64_t* triggers)
{
    LSX_SIM_ONE(camera, cam->counters(frames, triggers); return LSX_OK)
}

lsxStatus lsxSimLogCount(int32_t* count)
{
    if (!count) return LSX_ERR_INVALID_ARG;
    return guarded([&]() -> lsxStatus {
        ensureBuilt();  // the configuration's messages are part of the log
        std::lock_guard<std::mutex> lock(g_logMutex);
        *count = int32_t(g_log.size());
        return LSX_OK;
    });
}

lsxStatus lsxSimLogLine(int32_t index, char* text, uint32_t size)
{
    if (!text || size == 0) return LSX_ERR_INVALID_ARG;
    return guarded([&]() -> lsxStatus {
        ensureBuilt();
        std::lock_guard<std::mutex> lock(g_logMutex);
        if (index < 0 || index >= int32_t(g_log.size())) return LSX_ERR_OUT_OF_RANGE;
        const std::string& s = g_log[size_t(index)];
        const size_t n = std::min<size_t>(s.size(), size - 1);
        std::memcpy(text, s.data(), n);
        text[n] = 0;
        return LSX_OK;
    });
}

lsxStatus lsxSimReset(void)
{
    return guarded([]() -> lsxStatus {
        {
            std::lock_guard<std::mutex> lock(g_faultMutex);
            g_faults.clear();  // before the rebuild, which brings the configuration's faults back
        }
        {
            std::lock_guard<std::mutex> lock(g_logMutex);
            g_log.clear();  // before the rebuild, whose refusals of the configuration stay
        }
        std::vector<std::shared_ptr<Camera>> old;
        {
            Registry& r = registry();
            std::lock_guard<std::mutex> lock(r.mutex);
            old = r.cameras;
            r.handles.clear();
            r.found.clear();
            r.cameras.clear();
            r.built = false;
            lsxsim::clearStateFolder();  // the cameras come back as new, here and in the next process
            buildLocked(r);
            r.found = r.cameras;
        }
        for (auto& c : old) c->close();  // wakes any reader still waiting for a frame
        return LSX_OK;
    });
}

}  // extern "C"

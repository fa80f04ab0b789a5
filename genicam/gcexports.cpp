// liblsxgenicam.so: the 66 operations of the camera contract for GigE Vision and USB3 Vision
// cameras, over Aravis 0.8.
//
// Cameras are found by Aravis' discovery and named "<vendor> <model> <serial>". One handle per
// camera, as on a real link: a second open of an open camera answers -1102. Statuses: -13 for a
// handle that is not open, -1104 once the camera stopped answering, -4 for null arguments, -5
// for values out of range, -2 for what the camera does not have, -1000 for a frame time-out,
// -10 for a frame or a trigger on a stopped stream. No exception leaves an operation: each one
// answers a status, -1200 when memory ran out and -1 for anything else unforeseen.
//
// The library's log (lsxDebugFormat) goes to standard error when LSX_GENICAM_LOG is set.
#include "gccamera.h"
#include "lsx.h"

#include <arv.h>
#include <cxxabi.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <vector>

using lsxgc::Camera;
using lsxgc::DeviceEntry;

namespace {

struct Registry {
    std::mutex scanMutex;  // one discovery, one open at a time: Aravis' device list is global
    std::mutex mutex;      // the lists below
    bool scanned = false;
    std::vector<DeviceEntry> found;
    std::map<lsxHandle, std::shared_ptr<Camera>> handles;
    lsxHandle next = 0x6001;
};

Registry& registry()
{
    static Registry* r = new Registry;  // never destroyed: cameras may outlive static teardown
    return *r;
}

// Every operation answers a status, whatever is thrown below it. The one unwinding let through
// is a thread's cancellation (QThread::terminate of a worker stuck in a call): it must reach the
// thread's start to end it, and swallowing it aborts the process.
template <typename F>
lsxStatus guard(F&& body)
{
    try {
        return body();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const std::bad_alloc&) {
        return -1200;
    } catch (...) {
        return LSX_ERR_UNKNOWN;
    }
}

std::shared_ptr<Camera> byHandle(lsxHandle h)
{
    Registry& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    auto it = r.handles.find(h);
    return it == r.handles.end() ? nullptr : it->second;
}

template <typename F>
lsxStatus withCamera(lsxHandle h, F&& body)
{
    return guard([&]() -> lsxStatus {
        const std::shared_ptr<Camera> camera = byHandle(h);
        if (!camera) return LSX_ERR_INVALID_HANDLE;
        return body(*camera);
    });
}

std::string text(const char* s)
{
    return s ? std::string(s) : std::string();
}

std::string trimmed(const std::string& s)
{
    const size_t a = s.find_first_not_of(" \t");
    if (a == std::string::npos) return {};
    return s.substr(a, s.find_last_not_of(" \t") - a + 1);
}

// Discovery on every interface Aravis knows (GigE Vision, USB3 Vision). Takes about a second.
void scan(Registry& r)
{
    std::lock_guard<std::mutex> scanLock(r.scanMutex);
    arv_update_device_list();
    std::vector<DeviceEntry> found;
    std::set<std::string> names;
    const unsigned n = arv_get_n_devices();
    for (unsigned i = 0; i < n; ++i) {
        DeviceEntry e;
        e.id = text(arv_get_device_id(i));
        if (e.id.empty()) continue;
        e.vendor = trimmed(text(arv_get_device_vendor(i)));
        e.model = trimmed(text(arv_get_device_model(i)));
        e.serial = trimmed(text(arv_get_device_serial_nbr(i)));
        e.protocol = text(arv_get_device_protocol(i));
        e.address = text(arv_get_device_address(i));
        std::string name;
        for (const std::string* part : {&e.vendor, &e.model, &e.serial})
            if (!part->empty()) name += (name.empty() ? "" : " ") + *part;
        if (name.empty()) name = e.id;
        name = name.substr(0, sizeof(lsxCameraInfo::friendlyName) - 8);
        std::string unique = name;
        for (int k = 2; names.count(unique); ++k) unique = name + " #" + std::to_string(k);
        names.insert(unique);
        e.friendlyName = unique;
        found.push_back(std::move(e));
    }
    std::lock_guard<std::mutex> lock(r.mutex);
    r.found = std::move(found);
    r.scanned = true;
}

void copyText(char* field, size_t capacity, const std::string& s)
{
    std::memset(field, 0, capacity);
    std::strncpy(field, s.c_str(), capacity - 1);
}

// The record of a camera found but not open: the texts of its discovery answer. Its type is
// known once the camera is open and its feature tree read.
lsxCameraInfo infoOf(const DeviceEntry& e)
{
    lsxCameraInfo info;
    std::memset(&info, 0, sizeof info);
    copyText(info.vendor, sizeof info.vendor, e.vendor);
    copyText(info.model, sizeof info.model, e.model);
    copyText(info.serialNumber, sizeof info.serialNumber, e.serial);
    copyText(info.version, sizeof info.version, e.protocol);
    copyText(info.friendlyName, sizeof info.friendlyName, e.friendlyName);
    return info;
}

bool isIdentity(const lsxColorMatrix& m)
{
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 3; ++c)
            if (m.m[r][c] != ((r == c) ? 1.0f : 0.0f)) return false;
    return true;
}

}  // namespace

extern "C" {

// ---- session and discovery ----

LSX_API lsxStatus lsxRefresh(int32_t* count)
{
    return guard([&]() -> lsxStatus {
        if (!count) return LSX_ERR_INVALID_ARG;
        Registry& r = registry();
        scan(r);
        std::lock_guard<std::mutex> lock(r.mutex);
        *count = int32_t(r.found.size());
        return LSX_OK;
    });
}

LSX_API lsxStatus lsxEnum(int32_t index, lsxCameraInfo* info)
{
    return guard([&]() -> lsxStatus {
        if (!info) return LSX_ERR_INVALID_ARG;
        Registry& r = registry();
        if (!r.scanned) scan(r);
        std::shared_ptr<Camera> open;
        DeviceEntry entry;
        {
            std::lock_guard<std::mutex> lock(r.mutex);
            if (index < 0 || index >= int32_t(r.found.size())) return LSX_ERR_OUT_OF_RANGE;
            entry = r.found[size_t(index)];
            for (const auto& [h, c] : r.handles)
                if (c->id() == entry.id) open = c;
        }
        *info = open ? open->info() : infoOf(entry);
        return LSX_OK;
    });
}

LSX_API lsxStatus lsxOpenByName(const char* name, int32_t mode, lsxHandle* handle)
{
    return guard([&]() -> lsxStatus {
        if (!name || !handle) return LSX_ERR_INVALID_ARG;
        // The factory mode opens like the normal one: a GenICam camera has no factory data.
        if (mode != LSX_OPEN_NORMAL && mode != LSX_OPEN_FACTORY) return LSX_ERR_INVALID_ARG;
        Registry& r = registry();
        if (!r.scanned) scan(r);
        DeviceEntry entry;
        {
            std::lock_guard<std::mutex> lock(r.mutex);
            if (r.found.empty()) return LSX_ERR_NO_DEVICE;
            auto it = std::find_if(r.found.begin(), r.found.end(),
                                   [&](const DeviceEntry& e) { return e.friendlyName == name; });
            if (it == r.found.end()) return LSX_ERR_LOGICAL_DEVICE;
            entry = *it;
            for (const auto& [h, c] : r.handles)
                if (c->id() == entry.id) return LSX_ERR_ALREADY_OPEN;
        }
        std::lock_guard<std::mutex> openLock(r.scanMutex);
        std::shared_ptr<Camera> camera;
        if (const lsxStatus st = Camera::open(entry, camera); st != LSX_OK) return st;
        std::lock_guard<std::mutex> lock(r.mutex);
        for (const auto& [h, c] : r.handles)
            if (c->id() == entry.id) return LSX_ERR_ALREADY_OPEN;  // opened meanwhile by another thread
        const lsxHandle h = r.next++;
        r.handles[h] = camera;
        *handle = h;
        return LSX_OK;
    });
}

LSX_API lsxStatus lsxClose(lsxHandle h)
{
    return guard([&]() -> lsxStatus {
        std::shared_ptr<Camera> camera;
        {
            Registry& r = registry();
            std::lock_guard<std::mutex> lock(r.mutex);
            auto it = r.handles.find(h);
            if (it == r.handles.end()) return LSX_ERR_INVALID_HANDLE;
            camera = std::move(it->second);
            r.handles.erase(it);
        }
        camera->close();
        return LSX_OK;
    });
}

LSX_API lsxStatus lsxGetCameraInfo(lsxHandle h, lsxCameraInfo* info)
{
    return withCamera(h, [&](Camera& c) -> lsxStatus {
        if (!info) return LSX_ERR_INVALID_ARG;
        if (const lsxStatus st = c.alive(); st != LSX_OK) return st;
        *info = c.info();
        return LSX_OK;
    });
}

LSX_API lsxStatus lsxGetSensorInfo(lsxHandle h, lsxSensorInfo* info)
{
    return withCamera(h, [&](Camera& c) { return info ? c.sensorInfo(*info) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxSaveConfig(lsxHandle h, const char* path)
{
    return withCamera(h, [&](Camera& c) { return path ? c.saveConfig(path) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxLoadConfig(lsxHandle h, const char* path)
{
    return withCamera(h, [&](Camera& c) { return path ? c.loadConfig(path) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxShowPropertyModalDialog(lsxHandle h, uintptr_t)
{
    // No dialog of its own: the camera's features are in the program's panels.
    return withCamera(h, [&](Camera& c) {
        const lsxStatus st = c.alive();
        return st == LSX_OK ? LSX_ERR_NOT_SUPPORTED : st;
    });
}

LSX_API lsxStatus lsxDebugFormat(lsxHandle h, int32_t level, const char* tag, const char* format, ...)
{
    char line[2048];
    va_list ap;
    va_start(ap, format);
    std::vsnprintf(line, sizeof line, format ? format : "", ap);
    va_end(ap);
    return guard([&]() -> lsxStatus {
        if (std::getenv("LSX_GENICAM_LOG"))
            std::fprintf(stderr, "[lsxgenicam %u %d %s] %s\n", unsigned(h), int(level), tag ? tag : "", line);
        return LSX_OK;
    });
}

// ---- stream and trigger ----

LSX_API lsxStatus lsxStart(lsxHandle h)
{
    return withCamera(h, [](Camera& c) { return c.start(); });
}

LSX_API lsxStatus lsxStop(lsxHandle h)
{
    return withCamera(h, [](Camera& c) { return c.stop(); });
}

LSX_API lsxStatus lsxGetFrame(lsxHandle h, lsxFrame* frame, void** buffer, uint32_t timeoutMs)
{
    return withCamera(
        h, [&](Camera& c) { return (frame && buffer) ? c.getFrame(frame, buffer, timeoutMs) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxGetTriggerState(lsxHandle h, bool* on)
{
    return withCamera(h, [&](Camera& c) { return on ? c.getTriggerState(*on) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxSetTriggerState(lsxHandle h, bool on)
{
    return withCamera(h, [&](Camera& c) { return c.setTriggerState(on); });
}

LSX_API lsxStatus lsxGetTriggerSource(lsxHandle h, int32_t* source)
{
    return withCamera(h, [&](Camera& c) { return source ? c.getTriggerSource(*source) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxSetTriggerSource(lsxHandle h, int32_t source)
{
    return withCamera(h, [&](Camera& c) { return c.setTriggerSource(source); });
}

LSX_API lsxStatus lsxTriggerFire(lsxHandle h)
{
    return withCamera(h, [](Camera& c) { return c.fire(); });
}

// ---- image properties ----

LSX_API lsxStatus lsxGetRoi(lsxHandle h, lsxRegion* region)
{
    return withCamera(h, [&](Camera& c) { return region ? c.getRoi(*region) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxSetRoi(lsxHandle h, const lsxRegion* region)
{
    return withCamera(h, [&](Camera& c) { return region ? c.setRoi(*region) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxGetRoiDescr(lsxHandle h, lsxRegionDescr* descr)
{
    return withCamera(h, [&](Camera& c) { return descr ? c.roiDescr(*descr) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxGetRoiState(lsxHandle h, bool* inUse)
{
    // The image region of a GenICam camera is always in force.
    return withCamera(h, [&](Camera& c) -> lsxStatus {
        if (!inUse) return LSX_ERR_INVALID_ARG;
        if (const lsxStatus st = c.alive(); st != LSX_OK) return st;
        *inUse = true;
        return LSX_OK;
    });
}

LSX_API lsxStatus lsxGetExposure(lsxHandle h, double* us)
{
    return withCamera(h, [&](Camera& c) { return us ? c.getExposure(*us) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxSetExposure(lsxHandle h, double us)
{
    return withCamera(h, [&](Camera& c) { return c.setExposure(us); });
}

LSX_API lsxStatus lsxGetExposureDescr(lsxHandle h, lsxDoubleDescr* descr)
{
    return withCamera(h, [&](Camera& c) { return descr ? c.exposureDescr(*descr) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxGetAnalogGain(lsxHandle h, float* gain)
{
    return withCamera(h, [&](Camera& c) { return gain ? c.getGain(*gain) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxSetAnalogGain(lsxHandle h, float gain)
{
    return withCamera(h, [&](Camera& c) { return c.setGain(gain); });
}

LSX_API lsxStatus lsxGetAnalogGainDescr(lsxHandle h, lsxFloatDescr* descr)
{
    return withCamera(h, [&](Camera& c) { return descr ? c.gainDescr(*descr) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxSetRgbGain(lsxHandle h, float r, float g, float b)
{
    return withCamera(h, [&](Camera& c) { return c.setRgbGain(r, g, b); });
}

LSX_API lsxStatus lsxGetSourceFormat(lsxHandle h, int32_t* format)
{
    return withCamera(h, [&](Camera& c) { return format ? c.getSourceFormat(*format) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxSetSourceFormat(lsxHandle h, int32_t format)
{
    return withCamera(h, [&](Camera& c) { return c.setSourceFormat(format); });
}

LSX_API lsxStatus lsxGetTargetFormat(lsxHandle h, int32_t* format)
{
    return withCamera(h, [&](Camera& c) { return format ? c.getTargetFormat(*format) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxSetTargetFormat(lsxHandle h, int32_t format)
{
    return withCamera(h, [&](Camera& c) { return c.setTargetFormat(format); });
}

// One resolution mode, the sensor's own: binning is not offered through the modes.
LSX_API lsxStatus lsxGetResolutionModeSel(lsxHandle h, int32_t* index)
{
    return withCamera(h, [&](Camera& c) -> lsxStatus {
        if (!index) return LSX_ERR_INVALID_ARG;
        if (const lsxStatus st = c.alive(); st != LSX_OK) return st;
        *index = 0;
        return LSX_OK;
    });
}

LSX_API lsxStatus lsxSetResolutionModeSel(lsxHandle h, int32_t index)
{
    return withCamera(h, [&](Camera& c) -> lsxStatus {
        if (const lsxStatus st = c.alive(); st != LSX_OK) return st;
        return index == 0 ? LSX_OK : LSX_ERR_OUT_OF_RANGE;
    });
}

LSX_API lsxStatus lsxGetResolutionModeSelDescr(lsxHandle h, lsxSelectionDescr* descr)
{
    return withCamera(h, [&](Camera& c) -> lsxStatus {
        if (!descr) return LSX_ERR_INVALID_ARG;
        if (const lsxStatus st = c.alive(); st != LSX_OK) return st;
        *descr = {0, 1};
        return LSX_OK;
    });
}

LSX_API lsxStatus lsxGetResolutionModeSelDetail(lsxHandle h, int32_t index, lsxSelectionDetail* detail)
{
    return withCamera(h, [&](Camera& c) -> lsxStatus {
        if (!detail) return LSX_ERR_INVALID_ARG;
        if (const lsxStatus st = c.alive(); st != LSX_OK) return st;
        if (index != 0) return LSX_ERR_OUT_OF_RANGE;
        std::memset(detail, 0, sizeof *detail);
        std::strcpy(detail->text, "Full");
        detail->index = 0;
        return LSX_OK;
    });
}

// ---- image-processing switches ----

#define LSX_GC_SWITCH(op, which)                                                                 \
    LSX_API lsxStatus op(lsxHandle h, bool on)                                                   \
    {                                                                                            \
        return withCamera(h, [&](Camera& c) { return c.setSwitch(Camera::Switch::which, on); }); \
    }
LSX_GC_SWITCH(lsxSetSaturationState, Saturation)
LSX_GC_SWITCH(lsxSetColorTemperatureState, ColorTemperature)
LSX_GC_SWITCH(lsxSetGammaState, Gamma)
LSX_GC_SWITCH(lsxSetContrastState, Contrast)
LSX_GC_SWITCH(lsxSetBlackLevelState, BlackLevel)
LSX_GC_SWITCH(lsxSetNoiseReduct2dState, NoiseReduct2d)
LSX_GC_SWITCH(lsxSetNoiseReduct3dState, NoiseReduct3d)
LSX_GC_SWITCH(lsxSetSharpnessState, Sharpness)
LSX_GC_SWITCH(lsxSetMonoState, Mono)
LSX_GC_SWITCH(lsxSetInverseState, Inverse)
LSX_GC_SWITCH(lsxSetFlipHorizontalState, FlipHorizontal)
#undef LSX_GC_SWITCH

LSX_API lsxStatus lsxSetBayerDecodeSel(lsxHandle h, int32_t index)
{
    // The camera delivers its pixels as they are: "no decoding" is the one choice.
    return withCamera(h, [&](Camera& c) -> lsxStatus {
        if (const lsxStatus st = c.alive(); st != LSX_OK) return st;
        return index == 0 ? LSX_OK : LSX_ERR_NOT_SUPPORTED;
    });
}

LSX_API lsxStatus lsxGetColorSolutionSelDetail(lsxHandle h, int32_t, lsxSelectionDetail* detail)
{
    return withCamera(h, [&](Camera& c) -> lsxStatus {
        if (!detail) return LSX_ERR_INVALID_ARG;
        const lsxStatus st = c.alive();
        return st == LSX_OK ? LSX_ERR_NOT_SUPPORTED : st;
    });
}

LSX_API lsxStatus lsxSetColorSolutionSel(lsxHandle h, int32_t)
{
    return withCamera(h, [&](Camera& c) {
        const lsxStatus st = c.alive();
        return st == LSX_OK ? LSX_ERR_NOT_SUPPORTED : st;
    });
}

LSX_API lsxStatus lsxSetUserColorMatrix(lsxHandle h, const lsxColorMatrix* matrix)
{
    // No colour matrix in the camera is the identity: writing the identity succeeds.
    return withCamera(h, [&](Camera& c) -> lsxStatus {
        if (!matrix) return LSX_ERR_INVALID_ARG;
        if (const lsxStatus st = c.alive(); st != LSX_OK) return st;
        return isIdentity(*matrix) ? LSX_OK : LSX_ERR_NOT_SUPPORTED;
    });
}

LSX_API lsxStatus lsxSetBoolValue(lsxHandle h, const char* name, bool value)
{
    return withCamera(h, [&](Camera& c) { return name ? c.setBoolValue(name, value) : LSX_ERR_INVALID_ARG; });
}

// ---- named values ----

LSX_API lsxStatus lsxGetEnumValue(lsxHandle h, const char* name, int64_t* current, int64_t* values, int32_t* count)
{
    return withCamera(h, [&](Camera& c) {
        return (name && current && values && count) ? c.getEnumValue(name, current, values, count)
                                                    : LSX_ERR_INVALID_ARG;
    });
}

LSX_API lsxStatus lsxGetEnumNameValue(lsxHandle h, const char* name, int32_t index, char* text, uint32_t size)
{
    return withCamera(
        h, [&](Camera& c) { return (name && text) ? c.getEnumName(name, index, text, size) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxSetEnumValueByString(lsxHandle h, const char* name, const char* value)
{
    return withCamera(
        h, [&](Camera& c) { return (name && value) ? c.setEnumByString(name, value) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxGetConfigString(lsxHandle h, const char* key, char* value, uint32_t size)
{
    return withCamera(
        h, [&](Camera& c) { return (key && value) ? c.getConfigString(key, value, size) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxSetConfigString(lsxHandle h, const char* key, const char* value)
{
    return withCamera(h,
                      [&](Camera& c) { return (key && value) ? c.setConfigString(key, value) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxGetSelectionDescr(lsxHandle h, const char* key, lsxSelectionDescr* descr)
{
    return withCamera(h,
                      [&](Camera& c) { return (key && descr) ? c.selectionDescr(key, *descr) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxGetSelectionDetail(lsxHandle h, const char* key, int32_t index, lsxSelectionDetail* detail)
{
    return withCamera(
        h, [&](Camera& c) { return (key && detail) ? c.selectionDetail(key, index, *detail) : LSX_ERR_INVALID_ARG; });
}

// ---- raw access ----

LSX_API lsxStatus lsxGet(lsxHandle h, uint32_t key, void* payload, uint32_t* size)
{
    return withCamera(h, [&](Camera& c) { return payload ? c.get(key, payload, size) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxSet(lsxHandle h, uint32_t key, void* payload, uint32_t* size)
{
    return withCamera(h, [&](Camera& c) { return payload ? c.set(key, payload, size) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxReadGenICamReg(lsxHandle h, uint32_t reg, uint32_t* value)
{
    return withCamera(h, [&](Camera& c) { return value ? c.readRegister(reg, *value) : LSX_ERR_INVALID_ARG; });
}

LSX_API lsxStatus lsxWriteGenICamReg(lsxHandle h, uint32_t reg, uint32_t value)
{
    return withCamera(h, [&](Camera& c) { return c.writeRegister(reg, value); });
}

// The maker's memory windows (flat-field set, lens-shading table) are not in a GenICam camera.
LSX_API lsxStatus lsxReadGenICamMem(lsxHandle h, uint64_t, void* buffer, uint32_t)
{
    return withCamera(h, [&](Camera& c) -> lsxStatus {
        if (!buffer) return LSX_ERR_INVALID_ARG;
        const lsxStatus st = c.alive();
        return st == LSX_OK ? LSX_ERR_NOT_SUPPORTED : st;
    });
}

LSX_API lsxStatus lsxWriteGenICamMem(lsxHandle h, uint64_t, const void* buffer, uint32_t)
{
    return withCamera(h, [&](Camera& c) -> lsxStatus {
        if (!buffer) return LSX_ERR_INVALID_ARG;
        const lsxStatus st = c.alive();
        return st == LSX_OK ? LSX_ERR_NOT_SUPPORTED : st;
    });
}

}  // extern "C"

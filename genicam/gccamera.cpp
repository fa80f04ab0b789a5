// An open GenICam camera: opening, the description texts, the image region, exposure, gain,
// formats, the image-processing switches and the camera's enumerations.
//
// The contract's features map onto the standard feature names (SFNC) and their older GigE
// spellings: Width, OffsetX and Height (lines per frame); ExposureTime or ExposureTimeAbs; Gain
// or GainRaw; BlackLevel or BlackLevelRaw; AcquisitionLineRate; PixelFormat. A feature the camera
// lacks answers -2, except where the contract asks to switch something off that the camera
// simply does not have: that reads as already off and succeeds.
#include "gccamera.h"

#include "gcpixel.h"
#include "gcstatus.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <thread>

namespace lsxgc {

namespace {

void copyText(char* field, size_t capacity, const std::string& text)
{
    std::memset(field, 0, capacity);
    std::strncpy(field, text.c_str(), capacity - 1);
}

void onControlLost(ArvDevice*, gpointer data)
{
    auto* link = static_cast<std::shared_ptr<LinkState>*>(data);
    (*link)->lost.store(true);
}

void dropLink(gpointer data, GClosure*)
{
    delete static_cast<std::shared_ptr<LinkState>*>(data);
}

}  // namespace

Camera::Camera(const DeviceEntry& entry, ArvCamera* camera)
    : m_entry(entry),
      m_camera(camera),
      m_device(arv_camera_get_device(camera)),
      m_link(std::make_shared<LinkState>()),
      m_features(m_device, &m_link->lost)
{
    // Values out of range and writes to read-only features are refused by Aravis as well, not
    // only by the checks made here before a write.
    arv_device_set_range_check_policy(m_device, ARV_RANGE_CHECK_POLICY_ENABLE);
    arv_device_set_access_check_policy(m_device, ARV_ACCESS_CHECK_POLICY_ENABLE);
    m_lostHandler = g_signal_connect_data(m_device, "control-lost", G_CALLBACK(onControlLost),
                                          new std::shared_ptr<LinkState>(m_link), dropLink, GConnectFlags(0));
    m_gigE = ARV_IS_GV_DEVICE(m_device);
    if (m_gigE) {
        GSocketAddress* address = arv_gv_device_get_device_address(ARV_GV_DEVICE(m_device));
        if (address && G_IS_INET_SOCKET_ADDRESS(address))
            m_loopback =
                g_inet_address_get_is_loopback(g_inet_socket_address_get_address(G_INET_SOCKET_ADDRESS(address)));
    }
    resolveFeatures();
    readInfo();
}

lsxStatus Camera::open(const DeviceEntry& entry, std::shared_ptr<Camera>& out)
{
    ErrorSlot error;
    ArvCamera* camera = arv_camera_new(entry.id.c_str(), error.out());
    if (!camera) return error.failed() ? error.status() : LSX_ERR_LOGICAL_DEVICE;
    std::shared_ptr<Camera> c(new Camera(entry, camera));
    // A GigE Vision camera controlled by another host can be read but not driven.
    if (c->m_gigE && !arv_gv_device_is_controller(ARV_GV_DEVICE(c->m_device))) return -1105;
    out = std::move(c);
    return LSX_OK;
}

Camera::~Camera()
{
    close();
    if (m_lostHandler) g_signal_handler_disconnect(m_device, m_lostHandler);
    // A camera that is gone would hold the caller for the control channel's time-outs while the
    // device says goodbye to it: that goodbye goes to a thread of its own.
    if (lost())
        std::thread([camera = m_camera] { g_object_unref(camera); }).detach();
    else
        g_object_unref(m_camera);
}

void Camera::close()
{
    if (m_closed.exchange(true)) return;
    {
        std::lock_guard<std::recursive_mutex> lock(m_mutex);
        stopLocked();
    }
    std::lock_guard<std::mutex> frame(m_frameMutex);
    releaseHeld();
}

lsxStatus Camera::liveStatus() const
{
    if (m_closed.load()) return LSX_ERR_INVALID_HANDLE;
    if (lost()) return LSX_ERR_DISCONNECTED;
    return LSX_OK;
}

void Camera::resolveFeatures()
{
    auto pick = [this](std::initializer_list<const char*> names) {
        const char* n = m_features.firstOf(names);
        return std::string(n ? n : "");
    };
    m_exposureName = pick({"ExposureTime", "ExposureTimeAbs"});
    m_gainName = pick({"Gain", "GainRaw"});
    m_lineRateName = pick({"AcquisitionLineRate", "AcquisitionLineRateAbs"});
    m_blackLevelName = pick({"BlackLevel", "BlackLevelRaw"});
}

void Camera::readInfo()
{
    auto text = [this](std::initializer_list<const char*> names, const std::string& fallback) {
        for (const char* n : names) {
            std::string v;
            if (m_features.getText(n, v) == LSX_OK && !v.empty()) return v;
        }
        return fallback;
    };
    std::memset(&m_info, 0, sizeof m_info);
    copyText(m_info.vendor, sizeof m_info.vendor, text({"DeviceVendorName"}, m_entry.vendor));
    copyText(m_info.model, sizeof m_info.model, text({"DeviceModelName"}, m_entry.model));
    copyText(m_info.serialNumber, sizeof m_info.serialNumber,
             m_entry.serial.empty() ? text({"DeviceSerialNumber", "DeviceID"}, "") : m_entry.serial);
    copyText(m_info.version, sizeof m_info.version, text({"DeviceVersion", "DeviceFirmwareVersion"}, ""));
    copyText(m_info.friendlyName, sizeof m_info.friendlyName, m_entry.friendlyName);

    int64_t width = 0, height = 0;
    sensorWidth(width);
    if (m_features.getInteger("SensorHeight", height) != LSX_OK) height = 0;
    copyText(m_info.sensor, sizeof m_info.sensor, std::to_string(width) + "x" + std::to_string(height));
    std::string scan;
    const bool lineScan = (m_features.getEntry("DeviceScanType", scan) == LSX_OK && scan == "Linescan") || height == 1;
    copyText(m_info.cameraType, sizeof m_info.cameraType, lineScan ? "LineScan" : "AreaScan");
}

lsxCameraInfo Camera::info() const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    return m_info;
}

lsxStatus Camera::sensorWidth(int64_t& width)
{
    if (m_features.getInteger("SensorWidth", width) == LSX_OK && width > 0) return LSX_OK;
    int64_t x = 0;
    m_features.getInteger("OffsetX", x);
    if (m_features.getInteger("WidthMax", width) == LSX_OK && width > 0) {
        width += x;
        return LSX_OK;
    }
    Bounds b;
    if (const lsxStatus st = m_features.bounds("Width", b); st != LSX_OK) return st;
    width = int64_t(b.max) + x;
    return LSX_OK;
}

lsxStatus Camera::sensorInfo(lsxSensorInfo& out)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    std::memset(&out, 0, sizeof out);
    copyText(out.name, sizeof out.name, m_info.model);
    int64_t width = 0, height = 0;
    if (const lsxStatus st = sensorWidth(width); st != LSX_OK) return st;
    if (m_features.getInteger("SensorHeight", height) != LSX_OK || height <= 0) {
        Bounds b;
        if (m_features.bounds("Height", b) == LSX_OK) height = int64_t(b.max);
    }
    out.maxWidth = int32_t(width);
    out.maxHeight = int32_t(height);
    out.lineCount = 1;
    std::vector<std::string> names;
    std::vector<int64_t> values;
    m_features.entries("PixelFormat", names, values);
    uint32_t depth = 8;
    for (int64_t v : values) {
        const auto pf = uint32_t(v);
        if (pf == kPfMono10) depth = std::max(depth, 10u);
        if (pf == kPfMono12) depth = std::max(depth, 12u);
        if (pf == kPfMono16) depth = std::max(depth, 16u);
    }
    out.bitDepth = depth;
    return LSX_OK;
}

// ---- image region ----

lsxStatus Camera::getRoi(lsxRegion& region)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    int64_t x = 0, y = 0, w = 0, h = 0;
    if (const lsxStatus st = m_features.getInteger("Width", w); st != LSX_OK) return st;
    if (const lsxStatus st = m_features.getInteger("Height", h); st != LSX_OK) return st;
    if (m_features.has("OffsetX") && m_features.getInteger("OffsetX", x) != LSX_OK) x = 0;
    if (m_features.has("OffsetY") && m_features.getInteger("OffsetY", y) != LSX_OK) y = 0;
    region.X = int32_t(x);
    region.Y = int32_t(y);
    region.W = int32_t(w);
    region.H = int32_t(h);
    return LSX_OK;
}

lsxStatus Camera::roiDescr(lsxRegionDescr& descr)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    Bounds w, h, x;
    if (const lsxStatus st = m_features.bounds("Width", w); st != LSX_OK) return st;
    if (const lsxStatus st = m_features.bounds("Height", h); st != LSX_OK) return st;
    if (m_features.bounds("OffsetX", x) != LSX_OK) x = {0, 0, 1};
    int64_t sensor = 0;
    if (const lsxStatus st = sensorWidth(sensor); st != LSX_OK) return st;
    std::memset(&descr, 0, sizeof descr);
    descr.minWidth = int32_t(w.min);
    descr.maxWidth = int32_t(sensor);
    descr.widthStep = int32_t(std::max(1.0, w.inc));
    descr.minHeight = int32_t(h.min);
    descr.maxHeight = int32_t(std::min(h.max, double(INT32_MAX)));
    descr.heightStep = int32_t(std::max(1.0, h.inc));
    descr.xStep = int32_t(std::max(1.0, x.inc));
    return LSX_OK;
}

lsxStatus Camera::setRoi(const lsxRegion& r)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    lsxRegion now{};
    if (const lsxStatus st = getRoi(now); st != LSX_OK) return st;
    if (r.X == now.X && r.Y == now.Y && r.W == now.W && r.H == now.H) return LSX_OK;

    // The whole region is checked before anything is written, so that a refused region leaves
    // the camera as it was.
    Bounds w, h, x;
    if (const lsxStatus st = m_features.bounds("Width", w); st != LSX_OK) return st;
    if (const lsxStatus st = m_features.bounds("Height", h); st != LSX_OK) return st;
    const bool hasX = m_features.bounds("OffsetX", x) == LSX_OK;
    int64_t sensor = 0;
    if (const lsxStatus st = sensorWidth(sensor); st != LSX_OK) return st;
    auto onStep = [](int64_t v, const Bounds& b) {
        const auto inc = int64_t(std::max(1.0, b.inc));
        return (v - int64_t(b.min)) % inc == 0;
    };
    if (r.W < w.min || r.W > sensor || !onStep(r.W, w)) return LSX_ERR_OUT_OF_RANGE;
    if (r.H < h.min || r.H > h.max || !onStep(r.H, h)) return LSX_ERR_OUT_OF_RANGE;
    if (r.X < 0 || int64_t(r.X) + r.W > sensor) return LSX_ERR_OUT_OF_RANGE;
    if (r.X != 0 && (!hasX || !onStep(r.X, x))) return LSX_ERR_OUT_OF_RANGE;
    if (r.Y != now.Y && !m_features.has("OffsetY")) return LSX_ERR_OUT_OF_RANGE;

    return withStreamPaused([&]() -> lsxStatus {
        // X to 0 first, so that the new width fits whatever the old offset was.
        if (hasX && r.X != now.X && now.X != 0)
            if (const lsxStatus st = m_features.setInteger("OffsetX", 0); st != LSX_OK) return st;
        if (r.W != now.W)
            if (const lsxStatus st = m_features.setInteger("Width", r.W); st != LSX_OK) return st;
        if (hasX && r.X != 0 && r.X != now.X)
            if (const lsxStatus st = m_features.setInteger("OffsetX", r.X); st != LSX_OK) return st;
        if (r.Y != now.Y)
            if (const lsxStatus st = m_features.setInteger("OffsetY", r.Y); st != LSX_OK) return st;
        if (r.H != now.H)
            if (const lsxStatus st = m_features.setInteger("Height", r.H); st != LSX_OK) return st;
        return LSX_OK;
    });
}

// ---- exposure and gain ----

lsxStatus Camera::getExposure(double& us)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    if (m_exposureName.empty()) return LSX_ERR_NOT_SUPPORTED;
    return m_features.getNumber(m_exposureName.c_str(), us);
}

lsxStatus Camera::setExposure(double us)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    if (m_exposureName.empty()) return LSX_ERR_NOT_SUPPORTED;
    // Manual exposure: an automatic one would move the picture under a calibration.
    if (m_features.has("ExposureAuto")) m_features.setEntry("ExposureAuto", "Off");
    return m_features.setNumber(m_exposureName.c_str(), us);
}

lsxStatus Camera::exposureDescr(lsxDoubleDescr& descr)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    if (m_exposureName.empty()) return LSX_ERR_NOT_SUPPORTED;
    Bounds b;
    if (const lsxStatus st = m_features.bounds(m_exposureName.c_str(), b); st != LSX_OK) return st;
    descr.min = b.min;
    descr.max = b.max;
    descr.step = b.inc > 0 ? b.inc : 1.0;
    return LSX_OK;
}

lsxStatus Camera::getGain(float& gain)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    if (m_gainName.empty()) return LSX_ERR_NOT_SUPPORTED;
    m_features.select("GainSelector", "All");
    double v = 0.0;
    const lsxStatus st = m_features.getNumber(m_gainName.c_str(), v);
    if (st == LSX_OK) gain = float(v);
    return st;
}

lsxStatus Camera::setGain(float gain)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    if (m_gainName.empty()) return LSX_ERR_NOT_SUPPORTED;
    if (m_features.has("GainAuto")) m_features.setEntry("GainAuto", "Off");
    m_features.select("GainSelector", "All");
    return m_features.setNumber(m_gainName.c_str(), double(gain));
}

lsxStatus Camera::gainDescr(lsxFloatDescr& descr)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    if (m_gainName.empty()) return LSX_ERR_NOT_SUPPORTED;
    m_features.select("GainSelector", "All");
    Bounds b;
    if (const lsxStatus st = m_features.bounds(m_gainName.c_str(), b); st != LSX_OK) return st;
    descr.min = float(b.min);
    descr.max = float(b.max);
    descr.step = float(b.inc > 0 ? b.inc : 0.1);
    return LSX_OK;
}

lsxStatus Camera::setRgbGain(float r, float g, float b)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    if (!m_features.has("BalanceRatio") || !m_features.has("BalanceRatioSelector"))
        return (r == 1.0f && g == 1.0f && b == 1.0f) ? LSX_OK : LSX_ERR_NOT_SUPPORTED;
    if (m_features.has("BalanceWhiteAuto")) m_features.setEntry("BalanceWhiteAuto", "Off");
    const std::pair<const char*, float> channels[] = {{"Red", r}, {"Green", g}, {"Blue", b}};
    for (const auto& [name, value] : channels) {
        if (!m_features.hasEntry("BalanceRatioSelector", name)) {
            if (value == 1.0f) continue;
            return LSX_ERR_NOT_SUPPORTED;
        }
        if (const lsxStatus st = m_features.setEntry("BalanceRatioSelector", name); st != LSX_OK) return st;
        if (const lsxStatus st = m_features.setNumber("BalanceRatio", double(value)); st != LSX_OK) return st;
    }
    return LSX_OK;
}

// ---- formats ----

lsxStatus Camera::pixelFormat(uint32_t& pf)
{
    int64_t v = 0;
    const lsxStatus st = m_features.getEntryValue("PixelFormat", v);
    if (st == LSX_OK) pf = uint32_t(v);
    return st;
}

lsxStatus Camera::getTargetFormat(int32_t& code)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    uint32_t pf = 0;
    if (const lsxStatus st = pixelFormat(pf); st != LSX_OK) return st;
    const int32_t c = targetCodeOf(pf);
    if (c < 0) return LSX_ERR_NOT_SUPPORTED;
    code = c;
    return LSX_OK;
}

lsxStatus Camera::setTargetFormat(int32_t code)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    std::vector<std::string> names;
    std::vector<int64_t> values;
    if (const lsxStatus st = m_features.entries("PixelFormat", names, values); st != LSX_OK) return st;
    uint32_t current = 0;
    if (const lsxStatus st = pixelFormat(current); st != LSX_OK) return st;
    const std::vector<uint32_t> wanted = pixelFormatsFor(code);
    // The format in use already delivers the code: nothing to change.
    for (uint32_t pf : wanted)
        if (pf == current) return LSX_OK;
    for (uint32_t pf : wanted)
        for (size_t i = 0; i < values.size(); ++i)
            if (uint32_t(values[i]) == pf)
                return withStreamPaused([&] { return m_features.setEntry("PixelFormat", names[i]); });
    return LSX_ERR_NOT_SUPPORTED;
}

lsxStatus Camera::getSourceFormat(int32_t& code)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    uint32_t pf = 0;
    if (const lsxStatus st = pixelFormat(pf); st != LSX_OK) return st;
    const int32_t c = sourceCodeOf(pf);
    if (c < 0) return LSX_ERR_NOT_SUPPORTED;
    code = c;
    return LSX_OK;
}

// A GenICam camera has one pixel format: the sensor side follows the delivered format. A source
// code is taken when the camera can deliver its family, and changes nothing by itself.
lsxStatus Camera::setSourceFormat(int32_t code)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    std::vector<std::string> names;
    std::vector<int64_t> values;
    if (const lsxStatus st = m_features.entries("PixelFormat", names, values); st != LSX_OK) return st;
    for (int64_t v : values) {
        const int32_t target = targetCodeOf(uint32_t(v));
        if (target < 0) continue;
        const bool mono = target == FORMAT_MONO || target == FORMAT_MONO16;
        if (isMonoCode(code) ? mono : target == code) return LSX_OK;
    }
    return LSX_ERR_NOT_SUPPORTED;
}

// ---- image processing switches ----

lsxStatus Camera::setSwitch(Switch which, bool on)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    // The standard feature behind each switch; the others have no standard name and read as
    // absent on every GenICam camera.
    const char* feature = nullptr;
    switch (which) {
    case Switch::Gamma: feature = "GammaEnable"; break;
    case Switch::FlipHorizontal: feature = "ReverseX"; break;
    case Switch::ColorTemperature: feature = "BalanceWhiteAuto"; break;
    case Switch::BlackLevel: feature = "BlackLevelAuto"; break;
    default: break;
    }
    switch (feature ? m_features.kind(feature) : FeatureKind::Absent) {
    case FeatureKind::Boolean: return m_features.setBoolean(feature, on);
    case FeatureKind::Enumeration: return m_features.setEntry(feature, on ? "Continuous" : "Off");
    case FeatureKind::Absent: return on ? LSX_ERR_NOT_SUPPORTED : LSX_OK;
    default: return LSX_ERR_NOT_SUPPORTED;
    }
}

lsxStatus Camera::setBoolValue(const char* name, bool value)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    // The colour matrix switch has its standard name on GenICam cameras.
    const char* feature = std::strcmp(name, "CCMEnable") == 0 ? "ColorTransformationEnable" : name;
    if (m_features.kind(feature) == FeatureKind::Boolean) return m_features.setBoolean(feature, value);
    if (m_features.has(feature)) return LSX_ERR_NOT_SUPPORTED;
    return value ? LSX_ERR_NOT_SUPPORTED : LSX_OK;
}

// ---- the camera's enumerations ----

lsxStatus Camera::getEnumValue(const char* name, int64_t* current, int64_t* values, int32_t* count)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    std::vector<std::string> names;
    std::vector<int64_t> ints;
    if (const lsxStatus st = m_features.entries(name, names, ints); st != LSX_OK) return st;
    int64_t now = 0;
    if (const lsxStatus st = m_features.getEntryValue(name, now); st != LSX_OK) return st;
    const int32_t capacity = *count;
    *count = int32_t(ints.size());
    if (capacity < int32_t(ints.size())) return LSX_ERR_BLOCK_SIZE;
    *current = now;
    std::copy(ints.begin(), ints.end(), values);
    return LSX_OK;
}

lsxStatus Camera::getEnumName(const char* name, int32_t index, char* text, uint32_t size)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    std::vector<std::string> names;
    std::vector<int64_t> ints;
    if (const lsxStatus st = m_features.entries(name, names, ints); st != LSX_OK) return st;
    if (index < 0 || index >= int32_t(names.size())) return LSX_ERR_OUT_OF_RANGE;
    const std::string& n = names[size_t(index)];
    if (n.size() + 1 > size) return LSX_ERR_BLOCK_SIZE;
    std::memcpy(text, n.c_str(), n.size() + 1);
    return LSX_OK;
}

lsxStatus Camera::setEnumByString(const char* name, const char* value)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    switch (m_features.kind(name)) {
    case FeatureKind::Enumeration:
    case FeatureKind::Integer: return m_features.setText(name, value);
    default: return LSX_ERR_NOT_SUPPORTED;
    }
}

}  // namespace lsxgc

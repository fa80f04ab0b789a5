// The line-scan maker's own keys, registers and memory windows on a GenICam camera.
//
// A GenICam camera has none of the maker's firmware corrections (FPN sets, flat field, lens
// shading, the factory record). Each of them reads as absent and switched off, so that turning
// it off succeeds and a measurement runs; writing correction data into the camera answers -2
// (not supported). Of the maker's registers only the black level has a standard feature behind
// it (BlackLevel or BlackLevelRaw); nothing is ever written to an address the camera did not
// describe.
//
// Configuration keys:
//   "LineRate"                 AcquisitionLineRate (float or integer), where the camera has it
//   "ReverseX"                 ReverseX; "false" where the camera has none
//   "FPNC.Enable"              "false"; "true" answers -2
//   "PRNUC", "LSC"             the one choice "Disable"
//   "FPNC.Selector"            -2: no FPN sets
//   "SCS.LineShift", "SCS.PixelShift"   "0"; another shift answers -2
//   "Stream.Frames", "Stream.Incomplete" frames delivered and incomplete frames skipped (read only)
//   "UserSetSave", "UserSetLoad"        the command, after UserSetSelector is set to the value
//                                       given ("UserSet1"), where the camera has user sets
//   any other name             the camera's feature of that name, as text; commands run on a set
#include "gccamera.h"

#include "gcstatus.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace lsxgc {

namespace {

lsxStatus putText(const std::string& text, char* value, uint32_t size)
{
    if (!value) return LSX_ERR_INVALID_ARG;
    if (text.size() + 1 > size) return LSX_ERR_BLOCK_SIZE;
    std::memcpy(value, text.c_str(), text.size() + 1);
    return LSX_OK;
}

bool isZeroText(const char* text)
{
    char* end = nullptr;
    const double v = g_ascii_strtod(text, &end);
    return end != text && *end == '\0' && v == 0.0;
}

std::string numberText(double v)
{
    if (std::fabs(v - std::nearbyint(v)) < 1e-9) return std::to_string(static_cast<long long>(std::llround(v)));
    char text[G_ASCII_DTOSTR_BUF_SIZE];
    return g_ascii_formatd(text, sizeof text, "%.6g", v);
}

}  // namespace

lsxStatus Camera::getConfigString(const char* key, char* value, uint32_t size)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    const std::string k(key);
    if (k == "LineRate") {
        if (m_lineRateName.empty()) return LSX_ERR_NOT_SUPPORTED;
        double rate = 0.0;
        if (const lsxStatus st = m_features.getNumber(m_lineRateName.c_str(), rate); st != LSX_OK) return st;
        return putText(numberText(rate), value, size);
    }
    if (k == "ReverseX") {
        bool on = false;
        if (m_features.has("ReverseX"))
            if (const lsxStatus st = m_features.getBoolean("ReverseX", on); st != LSX_OK) return st;
        return putText(on ? "true" : "false", value, size);
    }
    if (k == "FPNC.Enable") return putText("false", value, size);
    if (k == "PRNUC" || k == "LSC") return putText("Disable", value, size);
    if (k == "FPNC.Selector") return LSX_ERR_NOT_SUPPORTED;
    if (k == "SCS.LineShift" || k == "SCS.PixelShift") return putText("0", value, size);
    if (k == "Stream.Frames") return putText(std::to_string(m_frames.load()), value, size);
    if (k == "Stream.Incomplete") return putText(std::to_string(m_incomplete.load()), value, size);
    std::string text;
    if (const lsxStatus st = m_features.getText(key, text); st != LSX_OK) return st;
    return putText(text, value, size);
}

lsxStatus Camera::setConfigString(const char* key, const char* value)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    const std::string k(key), v(value);
    if (k == "LineRate") {
        if (m_lineRateName.empty()) return LSX_ERR_NOT_SUPPORTED;
        char* end = nullptr;
        const double rate = g_ascii_strtod(value, &end);  // decimal point whatever the locale
        if (v.empty() || *end != '\0' || !(rate > 0.0)) return LSX_ERR_INVALID_ARG;
        // The rate only paces the lines where the camera's own switch lets it.
        if (m_features.kind("AcquisitionLineRateEnable") == FeatureKind::Boolean)
            m_features.setBoolean("AcquisitionLineRateEnable", true);
        return m_features.setNumber(m_lineRateName.c_str(), rate);
    }
    if (k == "ReverseX") {
        if (v != "true" && v != "false") return LSX_ERR_INVALID_ARG;
        if (m_features.kind("ReverseX") == FeatureKind::Boolean) return m_features.setBoolean("ReverseX", v == "true");
        return v == "false" ? LSX_OK : LSX_ERR_NOT_SUPPORTED;
    }
    if (k == "FPNC.Enable") {
        if (v != "true" && v != "false") return LSX_ERR_INVALID_ARG;
        return v == "false" ? LSX_OK : LSX_ERR_NOT_SUPPORTED;
    }
    if (k == "PRNUC" || k == "LSC") return v == "Disable" ? LSX_OK : LSX_ERR_NOT_SUPPORTED;
    if (k == "FPNC.Selector") return LSX_ERR_NOT_SUPPORTED;
    if (k == "SCS.LineShift" || k == "SCS.PixelShift") return isZeroText(value) ? LSX_OK : LSX_ERR_NOT_SUPPORTED;
    if (k == "Stream.Frames" || k == "Stream.Incomplete") return -54;
    if ((k == "UserSetSave" || k == "UserSetLoad") && m_features.kind(key) == FeatureKind::Command) {
        if (!v.empty()) {
            if (!m_features.has("UserSetSelector")) return LSX_ERR_NOT_SUPPORTED;
            if (const lsxStatus st = m_features.setEntry("UserSetSelector", v); st != LSX_OK) return st;
        }
        return m_features.execute(key);
    }
    return setFeatureText(key, v);
}

// A feature of the camera by its name. Those that shape the image (size, format, binning) are
// locked while the camera streams: they are written with the stream paused, and a stream whose
// frames no longer fit its buffers after a write starts again with new ones.
lsxStatus Camera::setFeatureText(const char* name, const std::string& text)
{
    static const char* const shaping[] = {"PixelFormat",
                                          "Width",
                                          "Height",
                                          "OffsetX",
                                          "OffsetY",
                                          "BinningHorizontal",
                                          "BinningVertical",
                                          "DecimationHorizontal",
                                          "DecimationVertical",
                                          "ReverseX",
                                          "ReverseY"};
    bool shapes = false;
    for (const char* s : shaping) shapes = shapes || std::strcmp(s, name) == 0;
    if (shapes || !streamingLocked()) return withStreamPaused([&] { return m_features.setText(name, text); });
    const lsxStatus st = m_features.setText(name, text);
    int64_t payload = 0;
    const std::shared_ptr<StreamSession> session = currentStream();
    if (st == LSX_OK && session && m_features.getInteger("PayloadSize", payload) == LSX_OK
        && size_t(payload) != session->payload) {
        stopLocked();
        return startLocked() >= LSX_OK ? LSX_OK : LSX_ERR_UNKNOWN;
    }
    return st;
}

lsxStatus Camera::selectionDescr(const char* key, lsxSelectionDescr& descr)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    const std::string k(key);
    if (k == "PRNUC" || k == "LSC") {
        descr = {0, 1};
        return LSX_OK;
    }
    if (k == "FPNC.Selector") return LSX_ERR_NOT_SUPPORTED;
    std::vector<std::string> names;
    std::vector<int64_t> values;
    if (const lsxStatus st = m_features.entries(key, names, values); st != LSX_OK) return st;
    std::string current;
    m_features.getEntry(key, current);
    descr = {0, int32_t(names.size())};
    for (size_t i = 0; i < names.size(); ++i)
        if (names[i] == current) descr.defaultIndex = int32_t(i);
    return LSX_OK;
}

lsxStatus Camera::selectionDetail(const char* key, int32_t index, lsxSelectionDetail& detail)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    const std::string k(key);
    std::vector<std::string> names;
    if (k == "PRNUC" || k == "LSC") {
        names = {"Disable"};
    } else if (k == "FPNC.Selector") {
        return LSX_ERR_NOT_SUPPORTED;
    } else {
        std::vector<int64_t> values;
        if (const lsxStatus st = m_features.entries(key, names, values); st != LSX_OK) return st;
    }
    if (index < 0 || index >= int32_t(names.size())) return LSX_ERR_OUT_OF_RANGE;
    std::memset(&detail, 0, sizeof detail);
    std::strncpy(detail.text, names[size_t(index)].c_str(), sizeof detail.text - 1);
    detail.index = index;
    return LSX_OK;
}

// ---- keys of lsxGet and lsxSet ----

lsxStatus Camera::get(uint32_t key, void* payload, uint32_t* size)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    switch (key) {
    case LSX_KEY_CORRECTION_SWITCH: {
        // No flat field and no lens shading: the switches read all off.
        if (!size || *size < sizeof(lsxCorrectionSwitch)) return LSX_ERR_BLOCK_SIZE;
        std::memset(payload, 0, sizeof(lsxCorrectionSwitch));
        *size = sizeof(lsxCorrectionSwitch);
        return LSX_OK;
    }
    case LSX_KEY_FPN_ENABLE: {
        // No FPN correction in the camera: it reads as off.
        if (size && *size < 1) return LSX_ERR_BLOCK_SIZE;
        *static_cast<uint8_t*>(payload) = 0;
        if (size) *size = 1;
        return LSX_OK;
    }
    default:
        // FPN data, gain table, the sensor's registers, the factory record: none here.
        return LSX_ERR_NOT_SUPPORTED;
    }
}

lsxStatus Camera::set(uint32_t key, void* payload, uint32_t* size)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    switch (key) {
    case LSX_KEY_CORRECTION_SWITCH: {
        if (size && *size < sizeof(lsxCorrectionSwitch)) return LSX_ERR_BLOCK_SIZE;
        const auto* sw = static_cast<const lsxCorrectionSwitch*>(payload);
        // Switching off what is not there succeeds; switching it on cannot.
        return sw->enable == 0 ? LSX_OK : LSX_ERR_NOT_SUPPORTED;
    }
    case LSX_KEY_FPN_ENABLE: return *static_cast<const uint8_t*>(payload) == 0 ? LSX_OK : LSX_ERR_NOT_SUPPORTED;
    default:
        // Correction data and the maker's records have no place in a GenICam camera.
        return LSX_ERR_NOT_SUPPORTED;
    }
}

// ---- registers ----

// The black level as the maker's register holds it: one signed byte, -3 reading as 253.
lsxStatus Camera::blackLevelRead(uint32_t& word)
{
    if (m_blackLevelName.empty()) {
        word = LSX_REG_UNSUPPORTED;  // the register's own answer for "not there"
        return LSX_OK;
    }
    m_features.select("BlackLevelSelector", "All");
    double v = 0.0;
    if (const lsxStatus st = m_features.getNumber(m_blackLevelName.c_str(), v); st != LSX_OK) return st;
    const auto level = static_cast<int32_t>(std::lround(v));
    word = (level < 0 && level >= -128) ? uint32_t(level + 256) : uint32_t(level);
    return LSX_OK;
}

lsxStatus Camera::blackLevelWrite(uint32_t word)
{
    if (m_blackLevelName.empty()) return LSX_ERR_NOT_SUPPORTED;
    // A signed value as the program writes it (-3 as 0xFFFFFFFD), or its byte (253).
    auto level = static_cast<int32_t>(word);
    if (level > 128 && level < 256) level -= 256;
    if (level < -128 || level > 255) return LSX_ERR_OUT_OF_RANGE;
    m_features.select("BlackLevelSelector", "All");
    if (m_features.has("BlackLevelAuto")) m_features.setEntry("BlackLevelAuto", "Off");
    return m_features.setNumber(m_blackLevelName.c_str(), double(level));
}

lsxStatus Camera::readRegister(uint32_t reg, uint32_t& value)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    switch (reg) {
    case GVR_SEN_BLACK_LEVEL: return blackLevelRead(value);
    case GVR_MULTI_FPN_SELECT:
        value = 0;  // no sensor line has FPN data of its own
        return LSX_OK;
    default: return LSX_ERR_NOT_SUPPORTED;
    }
}

lsxStatus Camera::writeRegister(uint32_t reg, uint32_t value)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    if (reg == GVR_SEN_BLACK_LEVEL) return blackLevelWrite(value);
    return LSX_ERR_NOT_SUPPORTED;
}

}  // namespace lsxgc

// lsxSaveConfig / lsxLoadConfig: the camera's settings as a text file of key=value lines.
// The correction data in the camera's memory (FPN, flat-field and lens-shading sets) is not
// part of it: the program restores the file found at open when it closes the camera, and a
// calibration written meanwhile must survive that.
#include "simcamera_p.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace lsxsim {

namespace {
const char* const kHeader = "# lsxsim camera configuration 1";
}

lsxStatus Camera::saveConfig(const char* path)
{
    if (!path || !*path) return LSX_ERR_INVALID_ARG;
    std::ostringstream o;
    {
        Lock lock(m_mutex);
        const Settings& s = *m_s;
        o.precision(17);
        o << kHeader << "\n";
        o << "camera=" << m_def.friendlyName << "\n";
        o << "exposure=" << s.exposure << "\ngain=" << s.gain << "\n";
        o << "rgb=" << s.rgb[0] << "," << s.rgb[1] << "," << s.rgb[2] << "\n";
        o << "source=" << s.source << "\ntarget=" << s.target << "\n";
        o << "resMode=" << s.resMode << "\nbinMode=" << s.binMode << "\nbinH=" << s.binH << "\nbinV=" << s.binV << "\n";
        o << "roiX=" << s.roiX << "\nroiW=" << s.roiW << "\nroiH=" << s.roiH << "\n";
        o << "trigger=" << s.trigger << "\ntriggerSource=" << s.trigSource << "\nlineRate=" << s.lineRate << "\n";
        o << "fpnEnable=" << s.fpnEnable << "\nfpnSelector=" << s.fpnSel << "\nprnuc=" << s.prnuc << "\nlsc=" << s.lsc
          << "\n";
        o << "scsLine=" << s.scsLine << "\nscsPixel=" << s.scsPixel << "\nreverseX=" << s.reverseX << "\n";
        o << "blackLevel=" << s.blackReg << "\nreg83=" << s.reg83 << "\nreg84=" << s.reg84 << "\n";
        o << "lscIndex=" << s.lscIndexReg << "\nbayer=" << s.bayer << "\ncolorSolution=" << s.colorSolution << "\n";
        o << "switch=";
        for (int i = 0; i < 104; ++i) {
            char hex[3];
            std::snprintf(hex, sizeof hex, "%02x", s.sw[i]);
            o << hex;
        }
        o << "\nccm=";
        for (int i = 0; i < 12; ++i) o << (i ? "," : "") << s.ccm[i];
        o << "\n";
        for (const auto& [k, v] : s.isp) o << "isp." << k << "=" << v << "\n";
        for (const auto& [k, v] : s.bools) o << "bool." << k << "=" << v << "\n";
        for (const auto& [k, v] : s.regs) o << "reg." << k << "=" << v << "\n";
    }
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    if (!f) return -1300;  // the file cannot be created
    f << o.str();
    f.flush();
    return f ? LSX_OK : -1303;
}

// Reads a file written by saveConfig. Every value is checked as the setters check it: a line
// that is not key=value, a number that does not parse or lies out of its range makes the whole
// file refused (-1301) with nothing changed. What only another camera's file would hold (a
// resolution mode, a ROI or formats this camera lacks) falls back to this camera's defaults.
lsxStatus Camera::loadConfig(const char* path)
{
    if (!path || !*path) return LSX_ERR_INVALID_ARG;
    std::ifstream f(path, std::ios::binary);
    if (!f) return LSX_ERR_FILE_OPEN;
    std::string line;
    if (!std::getline(f, line) || line != kHeader) return LSX_ERR_FILE_FORMAT;
    std::map<std::string, std::string> kv;
    size_t lines = 0;
    while (std::getline(f, line)) {
        if (++lines > 4096 || line.size() > 1024) return LSX_ERR_FILE_FORMAT;
        if (line.empty() || line[0] == '#') continue;
        const size_t eq = line.find('=');
        if (eq == std::string::npos || eq == 0) return LSX_ERR_FILE_FORMAT;
        kv[line.substr(0, eq)] = line.substr(eq + 1);
    }
    if (f.bad()) return -1302;  // the file could not be read

    Lock lock(m_mutex);
    Settings s = *m_s;  // values absent from the file stay as they are
    bool ok = true;
    auto real = [](const std::string& t, double& out) {
        char* end = nullptr;
        out = std::strtod(t.c_str(), &end);
        return !t.empty() && end && *end == 0 && std::isfinite(out);
    };
    auto whole = [](const std::string& t, long long& out) {
        char* end = nullptr;
        errno = 0;
        out = std::strtoll(t.c_str(), &end, 0);
        return !t.empty() && end && *end == 0 && errno == 0;
    };
    auto num = [&](const char* k, auto& field, double lo, double hi) {
        auto it = kv.find(k);
        if (it == kv.end()) return;
        double d = 0;
        if (!real(it->second, d) || d < lo || d > hi) {
            ok = false;
            return;
        }
        field = static_cast<std::remove_reference_t<decltype(field)>>(d);
    };
    auto integer = [&](const char* k, auto& field, long long lo, long long hi) {
        auto it = kv.find(k);
        if (it == kv.end()) return;
        long long v = 0;
        if (!whole(it->second, v) || v < lo || v > hi) {
            ok = false;
            return;
        }
        field = static_cast<std::remove_reference_t<decltype(field)>>(v);
    };
    auto oneOf = [&](const char* k, auto& field, std::initializer_list<long long> allowed) {
        auto it = kv.find(k);
        if (it == kv.end()) return;
        long long v = 0;
        if (!whole(it->second, v) || std::find(allowed.begin(), allowed.end(), v) == allowed.end()) {
            ok = false;
            return;
        }
        field = static_cast<std::remove_reference_t<decltype(field)>>(v);
    };
    auto text = [&](const char* k, std::string& field, const std::vector<std::string>& allowed) {
        auto it = kv.find(k);
        if (it == kv.end()) return;
        if (std::find(allowed.begin(), allowed.end(), it->second) == allowed.end())
            ok = false;
        else
            field = it->second;
    };
    num("exposure", s.exposure, 2.0, 20000.0);
    num("gain", s.gain, 1.0, 8.0);
    integer("source", s.source, -2147483648LL, 2147483647LL);
    integer("target", s.target, -2147483648LL, 2147483647LL);
    integer("resMode", s.resMode, 0, 1000);
    oneOf("binMode", s.binMode, {0, 1});
    oneOf("binH", s.binH, {1, 2, 4});
    oneOf("binV", s.binV, {1, 2, 4});
    integer("roiX", s.roiX, 0, 32768);  // the widest camera there is
    integer("roiW", s.roiW, 0, 32768);
    integer("roiH", s.roiH, 1, 16384);
    oneOf("trigger", s.trigger, {0, 1});
    integer("triggerSource", s.trigSource, 0, 3);
    num("lineRate", s.lineRate, 100.0, 200000.0);
    oneOf("fpnEnable", s.fpnEnable, {0, 1});
    num("scsLine", s.scsLine, -50.0, 50.0);
    num("scsPixel", s.scsPixel, -50.0, 50.0);
    oneOf("reverseX", s.reverseX, {0, 1});
    integer("blackLevel", s.blackReg, 0, 255);
    integer("reg83", s.reg83, 0, 255);
    oneOf("reg84", s.reg84, {0, 8});
    integer("lscIndex", s.lscIndexReg, 0, 0xFFFFFFFFLL);
    if (((s.lscIndexReg >> 16) & 0xFF) >= uint32_t(kLscSets)) ok = false;
    integer("bayer", s.bayer, 0, 3);
    integer("colorSolution", s.colorSolution, 0, 2);
    text("fpnSelector", s.fpnSel, selectionLocked("FPNC.Selector"));
    text("prnuc", s.prnuc, selectionLocked("PRNUC"));
    text("lsc", s.lsc, selectionLocked("LSC"));
    auto list = [&](const char* k, float* out, int n, float lo, float hi) {
        auto it = kv.find(k);
        if (it == kv.end()) return;
        std::istringstream in(it->second);
        std::string item;
        int i = 0;
        for (; std::getline(in, item, ','); ++i) {
            double d = 0;
            if (i >= n || !real(item, d) || d < lo || d > hi) {
                ok = false;
                return;
            }
            out[i] = float(d);
        }
        if (i != n) ok = false;
    };
    list("rgb", s.rgb, 3, 0.0f, 8.0f);
    list("ccm", s.ccm, 12, -1e6f, 1e6f);
    if (kv.count("switch")) {
        const std::string& hex = kv["switch"];
        if (hex.size() != 208) ok = false;
        for (size_t i = 0; ok && i < 104; ++i) {
            long long v = 0;
            const std::string pair = "0x" + hex.substr(2 * i, 2);
            if (!std::isxdigit(static_cast<unsigned char>(hex[2 * i]))
                || !std::isxdigit(static_cast<unsigned char>(hex[2 * i + 1])) || !whole(pair, v))
                ok = false;
            else
                s.sw[i] = uint8_t(v);
        }
    }
    static const std::vector<std::string> ispNames{"saturation", "colorTemperature", "gamma",         "contrast",
                                                   "blackLevel", "noiseReduct2d",    "noiseReduct3d", "sharpness",
                                                   "mono",       "inverse",          "flip"};
    for (const auto& [k, v] : kv) {
        const bool isp = k.rfind("isp.", 0) == 0, flag = k.rfind("bool.", 0) == 0, reg = k.rfind("reg.", 0) == 0;
        if (!isp && !flag && !reg) continue;
        if (isp || flag) {
            const std::string name = k.substr(isp ? 4 : 5);
            if ((v != "0" && v != "1") || name.empty() || name.size() > 64
                || (isp && std::find(ispNames.begin(), ispNames.end(), name) == ispNames.end())) {
                ok = false;
                break;
            }
            (isp ? s.isp : s.bools)[name] = v == "1";
        } else {
            long long r = 0, value = 0;
            if (!whole(k.substr(4), r) || r < 0 || r > 0xFFFFFFFFLL || !whole(v, value) || value < 0
                || value > 0xFFFFFFFFLL || s.regs.size() >= 1024) {
                ok = false;
                break;
            }
            s.regs[uint32_t(r)] = uint32_t(value);
        }
    }
    if (!ok) return LSX_ERR_FILE_FORMAT;

    // A file of another camera may not fit this one: keep what stays valid.
    if (s.resMode >= int(m_def.resModes.size())) s.resMode = 0;
    *m_s = s;
    m_s->roiH = std::min(m_s->roiH, maxHeightLocked());
    if (!roiFitsLocked(m_s->roiX, m_s->roiW, m_s->roiH)) {
        m_s->roiX = 0;
        m_s->roiW = outWidthLocked();
    }
    const bool colour = m_def.planes == 3;
    auto okColour = [](int v) { return v == 10 || v == 11 || v == 14 || v == 15; };
    if (colour ? !okColour(m_s->source) : !(m_s->source == 0 || m_s->source == 2)) m_s->source = colour ? 10 : 0;
    if (colour ? !okColour(m_s->target) : !(m_s->target == 0 || m_s->target == 30 || m_s->target == 34))
        m_s->target = colour ? 10 : 0;
    m_triggers.clear();
    saveNvLocked();  // the DOffset the file puts back is the one the camera keeps
    invalidateLocked();
    return LSX_OK;
}

}  // namespace lsxsim

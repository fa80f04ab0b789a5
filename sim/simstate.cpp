// lsxSaveConfig / lsxLoadConfig: the camera's settings as a text file of key=value lines.
// The correction data in the camera's memory (FPN, flat-field and lens-shading sets) is not
// part of it: the program restores the file found at open when it closes the camera, and a
// calibration written meanwhile must survive that.
#include "simcamera_p.h"

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

lsxStatus Camera::loadConfig(const char* path)
{
    if (!path || !*path) return LSX_ERR_INVALID_ARG;
    std::ifstream f(path, std::ios::binary);
    if (!f) return LSX_ERR_FILE_OPEN;
    std::string line;
    if (!std::getline(f, line) || line != kHeader) return LSX_ERR_FILE_FORMAT;
    std::map<std::string, std::string> kv;
    while (std::getline(f, line)) {
        if (line.empty() || line[0] == '#') continue;
        const size_t eq = line.find('=');
        if (eq == std::string::npos) return LSX_ERR_FILE_FORMAT;
        kv[line.substr(0, eq)] = line.substr(eq + 1);
    }
    Lock lock(m_mutex);
    Settings s = *m_s;  // values absent from the file stay as they are
    auto num = [&](const char* k, auto& field) {
        auto it = kv.find(k);
        if (it == kv.end()) return;
        const double d = std::strtod(it->second.c_str(), nullptr);
        if (std::isfinite(d)) field = static_cast<std::remove_reference_t<decltype(field)>>(d);
    };
    auto text = [&](const char* k, std::string& field, const std::vector<std::string>& allowed) {
        auto it = kv.find(k);
        if (it == kv.end()) return;
        for (const auto& a : allowed)
            if (a == it->second) field = a;
    };
    num("exposure", s.exposure);
    num("gain", s.gain);
    num("source", s.source);
    num("target", s.target);
    num("resMode", s.resMode);
    num("binMode", s.binMode);
    num("binH", s.binH);
    num("binV", s.binV);
    num("roiX", s.roiX);
    num("roiW", s.roiW);
    num("roiH", s.roiH);
    num("trigger", s.trigger);
    num("triggerSource", s.trigSource);
    num("lineRate", s.lineRate);
    num("fpnEnable", s.fpnEnable);
    num("scsLine", s.scsLine);
    num("scsPixel", s.scsPixel);
    num("reverseX", s.reverseX);
    num("blackLevel", s.blackReg);
    num("reg83", s.reg83);
    num("reg84", s.reg84);
    num("lscIndex", s.lscIndexReg);
    num("bayer", s.bayer);
    num("colorSolution", s.colorSolution);
    text("fpnSelector", s.fpnSel, selectionLocked("FPNC.Selector"));
    text("prnuc", s.prnuc, selectionLocked("PRNUC"));
    text("lsc", s.lsc, selectionLocked("LSC"));
    if (kv.count("rgb")) std::sscanf(kv["rgb"].c_str(), "%f,%f,%f", &s.rgb[0], &s.rgb[1], &s.rgb[2]);
    if (kv.count("switch") && kv["switch"].size() == 208)
        for (int i = 0; i < 104; ++i) s.sw[i] = uint8_t(std::stoul(kv["switch"].substr(size_t(2 * i), 2), nullptr, 16));
    if (kv.count("ccm")) {
        std::istringstream in(kv["ccm"]);
        std::string item;
        for (int i = 0; i < 12 && std::getline(in, item, ','); ++i) s.ccm[i] = std::strtof(item.c_str(), nullptr);
    }
    for (const auto& [k, v] : kv) {
        if (k.rfind("isp.", 0) == 0) s.isp[k.substr(4)] = v == "1";
        if (k.rfind("bool.", 0) == 0) s.bools[k.substr(5)] = v == "1";
        if (k.rfind("reg.", 0) == 0) s.regs[uint32_t(std::stoul(k.substr(4)))] = uint32_t(std::stoul(v));
    }
    // A file of another camera may not fit this one: keep what stays valid.
    if (s.resMode < 0 || s.resMode >= int(m_def.resModes.size())) s.resMode = 0;
    *m_s = s;
    const int maxW = outWidthLocked();
    if (m_s->roiW <= 0 || m_s->roiX < 0 || m_s->roiX + m_s->roiW > maxW) {
        m_s->roiX = 0;
        m_s->roiW = maxW;
    }
    if (m_s->roiH < 1 || m_s->roiH > maxHeightLocked()) m_s->roiH = std::min(m_s->roiH < 1 ? 1 : m_s->roiH, maxHeightLocked());
    const bool colour = m_def.planes == 3;
    auto okColour = [](int v) { return v == 10 || v == 11 || v == 14 || v == 15; };
    if (colour ? !okColour(m_s->source) : !(m_s->source == 0 || m_s->source == 2)) m_s->source = colour ? 10 : 0;
    if (colour ? !okColour(m_s->target) : !(m_s->target == 0 || m_s->target == 30 || m_s->target == 34))
        m_s->target = colour ? 10 : 0;
    m_triggers.clear();
    invalidateLocked();
    return LSX_OK;
}

}  // namespace lsxsim

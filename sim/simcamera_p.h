#pragma once
// Private pieces shared by the simulated camera's source files.
#include "simcamera.h"

#include <chrono>
#include <cstring>
#include <string>

namespace lsxsim {

struct Camera::Settings {
    double exposure = 100.0;
    float gain = 1.0f;
    float rgb[3] = {1.0f, 1.0f, 1.0f};  // r, g, b
    int32_t source = 0, target = 0;
    int resMode = 0;
    int binMode = 0, binH = 1, binV = 1;  // USER mode: 0 SUM, 1 BIN
    int roiX = 0, roiW = 0, roiH = 1000;
    bool trigger = false;
    int32_t trigSource = 0;
    double lineRate = 20000.0;
    bool fpnEnable = false;
    std::string fpnSel = "UserSet0", prnuc = "Disable", lsc = "Disable";
    double scsLine = 0.0, scsPixel = 0.0;
    bool reverseX = false;
    std::map<std::string, bool> isp;  // saturation, gamma, flip, inverse, mono, ...
    int bayer = 0, colorSolution = 0;
    float ccm[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    std::map<std::string, bool> bools;  // lsxSetBoolValue
    uint32_t blackReg = 0;              // register path: the DOffset byte
    uint32_t reg83 = 0, reg84 = 0;      // sensor path: magnitude, sign (8 = negative)
    uint8_t sw[104] = {};               // key 40
    uint32_t lscIndexReg = 0;
    std::map<uint32_t, uint32_t> regs;  // other writable registers
    // test controls (not in the configuration file)
    int scene = 1;
    double light = 5.0, slope = 0.1, falloff = 0.25;
    bool noise = true;
    bool nonLinear = true;  // the columns' roll-off toward full well
    double timeScale = 1.0;
};

inline double nowSeconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

inline void copyText(char* dst, size_t cap, const std::string& s)
{
    if (!cap) return;
    const size_t n = s.size() < cap - 1 ? s.size() : cap - 1;
    std::memcpy(dst, s.data(), n);
    dst[n] = 0;
}

// The pixel's charge, in DN10 at gain 1: the response's reference (80 % of the 10-bit full
// scale) and the full well, where the charge stops growing.
constexpr double kLevel80 = 0.8 * 1023.0;
constexpr double kFullWell = 1.25 * 1023.0;

// Names of the correction sets offered by the selections.
constexpr int kFpnUserSets = 3;
constexpr int kFfcSets = 4;
constexpr int kLscSets = 16;
constexpr uint32_t kLscWindow = 0x200;
constexpr uint32_t kFfcWindow = 0x100000;

}  // namespace lsxsim

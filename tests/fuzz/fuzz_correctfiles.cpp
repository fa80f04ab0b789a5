// Fuzz harness: any bytes as the correction library's FPN, FFC and LSC files, through its Qt-free
// reader; what a reader takes must hold what the correction relies on (rows of one length, finite
// values, gains above 0, one or three channels), and a correction made from it must correct a
// line of its width, or refuse the line with a sentence, without touching what it refuses.
#include "correct/files.h"
#include "lsxcorrect.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

bool finite(const std::vector<double>& v)
{
    for (double d : v)
        if (!std::isfinite(d)) return false;
    return true;
}

// The bytes as a file of the kind `load` reads, then one mono line of `width` pixels corrected.
void throughTheInterface(const std::string& text, lsxcStatus (*load)(lsxcCorrection*, const char*), int width)
{
    static const std::string path = "/tmp/fuzz_correctfiles_" + std::to_string(getpid()) + ".ini";
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return;
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
    lsxcCorrection* c = nullptr;
    if (lsxcCreate(&c) != LSXC_OK) return;
    if (load(c, path.c_str()) == LSXC_OK && width > 0 && width <= 4096) {
        std::vector<uint8_t> line(size_t(width), 100), before = line;
        lsxcImage img{LSXC_MONO8, 0, width, 1, 0, line.data(), 0};
        const lsxcStatus s = lsxcCorrect(c, &img, &img);
        char why[256] = {};
        if (s != LSXC_OK && (lsxcLastError(c, why, sizeof why) != s || !why[0] || line != before)) __builtin_trap();
    }
    lsxcDestroy(c);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    lsxc::IniSections ini;
    std::string why;
    if (!lsxc::parseIniText(text, "fuzz", ini, why)) {
        if (why.empty()) __builtin_trap();
        return 0;
    }
    lsxc::FpnFile fpn;
    if (lsxc::parseFpnFile(ini, "fuzz", fpn, why)) {
        if (fpn.b.empty() || fpn.columns < 1) __builtin_trap();
        for (const auto& row : fpn.b)
            if (int(row.size()) != fpn.columns || !finite(row)) __builtin_trap();
        for (const auto& row : fpn.k)
            if (!finite(row) || row.size() != (fpn.multiLevel ? fpn.b.size() : 1) * size_t(fpn.columns))
                __builtin_trap();
        throughTheInterface(text, lsxcLoadFpn, fpn.columns);
    }
    lsxc::FfcFile ffc;
    if (lsxc::parseFfcFile(ini, "fuzz", ffc, why)) {
        if (ffc.channels.empty() || ffc.channels.size() > 3 || ffc.width < 1) __builtin_trap();
        for (const auto& [name, gains] : ffc.channels)
            for (double g : gains)
                if (!(g > 0.0) || !std::isfinite(g) || gains.size() != size_t(ffc.width)) __builtin_trap();
        throughTheInterface(text, lsxcLoadFfc, ffc.width);
    }
    lsxc::LscFile lsc;
    if (lsxc::parseLscFile(ini, "fuzz", lsc, why)) {
        if (lsc.channels.size() != 1 && lsc.channels.size() != 3) __builtin_trap();
        for (const auto& [name, poly] : lsc.channels)
            for (int s = lsc.x - 1; s <= lsc.x + lsc.width; s += std::max(1, lsc.width / 7)) {
                const double g = lsxc::lscGainAt(poly, lsc.x, lsc.width, s);
                if (!(g > 0.0 && g <= 16.0)) __builtin_trap();
            }
        throughTheInterface(text, lsxcLoadLsc, lsc.width);
    }
    return 0;
}

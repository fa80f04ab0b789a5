// The camera's state in a text file: what the program changes on a GenICam camera, so that the
// state found at open can be put back at close.
//
//   # lsxgenicam camera state
//   camera=<friendly name>
//   PixelFormat=Mono10
//   Roi=<X>,<Y>,<W>,<H>
//   <feature>=<value as text>      exposure, gain, line rate, black level, the automatic
//                                  modes, the frame trigger, ReverseX, GammaEnable
//
// A feature the camera does not have is neither saved nor loaded. A load puts back every value
// it can and answers the first refusal.
#include "gccamera.h"

#include <cstdio>
#include <fstream>
#include <sstream>

namespace lsxgc {

namespace {

const char* const kHeader = "# lsxgenicam camera state";

// The automatic modes go back before the values they would otherwise override.
const char* const kAutoModes[] = {"ExposureAuto", "GainAuto", "BalanceWhiteAuto", "BlackLevelAuto"};
const char* const kSwitches[] = {"AcquisitionLineRateEnable", "ReverseX", "GammaEnable"};

}  // namespace

lsxStatus Camera::saveConfig(const char* path)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    std::ostringstream out;
    out << kHeader << "\n";
    out << "camera=" << m_entry.friendlyName << "\n";
    auto put = [&](const char* name) {
        std::string text;
        if (name && *name && m_features.getText(name, text) == LSX_OK) out << name << "=" << text << "\n";
    };
    put("PixelFormat");
    lsxRegion r{};
    if (getRoi(r) == LSX_OK) out << "Roi=" << r.X << "," << r.Y << "," << r.W << "," << r.H << "\n";
    for (const char* name : kAutoModes) put(name);
    for (const char* name : kSwitches) put(name);
    put(m_exposureName.c_str());
    m_features.select("GainSelector", "All");
    put(m_gainName.c_str());
    put(m_lineRateName.c_str());
    m_features.select("BlackLevelSelector", "All");
    put(m_blackLevelName.c_str());
    frameTrigger();
    put("TriggerMode");
    put("TriggerSource");
    if (lost()) return LSX_ERR_DISCONNECTED;

    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file) return -1300;
    file << out.str();
    file.flush();
    return file ? LSX_OK : -1303;
}

lsxStatus Camera::loadConfig(const char* path)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (const lsxStatus st = liveStatus(); st != LSX_OK) return st;
    std::ifstream file(path, std::ios::binary);
    if (!file) return LSX_ERR_FILE_OPEN;
    std::string line;
    if (!std::getline(file, line) || line != kHeader) return LSX_ERR_FILE_FORMAT;
    std::vector<std::pair<std::string, std::string>> values;
    while (std::getline(file, line)) {
        if (line.empty() || line[0] == '#') continue;
        const size_t eq = line.find('=');
        if (eq == std::string::npos || eq == 0) return LSX_ERR_FILE_FORMAT;
        values.emplace_back(line.substr(0, eq), line.substr(eq + 1));
    }

    return withStreamPaused([&]() -> lsxStatus {
        lsxStatus first = LSX_OK;
        auto note = [&first](lsxStatus st) {
            if (first == LSX_OK && st != LSX_OK) first = st;
        };
        for (const auto& [name, text] : values) {
            if (name == "camera") continue;
            if (name == "Roi") {
                lsxRegion r{};
                if (std::sscanf(text.c_str(), "%d,%d,%d,%d", &r.X, &r.Y, &r.W, &r.H) != 4) {
                    note(LSX_ERR_FILE_FORMAT);
                    continue;
                }
                note(setRoi(r));
                continue;
            }
            if (!m_features.has(name.c_str())) continue;
            if (name == m_gainName) m_features.select("GainSelector", "All");
            if (name == m_blackLevelName) m_features.select("BlackLevelSelector", "All");
            if (name == "TriggerMode" || name == "TriggerSource") frameTrigger();
            note(m_features.setText(name.c_str(), text));
            if (lost()) return LSX_ERR_DISCONNECTED;
        }
        return first;
    });
}

}  // namespace lsxgc

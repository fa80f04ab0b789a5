// Fuzz harness: the camera configuration text of lsxLoadConfig on the simulated camera. The
// first byte picks one of the six built-in cameras, the rest is the file. Each input starts
// from the camera's own saved state. A file the camera takes must leave settings the setters
// would accept, save and load back to the same text, and give a frame.
#include "lsx.h"
#include "sim/lsxsim.h"

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

namespace {

const char* const kCameras[] = {"SIM-LS4096-M",   "SIM-LS2048-ML4", "SIM-LS2048-C",
                                "SIM-LS8192-MLK", "SIM-TQW4A2N60",  "SIM-TVK317"};

std::string tempPath(const char* stem)
{
    std::string name = std::string("/tmp/fuzz_camconfig_") + stem + "_XXXXXX";
    const int fd = mkstemp(name.data());
    if (fd >= 0) close(fd);
    return name;
}

// A broken promise of the library: said on stderr, then the crash the fuzzer looks for.
void require(bool ok, const char* what)
{
    if (ok) return;
    std::fprintf(stderr, "fuzz_camconfig: %s\n", what);
    std::fflush(stderr);
    __builtin_trap();
}

std::string readAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

struct Setup {
    std::string input = tempPath("input"), first = tempPath("saved"), second = tempPath("again");
    std::string pristine[6];
    Setup()
    {
        unsetenv("LSX_SIM_CONFIG");  // the built-in cameras
        lsxSimReset();
        int32_t n = 0;
        lsxRefresh(&n);
        for (int i = 0; i < 6; ++i) {
            pristine[i] = tempPath("pristine");
            lsxHandle h = 0;
            if (lsxOpenByName(kCameras[i], LSX_OPEN_NORMAL, &h) != LSX_OK) std::abort();
            lsxSimSetTimeScale(kCameras[i], 0);
            if (lsxSaveConfig(h, pristine[i].c_str()) != LSX_OK) std::abort();
            lsxClose(h);
        }
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Setup setup;
    if (size < 1) return 0;
    const int cam = data[0] % 6;
    FILE* f = std::fopen(setup.input.c_str(), "wb");
    if (!f) return 0;
    std::fwrite(data + 1, 1, size - 1, f);
    std::fclose(f);
    lsxHandle h = 0;
    require(lsxOpenByName(kCameras[cam], LSX_OPEN_NORMAL, &h) == LSX_OK, "the camera opens");
    require(lsxLoadConfig(h, setup.pristine[cam].c_str()) == LSX_OK, "its own saved state loads");
    if (lsxLoadConfig(h, setup.input.c_str()) == LSX_OK) {
        // What was taken is what the setters would take.
        double us = 0;
        float gain = 0;
        lsxRegion r{};
        lsxRegionDescr d{};
        int32_t source = -1, target = -1;
        require(lsxGetExposure(h, &us) == LSX_OK && us >= 2 && us <= 20000, "exposure 2 .. 20000 us");
        require(lsxGetAnalogGain(h, &gain) == LSX_OK && gain >= 1 && gain <= 8, "gain 1 .. 8");
        require(lsxGetRoi(h, &r) == LSX_OK && lsxGetRoiDescr(h, &d) == LSX_OK, "ROI and its limits read");
        require(r.X >= 0 && r.W >= 1 && r.X + r.W <= d.maxWidth && r.H >= 1 && r.H <= d.maxHeight,
                "ROI within its limits");
        require(lsxGetSourceFormat(h, &source) == LSX_OK && lsxSetSourceFormat(h, source) == LSX_OK,
                "source format settable");
        require(lsxGetTargetFormat(h, &target) == LSX_OK && lsxSetTargetFormat(h, target) == LSX_OK,
                "target format settable");
        // Saved and loaded back, it stays the same.
        require(lsxSaveConfig(h, setup.first.c_str()) == LSX_OK, "state saved");
        require(lsxLoadConfig(h, setup.first.c_str()) == LSX_OK, "saved state loads");
        require(lsxSaveConfig(h, setup.second.c_str()) == LSX_OK, "state saved again");
        require(readAll(setup.first) == readAll(setup.second), "saved, loaded and saved again: the same text");
        // And it gives a frame of two rows.
        r.H = r.H > 2 ? 2 : r.H;
        require(lsxSetRoi(h, &r) == LSX_OK, "its own ROI, two rows high, settable");
        lsxSetTriggerSource(h, 0);
        lsxSetTriggerState(h, true);
        lsxStart(h);
        lsxFrame frame{};
        void* buffer = nullptr;
        require(lsxTriggerFire(h) == LSX_OK, "trigger fired");
        require(lsxGetFrame(h, &frame, &buffer, 1000) == LSX_OK && buffer, "a frame");
        require(frame.width == r.W && frame.height == r.H, "the frame of the ROI");
        volatile uint8_t last = static_cast<const uint8_t*>(buffer)[frame.size - 1];
        (void)last;
        lsxStop(h);
    }
    lsxClose(h);
    return 0;
}

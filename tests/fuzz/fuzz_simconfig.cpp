// Fuzz harness: the simulated camera's JSON configuration (LSX_SIM_CONFIG) through its checks,
// the cameras it builds, and on each camera built (eight at most) a small frame and its truth.
// The configuration may refuse anything; the library must answer statuses, never crash, never
// hang (its own time scale is set to 0, every frame is asked for with a time-out). Every other
// input runs without the file's faults and checks what a camera that was built promises.
#include "lsx.h"
#include "sim/lsxsim.h"

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

// The configuration file of this process, named by LSX_SIM_CONFIG.
const std::string& configPath()
{
    static const std::string path = [] {
        char name[] = "/tmp/fuzz_simconfig_XXXXXX";
        const int fd = mkstemp(name);
        if (fd >= 0) close(fd);
        setenv("LSX_SIM_CONFIG", name, 1);
        setenv("LSX_SIM_QUIET", "1", 1);  // the refusals stay in the library's log
        return std::string(name);
    }();
    return path;
}

// A broken promise of the library: said on stderr, then the crash the fuzzer looks for.
void require(bool ok, const char* what)
{
    if (ok) return;
    std::fprintf(stderr, "fuzz_simconfig: %s\n", what);
    std::fflush(stderr);
    __builtin_trap();
}

uint64_t touch(const void* p, size_t n)
{
    uint64_t sum = 0;
    const auto* b = static_cast<const uint8_t*>(p);
    for (size_t i = 0; i < n; ++i) sum += b[i];
    return sum;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FILE* f = std::fopen(configPath().c_str(), "wb");
    if (!f) return 0;
    std::fwrite(data, 1, size, f);
    std::fclose(f);
    require(lsxSimReset() == LSX_OK, "the library rebuilt from the file");
    int32_t count = 0;
    if (lsxRefresh(&count) != LSX_OK) return 0;  // the file's faults may refuse even this
    // Every other input without the file's faults, so that what the cameras promise is checked.
    const bool strict = size % 2 == 0;
    if (strict) lsxSimClearFaults();
    static std::vector<float> truth(1 << 16);
    for (int32_t i = 0; i < count && i < 8; ++i) {
        lsxCameraInfo info;
        if (lsxEnum(i, &info) != LSX_OK) continue;
        const std::string name(info.friendlyName, strnlen(info.friendlyName, sizeof info.friendlyName));
        lsxHandle h = 0;
        if (lsxOpenByName(name.c_str(), LSX_OPEN_NORMAL, &h) != LSX_OK) continue;
        lsxSimSetTimeScale(name.c_str(), 0);
        lsxSetTriggerSource(h, 0);
        lsxSetTriggerState(h, true);
        lsxRegion r{};
        if (lsxGetRoi(h, &r) == LSX_OK) {
            // A camera that was built takes its own ROI back, and two rows of it.
            const lsxStatus same = lsxSetRoi(h, &r);
            require(!strict || same == LSX_OK, "its own ROI settable");
            r.H = r.H > 2 ? 2 : r.H;
            lsxSetRoi(h, &r);
        }
        lsxStart(h);
        lsxTriggerFire(h);
        lsxFrame frame{};
        void* buffer = nullptr;
        const lsxStatus got = lsxGetFrame(h, &frame, &buffer, 50);
        // Without faults a frame comes, unless the file has it time out or the camera leave.
        require(!strict || got == LSX_OK || got == LSX_ERR_TIMEOUT || got == LSX_ERR_DISCONNECTED,
                "a frame or a status the file asked for");
        if (got == LSX_OK) {
            const size_t pixels = size_t(frame.width) * size_t(frame.height);
            const size_t bytes = pixels * (frame.bits == LSX_BITS_16 ? 2 : frame.channels);
            require(buffer && frame.size == bytes, "a frame's buffer of its size");
            touch(buffer, bytes);
        }
        for (int kind = LSX_SIM_TRUE_DARK; kind <= LSX_SIM_TRUE_DARK_CURRENT; ++kind) {
            int32_t n = int32_t(truth.size());
            lsxSimGetTruth(name.c_str(), kind, 0, 0, truth.data(), &n);
        }
        lsxClose(h);
    }
    return 0;
}

// How long the simulated camera takes to produce one frame (time scale 0: no read-out wait),
// for a 16-bit mono frame of 4096, 8192 and 16384 columns by 1000 rows with noise on, in
// milliseconds of wall time and pixels per second. The live view (a frame every 30 ms) and the
// procedures' hundreds of frames depend on this staying far below a frame period.
#include "lsx.h"
#include "lsx/loader.h"
#include "sim/lsxsim.h"

#include <benchmark/benchmark.h>

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

std::string besideThisProgram()
{
    char path[4096];
    const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    std::string dir = n > 0 ? std::string(path, size_t(n)) : std::string(".");
    return dir.substr(0, dir.rfind('/')) + "/" + lsx::simulatorFileName();
}

void BM_SimFrame16(benchmark::State& state, const char* camera)
{
    const std::string lib = besideThisProgram();
    if (!lsx::bindLibrary(lib).ok) {
        state.SkipWithError("simulated camera library not found");
        return;
    }
    const lsx::sim::Api api = lsx::sim::loadApi(lib.c_str());
    lsxHandle h = 0;
    int32_t count = 0;
    lsxRefresh(&count);
    if (lsxOpenByName(camera, LSX_OPEN_NORMAL, &h) != LSX_OK || !api.ok()) {
        state.SkipWithError("camera did not open");
        return;
    }
    api.setTimeScale(camera, 0.0);
    lsxSetTriggerState(h, true);
    lsxSetTriggerSource(h, 0);
    lsxSetSourceFormat(h, FORMAT_MONO16_SOURCE);
    lsxSetTargetFormat(h, FORMAT_MONO16);
    lsxRegion roi{};
    lsxGetRoi(h, &roi);
    roi.H = 1000;
    lsxSetRoi(h, &roi);
    lsxStart(h);
    lsxFrame frame{};
    void* buffer = nullptr;
    for (auto _ : state) {
        lsxTriggerFire(h);
        if (lsxGetFrame(h, &frame, &buffer, 3000) != LSX_OK) {
            state.SkipWithError("no frame");
            break;
        }
        benchmark::DoNotOptimize(buffer);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * frame.size);
    state.SetItemsProcessed(int64_t(state.iterations()) * frame.width * frame.height);
    lsxStop(h);
    lsxClose(h);
    lsx::unbindLibrary();
}

}  // namespace

// The frame is drawn on several cores: wall time, not this thread's processor time.
BENCHMARK_CAPTURE(BM_SimFrame16, mono4096, "SIM-LS4096-M")->Unit(benchmark::kMillisecond)->MinTime(0.5)->UseRealTime();
BENCHMARK_CAPTURE(BM_SimFrame16, mono8192, "SIM-LS8192-MLK")
    ->Unit(benchmark::kMillisecond)
    ->MinTime(0.5)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_SimFrame16, mono16384, "SIM-LS16384-M")
    ->Unit(benchmark::kMillisecond)
    ->MinTime(0.5)
    ->UseRealTime();

int main(int argc, char** argv)
{
    // A 16384-column camera beside the built-ins, from a configuration file of our own.
    char path[] = "/tmp/bench_sim_XXXXXX";
    const int fd = mkstemp(path);
    if (fd >= 0) {
        const char json[] =
            R"({"cameras": [{"friendlyName": "SIM-LS16384-M", "base": "SIM-LS4096-M", "width": 16384}]})";
        const bool written = write(fd, json, sizeof json - 1) == ssize_t(sizeof json - 1);
        close(fd);
        if (written) setenv("LSX_SIM_CONFIG", path, 1);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (fd >= 0) unlink(path);
    return 0;
}

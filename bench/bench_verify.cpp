// How long the verification's figures take on a wide sensor: one stack of 1000 lines of 16,384
// 16-bit columns summed up (column means, temporal and spatial variance, share of zeros), and the
// figures of a plane from a dark and a bright summary (spectrograms, slow profiles, defect
// columns). The worker does the first four times per plane, the second once per plane and state.
#include "calibration/verifystats.h"

#include <benchmark/benchmark.h>

namespace {

constexpr int kLines = 1000;
constexpr int kColumns = 16384;

cv::Mat stack(double level, uint64_t seed)
{
    cv::Mat s(kLines, kColumns, CV_16U);
    cv::RNG rng(seed);
    rng.fill(s, cv::RNG::NORMAL, cv::Scalar(level * 64.0), cv::Scalar(2.0 * 64.0));
    return s;
}

void BM_VerifyStackStats(benchmark::State& state)
{
    const cv::Mat s = stack(500.0, 1);
    for (auto _ : state) benchmark::DoNotOptimize(stackStats(s, 1.0 / 64.0));
    state.SetItemsProcessed(state.iterations() * int64_t(s.total()));
}
BENCHMARK(BM_VerifyStackStats)->Unit(benchmark::kMillisecond);

void BM_VerifyFigures(benchmark::State& state)
{
    const StackStats dark = stackStats(stack(20.0, 2), 1.0 / 64.0);
    const StackStats bright = stackStats(stack(500.0, 3), 1.0 / 64.0);
    const VerifyLimits limits;
    for (auto _ : state) benchmark::DoNotOptimize(verifyFigures(dark, bright, limits));
}
BENCHMARK(BM_VerifyFigures)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

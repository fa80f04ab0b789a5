// liblsxcorrect on a stream of wide frames, as a host corrects a line-scan camera's frames: 16384
// columns by 1000 lines, FPN and FFC loaded from the tool's files, each frame corrected in place
// as it arrives from a ring larger than every cache of the machine. Beside it, as the physical
// reference of the same run, a plain memcpy of each frame of the same ring into a buffer kept
// from frame to frame. Mono8, Mono16 (the tool's 16-bit frames) and BGR8, on one thread and on
// all the processor has, each frame corrected into a kept buffer as the memcpy copies it, and in
// place (every frame of the ring then goes back to memory as well).
//
// At the end a table gives, per format, the median time per frame of the memcpy and of the
// correction, its rate in gigapixels per second and its ratio to the memcpy.
#include "benchring.h"
#include "correct/kernel.h"
#include "flatfield/ffcfile.h"
#include "fpnparams/fpnfile.h"
#include "lsx.h"
#include "lsxcorrect.h"

#include <QSettings>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <random>

namespace {

constexpr int kLines = 1000;

struct Setup {
    int format = LSXC_MONO8;
    int width = 0;
    size_t frameBytes = 0;
    std::vector<std::vector<uint8_t>> ring;
    lsxcCorrection* correction = nullptr;
    ~Setup() { lsxcDestroy(correction); }
};

const char* formatName(int format)
{
    return format == LSXC_MONO8 ? "Mono8" : format == LSXC_MONO16 ? "Mono16" : "BGR8";
}

int channelsOf(int format)
{
    return format == LSXC_BGR8 ? 3 : 1;
}

QList<QList<double>> lists(std::mt19937& rng, int n, int size, double lo, double hi)
{
    std::uniform_real_distribution<double> d(lo, hi);
    QList<QList<double>> out;
    for (int i = 0; i < n; ++i) {
        QList<double> l;
        for (int x = 0; x < size; ++x) l.append(d(rng));
        out.append(l);
    }
    return out;
}

// The files of a calibration of this format and width, and a correction object that loaded them.
lsxcCorrection* correctionFor(int format, int width)
{
    static QTemporaryDir dir;
    std::mt19937 rng(3);
    const int planes = channelsOf(format);
    const bool wide = format == LSXC_MONO16;
    FpnFileHead head;
    head.targetFormat = format == LSXC_BGR8 ? FORMAT_BGR24 : wide ? FORMAT_MONO16 : FORMAT_MONO;
    head.w = head.cols = width;
    const QString fpn = dir.filePath(QStringLiteral("b.FAC.FPN")), ffc = dir.filePath(QStringLiteral("b.FAC.FFC.x"));
    writeFpnFile(fpn, head, lists(rng, planes, width, 0.0, wide ? 5000.0 : 20.0), lists(rng, planes, width, 0.8, 1.3));
    ffcSaveFile(ffc, FfcRoi{0, 0, width, kLines}, lists(rng, planes, width, 0.9, 1.2), nullptr);
    lsxcCorrection* c = nullptr;
    lsxcCreate(&c);
    if (lsxcLoadFpn(c, fpn.toUtf8().constData()) != LSXC_OK || lsxcLoadFfc(c, ffc.toUtf8().constData()) != LSXC_OK) {
        std::fprintf(stderr, "the benchmark's files did not load\n");
        std::exit(1);
    }
    return c;
}

// The setup of one format, kept while consecutive benchmarks ask for the same one, so that the
// ring is made once per format.
Setup& setupFor(int format, int width)
{
    static std::unique_ptr<Setup> kept;
    if (kept && kept->format == format && kept->width == width) return *kept;
    kept.reset();
    kept = std::make_unique<Setup>();
    kept->format = format;
    kept->width = width;
    kept->frameBytes = size_t(width) * kLines * channelsOf(format) * (format == LSXC_MONO16 ? 2 : 1);
    std::mt19937 rng(9);
    for (size_t total = 0; total < benchring::ringBytes() || kept->ring.size() < 3; total += kept->frameBytes) {
        std::vector<uint8_t> f(kept->frameBytes);
        if (format == LSXC_MONO16) {
            auto* w = reinterpret_cast<uint16_t*>(f.data());
            for (size_t i = 0; i < f.size() / 2; ++i) w[i] = uint16_t((rng() % 1024) << 6);
        } else {
            for (uint8_t& v : f) v = uint8_t(rng());
        }
        kept->ring.push_back(std::move(f));
    }
    kept->correction = correctionFor(format, width);
    return *kept;
}

// A plain memcpy of each frame of the ring into one buffer kept from frame to frame.
void memcpyReference(benchmark::State& state, int format)
{
    Setup& s = setupFor(format, int(state.range(0)));
    std::vector<uint8_t> into(s.frameBytes, 0);
    size_t next = 0;
    benchring::timed(state, {formatName(format), s.width, "memcpy"}, [&] {
        std::memcpy(into.data(), s.ring[next++ % s.ring.size()].data(), s.frameBytes);
        benchmark::DoNotOptimize(into.data());
        benchmark::ClobberMemory();
    });
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(s.frameBytes));
}

// Each frame of the ring corrected on one thread (second argument 1) or all (0): in place
// (third argument 1), or into one buffer kept from frame to frame (0), as the memcpy copies it.
void correct(benchmark::State& state, int format)
{
    Setup& s = setupFor(format, int(state.range(0)));
    lsxcSetThreads(int32_t(state.range(1)));
    const bool inPlace = state.range(2) == 1;
    std::vector<uint8_t> into(inPlace ? 0 : s.frameBytes, 0);
    size_t next = 0;
    bool failed = false;
    const std::string what = std::string(state.range(1) == 1 ? "1 thread" : "all threads") + (inPlace ? " in place" : "");
    benchring::timed(state, {formatName(format), s.width, what}, [&] {
        lsxcImage img{format, 0, s.width, kLines, 0, s.ring[next++ % s.ring.size()].data(), 0};
        lsxcImage out = img;
        if (!inPlace) out.data = into.data();
        failed = failed || lsxcCorrect(s.correction, &img, &out) != LSXC_OK;
        benchmark::ClobberMemory();
    });
    if (failed) state.SkipWithError("lsxcCorrect failed");
    state.counters["Gpx/s"] =
        benchmark::Counter(double(state.iterations()) * s.width * kLines * 1e-9, benchmark::Counter::kIsRate);
    lsxcSetThreads(0);
}

void BM_MemcpyMono8(benchmark::State& st)
{
    memcpyReference(st, LSXC_MONO8);
}
void BM_CorrectMono8(benchmark::State& st)
{
    correct(st, LSXC_MONO8);
}
void BM_MemcpyMono16(benchmark::State& st)
{
    memcpyReference(st, LSXC_MONO16);
}
void BM_CorrectMono16(benchmark::State& st)
{
    correct(st, LSXC_MONO16);
}
void BM_MemcpyBgr8(benchmark::State& st)
{
    memcpyReference(st, LSXC_BGR8);
}
void BM_CorrectBgr8(benchmark::State& st)
{
    correct(st, LSXC_BGR8);
}

void printSummary()
{
    const auto rows = benchring::medians();
    if (rows.empty()) return;
    std::printf("\nmedian ms per frame of %d lines, FPN and FFC, from a ring of %zu MB (largest cache reported: %zu MB)\n",
                kLines, benchring::ringBytes() >> 20, benchring::largestCache() >> 20);
    std::printf("%-7s %6s %8s  %-22s %8s %8s %7s\n", "format", "width", "memcpy", "correction", "ms", "Gpx/s",
                "ratio");
    for (const auto& [fw, m] : rows) {
        const double ref = m.count("memcpy") ? m.at("memcpy") : 0.0;
        const double px = double(fw.second) * kLines * 1e-6;  // megapixels: per ms gives Gpx/s
        for (const auto& [what, ms] : m) {
            if (what == "memcpy") continue;
            std::printf("%-7s %6d %8.2f  %-22s %8.2f %8.2f %7.2f\n", fw.first.c_str(), fw.second, ref, what.c_str(), ms,
                        ms > 0 ? px / ms : 0.0, ref > 0 ? ms / ref : 0.0);
        }
    }
}

}  // namespace

#define RING_BENCH(fn) BENCHMARK(fn)->Arg(16384)->Unit(benchmark::kMillisecond)->MinTime(0.5)->UseManualTime()
#define CORRECT_BENCH(fn) \
    BENCHMARK(fn)->ArgsProduct({{16384}, {1, 0}, {0, 1}})->Unit(benchmark::kMillisecond)->MinTime(0.5)->UseManualTime()
RING_BENCH(BM_MemcpyMono8);
CORRECT_BENCH(BM_CorrectMono8);
RING_BENCH(BM_MemcpyMono16);
CORRECT_BENCH(BM_CorrectMono16);
RING_BENCH(BM_MemcpyBgr8);
CORRECT_BENCH(BM_CorrectBgr8);

int main(int argc, char** argv)
{
    // LSX_PREVIEW_ISA=0, 1 or 2 measures the SSE2, AVX2 or AVX-512 kernels (capped at what the
    // processor has); by default the best it has.
    if (const char* isa = std::getenv("LSX_PREVIEW_ISA")) lsxc::setIsa(static_cast<lsxc::Isa>(std::atoi(isa)));
    std::fprintf(stderr, "correction kernels: %s\n", lsxc::isaName(lsxc::isa()));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    printSummary();
    return 0;
}

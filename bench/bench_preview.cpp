// The preview pipeline of one frame as a station sees it: the frame arrives in the library's
// buffer, one of a ring of frames larger than every cache of the machine, and goes through the
// deep copy, the corrections (FPN, FFC and LSC all on), Sum 1, the column means and the pixmap,
// while the previous frame and its pixmap are still held (as m_lastFrame and the window hold
// them). Beside it, as the physical reference, a plain memcpy of each frame of the same ring
// into a buffer kept from frame to frame. Mono 8-bit, mono 16-bit and BGR24, 4096 and 16384
// columns by 1000 rows.
//
// At the end a table gives, per format and width, the median time of the memcpy reference and
// of the pipeline on one thread and on all the threads the processor has, and the ratios of the
// pipeline to the reference. The stage benchmarks (corrections alone, pixmap
// alone, on one frame that stays in the cache) are for finding where the time goes.
#include "calibration/klevels.h"
#include "camera/framegrab.h"
#include "camera/preview.h"

#include "benchring.h"

#include <QGuiApplication>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <string>

namespace {

constexpr int kRows = 1000;

using benchring::largestCache;
using benchring::ringBytes;
using benchring::timed;
using Key = benchring::Key;

QList<QList<double>> lists(std::mt19937& rng, int n, int size, double lo, double hi)
{
    std::uniform_real_distribution<double> d(lo, hi);
    QList<QList<double>> out;
    for (int i = 0; i < n; ++i) {
        QList<double> l;
        l.reserve(size);
        for (int x = 0; x < size; ++x) l.append(d(rng));
        out.append(l);
    }
    return out;
}

struct Setup {
    int format = FORMAT_MONO;
    int bits = LSX_BITS_8;
    int width = 0;
    cv::Mat frame;
    std::vector<cv::Mat> ring;  // the library's buffers, filled when asked for
    PreviewCorrections corrections;
    PreviewSwitches switches;
    QList<QList<double>> ffc;

    lsxFrame descriptor() const
    {
        lsxFrame d{};
        d.format = uint32_t(format);
        d.bits = uint32_t(bits);
        d.width = frame.cols;
        d.height = frame.rows;
        d.size = uint32_t(frame.total() * frame.elemSize());
        return d;
    }
};

std::unique_ptr<Setup> makeSetup(int format, int bits, int columns)
{
    std::mt19937 rng(7);
    auto s = std::make_unique<Setup>();
    s->format = format;
    s->bits = bits;
    s->width = columns;
    const int ch = format == FORMAT_MONO ? 1 : 3;
    s->frame.create(kRows, columns, CV_MAKETYPE(bits == LSX_BITS_16 ? CV_16U : CV_8U, ch));
    cv::randu(s->frame, 0, bits == LSX_BITS_16 ? 65472 : 256);
    const QList<QList<double>> b = lists(rng, ch, columns, 0.0, 20.0);
    // Three exposures of K samples per row, as a bright-field run leaves them.
    QList<QList<KPoint>> pts;
    std::uniform_real_distribution<double> k(0.8, 1.3);
    for (int r = 0; r < ch; ++r)
        for (double x : {40.0, 120.0, 200.0}) {
            QList<KPoint> l;
            for (int c = 0; c < columns; ++c) l.append(KPoint{x, k(rng)});
            pts.append(l);
        }
    const KAtLevelFn kAt = [&](uint8_t level, QList<double>& out, int rows) { kAtLevel(pts, 2, level, out, rows); };
    s->corrections = buildPreviewCorrections(fpnLevels9, b, b, QList<double>(ch, 1.0), kAt, 1,
                                             lists(rng, ch, columns + 16, 0.9, 1.2));
    s->ffc = lists(rng, ch, columns, 0.9, 1.2);
    s->switches.fpn = s->switches.ffc = s->switches.lsc = true;
    s->switches.lineCount = 1;
    s->switches.regionX = 8;
    return s;
}

// The setup of one format and width, with its ring; kept while consecutive benchmarks ask for
// the same one, so that the ring is made once per format and width.
const Setup& setupFor(int format, int bits, int columns, bool withRing)
{
    static std::unique_ptr<Setup> kept;
    if (!kept || kept->format != format || kept->bits != bits || kept->width != columns) {
        kept.reset();
        kept = makeSetup(format, bits, columns);
    }
    if (withRing && kept->ring.empty()) {
        const size_t bytes = kept->frame.total() * kept->frame.elemSize();
        for (size_t total = 0; total < ringBytes() || kept->ring.size() < 3; total += bytes) {
            cv::Mat f = kept->frame.clone();
            // Frames that differ, as a camera's do.
            f.row(int(kept->ring.size() % size_t(f.rows))).setTo(cv::Scalar::all(double(kept->ring.size())));
            kept->ring.push_back(f);
        }
    }
    return *kept;
}

// ---- Timings ----

const char* formatName(int format, int bits)
{
    if (format != FORMAT_MONO) return "BGR24";
    return bits == LSX_BITS_16 ? "mono16" : "mono8";
}

// ---- The measurements ----

// A plain memcpy of each frame of the ring into one buffer kept from frame to frame.
void memcpyReference(benchmark::State& state, int format, int bits)
{
    const Setup& s = setupFor(format, bits, int(state.range(0)), true);
    const size_t bytes = s.frame.total() * s.frame.elemSize();
    std::vector<uint8_t> into(bytes);
    std::memset(into.data(), 0, bytes);
    size_t next = 0;
    timed(state, {formatName(format, bits), s.width, "memcpy"}, [&] {
        std::memcpy(into.data(), s.ring[next++ % s.ring.size()].data, bytes);
        benchmark::DoNotOptimize(into.data());
        benchmark::ClobberMemory();
    });
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}

// The whole preview of each frame of the ring, as the capture loop runs it, on one thread
// (second argument 1) or on all the processor has (0).
void pipeline(benchmark::State& state, int format, int bits)
{
    const Setup& s = setupFor(format, bits, int(state.range(0)), true);
    const int threads = setPreviewThreads(int(state.range(1)));
    const lsxFrame descriptor = s.descriptor();
    FrameBuffers buffers;
    cv::Mat lastFrame;   // the capture loop's m_lastFrame
    QPixmap lastPixmap;  // what the window shows until the next frame arrives
    size_t next = 0;
    const std::string what = state.range(1) == 1 ? "1 thread" : "all threads";
    timed(state, {formatName(format, bits), s.width, what}, [&] {
        const cv::Mat view = frameView(descriptor, s.ring[next++ % s.ring.size()].data);
        cv::Mat img, means;
        previewFrame(view, img, format, bits, s.corrections, s.switches, s.ffc, 1, means, &buffers);
        const QPixmap pixmap = sharedPixmap(img, format, bits);
        benchmark::DoNotOptimize(means.data);
        lastFrame = img;
        lastPixmap = pixmap;
    });
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(descriptor.size));
    state.counters["threads"] = threads;
    setPreviewThreads(0);
}

// The stages alone, on one frame that stays in the cache: the copy with the corrections and the
// means, and the display conversion of a corrected frame; on one thread or all, as above.
void correctionsOnly(benchmark::State& state, int format, int bits)
{
    const Setup& s = setupFor(format, bits, int(state.range(0)), false);
    setPreviewThreads(int(state.range(1)));
    FrameBuffers buffers;
    for (auto _ : state) {
        cv::Mat img, means;
        previewFrame(s.frame, img, format, bits, s.corrections, s.switches, s.ffc, 1, means, &buffers);
        benchmark::DoNotOptimize(means.data);
    }
    setPreviewThreads(0);
}

void pixmapOnly(benchmark::State& state, int format, int bits)
{
    const Setup& s = setupFor(format, bits, int(state.range(0)), false);
    setPreviewThreads(int(state.range(1)));
    for (auto _ : state) {
        const QPixmap pixmap = matToPixmap(s.frame, format, bits);
        benchmark::DoNotOptimize(pixmap.cacheKey());
    }
    setPreviewThreads(0);
}

void BM_MemcpyMono8(benchmark::State& st)
{
    memcpyReference(st, FORMAT_MONO, LSX_BITS_8);
}
void BM_PreviewMono8(benchmark::State& st)
{
    pipeline(st, FORMAT_MONO, LSX_BITS_8);
}
void BM_MemcpyMono16(benchmark::State& st)
{
    memcpyReference(st, FORMAT_MONO, LSX_BITS_16);
}
void BM_PreviewMono16(benchmark::State& st)
{
    pipeline(st, FORMAT_MONO, LSX_BITS_16);
}
void BM_MemcpyBgr24(benchmark::State& st)
{
    memcpyReference(st, FORMAT_BGR24, LSX_BITS_8);
}
void BM_PreviewBgr24(benchmark::State& st)
{
    pipeline(st, FORMAT_BGR24, LSX_BITS_8);
}

void BM_StageCorrectMono8(benchmark::State& st)
{
    correctionsOnly(st, FORMAT_MONO, LSX_BITS_8);
}
void BM_StagePixmapMono8(benchmark::State& st)
{
    pixmapOnly(st, FORMAT_MONO, LSX_BITS_8);
}
void BM_StageCorrectMono16(benchmark::State& st)
{
    correctionsOnly(st, FORMAT_MONO, LSX_BITS_16);
}
void BM_StagePixmapMono16(benchmark::State& st)
{
    pixmapOnly(st, FORMAT_MONO, LSX_BITS_16);
}
void BM_StageCorrectBgr24(benchmark::State& st)
{
    correctionsOnly(st, FORMAT_BGR24, LSX_BITS_8);
}
void BM_StagePixmapBgr24(benchmark::State& st)
{
    pixmapOnly(st, FORMAT_BGR24, LSX_BITS_8);
}

// The table of medians over every repetition.
void printSummary()
{
    const auto rows = benchring::medians();
    if (rows.empty()) return;
    std::printf("\nmedian ms, frames of 1000 rows from a ring of %zu MB (largest cache reported: %zu MB)\n",
                ringBytes() >> 20, largestCache() >> 20);
    std::printf("%-7s %6s %8s %10s %7s %12s %7s\n", "format", "width", "memcpy", "1 thread", "ratio", "all threads",
                "ratio");
    auto at = [](const std::map<std::string, double>& m, const char* what) { return m.count(what) ? m.at(what) : 0.0; };
    for (const auto& [fw, m] : rows) {
        const double ref = at(m, "memcpy"), one = at(m, "1 thread"), all = at(m, "all threads");
        std::printf("%-7s %6d %8.2f %10.2f %7.2f %12.2f %7.2f\n", fw.first.c_str(), fw.second, ref, one,
                    ref > 0 ? one / ref : 0.0, all, ref > 0 ? all / ref : 0.0);
    }
}

}  // namespace

// Second argument of the pipeline and the stages: 1 thread, or 0 for all the processor has.
#define RING_BENCH(fn) \
    BENCHMARK(fn)->Arg(4096)->Arg(16384)->Unit(benchmark::kMillisecond)->MinTime(0.5)->UseManualTime()
#define PIPELINE_BENCH(fn) \
    BENCHMARK(fn)->ArgsProduct({{4096, 16384}, {1, 0}})->Unit(benchmark::kMillisecond)->MinTime(0.5)->UseManualTime()
RING_BENCH(BM_MemcpyMono8);
PIPELINE_BENCH(BM_PreviewMono8);
RING_BENCH(BM_MemcpyMono16);
PIPELINE_BENCH(BM_PreviewMono16);
RING_BENCH(BM_MemcpyBgr24);
PIPELINE_BENCH(BM_PreviewBgr24);
#define STAGE_BENCH(fn) BENCHMARK(fn)->ArgsProduct({{4096, 16384}, {1, 0}})->Unit(benchmark::kMillisecond)->MinTime(0.3)
STAGE_BENCH(BM_StageCorrectMono8);
STAGE_BENCH(BM_StagePixmapMono8);
STAGE_BENCH(BM_StageCorrectMono16);
STAGE_BENCH(BM_StagePixmapMono16);
STAGE_BENCH(BM_StageCorrectBgr24);
STAGE_BENCH(BM_StagePixmapBgr24);

int main(int argc, char** argv)
{
    // The pixmap needs a GUI application; no display is needed.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    // LSX_PREVIEW_ISA=0, 1 or 2 measures the SSE2, AVX2 or AVX-512 kernels (capped at what the
    // processor has); by default the best it has.
    if (qEnvironmentVariableIsSet("LSX_PREVIEW_ISA"))
        setPreviewIsa(static_cast<PreviewIsa>(qEnvironmentVariableIntValue("LSX_PREVIEW_ISA")));
    std::fprintf(stderr, "preview kernels: %s\n", previewIsaName(previewIsa()));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    printSummary();
    return 0;
}

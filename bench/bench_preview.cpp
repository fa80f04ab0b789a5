// The preview pipeline of one frame (corrections, Sum 1, column means, pixmap) with FPN, FFC and
// LSC all on, beside a plain copy of the same frame, for mono 8-bit, mono 16-bit and BGR24
// frames of 4096 and 16384 columns by 1000 rows.
#include "calibration/klevels.h"
#include "camera/framegrab.h"
#include "camera/preview.h"

#include <QGuiApplication>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>

namespace {

constexpr int kRows = 1000;

struct Setup {
    cv::Mat frame;
    PreviewCorrections corrections;
    PreviewSwitches switches;
    QList<QList<double>> ffc;
};

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

Setup makeSetup(int format, int bits, int columns)
{
    std::mt19937 rng(7);
    Setup s;
    const int ch = format == FORMAT_MONO ? 1 : 3;
    s.frame.create(kRows, columns, CV_MAKETYPE(bits == LSX_BITS_16 ? CV_16U : CV_8U, ch));
    cv::randu(s.frame, 0, bits == LSX_BITS_16 ? 65472 : 256);
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
    s.corrections = buildPreviewCorrections(fpnLevels9, b, b, QList<double>(ch, 1.0), kAt, 1,
                                            lists(rng, ch, columns + 16, 0.9, 1.2));
    s.ffc = lists(rng, ch, columns, 0.9, 1.2);
    s.switches.fpn = s.switches.ffc = s.switches.lsc = true;
    s.switches.lineCount = 1;
    s.switches.regionX = 8;
    return s;
}

// The frames a run takes, one after the other. Alone: the one frame, again and again, so that
// it stays in the cache. From a ring: as from a camera, the next of frames three times the size
// of the last-level cache (32 MB here), so that the copy reads the frame from memory.
std::vector<cv::Mat> framesOf(const cv::Mat& frame, bool fromRing)
{
    if (!fromRing) return {frame};
    constexpr size_t kRingBytes = size_t(96) << 20;
    const size_t bytes = frame.total() * frame.elemSize();
    std::vector<cv::Mat> out;
    for (size_t total = 0; total < kRingBytes || out.size() < 2; total += bytes) {
        cv::Mat f = frame.clone();
        f.row(static_cast<int>(out.size() % f.rows)).setTo(cv::Scalar::all(static_cast<double>(out.size())));
        out.push_back(f);
    }
    return out;
}

// The deep copy of the library's buffer and, unless `copyOnly`, the whole preview of it.
void pipeline(benchmark::State& state, int format, int bits, bool fromRing, bool copyOnly)
{
    const Setup s = makeSetup(format, bits, static_cast<int>(state.range(0)));
    const std::vector<cv::Mat> frames = framesOf(s.frame, fromRing);
    size_t next = 0;
    for (auto _ : state) {
        cv::Mat img = frames[next++ % frames.size()].clone();
        if (copyOnly) {
            benchmark::DoNotOptimize(img.data);
            benchmark::ClobberMemory();
            continue;
        }
        cv::Mat means;
        previewFrame(img, format, bits, s.corrections, s.switches, s.ffc, 1, means);
        const QPixmap pixmap = matToPixmap(img, format, bits);
        benchmark::DoNotOptimize(means.data);
        benchmark::DoNotOptimize(pixmap.cacheKey());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(s.frame.total() * s.frame.elemSize()));
}

// The stages alone, for finding where the time goes: the copy with the corrections and the
// means, and the display conversion of a corrected frame.
void correctionsOnly(benchmark::State& state, int format, int bits)
{
    const Setup s = makeSetup(format, bits, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        cv::Mat img = s.frame.clone();
        cv::Mat means;
        previewFrame(img, format, bits, s.corrections, s.switches, s.ffc, 1, means);
        benchmark::DoNotOptimize(means.data);
    }
}

void pixmapOnly(benchmark::State& state, int format, int bits)
{
    const Setup s = makeSetup(format, bits, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        const QPixmap pixmap = matToPixmap(s.frame, format, bits);
        benchmark::DoNotOptimize(pixmap.cacheKey());
    }
}

void BM_PreviewMono8(benchmark::State& st) { pipeline(st, FORMAT_MONO, LSX_BITS_8, false, false); }
void BM_CopyMono8(benchmark::State& st) { pipeline(st, FORMAT_MONO, LSX_BITS_8, false, true); }
void BM_PreviewMono16(benchmark::State& st) { pipeline(st, FORMAT_MONO, LSX_BITS_16, false, false); }
void BM_CopyMono16(benchmark::State& st) { pipeline(st, FORMAT_MONO, LSX_BITS_16, false, true); }
void BM_PreviewBgr24(benchmark::State& st) { pipeline(st, FORMAT_BGR24, LSX_BITS_8, false, false); }
void BM_CopyBgr24(benchmark::State& st) { pipeline(st, FORMAT_BGR24, LSX_BITS_8, false, true); }

void BM_StageCorrectMono8(benchmark::State& st) { correctionsOnly(st, FORMAT_MONO, LSX_BITS_8); }
void BM_StagePixmapMono8(benchmark::State& st) { pixmapOnly(st, FORMAT_MONO, LSX_BITS_8); }
void BM_StageCorrectMono16(benchmark::State& st) { correctionsOnly(st, FORMAT_MONO, LSX_BITS_16); }
void BM_StagePixmapMono16(benchmark::State& st) { pixmapOnly(st, FORMAT_MONO, LSX_BITS_16); }
void BM_StageCorrectBgr24(benchmark::State& st) { correctionsOnly(st, FORMAT_BGR24, LSX_BITS_8); }
void BM_StagePixmapBgr24(benchmark::State& st) { pixmapOnly(st, FORMAT_BGR24, LSX_BITS_8); }

void BM_RingCopyMono8(benchmark::State& st) { pipeline(st, FORMAT_MONO, LSX_BITS_8, true, true); }
void BM_RingPreviewMono8(benchmark::State& st) { pipeline(st, FORMAT_MONO, LSX_BITS_8, true, false); }
void BM_RingCopyMono16(benchmark::State& st) { pipeline(st, FORMAT_MONO, LSX_BITS_16, true, true); }
void BM_RingPreviewMono16(benchmark::State& st) { pipeline(st, FORMAT_MONO, LSX_BITS_16, true, false); }
void BM_RingCopyBgr24(benchmark::State& st) { pipeline(st, FORMAT_BGR24, LSX_BITS_8, true, true); }
void BM_RingPreviewBgr24(benchmark::State& st) { pipeline(st, FORMAT_BGR24, LSX_BITS_8, true, false); }

}  // namespace

#define PREVIEW_BENCH(fn) BENCHMARK(fn)->Arg(4096)->Arg(16384)->Unit(benchmark::kMillisecond)->MinTime(0.3)
PREVIEW_BENCH(BM_CopyMono8);
PREVIEW_BENCH(BM_PreviewMono8);
PREVIEW_BENCH(BM_CopyMono16);
PREVIEW_BENCH(BM_PreviewMono16);
PREVIEW_BENCH(BM_CopyBgr24);
PREVIEW_BENCH(BM_PreviewBgr24);
PREVIEW_BENCH(BM_RingCopyMono8);
PREVIEW_BENCH(BM_RingPreviewMono8);
PREVIEW_BENCH(BM_RingCopyMono16);
PREVIEW_BENCH(BM_RingPreviewMono16);
PREVIEW_BENCH(BM_RingCopyBgr24);
PREVIEW_BENCH(BM_RingPreviewBgr24);
#define STAGE_BENCH(fn) BENCHMARK(fn)->Arg(4096)->Arg(16384)->Unit(benchmark::kMillisecond)->MinTime(0.3)
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
    return 0;
}

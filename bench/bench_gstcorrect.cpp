// What the GStreamer element lsxcorrect adds to liblsxcorrect's own time per buffer: 16384 x 1000
// Mono8 frames of a ring larger than every cache, FPN and FFC loaded from the tool's files,
// corrected in place
//  - by the library called directly (lsxcCorrect),
//  - in a pipeline appsrc ! lsxcorrect ! appsink, each frame pushed as a buffer over the ring's
//    memory (writable: corrected in place) and pulled at the sink,
//  - in the same pipeline with identity in the element's place (the pipeline's own cost).
// The element adds (element pipeline - identity pipeline - library) per buffer; the table gives it
// as a share of the library's time.
#include "benchring.h"
#include "flatfield/ffcfile.h"
#include "fpnparams/fpnfile.h"
#include "lsx.h"
#include "lsxcorrect.h"

#include <QSettings>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>
#include <gst/gst.h>

#include <cstdio>
#include <random>

namespace {

constexpr int kWidth = 16384, kLines = 1000;
constexpr size_t kFrameBytes = size_t(kWidth) * kLines;

QTemporaryDir& dir()
{
    static QTemporaryDir d;
    return d;
}

QString fpnFile()
{
    return dir().filePath(QStringLiteral("b.FAC.FPN"));
}
QString ffcFile()
{
    return dir().filePath(QStringLiteral("b.FAC.FFC.x"));
}

// The calibration files, once.
void writeFiles()
{
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> b(0, 20), k(0.8, 1.3), f(0.9, 1.2);
    QList<double> bRow, kRow, fRow;
    for (int x = 0; x < kWidth; ++x) {
        bRow << b(rng);
        kRow << k(rng);
        fRow << f(rng);
    }
    FpnFileHead head;
    head.w = head.cols = kWidth;
    writeFpnFile(fpnFile(), head, {bRow}, {kRow});
    ffcSaveFile(ffcFile(), FfcRoi{0, 0, kWidth, kLines}, {fRow}, nullptr);
}

std::vector<std::vector<uint8_t>>& ring()
{
    static std::vector<std::vector<uint8_t>> frames = [] {
        std::vector<std::vector<uint8_t>> r;
        std::mt19937 rng(9);
        for (size_t total = 0; total < benchring::ringBytes() || r.size() < 3; total += kFrameBytes) {
            std::vector<uint8_t> f(kFrameBytes);
            for (uint8_t& v : f) v = uint8_t(rng());
            r.push_back(std::move(f));
        }
        return r;
    }();
    return frames;
}

void BM_Library(benchmark::State& state)
{
    lsxcCorrection* c = nullptr;
    lsxcCreate(&c);
    lsxcLoadFpn(c, fpnFile().toUtf8().constData());
    lsxcLoadFfc(c, ffcFile().toUtf8().constData());
    size_t next = 0;
    benchring::timed(state, {"Mono8", kWidth, "library"}, [&] {
        lsxcImage img{LSXC_MONO8, 0, kWidth, kLines, 0, ring()[next++ % ring().size()].data(), 0};
        if (lsxcCorrect(c, &img, &img) != LSXC_OK) state.SkipWithError("lsxcCorrect failed");
    });
    lsxcDestroy(c);
}

// Frames through appsrc ! <element> ! appsink, one buffer pushed and pulled per iteration.
void pipeline(benchmark::State& state, const QString& element, const char* what)
{
    const QString description =
        QStringLiteral("appsrc name=src format=time caps=video/x-raw,format=GRAY8,width=%1,height=%2,framerate=0/1 ! %3 "
                       "! appsink name=sink sync=false")
            .arg(kWidth)
            .arg(kLines)
            .arg(element);
    GError* error = nullptr;
    GstElement* p = gst_parse_launch(description.toUtf8().constData(), &error);
    if (error) {
        state.SkipWithError(error->message);
        g_error_free(error);
        return;
    }
    GstElement* src = gst_bin_get_by_name(GST_BIN(p), "src");
    GstElement* sink = gst_bin_get_by_name(GST_BIN(p), "sink");
    gst_element_set_state(p, GST_STATE_PLAYING);
    size_t next = 0;
    bool failed = false;
    benchring::timed(state, {"Mono8", kWidth, what}, [&] {
        uint8_t* frame = ring()[next++ % ring().size()].data();
        GstBuffer* buffer = gst_buffer_new_wrapped_full(GstMemoryFlags(0), frame, kFrameBytes, 0, kFrameBytes, nullptr,
                                                        nullptr);
        failed = failed || gst_app_src_push_buffer(GST_APP_SRC(src), buffer) != GST_FLOW_OK;
        GstSample* sample = gst_app_sink_try_pull_sample(GST_APP_SINK(sink), 5 * GST_SECOND);
        failed = failed || !sample;
        if (sample) gst_sample_unref(sample);
    });
    if (failed) state.SkipWithError("the pipeline did not pass the frames");
    gst_element_set_state(p, GST_STATE_NULL);
    gst_object_unref(src);
    gst_object_unref(sink);
    gst_object_unref(p);
}

void BM_Element(benchmark::State& state)
{
    pipeline(state, QStringLiteral("lsxcorrect fpn-file=\"%1\" ffc-file=\"%2\"").arg(fpnFile(), ffcFile()), "element");
}

void BM_Identity(benchmark::State& state)
{
    pipeline(state, QStringLiteral("identity"), "identity");
}

void printSummary()
{
    const auto rows = benchring::medians();
    for (const auto& [fw, m] : rows) {
        auto at = [&](const char* what) { return m.count(what) ? m.at(what) : 0.0; };
        const double library = at("library"), element = at("element"), identity = at("identity");
        const double added = element - identity - library;
        std::printf("\nmedian ms per %s frame of %d x %d, FPN and FFC, in place, from a ring of %zu MB\n",
                    fw.first.c_str(), fw.second, kLines, benchring::ringBytes() >> 20);
        std::printf("library %.3f  pipeline with lsxcorrect %.3f  with identity %.3f  element adds %.3f ms = %.1f %% of "
                    "the library's time\n",
                    library, element, identity, added, library > 0 ? 100.0 * added / library : 0.0);
    }
}

}  // namespace

BENCHMARK(BM_Library)->Unit(benchmark::kMillisecond)->MinTime(1.0)->UseManualTime();
BENCHMARK(BM_Element)->Unit(benchmark::kMillisecond)->MinTime(1.0)->UseManualTime();
BENCHMARK(BM_Identity)->Unit(benchmark::kMillisecond)->MinTime(1.0)->UseManualTime();

int main(int argc, char** argv)
{
    g_setenv("GST_PLUGIN_PATH", LSX_GST_PLUGIN_DIR, TRUE);
    gst_init(&argc, &argv);
    writeFiles();
    ring();  // made before any timing
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    printSummary();
    return 0;
}

// Frames per second of a GigE Vision line-scan camera through the GenICam camera library into the
// live preview (deep copy, column means, pixmap), 4096 x 1000 Mono8 over the loopback, beside
// the rate the test camera is set to (its line rate / 1000 lines). The test camera draws every
// frame with the simulated camera, so on a small machine it shares the processors with the
// receiving side; the second run sends one picture again and again, so that the figure is what
// the link and the library carry.
//
// Runs the test camera (tests/genicam/lsxgvcamera) beside this program for the time of the run.
#include "camera/framegrab.h"
#include "camera/preview.h"
#include "loader.h"
#include "tests/genicam/testcamera.h"

#include <QGuiApplication>

#include <benchmark/benchmark.h>

#include <unistd.h>
#include <cstdio>
#include <string>

namespace {

constexpr int kWidth = 4096;
constexpr int kLines = 1000;

QString besideThisProgram(const char* file)
{
    char path[4096];
    const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    const std::string exe = n > 0 ? std::string(path, size_t(n)) : std::string(".");
    return QString::fromStdString(exe.substr(0, exe.rfind('/')) + "/" + file);
}

lsxHandle g_handle = 0;

gvtest::TestCamera* g_camera = nullptr;

// The camera free running at `lineRate` lines a second; frames flow through the preview path
// until the benchmark has its count. `drawEach`: the test camera draws a new picture for every
// frame, or sends its last one again (the link and the library alone).
void previewRun(benchmark::State& state, bool drawEach)
{
    const double lineRate = double(state.range(0));
    g_camera->command(drawEach ? QStringLiteral("draw each") : QStringLiteral("draw once"));
    if (!g_handle) {
        state.SkipWithError("the loopback camera did not open");
        return;
    }
    lsxRegion r{};
    r.W = kWidth;
    r.H = kLines;
    lsxSetRoi(g_handle, &r);
    lsxSetTargetFormat(g_handle, FORMAT_MONO);
    lsxSetTriggerState(g_handle, false);
    lsxSetConfigString(g_handle, "LineRate", QByteArray::number(lineRate).constData());
    char text[32] = {};
    lsxGetConfigString(g_handle, "Stream.Incomplete", text, sizeof text);
    const double incompleteBefore = std::atof(text);
    if (lsxStart(g_handle) < LSX_OK) {
        state.SkipWithError("the stream did not start");
        return;
    }
    // The first frame sets the receiving socket up; it is not counted.
    lsxFrame frame{};
    void* buffer = nullptr;
    lsxGetFrame(g_handle, &frame, &buffer, 3000);

    const PreviewCorrections corrections;
    const PreviewSwitches switches;
    int64_t frames = 0;
    for (auto _ : state) {
        if (lsxGetFrame(g_handle, &frame, &buffer, 3000) != LSX_OK) {
            state.SkipWithError("no frame");
            break;
        }
        cv::Mat img = frameToMat(frame, buffer);
        cv::Mat means;
        previewFrame(img, FORMAT_MONO, int(frame.bits), corrections, switches, {}, 1, means);
        const QPixmap pixmap = matToPixmap(img, FORMAT_MONO, int(frame.bits));
        benchmark::DoNotOptimize(pixmap.cacheKey());
        ++frames;
    }
    lsxStop(g_handle);
    lsxGetConfigString(g_handle, "Stream.Incomplete", text, sizeof text);
    state.counters["fps"] = benchmark::Counter(double(frames), benchmark::Counter::kIsRate);
    state.counters["camera_fps"] = lineRate / kLines;
    state.counters["incomplete"] = std::atof(text) - incompleteBefore;
    state.SetBytesProcessed(frames * int64_t(kWidth) * kLines);
}

void BM_GenicamPreviewMono8(benchmark::State& state)
{
    previewRun(state, true);
}
void BM_GenicamLinkMono8(benchmark::State& state)
{
    previewRun(state, false);
}

}  // namespace

BENCHMARK(BM_GenicamPreviewMono8)
    ->Arg(20000)
    ->Arg(50000)
    ->Arg(100000)
    ->Iterations(150)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GenicamLinkMono8)
    ->Arg(50000)
    ->Arg(100000)
    ->Arg(200000)
    ->Iterations(300)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    // The pixmap needs a GUI application; no display is needed.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    if (qEnvironmentVariableIsEmpty("LSX_GVCAMERA"))
        qputenv("LSX_GVCAMERA", besideThisProgram("lsxgvcamera").toLocal8Bit());
    if (qEnvironmentVariableIsEmpty("LSX_GVCAMERA_XML")) qputenv("LSX_GVCAMERA_XML", LSX_GVCAMERA_XML);
    if (qEnvironmentVariableIsEmpty("LSX_LIBRARY"))
        qputenv("LSX_LIBRARY", besideThisProgram("liblsxsim.so").toLocal8Bit());

    gvtest::TestCamera camera;
    gvtest::Options options;
    options.serial = gvtest::uniqueSerial("B");
    const QString failed = camera.start(options);
    g_camera = &camera;
    if (!failed.isEmpty()) std::fprintf(stderr, "test camera: %s\n", qPrintable(failed));
    const lsx::BindResult bound = lsx::bindLibrary(besideThisProgram("liblsxgenicam.so").toStdString());
    if (!bound.ok) std::fprintf(stderr, "%s\n", bound.message.c_str());
    int32_t count = 0;
    lsxRefresh(&count);
    if (failed.isEmpty() && bound.ok
        && lsxOpenByName(camera.friendlyName(kWidth).toLatin1().constData(), LSX_OPEN_NORMAL, &g_handle) != LSX_OK)
        g_handle = 0;

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (g_handle) lsxClose(g_handle);
    camera.stop();
    return 0;
}

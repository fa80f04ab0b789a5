// How long an FPN parameter file of a wide colour sensor takes to save and to load: 16,000
// columns by 3 rows of B and of K, some 100,000 keys, each through the file's text form. The
// operator waits for both on the window's thread.
#include "fpnparams/fpnfile.h"
#include "lsx.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>

namespace {

constexpr int kColumns = 16000;
constexpr int kRows = 3;

QList<QList<double>> rows(double base)
{
    QList<QList<double>> out;
    for (int r = 0; r < kRows; ++r) {
        QList<double> row;
        row.reserve(kColumns);
        for (int c = 0; c < kColumns; ++c) row.append(base + r * 0.125 + c * 1e-4);
        out.append(row);
    }
    return out;
}

FpnFileHead head()
{
    FpnFileHead h;
    h.camera = QStringLiteral("SIM-LS2048-C");
    h.sourceFormat = FORMAT_BGR24;
    h.w = kColumns;
    h.cols = kColumns;
    return h;
}

QString pathFor(int n)
{
    return QDir::tempPath() + QStringLiteral("/bench-fpn-%1.FAC.FPN").arg(n);
}

void BM_FpnFileSave(benchmark::State& state)
{
    const QList<QList<double>> b = rows(1000.0), k = rows(1.0);
    int n = 0;
    for (auto _ : state) {
        const QString path = pathFor(n++ % 2);
        if (!writeFpnFile(path, head(), b, k)) state.SkipWithError("cannot write");
    }
    QFile::remove(pathFor(0));
    QFile::remove(pathFor(1));
}
BENCHMARK(BM_FpnFileSave)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_FpnFileLoad(benchmark::State& state)
{
    // Files of their own, written once: a load in the program opens a path it has not read yet.
    const QList<QList<double>> b = rows(1000.0), k = rows(1.0);
    const FpnFileHead h = head();
    // The colour camera of the file: three planes at one gain, as wide as the file.
    FpnCamera camera;
    camera.name = h.camera;
    camera.sensorWidth = kColumns;
    int n = 100;
    for (auto _ : state) {
        state.PauseTiming();
        const QString path = pathFor(n++);
        writeFpnFile(path, h, b, k);
        state.ResumeTiming();

        // The whole check and the rows, as a load reads them before anything is applied.
        const FpnFileContent content = readFpnFile(path, camera);
        if (!content.ok) state.SkipWithError(content.why.toLocal8Bit().constData());
        benchmark::DoNotOptimize(content.b.size() + content.k.size());
        state.PauseTiming();
        QFile::remove(path);
        state.ResumeTiming();
    }
}
BENCHMARK(BM_FpnFileLoad)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();

// Fuzz harness: an FPN parameter file as an operator might bring it (any bytes), through the
// whole-file check a load makes against a camera (head, groups, B and K widths against each
// other, the head and the camera, row counts against lines and gains, values finite and in the
// record's range), for cameras of every kind. A file the check takes must hold what the program
// relies on, and written again by the program it must read back the same; a file it refuses must
// say why and give nothing.
#include "fpnparams/fpnfile.h"

#include <QDir>
#include <QFile>

#include <unistd.h>
#include <cmath>

namespace {

// Cameras of every kind under one name, so that one seed reaches the checks of each.
FpnCamera camera(int lines, int gains, int width, bool mlk, bool area)
{
    FpnCamera c;
    c.name = QStringLiteral("SIM-LS4096-M");
    c.lineCount = lines;
    c.gains = gains;
    c.sensorWidth = width;
    c.minWidth = 1;
    c.multiLevelK = mlk;
    c.area = area;
    c.roiHeight = area ? 2 : 1000;
    c.maxK = mlk ? 4 : 2;
    return c;
}

// What a file the check takes holds: rows of one width, as many as the camera holds, K fitting B,
// values finite and in range.
void checkTaken(const FpnFileContent& c, const FpnCamera& cam)
{
    if (c.b.isEmpty() || !c.why.isEmpty()) __builtin_trap();
    const qsizetype columns = cam.area ? qsizetype(c.head.w) * cam.roiHeight : c.head.w;
    if (c.head.x < 0 || c.head.w < 1 || c.head.x + c.head.w > cam.sensorWidth) __builtin_trap();
    if (c.b.size() > 3 * cam.lineCount * cam.gains) __builtin_trap();
    for (const QList<double>& row : c.b)
        if (row.size() != columns) __builtin_trap();
    if (cam.multiLevelK) {
        if (!c.k.isEmpty() && c.k.size() != kFpnKBands) __builtin_trap();
        for (const QList<double>& band : c.k)
            if (band.size() != columns * c.b.size()) __builtin_trap();
    } else {
        if (!c.k.isEmpty() && c.k.size() != c.b.size()) __builtin_trap();
        for (const QList<double>& row : c.k)
            if (row.size() != columns) __builtin_trap();
    }
    for (const QList<double>& row : c.b)
        for (double v : row)
            if (!(v >= 0.0 && v <= kFpnMaxB)) __builtin_trap();
    for (const QList<double>& row : c.k)
        for (double v : row)
            if (!(v > 0.0 && v <= kFpnMaxK)) __builtin_trap();
    if (!fpnDataRefusal(c.b, c.k, cam.multiLevelK, cam.maxK).isEmpty()) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // A file of its own for every input: QSettings keeps what it read of a path.
    static int serial = 0;
    const QString path = QDir::tempPath() + QStringLiteral("/fuzz-fpn-%1-%2.FAC.FPN").arg(getpid()).arg(serial++);
    const QString again = path + QStringLiteral(".again");
    {
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly)) return 0;
        f.write(reinterpret_cast<const char*>(data), qint64(size));
    }
    static const FpnCamera cameras[] = {camera(1, 8, 256, false, false), camera(4, 8, 64, false, false),
                                        camera(1, 8, 64, true, false), camera(1, 1, 16, false, true)};
    for (const FpnCamera& cam : cameras) {
        const FpnFileContent c = readFpnFile(path, cam);
        if (!c.ok) {
            if (c.why.isEmpty() || !c.b.isEmpty() || !c.k.isEmpty()) __builtin_trap();
            continue;
        }
        checkTaken(c, cam);
        // The program's own file of what it took reads back the same.
        QFile::remove(again);
        if (!writeFpnFile(again, c.head, c.b, c.k)) __builtin_trap();
        const FpnFileContent back = readFpnFile(again, cam);
        if (!back.ok || back.b != c.b || back.k != c.k) __builtin_trap();
    }
    QFile::remove(path);
    QFile::remove(again);
    return 0;
}

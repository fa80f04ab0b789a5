// Fuzz harness: the LSC parameter file as anyone might hand it over (any bytes), through the
// program's reader; a file it takes must give no channel, one or three channels of eight finite
// values, which pack into a block of the camera's size with its checksum, and written again by the
// program it must read back the same.
#include "flatfield/lscfit.h"

#include <QDir>
#include <QFile>

#include <cmath>
#include <cstring>

#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const QString path = QDir::tempPath() + QStringLiteral("/fuzz_lscfile_%1.LSC.FAC").arg(qint64(getpid()));
    {
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)) return 0;
        f.write(reinterpret_cast<const char*>(data), qint64(size));
    }
    const LscFileContent c = lscReadFile(path);
    if (!c.ok) {
        if (!c.polys.isEmpty() || c.text.isEmpty()) __builtin_trap();
        return 0;
    }
    if (c.polys.size() != 0 && c.polys.size() != 1 && c.polys.size() != 3) __builtin_trap();
    for (const QList<double>& p : c.polys) {
        if (p.size() != 8) __builtin_trap();
        for (double v : p)
            if (!std::isfinite(v)) __builtin_trap();
    }
    lsxRegion roi;
    std::memset(&roi, 0, sizeof roi);
    roi.X = c.roiX;
    roi.W = c.roiW;
    // A file of its own every time: QSettings keeps what it read of a path.
    static int serial = 0;
    const QString again = path + QStringLiteral(".again%1").arg(serial++);
    QFile::remove(again);
    QString why;
    if (!lscSaveFile(again, roi, c.polys, &why)) __builtin_trap();
    const LscFileContent back = lscReadFile(again);
    QFile::remove(again);
    if (!back.ok || back.polys != c.polys || back.roiX != c.roiX || back.roiW != c.roiW) __builtin_trap();
    if (c.polys.isEmpty()) return 0;
    const std::vector<uint8_t> block = lscPackBlock(c.polys, roi);
    if (block.size() != 16 + size_t(c.polys.size()) * 64) __builtin_trap();
    uint32_t sum = 0;
    for (size_t i = 16; i < block.size(); ++i) sum += block[i];
    if ((block[12] | (block[13] << 8)) != int(sum & 0xFFFF)) __builtin_trap();
    return 0;
}

// Fuzz harness: an FPN parameter file as an operator might bring it, through the checks a load
// makes (version, camera, kind of K, the head's keys, every value group whole and numeric) and,
// when they pass, the reading of the B and K rows. The input is the file's bytes.
#include "fpnparams/fpnfile.h"

#include <QDir>
#include <QFile>

#include <unistd.h>
#include <cmath>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // A file of its own for every input: QSettings keeps what it read of a path.
    static int serial = 0;
    const QString path = QDir::tempPath() + QStringLiteral("/fuzz-fpn-%1-%2.FAC.FPN").arg(getpid()).arg(serial++);
    {
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly)) return 0;
        f.write(reinterpret_cast<const char*>(data), qint64(size));
    }
    {
        QSettings file(path, QSettings::IniFormat);
        FpnFileHead head;
        for (int32_t mlk : {0, 1}) {
            if (checkFpnFile(file, QStringLiteral("SIM-LS4096-M"), mlk, head) != FpnFileCheck::Ok) continue;
            const int bGroups = fpnFileGroupCount(file, false);
            const QList<QList<double>> b = readFpnFileRows(file, QStringLiteral("B_"), bGroups);
            const QList<QList<double>> k = readFpnFileRows(file, QStringLiteral("K_"), fpnFileGroupCount(file, true));
            // What passed the checks holds finite numbers only.
            for (const QList<double>& rows : b + k)
                for (double v : rows)
                    if (!std::isfinite(v)) __builtin_trap();
        }
    }
    QFile::remove(path);
    return 0;
}

// Fuzz harness: the FFC parameter file as the operator might hand it over (any bytes), through
// the program's whole-file check; and the same bytes as the camera's memory view of a flat-field
// set. A file the reader takes must hold what the program relies on: at most three channels,
// each as long as the file's ROI width, every gain a finite number above 0, a partial file
// counted as such; and written again by the program it must read back the same.
#include "flatfield/ffcfile.h"
#include "flatfield/ffcrecord.h"

#include <QDir>
#include <QFile>

#include <cmath>
#include <cstdlib>

#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const QString path = QDir::tempPath() + QStringLiteral("/fuzz_ffcfile_%1.ini").arg(qint64(getpid()));
    {
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)) return 0;
        f.write(reinterpret_cast<const char*>(data), qint64(size));
    }
    const FfcFileContent c = ffcReadFile(path, FfcRoi{0, 0, 16, 16});
    if (c.ok) {
        if (c.gains.size() > 3 || c.roi.w <= 0 || c.roi.w > kFfcFileMaxWidth) __builtin_trap();
        for (const QList<double>& channel : c.gains) {
            if (channel.size() != c.roi.w) __builtin_trap();
            for (double k : channel)
                if (!std::isfinite(k) || k <= 0.0) __builtin_trap();
        }
        if (c.partial != (c.missingKeys > 0) || (c.partial && c.firstMissing.isEmpty())) __builtin_trap();
        // The program's own file of what it took reads back the same, whole.
        if (!c.gains.isEmpty()) {
            // A file of its own every time: QSettings keeps what it read of a path.
            static int serial = 0;
            const QString again = path + QStringLiteral(".again%1").arg(serial++);
            QFile::remove(again);
            QString why;
            if (!ffcSaveFile(again, c.roi, c.gains, &why)) __builtin_trap();
            const FfcFileContent back = ffcReadFile(again, FfcRoi{});
            QFile::remove(again);
            if (!back.ok || back.partial || back.gains != c.gains) __builtin_trap();
        }
    } else if (!c.gains.isEmpty() || c.text.isEmpty()) {
        __builtin_trap();
    }

    const GainList memory = ffcParseMemory(data, size);
    for (const QList<double>& channel : memory)
        for (double k : channel)
            if (!(k >= 0.0 && k < 4.0)) __builtin_trap();
    return 0;
}

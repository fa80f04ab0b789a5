#pragma once
// The tool's parameter files as its own writers make them, and a correction object of the
// library that frees itself: for the tests of liblsxcorrect and of what uses it.
#include "flatfield/ffcfile.h"
#include "flatfield/lscfit.h"
#include "fpnparams/fpnfile.h"
#include "lsxcorrect.h"

#include <QSettings>
#include <QString>

#include <random>

namespace correcttest {

// Random rows of `n` values in [lo, hi).
inline QList<QList<double>> randomRows(std::mt19937& rng, int rows, int n, double lo, double hi)
{
    std::uniform_real_distribution<double> d(lo, hi);
    QList<QList<double>> out;
    for (int r = 0; r < rows; ++r) {
        QList<double> row;
        for (int x = 0; x < n; ++x) row << d(rng);
        out << row;
    }
    return out;
}

// An FPN file as the tool saves it: B and K rows of the region starting at sensor column x, taken
// in the camera's target format `target`.
inline bool writeFpn(const QString& path, int x, int target, const QList<QList<double>>& b,
                     const QList<QList<double>>& k, bool multiLevel = false)
{
    FpnFileHead head;
    head.camera = QStringLiteral("SIM-LS4096-M");
    head.supportMLK = multiLevel;
    head.sourceFormat = target == FORMAT_MONO16 ? FORMAT_MONO16_SOURCE : target;
    head.targetFormat = target;
    head.x = x;
    head.w = b.isEmpty() ? 0 : int(b[0].size());
    head.cols = head.w;
    return writeFpnFile(path, head, b, k);
}

// An FFC file as the tool saves it: gains of the ROI's columns, channels B, G, R (or one).
inline bool writeFfc(const QString& path, int x, int w, const GainList& gains)
{
    return ffcSaveFile(path, FfcRoi{x, 0, w, 1000}, gains, nullptr);
}

// An LSC file as the tool saves it: a polynomial (c6..c0, target) per channel B, G, R (or one).
inline bool writeLsc(const QString& path, int x, int w, const QList<QList<double>>& polys)
{
    lsxRegion roi{};
    roi.X = x;
    roi.W = w;
    roi.H = 1000;
    return lscSaveFile(path, roi, polys, nullptr);
}

// A correction object for the length of a test.
struct Correction {
    lsxcCorrection* c = nullptr;
    Correction() { lsxcCreate(&c); }
    ~Correction() { lsxcDestroy(c); }
    Correction(const Correction&) = delete;
    Correction& operator=(const Correction&) = delete;
    operator lsxcCorrection*() const { return c; }
    QString error() const
    {
        char text[1024];
        lsxcLastError(c, text, sizeof text);
        return QString::fromUtf8(text);
    }
};

}  // namespace correcttest

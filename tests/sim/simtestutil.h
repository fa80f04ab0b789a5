#pragma once
// Small helpers for the simulated camera's tests: open by name, grab, column statistics.
#include "lsx.h"
#include "sim/lsxsim.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

namespace simtest {

inline lsxHandle openCamera(const char* name, int mode = LSX_OPEN_NORMAL)
{
    int32_t count = 0;
    lsxRefresh(&count);
    lsxHandle h = 0;
    const lsxStatus st = lsxOpenByName(name, mode, &h);
    return st == LSX_OK ? h : 0;
}

inline std::string handleName(lsxHandle h)
{
    return std::to_string(h);
}

// A configuration file for the simulated camera, in force from the next lsxSimReset: written
// into `dir` and named by LSX_SIM_CONFIG. An empty text names no file (the built-in cameras).
inline bool useConfig(const QTemporaryDir& dir, const QByteArray& json)
{
    if (json.isEmpty()) {
        qunsetenv("LSX_SIM_CONFIG");
        return lsxSimReset() == LSX_OK;
    }
    const QString path = dir.filePath(QStringLiteral("sim.json"));
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(json) != json.size()) return false;
    f.close();
    qputenv("LSX_SIM_CONFIG", path.toLocal8Bit());
    return lsxSimReset() == LSX_OK;
}

// The library's log lines (lsxSimLogLine), oldest first.
inline QStringList logLines()
{
    QStringList out;
    int32_t n = 0;
    lsxSimLogCount(&n);
    for (int32_t i = 0; i < n; ++i) {
        char text[2048];
        if (lsxSimLogLine(i, text, sizeof text) == LSX_OK) out << QString::fromUtf8(text);
    }
    return out;
}

// One software-triggered frame: the samples as doubles in 10-bit units (16-bit >> 6, 8-bit << 2
// is not applied: 8-bit samples stay as they are), row-major, channels interleaved.
struct Frame {
    lsxFrame info{};
    std::vector<double> v;
    int channels = 1;
    double at(int row, int col, int ch = 0) const { return v[(size_t(row) * info.width + col) * channels + ch]; }
};

inline lsxStatus grab(lsxHandle h, Frame& f, uint32_t timeoutMs = 3000, bool fire = true)
{
    if (fire) {
        const lsxStatus st = lsxTriggerFire(h);
        if (st != LSX_OK) return st;
    }
    void* buf = nullptr;
    const lsxStatus st = lsxGetFrame(h, &f.info, &buf, timeoutMs);
    if (st != LSX_OK) return st;
    const bool colour = f.info.format != FORMAT_MONO;
    f.channels = colour ? int(f.info.channels) : 1;
    const size_t n = size_t(f.info.width) * f.info.height * f.channels;
    f.v.resize(n);
    if (!colour && f.info.bits == LSX_BITS_16) {
        const auto* p = static_cast<const uint16_t*>(buf);
        for (size_t i = 0; i < n; ++i) f.v[i] = p[i] >> 6;
    } else {
        const auto* p = static_cast<const uint8_t*>(buf);
        for (size_t i = 0; i < n; ++i) f.v[i] = p[i];
    }
    return LSX_OK;
}

// Camera prepared for single frames: soft trigger, instant time, given formats, started.
inline void prepare(lsxHandle h, int source, int target, int height = 200)
{
    lsxSimSetTimeScale(handleName(h).c_str(), 0.0);
    lsxSetTriggerSource(h, 0);
    lsxSetTriggerState(h, true);
    lsxSetSourceFormat(h, source);
    lsxSetTargetFormat(h, target);
    lsxRegion r{};
    lsxGetRoi(h, &r);
    r.H = height;
    lsxSetRoi(h, &r);
    lsxStart(h);
}

// Column means of one channel over the rows row0, row0 + step, ...
inline std::vector<double> columnMeans(const Frame& f, int ch = 0, int row0 = 0, int step = 1)
{
    std::vector<double> m(size_t(f.info.width), 0.0);
    int rows = 0;
    for (int y = row0; y < f.info.height; y += step, ++rows)
        for (int x = 0; x < f.info.width; ++x) m[size_t(x)] += f.at(y, x, ch);
    for (double& d : m) d /= rows;
    return m;
}

inline double mean(const std::vector<double>& v)
{
    double s = 0;
    for (double d : v) s += d;
    return s / v.size();
}

inline double stddev(const std::vector<double>& v)
{
    const double m = mean(v);
    double s = 0;
    for (double d : v) s += (d - m) * (d - m);
    return std::sqrt(s / (v.size() - 1));
}

inline std::vector<float> truth(lsxHandle h, int kind, int plane = 0, int line = 0)
{
    std::vector<float> out(40000);
    int32_t n = int32_t(out.size());
    if (lsxSimGetTruth(handleName(h).c_str(), kind, plane, line, out.data(), &n) != LSX_OK) return {};
    out.resize(size_t(n));
    return out;
}

// The truth at a linear level (lsxSimGetTruthAt).
inline std::vector<float> truthAt(lsxHandle h, int kind, double level, int plane = 0, int line = 0)
{
    std::vector<float> out(40000);
    int32_t n = int32_t(out.size());
    if (lsxSimGetTruthAt(handleName(h).c_str(), kind, plane, line, level, out.data(), &n) != LSX_OK) return {};
    out.resize(size_t(n));
    return out;
}

// An FPN record: the 40-byte head, then float pairs K, B, in one block.
struct FpnRecord {
    std::vector<uint8_t> block;
    lsxFpnHeader* head() { return reinterpret_cast<lsxFpnHeader*>(block.data()); }
    float* pairs() { return reinterpret_cast<float*>(block.data() + 40); }
    FpnRecord(uint32_t columns, uint32_t lines, uint32_t type, uint8_t bits = LSX_BITS_16)
    {
        const size_t n = size_t(columns) * lines;
        block.assign(40 + n * 8, 0);
        lsxFpnHeader* h = head();
        h->columns = columns;
        h->lines = lines;
        h->bits = bits;
        h->level = 180;
        h->minK = 0.5f;
        h->maxK = 2.0f;
        h->type = type;
        h->dataSize = uint32_t(n * 8);
        h->data = block.data() + 40;
    }
    lsxStatus send(lsxHandle h)
    {
        uint32_t size = 40;
        return lsxSet(h, LSX_KEY_FPN, block.data(), &size);
    }
};

}  // namespace simtest

// The simulated camera's image stream: the camera's clock, the trigger, and drawing a frame from
// the per-column terms of the sensor model (simsensor.cpp), outside the camera's lock, its rows
// split across the processor's cores.
#include "simcamera_p.h"

#include "lsxsim.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <mutex>
#include <new>
#include <thread>

namespace lsxsim {

namespace {

// The standard normal distribution as 2^16 equally likely values (its quantiles at the middle
// of each 1/65536 of probability), scaled to variance 1. A pixel's noise is one of them, picked
// by 16 random bits: Gaussian statistics out to 4.3 sigma for the price of a table look-up.
constexpr int kGaussBits = 16;
constexpr uint64_t kGaussMask = (1u << kGaussBits) - 1;

double inverseNormal(double p)
{
    // Acklam's rational approximation, refined by one Halley step on erfc.
    static const double a[] = {-3.969683028665376e+01, 2.209460984245205e+02,  -2.759285104469687e+02,
                               1.383577518672690e+02,  -3.066479806614716e+01, 2.506628277459239e+00};
    static const double b[] = {-5.447609879822406e+01, 1.615858368580409e+02, -1.556989798598866e+02,
                               6.680131188771972e+01, -1.328068155288572e+01};
    static const double c[] = {-7.784894002430293e-03, -3.223964580411365e-01, -2.400758277161838e+00,
                               -2.549732539343734e+00, 4.374664141464968e+00,  2.938163982698783e+00};
    static const double d[] = {7.784695709041462e-03, 3.224671290700398e-01, 2.445134137142996e+00,
                               3.754408661907416e+00};
    const double low = 0.02425;
    double x;
    if (p < low || p > 1 - low) {
        const double q = std::sqrt(-2 * std::log(p < low ? p : 1 - p));
        x = (((((c[0] * q + c[1]) * q + c[2]) * q + c[3]) * q + c[4]) * q + c[5])
            / ((((d[0] * q + d[1]) * q + d[2]) * q + d[3]) * q + 1);
        if (p > 1 - low) x = -x;
    } else {
        const double q = p - 0.5, r = q * q;
        x = (((((a[0] * r + a[1]) * r + a[2]) * r + a[3]) * r + a[4]) * r + a[5]) * q
            / (((((b[0] * r + b[1]) * r + b[2]) * r + b[3]) * r + b[4]) * r + 1);
    }
    const double e = 0.5 * std::erfc(-x / std::sqrt(2.0)) - p;
    const double u = e * std::sqrt(6.283185307179586) * std::exp(x * x / 2);
    return x - u / (1 + x * u / 2);
}

const float* gaussTable()
{
    static float table[1 << kGaussBits];
    static std::once_flag once;
    std::call_once(once, [] {
        const int n = 1 << kGaussBits;
        double var = 0;
        for (int i = 0; i < n; ++i) {
            const double z = inverseNormal((i + 0.5) / n);
            table[i] = float(z);
            var += z * z;
        }
        const double scale = 1.0 / std::sqrt(var / n);
        for (int i = 0; i < n; ++i) table[i] = float(table[i] * scale);
    });
    return table;
}

// A fast generator (wyrand): 64 random bits a call, four noise samples.
struct Rng {
    uint64_t s;
    uint64_t next()
    {
        s += 0xA0761D6478BD642Full;
        const __uint128_t t = __uint128_t(s) * (s ^ 0xE7037ED1A0B428DBull);
        return uint64_t(t >> 64) ^ uint64_t(t);
    }
};

uint64_t mix(uint64_t z)
{
    z += 0x9E3779B97F4A7C15ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

// The ADC: a level in DN10 to its 10-bit code, rounded, clipped to 0..1023.
inline int16_t adc(float v)
{
    v = v < 0.0f ? 0.0f : v > 1023.0f ? 1023.0f : v;
    return int16_t(v + 0.5f);
}

// Mean of a box pattern of period 2*half over [a, a + 1): `lo` on even cells, `hi` on odd ones.
double boxAverage(double a, double half, double lo, double hi)
{
    const double b = a + 1.0;
    const double edge = std::floor(b / half) * half;
    auto at = [&](double v) { return (long long)std::floor(v / half) & 1 ? hi : lo; };
    if (edge <= a) return at(a);
    return at(a) * (edge - a) + at(b - 1e-9) * (b - edge);
}

std::chrono::steady_clock::time_point toTimePoint(double seconds)
{
    using namespace std::chrono;
    return steady_clock::time_point(duration_cast<steady_clock::duration>(duration<double>(seconds)));
}

// One row of one class, before the firmware's corrections: level plus noise through the ADC.
void drawRow(const float* mean, const float* sd, int W, bool noise, Rng& rng, int16_t* out)
{
    if (!noise) {
        for (int i = 0; i < W; ++i) out[i] = adc(mean[i]);
        return;
    }
    const float* g = gaussTable();
    int i = 0;
    for (; i + 4 <= W; i += 4) {
        const uint64_t r = rng.next();
        out[i] = adc(mean[i] + sd[i] * g[r & kGaussMask]);
        out[i + 1] = adc(mean[i + 1] + sd[i + 1] * g[(r >> 16) & kGaussMask]);
        out[i + 2] = adc(mean[i + 2] + sd[i + 2] * g[(r >> 32) & kGaussMask]);
        out[i + 3] = adc(mean[i + 3] + sd[i + 3] * g[r >> 48]);
    }
    for (; i < W; ++i) out[i] = adc(mean[i] + sd[i] * g[rng.next() & kGaussMask]);
}

// One row of the test pattern: bars across the line, stripes along the object, each colour line
// looking at the object where its offset and stretch put it.
void drawPatternRow(const Pipeline& p, int cls, double objLine, Rng& rng, int16_t* out)
{
    const PatternTerms& t = p.pat[size_t(cls)];
    const int plane = cls % p.planes;
    const double centre = p.sensorWidth / 2.0;
    const double along = boxAverage(objLine + p.lineOffset[plane], 64.0, 0.6, 1.0);
    const float* g = gaussTable();
    for (int i = 0; i < p.width; ++i) {
        const double px = (p.roiX + i) * double(p.binH) + (p.binH - 1) / 2.0;
        const double xs = centre + (px - centre) * (1.0 + p.stretch[plane]);
        const double pat = boxAverage(xs, 128.0, 0.35, 1.0) * along;
        const double c = t.coef[size_t(i)], qd = t.qd[size_t(i)];
        const double q = std::min(kFullWell, qd + pat * t.qp[size_t(i)]);
        double v = t.dark[size_t(i)] + t.gainSum * (q * (1 - c * q * q) - qd * (1 - c * qd * qd));
        if (p.noise) {
            const double slope = q >= kFullWell ? 0.0 : 1 - 3 * c * q * q;
            const double var = t.readVar[size_t(i)] + t.shotK[size_t(i)] * slope * slope * q;
            v += std::sqrt(var) * g[rng.next() & kGaussMask];
        }
        out[i] = adc(float(v));
    }
}

// The camera's own corrections on one row of raw codes: (raw - B) * K, K from the bands at the
// pixel's level when the FPN set has several. A band's level is its top: a pixel takes the K of
// the first band whose level is not below its own (8-bit scale), above the last band the last.
// `out(i, v)` takes each corrected level v, in DN10 before any rounding.
template <typename Out>
void correctRowWith(const Pipeline& p, int cls, const int16_t* raw, Out out)
{
    const size_t ci = size_t(cls);
    const float* b = p.corrB[ci].data();
    const size_t nb = p.bandLevels.size();
    for (int i = 0; i < p.width; ++i) {
        const size_t ii = size_t(i);
        const float d = float(raw[i]) - b[ii];
        float k;
        if (nb) {
            const float level = d * 0.25f;
            size_t n = 0;
            while (n < nb - 1 && level > p.bandLevels[n]) ++n;
            k = p.bandK[n][ci][ii];
        } else {
            k = p.corrM[ci][ii];
        }
        out(i, d * k);
    }
}

// The corrections at 10-bit resolution: the corrected level back to a 10-bit code, as the 8-bit
// output and the colour formats take it.
void correctRow(const Pipeline& p, int cls, int16_t* raw)
{
    correctRowWith(p, cls, raw, [raw](int i, float v) { raw[i] = adc(v); });
}

// The corrections of a 16-bit mono output, which work at its resolution as the FPN record gives
// B in 16-bit units: the corrected level rounded to the 16-bit sample, clipped to 0..65472, not
// cut back to whole DN10. (At 10-bit resolution a B with a fraction of a DN10 leaves each column
// rounded its own way, a fixed pattern of up to half a DN10 that no calibration could remove.)
void correctRow16(const Pipeline& p, int cls, const int16_t* raw, uint16_t* out)
{
    correctRowWith(p, cls, raw, [out](int i, float v) {
        const float s = v * 64.0f;
        out[i] = s <= 0.0f ? 0 : s >= 65472.0f ? 65472 : uint16_t(s + 0.5f);
    });
}

// Rows y0..y1 of a frame. Each row has its own generator, seeded from the frame's noise key and
// the row, so the frame is the same however the rows are shared out.
void drawRows(const Pipeline& p, uint8_t* buf, int bpp, int y0, int y1, uint64_t noiseKey, uint64_t firstLine)
{
    const int W = p.width;
    std::vector<int16_t> raw(size_t(W) * size_t(p.planes));
    // A corrected 16-bit mono row, at the output's resolution.
    const bool fine = p.correct && p.sixteen && p.planes == 1;
    std::vector<uint16_t> fineRow(fine ? size_t(W) : 0);
    for (int y = y0; y < y1; ++y) {
        Rng rng{mix(noiseKey ^ mix(uint64_t(y) + 1))};
        const int line = p.lineCount > 1 ? y % p.lineCount : 0;
        for (int pl = 0; pl < p.planes; ++pl) {
            const int cls = line * p.planes + pl;
            int16_t* r = raw.data() + size_t(pl) * W;
            if (p.pattern)
                drawPatternRow(p, cls, double(firstLine + uint64_t(y)), rng, r);
            else
                drawRow(p.mean[size_t(cls)].data(), p.sd[size_t(cls)].data(), W, p.noise, rng, r);
            if (p.sourceCoarse)
                for (int i = 0; i < W; ++i) r[i] = int16_t(r[i] & ~3);
            if (fine) {
                correctRow16(p, cls, r, fineRow.data());
                if (p.inverse)
                    for (int i = 0; i < W; ++i) fineRow[size_t(i)] = uint16_t(65472 - fineRow[size_t(i)]);
                continue;
            }
            if (p.correct) correctRow(p, cls, r);
            if (p.inverse)
                for (int i = 0; i < W; ++i) r[i] = int16_t(1023 - r[i]);
        }
        uint8_t* row = buf + size_t(y) * size_t(W) * size_t(bpp);
        if (p.planes == 3) {
            const bool rgb = p.format == FORMAT_RGB24 || p.format == FORMAT_RGB32;
            for (int i = 0; i < W; ++i) {
                int c[3];
                for (int pl = 0; pl < 3; ++pl) c[pl] = raw[size_t(pl) * W + size_t(i)] >> 2;
                if (p.mono) c[0] = c[1] = c[2] = (c[0] + c[1] + c[2]) / 3;
                uint8_t* px = row + size_t(p.flip ? W - 1 - i : i) * size_t(p.channels);
                px[0] = uint8_t(rgb ? c[2] : c[0]);
                px[1] = uint8_t(c[1]);
                px[2] = uint8_t(rgb ? c[0] : c[2]);
                if (p.channels == 4) px[3] = uint8_t((c[0] + c[1] + c[2]) / 3);
            }
        } else if (p.sixteen) {
            auto* out = reinterpret_cast<uint16_t*>(row);
            auto value = [&](int i) { return fine ? fineRow[size_t(i)] : uint16_t(raw[size_t(i)] << 6); };
            if (p.flip)
                for (int i = 0; i < W; ++i) out[W - 1 - i] = value(i);
            else
                for (int i = 0; i < W; ++i) out[i] = value(i);
        } else {
            for (int i = 0; i < W; ++i) row[p.flip ? W - 1 - i : i] = uint8_t(raw[size_t(i)] >> 2);
        }
    }
}

unsigned drawingThreads()
{
    static const unsigned n = std::clamp(std::thread::hardware_concurrency(), 1u, 8u);
    return n;
}

}  // namespace

void Camera::fillFrame(const Pipeline& p, std::vector<uint8_t>& buf, uint64_t noiseKey, uint64_t firstLine)
{
    const int W = p.width, H = p.height;
    const int bpp = p.planes == 3 ? p.channels : (p.sixteen ? 2 : 1);
    buf.resize(size_t(W) * size_t(H) * size_t(bpp));
    // Small frames on this thread; large ones in bands of rows, one per core.
    const size_t work = size_t(W) * size_t(H) * size_t(p.planes);
    const int parts = work < (size_t(1) << 18) ? 1 : int(std::min<unsigned>(drawingThreads(), unsigned(H)));
    // Whatever a band throws is said here, on the caller's thread, once every band is done.
    std::atomic<bool> failed{false};
    auto draw = [&](int y0, int y1) {
        try {
            drawRows(p, buf.data(), bpp, y0, y1, noiseKey, firstLine);
        } catch (...) {
            failed = true;
        }
    };
    std::vector<std::thread> helpers;
    int y = 0;
    for (int k = 1; k < parts; ++k) {
        const int y1 = int(int64_t(H) * k / parts);
        try {
            helpers.emplace_back(draw, y, y1);
        } catch (...) {
            draw(y, y1);  // no thread to be had: drawn here
        }
        y = y1;
    }
    draw(y, H);
    for (auto& t : helpers) t.join();
    if (failed) throw std::bad_alloc();
}

// ---- stream and trigger ----

lsxStatus Camera::start()
{
    Lock lock(m_mutex);
    if (m_started) return 2;  // already running: counts as success after lsxStart
    m_started = true;
    const double now = cameraNowLocked();
    m_readoutEnd = now + framePeriodUsLocked();
    m_busyUntil = now;
    m_triggers.clear();
    return LSX_OK;
}

lsxStatus Camera::stop()
{
    {
        Lock lock(m_mutex);
        m_started = false;
        m_triggers.clear();
        ++m_generation;
    }
    m_cv.notify_all();
    return LSX_OK;
}

lsxStatus Camera::getTriggerState(bool* on)
{
    return readSetting(on, m_s->trigger);
}

lsxStatus Camera::setTriggerState(bool on)
{
    {
        Lock lock(m_mutex);
        if (m_s->trigger != on) {
            m_s->trigger = on;
            m_triggers.clear();
            const double now = cameraNowLocked();
            m_readoutEnd = now + framePeriodUsLocked();
            m_busyUntil = now;
        }
    }
    m_cv.notify_all();
    return LSX_OK;
}

lsxStatus Camera::getTriggerSource(int32_t* src)
{
    return readSetting(src, m_s->trigSource);
}

lsxStatus Camera::setTriggerSource(int32_t src)
{
    if (src < 0 || src > 3) return LSX_ERR_OUT_OF_RANGE;  // 0 software, 1..3 the input lines
    Lock lock(m_mutex);
    m_s->trigSource = src;
    return LSX_OK;
}

lsxStatus Camera::triggerFire()
{
    {
        Lock lock(m_mutex);
        if (!m_started) return LSX_ERR_NOT_STARTED;
        if (!m_s->trigger || m_s->trigSource != 0) return -53;  // not in software trigger mode
        // The read-out starts now, or when the one under way ends.
        const double begin = std::max(cameraNowLocked(), m_busyUntil);
        m_busyUntil = begin + framePeriodUsLocked();
        m_triggers.push_back(Readout{m_busyUntil, ++m_readouts});
        ++m_fires;
    }
    m_cv.notify_all();
    return LSX_OK;
}

lsxStatus Camera::getFrame(lsxFrame* frame, void** buffer, uint32_t timeoutMs)
{
    if (!frame || !buffer) return LSX_ERR_INVALID_ARG;
    Lock lock(m_mutex);
    if (m_disconnected) return LSX_ERR_DISCONNECTED;
    if (!m_started) return LSX_ERR_NOT_STARTED;
    const uint64_t generation = m_generation;
    const double deadline = nowSeconds() + timeoutMs / 1000.0;
    auto interrupted = [&] { return m_generation != generation; };
    auto interruptedStatus = [&] { return m_disconnected ? LSX_ERR_DISCONNECTED : LSX_ERR_NOT_STARTED; };

    if (m_timeouts > 0) {
        --m_timeouts;
        const double until = nowSeconds() + timeoutMs / 1000.0 * m_s->timeScale;
        m_cv.wait_until(lock, toTimePoint(until), interrupted);
        return interrupted() ? interruptedStatus() : LSX_ERR_TIMEOUT;
    }
    const double never = std::numeric_limits<double>::infinity();
    Readout ready{0, 0};
    uint64_t skipped = 0;
    for (;;) {
        if (interrupted()) return interruptedStatus();
        const double now = cameraNowLocked();
        const bool instant = m_s->timeScale <= 0;  // read-outs take no time: the clock jumps
        double due = never;
        if (m_s->trigger) {
            if (!m_triggers.empty()) {
                due = m_triggers.front().end;
                if (due <= now || instant) {
                    ready = m_triggers.front();
                    m_triggers.erase(m_triggers.begin());
                    break;
                }
            }
        } else {
            due = m_readoutEnd;
            if (due <= now || instant) {
                // The host fell behind: the frames read out meanwhile were overwritten.
                const double period = framePeriodUsLocked();
                if (period > 0 && now > due + period) skipped = uint64_t((now - due) / period);
                ready.end = due + double(skipped) * period;
                m_readouts += skipped + 1;
                ready.id = m_readouts;
                m_readoutEnd = ready.end + period;
                break;
            }
        }
        const double wall = nowSeconds();
        if (wall >= deadline) return LSX_ERR_TIMEOUT;
        m_cv.wait_until(lock, toTimePoint(due == never ? deadline : std::min(deadline, wallTimeAtLocked(due))));
    }
    if (ready.end > m_clockUs && m_s->timeScale <= 0) {
        m_clockUs = ready.end;
        m_clockWall = nowSeconds();
    }

    std::shared_ptr<const Pipeline> pipe = pipelineLocked();
    ++m_frames;
    const uint64_t noiseKey = mix(m_noiseSeed ^ mix(++m_noiseFrames));
    m_linesOut += uint64_t(pipe->height) * skipped;
    const uint64_t firstLine = m_linesOut;
    m_linesOut += uint64_t(pipe->height);
    m_bufferIndex ^= 1;
    std::vector<uint8_t>& buf = m_buffers[size_t(m_bufferIndex)];
    if (m_disconnectAfter > 0 && --m_disconnectAfter == 0) {
        m_disconnected = true;  // this frame still arrives; the camera is gone after it
        m_started = false;
        ++m_generation;
        m_cv.notify_all();
    }
    lock.unlock();

    fillFrame(*pipe, buf, noiseKey, firstLine);
    std::memset(frame, 0, sizeof *frame);
    frame->format = uint32_t(pipe->format);
    frame->bits = (pipe->planes == 1 && pipe->sixteen) ? LSX_BITS_16 : LSX_BITS_8;
    frame->channels = uint32_t(pipe->planes == 3 ? pipe->channels : 1);
    frame->width = pipe->width;
    frame->height = pipe->height;
    frame->size = uint32_t(buf.size());
    frame->frameId = ready.id;
    frame->timestampUs = uint64_t(std::llround(ready.end));
    *buffer = buf.data();
    return LSX_OK;
}

}  // namespace lsxsim

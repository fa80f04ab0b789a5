// The simulated camera's image stream: the frame clock, the trigger, and drawing a frame from
// the sensor model. A frame is drawn from a Pipeline (per column terms computed once per
// settings change) with a fast generator for the noise, outside the camera's lock.
#include "simcamera_p.h"

#include "lsxsim.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <thread>

namespace lsxsim {

namespace {

// Standard normal samples, drawn once; a frame picks from them with a fast generator.
constexpr int kGaussBits = 16;
const float* gaussTable()
{
    static float table[1 << kGaussBits];
    static std::once_flag once;
    std::call_once(once, [] {
        uint64_t s = 0x9E3779B97F4A7C15ull;
        auto uniform = [&s] {
            s ^= s >> 12;
            s ^= s << 25;
            s ^= s >> 27;
            return (double((s * 0x2545F4914F6CDD1Dull) >> 11) + 0.5) / 9007199254740992.0;
        };
        for (int i = 0; i < (1 << kGaussBits); i += 2) {
            const double r = std::sqrt(-2.0 * std::log(uniform())), a = 6.283185307179586 * uniform();
            table[i] = float(r * std::cos(a));
            table[i + 1] = float(r * std::sin(a));
        }
    });
    return table;
}

struct Rng {
    uint64_t s;
    uint32_t next()
    {
        s ^= s >> 12;
        s ^= s << 25;
        s ^= s >> 27;
        return uint32_t((s * 0x2545F4914F6CDD1Dull) >> 32);
    }
};

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

}  // namespace

void Camera::buildTruthLocked(int cls, std::vector<float>& dark, std::vector<float>& sig, std::vector<float>& var)
{
    const Settings& s = *m_s;
    const int f = binFactorLocked(), W = s.roiW;
    const bool sum = userBinSumLocked();
    const std::string& mode = m_def.resModes[size_t(s.resMode)];
    const double vert = (mode == "USER" && s.binMode == 0) ? std::max(1, s.binV) : 1.0;
    const double g = s.gain;
    const float* d = &m_dark[size_t(cls) * m_def.width];
    const float* r = &m_resp[size_t(cls) * m_def.width];
    dark.assign(size_t(W), 0.0f);
    sig.assign(size_t(W), 0.0f);
    var.assign(size_t(W), 0.0f);
    const double readVar = (m_def.readNoise * g) * (m_def.readNoise * g) * (sum ? f : 1.0 / f) * vert;
    const int doff = doffsetLocked();
    for (int i = 0; i < W; ++i) {
        double ds = 0, ss = 0;
        for (int k = 0; k < f; ++k) {
            const int px = (s.roiX + i) * f + k;
            if (px >= m_def.width) break;
            ds += d[px];
            if (s.scene != LSX_SIM_SCENE_DARK) ss += r[px] * lightAt(px) * s.exposure;
        }
        if (!sum) {
            ds /= f;
            ss /= f;
        }
        dark[size_t(i)] = float(doff + g * ds * vert);
        sig[size_t(i)] = float(g * ss * vert);
        var[size_t(i)] = float(readVar + g * sig[size_t(i)] / m_def.ePerDn * (sum ? 1.0 : 1.0 / f));
    }
}

std::shared_ptr<const Pipeline> Camera::pipelineLocked()
{
    if (m_pipeline) return m_pipeline;
    auto p = std::make_shared<Pipeline>();
    const Settings& s = *m_s;
    p->width = s.roiW;
    p->height = s.roiH;
    p->planes = m_def.planes;
    p->lineCount = m_def.area ? m_def.areaHeight : m_def.lines;
    p->classes = m_def.lines * m_def.planes;
    p->area = m_def.area;
    if (m_def.planes == 3) {
        p->format = s.target;
        p->channels = (s.target == FORMAT_BGR32 || s.target == FORMAT_RGB32) ? 4 : 3;
    } else {
        p->format = FORMAT_MONO;
        p->sixteen = s.target == FORMAT_MONO16;
        p->sourceCoarse = s.source == 0;
    }
    auto isp = [&](const char* k) {
        auto it = s.isp.find(k);
        return it != s.isp.end() && it->second;
    };
    p->pattern = s.scene == LSX_SIM_SCENE_PATTERN;
    p->noise = s.noise;
    p->flip = isp("flip") != s.reverseX;
    p->inverse = isp("inverse");
    p->mono = isp("mono") && m_def.planes == 3;
    p->darkTerm.resize(size_t(p->classes));
    p->sigTerm.resize(size_t(p->classes));
    p->sd.resize(size_t(p->classes));
    for (int c = 0; c < p->classes; ++c) {
        std::vector<float> var;
        buildTruthLocked(c, p->darkTerm[size_t(c)], p->sigTerm[size_t(c)], var);
        p->sd[size_t(c)].resize(var.size());
        for (size_t i = 0; i < var.size(); ++i) p->sd[size_t(c)][i] = std::sqrt(var[i]);
    }
    const int f = binFactorLocked();
    const bool sum = userBinSumLocked();
    p->readVar = (m_def.readNoise * s.gain) * (m_def.readNoise * s.gain) * (sum ? f : 1.0 / f);
    p->shotGain = s.gain / m_def.ePerDn * (sum ? 1.0 : 1.0 / f);
    p->roiX = s.roiX;
    p->binH = f;
    p->sensorWidth = m_def.width;
    if (m_def.planes == 3) {
        // The colour lines look at object lines apart; the SCS settings take the distance back.
        const double dl = m_def.lineDistance - s.scsLine, dp = m_def.pixelMismatch - s.scsPixel;
        p->lineOffset[0] = dl;
        p->lineOffset[2] = -dl;
        p->stretch[0] = dp / (m_def.width / 2.0);
        p->stretch[2] = -dp / (m_def.width / 2.0);
    }
    buildCorrectionsLocked(*p);
    m_pipeline = p;
    return p;
}

void Camera::fillFrame(const Pipeline& p, std::vector<uint8_t>& buf, uint64_t frameNo, uint64_t firstLine)
{
    const int W = p.width, H = p.height;
    const int bpp = p.planes == 3 ? p.channels : (p.sixteen ? 2 : 1);
    buf.resize(size_t(W) * H * bpp);
    const float* gauss = gaussTable();
    Rng rng{(uint64_t(m_def.seed) << 32) ^ (frameNo * 0x9E3779B97F4A7C15ull) ^ 0xD1B54A32D192ED03ull};
    const bool bands = !p.bandLevels.empty();
    const size_t nb = p.bandLevels.size();
    const double centre = p.sensorWidth / 2.0;

    auto value = [&](int cls, int i, double objLine) -> int {
        const size_t ci = size_t(cls), ii = size_t(i);
        float mean, sd;
        if (p.pattern) {
            const int plane = cls % p.planes;
            const double px = (p.roiX + i) * double(p.binH) + (p.binH - 1) / 2.0;
            const double xs = centre + (px - centre) * (1.0 + p.stretch[plane]);
            const double pat =
                boxAverage(xs, 128.0, 0.35, 1.0) * boxAverage(objLine + p.lineOffset[plane], 64.0, 0.6, 1.0);
            const float sig = float(p.sigTerm[ci][ii] * pat);
            mean = p.darkTerm[ci][ii] + sig;
            sd = p.noise ? std::sqrt(float(p.readVar + p.shotGain * sig)) : 0.0f;
        } else {
            mean = p.darkTerm[ci][ii] + p.sigTerm[ci][ii];
            sd = p.noise ? p.sd[ci][ii] : 0.0f;
        }
        float v = mean;
        if (p.noise) v += sd * gauss[rng.next() >> (32 - kGaussBits)];
        int raw = int(std::lrint(v));
        raw = raw < 0 ? 0 : raw > 1023 ? 1023 : raw;
        if (p.sourceCoarse) raw &= ~3;
        if (!p.correct) return raw;
        const float b = p.corrB[ci][ii];
        const float d = float(raw) - b;
        float k;
        if (bands) {
            // Multi-level K: the band's K at the pixel's level, interpolated between bands.
            const float level = d * 0.25f;
            if (level <= p.bandLevels[0]) {
                k = p.bandK[0][ci][ii];
            } else if (level >= p.bandLevels[nb - 1]) {
                k = p.bandK[nb - 1][ci][ii];
            } else {
                size_t n = 1;
                while (n < nb - 1 && level > p.bandLevels[n]) ++n;
                const float t = (level - p.bandLevels[n - 1]) / (p.bandLevels[n] - p.bandLevels[n - 1]);
                k = p.bandK[n - 1][ci][ii] * (1 - t) + p.bandK[n][ci][ii] * t;
            }
        } else {
            k = p.corrM[ci][ii];
        }
        const int out = int(std::lrint(d * k));
        return out < 0 ? 0 : out > 1023 ? 1023 : out;
    };

    for (int y = 0; y < H; ++y) {
        const int line = p.lineCount > 1 ? y % p.lineCount : 0;
        const double objLine = double(firstLine + uint64_t(y));
        uint8_t* row = buf.data() + size_t(y) * W * bpp;
        for (int i = 0; i < W; ++i) {
            const int xo = p.flip ? W - 1 - i : i;
            if (p.planes == 3) {
                int c[3];
                for (int pl = 0; pl < 3; ++pl) {
                    int v = value(line * 3 + pl, i, objLine);
                    if (p.inverse) v = 1023 - v;
                    c[pl] = v >> 2;
                }
                if (p.mono) c[0] = c[1] = c[2] = (c[0] + c[1] + c[2]) / 3;
                uint8_t* px = row + size_t(xo) * p.channels;
                const bool rgb = p.format == FORMAT_RGB24 || p.format == FORMAT_RGB32;
                px[0] = uint8_t(rgb ? c[2] : c[0]);
                px[1] = uint8_t(c[1]);
                px[2] = uint8_t(rgb ? c[0] : c[2]);
                if (p.channels == 4) px[3] = uint8_t((c[0] + c[1] + c[2]) / 3);
            } else {
                int v = value(line, i, objLine);
                if (p.inverse) v = 1023 - v;
                if (p.sixteen) {
                    const uint16_t w = uint16_t(v << 6);
                    std::memcpy(row + size_t(xo) * 2, &w, 2);
                } else {
                    row[xo] = uint8_t(v >> 2);
                }
            }
        }
    }
}

// ---- stream and trigger ----

lsxStatus Camera::start()
{
    Lock lock(m_mutex);
    if (m_started) return 2;  // already running: counts as success after lsxStart
    m_started = true;
    m_nextFrameAt = nowSeconds() + framePeriodLocked();
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
            m_nextFrameAt = nowSeconds() + framePeriodLocked();
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
        m_triggers.push_back(nowSeconds() + framePeriodLocked());
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
    for (;;) {
        if (interrupted()) return interruptedStatus();
        const double now = nowSeconds();
        double wake;
        if (m_s->trigger) {
            if (!m_triggers.empty() && m_triggers.front() <= now) {
                m_triggers.erase(m_triggers.begin());
                break;
            }
            wake = m_triggers.empty() ? deadline : std::min(deadline, m_triggers.front());
        } else {
            if (m_nextFrameAt <= now) {
                const double period = framePeriodLocked();
                m_nextFrameAt += period;
                if (m_nextFrameAt < now) m_nextFrameAt = now + period;  // the host fell behind: frames dropped
                break;
            }
            wake = std::min(deadline, m_nextFrameAt);
        }
        if (now >= deadline) return LSX_ERR_TIMEOUT;
        m_cv.wait_until(lock, toTimePoint(wake));
    }

    std::shared_ptr<const Pipeline> pipe = pipelineLocked();
    const uint64_t frameNo = ++m_frames;
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

    fillFrame(*pipe, buf, frameNo, firstLine);
    std::memset(frame, 0, sizeof *frame);
    frame->format = uint32_t(pipe->format);
    frame->bits = (pipe->planes == 1 && pipe->sixteen) ? LSX_BITS_16 : LSX_BITS_8;
    frame->channels = uint32_t(pipe->planes == 3 ? pipe->channels : 1);
    frame->width = pipe->width;
    frame->height = pipe->height;
    frame->size = uint32_t(buf.size());
    frame->frameId = frameNo;
    frame->timestampUs = uint64_t(nowSeconds() * 1e6);
    *buffer = buf.data();
    return LSX_OK;
}

}  // namespace lsxsim

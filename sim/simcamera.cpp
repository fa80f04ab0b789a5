// The simulated camera: construction of its sensor, the session and the image properties.
#include "simcamera_p.h"

#include "lsxsim.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <random>

namespace lsxsim {

Camera::Camera(const CameraDefinition& def) : m_def(def), m_s(std::make_unique<Settings>())
{
    // The sensor's fixed pattern: seeded, so every run of every test sees the same camera.
    const int W = m_def.width, classes = m_def.lines * m_def.planes;
    const size_t n = size_t(W) * size_t(classes);
    m_dark.resize(n);
    m_resp.resize(n);
    m_darkCurrent.resize(n);
    m_nonLinear.resize(n);
    std::mt19937 rng(m_def.seed * 2654435761u + 17u);
    std::mt19937 rng2(m_def.seed * 2246822519u + 101u);  // dark current and roll-off
    std::normal_distribution<double> normal(0.0, 1.0);
    std::uniform_int_distribution<int> column(0, W - 1);
    std::uniform_real_distribution<double> unit(0.6, 1.0);
    for (int c = 0; c < classes; ++c) {
        const size_t at = size_t(c) * size_t(W);
        float* dark = &m_dark[at];
        float* resp = &m_resp[at];
        float* current = &m_darkCurrent[at];
        float* roll = &m_nonLinear[at];
        const double balance = m_def.planes == 3 ? m_def.planeBalance[size_t(c % 3)] : 1.0;
        for (int x = 0; x < W; ++x) {
            dark[x] = float(std::max(0.0, m_def.darkMean + m_def.dsnu * normal(rng)));
            resp[x] = float(balance * std::max(0.2, 1.0 + m_def.prnu * normal(rng)));
            current[x] = float(m_def.darkCurrent * std::max(0.0, 1.0 + m_def.darkCurrentSpread * normal(rng2)));
            // The shortfall at 80 % of full scale; bounded so that the response keeps rising up
            // to the full well.
            const double shortfall =
                std::clamp(m_def.nonLinearity + m_def.nonLinearitySpread * normal(rng2), -0.1, 0.13);
            roll[x] = float(shortfall / (kLevel80 * kLevel80));
        }
        // Hot columns are dark-current defects: they grow with the exposure, with their shot noise.
        for (int i = 0; i < m_def.hotColumns; ++i) current[column(rng)] += float(m_def.hotAmp * unit(rng));
        for (int i = 0; i < m_def.weakColumns; ++i) resp[column(rng)] *= float(m_def.weakFactor);
    }
    m_ffc.resize(kFfcSets);
    m_lscSets.resize(kLscSets);
    m_fpn["factory"] = FpnSet{};
    for (int i = 0; i < kFpnUserSets; ++i) m_fpn["UserSet" + std::to_string(i)] = FpnSet{};

    Settings& s = *m_s;
    s.exposure = m_def.exposure;
    s.lineRate = m_def.lineRate;
    s.roiW = m_def.width;
    s.roiH = m_def.area ? m_def.areaHeight : m_def.roiHeight;
    s.source = m_def.planes == 3 ? FORMAT_BGR24 : FORMAT_MONO;
    s.target = s.source;
    s.scene = m_def.scene;
    s.light = m_def.light;
    s.slope = m_def.slope;
    s.falloff = m_def.falloff;
    s.noise = m_def.noise;
    s.timeScale = m_def.timeScale;
    s.sw[1] = 0;
    s.sw[6] = LSX_SWITCH_BOTH;
    m_timeouts = std::max(0, m_def.frameTimeouts);
    m_disconnectAfter = m_def.disconnectAfterFrames;
    if (m_disconnectAfter == 0) m_disconnected = true;
}

Camera::~Camera() = default;

lsxCameraInfo Camera::info() const
{
    lsxCameraInfo i;
    std::memset(&i, 0, sizeof i);
    copyText(i.vendor, sizeof i.vendor, m_def.vendor);
    copyText(i.model, sizeof i.model, m_def.model);
    copyText(i.serialNumber, sizeof i.serialNumber, m_def.serial);
    copyText(i.version, sizeof i.version, m_def.version);
    copyText(i.friendlyName, sizeof i.friendlyName, m_def.friendlyName);
    copyText(i.sensor, sizeof i.sensor, m_def.sensorText);
    copyText(i.cameraType, sizeof i.cameraType, m_def.typeText);
    return i;
}

// ---- session ----

lsxStatus Camera::open(int mode)
{
    Lock lock(m_mutex);
    if (m_open) return LSX_ERR_ALREADY_OPEN;
    m_open = true;
    m_mode = mode;
    m_started = false;
    m_triggers.clear();
    m_frames = m_fires = m_readouts = 0;
    m_clockUs = m_readoutEnd = m_busyUntil = 0;
    m_clockWall = nowSeconds();
    // Each opening draws its own temporal noise, unless the configuration fixes the seed; the
    // count of openings is the process's, so a test program repeats itself run after run.
    static std::atomic<uint64_t> openings{0};
    m_noiseSeed = m_def.fixedNoiseSeed ? uint64_t(m_def.noiseSeed)
                                       : (uint64_t(m_def.seed) << 32) ^ (++openings * 0x9E3779B97F4A7C15ull);
    m_noiseFrames = 0;
    return LSX_OK;
}

lsxStatus Camera::close()
{
    {
        Lock lock(m_mutex);
        m_open = false;
        m_started = false;
        m_triggers.clear();
        ++m_generation;
    }
    m_cv.notify_all();
    return LSX_OK;
}

bool Camera::isOpen() const
{
    Lock lock(m_mutex);
    return m_open;
}

void Camera::setDisconnected(bool on)
{
    {
        Lock lock(m_mutex);
        m_disconnected = on;
        if (on) {
            m_started = false;
            ++m_generation;
        } else {
            m_disconnectAfter = -1;
        }
    }
    m_cv.notify_all();
}

lsxStatus Camera::sensorInfo(lsxSensorInfo* out)
{
    if (!out) return LSX_ERR_INVALID_ARG;
    Lock lock(m_mutex);
    std::memset(out, 0, sizeof *out);
    copyText(out->name, sizeof out->name, m_def.sensorText);
    out->pixelSizeNm = 7000;
    out->lineCount = uint32_t(m_def.area ? m_def.areaHeight : m_def.lines * m_def.planes);
    out->bitDepth = 10;
    out->maxWidth = outWidthLocked();
    out->maxHeight = maxHeightLocked();
    return LSX_OK;
}

// ---- geometry helpers (under the lock) ----

int Camera::binFactorLocked() const
{
    const std::string& m = m_def.resModes[size_t(m_s->resMode)];
    if (m == "SUM2" || m == "BIN2") return 2;
    if (m == "SUM4" || m == "BIN4") return 4;
    if (m == "USER") return std::max(1, m_s->binH);
    return 1;
}

bool Camera::userBinSumLocked() const
{
    const std::string& m = m_def.resModes[size_t(m_s->resMode)];
    if (m.rfind("SUM", 0) == 0) return true;
    if (m == "USER") return m_s->binMode == 0;
    return false;
}

int Camera::verticalBinLocked() const
{
    return m_def.resModes[size_t(m_s->resMode)] == "USER" ? std::max(1, m_s->binV) : 1;
}

int Camera::outWidthLocked() const
{
    return m_def.width / binFactorLocked();
}

int Camera::maxHeightLocked() const
{
    return m_def.area ? m_def.areaHeight : 16384;
}

bool Camera::roiFitsLocked(int x, int w, int h) const
{
    const int maxW = outWidthLocked();
    const int minW = std::min(64, maxW);
    return x >= 0 && x % 2 == 0 && w >= minW && w % 8 == 0 && int64_t(x) + w <= maxW && h >= 1
           && h <= maxHeightLocked();
}

int Camera::doffsetLocked() const
{
    if (m_def.blackLevelReg) {
        const int b = int(m_s->blackReg & 0xFF);
        return b > 128 ? b - 256 : b;
    }
    const int mag = int(m_s->reg83 & 0xFF);
    return m_s->reg84 == 8 ? -mag : mag;
}

// A line takes the line period of "LineRate", or the exposure when that is longer: the camera's
// line rate is limited by its exposure. A frame is its rows' lines (two sensor lines per row under
// vertical binning by 2); the area sensor reads out its rows after one exposure.
double Camera::linePeriodUsLocked() const
{
    const double rate = 1e6 / m_s->lineRate;
    return m_def.area ? rate : std::max(rate, m_s->exposure);
}

double Camera::framePeriodUsLocked() const
{
    const double lines = double(m_s->roiH) * verticalBinLocked();
    if (m_def.area) return std::max(lines * linePeriodUsLocked(), m_s->exposure);
    return lines * linePeriodUsLocked();
}

double Camera::cameraNowLocked() const
{
    if (m_s->timeScale <= 0) return m_clockUs;
    return m_clockUs + (nowSeconds() - m_clockWall) * 1e6 / m_s->timeScale;
}

double Camera::wallTimeAtLocked(double cameraUs) const
{
    return m_clockWall + (cameraUs - m_clockUs) * 1e-6 * m_s->timeScale;
}

void Camera::setTimeScaleLocked(double s)
{
    m_clockUs = cameraNowLocked();
    m_clockWall = nowSeconds();
    m_s->timeScale = s;
}

// ---- image properties ----

lsxStatus Camera::getRoi(lsxRegion* r)
{
    if (!r) return LSX_ERR_INVALID_ARG;
    Lock lock(m_mutex);
    r->X = m_s->roiX;
    r->Y = 0;
    r->W = m_s->roiW;
    r->H = m_s->roiH;
    return LSX_OK;
}

lsxStatus Camera::setRoi(const lsxRegion* r)
{
    if (!r) return LSX_ERR_INVALID_ARG;
    Lock lock(m_mutex);
    if (r->Y != 0 || !roiFitsLocked(r->X, r->W, r->H)) return LSX_ERR_OUT_OF_RANGE;
    m_s->roiX = r->X;
    m_s->roiW = r->W;
    m_s->roiH = r->H;
    invalidateLocked();
    return LSX_OK;
}

lsxStatus Camera::getRoiDescr(lsxRegionDescr* d)
{
    if (!d) return LSX_ERR_INVALID_ARG;
    Lock lock(m_mutex);
    std::memset(d, 0, sizeof *d);
    d->maxWidth = outWidthLocked();
    d->minWidth = std::min(64, d->maxWidth);
    d->minHeight = 1;
    d->maxHeight = maxHeightLocked();
    d->widthStep = 8;
    d->heightStep = 1;
    d->xStep = 2;
    return LSX_OK;
}

lsxStatus Camera::getRoiState(bool* on)
{
    if (!on) return LSX_ERR_INVALID_ARG;
    *on = m_def.roiState;
    return LSX_OK;
}

lsxStatus Camera::getExposure(double* us)
{
    return readSetting(us, m_s->exposure);
}

lsxStatus Camera::setExposure(double us)
{
    if (!std::isfinite(us)) return LSX_ERR_INVALID_ARG;
    if (us < 2.0 || us > 20000.0) return LSX_ERR_OUT_OF_RANGE;
    Lock lock(m_mutex);
    m_s->exposure = us;
    invalidateLocked();
    return LSX_OK;
}

lsxStatus Camera::getExposureDescr(lsxDoubleDescr* d)
{
    if (!d) return LSX_ERR_INVALID_ARG;
    d->step = 0.1;
    d->min = 2.0;
    d->max = 20000.0;
    return LSX_OK;
}

lsxStatus Camera::getGain(float* g)
{
    return readSetting(g, m_s->gain);
}

lsxStatus Camera::setGain(float g)
{
    if (!std::isfinite(g)) return LSX_ERR_INVALID_ARG;
    if (g < 1.0f || g > 8.0f) return LSX_ERR_OUT_OF_RANGE;
    Lock lock(m_mutex);
    m_s->gain = g;
    invalidateLocked();
    return LSX_OK;
}

lsxStatus Camera::getGainDescr(lsxFloatDescr* d)
{
    if (!d) return LSX_ERR_INVALID_ARG;
    d->step = 0.1f;
    d->min = 1.0f;
    d->max = 8.0f;
    return LSX_OK;
}

lsxStatus Camera::setRgbGain(float r, float g, float b)
{
    if (!std::isfinite(r) || !std::isfinite(g) || !std::isfinite(b)) return LSX_ERR_INVALID_ARG;
    if (r < 0 || g < 0 || b < 0 || r > 8 || g > 8 || b > 8) return LSX_ERR_OUT_OF_RANGE;
    Lock lock(m_mutex);
    m_s->rgb[0] = r;
    m_s->rgb[1] = g;
    m_s->rgb[2] = b;
    invalidateLocked();
    return LSX_OK;
}

namespace {
bool monoSource(int f)
{
    return f == 0 || f == 2;
}
bool monoTarget(int f)
{
    return f == 0 || f == 30 || f == 34;
}
bool colourFormat(int f)
{
    return f == 10 || f == 11 || f == 14 || f == 15;
}
}  // namespace

lsxStatus Camera::getSourceFormat(int32_t* f)
{
    return readSetting(f, m_s->source);
}

lsxStatus Camera::setSourceFormat(int32_t f)
{
    if (m_def.planes == 3 ? !colourFormat(f) : !monoSource(f)) return LSX_ERR_NOT_SUPPORTED;
    Lock lock(m_mutex);
    m_s->source = f;
    invalidateLocked();
    return LSX_OK;
}

lsxStatus Camera::getTargetFormat(int32_t* f)
{
    return readSetting(f, m_s->target);
}

lsxStatus Camera::setTargetFormat(int32_t f)
{
    if (m_def.planes == 3 ? !colourFormat(f) : !monoTarget(f)) return LSX_ERR_NOT_SUPPORTED;
    Lock lock(m_mutex);
    m_s->target = f;
    invalidateLocked();
    return LSX_OK;
}

lsxStatus Camera::getResMode(int32_t* i)
{
    return readSetting(i, m_s->resMode);
}

lsxStatus Camera::setResMode(int32_t i)
{
    if (i < 0 || i >= int(m_def.resModes.size())) return LSX_ERR_OUT_OF_RANGE;
    Lock lock(m_mutex);
    if (m_s->resMode != i) {
        // A new resolution starts from the full line of that resolution.
        m_s->resMode = i;
        m_s->roiX = 0;
        m_s->roiW = outWidthLocked();
    }
    invalidateLocked();
    return LSX_OK;
}

lsxStatus Camera::getResModeDescr(lsxSelectionDescr* d)
{
    if (!d) return LSX_ERR_INVALID_ARG;
    d->defaultIndex = 0;
    d->count = int32_t(m_def.resModes.size());
    return LSX_OK;
}

lsxStatus Camera::getResModeDetail(int32_t i, lsxSelectionDetail* d)
{
    if (!d) return LSX_ERR_INVALID_ARG;
    if (i < 0 || i >= int(m_def.resModes.size())) return LSX_ERR_OUT_OF_RANGE;
    std::memset(d, 0, sizeof *d);
    copyText(d->text, sizeof d->text, m_def.resModes[size_t(i)]);
    d->index = i;
    return LSX_OK;
}

lsxStatus Camera::setIspSwitch(const char* which, bool on)
{
    Lock lock(m_mutex);
    m_s->isp[which] = on;
    invalidateLocked();
    return LSX_OK;
}

lsxStatus Camera::setBayerDecode(int32_t i)
{
    if (i < 0 || i > 3) return LSX_ERR_OUT_OF_RANGE;
    Lock lock(m_mutex);
    m_s->bayer = i;
    return LSX_OK;
}

namespace {
const char* const kColourSolutions[] = {"Standard", "D65", "UserDefined"};
}

lsxStatus Camera::getColorSolutionDetail(int32_t i, lsxSelectionDetail* d)
{
    if (!d) return LSX_ERR_INVALID_ARG;
    if (m_def.planes != 3) return LSX_ERR_NOT_SUPPORTED;
    if (i < 0 || i >= 3) return LSX_ERR_OUT_OF_RANGE;
    std::memset(d, 0, sizeof *d);
    copyText(d->text, sizeof d->text, kColourSolutions[i]);
    d->index = i;
    return LSX_OK;
}

lsxStatus Camera::setColorSolution(int32_t i)
{
    if (m_def.planes != 3) return LSX_ERR_NOT_SUPPORTED;
    if (i < 0 || i >= 3) return LSX_ERR_OUT_OF_RANGE;
    Lock lock(m_mutex);
    m_s->colorSolution = i;
    return LSX_OK;
}

lsxStatus Camera::setColorMatrix(const lsxColorMatrix* m)
{
    if (!m) return LSX_ERR_INVALID_ARG;
    if (m_def.planes != 3) return LSX_ERR_NOT_SUPPORTED;
    Lock lock(m_mutex);
    std::memcpy(m_s->ccm, m->m, sizeof m_s->ccm);
    return LSX_OK;
}

lsxStatus Camera::setBoolValue(const char* name, bool v)
{
    if (!name || !*name) return LSX_ERR_INVALID_ARG;
    Lock lock(m_mutex);
    m_s->bools[name] = v;
    return LSX_OK;
}

// ---- test extensions ----

void Camera::setScene(int kind, double level, double slope, double falloff)
{
    Lock lock(m_mutex);
    m_s->scene = std::clamp(kind, 0, 2);
    if (level > 0) m_s->light = level;
    if (slope >= 0) m_s->slope = slope;
    if (falloff >= 0) m_s->falloff = std::min(falloff, 0.95);
    invalidateLocked();
}

void Camera::scene(int32_t* kind, double* level, double* slope, double* falloff) const
{
    Lock lock(m_mutex);
    *kind = m_s->scene;
    *level = m_s->light;
    *slope = m_s->slope;
    *falloff = m_s->falloff;
}

void Camera::setNoise(bool on)
{
    Lock lock(m_mutex);
    m_s->noise = on;
    invalidateLocked();
}

void Camera::setTimeScale(double s)
{
    {
        Lock lock(m_mutex);
        setTimeScaleLocked(std::max(0.0, s));
    }
    m_cv.notify_all();
}

void Camera::setNonLinearity(bool on)
{
    Lock lock(m_mutex);
    m_s->nonLinear = on;
    invalidateLocked();
}

void Camera::setNoiseSeed(uint32_t seed)
{
    Lock lock(m_mutex);
    m_noiseSeed = seed;
    m_noiseFrames = 0;
}

void Camera::frameTimeouts(int n)
{
    Lock lock(m_mutex);
    m_timeouts = std::max(0, n);
}

void Camera::disconnectAfterFrames(int n)
{
    if (n == 0) {
        setDisconnected(true);
        return;
    }
    Lock lock(m_mutex);
    m_disconnectAfter = n < 0 ? -1 : n;
}

void Camera::counters(uint64_t* frames, uint64_t* triggers)
{
    Lock lock(m_mutex);
    if (frames) *frames = m_frames;
    if (triggers) *triggers = m_fires;
}

lsxStatus Camera::truth(int kind, int plane, int line, double level, float* out, int32_t* count)
{
    if (!out || !count || *count < 0) return LSX_ERR_INVALID_ARG;
    if (plane < 0 || plane >= m_def.planes || line < 0 || line >= m_def.lines) return LSX_ERR_OUT_OF_RANGE;
    if (kind < LSX_SIM_TRUE_DARK || kind > LSX_SIM_TRUE_DARK_CURRENT) return LSX_ERR_INVALID_ARG;
    if (level >= 0 && kind != LSX_SIM_TRUE_SIGNAL && kind != LSX_SIM_TRUE_NOISE) return LSX_ERR_INVALID_ARG;
    Lock lock(m_mutex);
    const int cls = line * m_def.planes + plane;
    const int n = std::min(*count, int32_t(m_s->roiW));
    const int f = binFactorLocked();
    const float* current = &m_darkCurrent[size_t(cls) * size_t(m_def.width)];
    for (int i = 0; i < n; ++i) {
        const int px = (m_s->roiX + i) * f;
        switch (kind) {
        case LSX_SIM_TRUE_RESPONSE: out[i] = m_resp[size_t(cls) * m_def.width + size_t(px)]; break;
        case LSX_SIM_TRUE_LIGHT: out[i] = float(lightAt(px + (f - 1) / 2.0)); break;
        case LSX_SIM_TRUE_DARK_CURRENT: {
            double acc = 0;
            for (int k = 0; k < f && px + k < m_def.width; ++k) acc += current[px + k];
            out[i] = float(acc / f);
            break;
        }
        default: {
            const PixelTruth t = pixelTruthLocked(cls, i, level);
            out[i] = float(kind == LSX_SIM_TRUE_DARK     ? t.dark
                           : kind == LSX_SIM_TRUE_SIGNAL ? t.signal
                                                         : std::sqrt(t.var));
        }
        }
    }
    *count = n;
    return LSX_OK;
}

}  // namespace lsxsim

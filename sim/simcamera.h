#pragma once
// One simulated camera: its fixed description (CameraDefinition), its settings, the correction data
// its firmware holds, and the frame stream. All state is guarded by one mutex per camera;
// lsxGetFrame never holds it while it waits or while it draws the frame.

#include "lsx.h"

#include <QByteArray>

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace lsxsim {

// What a camera is: fixed at build-in or by LSX_SIM_CONFIG, not changed by the program.
struct CameraDefinition {
    std::string friendlyName, model, vendor = "Telorine Simulation", serial, version = "1.0.0";
    std::string sensorText, typeText = "LineScan";
    int width = 4096;   // physical sensor columns
    int lines = 1;      // sensor lines with their own data, interleaved row by row
    int planes = 1;     // 3 for the trilinear colour sensor
    bool area = false;  // one sensor readout (areaHeight rows) per frame
    int areaHeight = 8;
    bool blackLevelReg = true;               // DOffset by GVR_SEN_BLACK_LEVEL, else key 129 registers 83/84
    std::map<uint32_t, uint32_t> registers;  // fixed register values (GVR_MULTI_FPN_SELECT, ...)
    std::array<uint8_t, 128> factory{};      // record of key 136
    std::vector<std::string> resModes{"Full"};
    bool binningEnums = false;
    bool roiState = true;
    // sensor model, DN10 at gain 1 unless said otherwise
    double darkMean = 6.0, dsnu = 1.0;  // dark offset and its column spread
    double darkCurrent = 0.5;           // DN10 per millisecond of exposure, mean over columns
    double darkCurrentSpread = 0.1;     // relative column spread of the dark current
    double hotAmp = 300.0;              // a hot column's extra dark current, DN10 per ms (x 0.6..1)
    int hotColumns = 4;
    double prnu = 0.02, weakFactor = 0.7;
    int weakColumns = 3;
    std::array<double, 3> planeBalance{0.85, 1.0, 0.92};  // B, G, R
    double nonLinearity = 0.01;                           // mean shortfall of the response at 80 % of full scale
    double nonLinearitySpread = 0.004;                    // its column spread (standard deviation)
    double readNoise = 0.7, ePerDn = 20.0;
    double postGainNoise = 0.3;   // share of the read-noise variance at gain 1 after the amplifier
    double postGainOffset = 0.2;  // share of the dark offset added after the amplifier
    bool noise = true;
    bool fixedNoiseSeed = false;  // every opening starts the same noise (noiseSeed)
    uint32_t noiseSeed = 0;
    int scene = 1;       // LSX_SIM_SCENE_xxx
    double light = 5.0;  // DN10 per microsecond at gain 1, line centre
    double slope = 0.1, falloff = 0.25;
    double lineDistance = 2.0, pixelMismatch = 1.5;  // colour lines: offset the SCS keys correct
    double timeScale = 1.0;
    uint32_t seed = 1;
    double exposure = 100.0, lineRate = 20000.0;
    int roiHeight = 1000;
    int frameTimeouts = 0;           // the first n lsxGetFrame calls time out
    int disconnectAfterFrames = -1;  // the camera is gone after n frames (-1 never)
};

// A fault from the configuration file: `op` answers `status` after `after` calls, `times` times.
struct FaultPlan {
    std::string op;
    int after = 0;
    int status = LSX_ERR_UNKNOWN;
    int times = 0;
};

std::vector<CameraDefinition> builtinCameras();

// A line of the library's log (lsxSimLogLine), also on stderr unless LSX_SIM_QUIET is set.
void simLog(const std::string& text);

// The folder of the cameras' non-volatile memory (simnvram.cpp), and its clearing by lsxSimReset.
std::string stateFolder();
void clearStateFolder();

// Applies a configuration (the JSON text of LSX_SIM_CONFIG, named `source` in the messages) to
// the list and gives its faults. Every field is checked against its type and range; a camera
// with a bad field is not built (dropped from the list), a bad fault is not injected, and a text
// that is no JSON object leaves no camera at all. Each refusal is one line in `messages`.
void applyConfig(const QByteArray& text, const std::string& source, std::vector<CameraDefinition>& cameras,
                 std::vector<FaultPlan>& faults, std::vector<std::string>& messages);
// The same for the file named by LSX_SIM_CONFIG, if set; a file that cannot be read leaves no
// camera.
void applyConfigFile(std::vector<CameraDefinition>& cameras, std::vector<FaultPlan>& faults,
                     std::vector<std::string>& messages);

// A flat-field set of the camera (record type 4), K in fixed point 2^-14.
struct FfcSet {
    bool written = false;
    int channels = 0;                      // planes, or sensor lines on a multi-line camera
    std::vector<std::vector<uint16_t>> k;  // [channel][column], channels in B, G, R order
    int domain = 0;                        // 0 physical columns, 1 output columns, 2 ROI columns
    int roiX = 0;
};

// An FPN set: rows of (K, B), B in DN10, over output columns from column 0.
struct FpnSet {
    bool written = false;
    bool perLine = false;  // rows are sensor lines (multi-line, area) rather than planes
    int rowsPerGain = 1;
    int gains = 1;
    std::vector<std::vector<float>> k, b;                // [row][column]
    std::vector<float> bandLevels;                       // multi-level K, 8-bit levels, ascending
    std::vector<std::vector<std::vector<float>>> bandK;  // [band][row][column]
    int doffset = 0;
};

// One output pixel's terms under the pattern scene, where its light changes from pixel to pixel:
// the pixel's level is dark + gain * (f(qd + pattern * qp) - f(qd)) with f the column's response.
struct PatternTerms {
    std::vector<float> dark, qd, qp, coef;  // DN10; charges in DN10 at gain 1; f(q) = q (1 - coef q^2)
    std::vector<float> readVar, shotK;      // variance = readVar + shotK * f'(q)^2 * q
    float gainSum = 1;                      // gain times the number of pixels summed
};

// Per output class (sensor line x plane), per ROI column: what one frame is drawn from.
struct Pipeline {
    int width = 0, height = 0, planes = 1, classes = 1, lineCount = 1;
    bool area = false, sixteen = false, sourceCoarse = false;
    int format = FORMAT_MONO, channels = 1;
    bool pattern = false, noise = true, flip = false, inverse = false, mono = false;
    std::vector<std::vector<float>> mean, sd;      // [class][x]: noise-free level and temporal sd, DN10
    std::vector<PatternTerms> pat;                 // [class], pattern scene only
    bool correct = false;                          // any firmware correction
    std::vector<std::vector<float>> corrB, corrM;  // [class][x], DN10 and factor
    std::vector<float> bandLevels;
    std::vector<std::vector<std::vector<float>>> bandK;  // [band][class][x] incl. FFC/LSC
    // pattern geometry
    int roiX = 0, binH = 1, sensorWidth = 0;
    double lineOffset[3] = {0, 0, 0}, stretch[3] = {0, 0, 0};
};

// What one output pixel is, noise-free, at the current settings (after binning).
struct PixelTruth {
    double dark = 0, signal = 0, var = 0;  // DN10: dark level, signal above it, temporal variance
    double qd = 0, qp = 0, coef = 0;       // per sensor pixel, averaged over the binned ones
    double readVar = 0, shotK = 0, gainSum = 1;
};

class Camera {
public:
    explicit Camera(const CameraDefinition& def);
    ~Camera();

    const CameraDefinition& definition() const { return m_def; }
    lsxCameraInfo info() const;

    // session
    lsxStatus open(int mode);
    lsxStatus close();
    bool isOpen() const;
    bool disconnected() const { return m_disconnected.load(); }
    void setDisconnected(bool on);
    lsxStatus sensorInfo(lsxSensorInfo* out);
    lsxStatus saveConfig(const char* path);
    lsxStatus loadConfig(const char* path);

    // stream
    lsxStatus start();
    lsxStatus stop();
    lsxStatus getFrame(lsxFrame* frame, void** buffer, uint32_t timeoutMs);
    lsxStatus getTriggerState(bool* on);
    lsxStatus setTriggerState(bool on);
    lsxStatus getTriggerSource(int32_t* s);
    lsxStatus setTriggerSource(int32_t s);
    lsxStatus triggerFire();

    // image properties
    lsxStatus getRoi(lsxRegion* r);
    lsxStatus setRoi(const lsxRegion* r);
    lsxStatus getRoiDescr(lsxRegionDescr* d);
    lsxStatus getRoiState(bool* on);
    lsxStatus getExposure(double* us);
    lsxStatus setExposure(double us);
    lsxStatus getExposureDescr(lsxDoubleDescr* d);
    lsxStatus getGain(float* g);
    lsxStatus setGain(float g);
    lsxStatus getGainDescr(lsxFloatDescr* d);
    lsxStatus setRgbGain(float r, float g, float b);
    lsxStatus getSourceFormat(int32_t* f);
    lsxStatus setSourceFormat(int32_t f);
    lsxStatus getTargetFormat(int32_t* f);
    lsxStatus setTargetFormat(int32_t f);
    lsxStatus getResMode(int32_t* i);
    lsxStatus setResMode(int32_t i);
    lsxStatus getResModeDescr(lsxSelectionDescr* d);
    lsxStatus getResModeDetail(int32_t i, lsxSelectionDetail* d);
    lsxStatus setIspSwitch(const char* which, bool on);
    lsxStatus setBayerDecode(int32_t i);
    lsxStatus getColorSolutionDetail(int32_t i, lsxSelectionDetail* d);
    lsxStatus setColorSolution(int32_t i);
    lsxStatus setColorMatrix(const lsxColorMatrix* m);
    lsxStatus setBoolValue(const char* name, bool v);

    // named values
    lsxStatus getEnumValue(const char* name, int64_t* current, int64_t* values, int32_t* count);
    lsxStatus getEnumName(const char* name, int32_t index, char* text, uint32_t size);
    lsxStatus setEnumByString(const char* name, const char* value);
    lsxStatus getConfigString(const char* key, char* value, uint32_t size);
    lsxStatus setConfigString(const char* key, const char* value);
    lsxStatus getSelectionDescr(const char* key, lsxSelectionDescr* d);
    lsxStatus getSelectionDetail(const char* key, int32_t i, lsxSelectionDetail* d);

    // raw access
    lsxStatus get(uint32_t key, void* payload, uint32_t* size);
    lsxStatus set(uint32_t key, void* payload, uint32_t* size);
    lsxStatus readReg(uint32_t reg, uint32_t* v);
    lsxStatus writeReg(uint32_t reg, uint32_t v);
    lsxStatus readMem(uint64_t addr, void* buf, uint32_t size);
    lsxStatus writeMem(uint64_t addr, const void* buf, uint32_t size);

    // test extensions
    void setScene(int kind, double level, double slope, double falloff);
    void scene(int32_t* kind, double* level, double* slope, double* falloff) const;
    void setNoise(bool on);
    void setTimeScale(double s);
    void frameTimeouts(int n);
    void disconnectAfterFrames(int n);
    void setNonLinearity(bool on);
    void setNoiseSeed(uint32_t seed);
    // `level` < 0: at the current scene; else at that linear signal (DN10 at the current gain).
    lsxStatus truth(int kind, int plane, int line, double level, float* out, int32_t* count);
    void counters(uint64_t* frames, uint64_t* triggers);

    // The non-volatile memory from the state folder (simnvram.cpp), taken once at construction.
    void loadNv();

private:
    struct Settings;  // simcamera.cpp
    using Lock = std::unique_lock<std::mutex>;
    // A getter's answer: the setting read under the camera's lock into the caller's variable.
    template <typename T, typename U>
    lsxStatus readSetting(T* out, const U& setting) const
    {
        if (!out) return LSX_ERR_INVALID_ARG;
        Lock lock(m_mutex);
        *out = setting;
        return LSX_OK;
    }

    int binFactorLocked() const;
    int outWidthLocked() const;
    int maxHeightLocked() const;
    bool roiFitsLocked(int x, int w, int h) const;  // the ROI's limits and steps
    bool userBinSumLocked() const;
    int verticalBinLocked() const;
    int doffsetLocked() const;
    // The camera's clock, in microseconds since the camera was opened.
    double linePeriodUsLocked() const;
    double framePeriodUsLocked() const;
    double cameraNowLocked() const;
    double wallTimeAtLocked(double cameraUs) const;
    void setTimeScaleLocked(double s);
    void invalidateLocked() { m_pipeline.reset(); }
    std::shared_ptr<const Pipeline> pipelineLocked();
    PixelTruth pixelTruthLocked(int cls, int i, double level) const;
    double lightAt(double x) const;
    void fillFrame(const Pipeline& p, std::vector<uint8_t>& buf, uint64_t noiseKey, uint64_t firstLine);
    // firmware
    lsxStatus setFpnRecord(const lsxFpnHeader* h, uint32_t* size);
    lsxStatus getFpnRecord(void* payload, uint32_t* size);
    lsxStatus setFfcRecord(const lsxFpnHeader* h);
    void buildCorrectionsLocked(Pipeline& p);
    bool lscBlockValid(const std::vector<uint8_t>& block, lsxStatus* why) const;
    std::vector<std::string> selectionLocked(const std::string& key) const;
    std::string& selectionValueLocked(const std::string& key);
    // The non-volatile memory as its file holds it, and the file rewritten when it changed.
    std::string nvPath() const;
    std::string nvTextLocked() const;
    void saveNvLocked();

    CameraDefinition m_def;
    // [(line*planes+plane)*width + x]: dark offset, response, dark current, response's roll-off
    std::vector<float> m_dark, m_resp, m_darkCurrent, m_nonLinear;

    mutable std::mutex m_mutex;
    std::condition_variable m_cv;
    std::unique_ptr<Settings> m_s;
    std::shared_ptr<const Pipeline> m_pipeline;
    std::atomic<bool> m_disconnected{false};

    // firmware data, kept across open/close and not in the configuration file
    std::map<std::string, FpnSet> m_fpn;
    std::vector<FfcSet> m_ffc;
    FfcSet m_ffcPending;
    std::vector<std::vector<uint8_t>> m_lscSets;
    std::vector<uint8_t> m_lscMem;
    std::vector<uint8_t> m_gainTable;
    bool m_factoryWritten = false;  // the factory record was written (factory mode)
    std::string m_nvWritten;        // the state file's text as last written or read
    bool m_nvFailed = false;        // the state file could not be written (said once)

    // stream, on the camera's clock (microseconds since open). The clock runs with the steady
    // clock divided by the time scale; at time scale 0 it stands still and a read-out takes no
    // time: the clock jumps to the read-out's end when the frame is asked for.
    bool m_open = false, m_started = false;
    int m_mode = LSX_OPEN_NORMAL;
    double m_clockUs = 0, m_clockWall = 0;  // the camera's time at a steady-clock instant (s)
    double m_readoutEnd = 0;                // free running: end of the read-out under way
    double m_busyUntil = 0;                 // triggered: end of the last read-out fired
    struct Readout {
        double end;
        uint64_t id;
    };
    std::vector<Readout> m_triggers;  // read-outs fired and not yet delivered
    uint64_t m_readouts = 0;          // read-outs since open (frame ids, dropped ones too)
    uint64_t m_frames = 0, m_fires = 0, m_linesOut = 0;
    uint64_t m_noiseSeed = 0, m_noiseFrames = 0;  // the temporal noise of this opening
    uint64_t m_generation = 0;                    // bumped by stop/close to wake waiting readers
    int m_timeouts = 0;
    long m_disconnectAfter = -1;
    std::array<std::vector<uint8_t>, 2> m_buffers;
    int m_bufferIndex = 0;
};

}  // namespace lsxsim

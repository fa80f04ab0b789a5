#pragma once
// One simulated camera: its fixed description (CameraDefinition), its settings, the correction data
// its firmware holds, and the frame stream. All state is guarded by one mutex per camera;
// lsxGetFrame never holds it while it waits or while it draws the frame.

#include "lsx.h"

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
    int width = 4096;          // physical sensor columns
    int lines = 1;             // sensor lines with their own data, interleaved row by row
    int planes = 1;            // 3 for the trilinear colour sensor
    bool area = false;         // one sensor readout (areaHeight rows) per frame
    int areaHeight = 8;
    bool blackLevelReg = true; // DOffset by GVR_SEN_BLACK_LEVEL, else key 129 registers 83/84
    std::map<uint32_t, uint32_t> registers;  // fixed register values (GVR_MULTI_FPN_SELECT, ...)
    std::array<uint8_t, 128> factory{};      // record of key 136
    std::vector<std::string> resModes{"Full"};
    bool binningEnums = false;
    bool roiState = true;
    // sensor model, DN10
    double darkMean = 6.0, dsnu = 1.0, hotAmp = 30.0;
    int hotColumns = 4;
    double prnu = 0.02, weakFactor = 0.7;
    int weakColumns = 3;
    std::array<double, 3> planeBalance{0.85, 1.0, 0.92};  // B, G, R
    double readNoise = 0.7, ePerDn = 20.0;
    bool noise = true;
    int scene = 1;             // LSX_SIM_SCENE_xxx
    double light = 5.0;        // DN10 per microsecond at gain 1, line centre
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
// Applies LSX_SIM_CONFIG (if set) to the list and gives its faults; a message for stderr on a
// bad file.
void applyConfigFile(std::vector<CameraDefinition>& cameras, std::vector<FaultPlan>& faults);

// A flat-field set of the camera (record type 4), K in fixed point 2^-14.
struct FfcSet {
    bool written = false;
    int channels = 0;                       // planes, or sensor lines on a multi-line camera
    std::vector<std::vector<uint16_t>> k;   // [channel][column], channels in B, G, R order
    int domain = 0;                         // 0 physical columns, 1 output columns, 2 ROI columns
    int roiX = 0;
};

// An FPN set: rows of (K, B), B in DN10, over output columns from column 0.
struct FpnSet {
    bool written = false;
    bool perLine = false;     // rows are sensor lines (multi-line, area) rather than planes
    int rowsPerGain = 1;
    int gains = 1;
    std::vector<std::vector<float>> k, b;    // [row][column]
    std::vector<float> bandLevels;           // multi-level K, 8-bit levels, ascending
    std::vector<std::vector<std::vector<float>>> bandK;  // [band][row][column]
    int doffset = 0;
};

// Per output class (sensor line x plane), per ROI column: what one frame is drawn from.
struct Pipeline {
    int width = 0, height = 0, planes = 1, classes = 1, lineCount = 1;
    bool area = false, sixteen = false, sourceCoarse = false;
    int format = FORMAT_MONO, channels = 1;
    bool pattern = false, noise = true, flip = false, inverse = false, mono = false;
    std::vector<std::vector<float>> darkTerm, sigTerm, sd;   // [class][x]
    double readVar = 0, shotGain = 0;                        // pattern noise per pixel
    bool correct = false;                                   // any firmware correction
    std::vector<std::vector<float>> corrB, corrM;            // [class][x], DN10 and factor
    std::vector<float> bandLevels;
    std::vector<std::vector<std::vector<float>>> bandK;      // [band][class][x] incl. FFC/LSC
    // pattern geometry
    int roiX = 0, binH = 1, sensorWidth = 0;
    double lineOffset[3] = {0, 0, 0}, stretch[3] = {0, 0, 0};
    double lineRate = 20000;
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
    lsxStatus truth(int kind, int plane, int line, float* out, int32_t* count);
    void counters(uint64_t* frames, uint64_t* triggers);

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
    bool userBinSumLocked() const;
    int doffsetLocked() const;
    double framePeriodLocked() const;
    void invalidateLocked() { m_pipeline.reset(); }
    std::shared_ptr<const Pipeline> pipelineLocked();
    void buildTruthLocked(int cls, std::vector<float>& dark, std::vector<float>& sig, std::vector<float>& var);
    double lightAt(double x) const;
    void fillFrame(const Pipeline& p, std::vector<uint8_t>& buf, uint64_t frameNo, uint64_t firstLine);
    // firmware
    lsxStatus setFpnRecord(const lsxFpnHeader* h, uint32_t* size);
    lsxStatus getFpnRecord(void* payload, uint32_t* size);
    lsxStatus setFfcRecord(const lsxFpnHeader* h);
    void buildCorrectionsLocked(Pipeline& p);
    bool lscBlockValid(const std::vector<uint8_t>& block, lsxStatus* why) const;
    std::vector<std::string> selectionLocked(const std::string& key) const;
    std::string& selectionValueLocked(const std::string& key);

    CameraDefinition m_def;
    std::vector<float> m_dark, m_resp;   // [(line*planes+plane)*width + x]

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

    // stream
    bool m_open = false, m_started = false;
    int m_mode = LSX_OPEN_NORMAL;
    double m_nextFrameAt = 0;             // seconds on the steady clock (camera time)
    std::vector<double> m_triggers;       // ready times of fired triggers
    uint64_t m_frames = 0, m_fires = 0, m_linesOut = 0;
    uint64_t m_generation = 0;            // bumped by stop/close to wake waiting readers
    int m_timeouts = 0;
    long m_disconnectAfter = -1;
    std::array<std::vector<uint8_t>, 2> m_buffers;
    int m_bufferIndex = 0;
};

}  // namespace lsxsim

#pragma once
// One open GenICam camera behind a handle of the contract.
//
// Every feature access holds the camera's lock, so that two threads may call on one handle at
// once; a frame wait holds only the stream's own small lock and sees a stop, a restart of the
// stream (after a change of the image size or format) or a lost link within one slice of its
// wait. Once the link is lost every operation but lsxClose answers -1104.

#include "gcfeatures.h"
#include "lsx.h"

#include <arv.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace lsxgc {

// One camera as the last scan found it.
struct DeviceEntry {
    std::string id;  // Aravis' device id, the key to open it
    std::string vendor;
    std::string model;
    std::string serial;
    std::string protocol;  // "GigEVision", "USB3Vision"
    std::string address;
    std::string friendlyName;  // "vendor model serial", unique in the scan
};

// The running image stream: the Aravis stream and the buffer size it was built for.
struct StreamSession {
    ArvStream* stream = nullptr;
    size_t payload = 0;
    ~StreamSession();
};

// What the flag of a lost link is shared with: the device's "control-lost" signal may come
// from its own thread after the camera is gone.
struct LinkState {
    std::atomic<bool> lost{false};
};

class Camera {
public:
    // Opens the camera of the entry; 1 and the camera, or the status of the failure.
    static lsxStatus open(const DeviceEntry& entry, std::shared_ptr<Camera>& out);
    ~Camera();
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    const std::string& id() const { return m_entry.id; }
    bool lost() const { return m_link->lost.load(); }
    // Stops the stream and marks the camera closed; waits already running end with -13.
    void close();
    bool closed() const { return m_closed.load(); }
    // 1 while the camera can be used; -13 once closed, -1104 once its link is lost.
    lsxStatus alive() const { return liveStatus(); }

    lsxCameraInfo info() const;
    lsxStatus sensorInfo(lsxSensorInfo& out);
    lsxStatus saveConfig(const char* path);
    lsxStatus loadConfig(const char* path);

    // ---- stream and trigger ----
    lsxStatus start();
    lsxStatus stop();
    lsxStatus getFrame(lsxFrame* frame, void** buffer, uint32_t timeoutMs);
    lsxStatus getTriggerState(bool& on);
    lsxStatus setTriggerState(bool on);
    lsxStatus getTriggerSource(int32_t& source);
    lsxStatus setTriggerSource(int32_t source);
    lsxStatus fire();

    // ---- image ----
    lsxStatus getRoi(lsxRegion& region);
    lsxStatus setRoi(const lsxRegion& region);
    lsxStatus roiDescr(lsxRegionDescr& descr);
    lsxStatus getExposure(double& us);
    lsxStatus setExposure(double us);
    lsxStatus exposureDescr(lsxDoubleDescr& descr);
    lsxStatus getGain(float& gain);
    lsxStatus setGain(float gain);
    lsxStatus gainDescr(lsxFloatDescr& descr);
    lsxStatus setRgbGain(float r, float g, float b);
    lsxStatus getSourceFormat(int32_t& code);
    lsxStatus setSourceFormat(int32_t code);
    lsxStatus getTargetFormat(int32_t& code);
    lsxStatus setTargetFormat(int32_t code);

    // ---- image processing switches: off where the camera has no such feature ----
    enum class Switch {
        Saturation,
        ColorTemperature,
        Gamma,
        Contrast,
        BlackLevel,
        NoiseReduct2d,
        NoiseReduct3d,
        Sharpness,
        Mono,
        Inverse,
        FlipHorizontal
    };
    lsxStatus setSwitch(Switch which, bool on);
    lsxStatus setBoolValue(const char* name, bool value);

    // ---- named values ----
    lsxStatus getEnumValue(const char* name, int64_t* current, int64_t* values, int32_t* count);
    lsxStatus getEnumName(const char* name, int32_t index, char* text, uint32_t size);
    lsxStatus setEnumByString(const char* name, const char* value);
    lsxStatus getConfigString(const char* key, char* value, uint32_t size);
    lsxStatus setConfigString(const char* key, const char* value);
    lsxStatus selectionDescr(const char* key, lsxSelectionDescr& descr);
    lsxStatus selectionDetail(const char* key, int32_t index, lsxSelectionDetail& detail);

    // ---- raw access: the maker's keys, registers and memory windows ----
    lsxStatus get(uint32_t key, void* payload, uint32_t* size);
    lsxStatus set(uint32_t key, void* payload, uint32_t* size);
    lsxStatus readRegister(uint32_t reg, uint32_t& value);
    lsxStatus writeRegister(uint32_t reg, uint32_t value);

    // Frames delivered and incomplete buffers skipped since the camera was opened.
    uint64_t framesDelivered() const { return m_frames.load(); }
    uint64_t framesIncomplete() const { return m_incomplete.load(); }

private:
    Camera(const DeviceEntry& entry, ArvCamera* camera);
    void resolveFeatures();
    void readInfo();

    lsxStatus liveStatus() const;
    // Stream helpers; the camera's lock is held by the caller.
    lsxStatus startLocked();
    lsxStatus stopLocked();
    bool streamingLocked() const;
    std::shared_ptr<StreamSession> currentStream() const;
    void releaseHeld();
    // A change that the running stream cannot follow (size, format): stop, change, start again.
    template <typename Change>
    lsxStatus withStreamPaused(Change&& change);

    lsxStatus sensorWidth(int64_t& width);
    lsxStatus frameTrigger();
    void refire();
    lsxStatus blackLevelRead(uint32_t& word);
    lsxStatus blackLevelWrite(uint32_t word);
    lsxStatus pixelFormat(uint32_t& pf);
    lsxStatus setFeatureText(const char* name, const std::string& text);
    lsxStatus takeFrame(ArvBuffer* buffer, lsxFrame* frame, void** data);

    DeviceEntry m_entry;
    ArvCamera* m_camera = nullptr;
    ArvDevice* m_device = nullptr;
    std::shared_ptr<LinkState> m_link;
    gulong m_lostHandler = 0;
    bool m_loopback = false;
    bool m_gigE = false;

    mutable std::recursive_mutex m_mutex;  // every feature access
    Features m_features;

    // Names of the features behind the contract's operations, as this camera spells them;
    // empty where it has none.
    std::string m_exposureName;
    std::string m_gainName;
    std::string m_lineRateName;
    std::string m_blackLevelName;
    lsxCameraInfo m_info{};

    // The stream; its own lock so that a frame wait never waits for a feature access.
    mutable std::mutex m_streamMutex;
    std::shared_ptr<StreamSession> m_stream;

    // The buffer handed out by the last lsxGetFrame, valid until the next call.
    std::mutex m_frameMutex;
    std::weak_ptr<StreamSession> m_heldStream;  // the buffer outlives a stream that was stopped
    ArvBuffer* m_heldBuffer = nullptr;
    std::vector<uint8_t> m_packed;  // rows of a padded image, packed

    std::atomic<uint64_t> m_frames{0};
    std::atomic<uint64_t> m_incomplete{0};
    // Software triggers fired and not yet answered by a frame; a frame of theirs that arrives
    // incomplete is asked for again.
    std::atomic<int> m_pendingFires{0};
    std::atomic<bool> m_closed{false};
};

template <typename Change>
lsxStatus Camera::withStreamPaused(Change&& change)
{
    const bool running = streamingLocked();
    if (running)
        if (const lsxStatus st = stopLocked(); st != LSX_OK) return st;
    const lsxStatus changed = change();
    if (running) {
        const lsxStatus restarted = startLocked();
        if (changed == LSX_OK && restarted < LSX_OK) return restarted;
    }
    return changed;
}

}  // namespace lsxgc

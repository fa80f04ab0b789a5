// The recording camera library of recordcam.h.
#include "recordcam.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {
RecordCam* g = nullptr;
}  // namespace

lsxStatus recordCall(const char* name, const std::string& args)
{
    if (!g) recordcamReset();
    g->calls.push_back(std::string(name) + "(" + args + ")");
    auto it = g->faults.find(name);
    if (it == g->faults.end()) return 0;
    RecordCam::Fault& f = it->second;
    if (f.after > 0) {
        --f.after;
        return 0;
    }
    const lsxStatus status = f.status;
    if (f.times > 0 && --f.times == 0) g->faults.erase(it);
    return status;
}

#define RECORD(name, ...) \
    if (lsxStatus fault_ = recordCall(#name, recordArgs(__VA_ARGS__))) return fault_

namespace {

lsxStatus defaultFrame(RecordCam& c, lsxFrame& frame, std::vector<uint8_t>& buffer)
{
    const int w = std::max(1, c.roi.W), h = std::max(1, c.roi.H);
    buffer.assign(size_t(w) * h * 2, 0);
    auto* p = reinterpret_cast<uint16_t*>(buffer.data());
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const double v = std::nearbyint(c.darkLevel(x, c.doffset()) * 64.0);
            p[size_t(y) * w + x] = uint16_t(std::clamp(v, 0.0, 65472.0));
        }
    frame.format = FORMAT_MONO;
    frame.bits = LSX_BITS_16;
    frame.channels = 1;
    frame.width = w;
    frame.height = h;
    frame.size = uint32_t(buffer.size());
    return LSX_OK;
}

void copyText(char* to, size_t size, const char* from)
{
    std::snprintf(to, size, "%s", from);
}

}  // namespace

extern "C" {

RecordCam* recordcam()
{
    if (!g) recordcamReset();
    return g;
}

void recordcamReset()
{
    delete g;
    g = new RecordCam;
    copyText(g->info.friendlyName, sizeof g->info.friendlyName, "REC-1");
    copyText(g->info.model, sizeof g->info.model, "LSREC");
    copyText(g->info.cameraType, sizeof g->info.cameraType, "LineScan");
    g->factory.maxK = 2;
    g->factory.maxB = 64;
    g->roi.W = 8;
    g->roi.H = 8;
    g->correction.enable = 1;
    g->colorSolutions = {"Default", "Vivid", "User"};
    g->frame = defaultFrame;
    g->darkLevel = [](int, int d) { return 4.0 + d; };
}

lsxStatus lsxRefresh(int32_t* count)
{
    RECORD(lsxRefresh);
    *count = 1;
    return LSX_OK;
}

lsxStatus lsxEnum(int32_t index, lsxCameraInfo* info)
{
    RECORD(lsxEnum, index);
    if (index != 0) return LSX_ERR_OUT_OF_RANGE;
    *info = g->info;
    return LSX_OK;
}

lsxStatus lsxOpenByName(const char* name, int32_t mode, lsxHandle* handle)
{
    RECORD(lsxOpenByName, name, mode);
    *handle = 1;
    return LSX_OK;
}

lsxStatus lsxGetCameraInfo(lsxHandle, lsxCameraInfo* info)
{
    RECORD(lsxGetCameraInfo);
    *info = g->info;
    return LSX_OK;
}

lsxStatus lsxGetSensorInfo(lsxHandle, lsxSensorInfo* info)
{
    RECORD(lsxGetSensorInfo);
    std::memset(info, 0, sizeof *info);
    info->maxHeight = g->sensorMaxHeight;
    return LSX_OK;
}

lsxStatus lsxReadGenICamReg(lsxHandle, uint32_t reg, uint32_t* value)
{
    RECORD(lsxReadGenICamReg, reg);
    if (reg == GVR_SEN_BLACK_LEVEL)
        *value = g->blackLevelReg;
    else if (reg == GVR_MULTI_FPN_SELECT)
        *value = g->lineReg;
    else
        return LSX_ERR_ADDRESS;
    return LSX_OK;
}

lsxStatus lsxWriteGenICamReg(lsxHandle, uint32_t reg, uint32_t value)
{
    RECORD(lsxWriteGenICamReg, reg, int32_t(value));
    if (reg != GVR_SEN_BLACK_LEVEL) return LSX_ERR_ADDRESS;
    g->blackLevelReg = value & 0xFF;
    g->doffsetWrites.push_back(int32_t(value));
    return LSX_OK;
}

lsxStatus lsxGet(lsxHandle, uint32_t key, void* payload, uint32_t* size)
{
    if (key == LSX_KEY_SENSOR_REG) {
        auto* pair = static_cast<lsxRegPair*>(payload);
        RECORD(lsxGet, key, pair->reg);
        if (!g->sensorRegs) return LSX_ERR_NOT_SUPPORTED;
        pair->value = pair->reg == LSX_SENSOR_REG_DOFFSET_MAG ? g->reg83 : g->reg84;
        return LSX_OK;
    }
    if (key == LSX_KEY_FPN) {
        RECORD(lsxGet, key, size ? *size : 0u);
        if (!size || *size < sizeof(lsxFpnHeader)) return LSX_ERR_BLOCK_SIZE;
        auto* head = static_cast<lsxFpnHeader*>(payload);
        const uint32_t n = head->columns;
        if (*size < sizeof(lsxFpnHeader) + size_t(n) * 8) return LSX_ERR_BLOCK_SIZE;
        const int planes = (g->source == 10 || g->source == 14) ? 3 : (g->source == 11 || g->source == 15) ? 4 : 1;
        auto* pairs = reinterpret_cast<float*>(static_cast<uint8_t*>(payload) + sizeof(lsxFpnHeader));
        for (uint32_t i = 0; i < n; ++i) {
            const int column = int(i) / planes, plane = int(i) % planes;
            const std::pair<float, float> kb =
                g->fpnPair ? g->fpnPair(column, plane, g->gain) : std::pair<float, float>(1.0f, 0.0f);
            pairs[2 * i] = kb.first;
            pairs[2 * i + 1] = kb.second;
        }
        head->doffset = g->fpnDoffset;
        return LSX_OK;
    }
    RECORD(lsxGet, key);
    if (key == LSX_KEY_FACTORY) {
        std::memcpy(payload, &g->factory, sizeof g->factory);
        return LSX_OK;
    }
    if (key == LSX_KEY_CORRECTION_SWITCH) {
        if (!size || *size < sizeof g->correction) return LSX_ERR_BLOCK_SIZE;
        std::memcpy(payload, &g->correction, sizeof g->correction);
        return LSX_OK;
    }
    return LSX_ERR_NOT_SUPPORTED;
}

lsxStatus lsxSet(lsxHandle, uint32_t key, void* payload, uint32_t* size)
{
    if (key == LSX_KEY_SENSOR_REG) {
        const auto* pair = static_cast<const lsxRegPair*>(payload);
        RECORD(lsxSet, key, pair->reg, pair->value);
        if (!g->sensorRegs) return LSX_ERR_NOT_SUPPORTED;
        if (pair->reg == LSX_SENSOR_REG_DOFFSET_MAG) {
            g->reg83 = pair->value;
        } else {
            g->reg84 = pair->value;
            g->doffsetWrites.push_back(g->doffset());
        }
        return LSX_OK;
    }
    if (key == LSX_KEY_FPN_ENABLE) {
        RECORD(lsxSet, key, bool(*static_cast<const uint8_t*>(payload)), size ? *size : 99u);
        g->fpnEnable = *static_cast<const uint8_t*>(payload) != 0;
        return LSX_OK;
    }
    if (key == LSX_KEY_CORRECTION_SWITCH) {
        const auto* block = static_cast<const lsxCorrectionSwitch*>(payload);
        RECORD(lsxSet, key, uint32_t(block->enable));
        if (!size || *size < sizeof g->correction) return LSX_ERR_BLOCK_SIZE;
        g->correction = *block;
        return LSX_OK;
    }
    if (key == LSX_KEY_FPN) {
        RECORD(lsxSet, key, size ? *size : 0u);
        // The record as the camera takes it: the head, and the data at the address it holds.
        const auto* head = static_cast<const lsxFpnHeader*>(payload);
        std::vector<uint8_t> copy(static_cast<const uint8_t*>(payload),
                                  static_cast<const uint8_t*>(payload) + sizeof(lsxFpnHeader));
        const auto* data = static_cast<const uint8_t*>(head->data);
        copy.insert(copy.end(), data, data + head->dataSize);
        g->fpnRecords.push_back(std::move(copy));
        return LSX_OK;
    }
    if (key == LSX_KEY_GAIN_TABLE) {
        RECORD(lsxSet, key, size ? *size : 0u);
        const auto* p = static_cast<const uint8_t*>(payload);
        g->gainTable.assign(p, p + (size ? *size : 0u));
        return LSX_OK;
    }
    RECORD(lsxSet, key);
    return LSX_ERR_NOT_SUPPORTED;
}

lsxStatus lsxGetRoiState(lsxHandle, bool* on)
{
    RECORD(lsxGetRoiState);
    *on = g->roiOn;
    return LSX_OK;
}

lsxStatus lsxGetRoi(lsxHandle, lsxRegion* region)
{
    RECORD(lsxGetRoi);
    // With ROI off a camera need not fill the record: this one leaves it as it is.
    if (g->roiOn) *region = g->roi;
    return LSX_OK;
}

lsxStatus lsxSetRoi(lsxHandle, const lsxRegion* region)
{
    RECORD(lsxSetRoi, region->X, region->Y, region->W, region->H);
    g->roi = *region;
    return LSX_OK;
}

lsxStatus lsxGetSourceFormat(lsxHandle, int32_t* f)
{
    RECORD(lsxGetSourceFormat);
    *f = g->source;
    return LSX_OK;
}

lsxStatus lsxSetSourceFormat(lsxHandle, int32_t f)
{
    RECORD(lsxSetSourceFormat, f);
    g->source = f;
    return LSX_OK;
}

lsxStatus lsxGetTargetFormat(lsxHandle, int32_t* f)
{
    RECORD(lsxGetTargetFormat);
    *f = g->target;
    return LSX_OK;
}

lsxStatus lsxSetTargetFormat(lsxHandle, int32_t f)
{
    RECORD(lsxSetTargetFormat, f);
    g->target = f;
    return LSX_OK;
}

lsxStatus lsxGetTriggerSource(lsxHandle, int32_t* s)
{
    RECORD(lsxGetTriggerSource);
    *s = g->triggerSource;
    return LSX_OK;
}

lsxStatus lsxSetTriggerSource(lsxHandle, int32_t s)
{
    RECORD(lsxSetTriggerSource, s);
    g->triggerSource = s;
    return LSX_OK;
}

lsxStatus lsxGetTriggerState(lsxHandle, bool* on)
{
    RECORD(lsxGetTriggerState);
    *on = g->trigger;
    return LSX_OK;
}

lsxStatus lsxSetTriggerState(lsxHandle, bool on)
{
    RECORD(lsxSetTriggerState, on);
    g->trigger = on;
    return LSX_OK;
}

lsxStatus lsxGetColorSolutionSelDetail(lsxHandle, int32_t index, lsxSelectionDetail* detail)
{
    RECORD(lsxGetColorSolutionSelDetail, index);
    if (index < 0 || size_t(index) >= g->colorSolutions.size()) return LSX_ERR_OUT_OF_RANGE;
    std::memset(detail, 0, sizeof *detail);
    copyText(detail->text, sizeof detail->text, g->colorSolutions[size_t(index)].c_str());
    detail->index = index;
    return LSX_OK;
}

lsxStatus lsxSetUserColorMatrix(lsxHandle, const lsxColorMatrix* matrix)
{
    RECORD(lsxSetUserColorMatrix);
    g->lastMatrix = *matrix;
    return LSX_OK;
}

lsxStatus lsxSetAnalogGain(lsxHandle, float gain)
{
    RECORD(lsxSetAnalogGain, gain);
    g->gain = gain;
    return LSX_OK;
}

lsxStatus lsxGetExposureDescr(lsxHandle, lsxDoubleDescr* descr)
{
    RECORD(lsxGetExposureDescr);
    *descr = g->exposureDescr;
    return LSX_OK;
}

lsxStatus lsxGetExposure(lsxHandle, double* us)
{
    RECORD(lsxGetExposure);
    *us = g->exposure;
    return LSX_OK;
}

lsxStatus lsxSetExposure(lsxHandle, double us)
{
    RECORD(lsxSetExposure, us);
    if (us > g->exposureMax) return LSX_ERR_OUT_OF_RANGE;
    g->exposure = us;
    return LSX_OK;
}

lsxStatus lsxGetRoiDescr(lsxHandle, lsxRegionDescr* descr)
{
    RECORD(lsxGetRoiDescr);
    *descr = g->roiDescr;
    return LSX_OK;
}

lsxStatus lsxStart(lsxHandle)
{
    // An answer above 1 (already running) starts the stream all the same.
    const lsxStatus fault = recordCall("lsxStart", "");
    g->started = fault == 0 || fault > LSX_OK;
    return fault ? fault : LSX_OK;
}

lsxStatus lsxStop(lsxHandle)
{
    RECORD(lsxStop);
    g->started = false;
    return LSX_OK;
}

lsxStatus lsxTriggerFire(lsxHandle)
{
    RECORD(lsxTriggerFire);
    return g->started ? LSX_OK : LSX_ERR_NOT_STARTED;
}

lsxStatus lsxGetFrame(lsxHandle, lsxFrame* frame, void** buffer, uint32_t timeoutMs)
{
    RECORD(lsxGetFrame, timeoutMs);
    std::memset(frame, 0, sizeof *frame);
    const lsxStatus status = g->frame(*g, *frame, g->buffer);
    *buffer = g->buffer.data();
    return status;
}

lsxStatus lsxDebugFormat(lsxHandle, int32_t level, const char* tag, const char* format, ...)
{
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (!g) recordcamReset();
    g->log.push_back(std::to_string(level) + " " + (tag ? tag : "") + " " + text);
    return LSX_OK;
}

}  // extern "C"

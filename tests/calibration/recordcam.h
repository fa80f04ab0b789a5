#pragma once
// A scripted camera library that records the program's calls: every operation of the contract
// appends "name(arguments)" to `calls` (the handle left out), answers a fault when one is set for
// it, and otherwise behaves as a small line-scan camera with registers, formats, ROI, trigger and
// a stream whose frames a test makes (`frame`). The test reaches it with dlsym(recordcam) on the
// library the loader bound; library and test are built by the same compiler, so C++ types cross.
#include "lsx.h"

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

struct RecordCam {
    // An operation answers `status` after `after` further calls, `times` times (0: for ever).
    struct Fault {
        int after = 0;
        lsxStatus status = LSX_ERR_UNKNOWN;
        int times = 0;
    };

    std::vector<std::string> calls;
    std::map<std::string, Fault> faults;

    lsxCameraInfo info{};
    lsxFactoryRecord factory{};
    uint32_t blackLevelReg = 0;      // LSX_REG_UNSUPPORTED: DOffset through key 129
    uint32_t reg83 = 0, reg84 = 0;   // magnitude and sign of the sensor path
    bool sensorRegs = true;          // false: key 129 answers -2 (with blackLevelReg LSX_REG_UNSUPPORTED,
                                     // a camera without a black level)
    uint32_t lineReg = 1;            // GVR_MULTI_FPN_SELECT
    std::vector<int> doffsetWrites;  // every DOffset value the program wrote, signed
    bool fpnEnable = true;
    lsxCorrectionSwitch correction{};
    bool roiOn = true;
    lsxRegion roi{};
    int32_t sensorMaxHeight = 8;
    int32_t source = 0, target = 0;
    int32_t triggerSource = 1;
    bool trigger = false;
    bool started = false;
    std::vector<std::string> colorSolutions;
    lsxColorMatrix lastMatrix{};
    float gain = 0.0f;
    double exposure = 100.0;
    lsxDoubleDescr exposureDescr{0.1, 2.0, 20000.0};
    double exposureMax = 20000.0;  // lsxSetExposure answers -5 above it
    lsxRegionDescr roiDescr{1, 1, 8, 8, 1, 1, 1, {}};
    // Key 45 read: the pair (K, B) the camera holds for a column and plane at the current gain, and
    // the DOffset it answers at byte 9.
    std::function<std::pair<float, float>(int column, int plane, float gain)> fpnPair;
    uint8_t fpnDoffset = 0;
    // Key 45 writes, each as the camera takes it: the 40-byte head, then the data it points at.
    std::vector<std::vector<uint8_t>> fpnRecords;
    // The last key 47 write, as many bytes as its size argument says.
    std::vector<uint8_t> gainTable;
    // The library's own log (lsxDebugFormat): "level tag text".
    std::vector<std::string> log;

    // One frame per lsxGetFrame: fills the descriptor and the buffer and answers a status. The
    // default gives a 16-bit mono frame of the ROI's size at the level of darkLevel.
    std::function<lsxStatus(RecordCam&, lsxFrame&, std::vector<uint8_t>&)> frame;
    // The default frame's level of column x on the walk's scale (10-bit units): raw = level * 64.
    std::function<double(int x, int doffset)> darkLevel;
    std::vector<uint8_t> buffer;

    // The DOffset the camera holds, by the path in use.
    int doffset() const
    {
        if (blackLevelReg != LSX_REG_UNSUPPORTED) {
            const int b = int(blackLevelReg & 0xFF);
            return b > 128 ? b - 256 : b;
        }
        return reg84 == 8 ? -int(reg83) : int(reg83);
    }
    // The calls whose text starts with `prefix`, in order.
    std::vector<std::string> callsOf(const std::string& prefix) const
    {
        std::vector<std::string> out;
        for (const std::string& c : calls)
            if (c.compare(0, prefix.size(), prefix) == 0) out.push_back(c);
        return out;
    }
    // How often an operation was called.
    int count(const std::string& name) const { return int(callsOf(name + "(").size()); }
};

// Records a call with its arguments and answers its fault, or 0 when the operation is to do its
// work.
lsxStatus recordCall(const char* name, const std::string& args);

// The arguments of a call as the record shows them.
inline std::string recordArg(bool v)
{
    return v ? "true" : "false";
}
inline std::string recordArg(int32_t v)
{
    return std::to_string(v);
}
inline std::string recordArg(uint32_t v)
{
    return std::to_string(v);
}
inline std::string recordArg(int64_t v)
{
    return std::to_string(v);
}
inline std::string recordArg(uint64_t v)
{
    return std::to_string(v);
}
inline std::string recordArg(double v)
{
    std::string text = std::to_string(v);
    text.erase(text.find_last_not_of('0') + 1);
    if (!text.empty() && text.back() == '.') text.pop_back();
    return text;
}
inline std::string recordArg(float v)
{
    return recordArg(double(v));
}
inline std::string recordArg(const char* v)
{
    return v ? v : "null";
}
inline std::string recordArg(const void*)
{
    return "*";
}
template <typename... A>
std::string recordArgs(A... a)
{
    std::string out;
    ((out += (out.empty() ? "" : ",") + recordArg(a)), ...);
    return out;
}

extern "C" {
typedef RecordCam* (*RecordCamFn)();
typedef void (*RecordCamResetFn)();
// The camera; one camera "REC-1", model "LSREC", type "LineScan", 8 x 8 ROI, maxB 64.
LSX_API RecordCam* recordcam();
LSX_API void recordcamReset();
}

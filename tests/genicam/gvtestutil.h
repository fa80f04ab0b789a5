#pragma once
// Helpers of the tests that reach the loopback camera through the contract, the GenICam camera
// library linked in: a camera opened in a known state and closed however the test ends, single
// frames, configuration strings and the device's registers.
#include "genicam/testcamera.h"
#include "lsx.h"

#include <QtTest>

#include <cstring>
#include <vector>

namespace gvtest {

// The sensor of the test camera in these tests, and the simulated camera behind it: narrow,
// its clock off.
constexpr int kWidth = 1024;
inline QString simConfig()
{
    return QStringLiteral(R"({"timeScale": 0, "cameras": [{"friendlyName": "SIM-LS4096-M", "width": %1}]})")
        .arg(kWidth);
}

// An open camera, closed when the test function ends, however it ends.
struct Session {
    lsxHandle h = 0;
    explicit Session(lsxHandle handle) : h(handle) {}
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session()
    {
        if (h) lsxClose(h);
    }
    operator lsxHandle() const { return h; }
};

// The camera opened by name (found by the last scan) and set as every test starts it: the whole
// line, 1000 lines a frame at 20000 lines a second, 100 us, gain 1, 8-bit mono, black level 0,
// free running, software as the trigger source. 0 when that fails.
inline lsxHandle openReset(const QString& name)
{
    lsxHandle h = 0;
    if (lsxOpenByName(name.toLatin1().constData(), LSX_OPEN_NORMAL, &h) != LSX_OK) return 0;
    lsxRegion r{};
    r.W = kWidth;
    r.H = 1000;
    const bool reset = lsxSetRoi(h, &r) == LSX_OK && lsxSetExposure(h, 100.0) == LSX_OK
                       && lsxSetAnalogGain(h, 1.0f) == LSX_OK && lsxSetTargetFormat(h, FORMAT_MONO) == LSX_OK
                       && lsxSetConfigString(h, "LineRate", "20000") == LSX_OK
                       && lsxWriteGenICamReg(h, GVR_SEN_BLACK_LEVEL, 0) == LSX_OK
                       && lsxSetTriggerState(h, false) == LSX_OK && lsxSetTriggerSource(h, 0) == LSX_OK;
    if (!reset) {
        lsxClose(h);
        return 0;
    }
    return h;
}

// The camera prepared for single frames: soft trigger, the given target format and lines per
// frame, stream started.
inline void prepare(lsxHandle h, int32_t target, int lines = 100)
{
    QCOMPARE(lsxSetTriggerSource(h, 0), LSX_OK);
    QCOMPARE(lsxSetTriggerState(h, true), LSX_OK);
    QCOMPARE(lsxSetTargetFormat(h, target), LSX_OK);
    lsxRegion r{};
    QCOMPARE(lsxGetRoi(h, &r), LSX_OK);
    r.H = lines;
    QCOMPARE(lsxSetRoi(h, &r), LSX_OK);
    QVERIFY(lsxStart(h) >= LSX_OK);
}

// One frame, copied out of the library's buffer.
struct Frame {
    lsxFrame info{};
    std::vector<uint8_t> bytes;
    template <typename T>
    T at(size_t i) const
    {
        T v;
        std::memcpy(&v, bytes.data() + i * sizeof(T), sizeof(T));
        return v;
    }
};

inline lsxStatus grab(lsxHandle h, Frame& f, uint32_t timeoutMs = 3000, bool fire = true)
{
    if (fire)
        if (const lsxStatus st = lsxTriggerFire(h); st != LSX_OK) return st;
    void* buffer = nullptr;
    const lsxStatus st = lsxGetFrame(h, &f.info, &buffer, timeoutMs);
    if (st != LSX_OK) return st;
    f.bytes.assign(static_cast<const uint8_t*>(buffer), static_cast<const uint8_t*>(buffer) + f.info.size);
    return LSX_OK;
}

inline QString configString(lsxHandle h, const char* key)
{
    char v[256] = {};
    return lsxGetConfigString(h, key, v, sizeof v) == LSX_OK ? QString::fromLatin1(v) : QStringLiteral("<failed>");
}

// A register of the test camera's GigE device, as the device holds it.
inline uint32_t peek(TestCamera& camera, uint32_t address)
{
    const QString answer = camera.command(QStringLiteral("peek %1").arg(address));
    return answer.startsWith(QStringLiteral("ok ")) ? answer.mid(3).toUInt() : 0xDEADBEEFu;
}

// Starts the test camera with our line-scan tree and finds it; empty on success.
inline QString startAndFind(TestCamera& camera, const char* serialPrefix, bool builtinTree = false)
{
    Options options;
    options.serial = uniqueSerial(serialPrefix);
    options.simConfig = simConfig();
    options.builtinTree = builtinTree;
    const QString failed = camera.start(options);
    if (!failed.isEmpty()) return failed;
    int32_t count = 0;
    if (lsxRefresh(&count) != LSX_OK) return QStringLiteral("lsxRefresh failed");
    for (int i = 0; i < count; ++i) {
        lsxCameraInfo info;
        if (lsxEnum(i, &info) == LSX_OK && QString::fromLatin1(info.friendlyName) == camera.friendlyName(kWidth))
            return QString();
    }
    return QStringLiteral("the scan did not find ") + camera.friendlyName(kWidth);
}

}  // namespace gvtest

// lsxgvcamera: a GigE Vision line-scan camera on the loopback, for the tests of the GenICam
// camera library.
//
// The network side is Aravis' own GigE Vision test device (arv_gv_fake_camera_new_full),
// serving the feature tree of tests/genicam/lsxtestcamera.xml (or, with --builtin, Aravis' own
// tree of an area camera with GainRaw and ExposureTimeAbs). The picture comes from our
// simulated camera: its library is bound through the contract (lsx/loader), one simulated camera
// of the sensor's width is opened on software trigger with its clock off, and every frame the
// GigE device sends is one frame of it, taken at the exposure, gain, black level, image region
// and pixel format the GigE device is set to. The scene (lens cap, light, noise) is the
// simulated camera's, set by commands on standard input.
//
// Usage: lsxgvcamera --serial S [--xml FILE | --builtin] [--camera SIM-NAME] [--model M]
//                    [--sim LIBRARY]
//   The simulated camera library is --sim or LSX_LIBRARY; LSX_SIM_CONFIG configures it.
//   Prints "ready <serial>" once it answers on 127.0.0.1, or "busy" (exit 3) when another
//   GigE Vision device holds the control port there, or "failed: <why>" (exit 2).
//
// Commands, one a line, each answered by one line ("ok ..." or "error ..."):
//   scene dark|flat|pattern     the lens cap on (dark) or off
//   light <level>               the light at the line's centre, DN10 per microsecond at gain 1
//   noise on|off                temporal noise
//   truth dark|signal           the simulated camera's noise-free dark level or signal per
//                               column at the settings the GigE device holds now (DN10)
//   peek <address>              a register of the GigE device ("ok <value>")
//   frames                      frames sent so far
//   draw each|once              a new picture for every frame (the default), or the last one
//                               sent again (the link alone, without the drawing)
//   lose <ratio>                share of stream packets dropped on the way out
//   unplug                      the device leaves the network (the process stays)
//   quit                        ends the program; so does the end of standard input
#include "loader.h"
#include "lsx.h"
#include "sim/lsxsim.h"

#include <arv.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

// Registers of the GigE device (see lsxtestcamera.xml), big-endian words.
enum : guint32 {
    kRegVendor = 0x48,
    kRegModel = 0x68,
    kRegWidth = 0x100,
    kRegHeight = 0x104,
    kRegGain = 0x110,
    kRegSensorHeight = 0x118,
    kRegSensorWidth = 0x11c,
    kRegExposure = 0x120,
    kRegPixelFormat = 0x128,
    kRegOffsetX = 0x130,
    kRegFramePeriod = 0x138,
    kRegScanType = 0x8000,
    kRegLineRate = 0x8008,
    kRegBlackLevel = 0x8010
};

constexpr guint32 kMono8 = 0x01080001, kMono10 = 0x01100003, kMono12 = 0x01100005, kMono16 = 0x01100007,
                  kRGB8 = 0x02180014, kBGR8 = 0x02180015;
constexpr double kDefaultLineRate = 20000.0;
constexpr int kDefaultLines = 1000;

struct State {
    std::mutex mutex;  // the simulated camera's settings: a frame and a command never interleave
    ArvGvFakeCamera* gv = nullptr;
    ArvFakeCamera* fake = nullptr;
    lsx::sim::Api api;
    std::string simName;
    lsxHandle sim = 0;
    bool ownTree = true;  // our feature tree, or Aravis' own
    std::atomic<uint64_t> frames{0};
    std::atomic<bool> running{true};
    bool live = false;  // the device is on the network (under the mutex)
    // What the simulated camera was last set to.
    lsxRegion roi{};
    double exposure = -1.0;
    float gain = -1.0f;
    int32_t blackLevel = INT32_MIN;
    int32_t target = -1;
    bool drawEach = true;       // a new picture of the simulated camera for every frame
    std::vector<uint8_t> held;  // the last picture, sent again while drawEach is off
};

guint32 reg(State& s, guint32 address)
{
    guint32 v = 0;
    arv_fake_camera_read_register(s.fake, address, &v);
    return v;
}

double lineRate(State& s)
{
    guint64 raw = 0;
    arv_fake_camera_read_memory(s.fake, kRegLineRate, sizeof raw, &raw);
    raw = GUINT64_FROM_BE(raw);
    double rate = 0.0;
    std::memcpy(&rate, &raw, sizeof rate);
    return rate > 0.0 ? rate : kDefaultLineRate;
}

void writeLineRate(State& s, double rate)
{
    guint64 raw = 0;
    std::memcpy(&raw, &rate, sizeof raw);
    raw = GUINT64_TO_BE(raw);
    arv_fake_camera_write_memory(s.fake, kRegLineRate, sizeof raw, &raw);
}

// Free running, a frame takes its lines at the line rate.
void updateFramePeriod(State& s)
{
    if (!s.ownTree) return;
    const double period = 1e6 * double(reg(s, kRegHeight)) / lineRate(s);
    arv_fake_camera_write_register(s.fake, kRegFramePeriod, guint32(std::max(100.0, std::round(period))));
}

// The simulated camera to the settings of the GigE device. False when it refuses the region.
bool syncSim(State& s, guint32 exposureUs, guint32 gainRaw, guint32 pixelFormat)
{
    lsxRegion r = s.roi;
    r.X = int32_t(reg(s, kRegOffsetX));
    r.Y = 0;
    r.W = int32_t(reg(s, kRegWidth));
    r.H = int32_t(reg(s, kRegHeight));
    if (r.X != s.roi.X || r.W != s.roi.W || r.H != s.roi.H) {
        if (lsxSetRoi(s.sim, &r) != LSX_OK) return false;
        s.roi = r;
    }
    const double exposure = double(std::max<guint32>(exposureUs, 2));
    if (exposure != s.exposure && lsxSetExposure(s.sim, exposure) == LSX_OK) s.exposure = exposure;
    // Our tree keeps the gain in hundredths; Aravis' own counts GainRaw up from 1.
    const float gain = s.ownTree ? float(gainRaw) / 100.0f : 1.0f + float(gainRaw);
    if (gain != s.gain && lsxSetAnalogGain(s.sim, gain) == LSX_OK) s.gain = gain;
    if (s.ownTree) {
        const auto level = int32_t(reg(s, kRegBlackLevel));
        if (level != s.blackLevel && lsxWriteGenICamReg(s.sim, GVR_SEN_BLACK_LEVEL, uint32_t(level)) == LSX_OK)
            s.blackLevel = level;
    }
    // The sensor side follows the delivered format: full 10-bit data for the deep formats, the
    // top 8 bits for 8-bit pixels.
    const bool deep = pixelFormat == kMono10 || pixelFormat == kMono12 || pixelFormat == kMono16;
    const int32_t target = deep ? FORMAT_MONO16 : FORMAT_MONO;
    if (target != s.target && lsxSetSourceFormat(s.sim, deep ? FORMAT_MONO16_SOURCE : FORMAT_MONO) == LSX_OK
        && lsxSetTargetFormat(s.sim, target) == LSX_OK)
        s.target = target;
    return true;
}

// Aravis' picture callback: one frame of the simulated camera into the GigE device's buffer.
void fill(ArvBuffer* buffer, void* data, guint32 exposureUs, guint32 gain, ArvPixelFormat pixelFormat)
{
    State& s = *static_cast<State*>(data);
    std::lock_guard<std::mutex> lock(s.mutex);
    auto* out = static_cast<uint8_t*>(const_cast<void*>(arv_buffer_get_data(buffer, nullptr)));
    const size_t w = reg(s, kRegWidth), h = reg(s, kRegHeight);
    const size_t n = w * h;
    const size_t bytes = (((pixelFormat >> 16) & 0xFF) + 7) / 8;
    if (!s.drawEach && s.held.size() == n * bytes) {
        std::memcpy(out, s.held.data(), s.held.size());
        s.frames.fetch_add(1);
        updateFramePeriod(s);
        return;
    }
    lsxFrame f{};
    void* in = nullptr;
    const bool ok = syncSim(s, exposureUs, gain, pixelFormat) && lsxTriggerFire(s.sim) == LSX_OK
                    && lsxGetFrame(s.sim, &f, &in, 1000) == LSX_OK && size_t(f.width) * size_t(f.height) == n;
    if (!ok) {
        std::memset(out, 0, n * bytes);
    } else if (f.bits == LSX_BITS_16) {
        const auto* src = static_cast<const uint16_t*>(in);
        auto* dst = reinterpret_cast<uint16_t*>(out);
        // The simulated camera's 16-bit frames carry 10-bit data in the high bits; the GigE
        // formats keep their value in the low bits.
        const int shift = pixelFormat == kMono10 ? 6 : pixelFormat == kMono12 ? 4 : 0;
        for (size_t i = 0; i < n; ++i) dst[i] = uint16_t(src[i] >> shift);
    } else if (pixelFormat == kRGB8 || pixelFormat == kBGR8) {
        const auto* src = static_cast<const uint8_t*>(in);
        for (size_t i = 0; i < n; ++i) out[3 * i] = out[3 * i + 1] = out[3 * i + 2] = src[i];
    } else {
        std::memcpy(out, in, n);
    }
    s.held.assign(out, out + n * bytes);
    s.frames.fetch_add(1);
    updateFramePeriod(s);
}

bool controlPortFree()
{
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    if (fd < 0) return false;
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(3956);
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool free = ::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0;
    ::close(fd);
    return free;
}

void writeText(State& s, guint32 address, const std::string& text, size_t capacity)
{
    std::vector<char> field(capacity, 0);
    std::memcpy(field.data(), text.data(), std::min(text.size(), capacity - 1));
    arv_fake_camera_write_memory(s.fake, address, guint32(capacity), field.data());
}

std::string truth(State& s, int kind)
{
    std::lock_guard<std::mutex> lock(s.mutex);
    if (!s.live) return "error unplugged";
    syncSim(s, reg(s, kRegExposure), reg(s, kRegGain), reg(s, kRegPixelFormat));
    std::vector<float> values(size_t(s.roi.W > 0 ? s.roi.W : 16384));
    int32_t count = int32_t(values.size());
    if (s.api.getTruth(s.simName.c_str(), kind, 0, 0, values.data(), &count) != LSX_OK) return "error truth";
    std::ostringstream out;
    out << "ok " << count;
    out.precision(9);
    for (int32_t i = 0; i < count; ++i) out << ' ' << values[size_t(i)];
    return out.str();
}

std::string command(State& s, const std::string& line)
{
    std::istringstream in(line);
    std::string verb, arg;
    in >> verb >> arg;
    const char* cam = s.simName.c_str();
    if (verb == "scene") {
        const int kind = arg == "dark"      ? LSX_SIM_SCENE_DARK
                         : arg == "pattern" ? LSX_SIM_SCENE_PATTERN
                                            : LSX_SIM_SCENE_FLAT;
        return s.api.setScene(cam, kind, -1, -1, -1) == LSX_OK ? "ok" : "error scene";
    }
    if (verb == "light") {
        int32_t kind = 0;
        double level = 0, slope = 0, falloff = 0;
        s.api.getScene(cam, &kind, &level, &slope, &falloff);
        return s.api.setScene(cam, kind, std::atof(arg.c_str()), -1, -1) == LSX_OK ? "ok" : "error light";
    }
    if (verb == "noise") return s.api.setNoise(cam, arg == "on") == LSX_OK ? "ok" : "error noise";
    if (verb == "truth") return truth(s, arg == "signal" ? LSX_SIM_TRUE_SIGNAL : LSX_SIM_TRUE_DARK);
    if (verb == "peek") {
        std::lock_guard<std::mutex> lock(s.mutex);
        if (!s.live) return "error unplugged";
        return "ok " + std::to_string(reg(s, guint32(std::stoul(arg, nullptr, 0))));
    }
    if (verb == "frames") return "ok " + std::to_string(s.frames.load());
    if (verb == "draw") {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.drawEach = arg != "once";
        return "ok";
    }
    if (verb == "lose") {
        std::lock_guard<std::mutex> lock(s.mutex);
        if (!s.live) return "error unplugged";
        g_object_set(s.gv, "gvsp-lost-ratio", std::atof(arg.c_str()), nullptr);
        return "ok";
    }
    return "error unknown command";
}

// The device leaves the network: its thread ends (a frame it is filling finishes first, so the
// state's lock is not held here) and its sockets close.
void unplug(State& s)
{
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        if (!s.live) return;
        s.live = false;  // the frame clock lets go of the device
    }
    g_object_unref(s.gv);
    std::lock_guard<std::mutex> lock(s.mutex);
    s.gv = nullptr;
    s.fake = nullptr;
}

int fail(const std::string& why)
{
    std::cout << "failed: " << why << std::endl;
    return 2;
}

}  // namespace

int main(int argc, char** argv)
{
    std::string serial, xml, simCamera = "SIM-LS4096-M", model, simLibrary;
    bool builtin = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto next = [&]() { return i + 1 < argc ? std::string(argv[++i]) : std::string(); };
        if (a == "--serial")
            serial = next();
        else if (a == "--xml")
            xml = next();
        else if (a == "--builtin")
            builtin = true;
        else if (a == "--camera")
            simCamera = next();
        else if (a == "--model")
            model = next();
        else if (a == "--sim")
            simLibrary = next();
        else
            return fail("unknown option " + a);
    }
    if (serial.empty()) return fail("--serial is required");
    if (xml.empty() && !builtin) return fail("--xml or --builtin is required");
    if (simLibrary.empty() && std::getenv("LSX_LIBRARY")) simLibrary = std::getenv("LSX_LIBRARY");
    if (!controlPortFree()) {
        std::cout << "busy" << std::endl;
        return 3;
    }

    State s;
    s.ownTree = !builtin;
    s.simName = simCamera;
    const lsx::BindResult bound = lsx::bindLibrary(simLibrary);
    if (!bound.ok) return fail(bound.message);
    s.api = lsx::sim::loadApi(simLibrary.c_str());
    if (!s.api.ok()) return fail("the camera library has no simulator extensions");
    int32_t count = 0;
    lsxRefresh(&count);
    if (lsxOpenByName(simCamera.c_str(), LSX_OPEN_NORMAL, &s.sim) != LSX_OK) return fail("cannot open " + simCamera);
    s.api.setTimeScale(simCamera.c_str(), 0.0);
    lsxSetTriggerSource(s.sim, 0);
    lsxSetTriggerState(s.sim, true);
    lsxSetSourceFormat(s.sim, FORMAT_MONO);
    lsxSetTargetFormat(s.sim, FORMAT_MONO);
    s.target = FORMAT_MONO;
    lsxRegionDescr descr{};
    lsxGetRoiDescr(s.sim, &descr);
    lsxGetRoi(s.sim, &s.roi);
    s.roi.X = 0;
    s.roi.W = descr.maxWidth;
    s.roi.H = kDefaultLines;
    lsxSetRoi(s.sim, &s.roi);
    lsxStart(s.sim);

    s.gv = arv_gv_fake_camera_new_full("127.0.0.1", serial.c_str(), builtin ? nullptr : xml.c_str());
    if (!s.gv || !arv_gv_fake_camera_is_running(s.gv)) return fail("the GigE Vision device did not start");
    s.fake = arv_gv_fake_camera_get_fake_camera(s.gv);
    writeText(s, kRegVendor, "LSXTest", 32);
    writeText(s, kRegModel, model.empty() ? "LS" + std::to_string(descr.maxWidth) + "-GV" : model, 32);
    arv_fake_camera_write_register(s.fake, kRegSensorWidth, guint32(descr.maxWidth));
    arv_fake_camera_write_register(s.fake, kRegWidth, guint32(descr.maxWidth));
    arv_fake_camera_write_register(s.fake, kRegHeight, guint32(kDefaultLines));
    if (s.ownTree) {
        double exposure = 100.0;
        float gain = 1.0f;
        lsxGetExposure(s.sim, &exposure);
        lsxGetAnalogGain(s.sim, &gain);
        arv_fake_camera_write_register(s.fake, kRegSensorHeight, 1);
        arv_fake_camera_write_register(s.fake, kRegScanType, 1);
        arv_fake_camera_write_register(s.fake, kRegExposure, guint32(std::lround(exposure)));
        arv_fake_camera_write_register(s.fake, kRegGain, guint32(std::lround(gain * 100.0f)));
        arv_fake_camera_write_register(s.fake, kRegBlackLevel, 0);
        writeLineRate(s, kDefaultLineRate);
        updateFramePeriod(s);
    }
    // A software trigger is looked for every millisecond.
    arv_fake_camera_set_trigger_frequency(s.fake, 1000.0);
    arv_fake_camera_set_fill_pattern(s.fake, fill, &s);
    s.live = true;

    // Height and line rate written by the library take effect on the frame clock at once.
    std::thread clock([&s] {
        while (s.running.load()) {
            {
                std::lock_guard<std::mutex> lock(s.mutex);
                if (s.live) updateFramePeriod(s);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });

    std::cout << "ready " << serial << std::endl;
    std::string line;
    while (std::getline(std::cin, line)) {
        if (line == "quit") break;
        if (line.empty()) continue;
        std::string reply;
        if (line == "unplug") {
            unplug(s);
            reply = "ok";
        } else {
            try {
                reply = command(s, line);
            } catch (const std::exception& e) {
                reply = std::string("error ") + e.what();
            }
        }
        std::cout << reply << std::endl;
    }

    s.running.store(false);
    clock.join();
    unplug(s);
    lsxStop(s.sim);
    lsxClose(s.sim);
    lsx::unbindLibrary();
    return 0;
}

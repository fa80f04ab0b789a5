#pragma once
/*
 * Extensions of the simulated camera library (liblsxsim.so), for tests only.
 *
 * The simulated camera exports the 66 operations of lsx.h and, beside them, these lsxSim...
 * functions with C linkage. A camera is named either by an open handle or by its friendly
 * name: every function that takes `camera` accepts the decimal handle ("4097") or the
 * friendly name ("SIM-LS4096-M"); a null or empty `camera` means every camera.
 *
 * Built-in cameras, in enumeration order (friendly name at byte 640 of lsxCameraInfo):
 *   0 "SIM-LS4096-M"    mono one-line, 4096 columns, model "LSM4096A", DOffset through
 *                       GVR_SEN_BLACK_LEVEL, GVR_MULTI_FPN_SELECT 1, maxK 2, maxB 64.
 *   1 "SIM-LS2048-ML4"  mono, 2048 columns, 4 sensor lines interleaved row by row
 *                       (GVR_MULTI_FPN_SELECT 4).
 *   2 "SIM-LS2048-C"    trilinear colour, 2048 columns, targets 10/11/14/15, SCS keys.
 *   3 "SIM-LS8192-MLK"  mono, 8192 columns, multi-level K (factory bit 9), maxK 4, resolution
 *                       modes Full/SUM2/BIN2/SUM4/USER, binning enumerations, DOffset through
 *                       key 129 registers 83/84 (GVR_SEN_BLACK_LEVEL reads 0xFFFFFFFF).
 *   4 "SIM-TQW4A2N60"   model "TQW4A2N60" (a model without DOffset), mono one-line 4096.
 *   5 "SIM-TVK317"      sensor "TVK317", type "AreaScan", 1024 x 8 pixels per readout.
 *
 * Sensor model (per column x, plane p, sensor line l; values in 10-bit DN, DN10):
 *   q   = min(fullWell, darkCurrent[x] * exposure + response[x] * light(x) * exposure)
 *   raw = DOffset + dark[x] * (gain * (1 - postGainOffset) + postGainOffset)
 *         + gain * f_x(q) + noise,                        clipped to 0..1023
 * with q the pixel's charge in DN10 at gain 1 (ePerDn electrons per DN10), full well 1.25 x 1023.
 * f_x(q) = q * (1 - c_x q^2) is the column's own roll-off toward full well: its shortfall at 80 %
 * of full scale (q = 818.4) is nonLinearity + nonLinearitySpread * N(0,1) per column (defaults
 * 1 % and 0.4 %; lsxSimSetNonLinearity switches it off). The dark current (default 0.5 DN10/ms,
 * 10 % column spread) grows with the exposure; the hot columns are dark-current defects (hotAmp,
 * default 300 DN10/ms). Temporal noise: read noise, of which the share postGainNoise (0.3) of its
 * variance at gain 1 arises after the amplifier (the input-referred noise falls with gain), and
 * the shot noise of the whole charge through the response's slope. Binning: SUM adds the binned
 * pixels (levels and variances), BIN averages them (the variance divided by the pixels binned);
 * in the "USER" mode "BinningVertical" bins rows of the same column the same way.
 * 16-bit output is raw << 6 (full scale 65472), 8-bit output raw >> 2. The camera's own
 * corrections follow: (raw - B) * K (FPN), * flat-field K, * target/poly (LSC); on 16-bit mono
 * output they work at the output's resolution (the FPN record's B comes in 16-bit units), so a
 * corrected sample is rounded to the 16-bit sample, not back to a whole DN10.
 *
 * The camera's clock: a line takes 1 / LineRate, or the exposure when that is longer (the line
 * rate is limited by the exposure: at LineRate 10000 an exposure of 500 us makes a line 500 us);
 * a frame takes its rows' lines (times the vertical binning). The area camera reads its rows after
 * one exposure. lsxFrame.frameId counts the camera's read-outs since open (frames the host was too
 * late for are skipped: free running, a frame is overwritten by the next); lsxFrame.timestampUs is
 * the end of the frame's read-out on the camera's clock, in microseconds since open. At time scale
 * 0 the clock stands still between frames and each read-out takes its time at once.
 *
 * Temporal noise differs from one opening to the next (and after lsxSimReset) and is the same
 * for the same sequence of openings in one process; lsxSimSetNoiseSeed, or "noiseSeed" in the
 * configuration, fixes it.
 *
 * The camera's firmware, as the records of the program meet it:
 *  - FPN sets: "FPNC.Selector" chooses among "factory", "UserSet0".."UserSet2" (default
 *    "UserSet0"). Key 45 types 2 (dark half: B) and 3 (bright half: K) go to the selected set;
 *    types 0 (whole set; on the area camera it goes to the selected set), 5 (dark half) and 6 (one
 *    K band at the head's Level, 8-bit scale) go to the "factory" set, and any write reaching the
 *    factory set answers -1202 unless the camera was opened in mode 5. Applied as (v - B) * K
 *    while "FPNC.Enable" is "true" (key 46 is the same switch); with K bands, K follows the
 *    pixel's level (v - B) / 4, interpolated between the bands. B comes on the scale of the head's
 *    bit depth (8-bit on the area camera); rows of several gains are chosen by the analog gain
 *    (row block round(gain - 1)). Reading key 45 gives the selected set at the current gain, B on
 *    the current output's scale, the DOffset it was written with at byte 9 (K 1, B 0 if never
 *    written).
 *  - Flat field: key 45 type 4 lands in the set "PRNUC" selects ("UserSet0".."UserSet3"), or,
 *    with "Disable" selected, in the set selected next. Applied as a gain when key 40's byte 1
 *    is 1 and byte 6 is 1 or 2. Memory 0x2C00000 shows the selected set.
 *  - Lens shading: the block written at 0x1002E00 (magic and checksum checked, -50), stored into
 *    set byte 2 of 0x10011DC by writing 2 to 0x10011EC, chosen by "LSC" ("UserSet0".."UserSet15"),
 *    applied as target / polynomial(column - block's X) when key 40's byte 1 is 1 and byte 6 is 0
 *    or 2.
 *  - Correction data lives in the camera's memory: lsxSaveConfig/lsxLoadConfig save and restore
 *    the settings (formats, ROI, exposure, gain, trigger, selections, switches, DOffset, ...), not
 *    the sets, so a restore of the state found at open keeps a calibration written since.
 *  - The camera's non-volatile memory (the FPN user sets and the factory set, the flat-field sets,
 *    the lens-shading sets of the FLASH store, the gain table, the factory record and the stored
 *    DOffset) outlives the process, as a real camera's outlives a power cycle: it is kept in the
 *    state folder LSX_SIM_STATE (default $XDG_STATE_HOME/lsxsim, else ~/.local/state/lsxsim),
 *    one file per camera, rewritten after every change, so that a second process opening the same
 *    camera finds what the first wrote. The settings are not kept: a new process finds them at
 *    their defaults. A file written for another sensor geometry, or one that does not parse, is
 *    not taken; the camera then starts empty and its log says why.
 *
 * LSX_SIM_CONFIG names a JSON file (see sim/simconfig.cpp for its fields). Every field is
 * checked for its type and range; a camera with a bad or unknown field is not built, and the
 * refusal names the camera, the field and the range, on stderr (unless LSX_SIM_QUIET is set)
 * and in the library's log (lsxSimLogLine). A file that cannot be read or is no JSON object
 * leaves no camera at all. The file is read at the first call of any operation, so its faults
 * apply from the first call.
 *
 * No exception leaves the library: an operation that runs out of memory answers -1200, any other
 * failure inside it -1.
 *
 * Statuses, as the maker's library answers them: -13 for a handle that is not open, -1104 once
 * the camera is disconnected, -4 for null or malformed arguments, -5 for values out of range,
 * -2 for what the model lacks, -1202 for a protected write, -42 for a record or buffer of the
 * wrong size, -50 for a bad LSC block, -1000 for a frame time-out, -10 for lsxGetFrame or
 * lsxTriggerFire on a stopped stream (also a wait ended by lsxStop), -53 for a fire outside
 * software-trigger mode. lsxStart on a running stream answers 2. lsxOpenByName answers -1100
 * when no camera is connected, -1101 for an unknown name, -1102 when the camera is already open
 * (one handle per camera, as on a real link).
 *
 * Other modules' tests reach the camera through lsx/loader; they control the same simulated
 * camera through lsx::sim::api() below, which finds the library named by LSX_LIBRARY.
 */
#include "lsx.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Scenes of lsxSimSetScene */
enum { LSX_SIM_SCENE_DARK = 0, LSX_SIM_SCENE_FLAT = 1, LSX_SIM_SCENE_PATTERN = 2 };

/* Truth kinds of lsxSimGetTruth */
enum {
    LSX_SIM_TRUE_DARK = 0,        /* noise-free dark level before corrections: DOffset + gain*dark, DN10 */
    LSX_SIM_TRUE_SIGNAL = 1,      /* noise-free scene signal above dark at the current settings, DN10 */
    LSX_SIM_TRUE_RESPONSE = 2,    /* the pixel's response factor (PRNU, weak columns), around 1.0 */
    LSX_SIM_TRUE_LIGHT = 3,       /* the scene's light at the column, DN10 per microsecond at gain 1 */
    LSX_SIM_TRUE_NOISE = 4,       /* temporal standard deviation before the ADC at the current settings, DN10 */
    LSX_SIM_TRUE_DARK_CURRENT = 5 /* the column's dark current, DN10 per millisecond at gain 1 */
};

/* Scene: kind LSX_SIM_SCENE_xxx; level = light at the line's centre in DN10 per microsecond at
 * gain 1 (<= 0 keeps the current level); slope = light difference from edge to edge as a
 * fraction (0.1 = the right end 10 % brighter than the left); falloff = drop of the lens
 * fall-off at the line's ends (0.25 = ends at 75 %). Negative slope/falloff keep theirs. */
LSX_API lsxStatus lsxSimSetScene(const char* camera, int32_t kind, double level, double slope, double falloff);

/* The scene as it stands, in the terms of lsxSimSetScene, of one camera. */
LSX_API lsxStatus lsxSimGetScene(const char* camera, int32_t* kind, double* level, double* slope, double* falloff);

/* Temporal noise (read and shot noise) on or off; off gives exact, repeatable frames. */
LSX_API lsxStatus lsxSimSetNoise(const char* camera, bool on);

/* The noise of the open camera from now on: the same seed gives the same noise, frame by frame. */
LSX_API lsxStatus lsxSimSetNoiseSeed(const char* camera, uint32_t seed);

/* The columns' roll-off toward full well on (the default) or off (a linear response). */
LSX_API lsxStatus lsxSimSetNonLinearity(const char* camera, bool on);

/* Time scale of the camera's clock: 1 = real read-out time (ROI height x line period per frame),
 * 0 = frames at once. Injected time-outs wait their time-out times this scale. 0 to 1000. */
LSX_API lsxStatus lsxSimSetTimeScale(const char* camera, double scale);

/* Fault: the operation `op` (e.g. "lsxSetExposure", or "*" for every operation) answers
 * `status` after `afterCalls` further calls have passed, for `times` calls (0 = for ever).
 * Counting is over all cameras. A second fault on the same op replaces the first. */
LSX_API lsxStatus lsxSimInjectFault(const char* op, int32_t afterCalls, lsxStatus status, int32_t times);
/* Statuses of lsxSimInjectFault that make the operation throw inside the library instead, to
 * prove its boundary: the operation still answers a status, -1200 and -1. */
enum { LSX_SIM_THROW_NO_MEMORY = -0x7FFFFF00, LSX_SIM_THROW_ERROR = -0x7FFFFF01 };
LSX_API lsxStatus lsxSimClearFaults(void);

/* The next n lsxGetFrame calls of the camera time out (-1000), each after its time-out
 * times the time scale. A triggered frame stays pending and is delivered by the next call. */
LSX_API lsxStatus lsxSimFrameTimeouts(const char* camera, int32_t n);

/* The camera disconnects after n more delivered frames: from then on every operation on its
 * handle answers -1104 (lsxClose succeeds and frees the handle) and lsxRefresh no longer
 * finds it, until lsxSimReconnect or lsxSimReset. n = 0 disconnects now, n < 0 cancels. */
LSX_API lsxStatus lsxSimDisconnectAfterFrames(const char* camera, int32_t n);
LSX_API lsxStatus lsxSimReconnect(const char* camera);

/* The camera's truth for the current ROI columns, one value per output column (after
 * binning), for colour plane `plane` (0 B, 1 G, 2 R; 0 for mono) and sensor line `line`
 * (0 for one-line sensors). `count` is the capacity of `out` in values; on return the number
 * written. */
LSX_API lsxStatus lsxSimGetTruth(const char* camera, int32_t kind, int32_t plane, int32_t line, float* out,
                                 int32_t* count);
/* The truth at a given level: LSX_SIM_TRUE_SIGNAL gives the signal above dark the column delivers
 * (noise-free, before clipping, DN10 at the current gain and binning) when its ideal, linear
 * signal is `level` DN10; LSX_SIM_TRUE_NOISE the temporal standard deviation there. Dark current
 * and the current exposure included. Other kinds answer -4. */
LSX_API lsxStatus lsxSimGetTruthAt(const char* camera, int32_t kind, int32_t plane, int32_t line, double level,
                                   float* out, int32_t* count);
/* Shorthands: LSX_SIM_TRUE_DARK and LSX_SIM_TRUE_SIGNAL. */
LSX_API lsxStatus lsxSimGetTrueDark(const char* camera, int32_t plane, int32_t line, float* out, int32_t* count);
LSX_API lsxStatus lsxSimGetTrueResponse(const char* camera, int32_t plane, int32_t line, float* out, int32_t* count);

/* Number of frames the camera has delivered since it was opened, and of trigger fires. */
LSX_API lsxStatus lsxSimGetCounters(const char* camera, uint64_t* frames, uint64_t* triggers);

/* The library's log (lsxDebugFormat): number of lines kept (the last 256) and line `index`
 * (0 = oldest kept). Lines are also written to stderr when LSX_SIM_LOG is set. */
LSX_API lsxStatus lsxSimLogCount(int32_t* count);
LSX_API lsxStatus lsxSimLogLine(int32_t index, char* text, uint32_t size);

/* Back to the start: all cameras closed and rebuilt from the built-ins and LSX_SIM_CONFIG
 * (read again), faults cleared, log emptied, the state folder's memory files removed (the cameras
 * are new, here and in the next process). Handles of before answer -13. */
LSX_API lsxStatus lsxSimReset(void);

#ifdef __cplusplus
} /* extern "C" */

#include <dlfcn.h>
#include <cstdlib>

namespace lsx {
namespace sim {

// The extension functions of the simulated camera that the process has loaded (or loads):
// the library named by LSX_LIBRARY, found with RTLD_NOLOAD first so that the instance bound
// by lsx/loader is the one controlled. Members stay null when no simulator is there.
struct Api {
    decltype(&::lsxSimSetScene) setScene = nullptr;
    decltype(&::lsxSimGetScene) getScene = nullptr;
    decltype(&::lsxSimSetNoise) setNoise = nullptr;
    decltype(&::lsxSimSetNoiseSeed) setNoiseSeed = nullptr;
    decltype(&::lsxSimSetNonLinearity) setNonLinearity = nullptr;
    decltype(&::lsxSimSetTimeScale) setTimeScale = nullptr;
    decltype(&::lsxSimInjectFault) injectFault = nullptr;
    decltype(&::lsxSimClearFaults) clearFaults = nullptr;
    decltype(&::lsxSimFrameTimeouts) frameTimeouts = nullptr;
    decltype(&::lsxSimDisconnectAfterFrames) disconnectAfterFrames = nullptr;
    decltype(&::lsxSimReconnect) reconnect = nullptr;
    decltype(&::lsxSimGetTruth) getTruth = nullptr;
    decltype(&::lsxSimGetTruthAt) getTruthAt = nullptr;
    decltype(&::lsxSimGetTrueDark) getTrueDark = nullptr;
    decltype(&::lsxSimGetTrueResponse) getTrueResponse = nullptr;
    decltype(&::lsxSimGetCounters) getCounters = nullptr;
    decltype(&::lsxSimLogCount) logCount = nullptr;
    decltype(&::lsxSimLogLine) logLine = nullptr;
    decltype(&::lsxSimReset) reset = nullptr;
    void* library = nullptr;
    bool ok() const { return reset != nullptr; }
};

inline Api loadApi(const char* path = nullptr)
{
    Api api;
    if (!path) path = std::getenv("LSX_LIBRARY");
    if (!path || !*path) return api;
    void* lib = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
    if (!lib) lib = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!lib) return api;
    api.library = lib;
#define LSX_SIM_RESOLVE(member, symbol) api.member = reinterpret_cast<decltype(api.member)>(dlsym(lib, #symbol));
    LSX_SIM_RESOLVE(setScene, lsxSimSetScene)
    LSX_SIM_RESOLVE(getScene, lsxSimGetScene)
    LSX_SIM_RESOLVE(setNoise, lsxSimSetNoise)
    LSX_SIM_RESOLVE(setNoiseSeed, lsxSimSetNoiseSeed)
    LSX_SIM_RESOLVE(setNonLinearity, lsxSimSetNonLinearity)
    LSX_SIM_RESOLVE(setTimeScale, lsxSimSetTimeScale)
    LSX_SIM_RESOLVE(injectFault, lsxSimInjectFault)
    LSX_SIM_RESOLVE(clearFaults, lsxSimClearFaults)
    LSX_SIM_RESOLVE(frameTimeouts, lsxSimFrameTimeouts)
    LSX_SIM_RESOLVE(disconnectAfterFrames, lsxSimDisconnectAfterFrames)
    LSX_SIM_RESOLVE(reconnect, lsxSimReconnect)
    LSX_SIM_RESOLVE(getTruth, lsxSimGetTruth)
    LSX_SIM_RESOLVE(getTruthAt, lsxSimGetTruthAt)
    LSX_SIM_RESOLVE(getTrueDark, lsxSimGetTrueDark)
    LSX_SIM_RESOLVE(getTrueResponse, lsxSimGetTrueResponse)
    LSX_SIM_RESOLVE(getCounters, lsxSimGetCounters)
    LSX_SIM_RESOLVE(logCount, lsxSimLogCount)
    LSX_SIM_RESOLVE(logLine, lsxSimLogLine)
    LSX_SIM_RESOLVE(reset, lsxSimReset)
#undef LSX_SIM_RESOLVE
    return api;
}

// The process-wide instance, resolved on first use.
inline const Api& api()
{
    static const Api instance = loadApi();
    return instance;
}

}  // namespace sim
}  // namespace lsx
#endif /* __cplusplus */

#pragma once
// The stages of the calibration verification (calibration/verification.cpp tells the story):
// the camera's settings as found and the way back to them, a stack of lines per plane, the
// exposure of a level of saturation, a dark stack measured clear of 0, and the camera's image
// while the run waits for the operator. They run on the worker, inside verifyStart.
#include "calibration/verifystats.h"
#include "camera/cameraserver.h"

#include <QString>

#include <functional>
#include <vector>

namespace verify {

// How a stage ended early: quietly on a cancel, or on a failure told in `text` (empty when the
// failing step has told it already).
struct Stop {
    enum Kind { None, Cancelled, Failed };
    Kind kind = None;
    QString text;
    bool any() const { return kind != None; }
    static Stop cancel() { return {Cancelled, QString()}; }
    static Stop failure(const QString& text) { return {Failed, text}; }
};

// The camera's switches, exposure and black level as the verification found them, and the way
// back to them. The stream goes off and everything changed goes back at restore(), which runs at
// the latest when the keeper goes out of scope, so that no end of the run leaves the camera as
// the measurement had it.
class SwitchKeeper {
public:
    explicit SwitchKeeper(CameraServer& s) : m_s(s) {}
    ~SwitchKeeper() { restore(); }
    SwitchKeeper(const SwitchKeeper&) = delete;
    SwitchKeeper& operator=(const SwitchKeeper&) = delete;

    // The FPN switch (its text, else key 46), the flat-field block, the trigger, the formats, the
    // exposure and the black level (where the camera has one); the first failing status. Nothing
    // is changed before all of them are known.
    lsxStatus read();

    bool fpnOn() const { return m_fpnOn; }
    bool flatOn() const { return m_flat.enable != 0; }
    double exposure() const { return m_exposure; }
    int doffset() const { return m_doffset; }
    // Whether the black level can be lifted (the camera has one and it was read).
    bool hasDoffset() const { return m_hasDoffset; }

    // Raw 16-bit mono, as the calibrations measure: an 8-bit mono source or target is widened.
    void sixteenBit();
    lsxStatus softTrigger();
    // The FPN switch and the flat-field block as found.
    lsxStatus correctionsAsFound();
    lsxStatus setExposure(double us);
    // The black level as found plus `lift`.
    lsxStatus liftDoffset(int lift);

    // Stream off, then formats, trigger, corrections, exposure and black level as found; every
    // step is tried, the first failing status is the answer. Once only.
    lsxStatus restore();

private:
    CameraServer& m_s;
    bool m_known = false;
    bool m_fpnByText = false;
    bool m_fpnOn = false;
    lsxCorrectionSwitch m_flat{};
    bool m_triggerOn = false;
    int32_t m_triggerSource = 0;
    int32_t m_source = -1, m_target = -1;
    double m_exposure = 0.0;
    int m_doffset = 0;
    bool m_hasDoffset = false;
    bool m_sourceChanged = false, m_targetChanged = false, m_triggerTouched = false;
    bool m_exposureChanged = false, m_doffsetChanged = false;
    bool m_restored = false;
    lsxStatus m_restoreStatus = LSX_OK;
};

// The planes of one stack: frames on soft trigger, the first let pass (it may have been exposed
// before the last change of the camera), then each frame dealt into its planes and their rows
// appended, until every plane holds `lines` rows. Two time-outs in a row are waited through.
struct StackGrab {
    std::vector<cv::Mat> planes;
    int bits = 0;
    int format = 0;
    Stop stop;
};
using Cancelled = std::function<bool()>;
// `progress`: where the panel's bar stands while a silent camera is waited for.
constexpr int kWaitProgress = 50;
StackGrab grabStack(CameraServer& s, int lines, int progress, const Cancelled& cancelled);

// The exposure of one level of saturation, with the camera's corrections off: the brightest
// plane's mean (DN10) over full scale is brought to `target` per cent by scaling the exposure
// with the level measured, from `start`, within the camera's range; a frame cut off at full
// scale halves it. Fails, with what the operator must change, when the lit stage is dark (below
// 1 % at an exposure), the level lies outside the camera's exposures, or it is not reached in a
// few steps.
struct LevelExposure {
    double exposure = 0.0;
    double reached = 0.0;  // per cent of full scale, the brightest plane, dark included
    Stop stop;
};
LevelExposure findLevelExposure(CameraServer& s, SwitchKeeper& keeper, double target, const Cancelled& cancelled);

// One dark stack per plane, clear of 0, at the exposure and corrections as set. Taken as it comes
// when no column has more than 1 % of its samples at 0; otherwise the black level is lifted, by 4,
// 8, 16, ... steps as far as the camera's limit allows, until no column has, and a second stack is
// taken a few steps higher; the two give the dark at the black level as found (extrapolatedDark),
// and the black level goes back. Without a black level to lift, or when no lift clears every
// column, the dark is not measurable (DarkLift::measurable false, the stacks as they came).
// One lifted stack per plane as grabbed: the black level `lift` steps above its value as found,
// over `steps` steps from there (rows [j * rowsPerStep, (j + 1) * rowsPerStep) at lift + j).
struct DarkPart {
    int lift = 0;
    int steps = 1;
    int rowsPerStep = 0;
    std::vector<cv::Mat> planes;
};
struct DarkGrab {
    std::vector<cv::Mat> planes;  // raw samples as they came, or CV_64F extrapolated
    // The raw stack at the black level as found, whatever `planes` holds: what a lens left open
    // is judged on.
    std::vector<cv::Mat> asFound;
    std::vector<DarkLift> lifts;  // per plane
    // With `keepParts`: every lifted stack in the order taken, those too near 0 included; the
    // ones the dark was extrapolated from are at lifts[p].first and .second when measurable.
    std::vector<DarkPart> parts;
    int bits = 0;
    int format = 0;
    Stop stop;
};
DarkGrab grabDark(CameraServer& s, SwitchKeeper& keeper, int lines, const Cancelled& cancelled, bool keepParts = false);

// One frame of the camera as the window shows it, sent with OS_VerifyFrame: soft trigger, then
// the frame, its picture and its row of column means. Nothing when no frame comes in `timeoutMs`.
void showFrame(CameraServer& s, uint32_t timeoutMs);

}  // namespace verify

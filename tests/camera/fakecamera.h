#pragma once
// A scripted camera library for the server's tests: every operation of the contract, with the
// answers and records a test sets through fakecamControl() (reached with dlsym on the library
// the loader bound), and counters of what the program asked.
#include "lsx.h"

enum { FAKECAM_MAX_CAMERAS = 4, FAKECAM_PATH_SIZE = 512 };

struct FakeCam {
    lsxCameraInfo info;
    lsxStatus enumStatus;     // answer of lsxEnum for this index
    lsxStatus factoryStatus;  // answer of lsxGet(136)
    lsxFactoryRecord factory;
    lsxStatus lineRegStatus;  // answer of the GVR_MULTI_FPN_SELECT read
    uint32_t lineReg;
    int32_t state;  // the camera's whole state, as lsxSaveConfig/lsxLoadConfig see it
    int32_t roiWidth;
    lsxStatus roiStatus;
};

struct FakeCamControl {
    int32_t cameraCount;
    FakeCam cams[FAKECAM_MAX_CAMERAS];
    lsxStatus openStatus;
    lsxStatus closeStatus;
    lsxStatus cameraInfoStatus;
    lsxStatus loadConfigStatus;  // forced answer of lsxLoadConfig when not 1 (the file is not read)
    lsxStatus dialogStatus;
    // What the program did
    int32_t openCalls, closeCalls, saveConfigCalls, loadConfigCalls;
    int32_t factoryReads, lineRegReads, dialogCalls;
    int32_t lastOpenMode;
    char lastOpenName[FAKECAM_PATH_SIZE];
    char lastSavePath[FAKECAM_PATH_SIZE];
    char lastLoadPath[FAKECAM_PATH_SIZE];
};

extern "C" {
typedef FakeCamControl* (*FakeCamControlFn)();
typedef void (*FakeCamResetFn)();
LSX_API FakeCamControl* fakecamControl();
// Three line-scan cameras "FAKE-A", "FAKE-B", "FAKE-C", all answers 1, counters zero.
LSX_API void fakecamReset();
}

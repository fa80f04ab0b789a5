#pragma once
// Binds the 66 camera operations of lsx.h from one shared library chosen at start.
//
// The program calls the operations under their own names (lsxOpenByName, lsxGetFrame, ...);
// those are thin forwarders defined by this module. Until a library is bound, or after a
// library failed to bind, every operation answers LSX_ERR_NOT_CONNECTED (-7) and lsxRefresh
// counts no camera, so the program starts and shows an empty camera list.

#include <cstdint>
#include <string>

namespace lsx {

struct BindResult {
    bool ok = false;
    std::string path;           // the library that was tried
    std::string missingSymbol;  // the first operation the library lacks, if that was the failure
    std::string message;        // operator message (the language installed), empty on success
};

// Binds every operation from the library at path, all or nothing: on any failure nothing stays
// bound and the previous binding is dropped. Not thread-safe: call before the camera is used.
BindResult bindLibrary(const std::string& path);

// Drops the binding; every operation answers -7 again.
void unbindLibrary();

bool isBound();
std::string boundLibraryPath();

// The scene of a simulated camera, in the terms of its library's lsxSimSetScene: kind 0 dark
// (the lens cap on), 1 a flat target, 2 a test pattern; the light at the line's centre in 10-bit
// units per microsecond at gain 1; the light's slope from edge to edge and the lens fall-off at
// the ends, as fractions.
struct Scene {
    int32_t kind = 1;
    double level = 0.0;
    double slope = 0.0;
    double falloff = 0.0;
};

// Whether the bound library lets the program set its scene: our simulated camera does, a real
// camera library does not. Bound beside the operations when the library exports lsxSimGetScene
// and lsxSimSetScene; their absence is no failure.
bool hasSceneControl();
// The scene of a camera by friendly name; -2 (not supported) without scene control.
int32_t getScene(const std::string& camera, Scene& scene);
int32_t setScene(const std::string& camera, const Scene& scene);

// The simulated camera's file name, as installed beside the executable.
std::string simulatorFileName();

// The library to bind, in order: the --sdk option, the environment variable LSX_LIBRARY,
// the simulator beside the executable (exeDir).
std::string chooseLibrary(const std::string& sdkOption, const std::string& exeDir);

// What the operator must hear about that choice beyond a failure to bind: a --sdk option given
// with an empty path falls through to LSX_LIBRARY or the simulator, which names `chosen`. Empty
// when there is nothing to say.
std::string emptySdkNote(bool sdkOptionGiven, const std::string& sdkOption, const std::string& chosen);

}  // namespace lsx

#pragma once
// Binds the 66 camera operations of lsx.h from one shared library chosen at start.
//
// The program calls the operations under their own names (lsxOpenByName, lsxGetFrame, ...);
// those are thin forwarders defined by this module. Until a library is bound, or after a
// library failed to bind, every operation answers LSX_ERR_NOT_CONNECTED (-7) and lsxRefresh
// counts no camera, so the program starts and shows an empty camera list.

#include <string>

namespace lsx {

struct BindResult {
    bool ok = false;
    std::string path;           // the library that was tried
    std::string missingSymbol;  // the first operation the library lacks, if that was the failure
    std::string message;        // operator message (Chinese), empty on success
};

// Binds every operation from the library at path, all or nothing: on any failure nothing stays
// bound and the previous binding is dropped. Not thread-safe: call before the camera is used.
BindResult bindLibrary(const std::string& path);

// Drops the binding; every operation answers -7 again.
void unbindLibrary();

bool isBound();
std::string boundLibraryPath();

// The simulated camera's file name, as installed beside the executable.
std::string simulatorFileName();

// The library to bind, in order: the --sdk option, the environment variable LSX_LIBRARY,
// the simulator beside the executable (exeDir).
std::string chooseLibrary(const std::string& sdkOption, const std::string& exeDir);

}  // namespace lsx

#pragma once
// Every operation of the camera library that takes a handle, called with valid arguments (the
// table shared with the other camera libraries' contract tests), and what each built-in camera
// answers: for the contract test and the library's boundary test.
#include "common/contractops.h"
#include "simtestutil.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace simtest {

// 1, or -2 where the family lacks the feature (colour operations on mono cameras, the binning
// enumerations, the dialog), or the checksum refusal of a block of zeros.
struct Op {
    const char* name;
    std::function<lsxStatus(lsxHandle)> call;
    std::function<lsxStatus(const QString&)> expected;
};

inline lsxStatus ok(const QString&)
{
    return LSX_OK;
}

inline std::vector<Op> everyOperation(const QString& configPath)
{
    auto colour = [](const QString& n) { return n == "SIM-LS2048-C" ? LSX_OK : LSX_ERR_NOT_SUPPORTED; };
    auto mlk = [](const QString& n) { return n == "SIM-LS8192-MLK" ? LSX_OK : LSX_ERR_NOT_SUPPORTED; };
    const std::map<std::string, std::function<lsxStatus(const QString&)>> answers = {
        {"lsxShowPropertyModalDialog", [](const QString&) { return LSX_ERR_NOT_SUPPORTED; }},
        {"lsxGetColorSolutionSelDetail", colour},
        {"lsxSetColorSolutionSel", colour},
        {"lsxSetUserColorMatrix", colour},
        {"lsxGetEnumValue", mlk},
        {"lsxGetEnumNameValue", mlk},
        {"lsxSetEnumValueByString", mlk},
        {"lsxWriteGenICamMem", [](const QString&) { return LSX_ERR_CHECKSUM; }},
    };
    std::vector<Op> ops;
    for (const contract::Operation& op : contract::everyOperation(configPath.toLocal8Bit())) {
        const auto it = answers.find(op.name);
        ops.push_back({op.name, op.call, it == answers.end() ? ok : it->second});
    }
    return ops;
}

}  // namespace simtest

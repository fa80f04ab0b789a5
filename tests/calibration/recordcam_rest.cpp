// The operations recordcam.cpp does not script: each records its call (the handle left out) and
// answers its fault or 1. Weak definitions, replaced in the link by the scripted ones.
#include "recordcam.h"

namespace {

template <typename H, typename... A>
lsxStatus answer(const char* name, H, A... a)
{
    const lsxStatus fault = recordCall(name, recordArgs(a...));
    return fault ? fault : LSX_OK;
}

}  // namespace

extern "C" {
#define RECORDCAM_WEAK(name, params, args)                         \
    __attribute__((weak)) lsxStatus name params                    \
    {                                                              \
        return [](auto... a) { return answer(#name, a...); } args; \
    }
LSX_OPERATIONS(RECORDCAM_WEAK)
#undef RECORDCAM_WEAK
}

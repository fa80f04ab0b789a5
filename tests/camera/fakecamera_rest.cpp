// The operations the server's tests don't script: weak definitions answering 1, replaced in
// the link by the scripted ones of fakecamera.cpp.
#include "lsx.h"

namespace {
template <typename... A>
lsxStatus answerOk(A...)
{
    return LSX_OK;
}
}  // namespace

extern "C" {
#define FAKECAM_WEAK(name, params, args)        \
    __attribute__((weak)) lsxStatus name params \
    {                                           \
        return answerOk args;                   \
    }
LSX_OPERATIONS(FAKECAM_WEAK)
#undef FAKECAM_WEAK
}

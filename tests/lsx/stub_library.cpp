// A tiny camera library for the loader's tests: exports every operation of the contract.
// Each answers LSX_OK, lsxRefresh counts 3 cameras. The "missing" variant of it is linked with
// a version script that hides one operation.
#include "lsx.h"

namespace {
template <typename... A>
lsxStatus stubAnswer(A...)
{
    return LSX_OK;
}
lsxStatus stubAnswer(int32_t* count)
{
    *count = 3;
    return LSX_OK;
}
}  // namespace

extern "C" {
#define LSX_STUB(name, params, args) \
    lsxStatus name params            \
    {                                \
        return stubAnswer args;      \
    }
LSX_OPERATIONS(LSX_STUB)
#undef LSX_STUB
lsxStatus lsxDebugFormat(lsxHandle, int32_t, const char*, const char*, ...)
{
    return LSX_OK;
}
}

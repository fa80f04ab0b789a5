// Placeholder until the simulated camera lands: no camera, every operation unsupported.
#include "lsx.h"
namespace {
template <typename... A>
lsxStatus unsupported(A...) { return LSX_ERR_NOT_SUPPORTED; }
}  // namespace
extern "C" {
#define LSX_PLACEHOLDER(name, params, args) lsxStatus name params { return unsupported args; }
LSX_OPERATIONS(LSX_PLACEHOLDER)
#undef LSX_PLACEHOLDER
lsxStatus lsxDebugFormat(lsxHandle, int32_t, const char*, const char*, ...) { return LSX_ERR_NOT_SUPPORTED; }
}

// The version record and the cycle counter.
#include "core/platform.h"
#include "vrn.h"

namespace {
constexpr VrnLibVersion kVersion = {
    2, 5, 9, "vrnq4.dll", "2.5 Release SP1", "[2.5.9.89, 03/05/2002]", "Mar  5 2002", "DLL",
};
}  // namespace

extern "C" {
VRN_API const VrnLibVersion* vrnGetLibVersion(void) { return &kVersion; }
VRN_API int64_t vrnGetKestrelCounter(void) { return vrn::platform::cycleCounter(); }
}

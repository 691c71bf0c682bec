// Reports the Highway target that dynamic dispatch picks, so that the test
// support can prove that restricting the targets really switches them.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "support/hwy_probe.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace vrntest::HWY_NAMESPACE {
int64_t ProbeTarget() { return HWY_TARGET; }
}  // namespace vrntest::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vrntest {
HWY_EXPORT(ProbeTarget);
int64_t dispatchedTarget() { return HWY_DYNAMIC_DISPATCH(ProbeTarget)(); }
}  // namespace vrntest
#endif

// vrnMultiplyS: an image times a constant, saturated by depth (32S through
// the double product).  1-bit images are ANDed with the value, and on
// unsigned depths a value below 1 clears the image through vrnAndS; both are
// handed over before any check of this function's own.  A value above the
// unsigned maximum saturates as the maximum does, and is taken as it.
#include "arith/scalar_rules.h"
#include "core/report.h"

using namespace vrn;

extern "C" VRN_API void vrnMultiplyS(VrnImage* srcImage, VrnImage* dstImage, int value) {
  if (!srcImage) {
    VRN_REPORT(VRN_StsBadArg, "vrnMultiplyS", "srcImage==0");
    return;
  }
  const int depth = srcImage->depth;
  if (depth == VRN_DEPTH_32F) {
    VRN_REPORT(VRN_StsBadArg, "vrnMultiplyS", "For processing depth 32F use function vrnMultiplySFP");
    return;
  }
  if (depth == VRN_DEPTH_1U) {
    vrnAndS(srcImage, dstImage, static_cast<unsigned>(value));
    return;
  }
  if (depth == VRN_DEPTH_8U || depth == VRN_DEPTH_16U) {
    const int m = 0x7FFFFFFF >> (31 - (depth & VRN_DEPTH_MASK));
    if (value < 1) {
      vrnAndS(srcImage, dstImage, 0);
      return;
    }
    if (value > m) value = m;
  }
  Frame frame("vrnMultiplyS");
  if (!frame.prepare(srcImage, dstImage)) return;
  forSampleType(frame.depth(), [&]<class T>() {
    if constexpr (!DepthTraits<T>::isFloat) runScalarRule<MultiplyConstant<T>>(frame, value);
  });
}

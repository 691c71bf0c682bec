// vrnLShiftS and vrnRShiftS: samples shifted by a constant count.  A count
// of 0 is a plain copy, handed to vrnXorS with 0 before anything else.  A
// count of the depth's bits or more (compared unsigned) clears the image
// through vrnAndS, except that a signed right shift goes on with bits - 1,
// which leaves 0 or -1.  The left shift is on the bits and truncates, with
// no saturation; the right shift is logical for unsigned samples and
// arithmetic for signed ones.  32F is refused.
#include "arith/scalar_rules.h"
#include "core/report.h"

using namespace vrn;

namespace {

// The frame and kernels of a shift by a count in [1, bits).
template <template <class> class Def>
void runShift(const char* func, VrnImage* srcImage, VrnImage* dstImage, unsigned nShift) {
  Frame frame(func);
  if (!frame.prepare(srcImage, dstImage)) return;
  if (frame.depth() == kD32F) {
    VRN_REPORT(VRN_StsBadArg, func, "This function does not support depth 32F");
    return;
  }
  forSampleType(frame.depth(), [&]<class T>() {
    if constexpr (!DepthTraits<T>::isFloat) runScalarRule<Def<T>>(frame, nShift);
  });
}

}  // namespace

extern "C" VRN_API void vrnLShiftS(VrnImage* srcImage, VrnImage* dstImage, unsigned int nShift) {
  if (nShift == 0) {
    vrnXorS(srcImage, dstImage, 0);
    return;
  }
  if (!srcImage) {
    VRN_REPORT(VRN_StsBadArg, "vrnLShiftS", "srcImage==0");
    return;
  }
  if (nShift >= static_cast<unsigned>(srcImage->depth & VRN_DEPTH_MASK)) {
    vrnAndS(srcImage, dstImage, 0);
    return;
  }
  runShift<LeftShift>("vrnLShiftS", srcImage, dstImage, nShift);
}

extern "C" VRN_API void vrnRShiftS(VrnImage* srcImage, VrnImage* dstImage, unsigned int nShift) {
  if (nShift == 0) {
    vrnXorS(srcImage, dstImage, 0);
    return;
  }
  if (!srcImage) {
    VRN_REPORT(VRN_StsBadArg, "vrnRShiftS", "srcImage==0");
    return;
  }
  const unsigned bits = static_cast<unsigned>(srcImage->depth & VRN_DEPTH_MASK);
  if (nShift >= bits) {
    if (!(srcImage->depth & VRN_DEPTH_SIGN)) {
      vrnAndS(srcImage, dstImage, 0);
      return;
    }
    nShift = bits - 1;
  }
  runShift<RightShift>("vrnRShiftS", srcImage, dstImage, nShift);
}

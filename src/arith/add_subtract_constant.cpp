// vrnAddS and vrnSubtractS: an image plus or minus a constant, saturated by
// depth.  Cases whose result doesn't depend on the pixels, or that equal a
// logic operation, are handed over before any header check (the reports
// then carry the logic function's name): 1-bit images, and unsigned values
// that saturate every sample.  vrnAddS on 8 and 16 bits is vrnSubtractS of
// the negated value.  The kernel is chosen by the sign or size of the value,
// so that each saturates in one direction only.
#include <algorithm>

#include "arith/scalar_rules.h"
#include "core/report.h"

using namespace vrn;

namespace {

// The largest unsigned sample of a depth's bits.
constexpr int maxOfBits(int bits) { return 0x7FFFFFFF >> (31 - bits); }

// The kernels of vrnSubtractS on a prepared frame, value already routed.
void subtractConstant(Frame& frame, int value, int flip) {
  forSampleType(frame.depth(), [&]<class T>() {
    if constexpr (DepthTraits<T>::isFloat) {
      // refused before the frame
    } else if constexpr (std::is_unsigned_v<T>) {
      const int m = maxOfBits(DepthTraits<T>::bits);
      if (flip == 0) {
        if (value < 1)
          runScalarRule<AddUpToMax<T>>(frame, -value);
        else
          runScalarRule<SubtractDownToZero<T>>(frame, value);
      } else {
        if (value <= m)
          runScalarRule<ReverseSubtractToZero<T>>(frame, value);
        else
          runScalarRule<ReverseSubtractToMax<T>>(frame, value);
      }
    } else if constexpr (sizeof(T) < 4) {
      // No result can tell these clamps of the value apart.
      const int m = maxOfBits(DepthTraits<T>::bits);
      if (flip == 0)
        runScalarRule<SignedSubtractConstant<T>>(frame, std::clamp(value, -m, m));
      else
        runScalarRule<SignedReverseSubtractConstant<T>>(frame, std::clamp(value, -m - 1, m - 1));
    } else {
      if (flip == 0)
        runScalarRule<Subtract32Constant>(frame, value);
      else
        runScalarRule<ReverseSubtract32Constant>(frame, value);
    }
  });
}

}  // namespace

extern "C" VRN_API void vrnSubtractS(VrnImage* srcImage, VrnImage* dstImage, int value, int flip) {
  if (!srcImage) {
    VRN_REPORT(VRN_StsBadArg, "vrnSubtractS", "srcImage==0");
    return;
  }
  const int depth = srcImage->depth;
  if (depth == VRN_DEPTH_32F) {
    VRN_REPORT(VRN_StsBadArg, "vrnSubtractS", "For processing depth 32F use function vrnSubtractSFP");
    return;
  }
  if (depth == VRN_DEPTH_1U) {
    // 1-bit subtraction saturates at 0: only 0 - 0 (copy) and 1 - src (NOT).
    const unsigned v = static_cast<unsigned>(value) & 1u;
    if ((flip == 0 && v == 0) || (flip != 0 && v == 1))
      vrnXorS(srcImage, dstImage, v);
    else
      vrnAndS(srcImage, dstImage, 0);
    return;
  }
  if (depth == VRN_DEPTH_8U || depth == VRN_DEPTH_16U) {
    const int m = maxOfBits(depth & VRN_DEPTH_MASK);
    const bool allMax = flip == 0 ? value <= -m : value >= 2 * m;
    const bool allZero = flip == 0 ? value >= m : value < 1;
    if (allMax) {
      vrnOrS(srcImage, dstImage, static_cast<unsigned>(-1));
      return;
    }
    if (allZero) {
      vrnAndS(srcImage, dstImage, 0);
      return;
    }
  }
  Frame frame("vrnSubtractS");
  if (!frame.prepare(srcImage, dstImage)) return;
  subtractConstant(frame, value, flip);
}

extern "C" VRN_API void vrnAddS(VrnImage* srcImage, VrnImage* dstImage, int value) {
  if (!srcImage) {
    VRN_REPORT(VRN_StsBadArg, "vrnAddS", "srcImage==0");
    return;
  }
  switch (srcImage->depth) {
    case VRN_DEPTH_1U:
      vrnOrS(srcImage, dstImage, static_cast<unsigned>(value));
      return;
    case VRN_DEPTH_8U:
    case VRN_DEPTH_8S:
    case VRN_DEPTH_16U:
    case VRN_DEPTH_16S:
      // A value below -65535 saturates as 65535 does, and can't be negated.
      vrnSubtractS(srcImage, dstImage, value < -65535 ? 65535 : -value, 0);
      return;
    case VRN_DEPTH_32F:
      VRN_REPORT(VRN_StsBadArg, "vrnAddS", "For processing depth 32F use function vrnAddSFP");
      return;
    default:
      break;
  }
  Frame frame("vrnAddS");
  if (!frame.prepare(srcImage, dstImage)) return;
  if (frame.depth() != kD32S) return;  // the source is 32S after the checks
  if (value >= 1)
    runScalarRule<Add32Up>(frame, value);
  else
    runScalarRule<Add32Down>(frame, value);
}

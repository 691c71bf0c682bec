// vrnAddSFP, vrnSubtractSFP, vrnMultiplySFP: a 32F image and a float
// constant, plain single-precision arithmetic per sample (infinities and
// NaNs pass through).  Other depths are refused with the name of the
// integer form.
#include "arith/scalar_rules.h"
#include "core/report.h"

using namespace vrn;

namespace {

// The head shared by the three: null source, depth, then the frame.
bool prepareFloat(Frame& frame, VrnImage* srcImage, VrnImage* dstImage, const char* otherDepthText) {
  if (!srcImage) {
    VRN_REPORT(VRN_StsBadArg, frame.func(), "srcImage==0");
    return false;
  }
  if (srcImage->depth != VRN_DEPTH_32F) {
    VRN_REPORT(VRN_StsBadArg, frame.func(), otherDepthText);
    return false;
  }
  return frame.prepare(srcImage, dstImage);
}

}  // namespace

extern "C" VRN_API void vrnAddSFP(VrnImage* srcImage, VrnImage* dstImage, float value) {
  Frame frame("vrnAddSFP");
  if (!prepareFloat(frame, srcImage, dstImage, "For processing this depth use function vrnAddS")) return;
  runScalarRule<AddConstantF>(frame, value);
}

extern "C" VRN_API void vrnSubtractSFP(VrnImage* srcImage, VrnImage* dstImage, float value, int flip) {
  Frame frame("vrnSubtractSFP");
  if (!prepareFloat(frame, srcImage, dstImage, "For processing this depth use function vrnSubtractS")) return;
  if (flip == 0)
    runScalarRule<SubtractConstantF>(frame, value);
  else
    runScalarRule<ReverseSubtractConstantF>(frame, value);
}

extern "C" VRN_API void vrnMultiplySFP(VrnImage* srcImage, VrnImage* dstImage, float value) {
  Frame frame("vrnMultiplySFP");
  if (!prepareFloat(frame, srcImage, dstImage, "For processing this depth use function vrnMultiplyS")) return;
  runScalarRule<MultiplyConstantF>(frame, value);
}

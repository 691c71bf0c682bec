// vrnAbs: the absolute value of signed and float samples.  Unsigned and
// 1-bit images are copied by vrnCopy, with a backtrace line if that fails.
// Its channel rule is its own: the images must agree in having a COI (an
// image of one channel counting as having none), and without a COI either
// their channel counts less alpha or their channel numbers must agree.
#include "arith/scalar_rules.h"
#include "core/report.h"

using namespace vrn;

namespace {

const char* absChannels(const VrnImage* src, const VrnImage* dst) {
  const bool srcCoi = hasCoi(src) && src->nChannels > 1;
  const bool dstCoi = hasCoi(dst) && dst->nChannels > 1;
  if (srcCoi != dstCoi) return "(nChSrcCoi != nChDstCoi)";
  if (!srcCoi && channelCount(src) != channelCount(dst) && src->nChannels != dst->nChannels)
    return "(srcImage->nChannels != dstImage->nChannels)";
  return nullptr;
}

}  // namespace

extern "C" VRN_API void vrnAbs(VrnImage* srcImage, VrnImage* dstImage) {
  if (!srcImage) {
    VRN_REPORT(VRN_StsBadArg, "vrnAbs", "srcImage==0");
    return;
  }
  if (!dstImage) {
    VRN_REPORT(VRN_StsBadArg, "vrnAbs", "dstImage==0");
    return;
  }
  const int depth = srcImage->depth;
  if (depth == VRN_DEPTH_1U || depth == VRN_DEPTH_8U || depth == VRN_DEPTH_16U) {
    vrnCopy(srcImage, dstImage);
    if (vrnGetErrStatus() < 0) VRN_REPORT(VRN_StsBackTrace, "vrnAbs", "vrnCopy is failed");
    return;
  }
  Frame frame("vrnAbs");
  if (!frame.prepare(srcImage, dstImage, &absChannels)) return;
  forSampleType(frame.depth(), [&]<class T>() {
    if constexpr (DepthTraits<T>::isFloat || std::is_signed_v<T>) runScalarRule<AbsDef<T>>(frame, 0);
  });
}

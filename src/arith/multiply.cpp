// vrnMultiply: A x B per sample, saturated by depth (32S through a double
// product).  1-bit multiplication is logical AND, so a 1-bit call is handed
// whole to vrnAnd before any check of its own.
#include "arith/arith_rules.h"
#include "core/report.h"
#include "core/rules.h"

using namespace vrn;

extern "C" VRN_API void vrnMultiply(VrnImage* srcImageA, VrnImage* srcImageB, VrnImage* dstImage) {
  if (!srcImageA) {
    VRN_REPORT(VRN_StsBadArg, "vrnMultiply", "srcImageA==0");
    return;
  }
  if (srcImageA->depth == VRN_DEPTH_1U) {
    vrnAnd(srcImageA, srcImageB, dstImage);
    return;
  }
  Frame frame("vrnMultiply");
  if (!frame.prepare(srcImageA, srcImageB, dstImage)) return;
  runBinaryRule<MultiplyDef, PackedMultiply>(frame);
}

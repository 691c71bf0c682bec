// vrnAdd: A + B per sample, saturated by depth.  1-bit addition is logical
// OR, so a 1-bit call is handed whole to vrnOr before any check of its own.
#include "arith/arith_rules.h"
#include "core/report.h"
#include "core/rules.h"

using namespace vrn;

extern "C" VRN_API void vrnAdd(VrnImage* srcImageA, VrnImage* srcImageB, VrnImage* dstImage) {
  if (!srcImageA) {
    VRN_REPORT(VRN_StsBadArg, "vrnAdd", "srcImageA==0");
    return;
  }
  if (srcImageA->depth == VRN_DEPTH_1U) {
    vrnOr(srcImageA, srcImageB, dstImage);
    return;
  }
  Frame frame("vrnAdd");
  if (!frame.prepare(srcImageA, srcImageB, dstImage)) return;
  runBinaryRule<AddDef, PackedAdd>(frame);
}

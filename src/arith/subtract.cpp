// vrnSubtract: A - B per sample, saturated by depth.  1-bit subtraction is
// A AND NOT B, the saturated difference of bits, and is worked here by its
// own kernels; there is no null test of its own, so a null A fails in the
// header check.
#include "arith/arith_rules.h"
#include "arith/bit_kernels.h"
#include "core/report.h"
#include "core/rules.h"

using namespace vrn;

namespace {

struct AndNotBits {
  static constexpr int kSources = 2;
  static unsigned apply(unsigned a, unsigned b) { return a & ~b & 1u; }
};

}  // namespace

extern "C" VRN_API void vrnSubtract(VrnImage* srcImageA, VrnImage* srcImageB, VrnImage* dstImage) {
  Frame frame("vrnSubtract");
  if (!frame.prepare(srcImageA, srcImageB, dstImage)) return;
  if (frame.depth() == kD1U) {
    frame.run(&bitPlainKernel<AndNotBits>, &bitMaskedKernel<AndNotBits>);
    return;
  }
  runBinaryRule<SubtractDef, PackedSubtract>(frame);
}

// vrnSubtract: A - B per sample, saturated by depth.  1-bit subtraction is
// A AND NOT B, the saturated difference of bits, and is worked here by its
// own kernels; there is no null test of its own, so a null A fails in the
// header check.
#include "arith/arith_rules.h"
#include "core/bit_kernels.h"
#include "core/report.h"
#include "core/rules.h"

using namespace vrn;

namespace {

// A AND NOT B on bytes of bits, through the shared 1-bit rows.
struct AndNotBits {
  static constexpr int kSources = 2;
  explicit AndNotBits(const void*) {}
  uint8_t operator()(uint8_t a, uint8_t b) const { return static_cast<uint8_t>(a & ~b); }
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

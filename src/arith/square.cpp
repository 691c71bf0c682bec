// vrnSquare: x * x per sample, with only the upper clamp of the depth (a
// square is never negative); 32S gives 0x7FFFFFFF on overflow and 32F is a
// single-precision product.  A 1-bit square is the bit itself, worked as a
// copy of the bits.  It has kernels for all seven depths and no null test of
// its own: a null source fails in the header check.
#include <cstring>

#include "arith/scalar_rules.h"
#include "core/bit_kernels.h"
#include "core/report.h"

using namespace vrn;

namespace {

// The bits themselves, through the shared 1-bit rows; a flat run is a block copy.
struct SameBit {
  static constexpr int kSources = 1;
  explicit SameBit(const void*) {}
  uint8_t operator()(uint8_t a) const { return a; }
  void bytes(const uint8_t* a, uint8_t* d, size_t n) const {
    if (a != d) std::memmove(d, a, n);
  }
};

}  // namespace

extern "C" VRN_API void vrnSquare(VrnImage* srcImage, VrnImage* dstImage) {
  Frame frame("vrnSquare");
  if (!frame.prepare(srcImage, dstImage)) return;
  if (frame.depth() == kD1U) {
    frame.run(&bitPlainKernel<SameBit>, &bitMaskedKernel<SameBit>);
    return;
  }
  forSampleType(frame.depth(), [&]<class T>() { runScalarRule<SquareDef<T>>(frame, 0); });
}

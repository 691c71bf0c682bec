// vrnExchange: swaps the samples of the rectangle between two images, each in
// its own position, with the frame of vrnCopy.  Both images are written, so
// both tiles are asked for with the write mode; 1-bit rows swap bits at both
// bit offsets, under the mask where there is one.
#include <algorithm>

#include "arith/copy_frame.h"
#include "arith/copy_rows.h"

using namespace vrn;

namespace {

template <class T>
struct SwapAct {
  static constexpr bool kJoinRows = true;
  void block(T* d, T* s, size_t n) const { std::swap_ranges(d, d + n, s); }
  void one(T* d, T* s) const { std::swap(*d, *s); }
};

void exchangeCell(const CopyCell& c, const CopyLayout& l, const void*) {
  if (l.sampleBytes == 0) {
    auto* a = reinterpret_cast<uint8_t*>(c.image[0].data);
    auto* b = reinterpret_cast<uint8_t*>(c.image[1].data);
    BitSpan m = c.mask;
    for (int y = 0; y < c.height; ++y) {
      swapBitRows(a, c.image[0].bitOffset, b, c.image[1].bitOffset, c.width, m);
      a += c.image[0].step;
      b += c.image[1].step;
      if (m.row) m.row += c.maskStep;
    }
    return;
  }
  forSampleSize(l.sampleBytes, [&]<class T>() { cellRows<T>(c, l, SwapAct<T>{}); });
}

}  // namespace

extern "C" VRN_API void vrnExchange(VrnImage* srcImage, VrnImage* dstImage) {
  CopyFrame frame("vrnExchange");
  if (!frame.preparePair(srcImage, dstImage)) return;
  if (!frame.channelsAgree()) return;
  frame.run(&exchangeCell, nullptr, VRN_TILE_WRITE);
}

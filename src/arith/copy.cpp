// vrnCopy: moves the samples of the rectangle from source to destination,
// byte-exact by sample size.  1-bit rows honour both bit offsets; a masked
// 1-bit copy is the logic (dst AND NOT mask) OR (src AND mask), worked a
// byte at a time with the mask as a third source.
#include <cstring>

#include "arith/copy_frame.h"
#include "arith/copy_rows.h"

using namespace vrn;

namespace {

template <class T>
struct CopyAct {
  static constexpr bool kJoinRows = true;
  void block(T* d, const T* s, size_t n) const { std::memmove(d, s, n * sizeof(T)); }
  void one(T* d, const T* s) const { *d = *s; }
};

void copyCell(const CopyCell& c, const CopyLayout& l, const void*) {
  if (l.sampleBytes == 0) {
    auto* d = reinterpret_cast<uint8_t*>(c.image[1].data);
    BitSpan s{reinterpret_cast<const uint8_t*>(c.image[0].data), c.image[0].bitOffset};
    const int dOff = c.image[1].bitOffset;
    BitSpan m = c.mask;
    auto same = [](uint8_t a) { return a; };
    auto underMask = [](uint8_t old, uint8_t a, uint8_t mask) {
      return static_cast<uint8_t>((old & ~mask) | (a & mask));
    };
    for (int y = 0; y < c.height; ++y) {
      if (m.row) {
        bitRow(d, dOff, c.width, underMask, BitSpan{d, dOff}, s, m);
        m.row += c.maskStep;
      } else {
        bitRow(d, dOff, c.width, same, s);
      }
      d += c.image[1].step;
      s.row += c.image[0].step;
    }
    return;
  }
  forSampleSize(l.sampleBytes, [&]<class T>() { cellRows<T>(c, l, CopyAct<T>{}); });
}

}  // namespace

extern "C" VRN_API void vrnCopy(VrnImage* srcImage, VrnImage* dstImage) {
  CopyFrame frame("vrnCopy");
  if (!frame.preparePair(srcImage, dstImage)) return;
  if (!frame.channelsAgree()) return;
  frame.run(&copyCell, nullptr, VRN_TILE_READ);
}

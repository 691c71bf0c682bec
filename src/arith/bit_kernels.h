// Kernels of arithmetic on 1-bit images.  A 1-bit image has one channel and
// rows of bits, most significant first, each image starting at its own bit
// offset (its ROI's x modulo 8).  The plain kernel works bit by bit over the
// rectangle, so the destination's bits outside it stay as they were; the
// masked kernel writes only where the mask bit is set.  Op gives kSources
// (1 or 2) and `static unsigned apply(unsigned a[, unsigned b])` on bits.
#pragma once

#include <algorithm>

#include "core/frame.h"

namespace vrn {
namespace bits {

inline unsigned get(const unsigned char* row, int offset, int i) {
  const int b = offset + i;
  return (row[b >> 3] >> (7 - (b & 7))) & 1u;
}

inline void put(unsigned char* row, int offset, int i, unsigned v) {
  const int b = offset + i;
  const unsigned char m = static_cast<unsigned char>(0x80u >> (b & 7));
  row[b >> 3] = static_cast<unsigned char>(v ? (row[b >> 3] | m) : (row[b >> 3] & ~m));
}

// The rows of the images of a kernel call (sources, then the destination)
// and the mask, clipped to the rectangle.
template <int M>
struct BitRect {
  unsigned char* row[M];
  int offset[M], step[M];
  const unsigned char* maskRow = nullptr;
  int maskOffset = 0, maskStep = 0;
  int width = 0x7FFFFFFF, height = 0x7FFFFFFF;

  explicit BitRect(const KernelArgs& k) {
    const VrnImage* images[3] = {k.srcA, M == 3 ? k.srcB : k.dst, k.dst};
    for (int i = 0; i < M; ++i) {
      const ImageStart s = imageStart(images[i], 0);
      row[i] = reinterpret_cast<unsigned char*>(s.data);
      offset[i] = s.bitOffset;
      step[i] = images[i]->widthStep;
      width = std::min(width, s.width);
      height = std::min(height, s.height);
    }
    if (k.mask) {
      const ImageStart s = imageStart(k.mask, 0);
      maskRow = reinterpret_cast<const unsigned char*>(s.data);
      maskOffset = s.bitOffset;
      maskStep = k.mask->widthStep;
      width = std::min(width, s.width);
      height = std::min(height, s.height);
    }
  }

  unsigned at(int i, int x) const { return get(row[i], offset[i], x); }
  void next() {
    for (int i = 0; i < M; ++i) row[i] += step[i];
    if (maskRow) maskRow += maskStep;
  }
};

template <class Op>
unsigned applyBits(const BitRect<Op::kSources + 1>& r, int x) {
  if constexpr (Op::kSources == 2)
    return Op::apply(r.at(0, x), r.at(1, x));
  else
    return Op::apply(r.at(0, x));
}

}  // namespace bits

template <class Op>
void bitPlainKernel(const KernelArgs& k) {
  constexpr int M = Op::kSources + 1;
  bits::BitRect<M> r(k);
  for (int y = 0; y < r.height; ++y, r.next())
    for (int x = 0; x < r.width; ++x) bits::put(r.row[M - 1], r.offset[M - 1], x, bits::applyBits<Op>(r, x));
}

template <class Op>
void bitMaskedKernel(const KernelArgs& k) {
  constexpr int M = Op::kSources + 1;
  bits::BitRect<M> r(k);
  for (int y = 0; y < r.height; ++y, r.next())
    for (int x = 0; x < r.width; ++x)
      if (bits::get(r.maskRow, r.maskOffset, x))
        bits::put(r.row[M - 1], r.offset[M - 1], x, bits::applyBits<Op>(r, x));
}

}  // namespace vrn

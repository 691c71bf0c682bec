// Internal facts about image records shared by the whole library.
#pragma once

#include <cstdint>

#include "vrn.h"

namespace vrn {

// Bits of one sample.
inline int depthBits(int depth) { return depth & VRN_DEPTH_MASK; }

// The row and size rule: bytes per row (per plane row in plane order) and
// bytes of the whole image, computed in 64 bits.
struct RowLayout {
  int64_t widthStep;
  int64_t imageSize;
  // Sizes must fit a 32-bit int with room for the alignment slack of allocation.
  bool fits() const { return widthStep <= 0x7FFFFFFF && imageSize <= 0x7FFFFFFF - 64; }
};
RowLayout rowLayout(int depth, int nChannels, int dataOrder, int align, int width, int height);

// The parameter check shared by header creation, allocation and
// vrnCheckImageHeader; 0 or the status of the first failure.
int checkImageParameters(const VrnImage* image, bool modelPointersPresent, bool allow32F);

}  // namespace vrn

// The bordered value of an image read pixel by pixel, the reference of the
// bordered readers and of the blur: the outcode picks the side (top or bottom
// decide at corners), the side's mode (low two bits) maps the position in
// both axes for rows outside, or its constant, converted by depth, is taken.
#pragma once

#include "support/images.h"

namespace filtertest {

// The position that i of a line of n pixels reads under a border mode (1..3).
inline long long mapBorder(long long i, long long n, int mode) {
  if (mode == VRN_BORDER_REPLICATE) return i < 0 ? 0 : (i >= n ? n - 1 : i);
  if (mode == VRN_BORDER_REFLECT) {
    const long long m = ((i % (2 * n)) + 2 * n) % (2 * n);
    return m < n ? m : 2 * n - 1 - m;
  }
  return ((i % n) + n) % n;
}

// The value of `im` (borders, size) at (x, y), channel c; `pixels` holds its
// samples (the image itself, or its plain twin when `im` is tiled).
inline double borderedValue(const VrnImage* im, const VrnImage* pixels, long long x, long long y, int c) {
  const int side = y < 0 ? 0 : y >= im->height ? 1 : x < 0 ? 2 : x >= im->width ? 3 : -1;
  const int mode = side < 0 ? -1 : im->borderMode[side] & 3;
  if (mode == VRN_BORDER_CONSTANT) {
    const int k = im->borderConst[side];
    switch (im->depth) {
      case VRN_DEPTH_1U: return k & 1;
      case VRN_DEPTH_8U: return static_cast<uint8_t>(k);
      case VRN_DEPTH_8S: return static_cast<int8_t>(k);
      case VRN_DEPTH_16U: return static_cast<uint16_t>(k);
      case VRN_DEPTH_16S: return static_cast<int16_t>(k);
      case VRN_DEPTH_32S: return k;
      default: return static_cast<float>(k);
    }
  }
  if (side >= 0) {
    if (side <= 1) y = mapBorder(y, im->height, mode);
    x = mapBorder(x, im->width, mode);
  }
  return vrntest::sampleAt(pixels, static_cast<int>(x), static_cast<int>(y), c);
}

// Random modes (high bits set too: they must be ignored) and constants.
inline void randomBorders(VrnImage* im, vrntest::Rng& rng) {
  for (int s = 0; s < 4; ++s) {
    im->borderMode[s] = static_cast<int>(rng() % 8);
    im->borderConst[s] = static_cast<int>(rng() % 2001) - 1000;
  }
}

}  // namespace filtertest

// The border state of an image: a mode and a constant per side, consulted by
// every reader that needs values beyond the image's edge.
#include <algorithm>

#include "vrn.h"

extern "C" VRN_API void vrnSetBorderMode(VrnImage* image, int mode, int border, int constVal) {
  switch (image->depth) {
    case VRN_DEPTH_1U: constVal = std::clamp(constVal, 0, 1); break;
    case VRN_DEPTH_8U: constVal = std::clamp(constVal, 0, 255); break;
    case VRN_DEPTH_8S: constVal = std::clamp(constVal, -128, 127); break;
    case VRN_DEPTH_16U: constVal = std::clamp(constVal, 0, 65535); break;
    case VRN_DEPTH_16S: constVal = std::clamp(constVal, -32768, 32767); break;
    default: break;  // 32-bit depths keep the value
  }
  for (int side = 0; side < 4; ++side) {
    if (border & (1 << side)) {
      image->borderMode[side] = mode;
      image->borderConst[side] = constVal;
    }
  }
}

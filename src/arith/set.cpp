// vrnSet and vrnSetFP: fill the rectangle with a value clamped to the depth
// (32S as it is).  A masked 1-bit fill goes by logic on the mask image: OR
// with the mask for 1; for 0 the mask is inverted in place, ANDed in and
// inverted back, so the mask is written during the call and restored.
// vrnSetFP stores the float's bit pattern through vrnSet on a 32S view of the
// same record.
#include <algorithm>
#include <cstring>

#include "arith/copy_frame.h"
#include "arith/copy_rows.h"
#include "core/report.h"

using namespace vrn;

namespace {

template <class T>
struct FillAct {
  static constexpr bool kJoinRows = false;
  T value;
  void block(T* d, const T*, size_t n) const {
    if constexpr (sizeof(T) == 1)
      std::memset(d, value, n);
    else
      std::fill_n(d, n, value);
  }
  void one(T* d, const T*) const { *d = value; }
};

void setCell(const CopyCell& c, const CopyLayout& l, const void* params) {
  const int32_t value = *static_cast<const int32_t*>(params);
  if (l.sampleBytes == 0) {
    const uint8_t byte = value ? 0xFF : 0x00;
    auto fill = [byte]() { return byte; };
    auto* d = reinterpret_cast<uint8_t*>(c.image[1].data);
    BitSpan m = c.mask;
    for (int y = 0; y < c.height; ++y, d += c.image[1].step) {
      if (m.row) {
        bitRowMasked(d, c.image[1].bitOffset, m, c.width, fill);
        m.row += c.maskStep;
      } else {
        bitRow(d, c.image[1].bitOffset, c.width, fill);
      }
    }
    return;
  }
  forSampleSize(l.sampleBytes, [&]<class T>() { cellRows<T>(c, l, FillAct<T>{static_cast<T>(value)}); });
}

int32_t clampToDepth(int depth, int value) {
  switch (depth) {
    case VRN_DEPTH_1U: return std::clamp(value, 0, 1);
    case VRN_DEPTH_8U: return std::clamp(value, 0, 255);
    case VRN_DEPTH_8S: return std::clamp(value, -128, 127);
    case VRN_DEPTH_16U: return std::clamp(value, 0, 65535);
    case VRN_DEPTH_16S: return std::clamp(value, -32768, 32767);
    default: return value;
  }
}

}  // namespace

extern "C" {

VRN_API void vrnSet(VrnImage* image, int fillValue) {
  const int status = vrnCheckImageHeader(image);
  if (status != VRN_StsOk) {
    VRN_REPORT(status, "vrnSet", "Incorrect Image");
    return;
  }
  if (image->depth == VRN_DEPTH_32F) {
    VRN_REPORT(VRN_StsBadDepth, "vrnSet", "You should use vrnSetFP for this image");
    return;
  }
  const int32_t value = clampToDepth(image->depth, fillValue);
  CopyFrame frame("vrnSet");
  if (!frame.prepareSingle(image)) return;
  if (image->depth == VRN_DEPTH_1U && frame.mask()) {
    VrnImage* mask = image->maskROI;
    image->maskROI = nullptr;
    if (value) {
      vrnOr(image, mask, image);
    } else {
      vrnXorS(mask, mask, 1);
      vrnAnd(image, mask, image);
      vrnXorS(mask, mask, 1);
    }
    image->maskROI = mask;
    if (vrnGetErrStatus() < 0) VRN_REPORT(VRN_StsBackTrace, "vrnSet", "");
    return;
  }
  frame.run(&setCell, &value, VRN_TILE_WRITE);
}

VRN_API void vrnSetFP(VrnImage* image, float fillValue) {
  if (!image) {
    VRN_REPORT(VRN_StsBadArg, "vrnSetFP", "dstImage==0");
    return;
  }
  if (image->depth != VRN_DEPTH_32F) {
    VRN_REPORT(VRN_StsBadDepth, "vrnSetFP", "You should use vrnSet for this image");
    return;
  }
  int bits;
  std::memcpy(&bits, &fillValue, sizeof bits);
  image->depth = VRN_DEPTH_32S;
  vrnSet(image, bits);
  image->depth = VRN_DEPTH_32F;
  if (vrnGetErrStatus() < 0) VRN_REPORT(VRN_StsBackTrace, "vrnSetFP", "");
}

}  // extern "C"

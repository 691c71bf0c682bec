// vrnCreateImageJaehne: a new one-channel image holding a circular chirp,
// sin(r^2 * 2pi / (4 * height)) about the image centre, scaled per depth and
// truncated toward zero.  The phase divides by the height alone, so a wide
// image shows more rings across than down.  The arithmetic runs in long
// double and each value is converted once at the end.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "core/report.h"
#include "core/traits.h"

using namespace vrn;

namespace {

constexpr const char* kFunc = "vrnCreateImageJaehne";

// Sample value from s = sin(phase): (s + offset) * scale, truncated for
// integer depths.
struct JaehneScale {
  long double offset;
  long double scale;
};

constexpr JaehneScale scaleOf(DepthIndex d) {
  switch (d) {
    case kD1U: return {1.0L, static_cast<long double>(0.99999)};
    case kD8U: return {1.0L, static_cast<long double>(127.99999)};
    case kD8S: return {0.0L, static_cast<long double>(127.99999)};
    case kD16U: return {1.0L, static_cast<long double>(32767.99999)};
    case kD16S: return {0.0L, static_cast<long double>(32767.99999)};
    case kD32S: return {0.0L, static_cast<long double>(2147483647.99999)};
    default: return {1.0L, static_cast<long double>(0.49999)};
  }
}

// Calls put(row, x, value) for every pixel with the pattern value already
// scaled for the depth.  The pattern is symmetric in x and in y (the same
// squares go into the same sine), so one quadrant is computed: each value is
// put at x and at its mirror column, and the lower rows copy the upper ones.
template <class Put>
void walkPattern(VrnImage* image, JaehneScale k, Put&& put) {
  const int width = image->width, height = image->height;
  const long double xc = (width - 1) * 0.5L;
  const long double yc = (height - 1) * 0.5L;
  const long double factor =
      static_cast<long double>(6.283185307179586) * (1.0L / (4.0L * static_cast<long double>(height)));
  const int64_t step = image->widthStep;
  for (int y = 0; y < (height + 1) / 2; ++y) {
    char* row = image->imageData + y * step;
    const long double dy = y - yc;
    for (int x = 0; x < (width + 1) / 2; ++x) {
      const long double dx = x - xc;
      const long double s = std::sin((dx * dx + dy * dy) * factor);
      const long double v = (s + k.offset) * k.scale;
      put(row, x, v);
      put(row, width - 1 - x, v);
    }
  }
  for (int y = (height + 1) / 2; y < height; ++y)
    std::memcpy(image->imageData + y * step, image->imageData + (height - 1 - y) * step, static_cast<size_t>(step));
}

void fillPattern(VrnImage* image, DepthIndex d) {
  const JaehneScale k = scaleOf(d);
  if (d == kD1U) {
    // The buffer is cleared: only the set bits are written.
    walkPattern(image, k, [](char* row, int x, long double v) {
      if (static_cast<int>(v) != 0) row[x >> 3] = static_cast<char>(row[x >> 3] | (0x80 >> (x & 7)));
    });
    return;
  }
  forSampleType(d, [&]<class T>() {
    walkPattern(image, k, [](char* row, int x, long double v) {
      reinterpret_cast<T*>(row)[x] = static_cast<T>(v);
    });
  });
}

}  // namespace

extern "C" VRN_API VrnImage* vrnCreateImageJaehne(int depth, int width, int height) {
  if (width < 1 || height < 1) {
    VRN_REPORT(VRN_StsBadImageSize, kFunc, vrnErrorStr(VRN_StsBadImageSize));
    return nullptr;
  }
  const DepthIndex d = depthIndex(depth);
  if (d == kDepthBad) {
    VRN_REPORT(VRN_StsBadDepth, kFunc, vrnErrorStr(VRN_StsBadDepth));
    return nullptr;
  }
  char model[4] = {'G', 'R', 'A', 'Y'};
  char seq[4] = {'G', 'R', 'A', 'Y'};
  VrnImage* image = vrnCreateImageHeader(1, 0, depth, model, seq, VRN_DATA_ORDER_PIXEL, VRN_ORIGIN_TOP,
                                         32, width, height, nullptr, nullptr, nullptr, nullptr);
  if (!image) {
    VRN_REPORT(VRN_StsNoMem, kFunc, "Not enough memory to allocate header for ImageJaehne");
    return nullptr;
  }
  if (d == kD32F)
    vrnAllocateImageFP(image, 1, 0.0f);
  else
    vrnAllocateImage(image, 1, 0);
  if (!image->imageData) {
    VRN_REPORT(VRN_StsNoMem, kFunc, "Not enough memory to allocate imageData for ImageJaehne");
    vrnDeallocate(image, VRN_FREE_HEADER);
    return nullptr;
  }
  fillPattern(image, d);
  return image;
}

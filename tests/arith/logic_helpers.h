// Small helpers of the logic and copy tests: images of any depth and layout
// with seeded content, a report recorder, and sample access.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "vrn.h"

namespace logictest {

inline VrnImage* makeImage(int depth, int channels, int width, int height, int alpha = 0,
                           int order = VRN_DATA_ORDER_PIXEL, int align = 4, uint32_t seed = 1,
                           int origin = VRN_ORIGIN_TOP) {
  char m[4] = {'R', 'G', 'B', 0}, s[4] = {'R', 'G', 'B', 0};
  VrnImage* im = vrnCreateImageHeader(channels, alpha, depth, m, s, order, origin, align, width,
                                      height, nullptr, nullptr, nullptr, nullptr);
  if (!im) return nullptr;
  if (depth == VRN_DEPTH_32F)
    vrnAllocateImageFP(im, 0, 0.0f);
  else
    vrnAllocateImage(im, 0, 0);
  std::mt19937 rng(seed);
  for (int i = 0; i < im->imageSize; ++i) im->imageData[i] = static_cast<char>(rng());
  return im;
}

inline void freeImage(VrnImage* im) {
  vrnDeallocate(im, VRN_FREE_HEADER | VRN_FREE_DATA | VRN_FREE_ROI);
}

struct Report {
  int status;
  std::string func, context;
};

// Records every report of the thread while alive, and clears the status.
class Reports {
 public:
  Reports() {
    list().clear();
    old_ = vrnRedirectError(&record);
    vrnSetErrStatus(0);
  }
  ~Reports() {
    vrnRedirectError(old_);
    vrnSetErrStatus(0);
  }
  const std::vector<Report>& all() const { return list(); }
  static std::vector<Report>& list() {
    static thread_local std::vector<Report> r;
    return r;
  }

 private:
  static int record(int status, const char* func, const char* context, const char*, int) {
    list().push_back({status, func ? func : "", context ? context : ""});
    return status;
  }
  VrnErrorHandler old_;
};

inline std::vector<uint8_t> bytesOf(const VrnImage* im) {
  return std::vector<uint8_t>(im->imageData, im->imageData + im->imageSize);
}

inline bool bit(const VrnImage* im, int x, int y) {
  const uint8_t b = static_cast<uint8_t>(im->imageData[y * im->widthStep + x / 8]);
  return (b >> (7 - x % 8)) & 1;
}

template <class T>
T& at(const VrnImage* im, int x, int y, int c) {
  if (im->dataOrder == VRN_DATA_ORDER_PLANE)
    return reinterpret_cast<T*>(im->imageData + c * im->height * im->widthStep + y * im->widthStep)[x];
  return reinterpret_cast<T*>(im->imageData + y * im->widthStep)[x * im->nChannels + c];
}

}  // namespace logictest

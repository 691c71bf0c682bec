// Helpers of the arithmetic tests: images of a sample type in three layouts
// (flat buffer, rows inside a ROI, one strided channel of three), a report
// catcher, and whether the logic functions that routes lead to are in place.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "core/traits.h"
#include "vrn.h"

namespace arithtest {

enum class Layout { Flat, Rows, Strided };
inline const char* layoutName(Layout l) {
  return l == Layout::Flat ? "flat" : l == Layout::Rows ? "rows" : "strided";
}

// An image of w x h samples of T in the given layout; samples outside the
// operated region hold a fill byte.
template <class T>
class TestImage {
 public:
  TestImage(int w, int h, Layout layout, unsigned char fill = 0x5A) : w_(w), h_(h) {
    char m[4] = {'G', 'R', 'A', 'Y'}, s[4] = {'G', 0, 0, 0};
    const int channels = layout == Layout::Strided ? 3 : 1;
    const int extraX = layout == Layout::Rows ? 3 : 0, extraY = layout == Layout::Rows ? 1 : 0;
    roi_ = layout == Layout::Flat ? nullptr
                                  : vrnCreateROI(layout == Layout::Strided ? 2 : 0, extraX, extraY, w, h);
    image_ = vrnCreateImageHeader(channels, 0, vrn::DepthTraits<T>::depth, m, s, VRN_DATA_ORDER_PIXEL,
                                  VRN_ORIGIN_TOP, 4, w + extraX, h + extraY, roi_, nullptr, nullptr,
                                  nullptr);
    if (vrn::DepthTraits<T>::depth == VRN_DEPTH_32F)
      vrnAllocateImageFP(image_, 0, 0.0f);
    else
      vrnAllocateImage(image_, 0, 0);
    std::memset(image_->imageData, fill, static_cast<size_t>(image_->imageSize));
    x0_ = extraX;
    y0_ = extraY;
    ch_ = layout == Layout::Strided ? 1 : 0;
  }
  ~TestImage() { vrnDeallocate(image_, VRN_FREE_HEADER | VRN_FREE_DATA | VRN_FREE_ROI); }
  TestImage(const TestImage&) = delete;
  TestImage& operator=(const TestImage&) = delete;

  VrnImage* get() const { return image_; }
  size_t count() const { return static_cast<size_t>(w_) * h_; }
  // Sample i of the region, row by row.
  T& operator[](size_t i) const {
    const int x = static_cast<int>(i % w_) + x0_, y = static_cast<int>(i / w_) + y0_;
    char* row = image_->imageData + static_cast<ptrdiff_t>(y) * image_->widthStep;
    return reinterpret_cast<T*>(row)[x * image_->nChannels + ch_];
  }

 private:
  VrnImage* image_ = nullptr;
  VrnROI* roi_ = nullptr;
  int w_, h_, x0_ = 0, y0_ = 0, ch_ = 0;
};

// Records every report of the calling thread while alive.
class ReportCatcher {
 public:
  struct Report {
    int status;
    std::string func, context;
  };
  ReportCatcher() {
    reports().clear();
    vrnSetErrStatus(0);
    old_ = vrnRedirectError(&handler);
  }
  ~ReportCatcher() {
    vrnRedirectError(old_);
    vrnSetErrStatus(0);
  }
  const std::vector<Report>& all() const { return reports(); }
  // The first report, or an empty one.
  Report first() const { return reports().empty() ? Report{0, "", ""} : reports().front(); }
  void clear() {
    reports().clear();
    vrnSetErrStatus(0);
  }

 private:
  static std::vector<Report>& reports() {
    static thread_local std::vector<Report> r;
    return r;
  }
  static int handler(int status, const char* func, const char* context, const char*, int) {
    reports().push_back({status, func ? func : "", context ? context : ""});
    return status;
  }
  VrnErrorHandler old_ = nullptr;
};

// Whether the logic and copy functions work (not placeholders): an 8U image
// ORed with 1 must change.
inline bool logicAvailable() {
  static const bool available = [] {
    ReportCatcher catcher;
    TestImage<uint8_t> a(8, 1, Layout::Flat, 0);
    vrnOrS(a.get(), a.get(), 1);
    return catcher.all().empty() && a[0] == 1;
  }();
  return available;
}

}  // namespace arithtest

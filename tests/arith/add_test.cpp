// vrnAdd: the saturating sum per depth through both the packed rows (flat
// and contiguous runs) and the per-sample masked path, and its route and
// checks.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "vrn.h"

namespace {

char kGray[4] = {'G', 'R', 'A', 'Y'};
char kG[4] = {'G', 0, 0, 0};

VrnImage* makeImage(int depth, int width, int height, int channels = 1) {
  VrnImage* im = vrnCreateImageHeader(channels, 0, depth, kGray, kG, 0, 0, 4, width, height,
                                      nullptr, nullptr, nullptr, nullptr);
  if (depth == VRN_DEPTH_32F)
    vrnAllocateImageFP(im, 1, 0.0f);
  else
    vrnAllocateImage(im, 1, 0);
  return im;
}

void freeImage(VrnImage* im) {
  vrnDeallocate(im, VRN_FREE_HEADER | VRN_FREE_DATA | VRN_FREE_ROI | VRN_FREE_MASK);
}

template <class T>
T* row(VrnImage* im, int y) {
  return reinterpret_cast<T*>(im->imageData + y * im->widthStep);
}

template <class T>
T expectedSum(T a, T b) {
  if constexpr (std::is_floating_point_v<T>) {
    return a + b;
  } else {
    const int64_t s = int64_t{a} + int64_t{b};
    return static_cast<T>(std::clamp<int64_t>(s, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
  }
}

// Runs vrnAdd over all pairs (a[i], b[j]) laid out as a grid, once plain and
// once under a full mask (the per-sample path), and compares with the sum.
template <class T>
void checkPairs(int depth, const std::vector<T>& as, const std::vector<T>& bs) {
  const int w = static_cast<int>(bs.size()), h = static_cast<int>(as.size());
  VrnImage* a = makeImage(depth, w, h);
  VrnImage* b = makeImage(depth, w, h);
  VrnImage* d = makeImage(depth, w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      row<T>(a, y)[x] = as[y];
      row<T>(b, y)[x] = bs[x];
    }
  VrnImage* mask = makeImage(VRN_DEPTH_1U, w, h);
  std::memset(mask->imageData, 0xFF, mask->imageSize);
  for (bool masked : {false, true}) {
    d->maskROI = masked ? mask : nullptr;
    std::memset(d->imageData, 0, d->imageSize);
    vrnAdd(a, b, d);
    ASSERT_EQ(vrnGetErrStatus(), 0);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const T want = expectedSum(as[y], bs[x]);
        const T got = row<T>(d, y)[x];
        if constexpr (std::is_floating_point_v<T>) {
          if (std::isnan(want)) {
            ASSERT_TRUE(std::isnan(got));
            continue;
          }
        }
        ASSERT_EQ(got, want) << "depth " << depth << " " << +as[y] << " + " << +bs[x]
                             << (masked ? " masked" : "");
      }
  }
  d->maskROI = nullptr;
  freeImage(mask);
  freeImage(a);
  freeImage(b);
  freeImage(d);
}

template <class T>
std::vector<T> allValues() {
  std::vector<T> v;
  for (int i = std::numeric_limits<T>::min(); i <= std::numeric_limits<T>::max(); ++i)
    v.push_back(static_cast<T>(i));
  return v;
}

template <class T>
std::vector<T> edgeValues(uint32_t seed) {
  const T lo = std::numeric_limits<T>::lowest(), hi = std::numeric_limits<T>::max();
  std::vector<T> v = {0, 1, static_cast<T>(lo + 1), lo, hi, static_cast<T>(hi - 1), 2};
  if constexpr (std::is_signed_v<T>) v.push_back(static_cast<T>(-1));
  std::mt19937 rng(seed);
  for (int i = 0; i < 40; ++i) {
    if constexpr (std::is_floating_point_v<T>)
      v.push_back(std::uniform_real_distribution<T>(-1e6f, 1e6f)(rng));
    else
      v.push_back(static_cast<T>(rng()));
  }
  return v;
}

TEST(Add, EveryPairOf8BitOperands) {
  checkPairs<uint8_t>(VRN_DEPTH_8U, allValues<uint8_t>(), allValues<uint8_t>());
  checkPairs<int8_t>(VRN_DEPTH_8S, allValues<int8_t>(), allValues<int8_t>());
}

TEST(Add, EdgesOfWiderDepths) {
  checkPairs<uint16_t>(VRN_DEPTH_16U, edgeValues<uint16_t>(1), edgeValues<uint16_t>(2));
  checkPairs<int16_t>(VRN_DEPTH_16S, edgeValues<int16_t>(3), edgeValues<int16_t>(4));
  checkPairs<int32_t>(VRN_DEPTH_32S, edgeValues<int32_t>(5), edgeValues<int32_t>(6));
  auto f = edgeValues<float>(7);
  f.push_back(std::numeric_limits<float>::infinity());
  f.push_back(-std::numeric_limits<float>::infinity());
  f.push_back(std::numeric_limits<float>::quiet_NaN());
  checkPairs<float>(VRN_DEPTH_32F, f, edgeValues<float>(8));
}

TEST(Add, NamedEdgeCases) {
  struct Case {
    int depth;
    double a, b, sum;
  } cases[] = {
      {VRN_DEPTH_8U, 200, 100, 255},          {VRN_DEPTH_8S, 100, 100, 127},
      {VRN_DEPTH_16U, 40000, 40000, 65535},   {VRN_DEPTH_32S, 2147483647, 1, 2147483647},
      {VRN_DEPTH_32S, -2147483648.0, -1, -2147483648.0},
  };
  for (const Case& c : cases) {
    VrnImage* a = makeImage(c.depth, 1, 1);
    VrnImage* b = makeImage(c.depth, 1, 1);
    auto put = [&](VrnImage* im, double v) {
      switch (c.depth) {
        case VRN_DEPTH_8U: *reinterpret_cast<uint8_t*>(im->imageData) = static_cast<uint8_t>(v); break;
        case VRN_DEPTH_8S: *reinterpret_cast<int8_t*>(im->imageData) = static_cast<int8_t>(v); break;
        case VRN_DEPTH_16U: *reinterpret_cast<uint16_t*>(im->imageData) = static_cast<uint16_t>(v); break;
        default: *reinterpret_cast<int32_t*>(im->imageData) = static_cast<int32_t>(v); break;
      }
    };
    auto get = [&](VrnImage* im) -> double {
      switch (c.depth) {
        case VRN_DEPTH_8U: return *reinterpret_cast<uint8_t*>(im->imageData);
        case VRN_DEPTH_8S: return *reinterpret_cast<int8_t*>(im->imageData);
        case VRN_DEPTH_16U: return *reinterpret_cast<uint16_t*>(im->imageData);
        default: return *reinterpret_cast<int32_t*>(im->imageData);
      }
    };
    put(a, c.a);
    put(b, c.b);
    vrnAdd(a, b, a);  // in place
    EXPECT_EQ(get(a), c.sum) << c.depth;
    freeImage(a);
    freeImage(b);
  }
}

// Rows long and short, at every offset, so the packed body and the scalar
// tail both run: each sample is checked against the definition.
TEST(Add, PackedRowsMatchTheDefinitionAtEveryLengthAndOffset) {
  std::mt19937 rng(11);
  for (int width = 1; width <= 150; width += 7) {
    for (int x0 = 0; x0 < 5; ++x0) {
      VrnImage* a = makeImage(VRN_DEPTH_16S, width + 5, 2, 3);
      VrnImage* b = makeImage(VRN_DEPTH_16S, width + 5, 2, 3);
      VrnImage* d = makeImage(VRN_DEPTH_16S, width + 5, 2, 3);
      for (VrnImage* im : {a, b, d})
        for (int i = 0; i < im->imageSize / 2; ++i) reinterpret_cast<int16_t*>(im->imageData)[i] = static_cast<int16_t>(rng());
      std::vector<char> before(d->imageData, d->imageData + d->imageSize);
      VrnROI roi{0, x0, 1, width, 1};
      d->roi = &roi;
      vrnAdd(a, b, d);
      d->roi = nullptr;
      for (int y = 0; y < 2; ++y)
        for (int i = 0; i < (width + 5) * 3; ++i) {
          const int16_t got = row<int16_t>(d, y)[i];
          if (y == 1 && i >= x0 * 3 && i < (x0 + width) * 3) {
            const int j = i - x0 * 3;  // A and B are read from their own corner
            ASSERT_EQ(got, expectedSum(row<int16_t>(a, 0)[j], row<int16_t>(b, 0)[j])) << width << " " << x0;
          } else {
            ASSERT_EQ(got, reinterpret_cast<const int16_t*>(before.data() + y * d->widthStep)[i]);
          }
        }
      freeImage(a);
      freeImage(b);
      freeImage(d);
    }
  }
}

struct Report {
  int status;
  std::string func, context;
};
std::vector<Report> g_reports;
int catchReport(int status, const char* f, const char* c, const char*, int) {
  g_reports.push_back({status, f, c});
  return status;
}

struct Catch {
  VrnErrorHandler old = vrnRedirectError(catchReport);
  int mode = vrnGetErrMode();
  Catch() {
    g_reports.clear();
    vrnSetErrMode(VRN_ErrorModeParent);
    vrnSetErrStatus(0);
  }
  ~Catch() {
    vrnRedirectError(old);
    vrnSetErrMode(mode);
    vrnSetErrStatus(0);
  }
};

TEST(Add, ChecksInOrderWithTheirTexts) {
  Catch c;
  VrnImage* u8 = makeImage(VRN_DEPTH_8U, 4, 4);
  VrnImage* s8 = makeImage(VRN_DEPTH_8S, 4, 4);
  VrnImage* rgb = makeImage(VRN_DEPTH_8U, 4, 4, 3);
  VrnImage* plane = makeImage(VRN_DEPTH_8U, 4, 4);
  plane->dataOrder = 1;
  const std::vector<char> untouched(u8->imageData, u8->imageData + u8->imageSize);

  vrnAdd(nullptr, u8, u8);
  vrnAdd(u8, nullptr, u8);
  vrnAdd(u8, u8, nullptr);
  vrnAdd(s8, u8, u8);
  vrnAdd(u8, s8, u8);
  vrnAdd(plane, u8, u8);
  vrnAdd(u8, plane, u8);
  vrnAdd(rgb, u8, u8);
  vrnAdd(u8, rgb, u8);
  ASSERT_EQ(g_reports.size(), 9u);
  const Report want[] = {
      {-5, "vrnAdd", "srcImageA==0"},
      {-9, "vrnAdd", "Incorrect Image"},
      {-9, "vrnAdd", "Incorrect Image"},
      {-5, "vrnAdd", "(srcImageA->depth != dstImage->depth)"},
      {-5, "vrnAdd", "(srcImageB->depth != dstImage->depth)"},
      {-5, "vrnAdd", "(srcImageA->dataOrder != dstImage->dataOrder)"},
      {-5, "vrnAdd", "(srcImageB->dataOrder != dstImage->dataOrder)"},
      {-5, "vrnAdd", "(nChSrcA != nChDst)"},
      {-5, "vrnAdd", "(nChSrcB != nChDst)"},
  };
  for (size_t i = 0; i < 9; ++i) {
    EXPECT_EQ(g_reports[i].status, want[i].status) << i;
    EXPECT_EQ(g_reports[i].func, want[i].func) << i;
    EXPECT_EQ(g_reports[i].context, want[i].context) << i;
  }
  EXPECT_EQ(std::memcmp(untouched.data(), u8->imageData, u8->imageSize), 0);
  for (VrnImage* im : {u8, s8, rgb, plane}) freeImage(im);
}

TEST(Add, OneBitImagesGoToOrBeforeAnyCheck) {
  Catch c;
  VrnImage* bits = makeImage(VRN_DEPTH_1U, 8, 8);
  VrnImage* u8 = makeImage(VRN_DEPTH_8U, 8, 8);
  vrnAdd(bits, u8, u8);
  ASSERT_FALSE(g_reports.empty());
  EXPECT_EQ(g_reports[0].func, "vrnOr");
  freeImage(bits);
  freeImage(u8);
}

}  // namespace

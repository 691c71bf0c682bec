// 1-bit kernels of vrnSubtract (A AND NOT B) and vrnSquare (a copy of the
// bits): every image at its own bit offset, bits outside the rectangle kept,
// masked pixels only where the mask bit is set.
#include <random>

#include "arith_support.h"

using namespace arithtest;

namespace {

char kGray[4] = {'G', 'R', 'A', 'Y'};
char kG[4] = {'G', 0, 0, 0};

// A 1-bit image of random bits with a ROI at (x, y) of w x h.
struct Bits {
  VrnImage* image;
  Bits(int width, int height, int x, int y, int w, int h, uint32_t seed) {
    image = vrnCreateImageHeader(1, 0, VRN_DEPTH_1U, kGray, kG, VRN_DATA_ORDER_PIXEL, VRN_ORIGIN_TOP, 4, width,
                                 height, vrnCreateROI(0, x, y, w, h), nullptr, nullptr, nullptr);
    vrnAllocateImage(image, 0, 0);
    std::mt19937 rng(seed);
    for (int i = 0; i < image->imageSize; ++i) image->imageData[i] = static_cast<char>(rng());
  }
  ~Bits() { vrnDeallocate(image, VRN_FREE_HEADER | VRN_FREE_DATA | VRN_FREE_ROI); }
  unsigned at(int x, int y) const {
    const auto* row = reinterpret_cast<const unsigned char*>(image->imageData) + y * image->widthStep;
    return (row[x >> 3] >> (7 - (x & 7))) & 1u;
  }
  // The bit at (i, j) of the ROI.
  unsigned roi(int i, int j) const { return at(image->roi->xOffset + i, image->roi->yOffset + j); }
  std::vector<char> bytes() const { return {image->imageData, image->imageData + image->imageSize}; }
};

struct Offsets {
  int a, b, d;
};

class ArithBits : public testing::TestWithParam<Offsets> {};

TEST_P(ArithBits, SubtractIsAndNotAtAnyOffsets) {
  const Offsets o = GetParam();
  for (int w : {1, 3, 7, 8, 9, 21, 64, 70}) {
    SCOPED_TRACE(w);
    const int h = 3;
    Bits a(90, 5, o.a, 1, w, h, 1), b(90, 5, o.b, 2, w, h, 2), d(90, 5, o.d, 0, w, h, 3);
    const Bits before(90, 5, o.d, 0, w, h, 3);
    ReportCatcher catcher;
    vrnSubtract(a.image, b.image, d.image);
    ASSERT_TRUE(catcher.all().empty()) << catcher.first().context;
    for (int y = 0; y < 5; ++y)
      for (int x = 0; x < 90; ++x) {
        const int i = x - o.d, j = y;
        const bool inside = i >= 0 && i < w && j < h;
        const unsigned want = inside ? (a.roi(i, j) & ~b.roi(i, j) & 1u) : before.at(x, y);
        ASSERT_EQ(d.at(x, y), want) << "at " << x << "," << y;
      }
  }
}

TEST_P(ArithBits, MaskedSubtractAndSquare) {
  const Offsets o = GetParam();
  const int w = 37, h = 4;
  for (bool square : {false, true}) {
    SCOPED_TRACE(square ? "square" : "subtract");
    Bits a(60, 6, o.a, 0, w, h, 4), b(60, 6, o.b, 1, w, h, 5), d(60, 6, o.d, 2, w, h, 6), m(50, 4, 5, 0, w, h, 7);
    const Bits before(60, 6, o.d, 2, w, h, 6);
    d.image->maskROI = m.image;
    ReportCatcher catcher;
    if (square)
      vrnSquare(a.image, d.image);
    else
      vrnSubtract(a.image, b.image, d.image);
    d.image->maskROI = nullptr;
    ASSERT_TRUE(catcher.all().empty()) << catcher.first().context;
    for (int y = 0; y < 6; ++y)
      for (int x = 0; x < 60; ++x) {
        const int i = x - o.d, j = y - 2;
        const bool inside = i >= 0 && i < w && j >= 0 && j < h && m.roi(i, j);
        const unsigned result = square ? a.roi(i, j) : (a.roi(i, j) & ~b.roi(i, j) & 1u);
        ASSERT_EQ(d.at(x, y), inside ? result : before.at(x, y)) << "at " << x << "," << y;
      }
  }
}

TEST_P(ArithBits, SquareCopiesBits) {
  const Offsets o = GetParam();
  const int w = 29, h = 2;
  Bits a(40, 2, o.a, 0, w, h, 8), d(40, 2, o.d, 0, w, h, 9);
  const Bits before(40, 2, o.d, 0, w, h, 9);
  vrnSquare(a.image, d.image);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < 40; ++x) {
      const int i = x - o.d;
      ASSERT_EQ(d.at(x, y), i >= 0 && i < w ? a.roi(i, y) : before.at(x, y)) << x;
    }
}

INSTANTIATE_TEST_SUITE_P(Offsets, ArithBits,
                         testing::Values(Offsets{0, 0, 0}, Offsets{6, 0, 1}, Offsets{1, 7, 6}, Offsets{3, 3, 3},
                                         Offsets{8, 13, 2}, Offsets{0, 5, 7}));

TEST(ArithBitsEdges, SubtractTruthTable) {
  Bits a(8, 1, 0, 0, 4, 1, 0), b(8, 1, 0, 0, 4, 1, 0), d(8, 1, 0, 0, 4, 1, 0);
  a.image->imageData[0] = static_cast<char>(0xC0);  // 1 1 0 0
  b.image->imageData[0] = static_cast<char>(0xA0);  // 1 0 1 0
  d.image->imageData[0] = static_cast<char>(0x0F);
  vrnSubtract(a.image, b.image, d.image);
  EXPECT_EQ(static_cast<unsigned char>(d.image->imageData[0]), 0x4F);  // 0 1 0 0, low nibble kept
}

}  // namespace

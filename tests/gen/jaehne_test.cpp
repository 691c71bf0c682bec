// The test image: exact values at chosen phases for every depth, symmetry,
// the record it comes in, and the order and texts of its reports.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "support/report_catcher.h"
#include "vrn.h"

namespace {

struct Owned {
  VrnImage* p;
  ~Owned() { vrnDeallocate(p, VRN_FREE_HEADER | VRN_FREE_DATA); }
};

// Value at (x, y) widened to double; 1U reads the bit.
double sampleAt(const VrnImage* im, int x, int y) {
  const char* row = im->imageData + static_cast<int64_t>(y) * im->widthStep;
  switch (im->depth) {
    case VRN_DEPTH_1U: return (static_cast<uint8_t>(row[x >> 3]) >> (7 - (x & 7))) & 1;
    case VRN_DEPTH_8U: return reinterpret_cast<const uint8_t*>(row)[x];
    case VRN_DEPTH_8S: return reinterpret_cast<const int8_t*>(row)[x];
    case VRN_DEPTH_16U: return reinterpret_cast<const uint16_t*>(row)[x];
    case VRN_DEPTH_16S: return reinterpret_cast<const int16_t*>(row)[x];
    case VRN_DEPTH_32S: return reinterpret_cast<const int32_t*>(row)[x];
    default: return reinterpret_cast<const float*>(row)[x];
  }
}

// Expected values where sin is 0 (centre), +1, -1 and just above 0 (phase
// pi, which the constant 2pi rounded to double leaves slightly short of).
struct DepthCase {
  int depth;
  const char* name;
  double atZero, atPlusOne, atMinusOne, atPi;
};

const DepthCase kDepths[] = {
    {VRN_DEPTH_1U, "1U", 0, 1, 0, 0},
    {VRN_DEPTH_8U, "8U", 127, 255, 0, 127},
    {VRN_DEPTH_8S, "8S", 0, 127, -127, 0},
    {VRN_DEPTH_16U, "16U", 32767, 65535, 0, 32767},
    {VRN_DEPTH_16S, "16S", 0, 32767, -32767, 0},
    {VRN_DEPTH_32S, "32S", 0, 2147483647, -2147483647, 0},
    {VRN_DEPTH_32F, "32F", 0.49999f, 0.99998f, 0, 0.49999f},
};

class JaehneDepth : public ::testing::TestWithParam<DepthCase> {};

TEST_P(JaehneDepth, RecordIsOneChannelGrayTopAligned) {
  const DepthCase& c = GetParam();
  Owned im{vrnCreateImageJaehne(c.depth, 13, 7)};
  ASSERT_NE(im.p, nullptr);
  EXPECT_EQ(vrnCheckImageHeader(im.p), 0);
  EXPECT_EQ(im.p->nChannels, 1);
  EXPECT_EQ(im.p->alphaChannel, 0);
  EXPECT_EQ(im.p->depth, c.depth);
  EXPECT_EQ(std::memcmp(im.p->colorModel, "GRAY", 4), 0);
  EXPECT_EQ(std::memcmp(im.p->channelSeq, "GRAY", 4), 0);
  EXPECT_EQ(im.p->dataOrder, VRN_DATA_ORDER_PIXEL);
  EXPECT_EQ(im.p->origin, VRN_ORIGIN_TOP);
  EXPECT_EQ(im.p->align, 32);
  EXPECT_EQ(im.p->widthStep % 32, 0);
  EXPECT_EQ(im.p->roi, nullptr);
  EXPECT_EQ(im.p->width, 13);
  EXPECT_EQ(im.p->height, 7);
}

TEST_P(JaehneDepth, OneByOneIsSinZero) {
  const DepthCase& c = GetParam();
  Owned im{vrnCreateImageJaehne(c.depth, 1, 1)};
  ASSERT_NE(im.p, nullptr);
  EXPECT_EQ(sampleAt(im.p, 0, 0), c.atZero);
}

// The phase is r^2 * 2pi / (4 * height) whatever the width: in a 5-row image
// r^2 = 5 is a quarter turn and r^2 = 10 a half turn; in a 3-row image r^2 = 9
// is three quarters.  The images are far wider than tall, so a phase that
// used the width would miss every expected value.
TEST_P(JaehneDepth, QuarterTurnsFollowTheHeightOnly) {
  const DepthCase& c = GetParam();
  Owned five{vrnCreateImageJaehne(c.depth, 41, 5)};  // centre (20, 2)
  Owned three{vrnCreateImageJaehne(c.depth, 31, 3)};  // centre (15, 1)
  ASSERT_NE(five.p, nullptr);
  ASSERT_NE(three.p, nullptr);
  EXPECT_EQ(sampleAt(five.p, 20, 2), c.atZero);
  EXPECT_EQ(sampleAt(five.p, 21, 4), c.atPlusOne);  // 1 + 4
  EXPECT_EQ(sampleAt(five.p, 22, 3), c.atPlusOne);  // 4 + 1
  EXPECT_EQ(sampleAt(five.p, 23, 3), c.atPi);       // 9 + 1
  EXPECT_EQ(sampleAt(three.p, 18, 1), c.atMinusOne);  // 9 + 0
  EXPECT_EQ(sampleAt(three.p, 12, 1), c.atMinusOne);
}

TEST_P(JaehneDepth, SymmetricAboutTheCentre) {
  const DepthCase& c = GetParam();
  for (auto [w, h] : {std::pair{37, 23}, std::pair{36, 22}, std::pair{8, 41}}) {
    Owned im{vrnCreateImageJaehne(c.depth, w, h)};
    ASSERT_NE(im.p, nullptr);
    int mismatches = 0;
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const double v = sampleAt(im.p, x, y);
        mismatches += v != sampleAt(im.p, w - 1 - x, y);
        mismatches += v != sampleAt(im.p, x, h - 1 - y);
      }
    EXPECT_EQ(mismatches, 0) << w << "x" << h;
    if (w % 2 == 1 && h % 2 == 1) {
      EXPECT_EQ(sampleAt(im.p, w / 2, h / 2), c.atZero);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllDepths, JaehneDepth, ::testing::ValuesIn(kDepths),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(Jaehne, FloatValuesStayInRange) {
  Owned im{vrnCreateImageJaehne(VRN_DEPTH_32F, 200, 150)};
  ASSERT_NE(im.p, nullptr);
  double lo = 1, hi = 0;
  for (int y = 0; y < 150; ++y)
    for (int x = 0; x < 200; ++x) {
      const double v = sampleAt(im.p, x, y);
      lo = v < lo ? v : lo;
      hi = v > hi ? v : hi;
    }
  EXPECT_GE(lo, 0.0);
  EXPECT_LE(hi, 0.99998f);
  EXPECT_LT(lo, 0.01);  // the pattern reaches both ends
  EXPECT_GT(hi, 0.99);
}

TEST(Jaehne, OneBitRowPaddingStaysClear) {
  Owned im{vrnCreateImageJaehne(VRN_DEPTH_1U, 11, 9)};
  ASSERT_NE(im.p, nullptr);
  for (int y = 0; y < 9; ++y) {
    const uint8_t* row = reinterpret_cast<const uint8_t*>(im.p->imageData + y * im.p->widthStep);
    EXPECT_EQ(row[1] & 0x1F, 0) << "row " << y;
    for (int b = 2; b < im.p->widthStep; ++b) EXPECT_EQ(row[b], 0);
  }
}

struct BadCall {
  int depth, width, height, status;
  const char* context;
};

TEST(Jaehne, ReportsSizeBeforeDepth) {
  const BadCall calls[] = {
      {VRN_DEPTH_8S, 0, 5, VRN_StsBadImageSize, "Incorrect image size"},
      {VRN_DEPTH_8U, 5, 0, VRN_StsBadImageSize, "Incorrect image size"},
      {VRN_DEPTH_16U, -3, -3, VRN_StsBadImageSize, "Incorrect image size"},
      {12, 0, 5, VRN_StsBadImageSize, "Incorrect image size"},
      {12, 5, 5, VRN_StsBadDepth, "Incorrect depth value in the image header"},
      {24, 5, 5, VRN_StsBadDepth, "Incorrect depth value in the image header"},
      {static_cast<int>(0x80000001u), 5, 5, VRN_StsBadDepth, "Incorrect depth value in the image header"},
  };
  for (const BadCall& b : calls) {
    vrntest::ReportCatcher catcher;
    EXPECT_EQ(vrnCreateImageJaehne(b.depth, b.width, b.height), nullptr);
    EXPECT_EQ(vrnGetErrStatus(), b.status);
    EXPECT_TRUE(vrntest::expectReport(catcher, b.status, "vrnCreateImageJaehne", b.context));
  }
}

}  // namespace

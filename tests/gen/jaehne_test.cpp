// The test image: its record, exact values at chosen phases for every depth
// (the 1x1 image, quarter turns set by the height alone), symmetry and the
// centre of odd images, no value beyond the +-1 phases, clear 1U row
// padding, and the order and texts of reports.
#include <gtest/gtest.h>

#include <cstring>

#include "support/images.h"
#include "support/report_catcher.h"
#include "vrn.h"

namespace {

using vrntest::sampleAt;

struct Owned {
  VrnImage* p;
  ~Owned() { vrnDeallocate(p, VRN_FREE_HEADER | VRN_FREE_DATA); }
};

// Values where sin is 0, +1, -1 and at phase pi (which the rounded 2pi leaves just above 0).
struct DepthCase {
  int depth;
  double atZero, atPlusOne, atMinusOne, atPi;
};

const DepthCase kDepths[] = {
    {VRN_DEPTH_1U, 0, 1, 0, 0},          {VRN_DEPTH_8U, 127, 255, 0, 127},
    {VRN_DEPTH_8S, 0, 127, -127, 0},     {VRN_DEPTH_16U, 32767, 65535, 0, 32767},
    {VRN_DEPTH_16S, 0, 32767, -32767, 0}, {VRN_DEPTH_32S, 0, 2147483647, -2147483647, 0},
    {VRN_DEPTH_32F, 0.49999f, 0.99998f, 0, 0.49999f},
};

TEST(Jaehne, ValuesAndSymmetryPerDepth) {
  for (const DepthCase& c : kDepths) {
    SCOPED_TRACE(vrntest::depthName(c.depth));
    Owned one{vrnCreateImageJaehne(c.depth, 1, 1)};
    ASSERT_NE(one.p, nullptr);
    EXPECT_EQ(vrnCheckImageHeader(one.p), 0);
    EXPECT_EQ(one.p->depth, c.depth);
    EXPECT_EQ(one.p->nChannels, 1);
    EXPECT_EQ(std::memcmp(one.p->channelSeq, "GRAY", 4), 0);
    EXPECT_EQ(one.p->align, 32);
    EXPECT_EQ(one.p->origin, VRN_ORIGIN_TOP);
    EXPECT_EQ(sampleAt(one.p, 0, 0), c.atZero);
    // The phase is r^2 * 2pi / (4 * height) whatever the width: with 5 rows
    // r^2 = 5 is a quarter turn and 10 a half; with 3 rows 9 is three quarters.
    Owned five{vrnCreateImageJaehne(c.depth, 41, 5)}, three{vrnCreateImageJaehne(c.depth, 31, 3)};
    EXPECT_EQ(sampleAt(five.p, 20, 2), c.atZero);
    EXPECT_EQ(sampleAt(five.p, 21, 4), c.atPlusOne);   // 1 + 4
    EXPECT_EQ(sampleAt(five.p, 22, 3), c.atPlusOne);   // 4 + 1
    EXPECT_EQ(sampleAt(five.p, 23, 3), c.atPi);        // 9 + 1
    EXPECT_EQ(sampleAt(three.p, 18, 1), c.atMinusOne);  // 9 + 0
    for (auto [w, h] : {std::pair{37, 23}, std::pair{36, 22}, std::pair{8, 41}}) {
      Owned im{vrnCreateImageJaehne(c.depth, w, h)};
      int mismatches = 0, outside = 0;
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
          const double v = sampleAt(im.p, x, y);
          mismatches += (v != sampleAt(im.p, w - 1 - x, y)) + (v != sampleAt(im.p, x, h - 1 - y));
          outside += v < c.atMinusOne || v > c.atPlusOne;
        }
      for (int y = 0; c.depth == VRN_DEPTH_1U && y < h; ++y)  // 1U row padding stays clear
        for (int bit = w; bit < 8 * im.p->widthStep; ++bit) outside += im.p->imageData[y * im.p->widthStep + bit / 8] >> (7 - bit % 8) & 1;
      EXPECT_EQ(mismatches, 0) << w << "x" << h;
      EXPECT_EQ(outside, 0) << "values beyond the +-1 phases or set padding bits in " << w << "x" << h;
      EXPECT_TRUE(w % 2 == 0 || sampleAt(im.p, w / 2, h / 2) == c.atZero) << "centre of " << w << "x" << h;
    }
  }
}

TEST(Jaehne, ReportsSizeBeforeDepth) {
  const struct { int depth, width, height, status; } calls[] = {{VRN_DEPTH_8S, 0, 5, VRN_StsBadImageSize}, {VRN_DEPTH_8U, 5, 0, VRN_StsBadImageSize},
                           {VRN_DEPTH_16U, -3, -3, VRN_StsBadImageSize}, {12, 0, 5, VRN_StsBadImageSize},
                           {12, 5, 5, VRN_StsBadDepth}, {static_cast<int>(0x80000001u), 5, 5, VRN_StsBadDepth}};
  for (const auto& b : calls) {
    vrntest::ReportCatcher catcher;
    EXPECT_EQ(vrnCreateImageJaehne(b.depth, b.width, b.height), nullptr);
    EXPECT_EQ(vrnGetErrStatus(), b.status);
    EXPECT_REPORT(catcher, b.status, "vrnCreateImageJaehne",
                  b.status == VRN_StsBadDepth ? "Incorrect depth value in the image header" : "Incorrect image size");
  }
}

}  // namespace

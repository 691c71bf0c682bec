// Copy, set and exchange through the library's entry points: their own
// rectangle and status rules, channels and alpha, masks (the 1-bit logic
// routes among them) and reports.
#include <gtest/gtest.h>

#include "tests/arith/logic_helpers.h"

using namespace logictest;

namespace {

TEST(Copy, CopiesEveryDepthAndLayout) {
  Reports reports;
  for (int depth : {VRN_DEPTH_8U, VRN_DEPTH_8S, VRN_DEPTH_16U, VRN_DEPTH_16S, VRN_DEPTH_32S, VRN_DEPTH_32F}) {
    for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE}) {
      VrnImage* s = makeImage(depth, 3, 23, 4, 0, order, 4, 1);
      VrnImage* d = makeImage(depth, 3, 23, 4, 0, order, 8, 2);
      vrnCopy(s, d);
      const int rowBytes = 23 * 3 * (depth & VRN_DEPTH_MASK) / 8;
      const int rows = order == VRN_DATA_ORDER_PLANE ? 12 : 4;
      for (int y = 0; y < rows; ++y)
        ASSERT_EQ(0, std::memcmp(s->imageData + y * s->widthStep, d->imageData + y * d->widthStep,
                                 order == VRN_DATA_ORDER_PLANE ? rowBytes / 3 : rowBytes));
      freeImage(s);
      freeImage(d);
    }
  }
  EXPECT_TRUE(reports.all().empty());
}

TEST(Copy, StaleStatusMakesCopyDoNothing) {
  Reports reports;
  VrnImage* s = makeImage(VRN_DEPTH_8U, 1, 16, 4, 0, 0, 4, 1);
  VrnImage* d = makeImage(VRN_DEPTH_8U, 1, 16, 4, 0, 0, 4, 2);
  VrnImage* f = makeImage(VRN_DEPTH_32F, 1, 16, 4);
  vrnAnd(f, f, f);  // fails and leaves -5
  ASSERT_EQ(vrnGetErrStatus(), -5);
  const auto before = bytesOf(d);
  vrnCopy(s, d);
  vrnExchange(s, d);
  EXPECT_EQ(bytesOf(d), before);
  EXPECT_EQ(reports.all().size(), 1u);
  vrnSetErrStatus(0);
  vrnCopy(s, d);
  EXPECT_EQ(bytesOf(d), bytesOf(s));
  for (VrnImage* im : {s, d, f}) freeImage(im);
}

TEST(Set, ClampsAndKeepsAlpha) {
  Reports reports;
  VrnImage* rgba = makeImage(VRN_DEPTH_8U, 4, 10, 3, 4);
  const auto before = bytesOf(rgba);
  vrnSet(rgba, 300);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 10; ++x) {
      for (int c = 0; c < 3; ++c) ASSERT_EQ(at<uint8_t>(rgba, x, y, c), 255);
      ASSERT_EQ(at<uint8_t>(rgba, x, y, 3), before[y * rgba->widthStep + x * 4 + 3]);
    }
  rgba->roi = vrnCreateROI(4, 0, 0, 10, 3);
  vrnSet(rgba, -5);
  for (int x = 0; x < 10; ++x) {
    EXPECT_EQ(at<uint8_t>(rgba, x, 1, 3), 0);
    EXPECT_EQ(at<uint8_t>(rgba, x, 1, 0), 255);
  }
  VrnImage* f = makeImage(VRN_DEPTH_32F, 2, 7, 3);
  vrnSetFP(f, 1.5f);
  for (int i = 0; i < 14; ++i) EXPECT_EQ(at<uint32_t>(f, i / 2, 2, i % 2), 0x3FC00000u);
  EXPECT_EQ(f->depth, VRN_DEPTH_32F);
  EXPECT_TRUE(reports.all().empty());
  freeImage(rgba);
  freeImage(f);
}

}  // namespace

// The frame's rules, seen through vrnAdd: the rectangle, the channel count
// (COI, alpha), the flat run, masks, and the order and texts of the checks.
#include <gtest/gtest.h>

#include <cmath>

#include "support/checks.h"
#include "support/images.h"
#include "support/report_catcher.h"

namespace vrntest {
namespace {

// A + B as vrnAdd defines it: saturated, 32F as a float sum.
double addOf(int depth, double a, double b) {
  if (depth == VRN_DEPTH_32F) return static_cast<float>(static_cast<float>(a) + static_cast<float>(b));
  return std::clamp(a + b, depthMin(depth), depthMax(depth));
}

const int kDepths[] = {VRN_DEPTH_8U, VRN_DEPTH_8S, VRN_DEPTH_16U, VRN_DEPTH_16S, VRN_DEPTH_32S, VRN_DEPTH_32F};

// Every sample of the rectangle: dst(dx + i, dy + r, dc) = A(ax + i, ...) + B(...).
void expectSums(const TestImage& a, int ac, const TestImage& b, int bc, const TestImage& d, int dc,
                int width, int height) {
  const Rect ra = clippedRect(a), rb = clippedRect(b), rd = clippedRect(d);
  for (int r = 0; r < height; ++r)
    for (int i = 0; i < width; ++i) {
      const double want = addOf(d->depth, sampleAt(a, ra.x + i, ra.y + r, ac),
                                sampleAt(b, rb.x + i, rb.y + r, bc));
      ASSERT_EQ(sampleAt(d, rd.x + i, rd.y + r, dc), want) << "at " << i << "," << r;
    }
}

TEST(FrameRectangle, SmallestSizeOfAllImagesEachFromItsOwnCorner) {
  for (int depth : kDepths)
    for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE}) {
      SCOPED_TRACE(testing::Message() << depthName(depth) << " order " << order);
      const TestImage a(ImageSpec(depth, 100, 100, 2).order(order).seeded(1).fill(Content::kEdgeRich));
      const TestImage b(ImageSpec(depth, 50, 80, 2).order(order).seeded(2).fill(Content::kEdgeRich));
      TestImage d(ImageSpec(depth, 200, 200, 2).order(order).seeded(3).withRoi(0, 30, 40, 170, 160));
      const Snapshot before = snapshot(d);
      ReportCatcher reports;
      vrnAdd(a, b, d);
      EXPECT_NO_REPORT(reports);
      EXPECT_TRUE(onlyRectChanged(before, d, 50, 80));
      for (int c = 0; c < 2; ++c) expectSums(a, c, b, c, d, c, 50, 80);
    }
}

TEST(FrameRectangle, RoiStartingAtTheWidthWritesNothingAndLeavesTheStatus) {
  const TestImage a(ImageSpec(VRN_DEPTH_8U, 20, 10).withRoi(0, 20, 0, 5, 5));
  const TestImage b(ImageSpec(VRN_DEPTH_8U, 20, 10).seeded(2));
  TestImage d(ImageSpec(VRN_DEPTH_8U, 20, 10).seeded(3));
  const Snapshot before = snapshot(d);
  ReportCatcher reports;
  vrnSetErrStatus(-7);
  vrnAdd(a, b, d);
  EXPECT_NO_REPORT(reports);
  EXPECT_EQ(vrnGetErrStatus(), -7);
  EXPECT_TRUE(sameBytes(before, d));
}

TEST(FrameChannels, CountsMustAgreeAndAlphaDoesNotCount) {
  struct Case {
    int chA, alphaA, chB, alphaB, chD, alphaD;
    const char* text;
  };
  const Case cases[] = {
      {3, 3, 3, 0, 3, 0, "(nChSrcA != nChDst)"},
      {3, 0, 3, 3, 3, 0, "(nChSrcB != nChDst)"},
      {3, 0, 3, 0, 3, 3, "(nChSrcA != nChDst)"},
      {1, 0, 2, 0, 1, 0, "(nChSrcB != nChDst)"},
  };
  for (const Case& c : cases) {
    const TestImage a(ImageSpec(VRN_DEPTH_16U, 8, 4, c.chA).channels(c.chA, c.alphaA));
    const TestImage b(ImageSpec(VRN_DEPTH_16U, 8, 4, c.chB).channels(c.chB, c.alphaB));
    TestImage d(ImageSpec(VRN_DEPTH_16U, 8, 4, c.chD).channels(c.chD, c.alphaD));
    const Snapshot before = snapshot(d);
    ReportCatcher reports;
    vrnAdd(a, b, d);
    EXPECT_REPORT(reports, VRN_StsBadArg, "vrnAdd", c.text);
    EXPECT_TRUE(sameBytes(before, d));
  }
}

TEST(FrameChannels, TwoChannelsWithAlphaMeetGrayOnTheFirstChannel) {
  for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE}) {
    const TestImage a(ImageSpec(VRN_DEPTH_8U, 9, 5, 2).withAlpha().order(order).seeded(4));
    const TestImage b(ImageSpec(VRN_DEPTH_8U, 9, 5).order(order).seeded(5));
    TestImage gray(ImageSpec(VRN_DEPTH_8U, 9, 5).order(order).seeded(6));
    ReportCatcher reports;
    vrnAdd(a, b, gray);
    EXPECT_NO_REPORT(reports);
    expectSums(a, 0, b, 0, gray, 0, 9, 5);
    // And the other way round: the destination's alpha stays.
    TestImage alpha(ImageSpec(VRN_DEPTH_8U, 9, 5, 2).withAlpha().order(order).seeded(7));
    const Snapshot before = snapshot(alpha);
    vrnAdd(b, b, alpha);
    EXPECT_NO_REPORT(reports);
    EXPECT_TRUE(onlyRectChanged(before, alpha, 9, 5));
    expectSums(b, 0, b, 0, alpha, 0, 9, 5);
  }
}

TEST(FrameChannels, ChannelOfInterestMeetsGray) {
  for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE}) {
    const TestImage rgb(ImageSpec(VRN_DEPTH_16S, 11, 6, 3).order(order).withCoi(2).seeded(8));
    const TestImage gray(ImageSpec(VRN_DEPTH_16S, 11, 6).order(order).seeded(9));
    TestImage d(ImageSpec(VRN_DEPTH_16S, 11, 6).order(order).seeded(10));
    ReportCatcher reports;
    vrnAdd(rgb, gray, d);
    EXPECT_NO_REPORT(reports);
    expectSums(rgb, 1, gray, 0, d, 0, 11, 6);
    // A gray source into channel 3 of an RGB destination leaves channels 1 and 2.
    TestImage rgbDst(ImageSpec(VRN_DEPTH_16S, 11, 6, 3).order(order).withCoi(3).seeded(11));
    const Snapshot before = snapshot(rgbDst);
    vrnAdd(gray, gray, rgbDst);
    EXPECT_NO_REPORT(reports);
    EXPECT_TRUE(onlyRectChanged(before, rgbDst, 11, 6));
    expectSums(gray, 0, gray, 0, rgbDst, 2, 11, 6);
  }
}

TEST(FrameChannels, AlphaIsNeverTouchedUnlessTheCoiSelectsIt) {
  for (int depth : kDepths)
    for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE}) {
      SCOPED_TRACE(testing::Message() << depthName(depth) << " order " << order);
      const TestImage a(ImageSpec(depth, 13, 7, 4).withAlpha().order(order).seeded(12));
      const TestImage b(ImageSpec(depth, 13, 7, 4).withAlpha().order(order).seeded(13));
      TestImage d(ImageSpec(depth, 13, 7, 4).withAlpha().order(order).aligned(32).seeded(14));
      const Snapshot before = snapshot(d);
      ReportCatcher reports;
      vrnAdd(a, b, d);
      EXPECT_NO_REPORT(reports);
      EXPECT_TRUE(onlyRectChanged(before, d, 13, 7));
      for (int c = 0; c < 3; ++c) expectSums(a, c, b, c, d, c, 13, 7);
      // COI 4 is the alpha channel, and then it is worked.
      const TestImage gray(ImageSpec(depth, 13, 7).order(order).seeded(15));
      TestImage coi(ImageSpec(depth, 13, 7, 4).withAlpha().order(order).withCoi(4).seeded(16));
      const Snapshot coiBefore = snapshot(coi);
      vrnAdd(gray, gray, coi);
      EXPECT_NO_REPORT(reports);
      EXPECT_TRUE(onlyRectChanged(coiBefore, coi, 13, 7));
      expectSums(gray, 0, gray, 0, coi, 3, 13, 7);
    }
}

TEST(FrameFlatRun, EqualShapesRunThroughPaddingOtherwisePaddingStays) {
  for (int depth : {VRN_DEPTH_8U, VRN_DEPTH_16S, VRN_DEPTH_32F}) {
    SCOPED_TRACE(depthName(depth));
    auto spec = [&](uint64_t seed) { return ImageSpec(depth, 7, 5, 3).aligned(32).seeded(seed); };
    const TestImage a(spec(16)), b(spec(17));
    TestImage flat(spec(18));
    TestImage notFlat(spec(18));
    notFlat.setRoi(true, VrnROI{0, 0, 0, 7, 5});  // a ROI on a 3-channel image: no flat run
    const Snapshot before = snapshot(notFlat);
    ReportCatcher reports;
    vrnAdd(a, b, flat);
    vrnAdd(a, b, notFlat);
    EXPECT_TRUE(samePixels(flat, notFlat));
    EXPECT_TRUE(onlyRectChanged(before, notFlat, 7, 5));
    // The flat run worked the padding as samples too.
    const int bytes = sampleBytes(depth);
    const int pixelBytes = 7 * 3 * bytes;
    for (int y = 0; y < 5; ++y)
      for (int off = pixelBytes; off < flat->widthStep; off += bytes) {
        const int x = off / bytes;  // as if the row were one channel
        TestImage row(ImageSpec(depth, flat->widthStep / bytes, 1).fill(Content::kZero));
        auto at = [&](const VrnImage* im) {
          std::memcpy(row->imageData, im->imageData + y * im->widthStep, static_cast<size_t>(im->widthStep));
          return sampleAt(row, x, 0);
        };
        const double want = addOf(depth, at(a), at(b));
        if (!std::isnan(want)) {
          ASSERT_EQ(at(flat), want) << "padding of row " << y << " at byte " << off;
        }
      }
  }
}

// Builds the masks of a masked call and checks it against the unmasked run.
void checkMasked(const TestImage& a, const TestImage& b, TestImage& d) {
  TestImage ua = a.clone(), ub = b.clone(), ud = d.clone();
  ua.removeMask();
  ub.removeMask();
  ud.removeMask();
  vrnAdd(ua, ub, ud);
  const Snapshot before = snapshot(d);
  ReportCatcher reports;
  vrnAdd(a, b, d);
  EXPECT_NO_REPORT(reports);
  Rect rect = clippedRect(d);
  const Rect size = operationSize({a.get(), b.get(), d.get()});
  rect.width = size.width;
  rect.height = size.height;
  const MaskBits bits = mergedMaskBits({a.mask(), b.mask(), d.mask()});
  EXPECT_TRUE(maskedMatchesUnmasked(before, d, ud, rect, operatedChannels(d), bits));
}

MaskSpec maskOf(int width, int height, uint64_t seed, int x = 0, int y = 0, int w = 0, int h = 0) {
  MaskSpec m;
  m.width = width;
  m.height = height;
  m.seed = seed;
  if (w > 0) {
    m.hasRoi = true;
    m.roi = VrnROI{0, x, y, w, h};
  }
  return m;
}

TEST(FrameMasks, AWiderMaskIsCutAndANarrowerOneShortens) {
  for (int depth : {VRN_DEPTH_8U, VRN_DEPTH_32F}) {
    const TestImage a(ImageSpec(depth, 20, 6).seeded(19)), b(ImageSpec(depth, 20, 6).seeded(20));
    TestImage wide(ImageSpec(depth, 20, 6).seeded(21).withMask(maskOf(40, 9, 1)));
    checkMasked(a, b, wide);
    TestImage narrow(ImageSpec(depth, 20, 6).seeded(21).withMask(maskOf(10, 6, 2)));
    const Snapshot before = snapshot(narrow);
    checkMasked(a, b, narrow);
    EXPECT_TRUE(onlyRectChanged(before, narrow, 10, 6));
  }
}

TEST(FrameMasks, MasksOfAllImagesAreMergedFromTheirOwnRoisAndBitOffsets) {
  for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE})
    for (int channels : {1, 3}) {
      SCOPED_TRACE(testing::Message() << "order " << order << " channels " << channels);
      const TestImage a(ImageSpec(VRN_DEPTH_16U, 30, 12, channels).order(order).seeded(22)
                            .withMask(maskOf(37, 15, 3, 5, 2, 30, 12)));
      const TestImage b(ImageSpec(VRN_DEPTH_16U, 28, 14, channels).order(order).seeded(23)
                            .withRoi(0, 2, 1, 26, 13).withMask(maskOf(33, 13, 4, 3, 1, 25, 12)));
      TestImage d(ImageSpec(VRN_DEPTH_16U, 30, 12, channels).order(order).seeded(24)
                      .withRoi(0, 1, 0, 29, 12).withMask(maskOf(29, 11, 5, 7, 0, 22, 11)));
      checkMasked(a, b, d);
    }
}

TEST(FrameMasks, PlaneOrderRereadsTheMaskRowsForEveryPlane) {
  const TestImage a(ImageSpec(VRN_DEPTH_8S, 17, 9, 3).planes().seeded(25));
  const TestImage b(ImageSpec(VRN_DEPTH_8S, 17, 9, 3).planes().seeded(26));
  TestImage d(ImageSpec(VRN_DEPTH_8S, 17, 9, 3).planes().seeded(27).withMask(maskOf(17, 9, 6, 3, 0, 14, 9)));
  checkMasked(a, b, d);
}

TEST(FrameMasks, AnEmptyMergedMaskDoesNothingAndReportsNothing) {
  const TestImage a(ImageSpec(VRN_DEPTH_8U, 16, 4).withMask(maskOf(16, 4, 7, 16, 0, 4, 4)));
  const TestImage b(ImageSpec(VRN_DEPTH_8U, 16, 4).seeded(28));
  TestImage d(ImageSpec(VRN_DEPTH_8U, 16, 4).seeded(29).withMask(maskOf(16, 4, 8)));
  const Snapshot before = snapshot(d);
  ReportCatcher reports;
  vrnSetErrStatus(-7);
  vrnAdd(a, b, d);
  EXPECT_NO_REPORT(reports);
  EXPECT_EQ(vrnGetErrStatus(), -7);
  EXPECT_TRUE(sameBytes(before, d));
}

TEST(FrameChecks, OrderAndTexts) {
  const ImageSpec base(VRN_DEPTH_8U, 8, 4);
  struct Case {
    const char* name;
    std::function<void(TestImage& a, TestImage& b, TestImage& d)> spoil;
    bool nullB, nullD;
    int status;
    const char* text;
  };
  const Case cases[] = {
      {"null B", [](auto&, auto&, auto&) {}, true, false, VRN_StsNullHeader, "Incorrect Image"},
      {"null dst", [](auto&, auto&, auto&) {}, false, true, VRN_StsNullHeader, "Incorrect Image"},
      {"A before B", [](TestImage& a, TestImage& b, auto&) { a->align = 3; b->width = 0; }, false, false,
       VRN_StsBadAlign, "Incorrect Image"},
      {"B before dst", [](auto&, TestImage& b, TestImage& d) { b->nChannels = 0; d->width = 0; }, false,
       false, VRN_StsBadChannels, "Incorrect Image"},
      {"origin of dst", [](auto&, auto&, TestImage& d) { d->alphaChannel = 1; d->origin = 2; }, false,
       false, VRN_StsBadOrigin, "Incorrect Image"},
      {"depth A", [](TestImage& a, TestImage& b, auto&) { a->depth = VRN_DEPTH_8S; b->depth = VRN_DEPTH_8S; },
       false, false, VRN_StsBadArg, "(srcImageA->depth != dstImage->depth)"},
      {"depth B before order A",
       [](TestImage& a, TestImage& b, auto&) { a->dataOrder = 1; b->depth = VRN_DEPTH_8S; }, false, false,
       VRN_StsBadArg, "(srcImageB->depth != dstImage->depth)"},
      {"order A", [](TestImage& a, TestImage& b, auto&) { a->dataOrder = 1; b->dataOrder = 1; }, false,
       false, VRN_StsBadArg, "(srcImageA->dataOrder != dstImage->dataOrder)"},
      {"order B", [](auto&, TestImage& b, auto&) { b->dataOrder = 1; }, false, false, VRN_StsBadArg,
       "(srcImageB->dataOrder != dstImage->dataOrder)"},
      {"order before channels", [](TestImage& a, TestImage& b, auto&) { a->alphaChannel = 1; b->dataOrder = 1; },
       false, false, VRN_StsBadArg, "(srcImageB->dataOrder != dstImage->dataOrder)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TestImage a(base), b(ImageSpec(base).seeded(2)), d(ImageSpec(base).seeded(3));
    c.spoil(a, b, d);
    const Snapshot before = snapshot(d);
    ReportCatcher reports;
    vrnAdd(a, c.nullB ? nullptr : b.get(), c.nullD ? nullptr : d.get());
    EXPECT_REPORT(reports, c.status, "vrnAdd", c.text);
    EXPECT_EQ(vrnGetErrStatus(), c.status);
    EXPECT_TRUE(sameBytes(before, d));
  }
  ReportCatcher reports;
  vrnAdd(nullptr, nullptr, nullptr);
  EXPECT_REPORT(reports, VRN_StsBadArg, "vrnAdd", "srcImageA==0");
}

TEST(FrameChecks, OneBitInAHandsTheWholeCallToOr) {
  const TestImage a(ImageSpec(VRN_DEPTH_1U, 16, 4));
  const TestImage b(ImageSpec(VRN_DEPTH_8U, 16, 4));
  ReportCatcher reports;
  vrnAdd(a, b, nullptr);
  ASSERT_GE(reports.count(), 1u);
  EXPECT_EQ(reports.last().funcName, "vrnOr");
}

}  // namespace
}  // namespace vrntest

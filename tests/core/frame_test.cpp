// The frame's rules, seen through vrnAdd: the rectangle, the channel count
// (COI, alpha), the flat run, masks, and the order and texts of the checks.
#include <gtest/gtest.h>

#include <cmath>

#include "support/checks.h"
#include "support/report_catcher.h"

namespace vrntest {
namespace {

// A + B as vrnAdd defines it: saturated, 32F as a float sum.
double addOf(int depth, double a, double b) {
  if (depth == VRN_DEPTH_32F) return static_cast<float>(static_cast<float>(a) + static_cast<float>(b));
  return std::clamp(a + b, depthMin(depth), depthMax(depth));
}

// Runs vrnAdd and checks every sample of the rectangle, each image read from
// its own corner on its channel, and that nothing else of dst changed.
void checkAdd(const TestImage& a, int ac, const TestImage& b, int bc, TestImage& d, int dc, int width, int height) {
  const Snapshot before = snapshot(d);
  ReportCatcher reports;
  vrnAdd(a, b, d);
  EXPECT_NO_REPORT(reports);
  EXPECT_TRUE(onlyRectChanged(before, d, width, height));
  const Rect ra = clippedRect(a), rb = clippedRect(b), rd = clippedRect(d);
  for (int r = 0; r < height; ++r)
    for (int i = 0; i < width; ++i)
      ASSERT_EQ(sampleAt(d, rd.x + i, rd.y + r, dc),
                addOf(d->depth, sampleAt(a, ra.x + i, ra.y + r, ac), sampleAt(b, rb.x + i, rb.y + r, bc))) << i << "," << r;
}

// The rectangle is the smallest size of all images, each read from its own
// corner; alpha never counts or is touched unless the COI selects it; a COI
// meets gray.
TEST(Frame, RectangleChannelsAlphaAndCoi) {
  const ImageSpec gray(0, 13, 7), a2(0, 13, 7, 2), rgba = ImageSpec(0, 13, 7, 4).withAlpha();
  const ImageSpec ra(0, 100, 100, 2), rb(0, 50, 80, 2), rd = ImageSpec(0, 200, 200, 2).withRoi(0, 30, 40, 170, 160);
  const struct { ImageSpec a, b, d; int ac, bc, dc, width, height; } cases[] = {
      {ra, rb, rd, 0, 0, 0, 50, 80},
      {ra, rb, rd, 1, 1, 1, 50, 80},
      {ImageSpec(a2).withAlpha(), gray, gray, 0, 0, 0, 13, 7},  // gray + alpha meets gray
      {gray, gray, ImageSpec(a2).withAlpha(), 0, 0, 0, 13, 7},
      {ImageSpec(0, 13, 7, 3).withCoi(2), gray, gray, 1, 0, 0, 13, 7},  // COI 2 meets gray
      {gray, gray, ImageSpec(0, 13, 7, 3).withCoi(3), 0, 0, 2, 13, 7},
      {gray, gray, ImageSpec(rgba).withCoi(4), 0, 0, 3, 13, 7},  // COI 4 is alpha, and then it is worked
      {rgba, rgba, rgba, 2, 2, 2, 13, 7},                        // channel 2 of three, alpha left
  };
  for (int depth : {VRN_DEPTH_8U, VRN_DEPTH_8S, VRN_DEPTH_16U, VRN_DEPTH_16S, VRN_DEPTH_32S, VRN_DEPTH_32F})
    for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE})
      for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << depthName(depth) << " order " << order << " dst channel " << c.dc);
        auto make = [&](ImageSpec s, uint64_t seed) {
          s.depth = depth, s.dataOrder = order, s.align = 32;
          return TestImage(s.seeded(seed).fill(Content::kEdgeRich));
        };
        const TestImage a = make(c.a, 1), b = make(c.b, 2);
        TestImage d = make(c.d, 3);
        checkAdd(a, c.ac, b, c.bc, d, c.dc, c.width, c.height);
      }
}

// Without a ROI, alike images are one flat run that works the row padding too.
TEST(Frame, FlatRunWorksPaddingOnlyWhenAllShapesAreEqual) {
  for (int depth : {VRN_DEPTH_8U, VRN_DEPTH_16S, VRN_DEPTH_32F}) {
    SCOPED_TRACE(depthName(depth));
    auto desc = [&](uint64_t seed) { return ImageSpec(depth, 7, 5, 3).aligned(32).seeded(seed); };
    const TestImage a(desc(16)), b(desc(17));
    TestImage flat(desc(18)), notFlat(desc(18).withRoi(0, 0, 0, 7, 5));  // a ROI on a 3-channel image: no flat run
    checkAdd(a, 0, b, 0, notFlat, 0, 7, 5);
    vrnAdd(a, b, flat);
    EXPECT_TRUE(samePixels(flat, notFlat));
    // The buffers read as one-channel rows of widthStep bytes: the padding holds sums too.
    const int n = flat->widthStep / sampleBytes(depth);
    VrnImage ra = viewOf(a, a->imageData, n, 5, a->widthStep), rb = viewOf(b, b->imageData, n, 5, b->widthStep),
             rf = viewOf(flat, flat->imageData, n, 5, flat->widthStep);
    ra.nChannels = rb.nChannels = rf.nChannels = 1;
    for (int y = 0; y < 5; ++y)
      for (int x = 7 * 3; x < n; ++x) {
        const double want = addOf(depth, sampleAt(&ra, x, y), sampleAt(&rb, x, y));
        if (!std::isnan(want)) { ASSERT_EQ(sampleAt(&rf, x, y), want) << "padding of row " << y << " at sample " << x; }
      }
  }
}

MaskSpec maskOf(int width, int height, uint64_t seed, VrnROI roi = {}) {
  return MaskSpec{.width = width, .height = height, .hasRoi = roi.width > 0, .roi = roi, .seed = seed};
}

// Masks of all images are merged, each read from its own ROI at its own bit
// offset; a wider mask is cut, a narrower one shortens; plane order rereads
// the mask rows for every plane.  A ROI starting at the width or an empty
// merged mask writes nothing.  No report either way, and the status is kept.
TEST(Frame, MasksAreMergedFromTheirOwnRoisAndBitOffsets) {
  const ImageSpec s30(0, 30, 12, 3), s28(0, 28, 14, 3), s16(0, 16, 4);
  const struct { ImageSpec a, b, d; } cases[] = {
      {s30, s28, ImageSpec(s30).withMask(maskOf(40, 15, 1))},
      {s30, s28, ImageSpec(s30).withMask(maskOf(10, 12, 2))},
      {ImageSpec(s30).withMask(maskOf(37, 15, 3, {0, 5, 2, 30, 12})),
       ImageSpec(s28).withRoi(0, 2, 1, 26, 13).withMask(maskOf(33, 13, 4, {0, 3, 1, 25, 12})),
       ImageSpec(s30).withRoi(0, 1, 0, 29, 12).withMask(maskOf(29, 11, 5, {0, 7, 0, 22, 11}))},
      {ImageSpec(s16).withMask(maskOf(16, 4, 7, {0, 16, 0, 4, 4})), s16, ImageSpec(s16).withMask(maskOf(16, 4, 8))},
      {ImageSpec(s16).withRoi(0, 16, 0, 5, 5), s16, ImageSpec(s16).withMask(maskOf(16, 4, 8))},
  };
  for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE})
    for (int depth : {VRN_DEPTH_8S, VRN_DEPTH_16U, VRN_DEPTH_32F})
      for (size_t k = 0; k < std::size(cases); ++k) {
        SCOPED_TRACE(testing::Message() << "order " << order << " " << depthName(depth) << " case " << k);
        auto make = [&](ImageSpec s, uint64_t seed) { s.depth = depth, s.dataOrder = order; return TestImage(s.seeded(seed)); };
        const TestImage a = make(cases[k].a, 22), b = make(cases[k].b, 23);
        TestImage d = make(cases[k].d, 24);
        TestImage ua = a.clone(), ub = b.clone(), ud = d.clone();
        ua.removeMask(), ub.removeMask(), ud.removeMask();
        vrnAdd(ua, ub, ud);
        const Snapshot before = snapshot(d);
        ReportCatcher reports;
        vrnSetErrStatus(-7);
        vrnAdd(a, b, d);
        EXPECT_NO_REPORT(reports);
        EXPECT_EQ(vrnGetErrStatus(), -7);
        Rect rect = clippedRect(d);
        const Rect size = operationSize({a.get(), b.get(), d.get()});
        rect.width = size.width, rect.height = size.height;
        EXPECT_TRUE(maskedMatchesUnmasked(before, d, ud, rect, operatedChannels(d), mergedMaskBits({a.mask(), b.mask(), d.mask()})));
        if (k >= 3) { EXPECT_TRUE(sameBytes(before, d)); }
      }
}

// An image of the checks' base layout with other channels.
TestImage ch(int n, int alpha) { return TestImage(ImageSpec(VRN_DEPTH_8U, 8, 4, n).channels(n, alpha)); }

// The checks of A, B and dst in order, each spoiling the images (the second
// change shows which check comes first); the destination stays untouched.
TEST(FrameChecks, OrderAndTexts) {
  using I = TestImage*;
  const struct { const char* name; void (*spoil)(I); int status; const char* text; } cases[] = {
      {"null A", [](I i) { i[0] = TestImage(); }, VRN_StsBadArg, "srcImageA==0"},
      {"null B", [](I i) { i[1] = TestImage(); }, VRN_StsNullHeader, "Incorrect Image"},
      {"null dst", [](I i) { i[2] = TestImage(); }, VRN_StsNullHeader, "Incorrect Image"},
      {"A before B", [](I i) { i[0]->align = 3, i[1]->width = 0; }, VRN_StsBadAlign, "Incorrect Image"},
      {"B before dst", [](I i) { i[1]->nChannels = 0, i[2]->width = 0; }, VRN_StsBadChannels, "Incorrect Image"},
      {"origin of dst", [](I i) { i[2]->alphaChannel = 1, i[2]->origin = 2; }, VRN_StsBadOrigin, "Incorrect Image"},
      {"depth A", [](I i) { i[0]->depth = i[1]->depth = VRN_DEPTH_8S; }, VRN_StsBadArg, "(srcImageA->depth != dstImage->depth)"},
      {"depth B before order A", [](I i) { i[0]->dataOrder = 1, i[1]->depth = VRN_DEPTH_8S; }, VRN_StsBadArg,
       "(srcImageB->depth != dstImage->depth)"},
      {"order A", [](I i) { i[0]->dataOrder = i[1]->dataOrder = 1; }, VRN_StsBadArg, "(srcImageA->dataOrder != dstImage->dataOrder)"},
      {"order B", [](I i) { i[1]->dataOrder = 1; }, VRN_StsBadArg, "(srcImageB->dataOrder != dstImage->dataOrder)"},
      {"order before channels", [](I i) { i[0]->alphaChannel = 1, i[1]->dataOrder = 1; }, VRN_StsBadArg,
       "(srcImageB->dataOrder != dstImage->dataOrder)"},
      // Channel counts must agree; alpha does not count.
      {"alpha A", [](I i) { i[0] = ch(3, 3), i[1] = ch(3, 0), i[2] = ch(3, 0); }, VRN_StsBadArg, "(nChSrcA != nChDst)"},
      {"alpha B", [](I i) { i[0] = ch(3, 0), i[1] = ch(3, 3), i[2] = ch(3, 0); }, VRN_StsBadArg, "(nChSrcB != nChDst)"},
      {"alpha dst", [](I i) { i[0] = ch(3, 0), i[1] = ch(3, 0), i[2] = ch(3, 3); }, VRN_StsBadArg, "(nChSrcA != nChDst)"},
      {"channels B", [](I i) { i[1] = ch(2, 0); }, VRN_StsBadArg, "(nChSrcB != nChDst)"},
  };
  const ImageSpec base(VRN_DEPTH_8U, 8, 4);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TestImage i[3] = {TestImage(base), TestImage(ImageSpec(base).seeded(2)), TestImage(ImageSpec(base).seeded(3))};
    c.spoil(i);
    const Snapshot before = i[2].get() ? snapshot(i[2]) : Snapshot();
    ReportCatcher reports;
    vrnAdd(i[0], i[1], i[2]);
    EXPECT_REPORT(reports, c.status, "vrnAdd", c.text);
    EXPECT_EQ(vrnGetErrStatus(), c.status);
    if (i[2].get()) { EXPECT_TRUE(sameBytes(before, i[2])); }
  }
}

TEST(FrameChecks, OneBitInAHandsTheWholeCallToOr) {
  const TestImage a(ImageSpec(VRN_DEPTH_1U, 16, 4)), b(ImageSpec(VRN_DEPTH_8U, 16, 4));
  ReportCatcher reports;
  vrnAdd(a, b, nullptr);
  EXPECT_EQ(reports.last().funcName, "vrnOr");
}

}  // namespace
}  // namespace vrntest

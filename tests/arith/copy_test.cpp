// Copy, set and exchange through the library's entry points: their own
// rectangle and status rules, channels and alpha, masks (the 1-bit logic
// routes among them), tiles and reports.
#include <gtest/gtest.h>

#include "support/checks.h"
#include "support/report_catcher.h"
#include "support/tile_server.h"

namespace {

using namespace vrntest;

const int kSampleSizes[] = {VRN_DEPTH_1U, VRN_DEPTH_8U, VRN_DEPTH_16S, VRN_DEPTH_32F};

int channelsFor(int depth, int n) { return depth == VRN_DEPTH_1U ? 1 : n; }

TEST(Copy, CopiesEveryDepthAndLayout) {
  for (int depth : kAllDepthWords)
    for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE}) {
      if (depth == VRN_DEPTH_1U && order) continue;
      const ImageSpec spec = ImageSpec(depth, 23, 4, channelsFor(depth, 3)).order(order);
      const TestImage s(ImageSpec(spec).seeded(1));
      TestImage d(ImageSpec(spec).aligned(8).seeded(2));
      ReportCatcher catcher;
      vrnCopy(s, d);
      EXPECT_NO_REPORT(catcher);
      EXPECT_TRUE(sameSamples(s, Rect{0, 0, 23, 4}, d, 0, 0)) << depthName(depth) << " order " << order;
    }
}

TEST(Copy, StaleStatusMakesCopyAndExchangeDoNothing) {
  const TestImage s(ImageSpec(VRN_DEPTH_8U, 16, 4)), f(ImageSpec(VRN_DEPTH_32F, 16, 4));
  TestImage d(ImageSpec(VRN_DEPTH_8U, 16, 4).seeded(2));
  const Snapshot before = snapshot(d);
  ReportCatcher catcher;
  vrnAnd(f, f, f);  // fails and leaves -5
  ASSERT_EQ(vrnGetErrStatus(), -5);
  vrnCopy(s, d);
  vrnExchange(s, d);
  EXPECT_TRUE(sameBytes(before, d));
  EXPECT_EQ(catcher.count(), 1u);
  vrnSetErrStatus(0);
  vrnCopy(s, d);
  EXPECT_TRUE(sameBytes(s, d));
}

TEST(Set, ClampsAndKeepsAlpha) {
  TestImage rgba(ImageSpec(VRN_DEPTH_8U, 10, 3, 4).withAlpha());
  Snapshot before = snapshot(rgba);
  ReportCatcher catcher;
  vrnSet(rgba, 300);
  EXPECT_TRUE(onlyRectChanged(before, rgba, 10, 3));
  for (int i = 0; i < 30; ++i)
    for (int c = 0; c < 3; ++c) ASSERT_EQ(sampleAt(rgba, i % 10, i / 10, c), 255);
  rgba.setRoi(true, VrnROI{4, 0, 0, 10, 3});  // the COI selects alpha
  before = snapshot(rgba);
  vrnSet(rgba, -5);
  EXPECT_TRUE(onlyRectChanged(before, rgba, 10, 3));
  for (int x = 0; x < 10; ++x) EXPECT_EQ(sampleAt(rgba, x, 1, 3), 0);
  TestImage f(ImageSpec(VRN_DEPTH_32F, 7, 3, 2));
  vrnSetFP(f, 1.5f);
  for (int i = 0; i < 14; ++i) EXPECT_EQ(sampleAt(f, i / 2, 2, i % 2), 1.5);
  EXPECT_NO_REPORT(catcher);
}

TEST(Copy, DepthAndOriginMismatchGiveTwoReports) {
  const TestImage s(ImageSpec(VRN_DEPTH_8U, 8, 8));
  TestImage d(ImageSpec(VRN_DEPTH_16U, 8, 8).bottomUp().seeded(2));
  const Snapshot before = snapshot(d);
  for (auto call : {vrnCopy, vrnExchange}) {
    ReportCatcher catcher;
    call(s, d);
    ASSERT_EQ(catcher.count(), 2u);
    EXPECT_EQ(catcher.reports()[0].context, "srcImage->depth != dstImage->depth");
    EXPECT_TRUE(expectLastReport(catcher, -5, catcher.last().funcName, "srcImage->origin != dstImage->origin"));
    EXPECT_TRUE(sameBytes(before, d));
  }
}

TEST(Copy, ReportsOfTheFamily) {
  const TestImage rgb(ImageSpec(VRN_DEPTH_8U, 8, 8, 3)), gray(ImageSpec(VRN_DEPTH_8U, 8, 8));
  const TestImage f(ImageSpec(VRN_DEPTH_32F, 8, 8));
  const struct {
    std::function<void()> run;
    int status;
    const char *func, *context;
  } cases[] = {
      {[&] { vrnCopy(rgb, gray); }, -5, "vrnCopy",
       "Number of processed channels of srcImage != Number of processed channels of dstImage"},
      {[&] { vrnCopy(nullptr, gray); }, -9, "vrnCopy", "Incorrect Image"},
      {[&] { vrnSet(f, 1); }, -17, "vrnSet", "You should use vrnSetFP for this image"},
      {[&] { vrnSetFP(rgb, 1.0f); }, -17, "vrnSetFP", "You should use vrnSet for this image"},
      {[&] { vrnSetFP(nullptr, 1.0f); }, -5, "vrnSetFP", "dstImage==0"},
  };
  for (const auto& c : cases) {
    ReportCatcher catcher;
    c.run();
    EXPECT_REPORT(catcher, c.status, c.func, c.context);
  }
}

TEST(Copy, RectangleRuleAndChannels) {
  const TestImage s(ImageSpec(VRN_DEPTH_16S, 12, 6, 4).withAlpha());                 // RGBA
  TestImage d(ImageSpec(VRN_DEPTH_16S, 20, 9, 3).aligned(8).seeded(2).withRoi(0, 20, 0, 5, 5));  // RGB, larger
  Snapshot before = snapshot(d);
  ReportCatcher catcher;
  // A ROI starting at the edge ends the call silently.
  vrnCopy(s, d);
  vrnSet(d, 7);
  vrnExchange(s, d);
  EXPECT_TRUE(sameBytes(before, d));
  // RGBA to RGB: three processed channels each; the rectangle is 12 x 6 at (4, 2).
  d.setRoi(true, VrnROI{0, 4, 2, 100, 100});
  vrnCopy(s, d);
  EXPECT_TRUE(onlyRectChanged(before, d, Rect{4, 2, 12, 6}, {0, 1, 2}));
  EXPECT_TRUE(sameSamples(s, Rect{0, 0, 12, 6}, d, 4, 2, {0, 1, 2}));
  // A COI on each side: channel 4 (alpha) of the source into channel 2.
  TestImage coiSrc = s.clone();
  coiSrc.setRoi(true, VrnROI{4, 0, 0, 12, 6});
  d.setRoi(true, VrnROI{2, 0, 0, 3, 1});
  before = snapshot(d);
  vrnCopy(coiSrc, d);
  EXPECT_TRUE(onlyRectChanged(before, d, Rect{0, 0, 3, 1}, {1}));
  EXPECT_TRUE(sameSamples(s, Rect{0, 0, 3, 1}, d, 0, 0, {3}, {1}));
  EXPECT_NO_REPORT(catcher);
}

TEST(Copy, MaskedCopyEveryDepthAndOneBit) {
  const MaskSpec srcMask{40, 5, 4, false, {}, 0.5, 3}, dstMask{40, 5, 4, true, VrnROI{0, 2, 1, 38, 4}, 0.5, 4};
  for (int depth : kSampleSizes)
    for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE})
      for (bool both : {false, true}) {
        if (depth == VRN_DEPTH_1U && order) continue;
        SCOPED_TRACE(testing::Message() << depthName(depth) << " order " << order << " both " << both);
        const ImageSpec spec = ImageSpec(depth, 37, 5, channelsFor(depth, 3)).order(order);
        const TestImage s(ImageSpec(spec).withRoi(0, 3, 1, 30, 4).withMask(srcMask));
        const TestImage plainSrc(ImageSpec(spec).withRoi(0, 3, 1, 30, 4));
        ImageSpec dstSpec = ImageSpec(spec).seeded(2).withRoi(0, 5, 0, 30, 5);
        TestImage plain(dstSpec), masked(both ? dstSpec.withMask(dstMask) : dstSpec);
        const Snapshot before = snapshot(masked);
        ReportCatcher catcher;
        vrnCopy(plainSrc, plain);
        vrnCopy(s, masked);
        EXPECT_NO_REPORT(catcher);
        EXPECT_TRUE(maskedMatchesUnmasked(before, masked, plain, Rect{5, 0, 30, 4}, operatedChannels(masked),
                                          mergedMaskBits({s.mask(), masked.mask()})));
      }
}

TEST(Set, OneBitAndMaskedOneBitRoute) {
  const MaskSpec maskSpec{30, 3, 4, false, {}, 0.5, 2};
  const ImageSpec spec = ImageSpec(VRN_DEPTH_1U, 30, 3).withRoi(0, 3, 0, 20, 3);
  TestImage im(spec);
  Snapshot before = snapshot(im);
  ReportCatcher catcher;
  vrnSet(im, 5);  // clamped to 1
  EXPECT_TRUE(onlyRectChanged(before, im, 20, 3));
  for (int i = 0; i < 60; ++i) ASSERT_EQ(sampleAt(im, 3 + i % 20, i / 20), 1);
  for (int value : {0, 1}) {
    TestImage masked(ImageSpec(spec).withMask(maskSpec)), plain(spec);
    const VrnImage* mask = masked.mask();
    const Snapshot maskBytes = snapshot(mask);
    before = snapshot(masked);
    vrnSet(masked, value);
    vrnSet(plain, value);
    EXPECT_EQ(masked->maskROI, mask);
    EXPECT_TRUE(sameBytes(maskBytes, mask));  // inverted and restored
    EXPECT_TRUE(maskedMatchesUnmasked(before, masked, plain, Rect{3, 0, 20, 3}, {0}, mergedMaskBits({mask})));
  }
  EXPECT_NO_REPORT(catcher);
}

TEST(Exchange, SwapsEveryDepthWithMask) {
  const MaskSpec maskSpec{29, 4, 4, false, {}, 0.5, 3};
  for (int depth : {VRN_DEPTH_1U, VRN_DEPTH_8S, VRN_DEPTH_32S}) {
    SCOPED_TRACE(depthName(depth));
    const ImageSpec spec(depth, 29, 4, channelsFor(depth, 2));
    TestImage a(ImageSpec(spec).seeded(1).withRoi(0, 1, 0, 20, 4));
    TestImage b(ImageSpec(spec).aligned(8).seeded(2).withRoi(0, 6, 0, 20, 4));
    const TestImage a0 = a.clone(), b0 = b.clone();
    ReportCatcher catcher;
    vrnExchange(a, b);
    EXPECT_TRUE(onlyRectChanged(snapshot(a0), a, 20, 4));
    EXPECT_TRUE(onlyRectChanged(snapshot(b0), b, 20, 4));
    EXPECT_TRUE(sameSamples(b0, Rect{6, 0, 20, 4}, a, 1, 0));
    EXPECT_TRUE(sameSamples(a0, Rect{1, 0, 20, 4}, b, 6, 0));
    // Masked on b: swaps back where the mask is set.
    TestImage maskedB(ImageSpec(spec).aligned(8).seeded(2).withRoi(0, 6, 0, 20, 4).withMask(maskSpec));
    vrnCopy(b, maskedB);
    const Snapshot beforeA = snapshot(a), beforeB = snapshot(maskedB);
    vrnExchange(a, maskedB);
    EXPECT_NO_REPORT(catcher);
    const MaskBits bits = mergedMaskBits({maskedB.mask()});
    EXPECT_TRUE(maskedMatchesUnmasked(beforeA, a, a0, Rect{1, 0, 20, 4}, operatedChannels(a), bits));
    EXPECT_TRUE(maskedMatchesUnmasked(beforeB, maskedB, b0, Rect{6, 0, 20, 4}, operatedChannels(b), bits));
  }
}

// Tiled copies are in the tiled == flat property table.
TEST(CopyTiles, ExchangeAndSetOnTilesKeepTheProtocol) {
  for (int depth : {VRN_DEPTH_1U, VRN_DEPTH_8U, VRN_DEPTH_16S}) {
    SCOPED_TRACE(depthName(depth));
    const ImageSpec spec(depth, 50, 30, channelsFor(depth, 3));
    TestImage s(ImageSpec(spec).seeded(1).withRoi(0, 3, 2, 40, 25));
    TestImage d(ImageSpec(spec).seeded(2).withRoi(0, 7, 1, 40, 25));
    TileServer ts(s, 16, 8, "S"), td(d, 24, 16, "D");
    ReportCatcher catcher;
    vrnExchange(ts, td);  // swaps through the two tile grids
    vrnExchange(s, d);
    EXPECT_EQ(ts.callsText().find('R'), std::string::npos) << "exchange writes both images";
    EXPECT_TRUE(sameBytes(s, ts.toPlain()));
    EXPECT_TRUE(sameBytes(d, td.toPlain()));
    vrnSet(td, 9);
    vrnSet(d, 9);
    EXPECT_TRUE(sameBytes(d, td.toPlain()));
    EXPECT_NO_REPORT(catcher);
    EXPECT_TRUE(ts.checkProtocol());
    EXPECT_TRUE(td.checkProtocol());
  }
}

TEST(CopyTiles, CallOrderAndWithheldTiles) {
  const TestImage s(ImageSpec(VRN_DEPTH_8U, 16, 8)), d(ImageSpec(VRN_DEPTH_8U, 16, 8).seeded(2));
  {
    TileServer ts(s, 8, 8, "S"), td(d, 8, 8, "D");
    vrnCopy(ts, td);
    // Per band: source read, destination write; per column: release, then the next tile.
    EXPECT_EQ(ts.callsText(), "R(0,0) X(0,0) R(1,0) X(1,0)");
  }
  const struct {
    int withheld;  // 0: the source's read, 1: the destination's write
    std::function<void(VrnImage*, VrnImage*)> call;
    const char *func, *context;
  } cases[] = {
      {0, [](VrnImage* a, VrnImage* b) { vrnCopy(a, b); }, "vrnCopy", "Error get tile to read"},
      {1, [](VrnImage* a, VrnImage* b) { vrnCopy(a, b); }, "vrnCopy", "Error get tile to write"},
      {1, [](VrnImage*, VrnImage* b) { vrnSet(b, 1); }, "vrnSet", "Error get tile to write"},
  };
  for (const auto& k : cases) {
    TileServer ts(s, 8, 8, "S"), td(d, 8, 8, "D");
    (k.withheld ? td : ts).withholdRequest(0);
    ReportCatcher catcher;
    k.call(ts, td);
    EXPECT_REPORT(catcher, -2, k.func, k.context);
    EXPECT_TRUE(ts.checkProtocol(true));
    EXPECT_TRUE(td.checkProtocol(true));
  }
}

}  // namespace

// Copy, set and exchange through the library's entry points: their own
// rectangle and status rules, channels and alpha, masks (the 1-bit logic
// routes among them), tiles (their own walk) and reports.  Tiled copies are in the shared
// tiled == flat table.
#include <gtest/gtest.h>

#include <functional>

#include "support/checks.h"
#include "support/report_catcher.h"
#include "support/tile_server.h"

namespace {

using namespace vrntest;

int channelsFor(int depth, int n) { return depth == VRN_DEPTH_1U ? 1 : n; }

// Unmasked: the source's samples land at the destination's ROI.  Masked (on
// the source, or on both): only where the merged mask is set.
TEST(Copy, EveryDepthLayoutAndMask) {
  const MaskSpec srcMask{40, 5, 4, false, {}, 0.5, 3}, dstMask{40, 5, 4, true, VrnROI{0, 2, 1, 38, 4}, 0.5, 4};
  for (int depth : kAllDepthWords)
    for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE})
      for (int masks = 0; masks < 3; ++masks) {
        if (depth == VRN_DEPTH_1U && order) continue;
        SCOPED_TRACE(testing::Message() << depthName(depth) << " order " << order << " masks " << masks);
        const ImageSpec desc = ImageSpec(depth, 37, 5, channelsFor(depth, 3)).order(order);
        const ImageSpec srcSpec = ImageSpec(desc).withRoi(0, 3, 1, 30, 4);
        const TestImage s(masks ? ImageSpec(srcSpec).withMask(srcMask) : srcSpec), plainSrc(srcSpec);
        const ImageSpec dstSpec = ImageSpec(desc).aligned(8).seeded(2).withRoi(0, 5, 0, 30, 5);
        TestImage plain(dstSpec), masked(masks == 2 ? ImageSpec(dstSpec).withMask(dstMask) : dstSpec);
        const Snapshot before = snapshot(masked);
        ReportCatcher catcher;
        vrnCopy(plainSrc, plain);
        vrnCopy(s, masked);
        EXPECT_NO_REPORT(catcher);
        EXPECT_TRUE(sameSamples(plainSrc, Rect{3, 1, 30, 4}, plain, 5, 0));
        EXPECT_TRUE(maskedMatchesUnmasked(before, masked, plain, Rect{5, 0, 30, 4}, operatedChannels(masked),
                                          mergedMaskBits({s.mask(), masked.mask()})));
      }
}

TEST(Copy, ReportsAndStaleStatus) {
  const TestImage s(ImageSpec(VRN_DEPTH_8U, 8, 8));
  TestImage d(ImageSpec(VRN_DEPTH_16U, 8, 8).bottomUp().seeded(2));
  TestImage same(ImageSpec(VRN_DEPTH_8U, 8, 8).seeded(3));
  const Snapshot before = snapshot(d), sameBefore = snapshot(same);
  for (auto call : {vrnCopy, vrnExchange}) {  // depth and origin: two reports, nothing done
    ReportCatcher catcher;
    call(s, d);
    ASSERT_EQ(catcher.count(), 2u);
    EXPECT_EQ(catcher.reports()[0].context, "srcImage->depth != dstImage->depth");
    EXPECT_TRUE(expectLastReport(catcher, -5, catcher.last().funcName, "srcImage->origin != dstImage->origin"));
    EXPECT_TRUE(sameBytes(before, d));
    call(s, same);  // a good call on a stale status does nothing and says nothing
    EXPECT_EQ(catcher.count(), 2u);
    EXPECT_TRUE(sameBytes(sameBefore, same));
  }
  vrnCopy(s, same);  // the status cleared again
  EXPECT_TRUE(sameBytes(s, same));
  const TestImage rgb(ImageSpec(VRN_DEPTH_8U, 8, 8, 3)), f(ImageSpec(VRN_DEPTH_32F, 8, 8));
  const struct { std::function<void()> run; int status; const char *func, *context; } cases[] = {
      {[&] { vrnCopy(rgb, s); }, -5, "vrnCopy",
       "Number of processed channels of srcImage != Number of processed channels of dstImage"},
      {[&] { vrnCopy(nullptr, s); }, -9, "vrnCopy", "Incorrect Image"},
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
  const TestImage s(ImageSpec(VRN_DEPTH_16S, 12, 6, 4).withAlpha());                            // RGBA
  TestImage d(ImageSpec(VRN_DEPTH_16S, 20, 9, 3).aligned(8).seeded(2).withRoi(0, 20, 0, 5, 5));  // RGB, larger
  Snapshot before = snapshot(d);
  ReportCatcher catcher;
  vrnCopy(s, d);  // a ROI starting at the edge ends every call silently
  vrnSet(d, 7);
  vrnExchange(s, d);
  EXPECT_TRUE(sameBytes(before, d));
  d.setRoi(true, VrnROI{0, 4, 2, 100, 100});  // RGBA to RGB: 12 x 6 at (4, 2)
  vrnCopy(s, d);
  EXPECT_TRUE(onlyRectChanged(before, d, Rect{4, 2, 12, 6}, {0, 1, 2}));
  EXPECT_TRUE(sameSamples(s, Rect{0, 0, 12, 6}, d, 4, 2, {0, 1, 2}));
  TestImage coiSrc = s.clone();  // a COI on each side: alpha of the source into channel 2
  coiSrc.setRoi(true, VrnROI{4, 0, 0, 12, 6});
  d.setRoi(true, VrnROI{2, 0, 0, 3, 1});
  before = snapshot(d);
  vrnCopy(coiSrc, d);
  EXPECT_TRUE(onlyRectChanged(before, d, Rect{0, 0, 3, 1}, {1}));
  EXPECT_TRUE(sameSamples(s, Rect{0, 0, 3, 1}, d, 0, 0, {3}, {1}));
  EXPECT_NO_REPORT(catcher);
}

TEST(Set, ClampsKeepsAlphaAndStoresFloats) {
  TestImage rgba(ImageSpec(VRN_DEPTH_8U, 10, 3, 4).withAlpha());
  Snapshot before = snapshot(rgba);
  ReportCatcher catcher;
  vrnSet(rgba, 300);
  EXPECT_TRUE(onlyRectChanged(before, rgba, 10, 3));  // alpha stays
  for (int i = 0; i < 30; ++i) ASSERT_EQ(sampleAt(rgba, i % 10, i / 10, i % 3), 255);
  rgba.setRoi(true, VrnROI{4, 0, 0, 10, 3});  // the COI selects alpha
  before = snapshot(rgba);
  vrnSet(rgba, -5);
  EXPECT_TRUE(onlyRectChanged(before, rgba, 10, 3));
  for (int x = 0; x < 10; ++x) EXPECT_EQ(sampleAt(rgba, x, 1, 3), 0);
  TestImage f(ImageSpec(VRN_DEPTH_32F, 7, 3, 2).withRoi(0, 1, 0, 5, 3));
  before = snapshot(f);
  vrnSetFP(f, 1.5f);
  EXPECT_TRUE(onlyRectChanged(before, f, 5, 3));
  for (int i = 0; i < 10; ++i) EXPECT_EQ(sampleAt(f, 1 + i / 2, 2, i % 2), 1.5);
  EXPECT_NO_REPORT(catcher);
}

TEST(Set, OneBitAndMaskedOneBitRoute) {
  const ImageSpec desc = ImageSpec(VRN_DEPTH_1U, 30, 3).withRoi(0, 3, 0, 20, 3);
  ReportCatcher catcher;
  for (int value : {0, 5}) {  // 5 is clamped to 1
    TestImage masked(ImageSpec(desc).withMask(MaskSpec{30, 3, 4, false, {}, 0.5, 2})), plain(desc);
    const VrnImage* mask = masked.mask();
    const Snapshot maskBytes = snapshot(mask), before = snapshot(masked), plainBefore = snapshot(plain);
    vrnSet(masked, value);
    vrnSet(plain, value);
    EXPECT_TRUE(onlyRectChanged(plainBefore, plain, 20, 3));
    for (int i = 0; i < 60; ++i) ASSERT_EQ(sampleAt(plain, 3 + i % 20, i / 20), value ? 1 : 0);
    EXPECT_EQ(masked->maskROI, mask);
    EXPECT_TRUE(sameBytes(maskBytes, mask));  // inverted and restored
    EXPECT_TRUE(maskedMatchesUnmasked(before, masked, plain, Rect{3, 0, 20, 3}, {0}, mergedMaskBits({mask})));
  }
  EXPECT_NO_REPORT(catcher);
}

// Exchange swaps the rectangles, on plain images and on tiled ones (byte
// for byte the same; Set on a tiled image too), and under a mask only where
// the mask is set.
TEST(Exchange, SwapsEveryDepthPlainTiledAndMasked) {
  for (int depth : {VRN_DEPTH_1U, VRN_DEPTH_8S, VRN_DEPTH_16S, VRN_DEPTH_32S}) {
    SCOPED_TRACE(depthName(depth));
    const ImageSpec desc(depth, 50, 30, channelsFor(depth, 3));
    TestImage a(ImageSpec(desc).seeded(1).withRoi(0, 3, 2, 40, 25));
    TestImage b(ImageSpec(desc).aligned(8).seeded(2).withRoi(0, 7, 1, 40, 25));
    const TestImage a0 = a.clone(), b0 = b.clone();
    TileServer ta(a0, 16, 8, "A"), tb(b0, 24, 16, "B");
    ReportCatcher catcher;
    vrnExchange(a, b);
    vrnExchange(ta, tb);  // through a temporary, cell by cell
    EXPECT_TRUE(onlyRectChanged(snapshot(a0), a, 40, 25));
    EXPECT_TRUE(onlyRectChanged(snapshot(b0), b, 40, 25));
    EXPECT_TRUE(sameSamples(b0, Rect{7, 1, 40, 25}, a, 3, 2));
    EXPECT_TRUE(sameSamples(a0, Rect{3, 2, 40, 25}, b, 7, 1));
    EXPECT_EQ(ta.callsText().find('R'), std::string::npos) << "exchange writes both images";
    EXPECT_TRUE(sameBytes(a, ta.toPlain()));
    EXPECT_TRUE(sameBytes(b, tb.toPlain()));
    TestImage setPlain = b.clone();
    vrnSet(tb, 9);
    vrnSet(setPlain, 9);
    EXPECT_TRUE(sameBytes(setPlain, tb.toPlain()));
    EXPECT_TRUE(ta.checkProtocol());
    EXPECT_TRUE(tb.checkProtocol());
    // Masked on b: swaps back where the mask is set.
    TestImage maskedB(ImageSpec(b.desc()).withMask(MaskSpec{50, 30, 4, false, {}, 0.5, 3}));
    vrnCopy(b, maskedB);
    const Snapshot beforeA = snapshot(a), beforeB = snapshot(maskedB);
    vrnExchange(a, maskedB);
    EXPECT_NO_REPORT(catcher);
    const MaskBits bits = mergedMaskBits({maskedB.mask()});
    EXPECT_TRUE(maskedMatchesUnmasked(beforeA, a, a0, Rect{3, 2, 40, 25}, operatedChannels(a), bits));
    EXPECT_TRUE(maskedMatchesUnmasked(beforeB, maskedB, b0, Rect{7, 1, 40, 25}, operatedChannels(b), bits));
  }
}

TEST(CopyTiles, WithheldTilesReportMinusTwo) {
  const TestImage s(ImageSpec(VRN_DEPTH_8U, 16, 8)), d(ImageSpec(VRN_DEPTH_8U, 16, 8).seeded(2));
  // withheld 0: the source's read; 1: the destination's write.
  const struct { int withheld; std::function<void(VrnImage*, VrnImage*)> call; const char *func, *context; } cases[] = {
      {0, [](VrnImage* a, VrnImage* b) { vrnCopy(a, b); }, "vrnCopy", "Error get tile to read"},
      {1, [](VrnImage* a, VrnImage* b) { vrnCopy(a, b); }, "vrnCopy", "Error get tile to write"},
      {1, [](VrnImage*, VrnImage* b) { vrnSet(b, 1); }, "vrnSet", "Error get tile to write"},
      {1, [](VrnImage* a, VrnImage* b) { vrnExchange(a, b); }, "vrnExchange", "Error get tile to write"},
  };
  for (const auto& k : cases) {
    TileServer ts(s, 8, 8, "S"), td(d, 8, 8, "D");
    (k.withheld ? td : ts).withholdRequest(0);
    ReportCatcher catcher;
    k.call(ts, td);
    EXPECT_TRUE(expectLastReport(catcher, -2, k.func, k.context)) << k.func;
    EXPECT_TRUE(ts.checkProtocol(true));
    EXPECT_TRUE(td.checkProtocol(true));
  }
}

}  // namespace

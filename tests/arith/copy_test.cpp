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

namespace {

TEST(Copy, DepthAndOriginMismatchGiveTwoReports) {
  VrnImage* s = makeImage(VRN_DEPTH_8U, 1, 8, 8);
  VrnImage* d = makeImage(VRN_DEPTH_16U, 1, 8, 8, 0, 0, 4, 2, VRN_ORIGIN_BOTTOM);
  const auto before = bytesOf(d);
  for (auto call : {vrnCopy, vrnExchange}) {
    Reports reports;
    call(s, d);
    ASSERT_EQ(reports.all().size(), 2u);
    EXPECT_EQ(reports.all()[0].context, "srcImage->depth != dstImage->depth");
    EXPECT_EQ(reports.all()[1].context, "srcImage->origin != dstImage->origin");
    EXPECT_EQ(reports.all()[1].status, -5);
    EXPECT_EQ(bytesOf(d), before);
  }
  freeImage(s);
  freeImage(d);
}

TEST(Copy, ReportsOfTheFamily) {
  VrnImage* rgb = makeImage(VRN_DEPTH_8U, 3, 8, 8);
  VrnImage* gray = makeImage(VRN_DEPTH_8U, 1, 8, 8);
  VrnImage* f = makeImage(VRN_DEPTH_32F, 1, 8, 8);
  struct Case {
    void (*run)(VrnImage*, VrnImage*, VrnImage*);
    int status;
    const char *func, *context;
  } cases[] = {
      {[](VrnImage* a, VrnImage* b, VrnImage*) { vrnCopy(a, b); }, -5, "vrnCopy",
       "Number of processed channels of srcImage != Number of processed channels of dstImage"},
      {[](VrnImage*, VrnImage* b, VrnImage*) { vrnCopy(nullptr, b); }, -9, "vrnCopy", "Incorrect Image"},
      {[](VrnImage*, VrnImage*, VrnImage* c) { vrnSet(c, 1); }, -17, "vrnSet",
       "You should use vrnSetFP for this image"},
      {[](VrnImage* a, VrnImage*, VrnImage*) { vrnSetFP(a, 1.0f); }, -17, "vrnSetFP",
       "You should use vrnSet for this image"},
      {[](VrnImage*, VrnImage*, VrnImage*) { vrnSetFP(nullptr, 1.0f); }, -5, "vrnSetFP", "dstImage==0"},
  };
  for (const Case& c : cases) {
    Reports reports;
    c.run(rgb, gray, f);
    ASSERT_EQ(reports.all().size(), 1u) << c.context;
    EXPECT_EQ(reports.all()[0].status, c.status);
    EXPECT_EQ(reports.all()[0].func, c.func);
    EXPECT_EQ(reports.all()[0].context, c.context);
  }
  for (VrnImage* im : {rgb, gray, f}) freeImage(im);
}

TEST(Copy, RectangleRuleAndChannels) {
  Reports reports;
  VrnImage* s = makeImage(VRN_DEPTH_16S, 4, 12, 6, 4, 0, 4, 1);  // RGBA
  VrnImage* d = makeImage(VRN_DEPTH_16S, 3, 20, 9, 0, 0, 8, 2);  // RGB, larger
  const auto before = bytesOf(d);
  // A ROI starting at the edge ends the call silently.
  d->roi = vrnCreateROI(0, 20, 0, 5, 5);
  vrnCopy(s, d);
  vrnSet(d, 7);
  vrnExchange(s, d);
  EXPECT_EQ(bytesOf(d), before);
  // RGBA to RGB: three processed channels each; the rectangle is 12 x 6 at (4, 2).
  vrnSetROI(d->roi, 0, 4, 2, 100, 100);
  vrnCopy(s, d);
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 20; ++x)
      for (int c = 0; c < 3; ++c) {
        const bool inside = x >= 4 && y >= 2 && x < 16 && y < 8;
        const int16_t old = reinterpret_cast<const int16_t*>(before.data() + y * d->widthStep)[x * 3 + c];
        ASSERT_EQ(at<int16_t>(d, x, y, c), inside ? at<int16_t>(s, x - 4, y - 2, c) : old);
      }
  // A COI on each side: channel 4 (alpha) of the source into channel 2.
  s->roi = vrnCreateROI(4, 0, 0, 12, 6);
  vrnSetROI(d->roi, 2, 0, 0, 3, 1);
  vrnCopy(s, d);
  EXPECT_EQ(at<int16_t>(d, 2, 0, 1), at<int16_t>(s, 2, 0, 3));
  EXPECT_TRUE(reports.all().empty());
  freeImage(s);
  freeImage(d);
}

TEST(Copy, MaskedCopyEveryDepthAndOneBit) {
  Reports reports;
  for (int depth : {VRN_DEPTH_1U, VRN_DEPTH_8U, VRN_DEPTH_16U, VRN_DEPTH_32F}) {
    for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE}) {
      const int ch = depth == VRN_DEPTH_1U ? 1 : 3;
      VrnImage* s = makeImage(depth, ch, 37, 5, 0, order, 4, 1);
      VrnImage* d = makeImage(depth, ch, 37, 5, 0, order, 4, 2);
      VrnImage* m1 = makeImage(VRN_DEPTH_1U, 1, 40, 5, 0, 0, 4, 3);
      VrnImage* m2 = makeImage(VRN_DEPTH_1U, 1, 40, 5, 0, 0, 4, 4);
      VrnImage* before = vrnCloneImage(d);
      s->roi = vrnCreateROI(0, 3, 1, 30, 4);
      d->roi = vrnCreateROI(0, 5, 0, 30, 5);
      m2->roi = vrnCreateROI(0, 2, 1, 38, 4);
      for (int masks = 1; masks <= 2; ++masks) {
        s->maskROI = m1;
        d->maskROI = masks == 2 ? m2 : nullptr;
        vrnCopy(s, d);
        s->maskROI = d->maskROI = nullptr;
        for (int y = 0; y < 5; ++y)
          for (int x = 0; x < 37; ++x) {
            const bool inside = x >= 5 && x < 35 && y < 4;
            const bool on = inside && bit(m1, x - 5, y) && (masks == 1 || bit(m2, x - 5 + 2, y + 1));
            ASSERT_EQ(region(d, x, y, 1, 1), on ? region(s, x - 2, y + 1, 1, 1) : region(before, x, y, 1, 1))
                << depth << " " << order << " " << masks << " " << x << " " << y;
          }
        vrnCopy(before, d);  // back to the start (both ROIs from d)
        vrnDeleteROI(d->roi);
        d->roi = nullptr;
        vrnCopy(before, d);
        d->roi = vrnCreateROI(0, 5, 0, 30, 5);
      }
      for (VrnImage* im : {s, d, m1, m2, before}) freeImage(im);
    }
  }
  EXPECT_TRUE(reports.all().empty());
}

TEST(Set, OneBitAndMaskedOneBitRoute) {
  Reports reports;
  VrnImage* im = makeImage(VRN_DEPTH_1U, 1, 30, 3, 0, 0, 4, 1);
  VrnImage* mask = makeImage(VRN_DEPTH_1U, 1, 30, 3, 0, 0, 4, 2);
  const auto maskBytes = bytesOf(mask);
  im->roi = vrnCreateROI(0, 3, 0, 20, 3);
  const auto before = bytesOf(im);
  vrnSet(im, 5);  // clamped to 1
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 30; ++x)
      ASSERT_EQ(bit(im, x, y), (x >= 3 && x < 23) ? true : bool((before[y * im->widthStep + x / 8] >> (7 - x % 8)) & 1));
  for (int value : {0, 1}) {
    VrnImage* ref = vrnCloneImage(im);
    im->maskROI = mask;
    vrnSet(im, value);
    EXPECT_EQ(im->maskROI, mask);
    EXPECT_EQ(bytesOf(mask), maskBytes);  // inverted and restored
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 30; ++x) {
        const bool inside = x >= 3 && x < 23;
        ASSERT_EQ(bit(im, x, y), inside && bit(mask, x - 3, y) ? bool(value) : bit(ref, x, y));
      }
    im->maskROI = nullptr;
    freeImage(ref);
  }
  EXPECT_TRUE(reports.all().empty());
  freeImage(im);
  freeImage(mask);
}

TEST(Exchange, SwapsEveryDepthWithMask) {
  Reports reports;
  for (int depth : {VRN_DEPTH_1U, VRN_DEPTH_8S, VRN_DEPTH_32S}) {
    const int ch = depth == VRN_DEPTH_1U ? 1 : 2;
    VrnImage* a = makeImage(depth, ch, 29, 4, 0, 0, 4, 1);
    VrnImage* b = makeImage(depth, ch, 29, 4, 0, 0, 8, 2);
    VrnImage* mask = makeImage(VRN_DEPTH_1U, 1, 29, 4, 0, 0, 4, 3);
    VrnImage* a0 = vrnCloneImage(a);
    VrnImage* b0 = vrnCloneImage(b);
    a->roi = vrnCreateROI(0, 1, 0, 20, 4);
    b->roi = vrnCreateROI(0, 6, 0, 20, 4);
    vrnExchange(a, b);
    for (int y = 0; y < 4; ++y)
      for (int x = 0; x < 20; ++x) {
        ASSERT_EQ(region(a, x + 1, y, 1, 1), region(b0, x + 6, y, 1, 1));
        ASSERT_EQ(region(b, x + 6, y, 1, 1), region(a0, x + 1, y, 1, 1));
      }
    EXPECT_EQ(region(a, 0, 0, 1, 4), region(a0, 0, 0, 1, 4));
    b->maskROI = mask;
    vrnExchange(a, b);  // swaps back where the mask is set
    b->maskROI = nullptr;
    for (int y = 0; y < 4; ++y)
      for (int x = 0; x < 20; ++x)
        ASSERT_EQ(region(a, x + 1, y, 1, 1), bit(mask, x, y) ? region(a0, x + 1, y, 1, 1) : region(b0, x + 6, y, 1, 1));
    for (VrnImage* im : {a, b, mask, a0, b0}) freeImage(im);
  }
  EXPECT_TRUE(reports.all().empty());
}

TEST(CopyTiles, CopySetAndExchangeOnTiles) {
  Reports reports;
  for (int depth : {VRN_DEPTH_1U, VRN_DEPTH_8U, VRN_DEPTH_16S}) {
    const int ch = depth == VRN_DEPTH_1U ? 1 : 3;
    VrnImage* s = makeImage(depth, ch, 50, 30, 0, 0, 4, 1);
    VrnImage* d = makeImage(depth, ch, 50, 30, 0, 0, 4, 2);
    VrnImage* out = makeImage(depth, ch, 50, 30, 0, 0, 4, 3);
    TileServer ts(s, 16, 8), td(d, 24, 16);
    VrnROI sr{0, 3, 2, 40, 25}, dr{0, 7, 1, 40, 25};
    s->roi = ts.image()->roi = &sr;
    d->roi = td.image()->roi = &dr;
    // Tiled source, plain destination; then plain source, tiled destination.
    vrnCopy(ts.image(), out);
    vrnCopy(s, td.image());
    vrnCopy(s, d);
    td.toPlain(out);
    EXPECT_EQ(region(out, 0, 0, 50, 30), region(d, 0, 0, 50, 30));
    // Both tiled: exchange swaps through the two tile grids.
    VrnImage* s0 = vrnCloneImage(s);
    vrnDeleteROI(s0->roi);
    s0->roi = nullptr;
    vrnExchange(ts.image(), td.image());
    vrnExchange(s, d);
    ts.toPlain(out);
    EXPECT_EQ(region(out, 0, 0, 50, 30), region(s, 0, 0, 50, 30));
    td.toPlain(out);
    EXPECT_EQ(region(out, 0, 0, 50, 30), region(d, 0, 0, 50, 30));
    EXPECT_EQ(region(d, 7, 1, 40, 25), region(s0, 3, 2, 40, 25));
    for (const auto& c : ts.calls) EXPECT_NE(c[2], 0);
    // Set on tiles.
    vrnSet(td.image(), 9);
    vrnSet(d, 9);
    td.toPlain(out);
    EXPECT_EQ(region(out, 0, 0, 50, 30), region(d, 0, 0, 50, 30));
    s->roi = d->roi = ts.image()->roi = td.image()->roi = nullptr;
    for (VrnImage* im : {s, d, out, s0}) freeImage(im);
  }
  EXPECT_TRUE(reports.all().empty());
}

TEST(CopyTiles, ModesAndFailures) {
  VrnImage* s = makeImage(VRN_DEPTH_8U, 1, 16, 8);
  VrnImage* d = makeImage(VRN_DEPTH_8U, 1, 16, 8);
  TileServer ts(s, 8, 8), td(d, 8, 8);
  vrnCopy(ts.image(), td.image());
  // Per band: source read, destination write; per column: release, then the next tile.
  const std::vector<std::array<int, 3>> want = {{0, 0, 1}, {0, 0, 4}, {1, 0, 1}, {1, 0, 4}};
  EXPECT_EQ(ts.calls, want);
  ts.calls.clear();
  td.calls.clear();
  vrnExchange(ts.image(), td.image());
  for (const auto& c : ts.calls) EXPECT_NE(c[2], VRN_TILE_READ);
  for (const char* text : {"Error get tile to read", "Error get tile to write"}) {
    Reports reports;
    const bool read = std::string(text).find("read") != std::string::npos;
    ts.withholdMode = read ? VRN_TILE_READ : 0;
    td.withholdMode = read ? 0 : VRN_TILE_WRITE;
    vrnCopy(ts.image(), td.image());
    ASSERT_EQ(reports.all().size(), 1u);
    EXPECT_EQ(reports.all()[0].status, -2);
    EXPECT_EQ(reports.all()[0].context, text);
  }
  {
    Reports reports;
    vrnSet(td.image(), 1);
    ASSERT_EQ(reports.all().size(), 1u);
    EXPECT_EQ(reports.all()[0].func, "vrnSet");
    EXPECT_EQ(reports.all()[0].context, "Error get tile to write");
  }
  freeImage(s);
  freeImage(d);
}

}  // namespace

// The logic family through the library's entry points: results per depth
// class and layout, the constant's replication, 1-bit rectangles at bit
// offsets, masks, routes and reports.
#include <gtest/gtest.h>

#include "tests/arith/logic_helpers.h"

using namespace logictest;

namespace {

struct DepthCase {
  int depth;
  int bytes;
};
const DepthCase kDepths[] = {{VRN_DEPTH_8U, 1}, {VRN_DEPTH_8S, 1},  {VRN_DEPTH_16U, 2},
                             {VRN_DEPTH_16S, 2}, {VRN_DEPTH_32S, 4}};

uint32_t sampleAt(const VrnImage* im, int bytes, int x, int y, int c) {
  switch (bytes) {
    case 1: return at<uint8_t>(im, x, y, c);
    case 2: return at<uint16_t>(im, x, y, c);
    default: return at<uint32_t>(im, x, y, c);
  }
}

TEST(Logic, TwoImagesEveryDepthAndLayout) {
  Reports reports;
  for (const DepthCase& dc : kDepths) {
    for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE}) {
      for (int alpha : {0, 3}) {
        VrnImage* a = makeImage(dc.depth, 3, 37, 5, alpha, order, 4, 1);
        VrnImage* b = makeImage(dc.depth, 3, 37, 5, alpha, order, 8, 2);
        VrnImage* d = makeImage(dc.depth, 3, 37, 5, alpha, order, 4, 3);
        VrnImage* before = vrnCloneImage(d);
        const int count = alpha ? 2 : 3;
        for (int op = 0; op < 3; ++op) {
          if (op == 0) vrnAnd(a, b, d);
          if (op == 1) vrnOr(a, b, d);
          if (op == 2) vrnXor(a, b, d);
          for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 37; ++x)
              for (int c = 0; c < 3; ++c) {
                const uint32_t va = sampleAt(a, dc.bytes, x, y, c), vb = sampleAt(b, dc.bytes, x, y, c);
                const uint32_t want = c >= count ? sampleAt(before, dc.bytes, x, y, c)
                                      : op == 0   ? (va & vb)
                                      : op == 1   ? (va | vb)
                                                  : (va ^ vb);
                ASSERT_EQ(sampleAt(d, dc.bytes, x, y, c), want)
                    << "depth " << dc.depth << " order " << order << " alpha " << alpha << " op " << op;
              }
        }
        for (VrnImage* im : {a, b, d, before}) freeImage(im);
      }
    }
  }
  EXPECT_TRUE(reports.all().empty());
}

TEST(Logic, ConstantIsReplicatedByDepthClass) {
  Reports reports;
  struct Case {
    int depth, bytes;
    unsigned value;
    uint32_t used;
  } cases[] = {{VRN_DEPTH_8U, 1, 0x1F0, 0xF0},        {VRN_DEPTH_8S, 1, 0xABCD, 0xCD},
               {VRN_DEPTH_16U, 2, 0x12345678, 0x5678}, {VRN_DEPTH_16S, 2, 0xFFFF8001, 0x8001},
               {VRN_DEPTH_32S, 4, 0x80000001, 0x80000001}};
  for (const Case& k : cases) {
    for (bool flat : {true, false}) {
      VrnImage* s = makeImage(k.depth, 3, 41, 3, 0, VRN_DATA_ORDER_PIXEL, 4, 7);
      VrnImage* d = makeImage(k.depth, 3, 41, 3, 0, VRN_DATA_ORDER_PIXEL, flat ? 4 : 8, 8);
      vrnAndS(s, d, k.value);
      for (int i = 0; i < 41 * 3; ++i)
        ASSERT_EQ(sampleAt(d, k.bytes, i / 3, 1, i % 3), sampleAt(s, k.bytes, i / 3, 1, i % 3) & k.used);
      vrnXorS(s, d, k.value);
      for (int i = 0; i < 41 * 3; ++i)
        ASSERT_EQ(sampleAt(d, k.bytes, i / 3, 2, i % 3), sampleAt(s, k.bytes, i / 3, 2, i % 3) ^ k.used);
      freeImage(s);
      freeImage(d);
    }
  }
  EXPECT_TRUE(reports.all().empty());
}

TEST(Logic, NotOf16SAndItsReportName) {
  Reports reports;
  VrnImage* s = makeImage(VRN_DEPTH_16S, 1, 9, 2);
  VrnImage* d = makeImage(VRN_DEPTH_16S, 1, 9, 2);
  at<int16_t>(s, 0, 0, 0) = -1;
  at<int16_t>(s, 1, 0, 0) = 5;
  vrnNot(s, d);
  EXPECT_EQ(at<int16_t>(d, 0, 0, 0), 0);
  EXPECT_EQ(at<int16_t>(d, 1, 0, 0), -6);
  VrnImage* f = makeImage(VRN_DEPTH_32F, 1, 9, 2);
  vrnNot(f, f);
  ASSERT_EQ(reports.all().size(), 1u);
  EXPECT_EQ(reports.all()[0].func, "vrnXorS");
  EXPECT_EQ(reports.all()[0].context, "This function does not support depth 32F");
  for (VrnImage* im : {s, d, f}) freeImage(im);
}

TEST(Logic, Reports) {
  VrnImage* f = makeImage(VRN_DEPTH_32F, 1, 8, 8);
  VrnImage* u = makeImage(VRN_DEPTH_8U, 1, 8, 8);
  VrnImage* u3 = makeImage(VRN_DEPTH_8U, 3, 8, 8);
  VrnImage* bits = makeImage(VRN_DEPTH_1U, 1, 8, 8);
  struct Case {
    void (*call)(VrnImage*, VrnImage*, VrnImage*);
    VrnImage *a, *b, *d;
    int status;
    const char *func, *context;
  } cases[] = {
      {vrnAnd, f, f, f, -5, "vrnAnd", "This function does not support depth 32F"},
      {vrnAnd, nullptr, u, u, -9, "vrnAnd", "Incorrect Image"},
      {vrnOr, u, bits, u, -5, "vrnOr", "(srcImageB->depth != dstImage->depth)"},
      {vrnXor, u3, u, u, -5, "vrnXor", "(nChSrcA != nChDst)"},
      // 1-bit addition is OR: the report names vrnOr.
      {vrnAdd, bits, u, bits, -5, "vrnOr", "(srcImageB->depth != dstImage->depth)"},
  };
  for (const Case& c : cases) {
    Reports reports;
    c.call(c.a, c.b, c.d);
    ASSERT_EQ(reports.all().size(), 1u) << c.context;
    EXPECT_EQ(reports.all()[0].status, c.status);
    EXPECT_EQ(reports.all()[0].func, c.func);
    EXPECT_EQ(reports.all()[0].context, c.context);
  }
  {
    Reports reports;
    vrnOrS(f, f, 1);
    ASSERT_EQ(reports.all().size(), 1u);
    EXPECT_EQ(reports.all()[0].func, "vrnOrS");
    EXPECT_EQ(reports.all()[0].context, "This function does not support depth 32F");
  }
  for (VrnImage* im : {f, u, u3, bits}) freeImage(im);
}

}  // namespace

namespace {

TEST(Logic, OneBitRectangleAtBitOffsets) {
  Reports reports;
  // 3 pixels at offset 6 of the source and 1 of the destination: bits 1..3
  // of the destination's byte change, nothing else.
  VrnImage* s = makeImage(VRN_DEPTH_1U, 1, 16, 1);
  VrnImage* d = makeImage(VRN_DEPTH_1U, 1, 16, 1);
  s->imageData[0] = static_cast<char>(0x02);  // pixel 6 = 1, pixel 7 = 0
  s->imageData[1] = static_cast<char>(0x80);  // pixel 8 = 1
  d->imageData[0] = static_cast<char>(0x00);
  d->imageData[1] = static_cast<char>(0x5A);
  s->roi = vrnCreateROI(0, 6, 0, 3, 1);
  d->roi = vrnCreateROI(0, 1, 0, 3, 1);
  vrnOrS(s, d, 2);  // value 2 is 0 in 1 bit: a copy
  EXPECT_EQ(static_cast<uint8_t>(d->imageData[0]), 0x50);  // bits 1..3 = 1 0 1
  EXPECT_EQ(static_cast<uint8_t>(d->imageData[1]), 0x5A);
  freeImage(s);
  freeImage(d);
  EXPECT_TRUE(reports.all().empty());
}

TEST(Logic, OneBitImagesAtEveryRoiOffset) {
  Reports reports;
  for (int xs = 0; xs < 8; ++xs)
    for (int xd = 0; xd < 8; ++xd) {
      VrnImage* a = makeImage(VRN_DEPTH_1U, 1, 64, 3, 0, 0, 4, 1 + xs);
      VrnImage* b = makeImage(VRN_DEPTH_1U, 1, 64, 3, 0, 0, 4, 20 + xd);
      VrnImage* d = makeImage(VRN_DEPTH_1U, 1, 64, 3, 0, 0, 4, 40);
      const auto before = bytesOf(d);
      a->roi = vrnCreateROI(0, xs, 0, 30, 3);
      b->roi = vrnCreateROI(0, 7 - xs, 1, 40, 2);
      d->roi = vrnCreateROI(0, xd + 8, 0, 35, 3);
      vrnAdd(a, b, d);  // 1-bit addition: OR, over a 30 x 2 rectangle
      for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 64; ++x) {
          const bool inside = y < 2 && x >= xd + 8 && x < xd + 8 + 30;
          const bool old = (before[y * d->widthStep + x / 8] >> (7 - x % 8)) & 1;
          const int i = x - xd - 8;
          const bool want = inside ? (bit(a, xs + i, y) || bit(b, 7 - xs + i, y + 1)) : old;
          ASSERT_EQ(bit(d, x, y), want) << xs << " " << xd << " " << x << " " << y;
        }
      for (VrnImage* im : {a, b, d}) freeImage(im);
    }
  EXPECT_TRUE(reports.all().empty());
}

TEST(Logic, MaskKeepsUnmaskedPixelsInAllChannels) {
  Reports reports;
  for (int depth : {VRN_DEPTH_8U, VRN_DEPTH_16S, VRN_DEPTH_32S, VRN_DEPTH_1U}) {
    for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE}) {
      const int ch = depth == VRN_DEPTH_1U ? 1 : 3;
      VrnImage* a = makeImage(depth, ch, 21, 4, 0, order, 4, 1);
      VrnImage* d = makeImage(depth, ch, 21, 4, 0, order, 4, 2);
      VrnImage* mask = makeImage(VRN_DEPTH_1U, 1, 24, 5, 0, 0, 4, 3);
      mask->roi = vrnCreateROI(0, 3, 1, 21, 4);  // read from its own ROI's corner
      VrnImage* before = vrnCloneImage(d);
      d->maskROI = mask;
      vrnXorS(a, d, 0xFFFFFFFF);  // d = NOT a where masked
      vrnXor(a, d, d);            // d = a XOR NOT a: all ones where masked
      d->maskROI = nullptr;
      for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 21; ++x) {
          const auto got = region(d, x, y, 1, 1);
          if (bit(mask, x + 3, y + 1))
            for (uint8_t v : got) ASSERT_EQ(v, depth == VRN_DEPTH_1U ? 1 : 0xFF);
          else
            ASSERT_EQ(got, region(before, x, y, 1, 1));
        }
      for (VrnImage* im : {a, d, mask, before}) freeImage(im);
    }
  }
  EXPECT_TRUE(reports.all().empty());
}

TEST(Logic, TiledEqualsFlat) {
  Reports reports;
  for (int depth : {VRN_DEPTH_8U, VRN_DEPTH_16U, VRN_DEPTH_1U}) {
    const int ch = depth == VRN_DEPTH_1U ? 1 : 3;
    VrnImage* a = makeImage(depth, ch, 45, 21, 0, 0, 4, 1);
    VrnImage* b = makeImage(depth, ch, 45, 21, 0, 0, 4, 2);
    VrnImage* d = makeImage(depth, ch, 45, 21, 0, 0, 4, 3);
    TileServer ta(a, 16, 8), td(d, 24, 16);
    b->roi = vrnCreateROI(0, 3, 2, 40, 17);
    td.image()->roi = vrnCreateROI(0, 5, 1, 38, 19);
    d->roi = vrnCreateROI(0, 5, 1, 38, 19);
    vrnAnd(ta.image(), b, td.image());
    vrnAnd(a, b, d);
    VrnImage* out = makeImage(depth, ch, 45, 21, 0, 0, 4, 9);
    td.toPlain(out);
    EXPECT_EQ(region(out, 0, 0, 45, 21), region(d, 0, 0, 45, 21));
    vrnXorS(ta.image(), td.image(), 0x5A);
    vrnXorS(a, d, 0x5A);
    td.toPlain(out);
    EXPECT_EQ(region(out, 0, 0, 45, 21), region(d, 0, 0, 45, 21));
    vrnDeleteROI(td.image()->roi);
    for (VrnImage* im : {a, b, d, out}) freeImage(im);
  }
  EXPECT_TRUE(reports.all().empty());
}

}  // namespace

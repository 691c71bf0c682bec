// The logic family through the library's entry points: every operation
// against its definition per depth and layout (the constant cut to the
// depth's width), 1-bit rectangles at bit offsets, masks and reports.
// Tiled == flat is in the property table.
#include <gtest/gtest.h>

#include <cstring>

#include "support/checks.h"
#include "support/report_catcher.h"

namespace {

using namespace vrntest;

uint64_t widthMask(int depth) { return (1ull << (depth & VRN_DEPTH_MASK)) - 1; }
// A sample's bit pattern in the depth's width.
uint64_t bitsOf(double v, int depth) { return static_cast<uint64_t>(static_cast<int64_t>(v)) & widthMask(depth); }

struct LogicCase {
  const char* name;
  int sources;
  void (*run)(VrnImage* a, VrnImage* b, VrnImage* d);
  uint64_t (*definition)(uint64_t a, uint64_t b);  // b: the second source, or the constant
  unsigned constant;
};
// The constants have their high bits set, so that each depth uses another part.
const LogicCase kOperations[] = {
    {"vrnAnd", 2, [](auto a, auto b, auto d) { vrnAnd(a, b, d); }, [](uint64_t a, uint64_t b) { return a & b; }, 0},
    {"vrnOr", 2, [](auto a, auto b, auto d) { vrnOr(a, b, d); }, [](uint64_t a, uint64_t b) { return a | b; }, 0},
    {"vrnXor", 2, [](auto a, auto b, auto d) { vrnXor(a, b, d); }, [](uint64_t a, uint64_t b) { return a ^ b; }, 0},
    {"vrnAndS", 1, [](auto a, auto, auto d) { vrnAndS(a, d, 0x8001F0A5u); },
     [](uint64_t a, uint64_t k) { return a & k; }, 0x8001F0A5u},
    {"vrnOrS", 1, [](auto a, auto, auto d) { vrnOrS(a, d, 0x12345680u); },
     [](uint64_t a, uint64_t k) { return a | k; }, 0x12345680u},
    {"vrnXorS", 1, [](auto a, auto, auto d) { vrnXorS(a, d, 0xFFFF8001u); },
     [](uint64_t a, uint64_t k) { return a ^ k; }, 0xFFFF8001u},
    {"vrnNot", 1, [](auto a, auto, auto d) { vrnNot(a, d); }, [](uint64_t a, uint64_t) { return ~a; }, 0},
};

// Every operation, depth, order and alpha; plain images (flat runs) and ROIs
// at other corners (1-bit: other bit offsets).
TEST(Logic, EveryOperationAgainstItsDefinition) {
  for (const LogicCase& op : kOperations)
    for (int depth : {VRN_DEPTH_1U, VRN_DEPTH_8U, VRN_DEPTH_8S, VRN_DEPTH_16U, VRN_DEPTH_16S, VRN_DEPTH_32S})
      for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE})
        for (int variant = 0; variant < 3; ++variant) {  // plain, alpha, ROIs
          if (depth == VRN_DEPTH_1U && (order || variant == 1)) continue;
          SCOPED_TRACE(testing::Message() << op.name << " " << depthName(depth) << " order " << order
                                          << " variant " << variant);
          ImageSpec spec(depth, 37, 5, depth == VRN_DEPTH_1U ? 1 : 3);
          spec.order(order);
          if (variant == 1) spec.channels(4, 4);
          TestImage a(ImageSpec(spec).seeded(1)), b(ImageSpec(spec).aligned(8).seeded(2)), d(ImageSpec(spec).seeded(3));
          if (variant == 2) {
            a.setRoi(true, VrnROI{0, 3, 1, 30, 4});
            b.setRoi(true, VrnROI{0, 6, 0, 31, 5});
            d.setRoi(true, VrnROI{0, 1, 0, 35, 5});
          }
          const Snapshot before = snapshot(d);
          ReportCatcher catcher;
          op.run(a, op.sources == 2 ? b.get() : nullptr, d);
          EXPECT_NO_REPORT(catcher);
          const Rect size = operationSize({a.get(), op.sources == 2 ? b.get() : nullptr, d.get()});
          const Rect ra = clippedRect(a), rb = clippedRect(b), rd = clippedRect(d);
          if (variant != 0) {  // a flat run may go through row padding
            EXPECT_TRUE(onlyRectChanged(before, d, size.width, size.height));
          }
          for (int c : operatedChannels(d))
            for (int y = 0; y < size.height; ++y)
              for (int x = 0; x < size.width; ++x) {
                const uint64_t second = op.sources == 2 ? bitsOf(sampleAt(b, rb.x + x, rb.y + y, c), depth)
                                                        : op.constant & widthMask(depth);
                const uint64_t want =
                    op.definition(bitsOf(sampleAt(a, ra.x + x, ra.y + y, c), depth), second) & widthMask(depth);
                ASSERT_EQ(bitsOf(sampleAt(d, rd.x + x, rd.y + y, c), depth), want) << "at " << x << "," << y << " channel " << c;
              }
        }
}

TEST(Logic, Reports) {
  const TestImage f(ImageSpec(VRN_DEPTH_32F, 8, 8)), u(ImageSpec(VRN_DEPTH_8U, 8, 8));
  const TestImage u3(ImageSpec(VRN_DEPTH_8U, 8, 8, 3)), bits(ImageSpec(VRN_DEPTH_1U, 8, 8));
  const struct {
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
      {[](VrnImage* a, VrnImage*, VrnImage* d) { vrnOrS(a, d, 1); }, f, f, f, -5, "vrnOrS",
       "This function does not support depth 32F"},
      // NOT is XOR with all ones: the report names vrnXorS.
      {[](VrnImage* a, VrnImage*, VrnImage* d) { vrnNot(a, d); }, f, f, f, -5, "vrnXorS",
       "This function does not support depth 32F"},
  };
  for (const auto& c : cases) {
    ReportCatcher catcher;
    c.call(c.a, c.b, c.d);
    EXPECT_REPORT(catcher, c.status, c.func, c.context);
  }
}

TEST(Logic, OneBitRectangleAtBitOffsets) {
  // 3 pixels at offset 6 of the source and 1 of the destination: bits 1..3
  // of the destination's byte change, nothing else.
  TestImage s(ImageSpec(VRN_DEPTH_1U, 16, 1).withRoi(0, 6, 0, 3, 1));
  TestImage d(ImageSpec(VRN_DEPTH_1U, 16, 1).withRoi(0, 1, 0, 3, 1));
  s->imageData[0] = static_cast<char>(0x02);  // pixel 6 = 1, pixel 7 = 0
  s->imageData[1] = static_cast<char>(0x80);  // pixel 8 = 1
  d->imageData[0] = static_cast<char>(0x00);
  d->imageData[1] = static_cast<char>(0x5A);
  ReportCatcher catcher;
  vrnOrS(s, d, 2);  // value 2 is 0 in 1 bit: a copy
  EXPECT_NO_REPORT(catcher);
  EXPECT_EQ(static_cast<uint8_t>(d->imageData[0]), 0x50);  // bits 1..3 = 1 0 1
  EXPECT_EQ(static_cast<uint8_t>(d->imageData[1]), 0x5A);
}

TEST(Logic, OneBitAdditionIsOrAtEveryPairOfBitOffsets) {
  for (int xs = 0; xs < 8; ++xs)
    for (int xd = 0; xd < 8; ++xd) {
      const TestImage a(ImageSpec(VRN_DEPTH_1U, 64, 3).seeded(1 + xs).withRoi(0, xs, 0, 30, 3));
      const TestImage b(ImageSpec(VRN_DEPTH_1U, 64, 3).seeded(20 + xd).withRoi(0, 7 - xs, 1, 40, 2));
      TestImage d(ImageSpec(VRN_DEPTH_1U, 64, 3).seeded(40).withRoi(0, xd + 8, 0, 35, 3));
      const Snapshot before = snapshot(d);
      ReportCatcher catcher;
      vrnAdd(a, b, d);  // over a 30 x 2 rectangle
      EXPECT_NO_REPORT(catcher);
      ASSERT_TRUE(onlyRectChanged(before, d, 30, 2)) << xs << " " << xd;
      for (int y = 0; y < 2; ++y)
        for (int i = 0; i < 30; ++i)
          ASSERT_EQ(sampleAt(d, xd + 8 + i, y), std::max(sampleAt(a, xs + i, y), sampleAt(b, 7 - xs + i, y + 1)))
              << xs << " " << xd << " " << i << " " << y;
    }
}

// A masked run equals the unmasked one where the mask (read from its own
// ROI) is set, in every channel, and leaves the rest; also in place.
TEST(Logic, MaskKeepsUnmaskedPixelsInAllChannels) {
  const MaskSpec mask{24, 5, 4, true, VrnROI{0, 3, 1, 21, 4}, 0.5, 3};
  for (const LogicCase* op : {&kOperations[2], &kOperations[5]})
    for (int depth : {VRN_DEPTH_8U, VRN_DEPTH_16S, VRN_DEPTH_32S, VRN_DEPTH_1U})
      for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE}) {
        SCOPED_TRACE(testing::Message() << op->name << " " << depthName(depth) << " order " << order);
        const ImageSpec spec = ImageSpec(depth, 21, 4, depth == VRN_DEPTH_1U ? 1 : 3).order(order);
        const TestImage a(ImageSpec(spec).seeded(1));
        TestImage masked(ImageSpec(spec).seeded(2).withMask(mask)), plain(ImageSpec(spec).seeded(2));
        const Snapshot before = snapshot(masked);
        ReportCatcher catcher;
        op->run(a, masked, masked);  // in place on the second source
        op->run(a, plain, plain);
        EXPECT_NO_REPORT(catcher);
        EXPECT_TRUE(maskedMatchesUnmasked(before, masked, plain, Rect{0, 0, 21, 4}, operatedChannels(masked),
                                          mergedMaskBits({masked.mask()})));
      }
}

}  // namespace

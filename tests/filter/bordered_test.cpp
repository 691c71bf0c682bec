// The bordered readers against the per-pixel border reference, on plain and
// tiled images of every depth and layout, refusals of bad requests, and the
// border setter's clamping.
#include <gtest/gtest.h>

#include <vector>

#include "filter/border_reference.h"
#include "filter/bordered.h"
#include "support/tile_server.h"

namespace {

using filtertest::borderedValue;
using vrntest::ImageSpec;
using vrntest::Rng;
using vrntest::TestImage;

// One region of `im` (whose samples `pixels` holds) against the reference.
testing::AssertionResult regionMatches(const VrnImage* im, const VrnImage* pixels, int x, int y, int w, int h) {
  int step = -1;
  char* buf = vrn::ownGetBorderedRegion(im, x, y, w, h, &step);
  if (!buf) return testing::AssertionFailure() << "no region";
  const long long rowBits = static_cast<long long>(w) * (im->dataOrder ? 1 : im->nChannels) * (im->depth & VRN_DEPTH_MASK);
  testing::AssertionResult result = testing::AssertionSuccess();
  if (step != ((rowBits + 7) / 8 + im->align - 1) / im->align * im->align) result = testing::AssertionFailure() << "step " << step;
  const VrnImage region = vrntest::viewOf(im, buf, w, h, step);
  for (int c = 0; c < im->nChannels && result; ++c)
    for (int r = 0; r < h && result; ++r)
      for (int i = 0; i < w && result; ++i) {
        const double want = borderedValue(im, pixels, static_cast<long long>(x) + i, static_cast<long long>(y) + r, c);
        if (vrntest::sampleAt(&region, i, r, c) != want)
          result = testing::AssertionFailure() << "region (" << x << "," << y << " " << w << "x" << h << ") at (" << i
                                               << "," << r << ") channel " << c << " want " << want;
      }
  vrnFree(buf);
  return result;
}

int below(Rng& rng, int n) { return static_cast<int>(rng() % static_cast<uint64_t>(n)); }

// Random images, modes (high bits set too) and rectangles inside, across and
// wholly outside, from near and far; regions and rows, plain and tiled.
TEST(Bordered, RegionsAndRowsMatchTheReferencePlainAndTiled) {
  Rng rng(7);
  for (int depth : vrntest::kAllDepthWords)
    for (const auto& [order, channels] : {std::pair{0, 1}, {0, 3}, {1, 2}, {1, 4}}) {
      if (depth == VRN_DEPTH_1U && channels != 1) continue;
      SCOPED_TRACE(testing::Message() << vrntest::depthName(depth) << " order " << order << " channels " << channels);
      for (int trial = 0; trial < 30; ++trial) {
        const TestImage im(ImageSpec(depth, 1 + below(rng, 20), 1 + below(rng, 12), channels).order(order)
                               .aligned(4 << below(rng, 4)).seeded(rng()));
        filtertest::randomBorders(im, rng);
        vrntest::TileServer tiled(im, 8 << below(rng, 2), 8 << below(rng, 2));  // borders too
        for (const VrnImage* source : {static_cast<const VrnImage*>(im), static_cast<const VrnImage*>(tiled)}) {
          const int x = below(rng, 80) - 40, y = below(rng, 50) - 25, w = below(rng, 40), h = below(rng, 25);
          ASSERT_TRUE(regionMatches(source, im, x, y, w, h)) << (source == im.get() ? "plain" : "tiled");
          ASSERT_TRUE(regionMatches(source, im, -1000 - below(rng, 50), 700, 17, 3));  // patterns keep repeating
          const int c = below(rng, channels), count = 1 + w;
          std::vector<char> buf(static_cast<size_t>(count) * 4 + 8, 0x55);
          VrnImage row = vrntest::viewOf(im, buf.data(), count, 1, static_cast<int>(buf.size()));
          row.nChannels = 1;
          row.dataOrder = VRN_DATA_ORDER_PIXEL;
          vrn::ownGetBorderedRow(source, x, y, c, buf.data(), count);
          for (int i = 0; i < count; ++i)
            ASSERT_EQ(vrntest::sampleAt(&row, i, 0), borderedValue(im, im, x + i, y, c)) << "row " << x << "," << y << " at " << i;
        }
        ASSERT_TRUE(tiled.checkProtocol());
      }
    }
}

TEST(Bordered, RefusesBadRequests) {
  TestImage im(ImageSpec(VRN_DEPTH_8U, 8, 8));
  int step = 0;
  EXPECT_EQ(vrn::ownGetBorderedRegion(nullptr, 0, 0, 4, 4, &step), nullptr);
  const int sizes[][4] = {{0, 0, -1, 4}, {0x7FFFFFF0, 0x7FFFFFF0, 0x7FFFFFFF, 0x7FFFFFFF}, {-0x7FFFFFFF, 0, 0x7FFFFFFF, 2}};
  for (const auto& r : sizes) EXPECT_EQ(vrn::ownGetBorderedRegion(im, r[0], r[1], r[2], r[3], &step), nullptr);
  for (auto [field, bad] : {std::pair{&im->align, 12}, {&im->dataOrder, 2}, {&im->depth, 12}}) {
    const int keep = *field;
    *field = bad;
    EXPECT_EQ(vrn::ownGetBorderedRegion(im, 0, 0, 4, 4, &step), nullptr) << bad;
    *field = keep;
  }
  vrnSetBorderMode(im, VRN_BORDER_WRAP, 15, 0);  // far corners: positions are worked in 64 bits
  EXPECT_TRUE(regionMatches(im, im, 0x7FFFFFF0, -0x7FFFFFF0, 30, 3));
  vrntest::TileServer refusing(im, 8, 8);
  refusing.withholdRequest(0);
  EXPECT_EQ(vrn::ownGetBorderedRegion(refusing, 0, 0, 4, 4, &step), nullptr);
  EXPECT_TRUE(refusing.checkProtocol(true));
}

TEST(Bordered, SetterClampsTheConstantByDepth) {
  for (auto [depth, in, out] : {std::tuple{VRN_DEPTH_8U, -4, 0}, {VRN_DEPTH_8S, -200, -128}, {VRN_DEPTH_16U, 70000, 65535},
                                {VRN_DEPTH_16S, -40000, -32768}, {VRN_DEPTH_32F, 1 << 30, 1 << 30}}) {
    TestImage im(ImageSpec(depth, 4, 4));
    vrnSetBorderMode(im, 1, 15, in);
    EXPECT_EQ(im->borderConst[3], out) << vrntest::depthName(depth);
  }
}

}  // namespace

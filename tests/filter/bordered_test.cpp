// The bordered readers against the per-pixel border reference, on plain and
// tiled images of every depth and layout, and the border setter's clamping.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "filter/border_reference.h"
#include "filter/bordered.h"
#include "support/tile_server.h"

namespace {

using filtertest::borderedValue;
using filtertest::randomBorders;
using vrntest::ImageSpec;
using vrntest::Rng;
using vrntest::TestImage;
using vrntest::TileServer;

struct Shape {
  int order, channels;
};
const Shape kShapes[] = {{VRN_DATA_ORDER_PIXEL, 1}, {VRN_DATA_ORDER_PIXEL, 3}, {VRN_DATA_ORDER_PLANE, 2},
                         {VRN_DATA_ORDER_PLANE, 4}};

// Calls body(spec) for every depth and shape (1U: one channel only).
template <class F>
void forEachDepthAndShape(int width, int height, F body, int shapes = 4) {
  for (int depth : vrntest::kAllDepthWords)
    for (int k = 0; k < shapes; ++k) {
      if (depth == VRN_DEPTH_1U && kShapes[k].channels != 1) continue;
      SCOPED_TRACE(testing::Message() << vrntest::depthName(depth) << " order " << kShapes[k].order
                                      << " channels " << kShapes[k].channels);
      body(ImageSpec(depth, width, height, kShapes[k].channels).order(kShapes[k].order));
    }
}

// Checks one region of `im` (whose samples `pixels` holds) against the reference.
void checkRegion(const VrnImage* im, const VrnImage* pixels, int x, int y, int w, int h) {
  int step = -1;
  char* buf = vrn::ownGetBorderedRegion(im, x, y, w, h, &step);
  ASSERT_NE(buf, nullptr);
  const int bits = im->depth & VRN_DEPTH_MASK;
  const long long rowBits = static_cast<long long>(w) * (im->dataOrder ? 1 : im->nChannels) * bits;
  EXPECT_EQ(step, ((rowBits + 7) / 8 + im->align - 1) / im->align * im->align);
  const VrnImage region = vrntest::viewOf(im, buf, w, h, step);
  for (int c = 0; c < im->nChannels; ++c)
    for (int r = 0; r < h; ++r)
      for (int i = 0; i < w; ++i) {
        const double want = borderedValue(im, pixels, static_cast<long long>(x) + i, static_cast<long long>(y) + r, c);
        const double got = vrntest::sampleAt(&region, i, r, c);
        if (want != got) {
          ADD_FAILURE() << "region (" << x << "," << y << " " << w << "x" << h << ") at (" << i << "," << r
                        << ") channel " << c << ": " << got << " != " << want << " modes " << im->borderMode[0]
                        << im->borderMode[1] << im->borderMode[2] << im->borderMode[3];
          vrnFree(buf);
          return;
        }
      }
  vrnFree(buf);
}

int below(Rng& rng, int n) { return static_cast<int>(rng() % static_cast<uint64_t>(n)); }

TEST(BorderedRegion, MatchesPerPixelReferenceForEveryDepthLayoutAndMode) {
  Rng rng(7);
  forEachDepthAndShape(1, 1, [&](ImageSpec spec) {
    for (int trial = 0; trial < 40; ++trial) {
      TestImage im(spec.size(1 + below(rng, 13), 1 + below(rng, 9)).aligned(4 << below(rng, 4)).seeded(rng()));
      randomBorders(im, rng);
      for (int k = 0; k < 6; ++k)
        checkRegion(im, im, below(rng, 60) - 30, below(rng, 40) - 20, below(rng, 30), below(rng, 20));
      checkRegion(im, im, -1000 - below(rng, 50), 700, 17, 3);  // far away: patterns keep repeating
    }
  });
}

TEST(BorderedRegion, EveryModeCombinationPerSide) {
  for (int depth : {VRN_DEPTH_1U, VRN_DEPTH_8U, VRN_DEPTH_32F})
    for (int order : {0, 1}) {
      TestImage im(ImageSpec(depth, 5, 4, depth == VRN_DEPTH_1U ? 1 : 3).order(order).seeded(11));
      for (int combo = 0; combo < 256; ++combo) {
        for (int s = 0; s < 4; ++s) {
          im->borderMode[s] = (combo >> (2 * s)) & 3;
          im->borderConst[s] = 1 + s * 40;
        }
        checkRegion(im, im, -7, -6, 19, 16);
      }
    }
}

TEST(BorderedRegion, WhollyOutsideBandsAndDegenerateLines) {
  TestImage im(ImageSpec(VRN_DEPTH_8U, 1, 1).seeded(3));
  for (int mode = 0; mode < 4; ++mode) {
    vrnSetBorderMode(im, mode, 15, 9);
    checkRegion(im, im, -5, -5, 11, 11);  // a 1x1 image: every mode reads pixel 0
  }
  TestImage wide(ImageSpec(VRN_DEPTH_16S, 9, 6, 2).seeded(4));
  vrnSetBorderMode(wide, VRN_BORDER_REFLECT, VRN_SIDE_TOP, 0);
  vrnSetBorderMode(wide, VRN_BORDER_CONSTANT, VRN_SIDE_LEFT | VRN_SIDE_RIGHT | VRN_SIDE_BOTTOM, 77);
  checkRegion(wide, wide, -3, -40, 15, 12);  // wholly above: top mode alone
  checkRegion(wide, wide, -3, 30, 15, 12);   // wholly below: constant rows
  checkRegion(wide, wide, 20, 1, 4, 3);      // wholly right
}

TEST(BorderedRegion, RefusesBadRequests) {
  TestImage im(ImageSpec(VRN_DEPTH_8U, 8, 8));
  int step = 0;
  EXPECT_EQ(vrn::ownGetBorderedRegion(nullptr, 0, 0, 4, 4, &step), nullptr);
  const int sizes[][4] = {{0, 0, -1, 4}, {0x7FFFFFF0, 0x7FFFFFF0, 0x7FFFFFFF, 0x7FFFFFFF}, {-0x7FFFFFFF, 0, 0x7FFFFFFF, 2}};
  for (const auto& r : sizes) EXPECT_EQ(vrn::ownGetBorderedRegion(im, r[0], r[1], r[2], r[3], &step), nullptr);
  const struct {
    int* field;
    int bad;
  } spoiled[] = {{&im->align, 12}, {&im->dataOrder, 2}, {&im->depth, 12}};
  for (const auto& k : spoiled) {
    const int keep = *k.field;
    *k.field = k.bad;
    EXPECT_EQ(vrn::ownGetBorderedRegion(im, 0, 0, 4, 4, &step), nullptr) << k.bad;
    *k.field = keep;
  }
  // Far corners with sizes that fit: positions are worked in 64 bits.
  vrnSetBorderMode(im, VRN_BORDER_WRAP, 15, 0);
  checkRegion(im, im, 0x7FFFFFF0, -0x7FFFFFF0, 30, 3);
}

TEST(BorderedRegion, TiledImagesGiveTheFlatResultAndKeepTheProtocol) {
  Rng rng(21);
  forEachDepthAndShape(37, 29, [&](ImageSpec spec) {
    const TestImage flat(spec.seeded(rng()));
    TileServer tiled(flat, 8 << below(rng, 2), 8 << below(rng, 2));
    for (int trial = 0; trial < 12; ++trial) {
      randomBorders(tiled, rng);
      checkRegion(tiled, flat, below(rng, 100) - 50, below(rng, 80) - 40, below(rng, 60), below(rng, 50));
    }
    EXPECT_TRUE(tiled.checkProtocol());
    TileServer refusing(flat, 8, 8);
    refusing.withholdRequest(0);
    int step;
    EXPECT_EQ(vrn::ownGetBorderedRegion(refusing, 0, 0, 4, 4, &step), nullptr);
    EXPECT_TRUE(refusing.checkProtocol(true));
  }, 3);
}

TEST(BorderedRow, SameValuesAsTheReferenceOnPlainAndTiledImages) {
  Rng rng(5);
  forEachDepthAndShape(1, 1, [&](ImageSpec spec) {
    const TestImage flat(spec.size(1 + below(rng, 20), 1 + below(rng, 10)).seeded(rng()));
    TileServer tiled(flat, 8, 8);
    for (int trial = 0; trial < 30; ++trial) {
      const int count = 1 + below(rng, 60), x = below(rng, 80) - 40, y = below(rng, 40) - 20;
      const int c = below(rng, flat->nChannels);
      std::vector<char> buf(static_cast<size_t>(count) * 4 + 8, 0x55);
      VrnImage row = vrntest::viewOf(flat, buf.data(), count, 1, static_cast<int>(buf.size()));
      row.nChannels = 1;
      row.dataOrder = VRN_DATA_ORDER_PIXEL;
      randomBorders(flat, rng);
      std::copy(flat->borderMode, flat->borderMode + 4, tiled.image()->borderMode);
      std::copy(flat->borderConst, flat->borderConst + 4, tiled.image()->borderConst);
      for (const VrnImage* source : {static_cast<const VrnImage*>(flat.get()), static_cast<const VrnImage*>(tiled.image())}) {
        vrn::ownGetBorderedRow(source, x, y, c, buf.data(), count);
        for (int i = 0; i < count; ++i)
          ASSERT_EQ(vrntest::sampleAt(&row, i, 0), borderedValue(flat, flat, x + i, y, c))
              << "x " << x << " y " << y << " i " << i << (source == flat.get() ? " plain" : " tiled");
      }
    }
    EXPECT_TRUE(tiled.checkProtocol());
  }, 3);
}

// Sides and clamping for 8U, 16S, 32S and 1U are checked with the records.
TEST(BorderMode, ClampsTheConstantByDepth) {
  const struct {
    int depth, in, out;
  } clamps[] = {{VRN_DEPTH_8U, -4, 0},           {VRN_DEPTH_8S, -200, -128},        {VRN_DEPTH_16U, 70000, 65535},
                {VRN_DEPTH_16S, -40000, -32768}, {VRN_DEPTH_32F, 1 << 30, 1 << 30}};
  for (const auto& k : clamps) {
    TestImage im(ImageSpec(k.depth, 4, 4));
    vrnSetBorderMode(im, 0, 15, k.in);
    for (int s = 0; s < 4; ++s) EXPECT_EQ(im->borderConst[s], k.out) << vrntest::depthName(k.depth);
  }
}

}  // namespace

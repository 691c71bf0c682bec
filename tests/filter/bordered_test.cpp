// The bordered readers against a per-pixel reference: the outcode picks the
// side (top or bottom decide at corners), the side's mode (low two bits)
// maps the position, or its constant is taken.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "filter/bordered.h"
#include "filter_images.h"

using filtertest::TestImage;
using filtertest::TileServer;

namespace {

const int kDepths[] = {VRN_DEPTH_1U, VRN_DEPTH_8U, VRN_DEPTH_8S, VRN_DEPTH_16U,
                       VRN_DEPTH_16S, VRN_DEPTH_32S, VRN_DEPTH_32F};

double expected(const VrnImage* im, const VrnImage* pixels, long long x, long long y, int c) {
  return filtertest::borderedValue(im, pixels, x, y, c);
}

// A sample of the region buffer, laid out like the image.
double regionValue(const VrnImage* im, const char* buf, int step, int w, int h, int x, int y, int c) {
  VrnImage view = *im;
  view.imageData = const_cast<char*>(buf);
  view.widthStep = step;
  view.width = w;
  view.height = h;
  view.tileInfo = nullptr;
  return filtertest::sampleValue(&view, x, y, c);
}

void randomBorders(VrnImage* im, std::mt19937& rng) {
  for (int s = 0; s < 4; ++s) {
    im->borderMode[s] = static_cast<int>(rng() % 8);  // high bits must be ignored
    im->borderConst[s] = static_cast<int>(rng() % 2001) - 1000;
  }
}

// Checks one region of `im` (whose pixels are those of `pixels`).
void checkRegion(const VrnImage* im, const VrnImage* pixels, int x, int y, int w, int h) {
  int step = -1;
  char* buf = vrn::ownGetBorderedRegion(im, x, y, w, h, &step);
  ASSERT_NE(buf, nullptr);
  const int bits = im->depth & VRN_DEPTH_MASK;
  const bool plane = im->dataOrder == VRN_DATA_ORDER_PLANE;
  const long long rowBits = static_cast<long long>(w) * (plane ? 1 : im->nChannels) * bits;
  const long long rowBytes = (rowBits + 7) / 8;
  EXPECT_EQ(step, (rowBytes + im->align - 1) / im->align * im->align);
  for (int c = 0; c < im->nChannels; ++c)
    for (int r = 0; r < h; ++r)
      for (int i = 0; i < w; ++i) {
        const double want = expected(im, pixels, static_cast<long long>(x) + i, static_cast<long long>(y) + r, c);
        const double got = regionValue(im, buf, step, w, h, i, r, c);
        if (want != got) {
          ADD_FAILURE() << "region (" << x << "," << y << " " << w << "x" << h << ") at (" << i << "," << r
                        << ") channel " << c << ": " << got << " != " << want << " modes "
                        << im->borderMode[0] << im->borderMode[1] << im->borderMode[2] << im->borderMode[3];
          vrnFree(buf);
          return;
        }
      }
  vrnFree(buf);
}

struct Shape {
  int order, channels;
};

}  // namespace

TEST(BorderedRegion, MatchesPerPixelReferenceForEveryDepthLayoutAndMode) {
  std::mt19937 rng(7);
  for (int depth : kDepths)
    for (Shape shape : {Shape{0, 1}, Shape{0, 3}, Shape{1, 2}, Shape{1, 4}}) {
      if (depth == VRN_DEPTH_1U && shape.channels != 1) continue;
      for (int trial = 0; trial < 40; ++trial) {
        const int width = 1 + static_cast<int>(rng() % 13), height = 1 + static_cast<int>(rng() % 9);
        TestImage im(depth, shape.channels, shape.order, width, height, rng(), 4 << (rng() % 4));
        randomBorders(im.get(), rng);
        for (int k = 0; k < 6; ++k) {
          const int w = static_cast<int>(rng() % 30), h = static_cast<int>(rng() % 20);
          const int x = static_cast<int>(rng() % 60) - 30, y = static_cast<int>(rng() % 40) - 20;
          checkRegion(im.get(), im.get(), x, y, w, h);
        }
        // Far away: patterns keep repeating.
        checkRegion(im.get(), im.get(), -1000 - static_cast<int>(rng() % 50), 700, 17, 3);
      }
    }
}

TEST(BorderedRegion, EveryModeCombinationPerSide) {
  for (int depth : {VRN_DEPTH_1U, VRN_DEPTH_8U, VRN_DEPTH_32F})
    for (int order : {0, 1}) {
      const int channels = depth == VRN_DEPTH_1U ? 1 : 3;
      TestImage im(depth, channels, order, 5, 4, 11);
      for (int combo = 0; combo < 256; ++combo) {
        for (int s = 0; s < 4; ++s) {
          im->borderMode[s] = (combo >> (2 * s)) & 3;
          im->borderConst[s] = 1 + s * 40;
        }
        checkRegion(im.get(), im.get(), -7, -6, 19, 16);
      }
    }
}

TEST(BorderedRegion, WhollyOutsideBandsAndDegenerateLines) {
  TestImage im(VRN_DEPTH_8U, 1, 0, 1, 1, 3);
  for (int mode = 0; mode < 4; ++mode) {
    vrnSetBorderMode(im.get(), mode, 15, 9);
    checkRegion(im.get(), im.get(), -5, -5, 11, 11);  // a 1x1 image: every mode reads pixel 0
  }
  TestImage wide(VRN_DEPTH_16S, 2, 0, 9, 6, 4);
  vrnSetBorderMode(wide.get(), VRN_BORDER_REFLECT, VRN_SIDE_TOP, 0);
  vrnSetBorderMode(wide.get(), VRN_BORDER_CONSTANT, VRN_SIDE_LEFT | VRN_SIDE_RIGHT | VRN_SIDE_BOTTOM, 77);
  checkRegion(wide.get(), wide.get(), -3, -40, 15, 12);  // wholly above: top mode alone
  checkRegion(wide.get(), wide.get(), -3, 30, 15, 12);   // wholly below: constant rows
  checkRegion(wide.get(), wide.get(), 20, 1, 4, 3);      // wholly right
}

TEST(BorderedRegion, RefusesBadRequests) {
  TestImage im(VRN_DEPTH_8U, 1, 0, 8, 8, 1);
  int step = 0;
  EXPECT_EQ(vrn::ownGetBorderedRegion(nullptr, 0, 0, 4, 4, &step), nullptr);
  EXPECT_EQ(vrn::ownGetBorderedRegion(im.get(), 0, 0, -1, 4, &step), nullptr);
  EXPECT_EQ(vrn::ownGetBorderedRegion(im.get(), 0x7FFFFFF0, 0x7FFFFFF0, 0x7FFFFFFF, 0x7FFFFFFF, &step), nullptr);
  EXPECT_EQ(vrn::ownGetBorderedRegion(im.get(), -0x7FFFFFFF, 0, 0x7FFFFFFF, 2, &step), nullptr);
  im->align = 12;
  EXPECT_EQ(vrn::ownGetBorderedRegion(im.get(), 0, 0, 4, 4, &step), nullptr);
  im->align = 8;
  im->dataOrder = 2;
  EXPECT_EQ(vrn::ownGetBorderedRegion(im.get(), 0, 0, 4, 4, &step), nullptr);
  im->dataOrder = 0;
  im->depth = 12;
  EXPECT_EQ(vrn::ownGetBorderedRegion(im.get(), 0, 0, 4, 4, &step), nullptr);
  im->depth = VRN_DEPTH_8U;
  // Far corners with sizes that fit: positions are worked in 64 bits.
  vrnSetBorderMode(im.get(), VRN_BORDER_WRAP, 15, 0);
  checkRegion(im.get(), im.get(), 0x7FFFFFF0, -0x7FFFFFF0, 30, 3);
}

TEST(BorderedRegion, TiledImagesGiveTheFlatResult) {
  std::mt19937 rng(21);
  for (int depth : kDepths)
    for (Shape shape : {Shape{0, 1}, Shape{0, 3}, Shape{1, 2}}) {
      if (depth == VRN_DEPTH_1U && shape.channels != 1) continue;
      TestImage flat(depth, shape.channels, shape.order, 37, 29, rng());
      TileServer tiled(flat.get(), 8 << (rng() % 2), 8 << (rng() % 2));
      for (int trial = 0; trial < 12; ++trial) {
        randomBorders(flat.get(), rng);
        for (int s = 0; s < 4; ++s) {
          tiled.get()->borderMode[s] = flat->borderMode[s];
          tiled.get()->borderConst[s] = flat->borderConst[s];
        }
        const int w = static_cast<int>(rng() % 60), h = static_cast<int>(rng() % 50);
        const int x = static_cast<int>(rng() % 100) - 50, y = static_cast<int>(rng() % 80) - 40;
        checkRegion(tiled.get(), flat.get(), x, y, w, h);
      }
      EXPECT_EQ(tiled.overlaps, 0);
      EXPECT_EQ(tiled.requests, tiled.releases);
      tiled.withhold = true;
      vrnSetBorderMode(tiled.get(), VRN_BORDER_REPLICATE, 15, 0);
      int step;
      EXPECT_EQ(vrn::ownGetBorderedRegion(tiled.get(), 0, 0, 4, 4, &step), nullptr);
    }
}

TEST(BorderedRow, SameValuesAsTheRegionReader) {
  std::mt19937 rng(5);
  for (int depth : kDepths)
    for (Shape shape : {Shape{0, 3}, Shape{1, 2}, Shape{0, 1}}) {
      if (depth == VRN_DEPTH_1U && shape.channels != 1) continue;
      TestImage flat(depth, shape.channels, shape.order, 1 + static_cast<int>(rng() % 20), 1 + static_cast<int>(rng() % 10), rng());
      TileServer tiled(flat.get(), 8, 8);
      for (int trial = 0; trial < 30; ++trial) {
        randomBorders(flat.get(), rng);
        for (int s = 0; s < 4; ++s) {
          tiled.get()->borderMode[s] = flat->borderMode[s];
          tiled.get()->borderConst[s] = flat->borderConst[s];
        }
        const int count = 1 + static_cast<int>(rng() % 60);
        const int x = static_cast<int>(rng() % 80) - 40, y = static_cast<int>(rng() % 40) - 20;
        const int c = static_cast<int>(rng() % shape.channels);
        for (const VrnImage* source : {static_cast<const VrnImage*>(flat.get()), static_cast<const VrnImage*>(tiled.get())}) {
          std::vector<char> buf(static_cast<size_t>(count) * 4 + 8, 0x55);
          vrn::ownGetBorderedRow(source, x, y, c, buf.data(), count);
          VrnImage row = *flat.get();
          row.dataOrder = VRN_DATA_ORDER_PIXEL;
          row.nChannels = 1;
          row.width = count;
          row.height = 1;
          row.imageData = buf.data();
          row.widthStep = static_cast<int>(buf.size());
          for (int i = 0; i < count; ++i)
            ASSERT_EQ(filtertest::sampleValue(&row, i, 0, 0), expected(flat.get(), flat.get(), x + i, y, c))
                << "depth " << depth << " x " << x << " y " << y << " i " << i;
        }
      }
    }
}

TEST(BorderMode, ClampsTheConstantAndSetsOnlyTheNamedSides) {
  TestImage u8(VRN_DEPTH_8U, 1, 0, 4, 4, 1);
  vrnSetBorderMode(u8.get(), 1, 5, 300);
  EXPECT_EQ(u8->borderMode[0], 1);
  EXPECT_EQ(u8->borderConst[0], 255);
  EXPECT_EQ(u8->borderMode[2], 1);
  EXPECT_EQ(u8->borderConst[2], 255);
  EXPECT_EQ(u8->borderMode[1], 0);
  EXPECT_EQ(u8->borderMode[3], 0);
  vrnSetBorderMode(u8.get(), 7, 0xF0 | VRN_SIDE_BOTTOM, -4);
  EXPECT_EQ(u8->borderMode[1], 7);
  EXPECT_EQ(u8->borderConst[1], 0);
  EXPECT_EQ(u8->borderMode[3], 0);

  const struct {
    int depth, in, out;
  } clamps[] = {{VRN_DEPTH_1U, 5, 1},          {VRN_DEPTH_8S, -200, -128},   {VRN_DEPTH_16U, 70000, 65535},
                {VRN_DEPTH_16S, -40000, -32768}, {VRN_DEPTH_32S, -40000, -40000}, {VRN_DEPTH_32F, 1 << 30, 1 << 30}};
  for (const auto& k : clamps) {
    TestImage im(k.depth, 1, 0, 4, 4, 1);
    vrnSetBorderMode(im.get(), 0, 15, k.in);
    for (int s = 0; s < 4; ++s) EXPECT_EQ(im->borderConst[s], k.out) << k.depth;
  }
}

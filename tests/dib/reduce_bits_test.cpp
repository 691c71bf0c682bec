// vrnReduceBits: truncation per depth pair, error diffusion against a plain
// reference (with the error carried from channel to channel), ordered dither,
// noise determinism, alpha left alone, tiled destinations, and the checks.
#include <cmath>
#include <map>

#include "dib/dib_test_util.h"

using namespace dibtest;

namespace {

VrnImage* blank(int ch, int depth, int w, int h, int order = VRN_DATA_ORDER_PIXEL, int alpha = 0) {
  VrnImage* im = makeImage(ch, depth, w, h, ch == 1 ? "G" : (ch == 4 ? "BGRA" : "BGR"), order, 0, alpha);
  std::memset(im->imageData, 0, static_cast<size_t>(im->imageSize));
  return im;
}

TEST(ReduceBits, TruncationPerDepthPair) {
  ReportCatcher catcher;
  struct Case {
    int src, dst;
    std::vector<int> in, out;
  };
  const std::vector<Case> cases = {
      {VRN_DEPTH_8U, VRN_DEPTH_8U, {0, 17, 255}, {0, 17, 255}},
      {VRN_DEPTH_8U, VRN_DEPTH_1U, {0, 127, 128, 255}, {0, 0, 1, 1}},
      {VRN_DEPTH_16U, VRN_DEPTH_8U, {0, 0x1234, 0xffff}, {0, 0x12, 0xff}},
      {VRN_DEPTH_16U, VRN_DEPTH_1U, {0x7fff, 0x8000}, {0, 1}},
      {VRN_DEPTH_32S, VRN_DEPTH_16U, {-2147483647 - 1, -1, 0, 2147483647}, {0, 32767, 32768, 65535}},
      {VRN_DEPTH_32S, VRN_DEPTH_8U, {-2147483647 - 1, -1, 0, 2147483647}, {0, 127, 128, 255}},
      {VRN_DEPTH_32S, VRN_DEPTH_1U, {-5, -1, 0, 7}, {0, 0, 1, 1}},
      {VRN_DEPTH_32S, VRN_DEPTH_32S, {-9, 9}, {-9, 9}},
  };
  for (const Case& c : cases) {
    const int n = static_cast<int>(c.in.size());
    VrnImage* s = blank(1, c.src, n, 1);
    VrnImage* d = blank(1, c.dst, n, 1);
    for (int x = 0; x < n; ++x) setSample(s, x, 0, 0, c.in[x]);
    vrnReduceBits(s, d, 0, VRN_DITHER_NONE, 12345);  // levels ignored
    for (int x = 0; x < n; ++x) EXPECT_EQ(sampleAt(d, x, 0, 0), c.out[x]) << c.src << "->" << c.dst << " x " << x;
    freeImage(s);
    freeImage(d);
  }
  EXPECT_TRUE(catcher.empty());
}

// Floyd-Steinberg written out plainly: one error plane per image, carried from
// one channel's last row into the next channel's first.
std::vector<int> referenceFs(const VrnImage* s, int levels, bool oneBit) {
  const int w = s->width, h = s->height, ch = s->nChannels - (s->alphaChannel ? 1 : 0);
  const double M = 255, q = levels - 1, step = M / q;
  std::vector<float> cur(w + 4, 0), up(w + 4, 0);
  std::vector<int> out;
  for (int c = 0; c < ch; ++c)
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        const double e = (up[x + 3] * 3.0 + up[x + 2] * 5.0 + up[x + 1] + cur[x + 1] * 7.0) * 0.0625;
        const double v = sampleAt(s, x, y, c) + e;
        if (oneBit) {
          if (v >= M) out.push_back(1), cur[x + 2] = 0;
          else if (v < 1e-7) out.push_back(0), cur[x + 2] = 0;
          else {
            const bool b = v > 127.5;
            out.push_back(b);
            cur[x + 2] = static_cast<float>(b ? v - M : v);
          }
          continue;
        }
        if (v >= M) out.push_back(255), cur[x + 2] = 0;
        else if (v < 0) out.push_back(0), cur[x + 2] = 0;
        else {
          const double k = std::nearbyint(q * v * (1 / M) - 0.5);
          const bool up1 = v - k * step > step * 0.5;
          const double chosen = (k + up1) * step;
          cur[x + 2] = static_cast<float>(v - chosen);
          const long F = std::lrint(65280.0 / q - 0.5);
          out.push_back(static_cast<int>(((static_cast<long>(k) + up1) * F) >> 8));
        }
      }
      std::swap(cur, up);
    }
  return out;
}

TEST(ReduceBits, FloydSteinbergMatchesThePlainReference) {
  ReportCatcher catcher;
  for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE})
    for (int levels : {2, 3, 7, 256}) {
      VrnImage* s = makeImage(3, VRN_DEPTH_8U, 13, 5, "BGR", order, 0, 0, levels);
      VrnImage* d = blank(3, VRN_DEPTH_8U, 13, 5, order);
      vrnReduceBits(s, d, 0, VRN_DITHER_FS, levels);
      const std::vector<int> want = referenceFs(s, levels, false);
      size_t i = 0;
      for (int c = 0; c < 3; ++c)
        for (int y = 0; y < 5; ++y)
          for (int x = 0; x < 13; ++x) ASSERT_EQ(sampleAt(d, x, y, c), want[i++]) << levels << " " << x << "," << y << "," << c;
      freeImage(s);
      freeImage(d);
    }
  VrnImage* s = makeImage(1, VRN_DEPTH_8U, 21, 6, "G");
  VrnImage* d = blank(1, VRN_DEPTH_1U, 21, 6);
  vrnReduceBits(s, d, 0, VRN_DITHER_FS, 2);
  const std::vector<int> want = referenceFs(s, 2, true);
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 21; ++x) ASSERT_EQ(sampleAt(d, x, y, 0), want[y * 21 + x]) << x << "," << y;
  // The tail bits of a row are packed into the high bits of its last byte.
  EXPECT_EQ(static_cast<uint8_t>(d->imageData[2]) & 0x07, 0);
  freeImage(s);
  freeImage(d);
  EXPECT_TRUE(catcher.empty());
}

TEST(ReduceBits, TwoLevelsGiveOnlyTheEndsAndTheTopCarriesNoError) {
  for (int dither : {VRN_DITHER_FS, VRN_DITHER_JJH, VRN_DITHER_STUCKEY, VRN_DITHER_BAYER}) {
    VrnImage* s = makeImage(1, VRN_DEPTH_8U, 40, 9, "G");
    VrnImage* d = blank(1, VRN_DEPTH_8U, 40, 9);
    vrnReduceBits(s, d, 0, dither, 2);
    for (int y = 0; y < 9; ++y)
      for (int x = 0; x < 40; ++x) {
        const int v = sampleAt(d, x, y, 0);
        EXPECT_TRUE(v == 0 || v == 255) << dither;
      }
    freeImage(s);
    freeImage(d);
  }
  // A top sample gives the top level, and no error reaches its neighbour.
  VrnImage* s = blank(1, VRN_DEPTH_8U, 4, 1);
  VrnImage* d = blank(1, VRN_DEPTH_8U, 4, 1);
  setSample(s, 0, 0, 0, 255);
  setSample(s, 1, 0, 0, 100);
  vrnReduceBits(s, d, 0, VRN_DITHER_FS, 2);
  EXPECT_EQ(sampleAt(d, 0, 0, 0), 255);
  EXPECT_EQ(sampleAt(d, 1, 0, 0), 0);  // 100 alone stays below the half
  freeImage(s);
  freeImage(d);
}

TEST(ReduceBits, TwoLevelBayerOnMidGrayIsTheMatrix) {
  const int matrix[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
  for (int depth : {VRN_DEPTH_1U, VRN_DEPTH_8U}) {
    VrnImage* s = blank(1, VRN_DEPTH_8U, 8, 8);
    std::memset(s->imageData, 128, static_cast<size_t>(s->imageSize));
    VrnImage* d = blank(1, depth, 8, 8);
    vrnReduceBits(s, d, 0, VRN_DITHER_BAYER, 2);
    for (int y = 0; y < 8; ++y)
      for (int x = 0; x < 8; ++x) {
        const bool on = matrix[y % 4][x % 4] * 255.0 / 15.0 < 128;
        EXPECT_EQ(sampleAt(d, x, y, 0), on ? (depth == VRN_DEPTH_1U ? 1 : 255) : 0) << x << "," << y;
      }
    freeImage(s);
    freeImage(d);
  }
}

TEST(ReduceBits, NoiseIsTheSameOnEveryCallAndChangesTheResult) {
  for (int dither : {VRN_DITHER_FS, VRN_DITHER_JJH, VRN_DITHER_STUCKEY, VRN_DITHER_BAYER}) {
    VrnImage* s = makeImage(1, VRN_DEPTH_16U, 64, 16, "G");
    VrnImage* a = blank(1, VRN_DEPTH_8U, 64, 16);
    VrnImage* b = blank(1, VRN_DEPTH_8U, 64, 16);
    VrnImage* quiet = blank(1, VRN_DEPTH_8U, 64, 16);
    vrnReduceBits(s, a, 40, dither, 4);
    vrnReduceBits(s, b, 40, dither, 4);
    vrnReduceBits(s, quiet, 0, dither, 4);
    EXPECT_EQ(std::memcmp(a->imageData, b->imageData, static_cast<size_t>(a->imageSize)), 0) << dither;
    EXPECT_NE(std::memcmp(a->imageData, quiet->imageData, static_cast<size_t>(a->imageSize)), 0) << dither;
    for (int y = 0; y < 16; ++y)
      for (int x = 0; x < 64; ++x) {
        const int v = sampleAt(a, x, y, 0);
        EXPECT_TRUE(v == 0 || v == 85 || v == 170 || v == 255) << v;
      }
    freeImage(s);
    freeImage(a);
    freeImage(b);
    freeImage(quiet);
  }
}

TEST(ReduceBits, AlphaIsLeftAloneInBothOrders) {
  for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE})
    for (int dither : {VRN_DITHER_NONE, VRN_DITHER_FS, VRN_DITHER_BAYER}) {
      VrnImage* s = makeImage(4, VRN_DEPTH_32S, 9, 4, "BGRA", order, 0, 4);
      VrnImage* d = blank(4, VRN_DEPTH_16U, 9, 4, order, 4);
      for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 9; ++x) setSample(d, x, y, 3, 4321);
      vrnReduceBits(s, d, 0, dither, 16);
      for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 9; ++x) EXPECT_EQ(sampleAt(d, x, y, 3), 4321);
      freeImage(s);
      freeImage(d);
    }
}

TEST(ReduceBits, DepthPairsKeepTheirLevels) {
  // Every supported pair with 4 levels gives only the 4 levels of its depth.
  struct Pair {
    int src, dst;
    std::vector<int> levels;
  };
  const std::vector<Pair> pairs = {
      {VRN_DEPTH_8U, VRN_DEPTH_8U, {0, 85, 170, 255}},
      {VRN_DEPTH_16U, VRN_DEPTH_16U, {0, 21845, 43690, 65535}},
      {VRN_DEPTH_16U, VRN_DEPTH_8U, {0, 85, 170, 255}},
      {VRN_DEPTH_32S, VRN_DEPTH_32S, {-2147483647 - 1, -715827883, 715827882, 2147483647}},
      {VRN_DEPTH_32S, VRN_DEPTH_16U, {0, 21845, 43690, 65535}},
      {VRN_DEPTH_32S, VRN_DEPTH_8U, {0, 85, 170, 255}},
  };
  ReportCatcher catcher;
  for (const Pair& p : pairs)
    for (int dither : {VRN_DITHER_FS, VRN_DITHER_STUCKEY, VRN_DITHER_BAYER}) {
      VrnImage* s = makeImage(1, p.src, 32, 8, "G");
      VrnImage* d = blank(1, p.dst, 32, 8);
      vrnReduceBits(s, d, 0, dither, 4);
      std::map<int, int> seen;
      for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 32; ++x) ++seen[sampleAt(d, x, y, 0)];
      for (const auto& [v, n] : seen)
        EXPECT_NE(std::find(p.levels.begin(), p.levels.end(), v), p.levels.end())
            << p.src << "->" << p.dst << " dither " << dither << " value " << v;
      freeImage(s);
      freeImage(d);
    }
}

// A tile server over a plain image: each tile is copied out on WRITE and back on RELEASE.
struct Tiles {
  VrnImage* plain;
  std::vector<uint8_t> tile;
  int col = -1, row = -1, writes = 0, releases = 0;
};

void tileCallback(const VrnImage* image, int col, int row, int mode) {
  Tiles* t = static_cast<Tiles*>(image->tileInfo->id);
  const int tw = image->tileInfo->width, th = image->tileInfo->height;
  const int step = tw;  // 8U, one channel, tile width a multiple of 8: align 4 holds
  if (mode == VRN_TILE_WRITE) {
    ++t->writes;
    t->tile.assign(static_cast<size_t>(tw) * th, 0);
    for (int y = 0; y < th && row * th + y < t->plain->height; ++y)
      for (int x = 0; x < tw && col * tw + x < t->plain->width; ++x)
        t->tile[y * step + x] = static_cast<uint8_t>(sampleAt(t->plain, col * tw + x, row * th + y, 0));
    image->tileInfo->tileData = reinterpret_cast<char*>(t->tile.data());
    t->col = col, t->row = row;
  } else if (mode == VRN_TILE_RELEASE) {
    ++t->releases;
    for (int y = 0; y < th && row * th + y < t->plain->height; ++y)
      for (int x = 0; x < tw && col * tw + x < t->plain->width; ++x)
        setSample(t->plain, col * tw + x, row * th + y, 0, t->tile[y * step + x]);
  }
}

TEST(ReduceBits, TiledDestinationEqualsFlat) {
  ReportCatcher catcher;
  for (int dither : {VRN_DITHER_NONE, VRN_DITHER_FS, VRN_DITHER_JJH, VRN_DITHER_BAYER}) {
    VrnImage* s = makeImage(1, VRN_DEPTH_16U, 37, 29, "G");
    VrnImage* flat = blank(1, VRN_DEPTH_8U, 37, 29);
    vrnReduceBits(s, flat, 0, dither, 5);
    Tiles server;
    server.plain = blank(1, VRN_DEPTH_8U, 37, 29);
    char m[4] = {'G', 0, 0, 0};
    VrnTileInfo* info = vrnCreateTileInfo(tileCallback, &server, 16, 8);
    VrnImage* tiled = vrnCreateImageHeader(1, 0, VRN_DEPTH_8U, m, m, 0, 0, 4, 37, 29, nullptr, nullptr, nullptr, info);
    vrnReduceBits(s, tiled, 0, dither, 5);
    EXPECT_EQ(server.writes, server.releases);
    EXPECT_EQ(server.writes, 3 * 4);
    for (int y = 0; y < 29; ++y)
      for (int x = 0; x < 37; ++x)
        ASSERT_EQ(sampleAt(server.plain, x, y, 0), sampleAt(flat, x, y, 0)) << dither << " " << x << "," << y;
    vrnDeallocate(tiled, VRN_FREE_HEADER | VRN_FREE_TILE);
    freeImage(server.plain);
    freeImage(s);
    freeImage(flat);
  }
}

struct ReduceCheck {
  const char* name;
  int srcDepth, dstDepth, srcCh, dstCh, noise, dither, levels;
  int status;
  const char* text;
};

class ReduceBitsChecks : public ::testing::TestWithParam<ReduceCheck> {};

TEST_P(ReduceBitsChecks, ReportAndLeaveTheDestinationAlone) {
  ReportCatcher catcher;
  const ReduceCheck& c = GetParam();
  VrnImage* s = makeImage(c.srcCh, c.srcDepth, 8, 4, c.srcCh == 1 ? "G" : "BGR");
  VrnImage* d = makeImage(c.dstCh, c.dstDepth, 8, 4, c.dstCh == 1 ? "G" : "BGR", 0, 0, 0, 7);
  const std::vector<char> before(d->imageData, d->imageData + d->imageSize);
  vrnReduceBits(s, std::string(c.name) == "inPlace" ? s : d, c.noise, c.dither, c.levels);
  ASSERT_EQ(catcher.all().size(), 1u);
  EXPECT_REPORT(catcher, c.status, "vrnReduceBits", c.text);
  EXPECT_EQ(std::vector<char>(d->imageData, d->imageData + d->imageSize), before);
  freeImage(s);
  freeImage(d);
}

const int k8 = VRN_DEPTH_8U, k16 = VRN_DEPTH_16U, k1 = VRN_DEPTH_1U;
INSTANTIATE_TEST_SUITE_P(
    All, ReduceBitsChecks,
    ::testing::Values(
        ReduceCheck{"src1U", k1, k1, 1, 1, 0, 2, 2, -5, "( (srcImage->depth == VRN_DEPTH_1U ))"},
        ReduceCheck{"deeper", k8, k16, 1, 1, 0, 2, 2, -5, "((srcImage->depth& VRN_DEPTH_MASK) < (dstImage->depth& VRN_DEPTH_MASK))"},
        ReduceCheck{"noise", k8, k8, 1, 1, 101, 2, 2, -5, "(( noise < 0 ) || ( noise > 100 ))"},
        ReduceCheck{"channels", k8, k8, 1, 3, 0, 2, 2, -5, "(srcImage->nChannels < dstImage->nChannels)"},
        ReduceCheck{"dither", k8, k8, 1, 1, 0, 3, 2, -5, "ditherType != VRN_DITHER_NONE && ditherType != VRN_DITHER_FS && ditherType != VRN_DITHER_JJH && ditherType != VRN_DITHER_STUCKEY && ditherType != VRN_DITHER_BAYER"},
        ReduceCheck{"signedSrc", VRN_DEPTH_16S, k8, 1, 1, 0, 2, 2, -5, "!( ( srcImage->depth == VRN_DEPTH_32S ) || ((srcImage->depth & VRN_DEPTH_SIGN)==0))"},
        ReduceCheck{"signedDst", k16, VRN_DEPTH_8S, 1, 1, 0, 2, 2, -5, "!( ( dstImage->depth == VRN_DEPTH_32S ) || ((dstImage->depth & VRN_DEPTH_SIGN)==0))"},
        ReduceCheck{"inPlace", k8, k8, 1, 1, 0, 2, 2, -5, "This function isn`t in-plase function"},
        ReduceCheck{"levelsLow", k8, k8, 1, 1, 0, 2, 1, -5, "You incorrectly have set an amount of levels"},
        ReduceCheck{"levelsHigh", k8, k1, 1, 1, 0, 16, 4, -5, "You incorrectly have set an amount of levels"},
        ReduceCheck{"gray", k8, k8, 3, 1, 0, 2, 2, -5, " Depth 1u is for Gray, only"},
        ReduceCheck{"pair", k16, VRN_DEPTH_16S, 1, 1, 0, 2, 2, -5, "!( ( dstImage->depth == VRN_DEPTH_32S ) || ((dstImage->depth & VRN_DEPTH_SIGN)==0))"},
        ReduceCheck{"floatPair", VRN_DEPTH_32F, k8, 1, 1, 0, 2, 2, -5, "Unsupported pair of depths"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ReduceBits, HeaderAndOrderChecks) {
  ReportCatcher catcher;
  VrnImage* s = makeImage(1, VRN_DEPTH_8U, 8, 4, "G");
  VrnImage* d = makeImage(1, VRN_DEPTH_8U, 8, 4, "G", VRN_DATA_ORDER_PLANE);
  vrnReduceBits(nullptr, d, 0, 2, 2);
  EXPECT_REPORT(catcher, VRN_StsNullHeader, "vrnReduceBits", "Incorrect Image");
  vrnReduceBits(s, d, 0, 2, 2);
  EXPECT_REPORT(catcher, VRN_StsBadArg, "vrnReduceBits", "(srcImage->dataOrder!=dstImage->dataOrder)");
  freeImage(s);
  freeImage(d);
}

}  // namespace

// vrnReduceBits: truncation per depth pair, error diffusion against a plain
// reference (the error carried from channel to channel), the ordered matrix,
// levels per depth pair, noise, alpha left alone, checks.
#include <cmath>
#include <map>
#include <set>

#include "dib/dib_test_util.h"

using namespace dibtest;

namespace {

TEST(ReduceBits, TruncationPerDepthPair) {
  ReportCatcher catcher;
  struct Case { int src, dst; std::vector<double> in, out; };
  const Case cases[] = {
      {VRN_DEPTH_8U, VRN_DEPTH_8U, {0, 17, 255}, {0, 17, 255}},
      {VRN_DEPTH_8U, VRN_DEPTH_1U, {0, 127, 128, 255}, {0, 0, 1, 1}},
      {VRN_DEPTH_16U, VRN_DEPTH_8U, {0, 0x1234, 0xffff}, {0, 0x12, 0xff}},
      {VRN_DEPTH_16U, VRN_DEPTH_1U, {0x7fff, 0x8000}, {0, 1}},
      {VRN_DEPTH_32S, VRN_DEPTH_16U, {-2147483648.0, -1, 0, 2147483647}, {0, 32767, 32768, 65535}},
      {VRN_DEPTH_32S, VRN_DEPTH_8U, {-2147483648.0, -1, 0, 2147483647}, {0, 127, 128, 255}},
      {VRN_DEPTH_32S, VRN_DEPTH_1U, {-5, -1, 0, 7}, {0, 0, 1, 1}},
      {VRN_DEPTH_32S, VRN_DEPTH_32S, {-9, 9}, {-9, 9}},
  };
  for (const Case& c : cases) {
    const int n = static_cast<int>(c.in.size());
    TestImage s = image(c.src, 1, n, 1, "G"), d = image(c.dst, 1, n, 1, "G");
    for (int x = 0; x < n; ++x) setSample(s, x, 0, 0, c.in[x]);
    vrnReduceBits(s, d, 0, VRN_DITHER_NONE, 12345);  // levels ignored
    for (int x = 0; x < n; ++x) EXPECT_EQ(sampleAt(d, x, 0, 0), c.out[x]) << c.src << "->" << c.dst << " x " << x;
  }
  EXPECT_NO_REPORT(catcher);
}

// The dithers written out plainly.  Error diffusion: three error rows with two
// guard cells a side, shared by the channels (the error of one channel's last
// row feeds the next channel's first); the weights of 8U sources in single
// precision.  Ordered: the 4 x 4 matrix over 15, times step.
const int kBayer[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};

std::vector<int> referenceDither(const VrnImage* s, int dither, int levels, bool oneBit) {
  const int w = s->width, h = s->height, ch = s->nChannels - (s->alphaChannel ? 1 : 0);
  const double M = 255, q = levels - 1, step = M / q;
  const long F = std::lrint(65280.0 / q - 0.5);
  const bool jjn = dither == VRN_DITHER_JJH;
  const double a = jjn ? 3 : 2, b = jjn ? 5 : 4, c7 = jjn ? 7 : 8, f = jjn ? double(1.0f / 48) : double(1.0f / 42);
  std::vector<float> rows[3] = {std::vector<float>(w + 4, 0), std::vector<float>(w + 4, 0), std::vector<float>(w + 4, 0)};
  std::vector<int> out;
  for (int c = 0; c < ch; ++c)
    for (int y = 0; y < h; ++y, std::swap(rows[1], rows[2]), std::swap(rows[0], rows[1]))
      for (int x = 0; x < w; ++x) {
        float* cur = rows[0].data() + 2;
        const float *u1 = rows[1].data() + 2, *u2 = rows[2].data() + 2;
        const double e = dither == VRN_DITHER_FS
            ? (u1[x + 1] * 3.0 + u1[x] * 5.0 + u1[x - 1] + cur[x - 1] * 7.0) * 0.0625
            : (double(u2[x - 2]) + a * u2[x - 1] + b * u2[x] + a * u2[x + 1] + u2[x + 2] + a * u1[x - 2] + b * u1[x - 1] +
               c7 * u1[x] + b * u1[x + 1] + a * u1[x + 2] + b * cur[x - 2] + c7 * cur[x - 1]) * f;
        const double v = sampleAt(s, x, y, c) + (dither == VRN_DITHER_BAYER ? 0 : e);
        if (dither == VRN_DITHER_BAYER) {
          const double t = kBayer[y % 4][x % 4] / 15.0 * (oneBit ? M : step), k = oneBit ? 0 : std::nearbyint(q * v * (1 / M) - 0.5);
          const long level = std::min<long>(static_cast<long>(q), static_cast<long>(k) + (t < v - k * step));
          out.push_back(oneBit ? t < v : static_cast<int>((level * F) >> 8));
        } else if (v >= M || v < (oneBit ? 1e-7 : 0)) {  // the ends carry no error
          out.push_back(v >= M ? (oneBit ? 1 : 255) : 0), cur[x] = 0;
        } else if (oneBit) {
          out.push_back(v > 127.5), cur[x] = static_cast<float>(v > 127.5 ? v - M : v);
        } else {
          const double k = std::nearbyint(q * v * (1 / M) - 0.5);
          const bool up1 = v - k * step > step * 0.5;
          cur[x] = static_cast<float>(v - (k + up1) * step);
          out.push_back(static_cast<int>(((static_cast<long>(k) + up1) * F) >> 8));
        }
      }
  return out;
}

TEST(ReduceBits, DithersMatchThePlainReference) {
  ReportCatcher catcher;
  for (int dither : {VRN_DITHER_FS, VRN_DITHER_JJH, VRN_DITHER_STUCKEY, VRN_DITHER_BAYER})
    for (int levels : {2, 3, 7, 256})
      for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE, -1}) {  // -1: 8U gray to 1U
        const bool oneBit = order < 0;
        if (oneBit && levels != 2) continue;
        const int ch = oneBit ? 1 : 3, w = oneBit ? 21 : 13;
        TestImage s(vrntest::ImageSpec(VRN_DEPTH_8U, w, 5, ch).order(oneBit ? 0 : order).fill(vrntest::Content::kEdgeRich).seeded(levels));
        std::memcpy(s->channelSeq, oneBit ? "G\0\0" : "BGR", 4);
        TestImage d = image(oneBit ? VRN_DEPTH_1U : VRN_DEPTH_8U, ch, w, 5, oneBit ? "G" : "BGR", oneBit ? 0 : order);
        vrnReduceBits(s, d, 0, dither, levels);
        const std::vector<int> want = referenceDither(s, dither, levels, oneBit);
        for (int c = 0, i = 0; c < ch; ++c)
          for (int y = 0; y < 5; ++y)
            for (int x = 0; x < w; ++x, ++i)
              ASSERT_EQ(sampleAt(d, x, y, c), want[i]) << dither << " " << levels << " " << x << "," << y << "," << c;
        EXPECT_TRUE(!oneBit || (d->imageData[2] & 0x07) == 0);  // tail bits go to the high bits
      }
  EXPECT_NO_REPORT(catcher);
}

// Every supported pair with 4 levels gives only the 4 levels of its
// destination and leaves alpha alone, in both orders; noise is the same on
// every call and changes the result.
TEST(ReduceBits, DepthPairsKeepTheirLevelsAndAlphaAndNoiseRepeats) {
  ReportCatcher catcher;
  const std::map<int, std::set<double>> levels = {{VRN_DEPTH_8U, {0, 85, 170, 255}}, {VRN_DEPTH_16U, {0, 21845, 43690, 65535}},
                                                  {VRN_DEPTH_32S, {-2147483648.0, -715827883, 715827882, 2147483647}}};
  struct Pair { int src, dst; };
  for (const Pair p : {Pair{VRN_DEPTH_8U, VRN_DEPTH_8U}, {VRN_DEPTH_16U, VRN_DEPTH_16U}, {VRN_DEPTH_16U, VRN_DEPTH_8U},
                       {VRN_DEPTH_32S, VRN_DEPTH_32S}, {VRN_DEPTH_32S, VRN_DEPTH_16U}, {VRN_DEPTH_32S, VRN_DEPTH_8U}})
    for (int dither : {VRN_DITHER_FS, VRN_DITHER_JJH, VRN_DITHER_STUCKEY, VRN_DITHER_BAYER}) {
      const int order = dither == VRN_DITHER_FS || dither == VRN_DITHER_STUCKEY;
      TestImage s = image(p.src, 4, 32, 8, "BGRA", order, 0, 4), a = image(p.dst, 4, 32, 8, "BGRA", order, 0, 4, 2);
      TestImage before = a.clone(), b = a.clone(), quiet = a.clone();
      s.refill(7, vrntest::Content::kEdgeRich);
      vrnReduceBits(s, a, 40, dither, 4);
      vrnReduceBits(s, b, 40, dither, 4);
      vrnReduceBits(s, quiet, 0, dither, 4);
      EXPECT_TRUE(vrntest::sameBytes(a, b)) << dither;
      EXPECT_FALSE(vrntest::sameBytes(a, quiet)) << dither;
      for (const TestImage* im : {&a, &quiet})
        for (int i = 0; i < 32 * 8 * 4; ++i) {
          const double v = sampleAt(*im, i % 32, i / 32 % 8, i / 256);
          ASSERT_TRUE(i / 256 == 3 ? v == sampleAt(before, i % 32, i / 32 % 8, 3) : levels.at(p.dst).count(v) == 1)
              << p.src << "->" << p.dst << " dither " << dither << " sample " << i << ": " << v;
        }
    }
  EXPECT_NO_REPORT(catcher);
}

struct ReduceCheck { const char* name; int srcDepth, dstDepth, srcCh, dstCh, noise, dither, levels; const char* text; };

const int k8 = VRN_DEPTH_8U, k16 = VRN_DEPTH_16U, k1 = VRN_DEPTH_1U;
const ReduceCheck kReduceChecks[] = {
    {"src1U", k1, k1, 1, 1, 0, 2, 2, "( (srcImage->depth == VRN_DEPTH_1U ))"},
    {"deeper", k8, k16, 1, 1, 0, 2, 2, "((srcImage->depth& VRN_DEPTH_MASK) < (dstImage->depth& VRN_DEPTH_MASK))"},
    {"noise", k8, k8, 1, 1, 101, 2, 2, "(( noise < 0 ) || ( noise > 100 ))"},
    {"channels", k8, k8, 1, 3, 0, 2, 2, "(srcImage->nChannels < dstImage->nChannels)"},
    {"dither", k8, k8, 1, 1, 0, 3, 2, "ditherType != VRN_DITHER_NONE && ditherType != VRN_DITHER_FS && ditherType != VRN_DITHER_JJH && ditherType != VRN_DITHER_STUCKEY && ditherType != VRN_DITHER_BAYER"},
    {"signedSrc", VRN_DEPTH_16S, k8, 1, 1, 0, 2, 2, "!( ( srcImage->depth == VRN_DEPTH_32S ) || ((srcImage->depth & VRN_DEPTH_SIGN)==0))"},
    {"signedDst", k16, VRN_DEPTH_8S, 1, 1, 0, 2, 2, "!( ( dstImage->depth == VRN_DEPTH_32S ) || ((dstImage->depth & VRN_DEPTH_SIGN)==0))"},
    {"inPlace", k8, k8, 1, 1, 0, 2, 2, "This function isn`t in-plase function"},
    {"levelsLow", k8, k8, 1, 1, 0, 2, 1, "You incorrectly have set an amount of levels"},
    {"levelsHigh", k8, k1, 1, 1, 0, 16, 4, "You incorrectly have set an amount of levels"},
    {"gray", k8, k8, 3, 1, 0, 2, 2, " Depth 1u is for Gray, only"},
    {"floatPair", VRN_DEPTH_32F, k8, 1, 1, 0, 2, 2, "Unsupported pair of depths"},
    {"order", k8, k8, 1, 1, 0, 2, 2, "(srcImage->dataOrder!=dstImage->dataOrder)"},
    {"alpha", k8, k8, 4, 4, 0, 2, 2, "(srcImage->alphaChannel!=dstImage->alphaChannel)"},
};

TEST(ReduceBits, ChecksReportAndLeaveTheDestinationAlone) {
  for (const ReduceCheck& c : kReduceChecks) {
    ReportCatcher catcher;
    const std::string name = c.name;
    TestImage s = image(c.srcDepth, c.srcCh, 8, 4, c.srcCh == 1 ? "G" : "BGRA", 0, 0, name == "alpha" ? 4 : 0);
    TestImage d = image(c.dstDepth, c.dstCh, 8, 4, c.dstCh == 1 ? "G" : "BGRA", name == "order", 0, 0, 7);
    const vrntest::Snapshot before = vrntest::snapshot(d);
    vrnReduceBits(s, name == "inPlace" ? s.get() : d.get(), c.noise, c.dither, c.levels);
    EXPECT_REPORT(catcher, VRN_StsBadArg, "vrnReduceBits", c.text) << name;
    EXPECT_TRUE(vrntest::sameBytes(before, d)) << name;
  }
  ReportCatcher catcher;
  vrnReduceBits(nullptr, image(k8, 1, 8, 4, "G"), 0, 2, 2);
  EXPECT_REPORT(catcher, VRN_StsNullHeader, "vrnReduceBits", "Incorrect Image");
}

}  // namespace

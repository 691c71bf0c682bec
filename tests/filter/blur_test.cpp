// vrnBlur against a reference that forms each box sum from the per-pixel
// border reference, in the kernels' order where the order shows (float
// sums), and applies each depth's number format; masks, in place and tiled
// (every case again on the source itself, and with the source, the
// destination or both tiled), and the checks.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "filter/border_reference.h"
#include "support/checks.h"
#include "support/report_catcher.h"
#include "support/tile_server.h"

namespace {

using namespace vrntest;

double bordered(const VrnImage* im, long long x, long long y, int c) {
  return filtertest::borderedValue(im, im, x, y, c);
}

struct Box {
  int cols, rows, ax, ay;
};

// Expected output of the processed rectangle (w x h at (sx, sy) of src) for channel c.
std::vector<double> reference(const VrnImage* src, int sx, int sy, int w, int h, int c, Box b, bool pixelKernel) {
  const float scale = 1.0f / static_cast<float>(b.cols * b.rows);
  const long long x0 = sx - b.ax, y0 = sy - b.ay;
  std::vector<double> out(static_cast<size_t>(w) * h);
  if (src->depth != VRN_DEPTH_32F && src->depth != VRN_DEPTH_32S) {
    for (int j = 0; j < h; ++j)
      for (int i = 0; i < w; ++i) {
        long long s = 0;
        for (int r = 0; r < b.rows; ++r)
          for (int k = 0; k < b.cols; ++k) s += static_cast<long long>(bordered(src, x0 + i + k, y0 + j + r, c));
        const double exact = std::trunc(static_cast<long double>(s) * static_cast<double>(scale));
        double v;
        switch (src->depth) {
          case VRN_DEPTH_1U: v = (0.5f > static_cast<float>(s) * scale) ? 0 : 1; break;
          case VRN_DEPTH_8U: v = pixelKernel ? static_cast<int>(static_cast<float>(s) * scale) : exact; break;
          case VRN_DEPTH_16U: v = exact; break;
          default: v = std::nearbyint(static_cast<float>(s) * scale); break;
        }
        out[static_cast<size_t>(j) * w + i] = v;
      }
    return out;
  }
  // Float sums in the sliding order.
  const int n = w + b.cols;
  std::vector<float> col(static_cast<size_t>(n), 0.0f);
  for (int r = 0; r < b.rows; ++r)
    for (int x = 0; x < n; ++x) col[x] += static_cast<float>(bordered(src, x0 + x, y0 + r, c));
  for (int j = 0; j < h; ++j) {
    float win = 0.0f;
    for (int k = 0; k < b.cols; ++k) win += col[k];
    for (int i = 0; i < w; ++i) {
      const float v = win * scale;
      out[static_cast<size_t>(j) * w + i] = b.cols * b.rows == 1 ? bordered(src, x0 + i, y0 + j, c)  // 1x1: a copy
                                            : src->depth == VRN_DEPTH_32F ? v : static_cast<double>(std::lrintf(v));
      win += col[i + b.cols] - col[i];
    }
    for (int x = 0; x < n; ++x)
      col[x] += static_cast<float>(bordered(src, x0 + x, y0 + j + b.rows, c)) -
                static_cast<float>(bordered(src, x0 + x, y0 + j, c));
  }
  return out;
}

// Runs vrnBlur from a ROI of src into a larger ROI of dst (under a mask of
// its own ROI when asked): the processed rectangle equals the reference
// where the mask is set, nothing else of dst changed.
void checkBlur(ImageSpec desc, Box b, uint64_t seed, bool pixelKernel = false, bool masked = false) {
  SCOPED_TRACE(testing::Message() << desc.describe() << " box " << b.cols << "x" << b.rows << " anchor " << b.ax
                                  << "," << b.ay << (masked ? " masked" : ""));
  Rng rng(seed);
  const int sx = static_cast<int>(rng() % 3), sy = static_cast<int>(rng() % 3);
  const int dx = static_cast<int>(rng() % 4), dy = static_cast<int>(rng() % 3);
  const int w = desc.width - sx, h = desc.height - sy;
  const TestImage src(ImageSpec(desc).aligned(8).seeded(rng()).withRoi(0, sx, sy, w, h));
  ImageSpec dstSpec = ImageSpec(desc).size(desc.width + 3, desc.height + 2).aligned(16).seeded(rng())
                          .withRoi(0, dx, dy, w + 5, h + 5);
  if (masked) dstSpec.withMask(MaskSpec{w + 4, h + 3, 4, true, VrnROI{0, 2, 1, w + 2, h + 2}, 0.5, seed});
  TestImage dst(dstSpec);
  for (int s = 0; s < 4; ++s) src->borderMode[s] = 1 + static_cast<int>(rng() % 3);
  const TestImage before = dst.clone();
  TestImage self = src.clone(), tiledOut = before.clone();
  // Tiled source, destination or both: as flat, but for the float sums,
  // which restart at each piece and so drift within their precision.
  const int which = static_cast<int>(rng() % 3);
  TileServer tiledSrc(src, 16, 8), tiledDst(before, 8, 16);
  ReportCatcher catcher;
  vrnBlur(src, dst, b.cols, b.rows, b.ax, b.ay);
  vrnBlur(self, self, b.cols, b.rows, b.ax, b.ay);  // in place: the same values over the source's rectangle
  vrnBlur(which != 1 ? tiledSrc.image() : src.get(), which != 0 ? tiledDst.image() : tiledOut.get(), b.cols, b.rows,
          b.ax, b.ay);
  ASSERT_NO_FATAL_FAILURE(EXPECT_NO_REPORT(catcher));
  EXPECT_TRUE(tiledSrc.checkProtocol());
  EXPECT_TRUE(tiledDst.checkProtocol());
  if (which != 0) tiledDst.copyTo(tiledOut);
  EXPECT_TRUE(onlyRectChanged(snapshot(before), tiledOut, w, h)) << "tiled " << which;
  const double drift = src->depth == VRN_DEPTH_32S ? 4096 : src->depth == VRN_DEPTH_32F ? 1e-3 : 0;
  EXPECT_TRUE(onlyRectChanged(snapshot(before), dst, w, h));
  EXPECT_TRUE(onlyRectChanged(snapshot(src), self, w, h));
  for (int c : operatedChannels(dst)) {
    const std::vector<double> want = reference(src, sx, sy, w, h, c, b, pixelKernel);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const double v = want[static_cast<size_t>(y) * w + x];
        ASSERT_EQ(sampleAt(dst, dx + x, dy + y, c), !masked || sampleAt(dst.mask(), 2 + x, 1 + y) ? v : sampleAt(before, dx + x, dy + y, c))
            << "at (" << x << "," << y << ") channel " << c;
        ASSERT_EQ(sampleAt(self, sx + x, sy + y, c), v) << "in place at (" << x << "," << y << ") channel " << c;
        ASSERT_NEAR(sampleAt(tiledOut, dx + x, dy + y, c), sampleAt(dst, dx + x, dy + y, c), drift)
            << "tiled " << which << " at (" << x << "," << y << ") channel " << c;
      }
  }
}

TEST(Blur, MatchesReferenceForEveryDepthBoxAndAnchor) {
  const Box boxes[] = {{1, 1, 0, 0}, {2, 1, 0, 0}, {1, 2, 0, 1}, {3, 3, 1, 1}, {5, 5, 0, 0},
                       {5, 5, 4, 4}, {9, 7, 8, 0}, {9, 7, 0, 6}, {4, 6, 3, 5}, {2, 2, 1, 0}};
  const ImageSpec shapes[] = {ImageSpec(0, 11, 9, 1), ImageSpec(0, 11, 9, 3), ImageSpec(0, 11, 9, 2).planes(),
                              ImageSpec(0, 11, 9, 4).withAlpha()};
  uint64_t seed = 1;
  for (int depth : kAllDepthWords)
    for (ImageSpec shape : shapes) {
      shape.depth = depth;
      if (depth == VRN_DEPTH_1U && shape.nChannels != 1) continue;
      for (Box b : boxes) checkBlur(shape, b, seed, false, seed % 3 == 0), ++seed;
    }
}

TEST(Blur, ThreeColourPixelKernels) {
  // Wide enough for the pixel kernels: 8U rounds in single precision there.
  uint64_t seed = 100;
  for (const ImageSpec& shape : {ImageSpec(VRN_DEPTH_8U, 40, 12, 3), ImageSpec(VRN_DEPTH_8U, 40, 12, 4).withAlpha()}) {
    for (Box b : {Box{5, 5, 2, 2}, Box{3, 7, 0, 6}, Box{16, 16, 15, 15}}) checkBlur(shape, b, seed, true, seed % 2), ++seed;
    ImageSpec f(shape);
    f.depth = VRN_DEPTH_32F;
    for (Box b : {Box{5, 5, 2, 2}, Box{9, 7, 8, 0}}) checkBlur(f, b, seed, false, seed % 2), ++seed;
  }
  checkBlur(ImageSpec(VRN_DEPTH_8U, 40, 12, 3), Box{257, 1, 0, 0}, seed);  // 257 pixels: the general path again
}

TEST(Blur, ChecksAndTheirTexts) {
  TestImage a(ImageSpec(VRN_DEPTH_8U, 8, 8, 3)), b(ImageSpec(VRN_DEPTH_8U, 8, 8, 3).seeded(2));
  TestImage s16(ImageSpec(VRN_DEPTH_16S, 8, 8, 3)), gray(ImageSpec(VRN_DEPTH_8U, 8, 8));
  TestImage alphaOnly(ImageSpec(VRN_DEPTH_8U, 8, 8).withAlpha());
  const struct { VrnImage *src, *dst; int cols, rows, ax, ay, status; const char* context; } cases[] = {
      {nullptr, b, 3, 3, 1, 1, VRN_StsNullHeader, "Incorrect Image"},
      {a, nullptr, 3, 3, 1, 1, VRN_StsNullHeader, "Incorrect Image"},
      {a, s16, 3, 3, 1, 1, VRN_StsBadArg, "(srcImage->depth!=dstImage->depth)"},
      {a, b, -1, 3, 0, 0, VRN_StsBadArg, "(nRows<0||nCols<0)"},
      {a, b, 3, 3, -1, 0, VRN_StsBadArg, "(anchorX<0||anchorY<0)"},
      {a, b, 3, 3, 3, 0, VRN_StsBadArg, "(anchorX>=nCols||anchorY>=nRows)"},
      {a, b, 0, 0, 0, 0, VRN_StsBadArg, "(anchorX>=nCols||anchorY>=nRows)"},
      {alphaOnly, gray, 3, 3, 1, 1, VRN_StsBadAlpha, "bad alpha channel's number"},
      {a, gray, 3, 3, 1, 1, VRN_StsBadChannels, "bad channel's number"},
      {a, b, 0x7FFFFFF0, 3, 0, 0, VRN_StsNoMem, "Allocation failure"},  // a region too large for memory
  };
  for (const auto& k : cases) {
    const Snapshot before = snapshot(b);
    ReportCatcher catcher;
    vrnBlur(k.src, k.dst, k.cols, k.rows, k.ax, k.ay);
    EXPECT_REPORT(catcher, k.status, "vrnBlur", k.context);
    EXPECT_EQ(catcher.last().fileName, "vrnBlur");  // the blur names its reports' source itself
    EXPECT_TRUE(sameBytes(before, b));
  }
}

}  // namespace

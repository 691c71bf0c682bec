// The test support's own sanity check: each check passes on a correct
// result and fails on a fault made on purpose, and tiles round-trip.
#include <gtest/gtest.h>

#include "support/checks.h"
#include "support/report_catcher.h"
#include "support/tile_server.h"

namespace vrntest {
namespace {

TEST(SupportSelfTest, EachCheckCanFail) {
  TestImage image(ImageSpec(VRN_DEPTH_16U, 10, 6, 4).withAlpha().aligned(32).withRoi(0, 2, 1, 5, 3));
  const Snapshot before = snapshot(image);
  TestImage copy = image.clone();
  setSample(copy, 6, 3, 2, sampleAt(copy, 6, 3, 2) + 1);
  EXPECT_TRUE(onlyRectChanged(before, copy, 5, 3));
  EXPECT_FALSE(sameBytes(image, copy));
  setSample(copy, 3, 2, 3, sampleAt(copy, 3, 2, 3) + 1);  // alpha
  EXPECT_FALSE(onlyRectChanged(before, copy, 5, 3));
  TestImage padding = image.clone();
  padding->imageData[padding->widthStep - 1] ^= 1;
  EXPECT_TRUE(samePixels(image, padding));
  EXPECT_FALSE(onlyRectChanged(before, padding, 5, 3));

  // A masked run must take the unmasked result where the bit is set, only there.
  TestImage masked(ImageSpec(VRN_DEPTH_8U, 8, 3).withMask(MaskSpec{}));
  const Snapshot maskedBefore = snapshot(masked);
  const MaskBits bits = mergedMaskBits({masked.mask()});
  TestImage full = masked.clone();
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 8; ++x) {
      setSample(full, x, y, 0, static_cast<int>(sampleAt(full, x, y, 0) + 1) % 256);
      if (bits(x, y)) setSample(masked, x, y, 0, sampleAt(full, x, y, 0));
    }
  EXPECT_TRUE(maskedMatchesUnmasked(maskedBefore, masked, full, Rect{0, 0, 8, 3}, {0}, bits));
  EXPECT_FALSE(maskedMatchesUnmasked(maskedBefore, full, full, Rect{0, 0, 8, 3}, {0}, bits));

  auto same = [](int16_t a) { return a; };
  forEachTarget([&](int64_t) {
    EXPECT_TRUE(packedMatchesScalar<int16_t>([](const int16_t* a, int16_t* d, size_t n) { std::copy(a, a + n, d); }, same));
  });
  EXPECT_FALSE(packedMatchesScalar<int16_t>([](const int16_t* a, int16_t* d, size_t n) {
    std::copy(a, a + n, d);
    if (n == 5) d[n] = 0;  // one past the row
  }, same));

  ReportCatcher reports;
  EXPECT_TRUE(expectNoReport(reports));
  vrnError(-5, "f", "c", "x.cpp", 1);
  EXPECT_REPORT(reports, -5, "f", "c");
  EXPECT_FALSE(expectReport(reports, -5, "f", "other"));
}

TEST(SupportSelfTest, TilesRoundTripAndProtocolFaultsAreSeen) {
  for (int depth : kAllDepthWords)
    for (auto [tw, th] : {std::pair{8, 8}, {16, 24}, {64, 64}}) {
      const int channels = depth == VRN_DEPTH_1U ? 1 : 3;
      TestImage plain(ImageSpec(depth, 37, 19, channels).order(tw == 16).aligned(8).seeded(tw + th));
      TileServer server(plain, tw, th);
      EXPECT_TRUE(sameBytes(plain, server.toPlain().get())) << depthName(depth) << " " << tw << "x" << th;
    }
  TestImage plain(ImageSpec(VRN_DEPTH_8U, 20, 10));
  TileServer server(plain, 8, 8, "S");
  VrnImage* image = server.image();
  image->tileInfo->callBack(image, 0, 0, VRN_TILE_READ);
  image->tileInfo->callBack(image, 1, 0, VRN_TILE_READ);  // two open
  EXPECT_FALSE(server.checkProtocol());
}

}  // namespace
}  // namespace vrntest

// The generic checks catch the faults they exist for: a row that is wrong
// at one length, writes past its end or mishandles misalignment; a write
// into padding or another channel; a masked run that writes a clear pixel.
#include <gtest/gtest.h>

#include "arith/add_rules.h"
#include "support/checks.h"

namespace vrntest {
namespace {

uint8_t addRef(uint8_t a, uint8_t b) { return vrn::AddDef<uint8_t>::apply(a, b); }

TEST(SupportPackedCheck, AcceptsACorrectRowOnEveryTarget) {
  int targets = 0;
  forEachTarget([&](int64_t) {
    ++targets;
    EXPECT_TRUE(packedMatchesScalar<uint8_t>(vrn::PackedAdd<uint8_t>::get(), addRef));
    EXPECT_TRUE(packedMatchesScalar<float>(vrn::PackedAdd<float>::get(),
                                           [](float a, float b) { return vrn::AddDef<float>::apply(a, b); }));
  });
  EXPECT_GE(targets, 1);
}

TEST(SupportPackedCheck, CatchesWrongValuesOverrunsAndMisalignment) {
  auto wrongAt37 = [](const int16_t* a, int16_t* d, size_t n) {
    for (size_t i = 0; i < n; ++i) d[i] = static_cast<int16_t>(n == 37 && i == 36 ? 0 : a[i]);
  };
  auto same = [](int16_t a) { return a; };
  const auto r1 = packedMatchesScalar<int16_t>(wrongAt37, same);
  EXPECT_FALSE(r1);
  EXPECT_NE(std::string(r1.message()).find("length 37"), std::string::npos) << r1.message();

  auto overrun = [](const int16_t* a, int16_t* d, size_t n) {
    for (size_t i = 0; i < n; ++i) d[i] = a[i];
    if (n == 5) d[n] = 0;
  };
  const auto r2 = packedMatchesScalar<int16_t>(overrun, same);
  EXPECT_FALSE(r2);
  EXPECT_NE(std::string(r2.message()).find("outside the row"), std::string::npos) << r2.message();

  auto alignedOnly = [](const int32_t* a, const int32_t* b, int32_t* d, size_t n) {
    const bool aligned = reinterpret_cast<uintptr_t>(d) % 32 == 0;
    for (size_t i = 0; i < n; ++i) d[i] = aligned ? (a[i] & b[i]) : (a[i] & b[i]) ^ (n > 8);
  };
  EXPECT_FALSE(packedMatchesScalar<int32_t>(alignedOnly, [](int32_t a, int32_t b) { return a & b; }));

  // A row that reads its source after writing the destination fails in place.
  auto shifted = [](const uint8_t* a, uint8_t* d, size_t n) {
    for (size_t i = 0; i < n; ++i) d[i] = static_cast<uint8_t>(a[i] + (i ? a[i - 1] : 0));
  };
  auto shiftedRef = [](const uint8_t* a, uint8_t* d, size_t n) {
    for (size_t i = n; i-- > 0;) d[i] = static_cast<uint8_t>(a[i] + (i ? a[i - 1] : 0));
  };
  PackedCheckOptions outOfPlace;
  outOfPlace.inPlace = false;
  EXPECT_TRUE(packedMatchesScalar<uint8_t>(shifted, shiftedRef, outOfPlace));
  EXPECT_FALSE(packedMatchesScalar<uint8_t>(shifted, shiftedRef));
}

TEST(SupportRectCheck, AllowsOnlyTheRectangleOnTheOperatedChannels) {
  TestImage image(ImageSpec(VRN_DEPTH_16U, 10, 6, 4).withAlpha().aligned(32).withRoi(0, 2, 1, 5, 3));
  const Snapshot before = snapshot(image);
  setSample(image, 2, 1, 0, 7);
  setSample(image, 6, 3, 2, 7);
  EXPECT_TRUE(onlyRectChanged(before, image, 5, 3));
  TestImage alpha = image.clone();
  setSample(alpha, 3, 2, 3, sampleAt(alpha, 3, 2, 3) + 1);  // the alpha channel
  EXPECT_FALSE(onlyRectChanged(before, alpha, 5, 3));
  TestImage outside = image.clone();
  setSample(outside, 7, 2, 0, sampleAt(outside, 7, 2, 0) + 1);
  EXPECT_FALSE(onlyRectChanged(before, outside, 5, 3));
  TestImage padding = image.clone();
  padding->imageData[padding->widthStep - 1] ^= 1;
  const auto r = onlyRectChanged(before, padding, 5, 3);
  EXPECT_FALSE(r);
  EXPECT_NE(std::string(r.message()).find("padding"), std::string::npos) << r.message();
}

TEST(SupportRectCheck, WorksOnBitsOfOneBitImages) {
  TestImage image(ImageSpec(VRN_DEPTH_1U, 20, 3).withRoi(0, 3, 0, 4, 2));
  const Snapshot before = snapshot(image);
  setSample(image, 3, 1, 0, 1 - sampleAt(image, 3, 1));
  EXPECT_TRUE(onlyRectChanged(before, image, 4, 2));
  setSample(image, 7, 1, 0, 1 - sampleAt(image, 7, 1));
  EXPECT_FALSE(onlyRectChanged(before, image, 4, 2));
}

TEST(SupportMaskCheck, MaskedRunMustFollowTheBits) {
  MaskSpec m;
  m.width = 12;
  m.height = 4;
  m.hasRoi = true;
  m.roi = VrnROI{0, 3, 1, 8, 3};
  TestImage dst(ImageSpec(VRN_DEPTH_8U, 8, 3, 2).withMask(m));
  const Snapshot before = snapshot(dst);
  const Rect rect{0, 0, 8, 3};
  const MaskBits bits = mergedMaskBits({dst.mask()});
  TestImage unmasked = dst.clone();
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 8; ++x)
      for (int c = 0; c < 2; ++c) setSample(unmasked, x, y, c, sampleAt(unmasked, x, y, c) + 1);
  TestImage masked = dst.clone();
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 8; ++x)
      if (bits(x, y))
        for (int c = 0; c < 2; ++c) setSample(masked, x, y, c, sampleAt(unmasked, x, y, c));
  EXPECT_TRUE(maskedMatchesUnmasked(before, masked, unmasked, rect, {0, 1}, bits));
  // Bit (i, r) of the rectangle is bit (3 + i, 1 + r) of the mask.
  const auto* row = reinterpret_cast<const uint8_t*>(dst.mask()->imageData) + dst.mask()->widthStep;
  EXPECT_EQ(bits(0, 0), ((row[0] >> 4) & 1) != 0);
  // Writing one clear pixel is caught.
  for (int x = 0; x < 8; ++x)
    if (!bits(x, 1)) {
      setSample(masked, x, 1, 0, sampleAt(unmasked, x, 1, 0));
      if (sampleAt(masked, x, 1, 0) != before[static_cast<size_t>(masked->widthStep + 2 * x)]) {
        EXPECT_FALSE(maskedMatchesUnmasked(before, masked, unmasked, rect, {0, 1}, bits));
      }
      break;
    }
}

}  // namespace
}  // namespace vrntest

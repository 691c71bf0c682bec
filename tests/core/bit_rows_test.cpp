// The 1-bit rows against a per-bit reference: every pair of source and
// destination bit offsets, every length 1..40, and every bit around the row
// left as it was.  Buffers are exactly as long as the row needs, so a read or
// write past either end is caught by the address sanitizer.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "core/bit_rows.h"

namespace {

using vrn::BitSpan;

std::vector<uint8_t> randomBytes(std::mt19937& rng, int offset, int n) {
  std::vector<uint8_t> v(static_cast<size_t>((offset + n - 1) / 8 + 1));
  for (auto& b : v) b = static_cast<uint8_t>(rng());
  return v;
}

bool getBit(const std::vector<uint8_t>& v, int b) { return (v[b / 8] >> (7 - b % 8)) & 1; }
void setBit(std::vector<uint8_t>& v, int b, bool on) {
  const uint8_t m = static_cast<uint8_t>(0x80 >> (b % 8));
  v[b / 8] = static_cast<uint8_t>(on ? v[b / 8] | m : v[b / 8] & ~m);
}

TEST(BitRows, OneSourceEveryOffsetPairAndLength) {
  std::mt19937 rng(5);
  auto invert = [](uint8_t a) { return static_cast<uint8_t>(~a); };
  for (int s = 0; s < 8; ++s)
    for (int d = 0; d < 8; ++d)
      for (int n = 1; n <= 40; ++n) {
        const auto src = randomBytes(rng, s, n);
        auto dst = randomBytes(rng, d, n);
        auto want = dst;
        for (int i = 0; i < n; ++i) setBit(want, d + i, !getBit(src, s + i));
        vrn::bitRow(dst.data(), d, n, invert, BitSpan{src.data(), s});
        ASSERT_EQ(dst, want) << "s " << s << " d " << d << " n " << n;
      }
}

TEST(BitRows, TwoSourcesEveryOffsetAndLength) {
  std::mt19937 rng(6);
  // A AND NOT B: the operation subtraction uses.
  auto andNot = [](uint8_t a, uint8_t b) { return static_cast<uint8_t>(a & ~b); };
  for (int a = 0; a < 8; ++a)
    for (int b = 0; b < 8; ++b)
      for (int d = 0; d < 8; ++d)
        for (int n = 1; n <= 40; ++n) {
          const auto ra = randomBytes(rng, a, n), rb = randomBytes(rng, b, n);
          auto dst = randomBytes(rng, d, n);
          auto want = dst;
          for (int i = 0; i < n; ++i) setBit(want, d + i, getBit(ra, a + i) && !getBit(rb, b + i));
          vrn::bitRow(dst.data(), d, n, andNot, BitSpan{ra.data(), a}, BitSpan{rb.data(), b});
          ASSERT_EQ(dst, want) << "a " << a << " b " << b << " d " << d << " n " << n;
        }
}

TEST(BitRows, MaskedFormsTouchOnlyMaskedPixels) {
  std::mt19937 rng(7);
  auto orOp = [](uint8_t a, uint8_t b) { return static_cast<uint8_t>(a | b); };
  for (int s = 0; s < 8; ++s)
    for (int d = 0; d < 8; ++d)
      for (int m = 0; m < 8; m += 3)
        for (int n = 1; n <= 40; ++n) {
          const auto ra = randomBytes(rng, s, n), rb = randomBytes(rng, d, n), mask = randomBytes(rng, m, n);
          auto dst = randomBytes(rng, d, n);
          auto want = dst;
          for (int i = 0; i < n; ++i)
            if (getBit(mask, m + i)) setBit(want, d + i, getBit(ra, s + i) || getBit(rb, d + i));
          vrn::bitRowMasked(dst.data(), d, BitSpan{mask.data(), m}, n, orOp, BitSpan{ra.data(), s},
                            BitSpan{rb.data(), d});
          ASSERT_EQ(dst, want) << "s " << s << " d " << d << " m " << m << " n " << n;
        }
}

TEST(BitRows, SwapHonoursBothOffsetsAndTheMask) {
  std::mt19937 rng(8);
  for (int a = 0; a < 8; ++a)
    for (int b = 0; b < 8; ++b)
      for (int n = 1; n <= 40; ++n)
        for (bool masked : {false, true}) {
          auto ra = randomBytes(rng, a, n), rb = randomBytes(rng, b, n);
          const auto mask = randomBytes(rng, 3, n);
          auto wantA = ra, wantB = rb;
          for (int i = 0; i < n; ++i) {
            if (masked && !getBit(mask, 3 + i)) continue;
            setBit(wantA, a + i, getBit(rb, b + i));
            setBit(wantB, b + i, getBit(ra, a + i));
          }
          vrn::swapBitRows(ra.data(), a, rb.data(), b, n,
                           masked ? BitSpan{mask.data(), 3} : BitSpan{nullptr, 0});
          ASSERT_EQ(ra, wantA);
          ASSERT_EQ(rb, wantB);
        }
}

}  // namespace

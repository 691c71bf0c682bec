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
using Bytes = std::vector<uint8_t>;

Bytes randomBytes(std::mt19937& rng, int offset, int n) {
  Bytes v(static_cast<size_t>((offset + n - 1) / 8 + 1));
  for (auto& b : v) b = static_cast<uint8_t>(rng());
  return v;
}
bool getBit(const Bytes& v, int b) { return (v[b / 8] >> (7 - b % 8)) & 1; }
void setBit(Bytes& v, int b, bool on) { v[b / 8] = static_cast<uint8_t>(on ? v[b / 8] | 0x80 >> b % 8 : v[b / 8] & ~(0x80 >> b % 8)); }

// One source (NOT), two sources (A AND NOT B, as subtraction uses), the
// masked form (A OR B where the mask is set) and the swap, masked or not.
TEST(BitRows, EveryOffsetPairAndLengthAgainstPerBitReference) {
  std::mt19937 rng(5);
  auto invert = [](uint8_t a) { return static_cast<uint8_t>(~a); };
  auto andNot = [](uint8_t a, uint8_t b) { return static_cast<uint8_t>(a & ~b); };
  auto orOp = [](uint8_t a, uint8_t b) { return static_cast<uint8_t>(a | b); };
  for (int a = 0; a < 8; ++a)
    for (int b = 0; b < 8; ++b)
      for (int d = 0; d < 8; ++d)
        for (int n = 1; n <= 40; ++n) {
          SCOPED_TRACE(testing::Message() << "a " << a << " b " << b << " d " << d << " n " << n);
          const int m = (a + b + d) % 8;
          const Bytes ra = randomBytes(rng, a, n), rb = randomBytes(rng, b, n), mask = randomBytes(rng, m, n);
          const Bytes dst = randomBytes(rng, d, n);
          Bytes one = dst, two = dst, masked = dst, wantOne = dst, wantTwo = dst, wantMasked = dst;
          for (int i = 0; i < n; ++i) {
            setBit(wantOne, d + i, !getBit(ra, a + i));
            setBit(wantTwo, d + i, getBit(ra, a + i) && !getBit(rb, b + i));
            if (getBit(mask, m + i)) setBit(wantMasked, d + i, getBit(ra, a + i) || getBit(rb, b + i));
          }
          if (b == 0) {
            vrn::bitRow(one.data(), d, n, invert, BitSpan{ra.data(), a});
            ASSERT_EQ(one, wantOne);
          }
          vrn::bitRow(two.data(), d, n, andNot, BitSpan{ra.data(), a}, BitSpan{rb.data(), b});
          ASSERT_EQ(two, wantTwo);
          vrn::bitRowMasked(masked.data(), d, BitSpan{mask.data(), m}, n, orOp, BitSpan{ra.data(), a}, BitSpan{rb.data(), b});
          ASSERT_EQ(masked, wantMasked);
          if (d > 1) continue;
          Bytes sa = ra, sb = rb, wantA = ra, wantB = rb;
          for (int i = 0; i < n; ++i)
            if (d == 0 || getBit(mask, m + i)) setBit(wantA, a + i, getBit(rb, b + i)), setBit(wantB, b + i, getBit(ra, a + i));
          vrn::swapBitRows(sa.data(), a, sb.data(), b, n, d ? BitSpan{mask.data(), m} : BitSpan{nullptr, 0});
          ASSERT_EQ(sa, wantA);
          ASSERT_EQ(sb, wantB);
        }
}

}  // namespace

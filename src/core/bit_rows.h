// Rows of 1-bit pixels.  A row of n pixels is worked in the destination's
// byte grid: each source is brought to the destination's bit offset through a
// 16-bit window of two neighbouring bytes, bytes between the first and the
// last are stored whole, and the first and last bytes are merged under masks
// so that the destination's bits outside the row stay.  Bits run from the
// most significant to the least within a byte.  The masked forms go pixel by
// pixel and touch only pixels whose mask bit is set.
//
// A byte operation combines the grid bytes of the sources into the
// destination's byte: op(a) or op(a, b) (or op() for a fill).  The same rows
// serve logic, subtraction (A AND NOT B), copy and fills.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vrn {

// A row of bits: its first byte and the bit offset (0..7) of its first pixel.
struct BitSpan {
  const uint8_t* row;
  int offset;
};

// The mask of the first byte (offset d) and of the last byte of a row of n
// pixels; a row within one byte uses both.
inline uint8_t firstByteMask(int d) { return static_cast<uint8_t>(0xFF >> d); }
inline uint8_t lastByteMask(int d, int n) {
  return static_cast<uint8_t>((0xFF << (7 - ((d + n - 1) & 7))) & 0xFF);
}

// dst = (dst AND NOT mask) OR (value AND mask).
inline uint8_t mergeByte(uint8_t dst, uint8_t value, uint8_t mask) {
  return static_cast<uint8_t>((dst & ~mask) | (value & mask));
}

inline bool bitAt(const uint8_t* row, int offset, int i) {
  const int b = offset + i;
  return (row[b >> 3] >> (7 - (b & 7))) & 1;
}

inline void putBit(uint8_t* row, int offset, int i, bool bit) {
  const int b = offset + i;
  const uint8_t m = static_cast<uint8_t>(0x80 >> (b & 7));
  row[b >> 3] = static_cast<uint8_t>(bit ? (row[b >> 3] | m) : (row[b >> 3] & ~m));
}

namespace detail {

// Byte k of the destination's grid (destination offset d) read from a source:
// the source bits of pixels 8k - d .. 8k - d + 7.  When `bounded`, bytes
// outside the source's row (before its first or after its last pixel's byte)
// are read as 0; those bits fall outside the row and are masked away.
inline uint8_t gridByte(const BitSpan& s, int d, int n, int k, bool bounded) {
  const int delta = s.offset - d;
  const uint8_t* r = s.row;
  if (delta == 0) return r[k];
  if (delta > 0) {
    const int last = (s.offset + n - 1) >> 3;
    const unsigned lo = (!bounded || k + 1 <= last) ? r[k + 1] : 0u;
    const unsigned window = (static_cast<unsigned>(r[k]) << 8) | lo;
    return static_cast<uint8_t>((window << delta) >> 8);
  }
  const int last = (s.offset + n - 1) >> 3;
  const unsigned hi = (!bounded || k >= 1) ? r[k - 1] : 0u;
  const unsigned lo = (!bounded || k <= last) ? r[k] : 0u;
  return static_cast<uint8_t>(((hi << 8) | lo) >> (-delta));
}

}  // namespace detail

// d (offset dOff) = op(sources...) over n pixels; bits outside stay.
template <class Op, class... Src>
inline void bitRow(uint8_t* d, int dOff, int n, const Op& op, const Src&... src) {
  if (n <= 0) return;
  const int last = (dOff + n - 1) >> 3;
  const uint8_t first = firstByteMask(dOff), lastMask = lastByteMask(dOff, n);
  if (last == 0) {
    d[0] = mergeByte(d[0], op(detail::gridByte(src, dOff, n, 0, true)...), first & lastMask);
    return;
  }
  d[0] = mergeByte(d[0], op(detail::gridByte(src, dOff, n, 0, true)...), first);
  if (((src.offset == dOff) && ...)) {
    // Every source lies in the destination's grid: plain bytes.
    for (int k = 1; k < last; ++k) d[k] = op(src.row[k]...);
  } else {
    for (int k = 1; k < last; ++k) d[k] = op(detail::gridByte(src, dOff, n, k, false)...);
  }
  d[last] = mergeByte(d[last], op(detail::gridByte(src, dOff, n, last, true)...), lastMask);
}

// The per-pixel masked form: for each pixel whose mask bit is set, the
// sources' bits (as 0x00 or 0xFF) go through op and bit 0 of the result is
// stored.
template <class Op, class... Src>
inline void bitRowMasked(uint8_t* d, int dOff, const BitSpan& mask, int n, const Op& op,
                         const Src&... src) {
  for (int i = 0; i < n; ++i) {
    if (!bitAt(mask.row, mask.offset, i)) continue;
    const uint8_t r = op(static_cast<uint8_t>(bitAt(src.row, src.offset, i) ? 0xFF : 0x00)...);
    putBit(d, dOff, i, r & 1);
  }
}

// Swaps n pixels of two bit rows (offsets of their own), all of them or
// those whose mask bit is set (mask.row null: all).
void swapBitRows(uint8_t* a, int aOff, uint8_t* b, int bOff, int n, const BitSpan& mask);

}  // namespace vrn

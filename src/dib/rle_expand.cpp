// Expansion of BI_RLE8 and BI_RLE4 streams.  One walk of the stream's
// commands moves a position (x, y) over rows of the DIB row size; every fault
// of the stream is reported in the codec's words and nothing is read beyond
// biSizeImage (when it is not 0).  Rows are decoded one at a time into a
// scratch row and handed out in stored order; pixels skipped by a delta, and
// rows the stream jumps over, hold 0.
#include <cstring>

#include "core/memory.h"
#include "core/report.h"
#include "dib/dib_format.h"

namespace vrn {
namespace {

struct RleTexts {
  const char* noMemory;
  const char* width;
  const char* height;
  const char* delta;
  const char* position;
  const char* truncated;
};

constexpr RleTexts kRle8Texts = {
    "Not enough memory to decompress BI_RLE8 DIB at DIB",
    "Incorrect format of BI_RLE8 DIB (mismatch biWidth)",
    "Incorrect format of BI_RLE8 DIB (mismatch biHeight)",
    "Incorrect format of BI_RLE8 DIB (bad Delta command)",
    "Incorrect format of BI_RLE8 DIB (mismatch biHeight or biWidth)",
    "Incorrect format of BI_RLE8 DIB (unexpected end of data)",
};
constexpr RleTexts kRle4Texts = {
    "Not enough memory to decompress BI_RLE4 DIB at DIB",
    "Incorrect format of BI_RLE4 DIB (mismatch biWidth)",
    "Incorrect format of BI_RLE4 DIB (mismatch biHeight)",
    "Incorrect format of BI_RLE4 DIB (bad Delta command)",
    "Incorrect format of BI_RLE4 DIB (mismatch biHeight or biWidth)",
    "Incorrect format of BI_RLE4 DIB (unexpected end of data)",
};

const RleTexts& textsOf(const BITMAPINFOHEADER* h) {
  return h->biCompression == BI_RLE4 ? kRle4Texts : kRle8Texts;
}

// The decoder writes into a row with kRleSlack bytes of room behind it:
// runs are stored 16 bytes at a time and at least 64 bytes, so one command
// costs a few stores and no branch on its length below 64.  Bytes behind the
// command's end are left undefined; the row cursor clears what a later
// command or the row's end leaves unwritten.
inline void fillRun(uint8_t* p, unsigned n, uint8_t v) {
  const uint64_t w = v * 0x0101010101010101ull;
  const uint64_t w2[2] = {w, w};
  std::memcpy(p, w2, 16);
  std::memcpy(p + 16, w2, 16);
  std::memcpy(p + 32, w2, 16);
  std::memcpy(p + 48, w2, 16);
  for (unsigned i = 64; i < n; i += 16) std::memcpy(p + i, w2, 16);
}

// n bytes (n at most 255) from src.  With `spare` (at least 256 bytes of the
// stream left at src) whole 16-byte blocks are read; otherwise no byte beyond
// src + n is.
inline void copyRun(uint8_t* p, const uint8_t* src, unsigned n, bool spare) {
  uint8_t w[16];
  if (spare) {
    for (unsigned i = 0; i < n; i += 16) {
      std::memcpy(w, src + i, 16);
      std::memcpy(p + i, w, 16);
    }
    return;
  }
  if (n < 16) {
    for (unsigned i = 0; i < n; ++i) p[i] = src[i];
    return;
  }
  for (unsigned i = 0; i + 16 <= n; i += 16) {
    std::memcpy(w, src + i, 16);
    std::memcpy(p + i, w, 16);
  }
  std::memcpy(w, src + n - 16, 16);
  std::memcpy(p + n - 16, w, 16);
}

// Clears units [from, to) of a row: bytes, or nibbles (even ones are high
// halves) in a 4-bit row.
template <bool kNibbles>
void clearUnits(uint8_t* row, int64_t from, int64_t to) {
  if (from >= to) return;
  if constexpr (kNibbles) {
    if (from & 1) row[from++ >> 1] &= 0xF0;
    if (from < to && (to & 1)) row[to >> 1] &= 0x0F;
    if ((to >> 1) > (from >> 1)) std::memset(row + (from >> 1), 0, static_cast<size_t>((to >> 1) - (from >> 1)));
  } else {
    std::memset(row + from, 0, static_cast<size_t>(to - from));
  }
}

// The row being decoded, in units of pixels (bytes at 8 bits, nibbles at 4).
// Units [0, valid) of the open row hold pixels; the rest is undefined until a
// write reaches it or the cursor clears it.  Rows are handed to the target
// in stored order once complete: those the stream jumps over or never
// reaches come out clear, as do the units a delta skips.
template <bool kNibbles>
class RowCursor {
 public:
  RowCursor(const RleRowTarget& target, uint8_t* row, int64_t height, int64_t rowBytes)
      : t_(target), row_(row), height_(height), units_(kNibbles ? 2 * rowBytes : rowBytes) {}

  // The row for a write at (x, y), units up to x made valid; null for a row
  // at or beyond the height (whose writes are dropped).
  uint8_t* at(int64_t y, int64_t x) {
    if (y != openY_) {
      if (y >= height_) return nullptr;
      advanceTo(y);
    }
    if (x > valid_) clearUnits<kNibbles>(row_, valid_, x);
    return row_;
  }
  // The last write ended at unit `end`.
  void wrote(int64_t end) { valid_ = end; }
  // Hands out the open row and the rows not reached.
  void finish() { advanceTo(height_); }

 private:
  void advanceTo(int64_t y) {
    while (openY_ < y) {
      if (openY_ >= 0) {
        if (valid_ < units_) clearUnits<kNibbles>(row_, valid_, units_);
        t_.take(t_.self, openY_, row_);
      }
      ++openY_;
      valid_ = 0;
    }
  }

  const RleRowTarget& t_;
  uint8_t* row_;
  int64_t height_, units_;
  int64_t openY_ = -1;
  int64_t valid_ = 0;
};

// The walk over the commands.  With kWrite false it only checks the stream.
// Returns the text of the first fault, or null at a valid end of bitmap.
// BI_RLE4 writes nibbles: at an even x whole bytes, so an odd count also sets
// the low half of its last byte (which the next pixel then overwrites); at an
// odd x each nibble is merged on its own, so a run of one changes one nibble
// only.
template <bool kRle4, bool kWrite>
const char* walkRle(const BITMAPINFOHEADER* h, const uint8_t* stream, RowCursor<kRle4>* rows) {
  const RleTexts& t = kRle4 ? kRle4Texts : kRle8Texts;
  const int64_t width = h->biWidth;
  const int64_t height = h->biHeight;
  const size_t limit = h->biSizeImage ? h->biSizeImage : SIZE_MAX;
  const bool bounded = h->biSizeImage != 0;
  size_t pos = 0;
  auto available = [&]() -> size_t { return pos >= limit ? 0 : limit - pos; };
  // n pixels of `src` (one byte repeated for a run) written at (x, y).  A
  // run is written before x is tested, so one that overshoots the row fails
  // at the next command; the row's slack takes the part beyond it.
  auto put = [&](int64_t x, int64_t y, const uint8_t* src, unsigned n, bool repeat) {
    uint8_t* row = rows->at(y, x);
    if (!row) return;
    if constexpr (kRle4) {
      if ((x & 1) == 0) {
        const unsigned bytes = (n + 1) / 2;
        if (repeat)
          fillRun(row + (x >> 1), bytes, src[0]);
        else
          copyRun(row + (x >> 1), src, bytes, bounded && available() >= 256);
        rows->wrote(x + 2 * bytes);
        return;
      }
      if (repeat) {
        // The high half of v into the low half of the byte, then whole
        // bytes of v with its halves exchanged from the even x + 1 on.
        const uint8_t v = src[0];
        row[x >> 1] = static_cast<uint8_t>((row[x >> 1] & 0xF0) | (v >> 4));
        if (n > 1) fillRun(row + ((x + 1) >> 1), n / 2, static_cast<uint8_t>((v << 4) | (v >> 4)));
        rows->wrote(x + n);
        return;
      }
      for (unsigned i = 0; i < n; ++i) {
        const uint8_t b = src[i >> 1];
        const unsigned v = (i & 1) ? (b & 15u) : (b >> 4u);
        uint8_t& d = row[(x + i) >> 1];
        d = ((x + i) & 1) ? static_cast<uint8_t>((d & 0xF0) | v) : static_cast<uint8_t>((d & 0x0F) | (v << 4));
      }
    } else {
      if (repeat)
        fillRun(row + x, n, src[0]);
      else
        copyRun(row + x, src, n, bounded && available() >= 256);
    }
    rows->wrote(x + n);
  };
  int64_t x = 0, y = 0;
  for (;;) {
    if (y > height || x > width) return t.position;
    if (available() < 2) return t.truncated;
    const uint8_t count = stream[pos], value = stream[pos + 1];
    pos += 2;
    if (count > 0) {
      if constexpr (kWrite) put(x, y, &value, count, true);
      x += count;
      continue;
    }
    switch (value) {
      case 0:  // end of line
        if (x != width) return t.width;
        ++y;
        x = 0;
        break;
      case 1:  // end of bitmap
        if (y != height && y != height - 1) return t.height;
        return nullptr;
      case 2:  // delta
        if (available() < 2) return t.truncated;
        x += stream[pos];
        y += stream[pos + 1];
        pos += 2;
        if (x > width || y > height) return t.delta;
        break;
      default: {  // absolute: `value` pixels, padded to a 16-bit boundary
        const size_t bytes = kRle4 ? (value + 1u) / 2 : value;
        if (available() < bytes) return t.truncated;
        if constexpr (kWrite) put(x, y, stream + pos, value, false);
        x += value;
        pos += bytes;
        pos += pos & 1;
        break;
      }
    }
  }
}

// Decodes into rows handed to target, through the scratch row `row` of
// rleScratchBytes; the text of the first fault, or null.
template <bool kRle4>
const char* decode(const BITMAPINFOHEADER* h, const uint8_t* stream, uint8_t* row, const RleRowTarget& target) {
  const int64_t rowBytes = rleRowBytes(h);
  RowCursor<kRle4> rows(target, row, rowBytes > 0 && h->biHeight > 0 ? h->biHeight : 0, rowBytes);
  if (const char* fault = walkRle<kRle4, true>(h, stream, &rows)) return fault;
  rows.finish();
  return nullptr;
}

const char* decodeAny(const BITMAPINFOHEADER* h, const uint8_t* stream, uint8_t* row, const RleRowTarget& target) {
  return h->biCompression == BI_RLE4 ? decode<true>(h, stream, row, target) : decode<false>(h, stream, row, target);
}

// The rows of a whole expanded bitmap.
struct WholeBitmap {
  uint8_t* data;
  int64_t rowBytes;
  static void take(void* self, int64_t y, const uint8_t* row) {
    const WholeBitmap* b = static_cast<const WholeBitmap*>(self);
    std::memcpy(b->data + y * b->rowBytes, row, static_cast<size_t>(b->rowBytes));
  }
};

}  // namespace

int64_t rleRowBytes(const BITMAPINFOHEADER* h) {
  const int64_t width = h->biWidth;
  if (width <= 0) return 0;
  return h->biCompression == BI_RLE4 ? ((width / 2) + (width & 1) + 3) & ~int64_t{3} : (width + 3) & ~int64_t{3};
}

int64_t rleScratchBytes(const BITMAPINFOHEADER* h) { return rleRowBytes(h) + kRleSlack; }

bool checkRle(const BITMAPINFOHEADER* h, const uint8_t* stream, const char* func) {
  const char* fault = h->biCompression == BI_RLE4 ? walkRle<true, false>(h, stream, nullptr)
                                                  : walkRle<false, false>(h, stream, nullptr);
  if (fault) {
    VRN_REPORT(VRN_StsBadArg, func, fault);
    return false;
  }
  return true;
}

void decodeRle(const BITMAPINFOHEADER* h, const uint8_t* stream, uint8_t* scratch, const RleRowTarget& target) {
  decodeAny(h, stream, scratch, target);  // a stream checkRle accepted has no fault
}

void reportRleNoMemory(const BITMAPINFOHEADER* h, const char* func) {
  VRN_REPORT(VRN_StsNoMem, func, textsOf(h).noMemory);
}

uint8_t* expandRle(const BITMAPINFOHEADER* h, const uint8_t* stream, const char* func) {
  const int64_t rowBytes = rleRowBytes(h);
  const int64_t total = rowBytes * (h->biHeight > 0 ? h->biHeight : 0);
  Buffer<uint8_t> out, row;
  if (!out.allocate(static_cast<size_t>(total > 0 ? total : 1)) ||
      !row.allocate(static_cast<size_t>(rleScratchBytes(h)))) {
    reportRleNoMemory(h, func);
    return nullptr;
  }
  WholeBitmap bitmap{out.get(), rowBytes};
  if (const char* fault = decodeAny(h, stream, row.get(), RleRowTarget{&bitmap, WholeBitmap::take})) {
    VRN_REPORT(VRN_StsBadArg, func, fault);
    return nullptr;
  }
  return out.release();
}

}  // namespace vrn

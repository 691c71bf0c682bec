// Expansion of BI_RLE8 and BI_RLE4 streams into uncompressed rows.  The
// stream's commands move a position (x, y) over rows of the DIB row size;
// every fault of the stream is reported in the codec's words and nothing is
// written outside the rows or read beyond biSizeImage (when it is not 0).
// Pixels skipped by a delta hold 0 (the buffer is cleared first).
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

// The output rows, addressed linearly as the stream's pointer would be; a
// write past the last row is dropped (a run may overshoot a row, which the
// next command then reports).
class RleRows {
 public:
  RleRows(uint8_t* data, int64_t size) : data_(data), size_(size) {}

  // n bytes of value v from byte offset at.
  void fill(int64_t at, int n, uint8_t v) {
    if (at >= size_) return;
    const int64_t m = n < size_ - at ? n : size_ - at;
    uint8_t* p = data_ + at;
    if (m >= 8) {
      // Runs are short: eight bytes a store, the last store overlapping.
      const uint64_t pattern = v * 0x0101010101010101ull;
      for (int64_t i = 0; i + 8 <= m; i += 8) std::memcpy(p + i, &pattern, 8);
      std::memcpy(p + m - 8, &pattern, 8);
    } else {
      for (int64_t i = 0; i < m; ++i) p[i] = v;
    }
  }
  void copy(int64_t at, const uint8_t* src, int n) {
    if (at >= size_) return;
    const int64_t m = n < size_ - at ? n : size_ - at;
    uint8_t* p = data_ + at;
    if (m >= 8) {
      uint64_t w;
      for (int64_t i = 0; i + 8 <= m; i += 8) {
        std::memcpy(&w, src + i, 8);
        std::memcpy(p + i, &w, 8);
      }
      std::memcpy(&w, src + m - 8, 8);
      std::memcpy(p + m - 8, &w, 8);
    } else {
      for (int64_t i = 0; i < m; ++i) p[i] = src[i];
    }
  }
  // Nibble at nibble offset at: even offsets are high halves.
  void putNibble(int64_t at, unsigned v) {
    const int64_t byte = at >> 1;
    if (byte >= size_) return;
    uint8_t& b = data_[byte];
    b = (at & 1) ? static_cast<uint8_t>((b & 0xF0) | (v & 15))
                 : static_cast<uint8_t>((b & 0x0F) | (v << 4));
  }

 private:
  uint8_t* data_;
  int64_t size_;
};

// n nibbles taken alternately from the high and low halves of the bytes of
// src (a run repeats one byte), written from nibble offset at.  At an even
// offset whole bytes are written, so an odd count also sets the low half of
// its last byte (which the next pixel then overwrites); at an odd offset each
// nibble is merged on its own, so a run of one changes one nibble only.
void putNibbles(RleRows& rows, int64_t at, const uint8_t* src, bool repeat, int n) {
  if ((at & 1) == 0) {
    const int bytes = (n + 1) / 2;
    if (repeat)
      rows.fill(at >> 1, bytes, src[0]);
    else
      rows.copy(at >> 1, src, bytes);
    return;
  }
  for (int i = 0; i < n; ++i) {
    const uint8_t b = repeat ? src[0] : src[i >> 1];
    rows.putNibble(at + i, (i & 1) ? (b & 15u) : (b >> 4));
  }
}

}  // namespace

uint8_t* expandRle(const BITMAPINFOHEADER* h, const uint8_t* stream, const char* func) {
  const bool rle4 = h->biCompression == BI_RLE4;
  const RleTexts& t = rle4 ? kRle4Texts : kRle8Texts;
  const int64_t width = h->biWidth;
  const int64_t height = h->biHeight;
  int64_t rowBytes = 0;
  if (width > 0) rowBytes = rle4 ? ((width / 2) + (width & 1) + 3) & ~int64_t{3} : (width + 3) & ~int64_t{3};
  const int64_t total = rowBytes * (height > 0 ? height : 0);
  Buffer<uint8_t> out;
  if (!out.allocate(static_cast<size_t>(total > 0 ? total : 1))) {
    VRN_REPORT(VRN_StsNoMem, func, t.noMemory);
    return nullptr;
  }
  std::memset(out.get(), 0, static_cast<size_t>(total > 0 ? total : 1));
  RleRows rows(out.get(), total);

  const size_t limit = h->biSizeImage ? h->biSizeImage : SIZE_MAX;
  size_t pos = 0;
  auto available = [&]() -> size_t { return pos >= limit ? 0 : limit - pos; };
  int64_t x = 0, y = 0;
  for (;;) {
    if (y > height || x > width) {
      VRN_REPORT(VRN_StsBadArg, func, t.position);
      return nullptr;
    }
    if (available() < 2) {
      VRN_REPORT(VRN_StsBadArg, func, t.truncated);
      return nullptr;
    }
    const uint8_t count = stream[pos], value = stream[pos + 1];
    pos += 2;
    if (count > 0) {
      if (rle4)
        putNibbles(rows, y * rowBytes * 2 + x, &value, true, count);
      else
        rows.fill(y * rowBytes + x, count, value);
      x += count;
      continue;
    }
    switch (value) {
      case 0:  // end of line
        if (x != width) {
          VRN_REPORT(VRN_StsBadArg, func, t.width);
          return nullptr;
        }
        ++y;
        x = 0;
        break;
      case 1:  // end of bitmap
        if (y != height && y != height - 1) {
          VRN_REPORT(VRN_StsBadArg, func, t.height);
          return nullptr;
        }
        return out.release();
      case 2:  // delta
        if (available() < 2) {
          VRN_REPORT(VRN_StsBadArg, func, t.truncated);
          return nullptr;
        }
        x += stream[pos];
        y += stream[pos + 1];
        pos += 2;
        if (x > width || y > height) {
          VRN_REPORT(VRN_StsBadArg, func, t.delta);
          return nullptr;
        }
        break;
      default: {  // absolute: `value` pixels, padded to a 16-bit boundary
        const size_t bytes = rle4 ? (value + 1u) / 2 : value;
        if (available() < bytes) {
          VRN_REPORT(VRN_StsBadArg, func, t.truncated);
          return nullptr;
        }
        if (rle4)
          putNibbles(rows, y * rowBytes * 2 + x, stream + pos, false, value);
        else
          rows.copy(y * rowBytes + x, stream + pos, value);
        x += value;
        pos += bytes;
        pos += pos & 1;
        break;
      }
    }
  }
}

}  // namespace vrn

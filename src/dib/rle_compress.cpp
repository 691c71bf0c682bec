// Compression of uncompressed 8- and 4-bit rows into BI_RLE8 or BI_RLE4, in
// place.  One forward pass per row with a look-ahead of four pixels (five
// nibbles) picks runs, single pixels and absolute commands; the stream is
// built in a scratch buffer and replaces the rows only when it is smaller,
// otherwise the DIB stays uncompressed with biCompression BI_RGB.
#include <cstring>

#include "core/memory.h"
#include "core/report.h"
#include "dib/dib_format.h"

namespace vrn {
namespace {

class Stream {
 public:
  explicit Stream(uint8_t* data) : data_(data) {}
  void put(uint8_t b) { data_[size_++] = b; }
  void put2(uint8_t a, uint8_t b) {
    data_[size_++] = a;
    data_[size_++] = b;
  }
  int64_t size() const { return size_; }
  uint8_t& at(int64_t i) { return data_[i]; }

 private:
  uint8_t* data_;
  int64_t size_ = 0;
};

void compressRow8(const uint8_t* p, int64_t w, Stream& out) {
  int64_t x = 0;
  while (x < w - 3) {
    const uint8_t a = p[x], b = p[x + 1], c = p[x + 2], d = p[x + 3];
    if (a == b) {
      int count = 2;
      while (x + count < w && p[x + count] == p[x + count - 1] && count < 255) ++count;
      out.put2(static_cast<uint8_t>(count), a);
      x += count;
    } else if (b == c) {
      out.put2(1, a);
      x += 1;
    } else if (c == d) {
      out.put2(1, a);
      out.put2(1, b);
      x += 2;
    } else {
      out.put(0);
      const int64_t place = out.size();
      out.put(0);
      out.put(a);
      out.put(b);
      out.put(c);
      int n = 3;
      x += 3;
      while (x < w && n < 255) {
        if (x + 2 < w && p[x] == p[x + 1] && p[x] == p[x + 2]) break;
        out.put(p[x]);
        ++x;
        ++n;
      }
      out.at(place) = static_cast<uint8_t>(n);
      if (n & 1) out.put(0);
    }
  }
  for (; x < w; ++x) out.put2(1, p[x]);
  out.put2(0, 0);
}

inline unsigned nibble(const uint8_t* p, int64_t x) { return (x & 1) ? p[x >> 1] & 15u : p[x >> 1] >> 4; }

inline uint8_t pack(unsigned hi, unsigned lo) { return static_cast<uint8_t>((hi << 4) | lo); }

void compressRow4(const uint8_t* p, int64_t w, Stream& out) {
  int64_t x = 0;
  while (x < w - 5) {
    const unsigned a = nibble(p, x), b = nibble(p, x + 1), c = nibble(p, x + 2), d = nibble(p, x + 3),
                   e = nibble(p, x + 4);
    if (b == d && a == c) {
      int count = 4;
      while (count + 2 <= 255 && x + count + 1 < w && nibble(p, x + count) == a &&
             nibble(p, x + count + 1) == b)
        count += 2;
      if (count < 255 && x + count < w && nibble(p, x + count) == a) ++count;
      out.put2(static_cast<uint8_t>(count), pack(a, b));
      x += count;
    } else if (b == d) {
      if (c == e) {
        out.put2(1, pack(a, 0));
        x += 1;
      } else {
        out.put2(2, pack(a, b));
        out.put2(1, pack(c, 0));
        x += 3;
      }
    } else if (c == e) {
      out.put2(2, pack(a, b));
      x += 2;
    } else {
      // Absolute: nibbles packed two a byte; stops where a repeating pair
      // begins, and takes a last lone nibble at the row's end.
      out.put(0);
      const int64_t place = out.size();
      out.put(0);
      const int64_t first = out.size();
      out.put(pack(a, b));
      out.put(pack(c, 0));
      int n = 3;
      x += 3;
      bool repeat = false;
      auto add = [&](unsigned v) {
        if (n & 1)
          out.at(out.size() - 1) |= static_cast<uint8_t>(v);
        else
          out.put(pack(v, 0));
        ++n;
        ++x;
      };
      while (x < w && n < 255) {
        if (x + 3 < w && nibble(p, x) == nibble(p, x + 2) && nibble(p, x + 1) == nibble(p, x + 3)) {
          repeat = true;
          break;
        }
        if (x + 1 >= w || n + 2 > 255) break;
        add(nibble(p, x));
        add(nibble(p, x));
      }
      if (!repeat && x < w && n < 255) add(nibble(p, x));
      out.at(place) = static_cast<uint8_t>(n);
      if ((out.size() - first) & 1) out.put(0);
    }
  }
  for (; x + 1 < w; x += 2) out.put2(2, pack(nibble(p, x), nibble(p, x + 1)));
  if (x < w) out.put2(1, pack(nibble(p, x), 0));
  out.put2(0, 0);
}

}  // namespace

int compressRle(BITMAPINFOHEADER* h, uint8_t* pixels, const char* func) {
  const bool rle4 = h->biCompression == BI_RLE4;
  const int64_t width = h->biWidth > 0 ? h->biWidth : 0;
  const int64_t height = h->biHeight > 0 ? h->biHeight : 0;
  const int64_t rowBytes = dibRowBytes(h->biWidth, rle4 ? 4 : 8);
  const int64_t plain = rowBytes * height;
  // Worst case: two bytes a pixel, a few bytes at the end of each row, the
  // end of line and the end of bitmap.
  const int64_t capacity = height * (2 * width + 10) + 2;
  Buffer<uint8_t> scratch;
  if (!scratch.allocate(static_cast<size_t>(capacity))) {
    VRN_REPORT(VRN_StsNoMem, func,
               rle4 ? "Not enough memory to compress DIB at BI_RLE4 DIB"
                    : "Not enough memory to compress DIB at BI_RLE8 DIB");
    return VRN_StsNoMem;
  }
  Stream out(scratch.get());
  for (int64_t y = 0; y < height && out.size() < plain; ++y) {
    const uint8_t* row = pixels + y * rowBytes;
    if (rle4)
      compressRow4(row, width, out);
    else
      compressRow8(row, width, out);
  }
  out.put2(0, 1);
  if (out.size() >= plain) {
    h->biCompression = BI_RGB;
    return VRN_StsOk;
  }
  std::memcpy(pixels, scratch.get(), static_cast<size_t>(out.size()));
  h->biSizeImage = static_cast<uint32_t>(out.size());
  return VRN_StsOk;
}

}  // namespace vrn

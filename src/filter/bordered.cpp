// Bordered readers.  A position outside the image takes the value its side's
// border mode gives (only the low two bits of a stored mode count): the
// constant, the clamped pixel, the reflected pixel (edge repeated) or the
// wrapped pixel, repeating for any distance.  Rows above and below the image
// are built wholly by the top or bottom mode, in both axes; the left and right
// modes apply only to rows inside the image.  A line is cut into runs
// (constant fill, one pixel repeated, forward copy, backward copy) by one
// emitter, and each reader turns runs into bytes or bits; so the in-image part
// of a row is one memcpy.  Tiled images are first gathered tile by tile into
// a plain block that covers every pixel the request reads.
#include "filter/bordered.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "core/image.h"
#include "core/memory.h"
#include "core/traits.h"

namespace vrn {
namespace {

constexpr int kSpareBytes = 16;
constexpr int kSideTop = 0, kSideBottom = 1, kSideLeft = 2, kSideRight = 3;

int64_t floorMod(int64_t i, int64_t n) {
  const int64_t m = i % n;
  return m < 0 ? m + n : m;
}

// The in-line position that position i of a line of n pixels reads (mode 1..3).
int64_t mapPosition(int64_t i, int64_t n, int mode) {
  switch (mode) {
    case VRN_BORDER_REPLICATE: return std::clamp<int64_t>(i, 0, n - 1);
    case VRN_BORDER_REFLECT: {
      const int64_t m = floorMod(i, 2 * n);
      return m < n ? m : 2 * n - 1 - m;
    }
    default: return floorMod(i, n);
  }
}

// How one end of a line is continued.
struct LineEnd {
  int mode;  // 0..3
  int side;  // which side's constant a constant fill takes
};

// Emits the runs of positions [a, b) that lie all on one side of a line of n
// pixels (or, for reflect and wrap, anywhere: inside they read themselves).
// dst counts output positions from `base`.
template <class Sink>
void emitPart(int64_t a, int64_t b, int64_t n, LineEnd end, int64_t base, Sink& sink) {
  if (a >= b) return;
  switch (end.mode) {
    case VRN_BORDER_CONSTANT: sink.fill(a - base, b - a, end.side); return;
    case VRN_BORDER_REPLICATE: sink.repeat(a - base, b - a, std::clamp<int64_t>(a, 0, n - 1)); return;
    case VRN_BORDER_REFLECT:
      for (int64_t i = a; i < b;) {
        const int64_t m = floorMod(i, 2 * n);
        if (m < n) {
          const int64_t len = std::min(n - m, b - i);
          sink.copy(i - base, len, m);
          i += len;
        } else {
          const int64_t len = std::min(2 * n - m, b - i);
          sink.copyBack(i - base, len, 2 * n - 1 - m);
          i += len;
        }
      }
      return;
    default:
      for (int64_t i = a; i < b;) {
        const int64_t m = floorMod(i, n);
        const int64_t len = std::min(n - m, b - i);
        sink.copy(i - base, len, m);
        i += len;
      }
      return;
  }
}

// Emits the count positions of a line from x on: left of the line by `left`,
// the line itself copied, right of it by `right`.
template <class Sink>
void emitLine(int64_t x, int64_t count, int64_t n, LineEnd left, LineEnd right, Sink& sink) {
  const int64_t end = x + count;
  emitPart(x, std::min<int64_t>(end, 0), n, left, x, sink);
  const int64_t in0 = std::max<int64_t>(x, 0), in1 = std::min(end, n);
  if (in0 < in1) sink.copy(in0 - x, in1 - in0, in0);
  emitPart(std::max(x, n), end, n, right, x, sink);
}

// Extends [lo, hi) by the source positions a line reads.
struct CoverSink {
  int64_t lo = INT64_MAX, hi = INT64_MIN;
  void add(int64_t a, int64_t b) {
    lo = std::min(lo, a);
    hi = std::max(hi, b);
  }
  void fill(int64_t, int64_t, int) {}
  void repeat(int64_t, int64_t, int64_t s) { add(s, s + 1); }
  void copy(int64_t, int64_t len, int64_t s) { add(s, s + len); }
  void copyBack(int64_t, int64_t len, int64_t s) { add(s - len + 1, s + 1); }
  bool empty() const { return lo >= hi; }
};

// How a row at position y is made: a constant row of a side, or stored row
// `source` continued by the two line ends.
struct RowPlan {
  bool constant;
  int side;
  int64_t source;
  LineEnd left, right;
};

inline RowPlan planRow(const VrnImage* image, int64_t y) {
  const int64_t height = image->height;
  auto band = [&](int side) {
    const int mode = image->borderMode[side] & 3;
    if (mode == VRN_BORDER_CONSTANT) return RowPlan{true, side, 0, {}, {}};
    return RowPlan{false, side, mapPosition(y, height, mode), {mode, side}, {mode, side}};
  };
  if (y < 0) return band(kSideTop);
  if (y >= height) return band(kSideBottom);
  return RowPlan{false, -1, y, {image->borderMode[kSideLeft] & 3, kSideLeft},
                 {image->borderMode[kSideRight] & 3, kSideRight}};
}

// Where the source pixels are: the image's own buffer, or a gathered block of
// it whose first pixel is image position (originX, originY).
struct SourceView {
  const char* base = nullptr;
  int64_t step = 0, planeStride = 0;
  int64_t originX = 0, originY = 0;
  const char* row(int64_t y, int plane) const {
    return base + plane * planeStride + (y - originY) * step;
  }
};

struct Layout {
  int bits;       // bits per sample
  int channels;   // channels per pixel
  bool plane;     // plane order
  int64_t unit;   // bytes of one pixel of one plane (0 at depth 1)
  int planes() const { return plane ? channels : 1; }
};

bool describe(const VrnImage* image, Layout* layout) {
  if (!image || (image->dataOrder != 0 && image->dataOrder != 1)) return false;
  if (depthIndex(image->depth) == kDepthBad) return false;
  if (image->align != 4 && image->align != 8 && image->align != 16 && image->align != 32) return false;
  if (image->width < 1 || image->height < 1 || image->nChannels < 1) return false;
  if (image->depth == VRN_DEPTH_1U && image->nChannels != 1) return false;
  if (!image->tileInfo && !image->imageData) return false;
  layout->bits = depthBits(image->depth);
  layout->channels = image->nChannels;
  layout->plane = image->dataOrder == VRN_DATA_ORDER_PLANE;
  layout->unit = layout->bits == 1 ? 0 : int64_t{layout->bits / 8} * (layout->plane ? 1 : layout->channels);
  return true;
}

// A side's constant as one sample of the image's depth, in `bytes`.
void constantSample(const VrnImage* image, int side, unsigned char* bytes) {
  const int c = image->borderConst[side];
  switch (image->depth) {
    case VRN_DEPTH_8U:
    case VRN_DEPTH_8S: bytes[0] = static_cast<unsigned char>(c); break;
    case VRN_DEPTH_16U:
    case VRN_DEPTH_16S: {
      const uint16_t v = static_cast<uint16_t>(c);
      std::memcpy(bytes, &v, 2);
      break;
    }
    case VRN_DEPTH_32F: {
      const float v = static_cast<float>(c);
      std::memcpy(bytes, &v, 4);
      break;
    }
    case VRN_DEPTH_1U: bytes[0] = static_cast<unsigned char>(c & 1); break;
    default: std::memcpy(bytes, &c, 4); break;
  }
}

// Fills n units of `unit` bytes with the pattern in the first unit of dst.
void replicateUnit(char* dst, int64_t unit, int64_t n) {
  if (n <= 1) return;
  switch (unit) {
    case 1: std::memset(dst + 1, dst[0], static_cast<size_t>(n - 1)); return;
    default: break;
  }
  int64_t done = 1;
  while (done < n) {  // doubling copies
    const int64_t chunk = std::min(done, n - done);
    std::memcpy(dst + done * unit, dst, static_cast<size_t>(chunk * unit));
    done += chunk;
  }
}

// Bytes of samples: each output position is `unit` bytes (a whole pixel, or
// one sample of one channel), read at `srcStride` bytes per source pixel.
struct ByteSink {
  char* dst;
  const char* src;  // the source pixel at position originX
  int64_t originX;
  int64_t unit, srcStride;
  const unsigned char (*constants)[64];

  const char* at(int64_t s) const { return src + (s - originX) * srcStride; }
  // One unit repeated len times; short runs (the usual few border pixels)
  // byte by byte, long ones by doubling copies.
  void spread(char* q, const char* p, int64_t len) {
    if (len * unit <= 64) {
      for (int64_t k = 0; k < len; ++k, q += unit)
        for (int64_t b = 0; b < unit; ++b) q[b] = p[b];
      return;
    }
    std::memcpy(q, p, static_cast<size_t>(unit));
    replicateUnit(q, unit, len);
  }
  void fill(int64_t d, int64_t len, int side) {
    spread(dst + d * unit, reinterpret_cast<const char*>(constants[side]), len);
  }
  void repeat(int64_t d, int64_t len, int64_t s) { spread(dst + d * unit, at(s), len); }
  void copy(int64_t d, int64_t len, int64_t s) {
    if (srcStride == unit) {
      std::memcpy(dst + d * unit, at(s), static_cast<size_t>(len * unit));
      return;
    }
    const char* p = at(s);
    char* q = dst + d * unit;
    for (int64_t k = 0; k < len; ++k, p += srcStride, q += unit) std::memcpy(q, p, static_cast<size_t>(unit));
  }
  void copyBack(int64_t d, int64_t len, int64_t s) {
    const char* p = at(s);
    char* q = dst + d * unit;
    for (int64_t k = 0; k < len; ++k, p -= srcStride, q += unit) std::memcpy(q, p, static_cast<size_t>(unit));
  }
};

// Bits, most significant first; the destination is zeroed and bits are only set.
inline bool getBit(const unsigned char* p, int64_t i) { return (p[i >> 3] >> (7 - (i & 7))) & 1; }
inline void setBit(unsigned char* p, int64_t i) { p[i >> 3] |= static_cast<unsigned char>(0x80u >> (i & 7)); }

void setBitRange(unsigned char* p, int64_t i, int64_t n) {
  for (; n > 0 && (i & 7); ++i, --n) setBit(p, i);
  std::memset(p + (i >> 3), 0xFF, static_cast<size_t>(n >> 3));
  i += n & ~int64_t{7};
  for (n &= 7; n > 0; ++i, --n) setBit(p, i);
}

void orBits(const unsigned char* src, int64_t s, unsigned char* dst, int64_t d, int64_t n) {
  for (; n > 0 && (d & 7); ++s, ++d, --n)
    if (getBit(src, s)) setBit(dst, d);
  const int shift = static_cast<int>(s & 7);
  const unsigned char* p = src + (s >> 3);
  unsigned char* q = dst + (d >> 3);
  const int64_t bytes = n >> 3;
  if (shift == 0) {
    for (int64_t k = 0; k < bytes; ++k) q[k] |= p[k];
  } else {
    for (int64_t k = 0; k < bytes; ++k)
      q[k] |= static_cast<unsigned char>((p[k] << shift) | (p[k + 1] >> (8 - shift)));
  }
  s += bytes * 8;
  d += bytes * 8;
  for (n &= 7; n > 0; ++s, ++d, --n)
    if (getBit(src, s)) setBit(dst, d);
}

struct BitSink {
  unsigned char* dst;
  const unsigned char* src;  // bit 0 is position originX
  int64_t originX;
  const bool* constants;

  void fill(int64_t d, int64_t len, int side) {
    if (constants[side]) setBitRange(dst, d, len);
  }
  void repeat(int64_t d, int64_t len, int64_t s) {
    if (getBit(src, s - originX)) setBitRange(dst, d, len);
  }
  void copy(int64_t d, int64_t len, int64_t s) { orBits(src, s - originX, dst, d, len); }
  void copyBack(int64_t d, int64_t len, int64_t s) {
    for (int64_t k = 0; k < len; ++k)
      if (getBit(src, s - originX - k)) setBit(dst, d + k);
  }
};

// A plain block covering image positions [x0, x1) x [y0, y1) of a tiled
// image, gathered tile by tile.  At depth 1 x0 is a multiple of 8.
bool gatherTiles(const VrnImage* image, const Layout& lay, int64_t x0, int64_t y0, int64_t x1,
                 int64_t y1, Buffer<char>* block, SourceView* view) {
  const VrnTileInfo* info = image->tileInfo;
  const int64_t tw = info->width, th = info->height;
  if (tw < 1 || th < 1) return false;
  const int64_t rowBytes =
      lay.bits == 1 ? (x1 - x0 + 7) / 8 : (x1 - x0) * lay.unit;
  const int64_t planeBytes = rowBytes * (y1 - y0);
  if (planeBytes * lay.planes() > 0x7FFFFF00) return false;
  if (!block->allocate(static_cast<size_t>(planeBytes * lay.planes()))) return false;
  view->base = block->get();
  view->step = rowBytes;
  view->planeStride = planeBytes;
  view->originX = x0;
  view->originY = y0;

  const RowLayout tile = rowLayout(image->depth, image->nChannels, image->dataOrder, image->align,
                                   static_cast<int>(tw), static_cast<int>(th));
  for (int64_t row = y0 / th; row * th < y1; ++row) {
    for (int64_t col = x0 / tw; col * tw < x1; ++col) {
      info->callBack(image, static_cast<int>(col), static_cast<int>(row), VRN_TILE_READ);
      const char* data = info->tileData;
      if (!data) return false;
      const int64_t cx0 = std::max(x0, col * tw), cx1 = std::min(x1, (col + 1) * tw);
      const int64_t cy0 = std::max(y0, row * th), cy1 = std::min(y1, (row + 1) * th);
      int64_t from, to, bytes;
      if (lay.bits == 1) {
        from = (cx0 - col * tw) / 8;
        to = (cx0 - x0) / 8;
        bytes = (cx1 - cx0 + 7) / 8;
      } else {
        from = (cx0 - col * tw) * lay.unit;
        to = (cx0 - x0) * lay.unit;
        bytes = (cx1 - cx0) * lay.unit;
      }
      for (int p = 0; p < lay.planes(); ++p) {
        const char* s = data + p * th * tile.widthStep + (cy0 - row * th) * tile.widthStep + from;
        char* d = block->get() + p * planeBytes + (cy0 - y0) * rowBytes + to;
        for (int64_t y = cy0; y < cy1; ++y, s += tile.widthStep, d += rowBytes)
          std::memcpy(d, s, static_cast<size_t>(bytes));
      }
      info->callBack(image, static_cast<int>(col), static_cast<int>(row), VRN_TILE_RELEASE);
    }
  }
  return true;
}

// The source of a request: the image's buffer, or for a tiled image a block
// gathered from its tiles over the rows and columns the request reads.  False
// if the tiles or the block can't be had.
bool openSource(const VrnImage* image, const Layout& lay, const CoverSink& rows,
                const CoverSink& cols, Buffer<char>* block, SourceView* view) {
  if (!image->tileInfo) {
    view->base = image->imageData;
    view->step = image->widthStep;
    view->planeStride = int64_t{image->height} * image->widthStep;
    return true;
  }
  if (rows.empty() || cols.empty()) return true;  // nothing but constants
  int64_t x0 = cols.lo;
  if (lay.bits == 1) x0 &= ~int64_t{7};
  return gatherTiles(image, lay, x0, rows.lo, cols.hi, rows.hi, block, view);
}

// The stored rows and columns a region reads (only needed for tiled images).
void coverRegion(const VrnImage* image, int64_t x, int64_t y, int64_t w, int64_t h,
                 CoverSink* rows, CoverSink* cols) {
  const int64_t width = image->width, height = image->height;
  const LineEnd top{image->borderMode[kSideTop] & 3, kSideTop};
  const LineEnd bottom{image->borderMode[kSideBottom] & 3, kSideBottom};
  emitLine(y, h, height, top, bottom, *rows);
  if (rows->empty() || w == 0) return;
  if (std::max<int64_t>(y, 0) < std::min(y + h, height))
    emitLine(x, w, width, {image->borderMode[kSideLeft] & 3, kSideLeft},
             {image->borderMode[kSideRight] & 3, kSideRight}, *cols);
  if (y < 0 && top.mode != VRN_BORDER_CONSTANT) emitLine(x, w, width, top, top, *cols);
  if (y + h > height && bottom.mode != VRN_BORDER_CONSTANT) emitLine(x, w, width, bottom, bottom, *cols);
}

}  // namespace

char* ownGetBorderedRegion(const VrnImage* image, int x, int y, int w, int h, int* step) {
  Layout lay;
  if (!describe(image, &lay) || w < 0 || h < 0) return nullptr;
  // Sizes in 64 bits: a row of w pixels, padded to the image's align.
  const int64_t samples = int64_t{w} * (lay.plane ? 1 : lay.channels);
  if (samples > int64_t{0x7FFFFFFF} * 8) return nullptr;
  const int64_t rowBytes = (samples * lay.bits + 7) / 8;
  const int64_t stride = (rowBytes + image->align - 1) / image->align * image->align;
  const int64_t planeBytes = stride * h;
  if (stride > 0x7FFFFFFF || planeBytes / lay.planes() > 0x7FFFFFFF) return nullptr;
  const int64_t total = planeBytes * lay.planes() + kSpareBytes;
  if (total > 0x7FFFFFFF - 64) return nullptr;

  Buffer<char> out(static_cast<size_t>(total));
  if (!out) return nullptr;
  Buffer<char> block;
  SourceView src;
  CoverSink rows, cols;
  if (image->tileInfo) coverRegion(image, x, y, w, h, &rows, &cols);
  if (!openSource(image, lay, rows, cols, &block, &src)) return nullptr;
  std::memset(out.get() + total - kSpareBytes, 0, kSpareBytes);
  if (step) *step = static_cast<int>(stride);
  if (w == 0 || h == 0) return out.release();

  const int64_t width = image->width;
  if (lay.bits == 1) {
    std::memset(out.get(), 0, static_cast<size_t>(total));
    bool constants[4];
    for (int s = 0; s < 4; ++s) constants[s] = image->borderConst[s] & 1;
    for (int64_t r = 0; r < h; ++r) {
      const RowPlan plan = planRow(image, y + r);
      auto* dst = reinterpret_cast<unsigned char*>(out.get() + r * stride);
      if (plan.constant) {
        if (constants[plan.side]) setBitRange(dst, 0, w);
        continue;
      }
      BitSink sink{dst, reinterpret_cast<const unsigned char*>(src.row(plan.source, 0)), src.originX,
                   constants};
      emitLine(x, w, width, plan.left, plan.right, sink);
    }
    return out.release();
  }

  unsigned char constants[4][64];
  const int sampleBytes = lay.bits / 8;
  for (int s = 0; s < 4; ++s) {
    unsigned char one[4];
    constantSample(image, s, one);
    const int reps = lay.plane ? 1 : std::min(lay.channels, 64 / sampleBytes);
    for (int c = 0; c < reps; ++c) std::memcpy(constants[s] + c * sampleBytes, one, sampleBytes);
  }
  // A pixel wider than the pattern (very many channels) is filled sample by sample.
  const bool widePixel = lay.unit > 64;
  for (int p = 0; p < lay.planes(); ++p) {
    char* plane = out.get() + p * planeBytes;
    int64_t previousKey = INT64_MIN;  // how the row before was made
    for (int64_t r = 0; r < h; ++r) {
      const RowPlan plan = planRow(image, y + r);
      char* dst = plane + r * stride;
      // Rows made the same way as the row before are copies of it: a constant
      // row is keyed by its side, an image row by its stored row and band.
      const int64_t key = plan.constant ? -1 - plan.side : plan.source * 4 + (plan.side + 1);
      if (key == previousKey) {
        std::memcpy(dst, dst - stride, static_cast<size_t>(rowBytes));
        continue;
      }
      previousKey = key;
      if (plan.constant) {
        if (widePixel) {
          for (int64_t i = 0; i < samples; ++i) std::memcpy(dst + i * sampleBytes, constants[plan.side], sampleBytes);
        } else {
          std::memcpy(dst, constants[plan.side], static_cast<size_t>(lay.unit));
          replicateUnit(dst, lay.unit, w);
        }
        continue;
      }
      ByteSink sink{dst, src.row(plan.source, p), src.originX, lay.unit, lay.unit,
                    constants};
      if (widePixel) {
        // Constants of very wide pixels: sample by sample.
        struct WideSink : ByteSink {
          int sampleBytes;
          void fill(int64_t d, int64_t len, int side) {
            for (int64_t i = 0; i < len * (unit / sampleBytes); ++i)
              std::memcpy(dst + d * unit + i * sampleBytes, constants[side], sampleBytes);
          }
        } wide{sink, sampleBytes};
        emitLine(x, w, width, plan.left, plan.right, wide);
      } else {
        emitLine(x, w, width, plan.left, plan.right, sink);
      }
    }
  }
  return out.release();
}

void ownGetBorderedRow(const VrnImage* image, int x, int y, int channel, void* buffer, int count) {
  Layout lay;
  if (!describe(image, &lay) || !buffer || count <= 0 || channel < 0 || channel >= lay.channels) return;
  const int64_t width = image->width;
  const RowPlan plan = planRow(image, y);
  Buffer<char> block;
  SourceView src;
  CoverSink rows, cols;
  if (image->tileInfo && !plan.constant) {
    rows.add(plan.source, plan.source + 1);
    emitLine(x, count, width, plan.left, plan.right, cols);
  }
  if (lay.bits == 1) {
    auto* dst = static_cast<unsigned char*>(buffer);
    std::memset(dst, 0, static_cast<size_t>((int64_t{count} + 7) / 8));
    bool constants[4];
    for (int s = 0; s < 4; ++s) constants[s] = image->borderConst[s] & 1;
    if (plan.constant) {
      if (constants[plan.side]) setBitRange(dst, 0, count);
      return;
    }
    if (!openSource(image, lay, rows, cols, &block, &src)) return;
    BitSink sink{dst, reinterpret_cast<const unsigned char*>(src.row(plan.source, 0)), src.originX,
                 constants};
    emitLine(x, count, width, plan.left, plan.right, sink);
    return;
  }
  const int sampleBytes = lay.bits / 8;
  unsigned char constants[4][64];
  for (int s = 0; s < 4; ++s) constantSample(image, s, constants[s]);
  char* dst = static_cast<char*>(buffer);
  if (plan.constant) {
    std::memcpy(dst, constants[plan.side], sampleBytes);
    replicateUnit(dst, sampleBytes, count);
    return;
  }
  // A tiled source is gathered for the one stored row this row reads.
  if (!openSource(image, lay, rows, cols, &block, &src)) {
    std::memset(dst, 0, static_cast<size_t>(int64_t{count} * sampleBytes));
    return;
  }
  const int plane = lay.plane ? channel : 0;
  const int64_t offset = lay.plane ? 0 : int64_t{channel} * sampleBytes;
  ByteSink sink{dst, src.row(plan.source, plane) + offset, src.originX, sampleBytes,
                lay.plane ? sampleBytes : lay.unit, constants};
  emitLine(x, count, width, plan.left, plan.right, sink);
}

}  // namespace vrn

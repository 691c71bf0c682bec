// Colour tables for writing bitmaps.  The median cut splits boxes of a
// histogram (256 gray levels, or 64x64x64 colour cells at six bits an axis)
// breadth-first, every open box once per pass in index order, until the
// table is full or every box is closed; each box then gives the mean of its
// pixels.  Boxes are cut at the median of their longest axis (red wins ties,
// green wins a tie with blue) and shrunk to the cells they hold.
#include "dib/palette.h"

#include <cstdlib>
#include <cstring>

#include "core/memory.h"

namespace vrn {
namespace {

uint8_t* tableOf(BITMAPINFOHEADER* h) { return reinterpret_cast<uint8_t*>(h) + kDibHeaderSize; }

void putEntry(uint8_t* table, int i, uint32_t rgb) {
  table[4 * i] = static_cast<uint8_t>(rgb);
  table[4 * i + 1] = static_cast<uint8_t>(rgb >> 8);
  table[4 * i + 2] = static_cast<uint8_t>(rgb >> 16);
  table[4 * i + 3] = 0;
}
uint32_t grayRgb(int level) { return static_cast<uint32_t>(level) * 0x010101u; }

constexpr uint32_t kSixteen[16] = {0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080,
                                   0x008080, 0x808080, 0xc0c0c0, 0xff0000, 0x00ff00, 0xffff00,
                                   0x0000ff, 0xff00ff, 0x00ffff, 0xffffff};

constexpr uint8_t kClosed = 255;

struct Box {
  int lo[3], hi[3];  // gray uses axis 0 only; colour: red, green, blue in six-bit units
  int64_t count;
  int state;
};

// Pixels of the image as six-bit (colour) or eight-bit (gray) values.
template <class F>
void forEachPixel(const VrnImage* image, F&& f) {
  const ImageWalk walk = imageWalk(image);
  const bool wide = image->depth == VRN_DEPTH_16U;
  const int hi = wide ? 1 : 0;  // the high byte of a little-endian 16-bit sample
  for (int64_t y = 0; y < image->height; ++y) {
    const uint8_t* row = reinterpret_cast<const uint8_t*>(image->imageData) + y * walk.rowStep;
    for (int64_t x = 0; x < image->width; ++x) {
      const uint8_t* px = row + x * walk.pixelStep + hi;
      f(px, walk.channelStep);
    }
  }
}

class ColorCut {
 public:
  explicit ColorCut(const uint32_t* hist) : hist_(hist) {}

  int64_t plane(const Box& b, int axis, int c) const {
    int lo[3] = {b.lo[0], b.lo[1], b.lo[2]}, hi[3] = {b.hi[0], b.hi[1], b.hi[2]};
    lo[axis] = hi[axis] = c;
    int64_t sum = 0;
    for (int bl = lo[2]; bl <= hi[2]; ++bl)
      for (int g = lo[1]; g <= hi[1]; ++g) {
        const uint32_t* cell = hist_ + bl * 4096 + g * 64;
        for (int r = lo[0]; r <= hi[0]; ++r) sum += cell[r];
      }
    return sum;
  }
  void shrink(Box& b) const {
    for (int axis = 0; axis < 3; ++axis) {
      while (b.lo[axis] < b.hi[axis] && plane(b, axis, b.lo[axis]) == 0) ++b.lo[axis];
      while (b.hi[axis] > b.lo[axis] && plane(b, axis, b.hi[axis]) == 0) --b.hi[axis];
    }
  }
  static bool single(const Box& b) { return b.lo[0] == b.hi[0] && b.lo[1] == b.hi[1] && b.lo[2] == b.hi[2]; }

 private:
  const uint32_t* hist_;
};

// The cut along an axis: returns the last coordinate of the lower part and
// its count.
template <class PlaneCount>
void cutAt(const Box& b, int axis, PlaneCount&& plane, int* lowerHi, int64_t* lowerCount) {
  const int64_t half = b.count >> 1;
  int64_t acc = 0, prev = 0;
  int c = b.lo[axis];
  for (; c <= b.hi[axis]; ++c) {
    prev = acc;
    acc += plane(c);
    if (acc > half) break;
  }
  if (c > b.hi[axis]) c = b.hi[axis];
  if (half - prev < acc - half) {
    *lowerHi = c - 1;
    *lowerCount = prev;
  } else {
    *lowerHi = c;
    *lowerCount = acc;
  }
}

// The passes: every open box split once per pass, in index order, until the
// target is reached or a pass splits nothing.  split(i, j) returns false when
// box i can't be split (it is then closed).
template <class Split>
int runPasses(Box* boxes, int target, Split&& split) {
  int count = 1, last = 0;
  while (count < target) {
    bool any = false;
    for (int i = 0; i <= last && count < target; ++i) {
      if (boxes[i].state == kClosed) continue;
      if (split(i, count)) {
        ++count;
        any = true;
      }
    }
    if (!any) break;
    last = count - 1;
  }
  return count;
}

bool grayMedianCut(const VrnImage* image, BITMAPINFOHEADER* h, int target) {
  int64_t hist[256] = {};
  forEachPixel(image, [&](const uint8_t* px, int64_t) { ++hist[*px]; });
  uint8_t* table = tableOf(h);
  int present = 0;
  for (int i = 0; i < 256; ++i) present += hist[i] != 0;
  if (present <= target) {
    int n = 0;
    for (int i = 0; i < 256; ++i)
      if (hist[i]) putEntry(table, n++, grayRgb(i));
    h->biClrUsed = static_cast<uint32_t>(n);
    return true;
  }
  Box boxes[256];
  int first = 0, last = 255;
  while (!hist[first]) ++first;
  while (!hist[last]) --last;
  boxes[0] = {{first, 0, 0}, {last, 0, 0}, static_cast<int64_t>(image->width) * image->height, 0};
  const int n = runPasses(boxes, target, [&](int i, int j) {
    Box& b = boxes[i];
    int lowerHi;
    int64_t lowerCount;
    cutAt(b, 0, [&](int c) { return hist[c]; }, &lowerHi, &lowerCount);
    if (lowerHi < b.lo[0] || lowerHi >= b.hi[0]) {
      b.state = kClosed;
      return false;
    }
    Box& nb = boxes[j];
    nb = {{lowerHi + 1, 0, 0}, {b.hi[0], 0, 0}, b.count - lowerCount, 0};
    b.hi[0] = lowerHi;
    b.count = lowerCount;
    while (b.hi[0] > b.lo[0] && !hist[b.hi[0]]) --b.hi[0];
    while (nb.lo[0] < nb.hi[0] && !hist[nb.lo[0]]) ++nb.lo[0];
    if (nb.lo[0] != nb.hi[0]) {
      ++b.state;
      nb.state = b.state;
    } else {
      nb.state = kClosed;
    }
    if (b.lo[0] == b.hi[0]) b.state = kClosed;
    return true;
  });
  for (int i = 0; i < n; ++i) {
    int64_t sum = 0;
    for (int c = boxes[i].lo[0]; c <= boxes[i].hi[0]; ++c) sum += hist[c] * c;
    putEntry(table, i, grayRgb(boxes[i].count ? static_cast<int>(sum / boxes[i].count) : 0));
  }
  h->biClrUsed = static_cast<uint32_t>(n);
  return true;
}

bool colorMedianCut(const VrnImage* image, BITMAPINFOHEADER* h, int target) {
  const SeqTransform seq = seqTransform(image->channelSeq);
  if (seq != SeqTransform::kNone && seq != SeqTransform::kSwap) return false;
  const int red = seq == SeqTransform::kNone ? 2 : 0, blue = 2 - red;
  Buffer<uint32_t> histogram;
  if (!histogram.allocate(size_t{1} << 18)) return false;
  uint32_t* hist = histogram.get();
  std::memset(hist, 0, sizeof(uint32_t) << 18);
  forEachPixel(image, [&](const uint8_t* px, int64_t cs) {
    ++hist[(px[red * cs] >> 2) + 64 * (px[cs] >> 2) + 4096 * (px[blue * cs] >> 2)];
  });
  uint8_t* table = tableOf(h);
  int present = 0;
  for (int i = 0; i < (1 << 18) && present <= target; ++i) present += hist[i] != 0;
  if (present <= target) {
    int n = 0;
    for (int i = 0; i < (1 << 18); ++i)
      if (hist[i]) {
        const uint32_t r = (i & 63) << 2, g = ((i >> 6) & 63) << 2, b = ((i >> 12) & 63) << 2;
        putEntry(table, n++, (r << 16) | (g << 8) | b);
      }
    h->biClrUsed = static_cast<uint32_t>(n);
    return true;
  }
  const ColorCut cut(hist);
  Box boxes[256];
  boxes[0] = {{0, 0, 0}, {63, 63, 63}, static_cast<int64_t>(image->width) * image->height, 0};
  cut.shrink(boxes[0]);
  const int n = runPasses(boxes, target, [&](int i, int j) {
    Box& b = boxes[i];
    const int dR = b.hi[0] - b.lo[0], dG = b.hi[1] - b.lo[1], dB = b.hi[2] - b.lo[2];
    const int axis = (dR >= dG && dR >= dB) ? 0 : (dG < dB ? 2 : 1);
    int lowerHi;
    int64_t lowerCount;
    cutAt(b, axis, [&](int c) { return cut.plane(b, axis, c); }, &lowerHi, &lowerCount);
    if (lowerHi < b.lo[axis] || lowerHi >= b.hi[axis]) {
      b.state = kClosed;
      return false;
    }
    Box& nb = boxes[j];
    nb = b;
    nb.lo[axis] = lowerHi + 1;
    nb.count = b.count - lowerCount;
    b.hi[axis] = lowerHi;
    b.count = lowerCount;
    cut.shrink(b);
    cut.shrink(nb);
    if (ColorCut::single(b)) {
      b.state = kClosed;
      nb.state = kClosed;
    } else {
      ++b.state;
      nb.state = ColorCut::single(nb) ? kClosed : b.state;
    }
    return true;
  });
  for (int i = 0; i < n; ++i) {
    const Box& b = boxes[i];
    int64_t sum[3] = {0, 0, 0};
    for (int bl = b.lo[2]; bl <= b.hi[2]; ++bl)
      for (int g = b.lo[1]; g <= b.hi[1]; ++g)
        for (int r = b.lo[0]; r <= b.hi[0]; ++r) {
          const int64_t k = hist[r + 64 * g + 4096 * bl];
          sum[0] += k * 4 * r;
          sum[1] += k * 4 * g;
          sum[2] += k * 4 * bl;
        }
    uint32_t rgb = 0;
    for (int a = 0; a < 3; ++a) {
      const uint32_t v = b.count ? static_cast<uint32_t>(sum[a] / b.count) : 0;
      rgb |= (v & 255) << (16 - 8 * a);
    }
    putEntry(table, i, rgb);
  }
  h->biClrUsed = static_cast<uint32_t>(n);
  return true;
}

}  // namespace

void writeFixedPalette(BITMAPINFOHEADER* h, bool gray) {
  const int64_t n = dibColorCount(h);
  uint8_t* table = tableOf(h);
  if (n == 2) {
    putEntry(table, 0, 0);
    putEntry(table, 1, 0xffffff);
  } else if (n == 16) {
    for (int i = 0; i < 16; ++i) putEntry(table, i, gray ? grayRgb(17 * i) : kSixteen[i]);
  } else if (n == 256) {
    static constexpr int l4[4] = {0, 64, 128, 255}, l8[8] = {0, 32, 64, 96, 128, 160, 192, 255};
    for (int i = 0; i < 256; ++i)
      putEntry(table, i,
               gray ? grayRgb(i)
                    : (static_cast<uint32_t>(l8[i / 32]) << 16) | (l8[(i / 4) % 8] << 8) | l4[i % 4]);
  }
}

bool writeMedianCutPalette(const VrnImage* image, BITMAPINFOHEADER* h) {
  if (h->biBitCount > 8) return false;
  const int target = 1 << h->biBitCount;
  if (image->depth == VRN_DEPTH_1U) {
    uint8_t* table = tableOf(h);
    putEntry(table, 0, 0);
    putEntry(table, 1, 0xffffff);
    h->biClrUsed = 2;
    return true;
  }
  if (image->nChannels == 1) return grayMedianCut(image, h, target);
  return colorMedianCut(image, h, target);
}

int NearestColor::search(int r, int g, int b) const {
  if (count_ == 256 && r == g && g == b) {
    const uint8_t* e = table_ + 4 * r;
    if (e[0] == r && e[1] == r && e[2] == r) return r;
  }
  uint32_t best = 0xFFFFFFFFu, bestR = 0xFFFFFFFFu, bestG = 0xFFFFFFFFu, bestB = 0xFFFFFFFFu;
  int answer = 0;
  for (int64_t i = 0; i < count_; ++i) {
    const uint8_t* e = table_ + 4 * i;
    const uint32_t dr = static_cast<uint32_t>(std::abs(e[2] - r));
    const uint32_t dg = static_cast<uint32_t>(std::abs(e[1] - g));
    const uint32_t db = static_cast<uint32_t>(std::abs(e[0] - b));
    if (dr >= bestR && dg >= bestG && db >= bestB) continue;
    const uint32_t d = dr * dr + dg * dg + db * db;
    if (d == 0) return static_cast<int>(i);
    if (d < best) {
      best = d;
      bestR = dr, bestG = dg, bestB = db;
      answer = static_cast<int>(i);
    }
  }
  return answer;
}

int NearestColor::find(uint8_t r, uint8_t g, uint8_t b) {
  const uint32_t key = (static_cast<uint32_t>(r) << 16 | g << 8 | b) + 1;
  const uint32_t slot = (key * 2654435761u) >> 20;
  if (keys_[slot] != key) {
    keys_[slot] = key;
    values_[slot] = search(r, g, b);
  }
  return values_[slot];
}

}  // namespace vrn

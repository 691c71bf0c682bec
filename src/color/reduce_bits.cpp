// vrnReduceBits: fewer levels and a smaller depth, by truncation, error
// diffusion (Floyd-Steinberg, Jarvis-Judice-Ninke, Stucki) or a 4x4 ordered
// dither, with optional table-driven noise on the thresholds.  Error rows are
// single precision and shared by the channels, which are processed one after
// the other over all rows, so the error left by one channel's last row feeds
// the next channel's first row.  Per-pixel arithmetic is double precision.
// Tiled images are walked in strips of tile height: sources are gathered by
// the bordered reader, results scattered into the destination's tiles.
#include "color/reduce_bits.h"

#include <cmath>
#include <cstring>

#include "core/image.h"
#include "core/memory.h"
#include "core/report.h"
#include "filter/bordered.h"

namespace vrn {
namespace {

constexpr const char* kFunc = "vrnReduceBits";

struct Bit1Out {};  // destination marker: 1-bit rows

// Everything a row kernel needs, fixed for the call.
struct Params {
  int dither;
  int q;          // levels - 1
  double top;     // M: the top of the source range
  double step;    // M / q
  double bayer[16];  // matrix entries over 15, times step without noise
  double noiseN;     // noise / 100
  bool noise;
  float noiseTable[1024];
  int noiseIndex[1024];
  int64_t factor;  // F of the 8U and 16U outputs
  double jjnWeight, stuckiWeight;
  int tileWidth;  // Bayer columns count within tiles of this width (0: none)
};

constexpr int kBayer[16] = {0, 8, 2, 10, 12, 4, 14, 6, 3, 11, 1, 9, 15, 7, 13, 5};

// The linear congruential generator, seeded anew at each call.
struct Generator {
  uint32_t x = 1999;
  int draw() {
    x = x * 214013u + 2531011u;
    return static_cast<int>((x >> 16) & 0x7fff);
  }
};

void fillNoise(Params& p, int srcDepth, int levels) {
  Generator g;
  const double n = p.noiseN;
  const double range = srcDepth == VRN_DEPTH_32S ? 4294967295.0
                                                 : static_cast<double>((int64_t{1} << (srcDepth & 31)) - 1);
  const double s = range / (levels - 1);
  for (int i = 0; i < 1024; ++i) {
    const int r = g.draw() % 1024;
    if (p.dither == VRN_DITHER_BAYER)
      p.noiseTable[i] = static_cast<float>(r) * 0.0009765625f * 2.0f * static_cast<float>(n);
    else
      p.noiseTable[i] = static_cast<float>((r * 0.0009765625 * 2.0 * n + (0.5 - n)) * s);
  }
  for (int i = 0; i < 1024; ++i) p.noiseIndex[i] = static_cast<int>(std::nearbyint((g.draw() % 1024) - 0.5));
}

inline double noiseAt(const Params& p, int c, int64_t x, int64_t y) {
  const uint64_t i = static_cast<uint64_t>(2 * y + x + p.noiseIndex[(c + x) & 1023]);
  return p.noiseTable[i & 1023];
}

template <class S>
inline double sampleOf(const uint8_t* at) {
  S v;
  std::memcpy(&v, at, sizeof v);
  if constexpr (sizeof(S) == 4) return static_cast<double>(v) + 2147483648.0;
  return static_cast<double>(v);
}

// Level `level` (chosen = its value in the source scale) in the destination's
// scale; the top and the bottom are stored as the range's ends.
template <class S, class D>
inline D levelOut(const Params& p, int64_t level, double chosen) {
  if constexpr (sizeof(S) == 4) {
    if constexpr (sizeof(D) == 4) return static_cast<D>(std::nearbyint(chosen - 2147483648.0));
    if constexpr (sizeof(D) == 2) return static_cast<D>(std::nearbyint(chosen * 1.52587890625e-05 - 0.5));
    return static_cast<D>(std::nearbyint(chosen * 5.960464477539063e-08 - 0.5));
  } else {
    const int shift = (sizeof(S) == 2 && sizeof(D) == 1) ? 16 : 8;
    return static_cast<D>((level * p.factor) >> shift);
  }
}
template <class D>
inline D topOut() {
  if constexpr (sizeof(D) == 4) return 2147483647;
  return static_cast<D>(sizeof(D) == 2 ? 65535 : 255);
}
template <class D>
inline D bottomOut() {
  if constexpr (sizeof(D) == 4) return static_cast<D>(-2147483647 - 1);
  return 0;
}

template <class D>
inline void store(uint8_t* at, D v) {
  std::memcpy(at, &v, sizeof v);
}

// Packs bits most significant first, a whole byte at a time.
class BitWriter {
 public:
  explicit BitWriter(uint8_t* row) : row_(row) {}
  void put(int64_t x, bool bit) {
    acc_ = static_cast<uint8_t>(acc_ | (bit ? 0x80 >> (x & 7) : 0));
    if ((x & 7) == 7) {
      row_[x >> 3] = acc_;
      acc_ = 0;
    }
  }
  void finish(int64_t width) {
    if (width & 7) row_[width >> 3] = acc_;
  }

 private:
  uint8_t* row_;
  uint8_t acc_ = 0;
};

// One row of a plane: source samples every srcPix bytes, destination
// samples every dstPix bytes (1-bit destinations are bit rows).
struct Row {
  const uint8_t* src;
  int64_t srcPix;
  uint8_t* dst;
  int64_t dstPix;
  int64_t width;
  int channel;
  int64_t y;      // image row (error diffusion noise)
  int64_t yTile;  // row within the strip (ordered dither)
};

// Error rows: cur, up1, up2, each with two guard cells on both sides.
struct ErrorRows {
  float* cur;
  float* up1;
  float* up2;
};

template <class S, class D, int kDither>
void diffuseRow(const Params& p, const Row& r, ErrorRows& e) {
  float* cur = e.cur;
  const float* u1 = e.up1;
  const float* u2 = e.up2;
  const double top = p.top;
  const double invTop = 1.0 / top;
  [[maybe_unused]] BitWriter bits(r.dst);
  for (int64_t x = 0; x < r.width; ++x) {
    double err;
    if constexpr (kDither == VRN_DITHER_FS) {
      err = (static_cast<double>(u1[x + 1]) * 3 + static_cast<double>(u1[x]) * 5 + u1[x - 1] +
             static_cast<double>(cur[x - 1]) * 7) *
            0.0625;
    } else {
      constexpr bool jjn = kDither == VRN_DITHER_JJH;
      constexpr double a = jjn ? 3 : 2, b = jjn ? 5 : 4, c = jjn ? 7 : 8;
      const double f = jjn ? p.jjnWeight : p.stuckiWeight;
      err = (static_cast<double>(u2[x - 2]) + a * u2[x - 1] + b * u2[x] + a * u2[x + 1] + u2[x + 2] +
             a * u1[x - 2] + b * u1[x - 1] + c * u1[x] + b * u1[x + 1] + a * u1[x + 2] +
             b * cur[x - 2] + c * cur[x - 1]) *
            f;
    }
    const double v = sampleOf<S>(r.src + x * r.srcPix) + err;
    if constexpr (std::is_same_v<D, Bit1Out>) {
      constexpr double low = sizeof(S) == 4 ? 0.0 : 1e-07;
      bool bit;
      if (v >= top) {
        bit = true;
        cur[x] = 0;
      } else if (v < low) {
        bit = false;
        cur[x] = 0;
      } else {
        bit = v > (p.noise ? noiseAt(p, r.channel, x, r.y) : top / 2);
        cur[x] = static_cast<float>(bit ? v - top : v);
      }
      bits.put(x, bit);
    } else {
      uint8_t* out = r.dst + x * r.dstPix;
      if (v >= top) {
        cur[x] = 0;
        store<D>(out, topOut<D>());
      } else if (v < 0) {
        cur[x] = 0;
        store<D>(out, bottomOut<D>());
      } else {
        const double k = std::nearbyint(p.q * v * invTop - 0.5);
        const double low = k * p.step;
        const double t = p.noise ? noiseAt(p, r.channel, x, r.y) : p.step * 0.5;
        const bool upper = v - low > t;
        const double chosen = upper ? low + p.step : low;
        cur[x] = static_cast<float>(v - chosen);
        store<D>(out, levelOut<S, D>(p, static_cast<int64_t>(k) + upper, chosen));
      }
    }
  }
  if constexpr (std::is_same_v<D, Bit1Out>) bits.finish(r.width);
}

template <class S, class D>
void bayerRow(const Params& p, const Row& r, ErrorRows&) {
  const double invTop = 1.0 / p.top;
  [[maybe_unused]] BitWriter bits(r.dst);
  const int64_t yb = (r.yTile & 3) * 4;
  for (int64_t x = 0; x < r.width; ++x) {
    const int64_t xt = p.tileWidth ? x % p.tileWidth : x;
    const double b = p.bayer[yb + (xt & 3)];  // already times step without noise
    const double s = sampleOf<S>(r.src + x * r.srcPix);
    if constexpr (std::is_same_v<D, Bit1Out>) {
      const double thr = p.noise ? (b - p.noiseN + noiseAt(p, r.channel, xt, r.yTile)) * p.top : b * p.top;
      bits.put(x, thr < s);
    } else {
      const double k = std::nearbyint(p.q * s * invTop - 0.5);
      const double thr = p.noise ? (b - p.noiseN + noiseAt(p, r.channel, xt, r.yTile)) * p.step : b;
      int64_t level = static_cast<int64_t>(k) + (thr < s - k * p.step);
      if (level > p.q) level = p.q;
      store<D>(r.dst + x * r.dstPix, levelOut<S, D>(p, level, level * p.step));
    }
  }
  if constexpr (std::is_same_v<D, Bit1Out>) bits.finish(r.width);
}

template <class S, class D>
void truncateRow(const Params&, const Row& r, ErrorRows&) {
  [[maybe_unused]] BitWriter bits(r.dst);
  for (int64_t x = 0; x < r.width; ++x) {
    S v;
    std::memcpy(&v, r.src + x * r.srcPix, sizeof v);
    if constexpr (std::is_same_v<D, Bit1Out>) {
      if constexpr (sizeof(S) == 4)
        bits.put(x, v >= 0);
      else
        bits.put(x, (v >> (8 * sizeof(S) - 1)) & 1);
    } else if constexpr (sizeof(S) == sizeof(D)) {
      store<D>(r.dst + x * r.dstPix, static_cast<D>(v));
    } else if constexpr (sizeof(S) == 2) {
      store<D>(r.dst + x * r.dstPix, static_cast<D>(v >> 8));
    } else if constexpr (sizeof(D) == 2) {
      store<D>(r.dst + x * r.dstPix, static_cast<D>(((v >> 16) + 32768) & 0xFFFF));
    } else {
      store<D>(r.dst + x * r.dstPix, static_cast<D>(((v >> 24) + 128) & 0xFF));
    }
  }
  if constexpr (std::is_same_v<D, Bit1Out>) bits.finish(r.width);
}

using RowFn = void (*)(const Params&, const Row&, ErrorRows&);

template <class S, class D>
RowFn rowFor(int dither) {
  switch (dither) {
    case VRN_DITHER_FS: return diffuseRow<S, D, VRN_DITHER_FS>;
    case VRN_DITHER_JJH: return diffuseRow<S, D, VRN_DITHER_JJH>;
    case VRN_DITHER_STUCKEY: return diffuseRow<S, D, VRN_DITHER_STUCKEY>;
    case VRN_DITHER_BAYER: return bayerRow<S, D>;
    default: return truncateRow<S, D>;
  }
}

// The row function of a depth pair, or null for a pair outside the table.
RowFn chooseRow(int src, int dst, int dither) {
  if (src == VRN_DEPTH_8U) {
    if (dst == VRN_DEPTH_8U) return rowFor<uint8_t, uint8_t>(dither);
    if (dst == VRN_DEPTH_1U) return rowFor<uint8_t, Bit1Out>(dither);
  } else if (src == VRN_DEPTH_16U) {
    if (dst == VRN_DEPTH_16U) return rowFor<uint16_t, uint16_t>(dither);
    if (dst == VRN_DEPTH_8U) return rowFor<uint16_t, uint8_t>(dither);
    if (dst == VRN_DEPTH_1U) return rowFor<uint16_t, Bit1Out>(dither);
  } else if (src == VRN_DEPTH_32S) {
    if (dst == VRN_DEPTH_32S) return rowFor<int32_t, int32_t>(dither);
    if (dst == VRN_DEPTH_16U) return rowFor<int32_t, uint16_t>(dither);
    if (dst == VRN_DEPTH_8U) return rowFor<int32_t, uint8_t>(dither);
    if (dst == VRN_DEPTH_1U) return rowFor<int32_t, Bit1Out>(dither);
  }
  return nullptr;
}

// Where channel c of an image's rows lie: first row, row step, sample step.
struct Plane {
  uint8_t* data;
  int64_t rowStep;
  int64_t pixStep;
};
Plane planeOf(const VrnImage* image, uint8_t* data, int64_t rowStep, int64_t rows, int c) {
  const int bytes = (image->depth & VRN_DEPTH_MASK) / 8;
  if (image->depth == VRN_DEPTH_1U) return {data, rowStep, 0};
  if (image->dataOrder == VRN_DATA_ORDER_PLANE) return {data + c * rowStep * rows, rowStep, bytes};
  return {data + c * bytes, rowStep, static_cast<int64_t>(bytes) * image->nChannels};
}

// Scatters channel c of a strip (a one-channel plane) into the tiles of image
// that it covers, asking each tile to write and releasing it.
bool scatter(VrnImage* image, const uint8_t* strip, int64_t stripStep, int64_t y0, int64_t rows,
             int64_t width, int c) {
  VrnTileInfo* t = image->tileInfo;
  const RowLayout tile = rowLayout(image->depth, image->nChannels, image->dataOrder, image->align,
                                   t->width, t->height);
  const int bytes = image->depth == VRN_DEPTH_1U ? 0 : (image->depth & VRN_DEPTH_MASK) / 8;
  const int tileRow = static_cast<int>(y0 / t->height);
  for (int64_t x0 = 0; x0 < width; x0 += t->width) {
    const int tileCol = static_cast<int>(x0 / t->width);
    t->callBack(image, tileCol, tileRow, VRN_TILE_WRITE);
    if (!t->tileData) {
      VRN_REPORT(VRN_StsBadArg, kFunc, "(dstImage->tileInfo->tileData == 0)");
      return false;
    }
    uint8_t* data = reinterpret_cast<uint8_t*>(t->tileData);
    const Plane p = planeOf(image, data, tile.widthStep, t->height, c);
    const int64_t w = width - x0 < t->width ? width - x0 : t->width;
    const int64_t yIn = y0 - static_cast<int64_t>(tileRow) * t->height;
    for (int64_t y = 0; y < rows; ++y) {
      const uint8_t* from = strip + y * stripStep;
      uint8_t* to = p.data + (yIn + y) * p.rowStep;
      if (bytes == 0) {
        for (int64_t x = 0; x < w; ++x) {
          const int64_t sx = x0 + x;
          const bool bit = (from[sx >> 3] >> (7 - (sx & 7))) & 1;
          const uint8_t m = static_cast<uint8_t>(0x80 >> (x & 7));
          to[x >> 3] = static_cast<uint8_t>(bit ? (to[x >> 3] | m) : (to[x >> 3] & ~m));
        }
      } else {
        for (int64_t x = 0; x < w; ++x)
          std::memcpy(to + x * p.pixStep, from + (x0 + x) * bytes, static_cast<size_t>(bytes));
      }
    }
    t->callBack(image, tileCol, tileRow, VRN_TILE_RELEASE);
  }
  return true;
}

int fail(int status, const char* text) {
  VRN_REPORT(status, kFunc, text);
  return status;
}

}  // namespace

int reduceBits(VrnImage* src, VrnImage* dst, int noise, int ditherType, int levels) {
  if (int s = vrnCheckImageHeader(src)) return fail(s, "Incorrect Image");
  if (int s = vrnCheckImageHeader(dst)) return fail(s, "Incorrect Image");
  if (src->depth == VRN_DEPTH_1U) return fail(VRN_StsBadArg, "( (srcImage->depth == VRN_DEPTH_1U ))");
  if ((src->depth & VRN_DEPTH_MASK) < (dst->depth & VRN_DEPTH_MASK))
    return fail(VRN_StsBadArg, "((srcImage->depth& VRN_DEPTH_MASK) < (dstImage->depth& VRN_DEPTH_MASK))");
  if (src->dataOrder != dst->dataOrder) return fail(VRN_StsBadArg, "(srcImage->dataOrder!=dstImage->dataOrder)");
  if (noise < 0 || noise > 100) return fail(VRN_StsBadArg, "(( noise < 0 ) || ( noise > 100 ))");
  if (src->alphaChannel != dst->alphaChannel)
    return fail(VRN_StsBadArg, "(srcImage->alphaChannel!=dstImage->alphaChannel)");
  if (src->nChannels < dst->nChannels) return fail(VRN_StsBadArg, "(srcImage->nChannels < dstImage->nChannels)");
  if (ditherType != VRN_DITHER_NONE && ditherType != VRN_DITHER_FS && ditherType != VRN_DITHER_JJH &&
      ditherType != VRN_DITHER_STUCKEY && ditherType != VRN_DITHER_BAYER)
    return fail(VRN_StsBadArg,
                "ditherType != VRN_DITHER_NONE && ditherType != VRN_DITHER_FS && ditherType != "
                "VRN_DITHER_JJH && ditherType != VRN_DITHER_STUCKEY && ditherType != VRN_DITHER_BAYER");
  if (!(src->depth == VRN_DEPTH_32S || (src->depth & VRN_DEPTH_SIGN) == 0))
    return fail(VRN_StsBadArg,
                "!( ( srcImage->depth == VRN_DEPTH_32S ) || ((srcImage->depth & VRN_DEPTH_SIGN)==0))");
  if (!(dst->depth == VRN_DEPTH_32S || (dst->depth & VRN_DEPTH_SIGN) == 0))
    return fail(VRN_StsBadArg,
                "!( ( dstImage->depth == VRN_DEPTH_32S ) || ((dstImage->depth & VRN_DEPTH_SIGN)==0))");
  if (src == dst) return fail(VRN_StsBadArg, "This function isn`t in-plase function");
  const int64_t q = static_cast<int64_t>(levels) - 1;
  if (ditherType != VRN_DITHER_NONE) {
    const int bits = dst->depth & VRN_DEPTH_MASK;
    const int64_t span = bits >= 32 ? int64_t{2147483648} : int64_t{1} << bits;
    if (q < 1 || q > span) return fail(VRN_StsBadArg, "You incorrectly have set an amount of levels");
  }
  const int channels = src->nChannels - (src->alphaChannel ? 1 : 0);
  if (channels > 1 && dst->nChannels == 1) return fail(VRN_StsBadArg, " Depth 1u is for Gray, only");
  const RowFn row = chooseRow(src->depth, dst->depth, ditherType);
  if (!row) return fail(VRN_StsBadArg, "Unsupported pair of depths");

  Buffer<Params> params(1);
  if (!params) return fail(VRN_StsNoMem, "No working memory");
  Params& p = *params.get();
  std::memset(&p, 0, sizeof p);
  p.dither = ditherType;
  p.q = static_cast<int>(q < 1 ? 1 : q);
  p.top = src->depth == VRN_DEPTH_32S ? 4294967295.0 : (src->depth == VRN_DEPTH_16U ? 65535.0 : 255.0);
  p.step = p.top / p.q;
  p.noise = noise != 0;
  p.noiseN = noise * 0.01;
  p.jjnWeight = src->depth == VRN_DEPTH_32S ? 1.0 / 48 : static_cast<double>(1.0f / 48);
  p.stuckiWeight = src->depth == VRN_DEPTH_32S ? 1.0 / 42 : static_cast<double>(1.0f / 42);
  const double span = src->depth == VRN_DEPTH_16U ? 16776960.0 : 65280.0;
  p.factor = static_cast<int64_t>(std::nearbyint(span / p.q - 0.5));
  const bool oneBit = dst->depth == VRN_DEPTH_1U;
  for (int i = 0; i < 16; ++i)
    p.bayer[i] = kBayer[i] / 15.0 * ((p.noise || (oneBit && ditherType == VRN_DITHER_BAYER)) ? 1.0 : p.step);
  if (p.noise && ditherType != VRN_DITHER_NONE) fillNoise(p, src->depth, levels);
  if (ditherType == VRN_DITHER_NONE) p.noise = false;

  const int64_t width = src->width < dst->width ? src->width : dst->width;
  const int64_t height = src->height < dst->height ? src->height : dst->height;
  const int count = channels < dst->nChannels ? channels : dst->nChannels;
  Buffer<float> errors;
  const int64_t errorWidth = width + 4;
  if (!errors.allocate(static_cast<size_t>(3 * errorWidth))) return fail(VRN_StsNoMem, "No working memory");
  std::memset(errors.get(), 0, sizeof(float) * static_cast<size_t>(3 * errorWidth));
  ErrorRows e{errors.get() + 2, errors.get() + errorWidth + 2, errors.get() + 2 * errorWidth + 2};

  const bool srcTiled = src->tileInfo != nullptr, dstTiled = dst->tileInfo != nullptr;
  int64_t stripRows = height;
  if (dstTiled)
    stripRows = dst->tileInfo->height;
  else if (srcTiled)
    stripRows = src->tileInfo->height;
  if (srcTiled || dstTiled) p.tileWidth = dstTiled ? dst->tileInfo->width : src->tileInfo->width;
  const bool stripRowsReset = srcTiled || dstTiled;

  // A one-channel strip of results for a tiled destination.
  Buffer<uint8_t> strip;
  const int dstBytes = oneBit ? 0 : (dst->depth & VRN_DEPTH_MASK) / 8;
  const int64_t stripStep = oneBit ? (width + 7) / 8 : width * dstBytes;
  if (dstTiled && !strip.allocate(static_cast<size_t>(stripStep * stripRows)))
    return fail(VRN_StsNoMem, "No working memory");

  for (int c = 0; c < count; ++c) {
    for (int64_t y0 = 0; y0 < height; y0 += stripRows) {
      const int64_t rows = height - y0 < stripRows ? height - y0 : stripRows;
      Plane in;
      char* gathered = nullptr;
      if (srcTiled) {
        int step = 0;
        gathered = ownGetBorderedRegion(src, 0, static_cast<int>(y0), static_cast<int>(width),
                                        static_cast<int>(rows), &step);
        if (!gathered) return vrnGetErrStatus() ? vrnGetErrStatus() : VRN_StsNoMem;
        in = planeOf(src, reinterpret_cast<uint8_t*>(gathered), step, rows, c);
      } else {
        in = planeOf(src, reinterpret_cast<uint8_t*>(src->imageData), src->widthStep, src->height, c);
        in.data += y0 * in.rowStep;
      }
      Plane out;
      if (dstTiled) {
        out = {strip.get(), stripStep, dstBytes};
      } else {
        out = planeOf(dst, reinterpret_cast<uint8_t*>(dst->imageData), dst->widthStep, dst->height, c);
        out.data += y0 * out.rowStep;
      }
      for (int64_t y = 0; y < rows; ++y) {
        const Row r{in.data + y * in.rowStep, in.pixStep, out.data + y * out.rowStep, out.pixStep, width, c,
                    y0 + y, stripRowsReset ? y : y0 + y};
        row(p, r, e);
        if (ditherType == VRN_DITHER_FS) {
          std::swap(e.cur, e.up1);
        } else {
          float* t = e.up2;
          e.up2 = e.up1;
          e.up1 = e.cur;
          e.cur = t;
        }
      }
      vrnFree(gathered);
      if (dstTiled && !scatter(dst, strip.get(), stripStep, y0, rows, width, c)) return VRN_StsBadArg;
    }
  }
  return 0;
}

}  // namespace vrn

extern "C" VRN_API void vrnReduceBits(VrnImage* srcImage, VrnImage* dstImage, int noise, int ditherType,
                                      int levels) {
  vrn::reduceBits(srcImage, dstImage, noise, ditherType, levels);
}

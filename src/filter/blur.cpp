// vrnBlur: the box filter.  The rectangle to process, with the borders the
// box needs, is first read into a temporary block by the bordered region
// reader, so source and destination may be one image; a depth kernel then
// slides column and window sums over the block.  A 1x1 box is a copy.  The
// 8U and 32F three-colour pixel kernels are tried first.  Tiled images are
// worked piece by piece along the tile grid (the source's first); a piece
// for a tiled destination is made in a block and stored tile by tile.
#include <algorithm>
#include <cstring>

#include "core/bit_rows.h"
#include "core/frame.h"
#include "core/image.h"
#include "core/memory.h"
#include "core/report.h"
#include "filter/blur_kernels.h"
#include "filter/bordered.h"

using namespace vrn;

namespace {

constexpr const char* kFunc = "vrnBlur";

// The channels an image takes part with: the COI alone, else all but alpha.
struct ChannelRange {
  int first, count;
  bool valid;
};
ChannelRange channelRange(const VrnImage* image) {
  if (image->roi && image->roi->coi != 0) return {image->roi->coi - 1, 1, true};
  if (image->alphaChannel) {
    if (image->alphaChannel != image->nChannels || image->nChannels == 1) return {0, 0, false};
    return {0, image->nChannels - 1, true};
  }
  return {0, image->nChannels, true};
}

// The merged mask of the processed rectangle: bits of width x height, clear
// where no mask covers; null when neither image has a mask.
bool buildMask(const VrnImage* a, const VrnImage* b, int width, int height, Buffer<unsigned char>* bits,
               ptrdiff_t* step) {
  *step = (width + 7) / 8;
  if (!bits->allocate(static_cast<size_t>(*step) * height)) return false;
  std::memset(bits->get(), 0, static_cast<size_t>(*step) * height);
  ImageStart s[2];
  int n = 0, w = width, h = height;
  for (const VrnImage* m : {a, b})
    if (m) {
      s[n] = imageStart(m, 0);
      w = std::min(w, s[n].width);
      h = std::min(h, s[n].height);
      ++n;
    }
  const VrnImage* masks[2] = {a ? a : b, b};
  for (int y = 0; y < h; ++y) {
    auto* out = reinterpret_cast<uint8_t*>(bits->get()) + y * *step;
    auto span = [&](int i) {
      return BitSpan{reinterpret_cast<const uint8_t*>(s[i].data) + static_cast<ptrdiff_t>(y) * masks[i]->widthStep,
                     s[i].bitOffset};
    };
    if (n == 1)
      bitRow(out, 0, w, [](uint8_t m) { return m; }, span(0));
    else
      bitRow(out, 0, w, [](uint8_t p, uint8_t q) { return static_cast<uint8_t>(p & q); }, span(0), span(1));
  }
  return true;
}

struct Job {
  VrnImage* src;
  VrnImage* dst;
  ImageRect srcRect, dstRect;
  ChannelRange srcCh, dstCh;
  int width, height, nCols, nRows, anchorX, anchorY;
  float scale;
  DepthIndex depth;
  int pixelKernel;  // 0 general, 8 or 32: the three-colour pixel kernel
  const unsigned char* mask;
  ptrdiff_t maskStep;
  void* line;
};

// Stores a piece made in `block` (laid out like the destination, width w)
// into the destination's tiles, pixel by pixel where the mask allows.
bool storeInTiles(const Job& job, const char* block, ptrdiff_t blockStep, int px, int py, int w, int h) {
  VrnImage* dst = job.dst;
  const VrnTileInfo* info = dst->tileInfo;
  const int tw = info->width, th = info->height;
  const RowLayout tile = rowLayout(dst->depth, dst->nChannels, dst->dataOrder, dst->align, tw, th);
  const int bits = depthBits(dst->depth);
  const int x0 = job.dstRect.x + px, y0 = job.dstRect.y + py;
  for (int row = y0 / th; row * th < y0 + h; ++row)
    for (int col = x0 / tw; col * tw < x0 + w; ++col) {
      info->callBack(dst, col, row, VRN_TILE_WRITE);
      char* data = info->tileData;
      if (!data) {
        VRN_REPORT_FROM(kFunc, VRN_StsBadArg, kFunc, "dstImage->tileInfo->callBack: can't open tile to write");
        return false;
      }
      const int cx0 = std::max(x0, col * tw), cx1 = std::min(x0 + w, (col + 1) * tw);
      const int cy0 = std::max(y0, row * th), cy1 = std::min(y0 + h, (row + 1) * th);
      for (int y = cy0; y < cy1; ++y)
        for (int x = cx0; x < cx1; ++x) {
          const int i = x - x0, j = y - y0;  // position in the piece
          if (job.mask && !bitAt(job.mask + (py + j) * job.maskStep, 0, px + i)) continue;
          for (int k = 0; k < job.dstCh.count; ++k) {
            const int c = job.dstCh.first + k;
            const int tx = x - col * tw;
            const char* from = sampleAddress(dst, const_cast<char*>(block), blockStep, h, i, j, c);
            char* into = sampleAddress(dst, data, tile.widthStep, th, tx, y - row * th, c);
            if (bits == 1) {
              putBit(reinterpret_cast<uint8_t*>(into), tx % 8, 0,
                     bitAt(reinterpret_cast<const uint8_t*>(from), i % 8, 0));
            } else {
              std::memcpy(into, from, static_cast<size_t>(bits / 8));
            }
          }
        }
      info->callBack(dst, col, row, VRN_TILE_RELEASE);
    }
  return true;
}

// One piece: columns [px, px + w) and rows [py, py + h) of the processed rectangle.
bool runPiece(const Job& job, int px, int py, int w, int h) {
  int regionStep = 0;
  char* region = ownGetBorderedRegion(job.src, job.srcRect.x + px - job.anchorX,
                                      job.srcRect.y + py - job.anchorY, w + job.nCols, h + job.nRows,
                                      &regionStep);
  if (!region) {
    VRN_REPORT_FROM(kFunc, VRN_StsNoMem, kFunc, "Allocation failure");
    return false;
  }
  struct Free {
    char* p;
    ~Free() { vrnFree(p); }
  } freeRegion{region};

  VrnImage* dst = job.dst;
  const bool tiledDst = dst->tileInfo != nullptr;
  Buffer<char> block;
  char* out;
  ptrdiff_t outStep;
  int outHeight, outX, outY;
  if (tiledDst) {
    const RowLayout lay = rowLayout(dst->depth, dst->nChannels, dst->dataOrder, 4, w, h);
    if (!lay.fits() || !block.allocate(static_cast<size_t>(lay.imageSize))) {
      VRN_REPORT_FROM(kFunc, VRN_StsNoMem, kFunc, "Allocation failure");
      return false;
    }
    std::memset(block.get(), 0, static_cast<size_t>(lay.imageSize));
    out = block.get();
    outStep = static_cast<ptrdiff_t>(lay.widthStep);
    outHeight = h;
    outX = outY = 0;
  } else {
    out = dst->imageData;
    outStep = dst->widthStep;
    outHeight = dst->height;
    outX = job.dstRect.x + px;
    outY = job.dstRect.y + py;
  }

  blur::Box box{w, h, job.nCols, job.nRows, job.scale, nullptr, 0, job.maskStep};
  if (job.mask && !tiledDst) {  // a tiled destination applies the mask as it stores
    box.mask = job.mask + py * job.maskStep + (px >> 3);
    box.maskBit = px & 7;
  }
  const VrnImage* src = job.src;
  const bool planeSrc = src->dataOrder == VRN_DATA_ORDER_PLANE;
  const int sampleBytes = std::max(depthBits(src->depth) / 8, 1);
  const ptrdiff_t regionPlane = static_cast<ptrdiff_t>(regionStep) * (h + job.nRows);
  auto channel = [&](int k) {
    const int sc = job.srcCh.first + k, dc = job.dstCh.first + k;
    blur::Channel ch{};
    ch.src = planeSrc ? region + sc * regionPlane : region + sc * sampleBytes;
    ch.srcStep = regionStep;
    ch.srcStride = planeSrc ? 1 : src->nChannels;
    ch.dst = sampleAddress(dst, out, outStep, outHeight, outX, outY, dc);
    ch.dstBit = outX % 8;
    ch.dstStep = outStep;
    ch.dstStride = dst->dataOrder == VRN_DATA_ORDER_PLANE ? 1 : dst->nChannels;
    return ch;
  };
  if (job.pixelKernel == 8) {
    blur::blurPixels8u(channel(0), box, job.line);
  } else if (job.pixelKernel == 32) {
    blur::blurPixels32f(channel(0), box, job.line);
  } else {
    for (int k = 0; k < job.srcCh.count; ++k) blur::blurChannel(job.depth, channel(k), box, job.line);
  }
  return !tiledDst || storeInTiles(job, out, outStep, px, py, w, h);
}

// Cuts [0, length) at the tile edges of a grid of size `tile` whose
// rectangle starts at image position `origin`; the end of the cut at `from`.
int cutEnd(int from, int length, int origin, int tile) {
  if (tile <= 0) return length;
  const int64_t edge = (static_cast<int64_t>(origin + from) / tile + 1) * tile - origin;
  return static_cast<int>(std::min<int64_t>(edge, length));
}

}  // namespace

extern "C" VRN_API void vrnBlur(VrnImage* srcImage, VrnImage* dstImage, int nCols, int nRows, int anchorX,
                                int anchorY) {
  for (const VrnImage* image : {srcImage, dstImage}) {
    const int status = vrnCheckImageHeader(image);
    if (status != VRN_StsOk) {
      VRN_REPORT_FROM(kFunc, status, kFunc, "Incorrect Image");
      return;
    }
  }
  if (srcImage->depth != dstImage->depth) {
    VRN_REPORT_FROM(kFunc, VRN_StsBadArg, kFunc, "(srcImage->depth!=dstImage->depth)");
    return;
  }
  if (nRows < 0 || nCols < 0) {
    VRN_REPORT_FROM(kFunc, VRN_StsBadArg, kFunc, "(nRows<0||nCols<0)");
    return;
  }
  if (anchorX < 0 || anchorY < 0) {
    VRN_REPORT_FROM(kFunc, VRN_StsBadArg, kFunc, "(anchorX<0||anchorY<0)");
    return;
  }
  if (anchorX >= nCols || anchorY >= nRows) {
    VRN_REPORT_FROM(kFunc, VRN_StsBadArg, kFunc, "(anchorX>=nCols||anchorY>=nRows)");
    return;
  }
  if (nRows == 1 && nCols == 1) {
    vrnCopy(srcImage, dstImage);
    return;
  }

  Job job{};
  job.src = srcImage;
  job.dst = dstImage;
  job.nCols = nCols;
  job.nRows = nRows;
  job.anchorX = anchorX;
  job.anchorY = anchorY;
  job.scale = 1.0f / static_cast<float>(static_cast<int64_t>(nCols) * nRows);
  job.depth = depthIndex(srcImage->depth);
  job.srcRect = clippedRoi(srcImage);
  job.dstRect = clippedRoi(dstImage);
  job.srcCh = channelRange(srcImage);
  job.dstCh = channelRange(dstImage);
  if (!job.srcCh.valid || !job.dstCh.valid) {
    VRN_REPORT_FROM(kFunc, VRN_StsBadAlpha, kFunc, "bad alpha channel's number");
    return;
  }
  if (job.srcCh.count != job.dstCh.count) {
    VRN_REPORT_FROM(kFunc, VRN_StsBadChannels, kFunc, "bad channel's number");
    return;
  }
  job.width = std::max(0, std::min(job.srcRect.width, job.dstRect.width));
  job.height = std::max(0, std::min(job.srcRect.height, job.dstRect.height));
  if (job.width == 0 || job.height == 0) return;

  Buffer<unsigned char> mask;
  if (srcImage->maskROI || dstImage->maskROI) {
    if (!buildMask(srcImage->maskROI, dstImage->maskROI, job.width, job.height, &mask, &job.maskStep)) {
      VRN_REPORT_FROM(kFunc, VRN_StsNoMem, kFunc, "Allocation failure");
      return;
    }
    job.mask = mask.get();
  }

  // The three-colour pixel kernels.
  const auto noCoi = [](const VrnImage* im) { return !im->roi || im->roi->coi == 0; };
  const bool threeColours = (srcImage->nChannels == 3 && !srcImage->alphaChannel) ||
                            (srcImage->nChannels == 4 && srcImage->alphaChannel);
  const bool pixelShape = job.width >= 16 && job.height >= 2 && srcImage->nChannels != 1 &&
                          dstImage->nChannels != 1 && noCoi(srcImage) && noCoi(dstImage) && threeColours &&
                          srcImage->dataOrder == VRN_DATA_ORDER_PIXEL &&
                          dstImage->dataOrder == VRN_DATA_ORDER_PIXEL;
  if (pixelShape && job.depth == kD8U && static_cast<int64_t>(nCols) * nRows < 257) job.pixelKernel = 8;
  if (pixelShape && job.depth == kD32F) job.pixelKernel = 32;

  // Line buffer: column sums and their differences, four lanes for the pixel kernels.
  Buffer<char> line;
  const int64_t sums = (static_cast<int64_t>(job.width) + nCols) * (job.pixelKernel ? 8 : 2);
  if (sums * 4 > 0x7FFFFF00 || !line.allocate(static_cast<size_t>(sums * 4))) {
    VRN_REPORT_FROM(kFunc, VRN_StsNoMem, kFunc, "Allocation failure");
    return;
  }
  job.line = line.get();

  // Pieces along the tile grid of the tiled image, the source's first.
  int originX = 0, originY = 0, tileW = 0, tileH = 0;
  if (srcImage->tileInfo) {
    originX = job.srcRect.x;
    originY = job.srcRect.y;
    tileW = srcImage->tileInfo->width;
    tileH = srcImage->tileInfo->height;
  } else if (dstImage->tileInfo) {
    originX = job.dstRect.x;
    originY = job.dstRect.y;
    tileW = dstImage->tileInfo->width;
    tileH = dstImage->tileInfo->height;
  }
  for (int py = 0; py < job.height;) {
    const int pyEnd = cutEnd(py, job.height, originY, tileH);
    for (int px = 0; px < job.width;) {
      const int pxEnd = cutEnd(px, job.width, originX, tileW);
      if (!runPiece(job, px, py, pxEnd - px, pyEnd - py)) return;
      px = pxEnd;
    }
    py = pyEnd;
  }
}

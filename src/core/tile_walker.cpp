// The tile walk: when any image of a call is tiled, the rectangle is cut into
// cells along every tile edge of every image, and the kernel runs once per
// cell on private copies of the records whose ROIs select that cell.
//
// Equivalent loop:
//   for each band (rows up to the next tile row edge of any image):
//     ask each tiled image for the tile at (first col, band row)
//     for each cell (columns up to the next tile column edge of any image):
//       move on to the next tile of each image whose tile the cell leaves
//       run the kernel on the cell
//     release each image's tile in hand
//
// Plain images take part by having their private ROI advanced.  A source that
// is the destination record reads through the destination's tile.  The walk
// allocates nothing.
#include <algorithm>

#include "core/frame.h"
#include "core/image.h"
#include "core/report.h"

namespace vrn {
namespace {

constexpr int kUnbounded = 0x7FFFFFFF;

// One image's part in the walk.
struct Walker {
  const VrnImage* original = nullptr;  // the caller's record: the callback's argument
  VrnImage priv{};                     // what the kernel sees
  VrnROI roi{};
  const char* failText = nullptr;
  int mode = VRN_TILE_READ;
  bool tiled = false;
  int startX = 0, startY = 0, endX = 0, endY = 0, curX = 0, curY = 0;
  int tileW = 0, tileH = 0;
  int firstCol = 0, col = 0, row = 0;
  int x0 = 0, x1 = 0, y0 = 0, y1 = 0;

  void setUp(const VrnImage* image, int width, int height, int m, const char* text) {
    original = image;
    priv = *image;
    mode = m;
    failText = text;
    const ImageRect r = clippedRoi(image);
    roi = VrnROI{image->roi ? image->roi->coi : 0, r.x, r.y, width, height};
    priv.roi = &roi;
    startX = curX = r.x;
    startY = curY = r.y;
    endX = r.x + width;
    endY = r.y + height;
    tiled = image->tileInfo != nullptr;
    if (!tiled) return;
    tileW = image->tileInfo->width;
    tileH = image->tileInfo->height;
    const RowLayout tile = rowLayout(image->depth, image->nChannels, image->dataOrder, image->align,
                                     tileW, tileH);
    priv.tileInfo = nullptr;
    priv.width = tileW;
    priv.height = tileH;
    priv.widthStep = static_cast<int>(tile.widthStep);
    priv.imageSize = static_cast<int>(tile.imageSize);
    priv.imageData = nullptr;
    firstCol = startX / tileW;
    row = startY / tileH - 1;  // the first band moves onto the first tile row
    y0 = row * tileH;
    y1 = y0 + tileH;
  }

  // Asks for the tile (col, row); false if none was delivered.
  bool request(const char* func, int c, int m) {
    VrnTileInfo* info = original->tileInfo;
    info->callBack(original, c, row, m);
    priv.imageData = info->tileData;
    if (!priv.imageData) {
      VRN_REPORT(VRN_StsBadArg, func, failText);
      return false;
    }
    return true;
  }

  void release() { original->tileInfo->callBack(original, col, row, VRN_TILE_RELEASE); }

  // Enters a band at the current y; the band height this image allows.
  bool enterBand(const char* func, int* bandHeight) {
    if (!tiled) {
      *bandHeight = endY - curY;
      roi.yOffset = curY;
      return true;
    }
    if (curY >= y1) {
      ++row;
      y0 += tileH;
      y1 += tileH;
    }
    col = firstCol;
    x0 = col * tileW;
    x1 = x0 + tileW;
    if (!request(func, col, mode)) return false;
    roi.yOffset = curY - y0;
    *bandHeight = std::min(y1, endY) - curY;
    return true;
  }

  // Enters a cell at the current x; the cell width this image allows.
  bool enterCell(const char* func, int* cellWidth) {
    if (!tiled) {
      *cellWidth = endX - curX;
      roi.xOffset = curX;
      return true;
    }
    if (curX >= x1) {
      release();
      ++col;
      x0 += tileW;
      x1 += tileW;
      if (!request(func, col, mode)) return false;
    }
    roi.xOffset = curX - x0;
    *cellWidth = std::min(x1, endX) - curX;
    return true;
  }
};

}  // namespace

bool runKernel(const char* func, const KernelArgs& args, Kernel kernel, const TileTexts& texts) {
  const bool anyTiled = args.dst->tileInfo || (args.srcA && args.srcA->tileInfo) ||
                        (args.srcB && args.srcB->tileInfo);
  if (!anyTiled) {
    kernel(args);
    return true;
  }

  // The rectangle, unclamped: the smallest clipped size of all images.
  int width = kUnbounded, height = kUnbounded;
  for (const VrnImage* image : {args.srcA, args.srcB, args.mask, static_cast<const VrnImage*>(args.dst)}) {
    if (!image) continue;
    const ImageRect r = clippedRoi(image);
    width = std::min(width, r.width);
    height = std::min(height, r.height);
  }

  Walker dst, srcA, srcB, mask;
  Walker* walkers[4];
  int n = 0;
  dst.setUp(args.dst, width, height, VRN_TILE_WRITE, texts.dst);
  KernelArgs cell = args;
  cell.dst = &dst.priv;
  if (args.srcA) {
    if (args.srcA == args.dst) {
      cell.srcA = &dst.priv;
    } else {
      srcA.setUp(args.srcA, width, height, VRN_TILE_READ, texts.srcA);
      cell.srcA = &srcA.priv;
      walkers[n++] = &srcA;
    }
  }
  if (args.srcB) {
    if (args.srcB == args.dst) {
      cell.srcB = &dst.priv;
    } else {
      srcB.setUp(args.srcB, width, height, VRN_TILE_READ, texts.srcB);
      cell.srcB = &srcB.priv;
      walkers[n++] = &srcB;
    }
  }
  if (args.mask) {
    mask.setUp(args.mask, width, height, VRN_TILE_READ, nullptr);
    cell.mask = &mask.priv;
    walkers[n++] = &mask;
  }
  walkers[n++] = &dst;  // the destination comes last in every step

  while (dst.curY < dst.endY) {
    int rows = kUnbounded;
    for (int i = 0; i < n; ++i) {
      int band;
      if (!walkers[i]->enterBand(func, &band)) return false;
      rows = std::min(rows, band);
    }
    for (int i = 0; i < n; ++i) walkers[i]->curX = walkers[i]->startX;
    while (dst.curX < dst.endX) {
      int cellWidth = kUnbounded;
      for (int i = 0; i < n; ++i) {
        int w;
        if (!walkers[i]->enterCell(func, &w)) return false;
        cellWidth = std::min(cellWidth, w);
      }
      for (int i = 0; i < n; ++i) {
        walkers[i]->roi.width = cellWidth;
        walkers[i]->roi.height = rows;
      }
      kernel(cell);
      for (int i = 0; i < n; ++i) walkers[i]->curX += cellWidth;
    }
    for (int i = 0; i < n; ++i) {
      if (walkers[i]->tiled) walkers[i]->release();
      walkers[i]->curY += rows;
    }
  }
  return true;
}

}  // namespace vrn

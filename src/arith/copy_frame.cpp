// The copy family's frame and tile walk.
//
// Equivalent loop of the walk (src and dst in their own coordinates):
//   for each band (rows up to the next tile row edge of either image):
//     ask each tiled image for its tile at the band's first column
//     for each cell (columns up to the next tile column edge of either image):
//       move on to the next tile of an image whose tile the cell leaves
//       run the cell operation
//     release each image's tile in hand
// A plain image takes part with its own buffer.  The mask is never tiled;
// its bits are addressed relative to the rectangle.
#include "arith/copy_frame.h"

#include <algorithm>

#include "core/image.h"
#include "core/report.h"

namespace vrn {
namespace {

// The family's rectangle of one image; false when it ends the call.
bool familyRect(const VrnImage* image, int* x, int* y, int* w, int* h) {
  const VrnROI* roi = image->roi;
  if (!roi) {
    *x = *y = 0;
    *w = image->width;
    *h = image->height;
    return true;
  }
  if (roi->width < 1 || roi->height < 1 || roi->xOffset >= image->width ||
      roi->yOffset >= image->height)
    return false;
  *x = roi->xOffset;
  *y = roi->yOffset;
  *w = roi->width;
  *h = roi->height;
  if (*x < 0) {
    *w += *x;
    *x = 0;
  }
  if (*y < 0) {
    *h += *y;
    *y = 0;
  }
  *w = std::min(*w, image->width - *x);
  *h = std::min(*h, image->height - *y);
  return *w >= 1 && *h >= 1;
}

int firstChannel(const VrnImage* image) {
  return image->roi && image->roi->coi > 0 ? image->roi->coi - 1 : 0;
}

// Channels worked: 1 with a COI, else all but an alpha channel.
int processedChannels(const VrnImage* image) {
  if (image->roi && image->roi->coi > 0) return 1;
  return image->alphaChannel > 0 ? image->nChannels - 1 : image->nChannels;
}

// One image's part in the walk.
struct Side {
  VrnImage* image = nullptr;
  int mode = VRN_TILE_READ;
  bool tiled = false;
  int startX = 0, startY = 0;
  int tileW = 0, tileH = 0;
  ptrdiff_t step = 0, planeStep = 0;
  int channel = 0;
  int col = 0, row = 0;
  char* base = nullptr;

  void setUp(VrnImage* im, int m, int x, int y) {
    image = im;
    mode = m;
    startX = x;
    startY = y;
    channel = firstChannel(im);
    tiled = im->tileInfo != nullptr;
    if (tiled) {
      tileW = im->tileInfo->width;
      tileH = im->tileInfo->height;
      const RowLayout tile = rowLayout(im->depth, im->nChannels, im->dataOrder, im->align, tileW, tileH);
      step = tile.widthStep;
      planeStep = static_cast<ptrdiff_t>(tileH) * step;
    } else {
      step = im->widthStep;
      planeStep = static_cast<ptrdiff_t>(im->height) * step;
      base = im->imageData;
    }
  }

  bool request(const char* func, int c, int r) {
    col = c;
    row = r;
    VrnTileInfo* info = image->tileInfo;
    info->callBack(image, col, row, mode);
    base = info->tileData;
    if (!base) {
      VRN_REPORT(kTileStatus, func,
                 mode == VRN_TILE_READ ? "Error get tile to read" : "Error get tile to write");
      return false;
    }
    return true;
  }
  void release() { image->tileInfo->callBack(image, col, row, VRN_TILE_RELEASE); }

  // The surface at (x, y) of the buffer in hand (tile or image).
  CopySurface at(int x, int y, int sampleBytes) const {
    CopySurface s;
    s.step = step;
    s.planeStep = planeStep;
    s.nChannels = image->nChannels;
    char* rowStart = base + static_cast<ptrdiff_t>(y) * step;
    if (sampleBytes == 0) {
      s.data = rowStart + x / 8;
      s.bitOffset = x % 8;
    } else if (image->dataOrder == VRN_DATA_ORDER_PLANE) {
      s.data = rowStart + channel * planeStep + static_cast<ptrdiff_t>(x) * sampleBytes;
    } else {
      s.data = rowStart + (channel + static_cast<ptrdiff_t>(x) * image->nChannels) * sampleBytes;
    }
    return s;
  }
};

}  // namespace

CopyFrame::~CopyFrame() {
  if (merged_) vrnDeallocate(merged_, VRN_FREE_HEADER | VRN_FREE_DATA | VRN_FREE_ROI | VRN_FREE_TILE | VRN_FREE_MASK);
}

bool CopyFrame::takeRect(const VrnImage* image, int index) {
  int w, h;
  if (!familyRect(image, &x_[index], &y_[index], &w, &h)) return false;
  width_ = std::min(width_, w);
  height_ = std::min(height_, h);
  return true;
}

bool CopyFrame::resolveMasks(const VrnImage* a, const VrnImage* b) {
  if (!a || !b || a == b) {
    mask_ = a ? a : b;
    return !mask_ || takeRect(mask_, 2);
  }
  // Two masks: a new mask holding their AND over the smaller rectangle.
  int ax, ay, aw, ah, bx, by, bw, bh;
  if (!familyRect(a, &ax, &ay, &aw, &ah) || !familyRect(b, &bx, &by, &bw, &bh)) return false;
  const int w = std::min(aw, bw), h = std::min(ah, bh);
  char gray[4] = {'G', 'R', 'A', 'Y'}, g[4] = {'G', ' ', ' ', ' '};
  merged_ = vrnCreateImageHeader(1, 0, VRN_DEPTH_1U, gray, g, VRN_DATA_ORDER_PLANE, a->origin, 4, w,
                                 h, nullptr, nullptr, nullptr, nullptr);
  if (merged_) vrnAllocateImage(merged_, 0, 0);
  if (!merged_ || !merged_->imageData) {
    VRN_REPORT(VRN_StsBackTrace, func_, "");
    return false;
  }
  auto both = [](uint8_t p, uint8_t q) { return static_cast<uint8_t>(p & q); };
  for (int y = 0; y < h; ++y) {
    const auto* ra = reinterpret_cast<const uint8_t*>(a->imageData) + (ay + y) * static_cast<ptrdiff_t>(a->widthStep);
    const auto* rb = reinterpret_cast<const uint8_t*>(b->imageData) + (by + y) * static_cast<ptrdiff_t>(b->widthStep);
    bitRow(reinterpret_cast<uint8_t*>(merged_->imageData) + y * static_cast<ptrdiff_t>(merged_->widthStep), 0, w,
           both, BitSpan{ra + ax / 8, ax % 8}, BitSpan{rb + bx / 8, bx % 8});
  }
  mask_ = merged_;
  return takeRect(mask_, 2);
}

bool CopyFrame::preparePair(VrnImage* src, VrnImage* dst) {
  bool ok = true;
  for (const VrnImage* image : {src, dst}) {
    const int status = vrnCheckImageHeader(image);
    if (status != VRN_StsOk) {
      VRN_REPORT(status, func_, "Incorrect Image");
      ok = false;
    }
  }
  if (!ok) return false;
  // Reported one after the other; the status test below ends the call.
  if (src->depth != dst->depth) VRN_REPORT(VRN_StsBadArg, func_, "srcImage->depth != dstImage->depth");
  if (src->origin != dst->origin) VRN_REPORT(VRN_StsBadArg, func_, "srcImage->origin != dstImage->origin");
  if (src->depth != VRN_DEPTH_1U && !(src->nChannels == 1 && dst->nChannels == 1) &&
      src->dataOrder != dst->dataOrder)
    VRN_REPORT(VRN_StsBadArg, func_, "srcImage->dataOrder != dstImage->dataOrder");
  // A negative status, even one left by an earlier call, ends the call here.
  if (vrnGetErrStatus() < 0 || src == dst) return false;
  images_[0] = src;
  images_[1] = dst;
  if (processedChannels(src) < 1 || processedChannels(dst) < 1) return false;
  if (!takeRect(src, 0) || !takeRect(dst, 1)) return false;
  return resolveMasks(src->maskROI, dst->maskROI);
}

bool CopyFrame::prepareSingle(VrnImage* image) {
  images_[1] = image;
  if (processedChannels(image) < 1) return false;
  if (!takeRect(image, 1)) return false;
  mask_ = image->maskROI;
  return !mask_ || takeRect(mask_, 2);
}

bool CopyFrame::channelsAgree() {
  if (processedChannels(images_[0]) == processedChannels(images_[1])) return true;
  VRN_REPORT(VRN_StsBadArg, func_,
             "Number of processed channels of srcImage != Number of processed channels of dstImage");
  return false;
}

bool CopyFrame::run(CellOp op, const void* params, int srcMode) {
  const VrnImage* src = images_[0];
  const VrnImage* dst = images_[1];
  CopyLayout layout;
  layout.sampleBytes = depthBits(dst->depth) / 8;
  layout.planeOrder = layout.sampleBytes > 0 && dst->dataOrder == VRN_DATA_ORDER_PLANE;
  layout.count = processedChannels(dst);
  layout.planes = layout.planeOrder ? layout.count : 1;
  layout.run = !layout.planeOrder && !mask_ && layout.count == dst->nChannels &&
               (!src || (src->nChannels == dst->nChannels && processedChannels(src) == src->nChannels));

  Side sides[2];
  int n = 0;
  if (images_[0]) sides[n++].setUp(images_[0], srcMode, x_[0], y_[0]);
  sides[n++].setUp(images_[1], VRN_TILE_WRITE, x_[1], y_[1]);
  Side* srcSide = images_[0] ? &sides[0] : nullptr;
  Side* dstSide = &sides[n - 1];

  auto runCell = [&](int rx, int ry, int w, int h) {
    CopyCell cell;
    for (Side* s : {srcSide, dstSide}) {
      if (!s) continue;
      const int x = s->startX + rx - (s->tiled ? s->col * s->tileW : 0);
      const int y = s->startY + ry - (s->tiled ? s->row * s->tileH : 0);
      cell.image[s == dstSide ? 1 : 0] = s->at(x, y, layout.sampleBytes);
    }
    if (mask_) {
      const int bit = x_[2] + rx;
      cell.mask = {reinterpret_cast<const uint8_t*>(mask_->imageData) +
                       static_cast<ptrdiff_t>(y_[2] + ry) * mask_->widthStep + bit / 8,
                   bit % 8};
      cell.maskStep = mask_->widthStep;
    }
    cell.width = w;
    cell.height = h;
    op(cell, layout, params);
  };

  bool anyTiled = false;
  for (int i = 0; i < n; ++i) anyTiled |= sides[i].tiled;
  if (!anyTiled) {
    runCell(0, 0, width_, height_);
    return true;
  }
  for (int ry = 0; ry < height_;) {
    int rows = height_ - ry;
    for (int i = 0; i < n; ++i) {
      Side& s = sides[i];
      if (!s.tiled) continue;
      if (!s.request(func_, s.startX / s.tileW, (s.startY + ry) / s.tileH)) return false;
      rows = std::min(rows, (s.row + 1) * s.tileH - (s.startY + ry));
    }
    for (int rx = 0; rx < width_;) {
      int cols = width_ - rx;
      for (int i = 0; i < n; ++i) {
        Side& s = sides[i];
        if (!s.tiled) continue;
        const int col = (s.startX + rx) / s.tileW;
        if (col != s.col) {
          s.release();
          if (!s.request(func_, col, s.row)) return false;
        }
        cols = std::min(cols, (s.col + 1) * s.tileW - (s.startX + rx));
      }
      runCell(rx, ry, cols, rows);
      rx += cols;
    }
    for (int i = 0; i < n; ++i)
      if (sides[i].tiled) sides[i].release();
    ry += rows;
  }
  return true;
}

}  // namespace vrn

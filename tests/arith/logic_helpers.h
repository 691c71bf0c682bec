// Small helpers of the logic and copy tests: images of any depth and layout
// with seeded content, a report recorder, and sample access.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <array>
#include <vector>

#include "vrn.h"

namespace logictest {

inline VrnImage* makeImage(int depth, int channels, int width, int height, int alpha = 0,
                           int order = VRN_DATA_ORDER_PIXEL, int align = 4, uint32_t seed = 1,
                           int origin = VRN_ORIGIN_TOP) {
  char m[4] = {'R', 'G', 'B', 0}, s[4] = {'R', 'G', 'B', 0};
  VrnImage* im = vrnCreateImageHeader(channels, alpha, depth, m, s, order, origin, align, width,
                                      height, nullptr, nullptr, nullptr, nullptr);
  if (!im) return nullptr;
  if (depth == VRN_DEPTH_32F)
    vrnAllocateImageFP(im, 0, 0.0f);
  else
    vrnAllocateImage(im, 0, 0);
  std::mt19937 rng(seed);
  for (int i = 0; i < im->imageSize; ++i) im->imageData[i] = static_cast<char>(rng());
  return im;
}

inline void freeImage(VrnImage* im) {
  vrnDeallocate(im, VRN_FREE_HEADER | VRN_FREE_DATA | VRN_FREE_ROI);
}

struct Report {
  int status;
  std::string func, context;
};

// Records every report of the thread while alive, and clears the status.
class Reports {
 public:
  Reports() {
    list().clear();
    old_ = vrnRedirectError(&record);
    vrnSetErrStatus(0);
  }
  ~Reports() {
    vrnRedirectError(old_);
    vrnSetErrStatus(0);
  }
  const std::vector<Report>& all() const { return list(); }
  static std::vector<Report>& list() {
    static thread_local std::vector<Report> r;
    return r;
  }

 private:
  static int record(int status, const char* func, const char* context, const char*, int) {
    list().push_back({status, func ? func : "", context ? context : ""});
    return status;
  }
  VrnErrorHandler old_;
};

inline std::vector<uint8_t> bytesOf(const VrnImage* im) {
  return std::vector<uint8_t>(im->imageData, im->imageData + im->imageSize);
}

inline bool bit(const VrnImage* im, int x, int y) {
  const uint8_t b = static_cast<uint8_t>(im->imageData[y * im->widthStep + x / 8]);
  return (b >> (7 - x % 8)) & 1;
}

template <class T>
T& at(const VrnImage* im, int x, int y, int c) {
  if (im->dataOrder == VRN_DATA_ORDER_PLANE)
    return reinterpret_cast<T*>(im->imageData + c * im->height * im->widthStep + y * im->widthStep)[x];
  return reinterpret_cast<T*>(im->imageData + y * im->widthStep)[x * im->nChannels + c];
}

// A tiled twin of a plain image: tiles of tw x th held here, served by the
// callback, every request recorded; withholdMode makes requests of that mode
// deliver nothing.
class TileServer {
 public:
  TileServer(const VrnImage* plain, int tw, int th) : tw_(tw), th_(th) {
    char m[4] = {'R', 'G', 'B', 0}, s[4] = {'R', 'G', 'B', 0};
    VrnImage* tile = vrnCreateImageHeader(plain->nChannels, plain->alphaChannel, plain->depth, m, s,
                                          plain->dataOrder, plain->origin, plain->align, tw, th,
                                          nullptr, nullptr, nullptr, nullptr);
    step_ = tile->widthStep;
    size_ = tile->imageSize;
    vrnDeallocate(tile, VRN_FREE_HEADER);
    cols_ = (plain->width + tw - 1) / tw;
    rows_ = (plain->height + th - 1) / th;
    tiles_.assign(static_cast<size_t>(cols_ * rows_), std::vector<char>(static_cast<size_t>(size_)));
    info_ = vrnCreateTileInfo(&serve, this, tw, th);
    image_ = vrnCreateImageHeader(plain->nChannels, plain->alphaChannel, plain->depth, m, s,
                                  plain->dataOrder, plain->origin, plain->align, plain->width,
                                  plain->height, nullptr, nullptr, nullptr, info_);
    transfer(const_cast<VrnImage*>(plain), true);
  }
  ~TileServer() {
    vrnDeallocate(image_, VRN_FREE_HEADER | VRN_FREE_TILE);
  }
  VrnImage* image() const { return image_; }
  // Copies the tiles' pixels into a plain image of the same format.
  void toPlain(VrnImage* plain) { transfer(plain, false); }

  std::vector<std::array<int, 3>> calls;  // col, row, mode
  int withholdMode = 0;

 private:
  static void serve(const VrnImage* image, int col, int row, int mode) {
    auto* self = static_cast<TileServer*>(image->tileInfo->id);
    self->calls.push_back({col, row, mode});
    if (mode == VRN_TILE_RELEASE) return;
    image->tileInfo->tileData =
        mode == self->withholdMode ? nullptr : self->tiles_[static_cast<size_t>(row * self->cols_ + col)].data();
  }

  // Moves every sample (or bit) between the plain image and the tiles.
  void transfer(VrnImage* plain, bool intoTiles) {
    const int bits = plain->depth & VRN_DEPTH_MASK;
    const bool planes = plain->dataOrder == VRN_DATA_ORDER_PLANE;
    for (int y = 0; y < plain->height; ++y)
      for (int x = 0; x < plain->width; ++x)
        for (int c = 0; c < plain->nChannels; ++c) {
          char* tile = tiles_[static_cast<size_t>((y / th_) * cols_ + x / tw_)].data();
          const int tx = x % tw_, ty = y % th_;
          if (bits == 1) {
            char* p = plain->imageData + y * plain->widthStep + x / 8;
            char* t = tile + ty * step_ + tx / 8;
            const int pm = 0x80 >> (x % 8), tm = 0x80 >> (tx % 8);
            if (intoTiles)
              *t = static_cast<char>((*p & pm) ? (*t | tm) : (*t & ~tm));
            else
              *p = static_cast<char>((*t & tm) ? (*p | pm) : (*p & ~pm));
            continue;
          }
          const int bytes = bits / 8;
          char* p = plain->imageData + (planes ? c * plain->height * plain->widthStep + y * plain->widthStep + x * bytes
                                                : y * plain->widthStep + (x * plain->nChannels + c) * bytes);
          char* t = tile + (planes ? c * th_ * step_ + ty * step_ + tx * bytes
                                   : ty * step_ + (tx * plain->nChannels + c) * bytes);
          if (intoTiles)
            std::memcpy(t, p, static_cast<size_t>(bytes));
          else
            std::memcpy(p, t, static_cast<size_t>(bytes));
        }
  }

  int tw_, th_, step_ = 0, size_ = 0, cols_ = 0, rows_ = 0;
  std::vector<std::vector<char>> tiles_;
  VrnTileInfo* info_ = nullptr;
  VrnImage* image_ = nullptr;
};

// The pixels of the rectangle (x, y, w, h) of every channel, as bytes or bits.
inline std::vector<uint8_t> region(const VrnImage* im, int x0, int y0, int w, int h) {
  std::vector<uint8_t> out;
  const int bits = im->depth & VRN_DEPTH_MASK;
  for (int y = y0; y < y0 + h; ++y)
    for (int x = x0; x < x0 + w; ++x) {
      if (bits == 1) {
        out.push_back(bit(im, x, y));
        continue;
      }
      for (int c = 0; c < im->nChannels; ++c)
        for (int b = 0; b < bits / 8; ++b) {
          const char* p = im->dataOrder == VRN_DATA_ORDER_PLANE
                              ? im->imageData + c * im->height * im->widthStep + y * im->widthStep + x * bits / 8
                              : im->imageData + y * im->widthStep + (x * im->nChannels + c) * bits / 8;
          out.push_back(static_cast<uint8_t>(p[b]));
        }
    }
  return out;
}

}  // namespace logictest

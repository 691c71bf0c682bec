// Images for the filter tests: seeded images of any depth and layout, and a
// small tile server that serves a plain image as tiles and checks that at
// most one tile is held at a time.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "vrn.h"

namespace filtertest {

inline int sampleBytes(int depth) { return (depth & VRN_DEPTH_MASK) / 8; }

// An allocated image with seeded random content (32F: whole numbers in -300..300
// plus a fraction), freed on scope exit.
class TestImage {
 public:
  TestImage(int depth, int channels, int order, int width, int height, uint32_t seed, int align = 8,
            int alpha = 0) {
    char model[4] = {'R', 'G', 'B', 'A'}, seq[4] = {'R', 'G', 'B', 'A'};
    image_ = vrnCreateImageHeader(channels, alpha, depth, model, seq, order, VRN_ORIGIN_TOP, align,
                                  width, height, nullptr, nullptr, nullptr, nullptr);
    if (depth == VRN_DEPTH_32F)
      vrnAllocateImageFP(image_, 0, 0.0f);
    else
      vrnAllocateImage(image_, 0, 0);
    randomize(seed);
  }
  ~TestImage() { vrnDeallocate(image_, VRN_FREE_HEADER | VRN_FREE_DATA | VRN_FREE_ROI); }
  TestImage(const TestImage&) = delete;
  TestImage& operator=(const TestImage&) = delete;

  void randomize(uint32_t seed) {
    std::mt19937 rng(seed);
    if (image_->depth == VRN_DEPTH_32F) {
      auto* f = reinterpret_cast<float*>(image_->imageData);
      for (int i = 0; i < image_->imageSize / 4; ++i)
        f[i] = static_cast<float>(static_cast<int>(rng() % 601) - 300) + static_cast<float>(rng() % 64) / 64.0f;
    } else {
      for (int i = 0; i < image_->imageSize; ++i) image_->imageData[i] = static_cast<char>(rng());
    }
  }
  VrnImage* get() const { return image_; }
  VrnImage* operator->() const { return image_; }

 private:
  VrnImage* image_ = nullptr;
};

// Byte address of sample (x, y, c) of a plain image (depth 8 and above).
inline char* sampleAt(const VrnImage* im, int x, int y, int c) {
  const int sb = sampleBytes(im->depth);
  if (im->dataOrder == VRN_DATA_ORDER_PLANE)
    return im->imageData + static_cast<ptrdiff_t>(c) * im->height * im->widthStep +
           static_cast<ptrdiff_t>(y) * im->widthStep + static_cast<ptrdiff_t>(x) * sb;
  return im->imageData + static_cast<ptrdiff_t>(y) * im->widthStep +
         (static_cast<ptrdiff_t>(x) * im->nChannels + c) * sb;
}

// Sample (x, y, c) widened to double (bit value at depth 1).
inline double sampleValue(const VrnImage* im, int x, int y, int c) {
  if (im->depth == VRN_DEPTH_1U) {
    const auto* row = reinterpret_cast<const unsigned char*>(im->imageData) + static_cast<ptrdiff_t>(y) * im->widthStep;
    return (row[x >> 3] >> (7 - (x & 7))) & 1;
  }
  const char* p = sampleAt(im, x, y, c);
  switch (im->depth) {
    case VRN_DEPTH_8U: return *reinterpret_cast<const uint8_t*>(p);
    case VRN_DEPTH_8S: return *reinterpret_cast<const int8_t*>(p);
    case VRN_DEPTH_16U: return *reinterpret_cast<const uint16_t*>(p);
    case VRN_DEPTH_16S: return *reinterpret_cast<const int16_t*>(p);
    case VRN_DEPTH_32S: return *reinterpret_cast<const int32_t*>(p);
    default: return *reinterpret_cast<const float*>(p);
  }
}

// The position that i of a line of n pixels reads under a border mode (1..3).
inline long long mapBorder(long long i, long long n, int mode) {
  if (mode == VRN_BORDER_REPLICATE) return i < 0 ? 0 : (i >= n ? n - 1 : i);
  if (mode == VRN_BORDER_REFLECT) {
    const long long m = ((i % (2 * n)) + 2 * n) % (2 * n);
    return m < n ? m : 2 * n - 1 - m;
  }
  return ((i % n) + n) % n;
}

// The bordered value of `im` at position (x, y), channel c, read per pixel:
// the outcode picks the side (top or bottom decide at corners), the side's
// mode (low two bits) maps the position in both axes for rows outside, or its
// constant, converted by depth, is taken.  `pixels` holds the image's samples.
inline double borderedValue(const VrnImage* im, const VrnImage* pixels, long long x, long long y, int c) {
  const int side = y < 0 ? 0 : y >= im->height ? 1 : x < 0 ? 2 : x >= im->width ? 3 : -1;
  if (side < 0) return sampleValue(pixels, static_cast<int>(x), static_cast<int>(y), c);
  const int mode = im->borderMode[side] & 3;
  if (mode == VRN_BORDER_CONSTANT) {
    const int k = im->borderConst[side];
    switch (im->depth) {
      case VRN_DEPTH_1U: return k & 1;
      case VRN_DEPTH_8U: return static_cast<uint8_t>(k);
      case VRN_DEPTH_8S: return static_cast<int8_t>(k);
      case VRN_DEPTH_16U: return static_cast<uint16_t>(k);
      case VRN_DEPTH_16S: return static_cast<int16_t>(k);
      case VRN_DEPTH_32S: return k;
      default: return static_cast<float>(k);
    }
  }
  if (side <= 1) y = mapBorder(y, im->height, mode);
  x = mapBorder(x, im->width, mode);
  return sampleValue(pixels, static_cast<int>(x), static_cast<int>(y), c);
}

// Serves a plain image as tiles of tw x th through the tile callback.  The
// tiles are copies; after a call, store() writes them back into the plain
// image.  Counts requests and fails if a second tile is opened while one is held.
class TileServer {
 public:
  TileServer(VrnImage* flat, int tw, int th) : flat_(flat), tw_(tw), th_(th) {
    header_ = *flat;
    info_ = VrnTileInfo{&TileServer::callback, this, nullptr, tw, th};
    header_.tileInfo = &info_;
    header_.imageData = nullptr;
    header_.dataBlock = nullptr;
    header_.roi = nullptr;
    header_.maskROI = nullptr;
    cols_ = (flat->width + tw - 1) / tw;
    rows_ = (flat->height + th - 1) / th;
    char model[4] = {'R', 'G', 'B', 'A'};
    for (int r = 0; r < rows_; ++r)
      for (int c = 0; c < cols_; ++c) {
        VrnImage* t = vrnCreateImageHeader(flat->nChannels, flat->alphaChannel, flat->depth, model, model,
                                           flat->dataOrder, flat->origin, flat->align, tw, th, nullptr,
                                           nullptr, nullptr, nullptr);
        if (flat->depth == VRN_DEPTH_32F)
          vrnAllocateImageFP(t, 1, 0.0f);
        else
          vrnAllocateImage(t, 1, 0);
        tiles_.push_back(t);
      }
    load();
  }
  ~TileServer() {
    for (VrnImage* t : tiles_) vrnDeallocate(t, VRN_FREE_HEADER | VRN_FREE_DATA);
  }
  VrnImage* get() { return &header_; }
  int requests = 0, releases = 0, overlaps = 0;
  bool withhold = false;

  // Copies between the plain image and the tiles, byte rows of each tile.
  void load() { transfer(true); }
  void store() { transfer(false); }

 private:
  void transfer(bool toTiles) {
    const int bits = flat_->depth & VRN_DEPTH_MASK;
    const int planes = flat_->dataOrder == VRN_DATA_ORDER_PLANE ? flat_->nChannels : 1;
    const int perPixel = flat_->dataOrder == VRN_DATA_ORDER_PLANE ? bits : bits * flat_->nChannels;
    for (int r = 0; r < rows_; ++r)
      for (int c = 0; c < cols_; ++c) {
        VrnImage* t = tiles_[r * cols_ + c];
        const int w = std::min(tw_, flat_->width - c * tw_), h = std::min(th_, flat_->height - r * th_);
        const int from = c * tw_ * perPixel / 8, bytes = (w * perPixel + 7) / 8;
        for (int p = 0; p < planes; ++p)
          for (int y = 0; y < h; ++y) {
            char* fp = flat_->imageData + static_cast<ptrdiff_t>(p) * flat_->height * flat_->widthStep +
                       static_cast<ptrdiff_t>(r * th_ + y) * flat_->widthStep + from;
            char* tp = t->imageData + static_cast<ptrdiff_t>(p) * th_ * t->widthStep + static_cast<ptrdiff_t>(y) * t->widthStep;
            if (toTiles)
              std::memcpy(tp, fp, bytes);
            else
              std::memcpy(fp, tp, bytes);
          }
      }
  }
  static void callback(const VrnImage* image, int col, int row, int mode) {
    auto* self = static_cast<TileServer*>(image->tileInfo->id);
    if (mode == VRN_TILE_RELEASE) {
      ++self->releases;
      --self->held_;
      return;
    }
    ++self->requests;
    if (self->held_ > 0) ++self->overlaps;
    ++self->held_;
    const bool inside = col >= 0 && row >= 0 && col < self->cols_ && row < self->rows_;
    image->tileInfo->tileData =
        self->withhold || !inside ? nullptr : self->tiles_[row * self->cols_ + col]->imageData;
  }

  VrnImage* flat_;
  int tw_, th_, cols_, rows_;
  int held_ = 0;
  VrnImage header_{};
  VrnTileInfo info_{};
  std::vector<VrnImage*> tiles_;
};

}  // namespace filtertest

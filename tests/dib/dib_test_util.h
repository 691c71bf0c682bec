// Helpers of the bitmap tests: a report catcher, DIB builders and image
// builders with seeded content.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <array>
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "vrn.h"

namespace dibtest {

struct Report {
  int status;
  std::string func, context;
};

// Installs a recording handler in silent-free parent mode for its lifetime.
class ReportCatcher {
 public:
  ReportCatcher() {
    reports().clear();
    oldMode_ = vrnGetErrMode();
    vrnSetErrMode(VRN_ErrorModeParent);
    old_ = vrnRedirectError(&handler);
    vrnSetErrStatus(0);
  }
  ~ReportCatcher() {
    vrnRedirectError(old_);
    vrnSetErrMode(oldMode_);
    vrnSetErrStatus(0);
  }
  const std::vector<Report>& all() const { return reports(); }
  bool empty() const { return reports().empty(); }
  const Report& last() const { return reports().back(); }
  void clear() {
    reports().clear();
    vrnSetErrStatus(0);
  }

 private:
  static std::vector<Report>& reports() {
    thread_local std::vector<Report> r;
    return r;
  }
  static int handler(int status, const char* func, const char* context, const char*, int) {
    reports().push_back({status, func ? func : "", context ? context : ""});
    return 0;
  }
  VrnErrorHandler old_;
  int oldMode_;
};

#define EXPECT_REPORT(catcher, st, fn, text)               \
  do {                                                     \
    ASSERT_FALSE((catcher).empty());                       \
    EXPECT_EQ((catcher).last().status, (st));              \
    EXPECT_EQ((catcher).last().func, std::string(fn));     \
    EXPECT_EQ((catcher).last().context, std::string(text)); \
  } while (0)

inline BITMAPINFOHEADER header(int width, int height, int bitCount, uint32_t compression = BI_RGB,
                               uint32_t clrUsed = 0) {
  BITMAPINFOHEADER h{};
  h.biSize = 40;
  h.biWidth = width;
  h.biHeight = height;
  h.biPlanes = 1;
  h.biBitCount = static_cast<uint16_t>(bitCount);
  h.biCompression = compression;
  h.biClrUsed = clrUsed;
  return h;
}

inline size_t rowBytes(int width, int bitCount) {
  return static_cast<size_t>((static_cast<int64_t>(width) * bitCount + 31) / 32 * 4);
}

// A packed DIB in a byte vector: header, table of `entries` entries, rows.
struct PackedDib {
  std::vector<uint8_t> bytes;
  BITMAPINFOHEADER* h() { return reinterpret_cast<BITMAPINFOHEADER*>(bytes.data()); }
  uint8_t* table() { return bytes.data() + 40; }
  uint8_t* pixels() { return bytes.data() + 40 + 4 * entries; }
  size_t entries = 0;
};

inline PackedDib makeDib(const BITMAPINFOHEADER& hdr, size_t entries, size_t pixelBytes) {
  PackedDib d;
  d.entries = entries;
  d.bytes.assign(40 + 4 * entries + pixelBytes, 0);
  std::memcpy(d.bytes.data(), &hdr, 40);
  return d;
}

// A new allocated image with seeded random content.
inline VrnImage* makeImage(int nChannels, int depth, int width, int height, const char* seq,
                           int order = VRN_DATA_ORDER_PIXEL, int origin = VRN_ORIGIN_TOP,
                           int alpha = 0, uint32_t seed = 1, int align = 4) {
  char model[4] = {'R', 'G', 'B', 0}, s[4] = {0, 0, 0, 0};
  std::memcpy(s, seq, std::min<size_t>(4, std::strlen(seq)));
  VrnImage* im = vrnCreateImageHeader(nChannels, alpha, depth, model, s, order, origin, align,
                                      width, height, nullptr, nullptr, nullptr, nullptr);
  if (!im) return nullptr;
  if (depth == VRN_DEPTH_32F)
    vrnAllocateImageFP(im, 1, 0.0f);
  else
    vrnAllocateImage(im, 1, 0);
  std::mt19937 rng(seed);
  for (int i = 0; i < im->imageSize; ++i) im->imageData[i] = static_cast<char>(rng());
  return im;
}

inline void freeImage(VrnImage* im) { vrnDeallocate(im, VRN_FREE_HEADER | VRN_FREE_DATA); }

// Sample (x, y, c) of an 8U or 16U image as an integer, or a 1U bit.
inline int sampleAt(const VrnImage* im, int x, int y, int c) {
  const char* row = im->imageData + static_cast<size_t>(y) * im->widthStep;
  if (im->depth == VRN_DEPTH_1U) return (static_cast<uint8_t>(row[x >> 3]) >> (7 - (x & 7))) & 1;
  const int bytes = (im->depth & VRN_DEPTH_MASK) / 8;
  size_t off;
  if (im->dataOrder == VRN_DATA_ORDER_PLANE)
    off = static_cast<size_t>(c) * im->widthStep * im->height + static_cast<size_t>(x) * bytes;
  else
    off = (static_cast<size_t>(x) * im->nChannels + c) * bytes;
  if (bytes == 1) return static_cast<uint8_t>(row[off]);
  if (bytes == 2) {
    uint16_t v;
    std::memcpy(&v, row + off, 2);
    return v;
  }
  int32_t v;
  std::memcpy(&v, row + off, 4);
  return v;
}

inline void setSample(VrnImage* im, int x, int y, int c, int v) {
  char* row = im->imageData + static_cast<size_t>(y) * im->widthStep;
  if (im->depth == VRN_DEPTH_1U) {
    uint8_t& b = reinterpret_cast<uint8_t&>(row[x >> 3]);
    b = static_cast<uint8_t>(v ? (b | (0x80 >> (x & 7))) : (b & ~(0x80 >> (x & 7))));
    return;
  }
  const int bytes = (im->depth & VRN_DEPTH_MASK) / 8;
  size_t off;
  if (im->dataOrder == VRN_DATA_ORDER_PLANE)
    off = static_cast<size_t>(c) * im->widthStep * im->height + static_cast<size_t>(x) * bytes;
  else
    off = (static_cast<size_t>(x) * im->nChannels + c) * bytes;
  if (bytes == 1) {
    row[off] = static_cast<char>(v);
  } else if (bytes == 2) {
    const uint16_t w = static_cast<uint16_t>(v);
    std::memcpy(row + off, &w, 2);
  } else {
    const int32_t w = v;
    std::memcpy(row + off, &w, 4);
  }
}

}  // namespace dibtest

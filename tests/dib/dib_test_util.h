// Helpers of the bitmap tests: packed DIBs held in byte vectors, and shared
// test images given the channel sequence the bitmap functions go by.
#pragma once

#include <algorithm>
#include <cstring>
#include <vector>

#include "support/images.h"
#include "support/report_catcher.h"
#include "vrn.h"

namespace dibtest {

using vrntest::ReportCatcher;
using vrntest::sampleAt;
using vrntest::setSample;
using vrntest::TestImage;
using Bytes = std::vector<uint8_t>;

inline BITMAPINFOHEADER header(int w, int h, int bits, uint32_t compression = BI_RGB, uint32_t clrUsed = 0) {
  return BITMAPINFOHEADER{40, w, h, 1, static_cast<uint16_t>(bits), compression, 0, 0, 0, clrUsed, 0};
}

inline size_t rowBytes(int w, int bits) { return static_cast<size_t>((int64_t{w} * bits + 31) / 32 * 4); }

// Header, a table of `entries` entries (or masks), then pixel bytes.
struct PackedDib {
  PackedDib(const BITMAPINFOHEADER& hdr, size_t n, size_t pixelBytes) : bytes(40 + 4 * n + pixelBytes, 0), entries(n) {
    std::memcpy(bytes.data(), &hdr, 40);
  }
  BITMAPINFOHEADER* h() { return reinterpret_cast<BITMAPINFOHEADER*>(bytes.data()); }
  uint8_t* table() { return bytes.data() + 40; }
  uint8_t* pixels() { return bytes.data() + 40 + 4 * entries; }
  void setEntry(size_t i, int r, int g, int b) {
    table()[4 * i] = static_cast<uint8_t>(b), table()[4 * i + 1] = static_cast<uint8_t>(g), table()[4 * i + 2] = static_cast<uint8_t>(r);
  }
  void grayTable() { for (size_t i = 0; i < entries; ++i) setEntry(i, int(i), int(i), int(i)); }
  Bytes bytes;
  size_t entries;
};

// A seeded random image with the channel sequence `seq`.
inline TestImage image(int depth, int ch, int w, int h, const char* seq, int order = VRN_DATA_ORDER_PIXEL,
                       int origin = VRN_ORIGIN_TOP, int alpha = 0, uint64_t seed = 1) {
  vrntest::ImageSpec desc(depth, w, h, ch);
  desc.channels(ch, alpha).order(order).seeded(seed).origin = origin;
  TestImage im(desc);
  std::memset(im->channelSeq, 0, 4);
  std::memcpy(im->channelSeq, seq, std::min<size_t>(4, std::strlen(seq)));
  return im;
}

}  // namespace dibtest

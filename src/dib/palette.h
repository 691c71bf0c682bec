// Colour tables of the bitmap writer: the fixed tables, the median-cut
// builder and the nearest-entry search.
#pragma once

#include <cstdint>

#include "dib/dib_format.h"

namespace vrn {

// Writes the fixed table of 2, 16 or 256 entries (gray for a one-channel
// image) behind the header; other sizes leave the table alone.
void writeFixedPalette(BITMAPINFOHEADER* h, bool gray);

// Builds the median-cut table of at most 2^biBitCount entries behind the
// header from the image's pixels and sets biClrUsed.  False when it can't
// (biBitCount above 8, an unknown channelSeq, no memory).
bool writeMedianCutPalette(const VrnImage* image, BITMAPINFOHEADER* h);

// The number of the nearest entry of a table, with the per-axis skip and the
// gray shortcut of 256-entry tables; results are remembered per colour.
class NearestColor {
 public:
  NearestColor(const uint8_t* table, int64_t count) : table_(table), count_(count) {}
  int find(uint8_t r, uint8_t g, uint8_t b);

 private:
  int search(int r, int g, int b) const;
  const uint8_t* table_;
  int64_t count_;
  uint32_t keys_[4096] = {};
  int values_[4096];
};

}  // namespace vrn

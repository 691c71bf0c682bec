// The frame of copy, set and exchange, written once for the family.  These
// operations do not run the common operation frame: they are written by
// sample size (1 bit, 8, 16, 32 bits) with no regard to sign or float, and
// have their own rectangle rule (a ROI that starts at or beyond the edge, or
// of width or height below 1, ends the call silently; negative offsets are
// taken as 0), their own mask merging, the stale-status rule of vrnCopy and
// vrnExchange, and their own tile walk (status -2, "Error get tile to read",
// "Error get tile to write").  A driver prepares a CopyFrame and hands it a
// cell operation; the frame cuts the rectangle at every tile edge and calls
// the operation once per cell with the address of each image's part.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/bit_rows.h"
#include "vrn.h"

namespace vrn {

// Where one image's part of a cell lies.
struct CopySurface {
  char* data = nullptr;     // first processed sample of the first row (1-bit: its byte)
  int bitOffset = 0;        // 1-bit images: the bit of the first pixel
  ptrdiff_t step = 0;       // bytes from one row to the next
  ptrdiff_t planeStep = 0;  // plane order: bytes from one plane to the next
  int nChannels = 1;        // samples per pixel in pixel order
};

// How the samples of a call are visited, the same for every cell.
struct CopyLayout {
  int sampleBytes = 0;    // 0 for 1-bit images, else 1, 2 or 4
  bool planeOrder = false;
  int planes = 1;         // plane order: the planes to work, one after the other
  int count = 1;          // pixel order: samples of a pixel to work (1 with a COI)
  bool run = false;       // pixel order, all channels of equal images, no mask:
                          // a row is one run of width x nChannels samples
};

// One cell of the rectangle: [0] the source (data null for vrnSet), [1] the
// destination; the mask's bits start at mask (mask.row null: no mask).
struct CopyCell {
  CopySurface image[2];
  BitSpan mask{nullptr, 0};
  ptrdiff_t maskStep = 0;
  int width = 0, height = 0;
};

using CellOp = void (*)(const CopyCell& cell, const CopyLayout& layout, const void* params);

class CopyFrame {
 public:
  explicit CopyFrame(const char* func) : func_(func) {}
  ~CopyFrame();
  CopyFrame(const CopyFrame&) = delete;
  CopyFrame& operator=(const CopyFrame&) = delete;

  // vrnCopy and vrnExchange: header checks, the depth, origin and order
  // tests (reported without returning), the stale-status and same-record
  // test, the masks, the rectangle.  False when the call ends here.
  bool preparePair(VrnImage* src, VrnImage* dst);
  // vrnSet: the image's rectangle and mask (the header is checked by the
  // driver, which has a test of its own before this).  False: nothing to do.
  bool prepareSingle(VrnImage* image);
  // "Number of processed channels ..." when the counts differ (reported).
  bool channelsAgree();

  // Runs op on every cell; the source tile is asked for with srcMode (read
  // for copy, write for exchange).  False after a tile was not delivered
  // (reported).
  bool run(CellOp op, const void* params, int srcMode);

  const VrnImage* mask() const { return mask_; }
  int width() const { return width_; }
  int height() const { return height_; }

 private:
  bool takeRect(const VrnImage* image, int index);
  bool resolveMasks(const VrnImage* a, const VrnImage* b);

  const char* func_;
  VrnImage* images_[2] = {nullptr, nullptr};  // source (may be null), destination
  int x_[3] = {}, y_[3] = {};                 // rectangle start of source, destination, mask
  int width_ = 0x7FFFFFFF, height_ = 0x7FFFFFFF;
  const VrnImage* mask_ = nullptr;
  VrnImage* merged_ = nullptr;
};

// The status of a tile that was not delivered.
inline constexpr int kTileStatus = -2;

}  // namespace vrn

// Box-filter kernels.  A kernel reads a bordered block that holds, for an
// output of width x height, (width + nCols) x (height + nRows) source pixels
// (one spare row and column: the sums advance once past the last output row),
// keeps a running sum per block column over nRows rows and a running window
// sum over nCols column sums, and writes the mean where the mask allows.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vrn::blur {

// One channel of a piece: where its samples are read and written.
struct Channel {
  const char* src;    // first sample of the block's channel
  ptrdiff_t srcStep;  // bytes per block row
  int srcStride;      // samples from one pixel to the next
  char* dst;          // first output sample
  ptrdiff_t dstStep;
  int dstStride;
  int dstBit;  // depth 1: bit offset of the first output pixel
};

// The box and the piece.
struct Box {
  int width, height;  // output size
  int nCols, nRows;
  float scale;                 // 1 / (nCols * nRows) in single precision
  const unsigned char* mask;   // null, or the mask row of the first output row
  int maskBit;                 // bit offset of the first output pixel in a mask row
  ptrdiff_t maskStep;
};

// The general kernel of a depth (index as DepthIndex: 1U..32F), one channel
// at a time.  The line buffer holds 2 x (width + nCols) sums of 4 bytes.
// False for an unknown depth.
bool blurChannel(int depthIndex, const Channel& ch, const Box& box, void* line);

// The 3-colour-channel kernels: a pixel of three channels at a time, pixel
// order.  srcStride and dstStride are the pixels' channel counts (3 or 4);
// the line buffer holds 2 x (width + nCols) x 4 sums of 4 bytes.
void blurPixels8u(const Channel& ch, const Box& box, void* line);
void blurPixels32f(const Channel& ch, const Box& box, void* line);

}  // namespace vrn::blur

// The operation frame: the road every pixel operation travels.  A driver
// validates its records, works out channels and the rectangle, merges the
// masks, picks a kernel by depth and runs it on the buffers or over the tiles.
// Drivers state only what differs (their checks and their sample rule); the
// steps below are shared by all of them.
#pragma once

#include <cstdint>

#include "core/traits.h"
#include "vrn.h"

namespace vrn {

// A pixel rectangle of one image.
struct ImageRect {
  int x, y, width, height;
};

// The clipped ROI of an image; sizes may be negative (not clamped).
ImageRect clippedRoi(const VrnImage* image);

// The first sample of the clipped ROI of channel coiIndex, with the clipped
// size clamped to 0 and, for 1-bit images, the bit offset within the byte.
struct ImageStart {
  char* data;
  int width, height;
  int bitOffset;
};
ImageStart imageStart(const VrnImage* image, int coiIndex);

// The addressing rule: channel c of pixel (x, y) in a buffer laid out like
// `image` with row step `step` and `height` rows to a plane.  For 1-bit
// images the pixel lies x % 8 bits into the byte.
char* sampleAddress(const VrnImage* image, char* data, int64_t step, int height, int x, int y, int c);

// Channel index (COI - 1, else 0) and channel count (1 with a COI, else the
// channels without alpha).
int channelIndex(const VrnImage* image);
int channelCount(const VrnImage* image);
inline bool hasCoi(const VrnImage* image) { return image->roi && image->roi->coi > 0; }

// Whether the images can be worked as one long run of their buffers (row
// padding included).  c may be null for the one-source form.  The test is a
// sum of differences; a run that would not fit every buffer is refused.
bool isFlatRun(const VrnImage* a, const VrnImage* b, const VrnImage* c, bool anyAlpha);

// Mask merging: the result and its state.
enum MaskState : int {
  kMaskSingle = 0,    // no mask, or exactly one (returned as it is)
  kMaskMerged = 1,    // a new image holding the AND of the masks
  kMaskNoMemory = 2,  // the merged image could not be made
  kMaskEmpty = 3,     // the merged mask has no pixel: nothing to do
};
VrnImage* combineMasks(const VrnImage* a, const VrnImage* b, const VrnImage* c, int* state);

// What a kernel is given.  During a tile walk the records are private copies
// whose ROIs select one cell.  srcB is null in one-source operations.
struct KernelArgs {
  const VrnImage* srcA;
  const VrnImage* srcB;
  VrnImage* dst;
  const VrnImage* mask;  // null for plain kernels
  int chA, chB, chD;     // channel index of each image
  int count;             // channel count (equal for all images)
  bool allChannels;
  bool anyAlpha;
  const void* params;  // the operation's own parameters
};
using Kernel = void (*)(const KernelArgs&);

// Context texts of a failed tile request, per role.
struct TileTexts {
  const char* srcA;
  const char* srcB;
  const char* dst;
};
inline constexpr TileTexts kTwoSourceTileTexts = {"(srcImageA->tileInfo->tileData == 0)",
                                                  "(srcImageB->tileInfo->tileData == 0)",
                                                  "(dstImage->tileInfo->tileData == 0)"};
inline constexpr TileTexts kOneSourceTileTexts = {"(srcImage->tileInfo->tileData == 0)", nullptr,
                                                  "(dstImage->tileInfo->tileData == 0)"};

// Runs the kernel once on the records, or over the cells of their tiles when
// any of them is tiled.  False after a failed tile request (reported).
bool runKernel(const char* func, const KernelArgs& args, Kernel kernel, const TileTexts& texts);

// The shared steps of a driver, from the header checks to the mask merge,
// then the run.  The merged mask, if any, is released with the frame.
class Frame {
 public:
  explicit Frame(const char* func) : func_(func) {}
  ~Frame();
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;

  // Two sources: header checks of A, B and the destination, depth, order and
  // channel comparisons, mask merging.  False when the call ends here
  // (reported, or silently for an empty merged mask).
  bool prepare(VrnImage* srcA, VrnImage* srcB, VrnImage* dst);
  // One source, with the one-source texts.  `channels` is the channel rule:
  // the failed condition's text, or null (the common rule by default).
  using ChannelCheck = const char* (*)(const VrnImage* src, const VrnImage* dst);
  static const char* sameChannelCount(const VrnImage* src, const VrnImage* dst);
  bool prepare(VrnImage* src, VrnImage* dst, ChannelCheck channels = &sameChannelCount);

  DepthIndex depth() const { return depthIndex(args_.dst->depth); }
  const char* func() const { return func_; }
  const KernelArgs& args() const { return args_; }
  bool masked() const { return args_.mask != nullptr; }

  // Runs the plain or the masked kernel (by whether a mask is in force).
  bool run(Kernel plain, Kernel masked, const void* params = nullptr);

 private:
  bool mergeMasks(const VrnImage* a, const VrnImage* b, const VrnImage* c);

  const char* func_;
  KernelArgs args_{};
  bool twoSources_ = false;
  VrnImage* merged_ = nullptr;
};

// The kernel pair of an operation for each depth; a null entry is a depth
// the operation has no kernel for.
struct KernelPair {
  Kernel plain = nullptr;
  Kernel masked = nullptr;
};

}  // namespace vrn

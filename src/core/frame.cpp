// The frame's rules: clipped ROIs, addressing, channels, the flat-run test,
// mask merging and the driver steps shared by one- and two-source operations.
#include "core/frame.h"

#include <algorithm>
#include <cstring>

#include "core/bit_rows.h"
#include "core/image.h"
#include "core/report.h"

namespace vrn {

ImageRect clippedRoi(const VrnImage* image) {
  const VrnROI* roi = image->roi;
  if (!roi) return {0, 0, image->width, image->height};
  return {roi->xOffset, roi->yOffset, std::min(roi->width, image->width - roi->xOffset),
          std::min(roi->height, image->height - roi->yOffset)};
}

char* sampleAddress(const VrnImage* image, char* data, int64_t step, int height, int x, int y, int c) {
  const int64_t bits = depthBits(image->depth);
  if (image->dataOrder == VRN_DATA_ORDER_PLANE)
    return data + c * static_cast<int64_t>(height) * step + y * step + (x * bits) / 8;
  return data + y * step + ((c + static_cast<int64_t>(x) * image->nChannels) * bits) / 8;
}

ImageStart imageStart(const VrnImage* image, int coiIndex) {
  const ImageRect r = clippedRoi(image);
  return {sampleAddress(image, image->imageData, image->widthStep, image->height, r.x, r.y, coiIndex),
          std::max(r.width, 0), std::max(r.height, 0), r.x % 8};
}

int channelIndex(const VrnImage* image) { return hasCoi(image) ? image->roi->coi - 1 : 0; }

int channelCount(const VrnImage* image) {
  if (hasCoi(image)) return 1;
  return image->alphaChannel > 0 ? image->nChannels - 1 : image->nChannels;
}

bool isFlatRun(const VrnImage* a, const VrnImage* b, const VrnImage* c, bool anyAlpha) {
  // 2a - b - c for three images, a - b for two; every difference must be 0.
  auto diff = [&](auto field) -> int64_t {
    const int64_t fa = field(a), fb = field(b);
    return c ? 2 * fa - fb - field(c) : fa - fb;
  };
  int64_t word = anyAlpha ? 1 : 0;
  word |= diff([](const VrnImage* i) { return int64_t{i->height}; });
  word |= diff([](const VrnImage* i) { return int64_t{i->width}; });
  word |= diff([](const VrnImage* i) { return int64_t{i->imageSize}; });
  word |= diff([](const VrnImage* i) { return int64_t{i->align}; });
  const VrnImage* images[3] = {a, b, c};
  for (const VrnImage* im : images) {
    if (!im || !im->roi) continue;
    const VrnROI* r = im->roi;
    word |= r->xOffset | r->yOffset;
    word |= r->width < im->width;
    word |= r->height < im->height;
    word |= im->nChannels - (r->coi > 0 ? 1 : 0);
  }
  if (word != 0) return false;
  // The run covers the first image's buffer; refuse one that would leave
  // another image's buffer.
  for (const VrnImage* im : images)
    if (im && im->imageSize < a->imageSize) return false;
  return true;
}

VrnImage* combineMasks(const VrnImage* a, const VrnImage* b, const VrnImage* c, int* state) {
  const VrnImage* masks[3];
  int n = 0;
  for (const VrnImage* m : {a, b, c})
    if (m) masks[n++] = m;
  *state = kMaskSingle;
  if (n == 0) return nullptr;
  if (n == 1) return const_cast<VrnImage*>(masks[0]);

  int width = 0x7FFFFFFF, height = 0x7FFFFFFF;
  ImageStart starts[3];
  for (int i = 0; i < n; ++i) {
    starts[i] = imageStart(masks[i], 0);
    width = std::min(width, starts[i].width);
    height = std::min(height, starts[i].height);
  }
  if (width <= 0 || height <= 0) {
    *state = kMaskEmpty;
    return nullptr;
  }
  char gray[4] = {'G', 'R', 'A', 'Y'}, g[4] = {'G', 0, 0, 0};
  VrnImage* merged = vrnCreateImageHeader(1, 0, VRN_DEPTH_1U, gray, g, VRN_DATA_ORDER_PLANE,
                                          masks[0]->origin, 8, width, height, nullptr, nullptr,
                                          nullptr, nullptr);
  if (merged) vrnAllocateImage(merged, 1, 0);  // row padding cleared, never read
  if (!merged || !merged->imageData) {
    vrnDeallocate(merged, VRN_FREE_HEADER);
    *state = kMaskNoMemory;
    return nullptr;
  }
  // Each row is the AND of the masks' rows, each read from its own bit offset.
  for (int y = 0; y < height; ++y) {
    auto* out = reinterpret_cast<uint8_t*>(merged->imageData) + static_cast<ptrdiff_t>(y) * merged->widthStep;
    auto span = [&](int i) {
      return BitSpan{reinterpret_cast<const uint8_t*>(starts[i].data) + static_cast<ptrdiff_t>(y) * masks[i]->widthStep,
                     starts[i].bitOffset};
    };
    if (n == 2)
      bitRow(out, 0, width, [](uint8_t a, uint8_t b) { return static_cast<uint8_t>(a & b); }, span(0), span(1));
    else
      bitRow(out, 0, width, [](uint8_t a, uint8_t b, uint8_t c) { return static_cast<uint8_t>(a & b & c); },
             span(0), span(1), span(2));
  }
  *state = kMaskMerged;
  return merged;
}

Frame::~Frame() {
  if (merged_) vrnDeallocate(merged_, VRN_FREE_HEADER + VRN_FREE_DATA);
}

bool Frame::mergeMasks(const VrnImage* a, const VrnImage* b, const VrnImage* c) {
  int state = kMaskSingle;
  VrnImage* mask = combineMasks(a, b, c, &state);
  if (state == kMaskEmpty) return false;
  if (state == kMaskNoMemory) {
    VRN_REPORT(VRN_StsNoMem, func_, "Out of memory");
    return false;
  }
  if (state == kMaskMerged) merged_ = mask;
  args_.mask = mask;
  return true;
}

bool Frame::prepare(VrnImage* srcA, VrnImage* srcB, VrnImage* dst) {
  twoSources_ = true;
  for (const VrnImage* image : {srcA, srcB, dst}) {
    const int status = vrnCheckImageHeader(image);
    if (status != VRN_StsOk) {
      VRN_REPORT(status, func_, "Incorrect Image");
      return false;
    }
  }
  const char* failed = nullptr;
  if (srcA->depth != dst->depth)
    failed = "(srcImageA->depth != dstImage->depth)";
  else if (srcB->depth != dst->depth)
    failed = "(srcImageB->depth != dstImage->depth)";
  else if (srcA->dataOrder != dst->dataOrder)
    failed = "(srcImageA->dataOrder != dstImage->dataOrder)";
  else if (srcB->dataOrder != dst->dataOrder)
    failed = "(srcImageB->dataOrder != dstImage->dataOrder)";
  else if (channelCount(srcA) != channelCount(dst))
    failed = "(nChSrcA != nChDst)";
  else if (channelCount(srcB) != channelCount(dst))
    failed = "(nChSrcB != nChDst)";
  if (failed) {
    VRN_REPORT(VRN_StsBadArg, func_, failed);
    return false;
  }
  args_.srcA = srcA;
  args_.srcB = srcB;
  args_.dst = dst;
  args_.chA = channelIndex(srcA);
  args_.chB = channelIndex(srcB);
  args_.chD = channelIndex(dst);
  args_.count = channelCount(dst);
  args_.allChannels = !hasCoi(srcA) && !hasCoi(srcB) && !hasCoi(dst);
  args_.anyAlpha = srcA->alphaChannel > 0 || srcB->alphaChannel > 0 || dst->alphaChannel > 0;
  return mergeMasks(srcA->maskROI, srcB->maskROI, dst->maskROI);
}

const char* Frame::sameChannelCount(const VrnImage* src, const VrnImage* dst) {
  return channelCount(src) != channelCount(dst) ? "(nChSrc != nChDst)" : nullptr;
}

bool Frame::prepare(VrnImage* src, VrnImage* dst, ChannelCheck channels) {
  twoSources_ = false;
  for (const VrnImage* image : {src, dst}) {
    const int status = vrnCheckImageHeader(image);
    if (status != VRN_StsOk) {
      VRN_REPORT(status, func_, "Incorrect Image");
      return false;
    }
  }
  const char* failed = nullptr;
  if (src->depth != dst->depth)
    failed = "(srcImage->depth != dstImage->depth)";
  else if (src->dataOrder != dst->dataOrder)
    failed = "(srcImage->dataOrder != dstImage->dataOrder)";
  else
    failed = channels(src, dst);
  if (failed) {
    VRN_REPORT(VRN_StsBadArg, func_, failed);
    return false;
  }
  args_.srcA = src;
  args_.srcB = nullptr;
  args_.dst = dst;
  args_.chA = channelIndex(src);
  args_.chD = channelIndex(dst);
  args_.count = channelCount(dst);
  args_.allChannels = !hasCoi(src) && !hasCoi(dst);
  args_.anyAlpha = src->alphaChannel > 0 || dst->alphaChannel > 0;
  return mergeMasks(src->maskROI, dst->maskROI, nullptr);
}

bool Frame::run(Kernel plain, Kernel masked, const void* params) {
  KernelArgs args = args_;
  args.params = params;
  return runKernel(func_, args, args.mask ? masked : plain,
                   twoSources_ ? kTwoSourceTileTexts : kOneSourceTileTexts);
}

}  // namespace vrn

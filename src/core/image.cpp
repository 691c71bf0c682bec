// Image headers and their pixel buffers: creation, validation, allocation
// with fill, release and cloning.  The row rule pads every row to `align`
// bytes, so every row of an aligned buffer starts aligned.
#include "core/image.h"

#include <cstring>

#include "core/report.h"

namespace vrn {

RowLayout rowLayout(int depth, int nChannels, int dataOrder, int align, int width, int height) {
  const int64_t bits = depthBits(depth);
  const int64_t alignBits = static_cast<int64_t>(align) * 8;
  const int64_t perRow = dataOrder == VRN_DATA_ORDER_PLANE ? bits * width : bits * nChannels * width;
  const int64_t step = ((perRow + alignBits - 1) & -alignBits) / 8;
  int64_t size = step * height;
  if (dataOrder == VRN_DATA_ORDER_PLANE) size *= nChannels;
  return {step, size};
}

namespace {

bool isLegalDepth(int depth, bool allow32F) {
  switch (depth) {
    case VRN_DEPTH_1U:
    case VRN_DEPTH_8U:
    case VRN_DEPTH_8S:
    case VRN_DEPTH_16U:
    case VRN_DEPTH_16S:
    case VRN_DEPTH_32S:
      return true;
    case VRN_DEPTH_32F:
      return allow32F;
    default:
      return false;
  }
}

}  // namespace

int checkImageParameters(const VrnImage* image, bool modelPointersPresent, bool allow32F) {
  if (image->height < 1 || image->width < 1) return VRN_StsBadImageSize;
  if (image->nChannels < 1) return VRN_StsBadChannels;
  if (image->depth == VRN_DEPTH_1U && image->nChannels != 1) return VRN_StsBad1UChannels;
  if (!modelPointersPresent) return VRN_StsBadColorModel;
  if (!isLegalDepth(image->depth, allow32F)) return VRN_StsBadDepth;
  if (image->alphaChannel != 0 && image->alphaChannel != image->nChannels) return VRN_StsBadAlpha;
  if (image->dataOrder != 0 && image->dataOrder != 1) return VRN_StsBadDataOrder;
  if (image->origin != 0 && image->origin != 1) return VRN_StsBadOrigin;
  if (image->align != 4 && image->align != 8 && image->align != 16 && image->align != 32)
    return VRN_StsBadAlign;
  const VrnImage* mask = image->maskROI;
  if (!mask) return VRN_StsOk;
  if (mask->depth != VRN_DEPTH_1U) return VRN_StsBadDepth - VRN_StsMaskBase;
  if (mask->tileInfo) return VRN_StsMaskTiled;
  const int status = vrnCheckImageHeader(mask);
  return status ? status - VRN_StsMaskBase : VRN_StsOk;
}

}  // namespace vrn

using namespace vrn;

namespace {

// Fills `bytes` bytes from `data` with the 32-bit word, whole words only.
void fillWords(char* data, int bytes, uint32_t word) {
  const int words = bytes / 4;
  for (int i = 0; i < words; ++i) std::memcpy(data + 4 * i, &word, 4);
}

uint32_t fillWord(int depth, int value) {
  const uint32_t v = static_cast<uint32_t>(value);
  switch (depthBits(depth)) {
    case 1: return (v & 1) ? 0xFFFFFFFFu : 0u;
    case 8: return (v & 0xFF) * 0x01010101u;
    case 16: return (v & 0xFFFF) * 0x00010001u;
    default: return v;
  }
}

// The common body of vrnAllocateImage and vrnAllocateImageFP.
void allocate(VrnImage* image, bool forFloat, bool doFill, uint32_t word, const char* func) {
  if (!image) {
    VRN_REPORT(VRN_StsBadArg, func, "( image == ((void *)0) )");
    return;
  }
  if (image->imageData) {
    VRN_REPORT(VRN_StsBadArg, func, "( image->imageData != ((void *)0) )");
    return;
  }
  if (image->tileInfo) {
    VRN_REPORT(VRN_StsBadArg, func, "( image->tileInfo != ((void *)0) )");
    return;
  }
  if (!forFloat && image->depth == 32) {
    VRN_REPORT(VRN_StsBadArg, func, "( image->depth == 32 )");
    return;
  }
  if (forFloat && image->depth != 32) {
    VRN_REPORT(VRN_StsBadArg, func, "( image->depth != 32 )");
    return;
  }
  int status = checkImageParameters(image, true, forFloat);
  const RowLayout layout = rowLayout(image->depth, image->nChannels, image->dataOrder, image->align,
                                     image->width, image->height);
  if (status == VRN_StsOk && !layout.fits()) status = VRN_StsBadImageSize;
  if (status != VRN_StsOk) {
    VRN_REPORT(status, func, "Incorrect data-ins");
    return;
  }
  const int size = static_cast<int>(layout.imageSize);
  // The raw block is over-allocated by align - 1 bytes and imageData rounded up.
  void* block = vrnMalloc(size + image->align - 1);
  image->dataBlock = block;
  if (!block) {
    VRN_REPORT(VRN_StsNoMem, func, "for allocate image data");
    return;
  }
  const uintptr_t a = static_cast<uintptr_t>(image->align);
  image->imageData = reinterpret_cast<char*>((reinterpret_cast<uintptr_t>(block) + a - 1) & ~(a - 1));
  image->widthStep = static_cast<int>(layout.widthStep);
  image->imageSize = size;
  if (doFill) fillWords(image->imageData, size, word);
}

}  // namespace

extern "C" {

VRN_API int vrnCheckImageHeader(const VrnImage* image) {
  int status = VRN_StsOk;
  if (!image) {
    status = VRN_StsNullHeader;
  } else if ((image->imageData == nullptr) == (image->tileInfo == nullptr)) {
    status = VRN_StsNoImageData;
  } else if (!image->tileInfo && image->imageSize < 1) {
    status = VRN_StsBadImageSize;
  } else if (!image->tileInfo && image->widthStep < 1) {
    status = VRN_StsBadWidthStep;
  } else if ((status = checkImageParameters(image, true, true)) != VRN_StsOk) {
  } else if (const VrnTileInfo* tile = image->tileInfo) {
    if (!tile->callBack)
      status = VRN_StsNoCallback;
    else if (tile->width < 1 || tile->height < 1 || tile->width % 8 || tile->height % 8)
      status = VRN_StsBadTileSize;
  }
  if (status == VRN_StsOk && image->roi) {
    const VrnROI* roi = image->roi;
    if (roi->coi < 0 || roi->coi > image->nChannels)
      status = VRN_StsBadCoi;
    else if (roi->height < 1 || roi->width < 1)
      status = VRN_StsBadRoiSize;
    else if (roi->xOffset < 0 || roi->yOffset < 0)
      status = VRN_StsBadRoiOffset;
  }
  if (status != VRN_StsOk) vrnSetErrStatus(status);
  return status;
}

VRN_API VrnImage* vrnCreateImageHeader(int nChannels, int alphaChannel, int depth, char* colorModel,
                                       char* channelSeq, int dataOrder, int origin, int align,
                                       int width, int height, VrnROI* roi, VrnImage* maskROI,
                                       void* imageId, VrnTileInfo* tileInfo) {
  VrnImage probe{};
  probe.nChannels = nChannels;
  probe.alphaChannel = alphaChannel;
  probe.depth = depth;
  probe.dataOrder = dataOrder;
  probe.origin = origin;
  probe.align = align;
  probe.width = width;
  probe.height = height;
  probe.maskROI = maskROI;
  int status = checkImageParameters(&probe, colorModel && channelSeq, true);
  RowLayout layout{};
  if (status == VRN_StsOk) {
    layout = rowLayout(depth, nChannels, dataOrder, align, width, height);
    if (!layout.fits()) status = VRN_StsBadImageSize;
  }
  if (status != VRN_StsOk) {
    VRN_REPORT(status, "vrnCreateImageHeader", "Incorrect data-ins");
    return nullptr;
  }
  auto* image = static_cast<VrnImage*>(vrnMalloc(sizeof(VrnImage)));
  if (!image) return nullptr;
  std::memset(image, 0, sizeof *image);
  image->recordSize = sizeof(VrnImage);
  image->recordId = 0;
  image->nChannels = nChannels;
  image->alphaChannel = alphaChannel;
  image->depth = depth;
  std::memcpy(image->colorModel, colorModel, 4);
  std::memcpy(image->channelSeq, channelSeq, 4);
  image->dataOrder = dataOrder;
  image->origin = origin;
  image->align = align;
  image->width = width;
  image->height = height;
  image->roi = roi;
  image->maskROI = maskROI;
  image->imageId = imageId;
  image->tileInfo = tileInfo;
  image->imageData = nullptr;
  image->dataBlock = nullptr;
  image->widthStep = static_cast<int>(layout.widthStep);
  image->imageSize = static_cast<int>(layout.imageSize);
  vrnSetBorderMode(image, VRN_BORDER_CONSTANT, 15, 0);
  return image;
}

VRN_API void vrnAllocateImage(VrnImage* image, int doFill, int fillValue) {
  allocate(image, false, doFill != 0, image ? fillWord(image->depth, fillValue) : 0,
           "vrnAllocateImage");
}

VRN_API void vrnAllocateImageFP(VrnImage* image, int doFill, float fillValue) {
  uint32_t word;
  std::memcpy(&word, &fillValue, 4);
  allocate(image, true, doFill != 0, word, "vrnAllocateImageFP");
}

VRN_API void vrnDeallocateHeader(VrnImage* image) { vrnDeallocate(image, VRN_FREE_HEADER); }

VRN_API void vrnDeallocateImage(VrnImage* image) {
  if (image->dataBlock) vrnFree(image->dataBlock);
  image->dataBlock = nullptr;
  image->imageData = nullptr;
}

VRN_API void vrnDeallocate(VrnImage* image, int flag) {
  if (!image) return;
  if ((flag & VRN_FREE_ROI) && image->roi) {
    vrnFree(image->roi);
    image->roi = nullptr;
  }
  if ((flag & VRN_FREE_MASK) && image->maskROI) {
    vrnDeallocate(image->maskROI, VRN_FREE_HEADER | VRN_FREE_DATA | VRN_FREE_ROI | VRN_FREE_TILE);
    image->maskROI = nullptr;
  }
  if ((flag & VRN_FREE_TILE) && image->tileInfo) {
    vrnFree(image->tileInfo);
    image->tileInfo = nullptr;
  }
  if ((flag & VRN_FREE_DATA) && image->dataBlock) {
    vrnFree(image->dataBlock);
    image->dataBlock = nullptr;
    image->imageData = nullptr;
  }
  if (flag & VRN_FREE_HEADER) vrnFree(image);
}

VRN_API VrnImage* vrnCloneImage(const VrnImage* image) {
  const int status = vrnCheckImageHeader(image);
  if (status != VRN_StsOk) {
    VRN_REPORT(status, "vrnCloneImage", "Incorrect Image");
    return nullptr;
  }
  char model[4], seq[4];
  std::memcpy(model, image->colorModel, 4);
  std::memcpy(seq, image->channelSeq, 4);
  VrnImage* clone = vrnCreateImageHeader(image->nChannels, image->alphaChannel, image->depth, model,
                                         seq, image->dataOrder, image->origin, image->align,
                                         image->width, image->height, nullptr, nullptr, nullptr,
                                         nullptr);
  if (!clone) {
    VRN_REPORT(VRN_StsNoMem, "vrnCloneImage", "Not enough memory to allocate header for clone image");
    return nullptr;
  }
  std::memcpy(clone, image, sizeof *clone);
  clone->imageData = nullptr;
  clone->dataBlock = nullptr;  // the source's block is not the clone's
  clone->recordId = 0;
  clone->imageId = nullptr;
  clone->maskROI = nullptr;
  clone->tileInfo = nullptr;
  if (image->roi) {
    const VrnROI* r = image->roi;
    clone->roi = vrnCreateROI(r->coi, r->xOffset, r->yOffset, r->width, r->height);
    if (!clone->roi) {
      VRN_REPORT(VRN_StsNoMem, "vrnCloneImage", "Not enough memory to allocate roi for clone image");
      vrnDeallocate(clone, VRN_FREE_HEADER);
      return nullptr;
    }
  }
  if (clone->depth == 32)
    vrnAllocateImageFP(clone, 0, 0.0f);
  else
    vrnAllocateImage(clone, 0, 0);
  if (!clone->imageData) {
    VRN_REPORT(VRN_StsNoMem, "vrnCloneImage",
               "Not enough memory to allocate imageData for clone image");
    vrnDeallocate(clone, VRN_FREE_HEADER + VRN_FREE_ROI);
    return nullptr;
  }
  if (image->tileInfo || image->imageSize == 0) return clone;
  std::memcpy(clone->imageData, image->imageData, static_cast<size_t>(image->imageSize));
  return clone;
}

VRN_API VrnROI* vrnCreateROI(int coi, int xOffset, int yOffset, int width, int height) {
  auto* roi = static_cast<VrnROI*>(vrnMalloc(sizeof(VrnROI)));
  if (roi) *roi = VrnROI{coi, xOffset, yOffset, width, height};
  return roi;
}

VRN_API void vrnSetROI(VrnROI* roi, int coi, int xOffset, int yOffset, int width, int height) {
  if (roi) *roi = VrnROI{coi, xOffset, yOffset, width, height};
}

VRN_API void vrnDeleteROI(VrnROI* roi) { vrnFree(roi); }

VRN_API VrnTileInfo* vrnCreateTileInfo(VrnTileCallback callBack, void* id, int width, int height) {
  auto* tile = static_cast<VrnTileInfo*>(vrnMalloc(sizeof(VrnTileInfo)));
  if (tile) *tile = VrnTileInfo{callBack, id, nullptr, width, height};
  return tile;
}

VRN_API void vrnSetTileInfo(VrnTileInfo* tileInfo, VrnTileCallback callBack, void* id, int width,
                            int height) {
  if (tileInfo) *tileInfo = VrnTileInfo{callBack, id, nullptr, width, height};
}

VRN_API void vrnDeleteTileInfo(VrnTileInfo* tileInfo) { vrnFree(tileInfo); }

}  // extern "C"

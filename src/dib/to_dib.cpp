// Image to bitmap.  After the checks the colour table is written (fixed or
// median cut) when asked, the image is dithered into a temporary image when
// asked, and a reader (by channels and depth), a transform (by channelSeq)
// and a writer (by bit count), chosen once per call, turn each row into DIB
// pixels; 1-, 4- and 8-bit writers store the nearest table entry.  RLE
// headers are then compressed in place.  A tiled image is first gathered
// into one block by the bordered reader.
#include <cstring>
#include <new>

#include "color/reduce_bits.h"
#include "core/memory.h"
#include "core/report.h"
#include "dib/palette.h"
#include "filter/bordered.h"

namespace vrn {
namespace {

struct ToDibTexts {
  const char* func;
  const char* nullHeader;
  const char* size;
  const DibCheckTexts* dib;
  const char* dither;
  const char* palette;
  const char* bitCount;
};

// The separated writer's header checks, worded apart from the reader's.
const DibCheckTexts kToDibSepChecks = {
    "(dibHeader->biSize != sizeof(BITMAPINFOHEADER))",
    "(dibHeader->biPlanes != 1)",
    "(dibHeader->biCompression != 0) && (dibHeader->biCompression != 1) && (dibHeader->biCompression != "
    "2) && (dibHeader->biCompression != 3)",
    "( (dibHeader->biBitCount != 8) && (dibHeader->biCompression == 1) )",
    "( (dibHeader->biBitCount != 4) && (dibHeader->biCompression == 2) )",
    "( (dibHeader->biHeight < 0) && ((dibHeader->biCompression == 1) || (dibHeader->biCompression == 2)) )",
    "(dibHeader->biClrUsed > 0x8000)",
    "(dibHeader->biBitCount==8 && dibHeader->biClrUsed>256)",
    "(dibHeader->biBitCount==4 && dibHeader->biClrUsed>16 )",
};

const ToDibTexts kToDib = {
    "vrnConvertToDIB",
    "dib==0",
    "(image->width != dib->biWidth || image->height != abs_biHeight)",
    &kFromDibTexts,  // worded as the reader's
    "(dither != 1 && dither != 2 && dither != 4 && dither != 8 && dither != 16)",
    "(paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2)",
    "dib->biBitCount is bad",
};

const ToDibTexts kToDibSep = {
    "vrnConvertToDIBSep",
    "( 0 == dibHeader )",
    "( image->width != dibHeader->biWidth || image->height != abs_biHeight )",
    &kToDibSepChecks,
    "( dither != 1 && dither != 2 && dither != 4 && dither != 8 && dither != 16 )",
    "( paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2 )",
    "dibHeader->biBitCount is bad",
};

// Readers: n image pixels to blue-green-red-alpha quads (byte 3 stays 0
// below four channels).
using RowReader = void (*)(const uint8_t* row, int64_t n, uint8_t* q, const ImageWalk& w);

void readGray1U(const uint8_t* row, int64_t n, uint8_t* q, const ImageWalk&) {
  for (int64_t x = 0; x < n; ++x) {
    const uint8_t v = ((row[x >> 3] >> (7 - (x & 7))) & 1) ? 255 : 0;
    q[4 * x] = q[4 * x + 1] = q[4 * x + 2] = v;
    q[4 * x + 3] = 0;
  }
}
template <int kHigh>
void readGray(const uint8_t* row, int64_t n, uint8_t* q, const ImageWalk& w) {
  for (int64_t x = 0; x < n; ++x) {
    const uint8_t v = row[x * w.pixelStep + kHigh];
    q[4 * x] = q[4 * x + 1] = q[4 * x + 2] = v;
    q[4 * x + 3] = 0;
  }
}
template <int kChannels, int kHigh>
void readColor(const uint8_t* row, int64_t n, uint8_t* q, const ImageWalk& w) {
  for (int64_t x = 0; x < n; ++x) {
    const uint8_t* px = row + x * w.pixelStep + kHigh;
    for (int i = 0; i < kChannels; ++i) q[4 * x + i] = px[i * w.channelStep];
    if (kChannels == 3) q[4 * x + 3] = 0;
  }
}

RowReader chooseReader(const VrnImage* image) {
  const bool wide = image->depth == VRN_DEPTH_16U;
  switch (image->nChannels) {
    case 1:
      if (image->depth == VRN_DEPTH_1U) return readGray1U;
      return wide ? readGray<1> : readGray<0>;
    case 3: return wide ? readColor<3, 1> : readColor<3, 0>;
    case 4: return wide ? readColor<4, 1> : readColor<4, 0>;
    default: return nullptr;
  }
}

void transformQuads(SeqTransform t, uint8_t* q, int64_t n) {
  if (t == SeqTransform::kGray) {
    for (int64_t x = 0; x < n; ++x) {
      q[4 * x] = q[4 * x + 1] = q[4 * x + 2];
      q[4 * x + 3] = 0;
    }
  } else if (t == SeqTransform::kSwap) {
    for (int64_t x = 0; x < n; ++x) {
      const uint8_t b = q[4 * x];
      q[4 * x] = q[4 * x + 2];
      q[4 * x + 2] = b;
    }
  }
}

struct WriteContext {
  ColorFields fields;
  NearestColor* nearest;
};
using RowWriter = void (*)(const uint8_t* q, int64_t n, uint8_t* dst, WriteContext& c);

void writeBits1(const uint8_t* q, int64_t n, uint8_t* dst, WriteContext& c) {
  for (int64_t x = 0; x < n; ++x) {
    const uint8_t bit = static_cast<uint8_t>(0x80 >> (x & 7));
    if (c.nearest->find(q[4 * x + 2], q[4 * x + 1], q[4 * x]))
      dst[x >> 3] |= bit;
    else
      dst[x >> 3] &= static_cast<uint8_t>(~bit);
  }
}
void writeBits4(const uint8_t* q, int64_t n, uint8_t* dst, WriteContext& c) {
  for (int64_t x = 0; x < n; ++x) {
    const int i = c.nearest->find(q[4 * x + 2], q[4 * x + 1], q[4 * x]) & 15;
    uint8_t& b = dst[x >> 1];
    b = (x & 1) ? static_cast<uint8_t>((b & 0xF0) | i) : static_cast<uint8_t>((b & 0x0F) | (i << 4));
  }
}
void writeBits8(const uint8_t* q, int64_t n, uint8_t* dst, WriteContext& c) {
  for (int64_t x = 0; x < n; ++x)
    dst[x] = static_cast<uint8_t>(c.nearest->find(q[4 * x + 2], q[4 * x + 1], q[4 * x]));
}
void writeBits16(const uint8_t* q, int64_t n, uint8_t* dst, WriteContext& c) {
  const ColorFields& f = c.fields;
  for (int64_t x = 0; x < n; ++x) {
    uint32_t word = 0;
    for (int i = 0; i < 3; ++i) {
      const uint32_t b = q[4 * x + i];
      const uint32_t v = f.width[i] < 8 ? b >> (8 - f.width[i]) : b << (f.width[i] - 8);
      word |= (v << f.shift[i]) & f.mask[i];
    }
    dst[2 * x] = static_cast<uint8_t>(word);
    dst[2 * x + 1] = static_cast<uint8_t>(word >> 8);
  }
}
void writeBits24(const uint8_t* q, int64_t n, uint8_t* dst, WriteContext&) {
  for (int64_t x = 0; x < n; ++x) {
    dst[3 * x] = q[4 * x];
    dst[3 * x + 1] = q[4 * x + 1];
    dst[3 * x + 2] = q[4 * x + 2];
  }
}
void writeBits32(const uint8_t* q, int64_t n, uint8_t* dst, WriteContext& c) {
  const ColorFields& f = c.fields;
  for (int64_t x = 0; x < n; ++x) {
    uint32_t word = 0;
    for (int i = 0; i < 4; ++i) word |= (static_cast<uint32_t>(q[4 * x + i]) << f.shift[i]) & f.mask[i];
    std::memcpy(dst + 4 * x, &word, 4);
  }
}

RowWriter chooseWriter(int bitCount) {
  switch (bitCount) {
    case 1: return writeBits1;
    case 4: return writeBits4;
    case 8: return writeBits8;
    case 16: return writeBits16;
    case 24: return writeBits24;
    case 32: return writeBits32;
    default: return nullptr;
  }
}

// Rows of a plain 8-bit BGR image copied straight into a 24-bit DIB.
bool isPlainCopy(const VrnImage* image, SeqTransform t, int bitCount) {
  return bitCount == 24 && image->nChannels == 3 && image->depth == VRN_DEPTH_8U &&
         image->dataOrder == VRN_DATA_ORDER_PIXEL && t == SeqTransform::kNone;
}

// A plain view of an image: the record itself, or for a tiled image a copy
// of its record over one gathered block.
class PlainView {
 public:
  ~PlainView() { vrnFree(block_); }
  bool open(const VrnImage* image) {
    view_ = *image;
    if (!image->tileInfo) return true;
    int step = 0;
    block_ = ownGetBorderedRegion(image, 0, 0, image->width, image->height, &step);
    if (!block_) return false;
    view_.tileInfo = nullptr;
    view_.roi = nullptr;
    view_.maskROI = nullptr;
    view_.imageData = block_;
    view_.widthStep = step;
    view_.imageSize = static_cast<int>(imageWalk(&view_).bytes);
    return true;
  }
  VrnImage* get() { return &view_; }

 private:
  VrnImage view_{};
  char* block_ = nullptr;
};

int report(const char* func, int status, const char* text) {
  VRN_REPORT(status, func, text);
  return status;
}

int writeDib(const ToDibTexts& t, VrnImage* image, BITMAPINFOHEADER* h, uint8_t* sepData, int dither,
             int paletteConversion) {
  const char* func = t.func;
  if (const int s = vrnCheckImageHeader(image)) return report(func, s, "Incorrect Image");
  if (!h) return report(func, VRN_StsBadArg, t.nullHeader);
  if (&t == &kToDibSep && !sepData) return report(func, VRN_StsBadArg, "( 0 == dibData )");
  if (image->nChannels <= 0 || image->nChannels > 4)
    return report(func, VRN_StsBadArg, "(image->nChannels <= 0 || image->nChannels > 4)"), VRN_StsBadChannels;
  if (image->depth != 1 && image->depth != 8 && image->depth != 16)
    return report(func, VRN_StsBadArg, "( (image->depth != 1) && (image->depth != 8) && (image->depth != 16) )"),
           VRN_StsBadDepth;
  if (image->alphaChannel != 0 && image->alphaChannel != 4)
    return report(func, VRN_StsBadArg, "(image->alphaChannel != 0 && image->alphaChannel != 4)"), VRN_StsBadAlpha;
  if (!image->alphaChannel && image->nChannels != 3 && image->nChannels != 1)
    return report(func, VRN_StsBadArg, "(image->nChannels != 3 && image->nChannels != 1)"), VRN_StsBadChannels;
  if (image->alphaChannel && image->nChannels != 4)
    return report(func, VRN_StsBadArg, "(image->nChannels != 4)"), VRN_StsBadChannels;
  if (image->width != h->biWidth || image->height != dibAbsHeight(h->biHeight))
    return report(func, VRN_StsBadArg, t.size), VRN_StsBadImageSize;
  if (!checkDibHeader(h, *t.dib, func)) return VRN_StsBadArg;
  if (dither != 1 && dither != 2 && dither != 4 && dither != 8 && dither != 16)
    return report(func, VRN_StsBadArg, t.dither);
  if (paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2)
    return report(func, VRN_StsBadArg, t.palette);

  PlainView plain;
  if (!plain.open(image)) return report(func, VRN_StsInternal, "");
  VrnImage* source = plain.get();
  if (imageWalk(source).bytes > source->imageSize)
    return report(func, VRN_StsBadImageSize, "Image buffer smaller than its rows");

  const int bc = h->biBitCount;
  if (bc < 16 && paletteConversion == 1) writeFixedPalette(h, source->nChannels == 1);
  if (bc < 16 && paletteConversion == 2 && !writeMedianCutPalette(source, h))
    return report(func, VRN_StsInternal, "Error of creating medcut palette");

  OwnedImage temp;
  if (dither != VRN_DITHER_NONE) {
    int depth = VRN_DEPTH_8U, levels = 256;
    switch (bc) {
      case 1: depth = VRN_DEPTH_1U, levels = 2; break;
      case 4: levels = 16; break;
      case 16: levels = 32; break;
      case 8:
      case 24:
      case 32: break;
      default: return report(func, VRN_StsBadArg, "Parameter biBitCount of DIB-image have illegal value");
    }
    temp.reset(vrnCreateImageHeader(source->nChannels, source->alphaChannel, depth, source->colorModel,
                                    source->channelSeq, source->dataOrder, source->origin, source->align,
                                    source->width, source->height, nullptr, nullptr, nullptr, nullptr));
    if (!temp) return report(func, VRN_StsNoMem, "Not enough memory to allocate header for temporal image");
    vrnAllocateImage(temp.get(), 1, 0);
    if (!temp->imageData) return report(func, VRN_StsNoMem, "Not enough memory to allocate data for temporal image");
    if (reduceBits(source, temp.get(), 0, dither, levels) != 0)
      return report(func, VRN_StsInternal, "Dithering can't be produced");
    source = temp.get();
  }

  const RowReader reader = chooseReader(source);
  if (!reader) return report(func, VRN_StsBadChannels, "image->nChannels is bad");
  const SeqTransform transform = seqTransform(source->channelSeq);
  if (transform == SeqTransform::kUnknown) return report(func, VRN_StsBadColorModel, "image->channelSeq unsupport");
  const RowWriter writer = chooseWriter(bc);
  if (!writer) return report(func, VRN_StsBadArg, t.bitCount);
  Buffer<NearestColor> nearest;
  WriteContext context{};
  if ((bc == 16 || bc == 32) && !loadColorFields(h, &context.fields))
    return report(func, VRN_StsBadArg, kZeroMaskText);
  if (bc <= 8) {
    if (!nearest.allocate(1)) return report(func, VRN_StsNoMem, "");
    context.nearest = new (nearest.get()) NearestColor(dibColorTable(h), dibColorCount(h));
  }
  const int64_t width = source->width, rows = source->height;
  Buffer<uint8_t> quads;
  if (!quads.allocate(static_cast<size_t>(width) * 4)) return report(func, VRN_StsNoMem, "");
  uint8_t* pixels = sepData ? sepData : reinterpret_cast<uint8_t*>(h) + dibPixelOffset(h);
  const ImageWalk walk = imageWalk(source);
  const int64_t dstStep = dibRowBytes(h->biWidth, bc);
  const bool copy = isPlainCopy(source, transform, bc);
  for (int64_t i = 0; i < rows; ++i) {
    const int64_t dibRow = h->biHeight > 0 ? rows - 1 - i : i;
    const int64_t imageRow = source->origin == VRN_ORIGIN_BOTTOM ? rows - 1 - i : i;
    const uint8_t* src = reinterpret_cast<const uint8_t*>(source->imageData) + imageRow * walk.rowStep;
    uint8_t* dst = pixels + dibRow * dstStep;
    if (copy) {
      std::memcpy(dst, src, static_cast<size_t>(3 * width));
      continue;
    }
    reader(src, width, quads.get(), walk);
    transformQuads(transform, quads.get(), width);
    writer(quads.get(), width, dst, context);
  }
  temp.reset();
  if (h->biCompression == BI_RLE8 || h->biCompression == BI_RLE4) {
    if (const int s = compressRle(h, pixels, func)) return s;
  }
  return 0;
}

}  // namespace
}  // namespace vrn

using namespace vrn;

extern "C" VRN_API void vrnConvertToDIB(VrnImage* image, BITMAPINFOHEADER* dib, int dither,
                                        int paletteConversion) {
  writeDib(kToDib, image, dib, nullptr, dither, paletteConversion);
}

extern "C" VRN_API int vrnConvertToDIBSep(VrnImage* image, BITMAPINFOHEADER* dibHeader, void* dibData,
                                          int dither, int paletteConversion) {
  return writeDib(kToDibSep, image, dibHeader, static_cast<uint8_t*>(dibData), dither, paletteConversion);
}

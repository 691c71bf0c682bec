// Bitmap to image.  A reader (by bit count) turns stored pixels into
// blue-green-red-alpha bytes, a transform (by channelSeq) rearranges them and
// a writer (by channels and depth) stores them; the three are chosen once
// per call and run a row at a time over a row buffer.  Palette readers apply
// the transform to the colour table once, and the common pairs that are a
// plain row copy or lookup run fused.  Rows: a bottom-up DIB is walked from
// its last stored row, a bottom-origin image from its last row.  An RLE
// stream is checked whole first, then decoded a row at a time into the same
// row stage.
#include <cstring>

#include "core/memory.h"
#include "core/report.h"
#include "dib/dib_read.h"

namespace vrn {

const DibCheckTexts kFromDibTexts = {
    "(dib->biSize != sizeof(BITMAPINFOHEADER))",
    "(dib->biPlanes != 1)",
    "(dib->biCompression != 0) && (dib->biCompression != 1) && (dib->biCompression != 2) && "
    "(dib->biCompression != 3)",
    "(dib->biBitCount != 8) && (dib->biCompression == 1)",
    "(dib->biBitCount != 4) && (dib->biCompression == 2)",
    "(dib->biHeight < 0) && ( (dib->biCompression == 1) || (dib->biCompression == 2) )",
    "(dib->biClrUsed > 0x8000)",
    "( dib->biBitCount==8 && dib->biClrUsed>256 )",
    "( dib->biBitCount==4 && dib->biClrUsed>16 )",
};

namespace {

const DibCheckTexts kFromDibSepTexts = {
    "(dibHeader->biSize != sizeof(BITMAPINFOHEADER))",
    "(dibHeader->biPlanes != 1)",
    "( ( dibHeader->biCompression != 0 ) && ( dibHeader->biCompression != 1 ) && ( "
    "dibHeader->biCompression != 2 ) && ( dibHeader->biCompression != 3 ) )",
    "(dibHeader->biBitCount != 8) && (dibHeader->biCompression == 1)",
    "(dibHeader->biBitCount != 4) && (dibHeader->biCompression == 2)",
    "(dibHeader->biHeight < 0) && ( (dibHeader->biCompression == 1) || (dibHeader->biCompression == "
    "2) )",
    "(dibHeader->biClrUsed > 0x8000)",
    "(dibHeader->biBitCount==8 && dibHeader->biClrUsed>256)",
    "(dibHeader->biBitCount==4 && dibHeader->biClrUsed>16 )",
};

struct ReadContext {
  uint8_t palette[256][4];  // transformed entries, byte 3 cleared
  uint8_t grayPairs[256][2];  // byte 2 of the entries of a 4-bit byte's two pixels
  ColorFields fields;
};

// Readers: n stored pixels to n blue-green-red-alpha quads.
using RowReader = void (*)(const uint8_t* src, int64_t n, uint8_t* out, const ReadContext& c);

void readBits1(const uint8_t* src, int64_t n, uint8_t* out, const ReadContext& c) {
  for (int64_t x = 0; x < n; ++x)
    std::memcpy(out + 4 * x, c.palette[(src[x >> 3] >> (7 - (x & 7))) & 1], 4);
}
void readBits4(const uint8_t* src, int64_t n, uint8_t* out, const ReadContext& c) {
  for (int64_t x = 0; x < n; ++x)
    std::memcpy(out + 4 * x, c.palette[(x & 1) ? src[x >> 1] & 15 : src[x >> 1] >> 4], 4);
}
void readBits8(const uint8_t* src, int64_t n, uint8_t* out, const ReadContext& c) {
  for (int64_t x = 0; x < n; ++x) std::memcpy(out + 4 * x, c.palette[src[x]], 4);
}

// A field value normalised to 8 bits by its width, with no bits replicated.
inline uint8_t normalise(uint32_t word, uint32_t mask, int shift, int width) {
  const uint32_t v = (word & mask) >> shift;
  return static_cast<uint8_t>(width < 8 ? v << (8 - width) : v >> (width - 8));
}

void readBits16(const uint8_t* src, int64_t n, uint8_t* out, const ReadContext& c) {
  const ColorFields& f = c.fields;
  for (int64_t x = 0; x < n; ++x) {
    const uint32_t w = src[2 * x] | (src[2 * x + 1] << 8);
    for (int i = 0; i < 3; ++i) out[4 * x + i] = normalise(w, f.mask[i], f.shift[i], f.width[i]);
    out[4 * x + 3] = 0;
  }
}
void readBits24(const uint8_t* src, int64_t n, uint8_t* out, const ReadContext&) {
  for (int64_t x = 0; x < n; ++x) {
    out[4 * x] = src[3 * x];
    out[4 * x + 1] = src[3 * x + 1];
    out[4 * x + 2] = src[3 * x + 2];
    out[4 * x + 3] = 0;
  }
}
void readBits32(const uint8_t* src, int64_t n, uint8_t* out, const ReadContext& c) {
  const ColorFields& f = c.fields;
  for (int64_t x = 0; x < n; ++x) {
    uint32_t w;
    std::memcpy(&w, src + 4 * x, 4);
    for (int i = 0; i < 4; ++i) out[4 * x + i] = normalise(w, f.mask[i], f.shift[i], f.width[i]);
  }
}

// Transforms, in place on quads.
inline void grayQuad(uint8_t* q) {
  q[2] = static_cast<uint8_t>(static_cast<int>(0.072169 * q[0] + 0.71516 * q[1] + 0.212671 * q[2]));
}
inline void swapQuad(uint8_t* q) {
  const uint8_t t = q[0];
  q[0] = q[2];
  q[2] = t;
}
void transformQuads(SeqTransform t, uint8_t* q, int64_t n) {
  if (t == SeqTransform::kGray)
    for (int64_t x = 0; x < n; ++x) grayQuad(q + 4 * x);
  else if (t == SeqTransform::kSwap)
    for (int64_t x = 0; x < n; ++x) swapQuad(q + 4 * x);
}

struct WriteContext {
  int64_t channelStep, pixelStep;
};
using RowWriter = void (*)(const uint8_t* q, int64_t n, uint8_t* dst, const WriteContext& c);

void writeGray1U(const uint8_t* q, int64_t n, uint8_t* dst, const WriteContext&) {
  for (int64_t x = 0; x < n; ++x) {
    const uint8_t bit = static_cast<uint8_t>(0x80 >> (x & 7));
    if (q[4 * x + 2] >= 128)
      dst[x >> 3] |= bit;
    else
      dst[x >> 3] &= static_cast<uint8_t>(~bit);
  }
}
void writeGray8(const uint8_t* q, int64_t n, uint8_t* dst, const WriteContext& c) {
  for (int64_t x = 0; x < n; ++x) dst[x * c.pixelStep] = q[4 * x + 2];
}
void writeGray16(const uint8_t* q, int64_t n, uint8_t* dst, const WriteContext& c) {
  for (int64_t x = 0; x < n; ++x) {
    const uint16_t v = static_cast<uint16_t>(q[4 * x + 2] * 256);
    std::memcpy(dst + x * c.pixelStep, &v, 2);
  }
}
template <int kChannels>
void writeColor8(const uint8_t* q, int64_t n, uint8_t* dst, const WriteContext& c) {
  for (int64_t x = 0; x < n; ++x)
    for (int i = 0; i < kChannels; ++i) dst[x * c.pixelStep + i * c.channelStep] = q[4 * x + i];
}
template <int kChannels>
void writeColor16(const uint8_t* q, int64_t n, uint8_t* dst, const WriteContext& c) {
  for (int64_t x = 0; x < n; ++x)
    for (int i = 0; i < kChannels; ++i) {
      const uint16_t v = static_cast<uint16_t>(q[4 * x + i] * 256);
      std::memcpy(dst + x * c.pixelStep + i * c.channelStep, &v, 2);
    }
}

RowReader chooseReader(const BITMAPINFOHEADER* h) {
  const bool fields = h->biCompression == BI_RGB || h->biCompression == BI_BITFIELDS;
  switch (h->biBitCount) {
    case 1: return readBits1;
    case 4: return readBits4;
    case 8: return readBits8;
    case 16: return fields ? readBits16 : nullptr;
    case 24: return readBits24;
    case 32: return fields ? readBits32 : nullptr;
    default: return nullptr;
  }
}

RowWriter chooseWriter(const VrnImage* image) {
  switch (image->nChannels) {
    case 1:
      if (image->depth == VRN_DEPTH_1U) return writeGray1U;
      if (image->depth == VRN_DEPTH_8U) return writeGray8;
      if (image->depth == VRN_DEPTH_16U) return writeGray16;
      return nullptr;
    case 3:
      if (image->depth == VRN_DEPTH_8U) return writeColor8<3>;
      if (image->depth == VRN_DEPTH_16U) return writeColor16<3>;
      return nullptr;
    case 4:
      if (image->depth == VRN_DEPTH_8U) return writeColor8<4>;
      if (image->depth == VRN_DEPTH_16U) return writeColor16<4>;
      return nullptr;
    default: return nullptr;
  }
}

// Fused rows for the pairs that are a plain copy, exchange or lookup (at 4
// bits a byte's two gray pixels are looked up at once).
using FusedRow = void (*)(const uint8_t* src, int64_t n, uint8_t* dst, const ReadContext& c);

void copy24To3(const uint8_t* src, int64_t n, uint8_t* dst, const ReadContext&) {
  std::memcpy(dst, src, static_cast<size_t>(3 * n));
}
void swap24To3(const uint8_t* src, int64_t n, uint8_t* dst, const ReadContext&) {
  for (int64_t x = 0; x < n; ++x) {
    dst[3 * x] = src[3 * x + 2];
    dst[3 * x + 1] = src[3 * x + 1];
    dst[3 * x + 2] = src[3 * x];
  }
}
void copy32To4(const uint8_t* src, int64_t n, uint8_t* dst, const ReadContext&) {
  std::memcpy(dst, src, static_cast<size_t>(4 * n));
}
void lookup8To1(const uint8_t* src, int64_t n, uint8_t* dst, const ReadContext& c) {
  for (int64_t x = 0; x < n; ++x) dst[x] = c.palette[src[x]][2];
}
void copy8To1(const uint8_t* src, int64_t n, uint8_t* dst, const ReadContext&) {
  std::memcpy(dst, src, static_cast<size_t>(n));
}
void lookup4To1(const uint8_t* src, int64_t n, uint8_t* dst, const ReadContext& c) {
  const int64_t pairs = n / 2;
  for (int64_t i = 0; i < pairs; ++i) std::memcpy(dst + 2 * i, c.grayPairs[src[i]], 2);
  if (n & 1) dst[n - 1] = c.grayPairs[src[pairs]][0];
}
void lookup4To3(const uint8_t* src, int64_t n, uint8_t* dst, const ReadContext& c) {
  for (int64_t x = 0; x < n; ++x)
    std::memcpy(dst + 3 * x, c.palette[(x & 1) ? src[x >> 1] & 15 : src[x >> 1] >> 4], 3);
}
void lookup8To3(const uint8_t* src, int64_t n, uint8_t* dst, const ReadContext& c) {
  for (int64_t x = 0; x < n; ++x) std::memcpy(dst + 3 * x, c.palette[src[x]], 3);
}

// Whether byte 2 of every (transformed) entry is its own number.
bool grayIdentity(const ReadContext& c) {
  for (int i = 0; i < 256; ++i)
    if (c.palette[i][2] != i) return false;
  return true;
}

FusedRow chooseFused(const BITMAPINFOHEADER* h, SeqTransform t, const VrnImage* image, const ReadContext& c) {
  if (image->depth != VRN_DEPTH_8U || image->dataOrder != VRN_DATA_ORDER_PIXEL) return nullptr;
  const int bc = h->biBitCount, ch = image->nChannels;
  if (bc == 24 && ch == 3 && t == SeqTransform::kNone) return copy24To3;
  if (bc == 24 && ch == 3 && t == SeqTransform::kSwap) return swap24To3;
  if (bc == 32 && ch == 4 && t == SeqTransform::kNone && h->biCompression == BI_RGB) return copy32To4;
  if (bc == 8 && ch == 1) return grayIdentity(c) ? copy8To1 : lookup8To1;
  if (bc == 8 && ch == 3) return lookup8To3;
  if (bc == 4 && ch == 1) return lookup4To1;
  if (bc == 4 && ch == 3) return lookup4To3;
  return nullptr;
}

// The colour table, at most 2^bitCount entries of it; entries beyond the
// table read black.  The transform is applied here once.
void loadPalette(const BITMAPINFOHEADER* h, SeqTransform t, ReadContext* c) {
  std::memset(c->palette, 0, sizeof c->palette);
  const int bc = h->biBitCount;
  if (bc != 1 && bc != 4 && bc != 8) return;
  int64_t n = dibColorCount(h);
  if (n > (int64_t{1} << bc)) n = int64_t{1} << bc;
  const uint8_t* table = dibColorTable(h);
  for (int64_t i = 0; i < n; ++i) {
    std::memcpy(c->palette[i], table + 4 * i, 3);
    transformQuads(t, c->palette[i], 1);
  }
  if (bc == 4)
    for (int b = 0; b < 256; ++b) {
      c->grayPairs[b][0] = c->palette[b >> 4][2];
      c->grayPairs[b][1] = c->palette[b & 15][2];
    }
}

// Reports the failures of the record in the words of both forms and returns
// what the separated form returns for them, or 0.
int checkRecord(const VrnImage* image, const char* func) {
#define VRN_RECORD_CHECK(failed, text, value)  \
  if (failed) {                                \
    VRN_REPORT(VRN_StsBadArg, func, text);     \
    return value;                              \
  }
  VRN_RECORD_CHECK(image->alphaChannel < 0, "( image->alphaChannel < 0 )", VRN_StsBadAlpha)
  VRN_RECORD_CHECK(image->nChannels < image->alphaChannel, "( image->nChannels < image->alphaChannel )",
                   VRN_StsBadAlpha)
  VRN_RECORD_CHECK(image->dataOrder != 0 && image->dataOrder != 1,
                   "( (image->dataOrder != 0) && (image->dataOrder != 1) )", VRN_StsBadDataOrder)
  VRN_RECORD_CHECK(image->origin != 0 && image->origin != 1,
                   "( (image->origin != 0) && (image->origin != 1) )", VRN_StsBadOrigin)
  VRN_RECORD_CHECK(image->align != 4 && image->align != 8 && image->align != 16 && image->align != 32,
                   "( (image->align != 4) && (image->align != 8) && (image->align != 16) && (image->align "
                   "!= 32) )",
                   VRN_StsBadAlign)
  VRN_RECORD_CHECK(image->height <= 0, "(image->height <= 0)", VRN_StsBadImageSize)
  VRN_RECORD_CHECK(image->width <= 0, "(image->width <= 0)", VRN_StsBadImageSize)
  VRN_RECORD_CHECK(image->imageSize <= 0, "(image->imageSize <= 0)", VRN_StsBadImageSize)
  VRN_RECORD_CHECK(image->widthStep <= 0, "(image->widthStep <= 0)", VRN_StsBadWidthStep)
#undef VRN_RECORD_CHECK
  return 0;
}

// One call's row stage: stored rows in, image rows out.  Row i of the walk
// is the DIB's stored row (rows - 1 - i) when it is bottom-up, and the
// image's row (height - 1 - i) when its origin is the bottom.
struct RowStage {
  VrnImage* image;
  int64_t rows, width, rowStep;
  FusedRow fused;
  RowReader reader;
  SeqTransform perPixel;
  uint8_t* quads;
  const ReadContext* context;
  RowWriter writer;
  WriteContext wc;

  uint8_t* imageRow(int64_t i) const {
    const int64_t dstRow = image->origin == VRN_ORIGIN_BOTTOM ? image->height - 1 - i : i;
    return reinterpret_cast<uint8_t*>(image->imageData) + dstRow * rowStep;
  }
  void put(const uint8_t* src, uint8_t* dst) const {
    if (fused) {
      fused(src, width, dst, *context);
      return;
    }
    reader(src, width, quads, *context);
    transformQuads(perPixel, quads, width);
    writer(quads, width, dst, wc);
  }

  // A decoded row of an RLE stream (rows stored bottom-up).
  static void takeRle(void* self, int64_t y, const uint8_t* row) {
    const RowStage* s = static_cast<const RowStage*>(self);
    s->put(row, s->imageRow(s->rows - 1 - y));
  }
};

}  // namespace

int readDib(const char* func, const DibCheckTexts& texts, const BITMAPINFOHEADER* h,
            const uint8_t* sepData, VrnImage* image) {
  if (const int failed = checkRecord(image, func)) return failed;
  if (!checkDibHeader(h, texts, func)) return VRN_StsBadArg;
  const int64_t rows = dibAbsHeight(h->biHeight);
  if (image->width < h->biWidth || image->height < rows) {
    VRN_REPORT(VRN_StsBadImageSize, func, "Image size is too small");
    return VRN_StsBadImageSize;
  }
  const RowReader reader = chooseReader(h);
  if (!reader) {
    VRN_REPORT(VRN_StsInternal, func, "");
    return VRN_StsInternal;
  }
  const SeqTransform transform = seqTransform(image->channelSeq);
  if (transform == SeqTransform::kUnknown) {
    VRN_REPORT(VRN_StsBadColorModel, func, "image->channelSeq unsupport");
    return VRN_StsBadColorModel;
  }
  const RowWriter writer = chooseWriter(image);
  if (!writer) {
    VRN_REPORT(VRN_StsInternal, func, "");
    return VRN_StsInternal;
  }
  ReadContext context;
  if ((h->biBitCount == 16 || h->biBitCount == 32) && !loadColorFields(h, &context.fields)) {
    VRN_REPORT(VRN_StsBadArg, func, kZeroMaskText);
    return VRN_StsBadArg;
  }
  if (!image->imageData) {
    vrnAllocateImage(image, 0, 0);
    if (!image->imageData) {
      VRN_REPORT(VRN_StsNoMem, func, "Not enough memory to allocate data for destination image");
      return VRN_StsNoMem;
    }
  }
  const ImageWalk walk = imageWalk(image);
  if (walk.bytes > image->imageSize) {
    VRN_REPORT(VRN_StsBadImageSize, func, "Image buffer smaller than its rows");
    return VRN_StsBadImageSize;
  }

  const uint8_t* pixels =
      sepData ? sepData : reinterpret_cast<const uint8_t*>(h) + dibPixelOffset(h);
  // An RLE stream is checked whole before any pixel is written, so a fault
  // leaves the image as it was; it is then decoded a row at a time.
  const bool rle = h->biCompression == BI_RLE8 || h->biCompression == BI_RLE4;
  Buffer<uint8_t> rleRow;
  if (rle) {
    if (!rleRow.allocate(static_cast<size_t>(rleScratchBytes(h)))) {
      reportRleNoMemory(h, func);
      return vrnGetErrStatus();
    }
    if (!checkRle(h, pixels, func)) return vrnGetErrStatus();
  }

  const int64_t width = h->biWidth > 0 ? h->biWidth : 0;
  if (width == 0 || rows == 0) return 0;
  const bool palette = h->biBitCount <= 8;
  loadPalette(h, transform, &context);
  const FusedRow fused = chooseFused(h, transform, image, context);
  Buffer<uint8_t> quads;
  if (!fused && !quads.allocate(static_cast<size_t>(width) * 4)) {
    VRN_REPORT(VRN_StsNoMem, func, "Not enough memory to allocate data for destination image");
    return VRN_StsNoMem;
  }
  RowStage stage{.image = image,
                 .rows = rows,
                 .width = width,
                 .rowStep = walk.rowStep,
                 .fused = fused,
                 .reader = reader,
                 .perPixel = palette ? SeqTransform::kNone : transform,
                 .quads = quads.get(),
                 .context = &context,
                 .writer = writer,
                 .wc = WriteContext{walk.channelStep, walk.pixelStep}};
  if (rle) {
    decodeRle(h, pixels, rleRow.get(), RleRowTarget{&stage, RowStage::takeRle});
    return 0;
  }
  const int64_t srcStep = dibRowBytes(h->biWidth, h->biBitCount);
  for (int64_t i = 0; i < rows; ++i) {
    const int64_t srcRow = h->biHeight > 0 ? rows - 1 - i : i;
    stage.put(pixels + srcRow * srcStep, stage.imageRow(i));
  }
  return 0;
}

}  // namespace vrn

using namespace vrn;

extern "C" VRN_API void vrnConvertFromDIB(const BITMAPINFOHEADER* dib, VrnImage* image) {
  if (!dib) VRN_REPORT(VRN_StsBadArg, "vrnConvertFromDIB", "dib==0");
  if (!image) VRN_REPORT(VRN_StsBadArg, "vrnConvertFromDIB", "image==0");
  if (!dib || !image) return;
  readDib("vrnConvertFromDIB", kFromDibTexts, dib, nullptr, image);
}

extern "C" VRN_API int vrnConvertFromDIBSep(const BITMAPINFOHEADER* dibHeader, const void* dibData,
                                            VrnImage* image) {
  const char* func = "vrnConvertFromDIBSep";
  if (!dibHeader) VRN_REPORT(VRN_StsBadArg, func, "( 0 == dibHeader )");
  if (!dibData) VRN_REPORT(VRN_StsBadArg, func, "( 0 == dibData )");
  if (!image) VRN_REPORT(VRN_StsBadArg, func, "( 0 == image )");
  if (!dibHeader || !dibData) return VRN_StsBadArg;
  if (!image) return VRN_StsNullHeader;
  return readDib(func, kFromDibSepTexts, dibHeader, static_cast<const uint8_t*>(dibData), image);
}

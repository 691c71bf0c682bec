// The header checks, colour fields, channel sequences and image strides that
// every bitmap reader and writer shares.
#include "dib/dib_format.h"

#include <cstring>

#include "core/report.h"

namespace vrn {

bool checkDibHeader(const BITMAPINFOHEADER* h, const DibCheckTexts& t, const char* func) {
#define VRN_DIB_CHECK(failed, text)              \
  if (failed) {                                  \
    VRN_REPORT(VRN_StsBadArg, func, text);       \
    return false;                                \
  }
  VRN_DIB_CHECK(h->biSize != kDibHeaderSize, t.size)
  VRN_DIB_CHECK(h->biPlanes != 1, t.planes)
  VRN_DIB_CHECK(h->biCompression > BI_BITFIELDS, t.compression)
  VRN_DIB_CHECK(h->biBitCount != 8 && h->biCompression == BI_RLE8, t.rle8BitCount)
  VRN_DIB_CHECK(h->biBitCount != 4 && h->biCompression == BI_RLE4, t.rle4BitCount)
  VRN_DIB_CHECK(h->biHeight < 0 && (h->biCompression == BI_RLE8 || h->biCompression == BI_RLE4),
                t.rleTopDown)
  VRN_DIB_CHECK(h->biClrUsed > 0x8000, t.clrUsed)
  VRN_DIB_CHECK(h->biBitCount == 8 && h->biClrUsed > 256, t.clrUsed8)
  VRN_DIB_CHECK(h->biBitCount == 4 && h->biClrUsed > 16, t.clrUsed4)
#undef VRN_DIB_CHECK
  return true;
}

namespace {

int trailingZeros(uint32_t m) { return __builtin_ctz(m); }

// Shift and width of a non-zero mask: its trailing zeros and the run of ones
// above them.
void fieldOf(uint32_t mask, int* shift, int* width) {
  *shift = trailingZeros(mask);
  const uint32_t run = mask >> *shift;
  *width = run == 0xFFFFFFFFu ? 32 : trailingZeros(~run);
}

}  // namespace

bool loadColorFields(const BITMAPINFOHEADER* h, ColorFields* f) {
  std::memset(f, 0, sizeof *f);
  const bool is16 = h->biBitCount == 16;
  if (h->biCompression == BI_BITFIELDS) {
    uint32_t rgb[3];
    std::memcpy(rgb, reinterpret_cast<const uint8_t*>(h) + kDibHeaderSize, sizeof rgb);
    for (int i = 0; i < 3; ++i) {
      if (is16) rgb[i] &= 0xFFFF;
      if (rgb[i] == 0) return false;
    }
    f->mask[2] = rgb[0];
    f->mask[1] = rgb[1];
    f->mask[0] = rgb[2];
  } else if (is16) {
    f->mask[2] = 0x7c00;
    f->mask[1] = 0x3e0;
    f->mask[0] = 0x1f;
  } else {
    f->mask[2] = 0xff0000;
    f->mask[1] = 0xff00;
    f->mask[0] = 0xff;
    f->mask[3] = 0xff000000u;
  }
  for (int i = 0; i < 3; ++i) fieldOf(f->mask[i], &f->shift[i], &f->width[i]);
  if (is16) return true;
  if (h->biCompression == BI_BITFIELDS) {
    // Alpha takes every bit above the highest colour field: blue wins a tie
    // with green, red must be strictly higher.
    int top = 0;
    if (f->shift[1] > f->shift[top]) top = 1;
    if (f->shift[2] > f->shift[top]) top = 2;
    const int from = (f->shift[top] + f->width[top]) & 31;
    f->mask[3] = 0xFFFFFFFFu << from;
  }
  fieldOf(f->mask[3], &f->shift[3], &f->width[3]);
  return true;
}

SeqTransform seqTransform(const char seq[4]) {
  auto is = [seq](const char (&word)[5]) { return std::memcmp(seq, word, 4) == 0; };
  if (is("G\0\0\0") || is("GRAY")) return SeqTransform::kGray;
  if (is("BGR\0") || is("BGRA")) return SeqTransform::kNone;
  if (is("RGB\0") || is("RGBA")) return SeqTransform::kSwap;
  return SeqTransform::kUnknown;
}

ImageWalk imageWalk(const VrnImage* image) {
  const int64_t bits = image->depth & VRN_DEPTH_MASK;
  const int64_t alignBits = static_cast<int64_t>(image->align) * 8;
  const bool plane = image->dataOrder == VRN_DATA_ORDER_PLANE;
  const int64_t perRow = plane ? bits * image->width : bits * image->nChannels * image->width;
  ImageWalk w{};
  w.rowStep = ((perRow + alignBits - 1) & -alignBits) / 8;
  w.channelStep = plane ? w.rowStep * image->height : bits / 8;
  w.pixelStep = plane ? bits / 8 : bits / 8 * image->nChannels;
  w.bytes = w.rowStep * image->height * (plane ? image->nChannels : 1);
  return w;
}

}  // namespace vrn

// Facts of the in-memory bitmap format shared by its readers, writers and RLE
// codecs: row sizes, colour table size and place, the header checks (whose
// texts differ per exported function), and the colour fields of 16- and
// 32-bit pixels.  Sizes are computed in 64 bits so that no header value can
// overflow them.
#pragma once

#include <cstdint>

#include "vrn.h"

static_assert(sizeof(BITMAPINFOHEADER) == 40, "the bitmap header is 40 bytes");

namespace vrn {

inline constexpr uint32_t kDibHeaderSize = sizeof(BITMAPINFOHEADER);

// Bytes of one stored row: ((width * bitCount) + 31) / 32 * 4; 0 for a width
// below 1.
inline int64_t dibRowBytes(int32_t width, int bitCount) {
  if (width <= 0) return 0;
  return (static_cast<int64_t>(width) * bitCount + 31) / 32 * 4;
}

// |biHeight| without overflow.
inline int64_t dibAbsHeight(int32_t height) {
  return height < 0 ? -static_cast<int64_t>(height) : height;
}

// Entries of the colour table: biClrUsed or 2^biBitCount at 1, 4 and 8 bits,
// biClrUsed (plus the three masks for BI_BITFIELDS) at 16 and 32, biClrUsed
// at 24.  Other bit counts take the 16/32 rule.
inline int64_t dibColorCount(const BITMAPINFOHEADER* h) {
  const int bc = h->biBitCount;
  if (bc == 1 || bc == 4 || bc == 8) return h->biClrUsed ? h->biClrUsed : (int64_t{1} << bc);
  if (bc == 24) return h->biClrUsed;
  return static_cast<int64_t>(h->biClrUsed) + (h->biCompression == BI_BITFIELDS ? 3 : 0);
}

// Offset of the pixels of a packed DIB from its header.
inline int64_t dibPixelOffset(const BITMAPINFOHEADER* h) {
  return h->biSize + 4 * dibColorCount(h);
}

// Offset of an RLE stream in a packed DIB: biSize + 4 biClrUsed, or
// 4 * 2^biBitCount when biClrUsed is 0.
inline int64_t dibRleOffset(const BITMAPINFOHEADER* h) {
  const int64_t entries = h->biClrUsed ? h->biClrUsed : (int64_t{1} << (h->biBitCount & 31));
  return h->biSize + 4 * entries;
}

// The colour table, which lies right behind the 40-byte header.
inline const uint8_t* dibColorTable(const BITMAPINFOHEADER* h) {
  return reinterpret_cast<const uint8_t*>(h) + kDibHeaderSize;
}

// The context texts of the header checks, which each exported function words
// in its own way.
struct DibCheckTexts {
  const char* size;
  const char* planes;
  const char* compression;
  const char* rle8BitCount;
  const char* rle4BitCount;
  const char* rleTopDown;
  const char* clrUsed;
  const char* clrUsed8;
  const char* clrUsed4;
};

// The header texts of vrnConvertFromDIB, which vrnConvertToDIB words alike.
extern const DibCheckTexts kFromDibTexts;

// The header checks from biSize to the 4-bit colour count, in order; reports
// the first failure with status -5 and returns false.
bool checkDibHeader(const BITMAPINFOHEADER* h, const DibCheckTexts& texts, const char* func);

// Mask, shift and width of the red, green, blue and alpha fields of a 16- or
// 32-bit pixel.
struct ColorFields {
  uint32_t mask[4];  // blue, green, red, alpha (the order of the pixel bytes)
  int shift[4];
  int width[4];
};

// The fields of a 16- or 32-bit DIB: the fixed 5-5-5 or 8-8-8-8 layout for
// BI_RGB, the masks at offsets 40, 44, 48 of the header for BI_BITFIELDS (low
// halves at 16 bits), with the alpha mask at 32 bits computed above the
// highest colour field.  False for a zero colour mask.
bool loadColorFields(const BITMAPINFOHEADER* h, ColorFields* f);

inline constexpr const char* kZeroMaskText = "Zero colour mask in BI_BITFIELDS DIB";

// RLE codecs.  Expansion returns a new vrnMalloc block of |biHeight| rows of
// the DIB row size (rows in stored order) or null after reporting under
// func's name.  The stream is read no further than biSizeImage bytes when
// that is not 0.
uint8_t* expandRle(const BITMAPINFOHEADER* h, const uint8_t* stream, const char* func);

// The row size expansion uses: biWidth rounded up to 4 bytes at 8 bits, the
// nibbles' bytes rounded up to 4 at 4 bits.
int64_t rleRowBytes(const BITMAPINFOHEADER* h);

// Where decodeRle puts the rows of a stream: take(self, y, row) receives
// every stored row y from 0 to biHeight - 1 once, in order, as rleRowBytes
// bytes (padding clear, but for the low nibble an odd-count BI_RLE4 write
// may set at an odd width, as in expandRle).
struct RleRowTarget {
  void* self;
  void (*take)(void* self, int64_t y, const uint8_t* row);
};

// Room the decoder may write behind a row's rleRowBytes.
inline constexpr int64_t kRleSlack = 256;
// Bytes of the scratch row decodeRle needs.
int64_t rleScratchBytes(const BITMAPINFOHEADER* h);

// Walks the stream without writing: false after reporting its first fault
// under func's name, exactly as expandRle would.
bool checkRle(const BITMAPINFOHEADER* h, const uint8_t* stream, const char* func);
// Decodes a stream that checkRle accepted into the rows handed to target
// (equal to expandRle's rows), through `scratch` of rleScratchBytes.
void decodeRle(const BITMAPINFOHEADER* h, const uint8_t* stream, uint8_t* scratch, const RleRowTarget& target);
// The codec's report of refused memory.
void reportRleNoMemory(const BITMAPINFOHEADER* h, const char* func);
// Compresses the uncompressed rows at `pixels` in place as the header's
// biCompression says; gives up (biCompression becomes BI_RGB) when the stream
// would not be smaller.  0, or the status of the report made.
int compressRle(BITMAPINFOHEADER* h, uint8_t* pixels, const char* func);

}  // namespace vrn

namespace vrn {

// What the whole four-byte channelSeq word asks of a pixel: "G" and "GRAY"
// gray, "BGR" and "BGRA" nothing, "RGB" and "RGBA" red and blue exchanged.
enum class SeqTransform { kGray, kNone, kSwap, kUnknown };
SeqTransform seqTransform(const char seq[4]);

// How the DIB functions walk an image buffer: the row step recomputed from
// width and align (widthStep is not read), the step between the channels of
// a pixel and from one pixel to the next, in bytes.
struct ImageWalk {
  int64_t rowStep;
  int64_t channelStep;
  int64_t pixelStep;
  int64_t bytes;  // bytes the rows (all planes) occupy
};
ImageWalk imageWalk(const VrnImage* image);

}  // namespace vrn

// Fuzz target of the bitmap readers and RLE codecs.  The first bytes choose
// the operation, the header fields and the image; the rest are the colour
// table and the pixels or the RLE stream.  Sizes are made consistent with
// the buffer: every DIB lies in a block of exactly the bytes its header
// promises (an RLE stream is bounded by biSizeImage), so any read or write
// past it is a fault of the library.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "dib/dib_format.h"
#include "vrn.h"

namespace {

struct Input {
  const uint8_t* data;
  size_t size;
  size_t pos = 0;
  uint8_t byte() { return pos < size ? data[pos++] : 0; }
  uint32_t word() {
    uint32_t w = 0;
    for (int i = 0; i < 4; ++i) w |= static_cast<uint32_t>(byte()) << (8 * i);
    return w;
  }
  // The rest of the input, `want` bytes of it (zero-padded), in a block of its own.
  std::vector<uint8_t> take(size_t want) {
    std::vector<uint8_t> out(want, 0);
    const size_t n = size - pos < want ? size - pos : want;
    if (n) std::memcpy(out.data(), data + pos, n);
    pos += n;
    return out;
  }
  size_t left() const { return size - pos; }
};

// An image to read into: channels, depth, layout and channel sequence by the
// input; as large as the DIB, or larger, or (sometimes) too small.
VrnImage* makeImage(Input& in, int width, int height) {
  static const int kinds[][3] = {{1, VRN_DEPTH_1U, 0}, {1, VRN_DEPTH_8U, 0}, {1, VRN_DEPTH_16U, 0},
                                 {3, VRN_DEPTH_8U, 0}, {3, VRN_DEPTH_16U, 0}, {4, VRN_DEPTH_8U, 4}};
  static const char* seqs[] = {"G", "GRAY", "BGR", "RGB", "BGRA", "RGBA", "XYZ"};
  const uint8_t k = in.byte(), s = in.byte();
  const int* kind = kinds[k % 6];
  char model[4] = {'R', 'G', 'B', 0}, seq[4] = {0, 0, 0, 0};
  const char* name = seqs[s % 7];
  std::memcpy(seq, name, std::strlen(name));
  const int grow = (s >> 4) & 3;
  int w = width + (grow == 1 ? 3 : 0) - (grow == 3 ? 1 : 0);
  int h = height + (grow == 2 ? 2 : 0) - (grow == 3 ? 1 : 0);
  if (w < 1) w = 1;
  if (h < 1) h = 1;
  VrnImage* image = vrnCreateImageHeader(kind[0], kind[2], kind[1], model, seq, (k >> 3) & 1, (k >> 4) & 1,
                                         4 << ((k >> 5) & 3), w, h, nullptr, nullptr, nullptr, nullptr);
  if (image && (k & 0x80) == 0) vrnAllocateImage(image, 1, 0x5a);
  return image;
}

void freeImage(VrnImage* image) { vrnDeallocate(image, VRN_FREE_HEADER | VRN_FREE_DATA); }

// Touches every byte of an image's rows, so that a view outside its DIB is caught.
uint32_t readAll(const VrnImage* image) {
  uint32_t sum = 0;
  for (int i = 0; i < image->imageSize; ++i) sum += static_cast<uint8_t>(image->imageData[i]);
  return sum;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool silent = (vrnSetErrMode(VRN_ErrorModeSilent), true);
  (void)silent;
  Input in{data, size};
  static const int bitCounts[] = {1, 4, 8, 16, 24, 32};
  const int op = in.byte() % 6;
  BITMAPINFOHEADER h{};
  h.biSize = 40;
  h.biPlanes = 1;
  h.biBitCount = static_cast<uint16_t>(bitCounts[in.byte() % 6]);
  h.biCompression = in.byte() % 4;
  h.biWidth = in.byte() % 65;
  h.biHeight = static_cast<int8_t>(in.byte()) % 65;
  h.biClrUsed = in.byte();
  uint32_t masks[3] = {in.word(), in.word(), in.word()};

  if (op >= 3) {  // the codecs alone
    h.biBitCount = op == 3 ? 8 : 4;
    h.biCompression = op == 3 ? BI_RLE8 : BI_RLE4;
    if (h.biHeight < 0) h.biHeight = -h.biHeight;
    if (op == 5) {
      // Compression then expansion gives the rows back (pad nibbles aside).
      h.biBitCount = (h.biClrUsed & 1) ? 4 : 8;
      h.biCompression = h.biBitCount == 8 ? BI_RLE8 : BI_RLE4;
      const size_t row = static_cast<size_t>(vrn::dibRowBytes(h.biWidth, h.biBitCount));
      std::vector<uint8_t> rows = in.take(row * static_cast<size_t>(h.biHeight));
      if (h.biBitCount == 4 && (h.biWidth & 1))
        for (int y = 0; y < h.biHeight; ++y) rows[y * row + h.biWidth / 2] &= 0xF0;
      for (int y = 0; y < h.biHeight; ++y)  // row padding is no pixel
        for (size_t x = (h.biWidth * h.biBitCount + 7) / 8; x < row; ++x) rows[y * row + x] = 0;
      std::vector<uint8_t> work = rows;
      if (vrn::compressRle(&h, work.data(), "fuzz") != 0) return 0;
      if (h.biCompression == BI_RGB) {
        if (work != rows) std::abort();
        return 0;
      }
      std::vector<uint8_t> stream(work.begin(), work.begin() + h.biSizeImage);
      uint8_t* back = vrn::expandRle(&h, stream.data(), "fuzz");
      if (!back) std::abort();
      for (int y = 0; y < h.biHeight; ++y) {
        if (h.biBitCount == 4 && (h.biWidth & 1)) back[y * row + h.biWidth / 2] &= 0xF0;
        for (size_t x = (h.biWidth * h.biBitCount + 7) / 8; x < row; ++x) back[y * row + x] = 0;
      }
      const bool same = std::memcmp(back, rows.data(), rows.size()) == 0;
      vrnFree(back);
      if (!same) std::abort();
      return 0;
    }
    std::vector<uint8_t> stream = in.take(in.left());
    if (stream.empty()) return 0;  // biSizeImage 0 would leave the stream unbounded
    h.biSizeImage = static_cast<uint32_t>(stream.size());
    uint8_t* rows = vrn::expandRle(&h, stream.data(), "fuzz");
    // The checking walk (run before row-at-a-time decoding) agrees with it.
    if (vrn::checkRle(&h, stream.data(), "fuzz") != (rows != nullptr)) std::abort();
    vrnFree(rows);
    return 0;
  }

  VrnImage* image = op == 0 ? nullptr : makeImage(in, h.biWidth, h.biHeight < 0 ? -h.biHeight : h.biHeight);
  const bool rle = h.biCompression == BI_RLE8 || h.biCompression == BI_RLE4;
  if (rle && h.biHeight < 0) h.biHeight = -h.biHeight;
  if (h.biCompression == BI_RLE8) h.biBitCount = 8;
  if (h.biCompression == BI_RLE4) h.biBitCount = 4;
  if (h.biBitCount == 4 && h.biClrUsed > 16) h.biClrUsed &= 15;
  if (h.biBitCount != 8 && h.biBitCount != 4 && h.biBitCount != 1) h.biClrUsed &= 7;
  const size_t entries = static_cast<size_t>(vrn::dibColorCount(&h));
  std::vector<uint8_t> table = in.take(entries * 4);
  if (h.biCompression == BI_BITFIELDS && entries >= 3) std::memcpy(table.data(), masks, 12);
  const size_t rowBytes = static_cast<size_t>(vrn::dibRowBytes(h.biWidth, h.biBitCount));
  const size_t rows = static_cast<size_t>(h.biHeight < 0 ? -h.biHeight : h.biHeight);
  std::vector<uint8_t> pixels = rle ? in.take(in.left()) : in.take(rowBytes * rows);
  if (rle) {
    if (pixels.empty()) pixels.push_back(0);
    h.biSizeImage = static_cast<uint32_t>(pixels.size());
  }
  // The packed DIB: header, table and pixels in one block of exactly that size.
  std::vector<uint8_t> packed(40 + table.size() + pixels.size());
  std::memcpy(packed.data(), &h, 40);
  if (!table.empty()) std::memcpy(packed.data() + 40, table.data(), table.size());
  if (!pixels.empty()) std::memcpy(packed.data() + 40 + table.size(), pixels.data(), pixels.size());
  auto* dib = reinterpret_cast<BITMAPINFOHEADER*>(packed.data());

  if (op == 0) {
    int clone = 0;
    VrnImage* t = vrnTranslateDIB(dib, &clone);
    if (t) {
      (void)readAll(t);
      if (clone)
        freeImage(t);
      else
        vrnDeallocate(t, VRN_FREE_HEADER);
    }
  } else if (image) {
    if (op == 1) {
      vrnConvertFromDIB(dib, image);
    } else {
      // The separated form: the header and its table in one block, the pixels in another.
      std::vector<uint8_t> head(packed.begin(), packed.begin() + 40 + table.size());
      vrnConvertFromDIBSep(reinterpret_cast<BITMAPINFOHEADER*>(head.data()), pixels.empty() ? nullptr : pixels.data(), image);
    }
  }
  if (image) freeImage(image);
  return 0;
}

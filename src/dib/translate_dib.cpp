// vrnTranslateDIB: a new image for a packed DIB.  Gray 1-bit, gray 8-bit
// (uncompressed), 24-bit and 32-bit (but BI_BITFIELDS) DIBs are shared: the
// image is a pixel-order view on the DIB's rows.  Everything else is copied
// into a new plane-order image through the bitmap reader.
#include <cstring>

#include "core/report.h"
#include "dib/dib_read.h"

namespace vrn {
namespace {

constexpr const char* kFunc = "vrnTranslateDIB";

const DibCheckTexts kTranslateTexts = {
    "( dib->biSize != sizeof(BITMAPINFOHEADER) )",
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

// Whether the n entries of the table form the gray ramp 255 i / (n - 1).
bool isGrayRamp(const uint8_t* table, int64_t n) {
  if (n == 0) return false;
  for (int64_t i = 0; i < n; ++i) {
    const uint8_t* e = table + 4 * i;
    const int64_t level = 255 * i / (n - 1);
    if (e[0] != e[1] || e[1] != e[2] || e[2] != level) return false;
  }
  return true;
}

}  // namespace
}  // namespace vrn

using namespace vrn;

extern "C" VRN_API VrnImage* vrnTranslateDIB(BITMAPINFOHEADER* dib, int* cloneData) {
  if (!dib) {
    VRN_REPORT(VRN_StsBadArg, kFunc, "( dib == 0 )");
    return nullptr;
  }
  if (!cloneData) {
    VRN_REPORT(VRN_StsBadArg, kFunc, "( cloneData == 0 )");
    return nullptr;
  }
  if (!checkDibHeader(dib, kTranslateTexts, kFunc)) return nullptr;
  const int bc = dib->biBitCount;
  if (bc != 1 && bc != 4 && bc != 8 && bc != 16 && bc != 24 && bc != 32) {
    VRN_REPORT(VRN_StsBadArg, kFunc, "dib->biBitCount is bad");
    return nullptr;
  }
  bool gray = false;
  int64_t entries = 0;  // colour table entries ahead of shared pixels
  if (bc <= 8) {
    // A 1-bit table is tested as its two entries; pixels still start behind
    // all the entries the header declares.
    entries = dibColorCount(dib);
    if (entries == 1) {
      VRN_REPORT(VRN_StsBadArg, kFunc, "Colour table of one entry");
      return nullptr;
    }
    gray = isGrayRamp(dibColorTable(dib), bc == 1 ? 2 : entries);
  } else if (bc == 24 || bc == 32) {
    entries = dib->biClrUsed;
  }
  bool shared = false;
  int channels = 3, depth = VRN_DEPTH_8U, alpha = 0;
  const char* model = "RGB";
  const char* seq = "BGR";
  switch (bc) {
    case 1:
      shared = gray;
      if (gray) channels = 1, depth = VRN_DEPTH_1U;
      break;
    case 4: if (gray) channels = 1; break;
    case 8:
      if (gray) channels = 1;
      shared = gray && dib->biCompression != BI_RLE8;
      break;
    case 24: shared = true; break;
    case 32:
      channels = alpha = 4;
      model = "RGBA";
      seq = "BGRA";
      shared = dib->biCompression != BI_BITFIELDS;
      break;
    default: break;
  }
  if (channels == 1) {
    model = "GRAY";
    seq = "G";
  }
  char modelWord[4] = {}, seqWord[4] = {};
  std::memcpy(modelWord, model, std::strlen(model));
  std::memcpy(seqWord, seq, std::strlen(seq));
  const int64_t height = dibAbsHeight(dib->biHeight);
  VrnImage* image = vrnCreateImageHeader(
      channels, alpha, depth, modelWord, seqWord,
      shared ? VRN_DATA_ORDER_PIXEL : VRN_DATA_ORDER_PLANE, dib->biHeight > 0 ? 1 : 0,
      shared ? 4 : 32, dib->biWidth, height > 0x7FFFFFFF ? -1 : static_cast<int>(height), nullptr,
      nullptr, nullptr, nullptr);
  if (!image) {
    VRN_REPORT(VRN_StsNoMem, kFunc, "Not enough memory to allocate header for destination image");
    return nullptr;
  }
  if (shared) {
    const int64_t rowBytes = dibRowBytes(dib->biWidth, bc);
    image->widthStep = static_cast<int>(rowBytes);
    image->imageSize = static_cast<int>(rowBytes * height);
    image->imageData = reinterpret_cast<char*>(dib) + kDibHeaderSize + 4 * entries;
    *cloneData = 0;
    return image;
  }
  vrnAllocateImage(image, 0, 0);
  if (!image->imageData) {
    VRN_REPORT(VRN_StsNoMem, kFunc, "Not enough memory to allocate data for destination image");
    vrnDeallocate(image, VRN_FREE_HEADER);
    return nullptr;
  }
  if (readDib("vrnConvertFromDIB", kFromDibTexts, dib, nullptr, image) != 0) {
    vrnDeallocate(image, VRN_FREE_HEADER | VRN_FREE_DATA);
    return nullptr;
  }
  *cloneData = 1;
  return image;
}

// Reading bitmaps: what vrnTranslateDIB shares or copies, the readers of each
// bit count and their colour fields, row order, the writers per layout, and
// every check with its status and text, the destination untouched on failure.
#include "dib/dib_test_util.h"

using namespace dibtest;

namespace {

// A DIB of 4x3 pixels at the bit count given, with a gray or a colour table.
PackedDib smallDib(int bitCount, bool grayTable, int height = 3, uint32_t compression = BI_RGB) {
  const size_t entries = bitCount <= 8 ? (size_t{1} << bitCount) : 0;
  PackedDib d = makeDib(header(4, height, bitCount, compression), entries,
                        rowBytes(4, bitCount) * static_cast<size_t>(height < 0 ? -height : height));
  for (size_t i = 0; i < entries; ++i) {
    const uint8_t level = static_cast<uint8_t>(255 * i / (entries - 1));
    d.table()[4 * i] = level;
    d.table()[4 * i + 1] = level;
    d.table()[4 * i + 2] = grayTable ? level : static_cast<uint8_t>(255 - level);
  }
  std::mt19937 rng(bitCount);
  for (size_t i = 0; i < d.bytes.size() - 40 - 4 * entries; ++i) d.pixels()[i] = static_cast<uint8_t>(rng());
  return d;
}

struct TranslateCase {
  int bitCount;
  bool gray;
  uint32_t compression;
  int channels, depth, cloneData;
};

class Translate : public ::testing::TestWithParam<TranslateCase> {};

TEST_P(Translate, SharesOrCopiesByTheTable) {
  ReportCatcher catcher;
  const TranslateCase& c = GetParam();
  PackedDib d = smallDib(c.bitCount, c.gray);
  if (c.compression == BI_BITFIELDS) {
    d = makeDib(header(4, 3, 32, BI_BITFIELDS), 3, 48);
    const uint32_t masks[3] = {0xff0000, 0xff00, 0xff};
    std::memcpy(d.table(), masks, 12);
  }
  int clone = -1;
  VrnImage* im = vrnTranslateDIB(d.h(), &clone);
  ASSERT_NE(im, nullptr);
  EXPECT_TRUE(catcher.empty());
  EXPECT_EQ(im->nChannels, c.channels);
  EXPECT_EQ(im->depth, c.depth);
  EXPECT_EQ(clone, c.cloneData);
  EXPECT_EQ(im->origin, VRN_ORIGIN_BOTTOM);
  if (c.cloneData == 0) {
    EXPECT_EQ(im->dataOrder, VRN_DATA_ORDER_PIXEL);
    EXPECT_EQ(im->align, 4);
    EXPECT_EQ(im->widthStep, static_cast<int>(rowBytes(4, c.bitCount)));
    EXPECT_EQ(im->imageData, reinterpret_cast<char*>(d.pixels()));
    EXPECT_EQ(im->dataBlock, nullptr);
    vrnDeallocate(im, VRN_FREE_HEADER);
  } else {
    EXPECT_EQ(im->dataOrder, VRN_DATA_ORDER_PLANE);
    EXPECT_EQ(im->align, 32);
    freeImage(im);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Bitcounts, Translate,
    ::testing::Values(TranslateCase{1, true, BI_RGB, 1, VRN_DEPTH_1U, 0},
                      TranslateCase{1, false, BI_RGB, 3, VRN_DEPTH_8U, 1},
                      TranslateCase{4, true, BI_RGB, 1, VRN_DEPTH_8U, 1},
                      TranslateCase{4, false, BI_RGB, 3, VRN_DEPTH_8U, 1},
                      TranslateCase{8, true, BI_RGB, 1, VRN_DEPTH_8U, 0},
                      TranslateCase{8, false, BI_RGB, 3, VRN_DEPTH_8U, 1},
                      TranslateCase{16, false, BI_RGB, 3, VRN_DEPTH_8U, 1},
                      TranslateCase{24, false, BI_RGB, 3, VRN_DEPTH_8U, 0},
                      TranslateCase{32, false, BI_RGB, 4, VRN_DEPTH_8U, 0},
                      TranslateCase{32, false, BI_BITFIELDS, 4, VRN_DEPTH_8U, 1}));

TEST(TranslateDib, TopDownSharedHasOriginTopAndSkipsUsedEntries) {
  PackedDib d = makeDib(header(5, -2, 24, BI_RGB, 3), 3, rowBytes(5, 24) * 2);
  int clone = -1;
  VrnImage* im = vrnTranslateDIB(d.h(), &clone);
  ASSERT_NE(im, nullptr);
  EXPECT_EQ(im->origin, VRN_ORIGIN_TOP);
  EXPECT_EQ(im->height, 2);
  EXPECT_EQ(im->imageData, reinterpret_cast<char*>(d.bytes.data() + 40 + 12));
  EXPECT_EQ(im->imageSize, 2 * 16);
  vrnDeallocate(im, VRN_FREE_HEADER);
}

TEST(TranslateDib, EightBitGrayWithDefaultCountSharesAfter1024Bytes) {
  PackedDib d = smallDib(8, true);
  int clone = -1;
  VrnImage* im = vrnTranslateDIB(d.h(), &clone);
  ASSERT_NE(im, nullptr);
  EXPECT_EQ(im->imageData, reinterpret_cast<char*>(d.bytes.data() + 40 + 1024));
  EXPECT_EQ(std::string(im->channelSeq, 1), "G");
  vrnDeallocate(im, VRN_FREE_HEADER);
}

TEST(TranslateDib, CopiedPaletteImageHoldsTheTableColours) {
  PackedDib d = smallDib(1, false);
  d.table()[4] = 0, d.table()[5] = 0, d.table()[6] = 200;  // entry 1 is red
  d.pixels()[0] = 0x80;                                    // top row in a bottom-up DIB is row 2
  int clone = -1;
  VrnImage* im = vrnTranslateDIB(d.h(), &clone);
  ASSERT_NE(im, nullptr);
  EXPECT_EQ(clone, 1);
  // origin 1: stored row 0 of the DIB lands in image row 2 read from the end twice.
  EXPECT_EQ(sampleAt(im, 0, 0, 2), 200);
  EXPECT_EQ(sampleAt(im, 0, 0, 0), 0);
  EXPECT_EQ(sampleAt(im, 1, 0, 2), 255);  // entry 0 of smallDib's colour table: (0, 0, 255)
  freeImage(im);
}

TEST(TranslateDib, OneEntryTableIsReported) {
  ReportCatcher catcher;
  PackedDib d = makeDib(header(4, 2, 8, BI_RGB, 1), 1, 8);
  int clone = -1;
  EXPECT_EQ(vrnTranslateDIB(d.h(), &clone), nullptr);
  EXPECT_REPORT(catcher, VRN_StsBadArg, "vrnTranslateDIB", "Colour table of one entry");
}

// Found by fuzzing: a 1-bit DIB that declares one entry was tested as two,
// reading past its table; one with four entries shares the rows behind all four.
TEST(TranslateDib, OneBitTableSizeFollowsTheHeader) {
  ReportCatcher catcher;
  PackedDib one = makeDib(header(8, 1, 1, BI_RGB, 1), 1, 4);
  int clone = -1;
  EXPECT_EQ(vrnTranslateDIB(one.h(), &clone), nullptr);
  EXPECT_REPORT(catcher, VRN_StsBadArg, "vrnTranslateDIB", "Colour table of one entry");
  PackedDib four = makeDib(header(8, 1, 1, BI_RGB, 4), 4, 4);
  std::memset(four.table() + 4, 255, 3);
  VrnImage* im = vrnTranslateDIB(four.h(), &clone);
  ASSERT_NE(im, nullptr);
  EXPECT_EQ(clone, 0);
  EXPECT_EQ(im->imageData, reinterpret_cast<char*>(four.pixels()));
  vrnDeallocate(im, VRN_FREE_HEADER);
}

TEST(TranslateDib, ChecksInOrder) {
  ReportCatcher catcher;
  int clone = 0;
  EXPECT_EQ(vrnTranslateDIB(nullptr, &clone), nullptr);
  EXPECT_REPORT(catcher, VRN_StsBadArg, "vrnTranslateDIB", "( dib == 0 )");
  PackedDib d = smallDib(8, true);
  EXPECT_EQ(vrnTranslateDIB(d.h(), nullptr), nullptr);
  EXPECT_REPORT(catcher, VRN_StsBadArg, "vrnTranslateDIB", "( cloneData == 0 )");
  d.h()->biSize = 41;
  EXPECT_EQ(vrnTranslateDIB(d.h(), &clone), nullptr);
  EXPECT_REPORT(catcher, VRN_StsBadArg, "vrnTranslateDIB", "( dib->biSize != sizeof(BITMAPINFOHEADER) )");
  d.h()->biSize = 40;
  d.h()->biBitCount = 2;
  EXPECT_EQ(vrnTranslateDIB(d.h(), &clone), nullptr);
  EXPECT_REPORT(catcher, VRN_StsBadArg, "vrnTranslateDIB", "dib->biBitCount is bad");
  d.h()->biBitCount = 8;
  d.h()->biWidth = 0;
  EXPECT_EQ(vrnTranslateDIB(d.h(), &clone), nullptr);
  EXPECT_REPORT(catcher, VRN_StsNoMem, "vrnTranslateDIB", "Not enough memory to allocate header for destination image");
}

// A reader against the same DIB read into pixel order and plane order, 8U
// and 16U: every layout must hold the same colours (fused rows included).
TEST(ConvertFromDib, EveryLayoutHoldsTheSameColours) {
  ReportCatcher catcher;
  for (int bc : {1, 4, 8, 16, 24, 32}) {
    PackedDib d = smallDib(bc, false);
    for (const char* seq : {"BGR", "RGB", "G"}) {
      const bool gray = seq[0] == 'G';
      const int ch = gray ? 1 : (bc == 32 ? 4 : 3);
      const char* s = (!gray && bc == 32) ? (seq[0] == 'B' ? "BGRA" : "RGBA") : seq;
      VrnImage* ref = makeImage(ch, VRN_DEPTH_8U, 4, 3, s, VRN_DATA_ORDER_PLANE);
      vrnConvertFromDIB(d.h(), ref);
      for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE})
        for (int depth : {VRN_DEPTH_8U, VRN_DEPTH_16U}) {
          VrnImage* im = makeImage(ch, depth, 4, 3, s, order);
          vrnConvertFromDIB(d.h(), im);
          for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 4; ++x)
              for (int c = 0; c < ch; ++c)
                ASSERT_EQ(sampleAt(im, x, y, c), sampleAt(ref, x, y, c) * (depth == VRN_DEPTH_16U ? 256 : 1))
                    << "bc " << bc << " seq " << s << " order " << order << " at " << x << "," << y << "," << c;
          freeImage(im);
        }
      freeImage(ref);
    }
  }
  EXPECT_TRUE(catcher.empty());
}

TEST(ConvertFromDib, FiveFiveFiveWhiteReadsAs248) {
  PackedDib d = makeDib(header(2, 1, 16), 0, 4);
  d.pixels()[0] = 0xff, d.pixels()[1] = 0x7f;  // 0x7fff
  VrnImage* im = makeImage(3, VRN_DEPTH_8U, 2, 1, "BGR");
  vrnConvertFromDIB(d.h(), im);
  for (int c = 0; c < 3; ++c) EXPECT_EQ(sampleAt(im, 0, 0, c), 248);
  freeImage(im);
}

TEST(ConvertFromDib, BitFieldsAndTheComputedAlphaMask) {
  // 5-6-5 at 16 bits: the green field keeps six bits.
  PackedDib d = makeDib(header(1, 1, 16, BI_BITFIELDS), 3, 4);
  const uint32_t m565[3] = {0xf800, 0x07e0, 0x001f};
  std::memcpy(d.table(), m565, 12);
  d.pixels()[0] = 0xff, d.pixels()[1] = 0xff;
  VrnImage* im = makeImage(3, VRN_DEPTH_8U, 1, 1, "BGR");
  vrnConvertFromDIB(d.h(), im);
  EXPECT_EQ(sampleAt(im, 0, 0, 0), 248);
  EXPECT_EQ(sampleAt(im, 0, 0, 1), 252);
  EXPECT_EQ(sampleAt(im, 0, 0, 2), 248);
  freeImage(im);
  // 32 bits, red in the top byte: the alpha mask wraps to all ones (shift 0,
  // width 32), so alpha is the top byte of the word.
  PackedDib e = makeDib(header(1, 1, 32, BI_BITFIELDS), 3, 4);
  const uint32_t top[3] = {0xff000000u, 0x00ff0000, 0x0000ff00};
  std::memcpy(e.table(), top, 12);
  const uint32_t px = 0x11223344;
  std::memcpy(e.pixels(), &px, 4);
  VrnImage* a = makeImage(4, VRN_DEPTH_8U, 1, 1, "BGRA", VRN_DATA_ORDER_PIXEL, 0, 4);
  vrnConvertFromDIB(e.h(), a);
  EXPECT_EQ(sampleAt(a, 0, 0, 0), 0x33);
  EXPECT_EQ(sampleAt(a, 0, 0, 1), 0x22);
  EXPECT_EQ(sampleAt(a, 0, 0, 2), 0x11);
  EXPECT_EQ(sampleAt(a, 0, 0, 3), 0x11);
  // Masks in the low bytes: alpha is every bit above blue-green-red's top.
  const uint32_t low[3] = {0x00ff0000, 0x0000ff00, 0x000000ff};
  std::memcpy(e.table(), low, 12);
  vrnConvertFromDIB(e.h(), a);
  EXPECT_EQ(sampleAt(a, 0, 0, 3), 0x11);
  EXPECT_EQ(sampleAt(a, 0, 0, 2), 0x22);
  freeImage(a);
}

TEST(ConvertFromDib, ZeroMaskIsReportedAndNothingWritten) {
  ReportCatcher catcher;
  PackedDib d = makeDib(header(1, 1, 16, BI_BITFIELDS), 3, 4);
  const uint32_t masks[3] = {0xf800, 0x10000, 0x1f};  // green is 0 in the low half
  std::memcpy(d.table(), masks, 12);
  VrnImage* im = makeImage(3, VRN_DEPTH_8U, 1, 1, "BGR");
  const std::vector<char> before(im->imageData, im->imageData + im->imageSize);
  vrnConvertFromDIB(d.h(), im);
  EXPECT_REPORT(catcher, VRN_StsBadArg, "vrnConvertFromDIB", "Zero colour mask in BI_BITFIELDS DIB");
  EXPECT_EQ(std::vector<char>(im->imageData, im->imageData + im->imageSize), before);
  freeImage(im);
}

TEST(ConvertFromDib, GrayThresholdAt128Into1U) {
  PackedDib d = makeDib(header(10, -1, 8), 256, rowBytes(10, 8));
  for (int i = 0; i < 256; ++i) d.table()[4 * i] = d.table()[4 * i + 1] = d.table()[4 * i + 2] = static_cast<uint8_t>(i);
  const uint8_t px[10] = {0, 127, 128, 255, 200, 1, 129, 126, 130, 64};
  std::memcpy(d.pixels(), px, 10);
  VrnImage* im = makeImage(1, VRN_DEPTH_1U, 10, 1, "G");
  vrnConvertFromDIB(d.h(), im);
  const int want[10] = {0, 0, 1, 1, 1, 0, 1, 0, 1, 0};
  for (int x = 0; x < 10; ++x) EXPECT_EQ(sampleAt(im, x, 0, 0), want[x]) << x;
  freeImage(im);
}

TEST(ConvertFromDib, RowOrderAndCommonPart) {
  // A bottom-up 1x3 gray DIB whose stored rows hold 10, 20, 30.
  PackedDib d = makeDib(header(1, 3, 8), 256, 12);
  for (int i = 0; i < 256; ++i) d.table()[4 * i] = d.table()[4 * i + 1] = d.table()[4 * i + 2] = static_cast<uint8_t>(i);
  d.pixels()[0] = 10, d.pixels()[4] = 20, d.pixels()[8] = 30;
  for (int origin : {VRN_ORIGIN_TOP, VRN_ORIGIN_BOTTOM})
    for (int sign : {1, -1}) {
      d.h()->biHeight = 3 * sign;
      VrnImage* im = makeImage(1, VRN_DEPTH_8U, 2, 5, "G", VRN_DATA_ORDER_PIXEL, origin);
      const int keep = sampleAt(im, 1, 0, 0);
      vrnConvertFromDIB(d.h(), im);
      // Image row of stored DIB row r: a bottom-up DIB puts stored row 0 at the
      // bottom of the picture; a bottom-origin image stores its bottom row last.
      for (int r = 0; r < 3; ++r) {
        const int pictureRow = sign > 0 ? 2 - r : r;  // from the top of the DIB picture
        const int imageRow = origin == VRN_ORIGIN_TOP ? pictureRow : 5 - 1 - pictureRow;
        EXPECT_EQ(sampleAt(im, 0, imageRow, 0), 10 * (r + 1)) << origin << sign << r;
      }
      EXPECT_EQ(sampleAt(im, 1, 0, 0), keep);  // outside the DIB: untouched
      freeImage(im);
    }
}

TEST(ConvertFromDib, RleDibIsExpandedAndAFaultReported) {
  ReportCatcher catcher;
  const uint8_t stream[] = {4, 7, 0, 0, 0, 4, 1, 2, 3, 4, 0, 1};
  PackedDib d = makeDib(header(4, 2, 8, BI_RLE8, 256), 256, sizeof stream);
  for (int i = 0; i < 256; ++i) d.table()[4 * i] = d.table()[4 * i + 1] = d.table()[4 * i + 2] = static_cast<uint8_t>(i);
  std::memcpy(d.pixels(), stream, sizeof stream);
  d.h()->biSizeImage = sizeof stream;
  VrnImage* im = makeImage(1, VRN_DEPTH_8U, 4, 2, "G");
  vrnConvertFromDIB(d.h(), im);
  EXPECT_TRUE(catcher.empty());
  EXPECT_EQ(sampleAt(im, 0, 1, 0), 7);  // stored row 0 is the bottom row
  EXPECT_EQ(sampleAt(im, 3, 0, 0), 4);
  d.h()->biSizeImage = sizeof stream - 2;  // the end of bitmap is cut off
  vrnConvertFromDIB(d.h(), im);
  EXPECT_REPORT(catcher, VRN_StsBadArg, "vrnConvertFromDIB", "Incorrect format of BI_RLE8 DIB (unexpected end of data)");
  // The separated form reads the same stream from its own buffer.
  d.h()->biSizeImage = sizeof stream;
  catcher.clear();
  EXPECT_EQ(vrnConvertFromDIBSep(d.h(), stream, im), 0);
  EXPECT_TRUE(catcher.empty());
  d.h()->biSizeImage = 3;
  EXPECT_EQ(vrnConvertFromDIBSep(d.h(), stream, im), VRN_StsBadArg);
  freeImage(im);
}

TEST(ConvertFromDib, AllocatesAnImageWithoutData) {
  char m[4] = {'R', 'G', 'B', 0}, s[4] = {'B', 'G', 'R', 0};
  VrnImage* im = vrnCreateImageHeader(3, 0, VRN_DEPTH_8U, m, s, 0, 0, 4, 4, 3, nullptr, nullptr, nullptr, nullptr);
  PackedDib d = smallDib(24, false);
  vrnConvertFromDIB(d.h(), im);
  ASSERT_NE(im->imageData, nullptr);
  EXPECT_EQ(sampleAt(im, 0, 2, 0), d.pixels()[0]);
  freeImage(im);
}

// One failing check: what to break, the text, the status reported and the
// value the separated form returns.
struct FromDibCheck {
  const char* name;
  void (*breakIt)(BITMAPINFOHEADER*, VrnImage*);
  int status;
  const char* text;     // vrnConvertFromDIB's words
  const char* sepText;  // vrnConvertFromDIBSep's words (null: the same)
  int returned;
};

const FromDibCheck kFromDibChecks[] = {
    {"alphaNegative", [](BITMAPINFOHEADER*, VrnImage* i) { i->alphaChannel = -1; }, -5, "( image->alphaChannel < 0 )", nullptr, -18},
    {"alphaAbove", [](BITMAPINFOHEADER*, VrnImage* i) { i->alphaChannel = 4; }, -5, "( image->nChannels < image->alphaChannel )", nullptr, -18},
    {"order", [](BITMAPINFOHEADER*, VrnImage* i) { i->dataOrder = 2; }, -5, "( (image->dataOrder != 0) && (image->dataOrder != 1) )", nullptr, -19},
    {"origin", [](BITMAPINFOHEADER*, VrnImage* i) { i->origin = 5; }, -5, "( (image->origin != 0) && (image->origin != 1) )", nullptr, -20},
    {"align", [](BITMAPINFOHEADER*, VrnImage* i) { i->align = 2; }, -5, "( (image->align != 4) && (image->align != 8) && (image->align != 16) && (image->align != 32) )", nullptr, -21},
    {"height", [](BITMAPINFOHEADER*, VrnImage* i) { i->height = 0; }, -5, "(image->height <= 0)", nullptr, -10},
    {"width", [](BITMAPINFOHEADER*, VrnImage* i) { i->width = -1; }, -5, "(image->width <= 0)", nullptr, -10},
    {"imageSize", [](BITMAPINFOHEADER*, VrnImage* i) { i->imageSize = 0; }, -5, "(image->imageSize <= 0)", nullptr, -10},
    {"widthStep", [](BITMAPINFOHEADER*, VrnImage* i) { i->widthStep = 0; }, -5, "(image->widthStep <= 0)", nullptr, -13},
    {"biSize", [](BITMAPINFOHEADER* h, VrnImage*) { h->biSize = 12; }, -5, "(dib->biSize != sizeof(BITMAPINFOHEADER))", "(dibHeader->biSize != sizeof(BITMAPINFOHEADER))", -5},
    {"planes", [](BITMAPINFOHEADER* h, VrnImage*) { h->biPlanes = 2; }, -5, "(dib->biPlanes != 1)", "(dibHeader->biPlanes != 1)", -5},
    {"compression", [](BITMAPINFOHEADER* h, VrnImage*) { h->biCompression = 4; }, -5, "(dib->biCompression != 0) && (dib->biCompression != 1) && (dib->biCompression != 2) && (dib->biCompression != 3)", "( ( dibHeader->biCompression != 0 ) && ( dibHeader->biCompression != 1 ) && ( dibHeader->biCompression != 2 ) && ( dibHeader->biCompression != 3 ) )", -5},
    {"rle8", [](BITMAPINFOHEADER* h, VrnImage*) { h->biCompression = 1; }, -5, "(dib->biBitCount != 8) && (dib->biCompression == 1)", "(dibHeader->biBitCount != 8) && (dibHeader->biCompression == 1)", -5},
    {"rle4", [](BITMAPINFOHEADER* h, VrnImage*) { h->biCompression = 2; }, -5, "(dib->biBitCount != 4) && (dib->biCompression == 2)", "(dibHeader->biBitCount != 4) && (dibHeader->biCompression == 2)", -5},
    {"rleTopDown", [](BITMAPINFOHEADER* h, VrnImage*) { h->biBitCount = 8; h->biCompression = 1; h->biHeight = -3; }, -5, "(dib->biHeight < 0) && ( (dib->biCompression == 1) || (dib->biCompression == 2) )", "(dibHeader->biHeight < 0) && ( (dibHeader->biCompression == 1) || (dibHeader->biCompression == 2) )", -5},
    {"clrUsed", [](BITMAPINFOHEADER* h, VrnImage*) { h->biClrUsed = 0x8001; }, -5, "(dib->biClrUsed > 0x8000)", "(dibHeader->biClrUsed > 0x8000)", -5},
    {"clrUsed8", [](BITMAPINFOHEADER* h, VrnImage*) { h->biBitCount = 8; h->biClrUsed = 257; }, -5, "( dib->biBitCount==8 && dib->biClrUsed>256 )", "(dibHeader->biBitCount==8 && dibHeader->biClrUsed>256)", -5},
    {"clrUsed4", [](BITMAPINFOHEADER* h, VrnImage*) { h->biBitCount = 4; h->biClrUsed = 17; }, -5, "( dib->biBitCount==4 && dib->biClrUsed>16 )", "(dibHeader->biBitCount==4 && dibHeader->biClrUsed>16 )", -5},
    {"tooSmall", [](BITMAPINFOHEADER* h, VrnImage*) { h->biWidth = 5; }, -10, "Image size is too small", nullptr, -10},
    {"bitCount", [](BITMAPINFOHEADER* h, VrnImage*) { h->biBitCount = 2; }, -3, "", nullptr, -3},
    {"rle16", [](BITMAPINFOHEADER* h, VrnImage*) { h->biBitCount = 16; h->biCompression = 1; }, -5, "(dib->biBitCount != 8) && (dib->biCompression == 1)", "(dibHeader->biBitCount != 8) && (dibHeader->biCompression == 1)", -5},
    {"channelSeq", [](BITMAPINFOHEADER*, VrnImage* i) { std::memcpy(i->channelSeq, "XYZ", 4); }, -14, "image->channelSeq unsupport", nullptr, -14},
    {"writerPair", [](BITMAPINFOHEADER*, VrnImage* i) { i->nChannels = 2; }, -3, "", nullptr, -3},
    {"writerDepth", [](BITMAPINFOHEADER*, VrnImage* i) { i->depth = VRN_DEPTH_32F; }, -3, "", nullptr, -3},
    {"bufferTooSmall", [](BITMAPINFOHEADER*, VrnImage* i) { i->imageSize = 8; }, -10, "Image buffer smaller than its rows", nullptr, -10},
};

class FromDibChecks : public ::testing::TestWithParam<FromDibCheck> {};

TEST_P(FromDibChecks, ReportAndLeaveTheImageAlone) {
  const FromDibCheck& c = GetParam();
  for (bool sep : {false, true}) {
    ReportCatcher catcher;
    PackedDib d = smallDib(24, false);
    VrnImage* im = makeImage(3, VRN_DEPTH_8U, 4, 3, "BGR");
    VrnImage saved = *im;
    const std::vector<char> before(im->imageData, im->imageData + im->imageSize);
    c.breakIt(d.h(), im);
    int result = 0;
    if (sep)
      result = vrnConvertFromDIBSep(d.h(), d.pixels(), im);
    else
      vrnConvertFromDIB(d.h(), im);
    ASSERT_EQ(catcher.all().size(), 1u) << c.name;
    const char* text = sep && c.sepText ? c.sepText : c.text;
    EXPECT_REPORT(catcher, c.status, sep ? "vrnConvertFromDIBSep" : "vrnConvertFromDIB", text);
    if (sep) {
      EXPECT_EQ(result, c.returned) << c.name;
    }
    EXPECT_EQ(std::vector<char>(saved.imageData, saved.imageData + saved.imageSize), before) << c.name;
    *im = saved;
    freeImage(im);
  }
}

INSTANTIATE_TEST_SUITE_P(All, FromDibChecks, ::testing::ValuesIn(kFromDibChecks),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ConvertFromDib, NullPointersReportEachBeforeReturning) {
  ReportCatcher catcher;
  vrnConvertFromDIB(nullptr, nullptr);
  ASSERT_EQ(catcher.all().size(), 2u);
  EXPECT_EQ(catcher.all()[0].context, "dib==0");
  EXPECT_EQ(catcher.all()[1].context, "image==0");
  catcher.clear();
  PackedDib d = smallDib(24, false);
  EXPECT_EQ(vrnConvertFromDIBSep(nullptr, d.pixels(), nullptr), VRN_StsBadArg);
  EXPECT_EQ(catcher.all().size(), 2u);
  EXPECT_EQ(vrnConvertFromDIBSep(d.h(), nullptr, nullptr), VRN_StsBadArg);
  EXPECT_EQ(catcher.all()[2].context, "( 0 == dibData )");
  EXPECT_EQ(vrnConvertFromDIBSep(d.h(), d.pixels(), nullptr), VRN_StsNullHeader);
  EXPECT_REPORT(catcher, VRN_StsBadArg, "vrnConvertFromDIBSep", "( 0 == image )");
}

}  // namespace

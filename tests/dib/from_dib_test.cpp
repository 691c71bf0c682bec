// Reading bitmaps: what vrnTranslateDIB shares or copies, the readers of each
// bit count and their colour fields, row order, the writers per layout, and
// every check with its status and text, the destination untouched on failure.
#include <array>
#include <random>

#include "dib/dib_test_util.h"

using namespace dibtest;

namespace {

// A DIB of 5 x |height| pixels, random rows, with a gray or a colour table
// (or the masks of BI_BITFIELDS).
PackedDib smallDib(int bits, bool gray, int height = 3, uint32_t compression = BI_RGB, uint32_t clrUsed = 0) {
  const size_t n = compression == BI_BITFIELDS ? 3 : clrUsed ? clrUsed : bits <= 8 ? size_t{1} << bits : 0;
  PackedDib d(header(5, height, bits, compression, clrUsed), n, rowBytes(5, bits) * static_cast<size_t>(std::abs(height)));
  for (size_t i = 0; i < n && bits <= 8; ++i) {
    const int level = static_cast<int>(255 * i / ((1u << bits) - 1));
    d.setEntry(i, gray ? level : 255 - level, level, level);
  }
  const uint32_t masks[3] = {0xff0000, 0xff00, 0xff};
  if (compression == BI_BITFIELDS) std::memcpy(d.table(), masks, 12);
  std::mt19937 rng(bits);
  for (uint8_t* p = d.pixels(); p != d.bytes.data() + d.bytes.size(); ++p) *p = static_cast<uint8_t>(rng());
  return d;
}

struct TranslateCase { int bits; bool gray; uint32_t compression, clrUsed; int height, channels, depth, cloneData; };

const TranslateCase kTranslate[] = {
    {1, true, BI_RGB, 0, 3, 1, VRN_DEPTH_1U, 0},   {1, false, BI_RGB, 0, 3, 3, VRN_DEPTH_8U, 1},
    {4, true, BI_RGB, 0, 3, 1, VRN_DEPTH_8U, 1},   {4, false, BI_RGB, 0, 3, 3, VRN_DEPTH_8U, 1},
    {8, true, BI_RGB, 0, 3, 1, VRN_DEPTH_8U, 0},   {8, false, BI_RGB, 0, 3, 3, VRN_DEPTH_8U, 1},
    {16, false, BI_RGB, 0, 3, 3, VRN_DEPTH_8U, 1}, {24, false, BI_RGB, 0, 3, 3, VRN_DEPTH_8U, 0},
    {32, false, BI_RGB, 0, 3, 4, VRN_DEPTH_8U, 0}, {32, false, BI_BITFIELDS, 0, 3, 4, VRN_DEPTH_8U, 1},
    // Shared rows start behind all the entries declared; found by fuzzing: a
    // 1-bit DIB declaring four entries (gray-tested as two).
    {24, false, BI_RGB, 3, -3, 3, VRN_DEPTH_8U, 0}, {1, true, BI_RGB, 4, 3, 1, VRN_DEPTH_1U, 0},
};

TEST(TranslateDib, SharesOrCopiesByTheTable) {
  ReportCatcher catcher;
  for (const TranslateCase& c : kTranslate) {
    SCOPED_TRACE(testing::Message() << "bits " << c.bits << " entries " << c.clrUsed);
    PackedDib d = smallDib(c.bits, c.gray, c.height, c.compression, c.clrUsed);
    int clone = -1;
    VrnImage* im = vrnTranslateDIB(d.h(), &clone);
    ASSERT_NE(im, nullptr);
    EXPECT_EQ((std::array<int, 6>{im->nChannels, im->depth, clone, im->origin, im->dataOrder, im->align}),
              (std::array<int, 6>{c.channels, c.depth, c.cloneData, c.height < 0 ? VRN_ORIGIN_TOP : VRN_ORIGIN_BOTTOM,
                                   c.cloneData ? VRN_DATA_ORDER_PLANE : VRN_DATA_ORDER_PIXEL, c.cloneData ? 32 : 4}));
    if (c.cloneData) {  // a copy holds what the reader gives (the table's colours)
      TestImage ref = image(VRN_DEPTH_8U, c.channels, 5, 3, c.channels == 4 ? "BGRA" : "BGR", 1, 1, c.channels == 4 ? 4 : 0);
      vrnConvertFromDIB(d.h(), ref);
      for (int i = 0; i < 15 * c.channels; ++i) EXPECT_EQ(sampleAt(im, i % 5, i / 5 % 3, i / 15), sampleAt(ref, i % 5, i / 5 % 3, i / 15));
    } else {
      EXPECT_EQ(im->widthStep, static_cast<int>(rowBytes(5, c.bits)));
      EXPECT_EQ(im->imageData, reinterpret_cast<char*>(d.pixels()));
    }
    vrnDeallocate(im, c.cloneData ? VRN_FREE_HEADER | VRN_FREE_DATA : VRN_FREE_HEADER);
  }
  EXPECT_NO_REPORT(catcher);
}

TEST(TranslateDib, ChecksInOrder) {
  ReportCatcher catcher;
  int clone = 0;
  auto refused = [&](BITMAPINFOHEADER* h, int* c, int status, const char* text) {
    catcher.clear();
    EXPECT_EQ(vrnTranslateDIB(h, c), nullptr);
    EXPECT_TRUE(vrntest::expectLastReport(catcher, status, "vrnTranslateDIB", text));
  };
  refused(nullptr, &clone, VRN_StsBadArg, "( dib == 0 )");
  PackedDib d = smallDib(8, true);
  refused(d.h(), nullptr, VRN_StsBadArg, "( cloneData == 0 )");
  d.h()->biSize = 41;
  refused(d.h(), &clone, VRN_StsBadArg, "( dib->biSize != sizeof(BITMAPINFOHEADER) )");
  d.h()->biSize = 40, d.h()->biBitCount = 2;
  refused(d.h(), &clone, VRN_StsBadArg, "dib->biBitCount is bad");
  d.h()->biBitCount = 8, d.h()->biWidth = 0;
  refused(d.h(), &clone, VRN_StsNoMem, "Not enough memory to allocate header for destination image");
  // Found by fuzzing: a 1-bit DIB declaring one entry was read as two, past its table.
  for (int bits : {8, 1}) {
    PackedDib one(header(8, 2, bits, BI_RGB, 1), 1, 16);
    refused(one.h(), &clone, VRN_StsBadArg, "Colour table of one entry");
  }
}

// Each DIB read into pixel and plane order, 8U and 16U, must give the same
// colours as a plane-order 8U reference.
TEST(ConvertFromDib, EveryLayoutHoldsTheSameColours) {
  ReportCatcher catcher;
  for (int bc : {1, 4, 8, 16, 24, 32}) {
    PackedDib d = smallDib(bc, false);
    for (const char* seq : {"BGR", "RGB", "G"}) {
      const int ch = seq[0] == 'G' ? 1 : (bc == 32 ? 4 : 3);
      const char* s = ch != 4 ? seq : (seq[0] == 'B' ? "BGRA" : "RGBA");
      TestImage ref = image(VRN_DEPTH_8U, ch, 5, 3, s, VRN_DATA_ORDER_PLANE);
      vrnConvertFromDIB(d.h(), ref);
      for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE})
        for (int depth : {VRN_DEPTH_8U, VRN_DEPTH_16U}) {
          TestImage im = image(depth, ch, 5, 3, s, order);
          vrnConvertFromDIB(d.h(), im);
          for (int i = 0; i < 15 * ch; ++i)
            ASSERT_EQ(sampleAt(im, i % 5, i / 5 % 3, i / 15), sampleAt(ref, i % 5, i / 5 % 3, i / 15) * (depth == VRN_DEPTH_16U ? 256 : 1))
                << "bc " << bc << " seq " << s << " order " << order << " sample " << i;
        }
    }
  }
  EXPECT_NO_REPORT(catcher);
}

// Fields and the alpha mask computed above the colour masks: 5-5-5 white is
// 248, 5-6-5 keeps six bits of green, red in the top byte wraps alpha to all
// ones (alpha is the top byte), masks in the low bytes leave alpha on top.
TEST(ConvertFromDib, ColourFieldsAndTheComputedAlphaMask) {
  struct Case { int bits; uint32_t compression, masks[3], pixel; int want[4]; };
  const Case cases[] = {
      {16, BI_RGB, {}, 0x7fff, {248, 248, 248, -1}},
      {16, BI_BITFIELDS, {0xf800, 0x07e0, 0x001f}, 0xffff, {248, 252, 248, -1}},
      {32, BI_BITFIELDS, {0xff000000u, 0x00ff0000, 0x0000ff00}, 0x11223344, {0x33, 0x22, 0x11, 0x11}},
      {32, BI_BITFIELDS, {0x00ff0000, 0x0000ff00, 0x000000ff}, 0x11223344, {0x44, 0x33, 0x22, 0x11}},
  };
  for (const Case& c : cases) {
    const size_t n = c.compression == BI_BITFIELDS ? 3 : 0;
    PackedDib d(header(1, 1, c.bits, c.compression), n, 4);
    std::memcpy(d.table(), c.masks, 4 * n);
    std::memcpy(d.pixels(), &c.pixel, 4);
    const int ch = c.bits == 32 ? 4 : 3;
    TestImage im = image(VRN_DEPTH_8U, ch, 1, 1, ch == 4 ? "BGRA" : "BGR", 0, 0, ch == 4 ? 4 : 0);
    vrnConvertFromDIB(d.h(), im);
    for (int k = 0; k < ch; ++k) EXPECT_EQ(sampleAt(im, 0, 0, k), c.want[k]) << std::hex << c.masks[0] << " " << k;
  }
}

TEST(ConvertFromDib, GrayThresholdAt128Into1U) {
  PackedDib d(header(10, -1, 8), 256, rowBytes(10, 8));
  d.grayTable();
  const uint8_t px[10] = {0, 127, 128, 255, 200, 1, 129, 126, 130, 64};
  std::memcpy(d.pixels(), px, 10);
  TestImage im = image(VRN_DEPTH_1U, 1, 10, 1, "G");
  vrnConvertFromDIB(d.h(), im);
  for (int x = 0; x < 10; ++x) EXPECT_EQ(sampleAt(im, x, 0, 0), px[x] >= 128) << x;
}

TEST(ConvertFromDib, RowOrderAndCommonPart) {
  PackedDib d(header(1, 3, 8), 256, 12);  // stored rows hold 10, 20, 30
  d.grayTable();
  d.pixels()[0] = 10, d.pixels()[4] = 20, d.pixels()[8] = 30;
  for (int origin : {VRN_ORIGIN_TOP, VRN_ORIGIN_BOTTOM})
    for (int sign : {1, -1}) {
      d.h()->biHeight = 3 * sign;
      TestImage im = image(VRN_DEPTH_8U, 1, 2, 5, "G", VRN_DATA_ORDER_PIXEL, origin);
      const double keep = sampleAt(im, 1, 0, 0);
      vrnConvertFromDIB(d.h(), im);
      for (int r = 0; r < 3; ++r) {
        const int pictureRow = sign > 0 ? 2 - r : r;  // a bottom-up DIB stores its bottom row first
        EXPECT_EQ(sampleAt(im, 0, origin == VRN_ORIGIN_TOP ? pictureRow : 4 - pictureRow, 0), 10 * (r + 1));
      }
      EXPECT_EQ(sampleAt(im, 1, 0, 0), keep);  // outside the DIB: untouched
    }
}

// One failing check: what to break, the status, the texts of the two forms
// (null sepText: the same) and what the separated form returns.
struct FromDibCheck { const char* name; void (*breakIt)(BITMAPINFOHEADER*, VrnImage*); int status; const char *text, *sepText; int returned; };

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
    {"tooSmall", [](BITMAPINFOHEADER* h, VrnImage*) { h->biWidth = 6; }, -10, "Image size is too small", nullptr, -10},
    {"bitCount", [](BITMAPINFOHEADER* h, VrnImage*) { h->biBitCount = 2; }, -3, "", nullptr, -3},
    {"zeroMask", [](BITMAPINFOHEADER* h, VrnImage*) { h->biBitCount = 16; h->biCompression = 3; std::memset(h + 1, 0, 12); }, -5, "Zero colour mask in BI_BITFIELDS DIB", nullptr, -5},
    {"channelSeq", [](BITMAPINFOHEADER*, VrnImage* i) { std::memcpy(i->channelSeq, "XYZ", 4); }, -14, "image->channelSeq unsupport", nullptr, -14},
    {"writerPair", [](BITMAPINFOHEADER*, VrnImage* i) { i->nChannels = 2; }, -3, "", nullptr, -3},
    {"writerDepth", [](BITMAPINFOHEADER*, VrnImage* i) { i->depth = VRN_DEPTH_32F; }, -3, "", nullptr, -3},
    {"bufferTooSmall", [](BITMAPINFOHEADER*, VrnImage* i) { i->imageSize = 8; }, -10, "Image buffer smaller than its rows", nullptr, -10},
};

TEST(ConvertFromDib, ChecksReportAndLeaveTheImageAlone) {
  for (const FromDibCheck& c : kFromDibChecks)
    for (bool sep : {false, true}) {
      SCOPED_TRACE(std::string(c.name) + (sep ? " sep" : ""));
      ReportCatcher catcher;
      PackedDib d = smallDib(24, false);
      TestImage im = image(VRN_DEPTH_8U, 3, 5, 3, "BGR");
      const VrnImage saved = *im.get();
      const vrntest::Snapshot before = vrntest::snapshot(im);
      c.breakIt(d.h(), im);
      const int result = sep ? vrnConvertFromDIBSep(d.h(), d.pixels(), im) : (vrnConvertFromDIB(d.h(), im), 0);
      EXPECT_REPORT(catcher, c.status, sep ? "vrnConvertFromDIBSep" : "vrnConvertFromDIB", sep && c.sepText ? c.sepText : c.text);
      EXPECT_EQ(result, sep ? c.returned : 0);
      *im.get() = saved;
      EXPECT_TRUE(vrntest::sameBytes(before, im));
    }
}

TEST(ConvertFromDib, NullPointersReportEachBeforeReturning) {
  ReportCatcher catcher;
  PackedDib d = smallDib(24, false);
  vrnConvertFromDIB(nullptr, nullptr);
  EXPECT_EQ((std::array<int, 3>{vrnConvertFromDIBSep(nullptr, d.pixels(), nullptr), vrnConvertFromDIBSep(d.h(), nullptr, nullptr),
                                vrnConvertFromDIBSep(d.h(), d.pixels(), nullptr)}), (std::array<int, 3>{VRN_StsBadArg, VRN_StsBadArg, VRN_StsNullHeader}));
  std::string contexts;
  for (const vrntest::Report& r : catcher.reports()) contexts += r.context + ";";
  EXPECT_EQ(catcher.last().status, VRN_StsBadArg);
  EXPECT_EQ(contexts, "dib==0;image==0;( 0 == dibHeader );( 0 == image );( 0 == dibData );( 0 == image );( 0 == image );");
}

// An image with no buffer gets one of its own size before the rows are read.
TEST(ConvertFromDib, AllocatesAnImageWithoutData) {
  char m[4] = {'R', 'G', 'B', 0}, s[4] = {'B', 'G', 'R', 0};
  VrnImage* im = vrnCreateImageHeader(3, 0, VRN_DEPTH_8U, m, s, 0, 0, 4, 5, 3, nullptr, nullptr, nullptr, nullptr);
  PackedDib d = smallDib(24, false);
  vrnConvertFromDIB(d.h(), im);
  ASSERT_NE(im->imageData, nullptr);
  EXPECT_EQ(sampleAt(im, 0, 2, 0), d.pixels()[0]);
  vrnDeallocate(im, VRN_FREE_HEADER | VRN_FREE_DATA);
}

}  // namespace

// Writing bitmaps: round trips through vrnConvertToDIB and vrnConvertFromDIB
// for every bit count and compression, the fixed and median-cut tables, the
// nearest-entry rules, dithering, and every check with its status and text.
#include "dib/dib_test_util.h"

using namespace dibtest;

namespace {

// Room for a header, 256 entries (or masks) and uncompressed rows.
PackedDib roomFor(int w, int h, int bc, uint32_t compression, uint32_t clrUsed = 0) {
  return makeDib(header(w, h, bc, compression, clrUsed), 256, rowBytes(w, bc) * static_cast<size_t>(h < 0 ? -h : h));
}

// An image whose samples are limited by `keep` (a mask of each 8-bit value)
// and to `colours` distinct pixels.
VrnImage* limitedImage(int ch, int depth, const char* seq, int order, int keep, int colours, uint32_t seed) {
  VrnImage* im = makeImage(ch, depth, 23, 7, seq, order, 0, ch == 4 ? 4 : 0, seed);
  std::mt19937 rng(seed);
  std::vector<std::array<int, 4>> pool(static_cast<size_t>(colours));
  for (auto& p : pool)
    for (int& v : p) v = static_cast<int>(rng() & 255) & keep;
  for (int y = 0; y < im->height; ++y)
    for (int x = 0; x < im->width; ++x) {
      const auto& p = pool[(x / 6 + 3 * y + (x % 6 == 5 ? 1 : 0)) % pool.size()];
      for (int c = 0; c < ch; ++c) setSample(im, x, y, c, depth == VRN_DEPTH_16U ? p[c] * 256 + 77 : p[c]);
    }
  return im;
}

struct RoundTrip {
  const char* name;
  int ch, depth;
  const char* seq;
  int bc;
  uint32_t compression;
  int palette;  // paletteConversion
  int keep;     // bits of each 8-bit value the format keeps
  int colours;
  int height;   // sign: bottom-up or top-down
};

class ToDibRoundTrip : public ::testing::TestWithParam<RoundTrip> {};

TEST_P(ToDibRoundTrip, GivesTheImageBack) {
  ReportCatcher catcher;
  const RoundTrip& t = GetParam();
  for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE})
    for (bool sep : {false, true}) {
      VrnImage* im = t.depth == VRN_DEPTH_1U ? makeImage(1, VRN_DEPTH_1U, 23, 7, "G")
                                             : limitedImage(t.ch, t.depth, t.seq, order, t.keep, t.colours, 5);
      PackedDib d = roomFor(23, t.height, t.bc, t.compression);
      if (t.compression == BI_BITFIELDS) {
        const uint32_t m565[3] = {0xf800, 0x07e0, 0x001f}, m888[3] = {0xff0000, 0xff00, 0xff};
        std::memcpy(d.table(), t.bc == 16 ? m565 : m888, 12);
      }
      std::vector<uint8_t> data(d.bytes.size());
      if (sep)
        EXPECT_EQ(vrnConvertToDIBSep(im, d.h(), data.data(), VRN_DITHER_NONE, t.palette), 0);
      else
        vrnConvertToDIB(im, d.h(), VRN_DITHER_NONE, t.palette);
      ASSERT_TRUE(catcher.empty()) << catcher.last().context;
      if (t.compression == BI_RLE8 || t.compression == BI_RLE4) {
        EXPECT_EQ(d.h()->biCompression, t.compression) << "the stream should be smaller";
      }
      VrnImage* back = makeImage(im->nChannels, im->depth, 23, 7, t.seq, order, 0, im->alphaChannel, 99);
      if (sep)
        EXPECT_EQ(vrnConvertFromDIBSep(d.h(), data.data(), back), 0);
      else
        vrnConvertFromDIB(d.h(), back);
      ASSERT_TRUE(catcher.empty()) << catcher.last().context;
      for (int y = 0; y < 7; ++y)
        for (int x = 0; x < 23; ++x)
          for (int c = 0; c < im->nChannels; ++c) {
            int want = sampleAt(im, x, y, c);
            if (im->depth == VRN_DEPTH_16U) want = (want >> 8) << 8;
            if (c == 3 && t.bc != 32) want = 0;  // only 32 bits hold alpha
            if (im->depth != VRN_DEPTH_1U) {
              const int keepOf = (t.compression == BI_BITFIELDS && t.bc == 16 && c == 1) ? 0xFC : t.keep;
              want &= im->depth == VRN_DEPTH_16U ? keepOf << 8 | 0xFF : keepOf;
            }
            ASSERT_EQ(sampleAt(back, x, y, c), want) << t.name << " order " << order << " sep " << sep << " at "
                                                     << x << "," << y << "," << c;
          }
      freeImage(im);
      freeImage(back);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, ToDibRoundTrip,
    ::testing::Values(
        RoundTrip{"bgr24", 3, VRN_DEPTH_8U, "BGR", 24, BI_RGB, 0, 0xFF, 1000, 7},
        RoundTrip{"rgb24TopDown", 3, VRN_DEPTH_8U, "RGB", 24, BI_RGB, 0, 0xFF, 1000, -7},
        RoundTrip{"wide24", 3, VRN_DEPTH_16U, "BGR", 24, BI_RGB, 0, 0xFF, 1000, 7},
        RoundTrip{"bgra32", 4, VRN_DEPTH_8U, "BGRA", 32, BI_RGB, 0, 0xFF, 1000, 7},
        RoundTrip{"rgba32Fields", 4, VRN_DEPTH_8U, "RGBA", 32, BI_BITFIELDS, 0, 0xFF, 1000, -7},
        RoundTrip{"bgr555", 3, VRN_DEPTH_8U, "BGR", 16, BI_RGB, 0, 0xF8, 1000, 7},
        RoundTrip{"bgr565", 3, VRN_DEPTH_8U, "BGR", 16, BI_BITFIELDS, 0, 0xF8, 1000, 7},
        RoundTrip{"gray8", 1, VRN_DEPTH_8U, "G", 8, BI_RGB, 2, 0xFF, 200, 7},
        RoundTrip{"gray8Fixed", 1, VRN_DEPTH_8U, "GRAY", 8, BI_RGB, 1, 0xFF, 1000, -7},
        RoundTrip{"gray8Rle", 1, VRN_DEPTH_8U, "G", 8, BI_RLE8, 2, 0xFF, 3, 7},
        RoundTrip{"gray4", 1, VRN_DEPTH_8U, "G", 4, BI_RGB, 2, 0xFF, 16, 7},
        RoundTrip{"gray4Rle", 1, VRN_DEPTH_16U, "G", 4, BI_RLE4, 2, 0xFF, 2, 7},
        RoundTrip{"colour8", 3, VRN_DEPTH_8U, "RGB", 8, BI_RGB, 2, 0xFC, 150, 7},
        RoundTrip{"colour8Rle", 3, VRN_DEPTH_8U, "BGR", 8, BI_RLE8, 2, 0xFC, 2, 7},
        RoundTrip{"colour4", 3, VRN_DEPTH_8U, "BGR", 4, BI_RGB, 2, 0xFC, 16, -7},
        RoundTrip{"colour4Rle", 4, VRN_DEPTH_8U, "BGRA", 4, BI_RLE4, 2, 0xFC, 1, 7},
        RoundTrip{"bits1", 1, VRN_DEPTH_1U, "G", 1, BI_RGB, 1, 0xFF, 2, 7},
        RoundTrip{"bits1MedianCut", 1, VRN_DEPTH_1U, "G", 1, BI_RGB, 2, 0xFF, 2, -7}),
    [](const auto& info) { return std::string(info.param.name); });

std::array<int, 3> entryRgb(PackedDib& d, int i) {
  return {d.table()[4 * i + 2], d.table()[4 * i + 1], d.table()[4 * i]};
}

VrnImage* imageOfCells(const std::vector<std::pair<std::array<int, 3>, int>>& cells) {
  int n = 0;
  for (const auto& c : cells) n += c.second;
  VrnImage* im = makeImage(3, VRN_DEPTH_8U, n, 1, "RGB");
  int x = 0;
  for (const auto& [rgb, count] : cells)
    for (int k = 0; k < count; ++k, ++x)
      for (int c = 0; c < 3; ++c) setSample(im, x, 0, c, rgb[c] * 4);
  return im;
}

TEST(MedianCut, EqualRedAndGreenRangesSplitAlongRed) {
  VrnImage* im = imageOfCells({{{0, 0, 0}, 10}, {{40, 0, 0}, 10}, {{0, 40, 0}, 10}});
  PackedDib d = roomFor(im->width, 1, 1, BI_RGB);
  vrnConvertToDIB(im, d.h(), VRN_DITHER_NONE, 2);
  EXPECT_EQ(d.h()->biClrUsed, 2u);
  EXPECT_EQ(entryRgb(d, 0), (std::array<int, 3>{0, 80, 0}));   // black and green averaged
  EXPECT_EQ(entryRgb(d, 1), (std::array<int, 3>{160, 0, 0}));  // red alone
  freeImage(im);
}

TEST(MedianCut, ASingleCellLowerPartClosesTheUpperPart) {
  std::vector<std::pair<std::array<int, 3>, int>> cells = {{{0, 0, 0}, 1000}};
  for (int r = 10; r < 30; ++r) cells.push_back({{r, 0, 0}, 1});
  VrnImage* im = imageOfCells(cells);
  PackedDib d = roomFor(im->width, 1, 4, BI_RGB);
  vrnConvertToDIB(im, d.h(), VRN_DITHER_NONE, 2);
  EXPECT_EQ(d.h()->biClrUsed, 2u);  // both closed: the passes end with two boxes
  EXPECT_EQ(entryRgb(d, 0), (std::array<int, 3>{0, 0, 0}));
  EXPECT_EQ(entryRgb(d, 1), (std::array<int, 3>{78, 0, 0}));  // 4 * (10 + ... + 29) / 20
  freeImage(im);
}

TEST(MedianCut, FewColoursAreKeptAtSixBitsInIndexOrder) {
  VrnImage* im = imageOfCells({{{5, 1, 0}, 3}, {{1, 0, 2}, 1}, {{63, 63, 63}, 2}});
  PackedDib d = roomFor(im->width, 1, 8, BI_RGB);
  vrnConvertToDIB(im, d.h(), VRN_DITHER_NONE, 2);
  ASSERT_EQ(d.h()->biClrUsed, 3u);
  EXPECT_EQ(entryRgb(d, 0), (std::array<int, 3>{20, 4, 0}));
  EXPECT_EQ(entryRgb(d, 1), (std::array<int, 3>{4, 0, 8}));
  EXPECT_EQ(entryRgb(d, 2), (std::array<int, 3>{252, 252, 252}));
  freeImage(im);
}

TEST(MedianCut, GrayLevelsBeyondTheTargetAreAveraged) {
  VrnImage* im = makeImage(1, VRN_DEPTH_8U, 64, 4, "G");
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 64; ++x) setSample(im, x, y, 0, x * 4);
  PackedDib d = roomFor(64, 4, 1, BI_RGB);
  vrnConvertToDIB(im, d.h(), VRN_DITHER_NONE, 2);
  ASSERT_EQ(d.h()->biClrUsed, 2u);
  EXPECT_EQ(entryRgb(d, 0)[0], 62);   // mean of 0, 4, ..., 124
  EXPECT_EQ(entryRgb(d, 1)[0], 190);  // mean of 128, ..., 252
  freeImage(im);
}

TEST(ConvertToDib, OneBitImageGetsBlackAndWhiteAtEightBits) {
  VrnImage* im = makeImage(1, VRN_DEPTH_1U, 16, 2, "G");
  PackedDib d = roomFor(16, 2, 8, BI_RGB);
  vrnConvertToDIB(im, d.h(), VRN_DITHER_NONE, 2);
  EXPECT_EQ(d.h()->biClrUsed, 2u);
  uint8_t* px = d.bytes.data() + 40 + 8;
  for (int x = 0; x < 16; ++x) EXPECT_EQ(px[x], sampleAt(im, x, 1, 0)) << x;  // bottom-up: stored row 0 is image row 1
  freeImage(im);
}

TEST(ConvertToDib, NearestEntryFirstOfEqualsAndTheGrayShortcut) {
  VrnImage* im = makeImage(1, VRN_DEPTH_8U, 2, 1, "G");
  setSample(im, 0, 0, 0, 20);
  setSample(im, 1, 0, 0, 100);
  // Four entries: gray 0, 10, 30, 100; 20 lies as far from 10 as from 30.
  PackedDib d = roomFor(2, 1, 8, BI_RGB, 4);
  const int levels[4] = {0, 10, 30, 100};
  for (int i = 0; i < 4; ++i) std::memset(d.table() + 4 * i, levels[i], 3);
  vrnConvertToDIB(im, d.h(), VRN_DITHER_NONE, 0);
  const uint8_t* px = d.bytes.data() + 40 + 16;
  EXPECT_EQ(px[0], 1);  // a tie keeps the first
  EXPECT_EQ(px[1], 3);
  // 256 entries where entry 100 holds gray 100 and so does entry 5: the gray
  // shortcut answers 100 without a search, which would stop at 5.
  PackedDib e = roomFor(2, 1, 8, BI_RGB);
  for (int i = 0; i < 256; ++i) std::memset(e.table() + 4 * i, i, 3);
  std::memset(e.table() + 4 * 5, 100, 3);
  vrnConvertToDIB(im, e.h(), VRN_DITHER_NONE, 0);
  EXPECT_EQ(e.pixels()[0], 20);
  EXPECT_EQ(e.pixels()[1], 100);
  std::memset(e.table() + 4 * 100, 101, 3);  // no shortcut: the search finds 5 first
  vrnConvertToDIB(im, e.h(), VRN_DITHER_NONE, 0);
  EXPECT_EQ(e.pixels()[1], 5);
  freeImage(im);
}

TEST(ConvertToDib, DitheredOneBitUsesTheReducedImage) {
  ReportCatcher catcher;
  VrnImage* im = makeImage(1, VRN_DEPTH_8U, 19, 5, "G");
  VrnImage* bits = makeImage(1, VRN_DEPTH_1U, 19, 5, "G");
  vrnReduceBits(im, bits, 0, VRN_DITHER_FS, 2);
  PackedDib d = roomFor(19, -5, 1, BI_RGB);
  vrnConvertToDIB(im, d.h(), VRN_DITHER_FS, 1);
  EXPECT_TRUE(catcher.empty());
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 19; ++x)
      EXPECT_EQ((d.bytes[48 + y * 4 + x / 8] >> (7 - x % 8)) & 1, sampleAt(bits, x, y, 0)) << x << "," << y;
  freeImage(im);
  freeImage(bits);
}

TEST(ConvertToDib, ThirtyTwoBitsFromThreeChannelsLeaveAlphaZero) {
  VrnImage* im = makeImage(3, VRN_DEPTH_8U, 3, 1, "BGR");
  PackedDib d = roomFor(3, 1, 32, BI_RGB);
  std::memset(d.bytes.data() + 40 + 1024, 0xEE, 12);
  // 32-bit BI_RGB pixels follow the header directly.
  vrnConvertToDIB(im, d.h(), VRN_DITHER_NONE, 0);
  for (int x = 0; x < 3; ++x) {
    EXPECT_EQ(d.bytes[40 + 4 * x + 3], 0);
    EXPECT_EQ(d.bytes[40 + 4 * x], sampleAt(im, x, 0, 0));
  }
  freeImage(im);
}

TEST(ConvertToDib, FixedTables) {
  VrnImage* gray = makeImage(1, VRN_DEPTH_8U, 2, 1, "G");
  VrnImage* colour = makeImage(3, VRN_DEPTH_8U, 2, 1, "BGR");
  PackedDib d = roomFor(2, 1, 4, BI_RGB);
  vrnConvertToDIB(gray, d.h(), VRN_DITHER_NONE, 1);
  EXPECT_EQ(entryRgb(d, 3), (std::array<int, 3>{51, 51, 51}));
  vrnConvertToDIB(colour, d.h(), VRN_DITHER_NONE, 1);
  EXPECT_EQ(entryRgb(d, 8), (std::array<int, 3>{0xc0, 0xc0, 0xc0}));
  EXPECT_EQ(entryRgb(d, 1), (std::array<int, 3>{0x80, 0, 0}));
  PackedDib e = roomFor(2, 1, 8, BI_RGB);
  vrnConvertToDIB(colour, e.h(), VRN_DITHER_NONE, 1);
  EXPECT_EQ(entryRgb(e, 255), (std::array<int, 3>{255, 255, 255}));
  EXPECT_EQ(entryRgb(e, 37), (std::array<int, 3>{32, 32, 64}));  // red L8[1], green L8[1], blue L4[1]
  freeImage(gray);
  freeImage(colour);
}

TEST(ConvertToDib, NoiseGivesUpRleAndKeepsPlainRows) {
  VrnImage* im = makeImage(1, VRN_DEPTH_8U, 32, 8, "G");
  PackedDib d = roomFor(32, 8, 8, BI_RLE8);
  for (int i = 0; i < 256; ++i) d.table()[4 * i] = d.table()[4 * i + 1] = d.table()[4 * i + 2] = static_cast<uint8_t>(i);
  vrnConvertToDIB(im, d.h(), VRN_DITHER_NONE, 0);
  EXPECT_EQ(d.h()->biCompression, static_cast<uint32_t>(BI_RGB));
  EXPECT_EQ(d.pixels()[0], sampleAt(im, 0, 7, 0));
  freeImage(im);
}

struct ToDibCheck {
  const char* name;
  void (*breakIt)(VrnImage*&, BITMAPINFOHEADER*&, int& dither, int& palette);
  int status;
  const char* text;
  const char* sepText;
  int returned;
};

const ToDibCheck kToDibChecks[] = {
    {"header", [](VrnImage*& i, BITMAPINFOHEADER*&, int&, int&) { i->align = 3; }, -21, "Incorrect Image", nullptr, -21},
    {"nullDib", [](VrnImage*&, BITMAPINFOHEADER*& h, int&, int&) { h = nullptr; }, -5, "dib==0", "( 0 == dibHeader )", -5},
    {"depth", [](VrnImage*& i, BITMAPINFOHEADER*&, int&, int&) { i->depth = VRN_DEPTH_32S; }, -5, "( (image->depth != 1) && (image->depth != 8) && (image->depth != 16) )", nullptr, -17},
    {"channels", [](VrnImage*& i, BITMAPINFOHEADER*&, int&, int&) { i->nChannels = 2; }, -5, "(image->nChannels != 3 && image->nChannels != 1)", nullptr, -15},
    {"size", [](VrnImage*&, BITMAPINFOHEADER*& h, int&, int&) { h->biWidth = 3; }, -5, "(image->width != dib->biWidth || image->height != abs_biHeight)", "( image->width != dibHeader->biWidth || image->height != abs_biHeight )", -10},
    {"biSize", [](VrnImage*&, BITMAPINFOHEADER*& h, int&, int&) { h->biSize = 0; }, -5, "(dib->biSize != sizeof(BITMAPINFOHEADER))", "(dibHeader->biSize != sizeof(BITMAPINFOHEADER))", -5},
    {"rle4", [](VrnImage*&, BITMAPINFOHEADER*& h, int&, int&) { h->biCompression = 2; }, -5, "(dib->biBitCount != 4) && (dib->biCompression == 2)", "( (dibHeader->biBitCount != 4) && (dibHeader->biCompression == 2) )", -5},
    {"topDownRle", [](VrnImage*&, BITMAPINFOHEADER*& h, int&, int&) { h->biBitCount = 8; h->biCompression = 1; h->biHeight = -2; }, -5, "(dib->biHeight < 0) && ( (dib->biCompression == 1) || (dib->biCompression == 2) )", "( (dibHeader->biHeight < 0) && ((dibHeader->biCompression == 1) || (dibHeader->biCompression == 2)) )", -5},
    {"dither", [](VrnImage*&, BITMAPINFOHEADER*&, int& d, int&) { d = 3; }, -5, "(dither != 1 && dither != 2 && dither != 4 && dither != 8 && dither != 16)", "( dither != 1 && dither != 2 && dither != 4 && dither != 8 && dither != 16 )", -5},
    {"palette", [](VrnImage*&, BITMAPINFOHEADER*&, int&, int& p) { p = 3; }, -5, "(paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2)", "( paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2 )", -5},
    {"bitCount", [](VrnImage*&, BITMAPINFOHEADER*& h, int&, int&) { h->biBitCount = 2; }, -5, "dib->biBitCount is bad", "dibHeader->biBitCount is bad", -5},
    {"ditherBitCount", [](VrnImage*&, BITMAPINFOHEADER*& h, int& d, int&) { h->biBitCount = 2; d = 2; }, -5, "Parameter biBitCount of DIB-image have illegal value", nullptr, -5},
    {"medianCut", [](VrnImage*&, BITMAPINFOHEADER*& h, int&, int& p) { h->biBitCount = 9; p = 2; }, -3, "Error of creating medcut palette", nullptr, -3},
    {"ditherFails", [](VrnImage*& i, BITMAPINFOHEADER*& h, int& d, int&) { h->biBitCount = 1; i->depth = 1; i->nChannels = 1; d = 16; }, -3, "Dithering can't be produced", nullptr, -3},
    {"channelSeq", [](VrnImage*& i, BITMAPINFOHEADER*&, int&, int&) { std::memcpy(i->channelSeq, "BRG", 4); }, -14, "image->channelSeq unsupport", nullptr, -14},
    {"zeroMask", [](VrnImage*&, BITMAPINFOHEADER*& h, int&, int&) { h->biBitCount = 16; h->biCompression = 3; }, -5, "Zero colour mask in BI_BITFIELDS DIB", nullptr, -5},
};

class ToDibChecks : public ::testing::TestWithParam<ToDibCheck> {};

TEST_P(ToDibChecks, ReportAndLeaveTheDibAlone) {
  const ToDibCheck& c = GetParam();
  for (bool sep : {false, true}) {
    ReportCatcher catcher;
    VrnImage* im = makeImage(3, VRN_DEPTH_8U, 4, 2, "BGR");
    VrnImage saved = *im;
    PackedDib d = roomFor(4, 2, 24, BI_RGB);
    const std::vector<uint8_t> before = d.bytes;
    BITMAPINFOHEADER* h = d.h();
    int dither = 1, palette = 0;
    c.breakIt(im, h, dither, palette);
    const std::vector<uint8_t> broken = d.bytes;
    std::vector<uint8_t> data(64, 0xAB);
    int result = 0;
    if (sep)
      result = vrnConvertToDIBSep(im, h, data.data(), dither, palette);
    else
      vrnConvertToDIB(im, h, dither, palette);
    ASSERT_FALSE(catcher.empty()) << c.name;
    const char* text = sep && c.sepText ? c.sepText : c.text;
    EXPECT_REPORT(catcher, c.status, sep ? "vrnConvertToDIBSep" : "vrnConvertToDIB", text);
    if (sep) {
      EXPECT_EQ(result, c.returned) << c.name;
    }
    EXPECT_EQ(d.bytes, broken) << c.name;
    EXPECT_EQ(data, std::vector<uint8_t>(64, 0xAB)) << c.name;
    *im = saved;
    freeImage(im);
  }
}

INSTANTIATE_TEST_SUITE_P(All, ToDibChecks, ::testing::ValuesIn(kToDibChecks),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace

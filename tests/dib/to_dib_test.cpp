// Writing bitmaps: round trips through vrnConvertToDIB and vrnConvertFromDIB
// for every bit count and compression, the fixed and median-cut tables, the
// nearest-entry rules, dithering, and every check with its status and text.
#include <array>
#include <numeric>
#include <tuple>

#include "dib/dib_test_util.h"

using namespace dibtest;

namespace {

// Room for a header, 256 entries (or masks) and uncompressed rows.
PackedDib roomFor(int w, int h, int bc, uint32_t compression = BI_RGB, uint32_t clrUsed = 0) {
  return PackedDib(header(w, h, bc, compression, clrUsed), 256, rowBytes(w, bc) * static_cast<size_t>(std::abs(h)));
}

// keep: the bits of each 8-bit value the format keeps; colours: distinct
// pixels of the image; the sign of height: bottom-up or top-down.
struct RoundTrip { const char* name; int ch, depth; const char* seq; int bc; uint32_t compression; int palette, keep, colours, height; };

const RoundTrip kRoundTrips[] = {
    {"bgr24", 3, VRN_DEPTH_8U, "BGR", 24, BI_RGB, 0, 0xFF, 1000, 7},
    {"rgb24TopDown", 3, VRN_DEPTH_8U, "RGB", 24, BI_RGB, 0, 0xFF, 1000, -7},
    {"wide24", 3, VRN_DEPTH_16U, "BGR", 24, BI_RGB, 0, 0xFF, 1000, 7},
    {"bgra32", 4, VRN_DEPTH_8U, "BGRA", 32, BI_RGB, 0, 0xFF, 1000, 7},
    {"rgba32Fields", 4, VRN_DEPTH_8U, "RGBA", 32, BI_BITFIELDS, 0, 0xFF, 1000, -7},
    {"bgr555", 3, VRN_DEPTH_8U, "BGR", 16, BI_RGB, 0, 0xF8, 1000, 7},
    {"bgr565", 3, VRN_DEPTH_8U, "BGR", 16, BI_BITFIELDS, 0, 0xF8, 1000, 7},
    {"gray8", 1, VRN_DEPTH_8U, "G", 8, BI_RGB, 2, 0xFF, 200, 7},
    {"gray8Fixed", 1, VRN_DEPTH_8U, "GRAY", 8, BI_RGB, 1, 0xFF, 1000, -7},
    {"gray8Rle", 1, VRN_DEPTH_8U, "G", 8, BI_RLE8, 2, 0xFF, 3, 7},
    {"gray4", 1, VRN_DEPTH_8U, "G", 4, BI_RGB, 2, 0xFF, 16, 7},
    {"gray4Rle", 1, VRN_DEPTH_16U, "G", 4, BI_RLE4, 2, 0xFF, 2, 7},
    {"colour8", 3, VRN_DEPTH_8U, "RGB", 8, BI_RGB, 2, 0xFC, 150, 7},
    {"colour8Rle", 3, VRN_DEPTH_8U, "BGR", 8, BI_RLE8, 2, 0xFC, 2, 7},
    {"colour4", 3, VRN_DEPTH_8U, "BGR", 4, BI_RGB, 2, 0xFC, 16, -7},
    {"colour4Rle", 4, VRN_DEPTH_8U, "BGRA", 4, BI_RLE4, 2, 0xFC, 1, 7},
    {"bits1", 1, VRN_DEPTH_1U, "G", 1, BI_RGB, 1, 0xFF, 2, 7},
    {"bits1MedianCut", 1, VRN_DEPTH_1U, "G", 1, BI_RGB, 2, 0xFF, 2, -7},
};

TEST(ConvertToDib, RoundTripsGiveTheImageBack) {
  for (const RoundTrip& t : kRoundTrips)
    for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE})
      for (bool sep : {false, true}) {
        SCOPED_TRACE(::testing::Message() << t.name << " order " << order << " sep " << sep);
        ReportCatcher catcher;
        const int alpha = t.ch == 4 ? 4 : 0;
        TestImage im = image(t.depth, t.ch, 23, 7, t.seq, order, 0, alpha, 5);
        for (int i = 0; t.depth != VRN_DEPTH_1U && i < 23 * 7 * t.ch; ++i) {  // `colours` colours cut to `keep`
          const int x = i % 23, y = i / 23 % 7, c = i / 161, k = (x / 6 + 3 * y + (x % 6 == 5)) % t.colours;
          const int v = static_cast<int>((k * 2654435761u >> (8 * c)) & 255) & t.keep;
          setSample(im, x, y, c, t.depth == VRN_DEPTH_16U ? v * 256 + 77 : v);
        }
        PackedDib d = roomFor(23, t.height, t.bc, t.compression);
        const uint32_t masks[2][3] = {{0xf800, 0x07e0, 0x001f}, {0xff0000, 0xff00, 0xff}};
        if (t.compression == BI_BITFIELDS) std::memcpy(d.table(), masks[t.bc == 16 ? 0 : 1], 12);
        Bytes data(d.bytes.size());
        TestImage back = image(t.depth, t.ch, 23, 7, t.seq, order, 0, alpha, 99);
        EXPECT_EQ(sep ? vrnConvertToDIBSep(im, d.h(), data.data(), VRN_DITHER_NONE, t.palette) : (vrnConvertToDIB(im, d.h(), VRN_DITHER_NONE, t.palette), 0), 0);
        EXPECT_EQ(sep ? vrnConvertFromDIBSep(d.h(), data.data(), back) : (vrnConvertFromDIB(d.h(), back), 0), 0);
        ASSERT_TRUE(catcher.empty()) << catcher.describe();
        EXPECT_EQ(d.h()->biCompression, t.compression);  // an RLE stream of few colours is kept
        for (int i = 0; i < 161 * t.ch; ++i) {  // only 32 bits hold alpha; 5-6-5 keeps six bits of green
          const int x = i % 23, y = i / 23 % 7, c = i / 161;
          const int keep = c == 3 && t.bc != 32 ? 0 : t.compression == BI_BITFIELDS && t.bc == 16 && c == 1 ? 0xFC : t.keep;
          const int want = static_cast<int>(sampleAt(im, x, y, c)) & (t.depth == VRN_DEPTH_16U ? keep << 8 : t.depth == VRN_DEPTH_8U ? keep : 1);
          ASSERT_EQ(sampleAt(back, x, y, c), want) << x << "," << y << "," << c;
        }
      }
}

// Median cut: equal red and green ranges split along red; a one-cell lower
// part closes the upper part too.
TEST(ConvertToDib, MedianCutTables) {
  using Rgb = std::array<int, 3>;
  std::vector<std::pair<Rgb, int>> ramp = {{{0, 0, 0}, 1000}};  // 6-bit colours, pixel counts
  for (int r = 10; r < 30; ++r) ramp.push_back({{r, 0, 0}, 1});
  const std::tuple<int, std::vector<std::pair<Rgb, int>>, std::vector<Rgb>> cases[] = {
      {1, {{{0, 0, 0}, 10}, {{40, 0, 0}, 10}, {{0, 40, 0}, 10}}, {{0, 80, 0}, {160, 0, 0}}},
      {4, ramp, {{0, 0, 0}, {78, 0, 0}}},  // 4 * (10 + ... + 29) / 20
  };
  for (const auto& [bits, cells, entries] : cases) {
    const int n = std::accumulate(cells.begin(), cells.end(), 0, [](int t, const auto& c) { return t + c.second; });
    TestImage im = image(VRN_DEPTH_8U, 3, n, 1, "RGB");
    int x = 0;
    for (const auto& [rgb, count] : cells)
      for (int k = 0; k < count; ++k, ++x)
        for (int ch = 0; ch < 3; ++ch) setSample(im, x, 0, ch, rgb[ch] * 4);
    PackedDib d = roomFor(n, 1, bits);
    vrnConvertToDIB(im, d.h(), VRN_DITHER_NONE, 2);
    ASSERT_EQ(d.h()->biClrUsed, entries.size()) << bits;
    for (size_t i = 0; i < entries.size(); ++i)
      EXPECT_EQ((Rgb{d.table()[4 * i + 2], d.table()[4 * i + 1], d.table()[4 * i]}), entries[i]) << bits << " " << i;
  }
}

TEST(ConvertToDib, FixedTablesAndTheOneBitImage) {
  TestImage gray = image(VRN_DEPTH_8U, 1, 16, 2, "G"), colour = image(VRN_DEPTH_8U, 3, 16, 2, "BGR"), bits = image(VRN_DEPTH_1U, 1, 16, 2, "G");
  PackedDib d = roomFor(16, 2, 4), e = roomFor(16, 2, 8);
  auto entry = [](PackedDib& p, int i) { return std::array<int, 3>{p.table()[4 * i + 2], p.table()[4 * i + 1], p.table()[4 * i]}; };
  vrnConvertToDIB(gray, d.h(), VRN_DITHER_NONE, 1);
  EXPECT_EQ(entry(d, 3), (std::array<int, 3>{51, 51, 51}));
  vrnConvertToDIB(colour, d.h(), VRN_DITHER_NONE, 1);
  EXPECT_EQ(entry(d, 8), (std::array<int, 3>{0xc0, 0xc0, 0xc0}));
  EXPECT_EQ(entry(d, 1), (std::array<int, 3>{0x80, 0, 0}));
  vrnConvertToDIB(colour, e.h(), VRN_DITHER_NONE, 1);
  EXPECT_EQ(entry(e, 255), (std::array<int, 3>{255, 255, 255}));
  EXPECT_EQ(entry(e, 37), (std::array<int, 3>{32, 32, 64}));  // red L8[1], green L8[1], blue L4[1]
  // A 1-bit image at 8 bits gets black and white; stored row 0 is image row 1.
  vrnConvertToDIB(bits, e.h(), VRN_DITHER_NONE, 2);
  EXPECT_EQ(e.h()->biClrUsed, 2u);
  for (int x = 0; x < 16; ++x) EXPECT_EQ(e.bytes[48 + x], sampleAt(bits, x, 1, 0)) << x;
  // 32 bits from three channels: pixels follow the header, alpha is 0.
  PackedDib f = roomFor(3, 1, 32);
  std::memset(f.bytes.data() + 40, 0xEE, 12);
  vrnConvertToDIB(image(VRN_DEPTH_8U, 3, 3, 1, "BGR"), f.h(), VRN_DITHER_NONE, 0);
  for (int x = 0; x < 3; ++x) EXPECT_EQ(f.bytes[43 + 4 * x], 0);
}

TEST(ConvertToDib, NearestEntryFirstOfEqualsAndTheGrayShortcut) {
  TestImage im = image(VRN_DEPTH_8U, 1, 2, 1, "G");
  setSample(im, 0, 0, 0, 20), setSample(im, 1, 0, 0, 100);
  PackedDib d = roomFor(2, 1, 8, BI_RGB, 4);  // gray 0, 10, 30, 100: 20 lies as far from 10 as from 30
  for (int i = 0; i < 4; ++i) std::memset(d.table() + 4 * i, (const int[]){0, 10, 30, 100}[i], 3);
  vrnConvertToDIB(im, d.h(), VRN_DITHER_NONE, 0);
  EXPECT_EQ(Bytes(d.table() + 16, d.table() + 18), (Bytes{1, 3}));  // behind 4 entries; a tie keeps the first
  // A full gray table where entry 5 also holds 100: the gray shortcut answers
  // 100 without a search, which would stop at 5.
  PackedDib e = roomFor(2, 1, 8);
  e.grayTable();
  e.setEntry(5, 100, 100, 100);
  vrnConvertToDIB(im, e.h(), VRN_DITHER_NONE, 0);
  EXPECT_EQ(Bytes(e.pixels(), e.pixels() + 2), (Bytes{20, 100}));
  e.setEntry(100, 101, 101, 101);  // no shortcut: the search finds 5 first
  vrnConvertToDIB(im, e.h(), VRN_DITHER_NONE, 0);
  EXPECT_EQ(e.pixels()[1], 5);
}

TEST(ConvertToDib, DitheredOneBitUsesTheReducedImage) {
  ReportCatcher catcher;
  TestImage im = image(VRN_DEPTH_8U, 1, 19, 5, "G"), bits = image(VRN_DEPTH_1U, 1, 19, 5, "G");
  vrnReduceBits(im, bits, 0, VRN_DITHER_FS, 2);
  PackedDib d = roomFor(19, -5, 1);
  vrnConvertToDIB(im, d.h(), VRN_DITHER_FS, 1);
  EXPECT_NO_REPORT(catcher);
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 19; ++x) EXPECT_EQ((d.bytes[48 + y * 4 + x / 8] >> (7 - x % 8)) & 1, sampleAt(bits, x, y, 0));
}

// What to break, the status, the texts of the two forms (null sepText: the
// same) and what the separated form returns.
struct ToDibCheck { const char* name; void (*breakIt)(VrnImage*&, BITMAPINFOHEADER*&, int& dither, int& palette); int status; const char *text, *sepText; int returned; };

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

TEST(ConvertToDib, ChecksReportAndLeaveTheDibAlone) {
  for (const ToDibCheck& c : kToDibChecks)
    for (bool sep : {false, true}) {
      SCOPED_TRACE(std::string(c.name) + (sep ? " sep" : ""));
      ReportCatcher catcher;
      TestImage owned = image(VRN_DEPTH_8U, 3, 4, 2, "BGR");
      const VrnImage saved = *owned.get();
      PackedDib d = roomFor(4, 2, 24);
      VrnImage* im = owned;
      BITMAPINFOHEADER* h = d.h();
      int dither = 1, palette = 0;
      c.breakIt(im, h, dither, palette);
      const Bytes broken = d.bytes, data(64, 0xAB);
      Bytes out = data;
      const int result = sep ? vrnConvertToDIBSep(im, h, out.data(), dither, palette) : (vrnConvertToDIB(im, h, dither, palette), 0);
      EXPECT_TRUE(vrntest::expectLastReport(catcher, c.status, sep ? "vrnConvertToDIBSep" : "vrnConvertToDIB", sep && c.sepText ? c.sepText : c.text));
      EXPECT_EQ(result, sep ? c.returned : 0);
      EXPECT_TRUE(d.bytes == broken && out == data);
      *owned.get() = saved;
    }
}

}  // namespace

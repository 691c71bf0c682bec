// The RLE codecs: the command choices of the compressors, the stream faults
// of the expanders with their texts, the input bound, and round trips.
#include <memory>

#include "dib/dib_format.h"
#include "dib/dib_test_util.h"

using namespace dibtest;

namespace {

using Bytes = std::vector<uint8_t>;

// Compresses rows (already laid out at the DIB row size) and returns the stream.
Bytes compress(BITMAPINFOHEADER& h, Bytes rows) {
  EXPECT_EQ(vrn::compressRle(&h, rows.data(), "test"), 0);
  if (h.biCompression == BI_RGB) return {};
  return Bytes(rows.begin(), rows.begin() + h.biSizeImage);
}

// Expands a stream held in a block of exactly its size (so that a read past
// it is caught), with biSizeImage set to that size or to 0.
Bytes expand(BITMAPINFOHEADER h, const Bytes& stream, bool bounded = true) {
  std::unique_ptr<uint8_t[]> exact(new uint8_t[stream.size() + 1]);
  std::memcpy(exact.get(), stream.data(), stream.size());
  h.biSizeImage = bounded ? static_cast<uint32_t>(stream.size()) : 0;
  uint8_t* out = vrn::expandRle(&h, exact.get(), "test");
  if (!out) return {};
  const size_t bytes = rowBytes(h.biWidth, h.biBitCount) * static_cast<size_t>(h.biHeight);
  Bytes r(out, out + bytes);
  vrnFree(out);
  return r;
}

Bytes rowsOf(int width, int height, int bits, const std::vector<int>& values);

// The commands of one row: the row is followed by constant rows, so that the
// whole stream is small enough to be kept, and its commands up to the first
// end of line (the end of bitmap is added for reading) are returned.
Bytes rowCommands(int width, int bits, std::vector<int> row) {
  const int height = 12;
  row.resize(static_cast<size_t>(width) * height, 0);
  BITMAPINFOHEADER h = header(width, height, bits, bits == 8 ? BI_RLE8 : BI_RLE4);
  Bytes s = compress(h, rowsOf(width, height, bits, row));
  for (size_t i = 0; i + 1 < s.size(); i += 2) {
    if (s[i] == 0 && s[i + 1] == 0) {
      s.resize(i + 2);
      s.push_back(0);
      s.push_back(1);
      return s;
    }
    if (s[i] == 0 && s[i + 1] >= 3) {  // skip an absolute command's data
      const size_t n = s[i + 1], bytes = bits == 8 ? n : (n + 1) / 2;
      i += bytes + (bytes & 1);
    }
  }
  return {};
}

Bytes rowsOf(int width, int height, int bits, const std::vector<int>& values) {
  const size_t rb = rowBytes(width, bits);
  Bytes rows(rb * height, 0);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const int v = values[static_cast<size_t>(y) * width + x];
      if (bits == 8)
        rows[y * rb + x] = static_cast<uint8_t>(v);
      else
        rows[y * rb + x / 2] |= static_cast<uint8_t>((x & 1) ? v : v << 4);
    }
  return rows;
}

}  // namespace

TEST(Rle8Compress, LongRunSplitsAndContinuesTheSamePixel) {
  BITMAPINFOHEADER h = header(300, 1, 8, BI_RLE8);
  const Bytes s = compress(h, rowsOf(300, 1, 8, std::vector<int>(300, 7)));
  EXPECT_EQ(s, (Bytes{255, 7, 45, 7, 0, 0, 0, 1}));
}

TEST(Rle8Compress, AbsoluteRunsArePaddedAfterAnOddCount) {
  std::vector<int> v;
  for (int i = 0; i < 300; ++i) v.push_back(i % 251);  // no two neighbours equal
  BITMAPINFOHEADER h = header(300, 1, 8, BI_RLE8);
  // 300 distinct pixels make a 255-pixel absolute command (odd: padded) and a
  // 45-pixel one (odd: padded).  The uncompressed row is 300 bytes, the stream
  // 2+255+1 + 2+45+1 + 2 + 2 = 310: compression gives up.
  Bytes rows = rowsOf(300, 1, 8, v);
  const Bytes before = rows;
  EXPECT_EQ(vrn::compressRle(&h, rows.data(), "test"), 0);
  EXPECT_EQ(h.biCompression, static_cast<uint32_t>(BI_RGB));
  EXPECT_EQ(rows, before);
  // Nine distinct pixels then a long run: an absolute command of 9 with its pad.
  std::vector<int> w = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  w.resize(40, 50);
  h = header(40, 1, 8, BI_RLE8);
  const Bytes s = compress(h, rowsOf(40, 1, 8, w));
  EXPECT_EQ(s, (Bytes{0, 9, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 31, 50, 0, 0, 0, 1}));
}

TEST(Rle8Compress, ThreePixelsAtTheRowEndBecomeRunsOfOne) {
  // A repeat that starts within three pixels of the end is not a run.
  const Bytes s = rowCommands(14, 8, {4, 4, 4, 4, 4, 4, 4, 1, 2, 3, 4, 9, 9, 9});
  EXPECT_EQ(s, (Bytes{7, 4, 0, 4, 1, 2, 3, 4, 1, 9, 1, 9, 1, 9, 0, 0, 0, 1}));
  // Rules 2 and 3: a single pixel before a pair, two before a pair.
  const Bytes t = rowCommands(12, 8, {1, 2, 2, 2, 2, 5, 6, 6, 6, 6, 6, 6});
  EXPECT_EQ(t, (Bytes{1, 1, 4, 2, 1, 5, 6, 6, 0, 0, 0, 1}));
}

TEST(Rle8Compress, NoiseGivesUpAndKeepsTheRows) {
  std::mt19937 rng(3);
  std::vector<int> v(64 * 8);
  for (int& x : v) x = static_cast<int>(rng() & 255);
  BITMAPINFOHEADER h = header(64, 8, 8, BI_RLE8);
  Bytes rows = rowsOf(64, 8, 8, v);
  const Bytes before = rows;
  EXPECT_EQ(vrn::compressRle(&h, rows.data(), "test"), 0);
  EXPECT_EQ(h.biCompression, static_cast<uint32_t>(BI_RGB));
  EXPECT_EQ(h.biSizeImage, 0u);
  EXPECT_EQ(rows, before);
}

TEST(Rle4Compress, CommandChoices) {
  // A repeating pair with one further nibble, then three left at the end.
  EXPECT_EQ(rowCommands(10, 4, {1, 2, 1, 2, 1, 2, 1, 3, 4, 5}),
            (Bytes{7, 0x12, 2, 0x34, 1, 0x50, 0, 0, 0, 1}));
  // b == d, a != c, c == e: a single nibble.
  EXPECT_EQ(rowCommands(12, 4, {9, 2, 3, 2, 3, 2, 3, 2, 3, 2, 3, 2}),
            (Bytes{1, 0x90, 11, 0x23, 0, 0, 0, 1}));
}

TEST(Rle4Compress, AbsoluteCommandIsPaddedToAWord) {
  // Nine distinct nibbles, then a repeating pair: absolute of 9 (5 bytes, one pad).
  std::vector<int> v = {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 11, 12, 11, 12, 11, 12, 11};
  const Bytes s = rowCommands(18, 4, v);
  EXPECT_EQ(s, (Bytes{0, 9, 0x12, 0x34, 0x56, 0x78, 0x90, 0, 9, 0xBC, 0, 0, 0, 1}));
  BITMAPINFOHEADER h = header(18, 1, 4, BI_RLE4);
  EXPECT_EQ(expand(h, s), rowsOf(18, 1, 4, v));
}

TEST(RleRoundTrip, ExpandOfCompressGivesTheRowsBack) {
  std::mt19937 rng(11);
  for (int bits : {8, 4}) {
    for (int width : {1, 2, 3, 4, 5, 6, 7, 8, 9, 13, 31, 64, 257, 600}) {
      for (int pattern = 0; pattern < 4; ++pattern) {
        const int height = 3 + pattern;
        std::vector<int> v(static_cast<size_t>(width) * height);
        const int range = bits == 8 ? 256 : 16;
        for (size_t i = 0; i < v.size(); ++i) {
          switch (pattern) {
            case 0: v[i] = static_cast<int>(rng() % 3); break;                      // short runs
            case 1: v[i] = static_cast<int>((i / 7) % range); break;                 // runs of 7
            case 2: v[i] = static_cast<int>(i % 2 ? 5 : (rng() % range)); break;   // pairs
            default: v[i] = (rng() % 5 == 0) ? static_cast<int>(rng() % range) : 1; break;
          }
        }
        BITMAPINFOHEADER h = header(width, height, bits, bits == 8 ? BI_RLE8 : BI_RLE4);
        const Bytes rows = rowsOf(width, height, bits, v);
        const Bytes s = compress(h, rows);
        if (h.biCompression == BI_RGB) continue;  // gave up
        SCOPED_TRACE(::testing::Message() << "bits " << bits << " width " << width << " pattern " << pattern);
        const Bytes back = expand(h, s);
        ASSERT_EQ(back.size(), rows.size());
        // Compare the pixels only: an odd 4-bit row leaves its pad nibble open.
        Bytes got = back;
        if (bits == 4 && (width & 1))  // the pad nibble of an odd row is open
          for (int y = 0; y < height; ++y) got[y * rowBytes(width, 4) + width / 2] &= 0xF0;
        EXPECT_EQ(got, rows) << "size " << s.size();
      }
    }
  }
}

TEST(RleExpand, StreamOneRowShortIsAccepted) {
  ReportCatcher catcher;
  BITMAPINFOHEADER h = header(4, 3, 8, BI_RLE8);
  const Bytes out = expand(h, {4, 1, 0, 0, 4, 2, 0, 0, 0, 1});
  ASSERT_EQ(out.size(), 12u);
  EXPECT_TRUE(catcher.empty());
  EXPECT_EQ(out, (Bytes{1, 1, 1, 1, 2, 2, 2, 2, 0, 0, 0, 0}));
  // Two rows short is refused.
  expand(h, {4, 1, 0, 0, 0, 1});
  EXPECT_REPORT(catcher, VRN_StsBadArg, "test", "Incorrect format of BI_RLE8 DIB (mismatch biHeight)");
}

TEST(RleExpand, DeltaSkipsPixelsAndLeavesThemClear) {
  ReportCatcher catcher;
  BITMAPINFOHEADER h = header(6, 3, 8, BI_RLE8);
  // Two pixels, then right by 3 and up by 1, one pixel, to the row end, end of line.
  const Bytes out = expand(h, {2, 9, 0, 2, 3, 1, 1, 8, 0, 0, 6, 7, 0, 1});
  ASSERT_FALSE(out.empty());
  EXPECT_EQ(out, (Bytes{9, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 7, 7, 7, 7, 7, 7, 0, 0}));
  EXPECT_TRUE(catcher.empty());
}

TEST(RleExpand, NibbleRunAtAnOddPositionChangesOneNibble) {
  ReportCatcher catcher;
  BITMAPINFOHEADER h = header(8, 1, 4, BI_RLE4);
  // (1, 3_) at x 0 writes a whole byte; (1, 7F) at x 1 merges its high nibble
  // into the low half and leaves byte 1 alone; (3, AB) at x 2 writes whole
  // bytes, its odd end stepping back; (1, C_) at x 5 merges; delta to x 8.
  const Bytes out = expand(h, {1, 0x30, 1, 0x7F, 3, 0xAB, 1, 0xC0, 0, 2, 2, 0, 0, 0, 0, 1});
  ASSERT_FALSE(out.empty());
  EXPECT_EQ(out, (Bytes{0x37, 0xAB, 0xAC, 0x00}));
  EXPECT_TRUE(catcher.empty());
  // An absolute command at an odd position: nibbles 1 2 3 merged one by one.
  const Bytes abs = expand(h, {1, 0xF0, 0, 3, 0x12, 0x30, 4, 0x55, 0, 0, 0, 1});
  EXPECT_EQ(abs, (Bytes{0xF1, 0x23, 0x55, 0x55}));
}

struct RleFault {
  int bits;
  Bytes stream;
  const char* text;
};

class RleExpandFault : public ::testing::TestWithParam<RleFault> {};

TEST_P(RleExpandFault, IsReportedInTheCodecsWords) {
  ReportCatcher catcher;
  const RleFault& f = GetParam();
  BITMAPINFOHEADER h = header(4, 2, f.bits, f.bits == 8 ? BI_RLE8 : BI_RLE4);
  EXPECT_TRUE(expand(h, f.stream).empty());
  std::string text = f.text;
  text.replace(text.find("RLEx"), 4, f.bits == 8 ? "RLE8" : "RLE4");
  EXPECT_REPORT(catcher, VRN_StsBadArg, "test", text);
  EXPECT_EQ(catcher.all().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, RleExpandFault,
    ::testing::Values(
        RleFault{8, {3, 1, 0, 0}, "Incorrect format of BI_RLEx DIB (mismatch biWidth)"},
        RleFault{4, {3, 1, 0, 0}, "Incorrect format of BI_RLEx DIB (mismatch biWidth)"},
        RleFault{8, {0, 1}, "Incorrect format of BI_RLEx DIB (mismatch biHeight)"},
        RleFault{8, {0, 2, 5, 0, 0, 0}, "Incorrect format of BI_RLEx DIB (bad Delta command)"},
        RleFault{4, {0, 2, 0, 3, 0, 1}, "Incorrect format of BI_RLEx DIB (bad Delta command)"},
        // A run that overshoots the row is written, then the next command fails.
        RleFault{8, {6, 1, 0, 0}, "Incorrect format of BI_RLEx DIB (mismatch biHeight or biWidth)"},
        RleFault{4, {255, 1, 0, 1}, "Incorrect format of BI_RLEx DIB (mismatch biHeight or biWidth)"},
        // The stream ends (biSizeImage) before its end of bitmap.
        RleFault{8, {4, 1, 0, 0}, "Incorrect format of BI_RLEx DIB (unexpected end of data)"},
        RleFault{8, {4, 1, 0}, "Incorrect format of BI_RLEx DIB (unexpected end of data)"},
        RleFault{8, {0, 2, 1}, "Incorrect format of BI_RLEx DIB (unexpected end of data)"},
        RleFault{8, {0, 4, 1, 2, 3}, "Incorrect format of BI_RLEx DIB (unexpected end of data)"},
        RleFault{4, {0, 5, 0x12, 0x34}, "Incorrect format of BI_RLEx DIB (unexpected end of data)"},
        // An absolute command whose pad byte is the last byte of the bound.
        RleFault{8, {0, 3, 1, 2, 3, 0}, "Incorrect format of BI_RLEx DIB (unexpected end of data)"},
        RleFault{8, {0}, "Incorrect format of BI_RLEx DIB (unexpected end of data)"}));

TEST(RleExpand, OvershootOnTheLastRowStaysInTheBuffer) {
  ReportCatcher catcher;
  // Row 1 of 2 reached by a delta to y == height, then a long run: dropped,
  // and the next command fails.
  BITMAPINFOHEADER h = header(4, 2, 8, BI_RLE8);
  EXPECT_TRUE(expand(h, {0, 2, 4, 2, 255, 9, 255, 9, 0, 1}).empty());
  EXPECT_REPORT(catcher, VRN_StsBadArg, "test", "Incorrect format of BI_RLE8 DIB (mismatch biHeight or biWidth)");
}

TEST(RleExpand, UnboundedStreamStopsAtItsEnd) {
  ReportCatcher catcher;
  BITMAPINFOHEADER h = header(4, 1, 8, BI_RLE8);
  EXPECT_EQ(expand(h, {4, 6, 0, 0, 0, 1}, false), (Bytes{6, 6, 6, 6}));
  EXPECT_TRUE(catcher.empty());
}

// The RLE codecs: the command choices of the compressors, the give-up on
// noise, round trips, the expanders' accepted streams and their faults with
// the texts, read from blocks of exactly the stream's size.
#include <memory>
#include <random>

#include "dib/dib_format.h"
#include "dib/dib_test_util.h"

using namespace dibtest;

namespace {

Bytes rowsOf(int width, int height, int bits, const std::vector<int>& values) {
  const size_t rb = rowBytes(width, bits);
  Bytes rows(rb * height, 0);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const int v = values[static_cast<size_t>(y) * width + x];
      if (bits == 8) rows[y * rb + x] = static_cast<uint8_t>(v);
      else rows[y * rb + x / 2] |= static_cast<uint8_t>((x & 1) ? v : v << 4);
    }
  return rows;
}

Bytes compress(BITMAPINFOHEADER& h, Bytes rows) {
  EXPECT_EQ(vrn::compressRle(&h, rows.data(), "test"), 0);
  return h.biCompression == BI_RGB ? Bytes{} : Bytes(rows.begin(), rows.begin() + h.biSizeImage);
}

// Expands a stream from a block of exactly its size, biSizeImage set to it (or 0).
Bytes expand(BITMAPINFOHEADER h, const Bytes& stream, bool bounded = true) {
  std::unique_ptr<uint8_t[]> exact(new uint8_t[stream.size() + 1]);
  std::memcpy(exact.get(), stream.data(), stream.size());
  h.biSizeImage = bounded ? static_cast<uint32_t>(stream.size()) : 0;
  uint8_t* out = vrn::expandRle(&h, exact.get(), "test");
  if (!out) return {};
  Bytes r(out, out + rowBytes(h.biWidth, h.biBitCount) * static_cast<size_t>(h.biHeight));
  vrnFree(out);
  return r;
}

// The commands of one row followed by blank rows (so that the stream is
// kept), up to its end of line, with the end of bitmap added.
Bytes rowCommands(int width, int bits, std::vector<int> row) {
  const int height = 12;
  row.resize(static_cast<size_t>(width) * height, 0);
  BITMAPINFOHEADER h = header(width, height, bits, bits == 8 ? BI_RLE8 : BI_RLE4);
  Bytes s = compress(h, rowsOf(width, height, bits, row));
  for (size_t i = 0; i + 1 < s.size(); i += 2) {
    if (s[i] == 0 && s[i + 1] == 0) {
      s.resize(i + 2);
      s.insert(s.end(), {0, 1});
      return s;
    }
    if (s[i] == 0 && s[i + 1] >= 3) {  // skip an absolute command's data
      const size_t n = s[i + 1], bytes = bits == 8 ? n : (n + 1) / 2;
      i += bytes + (bytes & 1);
    }
  }
  return {};
}

struct CommandCase {
  int width, bits;
  std::vector<int> row;
  Bytes commands;
};

const CommandCase kCommands[] = {
    // A run longer than 255 splits and goes on with the same pixel.
    {300, 8, std::vector<int>(300, 7), {255, 7, 45, 7, 0, 0, 0, 1}},
    // Nine distinct pixels: an absolute command with its pad byte.
    {14, 8, {1, 2, 3, 4, 5, 6, 7, 8, 9, 50, 50, 50, 50, 50}, {0, 9, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 5, 50, 0, 0, 0, 1}},
    // A repeat within three pixels of the row end is three runs of one.
    {14, 8, {4, 4, 4, 4, 4, 4, 4, 1, 2, 3, 4, 9, 9, 9}, {7, 4, 0, 4, 1, 2, 3, 4, 1, 9, 1, 9, 1, 9, 0, 0, 0, 1}},
    // A single pixel before a run, two before a pair.
    {12, 8, {1, 2, 2, 2, 2, 5, 6, 6, 6, 6, 6, 6}, {1, 1, 4, 2, 1, 5, 6, 6, 0, 0, 0, 1}},
    // A repeating nibble pair with one more nibble, then three at the end.
    {10, 4, {1, 2, 1, 2, 1, 2, 1, 3, 4, 5}, {7, 0x12, 2, 0x34, 1, 0x50, 0, 0, 0, 1}},
    {12, 4, {9, 2, 3, 2, 3, 2, 3, 2, 3, 2, 3, 2}, {1, 0x90, 11, 0x23, 0, 0, 0, 1}},
    // Nine distinct nibbles: five bytes padded to a word.
    {18, 4, {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 11, 12, 11, 12, 11, 12, 11},
     {0, 9, 0x12, 0x34, 0x56, 0x78, 0x90, 0, 9, 0xBC, 0, 0, 0, 1}},
};

TEST(RleCompress, CommandChoices) {
  for (const CommandCase& c : kCommands)
    EXPECT_EQ(rowCommands(c.width, c.bits, c.row), c.commands) << "bits " << c.bits << " width " << c.width;
}

TEST(RleCompress, NoiseGivesUpAndKeepsTheRows) {
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

TEST(RleRoundTrip, ExpandOfCompressGivesTheRowsBack) {
  std::mt19937 rng(11);
  for (int bits : {8, 4})
    for (int width : {1, 2, 3, 4, 5, 6, 7, 8, 9, 13, 31, 64, 257, 600})
      for (int pattern = 0; pattern < 4; ++pattern) {
        const int height = 3 + pattern, range = bits == 8 ? 256 : 16;
        std::vector<int> v(static_cast<size_t>(width) * height);
        for (size_t i = 0; i < v.size(); ++i) {
          const int r = static_cast<int>(rng() % range);
          v[i] = pattern == 0 ? r % 3 : pattern == 1 ? static_cast<int>((i / 7) % range)
                 : pattern == 2 ? (i % 2 ? 5 : r) : (rng() % 5 == 0 ? r : 1);
        }
        BITMAPINFOHEADER h = header(width, height, bits, bits == 8 ? BI_RLE8 : BI_RLE4);
        const Bytes rows = rowsOf(width, height, bits, v);
        const Bytes s = compress(h, rows);
        if (h.biCompression == BI_RGB) continue;  // gave up
        Bytes back = expand(h, s);
        ASSERT_EQ(back.size(), rows.size());
        if (bits == 4 && (width & 1))  // the pad nibble of an odd row is open
          for (int y = 0; y < height; ++y) back[y * rowBytes(width, 4) + width / 2] &= 0xF0;
        EXPECT_EQ(back, rows) << "bits " << bits << " width " << width << " pattern " << pattern;
      }
}

struct GoodStream {
  const char* name;
  int width, height, bits;
  Bytes stream, rows;
  bool bounded;
};

const GoodStream kGood[] = {
    {"oneRowShort", 4, 3, 8, {4, 1, 0, 0, 4, 2, 0, 0, 0, 1}, {1, 1, 1, 1, 2, 2, 2, 2, 0, 0, 0, 0}, true},
    // Two pixels, right 3 and up 1, one pixel, to the row end, end of line.
    {"delta", 6, 3, 8, {2, 9, 0, 2, 3, 1, 1, 8, 0, 0, 6, 7, 0, 1},
     {9, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 7, 7, 7, 7, 7, 7, 0, 0}, true},
    // Runs at odd positions merge one nibble; an even run's odd end steps back.
    {"nibbleRuns", 8, 1, 4, {1, 0x30, 1, 0x7F, 3, 0xAB, 1, 0xC0, 0, 2, 2, 0, 0, 0, 0, 1}, {0x37, 0xAB, 0xAC, 0}, true},
    {"nibbleAbsolute", 8, 1, 4, {1, 0xF0, 0, 3, 0x12, 0x30, 4, 0x55, 0, 0, 0, 1}, {0xF1, 0x23, 0x55, 0x55}, true},
    {"unbounded", 4, 1, 8, {4, 6, 0, 0, 0, 1}, {6, 6, 6, 6}, false},
};

TEST(RleExpand, AcceptedStreams) {
  for (const GoodStream& g : kGood) {
    ReportCatcher catcher;
    const BITMAPINFOHEADER h = header(g.width, g.height, g.bits, g.bits == 8 ? BI_RLE8 : BI_RLE4);
    EXPECT_EQ(expand(h, g.stream, g.bounded), g.rows) << g.name;
    EXPECT_NO_REPORT(catcher);
  }
}

struct RleFault {
  int bits;
  Bytes stream;
  const char* reason;
};

const RleFault kFaults[] = {
    {8, {3, 1, 0, 0}, "mismatch biWidth"},
    {4, {3, 1, 0, 0}, "mismatch biWidth"},
    {8, {0, 1}, "mismatch biHeight"},  // two rows short
    {8, {0, 2, 5, 0, 0, 0}, "bad Delta command"},
    {4, {0, 2, 0, 3, 0, 1}, "bad Delta command"},
    // A run past the row is written, then the next command fails; past the
    // last row (delta to y == height) it is dropped.
    {8, {6, 1, 0, 0}, "mismatch biHeight or biWidth"},
    {4, {255, 1, 0, 1}, "mismatch biHeight or biWidth"},
    {8, {0, 2, 4, 2, 255, 9, 255, 9, 0, 1}, "mismatch biHeight or biWidth"},
    // The stream (biSizeImage) ends before its end of bitmap.
    {8, {4, 1, 0, 0}, "unexpected end of data"},
    {8, {4, 1, 0}, "unexpected end of data"},
    {8, {0, 2, 1}, "unexpected end of data"},
    {8, {0, 4, 1, 2, 3}, "unexpected end of data"},
    {4, {0, 5, 0x12, 0x34}, "unexpected end of data"},
    {8, {0, 3, 1, 2, 3, 0}, "unexpected end of data"},  // the pad byte is the last of the bound
    {8, {0}, "unexpected end of data"},
};

TEST(RleExpand, FaultsAreReportedInTheCodecsWords) {
  for (const RleFault& f : kFaults) {
    ReportCatcher catcher;
    EXPECT_TRUE(expand(header(4, 2, f.bits, f.bits == 8 ? BI_RLE8 : BI_RLE4), f.stream).empty());
    const std::string text = std::string("Incorrect format of BI_RLE") + (f.bits == 8 ? "8" : "4") + " DIB (" + f.reason + ")";
    EXPECT_REPORT(catcher, VRN_StsBadArg, "test", text);
  }
}

}  // namespace

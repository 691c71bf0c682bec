// The RLE codecs: the compressor's command choices and give-up on noise,
// round trips, hand-checked accepted and broken streams, and random valid and
// broken streams against a plain reference expander, through expandRle and
// through the readers' row-at-a-time decoding.  Streams are read from blocks
// of exactly their size.
#include <memory>
#include <random>

#include "dib/dib_format.h"
#include "dib/dib_test_util.h"

using namespace dibtest;

namespace {

uint32_t rle(int bits) { return bits == 8 ? BI_RLE8 : BI_RLE4; }

Bytes rowsOf(int width, int height, int bits, const std::vector<int>& values) {
  const size_t rb = rowBytes(width, bits);
  Bytes rows(rb * height, 0);
  for (size_t i = 0, x = 0; i < values.size(); ++i, x = i % width)
    rows[i / width * rb + (bits == 8 ? x : x / 2)] |= static_cast<uint8_t>(bits == 4 && !(x & 1) ? values[i] << 4 : values[i]);
  return rows;
}

// A give-up (the stream no shorter than the rows) keeps the rows and BI_RGB.
Bytes compress(BITMAPINFOHEADER& h, const Bytes& rows) {
  Bytes s = rows;
  EXPECT_EQ(vrn::compressRle(&h, s.data(), "test"), 0);
  if (h.biCompression != BI_RGB) return Bytes(s.begin(), s.begin() + h.biSizeImage);
  EXPECT_EQ(h.biSizeImage, 0u);
  EXPECT_EQ(s, rows);
  return {};
}

// A stream in a block of exactly its size.
std::unique_ptr<uint8_t[]> exactBlock(const Bytes& s) {
  std::unique_ptr<uint8_t[]> block(new uint8_t[s.size()]);
  std::memcpy(block.get(), s.data(), s.size());
  return block;
}

// Expands a stream with biSizeImage set to its size (or 0); empty on a fault.
Bytes expand(BITMAPINFOHEADER h, const Bytes& stream, bool bounded = true) {
  const auto exact = exactBlock(stream);
  h.biSizeImage = bounded ? static_cast<uint32_t>(stream.size()) : 0;
  uint8_t* out = vrn::expandRle(&h, exact.get(), "test");
  if (!out) return {};
  Bytes r(out, out + rowBytes(h.biWidth, h.biBitCount) * static_cast<size_t>(h.biHeight));
  vrnFree(out);
  return r;
}

struct CommandCase { int width, bits; std::vector<int> row; Bytes commands; };

const CommandCase kCommands[] = {
    // A run longer than 255 splits and goes on with the same pixel.
    {300, 8, std::vector<int>(300, 7), {255, 7, 45, 7, 0, 0}},
    // Nine distinct pixels: an absolute command with its pad byte.
    {14, 8, {1, 2, 3, 4, 5, 6, 7, 8, 9, 50, 50, 50, 50, 50}, {0, 9, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 5, 50, 0, 0}},
    // A repeat within three pixels of the row end is three runs of one.
    {14, 8, {4, 4, 4, 4, 4, 4, 4, 1, 2, 3, 4, 9, 9, 9}, {7, 4, 0, 4, 1, 2, 3, 4, 1, 9, 1, 9, 1, 9, 0, 0}},
    // A single pixel before a run, two before a pair.
    {12, 8, {1, 2, 2, 2, 2, 5, 6, 6, 6, 6, 6, 6}, {1, 1, 4, 2, 1, 5, 6, 6, 0, 0}},
    // A repeating nibble pair with one more nibble, then three at the end.
    {10, 4, {1, 2, 1, 2, 1, 2, 1, 3, 4, 5}, {7, 0x12, 2, 0x34, 1, 0x50, 0, 0}},
    {12, 4, {9, 2, 3, 2, 3, 2, 3, 2, 3, 2, 3, 2}, {1, 0x90, 11, 0x23, 0, 0}},
    // Nine distinct nibbles: five bytes padded to a word.
    {18, 4, {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 11, 12, 11, 12, 11, 12, 11},
     {0, 9, 0x12, 0x34, 0x56, 0x78, 0x90, 0, 9, 0xBC, 0, 0}},
};

// The stream's start up to the first row's end of line; blank rows below
// keep the stream from being given up.
TEST(RleCompress, CommandChoices) {
  for (CommandCase c : kCommands) {
    c.row.resize(static_cast<size_t>(c.width) * 12, 0);
    BITMAPINFOHEADER h = header(c.width, 12, c.bits, rle(c.bits));
    const Bytes s = compress(h, rowsOf(c.width, 12, c.bits, c.row));
    EXPECT_EQ(Bytes(s.begin(), s.begin() + std::min(s.size(), c.commands.size())), c.commands) << "bits " << c.bits << " width " << c.width;
  }
}

TEST(RleRoundTrip, ExpandOfCompressGivesTheRowsBack) {
  std::mt19937 rng(11);
  for (int bits : {8, 4})
    for (int width : {1, 2, 3, 4, 5, 6, 7, 8, 9, 13, 31, 64, 257, 600})
      for (int pattern = 0; pattern < 5; ++pattern) {  // 4: noise, given up when wide
        const int height = 3 + pattern, range = bits == 8 ? 256 : 16;
        std::vector<int> v(static_cast<size_t>(width) * height);
        for (size_t i = 0; i < v.size(); ++i) {
          const int r = static_cast<int>(rng() % range);
          v[i] = pattern == 0 ? r % 3 : pattern == 1 ? static_cast<int>((i / 7) % range)
                 : pattern == 2 ? (i % 2 ? 5 : r) : pattern == 3 ? (rng() % 5 == 0 ? r : 1) : r;
        }
        BITMAPINFOHEADER h = header(width, height, bits, rle(bits));
        const Bytes rows = rowsOf(width, height, bits, v);
        const Bytes s = compress(h, rows);
        EXPECT_TRUE(pattern < 4 || width < 64 || h.biCompression == BI_RGB) << bits << " " << width;
        if (h.biCompression == BI_RGB) continue;
        Bytes back = expand(h, s);
        ASSERT_EQ(back.size(), rows.size());
        if (bits == 4 && (width & 1))  // the pad nibble of an odd row is open
          for (int y = 0; y < height; ++y) back[y * rowBytes(width, 4) + width / 2] &= 0xF0;
        EXPECT_EQ(back, rows) << "bits " << bits << " width " << width << " pattern " << pattern;
      }
}

// A hand-checked stream: the rows it gives, or the reason of its fault.
struct HandStream { int bits, width, height; Bytes stream, rows; const char* fault; };

// Each fault reason at both bit counts is met by the random streams below;
// these pin the edges.
const HandStream kHand[] = {
    // Two pixels, right 3 and up 1, one pixel, to the row end, end of line.
    {8, 6, 3, {2, 9, 0, 2, 3, 1, 1, 8, 0, 0, 6, 7, 0, 1},
     {9, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 7, 7, 7, 7, 7, 7, 0, 0}, nullptr},
    // Runs at odd positions merge one nibble; an even run's odd end steps back.
    {4, 8, 1, {1, 0x30, 1, 0x7F, 3, 0xAB, 1, 0xC0, 0, 2, 2, 0, 0, 0, 0, 1}, {0x37, 0xAB, 0xAC, 0}, nullptr},
    {8, 4, 2, {0, 1}, {}, "mismatch biHeight"},  // two rows short
    // Runs past the last row (a delta to y == height) are dropped, then fail.
    {8, 4, 2, {0, 2, 4, 2, 255, 9, 255, 9, 0, 1}, {}, "mismatch biHeight or biWidth"},
    {8, 4, 2, {0, 3, 1, 2, 3, 0}, {}, "unexpected end of data"},  // the pad byte is the last of the bound
    {8, 4, 2, {0}, {}, "unexpected end of data"},
};

TEST(RleExpand, HandCheckedStreams) {
  for (const HandStream& g : kHand) {
    ReportCatcher catcher;
    EXPECT_EQ(expand(header(g.width, g.height, g.bits, rle(g.bits)), g.stream), g.rows) << testing::PrintToString(g.stream);
    const std::string text = g.fault ? std::string("Incorrect format of BI_RLE") + (g.bits == 8 ? "8" : "4") + " DIB (" + g.fault + ")" : "";
    EXPECT_TRUE(g.fault ? vrntest::expectReport(catcher, VRN_StsBadArg, "test", text) : vrntest::expectNoReport(catcher));
  }
}

struct Expanded { Bytes rows; std::string fault; };  // fault: empty for a valid stream

// One pixel at a time into a cleared buffer, in the stream's linear addressing.
Expanded referenceExpand(int width, int height, int bits, const Bytes& s) {
  auto fault = [&](const char* what) { return Expanded{{}, std::string("Incorrect format of BI_RLE") + (bits == 8 ? "8" : "4") + " DIB (" + what + ")"}; };
  const size_t rb = rowBytes(width, bits);
  Bytes rows(rb * height, 0);
  // Pixels of a run (src repeats one byte) or an absolute command; 4 bits
  // from an even x write whole bytes.
  auto put = [&](int64_t x, int64_t y, const uint8_t* src, bool repeat, int n) {
    const int units = bits == 8 ? n : (x & 1) ? n : (n + 1) / 2 * 2;
    for (int i = 0; i < units; ++i) {
      const uint8_t b = repeat ? src[0] : src[bits == 8 ? i : i >> 1];
      const size_t at = static_cast<size_t>(y) * rb + static_cast<size_t>(bits == 8 ? x + i : (x + i) >> 1);
      const int shift = (x + i) & 1 ? 0 : 4, nibble = (i & 1) ? b & 15 : b >> 4;
      if (at < rows.size()) rows[at] = bits == 8 ? b : static_cast<uint8_t>((rows[at] & (0xF0 >> shift)) | nibble << shift);
    }
  };
  size_t pos = 0;
  int64_t x = 0, y = 0;
  for (;;) {
    if (y > height || x > width) return fault("mismatch biHeight or biWidth");
    if (s.size() - pos < 2 || pos > s.size()) return fault("unexpected end of data");
    const int c = s[pos], v = s[pos + 1];
    pos += 2;
    if (c > 0) {
      put(x, y, &s[pos - 1], true, c);
      x += c;
    } else if (v == 0) {
      if (x != width) return fault("mismatch biWidth");
      ++y, x = 0;
    } else if (v == 1) {
      if (y != height && y != height - 1) return fault("mismatch biHeight");
      return Expanded{rows, ""};
    } else if (v == 2) {
      if (s.size() - pos < 2) return fault("unexpected end of data");
      x += s[pos], y += s[pos + 1], pos += 2;
      if (x > width || y > height) return fault("bad Delta command");
    } else {
      const size_t bytes = bits == 8 ? v : (v + 1) / 2;
      if (s.size() - pos < bytes) return fault("unexpected end of data");
      put(x, y, s.data() + pos, false, v);
      x += v, pos += bytes + ((pos + bytes) & 1);
    }
  }
}

// A valid stream of runs, absolute commands and deltas (some across rows),
// ending one row short now and then.
Bytes randomStream(std::mt19937& rng, int width, int height, int bits) {
  auto pick = [&](int lo, int hi) { return lo + static_cast<int>(rng() % static_cast<unsigned>(hi - lo + 1)); };
  Bytes s;
  int x = 0, y = 0;
  while (y < height && !(y == height - 1 && x == 0 && pick(0, 3) == 0)) {
    if (x == width) {  // end of line
      s.insert(s.end(), {0, 0}), ++y, x = 0;
      continue;
    }
    const int left = std::min(255, width - x), kind = pick(0, 9);
    if (kind == 0) {
      const int dx = pick(0, width - x), dy = pick(0, std::min(2, height - y));
      s.insert(s.end(), {0, 2, static_cast<uint8_t>(dx), static_cast<uint8_t>(dy)});
      x += dx, y += dy;
    } else if (kind <= 3 && left >= 3) {
      const int n = pick(3, left);
      const size_t bytes = bits == 8 ? n : (n + 1) / 2;
      s.insert(s.end(), {0, static_cast<uint8_t>(n)});
      for (size_t i = 0; i < bytes; ++i) s.push_back(static_cast<uint8_t>(rng()));
      if (bytes & 1) s.push_back(0);
      x += n;
    } else {
      const int n = pick(1, kind == 9 ? left : std::min(left, 12));
      s.insert(s.end(), {static_cast<uint8_t>(n), static_cast<uint8_t>(rng())});
      x += n;
    }
  }
  s.insert(s.end(), {0, 1});
  return s;
}

// Breaks a stream: a changed byte, a cut, or bytes of noise (small counts and escapes).
Bytes breakStream(std::mt19937& rng, Bytes s) {
  const unsigned how = rng() % 3;
  if (how == 0) s[rng() % s.size()] = static_cast<uint8_t>(rng());
  else s.resize(how == 1 ? rng() % s.size() : 1 + rng() % 64);
  if (how == 2) for (uint8_t& b : s) b = static_cast<uint8_t>(rng() % 8);
  return s;
}

// expandRle and both readers (header, table and stream in one block, or the
// stream apart) give the reference's rows, or its fault text with the image
// left alone, over the readers' layouts.
TEST(RleDecode, EqualsThePlainExpanderOnRandomStreams) {
  // grayTable: an identity gray table (the plain copy), else random colours.
  struct Layout { int channels, depth; const char* seq; int order; bool grayTable; };
  const Layout layouts[] = {
      {1, VRN_DEPTH_8U, "G", VRN_DATA_ORDER_PIXEL, true},   {1, VRN_DEPTH_8U, "G", VRN_DATA_ORDER_PIXEL, false},
      {3, VRN_DEPTH_8U, "BGR", VRN_DATA_ORDER_PIXEL, false}, {3, VRN_DEPTH_8U, "RGB", VRN_DATA_ORDER_PLANE, false},
      {1, VRN_DEPTH_1U, "G", VRN_DATA_ORDER_PIXEL, true},   {4, VRN_DEPTH_16U, "BGRA", VRN_DATA_ORDER_PIXEL, false},
  };
  ReportCatcher catcher;
  std::mt19937 rng(11);
  for (int trial = 0; trial < 600; ++trial) {
    const int bits = trial % 2 ? 4 : 8;
    const int width = 1 + static_cast<int>(rng() % (trial % 5 == 0 ? 700 : 40));
    const int height = 1 + static_cast<int>(rng() % 6);
    Bytes stream = randomStream(rng, width, height, bits);
    if (trial % 3 == 2) stream = breakStream(rng, stream);
    if (stream.empty()) continue;  // a biSizeImage of 0 would leave it unbounded
    const bool bounded = trial % 7 != 0;  // a valid stream may go unbounded
    const Expanded ref = referenceExpand(width, height, bits, stream);
    if (!bounded && !ref.fault.empty()) continue;  // unbounded reads need an end of bitmap
    SCOPED_TRACE(testing::Message() << "trial " << trial << " bits " << bits << " " << width << "x" << height);

    BITMAPINFOHEADER h = header(width, height, bits, rle(bits));
    catcher.clear();
    EXPECT_EQ(expand(h, stream, bounded), ref.rows);
    EXPECT_TRUE(ref.fault.empty() ? vrntest::expectNoReport(catcher) : vrntest::expectReport(catcher, VRN_StsBadArg, "test", ref.fault));

    const Layout& l = layouts[trial % 6];
    h.biSizeImage = bounded ? static_cast<uint32_t>(stream.size()) : 0;
    PackedDib d(h, size_t{1} << bits, stream.size());
    for (size_t i = 0; i < d.entries; ++i) {
      const int v = l.grayTable ? static_cast<int>(255 * i / (d.entries - 1)) : static_cast<int>(rng() & 255);
      d.setEntry(i, v, l.grayTable ? v : v ^ 0x5A, l.grayTable ? v : 255 - v);
    }
    std::copy(stream.begin(), stream.end(), d.pixels());  // a block of exactly the DIB's size
    TestImage got = image(l.depth, l.channels, width + 3, height + 1, l.seq, l.order, static_cast<int>(rng() % 2), 0, trial), want = got.clone();
    PackedDib plain = d;  // the same rows, uncompressed
    plain.h()->biCompression = BI_RGB;
    EXPECT_EQ(ref.fault.empty() ? vrnConvertFromDIBSep(plain.h(), ref.rows.data(), want) : 0, 0);
    catcher.clear();
    const bool sep = trial % 4 < 2;
    const char* func = sep ? "vrnConvertFromDIBSep" : "vrnConvertFromDIB";
    const int result = sep ? vrnConvertFromDIBSep(d.h(), exactBlock(stream).get(), got) : (vrnConvertFromDIB(d.h(), got), 0);
    EXPECT_EQ(result, ref.fault.empty() || !sep ? 0 : VRN_StsBadArg);
    EXPECT_TRUE(ref.fault.empty() ? vrntest::expectNoReport(catcher) : vrntest::expectReport(catcher, VRN_StsBadArg, func, ref.fault));
    EXPECT_TRUE(vrntest::sameBytes(want, got));
  }
}

}  // namespace

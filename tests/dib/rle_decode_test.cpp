// RLE decoding against a plain reference expander (one pixel at a time into
// a cleared buffer, in the stream's linear addressing): expandRle and the
// row-at-a-time decoding of vrnConvertFromDIBSep must give the reference's
// rows, or its fault text with the image left alone, on random valid and
// broken streams at both bit counts and over the reader's layouts.
#include <memory>

#include "dib/dib_format.h"
#include "dib/dib_test_util.h"

using namespace dibtest;

namespace {

using Bytes = std::vector<uint8_t>;

struct Expanded {
  Bytes rows;
  std::string fault;  // empty for a valid stream
};

Expanded referenceExpand(int width, int height, int bits, const Bytes& s) {
  const char* name = bits == 8 ? "BI_RLE8" : "BI_RLE4";
  auto fault = [&](const char* what) { return Expanded{{}, std::string("Incorrect format of ") + name + " DIB (" + what + ")"}; };
  const size_t rb = rowBytes(width, bits);
  Bytes rows(rb * height, 0);
  auto setNibble = [&](int64_t y, int64_t n, unsigned v) {
    const size_t at = static_cast<size_t>(y) * rb + static_cast<size_t>(n >> 1);
    if (at >= rows.size()) return;
    rows[at] = (n & 1) ? static_cast<uint8_t>((rows[at] & 0xF0) | v) : static_cast<uint8_t>((rows[at] & 0x0F) | (v << 4));
  };
  // Pixels of a run (src repeats one byte) or an absolute command.
  auto put = [&](int64_t x, int64_t y, const uint8_t* src, bool repeat, int n) {
    if (bits == 8) {
      for (int i = 0; i < n; ++i) {
        const size_t at = static_cast<size_t>(y) * rb + static_cast<size_t>(x + i);
        if (at < rows.size()) rows[at] = repeat ? src[0] : src[i];
      }
      return;
    }
    const int nibbles = (x & 1) ? n : (n + 1) / 2 * 2;  // whole bytes from an even x
    for (int i = 0; i < nibbles; ++i) {
      const uint8_t b = repeat ? src[0] : src[i >> 1];
      setNibble(y, x + i, (i & 1) ? b & 15u : b >> 4u);
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
  for (;;) {
    if (y == height || (y == height - 1 && x == 0 && pick(0, 3) == 0)) break;
    if (x == width) {
      s.insert(s.end(), {0, 0});
      ++y, x = 0;
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

// Breaks a stream: a changed byte, a cut, or bytes of noise.
Bytes breakStream(std::mt19937& rng, Bytes s) {
  switch (rng() % 3) {
    case 0: s[rng() % s.size()] = static_cast<uint8_t>(rng()); break;
    case 1: s.resize(rng() % s.size()); break;
    default:
      s.resize(1 + rng() % 64);
      for (uint8_t& b : s) b = static_cast<uint8_t>(rng() % 8);  // small counts and escapes
  }
  return s;
}

struct Layout {
  int channels, depth;
  const char* seq;
  int order;
  bool grayTable;  // an identity gray table (the plain copy) or random colours
};

TEST(RleDecode, EqualsThePlainExpanderOnRandomStreams) {
  ReportCatcher catcher;
  const Layout layouts[] = {
      {1, VRN_DEPTH_8U, "G", VRN_DATA_ORDER_PIXEL, true},   {1, VRN_DEPTH_8U, "G", VRN_DATA_ORDER_PIXEL, false},
      {3, VRN_DEPTH_8U, "BGR", VRN_DATA_ORDER_PIXEL, false}, {3, VRN_DEPTH_8U, "RGB", VRN_DATA_ORDER_PLANE, false},
      {1, VRN_DEPTH_1U, "G", VRN_DATA_ORDER_PIXEL, true},   {4, VRN_DEPTH_16U, "BGRA", VRN_DATA_ORDER_PIXEL, false},
  };
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

    // The whole-bitmap expander, from a block of exactly the stream's size.
    BITMAPINFOHEADER h = header(width, height, bits, bits == 8 ? BI_RLE8 : BI_RLE4);
    h.biSizeImage = bounded ? static_cast<uint32_t>(stream.size()) : 0;
    std::unique_ptr<uint8_t[]> exact(new uint8_t[stream.size() + 1]);
    std::memcpy(exact.get(), stream.data(), stream.size());
    catcher.clear();
    uint8_t* rows = vrn::expandRle(&h, exact.get(), "test");
    if (ref.fault.empty()) {
      ASSERT_NE(rows, nullptr);
      EXPECT_EQ(Bytes(rows, rows + ref.rows.size()), ref.rows);
      vrnFree(rows);
    } else {
      EXPECT_EQ(rows, nullptr);
      EXPECT_REPORT(catcher, VRN_StsBadArg, "test", ref.fault);
    }

    // The reader over each layout, beside the same rows uncompressed.
    const Layout& l = layouts[trial % 6];
    const int entries = 1 << bits;
    Bytes table(4 * entries);
    for (int i = 0; i < entries; ++i)
      for (int c = 0; c < 3; ++c)
        table[4 * i + c] = l.grayTable ? static_cast<uint8_t>(255 * i / (entries - 1)) : static_cast<uint8_t>(rng());
    Bytes headerAndTable(40 + table.size());
    std::memcpy(headerAndTable.data(), &h, 40);
    std::memcpy(headerAndTable.data() + 40, table.data(), table.size());
    const auto* rleHeader = reinterpret_cast<const BITMAPINFOHEADER*>(headerAndTable.data());
    const int origin = static_cast<int>(rng() % 2);
    TestImage got = image(l.depth, l.channels, width + 3, height + 1, l.seq, l.order, origin, 0, trial);
    TestImage want = image(l.depth, l.channels, width + 3, height + 1, l.seq, l.order, origin, 0, trial);
    catcher.clear();
    const int status = vrnConvertFromDIBSep(rleHeader, exact.get(), got.get());
    if (ref.fault.empty()) {
      EXPECT_EQ(status, 0);
      EXPECT_TRUE(catcher.empty());
      Bytes plain = headerAndTable;
      reinterpret_cast<BITMAPINFOHEADER*>(plain.data())->biCompression = BI_RGB;
      EXPECT_EQ(vrnConvertFromDIBSep(reinterpret_cast<const BITMAPINFOHEADER*>(plain.data()), ref.rows.data(), want.get()), 0);
    } else {
      EXPECT_EQ(status, VRN_StsBadArg);
      EXPECT_REPORT(catcher, VRN_StsBadArg, "vrnConvertFromDIBSep", ref.fault);
    }
    ASSERT_EQ(got->imageSize, want->imageSize);
    EXPECT_EQ(std::memcmp(got->imageData, want->imageData, static_cast<size_t>(got->imageSize)), 0);
  }
}

}  // namespace

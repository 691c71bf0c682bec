// BMP files on disk: a 14-byte file header in front of a packed DIB.  This
// layer checks a file before the library sees a byte of it (signature, header
// sizes, the colour table and the pixels against the file's length, RLE
// streams run to their end marker inside the file) and turns it into a packed
// DIB with a 40-byte header.  Writing goes to a temporary file in the same
// directory that is renamed over the target only when complete.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vrntool {

// What the file said about itself, for `vrn info`.
struct BmpFacts {
  uint64_t fileBytes = 0;
  uint32_t infoHeaderBytes = 0;  // 40, or a larger version that was cut to 40
  int32_t width = 0, height = 0;  // height negative = top-down rows
  int bitCount = 0;
  uint32_t compression = 0;
  uint32_t paletteEntries = 0;
  uint32_t masks[3] = {0, 0, 0};  // red, green, blue of bit-field pixels
  uint32_t pixelOffset = 0;
  uint64_t pixelBytes = 0;
};

// A packed DIB: the 40-byte header, the colour table, the pixels, and a few
// zero bytes of guard behind them.
struct PackedDib {
  std::vector<uint8_t> bytes;
  BmpFacts facts;
};

// Reads and checks a BMP file; on failure `why` holds one line for the user.
bool readBmpFile(const std::string& path, PackedDib& out, std::string& why);

// Colour table entries that follow the 40-byte header of a DIB (the three
// masks of a bit-field DIB count as entries).
uint32_t dibTableEntries(const uint8_t* header);

// Bytes of one uncompressed DIB row.
uint64_t dibRowBytes(int32_t width, int bitCount);

// Bytes of the packed DIB that starts at `dib`, as its header describes it.
uint64_t packedDibBytes(const uint8_t* dib);

// Writes the packed DIB behind a file header, through a temporary file that
// is renamed over `path`; nothing is left behind on failure.
bool writeBmpFile(const std::string& path, const uint8_t* dib, std::string& why);

// Little-endian fields.
inline uint32_t le32(const uint8_t* p) {
  return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<uint32_t>(p[3]) << 24);
}
inline uint16_t le16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
inline void put32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline void put16(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}

}  // namespace vrntool

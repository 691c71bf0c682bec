// Reading and writing BMP files: every size the file states is checked
// against the bytes it really has, so that the DIB handed to the library is
// complete; see bmp_file.h.
#include "bmp_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vrntool {

namespace {

constexpr uint32_t kFileHeaderBytes = 14;
constexpr uint32_t kInfoBytes = 40;
constexpr uint64_t kMaxFileBytes = 1ull << 30;
constexpr int64_t kMaxSide = 1 << 15;         // pixels per side
constexpr uint64_t kMaxPixels = 1ull << 26;   // keeps every image size in 32 bits
constexpr size_t kGuardBytes = 16;

std::string num(uint64_t v) { return std::to_string(v); }

bool readWholeFile(const std::string& path, std::vector<uint8_t>& data, std::string& why) {
  FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) {
    why = std::string("cannot open: ") + std::strerror(errno);
    return false;
  }
  data.clear();
  uint8_t chunk[1 << 16];
  size_t got;
  while ((got = std::fread(chunk, 1, sizeof chunk, f)) > 0) {
    data.insert(data.end(), chunk, chunk + got);
    if (data.size() > kMaxFileBytes) {
      std::fclose(f);
      why = "file too large (over " + num(kMaxFileBytes >> 20) + " MiB)";
      return false;
    }
  }
  const bool failed = std::ferror(f);
  const int err = errno;
  std::fclose(f);
  if (failed) {
    why = std::string("cannot read: ") + std::strerror(err == 0 ? EIO : err);
    return false;
  }
  return true;
}

// Walks an RLE stream of `n` bytes: true when it reaches its end-of-bitmap
// marker inside the stream and never leaves a width x height picture.
bool checkRleStream(const uint8_t* s, uint64_t n, bool rle8, int64_t width, int64_t height,
                    std::string& why) {
  uint64_t i = 0;
  int64_t x = 0, y = 0;
  while (i + 2 <= n) {
    const uint8_t a = s[i], b = s[i + 1];
    i += 2;
    if (y >= height && !(a == 0 && b == 1)) {
      why = "corrupt RLE data: more rows than the header's height";
      return false;
    }
    if (a > 0) {
      x += a;
    } else if (b == 0) {
      if (x != width) {
        why = "corrupt RLE data: row " + num(y) + " holds " + num(x) + " pixels, not " + num(width);
        return false;
      }
      x = 0;
      ++y;
    } else if (b == 1) {
      return true;
    } else if (b == 2) {
      if (i + 2 > n) break;
      x += s[i];
      y += s[i + 1];
      i += 2;
      if (y > height) {
        why = "corrupt RLE data: a jump leaves the picture";
        return false;
      }
    } else {
      const uint64_t bytes = rle8 ? b : (b + 1u) / 2u;
      i += (bytes + 1) & ~uint64_t{1};
      if (i > n) break;
      x += b;
    }
    if (x > width) {
      why = "corrupt RLE data: row " + num(y) + " runs past the width of " + num(width);
      return false;
    }
  }
  why = "truncated: the RLE data ends before its end-of-bitmap marker";
  return false;
}

const char* compressionName(uint32_t c) {
  switch (c) {
    case 0: return "none";
    case 1: return "RLE8";
    case 2: return "RLE4";
    case 3: return "bit fields";
    case 4: return "JPEG";
    case 5: return "PNG";
    default: return nullptr;
  }
}

}  // namespace

uint64_t dibRowBytes(int32_t width, int bitCount) {
  return (static_cast<uint64_t>(width) * static_cast<uint64_t>(bitCount) + 31) / 32 * 4;
}

uint32_t dibTableEntries(const uint8_t* h) {
  const int bits = le16(h + 14);
  const uint32_t compression = le32(h + 16), used = le32(h + 32);
  if (bits <= 8) return used ? used : 1u << bits;
  return used + ((bits == 16 || bits == 32) && compression == 3 ? 3 : 0);
}

uint64_t packedDibBytes(const uint8_t* h) {
  const int32_t width = static_cast<int32_t>(le32(h + 4));
  const int32_t height = static_cast<int32_t>(le32(h + 8));
  const uint32_t compression = le32(h + 16);
  const uint64_t pixels = compression == 1 || compression == 2
                              ? le32(h + 20)
                              : dibRowBytes(width, le16(h + 14)) * static_cast<uint64_t>(
                                                                       height < 0 ? -int64_t{height} : height);
  return kInfoBytes + 4ull * dibTableEntries(h) + pixels;
}

bool readBmpFile(const std::string& path, PackedDib& out, std::string& why) {
  std::vector<uint8_t> file;
  if (!readWholeFile(path, file, why)) return false;
  const uint64_t size = file.size();
  const uint8_t* p = file.data();
  BmpFacts& f = out.facts;
  f = BmpFacts{};
  f.fileBytes = size;

  if (size < 2 || p[0] != 'B' || p[1] != 'M') {
    why = size == 0 ? "not a BMP file (the file is empty)" : "not a BMP file (it does not start with \"BM\")";
    return false;
  }
  if (size < kFileHeaderBytes + 4) {
    why = "truncated: " + num(size) + " bytes cannot hold a BMP header";
    return false;
  }
  const uint32_t declared = le32(p + 2);
  if (declared > size) {
    why = "truncated: the header announces " + num(declared) + " bytes, the file has " + num(size);
    return false;
  }
  f.infoHeaderBytes = le32(p + 14);
  if (f.infoHeaderBytes == 12) {
    why = "unsupported format: OS/2 bitmap header of 12 bytes (headers of 40 bytes or more are read)";
    return false;
  }
  if (f.infoHeaderBytes < kInfoBytes || f.infoHeaderBytes > 1024) {
    why = "corrupt header: info header of " + num(f.infoHeaderBytes) + " bytes";
    return false;
  }
  if (kFileHeaderBytes + f.infoHeaderBytes > size) {
    why = "truncated: the file ends inside the " + num(f.infoHeaderBytes) + "-byte info header";
    return false;
  }
  const uint8_t* h = p + kFileHeaderBytes;
  f.width = static_cast<int32_t>(le32(h + 4));
  f.height = static_cast<int32_t>(le32(h + 8));
  const uint16_t planes = le16(h + 12);
  f.bitCount = le16(h + 14);
  f.compression = le32(h + 16);
  const uint32_t sizeImage = le32(h + 20);
  const uint32_t used = le32(h + 32);
  f.pixelOffset = le32(p + 10);
  const int64_t rows = f.height < 0 ? -int64_t{f.height} : f.height;

  if (f.width <= 0 || f.height == 0 || f.height == INT32_MIN) {
    why = "corrupt header: image size " + std::to_string(f.width) + "x" + std::to_string(f.height);
    return false;
  }
  if (f.width > kMaxSide || rows > kMaxSide || uint64_t(f.width) * uint64_t(rows) > kMaxPixels) {
    why = "unsupported format: " + std::to_string(f.width) + "x" + num(rows) + " is too large (at most " +
          num(kMaxPixels >> 20) + " megapixels, " + num(kMaxSide) + " a side)";
    return false;
  }
  if (planes != 1) {
    why = "corrupt header: " + num(planes) + " colour planes (must be 1)";
    return false;
  }
  const int b = f.bitCount;
  if (b != 1 && b != 4 && b != 8 && b != 16 && b != 24 && b != 32) {
    why = "unsupported format: " + num(b) + " bits per pixel";
    return false;
  }
  const char* cname = compressionName(f.compression);
  if (!cname || f.compression > 3) {
    why = std::string("unsupported format: ") + (cname ? cname : "unknown") + " compression (" +
          num(f.compression) + ")";
    return false;
  }
  if ((f.compression == 1 && b != 8) || (f.compression == 2 && b != 4) ||
      (f.compression == 3 && b != 16 && b != 32)) {
    why = std::string("corrupt header: ") + cname + " compression with " + num(b) + " bits per pixel";
    return false;
  }
  if ((f.compression == 1 || f.compression == 2) && f.height < 0) {
    why = "corrupt header: RLE-compressed rows must be stored bottom-up";
    return false;
  }
  if (b <= 8 && used > (1u << b)) {
    why = "corrupt header: " + num(used) + " colour table entries for " + num(b) + " bits per pixel";
    return false;
  }
  if (b > 8 && used > 256) {
    why = "corrupt header: " + num(used) + " colour table entries";
    return false;
  }
  f.paletteEntries = b <= 8 ? (used ? used : 1u << b) : used;
  if (b <= 8 && f.paletteEntries < 2) {
    why = "unsupported format: a colour table of one entry";
    return false;
  }

  // Bit-field masks sit inside a larger header, or right behind a 40-byte one.
  uint64_t tableAt = kFileHeaderBytes + f.infoHeaderBytes;
  if (f.compression == 3) {
    const uint8_t* m = h + kInfoBytes;
    if (f.infoHeaderBytes < kInfoBytes + 12) {
      if (tableAt + 12 > size) {
        why = "truncated: the file ends inside the colour masks";
        return false;
      }
      m = p + tableAt;
      tableAt += 12;
    }
    for (int i = 0; i < 3; ++i) f.masks[i] = le32(m + 4 * i);
    if (!f.masks[0] || !f.masks[1] || !f.masks[2]) {
      why = "corrupt header: a colour mask is zero";
      return false;
    }
  }
  if (tableAt + 4ull * f.paletteEntries > size) {
    why = "truncated: the colour table of " + num(f.paletteEntries) + " entries runs past the end of the file";
    return false;
  }
  if (f.pixelOffset < kFileHeaderBytes + f.infoHeaderBytes || f.pixelOffset > size) {
    why = "corrupt header: pixel data offset " + num(f.pixelOffset) + " lies outside the file";
    return false;
  }
  if (f.pixelOffset < tableAt + 4ull * f.paletteEntries) {
    why = "corrupt header: pixel data offset " + num(f.pixelOffset) + " lies inside the colour table";
    return false;
  }
  const uint64_t available = size - f.pixelOffset;
  const bool rle = f.compression == 1 || f.compression == 2;
  if (rle) {
    f.pixelBytes = sizeImage ? sizeImage : available;
    if (f.pixelBytes > available) {
      why = "truncated: the header announces " + num(f.pixelBytes) + " bytes of RLE data, the file has " +
            num(available);
      return false;
    }
    if (!checkRleStream(p + f.pixelOffset, f.pixelBytes, f.compression == 1, f.width, rows, why)) return false;
  } else {
    f.pixelBytes = dibRowBytes(f.width, b) * static_cast<uint64_t>(rows);
    if (f.pixelBytes > available) {
      why = "truncated: the pixels need " + num(f.pixelBytes) + " bytes, the file has " + num(available);
      return false;
    }
  }

  // The packed DIB: a 40-byte header, masks, colour table, pixels, guard.
  const uint64_t maskBytes = f.compression == 3 ? 12 : 0;
  std::vector<uint8_t>& d = out.bytes;
  d.assign(kInfoBytes + maskBytes + 4ull * f.paletteEntries + f.pixelBytes + kGuardBytes, 0);
  std::memcpy(d.data(), h, kInfoBytes);
  put32(d.data(), kInfoBytes);
  put32(d.data() + 32, used);
  uint8_t* w = d.data() + kInfoBytes;
  for (int i = 0; i < 3 && maskBytes; ++i, w += 4) put32(w, f.masks[i]);
  std::memcpy(w, p + tableAt, 4ull * f.paletteEntries);
  w += 4ull * f.paletteEntries;
  std::memcpy(w, p + f.pixelOffset, f.pixelBytes);
  if (rle) put32(d.data() + 20, static_cast<uint32_t>(f.pixelBytes));
  return true;
}

bool writeBmpFile(const std::string& path, const uint8_t* dib, std::string& why) {
  const uint64_t dibBytes = packedDibBytes(dib);
  const uint64_t total = kFileHeaderBytes + dibBytes;
  if (total > 0xFFFFFFFFull) {
    why = "cannot write: the bitmap is over 4 GiB";
    return false;
  }
  uint8_t fileHeader[kFileHeaderBytes] = {'B', 'M'};
  put32(fileHeader + 2, static_cast<uint32_t>(total));
  put32(fileHeader + 10, kFileHeaderBytes + kInfoBytes + 4 * dibTableEntries(dib));

  std::string temp = path + ".XXXXXX";
  const int fd = mkstemp(temp.data());
  if (fd < 0) {
    why = std::string("cannot write: ") + std::strerror(errno);
    return false;
  }
  const mode_t mask = umask(0);  // a new file gets the usual permissions, not mkstemp's 0600
  umask(mask);
  fchmod(fd, 0666 & ~mask);
  FILE* f = fdopen(fd, "wb");
  bool ok = f && std::fwrite(fileHeader, 1, sizeof fileHeader, f) == sizeof fileHeader &&
            std::fwrite(dib, 1, dibBytes, f) == dibBytes;
  int err = errno;
  if (f) {
    if (std::fclose(f) != 0 && ok) {
      ok = false;
      err = errno;
    }
  } else {
    close(fd);
  }
  if (ok && std::rename(temp.c_str(), path.c_str()) != 0) {
    ok = false;
    err = errno;
  }
  if (!ok) {
    std::remove(temp.c_str());
    why = std::string("cannot write: ") + std::strerror(err ? err : EIO);
  }
  return ok;
}

}  // namespace vrntool

// `vrn demo`: makes the test pattern and writes a small gallery of BMP files
// that show the library at work (dithers, RLE, palettes, the operations of
// the table), then prints what it wrote and how long each step took.
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "commands.h"

namespace vrntool {

namespace {

struct GalleryEntry {
  std::string file, what;
  uint64_t bytes;
  double ms;
};

class Gallery {
 public:
  explicit Gallery(std::string dir) : dir_(std::move(dir)) {}
  std::string path(const std::string& file) const { return dir_ + "/" + file; }

  // Times `step`, which writes `file`; false if the step failed (reported).
  template <class Step>
  bool add(const std::string& file, const std::string& what, Step&& step) {
    const auto start = std::chrono::steady_clock::now();
    if (!step(path(file))) return false;
    const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    struct stat st {};
    stat(path(file).c_str(), &st);
    entries_.push_back({file, what, static_cast<uint64_t>(st.st_size), ms});
    return true;
  }

  void describeLast(const std::string& what) {
    if (!entries_.empty()) entries_.back().what = what;
  }

  void print() const {
    std::printf("vrn demo: wrote %zu files to %s/\n\n", entries_.size(), dir_.c_str());
    std::printf("%-30s %9s %8s  %s\n", "file", "bytes", "ms", "what it shows");
    for (const auto& e : entries_)
      std::printf("%-30s %9llu %8.2f  %s\n", e.file.c_str(), static_cast<unsigned long long>(e.bytes), e.ms,
                  e.what.c_str());
  }

 private:
  std::string dir_;
  std::vector<GalleryEntry> entries_;
};

// Sample of a 1-channel 8U image at (x, y) counted from the top row.
uint8_t grayAt(const VrnImage* im, int x, int y) {
  const int row = im->origin == VRN_ORIGIN_BOTTOM ? im->height - 1 - y : y;
  return static_cast<uint8_t>(im->imageData[static_cast<int64_t>(row) * im->widthStep + x]);
}

// Bit of a 1U image at (x, y) counted from the top row.
bool bitAt(const VrnImage* im, int x, int y) {
  const int row = im->origin == VRN_ORIGIN_BOTTOM ? im->height - 1 - y : y;
  return (static_cast<uint8_t>(im->imageData[static_cast<int64_t>(row) * im->widthStep + x / 8]) >> (7 - x % 8)) & 1;
}

// "RLE8, 51% of the plain rows", or why the rows are plain.
std::string compressionNote(const BmpFacts& f, const char* name) {
  if (f.compression != 1 && f.compression != 2) return std::string("rows stored plain (") + name + " would not shrink them)";
  const uint64_t plain = dibRowBytes(f.width, f.bitCount) * static_cast<uint64_t>(f.height);
  return std::string(name) + ", " + std::to_string(f.pixelBytes * 100 / plain) + "% of the plain rows";
}

// A blue-cyan-yellow-red colour map over 256 entries.
void writeColourMap(uint8_t* table) {
  auto ramp = [](double v) { return static_cast<uint8_t>(255.0 * (v < 0 ? 0 : v > 1 ? 1 : v) + 0.5); };
  for (int i = 0; i < 256; ++i) {
    const double t = i / 255.0;
    table[4 * i + 0] = ramp(1.5 - std::fabs(4 * t - 1));
    table[4 * i + 1] = ramp(1.5 - std::fabs(4 * t - 2));
    table[4 * i + 2] = ramp(1.5 - std::fabs(4 * t - 3));
    table[4 * i + 3] = 0;
  }
}

bool makeDirectory(const std::string& dir) {
  if (mkdir(dir.c_str(), 0777) == 0 || errno == EEXIST) {
    struct stat st {};
    if (stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return true;
    fail(dir, "not a directory");
    return false;
  }
  fail(dir, std::string("cannot create the directory: ") + std::strerror(errno));
  return false;
}

}  // namespace

int runDemo(int argc, char** argv) {
  Args args;
  if (!parseArgs("demo", argc, argv, {}, args)) return kExitUsage;
  if (args.help) {
    std::fputs("usage: vrn demo [DIR]\n\n"
               "Makes the library's test pattern and writes a gallery of BMP files into DIR\n"
               "(default: vrn-demo, created if missing): the pattern, the pattern dithered\n"
               "to 1 bit by each dither, RLE8-compressed and read back, 16 gray levels in\n"
               "RLE4, in false colour, reduced to a 16-colour median-cut palette, and run\n"
               "through each image operation of the tool.  Then prints a table of the files\n"
               "with the time each step took.\n",
               stdout);
    return 0;
  }
  if (args.positional.size() > 1) return usageError("demo", "expects at most one directory");
  const std::string dir = args.positional.empty() ? "vrn-demo" : args.positional[0];
  if (!makeDirectory(dir)) return kExitFailed;

  constexpr int kSide = 512;
  Gallery gallery(dir);
  Image pattern;
  std::vector<uint8_t> grayDib;
  WriteOptions gray8;
  gray8.bits = 8;
  gray8.palette = 1;
  bool ok = gallery.add("jaehne.bmp", "the test pattern, 8-bit gray (vrnCreateImageJaehne)", [&](const std::string& p) {
    beginLibraryCall();
    pattern.record = vrnCreateImageJaehne(VRN_DEPTH_8U, kSide, kSide);
    if (!endLibraryCall(p) || !encodeImage(p, pattern.record, gray8, nullptr, grayDib)) return false;
    std::string why;
    if (writeBmpFile(p, grayDib.data(), why)) return true;
    fail(p, why);
    return false;
  });
  if (!ok) return kExitFailed;

  static const std::pair<const char*, int> kDithers[] = {{"none", VRN_DITHER_NONE},
                                                          {"fs", VRN_DITHER_FS},
                                                          {"jjn", VRN_DITHER_JJH},
                                                          {"stucki", VRN_DITHER_STUCKEY},
                                                          {"bayer", VRN_DITHER_BAYER}};
  for (const auto& [name, dither] : kDithers) {
    WriteOptions o;
    o.bits = 1;
    o.palette = 1;
    o.dither = dither;
    ok = ok && gallery.add(std::string("jaehne_1bit_") + name + ".bmp",
                           std::string("1 bit, dither ") + name + " (vrnConvertToDIB, vrnReduceBits)",
                           [&](const std::string& p) { return saveImage(p, pattern.record, o, nullptr); });
  }

  // RLE pays on the two-level pattern; the chirp's fine outer rings do not
  // shrink, and the library then stores the rows plain.
  Image bilevel;
  WriteOptions rle8 = gray8;
  rle8.rle = true;
  std::string rleNote;
  ok = ok && gallery.add("jaehne_2level_rle8.bmp", "", [&](const std::string& p) {
    beginLibraryCall();
    bilevel.record = vrnCreateImageJaehne(VRN_DEPTH_1U, kSide, kSide);
    if (!endLibraryCall(p) || !saveImage(p, bilevel.record, rle8, nullptr)) return false;
    auto back = loadImage(p);
    if (!back) return false;
    int differ = 0;
    for (int y = 0; y < kSide; ++y)
      for (int x = 0; x < kSide; ++x) differ += grayAt(back->record, x, y) != (bitAt(bilevel.record, x, y) ? 255 : 0);
    rleNote = compressionNote(back->dib.facts, "RLE8") + ", read back: " +
              (differ ? std::to_string(differ) + " pixels differ" : std::string("identical"));
    return true;
  });
  gallery.describeLast("two levels in 8 bits, " + rleNote);
  WriteOptions rle4;
  rle4.bits = 4;
  rle4.rle = true;
  rle4.palette = 1;
  ok = ok && gallery.add("jaehne_2level_rle4.bmp", "", [&](const std::string& p) {
    if (!saveImage(p, bilevel.record, rle4, nullptr)) return false;
    auto back = loadImage(p);
    if (!back) return false;
    rleNote = compressionNote(back->dib.facts, "RLE4");
    return true;
  });
  gallery.describeLast("two levels in 4 bits, " + rleNote);
  WriteOptions bayer4;
  bayer4.bits = 4;
  bayer4.palette = 1;
  bayer4.dither = VRN_DITHER_BAYER;
  ok = ok && gallery.add("jaehne_16gray_bayer.bmp", "16 grays, Bayer dither",
                         [&](const std::string& p) { return saveImage(p, pattern.record, bayer4, nullptr); });

  // False colour: the gray DIB with a colour map as its table reads as RGB.
  std::unique_ptr<Image> colour;
  ok = ok && gallery.add("jaehne_false_colour.bmp", "8 bits, colour map; reads as 3 channels (vrnTranslateDIB)",
                         [&](const std::string& p) {
                           writeColourMap(grayDib.data() + 40);
                           std::string why;
                           if (!writeBmpFile(p, grayDib.data(), why)) {
                             fail(p, why);
                             return false;
                           }
                           colour = loadImage(p);
                           return colour != nullptr;
                         });
  WriteOptions o24;
  o24.bits = 24;
  ok = ok && gallery.add("jaehne_colour_24bit.bmp", "the colour image in 24 bits",
                         [&](const std::string& p) { return saveImage(p, colour->record, o24, nullptr); });
  WriteOptions median;
  median.bits = 4;
  median.palette = 2;
  ok = ok && gallery.add("jaehne_median16.bmp", "16-colour median-cut palette",
                         [&](const std::string& p) { return saveImage(p, colour->record, median, nullptr); });
  median.dither = VRN_DITHER_FS;
  ok = ok && gallery.add("jaehne_median16_fs.bmp", "16-colour median cut with Floyd-Steinberg",
                         [&](const std::string& p) { return saveImage(p, colour->record, median, nullptr); });

  // Each operation of the table: two-image ones take the pattern and a
  // smaller pattern, so only their common top-left part is computed.
  Image second;
  beginLibraryCall();
  second.record = vrnCreateImageJaehne(VRN_DEPTH_8U, kSide * 3 / 4, kSide * 3 / 4);
  if (!endLibraryCall("demo")) return kExitFailed;
  for (const Operation& op : operations()) {
    if (!ok) break;
    int params[2] = {0, 0};
    if (op.params == 2 && !parseSize(op.demoParams, params[0], params[1])) continue;
    if (op.params == 1) params[0] = std::atoi(op.demoParams);
    VrnImage* sources[2] = {pattern.record, second.record};
    const std::string what = op.inputs == 2 ? std::string(op.summary) + ", B a smaller pattern (" + op.libraryCall + ")"
                                            : std::string(op.summary) + (*op.demoParams ? std::string(" ") + op.demoParams : "") + " (" +
                                                  op.libraryCall + ")";
    ok = gallery.add(std::string("jaehne_") + op.name + ".bmp", what, [&](const std::string& p) {
      Image result;
      beginLibraryCall();
      result.record = vrnCloneImage(pattern.record);
      if (!endLibraryCall(p)) return false;
      beginLibraryCall();
      op.apply(sources, result.record, params);
      return endLibraryCall(p) && saveImage(p, result.record, gray8, nullptr);
    });
  }
  if (!ok) return kExitFailed;
  gallery.print();
  return 0;
}

}  // namespace vrntool

// Library calls of the tool: reports become one-line messages, and BMP files
// become images through vrnTranslateDIB and images BMP files through
// vrnConvertToDIB.
#include "library.h"

#include <cstdio>
#include <cstring>

namespace vrntool {

namespace {

struct LastReport {
  bool any = false;
  int status = 0;
  std::string func, context;
};
thread_local LastReport g_report;

// Keeps the first real report of a call; trace lines add nothing.
int toolReport(int status, const char* func, const char* context, const char*, int) {
  if (status == VRN_StsBackTrace || status == VRN_StsAutoTrace || g_report.any) return status;
  g_report.any = true;
  g_report.status = status;
  g_report.func = func ? func : "<unknown>";
  g_report.context = context ? context : "";
  return status;
}

}  // namespace

int fail(const std::string& subject, const std::string& reason) {
  std::fprintf(stderr, "vrn: %s: %s\n", subject.c_str(), reason.c_str());
  return 1;
}

void installReportHandler() {
  vrnRedirectError(toolReport);
  vrnSetErrMode(VRN_ErrorModeParent);
}

void beginLibraryCall() {
  g_report = LastReport{};
  vrnSetErrStatus(VRN_StsOk);
}

bool endLibraryCall(const std::string& subject) {
  const int status = g_report.any ? g_report.status : vrnGetErrStatus();
  if (status == VRN_StsOk) return true;
  std::string reason = "the library refused it: ";
  if (g_report.any) {
    reason += g_report.func;
    if (!g_report.context.empty()) reason += ": " + g_report.context;
  }
  reason += std::string(" (") + vrnErrorStr(status) + ", status " + std::to_string(status) + ")";
  fail(subject, reason);
  return false;
}


Image::~Image() {
  if (record) vrnDeallocate(record, VRN_FREE_HEADER | VRN_FREE_DATA | VRN_FREE_ROI);
}

std::unique_ptr<Image> loadImage(const std::string& path) {
  auto image = std::make_unique<Image>();
  std::string why;
  if (!readBmpFile(path, image->dib, why)) {
    fail(path, why);
    return nullptr;
  }
  int cloned = 1;
  beginLibraryCall();
  image->record = vrnTranslateDIB(reinterpret_cast<BITMAPINFOHEADER*>(image->dib.bytes.data()), &cloned);
  if (!endLibraryCall(path) || !image->record) {
    if (!image->record && vrnGetErrStatus() == VRN_StsOk) fail(path, "the library could not read it");
    return nullptr;
  }
  image->copied = cloned != 0;
  return image;
}

namespace {

bool isGray(const VrnImage* image) { return image->nChannels == 1; }

int defaultBits(const VrnImage* image) {
  if (image->depth == VRN_DEPTH_1U) return 1;
  if (image->nChannels == 1) return 8;
  return image->alphaChannel ? 32 : 24;
}

}  // namespace

bool encodeImage(const std::string& path, VrnImage* image, const WriteOptions& options,
                 const PackedDib* paletteSource, std::vector<uint8_t>& dib) {
  const int bits = options.bits ? options.bits : defaultBits(image);
  if (options.rle && bits != 8 && bits != 4)
    return fail(path, "--rle needs --bits 8 or --bits 4, not " + std::to_string(bits)), false;

  if (image->depth == VRN_DEPTH_1U && options.dither != VRN_DITHER_NONE)
    return fail(path, "a 1-bit image has two levels and nothing to dither; write it without --dither"), false;
  if (bits == 1 && options.dither != VRN_DITHER_NONE && image->nChannels != 1)
    return fail(path, "a colour image cannot be dithered to 1 bit (the dither works per channel); "
                      "write it without --dither, or with --bits 4 or 8"),
           false;

  // Colour table: keep the source's if it fits, else fixed or median cut.
  const uint32_t room = bits <= 8 ? 1u << bits : 0;
  const uint8_t* keep = nullptr;
  uint32_t keepEntries = 0;
  if (room && paletteSource && !paletteSource->bytes.empty() && paletteSource->facts.bitCount <= 8 &&
      paletteSource->facts.paletteEntries <= room) {
    keep = paletteSource->bytes.data() + 40;
    keepEntries = paletteSource->facts.paletteEntries;
  }
  int palette = options.palette;
  if (!room) {
    palette = 0;
  } else if (palette < 0) {
    palette = keep ? 0 : (bits == 1 || isGray(image) ? 1 : 2);
  } else if (palette == 0 && !keep) {
    return fail(path, "--palette keep: the input has no colour table of at most " + std::to_string(room) +
                          " entries to keep"),
           false;
  }

  const int32_t width = image->width, height = image->height;
  dib.assign(40 + 4ull * room + dibRowBytes(width, bits) * static_cast<uint64_t>(height), 0);
  uint8_t* h = dib.data();
  put32(h, 40);
  put32(h + 4, static_cast<uint32_t>(width));
  put32(h + 8, static_cast<uint32_t>(height));  // bottom-up rows
  put16(h + 12, 1);
  put16(h + 14, static_cast<uint16_t>(bits));
  put32(h + 16, options.rle ? (bits == 8 ? 1 : 2) : 0);
  put32(h + 32, room ? (palette == 0 ? keepEntries : room) : 0);
  if (room && palette == 0) std::memcpy(h + 40, keep, 4ull * keepEntries);

  beginLibraryCall();
  vrnConvertToDIB(image, reinterpret_cast<BITMAPINFOHEADER*>(h), options.dither, palette);
  if (!endLibraryCall(path)) return false;
  dib.resize(packedDibBytes(h));
  return true;
}

bool saveImage(const std::string& path, VrnImage* image, const WriteOptions& options,
               const PackedDib* paletteSource) {
  std::vector<uint8_t> dib;
  if (!encodeImage(path, image, options, paletteSource, dib)) return false;
  std::string why;
  if (!writeBmpFile(path, dib.data(), why)) return fail(path, why), false;
  return true;
}

namespace {
struct DepthNameEntry {
  int depth;
  const char* name;
};
constexpr DepthNameEntry kDepthNames[] = {
    {VRN_DEPTH_1U, "1u"},   {VRN_DEPTH_8U, "8u"},   {VRN_DEPTH_8S, "8s"},   {VRN_DEPTH_16U, "16u"},
    {VRN_DEPTH_16S, "16s"}, {VRN_DEPTH_32S, "32s"}, {VRN_DEPTH_32F, "32f"},
};
}  // namespace

const char* depthName(int depth) {
  for (const auto& e : kDepthNames)
    if (e.depth == depth) return e.name;
  return "?";
}

bool parseDepth(const std::string& text, int& depth) {
  std::string lower;
  for (char c : text) lower += static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
  for (const auto& e : kDepthNames)
    if (lower == e.name) return depth = e.depth, true;
  return false;
}

}  // namespace vrntool

// The single-file subcommands: info, convert, jaehne and the operations of the
// table.  Each parses its arguments, makes one library call, and reports.
#include "commands.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vrntool {

const std::string* Args::get(const std::string& name) const {
  for (const auto& [key, value] : options)
    if (key == name) return &value;
  return nullptr;
}

int usageError(const std::string& command, const std::string& reason) {
  std::fprintf(stderr, "vrn %s: %s (see: vrn %s --help)\n", command.c_str(), reason.c_str(), command.c_str());
  return kExitUsage;
}

bool parseArgs(const std::string& command, int argc, char** argv, const std::vector<OptionSpec>& specs,
               Args& args) {
  for (int i = 0; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--help" || a == "-h") {
      args.help = true;
      continue;
    }
    if (a.size() < 2 || a[0] != '-' || (a[1] >= '0' && a[1] <= '9')) {
      args.positional.push_back(a);
      continue;
    }
    std::string name = a, value;
    const size_t eq = a.find('=');
    if (eq != std::string::npos) {
      name = a.substr(0, eq);
      value = a.substr(eq + 1);
    }
    const OptionSpec* desc = nullptr;
    for (const auto& s : specs)
      if (name == s.name) desc = &s;
    if (!desc) return usageError(command, "unknown option " + name), false;
    if (desc->takesValue && eq == std::string::npos) {
      if (i + 1 >= argc) return usageError(command, name + " needs a value"), false;
      value = argv[++i];
    } else if (!desc->takesValue && eq != std::string::npos) {
      return usageError(command, name + " takes no value"), false;
    }
    args.options.emplace_back(name, value);
  }
  return true;
}

bool parseSize(const std::string& text, int& width, int& height) {
  char* end = nullptr;
  const long w = std::strtol(text.c_str(), &end, 10);
  if (end == text.c_str() || (*end != 'x' && *end != 'X')) return false;
  const char* rest = end + 1;
  const long h = std::strtol(rest, &end, 10);
  if (end == rest || *end != '\0' || w < 1 || h < 1 || w > 32768 || h > 32768) return false;
  width = static_cast<int>(w);
  height = static_cast<int>(h);
  return true;
}

const std::vector<OptionSpec> kWriteOptionSpecs = {
    {"--bits", true}, {"--rle", false}, {"--palette", true}, {"--dither", true}};

const char* const kWriteOptionsHelp =
    "  --bits N          bits per pixel of OUT: 1, 4, 8, 16, 24 or 32\n"
    "                    (default: 1 for a 1-bit image, 8 for gray, 24 for colour,\n"
    "                    32 for colour with alpha)\n"
    "  --rle             compress the rows (RLE8 with --bits 8, the default, or RLE4\n"
    "                    with --bits 4); an image that would grow is stored plain\n"
    "  --palette P       colour table of OUT (1, 4 and 8 bits):\n"
    "                      keep    the input's own table\n"
    "                      fixed   black/white, 16 or 256 standard colours or grays\n"
    "                      median  built from the image by median cut\n"
    "                    (default: keep when the input has a table that fits,\n"
    "                    else fixed for gray and 1-bit, else median)\n"
    "  --dither D        how levels are reduced: none, fs (Floyd-Steinberg),\n"
    "                    jjn (Jarvis-Judice-Ninke), stucki, bayer (default: none)\n";

bool parseWriteOptions(const std::string& command, const Args& args, WriteOptions& out) {
  if (const std::string* v = args.get("--bits")) {
    const int b = std::atoi(v->c_str());
    if (std::to_string(b) != *v || (b != 1 && b != 4 && b != 8 && b != 16 && b != 24 && b != 32))
      return usageError(command, "--bits must be 1, 4, 8, 16, 24 or 32, not '" + *v + "'"), false;
    out.bits = b;
  }
  out.rle = args.get("--rle") != nullptr;
  if (out.rle && out.bits == 0) out.bits = 8;
  if (out.rle && out.bits != 4 && out.bits != 8)
    return usageError(command, "--rle needs --bits 8 or --bits 4"), false;
  if (const std::string* v = args.get("--palette")) {
    if (*v == "keep") out.palette = 0;
    else if (*v == "fixed") out.palette = 1;
    else if (*v == "median") out.palette = 2;
    else return usageError(command, "--palette must be keep, fixed or median, not '" + *v + "'"), false;
  }
  if (const std::string* v = args.get("--dither")) {
    static const std::pair<const char*, int> kDithers[] = {
        {"none", VRN_DITHER_NONE}, {"fs", VRN_DITHER_FS},         {"jjn", VRN_DITHER_JJH},
        {"stucki", VRN_DITHER_STUCKEY}, {"bayer", VRN_DITHER_BAYER}};
    out.dither = 0;
    for (const auto& [name, value] : kDithers)
      if (*v == name) out.dither = value;
    if (!out.dither)
      return usageError(command, "--dither must be none, fs, jjn, stucki or bayer, not '" + *v + "'"), false;
  }
  return true;
}

namespace {

// True when `command` was asked for help (printed) or has the wrong number
// of positional arguments (reported); `code` is then the exit code.
bool helpOrCount(const std::string& command, const Args& args, size_t count, const std::string& help,
                 int& code) {
  if (args.help) {
    std::fputs(help.c_str(), stdout);
    code = 0;
    return true;
  }
  if (args.positional.size() != count) {
    code = usageError(command, "expects " + std::to_string(count) + " argument" + (count == 1 ? "" : "s") +
                                   ", got " + std::to_string(args.positional.size()));
    return true;
  }
  return false;
}

const char* compressionText(uint32_t c) {
  switch (c) {
    case 0: return "none";
    case 1: return "RLE8";
    case 2: return "RLE4";
    default: return "bit fields";
  }
}

std::string fourChars(const char* p) {
  std::string s;
  for (int i = 0; i < 4 && p[i]; ++i) s += p[i];
  return s;
}

}  // namespace

int runInfo(int argc, char** argv) {
  Args args;
  if (!parseArgs("info", argc, argv, {}, args)) return kExitUsage;
  int code;
  if (helpOrCount("info", args, 1, "usage: vrn info FILE.bmp\n\n"
                  "Prints what the file holds (size, bits per pixel, compression, colour\n"
                  "table) and what the library reads it as (depth, channels, channel order,\n"
                  "data order, origin, and whether the pixels are shared with the file's\n"
                  "bytes or copied).\n", code))
    return code;
  const std::string& path = args.positional[0];
  auto image = loadImage(path);
  if (!image) return kExitFailed;
  const BmpFacts& f = image->dib.facts;
  const VrnImage* r = image->record;
  std::printf("file:         %s, %llu bytes\n", path.c_str(), static_cast<unsigned long long>(f.fileBytes));
  std::printf("size:         %d x %d, rows stored %s\n", f.width, f.height < 0 ? -f.height : f.height,
              f.height < 0 ? "top-down" : "bottom-up");
  std::printf("bit count:    %d\n", f.bitCount);
  std::printf("compression:  %s\n", compressionText(f.compression));
  if (f.compression == 3)
    std::printf("masks:        red %08x, green %08x, blue %08x\n", f.masks[0], f.masks[1], f.masks[2]);
  std::printf("palette:      %u entries\n", f.paletteEntries);
  if (f.infoHeaderBytes != 40) std::printf("info header:  %u bytes (read as 40)\n", f.infoHeaderBytes);
  std::printf("library view: depth %s, %d channel%s%s, model \"%s\", sequence \"%s\"\n", depthName(r->depth),
              r->nChannels, r->nChannels == 1 ? "" : "s", r->alphaChannel ? " (last is alpha)" : "",
              fourChars(r->colorModel).c_str(), fourChars(r->channelSeq).c_str());
  std::printf("              %s order, origin %s, align %d, pixels %s\n",
              r->dataOrder == VRN_DATA_ORDER_PLANE ? "plane" : "pixel",
              r->origin == VRN_ORIGIN_BOTTOM ? "bottom-left" : "top-left", r->align,
              image->copied ? "copied" : "shared with the file's bytes");
  return 0;
}

int runConvert(int argc, char** argv) {
  Args args;
  if (!parseArgs("convert", argc, argv, kWriteOptionSpecs, args)) return kExitUsage;
  int code;
  if (helpOrCount("convert", args, 2,
                  std::string("usage: vrn convert IN.bmp OUT.bmp [options]\n\n"
                              "Reads IN through the library and writes it again as OUT, with the bit\n"
                              "count, compression, colour table and dither asked for.\n\n"
                              "options:\n") +
                      kWriteOptionsHelp + "\nexample: vrn convert photo.bmp small.bmp --bits 4 --palette median --dither fs\n",
                  code))
    return code;
  WriteOptions options;
  if (!parseWriteOptions("convert", args, options)) return kExitUsage;
  auto image = loadImage(args.positional[0]);
  if (!image) return kExitFailed;
  return saveImage(args.positional[1], image->record, options, &image->dib) ? 0 : kExitFailed;
}

int runJaehne(int argc, char** argv) {
  std::vector<OptionSpec> specs = kWriteOptionSpecs;
  specs.push_back({"--size", true});
  specs.push_back({"--depth", true});
  Args args;
  if (!parseArgs("jaehne", argc, argv, specs, args)) return kExitUsage;
  int code;
  if (helpOrCount("jaehne", args, 1,
                  std::string("usage: vrn jaehne OUT.bmp [--size WxH] [--depth D] [options]\n\n"
                              "Writes the library's test pattern, concentric rings whose frequency grows\n"
                              "away from the centre (vrnCreateImageJaehne).\n\n"
                              "  --size WxH        image size (default 256x256)\n"
                              "  --depth D         sample depth the pattern is made in: 1u, 8u or 16u\n"
                              "                    (8s, 16s, 32s and 32f have no BMP form; default 8u)\n") +
                      kWriteOptionsHelp,
                  code))
    return code;
  int width = 256, height = 256, depth = VRN_DEPTH_8U;
  if (const std::string* v = args.get("--size"); v && !parseSize(*v, width, height))
    return usageError("jaehne", "--size must be WxH with sides from 1 to 32768, not '" + *v + "'");
  if (const std::string* v = args.get("--depth")) {
    if (!parseDepth(*v, depth)) return usageError("jaehne", "--depth must be 1u, 8u, 8s, 16u, 16s, 32s or 32f");
    if (depth != VRN_DEPTH_1U && depth != VRN_DEPTH_8U && depth != VRN_DEPTH_16U)
      return usageError("jaehne", std::string("a BMP file cannot hold depth ") + depthName(depth) +
                                      " (1u, 8u and 16u can)");
  }
  WriteOptions options;
  if (!parseWriteOptions("jaehne", args, options)) return kExitUsage;
  const std::string& out = args.positional[0];
  beginLibraryCall();
  Image image;
  image.record = vrnCreateImageJaehne(depth, width, height);
  if (!endLibraryCall(out)) return kExitFailed;
  return saveImage(out, image.record, options, nullptr) ? 0 : kExitFailed;
}

int runOperation(const Operation& op, int argc, char** argv) {
  Args args;
  if (!parseArgs(op.name, argc, argv, kWriteOptionSpecs, args)) return kExitUsage;
  std::string usage = std::string("usage: vrn ") + op.name + (op.inputs == 2 ? " A.bmp B.bmp" : " IN.bmp") +
                      " OUT.bmp" + (op.params == 2 ? " WxH" : op.params == 1 ? " N" : "") + " [options]\n\n" +
                      op.summary + " (" + op.libraryCall + ").\n" +
                      "OUT has the size and layout of the first input; where the inputs differ in\n"
                      "size, only their common top-left part is computed.\n\noptions:\n" +
                      kWriteOptionsHelp;
  int code;
  if (helpOrCount(op.name, args, static_cast<size_t>(op.inputs + 1 + (op.params ? 1 : 0)), usage, code))
    return code;
  int params[2] = {0, 0};
  if (op.params == 2 && !parseSize(args.positional[op.inputs + 1], params[0], params[1]))
    return usageError(op.name, "expects a size WxH, not '" + args.positional[op.inputs + 1] + "'");
  if (op.params == 1) {
    const std::string& v = args.positional[op.inputs + 1];
    params[0] = std::atoi(v.c_str());
    if (std::to_string(params[0]) != v) return usageError(op.name, "expects a whole number, not '" + v + "'");
  }
  WriteOptions options;
  if (!parseWriteOptions(op.name, args, options)) return kExitUsage;
  std::unique_ptr<Image> inputs[2];
  VrnImage* sources[2] = {nullptr, nullptr};
  for (int i = 0; i < op.inputs; ++i) {
    inputs[i] = loadImage(args.positional[i]);
    if (!inputs[i]) return kExitFailed;
    sources[i] = inputs[i]->record;
  }
  const std::string& out = args.positional[op.inputs];
  Image result;
  beginLibraryCall();
  result.record = vrnCloneImage(sources[0]);
  if (!endLibraryCall(out)) return kExitFailed;
  beginLibraryCall();
  op.apply(sources, result.record, params);
  if (!endLibraryCall(out)) return kExitFailed;
  return saveImage(out, result.record, options, &inputs[0]->dib) ? 0 : kExitFailed;
}

}  // namespace vrntool

// The `vrn` tool as a person uses it: the built binary is run on good files,
// broken files and bad arguments; each failure must be one line on standard
// error naming the file and the reason, a non-zero exit code, and no output
// file left behind.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

fs::path toolPath() { return fs::canonical("/proc/self/exe").parent_path().parent_path() / "tools" / "vrn"; }

struct ToolRun {
  int code;
  std::string out, err;
};

std::string slurp(const fs::path& p) {
  std::ifstream f(p, std::ios::binary);
  std::stringstream s;
  s << f.rdbuf();
  return s.str();
}

class VrnTool : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(toolPath())) GTEST_SKIP() << "the vrn tool is not built";
    dir_ = fs::temp_directory_path() /
           ("vrn_tool_test_" + std::to_string(::getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override {
    if (!dir_.empty()) fs::remove_all(dir_);
  }

  std::string path(const std::string& name) const { return (dir_ / name).string(); }

  ToolRun run(const std::string& args) const {
    const std::string cmd = toolPath().string() + " " + args + " > " + path(".out") + " 2> " + path(".err");
    const int status = std::system(cmd.c_str());
    ToolRun r{WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(path(".out")), slurp(path(".err"))};
    fs::remove(path(".out"));
    fs::remove(path(".err"));
    return r;
  }

  void write(const std::string& name, const std::vector<uint8_t>& bytes) const {
    std::ofstream f(path(name), std::ios::binary);
    f.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }

  // Files in the directory, the run's own capture files aside.
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir_)) names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  fs::path dir_;
};

void put32(std::vector<uint8_t>& b, size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) b[at + i] = static_cast<uint8_t>(v >> (8 * i));
}
void put16(std::vector<uint8_t>& b, size_t at, uint16_t v) {
  b[at] = static_cast<uint8_t>(v);
  b[at + 1] = static_cast<uint8_t>(v >> 8);
}

// A correct BMP: 8 bits with a gray ramp table, or 24 bits, or RLE8 with the
// given stream; uncompressed pixels are a diagonal ramp.
std::vector<uint8_t> makeBmp(int width, int height, int bits, const std::vector<uint8_t>& rle = {}) {
  const uint32_t table = bits == 8 ? 256 : 0;
  const uint32_t row = (width * bits + 31) / 32 * 4;
  const uint32_t pixels = rle.empty() ? row * height : static_cast<uint32_t>(rle.size());
  const uint32_t offset = 14 + 40 + 4 * table;
  std::vector<uint8_t> b(offset + pixels, 0);
  b[0] = 'B';
  b[1] = 'M';
  put32(b, 2, static_cast<uint32_t>(b.size()));
  put32(b, 10, offset);
  put32(b, 14, 40);
  put32(b, 18, width);
  put32(b, 22, height);
  put16(b, 26, 1);
  put16(b, 28, static_cast<uint16_t>(bits));
  put32(b, 30, rle.empty() ? 0 : 1);
  put32(b, 34, rle.empty() ? 0 : pixels);
  for (uint32_t i = 0; i < table; ++i) b[54 + 4 * i] = b[55 + 4 * i] = b[56 + 4 * i] = static_cast<uint8_t>(i);
  if (!rle.empty()) {
    std::copy(rle.begin(), rle.end(), b.begin() + offset);
  } else {
    for (int y = 0; y < height; ++y)
      for (uint32_t x = 0; x < row; ++x) b[offset + y * row + x] = static_cast<uint8_t>(7 * x + 13 * y);
  }
  return b;
}

int lineCount(const std::string& s) { return static_cast<int>(std::count(s.begin(), s.end(), '\n')); }

// Broken inputs: each must fail in `info` and in `convert` with the reason
// named, and `convert` must leave no output and no temporary file.
struct BrokenFile {
  const char* name;
  std::vector<uint8_t> (*make)();
  const char* reason;
};

const BrokenFile kBroken[] = {
    {"empty", [] { return std::vector<uint8_t>{}; }, "not a BMP file (the file is empty)"},
    {"text", [] { const std::string t = "width=3 height=4\n"; return std::vector<uint8_t>(t.begin(), t.end()); },
     "not a BMP file (it does not start with \"BM\")"},
    {"cut_in_header", [] { auto b = makeBmp(8, 8, 8); b.resize(30); put32(b, 2, 30); return b; },
     "truncated: the file ends inside the 40-byte info header"},
    {"cut_in_table", [] { auto b = makeBmp(8, 8, 8); b.resize(300); put32(b, 2, 300); return b; },
     "truncated: the colour table of 256 entries runs past the end of the file"},
    {"cut_in_pixels", [] { auto b = makeBmp(16, 16, 24); b.resize(b.size() - 5); put32(b, 2, 0); return b; },
     "truncated: the pixels need 768 bytes, the file has 763"},
    {"size_lies", [] { auto b = makeBmp(8, 8, 24); put32(b, 2, static_cast<uint32_t>(b.size() + 100)); return b; },
     "truncated: the header announces"},
    {"width_lies", [] { auto b = makeBmp(8, 8, 24); put32(b, 18, 9); return b; },
     "truncated: the pixels need 224 bytes, the file has 192"},
    {"offset_lies", [] { auto b = makeBmp(8, 8, 24); put32(b, 10, 5000); return b; },
     "corrupt header: pixel data offset 5000 lies outside the file"},
    {"zero_width", [] { auto b = makeBmp(8, 8, 24); put32(b, 18, 0); return b; }, "corrupt header: image size 0x8"},
    {"huge", [] { auto b = makeBmp(8, 8, 24); put32(b, 18, 100000); return b; }, "is too large"},
    {"bits_7", [] { auto b = makeBmp(8, 8, 24); put16(b, 28, 7); return b; }, "unsupported format: 7 bits per pixel"},
    {"jpeg", [] { auto b = makeBmp(8, 8, 24); put32(b, 30, 4); return b; }, "unsupported format: JPEG compression"},
    {"os2", [] { auto b = makeBmp(8, 8, 24); put32(b, 14, 12); return b; }, "unsupported format: OS/2 bitmap header"},
    {"planes", [] { auto b = makeBmp(8, 8, 24); put16(b, 26, 3); return b; }, "corrupt header: 3 colour planes"},
    {"too_many_colours", [] { auto b = makeBmp(8, 8, 8); put32(b, 46, 300); return b; },
     "corrupt header: 300 colour table entries for 8 bits per pixel"},
    {"one_colour", [] { auto b = makeBmp(8, 8, 8); put32(b, 46, 1); return b; },
     "unsupported format: a colour table of one entry"},
    {"zero_mask",
     [] {
       auto b = makeBmp(8, 8, 32);
       b.insert(b.begin() + 54, 12, 0);
       put32(b, 10, 66);
       put32(b, 30, 3);
       put32(b, 54, 0xFF0000);
       put32(b, 62, 0xFF);
       return b;
     },
     "corrupt header: a colour mask is zero"},
    {"offset_in_table", [] { auto b = makeBmp(8, 8, 8); put32(b, 10, 100); return b; },
     "corrupt header: pixel data offset 100 lies inside the colour table"},
    {"rle_top_down", [] { auto b = makeBmp(4, 1, 8, {4, 9, 0, 0, 0, 1}); put32(b, 22, static_cast<uint32_t>(-1)); return b; },
     "RLE-compressed rows must be stored bottom-up"},
    {"rle_no_end", [] { return makeBmp(4, 2, 8, {4, 9, 0, 0, 4, 9, 0, 0}); },
     "truncated: the RLE data ends before its end-of-bitmap marker"},
    {"rle_run_too_long", [] { return makeBmp(4, 2, 8, {9, 9, 0, 0, 0, 1}); }, "corrupt RLE data: row 0 runs past the width of 4"},
    {"rle_short_row", [] { return makeBmp(4, 2, 8, {3, 9, 0, 0, 0, 1}); }, "corrupt RLE data: row 0 holds 3 pixels, not 4"},
    {"rle_absolute_cut", [] { return makeBmp(8, 1, 8, {0, 8, 1, 2, 3}); }, "truncated: the RLE data ends"},
};

TEST_F(VrnTool, BrokenFilesFailWithOneLineAndWriteNothing) {
  for (const BrokenFile& c : kBroken) {
    SCOPED_TRACE(c.name);
    const std::string in = std::string(c.name) + ".bmp";
    write(in, c.make());
    for (const std::string& cmd : {"info " + path(in), "convert " + path(in) + " " + path("out.bmp"),
                                   "add " + path(in) + " " + path(in) + " " + path("out.bmp")}) {
      const ToolRun r = run(cmd);
      EXPECT_EQ(r.code, 1) << cmd;
      EXPECT_EQ(lineCount(r.err), 1) << r.err;
      EXPECT_EQ(r.err.rfind("vrn: " + path(in) + ": ", 0), 0u) << r.err;
      EXPECT_NE(r.err.find(c.reason), std::string::npos) << r.err;
      EXPECT_EQ(r.out, "");
    }
    EXPECT_EQ(files(), std::vector<std::string>{in});
    fs::remove(path(in));
  }
}

TEST_F(VrnTool, MissingAndUnreadableFiles) {
  ToolRun r = run("info " + path("nowhere.bmp"));
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err, "vrn: " + path("nowhere.bmp") + ": cannot open: No such file or directory\n");
  r = run("convert " + path("nowhere.bmp") + " " + path("out.bmp"));
  EXPECT_EQ(r.code, 1);
  EXPECT_FALSE(fs::exists(path("out.bmp")));
  r = run("info " + dir_.string());
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(lineCount(r.err), 1);
  EXPECT_NE(r.err.find("cannot read: Is a directory"), std::string::npos) << r.err;
}

struct BadArgs {
  const char* args;
  const char* message;
};

TEST_F(VrnTool, BadArgumentsExitTwoWithOneLine) {
  write("in.bmp", makeBmp(8, 8, 24));
  const std::string in = path("in.bmp"), out = path("out.bmp");
  const BadArgs cases[] = {
      {"frobnicate", "vrn: unknown command 'frobnicate'"},
      {"convert IN", "vrn convert: expects 2 arguments, got 1"},
      {"convert IN OUT --bits 7", "--bits must be 1, 4, 8, 16, 24 or 32, not '7'"},
      {"convert IN OUT --bits", "--bits needs a value"},
      {"convert IN OUT --rle --bits 24", "--rle needs --bits 8 or --bits 4"},
      {"convert IN OUT --palette best", "--palette must be keep, fixed or median"},
      {"convert IN OUT --dither=floyd", "--dither must be none, fs, jjn, stucki or bayer"},
      {"convert IN OUT --colour", "vrn convert: unknown option --colour"},
      {"jaehne OUT --size 0x5", "--size must be WxH"},
      {"jaehne OUT --size 64", "--size must be WxH"},
      {"jaehne OUT --depth 12u", "--depth must be 1u, 8u"},
      {"jaehne OUT --depth 32f", "a BMP file cannot hold depth 32f"},
      {"add IN OUT", "vrn add: expects 3 arguments, got 2"},
      {"demo a b", "vrn demo: expects at most one directory"},
      {"blur IN OUT 3", "vrn blur: expects a size WxH, not '3'"},
      {"blur IN OUT", "vrn blur: expects 3 arguments, got 2"},
  };
  for (const BadArgs& c : cases) {
    std::string args = c.args;
    for (auto [from, to] : {std::pair<std::string, std::string>{"IN", in}, {"OUT", out}})
      if (const size_t at = args.find(from); at != std::string::npos) args.replace(at, from.size(), to);
    const ToolRun r = run(args);
    EXPECT_EQ(r.code, 2) << args;
    EXPECT_EQ(lineCount(r.err), 1) << args << ": " << r.err;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << args << ": " << r.err;
    EXPECT_FALSE(fs::exists(out)) << args;
  }
}

TEST_F(VrnTool, EveryCommandExplainsItself) {
  const ToolRun top = run("--help");
  EXPECT_EQ(top.code, 0);
  for (const char* cmd : {"info", "convert", "jaehne", "add", "or", "and", "xor", "not", "blur", "demo"}) {
    EXPECT_NE(top.out.find(std::string("  ") + cmd + " "), std::string::npos) << cmd;
    const ToolRun r = run(std::string(cmd) + " --help");
    EXPECT_EQ(r.code, 0) << cmd;
    EXPECT_EQ(r.out.rfind(std::string("usage: vrn ") + cmd, 0), 0u) << r.out;
    EXPECT_EQ(r.err, "");
  }
  EXPECT_EQ(run("").code, 2);
}

struct InfoCase {
  const char* name;
  std::vector<uint8_t> (*make)();
  std::vector<const char*> lines;
};

TEST_F(VrnTool, InfoTellsFileAndLibraryView) {
  const InfoCase cases[] = {
      {"gray8", [] { return makeBmp(10, 3, 8); },
       {"size:         10 x 3, rows stored bottom-up", "bit count:    8", "palette:      256 entries",
        "depth 8u, 1 channel,", "pixel order, origin bottom-left, align 4, pixels shared"}},
      {"rgb24_top_down", [] { auto b = makeBmp(5, 4, 24); put32(b, 22, static_cast<uint32_t>(-4)); return b; },
       {"5 x 4, rows stored top-down", "depth 8u, 3 channels,", "origin top-left"}},
      {"rle8", [] { return makeBmp(4, 2, 8, {4, 9, 0, 0, 2, 1, 2, 200, 0, 1}); },
       {"compression:  RLE8", "depth 8u, 1 channel,", "plane order, origin bottom-left, align 32, pixels copied"}},
  };
  for (const InfoCase& c : cases) {
    SCOPED_TRACE(c.name);
    write("in.bmp", c.make());
    const ToolRun r = run("info " + path("in.bmp"));
    EXPECT_EQ(r.code, 0) << r.err;
    for (const char* line : c.lines) EXPECT_NE(r.out.find(line), std::string::npos) << line << "\n" << r.out;
  }
}

// Round trips through the library's DIB functions.
TEST_F(VrnTool, GoodFilesRoundTrip) {
  const std::string pattern = path("pattern.bmp");
  ToolRun r = run("jaehne " + pattern + " --size 64x48");
  ASSERT_EQ(r.code, 0) << r.err;
  r = run("info " + pattern);
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.out.find("size:         64 x 48"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("bit count:    8"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("depth 8u, 1 channel"), std::string::npos) << r.out;

  // Written again unchanged, the file keeps its bytes; so does the two-level
  // pattern through RLE8 and back to 1 bit.
  ASSERT_EQ(run("convert " + pattern + " " + path("same.bmp")).code, 0);
  EXPECT_EQ(slurp(path("same.bmp")), slurp(pattern));
  const std::string bilevel = path("bilevel.bmp");
  ASSERT_EQ(run("jaehne " + bilevel + " --depth 1u --size 64x48").code, 0);
  ASSERT_EQ(run("convert " + bilevel + " " + path("rle.bmp") + " --rle").code, 0);
  r = run("info " + path("rle.bmp"));
  EXPECT_NE(r.out.find("compression:  RLE8"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("depth 8u, 1 channel"), std::string::npos) << r.out;
  ASSERT_EQ(run("convert " + path("rle.bmp") + " " + path("back.bmp") + " --bits 1").code, 0);
  EXPECT_EQ(slurp(path("back.bmp")), slurp(bilevel));

  write("colour.bmp", makeBmp(20, 10, 24));
  for (const char* options : {"--bits 4 --palette median --dither fs", "--bits 1", "--bits 16",
                              "--bits 32", "--bits 8 --palette fixed --rle"}) {
    r = run("convert " + path("colour.bmp") + " " + path("c.bmp") + " " + options);
    EXPECT_EQ(r.code, 0) << options << ": " << r.err;
    EXPECT_EQ(run("info " + path("c.bmp")).code, 0) << options;
  }
  r = run("convert " + path("colour.bmp") + " " + path("c1.bmp") + " --bits 1 --dither fs");
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("a colour image cannot be dithered to 1 bit"), std::string::npos) << r.err;
  EXPECT_FALSE(fs::exists(path("c1.bmp")));
  r = run("convert " + bilevel + " " + path("d.bmp") + " --bits 4 --dither fs");
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("a 1-bit image has two levels and nothing to dither"), std::string::npos) << r.err;
  EXPECT_FALSE(fs::exists(path("d.bmp")));
  r = run("add " + pattern + " " + pattern + " " + path("sum.bmp"));
  EXPECT_EQ(r.code, 0) << r.err;
  r = run("blur " + pattern + " " + path("blur.bmp") + " 5x3");
  EXPECT_EQ(r.code, 0) << r.err;
  // A library refusal: gray plus colour differ in channels.
  r = run("add " + pattern + " " + path("colour.bmp") + " " + path("bad.bmp"));
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(lineCount(r.err), 1) << r.err;
  EXPECT_NE(r.err.find("the library refused it: vrnAdd"), std::string::npos) << r.err;
  EXPECT_FALSE(fs::exists(path("bad.bmp")));
}

TEST_F(VrnTool, DemoWritesItsGallery) {
  const ToolRun r = run("demo " + path("gallery"));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.out.find("read back: identical"), std::string::npos) << r.out;
  for (const char* f : {"jaehne.bmp", "jaehne_1bit_fs.bmp", "jaehne_median16.bmp", "jaehne_add.bmp", "jaehne_blur.bmp"}) {
    EXPECT_TRUE(fs::exists(path("gallery") + "/" + f)) << f;
    EXPECT_EQ(run("info " + path("gallery") + "/" + f).code, 0) << f;
  }
}


}  // namespace

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
#include <functional>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

fs::path toolPath() { return fs::canonical("/proc/self/exe").parent_path().parent_path() / "tools" / "vrn"; }

struct ToolRun { int code; std::string out, err; };

std::string slurp(const fs::path& p) { std::ifstream f(p, std::ios::binary); return {std::istreambuf_iterator<char>(f), {}}; }

class VrnTool : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(toolPath())) GTEST_SKIP() << "the vrn tool is not built";
    dir_ = fs::temp_directory_path() / ("vrn_tool_test_" + std::to_string(::getpid()) + "_" +
                                        ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::string path(const std::string& name) const { return (dir_ / name).string(); }

  ToolRun run(const std::string& args) const {
    const std::string cmd = toolPath().string() + " " + args + " > " + path(".out") + " 2> " + path(".err");
    const int status = std::system(cmd.c_str());
    ToolRun r{WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(path(".out")), slurp(path(".err"))};
    fs::remove(path(".out")), fs::remove(path(".err"));
    return r;
  }

  void write(const std::string& name, const std::vector<uint8_t>& bytes) const {
    std::ofstream f(path(name), std::ios::binary);
    f.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }

  // Files in the directory (the run's capture files are removed after each run).
  int fileCount() const { return static_cast<int>(std::distance(fs::directory_iterator(dir_), {})); }

  fs::path dir_;
};

void put32(std::vector<uint8_t>& b, size_t at, uint32_t v) { for (int i = 0; i < 4; ++i) b[at + i] = static_cast<uint8_t>(v >> (8 * i)); }
void put16(std::vector<uint8_t>& b, size_t at, uint16_t v) { b[at] = static_cast<uint8_t>(v), b[at + 1] = static_cast<uint8_t>(v >> 8); }

// A correct BMP: 8 bits with a gray ramp table, or 24 bits, or RLE8 with the
// given stream; uncompressed pixels are a diagonal ramp.
std::vector<uint8_t> makeBmp(int width, int height, int bits, const std::vector<uint8_t>& rle = {}) {
  const uint32_t table = bits == 8 ? 256 : 0;
  const uint32_t row = (width * bits + 31) / 32 * 4;
  const uint32_t pixels = rle.empty() ? row * height : static_cast<uint32_t>(rle.size());
  const uint32_t offset = 14 + 40 + 4 * table;
  std::vector<uint8_t> b(offset + pixels, 0);
  b[0] = 'B', b[1] = 'M';
  const std::pair<size_t, uint32_t> fields[] = {{2, static_cast<uint32_t>(b.size())}, {10, offset}, {14, 40},
      {18, static_cast<uint32_t>(width)}, {22, static_cast<uint32_t>(height)}, {30, rle.empty() ? 0u : 1u}, {34, rle.empty() ? 0u : pixels}};
  for (auto [at, v] : fields) put32(b, at, v);
  put16(b, 26, 1), put16(b, 28, static_cast<uint16_t>(bits));
  for (uint32_t i = 0; i < table; ++i) b[54 + 4 * i] = b[55 + 4 * i] = b[56 + 4 * i] = static_cast<uint8_t>(i);
  std::copy(rle.begin(), rle.end(), b.begin() + offset);
  for (uint32_t i = 0; rle.empty() && i < row * height; ++i) b[offset + i] = static_cast<uint8_t>(7 * (i % row) + 13 * (i / row));
  return b;
}

int lineCount(const std::string& s) { return static_cast<int>(std::count(s.begin(), s.end(), '\n')); }

// Broken inputs (a missing file and a directory among them): each must fail
// in `info`, `convert` and `add` with the reason named, and leave no output
// and no temporary file.
struct BrokenFile { const char* name; std::function<std::vector<uint8_t>()> make; const char* reason; };

// A correct 8x8 BMP with one header field (4 bytes, or 2) changed.
std::function<std::vector<uint8_t>()> patched(int bits, size_t at, uint32_t v, int size = 4) {
  return [=] { auto b = makeBmp(8, 8, bits); size == 4 ? put32(b, at, v) : put16(b, at, static_cast<uint16_t>(v)); return b; };
}

const BrokenFile kBroken[] = {
    {"empty", [] { return std::vector<uint8_t>{}; }, "not a BMP file (the file is empty)"},
    {"text", [] { return std::vector<uint8_t>{'w', '=', '3', '\n'}; }, "not a BMP file (it does not start with \"BM\")"},
    {"cut_in_header", [] { auto b = makeBmp(8, 8, 8); b.resize(30); put32(b, 2, 30); return b; },
     "truncated: the file ends inside the 40-byte info header"},
    {"cut_in_table", [] { auto b = makeBmp(8, 8, 8); b.resize(300); put32(b, 2, 300); return b; },
     "truncated: the colour table of 256 entries runs past the end of the file"},
    {"cut_in_pixels", [] { auto b = makeBmp(16, 16, 24); b.resize(b.size() - 5); put32(b, 2, 0); return b; },
     "truncated: the pixels need 768 bytes, the file has 763"},
    {"size_lies", patched(24, 2, 246 + 100), "truncated: the header announces"},
    {"width_lies", patched(24, 18, 9), "truncated: the pixels need 224 bytes, the file has 192"},
    {"offset_lies", patched(24, 10, 5000), "corrupt header: pixel data offset 5000 lies outside the file"},
    {"zero_width", patched(24, 18, 0), "corrupt header: image size 0x8"},
    {"huge", patched(24, 18, 100000), "is too large"},
    {"bits_7", patched(24, 28, 7, 2), "unsupported format: 7 bits per pixel"},
    {"jpeg", patched(24, 30, 4), "unsupported format: JPEG compression"},
    {"os2", patched(24, 14, 12), "unsupported format: OS/2 bitmap header"},
    {"planes", patched(24, 26, 3, 2), "corrupt header: 3 colour planes"},
    {"too_many_colours", patched(8, 46, 300), "corrupt header: 300 colour table entries for 8 bits per pixel"},
    {"one_colour", patched(8, 46, 1), "unsupported format: a colour table of one entry"},
    {"zero_mask", [] { auto b = makeBmp(8, 8, 32); b.insert(b.begin() + 54, 12, 0); put32(b, 10, 66); put32(b, 30, 3);
                       put32(b, 54, 0xFF0000); put32(b, 62, 0xFF); return b; }, "corrupt header: a colour mask is zero"},
    {"offset_in_table", patched(8, 10, 100), "corrupt header: pixel data offset 100 lies inside the colour table"},
    {"rle_top_down", [] { auto b = makeBmp(4, 1, 8, {4, 9, 0, 0, 0, 1}); put32(b, 22, static_cast<uint32_t>(-1)); return b; },
     "RLE-compressed rows must be stored bottom-up"},
    {"rle_no_end", [] { return makeBmp(4, 2, 8, {4, 9, 0, 0, 4, 9, 0, 0}); }, "truncated: the RLE data ends before its end-of-bitmap marker"},
    {"rle_run_too_long", [] { return makeBmp(4, 2, 8, {9, 9, 0, 0, 0, 1}); }, "corrupt RLE data: row 0 runs past the width of 4"},
    {"rle_short_row", [] { return makeBmp(4, 2, 8, {3, 9, 0, 0, 0, 1}); }, "corrupt RLE data: row 0 holds 3 pixels, not 4"},
    {"rle_absolute_cut", [] { return makeBmp(8, 1, 8, {0, 8, 1, 2, 3}); }, "truncated: the RLE data ends"},
    {"missing", nullptr, "cannot open: No such file or directory"},  // not written
    {"directory", nullptr, "cannot read: Is a directory"},          // made a directory
};

TEST_F(VrnTool, BrokenFilesFailWithOneLineAndWriteNothing) {
  for (const BrokenFile& c : kBroken) {
    SCOPED_TRACE(c.name);
    const std::string in = std::string(c.name) + ".bmp";
    const std::string name = c.name;
    if (c.make) write(in, c.make());
    else if (name == "directory") fs::create_directory(path(in));
    for (const std::string& cmd : {"info " + path(in), "convert " + path(in) + " " + path("out.bmp"),
                                   "add " + path(in) + " " + path(in) + " " + path("out.bmp")}) {
      const ToolRun r = run(cmd);
      EXPECT_EQ(r.code, 1) << cmd;
      EXPECT_EQ(lineCount(r.err), 1) << r.err;
      EXPECT_EQ(r.err.rfind("vrn: " + path(in) + ": ", 0), 0u) << r.err;
      EXPECT_NE(r.err.find(c.reason), std::string::npos) << r.err;
      EXPECT_EQ(r.out, "");
    }
    EXPECT_EQ(fileCount(), name == "missing" ? 0 : 1);
    fs::remove(path(in));
  }
}

TEST_F(VrnTool, BadArgumentsExitTwoWithOneLine) {
  write("in.bmp", makeBmp(8, 8, 24));
  const std::string in = path("in.bmp"), out = path("out.bmp");
  const std::pair<const char*, const char*> cases[] = {
      {"frobnicate", "vrn: unknown command 'frobnicate'"},
      {"convert IN", "vrn convert: expects 2 arguments, got 1"},
      {"convert IN OUT --bits 7", "--bits must be 1, 4, 8, 16, 24 or 32, not '7'"},
      {"convert IN OUT --rle --bits 24", "--rle needs --bits 8 or --bits 4"},
      {"convert IN OUT --palette best", "--palette must be keep, fixed or median"},
      {"convert IN OUT --dither=floyd", "--dither must be none, fs, jjn, stucki or bayer"},
      {"convert IN OUT --colour", "vrn convert: unknown option --colour"},
      {"jaehne OUT --size 0x5", "--size must be WxH"},
      {"jaehne OUT --depth 32f", "a BMP file cannot hold depth 32f"},
      {"blur IN OUT 3", "vrn blur: expects a size WxH, not '3'"},
  };
  for (const auto& [pattern, message] : cases) {
    std::string args = pattern;
    for (auto [from, to] : {std::pair<std::string, std::string>{"IN", in}, {"OUT", out}})
      if (const size_t at = args.find(from); at != std::string::npos) args.replace(at, from.size(), to);
    const ToolRun r = run(args);
    EXPECT_EQ(r.code, 2) << args;
    EXPECT_EQ(lineCount(r.err), 1) << args << ": " << r.err;
    EXPECT_NE(r.err.find(message), std::string::npos) << args << ": " << r.err;
    EXPECT_FALSE(fs::exists(out)) << args;
  }
}

// Round trips through the library's DIB functions, and refusals of good files.
TEST_F(VrnTool, GoodFilesRoundTrip) {
  const std::string pattern = path("pattern.bmp"), bilevel = path("bilevel.bmp"), colour = path("colour.bmp");
  ASSERT_EQ(run("jaehne " + pattern + " --size 64x48").code, 0);
  EXPECT_NE(run("info " + pattern).out.find("size:         64 x 48"), std::string::npos);
  // Written again unchanged, the file keeps its bytes; so does the two-level
  // pattern through RLE8 and back to 1 bit.
  ASSERT_EQ(run("convert " + pattern + " " + path("same.bmp")).code, 0);
  EXPECT_EQ(slurp(path("same.bmp")), slurp(pattern));
  ASSERT_EQ(run("jaehne " + bilevel + " --depth 1u --size 64x48").code, 0);
  ASSERT_EQ(run("convert " + bilevel + " " + path("rle.bmp") + " --rle").code, 0);
  const ToolRun info = run("info " + path("rle.bmp"));
  EXPECT_NE(info.out.find("compression:  RLE8"), std::string::npos) << info.out;
  EXPECT_NE(info.out.find("depth 8u, 1 channel"), std::string::npos) << info.out;
  ASSERT_EQ(run("convert " + path("rle.bmp") + " " + path("back.bmp") + " --bits 1").code, 0);
  EXPECT_EQ(slurp(path("back.bmp")), slurp(bilevel));
  write("colour.bmp", makeBmp(20, 10, 24));
  for (const char* options : {"--bits 4 --palette median --dither fs", "--bits 1", "--bits 16", "--bits 32",
                              "--bits 8 --palette fixed --rle"}) {
    const ToolRun r = run("convert " + colour + " " + path("c.bmp") + " " + options);
    EXPECT_EQ(r.code, 0) << options << ": " << r.err;
    EXPECT_EQ(run("info " + path("c.bmp")).code, 0) << options;
  }
  const std::pair<std::string, const char*> refusals[] = {
      {"convert " + colour + " OUT --bits 1 --dither fs", "a colour image cannot be dithered to 1 bit"},
      {"convert " + bilevel + " OUT --bits 4 --dither fs", "a 1-bit image has two levels and nothing to dither"},
      {"add " + pattern + " " + colour + " OUT", "the library refused it: vrnAdd"},  // gray plus colour
  };
  for (const auto& [cmd, message] : refusals) {
    const ToolRun r = run(cmd.substr(0, cmd.find("OUT")) + path("bad.bmp") + cmd.substr(cmd.find("OUT") + 3));
    EXPECT_EQ(r.code, 1) << cmd;
    EXPECT_EQ(lineCount(r.err), 1) << r.err;
    EXPECT_NE(r.err.find(message), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists(path("bad.bmp")));
  }
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

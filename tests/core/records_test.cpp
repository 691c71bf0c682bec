// Image records and memory: record layout, the row rule, allocation with
// fill, the header check and its order, deallocation order and cloning.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "support/images.h"
#include "support/report_catcher.h"

namespace vrntest {
namespace {

char kGray[4] = {'G', 'R', 'A', 'Y'}, kG[4] = {'G', 0, 0, 0};

VrnImage* header(int channels, int depth, int width, int height, int align = 4, int order = 0, int alpha = 0) {
  return vrnCreateImageHeader(channels, alpha, depth, kGray, kG, order, 0, align, width, height, nullptr, nullptr,
                              nullptr, nullptr);
}
void freeAll(VrnImage* image) { vrnDeallocate(image, VRN_FREE_HEADER | VRN_FREE_DATA | VRN_FREE_ROI | VRN_FREE_MASK); }
void noTileCallback(const VrnImage*, int, int, int) {}
// The reports made, one "function status context" each.
std::vector<std::string> seen(const ReportCatcher& catcher) {
  std::vector<std::string> lines;
  for (const Report& r : catcher.reports()) lines.push_back(r.funcName + " " + std::to_string(r.status) + " " + r.context);
  return lines;
}

// The record layout callers compile against (64-bit pointers included).
TEST(Records, FieldOffsets) {
  const size_t p = sizeof(void*);
  const size_t offsets[][2] = {
      {offsetof(VrnImage, depth), 16}, {offsetof(VrnImage, colorModel), 20}, {offsetof(VrnImage, channelSeq), 24},
      {offsetof(VrnImage, height), 44}, {offsetof(VrnImage, roi), 48}, {offsetof(VrnImage, tileInfo), 48 + 3 * p},
      {offsetof(VrnImage, imageSize), 48 + 4 * p}, {offsetof(VrnImage, widthStep), 56 + 5 * p},
      {offsetof(VrnImage, borderConst), offsetof(VrnImage, borderMode) + 16}, {offsetof(VrnROI, height), 16},
      {offsetof(VrnTileInfo, tileData), 2 * p}, {offsetof(VrnTileInfo, width), 3 * p}, {offsetof(VrnImage, dataBlock) % p, 0},
  };
  for (size_t i = 0; i < std::size(offsets); ++i) EXPECT_EQ(offsets[i][0], offsets[i][1]) << "row " << i;
}

TEST(Memory, AllocatorsAlignAndRefuseCountsBelowOne) {
  EXPECT_TRUE(vrnMalloc(0) == nullptr && vrnwMalloc(0) == nullptr && vrndMalloc(-5) == nullptr);
  vrnFree(nullptr);
  for (int n = 1; n < 200; n += 7)
    for (void* b : {vrnMalloc(n), static_cast<void*>(vrnwMalloc(n)), static_cast<void*>(vrniMalloc(n)),
                    static_cast<void*>(vrnsMalloc(n)), static_cast<void*>(vrndMalloc(n))}) {
      EXPECT_TRUE(b && reinterpret_cast<uintptr_t>(b) % 32 == 0) << n;
      vrnFree(b);
    }
}

TEST(Records, RowRuleAndHeaderFields) {
  struct Case { int depth, channels, order, align, width, height, step, size; };
  const Case cases[] = {
      {VRN_DEPTH_1U, 1, 0, 4, 1, 1, 4, 4},        {VRN_DEPTH_1U, 1, 0, 8, 65, 3, 16, 48},
      {VRN_DEPTH_8U, 3, 0, 4, 5, 2, 16, 32},      {VRN_DEPTH_8U, 3, 1, 4, 5, 2, 8, 48},
      {VRN_DEPTH_16S, 2, 0, 32, 9, 1, 64, 64},    {VRN_DEPTH_32F, 4, 1, 16, 3, 5, 16, 320},
  };
  for (const Case& c : cases) {
    VrnImage* im = header(c.channels, c.depth, c.width, c.height, c.align, c.order);
    ASSERT_NE(im, nullptr);
    EXPECT_EQ(std::pair(im->widthStep, im->imageSize), std::pair(c.step, c.size)) << c.depth << " w=" << c.width;
    c.depth == VRN_DEPTH_32F ? vrnAllocateImageFP(im, 0, 0) : vrnAllocateImage(im, 0, 0);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(im->imageData) % c.align, 0u);
    freeAll(im);
  }
  char model[4] = {'R', 'G', 'B', 'A'}, seq[4] = {'B', 'G', 'R', 'A'};
  VrnImage* im = vrnCreateImageHeader(4, 4, VRN_DEPTH_8U, model, seq, 0, 1, 8, 3, 2, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(im->recordSize, static_cast<int>(sizeof(VrnImage)));
  EXPECT_EQ(std::memcmp(im->colorModel, "RGBABGRA", 8), 0);
  EXPECT_EQ(im->borderMode[3] | im->borderConst[3], 0);
  vrnDeallocateHeader(im);
  ReportCatcher reports;
  EXPECT_EQ(header(4, VRN_DEPTH_8U, 4, 4, 4, 0, 3), nullptr);
  EXPECT_EQ(header(4, VRN_DEPTH_32F, 0x10000000, 1), nullptr);  // too large for 32 bits: refused, not wrapped
  EXPECT_EQ(header(1, VRN_DEPTH_8U, 65536, 65536), nullptr);
  const std::string text = " Incorrect data-ins";
  EXPECT_EQ(seen(reports), (std::vector<std::string>{"vrnCreateImageHeader -18" + text, "vrnCreateImageHeader -10" + text,
                                                     "vrnCreateImageHeader -10" + text}));
}

// The fill word by depth, written through the whole buffer, padding included.
TEST(Records, AllocationFillsWholeWordsByDepth) {
  const struct { int depth, value; uint32_t word; } fills[] = {
      {VRN_DEPTH_1U, 3, 0xFFFFFFFFu},        {VRN_DEPTH_1U, 2, 0u},           {VRN_DEPTH_8U, 0x1AB, 0xABABABABu},
      {VRN_DEPTH_8S, -2, 0xFEFEFEFEu},       {VRN_DEPTH_16U, 0x12345, 0x23452345u},
      {VRN_DEPTH_16S, -1, 0xFFFFFFFFu},      {VRN_DEPTH_32S, 0x01020304, 0x01020304u}, {VRN_DEPTH_32F, 0, 0x3FC00000u},
  };
  for (const auto& f : fills) {
    VrnImage* im = header(1, f.depth, 3, 3, 8);
    f.depth == VRN_DEPTH_32F ? vrnAllocateImageFP(im, 1, 1.5f) : vrnAllocateImage(im, 1, f.value);
    std::vector<uint32_t> words(static_cast<size_t>(im->imageSize) / 4);
    std::memcpy(words.data(), im->imageData, words.size() * 4);
    EXPECT_EQ(words, std::vector<uint32_t>(words.size(), f.word)) << "depth " << f.depth;
    freeAll(im);
  }
}

// The allocation checks and their texts, in order.
TEST(Records, AllocationChecks) {
  ReportCatcher reports;
  vrnAllocateImage(nullptr, 0, 0);
  VrnImage* fp = header(1, VRN_DEPTH_32F, 2, 2);
  vrnAllocateImage(fp, 0, 0);
  VrnImage* u8 = header(1, VRN_DEPTH_8U, 2, 2);
  vrnAllocateImageFP(u8, 0, 0);
  VrnTileInfo tile{};
  u8->tileInfo = &tile;
  vrnAllocateImage(u8, 0, 0);
  u8->tileInfo = nullptr;
  vrnAllocateImage(u8, 0, 0);
  vrnAllocateImage(u8, 0, 0);
  VrnImage badAlign = *u8;
  badAlign.align = 3, badAlign.imageData = nullptr;
  vrnAllocateImage(&badAlign, 0, 0);
  const std::string f = "vrnAllocateImage -5 ( image", ffp = "vrnAllocateImageFP -5 ( image";
  EXPECT_EQ(seen(reports), (std::vector<std::string>{f + " == ((void *)0) )", f + "->depth == 32 )", ffp + "->depth != 32 )",
                                                     f + "->tileInfo != ((void *)0) )", f + "->imageData != ((void *)0) )",
                                                     "vrnAllocateImage -21 Incorrect data-ins"}));
  freeAll(fp);
  freeAll(u8);
}

// A legal 3-channel 8U image that each case breaks in one or two fields (the
// second shows which check comes first).
#define CASE(what, status, body) {what, status, []([[maybe_unused]] VrnImage* i, [[maybe_unused]] VrnImage* m, [[maybe_unused]] VrnROI* r, [[maybe_unused]] VrnTileInfo* t) { body; }}
const struct CheckCase {
  const char* what;
  int status;
  void (*breakIt)(VrnImage*, VrnImage* mask, VrnROI* roi, VrnTileInfo* tile);
} kCheckCases[] = {
    CASE("no data, no tiles", -12, i->imageData = nullptr), CASE("data and tiles", -12, i->tileInfo = t),
    CASE("imageSize 0", -10, i->imageSize = 0), CASE("widthStep 0", -13, i->widthStep = 0),
    CASE("size before channels", -10, i->width = 0; i->nChannels = 0), CASE("channels", -15, i->nChannels = 0),
    CASE("1U with 3 channels", -16, i->depth = 1), CASE("depth", -17, i->depth = 12),
    CASE("alpha", -18, i->alphaChannel = 2), CASE("order", -19, i->dataOrder = 2),
    CASE("origin", -20, i->origin = -1), CASE("align", -21, i->align = 2),
    CASE("mask depth", -117, i->maskROI = m; m->depth = 8), CASE("mask tiled", -26, i->maskROI = m; m->tileInfo = t),
    CASE("mask width", -110, i->maskROI = m; m->width = 0), CASE("mask channels", -116, i->maskROI = m; m->nChannels = 2),
    CASE("mask roi", -111, i->maskROI = m; m->roi = r; r->coi = 0; r->xOffset = -1),
    CASE("mask of mask", -217, i->maskROI = m; m->maskROI = m + 1),
    CASE("no callback", -22, i->imageData = nullptr; i->tileInfo = t; t->callBack = nullptr),
    CASE("tile 12 wide", -23, i->imageData = nullptr; i->tileInfo = t; t->width = 12),
    CASE("tile height 0", -23, i->imageData = nullptr; i->tileInfo = t; t->height = 0),
    CASE("coi above", -24, i->roi = r; r->coi = 4), CASE("coi before size", -24, i->roi = r; r->coi = -1; r->width = 0),
    CASE("roi size before offset", -25, i->roi = r; r->width = 0; r->xOffset = -1),
    CASE("roi y offset", -11, i->roi = r; r->yOffset = -3),
};
#undef CASE

TEST(Records, HeaderCheckOrderAndMaskFamily) {
  ReportCatcher reports;
  const TestImage legal(ImageSpec(VRN_DEPTH_8U, 16, 8, 3));
  for (const CheckCase& c : kCheckCases) {
    VrnImage image = *legal.get(), masks[2] = {image, image};
    for (VrnImage& m : masks) m.nChannels = 1, m.depth = VRN_DEPTH_1U;
    masks[1].depth = 8;  // a mask's own mask of the wrong depth: -117 - 100
    VrnROI roi{3, 0, 0, 4, 4};
    VrnTileInfo tile{noTileCallback, nullptr, nullptr, 8, 8};
    c.breakIt(&image, &masks[0], &roi, &tile);
    vrnSetErrStatus(0);
    EXPECT_EQ(vrnCheckImageHeader(&image), c.status) << c.what;
    EXPECT_EQ(vrnGetErrStatus(), c.status) << c.what;
  }
  // Success leaves the status alone (a ROI outside the image is legal); a null image is -9.
  vrnSetErrStatus(-77);
  EXPECT_EQ(vrnCheckImageHeader(TestImage(ImageSpec(VRN_DEPTH_8U, 2, 2).withRoi(1, 5, 5, 9, 9))), 0);
  EXPECT_EQ(vrnGetErrStatus(), -77);
  EXPECT_EQ(vrnCheckImageHeader(nullptr), VRN_StsNullHeader);
}

// vrnDeallocate tests its flags in a fixed order, so a mask is released
// through the image and a record is never read after it is freed.
TEST(Records, DeallocateReleasesWhatItIsTold) {
  TestImage owner(ImageSpec(VRN_DEPTH_8U, 8, 8).withRoi(0, 1, 1, 2, 2));
  VrnImage* image = vrnCloneImage(owner);
  VrnImage* mask = vrnCloneImage(image);  // with a ROI of its own
  mask->depth = VRN_DEPTH_1U;
  image->maskROI = mask;
  image->tileInfo = vrnCreateTileInfo(noTileCallback, nullptr, 8, 8);
  vrnDeallocate(image, VRN_FREE_ROI | VRN_FREE_TILE);
  EXPECT_TRUE(image->roi == nullptr && image->tileInfo == nullptr && image->maskROI == mask && image->imageData);
  vrnDeallocate(image, VRN_FREE_MASK | VRN_FREE_DATA);
  EXPECT_TRUE(image->maskROI == nullptr && image->imageData == nullptr && image->dataBlock == nullptr);
  vrnDeallocate(nullptr, 31);
  char own[64];  // a caller's own buffer is left alone
  image->imageData = own;
  vrnDeallocateImage(image);
  EXPECT_EQ(image->imageData, nullptr);
  vrnDeallocate(image, 31);
}

TEST(Records, CloneCopiesPixelsRoiAndBordersNotMaskIdOrTiles) {
  TestImage src(ImageSpec(VRN_DEPTH_16S, 7, 5, 3).planes().aligned(8).withRoi(2, 1, 2, 3, 3).withMask(MaskSpec{}));
  vrnSetBorderMode(src, VRN_BORDER_WRAP, VRN_SIDE_LEFT, -9);
  int id;
  src->imageId = &id;
  VrnImage* clone = vrnCloneImage(src);
  ASSERT_NE(clone, nullptr);
  EXPECT_TRUE(sameBytes(src, clone));
  ASSERT_TRUE(clone->imageData != src->imageData && clone->roi != src->roi);
  EXPECT_EQ(std::memcmp(clone->roi, src->roi, sizeof(VrnROI)), 0);
  EXPECT_TRUE(clone->borderMode[2] == VRN_BORDER_WRAP && clone->borderConst[2] == -9);
  EXPECT_TRUE(clone->maskROI == nullptr && clone->imageId == nullptr && clone->dataOrder == 1);
  freeAll(clone);
  // A tiled image clones into an untiled one whose content is not fetched.
  VrnImage* tiled = header(1, VRN_DEPTH_8U, 16, 16);
  tiled->tileInfo = vrnCreateTileInfo(noTileCallback, nullptr, 8, 8);
  VrnImage* plain = vrnCloneImage(tiled);
  EXPECT_TRUE(plain->tileInfo == nullptr && plain->imageData);
  freeAll(plain);
  vrnDeallocate(tiled, VRN_FREE_HEADER | VRN_FREE_TILE);
}

// Setting a ROI sets every field; setting tile information drops the tile
// pointer of the last request.
TEST(Records, RoiTileAndBorderSetters) {
  VrnROI roi{};
  vrnSetROI(&roi, 1, 2, 3, 4, 5);
  EXPECT_TRUE(roi.coi == 1 && roi.xOffset == 2 && roi.yOffset == 3 && roi.width == 4 && roi.height == 5);
  int id;
  VrnTileInfo* tile = vrnCreateTileInfo(noTileCallback, &id, 16, 24);
  tile->tileData = reinterpret_cast<char*>(&id);
  vrnSetTileInfo(tile, noTileCallback, nullptr, 8, 8);
  EXPECT_TRUE(tile->tileData == nullptr && tile->width == 8);
  vrnSetTileInfo(nullptr, noTileCallback, nullptr, 8, 8);
  vrnDeleteTileInfo(tile);
  // Only the named sides are set; 32S keeps any constant, 1U makes it a bit.
  VrnImage* im = header(1, VRN_DEPTH_8U, 2, 2);
  vrnSetBorderMode(im, VRN_BORDER_REPLICATE, VRN_SIDE_TOP | VRN_SIDE_LEFT | 0x30, 300);
  EXPECT_EQ(std::vector<int>(im->borderMode, im->borderMode + 4), (std::vector<int>{1, 0, 1, 0}));
  EXPECT_EQ(std::vector<int>(im->borderConst, im->borderConst + 4), (std::vector<int>{255, 0, 255, 0}));
  for (auto [depth, in] : {std::pair{VRN_DEPTH_32S, -40000}, {VRN_DEPTH_1U, 5}}) {
    im->depth = depth;
    vrnSetBorderMode(im, 7, VRN_SIDE_BOTTOM, in);
    EXPECT_EQ(im->borderConst[1], depth == VRN_DEPTH_1U ? 1 : in);
  }
  vrnDeallocateHeader(im);
}

}  // namespace
}  // namespace vrntest

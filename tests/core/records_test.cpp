// Image records and memory: record layout, the row rule, allocation with
// fill, the header check and its order, deallocation order and cloning.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "vrn.h"

namespace {

char kGray[4] = {'G', 'R', 'A', 'Y'};
char kG[4] = {'G', 0, 0, 0};

// Silences reports for the scope of a test and restores the thread's state.
struct Quiet {
  VrnErrorHandler old;
  int mode;
  Quiet() : old(vrnRedirectError(vrnNulDevReport)), mode(vrnGetErrMode()) {
    vrnSetErrMode(VRN_ErrorModeSilent);
    vrnSetErrStatus(0);
  }
  ~Quiet() {
    vrnRedirectError(old);
    vrnSetErrMode(mode);
    vrnSetErrStatus(0);
  }
};

VrnImage* header(int channels, int depth, int width, int height, int align = 4, int order = 0,
                 int alpha = 0) {
  return vrnCreateImageHeader(channels, alpha, depth, kGray, kG, order, 0, align, width, height,
                              nullptr, nullptr, nullptr, nullptr);
}

void freeAll(VrnImage* image) {
  vrnDeallocate(image, VRN_FREE_HEADER | VRN_FREE_DATA | VRN_FREE_ROI | VRN_FREE_MASK);
}

TEST(Records, FieldOffsetsFollowTheFieldTable) {
  const size_t p = sizeof(void*);
  EXPECT_EQ(offsetof(VrnImage, recordSize), 0u);
  EXPECT_EQ(offsetof(VrnImage, depth), 16u);
  EXPECT_EQ(offsetof(VrnImage, colorModel), 20u);
  EXPECT_EQ(offsetof(VrnImage, channelSeq), 24u);
  EXPECT_EQ(offsetof(VrnImage, height), 44u);
  EXPECT_EQ(offsetof(VrnImage, roi), 48u);
  EXPECT_EQ(offsetof(VrnImage, tileInfo), 48u + 3 * p);
  EXPECT_EQ(offsetof(VrnImage, imageSize), 48u + 4 * p);
  EXPECT_EQ(sizeof(((VrnImage*)nullptr)->imageSize), 4u);
  EXPECT_EQ(sizeof(((VrnImage*)nullptr)->widthStep), 4u);
  EXPECT_LT(offsetof(VrnImage, imageData), offsetof(VrnImage, widthStep));
  EXPECT_EQ(offsetof(VrnImage, borderConst), offsetof(VrnImage, borderMode) + 16);
  EXPECT_EQ(offsetof(VrnImage, dataBlock) % p, 0u);
  EXPECT_EQ(offsetof(VrnROI, coi), 0u);
  EXPECT_EQ(offsetof(VrnROI, height), 16u);
  EXPECT_EQ(offsetof(VrnTileInfo, tileData), 2 * p);
  EXPECT_EQ(offsetof(VrnTileInfo, width), 3 * p);
}

TEST(Memory, AllocatorsAlignAndRefuseEmptyCounts) {
  EXPECT_EQ(vrnMalloc(0), nullptr);
  EXPECT_EQ(vrnMalloc(-1), nullptr);
  EXPECT_EQ(vrnwMalloc(0), nullptr);
  EXPECT_EQ(vrndMalloc(-5), nullptr);
  vrnFree(nullptr);
  std::vector<void*> blocks;
  for (int n = 1; n < 200; n += 7) {
    blocks.push_back(vrnMalloc(n));
    blocks.push_back(vrnwMalloc(n));
    blocks.push_back(vrniMalloc(n));
    blocks.push_back(vrnsMalloc(n));
    blocks.push_back(vrndMalloc(n));
  }
  for (void* b : blocks) {
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(b) % 32, 0u);
  }
  // The blocks are usable to their full size.
  auto* d = vrndMalloc(100);
  for (int i = 0; i < 100; ++i) d[i] = i;
  EXPECT_EQ(d[99], 99.0);
  vrnFree(d);
  for (void* b : blocks) vrnFree(b);
}

struct RowCase {
  int depth, channels, order, align, width, height, step, size;
};

TEST(Records, RowRule) {
  const RowCase cases[] = {
      {VRN_DEPTH_1U, 1, 0, 4, 1, 1, 4, 4},
      {VRN_DEPTH_1U, 1, 0, 8, 65, 3, 16, 48},
      {VRN_DEPTH_8U, 3, 0, 4, 5, 2, 16, 32},
      {VRN_DEPTH_8U, 3, 1, 4, 5, 2, 8, 48},
      {VRN_DEPTH_16S, 2, 0, 32, 9, 1, 64, 64},
      {VRN_DEPTH_32F, 4, 1, 16, 3, 5, 16, 320},
      {VRN_DEPTH_32S, 1, 0, 8, 3, 2, 16, 32},
  };
  for (const RowCase& c : cases) {
    VrnImage* im = header(c.channels, c.depth, c.width, c.height, c.align, c.order);
    ASSERT_NE(im, nullptr);
    EXPECT_EQ(im->widthStep, c.step) << c.depth << " w=" << c.width;
    EXPECT_EQ(im->imageSize, c.size) << c.depth << " w=" << c.width;
    if (c.depth == VRN_DEPTH_32F)
      vrnAllocateImageFP(im, 0, 0);
    else
      vrnAllocateImage(im, 0, 0);
    ASSERT_NE(im->imageData, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(im->imageData) % c.align, 0u);
    freeAll(im);
  }
}

TEST(Records, HeaderCreationCopiesFourBytesAndResetsBorders) {
  char model[4] = {'R', 'G', 'B', 'A'}, seq[4] = {'B', 'G', 'R', 'A'};
  VrnROI roi{};
  int id = 0;
  VrnImage* im = vrnCreateImageHeader(4, 4, VRN_DEPTH_8U, model, seq, 0, 1, 8, 3, 2, &roi, nullptr,
                                      &id, nullptr);
  ASSERT_NE(im, nullptr);
  EXPECT_EQ(im->recordSize, static_cast<int>(sizeof(VrnImage)));
  EXPECT_EQ(std::memcmp(im->colorModel, "RGBA", 4), 0);
  EXPECT_EQ(std::memcmp(im->channelSeq, "BGRA", 4), 0);
  EXPECT_EQ(im->roi, &roi);
  EXPECT_EQ(im->imageId, &id);
  EXPECT_EQ(im->origin, 1);
  EXPECT_EQ(im->imageData, nullptr);
  EXPECT_EQ(im->dataBlock, nullptr);
  for (int s = 0; s < 4; ++s) {
    EXPECT_EQ(im->borderMode[s], 0);
    EXPECT_EQ(im->borderConst[s], 0);
  }
  vrnDeallocateHeader(im);
}

TEST(Records, HeaderCreationReportsBadParameters) {
  Quiet quiet;
  EXPECT_EQ(vrnCreateImageHeader(1, 0, VRN_DEPTH_8U, nullptr, kG, 0, 0, 4, 1, 1, nullptr, nullptr,
                                 nullptr, nullptr),
            nullptr);
  EXPECT_EQ(vrnGetErrStatus(), VRN_StsBadColorModel);
  EXPECT_EQ(header(4, VRN_DEPTH_8U, 4, 4, 4, 0, 3), nullptr);
  EXPECT_EQ(vrnGetErrStatus(), VRN_StsBadAlpha);
  // A row or an image too large for 32 bits is refused, never wrapped.
  EXPECT_EQ(header(4, VRN_DEPTH_32F, 0x10000000, 1), nullptr);
  EXPECT_EQ(vrnGetErrStatus(), VRN_StsBadImageSize);
  EXPECT_EQ(header(1, VRN_DEPTH_8U, 65536, 65536), nullptr);
  EXPECT_EQ(vrnGetErrStatus(), VRN_StsBadImageSize);
}

// The fill word by depth, written through the whole buffer, padding included.
TEST(Records, AllocationFillsWholeWordsByDepth) {
  struct Fill {
    int depth;
    int value;
    uint32_t word;
  } fills[] = {
      {VRN_DEPTH_1U, 3, 0xFFFFFFFFu},  {VRN_DEPTH_1U, 2, 0u},
      {VRN_DEPTH_8U, 0x1AB, 0xABABABABu}, {VRN_DEPTH_8S, -2, 0xFEFEFEFEu},
      {VRN_DEPTH_16U, 0x12345, 0x23452345u}, {VRN_DEPTH_16S, -1, 0xFFFFFFFFu},
      {VRN_DEPTH_32S, 0x01020304, 0x01020304u},
  };
  for (const Fill& f : fills) {
    VrnImage* im = header(1, f.depth, 3, 3, 8);
    vrnAllocateImage(im, 1, f.value);
    ASSERT_NE(im->imageData, nullptr);
    for (int i = 0; i < im->imageSize; i += 4) {
      uint32_t w;
      std::memcpy(&w, im->imageData + i, 4);
      ASSERT_EQ(w, f.word) << "depth " << f.depth << " at " << i;
    }
    freeAll(im);
  }
  VrnImage* fp = header(1, VRN_DEPTH_32F, 3, 2, 16);
  vrnAllocateImageFP(fp, 1, 1.5f);
  for (int i = 0; i < fp->imageSize; i += 4) {
    uint32_t w;
    std::memcpy(&w, fp->imageData + i, 4);
    ASSERT_EQ(w, 0x3FC00000u);
  }
  freeAll(fp);
}

// The allocation checks and their texts, in order.
TEST(Records, AllocationChecks) {
  struct Seen {
    int status;
    std::string context;
    std::string func;
  };
  static std::vector<Seen> seen;
  seen.clear();
  VrnErrorHandler old = vrnRedirectError([](int s, const char* f, const char* c, const char*, int) {
    seen.push_back({s, c, f});
    return s;
  });
  const int mode = vrnGetErrMode();
  vrnSetErrMode(VRN_ErrorModeParent);

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
  u8->align = 3;
  char* data = u8->imageData;
  u8->imageData = nullptr;
  vrnAllocateImage(u8, 0, 0);
  u8->imageData = data;
  u8->align = 4;

  ASSERT_EQ(seen.size(), 6u);
  EXPECT_EQ(seen[0].context, "( image == ((void *)0) )");
  EXPECT_EQ(seen[1].context, "( image->depth == 32 )");
  EXPECT_EQ(seen[2].context, "( image->depth != 32 )");
  EXPECT_EQ(seen[2].func, "vrnAllocateImageFP");
  EXPECT_EQ(seen[3].context, "( image->tileInfo != ((void *)0) )");
  EXPECT_EQ(seen[4].context, "( image->imageData != ((void *)0) )");
  for (int i = 0; i < 5; ++i) EXPECT_EQ(seen[i].status, VRN_StsBadArg);
  EXPECT_EQ(seen[5].status, VRN_StsBadAlign);
  EXPECT_EQ(seen[5].context, "Incorrect data-ins");
  vrnRedirectError(old);
  vrnSetErrMode(mode);
  vrnSetErrStatus(0);
  freeAll(fp);
  freeAll(u8);
}

// A legal image that each case breaks in one field.
struct CheckCase {
  const char* what;
  void (*breakIt)(VrnImage*, VrnImage* mask, VrnROI* roi, VrnTileInfo* tile);
  int status;
};

void noTileCallback(const VrnImage*, int, int, int) {}

const CheckCase kCheckCases[] = {
    {"no data, no tiles", [](VrnImage* i, VrnImage*, VrnROI*, VrnTileInfo*) { i->imageData = nullptr; }, -12},
    {"data and tiles", [](VrnImage* i, VrnImage*, VrnROI*, VrnTileInfo* t) { i->tileInfo = t; }, -12},
    {"imageSize 0", [](VrnImage* i, VrnImage*, VrnROI*, VrnTileInfo*) { i->imageSize = 0; }, -10},
    {"widthStep 0", [](VrnImage* i, VrnImage*, VrnROI*, VrnTileInfo*) { i->widthStep = 0; }, -13},
    {"size before channels", [](VrnImage* i, VrnImage*, VrnROI*, VrnTileInfo*) { i->width = 0; i->nChannels = 0; }, -10},
    {"channels", [](VrnImage* i, VrnImage*, VrnROI*, VrnTileInfo*) { i->nChannels = 0; }, -15},
    {"1U with 3 channels", [](VrnImage* i, VrnImage*, VrnROI*, VrnTileInfo*) { i->depth = 1; }, -16},
    {"depth", [](VrnImage* i, VrnImage*, VrnROI*, VrnTileInfo*) { i->depth = 12; }, -17},
    {"alpha", [](VrnImage* i, VrnImage*, VrnROI*, VrnTileInfo*) { i->alphaChannel = 2; }, -18},
    {"order", [](VrnImage* i, VrnImage*, VrnROI*, VrnTileInfo*) { i->dataOrder = 2; }, -19},
    {"origin", [](VrnImage* i, VrnImage*, VrnROI*, VrnTileInfo*) { i->origin = -1; }, -20},
    {"align", [](VrnImage* i, VrnImage*, VrnROI*, VrnTileInfo*) { i->align = 2; }, -21},
    {"mask depth", [](VrnImage* i, VrnImage* m, VrnROI*, VrnTileInfo*) { i->maskROI = m; m->depth = 8; }, -117},
    {"mask tiled", [](VrnImage* i, VrnImage* m, VrnROI*, VrnTileInfo* t) { i->maskROI = m; m->tileInfo = t; }, -26},
    {"mask width", [](VrnImage* i, VrnImage* m, VrnROI*, VrnTileInfo*) { i->maskROI = m; m->width = 0; }, -110},
    {"mask channels", [](VrnImage* i, VrnImage* m, VrnROI*, VrnTileInfo*) { i->maskROI = m; m->nChannels = 2; }, -116},
    {"mask roi", [](VrnImage* i, VrnImage* m, VrnROI* r, VrnTileInfo*) { i->maskROI = m; m->roi = r; r->coi = 0; r->xOffset = -1; }, -111},
    {"mask of mask", [](VrnImage* i, VrnImage* m, VrnROI*, VrnTileInfo*) { i->maskROI = m; m->maskROI = m + 1; }, -217},
    {"no callback", [](VrnImage* i, VrnImage*, VrnROI*, VrnTileInfo* t) { i->imageData = nullptr; i->tileInfo = t; t->callBack = nullptr; }, -22},
    {"tile 12 wide", [](VrnImage* i, VrnImage*, VrnROI*, VrnTileInfo* t) { i->imageData = nullptr; i->tileInfo = t; t->width = 12; }, -23},
    {"tile height 0", [](VrnImage* i, VrnImage*, VrnROI*, VrnTileInfo* t) { i->imageData = nullptr; i->tileInfo = t; t->height = 0; }, -23},
    {"coi above", [](VrnImage* i, VrnImage*, VrnROI* r, VrnTileInfo*) { i->roi = r; r->coi = 4; }, -24},
    {"coi before size", [](VrnImage* i, VrnImage*, VrnROI* r, VrnTileInfo*) { i->roi = r; r->coi = -1; r->width = 0; }, -24},
    {"roi height", [](VrnImage* i, VrnImage*, VrnROI* r, VrnTileInfo*) { i->roi = r; r->height = 0; }, -25},
    {"roi size before offset", [](VrnImage* i, VrnImage*, VrnROI* r, VrnTileInfo*) { i->roi = r; r->width = 0; r->xOffset = -1; }, -25},
    {"roi y offset", [](VrnImage* i, VrnImage*, VrnROI* r, VrnTileInfo*) { i->roi = r; r->yOffset = -3; }, -11},
};

TEST(Records, HeaderCheckOrderAndMaskFamily) {
  Quiet quiet;
  for (const CheckCase& c : kCheckCases) {
    VrnImage* image = header(3, VRN_DEPTH_8U, 16, 8);
    vrnAllocateImage(image, 0, 0);
    VrnImage masks[2] = {};
    for (VrnImage& m : masks) {
      m = *image;
      m.nChannels = 1;
      m.depth = VRN_DEPTH_1U;
      m.maskROI = nullptr;
    }
    masks[1].depth = 8;  // a mask's own mask of the wrong depth: -117 - 100
    VrnROI roi{3, 0, 0, 4, 4};
    VrnTileInfo tile{noTileCallback, nullptr, nullptr, 8, 8};
    char* data = image->imageData;
    c.breakIt(image, &masks[0], &roi, &tile);
    vrnSetErrStatus(0);
    EXPECT_EQ(vrnCheckImageHeader(image), c.status) << c.what;
    EXPECT_EQ(vrnGetErrStatus(), c.status) << c.what;
    image->imageData = data;
    image->tileInfo = nullptr;
    image->roi = nullptr;
    image->maskROI = nullptr;
    image->width = 16;
    image->nChannels = 3;
    image->depth = VRN_DEPTH_8U;
    freeAll(image);
  }
  // Success leaves the status alone; a null image is -9.
  vrnSetErrStatus(-77);
  VrnImage* ok = header(1, VRN_DEPTH_8U, 2, 2);
  vrnAllocateImage(ok, 0, 0);
  VrnROI roi{1, 5, 5, 9, 9};  // outside the image, legal
  ok->roi = &roi;
  EXPECT_EQ(vrnCheckImageHeader(ok), 0);
  EXPECT_EQ(vrnGetErrStatus(), -77);
  EXPECT_EQ(vrnCheckImageHeader(nullptr), VRN_StsNullHeader);
  ok->roi = nullptr;
  freeAll(ok);
}

// vrnDeallocate tests its flags in a fixed order, so a mask is released
// through the image and a record is never read after it is freed.
TEST(Records, DeallocateReleasesWhatItIsTold) {
  VrnImage* mask = header(1, VRN_DEPTH_1U, 8, 8);
  vrnAllocateImage(mask, 0, 0);
  mask->roi = vrnCreateROI(0, 0, 0, 8, 8);
  VrnImage* image = header(1, VRN_DEPTH_8U, 8, 8);
  vrnAllocateImage(image, 0, 0);
  image->roi = vrnCreateROI(0, 1, 1, 2, 2);
  image->maskROI = mask;
  image->tileInfo = vrnCreateTileInfo(noTileCallback, nullptr, 8, 8);
  vrnDeallocate(image, VRN_FREE_ROI | VRN_FREE_TILE);
  EXPECT_EQ(image->roi, nullptr);
  EXPECT_EQ(image->tileInfo, nullptr);
  EXPECT_EQ(image->maskROI, mask);
  EXPECT_NE(image->imageData, nullptr);
  vrnDeallocate(image, VRN_FREE_MASK | VRN_FREE_DATA);
  EXPECT_EQ(image->maskROI, nullptr);
  EXPECT_EQ(image->imageData, nullptr);
  EXPECT_EQ(image->dataBlock, nullptr);
  vrnDeallocate(nullptr, 31);
  // A caller's own buffer is left alone.
  char own[64];
  image->imageData = own;
  vrnDeallocateImage(image);
  EXPECT_EQ(image->imageData, nullptr);
  vrnDeallocate(image, 31);
}

TEST(Records, CloneCopiesPixelsRoiAndBordersNotMaskOrTiles) {
  VrnImage* src = header(3, VRN_DEPTH_16S, 7, 5, 8, 1);
  vrnAllocateImage(src, 0, 0);
  for (int i = 0; i < src->imageSize; ++i) src->imageData[i] = static_cast<char>(i * 7);
  src->roi = vrnCreateROI(2, 1, 2, 3, 3);
  vrnSetBorderMode(src, VRN_BORDER_WRAP, VRN_SIDE_LEFT, -9);
  int id;
  src->imageId = &id;
  VrnImage* mask = header(1, VRN_DEPTH_1U, 7, 5);
  vrnAllocateImage(mask, 1, 1);
  src->maskROI = mask;
  VrnImage* clone = vrnCloneImage(src);
  ASSERT_NE(clone, nullptr);
  EXPECT_NE(clone->imageData, src->imageData);
  EXPECT_EQ(std::memcmp(clone->imageData, src->imageData, src->imageSize), 0);
  ASSERT_NE(clone->roi, nullptr);
  EXPECT_NE(clone->roi, src->roi);
  EXPECT_EQ(clone->roi->coi, 2);
  EXPECT_EQ(clone->roi->yOffset, 2);
  EXPECT_EQ(clone->borderMode[2], VRN_BORDER_WRAP);
  EXPECT_EQ(clone->borderConst[2], -9);
  EXPECT_EQ(clone->maskROI, nullptr);
  EXPECT_EQ(clone->imageId, nullptr);
  EXPECT_EQ(clone->tileInfo, nullptr);
  EXPECT_EQ(clone->dataOrder, 1);
  freeAll(clone);
  freeAll(src);

  // A tiled image clones into an untiled one whose content is not fetched.
  VrnImage* tiled = header(1, VRN_DEPTH_8U, 16, 16);
  tiled->tileInfo = vrnCreateTileInfo(noTileCallback, nullptr, 8, 8);
  VrnImage* plain = vrnCloneImage(tiled);
  ASSERT_NE(plain, nullptr);
  EXPECT_EQ(plain->tileInfo, nullptr);
  EXPECT_NE(plain->imageData, nullptr);
  freeAll(plain);
  vrnDeallocate(tiled, VRN_FREE_HEADER | VRN_FREE_TILE);
}

TEST(Records, RoiAndTileRecords) {
  VrnROI* roi = vrnCreateROI(-1, 2, 3, -4, 5);  // nothing validated
  ASSERT_NE(roi, nullptr);
  EXPECT_EQ(roi->coi, -1);
  EXPECT_EQ(roi->width, -4);
  vrnSetROI(roi, 1, 0, 0, 9, 9);
  EXPECT_EQ(roi->width, 9);
  vrnSetROI(nullptr, 1, 0, 0, 9, 9);
  vrnDeleteROI(roi);
  int id;
  VrnTileInfo* tile = vrnCreateTileInfo(noTileCallback, &id, 16, 24);
  ASSERT_NE(tile, nullptr);
  EXPECT_EQ(tile->tileData, nullptr);
  tile->tileData = reinterpret_cast<char*>(&id);
  vrnSetTileInfo(tile, noTileCallback, nullptr, 8, 8);
  EXPECT_EQ(tile->tileData, nullptr);
  EXPECT_EQ(tile->width, 8);
  vrnSetTileInfo(nullptr, noTileCallback, nullptr, 8, 8);
  vrnDeleteTileInfo(tile);
}

TEST(Borders, SetBorderModeClampsByDepthAndSetsOnlyNamedSides) {
  VrnImage* im = header(1, VRN_DEPTH_8U, 2, 2);
  vrnSetBorderMode(im, VRN_BORDER_REPLICATE, VRN_SIDE_TOP | VRN_SIDE_LEFT | 0x30, 300);
  EXPECT_EQ(im->borderMode[0], 1);
  EXPECT_EQ(im->borderConst[0], 255);
  EXPECT_EQ(im->borderMode[2], 1);
  EXPECT_EQ(im->borderMode[1], 0);
  EXPECT_EQ(im->borderMode[3], 0);
  im->depth = VRN_DEPTH_16S;
  vrnSetBorderMode(im, 7, 15, -40000);
  EXPECT_EQ(im->borderConst[3], -32768);
  EXPECT_EQ(im->borderMode[3], 7);
  im->depth = VRN_DEPTH_32S;
  vrnSetBorderMode(im, 0, 2, -40000);
  EXPECT_EQ(im->borderConst[1], -40000);
  im->depth = VRN_DEPTH_1U;
  vrnSetBorderMode(im, 0, 2, 5);
  EXPECT_EQ(im->borderConst[1], 1);
  vrnDeallocateHeader(im);
}

}  // namespace

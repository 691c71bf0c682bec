// The test support checks itself: builders give what the spec asked for,
// tiles round-trip, the catcher records and restores, and the tile server
// notices protocol faults made on purpose.
#include <gtest/gtest.h>

#include "support/images.h"
#include "support/report_catcher.h"
#include "support/tile_server.h"

namespace vrntest {
namespace {

TEST(SupportImages, LayoutAndSamplesRoundTripForEveryDepthAndOrder) {
  for (int depth : kAllDepthWords)
    for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE}) {
      const int channels = depth == VRN_DEPTH_1U ? 1 : 3;
      TestImage image(ImageSpec(depth, 21, 5, channels).order(order).aligned(16).seeded(3));
      ASSERT_NE(image.get(), nullptr);
      EXPECT_EQ(vrnCheckImageHeader(image), 0);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(image->imageData) % 16, 0u);
      EXPECT_NE(reinterpret_cast<uintptr_t>(image->imageData) % 32, 0u);
      for (int c = 0; c < channels; ++c) {
        setSample(image, 20, 4, c, 1);
        EXPECT_EQ(sampleAt(image, 20, 4, c), 1) << depthName(depth);
        setSample(image, 20, 4, c, depthMax(depth));
        EXPECT_EQ(sampleAt(image, 20, 4, c), depth == VRN_DEPTH_32F ? double(depthMax(depth)) : depthMax(depth));
      }
      // A sample beyond the range saturates.
      if (depth != VRN_DEPTH_1U && depth != VRN_DEPTH_32F) {
        setSample(image, 0, 0, 0, depthMax(depth) + 10);
        EXPECT_EQ(sampleAt(image, 0, 0, 0), depthMax(depth));
      }
    }
}

TEST(SupportImages, ContentCoversPaddingAndIsSeeded) {
  TestImage a(ImageSpec(VRN_DEPTH_8U, 3, 4).aligned(32).seeded(5));
  TestImage b(ImageSpec(VRN_DEPTH_8U, 3, 4).aligned(32).seeded(5));
  TestImage c(ImageSpec(VRN_DEPTH_8U, 3, 4).aligned(32).seeded(6));
  EXPECT_TRUE(sameBytes(a, b));
  EXPECT_FALSE(sameBytes(a, c));
  int nonZeroPadding = 0;
  for (int y = 0; y < 4; ++y)
    for (int i = 3; i < 32; ++i) nonZeroPadding += a->imageData[y * 32 + i] != 0;
  EXPECT_GT(nonZeroPadding, 50);
  // A change in padding is caught by sameBytes, not by samePixels.
  TestImage d = a.clone();
  d->imageData[10] ^= 1;
  EXPECT_FALSE(sameBytes(a, d));
  EXPECT_TRUE(samePixels(a, d));
}

TEST(SupportImages, EdgeRichContentHoldsTheExtremes) {
  TestImage image(ImageSpec(VRN_DEPTH_16S, 64, 8).fill(Content::kEdgeRich));
  int mins = 0, maxs = 0;
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 64; ++x) {
      mins += sampleAt(image, x, y) == -32768;
      maxs += sampleAt(image, x, y) == 32767;
    }
  EXPECT_GT(mins, 5);
  EXPECT_GT(maxs, 5);
}

TEST(SupportImages, MaskRoiAndCloneAreOwnedAndLegal) {
  MaskSpec m;
  m.width = 30;
  m.height = 7;
  m.hasRoi = true;
  m.roi = VrnROI{0, 3, 1, 20, 5};
  TestImage image(ImageSpec(VRN_DEPTH_32F, 12, 6, 4).withAlpha().withRoi(2, 1, 1, 5, 5).withMask(m));
  ASSERT_NE(image.mask(), nullptr);
  EXPECT_EQ(vrnCheckImageHeader(image), 0);
  TestImage copy = image.clone();
  EXPECT_NE(copy->roi, image->roi);
  EXPECT_NE(copy.mask(), image.mask());
  EXPECT_TRUE(sameBytes(image, copy));
  EXPECT_TRUE(sameBytes(image.mask(), copy.mask()));
  EXPECT_EQ(operatedChannels(image), std::vector<int>{1});
  const Rect size = operationSize({image.get()});
  EXPECT_EQ(size.width, 5);
  EXPECT_EQ(size.height, 5);
}

TEST(SupportImages, RandomCallsAreLegalAndAgreeInChannelCounts) {
  for (uint64_t seed = 0; seed < 300; ++seed) {
    const CallSpec call = randomCall(seed);
    TestImage dst(call.dst);
    ASSERT_EQ(vrnCheckImageHeader(dst), 0) << call.describe();
    for (const ImageSpec& s : call.sources) {
      TestImage src(s);
      ASSERT_EQ(vrnCheckImageHeader(src), 0) << call.describe();
      EXPECT_EQ(operatedChannels(src).size(), operatedChannels(dst).size()) << call.describe();
      EXPECT_EQ(src->depth, dst->depth);
      EXPECT_EQ(src->dataOrder, dst->dataOrder);
    }
  }
}

int silentHandler(int status, const char*, const char*, const char*, int) { return status; }

TEST(SupportReportCatcher, RecordsNestsAndRestores) {
  VrnErrorHandler before = vrnRedirectError(silentHandler);
  vrnSetErrMode(VRN_ErrorModeSilent);
  vrnSetErrStatus(-7);
  {
    ReportCatcher outer;
    EXPECT_EQ(vrnGetErrMode(), VRN_ErrorModeParent);
    vrnError(-5, "f", "ctx", "file.cpp", 12);
    {
      ReportCatcher inner(VRN_ErrorModeLeaf);
      vrnError(-4, "g", nullptr, "x.cpp", 3);
      EXPECT_REPORT(inner, -4, "g", "");
      EXPECT_TRUE(inner.last().nullContext);
    }
    EXPECT_EQ(vrnGetErrMode(), VRN_ErrorModeParent);
    vrnError(-6, "h", "c2", "y.cpp", 4);
    ASSERT_EQ(outer.count(), 2u);
    EXPECT_EQ(outer.reports()[0].fileName, "file.cpp");
    EXPECT_EQ(outer.reports()[0].line, 12);
    EXPECT_TRUE(expectLastReport(outer, -6, "h", "c2"));
    EXPECT_FALSE(expectReport(outer, -6, "h", "c2"));  // two reports, not one
  }
  EXPECT_EQ(vrnGetErrStatus(), -7);
  EXPECT_EQ(vrnGetErrMode(), VRN_ErrorModeSilent);
  EXPECT_EQ(vrnRedirectError(before), silentHandler);
}

TEST(SupportTileServer, TilesRoundTripForEveryDepthLayoutAndTileSize) {
  for (int depth : kAllDepthWords)
    for (int order : {VRN_DATA_ORDER_PIXEL, VRN_DATA_ORDER_PLANE})
      for (auto [tw, th] : {std::pair{8, 8}, {16, 24}, {24, 16}, {64, 64}}) {
        const int channels = depth == VRN_DEPTH_1U ? 1 : 3;
        TestImage plain(ImageSpec(depth, 37, 19, channels).order(order).aligned(8).seeded(tw + th));
        TileServer server(plain, tw, th);
        EXPECT_EQ(vrnCheckImageHeader(server), 0);
        EXPECT_TRUE(sameBytes(plain, server.toPlain().get())) << depthName(depth) << " " << tw << "x" << th;
        // The first pixel of tile (1, 1) is pixel (tw, th) of the image.
        if (depth == VRN_DEPTH_8U && order == VRN_DATA_ORDER_PIXEL && tw < 37 && th < 19) {
          EXPECT_EQ(static_cast<uint8_t>(server.tile(1, 1)[0]), sampleAt(plain, tw, th, 0));
        }
      }
}

TEST(SupportTileServer, NoticesProtocolFaults) {
  TestImage plain(ImageSpec(VRN_DEPTH_8U, 20, 10));
  TileServer server(plain, 8, 8, "S");
  VrnImage* image = server.image();
  VrnTileCallback cb = image->tileInfo->callBack;
  cb(image, 0, 0, VRN_TILE_READ);
  cb(image, 1, 0, VRN_TILE_READ);  // two open
  EXPECT_FALSE(server.checkProtocol());
  server.clearLog();

  TileServer second(plain, 8, 8, "T");
  image = second.image();
  cb(image, 0, 0, VRN_TILE_WRITE);
  cb(image, 0, 0, VRN_TILE_RELEASE);
  second.tile(0, 0)[3] ^= 1;  // written after its release
  cb(image, 3, 0, VRN_TILE_READ);  // out of range
  EXPECT_EQ(second.callsText(), "W(0,0) X(0,0) R(3,0)");
  const auto result = second.checkProtocol();
  EXPECT_FALSE(result);
  EXPECT_NE(std::string(result.message()).find("after its RELEASE"), std::string::npos);
  EXPECT_NE(std::string(result.message()).find("out of range"), std::string::npos);

  TileServer third(plain, 8, 8);
  image = third.image();
  third.withholdRequest(1);
  cb(image, 0, 0, VRN_TILE_READ);
  EXPECT_NE(image->tileInfo->tileData, nullptr);
  cb(image, 0, 0, VRN_TILE_RELEASE);
  cb(image, 1, 0, VRN_TILE_READ);
  EXPECT_EQ(image->tileInfo->tileData, nullptr);
  EXPECT_TRUE(third.checkProtocol());
  EXPECT_EQ(third.callsText(), "R(0,0) X(0,0) R(1,0)!");
}

}  // namespace
}  // namespace vrntest

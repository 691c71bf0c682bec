// The tile walk seen from the callbacks: which tiles are asked for, in what
// order and mode, where cells are cut, what a failed request stops, and
// that results equal the plain run's.
#include <gtest/gtest.h>

#include <cstring>

#include "support/report_catcher.h"
#include "support/tile_server.h"

namespace vrntest {
namespace {

// Sources A, B and a destination of one desc with their own seeds, and the plain run's result.
struct Call {
  TestImage a, b, d, expected;
  explicit Call(const ImageSpec& desc, const ImageSpec& dst) : a(ImageSpec(desc).seeded(1)), b(ImageSpec(desc).seeded(2)), d(dst) {
    TestImage pa = a.clone(), pb = b.clone();
    expected = d.clone();
    vrnAdd(pa, pb, expected);
  }
  explicit Call(const ImageSpec& desc) : Call(desc, ImageSpec(desc).seeded(3)) {}
};

TEST(TileWalk, RoiInsideATileStartsAtThatTileAndCutsAtItsEdge) {
  Call c(ImageSpec(VRN_DEPTH_8U, 40, 8), ImageSpec(VRN_DEPTH_8U, 40, 8).seeded(3).withRoi(0, 12, 0, 10, 8));
  TileServer dst(c.d, 8, 8, "D");
  // At the release of tile 1, x 12..15 are written and x 8..11 are not;
  // tile 2 is untouched until it is asked for.
  int checked = 0;
  dst.observer = [&](const TileServer::Call& call) {
    if (call.mode != VRN_TILE_RELEASE || call.col != 1) return;
    const TestImage now = dst.toPlain();
    for (int y = 0; y < 8; ++y)
      for (int x = 8; x < 24; ++x)
        EXPECT_EQ(sampleAt(now, x, y), sampleAt(x >= 12 && x < 16 ? c.expected : c.d, x, y)) << x << "," << y;
    ++checked;
  };
  ReportCatcher reports;
  vrnAdd(c.a, c.b, dst);
  EXPECT_EQ(checked, 1);
  EXPECT_NO_REPORT(reports);
  EXPECT_EQ(dst.callsText(), "W(1,0) X(1,0) W(2,0) X(2,0)");
  EXPECT_TRUE(sameBytes(c.expected, dst.toPlain()));
  EXPECT_TRUE(dst.checkProtocol());
}

// Cells end at every tile edge of every image; a tile stays open while the other image moves on.
TEST(TileWalk, CellsAreCutAtEveryTileEdgeOfEveryImage) {
  const struct { ImageSpec desc; int aw, ah, dw, dh; const char* calls; } cases[] = {
      {ImageSpec(VRN_DEPTH_16S, 56, 8), 16, 8, 24, 8,
       "A:R(0,0) D:W(0,0) A:X(0,0) A:R(1,0) D:X(0,0) D:W(1,0) A:X(1,0) A:R(2,0) "  // x = 16, 24, 32
       "A:X(2,0) A:R(3,0) D:X(1,0) D:W(2,0) A:X(3,0) D:X(2,0)"},                    // x = 48
      {ImageSpec(VRN_DEPTH_32F, 8, 20), 8, 8, 8, 16,  // bands end at rows 8 and 16; D's tile row is asked again
       "A:R(0,0) D:W(0,0) A:X(0,0) D:X(0,0) A:R(0,1) D:W(0,0) A:X(0,1) D:X(0,0) "
       "A:R(0,2) D:W(0,1) A:X(0,2) D:X(0,1)"},
  };
  for (const auto& k : cases) {
    Call c(k.desc);
    TileServer ta(c.a, k.aw, k.ah, "A"), td(c.d, k.dw, k.dh, "D");
    ReportCatcher reports;
    vrnAdd(ta, c.b, td);
    EXPECT_NO_REPORT(reports);
    EXPECT_EQ(mergedCallsText({&ta, &td}), k.calls);
    EXPECT_TRUE(sameBytes(c.expected, td.toPlain()));
    EXPECT_TRUE(ta.checkProtocol());
    EXPECT_TRUE(td.checkProtocol());
  }
}

// A withheld request reports the text of its image and stops: no RELEASE
// after it, tiles already written keep their sums, the rest its old content.
TEST(TileWalk, AWithheldRequestStopsTheWalk) {
  const struct { int server, request; const char* text; const char* calls; } cases[] = {
      {2, 0, "(dstImage->tileInfo->tileData == 0)", "A:R(0,0) B:R(0,0) D:W(0,0)!"},
      {2, 1, "(dstImage->tileInfo->tileData == 0)",
       "A:R(0,0) B:R(0,0) D:W(0,0) A:X(0,0) A:R(1,0) B:X(0,0) B:R(1,0) D:X(0,0) D:W(1,0)!"},
      {0, 0, "(srcImageA->tileInfo->tileData == 0)", "A:R(0,0)!"},
      {1, 0, "(srcImageB->tileInfo->tileData == 0)", "A:R(0,0) B:R(0,0)!"},
  };
  for (const auto& k : cases) {
    Call c(ImageSpec(VRN_DEPTH_8U, 16, 8));
    TileServer ta(c.a, 8, 8, "A"), tb(c.b, 8, 8, "B"), td(c.d, 8, 8, "D");
    TileServer* servers[] = {&ta, &tb, &td};
    servers[k.server]->withholdRequest(k.request);
    ReportCatcher reports;
    vrnAdd(ta, tb, td);
    EXPECT_REPORT(reports, VRN_StsBadArg, "vrnAdd", k.text);
    EXPECT_EQ(vrnGetErrStatus(), VRN_StsBadArg);
    EXPECT_EQ(mergedCallsText({&ta, &tb, &td}), k.calls);
    const TestImage got = td.toPlain();
    for (int y = 0; y < 8; ++y)
      for (int x = 0; x < 16; ++x)
        EXPECT_EQ(sampleAt(got, x, y), sampleAt(x < 8 && k.request ? c.expected : c.d, x, y)) << x << "," << y;
    for (TileServer* s : servers) EXPECT_TRUE(s->checkProtocol(true));
  }
}

TEST(TileWalk, ASourceThatIsTheDestinationSeesOnlyWriteAndRelease) {
  for (bool both : {false, true}) {
    TestImage b(ImageSpec(VRN_DEPTH_8S, 20, 12, 3).seeded(19));
    TestImage d(ImageSpec(VRN_DEPTH_8S, 20, 12, 3).seeded(20).withRoi(0, 3, 2, 14, 9));
    TestImage expected = d.clone(), pb = b.clone();
    vrnAdd(expected, both ? expected.get() : pb.get(), expected);
    TileServer td(d, 8, 8, "D");
    ReportCatcher reports;
    vrnAdd(td, both ? td.image() : b.get(), td);
    EXPECT_NO_REPORT(reports);
    EXPECT_EQ(td.callsText(), "W(0,0) X(0,0) W(1,0) X(1,0) W(2,0) X(2,0) W(0,1) X(0,1) W(1,1) X(1,1) W(2,1) X(2,1)");
    EXPECT_TRUE(sameBytes(expected, td.toPlain()));
    EXPECT_TRUE(td.checkProtocol());
  }
}

TEST(TileWalk, PlainSourcesKeepTheirRecordsAndOnlyTheDestinationIsCalled) {
  Call c(ImageSpec(VRN_DEPTH_32S, 30, 20, 2).planes().withRoi(0, 5, 3, 25, 17), ImageSpec(VRN_DEPTH_32S, 24, 24, 2).planes());
  const VrnImage recordA = *c.a.get();
  const VrnROI roiA = *c.a->roi;
  TileServer td(c.d, 16, 8, "D");
  ReportCatcher reports;
  vrnAdd(c.a, c.b, td);
  EXPECT_NO_REPORT(reports);
  EXPECT_EQ(std::memcmp(&recordA, c.a.get(), sizeof recordA), 0);
  EXPECT_EQ(std::memcmp(&roiA, c.a->roi, sizeof roiA), 0);
  // The rectangle is 25 x 17: tiles (0..1, 0..2) of the destination.
  EXPECT_EQ(td.callsText(), "W(0,0) X(0,0) W(1,0) X(1,0) W(0,1) X(0,1) W(1,1) X(1,1) W(0,2) X(0,2) W(1,2) X(1,2)");
  EXPECT_TRUE(sameBytes(c.expected, td.toPlain()));
  EXPECT_TRUE(td.checkProtocol());
}

TEST(TileWalk, AnEmptyRectangleStillAsksForEachBandButRunsNoCell) {
  TestImage a(ImageSpec(VRN_DEPTH_8U, 16, 16).seeded(24).withRoi(0, 16, 0, 4, 16));
  TestImage d(ImageSpec(VRN_DEPTH_8U, 16, 16).seeded(25));
  TileServer td(d, 8, 8, "D");
  ReportCatcher reports;
  vrnSetErrStatus(7);
  vrnAdd(a, a, td);
  EXPECT_NO_REPORT(reports);
  EXPECT_EQ(vrnGetErrStatus(), 7);
  EXPECT_EQ(td.callsText(), "W(0,0) X(0,0) W(0,1) X(0,1)");
  EXPECT_TRUE(sameBytes(d, td.toPlain()));
}

}  // namespace
}  // namespace vrntest

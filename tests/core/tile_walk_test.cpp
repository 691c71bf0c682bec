// The tile walk seen from the callbacks: which tiles are asked for, in what
// order and mode, where cells are cut, what a failed request stops, and
// that results equal the plain run's.
#include <gtest/gtest.h>

#include <cstring>

#include "support/images.h"
#include "support/report_catcher.h"
#include "support/tile_server.h"

namespace vrntest {
namespace {

// vrnAdd on plain copies of the images: the reference result.
TestImage plainAdd(const TestImage& a, const TestImage& b, const TestImage& d) {
  TestImage pa = a.clone(), pb = b.clone(), pd = d.clone();
  vrnAdd(pa, pb, pd);
  return pd;
}

TEST(TileWalk, RoiInsideATileStartsAtThatTileAndCutsAtItsEdge) {
  TestImage a(ImageSpec(VRN_DEPTH_8U, 40, 8).seeded(1));
  TestImage b(ImageSpec(VRN_DEPTH_8U, 40, 8).seeded(2));
  TestImage d(ImageSpec(VRN_DEPTH_8U, 40, 8).seeded(3).withRoi(0, 12, 0, 10, 8));
  const TestImage expected = plainAdd(a, b, d);
  TileServer dst(d, 8, 8, "D");
  // At the release of tile 1, x 12..15 of the destination are written and
  // x 8..11 are not; tile 2 is untouched until it is asked for.
  int checked = 0;
  dst.observer = [&](const TileServer::Call& call) {
    if (call.mode != VRN_TILE_RELEASE || call.col != 1) return;
    const TestImage now = dst.toPlain();
    for (int y = 0; y < 8; ++y)
      for (int x = 8; x < 24; ++x)
        EXPECT_EQ(sampleAt(now, x, y), sampleAt(x >= 12 && x < 16 ? expected : d, x, y)) << x << "," << y;
    ++checked;
  };
  ReportCatcher reports;
  vrnAdd(a, b, dst);
  EXPECT_EQ(checked, 1);
  EXPECT_NO_REPORT(reports);
  EXPECT_EQ(dst.callsText(), "W(1,0) X(1,0) W(2,0) X(2,0)");
  EXPECT_TRUE(sameBytes(expected, dst.toPlain()));
  EXPECT_TRUE(dst.checkProtocol());
}

TEST(TileWalk, CellsAreCutAtEveryTileEdgeOfEveryImage) {
  // A in 16-wide tiles, the destination in 24-wide ones: cells end at 16,
  // 24, 32, 48 and 56, and the destination's tile stays open while A moves on.
  TestImage a(ImageSpec(VRN_DEPTH_16S, 56, 8).seeded(4));
  TestImage b(ImageSpec(VRN_DEPTH_16S, 56, 8).seeded(5));
  TestImage d(ImageSpec(VRN_DEPTH_16S, 56, 8).seeded(6));
  const TestImage expected = plainAdd(a, b, d);
  TileServer ta(a, 16, 8, "A"), td(d, 24, 8, "D");
  ReportCatcher reports;
  vrnAdd(ta, b, td);
  EXPECT_NO_REPORT(reports);
  EXPECT_EQ(mergedCallsText({&ta, &td}),
            "A:R(0,0) D:W(0,0) "
            "A:X(0,0) A:R(1,0) "               // x = 16
            "D:X(0,0) D:W(1,0) "               // x = 24
            "A:X(1,0) A:R(2,0) "               // x = 32
            "A:X(2,0) A:R(3,0) D:X(1,0) D:W(2,0) "  // x = 48
            "A:X(3,0) D:X(2,0)");
  EXPECT_TRUE(sameBytes(expected, td.toPlain()));
  EXPECT_TRUE(ta.checkProtocol());
  EXPECT_TRUE(td.checkProtocol());
}

TEST(TileWalk, BandsAskAgainForEveryTileRowAndAcrossRowEdgesOfEachImage) {
  // 8-high tiles in A and 16-high in the destination: bands end at rows 8
  // and 16; the destination's tile row is asked for again in the second band.
  TestImage a(ImageSpec(VRN_DEPTH_32F, 8, 20).seeded(7));
  TestImage b(ImageSpec(VRN_DEPTH_32F, 8, 20).seeded(8));
  TestImage d(ImageSpec(VRN_DEPTH_32F, 8, 20).seeded(9));
  const TestImage expected = plainAdd(a, b, d);
  TileServer ta(a, 8, 8, "A"), td(d, 8, 16, "D");
  ReportCatcher reports;
  vrnAdd(ta, b, td);
  EXPECT_EQ(mergedCallsText({&ta, &td}),
            "A:R(0,0) D:W(0,0) A:X(0,0) D:X(0,0) "
            "A:R(0,1) D:W(0,0) A:X(0,1) D:X(0,0) "
            "A:R(0,2) D:W(0,1) A:X(0,2) D:X(0,1)");
  EXPECT_TRUE(sameBytes(expected, td.toPlain()));
}

TEST(TileWalk, AWithheldWriteStopsAfterTheSourcesWereServed) {
  TestImage a(ImageSpec(VRN_DEPTH_8U, 16, 8).seeded(10));
  TestImage b(ImageSpec(VRN_DEPTH_8U, 16, 8).seeded(11));
  TestImage d(ImageSpec(VRN_DEPTH_8U, 16, 8).seeded(12));
  TileServer ta(a, 8, 8, "A"), tb(b, 8, 8, "B"), td(d, 8, 8, "D");
  td.withholdRequest(0);
  ReportCatcher reports;
  vrnSetErrStatus(0);
  vrnAdd(ta, tb, td);
  EXPECT_REPORT(reports, VRN_StsBadArg, "vrnAdd", "(dstImage->tileInfo->tileData == 0)");
  EXPECT_EQ(vrnGetErrStatus(), VRN_StsBadArg);
  EXPECT_EQ(mergedCallsText({&ta, &tb, &td}), "A:R(0,0) B:R(0,0) D:W(0,0)!");
  EXPECT_TRUE(sameBytes(d, td.toPlain()));
  EXPECT_TRUE(ta.checkProtocol(true));
  EXPECT_TRUE(td.checkProtocol(true));
}

TEST(TileWalk, AWithheldWriteLeavesWhatWasWrittenAndReleasesNothing) {
  TestImage a(ImageSpec(VRN_DEPTH_8U, 16, 8).seeded(13));
  TestImage b(ImageSpec(VRN_DEPTH_8U, 16, 8).seeded(14));
  TestImage d(ImageSpec(VRN_DEPTH_8U, 16, 8).seeded(15));
  const TestImage full = plainAdd(a, b, d);
  TileServer ta(a, 8, 8, "A"), tb(b, 8, 8, "B"), td(d, 8, 8, "D");
  td.withholdRequest(1);
  ReportCatcher reports;
  vrnAdd(ta, tb, td);
  EXPECT_REPORT(reports, VRN_StsBadArg, "vrnAdd", "(dstImage->tileInfo->tileData == 0)");
  EXPECT_EQ(mergedCallsText({&ta, &tb, &td}),
            "A:R(0,0) B:R(0,0) D:W(0,0) A:X(0,0) A:R(1,0) B:X(0,0) B:R(1,0) D:X(0,0) D:W(1,0)!");
  // The first tile holds the sums, the second its old content.
  const TestImage got = td.toPlain();
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 16; ++x)
      EXPECT_EQ(sampleAt(got, x, y), sampleAt(x < 8 ? full : d, x, y)) << x << "," << y;
  EXPECT_TRUE(td.checkProtocol(true));
}

TEST(TileWalk, AWithheldReadReportsTheSourcesText) {
  struct Case {
    int withheld;  // 0: A, 1: B
    const char* text;
    const char* calls;
  };
  for (const Case& c : {Case{0, "(srcImageA->tileInfo->tileData == 0)", "A:R(0,0)!"},
                        Case{1, "(srcImageB->tileInfo->tileData == 0)", "A:R(0,0) B:R(0,0)!"}}) {
    TestImage a(ImageSpec(VRN_DEPTH_16U, 16, 8).seeded(16));
    TestImage b(ImageSpec(VRN_DEPTH_16U, 16, 8).seeded(17));
    TestImage d(ImageSpec(VRN_DEPTH_16U, 16, 8).seeded(18));
    TileServer ta(a, 8, 8, "A"), tb(b, 8, 8, "B"), td(d, 8, 8, "D");
    (c.withheld ? tb : ta).withholdRequest(0);
    ReportCatcher reports;
    vrnAdd(ta, tb, td);
    EXPECT_REPORT(reports, VRN_StsBadArg, "vrnAdd", c.text);
    EXPECT_EQ(mergedCallsText({&ta, &tb, &td}), c.calls);
    EXPECT_TRUE(sameBytes(d, td.toPlain()));
  }
}

TEST(TileWalk, ASourceThatIsTheDestinationSeesOnlyWriteAndRelease) {
  for (bool both : {false, true}) {
    TestImage b(ImageSpec(VRN_DEPTH_8S, 20, 12, 3).seeded(19));
    TestImage d(ImageSpec(VRN_DEPTH_8S, 20, 12, 3).seeded(20).withRoi(0, 3, 2, 14, 9));
    TestImage expected = d.clone();
    {
      TestImage pb = b.clone();
      vrnAdd(expected, both ? expected.get() : pb.get(), expected);
    }
    TileServer td(d, 8, 8, "D");
    ReportCatcher reports;
    vrnAdd(td, both ? td.image() : b.get(), td);
    EXPECT_NO_REPORT(reports);
    EXPECT_EQ(td.callsText(), "W(0,0) X(0,0) W(1,0) X(1,0) W(2,0) X(2,0) "
                              "W(0,1) X(0,1) W(1,1) X(1,1) W(2,1) X(2,1)");
    EXPECT_TRUE(sameBytes(expected, td.toPlain()));
    EXPECT_TRUE(td.checkProtocol());
  }
}

TEST(TileWalk, PlainSourcesKeepTheirRecordsAndOnlyTheDestinationIsCalled) {
  TestImage a(ImageSpec(VRN_DEPTH_32S, 30, 20, 2).planes().seeded(21).withRoi(0, 5, 3, 25, 17));
  TestImage b(ImageSpec(VRN_DEPTH_32S, 27, 19, 2).planes().seeded(22).withRoi(0, 1, 2, 40, 40));
  TestImage d(ImageSpec(VRN_DEPTH_32S, 24, 24, 2).planes().seeded(23));
  const TestImage expected = plainAdd(a, b, d);
  const VrnImage recordA = *a.get();
  const VrnROI roiA = *a->roi;
  TileServer td(d, 16, 8, "D");
  ReportCatcher reports;
  vrnAdd(a, b, td);
  EXPECT_NO_REPORT(reports);
  EXPECT_EQ(std::memcmp(&recordA, a.get(), sizeof recordA), 0);
  EXPECT_EQ(std::memcmp(&roiA, a->roi, sizeof roiA), 0);
  // The rectangle is 25 x 17: tiles (0..1, 0..2) of the destination.
  EXPECT_EQ(td.callsText(), "W(0,0) X(0,0) W(1,0) X(1,0) W(0,1) X(0,1) W(1,1) X(1,1) "
                            "W(0,2) X(0,2) W(1,2) X(1,2)");
  EXPECT_TRUE(sameBytes(expected, td.toPlain()));
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

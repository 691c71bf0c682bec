// The tile walk seen from the callbacks: which tiles are asked for, in what
// order and mode, where cells are cut, what a failed request stops, and
// that results equal the plain run's.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "support/checks.h"
#include "support/report_catcher.h"
#include "support/tile_server.h"

namespace vrntest {
namespace {

// Images A, B, D (each tiled by its tile size, or plain when 0); vrnAdd runs
// on images use[0], use[1] into D, so a source may be D itself.
TEST(TileWalk, TilesAskedForInOrderAndResultsEqualThePlainRun) {
  const ImageSpec s8(VRN_DEPTH_8U, 40, 8), s8S(VRN_DEPTH_8S, 20, 12, 3), s32(VRN_DEPTH_32S, 30, 20, 2);
  const char* rows3x2 = "D:W(0,0) D:X(0,0) D:W(1,0) D:X(1,0) D:W(2,0) D:X(2,0) D:W(0,1) D:X(0,1) D:W(1,1) D:X(1,1) D:W(2,1) D:X(2,1)";
  const struct { ImageSpec a, b, d; int tiles[3][2]; int use[2]; const char* calls; } cases[] = {
      // A ROI inside a tile starts at that tile and cuts at its edge.
      {s8, s8, ImageSpec(s8).withRoi(0, 12, 0, 10, 8), {{0, 0}, {0, 0}, {8, 8}}, {0, 1},
       "D:W(1,0) D:X(1,0) D:W(2,0) D:X(2,0)"},
      // Cells end at every tile edge of every image; a tile stays open while the other moves on.
      {ImageSpec(VRN_DEPTH_16S, 56, 8), ImageSpec(VRN_DEPTH_16S, 56, 8), ImageSpec(VRN_DEPTH_16S, 56, 8),
       {{16, 8}, {0, 0}, {24, 8}}, {0, 1},
       "A:R(0,0) D:W(0,0) A:X(0,0) A:R(1,0) D:X(0,0) D:W(1,0) A:X(1,0) A:R(2,0) "  // x = 16, 24, 32
       "A:X(2,0) A:R(3,0) D:X(1,0) D:W(2,0) A:X(3,0) D:X(2,0)"},                    // x = 48
      {ImageSpec(VRN_DEPTH_32F, 8, 20), ImageSpec(VRN_DEPTH_32F, 8, 20), ImageSpec(VRN_DEPTH_32F, 8, 20),
       {{8, 8}, {0, 0}, {8, 16}}, {0, 1},  // bands end at rows 8 and 16; D's tile row is asked again
       "A:R(0,0) D:W(0,0) A:X(0,0) D:X(0,0) A:R(0,1) D:W(0,0) A:X(0,1) D:X(0,0) "
       "A:R(0,2) D:W(0,1) A:X(0,2) D:X(0,1)"},
      // A source that is the destination sees only WRITE and RELEASE.
      {s8S, s8S, ImageSpec(s8S).withRoi(0, 3, 2, 14, 9), {{0, 0}, {0, 0}, {8, 8}}, {2, 1}, rows3x2},
      {s8S, s8S, ImageSpec(s8S).withRoi(0, 3, 2, 14, 9), {{0, 0}, {0, 0}, {8, 8}}, {2, 2}, rows3x2},
      // Plain sources: only the destination is called; the rectangle 25 x 17 covers its tiles (0..1, 0..2).
      {ImageSpec(s32).planes().withRoi(0, 5, 3, 25, 17), ImageSpec(s32).planes(), ImageSpec(VRN_DEPTH_32S, 24, 24, 2).planes(),
       {{0, 0}, {0, 0}, {16, 8}}, {0, 1},
       "D:W(0,0) D:X(0,0) D:W(1,0) D:X(1,0) D:W(0,1) D:X(0,1) D:W(1,1) D:X(1,1) D:W(0,2) D:X(0,2) D:W(1,2) D:X(1,2)"},
      // An empty rectangle still asks for each band but runs no cell.
      {ImageSpec(VRN_DEPTH_8U, 16, 16).withRoi(0, 16, 0, 4, 16), s8, ImageSpec(VRN_DEPTH_8U, 16, 16),
       {{0, 0}, {0, 0}, {8, 8}}, {0, 0}, "D:W(0,0) D:X(0,0) D:W(0,1) D:X(0,1)"},
  };
  for (const auto& k : cases) {
    SCOPED_TRACE(k.calls);
    const TestImage images[3] = {TestImage(ImageSpec(k.a).seeded(1)), TestImage(ImageSpec(k.b).seeded(2)),
                                 TestImage(ImageSpec(k.d).seeded(3))};
    TestImage plain[3] = {images[0].clone(), images[1].clone(), images[2].clone()};
    vrnAdd(plain[k.use[0]], plain[k.use[1]], plain[2]);
    std::unique_ptr<TileServer> servers[3];
    VrnImage *records[3], recordsBefore[3];
    VrnROI roisBefore[3] = {};
    for (int i = 0; i < 3; ++i) {
      recordsBefore[i] = *images[i].get();
      if (images[i]->roi) roisBefore[i] = *images[i]->roi;
      if (k.tiles[i][0]) servers[i] = std::make_unique<TileServer>(images[i], k.tiles[i][0], k.tiles[i][1], std::string(1, "ABD"[i]));
      records[i] = servers[i] ? servers[i]->image() : images[i].get();
    }
    ReportCatcher reports;
    vrnSetErrStatus(7);
    vrnAdd(records[k.use[0]], records[k.use[1]], records[2]);
    EXPECT_NO_REPORT(reports);
    EXPECT_EQ(vrnGetErrStatus(), 7);
    EXPECT_EQ(mergedCallsText({servers[0].get(), servers[1].get(), servers[2].get()}), k.calls);
    for (int i = 0; i < 3; ++i) {
      EXPECT_TRUE(sameBytes(i == 2 ? plain[2].get() : images[i].get(), servers[i] ? servers[i]->toPlain() : images[i].clone()));
      EXPECT_EQ(std::memcmp(&recordsBefore[i], images[i].get(), sizeof(VrnImage)), 0) << "record " << i << " changed";
      if (images[i]->roi) { EXPECT_EQ(std::memcmp(&roisBefore[i], images[i]->roi, sizeof(VrnROI)), 0); }
      if (servers[i]) { EXPECT_TRUE(servers[i]->checkProtocol()); }
    }
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
    const ImageSpec desc(VRN_DEPTH_8U, 16, 8);
    const TestImage a(ImageSpec(desc).seeded(1)), b(ImageSpec(desc).seeded(2)), d(ImageSpec(desc).seeded(3));
    TestImage expected = d.clone();
    vrnAdd(a, b, expected);
    TileServer ta(a, 8, 8, "A"), tb(b, 8, 8, "B"), td(d, 8, 8, "D");
    TileServer* servers[] = {&ta, &tb, &td};
    servers[k.server]->withholdRequest(k.request);
    ReportCatcher reports;
    vrnAdd(ta, tb, td);
    EXPECT_REPORT(reports, VRN_StsBadArg, "vrnAdd", k.text);
    EXPECT_EQ(vrnGetErrStatus(), VRN_StsBadArg);
    EXPECT_EQ(mergedCallsText({&ta, &tb, &td}), k.calls);
    const TestImage got = td.toPlain();
    EXPECT_TRUE(sameSamples(k.request ? expected : d, Rect{0, 0, 8, 8}, got, 0, 0));
    EXPECT_TRUE(sameSamples(d, Rect{8, 0, 8, 8}, got, 8, 0));
    for (TileServer* s : servers) EXPECT_TRUE(s->checkProtocol(true));
  }
}

}  // namespace
}  // namespace vrntest

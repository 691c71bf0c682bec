// Tiled == flat: for every operation of the frame table and a few hundred
// seeded random calls (depth, layout, sizes, ROIs, COI, alpha, masks on any
// image, a source that is the destination), the call on a mix of tiled and
// plain images gives byte for byte what it gives on plain images, reports
// the same, leaves the sources alone, and keeps the tile protocol.
//
// Row padding is compared too, except where the frame's flat run may work
// through padding: a plain call that qualifies as a flat run, or a tiled
// call whose images all have one channel selected by COI 1 (a cell may then
// be a flat run over a whole tile).
#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "core/frame.h"
#include "core/frame_operations.h"
#include "support/images.h"
#include "support/report_catcher.h"
#include "support/tile_server.h"

namespace vrntest {
namespace {

constexpr int kCalls = 300;

std::vector<int> depthsOf(unsigned set) {
  std::vector<int> depths;  // the kDepth* bits follow the order of kAllDepthWords
  for (int i = 0; i < 7; ++i)
    if (set & (1u << i)) depths.push_back(kAllDepthWords[i]);
  return depths;
}

// One image of the tiled run: a tile server or a plain copy.
struct Side {
  std::unique_ptr<TileServer> server;
  TestImage plain;
  VrnImage* record() const { return server ? server->image() : plain.get(); }
  TestImage result() const { return server ? server->toPlain() : plain.clone(); }
};

Side makeSide(const TestImage& image, Rng& rng, bool tiled, const char* name) {
  if (!tiled) return Side{nullptr, image.clone()};
  // 8x8, 16x24, 24x16, or larger than the image.
  static const int widths[] = {8, 16, 24}, heights[] = {8, 24, 16};
  const int k = static_cast<int>(rng() % 4);
  int tw = k < 3 ? widths[k] : (image->width + 7) / 8 * 8 + 8 * static_cast<int>(rng() % 2);
  int th = k < 3 ? heights[k] : (image->height + 7) / 8 * 8 + 8 * static_cast<int>(rng() % 2);
  return Side{std::make_unique<TileServer>(image, tw, th, name), TestImage()};
}

// The reports' statuses and contexts, one line each.
std::string statusesAndTexts(const ReportCatcher& catcher) {
  std::string text;
  for (const Report& r : catcher.reports()) text += std::to_string(r.status) + " " + r.context + "\n";
  return text;
}

bool oneChannelByCoi(const VrnImage* image) {
  return image->nChannels == 1 && image->roi && image->roi->coi > 0;
}

class TiledEqualsFlat : public testing::TestWithParam<size_t> {};

TEST_P(TiledEqualsFlat, OnRandomCalls) {
  const FrameOperation& op = frameOperations()[GetParam()];
  CallOptions options;
  options.sources = op.sources;
  options.depths = depthsOf(op.depths);
  options.maskChance = (op.flags & kNoMasks) ? 0.0 : 0.15;
  options.aliasChance = (op.flags & kNoInPlace) ? 0.0 : 0.12;

  for (int seed = 0; seed < kCalls; ++seed) {
    const CallSpec call = randomCall(static_cast<uint64_t>(seed) * 7919 + GetParam(), options);
    SCOPED_TRACE(testing::Message() << op.name << " seed " << seed << "\n" << call.describe());
    Rng rng(static_cast<uint64_t>(seed) + 1000);

    // The images as built, and the plain run on copies of them.
    TestImage dst(call.dst), sources[2];
    for (int i = 0; i < op.sources; ++i)
      if (!call.sourceIsDst[i]) sources[i] = TestImage(call.sources[static_cast<size_t>(i)]);
    TestImage plainDst = dst.clone(), plainSrc[2];
    VrnImage* plainRec[2] = {nullptr, nullptr};
    for (int i = 0; i < op.sources; ++i)
      plainRec[i] = call.sourceIsDst[i] ? plainDst.get() : (plainSrc[i] = sources[i].clone()).get();
    // An empty rectangle still has the walk ask for its bands' tiles, which
    // may lie beyond the grid (a ROI at the right edge); the walker's own
    // tests cover that case.
    const Rect size = operationSize({plainRec[0], plainRec[1], plainDst.get()});
    if (size.width <= 0 || size.height <= 0) continue;
    ReportCatcher plainReports;
    op.run(plainRec[0], plainRec[1], plainDst.get());

    // The tiled run: each distinct image tiled or not, at least one tiled.
    bool tiled[3] = {rng() % 5 < 3, rng() % 5 < 3, rng() % 5 < 3};  // dst, A, B
    bool any = tiled[0];
    for (int i = 0; i < op.sources; ++i) any |= !call.sourceIsDst[i] && tiled[i + 1];
    if (!any) tiled[0] = true;
    Side dstSide = makeSide(dst, rng, tiled[0], "D");
    Side srcSide[2];
    VrnImage* rec[2] = {nullptr, nullptr};
    for (int i = 0; i < op.sources; ++i)
      rec[i] = call.sourceIsDst[i] ? dstSide.record() : (srcSide[i] = makeSide(sources[i], rng, tiled[i + 1], i ? "B" : "A")).record();
    ReportCatcher tiledReports;
    op.run(rec[0], rec[1], dstSide.record());

    // Same reports.
    ASSERT_EQ(statusesAndTexts(tiledReports), statusesAndTexts(plainReports));

    // Same destination; padding only where no flat run can have touched it.
    const VrnImage *pa = plainRec[0], *pb = op.sources == 2 ? plainRec[1] : nullptr;
    const bool anyMask = dst->maskROI || pa->maskROI || (pb && pb->maskROI);
    const bool anyAlpha = dst->alphaChannel || pa->alphaChannel || (pb && pb->alphaChannel);
    const bool plainFlat = pb ? vrn::isFlatRun(pa, pb, plainDst.get(), anyAlpha)
                              : vrn::isFlatRun(pa, plainDst.get(), nullptr, anyAlpha);
    const bool cellFlat = oneChannelByCoi(dst) && oneChannelByCoi(pa) && (!pb || oneChannelByCoi(pb));
    const bool paddingComparable = anyMask || (!plainFlat && !cellFlat);
    const TestImage got = dstSide.result();
    EXPECT_TRUE(paddingComparable ? sameBytes(plainDst.get(), got.get()) : samePixels(plainDst.get(), got.get()));

    // Sources untouched, protocol kept.
    for (int i = 0; i < op.sources; ++i) {
      if (call.sourceIsDst[i]) continue;
      EXPECT_TRUE(sameBytes(sources[i].get(), srcSide[i].result().get())) << "source " << i << " changed";
      if (srcSide[i].server) { EXPECT_TRUE(srcSide[i].server->checkProtocol()); }
    }
    if (dstSide.server) { EXPECT_TRUE(dstSide.server->checkProtocol()); }
    if (HasFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Frame, TiledEqualsFlat, testing::Range<size_t>(0, frameOperations().size()),
                         [](const testing::TestParamInfo<size_t>& info) {
                           return std::string(frameOperations()[info.param].name);
                         });

}  // namespace
}  // namespace vrntest

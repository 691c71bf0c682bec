// Which function reports, and with what: the routes of the arithmetic are
// taken before their own checks, so a call routed into a logic or copy
// function reports under that function's name.  Each route case pairs a
// source with a destination of another depth, so whoever checks reports.
// (A route taken where it must not be changes values: the arithmetic
// table catches that; here are the routes that must be taken, and those
// whose wrong choice would give the same values.)  The checks common to
// the two-image operations are the frame's, tested there with vrnAdd.
#include <gtest/gtest.h>

#include <functional>

#include "support/images.h"
#include "support/report_catcher.h"

namespace {

using namespace vrntest;
using Call = std::function<void(VrnImage*, VrnImage*)>;

TEST(ArithRoutes, ReporterOfEachRoute) {
  const struct { const char* what; int depth; Call call; const char* reporter; } cases[] = {
      {"AddS 8U 300", VRN_DEPTH_8U, [](auto s, auto d) { vrnAddS(s, d, 300); }, "vrnOrS"},
      {"AddS 8U -300", VRN_DEPTH_8U, [](auto s, auto d) { vrnAddS(s, d, -300); }, "vrnAndS"},
      {"AddS 8U 100", VRN_DEPTH_8U, [](auto s, auto d) { vrnAddS(s, d, 100); }, "vrnSubtractS"},
      {"AddS 16S min", VRN_DEPTH_16S, [](auto s, auto d) { vrnAddS(s, d, INT32_MIN); }, "vrnSubtractS"},
      {"AddS 1U", VRN_DEPTH_1U, [](auto s, auto d) { vrnAddS(s, d, 1); }, "vrnOrS"},
      {"AddS 32S", VRN_DEPTH_32S, [](auto s, auto d) { vrnAddS(s, d, 1); }, "vrnAddS"},
      {"SubtractS 1U 1 flip", VRN_DEPTH_1U, [](auto s, auto d) { vrnSubtractS(s, d, 1, 1); }, "vrnXorS"},
      {"SubtractS 1U 1", VRN_DEPTH_1U, [](auto s, auto d) { vrnSubtractS(s, d, 1, 0); }, "vrnAndS"},
      {"SubtractS 1U 0 flip", VRN_DEPTH_1U, [](auto s, auto d) { vrnSubtractS(s, d, 0, 1); }, "vrnAndS"},
      {"SubtractS 1U 0", VRN_DEPTH_1U, [](auto s, auto d) { vrnSubtractS(s, d, 0, 0); }, "vrnXorS"},
      {"SubtractS 8U 255", VRN_DEPTH_8U, [](auto s, auto d) { vrnSubtractS(s, d, 255, 0); }, "vrnAndS"},
      {"SubtractS 8U -255", VRN_DEPTH_8U, [](auto s, auto d) { vrnSubtractS(s, d, -255, 0); }, "vrnOrS"},
      {"SubtractS 8U 510 flip", VRN_DEPTH_8U, [](auto s, auto d) { vrnSubtractS(s, d, 510, 1); }, "vrnOrS"},
      {"SubtractS 8U 0 flip", VRN_DEPTH_8U, [](auto s, auto d) { vrnSubtractS(s, d, 0, 1); }, "vrnAndS"},
      {"SubtractS 16U 65535", VRN_DEPTH_16U, [](auto s, auto d) { vrnSubtractS(s, d, 65535, 0); }, "vrnAndS"},
      {"MultiplyS 8U 0", VRN_DEPTH_8U, [](auto s, auto d) { vrnMultiplyS(s, d, 0); }, "vrnAndS"},
      {"MultiplyS 8S 0", VRN_DEPTH_8S, [](auto s, auto d) { vrnMultiplyS(s, d, 0); }, "vrnMultiplyS"},
      {"MultiplyS 1U", VRN_DEPTH_1U, [](auto s, auto d) { vrnMultiplyS(s, d, 5); }, "vrnAndS"},
      {"Multiply 1U", VRN_DEPTH_1U, [](auto s, auto d) { vrnMultiply(s, s, d); }, "vrnAnd"},
      {"Subtract 1U", VRN_DEPTH_1U, [](auto s, auto d) { vrnSubtract(s, s, d); }, "vrnSubtract"},
      {"LShiftS 8U 0", VRN_DEPTH_8U, [](auto s, auto d) { vrnLShiftS(s, d, 0); }, "vrnXorS"},
      {"LShiftS 8U 8", VRN_DEPTH_8U, [](auto s, auto d) { vrnLShiftS(s, d, 8); }, "vrnAndS"},
      {"LShiftS 16S 16", VRN_DEPTH_16S, [](auto s, auto d) { vrnLShiftS(s, d, 16); }, "vrnAndS"},
      {"LShiftS 32S -1", VRN_DEPTH_32S, [](auto s, auto d) { vrnLShiftS(s, d, 0xFFFFFFFFu); }, "vrnAndS"},
      {"LShiftS 1U 1", VRN_DEPTH_1U, [](auto s, auto d) { vrnLShiftS(s, d, 1); }, "vrnAndS"},
      {"RShiftS 8U 0", VRN_DEPTH_8U, [](auto s, auto d) { vrnRShiftS(s, d, 0); }, "vrnXorS"},
      {"RShiftS 16U huge", VRN_DEPTH_16U, [](auto s, auto d) { vrnRShiftS(s, d, 0x80000000u); }, "vrnAndS"},
      {"RShiftS 8S 100", VRN_DEPTH_8S, [](auto s, auto d) { vrnRShiftS(s, d, 100); }, "vrnRShiftS"},
      {"RShiftS 32S huge", VRN_DEPTH_32S, [](auto s, auto d) { vrnRShiftS(s, d, 0xFFFFFFFFu); }, "vrnRShiftS"},
      {"Square 1U", VRN_DEPTH_1U, [](auto s, auto d) { vrnSquare(s, d); }, "vrnSquare"},
      {"Abs 8S", VRN_DEPTH_8S, [](auto s, auto d) { vrnAbs(s, d); }, "vrnAbs"},
      {"Abs 16U", VRN_DEPTH_16U, [](auto s, auto d) { vrnAbs(s, d); }, "vrnCopy"},
      {"Not 8U", VRN_DEPTH_8U, [](auto s, auto d) { vrnNot(s, d); }, "vrnXorS"},
  };
  for (const auto& c : cases) {
    const TestImage src(ImageSpec(c.depth, 8, 2));
    TestImage dst(ImageSpec(c.depth == VRN_DEPTH_8U ? VRN_DEPTH_16U : VRN_DEPTH_8U, 8, 2));
    ReportCatcher catcher;
    c.call(src, dst);
    ASSERT_FALSE(catcher.empty()) << c.what;
    EXPECT_EQ(catcher.reports()[0].funcName, c.reporter) << c.what;
    if (std::string(c.what) != "Abs 16U") continue;  // a failed copy adds a backtrace line
    EXPECT_TRUE(expectLastReport(catcher, VRN_StsBackTrace, "vrnAbs", "vrnCopy is failed"));
  }
}

// vrnAbs on 16S images of these channel counts, alpha channels and COIs (0: none).
void absOf(int srcCh, int srcAlpha, int srcCoi, int dstCh, int dstAlpha, int dstCoi) {
  auto shape = [](int ch, int alpha, int coi) {
    const ImageSpec s = ImageSpec(VRN_DEPTH_16S, 8, 2).channels(ch, alpha);
    return coi ? ImageSpec(s).withCoi(coi) : s;
  };
  const TestImage src(shape(srcCh, srcAlpha, srcCoi)), dst(shape(dstCh, dstAlpha, dstCoi));
  vrnAbs(src, dst);
}

// Each own check's status and text; status 0: accepted without a report.
TEST(ArithRoutes, OwnReportsAndTexts) {
  const TestImage f(ImageSpec(VRN_DEPTH_32F, 8, 2)), f2(ImageSpec(VRN_DEPTH_32F, 8, 2));
  const TestImage u(ImageSpec(VRN_DEPTH_8U, 8, 2)), u2(ImageSpec(VRN_DEPTH_8U, 8, 2));
  const TestImage u3(ImageSpec(VRN_DEPTH_8U, 8, 2, 3)), bits(ImageSpec(VRN_DEPTH_1U, 8, 2));
  const struct { std::function<void()> call; int status; const char *func, *context; } cases[] = {
      {[&] { vrnSubtract(nullptr, u, u2); }, -9, "vrnSubtract", "Incorrect Image"},
      {[&] { vrnMultiply(nullptr, u, u2); }, -5, "vrnMultiply", "srcImageA==0"},
      {[&] { vrnSquare(nullptr, u); }, -9, "vrnSquare", "Incorrect Image"},
      {[&] { vrnAddS(nullptr, u, 1); }, -5, "vrnAddS", "srcImage==0"},
      {[&] { vrnSubtractS(nullptr, u, 1, 0); }, -5, "vrnSubtractS", "srcImage==0"},
      {[&] { vrnMultiplyS(nullptr, u, 1); }, -5, "vrnMultiplyS", "srcImage==0"},
      {[&] { vrnLShiftS(nullptr, u, 1); }, -5, "vrnLShiftS", "srcImage==0"},
      {[&] { vrnAbs(nullptr, nullptr); }, -5, "vrnAbs", "srcImage==0"},
      {[&] { vrnAbs(u, nullptr); }, -5, "vrnAbs", "dstImage==0"},
      {[&] { vrnAddSFP(nullptr, f, 1.0f); }, -5, "vrnAddSFP", "srcImage==0"},
      {[&] { vrnAddS(f, f2, 1); }, -5, "vrnAddS", "For processing depth 32F use function vrnAddSFP"},
      {[&] { vrnSubtractS(f, f2, 1, 0); }, -5, "vrnSubtractS", "For processing depth 32F use function vrnSubtractSFP"},
      {[&] { vrnMultiplyS(f, f2, 1); }, -5, "vrnMultiplyS", "For processing depth 32F use function vrnMultiplySFP"},
      {[&] { vrnAddSFP(u, u2, 1.0f); }, -5, "vrnAddSFP", "For processing this depth use function vrnAddS"},
      {[&] { vrnSubtractSFP(u, u2, 1.0f, 1); }, -5, "vrnSubtractSFP", "For processing this depth use function vrnSubtractS"},
      {[&] { vrnMultiplySFP(u, u2, 1.0f); }, -5, "vrnMultiplySFP", "For processing this depth use function vrnMultiplyS"},
      {[&] { vrnLShiftS(f, f2, 3); }, -5, "vrnLShiftS", "This function does not support depth 32F"},
      {[&] { vrnRShiftS(f, f2, 3); }, -5, "vrnRShiftS", "This function does not support depth 32F"},
      {[&] { vrnSubtractS(u, f, 3, 0); }, -5, "vrnSubtractS", "(srcImage->depth != dstImage->depth)"},
      {[&] { vrnAnd(f, f, f); }, -5, "vrnAnd", "This function does not support depth 32F"},
      {[&] { vrnAnd(nullptr, u, u); }, -9, "vrnAnd", "Incorrect Image"},
      {[&] { vrnXor(u3, u, u); }, -5, "vrnXor", "(nChSrcA != nChDst)"},
      {[&] { vrnAdd(bits, u, bits); }, -5, "vrnOr", "(srcImageB->depth != dstImage->depth)"},
      {[&] { vrnOrS(f, f, 1); }, -5, "vrnOrS", "This function does not support depth 32F"},
      {[&] { vrnNot(f, f); }, -5, "vrnXorS", "This function does not support depth 32F"},
      // vrnAbs's channel rule: a COI on either side means one channel each;
      // else the counts less alpha, or the channel numbers, agree.
      {[] { absOf(3, 0, 2, 1, 0, 0); }, -5, "vrnAbs", "(nChSrcCoi != nChDstCoi)"},
      {[] { absOf(1, 0, 1, 3, 0, 2); }, -5, "vrnAbs", "(nChSrcCoi != nChDstCoi)"},
      {[] { absOf(1, 0, 1, 1, 0, 0); }, 0, "", ""},  // one channel counts as having no COI
      {[] { absOf(3, 0, 2, 3, 0, 3); }, 0, "", ""},
      {[] { absOf(3, 0, 0, 1, 0, 0); }, -5, "vrnAbs", "(srcImage->nChannels != dstImage->nChannels)"},
      {[] { absOf(4, 4, 0, 3, 0, 0); }, 0, "", ""},
      {[] { absOf(4, 4, 0, 4, 0, 0); }, 0, "", ""},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    ReportCatcher catcher;
    cases[i].call();
    if (cases[i].status)
      EXPECT_REPORT(catcher, cases[i].status, cases[i].func, cases[i].context) << "case " << i;
    else
      EXPECT_NO_REPORT(catcher) << "case " << i;
  }
}

}  // namespace

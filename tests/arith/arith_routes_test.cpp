// Which function reports: the routes of the arithmetic functions are taken
// before their own checks, so a call routed into a logic or copy function
// reports under that function's name.  Each case pairs a source with a
// destination of another depth, so that whoever runs the checks reports.
#include <functional>

#include "arith_support.h"

using namespace arithtest;

namespace {

char kGray[4] = {'G', 'R', 'A', 'Y'};
char kG[4] = {'G', 0, 0, 0};

struct Owned {
  VrnImage* image;
  explicit Owned(int depth, int channels = 1, int alpha = 0, int coi = -1, int w = 8, int h = 2) {
    VrnROI* roi = coi >= 0 ? vrnCreateROI(coi, 0, 0, w, h) : nullptr;
    image = vrnCreateImageHeader(channels, alpha, depth, kGray, kG, VRN_DATA_ORDER_PIXEL, VRN_ORIGIN_TOP, 4, w,
                                 h, roi, nullptr, nullptr, nullptr);
    if (depth == VRN_DEPTH_32F)
      vrnAllocateImageFP(image, 1, -2.0f);
    else
      vrnAllocateImage(image, 1, 3);
  }
  ~Owned() { vrnDeallocate(image, VRN_FREE_HEADER | VRN_FREE_DATA | VRN_FREE_ROI); }
  VrnImage* get() const { return image; }
};

struct RouteCase {
  const char* what;
  int depth;
  std::function<void(VrnImage*, VrnImage*)> call;
  const char* reporter;
};

TEST(ArithRoutes, ReporterOfEachRoute) {
  const RouteCase cases[] = {
      {"AddS 8U 300", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnAddS(s, d, 300); }, "vrnOrS"},
      {"AddS 8U -300", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnAddS(s, d, -300); }, "vrnAndS"},
      {"AddS 8U 100", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnAddS(s, d, 100); }, "vrnSubtractS"},
      {"AddS 16S min", VRN_DEPTH_16S, [](VrnImage* s, VrnImage* d) { vrnAddS(s, d, INT32_MIN); }, "vrnSubtractS"},
      {"AddS 1U", VRN_DEPTH_1U, [](VrnImage* s, VrnImage* d) { vrnAddS(s, d, 1); }, "vrnOrS"},
      {"AddS 32S", VRN_DEPTH_32S, [](VrnImage* s, VrnImage* d) { vrnAddS(s, d, 1); }, "vrnAddS"},
      {"SubtractS 1U 1 flip", VRN_DEPTH_1U, [](VrnImage* s, VrnImage* d) { vrnSubtractS(s, d, 1, 1); }, "vrnXorS"},
      {"SubtractS 1U 3 flip", VRN_DEPTH_1U, [](VrnImage* s, VrnImage* d) { vrnSubtractS(s, d, 3, 1); }, "vrnXorS"},
      {"SubtractS 1U 1", VRN_DEPTH_1U, [](VrnImage* s, VrnImage* d) { vrnSubtractS(s, d, 1, 0); }, "vrnAndS"},
      {"SubtractS 1U 0 flip", VRN_DEPTH_1U, [](VrnImage* s, VrnImage* d) { vrnSubtractS(s, d, 0, 1); }, "vrnAndS"},
      {"SubtractS 1U 0", VRN_DEPTH_1U, [](VrnImage* s, VrnImage* d) { vrnSubtractS(s, d, 0, 0); }, "vrnXorS"},
      {"SubtractS 8U 255", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnSubtractS(s, d, 255, 0); }, "vrnAndS"},
      {"SubtractS 8U 254", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnSubtractS(s, d, 254, 0); }, "vrnSubtractS"},
      {"SubtractS 8U -255", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnSubtractS(s, d, -255, 0); }, "vrnOrS"},
      {"SubtractS 8U -254", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnSubtractS(s, d, -254, 0); }, "vrnSubtractS"},
      {"SubtractS 8U 510 flip", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnSubtractS(s, d, 510, 1); }, "vrnOrS"},
      {"SubtractS 8U 509 flip", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnSubtractS(s, d, 509, 1); }, "vrnSubtractS"},
      {"SubtractS 8U 0 flip", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnSubtractS(s, d, 0, 1); }, "vrnAndS"},
      {"SubtractS 16U 65535", VRN_DEPTH_16U, [](VrnImage* s, VrnImage* d) { vrnSubtractS(s, d, 65535, 0); }, "vrnAndS"},
      {"SubtractS 16U 65534", VRN_DEPTH_16U, [](VrnImage* s, VrnImage* d) { vrnSubtractS(s, d, 65534, 0); }, "vrnSubtractS"},
      {"SubtractS 8S 1000", VRN_DEPTH_8S, [](VrnImage* s, VrnImage* d) { vrnSubtractS(s, d, 1000, 0); }, "vrnSubtractS"},
      {"MultiplyS 8U 0", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnMultiplyS(s, d, 0); }, "vrnAndS"},
      {"MultiplyS 8U 1000", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnMultiplyS(s, d, 1000); }, "vrnMultiplyS"},
      {"MultiplyS 8S 0", VRN_DEPTH_8S, [](VrnImage* s, VrnImage* d) { vrnMultiplyS(s, d, 0); }, "vrnMultiplyS"},
      {"MultiplyS 1U", VRN_DEPTH_1U, [](VrnImage* s, VrnImage* d) { vrnMultiplyS(s, d, 5); }, "vrnAndS"},
      {"Multiply 1U", VRN_DEPTH_1U, [](VrnImage* s, VrnImage* d) { vrnMultiply(s, s, d); }, "vrnAnd"},
      {"Add 1U", VRN_DEPTH_1U, [](VrnImage* s, VrnImage* d) { vrnAdd(s, s, d); }, "vrnOr"},
      {"Subtract 1U", VRN_DEPTH_1U, [](VrnImage* s, VrnImage* d) { vrnSubtract(s, s, d); }, "vrnSubtract"},
      {"LShiftS 8U 0", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnLShiftS(s, d, 0); }, "vrnXorS"},
      {"LShiftS 8U 7", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnLShiftS(s, d, 7); }, "vrnLShiftS"},
      {"LShiftS 8U 8", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnLShiftS(s, d, 8); }, "vrnAndS"},
      {"LShiftS 16S 16", VRN_DEPTH_16S, [](VrnImage* s, VrnImage* d) { vrnLShiftS(s, d, 16); }, "vrnAndS"},
      {"LShiftS 32S 32", VRN_DEPTH_32S, [](VrnImage* s, VrnImage* d) { vrnLShiftS(s, d, 32); }, "vrnAndS"},
      {"LShiftS 32S -1", VRN_DEPTH_32S, [](VrnImage* s, VrnImage* d) { vrnLShiftS(s, d, 0xFFFFFFFFu); }, "vrnAndS"},
      {"LShiftS 1U 1", VRN_DEPTH_1U, [](VrnImage* s, VrnImage* d) { vrnLShiftS(s, d, 1); }, "vrnAndS"},
      {"RShiftS 8U 0", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnRShiftS(s, d, 0); }, "vrnXorS"},
      {"RShiftS 8U 8", VRN_DEPTH_8U, [](VrnImage* s, VrnImage* d) { vrnRShiftS(s, d, 8); }, "vrnAndS"},
      {"RShiftS 16U huge", VRN_DEPTH_16U, [](VrnImage* s, VrnImage* d) { vrnRShiftS(s, d, 0x80000000u); }, "vrnAndS"},
      {"RShiftS 8S 100", VRN_DEPTH_8S, [](VrnImage* s, VrnImage* d) { vrnRShiftS(s, d, 100); }, "vrnRShiftS"},
      {"RShiftS 16S huge", VRN_DEPTH_16S, [](VrnImage* s, VrnImage* d) { vrnRShiftS(s, d, 0xFFFFFFFFu); }, "vrnRShiftS"},
      {"RShiftS 32S huge", VRN_DEPTH_32S, [](VrnImage* s, VrnImage* d) { vrnRShiftS(s, d, 0xFFFFFFFFu); }, "vrnRShiftS"},
      {"RShiftS 1U 1", VRN_DEPTH_1U, [](VrnImage* s, VrnImage* d) { vrnRShiftS(s, d, 1); }, "vrnAndS"},
      {"Square 1U", VRN_DEPTH_1U, [](VrnImage* s, VrnImage* d) { vrnSquare(s, d); }, "vrnSquare"},
      {"Abs 8S", VRN_DEPTH_8S, [](VrnImage* s, VrnImage* d) { vrnAbs(s, d); }, "vrnAbs"},
      {"Abs 16U", VRN_DEPTH_16U, [](VrnImage* s, VrnImage* d) { vrnAbs(s, d); }, "vrnCopy"},
  };
  for (const RouteCase& c : cases) {
    SCOPED_TRACE(c.what);
    Owned src(c.depth), dst(c.depth == VRN_DEPTH_8U ? VRN_DEPTH_16U : VRN_DEPTH_8U);
    ReportCatcher catcher;
    c.call(src.get(), dst.get());
    ASSERT_FALSE(catcher.all().empty());
    EXPECT_EQ(catcher.first().func, c.reporter);
  }
}

struct TextCase {
  const char* what;
  std::function<void()> call;
  int status;
  const char* func;
  const char* context;
};

TEST(ArithRoutes, OwnReportsAndTexts) {
  Owned f(VRN_DEPTH_32F), f2(VRN_DEPTH_32F), u(VRN_DEPTH_8U), u2(VRN_DEPTH_8U);
  const TextCase cases[] = {
      {"Subtract null A", [&] { vrnSubtract(nullptr, u.get(), u2.get()); }, VRN_StsNullHeader, "vrnSubtract", "Incorrect Image"},
      {"Add null A", [&] { vrnAdd(nullptr, u.get(), u2.get()); }, VRN_StsBadArg, "vrnAdd", "srcImageA==0"},
      {"Multiply null A", [&] { vrnMultiply(nullptr, u.get(), u2.get()); }, VRN_StsBadArg, "vrnMultiply", "srcImageA==0"},
      {"Square null", [&] { vrnSquare(nullptr, u.get()); }, VRN_StsNullHeader, "vrnSquare", "Incorrect Image"},
      {"AddS null", [&] { vrnAddS(nullptr, u.get(), 1); }, VRN_StsBadArg, "vrnAddS", "srcImage==0"},
      {"SubtractS null", [&] { vrnSubtractS(nullptr, u.get(), 1, 0); }, VRN_StsBadArg, "vrnSubtractS", "srcImage==0"},
      {"MultiplyS null", [&] { vrnMultiplyS(nullptr, u.get(), 1); }, VRN_StsBadArg, "vrnMultiplyS", "srcImage==0"},
      {"LShiftS null", [&] { vrnLShiftS(nullptr, u.get(), 1); }, VRN_StsBadArg, "vrnLShiftS", "srcImage==0"},
      {"Abs null src", [&] { vrnAbs(nullptr, nullptr); }, VRN_StsBadArg, "vrnAbs", "srcImage==0"},
      {"Abs null dst", [&] { vrnAbs(u.get(), nullptr); }, VRN_StsBadArg, "vrnAbs", "dstImage==0"},
      {"AddSFP null", [&] { vrnAddSFP(nullptr, f.get(), 1.0f); }, VRN_StsBadArg, "vrnAddSFP", "srcImage==0"},
      {"AddS 32F", [&] { vrnAddS(f.get(), f2.get(), 1); }, VRN_StsBadArg, "vrnAddS", "For processing depth 32F use function vrnAddSFP"},
      {"SubtractS 32F", [&] { vrnSubtractS(f.get(), f2.get(), 1, 0); }, VRN_StsBadArg, "vrnSubtractS", "For processing depth 32F use function vrnSubtractSFP"},
      {"MultiplyS 32F", [&] { vrnMultiplyS(f.get(), f2.get(), 1); }, VRN_StsBadArg, "vrnMultiplyS", "For processing depth 32F use function vrnMultiplySFP"},
      {"AddSFP 8U", [&] { vrnAddSFP(u.get(), u2.get(), 1.0f); }, VRN_StsBadArg, "vrnAddSFP", "For processing this depth use function vrnAddS"},
      {"SubtractSFP 8U", [&] { vrnSubtractSFP(u.get(), u2.get(), 1.0f, 1); }, VRN_StsBadArg, "vrnSubtractSFP", "For processing this depth use function vrnSubtractS"},
      {"MultiplySFP 8U", [&] { vrnMultiplySFP(u.get(), u2.get(), 1.0f); }, VRN_StsBadArg, "vrnMultiplySFP", "For processing this depth use function vrnMultiplyS"},
      {"LShiftS 32F", [&] { vrnLShiftS(f.get(), f2.get(), 3); }, VRN_StsBadArg, "vrnLShiftS", "This function does not support depth 32F"},
      {"RShiftS 32F", [&] { vrnRShiftS(f.get(), f2.get(), 3); }, VRN_StsBadArg, "vrnRShiftS", "This function does not support depth 32F"},
      {"SubtractS depth", [&] { vrnSubtractS(u.get(), f.get(), 3, 0); }, VRN_StsBadArg, "vrnSubtractS", "(srcImage->depth != dstImage->depth)"},
      {"Subtract depth", [&] { vrnSubtract(u.get(), u2.get(), f.get()); }, VRN_StsBadArg, "vrnSubtract", "(srcImageA->depth != dstImage->depth)"},
  };
  for (const TextCase& c : cases) {
    SCOPED_TRACE(c.what);
    ReportCatcher catcher;
    c.call();
    ASSERT_EQ(catcher.all().size(), 1u);
    EXPECT_EQ(catcher.first().status, c.status);
    EXPECT_EQ(catcher.first().func, c.func);
    EXPECT_EQ(catcher.first().context, c.context);
  }
}

TEST(ArithRoutes, AbsAddsABacktraceWhenCopyFails) {
  Owned src(VRN_DEPTH_8U), dst(VRN_DEPTH_16U);
  ReportCatcher catcher;
  vrnAbs(src.get(), dst.get());
  ASSERT_GE(catcher.all().size(), 2u);
  EXPECT_EQ(catcher.first().func, "vrnCopy");
  EXPECT_EQ(catcher.all().back().status, VRN_StsBackTrace);
  EXPECT_EQ(catcher.all().back().func, "vrnAbs");
  EXPECT_EQ(catcher.all().back().context, "vrnCopy is failed");
}

TEST(ArithRoutes, AbsChannelRule) {
  struct Case {
    int srcCh, srcAlpha, srcCoi, dstCh, dstAlpha, dstCoi;
    const char* context;  // null: accepted
  } cases[] = {
      {3, 0, 2, 1, 0, -1, "(nChSrcCoi != nChDstCoi)"},
      {1, 0, 1, 3, 0, 2, "(nChSrcCoi != nChDstCoi)"},
      {1, 0, 1, 1, 0, -1, nullptr},  // one channel counts as having no COI
      {3, 0, 2, 3, 0, 3, nullptr},
      {3, 0, -1, 1, 0, -1, "(srcImage->nChannels != dstImage->nChannels)"},
      {4, 4, -1, 3, 0, -1, nullptr},  // counts less alpha agree
      {4, 4, -1, 4, 0, -1, nullptr},  // channel numbers agree
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.srcCh << "/" << c.srcAlpha << "/" << c.srcCoi << " to " << c.dstCh << "/"
                                    << c.dstAlpha << "/" << c.dstCoi);
    Owned src(VRN_DEPTH_16S, c.srcCh, c.srcAlpha, c.srcCoi), dst(VRN_DEPTH_16S, c.dstCh, c.dstAlpha, c.dstCoi);
    ReportCatcher catcher;
    vrnAbs(src.get(), dst.get());
    if (c.context) {
      ASSERT_EQ(catcher.all().size(), 1u);
      EXPECT_EQ(catcher.first().context, c.context);
    } else {
      EXPECT_TRUE(catcher.all().empty()) << catcher.first().context;
    }
  }
}

// The values of routed calls, once the logic functions are in place.
TEST(ArithRoutes, RoutedValues) {
  if (!logicAvailable()) GTEST_SKIP() << "logic functions not built yet";
  TestImage<uint8_t> s(40, 3, Layout::Rows), d(40, 3, Layout::Rows);
  for (size_t i = 0; i < s.count(); ++i) s[i] = static_cast<uint8_t>(i * 7);
  auto all = [&](uint8_t v) {
    for (size_t i = 0; i < d.count(); ++i)
      if (d[i] != v) return false;
    return true;
  };
  vrnAddS(s.get(), d.get(), 300);
  EXPECT_TRUE(all(255));
  vrnAddS(s.get(), d.get(), -300);
  EXPECT_TRUE(all(0));
  vrnSubtractS(s.get(), d.get(), 510, 1);
  EXPECT_TRUE(all(255));
  vrnLShiftS(s.get(), d.get(), 8);
  EXPECT_TRUE(all(0));
  vrnLShiftS(s.get(), d.get(), 0);
  for (size_t i = 0; i < d.count(); ++i) EXPECT_EQ(d[i], s[i]);
}

}  // namespace

// The error context: status texts, vrnError's storing rule, the three
// handlers' output and exits in each mode, the report box's branches, and
// per-thread isolation of status, mode and handler.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "core/platform.h"
#include "support/report_catcher.h"
#include "vrn.h"

namespace {

using vrn::platform::BoxAnswer;
using vrn::platform::BoxButtons;
using vrn::platform::BoxIcon;

// Restores the thread's mode, handler and status after a test.
using ThreadState = vrntest::ReportCatcher;

TEST(ErrorStr, TextsHolesAndMaskFamily) {
  const std::pair<int, const char*> texts[] = {
      {0, "No Error"}, {-1, "Backtrace"}, {-4, "Insufficient memory"}, {-8, "Autotrace call"},
      {-16, "Number of channels for 1U depth image must be one"}, {-22, "Null pointer to callback function"},
      {-21, "Incorrect data alignment value in the image header"}, {-110, "Mask. Incorrect image size"},
      {-26, "Mask image is taled"}, {-31, "Incorrect filter ofset value"}, {-124, "Mask. Incorrect COI of the image"},
      {-117, "Mask. Incorrect depth value in the image header"},
      {-125, "Mask. Incorrect size of ROI in the image header"},
  };
  for (int hole : {-2, -32, -109, -116, -122, -126, 1}) EXPECT_STREQ(vrnErrorStr(hole), "Unknown error or status code") << hole;
  for (const auto& [code, text] : texts) EXPECT_STREQ(vrnErrorStr(code), text) << code;
  // The image family's text is the mask family's without its prefix.
  EXPECT_EQ(vrnErrorStr(-15), vrnErrorStr(-115) + 6);
}

// Records each call as "status func context file:line" and returns ten times the status.
thread_local std::vector<std::string> t_calls;
int recordingHandler(int status, const char* f, const char* c, const char* file, int line) {
  t_calls.push_back(std::to_string(status) + " " + f + " " + c + " " + file + ":" + std::to_string(line));
  return status * 10;
}

TEST(Error, StoresStatusButNotTraceLinesAndSkipsHandlerOnZero) {
  ThreadState keep;
  vrnRedirectError(recordingHandler);
  t_calls.clear();
  vrnSetErrStatus(-3);
  EXPECT_EQ(vrnError(0, "f", "c", "x.cpp", 1), 0);
  EXPECT_EQ(vrnGetErrStatus(), 0);
  EXPECT_EQ(vrnError(-5, "f", "c", "x.cpp", 2), -50);
  EXPECT_EQ(vrnGetErrStatus(), -5);
  EXPECT_EQ(vrnError(-1, "g", "", "y.cpp", 3), -10);
  EXPECT_EQ(vrnError(-8, "h", "t", "z.cpp", 4), -80);
  EXPECT_EQ(vrnGetErrStatus(), -5);
  EXPECT_EQ(t_calls, (std::vector<std::string>{"-5 f c x.cpp:2", "-1 g  y.cpp:3", "-8 h t z.cpp:4"}));
  // Redirecting returns the previous handler; null puts the box back.  The mode is not validated.
  EXPECT_EQ(vrnRedirectError(nullptr), recordingHandler);
  EXPECT_EQ(vrnRedirectError(nullptr), vrnGuiBoxReport);
  vrnSetErrMode(77);
  EXPECT_EQ(vrnGetErrMode(), 77);
}

// What a handler returns and shows on standard error in a mode.
std::string shown(VrnErrorHandler handler, int mode, int status, const char* func, const char* context,
                  const char* file, int line) {
  vrnSetErrMode(mode);
  testing::internal::CaptureStderr();
  EXPECT_EQ(handler(status, func, context, file, line), status);
  return testing::internal::GetCapturedStderr();
}

// The standard-error handler's formats; the null device is silent unless leaf.
TEST(StdErrReport, FormatsInModesThatContinue) {
  ThreadState keep;
  EXPECT_EQ(shown(vrnStdErrReport, 1, -5, "vrnAdd", "srcImageA==0", "add.cpp", 12),
            "\nVRN Library Error: Bad argument \n\tin function [add.cpp:12]:vrnAdd(): srcImageA==0\n");
  EXPECT_EQ(shown(vrnStdErrReport, 1, -1, "vrnOuter", "", "o.cpp", 3), "\tcalled from [o.cpp:3]:vrnOuter(): \n");
  EXPECT_EQ(shown(vrnStdErrReport, 1, -8, "vrnT", "ctx", nullptr, 0), "\tcalled from:vrnT(ctx)\n");
  EXPECT_EQ(shown(vrnStdErrReport, 3, -4, nullptr, nullptr, nullptr, 0),
            "\nVRN Library Error: Insufficient memory \n\tin function:<unknown>\n");
  EXPECT_EQ(shown(vrnStdErrReport, 2, -4, "f", "c", "x", 1), "");
  for (int mode : {1, 2, 5}) EXPECT_EQ(shown(vrnNulDevReport, mode, -7, "f", "c", "x", 1), "");
}

// The report box: every box shown is recorded as "title|text|buttons icon",
// and the answer is scripted.
std::vector<std::string> g_boxes;
BoxAnswer g_answer = BoxAnswer::Ok;
std::string kinds(BoxButtons b, BoxIcon i) { return std::to_string(static_cast<int>(b)) + " " + std::to_string(static_cast<int>(i)); }

struct ScriptedBoxes {
  vrn::platform::MessageBoxFn old;
  explicit ScriptedBoxes(BoxAnswer answer)
      : old(vrn::platform::setMessageBoxForTesting([](const char* text, const char* title, BoxButtons b, BoxIcon i) {
          g_boxes.push_back(std::string(title) + "|" + text + "|" + kinds(b, i));
          return g_answer;
        })) {
    g_boxes.clear();
    g_answer = answer;
  }
  ~ScriptedBoxes() { vrn::platform::setMessageBoxForTesting(old); }
};

// The box's text and buttons by mode; an answer that continues returns the status.
TEST(GuiBoxReport, BoxTextsButtonsAndModesThatContinue) {
  ThreadState keep;
  const struct { BoxAnswer answer; int mode, status; const char *func, *file; int line; std::string box; } cases[] = {
      {BoxAnswer::Ok, VRN_ErrorModeParent, -5, "vrnAdd", "add.cpp", 12,
       "In function vrnAdd(): [file add.cpp, line 12]\nsrcImageA==0\n\nBad argument\n(status: -5)\n\n"
       "ErrMode=VRN_ErrorModeParent\n\nContinue?|" + kinds(BoxButtons::OkCancel, BoxIcon::Stop)},
      {BoxAnswer::No, VRN_ErrorModeLeaf, -1, nullptr, nullptr, -4,
       "Called from <unknown>(): [file , line 0]\nsrcImageA==0\n\nBacktrace\n(status: -1)\n\n"
       "ErrMode=VRN_ErrorModeLeaf\n\nTerminate the application?|" + kinds(BoxButtons::YesNo, BoxIcon::Stop)},
  };
  for (const auto& c : cases) {
    ScriptedBoxes boxes(c.answer);
    vrnSetErrMode(c.mode);
    EXPECT_EQ(vrnGuiBoxReport(c.status, c.func, "srcImageA==0", c.file, c.line), c.status);
    EXPECT_EQ(g_boxes, std::vector<std::string>{"VRN 2.5 Release SP1|" + c.box});
  }
  // Silent mode and other modes: no dialog and no exit, whatever the box would answer.
  ScriptedBoxes boxes(BoxAnswer::Yes);
  for (int mode : {VRN_ErrorModeSilent, 3}) {
    vrnSetErrMode(mode);
    EXPECT_EQ(vrnGuiBoxReport(-5, "f", "c", "x", 1), -5);
  }
  EXPECT_TRUE(g_boxes.empty());
}

// Every path that terminates: exit code 1 and what standard error shows.
TEST(ReportDeathTest, TerminatingPaths) {
  const struct { void (*path)(); const char* shown; } paths[] = {
      {[] { vrnStdErrReport(-5, "vrnAdd", "c", "f.cpp", 1); },
       "in function \\[f.cpp:1\\]:vrnAdd\\(\\): c\nVRN Library Error\nErrMode=VRN_ErrModeLeaf\nterminating the application"},
      {[] { vrnNulDevReport(-5, "f", "c", "x", 1); }, "^$"},
      {[] { ScriptedBoxes boxes(BoxAnswer::Yes); vrnGuiBoxReport(-5, "f", "c", "x", 1); }, "^$"},
      {[] { ScriptedBoxes boxes(BoxAnswer::Cancel); vrnSetErrMode(VRN_ErrorModeParent); vrnGuiBoxReport(-5, "f", "c", "x", 1); }, "^$"},
      {[] { vrnError(-5, "vrnAdd", "srcImageA==0", "add.cpp", 12); },  // the default box, on standard error
       "VRN 2.5 Release SP1\nIn function vrnAdd\\(\\)(.|\n)*Win32: Application exit\nVRN Library: terminating the application"},
  };
  for (const auto& p : paths)
    EXPECT_EXIT({ vrnSetErrMode(VRN_ErrorModeLeaf); p.path(); fprintf(stderr, "not reached"); }, testing::ExitedWithCode(1), p.shown);
}

// A new thread starts with status 0, the leaf mode and the box; what it sets stays its own.
TEST(Threads, StatusModeAndHandlerArePerThread) {
  ThreadState keep;
  vrnSetErrMode(VRN_ErrorModeSilent);
  vrnRedirectError(recordingHandler);
  vrnSetErrStatus(-42);
  std::string other;
  std::thread([&] {
    other = std::to_string(vrnGetErrStatus()) + " " + std::to_string(vrnGetErrMode()) +
            (vrnRedirectError(vrnStdErrReport) == vrnGuiBoxReport ? " box" : " other handler");
    vrnSetErrStatus(-9);
    vrnSetErrMode(VRN_ErrorModeParent);
  }).join();
  EXPECT_EQ(other, "0 " + std::to_string(VRN_ErrorModeLeaf) + " box");
  EXPECT_EQ(vrnGetErrStatus(), -42);
  EXPECT_EQ(vrnGetErrMode(), VRN_ErrorModeSilent);
  EXPECT_EQ(vrnRedirectError(recordingHandler), recordingHandler);
}

TEST(Version, RecordAndCounter) {
  const VrnLibVersion* v = vrnGetLibVersion();
  EXPECT_EQ(v->major * 100 + v->minor * 10 + v->build, 259);
  EXPECT_EQ(std::string(v->moduleName) + "|" + v->versionText + "|" + v->buildStamp + "|" + v->buildDate + "|" + v->linkage,
            "vrnq4.dll|2.5 Release SP1|[2.5.9.89, 03/05/2002]|Mar  5 2002|DLL");
  const int64_t a = vrnGetKestrelCounter();
  EXPECT_GE(vrnGetKestrelCounter(), a);
}

}  // namespace

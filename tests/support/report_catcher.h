// A report catcher: while it lives, every report of the calling thread is
// recorded instead of shown.  It installs its handler with vrnRedirectError,
// sets an error mode (by default the parent mode, in which nothing exits)
// and, when it goes, puts back the handler, the mode and the status it found.
// Catchers nest: an inner one records while it lives, then the outer again.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vrn.h"

namespace vrntest {

struct Report {
  int status = 0;
  std::string funcName, context, fileName;
  int line = 0;
};
std::ostream& operator<<(std::ostream& os, const Report& r);

class ReportCatcher {
 public:
  explicit ReportCatcher(int mode = VRN_ErrorModeParent);
  ~ReportCatcher();
  ReportCatcher(const ReportCatcher&) = delete;
  ReportCatcher& operator=(const ReportCatcher&) = delete;

  const std::vector<Report>& reports() const { return reports_; }
  size_t count() const { return reports_.size(); }
  bool empty() const { return reports_.empty(); }
  // The last report; a default Report when none was made.
  const Report& last() const;
  void clear() { reports_.clear(); }
  // All reports, one per line, for failure messages.
  std::string describe() const;

 private:
  static int handler(int status, const char* funcName, const char* context, const char* fileName, int line);
  std::vector<Report> reports_;
  ReportCatcher* outer_;
  VrnErrorHandler oldHandler_;
  int oldMode_, oldStatus_;
};

// Exactly one report was made (or, for expectLastReport, the last one of
// any), with this status, function and context.
testing::AssertionResult expectReport(const ReportCatcher& catcher, int status, const std::string& func,
                                      const std::string& context);
testing::AssertionResult expectLastReport(const ReportCatcher& catcher, int status, const std::string& func,
                                          const std::string& context);
// No report was made.
testing::AssertionResult expectNoReport(const ReportCatcher& catcher);

}  // namespace vrntest

#define EXPECT_REPORT(catcher, status, func, context) \
  EXPECT_TRUE(::vrntest::expectReport((catcher), (status), (func), (context)))
#define EXPECT_NO_REPORT(catcher) EXPECT_TRUE(::vrntest::expectNoReport(catcher))

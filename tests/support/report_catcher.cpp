// The report catcher's handler finds the innermost live catcher of its
// thread through a thread-local pointer, so catchers on different threads
// never see each other's reports.
#include "support/report_catcher.h"

#include <sstream>

namespace vrntest {
namespace {
thread_local ReportCatcher* tCurrent = nullptr;
}

std::ostream& operator<<(std::ostream& os, const Report& r) {
  return os << "{status " << r.status << ", \"" << r.funcName << "\", \"" << r.context << "\", " << r.fileName << ":"
            << r.line << "}";
}

ReportCatcher::ReportCatcher(int mode)
    : outer_(tCurrent), oldHandler_(vrnRedirectError(&ReportCatcher::handler)), oldMode_(vrnGetErrMode()),
      oldStatus_(vrnGetErrStatus()) {
  vrnSetErrMode(mode);
  tCurrent = this;
}

ReportCatcher::~ReportCatcher() {
  tCurrent = outer_;
  vrnRedirectError(oldHandler_);
  vrnSetErrMode(oldMode_);
  vrnSetErrStatus(oldStatus_);
}

const Report& ReportCatcher::last() const {
  static const Report none{};
  return reports_.empty() ? none : reports_.back();
}

std::string ReportCatcher::describe() const {
  std::ostringstream s;
  if (reports_.empty()) s << "(no reports)";
  for (const Report& r : reports_) s << r << "\n";
  return s.str();
}

int ReportCatcher::handler(int status, const char* funcName, const char* context,
                           const char* fileName, int line) {
  if (tCurrent)
    tCurrent->reports_.push_back(Report{status, funcName ? funcName : "", context ? context : "", fileName ? fileName : "", line});
  return status;
}

namespace {

testing::AssertionResult matches(const Report& r, int status, const std::string& func,
                                 const std::string& context) {
  if (r.status == status && r.funcName == func && r.context == context) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "expected {status " << status << ", \"" << func << "\", \"" << context
                                     << "\"}, got " << r;
}

}  // namespace

testing::AssertionResult expectReport(const ReportCatcher& catcher, int status, const std::string& func,
                                      const std::string& context) {
  if (catcher.count() != 1)
    return testing::AssertionFailure() << "expected exactly one report, got " << catcher.count() << ":\n" << catcher.describe();
  return matches(catcher.last(), status, func, context);
}

testing::AssertionResult expectLastReport(const ReportCatcher& catcher, int status, const std::string& func,
                                          const std::string& context) {
  if (catcher.empty()) return testing::AssertionFailure() << "no report was made";
  return matches(catcher.last(), status, func, context);
}

testing::AssertionResult expectNoReport(const ReportCatcher& catcher) {
  if (catcher.empty()) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "unexpected reports:\n" << catcher.describe();
}

}  // namespace vrntest

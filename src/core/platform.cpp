// Platform services on POSIX systems.  There are no dialogs here: a report box
// prints its title and text on standard error and answers with its default
// button, which is what an unattended dialog would do.
#include "core/platform.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#endif

namespace vrn::platform {
namespace {

BoxAnswer consoleBox(const char* text, const char* title, BoxButtons buttons, BoxIcon) {
  std::fprintf(stderr, "%s\n%s\n", title, text);
  std::fflush(stderr);
  return buttons == BoxButtons::YesNo ? BoxAnswer::Yes : BoxAnswer::Ok;
}

MessageBoxFn g_box = nullptr;  // test override; set only by tests

}  // namespace

BoxAnswer messageBox(const char* text, const char* title, BoxButtons buttons, BoxIcon icon) {
  return (g_box ? g_box : consoleBox)(text, title, buttons, icon);
}

MessageBoxFn setMessageBoxForTesting(MessageBoxFn fn) {
  MessageBoxFn old = g_box;
  g_box = fn;
  return old;
}

int64_t cycleCounter() {
#if defined(__x86_64__) || defined(__i386__)
  return static_cast<int64_t>(__rdtsc());
#else
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC_RAW, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
#endif
}

void exitProcess() { std::exit(1); }

void fatalExit(const char* message) {
  std::fprintf(stderr, "%s\n", message);
  std::fflush(stderr);
  std::abort();
}

}  // namespace vrn::platform

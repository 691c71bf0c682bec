// The few services the library takes from its operating system: the report
// box, the cycle counter and the fatal exit.  Everything system-specific is
// in platform.cpp; the rest of the library calls these.
#pragma once

#include <cstdint>

namespace vrn::platform {

enum class BoxButtons { Ok, OkCancel, YesNo };
enum class BoxIcon { Stop, Information };
enum class BoxAnswer { Ok, Cancel, Yes, No };

// Shows a task-modal box and returns the pressed button.  Where there are no
// dialogs the box's title and text go to standard error and the default
// button (Yes, or OK) is the answer.
BoxAnswer messageBox(const char* text, const char* title, BoxButtons buttons, BoxIcon icon);

// Replaces the box for tests; null restores the platform's own.  Process-wide.
using MessageBoxFn = BoxAnswer (*)(const char* text, const char* title, BoxButtons, BoxIcon);
MessageBoxFn setMessageBoxForTesting(MessageBoxFn fn);

// Reads the processor's time-stamp counter (or the nearest counter).
int64_t cycleCounter();

// Ends the process with exit code 1.
[[noreturn]] void exitProcess();

// Ends the process after a last message, when no per-thread context can be had.
[[noreturn]] void fatalExit(const char* message);

}  // namespace vrn::platform

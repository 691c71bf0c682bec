// The per-thread status, the error modes, the status texts and the three
// report handlers.  vrnError is the one way into a handler: it stores the
// status (but for the backtrace and autotrace lines, which are no failures)
// and hands the report on.
#include <cstdio>
#include <cstring>

#include "core/context.h"
#include "core/memory.h"
#include "core/platform.h"

namespace vrn {

ErrorContext::~ErrorContext() {
  for (void*& table : fourierTables) {
    vrnFree(table);
    table = nullptr;
  }
  vrnFree(dctTable);
  for (int i = 0; dctBlocksA && i < dctCountA; ++i) vrnFree(dctBlocksA[i]);
  vrnFree(dctBlocksA);
  for (int i = 0; dctBlocksB && i < dctCountB; ++i) vrnFree(dctBlocksB[i]);
  vrnFree(dctBlocksB);
}

ErrorContext& context() {
  thread_local ErrorContext ctx;
  return ctx;
}

namespace {

constexpr const char* kUnknown = "Unknown error or status code";

// Texts of 0 to -31.  The mask family shares these strings: its text is the
// image family's with "Mask. " in front.
constexpr const char* kTexts[] = {
    "No Error",
    "Backtrace",
    nullptr,
    "Internal error (bad state)",
    "Insufficient memory",
    "Bad argument",
    "Unsupported function",
    "Iteration convergence failed",
    "Autotrace call",
    "Null pointer to an image header",
    "Mask. Incorrect image size",
    "Mask. Incorrect offset of ROI of the image",
    "Mask. Image must be tiled or must have nonzero data pointer",
    "Mask. Incorrect widthStep of the image",
    "Mask. Incorrect Color model or channel sequence of the image",
    "Mask. Incorrect number of channels in the image",
    "Mask. Number of channels for 1U depth image must be one",
    "Mask. Incorrect depth value in the image header",
    "Mask. Incorrect alpha channel number in the image header",
    "Mask. Incorrect data order value in the image header",
    "Mask. Incorrect data origin value in the image header",
    "Mask. Incorrect data alignment value in the image header",
    "Null pointer to callback function",
    "Incorrect size of the tile",
    "Mask. Incorrect COI of the image",
    "Mask. Incorrect size of ROI in the image header",
    "Mask image is taled",
    "Null pointer",
    "Incorrect vector length",
    "Incorrect filter structure content",
    "Incorrect transform kernel content",
    "Incorrect filter ofset value",
};
constexpr int kMaskPrefix = 6;  // strlen("Mask. ")

// Codes whose text is shared with the mask family (-10 .. -21, -24, -25).
constexpr bool sharedWithMask(int code) {
  return (code <= -10 && code >= -21) || code == -24 || code == -25;
}

}  // namespace
}  // namespace vrn

using namespace vrn;

extern "C" {

VRN_API int vrnGetErrStatus(void) { return context().status; }
VRN_API void vrnSetErrStatus(int status) { context().status = status; }
VRN_API int vrnGetErrMode(void) { return context().mode; }
VRN_API void vrnSetErrMode(int mode) { context().mode = mode; }

VRN_API VrnErrorHandler vrnRedirectError(VrnErrorHandler handler) {
  ErrorContext& ctx = context();
  VrnErrorHandler old = ctx.handler;
  ctx.handler = handler ? handler : vrnGuiBoxReport;
  return old;
}

VRN_API int vrnError(int status, const char* funcName, const char* context_, const char* fileName,
                     int line) {
  ErrorContext& ctx = context();
  if (status != VRN_StsBackTrace && status != VRN_StsAutoTrace) {
    ctx.status = status;
    if (status == VRN_StsOk) return 0;
  }
  return ctx.handler(status, funcName, context_, fileName, line);
}

VRN_API const char* vrnErrorStr(int status) {
  if (status > 0 || status < -125) return kUnknown;
  if (status > -32) {
    const char* text = kTexts[-status];
    if (!text) return kUnknown;
    return sharedWithMask(status) ? text + kMaskPrefix : text;
  }
  // Mask family: -110 .. -125 where the image code shares its text.
  int image = status + VRN_StsMaskBase;
  if (image <= -10 && image >= -25 && sharedWithMask(image) && image != -16) return kTexts[-image];
  return kUnknown;
}

VRN_API int vrnNulDevReport(int status, const char*, const char*, const char*, int) {
  if (context().mode == VRN_ErrorModeLeaf) platform::exitProcess();
  return status;
}

VRN_API int vrnStdErrReport(int status, const char* funcName, const char* context_,
                            const char* fileName, int line) {
  const int mode = context().mode;
  if (mode == VRN_ErrorModeSilent) return status;
  const bool trace = status == VRN_StsBackTrace || status == VRN_StsAutoTrace;
  if (trace)
    std::fprintf(stderr, "\tcalled from");
  else
    std::fprintf(stderr, "\nVRN Library Error: %s \n\tin function", vrnErrorStr(status));
  if (line >= 1 || fileName) std::fprintf(stderr, " [%s:%d]", fileName ? fileName : "(null)", line);
  std::fprintf(stderr, ":%s", funcName ? funcName : "<unknown>");
  if (context_) std::fprintf(stderr, status == VRN_StsAutoTrace ? "(%s)" : "(): %s", context_);
  std::fprintf(stderr, "\n");
  std::fflush(stderr);
  if (mode == VRN_ErrorModeLeaf) {
    std::fprintf(stderr, "VRN Library Error\nErrMode=VRN_ErrModeLeaf\nterminating the application");
    std::fflush(stderr);
    platform::exitProcess();
  }
  return status;
}

VRN_API int vrnGuiBoxReport(int status, const char* funcName, const char* context_,
                            const char* fileName, int line) {
  const char* statusText = vrnErrorStr(status);
  const int mode = context().mode;
  if (mode == VRN_ErrorModeSilent) return status;

  if (!funcName) funcName = "<unknown>";
  if (!context_) context_ = "";
  if (!fileName) fileName = "";
  if (line < 0) line = 0;
  const char* tail = mode == VRN_ErrorModeLeaf     ? "\n\nErrMode=VRN_ErrorModeLeaf\n\nTerminate the application?"
                     : mode == VRN_ErrorModeParent ? "\n\nErrMode=VRN_ErrorModeParent\n\nContinue?"
                                                   : "";
  const char* format = (status == VRN_StsBackTrace || status == VRN_StsAutoTrace)
                           ? "Called from %s(): [file %s, line %d]\n%s\n\n%s\n(status: %d)%s"
                           : "In function %s(): [file %s, line %d]\n%s\n\n%s\n(status: %d)%s";
  // The text is sized to fit whatever the names are.
  int size = std::snprintf(nullptr, 0, format, funcName, fileName, line, context_, statusText,
                           status, tail) + 1;
  char* text = static_cast<char*>(vrnMalloc(size));
  if (!text) return status;
  std::snprintf(text, static_cast<size_t>(size), format, funcName, fileName, line, context_,
                statusText, status, tail);
  char title[64];
  std::snprintf(title, sizeof title, "VRN %s", vrnGetLibVersion()->versionText);

  bool terminate = false;
  if (mode == VRN_ErrorModeParent) {
    terminate = platform::messageBox(text, title, platform::BoxButtons::OkCancel,
                                     platform::BoxIcon::Stop) == platform::BoxAnswer::Cancel;
  } else if (mode == VRN_ErrorModeLeaf) {
    terminate = platform::messageBox(text, title, platform::BoxButtons::YesNo,
                                     platform::BoxIcon::Stop) == platform::BoxAnswer::Yes;
  }
  if (terminate) {
    platform::messageBox("VRN Library: terminating the application", "Win32: Application exit",
                         platform::BoxButtons::Ok, platform::BoxIcon::Information);
    vrnFree(text);
    platform::exitProcess();
  }
  vrnFree(text);
  return status;
}

}  // extern "C"

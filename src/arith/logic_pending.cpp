// Placeholder until the logic family lands: 1-bit OR is not available yet.
#include "core/report.h"

extern "C" VRN_API void vrnOr(VrnImage*, VrnImage*, VrnImage*) {
  VRN_REPORT(VRN_StsUnsupported, "vrnOr", "1-bit logic is not available in this build");
}

// Placeholder until the copy family lands.
extern "C" VRN_API void vrnCopy(VrnImage*, VrnImage*) {
  VRN_REPORT(VRN_StsUnsupported, "vrnCopy", "copy is not available in this build");
}

// Placeholder until the logic family lands: the logic and copy functions
// that arithmetic routes to report that they are not available yet.
#include "core/report.h"

extern "C" VRN_API void vrnOr(VrnImage*, VrnImage*, VrnImage*) {
  VRN_REPORT(VRN_StsUnsupported, "vrnOr", "1-bit logic is not available in this build");
}
extern "C" VRN_API void vrnAnd(VrnImage*, VrnImage*, VrnImage*) {
  VRN_REPORT(VRN_StsUnsupported, "vrnAnd", "logic is not available in this build");
}
extern "C" VRN_API void vrnAndS(VrnImage*, VrnImage*, unsigned int) {
  VRN_REPORT(VRN_StsUnsupported, "vrnAndS", "logic is not available in this build");
}
extern "C" VRN_API void vrnOrS(VrnImage*, VrnImage*, unsigned int) {
  VRN_REPORT(VRN_StsUnsupported, "vrnOrS", "logic is not available in this build");
}
extern "C" VRN_API void vrnXorS(VrnImage*, VrnImage*, unsigned int) {
  VRN_REPORT(VRN_StsUnsupported, "vrnXorS", "logic is not available in this build");
}
extern "C" VRN_API void vrnCopy(VrnImage*, VrnImage*) {
  VRN_REPORT(VRN_StsUnsupported, "vrnCopy", "copy is not available in this build");
}

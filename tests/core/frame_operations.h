// The table of operations that run on the shared frame.  Each family adds
// its operations here, one line each: name, number of sources, depths
// accepted, and a lambda that calls it.  One-source operations take
// (src, dst); an operation with a scalar fixes it in the lambda.  The
// tiled==flat property test runs every line.
#pragma once

#include <functional>
#include <type_traits>
#include <vector>

#include "vrn.h"

namespace vrntest {

// Depth sets, one bit per depth in the order of kAllDepthWords.
enum : unsigned { kDepth1U = 1, kDepth8U = 2, kDepth8S = 4, kDepth16U = 8, kDepth16S = 16, kDepth32S = 32, kDepth32F = 64 };
inline constexpr unsigned kIntDepths = kDepth8U | kDepth8S | kDepth16U | kDepth16S | kDepth32S;
inline constexpr unsigned kIntAndFloatDepths = kIntDepths | kDepth32F;
inline constexpr unsigned kAllDepths = kIntAndFloatDepths | kDepth1U;

// Flags of an operation: a source may not be the destination record; the
// operation ignores or refuses masks.
enum : unsigned { kNoInPlace = 1, kNoMasks = 2 };

struct FrameOperation {
  // Name, 1 or 2 sources, kDepth* bits, the call (b is null for one source), flags.
  const char* name;
  int sources;
  unsigned depths;
  std::function<void(VrnImage* a, VrnImage* b, VrnImage* dst)> run;
  unsigned flags = 0;

  template <class F>
  FrameOperation(const char* n, int s, unsigned d, F f, unsigned fl = 0) : name(n), sources(s), depths(d), flags(fl) {
    if constexpr (std::is_invocable_v<F, VrnImage*, VrnImage*, VrnImage*>) run = f;
    else run = [f](VrnImage* a, VrnImage*, VrnImage* dst) { f(a, dst); };
  }
};

inline const std::vector<FrameOperation>& frameOperations() {
  static const std::vector<FrameOperation> operations = {
      {"vrnAdd", 2, kIntAndFloatDepths, [](auto a, auto b, auto d) { vrnAdd(a, b, d); }},
      {"vrnAnd", 2, kIntDepths | kDepth1U, [](auto a, auto b, auto d) { vrnAnd(a, b, d); }},
      {"vrnOr", 2, kIntDepths | kDepth1U, [](auto a, auto b, auto d) { vrnOr(a, b, d); }},
      {"vrnXor", 2, kIntDepths | kDepth1U, [](auto a, auto b, auto d) { vrnXor(a, b, d); }},
      {"vrnAndS", 1, kIntDepths | kDepth1U, [](auto s, auto d) { vrnAndS(s, d, 0x5AA5F00Fu); }},
      {"vrnOrS", 1, kIntDepths | kDepth1U, [](auto s, auto d) { vrnOrS(s, d, 0x12345681u); }},
      {"vrnXorS", 1, kIntDepths | kDepth1U, [](auto s, auto d) { vrnXorS(s, d, 0xC3C3C3C3u); }},
      {"vrnNot", 1, kIntDepths | kDepth1U, [](auto s, auto d) { vrnNot(s, d); }},
      {"vrnCopy", 1, kAllDepths, [](auto s, auto d) { vrnCopy(s, d); }},
      {"vrnBlur", 1, kDepth1U | kDepth8U | kDepth8S | kDepth16U | kDepth16S, [](auto s, auto d) { vrnBlur(s, d, 5, 3, 2, 1); }, kNoInPlace},
      {"vrnSubtract", 2, kAllDepths, [](auto a, auto b, auto d) { vrnSubtract(a, b, d); }},
      {"vrnMultiply", 2, kAllDepths, [](auto a, auto b, auto d) { vrnMultiply(a, b, d); }},
      {"vrnAddS", 1, kIntDepths | kDepth1U, [](auto s, auto d) { vrnAddS(s, d, 37); }},
      {"vrnSubtractS", 1, kIntDepths | kDepth1U, [](auto s, auto d) { vrnSubtractS(s, d, 21, 0); }},
      {"vrnSubtractSFlip", 1, kIntDepths | kDepth1U, [](auto s, auto d) { vrnSubtractS(s, d, 300, 1); }},
      {"vrnMultiplyS", 1, kIntDepths | kDepth1U, [](auto s, auto d) { vrnMultiplyS(s, d, 3); }},
      {"vrnAddSFP", 1, kDepth32F, [](auto s, auto d) { vrnAddSFP(s, d, 1.5f); }},
      {"vrnSubtractSFP", 1, kDepth32F, [](auto s, auto d) { vrnSubtractSFP(s, d, 2.25f, 1); }},
      {"vrnMultiplySFP", 1, kDepth32F, [](auto s, auto d) { vrnMultiplySFP(s, d, -0.5f); }},
      {"vrnLShiftS", 1, kIntDepths, [](auto s, auto d) { vrnLShiftS(s, d, 3); }},
      {"vrnRShiftS", 1, kIntDepths, [](auto s, auto d) { vrnRShiftS(s, d, 2); }},
      {"vrnSquare", 1, kAllDepths, [](auto s, auto d) { vrnSquare(s, d); }},
      {"vrnAbs", 1, kDepth8S | kDepth16S | kDepth32S | kDepth32F, [](auto s, auto d) { vrnAbs(s, d); }},
      {"vrnReduceBitsFS", 1, kDepth8U | kDepth16U | kDepth32S,
       [](auto a, auto d) { vrnReduceBits(a, d, 0, VRN_DITHER_FS, 7); }, kNoInPlace | kNoMasks},
      {"vrnReduceBitsBayer", 1, kDepth8U | kDepth16U,
       [](auto a, auto d) { vrnReduceBits(a, d, 0, VRN_DITHER_BAYER, 5); }, kNoInPlace | kNoMasks},
  };
  return operations;
}

}  // namespace vrntest

// Every arithmetic and logic operation against its definition: the exact
// result clamped to the depth (32F: single precision; logic: on the bits,
// the constant cut to the depth's width; 1U: the same formulas on 0 and 1).
// 8-bit depths run every pair of operands, wider ones their edges and
// seeded random values.  Each case runs on five layouts that reach every
// kernel case: a flat run, rows at other offsets (1U: bit offsets), planes,
// a COI (strided, per sample) and a half-set mask over RGBA (masked, alpha
// skipped); outside the rectangle nothing may change
// (but for the flat run, which may go through row padding).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "support/checks.h"
#include "support/report_catcher.h"

namespace {

using namespace vrntest;

enum Op { kAdd, kSub, kMul, kAnd, kOr, kXor, kAddS, kSubS, kSubSFlip, kMulS, kLShift, kRShift,
          kSquare, kAbs, kAndS, kOrS, kXorS, kNot };
const char* const kNames[] = {"Add", "Subtract", "Multiply", "And", "Or", "Xor", "AddS", "SubtractS",
                              "SubtractS flip", "MultiplyS", "LShiftS", "RShiftS", "Square", "Abs",
                              "AndS", "OrS", "XorS", "Not"};
bool isLogic(Op op) { return (op >= kAnd && op <= kXor) || op >= kAndS; }

// The definition; k is the second operand or the constant.  Integers work
// in 64 bits and clamp to the depth, floats in single precision.
template <class T>
T expected(Op op, int depth, T a, T b, double k) {
  constexpr bool fp = std::is_floating_point_v<T>;
  using W = std::conditional_t<fp, float, int64_t>;
  const int bits = depth & VRN_DEPTH_MASK;
  const W x = a, y = b, v = bits == 1 ? W(static_cast<int64_t>(k) & 1) : static_cast<W>(k);
  auto clamp = [&](W r) -> T {
    if constexpr (fp) return r;
    else return static_cast<T>(std::clamp<int64_t>(r, static_cast<int64_t>(depthMin(depth)), static_cast<int64_t>(depthMax(depth))));
  };
  switch (op) {
    case kAdd: return clamp(x + y);
    case kSub: return clamp(x - y);
    case kMul: return clamp(x * y);
    case kAddS: return clamp(x + v);
    case kSubS: return clamp(x - v);
    case kSubSFlip: return clamp(v - x);
    case kMulS: return clamp(x * v);
    case kSquare: return clamp(x * x);
    case kAbs: return !fp && bits == 32 && x == INT32_MIN ? a : clamp(std::abs(x));
    default: break;
  }
  if constexpr (!fp) {  // logic and shifts
    const T cut = static_cast<T>(v);
    const uint32_t count = static_cast<uint32_t>(static_cast<int64_t>(k));
    switch (op) {
      case kAnd: return static_cast<T>(a & b);
      case kOr: return static_cast<T>(a | b);
      case kXor: return static_cast<T>(a ^ b);
      case kLShift: return count >= static_cast<uint32_t>(bits) ? T{0} : static_cast<T>(static_cast<uint64_t>(x) << count);
      case kRShift: return count >= static_cast<uint32_t>(bits) ? static_cast<T>(x < 0 ? -1 : 0) : static_cast<T>(x >> count);
      case kAndS: return static_cast<T>(a & cut);
      case kOrS: return static_cast<T>(a | cut);
      case kXorS: return static_cast<T>(a ^ cut);
      default: return bits == 1 ? static_cast<T>(a ^ 1) : static_cast<T>(~a);
    }
  }
  return a;
}

void call(Op op, VrnImage* a, VrnImage* b, VrnImage* d, double k) {
  const int v = static_cast<int>(static_cast<int64_t>(k));
  const bool fp = a->depth == VRN_DEPTH_32F;
  switch (op) {
    case kAdd: return vrnAdd(a, b, d);
    case kSub: return vrnSubtract(a, b, d);
    case kMul: return vrnMultiply(a, b, d);
    case kAnd: return vrnAnd(a, b, d);
    case kOr: return vrnOr(a, b, d);
    case kXor: return vrnXor(a, b, d);
    case kAddS: return fp ? vrnAddSFP(a, d, static_cast<float>(k)) : vrnAddS(a, d, v);
    case kSubS: return fp ? vrnSubtractSFP(a, d, static_cast<float>(k), 0) : vrnSubtractS(a, d, v, 0);
    case kSubSFlip: return fp ? vrnSubtractSFP(a, d, static_cast<float>(k), 1) : vrnSubtractS(a, d, v, 7);
    case kMulS: return fp ? vrnMultiplySFP(a, d, static_cast<float>(k)) : vrnMultiplyS(a, d, v);
    case kLShift: return vrnLShiftS(a, d, static_cast<unsigned>(v));
    case kRShift: return vrnRShiftS(a, d, static_cast<unsigned>(v));
    case kSquare: return vrnSquare(a, d);
    case kAbs: return vrnAbs(a, d);
    case kAndS: return vrnAndS(a, d, static_cast<unsigned>(v));
    case kOrS: return vrnOrS(a, d, static_cast<unsigned>(v));
    case kXorS: return vrnXorS(a, d, static_cast<unsigned>(v));
    default: return vrnNot(a, d);
  }
}

// Operands: all of 8 bits; edges and seeded random values otherwise.
template <class T>
std::vector<T> operands(int depth) {
  std::vector<T> v;
  if (depth == VRN_DEPTH_1U) return {0, 1, 0, 1, 0, 0, 0, 1, 1, 1, 0, 1, 1, 0, 0, 1, 0, 0, 1, 1, 0};
  if constexpr (sizeof(T) == 1) {
    for (int x = 0; x < 256; ++x) v.push_back(static_cast<T>(x));
    return v;
  }
  v = edgeValues<T>();
  if constexpr (std::is_floating_point_v<T>) {
    for (float f : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::denorm_min(), 16777216.0f, 3.0e38f})
      v.push_back(f);
  } else {
    for (int64_t x : {2, -2, 255, 256, 181, 46341, 32768, 65535})
      if (x >= std::numeric_limits<T>::min() && x <= std::numeric_limits<T>::max()) v.push_back(static_cast<T>(x));
    v.push_back(std::numeric_limits<T>::max() / 2);
    v.push_back(std::numeric_limits<T>::max() / 2 + 1);
  }
  Rng rng(depth);
  for (int i = 0; i < 40; ++i) v.push_back(randomSample<T>(rng));
  return v;
}

enum class Layout { kFlat, kRows, kPlanes, kCoi, kMaskedAlpha };
const char* const kLayoutNames[] = {"flat", "rows", "planes", "coi", "masked rgba"};

// Image `role` (0 A, 1 B, 2 destination) of a w x h call in the layout.
ImageSpec layoutSpec(Layout layout, int depth, int w, int h, int role) {
  ImageSpec s = ImageSpec(depth, w, h).seeded(static_cast<uint64_t>(role) + 1);
  const int x = role == 0 ? 1 : role == 1 ? 6 : 5;  // 1U: bit offsets below and above 4
  switch (layout) {
    case Layout::kFlat: return s;
    case Layout::kRows: return s.size(w + 8, h + 1).aligned(role == 1 ? 8 : 4).withRoi(0, x, role % 2, w, h);
    case Layout::kPlanes: return s.channels(2).planes().size(w + 3, h).withRoi(0, role, 0, w, h);
    case Layout::kCoi: return s.channels(3).withRoi(role + 1, 0, 0, w, h);
    default:
      if (depth != VRN_DEPTH_1U) s.channels(4).withAlpha();
      return role == 2 ? s.withMask(MaskSpec{w, h, 4, false, {}, 0.5, 9}) : s;
  }
}

// Runs op over a w x h grid where A's column x holds as[x] and B's row y
// holds bs[y] (or the constant k); checks every operated sample.
template <class T>
testing::AssertionResult checkGrid(Op op, int depth, Layout layout, const std::vector<T>& as,
                                   const std::vector<T>& bs, double k) {
  const int w = static_cast<int>(as.size()), h = static_cast<int>(bs.size());
  auto get = [](const VrnImage* im, int x, int y, int c) { return static_cast<T>(sampleAt(im, x, y, c)); };
  TestImage a(layoutSpec(layout, depth, w, h, 0)), b(layoutSpec(layout, depth, w, h, 1));
  TestImage d(layoutSpec(layout, depth, w, h, 2));
  const Rect ra = clippedRect(a), rb = clippedRect(b), rd = clippedRect(d);
  for (int c : operatedChannels(a))
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        setSample(a, ra.x + x, ra.y + y, c, as[static_cast<size_t>(x)]);  // a double holds every sample
        setSample(b, rb.x + x, rb.y + y, c, bs[static_cast<size_t>(y)]);
      }
  const TestImage before = d.clone();
  ReportCatcher catcher;
  call(op, a, b, d, k);
  if (!catcher.empty()) return testing::AssertionFailure() << catcher.describe();
  if (layout != Layout::kFlat) {  // a flat run may go through row padding
    const testing::AssertionResult outside = onlyRectChanged(snapshot(before), d, w, h);
    if (!outside) return outside;
  }
  const std::vector<int> channels = operatedChannels(d), chA = operatedChannels(a), chB = operatedChannels(b);
  for (size_t i = 0; i < channels.size(); ++i)
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const T sa = get(a, ra.x + x, ra.y + y, chA[i]), sb = get(b, rb.x + x, rb.y + y, chB[i]);
        const bool set = !d.mask() || sampleAt(d.mask(), x, y) != 0;
        const T want = set ? expected<T>(op, depth, sa, sb, k) : get(before, rd.x + x, rd.y + y, channels[i]);
        const T got = get(d, rd.x + x, rd.y + y, channels[i]);
        if (!sameSample(got, want))
          return testing::AssertionFailure() << sampleText(sa) << " and " << sampleText(sb) << " gave "
                                             << sampleText(got) << ", want " << sampleText(want);
      }
  return testing::AssertionSuccess();
}

// Constants at the edges of every depth's range and of every route.
const std::vector<double> kArithConstants = {
    INT32_MIN, INT32_MIN + 1.0, -131071, -131070, -70000, -65536, -65535, -65534, -32769, -32768, -32767, -511,
    -510, -509, -300, -257, -256, -255, -254, -129, -128, -127, -2, -1, 0, 1, 2, 3, 127, 128, 129, 254, 255, 256,
    257, 300, 509, 510, 511, 1000, 32767, 32768, 65534, 65535, 65536, 70000, 131069, 131070, 131071,
    INT32_MAX - 1.0, INT32_MAX};
const std::vector<double> kLogicConstants = {0x8001F0A5u, 0x12345680u, 0xFFFF8001u, 0x1F0, 2, 3, 0};

std::vector<double> constantsOf(Op op, int depth) {
  if (op == kSquare || op == kAbs || op == kNot) return {0};
  if (op == kLShift || op == kRShift) {
    std::vector<double> v = {100, -1};
    for (int i = 0; i <= 33; ++i) v.push_back(i);
    return v;
  }
  if (isLogic(op)) return kLogicConstants;
  std::vector<double> v = kArithConstants;
  if (depth == VRN_DEPTH_32F) v.insert(v.end(), {0.75, -2.5, 1e30});
  return v;
}

template <class T>
void checkDepth(int depth) {
  const std::vector<T> values = operands<T>(depth);
  for (int o = kAdd; o <= kNot; ++o) {
    const Op op = static_cast<Op>(o);
    if (depth == VRN_DEPTH_32F && (isLogic(op) || op == kLShift || op == kRShift)) continue;
    for (int l = 0; l < 5; ++l) {
      const Layout layout = static_cast<Layout>(l);
      if (depth == VRN_DEPTH_1U && (layout == Layout::kPlanes || layout == Layout::kCoi)) continue;
      const bool binary = op <= kXor;
      for (double k : binary ? std::vector<double>{0} : constantsOf(op, depth)) {
        const std::vector<T> second = binary ? values : std::vector<T>{T{}};
        ASSERT_TRUE(checkGrid<T>(op, depth, layout, values, second, k))
            << kNames[o] << " " << depthName(depth) << " " << kLayoutNames[l] << " constant " << k;
      }
    }
  }
}

TEST(Arithmetic, OneBit) { checkDepth<uint8_t>(VRN_DEPTH_1U); }
TEST(Arithmetic, Every8UPair) { checkDepth<uint8_t>(VRN_DEPTH_8U); }
TEST(Arithmetic, Every8SPair) { checkDepth<int8_t>(VRN_DEPTH_8S); }
TEST(Arithmetic, Edges16U) { checkDepth<uint16_t>(VRN_DEPTH_16U); }
TEST(Arithmetic, Edges16S) { checkDepth<int16_t>(VRN_DEPTH_16S); }
TEST(Arithmetic, Edges32S) { checkDepth<int32_t>(VRN_DEPTH_32S); }
TEST(Arithmetic, Edges32F) { checkDepth<float>(VRN_DEPTH_32F); }

}  // namespace

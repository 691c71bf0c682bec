// Every packed row of the arithmetic and logic equals its per-sample rule on
// every Highway target (the shared packed == scalar check: lengths,
// misalignments, sentinels, in place), and on the machine's own target
// again on a run long enough to be written with streaming stores; the logic
// constant rows with the word replicated by depth class.
#include <gtest/gtest.h>

#include <limits>

#include "arith/arith_rules.h"
#include "arith/logic_rules.h"
#include "arith/scalar_rules.h"
#include "support/checks.h"

namespace {

using namespace vrn;
using vrntest::forEachTarget;
using vrntest::packedMatchesScalar;
using vrntest::PackedCheckOptions;

// The short sweep, on every target; the streaming run, on the machine's own.
const PackedCheckOptions kSweep{}, kLongRun{.longRunBytes = kStreamingBytes};
template <class Check>
void onTargets(const Check& check) {
  forEachTarget([&](int64_t) { check(kSweep); });
  check(kLongRun);
}

template <template <class> class Def, template <class> class Packed, class T>
void checkRow(const PackedCheckOptions& plan) {
  EXPECT_TRUE(packedMatchesScalar<T>(Packed<T>::get(), [](T a, T b) { return Def<T>::apply(a, b); }, plan));
}
template <template <class> class Def, template <class> class Packed, class... T>
void checkBinary() {
  onTargets([](const PackedCheckOptions& plan) { (checkRow<Def, Packed, T>(plan), ...); });
}

TEST(ArithPacked, TwoImageRows) {
  checkBinary<AddDef, PackedAdd, uint8_t, int8_t, uint16_t, int16_t, float>();
  checkBinary<SubtractDef, PackedSubtract, uint8_t, int8_t, uint16_t, int16_t, float>();
  checkBinary<MultiplyDef, PackedMultiply, uint8_t, int8_t, uint16_t, int16_t, float>();
}

// A constant rule's packed row for each constant of its range.
template <class Def>
void checkConstant(std::initializer_list<typename Def::Constant> constants) {
  using T = typename Def::Sample;
  onTargets([&](const PackedCheckOptions& plan) {
    const auto fn = PackedUnary<Def>::get();
    ASSERT_NE(fn, nullptr);
    for (const auto c : constants) {
      EXPECT_TRUE(packedMatchesScalar<T>([&](const T* s, T* d, size_t n) { fn(s, d, n, c); },
                                         [&](T s) { return Def::apply(s, c); }, plan))
          << "constant " << c;
      if (plan.longRunBytes) break;  // one constant is enough for the long path
    }
  });
}

TEST(ArithPacked, ConstantRows) {
  checkConstant<AddUpToMax<uint8_t>>({0, 1, 100, 253, 254});
  checkConstant<SubtractDownToZero<uint8_t>>({1, 2, 128, 254});
  checkConstant<ReverseSubtractToZero<uint8_t>>({1, 2, 128, 254, 255});
  checkConstant<ReverseSubtractToMax<uint8_t>>({256, 257, 300, 508, 509});
  checkConstant<MultiplyConstant<uint8_t>>({1, 2, 3, 16, 17, 128, 254, 255});
  checkConstant<AddUpToMax<uint16_t>>({0, 1, 30000, 65533, 65534});
  checkConstant<SubtractDownToZero<uint16_t>>({1, 2, 40000, 65534});
  checkConstant<ReverseSubtractToZero<uint16_t>>({1, 2, 40000, 65534, 65535});
  checkConstant<ReverseSubtractToMax<uint16_t>>({65536, 65537, 100000, 131068, 131069});
  const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
  checkConstant<AddConstantF>({0.0f, -0.0f, 1.5f, -1e30f, inf, nan});
  checkConstant<SubtractConstantF>({0.0f, 1.5f, -1e30f, inf, nan});
  checkConstant<ReverseSubtractConstantF>({0.0f, -0.0f, 1.5f, -inf, nan});
  checkConstant<MultiplyConstantF>({0.0f, -1.0f, 0.5f, 3e38f, inf, nan});
}

// The dispatched pointer follows the target (no pointer cached across targets).
TEST(ArithPacked, TargetsAreDistinct) {
  std::vector<BinaryRowFn<uint8_t>> seen;
  forEachTarget([&](int64_t) { seen.push_back(PackedSubtract<uint8_t>::get()); });
  for (size_t i = 1; i < seen.size(); ++i) EXPECT_NE(seen[i], seen[i - 1]);
}

template <class Op>
void checkByteRow() {
  onTargets([](const PackedCheckOptions& plan) {
    EXPECT_TRUE(packedMatchesScalar<uint8_t>(PackedLogic<Op>::bytes(), [](uint8_t a, uint8_t b) { return Op::apply(a, b); },
                                             plan));
  });
}

// The constant row, read as samples of T, equals s op (T)word per sample.
template <class Op, class T>
void checkWordRow(int depth, unsigned value) {
  const uint32_t word = replicateConstant(depth, value);
  onTargets([&](const PackedCheckOptions& plan) {
    const WordRowFn row = PackedLogic<Op>::word();
    EXPECT_TRUE(packedMatchesScalar<T>(
        [&](const T* s, T* d, size_t n) {
          row(reinterpret_cast<const uint8_t*>(s), reinterpret_cast<uint8_t*>(d), n * sizeof(T), word);
        },
        [&](T s) { return Op::apply(s, static_cast<T>(word)); }, plan))
        << vrntest::depthName(depth) << " " << value;
  });
}

TEST(LogicPacked, RowsEqualTheDefinition) {
  checkByteRow<AndOp>();
  checkByteRow<OrOp>();
  checkByteRow<XorOp>();
  checkWordRow<AndOp, uint8_t>(VRN_DEPTH_8U, 0x1F0);
  checkWordRow<OrOp, uint8_t>(VRN_DEPTH_1U, 3);
  checkWordRow<XorOp, uint16_t>(VRN_DEPTH_16S, 0xABCD1234);
  checkWordRow<XorOp, uint32_t>(VRN_DEPTH_32S, 0x80000001);
  // Four different bytes: byte i meets byte i mod 4 of the word however the
  // run is split for alignment.
  onTargets([](const PackedCheckOptions& plan) {
    const WordRowFn row = PackedLogic<XorOp>::word();
    EXPECT_TRUE(packedMatchesScalar<uint8_t>([&](const uint8_t* s, uint8_t* d, size_t n) { row(s, d, n, 0x80402010u); },
                                             [](const uint8_t* s, uint8_t* d, size_t n) {
                                               wordRowScalar<XorOp>(s, d, n, 0x80402010u);
                                             },
                                             plan));
  });
}

}  // namespace

// The packed logic rows equal their per-sample definitions on every compiled
// target (the shared packed == scalar check: lengths, misalignments,
// sentinels, in place), and the constant is replicated by depth class.
#include <gtest/gtest.h>

#include "arith/logic_rules.h"
#include "support/checks.h"

namespace {

using namespace vrn;
using vrntest::packedMatchesScalar;

template <class Op>
void checkByteRow() {
  vrntest::forEachTarget([](int64_t) {
    EXPECT_TRUE(packedMatchesScalar<uint8_t>(PackedLogic<Op>::bytes(), [](uint8_t a, uint8_t b) { return Op::apply(a, b); }));
  });
}

// The constant row, read as samples of T, equals s op (T)word per sample.
template <class Op, class T>
void checkWordRow(int depth, unsigned value) {
  const uint32_t word = replicateConstant(depth, value);
  vrntest::forEachTarget([&](int64_t) {
    const WordRowFn row = PackedLogic<Op>::word();
    EXPECT_TRUE(packedMatchesScalar<T>(
        [&](const T* s, T* d, size_t n) {
          row(reinterpret_cast<const uint8_t*>(s), reinterpret_cast<uint8_t*>(d), n * sizeof(T), word);
        },
        [&](T s) { return Op::apply(s, static_cast<T>(word)); }))
        << vrntest::depthName(depth) << " " << value;
  });
}

TEST(LogicPacked, ByteRowsEqualTheDefinition) {
  checkByteRow<AndOp>();
  checkByteRow<OrOp>();
  checkByteRow<XorOp>();
}

TEST(LogicPacked, ConstantRowsEqualTheDefinitionPerDepthClass) {
  checkWordRow<AndOp, uint8_t>(VRN_DEPTH_8U, 0x1F0);
  checkWordRow<OrOp, uint8_t>(VRN_DEPTH_1U, 3);
  checkWordRow<XorOp, uint16_t>(VRN_DEPTH_16S, 0xABCD1234);
  checkWordRow<AndOp, uint16_t>(VRN_DEPTH_16U, 0x8001);
  checkWordRow<XorOp, uint32_t>(VRN_DEPTH_32S, 0x80000001);
  checkWordRow<OrOp, uint32_t>(VRN_DEPTH_32S, 0x00FF00F0);
}

TEST(LogicPacked, ReplicatedConstant) {
  EXPECT_EQ(replicateConstant(VRN_DEPTH_1U, 2), 0u);
  EXPECT_EQ(replicateConstant(VRN_DEPTH_1U, 5), 0xFFFFFFFFu);
  EXPECT_EQ(replicateConstant(VRN_DEPTH_8S, 0x1F0), 0xF0F0F0F0u);
  EXPECT_EQ(replicateConstant(VRN_DEPTH_16S, 0x12345678), 0x56785678u);
  EXPECT_EQ(replicateConstant(VRN_DEPTH_32S, 0x12345678), 0x12345678u);
}

}  // namespace

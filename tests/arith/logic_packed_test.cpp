// The packed logic rows equal their per-sample definitions on every compiled
// target, at every length up to a few vectors, at every misalignment, with a
// sentinel after the end that must stay.
#include <gtest/gtest.h>

#include <hwy/targets.h>

#include <random>
#include <vector>

#include "arith/logic_rules.h"

using namespace vrn;

namespace {

constexpr size_t kMaxLength = 3 * 64 + 7;  // a few AVX-512 vectors and a tail
constexpr uint8_t kSentinel = 0xA5;

template <class Op>
void checkByteRows(const char* name) {
  std::mt19937 rng(11);
  std::vector<uint8_t> a(kMaxLength + 64), b(kMaxLength + 64), d(kMaxLength + 80);
  for (int64_t target : hwy::SupportedAndGeneratedTargets()) {
    hwy::SetSupportedTargetsForTest(target);
    const ByteRowFn row = PackedLogic<Op>::bytes();
    for (size_t n = 0; n <= kMaxLength; ++n)
      for (size_t mis = 0; mis < 8; ++mis) {
        for (auto& x : a) x = static_cast<uint8_t>(rng());
        for (auto& x : b) x = static_cast<uint8_t>(rng());
        std::fill(d.begin(), d.end(), kSentinel);
        row(a.data() + mis, b.data() + (7 - mis), d.data() + mis, n);
        for (size_t i = 0; i < n; ++i)
          ASSERT_EQ(d[mis + i], Op::apply(a[mis + i], b[7 - mis + i]))
              << name << " " << hwy::TargetName(target) << " n " << n << " i " << i;
        for (size_t i = mis + n; i < d.size(); ++i) ASSERT_EQ(d[i], kSentinel);
        for (size_t i = 0; i < mis; ++i) ASSERT_EQ(d[i], kSentinel);
      }
  }
  hwy::SetSupportedTargetsForTest(0);
}

// The constant row, read as samples of T, equals s op (T)word per sample;
// edge values of T are mixed in.
template <class Op, class T>
void checkWordRows(const char* name, uint32_t word) {
  std::mt19937 rng(12);
  const size_t maxSamples = kMaxLength / sizeof(T) + 2;
  std::vector<T> s(maxSamples + 8), d(maxSamples + 16);
  const T edges[] = {T(0), T(~T(0)), T(T(1) << (8 * sizeof(T) - 1)), T(1)};
  const T sentinel = static_cast<T>(0xA5A5A5A5u);
  for (int64_t target : hwy::SupportedAndGeneratedTargets()) {
    hwy::SetSupportedTargetsForTest(target);
    const WordRowFn row = PackedLogic<Op>::word();
    for (size_t n = 0; n <= maxSamples; ++n)
      for (size_t mis = 0; mis < 4; ++mis) {
        for (size_t i = 0; i < s.size(); ++i) s[i] = (i % 5 == 0) ? edges[i % 4] : static_cast<T>(rng());
        std::fill(d.begin(), d.end(), sentinel);
        row(reinterpret_cast<const uint8_t*>(s.data() + mis), reinterpret_cast<uint8_t*>(d.data() + mis),
            n * sizeof(T), word);
        for (size_t i = 0; i < n; ++i)
          ASSERT_EQ(d[mis + i], Op::apply(s[mis + i], static_cast<T>(word)))
              << name << " " << hwy::TargetName(target) << " n " << n;
        for (size_t i = mis + n; i < d.size(); ++i) ASSERT_EQ(d[i], sentinel);
        for (size_t i = 0; i < mis; ++i) ASSERT_EQ(d[i], sentinel);
      }
  }
  hwy::SetSupportedTargetsForTest(0);
}

TEST(LogicPacked, ByteRowsEqualTheDefinition) {
  checkByteRows<AndOp>("and");
  checkByteRows<OrOp>("or");
  checkByteRows<XorOp>("xor");
}

TEST(LogicPacked, ConstantRowsEqualTheDefinitionPerDepthClass) {
  checkWordRows<AndOp, uint8_t>("and8", replicateConstant(VRN_DEPTH_8U, 0x1F0));
  checkWordRows<OrOp, uint8_t>("or1", replicateConstant(VRN_DEPTH_1U, 3));
  checkWordRows<XorOp, uint16_t>("xor16", replicateConstant(VRN_DEPTH_16S, 0xABCD1234));
  checkWordRows<AndOp, uint16_t>("and16", replicateConstant(VRN_DEPTH_16U, 0x8001));
  checkWordRows<XorOp, uint32_t>("xor32", replicateConstant(VRN_DEPTH_32S, 0x80000001));
  checkWordRows<OrOp, uint32_t>("or32", replicateConstant(VRN_DEPTH_32S, 0x00FF00F0));
}

TEST(LogicPacked, ReplicatedConstant) {
  EXPECT_EQ(replicateConstant(VRN_DEPTH_1U, 2), 0u);
  EXPECT_EQ(replicateConstant(VRN_DEPTH_1U, 5), 0xFFFFFFFFu);
  EXPECT_EQ(replicateConstant(VRN_DEPTH_8S, 0x1F0), 0xF0F0F0F0u);
  EXPECT_EQ(replicateConstant(VRN_DEPTH_16S, 0x12345678), 0x56785678u);
  EXPECT_EQ(replicateConstant(VRN_DEPTH_32S, 0x12345678), 0x12345678u);
}

}  // namespace

// Packed rows of the logic family: AND, OR and XOR of two byte rows, and of a
// byte row against a replicated 32-bit word.  Whole vectors first, then the
// scalar definition finishes the tail.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "arith/logic_packed.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "arith/logic_rules.h"

HWY_BEFORE_NAMESPACE();
namespace vrn::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

struct VecAnd {
  using Scalar = AndOp;
  template <class V>
  static HWY_INLINE V Vec(V a, V b) { return hn::And(a, b); }
};
struct VecOr {
  using Scalar = OrOp;
  template <class V>
  static HWY_INLINE V Vec(V a, V b) { return hn::Or(a, b); }
};
struct VecXor {
  using Scalar = XorOp;
  template <class V>
  static HWY_INLINE V Vec(V a, V b) { return hn::Xor(a, b); }
};

// a op b, two vectors a pass, then the scalar definition for the tail.
template <class Op>
HWY_INLINE void BytesRow(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) {
  const hn::ScalableTag<uint8_t> d8;
  const size_t lanes = hn::Lanes(d8);
  size_t i = 0;
  for (; i + 2 * lanes <= n; i += 2 * lanes) {
    const auto a0 = hn::LoadU(d8, a + i), a1 = hn::LoadU(d8, a + i + lanes);
    const auto b0 = hn::LoadU(d8, b + i), b1 = hn::LoadU(d8, b + i + lanes);
    hn::StoreU(Op::Vec(a0, b0), d8, d + i);
    hn::StoreU(Op::Vec(a1, b1), d8, d + i + lanes);
  }
  for (; i + lanes <= n; i += lanes) hn::StoreU(Op::Vec(hn::LoadU(d8, a + i), hn::LoadU(d8, b + i)), d8, d + i);
  byteRowScalar<typename Op::Scalar>(a + i, b + i, d + i, n - i);
}

// s against the word's bytes; vectors hold a whole number of words, so byte i
// of the run meets byte i mod 4 of the word.
template <class Op>
HWY_INLINE void WordRow(const uint8_t* s, uint8_t* d, size_t n, uint32_t word) {
  const hn::ScalableTag<uint8_t> d8;
  const hn::Repartition<uint32_t, decltype(d8)> d32;
  const auto w = hn::BitCast(d8, hn::Set(d32, word));
  const size_t lanes = hn::Lanes(d8);
  size_t i = 0;
  // A vector must hold whole words (not so on the one-lane scalar target).
  const size_t body = lanes % 4 == 0 ? n : 0;
  for (; i + 2 * lanes <= body; i += 2 * lanes) {
    const auto v0 = hn::LoadU(d8, s + i);
    const auto v1 = hn::LoadU(d8, s + i + lanes);
    hn::StoreU(Op::Vec(v0, w), d8, d + i);
    hn::StoreU(Op::Vec(v1, w), d8, d + i + lanes);
  }
  for (; i + lanes <= body; i += lanes) hn::StoreU(Op::Vec(hn::LoadU(d8, s + i), w), d8, d + i);
  wordRowScalar<typename Op::Scalar>(s + i, d + i, n - i, word);
}

void AndBytes(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) { BytesRow<VecAnd>(a, b, d, n); }
void OrBytes(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) { BytesRow<VecOr>(a, b, d, n); }
void XorBytes(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) { BytesRow<VecXor>(a, b, d, n); }
void AndWord(const uint8_t* s, uint8_t* d, size_t n, uint32_t w) { WordRow<VecAnd>(s, d, n, w); }
void OrWord(const uint8_t* s, uint8_t* d, size_t n, uint32_t w) { WordRow<VecOr>(s, d, n, w); }
void XorWord(const uint8_t* s, uint8_t* d, size_t n, uint32_t w) { WordRow<VecXor>(s, d, n, w); }

}  // namespace vrn::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vrn {
HWY_EXPORT(AndBytes);
HWY_EXPORT(OrBytes);
HWY_EXPORT(XorBytes);
HWY_EXPORT(AndWord);
HWY_EXPORT(OrWord);
HWY_EXPORT(XorWord);

template <> ByteRowFn PackedLogic<AndOp>::bytes() { return HWY_DYNAMIC_DISPATCH(AndBytes); }
template <> ByteRowFn PackedLogic<OrOp>::bytes() { return HWY_DYNAMIC_DISPATCH(OrBytes); }
template <> ByteRowFn PackedLogic<XorOp>::bytes() { return HWY_DYNAMIC_DISPATCH(XorBytes); }
template <> WordRowFn PackedLogic<AndOp>::word() { return HWY_DYNAMIC_DISPATCH(AndWord); }
template <> WordRowFn PackedLogic<OrOp>::word() { return HWY_DYNAMIC_DISPATCH(OrWord); }
template <> WordRowFn PackedLogic<XorOp>::word() { return HWY_DYNAMIC_DISPATCH(XorWord); }
}  // namespace vrn
#endif

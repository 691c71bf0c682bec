// Packed rows of the logic family: AND, OR and XOR of two byte rows, and of a
// byte row against a replicated 32-bit word, on the shared row loop.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "arith/logic_packed.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstring>

#include "arith/logic_rules.h"
#include "core/packed_rows-inl.h"

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

// s against the word's bytes: byte i of the run meets byte i mod 4 of the
// word, so a vector starting at i takes the word turned by i mod 4 bytes.
template <class Op>
HWY_INLINE void WordRow(const uint8_t* s, uint8_t* d, size_t n, uint32_t word) {
  const StreamTag<uint8_t> d8;
  const hn::Repartition<uint32_t, decltype(d8)> d32;
  uint8_t bytes[4];
  std::memcpy(bytes, &word, 4);
  uint32_t turned[4];
  for (size_t k = 0; k < 4; ++k) {
    const uint8_t t[4] = {bytes[k], bytes[(k + 1) & 3], bytes[(k + 2) & 3], bytes[(k + 3) & 3]};
    std::memcpy(&turned[k], t, 4);
  }
  StoreRow(
      d8, d, n, [&](size_t i) HWY_ATTR { return Op::Vec(hn::LoadU(d8, s + i), hn::BitCast(d8, hn::Set(d32, turned[i & 3]))); },
      [&](size_t i) HWY_ATTR { return Op::Scalar::apply(s[i], bytes[i & 3]); });
}

void AndBytes(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) { BinaryRow<uint8_t, VecAnd>(a, b, d, n); }
void OrBytes(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) { BinaryRow<uint8_t, VecOr>(a, b, d, n); }
void XorBytes(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) { BinaryRow<uint8_t, VecXor>(a, b, d, n); }
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

// Packed rows of the constant forms: the four unsigned saturating regimes of
// add/subtract at 8 and 16 bits, the 8U product with a constant (widened to
// 16 bits and narrowed with saturation), and the float constant forms.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "arith/scalar_packed.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "arith/scalar_rules.h"
#include "core/packed_rows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vrn::HWY_NAMESPACE {

// Op<T> wraps a rule's constant: Vec on a vector, scalar on the tail.
template <class Def>
struct ConstantOp {
  using T = typename Def::Sample;
  typename Def::Constant c;
  T scalar(T s) const { return Def::apply(s, c); }
};

template <class T>
struct AddUpOp : ConstantOp<AddUpToMax<T>> {
  template <class D, class V>
  HWY_INLINE V Vec(D d, V v) const { return hn::SaturatedAdd(v, hn::Set(d, static_cast<T>(this->c))); }
};
template <class T>
struct SubtractDownOp : ConstantOp<SubtractDownToZero<T>> {
  template <class D, class V>
  HWY_INLINE V Vec(D d, V v) const { return hn::SaturatedSub(v, hn::Set(d, static_cast<T>(this->c))); }
};
template <class T>
struct ReverseToZeroOp : ConstantOp<ReverseSubtractToZero<T>> {
  template <class D, class V>
  HWY_INLINE V Vec(D d, V v) const { return hn::SaturatedSub(hn::Set(d, static_cast<T>(this->c)), v); }
};
// c - s = (c - M) + (M - s), with M - s = NOT s and 0 < c - M < M.
template <class T>
struct ReverseToMaxOp : ConstantOp<ReverseSubtractToMax<T>> {
  template <class D, class V>
  HWY_INLINE V Vec(D d, V v) const {
    return hn::SaturatedAdd(hn::Not(v), hn::Set(d, static_cast<T>(this->c - static_cast<int>(kMax<T>))));
  }
};
template <class Def, class F>
struct FloatOp : ConstantOp<Def> {
  template <class D, class V>
  HWY_INLINE V Vec(D d, V v) const { return F()(v, hn::Set(d, this->c)); }
};
struct FAdd { template <class V> HWY_INLINE V operator()(V a, V b) const { return hn::Add(a, b); } };
struct FSub { template <class V> HWY_INLINE V operator()(V a, V b) const { return hn::Sub(a, b); } };
struct FRevSub { template <class V> HWY_INLINE V operator()(V a, V b) const { return hn::Sub(b, a); } };
struct FMul { template <class V> HWY_INLINE V operator()(V a, V b) const { return hn::Mul(a, b); } };

template <class Op, class T, class C>
HWY_INLINE void Run(const T* s, T* d, size_t n, C c) {
  Op op;
  op.c = c;
  UnaryRow<T>(op, s, d, n);
}

void AddUpU8(const uint8_t* s, uint8_t* d, size_t n, int c) { Run<AddUpOp<uint8_t>>(s, d, n, c); }
void AddUpU16(const uint16_t* s, uint16_t* d, size_t n, int c) { Run<AddUpOp<uint16_t>>(s, d, n, c); }
void SubtractDownU8(const uint8_t* s, uint8_t* d, size_t n, int c) { Run<SubtractDownOp<uint8_t>>(s, d, n, c); }
void SubtractDownU16(const uint16_t* s, uint16_t* d, size_t n, int c) { Run<SubtractDownOp<uint16_t>>(s, d, n, c); }
void ReverseToZeroU8(const uint8_t* s, uint8_t* d, size_t n, int c) { Run<ReverseToZeroOp<uint8_t>>(s, d, n, c); }
void ReverseToZeroU16(const uint16_t* s, uint16_t* d, size_t n, int c) { Run<ReverseToZeroOp<uint16_t>>(s, d, n, c); }
void ReverseToMaxU8(const uint8_t* s, uint8_t* d, size_t n, int c) { Run<ReverseToMaxOp<uint8_t>>(s, d, n, c); }
void ReverseToMaxU16(const uint16_t* s, uint16_t* d, size_t n, int c) { Run<ReverseToMaxOp<uint16_t>>(s, d, n, c); }
void AddF32(const float* s, float* d, size_t n, float c) { Run<FloatOp<AddConstantF, FAdd>>(s, d, n, c); }
void SubtractF32(const float* s, float* d, size_t n, float c) { Run<FloatOp<SubtractConstantF, FSub>>(s, d, n, c); }
void ReverseSubtractF32(const float* s, float* d, size_t n, float c) { Run<FloatOp<ReverseSubtractConstantF, FRevSub>>(s, d, n, c); }
void MultiplyF32(const float* s, float* d, size_t n, float c) { Run<FloatOp<MultiplyConstantF, FMul>>(s, d, n, c); }

// 8U times c in [1, 255], a 16-bit vector's worth a pass; the product is
// capped at 255 before the narrowing, which reads signed 16-bit input.
void MultiplyU8(const uint8_t* s, uint8_t* d, size_t n, int c) {
  const hn::ScalableTag<uint16_t> dw;
  const hn::Rebind<uint8_t, decltype(dw)> dn;
  const hn::Rebind<int16_t, decltype(dw)> ds;
  const auto k = hn::Set(dw, static_cast<uint16_t>(c));
  const auto cap = hn::Set(dw, uint16_t{255});
  auto product = [&](size_t i) HWY_ATTR {
    const auto p = hn::Min(hn::Mul(hn::PromoteTo(dw, hn::LoadU(dn, s + i)), k), cap);
    return hn::DemoteTo(dn, hn::BitCast(ds, p));
  };
  StoreRow(dn, d, n, product, [&](size_t i) HWY_ATTR { return MultiplyConstant<uint8_t>::apply(s[i], c); });
}

}  // namespace vrn::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vrn {
HWY_EXPORT(AddUpU8);
HWY_EXPORT(AddUpU16);
HWY_EXPORT(SubtractDownU8);
HWY_EXPORT(SubtractDownU16);
HWY_EXPORT(ReverseToZeroU8);
HWY_EXPORT(ReverseToZeroU16);
HWY_EXPORT(ReverseToMaxU8);
HWY_EXPORT(ReverseToMaxU16);
HWY_EXPORT(AddF32);
HWY_EXPORT(SubtractF32);
HWY_EXPORT(ReverseSubtractF32);
HWY_EXPORT(MultiplyF32);
HWY_EXPORT(MultiplyU8);

#define VRN_PACKED_ROW(Def, fn) \
  UnaryRowFn<Def::Sample, Def::Constant> PackedUnary<Def>::get() { return HWY_DYNAMIC_DISPATCH(fn); }
VRN_PACKED_ROW(AddUpToMax<uint8_t>, AddUpU8)
VRN_PACKED_ROW(AddUpToMax<uint16_t>, AddUpU16)
VRN_PACKED_ROW(SubtractDownToZero<uint8_t>, SubtractDownU8)
VRN_PACKED_ROW(SubtractDownToZero<uint16_t>, SubtractDownU16)
VRN_PACKED_ROW(ReverseSubtractToZero<uint8_t>, ReverseToZeroU8)
VRN_PACKED_ROW(ReverseSubtractToZero<uint16_t>, ReverseToZeroU16)
VRN_PACKED_ROW(ReverseSubtractToMax<uint8_t>, ReverseToMaxU8)
VRN_PACKED_ROW(ReverseSubtractToMax<uint16_t>, ReverseToMaxU16)
VRN_PACKED_ROW(MultiplyConstant<uint8_t>, MultiplyU8)
VRN_PACKED_ROW(AddConstantF, AddF32)
VRN_PACKED_ROW(SubtractConstantF, SubtractF32)
VRN_PACKED_ROW(ReverseSubtractConstantF, ReverseSubtractF32)
VRN_PACKED_ROW(MultiplyConstantF, MultiplyF32)
#undef VRN_PACKED_ROW
}  // namespace vrn
#endif

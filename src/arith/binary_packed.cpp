// Packed rows of the two-image arithmetic: saturating add and subtract at 8
// and 16 bits; 8- and 16-bit multiply widened to twice the width, multiplied
// and narrowed with saturation; float add, subtract and multiply.  32-bit
// integer rows stay scalar (sign rules, double product).
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "arith/binary_packed.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <limits>
#include <type_traits>

#include "arith/arith_rules.h"
#include "core/packed_rows-inl.h"
#include "core/rules.h"

HWY_BEFORE_NAMESPACE();
namespace vrn::HWY_NAMESPACE {

template <class T>
struct SatAdd {
  using Scalar = AddDef<T>;
  template <class V>
  static HWY_INLINE V Vec(V a, V b) { return hn::SaturatedAdd(a, b); }
};
template <class T>
struct SatSubtract {
  using Scalar = SubtractDef<T>;
  template <class V>
  static HWY_INLINE V Vec(V a, V b) { return hn::SaturatedSub(a, b); }
};
struct FloatAdd {
  using Scalar = AddDef<float>;
  template <class V>
  static HWY_INLINE V Vec(V a, V b) { return hn::Add(a, b); }
};
struct FloatSubtract {
  using Scalar = SubtractDef<float>;
  template <class V>
  static HWY_INLINE V Vec(V a, V b) { return hn::Sub(a, b); }
};
struct FloatMultiply {
  using Scalar = MultiplyDef<float>;
  template <class V>
  static HWY_INLINE V Vec(V a, V b) { return hn::Mul(a, b); }
};

template <class T>
HWY_INLINE void SatAddRow(const T* a, const T* b, T* d, size_t n) { BinaryRow<T, SatAdd<T>>(a, b, d, n); }
template <class T>
HWY_INLINE void SatSubtractRow(const T* a, const T* b, T* d, size_t n) { BinaryRow<T, SatSubtract<T>>(a, b, d, n); }

// 8- and 16-bit products, a double-width vector's worth of samples a pass:
// widened, multiplied (no product overflows the double width, read as
// unsigned for 16U) and narrowed with saturation.  Unsigned products are
// first capped at the maximum, since the narrowing reads signed input.
template <class T>
HWY_INLINE void MultiplyNarrowRow(const T* a, const T* b, T* d, size_t n) {
  using Signed = std::conditional_t<sizeof(T) == 1, int16_t, int32_t>;
  using Unsigned = std::make_unsigned_t<Signed>;
  using Wide = std::conditional_t<hwy::IsSigned<T>(), Signed, Unsigned>;
  const hn::ScalableTag<Wide> dw;
  const hn::Rebind<T, decltype(dw)> dn;
  const hn::Rebind<Signed, decltype(dw)> ds;
  auto product = [&](size_t i) HWY_ATTR {
    const auto p = hn::Mul(hn::PromoteTo(dw, hn::LoadU(dn, a + i)), hn::PromoteTo(dw, hn::LoadU(dn, b + i)));
    if constexpr (hwy::IsSigned<T>())
      return hn::DemoteTo(dn, p);
    else
      return hn::DemoteTo(dn, hn::BitCast(ds, hn::Min(p, hn::Set(dw, Wide{std::numeric_limits<T>::max()}))));
  };
  StoreRow(dn, d, n, product, [&](size_t i) HWY_ATTR { return MultiplyDef<T>::apply(a[i], b[i]); });
}

// The five packed rows of one rule: 8U, 8S, 16U, 16S by an integer row
// template, 32F by a float vector op.
#define VRN_BINARY_ROWS(Rule, IntRow, FloatOp)                                                          \
  void Rule##RowU8(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) { IntRow<uint8_t>(a, b, d, n); } \
  void Rule##RowI8(const int8_t* a, const int8_t* b, int8_t* d, size_t n) { IntRow<int8_t>(a, b, d, n); }     \
  void Rule##RowU16(const uint16_t* a, const uint16_t* b, uint16_t* d, size_t n) {                        \
    IntRow<uint16_t>(a, b, d, n);                                                                       \
  }                                                                                                     \
  void Rule##RowI16(const int16_t* a, const int16_t* b, int16_t* d, size_t n) { IntRow<int16_t>(a, b, d, n); } \
  void Rule##RowF32(const float* a, const float* b, float* d, size_t n) { BinaryRow<float, FloatOp>(a, b, d, n); }

VRN_BINARY_ROWS(Add, SatAddRow, FloatAdd)
VRN_BINARY_ROWS(Subtract, SatSubtractRow, FloatSubtract)
VRN_BINARY_ROWS(Multiply, MultiplyNarrowRow, FloatMultiply)

}  // namespace vrn::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vrn {

// The dispatch tables of one rule's rows and the getters that fetch the
// best row for the machine; 32S has none.
#define VRN_EXPORT_BINARY_ROWS(Rule)                                                                   \
  HWY_EXPORT(Rule##RowU8);                                                                             \
  HWY_EXPORT(Rule##RowI8);                                                                             \
  HWY_EXPORT(Rule##RowU16);                                                                            \
  HWY_EXPORT(Rule##RowI16);                                                                            \
  HWY_EXPORT(Rule##RowF32);                                                                            \
  template <> BinaryRowFn<uint8_t> Packed##Rule<uint8_t>::get() { return HWY_DYNAMIC_DISPATCH(Rule##RowU8); }   \
  template <> BinaryRowFn<int8_t> Packed##Rule<int8_t>::get() { return HWY_DYNAMIC_DISPATCH(Rule##RowI8); }     \
  template <> BinaryRowFn<uint16_t> Packed##Rule<uint16_t>::get() { return HWY_DYNAMIC_DISPATCH(Rule##RowU16); } \
  template <> BinaryRowFn<int16_t> Packed##Rule<int16_t>::get() { return HWY_DYNAMIC_DISPATCH(Rule##RowI16); }   \
  template <> BinaryRowFn<int32_t> Packed##Rule<int32_t>::get() { return nullptr; }                   \
  template <> BinaryRowFn<float> Packed##Rule<float>::get() { return HWY_DYNAMIC_DISPATCH(Rule##RowF32); }

VRN_EXPORT_BINARY_ROWS(Add)
VRN_EXPORT_BINARY_ROWS(Subtract)
VRN_EXPORT_BINARY_ROWS(Multiply)

}  // namespace vrn
#endif

// Packed rows of multiplication: 8- and 16-bit samples are widened to twice
// their width, multiplied and narrowed with saturation; floats multiply
// directly.  32-bit integer products stay scalar (double product).
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "arith/multiply_packed.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <limits>
#include <type_traits>

#include "arith/arith_rules.h"
#include "core/packed_rows-inl.h"
#include "core/rules.h"

HWY_BEFORE_NAMESPACE();
namespace vrn::HWY_NAMESPACE {

struct FloatMultiply {
  using Scalar = MultiplyDef<float>;
  template <class V>
  static HWY_INLINE V Vec(V a, V b) { return hn::Mul(a, b); }
};

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
  const size_t lanes = hn::Lanes(dw);
  size_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    const auto p = hn::Mul(hn::PromoteTo(dw, hn::LoadU(dn, a + i)), hn::PromoteTo(dw, hn::LoadU(dn, b + i)));
    if constexpr (hwy::IsSigned<T>())
      hn::StoreU(hn::DemoteTo(dn, p), dn, d + i);
    else
      hn::StoreU(hn::DemoteTo(dn, hn::BitCast(ds, hn::Min(p, hn::Set(dw, Wide{std::numeric_limits<T>::max()})))), dn,
                 d + i);
  }
  for (; i < n; ++i) d[i] = MultiplyDef<T>::apply(a[i], b[i]);
}

void MultiplyRowU8(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) { MultiplyNarrowRow<uint8_t>(a, b, d, n); }
void MultiplyRowI8(const int8_t* a, const int8_t* b, int8_t* d, size_t n) { MultiplyNarrowRow<int8_t>(a, b, d, n); }
void MultiplyRowU16(const uint16_t* a, const uint16_t* b, uint16_t* d, size_t n) { MultiplyNarrowRow<uint16_t>(a, b, d, n); }
void MultiplyRowI16(const int16_t* a, const int16_t* b, int16_t* d, size_t n) { MultiplyNarrowRow<int16_t>(a, b, d, n); }
void MultiplyRowF32(const float* a, const float* b, float* d, size_t n) { BinaryRow<float, FloatMultiply>(a, b, d, n); }

}  // namespace vrn::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vrn {
HWY_EXPORT(MultiplyRowU8);
HWY_EXPORT(MultiplyRowI8);
HWY_EXPORT(MultiplyRowU16);
HWY_EXPORT(MultiplyRowI16);
HWY_EXPORT(MultiplyRowF32);

template <> BinaryRowFn<uint8_t> PackedMultiply<uint8_t>::get() { return HWY_DYNAMIC_DISPATCH(MultiplyRowU8); }
template <> BinaryRowFn<int8_t> PackedMultiply<int8_t>::get() { return HWY_DYNAMIC_DISPATCH(MultiplyRowI8); }
template <> BinaryRowFn<uint16_t> PackedMultiply<uint16_t>::get() { return HWY_DYNAMIC_DISPATCH(MultiplyRowU16); }
template <> BinaryRowFn<int16_t> PackedMultiply<int16_t>::get() { return HWY_DYNAMIC_DISPATCH(MultiplyRowI16); }
template <> BinaryRowFn<int32_t> PackedMultiply<int32_t>::get() { return nullptr; }
template <> BinaryRowFn<float> PackedMultiply<float>::get() { return HWY_DYNAMIC_DISPATCH(MultiplyRowF32); }
}  // namespace vrn
#endif

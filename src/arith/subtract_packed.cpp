// Packed rows of subtraction: saturating subtracts at 8 and 16 bits, float
// subtracts.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "arith/subtract_packed.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "arith/arith_rules.h"
#include "core/packed_rows-inl.h"
#include "core/rules.h"

HWY_BEFORE_NAMESPACE();
namespace vrn::HWY_NAMESPACE {

template <class T>
struct SatSubtract {
  using Scalar = SubtractDef<T>;
  template <class V>
  static HWY_INLINE V Vec(V a, V b) { return hn::SaturatedSub(a, b); }
};
struct FloatSubtract {
  using Scalar = SubtractDef<float>;
  template <class V>
  static HWY_INLINE V Vec(V a, V b) { return hn::Sub(a, b); }
};

void SubtractRowU8(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) { BinaryRow<uint8_t, SatSubtract<uint8_t>>(a, b, d, n); }
void SubtractRowI8(const int8_t* a, const int8_t* b, int8_t* d, size_t n) { BinaryRow<int8_t, SatSubtract<int8_t>>(a, b, d, n); }
void SubtractRowU16(const uint16_t* a, const uint16_t* b, uint16_t* d, size_t n) { BinaryRow<uint16_t, SatSubtract<uint16_t>>(a, b, d, n); }
void SubtractRowI16(const int16_t* a, const int16_t* b, int16_t* d, size_t n) { BinaryRow<int16_t, SatSubtract<int16_t>>(a, b, d, n); }
void SubtractRowF32(const float* a, const float* b, float* d, size_t n) { BinaryRow<float, FloatSubtract>(a, b, d, n); }

}  // namespace vrn::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vrn {
HWY_EXPORT(SubtractRowU8);
HWY_EXPORT(SubtractRowI8);
HWY_EXPORT(SubtractRowU16);
HWY_EXPORT(SubtractRowI16);
HWY_EXPORT(SubtractRowF32);

template <> BinaryRowFn<uint8_t> PackedSubtract<uint8_t>::get() { return HWY_DYNAMIC_DISPATCH(SubtractRowU8); }
template <> BinaryRowFn<int8_t> PackedSubtract<int8_t>::get() { return HWY_DYNAMIC_DISPATCH(SubtractRowI8); }
template <> BinaryRowFn<uint16_t> PackedSubtract<uint16_t>::get() { return HWY_DYNAMIC_DISPATCH(SubtractRowU16); }
template <> BinaryRowFn<int16_t> PackedSubtract<int16_t>::get() { return HWY_DYNAMIC_DISPATCH(SubtractRowI16); }
template <> BinaryRowFn<int32_t> PackedSubtract<int32_t>::get() { return nullptr; }
template <> BinaryRowFn<float> PackedSubtract<float>::get() { return HWY_DYNAMIC_DISPATCH(SubtractRowF32); }
}  // namespace vrn
#endif

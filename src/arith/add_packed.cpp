// Packed rows of addition: saturating adds at 8 and 16 bits, float adds.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "arith/add_packed.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "core/rules.h"
#include "arith/add_rules.h"
#include "core/packed_rows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vrn::HWY_NAMESPACE {

template <class T>
struct SatAdd {
  using Scalar = AddDef<T>;
  template <class V>
  static HWY_INLINE V Vec(V a, V b) { return hn::SaturatedAdd(a, b); }
};
struct FloatAdd {
  using Scalar = AddDef<float>;
  template <class V>
  static HWY_INLINE V Vec(V a, V b) { return hn::Add(a, b); }
};

void AddRowU8(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) { BinaryRow<uint8_t, SatAdd<uint8_t>>(a, b, d, n); }
void AddRowI8(const int8_t* a, const int8_t* b, int8_t* d, size_t n) { BinaryRow<int8_t, SatAdd<int8_t>>(a, b, d, n); }
void AddRowU16(const uint16_t* a, const uint16_t* b, uint16_t* d, size_t n) { BinaryRow<uint16_t, SatAdd<uint16_t>>(a, b, d, n); }
void AddRowI16(const int16_t* a, const int16_t* b, int16_t* d, size_t n) { BinaryRow<int16_t, SatAdd<int16_t>>(a, b, d, n); }
void AddRowF32(const float* a, const float* b, float* d, size_t n) { BinaryRow<float, FloatAdd>(a, b, d, n); }

}  // namespace vrn::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vrn {
HWY_EXPORT(AddRowU8);
HWY_EXPORT(AddRowI8);
HWY_EXPORT(AddRowU16);
HWY_EXPORT(AddRowI16);
HWY_EXPORT(AddRowF32);

template <> BinaryRowFn<uint8_t> PackedAdd<uint8_t>::get() { return HWY_DYNAMIC_DISPATCH(AddRowU8); }
template <> BinaryRowFn<int8_t> PackedAdd<int8_t>::get() { return HWY_DYNAMIC_DISPATCH(AddRowI8); }
template <> BinaryRowFn<uint16_t> PackedAdd<uint16_t>::get() { return HWY_DYNAMIC_DISPATCH(AddRowU16); }
template <> BinaryRowFn<int16_t> PackedAdd<int16_t>::get() { return HWY_DYNAMIC_DISPATCH(AddRowI16); }
template <> BinaryRowFn<int32_t> PackedAdd<int32_t>::get() { return nullptr; }
template <> BinaryRowFn<float> PackedAdd<float>::get() { return HWY_DYNAMIC_DISPATCH(AddRowF32); }
}  // namespace vrn
#endif

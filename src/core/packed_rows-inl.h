// Packed row loops shared by the Highway kernels.  Included once per target
// from a file that includes hwy/foreach_target.h.  Whole vectors, with scalar
// steps before and after them worked by the scalar rule, so that an in-place
// or masked row never has a sample worked twice.
#if defined(VRN_PACKED_ROWS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VRN_PACKED_ROWS_INL_H_
#undef VRN_PACKED_ROWS_INL_H_
#else
#define VRN_PACKED_ROWS_INL_H_
#endif

#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include <cstdint>

#include "core/rules.h"

HWY_BEFORE_NAMESPACE();
namespace vrn::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Vectors of at most 256 bits for rows that stream whole images.  Such rows
// are bound by memory, and on the x86 machines measured 512-bit accesses
// stream about 10% slower (with rows 32-byte aligned, every one of them
// crosses a cache line); in cache the two widths are equal.  Rows with more
// work per byte (the widened products) keep the full width.
template <class T>
using StreamTag = hn::CappedTag<T, 32 / sizeof(T)>;

// d[i] = vecAt(i) for whole vectors and scalarAt(i) for the samples before
// and after them.  From kStreamingBytes of destination in one run, whole
// vectors are written with non-temporal stores, after scalar steps up to a
// vector-aligned destination: skipping the read of each destination line
// before its write saves a quarter of the traffic of a two-source row, but
// leaves the result out of the cache for whatever reads it next (measured
// with the next operation reading the result, bench BM_vrnChainAdd: 10%
// slower at 4 MB, equal at 6 MB, 15% faster at 8 MB).  Only vectors of 16
// bytes or more stream: a narrower streaming store may write 16 bytes.
template <class D, class T, class VecAt, class ScalarAt>
HWY_INLINE void StoreRow(D tag, T* d, size_t n, const VecAt& vecAt, const ScalarAt& scalarAt) {
  const size_t lanes = hn::Lanes(tag);
  const size_t vectorBytes = lanes * sizeof(T);
  size_t i = 0;
  if (vectorBytes >= 16 && n * sizeof(T) >= kStreamingBytes && reinterpret_cast<uintptr_t>(d) % sizeof(T) == 0) {
    for (; i < n && reinterpret_cast<uintptr_t>(d + i) % vectorBytes != 0; ++i) d[i] = scalarAt(i);
    for (; i + lanes <= n; i += lanes) hn::Stream(vecAt(i), tag, d + i);
    hwy::FlushStream();
  } else {
    for (; i + lanes <= n; i += lanes) hn::StoreU(vecAt(i), tag, d + i);
  }
  for (; i < n; ++i) d[i] = scalarAt(i);
}

// d[i] = Op(a[i], b[i]); Op provides a vector form (Vec) and Scalar::apply.
template <class T, class Op>
HWY_INLINE void BinaryRow(const T* a, const T* b, T* d, size_t n) {
  const StreamTag<T> tag;
  StoreRow(
      tag, d, n, [&](size_t i) HWY_ATTR { return Op::Vec(hn::LoadU(tag, a + i), hn::LoadU(tag, b + i)); },
      [&](size_t i) HWY_ATTR { return static_cast<T>(Op::Scalar::apply(a[i], b[i])); });
}

// d[i] = Op(s[i]) with the op's own state (a constant, say).
template <class T, class Op>
HWY_INLINE void UnaryRow(const Op& op, const T* s, T* d, size_t n) {
  const StreamTag<T> tag;
  StoreRow(
      tag, d, n, [&](size_t i) HWY_ATTR { return op.Vec(tag, hn::LoadU(tag, s + i)); },
      [&](size_t i) HWY_ATTR { return op.scalar(s[i]); });
}

}  // namespace vrn::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

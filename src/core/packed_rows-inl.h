// Packed row loops shared by the Highway kernels.  Included once per target
// from a file that includes hwy/foreach_target.h.  Whole vectors first, then
// the scalar rule finishes the tail sample by sample, so that an in-place or
// masked row never has a sample worked twice.
#if defined(VRN_PACKED_ROWS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef VRN_PACKED_ROWS_INL_H_
#undef VRN_PACKED_ROWS_INL_H_
#else
#define VRN_PACKED_ROWS_INL_H_
#endif

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace vrn::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// d[i] = Op(a[i], b[i]); Op provides a vector form (Vec) and Scalar::apply.
template <class T, class Op>
HWY_INLINE void BinaryRow(const T* a, const T* b, T* d, size_t n) {
  const hn::ScalableTag<T> tag;
  const size_t lanes = hn::Lanes(tag);
  size_t i = 0;
  if (n >= lanes) {
    for (; i + lanes <= n; i += lanes)
      hn::StoreU(Op::Vec(hn::LoadU(tag, a + i), hn::LoadU(tag, b + i)), tag, d + i);
  }
  for (; i < n; ++i) d[i] = Op::Scalar::apply(a[i], b[i]);
}

// d[i] = Op(s[i]) with the op's own state (a constant, say).
template <class T, class Op>
HWY_INLINE void UnaryRow(const Op& op, const T* s, T* d, size_t n) {
  const hn::ScalableTag<T> tag;
  const size_t lanes = hn::Lanes(tag);
  size_t i = 0;
  if (n >= lanes) {
    for (; i + lanes <= n; i += lanes) hn::StoreU(op.Vec(tag, hn::LoadU(tag, s + i)), tag, d + i);
  }
  for (; i < n; ++i) d[i] = op.scalar(s[i]);
}

}  // namespace vrn::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif

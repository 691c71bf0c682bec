// Sample rules with a packed contiguous row beside them.  A definition
// `Def<T>::apply` is the meaning of the operation per sample; the packed row,
// when one exists for T, is fetched once per call and handed to the kernel.
#pragma once

#include <cstddef>

#include "core/kernels.h"

namespace vrn {

template <class T>
using BinaryRowFn = void (*)(const T* a, const T* b, T* d, size_t n);

template <class T, class Def>
struct BinaryRule {
  using Sample = T;
  static constexpr int kSources = 2;
  BinaryRowFn<T> packed = nullptr;

  explicit BinaryRule(const void* params) {
    if (params) packed = *static_cast<const BinaryRowFn<T>*>(params);
  }
  T operator()(T a, T b) const { return Def::apply(a, b); }
  void row(const T* a, const T* b, T* d, size_t n) const {
    if (packed) {
      packed(a, b, d, n);
      return;
    }
    for (size_t i = 0; i < n; ++i) d[i] = Def::apply(a[i], b[i]);
  }
};

// Runs a two-source rule family on a prepared frame: Def<T> is the sample
// definition, packedRow<T>() the packed row for T (or null).
template <template <class> class Def, template <class> class Packed>
bool runBinaryRule(Frame& frame) {
  bool ok = false;
  forSampleType(frame.depth(), [&]<class T>() {
    const BinaryRowFn<T> packed = Packed<T>::get();
    using Rule = BinaryRule<T, Def<T>>;
    ok = frame.run(&plainKernel<Rule>, &maskedKernel<Rule>, &packed);
  });
  return ok;
}

}  // namespace vrn

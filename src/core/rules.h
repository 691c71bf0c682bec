// Sample rules with a packed contiguous row beside them.  A definition
// `Def<T>::apply` is the meaning of the operation per sample; the packed row,
// when one exists for T, is fetched once per call and handed to the kernel.
#pragma once

#include <cstddef>

#include "core/kernels.h"

namespace vrn {

// From this many destination bytes in one run, packed rows write whole
// vectors with non-temporal stores (see core/packed_rows-inl.h).
inline constexpr size_t kStreamingBytes = size_t{6} << 20;

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


// A one-source rule with a constant of its own (a value, a shift count; an
// unused int where the rule has none).  Def gives `using Sample`, `using
// Constant` and `static Sample apply(Sample s, Constant c)`; the packed row,
// if any, takes the same constant.
template <class T, class C>
using UnaryRowFn = void (*)(const T* s, T* d, size_t n, C constant);

template <class T, class C>
struct UnaryParams {
  C constant;
  UnaryRowFn<T, C> packed;
};

template <class Def>
struct UnaryRule {
  using Sample = typename Def::Sample;
  using Constant = typename Def::Constant;
  static constexpr int kSources = 1;
  Constant constant{};
  UnaryRowFn<Sample, Constant> packed = nullptr;

  explicit UnaryRule(const void* params) {
    if (!params) return;
    const auto& p = *static_cast<const UnaryParams<Sample, Constant>*>(params);
    constant = p.constant;
    packed = p.packed;
  }
  Sample operator()(Sample s) const { return Def::apply(s, constant); }
  void row(const Sample* s, Sample* d, size_t n) const {
    if (packed) {
      packed(s, d, n, constant);
      return;
    }
    for (size_t i = 0; i < n; ++i) d[i] = Def::apply(s[i], constant);
  }
};

// Runs a one-source rule on a prepared frame with its constant and packed
// row (or null).
template <class Def>
bool runUnaryRule(Frame& frame, typename Def::Constant constant,
                  UnaryRowFn<typename Def::Sample, typename Def::Constant> packed = nullptr) {
  using Rule = UnaryRule<Def>;
  const UnaryParams<typename Def::Sample, typename Def::Constant> params{constant, packed};
  return frame.run(&plainKernel<Rule>, &maskedKernel<Rule>, &params);
}

}  // namespace vrn

// Sample rules of two-image addition, subtraction and multiplication, and the 32-bit
// integer helpers every arithmetic rule shares: add and subtract detect
// overflow from the signs, multiply goes through a double product.
#pragma once

#include <cstdint>

#include "core/rules.h"
#include "core/traits.h"

namespace vrn {

// a + b; on overflow 0x7FFFFFFF when the true sum is positive, else 0x80000000.
inline int32_t addSigned32(int32_t a, int32_t b) {
  const int32_t r = static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
  if ((~(a ^ b) & (a ^ r)) < 0) return a < 0 ? INT32_MIN : INT32_MAX;
  return r;
}

// a - b with the same overflow rule.
inline int32_t subtractSigned32(int32_t a, int32_t b) {
  const int32_t r = static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
  if (((a ^ b) & (a ^ r)) < 0) return a < 0 ? INT32_MIN : INT32_MAX;
  return r;
}

// a * b through a double product: above 2147483647.0 gives 0x7FFFFFFF, below
// -2147483648.0 gives 0x80000000, otherwise truncated toward zero.
inline int32_t multiplySigned32(int32_t a, int32_t b) {
  const double p = static_cast<double>(a) * static_cast<double>(b);
  if (p > 2147483647.0) return INT32_MAX;
  if (p < -2147483648.0) return INT32_MIN;
  return static_cast<int32_t>(p);
}

template <class T>
struct AddDef {
  static T apply(T a, T b) {
    if constexpr (DepthTraits<T>::isFloat)
      return a + b;
    else if constexpr (sizeof(T) == 4)
      return addSigned32(a, b);
    else
      return saturate<T>(static_cast<typename DepthTraits<T>::Wide>(a) + b);
  }
};

template <class T>
struct SubtractDef {
  static T apply(T a, T b) {
    if constexpr (DepthTraits<T>::isFloat)
      return a - b;
    else if constexpr (sizeof(T) == 4)
      return subtractSigned32(a, b);
    else
      return saturate<T>(static_cast<typename DepthTraits<T>::Wide>(a) - b);
  }
};

template <class T>
struct MultiplyDef {
  static T apply(T a, T b) {
    if constexpr (DepthTraits<T>::isFloat)
      return a * b;
    else if constexpr (sizeof(T) == 4)
      return multiplySigned32(a, b);
    else
      return saturate<T>(static_cast<typename DepthTraits<T>::Wide>(a) * b);
  }
};

// The packed rows of the two-image rules (binary_packed.cpp); null where
// the row is scalar (32S).
template <class T>
struct PackedAdd {
  static BinaryRowFn<T> get();
};
template <class T>
struct PackedSubtract {
  static BinaryRowFn<T> get();
};
template <class T>
struct PackedMultiply {
  static BinaryRowFn<T> get();
};

}  // namespace vrn

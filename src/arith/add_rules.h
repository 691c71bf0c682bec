// The sample rule of addition: the exact sum clamped to the depth's range
// (32S by the signs); 32F is a plain single-precision sum.
#pragma once

#include "arith/arith_rules.h"
#include "core/rules.h"
#include "core/traits.h"

namespace vrn {

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
struct PackedAdd {
  static BinaryRowFn<T> get();  // null where the row is scalar
};

}  // namespace vrn

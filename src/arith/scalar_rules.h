// Sample rules of the one-source arithmetic: an image and a constant, the
// shifts, square and absolute value.  Each rule is exact for the range of
// constants its driver hands it (the drivers route or clamp the rest), and
// every one equals the exact result clamped to the depth.  A rule with a
// packed row declares it here; the rows live in scalar_packed.cpp.
#pragma once

#include <bit>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "arith/arith_rules.h"
#include "core/rules.h"
#include "core/traits.h"

namespace vrn {

template <class T>
inline constexpr int64_t kMax = std::numeric_limits<T>::max();

// Unsigned src + c, c in [0, M): saturates at M.
template <class T>
struct AddUpToMax {
  using Sample = T;
  using Constant = int;
  static T apply(T s, int c) { return static_cast<T>(s + c > kMax<T> ? kMax<T> : s + c); }
};

// Unsigned src - c, c in [1, M): saturates at 0.
template <class T>
struct SubtractDownToZero {
  using Sample = T;
  using Constant = int;
  static T apply(T s, int c) { return static_cast<T>(s < c ? 0 : s - c); }
};

// Unsigned c - src, c in [1, M]: saturates at 0.
template <class T>
struct ReverseSubtractToZero {
  using Sample = T;
  using Constant = int;
  static T apply(T s, int c) { return static_cast<T>(c < s ? 0 : c - s); }
};

// Unsigned c - src, c in (M, 2M): saturates at M.
template <class T>
struct ReverseSubtractToMax {
  using Sample = T;
  using Constant = int;
  static T apply(T s, int c) { return static_cast<T>(c - s > kMax<T> ? kMax<T> : c - s); }
};

// Signed 8- and 16-bit src - c and c - src, clamped to the depth.
template <class T>
struct SignedSubtractConstant {
  using Sample = T;
  using Constant = int;
  static T apply(T s, int c) { return saturate<T>(int64_t{s} - c); }
};
template <class T>
struct SignedReverseSubtractConstant {
  using Sample = T;
  using Constant = int;
  static T apply(T s, int c) { return saturate<T>(int64_t{c} - s); }
};

// 32S src + c: c of at least 1 can only overflow upward, c below 1 downward.
struct Add32Up {
  using Sample = int32_t;
  using Constant = int;
  static int32_t apply(int32_t s, int c) { return s > INT32_MAX - c ? INT32_MAX : s + c; }
};
struct Add32Down {
  using Sample = int32_t;
  using Constant = int;
  static int32_t apply(int32_t s, int c) { return s < INT32_MIN - c ? INT32_MIN : s + c; }
};

// 32S src - c and c - src, overflow from the signs.
struct Subtract32Constant {
  using Sample = int32_t;
  using Constant = int;
  static int32_t apply(int32_t s, int c) { return subtractSigned32(s, c); }
};
struct ReverseSubtract32Constant {
  using Sample = int32_t;
  using Constant = int;
  static int32_t apply(int32_t s, int c) { return subtractSigned32(c, s); }
};

// src * c saturated; 32S through the double product.
template <class T>
struct MultiplyConstant {
  using Sample = T;
  using Constant = int;
  static T apply(T s, int c) {
    if constexpr (sizeof(T) == 4)
      return multiplySigned32(s, c);
    else
      return saturate<T>(int64_t{s} * c);
  }
};

// Shifts by a count below the depth's bits.  The left shift works on the
// bits and truncates; the right shift is logical for unsigned samples and
// arithmetic for signed ones.
template <class T>
struct LeftShift {
  using Sample = T;
  using Constant = unsigned;
  static T apply(T s, unsigned n) {
    using U = std::make_unsigned_t<T>;
    return static_cast<T>(static_cast<U>(static_cast<uint32_t>(static_cast<U>(s)) << n));
  }
};
template <class T>
struct RightShift {
  using Sample = T;
  using Constant = unsigned;
  static T apply(T s, unsigned n) { return static_cast<T>(s >> n); }
};

// x * x with the upper clamp only (a square is never negative); 32S gives
// 0x7FFFFFFF on overflow, 32F a single-precision product.
template <class T>
struct SquareDef {
  using Sample = T;
  using Constant = int;  // unused
  static T apply(T s, int) {
    if constexpr (DepthTraits<T>::isFloat) {
      return s * s;
    } else {
      const int64_t p = int64_t{s} * s;
      return static_cast<T>(p > kMax<T> ? kMax<T> : p);
    }
  }
};

// |x| of signed and float samples: 8S and 16S clamp -min to max, 32S negates
// by two's complement (so 0x80000000 stays), 32F clears the sign bit.
template <class T>
struct AbsDef {
  using Sample = T;
  using Constant = int;  // unused
  static T apply(T s, int) {
    if constexpr (DepthTraits<T>::isFloat)
      return std::bit_cast<float>(std::bit_cast<uint32_t>(s) & 0x7FFFFFFFu);
    else if constexpr (sizeof(T) == 4)
      return s < 0 ? static_cast<int32_t>(0u - static_cast<uint32_t>(s)) : s;
    else
      return saturate<T>(s < 0 ? -int64_t{s} : int64_t{s});
  }
};

// Float constant forms.
struct AddConstantF {
  using Sample = float;
  using Constant = float;
  static float apply(float s, float c) { return s + c; }
};
struct SubtractConstantF {
  using Sample = float;
  using Constant = float;
  static float apply(float s, float c) { return s - c; }
};
struct ReverseSubtractConstantF {
  using Sample = float;
  using Constant = float;
  static float apply(float s, float c) { return c - s; }
};
struct MultiplyConstantF {
  using Sample = float;
  using Constant = float;
  static float apply(float s, float c) { return s * c; }
};

// The packed row of a rule, or null.
template <class Def>
struct PackedUnary {
  static UnaryRowFn<typename Def::Sample, typename Def::Constant> get() { return nullptr; }
};

#define VRN_PACKED_UNARY(...)                                                              \
  template <>                                                                              \
  struct PackedUnary<__VA_ARGS__> {                                                        \
    static UnaryRowFn<typename __VA_ARGS__::Sample, typename __VA_ARGS__::Constant> get(); \
  }
VRN_PACKED_UNARY(AddUpToMax<uint8_t>);
VRN_PACKED_UNARY(AddUpToMax<uint16_t>);
VRN_PACKED_UNARY(SubtractDownToZero<uint8_t>);
VRN_PACKED_UNARY(SubtractDownToZero<uint16_t>);
VRN_PACKED_UNARY(ReverseSubtractToZero<uint8_t>);
VRN_PACKED_UNARY(ReverseSubtractToZero<uint16_t>);
VRN_PACKED_UNARY(ReverseSubtractToMax<uint8_t>);
VRN_PACKED_UNARY(ReverseSubtractToMax<uint16_t>);
VRN_PACKED_UNARY(MultiplyConstant<uint8_t>);
VRN_PACKED_UNARY(AddConstantF);
VRN_PACKED_UNARY(SubtractConstantF);
VRN_PACKED_UNARY(ReverseSubtractConstantF);
VRN_PACKED_UNARY(MultiplyConstantF);
#undef VRN_PACKED_UNARY

// Runs a one-source rule with its packed row, if it has one.
template <class Def>
bool runScalarRule(Frame& frame, typename Def::Constant constant) {
  return runUnaryRule<Def>(frame, constant, PackedUnary<Def>::get());
}

}  // namespace vrn

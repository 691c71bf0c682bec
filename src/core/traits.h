// One type per sample depth.  A driver switches on the depth word once per
// call (forDepth) and everything below it is a template over these traits.
#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>

#include "vrn.h"

namespace vrn {

// Index of a depth in kernel tables, in the order of the depth list.
enum DepthIndex : int { kD1U, kD8U, kD8S, kD16U, kD16S, kD32S, kD32F, kDepthCount, kDepthBad = -1 };

constexpr DepthIndex depthIndex(int depth) {
  switch (depth) {
    case VRN_DEPTH_1U: return kD1U;
    case VRN_DEPTH_8U: return kD8U;
    case VRN_DEPTH_8S: return kD8S;
    case VRN_DEPTH_16U: return kD16U;
    case VRN_DEPTH_16S: return kD16S;
    case VRN_DEPTH_32S: return kD32S;
    case VRN_DEPTH_32F: return kD32F;
    default: return kDepthBad;
  }
}

// A 1-bit sample; rows of bits are handled by bit-row functions, not per type.
struct Bit1 {
  uint8_t bits;
};

template <class T>
struct DepthTraits;

template <>
struct DepthTraits<uint8_t> {
  static constexpr int depth = VRN_DEPTH_8U;
  static constexpr int bits = 8;
  static constexpr bool isFloat = false;
  using Wide = int32_t;  // holds any sum, difference or product exactly
};
template <>
struct DepthTraits<int8_t> {
  static constexpr int depth = VRN_DEPTH_8S;
  static constexpr int bits = 8;
  static constexpr bool isFloat = false;
  using Wide = int32_t;
};
template <>
struct DepthTraits<uint16_t> {
  static constexpr int depth = VRN_DEPTH_16U;
  static constexpr int bits = 16;
  static constexpr bool isFloat = false;
  using Wide = int64_t;
};
template <>
struct DepthTraits<int16_t> {
  static constexpr int depth = VRN_DEPTH_16S;
  static constexpr int bits = 16;
  static constexpr bool isFloat = false;
  using Wide = int64_t;
};
template <>
struct DepthTraits<int32_t> {
  static constexpr int depth = VRN_DEPTH_32S;
  static constexpr int bits = 32;
  static constexpr bool isFloat = false;
  using Wide = int64_t;
};
template <>
struct DepthTraits<float> {
  static constexpr int depth = VRN_DEPTH_32F;
  static constexpr int bits = 32;
  static constexpr bool isFloat = true;
  using Wide = float;
};

// Clamps a wide integer to the range of T.
template <class T, class W>
constexpr T saturate(W v) {
  if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(v);
  } else {
    constexpr W lo = static_cast<W>(std::numeric_limits<T>::min());
    constexpr W hi = static_cast<W>(std::numeric_limits<T>::max());
    return static_cast<T>(v < lo ? lo : (v > hi ? hi : v));
  }
}

// Calls f.template operator()<T>() with the sample type of a depth index
// (8U to 32F); returns false for 1U and unknown depths.
template <class F>
bool forSampleType(DepthIndex d, F&& f) {
  switch (d) {
    case kD8U: f.template operator()<uint8_t>(); return true;
    case kD8S: f.template operator()<int8_t>(); return true;
    case kD16U: f.template operator()<uint16_t>(); return true;
    case kD16S: f.template operator()<int16_t>(); return true;
    case kD32S: f.template operator()<int32_t>(); return true;
    case kD32F: f.template operator()<float>(); return true;
    default: return false;
  }
}

}  // namespace vrn

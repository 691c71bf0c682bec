// The rules of the logic family: AND, OR and XOR per sample, for two images
// or an image and a constant replicated to a 32-bit word by depth class.
// Signed and unsigned samples share rules (the operation is on bits), so the
// typed rules are instantiated for uint8_t, uint16_t and uint32_t only.  The
// contiguous rows are byte rows, packed, since a bitwise operation does not
// care where a sample ends; a constant row cycles through the word's bytes,
// which matches the samples as long as the row starts on a sample.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/traits.h"

namespace vrn {

// d[i] = a[i] op b[i] over n bytes.
using ByteRowFn = void (*)(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n);
// d[i] = s[i] op (byte i mod 4 of word, in memory order) over n bytes.
using WordRowFn = void (*)(const uint8_t* s, uint8_t* d, size_t n, uint32_t word);

struct AndOp {
  template <class T>
  static T apply(T a, T b) { return static_cast<T>(a & b); }
};
struct OrOp {
  template <class T>
  static T apply(T a, T b) { return static_cast<T>(a | b); }
};
struct XorOp {
  template <class T>
  static T apply(T a, T b) { return static_cast<T>(a ^ b); }
};

// The packed rows of an operation (defined in logic_packed.cpp).
template <class Op>
struct PackedLogic {
  static ByteRowFn bytes();
  static WordRowFn word();
};

// The scalar definitions of the byte rows.
template <class Op>
void byteRowScalar(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) {
  for (size_t i = 0; i < n; ++i) d[i] = Op::apply(a[i], b[i]);
}
template <class Op>
void wordRowScalar(const uint8_t* s, uint8_t* d, size_t n, uint32_t word) {
  uint8_t w[4];
  std::memcpy(w, &word, 4);
  for (size_t i = 0; i < n; ++i) d[i] = Op::apply(s[i], w[i & 3]);
}

// The constant as the kernels use it: 1U the lowest bit in all 32 bits, 8-bit
// depths the low byte in all four bytes, 16-bit depths the low half in both
// halves, 32S the value.
inline uint32_t replicateConstant(int depth, unsigned value) {
  switch (depth & VRN_DEPTH_MASK) {
    case 1: return static_cast<uint32_t>(static_cast<int32_t>(value << 31) >> 31);
    case 8: return (value & 0xFFu) * 0x01010101u;
    case 16: return (value & 0xFFFFu) * 0x00010001u;
    default: return value;
  }
}

// Two images, typed samples.
template <class T, class Op>
struct LogicRule {
  using Sample = T;
  static constexpr int kSources = 2;
  ByteRowFn packed = nullptr;
  explicit LogicRule(const void* params) {
    if (params) packed = *static_cast<const ByteRowFn*>(params);
  }
  T operator()(T a, T b) const { return Op::apply(a, b); }
  void row(const T* a, const T* b, T* d, size_t n) const {
    if (packed) {
      packed(reinterpret_cast<const uint8_t*>(a), reinterpret_cast<const uint8_t*>(b),
             reinterpret_cast<uint8_t*>(d), n * sizeof(T));
      return;
    }
    for (size_t i = 0; i < n; ++i) d[i] = Op::apply(a[i], b[i]);
  }
};

// An image and a constant: the replicated word and its packed row.
struct LogicConstant {
  uint32_t word;
  WordRowFn packed;
};

template <class T, class Op>
struct LogicConstRule {
  using Sample = T;
  static constexpr int kSources = 1;
  uint32_t word;
  WordRowFn packed;
  explicit LogicConstRule(const void* params)
      : word(static_cast<const LogicConstant*>(params)->word),
        packed(static_cast<const LogicConstant*>(params)->packed) {}
  T operator()(T s) const { return Op::apply(s, static_cast<T>(word)); }
  void row(const T* s, T* d, size_t n) const {
    if (packed) {
      packed(reinterpret_cast<const uint8_t*>(s), reinterpret_cast<uint8_t*>(d), n * sizeof(T), word);
      return;
    }
    for (size_t i = 0; i < n; ++i) d[i] = (*this)(s[i]);
  }
};

// 1-bit images: the same operations on bytes of bits.
template <class Op>
struct BitLogicRule {
  static constexpr int kSources = 2;
  ByteRowFn packed = nullptr;
  explicit BitLogicRule(const void* params) {
    if (params) packed = *static_cast<const ByteRowFn*>(params);
  }
  uint8_t operator()(uint8_t a, uint8_t b) const { return Op::apply(a, b); }
  void bytes(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) const {
    if (packed)
      packed(a, b, d, n);
    else
      byteRowScalar<Op>(a, b, d, n);
  }
};

template <class Op>
struct BitLogicConstRule {
  static constexpr int kSources = 1;
  uint32_t word;
  WordRowFn packed;
  explicit BitLogicConstRule(const void* params)
      : word(static_cast<const LogicConstant*>(params)->word),
        packed(static_cast<const LogicConstant*>(params)->packed) {}
  uint8_t operator()(uint8_t a) const { return Op::apply(a, static_cast<uint8_t>(word)); }
  void bytes(const uint8_t* a, uint8_t* d, size_t n) const {
    if (packed)
      packed(a, d, n, word);
    else
      wordRowScalar<Op>(a, d, n, word);
  }
};

}  // namespace vrn

// Frame kernels for 1-bit images, the counterpart of plainKernel and
// maskedKernel for typed samples.  A bit rule is a small class:
//
//   struct BitRule {
//     static constexpr int kSources;      // 1 or 2
//     explicit BitRule(const void* params);
//     uint8_t operator()(uint8_t a[, uint8_t b]) const;  // the byte operation
//     // optional: whole bytes, used for the flat run
//     void bytes(const uint8_t* a, [const uint8_t* b,] uint8_t* d, size_t n) const;
//   };
//
// The plain kernel works a flat run as bytes, otherwise one bit row per row of
// the rectangle, each image at its own bit offset.  The masked kernel goes
// pixel by pixel.  1-bit images have one channel, so there are no planes or
// strides.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/bit_rows.h"
#include "core/frame.h"

namespace vrn {

namespace detail {

struct BitRect {
  BitSpan src[2]{};
  uint8_t* dst = nullptr;
  int dstOffset = 0;
  BitSpan mask{nullptr, 0};
  int stepA = 0, stepB = 0, stepD = 0, stepM = 0;
  int width = 0x7FFFFFFF, height = 0x7FFFFFFF;

  BitRect(const KernelArgs& k, int sources, const VrnImage* maskImage) {
    const VrnImage* images[2] = {k.srcA, k.srcB};
    int* steps[2] = {&stepA, &stepB};
    for (int i = 0; i < sources; ++i) {
      const ImageStart s = imageStart(images[i], 0);
      src[i] = {reinterpret_cast<const uint8_t*>(s.data), s.bitOffset};
      *steps[i] = images[i]->widthStep;
      width = std::min(width, s.width);
      height = std::min(height, s.height);
    }
    const ImageStart s = imageStart(k.dst, 0);
    dst = reinterpret_cast<uint8_t*>(s.data);
    dstOffset = s.bitOffset;
    stepD = k.dst->widthStep;
    width = std::min(width, s.width);
    height = std::min(height, s.height);
    if (maskImage) {
      const ImageStart m = imageStart(maskImage, 0);
      mask = {reinterpret_cast<const uint8_t*>(m.data), m.bitOffset};
      stepM = maskImage->widthStep;
      width = std::min(width, m.width);
      height = std::min(height, m.height);
    }
  }
  void next() {
    src[0].row += stepA;
    src[1].row += stepB;
    dst += stepD;
    mask.row += stepM;
  }
};

}  // namespace detail

template <class Rule>
void bitPlainKernel(const KernelArgs& k) {
  const Rule rule(k.params);
  constexpr bool two = Rule::kSources == 2;
  if (isFlatRun(k.srcA, two ? k.srcB : k.dst, two ? k.dst : nullptr, k.anyAlpha)) {
    const auto* a = reinterpret_cast<const uint8_t*>(k.srcA->imageData);
    auto* d = reinterpret_cast<uint8_t*>(k.dst->imageData);
    const size_t n = static_cast<size_t>(k.srcA->imageSize);
    if constexpr (two) {
      const auto* b = reinterpret_cast<const uint8_t*>(k.srcB->imageData);
      if constexpr (requires { rule.bytes(a, b, d, n); })
        rule.bytes(a, b, d, n);
      else
        for (size_t i = 0; i < n; ++i) d[i] = rule(a[i], b[i]);
    } else {
      if constexpr (requires { rule.bytes(a, d, n); })
        rule.bytes(a, d, n);
      else
        for (size_t i = 0; i < n; ++i) d[i] = rule(a[i]);
    }
    return;
  }
  detail::BitRect r(k, Rule::kSources, nullptr);
  if (r.width <= 0 || r.height <= 0) return;
  for (int y = 0; y < r.height; ++y, r.next()) {
    if constexpr (two)
      bitRow(r.dst, r.dstOffset, r.width, rule, r.src[0], r.src[1]);
    else
      bitRow(r.dst, r.dstOffset, r.width, rule, r.src[0]);
  }
}

template <class Rule>
void bitMaskedKernel(const KernelArgs& k) {
  const Rule rule(k.params);
  detail::BitRect r(k, Rule::kSources, k.mask);
  if (r.width <= 0 || r.height <= 0) return;
  for (int y = 0; y < r.height; ++y, r.next()) {
    if constexpr (Rule::kSources == 2)
      bitRowMasked(r.dst, r.dstOffset, r.mask, r.width, rule, r.src[0], r.src[1]);
    else
      bitRowMasked(r.dst, r.dstOffset, r.mask, r.width, rule, r.src[0]);
  }
}

}  // namespace vrn

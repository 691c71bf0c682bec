// The kernels of sample-wise operations, written once for every rule.  A
// rule is a small class:
//
//   struct Rule {
//     using Sample = T;                  // the sample type
//     static constexpr int kSources;     // 1 or 2
//     explicit Rule(const void* params); // built once per kernel call
//     T operator()(T a, T b) const;      // or (T s): the definition per sample
//     void row(const T* a, const T* b, T* d, size_t n) const;  // contiguous row
//   };
//
// row() may be packed; it must equal the sample rule applied n times.
//
// Plain kernel cases, in order:
//   1. flat run: one contiguous row over the whole buffers
//   2. plane order: per plane, per row, a contiguous row of the rectangle's width
//   3. pixel order with a COI: a strided row walking one channel
//   4. pixel order, all channels, alpha somewhere: count samples per pixel,
//      then skip to the next pixel (the alpha channel is never touched)
//   5. pixel order, all channels, no alpha: one contiguous row per row
// In cases 2 and 5, rows that lie back to back in every image (no padding
// between them, as in a tile cell that spans whole tile rows) are one run.
// Masked kernels write only pixels whose mask bit is set; the mask is read
// from its own clipped ROI, rows relative to the rectangle.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "core/bit_rows.h"
#include "core/frame.h"

namespace vrn {

namespace detail {

// The images of a kernel call in rule order: sources, then the destination.
template <int M>
struct KernelImages {
  const VrnImage* image[M];
  int channel[M];

  explicit KernelImages(const KernelArgs& k) {
    image[0] = k.srcA;
    channel[0] = k.chA;
    if constexpr (M == 3) {
      image[1] = k.srcB;
      channel[1] = k.chB;
    }
    image[M - 1] = k.dst;
    channel[M - 1] = k.chD;
  }
};

template <class Rule, class T, int M>
inline void applyAt(const Rule& rule, char* const* p, ptrdiff_t* offset) {
  if constexpr (M == 3) {
    *reinterpret_cast<T*>(p[2] + offset[2]) =
        rule(*reinterpret_cast<const T*>(p[0] + offset[0]), *reinterpret_cast<const T*>(p[1] + offset[1]));
  } else {
    *reinterpret_cast<T*>(p[1] + offset[1]) = rule(*reinterpret_cast<const T*>(p[0] + offset[0]));
  }
}

template <class Rule, class T, int M>
inline void rowAt(const Rule& rule, char* const* p, size_t n) {
  if constexpr (M == 3)
    rule.row(reinterpret_cast<const T*>(p[0]), reinterpret_cast<const T*>(p[1]),
             reinterpret_cast<T*>(p[2]), n);
  else
    rule.row(reinterpret_cast<const T*>(p[0]), reinterpret_cast<T*>(p[1]), n);
}

// Rows of `samples` samples each: when every image's rows lie back to back
// (the row step is exactly the row's bytes) they are one run, which only
// ever touches the rectangle's own samples.  Returns (rows, samples per row).
template <class T, int M>
std::pair<int, size_t> rowRun(const KernelImages<M>& im, int samples, int rows) {
  const int64_t bytes = static_cast<int64_t>(samples) * sizeof(T);
  for (int i = 0; i < M; ++i)
    if (im.image[i]->widthStep != bytes) return {rows, static_cast<size_t>(samples)};
  return {rows > 0 ? 1 : 0, static_cast<size_t>(samples) * rows};
}

// Start addresses and the rectangle of the images (and the mask, if any).
template <int M>
struct Rectangle {
  char* start[M];
  int width = 0x7FFFFFFF, height = 0x7FFFFFFF;
  const unsigned char* maskRow = nullptr;
  int maskBitOffset = 0, maskStep = 0;

  Rectangle(const KernelImages<M>& im, const VrnImage* mask) {
    for (int i = 0; i < M; ++i) {
      const ImageStart s = imageStart(im.image[i], im.channel[i]);
      start[i] = s.data;
      width = std::min(width, s.width);
      height = std::min(height, s.height);
    }
    if (mask) {
      const ImageStart s = imageStart(mask, 0);
      maskRow = reinterpret_cast<const unsigned char*>(s.data);
      maskBitOffset = s.bitOffset;
      maskStep = mask->widthStep;
      width = std::min(width, s.width);
      height = std::min(height, s.height);
    }
  }
};

}  // namespace detail

template <class Rule>
void plainKernel(const KernelArgs& k) {
  using T = typename Rule::Sample;
  constexpr int M = Rule::kSources + 1;
  const Rule rule(k.params);
  const detail::KernelImages<M> im(k);

  if (isFlatRun(im.image[0], im.image[1], M == 3 ? im.image[2] : nullptr, k.anyAlpha)) {
    char* p[M];
    for (int i = 0; i < M; ++i) p[i] = im.image[i]->imageData;
    detail::rowAt<Rule, T, M>(rule, p, static_cast<size_t>(im.image[0]->imageSize) / sizeof(T));
    return;
  }
  detail::Rectangle<M> rect(im, nullptr);
  if (rect.width <= 0 || rect.height <= 0) return;
  char* p[M];
  for (int i = 0; i < M; ++i) p[i] = rect.start[i];

  if (k.dst->dataOrder == VRN_DATA_ORDER_PLANE) {
    const auto [rows, length] = detail::rowRun<T, M>(im, rect.width, rect.height);
    for (int c = 0; c < k.count; ++c) {
      for (int y = 0; y < rows; ++y) {
        detail::rowAt<Rule, T, M>(rule, p, length);
        for (int i = 0; i < M; ++i) p[i] += im.image[i]->widthStep;
      }
      for (int i = 0; i < M; ++i)
        p[i] += static_cast<ptrdiff_t>(im.image[i]->height - rows) * im.image[i]->widthStep;
    }
    return;
  }
  if (!k.allChannels || k.anyAlpha) {
    // Strided (one channel) or skipping (count samples, then the rest of the pixel).
    const int count = k.allChannels ? k.count : 1;
    ptrdiff_t pixelStep[M];
    for (int i = 0; i < M; ++i) pixelStep[i] = static_cast<ptrdiff_t>(im.image[i]->nChannels) * sizeof(T);
    for (int y = 0; y < rect.height; ++y) {
      ptrdiff_t off[M] = {};
      for (int x = 0; x < rect.width; ++x) {
        for (int c = 0; c < count; ++c) {
          ptrdiff_t at[M];
          for (int i = 0; i < M; ++i) at[i] = off[i] + c * static_cast<ptrdiff_t>(sizeof(T));
          detail::applyAt<Rule, T, M>(rule, p, at);
        }
        for (int i = 0; i < M; ++i) off[i] += pixelStep[i];
      }
      for (int i = 0; i < M; ++i) p[i] += im.image[i]->widthStep;
    }
    return;
  }
  const auto [rows, length] = detail::rowRun<T, M>(im, rect.width * k.count, rect.height);
  for (int y = 0; y < rows; ++y) {
    detail::rowAt<Rule, T, M>(rule, p, length);
    for (int i = 0; i < M; ++i) p[i] += im.image[i]->widthStep;
  }
}

template <class Rule>
void maskedKernel(const KernelArgs& k) {
  using T = typename Rule::Sample;
  constexpr int M = Rule::kSources + 1;
  const Rule rule(k.params);
  const detail::KernelImages<M> im(k);
  detail::Rectangle<M> rect(im, k.mask);
  if (rect.width <= 0 || rect.height <= 0) return;
  char* p[M];
  for (int i = 0; i < M; ++i) p[i] = rect.start[i];

  if (k.dst->dataOrder == VRN_DATA_ORDER_PLANE) {
    for (int c = 0; c < k.count; ++c) {
      const unsigned char* mask = rect.maskRow;  // the same mask rows for every plane
      for (int y = 0; y < rect.height; ++y) {
        for (int x = 0; x < rect.width; ++x) {
          if (!bitAt(mask, rect.maskBitOffset, x)) continue;
          ptrdiff_t at[M];
          for (int i = 0; i < M; ++i) at[i] = static_cast<ptrdiff_t>(x) * sizeof(T);
          detail::applyAt<Rule, T, M>(rule, p, at);
        }
        mask += rect.maskStep;
        for (int i = 0; i < M; ++i) p[i] += im.image[i]->widthStep;
      }
      for (int i = 0; i < M; ++i)
        p[i] += static_cast<ptrdiff_t>(im.image[i]->height - rect.height) * im.image[i]->widthStep;
    }
    return;
  }
  // Pixel order: one channel (strided) or all channel-count samples of a pixel.
  const int count = k.allChannels ? k.count : 1;
  ptrdiff_t pixelStep[M];
  for (int i = 0; i < M; ++i) pixelStep[i] = static_cast<ptrdiff_t>(im.image[i]->nChannels) * sizeof(T);
  const unsigned char* mask = rect.maskRow;
  for (int y = 0; y < rect.height; ++y) {
    for (int x = 0; x < rect.width; ++x) {
      if (!bitAt(mask, rect.maskBitOffset, x)) continue;
      for (int c = 0; c < count; ++c) {
        ptrdiff_t at[M];
        for (int i = 0; i < M; ++i) at[i] = x * pixelStep[i] + c * static_cast<ptrdiff_t>(sizeof(T));
        detail::applyAt<Rule, T, M>(rule, p, at);
      }
    }
    mask += rect.maskStep;
    for (int i = 0; i < M; ++i) p[i] += im.image[i]->widthStep;
  }
}

// The kernel pair of a rule family for the sample type of a depth index:
// RuleFor<T> names the rule for T.
template <template <class> class RuleFor>
KernelPair kernelsFor(DepthIndex d) {
  KernelPair pair;
  forSampleType(d, [&]<class T>() {
    pair.plain = &plainKernel<RuleFor<T>>;
    pair.masked = &maskedKernel<RuleFor<T>>;
  });
  return pair;
}

}  // namespace vrn

// The box-filter kernels and their number formats.  Column sums and the
// window sum run in 32-bit integers (wrapping) at the integer depths up to 16
// bits and in single-precision floats at 32S and 32F, where each step adds the
// float difference of the entering and leaving values, so that the float sums
// drift exactly as the sliding order makes them.  Results:
//   1U       bit = S * scale (single) is at least 0.5
//   8U, 16U  S * scale (scale widened to double), truncated toward zero
//   8S, 16S  S * scale in single precision, rounded to nearest even
//   32S      window * scale in single precision, rounded to nearest even
//   32F      window * scale
//   8U pixel kernel: S * scale rounded to single precision, then truncated
#include "filter/blur_kernels.h"

#include <cmath>
#include <cstring>
#include <type_traits>

#include "core/bit_rows.h"
#include "core/memory.h"
#include "core/traits.h"

namespace vrn::blur {
namespace {

// Truncation of S * scale with scale widened to double.  The product is
// formed exactly in integers (scale = m / 2^shift, m below 2^24), which is
// what a truncating double product gives for every 32-bit S.
struct TruncScale {
  int64_t m;
  int shift;
  explicit TruncScale(float scale) {
    int e = 0;
    const float f = std::frexp(scale, &e);  // scale = f * 2^e, f in [0.5, 1)
    m = static_cast<int64_t>(std::ldexp(f, 24));
    shift = 24 - e;
  }
  int64_t operator()(int32_t s) const {
    if (shift >= 63) return 0;
    return s >= 0 ? (int64_t{s} * m) >> shift : -((-int64_t{s} * m) >> shift);
  }
};

template <class T>
struct UnsignedResult {
  TruncScale t;
  explicit UnsignedResult(float scale) : t(scale) {}
  T operator()(uint32_t s) const { return static_cast<T>(t(static_cast<int32_t>(s))); }
};

template <class T>
struct SignedResult {
  float scale;
  T operator()(uint32_t s) const {
    return static_cast<T>(std::lrintf(static_cast<float>(static_cast<int32_t>(s)) * scale));
  }
};

struct Int32Result {
  float scale;
  int32_t operator()(float w) const { return static_cast<int32_t>(std::lrintf(w * scale)); }
};

struct FloatResult {
  float scale;
  float operator()(float w) const { return w * scale; }
};

// An 8-bit result as a table over every possible sum (0 .. 255 * box).
struct TableResult {
  const uint8_t* table;
  uint8_t operator()(uint32_t s) const { return table[s]; }
  uint8_t operator()(uint16_t s) const { return table[s]; }
};

struct Packed8uResult {
  float scale;
  uint8_t operator()(uint32_t s) const {
    const float product = static_cast<float>(s) * scale;
    return static_cast<uint8_t>(static_cast<int>(product));
  }
};

// The sum type of a depth and how a sample enters it.
template <class T>
struct SumOf {
  using Type = uint32_t;  // wrapping 32-bit integer sums
  static Type of(T v) { return static_cast<uint32_t>(static_cast<int32_t>(v)); }
  static Type delta(T in, T out) { return of(in) - of(out); }
};
template <>
struct SumOf<int32_t> {
  using Type = float;
  static float of(int32_t v) { return static_cast<float>(v); }
  static float delta(int32_t in, int32_t out) { return static_cast<float>(in) - static_cast<float>(out); }
};
template <>
struct SumOf<float> {
  using Type = float;
  static float of(float v) { return v; }
  static float delta(float in, float out) { return in - out; }
};

struct Sum16 {
  using Type = uint16_t;  // exact while nCols * nRows * 255 stays below 2^16
  static uint16_t of(uint8_t v) { return v; }
  static uint16_t delta(uint8_t in, uint8_t out) { return static_cast<uint16_t>(in - out); }
};

// K channels of each pixel (1 for the general kernel, 3 for the pixel
// kernels), sums laid out as col[x * K + c].  Stride is the samples from one
// pixel to the next in source and destination alike when known at compile
// time (0: read from the channel).
template <class T, class P, int K, int Stride, class Result>
void boxKernel(const Channel& ch, const Box& box, typename P::Type* col, const Result& result) {
  using Sum = typename P::Type;
  const int n = box.width + box.nCols;
  const int srcStride = Stride ? Stride : ch.srcStride;
  const int dstStride = Stride ? Stride : ch.dstStride;
  auto srcRow = [&](int r) {
    return reinterpret_cast<const T*>(ch.src + static_cast<ptrdiff_t>(r) * ch.srcStep);
  };
  for (int i = 0; i < n * K; ++i) col[i] = Sum{};
  for (int r = 0; r < box.nRows; ++r) {
    const T* s = srcRow(r);
    for (int x = 0; x < n; ++x)
      for (int c = 0; c < K; ++c) col[x * K + c] += P::of(s[static_cast<ptrdiff_t>(x) * srcStride + c]);
  }
  // Locals, so that byte stores into the output can't make the compiler
  // reload them inside the loops.
  const int width = box.width, nCols = box.nCols;
  const unsigned char* mask = box.mask;
  for (int y = 0; y < box.height; ++y) {
    T* __restrict out = reinterpret_cast<T*>(ch.dst + static_cast<ptrdiff_t>(y) * ch.dstStep);
    const Sum* __restrict leaving = col;
    const Sum* __restrict entering = col + static_cast<ptrdiff_t>(nCols) * K;
    Sum w[K];
    for (int c = 0; c < K; ++c) {
      w[c] = Sum{};
      for (int k = 0; k < nCols; ++k) w[c] += col[k * K + c];
    }
    if (!mask && std::is_integral_v<Sum>) {
      // Exact sums: the differences are formed first, so the running sum is
      // a chain of single additions.
      Sum* __restrict diff = col + static_cast<ptrdiff_t>(n) * K;
      for (int i = 0; i < width * K; ++i) diff[i] = static_cast<Sum>(entering[i] - leaving[i]);
      for (int x = 0; x < width; ++x) {
        for (int c = 0; c < K; ++c) {
          out[static_cast<ptrdiff_t>(x) * dstStride + c] = result(w[c]);
          w[c] = static_cast<Sum>(w[c] + diff[x * K + c]);
        }
      }
    } else if (!mask) {
      for (int x = 0; x < width; ++x) {
        for (int c = 0; c < K; ++c) {
          out[static_cast<ptrdiff_t>(x) * dstStride + c] = result(w[c]);
          w[c] += static_cast<Sum>(entering[x * K + c] - leaving[x * K + c]);
        }
      }
    } else {
      for (int x = 0; x < width; ++x) {
        if (K > 1 && ((box.maskBit + x) & 7) == 0 && x + 8 <= width) {
          // Whole mask bytes: a clear byte skips 8 pixels, a full one writes them untested.
          const unsigned char bits = mask[(box.maskBit + x) >> 3];
          if (bits == 0 || bits == 0xFF) {
            for (int e = x + 8; x < e; ++x)
              for (int c = 0; c < K; ++c) {
                if (bits) out[static_cast<ptrdiff_t>(x) * dstStride + c] = result(w[c]);
                w[c] += static_cast<Sum>(entering[x * K + c] - leaving[x * K + c]);
              }
            --x;
            continue;
          }
        }
        const bool set = bitAt(mask, box.maskBit, x);
        for (int c = 0; c < K; ++c) {
          if (set) out[static_cast<ptrdiff_t>(x) * dstStride + c] = result(w[c]);
          w[c] += static_cast<Sum>(entering[x * K + c] - leaving[x * K + c]);
        }
      }
      mask += box.maskStep;
    }
    const T* __restrict enter = srcRow(y + box.nRows);
    const T* __restrict leave = srcRow(y);
    Sum* __restrict sums = col;
    for (int x = 0; x < n; ++x)
      for (int c = 0; c < K; ++c) {
        const ptrdiff_t at = static_cast<ptrdiff_t>(x) * srcStride + c;
        sums[x * K + c] += P::delta(enter[at], leave[at]);
      }
  }
}

template <class T, class P, class Result>
void generalKernel(const Channel& ch, const Box& box, void* line, const Result& result) {
  auto* col = static_cast<typename P::Type*>(line);
  if (ch.srcStride == 1 && ch.dstStride == 1)
    boxKernel<T, P, 1, 1>(ch, box, col, result);
  else
    boxKernel<T, P, 1, 0>(ch, box, col, result);
}

// Depth 1: counts of set bits; the block rows start at bit 0.
void bitKernel(const Channel& ch, const Box& box, int32_t* col) {
  const int n = box.width + box.nCols;
  auto bit = [&](int r, int x) {
    const auto* row = reinterpret_cast<const unsigned char*>(ch.src) + static_cast<ptrdiff_t>(r) * ch.srcStep;
    return static_cast<int32_t>((row[x >> 3] >> (7 - (x & 7))) & 1);
  };
  for (int x = 0; x < n; ++x) col[x] = 0;
  for (int r = 0; r < box.nRows; ++r)
    for (int x = 0; x < n; ++x) col[x] += bit(r, x);
  const unsigned char* mask = box.mask;
  for (int y = 0; y < box.height; ++y) {
    auto* out = reinterpret_cast<unsigned char*>(ch.dst) + static_cast<ptrdiff_t>(y) * ch.dstStep;
    uint32_t w = 0;
    for (int k = 0; k < box.nCols; ++k) w += static_cast<uint32_t>(col[k]);
    for (int x = 0; x < box.width; ++x) {
      if (!mask || bitAt(mask, box.maskBit, x)) {
        const bool one = !(0.5f > static_cast<float>(static_cast<int32_t>(w)) * box.scale);
        const int b = ch.dstBit + x;
        const auto bitMask = static_cast<unsigned char>(0x80u >> (b & 7));
        if (one)
          out[b >> 3] |= bitMask;
        else
          out[b >> 3] &= static_cast<unsigned char>(~bitMask);
      }
      w += static_cast<uint32_t>(col[x + box.nCols] - col[x]);
    }
    if (mask) mask += box.maskStep;
    for (int x = 0; x < n; ++x) col[x] += bit(y + box.nRows, x) - bit(y, x);
  }
}

}  // namespace

bool blurChannel(int depthIndex, const Channel& ch, const Box& box, void* line) {
  switch (depthIndex) {
    case kD1U: bitKernel(ch, box, static_cast<int32_t*>(line)); return true;
    case kD8U: {
      // Sums of up to 257 samples fit 16 bits exactly: 16-bit sums and a
      // table of the result of every sum.
      Buffer<uint8_t> table;
      const int64_t sums = int64_t{255} * box.nCols * box.nRows + 1;
      if (sums <= 65536 && table.allocate(static_cast<size_t>(sums))) {
        const UnsignedResult<uint8_t> exact(box.scale);
        for (int64_t i = 0; i < sums; ++i) table[i] = exact(static_cast<uint32_t>(i));
        generalKernel<uint8_t, Sum16>(ch, box, line, TableResult{table.get()});
      } else {
        generalKernel<uint8_t, SumOf<uint8_t>>(ch, box, line, UnsignedResult<uint8_t>(box.scale));
      }
      return true;
    }
    case kD16U: generalKernel<uint16_t, SumOf<uint16_t>>(ch, box, line, UnsignedResult<uint16_t>(box.scale)); return true;
    case kD8S: generalKernel<int8_t, SumOf<int8_t>>(ch, box, line, SignedResult<int8_t>{box.scale}); return true;
    case kD16S: generalKernel<int16_t, SumOf<int16_t>>(ch, box, line, SignedResult<int16_t>{box.scale}); return true;
    case kD32S: generalKernel<int32_t, SumOf<int32_t>>(ch, box, line, Int32Result{box.scale}); return true;
    case kD32F: generalKernel<float, SumOf<float>>(ch, box, line, FloatResult{box.scale}); return true;
    default: return false;
  }
}

void blurPixels8u(const Channel& ch, const Box& box, void* line) {
  auto* col = static_cast<uint16_t*>(line);
  // The box holds at most 256 pixels here, so every sum has a table entry.
  uint8_t table[65536];
  const int sums = 255 * box.nCols * box.nRows + 1;
  const Packed8uResult exact{box.scale};
  for (int i = 0; i < sums; ++i) table[i] = exact(static_cast<uint32_t>(i));
  const TableResult result{table};
  if (ch.srcStride == 3 && ch.dstStride == 3)
    boxKernel<uint8_t, Sum16, 3, 3>(ch, box, col, result);
  else
    boxKernel<uint8_t, Sum16, 3, 0>(ch, box, col, result);
}

void blurPixels32f(const Channel& ch, const Box& box, void* line) {
  auto* col = static_cast<float*>(line);
  const FloatResult result{box.scale};
  if (ch.srcStride == 3)
    boxKernel<float, SumOf<float>, 3, 3>(ch, box, col, result);
  else
    boxKernel<float, SumOf<float>, 3, 0>(ch, box, col, result);
}

}  // namespace vrn::blur

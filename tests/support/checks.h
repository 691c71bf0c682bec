// Generic property checks shared by every family:
//  - packed == scalar: a row function against its per-sample (or row)
//    definition at every length up to four 64-byte vectors, every
//    misalignment of each pointer within 64 bytes, random and edge values,
//    with sentinels around the destination, out of place and in place;
//  - once per Highway target compiled in and supported by this machine;
//  - nothing outside the destination rectangle changed (other channels,
//    alpha, row padding);
//  - a masked run equals the unmasked one where the mask bit is set and
//    leaves the destination alone where it is clear.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <sstream>
#include <type_traits>
#include <vector>

#include "support/images.h"

namespace vrntest {

// ---------------------------------------------------------------------------
// Values

// Edge values of a sample type: min, max, 0, +-1, min + 1, max - 1 (floats:
// lowest, max, 0, -0, +-1, the smallest normal, infinities).
template <class T>
std::vector<T> edgeValues() {
  using L = std::numeric_limits<T>;
  if constexpr (std::is_floating_point_v<T>) {
    return {L::lowest(), L::max(), T(0), -T(0), T(1), T(-1), L::min(), -L::min(), L::infinity(),
            -L::infinity(), T(0.5), T(-0.5)};
  } else if constexpr (std::is_signed_v<T>) {
    return {L::min(), L::max(), T(0), T(1), T(-1), T(L::min() + 1), T(L::max() - 1)};
  } else {
    return {L::min(), L::max(), T(0), T(1), T(L::max() - 1)};
  }
}

// A random sample: integers over the whole range, floats in [-1000, 1000]
// in steps of 1/64; one time in four an edge value.
template <class T>
T randomSample(Rng& rng) {
  if (rng() % 4 == 0) {
    static const std::vector<T> edges = edgeValues<T>();
    return edges[rng() % edges.size()];
  }
  if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(static_cast<double>(static_cast<int64_t>(rng() % 128001) - 64000) / 64.0);
  } else {
    const uint64_t bits = rng();
    T v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
  }
}

// Equal bits, or both NaN.
template <class T>
bool sameSample(T a, T b) {
  if constexpr (std::is_floating_point_v<T>)
    if (std::isnan(a) && std::isnan(b)) return true;
  return std::memcmp(&a, &b, sizeof a) == 0;
}

template <class T>
std::string sampleText(T v) {
  std::ostringstream s;
  s << +v;
  return s.str();
}

// ---------------------------------------------------------------------------
// Packed == scalar

struct PackedCheckOptions {
  int maxBytes = 256;  // lengths 0 .. maxBytes / sizeof(element)
  bool inPlace = true; // also with the destination on the first source
  uint64_t seed = 1;
  // Instead of the sweep: one run of longRunBytes and a little more, with
  // the destination misaligned by 0, 1 and 7 elements (the path of rows
  // long enough to stream).
  size_t longRunBytes = 0;
};

// Checks a packed row against its definition.  S is the source element
// type, D the destination's.  `row` is row(const S* a, D* d, size_t n) or
// row(const S* a, const S* b, D* d, size_t n); `ref` is either the
// per-sample definition (D ref(S) / D ref(S, S)) or a reference row of the
// same form as `row`.  Reports the first mismatch or sentinel change.
template <class S, class D = S, class Row, class Ref>
testing::AssertionResult packedMatchesScalar(Row row, Ref ref, const PackedCheckOptions& options = {}) {
  constexpr bool kTwo = std::is_invocable_v<Row, const S*, const S*, D*, size_t>;
  constexpr bool kRefRow = kTwo ? std::is_invocable_v<Ref, const S*, const S*, D*, size_t>
                                : std::is_invocable_v<Ref, const S*, D*, size_t>;
  static_assert(kTwo || std::is_invocable_v<Row, const S*, D*, size_t>, "row(src..., dst, n)");
  constexpr size_t kSrcMis = 64 / sizeof(S), kDstMis = 64 / sizeof(D), kBig = std::max(sizeof(S), sizeof(D));
  std::vector<size_t> lengths, dstMis;
  if (options.longRunBytes) {
    lengths = {options.longRunBytes / sizeof(D) + 37};
    dstMis = {0, 1, 7};
  } else {
    for (size_t n = 0; n <= static_cast<size_t>(options.maxBytes) / kBig; ++n) lengths.push_back(n);
    for (size_t m = 0; m < kDstMis; ++m) dstMis.push_back(m);
  }
  const size_t maxN = lengths.back();
  constexpr unsigned char kSentinel = 0xA5;
  Rng rng(options.seed);
  std::vector<S> in[2] = {std::vector<S>(maxN + 1), std::vector<S>(maxN + 1)};
  std::vector<D> expected(maxN + 1);
  // Sources and destination each at a 64-byte boundary plus a misalignment.
  const size_t room = (maxN + 2 * std::max(kSrcMis, kDstMis) + 32) * kBig + 128;
  std::vector<unsigned char> stores[3] = {std::vector<unsigned char>(room), std::vector<unsigned char>(room),
                                          std::vector<unsigned char>(room)};
  unsigned char* base[3];
  for (int i = 0; i < 3; ++i)
    base[i] = reinterpret_cast<unsigned char*>((reinterpret_cast<uintptr_t>(stores[i].data()) + 63) & ~uintptr_t{63});
  const size_t dstBytes = room - static_cast<size_t>(base[2] - stores[2].data()) - 64;

  for (size_t n : lengths) {
    for (int s = 0; s < (kTwo ? 2 : 1); ++s)
      for (size_t i = 0; i < n; ++i) in[s][i] = randomSample<S>(rng);
    if constexpr (kRefRow && kTwo) ref(in[0].data(), in[1].data(), expected.data(), n);
    else if constexpr (kRefRow) ref(in[0].data(), expected.data(), n);
    else if constexpr (kTwo) for (size_t i = 0; i < n; ++i) expected[i] = ref(in[0][i], in[1][i]);
    else for (size_t i = 0; i < n; ++i) expected[i] = ref(in[0][i]);
    for (size_t m : dstMis) {
      const size_t mis[2] = {(m + n) % kSrcMis, (3 * m + 2 * n + 1) % kSrcMis};
      for (int pass = 0; pass < (options.inPlace && std::is_same_v<S, D> ? 2 : 1); ++pass) {
        std::memset(base[2], kSentinel, dstBytes);
        D* d = reinterpret_cast<D*>(base[2]) + m;
        const S* src[2];
        for (int s = 0; s < 2; ++s) {
          src[s] = reinterpret_cast<S*>(base[s]) + mis[s];
          std::memcpy(base[s] + mis[s] * sizeof(S), in[s].data(), n * sizeof(S));
        }
        if (pass == 1) {
          std::memcpy(static_cast<void*>(d), in[0].data(), n * sizeof(D));
          src[0] = reinterpret_cast<const S*>(d);
        }
        if constexpr (kTwo) row(src[0], src[1], d, n);
        else row(src[0], d, n);
        auto where = [&] {
          std::ostringstream s;
          s << "length " << n << ", misalignment (elements) src {" << mis[0];
          if (kTwo) s << ", " << mis[1];
          return s.str() + "} dst " + std::to_string(m) + (pass == 1 ? ", in place" : "");
        };
        for (size_t i = 0; i < n; ++i) {
          D got;
          std::memcpy(&got, d + i, sizeof got);
          if (sameSample(got, expected[i])) continue;
          testing::AssertionResult r = testing::AssertionFailure();
          r << where() << ": element " << i << " of (" << sampleText(in[0][i]);
          if (kTwo) r << ", " << sampleText(in[1][i]);
          return r << "): got " << sampleText(got) << ", expected " << sampleText(expected[i]);
        }
        const size_t begin = m * sizeof(D), end = begin + n * sizeof(D);
        for (size_t b = 0; b < dstBytes; ++b)
          if ((b < begin || b >= end) && base[2][b] != kSentinel)
            return testing::AssertionFailure() << where() << ": byte " << static_cast<int64_t>(b) - static_cast<int64_t>(begin)
                                               << " from the destination's start changed (outside the row)";
      }
    }
  }
  return testing::AssertionSuccess();
}

// Runs body once for every Highway target that is both compiled in and
// supported by this machine, with dispatch restricted to that target, then
// lifts the restriction.  Fails the test if dispatch did not follow.
void forEachTarget(const std::function<void(int64_t target)>& body);
// The target that dynamic dispatch picks now.
int64_t dispatchedTarget();

// ---------------------------------------------------------------------------
// Untouched outside the rectangle

// Only the samples of `channels` in `rect` (stored coordinates of `after`)
// may differ between `before` and `after`; row padding, other channels and
// everything outside the rectangle must stay.
testing::AssertionResult onlyRectChanged(const Snapshot& before, const VrnImage* after, const Rect& rect,
                                         const std::vector<int>& channels);
// The same with the destination's own rule: the rectangle starts at its
// clipped ROI, is width x height, and the channels are its COI, else all
// but alpha.
testing::AssertionResult onlyRectChanged(const Snapshot& before, const VrnImage* after, int width, int height);

// The samples of rectangle `from` of `expected` equal, bit for bit, those of
// the rectangle of the same size at (x, y) of `actual`: channel channels[k]
// of expected against actualChannels[k] of actual (empty lists: every
// channel of expected; the same channels in actual).
testing::AssertionResult sameSamples(const VrnImage* expected, const Rect& from, const VrnImage* actual, int x, int y,
                                     std::vector<int> channels = {}, std::vector<int> actualChannels = {});

// ---------------------------------------------------------------------------
// Masked runs

// A mask bit of the rectangle: column i, row r (from the rectangle's corner).
using MaskBits = std::function<bool(int i, int r)>;
// The AND of the masks' bits, each read from its own clipped ROI.
MaskBits mergedMaskBits(std::vector<const VrnImage*> masks);

// `masked` is the destination after a masked run, `unmasked` after the same
// run without masks, `before` the destination before either.  Inside `rect`
// on `channels`, samples whose mask bit is set equal `unmasked`; every other
// byte equals `before`.
testing::AssertionResult maskedMatchesUnmasked(const Snapshot& before, const VrnImage* masked, const VrnImage* unmasked,
                                               const Rect& rect, const std::vector<int>& channels, const MaskBits& bit);

}  // namespace vrntest

// Every packed row of the arithmetic equals its scalar rule: random and
// edge data, every length from 0 to a few vectors, pointers at every
// misalignment, a sentinel after the end, on every compiled target.
#include <hwy/targets.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "arith/add_rules.h"
#include "arith/arith_rules.h"
#include "arith/scalar_rules.h"
#include "arith_support.h"

namespace {

using namespace vrn;

constexpr size_t kMaxLength = 4 * 64 + 5;  // four AVX-512 vectors of bytes and a tail
constexpr size_t kSlack = 8;               // misalignment room before, sentinel room after

bool same(float a, float b) { return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, 4) == 0; }
template <class T>
bool same(T a, T b) { return a == b; }

// Random samples with the depth's edges sprinkled in.
template <class T>
std::vector<T> sampleData(size_t n, uint32_t seed) {
  std::mt19937 rng(seed);
  std::vector<T> v(n);
  using L = std::numeric_limits<T>;
  const T edges[] = {L::lowest(), L::max(), T(0), T(1), static_cast<T>(L::max() / 2), static_cast<T>(L::lowest() / 2)};
  for (size_t i = 0; i < n; ++i) {
    if (rng() % 4 == 0)
      v[i] = edges[rng() % 6];
    else if constexpr (std::is_floating_point_v<T>)
      v[i] = std::uniform_real_distribution<float>(-300.0f, 300.0f)(rng);
    else
      v[i] = static_cast<T>(rng());
  }
  return v;
}

// Runs check() once per compiled target the machine supports.
template <class F>
void forEachTarget(F&& check) {
  for (int64_t target : hwy::SupportedAndGeneratedTargets()) {
    SCOPED_TRACE(hwy::TargetName(target));
    hwy::SetSupportedTargetsForTest(target);
    // The first dispatched call settles the target for every table; the
    // pointers fetched after it are the target's own rows.
    uint8_t byte = 0;
    PackedSubtract<uint8_t>::get()(&byte, &byte, &byte, 0);
    check();
  }
  hwy::SetSupportedTargetsForTest(0);
}

// row(a + ma, b + mb, d + md, n) against apply(a[i], b[i]).
template <class T, class Row, class Apply>
void checkRow(int sources, Row row, Apply apply) {
  const std::vector<T> a = sampleData<T>(kMaxLength + kSlack, 1), b = sampleData<T>(kMaxLength + kSlack, 2);
  const T sentinel = static_cast<T>(77);
  std::vector<T> d(kMaxLength + 2 * kSlack);
  const int offsets[][3] = {{0, 0, 0}, {1, 1, 1}, {2, 3, 1}, {3, 0, 2}, {0, 5, 7}, {7, 2, 0}};
  for (const auto& off : offsets) {
    for (size_t n = 0; n <= kMaxLength; ++n) {
      std::fill(d.begin(), d.end(), sentinel);
      row(a.data() + off[0], b.data() + off[1], d.data() + off[2], n);
      for (size_t i = 0; i < n; ++i) {
        const T want = sources == 2 ? apply(a[off[0] + i], b[off[1] + i]) : apply(a[off[0] + i], T{});
        ASSERT_TRUE(same(d[off[2] + i], want)) << "n " << n << " i " << i << " offsets " << off[0] << "," << off[1]
                                               << "," << off[2] << ": " << +d[off[2] + i] << " want " << +want;
      }
      for (int i = 0; i < off[2]; ++i) ASSERT_EQ(d[i], sentinel) << "before the row, n " << n;
      for (size_t i = off[2] + n; i < d.size(); ++i) ASSERT_EQ(d[i], sentinel) << "after the row, n " << n;
    }
  }
}

template <class T, template <class> class Def, template <class> class Packed>
void checkBinary() {
  forEachTarget([] {
    const BinaryRowFn<T> fn = Packed<T>::get();
    ASSERT_NE(fn, nullptr);
    checkRow<T>(2, fn, [](T x, T y) { return Def<T>::apply(x, y); });
  });
}

TEST(ArithPacked, Add) {
  checkBinary<uint8_t, AddDef, PackedAdd>();
  checkBinary<int8_t, AddDef, PackedAdd>();
  checkBinary<uint16_t, AddDef, PackedAdd>();
  checkBinary<int16_t, AddDef, PackedAdd>();
  checkBinary<float, AddDef, PackedAdd>();
}

TEST(ArithPacked, Subtract) {
  checkBinary<uint8_t, SubtractDef, PackedSubtract>();
  checkBinary<int8_t, SubtractDef, PackedSubtract>();
  checkBinary<uint16_t, SubtractDef, PackedSubtract>();
  checkBinary<int16_t, SubtractDef, PackedSubtract>();
  checkBinary<float, SubtractDef, PackedSubtract>();
}

TEST(ArithPacked, Multiply) {
  checkBinary<uint8_t, MultiplyDef, PackedMultiply>();
  checkBinary<int8_t, MultiplyDef, PackedMultiply>();
  checkBinary<uint16_t, MultiplyDef, PackedMultiply>();
  checkBinary<int16_t, MultiplyDef, PackedMultiply>();
  checkBinary<float, MultiplyDef, PackedMultiply>();
}

// A constant rule's packed row for each constant of its range.
template <class Def>
void checkConstant(std::initializer_list<typename Def::Constant> constants) {
  using T = typename Def::Sample;
  forEachTarget([&] {
    const auto fn = PackedUnary<Def>::get();
    ASSERT_NE(fn, nullptr);
    for (const auto c : constants) {
      SCOPED_TRACE(testing::Message() << "constant " << c);
      checkRow<T>(
          1, [&](const T* s, const T*, T* d, size_t n) { fn(s, d, n, c); }, [&](T s, T) { return Def::apply(s, c); });
    }
  });
}

TEST(ArithPacked, ConstantRegimes8U) {
  checkConstant<AddUpToMax<uint8_t>>({0, 1, 100, 253, 254});
  checkConstant<SubtractDownToZero<uint8_t>>({1, 2, 128, 254});
  checkConstant<ReverseSubtractToZero<uint8_t>>({1, 2, 128, 254, 255});
  checkConstant<ReverseSubtractToMax<uint8_t>>({256, 257, 300, 508, 509});
  checkConstant<MultiplyConstant<uint8_t>>({1, 2, 3, 16, 17, 128, 254, 255});
}

TEST(ArithPacked, ConstantRegimes16U) {
  checkConstant<AddUpToMax<uint16_t>>({0, 1, 30000, 65533, 65534});
  checkConstant<SubtractDownToZero<uint16_t>>({1, 2, 40000, 65534});
  checkConstant<ReverseSubtractToZero<uint16_t>>({1, 2, 40000, 65534, 65535});
  checkConstant<ReverseSubtractToMax<uint16_t>>({65536, 65537, 100000, 131068, 131069});
}

TEST(ArithPacked, ConstantFloat) {
  const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
  checkConstant<AddConstantF>({0.0f, -0.0f, 1.5f, -1e30f, inf, nan});
  checkConstant<SubtractConstantF>({0.0f, 1.5f, -1e30f, inf, nan});
  checkConstant<ReverseSubtractConstantF>({0.0f, -0.0f, 1.5f, -inf, nan});
  checkConstant<MultiplyConstantF>({0.0f, -1.0f, 0.5f, 3e38f, inf, nan});
}

// The targets really differ: the dispatched pointer follows the target.
TEST(ArithPacked, TargetsAreDistinct) {
  std::vector<BinaryRowFn<uint8_t>> seen;
  forEachTarget([&] { seen.push_back(PackedSubtract<uint8_t>::get()); });
  for (size_t i = 1; i < seen.size(); ++i) EXPECT_NE(seen[i], seen[i - 1]);
}

}  // namespace

// Arithmetic beside OpenCV (single-threaded) on 1920x1080 images: two-image
// add, subtract and multiply on 8U with 1 and 3 channels, 16S and 32F, and
// the 8U constant forms.  The memcpy baseline is BM_Memcpy in core_bench.
#include <chrono>

#include "bench_util.h"

using vrnbench::BenchImage;

namespace {

enum Op { kAdd, kSubtract, kMultiply, kAddS, kMultiplyS };
// Depth argument: 0 = 8U, 1 = 16S, 2 = 32F.
constexpr int kDepths[] = {VRN_DEPTH_8U, VRN_DEPTH_16S, VRN_DEPTH_32F};

void callVrn(Op op, const BenchImage& a, const BenchImage& b, const BenchImage& d) {
  switch (op) {
    case kAdd: vrnAdd(a.get(), b.get(), d.get()); break;
    case kSubtract: vrnSubtract(a.get(), b.get(), d.get()); break;
    case kMultiply: vrnMultiply(a.get(), b.get(), d.get()); break;
    case kAddS: vrnAddS(a.get(), d.get(), 37); break;
    case kMultiplyS: vrnMultiplyS(a.get(), d.get(), 3); break;
  }
}

// Benchmark arguments: operation, depth, channels.
void runVrn(benchmark::State& state) {
  const Op op = static_cast<Op>(state.range(0));
  const int depth = kDepths[state.range(1)], ch = static_cast<int>(state.range(2));
  BenchImage a(depth, ch, vrnbench::kWidth, vrnbench::kHeight, 1), b(depth, ch, vrnbench::kWidth, vrnbench::kHeight, 2),
      d(depth, ch);
  for (auto _ : state) {
    callVrn(op, a, b, d);
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, a.bytes());
}

#if VRN_BENCH_OPENCV
void callCv(Op op, const cv::Mat& a, const cv::Mat& b, cv::Mat& d) {
  switch (op) {
    case kAdd: cv::add(a, b, d); break;
    case kSubtract: cv::subtract(a, b, d); break;
    case kMultiply: cv::multiply(a, b, d); break;
    case kAddS: cv::add(a, cv::Scalar::all(37), d); break;
    case kMultiplyS: cv::multiply(a, cv::Scalar::all(3), d); break;
  }
}

void runCv(benchmark::State& state) {
  const Op op = static_cast<Op>(state.range(0));
  const int depth = kDepths[state.range(1)], ch = static_cast<int>(state.range(2));
  BenchImage a(depth, ch, vrnbench::kWidth, vrnbench::kHeight, 1), b(depth, ch, vrnbench::kWidth, vrnbench::kHeight, 2),
      d(depth, ch);
  cv::Mat ma = a.mat(), mb = b.mat(), md = d.mat();
  for (auto _ : state) {
    callCv(op, ma, mb, md);
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, a.bytes());
}

// vrn and OpenCV called in turn on the same images, each call timed, the
// order swapped every iteration so that neither always runs after the
// other: the machine's drift falls on both alike, so the ratio counter is the
// steadier figure on a shared machine.
void runPaired(benchmark::State& state) {
  const Op op = static_cast<Op>(state.range(0));
  const int depth = kDepths[state.range(1)], ch = static_cast<int>(state.range(2));
  BenchImage a(depth, ch, vrnbench::kWidth, vrnbench::kHeight, 1), b(depth, ch, vrnbench::kWidth, vrnbench::kHeight, 2),
      d(depth, ch);
  cv::Mat ma = a.mat(), mb = b.mat(), md = d.mat();
  using Clock = std::chrono::steady_clock;
  Clock::duration vrnTime{}, cvTime{};
  auto timeVrn = [&] {
    const auto t0 = Clock::now();
    callVrn(op, a, b, d);
    benchmark::ClobberMemory();
    vrnTime += Clock::now() - t0;
  };
  auto timeCv = [&] {
    const auto t0 = Clock::now();
    callCv(op, ma, mb, md);
    benchmark::ClobberMemory();
    cvTime += Clock::now() - t0;
  };
  bool vrnFirst = true;
  for (auto _ : state) {
    if (vrnFirst) {
      timeVrn();
      timeCv();
    } else {
      timeCv();
      timeVrn();
    }
    vrnFirst = !vrnFirst;
  }
  const double n = static_cast<double>(state.iterations());
  state.counters["vrn_us"] = std::chrono::duration<double, std::micro>(vrnTime).count() / n;
  state.counters["cv_us"] = std::chrono::duration<double, std::micro>(cvTime).count() / n;
  state.counters["ratio"] = std::chrono::duration<double>(vrnTime) / std::chrono::duration<double>(cvTime);
}
#endif

// A two-step chain, d = a + b then e = d + a: the second step reads what the
// first wrote, so a first step that bypasses the cache shows its cost here.
// Arguments: depth, channels.
void runChainVrn(benchmark::State& state) {
  const int depth = kDepths[state.range(0)], ch = static_cast<int>(state.range(1));
  BenchImage a(depth, ch, vrnbench::kWidth, vrnbench::kHeight, 1), b(depth, ch, vrnbench::kWidth, vrnbench::kHeight, 2),
      d(depth, ch), e(depth, ch);
  for (auto _ : state) {
    vrnAdd(a.get(), b.get(), d.get());
    vrnAdd(d.get(), a.get(), e.get());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(runChainVrn)->Name("BM_vrnChainAdd")->ArgNames({"depth", "ch"})->Args({0, 3})->Args({1, 1})->Args({2, 1});

#if VRN_BENCH_OPENCV
void runChainCv(benchmark::State& state) {
  const int depth = kDepths[state.range(0)], ch = static_cast<int>(state.range(1));
  BenchImage a(depth, ch, vrnbench::kWidth, vrnbench::kHeight, 1), b(depth, ch, vrnbench::kWidth, vrnbench::kHeight, 2),
      d(depth, ch), e(depth, ch);
  cv::Mat ma = a.mat(), mb = b.mat(), md = d.mat(), me = e.mat();
  for (auto _ : state) {
    cv::add(ma, mb, md);
    cv::add(md, ma, me);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(runChainCv)->Name("BM_cvChainAdd")->ArgNames({"depth", "ch"})->Args({0, 3})->Args({1, 1})->Args({2, 1});
#endif

void arithArgs(benchmark::internal::Benchmark* b) {
  b->ArgNames({"op", "depth", "ch"});
  for (int op : {kAdd, kSubtract, kMultiply}) {
    b->Args({op, 0, 1});
    b->Args({op, 0, 3});
    b->Args({op, 1, 1});
    b->Args({op, 2, 1});
  }
  for (int op : {kAddS, kMultiplyS}) {
    b->Args({op, 0, 1});
    b->Args({op, 0, 3});
  }
}

}  // namespace

BENCHMARK(runVrn)->Name("BM_vrnArith")->Apply(arithArgs);
#if VRN_BENCH_OPENCV
BENCHMARK(runCv)->Name("BM_cvArith")->Apply(arithArgs);
BENCHMARK(runPaired)->Name("BM_pairedArith")->Apply(arithArgs);
#endif

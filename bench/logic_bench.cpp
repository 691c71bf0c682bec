// The logic and copy families beside OpenCV on 1920x1080 8U images, one
// thread: vrnAnd (3 channels), vrnXorS (1 channel), vrnCopy and vrnSet
// (3 channels).
#include "bench_util.h"

using vrnbench::BenchImage;
using vrnbench::kHeight;
using vrnbench::kWidth;

static void BM_vrnAnd_8UC3(benchmark::State& state) {
  BenchImage a(VRN_DEPTH_8U, 3, kWidth, kHeight, 1), b(VRN_DEPTH_8U, 3, kWidth, kHeight, 2), d(VRN_DEPTH_8U, 3);
  for (auto _ : state) {
    vrnAnd(a.get(), b.get(), d.get());
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, a.bytes());
}
BENCHMARK(BM_vrnAnd_8UC3);

static void BM_vrnXorS_8U(benchmark::State& state) {
  BenchImage a(VRN_DEPTH_8U, 1, kWidth, kHeight, 1), d(VRN_DEPTH_8U, 1);
  for (auto _ : state) {
    vrnXorS(a.get(), d.get(), 0x5A);
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, a.bytes());
}
BENCHMARK(BM_vrnXorS_8U);

static void BM_vrnCopy_8UC3(benchmark::State& state) {
  BenchImage a(VRN_DEPTH_8U, 3, kWidth, kHeight, 1), d(VRN_DEPTH_8U, 3);
  for (auto _ : state) {
    vrnCopy(a.get(), d.get());
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, a.bytes());
}
BENCHMARK(BM_vrnCopy_8UC3);

static void BM_vrnSet_8UC3(benchmark::State& state) {
  BenchImage d(VRN_DEPTH_8U, 3);
  for (auto _ : state) {
    vrnSet(d.get(), 77);
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, d.bytes());
}
BENCHMARK(BM_vrnSet_8UC3);

#if VRN_BENCH_OPENCV
static void BM_cvBitwiseAnd_8UC3(benchmark::State& state) {
  BenchImage a(VRN_DEPTH_8U, 3, kWidth, kHeight, 1), b(VRN_DEPTH_8U, 3, kWidth, kHeight, 2), d(VRN_DEPTH_8U, 3);
  cv::Mat ma = a.mat(), mb = b.mat(), md = d.mat();
  for (auto _ : state) {
    cv::bitwise_and(ma, mb, md);
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, a.bytes());
}
BENCHMARK(BM_cvBitwiseAnd_8UC3);

static void BM_cvBitwiseXorScalar_8U(benchmark::State& state) {
  BenchImage a(VRN_DEPTH_8U, 1, kWidth, kHeight, 1), d(VRN_DEPTH_8U, 1);
  cv::Mat ma = a.mat(), md = d.mat();
  const cv::Scalar value(0x5A);
  for (auto _ : state) {
    cv::bitwise_xor(ma, value, md);
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, a.bytes());
}
BENCHMARK(BM_cvBitwiseXorScalar_8U);

static void BM_cvCopyTo_8UC3(benchmark::State& state) {
  BenchImage a(VRN_DEPTH_8U, 3, kWidth, kHeight, 1), d(VRN_DEPTH_8U, 3);
  cv::Mat ma = a.mat(), md = d.mat();
  for (auto _ : state) {
    ma.copyTo(md);
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, a.bytes());
}
BENCHMARK(BM_cvCopyTo_8UC3);

static void BM_cvSetTo_8UC3(benchmark::State& state) {
  BenchImage d(VRN_DEPTH_8U, 3);
  cv::Mat md = d.mat();
  const cv::Scalar value(77, 77, 77);
  for (auto _ : state) {
    md.setTo(value);
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, d.bytes());
}
BENCHMARK(BM_cvSetTo_8UC3);
#endif

// The frame's baseline: vrnAdd beside a plain copy of the same bytes and
// OpenCV's add, on 1920x1080 images; tiled beside plain.
#include <cstring>
#include <vector>

#include "bench_util.h"

using vrnbench::BenchImage;

static void BM_Memcpy(benchmark::State& state) {
  BenchImage a(VRN_DEPTH_8U, static_cast<int>(state.range(0))), d(VRN_DEPTH_8U, static_cast<int>(state.range(0)));
  for (auto _ : state) {
    std::memcpy(d->imageData, a->imageData, a.bytes());
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, a.bytes());
}
BENCHMARK(BM_Memcpy)->Arg(1)->Arg(3);

static void BM_vrnAdd_8U(benchmark::State& state) {
  const int ch = static_cast<int>(state.range(0));
  BenchImage a(VRN_DEPTH_8U, ch, vrnbench::kWidth, vrnbench::kHeight, 1), b(VRN_DEPTH_8U, ch, vrnbench::kWidth, vrnbench::kHeight, 2), d(VRN_DEPTH_8U, ch);
  for (auto _ : state) {
    vrnAdd(a.get(), b.get(), d.get());
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, a.bytes());
}
BENCHMARK(BM_vrnAdd_8U)->Arg(1)->Arg(3);

#if VRN_BENCH_OPENCV
static void BM_cvAdd_8U(benchmark::State& state) {
  const int ch = static_cast<int>(state.range(0));
  BenchImage a(VRN_DEPTH_8U, ch, vrnbench::kWidth, vrnbench::kHeight, 1), b(VRN_DEPTH_8U, ch, vrnbench::kWidth, vrnbench::kHeight, 2), d(VRN_DEPTH_8U, ch);
  cv::Mat ma = a.mat(), mb = b.mat(), md = d.mat();
  for (auto _ : state) {
    cv::add(ma, mb, md);
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, a.bytes());
}
BENCHMARK(BM_cvAdd_8U)->Arg(1)->Arg(3);
#endif

// The test image: vrnCreateImageJaehne at 1920x1080 in 8U and 32F (one long
// double sine per pixel, allocation and release included).
#include "bench_util.h"

static void BM_vrnCreateImageJaehne(benchmark::State& state) {
  const int depth = static_cast<int>(state.range(0));
  for (auto _ : state) {
    VrnImage* image = vrnCreateImageJaehne(depth, vrnbench::kWidth, vrnbench::kHeight);
    benchmark::DoNotOptimize(image->imageData);
    vrnDeallocate(image, VRN_FREE_HEADER | VRN_FREE_DATA);
  }
  state.SetItemsProcessed(state.iterations() * int64_t{vrnbench::kWidth} * vrnbench::kHeight);
}
BENCHMARK(BM_vrnCreateImageJaehne)->Arg(VRN_DEPTH_8U)->Arg(VRN_DEPTH_32F)->Unit(benchmark::kMillisecond);

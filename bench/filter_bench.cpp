// Filters: vrnBlur 5x5 beside OpenCV's blur (replicated borders, one thread),
// and the bordered region reader beside a plain copy of the image.
#include <cstring>

#include "bench_util.h"
#include "filter/bordered.h"

#if VRN_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

using vrnbench::BenchImage;

namespace {

// range(0): 0 = 8U 1 channel, 1 = 8U 3 channels, 2 = 32F 1 channel
int depthOf(int64_t kind) { return kind == 2 ? VRN_DEPTH_32F : VRN_DEPTH_8U; }
int channelsOf(int64_t kind) { return kind == 1 ? 3 : 1; }

void BM_vrnBlur5x5(benchmark::State& state) {
  const int depth = depthOf(state.range(0)), ch = channelsOf(state.range(0));
  BenchImage src(depth, ch), dst(depth, ch);
  vrnSetBorderMode(src.get(), VRN_BORDER_REPLICATE, 15, 0);
  for (auto _ : state) {
    vrnBlur(src.get(), dst.get(), 5, 5, 2, 2);
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, src.bytes());
}
BENCHMARK(BM_vrnBlur5x5)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

#if VRN_BENCH_OPENCV
void BM_cvBlur5x5(benchmark::State& state) {
  (void)vrnbench::kOpenCvSingleThread;
  const int depth = depthOf(state.range(0)), ch = channelsOf(state.range(0));
  BenchImage src(depth, ch), dst(depth, ch);
  cv::Mat s = src.mat(), d = dst.mat();
  for (auto _ : state) {
    cv::blur(s, d, cv::Size(5, 5), cv::Point(-1, -1), cv::BORDER_REPLICATE);
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, src.bytes());
}
BENCHMARK(BM_cvBlur5x5)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);
#endif

void BM_BorderedRegion8U(benchmark::State& state) {
  BenchImage src(VRN_DEPTH_8U, 1);
  vrnSetBorderMode(src.get(), VRN_BORDER_REPLICATE, 15, 0);
  for (auto _ : state) {
    int step = 0;
    char* region = vrn::ownGetBorderedRegion(src.get(), -2, -2, vrnbench::kWidth + 4, vrnbench::kHeight + 4, &step);
    benchmark::DoNotOptimize(region);
    vrnFree(region);
  }
  vrnbench::setBytes(state, src.bytes());
}
BENCHMARK(BM_BorderedRegion8U)->Unit(benchmark::kMicrosecond);

void BM_CopyImage8U(benchmark::State& state) {
  BenchImage src(VRN_DEPTH_8U, 1), dst(VRN_DEPTH_8U, 1);
  for (auto _ : state) {
    std::memcpy(dst->imageData, src->imageData, src.bytes());
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, src.bytes());
}
BENCHMARK(BM_CopyImage8U)->Unit(benchmark::kMicrosecond);

}  // namespace

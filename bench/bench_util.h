// Shared fixtures of the benchmarks: standard images (1920x1080, seeded
// random content) and, where OpenCV is built in, matching cv::Mat views.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>

#include "vrn.h"

#if VRN_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#endif

namespace vrnbench {

inline constexpr int kWidth = 1920;
inline constexpr int kHeight = 1080;

// An allocated image filled with seeded random bytes; freed on scope exit.
class BenchImage {
 public:
  BenchImage(int depth, int channels, int width = kWidth, int height = kHeight, uint32_t seed = 1) {
    char model[4] = {'R', 'G', 'B', 0}, seq[4] = {'B', 'G', 'R', 0};
    image_ = vrnCreateImageHeader(channels, 0, depth, model, seq, VRN_DATA_ORDER_PIXEL,
                                  VRN_ORIGIN_TOP, 32, width, height, nullptr, nullptr, nullptr,
                                  nullptr);
    if (depth == VRN_DEPTH_32F)
      vrnAllocateImageFP(image_, 0, 0.0f);
    else
      vrnAllocateImage(image_, 0, 0);
    std::mt19937 rng(seed);
    if (depth == VRN_DEPTH_32F) {
      std::uniform_real_distribution<float> dist(-100.0f, 100.0f);
      auto* f = reinterpret_cast<float*>(image_->imageData);
      for (int i = 0; i < image_->imageSize / 4; ++i) f[i] = dist(rng);
    } else {
      for (int i = 0; i < image_->imageSize; ++i) image_->imageData[i] = static_cast<char>(rng());
    }
  }
  ~BenchImage() { vrnDeallocate(image_, VRN_FREE_HEADER | VRN_FREE_DATA | VRN_FREE_ROI); }
  BenchImage(const BenchImage&) = delete;
  BenchImage& operator=(const BenchImage&) = delete;
  VrnImage* get() const { return image_; }
  VrnImage* operator->() const { return image_; }
  size_t bytes() const { return static_cast<size_t>(image_->imageSize); }

#if VRN_BENCH_OPENCV
  // A header over the same pixels.
  cv::Mat mat() const {
    int type = 0;
    switch (image_->depth) {
      case VRN_DEPTH_8U: type = CV_8U; break;
      case VRN_DEPTH_8S: type = CV_8S; break;
      case VRN_DEPTH_16U: type = CV_16U; break;
      case VRN_DEPTH_16S: type = CV_16S; break;
      case VRN_DEPTH_32S: type = CV_32S; break;
      default: type = CV_32F; break;
    }
    return cv::Mat(image_->height, image_->width, CV_MAKETYPE(type, image_->nChannels),
                   image_->imageData, static_cast<size_t>(image_->widthStep));
  }
#endif

 private:
  VrnImage* image_ = nullptr;
};

// Bytes processed per iteration, for a bandwidth column.
inline void setBytes(benchmark::State& state, size_t bytesPerIteration) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytesPerIteration));
}

#if VRN_BENCH_OPENCV
// Every comparison runs OpenCV on one thread.
inline const bool kOpenCvSingleThread = (cv::setNumThreads(1), true);
#endif

}  // namespace vrnbench

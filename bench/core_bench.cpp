// The frame's baseline: vrnAdd beside a plain copy of the same bytes and
// OpenCV's add, on 1920x1080 images; tiled beside plain.
#include <cstring>
#include <random>
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

// A copy that moves as many bytes as a two-source operation does: it reads two
// images and writes one (three image sizes of traffic), which is a copy of
// one and a half images (1.5 read + 1.5 written).
static void BM_MemcpySameBytesAsTwoSourceOp(benchmark::State& state) {
  const int ch = static_cast<int>(state.range(0));
  BenchImage a(VRN_DEPTH_8U, ch, vrnbench::kWidth, vrnbench::kHeight * 3 / 2), d(VRN_DEPTH_8U, ch, vrnbench::kWidth, vrnbench::kHeight * 3 / 2);
  for (auto _ : state) {
    std::memcpy(d->imageData, a->imageData, a.bytes());
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, a.bytes());
}
BENCHMARK(BM_MemcpySameBytesAsTwoSourceOp)->Arg(1)->Arg(3);

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

namespace {

// Serves an image as 64x64 tiles kept in backing memory, one block per tile.
class BenchTiles {
 public:
  BenchTiles(int channels, int tile, uint32_t seed) : tile_(tile) {
    char model[4] = {'R', 'G', 'B', 0}, seq[4] = {'B', 'G', 'R', 0};
    info_ = vrnCreateTileInfo(&BenchTiles::serve, this, tile, tile);
    image_ = vrnCreateImageHeader(channels, 0, VRN_DEPTH_8U, model, seq, VRN_DATA_ORDER_PIXEL,
                                  VRN_ORIGIN_TOP, 32, vrnbench::kWidth, vrnbench::kHeight, nullptr,
                                  nullptr, nullptr, info_);
    step_ = (tile * channels + 31) & ~31;
    cols_ = (vrnbench::kWidth + tile - 1) / tile;
    rows_ = (vrnbench::kHeight + tile - 1) / tile;
    store_.resize(static_cast<size_t>(cols_) * rows_ * step_ * tile);
    std::mt19937 rng(seed);
    for (auto& b : store_) b = static_cast<char>(rng());
  }
  ~BenchTiles() { vrnDeallocate(image_, VRN_FREE_HEADER | VRN_FREE_TILE); }
  VrnImage* get() const { return image_; }

 private:
  static void serve(const VrnImage* image, int col, int row, int mode) {
    auto* self = static_cast<BenchTiles*>(image->tileInfo->id);
    if (mode == VRN_TILE_RELEASE) return;
    const size_t index = static_cast<size_t>(row) * self->cols_ + col;
    image->tileInfo->tileData = self->store_.data() + index * self->step_ * self->tile_;
  }
  int tile_, step_ = 0, cols_ = 0, rows_ = 0;
  std::vector<char> store_;
  VrnTileInfo* info_ = nullptr;
  VrnImage* image_ = nullptr;
};

}  // namespace

static void BM_vrnAdd_8U_Tiled64(benchmark::State& state) {
  const int ch = static_cast<int>(state.range(0));
  BenchTiles a(ch, 64, 1), b(ch, 64, 2), d(ch, 64, 3);
  for (auto _ : state) {
    vrnAdd(a.get(), b.get(), d.get());
    benchmark::ClobberMemory();
  }
  vrnbench::setBytes(state, static_cast<size_t>(vrnbench::kWidth) * vrnbench::kHeight * ch);
}
BENCHMARK(BM_vrnAdd_8U_Tiled64)->Arg(1)->Arg(3);

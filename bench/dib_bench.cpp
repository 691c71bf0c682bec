// Bitmap interchange beside OpenCV's BMP codec on the same bytes (the BMP is
// the 14-byte file header followed by the DIB): reading and writing a
// 1920x1080 24-bit DIB and an 8-bit RLE DIB, reading a 4-bit RLE DIB, and
// vrnReduceBits Floyd-Steinberg from 8U to 1U.
#include <cstring>
#include <random>
#include <vector>

#include "bench_util.h"

#if VRN_BENCH_OPENCV
#include <opencv2/imgcodecs.hpp>
#endif

namespace {

using vrnbench::BenchImage;
using vrnbench::kHeight;
using vrnbench::kWidth;

// A packed DIB behind a 14-byte file header, written by vrnConvertToDIB.
struct Bmp {
  std::vector<uint8_t> bytes;
  BITMAPINFOHEADER* dib() { return reinterpret_cast<BITMAPINFOHEADER*>(bytes.data() + 14); }
};

Bmp makeBmp(VrnImage* image, int bitCount, uint32_t compression) {
  const size_t entries = bitCount <= 8 ? (size_t{1} << bitCount) : 0;
  const size_t row = (static_cast<size_t>(image->width) * bitCount + 31) / 32 * 4;
  Bmp b;
  b.bytes.assign(14 + 40 + 4 * entries + row * image->height, 0);
  BITMAPINFOHEADER* h = b.dib();
  h->biSize = 40;
  h->biWidth = image->width;
  h->biHeight = image->height;
  h->biPlanes = 1;
  h->biBitCount = static_cast<uint16_t>(bitCount);
  h->biCompression = compression;
  vrnConvertToDIB(image, h, VRN_DITHER_NONE, bitCount <= 8 ? 1 : 0);
  const uint32_t dataAt = static_cast<uint32_t>(14 + 40 + 4 * entries);
  const uint32_t size = h->biCompression == BI_RGB ? static_cast<uint32_t>(b.bytes.size()) : dataAt + h->biSizeImage;
  b.bytes.resize(size);
  b.bytes[0] = 'B', b.bytes[1] = 'M';
  std::memcpy(&b.bytes[2], &size, 4);
  std::memcpy(&b.bytes[10], &dataAt, 4);
  return b;
}

// A gray image of horizontal runs (1 to 40 pixels of one level).
void fillRuns(VrnImage* image) {
  std::mt19937 rng(3);
  for (int y = 0; y < image->height; ++y) {
    char* row = image->imageData + static_cast<size_t>(y) * image->widthStep;
    for (int x = 0; x < image->width;) {
      const int n = 1 + static_cast<int>(rng() % 40);
      const char v = static_cast<char>(rng());
      for (int i = 0; i < n && x < image->width; ++i, ++x) row[x] = v;
    }
  }
}

void BM_ReadDib24_vrn(benchmark::State& state) {
  BenchImage src(VRN_DEPTH_8U, 3), dst(VRN_DEPTH_8U, 3);
  Bmp bmp = makeBmp(src.get(), 24, BI_RGB);
  for (auto _ : state) vrnConvertFromDIB(bmp.dib(), dst.get());
  vrnbench::setBytes(state, src.bytes());
}
BENCHMARK(BM_ReadDib24_vrn)->Unit(benchmark::kMillisecond);

void BM_WriteDib24_vrn(benchmark::State& state) {
  BenchImage src(VRN_DEPTH_8U, 3);
  Bmp bmp = makeBmp(src.get(), 24, BI_RGB);
  for (auto _ : state) vrnConvertToDIB(src.get(), bmp.dib(), VRN_DITHER_NONE, 0);
  vrnbench::setBytes(state, src.bytes());
}
BENCHMARK(BM_WriteDib24_vrn)->Unit(benchmark::kMillisecond);

void BM_ReadRle8_vrn(benchmark::State& state) {
  BenchImage src(VRN_DEPTH_8U, 1), dst(VRN_DEPTH_8U, 1);
  fillRuns(src.get());
  Bmp bmp = makeBmp(src.get(), 8, BI_RLE8);
  if (bmp.dib()->biCompression != BI_RLE8) state.SkipWithError("not compressed");
  for (auto _ : state) vrnConvertFromDIB(bmp.dib(), dst.get());
  vrnbench::setBytes(state, src.bytes());
}
BENCHMARK(BM_ReadRle8_vrn)->Unit(benchmark::kMillisecond);

// The same runs quantised to 16 gray levels, as a BI_RLE4 DIB.
void fillRuns16(VrnImage* image) {
  fillRuns(image);
  for (int y = 0; y < image->height; ++y) {
    char* row = image->imageData + static_cast<size_t>(y) * image->widthStep;
    for (int x = 0; x < image->width; ++x) row[x] = static_cast<char>(row[x] & 0xF0);
  }
}

void BM_ReadRle4_vrn(benchmark::State& state) {
  BenchImage src(VRN_DEPTH_8U, 1), dst(VRN_DEPTH_8U, 1);
  fillRuns16(src.get());
  Bmp bmp = makeBmp(src.get(), 4, BI_RLE4);
  if (bmp.dib()->biCompression != BI_RLE4) state.SkipWithError("not compressed");
  for (auto _ : state) vrnConvertFromDIB(bmp.dib(), dst.get());
  vrnbench::setBytes(state, src.bytes());
}
BENCHMARK(BM_ReadRle4_vrn)->Unit(benchmark::kMillisecond);

void BM_WriteRle8_vrn(benchmark::State& state) {
  BenchImage src(VRN_DEPTH_8U, 1);
  fillRuns(src.get());
  Bmp bmp = makeBmp(src.get(), 8, BI_RLE8);
  const std::vector<uint8_t> fresh = bmp.bytes;
  for (auto _ : state) {
    BITMAPINFOHEADER* h = bmp.dib();
    h->biCompression = BI_RLE8;  // compression rewrites the header each time
    vrnConvertToDIB(src.get(), h, VRN_DITHER_NONE, 0);
  }
  vrnbench::setBytes(state, src.bytes());
}
BENCHMARK(BM_WriteRle8_vrn)->Unit(benchmark::kMillisecond);

void BM_ReduceBitsFs8uTo1u_vrn(benchmark::State& state) {
  BenchImage src(VRN_DEPTH_8U, 1);
  char m[4] = {'G', 'R', 'A', 'Y'}, s[4] = {'G', 0, 0, 0};
  VrnImage* dst = vrnCreateImageHeader(1, 0, VRN_DEPTH_1U, m, s, 0, 0, 4, kWidth, kHeight, nullptr, nullptr,
                                       nullptr, nullptr);
  vrnAllocateImage(dst, 0, 0);
  for (auto _ : state) vrnReduceBits(src.get(), dst, 0, VRN_DITHER_FS, 2);
  vrnbench::setBytes(state, src.bytes());
  vrnDeallocate(dst, VRN_FREE_HEADER | VRN_FREE_DATA);
}
BENCHMARK(BM_ReduceBitsFs8uTo1u_vrn)->Unit(benchmark::kMillisecond);

#if VRN_BENCH_OPENCV
void BM_ReadDib24_cv(benchmark::State& state) {
  (void)vrnbench::kOpenCvSingleThread;
  BenchImage src(VRN_DEPTH_8U, 3);
  Bmp bmp = makeBmp(src.get(), 24, BI_RGB);
  cv::Mat out;
  for (auto _ : state) cv::imdecode(bmp.bytes, cv::IMREAD_COLOR, &out);
  vrnbench::setBytes(state, src.bytes());
}
BENCHMARK(BM_ReadDib24_cv)->Unit(benchmark::kMillisecond);

void BM_WriteDib24_cv(benchmark::State& state) {
  (void)vrnbench::kOpenCvSingleThread;
  BenchImage src(VRN_DEPTH_8U, 3);
  std::vector<uint8_t> out;
  for (auto _ : state) cv::imencode(".bmp", src.mat(), out);
  vrnbench::setBytes(state, src.bytes());
}
BENCHMARK(BM_WriteDib24_cv)->Unit(benchmark::kMillisecond);

void BM_ReadRle8_cv(benchmark::State& state) {
  (void)vrnbench::kOpenCvSingleThread;
  BenchImage src(VRN_DEPTH_8U, 1);
  fillRuns(src.get());
  Bmp bmp = makeBmp(src.get(), 8, BI_RLE8);
  cv::Mat out;
  for (auto _ : state) cv::imdecode(bmp.bytes, cv::IMREAD_GRAYSCALE, &out);
  vrnbench::setBytes(state, src.bytes());
}
BENCHMARK(BM_ReadRle8_cv)->Unit(benchmark::kMillisecond);

void BM_ReadRle4_cv(benchmark::State& state) {
  (void)vrnbench::kOpenCvSingleThread;
  BenchImage src(VRN_DEPTH_8U, 1);
  fillRuns16(src.get());
  Bmp bmp = makeBmp(src.get(), 4, BI_RLE4);
  cv::Mat out;
  for (auto _ : state) cv::imdecode(bmp.bytes, cv::IMREAD_GRAYSCALE, &out);
  vrnbench::setBytes(state, src.bytes());
}
BENCHMARK(BM_ReadRle4_cv)->Unit(benchmark::kMillisecond);

// OpenCV writes no RLE: its 8-bit gray BMP of the same image, uncompressed.
void BM_WriteGray8_cv(benchmark::State& state) {
  (void)vrnbench::kOpenCvSingleThread;
  BenchImage src(VRN_DEPTH_8U, 1);
  fillRuns(src.get());
  std::vector<uint8_t> out;
  for (auto _ : state) cv::imencode(".bmp", src.mat(), out);
  vrnbench::setBytes(state, src.bytes());
}
BENCHMARK(BM_WriteGray8_cv)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

// Test images of any depth, layout, size, ROI, COI, alpha and mask, with
// seeded content that covers the whole buffer (row padding included), and
// helpers to read, write, snapshot and compare them.  Buffers are the test's
// own, sized exactly imageSize and aligned to the image's align but not to
// twice that, so that an overrun or a hidden alignment assumption shows.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "vrn.h"

namespace vrntest {

using Rng = std::mt19937_64;

// All depths, in the order of the depth list.
inline constexpr int kAllDepthWords[] = {VRN_DEPTH_1U, VRN_DEPTH_8U, VRN_DEPTH_8S, VRN_DEPTH_16U, VRN_DEPTH_16S, VRN_DEPTH_32S, VRN_DEPTH_32F};
const char* depthName(int depth);
// Bytes of one sample (0 for 1U).
int sampleBytes(int depth);
// Range of a depth as doubles (1U: 0..1; 32F: lowest..max finite).
double depthMin(int depth);
double depthMax(int depth);

// What fills the samples of a new image.
enum class Content {
  kRandom,    // random values of the depth (floats in [-1000, 1000])
  kEdgeRich,  // random, with min, max, 0 and +-1 of the depth mixed in
  kZero,      // every byte 0
};

// The mask of an image: a 1-bit, one-channel image of its own.
struct MaskSpec {
  int width = 8, height = 8, align = 4;
  bool hasRoi = false;
  VrnROI roi{};         // coi is kept as given (legal masks use 0 or 1)
  double density = 0.5; // probability of a set bit
  uint64_t seed = 99;
};

// Everything that describes a test image.  Setters chain.
struct ImageSpec {
  int depth = VRN_DEPTH_8U, nChannels = 1, alphaChannel = 0;
  int dataOrder = VRN_DATA_ORDER_PIXEL, origin = VRN_ORIGIN_TOP, align = 4;
  int width = 16, height = 8;
  bool hasRoi = false;
  VrnROI roi{};
  bool hasMask = false;
  MaskSpec mask{};
  Content content = Content::kRandom;
  uint64_t seed = 1;

  ImageSpec() = default;
  ImageSpec(int d, int w, int h, int channels = 1) : depth(d), nChannels(channels), width(w), height(h) {}
  ImageSpec& channels(int n, int alpha = 0) { nChannels = n; alphaChannel = alpha; return *this; }
  ImageSpec& withAlpha() { alphaChannel = nChannels; return *this; }
  ImageSpec& planes() { dataOrder = VRN_DATA_ORDER_PLANE; return *this; }
  ImageSpec& order(int o) { dataOrder = o; return *this; }
  ImageSpec& bottomUp() { origin = VRN_ORIGIN_BOTTOM; return *this; }
  ImageSpec& aligned(int a) { align = a; return *this; }
  ImageSpec& size(int w, int h) { width = w; height = h; return *this; }
  ImageSpec& withRoi(int coi, int x, int y, int w, int h) { hasRoi = true; roi = VrnROI{coi, x, y, w, h}; return *this; }
  ImageSpec& withCoi(int coi) { return withRoi(coi, 0, 0, width, height); }
  ImageSpec& withMask(const MaskSpec& m) { hasMask = true; mask = m; return *this; }
  ImageSpec& fill(Content c) { content = c; return *this; }
  ImageSpec& seeded(uint64_t s) { seed = s; return *this; }
  std::string describe() const;
};

// An image that owns its header, buffer, ROI and mask (with the mask's ROI).
// Movable, not copyable; clone() makes a deep copy with the same bytes.
class TestImage {
 public:
  TestImage() = default;
  explicit TestImage(const ImageSpec& desc);
  ~TestImage();
  TestImage(TestImage&& other) noexcept;
  TestImage& operator=(TestImage&& other) noexcept;
  TestImage(const TestImage&) = delete;
  TestImage& operator=(const TestImage&) = delete;

  VrnImage* get() const { return image_; }
  VrnImage* operator->() const { return image_; }
  operator VrnImage*() const { return image_; }
  const ImageSpec& desc() const { return desc_; }
  // The mask image, or null.
  VrnImage* mask() const { return image_ ? image_->maskROI : nullptr; }

  // A deep copy: same record fields, same bytes, own ROI and mask.
  TestImage clone() const;
  // Refills the buffer (padding included) from a new seed.
  void refill(uint64_t seed, Content content);
  // Drops the mask (frees it and clears maskROI).
  void removeMask();
  // Replaces the ROI (or removes it when hasRoi is false).
  void setRoi(bool hasRoi, const VrnROI& roi = {});

 private:
  void release();
  ImageSpec desc_{};
  VrnImage* image_ = nullptr;
  void* block_ = nullptr;      // the raw block behind imageData
  void* maskBlock_ = nullptr;  // the raw block behind the mask's imageData
};

// A full copy of an image buffer (imageSize bytes).
using Snapshot = std::vector<uint8_t>;
Snapshot snapshot(const VrnImage* image);

// Byte-for-byte comparison of two plain buffers of equal size; on a
// difference, tells where (row, plane, byte; padding or not).
testing::AssertionResult sameBytes(const VrnImage* expected, const VrnImage* actual);
testing::AssertionResult sameBytes(const Snapshot& expected, const VrnImage* actual);
// Like sameBytes, but only the bytes of pixels are compared; row padding
// and rows past the image are skipped.
testing::AssertionResult samePixels(const VrnImage* expected, const VrnImage* actual);

// A byte as "0x1f".
std::string hexByte(uint8_t b);

// Where a byte of the buffer lies: plane, stored row, byte within the row,
// and whether that byte is row padding.
std::string describeOffset(const VrnImage* image, size_t offset);

// One sample in stored coordinates (x column, y stored row, c channel from
// 0), as a double; 1U reads one bit.
double sampleAt(const VrnImage* image, int x, int y, int c = 0);
// Writes a sample (saturated to the depth; 1U: nonzero sets the bit).
void setSample(VrnImage* image, int x, int y, int c, double value);
// Byte offset of a sample (1U: of its byte) from imageData.
size_t sampleOffset(const VrnImage* image, int x, int y, int c);
// A plain record with the layout (depth, channels, order, align) of `layout`
// over another buffer: a tile, or a region or row a reader returned.  No ROI,
// mask or tiles.  Read it with sampleAt.
VrnImage viewOf(const VrnImage* layout, char* data, int width, int height, int widthStep);

// The clipped ROI of an image with the size clamped to 0 (x, y as stored).
struct Rect { int x = 0, y = 0, width = 0, height = 0; };
Rect clippedRect(const VrnImage* image);
// The smallest width and height of the clipped ROIs of the images (nulls
// skipped) and of their masks: the size of an operation's rectangle.
Rect operationSize(std::initializer_list<const VrnImage*> images);
// Channels an operation works on in an image: the COI alone, else all but alpha.
std::vector<int> operatedChannels(const VrnImage* image);

// A random call: the specs of its sources and its destination.
struct CallSpec {
  std::vector<ImageSpec> sources;  // 1 or 2
  ImageSpec dst;
  // Source i is the destination record itself (its desc is dst's).
  bool sourceIsDst[2] = {false, false};
  std::string describe() const;
};

// Choices for random calls.
struct CallOptions {
  int sources = 2;
  std::vector<int> depths = {VRN_DEPTH_8U, VRN_DEPTH_8S, VRN_DEPTH_16U, VRN_DEPTH_16S, VRN_DEPTH_32S, VRN_DEPTH_32F};
  int maxWidth = 70, maxHeight = 40;
  double roiChance = 0.5, maskChance = 0.2, aliasChance = 0.1;
  bool allowCoi = true, allowAlpha = true, allowPlane = true;
};

// A legal random call from a seed: one depth and order for all images,
// channel counts that agree (COI, alpha or plain channels), random sizes,
// ROIs that may reach outside, masks with ROIs at any bit offset, and
// sometimes a source that is the destination.
CallSpec randomCall(uint64_t seed, const CallOptions& options = {});

}  // namespace vrntest

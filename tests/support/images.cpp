// Test images: building, filling, sample access, snapshots, comparison and
// random call specs.  Every buffer is filled in full, padding included, so a
// write into padding is as visible as a write into a pixel.
#include "support/images.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <sstream>
#include <utility>

namespace vrntest {
namespace {

int bitsOf(int depth) { return depth & VRN_DEPTH_MASK; }

// A buffer of `size` bytes aligned to `align` but not to 2 * align.
char* allocateBuffer(int size, int align, void** block) {
  if (posix_memalign(block, 64, static_cast<size_t>(size) + static_cast<size_t>(align)) != 0) return nullptr;
  return static_cast<char*>(*block) + align;
}

char kGray[4] = {'G', 'R', 'A', 'Y'};
char kG[4] = {'G', 0, 0, 0};

// Bytes of pixel data at the start of a row (per plane in plane order).
int64_t rowBytes(const VrnImage* image) {
  const int64_t perRow = static_cast<int64_t>(bitsOf(image->depth)) * image->width *
                         (image->dataOrder == VRN_DATA_ORDER_PLANE ? 1 : image->nChannels);
  return (perRow + 7) / 8;
}

double randomValue(Rng& rng, int depth, Content content) {
  const double lo = depthMin(depth), hi = depthMax(depth);
  if (content == Content::kEdgeRich && rng() % 3 == 0) {
    const bool isFloat = depth == VRN_DEPTH_32F;
    const double edges[] = {lo, hi, 0, 1, isFloat ? hi : hi - 1, -1, isFloat ? lo : lo + 1};
    return edges[rng() % (lo < 0 ? 7 : 5)];
  }
  if (depth == VRN_DEPTH_32F) {
    // Multiples of 1/64 in [-1000, 1000]: exact in float, sums stay exact.
    return static_cast<double>(static_cast<int64_t>(rng() % 128001) - 64000) / 64.0;
  }
  const uint64_t span = static_cast<uint64_t>(hi - lo) + 1;
  return lo + static_cast<double>(rng() % span);
}

void fillMaskBits(VrnImage* mask, uint64_t seed, double density) {
  Rng rng(seed);
  std::bernoulli_distribution bit(std::clamp(density, 0.0, 1.0));
  std::memset(mask->imageData, 0, static_cast<size_t>(mask->imageSize));
  for (int j = 0; j < mask->imageSize * 8; ++j)
    if (bit(rng)) mask->imageData[j / 8] = static_cast<char>(mask->imageData[j / 8] | (0x80 >> (j % 8)));
}

// Random bytes everywhere, padding included, then samples of the depth by `content`.
void fillImage(VrnImage* image, uint64_t seed, Content content) {
  if (content == Content::kZero) {
    std::memset(image->imageData, 0, static_cast<size_t>(image->imageSize));
    return;
  }
  Rng rng(seed * 0x9E3779B97F4A7C15ull + 17);
  for (int i = 0; i < image->imageSize; ++i) image->imageData[i] = static_cast<char>(rng() >> 24);
  if (image->depth == VRN_DEPTH_1U) return;  // random bits are all the values there are
  for (int c = 0; c < image->nChannels; ++c)
    for (int y = 0; y < image->height; ++y)
      for (int x = 0; x < image->width; ++x)
        setSample(image, x, y, c, randomValue(rng, image->depth, content));
}

// Name and range per depth, in the order of kAllDepthWords, then an unknown depth.
struct DepthInfo {
  const char* name;
  double min, max;
};
const DepthInfo& depthInfo(int depth) {
  static const DepthInfo infos[] = {{"1U", 0, 1}, {"8U", 0, 255}, {"8S", -128, 127}, {"16U", 0, 65535},
                                    {"16S", -32768, 32767}, {"32S", -2147483648.0, 2147483647.0},
                                    {"32F", std::numeric_limits<float>::lowest(), std::numeric_limits<float>::max()},
                                    {"bad depth", 0, 0}};
  int i = 0;
  while (i < 7 && kAllDepthWords[i] != depth) ++i;
  return infos[i];
}

}  // namespace

const char* depthName(int depth) { return depthInfo(depth).name; }
int sampleBytes(int depth) { return bitsOf(depth) / 8; }
double depthMin(int depth) { return depthInfo(depth).min; }
double depthMax(int depth) { return depthInfo(depth).max; }

std::string ImageSpec::describe() const {
  std::ostringstream s;
  s << depthName(depth) << " " << width << "x" << height << " ch" << nChannels << " alpha" << alphaChannel
    << " order" << dataOrder << " align" << align << " origin" << origin;
  if (hasRoi) s << " roi{" << roi.coi << "; " << roi.xOffset << "," << roi.yOffset << " " << roi.width << "x" << roi.height << "}";
  if (hasMask)
    s << " mask " << mask.width << "x" << mask.height << " roi{" << mask.hasRoi << "; " << mask.roi.xOffset << ","
      << mask.roi.yOffset << " " << mask.roi.width << "x" << mask.roi.height << "} density " << mask.density;
  s << " content" << static_cast<int>(content) << " seed " << seed;
  return s.str();
}

// ---------------------------------------------------------------------------
// TestImage

namespace {
// A header with a buffer of the test's own; a refused header fails the test.
VrnImage* makeRecord(const ImageSpec& d, VrnROI* roi, VrnImage* mask, void** block) {
  VrnImage* image = vrnCreateImageHeader(d.nChannels, d.alphaChannel, d.depth, kGray, kG, d.dataOrder, d.origin,
                                         d.align, d.width, d.height, roi, mask, nullptr, nullptr);
  if (image) image->imageData = allocateBuffer(image->imageSize, image->align, block);
  else ADD_FAILURE() << "header refused: " << d.describe();
  return image;
}
}  // namespace

TestImage::TestImage(const ImageSpec& desc) : desc_(desc) {
  VrnImage* mask = nullptr;
  if (desc.hasMask) {
    const MaskSpec& m = desc.mask;
    ImageSpec maskDesc = ImageSpec(VRN_DEPTH_1U, m.width, m.height).aligned(m.align);
    if (!(mask = makeRecord(maskDesc, m.hasRoi ? new VrnROI(m.roi) : nullptr, nullptr, &maskBlock_))) return;
    fillMaskBits(mask, m.seed, m.density);
  }
  if ((image_ = makeRecord(desc, desc.hasRoi ? new VrnROI(desc.roi) : nullptr, mask, &block_)))
    fillImage(image_, desc.seed, desc.content);
}

TestImage::~TestImage() { release(); }

TestImage::TestImage(TestImage&& o) noexcept { *this = std::move(o); }

TestImage& TestImage::operator=(TestImage&& o) noexcept {
  std::swap(desc_, o.desc_);
  std::swap(image_, o.image_);
  std::swap(block_, o.block_);
  std::swap(maskBlock_, o.maskBlock_);
  return *this;
}

void TestImage::refill(uint64_t seed, Content content) {
  desc_.seed = seed, desc_.content = content;
  fillImage(image_, seed, content);
}

void TestImage::removeMask() {
  if (!image_ || !image_->maskROI) return;
  delete image_->maskROI->roi;
  vrnFree(image_->maskROI);
  std::free(maskBlock_);
  maskBlock_ = nullptr, image_->maskROI = nullptr;
}

void TestImage::setRoi(bool hasRoi, const VrnROI& roi) {
  delete image_->roi;
  image_->roi = hasRoi ? new VrnROI(roi) : nullptr;
  desc_.hasRoi = hasRoi, desc_.roi = roi;
}

void TestImage::release() {
  if (!image_) return;
  removeMask();
  delete image_->roi;
  vrnFree(image_);
  std::free(block_);
  image_ = nullptr, block_ = nullptr;
}

namespace {
// A copy of a record with its own ROI and buffer (no mask).
VrnImage* copyRecord(const VrnImage* from, void** block) {
  auto* copy = static_cast<VrnImage*>(vrnMalloc(sizeof(VrnImage)));
  *copy = *from;
  copy->roi = from->roi ? new VrnROI(*from->roi) : nullptr, copy->maskROI = nullptr;
  copy->imageData = allocateBuffer(from->imageSize, from->align, block);
  std::memcpy(copy->imageData, from->imageData, static_cast<size_t>(from->imageSize));
  return copy;
}
}  // namespace

TestImage TestImage::clone() const {
  TestImage copy;
  copy.desc_ = desc_;
  if (image_) copy.image_ = copyRecord(image_, &copy.block_);
  if (image_ && image_->maskROI) copy.image_->maskROI = copyRecord(image_->maskROI, &copy.maskBlock_);
  return copy;
}

// ---------------------------------------------------------------------------
// Content and samples


size_t sampleOffset(const VrnImage* image, int x, int y, int c) {
  const size_t step = static_cast<size_t>(image->widthStep);
  if (image->depth == VRN_DEPTH_1U) return static_cast<size_t>(y) * step + static_cast<size_t>(x) / 8;
  const size_t bytes = static_cast<size_t>(sampleBytes(image->depth));
  if (image->dataOrder == VRN_DATA_ORDER_PLANE)
    return (static_cast<size_t>(c) * image->height + y) * step + x * bytes;
  return static_cast<size_t>(y) * step + (static_cast<size_t>(x) * image->nChannels + c) * bytes;
}

namespace {
// Calls f with a value of the sample type of a byte-sized depth (1U excluded).
template <class F>
auto withSampleType(int depth, F f) {
  switch (depth) {
    case VRN_DEPTH_8S: return f(int8_t{});
    case VRN_DEPTH_16U: return f(uint16_t{});
    case VRN_DEPTH_16S: return f(int16_t{});
    case VRN_DEPTH_32S: return f(int32_t{});
    case VRN_DEPTH_32F: return f(float{});
    default: return f(uint8_t{});
  }
}
}  // namespace

double sampleAt(const VrnImage* image, int x, int y, int c) {
  const char* p = image->imageData + sampleOffset(image, x, y, c);
  if (image->depth == VRN_DEPTH_1U) return (static_cast<uint8_t>(*p) >> (7 - x % 8)) & 1;
  return withSampleType(image->depth, [&](auto v) {
    std::memcpy(&v, p, sizeof v);
    return static_cast<double>(v);
  });
}

VrnImage viewOf(const VrnImage* layout, char* data, int width, int height, int widthStep) {
  VrnImage view = *layout;
  view.imageData = data, view.dataBlock = nullptr, view.roi = nullptr, view.maskROI = nullptr, view.tileInfo = nullptr;
  view.width = width, view.height = height, view.widthStep = widthStep;
  view.imageSize = widthStep * height * (view.dataOrder == VRN_DATA_ORDER_PLANE ? view.nChannels : 1);
  return view;
}

void setSample(VrnImage* image, int x, int y, int c, double value) {
  char* p = image->imageData + sampleOffset(image, x, y, c);
  const int depth = image->depth;
  const int bit = 0x80 >> (x % 8);
  if (depth == VRN_DEPTH_1U) return void(*p = static_cast<char>(value != 0 ? (*p | bit) : (*p & ~bit)));
  if (depth != VRN_DEPTH_32F) value = std::clamp(std::nearbyint(value), depthMin(depth), depthMax(depth));
  withSampleType(depth, [&](auto v) {
    v = static_cast<decltype(v)>(value);
    std::memcpy(p, &v, sizeof v);
  });
}

// ---------------------------------------------------------------------------
// Snapshots and comparison

Snapshot snapshot(const VrnImage* image) {
  const auto* p = reinterpret_cast<const uint8_t*>(image->imageData);
  return Snapshot(p, p + image->imageSize);
}

std::string hexByte(uint8_t b) {
  char text[8];
  std::snprintf(text, sizeof text, "0x%02x", b);
  return text;
}

std::string describeOffset(const VrnImage* image, size_t offset) {
  std::ostringstream s;
  const size_t step = static_cast<size_t>(image->widthStep), planeBytes = step * static_cast<size_t>(image->height);
  const size_t rest = image->dataOrder == VRN_DATA_ORDER_PLANE && planeBytes ? offset % planeBytes : offset;
  if (rest != offset || image->dataOrder == VRN_DATA_ORDER_PLANE) s << "plane " << (planeBytes ? offset / planeBytes : 0) << ", ";
  const size_t byte = step ? rest % step : rest;
  s << "row " << (step ? rest / step : 0) << ", byte " << byte
    << (static_cast<int64_t>(byte) >= rowBytes(image) ? " (row padding)" : "") << " [offset " << offset << "]";
  return s.str();
}

namespace {

testing::AssertionResult compareBuffers(const VrnImage* layout, const uint8_t* expected, const uint8_t* actual, size_t size,
                                        bool pixelsOnly) {
  const size_t step = static_cast<size_t>(layout->widthStep);
  const int64_t pixelBytes = rowBytes(layout);
  const int tailBits = layout->depth == VRN_DEPTH_1U ? layout->width % 8 : 0;
  for (size_t i = 0; i < size; ++i) {
    uint8_t diff = expected[i] ^ actual[i];
    if (!diff) continue;
    if (pixelsOnly) {
      const int64_t byte = static_cast<int64_t>(step ? i % step : i);
      if (byte >= pixelBytes) continue;
      if (tailBits && byte == pixelBytes - 1) diff &= static_cast<uint8_t>(0xFF00 >> tailBits);
      if (!diff) continue;
    }
    return testing::AssertionFailure()
           << "bytes differ at " << describeOffset(layout, i) << ": expected " << hexByte(expected[i])
           << ", got " << hexByte(actual[i]);
  }
  return testing::AssertionSuccess();
}

}  // namespace

testing::AssertionResult sameBytes(const VrnImage* expected, const VrnImage* actual) {
  return sameBytes(snapshot(expected), actual);
}

testing::AssertionResult sameBytes(const Snapshot& expected, const VrnImage* actual) {
  if (expected.size() != static_cast<size_t>(actual->imageSize))
    return testing::AssertionFailure() << "buffer sizes differ: " << expected.size() << " vs " << actual->imageSize;
  return compareBuffers(actual, expected.data(), reinterpret_cast<const uint8_t*>(actual->imageData), expected.size(), false);
}

testing::AssertionResult samePixels(const VrnImage* expected, const VrnImage* actual) {
  if (expected->imageSize != actual->imageSize || expected->widthStep != actual->widthStep)
    return testing::AssertionFailure() << "layouts differ";
  return compareBuffers(expected, reinterpret_cast<const uint8_t*>(expected->imageData),
                        reinterpret_cast<const uint8_t*>(actual->imageData), static_cast<size_t>(expected->imageSize), true);
}

// ---------------------------------------------------------------------------
// Rectangles and channels

Rect clippedRect(const VrnImage* image) {
  Rect r{0, 0, image->width, image->height};
  if (const VrnROI* roi = image->roi) {
    r.x = roi->xOffset;
    r.y = roi->yOffset;
    r.width = std::max(0, std::min(roi->width, image->width - roi->xOffset));
    r.height = std::max(0, std::min(roi->height, image->height - roi->yOffset));
  }
  return r;
}

Rect operationSize(std::initializer_list<const VrnImage*> images) {
  Rect size{0, 0, std::numeric_limits<int>::max(), std::numeric_limits<int>::max()};
  for (const VrnImage* image : images)
    for (const VrnImage* im : {image, image ? static_cast<const VrnImage*>(image->maskROI) : nullptr}) {
      const Rect r = im ? clippedRect(im) : size;
      size.width = std::min(size.width, r.width), size.height = std::min(size.height, r.height);
    }
  return size;
}

std::vector<int> operatedChannels(const VrnImage* image) {
  if (image->roi && image->roi->coi > 0) return {image->roi->coi - 1};
  const int n = image->alphaChannel > 0 ? image->nChannels - 1 : image->nChannels;
  std::vector<int> channels;
  for (int c = 0; c < n; ++c) channels.push_back(c);
  return channels;
}

// ---------------------------------------------------------------------------
// Random specs

namespace {

int pick(Rng& rng, int lo, int hi) { return lo + static_cast<int>(rng() % static_cast<uint64_t>(hi - lo + 1)); }
bool chance(Rng& rng, double p) { return std::uniform_real_distribution<double>(0, 1)(rng) < p; }

VrnROI randomRoi(Rng& rng, int width, int height, int coi) {
  VrnROI r{coi, 0, 0, 0, 0};
  r.xOffset = chance(rng, 0.3) ? 0 : pick(rng, 0, width);
  r.yOffset = chance(rng, 0.3) ? 0 : pick(rng, 0, height);
  // Sometimes beyond the image: the frame clips.
  r.width = chance(rng, 0.5) ? std::max(1, width - r.xOffset) : pick(rng, 1, width + 6);
  r.height = chance(rng, 0.5) ? std::max(1, height - r.yOffset) : pick(rng, 1, height + 6);
  return r;
}

MaskSpec randomMask(Rng& rng, const CallOptions& o) {
  MaskSpec m;
  m.width = pick(rng, 1, o.maxWidth + 8);
  m.height = pick(rng, 1, o.maxHeight + 4);
  m.align = 4 << pick(rng, 0, 3);
  if ((m.hasRoi = chance(rng, 0.5))) m.roi = randomRoi(rng, m.width, m.height, 0);
  const double densities[] = {0.0, 0.5, 0.5, 0.9, 1.0};
  m.density = densities[rng() % 5];
  m.seed = rng();
  return m;
}

// Layout facts shared by all images of a call.
// scheme: 0 plain channels, 1 alpha, 2 COI.
struct Shared {
  int depth, order, scheme, count;
  bool sameSize;
  int width, height;
};

ImageSpec specFor(Rng& rng, const Shared& s, const CallOptions& o) {
  ImageSpec desc;
  desc.depth = s.depth;
  desc.dataOrder = s.order;
  desc.origin = pick(rng, 0, 1);
  desc.align = 4 << pick(rng, 0, 3);
  desc.width = s.sameSize ? s.width : pick(rng, 1, o.maxWidth);
  desc.height = s.sameSize ? s.height : pick(rng, 1, o.maxHeight);
  desc.content = chance(rng, 0.5) ? Content::kEdgeRich : Content::kRandom;
  desc.seed = rng();
  int coi = 0;
  if (s.depth == VRN_DEPTH_1U) {
    desc.nChannels = 1;
    coi = s.scheme == 2 ? pick(rng, 0, 1) : 0;
  } else if (s.scheme == 2) {
    desc.nChannels = pick(rng, 1, 4);
    if (desc.nChannels > 1 && o.allowAlpha && chance(rng, 0.4)) desc.alphaChannel = desc.nChannels;
    // A one-channel image needs no COI to count one channel.
    coi = desc.nChannels == 1 && chance(rng, 0.5) ? 0 : pick(rng, 1, desc.nChannels);
  } else if (s.scheme == 1) {
    const bool alpha = s.count < 4 && chance(rng, 0.5);
    desc.nChannels = s.count + (alpha ? 1 : 0);
    desc.alphaChannel = alpha ? desc.nChannels : 0;
  } else
    desc.nChannels = s.count;
  if ((desc.hasRoi = coi > 0 || chance(rng, o.roiChance)))
    desc.roi = chance(rng, 0.3) ? VrnROI{coi, 0, 0, desc.width, desc.height} : randomRoi(rng, desc.width, desc.height, coi);
  if ((desc.hasMask = chance(rng, o.maskChance))) desc.mask = randomMask(rng, o);
  return desc;
}

Shared randomShared(Rng& rng, const CallOptions& o) {
  Shared s{};
  s.depth = o.depths[rng() % o.depths.size()];
  s.order = o.allowPlane && chance(rng, 0.35) ? VRN_DATA_ORDER_PLANE : VRN_DATA_ORDER_PIXEL;
  const double r = std::uniform_real_distribution<double>(0, 1)(rng);
  s.scheme = (o.allowCoi && r < 0.3) ? 2 : (o.allowAlpha && r < 0.55) ? 1 : 0;
  s.count = s.scheme == 1 ? pick(rng, 1, 3) : pick(rng, 1, 4);
  if (s.depth == VRN_DEPTH_1U && s.scheme != 2) s.scheme = 0, s.count = 1;
  s.sameSize = chance(rng, 0.35);
  s.width = pick(rng, 1, o.maxWidth);
  s.height = pick(rng, 1, o.maxHeight);
  return s;
}

}  // namespace

CallSpec randomCall(uint64_t seed, const CallOptions& options) {
  Rng rng(seed * 0xD1B54A32D192ED03ull + 5);
  const Shared shared = randomShared(rng, options);
  CallSpec call;
  call.dst = specFor(rng, shared, options);
  for (int i = 0; i < options.sources; ++i) {
    call.sourceIsDst[i] = chance(rng, options.aliasChance);
    call.sources.push_back(call.sourceIsDst[i] ? call.dst : specFor(rng, shared, options));
  }
  return call;
}

std::string CallSpec::describe() const {
  std::ostringstream s;
  for (size_t i = 0; i < sources.size(); ++i)
    s << "src" << static_cast<char>('A' + i) << ": " << (sourceIsDst[i] ? "(the destination)" : sources[i].describe()) << "\n";
  s << "dst: " << dst.describe();
  return s.str();
}

}  // namespace vrntest

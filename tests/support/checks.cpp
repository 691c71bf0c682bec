// Target switching, the untouched-outside-the-rectangle check and the
// masked-run check.
#include "support/checks.h"

#include <hwy/targets.h>

#include <algorithm>

namespace vrntest {

void forEachTarget(const std::function<void(int64_t target)>& body) {
  const std::vector<int64_t> targets = hwy::SupportedAndGeneratedTargets();
  EXPECT_FALSE(targets.empty());
  for (int64_t target : targets) {
    hwy::SetSupportedTargetsForTest(target);
    SCOPED_TRACE(std::string("Highway target ") + hwy::TargetName(target));
    EXPECT_EQ(dispatchedTarget(), target) << "dispatch did not switch to " << hwy::TargetName(target);
    body(target);
  }
  hwy::SetSupportedTargetsForTest(0);
}

namespace {

// Per byte of the buffer, the bits that belong to allowed samples.
std::vector<uint8_t> allowedBits(const VrnImage* image, const Rect& rect,
                                 const std::vector<int>& channels, const MaskBits* bit) {
  std::vector<uint8_t> allowed(static_cast<size_t>(image->imageSize), 0);
  const int bytes = sampleBytes(image->depth);
  for (int r = 0; r < rect.height; ++r)
    for (int i = 0; i < rect.width; ++i) {
      if (bit && !(*bit)(i, r)) continue;
      const int x = rect.x + i, y = rect.y + r;
      for (int c : channels) {
        const size_t off = sampleOffset(image, x, y, c);
        if (image->depth == VRN_DEPTH_1U)
          allowed[off] |= static_cast<uint8_t>(0x80 >> (x % 8));
        else
          std::fill_n(allowed.begin() + static_cast<ptrdiff_t>(off), bytes, uint8_t{0xFF});
      }
    }
  return allowed;
}

}  // namespace

testing::AssertionResult onlyRectChanged(const Snapshot& before, const VrnImage* after,
                                         const Rect& rect, const std::vector<int>& channels) {
  if (before.size() != static_cast<size_t>(after->imageSize))
    return testing::AssertionFailure() << "snapshot size differs from the image's";
  const std::vector<uint8_t> allowed = allowedBits(after, rect, channels, nullptr);
  const auto* now = reinterpret_cast<const uint8_t*>(after->imageData);
  for (size_t i = 0; i < before.size(); ++i) {
    const uint8_t diff = static_cast<uint8_t>((before[i] ^ now[i]) & ~allowed[i]);
    if (diff)
      return testing::AssertionFailure()
             << "changed outside the rectangle {" << rect.x << "," << rect.y << " " << rect.width
             << "x" << rect.height << "}: " << describeOffset(after, i) << ", was " << hexByte(before[i])
             << ", now " << hexByte(now[i])
             << (allowed[i] ? " (another bit of an allowed byte)" : "");
  }
  return testing::AssertionSuccess();
}

testing::AssertionResult onlyRectChanged(const Snapshot& before, const VrnImage* after, int width,
                                         int height) {
  Rect rect = clippedRect(after);
  rect.width = width;
  rect.height = height;
  return onlyRectChanged(before, after, rect, operatedChannels(after));
}

testing::AssertionResult sameSamples(const VrnImage* expected, const Rect& from, const VrnImage* actual,
                                     int x, int y, std::vector<int> channels,
                                     std::vector<int> actualChannels) {
  if (channels.empty())
    for (int c = 0; c < expected->nChannels; ++c) channels.push_back(c);
  if (actualChannels.empty()) actualChannels = channels;
  if (expected->depth != actual->depth || channels.size() != actualChannels.size())
    return testing::AssertionFailure() << "depths or channel lists differ";
  const size_t bytes = static_cast<size_t>(sampleBytes(expected->depth));
  for (int r = 0; r < from.height; ++r)
    for (int i = 0; i < from.width; ++i)
      for (size_t k = 0; k < channels.size(); ++k) {
        const int ex = from.x + i, ey = from.y + r, ax = x + i, ay = y + r;
        const bool same =
            bytes == 0 ? sampleAt(expected, ex, ey) == sampleAt(actual, ax, ay)
                       : std::memcmp(expected->imageData + sampleOffset(expected, ex, ey, channels[k]),
                                     actual->imageData + sampleOffset(actual, ax, ay, actualChannels[k]),
                                     bytes) == 0;
        if (!same)
          return testing::AssertionFailure()
                 << "sample (" << ax << "," << ay << ") channel " << actualChannels[k] << " is "
                 << sampleAt(actual, ax, ay, actualChannels[k]) << ", expected " << sampleAt(expected, ex, ey, channels[k])
                 << " from (" << ex << "," << ey << ") channel " << channels[k];
      }
  return testing::AssertionSuccess();
}

MaskBits mergedMaskBits(std::vector<const VrnImage*> masks) {
  return [masks](int i, int r) {
    for (const VrnImage* m : masks) {
      if (!m) continue;
      const Rect mr = clippedRect(m);
      const int x = mr.x + i, y = mr.y + r;
      const auto* row = reinterpret_cast<const uint8_t*>(m->imageData) +
                        static_cast<size_t>(y) * static_cast<size_t>(m->widthStep);
      if (!((row[x >> 3] >> (7 - (x & 7))) & 1)) return false;
    }
    return true;
  };
}

testing::AssertionResult maskedMatchesUnmasked(const Snapshot& before, const VrnImage* masked,
                                               const VrnImage* unmasked, const Rect& rect,
                                               const std::vector<int>& channels,
                                               const MaskBits& bit) {
  if (before.size() != static_cast<size_t>(masked->imageSize) ||
      masked->imageSize != unmasked->imageSize)
    return testing::AssertionFailure() << "buffer sizes differ";
  const std::vector<uint8_t> take = allowedBits(masked, rect, channels, &bit);
  const auto* got = reinterpret_cast<const uint8_t*>(masked->imageData);
  const auto* full = reinterpret_cast<const uint8_t*>(unmasked->imageData);
  for (size_t i = 0; i < before.size(); ++i) {
    const uint8_t expected = static_cast<uint8_t>((full[i] & take[i]) | (before[i] & ~take[i]));
    if (expected != got[i])
      return testing::AssertionFailure()
             << "masked run differs at " << describeOffset(masked, i) << ": expected " << hexByte(expected)
             << " (" << (take[i] ? "mask set: the unmasked result" : "mask clear or outside: untouched")
             << "), got " << hexByte(got[i]);
  }
  return testing::AssertionSuccess();
}

}  // namespace vrntest

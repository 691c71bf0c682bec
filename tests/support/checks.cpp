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
std::vector<uint8_t> allowedBits(const VrnImage* image, const Rect& rect, const std::vector<int>& channels,
                                 const MaskBits* bit) {
  std::vector<uint8_t> allowed(static_cast<size_t>(image->imageSize), 0);
  for (int r = 0; r < rect.height; ++r)
    for (int i = 0; i < rect.width; ++i) {
      if (bit && !(*bit)(i, r)) continue;
      const int x = rect.x + i;
      for (int c : channels) {
        const size_t off = sampleOffset(image, x, rect.y + r, c);
        if (image->depth == VRN_DEPTH_1U) allowed[off] |= static_cast<uint8_t>(0x80 >> (x % 8));
        else std::fill_n(allowed.begin() + static_cast<ptrdiff_t>(off), sampleBytes(image->depth), uint8_t{0xFF});
      }
    }
  return allowed;
}

// Every byte of `got` must equal `taken` on the allowed bits and `before` on the others.
testing::AssertionResult compareAllowed(const Snapshot& before, const VrnImage* got, const uint8_t* taken,
                                        const std::vector<uint8_t>& allowed, const char* what) {
  if (before.size() != static_cast<size_t>(got->imageSize) || allowed.size() != before.size())
    return testing::AssertionFailure() << "buffer sizes differ";
  const auto* now = reinterpret_cast<const uint8_t*>(got->imageData);
  for (size_t i = 0; i < before.size(); ++i) {
    const uint8_t expected = static_cast<uint8_t>((taken[i] & allowed[i]) | (before[i] & ~allowed[i]));
    if (expected != now[i])
      return testing::AssertionFailure() << what << " at " << describeOffset(got, i) << ": was " << hexByte(before[i])
                                         << ", expected " << hexByte(expected) << ", got " << hexByte(now[i])
                                         << (allowed[i] ? " (the byte is partly allowed)" : "");
  }
  return testing::AssertionSuccess();
}

}  // namespace

testing::AssertionResult onlyRectChanged(const Snapshot& before, const VrnImage* after, const Rect& rect,
                                         const std::vector<int>& channels) {
  return compareAllowed(before, after, reinterpret_cast<const uint8_t*>(after->imageData),
                        allowedBits(after, rect, channels, nullptr), "changed outside the rectangle");
}

testing::AssertionResult onlyRectChanged(const Snapshot& before, const VrnImage* after, int width, int height) {
  const Rect corner = clippedRect(after);
  return onlyRectChanged(before, after, Rect{corner.x, corner.y, width, height}, operatedChannels(after));
}

testing::AssertionResult sameSamples(const VrnImage* expected, const Rect& from, const VrnImage* actual, int x, int y,
                                     std::vector<int> channels, std::vector<int> actualChannels) {
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
        const bool same = bytes == 0 ? sampleAt(expected, ex, ey) == sampleAt(actual, ax, ay)
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
      const Rect mr = m ? clippedRect(m) : Rect{};
      if (m && !sampleAt(m, mr.x + i, mr.y + r)) return false;
    }
    return true;
  };
}

testing::AssertionResult maskedMatchesUnmasked(const Snapshot& before, const VrnImage* masked, const VrnImage* unmasked,
                                               const Rect& rect, const std::vector<int>& channels, const MaskBits& bit) {
  if (masked->imageSize != unmasked->imageSize) return testing::AssertionFailure() << "buffer sizes differ";
  return compareAllowed(before, masked, reinterpret_cast<const uint8_t*>(unmasked->imageData),
                        allowedBits(masked, rect, channels, &bit),
                        "masked run differs (set bits take the unmasked result, the rest stays)");
}

}  // namespace vrntest

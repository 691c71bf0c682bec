// The tile server's storage, its byte mapping to the plain image and its
// protocol checks.
#include "support/tile_server.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace vrntest {
namespace {

std::atomic<uint64_t> gSequence{0};

char kModel[4] = {'T', 'I', 'L', 'E'};
char kSeq[4] = {'T', 0, 0, 0};

std::string tileName(int col, int row) {
  std::ostringstream s;
  s << '(' << col << ',' << row << ')';
  return s.str();
}

std::string callText(const TileServer::Call& c) {
  const char letter = c.mode == VRN_TILE_READ ? 'R' : c.mode == VRN_TILE_WRITE ? 'W' : c.mode == VRN_TILE_RELEASE ? 'X' : '?';
  std::ostringstream s;
  s << letter << tileName(c.col, c.row) << (c.withheld ? "!" : "");
  return s.str();
}

}  // namespace

TileServer::TileServer(const TestImage& plain, int tileWidth, int tileHeight, std::string name)
    : name_(std::move(name)), base_(plain.clone()), tileW_(tileWidth), tileH_(tileHeight) {
  const VrnImage* p = base_.get();
  const int bits = p->depth & VRN_DEPTH_MASK;
  const bool planes = p->dataOrder == VRN_DATA_ORDER_PLANE;
  const int64_t alignBits = static_cast<int64_t>(p->align) * 8;
  const int64_t rowBits = static_cast<int64_t>(bits) * tileW_ * (planes ? 1 : p->nChannels);
  tileStep_ = static_cast<int>(((rowBits + alignBits - 1) & -alignBits) / 8);
  tileSize_ = tileStep_ * tileH_ * (planes ? p->nChannels : 1);
  cols_ = (p->width + tileW_ - 1) / tileW_, rows_ = (p->height + tileH_ - 1) / tileH_;

  const size_t n = static_cast<size_t>(cols_) * rows_;
  tiles_.resize(n), blocks_.resize(n), released_.resize(n);
  Rng rng(p->imageSize * 31 + static_cast<uint64_t>(tileW_) * 7 + tileH_);
  for (size_t i = 0; i < n; ++i) {
    if (posix_memalign(&blocks_[i], 64, static_cast<size_t>(tileSize_) + p->align) != 0) blocks_[i] = nullptr;
    tiles_[i] = static_cast<char*>(blocks_[i]) + p->align;
    for (int k = 0; k < tileSize_; ++k) tiles_[i][k] = static_cast<char>(rng() >> 24);
  }
  forEachMappedByte([&](size_t t, size_t tileOff, size_t imageOff) { tiles_[t][tileOff] = p->imageData[imageOff]; });

  VrnROI* roi = p->roi ? new VrnROI(*p->roi) : nullptr;
  VrnTileInfo* info = vrnCreateTileInfo(&TileServer::callback, this, tileW_, tileH_);
  image_ = vrnCreateImageHeader(p->nChannels, p->alphaChannel, p->depth, kModel, kSeq, p->dataOrder, p->origin,
                                p->align, p->width, p->height, roi, p->maskROI, nullptr, info);
  if (!image_) {
    ADD_FAILURE() << "tiled header refused for " << base_.desc().describe();
    return;
  }
  std::memcpy(image_->borderMode, p->borderMode, sizeof image_->borderMode);
  std::memcpy(image_->borderConst, p->borderConst, sizeof image_->borderConst);
}

TileServer::~TileServer() {
  if (image_) {
    delete image_->roi;
    vrnDeleteTileInfo(image_->tileInfo);
    vrnFree(image_);
  }
  for (void* b : blocks_) std::free(b);
}

template <class F>
void TileServer::forEachMappedByte(F f) const {
  const VrnImage* p = base_.get();
  const bool planes = p->dataOrder == VRN_DATA_ORDER_PLANE;
  const int64_t tileRowBytes = static_cast<int64_t>(p->depth & VRN_DEPTH_MASK) * tileW_ * (planes ? 1 : p->nChannels) / 8;
  const int64_t step = p->widthStep;
  for (int row = 0; row < rows_; ++row)
    for (int col = 0; col < cols_; ++col) {
      const size_t t = static_cast<size_t>(row * cols_ + col);
      const int64_t limit = col == cols_ - 1 ? tileStep_ : std::min<int64_t>(tileStep_, tileRowBytes);
      for (int plane = 0; plane < (planes ? p->nChannels : 1); ++plane)
        for (int ty = 0; ty < tileH_; ++ty) {
          const int y = row * tileH_ + ty;
          if (y >= p->height) break;
          const int64_t imageRow = (static_cast<int64_t>(plane) * p->height + y) * step;
          const int64_t tileRow = (static_cast<int64_t>(plane) * tileH_ + ty) * tileStep_;
          for (int64_t i = 0; i < limit; ++i) {
            const int64_t j = col * tileRowBytes + i;
            if (j >= step) break;
            f(t, static_cast<size_t>(tileRow + i), static_cast<size_t>(imageRow + j));
          }
        }
    }
}

TestImage TileServer::toPlain() const {
  TestImage plain = base_.clone();
  copyTo(plain.get());
  return plain;
}

void TileServer::copyTo(VrnImage* plain) const {
  forEachMappedByte([&](size_t t, size_t tileOff, size_t imageOff) { plain->imageData[imageOff] = tiles_[t][tileOff]; });
}

void TileServer::withholdRequest(int k) { withholdAt_ = requests_ + k; }

std::string TileServer::callsText() const {
  std::string s;
  for (const Call& c : calls_) {
    if (!s.empty()) s += ' ';
    s += callText(c);
  }
  return s;
}

void TileServer::violation(const std::string& text) {
  violations_.push_back((name_.empty() ? "" : name_ + ": ") + text + " [calls: " + callsText() + "]");
}

void TileServer::checkReleasedCopy(int index, const char* when) {
  const std::vector<char>& copy = released_[static_cast<size_t>(index)];
  if (copy.empty()) return;
  if (std::memcmp(copy.data(), tiles_[static_cast<size_t>(index)], copy.size()) != 0)
    violation("tile " + tileName(index % cols_, index / cols_) + " was written after its RELEASE (seen " +
              when + ")");
}

void TileServer::callback(const VrnImage* image, int col, int row, int mode) {
  static_cast<TileServer*>(image->tileInfo->id)->serve(image, col, row, mode);
}

void TileServer::serve(const VrnImage* image, int col, int row, int mode) {
  const bool request = mode == VRN_TILE_READ || mode == VRN_TILE_WRITE;
  const bool withhold = request && requests_ == withholdAt_;
  calls_.push_back(Call{image, col, row, mode, gSequence.fetch_add(1), withhold});
  if (image != image_) violation("the callback was given a record other than the tiled image");
  if (failed_) violation("call after a failed request");
  if (col < 0 || col >= cols_ || row < 0 || row >= rows_) {
    image_->tileInfo->tileData = nullptr;
    return violation("tile " + tileName(col, row) + " out of range");
  }
  const int index = row * cols_ + col;
  char* tile = tiles_[static_cast<size_t>(index)];
  if (request) {
    ++requests_;
    image_->tileInfo->tileData = withhold ? nullptr : tile;
    if (withhold) {
      failed_ = true;
      return;
    }
    if (openIndex_ >= 0)
      violation("tile " + tileName(col, row) + " requested while " + tileName(openIndex_ % cols_, openIndex_ / cols_) +
                " is open");
    checkReleasedCopy(index, "at its next request");
    released_[static_cast<size_t>(index)].clear();
    openIndex_ = index;
    openMode_ = mode;
    if (mode == VRN_TILE_READ) openCopy_.assign(tile, tile + tileSize_);
  } else if (mode != VRN_TILE_RELEASE) {
    violation("unknown mode " + std::to_string(mode));
  } else if (openIndex_ != index) {
    violation("RELEASE of " + tileName(col, row) + " which is not open");
  } else {
    if (openMode_ == VRN_TILE_READ && std::memcmp(openCopy_.data(), tile, openCopy_.size()) != 0)
      violation("tile " + tileName(col, row) + " opened for READ was written");
    released_[static_cast<size_t>(index)].assign(tile, tile + tileSize_);
    openIndex_ = -1;
  }
}

testing::AssertionResult TileServer::checkProtocol(bool failureExpected) {
  if (openIndex_ >= 0 && !failed_ && !failureExpected)
    violation("tile " + tileName(openIndex_ % cols_, openIndex_ / cols_) + " left open");
  for (int i = 0; i < cols_ * rows_; ++i)
    if (i != openIndex_) checkReleasedCopy(i, "at the end");
  std::string text;
  for (const std::string& v : violations_) text += v + "\n";
  return violations_.empty() ? testing::AssertionSuccess() : testing::AssertionFailure() << text;
}

std::string mergedCallsText(std::initializer_list<const TileServer*> servers) {
  std::vector<std::pair<uint64_t, std::string>> items;
  for (const TileServer* s : servers)
    if (s)
      for (const TileServer::Call& c : s->calls()) items.emplace_back(c.seq, s->name() + ":" + callText(c));
  std::sort(items.begin(), items.end());
  std::string text;
  for (const auto& item : items) text += (text.empty() ? "" : " ") + item.second;
  return text;
}

}  // namespace vrntest

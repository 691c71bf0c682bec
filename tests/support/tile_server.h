// A tile server: turns a plain test image into a tiled one and serves its
// tiles through the tile callback, recording every call and checking the
// protocol.  Each tile is a small image of the owner's format (row step by
// the row rule for the tile width; in plane order the planes follow after
// tile-height rows); tiles that stick out of the image are full-size tiles.
// Byte i of a tile row is byte (col * tile row bytes + i) of the image row,
// so a tile as wide as the image carries the image's row padding too; tile
// bytes that lie outside the image are random.  Each tile is its own exact
// allocation, so a write past a tile is caught by the address sanitizer.
//
// Protocol checks: every READ or WRITE is closed by exactly one RELEASE
// (except after a failed request), at most one tile of the image is open at
// a time, col and row are in range, the callback is given the tiled record
// itself, a tile opened for READ is not written, and no tile is written after
// its RELEASE (a copy taken at RELEASE is compared at the next request and at
// the end).  The callback finds its server through tileInfo->id.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "support/images.h"

namespace vrntest {

class TileServer {
 public:
  struct Call {
    const VrnImage* image;
    int col, row, mode;
    uint64_t seq;   // order among the calls of all servers
    bool withheld;  // the request was answered with no tile
  };

  // A tiled copy of `plain` (content, ROI values, mask, border state).
  TileServer(const TestImage& plain, int tileWidth, int tileHeight, std::string name = "");
  ~TileServer();
  TileServer(const TileServer&) = delete;
  TileServer& operator=(const TileServer&) = delete;

  VrnImage* image() const { return image_; }
  operator VrnImage*() const { return image_; }
  const std::string& name() const { return name_; }

  // The plain image as the tiles now hold it: a copy of the image given at
  // construction, with every byte that a tile covers taken from the tile.
  TestImage toPlain() const;
  // Writes the tiles' content into a plain image of the same layout.
  void copyTo(VrnImage* plain) const;

  // The k-th READ or WRITE request from now (counting from 0) gets no tile.
  void withholdRequest(int k);

  const std::vector<Call>& calls() const { return calls_; }
  // The calls as text, e.g. "W(0,0) R(1,0) X(1,0)" (X = RELEASE, ! = withheld).
  std::string callsText() const;

  // Final protocol check: the violations recorded, plus tiles left open
  // (unless a request failed or `failureExpected`) and tiles changed after
  // their RELEASE.
  testing::AssertionResult checkProtocol(bool failureExpected = false);

 private:
  static void callback(const VrnImage* image, int col, int row, int mode);
  void serve(const VrnImage* image, int col, int row, int mode);
  void violation(const std::string& text);
  void checkReleasedCopy(int index, const char* when);
  // Calls f(tileIndex, tileOffset, imageOffset) for every tile byte that
  // lies in the image buffer.
  template <class F>
  void forEachMappedByte(F f) const;

  std::string name_;
  TestImage base_;
  VrnImage* image_ = nullptr;
  int tileW_, tileH_, cols_ = 0, rows_ = 0, tileStep_ = 0, tileSize_ = 0;
  std::vector<char*> tiles_;
  std::vector<void*> blocks_;
  std::vector<std::vector<char>> released_;  // copy at RELEASE, per tile (empty: none)
  std::vector<char> openCopy_;               // copy at a READ, to catch writes
  int openIndex_ = -1, openMode_ = 0, requests_ = 0, withholdAt_ = -1;
  bool failed_ = false;
  std::vector<Call> calls_;
  std::vector<std::string> violations_;
};

// The calls of several servers in the order they were made, as text with
// each server's name: "A:R(0,0) D:W(0,0) ...".
std::string mergedCallsText(std::initializer_list<const TileServer*> servers);

}  // namespace vrntest

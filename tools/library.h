// The tool's side of the library: its report handler, which turns a report
// into one line on standard error, and images read from and written to BMP
// files through the library's own DIB functions.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bmp_file.h"
#include "vrn.h"

namespace vrntool {

// Prints "vrn: SUBJECT: REASON" on standard error; returns the exit code 1.
int fail(const std::string& subject, const std::string& reason);

// Installs the tool's report handler for this thread (never the dialog).
void installReportHandler();

// Clears the thread's status and the last report before a library call.
void beginLibraryCall();
// After a library call: true if nothing was reported; otherwise prints the
// report as one line about `subject` and returns false.
bool endLibraryCall(const std::string& subject);


// An image record with the DIB whose pixels it may share.
struct Image {
  Image() = default;
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;
  ~Image();
  VrnImage* record = nullptr;
  PackedDib dib;       // empty for images made by the library
  bool copied = true;  // pixels in a buffer of their own, not in `dib`
};

// Reads a BMP file into an image (vrnTranslateDIB).  Prints the failure.
std::unique_ptr<Image> loadImage(const std::string& path);

// How an image becomes a BMP file.
struct WriteOptions {
  int bits = 0;         // 0: 1 for 1U, 8 for gray, 24 for colour, 32 with alpha
  bool rle = false;     // RLE8 / RLE4, needs bits 8 / 4
  int palette = -1;     // -1 auto, 0 keep, 1 fixed, 2 median cut
  int dither = VRN_DITHER_NONE;
};

// Writes an image as a BMP file (vrnConvertToDIB).  `paletteSource` is the DIB
// whose colour table `keep` copies.  Prints the failure; writes nothing then.
bool saveImage(const std::string& path, VrnImage* image, const WriteOptions& options,
               const PackedDib* paletteSource);

// The packed DIB that saveImage would write, without writing it.
bool encodeImage(const std::string& path, VrnImage* image, const WriteOptions& options,
                 const PackedDib* paletteSource, std::vector<uint8_t>& dib);

// Names for people: "8u", "16s", ...; parse returns false for an unknown name.
const char* depthName(int depth);
bool parseDepth(const std::string& text, int& depth);

}  // namespace vrntool

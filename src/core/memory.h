// Internal helpers over the library's aligned allocator.
#pragma once

#include <cstddef>

#include "vrn.h"

namespace vrn {

// Owns a vrnMalloc block and frees it on every path out of a scope.
template <class T>
class Buffer {
 public:
  Buffer() = default;
  explicit Buffer(size_t count) { allocate(count); }
  ~Buffer() { vrnFree(ptr_); }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;

  // Allocates count elements (uncleared); false if the block can't be had.
  bool allocate(size_t count) {
    vrnFree(ptr_);
    ptr_ = nullptr;
    const size_t bytes = count * sizeof(T);
    if (count == 0 || bytes / sizeof(T) != count || bytes > 0x7FFFFFFF) return false;
    ptr_ = static_cast<T*>(vrnMalloc(static_cast<int>(bytes)));
    return ptr_ != nullptr;
  }
  T* get() const { return ptr_; }
  T& operator[](size_t i) const { return ptr_[i]; }
  explicit operator bool() const { return ptr_ != nullptr; }
  T* release() {
    T* p = ptr_;
    ptr_ = nullptr;
    return p;
  }

 private:
  T* ptr_ = nullptr;
};

// Owns an image made by the library (header, data, ROI and tile record).
class OwnedImage {
 public:
  OwnedImage() = default;
  explicit OwnedImage(VrnImage* image) : image_(image) {}
  ~OwnedImage() { reset(); }
  OwnedImage(const OwnedImage&) = delete;
  OwnedImage& operator=(const OwnedImage&) = delete;
  void reset(VrnImage* image = nullptr) {
    if (image_) vrnDeallocate(image_, VRN_FREE_HEADER | VRN_FREE_DATA | VRN_FREE_ROI | VRN_FREE_TILE);
    image_ = image;
  }
  VrnImage* get() const { return image_; }
  VrnImage* operator->() const { return image_; }
  explicit operator bool() const { return image_ != nullptr; }
  VrnImage* release() {
    VrnImage* p = image_;
    image_ = nullptr;
    return p;
  }

 private:
  VrnImage* image_ = nullptr;
};

}  // namespace vrn

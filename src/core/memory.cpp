// The aligned allocator family.  Each block is over-allocated by 36 bytes;
// the returned address is the first 32-byte boundary that leaves room ahead
// of it for the raw block's address, which is where vrnFree finds it.
#include <cstdint>
#include <cstdlib>

#include "vrn.h"

namespace {

constexpr size_t kAlign = 32;
constexpr size_t kSlack = 36;  // alignment plus the stored word

void* alignedBlock(int count, size_t elementSize) {
  if (count < 1) return nullptr;
  const size_t bytes = static_cast<size_t>(count) * elementSize + kSlack + sizeof(void*);
  void* raw = std::malloc(bytes);
  if (!raw) return nullptr;
  uintptr_t start = reinterpret_cast<uintptr_t>(raw) + sizeof(void*);
  uintptr_t aligned = (start + kAlign - 1) & ~static_cast<uintptr_t>(kAlign - 1);
  reinterpret_cast<void**>(aligned)[-1] = raw;
  return reinterpret_cast<void*>(aligned);
}

}  // namespace

extern "C" {

VRN_API void* vrnMalloc(int length) { return alignedBlock(length, 1); }
VRN_API uint16_t* vrnwMalloc(int length) {
  return static_cast<uint16_t*>(alignedBlock(length, 2));
}
VRN_API int* vrniMalloc(int length) { return static_cast<int*>(alignedBlock(length, 4)); }
VRN_API float* vrnsMalloc(int length) { return static_cast<float*>(alignedBlock(length, 4)); }
VRN_API double* vrndMalloc(int length) { return static_cast<double*>(alignedBlock(length, 8)); }

VRN_API void vrnFree(void* p) {
  if (p) std::free(static_cast<void**>(p)[-1]);
}

}  // extern "C"

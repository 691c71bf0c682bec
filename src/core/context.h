// The per-thread error context: status, mode, report handler and the caches
// of the transform families.  Each thread has its own, made on first use and
// released (caches included) when the thread ends.
#pragma once

#include "vrn.h"

namespace vrn {

// Number of per-size table slots the Fourier family may cache per thread.
inline constexpr int kFourierCacheSlots = 32;

struct ErrorContext {
  int status = 0;
  int mode = VRN_ErrorModeLeaf;
  VrnErrorHandler handler = vrnGuiBoxReport;
  // Cosine transform caches.
  int dctSize = -1;
  void* dctTable = nullptr;
  int dctCountA = 0;
  void** dctBlocksA = nullptr;
  int dctCountB = 0;
  void** dctBlocksB = nullptr;
  // Fourier caches: one table per slot, released with vrnFree.
  void* fourierTables[kFourierCacheSlots] = {};
  int fourierCounters[kFourierCacheSlots] = {};

  ErrorContext() = default;
  ErrorContext(const ErrorContext&) = delete;
  ErrorContext& operator=(const ErrorContext&) = delete;
  ~ErrorContext();  // empties the caches, Fourier first
};

// The calling thread's context.
ErrorContext& context();

}  // namespace vrn

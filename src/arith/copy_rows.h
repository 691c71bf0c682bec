// The four row forms of the copy family, by sample size: plain block (a row,
// a plane row or a whole pixel-order run), strided (a COI, or channels short
// of an alpha channel, in pixel order), masked block and masked strided.  An
// action says what happens to a run of samples and to one sample: copy, swap
// or fill.  Samples are moved as bytes of their size; sign and float are
// never looked at.
#pragma once

#include <cstdint>

#include "arith/copy_frame.h"

namespace vrn {

// Works the samples of a cell with an action on type T (of the sample size):
//   act.block(T* d, T* s, size_t n)   a contiguous run
//   act.one(T* d, T* s)               one sample
//   Act::kJoinRows                    whether rows without padding between
//                                     them may be worked as one block
// s is null when the cell has no source.
template <class T, class Act>
void cellRows(const CopyCell& c, const CopyLayout& l, const Act& act) {
  const CopySurface& src = c.image[0];
  const CopySurface& dst = c.image[1];
  const bool hasSrc = src.data != nullptr;
  const ptrdiff_t srcStep = hasSrc ? src.step : 0;
  for (int p = 0; p < l.planes; ++p) {
    char* s = hasSrc ? src.data + p * src.planeStep : nullptr;
    char* d = dst.data + p * dst.planeStep;
    const uint8_t* m = c.mask.row;
    // Rows without padding between them are one block.
    const size_t rowSamples = l.planeOrder ? static_cast<size_t>(c.width)
                              : l.run      ? static_cast<size_t>(c.width) * dst.nChannels
                                           : 0;
    const ptrdiff_t rowBytes = static_cast<ptrdiff_t>(rowSamples * sizeof(T));
    if (Act::kJoinRows && !m && rowSamples && dst.step == rowBytes && (!hasSrc || src.step == rowBytes)) {
      act.block(reinterpret_cast<T*>(d), reinterpret_cast<T*>(s), rowSamples * c.height);
      continue;
    }
    for (int y = 0; y < c.height; ++y, s += srcStep, d += dst.step) {
      T* dt = reinterpret_cast<T*>(d);
      T* st = reinterpret_cast<T*>(s);
      if (!m) {
        if (l.planeOrder) {
          act.block(dt, st, static_cast<size_t>(c.width));
        } else if (l.run) {
          act.block(dt, st, static_cast<size_t>(c.width) * dst.nChannels);
        } else {
          for (int x = 0; x < c.width; ++x)
            for (int k = 0; k < l.count; ++k)
              act.one(dt + static_cast<ptrdiff_t>(x) * dst.nChannels + k,
                      hasSrc ? st + static_cast<ptrdiff_t>(x) * src.nChannels + k : nullptr);
        }
        continue;
      }
      const int count = l.planeOrder ? 1 : l.count;
      const int dStride = l.planeOrder ? 1 : dst.nChannels;
      const int sStride = l.planeOrder ? 1 : src.nChannels;
      for (int x = 0; x < c.width; ++x) {
        if (!bitAt(m, c.mask.offset, x)) continue;
        for (int k = 0; k < count; ++k)
          act.one(dt + static_cast<ptrdiff_t>(x) * dStride + k,
                  hasSrc ? st + static_cast<ptrdiff_t>(x) * sStride + k : nullptr);
      }
      m += c.maskStep;
    }
  }
}

// Calls f.template operator()<T>() with the unsigned type of the sample size.
template <class F>
void forSampleSize(int bytes, F&& f) {
  switch (bytes) {
    case 1: f.template operator()<uint8_t>(); break;
    case 2: f.template operator()<uint16_t>(); break;
    default: f.template operator()<uint32_t>(); break;
  }
}

}  // namespace vrn

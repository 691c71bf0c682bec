// Bit rows that do not fit the one-destination shape of bitRow: the swap of
// two rows, pixel by pixel, honouring both bit offsets and a mask.
#include "core/bit_rows.h"

namespace vrn {

void swapBitRows(uint8_t* a, int aOff, uint8_t* b, int bOff, int n, const BitSpan& mask) {
  for (int i = 0; i < n; ++i) {
    if (mask.row && !bitAt(mask.row, mask.offset, i)) continue;
    const bool x = bitAt(a, aOff, i), y = bitAt(b, bOff, i);
    if (x == y) continue;
    putBit(a, aOff, i, y);
    putBit(b, bOff, i, x);
  }
}

}  // namespace vrn

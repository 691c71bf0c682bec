// Bit reduction as a library-internal call, for the dithered bitmap writer.
#pragma once

#include "vrn.h"

namespace vrn {

// vrnReduceBits: reports under its name; returns 0 or the status reported.
int reduceBits(VrnImage* srcImage, VrnImage* dstImage, int noise, int ditherType, int levels);

}  // namespace vrn

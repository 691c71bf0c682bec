// Bordered readers: any rectangle of an image (inside, across or wholly
// outside it) or one row of one channel, with the values beyond the image's
// edge made by each side's border mode.  Tiled images are read through their
// callback.  Every neighbourhood filter and every family that reads a tiled
// source as one block reads through these.
#pragma once

#include "vrn.h"

namespace vrn {

// A new vrnMalloc block (release with vrnFree) holding the w x h rectangle
// whose top-left corner is image position (x, y), in the image's own layout
// (all channels, rows padded to the image's align, 16 spare bytes at the
// end); *step receives the row stride.  Null on failure.
char* ownGetBorderedRegion(const VrnImage* image, int x, int y, int w, int h, int* step);

// Fills count samples of one channel of row y, from column x on, into buffer
// (one element of the depth's type per sample; one bit per pixel at depth 1).
void ownGetBorderedRow(const VrnImage* image, int x, int y, int channel, void* buffer, int count);

}  // namespace vrn

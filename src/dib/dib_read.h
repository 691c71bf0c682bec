// The bitmap reader shared by vrnConvertFromDIB, vrnConvertFromDIBSep and
// vrnTranslateDIB.
#pragma once

#include "dib/dib_format.h"

namespace vrn {

// Checks image and header and fills image from the DIB whose pixels (or RLE
// stream) start at sepData, or behind the colour table of the packed DIB h
// when sepData is null; the colour table lies behind h.  Reports under
// func with the header texts given; returns 0 or the value the separated form
// returns (a status).
int readDib(const char* func, const DibCheckTexts& texts, const BITMAPINFOHEADER* h,
            const uint8_t* sepData, VrnImage* image);

}  // namespace vrn

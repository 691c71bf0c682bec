/*
 * vrn: image processing on caller-owned image records.
 *
 * Every operation works on VrnImage records that the application owns.  An
 * image has a depth (1U, 8U, 8S, 16U, 16S, 32S or 32F), channels in pixel or
 * plane order, an optional region of interest with a channel of interest, an
 * optional 1-bit mask image and, instead of a buffer, optional tiles served
 * by the application's callback.  Operations return nothing (or a status);
 * a failure sets the calling thread's status and calls that thread's report
 * handler.
 *
 * This header is plain C99 and C++.
 */
#ifndef VRN_H
#define VRN_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(VRN_BUILDING_LIBRARY)
#define VRN_API __attribute__((visibility("default")))
#else
#define VRN_API
#endif

/* ------------------------------------------------------------------------ */
/* Records and memory                                                        */
/* ------------------------------------------------------------------------ */

/* Depth words: low bits are the bits of one sample, the top bit marks a signed
 * integer.  32 bits without the sign bit is IEEE single float. */
#define VRN_DEPTH_SIGN 0x80000000
#define VRN_DEPTH_MASK 0x7FFFFFFF
#define VRN_DEPTH_1U 1
#define VRN_DEPTH_8U 8
#define VRN_DEPTH_8S ((int)(VRN_DEPTH_SIGN | 8))
#define VRN_DEPTH_16U 16
#define VRN_DEPTH_16S ((int)(VRN_DEPTH_SIGN | 16))
#define VRN_DEPTH_32S ((int)(VRN_DEPTH_SIGN | 32))
#define VRN_DEPTH_32F 32

#define VRN_DATA_ORDER_PIXEL 0 /* channels interleaved */
#define VRN_DATA_ORDER_PLANE 1 /* one full plane per channel */

#define VRN_ORIGIN_TOP 0    /* first stored row is the top row */
#define VRN_ORIGIN_BOTTOM 1 /* first stored row is the bottom row */

/* Flags of vrnDeallocate, tested in the order ROI, mask, tile, data, header. */
#define VRN_FREE_HEADER 1
#define VRN_FREE_DATA 2
#define VRN_FREE_ROI 4
#define VRN_FREE_TILE 8
#define VRN_FREE_MASK 16

/* Tile request modes, the last argument of the tile callback. */
#define VRN_TILE_READ 1    /* the library will read the tile */
#define VRN_TILE_WRITE 2   /* the library will write (and maybe first read) it */
#define VRN_TILE_RELEASE 4 /* the library is done with the tile */

/* Region of interest.  Offsets count from the first stored pixel. */
typedef struct VrnROI {
  int coi;     /* channel of interest: 0 = all channels, k = channel k (from 1) */
  int xOffset; /* first column */
  int yOffset; /* first row */
  int width;   /* columns */
  int height;  /* rows */
} VrnROI;

struct VrnImage;

/* Delivers tile (col, row) of image by storing its address in
 * image->tileInfo->tileData; mode is one of VRN_TILE_*. */
typedef void (*VrnTileCallback)(const struct VrnImage* image, int col, int row, int mode);

/* Tile access of an image that has no buffer of its own. */
typedef struct VrnTileInfo {
  VrnTileCallback callBack; /* the application's tile callback */
  void* id;                 /* the caller's word */
  char* tileData;           /* set by the callback on READ and WRITE */
  int width;                /* tile width in pixels: a multiple of 8, at least 8 */
  int height;               /* tile height in pixels: a multiple of 8, at least 8 */
} VrnTileInfo;

/* The image record.  imageSize and widthStep are 32-bit on every platform. */
typedef struct VrnImage {
  int recordSize;             /* size of this record in bytes */
  int recordId;               /* always 0 */
  int nChannels;              /* channels per pixel, >= 1; exactly 1 for 1U */
  int alphaChannel;           /* 0, or nChannels when the last channel is alpha */
  int depth;                  /* one of VRN_DEPTH_* */
  char colorModel[4];         /* free text, e.g. "GRAY"; not zero-terminated when full */
  char channelSeq[4];         /* free text, e.g. "G" */
  int dataOrder;              /* VRN_DATA_ORDER_PIXEL or VRN_DATA_ORDER_PLANE */
  int origin;                 /* VRN_ORIGIN_TOP or VRN_ORIGIN_BOTTOM */
  int align;                  /* row alignment in bytes: 4, 8, 16 or 32 */
  int width;                  /* pixels per row, >= 1 */
  int height;                 /* rows, >= 1 */
  VrnROI* roi;                /* null = whole image, all channels */
  struct VrnImage* maskROI;   /* null, or a 1-bit one-channel untiled mask image */
  void* imageId;              /* the caller's word; never read */
  VrnTileInfo* tileInfo;      /* null = plain buffer; else pixels come from tiles */
  int imageSize;              /* bytes of pixel data */
  char* imageData;            /* first byte of pixel data, aligned to align */
  int widthStep;              /* bytes from one row to the next (within a plane) */
  int borderMode[4];          /* border mode of top, bottom, left, right */
  int borderConst[4];         /* border constant of top, bottom, left, right */
  void* dataBlock;            /* raw block behind imageData, null if not the library's */
} VrnImage;

/* Aligned allocators: 32-byte aligned, uncleared; a count below 1 gives null. */
VRN_API void* vrnMalloc(int length);
VRN_API uint16_t* vrnwMalloc(int length);
VRN_API int* vrniMalloc(int length);
VRN_API float* vrnsMalloc(int length);
VRN_API double* vrndMalloc(int length);
/* Frees a block of the allocators above; null is ignored. */
VRN_API void vrnFree(void* p);

/* A new header (no pixel buffer) or null; colorModel and channelSeq must each
 * have four readable bytes. */
VRN_API VrnImage* vrnCreateImageHeader(int nChannels, int alphaChannel, int depth, char* colorModel,
                                       char* channelSeq, int dataOrder, int origin, int align,
                                       int width, int height, VrnROI* roi, VrnImage* maskROI,
                                       void* imageId, VrnTileInfo* tileInfo);
/* Gives an integer image its buffer, optionally filled with fillValue. */
VRN_API void vrnAllocateImage(VrnImage* image, int doFill, int fillValue);
/* Gives a 32F image its buffer, optionally filled with fillValue. */
VRN_API void vrnAllocateImageFP(VrnImage* image, int doFill, float fillValue);
/* vrnDeallocate(image, VRN_FREE_HEADER). */
VRN_API void vrnDeallocateHeader(VrnImage* image);
/* Frees the library's pixel buffer of image (which must not be null). */
VRN_API void vrnDeallocateImage(VrnImage* image);
/* Frees what flag names (VRN_FREE_*); a null image is ignored. */
VRN_API void vrnDeallocate(VrnImage* image, int flag);
/* A new untiled, unmasked copy of image with its own buffer, or null. */
VRN_API VrnImage* vrnCloneImage(const VrnImage* image);
/* 0 if the record is legal, else the status of the first failed check. */
VRN_API int vrnCheckImageHeader(const VrnImage* image);

/* ROI records; nothing is validated. */
VRN_API VrnROI* vrnCreateROI(int coi, int xOffset, int yOffset, int width, int height);
VRN_API void vrnSetROI(VrnROI* roi, int coi, int xOffset, int yOffset, int width, int height);
VRN_API void vrnDeleteROI(VrnROI* roi);

/* Tile records; tileData starts at 0. */
VRN_API VrnTileInfo* vrnCreateTileInfo(VrnTileCallback callBack, void* id, int width, int height);
VRN_API void vrnSetTileInfo(VrnTileInfo* tileInfo, VrnTileCallback callBack, void* id, int width,
                            int height);
VRN_API void vrnDeleteTileInfo(VrnTileInfo* tileInfo);

/* ------------------------------------------------------------------------ */
/* Error context, version, cycle counter                                     */
/* ------------------------------------------------------------------------ */

#define VRN_StsOk 0
#define VRN_StsBackTrace (-1)
#define VRN_StsInternal (-3)
#define VRN_StsNoMem (-4)
#define VRN_StsBadArg (-5)
#define VRN_StsUnsupported (-6)
#define VRN_StsNoConverge (-7)
#define VRN_StsAutoTrace (-8)
#define VRN_StsNullHeader (-9)
#define VRN_StsBadImageSize (-10)
#define VRN_StsBadRoiOffset (-11)
#define VRN_StsNoImageData (-12)
#define VRN_StsBadWidthStep (-13)
#define VRN_StsBadColorModel (-14)
#define VRN_StsBadChannels (-15)
#define VRN_StsBad1UChannels (-16)
#define VRN_StsBadDepth (-17)
#define VRN_StsBadAlpha (-18)
#define VRN_StsBadDataOrder (-19)
#define VRN_StsBadOrigin (-20)
#define VRN_StsBadAlign (-21)
#define VRN_StsNoCallback (-22)
#define VRN_StsBadTileSize (-23)
#define VRN_StsBadCoi (-24)
#define VRN_StsBadRoiSize (-25)
#define VRN_StsMaskTiled (-26)
#define VRN_StsNullPtr (-27)
#define VRN_StsBadVecLength (-28)
#define VRN_StsBadFilter (-29)
#define VRN_StsBadTransform (-30)
#define VRN_StsBadFilterOffset (-31)
/* A failed check of a mask image is the image status minus this. */
#define VRN_StsMaskBase 100

/* Error modes. */
#define VRN_ErrorModeLeaf 0   /* a report may terminate the process */
#define VRN_ErrorModeParent 1 /* a report asks whether to go on */
#define VRN_ErrorModeSilent 2 /* no report; the status is still stored */

/* A report handler: returns the status (or what the caller should see). */
typedef int (*VrnErrorHandler)(int status, const char* funcName, const char* context,
                               const char* fileName, int line);

/* The calling thread's last status. */
VRN_API int vrnGetErrStatus(void);
VRN_API void vrnSetErrStatus(int status);
/* The calling thread's error mode (VRN_ErrorMode*); not validated. */
VRN_API int vrnGetErrMode(void);
VRN_API void vrnSetErrMode(int mode);
/* Installs the calling thread's handler (null: vrnGuiBoxReport), returns the old one. */
VRN_API VrnErrorHandler vrnRedirectError(VrnErrorHandler handler);
/* Stores status (not -1, -8) and calls the thread's handler unless status is 0. */
VRN_API int vrnError(int status, const char* funcName, const char* context, const char* fileName,
                     int line);
/* The text of a status code. */
VRN_API const char* vrnErrorStr(int status);
/* Handlers: silent (exits in leaf mode), standard error, message box. */
VRN_API int vrnNulDevReport(int status, const char* funcName, const char* context,
                            const char* fileName, int line);
VRN_API int vrnStdErrReport(int status, const char* funcName, const char* context,
                            const char* fileName, int line);
VRN_API int vrnGuiBoxReport(int status, const char* funcName, const char* context,
                            const char* fileName, int line);

/* The library's version record. */
typedef struct VrnLibVersion {
  int major;               /* 2 */
  int minor;               /* 5 */
  int build;               /* 9 */
  const char* moduleName;  /* module file name */
  const char* versionText; /* e.g. "2.5 Release SP1" */
  const char* buildStamp;  /* version and date in brackets */
  const char* buildDate;   /* date of the build */
  const char* linkage;     /* "DLL" */
} VrnLibVersion;

VRN_API const VrnLibVersion* vrnGetLibVersion(void);
/* The processor's time-stamp counter, unserialised. */
VRN_API int64_t vrnGetKestrelCounter(void);

/* ------------------------------------------------------------------------ */
/* Borders                                                                   */
/* ------------------------------------------------------------------------ */

#define VRN_BORDER_CONSTANT 0
#define VRN_BORDER_REPLICATE 1
#define VRN_BORDER_REFLECT 2
#define VRN_BORDER_WRAP 3

#define VRN_SIDE_TOP 1
#define VRN_SIDE_BOTTOM 2
#define VRN_SIDE_LEFT 4
#define VRN_SIDE_RIGHT 8

/* Sets mode and constant (clamped to the depth) on the sides named by border. */
VRN_API void vrnSetBorderMode(VrnImage* image, int mode, int border, int constVal);

/* Box filter: each pixel becomes the mean of the nCols x nRows box whose
 * (anchorX, anchorY) it is; values beyond the edges by the border modes. */
VRN_API void vrnBlur(VrnImage* srcImage, VrnImage* dstImage, int nCols, int nRows, int anchorX,
                     int anchorY);

/* ------------------------------------------------------------------------ */
/* Arithmetic                                                                */
/* ------------------------------------------------------------------------ */

/* dst = A + B per sample, saturated by depth (32F plain sum); 1U goes to vrnOr. */
VRN_API void vrnAdd(VrnImage* srcImageA, VrnImage* srcImageB, VrnImage* dstImage);
/* dst = A - B per sample, saturated by depth; 1U is A AND NOT B. */
VRN_API void vrnSubtract(VrnImage* srcImageA, VrnImage* srcImageB, VrnImage* dstImage);
/* dst = A * B per sample, saturated by depth; 1U goes to vrnAnd. */
VRN_API void vrnMultiply(VrnImage* srcImageA, VrnImage* srcImageB, VrnImage* dstImage);
/* dst = src + value, saturated (1U to 32S; 32F has vrnAddSFP). */
VRN_API void vrnAddS(VrnImage* srcImage, VrnImage* dstImage, int value);
/* dst = src - value (flip 0) or value - src (flip not 0), saturated (1U to 32S). */
VRN_API void vrnSubtractS(VrnImage* srcImage, VrnImage* dstImage, int value, int flip);
/* dst = src * value, saturated (1U to 32S). */
VRN_API void vrnMultiplyS(VrnImage* srcImage, VrnImage* dstImage, int value);
/* dst = src + value on 32F images. */
VRN_API void vrnAddSFP(VrnImage* srcImage, VrnImage* dstImage, float value);
/* dst = src - value (flip 0) or value - src (flip not 0) on 32F images. */
VRN_API void vrnSubtractSFP(VrnImage* srcImage, VrnImage* dstImage, float value, int flip);
/* dst = src * value on 32F images. */
VRN_API void vrnMultiplySFP(VrnImage* srcImage, VrnImage* dstImage, float value);
/* dst = src << nShift, truncated to the depth (1U to 32S). */
VRN_API void vrnLShiftS(VrnImage* srcImage, VrnImage* dstImage, unsigned int nShift);
/* dst = src >> nShift: logical for unsigned depths, arithmetic for signed (1U to 32S). */
VRN_API void vrnRShiftS(VrnImage* srcImage, VrnImage* dstImage, unsigned int nShift);
/* dst = src * src, saturated (all depths). */
VRN_API void vrnSquare(VrnImage* srcImage, VrnImage* dstImage);
/* dst = |src|: 8S/16S minimum gives maximum, 32S minimum stays; unsigned depths copy. */
VRN_API void vrnAbs(VrnImage* srcImage, VrnImage* dstImage);

/* ------------------------------------------------------------------------ */
/* Logic                                                                     */
/* ------------------------------------------------------------------------ */

/* Bitwise operations per sample, depths 1U, 8U, 8S, 16U, 16S, 32S (32F is refused). */
/* dst = A AND B. */
VRN_API void vrnAnd(VrnImage* srcImageA, VrnImage* srcImageB, VrnImage* dstImage);
/* dst = A OR B. */
VRN_API void vrnOr(VrnImage* srcImageA, VrnImage* srcImageB, VrnImage* dstImage);
/* dst = A XOR B. */
VRN_API void vrnXor(VrnImage* srcImageA, VrnImage* srcImageB, VrnImage* dstImage);
/* dst = src AND value, the value cut to the depth (1U: its lowest bit). */
VRN_API void vrnAndS(VrnImage* srcImage, VrnImage* dstImage, unsigned int value);
/* dst = src OR value, the value cut to the depth (1U: its lowest bit). */
VRN_API void vrnOrS(VrnImage* srcImage, VrnImage* dstImage, unsigned int value);
/* dst = src XOR value, the value cut to the depth (1U: its lowest bit). */
VRN_API void vrnXorS(VrnImage* srcImage, VrnImage* dstImage, unsigned int value);
/* dst = NOT src: vrnXorS with all bits set, and reports under that name. */
VRN_API void vrnNot(VrnImage* srcImage, VrnImage* dstImage);

/* ------------------------------------------------------------------------ */
/* Copy, set and exchange                                                    */
/* ------------------------------------------------------------------------ */

/* These work by sample size (sign and float are not looked at).  A ROI that
 * starts at or beyond the edge ends the call silently; vrnCopy and
 * vrnExchange do nothing while the thread's status is negative. */
/* Copies the rectangle of src into dst. */
VRN_API void vrnCopy(VrnImage* srcImage, VrnImage* dstImage);
/* Swaps the samples of the rectangles of src and dst. */
VRN_API void vrnExchange(VrnImage* srcImage, VrnImage* dstImage);
/* Fills the rectangle with fillValue clamped to the depth (not for 32F). */
VRN_API void vrnSet(VrnImage* image, int fillValue);
/* Fills a 32F image's rectangle with fillValue, bit-exact. */
VRN_API void vrnSetFP(VrnImage* image, float fillValue);

/* ------------------------------------------------------------------------ */
/* Bit reduction                                                             */
/* ------------------------------------------------------------------------ */

/* ditherType of vrnReduceBits (and dither of vrnConvertToDIB). */
#define VRN_DITHER_NONE 1     /* truncation to the destination depth */
#define VRN_DITHER_FS 2       /* Floyd-Steinberg error diffusion */
#define VRN_DITHER_JJH 4      /* Jarvis-Judice-Ninke error diffusion */
#define VRN_DITHER_STUCKEY 8  /* Stucki error diffusion */
#define VRN_DITHER_BAYER 16   /* ordered dither on a 4 by 4 matrix */

/* Lowers srcImage (8U, 16U or 32S) to `levels` levels in dstImage (1U, 8U, 16U
 * or 32S, no deeper than the source), whole images, ROIs ignored; noise 0..100
 * per cent jitters the thresholds (seeded anew at each call).  Channels are
 * those of the source but alpha; the common width and height are processed.
 * A depth pair outside the supported ones is reported with VRN_StsBadArg and
 * "Unsupported pair of depths". */
VRN_API void vrnReduceBits(VrnImage* srcImage, VrnImage* dstImage, int noise, int ditherType,
                           int levels);

/* ------------------------------------------------------------------------ */
/* Bitmap (DIB) interchange                                                  */
/* ------------------------------------------------------------------------ */

/* biCompression values. */
#define BI_RGB 0       /* uncompressed rows */
#define BI_RLE8 1      /* run-length coded, 8 bits a pixel */
#define BI_RLE4 2      /* run-length coded, 4 bits a pixel */
#define BI_BITFIELDS 3 /* 16 or 32 bits a pixel with red, green, blue masks */

/* The 40-byte header of an in-memory device-independent bitmap (little-endian).
 * A packed DIB is this header, then the colour table (blue, green, red, 0 per
 * entry; for BI_BITFIELDS the red, green, blue masks come first), then rows of
 * ((biWidth * biBitCount + 31) / 32) * 4 bytes. */
typedef struct BITMAPINFOHEADER {
  uint32_t biSize;         /* 40 */
  int32_t biWidth;         /* pixels in a row */
  int32_t biHeight;        /* rows; positive = bottom-up, negative = top-down */
  uint16_t biPlanes;       /* 1 */
  uint16_t biBitCount;     /* 1, 4, 8, 16, 24 or 32 */
  uint32_t biCompression;  /* BI_RGB, BI_RLE8, BI_RLE4 or BI_BITFIELDS */
  uint32_t biSizeImage;    /* bytes of an RLE stream; 0 = not bounded */
  int32_t biXPelsPerMeter; /* not used */
  int32_t biYPelsPerMeter; /* not used */
  uint32_t biClrUsed;      /* colour table entries; 0 = the default for the bit count */
  uint32_t biClrImportant; /* not used */
} BITMAPINFOHEADER;

/* Readers.  An RLE stream is read no further than biSizeImage bytes when that
 * is not 0; a stream that ends before its end-of-bitmap command is reported
 * with VRN_StsBadArg and "Incorrect format of BI_RLE8 DIB (unexpected end of
 * data)" (BI_RLE4 likewise).  A BI_BITFIELDS mask of 0 is reported with
 * VRN_StsBadArg and "Zero colour mask in BI_BITFIELDS DIB"; a colour table of
 * one entry given to vrnTranslateDIB with VRN_StsBadArg and "Colour table of
 * one entry".  Colour table indices beyond the table's entries read black. */

/* A new image for the packed DIB dib: sharing its pixels (*cloneData = 0; the
 * caller keeps dib alive) for 1-bit gray, 8-bit gray, 24- and 32-bit DIBs,
 * else a plane-order copy (*cloneData = 1).  Null on failure. */
VRN_API VrnImage* vrnTranslateDIB(BITMAPINFOHEADER* dib, int* cloneData);
/* Fills image (allocated first if it has no data) from the packed DIB dib. */
VRN_API void vrnConvertFromDIB(const BITMAPINFOHEADER* dib, VrnImage* image);
/* vrnConvertFromDIB with the pixels (or RLE stream) at dibData, the colour
 * table behind dibHeader; 0 or a status. */
VRN_API int vrnConvertFromDIBSep(const BITMAPINFOHEADER* dibHeader, const void* dibData,
                                 VrnImage* image);
/* Writes image into the packed DIB whose header the caller filled in:
 * dither is a VRN_DITHER_* value, paletteConversion 0 keeps the colour table,
 * 1 writes a fixed one, 2 builds a median-cut one; BI_RLE8 and BI_RLE4 are
 * compressed in place (biCompression falls to BI_RGB when that does not
 * shrink the rows). */
VRN_API void vrnConvertToDIB(VrnImage* image, BITMAPINFOHEADER* dib, int dither,
                             int paletteConversion);
/* vrnConvertToDIB with the pixels written at dibData, the colour table behind
 * dibHeader; 0 or a status. */
VRN_API int vrnConvertToDIBSep(VrnImage* image, BITMAPINFOHEADER* dibHeader, void* dibData,
                               int dither, int paletteConversion);

/* ------------------------------------------------------------------------ */
/* Filters                                                                   */
/* ------------------------------------------------------------------------ */

/* ------------------------------------------------------------------------ */
/* Generators                                                                */
/* ------------------------------------------------------------------------ */

#ifdef __cplusplus
}
#endif

#endif /* VRN_H */

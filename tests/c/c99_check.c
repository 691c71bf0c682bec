/* Includes only the public header as strict C99, creates, adds and frees an
 * image through the shared library, and checks a status read-back. */
#include <stdio.h>
#include <string.h>

#include "vrn.h"

int main(void) {
  char model[4] = {'G', 'R', 'A', 'Y'}, seq[4] = {'G', 0, 0, 0};
  VrnImage *a, *b;
  int ok = 1;
  vrnSetErrMode(VRN_ErrorModeSilent);
  a = vrnCreateImageHeader(1, 0, VRN_DEPTH_8U, model, seq, VRN_DATA_ORDER_PIXEL, VRN_ORIGIN_TOP, 4,
                           5, 3, NULL, NULL, NULL, NULL);
  b = vrnCloneImage(NULL);
  ok &= b == NULL && vrnGetErrStatus() == VRN_StsNullHeader;
  vrnAllocateImage(a, 1, 200);
  b = vrnCloneImage(a);
  vrnAdd(a, b, a);
  ok &= (unsigned char)a->imageData[0] == 255 && a->widthStep == 8;
  ok &= strcmp(vrnErrorStr(VRN_StsBadAlign), "Incorrect data alignment value in the image header") == 0;
  vrnDeallocate(a, VRN_FREE_HEADER | VRN_FREE_DATA);
  vrnDeallocate(b, VRN_FREE_HEADER | VRN_FREE_DATA);
  printf("%s\n", ok ? "c99 check passed" : "c99 check FAILED");
  return ok ? 0 : 1;
}

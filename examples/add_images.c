/* add_images: the smallest complete use of vrn from C.  It makes the chirp
 * test image twice, adds one to the other with saturation, and reports a few
 * samples and the thread's status.  Failures are printed by the standard-error
 * handler instead of the default message box. */
#include <stdio.h>

#include "vrn.h"

int main(void) {
  VrnImage *a, *b;
  const unsigned char *ra, *rb;
  int x, status, ok = 1;

  vrnRedirectError(vrnStdErrReport);
  vrnSetErrMode(VRN_ErrorModeParent); /* report and go on; we check the status */

  a = vrnCreateImageJaehne(VRN_DEPTH_8U, 64, 48);
  b = vrnCreateImageJaehne(VRN_DEPTH_8U, 64, 48);
  if (!a || !b) {
    fprintf(stderr, "add_images: could not create the test images\n");
    return 1;
  }

  vrnAdd(a, b, b); /* b = a + b, saturated at 255 */
  status = vrnGetErrStatus();

  ra = (const unsigned char*)(a->imageData + 24 * a->widthStep);
  rb = (const unsigned char*)(b->imageData + 24 * b->widthStep);
  printf("row 24 of the pattern:");
  for (x = 40; x < 64; x += 3) printf(" %3d", ra[x]);
  printf("\nrow 24 of the sum:    ");
  for (x = 40; x < 64; x += 3) {
    printf(" %3d", rb[x]);
    ok &= rb[x] == (2 * ra[x] > 255 ? 255 : 2 * ra[x]);
  }
  printf("\nstatus: %d (%s)\n", status, vrnErrorStr(status));

  vrnDeallocate(a, VRN_FREE_HEADER | VRN_FREE_DATA);
  vrnDeallocate(b, VRN_FREE_HEADER | VRN_FREE_DATA);
  return status == VRN_StsOk && ok ? 0 : 1;
}

/* A tour of the basics: create two images, add them with saturation, then
 * make a bad call under each report handler in turn and show what the
 * library said and what status the thread was left with. */
#include <stdio.h>
#include <string.h>

#include "vrn.h"

static char model[4] = {'G', 'R', 'A', 'Y'};
static char seq[4] = {'G', 0, 0, 0};

static VrnImage* gray(int width, int height, int fill) {
  VrnImage* image = vrnCreateImageHeader(1, 0, VRN_DEPTH_8U, model, seq, VRN_DATA_ORDER_PIXEL,
                                         VRN_ORIGIN_TOP, 4, width, height, NULL, NULL, NULL, NULL);
  vrnAllocateImage(image, 1, fill);
  return image;
}

static int recorded;
static int recordingHandler(int status, const char* func, const char* context, const char* file,
                            int line) {
  ++recorded;
  printf("  my handler: status %d (%s) in %s, \"%s\" at %s:%d\n", status, vrnErrorStr(status),
         func, context, file, line);
  return status;
}

int main(void) {
  const VrnLibVersion* version = vrnGetLibVersion();
  setvbuf(stdout, NULL, _IONBF, 0); /* keep order with the reports on stderr */
  VrnImage* a = gray(8, 4, 200);
  VrnImage* b = gray(8, 4, 100);
  VrnImage* sum = gray(8, 4, 0);
  VrnROI roi = {0, 2, 1, 4, 2};
  printf("vrn %d.%d.%d (%s)\n\n", version->major, version->minor, version->build,
         version->versionText);

  vrnAdd(a, b, sum);
  printf("200 + 100 in 8U saturates: %d\n", (unsigned char)sum->imageData[0]);
  sum->roi = &roi;
  vrnAdd(b, b, sum);
  sum->roi = NULL;
  printf("with a 4x2 ROI at (2,1) only that rectangle changes; row 1: ");
  for (int x = 0; x < 8; ++x) printf("%d ", (unsigned char)sum->imageData[sum->widthStep + x]);
  printf("\n\n");

  printf("A bad call (null source) under each handler, in parent mode:\n");
  vrnSetErrMode(VRN_ErrorModeParent);
  printf(" standard-error handler:");
  fflush(stdout);
  vrnRedirectError(vrnStdErrReport);
  vrnAdd(NULL, b, sum);
  printf(" -> status %d\n", vrnGetErrStatus());
  printf(" silent handler:\n");
  vrnRedirectError(vrnNulDevReport);
  vrnSetErrStatus(0);
  vrnAdd(a, NULL, sum);
  printf("  (nothing printed) -> status %d: %s\n", vrnGetErrStatus(), vrnErrorStr(vrnGetErrStatus()));
  printf(" the application's own handler:\n");
  vrnRedirectError(recordingHandler);
  vrnAdd(a, b, NULL);
  printf("  -> %d report(s), status %d\n", recorded, vrnGetErrStatus());
  printf(" the report box (no dialogs here: it prints and answers OK):\n");
  vrnRedirectError(NULL);
  vrnAdd(NULL, b, sum);
  printf(" -> status %d\n", vrnGetErrStatus());

  vrnDeallocate(a, VRN_FREE_HEADER | VRN_FREE_DATA);
  vrnDeallocate(b, VRN_FREE_HEADER | VRN_FREE_DATA);
  vrnDeallocate(sum, VRN_FREE_HEADER | VRN_FREE_DATA);
  return 0;
}

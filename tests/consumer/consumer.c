/* A minimal host: links the installed library and calls it. */
#include <stdio.h>
#include <string.h>

#include "CorvelAlg.h"

int main(void) {
  double cycles[3] = {0.0, 0.0, 0.0};
  if (strcmp(version(), CORVELALG_VERSION_STRING) != 0) {
    fprintf(stderr, "header says %s, library says %s\n", CORVELALG_VERSION_STRING, version());
    return 1;
  }
  if (alg_increasing(1.0, 1.0, 3, cycles) != ALG_STATUS_OK || cycles[2] != 3.0) {
    fprintf(stderr, "alg_increasing failed: %s\n", get_last_error());
    return 1;
  }
  printf("CorvelAlg %s: cycles %g %g %g\n", version(), cycles[0], cycles[1], cycles[2]);
  return 0;
}

/*
 * host_demo - a small host program that uses CorvelAlg through its C
 * interface: the calls a qPCR application makes to lay out the axes of a
 * run, and how it reports the library's failures to a user.
 *
 * Build it with the library (make demo does), or against an installed copy:
 *   cc host_demo.c $(pkg-config --cflags --libs CorvelAlg)
 */
#include <stdio.h>
#include <string.h>

#include "CorvelAlg.h"

#ifndef _WIN32
#include <iconv.h>
#endif

/* The library's messages are GBK bytes; a terminal here speaks UTF-8. */
static void print_message(const char* gbk) {
#ifndef _WIN32
  char utf8[4 * ALG_LAST_ERROR_CAPACITY];
  char* in = (char*)gbk;
  char* out = utf8;
  size_t in_left = strlen(gbk);
  size_t out_left = sizeof utf8 - 1;
  iconv_t cd = iconv_open("UTF-8", "GBK");
  if (cd != (iconv_t)-1) {
    size_t done = iconv(cd, &in, &in_left, &out, &out_left);
    iconv_close(cd);
    if (done != (size_t)-1) {
      *out = '\0';
      printf("\"%s\"", utf8);
      return;
    }
  }
#endif
  /* No converter: show the bytes themselves. */
  for (; *gbk != '\0'; ++gbk) printf("\\x%02x", (unsigned char)*gbk);
}

static int report(const char* what, int status) {
  printf("  %s -> status %d", what, status);
  if (status != ALG_STATUS_OK) {
    printf(", message ");
    print_message(get_last_error());
  }
  printf("\n");
  return status;
}

int main(void) {
  /* A melting run read at 0.5-degree steps from 65 to 95 degrees. */
  double readings[61];
  double fine[601];
  double cycles[40];
  int status;

  printf("CorvelAlg %s (header %s)\n", version(), CORVELALG_VERSION_STRING);
  if (strcmp(version(), CORVELALG_VERSION_STRING) != 0) {
    printf("warning: the library does not match this header\n");
  }

  printf("\nCycle axis of a 40-cycle amplification run:\n");
  status = report("alg_increasing(1, 1, 40)", alg_increasing(1.0, 1.0, 40, cycles));
  if (status != ALG_STATUS_OK) return 1;
  printf("  cycles %g, %g, ..., %g\n", cycles[0], cycles[1], cycles[39]);

  printf("\nTemperatures of a melting run, and a grid ten times finer:\n");
  status = report("alg_increasing(65, 0.5, 61)", alg_increasing(65.0, 0.5, 61, readings));
  if (status != ALG_STATUS_OK) return 1;
  status =
      report("alg_interpolation_x(readings, 61, 10)", alg_interpolation_x(readings, 61, 10, fine));
  if (status != ALG_STATUS_OK) return 1;
  printf("  %d grid points: %.2f, %.2f, %.2f, ..., %.2f (ends exactly on %.2f: %s)\n", 601, fine[0],
         fine[1], fine[2], fine[600], readings[60], fine[600] == readings[60] ? "yes" : "no");

  printf("\nWhat a host sees when a call is refused:\n");
  report("alg_interpolation_x(readings, 2, 10)", alg_interpolation_x(readings, 2, 10, fine));
  report("alg_increasing(0, 1, 0)", alg_increasing(0.0, 1.0, 0, cycles));
  report("alg_interpolation_x(readings, 61, -1)", alg_interpolation_x(readings, 61, -1, fine));
  printf("  after a successful call the message is empty: \"%s\"\n",
         (alg_darray_release(NULL), get_last_error()));
  return 0;
}

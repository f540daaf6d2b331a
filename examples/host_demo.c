/*
 * host_demo - a small host program that uses CorvelAlg through its C
 * interface: the calls a qPCR application makes to lay out the axes of a
 * run, smooth a curve and resample a melting run, and how it reports the
 * library's failures to a user.
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

/* Raw fluorescence of the first cycles of a well, with a spike at cycle 6. */
static const double raw_curve[12] = {1012.0, 1018.0, 1009.0, 1015.0, 1011.0, 1240.0,
                                     1016.0, 1013.0, 1019.0, 1025.0, 1047.0, 1098.0};

/* Fluorescence of a melting run: a dye that lets go around 82 degrees,
 * written without a maths library as a smooth step. */
static double melt_signal(double t) {
  double u = (t - 82.0) / 3.0;
  if (u < -1.0) u = -1.0;
  if (u > 1.0) u = 1.0;
  return 3000.0 - 1500.0 * (1.5 * u - 0.5 * u * u * u) - 20.0 * (t - 65.0);
}

static void print_curve(const char* label, const double* values, int count) {
  int i;
  printf("  %-9s", label);
  for (i = 0; i < count; ++i) printf(" %6.1f", values[i]);
  printf("\n");
}

int main(void) {
  /* A melting run read at 0.5-degree steps from 65 to 95 degrees. */
  double readings[61];
  double fluorescence[61];
  double fine[601];
  double resampled[601];
  double cycles[40];
  double curve[12];
  int status;
  int i;

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

  printf("\nSmoothing the first 12 cycles of a well (a spike at cycle 6):\n");
  print_curve("raw", raw_curve, 12);
  memcpy(curve, raw_curve, sizeof curve);
  status = report("alg_run_smooth(curve, 12)", alg_run_smooth(curve, 12));
  if (status != ALG_STATUS_OK) return 1;
  print_curve("smoothed", curve, 12);
  memcpy(curve, raw_curve, sizeof curve);
  status = report("alg_super_smooth(curve, 12, 2)", alg_super_smooth(curve, 12, 2));
  if (status != ALG_STATUS_OK) return 1;
  print_curve("averaged", curve, 12);

  printf("\nThe melting run resampled on the finer grid by a natural cubic spline:\n");
  for (i = 0; i < 61; ++i) fluorescence[i] = melt_signal(readings[i]);
  status = report("alg_cubic_interpolation(readings, fluorescence, 61, grid, out, 601)",
                  alg_cubic_interpolation(readings, fluorescence, 61, fine, resampled, 601));
  if (status != ALG_STATUS_OK) return 1;
  for (i = 330; i <= 340; i += 5) {
    printf("  %.2f degrees: %.2f (exact curve %.2f)\n", fine[i], resampled[i],
           melt_signal(fine[i]));
  }

  printf("\nWhat a host sees when a call is refused:\n");
  report("alg_interpolation_x(readings, 2, 10)", alg_interpolation_x(readings, 2, 10, fine));
  report("alg_increasing(0, 1, 0)", alg_increasing(0.0, 1.0, 0, cycles));
  report("alg_interpolation_x(readings, 61, -1)", alg_interpolation_x(readings, 61, -1, fine));
  report("alg_cubic_interpolation(readings, fluorescence, 2, grid, out, 601)",
         alg_cubic_interpolation(readings, fluorescence, 2, fine, resampled, 601));
  printf("  after a successful call the message is empty: \"%s\"\n",
         (alg_darray_release(NULL), get_last_error()));
  return 0;
}

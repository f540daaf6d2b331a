/*
 * A host written in plain C99 against the shared library: the record
 * layouts as a C compiler sees them, the diagnostics functions, results,
 * status codes and messages of all 32 exports (grids, smoothing, spline,
 * amplification, quantification, melting and peak fitting), the record
 * layout self-test, and the release of result arrays and handles.
 *
 * Prints one line per failed check and a final "N passed, M failed" line;
 * exits non-zero when a check failed.
 */
#include <stdio.h>
#include <string.h>

#include "CorvelAlg.h"

static int passed = 0;
static int failed = 0;

static void check(int ok, const char* what, int line) {
  if (ok) {
    ++passed;
  } else {
    ++failed;
    printf("FAILED (line %d): %s\n", line, what);
  }
}

#define CHECK(cond) check((cond) ? 1 : 0, #cond, __LINE__)

/* Layout checks: the header asserts them at compile time; a host built by
 * another compiler or with other packing options sees them here. */
#define CHECK_SIZE(type, size) \
  check(sizeof(type) == (size), "sizeof(" #type ") == " #size, __LINE__)
#define CHECK_OFFSET(type, field, offset) \
  check(offsetof(type, field) == (offset), "offsetof(" #type ", " #field ") == " #offset, __LINE__)

/* The last error equals `expected` byte for byte, terminating NUL included. */
static void check_message(const char* expected, const char* what, int line) {
  const char* actual = get_last_error();
  size_t i;
  if (strcmp(actual, expected) == 0) {
    check(1, what, line);
    return;
  }
  check(0, what, line);
  printf("    expected:");
  for (i = 0; expected[i] != '\0'; ++i) printf(" %02x", (unsigned)(unsigned char)expected[i]);
  printf("\n    actual:  ");
  for (i = 0; actual[i] != '\0'; ++i) printf(" %02x", (unsigned)(unsigned char)actual[i]);
  printf("\n");
}

#define CHECK_MESSAGE(expected) check_message((expected), "last error is " #expected, __LINE__)

/* "length 长度必需大于0" and "数组过少无法操作。" in code page 936. */
static const char length_message[] =
    "length \xb3\xa4\xb6\xc8\xb1\xd8\xd0\xe8\xb4\xf3\xd3\xda"
    "0";
static const char too_few_message[] =
    "\xca\xfd\xd7\xe9\xb9\xfd\xc9\xd9\xce\xde\xb7\xa8\xb2\xd9\xd7\xf7\xa1\xa3";

/* "数组长度应该大于等于3。" in code page 936. */
static const char too_few_knots_message[] =
    "\xca\xfd\xd7\xe9\xb3\xa4\xb6\xc8\xd3\xa6\xb8\xc3\xb4\xf3\xd3\xda\xb5\xc8\xd3\xda"
    "3\xa1\xa3";

/* "ctCount 不能小于 wellCount。" in code page 936. */
static const char ct_count_message[] = "ctCount \xb2\xbb\xc4\xdc\xd0\xa1\xd3\xda wellCount\xa1\xa3";

/* "参数错误。" and "输入参数错误。" in code page 936. */
static const char parameter_message[] = "\xb2\xce\xca\xfd\xb4\xed\xce\xf3\xa1\xa3";
static const char input_parameter_message[] =
    "\xca\xe4\xc8\xeb\xb2\xce\xca\xfd\xb4\xed\xce\xf3\xa1\xa3";

/* "温度数据不能小于4个。" in code page 936. */
static const char too_few_temperatures_message[] =
    "\xce\xc2\xb6\xc8\xca\xfd\xbe\xdd\xb2\xbb\xc4\xdc\xd0\xa1\xd3\xda"
    "4\xb8\xf6\xa1\xa3";

/* "GaussCoeff 数据无效。" and "峰值小于零" in code page 936. */
static const char gauss_coeff_message[] = "GaussCoeff \xca\xfd\xbe\xdd\xce\xde\xd0\xa7\xa1\xa3";
static const char peak_below_zero_message[] = "\xb7\xe5\xd6\xb5\xd0\xa1\xd3\xda\xc1\xe3";

static const double guard = -9.87654321e300;

static void fill(double* values, size_t count) {
  size_t i;
  for (i = 0; i < count; ++i) values[i] = guard;
}

static int untouched(const double* values, size_t from, size_t count) {
  size_t i;
  for (i = from; i < count; ++i) {
    if (values[i] != guard) return 0;
  }
  return 1;
}

static void check_layouts(void) {
  CHECK_SIZE(WellCurveInfo, 144);
  CHECK_OFFSET(WellCurveInfo, steepestIndex, 0);
  CHECK_OFFSET(WellCurveInfo, crossingRatio, 8);
  CHECK_OFFSET(WellCurveInfo, reserved1, 16);
  CHECK_OFFSET(WellCurveInfo, stepRise, 24);
  CHECK_OFFSET(WellCurveInfo, maxSlope, 32);
  CHECK_OFFSET(WellCurveInfo, reserved2, 40);
  CHECK_OFFSET(WellCurveInfo, cycle3Value, 48);
  CHECK_OFFSET(WellCurveInfo, maxValue, 56);
  CHECK_OFFSET(WellCurveInfo, reserved3, 64);
  CHECK_OFFSET(WellCurveInfo, reserved4, 72);
  CHECK_OFFSET(WellCurveInfo, baselineSlope, 80);
  CHECK_OFFSET(WellCurveInfo, reserved5, 88);
  CHECK_OFFSET(WellCurveInfo, baselineStart, 96);
  CHECK_OFFSET(WellCurveInfo, baselineEnd, 98);
  CHECK_OFFSET(WellCurveInfo, reservedShort, 100);
  CHECK_OFFSET(WellCurveInfo, sigmoidTop, 104);
  CHECK_OFFSET(WellCurveInfo, sigmoidMid, 112);
  CHECK_OFFSET(WellCurveInfo, sigmoidRate, 120);
  CHECK_OFFSET(WellCurveInfo, baselineNoise, 128);
  CHECK_OFFSET(WellCurveInfo, lowSignal, 136);
  CHECK_OFFSET(WellCurveInfo, noRise, 137);
  CHECK_OFFSET(WellCurveInfo, reservedFlags, 138);
  CHECK_SIZE(((WellCurveInfo*)0)->reservedFlags, 6);

  CHECK_SIZE(LinearFit, 32);
  CHECK_OFFSET(LinearFit, slope, 0);
  CHECK_OFFSET(LinearFit, intercept, 8);
  CHECK_OFFSET(LinearFit, rmse, 16);
  CHECK_OFFSET(LinearFit, rSquared, 24);

  CHECK_SIZE(RqOptions, 20);
  CHECK_OFFSET(RqOptions, modeA, 0);
  CHECK_OFFSET(RqOptions, modeB, 4);
  CHECK_OFFSET(RqOptions, errorBarType, 8);
  CHECK_OFFSET(RqOptions, confidenceIndex, 12);
  CHECK_OFFSET(RqOptions, sdMultiple, 16);

  CHECK_SIZE(RqResult, 56);
  CHECK_OFFSET(RqResult, value, 0);
  CHECK_OFFSET(RqResult, sd, 8);
  CHECK_OFFSET(RqResult, se, 16);
  CHECK_OFFSET(RqResult, rq, 24);
  CHECK_OFFSET(RqResult, lower, 32);
  CHECK_OFFSET(RqResult, upper, 40);
  CHECK_OFFSET(RqResult, ddct, 48);

  CHECK_SIZE(MgfOptions, 40);
  CHECK_OFFSET(MgfOptions, reserved0, 0);
  CHECK_OFFSET(MgfOptions, reserved1, 8);
  CHECK_OFFSET(MgfOptions, peakWidth, 16);
  CHECK_OFFSET(MgfOptions, reserved2, 24);
  CHECK_OFFSET(MgfOptions, reserved3, 32);

  CHECK_SIZE(MeltBackground, 24);
  CHECK_OFFSET(MeltBackground, level, 0);
  CHECK_OFFSET(MeltBackground, midTemperature, 8);
  CHECK_OFFSET(MeltBackground, steepness, 16);

  CHECK_SIZE(FilterLimits, 24);
  CHECK_OFFSET(FilterLimits, minAmplitude, 0);
  CHECK_OFFSET(FilterLimits, maxFwhm, 8);
  CHECK_OFFSET(FilterLimits, minFwhm, 16);
}

static void check_diagnostics(void) {
  CHECK(version() != NULL);
  CHECK(strcmp(version(), "1.1.2") == 0);
  CHECK(strcmp(version(), CORVELALG_VERSION_STRING) == 0);
  CHECK(get_last_error() == get_last_error());
}

static void check_increasing(void) {
  double out[6];
  int status;

  fill(out, 6);
  status = alg_increasing(1.0, 0.5, 4, out);
  CHECK(status == ALG_STATUS_OK);
  CHECK(out[0] == 1.0 && out[1] == 1.5 && out[2] == 2.0 && out[3] == 2.5);
  CHECK(untouched(out, 4, 6));
  CHECK_MESSAGE("");

  fill(out, 6);
  status = alg_increasing(1.0, 0.5, 0, out);
  CHECK(status == ALG_STATUS_INVALID_ARGUMENT);
  CHECK_MESSAGE(length_message);
  CHECK(untouched(out, 0, 6));

  /* The message survives reading it and asking for the version. */
  CHECK_MESSAGE(length_message);
  CHECK(strcmp(version(), "1.1.2") == 0);
  CHECK_MESSAGE(length_message);

  /* An absurd count cannot be allocated. */
  status = alg_increasing(1.0, 0.5, (size_t)-1, out);
  CHECK(status == ALG_STATUS_FAILURE);
  CHECK_MESSAGE("bad array new length");
  CHECK(untouched(out, 0, 6));
}

static void check_interpolation(void) {
  const double x[3] = {20.0, 95.0, 22.0};
  double out[11];
  int status;
  int i;
  int exact = 1;

  fill(out, 11);
  status = alg_interpolation_x(x, 3, 4, out);
  CHECK(status == ALG_STATUS_OK);
  for (i = 0; i < 9; ++i) {
    if (out[i] != 20.0 + 0.25 * i) exact = 0;
  }
  CHECK(exact);
  CHECK(untouched(out, 9, 11));

  fill(out, 11);
  status = alg_interpolation_x(x, 2, 4, out);
  CHECK(status == ALG_STATUS_INVALID_ARGUMENT);
  CHECK_MESSAGE(too_few_message);
  CHECK(untouched(out, 0, 11));

  status = alg_interpolation_x(x, 3, -1, out);
  CHECK(status == ALG_STATUS_FAILURE);
  CHECK_MESSAGE("bad array new length");
  CHECK(untouched(out, 0, 11));
}

static void check_smoothing(void) {
  double curve[8] = {1.0, 2.0, 4.0, 8.0, 16.0, 32.0, 64.0, 0.0};
  double spike[8] = {0.0, 0.0, 0.0, 10.0, 0.0, 0.0, 0.0, 0.0};
  double ends[4] = {1.0, 2.0, 3.0, 10.0};
  int status;
  int i;
  int zeros = 1;

  curve[7] = guard;
  status = alg_run_smooth(curve, 7);
  CHECK(status == ALG_STATUS_OK);
  CHECK(curve[0] > 2.23341 && curve[0] < 2.23343);
  CHECK(curve[3] > 8.71700 && curve[3] < 8.71702);
  CHECK(curve[6] == 64.0);
  CHECK(curve[7] == guard);

  status = alg_run_smooth(spike, 8);
  CHECK(status == ALG_STATUS_OK);
  for (i = 0; i < 8; ++i) {
    if (spike[i] != 0.0) zeros = 0;
  }
  CHECK(zeros);

  status = alg_super_smooth(ends, 4, 1);
  CHECK(status == ALG_STATUS_OK);
  CHECK(ends[0] == 1.5 && ends[1] == 2.0 && ends[2] == 5.0 && ends[3] == 6.5);

  /* A half-width of 2^31 or more is negative: every window is empty. */
  status = alg_super_smooth(ends, 4, 0x80000000u);
  CHECK(status == ALG_STATUS_OK);
  CHECK(ends[0] != ends[0] && ends[3] != ends[3]);
}

static void check_spline(void) {
  const double x[3] = {0.0, 1.0, 2.0};
  const double y[3] = {0.0, 1.0, 0.0};
  const double xq[3] = {1.0, 0.5, 3.0};
  double yq[5];
  int status;

  fill(yq, 5);
  status = alg_cubic_interpolation(x, y, 3, xq, yq, 3);
  CHECK(status == ALG_STATUS_OK);
  CHECK(yq[0] == 1.0 && yq[1] == 0.6875 && yq[2] == -1.0);
  CHECK(untouched(yq, 3, 5));

  fill(yq, 5);
  status = alg_cubic_interpolation(x, y, 2, xq, yq, 3);
  CHECK(status == ALG_STATUS_INVALID_ARGUMENT);
  CHECK_MESSAGE(too_few_knots_message);
  CHECK(untouched(yq, 0, 5));
}

/* Two wells of 40 cycles: a rising curve with its midpoint at cycle 22
 * and one 3 cycles later, written as a rational step so that no maths
 * library is needed. */
static void make_plate(double* data) {
  int w;
  int c;
  for (w = 0; w < 2; ++w) {
    for (c = 1; c <= 40; ++c) {
      double u = (c - 22.0 - 3.0 * w) / 1.5;
      double step = 0.5 + 0.5 * u / (1.0 + (u < 0 ? -u : u));
      data[w * 40 + c - 1] = 1000.0 + 2.0 * c + 8000.0 * step * step;
    }
  }
}

static void check_amplification(void) {
  double data[80];
  double curves[82];
  double ct[3];
  double sigmoid_ct[2];
  double threshold = guard;
  double params[3] = {100.0, 20.0, 1.0};
  double x[3] = {20.0, 21.0, 19.0};
  double samples[10];
  double result = guard;
  WellCurveInfo infos[2];
  WellCurveInfo record;
  unsigned char* bytes = (unsigned char*)&record;
  int status;
  int i;

  make_plate(data);
  memset(infos, 0, sizeof infos);
  status = alg_calc_threshold(infos, 2, data, 2, 40, &threshold);
  CHECK(status == ALG_STATUS_OK);
  CHECK(threshold >= 100.0 && threshold < 9000.0);
  CHECK(infos[0].baselineStart == 3 && infos[1].baselineEnd > 0);
  CHECK(infos[0].sigmoidTop > 1000.0);

  fill(curves, 82);
  fill(ct, 3);
  status = alg_linear_batch_calc_ct(infos, 3, threshold, data, 2, 40, curves, ct);
  CHECK(status == ALG_STATUS_OK);
  CHECK(ct[0] > 10.0 && ct[0] < 25.0);
  CHECK(ct[1] > ct[0] + 1.0 && ct[1] < ct[0] + 5.0);
  CHECK(ct[2] == 0.0);
  CHECK(untouched(curves, 80, 82));

  fill(ct, 3);
  status = alg_linear_batch_calc_ct(infos, 1, threshold, data, 2, 40, curves, ct);
  CHECK(status == ALG_STATUS_INVALID_ARGUMENT);
  CHECK_MESSAGE(ct_count_message);
  CHECK(untouched(ct, 0, 3));

  status = alg_sigmoid_batch_calc_ct(infos, 2, 0, sigmoid_ct);
  CHECK(status == ALG_STATUS_OK);
  CHECK(sigmoid_ct[1] > sigmoid_ct[0]);

  status = alg_sigmoid(params, x, 3);
  CHECK(status == ALG_STATUS_OK);
  CHECK(x[0] == 50.0 && x[1] > 73.1058 && x[1] < 73.1059 && x[2] > 26.8941 && x[2] < 26.8942);

  for (i = 0; i < 10; ++i) samples[i] = 100.0 - (i + 1 - 5.0) * (i + 1 - 5.0);
  status = alg_sample_data_fitting(samples, 10, &result);
  CHECK(status == ALG_STATUS_OK);
  CHECK(result > 99.999999 && result < 100.000001);

  /* The layout self-test as a host runs it. */
  memset(&record, 0xee, sizeof record);
  record.steepestIndex = 1.1;
  record.crossingRatio = 2.2;
  record.reserved1 = 3.3;
  record.stepRise = 4.4;
  record.maxSlope = 0.0;
  record.reserved2 = 1.0;
  record.cycle3Value = 2.0;
  record.maxValue = 3.0;
  record.reserved3 = 4.0;
  record.reserved4 = 5.0;
  record.baselineSlope = 6.0;
  record.reserved5 = 7.0;
  record.baselineStart = 1;
  record.baselineEnd = 2;
  record.reservedShort = 3;
  record.baselineNoise = 5.5;
  for (i = 0; i < 8; ++i) bytes[136 + i] = (unsigned char)(i % 2 == 0 ? 1 : 0);
  CHECK(test_fitting_result(&record) == 0);
  CHECK(record.steepestIndex == 2.2 && record.stepRise == 8.8 && record.reserved5 == 14.0);
  CHECK(record.baselineStart == 2 && record.baselineEnd == 4 && record.reservedShort == 6);
  CHECK(record.baselineNoise == 11.0 && bytes[136] == 0 && bytes[143] == 1);
  CHECK(bytes[102] == 0xee && bytes[103] == 0xee);
  CHECK(test_fitting_result(&record) == ALG_STATUS_INVALID_ARGUMENT);
}

static void check_quantification(void) {
  const double x[4] = {1.0, 2.0, 3.0, 4.0};
  const double y[4] = {30.0, 27.0, 24.0, 21.0};
  const double replicates[9] = {3.0, 20.0, 21.0, 22.0, 1.0, 3.0, 15.0, 15.5, 16.0};
  const double short_input[4] = {1.0, 20.0, 1.0, 1.0};
  const int32_t ct_mode = 1;
  LinearFit fit = {0.0, 0.0, 0.0, 0.0};
  RqOptions options = {1, 1, 2, 0, 1};
  RqResult rq;
  double* summary = NULL;
  size_t summary_count = 0;
  int status;

  status = alg_calc_standard(x, 4, y, 4, &fit);
  CHECK(status == ALG_STATUS_OK);
  CHECK(fit.slope == -3.0 && fit.intercept == 33.0 && fit.rmse == 0.0 && fit.rSquared == 1.0);

  status = alg_calc_sd(&ct_mode, replicates, 9, &summary, &summary_count);
  CHECK(status == ALG_STATUS_OK);
  CHECK(summary != NULL && summary_count == 13);
  if (summary != NULL && summary_count == 13) {
    CHECK(summary[0] == 5.5 && summary[3] == 6.0 && summary[4] == 21.0 && summary[10] == 15.5);
    CHECK(summary[1] > 1.118033 && summary[1] < 1.118035);

    /* The summary's Ct difference against a calibrator of 1.5: 2^-4. */
    memset(&rq, 0, sizeof rq);
    status = alg_calc_rq(&options, summary, summary_count, 1.5, &rq);
    CHECK(status == ALG_STATUS_OK);
    CHECK(rq.ddct == 4.0 && rq.rq == 0.0625 && rq.lower < rq.rq && rq.upper > rq.rq);

    /* Three values lie below the t table's first row (df 2 needs 4): 20. */
    options.errorBarType = 1;
    rq.lower = guard;
    summary[3] = 3.0;
    status = alg_calc_rq(&options, summary, summary_count, 1.5, &rq);
    CHECK(status == ALG_STATUS_OUT_OF_RANGE);
    CHECK_MESSAGE(parameter_message);
    CHECK(rq.rq == 0.0625 && rq.lower == guard);
  }
  CHECK(alg_darray_release(&summary) == ALG_STATUS_OK);
  CHECK(summary == NULL);

  summary_count = 77;
  status = alg_calc_sd(&ct_mode, short_input, 4, &summary, &summary_count);
  CHECK(status == ALG_STATUS_INVALID_ARGUMENT);
  CHECK_MESSAGE(input_parameter_message);
  CHECK(summary == NULL && summary_count == 77);
}

static void check_melting(void) {
  double t[21];
  double f[21];
  double values[4] = {0.0, 0.0, 0.0, 10.0};
  double* grid = NULL;
  double* derivative = NULL;
  size_t count = 0;
  size_t i;
  size_t peak = 0;
  int status;

  /* A dye that lets go around 80 degrees, read every degree from 70. */
  for (i = 0; i < 21; ++i) {
    double u = ((double)i + 70.0 - 80.0) / 1.5;
    t[i] = 70.0 + (double)i;
    f[i] = 200.0 + 1000.0 * (0.5 - 0.5 * u / (1.0 + (u < 0 ? -u : u)));
  }
  status = alg_melting(21, t, f, &count, &grid, &derivative);
  CHECK(status == ALG_STATUS_OK);
  CHECK(count == 201 && grid != NULL && derivative != NULL);
  if (status == ALG_STATUS_OK && count == 201) {
    CHECK(grid[0] == 70.0 && grid[200] == 90.0);
    for (i = 1; i < count; ++i) {
      if (derivative[i] > derivative[peak]) peak = i;
    }
    CHECK(grid[peak] > 79.0 && grid[peak] < 81.0 && derivative[peak] > 0.0);
  }
  alg_darray_release(&grid);
  alg_darray_release(&derivative);
  CHECK(grid == NULL && derivative == NULL);

  count = 5;
  status = alg_melting(3, t, f, &count, &grid, &derivative);
  CHECK(status == ALG_STATUS_INVALID_ARGUMENT);
  CHECK_MESSAGE(too_few_temperatures_message);
  CHECK(count == 5 && grid == NULL && derivative == NULL);

  status = alg_melting_normalization(values, 4);
  CHECK(status == ALG_STATUS_OK);
  CHECK(values[0] == 0.0 && values[3] > 7.3169 && values[3] < 7.3171);
}

/* A curve of two Gaussians, (5, 70, 0.8) and (3, 74, 0.6), sampled every
 * 0.1 degree from 65 to 80 by the library's own model function. */
static void check_peak_fitting(void) {
  double x[151];
  double zeros[151];
  const double amplitudes[2] = {5.0, 3.0};
  const double centers[2] = {70.0, 74.0};
  const double widths[2] = {0.8, 0.6};
  const double three[3] = {1.0, 2.0, 3.0};
  MgfOptions options;
  FilterLimits limits = {1.0, 10.0, 0.5};
  MeltBackground background;
  MgfModel* truth = NULL;
  MgfModel* model = NULL;
  GaussCoeff* set = NULL;
  GaussCoeff* start = NULL;
  GaussCoeff* kept = NULL;
  GaussCoeff* fixed = NULL;
  double* curve = NULL;
  double* values = NULL;
  double* a = NULL;
  double* b = NULL;
  double* w = NULL;
  size_t na = 0;
  size_t nb = 0;
  size_t nw = 0;
  size_t n = 0;
  size_t i;
  int status;

  memset(&options, 0, sizeof options);
  options.peakWidth = 0.8;
  for (i = 0; i < 151; ++i) {
    x[i] = 65.0 + 0.1 * (double)i;
    zeros[i] = 0.0;
  }
  CHECK(alg_create_gausscoeff(&set) == ALG_STATUS_OK && set != NULL);
  CHECK(alg_set_gausscoeff_data(set, 2, amplitudes, 2, centers, 2, widths) == ALG_STATUS_OK);
  CHECK(alg_mgf_create(x, 151, zeros, 151, &options, &truth) == ALG_STATUS_OK);
  CHECK(alg_mgf_multi_gauss(truth, set, &curve, &n) == ALG_STATUS_OK && n == 151);

  /* Start peaks from the sampled curve, refined and filtered. */
  CHECK(alg_mgf_create(x, 151, curve, 151, &options, &model) == ALG_STATUS_OK);
  CHECK(alg_mgf_local_max_value_id(model, &start) == ALG_STATUS_OK);
  CHECK(alg_mgf_solve(model, start) == ALG_STATUS_OK);
  CHECK(alg_mgf_coeff_filter(&limits, start, &kept) == ALG_STATUS_OK);
  CHECK(alg_get_gausscoeff_data(kept, &na, &a, &nb, &b, &nw, &w) == ALG_STATUS_OK);
  CHECK(na == 2 && nb == 2 && nw == 2);
  if (na == 2 && nb == 2 && nw == 2) {
    CHECK(b[0] > 69.99 && b[0] < 70.01 && b[1] > 73.99 && b[1] < 74.01);
    CHECK(a[0] > 4.99 && a[0] < 5.01 && w[1] > 0.59 && w[1] < 0.61);
  }
  alg_darray_release(&a);
  alg_darray_release(&b);
  alg_darray_release(&w);

  CHECK(alg_mgf_local_max_value_id_origin(x, 151, curve, 151, &fixed) == ALG_STATUS_OK);
  CHECK(alg_mgf_melting_stimulate(model, kept, &background, &values, &n) == ALG_STATUS_OK);
  CHECK(n == 151 && background.steepness == 3.0);
  alg_darray_release(&values);
  CHECK(alg_mgf_melting_stim_peak(model, kept, &background, &values, &n) == ALG_STATUS_OK);
  CHECK(n == 2);
  alg_darray_release(&values);

  /* A set whose counts differ is refused where it is evaluated. */
  CHECK(alg_set_gausscoeff_data(set, 3, three, 2, centers, 2, widths) == ALG_STATUS_OK);
  values = NULL;
  status = alg_mgf_multi_gauss(model, set, &values, &n);
  CHECK(status == ALG_STATUS_INVALID_ARGUMENT && values == NULL);
  CHECK_MESSAGE(gauss_coeff_message);

  /* Maxima at or below zero (a ripple below the axis) cannot be given a width. */
  for (i = 0; i < 151; ++i) zeros[i] = -1.0 - (i == 75 ? -1.0 : 0.01 * (double)(i % 2));
  alg_mgf_release(&truth);
  CHECK(alg_mgf_create(x, 151, zeros, 151, &options, &truth) == ALG_STATUS_OK);
  alg_gausscoeff_release(&fixed);
  status = alg_mgf_local_max_value_id(truth, &fixed);
  CHECK(status == ALG_STATUS_FAILURE && fixed == NULL);
  CHECK_MESSAGE(peak_below_zero_message);

  alg_darray_release(&curve);
  alg_gausscoeff_release(&set);
  alg_gausscoeff_release(&start);
  alg_gausscoeff_release(&kept);
  alg_gausscoeff_release(&fixed);
  alg_mgf_release(&model);
  alg_mgf_release(&truth);
  CHECK(set == NULL && kept == NULL && model == NULL && truth == NULL);
  CHECK(alg_gausscoeff_release(&set) == ALG_STATUS_OK && alg_mgf_release(NULL) == ALG_STATUS_OK);
}

static void check_release(void) {
  double* nothing = NULL;
  int status;

  /* Leave a message, then see the release empty it. */
  status = alg_increasing(0.0, 1.0, 0, NULL);
  CHECK(status == ALG_STATUS_INVALID_ARGUMENT);
  CHECK_MESSAGE(length_message);
  status = alg_darray_release(NULL);
  CHECK(status == ALG_STATUS_OK);
  CHECK_MESSAGE("");

  status = alg_darray_release(&nothing);
  CHECK(status == ALG_STATUS_OK);
  CHECK(nothing == NULL);
}

int main(void) {
  /* Before any call has failed the buffer is empty. */
  CHECK_MESSAGE("");

  check_layouts();
  check_diagnostics();
  check_increasing();
  check_interpolation();
  check_smoothing();
  check_spline();
  check_amplification();
  check_quantification();
  check_melting();
  check_peak_fitting();
  check_release();

  printf("%d passed, %d failed\n", passed, failed);
  return failed > 0 ? 1 : 0;
}

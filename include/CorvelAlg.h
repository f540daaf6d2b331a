/*
 * CorvelAlg.h - the public interface of the CorvelAlg library.
 *
 * CorvelAlg computes the numbers of a real-time PCR (qPCR) analysis:
 * baseline-corrected amplification curves, an automatic threshold, Ct values
 * by the threshold-crossing and by the sigmoid method, standard curves,
 * replicate statistics and relative quantities with error bars, derivative
 * melting curves and multi-Gaussian melting peaks.
 *
 * This header is the whole published interface: if a definition does not
 * appear here, it is not part of the API. It compiles as C99 and as C++.
 *
 * ---------------------------------------------------------------------------
 * Conventions shared by every function
 * ---------------------------------------------------------------------------
 *
 * Status. Every function except get_last_error() and version() returns an
 * int status:
 *
 *     ALG_STATUS_OK                0   success
 *     ALG_STATUS_INVALID_ARGUMENT  10  an argument is not acceptable
 *     ALG_STATUS_OUT_OF_RANGE      20  an index or range lies out of bounds
 *     ALG_STATUS_FAILURE           100 anything else, including exhausted
 *                                      memory ("bad allocation") and sizes
 *                                      that cannot be represented
 *                                      ("bad array new length")
 *
 * No other value is ever returned.
 *
 * Last error. A failing call leaves a message in one process-wide buffer of
 * 256 bytes; get_last_error() returns it. Every function that returns a
 * status empties the buffer when it is entered (test_fitting_result() is the
 * one exception: it never touches it). So: check the status, and read the
 * message before the next call into the library - from any thread. The
 * buffer is not synchronised; it is the only state shared between calls.
 *
 * Messages are fixed texts. The library's own messages are Chinese, stored
 * and returned as GBK bytes (code page 936) without any conversion; the
 * allocation messages "bad allocation" and "bad array new length" and the
 * fallback "Unknown exception" are ASCII. A host that shows a message to a
 * user converts it from GBK itself (examples/host_demo.c shows one way).
 *
 * Arrays and counts. Inputs come first as (pointer, count) pairs; counts are
 * numbers of elements (size_t), never bytes. A function reads exactly the
 * number of elements it is told to: a count larger than the caller's array
 * is the caller's error and is not detected. A count of 0 never reads the
 * pointer, which may then be NULL; a NULL array with a non-zero count is
 * refused with ALG_STATUS_INVALID_ARGUMENT and "数据不能为空。" ("the data
 * must not be empty") before anything is written. Inputs are copied
 * before use; caller arrays change only where a function says it works in
 * place, and output buffers and records are written only after the
 * computation has succeeded, unless a function names fields written
 * earlier.
 *
 * Numbers are IEEE 754 doubles. An undetermined Ct is a quiet NaN, not an
 * error. Results are reproducible to the last bit on every platform.
 *
 * Result arrays. Functions whose result length the caller cannot know hand
 * out a block of doubles through a (double **, size_t *) pair. Once the call
 * has returned ALG_STATUS_OK the block belongs to the caller, who releases
 * it with alg_darray_release(). A result of length 0 is still a valid
 * non-null block that must be released. On failure the pointer and count
 * out-parameters keep the values they had.
 *
 * Handles. GaussCoeff and MgfModel are opaque handles created by the
 * library and owned by the caller; each has a release function that takes
 * the address of the caller's handle variable, accepts NULL, frees
 * everything and sets the variable to NULL.
 *
 * Threads. The library starts no threads and takes no locks. Functions may
 * be called from any thread on distinct data; the last-error buffer is the
 * one shared object (see above).
 *
 * Memory. All memory comes from the C run-time's malloc; blocks handed to
 * the caller may therefore also be released with free() by a host that
 * shares the library's run-time, though alg_darray_release() is the portable
 * way.
 */
#ifndef CORVELALG_H
#define CORVELALG_H

#include <stddef.h>
#include <stdint.h>

/* ------------------------------------------------------------------------ */
/* Export macro */
/* ------------------------------------------------------------------------ */

#if defined(_WIN32) || defined(__CYGWIN__)
#if defined(CORVELALG_STATIC)
#define CORVELALG_API
#elif defined(CORVELALG_BUILDING)
#define CORVELALG_API __declspec(dllexport)
#else
#define CORVELALG_API __declspec(dllimport)
#endif
#elif defined(__GNUC__) || defined(__clang__)
#define CORVELALG_API __attribute__((visibility("default")))
#else
#define CORVELALG_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------ */
/* Version and status codes */
/* ------------------------------------------------------------------------ */

/* The version this header describes; version() returns the library's. */
#define CORVELALG_VERSION_MAJOR 1
#define CORVELALG_VERSION_MINOR 1
#define CORVELALG_VERSION_PATCH 2
#define CORVELALG_VERSION_STRING "1.1.2"

#define ALG_STATUS_OK 0
#define ALG_STATUS_INVALID_ARGUMENT 10
#define ALG_STATUS_OUT_OF_RANGE 20
#define ALG_STATUS_FAILURE 100

/* Size of the last-error buffer, terminating NUL included. */
#define ALG_LAST_ERROR_CAPACITY 256

/* ------------------------------------------------------------------------ */
/* Caller records */
/* ------------------------------------------------------------------------ */

/*
 * WellCurveInfo - one per well of an amplification run, 144 bytes.
 *
 * The caller allocates an array of these (records 144 bytes apart), zeroes
 * it before the first analysis and passes it to alg_calc_threshold(),
 * alg_linear_batch_calc_ct() and alg_sigmoid_batch_calc_ct(). The library
 * reads and writes the records in place and never allocates or frees them.
 *
 * baselineStart/baselineEnd choose the baseline window: 0 means automatic.
 * The analysis writes the automatic values back, and a later call with the
 * same record takes them as given. The two flags are only ever set, never
 * cleared, by the library. The reserved fields are never used by the
 * analysis; test_fitting_result() examines them to check the layout.
 */
typedef struct WellCurveInfo {
  double steepestIndex;  /* 0: 0-based index of the steepest rise */
  double crossingRatio;  /* 8: ratio of the values bracketing the Ct */
  double reserved1;      /* 16 */
  double stepRise;       /* 24: larger of two one-cycle rises */
  double maxSlope;       /* 32: largest slope of the tilt-corrected curve */
  double reserved2;      /* 40 */
  double cycle3Value;    /* 48: curve value at cycle 3 */
  double maxValue;       /* 56: largest value of the curve */
  double reserved3;      /* 64 */
  double reserved4;      /* 72 */
  double baselineSlope;  /* 80: slope of the baseline line */
  double reserved5;      /* 88 */
  int16_t baselineStart; /* 96: first baseline cycle, 1-based; 0 = auto */
  int16_t baselineEnd;   /* 98: 0-based last baseline index; 0 = auto */
  int16_t reservedShort; /* 100 */
  /* 102: two bytes of alignment padding, never read or written */
  double sigmoidTop;        /* 104: logistic plateau height */
  double sigmoidMid;        /* 112: logistic midpoint cycle */
  double sigmoidRate;       /* 120: logistic steepness per cycle */
  double baselineNoise;     /* 128: population SD of the baseline window */
  uint8_t lowSignal;        /* 136: set to 1 when the maximum is below 300 */
  uint8_t noRise;           /* 137: set to 1 when the curve does not rise */
  uint8_t reservedFlags[6]; /* 138 */
} WellCurveInfo;

/* A straight line y = slope * x + intercept with its goodness of fit. */
typedef struct LinearFit {
  double slope;
  double intercept;
  double rmse;     /* sqrt(sum of squared residuals / n) */
  double rSquared; /* 1 - SSE / SST */
} LinearFit;

/* Options of alg_calc_rq(), five 32-bit integers. */
typedef struct RqOptions {
  int32_t modeA;           /* 1 = Ct mode, 2 = quantity mode */
  int32_t modeB;           /* second mode field, same codes */
  int32_t errorBarType;    /* 1 = Student t interval, 2 = multiple of SD */
  int32_t confidenceIndex; /* 0..5 = 95, 97, 99, 99.5, 99.7, 99.9 % */
  int32_t sdMultiple;      /* k for errorBarType 2 */
} RqOptions;

/* Result of alg_calc_rq(), seven doubles. */
typedef struct RqResult {
  double value; /* copied from the summary */
  double sd;    /* copied from the summary */
  double se;    /* copied from the summary */
  double rq;    /* relative quantity */
  double lower; /* lower end of the error bar */
  double upper; /* upper end of the error bar */
  double ddct;  /* value - calibrator; written only in Ct form */
} RqResult;

/* Options of a multi-Gaussian model, 40 bytes, copied whole at creation. */
typedef struct MgfOptions {
  uint64_t reserved0; /* 0: stored, never read */
  uint64_t reserved1; /* 8: stored, never read */
  double peakWidth;   /* 16: expected melting peak width, in x units */
  uint64_t reserved2; /* 24: stored, never read */
  double reserved3;   /* 32: stored, never read */
} MgfOptions;

/* Sigmoid background of a synthetic melting curve. */
typedef struct MeltBackground {
  double level;          /* A, the plateau level */
  double midTemperature; /* T_m, in x units */
  double steepness;      /* k, per x unit */
} MeltBackground;

/* Limits of alg_mgf_coeff_filter(). Note the order: maximum before minimum. */
typedef struct FilterLimits {
  double minAmplitude; /* a peak passes when its amplitude is greater */
  double maxFwhm;      /* ... its FWHM is at most this ... */
  double minFwhm;      /* ... and at least this */
} FilterLimits;

/* Opaque handles. */
typedef struct GaussCoeff GaussCoeff; /* a set of Gaussian peaks */
typedef struct MgfModel MgfModel;     /* a curve to describe with them */

/* Compile-time checks of the binary layouts above. */
#ifdef __cplusplus
#define CORVELALG_LAYOUT_CHECK(cond, name) static_assert(cond, #name)
#else
#define CORVELALG_LAYOUT_CHECK(cond, name) \
  typedef char corvelalg_layout_check_##name[(cond) ? 1 : -1]
#endif
CORVELALG_LAYOUT_CHECK(sizeof(int) == 4, int_is_32_bits);
CORVELALG_LAYOUT_CHECK(sizeof(double) == 8, double_is_64_bits);
CORVELALG_LAYOUT_CHECK(sizeof(WellCurveInfo) == 144, well_curve_info_size);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, crossingRatio) == 8, wci_crossing_ratio);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, stepRise) == 24, wci_step_rise);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, maxSlope) == 32, wci_max_slope);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, cycle3Value) == 48, wci_cycle3_value);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, maxValue) == 56, wci_max_value);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, baselineSlope) == 80, wci_baseline_slope);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, reserved5) == 88, wci_reserved5);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, baselineStart) == 96, wci_baseline_start);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, baselineEnd) == 98, wci_baseline_end);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, reservedShort) == 100, wci_reserved_short);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, sigmoidTop) == 104, wci_sigmoid_top);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, sigmoidMid) == 112, wci_sigmoid_mid);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, sigmoidRate) == 120, wci_sigmoid_rate);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, baselineNoise) == 128, wci_baseline_noise);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, lowSignal) == 136, wci_low_signal);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, noRise) == 137, wci_no_rise);
CORVELALG_LAYOUT_CHECK(offsetof(WellCurveInfo, reservedFlags) == 138, wci_reserved_flags);
CORVELALG_LAYOUT_CHECK(sizeof(LinearFit) == 32, linear_fit_size);
CORVELALG_LAYOUT_CHECK(offsetof(LinearFit, rSquared) == 24, linear_fit_r_squared);
CORVELALG_LAYOUT_CHECK(sizeof(RqOptions) == 20, rq_options_size);
CORVELALG_LAYOUT_CHECK(offsetof(RqOptions, sdMultiple) == 16, rq_options_sd_multiple);
CORVELALG_LAYOUT_CHECK(sizeof(RqResult) == 56, rq_result_size);
CORVELALG_LAYOUT_CHECK(offsetof(RqResult, ddct) == 48, rq_result_ddct);
CORVELALG_LAYOUT_CHECK(sizeof(MgfOptions) == 40, mgf_options_size);
CORVELALG_LAYOUT_CHECK(offsetof(MgfOptions, peakWidth) == 16, mgf_options_peak_width);
CORVELALG_LAYOUT_CHECK(offsetof(MgfOptions, reserved3) == 32, mgf_options_reserved3);
CORVELALG_LAYOUT_CHECK(sizeof(MeltBackground) == 24, melt_background_size);
CORVELALG_LAYOUT_CHECK(sizeof(FilterLimits) == 24, filter_limits_size);
CORVELALG_LAYOUT_CHECK(offsetof(FilterLimits, minFwhm) == 16, filter_limits_min_fwhm);

/* ======================================================================== */
/* Frame and diagnostics */
/* ======================================================================== */

/*
 * get_last_error - the message of the last failure.
 *
 * Returns a pointer to the library's last-error buffer: a NUL-terminated
 * string of at most 255 bytes (GBK or ASCII, see the conventions above),
 * or "" when the last call succeeded or no call has failed yet. The buffer
 * is neither cleared nor changed by this function. The pointer stays valid
 * for the life of the library; its contents change with the next call.
 */
CORVELALG_API const char* get_last_error(void);

/*
 * version - the library's version string, "1.1.2".
 *
 * Returns a static NUL-terminated ASCII string. Does not touch the
 * last-error buffer. Compare it with CORVELALG_VERSION_STRING to detect a
 * header/library mismatch.
 */
CORVELALG_API const char* version(void);

/*
 * alg_darray_release - releases a result array.
 *
 * array: address of the caller's pointer to a block handed out by this
 * library. When both the address and the pointer are non-NULL the block is
 * freed and the caller's pointer set to NULL; otherwise nothing happens.
 * Empties the last-error buffer. Always returns ALG_STATUS_OK.
 */
CORVELALG_API int alg_darray_release(double** array);

/* ======================================================================== */
/* Smoothing, interpolation and grids */
/* ======================================================================== */

/*
 * alg_run_smooth - three-pass five-point smoothing, in place.
 *
 * data: count values, read and overwritten. Each pass slides a five-point
 * window over the curve, removing single-point spikes, replacing the window
 * by its least-squares parabola and removing kinks in the slope. Curves of
 * 5 values or fewer are left unchanged; the last value is never changed.
 * Statuses: 0; 100 when memory runs out (data then unchanged).
 */
CORVELALG_API int alg_run_smooth(double* data, size_t count);

/*
 * alg_super_smooth - centred moving average, in place.
 *
 * data: count values, read and overwritten. Each value becomes the mean of
 * the values within halfWidth places of it that lie inside the curve. The
 * half-width is read as a signed 32-bit number: values of 2^31 and above
 * are negative, no value falls in any window and every result is NaN.
 * Every mean sums its window in index order, so the work grows with
 * count x (2 x halfWidth + 1) up to count^2; a half-width reaching across
 * the whole curve costs one pass.
 * Statuses: 0; 100 when memory runs out (data then unchanged).
 */
CORVELALG_API int alg_super_smooth(double* data, size_t count, uint32_t halfWidth);

/*
 * alg_cubic_interpolation - natural cubic spline through (x[i], y[i]).
 *
 * x, y: n knots, x strictly increasing (not checked: equal knots give
 * non-finite results, unordered ones wrong pieces). xq: m query abscissae,
 * in any order; yq: room for m doubles, receives the spline's values.
 * Queries outside the knots extend the end pieces.
 * The value at a query is formed as (dx*b + a) + (dx*c)*dx + ((dx*d)*dx)*dx
 * with dx the distance from the start of its piece; a NaN query gives NaN.
 * Statuses: 0; 10 when n < 3; 100 when memory runs out. yq is written only
 * on success; m = 0 writes nothing.
 */
CORVELALG_API int alg_cubic_interpolation(const double* x, const double* y, size_t n,
                                          const double* xq, double* yq, size_t m);

/*
 * alg_interpolation_x - a uniform grid over the span of x.
 *
 * x: n abscissae, of which only x[0] and x[n-1] are used. With
 * N = (n - 1) * factor, out (room for N + 1 doubles) receives
 * x[0], x[0] + step, ... with step = (x[n-1] - x[0]) / N, each value the
 * previous one plus the step; the last value is always exactly x[n-1].
 * factor 0 gives the single value x[n-1].
 * Statuses: 0; 10 when n < 3; 100 when the grid cannot be allocated,
 * including a negative factor or one for which N + 1 does not fit in 64
 * bits ("bad array new length", refused before allocating). out is written
 * only on success.
 */
CORVELALG_API int alg_interpolation_x(const double* x, size_t n, int64_t factor, double* out);

/*
 * alg_increasing - an arithmetic progression.
 *
 * out: room for count doubles, receives start, start + step, ... where each
 * value is the previous one plus step (rounding accumulates, as in a
 * running sum). Statuses: 0; 10 when count is 0; 100 when memory runs out.
 * out is written only on success.
 */
CORVELALG_API int alg_increasing(double start, double step, size_t count, double* out);

/* ======================================================================== */
/* Amplification curves */
/* ======================================================================== */

/*
 * alg_calc_threshold - automatic Ct threshold for a plate.
 *
 * infos: at least max(wellCount, recCount) records; records 0..wellCount-1
 * are analysed and written (baseline window, curve features, logistic
 * parameters), records 0..recCount-1 are read. data: wellCount * cycleCount
 * fluorescence values, well-major (the cycles of one well are consecutive).
 * thresholdOut receives the threshold, never below 100, on success only.
 * The counts are the caller's contract: the library cannot see how many
 * records or values the caller supplied.
 * The threshold is the smallest of ten times the mean baseline noise, the
 * largest one-cycle rise (stepRise) of records 0..recCount-1 and the
 * largest fitted value one cycle before a curve's strongest bend.
 * Non-finite fluorescence does not fail the call: a well whose values
 * include a NaN or an infinity is analysed and its record written, but it
 * gets NaN logistic parameters (hence a NaN sigmoid Ct) and takes no part
 * in the three candidates, so one broken well neither decides nor voids
 * the plate's threshold. A fit that overflows gets NaN parameters too.
 * Statuses: 0; 10 when infos or thresholdOut is NULL (or data is NULL with
 * values); 20 when cycleCount < 9 (with wells) or a caller-given baseline
 * window lies outside the curve, also when the index after the baseline end
 * is past the curve (a 9-cycle curve with the automatic window, or
 * baselineEnd = cycleCount - 1); 100 when memory runs out.
 * Records of wells analysed before a failure keep what was written.
 */
CORVELALG_API int alg_calc_threshold(WellCurveInfo* infos, size_t recCount, const double* data,
                                     size_t wellCount, size_t cycleCount, double* thresholdOut);

/*
 * alg_linear_batch_calc_ct - Ct of every well by threshold crossing.
 *
 * infos: wellCount records, read and written in place. data: wellCount *
 * cycleCount values, well-major. curvesOut: room for wellCount * cycleCount
 * doubles, receives the processed curves cycle-major (well w at cycle index
 * c is at c * wellCount + w). ctOut: room for ctCount doubles, receives the
 * Ct of each well (NaN when the curve never crosses the threshold) followed
 * by zeros; ctCount must be at least wellCount.
 * Per well: moving average of half-width 3, baseline correction, the
 * five-weight filter, then linear interpolation of the threshold crossing.
 * Statuses: 0; 10 when ctCount < wellCount ("ctCount 不能小于
 * wellCount。", checked first) or an array is NULL; 20 when cycleCount < 9
 * or a caller-given baseline window lies outside the curve (as for
 * alg_calc_threshold); 100 when memory runs out. On failure nothing is
 * written to curvesOut or ctOut; records of wells processed before the
 * failure keep what was written.
 */
CORVELALG_API int alg_linear_batch_calc_ct(WellCurveInfo* infos, size_t ctCount, double threshold,
                                           const double* data, size_t wellCount, size_t cycleCount,
                                           double* curvesOut, double* ctOut);

/*
 * alg_sigmoid - evaluates f(x) = a / (1 + exp(-(x - x0) * b)) in place.
 *
 * params: a, x0, b. x: count abscissae, replaced by f(x).
 * Statuses: 0; 100 when memory runs out (x then unchanged).
 */
CORVELALG_API int alg_sigmoid(const double* params, double* x, size_t count);

/*
 * alg_sigmoid_batch_calc_ct - Ct of every well from its logistic fit.
 *
 * wells: count records; only sigmoidTop, sigmoidMid and sigmoidRate are
 * read. reserved: ignored. ctOut: room for count doubles, receives
 * sigmoidMid - ln(2 + sqrt 3) / sigmoidRate - 1.5 per well, or NaN when the
 * plateau is below 10 or the steepness below 0.01. A NaN plateau is not
 * below 10 (comparisons with NaN are false): the Ct is then formed from the
 * midpoint and the steepness as they are.
 * Statuses: 0; 100 when memory runs out.
 */
CORVELALG_API int alg_sigmoid_batch_calc_ct(const WellCurveInfo* wells, size_t count,
                                            uint64_t reserved, double* ctOut);

/*
 * alg_sample_data_fitting - parabola fit of a curve sampled at cycles 1..n.
 *
 * result receives the parabola's value at its vertex when the vertex lies
 * within cycles 1..11, otherwise the larger of its values at cycles 1 and
 * 11. Statuses: 0; 10 for fewer than three samples; 100 when memory runs
 * out. result is written only on success.
 */
CORVELALG_API int alg_sample_data_fitting(const double* samples, size_t count, double* result);

/*
 * test_fitting_result - checks the caller's WellCurveInfo layout.
 *
 * The caller fills the record with: 1.1, 2.2, 3.3, 4.4 at offsets 0..24;
 * 0, 1, ..., 7 at offsets 32..88; the 16-bit integers 1, 2, 3 at 96..100;
 * 5.5 at 128; the bytes 1, 0, 1, 0, 1, 0, 1, 0 at 136..143. Each field is
 * checked and then changed (doubles doubled, 5.5 to 11.0, integers doubled,
 * bytes flipped); the first mismatch returns 10 and leaves the earlier
 * changes in place. Returns 0 or 10 only. Does not use the last-error
 * buffer and allocates nothing.
 */
CORVELALG_API int test_fitting_result(WellCurveInfo* record);

/* ======================================================================== */
/* Quantification */
/* ======================================================================== */

/*
 * alg_calc_standard - least-squares standard curve, y regressed on x.
 *
 * result receives slope, intercept, rmse and R^2, on success only.
 * Degenerate data (no points, all x equal, all y equal) is no error: the
 * fields become NaN or infinite as the arithmetic gives them.
 * Statuses: 0; 10 when xCount != yCount; 100 when memory runs out.
 */
CORVELALG_API int alg_calc_standard(const double* x, size_t xCount, const double* y, size_t yCount,
                                    LinearFit* result);

/*
 * alg_calc_rq - relative quantity with an error bar.
 *
 * summary: at least 4 doubles (value, sd, se, count), as alg_calc_sd()
 * hands them out. calibrator: the calibrator's value in the same mode.
 * result: value, sd, se and rq are written first; ddct in Ct form; lower and
 * upper last. On a failure of the error-bar step the fields written before
 * it stay written.
 * Ct form (unless both modes are 2): ddct = value - calibrator and
 * rq = 2^-ddct; quantity form: rq = value / calibrator. Error bar 1: the
 * two-sided Student t of df = count - 2 at the chosen confidence times se
 * (in quantity mode se^t as a factor); error bar 2: sdMultiple times sd
 * (in quantity mode (sd + 1)^sdMultiple as a factor). sdMultiple is not
 * range-checked: a negative multiple turns the Ct bars over (upper below
 * lower), while the quantity bars are always ordered.
 * Statuses: 0; 10 for an unknown error-bar type, fewer than 4 summary
 * values (nothing written) or a NULL pointer; 20 for a count outside
 * 4..97 or a confidence index outside 0..5 with the Student t error bar;
 * 100 when memory runs out.
 */
CORVELALG_API int alg_calc_rq(const RqOptions* options, const double* summary, size_t summaryCount,
                              double calibrator, RqResult* result);

/*
 * alg_calc_sd - replicate statistics of a target and housekeeping genes.
 *
 * mode: 1 = Ct mode, any other value = quantity mode (log10 values).
 * data: count doubles laid out as N0, N0 target values, M, then M blocks of
 * (q, q values). On success *result receives a result array of 3M + 10
 * doubles (summary value, sd, se, count; target statistics; pooled
 * reference; each gene) and *resultCount its length; release it with
 * alg_darray_release().
 * Counts are read as doubles truncated toward zero. Genes announced by M
 * that the data does not reach are empty: their statistics are (NaN, 0,
 * NaN) and the pooled centre becomes NaN. Values after the M-th block are
 * not read and not counted.
 * Statuses: 0; 10 for fewer than 5 values, a count pointing past the
 * array ("输入参数错误。", checked first), an empty target or
 * housekeeping group, or a NULL pointer; 100 when memory runs out,
 * including a gene count too large for its result (a negative count wraps
 * to such a one). On failure the out-parameters are unchanged.
 */
CORVELALG_API int alg_calc_sd(const int32_t* mode, const double* data, size_t count,
                              double** result, size_t* resultCount);

/* ======================================================================== */
/* Melting curves */
/* ======================================================================== */

/*
 * alg_melting - derivative melting curve on a ten-times finer grid.
 *
 * temperatures, fluorescence: count values each, temperatures strictly
 * increasing and evenly spaced. On success *outCount receives
 * M = 10 * (count - 1) + 1 and *outTemperatures and *outDerivative two
 * result arrays of M doubles: the fine grid (ending exactly on the last
 * temperature) and -dF/dT on it. Release both with alg_darray_release().
 * The input step is taken as temperatures[3] - temperatures[2]: it scales
 * the derivative to fluorescence per degree and sets how many grid points
 * (5 / (step / 10)) the start ramp replaces. Curves of 4 or 5 samples are
 * smoothed with pads drawn from the samples present.
 * Statuses: 0; 10 for fewer than 4 temperatures, too few samples for the
 * 5-degree start correction (also a zero or NaN step, and a decreasing one
 * of less than 50 degrees; a step of more than 50 degrees either way
 * replaces no grid point), or a NULL pointer; 100 when memory runs out. On
 * failure the out-parameters are unchanged and nothing stays allocated.
 */
CORVELALG_API int alg_melting(size_t count, const double* temperatures, const double* fluorescence,
                              size_t* outCount, double** outTemperatures, double** outDerivative);

/*
 * alg_melting_normalization - removes the noise floor of a curve, in place.
 *
 * floor = 0.1 * SD + 0.9 * mean of the values; values below the floor, and
 * negative values, become 0; values above a positive floor are lowered by
 * it. Statuses: 0; 100 when memory runs out (values then unchanged).
 */
CORVELALG_API int alg_melting_normalization(double* values, size_t count);

/* ======================================================================== */
/* Multi-Gaussian peak fitting */
/* ======================================================================== */

/*
 * alg_create_gausscoeff - creates an empty set of Gaussian peaks.
 *
 * *out receives a new handle with three empty arrays (amplitudes, centres,
 * widths as standard deviations). Release it with alg_gausscoeff_release().
 * Statuses: 0; 100 when memory runs out (*out then unchanged).
 */
CORVELALG_API int alg_create_gausscoeff(GaussCoeff** out);

/*
 * alg_set_gausscoeff_data - replaces the three arrays of a set.
 *
 * Copies amplitudeCount amplitudes, centerCount centres and widthCount
 * widths, in that order; the counts are not compared here (a set whose
 * counts differ is refused by the functions that evaluate it).
 * Statuses: 0; 10 when coeff is NULL or an array is NULL with a count
 * above 0; 100 when memory runs out: the arrays replaced before the
 * failure keep their new contents, the one that failed and the later ones
 * keep their old contents (a new block is allocated before the old one is
 * freed).
 */
CORVELALG_API int alg_set_gausscoeff_data(GaussCoeff* coeff, size_t amplitudeCount,
                                          const double* amplitudes, size_t centerCount,
                                          const double* centers, size_t widthCount,
                                          const double* widths);

/*
 * alg_get_gausscoeff_data - copies the three arrays of a set out.
 *
 * The counts receive the set's three lengths; each array pointer receives a
 * result array (release with alg_darray_release()), or NULL for a length
 * of 0. Statuses: 0; 100 when memory runs out: the counts are written, every
 * array pointer is NULL and nothing stays allocated.
 */
CORVELALG_API int alg_get_gausscoeff_data(const GaussCoeff* coeff, size_t* amplitudeCount,
                                          double** amplitudes, size_t* centerCount,
                                          double** centers, size_t* widthCount, double** widths);

/*
 * alg_gausscoeff_release - frees a set and sets *coeff to NULL.
 * Accepts NULL and a NULL handle. Always returns 0.
 */
CORVELALG_API int alg_gausscoeff_release(GaussCoeff** coeff);

/*
 * alg_mgf_create - packs a curve and its options into a model handle.
 *
 * Copies xCount abscissae, yCount values and the 40 bytes of *options; the
 * caller's data may change or go away afterwards. *out receives the handle;
 * release it with alg_mgf_release().
 * Statuses: 0; 100 when memory runs out (*out then unchanged).
 */
CORVELALG_API int alg_mgf_create(const double* x, size_t xCount, const double* y, size_t yCount,
                                 const MgfOptions* options, MgfModel** out);

/*
 * alg_mgf_release - frees a model and sets *model to NULL.
 * Accepts NULL and a NULL handle. Always returns 0.
 */
CORVELALG_API int alg_mgf_release(MgfModel** model);

/*
 * alg_mgf_multi_gauss - evaluates the sum of the peaks on the model's grid.
 *
 * *values receives a result array of yCount doubles (also for yCount 0),
 * *valueCount its length. Statuses: 0; 10 when the set's counts differ, or
 * when the model's x and y counts differ and the set has peaks; 100 when
 * memory runs out.
 */
CORVELALG_API int alg_mgf_multi_gauss(const MgfModel* model, const GaussCoeff* coeff,
                                      double** values, size_t* valueCount);

/*
 * alg_mgf_solve - fits the peaks of a set to the model's curve, in place.
 *
 * Levenberg-Marquardt with a numerical Jacobian, at most 100 steps. After a
 * rejected step the damping is doubled, so the next step is more strongly
 * damped; a damping that had reached 0 restarts from its initial value
 * (0.02 times the largest element of J^T J). On success the set holds the
 * fitted amplitudes, centres and widths; on failure it is unchanged.
 * Parameters are not bounded, and a step is accepted whenever its gain
 * ratio is positive, also when the predicted and the actual change are both
 * increases. Start peaks on noise ripples, which hardly move the curve, can
 * therefore make the fit fail (status 10, singular system) or wander off:
 * detect peaks on a normalized curve and drop implausible start peaks with
 * alg_mgf_coeff_filter() before solving. A NaN in the model's values
 * poisons the normal matrix and ends in the singular-system failure.
 * An empty set is returned at once, unchanged.
 * Statuses: 0; 10 when the set's counts differ, when the model's x and y
 * counts differ and the set has peaks, or when the damped normal matrix
 * becomes singular; 100 when memory runs out.
 */
CORVELALG_API int alg_mgf_solve(const MgfModel* model, GaussCoeff* coeff);

/*
 * alg_mgf_local_max_value_id - one start peak per local maximum of a model.
 *
 * *out receives a new set (release with alg_gausscoeff_release()): the
 * value and abscissa of each strict local maximum, and a width estimated
 * from the curve's flanks within peakWidth * 1.3 of it.
 * The half-window is trunc(peakWidth * 1.3 / (x[3] - x[2])) points.
 * Statuses: 0; 10 when the model has fewer than 4 abscissae, fewer x than
 * y values, or a half-window that is negative or not representable (a
 * negative or NaN peakWidth, a descending or zero grid step) or reaches
 * past both ends of the curve ("峰宽窗口超出曲线范围。"); 100 for a maximum
 * of 0 or below ("峰值小于零"), or when memory runs out.
 */
CORVELALG_API int alg_mgf_local_max_value_id(const MgfModel* model, GaussCoeff** out);

/*
 * alg_mgf_local_max_value_id_origin - start peaks of a plain curve.
 *
 * As alg_mgf_local_max_value_id(), with every width fixed at 1.7.
 * Statuses: 0; 10 when x has fewer values than y; 100 when memory runs out.
 */
CORVELALG_API int alg_mgf_local_max_value_id_origin(const double* x, size_t xCount, const double* y,
                                                    size_t yCount, GaussCoeff** out);

/*
 * alg_mgf_melting_stimulate - synthetic melting curve on the model's grid.
 *
 * Estimates a sigmoid background from the model and the peaks, writes it to
 * *background, and hands out the curve (peaks at half width, background
 * step, damped oscillation) as a result array of yCount doubles.
 * Statuses: 0; 10 when the model's x and y counts differ, when the model is
 * too short for the default peak or the background scan, or when the set has
 * fewer amplitudes or widths than centres; 100 when memory runs out. On
 * failure *values and *valueCount are unchanged; *background is written
 * once the peaks are summed, so memory running out after that leaves it
 * written.
 */
CORVELALG_API int alg_mgf_melting_stimulate(const MgfModel* model, const GaussCoeff* coeff,
                                            MeltBackground* background, double** values,
                                            size_t* valueCount);

/*
 * alg_mgf_melting_stim_peak - synthetic melting curve at the peak centres.
 *
 * As alg_mgf_melting_stimulate() with the caller's background, evaluated at
 * the set's centres only (one value per peak). The model's curve is not
 * evaluated, so its x and y counts and its length are not checked.
 * Statuses: 0; 10 when the set has fewer amplitudes or widths than centres;
 * 100 when memory runs out.
 */
CORVELALG_API int alg_mgf_melting_stim_peak(const MgfModel* model, const GaussCoeff* coeff,
                                            const MeltBackground* background, double** values,
                                            size_t* valueCount);

/*
 * alg_mgf_coeff_filter - keeps the plausible peaks of a set.
 *
 * *out receives a new set with the peaks whose amplitude is greater than
 * minAmplitude and whose FWHM (width * 2.3548) lies within
 * [minFwhm, maxFwhm], in their original order.
 * Statuses: 0; 10 when the set's counts differ ("GaussCoeff" message); 100
 * when memory runs out (*out then unchanged).
 */
CORVELALG_API int alg_mgf_coeff_filter(const FilterLimits* limits, const GaussCoeff* coeff,
                                       GaussCoeff** out);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* CORVELALG_H */

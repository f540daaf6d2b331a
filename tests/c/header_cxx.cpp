// The public header compiled as C++ with every warning an error: it must
// stand alone (included first), keep its records standard-layout and of
// the published sizes, and declare every export with C linkage and the
// published signature.
#include "CorvelAlg.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace {

template <typename T>
constexpr bool isPlainRecord() {
  return std::is_standard_layout<T>::value && std::is_trivially_copyable<T>::value;
}

static_assert(isPlainRecord<WellCurveInfo>(), "WellCurveInfo is a plain C record");
static_assert(isPlainRecord<LinearFit>(), "LinearFit is a plain C record");
static_assert(isPlainRecord<RqOptions>(), "RqOptions is a plain C record");
static_assert(isPlainRecord<RqResult>(), "RqResult is a plain C record");
static_assert(isPlainRecord<MgfOptions>(), "MgfOptions is a plain C record");
static_assert(isPlainRecord<MeltBackground>(), "MeltBackground is a plain C record");
static_assert(isPlainRecord<FilterLimits>(), "FilterLimits is a plain C record");

static_assert(sizeof(WellCurveInfo) == 144, "WellCurveInfo size");
static_assert(offsetof(WellCurveInfo, steepestIndex) == 0, "WellCurveInfo first field");
static_assert(offsetof(WellCurveInfo, reservedFlags) + sizeof(WellCurveInfo{}.reservedFlags) == 144,
              "WellCurveInfo ends with its flag bytes");
static_assert(sizeof(LinearFit) == 32 && offsetof(LinearFit, intercept) == 8, "LinearFit");
static_assert(sizeof(RqOptions) == 20 && offsetof(RqOptions, confidenceIndex) == 12, "RqOptions");
static_assert(sizeof(RqResult) == 56 && offsetof(RqResult, rq) == 24, "RqResult");
static_assert(sizeof(MgfOptions) == 40 && offsetof(MgfOptions, reserved2) == 24, "MgfOptions");
static_assert(sizeof(MeltBackground) == 24 && offsetof(MeltBackground, steepness) == 16,
              "MeltBackground");
static_assert(sizeof(FilterLimits) == 24 && offsetof(FilterLimits, maxFwhm) == 8,
              "FilterLimits: maximum before minimum");

static_assert(ALG_STATUS_OK == 0 && ALG_STATUS_INVALID_ARGUMENT == 10 &&
                  ALG_STATUS_OUT_OF_RANGE == 20 && ALG_STATUS_FAILURE == 100,
              "status codes");
static_assert(ALG_LAST_ERROR_CAPACITY == 256, "last-error buffer size");
static_assert(CORVELALG_VERSION_MAJOR == 1 && CORVELALG_VERSION_MINOR == 1 &&
                  CORVELALG_VERSION_PATCH == 2,
              "version numbers");
static_assert(sizeof(CORVELALG_VERSION_STRING) == sizeof("1.1.2"), "version string");

// The declared type of every export. A mismatch here is an ABI change.
#define CORVEL_EXPECT_SIGNATURE(fn, type) \
  static_assert(std::is_same<decltype(&fn), type>::value, #fn " has the published signature")

CORVEL_EXPECT_SIGNATURE(get_last_error, const char* (*)());
CORVEL_EXPECT_SIGNATURE(version, const char* (*)());
CORVEL_EXPECT_SIGNATURE(alg_darray_release, int (*)(double**));
CORVEL_EXPECT_SIGNATURE(alg_run_smooth, int (*)(double*, size_t));
CORVEL_EXPECT_SIGNATURE(alg_super_smooth, int (*)(double*, size_t, uint32_t));
CORVEL_EXPECT_SIGNATURE(alg_cubic_interpolation, int (*)(const double*, const double*, size_t,
                                                         const double*, double*, size_t));
CORVEL_EXPECT_SIGNATURE(alg_interpolation_x, int (*)(const double*, size_t, int64_t, double*));
CORVEL_EXPECT_SIGNATURE(alg_increasing, int (*)(double, double, size_t, double*));
CORVEL_EXPECT_SIGNATURE(alg_calc_threshold,
                        int (*)(WellCurveInfo*, size_t, const double*, size_t, size_t, double*));
CORVEL_EXPECT_SIGNATURE(alg_linear_batch_calc_ct,
                        int (*)(WellCurveInfo*, size_t, double, const double*, size_t, size_t,
                                double*, double*));
CORVEL_EXPECT_SIGNATURE(alg_sigmoid, int (*)(const double*, double*, size_t));
CORVEL_EXPECT_SIGNATURE(alg_sigmoid_batch_calc_ct,
                        int (*)(const WellCurveInfo*, size_t, uint64_t, double*));
CORVEL_EXPECT_SIGNATURE(alg_sample_data_fitting, int (*)(const double*, size_t, double*));
CORVEL_EXPECT_SIGNATURE(test_fitting_result, int (*)(WellCurveInfo*));
CORVEL_EXPECT_SIGNATURE(alg_calc_standard,
                        int (*)(const double*, size_t, const double*, size_t, LinearFit*));
CORVEL_EXPECT_SIGNATURE(alg_calc_rq,
                        int (*)(const RqOptions*, const double*, size_t, double, RqResult*));
CORVEL_EXPECT_SIGNATURE(alg_calc_sd,
                        int (*)(const int32_t*, const double*, size_t, double**, size_t*));
CORVEL_EXPECT_SIGNATURE(alg_melting,
                        int (*)(size_t, const double*, const double*, size_t*, double**, double**));
CORVEL_EXPECT_SIGNATURE(alg_melting_normalization, int (*)(double*, size_t));
CORVEL_EXPECT_SIGNATURE(alg_create_gausscoeff, int (*)(GaussCoeff**));
CORVEL_EXPECT_SIGNATURE(alg_set_gausscoeff_data, int (*)(GaussCoeff*, size_t, const double*, size_t,
                                                         const double*, size_t, const double*));
CORVEL_EXPECT_SIGNATURE(alg_get_gausscoeff_data, int (*)(const GaussCoeff*, size_t*, double**,
                                                         size_t*, double**, size_t*, double**));
CORVEL_EXPECT_SIGNATURE(alg_gausscoeff_release, int (*)(GaussCoeff**));
CORVEL_EXPECT_SIGNATURE(alg_mgf_create, int (*)(const double*, size_t, const double*, size_t,
                                                const MgfOptions*, MgfModel**));
CORVEL_EXPECT_SIGNATURE(alg_mgf_release, int (*)(MgfModel**));
CORVEL_EXPECT_SIGNATURE(alg_mgf_multi_gauss,
                        int (*)(const MgfModel*, const GaussCoeff*, double**, size_t*));
CORVEL_EXPECT_SIGNATURE(alg_mgf_solve, int (*)(const MgfModel*, GaussCoeff*));
CORVEL_EXPECT_SIGNATURE(alg_mgf_local_max_value_id, int (*)(const MgfModel*, GaussCoeff**));
CORVEL_EXPECT_SIGNATURE(alg_mgf_local_max_value_id_origin,
                        int (*)(const double*, size_t, const double*, size_t, GaussCoeff**));
CORVEL_EXPECT_SIGNATURE(alg_mgf_melting_stimulate, int (*)(const MgfModel*, const GaussCoeff*,
                                                           MeltBackground*, double**, size_t*));
CORVEL_EXPECT_SIGNATURE(alg_mgf_melting_stim_peak,
                        int (*)(const MgfModel*, const GaussCoeff*, const MeltBackground*, double**,
                                size_t*));
CORVEL_EXPECT_SIGNATURE(alg_mgf_coeff_filter,
                        int (*)(const FilterLimits*, const GaussCoeff*, GaussCoeff**));

#undef CORVEL_EXPECT_SIGNATURE

}  // namespace

// A use of every record type and of the handles from C++ code, so that the
// records' member names and types are exercised as a host would use them.
int corvelHeaderCxxUse(WellCurveInfo* well, GaussCoeff** coeff, MgfModel** model) {
  LinearFit fit{1.0, 2.0, 3.0, 4.0};
  RqOptions options{1, 1, 1, 0, 2};
  RqResult rq{};
  MgfOptions mgf{0, 0, 1.5, 0, 0.0};
  MeltBackground background{1.0, 80.0, 0.5};
  FilterLimits limits{10.0, 8.0, 1.0};
  well->baselineStart = static_cast<int16_t>(options.modeA);
  well->lowSignal = static_cast<uint8_t>(rq.ddct == 0.0);
  well->sigmoidTop = fit.slope + mgf.peakWidth + background.level + limits.minFwhm;
  return (coeff != nullptr && model != nullptr) ? ALG_STATUS_OK : ALG_STATUS_INVALID_ARGUMENT;
}

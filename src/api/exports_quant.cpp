// Exports of the quantification statistics: standard curve, replicate
// statistics and relative quantity.

#include "CorvelAlg.h"
#include "api/frame.h"
#include "api/result_array.h"
#include "core/regression.h"
#include "core/vector.h"
#include "quant/relative_quantity.h"
#include "quant/replicate_stats.h"

extern "C" {

CORVELALG_API int alg_calc_standard(const double* x, size_t xCount, const double* y, size_t yCount,
                                    LinearFit* result) {
  return corvel::api::guarded([&] {
    corvel::api::requireArray(result, 1);
    const corvel::AlgVector xs = corvel::api::copyInput(x, xCount);
    const corvel::AlgVector ys = corvel::api::copyInput(y, yCount);
    const corvel::LinearFit fit = corvel::linearRegression(xs, ys);
    result->slope = fit.slope;
    result->intercept = fit.intercept;
    result->rmse = fit.rmse;
    result->rSquared = fit.rSquared;
  });
}

CORVELALG_API int alg_calc_rq(const RqOptions* options, const double* summary, size_t summaryCount,
                              double calibrator, RqResult* result) {
  return corvel::api::guarded([&] {
    corvel::api::requireArray(options, 1);
    corvel::api::requireArray(result, 1);
    const corvel::AlgVector values = corvel::api::copyInput(summary, summaryCount);
    corvel::calcRq(*options, values, calibrator, *result);
  });
}

CORVELALG_API int alg_calc_sd(const int32_t* mode, const double* data, size_t count,
                              double** result, size_t* resultCount) {
  return corvel::api::guarded([&] {
    corvel::api::requireArray(mode, 1);
    corvel::api::requireArray(result, 1);
    corvel::api::requireArray(resultCount, 1);
    const corvel::AlgVector input = corvel::api::copyInput(data, count);
    const corvel::StatsMode statsMode =
        *mode == 1 ? corvel::StatsMode::kCt : corvel::StatsMode::kQuantity;
    const corvel::AlgVector summary = corvel::calcSd(statsMode, input);
    corvel::api::handOut(summary, result, resultCount);
  });
}

}  // extern "C"

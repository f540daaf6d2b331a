// Exports of the amplification-curve analysis: threshold, Ct by the linear
// and the sigmoid method, the sample parabola and the layout self-test.
#include <stdexcept>

#include "CorvelAlg.h"
#include "amplification/auto_threshold.h"
#include "amplification/linear_batch.h"
#include "amplification/sample_fitting.h"
#include "amplification/sigmoid.h"
#include "api/frame.h"
#include "core/allocator.h"
#include "core/matrix.h"
#include "core/messages.h"
#include "core/vector.h"

namespace {

// The number of values of a plate; an overflowing product saturates, so
// that copying it fails as an impossible allocation.
std::size_t plateSize(std::size_t wellCount, std::size_t cycleCount) {
  return corvel::saturatingProduct(wellCount, cycleCount);
}

}  // namespace

extern "C" {

CORVELALG_API int alg_calc_threshold(WellCurveInfo* infos, size_t recCount, const double* data,
                                     size_t wellCount, size_t cycleCount, double* thresholdOut) {
  return corvel::api::guarded([&] {
    // Refuse missing arrays before any record is written.
    corvel::api::requireArray(infos, wellCount > recCount ? wellCount : recCount);
    corvel::api::requireArray(thresholdOut, 1);
    const corvel::AlgVector plate = corvel::api::copyInput(data, plateSize(wellCount, cycleCount));
    const double threshold = corvel::calcThreshold(infos, recCount, plate, wellCount, cycleCount);
    *thresholdOut = threshold;
  });
}

CORVELALG_API int alg_linear_batch_calc_ct(WellCurveInfo* infos, size_t ctCount, double threshold,
                                           const double* data, size_t wellCount, size_t cycleCount,
                                           double* curvesOut, double* ctOut) {
  return corvel::api::guarded([&] {
    if (ctCount < wellCount) throw std::invalid_argument(corvel::msg::kCtCountTooSmall);
    const std::size_t values = plateSize(wellCount, cycleCount);
    corvel::api::requireArray(infos, wellCount);
    corvel::api::requireArray(curvesOut, values);
    corvel::api::requireArray(ctOut, ctCount);
    const corvel::AlgVector plate = corvel::api::copyInput(data, values);
    corvel::AlgMatrix curves;
    const corvel::AlgVector cts =
        corvel::linearBatchCt(infos, ctCount, threshold, plate, wellCount, cycleCount, curves);
    corvel::api::copyOutput(cts, ctOut);
    corvel::api::copyOutput(curves, curvesOut);
  });
}

CORVELALG_API int alg_sigmoid(const double* params, double* x, size_t count) {
  return corvel::api::guarded([&] {
    const corvel::AlgVector abscissae = corvel::api::copyInput(x, count);
    if (count == 0) return;
    corvel::api::requireArray(params, 3);
    const corvel::AlgVector values =
        corvel::sigmoidValues(params[0], params[1], params[2], abscissae);
    corvel::api::copyOutput(values, x);
  });
}

CORVELALG_API int alg_sigmoid_batch_calc_ct(const WellCurveInfo* wells, size_t count,
                                            uint64_t reserved, double* ctOut) {
  (void)reserved;  // part of the published signature, never read
  return corvel::api::guarded([&] {
    corvel::api::requireArray(wells, count);
    corvel::api::requireArray(ctOut, count);
    const corvel::AlgVector cts = corvel::sigmoidCts(wells, count);
    corvel::api::copyOutput(cts, ctOut);
  });
}

CORVELALG_API int alg_sample_data_fitting(const double* samples, size_t count, double* result) {
  return corvel::api::guarded([&] {
    corvel::api::requireArray(result, 1);
    const corvel::AlgVector y = corvel::api::copyInput(samples, count);
    const double value = corvel::sampleDataFitting(y);
    *result = value;
  });
}

CORVELALG_API int test_fitting_result(WellCurveInfo* record) {
  return corvel::fittingSelfTest(record);
}

}  // extern "C"

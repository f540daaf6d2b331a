// Exports of the melting-curve analysis.
#include "CorvelAlg.h"
#include "api/frame.h"
#include "api/result_array.h"
#include "core/vector.h"
#include "melting/melting_derivative.h"
#include "melting/normalization.h"

extern "C" {

CORVELALG_API int alg_melting(size_t count, const double* temperatures, const double* fluorescence,
                              size_t* outCount, double** outTemperatures, double** outDerivative) {
  return corvel::api::guarded([&] {
    corvel::api::requireArray(outCount, 1);
    corvel::api::requireArray(outTemperatures, 1);
    corvel::api::requireArray(outDerivative, 1);
    const corvel::AlgVector t = corvel::api::copyInput(temperatures, count);
    const corvel::AlgVector f = corvel::api::copyInput(fluorescence, count);
    corvel::AlgVector grid;
    corvel::AlgVector derivative;
    corvel::meltingDerivative(t, f, grid, derivative);
    corvel::api::handOutPair(grid, derivative, outCount, outTemperatures, outDerivative);
  });
}

CORVELALG_API int alg_melting_normalization(double* values, size_t count) {
  return corvel::api::guarded([&] {
    corvel::AlgVector curve = corvel::api::copyInput(values, count);
    corvel::normalizeMelting(curve);
    corvel::api::copyOutput(curve, values);
  });
}

}  // extern "C"

// Exports of the multi-Gaussian peak fitting: coefficient sets, the model,
// the solver, peak detection, synthesis and the filter.
#include "CorvelAlg.h"
#include "api/frame.h"
#include "api/result_array.h"
#include "core/vector.h"
#include "mgf/coeff_filter.h"
#include "mgf/gauss_coeff.h"
#include "mgf/lm_solver.h"
#include "mgf/mgf_model.h"
#include "mgf/peak_detection.h"
#include "mgf/synthesis.h"

namespace {

using corvel::api::requireArray;

// A set or model handle argument must be present.
template <typename Handle>
void requireHandle(const Handle* handle) {
  requireArray(handle, 1);
}

}  // namespace

extern "C" {

CORVELALG_API int alg_create_gausscoeff(GaussCoeff** out) {
  return corvel::api::guarded([&] {
    requireArray(out, 1);
    *out = corvel::createGaussCoeff();
  });
}

CORVELALG_API int alg_set_gausscoeff_data(GaussCoeff* coeff, size_t amplitudeCount,
                                          const double* amplitudes, size_t centerCount,
                                          const double* centers, size_t widthCount,
                                          const double* widths) {
  return corvel::api::guarded([&] {
    requireHandle(coeff);
    requireArray(amplitudes, amplitudeCount);
    requireArray(centers, centerCount);
    requireArray(widths, widthCount);
    corvel::replacePair(coeff->amplitudes, coeff->amplitudeCount, amplitudes, amplitudeCount);
    corvel::replacePair(coeff->centers, coeff->centerCount, centers, centerCount);
    corvel::replacePair(coeff->widths, coeff->widthCount, widths, widthCount);
  });
}

CORVELALG_API int alg_get_gausscoeff_data(const GaussCoeff* coeff, size_t* amplitudeCount,
                                          double** amplitudes, size_t* centerCount,
                                          double** centers, size_t* widthCount, double** widths) {
  return corvel::api::guarded([&] {
    requireHandle(coeff);
    requireArray(amplitudeCount, 1);
    requireArray(amplitudes, 1);
    requireArray(centerCount, 1);
    requireArray(centers, 1);
    requireArray(widthCount, 1);
    requireArray(widths, 1);
    const corvel::api::StoredArray arrays[3] = {
        {coeff->amplitudes, coeff->amplitudeCount, amplitudes, amplitudeCount},
        {coeff->centers, coeff->centerCount, centers, centerCount},
        {coeff->widths, coeff->widthCount, widths, widthCount},
    };
    corvel::api::handOutStored(arrays, 3);
  });
}

CORVELALG_API int alg_gausscoeff_release(GaussCoeff** coeff) {
  corvel::api::clearLastError();
  if (coeff != nullptr && *coeff != nullptr) {
    corvel::releaseGaussCoeff(*coeff);
    *coeff = nullptr;
  }
  return ALG_STATUS_OK;
}

CORVELALG_API int alg_mgf_create(const double* x, size_t xCount, const double* y, size_t yCount,
                                 const MgfOptions* options, MgfModel** out) {
  return corvel::api::guarded([&] {
    requireArray(x, xCount);
    requireArray(y, yCount);
    requireArray(options, 1);
    requireArray(out, 1);
    *out = corvel::createMgfModel(x, xCount, y, yCount, *options);
  });
}

CORVELALG_API int alg_mgf_release(MgfModel** model) {
  corvel::api::clearLastError();
  if (model != nullptr && *model != nullptr) {
    corvel::releaseMgfModel(*model);
    *model = nullptr;
  }
  return ALG_STATUS_OK;
}

CORVELALG_API int alg_mgf_multi_gauss(const MgfModel* model, const GaussCoeff* coeff,
                                      double** values, size_t* valueCount) {
  return corvel::api::guarded([&] {
    requireHandle(model);
    requireHandle(coeff);
    requireArray(values, 1);
    requireArray(valueCount, 1);
    const corvel::AlgVector curve = corvel::multiGauss(*model, *coeff);
    corvel::api::handOut(curve, values, valueCount);
  });
}

CORVELALG_API int alg_mgf_solve(const MgfModel* model, GaussCoeff* coeff) {
  return corvel::api::guarded([&] {
    requireHandle(model);
    requireHandle(coeff);
    corvel::solveMgf(*model, *coeff);
  });
}

CORVELALG_API int alg_mgf_local_max_value_id(const MgfModel* model, GaussCoeff** out) {
  return corvel::api::guarded([&] {
    requireHandle(model);
    requireArray(out, 1);
    corvel::GaussCoeffOwner peaks;
    corvel::detectPeaks(*model, *peaks.get());
    *out = peaks.release();
  });
}

CORVELALG_API int alg_mgf_local_max_value_id_origin(const double* x, size_t xCount, const double* y,
                                                    size_t yCount, GaussCoeff** out) {
  return corvel::api::guarded([&] {
    requireArray(out, 1);
    const corvel::AlgVector xs = corvel::api::copyInput(x, xCount);
    const corvel::AlgVector ys = corvel::api::copyInput(y, yCount);
    corvel::GaussCoeffOwner peaks;
    corvel::detectPeaksFixedWidth(xs, ys, *peaks.get());
    *out = peaks.release();
  });
}

CORVELALG_API int alg_mgf_melting_stimulate(const MgfModel* model, const GaussCoeff* coeff,
                                            MeltBackground* background, double** values,
                                            size_t* valueCount) {
  return corvel::api::guarded([&] {
    requireHandle(model);
    requireHandle(coeff);
    requireArray(background, 1);
    requireArray(values, 1);
    requireArray(valueCount, 1);
    const corvel::AlgVector curve = corvel::meltingStimulate(*model, *coeff, *background);
    corvel::api::handOut(curve, values, valueCount);
  });
}

CORVELALG_API int alg_mgf_melting_stim_peak(const MgfModel* model, const GaussCoeff* coeff,
                                            const MeltBackground* background, double** values,
                                            size_t* valueCount) {
  return corvel::api::guarded([&] {
    requireHandle(model);
    requireHandle(coeff);
    requireArray(background, 1);
    requireArray(values, 1);
    requireArray(valueCount, 1);
    const corvel::AlgVector curve = corvel::meltingStimPeak(*model, *coeff, *background);
    corvel::api::handOut(curve, values, valueCount);
  });
}

CORVELALG_API int alg_mgf_coeff_filter(const FilterLimits* limits, const GaussCoeff* coeff,
                                       GaussCoeff** out) {
  return corvel::api::guarded([&] {
    requireArray(limits, 1);
    requireHandle(coeff);
    requireArray(out, 1);
    corvel::GaussCoeffOwner kept;
    corvel::filterCoefficients(*limits, *coeff, *kept.get());
    *out = kept.release();
  });
}

}  // extern "C"

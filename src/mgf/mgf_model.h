// The curve a multi-Gaussian fit describes, and the model function.
#ifndef CORVEL_MGF_MGF_MODEL_H
#define CORVEL_MGF_MGF_MODEL_H

#include <cstddef>

#include "CorvelAlg.h"
#include "core/vector.h"
#include "mgf/gauss_coeff.h"

// The record behind the public handle: copies of the abscissae and values
// given at creation (null when a count is 0) and the caller's options.
struct MgfModel {
  double* x = nullptr;
  std::size_t xCount = 0;
  double* y = nullptr;
  std::size_t yCount = 0;
  MgfOptions options{};
};

namespace corvel {

// A new model holding copies of x, y and the options; nothing stays
// allocated when it fails.
MgfModel* createMgfModel(const double* x, std::size_t xCount, const double* y, std::size_t yCount,
                         const MgfOptions& options);

// Frees the arrays and the record; null is ignored.
void releaseMgfModel(MgfModel* model) noexcept;

// The model's abscissae and values as vectors.
AlgVector modelX(const MgfModel& model);
AlgVector modelY(const MgfModel& model);

// a * exp(-(x - b)^2 / (2 sigma^2)) at every x, formed as: t = x - b;
// t = t * t; t = -t; t = t * f with f = 1 / ((sigma + sigma) * sigma);
// value = exp(t) * a.
AlgVector gaussian(double a, double b, double sigma, const AlgVector& x);

// The sum of `peaks` Gaussians (amplitudes[i], centers[i], widths[i]) at
// the model's abscissae, as yCount values summed in peak order from 0.0;
// with at least one peak, x and y counts that differ throw
// std::invalid_argument with the vector-add message.
AlgVector sumOfGaussians(const MgfModel& model, const double* amplitudes, const double* centers,
                         const double* widths, std::size_t peaks);

// The sum of the set's Gaussians at the model's abscissae, as yCount
// values summed in peak order from 0.0. Throws std::invalid_argument with
// the GaussCoeff message when the set's counts differ, and with the
// vector-add message when there are peaks and the model's x and y counts
// differ.
AlgVector multiGauss(const MgfModel& model, const GaussCoeff& coeff);

}  // namespace corvel

#endif  // CORVEL_MGF_MGF_MODEL_H

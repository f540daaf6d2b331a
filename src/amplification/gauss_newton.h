// A damped Gauss-Newton least-squares solver with a fixed damping schedule.
#ifndef CORVEL_AMPLIFICATION_GAUSS_NEWTON_H
#define CORVEL_AMPLIFICATION_GAUSS_NEWTON_H

#include <cstdint>

#include "core/vector.h"

namespace corvel {

// Fills residuals with the residual vector at parameters; must give the
// same length for every parameter vector. Reports failure by throwing.
using ResidualFunction = void (*)(AlgVector& residuals, void* context, const AlgVector& parameters);

// Minimises the Euclidean norm of the residuals from p0.
//
// Each iteration takes a forward-difference Jacobian J at the accepted
// parameters (absolute step `step` for every parameter), solves
// (J^T J + lambda I) h = -J^T r by inversion and tries p + h. A trial whose
// residual norm is below `tolerance` is returned at once; one that lowers
// the norm is accepted and halves lambda (not below 1.5); any other doubles
// lambda, and once lambda exceeds 1e6 the solver gives up. lambda starts at
// 2.0. After maxIterations iterations the last accepted parameters are
// returned; maxIterations <= 0 returns p0 after one evaluation.
//
// Non-finite residuals cannot fail the fit: NaN norms never improve, so
// lambda grows until the solver gives up, and a damped normal matrix that
// cannot be inverted (a column of NaNs) ends the fit at once. Either way the
// last accepted parameters are returned.
//
// Throws std::invalid_argument (vector-subtract message) when the residual
// length changes between evaluations.
AlgVector dampedGaussNewton(ResidualFunction residual, void* context, const AlgVector& p0,
                            std::int32_t maxIterations, double step, double tolerance);

}  // namespace corvel

#endif  // CORVEL_AMPLIFICATION_GAUSS_NEWTON_H

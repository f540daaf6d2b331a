// Levenberg-Marquardt fit of a peak set to a model's curve.
#ifndef CORVEL_MGF_LM_SOLVER_H
#define CORVEL_MGF_LM_SOLVER_H

#include "core/jacobian.h"
#include "core/vector.h"
#include "mgf/gauss_coeff.h"
#include "mgf/mgf_model.h"

namespace corvel {

// Minimises the residual norm from the parameters p (replaced by the
// result). Each step solves (A + mu I) h = -g with A = J^T J and
// g = J^T r, J the central-difference Jacobian, and is judged by the gain
// ratio rho = (F - F_new) / L of the actual to the predicted decrease of
// F = |r|^2 / 2. An accepted step (rho > 0) moves p, recomputes J, A and g
// and sets mu = 2 mu max(1 - (2 rho - 1)^3, 0). A rejected step doubles mu,
// so the next step is more strongly damped; when mu has reached 0 (after a
// step with rho >= 1) it restarts from 0.02 times the largest element of
// A, its initial value. The fit stops when |g| <= 1e-6, when
// |h| <= 1e-6 (|p| + 1e-6), or after 100 steps.
//
// A singular A + mu I (possible only with mu = 0) throws
// std::invalid_argument with the matrix-vector message.
void levenbergMarquardt(ModelFunction residual, void* context, AlgVector& p);

// Residuals of a peak set packed as (a0, b0, s0, a1, b1, s1, ...) against
// the model (the context): the sum of the Gaussians minus the model's y.
void mgfResidual(void* context, const AlgVector& parameters, AlgVector& residuals);

// Fits the set's peaks to the model's curve and writes them back in place,
// only on success. Throws std::invalid_argument with the GaussCoeff message
// when the set's counts differ.
void solveMgf(const MgfModel& model, GaussCoeff& coeff);

}  // namespace corvel

#endif  // CORVEL_MGF_LM_SOLVER_H

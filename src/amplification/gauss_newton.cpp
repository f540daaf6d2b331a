#include "amplification/gauss_newton.h"

#include <cstddef>

#include "core/elimination.h"
#include "core/matrix.h"

namespace corvel {

namespace {

constexpr double kInitialDamping = 2.0;
constexpr double kMinimumDamping = 1.5;
constexpr double kMaximumDamping = 1e6;

// Forward-difference Jacobian at p, whose residuals are r.
void forwardJacobian(ResidualFunction residual, void* context, const AlgVector& p,
                     const AlgVector& r, const AlgVector& steps, AlgMatrix& jacobian) {
  jacobian.resize(r.size(), p.size());
  AlgVector shifted;
  AlgVector shiftedResiduals;
  for (std::size_t j = 0; j < p.size(); ++j) {
    shifted = p;
    shifted[j] = p[j] + steps[j];
    residual(shiftedResiduals, context, shifted);
    AlgVector column = shiftedResiduals - r;
    column *= 1.0 / steps[j];
    jacobian.setColumn(j, column);
  }
}

}  // namespace

AlgVector dampedGaussNewton(ResidualFunction residual, void* context, const AlgVector& p0,
                            std::int32_t maxIterations, double step, double tolerance) {
  AlgVector p = p0;
  AlgVector r;
  residual(r, context, p);
  double lambda = kInitialDamping;
  const AlgVector steps(p.size(), step);

  AlgMatrix jacobian;
  AlgVector trial;
  AlgVector trialResiduals;
  for (std::int32_t iteration = 0; iteration < maxIterations; ++iteration) {
    forwardJacobian(residual, context, p, r, steps, jacobian);

    AlgMatrix jacobianT = jacobian;
    jacobianT.transpose();
    AlgMatrix normal = jacobianT;
    normal.multiply(jacobian);
    AlgVector gradient;
    jacobianT.multiplyVector(r, &gradient);

    AlgMatrix damping = AlgMatrix::identity(p.size());
    damping *= lambda;
    normal += damping;
    if (!invert(normal)) return p;  // a column without pivot: NaN data
    AlgVector h;
    normal.multiplyVector(gradient, &h);
    for (double& value : h) value = -value;

    trial = p + h;
    residual(trialResiduals, context, trial);
    const double trialNorm = euclideanNorm(trialResiduals);
    if (trialNorm < tolerance) return trial;

    if (euclideanNorm(r) > trialNorm) {
      p.swap(trial);
      r.swap(trialResiduals);
      const double halved = lambda * 0.5;
      lambda = halved > kMinimumDamping ? halved : kMinimumDamping;
    } else {
      lambda = lambda * 2.0;
      if (lambda > kMaximumDamping) return p;
    }
  }
  return p;
}

}  // namespace corvel

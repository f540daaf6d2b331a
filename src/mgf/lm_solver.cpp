#include "mgf/lm_solver.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "core/elimination.h"
#include "core/matrix.h"

namespace corvel {

namespace {

constexpr double kTau = 0.02;
constexpr double kEpsilon = 1e-6;
constexpr int kMaxSteps = 100;

// The largest element of a, scanning from a(0, 0); 0 for an empty matrix.
double largestElement(const AlgMatrix& a) {
  const std::size_t count = a.rows() * a.cols();
  if (count == 0) return 0.0;
  double best = a.data()[0];
  for (std::size_t i = 0; i < count; ++i) {
    if (a.data()[i] > best) best = a.data()[i];
  }
  return best;
}

// The linearisation at p: J^T J, and the gradient J^T r with r the
// residuals at p.
struct Linearisation {
  AlgMatrix normal;
  AlgVector residuals;
  AlgVector gradient;
};

void linearise(ModelFunction residual, void* context, AlgVector& p, Linearisation& out) {
  AlgMatrix jacobian;
  numericJacobian(residual, context, p, jacobian);
  AlgMatrix jacobianT = jacobian;
  jacobianT.transpose();
  AlgMatrix normal = jacobianT;
  normal.multiply(jacobian);
  AlgVector r;
  residual(context, p, r);
  AlgVector g;
  jacobianT.multiplyVector(r, &g);
  out.normal.swap(normal);
  out.residuals.swap(r);
  out.gradient.swap(g);
}

}  // namespace

void levenbergMarquardt(ModelFunction residual, void* context, AlgVector& p) {
  Linearisation at;
  linearise(residual, context, p, at);
  double mu = kTau * largestElement(at.normal);
  if (euclideanNorm(at.gradient) <= kEpsilon) return;

  AlgVector trialResiduals;
  for (int step = 0; step < kMaxSteps; ++step) {
    AlgMatrix damping = AlgMatrix::identity(p.size());
    damping *= mu;
    AlgMatrix system = at.normal + damping;
    invert(system);  // a singular system fails the product below
    for (std::size_t i = 0; i < system.rows() * system.cols(); ++i) {
      system.data()[i] = -system.data()[i];
    }
    AlgVector h;
    system.multiplyVector(at.gradient, &h);
    if (euclideanNorm(h) <= kEpsilon * (euclideanNorm(p) + kEpsilon)) return;

    AlgVector trial = p + h;
    double predicted = 0.0;
    for (std::size_t i = 0; i < h.size(); ++i) {
      predicted += (0.5 * h[i]) * (mu * h[i] - at.gradient[i]);
    }
    residual(context, trial, trialResiduals);
    const double before = 0.5 * sumOfSquares(at.residuals);
    const double after = 0.5 * sumOfSquares(trialResiduals);
    const double rho = (before - after) / predicted;

    if (rho > 0.0) {
      p.swap(trial);
      linearise(residual, context, p, at);
      mu = mu * std::max(1.0 - std::pow(2.0 * rho - 1.0, 3.0), 0.0);
      if (euclideanNorm(at.gradient) <= kEpsilon) return;
      mu = 2.0 * mu;
    } else {
      // Rejected (also for a NaN ratio): damp the next step more strongly.
      mu = 2.0 * mu;
      if (mu == 0.0) mu = kTau * largestElement(at.normal);
    }
  }
}

void mgfResidual(void* context, const AlgVector& parameters, AlgVector& residuals) {
  const MgfModel& model = *static_cast<const MgfModel*>(context);
  const std::size_t peaks = parameters.size() / 3;
  AlgVector amplitudes(peaks);
  AlgVector centers(peaks);
  AlgVector widths(peaks);
  for (std::size_t i = 0; i < peaks; ++i) {
    amplitudes[i] = parameters[3 * i];
    centers[i] = parameters[3 * i + 1];
    widths[i] = parameters[3 * i + 2];
  }
  AlgVector values = sumOfGaussians(model, amplitudes.data(), centers.data(), widths.data(), peaks);
  values -= modelY(model);
  residuals.swap(values);
}

void solveMgf(const MgfModel& model, GaussCoeff& coeff) {
  requireEqualCounts(coeff);
  const std::size_t peaks = coeff.centerCount;
  AlgVector p(3 * peaks);
  for (std::size_t i = 0; i < peaks; ++i) {
    p[3 * i] = coeff.amplitudes[i];
    p[3 * i + 1] = coeff.centers[i];
    p[3 * i + 2] = coeff.widths[i];
  }
  levenbergMarquardt(mgfResidual, const_cast<MgfModel*>(&model), p);
  for (std::size_t i = 0; i < peaks; ++i) {
    coeff.amplitudes[i] = p[3 * i];
    coeff.centers[i] = p[3 * i + 1];
    coeff.widths[i] = p[3 * i + 2];
  }
}

}  // namespace corvel

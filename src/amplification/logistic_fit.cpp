#include "amplification/logistic_fit.h"

#include <cmath>
#include <cstddef>

#include "amplification/gauss_newton.h"
#include "core/statistics.h"
#include "signal/derivative.h"
#include "signal/smoothing.h"

namespace corvel {

namespace {

constexpr double kHeightUnit = 1000.0;
constexpr double kEarliestMidpoint = 11.0;
constexpr double kStartRate = 0.4;
constexpr std::int32_t kMaxIterations = 100;
constexpr double kStep = 1e-4;
constexpr double kTolerance = 1e-9;

}  // namespace

void logisticResidual(AlgVector& residuals, void* context, const AlgVector& parameters) {
  const CurvePoints& points = *static_cast<const CurvePoints*>(context);
  const double height = kHeightUnit * parameters[0];
  AlgVector model(points.x.size());
  for (std::size_t i = 0; i < model.size(); ++i) {
    model[i] = height / (std::exp((points.x[i] - parameters[1]) * (-parameters[2])) + 1.0);
  }
  residuals = model - points.y;
}

LogisticParameters noLogisticFit() {
  const double none = std::nan("");
  return LogisticParameters{none, none, none};
}

LogisticParameters fitLogistic(const AlgVector& y) {
  CurvePoints points;
  points.x.fillArithmetic(1.0, 1.0, y.size());
  points.y = y;

  AlgVector smoothed = y;
  superSmooth(smoothed, 5);
  const double top = smoothed.empty() ? 0.0 : smoothed[static_cast<std::size_t>(argMax(smoothed))];
  AlgVector bends = smoothed;
  centralDerivative(bends);
  centralDerivative(bends);
  const double middle = static_cast<double>(argMax(bends) + argMin(bends)) * 0.5;

  AlgVector start(3);
  start[0] = top / kHeightUnit;
  start[1] = kEarliestMidpoint > middle ? kEarliestMidpoint : middle;
  start[2] = kStartRate;
  const AlgVector p =
      dampedGaussNewton(logisticResidual, &points, start, kMaxIterations, kStep, kTolerance);

  // The solver returns its start when nothing improves, as happens when the
  // curve holds NaN or infinite values; such a curve has no fit, and its
  // parameters say so rather than pass the start off as a result. On
  // finite data every accepted point has a finite residual norm.
  AlgVector residuals;
  logisticResidual(residuals, &points, p);
  if (!std::isfinite(euclideanNorm(residuals))) return noLogisticFit();
  return LogisticParameters{p[0] * kHeightUnit, p[1], p[2]};
}

}  // namespace corvel

#include "melting/melting_derivative.h"

#include <cstdint>
#include <stdexcept>

#include "core/conversions.h"
#include "core/messages.h"
#include "core/statistics.h"
#include "signal/convolution.h"
#include "signal/derivative.h"
#include "signal/grid.h"
#include "signal/smoothing.h"
#include "signal/spline.h"

namespace corvel {

namespace {

constexpr std::size_t kMinimumTemperatures = 4;
constexpr std::size_t kRefinement = 10;
constexpr double kGridPerStep = 10.0;
constexpr double kStartSpan = 5.0;    // degrees replaced by the start ramp
constexpr double kRampDivisor = 5.0;  // in the ramp's slope
constexpr std::int32_t kFinalHalfWidth = 30;

}  // namespace

AlgVector meltingWeights() {
  const double weights[] = {0.05, 0.15, 0.2, 0.3, 0.2, 0.15, 0.05};
  return AlgVector::copyOf(weights, 7);
}

void meltingDerivative(const AlgVector& t, const AlgVector& f, AlgVector& grid,
                       AlgVector& derivative) {
  const std::size_t n = t.size();
  if (n < kMinimumTemperatures) throw std::invalid_argument(msg::kTooFewTemperatures);
  const AlgVector weights = meltingWeights();

  AlgVector smoothed = f;
  convolvePadded(weights, smoothed);
  AlgVector fine = uniformGrid(t[0], t[n - 1], refinedIntervals(n - 1, kRefinement));

  AlgVector curve;
  splineInterpolate(t, smoothed, fine, curve);
  convolvePadded(weights, curve);
  centralDerivative(curve);
  for (double& value : curve) value = -value;
  convolvePadded(weights, curve);

  const double perDegree = 1.0 / (t[3] - t[2]);
  for (double& value : curve) value = (value * perDegree) * kGridPerStep;

  AlgVector corrected;
  correctMeltStart(t, curve, corrected);
  grid.swap(fine);
  derivative.swap(corrected);
}

void correctMeltStart(const AlgVector& t, const AlgVector& s, AlgVector& out) {
  const double step = (t[3] - t[2]) / kGridPerStep;
  // The grid points in the first 5 degrees; a zero, NaN or tiny step gives
  // the most negative count and is refused below.
  const std::int32_t k = truncateToInt32(kStartSpan / step);
  if (k < 0 || s.size() <= static_cast<std::size_t>(k)) {
    throw std::invalid_argument(msg::kMeltTooShort);
  }
  const auto ku = static_cast<std::size_t>(k);
  const double startMean = mean(s.slice(0, ku));
  const double level = (startMean + s[ku]) * 0.5;
  const double rise = (s[ku] - level) / kRampDivisor;

  AlgVector result = s;
  for (std::size_t i = 0; i < ku; ++i) result[i] = static_cast<double>(i) * (rise * step) + level;
  superSmooth(result, kFinalHalfWidth);
  out.swap(result);
}

}  // namespace corvel

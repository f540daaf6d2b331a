#include "melting/melting_derivative.h"

#include <cstdint>
#include <limits>
#include <stdexcept>

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

// 5 / step truncated toward zero to a signed 32-bit integer; NaN and
// quotients outside the 32-bit range give the most negative value, as the
// processor's conversion does.
std::int32_t gridPointsInStart(double step) {
  const double points = kStartSpan / step;
  if (!(points > -2147483649.0 && points < 2147483648.0)) {
    return std::numeric_limits<std::int32_t>::min();
  }
  return static_cast<std::int32_t>(points);
}

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
  const std::int32_t k = gridPointsInStart(step);
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

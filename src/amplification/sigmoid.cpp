#include "amplification/sigmoid.h"

#include <cmath>

namespace corvel {

namespace {

constexpr double kCtOffset = 1.5;
constexpr double kMinimumTop = 10.0;
constexpr double kMinimumRate = 0.01;

}  // namespace

AlgVector sigmoidValues(double a, double x0, double b, const AlgVector& x) {
  AlgVector values(x.size());
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double e = std::exp((x[i] - x0) * (-b));
    values[i] = a / (e + 1.0);
  }
  return values;
}

AlgVector sigmoidCts(const WellCurveInfo* wells, std::size_t count) {
  // The second derivative of the logistic peaks ln(2 + sqrt 3) / b cycles
  // before its midpoint.
  const double bendDistance = std::log(std::sqrt(3.0) + 2.0);
  AlgVector cts(count);
  for (std::size_t i = 0; i < count; ++i) {
    const WellCurveInfo& well = wells[i];
    double ct = well.sigmoidMid - bendDistance / well.sigmoidRate;
    ct = ct - kCtOffset;
    if (well.sigmoidTop < kMinimumTop || well.sigmoidRate < kMinimumRate) ct = std::nan("");
    cts[i] = ct;
  }
  return cts;
}

}  // namespace corvel

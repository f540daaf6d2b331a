#include "amplification/threshold_crossing.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "core/statistics.h"

namespace corvel {

namespace {

constexpr double kFlatSlope = 1e-6;

}  // namespace

double thresholdCrossing(const AlgVector& y, double t, double& ratio) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  ratio = 0.0;
  const double top = y.empty() ? 0.0 : y[static_cast<std::size_t>(argMax(y))];
  if (t >= top) return kNone;
  if (y.size() < 3) return kNone;  // no segment with a neighbour on both sides

  // Indices are those of a 32-bit bisection; 64 bits give the same ones for
  // every curve shorter than 2^31 values and cannot overflow beyond.
  const auto n = static_cast<std::int64_t>(y.size());
  AlgVector x;
  x.fillArithmetic(1.0, 1.0, y.size());
  const auto at = [&y](std::int64_t i) { return y[static_cast<std::size_t>(i)]; };

  std::int64_t s;
  if (t < at(0)) {
    s = 1;
  } else if (t > at(n - 1)) {
    s = n - 1;
  } else {
    std::int64_t lo = 0;
    std::int64_t hi = n - 1;
    std::int64_t mid = (n - 1) / 2;
    while (hi - lo > 1) {
      if (t >= at(mid)) {
        lo = mid;
      } else {
        hi = mid;
      }
      mid = lo + (hi - lo) / 2;
    }
    s = lo;
  }
  s = std::max<std::int64_t>(s, 1);

  const std::int64_t k = s > n - 2 ? 1 : s;
  double slope;
  if (at(k) <= t) {
    slope = at(k + 1) - at(k);
    ratio = at(k + 1) / at(k);
  } else {
    slope = at(k) - at(k - 1);
    ratio = at(k) / at(k - 1);
  }
  if (std::fabs(slope) < kFlatSlope) return kNone;
  return (t - (at(k) - slope * x[static_cast<std::size_t>(k)])) / slope;
}

}  // namespace corvel

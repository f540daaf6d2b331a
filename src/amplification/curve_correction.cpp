#include "amplification/curve_correction.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>

#include "core/messages.h"
#include "core/regression.h"
#include "core/statistics.h"
#include "signal/convolution.h"
#include "signal/derivative.h"

namespace corvel {

namespace {

// Below this maximum a curve carries no usable signal.
constexpr double kLowSignalLimit = 300.0;
// Baseline spread above which the cycles before the baseline end are
// flattened, and plateau spread above which the tail is.
constexpr double kNoisyStartLimit = 300.0;
constexpr double kNoisyTailLimit = 2000.0;
// Relative rise over four cycles below which a curve does not amplify.
constexpr double kNoRiseLimit = 0.005;
// The floor of a corrected curve, also the value of a flattened one.
constexpr double kFloor = 0.01;
// Growth per cycle of the exponential baseline: close to, but not, ln 2.
constexpr double kDoublingRate = 0.69314;
// The earliest index at which the strongest upward bend is looked for.
constexpr std::int64_t kEarliestBend = 9;

// Sets v[begin .. end-1] to value.
void fill(AlgVector& v, std::size_t begin, std::size_t end, double value) {
  std::fill(v.begin() + begin, v.begin() + end, value);
}

double largest(const AlgVector& v) {
  return v[static_cast<std::size_t>(argMax(v))];
}

// 32-bit C-style conversion of a window bound: a negative index wraps to a
// huge unsigned one that the window checks refuse.
std::size_t windowIndex(int index) {
  return static_cast<std::size_t>(static_cast<std::int64_t>(index));
}

}  // namespace

AlgVector ctWeights() {
  const double weights[] = {0.45, 0.25, 0.15, 0.1, 0.05};
  return AlgVector::copyOf(weights, 5);
}

void correctCurve(WellCurveInfo& info, AlgVector& curve) {
  const std::size_t n = curve.size();
  if (n < kMinCycles) throw std::out_of_range(msg::kSliceEndOutOfRange);
  const AlgVector& y = curve;  // read only until the result replaces it
  const auto count = static_cast<std::int64_t>(n);

  // 1. The strongest upward bend m (not before index 9), the automatic
  //    baseline end a just before it, and the steepest point.
  AlgVector d1 = y;
  centralDerivative(d1);
  AlgVector d2 = d1;
  centralDerivative(d2);
  const std::int64_t m =
      std::max<std::int64_t>(static_cast<std::int64_t>(argMax(d2)), kEarliestBend);
  const std::int64_t a = std::max<std::int64_t>(1, m - 1);
  info.steepestIndex = static_cast<double>(argMax(d1));

  // 2. The baseline window, automatic where the record holds 0.
  if (info.baselineStart == 0) info.baselineStart = 3;
  if (info.baselineEnd == 0) info.baselineEnd = static_cast<std::int16_t>(a);
  const AlgVector window =
      y.slice(windowIndex(info.baselineStart - 1), windowIndex(info.baselineEnd + 1));

  // A curve that dips to its minimum after cycle 10 gets its baseline end
  // moved to that minimum (step 8); the exponential baseline (step 13) is
  // anchored one past the final end, which must lie inside the curve.
  const std::int64_t r = static_cast<std::int64_t>(argMin(y));
  const double dipMean = mean(y.slice(0, static_cast<std::size_t>(r)));
  const bool dips = r > 9 && dipMean > y[static_cast<std::size_t>(r)];
  const std::int64_t finalEnd = dips ? (r == count - 1 ? r - 1 : r) : info.baselineEnd;
  if (finalEnd + 1 >= count) throw std::out_of_range(msg::kSliceEndOutOfRange);

  info.baselineNoise = std::sqrt(sumSquaredDeviations(window) / static_cast<double>(window.size()));

  // 3. Low signal, and the straight line through the baseline window over
  //    its 1-based cycle numbers.
  AlgVector w = y;
  const double yMax = largest(y);
  if (yMax < kLowSignalLimit) {
    fill(w, 0, n, kFloor);
    info.lowSignal = 1;
  }
  AlgVector cycles;
  cycles.fillArithmetic(static_cast<double>(info.baselineStart), 1.0, window.size());
  const LinearFit line = linearRegression(cycles, window);
  info.baselineSlope = line.slope;

  // 4. A rising baseline is tilted flat about index a.
  if (line.slope > 0.0) {
    AlgVector tilt;
    tilt.fillArithmetic(1.0, 1.0, n);
    tilt *= line.slope;
    tilt += line.intercept;
    w -= tilt;
    w += tilt[static_cast<std::size_t>(a)];
  }

  // 5. Features.
  AlgVector slope = w;
  centralDerivative(slope);
  info.maxSlope = largest(slope);
  info.cycle3Value = y[2];
  info.maxValue = yMax;

  // 6. A noisy start is flattened to its value at a.
  const auto au = static_cast<std::size_t>(a);
  if (m >= 10 && stdDevPopulation(w.slice(0, au)) > kNoisyStartLimit) fill(w, 0, au, w[au]);

  // 7. A noisy plateau, four cycles after the strongest downward bend q, is
  //    flattened to the larger of its mean and its first value.
  const std::int64_t q = static_cast<std::int64_t>(argMin(d2));
  if (q + 4 < count && q > m) {
    const auto tailStart = static_cast<std::size_t>(q + 4);
    const AlgVector tail = w.slice(tailStart, n);
    if (stdDevPopulation(tail) > kNoisyTailLimit) {
      const double tailMean = mean(tail);
      fill(w, tailStart, n, tailMean > w[tailStart] ? tailMean : w[tailStart]);
    }
  }

  // 8. A late dip restarts the correction from the raw curve: the values
  //    before the minimum are floored and the minimum becomes the level.
  const auto ru = static_cast<std::size_t>(r);
  if (dips) {
    for (std::size_t i = 0; i < n; ++i) w[i] = y[i] - y[ru];
    fill(w, 0, ru, kFloor);
    info.baselineEnd = static_cast<std::int16_t>(finalEnd);
  }

  // 9. The larger of the one-cycle rises after the minimum and after a.
  const auto ap = static_cast<std::size_t>(std::min(a, count - 4));
  const auto rp = static_cast<std::size_t>(std::min(r, count - 4));
  info.stepRise = std::max(y[rp + 1] - y[rp], y[ap + 1] - y[ap]);

  // 10, 11. Remove the level before the bend; floor the result.
  w -= mean(w.slice(0, static_cast<std::size_t>(m)));
  for (double& value : w) {
    if (value <= kFloor) value = kFloor;
  }

  // 12. A curve that rises less than 0.5 % over the four cycles up to its
  //     steepest point does not amplify.
  const std::int64_t k = static_cast<std::int64_t>(info.steepestIndex);
  const auto j = static_cast<std::size_t>(std::max<std::int64_t>(0, k - 4));
  const double y0 = y[j] == 0.0 ? 1.0 : y[j];
  if ((y[j + 4] - y0) / y0 < kNoRiseLimit) {
    fill(w, 0, n, kFloor);
    info.noRise = 1;
  }

  // 13. The baseline becomes an exponential reaching w[e+1] at e+1.
  const std::int64_t e = info.baselineEnd;
  const auto anchor = static_cast<std::size_t>(e + 1);
  if (w[anchor] <= kFloor) w[anchor] = 1.0;
  w[0] = w[anchor] * std::exp(static_cast<double>(-(e + 1)) * kDoublingRate);
  for (std::int64_t i = 1; i <= e; ++i) {
    w[static_cast<std::size_t>(i)] = std::exp(static_cast<double>(i) * kDoublingRate) * w[0];
  }

  // 14. Hold the plateau from the first maximum on.
  const auto p = static_cast<std::size_t>(argMax(w));
  fill(w, p, n, w[p]);

  curve.swap(w);
}

void correctAndFilterCurve(WellCurveInfo& info, AlgVector& curve) {
  // On a copy, so that a failure in the filter leaves the curve unchanged
  // as a failure in the correction does.
  const AlgVector weights = ctWeights();
  AlgVector work = curve;
  correctCurve(info, work);
  convolvePadded(weights, work);
  curve.swap(work);
}

}  // namespace corvel

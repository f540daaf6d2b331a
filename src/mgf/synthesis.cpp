#include "mgf/synthesis.h"

#include <cmath>
#include <cstddef>
#include <stdexcept>

#include "core/messages.h"
#include "core/statistics.h"

namespace corvel {

namespace {

constexpr double kWidthFactor = 0.5;
constexpr double kOscillationDecay = -0.0451;
constexpr double kOscillationFrequency = 0.5;
constexpr double kEstimatedSteepness = 3.0;
constexpr std::size_t kDefaultCenterIndex = 10;
constexpr double kDefaultWidth = 100.0;

// The peaks to synthesise: the set's, or the single default peak
// (0, x[10], 100) when it has no centres.
struct Peaks {
  AlgVector amplitudes;
  AlgVector centers;
  AlgVector widths;
};

Peaks workingPeaks(const MgfModel& model, const GaussCoeff& coeff) {
  requireAllArraysForCenters(coeff);
  Peaks peaks;
  if (coeff.centerCount == 0) {
    if (model.xCount <= kDefaultCenterIndex) throw std::invalid_argument(msg::kModelTooShort);
    peaks.amplitudes = AlgVector(1, 0.0);
    peaks.centers = AlgVector(1, model.x[kDefaultCenterIndex]);
    peaks.widths = AlgVector(1, kDefaultWidth);
    return peaks;
  }
  peaks.amplitudes = AlgVector::copyOf(coeff.amplitudes, coeff.centerCount);
  peaks.centers = AlgVector::copyOf(coeff.centers, coeff.centerCount);
  peaks.widths = AlgVector::copyOf(coeff.widths, coeff.centerCount);
  return peaks;
}

// The peaks at half width on the grid, summed in order from 0.0 into an
// accumulator of `size` values.
AlgVector peakSum(const Peaks& peaks, const AlgVector& grid, std::size_t size) {
  AlgVector sum(size);
  for (std::size_t i = 0; i < peaks.centers.size(); ++i) {
    sum += gaussian(peaks.amplitudes[i], peaks.centers[i], peaks.widths[i] * kWidthFactor, grid);
  }
  return sum;
}

// Adds the level, takes off the logistic step and adds the oscillation,
// in that order, element by element.
void applyBackground(AlgVector& curve, const AlgVector& grid, const MeltBackground& b) {
  AlgVector step(grid.size());
  AlgVector oscillation(grid.size());
  for (std::size_t j = 0; j < grid.size(); ++j) {
    step[j] = b.level / (std::exp((grid[j] - b.midTemperature) * (-b.steepness)) + 1.0);
    oscillation[j] = (std::exp(grid[j] * kOscillationDecay) * b.level) *
                     std::sin(grid[j] * kOscillationFrequency);
  }
  curve += b.level;
  curve -= step;
  curve += oscillation;
}

// The first index j >= from with x[j] >= value, or n when there is none.
std::size_t firstAtOrAbove(const AlgVector& x, std::size_t from, double value) {
  for (std::size_t j = from; j < x.size(); ++j) {
    if (x[j] >= value) return j;
  }
  return x.size();
}

}  // namespace

AlgVector meltingStimulate(const MgfModel& model, const GaussCoeff& coeff,
                           MeltBackground& background) {
  const Peaks peaks = workingPeaks(model, coeff);
  const AlgVector x = modelX(model);
  if (x.size() < 2) throw std::invalid_argument(msg::kModelTooShort);
  AlgVector curve = peakSum(peaks, x, model.yCount);

  // The baseline stretch ends before the first peak (or, with the first
  // peak at the start, covers all but the last point); the step sits just
  // before the last peak.
  const std::size_t j1 = firstAtOrAbove(x, 0, peaks.centers[0]);
  const std::size_t j2 = firstAtOrAbove(x, 1, peaks.centers[peaks.centers.size() - 1]);
  std::size_t e = j1 >= 1 ? j1 - 1 : x.size() - 1;
  if (e == 0) e = 1;
  std::size_t t = j2 - 1;
  if (t == 0) t = 1;

  MeltBackground estimate;
  estimate.level = mean(modelY(model).slice(0, e));
  estimate.midTemperature = x[t];
  estimate.steepness = kEstimatedSteepness;
  background = estimate;
  applyBackground(curve, x, estimate);
  return curve;
}

AlgVector meltingStimPeak(const MgfModel& model, const GaussCoeff& coeff,
                          const MeltBackground& background) {
  const Peaks peaks = workingPeaks(model, coeff);
  AlgVector curve = peakSum(peaks, peaks.centers, peaks.centers.size());
  applyBackground(curve, peaks.centers, background);
  return curve;
}

}  // namespace corvel

#include "mgf/peak_detection.h"

#include <cmath>
#include <cstddef>
#include <stdexcept>

#include "core/conversions.h"
#include "core/messages.h"

namespace corvel {

namespace {

constexpr double kWindowFactor = 1.3;
constexpr double kFlankFloor = 1e-8;
constexpr double kFlankReplacement = 0.6;
constexpr double kFlankCap = 0.8;
constexpr double kZeroWidthReplacement = 1.6;
constexpr double kFixedWidth = 1.7;

int sign(double d) {
  if (d > 0.0) return 1;
  if (d < 0.0) return -1;
  return 0;
}

}  // namespace

PeakIndices localMaxima(const AlgVector& y) {
  PeakIndices peaks;
  const std::size_t n = y.size();
  if (n < 3) return peaks;
  // Sign of each first difference, the last repeated; a peak is a change
  // of sign from +1 to -1 between neighbouring differences.
  for (std::size_t i = 0; i + 2 < n; ++i) {
    if (sign(y[i + 2] - y[i + 1]) - sign(y[i + 1] - y[i]) == -2) {
      peaks.push_back(static_cast<std::int64_t>(i + 1));
    }
  }
  return peaks;
}

void detectPeaks(const MgfModel& model, GaussCoeff& coeff) {
  const AlgVector x = modelX(model);
  const AlgVector y = modelY(model);
  if (x.size() < 4) throw std::invalid_argument(msg::kTooFewTemperatures);
  if (x.size() < y.size()) throw std::invalid_argument(msg::kKnotLengthsDiffer);
  const PeakIndices peaks = localMaxima(y);

  const double step = x[3] - x[2];
  const std::int64_t halfWindow = truncateToInt32(model.options.peakWidth * kWindowFactor / step);
  if (halfWindow < 0) throw std::invalid_argument(msg::kPeakWindowTooWide);
  const auto n = static_cast<std::int64_t>(y.size());

  AlgVector amplitudes(peaks.size());
  AlgVector centers(peaks.size());
  AlgVector widths(peaks.size());
  for (std::size_t k = 0; k < peaks.size(); ++k) {
    const std::int64_t p = peaks[k];
    const auto at = [](const AlgVector& v, std::int64_t i) {
      return v[static_cast<std::size_t>(i)];
    };
    const double a = at(y, p);
    amplitudes[k] = a;
    centers[k] = at(x, p);
    if (a <= 0.0) throw std::overflow_error(msg::kPeakBelowZero);

    const std::int64_t lo = p - halfWindow;
    const std::int64_t hi = p + halfWindow;
    double v;
    double dx;
    if (lo <= 0) {
      if (hi >= n) throw std::invalid_argument(msg::kPeakWindowTooWide);
      v = at(y, hi);
      dx = at(x, hi) - at(x, p);
    } else {
      dx = at(x, p) - at(x, lo);
      v = hi < n ? (at(y, hi) + at(y, lo)) * 0.5 : at(y, lo);
    }
    if (v < kFlankFloor) v = kFlankReplacement;
    if (v > a) v = a * kFlankCap;
    const double sigma = dx / std::sqrt(std::fabs(-2.0 * std::log(std::fabs(v / a))));
    widths[k] = sigma == 0.0 ? kZeroWidthReplacement : sigma;
  }
  replaceAll(coeff, amplitudes, centers, widths);
}

void detectPeaksFixedWidth(const AlgVector& x, const AlgVector& y, GaussCoeff& coeff) {
  if (x.size() < y.size()) throw std::invalid_argument(msg::kKnotLengthsDiffer);
  const PeakIndices peaks = localMaxima(y);
  AlgVector amplitudes(peaks.size());
  AlgVector centers(peaks.size());
  AlgVector widths(peaks.size(), kFixedWidth);
  for (std::size_t k = 0; k < peaks.size(); ++k) {
    const auto p = static_cast<std::size_t>(peaks[k]);
    amplitudes[k] = y[p];
    centers[k] = x[p];
  }
  replaceAll(coeff, amplitudes, centers, widths);
}

}  // namespace corvel

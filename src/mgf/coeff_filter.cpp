#include "mgf/coeff_filter.h"

#include <cstddef>

#include "core/vector.h"

namespace corvel {

namespace {

// The FWHM of a Gaussian with standard deviation sigma, by the constant
// 2.3548 (slightly below 2 sqrt(2 ln 2)).
constexpr double kFwhmPerSigma = 2.3548;

bool passes(const FilterLimits& limits, double amplitude, double width) {
  const double fwhm = width * kFwhmPerSigma;
  return amplitude > limits.minAmplitude && fwhm >= limits.minFwhm && fwhm <= limits.maxFwhm;
}

}  // namespace

void filterCoefficients(const FilterLimits& limits, const GaussCoeff& coeff, GaussCoeff& out) {
  requireEqualCounts(coeff);
  std::size_t kept = 0;
  for (std::size_t i = 0; i < coeff.centerCount; ++i) {
    if (passes(limits, coeff.amplitudes[i], coeff.widths[i])) ++kept;
  }
  AlgVector amplitudes(kept);
  AlgVector centers(kept);
  AlgVector widths(kept);
  std::size_t next = 0;
  for (std::size_t i = 0; i < coeff.centerCount; ++i) {
    if (!passes(limits, coeff.amplitudes[i], coeff.widths[i])) continue;
    amplitudes[next] = coeff.amplitudes[i];
    centers[next] = coeff.centers[i];
    widths[next] = coeff.widths[i];
    ++next;
  }
  replaceAll(out, amplitudes, centers, widths);
}

}  // namespace corvel

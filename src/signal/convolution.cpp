#include "signal/convolution.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace corvel {

namespace {

// The sum of x[begin .. end-1] from 0.0 in index order, divided by the
// number of samples.
double rangeMean(const AlgVector& x, std::size_t begin, std::size_t end) noexcept {
  double total = 0.0;
  for (std::size_t i = begin; i < end; ++i) total += x[i];
  return total / static_cast<double>(static_cast<std::uint64_t>(end - begin));
}

// The end sample when it lies above the mean, else the mean.
double padValue(double endSample, double regionMean) noexcept {
  return endSample > regionMean ? endSample : regionMean;
}

}  // namespace

void convolvePadded(const AlgVector& kernel, AlgVector& x) {
  const std::size_t n = x.size();
  const std::size_t m = kernel.size();
  if (n == 0) return;
  const std::size_t h = m / 2;

  double left = 0.0;
  double right = 0.0;
  if (h > 0) {
    const std::size_t leftEnd = std::min(h, n);
    left = padValue(x[leftEnd - 1], rangeMean(x, 0, leftEnd));
    const std::size_t rightBegin = n > 2 * h ? n - 2 * h : 0;
    const std::size_t rightEnd = n > h + 1 ? n - h : 1;
    right = padValue(x[n - 1], rangeMean(x, rightBegin, rightEnd));
  }

  AlgVector padded(n + m);
  std::fill(padded.begin(), padded.begin() + h, left);
  std::copy(x.begin(), x.end(), padded.begin() + h);
  std::fill(padded.begin() + h + n, padded.end(), right);

  // Each output sums its m products from 0.0 in increasing j; the outputs
  // run innermost so that neighbouring ones are formed side by side.
  AlgVector out(n);
  for (std::size_t j = 0; j < m; ++j) {
    const double weight = kernel[j];
    const double* source = padded.data() + j;
    for (std::size_t i = 0; i < n; ++i) out[i] += weight * source[i];
  }
  x.swap(out);
}

}  // namespace corvel

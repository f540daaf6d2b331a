// Centred moving average with windows truncated at the curve's ends.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "signal/smoothing.h"

namespace corvel {

namespace {

// Outputs filled per block in the interior: the block's partial sums stay
// in cache while every window offset is added to them.
constexpr std::size_t kBlock = 256;

// The mean of in[lo .. hi], summed from 0.0 in index order; the count is
// the window's signed 32-bit sample count converted to double. An empty
// window (lo > hi) gives 0.0 / 0.0.
double windowMean(const double* in, std::int64_t lo, std::int64_t hi) noexcept {
  double total = 0.0;
  for (std::int64_t j = lo; j <= hi; ++j) total += in[j];
  const std::int64_t taken = lo <= hi ? hi - lo + 1 : 0;
  const auto count = static_cast<std::int32_t>(static_cast<std::uint32_t>(taken));
  return total / static_cast<double>(count);
}

}  // namespace

void superSmooth(AlgVector& v, std::int32_t k) {
  const std::size_t size = v.size();
  if (size == 0) return;
  const auto n = static_cast<std::int64_t>(size);
  const double* in = v.data();
  AlgVector out(size);

  if (k < 0) {
    // No sample falls in any window: every mean is 0.0 / 0.0.
    for (std::size_t i = 0; i < size; ++i) out[i] = windowMean(in, 1, 0);
    v.swap(out);
    return;
  }

  if (static_cast<std::int64_t>(k) >= n - 1) {
    // Every window is the whole curve, so every mean is the same one.
    const double whole = windowMean(in, 0, n - 1);
    for (std::size_t i = 0; i < size; ++i) out[i] = whole;
    v.swap(out);
    return;
  }

  // Windows cut by an end of the curve: i < k or i > n-1-k.
  const std::int64_t width = k;
  const std::int64_t firstFull = std::min(width, n);
  const std::int64_t lastFull = n - 1 - width;  // may be below firstFull
  for (std::int64_t i = 0; i < n; ++i) {
    if (i >= firstFull && i <= lastFull) continue;
    out[static_cast<std::size_t>(i)] =
        windowMean(in, std::max<std::int64_t>(0, i - width), std::min(n - 1, i + width));
  }

  // Full windows. Each output accumulates its own 2k+1 samples from 0.0 in
  // increasing index order - the sum windowMean forms - but the loop runs
  // over outputs innermost, so neighbouring outputs are summed side by side.
  if (firstFull <= lastFull) {
    const double count = static_cast<double>(static_cast<std::int32_t>(2 * width + 1));
    for (std::int64_t begin = firstFull; begin <= lastFull; begin += kBlock) {
      const std::int64_t end = std::min<std::int64_t>(begin + kBlock, lastFull + 1);
      double* acc = out.data();
      for (std::int64_t i = begin; i < end; ++i) acc[i] = 0.0;
      for (std::int64_t offset = -width; offset <= width; ++offset) {
        for (std::int64_t i = begin; i < end; ++i) acc[i] += in[i + offset];
      }
      for (std::int64_t i = begin; i < end; ++i) acc[i] /= count;
    }
  }
  v.swap(out);
}

}  // namespace corvel

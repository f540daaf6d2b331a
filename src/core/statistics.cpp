#include "core/statistics.h"

#include <cmath>
#include <cstddef>

namespace corvel {

double mean(const AlgVector& v) noexcept {
  return sum(v) / static_cast<double>(static_cast<std::uint64_t>(v.size()));
}

double sumSquaredDeviations(const AlgVector& v) noexcept {
  const double m = mean(v);
  double total = 0.0;
  for (std::size_t i = 0; i < v.size(); ++i) {
    const double d = v[i] - m;
    total += d * d;
  }
  return total;
}

double stdDevPopulation(const AlgVector& v) noexcept {
  return std::sqrt(sumSquaredDeviations(v) / static_cast<double>(v.size()));
}

std::uint64_t argMax(const AlgVector& v) noexcept {
  if (v.empty()) return 0;
  double best = v[0];
  std::uint64_t index = 0;
  for (std::size_t i = 0; i < v.size(); ++i) {
    if (v[i] > best) {
      best = v[i];
      index = i;
    }
  }
  return index;
}

std::uint64_t argMin(const AlgVector& v) noexcept {
  if (v.empty()) return 0;
  double best = v[0];
  std::uint64_t index = 0;
  for (std::size_t i = 0; i < v.size(); ++i) {
    if (v[i] < best) {
      best = v[i];
      index = i;
    }
  }
  return index;
}

}  // namespace corvel

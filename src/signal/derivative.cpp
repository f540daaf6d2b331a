#include "signal/derivative.h"

#include <cstddef>

namespace corvel {

void centralDerivative(AlgVector& y) {
  const std::size_t n = y.size();
  AlgVector d(n);
  if (n >= 3) {
    for (std::size_t i = 1; i + 1 < n; ++i) d[i] = (y[i + 1] - y[i - 1]) * 0.5;
    d[0] = d[1];
    d[n - 1] = d[n - 2];
  }
  y.swap(d);
}

}  // namespace corvel

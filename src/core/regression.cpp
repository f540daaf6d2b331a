#include "core/regression.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "core/elimination.h"
#include "core/statistics.h"

namespace corvel {

AlgMatrix quadraticProjection(const AlgVector& x) {
  const std::size_t n = x.size();
  AlgMatrix design(n, 3);
  for (std::size_t i = 0; i < n; ++i) {
    design(i, 0) = x[i] * x[i];
    design(i, 1) = x[i];
    design(i, 2) = 1.0;
  }
  AlgMatrix designT = design;
  designT.transpose();

  AlgMatrix normal = designT;
  normal.multiply(design);
  invert(normal);  // a failed inversion surfaces in the next product
  normal.multiply(designT);
  return normal;
}

AlgVector quadraticFit(const AlgVector& x, const AlgVector& y) {
  const AlgMatrix projection = quadraticProjection(x);
  AlgVector coefficients;
  projection.multiplyVector(y, &coefficients);
  return coefficients;
}

LinearFit linearRegression(const AlgVector& x, const AlgVector& y) {
  const double mx = mean(x);
  const double my = mean(y);
  const AlgVector dx = x - mx;
  const AlgVector dy = y - my;

  const double sxy = dot(dx, dy);
  const double sxx = dot(dx, dx);
  LinearFit fit;
  fit.slope = sxy / sxx;
  fit.intercept = my - fit.slope * mx;

  const std::size_t n = y.size();
  double sse = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    const double fitted = fit.slope * x[i] + fit.intercept;
    const double residual = y[i] - fitted;
    sse += residual * residual;
  }
  const double sst = dot(dy, dy);
  fit.rmse = std::sqrt(sse / static_cast<double>(static_cast<std::uint64_t>(n)));
  fit.rSquared = 1.0 - sse / sst;
  return fit;
}

}  // namespace corvel

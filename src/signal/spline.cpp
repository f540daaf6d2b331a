#include "signal/spline.h"

#include <stdexcept>

#include "core/messages.h"

namespace corvel {

CubicSpline::CubicSpline(const double* x, const double* y, std::size_t n) {
  if (n < 3) throw std::invalid_argument(msg::kTooFewKnots);
  if (x == nullptr || y == nullptr) throw std::invalid_argument(msg::kNullData);
  x_.assign(x, n);
  a_.assign(y, n);  // a[k] = y[k]; entry n-1 keeps y[n-1] for the sweeps
  b_.resize(n);
  c_.resize(n);
  d_.resize(n);

  // Forward sweep of the tridiagonal system for the second-derivative
  // coefficients c, natural end conditions l[0] = 1, mu[0] = z[0] = 0.
  AlgVector h(n - 1);
  for (std::size_t i = 0; i + 1 < n; ++i) h[i] = x_[i + 1] - x_[i];
  AlgVector l(n);
  AlgVector mu(n);
  AlgVector z(n);
  l[0] = 1.0;
  for (std::size_t i = 1; i + 1 < n; ++i) {
    const double alpha =
        (a_[i + 1] - a_[i]) * (3.0 / h[i]) - (a_[i] - a_[i - 1]) * (3.0 / h[i - 1]);
    l[i] = 2.0 * (x_[i + 1] - x_[i - 1]) - h[i - 1] * mu[i - 1];
    mu[i] = h[i] / l[i];
    z[i] = (alpha - h[i - 1] * z[i - 1]) / l[i];
  }
  l[n - 1] = 1.0;

  // Backward sweep; c[n-1] = 0.
  for (std::size_t j = n - 1; j-- > 0;) {
    c_[j] = z[j] - mu[j] * c_[j + 1];
    b_[j] = (a_[j + 1] - a_[j]) / h[j] - (2.0 * c_[j] + c_[j + 1]) * h[j] / 3.0;
    d_[j] = (c_[j + 1] - c_[j]) / (3.0 * h[j]);
  }
}

double CubicSpline::operator()(double t) const noexcept {
  std::size_t lo = 0;
  std::size_t hi = x_.size() - 1;
  while (hi - lo > 1) {
    const std::size_t mid = (lo + hi) / 2;
    if (x_[mid] > t) {
      hi = mid;
    } else {
      lo = mid;
    }
  }
  const double dx = t - x_[lo];
  return (dx * b_[lo] + a_[lo]) + (dx * c_[lo]) * dx + ((dx * d_[lo]) * dx) * dx;
}

void splineInterpolate(const AlgVector& x, const AlgVector& y, const AlgVector& xq,
                       AlgVector& out) {
  if (x.size() != y.size()) throw std::invalid_argument(msg::kKnotLengthsDiffer);
  out.resize(xq.size());
  if (x.size() < 3) throw std::invalid_argument(msg::kTooFewKnots);
  const CubicSpline spline(x.data(), y.data(), x.size());
  for (std::size_t j = 0; j < xq.size(); ++j) out[j] = spline(xq[j]);
}

}  // namespace corvel

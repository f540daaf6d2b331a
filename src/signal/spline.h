// Natural cubic spline interpolation.
#ifndef CORVEL_SIGNAL_SPLINE_H
#define CORVEL_SIGNAL_SPLINE_H

#include <cstddef>

#include "core/vector.h"

namespace corvel {

// The natural cubic spline (second derivative 0 at both ends) through n >= 3
// knots (x[i], y[i]). Piece k, for x[k] <= t < x[k+1], is
//
//   S(t) = a[k] + b[k] dx + c[k] dx^2 + d[k] dx^3,   dx = t - x[k],
//
// and the end pieces extend beyond the knots. The knot abscissae should be
// strictly increasing; this is not checked: equal neighbours give infinite
// or NaN coefficients, unordered ones make the lookup pick wrong pieces.
class CubicSpline {
 public:
  // Copies n knots and computes the coefficients. Throws
  // std::invalid_argument when n < 3, then when x or y is null.
  CubicSpline(const double* x, const double* y, std::size_t n);

  // S(t). The piece is found by bisection over the knots (a knot value
  // selects the piece that starts there, up to piece n-2); the value is
  // formed as (dx*b + a) + (dx*c)*dx + ((dx*d)*dx)*dx. A NaN query gives NaN.
  double operator()(double t) const noexcept;

  std::size_t size() const noexcept { return x_.size(); }
  const AlgVector& b() const noexcept { return b_; }
  const AlgVector& c() const noexcept { return c_; }
  const AlgVector& d() const noexcept { return d_; }

 private:
  AlgVector x_;
  AlgVector a_;
  AlgVector b_;
  AlgVector c_;
  AlgVector d_;
};

// out becomes xq.size() values S(xq[j]) of the spline through (x, y).
// Throws std::invalid_argument when x and y differ in length, then (with out
// already resized to zeros) when there are fewer than 3 knots.
void splineInterpolate(const AlgVector& x, const AlgVector& y, const AlgVector& xq, AlgVector& out);

}  // namespace corvel

#endif  // CORVEL_SIGNAL_SPLINE_H

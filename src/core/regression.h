// Least-squares fits: a parabola by the normal equations and a straight
// line with its goodness-of-fit figures.
#ifndef CORVEL_CORE_REGRESSION_H
#define CORVEL_CORE_REGRESSION_H

#include "core/matrix.h"
#include "core/vector.h"

namespace corvel {

// A fitted line y = slope * x + intercept with its root-mean-square error
// (divisor n) and coefficient of determination.
struct LinearFit {
  double slope;
  double intercept;
  double rmse;
  double rSquared;
};

// The 3 x n matrix P = (X^T X)^-1 X^T of the least-squares parabola through
// abscissae x, where row i of X is (x[i]^2, x[i], 1). P times the ordinates
// gives the coefficients (a, b, c), highest power first. The inversion's
// result is not tested: when X^T X has a column without pivot (no points,
// or every x equal to 0) the failed inversion leaves a 3 x 6 matrix and the
// product throws std::invalid_argument with the matrix-multiply message.
AlgMatrix quadraticProjection(const AlgVector& x);

// (a, b, c) of the least-squares parabola y = a x^2 + b x + c: the
// projection of x applied to y. Throws std::invalid_argument with the
// matrix-vector message when y.size() != x.size(), after the projection's
// own failure above.
AlgVector quadraticFit(const AlgVector& x, const AlgVector& y);

// The least-squares line of y on x. Means first, then the deviations; a
// length mismatch throws std::invalid_argument with the vector-multiply
// message. Nothing is guarded: equal x give an infinite or NaN slope, no
// points give NaN everywhere, constant y give a NaN or infinite rSquared.
LinearFit linearRegression(const AlgVector& x, const AlgVector& y);

}  // namespace corvel

#endif  // CORVEL_CORE_REGRESSION_H

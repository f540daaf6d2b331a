// The three-parameter logistic fitted to a conditioned amplification curve.
#ifndef CORVEL_AMPLIFICATION_LOGISTIC_FIT_H
#define CORVEL_AMPLIFICATION_LOGISTIC_FIT_H

#include "core/vector.h"

namespace corvel {

// The data of a fit: abscissae and ordinates of equal length.
struct CurvePoints {
  AlgVector x;
  AlgVector y;
};

// A logistic a / (1 + exp(-(x - x0) b)): plateau a, midpoint x0, steepness b.
struct LogisticParameters {
  double top;
  double mid;
  double rate;
};

// Residuals of the logistic with the plateau carried in thousands:
// r[i] = 1000 p[0] / (exp((x[i] - p[1]) (-p[2])) + 1.0) - y[i]. context is
// a CurvePoints; x and y of different lengths throw std::invalid_argument
// with the vector-subtract message.
void logisticResidual(AlgVector& residuals, void* context, const AlgVector& parameters);

// Fits the logistic to y over the cycle numbers 1 .. n by damped
// Gauss-Newton (at most 100 iterations, step 1e-4, tolerance 1e-9). The
// start is taken from y smoothed with half-width 5: its maximum, the
// midpoint between its strongest upward and downward bends (not below
// cycle 11), and steepness 0.4. A curve whose residuals at the result are
// not finite (NaN or infinite values in it) has no fit: all three
// parameters are NaN.
LogisticParameters fitLogistic(const AlgVector& y);

// The parameters of a curve that has no fit: all three NaN.
LogisticParameters noLogisticFit();

}  // namespace corvel

#endif  // CORVEL_AMPLIFICATION_LOGISTIC_FIT_H

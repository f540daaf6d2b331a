// The logistic amplification model and the Ct it implies.
#ifndef CORVEL_AMPLIFICATION_SIGMOID_H
#define CORVEL_AMPLIFICATION_SIGMOID_H

#include <cstddef>

#include "CorvelAlg.h"
#include "core/vector.h"

namespace corvel {

// a / (exp((x[i] - x0) * (-b)) + 1) for every x[i], in that order of
// operations, so that a far negative exponent overflows to a value of 0.
AlgVector sigmoidValues(double a, double x0, double b, const AlgVector& x);

// The Ct of each record's fitted logistic: the cycle of the maximum of its
// second derivative, sigmoidMid - ln(2 + sqrt 3) / sigmoidRate, less 1.5
// cycles. NaN when sigmoidTop < 10 or sigmoidRate < 0.01 (strict tests; a
// NaN plateau passes, a NaN midpoint or steepness gives NaN anyway).
AlgVector sigmoidCts(const WellCurveInfo* wells, std::size_t count);

}  // namespace corvel

#endif  // CORVEL_AMPLIFICATION_SIGMOID_H

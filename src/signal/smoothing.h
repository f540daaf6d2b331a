// In-place smoothing of a sampled curve.
#ifndef CORVEL_SIGNAL_SMOOTHING_H
#define CORVEL_SIGNAL_SMOOTHING_H

#include <cstdint>

#include "core/vector.h"

namespace corvel {

// Three passes of a sliding five-point filter. Window starts run
// 0 .. n-6 in order and each window is rewritten three times in turn, every
// step reading the window as the step before left it:
//   1. value despiking: each of the three inner points that is a strict
//      local extreme becomes the mean of its two neighbours;
//   2. parabola refit: the window becomes its least-squares parabola over
//      the abscissae 1 .. 5;
//   3. slope despiking: points 2 and 3 become the mean of the points on
//      either side when the slope around them has a strict kink.
// Curves of 5 values or fewer are unchanged (the window count n - 5 is a
// signed 32-bit number, so is also curves of 2^31 + 5 values or more); the
// last value is never changed. Comparisons with NaN are false, so a NaN
// triggers no replacement, but it spreads through the parabola refit.
void runSmooth(AlgVector& v);

// Centred moving average with half-width k: element i becomes the mean of
// the elements i-k .. i+k that lie inside the curve, so windows shrink near
// the ends. Every mean reads the input values and sums them from 0.0 in
// increasing index order. k = 0 changes no value (only a -0.0 comes back
// as +0.0, the sum starting from 0.0); k >= n-1 gives every
// element the mean of the whole curve; k < 0 leaves every window empty and
// every element NaN (0.0 / 0.0).
void superSmooth(AlgVector& v, std::int32_t k);

// The parabola a t^2 + b t + c at each t[i], formed as
// ((t[i] * t[i]) * a + t[i] * b) + c. coefficients holds {a, b, c}; a
// shorter vector throws std::invalid_argument with the vector-multiply
// message.
AlgVector evalQuadratic(const AlgVector& coefficients, const AlgVector& t);

}  // namespace corvel

#endif  // CORVEL_SIGNAL_SMOOTHING_H

// The derivative melting curve -dF/dT of one melting run.
#ifndef CORVEL_MELTING_MELTING_DERIVATIVE_H
#define CORVEL_MELTING_MELTING_DERIVATIVE_H

#include "core/vector.h"

namespace corvel {

// The kernel of the three smoothing passes: 0.05, 0.15, 0.2, 0.3, 0.2,
// 0.15, 0.05. It sums to 1.1, so each pass also scales the curve by 1.1.
AlgVector meltingWeights();

// From temperatures t (at least 4, increasing, evenly spaced) and
// fluorescence f: grid becomes the ten-times finer temperature grid of
// 10 (n - 1) + 1 points from t[0] to exactly t[n-1], and derivative the
// smoothed -dF/dT on it, in fluorescence per degree with the input step
// taken as t[3] - t[2], its first 5 degrees replaced by a ramp
// (correctMeltStart). Fewer than 4 temperatures: std::invalid_argument
// with the too-few-temperatures message; the start correction's own
// failure as described there. t and f must have equal lengths (else the
// spline's std::invalid_argument).
void meltingDerivative(const AlgVector& t, const AlgVector& f, AlgVector& grid,
                       AlgVector& derivative);

// out becomes s with its first k = trunc(5 / step) values (the first 5
// degrees, step = (t[3] - t[2]) / 10 the grid step) replaced by a straight
// ramp from halfway between their mean and s[k] up to about s[k], then
// smoothed by a moving average of half-width 30. k is a signed 32-bit
// number; a zero, NaN or tiny step gives the most negative one. A negative
// k, or s of no more than k values, throws std::invalid_argument with the
// too-short message.
void correctMeltStart(const AlgVector& t, const AlgVector& s, AlgVector& out);

}  // namespace corvel

#endif  // CORVEL_MELTING_MELTING_DERIVATIVE_H

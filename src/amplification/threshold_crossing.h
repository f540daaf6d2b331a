// The fractional cycle at which a conditioned curve crosses a threshold.
#ifndef CORVEL_AMPLIFICATION_THRESHOLD_CROSSING_H
#define CORVEL_AMPLIFICATION_THRESHOLD_CROSSING_H

#include "core/vector.h"

namespace corvel {

// The Ct of a conditioned curve y (value i at cycle i + 1) for threshold t,
// or a quiet NaN when there is none. ratio is set to 0 first and, once a
// bracketing segment is found, to the ratio of its upper to its lower
// value, before the slope is tested.
//
// A threshold at or above the curve's first maximum has no crossing. The
// segment is found by bisection, which assumes a non-decreasing curve; a
// threshold below the first value extrapolates back along the first
// segment, one above the last value uses the first segment too. The Ct is
// x[k] + (t - y[k]) / g along a segment of slope g through cycle k + 1; a
// slope below 1e-6 in magnitude has no crossing. Curves of fewer than 3
// values have no crossing either.
double thresholdCrossing(const AlgVector& y, double t, double& ratio);

}  // namespace corvel

#endif  // CORVEL_AMPLIFICATION_THRESHOLD_CROSSING_H

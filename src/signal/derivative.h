// Central differences of a sampled curve.
#ifndef CORVEL_SIGNAL_DERIVATIVE_H
#define CORVEL_SIGNAL_DERIVATIVE_H

#include "core/vector.h"

namespace corvel {

// Replaces y by its central difference: d[i] = (y[i+1] - y[i-1]) * 0.5 for
// 1 <= i <= n-2, and the end values copied from their neighbours,
// d[0] = d[1] and d[n-1] = d[n-2]. A curve of fewer than 3 values has no
// central difference and becomes all zeros.
void centralDerivative(AlgVector& y);

}  // namespace corvel

#endif  // CORVEL_SIGNAL_DERIVATIVE_H

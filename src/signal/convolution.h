// Weighted sliding sum of a curve against a kernel, with padded ends.
#ifndef CORVEL_SIGNAL_CONVOLUTION_H
#define CORVEL_SIGNAL_CONVOLUTION_H

#include "core/vector.h"

namespace corvel {

// Replaces x by its padded convolution with kernel (m weights, h = m / 2):
//
//   x[i] = sum over j = 0 .. m-1 of kernel[j] * b[i + j]   (from 0.0, in j)
//
// where b is x with h copies of a left pad value before it and m - h copies
// of a right pad value after it. The kernel is applied as given, not
// reversed: kernel[h] weighs x[i] itself.
//
// Left pad: the mean of x[0 .. h-1], or x[h-1] when that is greater.
// Right pad: the mean of the h samples x[n-2h .. n-h-1] just before the
// last h, or x[n-1] when that is greater. (A NaN on either side of a
// comparison keeps the mean.)
//
// Curves shorter than the pads need restrict the pad means to samples that
// exist: the left range ends at x[n-1] at the latest, and the right range
// starts at x[0] at the earliest and always keeps x[0] (for n <= h it is
// x[0] alone). A kernel of fewer than two weights needs no pads. An empty
// kernel makes every value 0.0; an empty curve stays empty.
void convolvePadded(const AlgVector& kernel, AlgVector& x);

}  // namespace corvel

#endif  // CORVEL_SIGNAL_CONVOLUTION_H

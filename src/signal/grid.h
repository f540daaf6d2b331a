// Evenly spaced grids.
#ifndef CORVEL_SIGNAL_GRID_H
#define CORVEL_SIGNAL_GRID_H

#include <cstddef>
#include <cstdint>

#include "core/vector.h"

namespace corvel {

// The number of intervals of a grid that refines each of `inputIntervals`
// intervals into `factor` sub-intervals. A negative factor, or a product
// for which the grid's point count (intervals + 1) does not fit in 64 bits,
// describes a grid no caller could hold: AllocationSizeFailure ("bad array
// new length"), before anything is allocated.
std::uint64_t refinedIntervals(std::size_t inputIntervals, std::int64_t factor);

// intervals + 1 points from first to last: point 0 is first, each next
// point is the previous one plus (last - first) / intervals (a running sum,
// so rounding accumulates), and the final point is set to exactly last
// whenever the sum missed it (or either is NaN). With 0 intervals the grid
// is the single value last.
AlgVector uniformGrid(double first, double last, std::uint64_t intervals);

// The grid of alg_interpolation_x: the span of x[0] .. x[n-1] refined by
// factor. Fewer than 3 values: std::invalid_argument.
AlgVector interpolationGrid(const AlgVector& x, std::int64_t factor);

}  // namespace corvel

#endif  // CORVEL_SIGNAL_GRID_H

// Descriptive statistics on an AlgVector.
//
// None of these functions checks or throws: an empty vector and NaN
// elements give the results stated with each function. Every sum starts at
// 0.0 and adds the elements in increasing index order.
#ifndef CORVEL_CORE_STATISTICS_H
#define CORVEL_CORE_STATISTICS_H

#include <cstdint>

#include "core/vector.h"

namespace corvel {

// Sum of the elements divided by the size (as an unsigned 64-bit value
// converted to double). NaN for an empty vector (0.0 / 0.0).
double mean(const AlgVector& v) noexcept;

// Sum over i of (v[i] - mean(v))^2: the mean is subtracted first, then the
// differences are squared and summed (two passes, never the one-pass
// sum-of-squares formula). 0.0 for an empty vector.
double sumSquaredDeviations(const AlgVector& v) noexcept;

// sqrt(sumSquaredDeviations(v) / size): the population form, divisor n.
// NaN for an empty vector.
double stdDevPopulation(const AlgVector& v) noexcept;

// Index of the first largest / smallest element. Only a strictly greater
// (smaller) element replaces the current best, which starts at v[0]: ties
// go to the lowest index, a NaN never wins, and a NaN at v[0] makes the
// answer 0. 0 for an empty vector.
std::uint64_t argMax(const AlgVector& v) noexcept;
std::uint64_t argMin(const AlgVector& v) noexcept;

}  // namespace corvel

#endif  // CORVEL_CORE_STATISTICS_H

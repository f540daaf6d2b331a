// Relative quantity of a sample with an error bar.
#ifndef CORVEL_QUANT_RELATIVE_QUANTITY_H
#define CORVEL_QUANT_RELATIVE_QUANTITY_H

#include "CorvelAlg.h"
#include "core/vector.h"

namespace corvel {

// Fills result from a sample summary (value, sd, se, count; at least four
// values) against the calibrator's value, in this order: value, sd and se
// copied; rq (value / calibrator when both modes are 2, else 2^-ddct with
// ddct = value - calibrator, which is stored); then the error bar, lower
// and upper.
//
// Error bar type 1: Student t of df = count - 2 at the confidence column,
// times se in Ct units, or se raised to t as a factor in quantity mode.
// Type 2: sdMultiple times sd, or (sd + 1) raised to sdMultiple.
//
// Throws std::invalid_argument ("input parameter error") for fewer than
// four summary values, before anything is written; std::out_of_range
// ("parameter error") for type 1 with a count outside 4 .. 97 or a column
// outside 0 .. 5, and std::invalid_argument for an unknown type - both
// after rq (and ddct) are written, with lower and upper untouched.
void calcRq(const RqOptions& options, const AlgVector& summary, double calibrator,
            RqResult& result);

}  // namespace corvel

#endif  // CORVEL_QUANT_RELATIVE_QUANTITY_H

// Baseline correction and conditioning of one amplification curve.
#ifndef CORVEL_AMPLIFICATION_CURVE_CORRECTION_H
#define CORVEL_AMPLIFICATION_CURVE_CORRECTION_H

#include <cstddef>

#include "CorvelAlg.h"
#include "core/vector.h"

namespace corvel {

// The fewest cycles a curve must have to be analysed.
inline constexpr std::size_t kMinCycles = 9;

// The filter applied after the correction: the value at i becomes
// 0.45 x[i-2] + 0.25 x[i-1] + 0.15 x[i] + 0.1 x[i+1] + 0.05 x[i+2].
AlgVector ctWeights();

// Corrects the curve in place and fills the curve features of info:
// finds the baseline window (automatic start 3 and end one cycle before
// the strongest upward bend, or the caller's), removes a rising baseline
// tilt, flattens a noisy start and a noisy plateau, handles a curve that
// dips after cycle 10, subtracts the early level, floors the curve at 0.01,
// replaces the baseline by an exponential that doubles every cycle and
// holds the plateau from the first maximum on.
//
// Fails, with the curve unchanged, when the curve has fewer than
// kMinCycles values (std::out_of_range "end index out of bounds", nothing
// written), when the baseline window is reversed (std::range_error) or
// reaches past the curve (std::out_of_range), and when the value just after
// the baseline end, which the exponential baseline is anchored to, lies
// past the curve (std::out_of_range). In the last three cases the record's
// steepestIndex and any automatic baselineStart/baselineEnd stay written.
// lowSignal and noRise are only ever set.
void correctCurve(WellCurveInfo& info, AlgVector& curve);

// correctCurve, then convolvePadded with ctWeights(); on failure the
// curve is unchanged.
void correctAndFilterCurve(WellCurveInfo& info, AlgVector& curve);

}  // namespace corvel

#endif  // CORVEL_AMPLIFICATION_CURVE_CORRECTION_H

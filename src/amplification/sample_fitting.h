// The parabola summary of a short sampled curve, and the record layout
// self-test.
#ifndef CORVEL_AMPLIFICATION_SAMPLE_FITTING_H
#define CORVEL_AMPLIFICATION_SAMPLE_FITTING_H

#include "CorvelAlg.h"
#include "core/vector.h"

namespace corvel {

// Fits a parabola to y over the cycles 1 .. n and returns its value at the
// vertex when the vertex lies in [1, 11], else the larger of its values at
// cycles 11 and 1 (the value at 1 when either is NaN). Fewer than three
// samples do not determine a parabola: std::invalid_argument with the
// matrix-multiply message, as a singular fit gives.
double sampleDataFitting(const AlgVector& y);

// Checks the fixed test values a host put into the record, field by field
// in a fixed order, and changes each checked field in a known way before
// the next check. Returns 0 when all matched, 10 at the first mismatch
// (changes made before it stay). A null record is a mismatch.
int fittingSelfTest(WellCurveInfo* record) noexcept;

}  // namespace corvel

#endif  // CORVEL_AMPLIFICATION_SAMPLE_FITTING_H

// The automatic fluorescence threshold of a plate.
#ifndef CORVEL_AMPLIFICATION_AUTO_THRESHOLD_H
#define CORVEL_AMPLIFICATION_AUTO_THRESHOLD_H

#include <cstddef>

#include "CorvelAlg.h"
#include "core/vector.h"

namespace corvel {

// Proposes one threshold for the plate in data (wellCount curves of
// cycleCount values, well-major). Every well is smoothed (half-width 3),
// corrected and filtered with its record infos[w], and a logistic is fitted
// to it; its parameters go to the record. The threshold is the smallest of
// three candidates, but at least 100:
//   A: ten times the mean baseline noise of the wells,
//   B: the largest stepRise of records 0 .. recCount-1 (from 0.0, NaN
//      skipped),
//   C: the largest value of a fitted curve one cycle before its strongest
//      upward bend,
// combined as max(100, min(C, min(A, B))) where min(u, v) is u when u < v
// else v, and max(100, z) is 100 when 100 > z else z.
//
// A well whose values include a NaN or an infinity is analysed and its
// record written like the others, but its logistic parameters are NaN and
// it takes no part in the candidates (A averages the other wells' noise,
// B skips its record, C its fitted curve). With no usable well A is NaN and
// C is 0.0, so the threshold is at most B and at least 100.
//
// infos must hold max(wellCount, recCount) records. A failing well ends the
// call; records written before the failure keep their values.
double calcThreshold(WellCurveInfo* infos, std::size_t recCount, const AlgVector& data,
                     std::size_t wellCount, std::size_t cycleCount);

}  // namespace corvel

#endif  // CORVEL_AMPLIFICATION_AUTO_THRESHOLD_H

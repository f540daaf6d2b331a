// One well of the linear-method batch: smoothing, correction, Ct.
#ifndef CORVEL_AMPLIFICATION_WELL_LINEAR_H
#define CORVEL_AMPLIFICATION_WELL_LINEAR_H

#include "CorvelAlg.h"
#include "core/vector.h"

namespace corvel {

// processed becomes the raw curve smoothed by a moving average of
// half-width 3, corrected and filtered with the well's record
// (correctAndFilterCurve); ct becomes its threshold crossing, whose ratio
// goes to the record's crossingRatio. Fails as correctCurve does, with
// processed and ct unchanged.
void analyzeWellLinear(WellCurveInfo& info, const AlgVector& raw, double threshold,
                       AlgVector& processed, double& ct);

}  // namespace corvel

#endif  // CORVEL_AMPLIFICATION_WELL_LINEAR_H

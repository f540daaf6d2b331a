#include "amplification/well_linear.h"

#include "amplification/curve_correction.h"
#include "amplification/threshold_crossing.h"
#include "signal/smoothing.h"

namespace corvel {

void analyzeWellLinear(WellCurveInfo& info, const AlgVector& raw, double threshold,
                       AlgVector& processed, double& ct) {
  AlgVector curve = raw;
  superSmooth(curve, 3);
  correctAndFilterCurve(info, curve);
  ct = thresholdCrossing(curve, threshold, info.crossingRatio);
  processed.swap(curve);
}

}  // namespace corvel

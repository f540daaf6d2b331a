// Synthetic melting curves from a peak set and a sigmoid background.
#ifndef CORVEL_MGF_SYNTHESIS_H
#define CORVEL_MGF_SYNTHESIS_H

#include "CorvelAlg.h"
#include "core/vector.h"
#include "mgf/gauss_coeff.h"
#include "mgf/mgf_model.h"

namespace corvel {

// On the model's grid: the set's peaks at half their widths, plus the
// falling step A - A / (1 + exp(-k (x - Tm))), plus the damped oscillation
// A exp(-0.0451 x) sin(0.5 x). The background is estimated first and
// written to *background (after the peak sum has succeeded): A the mean of
// y before the first peak, Tm the abscissa before the last peak, k = 3.
// A set without centres is replaced by one peak (0, x[10], 100).
//
// Throws std::invalid_argument: fewer amplitudes or widths than centres
// (GaussCoeff message); a model of fewer than 2 abscissae, or of fewer than
// 11 when the set has no centres (too-short message); x and y counts that
// differ (vector-add message).
AlgVector meltingStimulate(const MgfModel& model, const GaussCoeff& coeff,
                           MeltBackground& background);

// The same curve with the caller's background, at the set's centres only.
// Throws as meltingStimulate for the set and for the default peak's x[10].
AlgVector meltingStimPeak(const MgfModel& model, const GaussCoeff& coeff,
                          const MeltBackground& background);

}  // namespace corvel

#endif  // CORVEL_MGF_SYNTHESIS_H

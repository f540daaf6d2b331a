// Selection of the plausible peaks of a fitted set.
#ifndef CORVEL_MGF_COEFF_FILTER_H
#define CORVEL_MGF_COEFF_FILTER_H

#include "CorvelAlg.h"
#include "mgf/gauss_coeff.h"

namespace corvel {

// Fills `out` (replacing its arrays) with the peaks of `coeff` whose
// amplitude is greater than minAmplitude and whose FWHM = width * 2.3548
// lies within [minFwhm, maxFwhm], in their original order; a NaN amplitude
// or width never passes. Throws std::invalid_argument with the GaussCoeff
// message when the set's counts differ.
void filterCoefficients(const FilterLimits& limits, const GaussCoeff& coeff, GaussCoeff& out);

}  // namespace corvel

#endif  // CORVEL_MGF_COEFF_FILTER_H

// Start peaks for the multi-Gaussian fit: one per local maximum.
#ifndef CORVEL_MGF_PEAK_DETECTION_H
#define CORVEL_MGF_PEAK_DETECTION_H

#include <cstdint>
#include <vector>

#include "core/allocator.h"
#include "core/vector.h"
#include "mgf/gauss_coeff.h"
#include "mgf/mgf_model.h"

namespace corvel {

using PeakIndices = std::vector<std::int64_t, LibraryAllocator<std::int64_t>>;

// Indices j (1 <= j <= n-2) of the strict local maxima of y in ascending
// order: y[j] > y[j-1] and y[j+1] < y[j]. Plateaus, the end points and
// comparisons with NaN are never maxima; fewer than 3 values have none.
PeakIndices localMaxima(const AlgVector& y);

// Replaces the set's arrays by one peak per local maximum of the model's y:
// its value, its abscissa, and a width from the flank value v found
// trunc(peakWidth * 1.3 / (x[3] - x[2])) points away (both flanks averaged,
// only the right one when the left would reach the first point):
// sigma = dx / sqrt|-2 ln|v / a||, with v < 1e-8 taken as 0.6, v above the
// peak as 0.8 a, and a width of exactly 0 replaced by 1.6.
//
// Throws std::invalid_argument for fewer than 4 abscissae (too-few-
// temperatures message), fewer x than y values (equal-lengths message), a
// negative or unrepresentable half-window or one that reaches past both
// ends of the curve (window message), and std::overflow_error ("peak below
// zero") for a maximum of 0 or below. The set is replaced only on success.
void detectPeaks(const MgfModel& model, GaussCoeff& coeff);

// As detectPeaks with every width 1.7 and no amplitude check. Throws
// std::invalid_argument (equal-lengths message) when x is shorter than y.
void detectPeaksFixedWidth(const AlgVector& x, const AlgVector& y, GaussCoeff& coeff);

}  // namespace corvel

#endif  // CORVEL_MGF_PEAK_DETECTION_H

// Quality flags: after the analysis, every well whose result is missing or
// doubtful gets a short flag and a plain-language note saying why. All flags
// are raised here, from the analysed wells, with the rules and thresholds
// below (docs/flags.md explains them for the user).
#ifndef CORVEL_TOOL_QUALITY_H
#define CORVEL_TOOL_QUALITY_H

#include <vector>

#include "results.h"

namespace corvel::tool {

// A curve amplifies clearly when its rise over the baseline reaches this
// many times the baseline noise (see riseToNoise()).
inline constexpr double kClearRise = 12.0;

// A Ct later than this cycle stems from very few starting copies.
inline constexpr double kLateCt = 35.0;

// A linear Ct closer than this many cycles to the last cycle of the
// baseline window suggests that the window reaches into the rise.
inline constexpr double kBaselineMargin = 3.0;

// The difference sigmoid Ct minus linear Ct is much the same for the wells
// of one run and target; a well whose difference departs from the group's
// median by more than this many cycles has a doubtful logistic fit.
inline constexpr double kSigmoidOffsetTolerance = 2.0;

// Replicates: a Cq is an outlier when it lies more than kOutlierCycles from
// the replicates' median and its modified z-score 0.6745 |x - median| / MAD
// exceeds kOutlierZ; replicates that still span more than
// kReplicateSpreadCycles disagree.
inline constexpr double kOutlierCycles = 0.5;
inline constexpr double kOutlierZ = 3.5;
inline constexpr double kReplicateSpreadCycles = 1.0;

// The rise of a raw amplification curve over its baseline, in units of the
// baseline noise: NaN when the curve is too short (under 10 readings) or
// holds a non-finite value. Scale-free: a curve multiplied by any positive
// factor gives the same value.
//
// The curve is smoothed by a running median of three. The baseline window
// runs from the third reading to four readings before the steepest rise of
// the smoothed curve (at least to the eighth reading, at most to the one
// before last). The noise is the robust standard deviation of the readings
// in that window, from their second differences (1.4826 MAD / sqrt 6,
// their root mean square when the MAD is 0, as with coarsely rounded
// readings). The baseline level is the straight line through the last
// eight readings of the window, taken at its end and carried on with the
// line's slope when the baseline drifts upwards (a falling baseline, as of
// a dye that bleaches, is held at that level instead). The rise is the
// largest value of the smoothed curve after the window above that level.
double riseToNoise(const std::vector<double>& fluorescence);

// Adds the flags and notes of every well (WellResult::flags and notes, in
// a fixed order). Runs at the end of analyzePlate(), after the melting
// analysis; keeps flags already present.
void assessQuality(PlateResult& result);

}  // namespace corvel::tool

#endif  // CORVEL_TOOL_QUALITY_H

// Fluorescence units. The library's amplification analysis has fixed
// limits in absolute fluorescence, set for raw instrument readings in the
// thousands. Plates exported in normalized or background-subtracted units
// (plateaus of order 1 to 100) fall below them, and every curve reads as
// "no signal"; raw readings in the millions trip the early-flattening rule
// on some wells and not on others. The analysis therefore multiplies the
// fluorescence by a power of ten chosen from the plate (or given by the
// user) and gives every fluorescence-valued result back in the file's
// units. docs/units.md tells how the rule was chosen.
#ifndef CORVEL_TOOL_UNITS_H
#define CORVEL_TOOL_UNITS_H

#include <optional>
#include <string>

#include "plate.h"

namespace corvel::tool {

// The library's fixed limits, in the units it analyses (file units times
// the factor).
inline constexpr double kLowSignalLimit = 300.0;   // a curve whose maximum is below is flattened
inline constexpr double kLowestThreshold = 100.0;  // the automatic threshold is never lower
inline constexpr double kNoisyStartLimit = 300.0;  // baseline spread that flattens the start
inline constexpr double kMinimumPlateau = 10.0;    // smallest plateau of a plausible logistic fit

// The rule: the plate's signal level is the largest reading of a typical
// amplified well, the 90th percentile of the wells' largest readings (a few
// broken or spiking wells do not move it). The factor is the power of ten
// that brings the level into [kRangeLow, kRangeHigh): ten to a hundred
// times the low-signal limit, where the library's results on real plates
// are best (docs/units.md has the measurements).
inline constexpr double kLevelQuantile = 0.9;
inline constexpr double kRangeLow = 3000.0;
inline constexpr double kRangeHigh = 30000.0;

struct ScaleChoice {
  double factor = 1.0;  // a power of ten
  std::string reason;   // one sentence for people
  double level = 0.0;   // the plate's signal level in file units (0: none measured)
};

// The signal level of a plate (see above); 0 when no reaction has a finite
// amplification reading.
double signalLevel(const Plate& plate);

// The factor for a plate: `given` (from --scale) when there is one, the
// rule's choice otherwise. The reason names the level, the kind of units it
// suggests and, where the RDML runs name them, the instrument and its
// background treatment.
ScaleChoice chooseScale(const Plate& plate, const std::optional<double>& given);

// A factor as people write it: "1000", "0.01", "1e+06" for larger ones.
std::string factorText(double factor);

// A fluorescence value for a sentence, rounded to three significant digits
// ("0.3", "2140", "0.00152"); "" for NaN.
std::string fluorescenceText(double value);

}  // namespace corvel::tool

#endif  // CORVEL_TOOL_UNITS_H

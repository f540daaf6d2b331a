// The analysis of a plate with the library: amplification groups with their
// threshold and Cts, standard curves, relative quantities and melting peaks.
#ifndef CORVEL_TOOL_ANALYSIS_H
#define CORVEL_TOOL_ANALYSIS_H

#include <cstddef>
#include <functional>

#include "plate.h"
#include "results.h"

namespace corvel::tool {

// Called with units of work done, for a progress bar.
using WorkDone = std::function<void(std::size_t units)>;

// The units of work analyzePlate() reports for a plate: one per reaction,
// and one more per reaction with melting readings (the slow part).
std::size_t analysisWork(const Plate& plate, const AnalysisOptions& options);

// Analyses every reaction of the plate. Wells that cannot be analysed are
// kept with the reason; a library failure that concerns one group or one
// well is reported there and the rest of the plate goes on.
PlateResult analyzePlate(const Plate& plate, const AnalysisOptions& options,
                         const WorkDone& done = {});

// The steps, in the order analyzePlate() runs them.

// Groups the wells by run and target; per group the threshold, the linear
// and the sigmoid Ct and the curve features of every usable well.
void analyzeAmplification(PlateResult& result);

// Standard curves of the targets with standards, and the quantities of
// every well with a Ct read off them.
void analyzeStandardCurves(PlateResult& result);

// Relative quantities against the reference genes and the calibrator.
void analyzeRelativeQuantities(PlateResult& result);

// The melting analysis of one well.
void analyzeMelting(WellResult& well, const AnalysisOptions& options);

// The p quantile of Student's t distribution with df degrees of freedom: a
// whole number of at least 1, or infinity for the normal distribution.
// NaN for p outside (0, 1) or any other df. Exact to about 1e-12.
double studentTQuantile(double p, double df);

// Adds a flag and its plain-language note to a well.
void addFlag(WellResult& well, const char* flag, std::string note);

}  // namespace corvel::tool

#endif  // CORVEL_TOOL_ANALYSIS_H

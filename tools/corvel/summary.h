// The short text a person reads on the terminal after a plate is analysed.
#ifndef CORVEL_TOOL_SUMMARY_H
#define CORVEL_TOOL_SUMMARY_H

#include <string>

#include "results.h"

namespace corvel::tool {

// A few lines: what was read, the thresholds, how many wells have a Ct,
// the standard curves, the relative quantities, the melting peaks, and
// what was skipped and why. Ends with a line break.
std::string plateSummary(const PlateResult& plate);

}  // namespace corvel::tool

#endif  // CORVEL_TOOL_SUMMARY_H

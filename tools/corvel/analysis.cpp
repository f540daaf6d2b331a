#include "analysis.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "CorvelAlg.h"
#include "parallel.h"
#include "quality.h"
#include "units.h"

namespace corvel::tool {

void addFlag(WellResult& well, const char* flag, std::string note) {
  well.flags.emplace_back(flag);
  well.notes.push_back(std::move(note));
}

std::size_t analysisWork(const Plate& plate, const AnalysisOptions& options) {
  std::size_t units = plate.reactions.size();
  if (options.melting)
    for (const Reaction& r : plate.reactions) units += !r.temperatures.empty();
  return units;
}

PlateResult analyzePlate(const Plate& plate, const AnalysisOptions& options, const WorkDone& done) {
  PlateResult result;
  result.path = plate.path;
  result.format = plate.format;
  result.libraryVersion = version();
  result.options = options;
  result.runs = plate.runs;
  result.skipped = plate.skipped;
  result.warnings = plate.warnings;
  // The fluorescence units: the factor the amplification analysis applies.
  const ScaleChoice scale = chooseScale(plate, options.scale);
  result.scale = scale.factor;
  result.scaleReason = scale.reason;
  result.wells.reserve(plate.reactions.size());
  for (const Reaction& reaction : plate.reactions) {
    WellResult& well = result.wells.emplace_back();
    well.reaction = reaction;
  }

  analyzeAmplification(result);
  analyzeStandardCurves(result);
  analyzeRelativeQuantities(result);
  if (done) done(result.wells.size());
  if (options.melting) {
    // Wells are independent, and the library is reentrant on distinct data:
    // the melting curves, the slow part, are shared out among threads.
    std::vector<WellResult*> melting;
    for (WellResult& well : result.wells)
      if (well.hasMelt()) melting.push_back(&well);
    forEachInParallel(melting.size(), std::max(1u, options.threads), [&](std::size_t i) {
      analyzeMelting(*melting[i], options);
      if (done) done(1);
    });
  }
  assessQuality(result);
  return result;
}

}  // namespace corvel::tool

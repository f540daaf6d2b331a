#include "analysis.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "CorvelAlg.h"
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
    std::atomic<std::size_t> next{0};
    std::exception_ptr failure;
    std::mutex failureMutex;
    const auto worker = [&] {
      try {
        for (std::size_t i = next++; i < melting.size(); i = next++) {
          analyzeMelting(*melting[i], options);
          if (done) done(1);
        }
      } catch (...) {
        const std::lock_guard<std::mutex> lock(failureMutex);
        if (!failure) failure = std::current_exception();
        next = melting.size();  // the others stop too
      }
    };
    const std::size_t threads =
        std::min<std::size_t>(std::max(1u, options.threads), melting.size());
    std::vector<std::thread> pool;
    for (std::size_t t = 1; t < threads; ++t) {
      try {
        pool.emplace_back(worker);
      } catch (const std::system_error&) {
        break;  // no more threads to be had: the ones running share the work
      }
    }
    worker();
    for (std::thread& t : pool) t.join();
    if (failure) std::rethrow_exception(failure);
  }
  assessQuality(result);
  return result;
}

}  // namespace corvel::tool

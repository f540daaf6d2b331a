// Amplification analysis: the wells of one run and one target form a group
// that shares a threshold. Each group goes through the library's plate road:
// the automatic threshold (which also fits every well's logistic curve), the
// linear Ct at the threshold and the sigmoid Ct from the fit.
#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "CorvelAlg.h"
#include "analysis.h"
#include "library.h"
#include "text.h"

namespace corvel::tool {
namespace {

// The library's curves need this many cycles: nine for the baseline rules,
// and one more after the automatic baseline window.
constexpr std::size_t kMinCycles = 10;

// The cycles a reaction covers: consecutive whole numbers first..first+count-1.
struct CycleSpan {
  double first = 0;
  std::size_t count = 0;
  bool operator<(const CycleSpan& o) const {
    return first != o.first ? first < o.first : count < o.count;
  }
};

std::string cycleText(double c) {
  return formatNumber(c);
}

// Checks that the readings can be analysed as one curve; returns the span,
// or the reason why not.
bool usableCurve(const Reaction& r, CycleSpan& span, std::string& reason) {
  if (r.cycles.empty()) {
    reason = "no amplification readings";
    return false;
  }
  for (std::size_t i = 0; i < r.cycles.size(); ++i) {
    const double c = r.cycles[i];
    if (!std::isfinite(c) || c != std::floor(c)) {
      reason = "cycle number " + cycleText(c) + " is not a whole number";
      return false;
    }
    if (i > 0 && c == r.cycles[i - 1]) {
      reason = "cycle " + cycleText(c) + " is read twice";
      return false;
    }
    if (i > 0 && c != r.cycles[i - 1] + 1) {
      reason = c > r.cycles[i - 1] + 2 ? "cycles " + cycleText(r.cycles[i - 1] + 1) + " to " +
                                             cycleText(c - 1) + " are missing"
                                       : "cycle " + cycleText(r.cycles[i - 1] + 1) + " is missing";
      return false;
    }
    if (!std::isfinite(r.fluorescence[i])) {
      reason = "the fluorescence at cycle " + cycleText(c) + " is not a finite number";
      return false;
    }
  }
  span.first = r.cycles.front();
  span.count = r.cycles.size();
  return true;
}

std::string spanText(const CycleSpan& s) {
  return "cycles " + cycleText(s.first) + " to " +
         cycleText(s.first + static_cast<double>(s.count) - 1);
}

void analyzeGroup(PlateResult& result, AmplificationGroup& group, const CycleSpan& span) {
  const std::size_t n = group.wells.size();
  const std::size_t cycles = span.count;
  // The library works on the fluorescence times the plate's factor; every
  // fluorescence it gives back is divided by it again, so the results are
  // in the file's units. Cycles and Cts do not depend on the units.
  const double factor = result.scale;
  std::vector<double> data(n * cycles);
  for (std::size_t w = 0; w < n; ++w) {
    const auto& f = result.wells[group.wells[w]].reaction.fluorescence;
    for (std::size_t c = 0; c < cycles; ++c) data[w * cycles + c] = f[c] * factor;
  }
  std::vector<WellCurveInfo> records(n);  // zeroed: automatic baseline windows
  std::vector<double> curves(n * cycles), ct(n), ctSigmoid(n);
  double automatic = kNaN;
  check(alg_calc_threshold(records.data(), n, data.data(), n, cycles, &automatic),
        "alg_calc_threshold");
  // A threshold given by the user is in the file's units, like the curves.
  group.thresholdFromUser = result.options.threshold.has_value();
  const double threshold = group.thresholdFromUser ? *result.options.threshold * factor : automatic;
  group.threshold = group.thresholdFromUser ? *result.options.threshold : automatic / factor;
  check(alg_linear_batch_calc_ct(records.data(), n, threshold, data.data(), n, cycles,
                                 curves.data(), ct.data()),
        "alg_linear_batch_calc_ct");
  check(alg_sigmoid_batch_calc_ct(records.data(), n, 0, ctSigmoid.data()),
        "alg_sigmoid_batch_calc_ct");

  // The library counts cycles from 1 at the first value of a curve.
  const double offset = span.first - 1.0;
  std::vector<double> x(cycles);
  for (std::size_t c = 0; c < cycles; ++c) x[c] = static_cast<double>(c + 1);

  for (std::size_t w = 0; w < n; ++w) {
    WellResult& well = result.wells[group.wells[w]];
    const WellCurveInfo& r = records[w];
    well.analyzed = true;
    well.curve = well.reaction.fluorescence;
    well.processed.resize(cycles);
    for (std::size_t c = 0; c < cycles; ++c) well.processed[c] = curves[c * n + w] / factor;
    well.ctLinear = ct[w] + offset;
    well.ctSigmoid = ctSigmoid[w] + offset;
    well.baselineStart = r.baselineStart;
    well.baselineEnd = r.baselineEnd;
    well.baselineSlope = r.baselineSlope / factor;
    well.baselineNoise = r.baselineNoise / factor;
    well.maxValue = r.maxValue / factor;
    well.stepRise = r.stepRise / factor;
    well.maxSlope = r.maxSlope / factor;
    well.sigmoidTop = r.sigmoidTop / factor;
    well.sigmoidMid = r.sigmoidMid + offset;
    well.sigmoidRate = r.sigmoidRate;
    well.lowSignal = r.lowSignal != 0;
    well.noRise = r.noRise != 0;
    if (std::isfinite(well.sigmoidTop) && std::isfinite(r.sigmoidMid) &&
        std::isfinite(r.sigmoidRate)) {
      // The logistic curve is proportional to its plateau: evaluated with
      // the plateau in file units, it is in file units.
      const double params[3] = {well.sigmoidTop, r.sigmoidMid, r.sigmoidRate};
      std::vector<double> fit = x;
      check(alg_sigmoid(params, fit.data(), fit.size()), "alg_sigmoid");
      well.sigmoidFit = std::move(fit);
    }
  }
}

}  // namespace

void analyzeAmplification(PlateResult& result) {
  // Groups in the order their first well appears.
  std::map<std::pair<std::string, std::string>, std::size_t> index;
  std::vector<std::map<CycleSpan, std::vector<std::size_t>>> spans;
  for (std::size_t i = 0; i < result.wells.size(); ++i) {
    WellResult& well = result.wells[i];
    const Reaction& r = well.reaction;
    CycleSpan span;
    if (!usableCurve(r, span, well.skipReason)) continue;
    const auto key = std::make_pair(r.run, r.target);
    auto found = index.find(key);
    if (found == index.end()) {
      found = index.emplace(key, result.groups.size()).first;
      AmplificationGroup& g = result.groups.emplace_back();
      g.run = r.run;
      g.target = r.target;
      spans.emplace_back();
    }
    spans[found->second][span].push_back(i);
  }

  for (std::size_t g = 0; g < result.groups.size(); ++g) {
    AmplificationGroup& group = result.groups[g];
    // The wells of a group must cover the same cycles; the span most wells
    // share wins (the earlier one on a tie), the others are reported.
    const auto* best = &*spans[g].begin();
    for (const auto& entry : spans[g])
      if (entry.second.size() > best->second.size()) best = &entry;
    const CycleSpan span = best->first;
    for (const auto& [other, wells] : spans[g]) {
      if (&other == &best->first) continue;
      for (std::size_t i : wells) {
        result.wells[i].skipReason = "reads " + spanText(other) + ", while the other wells of " +
                                     group.target + " in this run read " + spanText(span);
      }
    }
    group.wells = best->second;
    group.cycles = span.count;

    if (span.count < kMinCycles) {
      for (std::size_t i : group.wells)
        result.wells[i].skipReason = "only " + std::to_string(span.count) +
                                     " cycles; the analysis needs at least " +
                                     std::to_string(kMinCycles);
      group.wells.clear();
      continue;
    }
    for (std::size_t i : group.wells) result.wells[i].group = g;
    try {
      analyzeGroup(result, group, span);
    } catch (const LibraryError& e) {
      for (std::size_t i : group.wells) {
        WellResult& well = result.wells[i];
        well.analyzed = false;
        well.group = kNoGroup;
        well.flags.clear();
        well.notes.clear();
        well.skipReason = std::string("the amplification analysis failed: ") + e.what();
      }
      group.wells.clear();
    }
  }

  // Only groups with analysed wells remain.
  std::vector<AmplificationGroup> kept;
  for (AmplificationGroup& group : result.groups) {
    if (group.wells.empty()) continue;
    for (std::size_t i : group.wells) result.wells[i].group = kept.size();
    kept.push_back(std::move(group));
  }
  result.groups = std::move(kept);
}

}  // namespace corvel::tool

#include "summary.h"

#include <cmath>
#include <cstddef>
#include <map>
#include <set>
#include <sstream>

#include "text.h"

namespace corvel::tool {

std::string plateSummary(const PlateResult& plate) {
  std::ostringstream out;
  std::set<std::string> targets;
  for (const WellResult& w : plate.wells) targets.insert(w.reaction.target);
  out << plate.path << " (" << plate.format << "): " << plate.wells.size() << " reactions, "
      << plate.runs.size() << (plate.runs.size() == 1 ? " run, " : " runs, ") << targets.size()
      << (targets.size() == 1 ? " target" : " targets") << "\n";

  std::size_t analyzed = 0, withCt = 0, withSigmoid = 0, amplification = 0;
  std::map<std::string, std::size_t> reasons;
  for (const WellResult& w : plate.wells) {
    if (!w.reaction.cycles.empty()) ++amplification;
    if (w.analyzed) {
      ++analyzed;
      withCt += std::isfinite(w.ctLinear);
      withSigmoid += std::isfinite(w.ctSigmoid);
    } else if (!w.reaction.cycles.empty()) {
      ++reasons[w.skipReason];
    }
  }
  if (amplification > 0) {
    out << "  amplification: " << analyzed << " of " << amplification << " wells analysed in "
        << plate.groups.size() << (plate.groups.size() == 1 ? " group" : " groups")
        << " (run and target); linear Ct in " << withCt << ", sigmoid Ct in " << withSigmoid
        << "\n";
    for (const AmplificationGroup& g : plate.groups)
      out << "    " << g.target << (plate.runs.size() > 1 ? " [" + g.run + "]" : std::string())
          << ": threshold " << formatFixed(g.threshold, 1)
          << (g.thresholdFromUser ? " (given)" : " (automatic)") << "\n";
    for (const auto& [reason, count] : reasons)
      out << "    not analysed: " << count << (count == 1 ? " well: " : " wells: ") << reason
          << "\n";
  }
  for (const StandardCurve& s : plate.standards) {
    out << "  standard curve " << s.target << ": ";
    if (std::isnan(s.slope))
      out << s.note << "\n";
    else
      out << "Ct = " << formatFixed(s.slope, 3) << " log10(q) + " << formatFixed(s.intercept, 2)
          << ", efficiency " << formatFixed(100 * s.efficiency, 1) << " %, R² "
          << formatFixed(s.rSquared, 4) << ", " << s.ct.size() << " points\n";
  }
  if (!plate.quantities.empty()) {
    std::size_t computed = 0;
    for (const RelativeQuantity& q : plate.quantities) computed += std::isfinite(q.rq);
    out << "  relative quantities: " << computed << " of " << plate.quantities.size()
        << " (target, sample) pairs against";
    for (const std::string& r : plate.options.referenceGenes) out << " " << r;
    static const char* const levels[] = {"95", "97", "99", "99.5", "99.7", "99.9"};
    const AnalysisOptions& o = plate.options;
    out << ", calibrator " << o.calibrator << "; error bars: "
        << (o.errorBar == 1 ? std::string(o.confidenceIndex >= 0 && o.confidenceIndex < 6
                                              ? levels[o.confidenceIndex]
                                              : "?") +
                                  " % Student t interval"
                            : std::to_string(o.sdMultiple) + " x SD")
        << "\n";
    // The first few; the table has them all.
    constexpr std::size_t kShown = 12;
    for (std::size_t i = 0; i < plate.quantities.size() && i < kShown; ++i) {
      const RelativeQuantity& q = plate.quantities[i];
      out << "    " << q.target << " in " << q.sample << ": ";
      if (std::isnan(q.rq)) {
        out << q.note << "\n";
        continue;
      }
      out << "RQ " << formatFixed(q.rq, 3);
      if (!std::isnan(q.lower))
        out << " (" << formatFixed(q.lower, 3) << " to " << formatFixed(q.upper, 3) << ")";
      out << ", ddCt " << formatFixed(q.deltaDeltaCt, 2) << "\n";
    }
    if (plate.quantities.size() > kShown)
      out << "    ... " << plate.quantities.size() - kShown << " more in quantities.csv\n";
  }
  std::size_t melting = 0, melted = 0, withPeak = 0;
  for (const WellResult& w : plate.wells) {
    if (!w.hasMelt()) continue;
    ++melting;
    melted += w.melt.analyzed;
    withPeak += !w.melt.peaks.empty();
  }
  if (melting > 0)
    out << "  melting: " << melted << " of " << melting << " wells analysed, " << withPeak
        << " with a fitted peak\n";
  if (!plate.skipped.empty())
    out << "  skipped while reading: " << plate.skipped.size() << " reactions (listed in the "
        << "report and in results.json)\n";
  for (const std::string& w : plate.warnings) out << "  warning: " << w << "\n";
  return out.str();
}

}  // namespace corvel::tool

// The terminal summary of a plate: a dozen lines a person reads to know
// whether the plate went well, and where the tables and the report say more.
#include "summary.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

#include "text.h"

namespace corvel::tool {
namespace {

// A power of ten as people write it: "100", "0.001", "10^-5"; any other
// factor in its shortest exact form.
std::string factorText(double factor) {
  if (!(factor > 0) || !std::isfinite(factor)) return formatNumber(factor);
  const double exponent = std::round(std::log10(factor));
  if (std::fabs(factor / std::pow(10.0, exponent) - 1.0) > 1e-12) return formatNumber(factor);
  const int k = static_cast<int>(exponent);
  if (k >= -3 && k <= 6) return formatFixed(factor, std::max(0, -k));
  return "10^" + std::to_string(k);
}

const char* cqMethodDescription(CqMethod method) {
  return method == CqMethod::sigmoid ? "sigmoid (from the logistic fit)"
                                     : "linear (threshold crossing)";
}

std::string plural(std::size_t n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

// A fluorescence value (a threshold) with four significant digits: the
// units of a file may be in the tens of thousands or around one.
std::string fluorescenceText(double v) {
  if (!std::isfinite(v) || v == 0) return formatFixed(v, 0);
  const int magnitude = static_cast<int>(std::floor(std::log10(std::fabs(v))));
  return formatFixed(v, std::clamp(3 - magnitude, 0, 9));
}

void writeScale(const PlateResult& plate, std::ostream& out) {
  out << "  fluorescence scale: " << factorText(plate.scale);
  if (plate.options.scale) out << ", as given";
  if (!plate.scaleReason.empty()) out << " (" << plate.scaleReason << ")";
  if (plate.scale != 1.0) out << "; values are reported in the file's units";
  out << "\n";
}

// Wells per flag, most frequent first, on one line.
void writeFlags(const PlateResult& plate, std::ostream& out) {
  std::map<std::string, std::size_t> counts;
  for (const WellResult& w : plate.wells) {
    // A flag given twice to one well counts the well once.
    const std::set<std::string> flags(w.flags.begin(), w.flags.end());
    for (const std::string& flag : flags) ++counts[flag];
  }
  if (counts.empty()) return;
  std::vector<std::pair<std::string, std::size_t>> sorted(counts.begin(), counts.end());
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
  out << "  flags:";
  for (std::size_t i = 0; i < sorted.size(); ++i) {
    out << (i == 0 ? " " : ", ") << sorted[i].first << " "
        << plural(sorted[i].second, "well", "wells");
  }
  out << " (the reason for each well is in wells.csv, column notes)\n";
}

void writeStandardCurve(const StandardCurve& s, std::ostream& out) {
  out << "  standard curve " << s.target << ": ";
  if (std::isnan(s.slope)) {
    out << (s.note.empty() ? "no curve" : s.note) << "\n";
    return;
  }
  out << "Cq = " << formatFixed(s.slope, 3) << " log10(q) + " << formatFixed(s.intercept, 2)
      << ", efficiency " << formatFixed(100 * s.efficiency, 1) << " %";
  if (std::isfinite(s.efficiencyLow) && std::isfinite(s.efficiencyHigh)) {
    out << " (95 % CI " << formatFixed(100 * s.efficiencyLow, 1) << " to "
        << formatFixed(100 * s.efficiencyHigh, 1) << " %)";
  } else if (std::isfinite(s.efficiencyLow)) {
    out << " (95 % CI from " << formatFixed(100 * s.efficiencyLow, 1) << " %, no upper bound)";
  }
  out << ", R² " << formatFixed(s.rSquared, 4) << ", " << plural(s.ct.size(), "point", "points");
  if (std::isfinite(s.log10QuantityMin) && std::isfinite(s.log10QuantityMax)) {
    out << " over log10(q) " << formatFixed(s.log10QuantityMin, 2) << " to "
        << formatFixed(s.log10QuantityMax, 2);
  }
  out << "\n";
  if (!s.note.empty()) out << "    " << s.note << "\n";
}

void writeQuantities(const PlateResult& plate, std::ostream& out) {
  std::size_t computed = 0;
  for (const RelativeQuantity& q : plate.quantities) computed += std::isfinite(q.rq);
  const AnalysisOptions& o = plate.options;
  out << "  relative quantities ("
      << (o.rqMethod == RqMethod::pfaffl ? "Pfaffl: each target's measured efficiency"
                                         : "delta-delta Ct: factor 2 per cycle")
      << "): " << computed << " of " << plate.quantities.size()
      << " (target, sample) pairs against";
  for (const std::string& r : o.referenceGenes) out << " " << r;
  static const char* const levels[] = {"95", "97", "99", "99.5", "99.7", "99.9"};
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
      out << (q.note.empty() ? "no value" : q.note) << "\n";
      continue;
    }
    out << "RQ " << formatFixed(q.rq, 3);
    if (!std::isnan(q.lower))
      out << " (" << formatFixed(q.lower, 3) << " to " << formatFixed(q.upper, 3) << ")";
    out << ", ddCt " << formatFixed(q.deltaDeltaCt, 2);
    // The factors matter when they are measured; 2 and 2 says nothing new.
    if (q.method == RqMethod::pfaffl) {
      out << ", factors " << formatFixed(q.targetFactor, 3) << " (target) and "
          << formatFixed(q.referenceFactor, 3) << " (references)";
    }
    out << "\n";
  }
  if (plate.quantities.size() > kShown)
    out << "    ... " << plate.quantities.size() - kShown << " more in quantities.csv\n";
}

}  // namespace

std::string plateSummary(const PlateResult& plate) {
  std::ostringstream out;
  const AnalysisOptions& o = plate.options;
  std::set<std::string> targets;
  for (const WellResult& w : plate.wells) targets.insert(w.reaction.target);
  out << plate.path << " (" << plate.format << "): " << plate.wells.size() << " reactions, "
      << plate.runs.size() << (plate.runs.size() == 1 ? " run, " : " runs, ") << targets.size()
      << (targets.size() == 1 ? " target" : " targets") << "\n";
  writeScale(plate, out);

  std::size_t analyzed = 0, withCt = 0, withSigmoid = 0, amplification = 0, withoutCq = 0;
  std::map<std::string, std::size_t> reasons;
  for (const WellResult& w : plate.wells) {
    if (!w.reaction.cycles.empty()) ++amplification;
    if (w.analyzed) {
      ++analyzed;
      withCt += std::isfinite(w.ctLinear);
      withSigmoid += std::isfinite(w.ctSigmoid);
      withoutCq += std::isnan(chosenCq(w, o.cqMethod));
    } else if (!w.reaction.cycles.empty()) {
      ++reasons[w.skipReason];
    }
  }
  if (amplification > 0) {
    out << "  amplification: " << analyzed << " of " << amplification << " wells analysed in "
        << plate.groups.size() << (plate.groups.size() == 1 ? " group" : " groups")
        << " (run and target); linear Ct in " << withCt << ", sigmoid Ct in " << withSigmoid
        << "\n";
    out << "  Cq used for statistics: " << cqMethodDescription(o.cqMethod);
    if (withoutCq > 0) {
      out << "; " << plural(withoutCq, "analysed well has", "analysed wells have")
          << " none (why: wells.csv, column cq_missing_reason)";
    }
    out << "\n";
    for (const AmplificationGroup& g : plate.groups)
      out << "    " << g.target << (plate.runs.size() > 1 ? " [" + g.run + "]" : std::string())
          << ": threshold " << fluorescenceText(g.threshold)
          << (g.thresholdFromUser ? " (given)" : " (automatic)") << "\n";
    for (const auto& [reason, count] : reasons)
      out << "    not analysed: " << count << (count == 1 ? " well: " : " wells: ")
          << (reason.empty() ? "no reason given" : reason) << "\n";
  }
  writeFlags(plate, out);
  for (const StandardCurve& s : plate.standards) writeStandardCurve(s, out);
  if (!plate.quantities.empty()) writeQuantities(plate, out);

  std::size_t melting = 0, melted = 0, withPeak = 0;
  for (const WellResult& w : plate.wells) {
    if (!w.hasMelt()) continue;
    ++melting;
    melted += w.melt.analyzed;
    withPeak += !w.melt.peaks.empty();
  }
  if (melting > 0) {
    out << "  melting: " << melted << " of " << melting << " wells analysed, " << withPeak
        << " with a fitted peak";
    if (o.tmMin && o.tmMax) {
      out << "; expected Tm " << formatFixed(*o.tmMin, 1) << " to " << formatFixed(*o.tmMax, 1)
          << " °C";
    } else if (o.tmMin) {
      out << "; expected Tm from " << formatFixed(*o.tmMin, 1) << " °C";
    } else if (o.tmMax) {
      out << "; expected Tm up to " << formatFixed(*o.tmMax, 1) << " °C";
    }
    out << "\n";
  }
  if (!plate.skipped.empty())
    out << "  skipped while reading: " << plate.skipped.size() << " reactions (listed in the "
        << "report and in results.json)\n";
  for (const std::string& w : plate.warnings) out << "  warning: " << w << "\n";
  return out.str();
}

}  // namespace corvel::tool

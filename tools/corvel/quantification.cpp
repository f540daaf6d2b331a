// Standard curves and relative quantities from the wells' linear Cts.
#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "CorvelAlg.h"
#include "analysis.h"
#include "library.h"
#include "text.h"

namespace corvel::tool {
namespace {

// Samples without template or standards take no part in relative
// quantification.
bool quantifiable(const std::string& type) {
  return type != "std" && type != "ntc" && type != "nac" && type != "ntp" && type != "nrt";
}

bool contains(const std::vector<std::string>& list, const std::string& item) {
  return std::find(list.begin(), list.end(), item) != list.end();
}

// The finite linear Cts of the analysed wells of a run, target and sample.
std::vector<double> replicateCts(const PlateResult& result, const std::string& run,
                                 const std::string& target, const std::string& sample) {
  std::vector<double> cts;
  for (const WellResult& w : result.wells)
    if (w.analyzed && w.reaction.run == run && w.reaction.target == target &&
        w.reaction.sample == sample && std::isfinite(w.ctLinear))
      cts.push_back(w.ctLinear);
  return cts;
}

// Delta Ct of a sample (target minus pooled references) with its spread, as
// the library summarises replicates: value, sd, se, count. Empty with a
// reason when a gene has no Ct in the sample.
std::vector<double> summarize(const PlateResult& result, const std::string& run,
                              const std::string& target, const std::string& sample,
                              std::string& reason) {
  const std::vector<double> cts = replicateCts(result, run, target, sample);
  if (cts.empty()) {
    reason = "no Ct for " + target + " in " + sample;
    return {};
  }
  std::vector<double> data;
  data.push_back(static_cast<double>(cts.size()));
  data.insert(data.end(), cts.begin(), cts.end());
  data.push_back(static_cast<double>(result.options.referenceGenes.size()));
  for (const std::string& reference : result.options.referenceGenes) {
    const std::vector<double> ref = replicateCts(result, run, reference, sample);
    if (ref.empty()) {
      reason = "no Ct for the reference gene " + reference + " in " + sample;
      return {};
    }
    data.push_back(static_cast<double>(ref.size()));
    data.insert(data.end(), ref.begin(), ref.end());
  }
  const int32_t ctMode = 1;
  DoubleArray stats;
  check(alg_calc_sd(&ctMode, data.data(), data.size(), stats.out(), stats.count()), "alg_calc_sd");
  std::vector<double> summary = stats.vector();
  summary.resize(4);
  return summary;
}

}  // namespace

void analyzeStandardCurves(PlateResult& result) {
  for (const AmplificationGroup& group : result.groups) {
    StandardCurve curve;
    curve.run = group.run;
    curve.target = group.target;
    std::set<double> levels;
    bool standards = false;
    for (std::size_t i : group.wells) {
      const WellResult& w = result.wells[i];
      if (w.reaction.sampleType != "std") continue;
      standards = true;
      if (!w.reaction.quantity || !(*w.reaction.quantity > 0) ||
          !std::isfinite(*w.reaction.quantity) || !std::isfinite(w.ctLinear))
        continue;
      curve.log10Quantity.push_back(std::log10(*w.reaction.quantity));
      curve.ct.push_back(w.ctLinear);
      levels.insert(*w.reaction.quantity);
    }
    if (!standards) continue;
    if (levels.size() < 2) {
      curve.note = "a standard curve needs standards of at least two quantities with a Ct; " +
                   std::to_string(levels.size()) + " found";
      result.standards.push_back(std::move(curve));
      continue;
    }
    LinearFit fit{};
    try {
      check(alg_calc_standard(curve.log10Quantity.data(), curve.log10Quantity.size(),
                              curve.ct.data(), curve.ct.size(), &fit),
            "alg_calc_standard");
    } catch (const LibraryError& e) {
      curve.note = e.what();
      result.standards.push_back(std::move(curve));
      continue;
    }
    curve.slope = fit.slope;
    curve.intercept = fit.intercept;
    curve.rmse = fit.rmse;
    curve.rSquared = fit.rSquared;
    curve.efficiency = std::pow(10.0, -1.0 / fit.slope) - 1.0;
    if (!(fit.slope < 0))
      curve.note = "the Ct does not fall with the quantity (slope " + formatFixed(fit.slope, 3) +
                   "): check the standards' quantities";
    for (std::size_t i : group.wells) {
      WellResult& w = result.wells[i];
      if (std::isfinite(w.ctLinear) && fit.slope != 0)
        w.quantity = std::pow(10.0, (w.ctLinear - fit.intercept) / fit.slope);
    }
    result.standards.push_back(std::move(curve));
  }
}

void analyzeRelativeQuantities(PlateResult& result) {
  const AnalysisOptions& options = result.options;
  if (options.referenceGenes.empty() && options.calibrator.empty()) return;
  if (options.referenceGenes.empty()) {
    result.warnings.push_back(
        "relative quantities need at least one reference gene (--reference); none computed");
    return;
  }
  if (options.calibrator.empty()) {
    result.warnings.push_back(
        "relative quantities need a calibrator sample (--calibrator); none computed");
    return;
  }

  for (const std::string& reference : options.referenceGenes) {
    const bool present = std::any_of(result.groups.begin(), result.groups.end(),
                                     [&](const auto& g) { return g.target == reference; });
    if (!present)
      result.warnings.push_back("the reference gene " + reference +
                                " has no analysed wells on this plate");
  }
  if (std::none_of(result.wells.begin(), result.wells.end(),
                   [&](const auto& w) { return w.reaction.sample == options.calibrator; }))
    result.warnings.push_back("the calibrator sample " + options.calibrator +
                              " is not on this plate");

  for (const AmplificationGroup& group : result.groups) {
    if (contains(options.referenceGenes, group.target)) continue;
    // The samples of the group in the order their first well appears.
    std::vector<std::string> samples;
    for (std::size_t i : group.wells) {
      const Reaction& r = result.wells[i].reaction;
      if (quantifiable(r.sampleType) && !contains(samples, r.sample)) samples.push_back(r.sample);
    }
    if (samples.empty()) continue;

    std::string calibratorReason;
    std::vector<double> calibrator;
    try {
      calibrator = summarize(result, group.run, group.target, options.calibrator, calibratorReason);
    } catch (const LibraryError& e) {
      calibratorReason = e.what();
    }

    for (const std::string& sample : samples) {
      RelativeQuantity q;
      q.run = group.run;
      q.target = group.target;
      q.sample = sample;
      std::vector<double> summary;
      try {
        summary = summarize(result, group.run, group.target, sample, q.note);
      } catch (const LibraryError& e) {
        q.note = e.what();
      }
      if (summary.empty()) {
        result.quantities.push_back(std::move(q));
        continue;
      }
      q.deltaCt = summary[0];
      q.sd = summary[1];
      q.se = summary[2];
      q.count = summary[3];
      if (calibrator.empty()) {
        q.note = "the calibrator " + options.calibrator + " has no delta Ct (" +
                 (calibratorReason.empty() ? std::string("not on this run") : calibratorReason) +
                 ")";
        result.quantities.push_back(std::move(q));
        continue;
      }
      q.calibratorDeltaCt = calibrator[0];
      const RqOptions rqOptions{1, 1, options.errorBar, options.confidenceIndex,
                                options.sdMultiple};
      RqResult rq{kNaN, kNaN, kNaN, kNaN, kNaN, kNaN, kNaN};
      const int status =
          alg_calc_rq(&rqOptions, summary.data(), summary.size(), calibrator[0], &rq);
      // The relative quantity is written before the error bar is formed.
      q.deltaDeltaCt = rq.ddct;
      q.rq = rq.rq;
      if (status == ALG_STATUS_OK) {
        q.lower = rq.lower;
        q.upper = rq.upper;
      } else if (status == ALG_STATUS_OUT_OF_RANGE && options.errorBar == 1) {
        q.note =
            "no error bar: the t interval needs 4 to 97 Ct values of the target and the "
            "references together, " +
            formatNumber(q.count) + " here";
      } else {
        try {
          check(status, "alg_calc_rq");
        } catch (const LibraryError& e) {
          q.note = e.what();
        }
      }
      result.quantities.push_back(std::move(q));
    }
  }
}

}  // namespace corvel::tool

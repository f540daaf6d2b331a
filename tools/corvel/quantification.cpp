// Standard curves and relative quantities from the wells' Cqs, by the Cq
// method the options choose (linear or sigmoid; both stay reported).
//
// A standard curve regresses the Cq on log10(quantity) with the library's
// least squares; the tool adds the slope's standard error, the 95 %
// confidence interval of the efficiency and the range of quantities fitted.
// Relative quantities come from the library's replicate statistics: in Ct
// mode for delta-delta Ct (every target doubles per cycle), in quantity mode
// for Pfaffl's ratio, where each well's Cq becomes the quantity
// (1 + E)^-Cq with its target's measured efficiency E.
#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "CorvelAlg.h"
#include "analysis.h"
#include "library.h"
#include "text.h"

namespace corvel::tool {

namespace {

constexpr double kPi = 3.14159265358979323846;

// Degrees of freedom above which the t quantile comes from its expansion
// around the normal quantile instead of the exact finite series; at 1000
// the expansion's error is below 1e-12.
constexpr double kSeriesLimit = 1000;

// P(|T| <= sqrt(df) tan(theta)) for Student's t with a whole number df of
// degrees of freedom, by the finite series in theta = atan(t / sqrt(df))
// (Abramowitz and Stegun 26.7.3 and 26.7.4). Increasing in theta on
// [0, pi/2].
double centralProbability(double theta, long df) {
  const double s = std::sin(theta), c = std::cos(theta), c2 = c * c;
  double term = 1.0, sum = 1.0;
  if (df % 2 == 0) {
    for (long k = 2; k <= df - 2; k += 2) {
      term *= c2 * static_cast<double>(k - 1) / static_cast<double>(k);
      sum += term;
    }
    return s * sum;
  }
  if (df == 1) return 2.0 / kPi * theta;
  for (long k = 3; k <= df - 2; k += 2) {
    term *= c2 * static_cast<double>(k - 1) / static_cast<double>(k);
    sum += term;
  }
  return 2.0 / kPi * (theta + s * c * sum);
}

// The standard normal quantile, by bisection on the complementary error
// function (Phi(z) = erfc(-z / sqrt 2) / 2) to the last bit.
double normalQuantile(double p) {
  double lo = -40.0, hi = 40.0;
  for (int i = 0; i < 200; ++i) {
    const double mid = 0.5 * (lo + hi);
    if (mid <= lo || mid >= hi) break;
    if (0.5 * std::erfc(-mid / std::sqrt(2.0)) < p)
      lo = mid;
    else
      hi = mid;
  }
  return 0.5 * (lo + hi);
}

// Cornish-Fisher expansion of the t quantile in powers of 1/df around the
// normal quantile z (Abramowitz and Stegun 26.7.5).
double expandedQuantile(double z, double df) {
  const double z2 = z * z, z3 = z2 * z, z5 = z3 * z2, z7 = z5 * z2, z9 = z7 * z2;
  const double g1 = (z3 + z) / 4.0;
  const double g2 = (5 * z5 + 16 * z3 + 3 * z) / 96.0;
  const double g3 = (3 * z7 + 19 * z5 + 17 * z3 - 15 * z) / 384.0;
  const double g4 = (79 * z9 + 776 * z7 + 1482 * z5 - 1920 * z3 - 945 * z) / 92160.0;
  return z + g1 / df + g2 / (df * df) + g3 / (df * df * df) + g4 / (df * df * df * df);
}

// Samples without template or standards take no part in relative
// quantification.
bool quantifiable(const std::string& type) {
  return type != "std" && type != "ntc" && type != "nac" && type != "ntp" && type != "nrt";
}

bool contains(const std::vector<std::string>& list, const std::string& item) {
  return std::find(list.begin(), list.end(), item) != list.end();
}

// A quantity as people write it: "1000", "2.5e+06".
std::string quantityText(double q, const std::string& unit) {
  return formatNumber(q) + (unit.empty() ? "" : " " + unit);
}

void appendNote(std::string& note, const std::string& text) {
  if (text.empty()) return;
  if (!note.empty()) note += "; ";
  note += text;
}

// "A1, A2 and A3".
std::string listText(const std::vector<std::string>& items) {
  std::string text;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (i > 0) text += i + 1 == items.size() ? " and " : ", ";
    text += items[i];
  }
  return text;
}

// The efficiency a slope gives: 10^(-1/slope) - 1.
double efficiencyOf(double slope) {
  return std::pow(10.0, -1.0 / slope) - 1.0;
}

// The standard wells of one dilution level of a curve.
struct Level {
  std::vector<std::size_t> withCq;     // wells with a Cq within the cycles read
  std::vector<std::string> withoutCq;  // analysed wells without one
  std::vector<std::string> outside;    // of those, wells whose Cq lies outside the cycles read
};

// Fills the curve's points from the group's standards: every analysed
// standard well with a positive quantity and a Cq within the cycles it
// read, less the lowest dilution levels where not every replicate has a Cq
// (see docs/quantification.md). Says in the note what was left out.
void collectPoints(const PlateResult& result, const AmplificationGroup& group, StandardCurve& curve,
                   bool& hasStandards) {
  const CqMethod method = result.options.cqMethod;
  const std::string methodName = cqMethodName(method);
  std::map<double, Level> levels;
  std::vector<std::string> noQuantity;
  std::string unit;
  for (std::size_t i : group.wells) {
    const WellResult& w = result.wells[i];
    if (w.reaction.sampleType != "std") continue;
    hasStandards = true;
    if (!w.analyzed) continue;  // its skip reason says why
    const std::optional<double>& q = w.reaction.quantity;
    if (!q || !(*q > 0) || !std::isfinite(*q)) {
      noQuantity.push_back(w.reaction.well);
      continue;
    }
    if (unit.empty()) unit = w.reaction.quantityUnit;
    Level& level = levels[*q];
    const double cq = chosenCq(w, method);
    if (std::isnan(cq)) {
      level.withoutCq.push_back(w.reaction.well);
    } else if (cq < w.reaction.cycles.front() || cq > w.reaction.cycles.back()) {
      // Only an extrapolated (sigmoid) Cq can lie outside the cycles read;
      // it is no measurement of the well.
      level.withoutCq.push_back(w.reaction.well);
      level.outside.push_back(w.reaction.well);
    } else {
      level.withCq.push_back(i);
    }
  }

  // Dilution levels where amplification became a matter of chance (not
  // every replicate has a Cq) are below the range the curve can describe;
  // they are dropped from the low end up, as long as two levels with Cqs
  // remain. (With fewer there is no curve, and the caller says so.)
  std::size_t usable = 0;
  for (const auto& entry : levels) usable += !entry.second.withCq.empty();
  std::vector<std::string> dropped;
  for (auto it = levels.begin(); usable >= 2 && it != levels.end();) {
    Level& level = it->second;
    if (level.withoutCq.empty()) break;
    const bool counts = !level.withCq.empty();
    if (counts && usable <= 2) break;
    const std::size_t replicates = level.withCq.size() + level.withoutCq.size();
    dropped.push_back("the " + quantityText(it->first, unit) + " level (" +
                      std::to_string(level.withoutCq.size()) + " of " + std::to_string(replicates) +
                      " replicates without a " + methodName +
                      " Ct within the run: " + listText(level.withoutCq) + ")");
    usable -= counts;
    it = levels.erase(it);
  }
  // Wells of the levels kept whose Cq is no measurement.
  std::vector<std::string> outside;
  for (const auto& entry : levels)
    outside.insert(outside.end(), entry.second.outside.begin(), entry.second.outside.end());

  for (const auto& [quantity, level] : levels)
    for (std::size_t i : level.withCq) {
      curve.log10Quantity.push_back(std::log10(quantity));
      curve.ct.push_back(chosenCq(result.wells[i], method));
    }

  if (!dropped.empty())
    appendNote(curve.note, "left out below the reliable range: " + listText(dropped));
  if (!outside.empty())
    appendNote(curve.note, "left out: the " + methodName + " Ct of " + listText(outside) +
                               (outside.size() == 1 ? " lies" : " lie") +
                               " outside the cycles read");
  if (!noQuantity.empty())
    appendNote(curve.note, "standard " + std::string(noQuantity.size() == 1 ? "well " : "wells ") +
                               listText(noQuantity) + " without a positive quantity");
}

// The slope's standard error, the efficiency's 95 % confidence interval
// and the range of quantities fitted, from the points and the fitted line.
void addUncertainty(StandardCurve& curve) {
  const std::vector<double>& x = curve.log10Quantity;
  const std::vector<double>& y = curve.ct;
  const std::size_t n = x.size();
  curve.log10QuantityMin = *std::min_element(x.begin(), x.end());
  curve.log10QuantityMax = *std::max_element(x.begin(), x.end());
  if (n < 3) {
    appendNote(curve.note,
               "two points leave no degrees of freedom for the efficiency's "
               "confidence interval");
    return;
  }
  double meanX = 0;
  for (double v : x) meanX += v;
  meanX /= static_cast<double>(n);
  double sxx = 0, sse = 0;
  for (std::size_t i = 0; i < n; ++i) {
    sxx += (x[i] - meanX) * (x[i] - meanX);
    const double residual = y[i] - (curve.slope * x[i] + curve.intercept);
    sse += residual * residual;
  }
  curve.slopeSe = std::sqrt(sse / static_cast<double>(n - 2)) / std::sqrt(sxx);
  if (!(curve.slope < 0) || !std::isfinite(curve.slopeSe)) return;
  // The efficiency rises with the slope on slopes below 0, so the ends of
  // the slope's interval give the ends of the efficiency's.
  const double half = studentTQuantile(0.975, static_cast<double>(n - 2)) * curve.slopeSe;
  curve.efficiencyLow = efficiencyOf(curve.slope - half);
  if (curve.slope + half < 0) {
    curve.efficiencyHigh = efficiencyOf(curve.slope + half);
  } else {
    appendNote(curve.note,
               "the slope's 95 % confidence interval reaches 0: the efficiency has "
               "no upper bound");
  }
}

// The finite Cqs, by the chosen method, of the analysed wells of a run,
// target and sample.
std::vector<double> replicateCqs(const PlateResult& result, const std::string& run,
                                 const std::string& target, const std::string& sample) {
  std::vector<double> cqs;
  for (const WellResult& w : result.wells) {
    const double cq = chosenCq(w, result.options.cqMethod);
    if (w.analyzed && w.reaction.run == run && w.reaction.target == target &&
        w.reaction.sample == sample && std::isfinite(cq))
      cqs.push_back(cq);
  }
  return cqs;
}

// Amplification factors per cycle (1 + E) of the target and the reference
// genes of one run: measured on the run's standard curves, or 2.
struct Factors {
  double target = 2;
  std::vector<double> references;
  // Genes whose factor could not be measured: without a standard curve in
  // the run, or with one whose slope is not negative.
  std::vector<std::string> withoutCurve, unusableCurve;
  std::string note;  // the same for people, for the relative quantities
};

Factors factorsOf(const PlateResult& result, const std::string& run, const std::string& target) {
  Factors f;
  const std::vector<std::string>& references = result.options.referenceGenes;
  if (result.options.rqMethod != RqMethod::pfaffl) {
    f.references.assign(references.size(), 2.0);
    return f;
  }
  const auto factor = [&](const std::string& gene) {
    for (const StandardCurve& s : result.standards) {
      if (s.run != run || s.target != gene) continue;
      if (s.slope < 0 && std::isfinite(s.efficiency)) return 1 + s.efficiency;
      f.unusableCurve.push_back(gene);
      return 2.0;
    }
    f.withoutCurve.push_back(gene);
    return 2.0;
  };
  f.target = factor(target);
  for (const std::string& reference : references) f.references.push_back(factor(reference));
  std::string text;
  if (!f.withoutCurve.empty())
    text = "no standard curve in this run for " + listText(f.withoutCurve);
  if (!f.unusableCurve.empty())
    appendNote(text, "no usable standard-curve slope for " + listText(f.unusableCurve));
  if (!text.empty())
    f.note = text + ": an amplification factor of 2 (efficiency 100 %) is assumed for " +
             (f.withoutCurve.size() + f.unusableCurve.size() == 1 ? "it" : "them");
  return f;
}

// The layout alg_calc_sd reads: N0, the target's values, M, then per
// reference gene its count and values. Values are the Cqs, or in quantity
// mode the quantities factor^-Cq. Empty with a reason when a gene has no
// Cq in the sample.
std::vector<double> replicateData(const PlateResult& result, const std::string& run,
                                  const std::string& target, const std::string& sample,
                                  const Factors* quantities, std::string& reason) {
  const auto block = [&](const std::vector<double>& cqs, double factor, std::vector<double>& data) {
    data.push_back(static_cast<double>(cqs.size()));
    for (double cq : cqs) data.push_back(quantities ? std::pow(factor, -cq) : cq);
  };
  const std::vector<double> cqs = replicateCqs(result, run, target, sample);
  if (cqs.empty()) {
    reason = "no Ct for " + target + " in " + sample;
    return {};
  }
  std::vector<double> data;
  block(cqs, quantities ? quantities->target : 2.0, data);
  const std::vector<std::string>& references = result.options.referenceGenes;
  data.push_back(static_cast<double>(references.size()));
  for (std::size_t g = 0; g < references.size(); ++g) {
    const std::vector<double> ref = replicateCqs(result, run, references[g], sample);
    if (ref.empty()) {
      reason = "no Ct for the reference gene " + references[g] + " in " + sample;
      return {};
    }
    block(ref, quantities ? quantities->references[g] : 2.0, data);
  }
  return data;
}

// Delta Ct of a sample (target minus pooled references) with its spread,
// as the library summarises replicates in Ct mode: value, sd, se, count.
std::vector<double> summarizeCts(const PlateResult& result, const std::string& run,
                                 const std::string& target, const std::string& sample,
                                 std::string& reason) {
  const std::vector<double> data = replicateData(result, run, target, sample, nullptr, reason);
  if (data.empty()) return {};
  const int32_t ctMode = 1;
  DoubleArray stats;
  check(alg_calc_sd(&ctMode, data.data(), data.size(), stats.out(), stats.count()), "alg_calc_sd");
  std::vector<double> summary = stats.vector();
  summary.resize(4);
  return summary;
}

// The efficiency-corrected ratio of a sample (target quantity over pooled
// reference quantity) with the library's quantity-mode spread: value, sd as
// 10^(SD of log10) - 1, se as 10^(SE of log10), count.
//
// The library pools the reference genes' quantities by their arithmetic
// mean; delta-delta Ct pools their Cts by the arithmetic mean, which is the
// geometric mean of the quantities. The ratio is therefore formed here
// against the geometric mean of the genes' own (geometric-mean) quantities
// from the library's result, so that with factors of 2 it is exactly
// 2^-deltaCt. The spreads are the library's.
std::vector<double> summarizeQuantities(const PlateResult& result, const std::string& run,
                                        const std::string& target, const std::string& sample,
                                        const Factors& factors, std::string& reason) {
  const std::vector<double> data = replicateData(result, run, target, sample, &factors, reason);
  if (data.empty()) return {};
  const int32_t quantityMode = 2;
  DoubleArray stats;
  check(alg_calc_sd(&quantityMode, data.data(), data.size(), stats.out(), stats.count()),
        "alg_calc_sd");
  std::vector<double> all = stats.vector();
  // Layout: summary (4), target (centre, sd, se), pooled (3), each gene (3).
  const std::size_t genes = factors.references.size();
  if (genes > 1 && all.size() >= 10 + 3 * genes) {
    double logSum = 0;
    for (std::size_t g = 0; g < genes; ++g) logSum += std::log10(all[10 + 3 * g]);
    all[0] = all[4] / std::pow(10.0, logSum / static_cast<double>(genes));
  }
  all.resize(4);
  return all;
}

// The factors' geometric mean: the pooled references' factor.
double pooledFactor(const std::vector<double>& factors) {
  if (factors.empty()) return kNaN;
  if (std::all_of(factors.begin(), factors.end(), [&](double f) { return f == factors[0]; }))
    return factors[0];
  double logSum = 0;
  for (double f : factors) logSum += std::log(f);
  return std::exp(logSum / static_cast<double>(factors.size()));
}

}  // namespace

double studentTQuantile(double probability, double degreesOfFreedom) {
  const double df = degreesOfFreedom;
  if (!(probability > 0 && probability < 1) || !(df >= 1)) return kNaN;
  if (probability < 0.5) return -studentTQuantile(1 - probability, df);
  if (probability == 0.5) return 0;
  if (std::isinf(df)) return normalQuantile(probability);
  if (df != std::floor(df)) return kNaN;
  if (df > kSeriesLimit) return expandedQuantile(normalQuantile(probability), df);
  // Bisection on theta of the central probability 2p - 1.
  const double target = 2 * probability - 1;
  const long n = static_cast<long>(df);
  double lo = 0, hi = kPi / 2;
  for (int i = 0; i < 200; ++i) {
    const double mid = 0.5 * (lo + hi);
    if (mid <= lo || mid >= hi) break;
    if (centralProbability(mid, n) < target)
      lo = mid;
    else
      hi = mid;
  }
  return std::sqrt(df) * std::tan(0.5 * (lo + hi));
}

void analyzeStandardCurves(PlateResult& result) {
  const CqMethod method = result.options.cqMethod;
  for (const AmplificationGroup& group : result.groups) {
    StandardCurve curve;
    curve.run = group.run;
    curve.target = group.target;
    bool hasStandards = false;
    collectPoints(result, group, curve, hasStandards);
    if (!hasStandards) continue;
    const std::set<double> levels(curve.log10Quantity.begin(), curve.log10Quantity.end());
    if (levels.size() < 2) {
      appendNote(curve.note, "a standard curve needs standards of at least two quantities with a " +
                                 std::string(cqMethodName(method)) + " Ct; " +
                                 std::to_string(levels.size()) + " found");
      result.standards.push_back(std::move(curve));
      continue;
    }
    LinearFit fit{};
    try {
      check(alg_calc_standard(curve.log10Quantity.data(), curve.log10Quantity.size(),
                              curve.ct.data(), curve.ct.size(), &fit),
            "alg_calc_standard");
    } catch (const LibraryError& e) {
      appendNote(curve.note, e.what());
      result.standards.push_back(std::move(curve));
      continue;
    }
    curve.slope = fit.slope;
    curve.intercept = fit.intercept;
    curve.rmse = fit.rmse;
    curve.rSquared = fit.rSquared;
    curve.efficiency = efficiencyOf(fit.slope);
    if (!(fit.slope < 0))
      appendNote(curve.note, "the Ct does not fall with the quantity (slope " +
                                 formatFixed(fit.slope, 3) + "): check the standards' quantities");
    addUncertainty(curve);
    // Quantities are read off a falling line only; a flat or rising one
    // would give meaningless numbers (the note says why there are none).
    if (fit.slope < 0 && std::isfinite(fit.slope) && std::isfinite(fit.intercept))
      for (std::size_t i : group.wells) {
        WellResult& w = result.wells[i];
        const double cq = chosenCq(w, method);
        if (w.analyzed && std::isfinite(cq))
          w.quantity = std::pow(10.0, (cq - fit.intercept) / fit.slope);
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

  const bool pfaffl = options.rqMethod == RqMethod::pfaffl;
  std::set<std::pair<std::string, std::string>> warned;  // (run, gene) told to fall back
  for (const AmplificationGroup& group : result.groups) {
    if (contains(options.referenceGenes, group.target)) continue;
    // The samples of the group in the order their first well appears.
    std::vector<std::string> samples;
    for (std::size_t i : group.wells) {
      const Reaction& r = result.wells[i].reaction;
      if (quantifiable(r.sampleType) && !contains(samples, r.sample)) samples.push_back(r.sample);
    }
    if (samples.empty()) continue;

    const Factors factors = factorsOf(result, group.run, group.target);
    const auto warn = [&](const std::vector<std::string>& genes, const char* reason) {
      for (const std::string& gene : genes)
        if (warned.emplace(group.run, gene).second)
          result.warnings.push_back("Pfaffl relative quantities: " + gene + " in run " + group.run +
                                    " has no measured efficiency (" + reason +
                                    "); its amplification factor is taken as 2 (efficiency "
                                    "100 %)");
    };
    warn(factors.withoutCurve, "no standard curve");
    warn(factors.unusableCurve, "its standard curve's slope is not negative");

    // The calibrator's value in the form the ratio needs: its delta Ct, or
    // its efficiency-corrected ratio.
    std::string calibratorReason;
    std::vector<double> calibrator, calibratorRatio;
    try {
      calibrator =
          summarizeCts(result, group.run, group.target, options.calibrator, calibratorReason);
      if (pfaffl && !calibrator.empty())
        calibratorRatio = summarizeQuantities(result, group.run, group.target, options.calibrator,
                                              factors, calibratorReason);
    } catch (const LibraryError& e) {
      calibratorReason = e.what();
      calibrator.clear();
    }

    for (const std::string& sample : samples) {
      RelativeQuantity q;
      q.run = group.run;
      q.target = group.target;
      q.sample = sample;
      q.method = options.rqMethod;
      q.targetFactor = factors.target;
      q.referenceFactor = pooledFactor(factors.references);
      if (pfaffl) q.note = factors.note;
      std::string reason;
      std::vector<double> summary, ratio;
      try {
        summary = summarizeCts(result, group.run, group.target, sample, reason);
        if (pfaffl && !summary.empty())
          ratio = summarizeQuantities(result, group.run, group.target, sample, factors, reason);
      } catch (const LibraryError& e) {
        reason = e.what();
        summary.clear();
      }
      if (summary.empty()) {
        appendNote(q.note, reason);
        result.quantities.push_back(std::move(q));
        continue;
      }
      // The Ct differences and their spread are reported by both methods.
      q.deltaCt = summary[0];
      q.sd = summary[1];
      q.se = summary[2];
      q.count = summary[3];
      if (calibrator.empty()) {
        appendNote(q.note, "the calibrator " + options.calibrator + " has no delta Ct (" +
                               (calibratorReason.empty() ? std::string("not on this run")
                                                         : calibratorReason) +
                               ")");
        result.quantities.push_back(std::move(q));
        continue;
      }
      q.calibratorDeltaCt = calibrator[0];
      q.deltaDeltaCt = q.deltaCt - q.calibratorDeltaCt;
      // Delta-delta Ct in Ct mode (2^-ddCt, bars from the Ct spread), Pfaffl
      // in quantity mode (the ratio of ratios, bars as factors).
      const int32_t mode = pfaffl ? 2 : 1;
      const RqOptions rqOptions{mode, mode, options.errorBar, options.confidenceIndex,
                                options.sdMultiple};
      RqResult rq{kNaN, kNaN, kNaN, kNaN, kNaN, kNaN, kNaN};
      const std::vector<double>& values = pfaffl ? ratio : summary;
      const double reference = pfaffl ? calibratorRatio[0] : calibrator[0];
      const int status = alg_calc_rq(&rqOptions, values.data(), values.size(), reference, &rq);
      // The relative quantity is written before the error bar is formed.
      if (!pfaffl) q.deltaDeltaCt = rq.ddct;
      q.rq = rq.rq;
      if (status == ALG_STATUS_OK) {
        q.lower = rq.lower;
        q.upper = rq.upper;
      } else if (status == ALG_STATUS_OUT_OF_RANGE && options.errorBar == 1) {
        appendNote(q.note,
                   "no error bar: the t interval needs 4 to 97 Ct values of the target and the "
                   "references together, " +
                       formatNumber(q.count) + " here");
      } else {
        try {
          check(status, "alg_calc_rq");
        } catch (const LibraryError& e) {
          appendNote(q.note, e.what());
        }
      }
      result.quantities.push_back(std::move(q));
    }
  }
}

}  // namespace corvel::tool

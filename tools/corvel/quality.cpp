// Quality flags of the analysed wells. Each rule looks at what the analysis
// produced (the curve, its features, the Cts, the replicates, the melting
// peaks) and, when a result is missing or doubtful, adds a flag with a note
// that names the numbers behind it. docs/flags.md lists the same rules for
// the user; the thresholds are in quality.h.
#include "quality.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "CorvelAlg.h"
#include "analysis.h"
#include "text.h"
#include "units.h"

namespace corvel::tool {
namespace {

// The flags, in the order a well lists them.
constexpr const char* kNotAnalyzed = "not-analyzed";
constexpr const char* kLowSignal = "low-signal";
constexpr const char* kNoRise = "no-rise";
constexpr const char* kNoAmplification = "no-amplification";
constexpr const char* kNoCt = "no-ct";
constexpr const char* kNoSigmoidCt = "no-sigmoid-ct";
constexpr const char* kCtOutsideRun = "ct-outside-run";
constexpr const char* kCtLate = "ct-late";
constexpr const char* kCtNearBaseline = "ct-near-baseline";
constexpr const char* kSigmoidImplausible = "sigmoid-implausible";
constexpr const char* kReplicateOutlier = "replicate-outlier";
constexpr const char* kReplicatesDisagree = "replicates-disagree";
constexpr const char* kNtcAmplified = "ntc-amplified";
constexpr const char* kMeltNotAnalyzed = "melt-not-analyzed";
constexpr const char* kMeltUnusable = "melt-unusable";
constexpr const char* kMeltNoPeak = "melt-no-peak";
constexpr const char* kMeltFitFailed = "melt-fit-failed";
constexpr const char* kMeltSeveralProducts = "melt-several-products";
constexpr const char* kMeltTmOutside = "melt-tm-outside";

// The library's smallest steepness of a plausible logistic fit, per cycle
// (its fluorescence limits are in units.h).
constexpr double kMinSigmoidRate = 0.01;

constexpr std::size_t kMinReadings = 10;

// The baseline level is taken from this many readings at the end of the
// baseline window.
constexpr std::size_t kLevelReadings = 8;

// A steepest rise that exceeds the curve's typical slope by less than this
// many times the noise does not mark the end of a baseline.
constexpr double kSteepRise = 6.0;

// 1.4826 MAD estimates the standard deviation of normally distributed values.
constexpr double kMadToSd = 1.4826;
constexpr double kMadToZ = 0.6745;

double median(std::vector<double> v) {
  if (v.empty()) return kNaN;
  std::sort(v.begin(), v.end());
  const std::size_t h = v.size() / 2;
  return v.size() % 2 ? v[h] : 0.5 * (v[h - 1] + v[h]);
}

double medianAbsoluteDeviation(const std::vector<double>& v, double centre) {
  std::vector<double> d;
  d.reserve(v.size());
  for (double x : v) d.push_back(std::fabs(x - centre));
  return median(std::move(d));
}

double median3(double a, double b, double c) {
  return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

bool negativeControl(const std::string& type) {
  return type == "ntc" || type == "nac" || type == "ntp" || type == "nrt";
}

std::string cycles(double v) {
  return formatFixed(v, 2);
}

std::string celsius(double v) {
  return formatFixed(v, 2) + " °C";
}

// Text with its first letter in upper case, to open a sentence.
std::string sentence(std::string text) {
  if (!text.empty()) text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
  return text;
}

std::string joined(const std::vector<std::string>& parts, const std::string& last) {
  std::string text;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) text += i + 1 == parts.size() ? last : ", ";
    text += parts[i];
  }
  return text;
}

// A fluorescence limit of the library, which applies to the fluorescence as
// analysed, told in the file's units.
std::string limitText(double limit, double scale) {
  if (scale == 1.0) return fluorescenceText(limit) + " fluorescence units";
  return fluorescenceText(limit / scale) + " in the file's units (" + fluorescenceText(limit) +
         " after the fluorescence was multiplied by " + factorText(scale) + ")";
}

// The cycle number of a reading, NaN when out of range.
double cycleAt(const Reaction& r, long long index) {
  return index >= 0 && static_cast<std::size_t>(index) < r.cycles.size()
             ? r.cycles[static_cast<std::size_t>(index)]
             : kNaN;
}

// What the rules of one well need besides its result.
struct WellEvidence {
  double rise = kNaN;          // riseToNoise() of its readings
  bool clear = false;          // amplifies clearly
  bool stillRising = false;    // rises most steeply in its last two cycles
  double offsetOthers = kNaN;  // median sigmoid Ct - linear Ct of the group's other wells
  double marginOthers = kNaN;  // median linear Ct - baseline end of the group's other wells
};

// The shape of a raw curve: its rise over the baseline in units of the
// baseline noise and the reading where the smoothed curve rises most
// steeply. See riseToNoise() for the method.
struct CurveShape {
  double rise = kNaN;
  std::size_t steepest = 0;
};

// The robust standard deviation of the readings f[begin..end-1], from their
// second differences, which a drifting or curved baseline hardly touches
// (each has the variance of six readings): 1.4826 MAD / sqrt 6, or the root
// mean square when the MAD is 0, as with coarsely rounded readings.
double noiseOf(const std::vector<double>& f, std::size_t begin, std::size_t end) {
  std::vector<double> d2;
  for (std::size_t i = begin + 1; i + 1 < end; ++i) d2.push_back(f[i + 1] - 2.0 * f[i] + f[i - 1]);
  if (d2.empty()) return 0.0;
  const double centre = median(d2);
  const double noise = kMadToSd * medianAbsoluteDeviation(d2, centre) / std::sqrt(6.0);
  if (noise > 0) return noise;
  double sum = 0;
  for (double x : d2) sum += (x - centre) * (x - centre);
  return std::sqrt(sum / static_cast<double>(d2.size()) / 6.0);
}

CurveShape curveShape(const std::vector<double>& f) {
  CurveShape shape;
  const std::size_t n = f.size();
  if (n < kMinReadings) return shape;
  for (double v : f)
    if (!std::isfinite(v)) return shape;

  std::vector<double> s(n);
  s.front() = 0.5 * (f[0] + f[1]);
  s.back() = 0.5 * (f[n - 2] + f[n - 1]);
  for (std::size_t i = 1; i + 1 < n; ++i) s[i] = median3(f[i - 1], f[i], f[i + 1]);

  // The steepest rise of the smoothed curve, measured against its typical
  // slope (a drift); a curve whose steepest rise stands out less than
  // kSteepRise times the noise has no rise to set the window by, and its
  // window takes in all but the last reading.
  std::vector<double> slopes;
  std::size_t steepest = 2;
  for (std::size_t i = 2; i + 1 < n; ++i) {
    slopes.push_back(s[i + 1] - s[i - 1]);
    if (slopes.back() > s[steepest + 1] - s[steepest - 1]) steepest = i;
  }
  const double typical = median(slopes);
  const bool steep =
      s[steepest + 1] - s[steepest - 1] - typical > kSteepRise * noiseOf(f, 1, n - 1);
  const std::size_t end =
      steep ? std::min(std::max<std::size_t>(steepest >= 4 ? steepest - 4 : 0, 7), n - 2) : n - 2;

  // The level and drift where the baseline ends: the straight line through
  // the window's last readings (a line through all of it would miss the
  // level of a curved, decaying baseline).
  const std::size_t from = end + 1 >= 2 + kLevelReadings ? end + 1 - kLevelReadings : 2;
  const double m = static_cast<double>(end + 1 - from);
  double mx = 0, my = 0;
  for (std::size_t i = from; i <= end; ++i) {
    mx += static_cast<double>(i) / m;
    my += f[i] / m;
  }
  double sxx = 0, sxy = 0;
  for (std::size_t i = from; i <= end; ++i) {
    const double dx = static_cast<double>(i) - mx;
    sxx += dx * dx;
    sxy += dx * (f[i] - my);
  }
  const double slope = sxy / sxx;
  const double level = my + slope * (static_cast<double>(end) - mx);

  const double noise = noiseOf(f, 2, end + 1);

  double rise = -std::numeric_limits<double>::infinity();
  for (std::size_t i = end + 1; i < n; ++i)
    rise = std::max(rise, s[i] - (level + std::max(0.0, slope) * static_cast<double>(i - end)));
  shape.steepest = steepest;
  if (!(noise > 0)) {
    shape.rise = rise > 0 ? std::numeric_limits<double>::infinity() : 0.0;
  } else {
    shape.rise = rise / noise;
  }
  return shape;
}

// Replicates share the run, the target, the sample and its type.
using ReplicateKey = std::tuple<std::string, std::string, std::string, std::string>;

struct ReplicateFlag {
  const char* flag = nullptr;
  std::string note;
};

// Replicate outliers and replicates that disagree, by the chosen Cq of the
// wells that amplify clearly.
std::map<std::size_t, ReplicateFlag> replicateFlags(const PlateResult& result,
                                                    const std::vector<WellEvidence>& evidence) {
  const CqMethod method = result.options.cqMethod;
  const std::string which = std::string(cqMethodName(method)) + " Cq";
  std::map<ReplicateKey, std::vector<std::size_t>> sets;
  for (std::size_t i = 0; i < result.wells.size(); ++i) {
    const WellResult& w = result.wells[i];
    const Reaction& r = w.reaction;
    // Wells of unnamed samples cannot be told to be replicates.
    if (!w.analyzed || !evidence[i].clear || !std::isfinite(chosenCq(w, method)) ||
        r.sample.empty())
      continue;
    sets[{r.run, r.target, r.sample, r.sampleType}].push_back(i);
  }

  std::map<std::size_t, ReplicateFlag> flags;
  for (const auto& [key, members] : sets) {
    if (members.size() < 2) continue;
    std::vector<double> cq;
    for (std::size_t i : members) cq.push_back(chosenCq(result.wells[i], method));
    std::vector<std::string> listed;
    for (double v : cq) listed.push_back(cycles(v));
    const std::string all = "(" + joined(listed, " and ") + ")";

    std::vector<bool> outlier(members.size(), false);
    if (members.size() >= 3) {
      const double centre = median(cq);
      const double mad = medianAbsoluteDeviation(cq, centre);
      for (std::size_t k = 0; k < members.size(); ++k) {
        const double distance = std::fabs(cq[k] - centre);
        const bool far = distance > kOutlierCycles;
        const bool isolated = mad > 0 ? kMadToZ * distance / mad > kOutlierZ : distance > 0;
        if (!far || !isolated) continue;
        outlier[k] = true;
        flags[members[k]] = {
            kReplicateOutlier,
            "Its " + which + " " + cycles(cq[k]) + " lies " + cycles(distance) +
                " cycles from the median " + cycles(centre) + " of its " +
                std::to_string(members.size()) + " replicates " + all +
                ", far more than they scatter among themselves: check the well (pipetting, a "
                "bubble, evaporation) and consider leaving it out."};
      }
    }
    double low = std::numeric_limits<double>::infinity(), high = -low;
    std::size_t kept = 0;
    for (std::size_t k = 0; k < members.size(); ++k) {
      if (outlier[k]) continue;
      low = std::min(low, cq[k]);
      high = std::max(high, cq[k]);
      ++kept;
    }
    if (kept < 2 || !(high - low > kReplicateSpreadCycles)) continue;
    for (std::size_t k = 0; k < members.size(); ++k) {
      if (outlier[k]) continue;
      flags[members[k]] = {
          kReplicatesDisagree,
          "Its " + std::to_string(members.size()) + " replicates " + all + " span " +
              cycles(high - low) + " cycles of " + which +
              (kept < members.size() ? ", outliers aside" : "") + ", more than " +
              formatNumber(kReplicateSpreadCycles) +
              " cycle: their mean is uncertain. Look for a well whose curve differs; at Cts "
              "above " +
              formatNumber(kLateCt) + " such scatter comes from the few starting copies."};
    }
  }
  return flags;
}

// The median of the values of the other wells, NaN with fewer than two.
double othersMedian(const std::vector<std::pair<std::size_t, double>>& values, std::size_t well) {
  std::vector<double> others;
  for (const auto& [i, v] : values)
    if (i != well) others.push_back(v);
  return others.size() >= 2 ? median(std::move(others)) : kNaN;
}

// What the group's other clearly amplifying wells show, for comparison:
// their sigmoid Ct minus linear Ct and their linear Ct minus the last
// cycle of their baseline window.
void compareWithGroup(const PlateResult& result, std::vector<WellEvidence>& evidence) {
  for (const AmplificationGroup& group : result.groups) {
    std::vector<std::pair<std::size_t, double>> offsets, margins;
    for (std::size_t i : group.wells) {
      const WellResult& w = result.wells[i];
      if (!evidence[i].clear || !std::isfinite(w.ctLinear)) continue;
      if (std::isfinite(w.ctSigmoid)) offsets.emplace_back(i, w.ctSigmoid - w.ctLinear);
      const double end = cycleAt(w.reaction, w.baselineEnd);
      if (std::isfinite(end)) margins.emplace_back(i, w.ctLinear - end);
    }
    for (std::size_t i : group.wells) {
      evidence[i].offsetOthers = othersMedian(offsets, i);
      evidence[i].marginOthers = othersMedian(margins, i);
    }
  }
}

// The Cts of a well as text, e.g. "linear Ct 37.19 and sigmoid Ct 33.61".
std::string ctText(const WellResult& w) {
  std::vector<std::string> parts;
  if (std::isfinite(w.ctLinear)) parts.push_back("linear Ct " + cycles(w.ctLinear));
  if (std::isfinite(w.ctSigmoid)) parts.push_back("sigmoid Ct " + cycles(w.ctSigmoid));
  return joined(parts, " and ");
}

void flagAmplification(const PlateResult& result, WellResult& w, const WellEvidence& e) {
  const Reaction& r = w.reaction;
  const double scale = result.scale;
  if (!w.analyzed) {
    addFlag(
        w, kNotAnalyzed,
        "Not analysed, so there is no Ct: " +
            (w.skipReason.empty() ? std::string("the curve could not be analysed") : w.skipReason) +
            ".");
    return;
  }
  const bool ntc = negativeControl(r.sampleType);
  const double first = r.cycles.front(), last = r.cycles.back();

  if (w.lowSignal) {
    addFlag(w, kLowSignal,
            "The curve's largest value, smoothed as the analysis reads it (" +
                fluorescenceText(w.maxValue) + "), is below " + limitText(kLowSignalLimit, scale) +
                ", which the analysis treats as no signal: the curve is flattened and has no "
                "linear Ct.");
  }
  if (w.noRise)
    addFlag(w, kNoRise,
            "The curve rises less than 0.5 % over the four cycles up to its steepest point, which "
            "the analysis treats as no rise: the curve is flattened and has no linear Ct.");
  if (!e.clear) {
    std::string note =
        e.rise > 0
            ? "The curve never rises clearly above its baseline noise: its largest rise is " +
                  formatFixed(e.rise, e.rise < 1 ? 2 : 1) +
                  " times the noise, where a clear amplification reaches " +
                  formatNumber(kClearRise)
            : std::string("The curve never rises above its baseline level");
    if (ntc) note += ", as expected of a no-template control";
    const std::string cts = ctText(w);
    const bool both = std::isfinite(w.ctLinear) && std::isfinite(w.ctSigmoid);
    if (!cts.empty())
      note += "; its " + cts + (both ? " come" : " comes") + " from noise: read " +
              (both ? "them" : "it") + " as undetermined";
    addFlag(w, kNoAmplification, note + ".");
  }

  if (std::isnan(w.ctLinear)) {
    std::string why;
    if (w.lowSignal) {
      why = "the curve was flattened as low signal (see low-signal)";
    } else if (w.noRise) {
      why = "the curve was flattened because it does not rise (see no-rise)";
    } else if (!e.clear) {
      why = "the curve does not amplify (see no-amplification)";
    } else {
      const AmplificationGroup* g =
          w.group < result.groups.size() ? &result.groups[w.group] : nullptr;
      const double threshold = g ? g->threshold : kNaN;
      const std::string given = g && g->thresholdFromUser ? " given with --threshold" : "";
      const double top =
          w.processed.empty() ? kNaN : *std::max_element(w.processed.begin(), w.processed.end());
      if (top < threshold) {
        why = "the curve rises, but its processed (baseline-corrected) curve reaches only " +
              fluorescenceText(top) + ", below the threshold " + fluorescenceText(threshold) +
              given + ": it starts to amplify too late or too little to cross it within the run";
      } else {
        why = "the processed curve does not cross the threshold " + fluorescenceText(threshold) +
              given + " from below within the run";
      }
    }
    addFlag(w, kNoCt, "No linear Ct: " + why + ".");
  }

  if (std::isnan(w.ctSigmoid)) {
    std::string why;
    if (!std::isfinite(w.sigmoidTop) || !std::isfinite(w.sigmoidMid) ||
        !std::isfinite(w.sigmoidRate)) {
      why = "the logistic curve could not be fitted to the readings";
    } else if (w.sigmoidTop * scale < kMinimumPlateau) {
      why = "the fitted plateau (" + fluorescenceText(w.sigmoidTop) +
            ") is below the smallest the analysis accepts, " + limitText(kMinimumPlateau, scale);
      if (!e.clear) why += ", as for a curve that does not amplify";
    } else if (w.sigmoidRate < kMinSigmoidRate) {
      why = "the fitted curve rises too gently (steepness " + formatFixed(w.sigmoidRate, 4) +
            " per cycle, below " + formatNumber(kMinSigmoidRate) + ")";
    } else {
      why = "the logistic fit gives none";
    }
    addFlag(w, kNoSigmoidCt, "No sigmoid Ct: " + why + ".");
  }

  std::vector<std::string> outside;
  for (const auto& [name, ct] :
       {std::pair<const char*, double>{"linear", w.ctLinear}, {"sigmoid", w.ctSigmoid}}) {
    if (ct < first)
      outside.push_back("the " + std::string(name) + " Ct " + cycles(ct) +
                        " lies before the first cycle (" + formatNumber(first) + ")");
    if (ct > last)
      outside.push_back("the " + std::string(name) + " Ct " + cycles(ct) +
                        " lies after the last cycle (" + formatNumber(last) + ")");
  }
  if (!outside.empty()) {
    addFlag(w, kCtOutsideRun,
            sentence(joined(outside, "; ")) + ": extrapolated beyond the readings, not measured.");
  }

  std::vector<std::string> late;
  if (w.ctLinear > kLateCt) late.push_back("linear Ct " + cycles(w.ctLinear));
  if (w.ctSigmoid > kLateCt) late.push_back("sigmoid Ct " + cycles(w.ctSigmoid));
  if (!late.empty())
    addFlag(w, kCtLate,
            "The " + joined(late, " and the ") + (late.size() > 1 ? " are" : " is") +
                " later than cycle " + formatNumber(kLateCt) +
                ": the well started with very few copies, where replicates scatter by chance and "
                "contamination or primer dimers amplify as well; confirm with the replicates and "
                "the melting curve.");

  // The baseline window ends just before the strongest upward bend of the
  // curve; when it ends much closer to the Ct than in the group's other
  // wells, it took in part of the rise.
  const double baselineEnd = cycleAt(r, w.baselineEnd);
  const double margin = w.ctLinear - baselineEnd;
  if (margin < kBaselineMargin && e.marginOthers - margin >= kBaselineMargin)
    addFlag(w, kCtNearBaseline,
            "The linear Ct " + cycles(w.ctLinear) + " lies only " + cycles(margin) +
                " cycles after the end of the baseline window (cycles " +
                formatNumber(cycleAt(r, w.baselineStart - 1LL)) + " to " +
                formatNumber(baselineEnd) + "), against a median of " + cycles(e.marginOthers) +
                " in the other wells of " + r.target +
                ": the window probably reaches into the rise, and subtracting it delays the "
                "linear Ct; compare with the replicates and the sigmoid Ct.");

  if (std::isfinite(w.ctSigmoid)) {
    std::vector<std::string> doubts;
    if (!e.clear)
      doubts.push_back("the curve does not amplify clearly, so the fit describes noise");
    if (w.sigmoidMid > last)
      doubts.push_back("its midpoint (cycle " + cycles(w.sigmoidMid) +
                       ") lies after the last cycle (" + formatNumber(last) +
                       "), so its plateau is extrapolated");
    if (w.sigmoidMid < first)
      doubts.push_back("its midpoint (cycle " + cycles(w.sigmoidMid) +
                       ") lies before the first cycle (" + formatNumber(first) + ")");
    if (e.clear && e.stillRising && !(w.sigmoidMid > last))
      doubts.push_back(
          "the curve rises most steeply in its last two cycles, so the fit cannot "
          "see where it levels off");
    if (e.clear && std::isfinite(w.ctLinear) && std::isfinite(e.offsetOthers)) {
      const double offset = w.ctSigmoid - w.ctLinear;
      if (std::fabs(offset - e.offsetOthers) > kSigmoidOffsetTolerance)
        doubts.push_back("the sigmoid Ct minus the linear Ct is " + cycles(offset) +
                         " cycles, against a median of " + cycles(e.offsetOthers) +
                         " in the other wells of " + r.target +
                         ": the fit (often of a curve that has not levelled off within the run) "
                         "or the baseline of this well is off");
    }
    if (!doubts.empty())
      addFlag(w, kSigmoidImplausible,
              "The logistic fit is doubtful, read the sigmoid Ct " + cycles(w.ctSigmoid) +
                  " with care: " + joined(doubts, "; ") + ".");
  }
}

void flagNegativeControl(WellResult& w, const WellEvidence& e) {
  if (!w.analyzed || !negativeControl(w.reaction.sampleType) || !e.clear) return;
  std::string note = "A negative control (type " + w.reaction.sampleType +
                     ") amplifies: its curve rises " + formatFixed(e.rise, 0) +
                     " times its baseline noise";
  const std::string cts = ctText(w);
  if (!cts.empty()) note += ", " + cts;
  if (!w.melt.peaks.empty()) note += ", melting peak at " + celsius(w.melt.peaks.front().tm);
  addFlag(w, kNtcAmplified,
          note + ": contamination or primer dimers; compare its melting peak with the product's.");
}

void flagMelting(const AnalysisOptions& options, WellResult& w) {
  if (!w.hasMelt()) return;
  const MeltResult& m = w.melt;
  if (!options.melting) {
    addFlag(w, kMeltNotAnalyzed,
            "The melting readings were not analysed (--no-melting), so there is no Tm.");
    return;
  }
  if (!m.analyzed) {
    addFlag(w, kMeltUnusable,
            "The melting readings could not be analysed (" +
                (m.note.empty() ? std::string("no reason given") : m.note) +
                "), so there is no Tm.");
    return;
  }
  if (m.peaks.empty()) {
    if (m.solveStatus > ALG_STATUS_OK && !m.startPeaks.empty()) {
      const MeltPeak& tallest = *std::max_element(
          m.startPeaks.begin(), m.startPeaks.end(),
          [](const MeltPeak& a, const MeltPeak& b) { return a.height < b.height; });
      addFlag(w, kMeltFitFailed,
              "The Gaussian fit of the melting peaks failed (" +
                  (m.solveStatus == ALG_STATUS_INVALID_ARGUMENT
                       ? std::string("its system of equations became singular")
                       : "status " + std::to_string(m.solveStatus)) +
                  "), so there is no fitted Tm. The " + std::to_string(m.startPeaks.size()) +
                  " detected peak(s) are kept unfitted; the tallest lies at " +
                  celsius(tallest.tm) + ", an unfitted Tm read off the derivative curve.");
    } else {
      addFlag(w, kMeltNoPeak,
              sentence(m.note.empty() ? std::string("no plausible melting peak") : m.note) +
                  ", so there is no Tm" +
                  (negativeControl(w.reaction.sampleType) ? ", as expected of a no-template control"
                                                          : "") +
                  ".");
    }
    return;
  }

  if (m.peaks.size() > 1) {
    const double top = m.peaks.front().height;
    std::vector<std::string> others;
    for (std::size_t i = 1; i < m.peaks.size(); ++i)
      others.push_back(celsius(m.peaks[i].tm) + " (" +
                       formatFixed(100.0 * m.peaks[i].height / top, 0) + " % of its height)");
    addFlag(w, kMeltSeveralProducts,
            std::to_string(m.peaks.size()) + " melting peaks: the tallest at " +
                celsius(m.peaks.front().tm) + ", and " + joined(others, " and ") +
                ": more than one product, such as primer dimers or an unspecific product. The "
                "Tm is the tallest peak's.");
  }

  if (options.tmMin || options.tmMax) {
    const double low = options.tmMin.value_or(-std::numeric_limits<double>::infinity());
    const double high = options.tmMax.value_or(std::numeric_limits<double>::infinity());
    std::vector<std::string> outside;
    bool main = false;
    for (std::size_t i = 0; i < m.peaks.size(); ++i) {
      if (m.peaks[i].tm >= low && m.peaks[i].tm <= high) continue;
      outside.push_back(celsius(m.peaks[i].tm));
      main = main || i == 0;
    }
    if (!outside.empty()) {
      std::string range = options.tmMin && options.tmMax
                              ? formatNumber(low) + " to " + formatNumber(high) + " °C"
                          : options.tmMin ? "from " + formatNumber(low) + " °C"
                                          : "up to " + formatNumber(high) + " °C";
      addFlag(w, kMeltTmOutside,
              "Melting peak(s) at " + joined(outside, " and ") +
                  " lie outside the expected Tm range (" + range + "): " +
                  (main ? "the main product is not the one expected (a wrong or unspecific "
                          "product)"
                        : "besides the expected product, a second one melts elsewhere") +
                  ".");
    }
  }
}

}  // namespace

double riseToNoise(const std::vector<double>& fluorescence) {
  return curveShape(fluorescence).rise;
}

void assessQuality(PlateResult& result) {
  std::vector<WellEvidence> evidence(result.wells.size());
  for (std::size_t i = 0; i < result.wells.size(); ++i) {
    const WellResult& w = result.wells[i];
    if (!w.analyzed) continue;
    const CurveShape shape = curveShape(w.reaction.fluorescence);
    evidence[i].rise = shape.rise;
    evidence[i].clear = shape.rise >= kClearRise;
    evidence[i].stillRising = shape.steepest + 3 >= w.reaction.fluorescence.size();
  }
  compareWithGroup(result, evidence);
  std::map<std::size_t, ReplicateFlag> replicates = replicateFlags(result, evidence);

  for (std::size_t i = 0; i < result.wells.size(); ++i) {
    WellResult& w = result.wells[i];
    flagAmplification(result, w, evidence[i]);
    const auto replicate = replicates.find(i);
    if (replicate != replicates.end())
      addFlag(w, replicate->second.flag, std::move(replicate->second.note));
    flagNegativeControl(w, evidence[i]);
    flagMelting(result.options, w);
  }
}

}  // namespace corvel::tool

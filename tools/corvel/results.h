// What the analysis of one plate produces: per well, per amplification
// group (run and target), per standard curve, per relative quantity and per
// melting peak. The writers (CSV, JSON, HTML) only read these records.
#ifndef CORVEL_TOOL_RESULTS_H
#define CORVEL_TOOL_RESULTS_H

#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "plate.h"

namespace corvel::tool {

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// WellResult::group of a well that belongs to no analysed group.
inline constexpr std::size_t kNoGroup = static_cast<std::size_t>(-1);

// A Gaussian melting peak: Tm is its centre, height its amplitude on the
// normalized derivative curve, width its full width at half maximum.
struct MeltPeak {
  double tm = kNaN;
  double height = kNaN;
  double fwhm = kNaN;
};

struct MeltResult {
  bool analyzed = false;         // false: see note
  std::string note;              // why there is no result, or what to know about it
  double gridStep = kNaN;        // even temperature step the readings were resampled to
  std::size_t readingsUsed = 0;  // readings after the falling start was dropped
  // The derivative melting curve -dF/dT on the library's fine grid, as
  // returned and after the noise floor was removed.
  std::vector<double> temperatures;
  std::vector<double> derivative;
  std::vector<double> normalized;
  std::vector<double> fitted;        // sum of the fitted peaks on the same grid
  std::vector<MeltPeak> startPeaks;  // detected and kept before the fit
  std::vector<MeltPeak> peaks;       // fitted and plausible, tallest first
  int solveStatus = -1;              // the solver's status (0 = fitted)
};

// One reaction and everything computed for it.
struct WellResult {
  Reaction reaction;  // as read (run, well, target, sample, type, quantity, readings)

  // Amplification. analyzed is false when the well could not take part
  // (see skipReason); it then has no Ct and no curves.
  bool analyzed = false;
  std::string skipReason;
  std::size_t group = kNoGroup;    // index into PlateResult::groups (kNoGroup: none)
  std::vector<double> curve;       // fluorescence per cycle as analysed
  std::vector<double> processed;   // baseline-corrected, filtered curve
  std::vector<double> sigmoidFit;  // the fitted logistic curve at each cycle (empty: no fit)
  double ctLinear = kNaN;          // threshold crossing, cycles
  double ctSigmoid = kNaN;         // from the logistic fit, cycles
  // From the well's record.
  int baselineStart = 0;  // first baseline cycle, 1-based
  int baselineEnd = 0;    // last baseline index, 0-based
  double baselineSlope = kNaN;
  double baselineNoise = kNaN;
  double maxValue = kNaN;
  double stepRise = kNaN;
  double maxSlope = kNaN;
  double sigmoidTop = kNaN;
  double sigmoidMid = kNaN;  // in the file's cycle numbers, like the Cts
  double sigmoidRate = kNaN;
  bool lowSignal = false;
  bool noRise = false;
  // Absolute quantity read off the target's standard curve (unknowns and
  // standards alike), when the well has a Ct and the curve exists.
  double quantity = kNaN;

  std::vector<std::string> flags;  // short flag names, e.g. "low-signal"
  std::vector<std::string> notes;  // one plain-language sentence per flag

  MeltResult melt;
  bool hasMelt() const { return !reaction.temperatures.empty(); }
};

// Wells of one run and one target analysed together: one threshold.
struct AmplificationGroup {
  std::string run;
  std::string target;
  std::size_t cycles = 0;  // cycles per well
  double threshold = kNaN;
  bool thresholdFromUser = false;
  std::vector<std::size_t> wells;  // indices into PlateResult::wells
};

// A standard curve: Ct regressed on log10(quantity) of the standard wells.
struct StandardCurve {
  std::string run;
  std::string target;
  std::vector<double> log10Quantity;  // one point per standard well with a Ct
  std::vector<double> ct;
  double slope = kNaN;
  double intercept = kNaN;
  double rmse = kNaN;
  double rSquared = kNaN;
  double efficiency = kNaN;  // 10^(-1/slope) - 1
  std::string note;
  // The slope's standard error and the 95 % confidence interval of the
  // efficiency it gives (Student t with points - 2 degrees of freedom).
  double slopeSe = kNaN;
  double efficiencyLow = kNaN;
  double efficiencyHigh = kNaN;
  // The linear range used: the smallest and largest log10(quantity) of the
  // points fitted.
  double log10QuantityMin = kNaN;
  double log10QuantityMax = kNaN;
};

// How Cq values become relative quantities.
enum class RqMethod {
  deltaDeltaCt,  // every target doubles per cycle: RQ = 2^-ddCt
  pfaffl,        // each target's measured efficiency from its standard curve
};

// Which Cq the standard curves, the relative quantities and the replicate
// checks use; both are always reported.
enum class CqMethod {
  linear,   // threshold crossing
  sigmoid,  // from the fitted logistic curve
};

// Relative quantity of one target in one sample against the reference
// genes, normalized to the calibrator sample (delta-delta Ct, or Pfaffl's
// efficiency-corrected ratio).
struct RelativeQuantity {
  std::string run;
  std::string target;
  std::string sample;
  double deltaCt = kNaN;  // mean Ct of target minus pooled reference
  double sd = kNaN;       // combined standard deviation of deltaCt
  double se = kNaN;       // combined standard error of deltaCt
  double count = kNaN;    // replicate values used, target and references
  double calibratorDeltaCt = kNaN;
  double deltaDeltaCt = kNaN;
  double rq = kNaN;     // 2^-deltaDeltaCt
  double lower = kNaN;  // error bar
  double upper = kNaN;
  std::string note;  // why a value is missing
  RqMethod method = RqMethod::deltaDeltaCt;
  // Amplification factor per cycle (1 + efficiency) of the target and of
  // the pooled references: 2 for delta-delta Ct.
  double targetFactor = kNaN;
  double referenceFactor = kNaN;
};

// What the analysis was asked to do; the defaults are the documented ones.
struct AnalysisOptions {
  std::optional<double> threshold;          // a fixed threshold instead of the automatic one
  std::vector<std::string> referenceGenes;  // targets that normalize the relative quantities
  std::string calibrator;                   // sample all quantities are relative to
  int errorBar = 1;                         // 1: Student t interval, 2: multiple of the SD
  int confidenceIndex = 0;                  // 0..5 = 95, 97, 99, 99.5, 99.7, 99.9 %
  int sdMultiple = 1;                       // k of the SD error bar
  double peakWidth = 1.0;                   // expected melting peak width (SD of a Gaussian), °C
  double minPeakHeight = 0.1;               // a peak must exceed this fraction of the tallest value
  double minPeakFwhm = 0.5;                 // plausible peak width at half height, °C
  double maxPeakFwhm = 10.0;
  bool melting = true;   // analyse melting readings when the plate has them
  unsigned threads = 1;  // wells whose melting curves are analysed at the same time
  // Fluorescence is multiplied by this before the analysis (a power of ten);
  // empty: chosen from the data.
  std::optional<double> scale;
  CqMethod cqMethod = CqMethod::linear;
  RqMethod rqMethod = RqMethod::deltaDeltaCt;
  // The Tm range expected of the product, °C; a peak outside it is flagged.
  std::optional<double> tmMin, tmMax;
};

// The Cq of a well by the chosen method (NaN when undetermined).
inline double chosenCq(const WellResult& well, CqMethod method) {
  return method == CqMethod::sigmoid ? well.ctSigmoid : well.ctLinear;
}

// The method's name as the outputs write it.
inline const char* cqMethodName(CqMethod method) {
  return method == CqMethod::sigmoid ? "sigmoid" : "linear";
}
inline const char* rqMethodName(RqMethod method) {
  return method == RqMethod::pfaffl ? "Pfaffl" : "delta-delta Ct";
}

struct PlateResult {
  std::string path;
  std::string format;
  std::string libraryVersion;
  AnalysisOptions options;
  std::vector<Run> runs;
  std::vector<WellResult> wells;
  std::vector<AmplificationGroup> groups;
  std::vector<StandardCurve> standards;
  std::vector<RelativeQuantity> quantities;
  std::vector<SkippedReaction> skipped;  // reactions the reader could not take
  std::vector<std::string> warnings;
  // The factor the fluorescence was multiplied by for the analysis, and why
  // it was chosen. Fluorescence values in the results (curves, threshold,
  // curve features) are given back in the file's own units.
  double scale = 1.0;
  std::string scaleReason;
};

}  // namespace corvel::tool

#endif  // CORVEL_TOOL_RESULTS_H

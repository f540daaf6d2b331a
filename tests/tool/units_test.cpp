// Fluorescence units: the factor chosen for plates in raw, normalized,
// background-subtracted and huge units, a factor given by the user, a user
// threshold in the file's units, results given back in the file's units,
// and the real files whose units defeat the library's fixed limits.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "analysis.h"
#include "units.h"

namespace corvel::tool {
namespace {

namespace fs = std::filesystem;

struct Noise {
  std::uint64_t state;
  double next() {  // uniform in [-0.5, 0.5)
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<double>(state >> 11) / 9007199254740992.0 - 0.5;
  }
};

// A curve of 40 cycles: a baseline, a logistic rise of the given height
// with its midpoint at `mid`, and noise of the given amplitude.
Reaction curve(const std::string& well, double baseline, double rise, double mid, double noise,
               std::uint64_t seed) {
  Reaction r;
  r.run = "run";
  r.well = well;
  r.target = "T";
  r.sample = well;  // no replicates
  r.sampleType = "unkn";
  Noise n{seed};
  for (int c = 1; c <= 40; ++c) {
    r.cycles.push_back(c);
    r.fluorescence.push_back(baseline + rise / (1 + std::exp(-(c - mid) / 1.6)) + noise * n.next());
  }
  return r;
}

// Eight wells rising at cycles 18 to 25.
Plate plate(double baseline, double rise, double noise) {
  Plate p;
  for (int i = 0; i < 8; ++i)
    p.reactions.push_back(curve("A" + std::to_string(i + 1), baseline, rise, 18 + i, noise, i + 1));
  return p;
}

Plate times(Plate p, double factor) {
  for (Reaction& r : p.reactions)
    for (double& f : r.fluorescence) f *= factor;
  return p;
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

bool anyNote(const WellResult& w, const std::string& part) {
  return std::any_of(w.notes.begin(), w.notes.end(),
                     [&](const std::string& note) { return contains(note, part); });
}

TEST(Units, TheFactorBringsTheTypicalMaximumToThreeToThirtyThousand) {
  struct Case {
    const char* what;
    double baseline, rise, noise;
    double factor;
    const char* says;
  } cases[] = {
      {"raw instrument units", 2000, 15000, 30, 1, "raw instrument units, used as they are"},
      {"normalized units", 1.5, 20, 0.03, 1000, "normalized units: multiplied by 1000"},
      {"background-subtracted units", 0, 4, 0.01, 1000,
       "background-subtracted units: multiplied by 1000"},
      {"huge units", 3e7, 4e8, 1e5, 1e-5, "above the range the analysis is tuned for"},
      {"raw units just above the range", 20000, 30000, 30, 0.1, "multiplied by 0.1"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const Plate p = plate(c.baseline, c.rise, c.noise);
    const ScaleChoice choice = chooseScale(p, std::nullopt);
    EXPECT_EQ(choice.factor, c.factor);
    EXPECT_TRUE(contains(choice.reason, c.says)) << choice.reason;
    EXPECT_GE(choice.level * choice.factor, kRangeLow);
    EXPECT_LT(choice.level * choice.factor, kRangeHigh);
  }

  // The edges of the range: its low end belongs to it, its high end not.
  Plate edge;
  edge.reactions.push_back(curve("A1", 0, 1, 20, 0, 1));
  for (const auto& [level, factor] : std::vector<std::pair<double, double>>{
           {3000, 1}, {2999.99, 10}, {29999.99, 1}, {30000, 0.1}, {0.004, 1e6}}) {
    std::fill(edge.reactions[0].fluorescence.begin(), edge.reactions[0].fluorescence.end(), 0.0);
    edge.reactions[0].fluorescence.back() = level;
    EXPECT_EQ(chooseScale(edge, std::nullopt).factor, factor) << level;
  }
}

TEST(Units, TheLevelIgnoresAFewOutlyingWellsAndNamesTheRun) {
  // Sixteen normalized curves and one well with a reading of 10^9 (a
  // broken export): the level is a typical well's maximum.
  Plate p = plate(1.5, 20, 0.03);
  Plate more = plate(1.5, 20, 0.03);
  p.reactions.insert(p.reactions.end(), more.reactions.begin(), more.reactions.end());
  p.reactions.push_back(curve("H12", 1.5, 20, 20, 0.03, 99));
  p.reactions.back().fluorescence[30] = 1e9;
  p.runs.push_back({"run", "LightCycler 480", 8, 12, "Background Subtraction"});
  const ScaleChoice choice = chooseScale(p, std::nullopt);
  EXPECT_EQ(choice.factor, 1000);
  EXPECT_NEAR(choice.level, 21.5, 0.2);
  EXPECT_TRUE(contains(choice.reason, "LightCycler 480; background: Background Subtraction"))
      << choice.reason;

  // Nothing to measure: the readings are used as they are.
  Plate melting;
  melting.reactions.push_back(Reaction{});
  melting.reactions[0].temperatures = {60, 61};
  melting.reactions[0].meltFluorescence = {1, 0.5};
  EXPECT_EQ(chooseScale(melting, std::nullopt).factor, 1);
  Plate negative = plate(-5, 0, 0.1);
  EXPECT_EQ(chooseScale(negative, std::nullopt).factor, 1);
}

TEST(Units, AGivenScaleIsUsedAsItIs) {
  AnalysisOptions options;
  options.scale = 10;
  const PlateResult r = analyzePlate(plate(1.5, 20, 0.03), options);
  EXPECT_EQ(r.scale, 10);
  EXPECT_EQ(r.scaleReason, "given with --scale");
  const PlateResult automatic = analyzePlate(plate(1.5, 20, 0.03), {});
  EXPECT_EQ(automatic.scale, 1000);
  EXPECT_TRUE(contains(automatic.scaleReason, "multiplied by 1000")) << automatic.scaleReason;
}

TEST(Units, NormalizedCurvesGetTheirCtsOnceScaled) {
  const Plate p = plate(1.5, 20, 0.03);
  AnalysisOptions asRead;
  asRead.scale = 1;
  const PlateResult unscaled = analyzePlate(p, asRead);
  const PlateResult scaled = analyzePlate(p, {});
  for (std::size_t i = 0; i < p.reactions.size(); ++i) {
    SCOPED_TRACE(p.reactions[i].well);
    // As read, every curve is below the low-signal limit, and the note
    // speaks of the file's units.
    const WellResult& u = unscaled.wells[i];
    EXPECT_TRUE(u.lowSignal);
    EXPECT_TRUE(std::isnan(u.ctLinear));
    EXPECT_TRUE(anyNote(u, "below 300 fluorescence units"));
    // Scaled, each rises where it was built to (the Ct lies a few cycles
    // before the midpoint).
    const WellResult& s = scaled.wells[i];
    EXPECT_FALSE(s.lowSignal);
    EXPECT_FALSE(anyNote(s, "below")) << ::testing::PrintToString(s.notes);
    EXPECT_GT(s.ctLinear, 18.0 + i - 10);
    EXPECT_LT(s.ctLinear, 18.0 + i);
  }

  // A factor too small for the plate: the notes give the library's limits
  // in the file's units.
  AnalysisOptions small;
  small.scale = 10;
  const PlateResult r = analyzePlate(p, small);
  const WellResult& w = r.wells[0];
  ASSERT_TRUE(w.lowSignal);
  EXPECT_TRUE(anyNote(w,
                      "below 30 in the file's units (300 after the fluorescence was "
                      "multiplied by 10)"));
}

// Fluorescence results of a plate and of the same plate with its readings
// multiplied by 1000: the automatic choice makes the analysis the same, and
// every fluorescence value comes back 1000 times larger.
TEST(Units, ResultsAreGivenBackInTheFilesUnits) {
  const Plate small = plate(1.5, 20, 0.03);
  const Plate large = times(small, 1000);
  const PlateResult a = analyzePlate(small, {}), b = analyzePlate(large, {});
  ASSERT_EQ(a.scale, 1000);
  ASSERT_EQ(b.scale, 1);
  const auto same = [](double x, double y, double scale) {
    EXPECT_NEAR(y, x * scale, 1e-6 * std::max(1.0, std::fabs(x * scale)));
  };
  ASSERT_EQ(a.groups.size(), 1u);
  same(a.groups[0].threshold, b.groups[0].threshold, 1000);
  for (std::size_t i = 0; i < a.wells.size(); ++i) {
    SCOPED_TRACE(a.wells[i].reaction.well);
    const WellResult& x = a.wells[i];
    const WellResult& y = b.wells[i];
    // The library sees the same numbers in both: Cts and other non-
    // fluorescence results are identical.
    EXPECT_EQ(x.ctLinear, y.ctLinear);
    EXPECT_EQ(x.ctSigmoid, y.ctSigmoid);
    EXPECT_EQ(x.sigmoidMid, y.sigmoidMid);
    EXPECT_EQ(x.sigmoidRate, y.sigmoidRate);
    EXPECT_EQ(x.baselineEnd, y.baselineEnd);
    for (const auto& [u, v] : {std::pair{x.maxValue, y.maxValue},
                               {x.stepRise, y.stepRise},
                               {x.maxSlope, y.maxSlope},
                               {x.baselineSlope, y.baselineSlope},
                               {x.baselineNoise, y.baselineNoise},
                               {x.sigmoidTop, y.sigmoidTop}})
      same(u, v, 1000);
    ASSERT_EQ(x.processed.size(), y.processed.size());
    ASSERT_EQ(x.sigmoidFit.size(), y.sigmoidFit.size());
    for (std::size_t c = 0; c < x.processed.size(); ++c) {
      same(x.processed[c], y.processed[c], 1000);
      same(x.sigmoidFit[c], y.sigmoidFit[c], 1000);
    }
    // The curve as read is the file's.
    EXPECT_EQ(x.curve, small.reactions[i].fluorescence);
    // The plateau of the processed curve is near the built rise of 20, in
    // the file's units.
    EXPECT_GT(x.sigmoidTop, 15);
    EXPECT_LT(x.sigmoidTop, 21);
  }
}

TEST(Units, AUserThresholdIsInTheFilesUnits) {
  const Plate p = plate(1.5, 20, 0.03);
  AnalysisOptions options;
  options.threshold = 2.0;
  const PlateResult r = analyzePlate(p, options);
  ASSERT_EQ(r.scale, 1000);
  EXPECT_EQ(r.groups[0].threshold, 2.0);
  EXPECT_TRUE(r.groups[0].thresholdFromUser);
  for (const WellResult& w : r.wells) {
    SCOPED_TRACE(w.reaction.well);
    // The processed curve, in the file's units, crosses 2 at the Ct.
    ASSERT_TRUE(std::isfinite(w.ctLinear));
    const auto below = static_cast<std::size_t>(std::floor(w.ctLinear)) - 1;  // 0-based
    EXPECT_LE(w.processed[below], 2.0);
    EXPECT_GE(w.processed[below + 1], 2.0);
  }
  // The same threshold on the plate in units 1000 times larger.
  options.threshold = 2000.0;
  const PlateResult big = analyzePlate(times(p, 1000), options);
  for (std::size_t i = 0; i < r.wells.size(); ++i)
    EXPECT_EQ(big.wells[i].ctLinear, r.wells[i].ctLinear);
  // A threshold above every curve, said in the file's units.
  options.threshold = 50.0;
  const PlateResult high = analyzePlate(p, options);
  EXPECT_TRUE(std::isnan(high.wells[0].ctLinear));
  EXPECT_TRUE(anyNote(high.wells[0], "threshold 50"))
      << ::testing::PrintToString(high.wells[0].notes);
}

TEST(Units, NumbersInSentences) {
  EXPECT_EQ(fluorescenceText(0.3), "0.3");
  EXPECT_EQ(fluorescenceText(0.0015237), "0.00152");
  EXPECT_EQ(fluorescenceText(21.59), "21.6");
  EXPECT_EQ(fluorescenceText(1120746.4), "1120000");
  EXPECT_EQ(fluorescenceText(999.7), "1000");
  EXPECT_EQ(fluorescenceText(-2.5), "-2.5");
  EXPECT_EQ(fluorescenceText(3.2e9), "3.20e+09");
  EXPECT_EQ(factorText(1000), "1000");
  EXPECT_EQ(factorText(0.01), "0.01");
  EXPECT_EQ(factorText(1e-5), "1e-05");
  EXPECT_EQ(factorText(1e9), "1e+09");
}

// --- real files ---------------------------------------------------------------

fs::path dataDirectory() {
  const char* env = std::getenv("CORVEL_DATA_DIR");
  return env && *env ? fs::path(env) : fs::path(CORVEL_SOURCE_DATA_DIR);
}

// Clearly amplified, judged from the readings alone: a straight line
// through readings 3 to 10 gives the baseline and its noise (the residuals'
// SD); the median of the last three readings rises above the baseline by
// more than 50 times the noise and more than a fifth of the baseline, and
// half that rise is reached at least three readings before the end.
bool clearlyAmplified(const std::vector<double>& f) {
  if (f.size() < 15) return false;
  const std::size_t n = 8;
  double mx = 0, my = 0;
  for (std::size_t i = 0; i < n; ++i) mx += i, my += f[2 + i];
  mx /= n;
  my /= n;
  double sxx = 0, sxy = 0;
  for (std::size_t i = 0; i < n; ++i) {
    sxx += (i - mx) * (i - mx);
    sxy += (i - mx) * (f[2 + i] - my);
  }
  const double slope = sxy / sxx;
  double ss = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const double r = f[2 + i] - (my + slope * (i - mx));
    ss += r * r;
  }
  const double noise = std::sqrt(ss / n);
  std::vector<double> last(f.end() - 3, f.end());
  std::sort(last.begin(), last.end());
  const double rise = last[1] - my;
  if (!(rise > 50 * noise && rise > 0.2 * std::fabs(my))) return false;
  std::size_t half = 2;
  while (half < f.size() && f[half] < my + rise / 2) ++half;
  return half + 4 <= f.size();
}

class RealUnits : public ::testing::Test {
 protected:
  // The plate analysed with the automatic factor, melting left out.
  static PlateResult analyse(const std::string& name) {
    AnalysisOptions options;
    options.melting = false;
    return analyzePlate(readPlate((dataDirectory() / name).string()), options);
  }
  static bool have(const std::string& name) { return fs::exists(dataDirectory() / name); }

  // Every analysed well that clearly amplified has a linear Ct; returns
  // how many were checked.
  static std::size_t expectCtsWhereAmplified(const PlateResult& r) {
    std::size_t checked = 0;
    for (const WellResult& w : r.wells) {
      if (!w.analyzed || !clearlyAmplified(w.reaction.fluorescence)) continue;
      ++checked;
      EXPECT_TRUE(std::isfinite(w.ctLinear)) << w.reaction.well << " " << w.reaction.target << ": "
                                             << (w.notes.empty() ? "" : w.notes.front());
    }
    return checked;
  }
};

#define REQUIRE_FILE(name)                                      \
  if (!have(name))                                              \
    GTEST_SKIP() << name << " not found in " << dataDirectory() \
                 << " (set CORVEL_DATA_DIR to the folder of real qPCR files)";

TEST_F(RealUnits, NormalizedPlatesAreScaledUpAndEveryAmplifiedWellGetsACt) {
  REQUIRE_FILE("shifted_baseline.rdml");
  REQUIRE_FILE("matrix_gaps.rdml");
  for (const char* name : {"shifted_baseline.rdml", "matrix_gaps.rdml"}) {
    SCOPED_TRACE(name);
    const PlateResult r = analyse(name);
    EXPECT_EQ(r.scale, 1000);
    EXPECT_TRUE(contains(r.scaleReason, "normalized units: multiplied by 1000")) << r.scaleReason;
    EXPECT_GT(expectCtsWhereAmplified(r), 35u);
  }
  // The standard curves of the shifted baselines come out: efficiencies
  // within 85 to 105 % and straight.
  const PlateResult r = analyse("shifted_baseline.rdml");
  ASSERT_EQ(r.standards.size(), 12u);
  for (const StandardCurve& s : r.standards) {
    EXPECT_GT(s.efficiency, 0.85) << s.target;
    EXPECT_LT(s.efficiency, 1.05) << s.target;
    EXPECT_GT(s.rSquared, 0.99) << s.target;
  }
}

TEST_F(RealUnits, RawPlatesAreBroughtIntoTheRange) {
  REQUIRE_FILE("quantification_methods.rdml");
  const Plate p = readPlate((dataDirectory() / "quantification_methods.rdml").string());
  AnalysisOptions automatic, asRead;
  automatic.melting = asRead.melting = false;
  asRead.scale = 1;
  const PlateResult r = analyzePlate(p, automatic), raw = analyzePlate(p, asRead);
  // About a million units at the plateau: a hundredth of that keeps the
  // early-flattening rule from firing on the ordinary drift of the
  // baselines (docs/units.md).
  EXPECT_EQ(r.scale, 0.01);
  EXPECT_TRUE(contains(r.scaleReason, "QuantStudio Dx")) << r.scaleReason;
  EXPECT_EQ(expectCtsWhereAmplified(r), 180u);

  // Scaled, the Cts agree better with the instrument's own, and the
  // weakest standard curve is straighter, than as read.
  const auto farFromInstrument = [](const PlateResult& plate) {
    std::size_t far = 0;
    for (const WellResult& w : plate.wells)
      far += w.reaction.instrumentCq && !(std::fabs(w.ctLinear - *w.reaction.instrumentCq) <= 1);
    return far;
  };
  const auto weakestRSquared = [](const PlateResult& plate) {
    double weakest = 1;
    for (const StandardCurve& s : plate.standards) weakest = std::min(weakest, s.rSquared);
    return weakest;
  };
  EXPECT_LT(farFromInstrument(r), 15u);
  EXPECT_GT(farFromInstrument(raw), 15u);
  EXPECT_GT(weakestRSquared(r), 0.92);
  EXPECT_LT(weakestRSquared(raw), 0.85);
}

// The factor applies to the amplification readings only: the melting
// analysis, whose results depend on the units of its own readings, is the
// same whatever the factor.
TEST_F(RealUnits, MeltingIsNotTouchedByTheFactor) {
  REQUIRE_FILE("own_mix_a.rdml");
  const Plate p = readPlate((dataDirectory() / "own_mix_a.rdml").string());
  AnalysisOptions one, thousand;
  one.scale = 1;
  thousand.scale = 1000;
  const PlateResult a = analyzePlate(p, one), b = analyzePlate(p, thousand);
  std::size_t compared = 0;
  for (std::size_t i = 0; i < a.wells.size(); ++i) {
    const MeltResult& x = a.wells[i].melt;
    const MeltResult& y = b.wells[i].melt;
    ASSERT_EQ(x.peaks.size(), y.peaks.size());
    for (std::size_t k = 0; k < x.peaks.size(); ++k, ++compared) {
      EXPECT_EQ(x.peaks[k].tm, y.peaks[k].tm);
      EXPECT_EQ(x.peaks[k].height, y.peaks[k].height);
    }
  }
  EXPECT_GE(compared, 22u);
}

}  // namespace
}  // namespace corvel::tool

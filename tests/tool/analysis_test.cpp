// The tool's analysis on plates built in memory: which wells are analysed
// and why not, where the Cts land, the standard curve, the relative
// quantities and the melting peaks, against values known by construction.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "analysis.h"
#include "synthetic.h"

namespace corvel::tool {
namespace {

// One product melting at tm, in a well of its own name.
Reaction melting(const std::string& name, double tm, std::uint64_t seed) {
  return meltingReaction(name, "T", "", {tm}, {1.0}, seed);
}

TEST(Analysis, WellsThatCannotFormACurveAreKeptWithTheReason) {
  Plate plate;
  for (int i = 0; i < 6; ++i)
    plate.reactions.push_back(
        amplification("A" + std::to_string(i + 1), "T", "s" + std::to_string(i), 20 + i, i));
  Reaction gap = amplification("B1", "T", "s", 22, 11);
  gap.cycles.erase(gap.cycles.begin() + 11);
  gap.fluorescence.erase(gap.fluorescence.begin() + 11);
  Reaction twice = amplification("B2", "T", "s", 22, 12);
  twice.cycles[5] = 5;
  Reaction shorter = amplification("B3", "T", "s", 22, 13, 38);
  Reaction broken = amplification("B4", "T", "s", 22, 14);
  broken.fluorescence[7] = kNaN;
  Reaction empty = amplification("B5", "T", "s", 22, 15, 0);
  Reaction tooShort = amplification("C1", "U", "s", 5, 16, 9);
  for (Reaction* r : {&gap, &twice, &shorter, &broken, &empty, &tooShort})
    plate.reactions.push_back(*r);

  const PlateResult p = analyzePlate(plate, {});
  ASSERT_EQ(p.wells.size(), 12u);
  ASSERT_EQ(p.groups.size(), 1u) << "the 9-cycle target forms no group";
  EXPECT_EQ(p.groups[0].wells.size(), 6u);
  EXPECT_EQ(well(p, "B1").skipReason, "cycle 12 is missing");
  EXPECT_EQ(well(p, "B2").skipReason, "cycle 5 is read twice");
  EXPECT_EQ(well(p, "B3").skipReason,
            "reads cycles 1 to 38, while the other wells of T in this run read cycles 1 to 40");
  EXPECT_EQ(well(p, "B4").skipReason, "the fluorescence at cycle 8 is not a finite number");
  EXPECT_EQ(well(p, "B5").skipReason, "no amplification readings");
  EXPECT_EQ(well(p, "C1").skipReason, "only 9 cycles; the analysis needs at least 10");
  for (const WellResult& w : p.wells) {
    EXPECT_EQ(w.analyzed, w.skipReason.empty()) << w.reaction.well;
    EXPECT_EQ(w.group == kNoGroup, !w.analyzed) << w.reaction.well;
  }
  // The six good curves rise one cycle apart, and so do their Cts.
  for (int i = 1; i < 6; ++i) {
    const WellResult& a = well(p, "A" + std::to_string(i));
    const WellResult& b = well(p, "A" + std::to_string(i + 1));
    EXPECT_NEAR(b.ctLinear - a.ctLinear, 1.0, 0.1);
    EXPECT_NEAR(b.ctSigmoid - a.ctSigmoid, 1.0, 0.1);
    ASSERT_EQ(a.processed.size(), 40u);
    ASSERT_EQ(a.sigmoidFit.size(), 40u);
    EXPECT_TRUE(a.flags.empty()) << ::testing::PrintToString(a.notes);
  }
  EXPECT_GE(p.groups[0].threshold, 100.0);
  EXPECT_FALSE(p.groups[0].thresholdFromUser);
}

TEST(Analysis, CtsAreCountedInTheFilesCycleNumbers) {
  // The same curves read as cycles 0..39 have Cts one cycle lower.
  Plate one, zero;
  for (int i = 0; i < 4; ++i) {
    one.reactions.push_back(amplification("A" + std::to_string(i), "T", "s", 18 + 2 * i, i));
    zero.reactions.push_back(
        amplification("A" + std::to_string(i), "T", "s", 18 + 2 * i, i, 40, 0));
    zero.reactions.back().fluorescence = one.reactions.back().fluorescence;
  }
  const PlateResult a = analyzePlate(one, {}), b = analyzePlate(zero, {});
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(b.wells[i].ctLinear, a.wells[i].ctLinear - 1.0);
    EXPECT_EQ(b.wells[i].ctSigmoid, a.wells[i].ctSigmoid - 1.0);
  }
}

TEST(Analysis, AGivenThresholdMovesTheLinearCtOnly) {
  Plate plate;
  for (int i = 0; i < 4; ++i)
    plate.reactions.push_back(amplification("A" + std::to_string(i), "T", "s", 20, 30 + i));
  AnalysisOptions low, high;
  low.threshold = 1000;
  high.threshold = 8000;
  const PlateResult a = analyzePlate(plate, low), b = analyzePlate(plate, high);
  EXPECT_TRUE(a.groups[0].thresholdFromUser);
  EXPECT_EQ(a.groups[0].threshold, 1000);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_LT(a.wells[i].ctLinear + 1.0, b.wells[i].ctLinear);
    EXPECT_EQ(a.wells[i].ctSigmoid, b.wells[i].ctSigmoid);
  }
  // A threshold above every curve leaves the Ct undetermined, and says why.
  AnalysisOptions above;
  above.threshold = 1e7;
  const PlateResult c = analyzePlate(plate, above);
  EXPECT_TRUE(std::isnan(c.wells[0].ctLinear));
  EXPECT_TRUE(hasFlag(c.wells[0], "no-ct"));
}

TEST(Analysis, FlatAndFaintCurvesAreFlagged) {
  Plate plate;
  for (int i = 0; i < 3; ++i)
    plate.reactions.push_back(amplification("A" + std::to_string(i), "T", "s", 20, 40 + i));
  Reaction faint = amplification("B1", "T", "ntc", 20, 50);
  for (double& f : faint.fluorescence) f = 100 + f / 1000;  // peaks near 140 units
  plate.reactions.push_back(faint);
  const PlateResult p = analyzePlate(plate, {});
  const WellResult& w = well(p, "B1");
  ASSERT_TRUE(w.analyzed);
  EXPECT_TRUE(w.lowSignal);
  EXPECT_TRUE(hasFlag(w, "low-signal"));
  EXPECT_TRUE(std::isnan(w.ctLinear));
  EXPECT_EQ(w.flags.size(), w.notes.size());
}

// Ten-fold dilutions of a perfectly efficient reaction rise 1/log10(2)
// cycles apart; the standard curve finds that slope and an efficiency near
// 100 %, and reads the quantities back.
TEST(Analysis, StandardCurveOfADilutionSeries) {
  Plate plate;
  const double step = 1.0 / std::log10(2.0);
  int n = 0;
  for (int level = 0; level < 5; ++level)
    for (int rep = 0; rep < 3; ++rep) {
      Reaction r = amplification("S" + std::to_string(n), "T", "std" + std::to_string(level),
                                 14 + step * level, 100 + n);
      r.sampleType = "std";
      r.quantity = std::pow(10.0, 6 - level);
      plate.reactions.push_back(r);
      ++n;
    }
  plate.reactions.push_back(amplification("U1", "T", "unknown", 14 + 2.5 * step, 200));
  // In the raw units of the curves: this checks the regression, not the
  // choice of units.
  AnalysisOptions options;
  options.scale = 1;
  const PlateResult p = analyzePlate(plate, options);
  ASSERT_EQ(p.standards.size(), 1u);
  const StandardCurve& s = p.standards[0];
  EXPECT_EQ(s.ct.size(), 15u);
  EXPECT_NEAR(s.slope, -step, 0.05);
  EXPECT_NEAR(s.efficiency, 1.0, 0.03);
  // The automatic baseline window depends on where each curve rises, which
  // moves the levels' Cts by a few tenths against the ideal spacing.
  EXPECT_GT(s.rSquared, 0.995);
  EXPECT_NEAR(std::log10(well(p, "U1").quantity), 3.5, 0.05);
  EXPECT_NEAR(std::log10(well(p, "S0").quantity), 6.0, 0.05);

  // One dilution level gives no curve, and says so.
  Plate single;
  for (int i = 0; i < 3; ++i) single.reactions.push_back(plate.reactions[i]);
  const PlateResult q = analyzePlate(single, options);
  ASSERT_EQ(q.standards.size(), 1u);
  EXPECT_TRUE(std::isnan(q.standards[0].slope));
  EXPECT_NE(q.standards[0].note.find("at least two quantities"), std::string::npos);
}

TEST(Analysis, RelativeQuantitiesAgainstAReferenceAndACalibrator) {
  Plate plate;
  int seed = 300;
  const auto add = [&](const std::string& target, const std::string& sample, double mid) {
    for (int rep = 0; rep < 3; ++rep)
      plate.reactions.push_back(
          amplification(target + sample + std::to_string(rep), target, sample, mid, seed++));
  };
  add("REF", "control", 18);
  add("GOI", "control", 24);
  add("REF", "treated", 19);
  add("GOI", "treated", 23);  // 2 cycles earlier relative to REF: four times as much
  add("GOI", "orphan", 22);   // no reference measured
  AnalysisOptions options;
  options.scale = 1;
  options.referenceGenes = {"REF"};
  options.calibrator = "control";
  const PlateResult p = analyzePlate(plate, options);
  ASSERT_EQ(p.quantities.size(), 3u);
  const RelativeQuantity& control = p.quantities[0];
  const RelativeQuantity& treated = p.quantities[1];
  const RelativeQuantity& orphan = p.quantities[2];
  EXPECT_EQ(control.sample, "control");
  EXPECT_EQ(control.deltaDeltaCt, 0.0);
  EXPECT_EQ(control.rq, 1.0);
  EXPECT_EQ(control.count, 6.0);
  EXPECT_LT(control.lower, 1.0);
  EXPECT_GT(control.upper, 1.0);
  EXPECT_NEAR(treated.deltaDeltaCt, -2.0, 0.1);
  EXPECT_NEAR(treated.rq, 4.0, 0.3);
  EXPECT_LT(treated.lower, treated.rq);
  EXPECT_GT(treated.upper, treated.rq);
  EXPECT_TRUE(std::isnan(orphan.rq));
  EXPECT_EQ(orphan.note, "no Ct for the reference gene REF in orphan");

  // Without a calibrator nothing is computed, and the user is told.
  options.calibrator.clear();
  const PlateResult q = analyzePlate(plate, options);
  EXPECT_TRUE(q.quantities.empty());
  ASSERT_EQ(q.warnings.size(), 1u);
  EXPECT_NE(q.warnings[0].find("--calibrator"), std::string::npos);
}

TEST(Analysis, MeltingPeaksOfUnevenReadingsWithAFallingStart) {
  Plate plate;
  plate.reactions.push_back(melting("A1", 82.0, 1));
  plate.reactions.push_back(melting("A2", 78.5, 2));
  Reaction flat = melting("A3", 200.0, 3);  // melts far beyond the run: no peak
  for (double& f : flat.meltFluorescence) f = 20000;
  plate.reactions.push_back(flat);
  Reaction few = melting("A4", 82.0, 4);
  few.temperatures.resize(8);
  few.meltFluorescence.resize(8);
  plate.reactions.push_back(few);
  const PlateResult p = analyzePlate(plate, {});

  for (const auto& [name, tm] : {std::pair<const char*, double>{"A1", 82.0}, {"A2", 78.5}}) {
    const MeltResult& m = well(p, name).melt;
    ASSERT_TRUE(m.analyzed) << m.note;
    EXPECT_EQ(m.solveStatus, 0);
    ASSERT_EQ(m.peaks.size(), 1u) << name;
    EXPECT_NEAR(m.peaks[0].tm, tm, 0.3) << name;
    EXPECT_GT(m.peaks[0].fwhm, 0.5);
    EXPECT_EQ(m.fitted.size(), m.temperatures.size());
    EXPECT_EQ(m.readingsUsed, well(p, name).reaction.temperatures.size() - 2);
    EXPECT_NE(m.note.find("falling temperature"), std::string::npos) << m.note;
    // The grid keeps the readings' median spacing and ends on the last reading.
    EXPECT_NEAR(m.gridStep, 0.25, 0.02);
    EXPECT_EQ(m.temperatures.back(), well(p, name).reaction.temperatures.back());
  }
  EXPECT_TRUE(hasFlag(well(p, "A3"), "melt-no-peak"));
  EXPECT_TRUE(well(p, "A3").melt.peaks.empty());
  EXPECT_FALSE(well(p, "A4").melt.analyzed);
  EXPECT_TRUE(hasFlag(well(p, "A4"), "melt-unusable"));

  AnalysisOptions off;
  off.melting = false;
  EXPECT_FALSE(analyzePlate(plate, off).wells[0].melt.analyzed);
}

}  // namespace
}  // namespace corvel::tool

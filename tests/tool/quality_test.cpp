// Quality flags: each rule on wells built in memory, and on the real plates
// the promise that every missing result carries a flag that says why, that
// no melting well is refused for the order of its readings and that the
// malformed plate is reported well by well.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "analysis.h"
#include "quality.h"
#include "synthetic.h"

namespace corvel::tool {
namespace {

// 40 cycles of raw fluorescence: a background of 3000 with a drift per
// cycle, an optional decay of the first cycles, and a logistic rise of the
// given height whose midpoint is `mid` (height 0: a flat curve).
std::vector<double> curve(double mid, double height, std::uint64_t seed, double drift = 4,
                          double decay = 0) {
  Noise noise{seed};
  std::vector<double> f;
  for (int c = 1; c <= 40; ++c)
    f.push_back(3000 + drift * c + decay * std::exp(-c / 8.0) +
                height / (1 + std::exp(-(c - mid) / 1.6)) + 20 * noise.next());
  return f;
}

Reaction reaction(const std::string& well, const std::string& sample, const std::string& type,
                  std::vector<double> f) {
  Reaction r;
  r.run = "run";
  r.well = well;
  r.target = "T";
  r.sample = sample;
  r.sampleType = type;
  for (std::size_t c = 0; c < f.size(); ++c) r.cycles.push_back(static_cast<double>(c + 1));
  r.fluorescence = std::move(f);
  return r;
}

// Melting readings of target M (see synthetic.h).
Reaction melting(const std::string& name, const std::string& type, std::vector<double> tms,
                 std::vector<double> shares, std::uint64_t seed) {
  return meltingReaction(name, "M", type, tms, shares, seed);
}

// The note of a flag ("" when the well does not carry it).
std::string note(const WellResult& w, const std::string& flag) {
  for (std::size_t i = 0; i < w.flags.size() && i < w.notes.size(); ++i)
    if (w.flags[i] == flag) return w.notes[i];
  return {};
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// Every missing result carries a flag whose note says why; notes are
// sentences, one per flag.
void expectEveryMissingResultExplained(const PlateResult& p) {
  for (const WellResult& w : p.wells) {
    SCOPED_TRACE(p.path + " " + w.reaction.run + " " + w.reaction.well + " " + w.reaction.target);
    ASSERT_EQ(w.flags.size(), w.notes.size());
    for (const std::string& n : w.notes) {
      EXPECT_GT(n.size(), 20u) << n;
      EXPECT_EQ(n.back(), '.') << n;
    }
    if (!w.analyzed) {
      EXPECT_TRUE(contains(note(w, "not-analyzed"), w.skipReason)) << w.skipReason;
      continue;
    }
    EXPECT_TRUE(!std::isnan(w.ctLinear) || hasFlag(w, "no-ct"));
    EXPECT_TRUE(!std::isnan(w.ctSigmoid) || hasFlag(w, "no-sigmoid-ct"));
    EXPECT_TRUE(!w.hasMelt() || !w.melt.peaks.empty() || hasFlag(w, "melt-not-analyzed") ||
                hasFlag(w, "melt-unusable") || hasFlag(w, "melt-no-peak") ||
                hasFlag(w, "melt-fit-failed"))
        << w.melt.note;
  }
}

TEST(Quality, RiseOverNoiseTellsAmplificationFromFlatAndDriftingCurves) {
  // Flat curves: noise only, a drift upwards, a decaying (bleaching) start.
  EXPECT_LT(riseToNoise(curve(20, 0, 1)), kClearRise);
  EXPECT_LT(riseToNoise(curve(20, 0, 2, 12)), kClearRise);
  EXPECT_LT(riseToNoise(curve(20, 0, 3, -20, 3000)), kClearRise);
  // A rise of 40 times the noise at the very end of the run is clear, and
  // so is an ordinary amplification.
  EXPECT_GT(riseToNoise(curve(41, 600, 4)), kClearRise);
  EXPECT_GT(riseToNoise(curve(22, 40000, 5)), 100 * kClearRise);
  // Units do not matter; unusable curves give NaN.
  std::vector<double> f = curve(30, 2000, 6), scaled = f;
  for (double& v : scaled) v *= 0.001;
  EXPECT_NEAR(riseToNoise(scaled), riseToNoise(f), 1e-6 * riseToNoise(f));
  f[4] = kNaN;
  EXPECT_TRUE(std::isnan(riseToNoise(f)));
  EXPECT_TRUE(std::isnan(riseToNoise(std::vector<double>(9, 1.0))));
}

TEST(Quality, MissingCtsAndNegativeControlsAreExplained) {
  Plate plate;
  for (int i = 0; i < 4; ++i)
    plate.reactions.push_back(reaction("A" + std::to_string(i), "s" + std::to_string(i), "unkn",
                                       curve(20 + i, 40000, i)));
  plate.reactions.push_back(reaction("N1", "water", "ntc", curve(20, 0, 10)));
  plate.reactions.push_back(reaction("N2", "water", "ntc", curve(38, 20000, 11)));
  // Rises at the very end, by about 1700 units: not up to the threshold.
  plate.reactions.push_back(reaction("L1", "late", "unkn", curve(45, 40000, 12)));
  Reaction gap = reaction("G1", "gap", "unkn", curve(22, 40000, 13));
  gap.cycles.erase(gap.cycles.begin() + 11);
  gap.fluorescence.erase(gap.fluorescence.begin() + 11);
  plate.reactions.push_back(gap);
  AnalysisOptions options;
  options.threshold = 5000;
  const PlateResult p = analyzePlate(plate, options);
  expectEveryMissingResultExplained(p);

  for (int i = 0; i < 4; ++i) EXPECT_TRUE(well(p, "A" + std::to_string(i)).flags.empty());
  const WellResult& n1 = well(p, "N1");
  EXPECT_TRUE(hasFlag(n1, "no-amplification"));
  EXPECT_TRUE(contains(note(n1, "no-amplification"), "no-template control"));
  EXPECT_TRUE(contains(note(n1, "no-ct"), "does not amplify"));
  EXPECT_FALSE(hasFlag(n1, "ntc-amplified"));
  const WellResult& n2 = well(p, "N2");
  EXPECT_TRUE(hasFlag(n2, "ntc-amplified"));
  EXPECT_TRUE(hasFlag(n2, "ct-late"));
  EXPECT_FALSE(hasFlag(n2, "no-amplification"));
  // The late riser amplifies, but stays below the threshold: the note says
  // so, and its sigmoid Ct rests on a curve still at its steepest.
  const WellResult& l1 = well(p, "L1");
  EXPECT_FALSE(hasFlag(l1, "no-amplification"));
  EXPECT_TRUE(contains(note(l1, "no-ct"), "below the threshold 5000 given with --threshold"))
      << note(l1, "no-ct");
  EXPECT_TRUE(std::isnan(l1.ctSigmoid) || hasFlag(l1, "sigmoid-implausible"));
  EXPECT_EQ(note(well(p, "G1"), "not-analyzed"),
            "Not analysed, so there is no Ct: cycle 12 is missing.");
}

TEST(Quality, ReplicateOutliersAndReplicatesThatDisagree) {
  // The Ct follows the midpoint one to one.
  Plate plate;
  int seed = 100;
  const auto add = [&](const std::string& sample, std::vector<double> mids) {
    for (std::size_t i = 0; i < mids.size(); ++i)
      plate.reactions.push_back(
          reaction(sample + std::to_string(i), sample, "unkn", curve(mids[i], 40000, seed++)));
  };
  add("tight", {24.0, 24.1, 24.05});
  add("outlier", {22.0, 22.05, 23.0});
  add("spread", {26.0, 26.7, 27.4});
  add("pair", {28.0, 29.5});
  const PlateResult p = analyzePlate(plate, {});
  for (const char* name : {"tight0", "tight1", "tight2", "outlier0", "outlier1"})
    EXPECT_TRUE(well(p, name).flags.empty()) << name << ": " << well(p, name).flags.front();
  EXPECT_TRUE(hasFlag(well(p, "outlier2"), "replicate-outlier"));
  EXPECT_TRUE(contains(note(well(p, "outlier2"), "replicate-outlier"), "of its 3 replicates"));
  for (const char* name : {"spread0", "spread1", "spread2", "pair0", "pair1"}) {
    EXPECT_TRUE(hasFlag(well(p, name), "replicates-disagree")) << name;
    EXPECT_FALSE(hasFlag(well(p, name), "replicate-outlier")) << name;
  }
  // The sigmoid Cq is judged the same way when it is the one chosen.
  AnalysisOptions sigmoid;
  sigmoid.cqMethod = CqMethod::sigmoid;
  const PlateResult q = analyzePlate(plate, sigmoid);
  EXPECT_TRUE(contains(note(well(q, "outlier2"), "replicate-outlier"), "sigmoid Cq"));
}

TEST(Quality, SigmoidFitsThatCannotBeTrusted) {
  Plate plate;
  for (int i = 0; i < 5; ++i)
    plate.reactions.push_back(reaction("A" + std::to_string(i), "s" + std::to_string(i), "unkn",
                                       curve(22 + i, 40000, i)));
  // Still rising at the end of the run: its logistic fit guesses the plateau.
  plate.reactions.push_back(reaction("E1", "end", "unkn", curve(39.5, 40000, 20)));
  const PlateResult p = analyzePlate(plate, {});
  const WellResult& e = well(p, "E1");
  ASSERT_TRUE(std::isfinite(e.ctSigmoid));
  EXPECT_TRUE(contains(note(e, "sigmoid-implausible"), "most steeply in its last two cycles"));
  for (int i = 0; i < 5; ++i)
    EXPECT_FALSE(hasFlag(well(p, "A" + std::to_string(i)), "sigmoid-implausible"));
}

TEST(Quality, MeltingProductsNoiseAndTheExpectedTm) {
  Plate plate;
  plate.reactions.push_back(melting("P1", "unkn", {82.0}, {1.0}, 1));
  plate.reactions.push_back(melting("P2", "unkn", {82.0, 75.0}, {1.0, 0.3}, 2));
  plate.reactions.push_back(melting("E1", "ntc", {}, {}, 3));
  plate.reactions.push_back(melting("E2", "unkn", {}, {}, 4));
  Reaction few = melting("F1", "unkn", {82.0}, {1.0}, 5);
  few.temperatures.resize(8);
  few.meltFluorescence.resize(8);
  plate.reactions.push_back(few);
  AnalysisOptions options;
  options.tmMin = 80.0;
  options.tmMax = 85.0;
  const PlateResult p = analyzePlate(plate, options);
  expectEveryMissingResultExplained(p);

  const WellResult& p1 = well(p, "P1");
  ASSERT_EQ(p1.melt.peaks.size(), 1u);
  EXPECT_FALSE(hasFlag(p1, "melt-tm-outside"));
  EXPECT_FALSE(hasFlag(p1, "melt-several-products"));
  const WellResult& p2 = well(p, "P2");
  ASSERT_EQ(p2.melt.peaks.size(), 2u);
  EXPECT_TRUE(hasFlag(p2, "melt-several-products"));
  EXPECT_TRUE(contains(note(p2, "melt-tm-outside"), "besides the expected product"));
  // Noise alone gives no peak, however the ripples fall.
  for (const char* name : {"E1", "E2"}) {
    const WellResult& w = well(p, name);
    EXPECT_TRUE(w.melt.analyzed);
    EXPECT_TRUE(w.melt.peaks.empty()) << name;
    EXPECT_TRUE(contains(note(w, "melt-no-peak"), "only noise")) << note(w, "melt-no-peak");
  }
  EXPECT_TRUE(contains(note(well(p, "E1"), "melt-no-peak"), "no-template control"));
  EXPECT_TRUE(contains(note(well(p, "F1"), "melt-unusable"), "too few melting readings"));

  // A window that misses the product; and no melting analysis at all.
  options.tmMin = 70.0;
  options.tmMax = 78.0;
  EXPECT_TRUE(
      contains(note(well(analyzePlate(plate, options), "P1"), "melt-tm-outside"), "main product"));
  options.melting = false;
  const PlateResult off = analyzePlate(plate, options);
  expectEveryMissingResultExplained(off);
  EXPECT_TRUE(hasFlag(well(off, "P1"), "melt-not-analyzed"));
}

TEST(Quality, MeltingReadingsInAnyOrderGiveTheSameTm) {
  const Reaction rising = melting("R", "unkn", {81.0}, {1.0}, 7);
  // Listed from hot to cold; shuffled after the settling start; with a
  // reading repeated at the same temperature.
  Reaction falling = rising, shuffled = rising, repeated = rising;
  falling.well = "F";
  std::reverse(falling.temperatures.begin(), falling.temperatures.end());
  std::reverse(falling.meltFluorescence.begin(), falling.meltFluorescence.end());
  shuffled.well = "S";
  for (std::size_t i = 5; i + 7 < shuffled.temperatures.size(); i += 7) {
    std::swap(shuffled.temperatures[i], shuffled.temperatures[i + 5]);
    std::swap(shuffled.meltFluorescence[i], shuffled.meltFluorescence[i + 5]);
  }
  repeated.well = "D";
  repeated.temperatures.insert(repeated.temperatures.begin() + 40, repeated.temperatures[39]);
  repeated.meltFluorescence.insert(repeated.meltFluorescence.begin() + 40,
                                   repeated.meltFluorescence[39] + 5);
  Plate plate;
  plate.reactions = {rising, falling, shuffled, repeated};
  const PlateResult p = analyzePlate(plate, {});
  const double tm = well(p, "R").melt.peaks.at(0).tm;
  EXPECT_NEAR(tm, 81.0, 0.3);
  for (const char* name : {"F", "S", "D"}) {
    const MeltResult& m = well(p, name).melt;
    ASSERT_TRUE(m.analyzed) << name << ": " << m.note;
    ASSERT_EQ(m.peaks.size(), 1u) << name;
    EXPECT_NEAR(m.peaks[0].tm, tm, 0.05) << name;
  }
  EXPECT_TRUE(contains(well(p, "F").melt.note, "read in reverse"));
  EXPECT_TRUE(contains(well(p, "S").melt.note, "put in order"));
  EXPECT_TRUE(contains(well(p, "D").melt.note, "averaged"));
}

// The real plates: from $CORVEL_DATA_DIR when set, else the shared folder.
std::filesystem::path dataDir() {
  const char* env = std::getenv("CORVEL_DATA_DIR");
  return env && *env ? std::filesystem::path(env) : std::filesystem::path(CORVEL_SOURCE_DATA_DIR);
}

PlateResult analyzeFile(const std::filesystem::path& path) {
  AnalysisOptions options;
  options.threads = 4;
  return analyzePlate(readPlate(path.string()), options);
}

TEST(QualityOnRealFiles, EveryMissingResultIsExplainedAndNoMeltingWellIsRefused) {
  std::vector<std::filesystem::path> files;
  if (std::filesystem::is_directory(dataDir()))
    for (const auto& entry : std::filesystem::directory_iterator(dataDir()))
      if (entry.path().extension() == ".rdml") files.push_back(entry.path());
  if (files.empty()) GTEST_SKIP() << "no real plates in " << dataDir();
  files.push_back(std::filesystem::path(CORVEL_EXAMPLE_DIR) / "example_plate.rdml");
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    SCOPED_TRACE(file.string());
    const PlateResult p = analyzeFile(file);
    expectEveryMissingResultExplained(p);
    for (const SkippedReaction& s : p.skipped) EXPECT_FALSE(s.reason.empty());
    for (const WellResult& w : p.wells) {
      // Every real melting run is usable once its readings are put in order.
      EXPECT_TRUE(!w.hasMelt() || w.melt.analyzed) << w.reaction.well << ": " << w.melt.note;
      // The instrument found a Cq: the curve amplifies clearly.
      EXPECT_FALSE(w.analyzed && w.reaction.instrumentCq && hasFlag(w, "no-amplification"))
          << w.reaction.well;
    }
  }
}

TEST(QualityOnRealFiles, TheMalformedPlateIsReportedWellByWell) {
  const auto path = dataDir() / "matrix_gaps.rdml";
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no " << path;
  const PlateResult p = analyzeFile(path);
  EXPECT_EQ(note(well(p, "M3"), "not-analyzed"),
            "Not analysed, so there is no Ct: cycle 8 is missing.");
  EXPECT_EQ(note(well(p, "O7"), "not-analyzed"),
            "Not analysed, so there is no Ct: no amplification readings.");
  // Flat wells, some with a sigmoid Ct fitted to noise, against wells that
  // only start to rise in the last cycles (the calibration of kClearRise).
  for (const char* flat : {"N6", "N8", "O6", "O8", "O11", "P10"})
    EXPECT_TRUE(hasFlag(well(p, flat), "no-amplification")) << flat;
  for (const char* late : {"N1", "P2", "P3", "O9"}) {
    EXPECT_FALSE(hasFlag(well(p, late), "no-amplification")) << late;
    EXPECT_TRUE(hasFlag(well(p, late), "ct-late")) << late;
  }
}

TEST(QualityOnRealFiles, ExamplePlateControlsAndDimers) {
  const PlateResult p =
      analyzeFile(std::filesystem::path(CORVEL_EXAMPLE_DIR) / "example_plate.rdml");
  // The empty controls: no amplification and no melting peak; the two
  // that amplify a primer dimer are told apart by both.
  for (const char* name : {"B7", "B9", "B10", "B11", "B12", "D7", "D8", "D9", "D10", "D12"}) {
    const WellResult& w = well(p, name);
    EXPECT_TRUE(hasFlag(w, "no-amplification")) << name;
    EXPECT_TRUE(w.melt.peaks.empty()) << name;
    EXPECT_TRUE(hasFlag(w, "melt-no-peak")) << name;
  }
  for (const auto& [name, tm] : {std::pair<const char*, double>{"B8", 73.8}, {"D11", 74.6}}) {
    const WellResult& w = well(p, name);
    EXPECT_TRUE(hasFlag(w, "ntc-amplified")) << name;
    ASSERT_FALSE(w.melt.peaks.empty()) << name;
    EXPECT_NEAR(w.melt.peaks[0].tm, tm, 0.5) << name;
  }
  // The 10-copy IL6 standards carry a small dimer peak beside the product.
  for (const char* name : {"B4", "B5", "B6"})
    EXPECT_TRUE(hasFlag(well(p, name), "melt-several-products")) << name;
}

}  // namespace
}  // namespace corvel::tool

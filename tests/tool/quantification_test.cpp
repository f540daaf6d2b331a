// Standard curves with the efficiency's confidence interval, the Cq method
// switch, and relative quantities by delta-delta Ct and by Pfaffl's
// efficiency-corrected ratio: on points and plates with known answers, and
// on the example plate and a real plate.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "analysis.h"
#include "synthetic.h"

namespace corvel::tool {

namespace {

namespace fs = std::filesystem;

const double kInf = std::numeric_limits<double>::infinity();
const double kPi = std::acos(-1.0);

// ---------------------------------------------------------------------------
// Student t quantiles

TEST(StudentT, KnownQuantiles) {
  // Published table values; odd and even degrees of freedom take different
  // series, beyond 1000 an expansion, at infinity the normal quantile.
  const struct {
    double p, df, t;
  } table[] = {{0.975, 1, 12.7062047},  {0.975, 2, 4.3026527},  {0.975, 3, 3.1824463},
               {0.975, 10, 2.2281389},  {0.975, 30, 2.0422725}, {0.975, 1000, 1.9623391},
               {0.975, kInf, 1.959964}, {0.995, 5, 4.0321430},  {0.9, 7, 1.4149239}};
  for (const auto& row : table)
    EXPECT_NEAR(studentTQuantile(row.p, row.df), row.t, 1e-6) << row.p << " " << row.df;

  // Closed forms for one and two degrees of freedom, at any probability.
  for (double p : {0.51, 0.8, 0.999}) {
    EXPECT_NEAR(studentTQuantile(p, 1), std::tan(kPi * (p - 0.5)), 1e-9 * (1 + p)) << p;
    EXPECT_NEAR(studentTQuantile(p, 2), (2 * p - 1) / std::sqrt(2 * p * (1 - p)), 1e-10) << p;
  }
  EXPECT_DOUBLE_EQ(studentTQuantile(0.025, 7), -studentTQuantile(0.975, 7));
  EXPECT_EQ(studentTQuantile(0.5, 7), 0.0);
  // The series and the expansion meet without a step.
  EXPECT_NEAR(studentTQuantile(0.975, 1000) - studentTQuantile(0.975, 1001), 2.38e-6, 0.05e-6);

  for (double p : {0.0, 1.0, 1.5, std::nan("")})
    EXPECT_TRUE(std::isnan(studentTQuantile(p, 5))) << p;
  for (double df : {0.0, -3.0, 2.5, std::nan("")})
    EXPECT_TRUE(std::isnan(studentTQuantile(0.975, df))) << df;
}

// ---------------------------------------------------------------------------
// Results built by hand: wells with given Cts, as the amplification step
// leaves them, so that the quantification can be checked exactly.

struct Builder {
  PlateResult result;

  // A group per (run, target) in order of first appearance.
  std::size_t group(const std::string& target) {
    for (std::size_t g = 0; g < result.groups.size(); ++g)
      if (result.groups[g].target == target) return g;
    AmplificationGroup g;
    g.run = "run";
    g.target = target;
    g.cycles = 40;
    result.groups.push_back(g);
    return result.groups.size() - 1;
  }

  WellResult& add(const std::string& target, const std::string& sample, double ctLinear,
                  double ctSigmoid, std::optional<double> quantity = std::nullopt) {
    WellResult w;
    w.reaction.run = "run";
    w.reaction.well = "W" + std::to_string(result.wells.size() + 1);
    w.reaction.target = target;
    w.reaction.sample = sample;
    w.reaction.sampleType = quantity ? "std" : "unkn";
    w.reaction.quantity = quantity;
    w.reaction.quantityUnit = "cop";
    for (int c = 1; c <= 40; ++c) w.reaction.cycles.push_back(c);
    w.analyzed = true;
    w.ctLinear = ctLinear;
    w.ctSigmoid = ctSigmoid;
    w.group = group(target);
    result.groups[w.group].wells.push_back(result.wells.size());
    result.wells.push_back(w);
    return result.wells.back();
  }

  // A standard with the same Ct by both methods.
  WellResult& standard(const std::string& target, double quantity, double ct) {
    return add(target, "std " + std::to_string(quantity), ct, ct, quantity);
  }
};

const StandardCurve& curveOf(const PlateResult& r, const std::string& target) {
  for (const StandardCurve& s : r.standards)
    if (s.target == target) return s;
  throw std::runtime_error("no standard curve for " + target);
}

const RelativeQuantity& rqOf(const PlateResult& r, const std::string& target,
                             const std::string& sample) {
  for (const RelativeQuantity& q : r.quantities)
    if (q.target == target && q.sample == sample) return q;
  throw std::runtime_error("no relative quantity for " + target + " in " + sample);
}

double efficiency(double slope) {
  return std::pow(10.0, -1.0 / slope) - 1.0;
}

// Residuals chosen orthogonal to 1 and x keep the least-squares line at
// slope -3.3, intercept 30; the slope's standard error is then
// sqrt(SSE / (n - 2) / Sxx) = sqrt(0.04 / 3 / 10), and the interval's ends
// use t(0.975, 3) = 3.182446305.
TEST(StandardCurve, SlopeErrorAndEfficiencyIntervalOfKnownPoints) {
  Builder b;
  const double residual[] = {0.1, -0.1, 0.0, -0.1, 0.1};
  for (int i = 0; i < 5; ++i) b.standard("T", std::pow(10.0, i), 30 - 3.3 * i + residual[i]);
  analyzeStandardCurves(b.result);
  const StandardCurve& s = curveOf(b.result, "T");
  EXPECT_NEAR(s.slope, -3.3, 1e-12);
  EXPECT_NEAR(s.intercept, 30, 1e-12);
  const double se = std::sqrt(0.04 / 3 / 10);
  EXPECT_NEAR(s.slopeSe, se, 1e-12);
  const double half = 3.182446305 * se;
  EXPECT_NEAR(s.efficiency, efficiency(-3.3), 1e-12);
  EXPECT_NEAR(s.efficiencyLow, efficiency(-3.3 - half), 1e-8);
  EXPECT_NEAR(s.efficiencyHigh, efficiency(-3.3 + half), 1e-8);
  EXPECT_LT(s.efficiencyLow, s.efficiency);
  EXPECT_GT(s.efficiencyHigh, s.efficiency);
  EXPECT_EQ(s.log10QuantityMin, 0.0);
  EXPECT_EQ(s.log10QuantityMax, 4.0);
  EXPECT_TRUE(s.note.empty()) << s.note;

  // Points on the line exactly: no error, the interval closes on E.
  Builder exact;
  for (int i = 0; i < 4; ++i) exact.standard("T", std::pow(10.0, i), 32 - 3.5 * i);
  analyzeStandardCurves(exact.result);
  const StandardCurve& e = curveOf(exact.result, "T");
  EXPECT_NEAR(e.slopeSe, 0.0, 1e-12);
  EXPECT_NEAR(e.efficiencyLow, e.efficiency, 1e-9);
  EXPECT_NEAR(e.efficiencyHigh, e.efficiency, 1e-9);

  // Two points: a line, but no interval, and the note says why.
  Builder two;
  two.standard("T", 10, 30);
  two.standard("T", 1000, 23);
  analyzeStandardCurves(two.result);
  const StandardCurve& t = curveOf(two.result, "T");
  EXPECT_NEAR(t.slope, -3.5, 1e-12);
  EXPECT_TRUE(std::isnan(t.slopeSe));
  EXPECT_TRUE(std::isnan(t.efficiencyLow));
  EXPECT_NE(t.note.find("no degrees of freedom"), std::string::npos) << t.note;

  // A slope so uncertain that its interval reaches 0 has no upper bound.
  Builder loose;
  const double scattered[] = {30, 26, 34, 22};
  for (int i = 0; i < 4; ++i) loose.standard("T", std::pow(10.0, i % 2 ? 2 : 1), scattered[i]);
  analyzeStandardCurves(loose.result);
  const StandardCurve& l = curveOf(loose.result, "T");
  ASSERT_LT(l.slope, 0);
  EXPECT_TRUE(std::isfinite(l.efficiencyLow));
  EXPECT_TRUE(std::isnan(l.efficiencyHigh));
  EXPECT_NE(l.note.find("no upper bound"), std::string::npos) << l.note;
}

// The lowest dilution levels where not every replicate gives a Ct are left
// out (down to two levels), a failed replicate higher up is not; a sigmoid
// Ct past the last cycle is no measurement.
TEST(StandardCurve, LinearRangeLeavesOutIncompleteLowLevels) {
  Builder b;
  for (int level = 2; level <= 6; ++level)
    for (int rep = 0; rep < 3; ++rep) {
      double ct = 40 - 3.4 * level + 0.05 * (rep - 1);
      if (level == 2 && rep == 1) ct = kNaN;  // the 100-copy level: one replicate lost
      if (level == 5 && rep == 2) ct = kNaN;  // one failed well among high copies
      b.standard("T", std::pow(10.0, level), ct);
    }
  analyzeStandardCurves(b.result);
  const StandardCurve& s = curveOf(b.result, "T");
  EXPECT_EQ(s.ct.size(), 11u);  // 4 full levels minus the failed well
  EXPECT_EQ(s.log10QuantityMin, 3.0);
  EXPECT_EQ(s.log10QuantityMax, 6.0);
  EXPECT_NEAR(s.slope, -3.4, 0.01);
  EXPECT_NE(s.note.find("the 100 cop level (1 of 3 replicates without a linear Ct"),
            std::string::npos)
      << s.note;
  EXPECT_EQ(s.note.find("100000 cop"), std::string::npos) << s.note;

  // Incomplete levels are kept when dropping them would leave one level.
  Builder few;
  few.standard("T", 10, 33);
  few.standard("T", 10, kNaN);
  few.standard("T", 100, 29.6);
  analyzeStandardCurves(few.result);
  EXPECT_EQ(curveOf(few.result, "T").ct.size(), 2u);
  EXPECT_TRUE(std::isfinite(curveOf(few.result, "T").slope));

  // Without two levels with Cts there is nothing to trim, only no curve.
  Builder none;
  for (int level = 1; level <= 3; ++level) none.standard("T", std::pow(10.0, level), kNaN);
  none.standard("T", 1e4, 25);
  analyzeStandardCurves(none.result);
  const StandardCurve& n = curveOf(none.result, "T");
  EXPECT_TRUE(std::isnan(n.slope));
  EXPECT_EQ(n.note,
            "a standard curve needs standards of at least two quantities with a linear Ct; 1 "
            "found");

  // The sigmoid Ct of a truncated curve can lie past the last cycle.
  Builder late;
  late.result.options.cqMethod = CqMethod::sigmoid;
  for (int level = 1; level <= 4; ++level)
    for (int rep = 0; rep < 2; ++rep) late.standard("T", std::pow(10.0, level), 40 - 3.3 * level);
  late.result.wells[0].ctSigmoid = 41.5;  // 10 copies, the first replicate
  late.result.wells[6].ctSigmoid = 41.0;  // 10^4 copies: kept level, point left out
  analyzeStandardCurves(late.result);
  const StandardCurve& l = curveOf(late.result, "T");
  EXPECT_EQ(l.ct.size(), 5u);
  EXPECT_EQ(l.log10QuantityMin, 2.0);
  EXPECT_NE(l.note.find("the sigmoid Ct of W7 lies outside the cycles read"), std::string::npos)
      << l.note;
  EXPECT_NE(l.note.find("10 cop level (1 of 2 replicates without a sigmoid Ct within the run: W1)"),
            std::string::npos)
      << l.note;

  // Standards without a positive quantity are named.
  Builder bad;
  for (int level = 1; level <= 3; ++level)
    bad.standard("T", std::pow(10.0, level), 40 - 3.3 * level);
  bad.standard("T", 0, 25);
  analyzeStandardCurves(bad.result);
  EXPECT_EQ(curveOf(bad.result, "T").ct.size(), 3u);
  EXPECT_NE(curveOf(bad.result, "T").note.find("W4 without a positive quantity"),
            std::string::npos);
}

// The standard curves, the quantities read off them and the relative
// quantities follow the chosen Cq; the other Ct stays as it was.
TEST(CqMethod, ChoosesTheCtOfCurvesQuantitiesAndRatios) {
  Builder b;
  for (int level = 2; level <= 5; ++level) {
    const double ct = 40 - 3.3 * level;
    for (int rep = 0; rep < 2; ++rep)
      b.add("T", "std", ct, ct + 1 - 0.2 * (level - 2), std::pow(10.0, level));  // slope -3.5
  }
  b.add("T", "u", 30.1, 29.0);
  b.add("R", "u", 20, 20);
  b.add("T", "c", 30.1, 30.5);
  b.add("R", "c", 20, 20);
  b.result.options.referenceGenes = {"R"};
  b.result.options.calibrator = "c";

  PlateResult linear = b.result, sigmoid = b.result;
  sigmoid.options.cqMethod = CqMethod::sigmoid;
  for (PlateResult* r : {&linear, &sigmoid}) {
    analyzeStandardCurves(*r);
    analyzeRelativeQuantities(*r);
  }
  EXPECT_NEAR(curveOf(linear, "T").slope, -3.3, 1e-9);
  EXPECT_NEAR(curveOf(sigmoid, "T").slope, -3.5, 1e-9);
  const WellResult& unknown = linear.wells[8];
  EXPECT_NEAR(std::log10(unknown.quantity), (30.1 - 40) / -3.3, 1e-9);
  EXPECT_NEAR(std::log10(sigmoid.wells[8].quantity),
              (29.0 - curveOf(sigmoid, "T").intercept) / -3.5, 1e-9);
  EXPECT_EQ(sigmoid.wells[8].ctLinear, 30.1);
  EXPECT_NEAR(rqOf(linear, "T", "u").rq, 1.0, 1e-12);
  EXPECT_NEAR(rqOf(sigmoid, "T", "u").rq, std::pow(2.0, 1.5), 1e-12);
}

// Known efficiencies, exact Cts: target 90 %, reference 95 %. "treated"
// holds five times as much target per reference as "control"; it was loaded
// at 0.8 of the control's amount, which scales both genes.
PlateResult knownEfficiencies(RqMethod method) {
  Builder b;
  const double ft = 1.9, fr = 1.95;
  const auto ct = [](double start, double factor, double copies) {
    return start - std::log(copies) / std::log(factor);
  };
  for (int level = 2; level <= 6; ++level)
    for (int rep = 0; rep < 2; ++rep) {
      const double q = std::pow(10.0, level);
      const double jitter = rep ? 0.04 : -0.04;
      b.standard("T", q, ct(45, ft, q) + jitter);
      b.standard("R", q, ct(44, fr, q) - jitter);
    }
  const double spread[] = {-0.1, 0.0, 0.1};
  for (double s : spread) {
    b.add("T", "control", ct(45, ft, 2000) + s, kNaN);
    b.add("R", "control", ct(44, fr, 50000) - s, kNaN);
    b.add("T", "treated", ct(45, ft, 0.8 * 5 * 2000) + s, kNaN);
    b.add("R", "treated", ct(44, fr, 0.8 * 50000) + s, kNaN);
  }
  b.result.options.referenceGenes = {"R"};
  b.result.options.calibrator = "control";
  b.result.options.rqMethod = method;
  analyzeStandardCurves(b.result);
  analyzeRelativeQuantities(b.result);
  return b.result;
}

TEST(Pfaffl, MeasuredEfficienciesGiveTheTrueRatio) {
  const PlateResult p = knownEfficiencies(RqMethod::pfaffl);
  EXPECT_NEAR(curveOf(p, "T").efficiency, 0.90, 1e-9);
  EXPECT_NEAR(curveOf(p, "R").efficiency, 0.95, 1e-9);
  const RelativeQuantity& q = rqOf(p, "T", "treated");
  EXPECT_EQ(q.method, RqMethod::pfaffl);
  EXPECT_NEAR(q.targetFactor, 1.90, 1e-9);
  EXPECT_NEAR(q.referenceFactor, 1.95, 1e-9);
  EXPECT_NEAR(q.rq, 5.0, 1e-9);
  EXPECT_TRUE(q.note.empty()) << q.note;
  EXPECT_LT(q.lower, q.rq);
  EXPECT_GT(q.upper, q.rq);
  // The bars are a factor around the ratio.
  EXPECT_NEAR(q.rq / q.lower, q.upper / q.rq, 1e-9);
  EXPECT_NEAR(rqOf(p, "T", "control").rq, 1.0, 1e-12);
  // The Ct differences are still reported, in cycles.
  EXPECT_TRUE(std::isfinite(q.deltaDeltaCt));
  EXPECT_TRUE(p.warnings.empty());

  // Delta-delta Ct assumes doubling and misses the true ratio.
  const PlateResult d = knownEfficiencies(RqMethod::deltaDeltaCt);
  const RelativeQuantity& dq = rqOf(d, "T", "treated");
  EXPECT_EQ(dq.method, RqMethod::deltaDeltaCt);
  EXPECT_EQ(dq.targetFactor, 2.0);
  EXPECT_EQ(dq.referenceFactor, 2.0);
  EXPECT_NEAR(dq.rq, std::pow(2.0, -dq.deltaDeltaCt), 1e-12);
  EXPECT_GT(std::fabs(dq.rq - 5.0), 0.3);
  EXPECT_EQ(dq.deltaDeltaCt, q.deltaDeltaCt);
}

// With factors of 2 Pfaffl's ratio is 2^-ddCt, and its bars are the Ct
// bars: the quantity-mode factor 10^(t SE(log10 q)) is 2^(t SE(Ct)) when
// log10 q = -Ct log10 2. Two reference genes, whose quantities are pooled
// by their geometric mean as the Cts are by their mean.
TEST(Pfaffl, WithFactorsOfTwoReproducesDeltaDeltaCt) {
  Builder b;
  int n = 0;
  const auto wells = [&](const std::string& target, const std::string& sample, double ct) {
    for (double s : {-0.12, 0.03, 0.1}) b.add(target, sample, ct + s + 0.01 * (n++ % 3), kNaN);
  };
  wells("T", "control", 28);
  wells("A", "control", 20);
  wells("B", "control", 23);
  wells("T", "treated", 26.2);
  wells("A", "treated", 20.4);
  wells("B", "treated", 22.1);  // the two references disagree
  b.result.options.referenceGenes = {"A", "B"};
  b.result.options.calibrator = "control";
  for (int bar = 1; bar <= 2; ++bar) {
    PlateResult d = b.result, p = b.result;
    d.options.errorBar = p.options.errorBar = bar;
    p.options.rqMethod = RqMethod::pfaffl;
    analyzeRelativeQuantities(d);
    analyzeRelativeQuantities(p);
    const RelativeQuantity &dq = rqOf(d, "T", "treated"), &pq = rqOf(p, "T", "treated");
    EXPECT_NEAR(pq.rq, dq.rq, 1e-12 * dq.rq) << bar;
    EXPECT_NEAR(pq.lower, dq.lower, 1e-12 * dq.rq) << bar;
    EXPECT_NEAR(pq.upper, dq.upper, 1e-12 * dq.rq) << bar;
    EXPECT_EQ(pq.targetFactor, 2.0);
    EXPECT_EQ(pq.referenceFactor, 2.0);
    // No curves: the factor is assumed, and both the row and the plate say so.
    EXPECT_NE(pq.note.find("no standard curve in this run for T, A and B"), std::string::npos)
        << pq.note;
    EXPECT_EQ(p.warnings.size(), 3u);
    EXPECT_TRUE(dq.note.empty()) << dq.note;
  }
}

// A reference without a standard curve, or with one that rises, falls back
// to 2 while the target keeps its measured factor.
TEST(Pfaffl, FallsBackToTwoPerGene) {
  Builder b;
  for (int level = 2; level <= 5; ++level) {
    b.standard("T", std::pow(10.0, level), 40 - 3.6 * level);
    b.standard("R", std::pow(10.0, level), 20 + 0.5 * level);  // quantities mixed up
  }
  for (const char* s : {"c", "u"})
    for (double d : {0.0, 0.1}) {
      b.add("T", s, 28 + d, kNaN);
      b.add("R", s, 20 - d, kNaN);
      b.add("S", s, 22 - d, kNaN);
    }
  b.result.options.referenceGenes = {"R", "S"};
  b.result.options.calibrator = "c";
  b.result.options.rqMethod = RqMethod::pfaffl;
  analyzeStandardCurves(b.result);
  analyzeRelativeQuantities(b.result);
  const RelativeQuantity& q = rqOf(b.result, "T", "u");
  EXPECT_NEAR(q.targetFactor, std::pow(10.0, 1 / 3.6), 1e-9);
  EXPECT_EQ(q.referenceFactor, 2.0);
  EXPECT_EQ(q.note,
            "no standard curve in this run for S; no usable standard-curve slope for R: an "
            "amplification factor of 2 (efficiency 100 %) is assumed for them");
  EXPECT_TRUE(std::isnan(b.result.wells[1].quantity)) << "nothing is read off a rising line";
  ASSERT_EQ(b.result.warnings.size(), 2u);
  EXPECT_NE(b.result.warnings[0].find("S in run run has no measured efficiency (no standard"),
            std::string::npos)
      << b.result.warnings[0];
  EXPECT_NE(b.result.warnings[1].find("R in run run has no measured efficiency (its standard"),
            std::string::npos)
      << b.result.warnings[1];
}

// ---------------------------------------------------------------------------
// Whole plates.

// Target at 80 % efficiency, reference at 100 %: a ten-fold dilution delays
// them by 1/log10(1.8) and 1/log10(2) cycles. The target is ten times as
// abundant in "treated" as in "control", the reference equal.
TEST(Pfaffl, PlateWithKnownEfficiencies) {
  Plate plate;
  const double stepT = 1 / std::log10(1.8), stepR = 1 / std::log10(2.0);
  std::uint64_t seed = 1;
  for (int level = 0; level < 4; ++level)
    for (int rep = 0; rep < 3; ++rep) {
      const double q = std::pow(10.0, 6 - level);
      for (const auto& [target, step] :
           {std::pair<std::string, double>{"T", stepT}, {"R", stepR}}) {
        Reaction r =
            amplification(target + std::to_string(seed), target, "std", 14 + step * level, seed);
        ++seed;
        r.sampleType = "std";
        r.quantity = q;
        plate.reactions.push_back(r);
      }
    }
  for (int rep = 0; rep < 3; ++rep) {
    // control: target 10^4 copies, reference 10^5; treated: target 10^5.
    plate.reactions.push_back(
        amplification("tc" + std::to_string(rep), "T", "control", 14 + 2 * stepT, 100 + rep));
    plate.reactions.push_back(
        amplification("tt" + std::to_string(rep), "T", "treated", 14 + 1 * stepT, 200 + rep));
    plate.reactions.push_back(
        amplification("rc" + std::to_string(rep), "R", "control", 14 + stepR, 300 + rep));
    plate.reactions.push_back(
        amplification("rt" + std::to_string(rep), "R", "treated", 14 + stepR, 400 + rep));
  }
  AnalysisOptions options;
  options.referenceGenes = {"R"};
  options.calibrator = "control";
  options.melting = false;
  options.scale = 1.0;  // the curves are in raw instrument units
  options.rqMethod = RqMethod::pfaffl;
  const PlateResult p = analyzePlate(plate, options);
  // The automatic baseline window moves the levels' Cts by a few
  // hundredths of a cycle, more than the curves' noise: the efficiencies
  // are close, not within their (narrow) intervals.
  const StandardCurve& t = curveOf(p, "T");
  const StandardCurve& r = curveOf(p, "R");
  EXPECT_NEAR(t.efficiency, 0.80, 0.02);
  EXPECT_NEAR(r.efficiency, 1.00, 0.03);
  const RelativeQuantity& q = rqOf(p, "T", "treated");
  EXPECT_NEAR(q.targetFactor, 1 + t.efficiency, 1e-12);
  EXPECT_NEAR(q.referenceFactor, 1 + r.efficiency, 1e-12);
  EXPECT_NEAR(q.rq, 10.0, 0.5);
  // Delta-delta Ct takes the target's 3.9 cycles as 2^3.9, about 15.
  options.rqMethod = RqMethod::deltaDeltaCt;
  const PlateResult byDdCt = analyzePlate(plate, options);
  const RelativeQuantity& d = rqOf(byDdCt, "T", "treated");
  EXPECT_NEAR(d.rq, std::pow(2.0, stepT), 1.0);
}

fs::path dataFile(const std::string& name) {
  const char* env = std::getenv("CORVEL_DATA_DIR");
  return fs::path(env && *env ? env : CORVEL_SOURCE_DATA_DIR) / name;
}

// The simulated plate's targets amplify at 95 % (IL6) and 91 % (TNF).
TEST(QuantifiedPlates, ExamplePlateIntervalsHoldTheSimulatedEfficiencies) {
  const fs::path path = fs::path(CORVEL_EXAMPLE_DIR) / "example_plate.rdml";
  if (!fs::exists(path)) GTEST_SKIP() << path << " not found";
  AnalysisOptions options;
  options.melting = false;
  options.referenceGenes = {"GAPDH", "ACTB"};
  options.calibrator = "control";
  options.rqMethod = RqMethod::pfaffl;
  const PlateResult p = analyzePlate(readPlate(path.string()), options);
  ASSERT_EQ(p.standards.size(), 2u);
  for (const auto& [target, truth] : {std::pair<std::string, double>{"IL6", 0.95}, {"TNF", 0.91}}) {
    const StandardCurve& s = curveOf(p, target);
    EXPECT_EQ(s.ct.size(), 18u) << target;
    EXPECT_LT(s.efficiencyLow, truth) << target;
    EXPECT_GT(s.efficiencyHigh, truth) << target;
    EXPECT_LT(s.efficiencyHigh - s.efficiencyLow, 0.15) << target;
    EXPECT_GT(s.rSquared, 0.99) << target;
    EXPECT_EQ(s.log10QuantityMin, 1.0);
    EXPECT_EQ(s.log10QuantityMax, 6.0);
    const RelativeQuantity& q = rqOf(p, target, "treated 1");
    EXPECT_NEAR(q.targetFactor, 1 + s.efficiency, 1e-12);
    EXPECT_EQ(q.referenceFactor, 2.0);  // no standards for the references
  }
}

TEST(QuantifiedPlates, QuantificationMethodsCurves) {
  const fs::path path = dataFile("quantification_methods.rdml");
  if (!fs::exists(path)) GTEST_SKIP() << path << " not found (set CORVEL_DATA_DIR)";
  const Plate plate = readPlate(path.string());
  for (CqMethod method : {CqMethod::linear, CqMethod::sigmoid}) {
    AnalysisOptions options;
    options.melting = false;
    options.cqMethod = method;
    const PlateResult p = analyzePlate(plate, options);
    ASSERT_EQ(p.standards.size(), 20u);
    for (const StandardCurve& s : p.standards) {
      // Three levels (26, 75 and 260 copies) in triplicate, all kept.
      EXPECT_EQ(s.ct.size(), 9u) << s.target;
      EXPECT_NEAR(s.log10QuantityMin, std::log10(26.0), 1e-12) << s.target;
      EXPECT_NEAR(s.log10QuantityMax, std::log10(260.0), 1e-12) << s.target;
      EXPECT_GT(s.slopeSe, 0) << s.target;
      EXPECT_LT(s.efficiencyLow, s.efficiency) << s.target;
      EXPECT_GT(s.efficiencyHigh, s.efficiency) << s.target;
      EXPECT_TRUE(s.note.empty()) << s.target << ": " << s.note;
    }
  }
}

}  // namespace
}  // namespace corvel::tool

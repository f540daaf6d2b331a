// The single-curve core: central differences, baseline correction and
// conditioning, the threshold crossing and the per-well linear step.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <vector>

#include "CorvelAlg.h"
#include "amplification/curve_correction.h"
#include "amplification/threshold_crossing.h"
#include "amplification/well_linear.h"
#include "core/messages.h"
#include "core/vector.h"
#include "signal/derivative.h"
#include "signal/smoothing.h"
#include "support/expect.h"
#include "support/fault_injection.h"

namespace corvel {
namespace {

using test::elements;
using test::throwsWith;
using test::vec;

WellCurveInfo blankRecord() {
  WellCurveInfo info;
  std::memset(&info, 0, sizeof info);
  return info;
}

bool sameRecord(const WellCurveInfo& a, const WellCurveInfo& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// A sigmoid amplification curve: baseline near `base`, plateau `base + top`,
// midpoint at cycle `mid`, with a slight upward baseline drift.
AlgVector amplification(std::size_t cycles, double base, double top, double mid) {
  AlgVector v(cycles);
  for (std::size_t i = 0; i < cycles; ++i) {
    const double c = static_cast<double>(i + 1);
    v[i] = base + 2.0 * c + top / (1.0 + std::exp(-(c - mid) / 1.5));
  }
  return v;
}

TEST(CentralDerivative, CopiesTheEndValuesFromTheirNeighbours) {
  AlgVector y = vec({1, 4, 9, 16, 25});
  centralDerivative(y);
  EXPECT_EQ(elements(y), (std::vector<double>{4, 4, 6, 8, 8}));
  AlgVector two = vec({3, 7});
  centralDerivative(two);
  EXPECT_EQ(elements(two), (std::vector<double>{0, 0}));
}

TEST(CorrectCurve, ConstantCurveBecomesTheExponentialBaselineAndAFlatOne) {
  for (const double level : {500.0, 200.0}) {
    WellCurveInfo info = blankRecord();
    AlgVector curve(12, level);
    correctCurve(info, curve);
    EXPECT_EQ(info.baselineStart, 3);
    EXPECT_EQ(info.baselineEnd, 8);
    EXPECT_EQ(info.baselineSlope, 0.0);
    EXPECT_EQ(info.baselineNoise, 0.0);
    EXPECT_EQ(info.noRise, 1);
    EXPECT_EQ(info.lowSignal, level < 300.0 ? 1 : 0);
    EXPECT_EQ(info.maxValue, level);
    EXPECT_EQ(info.cycle3Value, level);
    for (std::size_t i = 0; i < 9; ++i) {
      EXPECT_NEAR(curve[i], std::exp((static_cast<double>(i) - 9.0) * 0.69314), 1e-15) << i;
    }
    for (std::size_t i = 9; i < 12; ++i) EXPECT_EQ(curve[i], 1.0) << i;
    double ratio = -1.0;
    EXPECT_TRUE(std::isnan(thresholdCrossing(curve, 1.0, ratio)));
    EXPECT_EQ(ratio, 0.0);
  }
}

TEST(CorrectCurve, AutomaticWindowIsKeptAndReused) {
  const AlgVector raw = amplification(40, 1000.0, 8000.0, 24.0);
  WellCurveInfo info = blankRecord();
  AlgVector first = raw;
  correctCurve(info, first);
  EXPECT_EQ(info.baselineStart, 3);
  EXPECT_GE(info.baselineEnd, 8);
  EXPECT_LT(info.baselineEnd, 24);
  EXPECT_GT(info.baselineSlope, 0.0);  // the drift of 2 per cycle
  EXPECT_EQ(info.lowSignal, 0);
  EXPECT_EQ(info.noRise, 0);

  // The record now holds a caller-given window: a second call uses it.
  WellCurveInfo again = info;
  AlgVector second = raw;
  correctCurve(again, second);
  EXPECT_TRUE(sameRecord(info, again));
  EXPECT_EQ(elements(first), elements(second));

  // Held from the first maximum on, floored after the baseline end.
  const std::size_t peak =
      static_cast<std::size_t>(std::max_element(first.begin(), first.end()) - first.begin());
  for (std::size_t i = peak; i < first.size(); ++i) EXPECT_EQ(first[i], first[peak]);
  for (std::size_t i = static_cast<std::size_t>(info.baselineEnd) + 1; i < first.size(); ++i) {
    EXPECT_GE(first[i], 0.01);
  }
  // The exponential baseline doubles (by 0.69314) every cycle up to the end.
  for (int i = 1; i <= info.baselineEnd; ++i) {
    EXPECT_NEAR(first[i] / first[i - 1], std::exp(0.69314), 1e-12) << i;
  }
}

TEST(CorrectCurve, LateDipMovesTheBaselineEndToTheMinimum) {
  // Falls to its minimum at index 12, below the mean before it, then rises.
  AlgVector raw = amplification(30, 1000.0, 6000.0, 20.0);
  for (std::size_t i = 0; i < 13; ++i) raw[i] = 1400.0 - 30.0 * static_cast<double>(i);
  WellCurveInfo info = blankRecord();
  AlgVector curve = raw;
  correctCurve(info, curve);
  EXPECT_EQ(info.baselineEnd, 12);

  // A minimum at the last value: the end moves one before it.
  AlgVector falling(14);
  for (std::size_t i = 0; i < 14; ++i) falling[i] = 5000.0 - 100.0 * static_cast<double>(i);
  WellCurveInfo last = blankRecord();
  correctCurve(last, falling);
  EXPECT_EQ(last.baselineEnd, 12);
}

TEST(CorrectCurve, RefusesCurvesAndWindowsItCannotAnalyse) {
  const AlgVector raw = amplification(20, 1000.0, 8000.0, 14.0);
  struct Case {
    std::size_t cycles;
    std::int16_t start, end;
    bool rangeError;
  };
  const Case cases[] = {
      {8, 0, 0, false},    // too short: nothing is touched
      {9, 0, 0, false},    // automatic end 8: the anchor index 9 is past the curve
      {20, 3, 19, false},  // caller's end is the last value: same
      {20, 3, 20, false},  // window past the curve
      {20, 12, 9, true},   // start after end
      {20, -4, 9, true},   // negative start wraps to a huge index
  };
  for (const Case& c : cases) {
    WellCurveInfo info = blankRecord();
    info.baselineStart = c.start;
    info.baselineEnd = c.end;
    info.stepRise = -7.0;
    AlgVector curve = raw.slice(0, c.cycles);
    const AlgVector before = curve;
    const auto call = [&] { correctCurve(info, curve); };
    if (c.rangeError) {
      EXPECT_TRUE(throwsWith<std::range_error>(call, msg::kSliceBeginAfterEnd)) << c.start;
    } else {
      EXPECT_TRUE(throwsWith<std::out_of_range>(call, msg::kSliceEndOutOfRange)) << c.cycles;
    }
    EXPECT_EQ(elements(curve), elements(before));
    EXPECT_EQ(info.stepRise, -7.0);  // nothing after the window is written
    if (c.cycles < kMinCycles) {
      EXPECT_EQ(info.steepestIndex, 0.0);
      EXPECT_EQ(info.baselineStart, 0);
    } else {
      EXPECT_EQ(info.baselineStart, c.start == 0 ? 3 : c.start);
    }
  }
}

TEST(CorrectCurve, ExhaustedMemoryLeavesTheCurveUnchanged) {
  const AlgVector raw = amplification(40, 1000.0, 8000.0, 24.0);
  AlgVector curve = raw;
  WellCurveInfo info = blankRecord();
  EXPECT_TRUE(test::failEachAllocationInTurn([&] { correctAndFilterCurve(info, curve); },
                                             [&] { EXPECT_EQ(elements(curve), elements(raw)); },
                                             200));
}

TEST(ThresholdCrossing, BracketsInterpolatesAndExtrapolates) {
  double ratio = -1.0;
  EXPECT_EQ(thresholdCrossing(vec({1, 2, 4, 8, 16}), 5.0, ratio), 3.25);
  EXPECT_EQ(ratio, 2.0);
  // Below the first value: back along the first segment, below cycle 1.
  EXPECT_EQ(thresholdCrossing(vec({10, 20, 40, 80, 160}), 5.0, ratio), 0.5);
  EXPECT_EQ(ratio, 2.0);
  // At the maximum, or on a two-value curve: none, ratio 0.
  EXPECT_TRUE(std::isnan(thresholdCrossing(vec({1, 2, 4, 8, 16}), 16.0, ratio)));
  EXPECT_EQ(ratio, 0.0);
  EXPECT_TRUE(std::isnan(thresholdCrossing(vec({1, 9}), 5.0, ratio)));
  EXPECT_TRUE(std::isnan(thresholdCrossing(AlgVector(), -1.0, ratio)));
  // Above the last value the first segment is used; a flat one has no
  // crossing, but its ratio is written first.
  EXPECT_TRUE(std::isnan(thresholdCrossing(vec({5, 5, 9, 3}), 4.0, ratio)));
  EXPECT_EQ(ratio, 1.0);
  // A NaN threshold compares false everywhere and ends in a NaN Ct.
  EXPECT_TRUE(std::isnan(thresholdCrossing(vec({1, 2, 4, 8, 16}), std::nan(""), ratio)));
}

TEST(AnalyzeWellLinear, SmoothsCorrectsFiltersAndFindsTheCt) {
  const AlgVector raw = amplification(40, 1000.0, 8000.0, 24.0);
  WellCurveInfo info = blankRecord();
  AlgVector processed;
  double ct = 0.0;
  analyzeWellLinear(info, raw, 1000.0, processed, ct);
  ASSERT_EQ(processed.size(), 40u);
  EXPECT_GT(ct, 18.0);
  EXPECT_LT(ct, 24.0);
  EXPECT_GT(info.crossingRatio, 1.0);

  // The same steps by hand give the same bits.
  WellCurveInfo byHandInfo = blankRecord();
  AlgVector byHand = raw;
  superSmooth(byHand, 3);
  correctAndFilterCurve(byHandInfo, byHand);
  double ratio = 0.0;
  const double byHandCt = thresholdCrossing(byHand, 1000.0, ratio);
  EXPECT_EQ(elements(processed), elements(byHand));
  EXPECT_EQ(std::memcmp(&ct, &byHandCt, sizeof ct), 0);
  EXPECT_EQ(info.crossingRatio, ratio);
}

}  // namespace
}  // namespace corvel

// The damped Gauss-Newton solver, the logistic fit and the automatic
// threshold of a plate.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "CorvelAlg.h"
#include "amplification/curve_correction.h"
#include "amplification/gauss_newton.h"
#include "amplification/logistic_fit.h"
#include "core/allocator.h"
#include "core/messages.h"
#include "core/vector.h"
#include "signal/smoothing.h"
#include "support/expect.h"

namespace corvel {
namespace {

using test::elements;
using test::throwsWith;
using test::vec;

// The context of the residual callbacks below, which count their calls.
struct Probe {
  int calls = 0;
  AlgVector target;  // probed(): p - target, or the logistic of the points
  CurvePoints points;
  int improvingTrials = 0;  // improveThenStall()
  double level = 100.0;
};

void probed(AlgVector& r, void* context, const AlgVector& p) {
  auto& probe = *static_cast<Probe*>(context);
  ++probe.calls;
  if (probe.points.x.empty()) r = p - probe.target;
  if (!probe.points.x.empty()) logisticResidual(r, &probe.points, p);
}

// One parameter, zero steps: the first `improvingTrials` trials (calls 3,
// 5, ...) halve the level and are accepted, later ones are rejected.
void improveThenStall(AlgVector& r, void* context, const AlgVector&) {
  auto& probe = *static_cast<Probe*>(context);
  if (++probe.calls > 1 && probe.calls % 2 == 1 && probe.improvingTrials-- > 0) probe.level /= 2;
  r = vec({probe.level, 0.0});
}

AlgVector logisticCurve(std::size_t n, double a, double x0, double b) {
  AlgVector y(n);
  for (std::size_t i = 0; i < n; ++i) y[i] = a / (1 + std::exp(-(double(i) + 1 - x0) * b));
  return y;
}

TEST(DampedGaussNewton, ReturnsTheStartUnrunOrTheFirstGoodTrial) {
  Probe probe;
  probe.target = vec({3.0, -6.0});
  const AlgVector p0 = vec({0.1, -3e-300});
  for (const int iterations : {0, -5}) {
    probe.calls = 0;
    EXPECT_EQ(elements(dampedGaussNewton(probed, &probe, p0, iterations, 1e-4, 1e-9)),
              elements(p0));
    EXPECT_EQ(probe.calls, 1);
  }
  // Only trials meet the tolerance: a huge one yields, after 1 + (k + 1)
  // calls, the first trial, a third of the way (lambda = 2) to the target.
  probe.calls = 0;
  const AlgVector p = dampedGaussNewton(probed, &probe, vec({0, 0}), 50, 1e-4, 1e300);
  EXPECT_EQ(probe.calls, 4);
  EXPECT_TRUE(std::abs(p[0] - 1) < 1e-9 && std::abs(p[1] + 2) < 1e-9);
}

TEST(DampedGaussNewton, GivesUpOnceTheDampingOutgrowsItsLimit) {
  // Norm 5 below p0, rising above: every step goes down, keeps the norm and
  // is rejected (else all 1000 iterations run); the 19th rejection lifts
  // lambda from 2 to 2^20 > 1e6, and after 1 + 19 (k + 1) calls p0 returns.
  Probe probe;
  const AlgVector p0 = vec({1.25, -0.5, 4.0});
  const auto kinked = [](AlgVector& r, void* c, const AlgVector& p) {
    ++static_cast<Probe*>(c)->calls;
    r = vec({3.0 + std::max(0.0, 1e3 * sum(p - vec({1.25, -0.5, 4.0}))), 4.0});
  };
  EXPECT_EQ(elements(dampedGaussNewton(kinked, &probe, p0, 1000, 1e-4, 1e-9)), elements(p0));
  EXPECT_EQ(probe.calls, 1 + 19 * 4);
  // Three accepted steps take lambda to its floor of 1.5 and no lower; from
  // there 20 rejections are needed: 1 + 23 (k + 1) calls (22 without floor).
  Probe stalling;
  stalling.improvingTrials = 3;
  dampedGaussNewton(improveThenStall, &stalling, vec({1.0}), 1000, 1e-4, 1e-9);
  EXPECT_EQ(stalling.calls, 1 + 23 * 2);
}

TEST(DampedGaussNewton, FitsALogisticAndStopsOnNonFiniteData) {
  Probe probe;
  probe.points.x.fillArithmetic(1.0, 1.0, 40);
  probe.points.y = logisticCurve(40, 6000.0, 21.0, 0.45);
  AlgVector p = dampedGaussNewton(probed, &probe, vec({4.0, 18.0, 0.3}), 100, 1e-4, 1e-9);
  EXPECT_TRUE(std::abs(p[0] - 6) < 1e-9 && std::abs(p[1] - 21) < 1e-9 &&
              std::abs(p[2] - 0.45) < 1e-9);
  EXPECT_LT(probe.calls, 1 + 100 * 4);  // stopped early, at the tolerance
  // A NaN or infinite value leaves a damped normal matrix that cannot be
  // inverted: the start comes back after the first k Jacobian calls.
  for (const double bad : {std::nan(""), HUGE_VAL}) {
    probe.calls = 0;
    probe.points.y[7] = bad;
    const AlgVector p0 = vec({3.0, 11.0, 0.4});
    EXPECT_EQ(elements(dampedGaussNewton(probed, &probe, p0, 100, 1e-4, 1e-9)), elements(p0));
    EXPECT_EQ(probe.calls, 4);
  }
  const auto shrinking = [](AlgVector& r, void* c, const AlgVector&) {
    r = AlgVector(++static_cast<Probe*>(c)->calls == 1 ? 3 : 2, 1.0);
  };
  probe.calls = 0;
  EXPECT_TRUE(throwsWith<std::invalid_argument>(
      [&] { dampedGaussNewton(shrinking, &probe, p, 9, 1e-4, 1e-9); }, msg::kVectorSubtractLength));
}

TEST(LogisticFit, ResidualIsModelMinusDataAndCleanCurvesAreRecovered) {
  CurvePoints points{vec({1, 2, 3, 10.5, 40, -2000}), vec({5, -1, 250, 1e4, 0.3, 7})};
  const AlgVector p = vec({2.5, 3.2, 0.7});
  AlgVector r;
  logisticResidual(r, &points, p);
  ASSERT_EQ(r.size(), 6u);
  for (std::size_t i = 0; i < 6; ++i) {
    const double model = 1000.0 * p[0] / (std::exp((points.x[i] - p[1]) * (-p[2])) + 1.0);
    EXPECT_EQ(r[i], model - points.y[i]) << i;
  }
  EXPECT_EQ(r[5], -7.0);  // the exponential overflows: the model is 0, not NaN
  CurvePoints uneven{vec({1, 2, 3, 4}), vec({1, 2, 3})};
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { logisticResidual(r, &uneven, p); },
                                                msg::kVectorSubtractLength));
  for (const auto& c : {std::vector<double>{40, 5000, 22, 0.35}, {30, 800, 15, 0.6}}) {
    const LogisticParameters fit = fitLogistic(logisticCurve(std::size_t(c[0]), c[1], c[2], c[3]));
    EXPECT_NEAR(fit.top, c[1], c[1] * 1e-9) << c[2];
    EXPECT_NEAR(fit.mid, c[2], 1e-9) << c[2];
    EXPECT_NEAR(fit.rate, c[3], 1e-9) << c[2];
  }
}

WellCurveInfo blankRecord() {
  WellCurveInfo info;
  std::memset(&info, 0, sizeof info);
  return info;
}

bool sameRecord(const WellCurveInfo& a, const WellCurveInfo& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// Two wells of 40 cycles, drifting by 2 a cycle; well 0 may carry a wave.
std::vector<double> twoWells(double wave = 0.0) {
  std::vector<double> v(80);
  for (std::size_t i = 0; i < 40; ++i) {
    const double c = static_cast<double>(i + 1);
    v[i] = 1000 + 2 * c + 8000 / (1 + std::exp(-(c - 24) / 1.5)) + wave * std::sin(0.45 * c);
    v[40 + i] = 900 + 2 * c + 6000 / (1 + std::exp(-(c - 26) / 1.5));
  }
  return v;
}

TEST(CalcThreshold, FillsTheRecordsAndTakesTheSmallestCandidate) {
  std::vector<double> data = twoWells();
  WellCurveInfo infos[3] = {blankRecord(), blankRecord(), blankRecord()};
  for (auto& r : infos) r.crossingRatio = 42.0;
  double threshold = -1.0;
  ASSERT_EQ(alg_calc_threshold(infos, 2, data.data(), 2, 40, &threshold), ALG_STATUS_OK);
  // Each record is what smoothing, correction, filter and fit give by hand.
  for (std::size_t w = 0; w < 2; ++w) {
    WellCurveInfo byHand = blankRecord();
    byHand.crossingRatio = 42.0;
    AlgVector curve = AlgVector::copyOf(data.data() + 40 * w, 40);
    superSmooth(curve, 3);
    correctAndFilterCurve(byHand, curve);
    const LogisticParameters fit = fitLogistic(curve);
    byHand.sigmoidTop = fit.top;
    byHand.sigmoidMid = fit.mid;
    byHand.sigmoidRate = fit.rate;
    EXPECT_TRUE(sameRecord(infos[w], byHand)) << w;
  }
  // B binds: the noise over the long automatic windows is larger.
  const double largestRise = std::max(infos[0].stepRise, infos[1].stepRise);
  EXPECT_EQ(threshold, largestRise);
  EXPECT_GT((infos[0].baselineNoise + infos[1].baselineNoise) / 2.0 * 10.0, largestRise);
  ASSERT_EQ(alg_calc_threshold(infos, 0, data.data(), 2, 40, &threshold), ALG_STATUS_OK);
  EXPECT_EQ(threshold, 100.0);  // no records scanned: B = 0
  // A third record is scanned, not written; its NaN rise is skipped.
  infos[2].stepRise = std::nan("");
  const WellCurveInfo third = infos[2];
  ASSERT_EQ(alg_calc_threshold(infos, 3, data.data(), 2, 40, &threshold), ALG_STATUS_OK);
  EXPECT_EQ(threshold, largestRise);
  EXPECT_TRUE(sameRecord(infos[2], third));
  // A NaN in well 1: no fit there, and its NaN noise gives way to B.
  data[40 + 5] = std::nan("");
  infos[0] = infos[1] = blankRecord();
  ASSERT_EQ(alg_calc_threshold(infos, 2, data.data(), 2, 40, &threshold), ALG_STATUS_OK);
  EXPECT_TRUE(std::isnan(infos[1].sigmoidTop) && std::isnan(infos[1].sigmoidMid) &&
              std::isnan(infos[1].sigmoidRate) && std::isnan(infos[1].baselineNoise));
  EXPECT_EQ(threshold, infos[0].stepRise);
  // No wells: A is NaN and C 0, so exactly 100 whatever B.
  infos[0].stepRise = 5000.0;
  threshold = -1.0;
  EXPECT_EQ(alg_calc_threshold(infos, 1, nullptr, 0, 40, &threshold), ALG_STATUS_OK);
  EXPECT_EQ(threshold, 100.0);
}

// A well holding a NaN or an infinity takes no part in the candidates, so
// the plate's threshold is that of its good wells, wherever the broken one
// stands.
TEST(CalcThreshold, BrokenWellsNeitherDecideNorVoidTheThreshold) {
  const std::vector<double> both = twoWells();
  const std::vector<double> good(both.begin(), both.begin() + 40);
  WellCurveInfo alone = blankRecord();
  double expected = -1.0;
  ASSERT_EQ(alg_calc_threshold(&alone, 1, good.data(), 1, 40, &expected), ALG_STATUS_OK);
  for (const double bad : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
    std::vector<double> broken(both.begin() + 40, both.end());
    broken[5] = bad;
    for (const bool brokenFirst : {true, false}) {
      std::vector<double> data = brokenFirst ? broken : good;
      const std::vector<double>& second = brokenFirst ? good : broken;
      data.insert(data.end(), second.begin(), second.end());
      WellCurveInfo infos[2] = {blankRecord(), blankRecord()};
      double threshold = -1.0;
      ASSERT_EQ(alg_calc_threshold(infos, 2, data.data(), 2, 40, &threshold), ALG_STATUS_OK);
      EXPECT_EQ(threshold, expected) << bad << (brokenFirst ? " first" : " second");
      const WellCurveInfo& b = infos[brokenFirst ? 0 : 1];
      EXPECT_TRUE(std::isnan(b.sigmoidTop) && std::isnan(b.sigmoidMid) &&
                  std::isnan(b.sigmoidRate));
      EXPECT_EQ(b.baselineStart, 3);  // analysed and written all the same
    }
  }
}

TEST(CalcThreshold, NoisyBaselineRaisesTheNoiseCandidate) {
  // Short caller-given windows keep the rise out of the noise.
  double thresholds[2] = {-1.0, -1.0};
  WellCurveInfo infos[2];
  WellCurveInfo windowed = blankRecord();
  windowed.baselineStart = 3;
  windowed.baselineEnd = 12;
  for (const int noisy : {0, 1}) {
    infos[0] = infos[1] = windowed;
    const std::vector<double> data = twoWells(noisy * 90.0);
    ASSERT_EQ(alg_calc_threshold(infos, 2, data.data(), 2, 40, &thresholds[noisy]), ALG_STATUS_OK);
  }
  EXPECT_EQ(thresholds[0], 100.0);  // ten times the small noise is below 100
  const double fromNoise = (infos[0].baselineNoise + infos[1].baselineNoise) / 2.0 * 10.0;
  EXPECT_GT(fromNoise, 150.0);
  EXPECT_LT(fromNoise, std::min(infos[0].stepRise, infos[1].stepRise));
  EXPECT_DOUBLE_EQ(thresholds[1], fromNoise);
}

TEST(CalcThreshold, FailuresLeaveTheOutputUntouched) {
  const std::vector<double> data = twoWells();
  struct Case {
    int nullArg, cycles, start, end, status;  // nullArg: 1 infos, 2 data, 3 out
    const char* message;
  };
  for (const Case& c :
       {Case{0, 8, 0, 0, 20, msg::kSliceEndOutOfRange},
        Case{0, 40, 12, 5, 20, msg::kSliceBeginAfterEnd},
        Case{0, 40, 3, 40, 20, msg::kSliceEndOutOfRange}, Case{1, 40, 0, 0, 10, msg::kNullData},
        Case{2, 40, 0, 0, 10, msg::kNullData}, Case{3, 40, 0, 0, 10, msg::kNullData}}) {
    WellCurveInfo info = blankRecord();
    info.baselineStart = std::int16_t(c.start);
    info.baselineEnd = std::int16_t(c.end);
    const WellCurveInfo before = info;
    double threshold = -1.0;
    EXPECT_EQ(alg_calc_threshold(c.nullArg == 1 ? nullptr : &info, 1,
                                 c.nullArg == 2 ? nullptr : data.data(), 1, std::size_t(c.cycles),
                                 c.nullArg == 3 ? nullptr : &threshold),
              c.status)
        << c.nullArg << ' ' << c.start;
    EXPECT_STREQ(get_last_error(), c.message);
    EXPECT_EQ(threshold, -1.0);
    EXPECT_TRUE(c.nullArg == 0 || sameRecord(info, before));
  }
  // Exhausted memory at each allocation in turn: status 100, no threshold.
  WellCurveInfo reference = blankRecord(), info;
  double expected = -1.0;
  ASSERT_EQ(alg_calc_threshold(&reference, 1, data.data(), 1, 20, &expected), ALG_STATUS_OK);
  double threshold = -1.0;
  for (std::uint64_t k = 1; k < 5000; ++k) {
    info = blankRecord();
    testing::failAllocation(k);
    const int status = alg_calc_threshold(&info, 1, data.data(), 1, 20, &threshold);
    const std::uint64_t attempts = testing::allocationsSinceArmed();
    testing::failAllocation(0);
    if (status == ALG_STATUS_OK) break;
    ASSERT_EQ(status, ALG_STATUS_FAILURE) << k;
    ASSERT_EQ(attempts, k);
    ASSERT_STREQ(get_last_error(), msg::kBadAllocation);
    ASSERT_EQ(threshold, -1.0) << k;
  }
  EXPECT_EQ(threshold, expected);
  EXPECT_TRUE(sameRecord(info, reference));
}

}  // namespace
}  // namespace corvel

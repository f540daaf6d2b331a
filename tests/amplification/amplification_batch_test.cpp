// The plate-level exports: Ct by the linear method, the sigmoid model and
// its Ct, the sample parabola and the record layout self-test.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "CorvelAlg.h"
#include "amplification/linear_batch.h"
#include "amplification/well_linear.h"
#include "core/allocator.h"
#include "core/matrix.h"
#include "core/messages.h"
#include "core/vector.h"
#include "support/expect.h"

namespace corvel {
namespace {

constexpr double kGuard = -123.0;
constexpr double kThreshold = 30.0;  // crossed by both processed wells below

bool sameBytes(const void* a, const void* b, std::size_t bytes) {
  return std::memcmp(a, b, bytes) == 0;
}

// Two different wells of 12 cycles, well-major.
std::vector<double> twoWells() {
  std::vector<double> v(24);
  for (std::size_t i = 0; i < 12; ++i) {
    const double c = static_cast<double>(i + 1);
    v[i] = 1000 + 2 * c + 6000 / (1 + std::exp(-(c - 10) / 1.2));
    v[12 + i] = 800 + 2 * c + 3000 / (1 + std::exp(-(c - 10.5) / 1.2));
  }
  return v;
}

// Records and outputs of alg_linear_batch_calc_ct; the last values guard.
struct BatchRun {
  BatchRun() { std::memset(infos, 0, sizeof infos); }
  WellCurveInfo infos[3];
  std::vector<double> curves = std::vector<double>(25, kGuard);
  std::vector<double> cts = std::vector<double>(5, kGuard);
  int run(std::size_t ctCount, double threshold, const double* data, std::size_t wells,
          std::size_t cycles) {
    return alg_linear_batch_calc_ct(infos, ctCount, threshold, data, wells, cycles, curves.data(),
                                    cts.data());
  }
  bool same(const BatchRun& o) const {
    return sameBytes(infos, o.infos, sizeof infos) &&
           sameBytes(curves.data(), o.curves.data(), 25 * sizeof(double)) &&
           sameBytes(cts.data(), o.cts.data(), 5 * sizeof(double));
  }
};

TEST(LinearBatchCt, ReadsWellMajorWritesCycleMajorAndReusesWindows) {
  const std::vector<double> data = twoWells();
  AlgVector processed[2];
  double ct[2];
  BatchRun byHand;
  for (std::size_t w = 0; w < 2; ++w) {
    analyzeWellLinear(byHand.infos[w], AlgVector::copyOf(data.data() + 12 * w, 12), kThreshold,
                      processed[w], ct[w]);
    ASSERT_TRUE(std::isfinite(ct[w])) << w;
  }
  BatchRun batch;
  ASSERT_EQ(batch.run(4, kThreshold, data.data(), 2, 12), ALG_STATUS_OK);
  // Input index 15 is well 1 at cycle index 3, its processed value index 7.
  EXPECT_EQ(batch.curves[7], processed[1][3]);
  for (std::size_t i = 0; i < 24; ++i) EXPECT_EQ(batch.curves[i], processed[i % 2][i / 2]) << i;
  EXPECT_EQ(batch.curves[24], kGuard);
  EXPECT_EQ(batch.cts, (std::vector<double>{ct[0], ct[1], 0.0, 0.0, kGuard}));
  EXPECT_TRUE(sameBytes(batch.infos, byHand.infos, sizeof batch.infos));
  EXPECT_TRUE(batch.infos[1].baselineStart == 3 && batch.infos[1].baselineEnd >= 8);
  // The automatic windows now in the records are taken as given.
  BatchRun again = batch;
  ASSERT_EQ(again.run(4, kThreshold, data.data(), 2, 12), ALG_STATUS_OK);
  EXPECT_TRUE(again.same(batch));
  // A threshold above every curve: NaN Cts and ratios 0, no error.
  ASSERT_EQ(batch.run(2, 1e9, data.data(), 2, 12), ALG_STATUS_OK);
  EXPECT_TRUE(std::isnan(batch.cts[0]) && std::isnan(batch.cts[1]));
  EXPECT_TRUE(batch.infos[0].crossingRatio == 0.0 && batch.infos[1].crossingRatio == 0.0);
}

TEST(LinearBatchCt, FailuresWriteNoOutput) {
  const std::vector<double> data = twoWells();
  enum Null { kNone, kInfos, kData, kCurves, kCts, kAll };
  struct Case {
    Null null;
    std::size_t ctCount, wells, cycles;
    int start, end, status;  // start and end of the window of well 1
    const char* message;
  };
  for (const Case& c : {Case{kNone, 1, 2, 12, 0, 0, 10, msg::kCtCountTooSmall},
                        Case{kAll, 1, 2, 12, 0, 0, 10, msg::kCtCountTooSmall},
                        Case{kNone, 3, 3, 8, 0, 0, 20, msg::kSliceEndOutOfRange},
                        Case{kNone, 2, 2, 12, 9, 4, 20, msg::kSliceBeginAfterEnd},
                        Case{kNone, 2, 2, 12, 3, 11, 20, msg::kSliceEndOutOfRange},
                        Case{kInfos, 2, 2, 12, 0, 0, 10, msg::kNullData},
                        Case{kData, 2, 2, 12, 0, 0, 10, msg::kNullData},
                        Case{kCurves, 2, 2, 12, 0, 0, 10, msg::kNullData},
                        Case{kCts, 2, 2, 12, 0, 0, 10, msg::kNullData}}) {
    BatchRun batch;
    batch.infos[1].baselineStart = std::int16_t(c.start);
    batch.infos[1].baselineEnd = std::int16_t(c.end);
    const BatchRun before = batch;
    const auto unless = [&](Null n, auto* p) {
      return c.null == n || c.null == kAll ? nullptr : p;
    };
    EXPECT_EQ(alg_linear_batch_calc_ct(unless(kInfos, batch.infos), c.ctCount, kThreshold,
                                       unless(kData, data.data()), c.wells, c.cycles,
                                       unless(kCurves, batch.curves.data()),
                                       unless(kCts, batch.cts.data())),
              c.status)
        << c.null << ' ' << c.ctCount << ' ' << c.start;
    EXPECT_STREQ(get_last_error(), c.message);
    EXPECT_TRUE(batch.curves == before.curves && batch.cts == before.cts);
    // Well 0 of a failing well 1 keeps its analysis; nothing else changes.
    EXPECT_EQ(batch.same(before), c.status == 10 || c.wells == 3);
  }
  // No wells is no error: ctCount zeros, nothing else.
  std::vector<double> cts(4, kGuard);
  EXPECT_EQ(alg_linear_batch_calc_ct(nullptr, 3, kThreshold, nullptr, 0, 5, nullptr, cts.data()),
            ALG_STATUS_OK);
  EXPECT_EQ(cts, (std::vector<double>{0.0, 0.0, 0.0, kGuard}));
  // Data of the wrong size, internally.
  WellCurveInfo infos[2] = {};
  AlgMatrix curves(1, 1);
  EXPECT_TRUE(test::throwsWith<std::invalid_argument>(
      [&] { linearBatchCt(infos, 2, kThreshold, AlgVector(23), 2, 12, curves); },
      msg::kPlateSizeMismatch));
  EXPECT_EQ(curves.rows(), 1u);
  // Exhausted memory at each allocation in turn: status 100, no output.
  BatchRun reference;
  ASSERT_EQ(reference.run(3, kThreshold, data.data(), 2, 12), ALG_STATUS_OK);
  BatchRun batch;
  for (std::uint64_t k = 1; k < 1000; ++k) {
    batch = BatchRun();
    testing::failAllocation(k);
    const int status = batch.run(3, kThreshold, data.data(), 2, 12);
    testing::failAllocation(0);
    if (status == ALG_STATUS_OK) break;
    ASSERT_EQ(status, ALG_STATUS_FAILURE) << k;
    ASSERT_STREQ(get_last_error(), msg::kBadAllocation);
    ASSERT_TRUE(batch.curves == BatchRun().curves && batch.cts == BatchRun().cts) << k;
  }
  EXPECT_TRUE(batch.same(reference));
}

TEST(Sigmoid, EvaluatesInPlaceAndGivesCts) {
  const double params[] = {100.0, 20.0, 1.0};
  double x[] = {20.0, 21.0, 19.0, -1000.0, 1000.0};
  ASSERT_EQ(alg_sigmoid(params, x, 5), ALG_STATUS_OK);
  EXPECT_EQ(x[0], 50.0);
  EXPECT_DOUBLE_EQ(x[1], 100.0 / (1.0 + std::exp(-1.0)));  // 73.1059...
  EXPECT_DOUBLE_EQ(x[2], 100.0 / (1.0 + std::exp(1.0)));   // 26.8941...
  EXPECT_EQ(x[3], 0.0);  // the exponential overflows to infinity: 0, not NaN
  EXPECT_EQ(x[4], 100.0);
  const double flat[] = {7.0, 20.0, 0.0};
  double y[] = {-50.0, 0.0, 3.5, 1e6};
  ASSERT_EQ(alg_sigmoid(flat, y, 4), ALG_STATUS_OK);
  for (const double v : y) EXPECT_EQ(v, 3.5);
  EXPECT_EQ(alg_sigmoid(nullptr, nullptr, 0), ALG_STATUS_OK);
  EXPECT_EQ(alg_sigmoid(nullptr, y, 2), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), msg::kNullData);
  EXPECT_EQ(y[0], 3.5);
  // The Ct: the second derivative's peak less 1.5 cycles, within limits.
  const auto fitted = [](double top, double mid, double rate) {
    WellCurveInfo info;
    std::memset(&info, 0xff, sizeof info);  // the fields not read: NaN or -1
    info.sigmoidTop = top, info.sigmoidMid = mid, info.sigmoidRate = rate;
    return info;
  };
  const double nan = std::nan("");
  const WellCurveInfo wells[] = {
      fitted(1000, 25, 0.5), fitted(9.999, 25, 0.5), fitted(1000, 25, 0.00999),
      fitted(10, 25, 0.01),  fitted(1000, 25, 0.0),  fitted(1000, 25, -0.5),
      fitted(nan, 25, 0.5),  fitted(1000, nan, 0.5), fitted(1000, 25, nan),
  };
  std::vector<double> cts(10, kGuard);
  ASSERT_EQ(alg_sigmoid_batch_calc_ct(wells, 9, 0, cts.data()), ALG_STATUS_OK);
  EXPECT_EQ(cts[0], 20.866084206150367);
  EXPECT_EQ(cts[3], (25.0 - std::log(std::sqrt(3.0) + 2.0) / 0.01) - 1.5);  // limits pass
  EXPECT_EQ(cts[6], 20.866084206150367);  // a NaN plateau passes the test
  for (const std::size_t i : {1, 2, 4, 5, 7, 8}) EXPECT_TRUE(std::isnan(cts[i])) << i;
  EXPECT_EQ(cts[9], kGuard);
  std::vector<double> again(10, kGuard);
  ASSERT_EQ(alg_sigmoid_batch_calc_ct(wells, 9, ~std::uint64_t{0}, again.data()), ALG_STATUS_OK);
  EXPECT_TRUE(sameBytes(again.data(), cts.data(), 10 * sizeof(double)));  // reserved: no effect
  EXPECT_EQ(alg_sigmoid_batch_calc_ct(nullptr, 0, 0, nullptr), ALG_STATUS_OK);
  EXPECT_EQ(alg_sigmoid_batch_calc_ct(wells, 2, 0, nullptr), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), msg::kNullData);
}

double sampleFit(std::size_t n, double (*f)(double)) {
  std::vector<double> y(n);
  for (std::size_t i = 0; i < n; ++i) y[i] = f(static_cast<double>(i + 1));
  double result = kGuard;
  EXPECT_EQ(alg_sample_data_fitting(y.data(), n, &result), ALG_STATUS_OK);
  return result;
}

TEST(SampleDataFitting, VertexWithinElevenCyclesElseTheLargerEnd) {
  EXPECT_NEAR(sampleFit(10, [](double t) { return -(t - 5) * (t - 5) + 100; }), 100.0, 1e-9);
  EXPECT_NEAR(sampleFit(20, [](double t) { return -(t - 15) * (t - 15) + 100; }), 84.0, 1e-9);
  EXPECT_NEAR(sampleFit(10, [](double t) { return (t - 5) * (t - 5); }), 0.0, 1e-9);
  EXPECT_NEAR(sampleFit(10, [](double t) { return 3 * t + 2; }), 35.0, 1e-9);
  EXPECT_NEAR(sampleFit(10, [](double t) { return 50 - 3 * t; }), 47.0, 1e-9);
  const double samples[] = {4.0, 9.0};
  for (const std::size_t count : {0, 1, 2}) {
    double result = kGuard;
    EXPECT_EQ(alg_sample_data_fitting(samples, count, &result), ALG_STATUS_INVALID_ARGUMENT);
    EXPECT_STREQ(get_last_error(), msg::kMatrixMultiplyShape);
    EXPECT_EQ(result, kGuard);
  }
}

template <typename T>
void put(WellCurveInfo& r, std::size_t offset, T value) {
  std::memcpy(reinterpret_cast<unsigned char*>(&r) + offset, &value, sizeof value);
}

// The self-test values a host writes, answered up to `stage`: 1 doubles at
// 0 .. 24, 2 also 128, 3 .. 5 also the integers at 96, 98, 100, from 6 on
// also double 32 + 8k and flag 136 + k for k <= stage - 6. Other bytes: 0xa5.
WellCurveInfo layoutRecord(int stage = 0) {
  WellCurveInfo r;
  std::memset(&r, 0xa5, sizeof r);
  const double firstFour[] = {1.1, 2.2, 3.3, 4.4};
  for (std::size_t i = 0; i < 4; ++i) put(r, 8 * i, firstFour[i] * (stage >= 1 ? 2 : 1));
  put(r, 128, stage >= 2 ? 11.0 : 5.5);
  for (int i = 0; i < 3; ++i) {
    put(r, 96 + 2 * std::size_t(i), static_cast<std::int16_t>((i + 1) * (stage >= 3 + i ? 2 : 1)));
  }
  for (int k = 0; k < 8; ++k) {
    const bool done = stage >= 6 + k;
    put(r, 32 + 8 * std::size_t(k), static_cast<double>(k * (done ? 2 : 1)));
    put(r, 136 + std::size_t(k), static_cast<std::uint8_t>((k % 2 == 0) != done ? 1 : 0));
  }
  return r;
}

TEST(FittingSelfTest, AnswersFieldByFieldAndLeavesTheLastErrorAlone) {
  ASSERT_EQ(alg_sample_data_fitting(nullptr, 1, nullptr), ALG_STATUS_INVALID_ARGUMENT);
  WellCurveInfo r = layoutRecord();
  ASSERT_EQ(test_fitting_result(&r), ALG_STATUS_OK);
  const WellCurveInfo answered = layoutRecord(13);
  EXPECT_TRUE(sameBytes(&r, &answered, sizeof r));  // bytes 102 .. 127 included
  // The answer no longer matches, at its very first field.
  EXPECT_EQ(test_fitting_result(&r), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_TRUE(sameBytes(&r, &answered, sizeof r));
  EXPECT_EQ(test_fitting_result(nullptr), ALG_STATUS_INVALID_ARGUMENT);
  // A mismatch ends the test there; the answers made before it stay.
  r = layoutRecord();
  WellCurveInfo expected = layoutRecord(3);
  put(r, 98, std::int16_t{7});
  put(expected, 98, std::int16_t{7});
  EXPECT_EQ(test_fitting_result(&r), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_TRUE(sameBytes(&r, &expected, sizeof r));
  // In the last group each double is answered before its flag is checked.
  r = layoutRecord(), expected = layoutRecord(6);
  put(r, 137, std::uint8_t{7});
  put(expected, 137, std::uint8_t{7});
  put(expected, 40, 2.0);
  EXPECT_EQ(test_fitting_result(&r), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_TRUE(sameBytes(&r, &expected, sizeof r));
  EXPECT_STREQ(get_last_error(), msg::kNullData);  // never touched
}

}  // namespace
}  // namespace corvel

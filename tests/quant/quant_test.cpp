// The quantification exports: the standard curve, replicate statistics and
// the relative quantity with its error bar, through the C interface.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "CorvelAlg.h"
#include "core/allocator.h"
#include "core/messages.h"

namespace corvel {
namespace {

constexpr double kGuard = -123.0;
const double kNaN = std::numeric_limits<double>::quiet_NaN();
double guardCell = kGuard;  // what the caller's result pointer holds before a call

// One alg_calc_sd call; a failure must leave the out-parameters as they were.
struct SdCall {
  int status;
  std::string message;
  std::vector<double> values;
};

SdCall calcSd(std::int32_t mode, const std::vector<double>& data) {
  double* out = &guardCell;
  std::size_t count = 777;
  SdCall call{alg_calc_sd(&mode, data.data(), data.size(), &out, &count), get_last_error(), {}};
  if (call.status != ALG_STATUS_OK) {
    EXPECT_TRUE(out == &guardCell && count == 777u) << "out-parameters written on failure";
    return call;
  }
  call.values.assign(out, out + count);
  alg_darray_release(&out);
  return call;
}

void expectNear(const std::vector<double>& got, const std::vector<double>& want, double tol) {
  ASSERT_EQ(got.size(), want.size());
  for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], want[i], tol) << i;
}

const RqResult kGuardedRq{kGuard, kGuard, kGuard, kGuard, kGuard, kGuard, kGuard};

int calcRq(RqOptions options, std::vector<double> summary, double calibrator, RqResult& r) {
  r = kGuardedRq;
  return alg_calc_rq(&options, summary.data(), summary.size(), calibrator, &r);
}

TEST(StandardCurve, WorkedCasesRefusalsAndDegenerateData) {
  const double x4[] = {1, 2, 3, 4}, y4[] = {30, 27, 24, 21};
  const double x[] = {1, 2, 3}, y[] = {1, 3, 2};
  const LinearFit guard{kGuard, kGuard, kGuard, kGuard};
  LinearFit fit = guard;
  EXPECT_EQ(alg_calc_standard(x, 3, y, 2, &fit), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), msg::kVectorMultiplyLength);
  EXPECT_EQ(std::memcmp(&fit, &guard, sizeof fit), 0);
  EXPECT_EQ(alg_calc_standard(nullptr, 3, y, 3, &fit), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(alg_calc_standard(x, 3, nullptr, 3, &fit), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(alg_calc_standard(x, 3, y, 3, nullptr), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), msg::kNullData);
  EXPECT_EQ(std::memcmp(&fit, &guard, sizeof fit), 0);

  ASSERT_EQ(alg_calc_standard(x4, 4, y4, 4, &fit), ALG_STATUS_OK);
  EXPECT_STREQ(get_last_error(), "");
  EXPECT_TRUE(fit.slope == -3.0 && fit.intercept == 33.0 && fit.rmse == 0.0 && fit.rSquared == 1.0);
  ASSERT_EQ(alg_calc_standard(x, 3, y, 3, &fit), ALG_STATUS_OK);
  EXPECT_TRUE(fit.slope == 0.5 && fit.intercept == 1.0 && fit.rSquared == 0.25);
  EXPECT_EQ(fit.rmse, std::sqrt(0.5));  // divisor n, not n - 2

  ASSERT_EQ(alg_calc_standard(nullptr, 0, nullptr, 0, &fit), ALG_STATUS_OK);  // no points
  EXPECT_TRUE(std::isnan(fit.slope) && std::isnan(fit.intercept) && std::isnan(fit.rmse) &&
              std::isnan(fit.rSquared));
  const double sameX[] = {2, 2, 2}, sameY[] = {5, 5, 5};
  ASSERT_EQ(alg_calc_standard(sameX, 3, y, 3, &fit), ALG_STATUS_OK);
  EXPECT_FALSE(std::isfinite(fit.slope) || std::isfinite(fit.intercept));
  ASSERT_EQ(alg_calc_standard(x, 3, sameY, 3, &fit), ALG_STATUS_OK);
  EXPECT_TRUE(fit.slope == 0.0 && fit.intercept == 5.0 && fit.rmse == 0.0);
  EXPECT_TRUE(std::isnan(fit.rSquared));  // 0 / 0
}

TEST(CalcSd, WorkedCases) {
  // Ct mode: value, sd, se, count | target | pooled | gene 1.
  SdCall ct = calcSd(1, {3, 20, 21, 22, 1, 3, 15, 15.5, 16});
  ASSERT_EQ(ct.status, ALG_STATUS_OK);
  expectNear(
      ct.values,
      {5.5, 1.118034, 0.645497, 6, 21, 1, 0.577350, 15.5, 0.5, 0.288675, 15.5, 0.5, 0.288675},
      5e-7);
  EXPECT_TRUE(ct.values[0] == 5.5 && ct.values[5] == 1.0 && ct.values[8] == 0.5);
  EXPECT_EQ(ct.values[1], std::sqrt(1.25));  // spreads 1 and 0.5 add in quadrature
  EXPECT_DOUBLE_EQ(ct.values[2], std::sqrt(5.0 / 12.0));
  EXPECT_DOUBLE_EQ(ct.values[12], 0.5 / std::sqrt(3.0));

  // Quantity mode on log10 values; every mode other than 1 is quantity mode.
  const std::vector<double> input = {2, 100, 1000, 1, 2, 10, 10};
  SdCall q = calcSd(2, input);
  ASSERT_EQ(q.status, ALG_STATUS_OK);
  expectNear(q.values,
             {31.622777, 4.094561, 3.162278, 4, 316.227766, 0.707107, 0.5, 10, 0, 0, 10, 0, 0},
             5e-6);
  EXPECT_DOUBLE_EQ(q.values[1], std::pow(10.0, std::sqrt(0.5)) - 1.0);  // 1 subtracted from sd...
  EXPECT_DOUBLE_EQ(q.values[2], std::sqrt(10.0));                       // ...but not from se
  EXPECT_EQ(calcSd(0, input).values, q.values);

  // One value per group: spread 0, not NaN.
  EXPECT_EQ(calcSd(1, {1, 20, 1, 1, 15}).values,
            (std::vector<double>{5, 0, 0, 2, 20, 0, 0, 15, 0, 0, 15, 0, 0}));

  // A quantity <= 0 has no finite logarithm: it propagates, with status 0.
  const SdCall zero = calcSd(2, {2, 100, 0, 1, 1, 10});
  ASSERT_EQ(zero.status, ALG_STATUS_OK);
  EXPECT_TRUE(zero.values[0] == 0.0 && zero.values[4] == 0.0 && std::isnan(zero.values[1]));
  EXPECT_TRUE(std::isnan(calcSd(2, {2, 100, -5, 1, 1, 10}).values[0]));
}

TEST(CalcSd, UnreachedGenesTruncatedCountsAndTrailingData) {
  // M = 2, data for one gene: the second is (NaN, 0, NaN), the pooled centre NaN.
  SdCall two = calcSd(1, {1, 20, 2, 2, 15, 16});
  ASSERT_EQ(two.status, ALG_STATUS_OK);
  const std::vector<double>& v = two.values;
  ASSERT_EQ(v.size(), 16u);
  EXPECT_TRUE(std::isnan(v[0]) && std::isnan(v[2]) && v[3] == 3.0 && v[4] == 20.0);
  EXPECT_TRUE(std::isnan(v[7]) && std::isnan(v[9]) && v[10] == 15.5 && v[11] == std::sqrt(0.5));
  EXPECT_TRUE(std::fabs(v[1] - 0.5) < 1e-15 && std::fabs(v[8] - 0.5) < 1e-15);  // sqrt(0.5 / 2)
  EXPECT_TRUE(std::isnan(v[13]) && v[14] == 0.0 && std::isnan(v[15]));

  // N0 + 2 == n exactly: the gene count is the last value, its gene empty.
  SdCall edge = calcSd(1, {3, 20, 21, 22, 1});
  ASSERT_EQ(edge.status, ALG_STATUS_OK);
  EXPECT_TRUE(edge.values.size() == 13u && edge.values[3] == 3.0 && std::isnan(edge.values[10]));

  // Counts truncate toward zero; values after the last block are not read.
  SdCall cut = calcSd(1, {2.9, 20, 22, 1.5, 1.99, 15, 99, 99});
  ASSERT_EQ(cut.status, ALG_STATUS_OK);
  EXPECT_EQ(cut.values, (std::vector<double>{6, std::sqrt(2.0), 1, 3, 21, std::sqrt(2.0), 1, 15, 0,
                                             0, 15, 0, 0}));
}

TEST(CalcSd, RefusedInputsLeaveTheOutParametersAlone) {
  struct Case {
    std::vector<double> data;
    int status;
    const char* message;
  };
  const Case cases[] = {
      {{1, 20, 1, 0}, 10, msg::kInputParameterError},       // four values, layout valid
      {{0, 1, 1, 15, 16}, 10, msg::kReplicateGroupEmpty},   // N0 = 0
      {{1, 20, 0, 15, 16}, 10, msg::kReplicateGroupEmpty},  // M = 0
      {{4, 20, 21, 22, 1}, 10, msg::kInputParameterError},  // N0 + 2 > n
      {{-1, 20, 1, 1, 15}, 10, msg::kInputParameterError},  // wraps past the data
      {{kNaN, 20, 1, 1, 15}, 10, msg::kInputParameterError},
      {{1, 20, 1, 3, 15, 16}, 10, msg::kInputParameterError},     // block one too long
      {{1, 20, 2, 1, 15, 2, 16}, 10, msg::kInputParameterError},  // second block too long
      {{0, 1, 5, 1, 2}, 10, msg::kInputParameterError},           // layout checked before N0 = 0
      {{1, 20, 1e300, 1, 15}, 100, msg::kBadArrayNewLength},
      {{1, 20, -1, 1, 15}, 100, msg::kBadArrayNewLength},  // wraps to 2^64 - 1
      {{1, 20, kNaN, 1, 15}, 100, msg::kBadArrayNewLength},
      {{0, -1, 1, 2, 3}, 100, msg::kBadArrayNewLength},  // sized before N0 = 0 is refused
      {{1, 20, 1e15, 1, 15}, 100, msg::kBadAllocation},  // 24 PB
  };
  for (const Case& c : cases) {
    const SdCall call = calcSd(1, c.data);
    EXPECT_EQ(call.status, c.status) << ::testing::PrintToString(c.data);
    EXPECT_EQ(call.message, c.message) << ::testing::PrintToString(c.data);
  }

  const double data[] = {1, 20, 1, 1, 15};
  const std::int32_t mode = 1;
  double* out = &guardCell;
  std::size_t count = 777;
  EXPECT_EQ(alg_calc_sd(nullptr, data, 5, &out, &count), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(alg_calc_sd(&mode, nullptr, 5, &out, &count), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(alg_calc_sd(&mode, data, 5, &out, nullptr), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(alg_calc_sd(&mode, data, 5, nullptr, &count), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), msg::kNullData);
  EXPECT_TRUE(out == &guardCell && count == 777u);
}

TEST(CalcRq, WorkedCases) {
  RqResult r;
  // Ct mode, SD bar of k = 1.
  ASSERT_EQ(calcRq({1, 1, 2, 0, 1}, {3.0, 0.5, 0.2, 6}, 1.0, r), ALG_STATUS_OK);
  EXPECT_TRUE(r.value == 3.0 && r.sd == 0.5 && r.se == 0.2 && r.ddct == 2.0 && r.rq == 0.25);
  EXPECT_DOUBLE_EQ(r.upper, std::sqrt(2.0) / 4);  // 2^-1.5 = 0.35355
  EXPECT_DOUBLE_EQ(r.lower, std::sqrt(2.0) / 8);  // 2^-2.5 = 0.17678
  // Ct mode, t bar: count 12 reads the df 10 row.
  ASSERT_EQ(calcRq({1, 1, 1, 0, 0}, {1.0, 0.3, 0.1, 12}, 1.0, r), ALG_STATUS_OK);
  EXPECT_TRUE(r.rq == 1.0 && r.ddct == 0.0);
  EXPECT_DOUBLE_EQ(r.upper, std::pow(2.0, 0.2228138842));
  EXPECT_DOUBLE_EQ(r.lower, std::pow(2.0, -0.2228138842));
  // Quantity mode: a ratio and a factor bar (sd + 1)^k; ddct not written.
  ASSERT_EQ(calcRq({2, 2, 2, 0, 2}, {4.0, 0.5, 1.2, 3}, 2.0, r), ALG_STATUS_OK);
  EXPECT_TRUE(r.rq == 2.0 && r.upper == 4.5 && r.ddct == kGuard);
  EXPECT_DOUBLE_EQ(r.lower, 2.0 / 2.25);
  // A factor below 1 still gives lower <= upper.
  ASSERT_EQ(calcRq({2, 2, 1, 0, 0}, {4.0, 0.0, 0.5, 12}, 2.0, r), ALG_STATUS_OK);
  EXPECT_DOUBLE_EQ(r.lower, 2.0 * std::pow(0.5, 2.228138842));
  EXPECT_DOUBLE_EQ(r.upper, 2.0 / std::pow(0.5, 2.228138842));
  // Mixed modes: Ct form and Ct bars. Neither mode 1: Ct form, factor bars.
  ASSERT_EQ(calcRq({2, 1, 2, 0, 3}, {3.0, 0.25, 0.2, 6, kNaN}, 1.0, r), ALG_STATUS_OK);
  EXPECT_TRUE(r.rq == 0.25 && r.ddct == 2.0 && r.upper == std::pow(2.0, 0.75 - 2.0));
  ASSERT_EQ(calcRq({0, 0, 2, 0, 1}, {3.0, 0.5, 0.2, 6}, 1.0, r), ALG_STATUS_OK);
  EXPECT_TRUE(r.rq == 0.25 && r.ddct == 2.0 && r.upper == 0.375 && r.lower == 0.25 / 1.5);
}

TEST(CalcRq, CountSelectsTheTableRow) {
  // se 1 and ddct 0 make the bar 2^t exactly. Rows: count, column, t.
  const double cases[][3] = {{4, 0, 4.30265273},   {97, 0, 1.985250956},   {97, 5, 3.395903569},
                             {32, 2, 2.749995652}, {12.9, 0, 2.228138842}, {5, 3, 7.453318505}};
  for (const auto& c : cases) {
    RqResult r;
    const auto column = static_cast<std::int32_t>(c[1]);
    ASSERT_EQ(calcRq({1, 1, 1, column, 0}, {5.0, 0.0, 1.0, c[0]}, 5.0, r), ALG_STATUS_OK);
    EXPECT_TRUE(r.upper == std::pow(2.0, c[2]) && r.lower == std::pow(2.0, -c[2])) << c[0];
  }
}

TEST(CalcRq, FailuresLeaveTheErrorBarUntouched) {
  struct Case {
    std::int32_t mode, type, column;
    double count;
    int status;
    const char* message;
  };
  for (const Case& c :
       {Case{1, 1, 0, 3, 20, msg::kParameterError}, Case{1, 1, 0, 98, 20, msg::kParameterError},
        Case{1, 1, 0, 3.99, 20, msg::kParameterError}, Case{1, 1, 0, -5, 20, msg::kParameterError},
        Case{1, 1, 0, kNaN, 20, msg::kParameterError},
        Case{2, 1, 0, 1e30, 20, msg::kParameterError}, Case{1, 1, -1, 12, 20, msg::kParameterError},
        Case{2, 1, 6, 12, 20, msg::kParameterError}, Case{1, 0, 0, 12, 10, msg::kErrorBarType},
        Case{2, 3, 0, 12, 10, msg::kErrorBarType}, Case{1, 2, 0, 3, 0, ""},
        Case{2, 2, 0, 98, 0, ""}}) {
    RqResult r;
    EXPECT_EQ(calcRq({c.mode, c.mode, c.type, c.column, 1}, {3.0, 0.5, 0.2, c.count}, 1.0, r),
              c.status)
        << c.mode << ' ' << c.type << ' ' << c.column << ' ' << c.count;
    EXPECT_STREQ(get_last_error(), c.message);
    EXPECT_TRUE(r.value == 3.0 && r.sd == 0.5 && r.se == 0.2);
    EXPECT_EQ(r.rq, c.mode == 1 ? 0.25 : 3.0);
    EXPECT_EQ(r.ddct, c.mode == 1 ? 2.0 : kGuard);
    EXPECT_EQ(r.lower == kGuard && r.upper == kGuard, c.status != 0);
  }

  // Refused before anything is written.
  const RqOptions options{1, 1, 2, 0, 1};
  const double summary[] = {3.0, 0.5, 0.2, 6};
  RqResult r = kGuardedRq;
  EXPECT_EQ(alg_calc_rq(&options, summary, 3, 1.0, &r), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), msg::kInputParameterError);
  EXPECT_EQ(alg_calc_rq(&options, nullptr, 0, 1.0, &r), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), msg::kInputParameterError);
  EXPECT_EQ(alg_calc_rq(nullptr, summary, 4, 1.0, &r), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(alg_calc_rq(&options, nullptr, 4, 1.0, &r), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(alg_calc_rq(&options, summary, 4, 1.0, nullptr), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), msg::kNullData);
  EXPECT_EQ(std::memcmp(&r, &kGuardedRq, sizeof r), 0);
}

// Exhausted memory at each allocation in turn: status 100, nothing written,
// and (in the sanitizer build) nothing leaked; then the call goes through.
TEST(QuantExports, AllocationFailuresWriteNothing) {
  const auto failInTurn = [](auto&& call, auto&& untouched) {
    std::uint64_t k = 1;
    for (; k < 100; ++k) {
      testing::failAllocation(k);
      const int status = call();
      testing::failAllocation(0);
      if (status == ALG_STATUS_OK) break;
      EXPECT_EQ(status, ALG_STATUS_FAILURE) << k;
      EXPECT_STREQ(get_last_error(), msg::kBadAllocation) << k;
      EXPECT_TRUE(untouched()) << k;
    }
    return k;
  };
  const std::int32_t mode = 1;
  const double data[] = {3, 20, 21, 22, 2, 3, 15, 15.5, 16, 2, 17, 18};
  double* out = &guardCell;
  std::size_t count = 777;
  EXPECT_GT(failInTurn([&] { return alg_calc_sd(&mode, data, 12, &out, &count); },
                       [&] { return out == &guardCell && count == 777u; }),
            3u);
  ASSERT_EQ(count, 16u);
  EXPECT_TRUE(out[0] == 4.5 && out[3] == 8.0 && out[13] == 17.5);
  alg_darray_release(&out);

  const double x[] = {1, 2, 3}, y[] = {1, 3, 2};
  LinearFit fit{kGuard, kGuard, kGuard, kGuard};
  EXPECT_GT(failInTurn([&] { return alg_calc_standard(x, 3, y, 3, &fit); },
                       [&] { return fit.slope == kGuard && fit.rSquared == kGuard; }),
            2u);
  EXPECT_EQ(fit.rSquared, 0.25);
}

}  // namespace
}  // namespace corvel

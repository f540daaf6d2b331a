// The natural cubic spline: CubicSpline, splineInterpolate and the export
// alg_cubic_interpolation().
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <stdexcept>
#include <vector>

#include "CorvelAlg.h"
#include "core/allocator.h"
#include "core/messages.h"
#include "core/vector.h"
#include "signal/spline.h"
#include "support/expect.h"

namespace {

using corvel::AlgVector;
using corvel::CubicSpline;

constexpr double kGuard = -9.87654321e300;

std::uint64_t bits(double value) {
  std::uint64_t b;
  std::memcpy(&b, &value, sizeof b);
  return b;
}

// n strictly increasing knots with gaps in [0.5, 2).
std::vector<double> randomKnots(std::mt19937_64& rng, std::size_t n) {
  std::vector<double> x(n, std::uniform_real_distribution<double>(-10.0, 10.0)(rng));
  for (std::size_t i = 1; i < n; ++i)
    x[i] = x[i - 1] + std::uniform_real_distribution<double>(0.5, 2.0)(rng);
  return x;
}

TEST(CubicSpline, ThreeKnots) {
  const double x[3] = {0, 1, 2}, y[3] = {0, 1, 0};
  const CubicSpline s(x, y, 3);
  EXPECT_EQ(corvel::test::elements(s.c()), (std::vector<double>{0, -1.5, 0}));
  EXPECT_EQ(corvel::test::elements(s.b().slice(0, 2)), (std::vector<double>{1.5, 0}));
  EXPECT_EQ(corvel::test::elements(s.d().slice(0, 2)), (std::vector<double>{-0.5, 0.5}));
  EXPECT_EQ(s(0.5), 0.6875);
  EXPECT_EQ(s(1.0), 1.0);
  // The end pieces extended: 1.5 dx - 0.5 dx^3 at dx = -1, 1 - 1.5 dx^2 + 0.5 dx^3 at dx = 2.
  EXPECT_EQ(s(-1.0), -1.0);
  EXPECT_EQ(s(3.0), -1.0);
}

// Random knots, every third curve on a straight line.
TEST(CubicSpline, LinesKnotsAndTheStatedEvaluationOrder) {
  std::mt19937_64 rng(43);
  std::uniform_real_distribution<double> u(-100.0, 100.0);
  bool orderMatters = false;
  for (int curve = 0; curve < 300; ++curve) {
    const std::size_t n = 3 + rng() % 40;
    const std::vector<double> x = randomKnots(rng, n);
    const bool line = curve % 3 == 0;
    const double slope = u(rng) / 20.0, offset = u(rng) / 20.0;
    std::vector<double> y(n);
    for (std::size_t i = 0; i < n; ++i) y[i] = line ? slope * x[i] + offset : u(rng);
    const CubicSpline s(x.data(), y.data(), n);
    for (std::size_t k = 0; k + 1 < n; ++k) EXPECT_EQ(bits(s(x[k])), bits(y[k])) << k;
    EXPECT_NEAR(s(x[n - 1]), y[n - 1], 1e-9 * (1.0 + std::fabs(y[n - 1])));
    for (std::size_t k = 0; line && k + 1 < n; ++k) {
      EXPECT_NEAR(s.c()[k], 0.0, 1e-12) << k;
      EXPECT_NEAR(s.d()[k], 0.0, 1e-12) << k;
    }
    for (int q = 0; q < 50; ++q) {
      const double t = std::uniform_real_distribution<double>(x[0] - 3, x[n - 1] + 3)(rng);
      // The last knot at or below t, at most n-2; piece 0 below the first.
      std::size_t k = 0;
      while (k + 2 < n && x[k + 1] <= t) ++k;
      const double dx = t - x[k], b = s.b()[k], c = s.c()[k], d = s.d()[k];
      const double expected = (dx * b + y[k]) + (dx * c) * dx + ((dx * d) * dx) * dx;
      ASSERT_EQ(bits(s(t)), bits(expected)) << "t " << t << ", piece " << k;
      if (line) {
        EXPECT_NEAR(s(t), slope * t + offset, 1e-11) << t;
      }
      if (expected != y[k] + dx * (b + dx * (c + dx * d))) orderMatters = true;
    }
  }
  EXPECT_TRUE(orderMatters) << "no query tells the stated order from Horner's";
}

TEST(CubicInterpolation, QueriesInAnyOrder) {
  std::mt19937_64 rng(47);
  const std::size_t n = 12, m = 200;
  const std::vector<double> x = randomKnots(rng, n);
  std::vector<double> y(n), xq(m), forward(m + 2, kGuard), backward(m + 2, kGuard);
  for (double& value : y) value = std::uniform_real_distribution<double>(0.0, 50.0)(rng);
  for (double& t : xq) t = std::uniform_real_distribution<double>(x[0] - 2, x[n - 1] + 2)(rng);
  std::sort(xq.begin(), xq.end());
  xq[7] = x[4];
  xq[9] = std::nan("");
  const std::vector<double> reversed(xq.rbegin(), xq.rend());
  ASSERT_EQ(alg_cubic_interpolation(x.data(), y.data(), n, xq.data(), forward.data(), m), 0);
  ASSERT_EQ(alg_cubic_interpolation(x.data(), y.data(), n, reversed.data(), backward.data(), m), 0);
  AlgVector internal;
  corvel::splineInterpolate(AlgVector::copyOf(x.data(), n), AlgVector::copyOf(y.data(), n),
                            AlgVector::copyOf(reversed.data(), m), internal);
  ASSERT_EQ(internal.size(), m);
  for (std::size_t j = 0; j < m; ++j) {
    EXPECT_EQ(bits(forward[j]), bits(backward[m - 1 - j])) << j;
    EXPECT_EQ(bits(internal[m - 1 - j]), bits(forward[j])) << j;
  }
  EXPECT_EQ(forward[7], y[4]);
  EXPECT_TRUE(std::isnan(forward[9]));
  EXPECT_EQ(bits(forward[m]), bits(kGuard));
}

class CubicInterpolationFailure : public ::testing::Test {
 protected:
  void TearDown() override { corvel::testing::failAllocation(0); }
  void expectUntouched() {
    for (const double value : yq_) EXPECT_EQ(bits(value), bits(kGuard));
  }
  const double x_[3] = {0, 1, 2}, y_[3] = {0, 1, 0};
  const double xq_[2] = {0.5, 1.5};
  double yq_[4] = {kGuard, kGuard, kGuard, kGuard};
};

TEST_F(CubicInterpolationFailure, RefusedArgumentsAndExhaustedMemoryWriteNothing) {
  EXPECT_EQ(alg_cubic_interpolation(x_, y_, 2, xq_, yq_, 2), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), corvel::msg::kTooFewKnots);
  EXPECT_EQ(alg_cubic_interpolation(nullptr, y_, 3, xq_, yq_, 2), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), corvel::msg::kNullData);
  EXPECT_EQ(alg_cubic_interpolation(x_, y_, 3, xq_, nullptr, 2), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), corvel::msg::kNullData);
  EXPECT_EQ(alg_cubic_interpolation(x_, y_, 3, xq_, yq_, 0), ALG_STATUS_OK);
  EXPECT_EQ(alg_cubic_interpolation(x_, y_, 3, nullptr, nullptr, 0), ALG_STATUS_OK);
  EXPECT_STREQ(get_last_error(), "");
  expectUntouched();

  std::uint64_t failing = 1;
  for (;; ++failing) {
    ASSERT_LE(failing, 50u);
    corvel::testing::failAllocation(failing);
    const int status = alg_cubic_interpolation(x_, y_, 3, xq_, yq_, 2);
    corvel::testing::failAllocation(0);
    if (status == ALG_STATUS_OK) break;
    EXPECT_EQ(status, ALG_STATUS_FAILURE) << failing;
    EXPECT_STREQ(get_last_error(), "bad allocation");
    expectUntouched();
  }
  EXPECT_GT(failing, 4u);
  EXPECT_EQ(yq_[0], 0.6875);
}

TEST(SplineInterpolate, LengthsAreCheckedBeforeTheKnotCount) {
  using corvel::test::vec;
  const auto refuses = [](auto operation, const char* message) {
    return corvel::test::throwsWith<std::invalid_argument>(operation, message);
  };
  AlgVector out;
  const AlgVector one = vec({0}), two = vec({0, 1}), xq = vec({0.5, 1.5, 2.5});
  EXPECT_TRUE(refuses([&] { corvel::splineInterpolate(two, one, xq, out); },
                      corvel::msg::kKnotLengthsDiffer));
  EXPECT_TRUE(
      refuses([&] { corvel::splineInterpolate(two, two, xq, out); }, corvel::msg::kTooFewKnots));
  const double y[3] = {1, 2, 3};
  EXPECT_TRUE(refuses([] { CubicSpline(nullptr, nullptr, 3); }, corvel::msg::kNullData));
  EXPECT_TRUE(refuses([&] { CubicSpline(y, nullptr, 3); }, corvel::msg::kNullData));
  EXPECT_TRUE(refuses([] { CubicSpline(nullptr, nullptr, 2); }, corvel::msg::kTooFewKnots));
}

}  // namespace

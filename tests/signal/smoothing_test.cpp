// The smoothing operations: runSmooth and superSmooth through their exports
// alg_run_smooth() and alg_super_smooth(), and the internal convolvePadded.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "CorvelAlg.h"
#include "core/allocator.h"
#include "core/messages.h"
#include "core/regression.h"
#include "core/vector.h"
#include "signal/convolution.h"
#include "signal/smoothing.h"
#include "support/expect.h"

namespace {

using corvel::AlgVector;

bool sameBits(const double* a, const double* b, std::size_t n) {
  return n == 0 || std::memcmp(a, b, n * sizeof(double)) == 0;
}

// runSmooth written out step by step: every step takes a fresh copy of the
// window and the parabola is fitted through the general least-squares fit.
void referenceRunSmooth(AlgVector& v) {
  if (v.size() <= 5) return;
  AlgVector t;
  t.fillArithmetic(1.0, 1.0, 5);
  const auto writeBack = [&v](std::size_t i, const AlgVector& r) {
    for (std::size_t j = 0; j < 5; ++j) v[i + j] = r[j];
  };
  for (int pass = 0; pass < 3; ++pass) {
    for (std::size_t i = 0; i + 5 < v.size(); ++i) {
      AlgVector s = v.slice(i, i + 5);
      AlgVector r = s;
      for (std::size_t j = 1; j <= 3; ++j) {
        if ((s[j - 1] > s[j] && s[j + 1] > s[j]) || (s[j] > s[j - 1] && s[j] > s[j + 1]))
          r[j] = (s[j - 1] + s[j + 1]) * 0.5;
      }
      writeBack(i, r);
      s = v.slice(i, i + 5);
      writeBack(i, corvel::evalQuadratic(corvel::quadraticFit(t, s), t));
      s = v.slice(i, i + 5);
      r = s;
      for (std::size_t j = 1; j <= 2; ++j) {
        const double d0 = s[j] - s[j - 1];
        const double d1 = s[j + 1] - s[j];
        const double d2 = s[j + 2] - s[j];
        if ((d0 > d1 && d2 > d1) || (d1 > d0 && d1 > d2)) r[j + 1] = (s[j] + s[j + 2]) * 0.5;
      }
      writeBack(i, r);
    }
  }
}

// A random curve of one of several shapes and scales, perhaps with a spike.
std::vector<double> randomCurve(std::mt19937_64& rng, std::size_t n) {
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<double> v(n);
  const std::size_t shape = rng() % 6;
  const double scale = std::pow(10.0, 6.0 * u(rng));
  for (std::size_t i = 0; i < n; ++i) {
    const double x = static_cast<double>(i), r = u(rng);
    const double grown[3] = {r, std::exp(0.3 * x) * (1.0 + 0.01 * r),
                             1.0 / (1.0 + std::exp((0.5 * n - x) / 3.0)) + 0.02 * r};
    const double plain[3] = {1e6 + r, 1e-8 * r, std::round(1.4 * r)};
    v[i] = shape < 3 ? scale * grown[shape] : plain[shape - 3];
  }
  if (rng() % 2 == 0) v[rng() % n] += 50.0 * scale;
  return v;
}

TEST(RunSmooth, MatchesTheStepByStepFilterBitForBit) {
  std::mt19937_64 rng(20240611);
  for (int curve = 0; curve < 2400; ++curve) {
    const std::size_t n = 1 + rng() % 60;  // up to 5: unchanged
    std::vector<double> values = randomCurve(rng, n);
    if (curve % 100 == 0) values[rng() % n] = std::nan("");
    const double last = values[n - 1];  // no window reaches it
    AlgVector expected = AlgVector::copyOf(values.data(), n);
    referenceRunSmooth(expected);
    ASSERT_EQ(alg_run_smooth(values.data(), n), ALG_STATUS_OK);
    ASSERT_TRUE(sameBits(values.data(), expected.data(), n)) << "curve " << curve << ", n " << n;
    ASSERT_TRUE(sameBits(&values[n - 1], &last, 1)) << "n " << n;
  }
}

TEST(RunSmooth, WorkedCurves) {
  double doubling[7] = {1, 2, 4, 8, 16, 32, 64};
  ASSERT_EQ(alg_run_smooth(doubling, 7), ALG_STATUS_OK);
  const double smoothed[7] = {2.23342, 1.36706, 3.20919, 8.71701, 17.8905, 30.7297, 64};
  for (int i = 0; i < 7; ++i)  // to half a unit in the sixth digit
    EXPECT_NEAR(doubling[i], smoothed[i],
                5e-6 * std::pow(10.0, std::floor(std::log10(smoothed[i]))));
  // Spikes go in the first value despiking (the parabola fit alone would
  // spread them); a rising parabola passes.
  const std::vector<double> parabola = {0, 1, 4, 9, 16, 25, 36};
  const std::vector<double> cases[3][2] = {{{0, 0, 0, 10, 0, 0, 0, 0}, std::vector<double>(8, 0.0)},
                                           {{1, 1, 5, 1, 1, 1}, std::vector<double>(6, 1.0)},
                                           {parabola, parabola}};
  for (const auto& c : cases) {
    std::vector<double> values = c[0];
    ASSERT_EQ(alg_run_smooth(values.data(), values.size()), ALG_STATUS_OK);
    for (std::size_t i = 0; i < values.size(); ++i) EXPECT_NEAR(values[i], c[1][i], 1e-12) << i;
  }
}

TEST(RunSmooth, LinesAndConstantsPassUnchanged) {
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  for (int curve = 0; curve < 500; ++curve) {
    const std::size_t n = 6 + rng() % 80;
    const double offset = std::pow(10.0, 6.0 * u(rng)) * u(rng);
    const double slope = curve % 5 == 0 ? 0.0 : std::pow(10.0, 4.0 * u(rng)) * u(rng);
    std::vector<double> values(n);
    for (std::size_t i = 0; i < n; ++i) values[i] = offset + slope * static_cast<double>(i);
    const std::vector<double> line = values;
    ASSERT_EQ(alg_run_smooth(values.data(), n), ALG_STATUS_OK);
    const double tolerance = 1e-13 * (std::fabs(offset) + std::fabs(slope) * n);
    for (std::size_t i = 0; i < n; ++i) EXPECT_NEAR(values[i], line[i], tolerance) << i;
  }
}

// The plain moving average: every window summed from 0.0 in index order.
std::vector<double> referenceMovingAverage(const std::vector<double>& v, std::int64_t k) {
  const auto n = static_cast<std::int64_t>(v.size());
  std::vector<double> out(v.size());
  for (std::int64_t i = 0; i < n; ++i) {
    const std::int64_t lo = std::max<std::int64_t>(0, i - k);
    const std::int64_t hi = std::min(n - 1, i + k);
    double total = 0.0;
    for (std::int64_t j = lo; j <= hi; ++j) total += v[j];
    out[i] = total / static_cast<double>(hi - lo + 1);
  }
  return out;
}

TEST(SuperSmooth, WorkedCurvesAndHalfWidths) {
  double four[4] = {1, 2, 3, 10};
  ASSERT_EQ(alg_super_smooth(four, 4, 1), ALG_STATUS_OK);
  EXPECT_EQ(std::vector<double>(four, four + 4), (std::vector<double>{1.5, 2, 5, 6.5}));

  // 0 changes nothing (but a -0.0 added to the sum's 0.0 comes back +0.0),
  // 39 and more give the whole curve's mean everywhere, 2^31 and more read
  // as negative give NaN everywhere.
  std::mt19937_64 rng(3);
  const std::vector<double> before = randomCurve(rng, 40);
  for (const std::uint32_t k : {0u, 39u, 40u, 1000u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
    std::vector<double> values = before;
    ASSERT_EQ(alg_super_smooth(values.data(), 40, k), ALG_STATUS_OK);
    const std::vector<double> expected = referenceMovingAverage(before, std::min(k, 39u));
    EXPECT_TRUE(k >= 0x80000000u || sameBits(values.data(), expected.data(), 40)) << k;
    for (const double value : values) EXPECT_TRUE(k < 0x80000000u || std::isnan(value)) << k;
    EXPECT_TRUE(k != 0 || values == before);
  }
}

TEST(SuperSmooth, MatchesThePlainMovingAverageBitForBit) {
  std::mt19937_64 rng(99);
  for (int curve = 0; curve < 700; ++curve) {
    // Every fourth curve spans more than two blocks of outputs.
    const std::size_t n = curve % 4 == 0 ? 513 + rng() % 188 : 1 + rng() % 700;
    const auto k = static_cast<std::uint32_t>(curve % 10 == 0 ? n - 1 + rng() % 3 : rng() % 41);
    std::vector<double> values = randomCurve(rng, n);
    const std::vector<double> expected = referenceMovingAverage(values, k);
    ASSERT_EQ(alg_super_smooth(values.data(), n, k), ALG_STATUS_OK);
    ASSERT_TRUE(sameBits(values.data(), expected.data(), n)) << "n " << n << ", k " << k;
  }
}

// convolvePadded by its definition, for kernels of odd length m and curves
// of at least 2h samples.
std::vector<double> referenceConvolution(const std::vector<double>& kernel,
                                         const std::vector<double>& x) {
  const std::size_t m = kernel.size(), h = m / 2, n = x.size();
  double left = 0.0, right = 0.0;
  for (std::size_t i = 0; i < h; ++i) left += x[i];
  for (std::size_t i = n - 2 * h; i < n - h; ++i) right += x[i];
  left = std::max(left / static_cast<double>(h), x[h - 1]);
  right = std::max(right / static_cast<double>(h), x[n - 1]);
  std::vector<double> b(n + m, right);
  std::fill_n(b.begin(), h, left);
  std::copy(x.begin(), x.end(), b.begin() + h);
  std::vector<double> out(n);
  for (std::size_t i = 0; i < n; ++i) {
    double total = 0.0;
    for (std::size_t j = 0; j < m; ++j) total += kernel[j] * b[i + j];
    out[i] = total;
  }
  return out;
}

const std::vector<double> kFive = {0.45, 0.25, 0.15, 0.1, 0.05};
const std::vector<double> kSeven = {0.05, 0.15, 0.2, 0.3, 0.2, 0.15, 0.05};

TEST(ConvolvePadded, WorkedCurveAndKernelDirection) {
  AlgVector x = corvel::test::vec({1, 2, 3, 4, 5, 6});
  corvel::convolvePadded(AlgVector::copyOf(kFive.data(), 5), x);
  const double expected[6] = {1.9, 1.95, 2.05, 3.05, 4.0, 4.85};
  for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(x[i], expected[i], 1e-12) << i;

  // kernel[0] weighs the sample before: (1, 0, 0) shifts right by one.
  AlgVector shifted = corvel::test::vec({3, 7, 5, 9});
  corvel::convolvePadded(corvel::test::vec({1, 0, 0}), shifted);
  EXPECT_EQ(corvel::test::elements(shifted), (std::vector<double>{3, 3, 7, 5}));
}

TEST(ConvolvePadded, MatchesTheDefinitionBitForBit) {
  std::mt19937_64 rng(5);
  for (int curve = 0; curve < 600; ++curve) {
    const std::vector<double>& kernel = curve % 2 == 0 ? kFive : kSeven;
    const std::size_t n = 2 * (kernel.size() / 2) + rng() % 120;
    const std::vector<double> values = randomCurve(rng, n);
    AlgVector x = AlgVector::copyOf(values.data(), n);
    corvel::convolvePadded(AlgVector::copyOf(kernel.data(), kernel.size()), x);
    const std::vector<double> expected = referenceConvolution(kernel, values);
    ASSERT_TRUE(sameBits(x.data(), expected.data(), n)) << "n " << n << ", m " << kernel.size();
  }
}

TEST(ConvolvePadded, CurvesShorterThanThePadsUseTheSamplesPresent) {
  const AlgVector kernel = AlgVector::copyOf(kSeven.data(), 7);
  std::mt19937_64 rng(17);
  for (int curve = 0; curve < 100; ++curve) {
    const std::size_t n = 1 + curve % 5;
    AlgVector x = AlgVector::copyOf(randomCurve(rng, n).data(), n);
    corvel::convolvePadded(kernel, x);
    for (const double value : x) ASSERT_TRUE(std::isfinite(value)) << n;
  }
  // Left pad: mean of x[0..2] = 3 (x[2] is below it); right pad: x[0] = 9
  // alone (x[3] is below it).
  AlgVector four = corvel::test::vec({9, 0, 0, 1});
  corvel::convolvePadded(kernel, four);
  const double expected[4] = {3.95, 3.0, 3.5, 4.35};
  for (std::size_t i = 0; i < 4; ++i) EXPECT_NEAR(four[i], expected[i], 1e-12) << i;
}

class SmoothingFailure : public ::testing::Test {
 protected:
  void TearDown() override { corvel::testing::failAllocation(0); }
};

TEST_F(SmoothingFailure, NullDataIsRefusedAndExhaustedMemoryChangesNothing) {
  EXPECT_EQ(alg_run_smooth(nullptr, 7), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), corvel::msg::kNullData);
  EXPECT_EQ(alg_super_smooth(nullptr, 3, 1), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), corvel::msg::kNullData);
  EXPECT_EQ(alg_run_smooth(nullptr, 0), ALG_STATUS_OK);
  EXPECT_EQ(alg_super_smooth(nullptr, 0, 4), ALG_STATUS_OK);
  EXPECT_STREQ(get_last_error(), "");

  const std::vector<double> curve = {1, 2, 4, 8, 16, 32, 64, 50, 20};
  const auto smoothers = {+[](double* d, size_t n) { return alg_run_smooth(d, n); },
                          +[](double* d, size_t n) { return alg_super_smooth(d, n, 2); }};
  for (const auto smooth : smoothers) {
    std::uint64_t failing = 1;
    for (;; ++failing) {
      ASSERT_LE(failing, 50u);
      std::vector<double> values = curve;
      corvel::testing::failAllocation(failing);
      const int status = smooth(values.data(), values.size());
      corvel::testing::failAllocation(0);
      if (status == ALG_STATUS_OK) break;
      EXPECT_EQ(status, ALG_STATUS_FAILURE) << failing;
      EXPECT_STREQ(get_last_error(), "bad allocation");
      EXPECT_TRUE(sameBits(values.data(), curve.data(), curve.size())) << failing;
    }
    EXPECT_GT(failing, 1u);
  }
}

}  // namespace

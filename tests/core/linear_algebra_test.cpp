// Forward elimination, inversion, the least-squares fits and the numeric
// Jacobian: worked values, singular and malformed input, randomized
// identities, and allocation failures part-way through.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/allocator.h"
#include "core/elimination.h"
#include "core/jacobian.h"
#include "core/matrix.h"
#include "core/messages.h"
#include "core/regression.h"
#include "core/vector.h"
#include "support/expect.h"
#include "support/fault_injection.h"

namespace corvel {
namespace {

using test::throwsWith;
using test::vec;
using Rows = std::vector<std::vector<double>>;

AlgMatrix mat(const Rows& rows) {
  AlgMatrix m(rows.size(), rows.empty() ? 0 : rows[0].size());
  for (std::size_t i = 0; i < m.rows(); ++i)
    for (std::size_t j = 0; j < m.cols(); ++j) m.at(i, j) = rows[i].at(j);
  return m;
}

Rows contents(const AlgMatrix& m) {
  Rows rows(m.rows(), std::vector<double>(m.cols()));
  for (std::size_t i = 0; i < m.rows(); ++i)
    for (std::size_t j = 0; j < m.cols(); ++j) rows[i][j] = m(i, j);
  return rows;
}

void expectNear(const AlgVector& v, const std::vector<double>& expected, double tolerance) {
  ASSERT_EQ(v.size(), expected.size());
  for (std::size_t i = 0; i < v.size(); ++i) EXPECT_NEAR(v[i], expected[i], tolerance) << i;
}

void expectNear(const AlgMatrix& m, const Rows& expected, double tolerance) {
  ASSERT_EQ(m.rows(), expected.size());
  for (std::size_t i = 0; i < m.rows(); ++i) expectNear(m.getRow(i), expected[i], tolerance);
}

TEST(EliminateForwardTest, CountsRowExchanges) {
  std::uint64_t swaps = 99;
  AlgMatrix one = mat({{1.0, 2.0}, {4.0, 4.0}});
  ASSERT_TRUE(eliminateForward(one, &swaps));
  EXPECT_EQ(swaps, 1u);
  EXPECT_EQ(contents(one), (Rows{{4.0, 4.0}, {0.0, 1.0}}));
  AlgMatrix again = mat({{1.0, 2.0}, {4.0, 4.0}});
  ASSERT_TRUE(eliminateForward(again, nullptr));
  EXPECT_EQ(contents(again), contents(one));

  // Two exchanges turn this permutation into the identity.
  AlgMatrix two = mat({{0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}, {1.0, 0.0, 0.0}});
  ASSERT_TRUE(eliminateForward(two, &swaps));
  EXPECT_EQ(swaps, 2u);
  EXPECT_EQ(contents(two), contents(AlgMatrix::identity(3)));

  // One row succeeds at once, its (zero) pivot untested; no rows fail.
  AlgMatrix single = mat({{0.0, 5.0}});
  EXPECT_TRUE(eliminateForward(single, &swaps));
  EXPECT_EQ(swaps, 0u);
  swaps = 7;
  AlgMatrix empty(0, 3);
  EXPECT_FALSE(eliminateForward(empty, &swaps));
  EXPECT_EQ(swaps, 7u);
}

TEST(EliminateForwardTest, PivotChoice) {
  std::uint64_t swaps = 7;
  // Column 1 has no pivot once column 0 is eliminated: the call stops
  // there, keeping the work done and the counter.
  AlgMatrix m = mat({{4.0, 8.0, 1.0}, {2.0, 4.0, 3.0}, {1.0, 2.0, 5.0}});
  EXPECT_FALSE(eliminateForward(m, &swaps));
  EXPECT_EQ(contents(m), (Rows{{4.0, 8.0, 1.0}, {0.0, 0.0, 2.5}, {0.0, 0.0, 4.75}}));
  EXPECT_EQ(swaps, 7u);

  const double nan = std::numeric_limits<double>::quiet_NaN();
  AlgMatrix nans = mat({{nan, 1.0}, {nan, 2.0}});
  EXPECT_FALSE(eliminateForward(nans, nullptr));

  // |2| and |-2| tie below row 0 and the upper one wins; taking row 2
  // would give rows (-2, 5, 1), (0, 6, 1), (0, 2.5, 0.5) instead.
  AlgMatrix tie = mat({{1.0, 0.0, 0.0}, {2.0, 1.0, 0.0}, {-2.0, 5.0, 1.0}});
  ASSERT_TRUE(eliminateForward(tie, &swaps));
  EXPECT_EQ(swaps, 2u);
  expectNear(tie, {{2.0, 1.0, 0.0}, {0.0, 6.0, 1.0}, {0.0, 0.0, 1.0 / 12.0}}, 1e-15);

  // The last diagonal element is never tested.
  AlgMatrix last = mat({{1.0, 2.0}, {2.0, 4.0}});
  EXPECT_TRUE(eliminateForward(last, &swaps));
  EXPECT_EQ(swaps, 1u);
  EXPECT_EQ(contents(last), (Rows{{2.0, 4.0}, {0.0, 0.0}}));
}

TEST(InvertTest, WorkedValuesAndFailures) {
  AlgMatrix m = mat({{2.0, 0.0}, {0.0, 4.0}});
  ASSERT_TRUE(invert(m));
  EXPECT_EQ(contents(m), (Rows{{0.5, 0.0}, {0.0, 0.25}}));
  m = mat({{0.0, 1.0}, {1.0, 0.0}});
  ASSERT_TRUE(invert(m));
  EXPECT_EQ(contents(m), (Rows{{0.0, 1.0}, {1.0, 0.0}}));
  m = mat({{1.0, 2.0}, {3.0, 4.0}});
  ASSERT_TRUE(invert(m));
  expectNear(m, {{-2.0, 1.0}, {1.5, -0.5}}, 1e-14);

  // No pivot in column 0: false, leaving the 2 x 4 working matrix [A | I].
  m = mat({{0.0, 1.0}, {0.0, 2.0}});
  EXPECT_FALSE(invert(m));
  EXPECT_EQ(contents(m), (Rows{{0.0, 1.0, 1.0, 0.0}, {0.0, 2.0, 0.0, 1.0}}));

  // Only the last pivot is zero: reported as inverted, not finite.
  m = mat({{1.0, 2.0}, {2.0, 4.0}});
  EXPECT_TRUE(invert(m));
  ASSERT_EQ(m.cols(), 2u);
  EXPECT_FALSE(std::all_of(m.data(), m.data() + 4, [](double x) { return std::isfinite(x); }));

  m = mat({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { invert(m); }, msg::kNotSquare));
  EXPECT_EQ(contents(m), (Rows{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}}));
}

TEST(InvertTest, RandomMatricesTimesTheirInversesGiveTheIdentity) {
  std::mt19937_64 rng(20240611);
  std::uniform_real_distribution<double> entry(-1.0, 1.0);
  for (int trial = 0; trial < 300; ++trial) {
    const std::size_t n = 1 + static_cast<std::size_t>(trial % 8);
    // Diagonally dominant rows (|diagonal| = n, the others below 1 each),
    // shuffled so that pivoting has work to do.
    AlgMatrix a(n, n);
    for (std::size_t i = 0; i < n; ++i)
      for (std::size_t j = 0; j < n; ++j) a(i, j) = entry(rng);
    for (std::size_t i = 0; i < n; ++i) a(i, i) = std::copysign(static_cast<double>(n), a(i, i));
    for (std::size_t i = n; i > 1; --i)
      a.swapRows(i - 1, std::uniform_int_distribution<std::size_t>(0, i - 1)(rng));
    AlgMatrix product = a;
    ASSERT_TRUE(invert(product)) << "trial " << trial;
    product.multiply(a);
    SCOPED_TRACE("trial " + std::to_string(trial));
    expectNear(product, contents(AlgMatrix::identity(n)), 1e-12 * static_cast<double>(n));
  }
}

TEST(QuadraticFitTest, WorkedValuesAndFailures) {
  const AlgVector exact = quadraticFit(vec({0.0, 1.0, 2.0, 3.0}), vec({1.0, 3.0, 7.0, 13.0}));
  expectNear(exact, {1.0, 1.0, 1.0}, 1e-12);
  // No parabola passes through these; the normal equations give (-1/7, 0, 17/35).
  const AlgVector fit =
      quadraticFit(vec({-2.0, -1.0, 0.0, 1.0, 2.0}), vec({0.0, 0.0, 1.0, 0.0, 0.0}));
  expectNear(fit, {-1.0 / 7.0, 0.0, 17.0 / 35.0}, 1e-12);

  const auto fails = [](const AlgVector& x, const AlgVector& y, const char* message) {
    return throwsWith<std::invalid_argument>([&] { quadraticFit(x, y); }, message);
  };
  const AlgVector zeros = vec({0.0, 0.0, 0.0, 0.0});
  EXPECT_TRUE(fails(zeros, vec({1.0, 2.0, 3.0, 4.0}), msg::kMatrixMultiplyShape));
  EXPECT_TRUE(fails(AlgVector(), AlgVector(), msg::kMatrixMultiplyShape));
  // The singular projection fails before the lengths are compared.
  EXPECT_TRUE(fails(zeros, vec({1.0}), msg::kMatrixMultiplyShape));
  EXPECT_TRUE(fails(vec({0.0, 1.0, 2.0, 3.0}), vec({1.0, 3.0, 7.0}), msg::kMatrixVectorShape));
}

TEST(QuadraticFitTest, RecoversRandomParabolas) {
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> coefficient(-5.0, 5.0);
  std::uniform_real_distribution<double> abscissa(-3.0, 3.0);
  for (int trial = 0; trial < 200; ++trial) {
    const std::vector<double> abc = {coefficient(rng), coefficient(rng), coefficient(rng)};
    const std::size_t n = 3 + static_cast<std::size_t>(trial % 18);
    AlgVector x(n), y(n);
    for (std::size_t i = 0; i < n; ++i) {
      x[i] = abscissa(rng);
      y[i] = (abc[0] * x[i] + abc[1]) * x[i] + abc[2];
    }
    SCOPED_TRACE("trial " + std::to_string(trial));
    expectNear(quadraticFit(x, y), abc, 1e-7);
  }
}

TEST(LinearRegressionTest, WorkedValuesAndDegenerateInput) {
  const LinearFit exact = linearRegression(vec({1.0, 2.0, 3.0}), vec({2.0, 4.0, 6.0}));
  EXPECT_EQ(exact.slope, 2.0);
  EXPECT_EQ(exact.intercept, 0.0);
  EXPECT_EQ(exact.rmse, 0.0);
  EXPECT_EQ(exact.rSquared, 1.0);
  // Residuals -0.5, 1, -0.5: SSE 1.5 over n = 3 points (not n - 2), SST 2.
  const LinearFit scattered = linearRegression(vec({0.0, 1.0, 2.0}), vec({0.0, 2.0, 1.0}));
  EXPECT_DOUBLE_EQ(scattered.slope, 0.5);
  EXPECT_DOUBLE_EQ(scattered.intercept, 0.5);
  EXPECT_DOUBLE_EQ(scattered.rmse, std::sqrt(0.5));
  EXPECT_DOUBLE_EQ(scattered.rSquared, 0.25);

  const AlgVector x = vec({1.0, 2.0, 3.0});
  const auto mismatched = [&] { linearRegression(x, vec({1.0, 2.0})); };
  EXPECT_TRUE(throwsWith<std::invalid_argument>(mismatched, msg::kVectorMultiplyLength));
  const LinearFit none = linearRegression(AlgVector(), AlgVector());
  for (double field : {none.slope, none.intercept, none.rmse, none.rSquared})
    EXPECT_TRUE(std::isnan(field));
  EXPECT_FALSE(std::isfinite(linearRegression(vec({2.0, 2.0, 2.0}), x).slope));
  const LinearFit flat = linearRegression(x, vec({5.0, 5.0, 5.0}));
  EXPECT_EQ(flat.slope, 0.0);
  EXPECT_FALSE(std::isfinite(flat.rSquared));
}

// The model (2 p0, p0 p1, exp(10 p2)), recording the parameters it sees; a
// script can change its output length or make evaluation k (1-based) throw.
struct Probe {
  std::vector<std::vector<double>> seen;
  std::vector<std::size_t> lengths;
  std::size_t throwAt = 0;
};

void probeModel(void* context, const AlgVector& p, AlgVector& values) {
  Probe& probe = *static_cast<Probe*>(context);
  probe.seen.push_back(test::elements(p));
  const std::size_t k = std::min(probe.seen.size(), probe.lengths.size());
  if (probe.seen.size() == probe.throwAt) throw std::runtime_error("model failed");
  values.resize(k == 0 ? 3 : probe.lengths[k - 1]);
  const double f[] = {2.0 * p[0], p[0] * p[1], std::exp(10.0 * p[2])};
  for (std::size_t i = 0; i < values.size() && i < 3; ++i) values[i] = f[i];
}

TEST(NumericJacobianTest, CentralDifferencesAtTheEntryParameters) {
  const std::vector<double> entry = {1.0, 3.0, 0.0};
  AlgVector p = AlgVector::copyOf(entry.data(), entry.size());
  AlgMatrix j = mat({{9.0, 9.0, 9.0, 9.0, 9.0}});
  Probe probe;
  numericJacobian(probeModel, &probe, p, j);
  expectNear(j, {{2.0, 0.0, 0.0}, {3.0, 1.0, 0.0}, {0.0, 0.0, 10.0}}, 1e-6);
  // A one-sided difference would be 2.5e-6 off on exp(10 p2).
  EXPECT_NEAR(j(2, 2), 10.0, 1e-7);
  // One evaluation at the entry values, then two per parameter with only
  // that parameter moved, by 5e-8 either way.
  ASSERT_EQ(probe.seen.size(), 7u);
  EXPECT_EQ(probe.seen[0], entry);
  for (std::size_t k = 0; k < 3; ++k) {
    std::vector<double> below = entry, above = entry;
    below[k] -= 5e-8;
    above[k] += 5e-8;
    const auto pair = std::minmax(probe.seen[1 + 2 * k], probe.seen[2 + 2 * k]);
    EXPECT_EQ(pair.first, below) << "parameter " << k;
    EXPECT_EQ(pair.second, above) << "parameter " << k;
  }
  // Bit for bit: undoing the step by arithmetic would not give 1 back.
  ASSERT_NE((1.0 + 5e-8) - 5e-8, 1.0);
  EXPECT_EQ(std::memcmp(p.data(), entry.data(), sizeof(double) * 3), 0);
}

TEST(NumericJacobianTest, OutputLengthChangesAndModelFailures) {
  const std::vector<double> entry = {1.0, 3.7, 0.3};
  const auto run = [&](Probe probe) {
    AlgVector p = AlgVector::copyOf(entry.data(), entry.size());
    AlgMatrix j;
    try {
      numericJacobian(probeModel, &probe, p, j);
    } catch (...) {
      EXPECT_EQ(std::memcmp(p.data(), entry.data(), sizeof(double) * 3), 0);
      throw;
    }
  };
  using E = std::invalid_argument;
  // The two perturbed outputs differ; then both differ from the first.
  EXPECT_TRUE(throwsWith<E>([&] { run({{}, {3, 3, 2}}); }, msg::kVectorSubtractLength));
  EXPECT_TRUE(throwsWith<E>([&] { run({{}, {3, 2, 2}}); }, msg::kColumnLengthMismatch));
  // A failure at any evaluation reaches the caller, with every parameter
  // back at its entry value.
  for (std::size_t k = 1; k <= 7; ++k)
    EXPECT_TRUE(throwsWith<std::runtime_error>([&] { run({{}, {}, k}); }, "model failed")) << k;
}

// Every allocation failing in turn: the failure reaches the caller, and the
// sanitizer build checks that nothing leaks on the way.
TEST(LinearAlgebraAllocationTest, FailuresPropagateWithoutLeaks) {
  const AlgMatrix a = mat({{0.0, 2.0, 1.0}, {3.0, 1.0, 0.0}, {1.0, 0.0, 4.0}});
  const auto nothing = [] {};
  AlgMatrix product;
  const auto inverse = [&] {
    product = a;
    if (invert(product)) product.multiply(a);
  };
  EXPECT_TRUE(test::failEachAllocationInTurn(inverse, nothing, 200));
  expectNear(product, contents(AlgMatrix::identity(3)), 1e-14);
  AlgVector fit;
  const auto quadratic = [&] {
    fit = quadraticFit(vec({0.0, 1.0, 2.0, 3.0}), vec({1.0, 3.0, 7.0, 13.0}));
  };
  EXPECT_TRUE(test::failEachAllocationInTurn(quadratic, nothing, 500));
  expectNear(fit, {1.0, 1.0, 1.0}, 1e-12);
}

}  // namespace
}  // namespace corvel

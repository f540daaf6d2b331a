// The melting-curve exports: the derivative melting curve of alg_melting, with
// its start correction, and the noise-floor removal of alg_melting_normalization.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "CorvelAlg.h"
#include "core/allocator.h"
#include "core/messages.h"
#include "core/vector.h"
#include "melting/melting_derivative.h"
#include "signal/convolution.h"
#include "signal/derivative.h"
#include "signal/grid.h"
#include "signal/smoothing.h"
#include "signal/spline.h"

namespace {

using corvel::AlgVector;
namespace msg = corvel::msg;

bool sameBits(const double* a, const double* b, std::size_t n) {
  return n == 0 || std::memcmp(a, b, n * sizeof(double)) == 0;
}

// One alg_melting call; a failure must leave all three out-parameters alone.
struct Melt {
  int status;
  std::string message;
  std::vector<double> grid, derivative;
};

double guardCell = -123.0;

Melt melt(const std::vector<double>& t, const std::vector<double>& f) {
  std::size_t count = 777;
  double *grid = &guardCell, *derivative = &guardCell;
  const int status = alg_melting(t.size(), t.data(), f.data(), &count, &grid, &derivative);
  Melt m{status, get_last_error(), {}, {}};
  if (m.status != ALG_STATUS_OK) {
    EXPECT_TRUE(count == 777u && grid == &guardCell && derivative == &guardCell)
        << "out-parameters written on failure";
    return m;
  }
  m.grid.assign(grid, grid + count);
  m.derivative.assign(derivative, derivative + count);
  alg_darray_release(&grid);
  alg_darray_release(&derivative);
  return m;
}

// The derivative step by step; false where the start correction refuses.
bool referenceMelting(const std::vector<double>& t, const std::vector<double>& f, AlgVector& grid,
                      AlgVector& out) {
  const std::size_t n = t.size();
  const AlgVector weights = corvel::meltingWeights();
  AlgVector fs = AlgVector::copyOf(f.data(), n);
  corvel::convolvePadded(weights, fs);
  grid = corvel::uniformGrid(t[0], t[n - 1], 10 * (n - 1));
  AlgVector d;
  corvel::splineInterpolate(AlgVector::copyOf(t.data(), n), fs, grid, d);
  corvel::convolvePadded(weights, d);
  corvel::centralDerivative(d);
  for (double& v : d) v = -v;
  corvel::convolvePadded(weights, d);
  for (double& v : d) v = (v * (1.0 / (t[3] - t[2]))) * 10.0;

  const double step = (t[3] - t[2]) / 10.0;
  const double points = 5.0 / step;  // outside the 32-bit range (or NaN): most negative
  const std::int64_t k = points > -2147483649.0 && points < 2147483648.0
                             ? static_cast<std::int64_t>(points)
                             : INT32_MIN;
  if (k < 0 || d.size() <= static_cast<std::size_t>(k)) return false;
  double sum = 0.0;
  for (std::int64_t i = 0; i < k; ++i) sum += d[i];
  const double level = (sum / static_cast<double>(k) + d[k]) * 0.5;
  const double rise = (d[k] - level) / 5.0;
  for (std::int64_t i = 0; i < k; ++i) d[i] = static_cast<double>(i) * (rise * step) + level;
  corvel::superSmooth(d, 30);
  out.swap(d);
  return true;
}

// A realistic raw melting run: one or two sigmoid drops on a sloping
// background, with noise, and sometimes slightly uneven temperatures.
void randomRun(std::mt19937_64& rng, std::vector<double>& t, std::vector<double>& f) {
  std::uniform_real_distribution<double> u(0.0, 1.0);
  const std::size_t n = 8 + rng() % 193;
  const double step = 0.1 + 0.9 * u(rng), t0 = 40.0 + 25.0 * u(rng);
  const double jitter = rng() % 2 == 0 ? 0.02 * step : 0.0;
  const double span = step * static_cast<double>(n - 1),
               height = std::pow(10.0, 2.0 + 3.0 * u(rng));
  const int drops = 1 + static_cast<int>(rng() % 2);
  double tm[2], width[2];
  for (int p = 0; p < drops; ++p) tm[p] = t0 + span * (0.2 + 0.6 * u(rng)), width[p] = 0.3 + u(rng);
  t.resize(n), f.resize(n);
  for (std::size_t i = 0; i < n; ++i) {
    t[i] = t0 + step * static_cast<double>(i) + jitter * (u(rng) - 0.5);
    f[i] = height * (0.3 - 0.004 * (t[i] - t0)) + height * 0.01 * (u(rng) - 0.5);
    for (int p = 0; p < drops; ++p)
      f[i] += height / drops / (1.0 + std::exp((t[i] - tm[p]) / width[p]));
  }
}

TEST(Melting, MatchesTheStepByStepDerivativeBitForBit) {
  std::mt19937_64 rng(61);
  int succeeded = 0;
  for (int run = 0; run < 300; ++run) {
    std::vector<double> t, f;
    randomRun(rng, t, f);
    AlgVector grid, expected;
    const bool ok = referenceMelting(t, f, grid, expected);
    const Melt m = melt(t, f);
    if (!ok) {
      EXPECT_EQ(m.status, ALG_STATUS_INVALID_ARGUMENT) << run;
      EXPECT_EQ(m.message, msg::kMeltTooShort) << run;
      continue;
    }
    ++succeeded;
    ASSERT_EQ(m.status, ALG_STATUS_OK) << run << ": " << m.message;
    ASSERT_EQ(m.grid.size(), 10 * t.size() - 9) << run;
    ASSERT_EQ(m.derivative.size(), expected.size()) << run;
    ASSERT_TRUE(sameBits(m.grid.data(), grid.data(), grid.size())) << run;
    ASSERT_TRUE(sameBits(m.derivative.data(), expected.data(), expected.size())) << run;
  }
  EXPECT_GT(succeeded, 250);
}

std::vector<double> evenly(double first, double step, std::size_t n) {
  std::vector<double> t(n);
  for (std::size_t i = 0; i < n; ++i) t[i] = first + step * static_cast<double>(i);
  return t;
}

TEST(Melting, SampleCountsAgainstTheFiveDegreeStart) {
  const std::vector<double> f(12, 50.0);
  const auto first = [&f](std::size_t n) { return std::vector<double>(f.begin(), f.begin() + n); };
  Melt m = melt(evenly(60, 1, 3), first(3));
  EXPECT_TRUE(m.status == ALG_STATUS_INVALID_ARGUMENT && m.message == msg::kTooFewTemperatures);
  // One-degree steps: k = 50 grid points, so M = 41 is too short and 51 enough.
  m = melt(evenly(60, 1, 5), first(5));
  EXPECT_TRUE(m.status == ALG_STATUS_INVALID_ARGUMENT && m.message == msg::kMeltTooShort);
  m = melt(evenly(60, 1, 6), first(6));
  ASSERT_EQ(m.status, ALG_STATUS_OK);
  EXPECT_TRUE(m.message.empty() && m.grid.size() == 51u);
  // k = trunc(5 / 0.098) = 51 and M = 51: one grid point short.
  EXPECT_EQ(melt(evenly(60, 0.98, 6), first(6)).message, msg::kMeltTooShort);
  // Half-degree steps: k = 100 needs eleven samples.
  EXPECT_EQ(melt(evenly(60, 0.5, 10), first(10)).message, msg::kMeltTooShort);
  EXPECT_EQ(melt(evenly(60, 0.5, 11), first(11)).status, ALG_STATUS_OK);
  // A zero or reversed step T[3] - T[2] refuses the start correction.
  EXPECT_EQ(melt({60, 61, 62, 62, 64, 65, 66, 67}, first(8)).message, msg::kMeltTooShort);
  EXPECT_EQ(melt({60, 61, 63, 62, 64, 65, 66, 67}, first(8)).message, msg::kMeltTooShort);
}

TEST(Melting, WideStepsAndShortCurves) {
  // Steps of 20 degrees give k = 2, steps above 50 give k = 0 (no ramp, its
  // NaN level unused); 4 and 5 samples need the restricted pads.
  const std::vector<double> f = {900, 850, 400, 120, 100, 95};
  for (const double step : {20.0, 60.0})
    for (std::size_t n = 4; n <= 6; ++n) {
      const std::vector<double> t = evenly(30, step, n), fn(f.begin(), f.begin() + n);
      AlgVector grid, expected;
      ASSERT_TRUE(referenceMelting(t, fn, grid, expected));
      const Melt m = melt(t, fn);
      ASSERT_EQ(m.status, ALG_STATUS_OK) << n << " " << step << ": " << m.message;
      ASSERT_EQ(m.derivative.size(), 10 * n - 9);
      EXPECT_TRUE(sameBits(m.derivative.data(), expected.data(), expected.size())) << n;
      for (double v : m.derivative) ASSERT_TRUE(std::isfinite(v)) << n << " " << step;
    }
}

TEST(Melting, GridConstantCurveSlopeAndPeak) {
  // A grid whose running sum misses the end still ends on T[count-1].
  const std::vector<double> t = evenly(60.3, 0.3, 40);
  Melt m = melt(t, std::vector<double>(40, 812.5));
  ASSERT_EQ(m.status, ALG_STATUS_OK);
  ASSERT_EQ(m.grid.size(), 391u);
  EXPECT_TRUE(m.grid.front() == t.front() && m.grid.back() == t.back());
  for (double v : m.derivative) ASSERT_EQ(v, 0.0);

  // A straight fall of 3 per degree: three kernel passes of weight 1.1 make
  // 3 * 1.331 per degree away from the padded ends.
  std::vector<double> line = evenly(50, 0.5, 81), f(81);
  for (std::size_t i = 0; i < 81; ++i) f[i] = 500.0 - 3.0 * line[i];
  m = melt(line, f);
  ASSERT_EQ(m.status, ALG_STATUS_OK);
  for (std::size_t i = 300; i <= 500; i += 50) EXPECT_NEAR(m.derivative[i], 3.993, 1e-9) << i;

  // A sigmoid drop at 75.2: a positive peak within two grid steps of it.
  for (std::size_t i = 0; i < 81; ++i)
    f[i] = 40.0 + 1000.0 / (1.0 + std::exp((line[i] - 75.2) / 0.8));
  m = melt(line, f);
  ASSERT_EQ(m.status, ALG_STATUS_OK);
  const auto peak = std::max_element(m.derivative.begin(), m.derivative.end());
  EXPECT_GT(*peak, 0.0);
  EXPECT_NEAR(m.grid[peak - m.derivative.begin()], 75.2, 0.1);
}

TEST(Melting, StartCorrectionRampsTheFirstFiveDegrees) {
  // Step 2 per grid point: k = 2, mean 6, level 13, slope 1.4 per degree.
  std::vector<double> s(100, 20.0);
  s[0] = 4.0, s[1] = 8.0;
  AlgVector out;
  corvel::correctMeltStart(AlgVector::copyOf(evenly(0, 20, 4).data(), 4),
                           AlgVector::copyOf(s.data(), 100), out);
  ASSERT_EQ(out.size(), 100u);
  EXPECT_DOUBLE_EQ(out[0], (13.0 + 15.8 + 29 * 20.0) / 31.0);
  EXPECT_DOUBLE_EQ(out[31], (15.8 + 60 * 20.0) / 61.0);
  EXPECT_TRUE(out[32] == 20.0 && out[99] == 20.0);
}

TEST(Melting, RefusalsAndExhaustedMemoryLeaveTheOutParametersAlone) {
  const std::vector<double> t = evenly(60, 1, 12), f = {9, 9, 8, 8, 7, 5, 3, 2, 2, 1, 1, 1};
  std::size_t count = 777;
  double *grid = &guardCell, *derivative = &guardCell;
  const auto untouched = [&] { return count == 777u && grid == &guardCell && derivative == grid; };
  const int refused[] = {alg_melting(12, nullptr, f.data(), &count, &grid, &derivative),
                         alg_melting(12, t.data(), nullptr, &count, &grid, &derivative),
                         alg_melting(12, t.data(), f.data(), nullptr, &grid, &derivative),
                         alg_melting(12, t.data(), f.data(), &count, nullptr, &derivative),
                         alg_melting(12, t.data(), f.data(), &count, &grid, nullptr)};
  for (const int status : refused) EXPECT_EQ(status, ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), msg::kNullData);
  EXPECT_EQ(alg_melting(0, nullptr, nullptr, &count, &grid, &derivative),
            ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), msg::kTooFewTemperatures);
  EXPECT_TRUE(untouched());

  const Melt clean = melt(t, f);
  ASSERT_EQ(clean.status, ALG_STATUS_OK);
  std::uint64_t k = 1;
  for (; k < 200; ++k) {
    corvel::testing::failAllocation(k);
    const int status = alg_melting(12, t.data(), f.data(), &count, &grid, &derivative);
    corvel::testing::failAllocation(0);
    if (status == ALG_STATUS_OK) break;
    EXPECT_EQ(status, ALG_STATUS_FAILURE) << k;
    EXPECT_STREQ(get_last_error(), msg::kBadAllocation) << k;
    ASSERT_TRUE(untouched()) << k;
  }
  EXPECT_GT(k, 10u);
  ASSERT_EQ(count, 111u);
  EXPECT_TRUE(sameBits(grid, clean.grid.data(), count));
  EXPECT_TRUE(sameBits(derivative, clean.derivative.data(), count));
  alg_darray_release(&grid);
  alg_darray_release(&derivative);
}

std::vector<double> normalized(std::vector<double> v) {
  EXPECT_EQ(alg_melting_normalization(v.data(), v.size()), ALG_STATUS_OK);
  return v;
}

double floorOf(const std::vector<double>& v) {
  double sum = 0.0, squares = 0.0;
  for (double x : v) sum += x;
  const double mean = sum / static_cast<double>(v.size());
  for (double x : v) squares += (x - mean) * (x - mean);
  return std::sqrt(squares / static_cast<double>(v.size())) * 0.1 + mean * 0.9;
}

TEST(MeltingNormalization, FloorRemoval) {
  const double floor = std::sqrt(18.75) * 0.1 + 2.5 * 0.9;
  EXPECT_NEAR(floor, 2.6830, 5e-5);
  const std::vector<double> worked = normalized({0, 0, 0, 10}), w = {0, 0, 0, 10 - floor};
  EXPECT_TRUE(sameBits(worked.data(), w.data(), 4));
  const double c = 2.75, tenth = c - (0.0 * 0.1 + c * 0.9);
  EXPECT_NEAR(tenth, 0.275, 1e-15);
  EXPECT_EQ(normalized(std::vector<double>(6, c)), std::vector<double>(6, tenth));
  EXPECT_EQ(normalized({-1, -0.5, -7, -1e-300}), std::vector<double>(4, 0.0));

  // A value that is its own floor stays.
  std::vector<double> v = {0, 0, 0, 10, 3};
  for (int i = 0; i < 100 && floorOf(v) != v[4]; ++i) v[4] = floorOf(v);
  const double f = floorOf(v);
  ASSERT_EQ(v[4], f);
  const std::vector<double> fixed = normalized(v), want = {0, 0, 0, 10 - f, f};
  EXPECT_TRUE(sameBits(fixed.data(), want.data(), 5));

  // A negative floor zeroes the negatives without lowering them; a NaN
  // floor zeroes the negatives and keeps everything else.
  ASSERT_LT(floorOf({-10, -10, 1, 2}), 0.0);
  EXPECT_EQ(normalized({-10, -10, 1, 2}), (std::vector<double>{0, 0, 1, 2}));
  const std::vector<double> nan = normalized({1, std::nan(""), -2, 5});
  EXPECT_TRUE(nan[0] == 1 && std::isnan(nan[1]) && nan[2] == 0 && nan[3] == 5);
}

TEST(MeltingNormalization, EmptyCurveAndExhaustedMemory) {
  EXPECT_EQ(alg_melting_normalization(nullptr, 0), ALG_STATUS_OK);
  double untouched = -4.0;
  EXPECT_TRUE(alg_melting_normalization(&untouched, 0) == ALG_STATUS_OK && untouched == -4.0);
  EXPECT_EQ(alg_melting_normalization(nullptr, 3), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), msg::kNullData);

  const std::vector<double> curve = {0.5, -1, 3, 9, 2, 0};
  std::vector<double> v = curve;
  std::uint64_t k = 1;
  for (; k < 50; ++k, v = curve) {
    corvel::testing::failAllocation(k);
    const int status = alg_melting_normalization(v.data(), v.size());
    corvel::testing::failAllocation(0);
    if (status == ALG_STATUS_OK) break;
    EXPECT_EQ(status, ALG_STATUS_FAILURE);
    EXPECT_STREQ(get_last_error(), msg::kBadAllocation);
    EXPECT_EQ(v, curve) << k;
  }
  EXPECT_GT(k, 1u);
  EXPECT_EQ(v, normalized(curve));
}

}  // namespace

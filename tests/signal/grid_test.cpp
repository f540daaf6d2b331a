// Evenly spaced grids: the internal grid operations and the exports
// alg_interpolation_x() and alg_increasing().
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

#include "CorvelAlg.h"
#include "core/allocator.h"
#include "core/vector.h"
#include "signal/grid.h"

namespace {

// A value no grid of these tests contains, for the unwritten parts of a
// caller's buffer.
constexpr double kGuard = -9.87654321e300;

// "数组过少无法操作。" in code page 936.
const char kTooFewMessage[] =
    "\xca\xfd\xd7\xe9\xb9\xfd\xc9\xd9\xce\xde\xb7\xa8\xb2\xd9\xd7\xf7\xa1\xa3";
// "length 长度必需大于0" in code page 936.
const char kLengthMessage[] =
    "length \xb3\xa4\xb6\xc8\xb1\xd8\xd0\xe8\xb4\xf3\xd3\xda"
    "0";

std::uint64_t bits(double value) {
  std::uint64_t b;
  std::memcpy(&b, &value, sizeof b);
  return b;
}

// A caller buffer of `room` doubles plus `guards` guard elements after it,
// all set to kGuard.
std::vector<double> guardedBuffer(std::size_t room, std::size_t guards = 2) {
  return std::vector<double>(room + guards, kGuard);
}

void expectUntouchedFrom(const std::vector<double>& buffer, std::size_t from) {
  for (std::size_t i = from; i < buffer.size(); ++i) {
    EXPECT_EQ(bits(buffer[i]), bits(kGuard)) << "element " << i << " was written";
  }
}

// The reference grid: each point the previous one plus the step.
std::vector<double> runningSum(double start, double step, std::size_t count) {
  std::vector<double> values(count);
  values[0] = start;
  for (std::size_t i = 1; i < count; ++i) values[i] = values[i - 1] + step;
  return values;
}

class GridTest : public ::testing::Test {
 protected:
  void TearDown() override { corvel::testing::failAllocation(0); }
};

TEST_F(GridTest, RefinesTheSpanOfTheInput) {
  const double x[3] = {20.0, 21.0, 22.0};
  std::vector<double> out = guardedBuffer(9);
  ASSERT_EQ(alg_interpolation_x(x, 3, 4, out.data()), ALG_STATUS_OK);
  const double expected[9] = {20.0, 20.25, 20.5, 20.75, 21.0, 21.25, 21.5, 21.75, 22.0};
  for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(out[i], expected[i]) << i;
  expectUntouchedFrom(out, 9);
  EXPECT_STREQ(get_last_error(), "");
}

TEST_F(GridTest, OnlyTheEndsOfTheInputMatter) {
  const double regular[3] = {20.0, 21.0, 22.0};
  const double wild[3] = {20.0, 95.0, 22.0};
  std::vector<double> a = guardedBuffer(9);
  std::vector<double> b = guardedBuffer(9);
  ASSERT_EQ(alg_interpolation_x(regular, 3, 4, a.data()), ALG_STATUS_OK);
  ASSERT_EQ(alg_interpolation_x(wild, 3, 4, b.data()), ALG_STATUS_OK);
  for (std::size_t i = 0; i < a.size(); ++i) EXPECT_EQ(bits(a[i]), bits(b[i])) << i;

  // Five unordered values, factor 2: 4 * 2 intervals over [1, 5].
  const double five[5] = {1.0, -40.0, 1e9, std::nan(""), 5.0};
  std::vector<double> out = guardedBuffer(9);
  ASSERT_EQ(alg_interpolation_x(five, 5, 2, out.data()), ALG_STATUS_OK);
  for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(out[i], 1.0 + 0.5 * static_cast<double>(i)) << i;
  expectUntouchedFrom(out, 9);
}

TEST_F(GridTest, DecreasingInputGivesADecreasingGrid) {
  const double x[3] = {22.0, 21.0, 20.0};
  std::vector<double> out = guardedBuffer(9);
  ASSERT_EQ(alg_interpolation_x(x, 3, 4, out.data()), ALG_STATUS_OK);
  for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(out[i], 22.0 - 0.25 * static_cast<double>(i)) << i;
  expectUntouchedFrom(out, 9);
}

TEST_F(GridTest, EndsExactlyOnTheLastAbscissa) {
  // Step 1/3: the three sums 1/3, 2/3, 1 that the grid is made of.
  const double thirds[4] = {0.0, 0.5, 0.7, 1.0};
  std::vector<double> out = guardedBuffer(4);
  ASSERT_EQ(alg_interpolation_x(thirds, 4, 1, out.data()), ALG_STATUS_OK);
  const std::vector<double> reference = runningSum(0.0, 1.0 / 3.0, 3);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(bits(out[i]), bits(reference[i])) << i;
  EXPECT_EQ(out[3], 1.0);
  expectUntouchedFrom(out, 4);

  // Step 0.1 over ten intervals: the running sum really misses 1.
  const double tenths[3] = {0.0, 0.5, 1.0};
  const std::vector<double> sum = runningSum(0.0, 0.1, 11);
  ASSERT_NE(sum[10], 1.0) << "the example no longer exercises the correction";
  out = guardedBuffer(11);
  ASSERT_EQ(alg_interpolation_x(tenths, 3, 5, out.data()), ALG_STATUS_OK);
  for (std::size_t i = 0; i < 10; ++i) EXPECT_EQ(bits(out[i]), bits(sum[i])) << i;
  EXPECT_EQ(bits(out[10]), bits(1.0));
  expectUntouchedFrom(out, 11);
}

TEST_F(GridTest, GridIsARunningSumNotAProduct) {
  const double x[3] = {0.1, 3.0, 7.3};
  const std::int64_t factor = 50;
  const std::size_t points = 2 * factor + 1;
  const double step = (7.3 - 0.1) / static_cast<double>(points - 1);
  const std::vector<double> reference = runningSum(0.1, step, points);

  std::vector<double> out = guardedBuffer(points);
  ASSERT_EQ(alg_interpolation_x(x, 3, factor, out.data()), ALG_STATUS_OK);
  bool differsFromProduct = false;
  for (std::size_t i = 0; i + 1 < points; ++i) {
    EXPECT_EQ(bits(out[i]), bits(reference[i])) << i;
    if (out[i] != 0.1 + static_cast<double>(i) * step) differsFromProduct = true;
  }
  EXPECT_TRUE(differsFromProduct) << "no point tells a running sum from start + i * step";
  EXPECT_EQ(out[points - 1], 7.3);
  expectUntouchedFrom(out, points);
}

TEST_F(GridTest, FactorZeroGivesTheLastAbscissaAlone) {
  const double x[3] = {3.0, 4.0, 5.0};
  std::vector<double> out = guardedBuffer(1);
  ASSERT_EQ(alg_interpolation_x(x, 3, 0, out.data()), ALG_STATUS_OK);
  EXPECT_EQ(out[0], 5.0);
  expectUntouchedFrom(out, 1);

  const corvel::AlgVector single = corvel::uniformGrid(3.0, 5.0, 0);
  ASSERT_EQ(single.size(), 1u);
  EXPECT_EQ(single[0], 5.0);
}

TEST_F(GridTest, NanStartStillEndsOnTheLastAbscissa) {
  const double x[3] = {std::nan(""), 5.0, 10.0};
  std::vector<double> out = guardedBuffer(3);
  ASSERT_EQ(alg_interpolation_x(x, 3, 1, out.data()), ALG_STATUS_OK);
  EXPECT_TRUE(std::isnan(out[0]));
  EXPECT_TRUE(std::isnan(out[1]));
  EXPECT_EQ(out[2], 10.0);
}

TEST_F(GridTest, FewerThanThreeValuesAreRefused) {
  const double x[2] = {1.0, 2.0};
  std::vector<double> out = guardedBuffer(0, 4);
  EXPECT_EQ(alg_interpolation_x(x, 2, 4, out.data()), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), kTooFewMessage);
  EXPECT_EQ(alg_interpolation_x(x, 1, 4, out.data()), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), kTooFewMessage);
  // A count of 0 never reads the pointer.
  EXPECT_EQ(alg_interpolation_x(nullptr, 0, 4, out.data()), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), kTooFewMessage);
  expectUntouchedFrom(out, 0);

  const corvel::AlgVector two = corvel::AlgVector::copyOf(x, 2);
  EXPECT_THROW(corvel::interpolationGrid(two, 4), std::invalid_argument);
}

TEST_F(GridTest, NegativeFactorIsAnUnrepresentableSize) {
  const double x[3] = {0.0, 1.0, 2.0};
  for (const std::int64_t factor :
       {std::int64_t{-1}, std::int64_t{-3}, std::numeric_limits<std::int64_t>::min()}) {
    std::vector<double> out = guardedBuffer(0, 8);
    EXPECT_EQ(alg_interpolation_x(x, 3, factor, out.data()), ALG_STATUS_FAILURE) << factor;
    EXPECT_STREQ(get_last_error(), "bad array new length");
    expectUntouchedFrom(out, 0);
  }
}

TEST_F(GridTest, GridTooLargeToCountIsRefusedBeforeAllocating) {
  // (2^64 - 1) / 3: three intervals of this factor give N = 2^64 - 1, so
  // N + 1 points do not fit in 64 bits.
  const std::int64_t third = static_cast<std::int64_t>(UINT64_MAX / 3);
  const double four[4] = {0.0, 1.0, 2.0, 3.0};
  std::vector<double> out = guardedBuffer(0, 8);
  corvel::testing::failAllocation(0);  // only counts
  EXPECT_EQ(alg_interpolation_x(four, 4, third, out.data()), ALG_STATUS_FAILURE);
  EXPECT_STREQ(get_last_error(), "bad array new length");
  // The copy of the input is the one allocation made.
  EXPECT_EQ(corvel::testing::allocationsSinceArmed(), 1u);
  expectUntouchedFrom(out, 0);

  // The same through the internal count, at the boundary.
  EXPECT_THROW(corvel::refinedIntervals(3, third), std::bad_array_new_length);
  EXPECT_THROW(corvel::refinedIntervals(SIZE_MAX, 2), std::bad_array_new_length);
  const std::int64_t maxFactor = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(corvel::refinedIntervals(2, maxFactor), UINT64_MAX - 1);
  EXPECT_EQ(corvel::refinedIntervals(SIZE_MAX - 1, 1), UINT64_MAX - 1);
  EXPECT_THROW(corvel::refinedIntervals(SIZE_MAX, 1), std::bad_array_new_length);
  EXPECT_EQ(corvel::refinedIntervals(SIZE_MAX, 0), 0u);
}

TEST_F(GridTest, GridTooLargeToAllocateFailsCleanly) {
  const double x[3] = {0.0, 1.0, 2.0};
  // N + 1 fits in 64 bits but its byte size does not.
  std::vector<double> out = guardedBuffer(0, 8);
  EXPECT_EQ(alg_interpolation_x(x, 3, std::numeric_limits<std::int64_t>::max(), out.data()),
            ALG_STATUS_FAILURE);
  EXPECT_STREQ(get_last_error(), "bad array new length");
  // A byte size that fits but that no memory can hold.
  EXPECT_EQ(alg_interpolation_x(x, 3, std::int64_t{1} << 59, out.data()), ALG_STATUS_FAILURE);
  EXPECT_STREQ(get_last_error(), "bad allocation");
  expectUntouchedFrom(out, 0);
}

TEST_F(GridTest, ExhaustedMemoryLeavesTheOutputUnwritten) {
  const double x[3] = {20.0, 21.0, 22.0};
  // 1st allocation: the input copy; 2nd: the grid.
  for (std::uint64_t failing = 1; failing <= 2; ++failing) {
    std::vector<double> out = guardedBuffer(9);
    corvel::testing::failAllocation(failing);
    EXPECT_EQ(alg_interpolation_x(x, 3, 4, out.data()), ALG_STATUS_FAILURE) << failing;
    EXPECT_STREQ(get_last_error(), "bad allocation");
    expectUntouchedFrom(out, 0);
  }
  corvel::testing::failAllocation(3);
  std::vector<double> out = guardedBuffer(9);
  EXPECT_EQ(alg_interpolation_x(x, 3, 4, out.data()), ALG_STATUS_OK);
  EXPECT_EQ(out[8], 22.0);

  std::vector<double> steps = guardedBuffer(4);
  corvel::testing::failAllocation(1);
  EXPECT_EQ(alg_increasing(1.0, 0.5, 4, steps.data()), ALG_STATUS_FAILURE);
  EXPECT_STREQ(get_last_error(), "bad allocation");
  expectUntouchedFrom(steps, 0);
}

TEST_F(GridTest, IncreasingWritesTheProgression) {
  std::vector<double> out = guardedBuffer(4);
  ASSERT_EQ(alg_increasing(1.0, 0.5, 4, out.data()), ALG_STATUS_OK);
  EXPECT_EQ(out[0], 1.0);
  EXPECT_EQ(out[1], 1.5);
  EXPECT_EQ(out[2], 2.0);
  EXPECT_EQ(out[3], 2.5);
  expectUntouchedFrom(out, 4);

  std::vector<double> one = guardedBuffer(1);
  ASSERT_EQ(alg_increasing(-7.0, 100.0, 1, one.data()), ALG_STATUS_OK);
  EXPECT_EQ(one[0], -7.0);
  expectUntouchedFrom(one, 1);
}

TEST_F(GridTest, IncreasingAccumulatesTheStep) {
  const std::size_t count = 100;
  const std::vector<double> reference = runningSum(0.0, 0.1, count);
  std::vector<double> out = guardedBuffer(count);
  ASSERT_EQ(alg_increasing(0.0, 0.1, count, out.data()), ALG_STATUS_OK);
  bool differsFromProduct = false;
  for (std::size_t i = 0; i < count; ++i) {
    EXPECT_EQ(bits(out[i]), bits(reference[i])) << i;
    if (out[i] != static_cast<double>(i) * 0.1) differsFromProduct = true;
  }
  EXPECT_TRUE(differsFromProduct) << "no value tells a running sum from i * step";
  expectUntouchedFrom(out, count);
}

TEST_F(GridTest, IncreasingRefusesAnEmptyOrAbsurdCount) {
  std::vector<double> out = guardedBuffer(0, 4);
  EXPECT_EQ(alg_increasing(1.0, 0.5, 0, out.data()), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), kLengthMessage);
  expectUntouchedFrom(out, 0);

  for (const std::size_t count : {SIZE_MAX, SIZE_MAX / 8 + 1}) {
    EXPECT_EQ(alg_increasing(1.0, 0.5, count, out.data()), ALG_STATUS_FAILURE) << count;
    EXPECT_STREQ(get_last_error(), "bad array new length");
  }
  expectUntouchedFrom(out, 0);
}

}  // namespace

// Descriptive statistics: the worked values, the empty-vector results, the
// two-pass deviation sum and the tie and NaN rules of argMax / argMin.
#include "core/statistics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "core/vector.h"
#include "support/expect.h"

namespace corvel {
namespace {

using test::vec;

TEST(StatisticsTest, WorkedValuesAndEmptyVector) {
  const AlgVector v = vec({2.0, 4.0, 4.0, 4.0, 5.0, 5.0, 7.0, 9.0});
  EXPECT_EQ(mean(v), 5.0);
  EXPECT_EQ(sumSquaredDeviations(v), 32.0);
  // Divisor n: sqrt(32 / 8) is exactly 2 (divisor n - 1 would not be).
  EXPECT_EQ(stdDevPopulation(v), 2.0);

  // The sum runs in index order: 1 is absorbed by 1e16 before -1e16 cancels
  // it, so the mean is 0 (the reverse order would give 1 / 3).
  EXPECT_EQ(mean(vec({1.0, 1e16, -1e16})), 0.0);

  const AlgVector empty;
  EXPECT_TRUE(std::isnan(mean(empty)));
  EXPECT_EQ(sumSquaredDeviations(empty), 0.0);
  EXPECT_TRUE(std::isnan(stdDevPopulation(empty)));
}

TEST(StatisticsTest, SumSquaredDeviationsSubtractsTheMeanFirst) {
  const double x0 = 1e8 + 1.0, x1 = 1e8 + 2.0, x2 = 1e8 + 3.0;
  // The one-pass formula loses everything to rounding on these values...
  const double m = (x0 + x1 + x2) / 3.0;
  ASSERT_NE(x0 * x0 + x1 * x1 + x2 * x2 - 3.0 * m * m, 2.0);
  // ...while deviations -1, 0, 1 from the exact mean give exactly 2.
  const AlgVector v = vec({x0, x1, x2});
  EXPECT_EQ(sumSquaredDeviations(v), 2.0);
  EXPECT_EQ(stdDevPopulation(v), std::sqrt(2.0 / 3.0));
}

TEST(StatisticsTest, ArgMaxAndArgMin) {
  EXPECT_EQ(argMax(AlgVector()), 0u);
  EXPECT_EQ(argMin(AlgVector()), 0u);
  EXPECT_EQ(argMax(vec({7.0})), 0u);
  EXPECT_EQ(argMin(vec({7.0})), 0u);

  // The first of equal extremes wins.
  EXPECT_EQ(argMax(vec({1.0, 3.0, 3.0, 2.0})), 1u);
  EXPECT_EQ(argMin(vec({2.0, 1.0, 5.0, 1.0})), 1u);
  EXPECT_EQ(argMax(vec({-0.0, 0.0})), 0u);
  EXPECT_EQ(argMin(vec({0.0, -0.0})), 0u);

  // The best starts at v[0], not at 0.0.
  EXPECT_EQ(argMax(vec({-3.0, -1.0, -2.0})), 1u);
  EXPECT_EQ(argMin(vec({3.0, 1.0, 2.0})), 1u);

  // A NaN at v[0] defeats every comparison; elsewhere it is passed over.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(argMax(vec({nan, 5.0, 7.0})), 0u);
  EXPECT_EQ(argMin(vec({nan, 5.0, 1.0})), 0u);
  EXPECT_EQ(argMax(vec({5.0, nan, 7.0})), 2u);
  EXPECT_EQ(argMin(vec({5.0, nan, 1.0})), 2u);
  EXPECT_EQ(argMax(vec({1.0, 7.0, nan})), 1u);
  EXPECT_EQ(argMin(vec({9.0, 1.0, nan})), 1u);
}

}  // namespace
}  // namespace corvel

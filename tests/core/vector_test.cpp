// AlgVector: ownership, filling, slicing, element-wise arithmetic and the
// order in which its sums accumulate.
#include "core/vector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <exception>
#include <functional>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "core/allocator.h"
#include "core/messages.h"
#include "support/expect.h"
#include "support/fault_injection.h"

namespace corvel {
namespace {

using test::elements;
using test::throwsWith;
using test::vec;

TEST(AlgVectorTest, ConstructionFillsEveryElement) {
  const AlgVector none;
  EXPECT_EQ(none.size(), 0u);
  EXPECT_TRUE(none.empty());
  EXPECT_EQ(none.data(), nullptr);

  const AlgVector zeros(4);
  EXPECT_EQ(elements(zeros), (std::vector<double>{0.0, 0.0, 0.0, 0.0}));
  for (double x : zeros) EXPECT_FALSE(std::signbit(x));

  const AlgVector filled(3, -2.5);
  EXPECT_EQ(elements(filled), (std::vector<double>{-2.5, -2.5, -2.5}));

  EXPECT_TRUE(AlgVector(0, 7.0).empty());
  // No element is read from the source when the count is 0.
  EXPECT_TRUE(AlgVector::copyOf(nullptr, 0).empty());
}

TEST(AlgVectorTest, CopiesAreDeepAndMovesTransferStorage) {
  AlgVector original = vec({1.0, 2.0, 3.0});

  AlgVector copy(original);
  ASSERT_NE(copy.data(), original.data());
  copy[0] = 10.0;
  EXPECT_EQ(elements(original), (std::vector<double>{1.0, 2.0, 3.0}));

  AlgVector assigned = vec({9.0});
  assigned = original;
  ASSERT_NE(assigned.data(), original.data());
  assigned[2] = 30.0;
  EXPECT_EQ(elements(original), (std::vector<double>{1.0, 2.0, 3.0}));
  EXPECT_EQ(elements(assigned), (std::vector<double>{1.0, 2.0, 30.0}));

  // Assigning an empty vector empties the target.
  assigned = AlgVector();
  EXPECT_TRUE(assigned.empty());

  AlgVector& self = original;
  original = self;
  EXPECT_EQ(elements(original), (std::vector<double>{1.0, 2.0, 3.0}));

  const double* storage = original.data();
  AlgVector moved(std::move(original));
  EXPECT_EQ(moved.data(), storage);
  EXPECT_EQ(moved.size(), 3u);
  EXPECT_TRUE(original.empty());  // NOLINT(bugprone-use-after-move): the moved-from state
  EXPECT_EQ(original.data(), nullptr);

  AlgVector target = vec({5.0, 6.0});
  target = std::move(moved);
  EXPECT_EQ(target.data(), storage);
  EXPECT_EQ(elements(target), (std::vector<double>{1.0, 2.0, 3.0}));

  AlgVector other = vec({7.0});
  target.swap(other);
  EXPECT_EQ(elements(target), (std::vector<double>{7.0}));
  EXPECT_EQ(other.data(), storage);
}

TEST(AlgVectorTest, ResizeAndAssignNeverKeepOldContents) {
  AlgVector v = vec({1.0, 2.0, 3.0});
  v.resize(5, 4.5);
  EXPECT_EQ(elements(v), (std::vector<double>{4.5, 4.5, 4.5, 4.5, 4.5}));
  v.resize(2);  // shrinking refills as well; the default fill is 0.0
  EXPECT_EQ(elements(v), (std::vector<double>{0.0, 0.0}));
  v.resize(0, 1.0);
  EXPECT_TRUE(v.empty());

  double source[] = {8.0, 9.0, 10.0};
  v.assign(source, 3);
  source[0] = -1.0;  // the vector holds its own copy
  EXPECT_EQ(elements(v), (std::vector<double>{8.0, 9.0, 10.0}));

  // A source inside the vector's own storage is copied before the old
  // storage goes.
  v.assign(v.data() + 1, 2);
  EXPECT_EQ(elements(v), (std::vector<double>{9.0, 10.0}));

  v.assign(nullptr, 0);
  EXPECT_TRUE(v.empty());
}

TEST(AlgVectorTest, FillArithmeticIsARunningSum) {
  AlgVector v = vec({7.0, 7.0, 7.0, 7.0, 7.0, 7.0, 7.0});
  v.fillArithmetic(0.0, 0.1, 4);
  ASSERT_EQ(v.size(), 4u);
  EXPECT_EQ(v[0], 0.0);
  EXPECT_EQ(v[1], 0.1);
  EXPECT_EQ(v[2], 0.2);
  EXPECT_EQ(v[3], 0.30000000000000004);

  // Ten additions of 0.1 fall short of 1.0; start + 10 * step would not.
  v.fillArithmetic(0.0, 0.1, 11);
  ASSERT_EQ(v.size(), 11u);
  EXPECT_EQ(v[10], 0.9999999999999999);
  EXPECT_NE(v[10], 0.0 + 10 * 0.1);

  v.fillArithmetic(-3.0, 2.0, 3);
  EXPECT_EQ(elements(v), (std::vector<double>{-3.0, -1.0, 1.0}));

  v.fillArithmetic(5.0, 1.0, 1);
  EXPECT_EQ(elements(v), (std::vector<double>{5.0}));

  v.fillArithmetic(5.0, 1.0, 0);
  EXPECT_TRUE(v.empty());
}

TEST(AlgVectorTest, SliceCopiesAHalfOpenRange) {
  const AlgVector v = vec({10.0, 20.0, 30.0, 40.0});

  AlgVector middle = v.slice(1, 3);
  EXPECT_EQ(elements(middle), (std::vector<double>{20.0, 30.0}));
  middle[0] = -1.0;
  EXPECT_EQ(v[1], 20.0);

  EXPECT_EQ(elements(v.slice(0, 4)), elements(v));
  EXPECT_EQ(elements(v.slice(3, 4)), (std::vector<double>{40.0}));
  EXPECT_TRUE(v.slice(3, 3).empty());
  EXPECT_TRUE(v.slice(4, 4).empty());
  EXPECT_TRUE(AlgVector().slice(0, 0).empty());
}

TEST(AlgVectorTest, SliceChecksOrderThenEnd) {
  const AlgVector v = vec({10.0, 20.0, 30.0, 40.0});

  EXPECT_TRUE(throwsWith<std::range_error>([&] { v.slice(2, 1); }, msg::kSliceBeginAfterEnd));
  EXPECT_TRUE(throwsWith<std::range_error>([&] { v.slice(2, 1); }, msg::kSliceBeginAfterEnd));
  // The order test comes first, even when both indices are past the end.
  EXPECT_TRUE(throwsWith<std::range_error>([&] { v.slice(9, 8); }, msg::kSliceBeginAfterEnd));

  EXPECT_TRUE(throwsWith<std::out_of_range>([&] { v.slice(0, 5); }, msg::kSliceEndOutOfRange));
  EXPECT_TRUE(throwsWith<std::out_of_range>([&] { v.slice(5, 5); }, msg::kSliceEndOutOfRange));
  EXPECT_TRUE(
      throwsWith<std::out_of_range>([&] { AlgVector().slice(0, 1); }, msg::kSliceEndOutOfRange));

  EXPECT_EQ(elements(v), (std::vector<double>{10.0, 20.0, 30.0, 40.0}));
}

TEST(AlgVectorTest, ElementWiseArithmetic) {
  const AlgVector a = vec({1.0, -2.0, 3.5});
  const AlgVector b = vec({4.0, 0.5, -1.5});

  EXPECT_EQ(elements(a + b), (std::vector<double>{5.0, -1.5, 2.0}));
  EXPECT_EQ(elements(a - b), (std::vector<double>{-3.0, -2.5, 5.0}));
  EXPECT_EQ(elements(a * b), (std::vector<double>{4.0, -1.0, -5.25}));
  EXPECT_EQ(elements(a), (std::vector<double>{1.0, -2.0, 3.5}));

  AlgVector c = a;
  c += b;
  EXPECT_EQ(elements(c), (std::vector<double>{5.0, -1.5, 2.0}));
  c -= a;
  EXPECT_EQ(elements(c), elements(b));
  c *= a;
  EXPECT_EQ(elements(c), (std::vector<double>{4.0, -1.0, -5.25}));
  c += c;  // an operand may be the target itself
  EXPECT_EQ(elements(c), (std::vector<double>{8.0, -2.0, -10.5}));

  EXPECT_TRUE((AlgVector() + AlgVector()).empty());
  EXPECT_DOUBLE_EQ(dot(a, b), 4.0 - 1.0 - 5.25);
  EXPECT_EQ(dot(AlgVector(), AlgVector()), 0.0);
}

TEST(AlgVectorTest, ScalarArithmeticAppliesToEveryElement) {
  const AlgVector a = vec({1.0, -2.0, 3.5});
  EXPECT_EQ(elements(a + 1.0), (std::vector<double>{2.0, -1.0, 4.5}));
  EXPECT_EQ(elements(a - 1.0), (std::vector<double>{0.0, -3.0, 2.5}));
  EXPECT_EQ(elements(a * -2.0), (std::vector<double>{-2.0, 4.0, -7.0}));

  AlgVector c = a;
  c += 0.5;
  c -= 2.0;
  c *= 4.0;
  EXPECT_EQ(elements(c), (std::vector<double>{-2.0, -14.0, 8.0}));

  AlgVector empty;
  empty += 1.0;
  empty *= 3.0;
  EXPECT_TRUE(empty.empty());
  EXPECT_TRUE((empty - 1.0).empty());
}

TEST(AlgVectorTest, LengthMismatchNamesTheOperationAndChangesNothing) {
  const AlgVector a = vec({1.0, 2.0, 3.0});
  const AlgVector b = vec({1.0, 2.0});

  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { a + b; }, msg::kVectorAddLength));
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { a - b; }, msg::kVectorSubtractLength));
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { a* b; }, msg::kVectorMultiplyLength));
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { b + a; }, msg::kVectorAddLength));
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { b - a; }, msg::kVectorSubtractLength));
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { b* a; }, msg::kVectorMultiplyLength));
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { a + AlgVector(); }, msg::kVectorAddLength));
  // A dot product is a multiply followed by a sum.
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { dot(a, b); }, msg::kVectorMultiplyLength));

  AlgVector target = a;
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { target += b; }, msg::kVectorAddLength));
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { target -= b; }, msg::kVectorSubtractLength));
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { target *= b; }, msg::kVectorMultiplyLength));
  EXPECT_EQ(elements(target), (std::vector<double>{1.0, 2.0, 3.0}));
  EXPECT_EQ(elements(b), (std::vector<double>{1.0, 2.0}));
}

// Sums start at +0.0 and add in increasing index order. 1e16 absorbs a
// single 1 but not 2 or 3 of them added first, so [1e16, 1, 1, 1] sums to
// exactly 1e16 only in index order; a sum seeded with its first term keeps
// the sign of -0.0, one seeded with 0.0 does not.
TEST(AlgVectorTest, SumsAccumulateFromZeroInIndexOrder) {
  const AlgVector big = vec({1e16, 1.0, 1.0, 1.0});
  EXPECT_EQ(sum(big), 1e16);
  EXPECT_EQ(dot(big, AlgVector(4, 1.0)), 1e16);
  EXPECT_EQ(sumOfSquares(vec({1e8, 1.0, 1.0, 1.0})), 1e16);

  const AlgVector negativeZeros = vec({-0.0, -0.0});
  EXPECT_EQ(sum(negativeZeros), 0.0);
  EXPECT_FALSE(std::signbit(sum(negativeZeros)));
  EXPECT_FALSE(std::signbit(dot(vec({-0.0}), vec({1.0}))));
  EXPECT_FALSE(std::signbit(sum(AlgVector())));

  EXPECT_EQ(sum(vec({1.5, -0.25, 2.0})), 3.25);
  EXPECT_EQ(sumOfSquares(vec({3.0, -4.0})), 25.0);
  EXPECT_EQ(euclideanNorm(vec({3.0, -4.0})), 5.0);
  EXPECT_EQ(euclideanNorm(AlgVector()), 0.0);
}

// With the allocator told to fail, every operation that allocates leaves
// the vectors it was given as they were and frees whatever it had taken.
class AlgVectorAllocationTest : public ::testing::Test {
 protected:
  void TearDown() override { testing::failAllocation(0); }
};

TEST_F(AlgVectorAllocationTest, FailedOperationsLeaveTheTargetUnchanged) {
  const AlgVector source = vec({4.0, 5.0});
  const double raw[] = {6.0, 7.0, 8.0, 9.0};
  const std::vector<std::pair<const char*, std::function<void(AlgVector&)>>> operations = {
      {"copy assignment", [&](AlgVector& t) { t = source; }},
      {"resize", [](AlgVector& t) { t.resize(8, 1.0); }},
      {"assign", [&](AlgVector& t) { t.assign(raw, 4); }},
      {"fillArithmetic", [](AlgVector& t) { t.fillArithmetic(0.0, 1.0, 6); }},
      {"slice", [](AlgVector& t) { t = t.slice(0, 2); }},
      {"vector sum", [](AlgVector& t) { t = t + AlgVector(3, 1.0); }},
      {"scalar product", [](AlgVector& t) { t = t * 2.0; }},
  };
  for (const auto& [name, operation] : operations) {
    SCOPED_TRACE(name);
    AlgVector target = vec({1.0, 2.0, 3.0});
    const double* storage = target.data();
    // Fail the first, second, ... allocation until the operation gets
    // through; every failure must leave the target exactly as it was.
    EXPECT_TRUE(test::failEachAllocationInTurn(
        [&] { operation(target); },
        [&] {
          EXPECT_EQ(target.data(), storage);
          EXPECT_EQ(elements(target), (std::vector<double>{1.0, 2.0, 3.0}));
        }));
    EXPECT_NE(elements(target), (std::vector<double>{1.0, 2.0, 3.0}));
  }
  EXPECT_EQ(elements(source), (std::vector<double>{4.0, 5.0}));
}

TEST_F(AlgVectorAllocationTest, FailedCopyConstructionThrowsTheLibraryException) {
  const AlgVector source = vec({4.0, 5.0});
  testing::failAllocation(1);
  try {
    AlgVector copy(source);
    ADD_FAILURE() << "the copy was made";
  } catch (const std::bad_alloc& e) {
    EXPECT_STREQ(e.what(), "bad allocation");
  }
}

}  // namespace
}  // namespace corvel

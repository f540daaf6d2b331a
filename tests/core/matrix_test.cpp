// AlgMatrix: row-major layout, checked access, row and column copies, the
// in-place operations and the order of the sums in the products.
#include "core/matrix.h"

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
#include "core/vector.h"
#include "support/expect.h"
#include "support/fault_injection.h"

namespace corvel {
namespace {

using test::elements;
using test::throwsWith;
using test::vec;

using Rows = std::vector<std::vector<double>>;

// A matrix from its rows, filled through checked access.
AlgMatrix mat(std::initializer_list<std::initializer_list<double>> rows) {
  const std::size_t cols = rows.size() == 0 ? 0 : rows.begin()->size();
  AlgMatrix m(rows.size(), cols);
  std::size_t i = 0;
  for (const auto& row : rows) {
    std::size_t j = 0;
    for (double x : row) m.at(i, j++) = x;
    ++i;
  }
  return m;
}

// The contents read straight from storage, so that the row-major layout
// is part of every comparison.
Rows contents(const AlgMatrix& m) {
  Rows rows(m.rows(), std::vector<double>(m.cols()));
  for (std::size_t i = 0; i < m.rows(); ++i)
    for (std::size_t j = 0; j < m.cols(); ++j) rows[i][j] = m.data()[i * m.cols() + j];
  return rows;
}

TEST(AlgMatrixTest, ConstructionAndRowMajorLayout) {
  const AlgMatrix none;
  EXPECT_EQ(none.rows(), 0u);
  EXPECT_EQ(none.cols(), 0u);
  EXPECT_EQ(none.data(), nullptr);

  const AlgMatrix zeros(2, 3);
  EXPECT_EQ(contents(zeros), (Rows{{0.0, 0.0, 0.0}, {0.0, 0.0, 0.0}}));

  // A zero dimension keeps the other one.
  const AlgMatrix flat(0, 5);
  EXPECT_EQ(flat.rows(), 0u);
  EXPECT_EQ(flat.cols(), 5u);

  AlgMatrix m(2, 3);
  m.at(0, 2) = 7.0;
  m.at(1, 0) = 8.0;
  m(1, 2) = 9.0;
  EXPECT_EQ(m.data()[2], 7.0);
  EXPECT_EQ(m.data()[3], 8.0);
  EXPECT_EQ(m.data()[5], 9.0);
  const AlgMatrix& view = m;
  EXPECT_EQ(view.at(1, 2), 9.0);
  EXPECT_EQ(view(0, 2), 7.0);

  EXPECT_EQ(contents(AlgMatrix::identity(3)),
            (Rows{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}));
}

TEST(AlgMatrixTest, CopiesAreDeepAndMovesTransferStorage) {
  AlgMatrix original = mat({{1.0, 2.0}, {3.0, 4.0}});

  AlgMatrix copy(original);
  ASSERT_NE(copy.data(), original.data());
  copy(0, 0) = 10.0;
  EXPECT_EQ(contents(original), (Rows{{1.0, 2.0}, {3.0, 4.0}}));

  AlgMatrix assigned(3, 1);
  assigned = original;
  ASSERT_NE(assigned.data(), original.data());
  EXPECT_EQ(assigned.rows(), 2u);
  assigned(1, 1) = 40.0;
  EXPECT_EQ(contents(original), (Rows{{1.0, 2.0}, {3.0, 4.0}}));

  AlgMatrix& self = original;
  original = self;
  EXPECT_EQ(contents(original), (Rows{{1.0, 2.0}, {3.0, 4.0}}));

  const double* storage = original.data();
  AlgMatrix moved(std::move(original));
  EXPECT_EQ(moved.data(), storage);
  EXPECT_EQ(original.rows(), 0u);  // NOLINT(bugprone-use-after-move): the moved-from state
  EXPECT_EQ(original.cols(), 0u);
  EXPECT_EQ(original.data(), nullptr);

  AlgMatrix target(1, 1);
  target = std::move(moved);
  EXPECT_EQ(target.data(), storage);
  EXPECT_EQ(contents(target), (Rows{{1.0, 2.0}, {3.0, 4.0}}));
}

TEST(AlgMatrixTest, ResizeDiscardsContents) {
  AlgMatrix m = mat({{1.0, 2.0}, {3.0, 4.0}});
  m.resize(3, 1, 2.5);
  EXPECT_EQ(contents(m), (Rows{{2.5}, {2.5}, {2.5}}));
  m.resize(1, 2);
  EXPECT_EQ(contents(m), (Rows{{0.0, 0.0}}));
  m.resize(0, 0, 1.0);
  EXPECT_EQ(m.rows(), 0u);
  EXPECT_EQ(m.cols(), 0u);
}

TEST(AlgMatrixTest, FromColumnMajorMakesEachRunAColumn) {
  const double source[] = {1.0, 2.0, 3.0, 4.0, 5.0, 6.0};
  AlgMatrix m = mat({{9.0}});
  m.fromColumnMajor(source, 2, 3);
  EXPECT_EQ(contents(m), (Rows{{1.0, 3.0, 5.0}, {2.0, 4.0, 6.0}}));

  m.fromColumnMajor(source, 3, 2);
  EXPECT_EQ(contents(m), (Rows{{1.0, 4.0}, {2.0, 5.0}, {3.0, 6.0}}));

  m.fromColumnMajor(source, 1, 6);
  EXPECT_EQ(contents(m), (Rows{{1.0, 2.0, 3.0, 4.0, 5.0, 6.0}}));

  // Nothing is read from an empty source.
  m.fromColumnMajor(nullptr, 4, 0);
  EXPECT_EQ(m.rows(), 4u);
  EXPECT_EQ(m.cols(), 0u);
}

TEST(AlgMatrixTest, AtChecksBothIndices) {
  AlgMatrix m = mat({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
  const AlgMatrix& view = m;

  EXPECT_TRUE(throwsWith<std::out_of_range>([&] { m.at(2, 0); }, msg::kElementOutOfRange));
  EXPECT_TRUE(throwsWith<std::out_of_range>([&] { m.at(0, 3); }, msg::kElementOutOfRange));
  EXPECT_TRUE(throwsWith<std::out_of_range>([&] { view.at(2, 0); }, msg::kElementOutOfRange));
  EXPECT_TRUE(throwsWith<std::out_of_range>([&] { view.at(1, 3); }, msg::kElementOutOfRange));
  EXPECT_TRUE(
      throwsWith<std::out_of_range>([&] { AlgMatrix().at(0, 0); }, msg::kElementOutOfRange));
  EXPECT_TRUE(
      throwsWith<std::out_of_range>([&] { AlgMatrix(0, 5).at(0, 0); }, msg::kElementOutOfRange));
  EXPECT_EQ(m.at(1, 2), 6.0);
}

TEST(AlgMatrixTest, RowsAndColumnsAreCopiedOutAndIn) {
  AlgMatrix m = mat({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});

  AlgVector row = m.getRow(1);
  EXPECT_EQ(elements(row), (std::vector<double>{4.0, 5.0, 6.0}));
  AlgVector column = m.getColumn(2);
  EXPECT_EQ(elements(column), (std::vector<double>{3.0, 6.0}));
  row[0] = -1.0;  // copies, not views
  column[0] = -1.0;
  EXPECT_EQ(contents(m), (Rows{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}}));

  m.setRow(0, vec({7.0, 8.0, 9.0}));
  EXPECT_EQ(contents(m), (Rows{{7.0, 8.0, 9.0}, {4.0, 5.0, 6.0}}));
  m.setColumn(1, vec({-2.0, -5.0}));
  EXPECT_EQ(contents(m), (Rows{{7.0, -2.0, 9.0}, {4.0, -5.0, 6.0}}));

  // A matrix without columns has rows of length 0 and no columns at all.
  AlgMatrix narrow(2, 0);
  EXPECT_TRUE(narrow.getRow(1).empty());
  narrow.setRow(1, AlgVector());
  EXPECT_TRUE(throwsWith<std::out_of_range>([&] { narrow.getColumn(0); }, msg::kColumnOutOfRange));
}

TEST(AlgMatrixTest, RowAccessChecksIndexThenLength) {
  AlgMatrix m = mat({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
  const Rows before = contents(m);

  EXPECT_TRUE(throwsWith<std::out_of_range>([&] { m.getRow(2); }, msg::kRowOutOfRange));
  EXPECT_TRUE(
      throwsWith<std::out_of_range>([&] { m.setRow(2, AlgVector(3)); }, msg::kRowOutOfRange));
  // The index is tested before the length.
  EXPECT_TRUE(
      throwsWith<std::out_of_range>([&] { m.setRow(5, AlgVector(2)); }, msg::kRowOutOfRange));
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { m.setRow(0, AlgVector(2, 1.0)); },
                                                msg::kRowLengthMismatch));
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { m.setRow(1, AlgVector(4, 1.0)); },
                                                msg::kRowLengthMismatch));
  EXPECT_EQ(contents(m), before);
}

TEST(AlgMatrixTest, ColumnAccessChecksIndexThenLength) {
  AlgMatrix m = mat({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
  const Rows before = contents(m);

  EXPECT_TRUE(throwsWith<std::out_of_range>([&] { m.getColumn(3); }, msg::kColumnOutOfRange));
  EXPECT_TRUE(
      throwsWith<std::out_of_range>([&] { m.setColumn(3, AlgVector(2)); }, msg::kColumnOutOfRange));
  EXPECT_TRUE(
      throwsWith<std::out_of_range>([&] { m.setColumn(7, AlgVector(5)); }, msg::kColumnOutOfRange));
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { m.setColumn(0, AlgVector(3, 1.0)); },
                                                msg::kColumnLengthMismatch));
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { m.setColumn(2, AlgVector(1, 1.0)); },
                                                msg::kColumnLengthMismatch));
  EXPECT_EQ(contents(m), before);
}

TEST(AlgMatrixTest, SwapRows) {
  AlgMatrix m = mat({{1.0, 2.0}, {3.0, 4.0}, {5.0, 6.0}});
  m.swapRows(0, 2);
  EXPECT_EQ(contents(m), (Rows{{5.0, 6.0}, {3.0, 4.0}, {1.0, 2.0}}));
  m.swapRows(1, 0);
  EXPECT_EQ(contents(m), (Rows{{3.0, 4.0}, {5.0, 6.0}, {1.0, 2.0}}));

  // Equal indices do nothing and check nothing.
  AlgMatrix two = mat({{1.0, 2.0}, {3.0, 4.0}});
  EXPECT_NO_THROW(two.swapRows(5, 5));
  EXPECT_NO_THROW(AlgMatrix().swapRows(0, 0));
  EXPECT_EQ(contents(two), (Rows{{1.0, 2.0}, {3.0, 4.0}}));

  // A bad index on either side fails before any row is written.
  EXPECT_TRUE(throwsWith<std::out_of_range>([&] { two.swapRows(0, 2); }, msg::kRowOutOfRange));
  EXPECT_TRUE(throwsWith<std::out_of_range>([&] { two.swapRows(2, 0); }, msg::kRowOutOfRange));
  EXPECT_EQ(contents(two), (Rows{{1.0, 2.0}, {3.0, 4.0}}));
}

TEST(AlgMatrixTest, TransposeSwapsShapeAndIndices) {
  AlgMatrix m = mat({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
  m.transpose();
  EXPECT_EQ(contents(m), (Rows{{1.0, 4.0}, {2.0, 5.0}, {3.0, 6.0}}));
  m.transpose();
  EXPECT_EQ(contents(m), (Rows{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}}));

  AlgMatrix flat(0, 3);
  flat.transpose();
  EXPECT_EQ(flat.rows(), 3u);
  EXPECT_EQ(flat.cols(), 0u);
}

TEST(AlgMatrixTest, MultiplyInPlace) {
  AlgMatrix a = mat({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
  const AlgMatrix b = mat({{1.0, 0.0, 2.0, -1.0}, {0.0, 1.0, 1.0, 0.5}, {2.0, -1.0, 0.0, 1.0}});
  a.multiply(b);
  EXPECT_EQ(contents(a), (Rows{{7.0, -1.0, 4.0, 3.0}, {16.0, -1.0, 13.0, 4.5}}));

  // The right operand may be the matrix itself.
  AlgMatrix square = mat({{1.0, 2.0}, {3.0, 4.0}});
  square.multiply(square);
  EXPECT_EQ(contents(square), (Rows{{7.0, 10.0}, {15.0, 22.0}}));
  square.multiply(AlgMatrix::identity(2));
  EXPECT_EQ(contents(square), (Rows{{7.0, 10.0}, {15.0, 22.0}}));

  // An empty inner dimension gives a product of zeros.
  AlgMatrix wide(2, 0);
  wide.multiply(AlgMatrix(0, 3));
  EXPECT_EQ(contents(wide), (Rows{{0.0, 0.0, 0.0}, {0.0, 0.0, 0.0}}));
}

TEST(AlgMatrixTest, MultiplyRejectsMismatchedShapesAndChangesNothing) {
  AlgMatrix a = mat({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
  const AlgMatrix b = mat({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { a.multiply(b); }, msg::kMatrixMultiplyShape));
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { a.multiply(AlgMatrix()); },
                                                msg::kMatrixMultiplyShape));
  EXPECT_EQ(contents(a), (Rows{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}}));
  EXPECT_EQ(contents(b), (Rows{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}}));
}

TEST(AlgMatrixTest, MultiplyVector) {
  const AlgMatrix m = mat({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
  AlgVector out = vec({9.0, 9.0, 9.0, 9.0, 9.0});  // earlier contents are discarded
  m.multiplyVector(vec({1.0, -1.0, 2.0}), &out);
  EXPECT_EQ(elements(out), (std::vector<double>{5.0, 11.0}));

  // The result may replace the operand.
  AlgMatrix square = mat({{0.0, 1.0}, {1.0, 0.0}});
  AlgVector v = vec({3.0, 4.0});
  square.multiplyVector(v, &v);
  EXPECT_EQ(elements(v), (std::vector<double>{4.0, 3.0}));

  AlgMatrix(0, 2).multiplyVector(vec({1.0, 2.0}), &out);
  EXPECT_TRUE(out.empty());
}

TEST(AlgMatrixTest, MultiplyVectorChecksOutThenShape) {
  const AlgMatrix m = mat({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
  // A null out is reported even when the shapes do not fit either.
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { m.multiplyVector(vec({1.0}), nullptr); },
                                                msg::kNullOutParameter));
  EXPECT_TRUE(throwsWith<std::invalid_argument>(
      [&] {
        m.multiplyVector(vec({1.0, 2.0, 3.0}), nullptr);
      },
      msg::kNullOutParameter));

  AlgVector out = vec({7.0, 8.0});
  EXPECT_TRUE(throwsWith<std::invalid_argument>(
      [&] {
        m.multiplyVector(vec({1.0, 2.0}), &out);
      },
      msg::kMatrixVectorShape));
  EXPECT_TRUE(throwsWith<std::invalid_argument>(
      [&] {
        m.multiplyVector(vec({1.0, 2.0, 3.0, 4.0}), &out);
      },
      msg::kMatrixVectorShape));
  EXPECT_EQ(elements(out), (std::vector<double>{7.0, 8.0}));
}

// Every product element sums from +0.0 in increasing index order: 1e16
// absorbs a single 1 but not several added first, and a sum seeded with
// its first product would keep the sign of -0.0.
TEST(AlgMatrixTest, ProductsAccumulateFromZeroInIndexOrder) {
  AlgMatrix row = mat({{1e16, 1.0, 1.0, 1.0}});
  AlgVector out;
  row.multiplyVector(AlgVector(4, 1.0), &out);
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0], 1e16);

  row.multiply(mat({{1.0}, {1.0}, {1.0}, {1.0}}));
  EXPECT_EQ(contents(row), (Rows{{1e16}}));

  // Several columns at once: the first absorbs its ones one by one, the
  // second adds them up before it meets 1e16.
  AlgMatrix ones = mat({{1.0, 1.0, 1.0, 1.0}});
  ones.multiply(mat({{1e16, 1.0}, {1.0, 1.0}, {1.0, 1.0}, {1.0, 1e16}}));
  EXPECT_EQ(contents(ones), (Rows{{1e16, 1e16 + 4.0}}));

  AlgMatrix negative = mat({{-1.0, -1.0}});
  negative.multiply(mat({{0.0}, {0.0}}));
  EXPECT_FALSE(std::signbit(negative(0, 0)));
  mat({{-1.0}}).multiplyVector(vec({0.0}), &out);
  ASSERT_EQ(out.size(), 1u);
  EXPECT_FALSE(std::signbit(out[0]));
}

TEST(AlgMatrixTest, AdditionAndScaling) {
  AlgMatrix a = mat({{1.0, 2.0}, {3.0, 4.0}});
  const AlgMatrix b = mat({{0.5, -2.0}, {1.0, 10.0}});
  EXPECT_EQ(contents(a + b), (Rows{{1.5, 0.0}, {4.0, 14.0}}));
  a += b;
  EXPECT_EQ(contents(a), (Rows{{1.5, 0.0}, {4.0, 14.0}}));
  a *= -2.0;
  EXPECT_EQ(contents(a), (Rows{{-3.0, -0.0}, {-8.0, -28.0}}));

  const Rows before = contents(a);
  EXPECT_TRUE(
      throwsWith<std::invalid_argument>([&] { a += AlgMatrix(3, 2); }, msg::kMatrixAddShape));
  EXPECT_TRUE(
      throwsWith<std::invalid_argument>([&] { a += AlgMatrix(2, 1); }, msg::kMatrixAddShape));
  EXPECT_TRUE(
      throwsWith<std::invalid_argument>([&] { a + AlgMatrix(2, 3); }, msg::kMatrixAddShape));
  EXPECT_TRUE(
      throwsWith<std::invalid_argument>([&] { AlgMatrix(1, 2) + a; }, msg::kMatrixAddShape));
  EXPECT_EQ(contents(a), before);
}

TEST(AlgMatrixTest, AppendColumns) {
  AlgMatrix m = mat({{1.0, 2.0}, {3.0, 4.0}});
  m.appendColumns(mat({{5.0}, {6.0}}));
  EXPECT_EQ(contents(m), (Rows{{1.0, 2.0, 5.0}, {3.0, 4.0, 6.0}}));

  m.appendColumns(m);
  EXPECT_EQ(contents(m), (Rows{{1.0, 2.0, 5.0, 1.0, 2.0, 5.0}, {3.0, 4.0, 6.0, 3.0, 4.0, 6.0}}));

  AlgMatrix empty(2, 0);
  empty.appendColumns(mat({{7.0}, {8.0}}));
  EXPECT_EQ(contents(empty), (Rows{{7.0}, {8.0}}));

  // The test is on the row counts, whatever the message says.
  AlgMatrix square = mat({{1.0, 2.0}, {3.0, 4.0}});
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { square.appendColumns(AlgMatrix(3, 1)); },
                                                msg::kAppendRowsDiffer));
  EXPECT_TRUE(throwsWith<std::invalid_argument>([&] { square.appendColumns(AlgMatrix(1, 2)); },
                                                msg::kAppendRowsDiffer));
  EXPECT_EQ(contents(square), (Rows{{1.0, 2.0}, {3.0, 4.0}}));
}

TEST(AlgMatrixTest, KeepColumns) {
  AlgMatrix m = mat({{1.0, 2.0, 3.0, 4.0}, {5.0, 6.0, 7.0, 8.0}});
  m.keepColumns(0, 4);
  EXPECT_EQ(contents(m), (Rows{{1.0, 2.0, 3.0, 4.0}, {5.0, 6.0, 7.0, 8.0}}));
  m.keepColumns(1, 3);
  EXPECT_EQ(contents(m), (Rows{{2.0, 3.0}, {6.0, 7.0}}));
  m.keepColumns(1, 2);
  EXPECT_EQ(contents(m), (Rows{{3.0}, {7.0}}));
}

TEST(AlgMatrixTest, KeepColumnsChecksOrderThenEnd) {
  AlgMatrix m = mat({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
  const Rows before = contents(m);

  // At least one column must remain: equal bounds are refused too.
  EXPECT_TRUE(throwsWith<std::range_error>([&] { m.keepColumns(2, 2); }, msg::kKeepColumnsEmpty));
  EXPECT_TRUE(throwsWith<std::range_error>([&] { m.keepColumns(2, 1); }, msg::kKeepColumnsEmpty));
  // The order test comes first, even past the last column.
  EXPECT_TRUE(throwsWith<std::range_error>([&] { m.keepColumns(5, 5); }, msg::kKeepColumnsEmpty));

  EXPECT_TRUE(
      throwsWith<std::out_of_range>([&] { m.keepColumns(0, 4); }, msg::kKeepColumnsPastEnd));
  EXPECT_TRUE(
      throwsWith<std::out_of_range>([&] { m.keepColumns(3, 4); }, msg::kKeepColumnsPastEnd));
  EXPECT_EQ(contents(m), before);
}

// With the allocator told to fail, the operations that build their result
// in fresh storage leave the matrix (and an out-parameter) as they were.
class AlgMatrixAllocationTest : public ::testing::Test {
 protected:
  void TearDown() override { testing::failAllocation(0); }
};

TEST_F(AlgMatrixAllocationTest, FailedOperationsLeaveTheMatrixUnchanged) {
  const double source[] = {1.0, 2.0, 3.0, 4.0, 5.0, 6.0};
  const AlgMatrix other = mat({{1.0, 0.0}, {0.0, 2.0}, {3.0, 1.0}});
  const std::vector<std::pair<const char*, std::function<void(AlgMatrix&)>>> operations = {
      {"copy assignment", [&](AlgMatrix& m) { m = other; }},
      {"resize", [](AlgMatrix& m) { m.resize(4, 4, 1.0); }},
      {"fromColumnMajor", [&](AlgMatrix& m) { m.fromColumnMajor(source, 3, 2); }},
      {"transpose", [](AlgMatrix& m) { m.transpose(); }},
      {"multiply", [&](AlgMatrix& m) { m.multiply(other); }},
      {"appendColumns", [](AlgMatrix& m) { m.appendColumns(AlgMatrix(2, 1)); }},
      {"keepColumns", [](AlgMatrix& m) { m.keepColumns(1, 3); }},
      {"swapRows", [](AlgMatrix& m) { m.swapRows(0, 1); }},
      {"sum", [&](AlgMatrix& m) { m = m + m; }},
  };
  for (const auto& [name, operation] : operations) {
    SCOPED_TRACE(name);
    AlgMatrix m = mat({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
    const Rows before = contents(m);
    const double* storage = m.data();
    // Fail the first, second, ... allocation until the operation gets
    // through; every failure must leave the matrix exactly as it was.
    EXPECT_TRUE(test::failEachAllocationInTurn([&] { operation(m); },
                                               [&] {
                                                 EXPECT_EQ(m.data(), storage);
                                                 EXPECT_EQ(contents(m), before);
                                               }));
    EXPECT_NE(contents(m), before);
  }
}

TEST_F(AlgMatrixAllocationTest, FailedMultiplyVectorLeavesOutUnchanged) {
  const AlgMatrix m = mat({{1.0, 2.0}, {3.0, 4.0}});
  const AlgVector v = vec({1.0, 1.0});
  AlgVector out = vec({7.0, 8.0, 9.0});
  const double* storage = out.data();
  testing::failAllocation(1);
  EXPECT_THROW(m.multiplyVector(v, &out), AllocationFailure);
  testing::failAllocation(0);
  EXPECT_EQ(out.data(), storage);
  EXPECT_EQ(elements(out), (std::vector<double>{7.0, 8.0, 9.0}));
}

}  // namespace
}  // namespace corvel

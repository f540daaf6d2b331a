// Result arrays: handing blocks of doubles to the caller, what the
// out-parameters hold after a failed allocation, and alg_darray_release().
// Leaks are caught by LeakSanitizer in the sanitizer build.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <new>
#include <stdexcept>

#include "CorvelAlg.h"
#include "api/frame.h"
#include "api/result_array.h"
#include "core/allocator.h"
#include "core/vector.h"

namespace {

using corvel::AlgVector;
using corvel::api::handOut;
using corvel::api::handOutPair;
using corvel::api::handOutStored;
using corvel::api::StoredArray;

// Switches allocation failure off again however the test ends.
class ResultArrayTest : public ::testing::Test {
 protected:
  void TearDown() override { corvel::testing::failAllocation(0); }
};

// Values an out-parameter holds before a call, to see whether it changed.
double gSentinelTarget = -1.0;
double* const kSentinelPointer = &gSentinelTarget;
constexpr std::size_t kSentinelCount = 777;

AlgVector vectorOf(std::initializer_list<double> values) {
  return AlgVector::copyOf(values.begin(), values.size());
}

TEST_F(ResultArrayTest, HandOutCopiesTheValues) {
  const AlgVector result = vectorOf({1.5, -2.0, 3.25});
  double* block = kSentinelPointer;
  std::size_t count = kSentinelCount;
  handOut(result, &block, &count);
  ASSERT_NE(block, nullptr);
  ASSERT_NE(block, result.data());
  ASSERT_EQ(count, 3u);
  EXPECT_EQ(block[0], 1.5);
  EXPECT_EQ(block[1], -2.0);
  EXPECT_EQ(block[2], 3.25);
  EXPECT_EQ(alg_darray_release(&block), ALG_STATUS_OK);
  EXPECT_EQ(block, nullptr);
}

TEST_F(ResultArrayTest, EmptyResultIsANonNullBlockThatReleaseAccepts) {
  const AlgVector empty;
  double* block = nullptr;
  std::size_t count = kSentinelCount;
  handOut(empty, &block, &count);
  EXPECT_NE(block, nullptr);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(alg_darray_release(&block), ALG_STATUS_OK);
  EXPECT_EQ(block, nullptr);
}

TEST_F(ResultArrayTest, FailedHandOutLeavesOutParametersUntouched) {
  for (const AlgVector& result : {vectorOf({1.0, 2.0}), AlgVector()}) {
    double* block = kSentinelPointer;
    std::size_t count = kSentinelCount;
    corvel::testing::failAllocation(1);
    EXPECT_THROW(handOut(result, &block, &count), std::bad_alloc);
    EXPECT_EQ(block, kSentinelPointer);
    EXPECT_EQ(count, kSentinelCount);
  }
}

TEST_F(ResultArrayTest, HandOutPairWritesBothBlocksAndOneCount) {
  const AlgVector first = vectorOf({10.0, 20.0});
  const AlgVector second = vectorOf({-1.0, -2.0});
  std::size_t count = kSentinelCount;
  double* a = kSentinelPointer;
  double* b = kSentinelPointer;
  handOutPair(first, second, &count, &a, &b);
  ASSERT_EQ(count, 2u);
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  ASSERT_NE(a, b);
  EXPECT_EQ(a[0], 10.0);
  EXPECT_EQ(a[1], 20.0);
  EXPECT_EQ(b[0], -1.0);
  EXPECT_EQ(b[1], -2.0);
  alg_darray_release(&a);
  alg_darray_release(&b);
}

TEST_F(ResultArrayTest, FailedHandOutPairLeavesAllThreeOutputsUntouched) {
  const AlgVector first = vectorOf({10.0, 20.0, 30.0});
  const AlgVector second = vectorOf({1.0, 2.0, 3.0});
  for (std::uint64_t failing = 1; failing <= 2; ++failing) {
    std::size_t count = kSentinelCount;
    double* a = kSentinelPointer;
    double* b = kSentinelPointer;
    corvel::testing::failAllocation(failing);
    EXPECT_THROW(handOutPair(first, second, &count, &a, &b), std::bad_alloc) << failing;
    // The second failure point needs the first block: it must be gone
    // again (LeakSanitizer) and never have reached the caller.
    EXPECT_EQ(corvel::testing::allocationsSinceArmed(), failing);
    EXPECT_EQ(count, kSentinelCount) << failing;
    EXPECT_EQ(a, kSentinelPointer) << failing;
    EXPECT_EQ(b, kSentinelPointer) << failing;
  }
}

// Three stored arrays and the caller's out-parameters for them.
struct StoredFixture {
  const double amplitudes[3] = {1.0, 2.0, 3.0};
  const double centers[2] = {70.5, 80.25};
  const double widths[4] = {0.5, 0.75, 1.0, 1.25};
  double* pointers[3] = {kSentinelPointer, kSentinelPointer, kSentinelPointer};
  std::size_t counts[3] = {kSentinelCount, kSentinelCount, kSentinelCount};

  // The arrays with the given lengths (0 means an empty stored array).
  void handOut(std::size_t n0, std::size_t n1, std::size_t n2) {
    const StoredArray arrays[3] = {
        {n0 ? amplitudes : nullptr, n0, &pointers[0], &counts[0]},
        {n1 ? centers : nullptr, n1, &pointers[1], &counts[1]},
        {n2 ? widths : nullptr, n2, &pointers[2], &counts[2]},
    };
    handOutStored(arrays, 3);
  }
  void releaseAll() {
    for (double*& p : pointers) EXPECT_EQ(alg_darray_release(&p), ALG_STATUS_OK);
  }
};

TEST_F(ResultArrayTest, HandOutStoredCopiesEveryNonEmptyArray) {
  StoredFixture f;
  f.handOut(3, 2, 4);
  ASSERT_EQ(f.counts[0], 3u);
  ASSERT_EQ(f.counts[1], 2u);
  ASSERT_EQ(f.counts[2], 4u);
  for (double* p : f.pointers) {
    ASSERT_NE(p, nullptr);
    ASSERT_NE(p, kSentinelPointer);
  }
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(f.pointers[0][i], f.amplitudes[i]);
  for (std::size_t i = 0; i < 2; ++i) EXPECT_EQ(f.pointers[1][i], f.centers[i]);
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(f.pointers[2][i], f.widths[i]);
  f.releaseAll();
}

TEST_F(ResultArrayTest, HandOutStoredLeavesANullPointerForAnEmptyArray) {
  StoredFixture f;
  corvel::testing::failAllocation(0);
  f.handOut(3, 0, 0);
  // Only the non-empty array cost an allocation.
  EXPECT_EQ(corvel::testing::allocationsSinceArmed(), 1u);
  EXPECT_NE(f.pointers[0], nullptr);
  EXPECT_EQ(f.pointers[1], nullptr);
  EXPECT_EQ(f.pointers[2], nullptr);
  EXPECT_EQ(f.counts[0], 3u);
  EXPECT_EQ(f.counts[1], 0u);
  EXPECT_EQ(f.counts[2], 0u);
  f.releaseAll();

  StoredFixture none;
  corvel::testing::failAllocation(0);
  none.handOut(0, 0, 0);
  EXPECT_EQ(corvel::testing::allocationsSinceArmed(), 0u);
  for (std::size_t k = 0; k < 3; ++k) {
    EXPECT_EQ(none.pointers[k], nullptr);
    EXPECT_EQ(none.counts[k], 0u);
  }
}

TEST_F(ResultArrayTest, HandOutStoredWritesNullsAndCountsBeforeAllocating) {
  StoredFixture f;
  corvel::testing::failAllocation(1);
  EXPECT_THROW(f.handOut(3, 2, 4), std::bad_alloc);
  for (std::size_t k = 0; k < 3; ++k) EXPECT_EQ(f.pointers[k], nullptr) << k;
  EXPECT_EQ(f.counts[0], 3u);
  EXPECT_EQ(f.counts[1], 2u);
  EXPECT_EQ(f.counts[2], 4u);
}

TEST_F(ResultArrayTest, HandOutStoredTakesBackEarlierBlocksWhenALaterOneFails) {
  // Failing at the 2nd and at the 3rd allocation, with all arrays filled
  // and with an empty array in the middle (which costs no allocation).
  struct Case {
    std::size_t n0, n1, n2;
    std::uint64_t failing;
  };
  const Case cases[] = {{3, 2, 4, 2}, {3, 2, 4, 3}, {3, 0, 4, 2}, {0, 2, 4, 2}};
  for (const Case& c : cases) {
    StoredFixture f;
    corvel::testing::failAllocation(c.failing);
    EXPECT_THROW(f.handOut(c.n0, c.n1, c.n2), std::bad_alloc);
    EXPECT_EQ(corvel::testing::allocationsSinceArmed(), c.failing);
    for (std::size_t k = 0; k < 3; ++k) {
      EXPECT_EQ(f.pointers[k], nullptr) << "array " << k << ", failing at " << c.failing;
    }
    EXPECT_EQ(f.counts[0], c.n0);
    EXPECT_EQ(f.counts[1], c.n1);
    EXPECT_EQ(f.counts[2], c.n2);
  }
}

TEST_F(ResultArrayTest, ReleaseAcceptsNullAndIsSafeTwice) {
  EXPECT_EQ(alg_darray_release(nullptr), ALG_STATUS_OK);

  double* nothing = nullptr;
  EXPECT_EQ(alg_darray_release(&nothing), ALG_STATUS_OK);
  EXPECT_EQ(nothing, nullptr);

  double* block = nullptr;
  std::size_t count = 0;
  handOut(vectorOf({4.0}), &block, &count);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(alg_darray_release(&block), ALG_STATUS_OK);
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(alg_darray_release(&block), ALG_STATUS_OK);
  EXPECT_EQ(block, nullptr);
}

TEST_F(ResultArrayTest, ReleaseEmptiesTheLastError) {
  double* block = nullptr;
  std::size_t count = 0;
  handOut(vectorOf({4.0, 5.0}), &block, &count);
  for (double** address : {static_cast<double**>(nullptr), &block, &block}) {
    ASSERT_EQ(corvel::api::guarded([] { throw std::invalid_argument("older"); }),
              ALG_STATUS_INVALID_ARGUMENT);
    ASSERT_STREQ(get_last_error(), "older");
    EXPECT_EQ(alg_darray_release(address), ALG_STATUS_OK);
    EXPECT_STREQ(get_last_error(), "");
  }
  EXPECT_EQ(block, nullptr);
}

}  // namespace

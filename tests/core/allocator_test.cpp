// The allocator: saturating byte sizes, the two allocation failures and
// their messages, the new-handler protocol and the test-build hook that
// makes a chosen allocation fail.
#include "core/allocator.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

#include "core/matrix.h"
#include "core/vector.h"

namespace corvel {
namespace {

// 2^(w/2) for a w-bit size_t: its square is the first value that does not fit.
constexpr std::size_t kHalfWidth = std::size_t{1} << (std::numeric_limits<std::size_t>::digits / 2);

// Representable as an object size, yet far more than any machine can give.
constexpr std::size_t kHugeBytes = static_cast<std::size_t>(PTRDIFF_MAX) / 2 + 1;

enum class Failure { kNone, kBadAllocation, kBadArrayNewLength, kOther };

// Classifies what f() throws: "bad array new length" must come as a
// std::bad_array_new_length, "bad allocation" as a plain std::bad_alloc,
// each with exactly that message.
template <typename F>
Failure failureOf(F&& f) {
  try {
    f();
  } catch (const std::bad_array_new_length& e) {
    return std::string(e.what()) == "bad array new length" ? Failure::kBadArrayNewLength
                                                           : Failure::kOther;
  } catch (const std::bad_alloc& e) {
    return std::string(e.what()) == "bad allocation" ? Failure::kBadAllocation : Failure::kOther;
  } catch (...) {
    return Failure::kOther;
  }
  return Failure::kNone;
}

TEST(SaturatingProductTest, OverflowBecomesTheAllOnesSize) {
  static_assert(saturatingProduct(3, 8) == 24, "usable in constant expressions");
  static_assert(doubleBytes(5) == 40, "usable in constant expressions");

  EXPECT_EQ(saturatingProduct(0, 8), 0u);
  EXPECT_EQ(saturatingProduct(SIZE_MAX, 0), 0u);
  EXPECT_EQ(saturatingProduct(SIZE_MAX, 1), SIZE_MAX);
  EXPECT_EQ(saturatingProduct(7, 9), 63u);
  // The largest products that fit are exact...
  EXPECT_EQ(saturatingProduct(SIZE_MAX / 8, 8), SIZE_MAX - 7);
  EXPECT_EQ(saturatingProduct(kHalfWidth + 1, kHalfWidth - 1), SIZE_MAX);
  EXPECT_EQ(saturatingProduct(kHalfWidth - 1, kHalfWidth - 1), SIZE_MAX - 2 * kHalfWidth + 2);
  // ...the first ones that do not saturate instead of wrapping.
  EXPECT_EQ(saturatingProduct(SIZE_MAX / 8 + 1, 8), SIZE_MAX);
  EXPECT_EQ(saturatingProduct(kHalfWidth, kHalfWidth), SIZE_MAX);
  EXPECT_EQ(saturatingProduct(8, SIZE_MAX / 4), SIZE_MAX);

  EXPECT_EQ(doubleBytes(0), 0u);
  EXPECT_EQ(doubleBytes(1), 8u);
  EXPECT_EQ(doubleBytes(SIZE_MAX / 8), SIZE_MAX - 7);
  EXPECT_EQ(doubleBytes(SIZE_MAX / 8 + 1), SIZE_MAX);  // would wrap to 0
  EXPECT_EQ(doubleBytes(SIZE_MAX), SIZE_MAX);
}

TEST(AllocateBytesTest, GivesUsableMallocBlocks) {
  void* a = allocateBytes(0);
  void* b = allocateBytes(0);
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_NE(a, b);
  releaseBytes(a);
  releaseBytes(b);
  releaseBytes(nullptr);

  double* doubles = allocateDoubles(16);
  ASSERT_NE(doubles, nullptr);
  for (int i = 0; i < 16; ++i) doubles[i] = i;
  EXPECT_EQ(doubles[15], 15.0);
  // Blocks handed to a host are released with free(), so they must come
  // from malloc.
  std::free(doubles);
}

TEST(AllocateBytesTest, ImpossibleSizesFailWithTheirOwnMessages) {
  EXPECT_EQ(failureOf([] { allocateBytes(SIZE_MAX); }), Failure::kBadArrayNewLength);
  try {
    allocateBytes(SIZE_MAX);
  } catch (const std::bad_alloc& e) {
    EXPECT_NE(dynamic_cast<const AllocationSizeFailure*>(&e), nullptr);
    EXPECT_STREQ(e.what(), "bad array new length");
  }

  // Only the all-ones size reads as a bad length; everything else that
  // cannot be had is an exhausted memory.
  EXPECT_EQ(failureOf([] { allocateBytes(SIZE_MAX - 1); }), Failure::kBadAllocation);
  EXPECT_EQ(failureOf([] { allocateBytes(static_cast<std::size_t>(PTRDIFF_MAX) + 1); }),
            Failure::kBadAllocation);
  EXPECT_EQ(failureOf([] { allocateBytes(kHugeBytes); }), Failure::kBadAllocation);
  try {
    allocateBytes(kHugeBytes);
  } catch (const std::bad_alloc& e) {
    EXPECT_NE(dynamic_cast<const AllocationFailure*>(&e), nullptr);
    EXPECT_STREQ(e.what(), "bad allocation");
  }
}

TEST(AllocateBytesTest, ContainersOfAbsurdSizeFailInsteadOfComingOutShort) {
  EXPECT_EQ(failureOf([] { AlgVector v(SIZE_MAX / 4); }), Failure::kBadArrayNewLength);
  EXPECT_EQ(failureOf([] { AlgVector v(SIZE_MAX / 8 + 1, 1.0); }), Failure::kBadArrayNewLength);
  EXPECT_EQ(failureOf([] { AlgVector v(SIZE_MAX / 8); }), Failure::kBadAllocation);
  EXPECT_EQ(failureOf([] { AlgVector v(kHugeBytes / 8); }), Failure::kBadAllocation);

  // The element count of a matrix saturates as well as its byte size.
  EXPECT_EQ(failureOf([] { AlgMatrix m(kHalfWidth, kHalfWidth); }), Failure::kBadArrayNewLength);
  EXPECT_EQ(failureOf([] { AlgMatrix m(SIZE_MAX / 16 + 1, 2); }), Failure::kBadArrayNewLength);

  AlgVector v(2, 3.0);
  EXPECT_EQ(failureOf([&] { v.resize(SIZE_MAX / 2); }), Failure::kBadArrayNewLength);
  EXPECT_EQ(failureOf([&] { v.fillArithmetic(0.0, 1.0, SIZE_MAX / 2); }),
            Failure::kBadArrayNewLength);
  ASSERT_EQ(v.size(), 2u);
  EXPECT_EQ(v[1], 3.0);

  AlgMatrix m(1, 2);
  EXPECT_EQ(failureOf([&] { m.resize(kHalfWidth, kHalfWidth); }), Failure::kBadArrayNewLength);
  EXPECT_EQ(m.rows(), 1u);
  EXPECT_EQ(m.cols(), 2u);

  LibraryAllocator<int> allocator;
  EXPECT_EQ(failureOf([&] { allocator.allocate(SIZE_MAX / 2); }), Failure::kBadArrayNewLength);
  std::vector<int, LibraryAllocator<int>> ints;
  for (int i = 0; i < 100; ++i) ints.push_back(i);
  EXPECT_EQ(ints[99], 99);
}

// Installs a new-handler for the lifetime of the object and puts the
// previous one back afterwards.
class ScopedNewHandler {
 public:
  explicit ScopedNewHandler(std::new_handler handler) : previous_(std::set_new_handler(handler)) {}
  ~ScopedNewHandler() { std::set_new_handler(previous_); }
  ScopedNewHandler(const ScopedNewHandler&) = delete;
  ScopedNewHandler& operator=(const ScopedNewHandler&) = delete;

 private:
  std::new_handler previous_;
};

int gHandlerCalls = 0;

// Pretends to free memory twice, then uninstalls itself.
void retireOnThirdCall() {
  if (++gHandlerCalls == 3) std::set_new_handler(nullptr);
}

// Gives up at once, the standard way.
void giveUp() {
  ++gHandlerCalls;
  throw std::bad_alloc();
}

TEST(NewHandlerTest, RetriesWhileTheHandlerReturns) {
  gHandlerCalls = 0;
  ScopedNewHandler scoped(&retireOnThirdCall);
  EXPECT_EQ(failureOf([] { allocateBytes(kHugeBytes); }), Failure::kBadAllocation);
  EXPECT_EQ(gHandlerCalls, 3);

  std::set_new_handler(&retireOnThirdCall);
  gHandlerCalls = 0;
  EXPECT_EQ(failureOf([] { AlgVector v(kHugeBytes / 8); }), Failure::kBadAllocation);
  EXPECT_EQ(gHandlerCalls, 3);
}

TEST(NewHandlerTest, AHandlerThatGivesUpIsReportedInTheLibrarysWords) {
  gHandlerCalls = 0;
  ScopedNewHandler scoped(&giveUp);
  try {
    allocateBytes(kHugeBytes);
    ADD_FAILURE() << "the allocation succeeded";
  } catch (const std::bad_alloc& e) {
    // Not the runtime's own std::bad_alloc text.
    EXPECT_STREQ(e.what(), "bad allocation");
    EXPECT_NE(dynamic_cast<const AllocationFailure*>(&e), nullptr);
  }
  EXPECT_EQ(gHandlerCalls, 1);
  EXPECT_EQ(std::get_new_handler(), &giveUp);

  // The all-ones size still reads as a bad length with a handler installed.
  EXPECT_EQ(failureOf([] { AlgVector v(SIZE_MAX / 4); }), Failure::kBadArrayNewLength);

  // Allocations that can be had never consult the handler.
  gHandlerCalls = 0;
  releaseBytes(allocateBytes(64));
  EXPECT_EQ(gHandlerCalls, 0);
}

class FaultInjectionTest : public ::testing::Test {
 protected:
  void TearDown() override { testing::failAllocation(0); }
};

TEST_F(FaultInjectionTest, FailsExactlyTheChosenAllocation) {
  testing::failAllocation(2);
  void* first = allocateBytes(8);
  EXPECT_EQ(testing::allocationsSinceArmed(), 1u);
  EXPECT_EQ(failureOf([] { allocateBytes(8); }), Failure::kBadAllocation);
  EXPECT_EQ(testing::allocationsSinceArmed(), 2u);
  void* third = allocateBytes(8);  // only the chosen one fails
  EXPECT_EQ(testing::allocationsSinceArmed(), 3u);
  releaseBytes(first);
  releaseBytes(third);

  // Arming again restarts the count; 0 switches failures off but keeps
  // counting.
  testing::failAllocation(1);
  EXPECT_EQ(testing::allocationsSinceArmed(), 0u);
  EXPECT_THROW(AlgVector(4), AllocationFailure);
  testing::failAllocation(0);
  for (int i = 0; i < 5; ++i) EXPECT_NO_THROW(AlgVector(4));
  EXPECT_EQ(testing::allocationsSinceArmed(), 5u);
}

TEST_F(FaultInjectionTest, AffectsOnlyTheArmingThread) {
  testing::failAllocation(1);
  bool otherThreadAllocated = false;
  std::thread worker([&] {
    AlgVector v(4, 1.0);
    otherThreadAllocated = v.size() == 4;
  });
  worker.join();
  EXPECT_TRUE(otherThreadAllocated);
  EXPECT_EQ(testing::allocationsSinceArmed(), 0u);
  EXPECT_THROW(AlgVector(4), AllocationFailure);
}

// A matrix built from a series of row and column copies, failed at every
// allocation in turn: each failure must propagate as "bad allocation" and
// free everything already taken (the leak checker watches the rest).
TEST_F(FaultInjectionTest, FailureAtAnyStepReleasesEverything) {
  const auto build = [] {
    AlgMatrix m(3, 3);
    for (std::size_t i = 0; i < 3; ++i) m.setRow(i, AlgVector(3, static_cast<double>(i)));
    AlgVector column = m.getColumn(1);
    m.appendColumns(m);
    m.transpose();
    m.multiply(AlgMatrix::identity(3));
    AlgVector out;
    m.multiplyVector(column, &out);
    return sum(out);
  };
  testing::failAllocation(0);
  const double expected = build();
  const std::uint64_t allocations = testing::allocationsSinceArmed();
  ASSERT_GE(allocations, 8u);
  for (std::uint64_t k = 1; k <= allocations; ++k) {
    SCOPED_TRACE(k);
    testing::failAllocation(k);
    EXPECT_EQ(failureOf(build), Failure::kBadAllocation);
  }
  testing::failAllocation(allocations + 1);
  EXPECT_EQ(build(), expected);
}

}  // namespace
}  // namespace corvel

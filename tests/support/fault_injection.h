// Driving the test build's allocator through every failure point of an
// operation (the static test library is compiled with fault injection).
#ifndef CORVEL_TESTS_SUPPORT_FAULT_INJECTION_H
#define CORVEL_TESTS_SUPPORT_FAULT_INJECTION_H

#include <gtest/gtest.h>

#include <cstdint>

#include "core/allocator.h"

namespace corvel::test {

// Runs operation() with its 1st, 2nd, ... allocation failing in turn until
// it gets through, at most maxAttempts times. After each failure, which
// must be at exactly the armed allocation, afterFailure() checks what the
// failure left behind. Returns whether the operation finally succeeded;
// injection is switched off again in every case.
template <typename Operation, typename Check>
bool failEachAllocationInTurn(Operation&& operation, Check&& afterFailure,
                              std::uint64_t maxAttempts = 10) {
  for (std::uint64_t k = 1; k <= maxAttempts; ++k) {
    testing::failAllocation(k);
    try {
      operation();
      testing::failAllocation(0);
      return true;
    } catch (const AllocationFailure&) {
      EXPECT_EQ(testing::allocationsSinceArmed(), k);
      testing::failAllocation(0);
      afterFailure();
    }
  }
  return false;
}

}  // namespace corvel::test

#endif  // CORVEL_TESTS_SUPPORT_FAULT_INJECTION_H

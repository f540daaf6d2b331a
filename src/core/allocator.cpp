#include "core/allocator.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/messages.h"

namespace corvel {

const char* AllocationFailure::what() const noexcept {
  return msg::kBadAllocation;
}

const char* AllocationSizeFailure::what() const noexcept {
  return msg::kBadArrayNewLength;
}

#ifdef CORVEL_FAULT_INJECTION
namespace {
thread_local std::uint64_t tFailAt = 0;
thread_local std::uint64_t tAttempts = 0;
}  // namespace

namespace testing {
void failAllocation(std::uint64_t k) noexcept {
  tFailAt = k;
  tAttempts = 0;
}
std::uint64_t allocationsSinceArmed() noexcept {
  return tAttempts;
}
}  // namespace testing
#endif

void* allocateBytes(std::size_t bytes) {
#ifdef CORVEL_FAULT_INJECTION
  ++tAttempts;
  if (tFailAt != 0 && tAttempts == tFailAt) throw AllocationFailure();
#endif
  // No object can be larger than the largest pointer difference, so such a
  // request cannot succeed whatever a new-handler frees; failing it here
  // also keeps memory checkers from treating it as a wild request.
  if (bytes == kUnrepresentableSize) throw AllocationSizeFailure();
  if (bytes > static_cast<std::size_t>(PTRDIFF_MAX)) throw AllocationFailure();

  const std::size_t request = bytes == 0 ? 1 : bytes;
  for (;;) {
    if (void* block = std::malloc(request)) return block;
    std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) throw AllocationFailure();
    try {
      handler();
    } catch (const std::bad_alloc&) {
      // The handler gave up; report it in the library's own words.
      throw AllocationFailure();
    }
  }
}

void releaseBytes(void* block) noexcept {
  std::free(block);
}

double* copyDoubles(const double* values, std::size_t count) {
  double* block = allocateDoubles(count);
  if (count != 0) std::memcpy(block, values, count * sizeof(double));
  return block;
}

}  // namespace corvel

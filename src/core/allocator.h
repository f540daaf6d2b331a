// The library's single allocator.
//
// Every block the library uses, internally or handed to the caller, comes
// from allocateBytes(): malloc underneath (so that free() releases it), with
// the C++ new-handler protocol on failure and the library's own allocation
// exceptions, whose messages read the same on every platform.
#ifndef CORVEL_CORE_ALLOCATOR_H
#define CORVEL_CORE_ALLOCATOR_H

#include <cstddef>
#include <cstdint>
#include <new>

namespace corvel {

// Memory is exhausted: what() is "bad allocation".
class AllocationFailure : public std::bad_alloc {
 public:
  const char* what() const noexcept override;
};

// The requested size cannot be represented: what() is "bad array new length".
class AllocationSizeFailure : public std::bad_array_new_length {
 public:
  const char* what() const noexcept override;
};

// The byte size meaning "does not fit": the all-ones size value.
inline constexpr std::size_t kUnrepresentableSize = SIZE_MAX;

// count * elementSize, or kUnrepresentableSize when the product overflows,
// so that an absurd count fails to allocate instead of coming out short.
constexpr std::size_t saturatingProduct(std::size_t count, std::size_t elementSize) noexcept {
  return (elementSize != 0 && count > kUnrepresentableSize / elementSize) ? kUnrepresentableSize
                                                                          : count * elementSize;
}

// Byte size of count doubles, saturating.
constexpr std::size_t doubleBytes(std::size_t count) noexcept {
  return saturatingProduct(count, sizeof(double));
}

// Allocates bytes (0 is a valid, non-null block). On failure calls the
// installed new-handler and retries while it returns; without a handler,
// or when it gives up, throws AllocationSizeFailure for the all-ones size
// and AllocationFailure otherwise.
void* allocateBytes(std::size_t bytes);

// Releases a block from allocateBytes(); null is ignored.
void releaseBytes(void* block) noexcept;

// Uninitialised room for count doubles.
inline double* allocateDoubles(std::size_t count) {
  return static_cast<double*>(allocateBytes(doubleBytes(count)));
}

// A block holding a copy of count doubles; count 0 gives a valid zero-byte
// block and does not read values.
double* copyDoubles(const double* values, std::size_t count);

// Owns a block from allocateBytes() until release() hands it over; frees
// it on every other way out of a scope.
class BlockOwner {
 public:
  explicit BlockOwner(double* block) noexcept : block_(block) {}
  BlockOwner(const BlockOwner&) = delete;
  BlockOwner& operator=(const BlockOwner&) = delete;
  ~BlockOwner() { releaseBytes(block_); }
  double* release() noexcept {
    double* block = block_;
    block_ = nullptr;
    return block;
  }

 private:
  double* block_;
};

// A standard-library allocator over allocateBytes(), for the few places
// that want a standard container of something other than doubles.
template <typename T>
struct LibraryAllocator {
  using value_type = T;
  LibraryAllocator() noexcept = default;
  template <typename U>
  LibraryAllocator(const LibraryAllocator<U>&) noexcept {}
  T* allocate(std::size_t n) {
    return static_cast<T*>(allocateBytes(saturatingProduct(n, sizeof(T))));
  }
  void deallocate(T* p, std::size_t) noexcept { releaseBytes(p); }
  template <typename U>
  bool operator==(const LibraryAllocator<U>&) const noexcept {
    return true;
  }
  template <typename U>
  bool operator!=(const LibraryAllocator<U>&) const noexcept {
    return false;
  }
};

#ifdef CORVEL_FAULT_INJECTION
// Test builds only: make the k-th allocation from now on (1-based) on the
// calling thread fail as if memory were exhausted; 0 switches it off.
// allocationsSinceArmed() counts the allocations attempted since the last
// call, so a test can loop k = 1, 2, ... until a call succeeds.
namespace testing {
void failAllocation(std::uint64_t k) noexcept;
std::uint64_t allocationsSinceArmed() noexcept;
}  // namespace testing
#endif

}  // namespace corvel

#endif  // CORVEL_CORE_ALLOCATOR_H

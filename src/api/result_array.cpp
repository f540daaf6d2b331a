#include "api/result_array.h"

#include "core/allocator.h"

namespace corvel::api {

namespace {

// Hands out the arrays of a record one by one; unless committed, takes
// back (frees and nulls) every block it handed out when it goes away.
class StoredHandOut {
 public:
  explicit StoredHandOut(const StoredArray* arrays) noexcept : arrays_(arrays) {}
  StoredHandOut(const StoredHandOut&) = delete;
  StoredHandOut& operator=(const StoredHandOut&) = delete;
  ~StoredHandOut() {
    if (committed_) return;
    for (std::size_t k = 0; k < done_; ++k) {
      releaseBytes(*arrays_[k].pointerOut);
      *arrays_[k].pointerOut = nullptr;
    }
  }
  void next() {
    const StoredArray& a = arrays_[done_];
    if (a.count != 0) *a.pointerOut = copyDoubles(a.values, a.count);
    ++done_;
  }
  void commit() noexcept { committed_ = true; }

 private:
  const StoredArray* arrays_;
  std::size_t done_ = 0;
  bool committed_ = false;
};

}  // namespace

void handOut(const AlgVector& result, double** pointerOut, std::size_t* countOut) {
  double* block = copyDoubles(result.data(), result.size());
  *countOut = result.size();
  *pointerOut = block;
}

void handOutPair(const AlgVector& first, const AlgVector& second, std::size_t* countOut,
                 double** firstOut, double** secondOut) {
  BlockOwner a(copyDoubles(first.data(), first.size()));
  BlockOwner b(copyDoubles(second.data(), second.size()));
  *countOut = first.size();
  *firstOut = a.release();
  *secondOut = b.release();
}

void handOutStored(const StoredArray* arrays, std::size_t arrayCount) {
  for (std::size_t k = 0; k < arrayCount; ++k) {
    *arrays[k].pointerOut = nullptr;
    *arrays[k].countOut = arrays[k].count;
  }
  StoredHandOut pending(arrays);
  for (std::size_t k = 0; k < arrayCount; ++k) pending.next();
  pending.commit();
}

}  // namespace corvel::api

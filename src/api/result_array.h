// Handing result arrays to the caller.
//
// A result array is a block of doubles from the library's allocator (malloc
// underneath) that the caller owns once the export has returned 0 and gives
// back through alg_darray_release(). These helpers run at the export's
// hand-out step, after the computation has succeeded.
#ifndef CORVEL_API_RESULT_ARRAY_H
#define CORVEL_API_RESULT_ARRAY_H

#include <cstddef>

#include "core/vector.h"

namespace corvel::api {

// Copies result into a new block of exactly result.size() doubles and only
// then stores the pointer and the count. An empty result is handed out as a
// valid zero-byte block (non-null, count 0). If the allocation fails the
// out-parameters are untouched.
void handOut(const AlgVector& result, double** pointerOut, std::size_t* countOut);

// Hands out two results of one length (first.size()) from one computation:
// both blocks are allocated before any out-parameter is written, so a
// failure leaves all three untouched and nothing allocated.
void handOutPair(const AlgVector& first, const AlgVector& second, std::size_t* countOut,
                 double** firstOut, double** secondOut);

// One array of a stored record, for handOutStored().
struct StoredArray {
  const double* values;   // the record's array (null when count is 0)
  std::size_t count;      // its stored length
  double** pointerOut;    // caller's pointer out-parameter
  std::size_t* countOut;  // caller's count out-parameter
};

// Hands out copies of several stored arrays: every pointer out-parameter is
// set to null and every count to the stored length; then, in order, each
// array with a length above 0 gets a block, a copy and its pointer (a
// length of 0 leaves the pointer null). If an allocation fails part-way,
// the blocks already handed out by this call are freed and their pointers
// set back to null before the failure propagates; the counts stay written.
void handOutStored(const StoredArray* arrays, std::size_t arrayCount);

}  // namespace corvel::api

#endif  // CORVEL_API_RESULT_ARRAY_H

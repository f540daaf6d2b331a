// The frame every export runs in.
//
// An export body is a few lines inside guarded(): the frame empties the
// last-error buffer before anything else, runs the body, and turns any
// exception the body raises into a status code and a stored message. Only
// this frame catches; the algorithms below it just throw.
#ifndef CORVEL_API_FRAME_H
#define CORVEL_API_FRAME_H

#include <cstddef>
#include <exception>

#include "CorvelAlg.h"
#include "core/matrix.h"
#include "core/vector.h"

namespace corvel::api {

// The process-wide 256-byte last-error buffer.
char* lastErrorBuffer() noexcept;

// Writes a NUL into byte 0 only: the buffer reads as "", the rest of an
// earlier message stays in memory.
void clearLastError() noexcept;

// Stores the message of e (cut at 255 bytes) and returns the status of its
// dynamic type: invalid_argument 10, out_of_range 20, range_error 20,
// anything else 100. A standard exception without a message of its own
// reads "Unknown exception".
int reportFailure(const std::exception& e) noexcept;

// The same for something thrown outside the standard hierarchy. The library
// throws nothing of the kind, but no exception may cross the C boundary.
int reportUnknownFailure() noexcept;

// Runs body() inside the frame and returns its status.
template <typename Body>
int guarded(Body&& body) noexcept {
  clearLastError();
  try {
    body();
    return ALG_STATUS_OK;
  } catch (const std::exception& e) {
    return reportFailure(e);
  } catch (...) {
    return reportUnknownFailure();
  }
}

// A caller array of count elements must not be null unless count is 0:
// std::invalid_argument ("the data must not be empty") otherwise.
void requireArray(const void* array, std::size_t count);

// The frame's copy of a caller array: count doubles into a fresh vector;
// the pointer is not read when count is 0, and refused when null otherwise.
inline AlgVector copyInput(const double* values, std::size_t count) {
  requireArray(values, count);
  return AlgVector::copyOf(values, count);
}

// Copies a result into a caller-owned buffer of at least values.size()
// doubles; nothing is written for an empty result, and a null buffer for a
// non-empty one is refused before anything is written.
void copyOutput(const AlgVector& values, double* out);

// The same for a matrix: its rows() x cols() values in row-major order.
void copyOutput(const AlgMatrix& values, double* out);

}  // namespace corvel::api

#endif  // CORVEL_API_FRAME_H

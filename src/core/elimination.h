// Gaussian elimination with partial pivoting and Gauss-Jordan inversion.
//
// Plain textbook methods for the small systems of the curve fits: no
// scaling, no refinement, and no tolerance other than an exact zero test.
// Singularity is a result, not an exception; the caller tests it.
#ifndef CORVEL_CORE_ELIMINATION_H
#define CORVEL_CORE_ELIMINATION_H

#include <cstdint>

#include "core/matrix.h"

namespace corvel {

// Reduces m (rows x cols, cols >= rows - 1) to upper-triangular form in
// place, applying every row operation across all columns.
//
// For each column k = 0 .. rows-2 the pivot is the row (from k down) with
// the largest |m(r, k)|; the search starts from a best of 0.0 and only a
// strictly larger value replaces it, so the topmost row wins ties and a
// column of zeros (or NaNs) has no pivot. Then every row below k loses
// (m(i, k) / m(k, k)) times row k.
//
// Returns false at once when a column has no pivot, leaving m partly
// eliminated; a matrix with no rows is reported that way. The last diagonal
// element is never tested. When swaps is non-null it receives the number of
// row exchanges on success. A matrix too narrow for its pivot columns
// throws std::out_of_range when the search reaches the missing column.
bool eliminateForward(AlgMatrix& m, std::uint64_t* swaps);

// Inverts the square matrix m in place by Gauss-Jordan elimination of
// [m | I]; throws std::invalid_argument when m is not square.
//
// Returns false when eliminateForward finds a column without pivot; m is
// then the partly eliminated n x 2n working matrix, so a caller that
// multiplies with it fails on the shapes. A zero last pivot is not caught:
// the result then holds infinities or NaNs and the call returns true.
bool invert(AlgMatrix& m);

}  // namespace corvel

#endif  // CORVEL_CORE_ELIMINATION_H

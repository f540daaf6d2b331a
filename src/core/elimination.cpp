#include "core/elimination.h"

#include <cmath>
#include <cstddef>
#include <stdexcept>

#include "core/messages.h"

namespace corvel {

namespace {

// row[target] -= factor * pivotRow, over every column. Each element is
// row - (pivot * factor): the product first, then the subtraction.
void subtractScaledRow(AlgMatrix& m, std::size_t target, const double* pivotRow, double factor) {
  double* row = &m(target, 0);
  for (std::size_t j = 0; j < m.cols(); ++j) row[j] = row[j] - pivotRow[j] * factor;
}

}  // namespace

bool eliminateForward(AlgMatrix& m, std::uint64_t* swaps) {
  const std::size_t n = m.rows();
  if (n == 1) {
    if (swaps != nullptr) *swaps = 0;
    return true;
  }
  if (n == 0) return false;

  std::uint64_t exchanges = 0;
  for (std::size_t k = 0; k + 1 < n; ++k) {
    std::size_t pivot = n;
    double best = 0.0;
    for (std::size_t r = k; r < n; ++r) {
      const double magnitude = std::fabs(m.at(r, k));
      if (magnitude > best) {
        best = magnitude;
        pivot = r;
      }
    }
    if (pivot == n) return false;
    if (pivot != k) {
      m.swapRows(pivot, k);
      ++exchanges;
    }

    // Row k does not change while the rows below it are reduced, so one
    // copy of it serves them all.
    const AlgVector pivotRow = m.getRow(k);
    for (std::size_t i = k + 1; i < n; ++i) {
      const double factor = m(i, k) / m(k, k);
      subtractScaledRow(m, i, pivotRow.data(), factor);
    }
  }
  if (swaps != nullptr) *swaps = exchanges;
  return true;
}

bool invert(AlgMatrix& m) {
  if (m.rows() != m.cols()) throw std::invalid_argument(msg::kNotSquare);
  const std::size_t n = m.rows();

  m.appendColumns(AlgMatrix::identity(n));
  if (!eliminateForward(m, nullptr)) return false;

  // Back substitution, bottom row first: scale row i to a unit pivot, then
  // clear column i in every row above it.
  AlgVector unitRow;
  for (std::size_t step = n; step-- > 0;) {
    const std::size_t i = step;
    const double reciprocal = 1.0 / m(i, i);
    unitRow = m.getRow(i);
    unitRow *= reciprocal;
    m.setRow(i, unitRow);
    for (std::size_t r = 0; r < i; ++r) subtractScaledRow(m, r, unitRow.data(), m(r, i));
  }

  m.keepColumns(n, 2 * n);
  return true;
}

}  // namespace corvel

// AlgMatrix: the library's owning row-major matrix of doubles.
//
// Element (i, j) is data()[i * cols() + j]. Operations check their
// arguments in a fixed order and throw with the library's fixed messages;
// on a failed check the matrix is unchanged. The in-place operations build
// their result in a fresh matrix and take it over only at the end.
#ifndef CORVEL_CORE_MATRIX_H
#define CORVEL_CORE_MATRIX_H

#include <cstddef>

#include "core/vector.h"

namespace corvel {

class AlgMatrix {
 public:
  AlgMatrix() noexcept = default;
  // rows x cols, every element 0.0.
  AlgMatrix(std::size_t rows, std::size_t cols);
  AlgMatrix(const AlgMatrix& other);
  AlgMatrix(AlgMatrix&& other) noexcept;
  AlgMatrix& operator=(const AlgMatrix& other);
  AlgMatrix& operator=(AlgMatrix&& other) noexcept;
  ~AlgMatrix();

  // The n x n identity.
  static AlgMatrix identity(std::size_t n);

  std::size_t rows() const noexcept { return rows_; }
  std::size_t cols() const noexcept { return cols_; }
  double* data() noexcept { return data_; }
  const double* data() const noexcept { return data_; }

  // Unchecked access, for loops whose indices are in range by construction.
  double& operator()(std::size_t i, std::size_t j) noexcept { return data_[i * cols_ + j]; }
  const double& operator()(std::size_t i, std::size_t j) const noexcept {
    return data_[i * cols_ + j];
  }

  // Discards the contents; rows x cols elements, every one fill.
  void resize(std::size_t rows, std::size_t cols, double fill = 0.0);

  // resize(rows, cols, 0.0), then element (i, j) = source[j * rows + i]:
  // each run of `rows` consecutive source values becomes one column.
  void fromColumnMajor(const double* source, std::size_t rows, std::size_t cols);

  // Checked access: std::out_of_range when i >= rows() or j >= cols().
  double& at(std::size_t i, std::size_t j);
  const double& at(std::size_t i, std::size_t j) const;

  // Copies of one row / column; std::out_of_range for a bad index.
  AlgVector getRow(std::size_t i) const;
  AlgVector getColumn(std::size_t j) const;

  // Overwrite one row / column. Index first (std::out_of_range), then the
  // length of v (std::invalid_argument).
  void setRow(std::size_t i, const AlgVector& v);
  void setColumn(std::size_t j, const AlgVector& v);

  // Exchanges two rows through row copies; r1 == r2 does nothing and
  // checks nothing.
  void swapRows(std::size_t r1, std::size_t r2);

  // In place: becomes cols() x rows().
  void transpose();

  // In place: this = this x other; std::invalid_argument when
  // cols() != other.rows(). Each element sums from 0.0 in increasing k.
  void multiply(const AlgMatrix& other);

  // *out = this x v. Checks: out null, then cols() != v.size() (both
  // std::invalid_argument). Each element sums from 0.0 in increasing j.
  void multiplyVector(const AlgVector& v, AlgVector* out) const;

  // Element-wise sum; std::invalid_argument when the shapes differ.
  AlgMatrix& operator+=(const AlgMatrix& other);

  // Every element times a scalar; no checks.
  AlgMatrix& operator*=(double value) noexcept;

  // In place: [this | other]; std::invalid_argument when the row counts
  // differ.
  void appendColumns(const AlgMatrix& other);

  // In place: keeps columns begin .. end-1. Checks: begin >= end
  // (std::range_error), then end > cols() (std::out_of_range).
  void keepColumns(std::size_t begin, std::size_t end);

  void swap(AlgMatrix& other) noexcept;

 private:
  double* data_ = nullptr;
  std::size_t rows_ = 0;
  std::size_t cols_ = 0;
};

AlgMatrix operator+(const AlgMatrix& a, const AlgMatrix& b);

}  // namespace corvel

#endif  // CORVEL_CORE_MATRIX_H

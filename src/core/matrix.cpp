#include "core/matrix.h"

#include <cstring>
#include <stdexcept>
#include <utility>

#include "core/allocator.h"
#include "core/messages.h"

namespace corvel {

namespace {

// Element count of a rows x cols matrix; an overflowing product saturates
// so that the allocation fails instead of coming out short.
std::size_t elementCount(std::size_t rows, std::size_t cols) noexcept {
  return saturatingProduct(rows, cols);
}

double* allocateStorage(std::size_t rows, std::size_t cols) {
  const std::size_t n = elementCount(rows, cols);
  return n == 0 ? nullptr : allocateDoubles(n);
}

}  // namespace

AlgMatrix::AlgMatrix(std::size_t rows, std::size_t cols)
    : data_(allocateStorage(rows, cols)), rows_(rows), cols_(cols) {
  const std::size_t n = rows * cols;
  for (std::size_t k = 0; k < n; ++k) data_[k] = 0.0;
}

AlgMatrix::AlgMatrix(const AlgMatrix& other)
    : data_(allocateStorage(other.rows_, other.cols_)), rows_(other.rows_), cols_(other.cols_) {
  const std::size_t n = rows_ * cols_;
  if (n != 0) std::memcpy(data_, other.data_, n * sizeof(double));
}

AlgMatrix::AlgMatrix(AlgMatrix&& other) noexcept
    : data_(other.data_), rows_(other.rows_), cols_(other.cols_) {
  other.data_ = nullptr;
  other.rows_ = 0;
  other.cols_ = 0;
}

AlgMatrix& AlgMatrix::operator=(const AlgMatrix& other) {
  if (this != &other) {
    AlgMatrix copy(other);
    swap(copy);
  }
  return *this;
}

AlgMatrix& AlgMatrix::operator=(AlgMatrix&& other) noexcept {
  AlgMatrix taken(std::move(other));
  swap(taken);
  return *this;
}

AlgMatrix::~AlgMatrix() {
  releaseBytes(data_);
}

AlgMatrix AlgMatrix::identity(std::size_t n) {
  AlgMatrix m(n, n);
  for (std::size_t i = 0; i < n; ++i) m(i, i) = 1.0;
  return m;
}

void AlgMatrix::resize(std::size_t rows, std::size_t cols, double fill) {
  AlgMatrix fresh(rows, cols);
  const std::size_t n = rows * cols;
  for (std::size_t k = 0; k < n; ++k) fresh.data_[k] = fill;
  swap(fresh);
}

void AlgMatrix::fromColumnMajor(const double* source, std::size_t rows, std::size_t cols) {
  resize(rows, cols, 0.0);
  // Indexed in full width: for every shape whose source index fits in 32
  // bits this is the same element, and larger plates are read correctly
  // instead of wrapping.
  for (std::size_t j = 0; j < cols; ++j) {
    const double* column = source + j * rows;
    for (std::size_t i = 0; i < rows; ++i) (*this)(i, j) = column[i];
  }
}

double& AlgMatrix::at(std::size_t i, std::size_t j) {
  if (i >= rows_ || j >= cols_) throw std::out_of_range(msg::kElementOutOfRange);
  return (*this)(i, j);
}

const double& AlgMatrix::at(std::size_t i, std::size_t j) const {
  if (i >= rows_ || j >= cols_) throw std::out_of_range(msg::kElementOutOfRange);
  return (*this)(i, j);
}

AlgVector AlgMatrix::getRow(std::size_t i) const {
  if (i >= rows_) throw std::out_of_range(msg::kRowOutOfRange);
  return AlgVector::copyOf(data_ + i * cols_, cols_);
}

AlgVector AlgMatrix::getColumn(std::size_t j) const {
  if (j >= cols_) throw std::out_of_range(msg::kColumnOutOfRange);
  AlgVector column(rows_);
  for (std::size_t i = 0; i < rows_; ++i) column[i] = (*this)(i, j);
  return column;
}

void AlgMatrix::setRow(std::size_t i, const AlgVector& v) {
  if (i >= rows_) throw std::out_of_range(msg::kRowOutOfRange);
  if (v.size() != cols_) throw std::invalid_argument(msg::kRowLengthMismatch);
  if (cols_ != 0) std::memcpy(data_ + i * cols_, v.data(), cols_ * sizeof(double));
}

void AlgMatrix::setColumn(std::size_t j, const AlgVector& v) {
  if (j >= cols_) throw std::out_of_range(msg::kColumnOutOfRange);
  if (v.size() != rows_) throw std::invalid_argument(msg::kColumnLengthMismatch);
  for (std::size_t i = 0; i < rows_; ++i) (*this)(i, j) = v[i];
}

void AlgMatrix::swapRows(std::size_t r1, std::size_t r2) {
  if (r1 == r2) return;
  AlgVector first = getRow(r1);
  AlgVector second = getRow(r2);
  setRow(r1, second);
  setRow(r2, first);
}

void AlgMatrix::transpose() {
  AlgMatrix result(cols_, rows_);
  for (std::size_t i = 0; i < rows_; ++i)
    for (std::size_t j = 0; j < cols_; ++j) result(j, i) = (*this)(i, j);
  swap(result);
}

void AlgMatrix::multiply(const AlgMatrix& other) {
  if (cols_ != other.rows_) throw std::invalid_argument(msg::kMatrixMultiplyShape);
  AlgMatrix result(rows_, other.cols_);
  // i-k-j order: every result element still accumulates its products from
  // 0.0 in increasing k, while the inner loop runs along contiguous rows.
  for (std::size_t i = 0; i < rows_; ++i) {
    double* out = result.data_ + i * other.cols_;
    for (std::size_t k = 0; k < cols_; ++k) {
      const double a = (*this)(i, k);
      const double* b = other.data_ + k * other.cols_;
      for (std::size_t j = 0; j < other.cols_; ++j) out[j] += a * b[j];
    }
  }
  swap(result);
}

void AlgMatrix::multiplyVector(const AlgVector& v, AlgVector* out) const {
  if (out == nullptr) throw std::invalid_argument(msg::kNullOutParameter);
  if (cols_ != v.size()) throw std::invalid_argument(msg::kMatrixVectorShape);
  AlgVector result(rows_);
  for (std::size_t i = 0; i < rows_; ++i) {
    const double* row = data_ + i * cols_;
    double total = 0.0;
    for (std::size_t j = 0; j < cols_; ++j) total += row[j] * v[j];
    result[i] = total;
  }
  out->swap(result);
}

AlgMatrix& AlgMatrix::operator+=(const AlgMatrix& other) {
  if (rows_ != other.rows_ || cols_ != other.cols_)
    throw std::invalid_argument(msg::kMatrixAddShape);
  const std::size_t n = rows_ * cols_;
  for (std::size_t k = 0; k < n; ++k) data_[k] = data_[k] + other.data_[k];
  return *this;
}

AlgMatrix& AlgMatrix::operator*=(double value) noexcept {
  const std::size_t n = rows_ * cols_;
  for (std::size_t k = 0; k < n; ++k) data_[k] = data_[k] * value;
  return *this;
}

void AlgMatrix::appendColumns(const AlgMatrix& other) {
  if (rows_ != other.rows_) throw std::invalid_argument(msg::kAppendRowsDiffer);
  AlgMatrix result(rows_, cols_ + other.cols_);
  for (std::size_t i = 0; i < rows_; ++i) {
    for (std::size_t j = 0; j < cols_; ++j) result(i, j) = (*this)(i, j);
    for (std::size_t j = 0; j < other.cols_; ++j) result(i, cols_ + j) = other(i, j);
  }
  swap(result);
}

void AlgMatrix::keepColumns(std::size_t begin, std::size_t end) {
  if (begin >= end) throw std::range_error(msg::kKeepColumnsEmpty);
  if (end > cols_) throw std::out_of_range(msg::kKeepColumnsPastEnd);
  AlgMatrix result(rows_, end - begin);
  for (std::size_t i = 0; i < rows_; ++i)
    for (std::size_t j = begin; j < end; ++j) result(i, j - begin) = (*this)(i, j);
  swap(result);
}

void AlgMatrix::swap(AlgMatrix& other) noexcept {
  std::swap(data_, other.data_);
  std::swap(rows_, other.rows_);
  std::swap(cols_, other.cols_);
}

AlgMatrix operator+(const AlgMatrix& a, const AlgMatrix& b) {
  if (a.rows() != b.rows() || a.cols() != b.cols())
    throw std::invalid_argument(msg::kMatrixAddShape);
  AlgMatrix result(a);
  result += b;
  return result;
}

}  // namespace corvel

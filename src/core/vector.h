// AlgVector: the library's owning vector of doubles.
//
// One contiguous block from the library's allocator, deep-copied on copy.
// An empty vector holds no storage. Operations that can fail check their
// arguments first and throw with the library's fixed messages, leaving
// their operands unchanged.
#ifndef CORVEL_CORE_VECTOR_H
#define CORVEL_CORE_VECTOR_H

#include <cstddef>

namespace corvel {

class AlgVector {
 public:
  AlgVector() noexcept = default;
  // n elements, every one 0.0.
  explicit AlgVector(std::size_t n);
  // n elements, every one fill.
  AlgVector(std::size_t n, double fill);
  AlgVector(const AlgVector& other);
  AlgVector(AlgVector&& other) noexcept;
  AlgVector& operator=(const AlgVector& other);
  AlgVector& operator=(AlgVector&& other) noexcept;
  ~AlgVector();

  // A copy of n doubles from a raw array; source is not read when n is 0.
  static AlgVector copyOf(const double* source, std::size_t n);

  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  double* data() noexcept { return data_; }
  const double* data() const noexcept { return data_; }
  double* begin() noexcept { return data_; }
  double* end() noexcept { return data_ + size_; }
  const double* begin() const noexcept { return data_; }
  const double* end() const noexcept { return data_ + size_; }

  // Unchecked element access; callers index within size().
  double& operator[](std::size_t i) noexcept { return data_[i]; }
  const double& operator[](std::size_t i) const noexcept { return data_[i]; }

  // Discards the contents and holds n elements, every one fill.
  void resize(std::size_t n, double fill = 0.0);
  // Discards the contents and holds a copy of n doubles from source.
  void assign(const double* source, std::size_t n);
  // resize(n, 0.0), then element 0 = start and each following element is
  // the previous one plus step: a running sum, so rounding accumulates.
  void fillArithmetic(double start, double step, std::size_t n);

  // Elements begin .. end-1 as a new vector. Throws std::range_error when
  // begin > end (tested first), std::out_of_range when end > size().
  AlgVector slice(std::size_t begin, std::size_t end) const;

  // Element-wise, in place; std::invalid_argument when the lengths differ.
  AlgVector& operator+=(const AlgVector& other);
  AlgVector& operator-=(const AlgVector& other);
  AlgVector& operator*=(const AlgVector& other);

  // Every element with a scalar, in place; no checks.
  AlgVector& operator+=(double value) noexcept;
  AlgVector& operator-=(double value) noexcept;
  AlgVector& operator*=(double value) noexcept;

  void swap(AlgVector& other) noexcept;

 private:
  double* data_ = nullptr;
  std::size_t size_ = 0;
};

// Element-wise results of the common length; std::invalid_argument with the
// add, subtract or multiply message when the lengths differ.
AlgVector operator+(const AlgVector& a, const AlgVector& b);
AlgVector operator-(const AlgVector& a, const AlgVector& b);
AlgVector operator*(const AlgVector& a, const AlgVector& b);

// Every element with a scalar.
AlgVector operator+(const AlgVector& a, double value);
AlgVector operator-(const AlgVector& a, double value);
AlgVector operator*(const AlgVector& a, double value);

// Sum of the elements from 0.0 in increasing index order.
double sum(const AlgVector& v) noexcept;

// Element-wise product summed from 0.0 in index order; a length mismatch
// raises the multiply message.
double dot(const AlgVector& a, const AlgVector& b);

// Sum of squares from 0.0 in index order, and its square root.
double sumOfSquares(const AlgVector& v) noexcept;
double euclideanNorm(const AlgVector& v) noexcept;

}  // namespace corvel

#endif  // CORVEL_CORE_VECTOR_H

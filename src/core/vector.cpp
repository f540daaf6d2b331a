#include "core/vector.h"

#include <cmath>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "core/allocator.h"
#include "core/messages.h"

namespace corvel {

namespace {

// Room for n doubles, or null for n = 0 (an empty vector holds no storage).
double* allocateStorage(std::size_t n) {
  return n == 0 ? nullptr : allocateDoubles(n);
}

void requireSameLength(const AlgVector& a, const AlgVector& b, const char* message) {
  if (a.size() != b.size()) throw std::invalid_argument(message);
}

}  // namespace

AlgVector::AlgVector(std::size_t n) : AlgVector(n, 0.0) {}

AlgVector::AlgVector(std::size_t n, double fill) : data_(allocateStorage(n)), size_(n) {
  for (std::size_t i = 0; i < n; ++i) data_[i] = fill;
}

AlgVector::AlgVector(const AlgVector& other)
    : data_(allocateStorage(other.size_)), size_(other.size_) {
  if (size_ != 0) std::memcpy(data_, other.data_, size_ * sizeof(double));
}

AlgVector::AlgVector(AlgVector&& other) noexcept : data_(other.data_), size_(other.size_) {
  other.data_ = nullptr;
  other.size_ = 0;
}

AlgVector& AlgVector::operator=(const AlgVector& other) {
  if (this != &other) {
    AlgVector copy(other);
    swap(copy);
  }
  return *this;
}

AlgVector& AlgVector::operator=(AlgVector&& other) noexcept {
  AlgVector taken(std::move(other));
  swap(taken);
  return *this;
}

AlgVector::~AlgVector() {
  releaseBytes(data_);
}

AlgVector AlgVector::copyOf(const double* source, std::size_t n) {
  AlgVector v;
  v.assign(source, n);
  return v;
}

void AlgVector::resize(std::size_t n, double fill) {
  AlgVector fresh(n, fill);
  swap(fresh);
}

void AlgVector::assign(const double* source, std::size_t n) {
  double* block = allocateStorage(n);
  if (n != 0) std::memcpy(block, source, n * sizeof(double));
  releaseBytes(data_);
  data_ = block;
  size_ = n;
}

void AlgVector::fillArithmetic(double start, double step, std::size_t n) {
  resize(n, 0.0);
  if (n == 0) return;
  data_[0] = start;
  for (std::size_t i = 1; i < n; ++i) data_[i] = data_[i - 1] + step;
}

AlgVector AlgVector::slice(std::size_t begin, std::size_t end) const {
  if (begin > end) throw std::range_error(msg::kSliceBeginAfterEnd);
  if (end > size_) throw std::out_of_range(msg::kSliceEndOutOfRange);
  return copyOf(data_ + begin, end - begin);
}

AlgVector& AlgVector::operator+=(const AlgVector& other) {
  requireSameLength(*this, other, msg::kVectorAddLength);
  for (std::size_t i = 0; i < size_; ++i) data_[i] = data_[i] + other.data_[i];
  return *this;
}

AlgVector& AlgVector::operator-=(const AlgVector& other) {
  requireSameLength(*this, other, msg::kVectorSubtractLength);
  for (std::size_t i = 0; i < size_; ++i) data_[i] = data_[i] - other.data_[i];
  return *this;
}

AlgVector& AlgVector::operator*=(const AlgVector& other) {
  requireSameLength(*this, other, msg::kVectorMultiplyLength);
  for (std::size_t i = 0; i < size_; ++i) data_[i] = data_[i] * other.data_[i];
  return *this;
}

AlgVector& AlgVector::operator+=(double value) noexcept {
  for (std::size_t i = 0; i < size_; ++i) data_[i] = data_[i] + value;
  return *this;
}

AlgVector& AlgVector::operator-=(double value) noexcept {
  for (std::size_t i = 0; i < size_; ++i) data_[i] = data_[i] - value;
  return *this;
}

AlgVector& AlgVector::operator*=(double value) noexcept {
  for (std::size_t i = 0; i < size_; ++i) data_[i] = data_[i] * value;
  return *this;
}

void AlgVector::swap(AlgVector& other) noexcept {
  std::swap(data_, other.data_);
  std::swap(size_, other.size_);
}

AlgVector operator+(const AlgVector& a, const AlgVector& b) {
  requireSameLength(a, b, msg::kVectorAddLength);
  AlgVector result(a);
  result += b;
  return result;
}

AlgVector operator-(const AlgVector& a, const AlgVector& b) {
  requireSameLength(a, b, msg::kVectorSubtractLength);
  AlgVector result(a);
  result -= b;
  return result;
}

AlgVector operator*(const AlgVector& a, const AlgVector& b) {
  requireSameLength(a, b, msg::kVectorMultiplyLength);
  AlgVector result(a);
  result *= b;
  return result;
}

AlgVector operator+(const AlgVector& a, double value) {
  AlgVector result(a);
  result += value;
  return result;
}

AlgVector operator-(const AlgVector& a, double value) {
  AlgVector result(a);
  result -= value;
  return result;
}

AlgVector operator*(const AlgVector& a, double value) {
  AlgVector result(a);
  result *= value;
  return result;
}

double sum(const AlgVector& v) noexcept {
  double total = 0.0;
  for (std::size_t i = 0; i < v.size(); ++i) total += v[i];
  return total;
}

double dot(const AlgVector& a, const AlgVector& b) {
  requireSameLength(a, b, msg::kVectorMultiplyLength);
  double total = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) total += a[i] * b[i];
  return total;
}

double sumOfSquares(const AlgVector& v) noexcept {
  double total = 0.0;
  for (std::size_t i = 0; i < v.size(); ++i) total += v[i] * v[i];
  return total;
}

double euclideanNorm(const AlgVector& v) noexcept {
  return std::sqrt(sumOfSquares(v));
}

}  // namespace corvel

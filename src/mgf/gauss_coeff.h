// The peak set of the multi-Gaussian fit: three arrays, one value per peak
// for the amplitude, the centre and the width (a standard deviation).
#ifndef CORVEL_MGF_GAUSS_COEFF_H
#define CORVEL_MGF_GAUSS_COEFF_H

#include <cstddef>

#include "CorvelAlg.h"
#include "core/vector.h"

// The record behind the public handle. An array is null exactly when its
// count is 0; a non-empty array is a library block of exactly count doubles
// owned by the record. The counts may differ while a host fills the set;
// the set describes peaks only when all three are equal.
struct GaussCoeff {
  double* amplitudes = nullptr;
  std::size_t amplitudeCount = 0;
  double* centers = nullptr;
  std::size_t centerCount = 0;
  double* widths = nullptr;
  std::size_t widthCount = 0;
};

namespace corvel {

// A new empty set from the library's allocator.
GaussCoeff* createGaussCoeff();

// Frees the three arrays and the record; null is ignored.
void releaseGaussCoeff(GaussCoeff* coeff) noexcept;

// Owns a set until release() hands it over; frees it on every other way
// out of a scope.
class GaussCoeffOwner {
 public:
  GaussCoeffOwner() : coeff_(createGaussCoeff()) {}
  ~GaussCoeffOwner() { releaseGaussCoeff(coeff_); }
  GaussCoeffOwner(const GaussCoeffOwner&) = delete;
  GaussCoeffOwner& operator=(const GaussCoeffOwner&) = delete;
  GaussCoeff* get() const noexcept { return coeff_; }
  GaussCoeff* release() noexcept {
    GaussCoeff* coeff = coeff_;
    coeff_ = nullptr;
    return coeff;
  }

 private:
  GaussCoeff* coeff_;
};

// Replaces one (array, count) pair with a copy of count values. The new
// block is allocated before the old one is freed, so a failed allocation
// leaves the pair as it was.
void replacePair(double*& array, std::size_t& count, const double* values, std::size_t newCount);

// Replaces all three pairs with the given vectors; either all three are
// replaced or, when an allocation fails, none is.
void replaceAll(GaussCoeff& coeff, const AlgVector& amplitudes, const AlgVector& centers,
                const AlgVector& widths);

// Throws std::invalid_argument ("GaussCoeff data invalid") unless the three
// counts are equal.
void requireEqualCounts(const GaussCoeff& coeff);

// Throws std::invalid_argument ("GaussCoeff data invalid") when there are
// fewer amplitudes or widths than centres.
void requireAllArraysForCenters(const GaussCoeff& coeff);

}  // namespace corvel

#endif  // CORVEL_MGF_GAUSS_COEFF_H

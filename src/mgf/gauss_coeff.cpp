#include "mgf/gauss_coeff.h"

#include <new>
#include <stdexcept>

#include "core/allocator.h"
#include "core/messages.h"

namespace corvel {

namespace {

// A library block holding a copy of count values; null for 0.
double* copyBlock(const double* values, std::size_t count) {
  return count == 0 ? nullptr : copyDoubles(values, count);
}

void swapIn(double*& array, std::size_t& count, double* block, std::size_t newCount) noexcept {
  releaseBytes(array);
  array = block;
  count = newCount;
}

}  // namespace

GaussCoeff* createGaussCoeff() {
  return new (allocateBytes(sizeof(GaussCoeff))) GaussCoeff();
}

void releaseGaussCoeff(GaussCoeff* coeff) noexcept {
  if (coeff == nullptr) return;
  releaseBytes(coeff->amplitudes);
  releaseBytes(coeff->centers);
  releaseBytes(coeff->widths);
  coeff->~GaussCoeff();
  releaseBytes(coeff);
}

void replacePair(double*& array, std::size_t& count, const double* values, std::size_t newCount) {
  double* block = copyBlock(values, newCount);
  swapIn(array, count, block, newCount);
}

void replaceAll(GaussCoeff& coeff, const AlgVector& amplitudes, const AlgVector& centers,
                const AlgVector& widths) {
  BlockOwner a(copyBlock(amplitudes.data(), amplitudes.size()));
  BlockOwner b(copyBlock(centers.data(), centers.size()));
  BlockOwner c(copyBlock(widths.data(), widths.size()));
  swapIn(coeff.amplitudes, coeff.amplitudeCount, a.release(), amplitudes.size());
  swapIn(coeff.centers, coeff.centerCount, b.release(), centers.size());
  swapIn(coeff.widths, coeff.widthCount, c.release(), widths.size());
}

void requireEqualCounts(const GaussCoeff& coeff) {
  if (coeff.amplitudeCount != coeff.centerCount || coeff.widthCount != coeff.centerCount) {
    throw std::invalid_argument(msg::kGaussCoeffInvalid);
  }
}

void requireAllArraysForCenters(const GaussCoeff& coeff) {
  if (coeff.amplitudeCount < coeff.centerCount || coeff.widthCount < coeff.centerCount) {
    throw std::invalid_argument(msg::kGaussCoeffInvalid);
  }
}

}  // namespace corvel

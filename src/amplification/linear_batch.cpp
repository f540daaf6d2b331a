#include "amplification/linear_batch.h"

#include <stdexcept>

#include "amplification/well_linear.h"
#include "core/allocator.h"
#include "core/messages.h"

namespace corvel {

AlgVector linearBatchCt(WellCurveInfo* infos, std::size_t ctCount, double threshold,
                        const AlgVector& data, std::size_t wellCount, std::size_t cycleCount,
                        AlgMatrix& curves) {
  if (ctCount < wellCount) throw std::invalid_argument(msg::kCtCountTooSmall);
  if (data.size() != saturatingProduct(cycleCount, wellCount)) {
    throw std::invalid_argument(msg::kPlateSizeMismatch);
  }
  AlgVector cts(ctCount);
  AlgMatrix processed(cycleCount, wellCount);
  AlgMatrix plate;
  plate.fromColumnMajor(data.data(), cycleCount, wellCount);

  AlgVector curve;
  for (std::size_t w = 0; w < wellCount; ++w) {
    double ct = 0.0;
    analyzeWellLinear(infos[w], plate.getColumn(w), threshold, curve, ct);
    cts[w] = ct;
    processed.setColumn(w, curve);
  }
  curves.swap(processed);
  return cts;
}

}  // namespace corvel

// Export of the natural cubic spline.
#include <stdexcept>

#include "CorvelAlg.h"
#include "api/frame.h"
#include "core/messages.h"
#include "core/vector.h"
#include "signal/spline.h"

extern "C" {

CORVELALG_API int alg_cubic_interpolation(const double* x, const double* y, size_t n,
                                          const double* xq, double* yq, size_t m) {
  return corvel::api::guarded([&] {
    const corvel::AlgVector knotX = corvel::api::copyInput(x, n);
    const corvel::AlgVector knotY = corvel::api::copyInput(y, n);
    const corvel::AlgVector queries = corvel::api::copyInput(xq, m);
    corvel::api::requireArray(yq, m);
    corvel::AlgVector values(m);
    if (n < 3) throw std::invalid_argument(corvel::msg::kTooFewKnots);
    const corvel::CubicSpline spline(knotX.data(), knotY.data(), n);
    for (size_t j = 0; j < m; ++j) values[j] = spline(queries[j]);
    corvel::api::copyOutput(values, yq);
  });
}

}  // extern "C"

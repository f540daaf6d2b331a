// Exports that build evenly spaced grids into caller buffers.
#include <stdexcept>

#include "CorvelAlg.h"
#include "api/frame.h"
#include "core/messages.h"
#include "core/vector.h"
#include "signal/grid.h"

extern "C" {

CORVELALG_API int alg_interpolation_x(const double* x, size_t n, int64_t factor, double* out) {
  return corvel::api::guarded([&] {
    const corvel::AlgVector input = corvel::api::copyInput(x, n);
    const corvel::AlgVector grid = corvel::interpolationGrid(input, factor);
    corvel::api::copyOutput(grid, out);
  });
}

CORVELALG_API int alg_increasing(double start, double step, size_t count, double* out) {
  return corvel::api::guarded([&] {
    if (count == 0) throw std::invalid_argument(corvel::msg::kLengthNotPositive);
    corvel::AlgVector values;
    values.fillArithmetic(start, step, count);
    corvel::api::copyOutput(values, out);
  });
}

}  // extern "C"

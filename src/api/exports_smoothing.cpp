// Exports that smooth a caller's curve in place.
#include <cstdint>
#include <cstring>

#include "CorvelAlg.h"
#include "api/frame.h"
#include "core/vector.h"
#include "signal/smoothing.h"

extern "C" {

CORVELALG_API int alg_run_smooth(double* data, size_t count) {
  return corvel::api::guarded([&] {
    corvel::AlgVector curve = corvel::api::copyInput(data, count);
    corvel::runSmooth(curve);
    corvel::api::copyOutput(curve, data);
  });
}

CORVELALG_API int alg_super_smooth(double* data, size_t count, uint32_t halfWidth) {
  return corvel::api::guarded([&] {
    // The half-width's 32 bits read as a signed number: 2^31 and above are
    // negative half-widths.
    std::int32_t signedHalfWidth;
    std::memcpy(&signedHalfWidth, &halfWidth, sizeof signedHalfWidth);
    corvel::AlgVector curve = corvel::api::copyInput(data, count);
    corvel::superSmooth(curve, signedHalfWidth);
    corvel::api::copyOutput(curve, data);
  });
}

}  // extern "C"

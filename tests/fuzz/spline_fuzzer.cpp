// The natural cubic spline: alg_cubic_interpolation.
#include <cstdint>
#include <vector>

#include "CorvelAlg.h"
#include "contract.h"
#include "fuzz_input.h"

namespace {

using namespace corvel::fuzz;

void fuzzSpline(FuzzInput& in) {
  const char* fn = "alg_cubic_interpolation";
  const std::size_t n = in.size(kMaxPoints);
  const std::vector<double> x = in.abscissae(n);
  const std::vector<double> y = in.array(n);
  const std::size_t m = in.size(kMaxPoints);
  // Queries: mostly within the knots, as a resampling host asks.
  std::vector<double> xq;
  if (in.flag() && n > 0) {
    xq.resize(m);
    for (std::size_t j = 0; j < m; ++j) {
      const double t = in.ordinary(-0.1, 1.1);
      xq[j] = x[0] + (x[n - 1] - x[0]) * t;
    }
  } else {
    xq = in.array(m);
  }
  // Now and then one argument is NULL (refused when its count is not 0).
  const std::uint8_t nulls = in.byte();
  const bool nullX = (nulls & 0x1f) == 0x01;
  const bool nullY = (nulls & 0x1f) == 0x02;
  const bool nullXq = (nulls & 0x1f) == 0x03;
  const bool nullYq = (nulls & 0x1f) == 0x04;
  std::vector<double> yq = guarded<double>(m);
  const Snapshot xBefore(x), yBefore(y), xqBefore(xq), yqBefore(yq);

  const int status =
      alg_cubic_interpolation(nullX ? nullptr : x.data(), nullY ? nullptr : y.data(), n,
                              nullXq ? nullptr : xq.data(), nullYq ? nullptr : yq.data(), m);
  const bool refusedNull = ((nullX || nullY) && n > 0) || ((nullXq || nullYq) && m > 0);
  if (refusedNull || n < 3) {
    checkStatus(fn, status, {ALG_STATUS_INVALID_ARGUMENT});
  } else {
    checkStatus(fn, status, {ALG_STATUS_OK});
  }
  xBefore.expectUnchanged(fn, "knot abscissae changed");
  yBefore.expectUnchanged(fn, "knot values changed");
  xqBefore.expectUnchanged(fn, "queries changed");
  if (status != ALG_STATUS_OK) yqBefore.expectUnchanged(fn, "output written on failure");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput in(data, size);
  fuzzSpline(in);
  return 0;
}

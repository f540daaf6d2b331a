// Melting curves: alg_melting and alg_melting_normalization.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "CorvelAlg.h"
#include "contract.h"
#include "fuzz_input.h"

namespace {

using namespace corvel::fuzz;

void fuzzMelting(FuzzInput& in) {
  const char* fn = "alg_melting";
  const std::size_t n = in.size(kMaxPoints);
  const std::vector<double> t = in.abscissae(n);
  const std::vector<double> f = in.array(n);
  const std::uint8_t nulls = in.byte();
  const bool nullT = (nulls & 0x1f) == 1 && n > 0;
  const bool nullF = (nulls & 0x1f) == 2 && n > 0;
  const bool nullCount = (nulls & 0x1f) == 3;
  const bool nullGrid = (nulls & 0x1f) == 4;
  const bool nullDerivative = (nulls & 0x1f) == 5;
  std::size_t outCount = kGuardCount;
  double* grid = guardPointer();
  double* derivative = guardPointer();
  const Snapshot tBefore(t), fBefore(f);

  const int status = alg_melting(n, nullT ? nullptr : t.data(), nullF ? nullptr : f.data(),
                                 nullCount ? nullptr : &outCount, nullGrid ? nullptr : &grid,
                                 nullDerivative ? nullptr : &derivative);
  const bool refused = nullT || nullF || nullCount || nullGrid || nullDerivative || n < 4;
  checkStatus(fn, status,
              {refused ? ALG_STATUS_INVALID_ARGUMENT : ALG_STATUS_OK, ALG_STATUS_INVALID_ARGUMENT});
  tBefore.expectUnchanged(fn, "temperatures changed");
  fBefore.expectUnchanged(fn, "fluorescence changed");
  if (status != ALG_STATUS_OK) {
    require(outCount == kGuardCount && grid == guardPointer() && derivative == guardPointer(), fn,
            "out-parameters written on failure");
    return;
  }
  require(outCount == 10 * (n - 1) + 1, fn, "result length is not 10 (n - 1) + 1");
  require(grid != nullptr && derivative != nullptr && grid != derivative, fn,
          "result arrays missing");
  require(sameNumber(grid[outCount - 1], t[n - 1]), fn,
          "grid does not end on the last temperature");
  volatile double sink = 0.0;
  for (std::size_t i = 0; i < outCount; ++i) sink = sink + grid[i] + derivative[i];
  releaseArray(fn, grid);
  releaseArray(fn, derivative);
}

void fuzzNormalization(FuzzInput& in) {
  const char* fn = "alg_melting_normalization";
  const std::size_t n = in.size(kMaxPoints);
  std::vector<double> values = in.array(n);
  const bool nullValues = n > 0 && (in.byte() & 15) == 15;
  const std::vector<double> original = values;

  const int status = alg_melting_normalization(nullValues ? nullptr : values.data(), n);
  checkStatus(fn, status, {nullValues ? ALG_STATUS_INVALID_ARGUMENT : ALG_STATUS_OK});
  if (status != ALG_STATUS_OK) return;
  for (double v : values) require(!(v < 0.0), fn, "a negative value survived");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput in(data, size);
  const std::uint8_t op = in.byte();
  if (op % 3 != 1) fuzzMelting(in);
  if (op % 3 != 0) fuzzNormalization(in);
  return 0;
}

// Smoothing in place: alg_run_smooth and alg_super_smooth.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "CorvelAlg.h"
#include "contract.h"
#include "fuzz_input.h"

namespace {

using namespace corvel::fuzz;

void fuzzRunSmooth(FuzzInput& in) {
  const char* fn = "alg_run_smooth";
  const std::size_t n = in.size(kMaxPoints);
  std::vector<double> data = in.array(n);
  const bool nullData = n > 0 && (in.byte() & 15) == 15;
  const std::vector<double> original = data;

  const int status = alg_run_smooth(nullData ? nullptr : data.data(), n);
  checkStatus(fn, status, {nullData ? ALG_STATUS_INVALID_ARGUMENT : ALG_STATUS_OK});
  if (nullData) return;
  if (n > 0 && n <= 5) {
    require(std::memcmp(data.data(), original.data(), n * sizeof(double)) == 0, fn,
            "curve of 5 values or fewer changed");
  }
  if (n > 0) require(sameValue(data[n - 1], original[n - 1]), fn, "last value changed");
}

void fuzzSuperSmooth(FuzzInput& in) {
  const char* fn = "alg_super_smooth";
  const std::size_t n = in.size(kMaxPoints);
  std::vector<double> data = in.array(n);
  const bool nullData = n > 0 && (in.byte() & 15) == 15;
  std::uint32_t halfWidth = 0;
  switch (in.byte() % 4) {
    case 0:
      halfWidth = in.byte() % 8;
      break;
    case 1:
      halfWidth = static_cast<std::uint32_t>(in.u16() % (n + 3));
      break;
    case 2:
      halfWidth = 0x80000000u | in.u32();  // negative when read as signed
      break;
    default:
      halfWidth = in.u32();
      break;
  }
  const std::vector<double> original = data;

  const int status = alg_super_smooth(nullData ? nullptr : data.data(), n, halfWidth);
  checkStatus(fn, status, {nullData ? ALG_STATUS_INVALID_ARGUMENT : ALG_STATUS_OK});
  if (nullData || n == 0) return;
  if (halfWidth == 0) {
    // Each value is its own mean (a sum from 0, so -0 comes back as 0).
    for (std::size_t i = 0; i < n; ++i) {
      require(sameNumber(data[i], original[i]), fn, "half-width 0 changed the curve");
    }
  }
  if (halfWidth >= 0x80000000u) {
    for (double v : data) require(std::isnan(v), fn, "negative half-width must give NaN");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput in(data, size);
  const std::uint8_t op = in.byte();
  if (op % 3 != 1) fuzzRunSmooth(in);
  if (op % 3 != 0) fuzzSuperSmooth(in);
  return 0;
}

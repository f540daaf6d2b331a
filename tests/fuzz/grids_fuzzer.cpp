// Grids: alg_interpolation_x and alg_increasing, and the frame's own
// exports (version, get_last_error, alg_darray_release).
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "CorvelAlg.h"
#include "contract.h"
#include "fuzz_input.h"

namespace {

using namespace corvel::fuzz;

// Output grids stay below this many points.
constexpr std::uint64_t kMaxGrid = 20000;

void fuzzInterpolationX(FuzzInput& in) {
  const char* fn = "alg_interpolation_x";
  const std::size_t n = in.size(64);
  const std::vector<double> x = in.abscissae(n);
  const bool nullX = n > 0 && (in.byte() & 15) == 15;

  // The factor: a small one whose grid the harness can supply, a negative
  // one, or one so large that the grid size cannot be represented. Both of
  // the latter are refused before anything is allocated or written, so a
  // one-element guard buffer stands in for the impossible grid.
  const std::uint64_t intervals = n > 0 ? n - 1 : 0;
  std::int64_t factor = 0;
  bool representable = true;
  switch (in.byte() % 4) {
    case 0:
    case 1:
      factor = intervals == 0 ? in.byte() : in.u16() % (kMaxGrid / intervals + 1);
      break;
    case 2: {
      const std::int64_t negatives[] = {-1, -2, std::numeric_limits<std::int64_t>::min(),
                                        -static_cast<std::int64_t>(in.u32()) - 1};
      factor = negatives[in.byte() % 4];
      representable = false;
      break;
    }
    default: {
      // At least 2^60 intervals: (N + 1) * 8 bytes do not fit in 63 bits.
      const std::uint64_t least = intervals == 0 ? 0 : ((1ull << 60) + intervals - 1) / intervals;
      std::uint64_t f =
          in.u64() & static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
      if (f < least) f = least;
      factor = static_cast<std::int64_t>(f);
      representable = intervals == 0;  // n of 0 or 1 is refused for its size first
      break;
    }
  }
  const std::size_t gridSize =
      representable && n > 0
          ? static_cast<std::size_t>(intervals * static_cast<std::uint64_t>(factor) + 1)
          : 1;
  std::vector<double> out = guarded<double>(gridSize);
  const Snapshot outBefore(out);
  const Snapshot xBefore(x);

  const int status = alg_interpolation_x(nullX ? nullptr : x.data(), n, factor, out.data());
  if (nullX || n < 3) {
    checkStatus(fn, status, {ALG_STATUS_INVALID_ARGUMENT});
  } else if (!representable) {
    checkStatus(fn, status, {ALG_STATUS_FAILURE});
  } else {
    checkStatus(fn, status, {ALG_STATUS_OK});
  }
  xBefore.expectUnchanged(fn, "input abscissae changed");
  if (status != ALG_STATUS_OK) {
    outBefore.expectUnchanged(fn, "output written on failure");
    return;
  }
  require(sameNumber(out[gridSize - 1], x[n - 1]), fn, "grid does not end exactly on x[n-1]");
  if (factor > 0) require(sameNumber(out[0], x[0]), fn, "grid does not start on x[0]");
}

void fuzzIncreasing(FuzzInput& in) {
  const char* fn = "alg_increasing";
  const double start = in.number();
  const double step = in.number();
  const std::size_t count = in.size(kMaxPoints);
  const bool nullOut = count > 0 && (in.byte() & 15) == 15;
  std::vector<double> out = guarded<double>(count);
  const Snapshot before(out);

  const int status = alg_increasing(start, step, count, nullOut ? nullptr : out.data());
  if (count == 0 || nullOut) {
    checkStatus(fn, status, {ALG_STATUS_INVALID_ARGUMENT});
    before.expectUnchanged(fn, "output written on failure");
    return;
  }
  checkStatus(fn, status, {ALG_STATUS_OK});
  require(sameValue(out[0], start), fn, "first value is not start");
  for (std::size_t i = 1; i < count; ++i) {
    require(sameValue(out[i], out[i - 1] + step), fn, "value is not the previous one plus step");
  }
}

// version() and get_last_error() leave the buffer alone; releasing a
// missing array is no error and empties it.
void checkFrame() {
  const char* fn = "frame";
  require(alg_increasing(0.0, 0.0, 0, nullptr) == ALG_STATUS_INVALID_ARGUMENT, fn,
          "alg_increasing with count 0 must fail");
  const std::size_t length = messageLength(fn);
  require(length > 0, fn, "failure left no message");
  require(std::strcmp(version(), CORVELALG_VERSION_STRING) == 0, fn, "version mismatch");
  require(messageLength(fn) == length, fn, "version() changed the last error");
  require(messageLength(fn) == length, fn, "get_last_error() changed the last error");
  double* none = nullptr;
  require(alg_darray_release(&none) == ALG_STATUS_OK && none == nullptr, fn,
          "releasing a NULL array");
  require(messageLength(fn) == 0, fn, "alg_darray_release did not empty the message");
  require(alg_darray_release(nullptr) == ALG_STATUS_OK, fn, "releasing through NULL");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput in(data, size);
  const std::uint8_t op = in.byte();
  if (op % 3 != 1) fuzzInterpolationX(in);
  if (op % 3 != 0) fuzzIncreasing(in);
  if (op >= 240) checkFrame();
  return 0;
}

// Quantification: alg_calc_standard, alg_calc_rq and alg_calc_sd.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "CorvelAlg.h"
#include "contract.h"
#include "fuzz_input.h"

namespace {

using namespace corvel::fuzz;

// Counts stored as doubles: the ones a host means, and the ones that
// break a careless conversion. Gene counts whose result would be merely
// large (gigabytes) are left out: the library would rightly allocate them.
double countValue(FuzzInput& in, double meant) {
  static const double kHostile[] = {-1.0,
                                    -3.0,
                                    -0.5,
                                    0.0,
                                    -0.0,
                                    2.9,
                                    1e19,
                                    1e300,
                                    9223372036854775808.0,
                                    18446744073709551616.0,
                                    4.7e18,
                                    std::numeric_limits<double>::max(),
                                    std::numeric_limits<double>::infinity(),
                                    -std::numeric_limits<double>::infinity(),
                                    std::numeric_limits<double>::quiet_NaN(),
                                    std::numeric_limits<double>::denorm_min()};
  const std::uint8_t kind = in.byte();
  if (kind < 200) return meant;
  if (kind < 230) return static_cast<double>(in.byte() % 40) + (kind & 1 ? 0.5 : 0.0);
  return kHostile[in.byte() % (sizeof kHostile / sizeof kHostile[0])];
}

void fuzzStandard(FuzzInput& in) {
  const char* fn = "alg_calc_standard";
  const std::size_t nx = in.size(kMaxPoints);
  const std::size_t ny = (in.byte() & 7) == 7 ? in.size(kMaxPoints) : nx;
  const std::vector<double> x = in.array(nx);
  const std::vector<double> y = in.array(ny);
  const std::uint8_t nulls = in.byte();
  const bool nullX = (nulls & 0x1f) == 1 && nx > 0;
  const bool nullY = (nulls & 0x1f) == 2 && ny > 0;
  const bool nullResult = (nulls & 0x1f) == 3;
  LinearFit fit;
  guard(fit);
  const Snapshot fitBefore = Snapshot::of(fit);
  const Snapshot xBefore(x), yBefore(y);

  const int status = alg_calc_standard(nullX ? nullptr : x.data(), nx, nullY ? nullptr : y.data(),
                                       ny, nullResult ? nullptr : &fit);
  const bool refused = nullX || nullY || nullResult || nx != ny;
  checkStatus(fn, status, {refused ? ALG_STATUS_INVALID_ARGUMENT : ALG_STATUS_OK});
  xBefore.expectUnchanged(fn, "x changed");
  yBefore.expectUnchanged(fn, "y changed");
  if (status != ALG_STATUS_OK) fitBefore.expectUnchanged(fn, "result written on failure");
}

void fuzzRq(FuzzInput& in) {
  const char* fn = "alg_calc_rq";
  RqOptions options;
  options.modeA = in.flag() ? 1 + (in.byte() & 1) : in.int32();
  options.modeB = in.flag() ? options.modeA : in.int32();
  options.errorBarType = in.flag() ? 1 + (in.byte() & 1) : in.int32();
  options.confidenceIndex = in.flag() ? in.byte() % 6 : in.int32();
  options.sdMultiple = in.int32();
  const std::size_t count = (in.byte() & 7) == 7 ? in.size(8) : 4;
  std::vector<double> summary(count);
  for (std::size_t i = 0; i < count; ++i) {
    summary[i] = i == 3 ? countValue(in, 4.0 + in.byte() % 94) : in.number();
  }
  const double calibrator = in.number();
  const std::uint8_t nulls = in.byte();
  const bool nullOptions = (nulls & 0x1f) == 1;
  const bool nullSummary = (nulls & 0x1f) == 2 && count > 0;
  const bool nullResult = (nulls & 0x1f) == 3;
  RqResult result;
  guard(result);
  const RqResult before = result;
  const Snapshot optionsBefore = Snapshot::of(options);
  const Snapshot summaryBefore(summary);

  const int status =
      alg_calc_rq(nullOptions ? nullptr : &options, nullSummary ? nullptr : summary.data(), count,
                  calibrator, nullResult ? nullptr : &result);
  optionsBefore.expectUnchanged(fn, "options changed");
  summaryBefore.expectUnchanged(fn, "summary changed");
  if (nullOptions || nullSummary || nullResult || count < 4) {
    checkStatus(fn, status, {ALG_STATUS_INVALID_ARGUMENT});
    require(std::memcmp(&before, &result, sizeof result) == 0, fn,
            "result written although the arguments were refused");
    return;
  }
  // The error-bar step decides the status; what precedes it is written.
  const double n = summary[3];
  const bool countInRange = n >= 4.0 && n < 98.0;
  if (options.errorBarType == 1) {
    const bool ok = countInRange && options.confidenceIndex >= 0 && options.confidenceIndex <= 5;
    checkStatus(fn, status, {ok ? ALG_STATUS_OK : ALG_STATUS_OUT_OF_RANGE});
  } else if (options.errorBarType == 2) {
    checkStatus(fn, status, {ALG_STATUS_OK});
  } else {
    checkStatus(fn, status, {ALG_STATUS_INVALID_ARGUMENT});
  }
  require(sameValue(result.value, summary[0]) && sameValue(result.sd, summary[1]) &&
              sameValue(result.se, summary[2]),
          fn, "value, sd, se not copied from the summary");
  if (options.modeA == 2 && options.modeB == 2) {
    require(std::memcmp(&result.ddct, &before.ddct, sizeof result.ddct) == 0, fn,
            "ddct written in quantity form");
  }
  if (status != ALG_STATUS_OK) {
    require(std::memcmp(&result.lower, &before.lower, 2 * sizeof(double)) == 0, fn,
            "error bar written on failure");
  }
}

// A gene count between about 1e5 and 4e17 is representable: the library
// would allocate its result (gigabytes at the top of that range) and loop
// over every gene, as it should. Such counts are replaced by one that is
// refused outright, so that a run measures robustness, not memory size.
void keepGeneCountSane(std::vector<double>& data) {
  if (data.size() < 2 || !(data[0] > -1.0) || !(data[0] < static_cast<double>(data.size() - 1))) {
    return;
  }
  // The target count truncates toward zero, so -0.5 counts as 0.
  double& genes = data[static_cast<std::size_t>(data[0] < 0.0 ? 0.0 : data[0]) + 1];
  if (genes > 1e5 && genes < 4e17) genes = 1e18;
}

// The replicate layout: N0, N0 values, M, M blocks of (q, q values); the
// counts now and then hostile, the blocks now and then cut short.
std::vector<double> decodeReplicates(FuzzInput& in) {
  std::vector<double> data;
  if ((in.byte() & 7) == 7) {
    data = in.array(in.size(64));
    keepGeneCountSane(data);
    return data;
  }
  const std::size_t targets = in.size(12);
  data.push_back(countValue(in, static_cast<double>(targets)));
  for (std::size_t i = 0; i < targets; ++i) data.push_back(in.ordinary(10.0, 40.0));
  const std::size_t genes = in.size(4);
  data.push_back(countValue(in, static_cast<double>(genes)));
  for (std::size_t g = 0; g < genes; ++g) {
    const std::size_t q = in.size(12);
    data.push_back(countValue(in, static_cast<double>(q)));
    for (std::size_t i = 0; i < q; ++i)
      data.push_back(in.flag() ? in.number() : in.ordinary(10.0, 40.0));
  }
  const std::uint8_t cut = in.byte();
  if (cut >= 224 && !data.empty()) data.resize(data.size() - 1 - cut % data.size());
  data.shrink_to_fit();
  keepGeneCountSane(data);
  return data;
}

void fuzzSd(FuzzInput& in) {
  const char* fn = "alg_calc_sd";
  const std::int32_t mode = in.flag() ? 1 + (in.byte() & 1) : in.int32();
  const std::vector<double> data = decodeReplicates(in);
  const std::size_t n = data.size();
  const std::uint8_t nulls = in.byte();
  const bool nullMode = (nulls & 0x1f) == 1;
  const bool nullData = (nulls & 0x1f) == 2 && n > 0;
  const bool nullResult = (nulls & 0x1f) == 3;
  const bool nullCount = (nulls & 0x1f) == 4;
  double* result = guardPointer();
  std::size_t resultCount = kGuardCount;
  const Snapshot dataBefore(data);

  const int status =
      alg_calc_sd(nullMode ? nullptr : &mode, nullData ? nullptr : data.data(), n,
                  nullResult ? nullptr : &result, nullCount ? nullptr : &resultCount);
  dataBefore.expectUnchanged(fn, "data changed");
  if (nullMode || nullData || nullResult || nullCount || n < 5) {
    checkStatus(fn, status, {ALG_STATUS_INVALID_ARGUMENT});
  } else {
    checkStatus(fn, status, {ALG_STATUS_OK, ALG_STATUS_INVALID_ARGUMENT, ALG_STATUS_FAILURE});
  }
  if (status != ALG_STATUS_OK) {
    require(result == guardPointer() && resultCount == kGuardCount, fn,
            "out-parameters written on failure");
    return;
  }
  require(result != nullptr && result != guardPointer(), fn, "no result array handed out");
  require(resultCount >= 13 && (resultCount - 10) % 3 == 0, fn, "result length is not 3M + 10");
  // The caller owns exactly resultCount doubles: touch them all.
  volatile double sink = 0.0;
  for (std::size_t i = 0; i < resultCount; ++i) sink = sink + result[i];
  releaseArray(fn, result);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput in(data, size);
  switch (in.byte() % 4) {
    case 0:
      fuzzStandard(in);
      break;
    case 1:
      fuzzRq(in);
      break;
    case 2:
      fuzzSd(in);
      break;
    default: {
      // The host's road: replicate statistics, then the relative quantity
      // of the summary they hand out.
      const char* fn = "alg_calc_sd -> alg_calc_rq";
      const std::int32_t mode = 1 + (in.byte() & 1);
      const std::vector<double> replicates = decodeReplicates(in);
      double* result = nullptr;
      std::size_t count = 0;
      if (alg_calc_sd(&mode, replicates.data(), replicates.size(), &result, &count) != 0) break;
      RqOptions options{mode, mode, 1 + (in.byte() & 1), in.byte() % 6, in.int32()};
      RqResult rq;
      const int status = alg_calc_rq(&options, result, count, in.number(), &rq);
      checkStatus(fn, status, {ALG_STATUS_OK, ALG_STATUS_OUT_OF_RANGE});
      releaseArray(fn, result);
      break;
    }
  }
  return 0;
}

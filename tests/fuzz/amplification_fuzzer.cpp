// Amplification curves: alg_calc_threshold, alg_linear_batch_calc_ct,
// alg_sigmoid, alg_sigmoid_batch_calc_ct, alg_sample_data_fitting and
// test_fitting_result.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "CorvelAlg.h"
#include "contract.h"
#include "fuzz_input.h"

namespace {

using namespace corvel::fuzz;

// Records as a host keeps them: zeroed before the first analysis, or with
// a caller-given baseline window, or arbitrary bytes.
std::vector<WellCurveInfo> decodeRecords(FuzzInput& in, std::size_t count) {
  std::vector<WellCurveInfo> records(count);  // value-initialised: all zero
  const std::uint8_t kind = in.byte() % 4;
  for (WellCurveInfo& r : records) {
    if (kind == 0) continue;  // all automatic
    if (kind == 3) {
      auto* bytes = reinterpret_cast<std::uint8_t*>(&r);
      for (std::size_t i = 0; i < sizeof r; ++i) bytes[i] = in.byte();
    }
    r.baselineStart = in.short16();
    r.baselineEnd = in.short16();
  }
  return records;
}

// wells x cycles values, well-major, one decoded curve per well.
std::vector<double> decodePlate(FuzzInput& in, std::size_t wells, std::size_t cycles) {
  std::vector<double> plate;
  plate.reserve(wells * cycles);
  for (std::size_t w = 0; w < wells; ++w) {
    const std::vector<double> curve = in.array(cycles);
    plate.insert(plate.end(), curve.begin(), curve.end());
  }
  plate.shrink_to_fit();
  return plate;
}

// Runs the threshold search; returns its status and, on success, the
// threshold through *threshold.
int fuzzThreshold(FuzzInput& in, std::vector<WellCurveInfo>& records,
                  const std::vector<double>& plate, std::size_t wells, std::size_t cycles,
                  double* threshold) {
  const char* fn = "alg_calc_threshold";
  // recCount may name more records than wells, never more than supplied.
  const std::size_t recCount = in.flag() ? wells : in.size(records.size());
  const std::uint8_t nulls = in.byte();
  const bool nullInfos = (nulls & 0x1f) == 1;
  const bool nullData = (nulls & 0x1f) == 2 && !plate.empty();
  const bool nullOut = (nulls & 0x1f) == 3;
  double out;
  guard(out);
  const Snapshot outBefore = Snapshot::of(out);
  const Snapshot plateBefore(plate);
  // Records past the analysed wells are only read.
  const Snapshot tailBefore(records.data() + wells,
                            (records.size() - wells) * sizeof(WellCurveInfo));
  const Snapshot recordsBefore(records);

  const int status = alg_calc_threshold(nullInfos ? nullptr : records.data(), recCount,
                                        nullData ? nullptr : plate.data(), wells, cycles,
                                        nullOut ? nullptr : &out);
  const bool refusedNull = (nullInfos && (wells > 0 || recCount > 0)) || nullOut || nullData;
  if (refusedNull) {
    checkStatus(fn, status, {ALG_STATUS_INVALID_ARGUMENT});
    recordsBefore.expectUnchanged(fn, "records written although an argument was refused");
  } else if (wells > 0 && cycles < 9) {
    checkStatus(fn, status, {ALG_STATUS_OUT_OF_RANGE});
  } else {
    checkStatus(fn, status, {ALG_STATUS_OK, ALG_STATUS_OUT_OF_RANGE});
  }
  plateBefore.expectUnchanged(fn, "fluorescence data changed");
  tailBefore.expectUnchanged(fn, "records past wellCount written");
  if (status != ALG_STATUS_OK) {
    outBefore.expectUnchanged(fn, "threshold written on failure");
    return status;
  }
  require(!(out < 100.0), fn, "threshold below 100");
  *threshold = out;
  return status;
}

void fuzzLinearBatch(FuzzInput& in, std::vector<WellCurveInfo>& records,
                     const std::vector<double>& plate, std::size_t wells, std::size_t cycles,
                     double threshold) {
  const char* fn = "alg_linear_batch_calc_ct";
  std::size_t ctCount = wells;
  const std::uint8_t ctKind = in.byte() % 8;
  if (ctKind == 6) ctCount = wells + in.size(8);
  if (ctKind == 7) ctCount = in.size(wells);  // may be too small: refused
  const std::uint8_t nulls = in.byte();
  const bool nullInfos = (nulls & 0x1f) == 1 && wells > 0;
  const bool nullData = (nulls & 0x1f) == 2 && !plate.empty();
  const bool nullCurves = (nulls & 0x1f) == 3 && !plate.empty();
  const bool nullCts = (nulls & 0x1f) == 4 && ctCount > 0;
  std::vector<double> curves = guarded<double>(plate.size());
  std::vector<double> cts = guarded<double>(ctCount);
  const Snapshot curvesBefore(curves), ctsBefore(cts), plateBefore(plate), recordsBefore(records);

  const int status = alg_linear_batch_calc_ct(
      nullInfos ? nullptr : records.data(), ctCount, threshold, nullData ? nullptr : plate.data(),
      wells, cycles, nullCurves ? nullptr : curves.data(), nullCts ? nullptr : cts.data());
  if (ctCount < wells || nullInfos || nullData || nullCurves || nullCts) {
    checkStatus(fn, status, {ALG_STATUS_INVALID_ARGUMENT});
    recordsBefore.expectUnchanged(fn, "records written although an argument was refused");
  } else if (wells > 0 && cycles < 9) {
    checkStatus(fn, status, {ALG_STATUS_OUT_OF_RANGE});
  } else {
    checkStatus(fn, status, {ALG_STATUS_OK, ALG_STATUS_OUT_OF_RANGE});
  }
  plateBefore.expectUnchanged(fn, "fluorescence data changed");
  if (status != ALG_STATUS_OK) {
    curvesBefore.expectUnchanged(fn, "curves written on failure");
    ctsBefore.expectUnchanged(fn, "Ct values written on failure");
    return;
  }
  for (std::size_t i = wells; i < ctCount; ++i) {
    require(cts[i] == 0.0, fn, "Ct entries past wellCount must be 0");
  }
}

void fuzzPlate(FuzzInput& in) {
  // Mostly a handful of wells: each costs a logistic fit.
  const std::size_t wells = in.size(kMaxWells, 6);
  const std::size_t cycles = in.size(kMaxCycles, 45);
  const std::size_t extra = in.flag() ? in.size(4) : 0;
  std::vector<WellCurveInfo> records = decodeRecords(in, wells + extra);
  const std::vector<double> plate = decodePlate(in, wells, cycles);
  const std::uint8_t road = in.byte() % 3;
  double threshold = in.number();
  if (road != 1) {
    const int status = fuzzThreshold(in, records, plate, wells, cycles, &threshold);
    if (road == 0 || status != ALG_STATUS_OK) return;
  }
  fuzzLinearBatch(in, records, plate, wells, cycles, threshold);
}

void fuzzSigmoid(FuzzInput& in) {
  const char* fn = "alg_sigmoid";
  const std::vector<double> params = {in.number(), in.number(), in.number()};
  const std::size_t n = in.size(kMaxPoints);
  std::vector<double> x = in.abscissae(n);
  const std::uint8_t nulls = in.byte();
  const bool nullParams = (nulls & 0x1f) == 1 && n > 0;
  const bool nullX = (nulls & 0x1f) == 2 && n > 0;
  const Snapshot paramsBefore(params), xBefore(x);

  const int status =
      alg_sigmoid(nullParams ? nullptr : params.data(), nullX ? nullptr : x.data(), n);
  checkStatus(fn, status, {nullParams || nullX ? ALG_STATUS_INVALID_ARGUMENT : ALG_STATUS_OK});
  paramsBefore.expectUnchanged(fn, "parameters changed");
  if (status != ALG_STATUS_OK) xBefore.expectUnchanged(fn, "abscissae changed on failure");
}

void fuzzSigmoidBatch(FuzzInput& in) {
  const char* fn = "alg_sigmoid_batch_calc_ct";
  const std::size_t n = in.size(kMaxWells);
  std::vector<WellCurveInfo> wells(n);  // value-initialised: all zero
  for (WellCurveInfo& w : wells) {
    w.sigmoidTop = in.flag() ? in.ordinary(-100.0, 1e5) : in.number();
    w.sigmoidMid = in.flag() ? in.ordinary(0.0, 50.0) : in.number();
    w.sigmoidRate = in.flag() ? in.ordinary(-0.5, 2.0) : in.number();
  }
  const std::uint64_t reserved = in.u64();
  const std::uint8_t nulls = in.byte();
  const bool nullWells = (nulls & 0x1f) == 1 && n > 0;
  const bool nullCts = (nulls & 0x1f) == 2 && n > 0;
  std::vector<double> cts = guarded<double>(n);
  const Snapshot wellsBefore(wells), ctsBefore(cts);

  const int status = alg_sigmoid_batch_calc_ct(nullWells ? nullptr : wells.data(), n, reserved,
                                               nullCts ? nullptr : cts.data());
  checkStatus(fn, status, {nullWells || nullCts ? ALG_STATUS_INVALID_ARGUMENT : ALG_STATUS_OK});
  wellsBefore.expectUnchanged(fn, "records changed");
  if (status != ALG_STATUS_OK) {
    ctsBefore.expectUnchanged(fn, "Ct values written on failure");
    return;
  }
  for (std::size_t i = 0; i < n; ++i) {
    if (wells[i].sigmoidTop < 10.0 || wells[i].sigmoidRate < 0.01) {
      require(std::isnan(cts[i]), fn, "implausible fit must give a NaN Ct");
    }
  }
}

void fuzzSampleFitting(FuzzInput& in) {
  const char* fn = "alg_sample_data_fitting";
  const std::size_t n = in.size(kMaxPoints);
  const std::vector<double> samples = in.array(n);
  const std::uint8_t nulls = in.byte();
  const bool nullSamples = (nulls & 0x1f) == 1 && n > 0;
  const bool nullResult = (nulls & 0x1f) == 2;
  double result;
  guard(result);
  const Snapshot resultBefore = Snapshot::of(result);
  const Snapshot samplesBefore(samples);

  const int status = alg_sample_data_fitting(nullSamples ? nullptr : samples.data(), n,
                                             nullResult ? nullptr : &result);
  checkStatus(fn, status,
              {nullSamples || nullResult || n < 3 ? ALG_STATUS_INVALID_ARGUMENT : ALG_STATUS_OK});
  samplesBefore.expectUnchanged(fn, "samples changed");
  if (status != ALG_STATUS_OK) resultBefore.expectUnchanged(fn, "result written on failure");
}

// The layout self-test: a correctly filled record, possibly with one byte
// changed, or arbitrary bytes. It never touches the last-error buffer.
void fuzzLayoutTest(FuzzInput& in) {
  const char* fn = "test_fitting_result";
  WellCurveInfo r;
  auto* bytes = reinterpret_cast<std::uint8_t*>(&r);
  if (in.flag()) {
    for (std::size_t i = 0; i < sizeof r; ++i) bytes[i] = in.byte();
  } else {
    std::memset(&r, 0, sizeof r);
    const double first[4] = {1.1, 2.2, 3.3, 4.4};
    std::memcpy(bytes, first, sizeof first);
    for (int k = 0; k < 8; ++k) {
      const double v = k;
      std::memcpy(bytes + 32 + 8 * k, &v, sizeof v);
    }
    r.baselineStart = 1;
    r.baselineEnd = 2;
    r.reservedShort = 3;
    r.sigmoidTop = in.number();
    r.sigmoidMid = in.number();
    r.sigmoidRate = in.number();
    r.baselineNoise = 5.5;
    for (int k = 0; k < 8; ++k) bytes[136 + k] = (k % 2 == 0) ? 1 : 0;
    if (in.flag()) bytes[in.byte() % sizeof r] ^= static_cast<std::uint8_t>(1 + in.byte() % 255);
  }
  const WellCurveInfo before = r;
  // Leave a known message in the buffer first.
  require(alg_increasing(0.0, 0.0, 0, nullptr) == ALG_STATUS_INVALID_ARGUMENT, fn, "setup");
  char message[ALG_LAST_ERROR_CAPACITY];
  std::memcpy(message, get_last_error(), sizeof message);

  const int status = test_fitting_result(&r);
  require(status == ALG_STATUS_OK || status == ALG_STATUS_INVALID_ARGUMENT, fn,
          "status other than 0 or 10");
  require(std::memcmp(message, get_last_error(), sizeof message) == 0, fn,
          "the last-error buffer was touched");
  require(std::memcmp(bytes + 102, reinterpret_cast<const std::uint8_t*>(&before) + 102, 26) == 0,
          fn, "bytes 102..127 changed");
  if (status != ALG_STATUS_OK) return;
  WellCurveInfo expected = before;
  double* d = reinterpret_cast<double*>(&expected);
  for (int k = 0; k < 4; ++k) d[k] = d[k] + d[k];
  for (int k = 0; k < 8; ++k) d[4 + k] = 2.0 * k;
  expected.baselineStart = 2;
  expected.baselineEnd = 4;
  expected.reservedShort = 6;
  expected.baselineNoise = 11.0;
  auto* e = reinterpret_cast<std::uint8_t*>(&expected);
  for (int k = 0; k < 8; ++k) e[136 + k] = (k % 2 == 0) ? 0 : 1;
  require(std::memcmp(&expected, &r, sizeof r) == 0, fn, "record not changed as documented");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput in(data, size);
  switch (in.byte() % 6) {
    case 0:
      fuzzPlate(in);
      break;
    case 1:
      fuzzSigmoid(in);
      break;
    case 2:
      fuzzSigmoidBatch(in);
      break;
    case 3:
      fuzzSampleFitting(in);
      break;
    case 4:
      fuzzLayoutTest(in);
      break;
    default:
      fuzzPlate(in);
      fuzzSigmoidBatch(in);
      break;
  }
  return 0;
}

// Synthetic melting curves: alg_mgf_melting_stimulate and
// alg_mgf_melting_stim_peak.
#include <cstdint>
#include <cstring>
#include <vector>

#include "CorvelAlg.h"
#include "contract.h"
#include "fuzz_input.h"

namespace {

using namespace corvel::fuzz;

void checkCurve(const char* fn, int status, double* values, std::size_t count,
                std::size_t expectedCount) {
  if (status != ALG_STATUS_OK) {
    require(values == guardPointer() && count == kGuardCount, fn,
            "out-parameters written on failure");
    return;
  }
  require(values != nullptr && values != guardPointer(), fn, "no result array handed out");
  require(count == expectedCount, fn, "result has the wrong length");
  volatile double sink = 0.0;
  for (std::size_t i = 0; i < count; ++i) sink = sink + values[i];
  releaseArray(fn, values);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput in(data, size);
  ModelData m = decodeModel(in, kMaxPoints);
  MgfModel* model = nullptr;
  checkStatus("alg_mgf_create",
              alg_mgf_create(m.x.data(), m.x.size(), m.y.data(), m.y.size(), &m.options, &model),
              {ALG_STATUS_OK});
  const PeakArrays p = decodePeaks(in, kMaxPeaks);
  GaussCoeff* coeff = makeCoeff("synthesis", p.amplitudes, p.centers, p.widths);
  const CoeffContents set = readCoeff("synthesis", coeff);
  const std::size_t nx = m.x.size(), ny = m.y.size(), peaks = p.centers.size();
  const bool shortSet = p.amplitudes.size() < peaks || p.widths.size() < peaks;
  const std::uint8_t op = in.byte();
  const std::uint8_t nulls = in.byte();
  const bool nullModel = (nulls & 0x1f) == 1;
  const bool nullCoeff = (nulls & 0x1f) == 2;
  const bool nullBackground = (nulls & 0x1f) == 3;
  const bool nullValues = (nulls & 0x1f) == 4;
  const bool nullCount = (nulls & 0x1f) == 5;
  const bool refusedNull = nullModel || nullCoeff || nullBackground || nullValues || nullCount;

  if (op & 1) {
    const char* fn = "alg_mgf_melting_stimulate";
    MeltBackground background;
    guard(background);
    const Snapshot backgroundBefore = Snapshot::of(background);
    double* values = guardPointer();
    std::size_t count = kGuardCount;
    const int status =
        alg_mgf_melting_stimulate(nullModel ? nullptr : model, nullCoeff ? nullptr : coeff,
                                  nullBackground ? nullptr : &background,
                                  nullValues ? nullptr : &values, nullCount ? nullptr : &count);
    if (refusedNull || nx != ny || shortSet || nx < 2 || (peaks == 0 && nx < 11)) {
      checkStatus(fn, status, {ALG_STATUS_INVALID_ARGUMENT});
    } else {
      checkStatus(fn, status, {ALG_STATUS_OK, ALG_STATUS_INVALID_ARGUMENT});
    }
    if (status != ALG_STATUS_OK)
      backgroundBefore.expectUnchanged(fn, "background written on failure");
    checkCurve(fn, status, values, count, ny);
  } else {
    const char* fn = "alg_mgf_melting_stim_peak";
    MeltBackground background;
    background.level = in.flag() ? in.number() : in.ordinary(0.0, 5000.0);
    background.midTemperature = in.flag() ? in.number() : in.ordinary(50.0, 95.0);
    background.steepness = in.flag() ? in.number() : in.ordinary(0.0, 5.0);
    const Snapshot backgroundBefore = Snapshot::of(background);
    double* values = guardPointer();
    std::size_t count = kGuardCount;
    const int status =
        alg_mgf_melting_stim_peak(nullModel ? nullptr : model, nullCoeff ? nullptr : coeff,
                                  nullBackground ? nullptr : &background,
                                  nullValues ? nullptr : &values, nullCount ? nullptr : &count);
    if (refusedNull || shortSet || (peaks == 0 && nx < 11)) {
      checkStatus(fn, status, {ALG_STATUS_INVALID_ARGUMENT});
    } else {
      checkStatus(fn, status, {ALG_STATUS_OK});
    }
    backgroundBefore.expectUnchanged(fn, "background changed");
    checkCurve(fn, status, values, count, peaks == 0 ? 1 : peaks);
  }
  require(readCoeff("synthesis", coeff) == set, "synthesis", "the set changed");
  releaseCoeff("synthesis", coeff);
  releaseModel("synthesis", model);
  return 0;
}

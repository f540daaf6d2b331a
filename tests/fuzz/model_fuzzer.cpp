// Coefficient sets and the model: alg_create_gausscoeff,
// alg_set_gausscoeff_data, alg_get_gausscoeff_data, alg_gausscoeff_release,
// alg_mgf_create, alg_mgf_release and alg_mgf_multi_gauss.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "CorvelAlg.h"
#include "contract.h"
#include "fuzz_input.h"

namespace {

using namespace corvel::fuzz;

// Fills a set once or twice (a refill replaces the arrays), with the odd
// refused NULL argument, and checks what it reads back.
GaussCoeff* fuzzSet(FuzzInput& in) {
  const char* fn = "alg_set_gausscoeff_data";
  checkStatus("alg_create_gausscoeff", alg_create_gausscoeff(nullptr),
              {ALG_STATUS_INVALID_ARGUMENT});
  GaussCoeff* coeff = reinterpret_cast<GaussCoeff*>(guardPointer());
  checkStatus("alg_create_gausscoeff", alg_create_gausscoeff(&coeff), {ALG_STATUS_OK});
  require(coeff != nullptr && coeff != reinterpret_cast<GaussCoeff*>(guardPointer()), fn,
          "alg_create_gausscoeff returned no handle");
  require(readCoeff(fn, coeff) == CoeffContents{}, fn, "a new set is not empty");

  const int fills = 1 + in.byte() % 2;
  CoeffContents expected;
  for (int k = 0; k < fills; ++k) {
    PeakArrays p = decodePeaks(in, kMaxPeaks);
    const std::uint8_t nulls = in.byte();
    const bool nullCoeff = (nulls & 0x1f) == 1;
    const bool nullA = (nulls & 0x1f) == 2 && !p.amplitudes.empty();
    const bool nullC = (nulls & 0x1f) == 3 && !p.centers.empty();
    const bool nullW = (nulls & 0x1f) == 4 && !p.widths.empty();
    const int status = alg_set_gausscoeff_data(nullCoeff ? nullptr : coeff, p.amplitudes.size(),
                                               nullA ? nullptr : p.amplitudes.data(),
                                               p.centers.size(), nullC ? nullptr : p.centers.data(),
                                               p.widths.size(), nullW ? nullptr : p.widths.data());
    const bool refused = nullCoeff || nullA || nullC || nullW;
    checkStatus(fn, status, {refused ? ALG_STATUS_INVALID_ARGUMENT : ALG_STATUS_OK});
    if (status == ALG_STATUS_OK) {
      expected = CoeffContents{p.amplitudes, p.centers, p.widths};
    }
    require(readCoeff(fn, coeff) == expected, fn, "the set does not read back what was set");
  }
  return coeff;
}

MgfModel* fuzzModel(FuzzInput& in, ModelData& m) {
  const char* fn = "alg_mgf_create";
  const std::uint8_t nulls = in.byte();
  const bool nullX = (nulls & 0x1f) == 1 && !m.x.empty();
  const bool nullY = (nulls & 0x1f) == 2 && !m.y.empty();
  const bool nullOptions = (nulls & 0x1f) == 3;
  const bool nullOut = (nulls & 0x1f) == 4;
  MgfModel* model = reinterpret_cast<MgfModel*>(guardPointer());
  const Snapshot xBefore(m.x), yBefore(m.y), optionsBefore = Snapshot::of(m.options);

  const int status =
      alg_mgf_create(nullX ? nullptr : m.x.data(), m.x.size(), nullY ? nullptr : m.y.data(),
                     m.y.size(), nullOptions ? nullptr : &m.options, nullOut ? nullptr : &model);
  const bool refused = nullX || nullY || nullOptions || nullOut;
  checkStatus(fn, status, {refused ? ALG_STATUS_INVALID_ARGUMENT : ALG_STATUS_OK});
  xBefore.expectUnchanged(fn, "x changed");
  yBefore.expectUnchanged(fn, "y changed");
  optionsBefore.expectUnchanged(fn, "options changed");
  if (status != ALG_STATUS_OK) {
    require(model == reinterpret_cast<MgfModel*>(guardPointer()), fn, "handle written on failure");
    return nullptr;
  }
  require(model != nullptr, fn, "no handle");
  // The model holds copies: the caller's data may change at once.
  std::fill(m.x.begin(), m.x.end(), -1.0);
  std::fill(m.y.begin(), m.y.end(), -1.0);
  return model;
}

void fuzzMultiGauss(FuzzInput& in, const MgfModel* model, const GaussCoeff* coeff, std::size_t nx,
                    std::size_t ny) {
  const char* fn = "alg_mgf_multi_gauss";
  const CoeffContents set = readCoeff(fn, coeff);
  const std::uint8_t nulls = in.byte();
  const bool nullModel = (nulls & 0x1f) == 1;
  const bool nullCoeff = (nulls & 0x1f) == 2;
  const bool nullValues = (nulls & 0x1f) == 3;
  const bool nullCount = (nulls & 0x1f) == 4;
  double* values = guardPointer();
  std::size_t count = kGuardCount;

  const int status =
      alg_mgf_multi_gauss(nullModel ? nullptr : model, nullCoeff ? nullptr : coeff,
                          nullValues ? nullptr : &values, nullCount ? nullptr : &count);
  const bool refused = nullModel || nullCoeff || nullValues || nullCount || !consistent(set) ||
                       (nx != ny && !set.centers.empty());
  checkStatus(fn, status, {refused ? ALG_STATUS_INVALID_ARGUMENT : ALG_STATUS_OK});
  require(readCoeff(fn, coeff) == set, fn, "the set changed");
  if (status != ALG_STATUS_OK) {
    require(values == guardPointer() && count == kGuardCount, fn,
            "out-parameters written on failure");
    return;
  }
  require(count == ny && values != nullptr, fn, "result is not one value per y");
  volatile double sink = 0.0;
  for (std::size_t i = 0; i < count; ++i) sink = sink + values[i];
  releaseArray(fn, values);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput in(data, size);
  GaussCoeff* coeff = fuzzSet(in);
  ModelData m = decodeModel(in, kMaxPoints);
  const std::size_t nx = m.x.size(), ny = m.y.size();
  MgfModel* model = fuzzModel(in, m);
  if (model != nullptr) fuzzMultiGauss(in, model, coeff, nx, ny);

  const char* fn = "release";
  releaseModel(fn, model);
  releaseModel(fn, model);  // a second release of the cleared handle is harmless
  releaseCoeff(fn, coeff);
  releaseCoeff(fn, coeff);
  require(alg_mgf_release(nullptr) == ALG_STATUS_OK, fn, "alg_mgf_release(NULL)");
  require(alg_gausscoeff_release(nullptr) == ALG_STATUS_OK, fn, "alg_gausscoeff_release(NULL)");
  return 0;
}

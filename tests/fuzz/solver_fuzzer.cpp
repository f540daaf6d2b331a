// The multi-Gaussian solver: alg_mgf_solve, starting from decoded peaks or
// from the peaks the library detects itself (the host's road).
#include <cstdint>
#include <vector>

#include "CorvelAlg.h"
#include "contract.h"
#include "fuzz_input.h"

namespace {

using namespace corvel::fuzz;

// The solver's work grows with points x peaks^2 per step; these bounds keep
// one input well below a second.
constexpr std::size_t kSolverPoints = 250;
constexpr std::size_t kSolverPeaks = 6;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const char* fn = "alg_mgf_solve";
  FuzzInput in(data, size);
  ModelData m = decodeModel(in, kSolverPoints);
  MgfModel* model = nullptr;
  checkStatus("alg_mgf_create",
              alg_mgf_create(m.x.data(), m.x.size(), m.y.data(), m.y.size(), &m.options, &model),
              {ALG_STATUS_OK});

  GaussCoeff* coeff = nullptr;
  if (in.flag()) {
    const PeakArrays p = decodePeaks(in, kSolverPeaks);
    coeff = makeCoeff(fn, p.amplitudes, p.centers, p.widths);
  } else {
    // Detected start peaks, at most kSolverPeaks of them.
    GaussCoeff* detected = nullptr;
    if (alg_mgf_local_max_value_id(model, &detected) != ALG_STATUS_OK) {
      releaseModel(fn, model);
      return 0;
    }
    CoeffContents c = readCoeff(fn, detected);
    releaseCoeff(fn, detected);
    if (c.centers.size() > kSolverPeaks) {
      c.amplitudes.resize(kSolverPeaks);
      c.centers.resize(kSolverPeaks);
      c.widths.resize(kSolverPeaks);
    }
    coeff = makeCoeff(fn, c.amplitudes, c.centers, c.widths);
  }
  const CoeffContents before = readCoeff(fn, coeff);
  const std::uint8_t nulls = in.byte();
  const bool nullModel = (nulls & 0x1f) == 1;
  const bool nullCoeff = (nulls & 0x1f) == 2;

  const int status = alg_mgf_solve(nullModel ? nullptr : model, nullCoeff ? nullptr : coeff);
  // An empty set is returned at once; a set with peaks needs x and y of one
  // count.
  const bool mismatch = m.x.size() != m.y.size() && !before.centers.empty();
  if (nullModel || nullCoeff || !consistent(before) || mismatch) {
    checkStatus(fn, status, {ALG_STATUS_INVALID_ARGUMENT});
  } else {
    checkStatus(fn, status, {ALG_STATUS_OK, ALG_STATUS_INVALID_ARGUMENT});
  }
  const CoeffContents after = readCoeff(fn, coeff);
  if (status != ALG_STATUS_OK) {
    require(after == before, fn, "the set changed on failure");
  } else {
    require(after.centers.size() == before.centers.size() && consistent(after), fn,
            "the fit changed the number of peaks");
  }
  releaseCoeff(fn, coeff);
  releaseModel(fn, model);
  return 0;
}

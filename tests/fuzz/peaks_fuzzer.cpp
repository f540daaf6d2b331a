// Peak detection: alg_mgf_local_max_value_id and
// alg_mgf_local_max_value_id_origin.
#include <cstdint>
#include <vector>

#include "CorvelAlg.h"
#include "contract.h"
#include "fuzz_input.h"

namespace {

using namespace corvel::fuzz;

// A detected set: three arrays of one count, each centre one of the
// abscissae and each amplitude the curve's value there.
void checkDetected(const char* fn, const CoeffContents& c, const std::vector<double>& x,
                   const std::vector<double>& y) {
  require(consistent(c), fn, "detected set with differing counts");
  require(c.centers.size() <= y.size() / 2 + 1, fn, "more peaks than local maxima can exist");
  for (std::size_t k = 0; k < c.centers.size(); ++k) {
    bool found = false;
    for (std::size_t i = 0; i < y.size() && i < x.size() && !found; ++i) {
      found = sameValue(x[i], c.centers[k]) && sameValue(y[i], c.amplitudes[k]);
    }
    require(found, fn, "a peak is not a point of the curve");
  }
}

void fuzzModelPeaks(FuzzInput& in) {
  const char* fn = "alg_mgf_local_max_value_id";
  ModelData m = decodeModel(in, kMaxPoints);
  MgfModel* model = nullptr;
  checkStatus("alg_mgf_create",
              alg_mgf_create(m.x.data(), m.x.size(), m.y.data(), m.y.size(), &m.options, &model),
              {ALG_STATUS_OK});
  const std::uint8_t nulls = in.byte();
  const bool nullModel = (nulls & 0x1f) == 1;
  const bool nullOut = (nulls & 0x1f) == 2;
  GaussCoeff* out = reinterpret_cast<GaussCoeff*>(guardPointer());

  const int status =
      alg_mgf_local_max_value_id(nullModel ? nullptr : model, nullOut ? nullptr : &out);
  if (nullModel || nullOut || m.x.size() < 4 || m.x.size() < m.y.size()) {
    checkStatus(fn, status, {ALG_STATUS_INVALID_ARGUMENT});
  } else {
    checkStatus(fn, status, {ALG_STATUS_OK, ALG_STATUS_INVALID_ARGUMENT, ALG_STATUS_FAILURE});
  }
  if (status != ALG_STATUS_OK) {
    require(out == reinterpret_cast<GaussCoeff*>(guardPointer()), fn, "handle written on failure");
  } else {
    require(out != nullptr, fn, "no set handed out");
    const CoeffContents c = readCoeff(fn, out);
    checkDetected(fn, c, m.x, m.y);
    for (double a : c.amplitudes) require(a > 0.0, fn, "a peak of 0 or below was accepted");
    releaseCoeff(fn, out);
  }
  releaseModel(fn, model);
}

void fuzzOriginPeaks(FuzzInput& in) {
  const char* fn = "alg_mgf_local_max_value_id_origin";
  const std::size_t ny = in.size(kMaxPoints);
  const std::size_t nx = (in.byte() & 7) == 7 ? in.size(kMaxPoints) : ny;
  const std::vector<double> x = in.abscissae(nx);
  const std::vector<double> y = in.array(ny);
  const std::uint8_t nulls = in.byte();
  const bool nullX = (nulls & 0x1f) == 1 && nx > 0;
  const bool nullY = (nulls & 0x1f) == 2 && ny > 0;
  const bool nullOut = (nulls & 0x1f) == 3;
  GaussCoeff* out = reinterpret_cast<GaussCoeff*>(guardPointer());
  const Snapshot xBefore(x), yBefore(y);

  const int status = alg_mgf_local_max_value_id_origin(
      nullX ? nullptr : x.data(), nx, nullY ? nullptr : y.data(), ny, nullOut ? nullptr : &out);
  const bool refused = nullX || nullY || nullOut || nx < ny;
  checkStatus(fn, status, {refused ? ALG_STATUS_INVALID_ARGUMENT : ALG_STATUS_OK});
  xBefore.expectUnchanged(fn, "x changed");
  yBefore.expectUnchanged(fn, "y changed");
  if (status != ALG_STATUS_OK) {
    require(out == reinterpret_cast<GaussCoeff*>(guardPointer()), fn, "handle written on failure");
    return;
  }
  require(out != nullptr, fn, "no set handed out");
  const CoeffContents c = readCoeff(fn, out);
  checkDetected(fn, c, x, y);
  for (double w : c.widths) require(w == 1.7, fn, "width is not 1.7");
  releaseCoeff(fn, out);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput in(data, size);
  if (in.flag()) {
    fuzzModelPeaks(in);
  } else {
    fuzzOriginPeaks(in);
  }
  return 0;
}

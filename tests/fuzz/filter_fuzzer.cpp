// The coefficient filter: alg_mgf_coeff_filter.
#include <cstdint>
#include <vector>

#include "CorvelAlg.h"
#include "contract.h"
#include "fuzz_input.h"

namespace {

using namespace corvel::fuzz;

// The documented test: amplitude above the minimum, FWHM within the limits.
bool passes(const FilterLimits& limits, double amplitude, double width) {
  const double fwhm = width * 2.3548;
  return amplitude > limits.minAmplitude && fwhm >= limits.minFwhm && fwhm <= limits.maxFwhm;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const char* fn = "alg_mgf_coeff_filter";
  FuzzInput in(data, size);
  const PeakArrays p = decodePeaks(in, 64);
  GaussCoeff* coeff = makeCoeff(fn, p.amplitudes, p.centers, p.widths);
  const CoeffContents set = readCoeff(fn, coeff);
  FilterLimits limits;
  limits.minAmplitude = in.flag() ? in.number() : in.ordinary(-10.0, 1000.0);
  limits.maxFwhm = in.flag() ? in.number() : in.ordinary(0.0, 100.0);
  limits.minFwhm = in.flag() ? in.number() : in.ordinary(0.0, 20.0);
  const Snapshot limitsBefore = Snapshot::of(limits);
  const std::uint8_t nulls = in.byte();
  const bool nullLimits = (nulls & 0x1f) == 1;
  const bool nullCoeff = (nulls & 0x1f) == 2;
  const bool nullOut = (nulls & 0x1f) == 3;
  GaussCoeff* out = reinterpret_cast<GaussCoeff*>(guardPointer());

  const int status = alg_mgf_coeff_filter(nullLimits ? nullptr : &limits,
                                          nullCoeff ? nullptr : coeff, nullOut ? nullptr : &out);
  const bool refused = nullLimits || nullCoeff || nullOut || !consistent(set);
  checkStatus(fn, status, {refused ? ALG_STATUS_INVALID_ARGUMENT : ALG_STATUS_OK});
  limitsBefore.expectUnchanged(fn, "limits changed");
  require(readCoeff(fn, coeff) == set, fn, "the input set changed");
  if (status != ALG_STATUS_OK) {
    require(out == reinterpret_cast<GaussCoeff*>(guardPointer()), fn, "handle written on failure");
  } else {
    require(out != nullptr && out != coeff, fn, "no new set handed out");
    CoeffContents expected;
    for (std::size_t i = 0; i < set.centers.size(); ++i) {
      if (!passes(limits, set.amplitudes[i], set.widths[i])) continue;
      expected.amplitudes.push_back(set.amplitudes[i]);
      expected.centers.push_back(set.centers[i]);
      expected.widths.push_back(set.widths[i]);
    }
    require(readCoeff(fn, out) == expected, fn, "kept peaks differ from the documented test");
    releaseCoeff(fn, out);
  }
  releaseCoeff(fn, coeff);
  return 0;
}

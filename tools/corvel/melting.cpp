// Melting analysis of one well: the readings are put on an even, rising
// temperature grid, turned into the derivative melting curve, cleaned of
// its noise floor, and described by Gaussian peaks that are detected,
// sifted, fitted and sifted again.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "CorvelAlg.h"
#include "analysis.h"
#include "library.h"
#include "text.h"

namespace corvel::tool {
namespace {

// Full width at half maximum of a Gaussian of standard deviation 1, as the
// library's peak filter counts it.
constexpr double kFwhmPerSigma = 2.3548;

// The derivative's start is corrected over its first 5 degrees; the run
// must reach well beyond that.
constexpr double kMinRange = 10.0;
constexpr std::size_t kMinReadings = 10;

std::vector<MeltPeak> toPeaks(const Peaks& p) {
  std::vector<MeltPeak> peaks;
  for (std::size_t i = 0; i < p.size(); ++i)
    peaks.push_back({p.centers[i], p.amplitudes[i], p.widths[i] * kFwhmPerSigma});
  return peaks;
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  const std::size_t h = v.size() / 2;
  return v.size() % 2 ? v[h] : 0.5 * (v[h - 1] + v[h]);
}

// The readings of a rising run: a falling start (the instrument settling)
// is dropped, and so is any later reading that is not above the one before.
// Returns false with a note when the readings cannot make a curve.
bool risingReadings(const Reaction& r, std::vector<double>& t, std::vector<double>& f,
                    MeltResult& m) {
  const auto& T = r.temperatures;
  const auto& F = r.meltFluorescence;
  for (std::size_t i = 0; i < T.size(); ++i) {
    if (!std::isfinite(T[i]) || !std::isfinite(F[i])) {
      m.note = "melting reading " + std::to_string(i + 1) + " is not a finite number";
      return false;
    }
  }
  std::size_t k = 0;
  while (k + 1 < T.size() && !(T[k + 1] > T[k])) ++k;
  std::size_t dropped = 0;
  for (std::size_t i = k; i < T.size(); ++i) {
    if (!t.empty() && !(T[i] > t.back())) {
      ++dropped;
      continue;
    }
    t.push_back(T[i]);
    f.push_back(F[i]);
  }
  m.readingsUsed = t.size();
  if (t.size() < kMinReadings || t.back() - t.front() < kMinRange) {
    m.note = "too few rising melting readings: " + std::to_string(t.size()) + " over " +
             formatFixed(t.empty() ? 0.0 : t.back() - t.front(), 1) + " °C (at least " +
             std::to_string(kMinReadings) + " over " + formatFixed(kMinRange, 0) +
             " °C are needed)";
    return false;
  }
  if (k > 0 || dropped > 0)
    m.note = std::to_string(k) + " reading(s) at falling temperature at the start" +
             (dropped ? " and " + std::to_string(dropped) +
                            " later reading(s) not above the one "
                            "before were set aside"
                      : std::string(" were set aside"));
  return true;
}

}  // namespace

void analyzeMelting(WellResult& well, const AnalysisOptions& options) {
  MeltResult& m = well.melt;
  std::vector<double> t, f;
  if (!risingReadings(well.reaction, t, f, m)) {
    addFlag(well, "melt-unusable", "No melting analysis: " + m.note + ".");
    return;
  }
  const std::string setAside = m.note;

  try {
    // The library needs evenly spaced temperatures. The grid keeps the
    // instrument's own resolution (the median spacing of its readings), so
    // no detail is invented and none is lost, and ends exactly on the last
    // reading; the natural cubic spline through the readings gives the
    // values on it.
    std::vector<double> steps;
    for (std::size_t i = 1; i < t.size(); ++i) steps.push_back(t[i] - t[i - 1]);
    const double range = t.back() - t.front();
    const auto intervals =
        static_cast<std::size_t>(std::max(1L, std::lround(range / median(steps))));
    std::vector<double> grid(intervals + 1), even(intervals + 1);
    for (std::size_t i = 0; i < intervals; ++i)
      grid[i] = t.front() + range * static_cast<double>(i) / static_cast<double>(intervals);
    grid[intervals] = t.back();
    m.gridStep = range / static_cast<double>(intervals);
    check(alg_cubic_interpolation(t.data(), f.data(), t.size(), grid.data(), even.data(),
                                  grid.size()),
          "alg_cubic_interpolation");

    std::size_t count = 0;
    DoubleArray temperatures, derivative;
    check(alg_melting(grid.size(), grid.data(), even.data(), &count, temperatures.out(),
                      derivative.out()),
          "alg_melting");
    m.temperatures.assign(temperatures.data(), temperatures.data() + count);
    m.derivative.assign(derivative.data(), derivative.data() + count);
    m.normalized = m.derivative;
    check(alg_melting_normalization(m.normalized.data(), m.normalized.size()),
          "alg_melting_normalization");
    m.analyzed = true;

    const double tallest = *std::max_element(m.normalized.begin(), m.normalized.end());
    if (!(tallest > 0)) {
      m.note = "no melting peak: the derivative curve is flat once its noise floor is removed";
      addFlag(well, "melt-no-peak", "No melting peak: the derivative melting curve is flat.");
      return;
    }

    // Start peaks: one per local maximum, kept only when tall and wide
    // enough to be a product. Ripples of noise are dropped before the fit,
    // which cannot move them and may fail on them.
    const Model model(m.temperatures, m.normalized, options.peakWidth);
    CoeffSet detected, start, kept;
    check(alg_mgf_local_max_value_id(model.get(), detected.out()), "alg_mgf_local_max_value_id");
    const FilterLimits limits{options.minPeakHeight * tallest, options.maxPeakFwhm,
                              options.minPeakFwhm};
    check(alg_mgf_coeff_filter(&limits, detected.get(), start.out()), "alg_mgf_coeff_filter");
    m.startPeaks = toPeaks(start.peaks());
    if (m.startPeaks.empty()) {
      m.note = "no melting peak: no maximum of the derivative curve is tall and wide enough";
      addFlag(well, "melt-no-peak",
              "No melting peak: no maximum of the derivative melting curve is tall and wide "
              "enough to be a product.");
      return;
    }

    m.solveStatus = alg_mgf_solve(model.get(), start.get());
    if (m.solveStatus != ALG_STATUS_OK) {
      // The set and the model always agree in their counts here, so a
      // refusal means the fit's normal equations became singular, which
      // start peaks the curve hardly depends on can cause.
      m.note = m.solveStatus == ALG_STATUS_INVALID_ARGUMENT
                   ? "the peak fit failed: its system of equations became singular; the "
                     "detected peaks are kept as they were found"
                   : "the peak fit failed (status " + std::to_string(m.solveStatus) +
                         "); the detected peaks are kept as they were found";
      addFlag(well, "melt-fit-failed",
              "The Gaussian fit of the melting peaks failed; the Tm is not reported, the "
              "detected peaks are shown unfitted.");
      return;
    }
    check(alg_mgf_coeff_filter(&limits, start.get(), kept.out()), "alg_mgf_coeff_filter");
    m.peaks = toPeaks(kept.peaks());
    std::stable_sort(m.peaks.begin(), m.peaks.end(),
                     [](const MeltPeak& a, const MeltPeak& b) { return a.height > b.height; });
    DoubleArray fitted;
    check(alg_mgf_multi_gauss(model.get(), kept.get(), fitted.out(), fitted.count()),
          "alg_mgf_multi_gauss");
    m.fitted = fitted.vector();
    if (m.peaks.empty()) {
      m.note = "no plausible melting peak after the fit";
      addFlag(well, "melt-no-peak",
              "No melting peak: the fitted peaks are too small, too narrow or too wide to be a "
              "product.");
    } else {
      m.note = setAside;
    }
  } catch (const LibraryError& e) {
    m.analyzed = false;
    m.note = std::string("the melting analysis failed: ") + e.what();
    addFlag(well, "melt-unusable", "No melting analysis: " + m.note + ".");
  }
}

}  // namespace corvel::tool

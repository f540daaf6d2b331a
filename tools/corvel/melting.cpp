// Melting analysis of one well: the readings are put on an even, rising
// temperature grid, turned into the derivative melting curve, cleaned of
// its noise floor, and described by Gaussian peaks that are detected,
// sifted, fitted and sifted again.
#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
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

// Readings closer than this fraction of the median spacing are averaged
// into one: the spline through two nearly equal temperatures would turn
// their noise into a steep wiggle.
constexpr double kMergeFraction = 0.25;

// A derivative maximum is a product only when it reaches this many times
// the noise level of the derivative (see derivativeNoise()); the ripples of
// a noise-only curve stay below it.
constexpr double kProductToNoise = 2.0;

// The noise level of -dF/dT, in fluorescence per degree: the robust standard
// deviation of the readings (1.4826 MAD of their second differences /
// sqrt 6, which a smooth melting curve hardly touches) divided by the grid
// step. 0 when the readings show no noise.
double derivativeNoise(const std::vector<double>& f, double step) {
  if (f.size() < 3 || !(step > 0)) return 0.0;
  std::vector<double> d2;
  for (std::size_t i = 1; i + 1 < f.size(); ++i) d2.push_back(f[i + 1] - 2.0 * f[i] + f[i - 1]);
  const double centre = median(d2);
  for (double& v : d2) v = std::fabs(v - centre);
  double spread = 1.4826 * median(d2);
  if (!(spread > 0)) {  // coarsely rounded readings: the root mean square instead
    double sum = 0;
    for (double v : d2) sum += v * v;
    spread = std::sqrt(sum / static_cast<double>(d2.size()));
  }
  return spread / std::sqrt(6.0) / step;
}

// The readings as one curve of rising temperature, with a note on what was
// done to them. A run listed from hot to cold (more falling steps than
// rising ones) is read backwards. Readings at falling temperature at the
// start (the block settling before the ramp) are set aside. Later readings
// out of temperature order are put in order, and readings closer than a
// quarter of the median spacing are averaged into one. Returns false with a
// note when the readings cannot make a curve.
bool risingReadings(const Reaction& r, std::vector<double>& t, std::vector<double>& f,
                    MeltResult& m) {
  std::vector<double> T = r.temperatures, F = r.meltFluorescence;
  for (std::size_t i = 0; i < T.size(); ++i) {
    if (!std::isfinite(T[i]) || !std::isfinite(F[i])) {
      m.note = "melting reading " + std::to_string(i + 1) + " is not a finite number";
      return false;
    }
  }
  std::vector<std::string> done;
  std::size_t rising = 0, falling = 0;
  for (std::size_t i = 1; i < T.size(); ++i) {
    rising += T[i] > T[i - 1];
    falling += T[i] < T[i - 1];
  }
  if (falling > rising) {
    std::reverse(T.begin(), T.end());
    std::reverse(F.begin(), F.end());
    done.push_back("the readings run from hot to cold and were read in reverse");
  }
  std::size_t k = 0;
  while (k + 1 < T.size() && !(T[k + 1] > T[k])) ++k;
  if (k > 0)
    done.push_back(std::to_string(k) +
                   " reading(s) at falling temperature at the start were set aside");

  std::vector<std::pair<double, double>> readings;
  std::size_t unordered = 0;
  for (std::size_t i = k; i < T.size(); ++i) {
    if (!readings.empty() && !(T[i] > readings.back().first)) ++unordered;
    readings.emplace_back(T[i], F[i]);
  }
  if (unordered > 0) {
    std::stable_sort(readings.begin(), readings.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    done.push_back(std::to_string(unordered) +
                   " later reading(s) out of temperature order were put in order");
  }
  std::vector<double> steps;
  for (std::size_t i = 1; i < readings.size(); ++i)
    if (readings[i].first > readings[i - 1].first)
      steps.push_back(readings[i].first - readings[i - 1].first);
  const double closest = steps.empty() ? 0.0 : kMergeFraction * median(steps);
  std::size_t merged = 0;
  for (std::size_t i = 0; i < readings.size();) {
    // Readings within `closest` of the first of a run become their mean.
    std::size_t j = i + 1;
    double sumT = readings[i].first, sumF = readings[i].second;
    while (j < readings.size() && !(readings[j].first - readings[i].first > closest)) {
      sumT += readings[j].first;
      sumF += readings[j].second;
      ++j;
    }
    const auto count = static_cast<double>(j - i);
    t.push_back(sumT / count);
    f.push_back(sumF / count);
    merged += j - i - 1;
    i = j;
  }
  if (merged > 0)
    done.push_back(std::to_string(merged) +
                   " reading(s) at (nearly) the same temperature as another were averaged "
                   "with it");

  m.readingsUsed = t.size();
  if (t.size() < kMinReadings || t.back() - t.front() < kMinRange) {
    m.note = "too few melting readings: " + std::to_string(t.size()) + " over " +
             formatFixed(t.empty() ? 0.0 : t.back() - t.front(), 1) + " °C (at least " +
             std::to_string(kMinReadings) + " over " + formatFixed(kMinRange, 0) +
             " °C are needed)";
    return false;
  }
  for (std::size_t i = 0; i < done.size(); ++i) m.note += (i == 0 ? "" : "; ") + done[i];
  return true;
}

}  // namespace

void analyzeMelting(WellResult& well, const AnalysisOptions& options) {
  // What goes wrong is told in the note; the quality flags (quality.cpp)
  // are raised from it once the whole plate is analysed.
  MeltResult& m = well.melt;
  std::vector<double> t, f;
  if (!risingReadings(well.reaction, t, f, m)) return;
  const std::string prepared = m.note;

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
      return;
    }

    // A product's peak must stand out from the noise of the derivative: on
    // a curve of noise alone (an empty well) every ripple is a local
    // maximum, and the height filter relative to the tallest value keeps
    // the largest of them.
    const double noise = derivativeNoise(f, m.gridStep);
    const double smallest = kProductToNoise * noise;
    if (!(tallest > smallest)) {
      m.note = "no melting peak: the derivative curve shows only noise (its tallest value is " +
               formatFixed(tallest / noise, 1) + " times the noise level of the derivative, a " +
               "product reaches at least " + formatFixed(kProductToNoise, 0) + " times)";
      return;
    }

    // Start peaks: one per local maximum, kept only when tall and wide
    // enough to be a product. Ripples of noise are dropped before the fit,
    // which cannot move them and may fail on them.
    const Model model(m.temperatures, m.normalized, options.peakWidth);
    CoeffSet detected, start, kept;
    check(alg_mgf_local_max_value_id(model.get(), detected.out()), "alg_mgf_local_max_value_id");
    const FilterLimits limits{std::max(options.minPeakHeight * tallest, smallest),
                              options.maxPeakFwhm, options.minPeakFwhm};
    check(alg_mgf_coeff_filter(&limits, detected.get(), start.out()), "alg_mgf_coeff_filter");
    m.startPeaks = toPeaks(start.peaks());
    if (m.startPeaks.empty()) {
      m.note =
          "no melting peak: no maximum of the derivative curve is tall and wide enough to "
          "be a product";
      return;
    }

    m.solveStatus = alg_mgf_solve(model.get(), start.get());
    if (m.solveStatus != ALG_STATUS_OK) {
      // The set and the model always agree in their counts here, so a
      // refusal means the fit's normal equations became singular, which
      // start peaks the curve hardly depends on can cause.
      const MeltPeak& top = *std::max_element(
          m.startPeaks.begin(), m.startPeaks.end(),
          [](const MeltPeak& a, const MeltPeak& b) { return a.height < b.height; });
      m.note = (m.solveStatus == ALG_STATUS_INVALID_ARGUMENT
                    ? std::string("the peak fit failed: its system of equations became singular")
                    : "the peak fit failed (status " + std::to_string(m.solveStatus) + ")") +
               "; the " + std::to_string(m.startPeaks.size()) +
               " detected peak(s) are kept unfitted, the tallest at " + formatFixed(top.tm, 2) +
               " °C";
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
    m.note = m.peaks.empty() ? "no melting peak: the fitted peaks are too small, too narrow or "
                               "too wide to be a product"
                             : prepared;
  } catch (const LibraryError& e) {
    m.analyzed = false;
    m.note = std::string("the melting analysis failed: ") + e.what();
  }
}

}  // namespace corvel::tool

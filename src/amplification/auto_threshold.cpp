#include "amplification/auto_threshold.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "amplification/curve_correction.h"
#include "amplification/logistic_fit.h"
#include "core/matrix.h"
#include "core/statistics.h"
#include "signal/convolution.h"
#include "signal/derivative.h"
#include "signal/smoothing.h"

namespace corvel {

namespace {

constexpr double kLowestThreshold = 100.0;
constexpr double kNoiseFactor = 10.0;

// The fitted logistic's value one cycle before its strongest upward bend
// (at index 1 at the least).
double valueBeforeBend(const LogisticParameters& fit, const AlgVector& cycles) {
  AlgVector fitted(cycles.size());
  for (std::size_t i = 0; i < cycles.size(); ++i) {
    fitted[i] = fit.top / (std::exp((cycles[i] - fit.mid) * (-fit.rate)) + 1.0);
  }
  AlgVector bends = fitted;
  centralDerivative(bends);
  centralDerivative(bends);
  const auto t = static_cast<std::int64_t>(argMax(bends));
  return fitted[static_cast<std::size_t>(std::max<std::int64_t>(1, t - 1))];
}

double smaller(double u, double v) {
  return u < v ? u : v;
}

}  // namespace

double calcThreshold(WellCurveInfo* infos, std::size_t recCount, const AlgVector& data,
                     std::size_t wellCount, std::size_t cycleCount) {
  AlgMatrix plate;
  plate.fromColumnMajor(data.data(), cycleCount, wellCount);
  AlgVector cycles;
  cycles.fillArithmetic(1.0, 1.0, cycleCount);
  const AlgVector weights = ctWeights();

  // Wells whose fluorescence holds a NaN or an infinity are analysed and
  // their records written like the others, but they get no logistic fit
  // and take no part in the candidates: one broken well must not decide,
  // or void, the threshold of the plate. On a plate of finite values every
  // well takes part and the candidates are exactly those described above.
  AlgVector beforeBend(wellCount);
  AlgVector usable(wellCount);  // 1.0 for a well of finite values
  std::size_t usableWells = 0;
  double noiseSum = 0.0;

  for (std::size_t w = 0; w < wellCount; ++w) {
    WellCurveInfo& record = infos[w];
    AlgVector curve = plate.getColumn(w);
    const bool finite =
        std::all_of(curve.begin(), curve.end(), [](double v) { return std::isfinite(v); });
    superSmooth(curve, 3);
    correctCurve(record, curve);
    convolvePadded(weights, curve);
    const LogisticParameters fit = finite ? fitLogistic(curve) : noLogisticFit();
    record.sigmoidTop = fit.top;
    record.sigmoidMid = fit.mid;
    record.sigmoidRate = fit.rate;
    if (finite) {
      beforeBend[usableWells] = valueBeforeBend(fit, cycles);
      usable[w] = 1.0;
      ++usableWells;
      noiseSum += record.baselineNoise;
    }
  }

  const double fromNoise = noiseSum / static_cast<double>(usableWells) * kNoiseFactor;
  double fromSteps = 0.0;
  for (std::size_t i = 0; i < recCount; ++i) {
    if (i < wellCount && usable[i] == 0.0) continue;
    if (infos[i].stepRise > fromSteps) fromSteps = infos[i].stepRise;
  }
  const AlgVector fitted = beforeBend.slice(0, usableWells);
  const double fromFits = fitted.empty() ? 0.0 : fitted[static_cast<std::size_t>(argMax(fitted))];

  const double candidate = smaller(fromFits, smaller(fromNoise, fromSteps));
  return kLowestThreshold > candidate ? kLowestThreshold : candidate;
}

}  // namespace corvel

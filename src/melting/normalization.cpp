#include "melting/normalization.h"

#include "core/statistics.h"

namespace corvel {

void normalizeMelting(AlgVector& values) {
  if (values.empty()) return;
  const double level = mean(values);
  const double spread = stdDevPopulation(values);
  const double floor = spread * 0.1 + level * 0.9;
  for (double& value : values) {
    double v = value;
    if (v < 0.0 || v < floor) {
      value = 0.0;
      v = 0.0;
    }
    if (v > floor && floor > 0.0) value = v - floor;
  }
}

}  // namespace corvel

// Wells built in memory for the analysis tests: raw amplification curves
// and melting readings of known shape, with a little deterministic noise.
#ifndef CORVEL_TOOL_TESTS_SYNTHETIC_H
#define CORVEL_TOOL_TESTS_SYNTHETIC_H

#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "results.h"

namespace corvel::tool {

// A small deterministic noise source, so the curves are not ideal.
struct Noise {
  std::uint64_t state;
  double next() {  // uniform in [-0.5, 0.5)
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<double>(state >> 11) / 9007199254740992.0 - 0.5;
  }
};

// A raw amplification curve of the given cycles: a drifting baseline in
// instrument units and a logistic rise whose midpoint is `mid`.
inline Reaction amplification(const std::string& well, const std::string& target,
                              const std::string& sample, double mid, std::uint64_t seed,
                              int cycles = 40, int firstCycle = 1) {
  Reaction r;
  r.run = "run";
  r.well = well;
  r.target = target;
  r.sample = sample;
  r.sampleType = "unkn";
  Noise noise{seed};
  for (int i = 0; i < cycles; ++i) {
    const double c = firstCycle + i;
    r.cycles.push_back(c);
    r.fluorescence.push_back(3000 + 4 * c + 40000 / (1 + std::exp(-(c - mid) / 1.6)) +
                             20 * noise.next());
  }
  return r;
}

// Melting readings with one product per Tm (relative heights in `shares`)
// on a sloping background, a falling start and uneven steps; shares empty:
// background and noise only.
inline Reaction meltingReaction(const std::string& well, const std::string& target,
                                const std::string& type, const std::vector<double>& tms,
                                const std::vector<double>& shares, std::uint64_t seed) {
  Reaction r;
  r.run = "run";
  r.well = well;
  r.target = target;
  r.sample = well;
  r.sampleType = type;
  Noise noise{seed};
  std::vector<double> temps{65.0, 64.9, 64.8};
  for (double t = 64.95; t < 95.0; t += 0.25 + 0.05 * noise.next()) temps.push_back(t);
  for (double t : temps) {
    double f = 20000 - 150 * (t - 65);
    for (std::size_t i = 0; i < tms.size(); ++i)
      f += 30000 * shares[i] / (1 + std::exp((t - tms[i]) / 0.6));
    r.temperatures.push_back(t);
    r.meltFluorescence.push_back(f + 10 * noise.next());
  }
  return r;
}

inline const WellResult& well(const PlateResult& p, const std::string& name) {
  for (const WellResult& w : p.wells)
    if (w.reaction.well == name) return w;
  throw std::runtime_error("no well " + name);
}

inline bool hasFlag(const WellResult& w, const std::string& flag) {
  for (const std::string& f : w.flags)
    if (f == flag) return true;
  return false;
}

}  // namespace corvel::tool

#endif  // CORVEL_TOOL_TESTS_SYNTHETIC_H

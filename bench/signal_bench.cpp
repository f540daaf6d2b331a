// Smoothing and interpolation at the sizes the analyses use: 40-cycle
// amplification curves, melting runs of a few hundred readings and their
// ten-times finer grids.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "CorvelAlg.h"
#include "core/elimination.h"
#include "core/matrix.h"
#include "core/regression.h"
#include "core/vector.h"
#include "signal/convolution.h"
#include "signal/smoothing.h"

namespace {

// A sigmoid amplification curve over `cycles` cycles with a little ripple.
std::vector<double> amplificationCurve(std::size_t cycles) {
  std::vector<double> curve(cycles);
  for (std::size_t i = 0; i < cycles; ++i) {
    const double c = static_cast<double>(i + 1);
    curve[i] = 1000.0 + 9000.0 / (1.0 + std::exp(-(c - 22.0) / 1.6)) + 15.0 * std::sin(3.0 * c);
  }
  return curve;
}

void BM_RunSmooth(benchmark::State& state) {
  const std::vector<double> curve = amplificationCurve(static_cast<std::size_t>(state.range(0)));
  std::vector<double> work(curve.size());
  for (auto _ : state) {
    work = curve;
    benchmark::DoNotOptimize(alg_run_smooth(work.data(), work.size()));
  }
}
BENCHMARK(BM_RunSmooth)->Arg(40)->Arg(400);

// Half-width 3 on a plate curve, 5 for the threshold search, 30 on a
// refined melting curve.
void BM_SuperSmooth(benchmark::State& state) {
  const std::vector<double> curve = amplificationCurve(static_cast<std::size_t>(state.range(0)));
  std::vector<double> work(curve.size());
  const auto halfWidth = static_cast<std::uint32_t>(state.range(1));
  for (auto _ : state) {
    work = curve;
    benchmark::DoNotOptimize(alg_super_smooth(work.data(), work.size(), halfWidth));
  }
}
BENCHMARK(BM_SuperSmooth)->Args({40, 3})->Args({40, 5})->Args({4000, 30});

void BM_ConvolvePadded(benchmark::State& state) {
  const std::vector<double> curve = amplificationCurve(static_cast<std::size_t>(state.range(0)));
  const double weights[] = {0.05, 0.15, 0.2, 0.3, 0.2, 0.15, 0.05};
  const corvel::AlgVector kernel = corvel::AlgVector::copyOf(weights, 7);
  for (auto _ : state) {
    corvel::AlgVector x = corvel::AlgVector::copyOf(curve.data(), curve.size());
    corvel::convolvePadded(kernel, x);
    benchmark::DoNotOptimize(x.data());
  }
}
BENCHMARK(BM_ConvolvePadded)->Arg(40)->Arg(400);

// A melting run of n readings resampled onto its ten-times finer grid.
void BM_CubicInterpolation(benchmark::State& state) {
  const std::size_t n = static_cast<std::size_t>(state.range(0));
  std::vector<double> x(n);
  std::vector<double> y(n);
  for (std::size_t i = 0; i < n; ++i) {
    x[i] = 65.0 + 0.2 * static_cast<double>(i);
    y[i] = 5000.0 / (1.0 + std::exp((x[i] - 82.0) / 0.8));
  }
  const std::size_t m = (n - 1) * 10 + 1;
  std::vector<double> xq(m);
  std::vector<double> yq(m);
  alg_interpolation_x(x.data(), n, 10, xq.data());
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        alg_cubic_interpolation(x.data(), y.data(), n, xq.data(), yq.data(), m));
  }
}
BENCHMARK(BM_CubicInterpolation)->Arg(150)->Arg(1500);

// The normal-equation inversion of the logistic and Gaussian fits: 3 x 3
// and a 30 x 30 system of ten peaks.
void BM_Invert(benchmark::State& state) {
  const std::size_t n = static_cast<std::size_t>(state.range(0));
  corvel::AlgMatrix a(n, n);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j)
      a(i, j) = i == j ? 4.0 * static_cast<double>(n) : 1.0 / (1.0 + static_cast<double>(i + j));
  }
  for (auto _ : state) {
    corvel::AlgMatrix m = a;
    benchmark::DoNotOptimize(corvel::invert(m));
  }
}
BENCHMARK(BM_Invert)->Arg(3)->Arg(30);

}  // namespace

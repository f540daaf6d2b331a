// Grid construction through the exports, as a host calls them: a melting
// run of 150 readings refined ten times, and a cycle axis.
#include <benchmark/benchmark.h>

#include <vector>

#include "CorvelAlg.h"

namespace {

void BM_InterpolationGrid(benchmark::State& state) {
  const std::size_t readings = static_cast<std::size_t>(state.range(0));
  std::vector<double> x(readings);
  for (std::size_t i = 0; i < readings; ++i) x[i] = 65.0 + 0.2 * static_cast<double>(i);
  std::vector<double> out((readings - 1) * 10 + 1);
  for (auto _ : state) {
    benchmark::DoNotOptimize(alg_interpolation_x(x.data(), readings, 10, out.data()));
  }
}
BENCHMARK(BM_InterpolationGrid)->Arg(150)->Arg(1500);

void BM_Increasing(benchmark::State& state) {
  std::vector<double> out(60);
  for (auto _ : state) benchmark::DoNotOptimize(alg_increasing(1.0, 1.0, out.size(), out.data()));
}
BENCHMARK(BM_Increasing);

}  // namespace

// The amplification road on a synthetic plate: automatic threshold, then
// Ct of every well by the linear and the sigmoid method, for a 96- and a
// 384-well run of 40 cycles.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "CorvelAlg.h"

namespace {

// Well-major plate: each well a logistic rise with its own midpoint and
// height over a slowly drifting baseline, with a little ripple.
std::vector<double> plate(std::size_t wells, std::size_t cycles) {
  std::vector<double> data(wells * cycles);
  for (std::size_t w = 0; w < wells; ++w) {
    const double mid = 16.0 + static_cast<double>(w % 12);
    const double top = 6000.0 + 200.0 * static_cast<double>(w % 7);
    for (std::size_t c = 0; c < cycles; ++c) {
      const double x = static_cast<double>(c + 1);
      data[w * cycles + c] = 1000.0 + 1.5 * x + top / (1.0 + std::exp(-(x - mid) / 1.6)) +
                             8.0 * std::sin(2.3 * x + static_cast<double>(w));
    }
  }
  return data;
}

void BM_CalcThreshold(benchmark::State& state) {
  const std::size_t wells = static_cast<std::size_t>(state.range(0));
  const std::vector<double> data = plate(wells, 40);
  std::vector<WellCurveInfo> infos(wells);
  double threshold = 0.0;
  for (auto _ : state) {
    std::memset(infos.data(), 0, infos.size() * sizeof(WellCurveInfo));
    benchmark::DoNotOptimize(
        alg_calc_threshold(infos.data(), wells, data.data(), wells, 40, &threshold));
  }
  state.SetItemsProcessed(state.iterations() * static_cast<long long>(wells));
}
BENCHMARK(BM_CalcThreshold)->Arg(96)->Arg(384)->Unit(benchmark::kMillisecond);

void BM_LinearBatchCt(benchmark::State& state) {
  const std::size_t wells = static_cast<std::size_t>(state.range(0));
  const std::vector<double> data = plate(wells, 40);
  std::vector<WellCurveInfo> infos(wells);
  std::vector<double> curves(wells * 40);
  std::vector<double> ct(wells);
  for (auto _ : state) {
    std::memset(infos.data(), 0, infos.size() * sizeof(WellCurveInfo));
    benchmark::DoNotOptimize(alg_linear_batch_calc_ct(infos.data(), wells, 500.0, data.data(),
                                                      wells, 40, curves.data(), ct.data()));
  }
  state.SetItemsProcessed(state.iterations() * static_cast<long long>(wells));
}
BENCHMARK(BM_LinearBatchCt)->Arg(96)->Arg(384)->Unit(benchmark::kMillisecond);

void BM_SigmoidBatchCt(benchmark::State& state) {
  std::vector<WellCurveInfo> infos(384);
  for (std::size_t i = 0; i < infos.size(); ++i) {
    std::memset(&infos[i], 0, sizeof infos[i]);
    infos[i].sigmoidTop = 8000.0;
    infos[i].sigmoidMid = 20.0 + 0.01 * static_cast<double>(i);
    infos[i].sigmoidRate = 0.6;
  }
  std::vector<double> ct(infos.size());
  for (auto _ : state) {
    benchmark::DoNotOptimize(alg_sigmoid_batch_calc_ct(infos.data(), infos.size(), 0, ct.data()));
  }
}
BENCHMARK(BM_SigmoidBatchCt);

}  // namespace

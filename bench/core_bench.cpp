// The numeric core's building blocks at the sizes the analyses use them:
// 3 x 3 normal equations, plate matrices of 96 wells x 40 cycles.
#include <benchmark/benchmark.h>

#include "core/matrix.h"
#include "core/vector.h"

namespace {

corvel::AlgMatrix filled(std::size_t rows, std::size_t cols) {
  corvel::AlgMatrix m(rows, cols);
  for (std::size_t i = 0; i < rows; ++i)
    for (std::size_t j = 0; j < cols; ++j) m(i, j) = 1.0 + 0.01 * static_cast<double>(i * cols + j);
  return m;
}

void BM_NormalMatrix(benchmark::State& state) {
  const std::size_t n = static_cast<std::size_t>(state.range(0));
  const corvel::AlgMatrix design = filled(n, 3);
  for (auto _ : state) {
    corvel::AlgMatrix normal(design);
    normal.transpose();
    normal.multiply(design);
    benchmark::DoNotOptimize(normal.data());
  }
}
BENCHMARK(BM_NormalMatrix)->Arg(5)->Arg(40)->Arg(1500);

void BM_PlateFromColumnMajor(benchmark::State& state) {
  const std::size_t wells = 96, cycles = 40;
  corvel::AlgVector plate(wells * cycles, 1000.0);
  corvel::AlgMatrix m;
  for (auto _ : state) {
    m.fromColumnMajor(plate.data(), cycles, wells);
    benchmark::DoNotOptimize(m.data());
  }
}
BENCHMARK(BM_PlateFromColumnMajor);

void BM_ColumnRoundTrip(benchmark::State& state) {
  corvel::AlgMatrix m = filled(40, 96);
  for (auto _ : state) {
    for (std::size_t w = 0; w < 96; ++w) {
      corvel::AlgVector column = m.getColumn(w);
      column *= 1.0001;
      m.setColumn(w, column);
    }
    benchmark::DoNotOptimize(m.data());
  }
}
BENCHMARK(BM_ColumnRoundTrip);

void BM_VectorSlice(benchmark::State& state) {
  corvel::AlgVector v(40, 1.0);
  for (auto _ : state) {
    for (std::size_t i = 0; i + 5 <= v.size(); ++i) benchmark::DoNotOptimize(v.slice(i, i + 5));
  }
}
BENCHMARK(BM_VectorSlice);

}  // namespace

// Writes the starting corpora of the harnesses: small, valid calls that
// reach the success path of every export, described value by value in the
// input format of fuzz_input.h. Each seed follows the read order of its
// harness exactly; change both together.
//
//   corvel_fuzz_seeds <directory>   writes <directory>/<family>/seed-<k>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "fuzz_input.h"

namespace {

using corvel::fuzz::SeedWriter;
using Seeds = std::map<std::string, std::vector<SeedWriter>>;

// A melting model of n points from 60 degrees in steps of `step`, its
// curve two clean Gaussian peaks.
void meltModel(SeedWriter& w, std::size_t n, double step, double peakWidth) {
  w.model(n, 60.0, step, peakWidth, [&] {
    w.peaks(n, {1500.0, 800.0}, {0.35, 0.65}, {n / 20.0, n / 15.0});
  });
}

void gridSeeds(Seeds& seeds) {
  auto& s = seeds["grids"];
  {
    SeedWriter w;  // both exports
    w.byte(2);
    w.size(5);
    w.evenAxis(20.0, 1.0);
    w.byte(0);  // x present
    w.byte(0);  // small factor
    w.u16(4);
    w.number(1.0);
    w.number(0.5);
    w.size(4);
    w.byte(0);
    s.push_back(w);
  }
  {
    SeedWriter w;  // a negative factor, then the frame checks
    w.byte(240);
    w.size(3);
    w.evenAxis(0.0, 0.5);
    w.byte(0);
    w.byte(2);
    w.u32(0);
    w.byte(0);
    s.push_back(w);
  }
  {
    SeedWriter w;  // a long progression
    w.byte(1);
    w.number(-3.0);
    w.number(0.25);
    w.size(100);
    w.byte(0);
    s.push_back(w);
  }
}

void smoothingSeeds(Seeds& seeds) {
  auto& s = seeds["smoothing"];
  SeedWriter w;
  w.byte(2);
  w.size(40);
  w.amplification(40, 500.0, 1.0, 20000.0, 22.0, 0.5, 20.0);
  w.byte(0);
  w.size(40);
  w.amplification(40, 800.0, 0.0, 5000.0, 25.0, 0.3, 50.0);
  w.byte(0);
  w.byte(0);  // half-width 3
  w.byte(3);
  s.push_back(w);
}

void splineSeeds(Seeds& seeds) {
  auto& s = seeds["spline"];
  SeedWriter w;
  w.size(12);
  w.evenAxis(50.0, 1.0);
  w.melting(12, 20000.0, 500.0, 0.5, 0.5);
  w.size(30);
  w.flag(true);
  for (int j = 0; j < 30; ++j) w.ordinary(-0.1, 1.1, j / 29.0);
  w.byte(0);
  s.push_back(w);
}

// One plate: wells of cycles, automatic or caller-given windows.
SeedWriter plate(std::uint8_t op, std::size_t wells, std::size_t cycles, std::uint8_t road,
                 bool windows, double threshold) {
  SeedWriter w;
  w.byte(op);
  w.size(wells);
  w.size(cycles);
  w.flag(false);  // no extra records
  w.byte(windows ? 1 : 0);
  if (windows) {
    for (std::size_t i = 0; i < wells; ++i) {
      w.short16(3);
      w.short16(12);
    }
  }
  for (std::size_t i = 0; i < wells; ++i) {
    w.amplification(cycles, 500.0 + 50.0 * i, 1.0, 20000.0 - 1000.0 * i, 20.0 + i, 0.5, 10.0);
  }
  w.byte(road);
  w.number(threshold);
  if (road != 1) {
    w.flag(true);  // recCount = wellCount
    w.byte(0);
  }
  if (road != 0) {
    w.byte(0);  // ctCount = wellCount
    w.byte(0);
  }
  return w;
}

void amplificationSeeds(Seeds& seeds) {
  auto& s = seeds["amplification"];
  s.push_back(plate(0, 4, 40, 2, false, 0.0));    // threshold, then linear Ct
  s.push_back(plate(0, 2, 30, 1, true, 1000.0));  // linear Ct, given windows
  s.push_back(plate(0, 8, 45, 0, false, 0.0));    // threshold alone
  s.push_back(plate(5, 3, 40, 2, false, 0.0));    // the road, then sigmoid Ct
  {
    SeedWriter w;  // alg_sigmoid
    w.byte(1);
    w.number(1000.0);
    w.number(20.0);
    w.number(0.5);
    w.size(40);
    w.evenAxis(1.0, 1.0);
    w.byte(0);
    s.push_back(w);
  }
  {
    SeedWriter w;  // alg_sigmoid_batch_calc_ct
    w.byte(2);
    w.size(3);
    for (int i = 0; i < 3; ++i) {
      w.flag(true);
      w.ordinary(-100.0, 1e5, 5000.0 * (i + 1));
      w.flag(true);
      w.ordinary(0.0, 50.0, 20.0 + i);
      w.flag(true);
      w.ordinary(-0.5, 2.0, 0.6);
    }
    w.u64(0);
    w.byte(0);
    s.push_back(w);
  }
  {
    SeedWriter w;  // alg_sample_data_fitting on a concave parabola
    w.byte(3);
    w.size(10);
    std::vector<double> y;
    for (int t = 1; t <= 10; ++t) y.push_back(-(t - 5.0) * (t - 5.0) + 100.0);
    w.array(y);
    w.byte(0);
    s.push_back(w);
  }
  {
    SeedWriter w;  // the layout self-test, correctly filled
    w.byte(4);
    w.flag(false);
    w.number(0.0);
    w.number(0.0);
    w.number(0.0);
    w.flag(false);
    s.push_back(w);
  }
}

void replicates(SeedWriter& w, const std::vector<double>& target,
                const std::vector<std::vector<double>>& genes) {
  w.byte(0);  // structured layout
  w.size(target.size());
  w.byte(0);
  for (double v : target) w.ordinary(10.0, 40.0, v);
  w.size(genes.size());
  w.byte(0);
  for (const auto& g : genes) {
    w.size(g.size());
    w.byte(0);
    for (double v : g) {
      w.flag(false);
      w.ordinary(10.0, 40.0, v);
    }
  }
  w.byte(0);  // not cut short
}

void quantificationSeeds(Seeds& seeds) {
  auto& s = seeds["quantification"];
  {
    SeedWriter w;  // standard curve
    w.byte(0);
    w.size(5);
    w.byte(0);
    w.array({1.0, 2.0, 3.0, 4.0, 5.0});
    w.array({30.1, 26.9, 23.8, 20.5, 17.4});
    w.byte(0);
    s.push_back(w);
  }
  for (int type = 1; type <= 2; ++type) {
    SeedWriter w;  // relative quantity, Ct mode
    w.byte(1);
    w.flag(true);
    w.byte(0);
    w.flag(true);
    w.flag(true);
    w.byte(static_cast<std::uint8_t>(type - 1));
    w.flag(true);
    w.byte(0);
    w.int32(2);
    w.byte(0);  // four summary values
    w.number(3.0);
    w.number(0.5);
    w.number(0.2);
    w.byte(8);  // count 12
    w.byte(0);
    w.number(1.0);
    w.byte(0);
    s.push_back(w);
  }
  for (int mode = 1; mode <= 2; ++mode) {
    SeedWriter w;  // replicate statistics
    w.byte(2);
    w.flag(true);
    w.byte(static_cast<std::uint8_t>(mode - 1));
    replicates(w, {20.0, 21.0, 22.0}, {{15.0, 15.5, 16.0}, {17.0, 17.2}});
    w.byte(0);
    s.push_back(w);
  }
  {
    SeedWriter w;  // statistics, then the relative quantity of their summary
    w.byte(3);
    w.byte(0);
    replicates(w, {20.0, 21.0, 22.0, 20.5}, {{15.0, 15.5, 16.0, 15.2}});
    w.byte(0);
    w.byte(1);
    w.int32(1);
    w.number(2.0);
    s.push_back(w);
  }
}

void meltingSeeds(Seeds& seeds) {
  auto& s = seeds["melting"];
  {
    SeedWriter w;
    w.byte(2);
    w.size(50);
    w.evenAxis(60.0, 0.5);
    w.melting(50, 20000.0, 500.0, 0.6, 0.3);
    w.byte(0);
    w.size(60);
    w.peaks(60, {1000.0, 400.0}, {0.3, 0.7}, {3.0, 5.0});
    w.byte(0);
    s.push_back(w);
  }
  {
    SeedWriter w;  // the shortest curve
    w.byte(0);
    w.size(5);
    w.evenAxis(70.0, 1.0);
    w.melting(5, 10000.0, 100.0, 0.5, 0.8);
    w.byte(0);
    s.push_back(w);
  }
}

void modelSeeds(Seeds& seeds) {
  auto& s = seeds["model"];
  SeedWriter w;
  w.byte(1);  // two fills
  w.peakSet({1000.0, 500.0}, {70.0, 80.0}, {1.5, 2.0});
  w.byte(0);
  w.peakSet({800.0}, {75.0}, {1.0});
  w.byte(0);
  meltModel(w, 200, 0.1, 2.0);
  w.byte(0);
  w.byte(0);
  s.push_back(w);
}

void solverSeeds(Seeds& seeds) {
  auto& s = seeds["solver"];
  {
    SeedWriter w;  // detected start peaks
    meltModel(w, 200, 0.1, 1.0);
    w.flag(false);
    w.byte(0);
    s.push_back(w);
  }
  {
    SeedWriter w;  // start peaks near the true ones
    meltModel(w, 200, 0.1, 1.0);
    w.flag(true);
    w.peakSet({1400.0, 900.0}, {67.1, 72.9}, {1.0, 1.3});
    w.byte(0);
    s.push_back(w);
  }
}

void peakSeeds(Seeds& seeds) {
  auto& s = seeds["peaks"];
  {
    SeedWriter w;
    w.flag(true);
    meltModel(w, 300, 0.1, 1.0);
    w.byte(0);
    s.push_back(w);
  }
  {
    SeedWriter w;
    w.flag(false);
    w.size(100);
    w.byte(0);
    w.evenAxis(60.0, 0.3);
    w.peaks(100, {1000.0, 600.0, 300.0}, {0.2, 0.5, 0.8}, {4.0, 6.0, 3.0});
    w.byte(0);
    s.push_back(w);
  }
}

void synthesisSeeds(Seeds& seeds) {
  auto& s = seeds["synthesis"];
  auto ramp = [](SeedWriter& w) {
    std::vector<double> y;
    for (int i = 0; i <= 20; ++i) y.push_back(i);
    w.array(y);
  };
  {
    SeedWriter w;  // alg_mgf_melting_stimulate
    w.model(21, 50.0, 1.0, 2.0, [&] { ramp(w); });
    w.peakSet({100.0}, {60.0}, {2.0});
    w.byte(1);
    w.byte(0);
    s.push_back(w);
  }
  {
    SeedWriter w;  // alg_mgf_melting_stim_peak
    w.model(21, 50.0, 1.0, 2.0, [&] { ramp(w); });
    w.peakSet({100.0, 50.0}, {55.0, 62.0}, {2.0, 1.0});
    w.byte(0);
    w.byte(0);
    w.flag(false);
    w.ordinary(0.0, 5000.0, 100.0);
    w.flag(false);
    w.ordinary(50.0, 95.0, 70.0);
    w.flag(false);
    w.ordinary(0.0, 5.0, 3.0);
    s.push_back(w);
  }
}

void filterSeeds(Seeds& seeds) {
  auto& s = seeds["filter"];
  SeedWriter w;
  w.peakSet({3.0, 0.5, 2.0, 900.0}, {70.0, 75.0, 80.0, 85.0}, {1.0, 2.0, 0.2, 50.0});
  w.flag(false);
  w.ordinary(-10.0, 1000.0, 1.0);
  w.flag(false);
  w.ordinary(0.0, 100.0, 10.0);
  w.flag(false);
  w.ordinary(0.0, 20.0, 1.0);
  w.byte(0);
  s.push_back(w);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s <directory>\n", argv[0]);
    return 2;
  }
  Seeds seeds;
  gridSeeds(seeds);
  smoothingSeeds(seeds);
  splineSeeds(seeds);
  amplificationSeeds(seeds);
  quantificationSeeds(seeds);
  meltingSeeds(seeds);
  modelSeeds(seeds);
  solverSeeds(seeds);
  peakSeeds(seeds);
  synthesisSeeds(seeds);
  filterSeeds(seeds);

  for (const auto& [family, list] : seeds) {
    const std::filesystem::path dir = std::filesystem::path(argv[1]) / family;
    std::filesystem::create_directories(dir);
    for (std::size_t k = 0; k < list.size(); ++k) {
      std::ofstream out(dir / ("seed-" + std::to_string(k)), std::ios::binary);
      const auto& bytes = list[k].bytes();
      out.write(reinterpret_cast<const char*>(bytes.data()),
                static_cast<std::streamsize>(bytes.size()));
      if (!out) {
        std::fprintf(stderr, "cannot write %s\n", (dir / ("seed-" + std::to_string(k))).c_str());
        return 1;
      }
    }
  }
  return 0;
}

// corvel_example_plate: writes the example plate the repository ships in
// examples/data, a simulated SYBR Green run on a 96-well cycler whose true
// values are known, so that the tool can be tried on data that is ours.
//
//   corvel_example_plate [--seed N] OUTDIR
//
// writes into OUTDIR (created when missing)
//   example_plate.rdml       RDML 1.4 as a plain XML document, one reading per
//                            line so that it diffs well;
//   example_plate.csv        the same readings in the tool's table layout
//                            (docs/csv-format.md);
//   example_plate_truth.csv  the simulated values of every well.
// The same seed gives the same bytes. examples/data/README.md describes the
// plate and lists its true values.
//
// The plate (8 rows A-H, 12 columns, one run, 40 cycles; triplicates side by
// side in columns 1-3, 4-6, 7-9 and 10-12):
//   rows A-B  IL6 standards, 10^6 ... 10^1 copies; B7-B9 IL6 NTC, B10-B12 TNF NTC
//   rows C-D  TNF standards, 10^6 ... 10^1 copies; D7-D9 GAPDH NTC, D10-D12 ACTB NTC
//   rows E-H  samples control, treated 1, treated 2, treated 3, each measured
//             for IL6, TNF, GAPDH and ACTB (columns 1-3, 4-6, 7-9, 10-12)
// IL6 and TNF are the genes of interest, GAPDH and ACTB the reference genes.
// The standards are one dilution series of a template carrying both IL6 and
// TNF amplicons. Each unknown sample has a true fold change of IL6 and TNF
// against the control and its own loading (amount of cDNA put in the well),
// which scales all four targets alike and which the reference genes correct.
//
// Amplification. A well starting with n copies of template reads, at cycle c,
//   F(c) = B + d (c - 1) + a exp(-(c - 1) / 3) + P / (1 + exp(-(c - c0) / s))^g
// B the background, d its drift per cycle (dye bleaching: mostly downwards),
// a the settling of the first cycles, P the rise of the product signal and g
// the asymmetry of the curve: the rise leaves the baseline as a pure
// exponential and approaches the plateau more slowly than it left the
// baseline, as real curves do. The scale s = g / ln(1 + E) makes the early
// signal grow by the factor 1 + E per cycle, E the target's efficiency; the
// location c0 follows from the half-plateau cycle
//   c1/2(n) = c1/2(10^6) + (6 - log10 n) / log10(1 + E),
//   c0 = c1/2 + s ln(2^(1/g) - 1),
// so a 10-fold dilution delays the curve by 1 / log10(1 + E) cycles. The
// crossing of a threshold T above the background is c0 - s ln((P/T)^(1/g) - 1).
// Every reading then gets multiplicative and additive noise:
//   F (1 + 0.002 e1) + 8 e2, e1, e2 standard normal deviates.
// Well to well: B is the target's background times exp(0.12 e), d = B (-0.003
// + 0.001 e), a = B max(0, 0.015 + 0.005 e), P the target's plateau times
// exp(0.05 e). Pipetting scatters the copies put in a well by exp(0.07 e),
// and the copies actually present are a Poisson draw of that mean (below 500
// copies; a normal approximation above), so replicates differ by about 0.12
// cycle and the 10-copy standards by about half a cycle, as they do on a real
// plate. A well that receives no template stays flat. Template-free wells of
// IL6 (B8) and ACTB (D11) amplify a primer dimer late: its c1/2 is the
// target's dimer value plus 0.4 e, its plateau 30 % of the well's P.
//
// Melting. After cycling the plate is heated from 65 to 95 °C. Readings are
// shared by all wells, like a real block's: the block first settles (65.00 and
// two readings at falling temperature), then rises in uneven steps of about
// 0.23 °C (0.03 °C jitter; the first one past 65.00, so that no temperature is
// read twice), 130-140 readings in all. A well reads
//   F(T) = Bm exp(-0.012 (T - 60))
//        + A exp(-0.032 (T - 60)) [(1 - q) h(T, Tm, w) + q h(T, Td, 0.8)],
//   h(T, Tm, w) = 1 / (1 + exp((T - Tm) / w)),
// Bm the well's background at the last cycle, A the product signal at the last
// cycle (both were read at 60 °C; the dye fluoresces less when warmer), Tm the
// product's melting temperature (the target's, plus 0.06 e for the well's
// position) and w its transition width. q is the share of primer dimer
// (melting at Td): 1 in the dimer wells above, 0.15 sqrt(10 / n) in IL6
// standards of 100 copies or fewer, 0 elsewhere. Noise: F (1 + 0.0015 e1) + 6 e2.
//
// Random numbers come from our own xoshiro256** generator seeded by splitmix64
// and our own normal (Marsaglia polar) and Poisson deviates, never from the
// standard library's distributions, whose output differs from one library to
// the next. Every well has its own stream derived from the seed and its
// number, and the melting temperatures another, so that a change to one well
// leaves the others as they were. Numbers are printed with a fixed format
// (fluorescence %.3f, temperatures %.2f).
#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <pugixml.hpp>

namespace corvel::tool {
namespace {

constexpr std::uint64_t kDefaultSeed = 20240514;
constexpr int kRows = 8;
constexpr int kColumns = 12;
constexpr int kCycles = 40;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// ---------------------------------------------------------------------------
// Random numbers

std::uint64_t splitmix64(std::uint64_t& state) {
  std::uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
  return z ^ (z >> 31);
}

// xoshiro256** with its state filled by splitmix64 from (seed, stream), and
// the deviates the simulation needs.
class Random {
 public:
  Random(std::uint64_t seed, std::uint64_t stream) {
    std::uint64_t s = seed ^ (stream * 0xD1B54A32D192ED03ULL);
    for (std::uint64_t& word : state_) word = splitmix64(s);
  }

  std::uint64_t next() {
    const std::uint64_t result = rotl(state_[1] * 5, 7) * 9;
    const std::uint64_t t = state_[1] << 17;
    state_[2] ^= state_[0];
    state_[3] ^= state_[1];
    state_[1] ^= state_[2];
    state_[0] ^= state_[3];
    state_[2] ^= t;
    state_[3] = rotl(state_[3], 45);
    return result;
  }

  // Uniform on [0, 1), 53 random bits.
  double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

  // Standard normal deviate (Marsaglia's polar method; the second deviate of
  // each pair is kept for the next call).
  double normal() {
    if (hasSpare_) {
      hasSpare_ = false;
      return spare_;
    }
    double u = 0, v = 0, s = 0;
    do {
      u = 2 * uniform() - 1;
      v = 2 * uniform() - 1;
      s = u * u + v * v;
    } while (s >= 1 || s == 0);
    const double f = std::sqrt(-2 * std::log(s) / s);
    spare_ = v * f;
    hasSpare_ = true;
    return u * f;
  }

  // Poisson deviate of mean lambda >= 0: Knuth's product of uniforms below
  // 500, the rounded normal approximation from there on (where it is far
  // closer to the Poisson law than anything the plate can show).
  double poisson(double lambda) {
    if (!(lambda > 0)) return 0;
    if (lambda >= 500) return std::max(0.0, std::round(lambda + std::sqrt(lambda) * normal()));
    const double limit = std::exp(-lambda);
    double product = uniform();
    double count = 0;
    while (product > limit) {
      product *= uniform();
      count += 1;
    }
    return count;
  }

 private:
  static std::uint64_t rotl(std::uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }

  std::uint64_t state_[4];
  bool hasSpare_ = false;
  double spare_ = 0;
};

// ---------------------------------------------------------------------------
// The design: targets, samples and the layout of the plate

struct Target {
  const char* name;
  const char* type;       // RDML target type: toi (gene of interest) or ref
  double efficiency;      // E: the product grows by 1 + E per cycle early on
  double halfCycle1e6;    // half-plateau cycle of 10^6 copies
  double plateau;         // mean rise of the product signal, raw units
  double background;      // mean background of a well, raw units
  double shape;           // asymmetry g of the amplification curve
  double tm;              // melting temperature of the product, °C
  double meltWidth;       // width w of its melting transition, °C
  double dimerTm;         // melting temperature of the primer dimer (0: none)
  double dimerHalfCycle;  // half-plateau cycle of the dimer in template-free wells
  double controlCopies;   // copies of the target per well of the control sample
};

const Target kTargets[] = {
    {"IL6", "toi", 0.95, 24.6, 36000, 3200, 1.4, 81.4, 0.60, 73.8, 39.0, 3000},
    {"TNF", "toi", 0.91, 25.0, 28000, 2700, 1.3, 84.2, 0.65, 0, 0, 8000},
    {"GAPDH", "ref", 0.98, 25.0, 52000, 4100, 1.5, 79.6, 0.55, 0, 0, 400000},
    {"ACTB", "ref", 0.96, 24.5, 44000, 3600, 1.4, 85.6, 0.60, 74.6, 40.0, 200000},
};
constexpr int kTargetCount = 4;
constexpr int kIl6 = 0, kTnf = 1, kGapdh = 2, kActb = 3;

struct Sample {
  const char* name;
  const char* type;  // RDML sample type: std, ntc or unkn
  double quantity;   // copies per well (standards)
  double loading;    // relative amount of cDNA per well (unknowns)
};

// Standards first (index = 6 - log10 copies), then the template-free
// control, then the unknowns.
const Sample kSamples[] = {
    {"std 1e6", "std", 1e6, 1},     {"std 1e5", "std", 1e5, 1},     {"std 1e4", "std", 1e4, 1},
    {"std 1e3", "std", 1e3, 1},     {"std 1e2", "std", 1e2, 1},     {"std 1e1", "std", 1e1, 1},
    {"NTC", "ntc", 0, 0},           {"control", "unkn", 0, 1.00},   {"treated 1", "unkn", 0, 0.80},
    {"treated 2", "unkn", 0, 1.25}, {"treated 3", "unkn", 0, 0.60},
};
constexpr int kNtc = 6;
constexpr int kFirstUnknown = 7;
constexpr int kUnknownCount = 4;

// True fold change of each target in each unknown sample against the control
// (the reference genes do not change).
const double kFold[kTargetCount][kUnknownCount] = {
    {1, 6, 12, 0.5},
    {1, 2.5, 0.3, 1},
    {1, 1, 1, 1},
    {1, 1, 1, 1},
};

struct Well {
  int row = 0;               // 0-based, A = 0
  int column = 0;            // 0-based
  int target = 0;            // index into kTargets
  int sample = 0;            // index into kSamples
  double copies = 0;         // copies meant to be pipetted into the well
  bool primerDimer = false;  // a template-free well that amplifies a dimer

  int number() const { return row * kColumns + column + 1; }
  std::string label() const {
    return std::string(1, static_cast<char>('A' + row)) + std::to_string(column + 1);
  }
};

std::vector<Well> plateLayout() {
  std::vector<Well> wells;
  auto add = [&](int row, int firstColumn, int target, int sample) {
    for (int k = 0; k < 3; ++k) {
      Well w;
      w.row = row;
      w.column = firstColumn + k;
      w.target = target;
      w.sample = sample;
      const Sample& s = kSamples[sample];
      if (s.quantity > 0) {
        w.copies = s.quantity;
      } else if (sample >= kFirstUnknown) {
        w.copies =
            kTargets[target].controlCopies * kFold[target][sample - kFirstUnknown] * s.loading;
      }
      wells.push_back(w);
    }
  };
  // Standards of IL6 (rows A-B) and TNF (rows C-D), the template-free
  // controls after them.
  for (int series = 0; series < 2; ++series) {
    const int target = series == 0 ? kIl6 : kTnf;
    const int row = 2 * series;
    for (int step = 0; step < 6; ++step) add(row + step / 4, 3 * (step % 4), target, step);
    add(row + 1, 6, series == 0 ? kIl6 : kGapdh, kNtc);
    add(row + 1, 9, series == 0 ? kTnf : kActb, kNtc);
  }
  // One row per unknown sample, one triplicate per target.
  for (int u = 0; u < kUnknownCount; ++u)
    for (int t = 0; t < kTargetCount; ++t) add(4 + u, 3 * t, t, kFirstUnknown + u);

  std::vector<Well> ordered(static_cast<std::size_t>(kRows * kColumns));
  for (const Well& w : wells) ordered[static_cast<std::size_t>(w.number() - 1)] = w;
  for (Well& w : ordered)
    if (w.label() == "B8" || w.label() == "D11") w.primerDimer = true;
  return ordered;
}

// ---------------------------------------------------------------------------
// The simulation

// The product signal above the background, P / (1 + exp(-(c - c0)/s))^g.
struct Amplicon {
  double plateau = 0;
  double location = 0;
  double scale = 1;
  double shape = 1;

  double at(double cycle) const {
    if (plateau == 0) return 0;
    return plateau / std::pow(1 + std::exp(-(cycle - location) / scale), shape);
  }
  // Cycle at which the signal crosses `level` (NaN when it never does).
  double crossing(double level) const {
    if (!(plateau > level)) return kNaN;
    return location - scale * std::log(std::pow(plateau / level, 1 / shape) - 1);
  }
};

Amplicon amplicon(const Target& t, double plateau, double halfCycle) {
  Amplicon a;
  a.plateau = plateau;
  a.shape = t.shape;
  a.scale = t.shape / std::log(1 + t.efficiency);
  a.location = halfCycle + a.scale * std::log(std::pow(2.0, 1 / t.shape) - 1);
  return a;
}

// Fraction of a product still double-stranded at temperature T.
double doubleStranded(double temperature, double tm, double width) {
  return 1 / (1 + std::exp((temperature - tm) / width));
}

// What was simulated for a well, for the truth table.
struct Truth {
  double copies = 0;        // copies actually in the well
  double halfCycle = kNaN;  // half-plateau cycle of what amplified
  double ct1000 = kNaN;     // crossing of 1000 units above the background
  double plateau = kNaN;    // rise of what amplified
  double background = 0;    // B
  double drift = 0;         // d, per cycle
  double tm = kNaN;         // melting temperature of the specific product
  double dimerTm = kNaN;    // melting temperature of the primer dimer, when present
  double dimerShare = 0;    // q
};

struct WellData {
  std::vector<double> fluorescence;  // per cycle 1..40
  std::vector<double> melt;          // per melting reading
  Truth truth;
};

WellData simulateWell(const Well& well, const std::vector<double>& temperatures,
                      std::uint64_t seed) {
  const Target& target = kTargets[well.target];
  Random rng(seed, static_cast<std::uint64_t>(well.number()));
  WellData out;
  Truth& truth = out.truth;

  // Drawn in a fixed order, whether or not the well amplifies, so that every
  // well uses its stream alike.
  const double background = target.background * std::exp(0.12 * rng.normal());
  const double drift = background * (-0.003 + 0.001 * rng.normal());
  const double settling = background * std::max(0.0, 0.015 + 0.005 * rng.normal());
  const double plateau = target.plateau * std::exp(0.05 * rng.normal());
  const double pipetted = well.copies * std::exp(0.07 * rng.normal());
  const double copies = rng.poisson(pipetted);
  const double dimerDelay = 0.4 * rng.normal();
  const double tmOffset = 0.06 * rng.normal();
  const double dimerTmOffset = 0.06 * rng.normal();

  truth.copies = copies;
  truth.background = background;
  truth.drift = drift;

  Amplicon product;  // no product unless the well has template or a dimer
  if (copies > 0) {
    const double half =
        target.halfCycle1e6 + (6 - std::log10(copies)) / std::log10(1 + target.efficiency);
    product = amplicon(target, plateau, half);
    truth.halfCycle = half;
    truth.tm = target.tm + tmOffset;
    if (well.sample < kNtc && target.dimerTm > 0 && well.copies <= 100) {
      truth.dimerShare = 0.15 * std::sqrt(10 / well.copies);
      truth.dimerTm = target.dimerTm + dimerTmOffset;
    }
  } else if (well.primerDimer && target.dimerTm > 0) {
    const double half = target.dimerHalfCycle + dimerDelay;
    product = amplicon(target, 0.3 * plateau, half);
    truth.halfCycle = half;
    truth.dimerShare = 1;
    truth.dimerTm = target.dimerTm + dimerTmOffset;
  }
  if (product.plateau > 0) {
    truth.plateau = product.plateau;
    const double ct = product.crossing(1000);
    if (ct <= kCycles) truth.ct1000 = ct;
  }

  out.fluorescence.reserve(kCycles);
  for (int cycle = 1; cycle <= kCycles; ++cycle) {
    const double c = cycle;
    const double f =
        background + drift * (c - 1) + settling * std::exp(-(c - 1) / 3) + product.at(c);
    const double e1 = rng.normal();
    const double e2 = rng.normal();
    out.fluorescence.push_back(f * (1 + 0.002 * e1) + 8 * e2);
  }

  // Melting: background and product as they stood at the last cycle.
  const double meltBackground = background + drift * (kCycles - 1);
  const double meltProduct = product.at(kCycles);
  const double share = truth.dimerShare;
  out.melt.reserve(temperatures.size());
  for (double temperature : temperatures) {
    double f = meltBackground * std::exp(-0.012 * (temperature - 60));
    if (meltProduct > 0) {
      double strands = 0;
      if (share < 1)
        strands += (1 - share) * doubleStranded(temperature, truth.tm, target.meltWidth);
      if (share > 0) strands += share * doubleStranded(temperature, truth.dimerTm, 0.8);
      f += meltProduct * std::exp(-0.032 * (temperature - 60)) * strands;
    }
    const double e1 = rng.normal();
    const double e2 = rng.normal();
    out.melt.push_back(f * (1 + 0.0015 * e1) + 6 * e2);
  }
  return out;
}

// Temperatures of the melting readings, shared by all wells: the block
// settles (65.00, then two readings a little lower), then heats in uneven
// steps to 95 °C. Rounded to the instrument's 0.01 °C.
std::vector<double> meltingTemperatures(std::uint64_t seed) {
  Random rng(seed, 0);
  auto clamp = [](double x, double lo, double hi) { return std::min(hi, std::max(lo, x)); };
  auto round2 = [](double x) { return std::round(x * 100) / 100; };
  std::vector<double> t{65.0};
  for (int k = 0; k < 2; ++k)
    t.push_back(round2(t.back() - clamp(0.09 + 0.02 * rng.normal(), 0.05, 0.15)));
  for (;;) {
    double next = round2(t.back() + clamp(0.23 + 0.03 * rng.normal(), 0.15, 0.32));
    // The first rising reading overshoots the start, so that no temperature
    // is read twice.
    if (t.size() == 3) next = std::max(next, round2(t.front() + 0.05));
    if (next > 95.0) break;
    t.push_back(next);
  }
  return t;
}

// ---------------------------------------------------------------------------
// Output

std::string fixed(double value, int decimals) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
  return buffer;
}

// The number, or an empty field when there is none.
std::string optionalFixed(double value, int decimals) {
  return std::isnan(value) ? std::string() : fixed(value, decimals);
}

void addText(pugi::xml_node parent, const char* name, const std::string& text) {
  parent.append_child(name).text().set(text.c_str());
}

// Elements written on one line: short records and single readings.
bool writtenOnOneLine(const char* name) {
  for (const char* n : {"adp", "mdp", "dye", "sample", "target", "id", "pcrFormat"})
    if (std::strcmp(name, n) == 0) return true;
  return false;
}

// Puts each child element of `node` on its own line, indented two spaces per
// level, so that the document is saved without pugixml's own formatting,
// which would break every reading over four lines. The whitespace nodes are
// what any indented XML holds between its elements.
void indent(pugi::xml_node node, int depth) {
  if (writtenOnOneLine(node.name())) return;
  bool hasElements = false;
  for (pugi::xml_node child : node.children()) hasElements |= child.type() == pugi::node_element;
  if (!hasElements) return;
  const std::string inner = "\n" + std::string(static_cast<std::size_t>(2 * (depth + 1)), ' ');
  for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
    if (child.type() != pugi::node_element) continue;
    node.insert_child_before(pugi::node_pcdata, child).set_value(inner.c_str());
    indent(child, depth + 1);
  }
  const std::string outer = "\n" + std::string(static_cast<std::size_t>(2 * depth), ' ');
  node.append_child(pugi::node_pcdata).set_value(outer.c_str());
}

struct SimulatedPlate {
  std::uint64_t seed = 0;
  std::vector<Well> wells;
  std::vector<double> temperatures;
  std::vector<WellData> data;  // per well, in well order
};

SimulatedPlate simulatePlate(std::uint64_t seed) {
  SimulatedPlate plate;
  plate.seed = seed;
  plate.wells = plateLayout();
  plate.temperatures = meltingTemperatures(seed);
  for (const Well& w : plate.wells) plate.data.push_back(simulateWell(w, plate.temperatures, seed));
  return plate;
}

// The same plate as a table in the tool's CSV layout (docs/csv-format.md):
// an amplification table with one column per cycle, then a melting table
// with one column per temperature, shared by all wells.
std::string plateTable(const SimulatedPlate& plate) {
  std::ostringstream out;
  out << "# The example plate of corvel_example_plate (seed " << plate.seed
      << "): the readings of example_plate.rdml\n"
         "# as tables. The melting readings start at falling temperature while the block "
         "settles.\n";
  auto identity = [&](const Well& w) {
    const Sample& s = kSamples[w.sample];
    out << w.label() << ',' << kTargets[w.target].name << ',' << s.name << ',' << s.type << ','
        << (s.quantity > 0 ? fixed(s.quantity, 0) : std::string());
  };
  out << "well,target,sample,type,quantity (cop)";
  for (int c = 1; c <= kCycles; ++c) out << ',' << c;
  out << '\n';
  for (std::size_t i = 0; i < plate.wells.size(); ++i) {
    identity(plate.wells[i]);
    for (double f : plate.data[i].fluorescence) out << ',' << fixed(f, 3);
    out << '\n';
  }
  out << "\nwell,target,sample,type,quantity (cop)";
  for (double t : plate.temperatures) out << ',' << fixed(t, 2) << u8" \u00B0C";
  out << '\n';
  for (std::size_t i = 0; i < plate.wells.size(); ++i) {
    identity(plate.wells[i]);
    for (double f : plate.data[i].melt) out << ',' << fixed(f, 3);
    out << '\n';
  }
  return out.str();
}

void writeFile(const std::filesystem::path& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
  out.close();
  if (!out) throw std::runtime_error("cannot write " + path.string());
}

std::string rdmlDocument(const SimulatedPlate& plate) {
  pugi::xml_document doc;
  pugi::xml_node rdml = doc.append_child("rdml");
  rdml.append_attribute("version") = "1.4";
  rdml.append_attribute("xmlns") = "http://www.rdml.org";

  pugi::xml_node id = rdml.append_child("id");
  addText(id, "publisher", "CorvelAlg");
  addText(id, "serialNumber", "example-plate-seed-" + std::to_string(plate.seed));

  const char* dye = "SYBR Green I";
  pugi::xml_node dyeNode = rdml.append_child("dye");
  dyeNode.append_attribute("id") = dye;
  addText(dyeNode, "dyeChemistry", "non-saturating DNA binding dye");

  for (const Sample& s : kSamples) {
    pugi::xml_node sample = rdml.append_child("sample");
    sample.append_attribute("id") = s.name;
    addText(sample, "type", s.type);
    if (s.quantity > 0) {
      pugi::xml_node quantity = sample.append_child("quantity");
      addText(quantity, "value", fixed(s.quantity, 0));
      addText(quantity, "unit", "cop");
    }
  }
  for (const Target& t : kTargets) {
    pugi::xml_node target = rdml.append_child("target");
    target.append_attribute("id") = t.name;
    addText(target, "type", t.type);
    target.append_child("dyeId").append_attribute("id") = dye;
  }

  pugi::xml_node experiment = rdml.append_child("experiment");
  experiment.append_attribute("id") = "Example";
  addText(experiment, "description",
          "Simulated plate written by corvel_example_plate with seed " +
              std::to_string(plate.seed) +
              "; examples/data/README.md describes it and example_plate_truth.csv holds "
              "its true values.");
  pugi::xml_node run = experiment.append_child("run");
  run.append_attribute("id") = "Run 1";
  addText(run, "instrument", "simulated 96-well cycler");
  pugi::xml_node format = run.append_child("pcrFormat");
  addText(format, "rows", std::to_string(kRows));
  addText(format, "columns", std::to_string(kColumns));
  addText(format, "rowLabel", "ABC");
  addText(format, "columnLabel", "123");

  for (std::size_t i = 0; i < plate.wells.size(); ++i) {
    const Well& w = plate.wells[i];
    const WellData& d = plate.data[i];
    pugi::xml_node react = run.append_child("react");
    react.append_attribute("id") = w.number();
    react.append_child("sample").append_attribute("id") = kSamples[w.sample].name;
    pugi::xml_node data = react.append_child("data");
    data.append_child("tar").append_attribute("id") = kTargets[w.target].name;
    for (int c = 0; c < kCycles; ++c) {
      pugi::xml_node adp = data.append_child("adp");
      addText(adp, "cyc", std::to_string(c + 1));
      addText(adp, "fluor", fixed(d.fluorescence[static_cast<std::size_t>(c)], 3));
    }
    for (std::size_t k = 0; k < plate.temperatures.size(); ++k) {
      pugi::xml_node mdp = data.append_child("mdp");
      addText(mdp, "tmp", fixed(plate.temperatures[k], 2));
      addText(mdp, "fluor", fixed(d.melt[k], 3));
    }
  }

  indent(rdml, 0);
  std::ostringstream out;
  out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  doc.save(out, "", pugi::format_raw | pugi::format_no_declaration);
  out << "\n";
  return out.str();
}

std::string truthTable(const SimulatedPlate& plate) {
  std::ostringstream out;
  out << "well,well_number,target,sample,type,nominal_copies,copies,efficiency,half_cycle,"
         "ct_1000,plateau,background,drift,tm,dimer_tm,dimer_share\n";
  for (std::size_t i = 0; i < plate.wells.size(); ++i) {
    const Well& w = plate.wells[i];
    const Truth& t = plate.data[i].truth;
    const Target& target = kTargets[w.target];
    out << w.label() << ',' << w.number() << ',' << target.name << ',' << kSamples[w.sample].name
        << ',' << kSamples[w.sample].type << ',' << fixed(w.copies, 1) << ',' << fixed(t.copies, 0)
        << ',' << fixed(target.efficiency, 2) << ',' << optionalFixed(t.halfCycle, 3) << ','
        << optionalFixed(t.ct1000, 3) << ',' << optionalFixed(t.plateau, 1) << ','
        << fixed(t.background, 1) << ',' << fixed(t.drift, 3) << ',' << optionalFixed(t.tm, 2)
        << ',' << optionalFixed(t.dimerTm, 2) << ',' << fixed(t.dimerShare, 3) << '\n';
  }
  return out.str();
}

// ---------------------------------------------------------------------------
// Command line

const char* const kUsage =
    "usage: corvel_example_plate [--seed N] OUTDIR\n"
    "Writes the simulated example plate into OUTDIR (created when missing):\n"
    "  example_plate.rdml        the plate as RDML 1.4 (plain XML)\n"
    "  example_plate.csv         the same readings as tables in corvel's CSV layout\n"
    "  example_plate_truth.csv   the simulated true values of every well\n"
    "--seed N  seed of the random numbers, an unsigned integer (default 20240514)\n";

bool parseSeed(const char* text, std::uint64_t& seed) {
  if (*text < '0' || *text > '9') return false;
  errno = 0;
  char* end = nullptr;
  const unsigned long long value = std::strtoull(text, &end, 10);
  if (errno != 0 || *end != '\0') return false;
  seed = value;
  return true;
}

int run(int argc, char** argv) {
  std::uint64_t seed = kDefaultSeed;
  std::string outDir;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--help" || arg == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (arg == "--seed") {
      if (i + 1 >= argc || !parseSeed(argv[i + 1], seed)) {
        std::fprintf(stderr, "corvel_example_plate: --seed needs an unsigned integer\n%s", kUsage);
        return 2;
      }
      ++i;
    } else if (!arg.empty() && arg[0] == '-') {
      std::fprintf(stderr, "corvel_example_plate: unknown option %s\n%s", arg.c_str(), kUsage);
      return 2;
    } else if (outDir.empty()) {
      outDir = arg;
    } else {
      std::fprintf(stderr, "corvel_example_plate: only one output folder may be given\n%s", kUsage);
      return 2;
    }
  }
  if (outDir.empty()) {
    std::fprintf(stderr, "corvel_example_plate: no output folder given\n%s", kUsage);
    return 2;
  }

  const SimulatedPlate plate = simulatePlate(seed);
  const std::filesystem::path dir(outDir);
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  if (ec) throw std::runtime_error("cannot create " + dir.string() + ": " + ec.message());
  const std::filesystem::path rdml = dir / "example_plate.rdml";
  const std::filesystem::path table = dir / "example_plate.csv";
  const std::filesystem::path truth = dir / "example_plate_truth.csv";
  writeFile(rdml, rdmlDocument(plate));
  writeFile(table, plateTable(plate));
  writeFile(truth, truthTable(plate));
  std::printf("wrote %s (%zu wells, %d cycles, %zu melting readings; seed %" PRIu64 ")\n",
              rdml.string().c_str(), plate.wells.size(), kCycles, plate.temperatures.size(), seed);
  std::printf("wrote %s\n", table.string().c_str());
  std::printf("wrote %s\n", truth.string().c_str());
  return 0;
}

}  // namespace
}  // namespace corvel::tool

int main(int argc, char** argv) {
  try {
    return corvel::tool::run(argc, argv);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "corvel_example_plate: %s\n", e.what());
    return 1;
  }
}

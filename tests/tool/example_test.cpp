// The example plate shipped in examples/data: the generator must reproduce
// the committed files byte for byte (so neither the data nor the generator
// changes alone), the RDML must have the structure the README promises, and
// the curves must agree with the simulated true values.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <pugixml.hpp>

namespace corvel::tool {
namespace {

namespace fs = std::filesystem;

const fs::path kCommitted = CORVEL_EXAMPLE_DIR;
const std::string kCelsius = u8" \u00B0C";
const char* const kFiles[] = {"example_plate.rdml", "example_plate.csv", "example_plate_truth.csv"};

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// A fresh scratch folder under the build tree.
fs::path scratch(const std::string& name) {
  const fs::path dir = fs::path(CORVEL_TEST_OUTPUT) / "example" / name;
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

// Runs the generator with `args`; returns its exit status (-1 when it did
// not exit normally). Its output goes to `log`.
int generate(const std::string& args, const fs::path& log) {
  const std::string command =
      std::string("'") + CORVEL_EXAMPLE_GENERATOR + "' " + args + " > '" + log.string() + "' 2>&1";
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Line number (1-based) of the first difference, 0 when equal.
std::size_t firstDifferentLine(const std::string& a, const std::string& b) {
  if (a == b) return 0;
  const auto diff = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  return 1 + static_cast<std::size_t>(std::count(a.begin(), diff.first, '\n'));
}

TEST(ExamplePlate, GeneratorReproducesTheCommittedFiles) {
  const fs::path out = scratch("default");
  ASSERT_EQ(generate("'" + out.string() + "'", out / "log"), 0) << readFile(out / "log");
  for (const char* name : kFiles) {
    ASSERT_TRUE(fs::exists(kCommitted / name)) << "missing " << (kCommitted / name);
    const std::string committed = readFile(kCommitted / name);
    const std::string fresh = readFile(out / name);
    EXPECT_FALSE(fresh.empty()) << name;
    EXPECT_EQ(firstDifferentLine(committed, fresh), 0u)
        << name << " differs from the generator's output; regenerate examples/data with "
        << "corvel_example_plate examples/data";
  }
}

// The truth table, one map per well keyed by column name.
std::vector<std::map<std::string, std::string>> readTruth(const fs::path& path) {
  std::ifstream in(path);
  std::vector<std::string> header;
  std::vector<std::map<std::string, std::string>> rows;
  std::string line;
  while (std::getline(in, line)) {
    std::vector<std::string> fields;
    std::stringstream split(line);
    std::string field;
    while (std::getline(split, field, ',')) fields.push_back(field);
    if (!line.empty() && line.back() == ',') fields.emplace_back();
    if (header.empty()) {
      header = fields;
      continue;
    }
    EXPECT_EQ(fields.size(), header.size()) << line;
    std::map<std::string, std::string> row;
    for (std::size_t i = 0; i < header.size() && i < fields.size(); ++i) row[header[i]] = fields[i];
    rows.push_back(row);
  }
  return rows;
}

TEST(ExamplePlate, SeedChangesTheNoiseButNotTheDesign) {
  const fs::path a = scratch("seed-7");
  const fs::path b = scratch("seed-default-explicit");
  ASSERT_EQ(generate("--seed 7 '" + a.string() + "'", a / "log"), 0) << readFile(a / "log");
  ASSERT_EQ(generate("'" + b.string() + "' --seed 20240514", b / "log"), 0) << readFile(b / "log");

  // The documented default seed is the one the committed files were made with.
  const std::string committedRdml = readFile(kCommitted / "example_plate.rdml");
  EXPECT_EQ(firstDifferentLine(readFile(b / "example_plate.rdml"), committedRdml), 0u);
  EXPECT_TRUE(readFile(a / "example_plate.rdml") != committedRdml);
  const auto seven = readTruth(a / "example_plate_truth.csv");
  const auto committed = readTruth(kCommitted / "example_plate_truth.csv");
  ASSERT_EQ(seven.size(), committed.size());
  std::size_t differentCycles = 0;
  for (std::size_t i = 0; i < seven.size(); ++i) {
    for (const char* design : {"well", "target", "sample", "type", "nominal_copies"})
      EXPECT_EQ(seven[i].at(design), committed[i].at(design)) << design << " of row " << i;
    differentCycles += seven[i].at("half_cycle") != committed[i].at("half_cycle");
  }
  EXPECT_GT(differentCycles, 70u);
}

TEST(ExamplePlate, GeneratorRefusesBadCommandLines) {
  const fs::path out = scratch("bad");
  const fs::path log = out / "log";
  EXPECT_EQ(generate("", log), 2);
  EXPECT_NE(readFile(log).find("usage"), std::string::npos);
  for (const char* args : {"--seed", "--seed abc", "--seed -1", "--seed 12x", "--seed 1e3",
                           "--seed 99999999999999999999", "--frobnicate dir", "dir1 dir2"}) {
    EXPECT_EQ(generate(std::string(args) + " '" + (out / "x").string() + "'", log), 2) << args;
    EXPECT_FALSE(fs::exists(out / "x" / "example_plate.rdml")) << args;
  }
  // An output folder that cannot be made is a clear failure, not a crash.
  std::ofstream(out / "file") << "not a folder";
  EXPECT_EQ(generate("'" + (out / "file" / "sub").string() + "'", log), 1);
  EXPECT_NE(readFile(log).find("cannot"), std::string::npos) << readFile(log);
}

struct Reading {
  double x, y;
};

struct ExampleReaction {
  std::string sample, target;
  std::vector<Reading> amplification, melting;
};

double number(pugi::xml_node node) {
  return std::stod(node.text().get());
}

class ExampleRdml : public ::testing::Test {
 protected:
  void SetUp() override {
    const pugi::xml_parse_result parsed =
        doc_.load_file((kCommitted / "example_plate.rdml").c_str());
    ASSERT_TRUE(parsed) << parsed.description();
    rdml_ = doc_.child("rdml");
    ASSERT_TRUE(rdml_);
    for (pugi::xml_node react : rdml_.child("experiment").child("run").children("react")) {
      ExampleReaction r;
      r.sample = react.child("sample").attribute("id").value();
      pugi::xml_node data = react.child("data");
      r.target = data.child("tar").attribute("id").value();
      for (pugi::xml_node p : data.children("adp"))
        r.amplification.push_back({number(p.child("cyc")), number(p.child("fluor"))});
      for (pugi::xml_node p : data.children("mdp"))
        r.melting.push_back({number(p.child("tmp")), number(p.child("fluor"))});
      ids_.push_back(react.attribute("id").as_int());
      reactions_.push_back(r);
    }
  }

  pugi::xml_document doc_;
  pugi::xml_node rdml_;
  std::vector<int> ids_;
  std::vector<ExampleReaction> reactions_;
};

TEST_F(ExampleRdml, HasTheDocumentedStructure) {
  EXPECT_STREQ(rdml_.attribute("version").value(), "1.4");
  EXPECT_STREQ(rdml_.attribute("xmlns").value(), "http://www.rdml.org");
  EXPECT_TRUE(rdml_.child("id").child("publisher"));
  const std::string dye = rdml_.child("dye").attribute("id").value();
  EXPECT_FALSE(dye.empty());

  std::map<std::string, std::string> sampleTypes;
  std::map<double, std::string> standards;  // quantity -> sample
  for (pugi::xml_node s : rdml_.children("sample")) {
    sampleTypes[s.attribute("id").value()] = s.child_value("type");
    if (std::string(s.child_value("type")) == "std") {
      EXPECT_STREQ(s.child("quantity").child_value("unit"), "cop");
      standards[number(s.child("quantity").child("value"))] = s.attribute("id").value();
    }
  }
  EXPECT_EQ(standards.size(), 6u);
  double expected = 10;
  for (const auto& standard : standards) {
    EXPECT_DOUBLE_EQ(standard.first, expected);
    expected *= 10;
  }

  std::map<std::string, std::string> targetTypes;
  for (pugi::xml_node t : rdml_.children("target")) {
    targetTypes[t.attribute("id").value()] = t.child_value("type");
    EXPECT_EQ(t.child("dyeId").attribute("id").value(), dye);
  }
  const std::map<std::string, std::string> expectedTargets{
      {"IL6", "toi"}, {"TNF", "toi"}, {"GAPDH", "ref"}, {"ACTB", "ref"}};
  EXPECT_EQ(targetTypes, expectedTargets);

  pugi::xml_node format = rdml_.child("experiment").child("run").child("pcrFormat");
  EXPECT_STREQ(format.child_value("rows"), "8");
  EXPECT_STREQ(format.child_value("columns"), "12");
  EXPECT_STREQ(format.child_value("rowLabel"), "ABC");
  EXPECT_STREQ(format.child_value("columnLabel"), "123");

  ASSERT_EQ(reactions_.size(), 96u);
  std::map<std::string, int> perType;
  for (std::size_t i = 0; i < reactions_.size(); ++i) {
    const ExampleReaction& r = reactions_[i];
    EXPECT_EQ(ids_[i], static_cast<int>(i) + 1);
    ASSERT_EQ(sampleTypes.count(r.sample), 1u) << r.sample;
    ASSERT_EQ(targetTypes.count(r.target), 1u) << r.target;
    ++perType[sampleTypes[r.sample]];
    ASSERT_EQ(r.amplification.size(), 40u) << "react " << ids_[i];
    for (std::size_t c = 0; c < 40; ++c)
      EXPECT_EQ(r.amplification[c].x, static_cast<double>(c + 1));
  }
  EXPECT_EQ(perType["std"], 36);
  EXPECT_EQ(perType["ntc"], 12);
  EXPECT_EQ(perType["unkn"], 48);
}

TEST_F(ExampleRdml, MeltingReadingsStartFallingThenRiseUnevenlyTo95) {
  ASSERT_FALSE(reactions_.empty());
  const std::vector<Reading>& first = reactions_.front().melting;
  ASSERT_GE(first.size(), 130u);
  ASSERT_LE(first.size(), 150u);
  // The block settles: the first readings fall, the rest rise.
  EXPECT_NEAR(first[0].x, 65.0, 0.2);
  EXPECT_LT(first[1].x, first[0].x);
  EXPECT_LT(first[2].x, first[1].x);
  std::set<double> steps;
  for (std::size_t k = 3; k < first.size(); ++k) {
    const double step = first[k].x - first[k - 1].x;
    EXPECT_GT(step, 0.1) << "reading " << k;
    EXPECT_LT(step, 0.4) << "reading " << k;
    steps.insert(std::round(step * 100));
  }
  EXPECT_GT(steps.size(), 5u) << "steps should be uneven";
  EXPECT_LE(first.back().x, 95.0);
  EXPECT_GT(first.back().x, 94.5);
  // Every well is read at the block's temperatures.
  for (const ExampleReaction& r : reactions_) {
    ASSERT_EQ(r.melting.size(), first.size());
    for (std::size_t k = 0; k < first.size(); ++k) EXPECT_EQ(r.melting[k].x, first[k].x);
  }
}

// Splits the lines of a comma-separated file without quoting into cells,
// leaving out comment lines; a blank line gives an empty row.
std::vector<std::vector<std::string>> readCells(const fs::path& path) {
  std::ifstream in(path);
  std::vector<std::vector<std::string>> rows;
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line[0] == '#') continue;
    std::vector<std::string> cells;
    std::stringstream split(line);
    std::string cell;
    while (std::getline(split, cell, ',')) cells.push_back(cell);
    rows.push_back(cells);
  }
  return rows;
}

TEST_F(ExampleRdml, TableHoldsTheSameReadingsAsTheRdml) {
  const auto rows = readCells(kCommitted / "example_plate.csv");
  // Header, 96 wells, a blank line, header, 96 wells.
  ASSERT_EQ(rows.size(), 2 * (reactions_.size() + 1) + 1);
  const std::vector<std::string> identity{"well", "target", "sample", "type", "quantity (cop)"};
  const auto& cycleHeader = rows[0];
  const auto& meltHeader = rows[reactions_.size() + 2];
  EXPECT_TRUE(rows[reactions_.size() + 1].empty());
  ASSERT_EQ(cycleHeader.size(), 5 + 40u);
  ASSERT_EQ(meltHeader.size(), 5 + reactions_.front().melting.size());
  for (std::size_t k = 0; k < 5; ++k) {
    EXPECT_EQ(cycleHeader[k], identity[k]);
    EXPECT_EQ(meltHeader[k], identity[k]);
  }
  for (std::size_t c = 0; c < 40; ++c) EXPECT_EQ(cycleHeader[5 + c], std::to_string(c + 1));
  for (std::size_t k = 0; k < reactions_.front().melting.size(); ++k) {
    const std::string& header = meltHeader[5 + k];
    EXPECT_EQ(header.substr(header.size() - 4), kCelsius) << header;
    EXPECT_EQ(std::stod(header), reactions_.front().melting[k].x) << header;
  }

  for (std::size_t i = 0; i < reactions_.size(); ++i) {
    const ExampleReaction& r = reactions_[i];
    const std::string well =
        std::string(1, static_cast<char>('A' + i / 12)) + std::to_string(i % 12 + 1);
    for (const auto* row : {&rows[1 + i], &rows[reactions_.size() + 3 + i]}) {
      ASSERT_GE(row->size(), 5u);
      EXPECT_EQ((*row)[0], well);
      EXPECT_EQ((*row)[1], r.target);
      EXPECT_EQ((*row)[2], r.sample);
    }
    const auto& amplification = rows[1 + i];
    const auto& melting = rows[reactions_.size() + 3 + i];
    ASSERT_EQ(amplification.size(), 5 + r.amplification.size()) << well;
    ASSERT_EQ(melting.size(), 5 + r.melting.size()) << well;
    for (std::size_t c = 0; c < r.amplification.size(); ++c)
      EXPECT_EQ(std::stod(amplification[5 + c]), r.amplification[c].y)
          << well << " cycle " << c + 1;
    for (std::size_t k = 0; k < r.melting.size(); ++k)
      EXPECT_EQ(std::stod(melting[5 + k]), r.melting[k].y) << well << " reading " << k + 1;
  }
}

// Crossing of `level` by the curve minus the true background line,
// interpolated between cycles on a log scale, as the signal grows
// exponentially there (NaN when it never crosses).
double crossing(const std::vector<Reading>& curve, double background, double drift, double level) {
  double previous = 0;
  for (std::size_t i = 0; i < curve.size(); ++i) {
    const double y = curve[i].y - background - drift * (curve[i].x - 1);
    if (i > 0 && y >= level && previous < level) {
      const double fraction = previous > 0 ? std::log(level / previous) / std::log(y / previous)
                                           : (level - previous) / (y - previous);
      return curve[i - 1].x + fraction;
    }
    previous = y;
  }
  return std::nan("");
}

double optional(const std::string& field) {
  return field.empty() ? std::nan("") : std::stod(field);
}

// Temperature of the steepest fall of a melting curve, after the falling start.
double steepestFall(const std::vector<Reading>& melt) {
  double best = -1, where = std::nan("");
  for (std::size_t k = 4; k < melt.size(); ++k) {
    const double slope = (melt[k - 1].y - melt[k].y) / (melt[k].x - melt[k - 1].x);
    if (slope > best) best = slope, where = (melt[k].x + melt[k - 1].x) / 2;
  }
  return where;
}

TEST_F(ExampleRdml, CurvesAgreeWithTheTruthTable) {
  const auto truth = readTruth(kCommitted / "example_plate_truth.csv");
  ASSERT_EQ(truth.size(), reactions_.size());
  std::map<std::string, std::vector<std::pair<double, double>>> standardCurves;  // log10 q, Ct
  std::map<std::string, std::vector<double>> replicates;                         // well group
  double flatSquares = 0;  // residuals of wells without product around their background
  std::size_t flatCount = 0;
  for (std::size_t i = 0; i < truth.size(); ++i) {
    const auto& t = truth[i];
    const ExampleReaction& r = reactions_[i];
    SCOPED_TRACE(t.at("well"));
    ASSERT_EQ(t.at("target"), r.target);
    ASSERT_EQ(t.at("sample"), r.sample);
    const double background = std::stod(t.at("background"));
    const double drift = std::stod(t.at("drift"));
    // Raw instrument units: a background of thousands.
    EXPECT_GT(background, 1500);
    EXPECT_LT(background, 6500);

    const double ct = crossing(r.amplification, background, drift, 1000);
    const double trueCt = optional(t.at("ct_1000"));
    if (std::isnan(optional(t.at("half_cycle")))) {
      // No product: the curve stays within the noise of its background line.
      EXPECT_TRUE(std::isnan(ct));
      double largest = 0;
      for (const Reading& p : r.amplification) {
        const double residual = p.y - background - drift * (p.x - 1);
        largest = std::max(largest, std::abs(residual));
        if (p.x >= 10) flatSquares += residual * residual, ++flatCount;  // settled
      }
      EXPECT_LT(largest, 250);
    } else if (!std::isnan(trueCt)) {
      EXPECT_NEAR(ct, trueCt, 0.1);  // noise moves it by a few hundredths
      const double rise = r.amplification.back().y - background - drift * 39;
      EXPECT_GT(rise, 1000);
      if (t.at("type") == "std")
        standardCurves[r.target].push_back({std::log10(std::stod(t.at("nominal_copies"))), ct});
      if (t.at("type") == "unkn") replicates[r.target + "/" + r.sample].push_back(ct);
    }

    // The melting curve falls most steeply at the true melting temperature of
    // what the well made.
    const double tm = optional(t.at("tm"));
    const double dimerTm = optional(t.at("dimer_tm"));
    if (!std::isnan(tm) && std::stod(t.at("copies")) >= 1000) {
      EXPECT_NEAR(steepestFall(r.melting), tm, 0.5);
    } else if (std::isnan(tm) && !std::isnan(dimerTm)) {
      EXPECT_NEAR(steepestFall(r.melting), dimerTm, 0.8);
    }
  }

  // An instrument's noise: about 10 units on a background of a few thousand.
  ASSERT_GT(flatCount, 0u);
  const double noise = std::sqrt(flatSquares / static_cast<double>(flatCount));
  EXPECT_GT(noise, 4);
  EXPECT_LT(noise, 30);

  // A 10-fold dilution delays the curve by 1 / log10(1 + E) cycles.
  const std::map<std::string, double> efficiency{{"IL6", 0.95}, {"TNF", 0.91}};
  ASSERT_EQ(standardCurves.size(), 2u);
  for (const auto& [target, points] : standardCurves) {
    ASSERT_GE(points.size(), 15u) << target;
    double mx = 0, my = 0;
    for (const auto& p : points) mx += p.first, my += p.second;
    mx /= static_cast<double>(points.size());
    my /= static_cast<double>(points.size());
    double sxy = 0, sxx = 0;
    for (const auto& p : points) {
      sxy += (p.first - mx) * (p.second - my);
      sxx += (p.first - mx) * (p.first - mx);
    }
    const double slope = sxy / sxx;
    EXPECT_NEAR(std::pow(10, -1 / slope) - 1, efficiency.at(target), 0.05) << target;
  }

  // Replicates differ by pipetting noise: a standard deviation of about 0.1 cycle.
  ASSERT_EQ(replicates.size(), 16u);
  double pooled = 0;
  for (const auto& [group, cts] : replicates) {
    ASSERT_EQ(cts.size(), 3u) << group;
    const double m = (cts[0] + cts[1] + cts[2]) / 3;
    for (double c : cts) pooled += (c - m) * (c - m);
  }
  const double sd = std::sqrt(pooled / (2.0 * static_cast<double>(replicates.size())));
  EXPECT_GT(sd, 0.05);
  EXPECT_LT(sd, 0.25);
}

}  // namespace
}  // namespace corvel::tool

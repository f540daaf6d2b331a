// The corvel command end to end: the command line, the outputs of the
// bundled example plate checked against the values it was simulated with,
// real plates from the shared data folder, and files that cannot be read.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "browser.h"

namespace corvel::tool {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

struct ToolRun {
  int status = -1;
  std::string out, err;
};

std::string slurp(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A fresh scratch folder for one test.
fs::path scratch(const std::string& name) {
  const fs::path dir = fs::path(CORVEL_TEST_OUTPUT) / "cli" / name;
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

std::string quoted(const std::string& s) {
  std::string q = "'";
  for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

// Runs the tool with the arguments; stdout and stderr go to files of dir.
ToolRun corvel(const std::vector<std::string>& args, const fs::path& dir) {
  std::string command = quoted(CORVEL_TOOL);
  for (const std::string& a : args) command += " " + quoted(a);
  command +=
      " >" + quoted((dir / "stdout.txt").string()) + " 2>" + quoted((dir / "stderr.txt").string());
  const int raw = std::system(command.c_str());
  ToolRun r;
  r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  r.out = slurp(dir / "stdout.txt");
  r.err = slurp(dir / "stderr.txt");
  return r;
}

fs::path dataFile(const std::string& name) {
  const char* env = std::getenv("CORVEL_DATA_DIR");
  return fs::path(env && *env ? env : CORVEL_SOURCE_DATA_DIR) / name;
}

#define REQUIRE_DATA(path)                                                             \
  if (!fs::exists(path)) {                                                             \
    GTEST_SKIP() << (path) << " not found; the real-data checks need the shared data " \
                 << "folder (set CORVEL_DATA_DIR)";                                    \
  }

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  const std::size_t h = v.size() / 2;
  return v.size() % 2 ? v[h] : 0.5 * (v[h - 1] + v[h]);
}

// The Tm of a well: its tallest fitted peak, or NaN.
double tmOf(const json& well) {
  const json& peaks = well["melt"]["peaks"];
  return peaks.empty() || peaks[0]["tm"].is_null() ? NAN : peaks[0]["tm"].get<double>();
}

// Renders a report in Chromium and expects it drawn without any error; the
// screenshot stays beside the report for a reader to look at.
void expectReportRenders(const fs::path& report) {
  if (test::findChromium().empty()) {
    std::cout << "[ skipped  ] Chromium not found; the report was not rendered\n";
    return;
  }
  test::RenderOptions options;
  options.screenshot = report.parent_path() / "report.png";
  const test::RenderResult r = test::renderHtml(report, options);
  EXPECT_TRUE(r.finished) << r.log;
  EXPECT_EQ(test::bodyAttribute(r.dom, "data-rendered"), "ok")
      << test::bodyAttribute(r.dom, "data-errors");
  EXPECT_TRUE(r.consoleErrors.empty()) << r.consoleErrors.front();
  ASSERT_FALSE(r.screenshot.empty()) << r.log;
  std::cout << "[ screenshot ] " << r.screenshot.string() << std::endl;
}

TEST(CommandLine, VersionHelpAndUsageErrors) {
  const fs::path dir = scratch("usage");
  ToolRun r = corvel({"--version"}, dir);
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("CorvelAlg library 1.1.2"), std::string::npos) << r.out;

  r = corvel({"analyze", "--help"}, dir);
  EXPECT_EQ(r.status, 0);
  for (const char* option : {"--out", "--threshold", "--reference", "--calibrator", "--format",
                             "--error-bar", "--confidence", "--peak-width", "--jobs", "--quiet"})
    EXPECT_NE(r.out.find(option), std::string::npos) << option;

  r = corvel({}, dir);
  EXPECT_EQ(r.status, 2);
  r = corvel({"analyze"}, dir);
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("PLATE"), std::string::npos) << r.err;
  r = corvel({"analyze", (dir / "missing.rdml").string()}, dir);
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("missing.rdml"), std::string::npos) << r.err;
  r = corvel({"analyze", "--format", "pdf", (dir / "stdout.txt").string()}, dir);
  EXPECT_EQ(r.status, 2);
  r = corvel(
      {"analyze", "--min-peak-fwhm", "5", "--max-peak-fwhm", "2", (dir / "stdout.txt").string()},
      dir);
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("--min-peak-fwhm"), std::string::npos) << r.err;
  for (const char* scale : {"3", "0", "-10", "1e13", "ten"}) {
    r = corvel({"analyze", "--scale", scale, (dir / "stdout.txt").string()}, dir);
    EXPECT_EQ(r.status, 2) << scale;
    EXPECT_NE(r.err.find("--scale"), std::string::npos) << r.err;
  }
  r = corvel({"analyze", "--tm-window", "85,80", (dir / "stdout.txt").string()}, dir);
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("--tm-window"), std::string::npos) << r.err;
  r = corvel({"analyze", "--cq-method", "second-derivative", (dir / "stdout.txt").string()}, dir);
  EXPECT_EQ(r.status, 2);
}

// The example plate, from its RDML and from its CSV form in one call: the
// two give the same numbers, and they agree with the simulation's truth.
class ExampleEndToEnd : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    // CTest runs each test in a process of its own (the filter names it),
    // several at a time: each gets its own folder.
    std::string name = ::testing::GTEST_FLAG(filter);
    for (char& c : name)
      if (!std::isalnum(static_cast<unsigned char>(c))) c = '-';
    dir_ = scratch("example-" + name);
    const fs::path examples = CORVEL_EXAMPLE_DIR;
    run_ = corvel({"analyze", (examples / "example_plate.rdml").string(),
                   (examples / "example_plate.csv").string(), "--out", (dir_ / "out").string(),
                   "-r", "GAPDH", "-r", "ACTB", "-c", "control"},
                  dir_);
  }
  static json results(const std::string& folder) {
    return json::parse(slurp(dir_ / "out" / folder / "results.json"));
  }
  static inline fs::path dir_;
  static inline ToolRun run_;
};

TEST_F(ExampleEndToEnd, WritesEveryOutputAndSaysWhere) {
  ASSERT_EQ(run_.status, 0) << run_.err;
  for (const char* folder : {"example_plate", "example_plate-2"})
    for (const char* file : {"wells.csv", "standard_curves.csv", "quantities.csv",
                             "melting_peaks.csv", "results.json", "report.html"})
      EXPECT_TRUE(fs::is_regular_file(dir_ / "out" / folder / file)) << folder << "/" << file;
  EXPECT_NE(run_.out.find("report: " +
                          fs::absolute(dir_ / "out" / "example_plate" / "report.html").string()),
            std::string::npos)
      << run_.out;
  EXPECT_NE(run_.out.find("standard curve IL6"), std::string::npos);
  EXPECT_TRUE(run_.err.empty()) << run_.err;  // stderr is no terminal: no progress bar
}

TEST_F(ExampleEndToEnd, RdmlAndCsvGiveTheSameNumbers) {
  ASSERT_EQ(run_.status, 0) << run_.err;
  const json a = results("example_plate"), b = results("example_plate-2");
  ASSERT_EQ(a["wells"].size(), 96u);
  ASSERT_EQ(b["wells"].size(), 96u);
  std::map<std::string, const json*> byWell;
  for (const json& w : b["wells"]) byWell[w["well"].get<std::string>()] = &w;
  for (const json& w : a["wells"]) {
    const json& other = *byWell.at(w["well"].get<std::string>());
    EXPECT_EQ(w["ctLinear"], other["ctLinear"]) << w["well"];
    EXPECT_EQ(w["ctSigmoid"], other["ctSigmoid"]) << w["well"];
    EXPECT_EQ(w["melt"]["peaks"], other["melt"]["peaks"]) << w["well"];
  }
  EXPECT_EQ(a["standardCurves"], b["standardCurves"].size() == a["standardCurves"].size()
                                     ? a["standardCurves"]
                                     : b["standardCurves"]);
  EXPECT_EQ(a["relativeQuantities"].size(), b["relativeQuantities"].size());
}

TEST_F(ExampleEndToEnd, ResultsAgreeWithTheSimulation) {
  ASSERT_EQ(run_.status, 0) << run_.err;
  const json r = results("example_plate");

  // Truth per well: the efficiency of its target and the product's Tm.
  std::map<std::string, std::map<std::string, std::string>> truth;
  std::istringstream lines(slurp(fs::path(CORVEL_EXAMPLE_DIR) / "example_plate_truth.csv"));
  std::string line;
  std::vector<std::string> header;
  while (std::getline(lines, line)) {
    std::vector<std::string> cells;
    std::stringstream cellStream(line);
    for (std::string cell; std::getline(cellStream, cell, ',');) cells.push_back(cell);
    if (header.empty()) {
      header = cells;
      continue;
    }
    for (std::size_t i = 0; i < cells.size() && i < header.size(); ++i)
      truth[cells[0]][header[i]] = cells[i];
  }
  ASSERT_EQ(truth.size(), 96u);

  // Standard curves: the simulated efficiency within 6 points.
  ASSERT_EQ(r["standardCurves"].size(), 2u);
  for (const json& s : r["standardCurves"]) {
    const std::string target = s["target"];
    const double expected = std::stod(truth[target == "IL6" ? "A1" : "C1"]["efficiency"]);
    EXPECT_NEAR(s["efficiency"].get<double>(), expected, 0.06) << target;
    EXPECT_GT(s["rSquared"].get<double>(), 0.98) << target;
  }

  // Melting: every well with a simulated product has its Tm within 0.3 °C
  // (the derivative's peak lies slightly below the model's Tm), and the
  // replicates of one product agree within 0.3 °C.
  std::size_t products = 0;
  for (const json& w : r["wells"]) {
    const auto& t = truth[w["well"].get<std::string>()];
    if (t.at("tm").empty() || std::stod(t.at("dimer_share")) > 0.5) continue;
    ++products;
    EXPECT_NEAR(tmOf(w), std::stod(t.at("tm")), 0.3) << w["well"];
  }
  EXPECT_GT(products, 60u);

  // Relative quantities: the calibrator is 1 for both genes of interest,
  // every (gene, sample) pair has its error bar around its value, and the
  // values come within 25 % of the fold changes the plate was simulated with
  // (examples/data/README.md): the reference genes undo each sample's loading.
  const std::map<std::string, double> folds{{"IL6 control", 1.0},    {"IL6 treated 1", 6.0},
                                            {"IL6 treated 2", 12.0}, {"IL6 treated 3", 0.5},
                                            {"TNF control", 1.0},    {"TNF treated 1", 2.5},
                                            {"TNF treated 2", 0.3},  {"TNF treated 3", 1.0}};
  ASSERT_EQ(r["relativeQuantities"].size(), folds.size());
  for (const json& q : r["relativeQuantities"]) {
    const std::string key = q["target"].get<std::string>() + " " + q["sample"].get<std::string>();
    ASSERT_FALSE(q["rq"].is_null()) << key << ": " << q["note"];
    const double rq = q["rq"];
    if (q["sample"] == "control") {
      EXPECT_EQ(rq, 1.0);
    }
    EXPECT_LT(q["lower"].get<double>(), rq) << key;
    EXPECT_GT(q["upper"].get<double>(), rq) << key;
    EXPECT_LT(std::fabs(std::log(rq / folds.at(key))), std::log(1.25)) << key << ": " << rq;
  }

  // The no-template controls without primer dimer have no Ct, and say why.
  for (const json& w : r["wells"]) {
    if (w["sampleType"] != "ntc" || !truth[w["well"].get<std::string>()]["half_cycle"].empty())
      continue;
    EXPECT_TRUE(w["ctLinear"].is_null()) << w["well"];
    EXPECT_FALSE(w["notes"].empty()) << w["well"];
  }
}

TEST_F(ExampleEndToEnd, ReportRendersInChromium) {
  ASSERT_EQ(run_.status, 0) << run_.err;
  expectReportRenders(dir_ / "out" / "example_plate" / "report.html");
}

TEST(RealPlates, QuantificationMethodsEndToEnd) {
  const fs::path file = dataFile("quantification_methods.rdml");
  REQUIRE_DATA(file);
  const fs::path dir = scratch("quantification_methods");
  const ToolRun run = corvel({"analyze", file.string(), "--out", dir.string()}, dir);
  ASSERT_EQ(run.status, 0) << run.err;
  const fs::path out = dir / "quantification_methods";
  const json r = json::parse(slurp(out / "results.json"));
  ASSERT_EQ(r["wells"].size(), 180u);
  ASSERT_EQ(r["groups"].size(), 20u);

  // Twenty dilution series: each gives a standard curve with a falling
  // slope; their efficiencies centre on 85 to 100 %, none outside 60 to 130 %.
  ASSERT_EQ(r["standardCurves"].size(), 20u);
  std::vector<double> efficiencies;
  for (const json& s : r["standardCurves"]) {
    ASSERT_FALSE(s["efficiency"].is_null()) << s["target"] << ": " << s["note"];
    const double e = s["efficiency"];
    EXPECT_GT(e, 0.6) << s["target"];
    EXPECT_LT(e, 1.3) << s["target"];
    efficiencies.push_back(e);
  }
  EXPECT_GT(median(efficiencies), 0.85);
  EXPECT_LT(median(efficiencies), 1.0);

  // Replicate wells (same target and sample) melt at the same temperature.
  std::map<std::string, std::vector<double>> tms;
  for (const json& w : r["wells"]) {
    const double tm = tmOf(w);
    if (std::isfinite(tm))
      tms[w["target"].get<std::string>() + " / " + w["sample"].get<std::string>()].push_back(tm);
  }
  // Genomic DNA with some primer pairs gives several products, whose
  // tallest may differ from well to well; nine in ten replicate groups must
  // agree to 0.5 °C.
  std::size_t groups = 0, agreeing = 0;
  for (auto& [key, values] : tms) {
    if (values.size() < 2) continue;
    ++groups;
    const double centre = median(values);
    std::size_t close = 0;
    for (double v : values) close += std::fabs(v - centre) <= 0.5;
    if (close == values.size())
      ++agreeing;
    else
      std::cout << "  replicates differ: " << key << " " << ::testing::PrintToString(values)
                << "\n";
  }
  EXPECT_GT(groups, 30u);
  EXPECT_GE(10 * agreeing, 9 * groups) << agreeing << " of " << groups;
  expectReportRenders(out / "report.html");
}

TEST(RealPlates, MalformedPlateIsAnalysedForItsGoodWells) {
  const fs::path file = dataFile("matrix_gaps.rdml");
  REQUIRE_DATA(file);
  const fs::path dir = scratch("matrix_gaps");
  const ToolRun run = corvel({"analyze", file.string(), "--out", dir.string()}, dir);
  ASSERT_EQ(run.status, 0) << run.err;
  const json r = json::parse(slurp(dir / "matrix_gaps" / "results.json"));
  std::size_t analysed = 0, refused = 0;
  for (const json& w : r["wells"]) {
    if (w["analyzed"].get<bool>()) {
      ++analysed;
    } else {
      ++refused;
      EXPECT_FALSE(w["skipReason"].get<std::string>().empty()) << w["well"];
    }
  }
  for (const json& s : r["skippedReactions"]) EXPECT_FALSE(s["reason"].get<std::string>().empty());
  EXPECT_GT(analysed, 40u);
  EXPECT_GT(refused, 10u);
  EXPECT_EQ(r["wells"].size() + r["skippedReactions"].size(), 72u);
  EXPECT_NE(run.out.find("not analysed"), std::string::npos) << run.out;
}

// A file that cannot be read fails alone, named on stderr; the plates
// beside it are still analysed.
TEST(Errors, UnreadableFilesFailAloneWithTheirName) {
  const fs::path dir = scratch("errors");
  const std::string rdml = slurp(fs::path(CORVEL_EXAMPLE_DIR) / "example_plate.rdml");
  const auto write = [&](const char* name, const std::string& bytes) {
    std::ofstream(dir / name, std::ios::binary) << bytes;
    return (dir / name).string();
  };
  const std::vector<std::string> bad{
      write("empty.rdml", ""),
      write("truncated.rdml", rdml.substr(0, rdml.size() / 2)),
      write("notes.txt", "Plate notes: the run went fine.\n"),
      write("broken.zip.rdml", std::string("PK\x03\x04", 4) + "not really a zip archive"),
  };
  std::vector<std::string> args{"analyze"};
  args.insert(args.end(), bad.begin(), bad.end());
  args.push_back((fs::path(CORVEL_EXAMPLE_DIR) / "example_plate.rdml").string());
  args.insert(args.end(), {"--out", (dir / "out").string(), "-f", "csv"});
  const ToolRun run = corvel(args, dir);
  EXPECT_EQ(run.status, 1);
  for (const std::string& b : bad) {
    EXPECT_NE(run.err.find("corvel: " + b), std::string::npos) << b << "\n" << run.err;
    EXPECT_FALSE(fs::exists(dir / "out" / fs::path(b).stem() / "wells.csv")) << b;
  }
  EXPECT_TRUE(fs::is_regular_file(dir / "out" / "example_plate" / "wells.csv"));
  EXPECT_NE(run.out.find("example_plate.rdml (RDML 1.4)"), std::string::npos) << run.out;
}

TEST(Options, FormatsThresholdAndErrorBars) {
  const fs::path dir = scratch("options");
  const std::string plate = (fs::path(CORVEL_EXAMPLE_DIR) / "example_plate.rdml").string();
  ToolRun run =
      corvel({"analyze", plate, "--out", dir.string(), "-f", "json", "--threshold", "5000", "-r",
              "GAPDH", "-c", "control", "--error-bar", "sd", "--sd-multiple", "2", "--no-melting"},
             dir);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(fs::is_regular_file(dir / "example_plate" / "results.json"));
  EXPECT_FALSE(fs::exists(dir / "example_plate" / "wells.csv"));
  EXPECT_FALSE(fs::exists(dir / "example_plate" / "report.html"));
  const json r = json::parse(slurp(dir / "example_plate" / "results.json"));
  for (const json& g : r["groups"]) {
    EXPECT_EQ(g["threshold"].get<double>(), 5000.0);
    EXPECT_TRUE(g["thresholdFromUser"].get<bool>());
  }
  for (const json& q : r["relativeQuantities"]) {
    // A 2 SD bar around a Ct difference: 2^(±2 sd) as a factor.
    const double rq = q["rq"], sd = q["sd"];
    EXPECT_NEAR(q["upper"].get<double>() / rq, std::exp2(2 * sd), 1e-9) << q["sample"];
  }
  for (const json& w : r["wells"]) EXPECT_FALSE(w["melt"]["analyzed"].get<bool>());
}

}  // namespace
}  // namespace corvel::tool

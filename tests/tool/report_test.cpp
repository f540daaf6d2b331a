// The JSON document and the HTML report: what they hold, that numbers and
// names survive exactly, that the report is self-contained and safe against
// hostile names, and that it renders without a single error in a real
// browser (screenshots go to the test output folder for a person to look at).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "browser.h"
#include "html_report.h"
#include "json_writer.h"

namespace corvel::tool {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

const char* const kHostileWell = "<script>alert(1)</script>";
const char* const kHostileSample =
    "\"q\" & 'a' </script><script>document.body.dataset.pwned='1'</script><!--";

constexpr double kThreshold = 1500.0;

double logistic(double cycle, double top, double mid, double rate) {
  return top / (1.0 + std::exp(-(cycle - mid) * rate));
}

double gaussian(double t, double centre, double height, double fwhm) {
  const double sd = fwhm / 2.354820045;
  return height * std::exp(-0.5 * (t - centre) * (t - centre) / (sd * sd));
}

// A well with a logistic amplification curve over a sloping baseline, as
// the analysis would leave it.
WellResult amplifiedWell(std::string well, std::string target, std::string sample, std::string type,
                         double mid, std::size_t cycles = 40) {
  WellResult w;
  w.reaction.run = "Run 1";
  w.reaction.well = std::move(well);
  w.reaction.target = std::move(target);
  w.reaction.sample = std::move(sample);
  w.reaction.sampleType = std::move(type);
  w.analyzed = true;
  const double top = 9000.0, rate = 0.55, base = 1200.0;
  for (std::size_t i = 0; i < cycles; ++i) {
    const double c = static_cast<double>(i + 1);
    const double noise = 12.0 * std::sin(3.7 * c + mid);
    const double fit = logistic(c, top, mid, rate);
    w.reaction.cycles.push_back(c);
    w.reaction.fluorescence.push_back(base + 2.0 * c + fit + noise);
    w.curve.push_back(base + 2.0 * c + fit + noise);
    w.processed.push_back(fit + noise);
    w.sigmoidFit.push_back(fit);
  }
  // Where the fit crosses the threshold, and the library's sigmoid Ct.
  w.ctLinear = mid - std::log(top / kThreshold - 1.0) / rate;
  w.ctSigmoid = mid - std::log(2.0 + std::sqrt(3.0)) / rate - 1.5;
  w.baselineStart = 3;
  w.baselineEnd = 12;
  w.baselineSlope = 2.0;
  w.baselineNoise = 8.4;
  w.maxValue = top + base;
  w.stepRise = 1234.5;
  w.maxSlope = 1240.0;
  w.sigmoidTop = top;
  w.sigmoidMid = mid;
  w.sigmoidRate = rate;
  return w;
}

// Melting readings and the library's derivative with its fitted peaks.
void addMelt(WellResult& w, std::vector<MeltPeak> peaks, std::size_t points = 301) {
  for (std::size_t i = 0; i < points; ++i) {
    const double t = 65.0 + 30.0 * static_cast<double>(i) / static_cast<double>(points - 1);
    double fitted = 0;
    for (const MeltPeak& p : peaks) fitted += gaussian(t, p.tm, p.height, p.fwhm);
    const double noisy = fitted + 0.01 * std::sin(5.0 * t);
    if (i % 10 == 0) {
      w.reaction.temperatures.push_back(t);
      w.reaction.meltFluorescence.push_back(5000.0 - 40.0 * t);
    }
    w.melt.temperatures.push_back(t);
    w.melt.derivative.push_back(800.0 * noisy);
    w.melt.normalized.push_back(noisy);
    w.melt.fitted.push_back(fitted);
  }
  w.melt.analyzed = true;
  w.melt.gridStep = 0.1;
  w.melt.readingsUsed = w.reaction.temperatures.size();
  w.melt.startPeaks = peaks;
  w.melt.peaks = std::move(peaks);
  w.melt.solveStatus = 0;
}

// Two targets, standards, an NTC without a Ct, a well that could not be
// analysed, melting curves, a skipped reaction, a warning and names that
// try to break out of the page.
PlateResult smallPlate() {
  PlateResult plate;
  plate.path = "/data/plates/assay \"A\" <1>.rdml";
  plate.format = "RDML 1.4";
  plate.libraryVersion = "1.1.2";
  plate.options.referenceGenes = {"GAPDH"};
  plate.options.calibrator = "control";
  plate.runs = {{"Run 1", "LightCycler 480", 8, 12, "background subtracted"}};
  plate.scale = 100.0;
  plate.scaleReason = "plateau about 90: normalized units";

  const char* samples[] = {"control", "control", "treated", "treated"};
  for (int i = 0; i < 4; ++i) {
    plate.wells.push_back(
        amplifiedWell("A" + std::to_string(i + 1), "GAPDH", samples[i], "unkn", 20.0 + 0.3 * i));
    // The last well also has a primer-dimer peak.
    if (i < 3) {
      addMelt(plate.wells.back(), {{84.2 + 0.05 * i, 1.0, 2.1}});
    } else {
      addMelt(plate.wells.back(), {{84.3, 1.0, 2.0}, {76.1, 0.25, 1.8}});
    }
  }
  const double quantities[] = {1e5, 1e4, 1e3};
  for (int i = 0; i < 3; ++i) {
    WellResult w = amplifiedWell("B" + std::to_string(i + 1), "IL6", "std " + std::to_string(i + 1),
                                 "std", 22.0 + 3.32 * i);
    w.reaction.quantity = quantities[i];
    w.reaction.quantityUnit = "cop";
    w.quantity = quantities[i] * 1.01;
    plate.wells.push_back(std::move(w));
  }
  plate.wells.push_back(amplifiedWell("B4", "IL6", "control", "unkn", 27.0));
  plate.wells.back().quantity = 812.5;
  plate.wells.push_back(amplifiedWell(kHostileWell, "IL6", kHostileSample, "unkn", 25.0));
  plate.wells.back().quantity = 4100.0;
  plate.wells.back().reaction.instrumentCq = 20.75;

  WellResult ntc = amplifiedWell("B6", "IL6", "water", "ntc", 60.0);
  ntc.ctLinear = kNaN;
  ntc.ctSigmoid = kNaN;
  ntc.lowSignal = true;
  ntc.noRise = true;
  ntc.flags = {"low-signal", "no-rise"};
  ntc.notes = {"The curve stays below 300 units.", "The curve does not rise."};
  ntc.processed[5] = std::numeric_limits<double>::infinity();
  plate.wells.push_back(std::move(ntc));

  WellResult broken;
  broken.reaction.run = "Run 1";
  broken.reaction.well = "B7";
  broken.reaction.target = "IL6";
  broken.reaction.sample = "treated";
  broken.reaction.sampleType = "unkn";
  broken.reaction.cycles = {1, 2, 3};
  broken.reaction.fluorescence = {1, 2, 3};
  broken.skipReason = "only 3 cycles; the analysis needs at least 9";
  broken.group = 1;  // not listed by the group: must not claim it
  plate.wells.push_back(std::move(broken));

  plate.groups.push_back({"Run 1", "GAPDH", 40, 1500.0, false, {0, 1, 2, 3}});
  plate.groups.push_back({"Run 1", "IL6", 40, kThreshold + 0.25, true, {4, 5, 6, 7, 8, 9}});
  for (std::size_t g = 0; g < plate.groups.size(); ++g) {
    for (std::size_t w : plate.groups[g].wells) plate.wells[w].group = g;
  }

  StandardCurve sc;
  sc.run = "Run 1";
  sc.target = "IL6";
  sc.log10Quantity = {5, 4, 3};
  sc.ct = {17.8, 21.12, 24.44};
  sc.slope = -3.32;
  sc.intercept = 34.4;
  sc.rmse = 0.012;
  sc.rSquared = 0.99987;
  sc.efficiency = std::pow(10.0, 1.0 / 3.32) - 1.0;
  sc.slopeSe = 0.0123;
  sc.efficiencyLow = 0.9712;
  sc.efficiencyHigh = 1.0329;
  sc.log10QuantityMin = 3;
  sc.log10QuantityMax = 5;
  plate.standards.push_back(sc);

  RelativeQuantity control{"Run 1", "IL6", "control", 5.1, 0.2,  0.1, 4,
                           5.1,     -0.0,  1,         0.8, 1.25, ""};
  RelativeQuantity treated{"Run 1", "IL6", "treated",          3.0, 0.3, 0.15, 4,
                           5.1,     -2.1,  std::pow(2.0, 2.1), 3.1, 5.6, ""};
  RelativeQuantity missing{
      "Run 1", "IL6", kHostileSample,          kNaN, kNaN, kNaN, 1, 5.1, kNaN, kNaN,
      kNaN,    kNaN,  "no replicate with a Ct"};
  plate.quantities = {control, treated, missing};
  for (RelativeQuantity& q : plate.quantities) q.targetFactor = q.referenceFactor = 2.0;
  plate.skipped.push_back({"Run 1", "H12", "IL6", "no amplification readings (<data> is empty)"});
  plate.warnings.push_back("Run 1: 2 reactions have no sample type; taken as unknowns");
  return plate;
}

// A full 384-well plate: four targets, every well with a long melting grid.
PlateResult bigPlate() {
  PlateResult plate;
  plate.path = "big.rdml";
  plate.format = "RDML 1.4";
  plate.libraryVersion = "1.1.2";
  plate.runs = {{"Run 1", "", 16, 24, ""}};
  const char* targets[] = {"ACTB", "GAPDH", "IL6", "TNF"};
  for (std::size_t i = 0; i < 384; ++i) {
    const std::size_t t = i / 96;
    const std::string well =
        std::string(1, static_cast<char>('A' + i / 24)) + std::to_string(i % 24 + 1);
    plate.wells.push_back(amplifiedWell(well, targets[t], "sample " + std::to_string(i % 24),
                                        "unkn", 18.0 + static_cast<double>(i % 24) * 0.5));
    addMelt(plate.wells.back(), {{80.0 + static_cast<double>(t), 1.0, 2.0}}, 1331);
  }
  for (std::size_t t = 0; t < 4; ++t) {
    AmplificationGroup g{"Run 1", targets[t], 40, 1500.0, false, {}};
    for (std::size_t i = 0; i < 96; ++i) {
      g.wells.push_back(t * 96 + i);
      plate.wells[t * 96 + i].group = t;
    }
    plate.groups.push_back(g);
  }
  return plate;
}

std::string htmlOf(const PlateResult& plate) {
  std::ostringstream out;
  writeHtmlReport(plate, out);
  return out.str();
}

json jsonText(const PlateResult& plate) {
  std::ostringstream out;
  writeJson(plate, out);
  return json::parse(out.str());
}

std::size_t occurrences(const std::string& text, const std::string& part) {
  std::size_t n = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++n;
  }
  return n;
}

// The JSON data block of a report.
json embeddedData(const std::string& html) {
  const std::string open = "<script type=\"application/json\" id=\"corvel-data\">";
  const std::size_t from = html.find(open);
  if (from == std::string::npos) return nullptr;
  const std::size_t begin = from + open.size();
  const std::size_t end = html.find("</script>", begin);
  return json::parse(html.substr(begin, end - begin));
}

// A curve of the page: the same points as the document's, to six
// significant digits.
void expectRounded(const json& shown, const json& exact) {
  ASSERT_EQ(shown.size(), exact.size());
  for (std::size_t i = 0; i < exact.size(); ++i) {
    if (exact[i].is_null()) {
      EXPECT_TRUE(shown[i].is_null());
      continue;
    }
    const double v = exact[i].get<double>();
    EXPECT_NEAR(shown[i].get<double>(), v, 5e-6 * std::fabs(v)) << i;
  }
}

fs::path outputDir() {
  const fs::path dir = fs::path(CORVEL_TEST_OUTPUT) / "report";
  fs::create_directories(dir);
  return dir;
}

bool sameBits(double a, double b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// The doubles of `values` come back bit for bit, non-finite ones as null.
void expectSeries(const json& array, const std::vector<double>& values, const std::string& what) {
  ASSERT_TRUE(array.is_array()) << what;
  ASSERT_EQ(array.size(), values.size()) << what;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (std::isfinite(values[i])) {
      ASSERT_TRUE(array[i].is_number()) << what << "[" << i << "]";
      EXPECT_TRUE(sameBits(array[i].get<double>(), values[i])) << what << "[" << i << "]";
    } else {
      EXPECT_TRUE(array[i].is_null()) << what << "[" << i << "]";
    }
  }
}

TEST(JsonDocument, HoldsEveryPartOfThePlate) {
  const PlateResult plate = smallPlate();
  const json j = plateJson(plate);

  EXPECT_EQ(j["file"], plate.path);
  EXPECT_EQ(j["format"], "RDML 1.4");
  EXPECT_EQ(j["libraryVersion"], "1.1.2");
  EXPECT_TRUE(j["options"]["threshold"].is_null());
  EXPECT_EQ(j["options"]["referenceGenes"], json::array({"GAPDH"}));
  EXPECT_EQ(j["options"]["calibrator"], "control");
  EXPECT_EQ(j["options"]["confidenceLevel"], 95.0);
  EXPECT_EQ(j["runs"][0]["instrument"], "LightCycler 480");
  EXPECT_EQ(j["runs"][0]["columns"], 12);

  ASSERT_EQ(j["groups"].size(), 2u);
  EXPECT_EQ(j["groups"][1]["threshold"], 1500.25);
  EXPECT_EQ(j["groups"][1]["thresholdFromUser"], true);
  EXPECT_EQ(j["groups"][1]["wells"], json::array({4, 5, 6, 7, 8, 9}));

  ASSERT_EQ(j["wells"].size(), plate.wells.size());
  const json& hostile = j["wells"][8];
  EXPECT_EQ(hostile["well"], kHostileWell);
  EXPECT_EQ(hostile["sample"], kHostileSample);
  EXPECT_EQ(hostile["instrumentCq"], 20.75);
  EXPECT_EQ(hostile["group"], 1);
  const json& standard = j["wells"][4];
  EXPECT_EQ(standard["standardQuantity"], 1e5);
  EXPECT_EQ(standard["quantityUnit"], "cop");
  EXPECT_EQ(standard["quantity"], 1e5 * 1.01);

  const json& ntc = j["wells"][9];
  EXPECT_TRUE(ntc["ctLinear"].is_null());
  EXPECT_TRUE(ntc["ctSigmoid"].is_null());
  EXPECT_TRUE(ntc["quantity"].is_null());
  EXPECT_TRUE(ntc["standardQuantity"].is_null());
  EXPECT_TRUE(ntc["curves"]["processed"][5].is_null());  // infinity
  EXPECT_EQ(ntc["flags"], json::array({"low-signal", "no-rise"}));
  EXPECT_EQ(ntc["notes"].size(), 2u);
  EXPECT_EQ(ntc["features"]["lowSignal"], true);
  EXPECT_EQ(ntc["features"]["baselineEnd"], 12);
  EXPECT_TRUE(ntc["melt"].is_null());

  const json& broken = j["wells"][10];
  EXPECT_EQ(broken["analyzed"], false);
  EXPECT_EQ(broken["skipReason"], plate.wells[10].skipReason);
  EXPECT_TRUE(broken["group"].is_null());
  EXPECT_TRUE(broken["curves"]["raw"].empty());
  EXPECT_EQ(broken["readings"]["fluorescence"], json::array({1.0, 2.0, 3.0}));

  const json& melt = j["wells"][3]["melt"];
  EXPECT_EQ(melt["analyzed"], true);
  EXPECT_EQ(melt["solveStatus"], 0);
  ASSERT_EQ(melt["peaks"].size(), 2u);
  EXPECT_EQ(melt["peaks"][1]["tm"], 76.1);
  EXPECT_EQ(melt["peaks"][1]["fwhm"], 1.8);
  EXPECT_EQ(melt["fitted"].size(), plate.wells[3].melt.fitted.size());

  ASSERT_EQ(j["standardCurves"].size(), 1u);
  EXPECT_EQ(j["standardCurves"][0]["slope"], -3.32);
  EXPECT_EQ(j["standardCurves"][0]["ct"], json::array({17.8, 21.12, 24.44}));
  ASSERT_EQ(j["relativeQuantities"].size(), 3u);
  EXPECT_EQ(j["relativeQuantities"][1]["upper"], 5.6);
  EXPECT_TRUE(j["relativeQuantities"][2]["rq"].is_null());
  EXPECT_EQ(j["relativeQuantities"][2]["note"], "no replicate with a Ct");
  EXPECT_EQ(j["skippedReactions"][0]["reason"], plate.skipped[0].reason);
  EXPECT_EQ(j["warnings"], json::array({plate.warnings[0]}));

  PlateResult fixed = plate;
  fixed.options.threshold = 250.5;
  EXPECT_EQ(plateJson(fixed)["options"]["threshold"], 250.5);
}

TEST(JsonDocument, CarriesScaleMethodsAndEfficiencyInterval) {
  PlateResult plate = smallPlate();
  json j = plateJson(plate);
  EXPECT_EQ(j["scale"], 100.0);
  EXPECT_EQ(j["scaleReason"], plate.scaleReason);
  EXPECT_TRUE(j["options"]["scale"].is_null());  // chosen from the data
  EXPECT_EQ(j["options"]["cqMethod"], "linear");
  EXPECT_EQ(j["options"]["rqMethod"], "delta-delta Ct");
  EXPECT_TRUE(j["options"]["tmMin"].is_null());
  EXPECT_TRUE(j["options"]["tmMax"].is_null());
  EXPECT_EQ(j["runs"][0]["background"], "background subtracted");
  EXPECT_EQ(j["wells"][0]["cqUsed"], plate.wells[0].ctLinear);
  EXPECT_TRUE(j["wells"][9]["cqUsed"].is_null());
  const json& sc = j["standardCurves"][0];
  EXPECT_EQ(sc["slopeSe"], 0.0123);
  EXPECT_EQ(sc["efficiencyLow"], 0.9712);
  EXPECT_EQ(sc["efficiencyHigh"], 1.0329);
  EXPECT_EQ(sc["log10QuantityMin"], 3.0);
  EXPECT_EQ(sc["log10QuantityMax"], 5.0);
  EXPECT_EQ(j["relativeQuantities"][1]["method"], "delta-delta Ct");
  EXPECT_EQ(j["relativeQuantities"][1]["targetFactor"], 2.0);
  EXPECT_EQ(j["relativeQuantities"][1]["referenceFactor"], 2.0);

  plate.options.scale = 100.0;
  plate.options.cqMethod = CqMethod::sigmoid;
  plate.options.rqMethod = RqMethod::pfaffl;
  plate.options.tmMin = 80.0;
  plate.options.tmMax = 86.5;
  plate.quantities[1].method = RqMethod::pfaffl;
  plate.quantities[1].targetFactor = 1.93;
  plate.standards[0].efficiencyLow = kNaN;
  j = jsonText(plate);
  EXPECT_EQ(j["options"]["scale"], 100.0);
  EXPECT_EQ(j["options"]["cqMethod"], "sigmoid");
  EXPECT_EQ(j["options"]["rqMethod"], "Pfaffl");
  EXPECT_EQ(j["options"]["tmMin"], 80.0);
  EXPECT_EQ(j["options"]["tmMax"], 86.5);
  EXPECT_EQ(j["wells"][0]["cqUsed"], plate.wells[0].ctSigmoid);
  EXPECT_EQ(j["relativeQuantities"][1]["method"], "Pfaffl");
  EXPECT_EQ(j["relativeQuantities"][1]["targetFactor"], 1.93);
  EXPECT_TRUE(j["standardCurves"][0]["efficiencyLow"].is_null());

  // The scale leads the document, before the options and the data.
  std::ostringstream text;
  writeJson(plate, text);
  EXPECT_LT(text.str().find("\"scaleReason\""), text.str().find("\"options\""));
}

TEST(JsonDocument, WrittenTextRoundTripsEveryNumber) {
  PlateResult plate = smallPlate();
  // Values whose shortest decimal form is long or unusual.
  plate.wells[0].curve = {0.1 + 0.2,    1e-300,    5e-324, 123456789.12345679,
                          -0.0,         1.0 / 3.0, kNaN,   -std::numeric_limits<double>::infinity(),
                          6.02214076e23};
  const json j = jsonText(plate);
  EXPECT_EQ(j, plateJson(plate));
  for (std::size_t i = 0; i < plate.wells.size(); ++i) {
    const WellResult& w = plate.wells[i];
    const json& jw = j["wells"][i];
    const std::string name = "well " + w.reaction.well;
    expectSeries(jw["curves"]["raw"], w.curve, name + " raw");
    expectSeries(jw["curves"]["processed"], w.processed, name + " processed");
    expectSeries(jw["curves"]["sigmoidFit"], w.sigmoidFit, name + " fit");
    expectSeries(jw["readings"]["fluorescence"], w.reaction.fluorescence, name + " readings");
    if (w.hasMelt()) {
      expectSeries(jw["melt"]["temperatures"], w.melt.temperatures, name + " melt T");
      expectSeries(jw["melt"]["derivative"], w.melt.derivative, name + " derivative");
      expectSeries(jw["melt"]["normalized"], w.melt.normalized, name + " normalized");
    }
  }
  EXPECT_TRUE(std::signbit(j["wells"][0]["curves"]["raw"][4].get<double>()));
}

TEST(JsonDocument, InvalidUtf8IsReplacedNotFatal) {
  PlateResult plate = smallPlate();
  plate.wells[0].reaction.sample = "Probe \xB2\xE2 1";  // GBK bytes, not UTF-8
  std::ostringstream out;
  ASSERT_NO_THROW(writeJson(plate, out));
  const json j = json::parse(out.str());
  EXPECT_EQ(j["wells"][0]["sample"], "Probe \xEF\xBF\xBD\xEF\xBF\xBD 1");
  EXPECT_NO_THROW(htmlOf(plate));
}

TEST(HtmlReport, IsSelfContainedAndEscapesNames) {
  const PlateResult plate = smallPlate();
  const std::string html = htmlOf(plate);
  EXPECT_EQ(html.rfind("<!DOCTYPE html>", 0), 0u);
  EXPECT_NE(html.find("http-equiv=\"Content-Security-Policy\" content=\"default-src 'none';"),
            std::string::npos);

  // Nothing outside the file: no URL at all.
  EXPECT_EQ(html.find("http:"), std::string::npos);
  EXPECT_EQ(html.find("https:"), std::string::npos);
  EXPECT_EQ(html.find("//cdn"), std::string::npos);
  EXPECT_EQ(html.find("src="), std::string::npos);
  EXPECT_EQ(html.find("<link"), std::string::npos);
  EXPECT_EQ(html.find("@import"), std::string::npos);

  // The hostile names open no element: three scripts (error handler, data,
  // page) and their three closing tags, nothing else.
  EXPECT_EQ(occurrences(html, "<script"), 3u);
  EXPECT_EQ(occurrences(html, "</script"), 3u);
  EXPECT_EQ(occurrences(html, "<!--"), 0u);
  EXPECT_NE(html.find("&lt;script&gt;alert(1)&lt;/script&gt;"), std::string::npos);
  EXPECT_NE(html.find("&quot;q&quot; &amp; &#39;a&#39;"), std::string::npos);

  // The embedded data is the JSON document without the readings and the
  // raw melting derivative, with the curves rounded for drawing.
  json embedded = embeddedData(html);
  json expected = plateJson(plate);
  ASSERT_EQ(embedded["wells"].size(), expected["wells"].size());
  for (std::size_t i = 0; i < expected["wells"].size(); ++i) {
    json& e = expected["wells"][i];
    json& g = embedded["wells"][i];
    EXPECT_FALSE(g.contains("readings"));
    e.erase("readings");
    for (const char* curve : {"raw", "processed", "sigmoidFit"}) {
      expectRounded(g["curves"][curve], e["curves"][curve]);
      g["curves"].erase(curve);
      e["curves"].erase(curve);
    }
    if (!e["melt"].is_object()) continue;
    EXPECT_FALSE(g["melt"].contains("derivative"));
    e["melt"].erase("derivative");
    for (const char* curve : {"temperatures", "normalized", "fitted"}) {
      expectRounded(g["melt"][curve], e["melt"][curve]);
      g["melt"].erase(curve);
      e["melt"].erase(curve);
    }
  }
  EXPECT_EQ(embedded, expected);
}

TEST(HtmlReport, ThinsLongMeltingCurvesForDrawing) {
  const PlateResult plate = bigPlate();
  const json embedded = embeddedData(htmlOf(plate));
  const std::vector<double>& grid = plate.wells[0].melt.temperatures;
  ASSERT_EQ(grid.size(), 1331u);
  const json& melt = embedded["wells"][0]["melt"];
  // Every third point of 1331 and the last one.
  ASSERT_EQ(melt["temperatures"].size(), 445u);
  EXPECT_EQ(melt["normalized"].size(), 445u);
  EXPECT_EQ(melt["fitted"].size(), 445u);
  EXPECT_NEAR(melt["temperatures"][1].get<double>(), grid[3], 1e-4);
  EXPECT_NEAR(melt["temperatures"][444].get<double>(), grid.back(), 1e-4);
  EXPECT_EQ(melt["peaks"][0]["tm"], plate.wells[0].melt.peaks[0].tm);  // scalars stay exact
}

TEST(HtmlReport, TablesHoldTheResults) {
  const PlateResult plate = smallPlate();
  const std::string html = htmlOf(plate);
  EXPECT_NE(html.find("id=\"well-table\""), std::string::npos);
  EXPECT_NE(html.find("id=\"standard-table\""), std::string::npos);
  EXPECT_NE(html.find("id=\"quantity-table\""), std::string::npos);
  EXPECT_NE(html.find("id=\"peak-table\""), std::string::npos);
  EXPECT_NE(html.find("id=\"skipped-table\""), std::string::npos);
  EXPECT_NE(html.find("no amplification readings (&lt;data&gt; is empty)"), std::string::npos);
  EXPECT_NE(html.find("only 3 cycles; the analysis needs at least 9"), std::string::npos);
  EXPECT_NE(html.find("Run 1: 2 reactions have no sample type"), std::string::npos);
  // Ct of A1 rounded for reading, sortable by its exact value.
  const std::size_t cell = html.find("\">17.07</td>");
  ASSERT_NE(cell, std::string::npos);
  const std::size_t value = html.rfind("data-v=\"", cell) + 8;
  EXPECT_EQ(std::stod(html.substr(value, cell - value)), plate.wells[0].ctLinear);
  EXPECT_NE(html.find(">84.30, 76.10</td>"), std::string::npos);  // Tm of both peaks
  EXPECT_NE(html.find(">100.1</td>"), std::string::npos);         // efficiency, %
  EXPECT_NE(html.find(">low-signal</span>"), std::string::npos);
  EXPECT_NE(html.find(">0.000</td>"), std::string::npos);  // the calibrator's -0 ddCt
  EXPECT_EQ(html.find(">-0.000</td>"), std::string::npos);
  EXPECT_NE(html.find("100000 cop"), std::string::npos);

  const std::string empty = htmlOf(PlateResult{});
  EXPECT_NE(empty.find("No amplification curves"), std::string::npos);
  EXPECT_NE(empty.find("The plate has no reactions."), std::string::npos);
  EXPECT_EQ(empty.find("id=\"well-table\""), std::string::npos);
}

// The part of the page between two markers (empty when either is missing).
std::string between(const std::string& html, const std::string& from, const std::string& to) {
  const std::size_t a = html.find(from);
  if (a == std::string::npos) return {};
  const std::size_t b = html.find(to, a);
  return b == std::string::npos ? std::string() : html.substr(a, b - a);
}

TEST(HtmlReport, ShowsTheScaleTheMethodsAndTheEfficiencyInterval) {
  PlateResult plate = smallPlate();
  std::string html = htmlOf(plate);
  const std::string header = between(html, "<header", "</header>");
  EXPECT_NE(header.find("<dt>Fluorescence scale</dt><dd>\u00d7100 for the analysis</dd>"),
            std::string::npos)
      << header;
  EXPECT_NE(header.find("title=\"plateau about 90: normalized units\""), std::string::npos);
  EXPECT_NE(header.find("background: background subtracted"), std::string::npos);
  const std::string options = between(html, "<dl class=\"options\">", "</dl>");
  EXPECT_NE(options.find("\u00d7100, chosen from the data: plateau about 90: normalized units"),
            std::string::npos)
      << options;
  EXPECT_NE(options.find("linear (threshold crossing); both are reported"), std::string::npos);
  EXPECT_NE(options.find("\u0394\u0394Ct: every target doubles per cycle (factor 2)"),
            std::string::npos);
  EXPECT_NE(options.find("any (no window given)"), std::string::npos);
  // The amplification charts say their units are the file's.
  EXPECT_NE(html.find("the analysis multiplied them by 100"), std::string::npos);

  const std::string standards = between(html, "id=\"standard-table\"", "</table>");
  EXPECT_NE(standards.find(">0.0123</td>"), std::string::npos) << standards;
  EXPECT_NE(standards.find(">97.1\u2013103.3</td>"), std::string::npos) << standards;
  EXPECT_NE(standards.find(">3.00\u20135.00</td>"), std::string::npos) << standards;

  // The delta-delta Ct table has no factor columns; Pfaffl's has them.
  EXPECT_EQ(html.find("Factor target"), std::string::npos);
  EXPECT_NE(html.find("\u0394\u0394Ct, factor 2: RQ = 2"), std::string::npos);

  plate.scale = 1e-5;
  plate.options.scale = 1e-5;
  plate.options.cqMethod = CqMethod::sigmoid;
  plate.options.rqMethod = RqMethod::pfaffl;
  plate.options.tmMin = 80.0;
  plate.options.tmMax = 86.5;
  for (RelativeQuantity& q : plate.quantities) {
    q.method = RqMethod::pfaffl;
    q.targetFactor = 1.9312;
  }
  plate.standards[0].efficiencyHigh = kNaN;  // the slope's interval reaches 0
  html = htmlOf(plate);
  EXPECT_NE(html.find(">\u2265\u202f97.1</td>"), std::string::npos);
  EXPECT_NE(html.find("<dd>\u00d710<sup>\u22125</sup>, as given: plateau"), std::string::npos);
  EXPECT_NE(html.find("sigmoid (from the logistic fit); both are reported"), std::string::npos);
  EXPECT_NE(html.find("Pfaffl: each target&#39;s efficiency from its standard curve"),
            std::string::npos);
  EXPECT_NE(html.find("<dt>Expected Tm</dt><dd>80\u201386.5\u202f\u00b0C"), std::string::npos);
  EXPECT_NE(html.find("The shaded band is the expected Tm range (80\u201386.5"), std::string::npos);
  const std::string quantities = between(html, "id=\"quantity-table\"", "</table>");
  EXPECT_NE(quantities.find(">Factor target</th>"), std::string::npos);
  EXPECT_EQ(occurrences(quantities, ">1.931</td>"), 3u);
  EXPECT_EQ(occurrences(quantities, ">Pfaffl</td>"), 3u);
}

TEST(HtmlReport, EveryMissingCtSaysWhyAndFlagsAreCounted) {
  PlateResult plate = smallPlate();
  std::string html = htmlOf(plate);
  std::string wells = between(html, "id=\"well-table\"", "</table>");
  // The linear Ct is the one used; the badge marks its heading only.
  EXPECT_NE(wells.find("Ct (linear) <span class=\"badge\">used</span></th>"), std::string::npos);
  EXPECT_EQ(occurrences(wells, "class=\"badge\""), 1u);
  // The NTC and the refused well lack both Cts: four empty cells, each
  // with its reason and a link to the row's notes.
  EXPECT_EQ(occurrences(wells, "<a class=\"why\""), 4u);
  EXPECT_EQ(occurrences(wells, "href=\"#why-9\""), 2u);
  EXPECT_NE(wells.find("id=\"why-9\""), std::string::npos);
  EXPECT_NE(wells.find("title=\"No Ct (linear): The curve stays below 300 units. The curve does "
                       "not rise.\""),
            std::string::npos);
  EXPECT_NE(wells.find("title=\"No Ct (sigmoid): Not analysed: only 3 cycles; the analysis "
                       "needs at least 9\""),
            std::string::npos);
  // The flags as chips with the note on hover, and the notes to read.
  EXPECT_NE(wells.find("<span class=\"flag\" title=\"The curve does not rise.\">no-rise</span>"),
            std::string::npos);
  EXPECT_NE(wells.find("<span class=\"note\">The curve does not rise.</span>"), std::string::npos);

  // The flag panel: the refused well first, then one row per flag.
  const std::string panel = between(html, "id=\"flag-table\"", "</table>");
  EXPECT_EQ(occurrences(panel, "<tr><td><button"), 3u);
  EXPECT_LT(panel.find("data-flag=\"not analysed\" data-skip"),
            panel.find("data-flag=\"low-signal\""));
  EXPECT_NE(panel.find(">IL6: B6</td>"), std::string::npos);
  EXPECT_NE(panel.find(">The curve stays below 300 units.</td>"), std::string::npos);
  EXPECT_NE(html.find("2 of 11 wells carry a flag"), std::string::npos);

  // A missing Ct no note explains still gets a reason: what it means.
  plate.wells[9].flags.clear();
  plate.wells[9].notes.clear();
  plate.wells[9].ctSigmoid = 31.0;
  html = htmlOf(plate);
  wells = between(html, "id=\"well-table\"", "</table>");
  EXPECT_EQ(occurrences(wells, "<a class=\"why\""), 3u);
  EXPECT_NE(wells.find("<span class=\"note\">No Ct (linear): The processed curve does not cross "
                       "the threshold.</span>"),
            std::string::npos);
  EXPECT_EQ(wells.find("No Ct (sigmoid): No plausible"), std::string::npos);

  // Nothing flagged: the panel says so.
  PlateResult clean = smallPlate();
  clean.wells.resize(4);
  EXPECT_NE(htmlOf(clean).find("No well carries a flag."), std::string::npos);
  EXPECT_NE(htmlOf(PlateResult{}).find("No reactions, so no flags."), std::string::npos);
}

// Writes the report, renders it and checks that the page drew everything
// without an error, a console message or a blocked request.
test::RenderResult renderReport(const PlateResult& plate, const std::string& name,
                                const std::string& query = "") {
  const fs::path dir = outputDir();
  const fs::path html = dir / (name + ".html");
  {
    std::ofstream out(html, std::ios::binary);
    writeHtmlReport(plate, out);
  }
  test::RenderOptions options;
  options.screenshot = dir / (name + ".png");
  options.query = query;
  test::RenderResult r = test::renderHtml(html, options);
  if (!r.found) return r;
  EXPECT_TRUE(r.finished) << r.log;
  EXPECT_EQ(test::bodyAttribute(r.dom, "data-rendered"), "ok")
      << "errors: " << test::bodyAttribute(r.dom, "data-errors");
  EXPECT_EQ(test::bodyAttribute(r.dom, "data-errors"), "");
  EXPECT_TRUE(r.consoleErrors.empty()) << r.consoleErrors.front();
  EXPECT_TRUE(r.consoleMessages.empty()) << r.consoleMessages.front();
  EXPECT_EQ(test::bodyAttribute(r.dom, "data-pwned"), "");
  EXPECT_FALSE(r.screenshot.empty()) << r.log;
  if (!r.screenshot.empty()) {
    EXPECT_GT(fs::file_size(r.screenshot), 10000u);
    std::cout << "[ report   ] " << html.string() << "\n[ screenshot ] " << r.screenshot.string()
              << std::endl;
  }
  return r;
}

#define SKIP_WITHOUT_CHROMIUM()                                                        \
  if (test::findChromium().empty()) {                                                  \
    GTEST_SKIP() << "Chromium not found (/usr/bin/chromium or $CORVEL_CHROMIUM); the " \
                    "browser checks need it";                                          \
  }

TEST(ReportInBrowser, DrawsEveryChartOfThePlate) {
  SKIP_WITHOUT_CHROMIUM();
  const test::RenderResult r = renderReport(smallPlate(), "small_plate");
  // Two amplification groups, one standard curve, one target with relative
  // quantities, one target with melting curves.
  EXPECT_EQ(test::bodyAttribute(r.dom, "data-charts"), "5");
  EXPECT_EQ(occurrences(r.dom, "class=\"series\""), 4u + 6u + 4u);
  EXPECT_EQ(occurrences(r.dom, "class=\"threshold\""), 2u);
  EXPECT_NE(r.dom.find("y = \xE2\x88\x92"
                       "3.3200 x + 34.400"),
            std::string::npos);
  EXPECT_NE(r.dom.find("Tm 84.26 \xC2\xB1"), std::string::npos);  // main peak, mean and SD
  EXPECT_NE(r.dom.find("E = 100.1 % (97.1\u2013103.3 %)"), std::string::npos);
  EXPECT_NE(r.dom.find("3 samples \u00b7 \u0394\u0394Ct, factor 2"), std::string::npos);
  EXPECT_NE(r.dom.find("linear range log\u2081\u2080 q 3.0\u20135.0"), std::string::npos);
  EXPECT_EQ(occurrences(r.dom, "class=\"range\""), 1u);
  EXPECT_EQ(occurrences(r.dom, "class=\"tm-window\""), 0u);
}

// The other Cq and quantity methods, a Tm window and a scale: the charts
// name what they show.
TEST(ReportInBrowser, NamesTheMethodsInTheCharts) {
  SKIP_WITHOUT_CHROMIUM();
  PlateResult plate = smallPlate();
  plate.options.cqMethod = CqMethod::sigmoid;
  plate.options.rqMethod = RqMethod::pfaffl;
  plate.options.tmMin = 82.0;
  plate.options.tmMax = 86.0;
  for (RelativeQuantity& q : plate.quantities) {
    q.method = RqMethod::pfaffl;
    q.targetFactor = 1.9312;
    q.referenceFactor = 1.98;
  }
  const test::RenderResult r = renderReport(plate, "small_plate_pfaffl_sigmoid");
  EXPECT_NE(r.dom.find("Pfaffl, factors 1.931 (target), 1.980 (reference)"), std::string::npos);
  EXPECT_NE(r.dom.find("Ct, sigmoid (cycles)"), std::string::npos);
  EXPECT_EQ(occurrences(r.dom, "class=\"tm-window\""), 1u);
  EXPECT_NE(r.dom.find("Ct (sigmoid) <span class=\"badge\">used</span>"), std::string::npos);
}

// Clicking a flag in the summary shows only its wells; clicking "Show all
// wells" brings the others back.
TEST(ReportInBrowser, FlagsFilterTheWellsTable) {
  SKIP_WITHOUT_CHROMIUM();
  const fs::path html = outputDir() / "small_plate_flag_filter.html";
  std::string page = htmlOf(smallPlate());
  const std::string probe = R"(<script>
(function () {
  function visible() {
    return Array.prototype.filter.call(document.querySelectorAll('#well-table tbody tr'),
      function (row) { return !row.hidden && row.offsetParent !== null; }).length;
  }
  var body = document.body;
  document.querySelector('#flag-table button[data-flag="low-signal"]').click();
  body.setAttribute('data-flagged', visible());
  body.setAttribute('data-status', document.getElementById('well-filter').textContent);
  document.querySelector('#flag-table button[data-skip]').click();
  body.setAttribute('data-skipped', visible());
  document.querySelector('#well-filter button').click();
  body.setAttribute('data-all', visible());
  body.setAttribute('data-status-hidden', document.getElementById('well-filter').hidden);
})();
</script>
</body>)";
  const std::size_t end = page.rfind("</body>");
  ASSERT_NE(end, std::string::npos);
  page.replace(end, 7, probe);
  std::ofstream(html, std::ios::binary) << page;
  const test::RenderResult r = test::renderHtml(html);
  ASSERT_TRUE(r.finished) << r.log;
  EXPECT_EQ(test::bodyAttribute(r.dom, "data-rendered"), "ok")
      << test::bodyAttribute(r.dom, "data-errors");
  EXPECT_TRUE(r.consoleErrors.empty()) << r.consoleErrors.front();
  EXPECT_EQ(test::bodyAttribute(r.dom, "data-flagged"), "1");
  EXPECT_NE(test::bodyAttribute(r.dom, "data-status").find("Showing the 1 well flagged"),
            std::string::npos)
      << test::bodyAttribute(r.dom, "data-status");
  EXPECT_EQ(test::bodyAttribute(r.dom, "data-skipped"), "1");
  EXPECT_EQ(test::bodyAttribute(r.dom, "data-all"), "11");
  EXPECT_EQ(test::bodyAttribute(r.dom, "data-status-hidden"), "true");
}

// Pointing at the first well's Ct mark names that well; pointing at a
// legend key highlights the wells of that sample.
TEST(ReportInBrowser, PointingAtACurveNamesItsWell) {
  SKIP_WITHOUT_CHROMIUM();
  const fs::path html = outputDir() / "small_plate_hover.html";
  std::string page = htmlOf(smallPlate());
  const std::string probe = R"(<script>
(function () {
  var chart = document.querySelector('#amp-charts svg.chart');
  var box = chart.querySelector('circle.mark').getBoundingClientRect();
  chart.dispatchEvent(new MouseEvent('mousemove', { bubbles: true,
    clientX: box.left + box.width / 2, clientY: box.top + box.height / 2 }));
  var tip = document.getElementById('tooltip');
  document.body.setAttribute('data-tip', tip.hidden ? '' : tip.textContent);
  document.body.setAttribute('data-curve-focus', chart.querySelectorAll('.series.hl').length);
  chart.dispatchEvent(new MouseEvent('mouseleave'));
  var key = chart.parentNode.querySelectorAll('.legend .key')[1];
  key.dispatchEvent(new MouseEvent('mouseenter'));
  document.body.setAttribute('data-legend-focus', chart.querySelectorAll('.series.hl').length);
})();
</script>
</body>)";
  const std::size_t end = page.rfind("</body>");
  ASSERT_NE(end, std::string::npos);
  page.replace(end, 7, probe);
  std::ofstream(html, std::ios::binary) << page;
  const test::RenderResult r = test::renderHtml(html);
  ASSERT_TRUE(r.finished) << r.log;
  EXPECT_EQ(test::bodyAttribute(r.dom, "data-rendered"), "ok")
      << test::bodyAttribute(r.dom, "data-errors");
  EXPECT_TRUE(r.consoleErrors.empty()) << r.consoleErrors.front();
  const std::string tip = test::bodyAttribute(r.dom, "data-tip");
  EXPECT_EQ(tip.rfind("Well A1", 0), 0u) << tip;
  EXPECT_NE(tip.find("Ct 17.07 (linear)"), std::string::npos) << tip;
  EXPECT_EQ(test::bodyAttribute(r.dom, "data-curve-focus"), "1");
  EXPECT_EQ(test::bodyAttribute(r.dom, "data-legend-focus"), "2");  // the two treated wells
}

TEST(ReportInBrowser, DrawsEveryView) {
  SKIP_WITHOUT_CHROMIUM();
  const test::RenderResult raw =
      renderReport(smallPlate(), "small_plate_raw_log", "curve=raw&scale=log&colour=type&fitted=0");
  EXPECT_EQ(occurrences(raw.dom, "class=\"threshold\""), 0u);  // raw curves have none
  EXPECT_EQ(occurrences(raw.dom, "class=\"fit\""), 0u);
  const test::RenderResult fit = renderReport(smallPlate(), "small_plate_fit_log",
                                              "scale=log&fit=1&colour=target&height=tallest");
  EXPECT_EQ(occurrences(fit.dom, "class=\"fit\""), 10u + 4u);  // sigmoid fits and melting fits
}

TEST(ReportInBrowser, SaysSoForAnEmptyPlate) {
  SKIP_WITHOUT_CHROMIUM();
  PlateResult empty;
  empty.path = "empty.csv";
  empty.format = "CSV";
  const test::RenderResult r = renderReport(empty, "empty_plate");
  EXPECT_EQ(test::bodyAttribute(r.dom, "data-charts"), "0");
  EXPECT_NE(r.dom.find("No amplification curves"), std::string::npos);
  EXPECT_NE(r.dom.find("No melting curves"), std::string::npos);
}

TEST(ReportInBrowser, StaysOneChartPerGroupFor384Wells) {
  SKIP_WITHOUT_CHROMIUM();
  const test::RenderResult r = renderReport(bigPlate(), "plate_384");
  EXPECT_EQ(test::bodyAttribute(r.dom, "data-charts"), "8");
  EXPECT_EQ(occurrences(r.dom, "class=\"series\""), 2u * 384u);
}

// The checks above are only worth something if the helper sees failures.
TEST(ReportInBrowser, HelperSeesScriptErrorsAndBlockedRequests) {
  SKIP_WITHOUT_CHROMIUM();
  const fs::path html = outputDir() / "broken_page.html";
  {
    std::ofstream out(html);
    out << "<!DOCTYPE html><html><head><meta http-equiv=\"Content-Security-Policy\" "
           "content=\"default-src 'none'; script-src 'unsafe-inline'\"></head><body>"
           "<img src=\"http://127.0.0.1:9/blocked.png\">"
           "<script>document.body.dataset.rendered = 'ok'; null.x;</script></body></html>";
  }
  const test::RenderResult r = test::renderHtml(html);
  ASSERT_TRUE(r.finished) << r.log;
  EXPECT_EQ(test::bodyAttribute(r.dom, "data-rendered"), "ok");
  bool uncaught = false, blocked = false;
  for (const std::string& e : r.consoleErrors) {
    uncaught = uncaught || e.find("Uncaught TypeError") != std::string::npos;
    blocked = blocked || e.find("127.0.0.1:9/blocked.png") != std::string::npos;
  }
  EXPECT_TRUE(uncaught) << r.log;
  EXPECT_TRUE(blocked) << r.log;
}

}  // namespace
}  // namespace corvel::tool

// The CSV tables, the text helpers they rest on and the progress bar. The
// tables are read back with a strict RFC 4180 reader written here, so the
// checks see cells as a spreadsheet or a script would, not the raw text.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "csv_writer.h"
#include "progress.h"
#include "results.h"
#include "summary.h"
#include "text.h"

namespace corvel::tool {
namespace {

namespace fs = std::filesystem;

using Table = std::vector<std::vector<std::string>>;

// Parses RFC 4180 text with LF record ends. Fails the test (and returns what
// it has) on a CR outside quotes, a quote inside an unquoted field, text
// after a closing quote, an unterminated quote or a last record without its
// line end.
Table parseCsv(const std::string& text) {
  Table table;
  std::vector<std::string> record;
  std::string field;
  bool quoted = false;     // inside a quoted field
  bool wasQuoted = false;  // the current field was quoted and is closed
  bool fieldStarted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (quoted) {
      if (c != '"') {
        field += c;
      } else if (i + 1 < text.size() && text[i + 1] == '"') {
        field += '"';
        ++i;
      } else {
        quoted = false;
        wasQuoted = true;
      }
      continue;
    }
    if (c == ',' || c == '\n') {
      record.push_back(field);
      field.clear();
      wasQuoted = fieldStarted = false;
      if (c == '\n') {
        table.push_back(record);
        record.clear();
      }
      continue;
    }
    if (c == '\r') {
      ADD_FAILURE() << "CR outside quotes at byte " << i;
      return table;
    }
    if (wasQuoted) {
      ADD_FAILURE() << "text after a closing quote at byte " << i;
      return table;
    }
    if (c == '"') {
      if (fieldStarted) {
        ADD_FAILURE() << "quote inside an unquoted field at byte " << i;
        return table;
      }
      quoted = true;
    } else {
      field += c;
    }
    fieldStarted = true;
  }
  if (quoted) ADD_FAILURE() << "unterminated quoted field";
  if (!record.empty() || !field.empty()) ADD_FAILURE() << "last record has no line end";
  return table;
}

// A parsed table with its header, so cells are addressed by column name.
struct Csv {
  std::vector<std::string> header;
  std::vector<std::vector<std::string>> rows;

  explicit Csv(const std::string& text) {
    Table table = parseCsv(text);
    if (table.empty()) {
      ADD_FAILURE() << "no header row";
      return;
    }
    header = table.front();
    rows.assign(table.begin() + 1, table.end());
    for (std::size_t r = 0; r < rows.size(); ++r) {
      EXPECT_EQ(rows[r].size(), header.size()) << "row " << r + 1 << " has the wrong width";
    }
  }

  const std::string& cell(std::size_t row, const std::string& column) const {
    static const std::string missing = "<missing>";
    for (std::size_t c = 0; c < header.size(); ++c) {
      if (header[c] == column) {
        if (row < rows.size() && c < rows[row].size()) return rows[row][c];
        ADD_FAILURE() << "no row " << row << " for column " << column;
        return missing;
      }
    }
    ADD_FAILURE() << "no column " << column;
    return missing;
  }
};

std::uint64_t bitsOf(double v) {
  std::uint64_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  return bits;
}

// True when text reads back, in full, to exactly the bits of v.
bool readsBackAs(const std::string& text, double v) {
  if (text.empty()) return false;
  char* end = nullptr;
  const double parsed = std::strtod(text.c_str(), &end);
  return end == text.c_str() + text.size() && bitsOf(parsed) == bitsOf(v);
}

template <typename Write>
std::string render(const PlateResult& plate, Write write) {
  std::ostringstream out;
  write(plate, out);
  return out.str();
}

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// ---------------------------------------------------------------- text

TEST(FormatNumber, RoundTripsRandomDoublesExactly) {
  std::mt19937_64 random(20240611);
  std::uniform_real_distribution<double> ct(0.0, 45.0);
  std::uniform_real_distribution<double> exponent(-30.0, 30.0);
  for (int i = 0; i < 200000; ++i) {
    double v;
    switch (i % 3) {
      case 0: {  // any bit pattern: subnormals, huge and tiny values
        const std::uint64_t bits = random();
        std::memcpy(&v, &bits, sizeof v);
        if (!std::isfinite(v)) continue;
        break;
      }
      case 1:
        v = ct(random);
        break;
      default:
        v = std::pow(10.0, exponent(random)) * (random() % 2 ? 1.0 : -1.0);
        break;
    }
    const std::string text = formatNumber(v);
    ASSERT_TRUE(readsBackAs(text, v)) << "\"" << text << "\" for bits " << std::hex << bitsOf(v);
  }
}

TEST(FormatNumber, ShortestFormAndSpecialValues) {
  EXPECT_EQ(formatNumber(0.1), "0.1");
  EXPECT_EQ(formatNumber(23.456), "23.456");
  EXPECT_EQ(formatNumber(1e-07), "1e-07");
  EXPECT_EQ(formatNumber(123456.0), "123456");
  EXPECT_EQ(formatNumber(100000.0), "1e+05");  // the shorter of the two forms
  EXPECT_EQ(formatNumber(-2.5), "-2.5");
  EXPECT_EQ(formatNumber(0.0), "0");
  EXPECT_EQ(formatNumber(kNaN), "");
  EXPECT_EQ(formatNumber(-kNaN), "");
  EXPECT_EQ(formatNumber(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(formatNumber(-std::numeric_limits<double>::infinity()), "-inf");
  // The extremes still read back exactly, negative zero keeps its sign.
  for (const double v :
       {-0.0, std::numeric_limits<double>::max(), std::numeric_limits<double>::lowest(),
        std::numeric_limits<double>::min(), std::numeric_limits<double>::denorm_min()}) {
    EXPECT_TRUE(readsBackAs(formatNumber(v), v)) << formatNumber(v);
  }
}

TEST(FormatFixed, RoundsForPeople) {
  EXPECT_EQ(formatFixed(23.456, 2), "23.46");
  EXPECT_EQ(formatFixed(23.0, 2), "23.00");
  EXPECT_EQ(formatFixed(-1.25, 1), "-1.2");  // 1.25 is exact: ties go to even
  EXPECT_EQ(formatFixed(0.96, 0), "1");
  EXPECT_EQ(formatFixed(-0.001, 2), "0.00");  // no "-0.00"
  EXPECT_EQ(formatFixed(-0.006, 2), "-0.01");
  EXPECT_EQ(formatFixed(2.5, -3), "2");  // negative decimals mean none
  EXPECT_EQ(formatFixed(kNaN, 2), "");
  EXPECT_EQ(formatFixed(std::numeric_limits<double>::infinity(), 2), "inf");
  EXPECT_EQ(formatFixed(-std::numeric_limits<double>::infinity(), 2), "-inf");
  // The largest double in full, and an absurd number of decimals, fit.
  EXPECT_EQ(formatFixed(std::numeric_limits<double>::max(), 2).size(), 309u + 3u);
  EXPECT_EQ(formatFixed(1.0, 100000).size(), 102u);
}

TEST(CsvField, QuotesOnlyWhatNeedsIt) {
  EXPECT_EQ(csvField(""), "");
  EXPECT_EQ(csvField("GAPDH"), "GAPDH");
  EXPECT_EQ(csvField("in the middle"), "in the middle");
  EXPECT_EQ(csvField("Gewebe \xC3\xBC 5"), "Gewebe \xC3\xBC 5");  // UTF-8 passes through
  EXPECT_EQ(csvField("a,b"), "\"a,b\"");
  EXPECT_EQ(csvField("say \"hi\""), "\"say \"\"hi\"\"\"");
  EXPECT_EQ(csvField("\""), "\"\"\"\"");
  EXPECT_EQ(csvField("two\nlines"), "\"two\nlines\"");
  EXPECT_EQ(csvField("cr\rhere"), "\"cr\rhere\"");
  EXPECT_EQ(csvField(" lead"), "\" lead\"");
  EXPECT_EQ(csvField("trail "), "\"trail \"");
  EXPECT_EQ(csvField("\ttab"), "\"\ttab\"");
  // Whatever is quoted reads back as the original.
  for (const std::string text : {"a,b", "say \"hi\"", "two\nlines", " x ", "\"\"", ",\n\""}) {
    const Table table = parseCsv(csvField(text) + "\n");
    ASSERT_EQ(table.size(), 1u);
    ASSERT_EQ(table[0].size(), 1u);
    EXPECT_EQ(table[0][0], text);
  }
}

// ---------------------------------------------------------------- tables

const char* const kRun = "exp1/run1";

// The curve features of the wells table with the fields they show.
// clang-format off
const std::vector<std::pair<std::string, double WellResult::*>> kFeatures = {
    {"ct_linear", &WellResult::ctLinear},     {"ct_sigmoid", &WellResult::ctSigmoid},
    {"quantity", &WellResult::quantity},      {"baseline_slope", &WellResult::baselineSlope},
    {"baseline_noise", &WellResult::baselineNoise}, {"max_value", &WellResult::maxValue},
    {"step_rise", &WellResult::stepRise},     {"max_slope", &WellResult::maxSlope},
    {"sigmoid_top", &WellResult::sigmoidTop}, {"sigmoid_mid", &WellResult::sigmoidMid},
    {"sigmoid_rate", &WellResult::sigmoidRate}};
// clang-format on

WellResult makeWell(const char* well, const char* target, const char* sample, const char* type) {
  WellResult w;
  w.reaction.run = kRun;
  w.reaction.well = well;
  w.reaction.target = target;
  w.reaction.sample = sample;
  w.reaction.sampleType = type;
  return w;
}

// A small plate with one of everything the tables must show: a standard
// with a comma in its sample name and two melting peaks, a well the analysis
// could not take (in no group), a well without a Ct read from cycle 3, a
// reaction the reader skipped, a good and a failed standard curve, and a
// full and an empty relative quantity.
PlateResult smallPlate() {
  PlateResult plate;
  plate.scale = 100.0;
  plate.scaleReason = "largest reading 18.5: normalized units";
  plate.groups = {{kRun, "GAPDH", 40, 0.123456789012345, false, {0, 2}},
                  {kRun, "ACTB", 40, 250.0, true, {}}};

  WellResult standard = makeWell("A1", "GAPDH", "std 1, high", "std");
  standard.reaction.quantity = 1e5;
  standard.reaction.quantityUnit = "cop";
  standard.reaction.instrumentCq = 18.1;
  for (int c = 1; c <= 40; ++c) standard.reaction.cycles.push_back(c);
  standard.reaction.temperatures = {65.0, 65.5, 66.0};
  standard.analyzed = true;
  standard.group = 0;
  // Values with many digits, so that only exact writing reads them back.
  for (std::size_t i = 0; i < kFeatures.size(); ++i) {
    standard.*kFeatures[i].second = (static_cast<double>(i) + 1.0) / 7.0;
  }
  standard.baselineStart = 3;
  standard.baselineEnd = 14;  // 0-based: cycle 15
  standard.lowSignal = true;
  standard.flags = {"low-signal", "late-rise"};
  standard.notes = {"The signal is low.", "The curve rises late."};
  standard.melt.analyzed = true;
  standard.melt.solveStatus = 0;
  standard.melt.peaks = {{84.25, 1.0, 1.5}, {78.5, 0.25, 2.0}};

  WellResult refused = makeWell("A2", "TNF", "say \"hi\"", "unkn");
  refused.reaction.temperatures = {65.0, 65.5};
  refused.skipReason = "only 5 cycles";
  refused.melt.note = "too few melting readings";

  WellResult noCt = makeWell("A3", "GAPDH", "ntc", "ntc");
  for (int c = 3; c <= 42; ++c) noCt.reaction.cycles.push_back(c);
  noCt.analyzed = true;
  noCt.group = 0;
  noCt.baselineStart = 1;
  noCt.baselineEnd = 0;
  noCt.noRise = true;

  plate.wells = {standard, refused, noCt};
  plate.skipped = {{kRun, "B2", "GAPDH", "malformed number in <fluor>: 1,2"}};
  // clang-format off
  plate.standards = {
      {kRun, "GAPDH", {5, 4, 3}, {18.2, 21.5, 24.9}, -3.35, 34.9, 0.05, 0.9991,
       std::pow(10.0, 1.0 / 3.35) - 1.0, ""},
      {kRun, "TNF", {5}, {20.0}, kNaN, kNaN, kNaN, kNaN, kNaN,
       "fewer than two standards with a Ct"}};
  plate.standards[0].slopeSe = 0.0123456789;
  plate.standards[0].efficiencyLow = 0.9512345;
  plate.standards[0].efficiencyHigh = 1.0298765;
  plate.standards[0].log10QuantityMin = 3;
  plate.standards[0].log10QuantityMax = 5;
  plate.quantities = {
      {kRun, "TNF", "treated", 2.5, 0.3, 0.15, 6, 3.75, -1.25, std::pow(2.0, 1.25), 2.1, 2.6, ""},
      {kRun, "TNF", "untreated, day 2", kNaN, kNaN, kNaN, kNaN, kNaN, kNaN, kNaN, kNaN, kNaN,
       "no Ct for the reference genes"}};
  // clang-format on
  plate.quantities[0].targetFactor = 2;
  plate.quantities[0].referenceFactor = 2;
  return plate;
}

TEST(WellsCsv, OneRowPerReactionWithEveryColumn) {
  const PlateResult plate = smallPlate();
  const Csv csv(render(plate, writeWellsCsv));
  const std::vector<std::string> header = {"run",
                                           "well",
                                           "target",
                                           "sample",
                                           "type",
                                           "quantity_given",
                                           "quantity_unit",
                                           "analyzed",
                                           "skip_reason",
                                           "fluorescence_scale",
                                           "threshold",
                                           "threshold_source",
                                           "ct_linear",
                                           "ct_sigmoid",
                                           "cq_method",
                                           "cq_used",
                                           "cq_missing_reason",
                                           "quantity",
                                           "baseline_start",
                                           "baseline_end",
                                           "baseline_slope",
                                           "baseline_noise",
                                           "max_value",
                                           "step_rise",
                                           "max_slope",
                                           "sigmoid_top",
                                           "sigmoid_mid",
                                           "sigmoid_rate",
                                           "low_signal",
                                           "no_rise",
                                           "instrument_cq",
                                           "tm",
                                           "melt_peaks",
                                           "flags",
                                           "notes"};
  EXPECT_EQ(csv.header, header);
  ASSERT_EQ(csv.rows.size(), 4u);  // three wells and the skipped reaction

  // The standard: every number reads back exactly, the baseline as cycle
  // numbers, the tallest peak's Tm.
  for (const auto& [column, field] : kFeatures) {
    EXPECT_TRUE(readsBackAs(csv.cell(0, column), plate.wells[0].*field)) << column;
  }
  EXPECT_TRUE(readsBackAs(csv.cell(0, "threshold"), plate.groups[0].threshold));
  // clang-format off
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"sample", "std 1, high"}, {"type", "std"}, {"quantity_given", "1e+05"},
      {"quantity_unit", "cop"}, {"analyzed", "yes"}, {"skip_reason", ""},
      {"threshold_source", "automatic"}, {"baseline_start", "3"}, {"baseline_end", "15"},
      {"low_signal", "yes"}, {"no_rise", "no"}, {"instrument_cq", "18.1"}, {"tm", "84.25"},
      {"melt_peaks", "2"}, {"flags", "low-signal;late-rise"},
      {"notes", "The signal is low. The curve rises late."}, {"fluorescence_scale", "100"},
      {"cq_method", "linear"}, {"cq_missing_reason", ""}};
  // clang-format on
  for (const auto& [column, text] : expected) EXPECT_EQ(csv.cell(0, column), text) << column;
  EXPECT_EQ(csv.cell(0, "cq_used"), csv.cell(0, "ct_linear"));

  // The refused well: its quoted name survives; in no group, no threshold.
  EXPECT_EQ(csv.cell(1, "sample"), "say \"hi\"");
  EXPECT_EQ(csv.cell(1, "analyzed"), "no");
  EXPECT_EQ(csv.cell(1, "skip_reason"), "only 5 cycles");
  EXPECT_EQ(csv.cell(1, "cq_missing_reason"), "not analysed: only 5 cycles");
  EXPECT_EQ(csv.cell(1, "fluorescence_scale"), "100");  // the plate's factor, on every well
  for (const char* column : {"quantity_given", "threshold", "threshold_source", "ct_linear",
                             "baseline_start", "baseline_end", "low_signal", "tm", "melt_peaks"}) {
    EXPECT_EQ(csv.cell(1, column), "") << column;
  }

  // The well without a Ct: NaN is an empty cell. Its readings start at
  // cycle 3, so its baseline, the first reading alone, is cycle 3 to 3.
  EXPECT_EQ(csv.cell(2, "ct_linear"), "");
  EXPECT_EQ(csv.cell(2, "baseline_start"), "3");
  EXPECT_EQ(csv.cell(2, "baseline_end"), "3");
  EXPECT_EQ(csv.cell(2, "no_rise"), "yes");
  EXPECT_EQ(csv.cell(2, "melt_peaks"), "");  // no melting readings

  // The skipped reaction closes the table.
  EXPECT_EQ(csv.cell(3, "well"), "B2");
  EXPECT_EQ(csv.cell(3, "analyzed"), "no");
  EXPECT_EQ(csv.cell(3, "skip_reason"), "not read: malformed number in <fluor>: 1,2");
  EXPECT_EQ(csv.cell(3, "fluorescence_scale"), "");
  EXPECT_EQ(csv.cell(3, "cq_used"), "");
  EXPECT_EQ(csv.cell(3, "cq_missing_reason"), "not read: malformed number in <fluor>: 1,2");
  EXPECT_EQ(csv.cell(3, "notes"), "");
}

// cq_used follows the chosen method, and an empty one always says why: the
// well's notes, or what the empty value means when no note explains it.
TEST(WellsCsv, ChosenCqAndWhyItIsMissing) {
  PlateResult plate = smallPlate();
  WellResult& noCt = plate.wells[2];
  Csv csv(render(plate, writeWellsCsv));
  EXPECT_EQ(csv.cell(2, "cq_used"), "");
  EXPECT_EQ(csv.cell(2, "cq_missing_reason"), "the processed curve does not cross the threshold");

  noCt.flags = {"no-ct", "ntc-clean"};
  noCt.notes = {"The curve never crosses the threshold.", "Good: the control stays flat."};
  csv = Csv(render(plate, writeWellsCsv));
  EXPECT_EQ(csv.cell(2, "cq_missing_reason"),
            "The curve never crosses the threshold. Good: the control stays flat.");

  // By the sigmoid method: a well with only a linear Ct has no Cq.
  plate.options.cqMethod = CqMethod::sigmoid;
  noCt.flags.clear();
  noCt.notes.clear();
  noCt.ctLinear = 31.5;
  plate.wells[0].ctSigmoid = 17.25;
  csv = Csv(render(plate, writeWellsCsv));
  EXPECT_EQ(csv.cell(0, "cq_method"), "sigmoid");
  EXPECT_EQ(csv.cell(0, "cq_used"), "17.25");
  EXPECT_EQ(csv.cell(2, "ct_linear"), "31.5");
  EXPECT_EQ(csv.cell(2, "cq_used"), "");
  EXPECT_EQ(csv.cell(2, "cq_missing_reason"), "no plausible logistic fit of the curve");
}

TEST(WellsCsv, ThresholdsOfTheWellsOwnGroupAndTallestPeak) {
  PlateResult plate = smallPlate();
  WellResult& actb = plate.wells[1];
  actb.analyzed = true;
  actb.group = 1;
  actb.reaction.target = "ACTB";
  actb.baselineStart = 2;  // but no readings to give the cycle number
  actb.baselineEnd = 5;
  plate.wells[2].group = 1;  // names another target's group
  // Peaks out of order, and one without a height: the tallest still wins.
  plate.wells[0].melt.peaks = {{70.0, kNaN, 1.0}, {78.5, 0.25, 2.0}, {84.25, 1.0, 1.5}};
  const Csv csv(render(plate, writeWellsCsv));
  EXPECT_EQ(csv.cell(1, "threshold"), "250");
  EXPECT_EQ(csv.cell(1, "threshold_source"), "user");
  EXPECT_EQ(csv.cell(1, "baseline_start"), "");
  EXPECT_EQ(csv.cell(1, "baseline_end"), "");
  EXPECT_EQ(csv.cell(2, "threshold"), "");
  EXPECT_EQ(csv.cell(0, "tm"), "84.25");
  EXPECT_EQ(csv.cell(0, "melt_peaks"), "3");
}

TEST(StandardCurvesCsv, CurvesWithEfficiencyAndNotes) {
  const PlateResult plate = smallPlate();
  const Csv csv(render(plate, writeStandardCurvesCsv));
  EXPECT_EQ(csv.header,
            (std::vector<std::string>{"run", "target", "cq_method", "points", "slope", "slope_se",
                                      "intercept", "r_squared", "rmse", "efficiency",
                                      "efficiency_low", "efficiency_high", "efficiency_percent",
                                      "efficiency_low_percent", "efficiency_high_percent",
                                      "log10_quantity_min", "log10_quantity_max", "note"}));
  ASSERT_EQ(csv.rows.size(), 2u);
  using S = StandardCurve;
  const std::vector<std::pair<std::string, double S::*>> numbers = {
      {"slope", &S::slope},
      {"slope_se", &S::slopeSe},
      {"intercept", &S::intercept},
      {"r_squared", &S::rSquared},
      {"rmse", &S::rmse},
      {"efficiency", &S::efficiency},
      {"efficiency_low", &S::efficiencyLow},
      {"efficiency_high", &S::efficiencyHigh},
      {"log10_quantity_min", &S::log10QuantityMin},
      {"log10_quantity_max", &S::log10QuantityMax}};
  for (const auto& [column, field] : numbers) {
    EXPECT_TRUE(readsBackAs(csv.cell(0, column), plate.standards[0].*field)) << column;
    EXPECT_EQ(csv.cell(1, column), "") << column;
  }
  EXPECT_EQ(csv.cell(0, "cq_method"), "linear");
  EXPECT_EQ(csv.cell(0, "points"), "3");
  const auto percent = [&](const char* column) {
    return std::strtod(csv.cell(0, column).c_str(), nullptr);
  };
  EXPECT_NEAR(percent("efficiency_percent"), 98.84, 0.01);
  EXPECT_NEAR(percent("efficiency_low_percent"), 95.12345, 1e-9);
  EXPECT_NEAR(percent("efficiency_high_percent"), 102.98765, 1e-9);
  EXPECT_EQ(csv.cell(1, "points"), "1");
  for (const char* column :
       {"efficiency_percent", "efficiency_low_percent", "efficiency_high_percent"}) {
    EXPECT_EQ(csv.cell(1, column), "") << column;
  }
  EXPECT_EQ(csv.cell(1, "note"), "fewer than two standards with a Ct");
}

TEST(QuantitiesCsv, RelativeQuantitiesWithErrorBars) {
  const PlateResult plate = smallPlate();
  const Csv csv(render(plate, writeQuantitiesCsv));
  EXPECT_EQ(csv.header,
            (std::vector<std::string>{"run", "target", "sample", "method", "cq_method",
                                      "target_factor", "reference_factor", "delta_ct", "sd", "se",
                                      "count", "calibrator_delta_ct", "delta_delta_ct", "rq",
                                      "lower", "upper", "note"}));
  ASSERT_EQ(csv.rows.size(), 2u);
  using Q = RelativeQuantity;
  const std::vector<std::pair<std::string, double Q::*>> numbers = {
      {"target_factor", &Q::targetFactor},
      {"reference_factor", &Q::referenceFactor},
      {"delta_ct", &Q::deltaCt},
      {"sd", &Q::sd},
      {"se", &Q::se},
      {"count", &Q::count},
      {"calibrator_delta_ct", &Q::calibratorDeltaCt},
      {"delta_delta_ct", &Q::deltaDeltaCt},
      {"rq", &Q::rq},
      {"lower", &Q::lower},
      {"upper", &Q::upper}};
  for (const auto& [column, field] : numbers) {
    EXPECT_TRUE(readsBackAs(csv.cell(0, column), plate.quantities[0].*field)) << column;
    EXPECT_EQ(csv.cell(1, column), "") << column;
  }
  EXPECT_EQ(csv.cell(1, "sample"), "untreated, day 2");
  EXPECT_EQ(csv.cell(1, "note"), "no Ct for the reference genes");
  EXPECT_EQ(csv.cell(0, "method"), "delta-delta Ct");
  EXPECT_EQ(csv.cell(0, "cq_method"), "linear");

  // Pfaffl's quantities name their method and carry the measured factors.
  PlateResult pfaffl = smallPlate();
  pfaffl.options.cqMethod = CqMethod::sigmoid;
  pfaffl.quantities[0].method = RqMethod::pfaffl;
  pfaffl.quantities[0].targetFactor = 1.9512345;
  pfaffl.quantities[0].referenceFactor = 2.0123;
  const Csv measured(render(pfaffl, writeQuantitiesCsv));
  EXPECT_EQ(measured.cell(0, "method"), "Pfaffl");
  EXPECT_EQ(measured.cell(0, "cq_method"), "sigmoid");
  EXPECT_EQ(measured.cell(0, "target_factor"), "1.9512345");
  EXPECT_EQ(measured.cell(0, "reference_factor"), "2.0123");
}

TEST(MeltingPeaksCsv, RankedPeaksAndWellsWithout) {
  PlateResult plate = smallPlate();
  plate.wells[0].melt.peaks = {{78.5, 0.25, 2.0}, {84.25, 1.0, 1.5}};  // not tallest first
  const Csv csv(render(plate, writeMeltingPeaksCsv));
  EXPECT_EQ(csv.header, (std::vector<std::string>{"run", "well", "target", "sample", "peak", "tm",
                                                  "height", "fwhm", "solve_status", "note"}));
  // Two peaks of the standard, one empty row for the refused well, nothing
  // for the well without melting readings.
  ASSERT_EQ(csv.rows.size(), 3u);
  EXPECT_EQ(csv.cell(0, "sample"), "std 1, high");
  EXPECT_EQ(csv.cell(0, "peak"), "1");
  EXPECT_EQ(csv.cell(0, "tm"), "84.25");
  EXPECT_EQ(csv.cell(0, "height"), "1");
  EXPECT_EQ(csv.cell(0, "fwhm"), "1.5");
  EXPECT_EQ(csv.cell(0, "solve_status"), "0");
  EXPECT_EQ(csv.cell(1, "peak"), "2");
  EXPECT_EQ(csv.cell(1, "tm"), "78.5");
  EXPECT_EQ(csv.cell(2, "well"), "A2");
  for (const char* column : {"peak", "tm", "height", "fwhm", "solve_status"}) {
    EXPECT_EQ(csv.cell(2, column), "") << column;
  }
  EXPECT_EQ(csv.cell(2, "note"), "too few melting readings");

  // Analysed, but no plausible peak: one row with the solver's status.
  plate.wells[0].melt.peaks.clear();
  plate.wells[0].melt.solveStatus = 3;
  plate.wells[0].melt.note = "no plausible peak";
  const Csv none(render(plate, writeMeltingPeaksCsv));
  ASSERT_EQ(none.rows.size(), 2u);
  EXPECT_EQ(none.cell(0, "peak"), "");
  EXPECT_EQ(none.cell(0, "solve_status"), "3");
  EXPECT_EQ(none.cell(0, "note"), "no plausible peak");

  // Analysed, but flat: no fit was run, so no status.
  plate.wells[0].melt.solveStatus = -1;
  EXPECT_EQ(Csv(render(plate, writeMeltingPeaksCsv)).cell(0, "solve_status"), "");

  // With the melting analysis turned off the table has its header only.
  plate.options.melting = false;
  EXPECT_TRUE(Csv(render(plate, writeMeltingPeaksCsv)).rows.empty());
}

TEST(CsvTables, EmptyPlateGivesHeadersOnly) {
  const PlateResult plate;
  for (const auto write :
       {writeWellsCsv, writeStandardCurvesCsv, writeQuantitiesCsv, writeMeltingPeaksCsv}) {
    const std::string text = render(plate, write);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    EXPECT_GT(Csv(text).header.size(), 2u);
  }
}

// A fresh folder under the system's temporary folder, removed afterwards.
class TempDir {
 public:
  TempDir() {
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    path_ = fs::temp_directory_path() / ("corvel-writer-test-" + std::to_string(stamp) + "-" +
                                         std::to_string(std::random_device{}()));
    fs::create_directories(path_);
  }
  ~TempDir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

TEST(WriteCsvTables, WritesTheFourFiles) {
  const PlateResult plate = smallPlate();
  const TempDir dir;
  writeCsvTables(plate, dir.path());
  const std::vector<std::pair<std::string, void (*)(const PlateResult&, std::ostream&)>> tables = {
      {"wells.csv", writeWellsCsv},
      {"standard_curves.csv", writeStandardCurvesCsv},
      {"quantities.csv", writeQuantitiesCsv},
      {"melting_peaks.csv", writeMeltingPeaksCsv}};
  for (const auto& [name, write] : tables) {
    const std::string text = readFile(dir.path() / name);
    EXPECT_EQ(text, render(plate, write)) << name;
    EXPECT_EQ(text.find("\r\n"), std::string::npos) << name;  // LF line ends
  }
  // Writing again replaces the files rather than appending.
  writeCsvTables(PlateResult{}, dir.path());
  EXPECT_EQ(Csv(readFile(dir.path() / "wells.csv")).rows.size(), 0u);
}

TEST(WriteCsvTables, FailuresNameTheFile) {
  const PlateResult plate = smallPlate();
  const TempDir dir;
  const fs::path missing = dir.path() / "no such folder";
  try {
    writeCsvTables(plate, missing);
    ADD_FAILURE() << "no error for a missing folder";
  } catch (const std::runtime_error& e) {
    EXPECT_NE(std::string(e.what()).find((missing / "wells.csv").string()), std::string::npos)
        << e.what();
  }
  // A folder in the place of the third file: the first two are written,
  // the error names the third.
  fs::create_directory(dir.path() / "quantities.csv");
  try {
    writeCsvTables(plate, dir.path());
    ADD_FAILURE() << "no error for an unwritable file";
  } catch (const std::runtime_error& e) {
    EXPECT_NE(std::string(e.what()).find("quantities.csv"), std::string::npos) << e.what();
  }
  EXPECT_TRUE(fs::is_regular_file(dir.path() / "standard_curves.csv"));
}

// ---------------------------------------------------------------- summary

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(Summary, NamesScaleMethodsFlagsAndEfficiencyInterval) {
  PlateResult plate = smallPlate();
  plate.path = "plate.rdml";
  plate.options.tmMin = 80.0;
  plate.options.tmMax = 86.0;
  plate.wells[2].flags = {"no-ct", "no-ct"};  // counted once for the well
  plate.wells[2].notes = {"The curve never crosses the threshold.", ""};
  const std::string text = plateSummary(plate);
  EXPECT_TRUE(contains(text,
                       "fluorescence scale: 100 (largest reading 18.5: normalized units); "
                       "values are reported in the file's units\n"))
      << text;
  EXPECT_TRUE(contains(text, "GAPDH: threshold 0.1235 (automatic)")) << text;
  EXPECT_TRUE(contains(text, "ACTB: threshold 250.0 (given)")) << text;
  EXPECT_TRUE(contains(text,
                       "Cq used for statistics: linear (threshold crossing); 1 analysed "
                       "well has none"))
      << text;
  EXPECT_TRUE(contains(text, "flags: late-rise 1 well, low-signal 1 well, no-ct 1 well")) << text;
  EXPECT_TRUE(contains(text, "efficiency 98.8 % (95 % CI 95.1 to 103.0 %)")) << text;
  EXPECT_TRUE(contains(text, "3 points over log10(q) 3.00 to 5.00")) << text;
  EXPECT_TRUE(contains(text, "standard curve TNF: fewer than two standards with a Ct")) << text;
  EXPECT_TRUE(contains(text, "relative quantities (delta-delta Ct: factor 2 per cycle)")) << text;
  EXPECT_FALSE(contains(text, "factors")) << text;
  EXPECT_TRUE(contains(text, "expected Tm 80.0 to 86.0 °C")) << text;
  EXPECT_EQ(text.back(), '\n');
}

TEST(Summary, OtherScalesSigmoidCqAndPfaffl) {
  PlateResult plate = smallPlate();
  plate.options.cqMethod = CqMethod::sigmoid;
  plate.options.rqMethod = RqMethod::pfaffl;
  plate.quantities[0].method = RqMethod::pfaffl;
  plate.quantities[0].targetFactor = 1.9512345;
  plate.quantities[0].referenceFactor = 2.0123;
  plate.scale = 1.0;
  plate.scaleReason = "";
  std::string text = plateSummary(plate);
  EXPECT_TRUE(contains(text, "fluorescence scale: 1\n")) << text;
  // Of the two analysed wells the standard has a sigmoid Ct, the other none.
  EXPECT_TRUE(contains(text,
                       "Cq used for statistics: sigmoid (from the logistic fit); 1 analysed "
                       "well has none"))
      << text;
  EXPECT_TRUE(contains(text, "relative quantities (Pfaffl: each target's measured efficiency)"))
      << text;
  EXPECT_TRUE(contains(text, "factors 1.951 (target) and 2.012 (references)")) << text;
  plate.standards[0].efficiencyHigh = kNaN;
  EXPECT_TRUE(contains(plateSummary(plate), "(95 % CI from 95.1 %, no upper bound)"));
  EXPECT_FALSE(contains(text, "flags: no-ct")) << text;

  plate.options.scale = 1e5;
  for (const auto& [factor, shown] :
       std::vector<std::pair<double, std::string>>{{0.001, "scale: 0.001, as given;"},
                                                   {1e5, "scale: 100000, as given;"},
                                                   {1e-8, "scale: 10^-8, as given;"},
                                                   {1e12, "scale: 10^12, as given;"},
                                                   {2.5, "scale: 2.5, as given;"}}) {
    plate.scale = factor;
    EXPECT_TRUE(contains(plateSummary(plate), shown)) << shown;
  }
}

// ---------------------------------------------------------------- progress

std::size_t countOf(const std::string& text, char c) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), c));
}

TEST(Progress, DisabledWritesNothing) {
  testing::internal::CaptureStderr();
  {
    Progress progress("reading", 10, false);
    for (int i = 0; i < 10; ++i) progress.advance();
    progress.finish();
  }
  { Progress unfinished("analysing", 5, false); }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Progress, RedrawsOnlyWhenThePercentageChanges) {
  testing::internal::CaptureStderr();
  {
    Progress progress("wells", 4, true);
    for (int i = 0; i < 4; ++i) progress.advance();
    progress.advance(7);  // past the total: stays at 4/4, no redraw
  }
  const std::string quarters = testing::internal::GetCapturedStderr();
  // 0, 25, 50, 75 and 100 %, then the clearing line (which starts and ends
  // with a carriage return).
  EXPECT_EQ(countOf(quarters, '\r'), 5u + 2u) << quarters;
  EXPECT_NE(quarters.find("\rwells [" + std::string(30, ' ') + "] 0/4"), std::string::npos);
  EXPECT_NE(quarters.find("\rwells [" + std::string(15, '#') + std::string(15, ' ') + "] 2/4"),
            std::string::npos);
  EXPECT_NE(quarters.find("\rwells [" + std::string(30, '#') + "] 4/4"), std::string::npos);
  // Cleared: the output ends with blanks over the whole line.
  const std::string lastLine = quarters.substr(quarters.rfind('\r', quarters.size() - 2));
  EXPECT_EQ(lastLine.find_first_not_of(" \r"), std::string::npos);
  EXPECT_GE(lastLine.size(), std::string("wells [] 4/4").size() + 30);

  testing::internal::CaptureStderr();
  {
    Progress fine("cycles", 1000, true);
    for (int i = 0; i < 1000; ++i) fine.advance();
    fine.finish();
    fine.finish();  // a second finish does nothing
  }
  EXPECT_EQ(countOf(testing::internal::GetCapturedStderr(), '\r'), 101u + 2u);
}

TEST(Progress, SeveralThreadsAdvancing) {
  constexpr int kThreads = 8;
  constexpr int kSteps = 500;
  testing::internal::CaptureStderr();
  {
    Progress progress("melting", kThreads * kSteps, true);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&] {
        for (int i = 0; i < kSteps; ++i) progress.advance();
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
  const std::string text = testing::internal::GetCapturedStderr();
  EXPECT_NE(text.find("] 4000/4000"), std::string::npos);
  EXPECT_EQ(countOf(text, '\r'), 101u + 2u);
}

TEST(Progress, LongLabelsAreCutOnCharacterBoundaries) {
  // 30 two-byte characters: 60 bytes, cut to whole characters.
  std::string label;
  for (int i = 0; i < 30; ++i) label += "\xC3\xA9";
  testing::internal::CaptureStderr();
  {
    Progress progress(label, 0, true);
    progress.addWork(7);
  }
  const std::string text = testing::internal::GetCapturedStderr();
  ASSERT_NE(text.find(" ["), std::string::npos) << text;
  const std::string drawn = text.substr(1, text.find(" [") - 1);
  EXPECT_LE(drawn.size(), 40u);
  ASSERT_GE(drawn.size(), 3u);
  EXPECT_EQ(drawn.substr(drawn.size() - 3), "...");
  EXPECT_EQ((drawn.size() - 3) % 2, 0u) << "a character was split";
  EXPECT_NE(text.find("] 0/7"), std::string::npos) << text;
}

TEST(Progress, NothingIsDrawnBeforeWorkIsAnnounced) {
  testing::internal::CaptureStderr();
  {
    Progress progress("reading", 0, true);
    progress.advance(3);  // nothing announced: nothing to count against
    progress.finish();
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace corvel::tool

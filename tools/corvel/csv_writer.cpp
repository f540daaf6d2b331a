// The CSV result tables. Every table is a view of PlateResult: one header
// row, then one row per record, fields separated by commas, lines ended by
// LF. Numbers are written in their shortest exact form so that a program
// reading the table gets the very doubles the analysis computed; a missing
// value (NaN, or a quantity that does not apply) is an empty cell.
#include "csv_writer.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "text.h"

namespace corvel::tool {
namespace {

// Collects the fields of one row and writes them as one CSV line.
class Row {
 public:
  Row& text(std::string_view value) {
    fields_.push_back(csvField(value));
    return *this;
  }
  Row& number(double value) {
    fields_.push_back(formatNumber(value));
    return *this;
  }
  Row& integer(long long value) {
    fields_.push_back(std::to_string(value));
    return *this;
  }
  Row& yesNo(bool value) { return text(value ? "yes" : "no"); }
  Row& empty() {
    fields_.emplace_back();
    return *this;
  }

  // Empty cells up to the given number of fields.
  Row& padTo(std::size_t count) {
    if (fields_.size() < count) fields_.resize(count);
    return *this;
  }

  void writeTo(std::ostream& out) const {
    for (std::size_t i = 0; i < fields_.size(); ++i) {
      if (i > 0) out << ',';
      out << fields_[i];
    }
    out << '\n';
  }

 private:
  std::vector<std::string> fields_;
};

// The wells table's columns; documented in docs/outputs.md.
const std::vector<std::string_view> kWellColumns = {
    // identity
    "run", "well", "target", "sample", "type", "quantity_given", "quantity_unit",
    // amplification
    "analyzed", "skip_reason", "fluorescence_scale", "threshold", "threshold_source", "ct_linear",
    "ct_sigmoid", "cq_method", "cq_used", "cq_missing_reason", "quantity",
    // the curve's features
    "baseline_start", "baseline_end", "baseline_slope", "baseline_noise", "max_value", "step_rise",
    "max_slope", "sigmoid_top", "sigmoid_mid", "sigmoid_rate", "low_signal", "no_rise",
    // instrument, melting, flags
    "instrument_cq", "tm", "melt_peaks", "flags", "notes"};

std::size_t columnIndex(std::string_view name) {
  return static_cast<std::size_t>(std::find(kWellColumns.begin(), kWellColumns.end(), name) -
                                  kWellColumns.begin());
}

void writeHeader(std::ostream& out, const std::vector<std::string_view>& names) {
  Row row;
  for (const std::string_view name : names) row.text(name);
  row.writeTo(out);
}

std::string join(const std::vector<std::string>& parts, std::string_view separator) {
  std::string joined;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) joined += separator;
    joined += parts[i];
  }
  return joined;
}

// The amplification group of a well, or nullptr when it has none (kNoGroup)
// or its index does not name a group of its own run and target, so that a
// table never shows another target's threshold.
const AmplificationGroup* groupOf(const PlateResult& plate, const WellResult& well) {
  if (well.group >= plate.groups.size()) return nullptr;
  const AmplificationGroup& group = plate.groups[well.group];
  if (group.run != well.reaction.run || group.target != well.reaction.target) return nullptr;
  return &group;
}

// The fitted melting peaks ranked by height, tallest first. The analysis
// already lists them so; ranking here keeps the wells table (which shows the
// tallest peak's Tm) and the peaks table agreeing whatever the order. A peak
// without a height ranks last; the stable sort keeps the given order among
// equal heights.
std::vector<const MeltPeak*> rankedPeaks(const MeltResult& melt) {
  const auto key = [](const MeltPeak* peak) {
    return std::isnan(peak->height) ? -std::numeric_limits<double>::infinity() : peak->height;
  };
  std::vector<const MeltPeak*> ranked;
  ranked.reserve(melt.peaks.size());
  for (const MeltPeak& peak : melt.peaks) ranked.push_back(&peak);
  std::stable_sort(ranked.begin(), ranked.end(),
                   [&](const MeltPeak* a, const MeltPeak* b) { return key(a) > key(b); });
  return ranked;
}

// Why a well has no Cq by the chosen method, or "" when it has one: the
// reason it was not analysed, else its notes, else what an empty value of
// that method means by definition (a well whose flags say nothing more).
std::string cqMissingReason(const WellResult& well, CqMethod method) {
  if (!std::isnan(chosenCq(well, method))) return {};
  if (!well.analyzed) {
    return well.skipReason.empty() ? "not analysed" : "not analysed: " + well.skipReason;
  }
  if (!well.notes.empty()) return join(well.notes, " ");
  return method == CqMethod::sigmoid ? "no plausible logistic fit of the curve"
                                     : "the processed curve does not cross the threshold";
}

void writeTable(const std::filesystem::path& file, void (*write)(const PlateResult&, std::ostream&),
                const PlateResult& plate) {
  // Binary mode: LF line ends on every system.
  errno = 0;
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  if (!out.is_open()) {
    const int error = errno;
    std::string message = file.u8string() + ": cannot create the file";
    if (error != 0)
      message += " (" + std::error_code(error, std::generic_category()).message() + ")";
    throw std::runtime_error(message);
  }
  write(plate, out);
  out.flush();
  out.close();
  if (out.fail()) throw std::runtime_error(file.u8string() + ": cannot write the file");
}

}  // namespace

void writeWellsCsv(const PlateResult& plate, std::ostream& out) {
  writeHeader(out, kWellColumns);

  for (const WellResult& well : plate.wells) {
    const Reaction& reaction = well.reaction;
    Row row;
    row.text(reaction.run).text(reaction.well).text(reaction.target).text(reaction.sample);
    row.text(reaction.sampleType);
    if (reaction.quantity) {
      row.number(*reaction.quantity).text(reaction.quantityUnit);
    } else {
      row.empty().empty();
    }
    row.yesNo(well.analyzed).text(well.skipReason).number(plate.scale);

    if (const AmplificationGroup* group = groupOf(plate, well)) {
      row.number(group->threshold).text(group->thresholdFromUser ? "user" : "automatic");
    } else {
      row.empty().empty();
    }
    const CqMethod method = plate.options.cqMethod;
    row.number(well.ctLinear).number(well.ctSigmoid).text(cqMethodName(method));
    row.number(chosenCq(well, method)).text(cqMissingReason(well, method));
    row.number(well.quantity);

    // The record gives the baseline as positions in the curve, the start
    // counted from 1 and the end from 0. The table gives the cycle numbers
    // of those readings, as the file counts them, like the Cts: for a curve
    // read from cycle 1 that is the start as it is and the end plus one.
    const auto cycleAt = [&](long long index) {
      const std::vector<double>& cycles = reaction.cycles;
      return well.analyzed && index >= 0 && static_cast<std::size_t>(index) < cycles.size()
                 ? cycles[static_cast<std::size_t>(index)]
                 : kNaN;
    };
    row.number(cycleAt(static_cast<long long>(well.baselineStart) - 1));
    row.number(cycleAt(well.baselineEnd));
    row.number(well.baselineSlope).number(well.baselineNoise).number(well.maxValue);
    row.number(well.stepRise).number(well.maxSlope);
    row.number(well.sigmoidTop).number(well.sigmoidMid).number(well.sigmoidRate);
    if (well.analyzed) {
      row.yesNo(well.lowSignal).yesNo(well.noRise);
    } else {
      row.empty().empty();
    }
    if (reaction.instrumentCq) {
      row.number(*reaction.instrumentCq);
    } else {
      row.empty();
    }

    const std::vector<const MeltPeak*> peaks = rankedPeaks(well.melt);
    if (!peaks.empty()) {
      row.number(peaks.front()->tm);
    } else {
      row.empty();
    }
    if (well.melt.analyzed) {
      row.integer(static_cast<long long>(well.melt.peaks.size()));
    } else {
      row.empty();
    }
    row.text(join(well.flags, ";")).text(join(well.notes, " "));
    row.writeTo(out);
  }

  // Reactions the reader met but could not take are listed too, so that the
  // table accounts for every reaction of the file.
  for (const SkippedReaction& skipped : plate.skipped) {
    Row row;
    row.text(skipped.run).text(skipped.well).text(skipped.target);
    row.empty().empty().empty().empty();  // sample, type, quantity_given, quantity_unit
    row.yesNo(false).text("not read: " + skipped.reason);
    // No Cq either, and the same reason for it.
    row.padTo(columnIndex("cq_missing_reason")).text("not read: " + skipped.reason);
    row.padTo(kWellColumns.size());
    row.writeTo(out);
  }
}

void writeStandardCurvesCsv(const PlateResult& plate, std::ostream& out) {
  writeHeader(out, {"run", "target", "cq_method", "points", "slope", "slope_se", "intercept",
                    "r_squared", "rmse", "efficiency", "efficiency_low", "efficiency_high",
                    "efficiency_percent", "efficiency_low_percent", "efficiency_high_percent",
                    "log10_quantity_min", "log10_quantity_max", "note"});
  for (const StandardCurve& curve : plate.standards) {
    Row row;
    row.text(curve.run).text(curve.target).text(cqMethodName(plate.options.cqMethod));
    row.integer(static_cast<long long>(curve.log10Quantity.size()));
    row.number(curve.slope).number(curve.slopeSe).number(curve.intercept);
    row.number(curve.rSquared).number(curve.rmse);
    row.number(curve.efficiency).number(curve.efficiencyLow).number(curve.efficiencyHigh);
    row.number(curve.efficiency * 100.0).number(curve.efficiencyLow * 100.0);
    row.number(curve.efficiencyHigh * 100.0);
    row.number(curve.log10QuantityMin).number(curve.log10QuantityMax);
    row.text(curve.note);
    row.writeTo(out);
  }
}

void writeQuantitiesCsv(const PlateResult& plate, std::ostream& out) {
  writeHeader(out, {"run", "target", "sample", "method", "cq_method", "target_factor",
                    "reference_factor", "delta_ct", "sd", "se", "count", "calibrator_delta_ct",
                    "delta_delta_ct", "rq", "lower", "upper", "note"});
  for (const RelativeQuantity& q : plate.quantities) {
    Row row;
    row.text(q.run).text(q.target).text(q.sample);
    row.text(rqMethodName(q.method)).text(cqMethodName(plate.options.cqMethod));
    row.number(q.targetFactor).number(q.referenceFactor);
    row.number(q.deltaCt).number(q.sd).number(q.se).number(q.count);
    row.number(q.calibratorDeltaCt).number(q.deltaDeltaCt).number(q.rq);
    row.number(q.lower).number(q.upper);
    row.text(q.note);
    row.writeTo(out);
  }
}

void writeMeltingPeaksCsv(const PlateResult& plate, std::ostream& out) {
  writeHeader(out, {"run", "well", "target", "sample", "peak", "tm", "height", "fwhm",
                    "solve_status", "note"});
  // With the melting analysis turned off there is nothing to list.
  if (!plate.options.melting) return;
  for (const WellResult& well : plate.wells) {
    if (!well.hasMelt()) continue;
    const Reaction& reaction = well.reaction;
    const MeltResult& melt = well.melt;
    const auto identity = [&](Row& row) {
      row.text(reaction.run).text(reaction.well).text(reaction.target).text(reaction.sample);
    };
    // The solver's status when the fit was run; -1 (the default) means it
    // was not, e.g. for a flat derivative curve.
    const auto status = [&](Row& row) {
      if (melt.analyzed && melt.solveStatus >= 0) {
        row.integer(melt.solveStatus);
      } else {
        row.empty();
      }
    };

    if (!melt.analyzed || melt.peaks.empty()) {
      Row row;
      identity(row);
      row.empty().empty().empty().empty();  // peak, tm, height, fwhm
      status(row);
      row.text(melt.note);
      row.writeTo(out);
      continue;
    }

    const std::vector<const MeltPeak*> ranked = rankedPeaks(melt);
    for (std::size_t i = 0; i < ranked.size(); ++i) {
      Row row;
      identity(row);
      row.integer(static_cast<long long>(i) + 1);
      row.number(ranked[i]->tm).number(ranked[i]->height).number(ranked[i]->fwhm);
      status(row);
      row.text(melt.note);
      row.writeTo(out);
    }
  }
}

void writeCsvTables(const PlateResult& plate, const std::filesystem::path& dir) {
  writeTable(dir / "wells.csv", writeWellsCsv, plate);
  writeTable(dir / "standard_curves.csv", writeStandardCurvesCsv, plate);
  writeTable(dir / "quantities.csv", writeQuantitiesCsv, plate);
  writeTable(dir / "melting_peaks.csv", writeMeltingPeaksCsv, plate);
}

}  // namespace corvel::tool

// The JSON document of a plate. Keys follow the field names of the result
// records (camelCase), mostly in the order the records declare them, so that
// the document reads like results.h; the plate's fluorescence scale comes
// first, and the Cq a well's statistics use, which the record only implies,
// is added next to the two Cts. Every double is written with the shortest
// text that reads back to the same value; NaN and infinities, which JSON
// cannot hold, become null.
#include "json_writer.h"

#include <cmath>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace corvel::tool {
namespace {

using Json = nlohmann::ordered_json;

// Text that is not valid UTF-8 (a sample name in a legacy code page, say)
// is written with U+FFFD in place of the bad bytes instead of failing the
// whole document.
constexpr auto kUtf8Errors = nlohmann::json::error_handler_t::replace;

Json number(double v) {
  return std::isfinite(v) ? Json(v) : Json(nullptr);
}

Json number(const std::optional<double>& v) {
  return v ? number(*v) : Json(nullptr);
}

Json numbers(const std::vector<double>& values) {
  Json array = Json::array();
  array.get_ref<Json::array_t&>().reserve(values.size());
  for (double v : values) array.push_back(number(v));
  return array;
}

Json strings(const std::vector<std::string>& values) {
  Json array = Json::array();
  for (const std::string& s : values) array.push_back(s);
  return array;
}

// The confidence level a confidence index stands for, in percent.
Json confidenceLevel(int index) {
  static constexpr double kLevels[] = {95.0, 97.0, 99.0, 99.5, 99.7, 99.9};
  if (index < 0 || index >= static_cast<int>(std::size(kLevels))) return nullptr;
  return kLevels[index];
}

Json optionsJson(const AnalysisOptions& o) {
  Json j;
  j["threshold"] = number(o.threshold);
  j["referenceGenes"] = strings(o.referenceGenes);
  j["calibrator"] = o.calibrator;
  j["errorBar"] = o.errorBar;
  j["errorBarKind"] = o.errorBar == 1   ? "student-t interval"
                      : o.errorBar == 2 ? "multiple of SD"
                                        : "unknown";
  j["confidenceIndex"] = o.confidenceIndex;
  j["confidenceLevel"] = confidenceLevel(o.confidenceIndex);
  j["sdMultiple"] = o.sdMultiple;
  j["peakWidth"] = number(o.peakWidth);
  j["minPeakHeight"] = number(o.minPeakHeight);
  j["minPeakFwhm"] = number(o.minPeakFwhm);
  j["maxPeakFwhm"] = number(o.maxPeakFwhm);
  j["melting"] = o.melting;
  // null: the factor was chosen from the data (see the plate's "scale").
  j["scale"] = number(o.scale);
  j["cqMethod"] = cqMethodName(o.cqMethod);
  j["rqMethod"] = rqMethodName(o.rqMethod);
  j["tmMin"] = number(o.tmMin);
  j["tmMax"] = number(o.tmMax);
  return j;
}

Json runJson(const Run& r) {
  Json j;
  j["id"] = r.id;
  j["instrument"] = r.instrument;
  j["rows"] = r.rows;
  j["columns"] = r.columns;
  j["background"] = r.background;
  return j;
}

Json groupJson(const AmplificationGroup& g) {
  Json j;
  j["run"] = g.run;
  j["target"] = g.target;
  j["cycles"] = g.cycles;
  j["threshold"] = number(g.threshold);
  j["thresholdFromUser"] = g.thresholdFromUser;
  Json wells = Json::array();
  for (std::size_t w : g.wells) wells.push_back(w);
  j["wells"] = std::move(wells);
  return j;
}

Json peakJson(const MeltPeak& p) {
  Json j;
  j["tm"] = number(p.tm);
  j["height"] = number(p.height);
  j["fwhm"] = number(p.fwhm);
  return j;
}

Json peaksJson(const std::vector<MeltPeak>& peaks) {
  Json array = Json::array();
  for (const MeltPeak& p : peaks) array.push_back(peakJson(p));
  return array;
}

Json meltJson(const MeltResult& m) {
  Json j;
  j["analyzed"] = m.analyzed;
  j["note"] = m.note;
  j["gridStep"] = number(m.gridStep);
  j["readingsUsed"] = m.readingsUsed;
  j["temperatures"] = numbers(m.temperatures);
  j["derivative"] = numbers(m.derivative);
  j["normalized"] = numbers(m.normalized);
  j["fitted"] = numbers(m.fitted);
  j["startPeaks"] = peaksJson(m.startPeaks);
  j["peaks"] = peaksJson(m.peaks);
  j["solveStatus"] = m.solveStatus;
  return j;
}

// The group a well belongs to, or null when its index does not name a
// group that lists the well (a well that took no part in any group).
Json groupOf(const PlateResult& plate, std::size_t wellIndex) {
  const std::size_t g = plate.wells[wellIndex].group;
  if (g >= plate.groups.size()) return nullptr;
  for (std::size_t w : plate.groups[g].wells) {
    if (w == wellIndex) return g;
  }
  return nullptr;
}

Json wellJson(const PlateResult& plate, std::size_t index) {
  const WellResult& w = plate.wells[index];
  const Reaction& r = w.reaction;
  Json j;
  j["run"] = r.run;
  j["well"] = r.well;
  j["wellNumber"] = r.wellNumber;
  j["target"] = r.target;
  j["sample"] = r.sample;
  j["sampleType"] = r.sampleType;
  // The quantity the file gives a standard; "quantity" below is the one
  // read off the standard curve.
  j["standardQuantity"] = number(r.quantity);
  j["quantityUnit"] = r.quantityUnit;
  j["instrumentCq"] = number(r.instrumentCq);
  j["origin"] = r.origin;

  j["analyzed"] = w.analyzed;
  j["skipReason"] = w.skipReason;
  j["group"] = groupOf(plate, index);
  j["ctLinear"] = number(w.ctLinear);
  j["ctSigmoid"] = number(w.ctSigmoid);
  // The one of the two the standard curves, relative quantities and
  // replicate checks use (options.cqMethod).
  j["cqUsed"] = number(chosenCq(w, plate.options.cqMethod));
  j["quantity"] = number(w.quantity);
  j["flags"] = strings(w.flags);
  j["notes"] = strings(w.notes);

  Json features;
  features["baselineStart"] = w.baselineStart;
  features["baselineEnd"] = w.baselineEnd;
  features["baselineSlope"] = number(w.baselineSlope);
  features["baselineNoise"] = number(w.baselineNoise);
  features["maxValue"] = number(w.maxValue);
  features["stepRise"] = number(w.stepRise);
  features["maxSlope"] = number(w.maxSlope);
  features["sigmoidTop"] = number(w.sigmoidTop);
  features["sigmoidMid"] = number(w.sigmoidMid);
  features["sigmoidRate"] = number(w.sigmoidRate);
  features["lowSignal"] = w.lowSignal;
  features["noRise"] = w.noRise;
  j["features"] = std::move(features);

  Json curves;
  curves["raw"] = numbers(w.curve);
  curves["processed"] = numbers(w.processed);
  curves["sigmoidFit"] = numbers(w.sigmoidFit);
  j["curves"] = std::move(curves);

  // The readings exactly as the file gave them.
  Json readings;
  readings["cycles"] = numbers(r.cycles);
  readings["fluorescence"] = numbers(r.fluorescence);
  readings["temperatures"] = numbers(r.temperatures);
  readings["meltFluorescence"] = numbers(r.meltFluorescence);
  j["readings"] = std::move(readings);

  j["melt"] = w.hasMelt() ? meltJson(w.melt) : Json(nullptr);
  return j;
}

Json standardJson(const StandardCurve& s) {
  Json j;
  j["run"] = s.run;
  j["target"] = s.target;
  j["log10Quantity"] = numbers(s.log10Quantity);
  j["ct"] = numbers(s.ct);
  j["slope"] = number(s.slope);
  j["intercept"] = number(s.intercept);
  j["rmse"] = number(s.rmse);
  j["rSquared"] = number(s.rSquared);
  j["efficiency"] = number(s.efficiency);
  j["note"] = s.note;
  j["slopeSe"] = number(s.slopeSe);
  j["efficiencyLow"] = number(s.efficiencyLow);
  j["efficiencyHigh"] = number(s.efficiencyHigh);
  j["log10QuantityMin"] = number(s.log10QuantityMin);
  j["log10QuantityMax"] = number(s.log10QuantityMax);
  return j;
}

Json quantityJson(const RelativeQuantity& q) {
  Json j;
  j["run"] = q.run;
  j["target"] = q.target;
  j["sample"] = q.sample;
  j["deltaCt"] = number(q.deltaCt);
  j["sd"] = number(q.sd);
  j["se"] = number(q.se);
  j["count"] = number(q.count);
  j["calibratorDeltaCt"] = number(q.calibratorDeltaCt);
  j["deltaDeltaCt"] = number(q.deltaDeltaCt);
  j["rq"] = number(q.rq);
  j["lower"] = number(q.lower);
  j["upper"] = number(q.upper);
  j["note"] = q.note;
  j["method"] = rqMethodName(q.method);
  j["targetFactor"] = number(q.targetFactor);
  j["referenceFactor"] = number(q.referenceFactor);
  return j;
}

Json skippedJson(const SkippedReaction& s) {
  Json j;
  j["run"] = s.run;
  j["well"] = s.well;
  j["target"] = s.target;
  j["reason"] = s.reason;
  return j;
}

Json orderedPlateJson(const PlateResult& plate) {
  Json j;
  j["file"] = plate.path;
  j["format"] = plate.format;
  j["libraryVersion"] = plate.libraryVersion;
  // Placed first: every fluorescence value below is in the file's own units,
  // and this says what the analysis multiplied them by.
  j["scale"] = number(plate.scale);
  j["scaleReason"] = plate.scaleReason;
  j["options"] = optionsJson(plate.options);
  j["runs"] = Json::array();
  for (const Run& r : plate.runs) j["runs"].push_back(runJson(r));
  j["groups"] = Json::array();
  for (const AmplificationGroup& g : plate.groups) j["groups"].push_back(groupJson(g));
  j["wells"] = Json::array();
  for (std::size_t i = 0; i < plate.wells.size(); ++i) j["wells"].push_back(wellJson(plate, i));
  j["standardCurves"] = Json::array();
  for (const StandardCurve& s : plate.standards) j["standardCurves"].push_back(standardJson(s));
  j["relativeQuantities"] = Json::array();
  for (const RelativeQuantity& q : plate.quantities) {
    j["relativeQuantities"].push_back(quantityJson(q));
  }
  j["skippedReactions"] = Json::array();
  for (const SkippedReaction& s : plate.skipped) j["skippedReactions"].push_back(skippedJson(s));
  j["warnings"] = strings(plate.warnings);
  return j;
}

bool isScalar(const Json& j) {
  return !j.is_object() && !j.is_array();
}

// Indented output that keeps an array of plain values (a curve, a list of
// flags) and a small object of plain values (a peak) on one line: a plate's
// curves then take one line each instead of one line per reading.
void writeIndented(const Json& j, std::ostream& out, int depth) {
  const std::string inner(static_cast<std::size_t>(depth + 1) * 2, ' ');
  const std::string outer(static_cast<std::size_t>(depth) * 2, ' ');
  if (j.is_object()) {
    if (j.empty()) {
      out << "{}";
      return;
    }
    bool small = j.size() <= 4;
    for (auto it = j.begin(); small && it != j.end(); ++it) small = isScalar(it.value());
    if (small) {  // a melting peak, a run: one line
      out << "{";
      for (auto it = j.begin(); it != j.end(); ++it) {
        out << (it == j.begin() ? "" : ", ") << Json(it.key()).dump(-1, ' ', false, kUtf8Errors)
            << ": " << it.value().dump(-1, ' ', false, kUtf8Errors);
      }
      out << "}";
      return;
    }
    out << "{\n";
    bool first = true;
    for (auto it = j.begin(); it != j.end(); ++it) {
      if (!first) out << ",\n";
      first = false;
      out << inner << Json(it.key()).dump(-1, ' ', false, kUtf8Errors) << ": ";
      writeIndented(it.value(), out, depth + 1);
    }
    out << '\n' << outer << '}';
  } else if (j.is_array()) {
    bool flat = true;
    for (const Json& e : j) flat = flat && isScalar(e);
    if (flat) {
      out << j.dump(-1, ' ', false, kUtf8Errors);
      return;
    }
    out << "[\n";
    bool first = true;
    for (const Json& e : j) {
      if (!first) out << ",\n";
      first = false;
      out << inner;
      writeIndented(e, out, depth + 1);
    }
    out << '\n' << outer << ']';
  } else {
    out << j.dump(-1, ' ', false, kUtf8Errors);
  }
}

}  // namespace

nlohmann::json plateJson(const PlateResult& plate) {
  return nlohmann::json(orderedPlateJson(plate));
}

void writeJson(const PlateResult& plate, std::ostream& out) {
  writeIndented(orderedPlateJson(plate), out, 0);
  out << '\n';
}

}  // namespace corvel::tool

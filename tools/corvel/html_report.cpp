// The HTML report. The page is written in two layers:
//  - static HTML for everything that is text: the header, the options, the
//    warnings and skipped reactions and every result table, so that the
//    numbers can be read, printed and searched without running a script;
//  - the plate's JSON document (the one writeJson() writes) embedded in a
//    data block, from which the inline script draws the charts as SVG and
//    makes the tables sortable.
// A Content-Security-Policy forbids every fetch, so a stray reference to
// anything outside the file fails visibly instead of reaching the network.
#include "html_report.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "json_writer.h"
#include "report_assets.h"

namespace corvel::tool {
namespace {

constexpr const char* kContentSecurityPolicy =
    "default-src 'none'; script-src 'unsafe-inline'; style-src 'unsafe-inline'; "
    "img-src data:; base-uri 'none'; form-action 'none'";

// Text for element content and attribute values.
std::string escape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

// The JSON text made safe inside a <script> element: '<', '>' and '&' can
// only occur inside JSON strings, where their \u escapes mean the same, so
// neither "</script>" nor "<!--" can appear in the data.
std::string scriptSafeJson(const std::string& json) {
  std::string out;
  out.reserve(json.size() + json.size() / 64);
  for (char c : json) {
    switch (c) {
      case '<':
        out += "\\u003c";
        break;
      case '>':
        out += "\\u003e";
        break;
      case '&':
        out += "\\u0026";
        break;
      default:
        out += c;
    }
  }
  return out;
}

// Numbers are formatted with <charconv>, which ignores the locale: the
// report always uses a decimal point. A value that rounds to zero is shown
// without a sign ("0.000", not "-0.000").
std::string toChars(double v, std::chars_format format, int precision) {
  char buffer[400];  // room for any double in fixed notation
  const auto written = std::to_chars(buffer, buffer + sizeof buffer, v, format, precision);
  std::string text(buffer, written.ptr);
  const std::size_t nonZero = text.find_first_of("123456789");
  const std::size_t exponent = text.find_first_of("eE");
  if (!text.empty() && text[0] == '-' && (nonZero == std::string::npos || nonZero > exponent)) {
    text.erase(0, 1);
  }
  return text;
}

// A number for people to read with the given decimals; very large or small
// magnitudes switch to exponent notation so the text stays short.
std::string fixed(double v, int decimals) {
  if (std::isnan(v)) return "";
  if (std::isinf(v)) return v > 0 ? "\u221e" : "\u2212\u221e";
  const double a = std::fabs(v);
  if (a >= 1e9 || (a > 0 && a < std::pow(10.0, -decimals))) {
    return toChars(v, std::chars_format::scientific, 3);
  }
  return toChars(v, std::chars_format::fixed, decimals);
}

// A number with the given significant digits: plain decimals from 0.001
// up to a million, exponent notation outside.
std::string significant(double v, int digits) {
  if (std::isnan(v)) return "";
  if (std::isinf(v)) return v > 0 ? "\u221e" : "\u2212\u221e";
  const double a = std::fabs(v);
  if (a == 0) return toChars(v, std::chars_format::fixed, std::max(0, digits - 1));
  if (a < 1e-3 || a >= 1e6) return toChars(v, std::chars_format::scientific, digits - 1);
  const int magnitude = static_cast<int>(std::floor(std::log10(a)));
  return toChars(v, std::chars_format::fixed, std::max(0, digits - 1 - magnitude));
}

// Up to six significant digits without trailing zeros, for parameters.
std::string readable(double v) {
  if (!std::isfinite(v)) return std::isnan(v) ? "" : v > 0 ? "\u221e" : "\u2212\u221e";
  return toChars(v, std::chars_format::general, 6);
}

// The exact value (the shortest text that reads back to it), for sorting.
std::string exact(double v) {
  if (!std::isfinite(v)) return "";
  char buffer[32];
  return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, v).ptr);
}

// A numeric cell: shown as text, sorted by its exact value; empty values
// show a dash and sort last.
void numberCell(std::ostream& out, double v, const std::string& text) {
  if (text.empty()) {
    out << "<td class=\"num na\" data-v=\"\">\u2014</td>";
  } else {
    out << "<td class=\"num\" data-v=\"" << exact(v) << "\">" << escape(text) << "</td>";
  }
}

void textCell(std::ostream& out, std::string_view text) {
  out << "<td>" << escape(text) << "</td>";
}

// A column heading; labels are fixed markup (entities allowed), numeric
// columns are right-aligned like their cells.
struct Column {
  std::string_view label;
  bool numeric = false;
};

// The heading row; the Run column comes first and only when the plate has
// several runs.
void headerRow(std::ostream& out, bool withRun, const std::vector<Column>& columns) {
  out << "<thead><tr>";
  if (withRun) out << "<th scope=\"col\">Run</th>";
  for (const Column& c : columns) {
    out << "<th scope=\"col\"" << (c.numeric ? " class=\"num\"" : "") << ">" << c.label << "</th>";
  }
  out << "</tr></thead>\n";
}

std::string fileName(const std::string& path) {
  if (path.empty()) return "(unnamed plate)";
  const std::string name = std::filesystem::path(path).filename().string();
  return name.empty() ? path : name;
}

bool severalRuns(const PlateResult& plate) {
  std::set<std::string> runs;
  for (const WellResult& w : plate.wells) runs.insert(w.reaction.run);
  for (const Run& r : plate.runs) runs.insert(r.id);
  return runs.size() > 1;
}

std::string confidenceText(int index) {
  static constexpr const char* kLevels[] = {"95", "97", "99", "99.5", "99.7", "99.9"};
  if (index < 0 || index > 5) return "confidence index " + std::to_string(index);
  return std::string(kLevels[index]) + "\u202f% confidence";
}

// The factor the fluorescence was multiplied by, as markup: "100", "0.001",
// "10<sup>-5</sup>" (with a minus sign); any other factor as a plain number.
std::string factorMarkup(double factor) {
  if (!(factor > 0) || !std::isfinite(factor)) return "unknown";
  const double exponent = std::round(std::log10(factor));
  if (std::fabs(factor / std::pow(10.0, exponent) - 1.0) > 1e-12) return escape(readable(factor));
  const int k = static_cast<int>(exponent);
  if (k >= -3 && k <= 6) return toChars(factor, std::chars_format::fixed, std::max(0, -k));
  return "10<sup>" + std::string(k < 0 ? "\u2212" : "") + std::to_string(k < 0 ? -k : k) + "</sup>";
}

const char* cqLabel(CqMethod method) {
  return method == CqMethod::sigmoid ? "Ct (sigmoid)" : "Ct (linear)";
}

// The notes of a well as one text.
std::string joinedNotes(const WellResult& w) {
  std::string text;
  for (const std::string& note : w.notes) {
    if (note.empty()) continue;
    if (!text.empty()) text += ' ';
    text += note;
  }
  return text;
}

// Why a well has no Ct by the given method: the reason it was not analysed,
// else its notes, else what an empty value of that method means by
// definition (for a well whose flags say nothing more).
std::string missingCtReason(const WellResult& w, CqMethod method) {
  if (!w.analyzed) {
    return "Not analysed: " +
           (w.skipReason.empty() ? std::string("no reason given") : w.skipReason);
  }
  std::string notes = joinedNotes(w);
  if (!notes.empty()) return notes;
  return method == CqMethod::sigmoid ? "No plausible logistic fit of the curve."
                                     : "The processed curve does not cross the threshold.";
}

// A Ct cell of the wells table. An empty one links to the row's notes and
// carries the reason in its tooltip, so that "why is there no Ct?" is
// answered where the question arises.
void ctCell(std::ostream& out, const WellResult& w, CqMethod method, std::size_t row, bool used) {
  const double v = chosenCq(w, method);
  const char* usedClass = used ? " used" : "";
  if (std::isfinite(v)) {
    out << "<td class=\"num" << usedClass << "\" data-v=\"" << exact(v) << "\">"
        << escape(fixed(v, 2)) << "</td>";
    return;
  }
  out << "<td class=\"num na" << usedClass << "\" data-v=\"\"><a class=\"why\" href=\"#why-" << row
      << "\" title=\""
      << escape(std::string("No ") + cqLabel(method) + ": " + missingCtReason(w, method))
      << "\">\u2014 <span>why?</span></a></td>";
}

// Whether the well carries the flag. Wells the analysis could not take
// carry "not-analyzed" with their reason; the report names any others by
// their reason itself.
bool flagged(const WellResult& w, const std::string& flag) {
  return std::find(w.flags.begin(), w.flags.end(), flag) != w.flags.end();
}

// Wells per flag, for the summary's flag panel.
struct FlagCount {
  std::string name;
  bool notAnalysed = false;  // the wells the analysis could not take, named by their reason
  std::vector<std::size_t> wells;
  std::string example;  // the first well's note for the flag
};

// Wells the analysis could not take first, then the flags, most frequent
// first and in order of first appearance among equals.
std::vector<FlagCount> flagCounts(const PlateResult& plate) {
  FlagCount skipped{"not analysed", true, {}, {}};
  std::vector<FlagCount> flags;
  for (std::size_t i = 0; i < plate.wells.size(); ++i) {
    const WellResult& w = plate.wells[i];
    if (!w.analyzed && !flagged(w, "not-analyzed")) {
      skipped.wells.push_back(i);
      if (skipped.example.empty()) skipped.example = w.skipReason;
    }
    for (std::size_t f = 0; f < w.flags.size(); ++f) {
      auto it = std::find_if(flags.begin(), flags.end(),
                             [&](const FlagCount& c) { return c.name == w.flags[f]; });
      if (it == flags.end()) {
        flags.push_back({w.flags[f], false, {}, {}});
        it = std::prev(flags.end());
      }
      // A flag given twice to one well counts the well once.
      if (!it->wells.empty() && it->wells.back() == i) continue;
      it->wells.push_back(i);
      if (it->example.empty() && f < w.notes.size()) it->example = w.notes[f];
    }
  }
  std::stable_sort(flags.begin(), flags.end(), [](const FlagCount& a, const FlagCount& b) {
    return a.wells.size() > b.wells.size();
  });
  if (!skipped.wells.empty()) flags.insert(flags.begin(), std::move(skipped));
  return flags;
}

// The wells named by their positions, grouped by run and target in order
// of first appearance ("IL6: B6, B7; TNF: C1"), the target left out when
// the plate has only one; at most `limit` wells, then how many more.
std::string wellList(const PlateResult& plate, const std::vector<std::size_t>& wells,
                     std::size_t limit) {
  std::set<std::string> targets;
  for (const WellResult& w : plate.wells) targets.insert(w.reaction.target);
  const bool runs = severalRuns(plate);
  const bool named = runs || targets.size() > 1;
  std::vector<std::pair<std::string, std::vector<std::string>>> groups;
  for (std::size_t k = 0; k < wells.size() && k < limit; ++k) {
    const Reaction& r = plate.wells[wells[k]].reaction;
    const std::string key = (runs ? r.run + " \u00b7 " : std::string()) + r.target;
    auto it =
        std::find_if(groups.begin(), groups.end(), [&](const auto& g) { return g.first == key; });
    if (it == groups.end()) {
      groups.push_back({key, {}});
      it = std::prev(groups.end());
    }
    it->second.push_back(r.well);
  }
  std::string list;
  for (const auto& [key, names] : groups) {
    if (!list.empty()) list += "; ";
    if (named) list += (key.empty() ? "(no target)" : key) + ": ";
    for (std::size_t i = 0; i < names.size(); ++i) list += (i ? ", " : "") + names[i];
  }
  if (wells.size() > limit) list += " and " + std::to_string(wells.size() - limit) + " more";
  return list;
}

void writeFlagPanel(const PlateResult& plate, std::ostream& out) {
  out << "<h3 id=\"flags\">Flags</h3>\n";
  const std::vector<FlagCount> flags = flagCounts(plate);
  if (plate.wells.empty()) {
    out << "<p class=\"empty\">No reactions, so no flags.</p>\n";
    return;
  }
  if (flags.empty()) {
    out << "<p class=\"empty\">No well carries a flag.</p>\n";
    return;
  }
  std::size_t flagged = 0;
  for (const WellResult& w : plate.wells) flagged += (!w.analyzed || !w.flags.empty()) ? 1 : 0;
  out << "<p class=\"hint\">" << flagged << " of " << plate.wells.size()
      << " wells carry a flag. Each well's reasons are in the last column of the wells table; "
         "click a flag to show only its wells there.</p>\n"
      << "<div class=\"table-wrap\"><table class=\"sortable\" id=\"flag-table\">\n";
  headerRow(out, false, {{"Flag"}, {"Wells", true}, {"For example"}, {"Which wells"}});
  out << "<tbody>\n";
  constexpr std::size_t kListed = 24;
  for (const FlagCount& f : flags) {
    out << "<tr><td><button type=\"button\" class=\"flag" << (f.notAnalysed ? " skip" : "")
        << "\" data-flag=\"" << escape(f.name) << "\"" << (f.notAnalysed ? " data-skip=\"\"" : "")
        << ">" << escape(f.name) << "</button></td>";
    numberCell(out, static_cast<double>(f.wells.size()), std::to_string(f.wells.size()));
    textCell(out, f.example);
    out << "<td class=\"wells-list\">" << escape(wellList(plate, f.wells, kListed))
        << "</td></tr>\n";
  }
  out << "</tbody></table></div>\n";
}

void writeHead(const PlateResult& plate, std::ostream& out) {
  out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      << "<meta http-equiv=\"Content-Security-Policy\" content=\"" << kContentSecurityPolicy
      << "\">\n"
      << "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      << "<meta name=\"generator\" content=\"corvel\">\n"
      << "<title>" << escape(fileName(plate.path))
      << " \u2014 qPCR report</title>\n"
      // Errors are recorded on the page from the very first script on, so
      // that even a script that fails to parse leaves a trace.
      << "<script>" << kReportErrorHandler << "</script>\n"
      << "<style>\n"
      << kReportCss << "</style>\n</head>\n";
}

void writeSummary(const PlateResult& plate, std::ostream& out) {
  std::set<std::string> targets, samples;
  std::size_t analyzed = 0, melting = 0, withCq = 0;
  for (const WellResult& w : plate.wells) {
    targets.insert(w.reaction.target);
    samples.insert(w.reaction.sample);
    if (w.analyzed) ++analyzed;
    if (w.hasMelt()) ++melting;
    if (std::isfinite(chosenCq(w, plate.options.cqMethod))) ++withCq;
  }

  out << "<header class=\"masthead\">\n<div class=\"brand\">corvel \u00b7 qPCR analysis "
         "report</div>\n"
      << "<h1>" << escape(fileName(plate.path)) << "</h1>\n";
  if (!plate.path.empty() && plate.path != fileName(plate.path)) {
    out << "<p class=\"path\">" << escape(plate.path) << "</p>\n";
  }
  out << "<dl class=\"facts\">"
      << "<div><dt>Format</dt><dd>" << escape(plate.format.empty() ? "unknown" : plate.format)
      << "</dd></div>"
      << "<div><dt>Library</dt><dd>CorvelAlg "
      << escape(plate.libraryVersion.empty() ? "(version unknown)" : plate.libraryVersion)
      << "</dd></div>"
      << "<div title=\"" << escape(plate.scaleReason) << "\"><dt>Fluorescence scale</dt><dd>"
      << "\u00d7" << factorMarkup(plate.scale)
      << (plate.scale == 1.0 ? " (as read)" : " for the analysis") << "</dd></div>";
  for (const Run& r : plate.runs) {
    out << "<div><dt>Run</dt><dd>" << escape(r.id.empty() ? "(unnamed)" : r.id);
    if (!r.instrument.empty()) out << " \u00b7 " << escape(r.instrument);
    if (r.rows > 0 && r.columns > 0) {
      out << " \u00b7 " << r.rows * r.columns << "-well plate (" << r.rows << "\u00d7" << r.columns
          << ")";
    }
    if (!r.background.empty()) out << " \u00b7 background: " << escape(r.background);
    out << "</dd></div>";
  }
  out << "</dl>\n</header>\n";

  out << "<nav class=\"sections\"><a href=\"#summary\">Summary</a>"
      << "<a href=\"#flags\">Flags</a><a href=\"#amplification\">Amplification</a>"
      << "<a href=\"#standard-curves\">Standard curves</a>"
      << "<a href=\"#relative-quantities\">Relative quantities</a>"
      << "<a href=\"#melting\">Melting</a><a href=\"#wells\">Wells</a></nav>\n";

  out << "<main>\n<noscript><p class=\"notice\">The charts are drawn by the page's script, "
         "which is disabled; every result is in the tables below.</p></noscript>\n";

  out << "<section id=\"summary\">\n<h2>Summary</h2>\n<div class=\"counts\">";
  auto count = [&out](std::size_t n, std::string_view label, std::string_view detail = {},
                      bool alert = false) {
    out << "<div class=\"count" << (alert ? " alert" : "") << "\"><b>" << n << "</b><span>" << label
        << "</span>";
    if (!detail.empty()) out << "<small>" << escape(detail) << "</small>";
    out << "</div>";
  };
  count(plate.wells.size(), "reactions",
        plate.wells.empty() ? "" : std::to_string(analyzed) + " analysed");
  count(plate.groups.size(), "amplification groups");
  count(targets.size(), "targets");
  count(withCq, "wells with a Ct",
        plate.wells.empty() ? ""
                            : std::string(cqMethodName(plate.options.cqMethod)) + ", " +
                                  std::to_string(plate.wells.size() - withCq) + " without");
  count(samples.size(), "samples");
  count(plate.standards.size(), "standard curves");
  count(plate.quantities.size(), "relative quantities");
  count(melting, "melting curves");
  count(plate.skipped.size(), "skipped reactions", {}, !plate.skipped.empty());
  count(plate.warnings.size(), "warnings", {}, !plate.warnings.empty());
  out << "</div>\n";

  const AnalysisOptions& o = plate.options;
  out << "<h3>Analysis options</h3>\n<dl class=\"options\">";
  out << "<div><dt>Threshold</dt><dd>"
      << (o.threshold ? escape(readable(*o.threshold)) + " (fixed)"
                      : std::string("automatic, per run and target"))
      << "</dd></div>";
  out << "<div><dt>Fluorescence scale</dt><dd>\u00d7" << factorMarkup(plate.scale)
      << (o.scale ? ", as given" : ", chosen from the data");
  if (!plate.scaleReason.empty()) out << ": " << escape(plate.scaleReason);
  out << "</dd></div>";
  out << "<div><dt>Ct for statistics</dt><dd>"
      << (o.cqMethod == CqMethod::sigmoid ? "sigmoid (from the logistic fit)"
                                          : "linear (threshold crossing)")
      << "; both are reported</dd></div>";
  out << "<div><dt>Relative quantities</dt><dd>"
      << (o.rqMethod == RqMethod::pfaffl
              ? "Pfaffl: each target&#39;s efficiency from its standard curve"
              : "\u0394\u0394Ct: every target doubles per cycle (factor 2)")
      << "</dd></div>";
  out << "<div><dt>Reference genes</dt><dd>";
  if (o.referenceGenes.empty()) out << "none";
  for (std::size_t i = 0; i < o.referenceGenes.size(); ++i) {
    out << (i ? ", " : "") << escape(o.referenceGenes[i]);
  }
  out << "</dd></div>";
  out << "<div><dt>Calibrator</dt><dd>" << (o.calibrator.empty() ? "none" : escape(o.calibrator))
      << "</dd></div>";
  out << "<div><dt>Error bars</dt><dd>";
  if (o.errorBar == 2) {
    out << o.sdMultiple << " \u00d7 SD";
  } else if (o.errorBar == 1) {
    out << "Student t interval, " << confidenceText(o.confidenceIndex);
  } else {
    out << "kind " << o.errorBar;
  }
  out << "</dd></div>";
  out << "<div><dt>Melting</dt><dd>";
  if (o.melting) {
    out << "peak width " << escape(readable(o.peakWidth)) << "\u202f\u00b0C, peaks above "
        << escape(readable(o.minPeakHeight * 100)) << "\u202f% of the tallest, FWHM "
        << escape(readable(o.minPeakFwhm)) << "\u2013" << escape(readable(o.maxPeakFwhm))
        << "\u202f\u00b0C";
  } else {
    out << "not analysed";
  }
  out << "</dd></div>";
  out << "<div><dt>Expected Tm</dt><dd>";
  if (o.tmMin && o.tmMax) {
    out << escape(readable(*o.tmMin)) << "\u2013" << escape(readable(*o.tmMax)) << "\u202f\u00b0C";
  } else if (o.tmMin) {
    out << "from " << escape(readable(*o.tmMin)) << "\u202f\u00b0C";
  } else if (o.tmMax) {
    out << "up to " << escape(readable(*o.tmMax)) << "\u202f\u00b0C";
  } else {
    out << "any (no window given)";
  }
  out << "</dd></div></dl>\n";
  writeFlagPanel(plate, out);

  if (!plate.warnings.empty()) {
    out << "<h3>Warnings</h3>\n<ul class=\"warnings\">";
    for (const std::string& w : plate.warnings) out << "<li>" << escape(w) << "</li>";
    out << "</ul>\n";
  }
  if (!plate.skipped.empty()) {
    out << "<h3>Skipped reactions</h3>\n<p class=\"hint\">Reactions the file holds but that could "
           "not be read; the rest of the plate was analysed without them.</p>\n"
        << "<div class=\"table-wrap\"><table class=\"sortable\" id=\"skipped-table\">\n";
    headerRow(out, false, {{"Run"}, {"Well"}, {"Target"}, {"Reason"}});
    out << "<tbody>\n";
    for (const SkippedReaction& s : plate.skipped) {
      out << "<tr>";
      textCell(out, s.run);
      textCell(out, s.well);
      textCell(out, s.target);
      textCell(out, s.reason);
      out << "</tr>\n";
    }
    out << "</tbody></table></div>\n";
  }
  out << "</section>\n";
}

void writeAmplification(const PlateResult& plate, std::ostream& out) {
  out << "<section id=\"amplification\">\n<h2>Amplification</h2>\n";
  if (plate.groups.empty()) {
    out << "<p class=\"empty\">No amplification curves: the plate has no reaction with "
           "amplification readings that could be analysed.</p>\n";
  } else {
    out << "<p class=\"hint\">One chart per run and target, with its threshold. Ct marks sit "
           "where each curve crosses the threshold; point at a curve to identify its well.";
    if (plate.scale != 1.0) {
      out << " Fluorescence and thresholds are shown in the file&#39;s own units; the analysis "
             "multiplied them by "
          << factorMarkup(plate.scale) << " (see the analysis options).";
    }
    out << "</p>\n"
        << "<div class=\"toolbar\" id=\"amp-controls\"></div>\n"
        << "<div class=\"charts\" id=\"amp-charts\"></div>\n";
  }
  out << "</section>\n";
}

void writeStandardCurves(const PlateResult& plate, std::ostream& out) {
  out << "<section id=\"standard-curves\">\n<h2>Standard curves</h2>\n";
  if (plate.standards.empty()) {
    out << "<p class=\"empty\">No standard curve: the plate has no standards with quantities "
           "and a Ct.</p>\n</section>\n";
    return;
  }
  const bool runs = severalRuns(plate);
  out << "<p class=\"hint\">" << cqLabel(plate.options.cqMethod)
      << " regressed on log<sub>10</sub> of the standards&#39; quantities. The efficiency "
         "E = 10<sup>\u22121/slope</sup> \u2212 1 is given with its 95\u202f% confidence "
         "interval from the slope&#39;s standard error; the linear range is the span of "
         "quantities fitted.</p>\n"
      << "<div class=\"charts\" id=\"std-charts\"></div>\n"
      << "<div class=\"table-wrap\"><table class=\"sortable\" id=\"standard-table\">\n";
  headerRow(out, runs,
            {{"Target"},
             {"Points", true},
             {"Slope", true},
             {"Slope SE", true},
             {"Intercept", true},
             {"Efficiency (%)", true},
             {"95\u202f% CI (%)", true},
             {"R\u00b2", true},
             {"RMSE", true},
             {"Linear range (log<sub>10</sub> q)", true},
             {"Note"}});
  out << "<tbody>\n";
  for (const StandardCurve& s : plate.standards) {
    out << "<tr>";
    if (runs) textCell(out, s.run);
    textCell(out, s.target);
    const double points = static_cast<double>(s.ct.size());
    numberCell(out, points, std::to_string(s.ct.size()));
    numberCell(out, s.slope, fixed(s.slope, 4));
    numberCell(out, s.slopeSe, fixed(s.slopeSe, 4));
    numberCell(out, s.intercept, fixed(s.intercept, 3));
    numberCell(out, s.efficiency, fixed(s.efficiency * 100, 1));
    // Without an upper end (the slope's interval reaches 0) the lower end
    // alone still bounds the efficiency.
    std::string interval;
    if (std::isfinite(s.efficiencyLow)) {
      interval = std::isfinite(s.efficiencyHigh)
                     ? fixed(s.efficiencyLow * 100, 1) + "\u2013" + fixed(s.efficiencyHigh * 100, 1)
                     : "\u2265\u202f" + fixed(s.efficiencyLow * 100, 1);
    }
    numberCell(out, s.efficiencyLow, interval);
    numberCell(out, s.rSquared, fixed(s.rSquared, 4));
    numberCell(out, s.rmse, fixed(s.rmse, 3));
    const bool range = std::isfinite(s.log10QuantityMin) && std::isfinite(s.log10QuantityMax);
    numberCell(out, s.log10QuantityMin,
               range ? fixed(s.log10QuantityMin, 2) + "\u2013" + fixed(s.log10QuantityMax, 2)
                     : std::string());
    textCell(out, s.note);
    out << "</tr>\n";
  }
  out << "</tbody></table></div>\n</section>\n";
}

void writeQuantities(const PlateResult& plate, std::ostream& out) {
  out << "<section id=\"relative-quantities\">\n<h2>Relative quantities</h2>\n";
  if (plate.quantities.empty()) {
    if (plate.options.referenceGenes.empty() || plate.options.calibrator.empty()) {
      out << "<p class=\"empty\">No relative quantities: they need reference genes and a "
             "calibrator sample (see the analysis options).</p>\n</section>\n";
    } else {
      out << "<p class=\"empty\">No relative quantities could be computed with these reference "
             "genes and this calibrator.</p>\n</section>\n";
    }
    return;
  }
  const bool runs = severalRuns(plate);
  bool pfaffl = false, deltaDelta = false;
  for (const RelativeQuantity& q : plate.quantities) {
    (q.method == RqMethod::pfaffl ? pfaffl : deltaDelta) = true;
  }
  out << "<p class=\"hint\">";
  if (deltaDelta) {
    out << "\u0394\u0394Ct, factor 2: RQ = 2<sup>\u2212\u0394\u0394Ct</sup>, assuming every "
           "target doubles per cycle. ";
  }
  if (pfaffl) {
    out << "Pfaffl: RQ = E<sub>target</sub><sup>\u0394Ct target</sup> / "
           "E<sub>ref</sub><sup>\u0394Ct ref</sup> (\u0394Ct = calibrator \u2212 sample), with "
           "each target&#39;s amplification factor E = 1 + efficiency from its standard curve "
           "(the factors are in the table). ";
  }
  out << "Against the reference genes, relative to the calibrator sample, from the "
      << cqLabel(plate.options.cqMethod)
      << " values; bars show the error bar on a logarithmic axis.</p>\n"
      << "<div class=\"charts\" id=\"rq-charts\"></div>\n"
      << "<div class=\"table-wrap\"><table class=\"sortable\" id=\"quantity-table\">\n";
  std::vector<Column> columns = {{"Target"}, {"Sample"}};
  // The method and the factors only when they say more than "factor 2".
  if (pfaffl) {
    columns.insert(columns.end(),
                   {{"Method"}, {"Factor target", true}, {"Factor reference", true}});
  }
  columns.insert(columns.end(), {{"\u0394Ct", true},
                                 {"SD", true},
                                 {"SE", true},
                                 {"n", true},
                                 {"\u0394Ct calibrator", true},
                                 {"\u0394\u0394Ct", true},
                                 {"RQ", true},
                                 {"Lower", true},
                                 {"Upper", true},
                                 {"Note"}});
  headerRow(out, runs, columns);
  out << "<tbody>\n";
  for (const RelativeQuantity& q : plate.quantities) {
    out << "<tr>";
    if (runs) textCell(out, q.run);
    textCell(out, q.target);
    textCell(out, q.sample);
    if (pfaffl) {
      textCell(out, q.method == RqMethod::pfaffl ? "Pfaffl" : "\u0394\u0394Ct");
      numberCell(out, q.targetFactor, fixed(q.targetFactor, 3));
      numberCell(out, q.referenceFactor, fixed(q.referenceFactor, 3));
    }
    numberCell(out, q.deltaCt, fixed(q.deltaCt, 3));
    numberCell(out, q.sd, fixed(q.sd, 3));
    numberCell(out, q.se, fixed(q.se, 3));
    numberCell(out, q.count, exact(q.count));
    numberCell(out, q.calibratorDeltaCt, fixed(q.calibratorDeltaCt, 3));
    numberCell(out, q.deltaDeltaCt, fixed(q.deltaDeltaCt, 3));
    numberCell(out, q.rq, significant(q.rq, 4));
    numberCell(out, q.lower, significant(q.lower, 4));
    numberCell(out, q.upper, significant(q.upper, 4));
    textCell(out, q.note);
    out << "</tr>\n";
  }
  out << "</tbody></table></div>\n</section>\n";
}

void writeMelting(const PlateResult& plate, std::ostream& out) {
  out << "<section id=\"melting\">\n<h2>Melting</h2>\n";
  std::size_t melting = 0;
  for (const WellResult& w : plate.wells) melting += w.hasMelt() ? 1 : 0;
  if (melting == 0) {
    out << "<p class=\"empty\">No melting curves: the plate has no melting readings.</p>\n"
           "</section>\n";
    return;
  }
  const bool runs = severalRuns(plate);
  const AnalysisOptions& o = plate.options;
  out << "<p class=\"hint\">Derivative melting curves \u2212dF/dT with the noise floor removed, "
         "and the fitted peaks (dashed); triangles mark each fitted Tm.";
  if (o.tmMin || o.tmMax) {
    out << " The shaded band is the expected Tm range (";
    if (o.tmMin && o.tmMax) {
      out << escape(readable(*o.tmMin)) << "\u2013" << escape(readable(*o.tmMax));
    } else if (o.tmMin) {
      out << "from " << escape(readable(*o.tmMin));
    } else {
      out << "up to " << escape(readable(*o.tmMax));
    }
    out << "\u202f\u00b0C); a peak outside it is flagged.";
  }
  out << "</p>\n"
      << "<div class=\"toolbar\" id=\"melt-controls\"></div>\n"
      << "<div class=\"charts\" id=\"melt-charts\"></div>\n"
      << "<h3>Melting peaks</h3>\n"
      << "<div class=\"table-wrap tall\"><table class=\"sortable\" id=\"peak-table\">\n";
  headerRow(out, runs,
            {{"Well"},
             {"Target"},
             {"Sample"},
             {"Peak", true},
             {"Tm (\u00b0C)", true},
             {"Height", true},
             {"FWHM (\u00b0C)", true},
             {"Note"}});
  out << "<tbody>\n";
  for (const WellResult& w : plate.wells) {
    if (!w.hasMelt()) continue;
    const Reaction& r = w.reaction;
    auto identity = [&]() {
      out << "<tr>";
      if (runs) textCell(out, r.run);
      textCell(out, r.well);
      textCell(out, r.target);
      textCell(out, r.sample);
    };
    if (w.melt.peaks.empty()) {
      identity();
      numberCell(out, kNaN, "");
      numberCell(out, kNaN, "");
      numberCell(out, kNaN, "");
      numberCell(out, kNaN, "");
      textCell(out, !w.melt.note.empty() ? w.melt.note
                    : w.melt.analyzed    ? "no plausible peak"
                                         : "not analysed");
      out << "</tr>\n";
      continue;
    }
    for (std::size_t p = 0; p < w.melt.peaks.size(); ++p) {
      const MeltPeak& peak = w.melt.peaks[p];
      identity();
      numberCell(out, static_cast<double>(p + 1), std::to_string(p + 1));
      numberCell(out, peak.tm, fixed(peak.tm, 2));
      numberCell(out, peak.height, significant(peak.height, 4));
      numberCell(out, peak.fwhm, fixed(peak.fwhm, 2));
      textCell(out, p == 0 ? w.melt.note : std::string());
      out << "</tr>\n";
    }
  }
  out << "</tbody></table></div>\n</section>\n";
}

void writeWells(const PlateResult& plate, std::ostream& out) {
  out << "<section id=\"wells\">\n<h2>Wells</h2>\n";
  if (plate.wells.empty()) {
    out << "<p class=\"empty\">The plate has no reactions.</p>\n</section>\n";
    return;
  }
  const bool runs = severalRuns(plate);
  const CqMethod used = plate.options.cqMethod;
  bool fileCq = false, given = false, melt = false;
  for (const WellResult& w : plate.wells) {
    fileCq = fileCq || w.reaction.instrumentCq.has_value();
    given = given || w.reaction.quantity.has_value();
    melt = melt || w.hasMelt();
  }
  out << "<p class=\"hint\">Every reaction of the plate in file order, Ct values in cycles. Both "
         "Cts are reported; the one marked <span class=\"badge\">used</span> feeds the standard "
         "curves, the relative quantities and the replicate checks. Where a Ct is missing, "
         "point at <span class=\"why-sample\">why?</span> for the reason or read it in the last "
         "column, which gives every well&#39;s flags and what they mean.</p>\n"
      << "<p class=\"filter\" id=\"well-filter\" hidden></p>\n"
      << "<div class=\"table-wrap tall\"><table class=\"sortable\" id=\"well-table\">\n"
      << "<thead><tr>";
  auto th = [&out](std::string_view label, bool numeric = false, bool badge = false) {
    out << "<th scope=\"col\"" << (numeric ? " class=\"num\"" : "") << ">" << label;
    if (badge) out << " <span class=\"badge\">used</span>";
    out << "</th>";
  };
  if (runs) th("Run");
  th("Well");
  th("Target");
  th("Sample");
  th("Type");
  th("Ct (linear)", true, used == CqMethod::linear);
  th("Ct (sigmoid)", true, used == CqMethod::sigmoid);
  if (fileCq) th("Cq (file)", true);
  if (given) th("Given quantity", true);
  th("Quantity", true);
  if (melt) th("Tm (\u00b0C)", true);
  th("Flags and why");
  out << "</tr></thead>\n<tbody>\n";

  for (std::size_t i = 0; i < plate.wells.size(); ++i) {
    const WellResult& w = plate.wells[i];
    const Reaction& r = w.reaction;
    out << "<tr data-well=\"" << i << "\"" << (w.analyzed ? "" : " class=\"skipped\"") << ">";
    if (runs) textCell(out, r.run);
    textCell(out, r.well);
    textCell(out, r.target);
    textCell(out, r.sample);
    textCell(out, r.sampleType);
    ctCell(out, w, CqMethod::linear, i, used == CqMethod::linear);
    ctCell(out, w, CqMethod::sigmoid, i, used == CqMethod::sigmoid);
    if (fileCq) {
      const double cq = r.instrumentCq.value_or(kNaN);
      numberCell(out, cq, fixed(cq, 2));
    }
    if (given) {
      const double q = r.quantity.value_or(kNaN);
      std::string text = readable(q);
      if (!text.empty() && !r.quantityUnit.empty()) text += " " + r.quantityUnit;
      numberCell(out, q, text);
    }
    numberCell(out, w.quantity, significant(w.quantity, 4));
    if (melt) {
      std::string tms;
      for (const MeltPeak& p : w.melt.peaks) {
        if (!std::isfinite(p.tm)) continue;
        tms += (tms.empty() ? "" : ", ") + fixed(p.tm, 2);
      }
      const double first = w.melt.peaks.empty() ? kNaN : w.melt.peaks.front().tm;
      numberCell(out, first, tms);
    }

    // The flags as chips (the note on hover), then the notes to read; a
    // missing Ct that no note explains gets what the empty value means.
    out << "<td class=\"notes\" id=\"why-" << i << "\">";
    if (!w.analyzed && !flagged(w, "not-analyzed")) {
      out << "<span class=\"flag skip\">not analysed</span> "
          << escape(w.skipReason.empty() ? "no reason given" : w.skipReason);
    }
    for (std::size_t f = 0; f < w.flags.size(); ++f) {
      out << "<span class=\"flag\"";
      if (f < w.notes.size() && !w.notes[f].empty())
        out << " title=\"" << escape(w.notes[f]) << "\"";
      out << ">" << escape(w.flags[f]) << "</span> ";
    }
    for (const std::string& note : w.notes) {
      if (!note.empty()) out << "<span class=\"note\">" << escape(note) << "</span>";
    }
    if (w.analyzed && joinedNotes(w).empty()) {
      for (const CqMethod method : {CqMethod::linear, CqMethod::sigmoid}) {
        if (std::isfinite(chosenCq(w, method))) continue;
        out << "<span class=\"note\">No " << cqLabel(method) << ": "
            << escape(missingCtReason(w, method)) << "</span>";
      }
    }
    if (w.hasMelt() && !w.melt.note.empty()) {
      out << "<span class=\"note\">Melting: " << escape(w.melt.note) << "</span>";
    }
    out << "</td></tr>\n";
  }
  out << "</tbody></table></div>\n</section>\n";
}

// Curves in the page are for drawing: six significant digits are far below
// a pixel, and a melting curve on the library's fine grid (ten points per
// reading) holds no more detail than a few hundred points show.
constexpr int kChartDigits = 6;
constexpr std::size_t kMaxMeltPoints = 500;

double forChart(double v) {
  if (!std::isfinite(v)) return v;
  char buffer[32];
  const auto written =
      std::to_chars(buffer, buffer + sizeof buffer, v, std::chars_format::general, kChartDigits);
  double rounded = v;
  std::from_chars(buffer, written.ptr, rounded);
  return rounded;
}

nlohmann::json chartSeries(const nlohmann::json& values, std::size_t stride) {
  nlohmann::json out = nlohmann::json::array();
  auto push = [&out](const nlohmann::json& v) {
    out.push_back(v.is_number() ? nlohmann::json(forChart(v.get<double>())) : v);
  };
  const std::size_t n = values.size();
  for (std::size_t i = 0; i < n; i += stride) push(values[i]);
  // The last point too, so that the curve spans the whole range.
  if (n > 0 && (n - 1) % stride != 0) push(values[n - 1]);
  return out;
}

// The JSON document as the page gets it: every result and every scalar
// exactly as writeJson() writes them, the curves rounded for drawing (see
// above), without the two bulky series the page never draws: the readings
// as the file gave them and the melting derivative before normalization.
nlohmann::json embeddedJson(const PlateResult& plate) {
  nlohmann::json data = plateJson(plate);
  for (nlohmann::json& well : data["wells"]) {
    well.erase("readings");
    for (auto& [name, curve] : well["curves"].items()) curve = chartSeries(curve, 1);
    nlohmann::json& melt = well["melt"];
    if (!melt.is_object()) continue;
    melt.erase("derivative");
    const std::size_t n = melt["temperatures"].size();
    const std::size_t stride = n > kMaxMeltPoints ? (n + kMaxMeltPoints - 1) / kMaxMeltPoints : 1;
    for (const char* name : {"temperatures", "normalized", "fitted"}) {
      // The three series share the grid; one of another length is kept whole.
      const std::size_t step = melt[name].size() == n ? stride : 1;
      melt[name] = chartSeries(melt[name], step);
    }
  }
  return data;
}

}  // namespace

void writeHtmlReport(const PlateResult& plate, std::ostream& out) {
  writeHead(plate, out);
  out << "<body>\n";
  writeSummary(plate, out);
  writeAmplification(plate, out);
  writeStandardCurves(plate, out);
  writeQuantities(plate, out);
  writeMelting(plate, out);
  writeWells(plate, out);
  out << "</main>\n<footer>Written by corvel with CorvelAlg "
      << escape(plate.libraryVersion.empty() ? "(version unknown)" : plate.libraryVersion)
      << ". The results are embedded in this file as JSON (element <code>#corvel-data</code>), "
         "with the curves rounded to six significant digits for drawing; the JSON output of "
         "the tool holds every value exactly, with the readings as read.</footer>\n";
  out << "<div id=\"tooltip\" role=\"tooltip\" hidden></div>\n";
  out << "<script type=\"application/json\" id=\"corvel-data\">"
      << scriptSafeJson(
             embeddedJson(plate).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace))
      << "</script>\n";
  out << "<script>\n" << kReportScript << "</script>\n</body>\n</html>\n";
}

}  // namespace corvel::tool

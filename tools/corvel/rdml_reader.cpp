// Reader of RDML files (Real-time PCR Data Markup Language, versions 1.0 to
// 1.4): a zip archive holding the XML document, or the XML document itself.
//
// The whole file is refused (InputError) only when it cannot be read as an
// RDML document at all. A fault inside one reaction - a malformed number, a
// point without its cycle or fluorescence - sets that reaction aside in
// Plate::skipped with the reason, and the rest of the plate is read.
// Reactions with odd cycle numbers (gaps, duplicates, no points) are kept as
// read: the analysis judges what it can use.
#include <zip.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <pugixml.hpp>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "plate.h"
#include "reader_util.h"

namespace corvel::tool {
namespace {

// Why `text` is not a usable number ("" when it is); the value goes to out.
// Leading and trailing white space is allowed, as is a leading '+'
// (xs:double allows it).
std::string parseNumber(std::string_view text, double& out) {
  switch (readNumber(trim(text), out)) {
    case NumberFault::none:
      return {};
    case NumberFault::empty:
      return "empty";
    case NumberFault::outOfRange:
      return "number out of range";
    case NumberFault::malformed:
      return "malformed number";
    case NumberFault::notFinite:
      return "not a finite number";
  }
  return "malformed number";
}

// --- the document -----------------------------------------------------

// Whether the bytes can be the start of an XML document: '<' after an
// optional UTF-8 byte order mark and white space, or a UTF-16/32 byte
// order mark (pugixml converts those encodings).
bool looksLikeXml(std::string_view bytes) {
  if (bytes.substr(0, 2) == "\xff\xfe" || bytes.substr(0, 2) == "\xfe\xff") return true;
  if (bytes.substr(0, 3) == "\xef\xbb\xbf") bytes.remove_prefix(3);
  const auto first = bytes.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos && bytes[first] == '<';
}

struct ZipArchive {
  zip_t* archive = nullptr;
  ~ZipArchive() {
    if (archive) zip_discard(archive);
  }
};

bool endsWithXml(std::string_view name) {
  const std::string lowered = lower(name);
  return lowered.size() > 4 && lowered.compare(lowered.size() - 4, 4, ".xml") == 0;
}

// The XML document inside an RDML archive: the entry rdml_data.xml, or
// the only .xml entry when the archive names it differently. `entryName`
// receives the entry's name for messages.
std::string unpackDocument(const std::string& path, const std::string& bytes,
                           std::string& entryName) {
  zip_error_t error;
  zip_error_init(&error);
  zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &error);
  ZipArchive zip;
  if (source) zip.archive = zip_open_from_source(source, ZIP_RDONLY, &error);
  if (!zip.archive) {
    const std::string message = zip_error_strerror(&error);
    zip_error_fini(&error);
    if (source) zip_source_free(source);
    fail(path, "a damaged zip archive (" + message + "); the file may be truncated");
  }
  zip_error_fini(&error);

  const zip_int64_t count = zip_get_num_entries(zip.archive, 0);
  if (count <= 0) fail(path, "the zip archive is empty; an RDML file holds an XML document");

  zip_int64_t index = zip_name_locate(zip.archive, "rdml_data.xml", 0);
  if (index < 0) {
    std::vector<zip_int64_t> xmlEntries;
    std::vector<std::string> names;
    for (zip_int64_t i = 0; i < count; ++i) {
      const char* name = zip_get_name(zip.archive, static_cast<zip_uint64_t>(i), 0);
      if (!name) continue;
      names.emplace_back(name);
      if (endsWithXml(name)) xmlEntries.push_back(i);
    }
    std::string listed;
    for (std::size_t i = 0; i < names.size() && i < 5; ++i)
      listed += (i ? ", " : "") + excerpt(names[i], 60);
    if (names.size() > 5) listed += ", ...";
    if (xmlEntries.empty())
      fail(path, "the zip archive holds no XML document (entries: " + listed + ")");
    if (xmlEntries.size() > 1)
      fail(path,
           "the zip archive holds several XML documents and none named rdml_data.xml "
           "(entries: " +
               listed + ")");
    index = xmlEntries.front();
  }

  zip_stat_t stat;
  zip_stat_init(&stat);
  if (zip_stat_index(zip.archive, static_cast<zip_uint64_t>(index), 0, &stat) != 0)
    fail(path, std::string("cannot read the zip archive's directory (") +
                   zip_strerror(zip.archive) + ")");
  entryName = stat.valid & ZIP_STAT_NAME ? excerpt(stat.name, 60) : "the XML document";
  if ((stat.valid & ZIP_STAT_SIZE) && stat.size > kMaxPlateBytes)
    fail(path, entryName + " unpacks to " + std::to_string(stat.size) + " bytes, more than the " +
                   kMaxPlateText + " this reader accepts");

  zip_file_t* entry = zip_fopen_index(zip.archive, static_cast<zip_uint64_t>(index), 0);
  if (!entry)
    fail(path, "cannot open " + entryName + " in the archive (" + zip_strerror(zip.archive) + ")");
  std::string xml;
  char buffer[1 << 16];
  for (;;) {
    const zip_int64_t got = zip_fread(entry, buffer, sizeof buffer);
    if (got < 0) {
      const std::string message = zip_error_strerror(zip_file_get_error(entry));
      zip_fclose(entry);
      fail(path, "cannot unpack " + entryName + " (" + message + "); the archive is damaged");
    }
    if (got == 0) break;
    xml.append(buffer, static_cast<std::size_t>(got));
    if (xml.size() > kMaxPlateBytes) {
      zip_fclose(entry);
      fail(path, entryName + " unpacks to more than the " + std::string(kMaxPlateText) +
                     " this reader accepts");
    }
  }
  zip_fclose(entry);
  if (xml.empty()) fail(path, entryName + " in the zip archive is empty");
  return xml;
}

// --- elements, by local name --------------------------------------------

// RDML elements live in the namespace http://www.rdml.org, usually as the
// default namespace but sometimes with a prefix ("rdml:react"); elements are
// matched by their local name so that both read the same.
std::string_view localName(const pugi::xml_node& node) {
  return tool::localName(node.name());
}

bool isElement(const pugi::xml_node& node, std::string_view name) {
  return node.type() == pugi::node_element && localName(node) == name;
}

pugi::xml_node child(const pugi::xml_node& parent, std::string_view name) {
  for (const pugi::xml_node& node : parent.children())
    if (isElement(node, name)) return node;
  return {};
}

std::vector<pugi::xml_node> children(const pugi::xml_node& parent, std::string_view name) {
  std::vector<pugi::xml_node> found;
  for (const pugi::xml_node& node : parent.children())
    if (isElement(node, name)) found.push_back(node);
  return found;
}

std::string_view textOf(const pugi::xml_node& node) {
  return trim(node.text().get());
}

std::string_view attributeOf(const pugi::xml_node& node, const char* name) {
  return trim(node.attribute(name).value());
}

// --- plate format ---------------------------------------------------------

// A row or column label in one of RDML's styles: "ABC" (A..Z, then AA, AB,
// ... as spreadsheets do), "123" (1-based numbers) or "-" (no label, for a
// dimension of size one). Empty for a style this reader does not know.
std::string label(std::string_view style, int index) {
  if (style == "123") return std::to_string(index + 1);
  if (style == "-") return "-";
  if (style != "ABC") return {};
  std::string letters;
  for (int n = index + 1; n > 0; n = (n - 1) / 26)
    letters.insert(letters.begin(), static_cast<char>('A' + (n - 1) % 26));
  return letters;
}

struct PlateFormat {
  int rows = 0;
  int columns = 0;
  std::string rowLabel;
  std::string columnLabel;
  bool usable = false;  // rows, columns and both label styles understood
};

// The well name of reaction `id` (1-based, row by row) in the format; ""
// when the format cannot name it.
std::string wellName(const PlateFormat& format, long id) {
  if (!format.usable || id < 1 || id > static_cast<long>(format.rows) * format.columns) return {};
  const int row = static_cast<int>((id - 1) / format.columns);
  const int column = static_cast<int>((id - 1) % format.columns);
  const std::string r = label(format.rowLabel, row);
  const std::string c = label(format.columnLabel, column);
  if (r == "-" && c == "-") return {};
  if (r == "-") return c;
  if (c == "-") return r;
  // Two numeric labels side by side would be ambiguous ("1" "11" / "11" "1").
  if (format.rowLabel == "123" && format.columnLabel == "123") return r + "-" + c;
  return r + c;
}

// The positive integer a reaction id holds, or 0 when it is not one.
long reactionNumber(std::string_view id) {
  long value = 0;
  const auto [end, ec] = std::from_chars(id.data(), id.data() + id.size(), value);
  if (ec != std::errc() || end != id.data() + id.size() || value < 1) return 0;
  return value;
}

// --- samples ----------------------------------------------------------------

const std::set<std::string, std::less<>> kSampleTypes = {"unkn", "std", "ntc", "nac",
                                                         "ntp",  "nrt", "pos", "opt"};

struct SampleInfo {
  std::string type = "unkn";
  std::map<std::string, std::string, std::less<>> typeByTarget;  // <type targId="...">
  std::optional<double> quantity;
  std::string unit;
};

// --- the reader -------------------------------------------------------------

class RdmlReader {
 public:
  explicit RdmlReader(Plate& plate) : plate_(plate) {}

  void read(const pugi::xml_node& root) {
    const std::string_view version = attributeOf(root, "version");
    plate_.format = version.empty() ? "RDML" : "RDML " + clean(version);
    if (version.empty()) {
      warn("the <rdml> element has no version; read as RDML 1.4");
    } else if (version != "1.0" && version != "1.1" && version != "1.2" && version != "1.3" &&
               version != "1.4") {
      warn("RDML version " + quote(version) + " is not one of 1.0 to 1.4; read as RDML 1.4");
    }

    for (const pugi::xml_node& target : children(root, "target"))
      targets_.insert(clean(attributeOf(target, "id")));
    readSamples(root);

    std::size_t experimentNumber = 0;
    for (const pugi::xml_node& experiment : children(root, "experiment")) {
      ++experimentNumber;
      std::string experimentId = clean(attributeOf(experiment, "id"));
      if (experimentId.empty()) {
        experimentId = "experiment " + std::to_string(experimentNumber);
        warn("an <experiment> has no id; it is called " + quote(experimentId));
      }
      std::size_t runNumber = 0;
      for (const pugi::xml_node& run : children(experiment, "run"))
        readRun(run, experimentId, ++runNumber);
    }

    finish();
  }

 private:
  std::string clean(std::string_view text) { return cleanText(text, repairedText_); }

  void warn(std::string message) { plate_.warnings.push_back(std::move(message)); }

  void readSamples(const pugi::xml_node& root) {
    for (const pugi::xml_node& node : children(root, "sample")) {
      const std::string id = clean(attributeOf(node, "id"));
      SampleInfo sample;
      bool typed = false;  // the first <type> without a target is the sample's type
      for (const pugi::xml_node& type : children(node, "type")) {
        std::string value = clean(textOf(type));
        if (value.empty()) continue;
        if (!kSampleTypes.count(value)) {
          warn("sample " + quote(id) + " has the type " + quote(value) +
               ", which is none of unkn, std, ntc, nac, ntp, nrt, pos, opt; kept as written");
        }
        // A <type> may name the target it applies to; it then overrides the
        // sample's own type for that target only.
        std::string_view target = attributeOf(type, "targId");
        if (target.empty()) target = attributeOf(type, "targetId");
        if (!target.empty()) {
          sample.typeByTarget.emplace(clean(target), value);
        } else if (!typed) {
          sample.type = value;
          typed = true;
        }
      }
      if (const pugi::xml_node quantity = child(node, "quantity"))
        readQuantity(id, quantity, sample);
      if (!samples_.emplace(id, std::move(sample)).second)
        warn("sample " + quote(id) + " is declared twice; the first declaration is used");
    }
  }

  // <quantity><value/><unit/></quantity>; the oldest documents may give the
  // number as the element's own text.
  void readQuantity(const std::string& id, const pugi::xml_node& quantity, SampleInfo& sample) {
    const pugi::xml_node valueNode = child(quantity, "value");
    const std::string_view text = valueNode ? textOf(valueNode) : textOf(quantity);
    if (text.empty()) return;
    double value = 0.0;
    const std::string problem = parseNumber(text, value);
    if (!problem.empty()) {
      warn("sample " + quote(id) + ": " + problem + " in <quantity>: " + quote(text) +
           "; its reactions are read without a quantity");
      return;
    }
    sample.quantity = value;
    sample.unit = clean(textOf(child(quantity, "unit")));
  }

  PlateFormat readFormat(const pugi::xml_node& run, const std::string& runId) {
    PlateFormat format;
    const pugi::xml_node node = child(run, "pcrFormat");
    if (!node) {
      warn("run " + quote(runId) + " has no <pcrFormat>; its wells are named by reaction id");
      return format;
    }
    const auto dimension = [&](const char* name) {
      double value = 0.0;
      const std::string_view text = textOf(child(node, name));
      if (!parseNumber(text, value).empty() || value < 1 || value > 100000 ||
          value != std::floor(value))
        return 0;
      return static_cast<int>(value);
    };
    format.rows = dimension("rows");
    format.columns = dimension("columns");
    format.rowLabel = std::string(textOf(child(node, "rowLabel")));
    format.columnLabel = std::string(textOf(child(node, "columnLabel")));
    if (format.rows == 0 || format.columns == 0) {
      warn("run " + quote(runId) + ": <pcrFormat> has no usable rows and columns; its wells " +
           "are named by reaction id");
      return format;
    }
    if (label(format.rowLabel, 0).empty() || label(format.columnLabel, 0).empty()) {
      warn("run " + quote(runId) + ": the well labels " + quote(format.rowLabel) + "/" +
           quote(format.columnLabel) + " are not ones this reader knows (ABC, 123, -); its " +
           "wells are named by reaction id");
      return format;
    }
    format.usable = true;
    return format;
  }

  void readRun(const pugi::xml_node& node, const std::string& experimentId, std::size_t runNumber) {
    std::string runId = clean(attributeOf(node, "id"));
    if (runId.empty()) {
      runId = "run " + std::to_string(runNumber);
      warn("a <run> of experiment " + quote(experimentId) + " has no id; it is called " +
           quote(runId));
    }
    std::string id = experimentId + "/" + runId;
    if (!runIds_.insert(id).second) {
      std::string unique;
      for (int n = 2; !runIds_.insert(unique = id + " #" + std::to_string(n)).second; ++n) {
      }
      warn("run " + quote(id) + " appears more than once; the later one is called " +
           quote(unique));
      id = unique;
    }

    Run run;
    run.id = id;
    run.instrument = clean(textOf(child(node, "instrument")));
    // How the instrument's software treated the background (e.g.
    // "Background Subtraction"): a hint at the fluorescence units.
    run.background = clean(textOf(child(node, "backgroundDeterminationMethod")));
    const PlateFormat format = readFormat(node, id);
    if (format.usable) {
      run.rows = format.rows;
      run.columns = format.columns;
    }
    plate_.runs.push_back(run);

    std::size_t outside = 0;
    std::size_t reactNumber = 0;
    for (const pugi::xml_node& react : children(node, "react")) {
      ++reactNumber;
      const std::string reactId = clean(attributeOf(react, "id"));
      if (reactId.empty()) {
        plate_.skipped.push_back({id, "", "",
                                  "<react> number " + std::to_string(reactNumber) +
                                      " of the run has no id, so its well is unknown"});
        continue;
      }
      Reaction base;
      base.run = id;
      const long number = reactionNumber(reactId);
      base.well = wellName(format, number);
      if (base.well.empty()) {
        base.well = reactId;
        if (format.usable) ++outside;
      }
      base.wellNumber = number <= std::numeric_limits<int>::max() ? static_cast<int>(number) : 0;
      readReact(react, reactId, base);
    }
    if (outside > 0)
      warn("run " + quote(id) + ": " + std::to_string(outside) +
           (outside == 1 ? " reaction id is not a position" : " reaction ids are not positions") +
           " on its " + std::to_string(format.rows) + " x " + std::to_string(format.columns) +
           " plate; such wells are named by reaction id");
  }

  void readReact(const pugi::xml_node& react, const std::string& reactId, Reaction& base) {
    const std::string where = "<react id=" + quote(reactId) + ">";
    const pugi::xml_node sampleNode = child(react, "sample");
    base.sample = clean(attributeOf(sampleNode, "id"));
    const SampleInfo* sample = nullptr;
    if (const auto found = samples_.find(base.sample); found != samples_.end()) {
      sample = &found->second;
      base.quantity = sample->quantity;
      base.quantityUnit = sample->unit;
    } else if (!base.sample.empty()) {
      undeclaredSamples_.insert(base.sample);
    }

    const std::vector<pugi::xml_node> data = children(react, "data");
    if (data.empty()) {
      plate_.skipped.push_back(
          {base.run, base.well, "", where + " holds no <data>: no target was measured"});
      return;
    }
    for (const pugi::xml_node& node : data) {
      Reaction reaction = base;
      reaction.target = clean(attributeOf(child(node, "tar"), "id"));
      reaction.sampleType = "unkn";
      if (sample) {
        const auto byTarget = sample->typeByTarget.find(reaction.target);
        reaction.sampleType =
            byTarget != sample->typeByTarget.end() ? byTarget->second : sample->type;
      }
      if (reaction.target.empty()) {
        plate_.skipped.push_back(
            {base.run, base.well, "", where + "/<data> names no target (<tar id>)"});
        continue;
      }
      if (!targets_.count(reaction.target)) undeclaredTargets_.insert(reaction.target);
      reaction.origin =
          "run " + quote(base.run) + ", " + where + ", target " + quote(reaction.target);

      const std::string problem = readData(node, reaction);
      if (!problem.empty()) {
        plate_.skipped.push_back(
            {base.run, base.well, reaction.target, where + "/<data>" + problem});
        continue;
      }
      const std::string key = base.run + '\x1f' + base.well + '\x1f' + reaction.target;
      if (!readKeys_.insert(key).second) {
        plate_.skipped.push_back({base.run, base.well, reaction.target,
                                  where + ": a second reaction of well " + quote(base.well) +
                                      " for target " + quote(reaction.target) +
                                      "; the first one read is kept"});
        continue;
      }
      if (reaction.sample.empty()) ++reactionsWithoutSample_;
      plate_.reactions.push_back(std::move(reaction));
    }
  }

  // Reads the Cq and the points of one <data>; the problem that makes the
  // reaction unusable (after "<data>" in a message), or "".
  std::string readData(const pugi::xml_node& data, Reaction& reaction) {
    const auto number = [](const pugi::xml_node& node, const std::string& where, double& value) {
      const std::string problem = parseNumber(textOf(node), value);
      if (problem.empty()) return std::string();
      if (problem == "empty") return where + ": <" + std::string(localName(node)) + "> is empty";
      return where + ": " + problem + " in <" + std::string(localName(node)) +
             ">: " + quote(textOf(node));
    };

    if (const pugi::xml_node cq = child(data, "cq")) {
      double value = 0.0;
      // An empty <cq/> says the same as -1: the instrument found none.
      if (!textOf(cq).empty()) {
        if (std::string problem = number(cq, "", value); !problem.empty()) return problem;
        if (value >= 0.0) reaction.instrumentCq = value;
      }
    }

    std::vector<std::pair<double, double>> points;
    std::size_t index = 0;
    for (const pugi::xml_node& adp : children(data, "adp")) {
      const std::string where = "/<adp> " + std::to_string(++index);
      const pugi::xml_node cyc = child(adp, "cyc");
      const pugi::xml_node fluor = child(adp, "fluor");
      if (!cyc || !fluor)
        return where + ": the point has no <" + std::string(cyc ? "fluor" : "cyc") + ">";
      double cycle = 0.0, value = 0.0;
      if (std::string problem = number(cyc, where, cycle); !problem.empty()) return problem;
      if (std::string problem = number(fluor, where, value); !problem.empty()) return problem;
      points.emplace_back(cycle, value);
    }
    std::stable_sort(points.begin(), points.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    reaction.cycles.reserve(points.size());
    reaction.fluorescence.reserve(points.size());
    for (const auto& [cycle, value] : points) {
      reaction.cycles.push_back(cycle);
      reaction.fluorescence.push_back(value);
    }

    index = 0;
    for (const pugi::xml_node& mdp : children(data, "mdp")) {
      const std::string where = "/<mdp> " + std::to_string(++index);
      const pugi::xml_node tmp = child(mdp, "tmp");
      const pugi::xml_node fluor = child(mdp, "fluor");
      if (!tmp || !fluor)
        return where + ": the point has no <" + std::string(tmp ? "fluor" : "tmp") + ">";
      double temperature = 0.0, value = 0.0;
      if (std::string problem = number(tmp, where, temperature); !problem.empty()) return problem;
      if (std::string problem = number(fluor, where, value); !problem.empty()) return problem;
      reaction.temperatures.push_back(temperature);
      reaction.meltFluorescence.push_back(value);
    }
    return {};
  }

  void finish() {
    if (reactionsWithoutSample_ > 0)
      warn(reactionsWithoutSample_ == 1
               ? std::string("1 reaction names no sample; it is read with an empty sample name "
                             "and type unkn")
               : std::to_string(reactionsWithoutSample_) +
                     " reactions name no sample; they are read with an empty sample name and "
                     "type unkn");
    for (const std::string& sample : undeclaredSamples_)
      warn("sample " + quote(sample) +
           " is used by reactions but not declared; its reactions are read as type unkn");
    for (const std::string& target : undeclaredTargets_)
      warn("target " + quote(target) + " is measured but not declared as a <target>");
    if (repairedText_)
      warn("some names in the file are not valid UTF-8; the faulty bytes are shown as U+FFFD");
    if (plate_.runs.empty())
      warn("the file holds no runs");
    else if (plate_.reactions.empty() && plate_.skipped.empty())
      warn("the file's runs hold no reactions");
  }

  Plate& plate_;
  std::map<std::string, SampleInfo, std::less<>> samples_;
  std::set<std::string, std::less<>> targets_;
  std::set<std::string> runIds_;
  std::set<std::string> readKeys_;  // run, well and target of the reactions read
  std::size_t reactionsWithoutSample_ = 0;
  std::set<std::string> undeclaredSamples_;
  std::set<std::string> undeclaredTargets_;
  bool repairedText_ = false;
};

// Line and column (1-based) of a byte offset in the document.
std::string position(const std::string& xml, std::ptrdiff_t offset) {
  const std::size_t end =
      std::min(xml.size(), static_cast<std::size_t>(std::max<std::ptrdiff_t>(offset, 0)));
  std::size_t line = 1;
  std::size_t lineStart = 0;  // offset of the first byte of the line
  for (std::size_t i = 0; i < end; ++i) {
    if (xml[i] == '\n') {
      ++line;
      lineStart = i + 1;
    }
  }
  const std::size_t column = end - lineStart + 1;
  return "line " + std::to_string(line) + ", column " + std::to_string(column) + " (byte " +
         std::to_string(end) + ")";
}

}  // namespace

Plate readRdml(const std::string& path) {
  std::string bytes = readPlateFile(path);
  std::string where = path;  // the file, or "file: entry" inside an archive
  std::string xml;
  if (isZipArchive(bytes)) {
    std::string entry;
    xml = unpackDocument(path, bytes, entry);
    where = path + ": " + entry;
    bytes.clear();
    bytes.shrink_to_fit();
  } else if (looksLikeXml(bytes)) {
    xml = std::move(bytes);
  } else {
    fail(path, "neither a zip archive nor an XML document (it starts with " +
                   quote(bytes.substr(0, 24)) + ")");
  }

  // pugixml parses a copy, so the text stays as read for the position of
  // an error; it is released as soon as the document is known to be good.
  pugi::xml_document doc;
  const pugi::xml_parse_result parsed =
      doc.load_buffer(xml.data(), xml.size(), pugi::parse_default, pugi::encoding_auto);
  if (!parsed) {
    // An error at the very last byte means the document stops in the middle.
    const bool truncated = static_cast<std::size_t>(parsed.offset) + 1 >= xml.size();
    throw InputError(where + ": not well-formed XML at " + position(xml, parsed.offset) + ": " +
                     parsed.description() +
                     (truncated ? " (the document ends too early: is the file truncated?)" : ""));
  }
  xml.clear();
  xml.shrink_to_fit();
  const pugi::xml_node root = doc.document_element();
  if (!root) throw InputError(where + ": the XML document has no root element");
  if (localName(root) != "rdml")
    throw InputError(where + ": the root element is <" + excerpt(root.name()) +
                     ">, not <rdml>: this XML document is not RDML");

  Plate plate;
  plate.path = path;
  RdmlReader(plate).read(root);
  return plate;
}

}  // namespace corvel::tool

#include "support/rdml_reader.h"

#include <zip.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <pugixml.hpp>
#include <stdexcept>
#include <unordered_map>

namespace corvel::test {
namespace {

[[noreturn]] void fail(const std::string& path, const std::string& what) {
  throw std::runtime_error(path + ": " + what);
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) fail(path, "cannot open the file");
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The XML document of an RDML archive, or the file itself when it is not a
// zip archive.
std::string xmlDocument(const std::string& path) {
  std::string bytes = readFile(path);
  if (bytes.compare(0, 4, "PK\x03\x04") != 0) return bytes;

  zip_error_t error;
  zip_error_init(&error);
  zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &error);
  zip_t* archive = source ? zip_open_from_source(source, ZIP_RDONLY, &error) : nullptr;
  if (!archive) {
    const std::string message = zip_error_strerror(&error);
    zip_error_fini(&error);
    if (source) zip_source_free(source);
    fail(path, "not a readable zip archive: " + message);
  }
  zip_error_fini(&error);
  const std::unique_ptr<zip_t, decltype(&zip_discard)> closer(archive, &zip_discard);

  const zip_int64_t index = zip_name_locate(archive, "rdml_data.xml", 0);
  zip_stat_t stat;
  if (index < 0 || zip_stat_index(archive, static_cast<zip_uint64_t>(index), 0, &stat) != 0 ||
      !(stat.valid & ZIP_STAT_SIZE))
    fail(path, "the archive holds no rdml_data.xml");
  zip_file_t* entry = zip_fopen_index(archive, static_cast<zip_uint64_t>(index), 0);
  if (!entry) fail(path, "cannot open rdml_data.xml in the archive");
  std::string xml(static_cast<std::size_t>(stat.size), '\0');
  const zip_int64_t got = zip_fread(entry, xml.data(), stat.size);
  zip_fclose(entry);
  if (got < 0 || static_cast<zip_uint64_t>(got) != stat.size)
    fail(path, "cannot read rdml_data.xml from the archive");
  return xml;
}

// The number in an element's text; nothing when the element is absent.
std::optional<double> number(const std::string& path, const pugi::xml_node& node) {
  if (!node) return std::nullopt;
  std::string text = node.text().get();
  const auto first = text.find_first_not_of(" \t\r\n");
  const auto last = text.find_last_not_of(" \t\r\n");
  if (first == std::string::npos) fail(path, std::string("empty <") + node.name() + ">");
  text = text.substr(first, last - first + 1);
  double value = 0.0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size())
    fail(path, std::string("malformed number in <") + node.name() + ">: " + text);
  return value;
}

// "A1"-style position of a 1-based reaction id on a plate of the given
// format; the bare id when the format does not cover it.
std::string position(int id, const pugi::xml_node& format) {
  const int rows = format.child("rows").text().as_int();
  const int columns = format.child("columns").text().as_int();
  if (id < 1 || rows < 1 || columns < 1 || id > static_cast<long long>(rows) * columns)
    return std::to_string(id);
  const int row = (id - 1) / columns;
  const int column = (id - 1) % columns;
  const auto label = [](const char* style, int index) {
    return std::strcmp(style, "ABC") == 0 && index < 26 ? std::string(1, char('A' + index))
                                                        : std::to_string(index + 1);
  };
  return label(format.child_value("rowLabel"), row) +
         label(format.child_value("columnLabel"), column);
}

}  // namespace

std::vector<RdmlReaction> readRdml(const std::string& path) {
  const std::string xml = xmlDocument(path);
  pugi::xml_document doc;
  const pugi::xml_parse_result parsed = doc.load_buffer(xml.data(), xml.size());
  if (!parsed) fail(path, std::string("XML error: ") + parsed.description());
  const pugi::xml_node root = doc.child("rdml");
  if (!root) fail(path, "no <rdml> root element");

  struct Sample {
    std::string type;
    std::optional<double> quantity;
  };
  std::unordered_map<std::string, Sample> samples;
  for (const pugi::xml_node& s : root.children("sample"))
    samples[s.attribute("id").value()] = {s.child_value("type"),
                                          number(path, s.child("quantity").child("value"))};

  std::vector<RdmlReaction> reactions;
  for (const pugi::xml_node& experiment : root.children("experiment")) {
    for (const pugi::xml_node& run : experiment.children("run")) {
      const pugi::xml_node format = run.child("pcrFormat");
      for (const pugi::xml_node& react : run.children("react")) {
        RdmlReaction base;
        base.run =
            std::string(experiment.attribute("id").value()) + "/" + run.attribute("id").value();
        base.wellId = react.attribute("id").as_int();
        base.well = position(base.wellId, format);
        base.sample = react.child("sample").attribute("id").value();
        const auto sample = samples.find(base.sample);
        if (sample != samples.end()) {
          base.sampleType = sample->second.type;
          base.quantity = sample->second.quantity;
        }
        for (const pugi::xml_node& data : react.children("data")) {
          RdmlReaction r = base;
          r.target = data.child("tar").attribute("id").value();
          r.cq = number(path, data.child("cq"));
          if (r.cq && *r.cq < 0.0) r.cq.reset();
          for (const pugi::xml_node& adp : data.children("adp")) {
            const auto cycle = number(path, adp.child("cyc"));
            const auto fluor = number(path, adp.child("fluor"));
            if (!cycle || !fluor) fail(path, "an amplification point without <cyc> or <fluor>");
            r.points.emplace_back(*cycle, *fluor);
          }
          for (const pugi::xml_node& mdp : data.children("mdp")) {
            const auto temperature = number(path, mdp.child("tmp"));
            const auto fluor = number(path, mdp.child("fluor"));
            if (!temperature || !fluor) fail(path, "a melting point without <tmp> or <fluor>");
            r.meltPoints.emplace_back(*temperature, *fluor);
          }
          std::stable_sort(r.points.begin(), r.points.end(),
                           [](const auto& a, const auto& b) { return a.first < b.first; });
          reactions.push_back(std::move(r));
        }
      }
    }
  }
  return reactions;
}

std::filesystem::path dataDirectory() {
  const char* env = std::getenv("CORVEL_DATA_DIR");
  return env && *env ? std::filesystem::path(env) : std::filesystem::path(CORVEL_SOURCE_DATA_DIR);
}

}  // namespace corvel::test

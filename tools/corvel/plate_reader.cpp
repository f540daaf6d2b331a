// Chooses the reader of a plate file by its content, not its name: a zip
// archive or an XML document whose root is <rdml> is RDML, a text whose
// first row starts with the column "well" is a plate table.
#include <algorithm>
#include <string>
#include <string_view>

#include "plate.h"
#include "reader_util.h"

namespace corvel::tool {
namespace {

// As much of the file as is looked at to decide what it is.
constexpr std::size_t kSniffBytes = 64 * 1024;

[[noreturn]] void unknown(const std::string& path, const std::string& seen) {
  fail(path, "not an RDML file or a plate table (" + seen + ")");
}

// The start of the file as single-byte text for looking at: byte order
// marks removed, UTF-16 reduced to its ASCII characters (others become
// '?'). Enough to recognise markup and a header row.
std::string preview(std::string_view bytes) {
  if (bytes.substr(0, 3) == "\xef\xbb\xbf") return std::string(bytes.substr(3));
  const bool little = bytes.substr(0, 2) == "\xff\xfe";
  const bool big = bytes.substr(0, 2) == "\xfe\xff";
  if (!little && !big) return std::string(bytes);
  std::string text;
  for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
    const auto low = static_cast<unsigned char>(bytes[little ? i : i + 1]);
    const auto high = static_cast<unsigned char>(bytes[little ? i + 1 : i]);
    text += high == 0 && low < 0x80 ? static_cast<char>(low) : '?';
  }
  return text;
}

bool binary(std::string_view text) {
  const auto control = std::count_if(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 && c != '\n' && c != '\r' && c != '\t';
  });
  return control > 0;
}

std::string firstLine(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  text.remove_prefix(first);
  text = text.substr(0, std::min(text.find_first_of("\r\n"), std::size_t{60}));
  return std::string(text);
}

// The name of the root element of an XML document, "" when the start of
// the file does not reach it. Declarations, comments, processing
// instructions and a document type come before the root.
std::string rootElement(std::string_view text) {
  std::size_t pos = 0;
  for (;;) {
    pos = text.find('<', pos);
    if (pos == std::string_view::npos || pos + 1 >= text.size()) return {};
    const std::string_view rest = text.substr(pos);
    std::string_view close;
    if (rest.substr(0, 4) == "<!--") {
      close = "-->";
    } else if (rest[1] == '?') {
      close = "?>";
    } else if (rest[1] == '!') {
      close = ">";  // a DOCTYPE; an internal subset with '>' inside is cut short, harmlessly
    } else {
      const std::size_t end = rest.find_first_of(" \t\r\n/>", 1);
      return std::string(rest.substr(1, end == std::string_view::npos ? rest.size() - 1 : end - 1));
    }
    const std::size_t end = text.find(close, pos + 2);
    if (end == std::string_view::npos) return {};
    pos = end + close.size();
  }
}

// Whether the text's first row that is not blank or a comment starts with
// the cell "well" and a separator, as a plate table's header does. (A
// semicolon is let through so that the table reader can explain it.)
bool tableHeader(std::string_view text) {
  std::size_t pos = 0;
  while (pos < text.size()) {
    std::size_t end = text.find_first_of("\r\n", pos);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(pos, end - pos);
    const auto first = line.find_first_not_of(" \t,");
    if (first != std::string_view::npos && line[first] != '#') {
      line.remove_prefix(line.find_first_not_of(" \t"));
      if (!line.empty() && line[0] == '"') line.remove_prefix(1);
      if (lower(line.substr(0, 4)) != "well") return false;
      line.remove_prefix(4);
      if (!line.empty() && line[0] == '"') line.remove_prefix(1);
      const auto separator = line.find_first_not_of(' ');
      return separator != std::string_view::npos &&
             (line[separator] == ',' || line[separator] == '\t' || line[separator] == ';');
    }
    pos = end + 1;
  }
  return false;
}

}  // namespace

Plate readPlate(const std::string& path) {
  const std::string start = readPlateFileStart(path, kSniffBytes);
  if (isZipArchive(start)) return readRdml(path);

  const std::string text = preview(start);
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first != std::string::npos && text[first] == '<') {
    const std::string root = rootElement(text);
    // A root that the first bytes do not reach is left to the XML reader,
    // whose message tells what is wrong with the document.
    if (root.empty() || localName(root) == "rdml") return readRdml(path);
    unknown(path, "an XML document whose root element is <" + root.substr(0, 40) + ">");
  }
  if (tableHeader(text)) return readTable(path);
  if (binary(text)) unknown(path, "binary data that is not a zip archive");
  std::string line = firstLine(text);
  for (char& c : line)
    if (static_cast<unsigned char>(c) < 0x20) c = '?';
  unknown(path, "it starts with \"" + line +
                    "\"; a plate table starts with the header well,target,sample,type,quantity");
}

}  // namespace corvel::tool

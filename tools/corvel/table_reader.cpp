// Reader of plate tables: CSV or tab-separated text in the layout described
// in docs/csv-format.md, so that readings from any instrument can be brought
// in through a spreadsheet.
//
// A file holds one or more tables, each starting with its header row:
//   well,target,sample,type,quantity,1,2,3,...          amplification
//   well,target,sample,type,quantity,65.0 °C,65.5 °C,...  melting, shared temperatures
//   well,target,sample,type,quantity,m1,m2,m3,...        melting, per-well temperatures
// A header that cannot be read stops the whole file (InputError); a row
// that cannot be read is set aside in Plate::skipped with its line number
// and the reason, and the rest of the file is read.
#include <iconv.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "plate.h"
#include "reader_util.h"

namespace corvel::tool {
namespace {

const std::set<std::string, std::less<>> kSampleTypes = {"unkn", "std", "ntc", "nac",
                                                         "ntp",  "nrt", "pos", "opt"};
constexpr std::string_view kTemperatureRow = "temperature";
constexpr const char* kIdentityColumns[] = {"well", "target", "sample", "type", "quantity"};
constexpr std::size_t kIdentityCount = 5;

// Why `text` is not a usable number ("" when it is); the value goes to out.
// A decimal comma gets a hint, since spreadsheets in many countries write
// one.
std::string parseNumber(std::string_view text, double& out) {
  switch (readNumber(text, out)) {
    case NumberFault::none:
      return {};
    case NumberFault::empty:
      return "empty cell";
    case NumberFault::outOfRange:
      return "number out of range: " + quote(text);
    case NumberFault::notFinite:
      return "not a finite number: " + quote(text);
    case NumberFault::malformed:
      break;
  }
  std::string problem = "not a number: " + quote(text);
  if (text.find(',') != std::string_view::npos) problem += " (write decimals with a point)";
  return problem;
}

// A positive whole number written in decimal digits only, or 0.
long positiveInteger(std::string_view text) {
  long value = 0;
  if (text.empty() || !std::isdigit(static_cast<unsigned char>(text[0]))) return 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size()) return 0;
  return value;
}

// --- the file ---------------------------------------------------------------

// The text converted to UTF-8 from the given encoding with iconv; nothing
// when the bytes are not valid in that encoding.
std::optional<std::string> toUtf8(std::string_view bytes, const char* encoding) {
  iconv_t cd = iconv_open("UTF-8", encoding);
  if (cd == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
  std::string out(bytes.size() * 2 + 16, '\0');
  std::string input(bytes);
  char* in = input.data();
  std::size_t inLeft = input.size();
  std::size_t done = 0;
  bool ok = true;
  while (inLeft > 0) {
    char* outPtr = out.data() + done;
    std::size_t outLeft = out.size() - done;
    const std::size_t result = iconv(cd, &in, &inLeft, &outPtr, &outLeft);
    done = out.size() - outLeft;
    if (result != static_cast<std::size_t>(-1)) continue;
    if (errno == E2BIG) {
      out.resize(out.size() * 2);
    } else {
      ok = false;  // EILSEQ or EINVAL: not text in this encoding
      break;
    }
  }
  iconv_close(cd);
  if (!ok) return std::nullopt;
  out.resize(done);
  return out;
}

// The file as UTF-8 text without byte order mark. Spreadsheets save
// "Unicode text" as UTF-16 and older ones CSV in Windows-1252; both are
// converted, the latter with a warning since the guess could be wrong.
std::string decodeText(const std::string& path, std::string bytes, Plate& plate) {
  if (bytes.compare(0, 2, "\xff\xfe") == 0 || bytes.compare(0, 2, "\xfe\xff") == 0) {
    std::optional<std::string> text = toUtf8(bytes, "UTF-16");
    if (!text) fail(path, "the file starts as UTF-16 text but is not valid UTF-16");
    bytes = std::move(*text);
  }
  if (bytes.compare(0, 3, "\xef\xbb\xbf") == 0) bytes.erase(0, 3);
  const auto nul = bytes.find('\0');
  if (nul != std::string::npos) {
    const std::size_t line = 1 + static_cast<std::size_t>(std::count(
                                     bytes.begin(), bytes.begin() + static_cast<long>(nul), '\n'));
    fail(path, "line " + std::to_string(line) +
                   ": the file holds binary data (a NUL byte), not a text table");
  }
  if (!validUtf8(bytes)) {
    std::optional<std::string> text = toUtf8(bytes, "WINDOWS-1252");
    if (!text) text = toUtf8(bytes, "ISO-8859-1");
    if (!text) fail(path, "the file is not UTF-8 text and cannot be read as Latin-1 either");
    bytes = std::move(*text);
    plate.warnings.push_back(
        "the file is not UTF-8 text; it was read as Windows-1252 (Western European): save it as "
        "UTF-8 if names look wrong");
  }
  return bytes;
}

// --- records ----------------------------------------------------------------

// One row of the file: its cells and the line it starts on. `problem` tells
// what was wrong with its quoting, if anything.
struct Record {
  std::size_t line = 0;
  std::vector<std::string> cells;
  std::string problem;
};

// Splits the text into rows and cells: RFC 4180 quoting ("a ""b"", c" is
// one cell; a quoted cell may hold the delimiter and line breaks), lines
// ending in LF, CR LF or CR, and '#' comment lines skipped.
class RecordReader {
 public:
  RecordReader(const std::string& path, const std::string& text, char delimiter)
      : path_(path), text_(text), delimiter_(delimiter) {}

  bool next(Record& record) {
    skipComments();
    if (pos_ >= text_.size()) return false;
    record.line = line_;
    record.cells.clear();
    record.problem.clear();
    std::string cell;
    bool quoted = false;      // this cell started with a quote
    bool inQuotes = false;    // inside the quoted part
    bool afterQuote = false;  // the closing quote was seen
    for (;;) {
      if (pos_ >= text_.size()) {
        if (inQuotes)
          fail(path_, "line " + std::to_string(quoteLine_) +
                          ": a quoted cell opened here is never closed");
        record.cells.push_back(std::move(cell));
        return true;
      }
      const char c = text_[pos_];
      if (inQuotes) {
        if (c == '"') {
          if (pos_ + 1 < text_.size() && text_[pos_ + 1] == '"') {
            cell += '"';
            pos_ += 2;
          } else {
            inQuotes = false;
            afterQuote = true;
            ++pos_;
          }
          continue;
        }
        if (c == '\n' || (c == '\r' && (pos_ + 1 >= text_.size() || text_[pos_ + 1] != '\n')))
          ++line_;
        cell += c;
        ++pos_;
        continue;
      }
      if (c == delimiter_) {
        record.cells.push_back(std::move(cell));
        cell.clear();
        quoted = inQuotes = afterQuote = false;
        ++pos_;
        continue;
      }
      if (c == '\n' || c == '\r') {
        endLine();
        record.cells.push_back(std::move(cell));
        return true;
      }
      if (c == '"' && !quoted && trimBlanks(cell).empty()) {
        quoted = inQuotes = true;
        quoteLine_ = line_;
        cell.clear();
        ++pos_;
        continue;
      }
      if (afterQuote && c != ' ' && c != '\t' && record.problem.empty())
        record.problem = "line " + std::to_string(record.line) + ", column " +
                         std::to_string(record.cells.size() + 1) +
                         ": text after the closing quote of a quoted cell";
      if (!afterQuote) cell += c;
      ++pos_;
    }
  }

 private:
  void endLine() {
    if (text_[pos_] == '\r' && pos_ + 1 < text_.size() && text_[pos_ + 1] == '\n') ++pos_;
    ++pos_;
    ++line_;
  }

  // Lines whose first non-blank character is '#'.
  void skipComments() {
    while (pos_ < text_.size()) {
      std::size_t i = pos_;
      while (i < text_.size() && (text_[i] == ' ' || text_[i] == '\t')) ++i;
      if (i >= text_.size() || text_[i] != '#') return;
      pos_ = i;
      while (pos_ < text_.size() && text_[pos_] != '\n' && text_[pos_] != '\r') ++pos_;
      if (pos_ < text_.size()) endLine();
    }
  }

  const std::string& path_;
  const std::string& text_;
  char delimiter_;
  std::size_t pos_ = 0;
  std::size_t line_ = 1;
  std::size_t quoteLine_ = 1;
};

// The delimiter of the file, read from its first header row: what follows
// the first cell "well". Nothing else is guessed.
char findDelimiter(const std::string& path, const std::string& text) {
  std::size_t pos = 0, line = 1;
  while (pos < text.size()) {
    std::size_t end = text.find_first_of("\r\n", pos);
    if (end == std::string::npos) end = text.size();
    const std::string_view content = trimBlanks(std::string_view(text).substr(pos, end - pos));
    // Blank lines, lines of empty cells and comment lines come before the header.
    if (content.find_first_not_of(",\t") != std::string_view::npos && content[0] != '#') {
      std::string_view rest = content;
      if (!rest.empty() && rest[0] == '"') rest.remove_prefix(1);
      if (lower(rest.substr(0, 4)) == "well") {
        rest.remove_prefix(4);
        if (!rest.empty() && rest[0] == '"') rest.remove_prefix(1);
        rest = rest.substr(std::min(rest.size(), rest.find_first_not_of(' ')));
        if (!rest.empty() && (rest[0] == ',' || rest[0] == '\t')) return rest[0];
        if (!rest.empty() && rest[0] == ';')
          fail(path, "line " + std::to_string(line) +
                         ": the columns are separated by semicolons; save the table as CSV "
                         "(comma-separated) or as tab-separated text");
      }
      fail(path, "line " + std::to_string(line) +
                     ": expected a header row starting with well,target,sample,type,quantity "
                     "(comma- or tab-separated); found " +
                     quote(content, 60));
    }
    pos = end;
    if (pos < text.size() && text[pos] == '\r' && pos + 1 < text.size() && text[pos + 1] == '\n')
      ++pos;
    if (pos < text.size()) ++pos;
    ++line;
  }
  fail(path, "the file holds no table (only blank and comment lines)");
}

// --- tables -----------------------------------------------------------------

enum class Layout {
  amplification,        // cycle columns
  meltingTemperatures,  // temperature columns shared by every well
  meltingNumbered,      // numbered readings, temperatures from each well's temperature row
};

struct Table {
  Layout layout = Layout::amplification;
  std::size_t line = 0;      // of the header
  std::string unit;          // from a "quantity (unit)" header
  std::vector<double> keys;  // cycle numbers, temperatures or reading numbers, in column order
  std::vector<std::string> headers;  // the reading columns' headers, for messages
  std::size_t rows = 0;              // data rows seen

  bool melting() const { return layout != Layout::amplification; }
  std::string readingNoun() const {
    return layout == Layout::amplification         ? "cycles"
           : layout == Layout::meltingTemperatures ? "temperatures"
                                                   : "readings";
  }
};

// How a reading column header reads: a cycle ("12", "cycle 12", "c12"), a
// temperature ("65.5 °C", "65.5°C", "65.5 C", "T65.5") or a melting
// reading number ("m1", "melt 1").
enum class HeaderKind { cycle, temperature, reading, unknown };

HeaderKind classifyHeader(std::string_view cell, double& value) {
  const std::string text = lower(cell);
  const std::string_view view = text;
  const auto after = [&](std::string_view prefix) -> std::optional<std::string_view> {
    if (view.substr(0, prefix.size()) != prefix) return std::nullopt;
    return trimBlanks(view.substr(prefix.size()));
  };
  const auto integer = [&](std::string_view digits) {
    const long n = positiveInteger(digits);
    value = static_cast<double>(n);
    return n > 0 && n <= 1000000;
  };
  if (integer(view)) return HeaderKind::cycle;
  for (const std::string_view prefix : {"cycle", "c"})
    if (const auto rest = after(prefix); rest && integer(*rest)) return HeaderKind::cycle;
  for (const std::string_view prefix : {"melt", "m"})
    if (const auto rest = after(prefix); rest && integer(*rest)) return HeaderKind::reading;
  if (const auto rest = after("t"); rest && !rest->empty() && parseNumber(*rest, value).empty())
    return HeaderKind::temperature;
  // The degree sign, its look-alike the ordinal indicator, and the Celsius
  // sign, all as UTF-8.
  for (const std::string_view suffix : {"\xc2\xb0"
                                        "c",
                                        "\xc2\xba"
                                        "c",
                                        "\xe2\x84\x83", "c"}) {
    if (view.size() > suffix.size() && view.substr(view.size() - suffix.size()) == suffix &&
        parseNumber(trimBlanks(view.substr(0, view.size() - suffix.size())), value).empty())
      return HeaderKind::temperature;
  }
  return HeaderKind::unknown;
}

// A well name in the usual letter-and-number form ("B7", "b07", "AF48"):
// its row (0-based) and column (1-based), and the name written canonically.
bool parseWellName(std::string_view name, int& row, int& column, std::string& canonical) {
  std::size_t letters = 0;
  while (letters < name.size() && std::isalpha(static_cast<unsigned char>(name[letters])))
    ++letters;
  if (letters < 1 || letters > 2) return false;
  const long number = positiveInteger(name.substr(letters));
  if (number < 1 || number > 9999) return false;
  row = 0;
  canonical.clear();
  for (std::size_t i = 0; i < letters; ++i) {
    const char upper = static_cast<char>(std::toupper(static_cast<unsigned char>(name[i])));
    row = row * 26 + (upper - 'A' + 1);
    canonical += upper;
  }
  row -= 1;
  column = static_cast<int>(number);
  canonical += std::to_string(number);
  return true;
}

// What a data row says about its reaction; empty optionals: not given.
struct Identity {
  std::string well;
  std::string target;
  std::optional<std::string> sample;
  std::optional<std::string> type;
  std::optional<double> quantity;
};

// A melting row held until its table ends, when fluorescence rows are
// paired with their temperature rows.
struct MeltRow {
  std::size_t line = 0;
  Identity identity;
  std::vector<double> values;
};

// What has been read of one reaction, for merging the rows of one well and
// target from an amplification and a melting table.
struct ReactionEntry {
  std::size_t index = 0;  // into Plate::reactions
  std::size_t amplificationLine = 0;
  std::size_t meltingLine = 0;
  std::size_t identityLine = 0;  // the row the sample, type and quantity came from
  bool sampleGiven = false;
  bool typeGiven = false;
  bool quantityGiven = false;
};

class TableReader {
 public:
  TableReader(std::string path, Plate& plate) : path_(std::move(path)), plate_(plate) {}

  void read(const std::string& text) {
    const char delimiter = findDelimiter(path_, text);
    plate_.format = delimiter == '\t' ? "TSV" : "CSV";
    RecordReader records(path_, text, delimiter);
    Record record;
    while (records.next(record)) {
      // Cells are taken without surrounding blanks; trailing empty cells
      // (spreadsheets pad rows to the widest one) are dropped.
      for (std::string& cell : record.cells) cell = std::string(trimBlanks(cell));
      while (!record.cells.empty() && record.cells.back().empty()) record.cells.pop_back();
      if (record.cells.empty()) continue;  // a blank line
      const std::string first = lower(record.cells[0]);
      if (first.size() > 4 && first.compare(0, 4, "well") == 0 &&
          (first[4] == '\t' || first[4] == ',')) {
        fail(path_, "line " + std::to_string(record.line) + ": this header is " +
                        (delimiter == '\t' ? "comma" : "tab") + "-separated but the file's first " +
                        "header is " + (delimiter == '\t' ? "tab" : "comma") +
                        "-separated; a file uses one separator throughout");
      }
      if (first == "well") {
        endTable();
        startTable(record);
      } else {
        readRow(record);
      }
    }
    endTable();
    finish();
  }

 private:
  [[noreturn]] void headerError(std::size_t line, std::size_t column, const std::string& what) {
    fail(path_,
         "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + what);
  }

  void startTable(const Record& record) {
    if (!record.problem.empty()) fail(path_, record.problem);
    Table table;
    table.line = record.line;
    const std::vector<std::string>& cells = record.cells;
    for (std::size_t i = 0; i < kIdentityCount; ++i) {
      const std::string name = i < cells.size() ? lower(cells[i]) : std::string();
      bool ok = name == kIdentityColumns[i];
      if (!ok && i == 4 && name.rfind("quantity", 0) == 0) {
        // "quantity (cop)": the unit of every quantity in this table.
        const std::string_view rest = trimBlanks(std::string_view(cells[i]).substr(8));
        if (rest.size() > 2 && rest.front() == '(' && rest.back() == ')') {
          table.unit = std::string(trimBlanks(rest.substr(1, rest.size() - 2)));
          ok = !table.unit.empty();
        }
      }
      if (!ok)
        headerError(record.line, i + 1,
                    "expected the column " + quote(kIdentityColumns[i]) + ", found " +
                        (i < cells.size() ? quote(cells[i]) : std::string("nothing")) +
                        " (a table starts with well,target,sample,type,quantity)");
    }
    if (cells.size() == kIdentityCount)
      headerError(record.line, kIdentityCount + 1,
                  "the header has no reading columns (cycle numbers or temperatures)");

    std::optional<HeaderKind> kind;
    std::set<double> seen;
    for (std::size_t i = kIdentityCount; i < cells.size(); ++i) {
      double value = 0.0;
      const HeaderKind k = classifyHeader(cells[i], value);
      if (cells[i].empty()) headerError(record.line, i + 1, "empty column header");
      if (k == HeaderKind::unknown)
        headerError(record.line, i + 1,
                    quote(cells[i]) +
                        " is neither a cycle (1, cycle 1, c1), a temperature (65.0 °C, T65.0) "
                        "nor a melting reading number (m1)");
      if (kind && k != *kind)
        headerError(record.line, i + 1,
                    quote(cells[i]) +
                        " does not match the earlier reading columns (a table has "
                        "either cycle, temperature or melting reading columns)");
      kind = k;
      if (k != HeaderKind::temperature && !seen.insert(value).second)
        headerError(record.line, i + 1, quote(cells[i]) + " appears twice in the header");
      table.keys.push_back(value);
      table.headers.push_back(cells[i]);
    }
    table.layout = *kind == HeaderKind::cycle         ? Layout::amplification
                   : *kind == HeaderKind::temperature ? Layout::meltingTemperatures
                                                      : Layout::meltingNumbered;

    if (table.layout == Layout::amplification) {
      // Cycle columns may come in any order; readings are kept by cycle.
      order_.resize(table.keys.size());
      std::iota(order_.begin(), order_.end(), std::size_t{0});
      std::stable_sort(order_.begin(), order_.end(),
                       [&](std::size_t a, std::size_t b) { return table.keys[a] < table.keys[b]; });
      const double last = table.keys[order_.back()];
      if (last != static_cast<double>(table.keys.size()))
        plate_.warnings.push_back(
            "line " + std::to_string(record.line) + ": the cycle columns are not cycles 1 to " +
            std::to_string(table.keys.size()) + " without gaps (the last is cycle " +
            std::to_string(static_cast<long>(last)) + ")");
    }
    table_ = std::move(table);
  }

  void endTable() {
    if (!table_) return;
    if (table_->melting()) pairMeltingRows();
    if (table_->rows == 0)
      plate_.warnings.push_back("line " + std::to_string(table_->line) +
                                ": the table has a header but no rows");
    table_.reset();
    meltRows_.clear();
    temperatureRows_.clear();
  }

  void skip(const Identity& identity, const std::string& reason) {
    plate_.skipped.push_back({kRun, identity.well, identity.target, reason});
  }

  // A reading column as messages name it: "cycle 18", "65.5 °C", "m7".
  static std::string columnName(const Table& table, std::size_t i) {
    if (table.layout == Layout::amplification)
      return "cycle " + std::to_string(static_cast<long>(table.keys[i]));
    return table.headers[i];
  }

  void readRow(const Record& record) {
    if (!table_)  // cannot happen: the first row read is the header findDelimiter found
      fail(path_, "line " + std::to_string(record.line) + ": a row before any header row");
    Table& table = *table_;
    ++table.rows;
    const std::vector<std::string>& cells = record.cells;
    const std::string line = "line " + std::to_string(record.line);
    const auto at = [&](std::size_t column) {
      return line + ", column " + std::to_string(column + 1);
    };

    Identity identity;
    identity.well = cells[0];
    int row = 0, column = 0;
    std::string canonical;
    if (parseWellName(identity.well, row, column, canonical)) identity.well = canonical;
    identity.target = cells.size() > 1 ? cells[1] : std::string();
    if (!record.problem.empty()) return skip(identity, record.problem);
    if (identity.well.empty()) return skip(identity, at(0) + ": no well");
    if (identity.target.empty()) return skip(identity, at(1) + ": no target");
    if (cells.size() > 2 && !cells[2].empty()) identity.sample = cells[2];

    bool temperatureRow = false;
    if (cells.size() > 3 && !cells[3].empty()) {
      const std::string type = lower(cells[3]);
      if (type == kTemperatureRow) {
        if (!table.melting())
          return skip(identity,
                      at(3) +
                          ": a temperature row belongs in a melting table, not under cycle "
                          "columns");
        temperatureRow = true;
      } else if (!kSampleTypes.count(type)) {
        return skip(identity, at(3) + ": unknown sample type " + quote(cells[3]) +
                                  " (use unkn, std, ntc, nac, ntp, nrt, pos or opt" +
                                  (table.melting() ? ", or temperature" : "") + ")");
      }
      identity.type = type;
    }
    if (!temperatureRow && cells.size() > 4 && !cells[4].empty()) {
      double quantity = 0.0;
      const std::string problem = parseNumber(cells[4], quantity);
      if (!problem.empty()) return skip(identity, at(4) + ": quantity: " + problem);
      identity.quantity = quantity;
    }

    // Every reading cell must hold a number: a row that ends early, or
    // has an empty cell in between, is not guessed at.
    const std::size_t expected = table.keys.size();
    const std::size_t given = cells.size() - std::min(cells.size(), kIdentityCount);
    const std::string counts = std::to_string(given) + " values for " + std::to_string(expected) +
                               " " + table.readingNoun();
    if (given > expected)
      return skip(identity, line + ": " + counts + " (more cells than the header on line " +
                                std::to_string(table.line) + " has columns)");
    if (given < expected) return skip(identity, line + ": " + counts + " (the row ends early)");
    std::vector<double> values(expected);
    for (std::size_t i = 0; i < expected; ++i) {
      const std::string problem = parseNumber(cells[kIdentityCount + i], values[i]);
      if (!problem.empty())
        return skip(identity,
                    at(kIdentityCount + i) + " (" + columnName(table, i) + "): " + problem);
    }

    if (table.melting()) {
      MeltRow melt{record.line, std::move(identity), std::move(values)};
      (temperatureRow ? temperatureRows_ : meltRows_).push_back(std::move(melt));
      return;
    }
    ReactionEntry* entry = merge(record.line, identity, "amplification");
    if (!entry) return;
    Reaction& reaction = plate_.reactions[entry->index];
    entry->amplificationLine = record.line;
    for (const std::size_t i : order_) {
      reaction.cycles.push_back(table.keys[i]);
      reaction.fluorescence.push_back(values[i]);
    }
  }

  // Gives each fluorescence row of the melting table that ends its
  // temperatures and adds it to its reaction.
  void pairMeltingRows() {
    std::map<std::pair<std::string, std::string>, const MeltRow*> temperatures;
    for (const MeltRow& row : temperatureRows_) {
      const auto [earlier, added] =
          temperatures.emplace(std::make_pair(row.identity.well, row.identity.target), &row);
      if (!added)
        skip(row.identity,
             "line " + std::to_string(row.line) + ": a second temperature row for well " +
                 quote(row.identity.well) + ", target " + quote(row.identity.target) +
                 " (the first is on line " + std::to_string(earlier->second->line) + ")");
    }
    std::set<const MeltRow*> used;
    for (MeltRow& row : meltRows_) {
      const auto found = temperatures.find({row.identity.well, row.identity.target});
      const std::vector<double>* temperatureValues = nullptr;
      if (found != temperatures.end()) {
        temperatureValues = &found->second->values;
        used.insert(found->second);
      } else if (table_->layout == Layout::meltingTemperatures) {
        temperatureValues = &table_->keys;
      } else {
        skip(row.identity,
             "line " + std::to_string(row.line) + ": no temperature row for well " +
                 quote(row.identity.well) + ", target " + quote(row.identity.target) +
                 " (the table's columns are numbered readings, so every well needs one)");
        continue;
      }
      ReactionEntry* entry = merge(row.line, row.identity, "melting");
      if (!entry) continue;
      Reaction& reaction = plate_.reactions[entry->index];
      entry->meltingLine = row.line;
      reaction.temperatures = *temperatureValues;
      reaction.meltFluorescence = std::move(row.values);
    }
    for (const auto& [key, row] : temperatures) {
      if (!used.count(row))
        skip(row->identity, "line " + std::to_string(row->line) + ": a temperature row for well " +
                                quote(key.first) + ", target " + quote(key.second) +
                                " with no row of fluorescence readings in the same table");
    }
  }

  // The reaction a row of the given kind belongs to, created when new;
  // nothing (and the row skipped) when the reaction already has readings of
  // that kind or the row contradicts what an earlier row said.
  ReactionEntry* merge(std::size_t line, const Identity& identity, const char* kind) {
    const std::string where = "line " + std::to_string(line);
    const auto key = std::make_pair(identity.well, identity.target);
    auto found = entries_.find(key);
    if (found == entries_.end()) {
      Reaction reaction;
      reaction.run = kRun;
      reaction.well = identity.well;
      reaction.target = identity.target;
      reaction.sample = identity.sample.value_or("");
      reaction.sampleType = identity.type.value_or("unkn");
      reaction.quantity = identity.quantity;
      if (identity.quantity) reaction.quantityUnit = table_->unit;
      reaction.origin = where;
      ReactionEntry entry;
      entry.index = plate_.reactions.size();
      entry.identityLine = line;
      entry.sampleGiven = identity.sample.has_value();
      entry.typeGiven = identity.type.has_value();
      entry.quantityGiven = identity.quantity.has_value();
      plate_.reactions.push_back(std::move(reaction));
      return &entries_.emplace(key, entry).first->second;
    }

    ReactionEntry& entry = found->second;
    Reaction& reaction = plate_.reactions[entry.index];
    const std::size_t earlier =
        std::string_view(kind) == "amplification" ? entry.amplificationLine : entry.meltingLine;
    if (earlier != 0) {
      skip(identity, where + ": well " + quote(identity.well) + ", target " +
                         quote(identity.target) + " already has " + kind + " readings (line " +
                         std::to_string(earlier) + ")");
      return nullptr;
    }
    const std::string conflict = " differs from line " + std::to_string(entry.identityLine) +
                                 " for the same well and target";
    if (identity.sample && entry.sampleGiven && *identity.sample != reaction.sample) {
      skip(identity, where + ": sample " + quote(*identity.sample) + conflict);
      return nullptr;
    }
    if (identity.type && entry.typeGiven && *identity.type != reaction.sampleType) {
      skip(identity, where + ": type " + quote(*identity.type) + conflict);
      return nullptr;
    }
    if (identity.quantity && entry.quantityGiven && *identity.quantity != *reaction.quantity) {
      skip(identity, where + ": quantity" + conflict);
      return nullptr;
    }
    if (identity.sample && !entry.sampleGiven) reaction.sample = *identity.sample;
    if (identity.type && !entry.typeGiven) reaction.sampleType = *identity.type;
    if (identity.quantity && !entry.quantityGiven) {
      reaction.quantity = identity.quantity;
      reaction.quantityUnit = table_->unit;
    }
    entry.sampleGiven = entry.sampleGiven || identity.sample.has_value();
    entry.typeGiven = entry.typeGiven || identity.type.has_value();
    entry.quantityGiven = entry.quantityGiven || identity.quantity.has_value();
    reaction.origin += std::string(", ") + kind + " " + where;
    return &entry;
  }

  // Well numbers and the plate format. Wells named by letter and number
  // are placed on the smallest of the 96-, 384- and 1536-well plates that
  // holds them all; wells named by a bare number keep that number.
  void finish() {
    static constexpr int kFormats[][2] = {{8, 12}, {16, 24}, {32, 48}};
    int maxRow = -1, maxColumn = 0;
    bool allNamed = !plate_.reactions.empty();
    for (const Reaction& reaction : plate_.reactions) {
      int row = 0, column = 0;
      std::string canonical;
      if (!parseWellName(reaction.well, row, column, canonical)) {
        allNamed = false;
        break;
      }
      maxRow = std::max(maxRow, row);
      maxColumn = std::max(maxColumn, column);
    }
    Run run;
    run.id = kRun;
    if (allNamed) {
      for (const auto& format : kFormats) {
        if (maxRow < format[0] && maxColumn <= format[1]) {
          run.rows = format[0];
          run.columns = format[1];
          break;
        }
      }
    }
    for (Reaction& reaction : plate_.reactions) {
      int row = 0, column = 0;
      std::string canonical;
      if (run.rows > 0 && parseWellName(reaction.well, row, column, canonical))
        reaction.wellNumber = row * run.columns + column;
      else if (const long number = positiveInteger(reaction.well); number > 0 && number < 1000000)
        reaction.wellNumber = static_cast<int>(number);
    }
    plate_.runs.push_back(run);
    if (plate_.reactions.empty() && plate_.skipped.empty())
      plate_.warnings.push_back("the file holds no reactions");
  }

  static constexpr const char* kRun = "1";

  std::string path_;
  Plate& plate_;
  std::optional<Table> table_;
  std::vector<std::size_t> order_;  // cycle columns in cycle order
  std::vector<MeltRow> meltRows_;
  std::vector<MeltRow> temperatureRows_;
  std::map<std::pair<std::string, std::string>, ReactionEntry> entries_;
};

}  // namespace

Plate readTable(const std::string& path) {
  Plate plate;
  plate.path = path;
  const std::string text = decodeText(path, readPlateFile(path), plate);
  TableReader(path, plate).read(text);
  return plate;
}

}  // namespace corvel::tool

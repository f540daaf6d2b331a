// What the plate readers have in common; see reader_util.h.
#include "reader_util.h"

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "plate.h"

namespace corvel::tool {
namespace {

// The file opened for reading after the checks every plate file must pass.
std::ifstream openPlateFile(const std::string& path) {
  std::error_code ec;
  const std::filesystem::file_status status = std::filesystem::status(path, ec);
  if (status.type() == std::filesystem::file_type::not_found) fail(path, "no such file");
  if (ec) fail(path, "cannot access the file (" + ec.message() + ")");
  if (status.type() == std::filesystem::file_type::directory)
    fail(path, "is a directory, not a plate file");
  if (status.type() != std::filesystem::file_type::regular)
    fail(path, "is not a regular file (a device, pipe or socket cannot be read as a plate)");
  std::ifstream in(path, std::ios::binary);
  if (!in) fail(path, std::string("cannot open the file (") + std::strerror(errno) + ")");
  return in;
}

// The end of a read: a stream error or nothing read is a fault of the file.
void checkRead(const std::string& path, const std::ifstream& in, const std::string& bytes) {
  if (in.bad()) fail(path, "read error");
  if (bytes.empty()) fail(path, "the file is empty");
}

std::string_view trimSet(std::string_view s, const char* set) {
  const auto first = s.find_first_not_of(set);
  if (first == std::string_view::npos) return {};
  const auto last = s.find_last_not_of(set);
  return s.substr(first, last - first + 1);
}

}  // namespace

void fail(const std::string& path, const std::string& what) {
  throw InputError(path + ": " + what);
}

std::string readPlateFile(const std::string& path) {
  std::ifstream in = openPlateFile(path);
  std::string bytes;
  char buffer[1 << 16];
  while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
    bytes.append(buffer, static_cast<std::size_t>(in.gcount()));
    if (bytes.size() > kMaxPlateBytes)
      fail(path, std::string("the file is larger than ") + kMaxPlateText +
                     ", more than this reader accepts");
  }
  checkRead(path, in, bytes);
  return bytes;
}

std::string readPlateFileStart(const std::string& path, std::size_t count) {
  std::ifstream in = openPlateFile(path);
  std::string bytes(count, '\0');
  in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(in.gcount()));
  checkRead(path, in, bytes);
  return bytes;
}

bool isZipArchive(std::string_view bytes) {
  return bytes.substr(0, 4) == std::string_view("PK\x03\x04", 4) ||
         bytes.substr(0, 4) == std::string_view("PK\x05\x06", 4);
}

std::string_view trim(std::string_view s) {
  return trimSet(s, " \t\r\n");
}

std::string_view trimBlanks(std::string_view s) {
  return trimSet(s, " \t");
}

std::string lower(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

std::string_view localName(std::string_view name) {
  const auto colon = name.rfind(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

std::string excerpt(std::string_view text, std::size_t limit) {
  std::string out;
  for (const char c : text.substr(0, limit)) {
    const auto byte = static_cast<unsigned char>(c);
    out += byte < 0x20 || byte == 0x7f ? '?' : c;
  }
  if (text.size() > limit) out += "...";
  return out;
}

std::string quote(std::string_view text, std::size_t limit) {
  return "\"" + excerpt(text, limit) + "\"";
}

std::size_t utf8SequenceLength(std::string_view s, std::size_t i) {
  const auto at = [&](std::size_t k) { return static_cast<unsigned char>(s[k]); };
  const unsigned char b = at(i);
  if (b < 0x80) return 1;
  std::size_t length = 0;
  unsigned char low = 0x80, high = 0xbf;  // allowed range of the second byte
  if (b >= 0xc2 && b <= 0xdf) {
    length = 2;
  } else if (b >= 0xe0 && b <= 0xef) {
    length = 3;
    if (b == 0xe0) low = 0xa0;
    if (b == 0xed) high = 0x9f;
  } else if (b >= 0xf0 && b <= 0xf4) {
    length = 4;
    if (b == 0xf0) low = 0x90;
    if (b == 0xf4) high = 0x8f;
  } else {
    return 0;
  }
  if (i + length > s.size()) return 0;
  if (at(i + 1) < low || at(i + 1) > high) return 0;
  for (std::size_t k = 2; k < length; ++k)
    if (at(i + k) < 0x80 || at(i + k) > 0xbf) return 0;
  return length;
}

bool validUtf8(std::string_view s) {
  for (std::size_t i = 0; i < s.size();) {
    const std::size_t length = utf8SequenceLength(s, i);
    if (length == 0) return false;
    i += length;
  }
  return true;
}

std::string cleanText(std::string_view s, bool& repaired) {
  std::string out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) {
    const std::size_t length = utf8SequenceLength(s, i);
    if (length == 0) {
      out += "\xef\xbf\xbd";
      repaired = true;
      ++i;
    } else {
      out.append(s.substr(i, length));
      i += length;
    }
  }
  return out;
}

NumberFault readNumber(std::string_view text, double& out) {
  if (text.empty()) return NumberFault::empty;
  std::string_view digits = text;
  if (digits.size() > 1 && digits[0] == '+' && digits[1] != '+' && digits[1] != '-')
    digits.remove_prefix(1);
  const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), out);
  if (ec == std::errc::result_out_of_range) return NumberFault::outOfRange;
  if (ec != std::errc() || end != digits.data() + digits.size()) return NumberFault::malformed;
  if (!std::isfinite(out)) return NumberFault::notFinite;
  return NumberFault::none;
}

}  // namespace corvel::tool

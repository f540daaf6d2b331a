// Number and CSV text for the writers. Numbers go through std::to_chars,
// which never depends on the C locale (a German locale would otherwise
// turn 23.5 into "23,5" and break every CSV file) and, without a precision,
// gives the shortest text that reads back to the same double.
#include "text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>

namespace corvel::tool {

std::string formatNumber(double v) {
  if (std::isnan(v)) return {};
  if (std::isinf(v)) return v > 0 ? "inf" : "-inf";
  // The longest shortest form of a double is 24 characters
  // ("-2.2250738585072014e-308"); the buffer leaves room to spare.
  char buffer[64];
  const std::to_chars_result r = std::to_chars(buffer, buffer + sizeof buffer, v);
  if (r.ec != std::errc()) return {};  // cannot happen with this buffer size
  return std::string(buffer, r.ptr);
}

std::string formatFixed(double v, int decimals) {
  if (std::isnan(v)) return {};
  if (std::isinf(v)) return v > 0 ? "inf" : "-inf";
  // Capped so the text stays bounded: the largest double has 309 digits
  // before the point, and the buffer holds those, a sign, the point and
  // every permitted decimal.
  decimals = std::clamp(decimals, 0, 100);
  char buffer[512];
  const std::to_chars_result r =
      std::to_chars(buffer, buffer + sizeof buffer, v, std::chars_format::fixed, decimals);
  if (r.ec != std::errc()) return {};  // cannot happen with this buffer size
  std::string text(buffer, r.ptr);
  // A small negative value rounded to zero reads "-0.00"; people expect "0.00".
  if (!text.empty() && text.front() == '-' &&
      text.find_first_not_of("0.", 1) == std::string::npos) {
    text.erase(0, 1);
  }
  return text;
}

std::string csvField(std::string_view text) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
  const bool needsQuotes = text.find_first_of(",\"\r\n") != std::string_view::npos ||
                           (!text.empty() && (isBlank(text.front()) || isBlank(text.back())));
  if (!needsQuotes) return std::string(text);
  std::string quoted;
  quoted.reserve(text.size() + 2);
  quoted += '"';
  for (const char c : text) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  quoted += '"';
  return quoted;
}

}  // namespace corvel::tool

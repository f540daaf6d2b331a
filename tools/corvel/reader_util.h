// What the plate readers have in common: reading a plate file with the
// checks every one must pass, quoting file content in messages, white space,
// UTF-8 and the core of reading a number. Internal to the readers; each
// reader words its own messages on top of these.
#ifndef CORVEL_TOOL_READER_UTIL_H
#define CORVEL_TOOL_READER_UTIL_H

#include <cstddef>
#include <string>
#include <string_view>

namespace corvel::tool {

// The largest plate file, or document inside one, that a reader accepts:
// far above any real plate (a 1536-well run with melting curves is tens of
// MiB) and low enough that a crafted file or archive cannot exhaust memory.
constexpr std::size_t kMaxPlateBytes = std::size_t{512} << 20;
constexpr const char* kMaxPlateText = "512 MiB";

// Throws InputError "path: what".
[[noreturn]] void fail(const std::string& path, const std::string& what);

// The whole file, after checking that it exists and is a non-empty regular
// file; fails with a message naming the file otherwise, and when the file
// is larger than kMaxPlateBytes.
std::string readPlateFile(const std::string& path);

// At most the first `count` bytes of the file, after the same checks (no
// size limit: the rest is not read).
std::string readPlateFileStart(const std::string& path, std::size_t count);

// Whether the bytes start as a zip archive (a local file header, or the
// end record of an empty archive).
bool isZipArchive(std::string_view bytes);

// Text without leading and trailing white space (spaces, tabs, line
// breaks); trimBlanks removes spaces and tabs only.
std::string_view trim(std::string_view s);
std::string_view trimBlanks(std::string_view s);

// ASCII letters made lower case; other bytes unchanged.
std::string lower(std::string_view s);

// A qualified XML name without its prefix ("rdml:react" -> "react").
std::string_view localName(std::string_view name);

// File content for a message: cut to `limit` bytes (with "..." when cut)
// and control bytes shown as '?'. quote() puts it in double quotes.
std::string excerpt(std::string_view text, std::size_t limit = 40);
std::string quote(std::string_view text, std::size_t limit = 40);

// The length of the valid UTF-8 sequence starting at s[i], or 0 when the
// bytes there are not one (overlong forms, surrogates and values beyond
// U+10FFFF included).
std::size_t utf8SequenceLength(std::string_view s, std::size_t i);

// Whether the whole text is valid UTF-8.
bool validUtf8(std::string_view s);

// The text as valid UTF-8: a byte that does not belong to a valid sequence
// becomes U+FFFD, and `repaired` is set.
std::string cleanText(std::string_view s, bool& repaired);

// Why a text is not a usable number.
enum class NumberFault {
  none,        // the number was read
  empty,       // no text at all
  outOfRange,  // beyond the range of double
  malformed,   // not a decimal number, or something after it
  notFinite,   // infinity or NaN
};

// Reads `text` as a whole decimal number into `out`; no white space is
// allowed, a leading '+' is (but not "+-" or "++"). Infinities, NaN and
// values beyond double range are faults: they are not readings.
NumberFault readNumber(std::string_view text, double& out);

}  // namespace corvel::tool

#endif  // CORVEL_TOOL_READER_UTIL_H

// Text helpers shared by the writers: numbers written so that they read
// back to the same double, and CSV fields.
#ifndef CORVEL_TOOL_TEXT_H
#define CORVEL_TOOL_TEXT_H

#include <string>
#include <string_view>

namespace corvel::tool {

// The shortest decimal text that reads back to exactly v ("0.1", "23.456",
// "1e-07"); "" for NaN, "inf" / "-inf" for infinities.
std::string formatNumber(double v);

// v rounded to the given number of decimals for people to read ("23.46");
// "" for NaN.
std::string formatFixed(double v, int decimals);

// A CSV field: quoted (with doubled quotes) when it holds a comma, a quote,
// a line break or leading/trailing space; unchanged otherwise.
std::string csvField(std::string_view text);

}  // namespace corvel::tool

#endif  // CORVEL_TOOL_TEXT_H

#include "units.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <system_error>
#include <vector>

#include "text.h"

namespace corvel::tool {
namespace {

// The chosen factor stays within what --scale accepts.
constexpr int kLargestExponent = 12;

// The largest finite reading of each reaction with one.
std::vector<double> wellMaxima(const Plate& plate) {
  std::vector<double> maxima;
  for (const Reaction& r : plate.reactions) {
    bool any = false;
    double largest = 0.0;
    for (const double v : r.fluorescence) {
      if (!std::isfinite(v)) continue;
      if (!any || v > largest) largest = v;
      any = true;
    }
    if (any) maxima.push_back(largest);
  }
  return maxima;
}

// The median of the first readings of every reaction: where the curves
// start, to tell background-subtracted units (near 0) from normalized ones.
double medianStart(const Plate& plate) {
  std::vector<double> starts;
  for (const Reaction& r : plate.reactions) {
    // Cycles 3 to 8: past the first readings, which often settle, and
    // before any well amplifies.
    std::vector<double> early;
    for (std::size_t i = 2; i < std::min<std::size_t>(r.fluorescence.size(), 8); ++i)
      if (std::isfinite(r.fluorescence[i])) early.push_back(r.fluorescence[i]);
    if (early.empty()) continue;
    std::nth_element(early.begin(), early.begin() + early.size() / 2, early.end());
    starts.push_back(early[early.size() / 2]);
  }
  if (starts.empty()) return 0.0;
  std::nth_element(starts.begin(), starts.begin() + starts.size() / 2, starts.end());
  return starts[starts.size() / 2];
}

// The instruments and background treatments the RDML runs name, for the
// reason: "QuantStudio Dx; background: Background Subtraction" (each
// distinct text once).
std::string runWords(const Plate& plate) {
  std::vector<std::string> instruments, backgrounds;
  const auto add = [](std::vector<std::string>& list, const std::string& text) {
    if (!text.empty() && std::find(list.begin(), list.end(), text) == list.end())
      list.push_back(text);
  };
  for (const Run& run : plate.runs) {
    add(instruments, run.instrument);
    add(backgrounds, run.background);
  }
  const auto join = [](const std::vector<std::string>& list) {
    std::string text;
    for (const std::string& item : list) text += (text.empty() ? "" : ", ") + item;
    return text;
  };
  std::string text = join(instruments);
  if (!backgrounds.empty())
    text += (text.empty() ? "" : "; ") + ("background: " + join(backgrounds));
  return text;
}

}  // namespace

double signalLevel(const Plate& plate) {
  std::vector<double> maxima = wellMaxima(plate);
  if (maxima.empty()) return 0.0;
  // Nearest rank: the smallest value with at least the quantile's share
  // of the wells at or below it.
  const auto rank =
      static_cast<std::size_t>(std::ceil(kLevelQuantile * static_cast<double>(maxima.size())));
  const std::size_t index = std::clamp<std::size_t>(rank, 1, maxima.size()) - 1;
  std::nth_element(maxima.begin(), maxima.begin() + static_cast<std::ptrdiff_t>(index),
                   maxima.end());
  return maxima[index];
}

ScaleChoice chooseScale(const Plate& plate, const std::optional<double>& given) {
  ScaleChoice choice;
  choice.level = signalLevel(plate);
  if (given) {
    choice.factor = *given;
    choice.reason = "given with --scale";
    return choice;
  }
  if (!(choice.level > 0.0)) {
    choice.reason = wellMaxima(plate).empty()
                        ? "no amplification readings, used as they are"
                        : "no positive amplification readings, used as they are";
    return choice;
  }
  // The smallest power of ten that lifts the level to kRangeLow or more;
  // the range spans one decade, so the level then lies below kRangeHigh.
  // log10 may round either way at a boundary: the loops settle it.
  const double first = std::ceil(std::log10(kRangeLow) - std::log10(choice.level));
  int k = static_cast<int>(std::clamp(first, -400.0, 400.0));
  while (choice.level * std::pow(10.0, k - 1) >= kRangeLow) --k;
  while (choice.level * std::pow(10.0, k) < kRangeLow) ++k;
  k = std::clamp(k, -kLargestExponent, kLargestExponent);
  choice.factor = std::pow(10.0, k);

  std::string about = "the largest readings are about " + fluorescenceText(choice.level);
  const std::string run = runWords(plate);
  if (!run.empty()) about += " (" + run + ")";
  if (k == 0) {
    choice.reason = about + ", raw instrument units, used as they are";
  } else if (k < 0) {
    choice.reason = about + ", raw instrument units above the range the analysis is tuned for: " +
                    "multiplied by " + factorText(choice.factor);
  } else {
    // Background-subtracted curves start at zero; normalized ones (a
    // reporter divided by a reference dye, or a percentage) do not.
    const bool subtracted = std::fabs(medianStart(plate)) < 0.01 * choice.level;
    choice.reason = about + (subtracted ? ", background-subtracted units" : ", normalized units") +
                    ": multiplied by " + factorText(choice.factor);
  }
  return choice;
}

std::string factorText(double factor) {
  if (!(factor > 0) || !std::isfinite(factor)) return formatNumber(factor);
  const double exponent = std::round(std::log10(factor));
  const int k = static_cast<int>(exponent);
  if (std::fabs(factor / std::pow(10.0, exponent) - 1.0) < 1e-12 && k >= -4 && k <= 6)
    return formatFixed(factor, std::max(0, -k));
  return formatNumber(factor);
}

std::string fluorescenceText(double value) {
  if (!std::isfinite(value)) return formatNumber(value);
  if (value == 0.0) return "0";
  // Three significant digits, written without an exponent from 1e-4 to
  // below 1e7, without trailing zeros after the point.
  const int magnitude = static_cast<int>(std::floor(std::log10(std::fabs(value))));
  if (magnitude < -4 || magnitude > 6) {
    char buffer[64];
    const auto r =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific, 2);
    return r.ec == std::errc() ? std::string(buffer, r.ptr) : formatNumber(value);
  }
  if (magnitude >= 2) {
    const double unit = std::pow(10.0, magnitude - 2);
    return formatFixed(std::round(value / unit) * unit, 0);
  }
  std::string text = formatFixed(value, 2 - magnitude);
  if (text.find('.') != std::string::npos) {
    while (text.back() == '0') text.pop_back();
    if (text.back() == '.') text.pop_back();
  }
  return text;
}

}  // namespace corvel::tool

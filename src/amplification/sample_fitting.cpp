#include "amplification/sample_fitting.h"

#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "core/messages.h"
#include "core/regression.h"

namespace corvel {

namespace {

constexpr double kLastCycle = 11.0;

// Typed access to the record at byte offsets, as a host sees it.
template <typename T>
T readAt(const WellCurveInfo* record, std::size_t offset) {
  T value;
  std::memcpy(&value, reinterpret_cast<const unsigned char*>(record) + offset, sizeof value);
  return value;
}

template <typename T>
void writeAt(WellCurveInfo* record, std::size_t offset, T value) {
  std::memcpy(reinterpret_cast<unsigned char*>(record) + offset, &value, sizeof value);
}

}  // namespace

double sampleDataFitting(const AlgVector& y) {
  if (y.size() < 3) throw std::invalid_argument(msg::kMatrixMultiplyShape);
  AlgVector t;
  t.fillArithmetic(1.0, 1.0, y.size());
  const AlgVector coefficients = quadraticFit(t, y);
  const double a = coefficients[0];
  const double b = coefficients[1];
  const double c = coefficients[2];

  const double vertex = -b / (a + a);
  if (vertex >= 1.0 && vertex <= kLastCycle) return (a * vertex) * vertex + b * vertex + c;
  const double atLast = (a * kLastCycle) * kLastCycle + b * kLastCycle + c;
  const double atFirst = (b + a) + c;
  return atLast > atFirst ? atLast : atFirst;
}

int fittingSelfTest(WellCurveInfo* record) noexcept {
  constexpr int kMismatch = ALG_STATUS_INVALID_ARGUMENT;
  if (record == nullptr) return kMismatch;

  const double firstFour[4] = {1.1, 2.2, 3.3, 4.4};
  for (std::size_t i = 0; i < 4; ++i) {
    const double value = readAt<double>(record, 8 * i);
    if (value != firstFour[i]) return kMismatch;
    writeAt<double>(record, 8 * i, value + firstFour[i]);
  }

  if (readAt<double>(record, 128) != 5.5) return kMismatch;
  writeAt<double>(record, 128, 5.5 + 5.5);

  for (std::int16_t i = 0; i < 3; ++i) {
    const std::size_t offset = 96 + 2 * static_cast<std::size_t>(i);
    if (readAt<std::int16_t>(record, offset) != i + 1) return kMismatch;
    writeAt<std::int16_t>(record, offset, static_cast<std::int16_t>(2 * (i + 1)));
  }

  for (std::size_t k = 0; k < 8; ++k) {
    const std::size_t offset = 32 + 8 * k;
    if (readAt<double>(record, offset) != static_cast<double>(k)) return kMismatch;
    writeAt<double>(record, offset, static_cast<double>(2 * k));
    const bool even = k % 2 == 0;
    if (readAt<std::uint8_t>(record, 136 + k) != (even ? 1 : 0)) return kMismatch;
    writeAt<std::uint8_t>(record, 136 + k, even ? 0 : 1);
  }
  return ALG_STATUS_OK;
}

}  // namespace corvel

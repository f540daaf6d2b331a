// Conversions of doubles to integers with defined results for every input.
#ifndef CORVEL_CORE_CONVERSIONS_H
#define CORVEL_CORE_CONVERSIONS_H

#include <cstdint>

namespace corvel {

// v truncated toward zero to a signed 32-bit integer. NaN and values
// outside the 32-bit range give the most negative one, as the x86
// processor's conversion does, rather than undefined behaviour.
inline std::int32_t truncateToInt32(double v) noexcept {
  if (!(v > -2147483649.0 && v < 2147483648.0)) return INT32_MIN;
  return static_cast<std::int32_t>(v);
}

}  // namespace corvel

#endif  // CORVEL_CORE_CONVERSIONS_H

// Noise-floor removal of a derivative melting curve.
#ifndef CORVEL_MELTING_NORMALIZATION_H
#define CORVEL_MELTING_NORMALIZATION_H

#include "core/vector.h"

namespace corvel {

// In place: floor = 0.1 * population SD + 0.9 * mean of the values. Each
// value below the floor, or negative, becomes 0; then a value above the
// floor is lowered by it when the floor is positive. A value equal to the
// floor stays; a NaN floor only zeroes negative values.
void normalizeMelting(AlgVector& values);

}  // namespace corvel

#endif  // CORVEL_MELTING_NORMALIZATION_H

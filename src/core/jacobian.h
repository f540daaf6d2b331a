// Central-difference Jacobian of a vector-valued model.
#ifndef CORVEL_CORE_JACOBIAN_H
#define CORVEL_CORE_JACOBIAN_H

#include "core/matrix.h"
#include "core/vector.h"

namespace corvel {

// A model evaluated at a parameter vector: replaces the contents of values
// with the model's outputs. Reports failure by throwing.
using ModelFunction = void (*)(void* context, const AlgVector& parameters, AlgVector& values);

// Fills jacobian (resized to m x p, m the model's output length at the
// entry parameters) with d(value i)/d(parameter j), each column a central
// difference with step h = 5e-8: (f(p_j + h) - f(p_j - h)) * 1e7.
//
// Every column is taken at the entry parameters: each perturbed element is
// put back before the next evaluation, and also when an evaluation throws.
// Throws std::invalid_argument when the two perturbed outputs differ in
// length (vector-subtract message) or when their length is not m
// (set-column message).
void numericJacobian(ModelFunction model, void* context, AlgVector& parameters,
                     AlgMatrix& jacobian);

}  // namespace corvel

#endif  // CORVEL_CORE_JACOBIAN_H

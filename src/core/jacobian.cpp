#include "core/jacobian.h"

#include <cstddef>

namespace corvel {

namespace {

constexpr double kStep = 5e-8;
constexpr double kInverseTwoSteps = 1e7;  // 1 / (2 * kStep)

// Puts one parameter back to its entry value when it leaves scope, so an
// evaluation that throws does not leave the caller's parameters perturbed.
class ParameterRestorer {
 public:
  ParameterRestorer(double& slot, double value) noexcept : slot_(slot), value_(value) {}
  ~ParameterRestorer() { slot_ = value_; }
  ParameterRestorer(const ParameterRestorer&) = delete;
  ParameterRestorer& operator=(const ParameterRestorer&) = delete;

 private:
  double& slot_;
  double value_;
};

}  // namespace

void numericJacobian(ModelFunction model, void* context, AlgVector& parameters,
                     AlgMatrix& jacobian) {
  AlgVector values;
  model(context, parameters, values);
  jacobian.resize(values.size(), parameters.size());

  AlgVector below;
  AlgVector above;
  for (std::size_t j = 0; j < parameters.size(); ++j) {
    {
      const double entry = parameters[j];
      const ParameterRestorer restore(parameters[j], entry);
      parameters[j] = entry - kStep;
      model(context, parameters, below);
      parameters[j] = entry + kStep;
      model(context, parameters, above);
    }
    AlgVector column = above - below;
    column *= kInverseTwoSteps;
    jacobian.setColumn(j, column);
  }
}

}  // namespace corvel

#include "mgf/mgf_model.h"

#include <cmath>
#include <new>

#include "core/allocator.h"

namespace corvel {

namespace {

// Frees a partly built model when creation fails.
class ModelOwner {
 public:
  explicit ModelOwner(MgfModel* model) noexcept : model_(model) {}
  ~ModelOwner() { releaseMgfModel(model_); }
  ModelOwner(const ModelOwner&) = delete;
  ModelOwner& operator=(const ModelOwner&) = delete;
  MgfModel* get() const noexcept { return model_; }
  MgfModel* release() noexcept {
    MgfModel* model = model_;
    model_ = nullptr;
    return model;
  }

 private:
  MgfModel* model_;
};

}  // namespace

MgfModel* createMgfModel(const double* x, std::size_t xCount, const double* y, std::size_t yCount,
                         const MgfOptions& options) {
  ModelOwner model(new (allocateBytes(sizeof(MgfModel))) MgfModel());
  model.get()->options = options;
  model.get()->x = xCount == 0 ? nullptr : copyDoubles(x, xCount);
  model.get()->xCount = xCount;
  model.get()->y = yCount == 0 ? nullptr : copyDoubles(y, yCount);
  model.get()->yCount = yCount;
  return model.release();
}

void releaseMgfModel(MgfModel* model) noexcept {
  if (model == nullptr) return;
  releaseBytes(model->x);
  releaseBytes(model->y);
  model->~MgfModel();
  releaseBytes(model);
}

AlgVector modelX(const MgfModel& model) {
  return AlgVector::copyOf(model.x, model.xCount);
}

AlgVector modelY(const MgfModel& model) {
  return AlgVector::copyOf(model.y, model.yCount);
}

AlgVector gaussian(double a, double b, double sigma, const AlgVector& x) {
  const double f = 1.0 / ((sigma + sigma) * sigma);
  AlgVector values(x.size());
  for (std::size_t k = 0; k < x.size(); ++k) {
    double t = x[k] - b;
    t = t * t;
    t = -t;
    t = t * f;
    values[k] = std::exp(t) * a;
  }
  return values;
}

AlgVector sumOfGaussians(const MgfModel& model, const double* amplitudes, const double* centers,
                         const double* widths, std::size_t peaks) {
  AlgVector sum(model.yCount);
  const AlgVector x = modelX(model);
  for (std::size_t i = 0; i < peaks; ++i) sum += gaussian(amplitudes[i], centers[i], widths[i], x);
  return sum;
}

AlgVector multiGauss(const MgfModel& model, const GaussCoeff& coeff) {
  requireEqualCounts(coeff);
  return sumOfGaussians(model, coeff.amplitudes, coeff.centers, coeff.widths, coeff.centerCount);
}

}  // namespace corvel

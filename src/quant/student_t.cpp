#include "quant/student_t.h"

namespace corvel {

namespace {

constexpr double kTable[kStudentTRows][kStudentTColumns] = {
#include "quant/student_t_table.inc"
};

}  // namespace

double studentTCritical(std::size_t row, std::size_t column) noexcept {
  return kTable[row][column];
}

}  // namespace corvel

// Two-sided critical values of Student's t for the error bars.
#ifndef CORVEL_QUANT_STUDENT_T_H
#define CORVEL_QUANT_STUDENT_T_H

#include <cstddef>

namespace corvel {

// Rows of the table: df = 2 .. 95.
inline constexpr std::size_t kStudentTRows = 94;
// Columns: 95, 97, 99, 99.5, 99.7 and 99.9 % confidence.
inline constexpr std::size_t kStudentTColumns = 6;

// The critical value of row `row` (df = row + 2) and confidence column
// `column`, stored to ten significant digits. Both must be in range.
double studentTCritical(std::size_t row, std::size_t column) noexcept;

}  // namespace corvel

#endif  // CORVEL_QUANT_STUDENT_T_H

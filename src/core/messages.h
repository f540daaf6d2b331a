// Every fixed message the library can report, in one place.
//
// Hosts receive these texts through get_last_error() as GBK bytes (code page
// 936), exactly as stored here; the library never converts them. Each constant
// is written as byte escapes so that the bytes do not depend on the encoding
// a compiler assumes for the source file. The readable text, and an English
// gloss, stand in the comment above each constant.
//
// The allocation messages and the fallback text are plain ASCII and have the
// same spelling on every platform, whatever the C++ runtime would say.
#ifndef CORVEL_CORE_MESSAGES_H
#define CORVEL_CORE_MESSAGES_H

namespace corvel::msg {

inline constexpr char kBadAllocation[] = "bad allocation";
inline constexpr char kBadArrayNewLength[] = "bad array new length";
inline constexpr char kUnknownException[] = "Unknown exception";

// 开始下标不能大于结束下标。
// (the start index may not be greater than the end index)
inline constexpr char kSliceBeginAfterEnd[] =
    "\xbf\xaa\xca\xbc\xcf\xc2\xb1\xea\xb2\xbb\xc4\xdc\xb4\xf3\xd3\xda\xbd\xe1\xca\xf8\xcf\xc2\xb1"
    "\xea\xa1\xa3";

// end下标越界。
// (end index out of bounds)
inline constexpr char kSliceEndOutOfRange[] = "end\xcf\xc2\xb1\xea\xd4\xbd\xbd\xe7\xa1\xa3";

// 两向量长度不等，元素个数不同不能相加。
// (the two vectors differ in length, so they cannot be added)
inline constexpr char kVectorAddLength[] =
    "\xc1\xbd\xcf\xf2\xc1\xbf\xb3\xa4\xb6\xc8\xb2\xbb\xb5\xc8\xa3\xac\xd4\xaa\xcb\xd8\xb8\xf6\xca"
    "\xfd\xb2\xbb\xcd\xac\xb2\xbb\xc4\xdc\xcf\xe0\xbc\xd3\xa1\xa3";

// 两向量长度不等，元素个数不同不能相减。
// (the two vectors differ in length, so they cannot be subtracted)
inline constexpr char kVectorSubtractLength[] =
    "\xc1\xbd\xcf\xf2\xc1\xbf\xb3\xa4\xb6\xc8\xb2\xbb\xb5\xc8\xa3\xac\xd4\xaa\xcb\xd8\xb8\xf6\xca"
    "\xfd\xb2\xbb\xcd\xac\xb2\xbb\xc4\xdc\xcf\xe0\xbc\xf5\xa1\xa3";

// 两向量长度不等，元素个数不同不能相乘。
// (the two vectors differ in length, so they cannot be multiplied)
inline constexpr char kVectorMultiplyLength[] =
    "\xc1\xbd\xcf\xf2\xc1\xbf\xb3\xa4\xb6\xc8\xb2\xbb\xb5\xc8\xa3\xac\xd4\xaa\xcb\xd8\xb8\xf6\xca"
    "\xfd\xb2\xbb\xcd\xac\xb2\xbb\xc4\xdc\xcf\xe0\xb3\xcb\xa1\xa3";

// 行或列值超出范围。
// (row or column value out of range)
inline constexpr char kElementOutOfRange[] =
    "\xd0\xd0\xbb\xf2\xc1\xd0\xd6\xb5\xb3\xac\xb3\xf6\xb7\xb6\xce\xa7\xa1\xa3";

// row 超出范围。
// (row out of range)
inline constexpr char kRowOutOfRange[] = "row \xb3\xac\xb3\xf6\xb7\xb6\xce\xa7\xa1\xa3";

// 行向量长度与矩阵列数不同，不能设置。
// (the row vector's length differs from the column count, cannot set)
inline constexpr char kRowLengthMismatch[] =
    "\xd0\xd0\xcf\xf2\xc1\xbf\xb3\xa4\xb6\xc8\xd3\xeb\xbe\xd8\xd5\xf3\xc1\xd0\xca\xfd\xb2\xbb\xcd"
    "\xac\xa3\xac\xb2\xbb\xc4\xdc\xc9\xe8\xd6\xc3\xa1\xa3";

// col 超出范围。
// (col out of range)
inline constexpr char kColumnOutOfRange[] = "col \xb3\xac\xb3\xf6\xb7\xb6\xce\xa7\xa1\xa3";

// 列向量长度与矩阵行数不同，不能设置。
// (the column vector's length differs from the row count, cannot set)
inline constexpr char kColumnLengthMismatch[] =
    "\xc1\xd0\xcf\xf2\xc1\xbf\xb3\xa4\xb6\xc8\xd3\xeb\xbe\xd8\xd5\xf3\xd0\xd0\xca\xfd\xb2\xbb\xcd"
    "\xac\xa3\xac\xb2\xbb\xc4\xdc\xc9\xe8\xd6\xc3\xa1\xa3";

// 左矩阵列数与右矩阵行数不同，不能相乘。
// (left column count differs from right row count, cannot multiply)
inline constexpr char kMatrixMultiplyShape[] =
    "\xd7\xf3\xbe\xd8\xd5\xf3\xc1\xd0\xca\xfd\xd3\xeb\xd3\xd2\xbe\xd8\xd5\xf3\xd0\xd0\xca\xfd\xb2"
    "\xbb\xcd\xac\xa3\xac\xb2\xbb\xc4\xdc\xcf\xe0\xb3\xcb\xa1\xa3";

// out 参数不能为空。
// (the out parameter may not be null)
inline constexpr char kNullOutParameter[] =
    "out \xb2\xce\xca\xfd\xb2\xbb\xc4\xdc\xce\xaa\xbf\xd5\xa1\xa3";

// 矩阵列数与列向量长度不同，不能进行矩阵左乘！
// (column count differs from the vector's length, cannot multiply)
inline constexpr char kMatrixVectorShape[] =
    "\xbe\xd8\xd5\xf3\xc1\xd0\xca\xfd\xd3\xeb\xc1\xd0\xcf\xf2\xc1\xbf\xb3\xa4\xb6\xc8\xb2\xbb\xcd"
    "\xac\xa3\xac\xb2\xbb\xc4\xdc\xbd\xf8\xd0\xd0\xbe\xd8\xd5\xf3\xd7\xf3\xb3\xcb\xa3\xa1";

// 两矩阵形状不同，不能相加。
// (the two matrices differ in shape, cannot add)
inline constexpr char kMatrixAddShape[] =
    "\xc1\xbd\xbe\xd8\xd5\xf3\xd0\xce\xd7\xb4\xb2\xbb\xcd\xac\xa3\xac\xb2\xbb\xc4\xdc\xcf\xe0\xbc"
    "\xd3\xa1\xa3";

// 列不相同，不可拼接。
// (the columns differ, cannot join (tested on the row counts))
inline constexpr char kAppendRowsDiffer[] =
    "\xc1\xd0\xb2\xbb\xcf\xe0\xcd\xac\xa3\xac\xb2\xbb\xbf\xc9\xc6\xb4\xbd\xd3\xa1\xa3";

// end 不可小于 begin
// (end may not be less than begin)
inline constexpr char kKeepColumnsEmpty[] = "end \xb2\xbb\xbf\xc9\xd0\xa1\xd3\xda begin";

// 超过最大列。
// (beyond the last column)
inline constexpr char kKeepColumnsPastEnd[] = "\xb3\xac\xb9\xfd\xd7\xee\xb4\xf3\xc1\xd0\xa1\xa3";

// 不是方阵，无法求逆矩阵。
// (not a square matrix, cannot invert)
inline constexpr char kNotSquare[] =
    "\xb2\xbb\xca\xc7\xb7\xbd\xd5\xf3\xa3\xac\xce\xde\xb7\xa8\xc7\xf3\xc4\xe6\xbe\xd8\xd5\xf3\xa1"
    "\xa3";

// 数组长度应该大于等于3。
// (the array length must be at least 3)
inline constexpr char kTooFewKnots[] =
    "\xca\xfd\xd7\xe9\xb3\xa4\xb6\xc8\xd3\xa6\xb8\xc3\xb4\xf3\xd3\xda\xb5\xc8\xd3\xda"
    "3\xa1\xa3";

// 数据不能为空。
// (the data must not be empty)
inline constexpr char kNullData[] = "\xca\xfd\xbe\xdd\xb2\xbb\xc4\xdc\xce\xaa\xbf\xd5\xa1\xa3";

// 数组长度应该相等。
// (the arrays must have equal lengths)
inline constexpr char kKnotLengthsDiffer[] =
    "\xca\xfd\xd7\xe9\xb3\xa4\xb6\xc8\xd3\xa6\xb8\xc3\xcf\xe0\xb5\xc8\xa1\xa3";

// 数组过少无法操作。
// (too few values to operate on)
inline constexpr char kTooFewGridValues[] =
    "\xca\xfd\xd7\xe9\xb9\xfd\xc9\xd9\xce\xde\xb7\xa8\xb2\xd9\xd7\xf7\xa1\xa3";

// length 长度必需大于0
// (the length must be greater than 0)
inline constexpr char kLengthNotPositive[] =
    "length \xb3\xa4\xb6\xc8\xb1\xd8\xd0\xe8\xb4\xf3\xd3\xda"
    "0";

// 长度必需为 cycleCount * wellCount
// (the length must be cycleCount * wellCount)
inline constexpr char kPlateSizeMismatch[] =
    "\xb3\xa4\xb6\xc8\xb1\xd8\xd0\xe8\xce\xaa cycleCount * wellCount";

// ctCount 不能小于 wellCount。
// (ctCount cannot be smaller than wellCount)
inline constexpr char kCtCountTooSmall[] =
    "ctCount \xb2\xbb\xc4\xdc\xd0\xa1\xd3\xda wellCount\xa1\xa3";

// 参数错误。
// (parameter error)
inline constexpr char kParameterError[] = "\xb2\xce\xca\xfd\xb4\xed\xce\xf3\xa1\xa3";

// 误差条类型参数不正确。
// (the error-bar type parameter is incorrect)
inline constexpr char kErrorBarType[] =
    "\xce\xf3\xb2\xee\xcc\xf5\xc0\xe0\xd0\xcd\xb2\xce\xca\xfd\xb2\xbb\xd5\xfd\xc8\xb7\xa1\xa3";

// 输入参数错误。
// (input parameter error)
inline constexpr char kInputParameterError[] =
    "\xca\xe4\xc8\xeb\xb2\xce\xca\xfd\xb4\xed\xce\xf3\xa1\xa3";

// 数据格式有误，靶标基因或管家基因为空。
// (the target gene or the housekeeping gene is empty)
inline constexpr char kReplicateGroupEmpty[] =
    "\xca\xfd\xbe\xdd\xb8\xf1\xca\xbd\xd3\xd0\xce\xf3\xa3\xac\xb0\xd0\xb1\xea\xbb\xf9\xd2\xf2\xbb"
    "\xf2\xb9\xdc\xbc\xd2\xbb\xf9\xd2\xf2\xce\xaa\xbf\xd5\xa1\xa3";

// F参数数据长度不能过小。
// (the F data length must not be too small)
inline constexpr char kMeltTooShort[] =
    "F\xb2\xce\xca\xfd\xca\xfd\xbe\xdd\xb3\xa4\xb6\xc8\xb2\xbb\xc4\xdc\xb9\xfd\xd0\xa1\xa1\xa3";

// 温度数据不能小于4个。
// (fewer than 4 temperature values)
inline constexpr char kTooFewTemperatures[] =
    "\xce\xc2\xb6\xc8\xca\xfd\xbe\xdd\xb2\xbb\xc4\xdc\xd0\xa1\xd3\xda"
    "4\xb8\xf6\xa1\xa3";

// GaussCoeff 数据无效。
// (the GaussCoeff data is invalid)
inline constexpr char kGaussCoeffInvalid[] = "GaussCoeff \xca\xfd\xbe\xdd\xce\xde\xd0\xa7\xa1\xa3";

// 峰宽窗口超出曲线范围。
// (the peak-width window reaches past the curve)
inline constexpr char kPeakWindowTooWide[] =
    "\xb7\xe5\xbf\xed\xb4\xb0\xbf\xda\xb3\xac\xb3\xf6\xc7\xfa\xcf\xdf\xb7\xb6\xce\xa7"
    "\xa1\xa3";

// 模型数据点过少。
// (the model has too few data points)
inline constexpr char kModelTooShort[] =
    "\xc4\xa3\xd0\xcd\xca\xfd\xbe\xdd\xb5\xe3\xb9\xfd\xc9\xd9\xa1\xa3";

// 峰值小于零
// (the peak value is less than zero)
inline constexpr char kPeakBelowZero[] = "\xb7\xe5\xd6\xb5\xd0\xa1\xd3\xda\xc1\xe3";

}  // namespace corvel::msg

#endif  // CORVEL_CORE_MESSAGES_H

// The fixed messages: every constant must hold exactly the GBK encoding of
// its readable text. The texts below are converted with the system's iconv
// at run time and compared byte for byte, so the check does not rest on the
// escapes written in the header.
#include "core/messages.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#ifndef _WIN32
#include <iconv.h>
#include <cerrno>
#endif

namespace corvel {
namespace {

struct Message {
  const char* name;
  const char* bytes;  // the constant
  std::size_t size;   // sizeof the constant, terminating NUL included
  std::string text;   // the readable text, UTF-8
};

// Accepts the u8 literals of C++17 (char) as well as those of later
// standards (char8_t).
template <typename Char, std::size_t N>
std::string utf8(const Char (&literal)[N]) {
  return std::string(reinterpret_cast<const char*>(literal), N - 1);
}

#define CORVEL_MESSAGE(constant, text)                          \
  Message {                                                     \
#constant, msg::constant, sizeof(msg::constant), utf8(text) \
  }

// Every message the library reports in Chinese.
std::vector<Message> chineseMessages() {
  return {
      CORVEL_MESSAGE(kSliceBeginAfterEnd, u8"开始下标不能大于结束下标。"),
      CORVEL_MESSAGE(kSliceEndOutOfRange, u8"end下标越界。"),
      CORVEL_MESSAGE(kVectorAddLength, u8"两向量长度不等，元素个数不同不能相加。"),
      CORVEL_MESSAGE(kVectorSubtractLength, u8"两向量长度不等，元素个数不同不能相减。"),
      CORVEL_MESSAGE(kVectorMultiplyLength, u8"两向量长度不等，元素个数不同不能相乘。"),
      CORVEL_MESSAGE(kElementOutOfRange, u8"行或列值超出范围。"),
      CORVEL_MESSAGE(kRowOutOfRange, u8"row 超出范围。"),
      CORVEL_MESSAGE(kRowLengthMismatch, u8"行向量长度与矩阵列数不同，不能设置。"),
      CORVEL_MESSAGE(kColumnOutOfRange, u8"col 超出范围。"),
      CORVEL_MESSAGE(kColumnLengthMismatch, u8"列向量长度与矩阵行数不同，不能设置。"),
      CORVEL_MESSAGE(kMatrixMultiplyShape, u8"左矩阵列数与右矩阵行数不同，不能相乘。"),
      CORVEL_MESSAGE(kNullOutParameter, u8"out 参数不能为空。"),
      CORVEL_MESSAGE(kMatrixVectorShape, u8"矩阵列数与列向量长度不同，不能进行矩阵左乘！"),
      CORVEL_MESSAGE(kMatrixAddShape, u8"两矩阵形状不同，不能相加。"),
      CORVEL_MESSAGE(kAppendRowsDiffer, u8"列不相同，不可拼接。"),
      CORVEL_MESSAGE(kKeepColumnsEmpty, u8"end 不可小于 begin"),
      CORVEL_MESSAGE(kKeepColumnsPastEnd, u8"超过最大列。"),
      CORVEL_MESSAGE(kNotSquare, u8"不是方阵，无法求逆矩阵。"),
      CORVEL_MESSAGE(kTooFewKnots, u8"数组长度应该大于等于3。"),
      CORVEL_MESSAGE(kNullData, u8"数据不能为空。"),
      CORVEL_MESSAGE(kKnotLengthsDiffer, u8"数组长度应该相等。"),
      CORVEL_MESSAGE(kTooFewGridValues, u8"数组过少无法操作。"),
      CORVEL_MESSAGE(kLengthNotPositive, u8"length 长度必需大于0"),
      CORVEL_MESSAGE(kPlateSizeMismatch, u8"长度必需为 cycleCount * wellCount"),
      CORVEL_MESSAGE(kCtCountTooSmall, u8"ctCount 不能小于 wellCount。"),
      CORVEL_MESSAGE(kParameterError, u8"参数错误。"),
      CORVEL_MESSAGE(kErrorBarType, u8"误差条类型参数不正确。"),
      CORVEL_MESSAGE(kInputParameterError, u8"输入参数错误。"),
      CORVEL_MESSAGE(kReplicateGroupEmpty, u8"数据格式有误，靶标基因或管家基因为空。"),
      CORVEL_MESSAGE(kMeltTooShort, u8"F参数数据长度不能过小。"),
      CORVEL_MESSAGE(kTooFewTemperatures, u8"温度数据不能小于4个。"),
      CORVEL_MESSAGE(kGaussCoeffInvalid, u8"GaussCoeff 数据无效。"),
      CORVEL_MESSAGE(kPeakWindowTooWide, u8"峰宽窗口超出曲线范围。"),
      CORVEL_MESSAGE(kModelTooShort, u8"模型数据点过少。"),
      CORVEL_MESSAGE(kPeakBelowZero, u8"峰值小于零"),
  };
}

// The messages that read the same in every encoding.
std::vector<Message> asciiMessages() {
  return {
      CORVEL_MESSAGE(kBadAllocation, "bad allocation"),
      CORVEL_MESSAGE(kBadArrayNewLength, "bad array new length"),
      CORVEL_MESSAGE(kUnknownException, "Unknown exception"),
  };
}

#undef CORVEL_MESSAGE

// The constant's bytes up to, not including, its terminating NUL.
std::string bytesOf(const Message& m) {
  return std::string(m.bytes, m.size - 1);
}

#ifndef _WIN32
// UTF-8 to GBK through iconv; fails the test and returns "" on any error.
std::string toGbk(const std::string& utf8Text) {
  iconv_t converter = iconv_open("GBK", "UTF-8");
  if (converter == reinterpret_cast<iconv_t>(-1)) {
    ADD_FAILURE() << "iconv cannot convert UTF-8 to GBK on this system";
    return std::string();
  }
  std::string input = utf8Text;
  std::vector<char> output(input.size() * 2 + 16);
  char* in = input.data();
  std::size_t inLeft = input.size();
  char* out = output.data();
  std::size_t outLeft = output.size();
  const std::size_t result = iconv(converter, &in, &inLeft, &out, &outLeft);
  const int error = errno;
  iconv_close(converter);
  if (result == static_cast<std::size_t>(-1) || inLeft != 0) {
    ADD_FAILURE() << "iconv failed on " << utf8Text << " (errno " << error << ")";
    return std::string();
  }
  return std::string(output.data(), output.size() - outLeft);
}
#endif

TEST(MessagesTest, ChineseMessagesAreTheGbkBytesOfTheirTexts) {
#ifdef _WIN32
  GTEST_SKIP() << "the GBK conversion uses POSIX iconv";
#else
  // Full-width punctuation must survive as the GBK double-byte forms.
  ASSERT_EQ(toGbk(u8"，。！"), std::string("\xa3\xac\xa1\xa3\xa3\xa1"));
  for (const Message& m : chineseMessages()) {
    SCOPED_TRACE(m.name);
    const std::string expected = toGbk(m.text);
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(bytesOf(m), expected);
  }
#endif
}

TEST(MessagesTest, AsciiMessagesAreSpelledAlike) {
  for (const Message& m : asciiMessages()) {
    SCOPED_TRACE(m.name);
    EXPECT_EQ(bytesOf(m), m.text);
  }
}

// Each constant is one terminated string with no NUL inside, fits the
// 255 usable bytes of the last-error buffer uncut, and no two are alike.
TEST(MessagesTest, MessagesAreDistinctTerminatedStringsThatFitTheErrorBuffer) {
  std::vector<Message> all = chineseMessages();
  for (Message& m : asciiMessages()) all.push_back(m);

  std::set<std::string> seen;
  for (const Message& m : all) {
    SCOPED_TRACE(m.name);
    EXPECT_EQ(std::strlen(m.bytes), m.size - 1);
    EXPECT_LE(m.size - 1, 255u);
    EXPECT_GT(m.size - 1, 0u);
    EXPECT_TRUE(seen.insert(bytesOf(m)).second) << "duplicate text";
  }
}

}  // namespace
}  // namespace corvel

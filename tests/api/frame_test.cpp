// The export frame: emptying the last-error buffer on entry, mapping
// exceptions to statuses, storing their messages, and the diagnostics
// exports get_last_error() and version().
#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <typeinfo>

#include "CorvelAlg.h"
#include "api/frame.h"
#include "core/allocator.h"

namespace {

using corvel::api::guarded;
using corvel::api::lastErrorBuffer;

// Leaves `text` in the last-error buffer through a failing frame.
void leaveMessage(const std::string& text) {
  ASSERT_EQ(guarded([&] { throw std::runtime_error(text); }), ALG_STATUS_FAILURE);
  ASSERT_STREQ(get_last_error(), text.c_str());
}

std::string storedMessage() {
  return std::string(get_last_error());
}

// An exception type of the library's own that reports a custom message.
class CustomOutOfRange : public std::out_of_range {
 public:
  CustomOutOfRange() : std::out_of_range("custom out of range") {}
};

// Derives from two standard exception classes, so std::exception is an
// ambiguous base and no `catch (const std::exception&)` can take it.
struct AmbiguousException : std::invalid_argument, std::range_error {
  AmbiguousException() : std::invalid_argument("ambiguous"), std::range_error("ambiguous") {}
};

TEST(FrameTest, ClearsOnlyByteZeroBeforeTheBodyRuns) {
  leaveMessage("ABCDEF");
  char seenFirst = 'x';
  char seenSecond = 'x';
  const int status = guarded([&] {
    seenFirst = lastErrorBuffer()[0];
    seenSecond = lastErrorBuffer()[1];
  });
  EXPECT_EQ(status, ALG_STATUS_OK);
  EXPECT_EQ(seenFirst, '\0');
  // The rest of the older message is still in memory, unread.
  EXPECT_EQ(seenSecond, 'B');
  EXPECT_EQ(std::memcmp(lastErrorBuffer() + 1, "BCDEF", 6), 0);
  EXPECT_STREQ(get_last_error(), "");
}

TEST(FrameTest, StatusFollowsTheDynamicTypeOfTheException) {
  struct Case {
    const char* name;
    int expected;
    int actual;
  };
  const Case cases[] = {
      {"invalid_argument", 10, guarded([] { throw std::invalid_argument("m"); })},
      {"out_of_range", 20, guarded([] { throw std::out_of_range("m"); })},
      {"range_error", 20, guarded([] { throw std::range_error("m"); })},
      {"class derived from out_of_range", 20, guarded([] { throw CustomOutOfRange(); })},
      {"overflow_error", 100, guarded([] { throw std::overflow_error("m"); })},
      {"underflow_error", 100, guarded([] { throw std::underflow_error("m"); })},
      {"domain_error", 100, guarded([] { throw std::domain_error("m"); })},
      {"length_error", 100, guarded([] { throw std::length_error("m"); })},
      {"logic_error", 100, guarded([] { throw std::logic_error("m"); })},
      {"runtime_error", 100, guarded([] { throw std::runtime_error("m"); })},
      {"bad_alloc", 100, guarded([] { throw std::bad_alloc(); })},
      {"bad_array_new_length", 100, guarded([] { throw std::bad_array_new_length(); })},
      {"bad_cast", 100, guarded([] { throw std::bad_cast(); })},
      {"system_error", 100,
       guarded([] { throw std::system_error(std::make_error_code(std::errc::io_error)); })},
      {"AllocationFailure", 100, guarded([] { throw corvel::AllocationFailure(); })},
      {"AllocationSizeFailure", 100, guarded([] { throw corvel::AllocationSizeFailure(); })},
      {"no exception", 0, guarded([] {})},
  };
  for (const Case& c : cases) EXPECT_EQ(c.actual, c.expected) << c.name;
}

TEST(FrameTest, StoresTheExactMessageBytes) {
  // GBK bytes including a full-width full stop and a high byte that would
  // be mangled by any conversion.
  const char gbk[] = "\xca\xfd\xd7\xe9\xb9\xfd\xc9\xd9\xa1\xa3 x=\xff";
  EXPECT_EQ(guarded([&] { throw std::invalid_argument(gbk); }), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), gbk);

  EXPECT_EQ(guarded([] { throw CustomOutOfRange(); }), ALG_STATUS_OUT_OF_RANGE);
  EXPECT_STREQ(get_last_error(), "custom out of range");

  EXPECT_EQ(guarded([] { throw corvel::AllocationFailure(); }), ALG_STATUS_FAILURE);
  EXPECT_STREQ(get_last_error(), "bad allocation");
  EXPECT_EQ(guarded([] { throw corvel::AllocationSizeFailure(); }), ALG_STATUS_FAILURE);
  EXPECT_STREQ(get_last_error(), "bad array new length");

  // A runtime's own exception goes out with the runtime's text, unchanged.
  const std::bad_alloc runtimeFailure;
  EXPECT_EQ(guarded([&] { throw runtimeFailure; }), ALG_STATUS_FAILURE);
  EXPECT_STREQ(get_last_error(), runtimeFailure.what());
}

TEST(FrameTest, ShorterMessageFillsTheRestOfTheBufferWithNuls) {
  leaveMessage(std::string(200, 'z'));
  EXPECT_EQ(guarded([] { throw std::runtime_error("short"); }), ALG_STATUS_FAILURE);
  const char* buffer = lastErrorBuffer();
  EXPECT_STREQ(buffer, "short");
  for (std::size_t i = 5; i < ALG_LAST_ERROR_CAPACITY; ++i) {
    ASSERT_EQ(buffer[i], '\0') << "byte " << i;
  }
}

TEST(FrameTest, LongMessagesAreCutAtExactly255Bytes) {
  std::string longMessage;
  for (int i = 0; i < 300; ++i) longMessage.push_back(static_cast<char>('a' + i % 26));
  EXPECT_EQ(guarded([&] { throw std::runtime_error(longMessage); }), ALG_STATUS_FAILURE);
  EXPECT_EQ(std::string(get_last_error()), longMessage.substr(0, 255));
  EXPECT_EQ(lastErrorBuffer()[255], '\0');

  // Exactly 255 bytes fit whole; one more byte is dropped.
  const std::string fits(255, 'k');
  EXPECT_EQ(guarded([&] { throw std::runtime_error(fits); }), ALG_STATUS_FAILURE);
  EXPECT_EQ(storedMessage(), fits);
  EXPECT_EQ(guarded([&] { throw std::runtime_error(fits + "L"); }), ALG_STATUS_FAILURE);
  EXPECT_EQ(storedMessage(), fits);
}

TEST(FrameTest, CutMayFallInsideATwoByteCharacter) {
  // 254 ASCII bytes followed by the GBK pair of one character: the cut
  // keeps the lead byte and drops the trail byte.
  const std::string message = std::string(254, 'a') + "\xb3\xa4";
  EXPECT_EQ(guarded([&] { throw std::invalid_argument(message); }), ALG_STATUS_INVALID_ARGUMENT);
  const std::string stored = storedMessage();
  ASSERT_EQ(stored.size(), 255u);
  EXPECT_EQ(stored.substr(0, 254), std::string(254, 'a'));
  EXPECT_EQ(static_cast<unsigned char>(stored[254]), 0xb3);
  EXPECT_EQ(lastErrorBuffer()[255], '\0');
}

TEST(FrameTest, MessagelessExceptionsReadUnknownException) {
  leaveMessage("older");
  EXPECT_EQ(guarded([] { throw std::exception(); }), ALG_STATUS_FAILURE);
  EXPECT_STREQ(get_last_error(), "Unknown exception");

  leaveMessage("older");
  EXPECT_EQ(guarded([] { throw std::runtime_error(""); }), ALG_STATUS_FAILURE);
  EXPECT_STREQ(get_last_error(), "Unknown exception");

  leaveMessage("older");
  EXPECT_EQ(guarded([] { throw std::invalid_argument(""); }), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), "Unknown exception");
}

TEST(FrameTest, NothingThrownOutsideTheStandardHierarchyCrossesTheFrame) {
  leaveMessage("older");
  EXPECT_EQ(guarded([] { throw 42; }), ALG_STATUS_FAILURE);
  EXPECT_STREQ(get_last_error(), "Unknown exception");

  leaveMessage("older");
  EXPECT_EQ(guarded([] { throw "a C string"; }), ALG_STATUS_FAILURE);
  EXPECT_STREQ(get_last_error(), "Unknown exception");

  // With std::exception an ambiguous base, the standard handler cannot
  // take it; it still ends as a failure, never as a crash.
  leaveMessage("older");
  EXPECT_EQ(guarded([] { throw AmbiguousException(); }), ALG_STATUS_FAILURE);
  EXPECT_STREQ(get_last_error(), "Unknown exception");
}

TEST(FrameTest, GetLastErrorIsStableAndVersionLeavesItAlone) {
  leaveMessage("kept message");
  const char* first = get_last_error();
  EXPECT_EQ(first, lastErrorBuffer());
  EXPECT_STREQ(get_last_error(), "kept message");
  EXPECT_STREQ(get_last_error(), "kept message");

  EXPECT_STREQ(version(), "1.1.2");
  EXPECT_STREQ(version(), CORVELALG_VERSION_STRING);
  EXPECT_EQ(version(), version());
  EXPECT_STREQ(get_last_error(), "kept message");
}

TEST(FrameTest, SuccessfulCallsAndReleaseEmptyTheBuffer) {
  leaveMessage("will be emptied");
  double out[2] = {0.0, 0.0};
  EXPECT_EQ(alg_increasing(0.0, 1.0, 2, out), ALG_STATUS_OK);
  EXPECT_STREQ(get_last_error(), "");

  leaveMessage("will be emptied");
  EXPECT_EQ(alg_darray_release(nullptr), ALG_STATUS_OK);
  EXPECT_STREQ(get_last_error(), "");
}

TEST(FrameTest, RealExportReportsGbkMessage) {
  // "length 长度必需大于0" in code page 936.
  const char expected[] =
      "length \xb3\xa4\xb6\xc8\xb1\xd8\xd0\xe8\xb4\xf3\xd3\xda"
      "0";
  double out[1] = {7.0};
  EXPECT_EQ(alg_increasing(1.0, 1.0, 0, out), ALG_STATUS_INVALID_ARGUMENT);
  EXPECT_STREQ(get_last_error(), expected);
  EXPECT_EQ(out[0], 7.0);

  // A second failure of another kind replaces it entirely.
  const double x[3] = {0.0, 1.0, 2.0};
  EXPECT_EQ(alg_interpolation_x(x, 3, -1, out), ALG_STATUS_FAILURE);
  EXPECT_STREQ(get_last_error(), "bad array new length");
}

}  // namespace

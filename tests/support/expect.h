// Small helpers shared by the library's unit tests.
#ifndef CORVEL_TESTS_SUPPORT_EXPECT_H
#define CORVEL_TESTS_SUPPORT_EXPECT_H

#include <gtest/gtest.h>

#include <exception>
#include <initializer_list>
#include <string>
#include <typeinfo>
#include <vector>

#include "core/vector.h"

namespace corvel::test {

inline AlgVector vec(std::initializer_list<double> values) {
  const std::vector<double> v(values);
  return AlgVector::copyOf(v.data(), v.size());
}

inline std::vector<double> elements(const AlgVector& v) {
  return std::vector<double>(v.begin(), v.end());
}

// Succeeds when f() throws an E whose what() is exactly `message`.
template <typename E, typename F>
::testing::AssertionResult throwsWith(F&& f, const std::string& message) {
  try {
    f();
  } catch (const E& e) {
    if (e.what() == message) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "message is " << ::testing::PrintToString(std::string(e.what())) << ", expected "
           << ::testing::PrintToString(message);
  } catch (const std::exception& e) {
    return ::testing::AssertionFailure() << "threw " << typeid(e).name() << " instead of "
                                         << typeid(E).name() << ": " << e.what();
  } catch (...) {
    return ::testing::AssertionFailure() << "threw something outside std::exception";
  }
  return ::testing::AssertionFailure() << "threw nothing";
}

}  // namespace corvel::test

#endif  // CORVEL_TESTS_SUPPORT_EXPECT_H

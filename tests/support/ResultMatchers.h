// EXPECT_RESULT(rc, CODE): compares result codes and prints their rows on failure.

#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo::test {

inline std::string describeResult(ResultCode code) {
  char hex[16];
  std::snprintf(hex, sizeof(hex), "0x%.8X", code);
  const char* row = findResultCodeRow(code);
  return std::string(hex) + (code == 0 ? " (success)" : row != nullptr ? std::string(" (") + row + ")" : "");
}

inline ::testing::AssertionResult resultsAreEqual(const char* expression, const char* /*expectedText*/,
                                                  ResultCode actual, ResultCode expected) {
  if (actual == expected) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << expression << " gave " << describeResult(actual) << " where "
                                       << describeResult(expected) << " is due";
}

}  // namespace halvo::test

#define EXPECT_RESULT(actual, expected) EXPECT_PRED_FORMAT2(::halvo::test::resultsAreEqual, actual, expected)
#define ASSERT_RESULT(actual, expected) ASSERT_PRED_FORMAT2(::halvo::test::resultsAreEqual, actual, expected)

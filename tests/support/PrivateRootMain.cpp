// main() of the tests that run in a private root.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

#include "tests/support/PrivateRoot.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleMock(&argc, argv);
  if (!::testing::GTEST_FLAG(list_tests)) {
    const std::string refusal = halvo::test::enterPrivateRoot();
    if (!refusal.empty()) {
      std::fprintf(stderr, "%s\n", refusal.c_str());
      return 1;
    }
  }
  return RUN_ALL_TESTS();
}

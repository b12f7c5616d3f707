// The hostile runs in their short form: see hostile.py, which makes them, and scripts/hostile for the whole.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/Subprocess.h"

namespace halvo {
namespace {

using namespace test;

// Runs one part, of one scenario where it is named, with a fixed draw: what a test shows once it shows again.
void expectNoFault(const std::string& part, const std::string& scenario = "") {
  RunOptions options;
  options.timeoutSeconds = 280;
  const RunResult result =
      runProgram({"/usr/bin/python3", sourcePath("tests/hostile/hostile.py"), "--build", TOLM_TEST_BUILD_DIR,
                  "--short", "--seed", "1", "--only", scenario, part},
                 options);
  EXPECT_FALSE(result.timedOut);
  EXPECT_EQ(result.exitStatus, 0) << result.out << result.err;
}

TEST(HostileTest, AClearRunWhoseSystemCallsFailInTurnEnds) {
  expectNoFault("calls", "clear");
}

TEST(HostileTest, AClearRunWithoutMemoryAtAnyPlaceEnds) {
  expectNoFault("memory", "clear");
}

TEST(HostileTest, ACheckWhoseSystemCallsFailInTurnEndsAndSaysSo) {
  expectNoFault("calls", "check");
}

TEST(HostileTest, ACheckWithoutMemoryAtAnyPlaceEndsAndSaysSo) {
  expectNoFault("memory", "check");
}

TEST(HostileTest, APlanWithoutMemoryAtAnyPlaceEndsAndSaysSo) {
  expectNoFault("memory", "plan");
}

}  // namespace
}  // namespace halvo

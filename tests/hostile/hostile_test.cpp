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
  options.timeoutSeconds = 880;
  const RunResult result =
      runProgram({"/usr/bin/python3", sourcePath("tests/hostile/hostile.py"), "--build", TOLM_TEST_BUILD_DIR,
                  "--short", "--seed", "1", "--only", scenario, part},
                 options);
  EXPECT_FALSE(result.timedOut);
  EXPECT_EQ(result.exitStatus, 0) << result.out << result.err;
}

TEST(HostileTest, ACollectWhoseSystemCallsFailInTurnLosesNothingInSilence) {
  expectNoFault("calls", "plain");
}

TEST(HostileTest, AnEncryptedCollectWhoseSystemCallsFailInTurnLosesNothingInSilence) {
  expectNoFault("calls", "encrypted");
}

TEST(HostileTest, ACollectOfCommandsWhoseSystemCallsFailInTurnLosesNothingInSilence) {
  expectNoFault("calls", "commands");
}

TEST(HostileTest, AClearRunWhoseSystemCallsFailInTurnEnds) {
  expectNoFault("calls", "clear");
}

TEST(HostileTest, ACheckWhoseSystemCallsFailInTurnEndsAndSaysSo) {
  expectNoFault("calls", "check");
}

TEST(HostileTest, APlanWhoseSystemCallsFailInTurnEndsAndSaysSo) {
  expectNoFault("calls", "plan");
}

TEST(HostileTest, ARunWithoutMemoryAtAnyPlaceEndsAndLosesNothingInSilence) {
  expectNoFault("memory");
}

TEST(HostileTest, ALimitOnTheSizeOfFilesGivesAWholeBundleOrAToldFailure) {
  expectNoFault("limits", "ulimit -f");
}

TEST(HostileTest, ASignalAtAnyMomentLeavesNothingBehindAndNobodyAlive) {
  expectNoFault("signals");
}

TEST(HostileTest, ADiskOfAnySizeGivesAWholeBundleOrAToldFailure) {
  expectNoFault("disk");
}

TEST(HostileTest, ALimitOnDescriptorsGivesAWholeBundleOrAToldFailure) {
  expectNoFault("limits", "ulimit -n");
}

TEST(HostileTest, ALimitOnMemoryGivesAWholeBundleOrAToldFailure) {
  expectNoFault("limits", "ulimit -v");
}

// A second user can be had by root alone: ./test runs as root what is called so.
TEST(TwoUsersHostileTest, ALimitOnProcessesGivesAWholeBundleOrAToldFailure) {
  expectNoFault("limits", "ulimit -u");
}

TEST(TwoUsersHostileTest, RunsAtOnceHaveEachTheirOwnBundle) {
  expectNoFault("parallel");
}

TEST(TwoUsersHostileTest, AnotherUserWhoPlantsAndSwapsHasNothingTouchedOrRead) {
  expectNoFault("races");
}

}  // namespace
}  // namespace halvo

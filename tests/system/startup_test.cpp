// What the start of a program costs, as far as that can be told without a clock.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Subprocess.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::HasSubstr;
using ::testing::Not;

// The journal's library and those that it brings were a quarter of every start, and GPGME and libgcrypt are
// needed by few runs.
TEST(StartTest, TheConsoleProgramIsLoadedWithoutTheLibrariesThatFewRunsNeed) {
  // Has the loader name what it would load, and end.
  RunOptions options;
  options.environment["LD_TRACE_LOADED_OBJECTS"] = "1";
  const RunResult run = runProgram({builtProgram("tmtolm")}, options);
  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_THAT(run.out, HasSubstr("libxml2.so"));
  for (const char* const library :
       {"libsystemd.so", "libgcrypt.so", "libgpgme.so", "libgpg-error.so", "libcap.so"}) {
    EXPECT_THAT(run.out, Not(HasSubstr(library)));
  }
}

}  // namespace
}  // namespace halvo

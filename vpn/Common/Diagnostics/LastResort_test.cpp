#include "vpn/Common/Diagnostics/LastResort.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <exception>
#include <functional>
#include <new>
#include <stdexcept>

namespace halvo {
namespace {

// Throws where nothing may be thrown.
template <class Failure>
void throwUnhandled(const Failure& failure) noexcept {
  const std::function<void()> thrower = [&failure] { throw failure; };
  thrower();
}

// Tests run the death in a process of their own; what stands in force there is what the log has installed.

// A static object that found no memory aborted the program with a core and without a code.
TEST(LastResortDeathTest, MemoryThatRunsOutUnhandledEndsTheProgramWithALineAndACode) {
  EXPECT_EXIT(
      {
        installLastResort("tmtolm");
        throwUnhandled(std::bad_alloc());
      },
      ::testing::ExitedWithCode(1), "^tmtolm: out of memory \\(0xFE000004\\)\n$");
}

TEST(LastResortDeathTest, AnyOtherReasonAborts) {
  EXPECT_EXIT(throwUnhandled(std::logic_error("a fault")), ::testing::KilledBySignal(SIGABRT), "^$");
  EXPECT_EXIT(std::terminate(), ::testing::KilledBySignal(SIGABRT), "^$");
}

TEST(LastResortDeathTest, TheLogHasInstalledItUnderTheProgramsName) {
  EXPECT_EXIT(throwUnhandled(std::bad_alloc()), ::testing::ExitedWithCode(1),
              "^common_diagnostics_test: out of memory");
}

}  // namespace
}  // namespace halvo

#include "vpn/Common/Utility/ProgramStart.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <sstream>
#include <string>

#include "tests/support/ForkedCase.h"
#include "vpn/Common/Utility/CommandShell.h"

namespace halvo {

namespace {

using test::ForkedResult;
using test::runForked;

bool isNullDevice(int descriptor) {
  struct stat status {};
  struct stat null {};
  return fstat(descriptor, &status) == 0 && stat("/dev/null", &null) == 0 && status.st_rdev == null.st_rdev;
}

TEST(ProgramStartTest, ClosedStandardStreamsAreTakenAndGoOnFailing) {
  for (const int only : {-1, STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    SCOPED_TRACE(only);
    const ForkedResult result = runForked([only] {
      for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (only == -1 || only == descriptor) {
          close(descriptor);
        }
      }
      prepareProgram();
      for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (only != -1 && only != descriptor) {
          continue;
        }
        // Children inherit it.
        if (!isNullDevice(descriptor) || fcntl(descriptor, F_GETFD) != 0) {
          return 1;
        }
        char byte = 'x';
        errno = 0;
        const bool failed =
            descriptor == STDIN_FILENO ? read(descriptor, &byte, 1) == -1 : write(descriptor, &byte, 1) == -1;
        if (!failed || errno != EBADF) {
          return 2;
        }
      }
      return 7;
    });
    EXPECT_EQ(result.exitStatus, 7) << result.dump();
  }
}

TEST(ProgramStartTest, OpenStandardStreamsStayWhatTheyAre) {
  const ForkedResult result = runForked([] {
    int ends[2];
    if (pipe(ends) != 0 || dup2(ends[0], STDIN_FILENO) < 0 || dup2(ends[1], STDOUT_FILENO) < 0 ||
        dup2(ends[1], STDERR_FILENO) < 0) {
      return 1;
    }
    prepareProgram();
    char text[2] = {};
    return write(STDOUT_FILENO, "a", 1) == 1 && write(STDERR_FILENO, "b", 1) == 1 &&
                   read(STDIN_FILENO, text, 2) == 2 && text[0] == 'a' && text[1] == 'b'
               ? 7
               : 2;
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
}

TEST(ProgramStartTest, IgnoredEndOfChildrenIsTakenBackSoThatTheyCanBeWaitedFor) {
  const ForkedResult result = runForked([] {
    signal(SIGCHLD, SIG_IGN);
    prepareProgram();
    const pid_t child = fork();
    if (child == 0) {
      _exit(5);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 5 ? 7 : 1;
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
  EXPECT_TRUE(result.records.empty()) << result.dump();
}

// What a shell prints for its mask.
std::string maskOfACommand() {
  std::ostringstream output;
  CCommandShell shell("umask");
  return shell.Execute(output) == 0 ? output.str() : "";
}

TEST(ProgramStartTest, WhatTheProgramWritesIsForItsUserAloneAndItsCommandsKeepTheCallersMask) {
  const ForkedResult result = runForked([] {
    umask(026);
    prepareProgram();
    const mode_t own = umask(0777);
    umask(own);
    if (own != 077 || callersMask() != 026) {
      return 1;
    }
    if (maskOfACommand() != "0026\n") {
      return 2;
    }
    const mode_t after = umask(own);
    return after == 077 ? 7 : 3;
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
}

TEST(ProgramStartTest, WithoutAProgramsBeginTheMaskIsTheProcesssOwn) {
  const ForkedResult result = runForked([] {
    umask(031);
    return callersMask() == 031 && maskOfACommand() == "0031\n" ? 7 : 1;
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
}

}  // namespace

}  // namespace halvo

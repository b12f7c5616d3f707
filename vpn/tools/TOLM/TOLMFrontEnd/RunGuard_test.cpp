#include "vpn/tools/TOLM/TOLMFrontEnd/RunGuard.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/ForkedCase.h"
#include "tests/support/Processes.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/Descendants.h"

namespace halvo {
namespace {

using test::exists;
using test::ForkedResult;
using test::isAlive;
using test::processIn;
using test::runForked;
using test::waitForFile;
using test::waitUntil;
using test::withALimitThatIsLongEnough;
using test::writeFile;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;

// A command that starts another in the background, which notes its id in `note` and asks to be spared.
std::string commandWithChild(const std::string& note) {
  return "sh -c 'trap \"\" TERM; echo $$ > " + note + ".tmp; mv " + note + ".tmp " + note +
         "; while :; do sleep 1; done' & wait";
}

TEST(DescendantsTest, ACommandEndsWithAllThatItHasStarted) {
  const test::TempFolder folder;
  const std::string note = folder.file("note");
  const ForkedResult result = runForked([&note] {
    static_cast<void>(adoptOrphans());
    const std::uint64_t since = processClock();
    std::FILE* const command = popen(commandWithChild(note).c_str(), "r");
    if (command == nullptr || !waitForFile(note)) {
      return 1;
    }
    const pid_t child = processIn(note);
    if (countDescendants(since) < 2) {
      return 2;
    }
    endDescendants(since, 50);
    const bool ended = countDescendants(since) == 0 && !isAlive(child);
    pclose(command);
    return ended ? 7 : 3;
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
}

TEST(DescendantsTest, WhatStartedEarlierIsSpared) {
  const ForkedResult result = runForked([] {
    const pid_t child = fork();
    if (child == 0) {
      pause();
      _exit(0);
    }
    const std::uint64_t later = processClock() + 1000;
    endDescendants(later, 10);
    const bool spared = isAlive(child);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    return spared ? 7 : 1;
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
}

class RunGuardTest : public ::testing::Test {
 protected:
  void SetUp() override {
    writeFile(m_Folder.file("work/plain text"), "x");
    writeFile(m_Folder.file(".half"), "PK");
  }
  GuardSettings settings() {
    GuardSettings guard;
    guard.workFolder = [this] { return m_Folder.file("work"); };
    return guard;
  }
  test::TempFolder m_Folder;
};

TEST_F(RunGuardTest, ASignalEndsTheRunCleanlyAndByTheSameSignal) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGXFSZ}) {
    writeFile(m_Folder.file("work/plain text"), "x");
    writeFile(m_Folder.file(".half"), "PK");
    const std::string note = m_Folder.file("note");
    const ForkedResult result = runForked([&] {
      const RunGuard guard(settings());
      RunGuard::noteUnfinishedFile(m_Folder.file(".half"));
      std::FILE* const command = popen(commandWithChild(note).c_str(), "r");
      if (command == nullptr || !waitForFile(note)) {
        return 1;
      }
      kill(getpid(), number);
      // The run's thread goes on until it is stopped.
      for (;;) {
        usleep(10'000);
      }
      return 2;
    });
    EXPECT_EQ(result.signal, number) << result.exitStatus;
    EXPECT_FALSE(exists(m_Folder.file("work")));
    EXPECT_FALSE(exists(m_Folder.file(".half")));
    EXPECT_FALSE(isAlive(processIn(note)));
    unlink(note.c_str());
  }
}

TEST_F(RunGuardTest, AThreadThatHoldsTheAllocatorIsNoHindrance) {
  const ForkedResult result = runForked([&] {
    const RunGuard guard(settings());
    std::thread([] {
      usleep(20'000);
      kill(getpid(), SIGTERM);
    }).detach();
    // Somewhere inside of it most of the time.
    for (;;) {
      std::vector<std::unique_ptr<char[]>> blocks;
      for (int i = 0; i < 1000; ++i) {
        blocks.push_back(std::make_unique<char[]>(static_cast<std::size_t>(i) * 64 + 1));
      }
    }
    return 1;
  });
  EXPECT_EQ(result.signal, SIGTERM);
  EXPECT_FALSE(result.timedOut);
  EXPECT_FALSE(exists(m_Folder.file("work")));
}

TEST_F(RunGuardTest, AWizardEndsWithStatusZero) {
  const ForkedResult result = runForked([&] {
    GuardSettings guard = settings();
    guard.endBySignal = false;
    const RunGuard held(guard);
    kill(getpid(), SIGTERM);
    for (;;) {
      usleep(10'000);
    }
    return 2;
  });
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_FALSE(exists(m_Folder.file("work")));
}

TEST_F(RunGuardTest, ASignalThatTheCallerIgnoresStaysIgnored) {
  const ForkedResult result = runForked([&] {
    signal(SIGHUP, SIG_IGN);
    {
      const RunGuard guard(settings());
      raise(SIGHUP);
      usleep(50'000);
    }
    return signal(SIGHUP, SIG_DFL) == SIG_IGN ? 7 : 1;
  });
  EXPECT_EQ(result.exitStatus, 7) << result.signal;
  EXPECT_TRUE(exists(m_Folder.file("work")));
}

TEST_F(RunGuardTest, BehindARunSignalsDoWhatTheyDidAhead) {
  const ForkedResult result = runForked([&] {
    signal(SIGTERM, [](int) { _exit(9); });
    { const RunGuard guard(settings()); }
    raise(SIGTERM);
    return 1;
  });
  EXPECT_EQ(result.exitStatus, 9);
}

TEST_F(RunGuardTest, ACommandThatTakesTooLongIsEndedAndTheRunGoesOn) {
  const std::string note = m_Folder.file("note");
  const std::string told = m_Folder.file("told");
  ForkedResult result;
  EXPECT_TRUE(withALimitThatIsLongEnough([&](int seconds) {
    result = runForked([&] {
      GuardSettings guard = settings();
      guard.commandTimeoutSeconds = static_cast<unsigned>(seconds);
      guard.tell = [&told](const std::string& line) { writeFile(told, line); };
      RunGuard held(guard);
      const std::string line = "echo printed; " + commandWithChild(note);
      std::string output;
      {
        const ObservedCommand observed(line);
        std::FILE* const command = popen(line.c_str(), "r");
        char block[100];
        while (std::fgets(block, sizeof(block), command) != nullptr) {
          output += block;
        }
        pclose(command);
      }
      return output == "printed\n" ? 7 : 1;
    });
    return exists(note);
  }));
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
  EXPECT_THAT(test::readFile(told),
              ContainsRegex("was ended after [0-9]+ seconds?, the time that commands have"));
  EXPECT_THAT(test::readFile(told), HasSubstr("the command \"echo printed; "));
  EXPECT_FALSE(isAlive(processIn(note)));
  EXPECT_TRUE(exists(m_Folder.file("work")));
}

TEST_F(RunGuardTest, ACommandInItsTimeAndOneOfAnEarlierCommandAreLeftAlone) {
  const std::string note = m_Folder.file("note");
  ForkedResult result;
  EXPECT_TRUE(withALimitThatIsLongEnough([&](int seconds) {
    result = runForked([&] {
      std::atomic<bool> ended = false;
      GuardSettings guard = settings();
      guard.commandTimeoutSeconds = static_cast<unsigned>(seconds);
      guard.tell = [&ended](const std::string& /*line*/) { ended = true; };
      RunGuard held(guard);
      {
        const ObservedCommand observed("a daemon");
        static_cast<void>(
            !std::system(("(sh -c 'echo $$ > " + note + "; exec sleep 300' >/dev/null 2>&1 &)").c_str()));
        waitUntil([&] { return ended || processIn(note) > 0; });
      }
      if (ended) {
        return 1;  // it hasn't come up in its time
      }
      // Long enough for the clock of processes to go on.
      usleep(50'000);
      {
        const ObservedCommand observed("sleep 200");
        if (std::system("sleep 200") == 0) {
          return 2;  // it wasn't ended
        }
      }
      const pid_t daemon = processIn(note);
      const bool spared = isAlive(daemon);
      kill(daemon, SIGKILL);
      return spared ? 7 : 3;
    });
    unlink(note.c_str());
    return result.exitStatus != 1;
  }));
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
}

TEST_F(RunGuardTest, AnEndAtOnceEndsTheCommandsAndLeavesTheFolder) {
  const std::string note = m_Folder.file("note");
  const ForkedResult result = runForked([&] {
    std::thread run([&] {
      const RunGuard guard(settings());
      RunGuard::noteUnfinishedFile(m_Folder.file(".half"));
      static_cast<void>(!std::system(commandWithChild(note).c_str()));
    });
    if (!waitForFile(note)) {
      return 1;
    }
    RunGuard::endRunAtOnce();
    _exit(isAlive(processIn(note)) ? 2 : 7);
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
  EXPECT_TRUE(exists(m_Folder.file("work/plain text")));
  EXPECT_FALSE(exists(m_Folder.file(".half")));
}

TEST_F(RunGuardTest, BehindARunAnEndAtOnceEndsWhatItsCommandsHaveLeft) {
  const std::string note = m_Folder.file("note");
  const ForkedResult result = runForked([&] {
    const pid_t earlier = fork();
    if (earlier == 0) {
      for (;;) {
        pause();
      }
    }
    usleep(50'000);  // the clock of processes goes on
    {
      const RunGuard guard(settings());
      static_cast<void>(!std::system(("(" + commandWithChild(note) + ") >/dev/null 2>&1 &").c_str()));
      if (!waitForFile(note)) {
        return 1;
      }
    }
    if (!isAlive(processIn(note))) {
      return 2;
    }
    RunGuard::endRunAtOnce();
    const bool spared = isAlive(earlier);
    const bool ended = !isAlive(processIn(note));
    kill(earlier, SIGKILL);
    kill(processIn(note), SIGKILL);
    // A host that hands orphans to its first process alone loses sight of what a command that is over has
    // left.
    return ended != adoptOrphans() ? 3 : spared ? 7 : 4;
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
}

TEST_F(RunGuardTest, WithoutARunThereIsNothingToEndAtOnce) {
  RunGuard::endRunAtOnce();
  EXPECT_TRUE(exists(m_Folder.file("work")));
}

}  // namespace
}  // namespace halvo

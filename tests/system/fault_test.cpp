// Whole runs on a machine that refuses: failing system calls, full disks, no descriptors, a kill.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>

#include "tests/support/ConsoleRun.h"
#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kDocument[] =
    "<c><configure><title>Faults</title></configure>"
    "<file id='a'><description>Files</description><default>true</default><tolm><os opsys='linux'>"
    "<file_copy_action><action><loc>/tmp/faults/*</loc></action></file_copy_action>"
    "<use_extern_action><action><args>echo captured</args><stdout/></action>"
    "<action><args>true</args></action></use_extern_action></os></tolm></file></c>";

class FaultTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::remove_all("/tmp/faults");
    std::filesystem::remove_all("/tmp/bundles");
    removeLeftovers();
    writeFile("/opt/halvo/tessarmont/tolm/xml/config/config.xml", kDocument);
    writeFile("/tmp/faults/a.log", "one\n");
    writeFile("/tmp/faults/sub/b.log", "two\n");
    makeFolders("/tmp/bundles");
  }

  static std::vector<std::string> command() {
    return {builtProgram("tmtolm"), "collect", "--quiet", "--bundle", "/tmp/bundles/out.zip"};
  }

  static RunResult runWith(const std::vector<std::string>& before) {
    std::vector<std::string> all = before;
    for (const std::string& word : command()) {
      all.push_back(word);
    }
    RunOptions options;
    options.timeoutSeconds = 90;
    return runProgram(all, options);
  }

  // A run whose work folder lies on a disk of its own, with a file there ahead of it unless that is empty;
  // `left` gets what it leaves.
  static RunResult runInTemporaryFolderOf(const char* size, const std::string& file,
                                          std::vector<std::string>& left) {
    makeFolders("/opt/bundles");
    makeFolders("/opt/faults");
    // The build may lie below /tmp itself, which is hidden now.
    std::filesystem::copy_file(builtProgram("tmtolm"), "/opt/faults/tmtolm",
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_EQ(mount("tmpfs", "/tmp", "tmpfs", 0, size), 0);
    if (!file.empty()) {
      writeFile(file, std::string(3U << 20, 'x'));
    }
    RunResult result =
        runProgram({"/opt/faults/tmtolm", "collect", "--quiet", "--bundle", "/opt/bundles/out.zip"});
    left = workFolders();
    umount("/tmp");
    return result;
  }

  static void removeLeftovers() {
    for (const std::string& name : workFolders()) {
      std::filesystem::remove_all("/tmp/" + name);
    }
  }
};

// How often the run's own process calls each system call.
std::map<std::string, int> countCalls(const std::string& trace) {
  std::map<std::string, int> calls;
  std::istringstream lines(trace);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t name = line.find('(');
    if (name != std::string::npos && line.compare(0, 3, "---") != 0 && line.compare(0, 3, "+++") != 0) {
      ++calls[line.substr(0, name)];
    }
  }
  return calls;
}

TEST_F(FaultTest, EverySystemCallThatFailsInItsTurnLeavesARunThatEnds) {
  const RunResult whole = runWith({"strace", "-o", "/tmp/trace"});
  ASSERT_EQ(whole.exitStatus, 0) << whole.err;
  const std::map<std::string, int> calls = countCalls(readFile("/tmp/trace"));
  ASSERT_GT(calls.size(), 15U);

  // A close() that fails has closed all the same on this host, which an injected failure can't show: it
  // leaves the descriptor open, and a pipe whose end never closes is waited for without end.
  // Memory and the start and end of the process itself are not the run's: a failed allocation ends a
  // program, and a failed execve never starts it.
  const std::set<std::string> aside = {
      "brk",          "close",     "mmap", "munmap",    "mprotect", "execve",          "exit_group",
      "arch_prctl",   "prlimit64", "rseq", "getrandom", "futex",    "set_robust_list", "restart_syscall",
      "rt_sigreturn", "vfork"};
  // A work folder can't go where the calls that take it away fail.
  const std::set<std::string> removal = {"unlink",   "rmdir", "openat", "getdents64", "newfstatat", "access",
                                         "unlinkat", "stat",  "lstat",  "fstat",      "fcntl"};
  constexpr int kMost = 60;  // of one call; the rest repeats itself
  int runs = 0;
  for (const auto& [name, count] : calls) {
    if (aside.count(name) != 0) {
      continue;
    }
    for (int occurrence = 1; occurrence <= std::min(count, kMost); ++occurrence) {
      const std::string inject = "inject=" + name + ":error=" + (name == "write" ? "ENOSPC" : "EIO") +
                                 ":when=" + std::to_string(occurrence);
      const RunResult result = runWith({"strace", "-o", "/dev/null", "-e", inject});
      ++runs;
      const std::string what = inject + "\n" + result.err;
      EXPECT_FALSE(result.timedOut) << what;
      EXPECT_EQ(result.signal, 0) << what;
      // 127 is the loader's word where a library can't be opened.
      EXPECT_TRUE(result.exitStatus == 0 || result.exitStatus == 1 || result.exitStatus == 127) << what;
      if (result.exitStatus == 1) {
        EXPECT_THAT(result.err, AnyOf(HasSubstr("0xFE"), HasSubstr("cut short or missing"))) << what;
      }
      if (removal.count(name) == 0 && result.exitStatus != 127) {
        EXPECT_THAT(workFolders(), IsEmpty()) << what;
      }
      removeLeftovers();
    }
  }
  EXPECT_GT(runs, 50);
}

TEST_F(FaultTest, AFullDiskUnderTheBundleIsAWriteFailure) {
  std::string noise(4 << 20, '\0');
  std::mt19937 generator(1);
  for (char& byte : noise) {
    byte = static_cast<char>(generator());
  }
  writeFile("/tmp/faults/noise", noise);
  ASSERT_EQ(mount("tmpfs", "/tmp/bundles", "tmpfs", 0, "size=1m"), 0);
  const RunResult result = runWith({});
  umount("/tmp/bundles");
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.err, HasSubstr("Internal Error: failed to zip the bundle..."));
  EXPECT_THAT(result.err, HasSubstr("0xFEAF000B"));
  EXPECT_THAT(workFolders(), IsEmpty());
}

TEST_F(FaultTest, AFullTemporaryFolderShortensWhatIsGatheredAndTheRunEnds) {
  // The bundle is made of what fitted, and the run tells what didn't.
  writeFile(
      "/opt/halvo/tessarmont/tolm/xml/config/config.xml",
      "<c><configure><title>Full</title></configure><file id='a'><default>true</default><tolm>"
      "<os opsys='linux'><use_extern_action><action><args>head -c 8388608 /dev/zero</args><stdout/></action>"
      "</use_extern_action>"
      "</os></tolm></file></c>");
  std::vector<std::string> left;
  const RunResult result = runInTemporaryFolderOf("size=2m", "", left);
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.err, HasSubstr("1 file is cut short or missing\n"));
  // Named as it stands in the bundle, and not as it was captured.
  EXPECT_THAT(result.err, HasSubstr("  \"Full/head_result.txt\": No space left on device\n"));
  EXPECT_THAT(left, IsEmpty());
  EXPECT_EQ(runProgram({"unzip", "-tq", "/opt/bundles/out.zip"}).exitStatus, 0);
  EXPECT_LT(runProgram({"unzip", "-p", "/opt/bundles/out.zip", "Full/head_result.txt"}).out.size(),
            std::size_t{8} << 20);
}

std::string copyingDocument(const std::string& location) {
  return "<c><configure><title>Full</title></configure><file id='a'><default>true</default><tolm>"
         "<os opsys='linux'><file_copy_action><action><loc>" +
         location + "</loc></action></file_copy_action></os></tolm></file></c>";
}

TEST_F(FaultTest, OfManyFilesThatAreCutShortTheFirstTenAreNamed) {
  for (int i = 10; i < 22; ++i) {
    writeFile("/opt/many/folder/" + std::to_string(i), std::string(3U << 20, 'x'));
  }
  writeFile("/opt/halvo/tessarmont/tolm/xml/config/config.xml", copyingDocument("/opt/many/*"));
  std::vector<std::string> left;
  const RunResult result = runInTemporaryFolderOf("size=2m", "", left);
  EXPECT_EQ(result.exitStatus, 1);
  std::vector<std::string> lines;
  std::istringstream text(result.err);
  for (std::string line; std::getline(text, line);) {
    lines.push_back(line);
  }
  ASSERT_EQ(lines.size(), 12U) << result.err;
  EXPECT_EQ(lines.front(), "tmtolm: 13 files are cut short or missing") << "the summary, too";
  for (std::size_t i = 1; i < 11; ++i) {
    EXPECT_THAT(lines[i],
                ::testing::MatchesRegex("tmtolm:   \"/opt/many/folder/[0-9]+\": No space left on device"));
  }
  EXPECT_EQ(lines.back(), "tmtolm:   and 3 more; the log names them all");
  EXPECT_THAT(left, IsEmpty());
}

// The engine would have removed it, and nothing got that far.
TEST_F(FaultTest, ThePlainFolderOfAKilledRunTakesNoRoomFromTheNext) {
  writeFile("/opt/one/one.log", std::string(2U << 20, 'x'));
  writeFile("/opt/halvo/tessarmont/tolm/xml/config/config.xml", copyingDocument("/opt/one/*"));
  std::vector<std::string> left;
  const RunResult result = runInTemporaryFolderOf("size=4m", "/tmp/TOLM_Temp_Bundle/old/one.log", left);
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  EXPECT_THAT(left, IsEmpty());
}

TEST_F(FaultTest, WithFewDescriptorsARunEnds) {
  for (int limit = 4; limit <= 12; ++limit) {
    const RunResult result =
        runWith({"sh", "-c", "ulimit -n " + std::to_string(limit) + "; exec \"$@\"", "sh"});
    EXPECT_FALSE(result.timedOut) << limit;
    EXPECT_EQ(result.signal, 0) << limit << result.err;
    EXPECT_TRUE(result.exitStatus == 0 || result.exitStatus == 1 || result.exitStatus == 127)
        << limit << result.err;
    removeLeftovers();
  }
}

TEST_F(FaultTest, AKilledRunLeavesItsFolderAndTheNextOneIsWhole) {
  // A left-over folder makes the killed run use the plain name, which the next run then removes.
  makeFolders("/tmp/TOLM_Temp_Bundle");
  writeFile("/opt/halvo/tessarmont/tolm/xml/config/config.xml",
            "<c><configure><title>Slow</title></configure><file id='a'><default>true</default><tolm>"
            "<os opsys='linux'><use_extern_action><action><args>kill -KILL $PPID</args><stdout/></action>"
            "</use_extern_action></os></tolm></file></c>");
  const RunResult killed =
      runProgram({builtProgram("tmtolm"), "collect", "--quiet", "--bundle", "/tmp/bundles/out.zip"});
  EXPECT_EQ(killed.signal, SIGKILL);
  EXPECT_TRUE(exists("/tmp/TOLM_Temp_Bundle/Slow"));
  EXPECT_FALSE(exists("/tmp/bundles/out.zip"));
  writeFile("/opt/halvo/tessarmont/tolm/xml/config/config.xml", kDocument);
  const RunResult next = runWith({});
  EXPECT_EQ(next.exitStatus, 0) << next.err;
  EXPECT_THAT(workFolders(), IsEmpty());
}

}  // namespace
}  // namespace halvo

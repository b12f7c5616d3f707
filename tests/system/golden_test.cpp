// Whole runs whose summaries are compared byte for byte; golden/README.md tells how they were made.

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"

namespace halvo {
namespace {

using namespace test;

constexpr char kOsRelease[] =
    "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nNAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n";

class GoldenTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::remove_all("/tmp/golden");
    writeFile("/tmp/golden/agent.log", std::string(1536, 'a'));
    writeFile("/tmp/golden/a-log-with-a-name-that-is-longer-than-its-column.log", "x");
    writeFile("/tmp/golden/trace/old.trc", "old");
    setModifiedTime("/tmp/golden/trace/old.trc", 1000000000);
    // Newer than the folder and its parent, so that it isn't one of them that counts as the newest.
    writeFile("/tmp/golden/trace/new.trc", "newest");
    setModifiedTime("/tmp/golden/trace/new.trc", 4000000000);
    ASSERT_EQ(symlink("/nowhere/at/all", "/tmp/golden/dangling"), 0);
    writeFile("/tmp/golden-os-release", kOsRelease);
    ASSERT_EQ(mount("/tmp/golden-os-release", "/etc/os-release", nullptr, MS_BIND, nullptr), 0);
  }
  void TearDown() override { umount("/etc/os-release"); }

  static std::string goldenFile(const std::string& run, const std::string& name) {
    return sourcePath("tests/system/golden/" + run + "/" + name);
  }

  RunResult collect(const std::string& run) {
    writeFile("/opt/halvo/tessarmont/tolm/xml/config/config.xml", readFile(goldenFile(run, "config.xml")));
    std::vector<std::string> command = {builtProgram("tmtolm"), "collect", "--bundle", "/tmp/golden.zip"};
    if (exists(goldenFile(run, "request.xml"))) {
      command.insert(command.end(), {"--request", goldenFile(run, "request.xml")});
    }
    RunOptions options;
    options.environment = {{"LD_PRELOAD", std::string(TOLM_TEST_BUILD_DIR) + "/tests/fixed_clock.so"},
                           {"TZ", "UTC"},
                           {"LC_ALL", "C"},
                           {"USER", "tester"}};
    return runProgram(command, options);
  }

  static void compare(const std::string& run, const std::string& name, const std::string& actual) {
    const std::string path = goldenFile(run, name);
    if (std::getenv("TOLM_UPDATE_GOLDEN") != nullptr) {
      writeFile(path, actual);
    }
    EXPECT_EQ(actual, readFile(path)) << path;
  }

  static std::string entry(const std::string& name) {
    return runProgram({"unzip", "-p", "/tmp/golden.zip", name}).out;
  }
};

TEST_F(GoldenTest, ADefaultRunsSummaryAndConsole) {
  const RunResult result = collect("default_run");
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  compare("default_run", "summary.txt", entry("summary.txt"));
  compare("default_run", "console.txt", result.out);
}

TEST_F(GoldenTest, ARequestRunsSummaryAndComments) {
  const RunResult result = collect("request_run");
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  compare("request_run", "summary.txt", entry("summary.txt"));
  EXPECT_EQ(entry("words.txt"),
            "Comments from Tessarmont user:\nThe tunnel drops every ten minutes.\nSince Monday.");
}

}  // namespace
}  // namespace halvo

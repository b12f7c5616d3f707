// What whole runs of the console program tell of themselves by --status-json and by their exit status, and
// which command lines they refuse ahead.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/ConsoleRun.h"
#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::HasSubstr;

constexpr char kStatus[] = "/opt/out/status.json";
constexpr char kBundle[] = "/opt/out/bundle.zip";

class StatusTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* folder : {"/opt/halvo", "/opt/out", "/opt/logs"}) {
      std::filesystem::remove_all(folder);
    }
    makeFolders("/opt/out");
    makeFolders("/opt/logs/empty");
    writeFile("/opt/logs/one.log", "one\n");
    writeFile(kConfig + "client.xml",
              documentText("Client", describedItem("logs", "Logs", copyAction("/opt/logs/one.log")) +
                                         describedItem("folder", "A folder", copyAction("/opt/logs/empty"))));
  }

  static nlohmann::json status() { return nlohmann::json::parse(readFile(kStatus)); }

  static nlohmann::json item(const std::string& id) {
    const nlohmann::json whole = status();
    for (const nlohmann::json& one : whole["items"]) {
      if (one["id"] == id) {
        return one;
      }
    }
    return {};
  }
};

TEST_F(StatusTest, AFolderWithoutFilesIsGatheredAndNothingIsMissing) {
  const RunResult result =
      tmtolm({"collect", "--bundle", kBundle, "--status-json", kStatus, "--fail-incomplete"});
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  EXPECT_EQ(item("folder")["outcome"], "gathered");
  EXPECT_TRUE(item("folder")["files"].empty());
  EXPECT_EQ(status()["incomplete"], false);
}

TEST_F(StatusTest, AFolderThatIsNotThereIsMissing) {
  std::filesystem::remove("/opt/logs/empty");
  EXPECT_EQ(
      tmtolm({"collect", "--bundle", kBundle, "--status-json", kStatus, "--fail-incomplete"}).exitStatus, 3);
  EXPECT_EQ(item("folder")["outcome"], "missing");
  EXPECT_FALSE(item("folder")["omitted"].empty());
}

TEST_F(StatusTest, TheBundlesPathLeadsThereFromAnywhere) {
  RunOptions options;
  options.workingFolder = "/opt";
  ASSERT_EQ(
      tmtolm({"collect", "--output-dir", "out", "--status-json", "out/status.json"}, options).exitStatus, 0);
  const std::string path = status()["bundle"]["path"];
  EXPECT_EQ(path.find("/opt/out/"), 0U) << path;
  EXPECT_TRUE(exists(path));
}

TEST_F(StatusTest, ByARequestThatCannotBeReadNothingIsWanted) {
  writeFile("/opt/out/request.xml", "<request>");
  EXPECT_EQ(
      tmtolm({"collect", "--bundle", kBundle, "--request", "/opt/out/request.xml", "--status-json", kStatus})
          .exitStatus,
      1);
  EXPECT_EQ(item("logs")["reason"], "not-requested");
  EXPECT_EQ(item("logs")["outcome"], "left-out");
}

TEST_F(StatusTest, AStatusTakesNoDocumentsPlace) {
  const std::string document = readFile(kConfig + "client.xml");
  const RunResult result = tmtolm({"collect", "--bundle", kBundle, "--status-json", kConfig + "client.xml"});
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_THAT(result.err, HasSubstr("--status-json names the place of another file"));
  EXPECT_EQ(readFile(kConfig + "client.xml"), document);
  EXPECT_FALSE(exists(kBundle));
}

TEST_F(StatusTest, WhereStandardOutputIsClosedAStatusOnItRunsNothing) {
  const RunResult result = runProgram({"sh", "-c", "exec \"$0\" collect --bundle \"$1\" --status-json - >&-",
                                       builtProgram("tmtolm"), kBundle});
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_THAT(result.err, HasSubstr("the status can't be written"));
  EXPECT_FALSE(exists(kBundle));
}

TEST_F(StatusTest, AWordBehindAKeyIsNoFurtherKey) {
  for (const std::string& option : {std::string("--recipient"), std::string("--recipient=one.asc")}) {
    const RunResult result = tmtolm({"collect", "--bundle", kBundle, option, "two.asc", "three.asc"});
    EXPECT_EQ(result.exitStatus, 2) << option;
    EXPECT_FALSE(exists(kBundle));
  }
}

TEST_F(StatusTest, AnOptionWithoutAValueTakesNone) {
  for (const char* option : {"--nice=5", "--quiet=no", "--fail-incomplete=false"}) {
    EXPECT_EQ(tmtolm({"collect", "--bundle", kBundle, option}).exitStatus, 2) << option;
  }
  EXPECT_FALSE(exists(kBundle));
}

}  // namespace
}  // namespace halvo

// The commands that read bundles, as a user or a script starts them, over a bundle that a run made.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"
#include "tests/support/Terminal.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

const std::string kConfig = "/opt/halvo/tessarmont/tolm/xml/config/";

class BundleCommandsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    writeFile("/opt/logs/agent.log", "2026-03-15 10:42:07 agent: authentication failed\n\x1b[2J\n");
    writeFile(
        kConfig + "client.xml",
        documentText("Client",
                     "<file id=\"client-logs\"><description>Logs</description><default>true</default>"
                     "<tolm><os opsys=\"linux\">" +
                         copyAction("/opt/logs/*.log") + copyAction("/opt/none/*") + "</os></tolm></file>"));
    writeFile("/opt/word", "tiger\n");
    ASSERT_EQ(tmtolm({"collect", "--quiet", "--bundle", "/opt/plain.zip"}).exitStatus, 0);
    ASSERT_EQ(tmtolm({"collect", "--quiet", "--bundle", "/opt/secret.zip", "--password-file", "/opt/word"})
                  .exitStatus,
              0);
  }

  static RunResult tmtolm(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), builtProgram("tmtolm"));
    return runProgram(arguments);
  }
};

TEST_F(BundleCommandsTest, EveryCommandReadsPlainAndEncryptedBundles) {
  const std::vector<std::vector<std::string>> commands = {{"show"},     {"show", "--json"},
                                                          {"findings"}, {"findings", "--json"},
                                                          {"ask"},      {"report", "-o", "/opt/r.html"}};
  for (std::vector<std::string> command : commands) {
    SCOPED_TRACE(command[0]);
    command.insert(command.begin() + 1, "/opt/plain.zip");
    const RunResult plain = tmtolm(command);
    EXPECT_EQ(plain.exitStatus, 0) << plain.err;
    command[1] = "/opt/secret.zip";
    const RunResult refused = tmtolm(command);
    EXPECT_EQ(refused.exitStatus, 1);
    EXPECT_THAT(refused.err, HasSubstr("is encrypted; --password-file"));
    command.insert(command.end(), {"--password-file", "/opt/word"});
    const RunResult secret = tmtolm(command);
    EXPECT_EQ(secret.exitStatus, 0) << secret.err;
    EXPECT_EQ(plain.out.empty(), secret.out.empty());
  }
  EXPECT_THAT(readFile("/opt/r.html"), HasSubstr("The gateway refused the sign-on"));
}

TEST_F(BundleCommandsTest, ShowTellsTheWholeTheItemAndTheFile) {
  EXPECT_THAT(tmtolm({"show", "/opt/plain.zip"}).out,
              AllOf(HasSubstr("Missing (1)"), HasSubstr("No file found with path matching: /opt/none/*"),
                    HasSubstr("Client/agent.log")));
  EXPECT_THAT(tmtolm({"show", "/opt/plain.zip", "client-logs"}).out, HasSubstr("Client/agent.log"));
  EXPECT_EQ(tmtolm({"show", "/opt/plain.zip", "agent.log"}).out, readFile("/opt/logs/agent.log"));
  const RunResult none = tmtolm({"show", "/opt/plain.zip", "none"});
  EXPECT_EQ(none.exitStatus, 1);
  EXPECT_THAT(none.err, HasSubstr("knows no item and no one file \"none\""));
}

TEST_F(BundleCommandsTest, FindingsTellTheLineThatSpeaksForThem) {
  EXPECT_THAT(tmtolm({"findings", "/opt/plain.zip"}).out,
              AllOf(HasSubstr("error: The gateway refused the sign-on"),
                    HasSubstr("Client/agent.log:1: 2026-03-15")));
  writeFile("/opt/rules.xml",
            "<rules><rule id=\"x\" severity=\"info\"><title>t</title><advice>a</advice>"
            "<line pattern=\"(\"/></rule></rules>");
  const RunResult bad = tmtolm({"findings", "/opt/plain.zip", "/opt/rules.xml"});
  EXPECT_EQ(bad.exitStatus, 2);
  EXPECT_THAT(bad.err, HasSubstr("/opt/rules.xml:1: the pattern can't be used"));
}

TEST_F(BundleCommandsTest, AFolderOfRulesThatCannotBeListedIsNamed) {
  writeFile("/opt/shut/rules.xml", "<rules/>");
  ASSERT_EQ(chmod("/opt/shut", 0), 0);
  // Without the rights that let root read everything.
  const RunResult shut = runProgram({"/usr/bin/setpriv", "--bounding-set=-all", builtProgram("tmtolm"),
                                     "findings", "/opt/plain.zip", "/opt/shut"});
  EXPECT_EQ(shut.exitStatus, 2);
  EXPECT_THAT(shut.err, HasSubstr("the rules \"/opt/shut\" can't be read"));
}

TEST_F(BundleCommandsTest, AReportLooksForTheRulesThatAreGiven) {
  writeFile("/opt/own/rules.xml",
            "<rules><rule id=\"x\" severity=\"info\"><title>Our own problem</title><advice>a</advice>"
            "<line pattern=\"agent:\"/></rule></rules>");
  writeFile("/opt/broken.xml", "<rules>");
  const RunResult own = tmtolm({"report", "/opt/plain.zip", "-o", "/opt/own.html", "--rules", "/opt/own"});
  EXPECT_EQ(own.exitStatus, 0) << own.err;
  EXPECT_THAT(readFile("/opt/own.html"),
              AllOf(HasSubstr("Our own problem"), Not(HasSubstr("The gateway refused the sign-on"))));
  const RunResult bad =
      tmtolm({"report", "/opt/plain.zip", "-o", "/opt/bad.html", "--rules", "/opt/broken.xml"});
  EXPECT_EQ(bad.exitStatus, 2);
  EXPECT_THAT(bad.err, HasSubstr("/opt/broken.xml:1: "));
  EXPECT_FALSE(exists("/opt/bad.html"));
}

TEST_F(BundleCommandsTest, CompareTellsNothingOfTwoEqualRuns) {
  const RunResult same =
      tmtolm({"compare", "/opt/plain.zip", "/opt/secret.zip", "--password-file", "/opt/word"});
  EXPECT_EQ(same.exitStatus, 0) << same.err;
  EXPECT_THAT(same.out, HasSubstr("The same: 1 files"));
}

TEST_F(BundleCommandsTest, AskedRequestIsOneThatARunTakes) {
  const RunResult asked = tmtolm({"ask", "/opt/plain.zip"});
  EXPECT_THAT(asked.out, HasSubstr("<file id=\"client-logs\"/>"));
  writeFile("/opt/request.xml", asked.out);
  EXPECT_EQ(tmtolm({"collect", "--quiet", "--request", "/opt/request.xml", "--bundle", "/opt/second.zip"})
                .exitStatus,
            0);
  EXPECT_THAT(tmtolm({"show", "/opt/second.zip", "client-logs"}).out, HasSubstr("Client/agent.log"));
}

TEST_F(BundleCommandsTest, WhatIsNoBundleIsToldByEveryCommandAndLeavesNothing) {
  writeFile("/opt/text.zip", "just a text");
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"show", "/opt/text.zip"},
                                             {"findings", "/opt/text.zip"},
                                             {"ask", "/opt/text.zip"},
                                             {"compare", "/opt/plain.zip", "/opt/text.zip"},
                                             {"report", "/opt/text.zip", "-o", "/opt/none.html"}}) {
    const RunResult result = tmtolm(command);
    EXPECT_EQ(result.exitStatus, 1) << command[0];
    EXPECT_THAT(result.err, HasSubstr("it is no ZIP file")) << command[0];
    EXPECT_EQ(result.out, "");
  }
  EXPECT_FALSE(exists("/opt/none.html"));
}

}  // namespace
}  // namespace halvo

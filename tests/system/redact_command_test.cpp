// `tmtolm redact`, as a user or a script starts it, over a bundle that a run made.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <future>
#include <string>
#include <vector>

#include "tests/support/BundleReader.h"
#include "tests/support/ConsoleRun.h"
#include "tests/support/Documents.h"
#include "tests/support/Files.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

class RedactCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    writeFile("/opt/logs/agent.log",
              "2026-03-15 10:42:07 connect to 10.1.2.3 as jane.doe\nuser=jane.doe password=hunter2\n");
    writeFile("/opt/logs/vpn.acme.de.log", "host vpn.acme.de\n");
    writeFile("/opt/logs/core", std::string("\0\1", 2));
    writeFile(kConfig + "client.xml",
              documentText("Client", describedItem("client-logs", "Logs", copyAction("/opt/logs/*"))));
    writeFile("/opt/word", "tiger\n");
    ASSERT_EQ(tmtolm({"collect", "--quiet", "--bundle", "/opt/plain.zip"}).exitStatus, 0);
    ASSERT_EQ(tmtolm({"collect", "--quiet", "--bundle", "/opt/secret.zip", "--password-file", "/opt/word"})
                  .exitStatus,
              0);
  }
};

TEST_F(RedactCommandTest, ABundleIsRedactedAndReadByOthers) {
  const RunResult result =
      tmtolm({"redact", "/opt/plain.zip", "/opt/out.zip", "--report", "/opt/report.txt"});
  ASSERT_EQ(result.exitStatus, 0) << result.err;
  EXPECT_THAT(result.out, MatchesRegex("Replaced: [0-9]+\nLeft out: 1\nBundle: /opt/out\\.zip\n"));
  for (const Reader reader : allReaders()) {
    const auto content = bundleContent(reader, "/opt/out.zip");
    EXPECT_THAT(content.at("Client/agent.log"),
                AllOf(HasSubstr("password=REDACTED"), Not(HasSubstr("jane")), Not(HasSubstr("10.1.2.3"))))
        << readerName(reader);
    EXPECT_EQ(content.at("redaction.txt"), readFile("/opt/report.txt"));
    for (const auto& [name, text] : content) {
      EXPECT_THAT(name + text, Not(HasSubstr("acme"))) << name;
    }
  }
  EXPECT_THAT(tmtolm({"show", "/opt/out.zip"}).out, HasSubstr("Left out by redaction: not a text"));
}

TEST_F(RedactCommandTest, WhatCannotBeReadIsToldWithWhatIsWrongWithIt) {
  std::string bytes = readFile("/opt/plain.zip");
  const std::size_t place = bytes.find("Client/agent.log");
  ASSERT_NE(place, std::string::npos);
  bytes[place + 30] = static_cast<char>(bytes[place + 30] ^ 0x55);
  writeFile("/opt/hurt.zip", bytes);
  const RunResult result = tmtolm({"redact", "/opt/hurt.zip", "/opt/out.zip"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.out, HasSubstr("Left out: 2\n"));
  EXPECT_THAT(result.err, MatchesRegex("tmtolm: \"Client/agent\\.log\" is left out, it can't be read: its "
                                       "(bytes are damaged|checksum is wrong)\n"));
  EXPECT_THAT(tmtolm({"show", "/opt/out.zip"}).out,
              HasSubstr("Left out by redaction: it can't be read: its"));
}

TEST_F(RedactCommandTest, AnEncryptedBundleStaysEncryptedWithItsPasswordOrAnother) {
  EXPECT_EQ(tmtolm({"redact", "/opt/secret.zip", "/opt/out.zip"}).exitStatus, 1);
  ASSERT_EQ(tmtolm({"redact", "/opt/secret.zip", "/opt/out.zip", "--password-file", "/opt/word"}).exitStatus,
            0);
  EXPECT_THAT(bundleContent(Reader::SevenZip, "/opt/out.zip", "tiger").at("Client/agent.log"),
              HasSubstr("REDACTED"));
  writeFile("/opt/other", "lion\n");
  ASSERT_EQ(tmtolm({"redact", "/opt/secret.zip", "/opt/out.zip", "--password-file", "/opt/word",
                    "--out-password-file", "/opt/other"})
                .exitStatus,
            0);
  EXPECT_NE(checkBundle(Reader::SevenZip, "/opt/out.zip", "tiger").exitStatus, 0);
  EXPECT_EQ(checkBundle(Reader::SevenZip, "/opt/out.zip", "lion").exitStatus, 0);
}

TEST_F(RedactCommandTest, AMapMakesTwoBundlesAgreeAndIsForItsOwnerAlone) {
  ASSERT_EQ(tmtolm({"redact", "/opt/plain.zip", "/opt/one.zip", "--map", "/opt/names.map"}).exitStatus, 0);
  ASSERT_EQ(tmtolm({"redact", "/opt/secret.zip", "/opt/two.zip", "--map", "/opt/names.map", "--password-file",
                    "/opt/word"})
                .exitStatus,
            0);
  EXPECT_EQ(bundleContent(Reader::Python, "/opt/one.zip").at("Client/agent.log"),
            bundleContent(Reader::Python, "/opt/two.zip", "tiger").at("Client/agent.log"));
  EXPECT_THAT(readFile("/opt/names.map"), HasSubstr("\tjane.doe\n"));
  struct stat status = {};
  ASSERT_EQ(stat("/opt/names.map", &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

// Each took the absent map for none and wrote its own over the others'.
TEST_F(RedactCommandTest, RedactionsSideBySideGoByOneMap) {
  std::vector<std::future<RunResult>> runs;
  for (const std::string number : {"1", "2", "3", "4"}) {
    runs.push_back(std::async(std::launch::async, [number] {
      return tmtolm({"redact", "/opt/plain.zip", "/opt/out" + number + ".zip", "--map", "/opt/names.map"});
    }));
  }
  for (std::future<RunResult>& run : runs) {
    EXPECT_EQ(run.get().exitStatus, 0);
  }
  const std::string first = bundleContent(Reader::Python, "/opt/out1.zip").at("Client/agent.log");
  for (const std::string number : {"2", "3", "4"}) {
    EXPECT_EQ(first, bundleContent(Reader::Python, "/opt/out" + number + ".zip").at("Client/agent.log"));
  }
  EXPECT_FALSE(std::filesystem::exists("/opt/.names.map.lock"));
}

TEST_F(RedactCommandTest, RulesAndKeptKindsAreGoneBy) {
  writeFile("/opt/rules", "find id connect to ([0-9.]+)\n");
  ASSERT_EQ(tmtolm({"redact", "/opt/plain.zip", "/opt/out.zip", "--rules", "/opt/rules", "--keep", "user",
                    "--keep", "binary"})
                .exitStatus,
            0);
  const auto content = bundleContent(Reader::Python, "/opt/out.zip");
  EXPECT_THAT(content.at("Client/agent.log"), AllOf(HasSubstr("connect to id-"), HasSubstr("as jane.doe")));
  EXPECT_EQ(content.count("Client/core"), 1U);
}

TEST_F(RedactCommandTest, ARunWithRedactMakesARedactedBundleAlone) {
  const RunResult result = tmtolm({"collect", "--redact", "--bundle", "/opt/made/bundle.zip"});
  EXPECT_EQ(result.exitStatus, 1) << "there is no such folder";
  writeFile("/opt/made/keep", "");
  const RunResult made = tmtolm({"collect", "--redact", "--bundle", "/opt/made/bundle.zip"});
  ASSERT_EQ(made.exitStatus, 0) << made.err;
  EXPECT_THAT(made.out, HasSubstr("Left out: 1\nBundle: /opt/made/bundle.zip\n"));
  EXPECT_THAT(bundleContent(Reader::Python, "/opt/made/bundle.zip").at("Client/agent.log"),
              HasSubstr("password=REDACTED"));
  EXPECT_EQ(readTree("/opt/made").size(), 2U) << "the bundle, and what was there";
}

TEST_F(RedactCommandTest, WrongUsageRunsNothing) {
  writeFile("/opt/rules", "find id (\n");
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"redact", "/opt/plain.zip", "/opt/plain.zip"},
        {"redact", "/opt/plain.zip", "/opt/never.zip", "--keep", "secret"},
        {"redact", "/opt/plain.zip", "/opt/never.zip", "--keep", "nonsense"},
        {"redact", "/opt/plain.zip", "/opt/never.zip", "--rules", "/opt/rules"},
        {"redact", "/opt/plain.zip", "/opt/never.zip", "--map", "/opt/rules"},
        {"redact", "/opt/plain.zip"}}) {
    const RunResult result = tmtolm(arguments);
    EXPECT_EQ(result.exitStatus, 2) << result.out;
    EXPECT_THAT(result.err, StartsWith("tmtolm: "));
  }
  EXPECT_NE(access("/opt/never.zip", F_OK), 0);
}

// In a folder of others: a link there led to a file of root's, and a pipe's reader got the map.
TEST_F(RedactCommandTest, LinksAndPipesInThePlaceOfMapAndReportAreNotWrittenTo) {
  writeFile("/opt/precious", "kept");
  std::filesystem::create_symlink("/opt/precious", "/opt/link");
  ASSERT_EQ(mkfifo("/opt/pipe", 0600), 0);
  const int reader = open("/opt/pipe", O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  for (const char* const option : {"--map", "--report"}) {
    const RunResult result = tmtolm({"redact", "/opt/plain.zip", "/opt/never.zip", option, "/opt/pipe"});
    EXPECT_EQ(result.exitStatus, 2) << option;
    EXPECT_THAT(result.err, HasSubstr("it is no file")) << option;
  }
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"/opt/never.zip", "--map", "/opt/link"},
                                             {"/opt/never.zip", "--report", "/opt/link"},
                                             {"/opt/link"}}) {
    std::vector<std::string> line = {"redact", "/opt/plain.zip"};
    line.insert(line.end(), arguments.begin(), arguments.end());
    const RunResult result = tmtolm(line);
    EXPECT_EQ(result.exitStatus, 2) << arguments.front();
    EXPECT_THAT(result.err, HasSubstr("/opt/link: it is a link, and no ")) << arguments.front();
  }
  EXPECT_NE(access("/opt/never.zip", F_OK), 0);
  char text = 0;
  EXPECT_EQ(read(reader, &text, 1), 0);
  close(reader);
  EXPECT_EQ(readFile("/opt/precious"), "kept");
  EXPECT_TRUE(std::filesystem::is_symlink("/opt/link"));
  ASSERT_EQ(tmtolm({"redact", "/opt/plain.zip", "/opt/out.zip", "--report", "/opt/told"}).exitStatus, 0);
  struct stat status = {};
  ASSERT_EQ(stat("/opt/told", &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(RedactCommandTest, AMapThatCannotBeWrittenIsToldBeforeTheWork) {
  const RunResult result = tmtolm({"redact", "/opt/plain.zip", "/opt/never.zip", "--map", "/opt/none/map"});
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_THAT(result.err, HasSubstr("the map can't be written to \"/opt/none/map\""));
  EXPECT_NE(access("/opt/never.zip", F_OK), 0);
}

// A report could be written over the bundle that was redacted, and a map over the new one.
// A file of that name was written.
TEST_F(RedactCommandTest, StandardOutputIsNoPlaceForABundle) {
  const RunResult result = tmtolm({"redact", "/opt/plain.zip", "-"});
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_THAT(result.err, HasSubstr("OUT is a file"));
  EXPECT_FALSE(exists("-"));
}

TEST_F(RedactCommandTest, NothingIsWrittenOverWhatIsReadOrWrittenElse) {
  const std::string before = readFile("/opt/plain.zip");
  writeFile("/opt/kept.rules", "keep x\n");
  std::filesystem::create_hard_link("/opt/plain.zip", "/opt/hard.zip");
  const std::vector<std::vector<std::string>> all = {
      {"--report", "/opt/plain.zip"},
      {"--report", "/opt/hard.zip"},
      {"--report", "/opt/none.zip"},
      {"--report", "/opt/./none.zip"},
      {"--map", "/opt/none.zip"},
      {"--map", "/opt/m", "--report", "/opt/m"},
      {"--report", "/opt/word", "--password-file", "/opt/word"},
      {"--map", "/opt/word", "--out-password-file", "/opt/word"},
      {"--report", "/opt/kept.rules", "--rules", "/opt/kept.rules"}};
  for (std::vector<std::string> arguments : all) {
    arguments.insert(arguments.begin(), {"redact", "/opt/plain.zip", "/opt/none.zip"});
    const RunResult result = tmtolm(arguments);
    EXPECT_EQ(result.exitStatus, 2) << arguments[4] << result.out;
    EXPECT_THAT(result.err, HasSubstr("names the place of another file: "));
  }
  EXPECT_FALSE(exists("/opt/none.zip"));
  EXPECT_EQ(readFile("/opt/plain.zip"), before);
  EXPECT_EQ(readFile("/opt/kept.rules"), "keep x\n");
  std::filesystem::remove("/opt/hard.zip");
}

TEST_F(RedactCommandTest, AFailureLeavesTheOldFileAndNothingElse) {
  writeFile("/opt/out/old.zip", "old");
  writeFile("/opt/bad.zip", "no bundle");
  EXPECT_EQ(tmtolm({"redact", "/opt/bad.zip", "/opt/out/old.zip"}).exitStatus, 1);
  EXPECT_EQ(readTree("/opt/out"), (std::map<std::string, std::string>{{"old.zip", "old"}}));
}

}  // namespace
}  // namespace halvo

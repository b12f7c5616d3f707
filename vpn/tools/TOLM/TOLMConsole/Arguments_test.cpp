#include "vpn/tools/TOLM/TOLMConsole/Arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST(ArgumentsTest, CollectTakesEveryOption) {
  const Arguments arguments = parseArguments(
      {"collect", "--request", "r.xml", "--bundle", "b.zip", "--password-file", "p", "--quiet"});
  EXPECT_EQ(arguments.command, ConsoleCommand::kCollect);
  EXPECT_EQ(arguments.requestPath, "r.xml");
  EXPECT_EQ(arguments.bundlePath, "b.zip");
  EXPECT_EQ(arguments.passwordFile, "p");
  EXPECT_TRUE(arguments.quiet);
  EXPECT_FALSE(arguments.askPassword);
}

TEST(ArgumentsTest, CollectNeedsNoOption) {
  const Arguments arguments = parseArguments({"collect"});
  EXPECT_EQ(arguments.command, ConsoleCommand::kCollect);
  EXPECT_TRUE(arguments.requestPath.empty());
  EXPECT_TRUE(arguments.bundlePath.empty());
  EXPECT_TRUE(arguments.passwordFile.empty());
  EXPECT_FALSE(arguments.quiet);
  EXPECT_TRUE(parseArguments({"collect", "--ask-password"}).askPassword);
}

TEST(ArgumentsTest, ClearTakesYesAndQuiet) {
  const Arguments arguments = parseArguments({"clear", "--yes", "--quiet"});
  EXPECT_EQ(arguments.command, ConsoleCommand::kClear);
  EXPECT_TRUE(arguments.yes);
  EXPECT_TRUE(arguments.quiet);
}

TEST(ArgumentsTest, CheckTakesOneOrMorePaths) {
  EXPECT_THAT(parseArguments({"check", "a.xml", "b"}).paths, ElementsAre("a.xml", "b"));
  EXPECT_THAT(parseArguments({"check", "--", "-a.xml"}).paths, ElementsAre("-a.xml"));
  EXPECT_EQ(parseArguments({"check"}).exitStatus, kExitUsage);
}

TEST(ArgumentsTest, PlanTakesRequestConfigAndJson) {
  const Arguments arguments = parseArguments({"plan", "--request=r.xml", "--config", "docs", "--json"});
  EXPECT_EQ(arguments.command, ConsoleCommand::kPlan);
  EXPECT_EQ(arguments.requestPath, "r.xml");
  EXPECT_EQ(arguments.configFolder, "docs");
  EXPECT_TRUE(arguments.json);
}

TEST(ArgumentsTest, HelpAndVersionAreTextsOfStatusZero) {
  const Arguments help = parseArguments({"--help"});
  EXPECT_EQ(help.command, ConsoleCommand::kNone);
  EXPECT_EQ(help.exitStatus, kExitSuccess);
  for (const char* word : {"collect", "clear", "check", "plan", "Exit status"}) {
    EXPECT_THAT(help.text, HasSubstr(word));
  }
  EXPECT_THAT(parseArguments({"collect", "--help"}).text, HasSubstr("--password-file"));
  const Arguments version = parseArguments({"--version"});
  EXPECT_EQ(version.exitStatus, kExitSuccess);
  EXPECT_THAT(version.text, ::testing::MatchesRegex("tmtolm [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST(ArgumentsTest, WrongUsageHasStatusTwoAndAHint) {
  const std::vector<std::vector<std::string>> wrong = {
      {},
      {"gather"},
      {"--quiet"},
      {"collect", "file"},
      {"collect", "--bundle"},
      {"collect", "--config", "x"},
      {"collect", "--password", "secret"},
      {"collect", "--password-file", "p", "--ask-password"},
      {"collect", "--bundle", ""},
      {"collect", "--request", ""},
      {"collect", "--request="},
      {"collect", "--password-file", ""},
      {"collect", "clear"},
      {"clear", "--request", "x"},
      {"check"},
      {"check", ""},
      {"plan", "x"},
      {"plan", "--config", ""},
  };
  for (const std::vector<std::string>& arguments : wrong) {
    const Arguments result = parseArguments(arguments);
    EXPECT_EQ(result.command, ConsoleCommand::kNone) << ::testing::PrintToString(arguments);
    EXPECT_EQ(result.exitStatus, kExitUsage) << ::testing::PrintToString(arguments);
    EXPECT_THAT(result.text, ::testing::StartsWith("tmtolm: ")) << ::testing::PrintToString(arguments);
    EXPECT_THAT(result.text, HasSubstr("Try \"tmtolm ")) << ::testing::PrintToString(arguments);
  }
  EXPECT_THAT(parseArguments({"collect", "--foo"}).text, HasSubstr("Try \"tmtolm collect --help\"."));
}

}  // namespace
}  // namespace halvo

#include "vpn/tools/TOLM/TOLMConsole/CommandLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class CommandLineTest : public ::testing::Test {
 protected:
  // The name of the subcommand that is to be run, or the text.
  std::string parse(const std::vector<std::string>& arguments) {
    m_pLine = std::make_unique<CommandLine>();
    answer = m_pLine->parse(arguments);
    return answer.command != nullptr ? answer.command->name() : answer.text;
  }
  // What the last line gave for an option of its subcommand.
  std::vector<std::string> given(const std::string& option) {
    return m_pLine->given(answer.command->name(), option);
  }

  CommandLine::Answer answer;

 private:
  std::unique_ptr<CommandLine> m_pLine;
};

TEST_F(CommandLineTest, CollectTakesEveryOption) {
  EXPECT_EQ(parse({"collect", "--request", "r.xml", "--bundle", "b.zip", "--password-file", "p", "--quiet"}),
            "collect");
  EXPECT_THAT(given("--request"), ElementsAre("r.xml"));
  EXPECT_THAT(given("--bundle"), ElementsAre("b.zip"));
  EXPECT_THAT(given("--password-file"), ElementsAre("p"));
  EXPECT_THAT(given("--quiet"), ElementsAre("true"));
  EXPECT_THAT(given("--ask-password"), IsEmpty());
}

TEST_F(CommandLineTest, CollectNeedsNoOption) {
  EXPECT_EQ(parse({"collect"}), "collect");
  for (const char* option : {"--request", "--bundle", "--password-file", "--quiet", "--ask-password"}) {
    EXPECT_THAT(given(option), IsEmpty()) << option;
  }
  EXPECT_EQ(parse({"collect", "--ask-password"}), "collect");
  EXPECT_THAT(given("--ask-password"), ElementsAre("true"));
}

TEST_F(CommandLineTest, ClearTakesYesAndQuiet) {
  EXPECT_EQ(parse({"clear", "--yes", "--quiet"}), "clear");
  EXPECT_THAT(given("--yes"), ElementsAre("true"));
  EXPECT_THAT(given("--quiet"), ElementsAre("true"));
}

TEST_F(CommandLineTest, CheckTakesOneOrMorePaths) {
  EXPECT_EQ(parse({"check", "a.xml", "b"}), "check");
  EXPECT_THAT(given("PATH"), ElementsAre("a.xml", "b"));
  EXPECT_EQ(parse({"check", "--json", "--strict", "a.xml"}), "check");
  EXPECT_THAT(given("--json"), ElementsAre("true"));
  EXPECT_THAT(given("--strict"), ElementsAre("true"));
  EXPECT_EQ(parse({"check", "--", "-a.xml"}), "check");
  EXPECT_THAT(given("PATH"), ElementsAre("-a.xml"));
  parse({"check"});
  EXPECT_EQ(answer.exitStatus, kExitUsage);
}

TEST_F(CommandLineTest, WordOfAnotherSubcommandBehindTheFirstIsAPath) {
  EXPECT_EQ(parse({"check", "collect", "plan"}), "check");
  EXPECT_THAT(given("PATH"), ElementsAre("collect", "plan"));
}

TEST_F(CommandLineTest, PlanTakesRequestConfigAndJson) {
  EXPECT_EQ(parse({"plan", "--request=r.xml", "--config", "docs", "--json"}), "plan");
  EXPECT_THAT(given("--request"), ElementsAre("r.xml"));
  EXPECT_THAT(given("--config"), ElementsAre("docs"));
  EXPECT_THAT(given("--json"), ElementsAre("true"));
}

TEST_F(CommandLineTest, PlanTakesDeepAllAndClear) {
  EXPECT_EQ(parse({"plan", "--deep", "--all", "--clear"}), "plan");
  for (const char* option : {"--deep", "--all", "--clear"}) {
    EXPECT_THAT(given(option), ElementsAre("true")) << option;
  }
}

TEST_F(CommandLineTest, TryTakesPathsAroundItsItems) {
  EXPECT_EQ(parse({"try", "a.xml", "--item", "x", "b.xml", "--item", "y", "--bundle", "o.zip"}), "try");
  EXPECT_THAT(given("PATH"), ElementsAre("a.xml", "b.xml"));
  EXPECT_THAT(given("--item"), ElementsAre("x", "y"));
  EXPECT_THAT(given("--bundle"), ElementsAre("o.zip"));
}

TEST_F(CommandLineTest, NewTakesATitleOrAFolder) {
  EXPECT_EQ(parse({"new", "T"}), "new");
  EXPECT_THAT(given("TITLE"), ElementsAre("T"));
  EXPECT_EQ(parse({"new", "--request", "docs"}), "new");
  EXPECT_THAT(given("--request"), ElementsAre("docs"));
}

TEST_F(CommandLineTest, HelpAndVersionAreTextsOfStatusZero) {
  const std::string help = parse({"--help"});
  EXPECT_EQ(answer.command, nullptr);
  EXPECT_EQ(answer.exitStatus, kExitSuccess);
  for (const char* word : {"collect", "clear", "check", "plan", "Exit status"}) {
    EXPECT_THAT(help, HasSubstr(word));
  }
  EXPECT_THAT(parse({"collect", "--help"}), HasSubstr("--password-file"));
  EXPECT_THAT(parse({"--version"}), ::testing::MatchesRegex("tmtolm [0-9]+\\.[0-9]+\\.[0-9]+\n"));
  EXPECT_EQ(answer.exitStatus, kExitSuccess);
}

TEST_F(CommandLineTest, TheHelpOfEverySubcommandHasAnExampleThatParses) {
  for (const std::unique_ptr<ICommand>& command : makeCommands()) {
    const std::string example = command->example();
    EXPECT_THAT(parse({command->name(), "--help"}), HasSubstr("Example: " + example + "\n"));
    // The examples hold no quotes, so blanks part the arguments.
    std::vector<std::string> words;
    for (std::size_t at = 0; at != std::string::npos;) {
      const std::size_t blank = example.find(' ', at);
      words.push_back(example.substr(at, blank - at));
      at = blank == std::string::npos ? blank : blank + 1;
    }
    ASSERT_EQ(words.front(), "tmtolm");
    words.erase(words.begin());
    EXPECT_EQ(parse(words), command->name());
  }
}

TEST_F(CommandLineTest, WrongUsageHasStatusTwoAndAHint) {
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
      {"plan", "--clear", "--request", "r.xml"},
      {"try"},
      {"try", "a.xml", "--item", ""},
      {"new", "T", "--request", "docs"},
  };
  for (const std::vector<std::string>& arguments : wrong) {
    const std::string text = parse(arguments);
    EXPECT_EQ(answer.command, nullptr) << ::testing::PrintToString(arguments);
    EXPECT_EQ(answer.exitStatus, kExitUsage) << ::testing::PrintToString(arguments);
    EXPECT_THAT(text, ::testing::StartsWith("tmtolm: ")) << ::testing::PrintToString(arguments);
    EXPECT_THAT(text, HasSubstr("Try \"tmtolm ")) << ::testing::PrintToString(arguments);
  }
  EXPECT_THAT(parse({"collect", "--foo"}), HasSubstr("Try \"tmtolm collect --help\"."));
}

}  // namespace
}  // namespace halvo

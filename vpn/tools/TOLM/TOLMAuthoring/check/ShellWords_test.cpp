#include "vpn/tools/TOLM/TOLMAuthoring/check/ShellWords.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Each command with its words between bars, "<" in front where it is fed and "|" behind where it is piped.
std::vector<std::string> commandsOf(const std::string& text) {
  std::vector<std::string> all;
  for (const ShellCommand& command : readShellLine(text).commands) {
    std::string line = command.fed ? "<" : "";
    for (const std::string& word : command.words) {
      line += (line.empty() || line == "<" ? "" : " ") + word;
    }
    all.push_back(line + (command.piped ? "|" : ""));
  }
  return all;
}

TEST(ShellWordsTest, ListsAndPipesAreTakenApart) {
  EXPECT_THAT(commandsOf("a -x; b && c || d & e\nf"), ElementsAre("a -x", "b", "c", "d", "e", "f"));
  EXPECT_THAT(commandsOf("a | b c|d"), ElementsAre("a|", "<b c|", "<d"));
}

TEST(ShellWordsTest, QuotesHideSignsAndVanish) {
  EXPECT_THAT(commandsOf("a 'b; c' \"d | e\" f\\ g ''"), ElementsAre("a b; c d | e f g "));
  EXPECT_THAT(commandsOf("a 'b"), ElementsAre("a b"));
}

TEST(ShellWordsTest, RedirectionsAreNoWords) {
  EXPECT_THAT(commandsOf("a >/x b 2>&1 </y >>z"), ElementsAre("<a b"));
  EXPECT_TRUE(readShellLine("a 2>&1").redirectsErrors);
  EXPECT_TRUE(readShellLine("a; b 2>/dev/null").redirectsErrors);
  EXPECT_FALSE(readShellLine("a '2>&1' >x").redirectsErrors);
  EXPECT_FALSE(readShellLine("a 12>&1").redirectsErrors);
}

TEST(ShellWordsTest, AssignmentsAndReservedWordsStandInFront) {
  EXPECT_THAT(commandsOf("A=1 B=2 a x=y"), ElementsAre("a x=y"));
  EXPECT_THAT(commandsOf("if a; then b; else { c; }; fi"), ElementsAre("a", "b", "c"));
  EXPECT_THAT(commandsOf("for x in 1 2; do a $x; done"), ElementsAre("a $x"));
  EXPECT_THAT(commandsOf("a | while read -r x; do b; done"), ElementsAre("a|", "<read -r x", "<b"));
}

TEST(ShellWordsTest, SubstitutionsStayInTheirWordUnread) {
  EXPECT_THAT(commandsOf("a $(b; c (d)) `e; f` g"), ElementsAre("a $ ` g"));
}

TEST(ShellWordsTest, CommentsAndCasesEndTheLook) {
  EXPECT_THAT(commandsOf("a # b; c\nd"), ElementsAre("a", "d"));
  EXPECT_THAT(commandsOf("a; case x in y) b;; esac"), ElementsAre("a"));
}

TEST(ShellWordsTest, FunctionsAreKnownByName) {
  const ShellLine line = readShellLine("f() { a; }; f");
  EXPECT_THAT(line.functions, ElementsAre("f"));
  EXPECT_THAT(commandsOf("f() { a; }; f"), ElementsAre("a", "f"));
}

TEST(ShellWordsTest, WrappersAreTakenOffAndALimitIsSeen) {
  bool bounded = false;
  EXPECT_THAT(unwrapCommand({"env", "-i", "A=1", "nice", "-n", "5", "a", "-b"}, bounded),
              ElementsAre("a", "-b"));
  EXPECT_FALSE(bounded);
  EXPECT_THAT(unwrapCommand({"timeout", "-k", "5", "30", "a"}, bounded), ElementsAre("a"));
  EXPECT_TRUE(bounded);
  EXPECT_THAT(unwrapCommand({"timeout"}, bounded), IsEmpty());
}

TEST(ShellWordsTest, AnyTextComesToAnEnd) {
  for (const char* text : {"", "\\", "'", "\"", "`", "$(", "((((", "))", "a \\\n", "<", ">&", "2>", "a()("}) {
    commandsOf(text);
  }
}

}  // namespace
}  // namespace halvo

#include "vpn/tools/TOLM/TOLMBundle/redact/RedactRules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "vpn/tools/TOLM/TOLMBundle/redact/RedactText_test.h"

namespace halvo {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;

std::string redactedBy(const std::string& rulesText, const std::string& text) {
  RedactRules rules;
  EXPECT_EQ("", rules.load(rulesText));
  StandIns standIns(test::kTestKey);
  const RedactKeep keep;
  NameCollector names;
  TextRedactor first(keep, standIns, names);
  first.useRules(rules);
  std::string none;
  first.feed(text, none);
  first.finish(none);
  rules.addNames(names);
  const KnownNames known(names, standIns);
  TextRedactor second(keep, standIns, known);
  second.useRules(rules);
  return second.redact(text);
}

TEST(RedactRulesTest, APatternsGroupIsReplacedOrElseItsMatch) {
  EXPECT_THAT(redactedBy("find id ticket ([0-9]+)\n", "ticket 1234, ticket 99"),
              MatchesRegex("ticket id-.{10}, ticket id-.{10}"));
  EXPECT_THAT(redactedBy("find user P[0-9]{6}", "by P123456.\nP123456"),
              MatchesRegex("by user-.{10}\\.\nuser-.{10}"));
  EXPECT_EQ("key REDACTED", redactedBy("find secret k-[a-z]+", "key k-abc"));
}

TEST(RedactRulesTest, APatternSeesALineHoweverTheTextIsCut) {
  RedactRules rules;
  ASSERT_EQ("", rules.load("find id ^ticket ([0-9]+)$"));
  StandIns standIns(test::kTestKey);
  const RedactKeep keep;
  const KnownNames known;
  TextRedactor redactor(keep, standIns, known);
  redactor.useRules(rules);
  std::string out;
  const std::string text = "ticket 1234\r\nticket 5678\nticket 12 x\nticket 3\rticket 4\r\rticket 9";
  for (const char c : text) {
    redactor.feed(std::string_view(&c, 1), out);
  }
  redactor.finish(out);
  EXPECT_THAT(out, MatchesRegex("ticket id-.{10}\r\nticket id-.{10}\nticket 12 x\n"
                                "ticket id-.{10}\rticket id-.{10}\r\rticket id-.{10}"));
  EXPECT_EQ(out, redactor.redact(text));
}

TEST(RedactRulesTest, ANameIsReplacedWhereverItStandsAsAWord) {
  EXPECT_THAT(redactedBy("name host falcon\nname user Doe Inc", "on FALCON by Doe Inc, falcons"),
              MatchesRegex("on host-.{10} by user-.{10}, falcons"));
}

TEST(RedactRulesTest, WhatIsKeptStaysWhateverFindsIt) {
  EXPECT_THAT(redactedBy("keep vpn.acme.de\nkeep 10.1.2.3\nfind id T[0-9]+\nkeep T1",
                         "VPN.acme.de 10.1.2.3 10.1.2.4 T1 T2"),
              MatchesRegex("VPN\\.acme\\.de 10\\.1\\.2\\.3 250\\.[0-9.]+ T1 id-.{10}"));
}

TEST(RedactRulesTest, RedactingTwiceWithRulesChangesNothing) {
  const std::string rules = "find id [a-z]+-[a-z0-9]+\n";
  const std::string once = redactedBy(rules, "abc-123 x");
  EXPECT_EQ(once, redactedBy(rules, once));
}

TEST(RedactRulesTest, NoPartOfAStandInIsReplaced) {
  for (const std::string rules : {"find id ticket (\\w+)\n", "find id -(\\w+)\n", "find id t id-(\\w{4})\n",
                                  "find secret ticket (\\w{4})\n"}) {
    const std::string once = redactedBy(rules, "ticket AB12 open, user=jdoe7, password=hunter2");
    EXPECT_EQ(once, redactedBy(rules, once)) << rules;
  }
}

TEST(RedactRulesTest, AHostHasTheStandInThatItHasElsewhere) {
  EXPECT_THAT(redactedBy("find host box=(\\S+)\n", "box=gw7.acme.de at gw7.acme.de"),
              MatchesRegex("box=(host-.{10}\\.host-.{10}\\.example) at host-.*"));
  const std::string text = redactedBy("find host box=(\\S+)\n", "box=gw7.acme.de gw7.acme.de");
  EXPECT_EQ(text.substr(4, text.find(' ') - 4), text.substr(text.find(' ') + 1));
  EXPECT_THAT(redactedBy("find host box=(\\S+)\n", "box=10.1.2.3"), MatchesRegex("box=host-.{10}"));
}

TEST(RedactRulesTest, CommentsAndBlankLinesDontCount) {
  RedactRules rules;
  EXPECT_EQ("", rules.load("# find x\n\n  \r\n\tkeep x\r\n"));
  EXPECT_TRUE(rules.keeps("X"));
}

TEST(RedactRulesTest, WhatIsWrongIsToldWithItsLine) {
  for (const char* const text : {"\nfind id (", "\nfind address x", "\nfind nothing x", "\nremove x",
                                 "\nname host", "\nkeep", "\nfind id"}) {
    RedactRules rules;
    EXPECT_THAT(rules.load(text), HasSubstr("line 2: ")) << text;
  }
}

TEST(RedactRulesTest, APatternMadeToBacktrackEnds) {
  EXPECT_EQ(std::string(50000, 'a'), redactedBy("find id (a*)*b\n", std::string(50000, 'a')));
}

}  // namespace
}  // namespace halvo

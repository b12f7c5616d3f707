// What is looked at, and what is kept of it.

#include "vpn/tools/TOLM/TOLMBundle/findings/Scan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/LineReader.h"
#include "vpn/tools/TOLM/TOLMBundle/findings/FindingsIn_test.h"

namespace halvo {
namespace {

using test::Files;
using test::findIn;
using test::findInBytes;
using test::ruleSet;
using test::SummaryBuilder;
using test::ZipBuilder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

bool holds(const std::string& condition, const std::string& text) {
  return !findIn(Files{{"a", "f", text}}, ruleSet(condition)).empty();
}

Findings findInFile(const std::string& text, const std::string& condition) {
  SummaryBuilder summary;
  summary.section("Logs").included("a", "f", "", "1 bytes");
  return findInBytes(ZipBuilder().add({"summary.txt", summary.take()}).add({"Logs/f", text}).take(),
                     ruleSet(condition));
}

// Logs have a hole of zeros where the power failed. Their lines were dropped, and absence was claimed.
TEST(ScanTest, AHoleOfZerosHidesNoLine) {
  const std::string hole(100000, '\0');
  const std::string log = "one\nerror 42 here\n" + hole + "error 43\n" + hole + "\nlast\n";
  const std::vector<KnownProblem> findings =
      findIn(Files{{"a", "f", log}}, ruleSet("<line pattern=\"error (\\d+)\"/>"));
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0].count, 2U);
  EXPECT_EQ(findings[0].evidence[1].line, 3U);
  EXPECT_EQ(findings[0].evidence[1].text, std::string("\0error 43", 9));
  EXPECT_FALSE(holds("<no-line item=\"a\" pattern=\"last\"/>", log));
}

TEST(ScanTest, WhatIsNoTextHasNoLines) {
  const std::string program(
      "\x7f"
      "ELF\2\1\1\0error\n\1\2\3",
      17);
  EXPECT_FALSE(holds("<line item=\"a\" pattern=\"error\"/>", program));
  EXPECT_FALSE(holds("<no-line item=\"a\" pattern=\"up\"/>", program));
  EXPECT_TRUE(holds("<present item=\"a\"/>", program));
}

TEST(ScanTest, AFileOfTwoBytesACharacterIsToldAsUnread) {
  const std::string text(
      "\xff\xfe"
      "e\0r\0r\0\n\0",
      10);
  for (const std::string condition :
       {"<line item=\"a\" pattern=\"err\"/>", "<no-line item=\"a\" pattern=\"err\"/>"}) {
    const Findings findings = findInFile(text, condition);
    EXPECT_THAT(findings.problems, IsEmpty());
    EXPECT_THAT(findings.undecided, ElementsAre("r"));
    ASSERT_THAT(findings.unread, SizeIs(1));
    EXPECT_EQ(findings.unread[0].file, "Logs/f");
    EXPECT_THAT(findings.unread[0].why, HasSubstr("UTF-16"));
  }
  EXPECT_THAT(findInFile(text, "<line item=\"b\" pattern=\"err\"/>").unread, IsEmpty());
}

// The first 1,000 lines alone were compared.
TEST(ScanTest, EveryLineIsComparedWithAFixedValue) {
  std::string log;
  for (int i = 0; i < 3000; ++i) {
    log += "skew of 2 s until Mar 16 10:00:00 2026\n";
  }
  log += "skew of 421 s until Mar 14 10:00:00 2026\n";
  const std::vector<KnownProblem> findings =
      findIn(Files{{"a", "f", log}}, ruleSet("<number pattern=\"of (\\d+) s\" above=\"60\"/>"));
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0].count, 1U);
  EXPECT_EQ(findings[0].evidence[0].line, 3001U);
  EXPECT_TRUE(holds("<time pattern=\"until (.*)\" is=\"past\"/>", log));
}

std::string numbers(const std::string& word, int from, int to) {
  std::string text;
  for (int i = from; i < to; ++i) {
    text += word + " " + std::to_string(i) + "\n";
  }
  return text;
}

std::string other(const std::string& word) {
  return "<number pattern=\"in (\\d+)\" is=\"" + word + "\" other-pattern=\"out (\\d+)\"/>";
}

TEST(ScanTest, OneOfManyNumbersIsAboveOrBelowAnother) {
  const std::string many = numbers("in", 5000, 8000);
  EXPECT_TRUE(holds(other("above"), many + "in 9000\nout 8500\n"));
  EXPECT_TRUE(holds(other("below"), many + "in 10\nout 15\n"));
  EXPECT_FALSE(holds(other("above"), many + "out 8500\n"));
  EXPECT_FALSE(holds(other("below"), many + "out 15\n"));
  EXPECT_TRUE(holds(other("different"), "in 7\nin 7\nout 7\nout 8\n"));
  EXPECT_FALSE(holds(other("different"), "in 7\nin 7\nout 7\n"));
  EXPECT_TRUE(holds(other("equal"), many + "out 5007\n"));
  EXPECT_FALSE(holds(other("equal"), many + "out 15\n"));
}

TEST(ScanTest, EqualNumbersAreUndecidedWhereTooManyWereSeen) {
  const Findings findings = findInFile(numbers("in", 5000, 8000) + "out 7500\n", other("equal"));
  EXPECT_THAT(findings.problems, IsEmpty());
  EXPECT_THAT(findings.undecided, ElementsAre("r"));
}

// A long line comes in parts. Their fronts and ends are none of the line's, and a number at a cut is whole.
TEST(ScanTest, ThePartsOfALongLineAreNoLines) {
  const std::string half(LineReader::kLongestLine - 3, 'x');
  const std::string line = half + " 4217 " + half + "\n";
  EXPECT_FALSE(holds("<number pattern=\" (\\d+)\" below=\"4217\"/>", line));
  EXPECT_TRUE(holds("<number pattern=\" (\\d+) x\" equals=\"4217\"/>", line));
  EXPECT_FALSE(holds("<line pattern=\"^x+$\"/>", line));
  EXPECT_FALSE(holds("<line pattern=\"^[0-9]\"/>", line));
  const std::string steps(200000, 'y');
  EXPECT_FALSE(holds("<line pattern=\"^y{10}y*$\"/>", steps + "z\n"));
  EXPECT_TRUE(holds("<line pattern=\"^yy\"/>", steps + "z\n"));
  EXPECT_TRUE(holds("<line pattern=\"yz$\"/>", steps + "z\n"));
}

TEST(ScanTest, ALongLineCountsOnce) {
  const std::vector<KnownProblem> findings =
      findIn(Files{{"a", "f", std::string(300000, 'x') + "\nx\n"}}, ruleSet("<line pattern=\"x\"/>"));
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0].count, 2U);
}

// What the line's front showed was none of what matched.
TEST(ScanTest, EvidenceOfALongLineShowsWhatMatched) {
  const auto textOf = [](const std::string& line) {
    const std::vector<KnownProblem> found =
        findIn(Files{{"a", "f", line + "\n"}}, ruleSet("<line pattern=\"NEEDLE=\\d+\"/>"));
    return found.empty() ? "none" : found[0].evidence[0].text;
  };
  EXPECT_EQ(textOf(std::string(391, 'x') + "NEEDLE=42"), std::string(391, 'x') + "NEEDLE=42");
  EXPECT_EQ(textOf(std::string(392, 'x') + "NEEDLE=42 on"), "..." + std::string(100, 'x') + "NEEDLE=42 on");
  EXPECT_EQ(textOf(std::string(70000, 'x') + "NEEDLE=42"), "..." + std::string(100, 'x') + "NEEDLE=42");
  std::string umlauts = "x";
  for (int i = 0; i < 500; ++i) {
    umlauts += "\xc3\xa4";
  }
  // From a character's start.
  EXPECT_EQ(textOf(umlauts + "NEEDLE=42"), "..." + umlauts.substr(901) + "NEEDLE=42");
  EXPECT_EQ(textOf(umlauts + " NEEDLE=42"), "..." + umlauts.substr(903) + " NEEDLE=42");
}

TEST(ScanTest, TheFirstGroupThatTookPartIsCompared) {
  const std::string either = "<number pattern=\"mtu (\\d+)|MTU:(\\d+)\" below=\"1150\"/>";
  EXPECT_TRUE(holds(either, "mtu 1400\nMTU:1100\n"));
  EXPECT_FALSE(holds(either, "mtu 1400\nMTU:1200\n"));
  // It took part, and holds no number.
  EXPECT_FALSE(holds("<number pattern=\"in=(\\d*) out=(\\d+)\" below=\"9\"/>", "in= out=5\n"));
  EXPECT_TRUE(holds("<number pattern=\"in (\\d+)|rx:(\\d+)\" is=\"above\" other-pattern=\"out (\\d+)\"/>",
                    "rx:9\nout 8\n"));
  EXPECT_TRUE(holds("<time pattern=\"until (.*)|end=(.*)\" is=\"past\"/>", "end=Mar 14 10:00:00 2026\n"));
  // The first match of a line.
  EXPECT_FALSE(holds("<number pattern=\"x=(\\d+)\" equals=\"7\"/>", "x=5 x=7\n"));
}

// A certificate's last day made a log one that is never old.
TEST(ScanTest, ATimeAheadOfTheBundleMakesNoLogNew) {
  const std::string old = "2026-03-01 10:00:00 up\n";
  const std::string condition = "<age above=\"86400\"/>";
  EXPECT_TRUE(holds(condition, old + "  notAfter=Jan  1 00:00:00 2036 GMT\n"));
  EXPECT_TRUE(holds(condition, "2026-03-17 00:00:00 until\n" + old));
  // A zone's hours ahead it may be one of the log's own.
  EXPECT_FALSE(holds(condition, old + "2026-03-16 02:00:00 up\n"));
}

TEST(ScanTest, ACountThatIsABoundIsToldAsOne) {
  std::string text;
  std::vector<KnownProblem> found =
      findIn(Files{{"a", "f", numbers("in", 5000, 8000) + "out 15\n"}}, ruleSet(other("above")), &text);
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_TRUE(found[0].isAtLeast);
  EXPECT_THAT(text, HasSubstr("... and at least 996 more\n"));
  found = findIn(Files{{"a", "f", numbers("in", 5000, 5900) + numbers("out", 15, 3000)}},
                 ruleSet(other("above")), &text);
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_FALSE(found[0].isAtLeast);
  EXPECT_THAT(text, HasSubstr("... and 895 more\n"));
}

// All in one automaton took more memory than it may, and then each by itself far too long.
TEST(ScanTest, ManyNastyPatternsAreFoundAllTheSame) {
  std::string text = "<rules>";
  for (int i = 0; i < 1000; ++i) {
    text += "<rule id=\"r" + std::to_string(i) + "\" severity=\"info\"><title>T</title><advice>A</advice>" +
            "<line pattern=\"(?i)([a-z]+[0-9]*[a-z]+)+.*(foo|bar)" + std::to_string(i) +
            ".{0,50}$\"/></rule>";
  }
  RuleSet rules;
  std::vector<RuleFault> faults;
  ASSERT_TRUE(rules.add(text + "</rules>", faults));
  std::string log = "some words and foo999\n";
  for (int i = 0; i < 500; ++i) {
    log += "2026-03-15 10:40:00 host agent[12]: error code something quite ordinary of bar\n";
  }
  EXPECT_THAT(test::idsOf(findIn(Files{{"a", "f", log}}, rules)), ElementsAre("r9", "r99", "r999"));
}

}  // namespace
}  // namespace halvo

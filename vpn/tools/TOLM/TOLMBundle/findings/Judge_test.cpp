// What a rule says where not all could be looked at, and which lines speak for it.

#include "vpn/tools/TOLM/TOLMBundle/findings/Judge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

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
using ::testing::IsEmpty;
using ::testing::SizeIs;

KnownProblem only(const std::string& text, const std::string& condition) {
  std::vector<KnownProblem> findings = findIn(Files{{"a", "f", text}}, ruleSet(condition, "T {1}"));
  EXPECT_THAT(findings, SizeIs(1));
  return findings.empty() ? KnownProblem() : findings[0];
}

TEST(JudgeTest, WhatDoesNotHoldLeavesNoLinesAndNoWords) {
  const KnownProblem found =
      only("disk sda at 12 percent\nservice foo failed\n",
           "<any><all><line pattern=\"^disk (\\w+) at\"/><line pattern=\"^disk error\"/>"
           "</all><line pattern=\"^service (\\w+) failed\"/></any>");
  EXPECT_EQ(found.title, "T foo");
  EXPECT_EQ(found.count, 1U);
  ASSERT_THAT(found.evidence, SizeIs(1));
  EXPECT_EQ(found.evidence[0].line, 2U);
}

TEST(JudgeTest, WordsAreThoseOfTheFirstLineThatHasAny) {
  std::string lines;
  for (int i = 0; i < 20; ++i) {
    lines += "up\n";
  }
  EXPECT_EQ(only(lines + "at 12 percent\n",
                 "<all><line pattern=\"^up\"/><number pattern=\"at (\\d+) percent\" above=\"5\"/></all>")
                .title,
            "T 12");
}

TEST(JudgeTest, ALineThatTwoConditionsHoldForIsToldOnce) {
  const std::string both = "<any><line pattern=\"(error)\"/><line pattern=\"(refused)\"/></any>";
  const KnownProblem few = only("error one\nrefused two\nerror refused three\n", both);
  EXPECT_EQ(few.count, 3U);
  EXPECT_FALSE(few.isAtLeast);
  EXPECT_THAT(few.evidence, SizeIs(3));

  std::string lines;
  for (int i = 0; i < 20; ++i) {
    lines += "error refused\n";
  }
  const KnownProblem many = only(lines + "refused\n", both);
  EXPECT_EQ(many.count, 21U);
  EXPECT_TRUE(many.isAtLeast);
  EXPECT_THAT(many.evidence, SizeIs(5));
}

enum class Is { kFound, kNot, kOpen };

Is answerIn(const std::string& bytes, const std::string& condition) {
  const Findings findings = findInBytes(bytes, ruleSet(condition));
  return !findings.problems.empty() ? Is::kFound : findings.undecided.empty() ? Is::kNot : Is::kOpen;
}

// Both files are there by the summary and by the table of contents; "a.log" is damaged where told so.
std::string bundle(const std::string& text, bool damaged) {
  SummaryBuilder summary;
  summary.section("Logs").included("log", "a.log", "", "3 bytes").included("log", "b.log", "", "3 bytes");
  std::string bytes = ZipBuilder()
                          .add({"summary.txt", summary.take()})
                          .add({"Logs/a.log", "what can't be read\n"})
                          .add({"Logs/b.log", text})
                          .take();
  if (damaged) {
    bytes[bytes.find("what can't")] = 'x';
  }
  return bytes;
}

TEST(JudgeTest, AgeAndAbsenceAreOpenWhereNotAllWasSeen) {
  const std::string old = "2020-01-01 10:00:00 x\n";
  const std::string fresh = "2026-03-15 10:42:00 x\n";
  const std::string above = "<age item=\"log\" above=\"86400\"/>";
  const std::string below = "<age item=\"log\" below=\"86400\"/>";
  EXPECT_EQ(answerIn(bundle(old, false), above), Is::kFound);
  EXPECT_EQ(answerIn(bundle(old, true), above), Is::kOpen);
  EXPECT_EQ(answerIn(bundle(fresh, true), above), Is::kNot) << "more can only be newer";
  EXPECT_EQ(answerIn(bundle(fresh, true), below), Is::kFound);
  EXPECT_EQ(answerIn(bundle(old, true), below), Is::kOpen);
  EXPECT_EQ(answerIn(bundle("no time\n", true), above), Is::kOpen);
  const std::string noLine = "<no-line item=\"log\" pattern=\"^up\"/>";
  EXPECT_EQ(answerIn(bundle("x\n", true), noLine), Is::kOpen);
  EXPECT_EQ(answerIn(bundle("up\n", true), noLine), Is::kNot) << "no other file takes it away";
}

TEST(JudgeTest, NothingIsDecidedOfItemsWithoutASummary) {
  const std::string bytes = ZipBuilder().add({"Logs/a.log", "2020-01-01 10:00:00 x\n"}).take();
  EXPECT_EQ(answerIn(bytes, "<age item=\"log\" above=\"86400\"/>"), Is::kOpen);
  EXPECT_EQ(answerIn(bytes, "<no-line item=\"log\" pattern=\"x\"/>"), Is::kOpen);
  EXPECT_EQ(answerIn(bytes, "<age file=\"a.log\" above=\"86400\"/>"), Is::kFound);
}

// A file that redaction left out was on the machine.
TEST(JudgeTest, WhatRedactionLeftOutIsNotMissing) {
  SummaryBuilder summary;
  summary.section("Logs").included("other", "b.log", "", "3 bytes");
  summary.omitted("log", "a.log", "", "Left out by redaction: it is no text")
      .omitted("gone", "c", "", "No file");
  const std::string bytes =
      ZipBuilder().add({"summary.txt", summary.take()}).add({"Logs/b.log", "one\n"}).take();
  for (const std::string condition :
       {"<missing item=\"log\"/>", "<present item=\"log\"/>", "<line item=\"log\" pattern=\"x\"/>",
        "<no-line item=\"log\" pattern=\"x\"/>", "<missing file=\"a.log\"/>"}) {
    EXPECT_EQ(answerIn(bytes, condition), Is::kOpen) << condition;
  }
  EXPECT_EQ(answerIn(bytes, "<missing item=\"gone\"/>"), Is::kFound);
  EXPECT_EQ(answerIn(bytes, "<missing item=\"other\"/>"), Is::kNot);
}

}  // namespace
}  // namespace halvo

#include "vpn/tools/TOLM/TOLMBundle/findings/Findings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/findings/FindingsIn_test.h"

namespace halvo {
namespace {

using test::Files;
using test::findIn;
using test::findInBytes;
using test::idsOf;
using test::ruleSet;
using test::ruleText;
using test::SummaryBuilder;
using test::TempFolder;
using test::ZipBuilder;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

bool holds(const std::string& condition, const Files& files) {
  return !findIn(files, ruleSet(condition)).empty();
}

std::vector<std::string> faultsOf(const std::string& xml) {
  RuleSet rules;
  std::vector<RuleFault> faults;
  EXPECT_FALSE(rules.add(xml, faults));
  EXPECT_THAT(rules.rules(), IsEmpty());
  std::vector<std::string> texts;
  for (const RuleFault& fault : faults) {
    texts.push_back(std::to_string(fault.line) + ": " + fault.text);
  }
  return texts;
}

// Conditions.

// Two commands of an item write one file, and the summary has a row for each.
TEST(FindingsTest, AFileThatSeveralRowsNameIsReadOnce) {
  SummaryBuilder summary;
  summary.section("Logs");
  for (const char* const item : {"a", "a", "b"}) {
    summary.included(item, "x.log", "", "1 bytes");
  }
  const TempFolder folder;
  test::writeFile(
      folder.file("bundle.zip"),
      ZipBuilder().add({"summary.txt", summary.take()}).add({"Logs/x.log", "error 42\nerror 43\n"}).take());
  BundleReader reader;
  ASSERT_EQ(reader.open(folder.file("bundle.zip"), ""), "");
  BundleContent content(reader);
  content.load();
  for (const char* const condition :
       {"<line item=\"a\" pattern=\"error\"/>", "<line item=\"a b\" pattern=\"error\"/>",
        "<line item=\"b\" pattern=\"error\"/>"}) {
    const Findings findings = findProblems(content, ruleSet(condition));
    ASSERT_THAT(findings.problems, SizeIs(1)) << condition;
    EXPECT_EQ(findings.problems[0].count, 2U) << condition;
  }
  const Findings sizes = findProblems(content, ruleSet("<size item=\"a b\" above=\"1\"/>"));
  ASSERT_THAT(sizes.problems, SizeIs(1));
  EXPECT_EQ(sizes.problems[0].count, 1U);
}

TEST(FindingsTest, LinesAreFoundAndToldWithTheirPlace) {
  std::string text;
  const std::vector<KnownProblem> findings =
      findIn({{"a", "a.log", "fine\nerror 42 here\nerror 43\n"}},
             ruleSet("<line item=\"a\" pattern=\"error (\\d+)\"/>", "T {1}"), &text);
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0].title, "T 42");
  EXPECT_EQ(findings[0].advice, "Do it.");
  EXPECT_EQ(findings[0].count, 2U);
  ASSERT_THAT(findings[0].evidence, SizeIs(2));
  EXPECT_EQ(findings[0].evidence[0].line, 2U);
  EXPECT_EQ(findings[0].evidence[0].text, "error 42 here");
  EXPECT_THAT(text, HasSubstr("Logs/a.log:2: error 42 here"));
}

TEST(FindingsTest, LineBehindALongOneHasItsOwnNumber) {
  const std::vector<KnownProblem> findings =
      findIn({{"a", "a.log", "first\n" + std::string(3000000, 'x') + "\nerror 42\n"}},
             ruleSet("<line item=\"a\" pattern=\"error (\\d+)\"/>"));
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0].evidence[0].line, 3U);
}

TEST(FindingsTest, ManyLinesAreCountedAndTheFirstKept) {
  std::string lines;
  for (int i = 0; i < 1000; ++i) {
    lines += "error\n";
  }
  const std::vector<KnownProblem> findings =
      findIn({{"a", "a.log", lines}}, ruleSet("<line pattern=\"error\"/>"));
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0].count, 1000U);
  EXPECT_THAT(findings[0].evidence, SizeIs(5));
}

TEST(FindingsTest, AbsenceNeedsAFileToLookAt) {
  const std::string condition = "<no-line item=\"a\" pattern=\"up\"/>";
  EXPECT_TRUE(holds(condition, {{"a", "x", "down\n"}}));
  EXPECT_FALSE(holds(condition, {{"a", "x", "up\n"}}));
  EXPECT_FALSE(holds(condition, {{"b", "x", "down\n"}}));
}

TEST(FindingsTest, ItemsAndFilesAreChosen) {
  EXPECT_TRUE(holds("<line item=\"b a\" pattern=\"x\"/>", {{"a", "f", "x\n"}}));
  EXPECT_FALSE(holds("<line item=\"b\" pattern=\"x\"/>", {{"a", "f", "x\n"}}));
  EXPECT_TRUE(holds("<line file=\"*.log\" pattern=\"x\"/>", {{"a", "f.log", "x\n"}}));
  EXPECT_FALSE(holds("<line file=\"*.log\" pattern=\"x\"/>", {{"a", "f.txt", "x\n"}}));
  EXPECT_TRUE(holds("<present item=\"a\"/>", {{"a", "f", ""}}));
  EXPECT_TRUE(holds("<missing item=\"b\"/>", {{"a", "f", ""}}));
  EXPECT_FALSE(holds("<missing file=\"f*\"/>", {{"a", "f", ""}}));
}

TEST(FindingsTest, SizesAndNumbersAreCompared) {
  EXPECT_TRUE(holds("<size item=\"a\" above=\"3\"/>", {{"a", "f", "1234"}}));
  EXPECT_FALSE(holds("<size item=\"a\" above=\"4\"/>", {{"a", "f", "1234"}}));
  EXPECT_TRUE(holds("<number pattern=\"mtu (\\d+)\" below=\"1280\"/>", {{"a", "f", "mtu 1500\nmtu 1200\n"}}));
  EXPECT_FALSE(holds("<number pattern=\"mtu (\\d+)\" below=\"1280\"/>", {{"a", "f", "mtu 1500\n"}}));
  EXPECT_FALSE(holds("<number pattern=\"mtu (\\w+)\" below=\"1280\"/>", {{"a", "f", "mtu none\n"}}));
  EXPECT_TRUE(holds("<number pattern=\"x=([\\d.]+)\" equals=\"1.5\"/>", {{"a", "f", "x=1.5\n"}}));
  EXPECT_TRUE(holds("<number pattern=\"x=(\\d+)\" differs=\"1\"/>", {{"a", "f", "x=2\n"}}));
}

TEST(FindingsTest, ANumberIsComparedWithAnother) {
  const std::string condition =
      "<number item=\"a\" pattern=\"in (\\d+)\" is=\"above\" other-item=\"b\" other-pattern=\"out (\\d+)\"/>";
  EXPECT_TRUE(holds(condition, {{"a", "f", "in 5\n"}, {"b", "g", "out 4\n"}}));
  EXPECT_FALSE(holds(condition, {{"a", "f", "in 4\n"}, {"b", "g", "out 4\n"}}));
  EXPECT_FALSE(holds(condition, {{"a", "f", "in 4\n"}}));
}

TEST(FindingsTest, TimesAreComparedWithTheBundles) {
  // The entries are of 2026-03-15.
  EXPECT_TRUE(
      holds("<time pattern=\"until (.*)\" is=\"past\"/>", {{"a", "f", "until Mar 14 10:00:00 2026\n"}}));
  EXPECT_FALSE(
      holds("<time pattern=\"until (.*)\" is=\"past\"/>", {{"a", "f", "until Mar 16 10:00:00 2026\n"}}));
  EXPECT_TRUE(
      holds("<time pattern=\"from (.*)\" is=\"future\"/>", {{"a", "f", "from Mar 16 10:00:00 2026\n"}}));
  // By more than the seconds told: the bundle is of 10:42:06.
  const auto future = [](const std::string& time) {
    return holds("<time pattern=\"from (.*)\" is=\"future\" by=\"3600\"/>",
                 {{"a", "f", "from " + time + "\n"}});
  };
  EXPECT_FALSE(future("Mar 15 11:42:00 2026"));
  EXPECT_TRUE(future("Mar 15 11:42:10 2026"));
  const auto past = [](const std::string& time) {
    return holds("<time pattern=\"until (.*)\" is=\"past\" by=\"3600\"/>",
                 {{"a", "f", "until " + time + "\n"}});
  };
  EXPECT_FALSE(past("Mar 15 09:42:10 2026"));
  EXPECT_TRUE(past("Mar 15 09:42:00 2026"));
  EXPECT_TRUE(holds("<age item=\"a\" above=\"3600\"/>", {{"a", "f", "Mar 15 08:00:00 h: last\n"}}));
  EXPECT_FALSE(
      holds("<age item=\"a\" above=\"3600\"/>", {{"a", "f", "Mar 15 08:00:00 h\nMar 15 10:30:00 h\n"}}));
}

TEST(FindingsTest, ConditionsAreJoined) {
  const std::string x = "<line pattern=\"x\"/>";
  const std::string y = "<line pattern=\"y\"/>";
  EXPECT_TRUE(holds("<all>" + x + y + "</all>", {{"a", "f", "x\ny\n"}}));
  EXPECT_FALSE(holds("<all>" + x + y + "</all>", {{"a", "f", "x\n"}}));
  EXPECT_TRUE(holds("<any>" + x + y + "</any>", {{"a", "f", "y\n"}}));
  EXPECT_TRUE(holds("<none>" + x + y + "</none>", {{"a", "f", "z\n"}}));
  EXPECT_FALSE(holds("<none>" + x + y + "</none>", {{"a", "f", "y\n"}}));
}

TEST(FindingsTest, ErrorsStandAheadOfWarnings) {
  RuleSet rules;
  std::vector<RuleFault> faults;
  ASSERT_TRUE(rules.add(
      "<rules><rule id=\"w\" severity=\"warning\"><title>t</title><advice>a</advice><line pattern=\"x\"/>"
      "</rule><rule id=\"i\" severity=\"info\"><title>t</title><advice>a</advice><line pattern=\"x\"/>"
      "</rule><rule id=\"e\" severity=\"error\"><title>t</title><advice>a</advice><line pattern=\"x\"/>"
      "</rule></rules>",
      faults));
  EXPECT_THAT(idsOf(findIn({{"a", "f", "x\n"}}, rules)), ElementsAre("e", "w", "i"));
}

ZipBuilder logBundle() {
  SummaryBuilder summary;
  summary.section("Logs").included("log", "a.log", "", "3 bytes").included("other", "b.log", "", "3 bytes");
  return ZipBuilder()
      .add({"summary.txt", summary.take()})
      .add({"Logs/b.log", "two\n"})
      .add({"Logs/a.log", "one\n"});
}

std::vector<std::string> undecidedOver(const std::string& bytes, const std::string& condition) {
  return findInBytes(bytes, ruleSet(condition)).undecided;
}

TEST(FindingsTest, DamagedFileIsToldAndWhatHangsOnItIsUndecided) {
  std::string bytes = logBundle().take();
  bytes[bytes.find("one\n")] = 'x';
  const std::string up = "<line item=\"log\" pattern=\"up\"/>";
  const Findings findings = findInBytes(bytes, ruleSet(up));
  EXPECT_THAT(findings.problems, IsEmpty());
  EXPECT_THAT(findings.undecided, ElementsAre("r"));
  ASSERT_THAT(findings.unread, SizeIs(1));
  EXPECT_EQ(findings.unread[0].file, "Logs/a.log");
  EXPECT_EQ(findings.unread[0].why, "its checksum is wrong");
  for (const std::string& condition :
       {"<none>" + up + "</none>", std::string("<no-line item=\"log\" pattern=\"up\"/>"),
        "<all>" + up + "<present item=\"other\"/></all>", "<any>" + up + "<missing item=\"other\"/></any>"}) {
    EXPECT_THAT(undecidedOver(bytes, condition), ElementsAre("r")) << condition;
  }
  // The rest of the bundle decides these.
  for (const std::string& condition :
       {std::string("<line item=\"other\" pattern=\"up\"/>"),
        "<all>" + up + "<missing item=\"other\"/></all>", "<any>" + up + "<present item=\"other\"/></any>"}) {
    EXPECT_THAT(undecidedOver(bytes, condition), IsEmpty()) << condition;
  }
}

TEST(FindingsTest, NothingIsMissingWhereNoSummaryTellsWhatThereIs) {
  const std::string bytes = ZipBuilder().add({"Logs/a.log", "one\n"}).take();
  const Findings findings = findInBytes(bytes, ruleSet("<missing item=\"log\"/>"));
  EXPECT_THAT(findings.problems, IsEmpty());
  EXPECT_THAT(findings.undecided, ElementsAre("r"));
  ASSERT_THAT(findings.unread, SizeIs(1));
  EXPECT_THAT(findings.unread[0].why, HasSubstr("no summary"));
  // Names are known all the same.
  EXPECT_THAT(findInBytes(bytes, ruleSet("<missing file=\"b.log\"/>")).problems, SizeIs(1));
}

TEST(FindingsTest, WhatIsLostBehindADamagedTableIsNotMissing) {
  std::string bytes = logBundle().take();
  bytes[bytes.rfind("PK\x01\x02")] = 'x';
  const Findings findings = findInBytes(bytes, ruleSet("<missing item=\"log\"/>"));
  EXPECT_THAT(findings.problems, IsEmpty());
  EXPECT_THAT(findings.undecided, ElementsAre("r"));
  ASSERT_THAT(findings.unread, SizeIs(1));
  EXPECT_THAT(findings.unread[0].why, HasSubstr("table of contents is damaged"));
  EXPECT_THAT(undecidedOver(bytes, "<line item=\"other\" pattern=\"up\"/>"), IsEmpty());
}

TEST(FindingsTest, FilesOfAGatheredFolderAreThoseOfItsItem) {
  const std::string summary = SummaryBuilder().section("T").included("logs", "log.d", "", "4.00K").take();
  const std::string bytes = ZipBuilder()
                                .add({"summary.txt", summary})
                                .add({"T/log.d/a", "no\n"})
                                .add({"T/log.d/b/c", "up\n"})
                                .take();
  const Findings findings = findInBytes(bytes, ruleSet("<line item=\"logs\" pattern=\"up\"/>"));
  EXPECT_THAT(findings.problems, SizeIs(1));
  EXPECT_THAT(undecidedOver(bytes, "<missing item=\"logs\"/>"), IsEmpty());
}

TEST(FindingsTest, WhatIsUndecidedStandsInTextAndJson) {
  const TempFolder folder;
  test::writeFile(folder.file("bundle.zip"), ZipBuilder().add({"a", "one\n"}).take());
  BundleReader reader;
  ASSERT_EQ(reader.open(folder.file("bundle.zip"), ""), "");
  BundleContent content(reader);
  content.load();
  const Findings findings = findProblems(content, ruleSet("<missing item=\"log\"/>"));
  EXPECT_EQ(findingsText(content, findings),
            "0 of 1 known problems are seen in this bundle.\n"
            "Not known of 1, as not all could be read that they look at: r\n");
  const auto json = nlohmann::json::parse(findingsJson(content, findings));
  EXPECT_EQ(json["undecided"], nlohmann::json::array({"r"}));
  EXPECT_EQ(json["unread"][0]["why"], "the bundle has no summary that can be read");
}

TEST(FindingsTest, PatternsThatBacktrackElsewhereAreLinearHere) {
  EXPECT_FALSE(holds("<line pattern=\"^(a+)+$\"/>", {{"a", "f", std::string(60000, 'a') + "b\n"}}));
}

TEST(FindingsTest, HostileLinesReachNoTerminal) {
  std::string text;
  findIn({{"a", "f", "x \x1b[2J \xc2\x9b \xff\n"}}, ruleSet("<line pattern=\"x(.*)\"/>"), &text);
  EXPECT_THAT(text, HasSubstr("x \\x1b[2J \\xc2\\x9b"));
  EXPECT_EQ(text.find('\x1b'), std::string::npos);
}

// Documents with faults.

TEST(RulesTest, FaultsAreToldByTheirLines) {
  EXPECT_THAT(faultsOf("<rules><rule>"), ElementsAre(HasSubstr("not well-formed XML")));
  EXPECT_THAT(faultsOf("<config/>"), ElementsAre("1: the root is <config> and not <rules>"));
  EXPECT_THAT(faultsOf(ruleText("\n<line pattern=\"(\"/>")),
              ElementsAre(HasSubstr("2: the pattern can't be used")));
  EXPECT_THAT(faultsOf(ruleText("<number pattern=\"x\" above=\"1\"/>")),
              ElementsAre(HasSubstr("must capture")));
  EXPECT_THAT(faultsOf(ruleText("<number pattern=\"(x)\" above=\"one\"/>")),
              ElementsAre(HasSubstr("is no number")));
  EXPECT_THAT(faultsOf(ruleText("<number pattern=\"(x)\"/>")), ElementsAre(HasSubstr("needs one of above")));
  for (const std::string margin : {"a day", "-1", ""}) {
    EXPECT_THAT(faultsOf(ruleText("<time pattern=\"(x)\" is=\"past\" by=\"" + margin + "\"/>")),
                ElementsAre(HasSubstr("are no number from 0 on")));
  }
  EXPECT_THAT(faultsOf(ruleText("<line pattern=\"x\" colour=\"red\"/>")),
              ElementsAre(HasSubstr("has no attribute")));
  EXPECT_THAT(faultsOf(ruleText("<wish/>")), ElementsAre(HasSubstr("<wish> is no condition")));
  EXPECT_THAT(faultsOf(ruleText("<all/>")), ElementsAre(HasSubstr("joins nothing")));
  EXPECT_THAT(faultsOf(ruleText("")), ElementsAre(HasSubstr("has no condition")));
  EXPECT_THAT(faultsOf(ruleText("<missing/>")), ElementsAre(HasSubstr("needs an item or a file")));
  EXPECT_THAT(faultsOf(ruleText("<line pattern=\"x\"/><line pattern=\"y\"/>")),
              ElementsAre(HasSubstr("second condition")));
}

TEST(RulesTest, ExpandingEntitiesAndForeignFilesAreRefused) {
  EXPECT_THAT(faultsOf("<!DOCTYPE rules [<!ENTITY a \"aa\">]><rules/>"),
              ElementsAre(HasSubstr("document type")));
  EXPECT_THAT(faultsOf("<!DOCTYPE rules [<!ENTITY a SYSTEM \"file:///etc/passwd\">]><rules>&a;</rules>"),
              Not(IsEmpty()));
}

TEST(RulesTest, NestingIsBounded) {
  std::string condition = "<line pattern=\"x\"/>";
  for (int i = 0; i < 20; ++i) {
    condition = std::string("<all>").append(condition).append("</all>");
  }
  EXPECT_THAT(faultsOf(ruleText(condition)), Contains(HasSubstr("nested more than 16 deep")));
}

// Whatever the machine's locale has for a point.
TEST(RulesTest, CapturedNumberIsTheOneInFront) {
  for (const auto& [text, number] : std::vector<std::pair<std::string, double>>{{"12", 12},
                                                                                {" \t-0.5 ms", -0.5},
                                                                                {"+3,7", 3},
                                                                                {"1.5.2", 1.5},
                                                                                {".25", 0.25},
                                                                                {"7.", 7},
                                                                                {"2e3x", 2000},
                                                                                {"2e", 2},
                                                                                {"2GB", 2},
                                                                                {"0x10", 0}}) {
    EXPECT_EQ(leadingNumber(text), number) << text;
  }
  for (const std::string text : {"", "x1", "-", ".", "nan", "inf", "\xff"}) {
    EXPECT_EQ(leadingNumber(text), std::nullopt) << text;
  }
  EXPECT_GT(leadingNumber(std::string(5000, '9')), 1e300);
}

}  // namespace
}  // namespace halvo

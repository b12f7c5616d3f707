#include "vpn/tools/TOLM/TOLMBundle/report/Report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Zip/CZip.h"
#include "vpn/tools/TOLM/TOLMBundle/SummaryBuilder_test.h"
#include "vpn/tools/TOLM/TOLMBundle/ZipBuilder_test.h"
#include "vpn/tools/TOLM/TOLMBundle/report/FileText.h"
#include "vpn/tools/TOLM/TOLMBundle/report/Html.h"
#include "vpn/tools/TOLM/TOLMBundle/report/PageFile.h"
#include "vpn/tools/TOLM/TOLMBundle/report/Timeline.h"

namespace halvo {
namespace {

using test::SummaryBuilder;
using test::TempFolder;
using test::ZipBuilder;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

// The page of a bundle.
std::string pageOf(const ZipBuilder& zip) {
  const TempFolder folder;
  test::writeFile(folder.file("bundle.zip"), zip.take());
  BundleReader reader;
  EXPECT_EQ(reader.open(folder.file("bundle.zip"), ""), "");
  BundleContent content(reader);
  content.load();
  RuleSet rules;
  rules.addBuiltIn();
  EXPECT_EQ(writeReport(content, rules, folder.file("report.html")), "");
  EXPECT_EQ(test::listFolder(folder.path()).size(), 2U) << "nothing else is left behind";
  return test::readFile(folder.file("report.html"));
}

ZipBuilder sample(const std::string& log) {
  SummaryBuilder summary;
  summary.section("Logs").included("client-logs", "agent.log", "The agent's log", "12 bytes");
  summary.omitted("profile", "*.xml", "Profiles", "/etc/*.xml not found on client machine.");
  ZipBuilder zip;
  zip.add({"summary.txt", summary.take()});
  zip.add({"Logs/agent.log", log});
  return zip;
}

TEST(ReportTest, WhatIsMissingStandsAheadOfEverythingElse) {
  const std::string page = pageOf(sample("2026-03-15 10:40:00 agent: authentication failed\n"));
  const std::size_t missing = page.find("id=\"missing\"");
  const std::size_t findings = page.find("id=\"findings\"");
  const std::size_t timeline = page.find("id=\"timeline\"");
  const std::size_t files = page.find("id=\"files\"");
  ASSERT_NE(files, std::string::npos);
  EXPECT_LT(page.find("Debian GNU/Linux: 12.0.0"), missing);
  EXPECT_LT(missing, findings);
  EXPECT_LT(findings, timeline);
  EXPECT_LT(timeline, files);
  EXPECT_THAT(page, AllOf(HasSubstr("/etc/*.xml not found"), HasSubstr("The gateway refused the sign-on"),
                          HasSubstr("href=\"#f0L1\""), HasSubstr("1 lines with a time, 1 of them")));
}

TEST(ReportTest, WithoutASummaryNothingIsSaidToBeThere) {
  const std::string page = pageOf(ZipBuilder().add({"a.log", "x\n"}));
  EXPECT_THAT(page, AllOf(HasSubstr("What is missing isn't known"), HasSubstr("client-log-stale"),
                          Not(HasSubstr("Nothing is missing")), Not(HasSubstr("no log of the client"))));
}

// Its text, its share and its lines were there once for each row of the summary.
TEST(ReportTest, AFileThatSeveralItemsNameIsOnThePageOnce) {
  SummaryBuilder summary;
  summary.section("Logs");
  for (const char* const item : {"one", "one", "two"}) {
    summary.included(item, "a.log", "", "12 bytes");
  }
  const std::string page = pageOf(ZipBuilder()
                                      .add({"summary.txt", summary.take()})
                                      .add({"Logs/a.log", "2026-03-15 10:40:00 authentication failed\n"}));
  EXPECT_THAT(page, AllOf(HasSubstr("1 lines with a time"), HasSubstr("Files (1)"), HasSubstr("one, two"),
                          Not(HasSubstr("id=\"f1\"")), HasSubstr("Items (1)")));
}

// "Nothing is missing" stood on the page, and the document whose items weren't gathered nowhere.
TEST(ReportTest, DocumentsThatCouldNotBeUsedAndNotesAreOnThePage) {
  SummaryBuilder summary;
  summary.section("Logs").included("a", "a.log", "", "1 bytes");
  std::string text = summary.take();
  text.insert(
      text.find("\n\nNo instruction"),
      "\n\nNotes:\n - The file(s) of ID R&#38;D<b> is/are not included by default by this config.\n\n" +
          std::string(100, '=') +
          "\nTOLMEngine failed to parse or use the following configuration files:\n/opt/<i>bad.xml\n");
  const std::string page = pageOf(ZipBuilder().add({"summary.txt", text}).add({"Logs/a.log", "x"}));
  EXPECT_THAT(page,
              AllOf(HasSubstr("Documents that couldn't be used (1)"), HasSubstr("/opt/&lt;i&gt;bad.xml"),
                    HasSubstr("Notes (1)"), HasSubstr("of ID R&amp;D&lt;b&gt; is/are not included"),
                    Not(HasSubstr("Nothing is missing")), HasSubstr("nothing is missing")));
}

TEST(ReportTest, PageAsksNobodyForAnything) {
  const std::string page = pageOf(sample("x\n"));
  EXPECT_THAT(page, HasSubstr("default-src 'none'"));
  for (const char* foreign :
       {"src=\"", "url(", "@import", "http://", "https://", "<link", "<iframe", "<img"}) {
    EXPECT_THAT(page, Not(HasSubstr(foreign)));
  }
}

TEST(ReportTest, HostileTextStaysText) {
  const std::string hostile =
      "</pre></details><script>alert(1)</script><img src=x onerror=alert(1)></textarea>\" onclick=\"x' &amp; "
      "javascript:alert(1) \x1b[2J \xc2\x9b \xff \r end\n";
  SummaryBuilder summary;
  summary.section("<b>T</b>").included("<i>", "a\"><script>", "</td><script>", "1 bytes");
  ZipBuilder zip;
  zip.add({"summary.txt", summary.take()})
      .add({"<b>T<b>/a\"><script>", hostile})
      .add({"x' onload='", hostile});
  const std::string page = pageOf(zip);
  // The page's own script is the only one.
  std::size_t scripts = 0;
  for (std::size_t at = page.find("<script"); at != std::string::npos; at = page.find("<script", at + 1)) {
    ++scripts;
  }
  EXPECT_EQ(scripts, 1U);
  EXPECT_THAT(page,
              AllOf(Not(HasSubstr("<img")), Not(HasSubstr("</textarea")), Not(HasSubstr("\" onclick=\"")),
                    Not(HasSubstr("' onload='")), Not(HasSubstr("<b>T"))));
  EXPECT_EQ(page.find('\x1b'), std::string::npos);
}

TEST(ReportTest, PageOfManyLargeFilesIsBoundedAndSaysSo) {
  std::string text;
  while (text.size() < 2 * kLongestText) {
    text += "<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<\n";
  }
  ZipBuilder zip;
  for (int i = 0; i < 40; ++i) {
    zip.add({"file" + std::to_string(i), text});
  }
  const std::string page = pageOf(zip);
  EXPECT_LT(page.size(), kLongestPage);
  EXPECT_GT(page.size(), kLongestPage / 2);
  EXPECT_THAT(page, AllOf(HasSubstr("The page is full"), HasSubstr("left out here"), HasSubstr(">file39<")));
}

TEST(ReportTest, OnlyItsOwnerMayReadThePage) {
  const TempFolder folder;
  test::writeFile(folder.file("bundle.zip"), sample("x\n").take());
  BundleReader reader;
  ASSERT_EQ(reader.open(folder.file("bundle.zip"), ""), "");
  BundleContent content(reader);
  content.load();
  ASSERT_EQ(writeReport(content, RuleSet(), folder.file("r.html")), "");
  struct stat status = {};
  ASSERT_EQ(stat(folder.file("r.html").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  EXPECT_THAT(writeReport(content, RuleSet(), folder.path()), HasSubstr("is no file"));
  EXPECT_THAT(writeReport(content, RuleSet(), folder.file("none/r.html")), HasSubstr("can't be written"));
}

// A signal left the unfinished page beside its place.
TEST(PageFileTest, NothingIsThereUntilThePageIsWhole) {
  const TempFolder folder;
  {
    PageFile page;
    ASSERT_EQ(page.open(folder.file("r.html")), "");
    page.put("half");
    EXPECT_THAT(test::listFolder(folder.path()), IsEmpty());
  }
  EXPECT_THAT(test::listFolder(folder.path()), IsEmpty());
  test::writeFile(folder.file("r.html"), "older");
  PageFile page;
  ASSERT_EQ(page.open(folder.file("r.html")), "");
  page.put("whole");
  EXPECT_EQ(test::readFile(folder.file("r.html")), "older");
  ASSERT_EQ(page.finish(), "");
  EXPECT_EQ(test::readFile(folder.file("r.html")), "whole");
  EXPECT_EQ(test::listFolder(folder.path()).size(), 1U);
}

// The link was replaced by the page: as root that was /dev/stdout itself.
TEST(PageFileTest, ALinkIsRefusedAndStandardOutputIsKnownByItsNames) {
  const TempFolder folder;
  test::writeFile(folder.file("precious"), "kept");
  std::filesystem::create_symlink("precious", folder.file("link"));
  std::filesystem::create_symlink("/proc/self/fd/1", folder.file("out"));
  for (const char* const name : {"link", "out"}) {
    PageFile page;
    EXPECT_THAT(page.open(folder.file(name)), HasSubstr("is a link, and no page"));
    EXPECT_TRUE(std::filesystem::is_symlink(folder.file(name)));
  }
  EXPECT_EQ(test::readFile(folder.file("precious")), "kept");
  for (const char* const name : {"-", "/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"}) {
    EXPECT_TRUE(isStandardOutput(name)) << name;
  }
  EXPECT_FALSE(isStandardOutput("/dev/fd/2"));
}

FileText readText(const std::string& content) {
  const TempFolder folder;
  test::writeFile(folder.file("bundle.zip"), ZipBuilder().add({"a", content}).take());
  BundleReader reader;
  EXPECT_EQ(reader.open(folder.file("bundle.zip"), ""), "");
  Timeline timeline(0);
  FileText text;
  EntryReader stream(reader);
  EXPECT_EQ(readFileText(stream, 0, timeline, text), "");
  return text;
}

TEST(FileTextTest, ShortFilesAreWhole) {
  EXPECT_EQ(readText("one\ntwo").head, "one\ntwo");
  EXPECT_EQ(readText("one\ntwo").lines, 2U);
  EXPECT_EQ(readText("").lines, 0U);
  std::string whole;
  while (whole.size() + 10 <= kLongestText) {
    whole += "123456789\n";
  }
  const FileText text = readText(whole);
  EXPECT_EQ(text.head, whole);
  EXPECT_EQ(text.leftOut, 0U);
}

TEST(FileTextTest, LongFilesKeepTheirEndsAndLineNumbers) {
  std::string whole;
  int lines = 0;
  while (whole.size() < 5 * kLongestText) {
    whole += "line " + std::to_string(++lines) + "\n";
  }
  const FileText text = readText(whole);
  EXPECT_EQ(text.lines, static_cast<std::uint64_t>(lines));
  EXPECT_EQ(text.head.size() + text.tail.size() + text.leftOut, whole.size());
  EXPECT_EQ(text.head, whole.substr(0, text.head.size()));
  EXPECT_EQ(text.tail, whole.substr(whole.size() - text.tail.size()));
  EXPECT_EQ(text.tail.substr(0, text.tail.find('\n')), "line " + std::to_string(text.tailLine));
  EXPECT_EQ(text.head.back(), '\n');
  EXPECT_LE(text.head.size(), kLongestText / 2);
  EXPECT_LE(text.tail.size(), kLongestText / 2);
}

TEST(FileTextTest, OneLineOfAMegabyteIsCut) {
  const FileText text = readText(std::string(1U << 20U, 'x'));
  EXPECT_EQ(text.lines, 1U);
  EXPECT_EQ(text.head.size(), kLongestText / 2);
  EXPECT_EQ(text.tail.size(), kLongestText / 2);
  EXPECT_EQ(text.tailLine, 1U);
}

TEST(FileTextTest, AHoleOfZerosIsOneMarkAndTheRestIsShown) {
  const std::string hole(kLongestText, '\0');
  const FileText text = readText("text\n" + hole + "\nmore\n");
  EXPECT_FALSE(text.binary);
  EXPECT_EQ(text.head, std::string("text\n\0\nmore\n", 12));
  EXPECT_EQ(text.lines, 3U);
  EXPECT_EQ(text.leftOut, 0U);
}

TEST(FileTextTest, WhatIsNoTextByItsFrontIsNotShown) {
  const FileText text =
      readText(std::string("\x7f"
                           "ELF\2\1\1\0\0text",
                           13));
  EXPECT_TRUE(text.binary);
  EXPECT_EQ(text.head, "");
  EXPECT_TRUE(readText(std::string("\xff\xfe"
                                   "a\0",
                                   4))
                  .binary);
}

TEST(HtmlTest, MarkupControlsAndForeignBytesBecomeText) {
  EXPECT_EQ(htmlText("<a href=\"x\">&'"), "&lt;a href=&quot;x&quot;&gt;&amp;&#39;");
  EXPECT_EQ(htmlText("a\r\nb\tc\rd"),
            "a\nb\tc\xe2\x90\x8d"
            "d");
  EXPECT_EQ(htmlText("\x1b\x7f"), "\xe2\x90\x9b\xe2\x90\xa1");
  EXPECT_EQ(htmlText("\xc2\x9b"), "\xef\xbf\xbd\xef\xbf\xbd");
  EXPECT_EQ(htmlText("\xff\xc0\xaf\xed\xa0\x80"),
            "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd");
  EXPECT_EQ(htmlText("\xc3\xa4\xe4\xbd\xa0\xf0\x9f\x98\x80"), "\xc3\xa4\xe4\xbd\xa0\xf0\x9f\x98\x80");
  EXPECT_EQ(htmlText("\xe4\xbd"), "\xef\xbf\xbd\xef\xbf\xbd");
}

TEST(TimelineTest, LinesAreCountedByTheMinute) {
  Timeline timeline(20527LL * 86400 + 11LL * 3600);  // 2026-03-15 11:00
  timeline.add("2026-03-15 10:40:00 up");
  timeline.add("2026-03-15 10:40:59 ERROR down");
  timeline.add("Mar 15 10:42:07 h tm[1]: connection refused");
  timeline.add("10:43:00 a time of day");
  timeline.add("2033-03-15 10:40:00 not yet");
  timeline.add("no time");
  EXPECT_EQ(timeline.lines(), 4U);
  EXPECT_EQ(timeline.errors(), 2U);
  EXPECT_THAT(timeline.html(), HasSubstr("One line has a time later than the bundle, not counted here."));
  EXPECT_THAT(timeline.html(), AllOf(HasSubstr("from 2026-03-15 10:40 to 2026-03-15 10:44"),
                                     HasSubstr("2026-03-15 10:40: 2 lines a minute, 1 errors"),
                                     HasSubstr("a bar is a minute")));
}

TEST(TimelineTest, LongAndEmptyTimesAreDrawnInBounds) {
  EXPECT_THAT(Timeline(0).html(), HasSubstr("No line has a time"));
  Timeline timeline(20527LL * 86400);
  for (int day = 1; day <= 28; ++day) {
    for (int hour = 10; hour < 24; ++hour) {
      timeline.add("2026-02-" + std::string(day < 10 ? "0" : "") + std::to_string(day) + " " +
                   std::to_string(hour) + ":00:00 x");
    }
  }
  EXPECT_LT(timeline.html().size(), 100000U);
  EXPECT_THAT(timeline.html(), HasSubstr("older than 14 days"));
}

TEST(TimelineTest, FewLinesInLongBarsAreNotRoundedAway) {
  Timeline timeline(20527LL * 86400);
  timeline.add("02 Mar 2026 10:42:07 error");
  timeline.add("Mar 9, 2026 10:42:07 error");
  EXPECT_THAT(timeline.html(), AllOf(HasSubstr("2026-03-02 10:42: 1 lines in 43 minutes, 1 errors"),
                                     HasSubstr("from 2026-03-02 10:42 to 2026-03-09 10:43"),
                                     HasSubstr("the highest has 1 lines in 43 minutes.")));
}

TEST(TimelineTest, WordsOfErrorsAreKnownInAnyCase) {
  EXPECT_TRUE(tellsError("an ERROR"));
  EXPECT_TRUE(tellsError("Failed"));
  EXPECT_TRUE(tellsError("x: Permission denied"));
  EXPECT_FALSE(tellsError("err fai panc"));
  EXPECT_FALSE(tellsError(""));
}

}  // namespace
}  // namespace halvo

// The report's text: wrapping, tables, headings.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>

#include "tests/support/FileSizeLimit.h"
#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/EngineSupport_test.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/collector.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

std::vector<std::string> wrapped(std::string text, std::size_t width) {
  std::vector<std::string> lines;
  do {
    lines.push_back(wrapText(text, width));
  } while (!text.empty());
  return lines;
}

TEST(WrapTextTest, AShortTextIsOneLine) {
  EXPECT_THAT(wrapped("", 10), ElementsAre(""));
  EXPECT_THAT(wrapped("word", 10), ElementsAre("word"));
  EXPECT_THAT(wrapped(std::string(40, 'x'), 40), ElementsAre(std::string(40, 'x')));
}

TEST(WrapTextTest, BreaksAtTheLastBlankInsideTheWidth) {
  const std::string text = std::string(39, 'x') + " y";
  EXPECT_THAT(wrapped(text, 40), ElementsAre(std::string(39, 'x'), "y"));
  EXPECT_THAT(wrapped("one two three", 8), ElementsAre("one two", "three"));
}

TEST(WrapTextTest, ABlankJustBehindTheWidthIsntSeen) {
  // The search starts at the width's last byte; a word that ends there is cut at the blank before it.
  EXPECT_THAT(wrapped("ab cdefg hi", 8), ElementsAre("ab", "cdefg hi"));
}

TEST(WrapTextTest, AHardCutKeepsOneColumnLessThanTheWidth) {
  EXPECT_THAT(wrapped(std::string(30, 'x'), 28), ElementsAre(std::string(27, 'x'), "xxx"));
  EXPECT_THAT(wrapped(std::string(41, 'x'), 40), ElementsAre(std::string(39, 'x'), "xx"));
}

TEST(WrapTextTest, WhiteSpaceAloneCountsAsEmpty) {
  EXPECT_THAT(wrapped(" \t\r\n\v\f", 4), ElementsAre(""));
}

TEST(WrapTextTest, LeadingWhiteSpaceGoesAndBytesAboveTheAsciiStay) {
  EXPECT_THAT(wrapped("\n  a", 5), ElementsAre("a"));
  EXPECT_THAT(wrapped("\xa0\x85x", 5), ElementsAre("\xa0\x85x"));
}

TEST(WrapTextTest, BytesAboveTheAsciiAreNoBreak) {
  EXPECT_THAT(wrapped("aaaa\xa0"
                      "bbbb",
                      8),
              ElementsAre("aaaa\xa0"
                          "bb",
                          "bb"));
}

TEST(WrapTextTest, ABreakMayBeAnyWhiteSpaceAndTheRestOfARunGoesToo) {
  EXPECT_THAT(wrapped("one\ntwo \t three", 9), ElementsAre("one\ntwo ", "three"));
  EXPECT_THAT(wrapped("one\nthree", 5), ElementsAre("one", "three"));
}

TEST(WrapTextTest, ATextThatEndsInABlankBehindTheBreakHasOneLineMore) {
  // What is left is a blank: text, as far as the caller is told, which the next line shows as empty.
  EXPECT_THAT(wrapped("aaaa bbbb  ", 10), ElementsAre("aaaa bbbb", ""));
}

class SummaryTextTest : public ::testing::Test {
 protected:
  SummaryTextTest() { makeFolders(m_Folder.file("work/config")); }

  void collect(const std::string& config) {
    std::string folder = m_Folder.file("work/config");
    EXPECT_RESULT(m_Collector.Collect(folder, parseDocument(config).get(), 0), 0);
  }
  [[nodiscard]] std::string summary() const { return readFile(m_Folder.file("work/summary.txt")); }
  // The text behind the first rule of "=".
  [[nodiscard]] std::string section() const {
    const std::string text = summary();
    return text.substr(text.find("=\n") + 2);
  }

  static std::string padded(const std::string& text, std::size_t width) {
    return text + std::string(width - text.size(), ' ');
  }

  LogRecorder m_Log;
  TempFolder m_Folder;
  XMLObject m_Request;
  std::list<DataComponent*> m_Unprocessed;
  collector m_Collector{&m_Request, m_Unprocessed, 92, "bundle"};
};

const std::string kHeading =
    "Files Included in Bundle:\n"
    "ID                 Filename                      Description                               File Size "
    "\n" +
    std::string(101, '-') + "\n";

TEST_F(SummaryTextTest, TheFirstSectionHasTheHeadingAndTheMainInformation) {
  const ScopedEnv user("USER", "somebody");
  collect(documentText("Title", ""));
  EXPECT_THAT(summary(), StartsWith("TOLM BUNDLE SUMMARY\n\nTime:                         "));
  EXPECT_THAT(summary(), HasSubstr("\nOS:                           " + helperUtil::osDescription() + "\n"));
  EXPECT_THAT(summary(), HasSubstr("\nUser Name:                    somebody\n"));
  EXPECT_THAT(summary(), HasSubstr("\nBundle on client computer:    " + helperUtil::currentDirectory() +
                                   "/bundle\n\n" + std::string(141, '=') + "\nTitle:\n\n"));
}

TEST_F(SummaryTextTest, TheTimeIsThatOfTheFirstConfigsEndInTheHostsWords) {
  const std::time_t before = std::time(nullptr);
  collect(documentText("Title", ""));
  const std::time_t after = std::time(nullptr);
  const std::string text = summary();
  std::tm printed = {};
  std::tm local = {};
  localtime_r(&after, &local);
  const char* const rest =
      strptime(text.c_str() + text.find("\nTime:") + 31, "%c", &printed);  // the label is 30 wide
  ASSERT_NE(rest, nullptr) << text;
  EXPECT_EQ(std::string(rest).rfind("\nOS:", 0), 0U) << text;
  printed.tm_isdst = local.tm_isdst;
  const std::time_t time = std::mktime(&printed);
  EXPECT_GE(time, before);
  EXPECT_LE(time, after);
}

TEST_F(SummaryTextTest, AConfigWithoutFilesPrintsTwoRulesWithNothingBetween) {
  collect(documentText("Title", ""));
  EXPECT_EQ(section(), "Title:\n\n" + kHeading + std::string(101, '-') + "\n");
}

TEST_F(SummaryTextTest, AConfigWithoutATitlePrintsALoneColon) {
  collect("<c/>");
  EXPECT_THAT(section(), StartsWith(":\n\nFiles Included"));
}

TEST_F(SummaryTextTest, SeveralConfigsHaveOneHeadingAndARuleEach) {
  collect(documentText("One", ""));
  collect(documentText("Two", ""));
  const std::string text = summary();
  EXPECT_EQ(text.find("TOLM BUNDLE SUMMARY"), text.rfind("TOLM BUNDLE SUMMARY"));
  std::size_t rules = 0;
  for (std::size_t at = text.find(std::string(141, '=')); at != std::string::npos;
       at = text.find(std::string(141, '='), at + 141)) {
    ++rules;
  }
  EXPECT_EQ(rules, 2U);
  for (const char* label : {"\nTime:", "\nOS:", "\nUser Name:", "\nBundle on client computer:"}) {
    EXPECT_EQ(text.find(label), text.rfind(label)) << label;
  }
  EXPECT_THAT(text, HasSubstr(std::string(101, '-') + "\n\n" + std::string(141, '=') + "\nTwo:\n\n"));
}

TEST_F(SummaryTextTest, RowsAreWrappedCellByCellAndPaddedToTheLastColumn) {
  const std::string longName = std::string(30, 'n') + ".log";
  writeFile(m_Folder.file("src/" + longName), std::string(1536, 'x'));
  collect(documentText("T", "<file id=\"short\"><description>" + std::string(41, 'd') +
                                "</description><default>true</default><tolm>" + osStart() +
                                copyAction(m_Folder.file("src/*")) + "</os></tolm></file>"));
  EXPECT_EQ(section(), "T:\n\n" + kHeading +                                                                //
                           padded("short", 17) + "  " + padded(std::string(27, 'n'), 28) + "  " +           //
                           padded(std::string(39, 'd'), 40) + "  " + padded("1.50K", 10) + "\n" +           //
                           std::string(17, ' ') + "  " + padded("nnn.log", 28) + "  " + padded("dd", 40) +  //
                           "  " + std::string(10, ' ') + "\n" + std::string(101, '-') + "\n");
}

TEST_F(SummaryTextTest, ACellThatHoldsABlankBehindItsBreakHasOneRowMore) {
  writeFile(m_Folder.file("src/" + std::string(27, 'n') + "  "), "");
  collect(documentText("T", itemText("a", copyAction(m_Folder.file("src/*")))));
  EXPECT_EQ(section(), "T:\n\n" + kHeading +                                                   //
                           padded("a", 17) + "  " + padded(std::string(27, 'n'), 28) + "  " +  //
                           padded("about a", 40) + "  " + padded("0 bytes", 10) + "\n" +       //
                           std::string(101, ' ') + "\n" + std::string(101, '-') + "\n");
}

TEST_F(SummaryTextTest, TheUsersCommentsAreListedLikeAGatheredFile) {
  const auto request = parseDocument("<r><comments>It broke</comments></r>");
  collector some(request.get(), m_Unprocessed, 92, "bundle");
  std::string folder = m_Folder.file("work/config");
  EXPECT_RESULT(some.Collect(folder, parseDocument(documentText("T", "")).get(), 0), 0);
  EXPECT_EQ(readFile(m_Folder.file("work/comments.txt")), "Comments from Tessarmont user:\nIt broke");
  EXPECT_EQ(section(), "T:\n\n" + kHeading +                                                         //
                           padded("comments", 17) + "  " + padded("comments.txt", 28) + "  " +       //
                           padded("Tessarmont user comments", 40) + "  " + padded("39 bytes", 10) +  //
                           "\n" + std::string(101, '-') + "\n");
}

TEST_F(SummaryTextTest, AFullDiskIsNotLookedAt) {
  {
    const FileSizeLimit full(100);
    collect(documentText("T", ""));
  }
  EXPECT_EQ(summary().size(), 100U);
  // Nothing of it changes the result; the log alone has the loss.
  EXPECT_EQ(m_Log.records().size(), 1U) << m_Log.dump();
}

TEST_F(SummaryTextTest, ALinkADeviceOrAPipeInTheSummarysPlaceFailsTheConfig) {
  const std::string path = m_Folder.file("work/summary.txt");
  writeFile(m_Folder.file("precious"), "precious");
  for (const std::string& target : {m_Folder.file("precious"), std::string("/dev/full"), std::string()}) {
    unlink(path.c_str());
    ASSERT_EQ(target.empty() ? mkfifo(path.c_str(), 0600) : symlink(target.c_str(), path.c_str()), 0);
    std::string folder = m_Folder.file("work/config");
    EXPECT_RESULT(m_Collector.Collect(folder, parseDocument(documentText("T", "")).get(), 0),
                  TOLMENGINE_ERROR_FILE_OPEN_FAILURE);
    EXPECT_TRUE(m_Log.has(kLogError, "fopen failed to open file"));
  }
  EXPECT_EQ(readFile(m_Folder.file("precious")), "precious");
}

TEST_F(SummaryTextTest, WhatStandsInTheFileAlreadyIsKept) {
  writeFile(m_Folder.file("work/summary.txt"), "earlier\n");
  collect(documentText("T", ""));
  EXPECT_THAT(summary(), StartsWith("earlier\nTOLM BUNDLE SUMMARY\n"));
}

TEST_F(SummaryTextTest, OmittedFilesAndNotesHaveTheirTables) {
  collect(documentText("T", itemText("gone", copyAction("/nowhere/at/all/*.log")) +
                                itemText("extra", copyAction("/x"), "false")));
  EXPECT_EQ(section(),
            "T:\n\n" + kHeading + std::string(101, '-') + "\n" + "\n\nFiles Omitted from Bundle:\n" +
                padded("ID", 17) + "  " + padded("Filename", 28) + "  " + padded("Description", 40) + "  " +
                padded("Reason Omitted", 50) + "\n" + std::string(141, '-') + "\n" + padded("gone", 17) +
                "  " + padded("N/A", 28) + "  " + padded("about gone", 40) + "  " +
                padded("No file found with path matching:", 50) + "\n" + std::string(17, ' ') + "  " +
                std::string(28, ' ') + "  " + std::string(40, ' ') + "  " +
                padded("/nowhere/at/all/*.log", 50) + "\n" + std::string(141, '-') + "\n" + "\n\nNotes:\n" +
                " - The file(s) of ID extra is/are not included by default by this config.\n");
}

TEST_F(SummaryTextTest, NeitherHeadingIsPrintedWithoutOmittedFilesAndNotes) {
  collect(documentText("T", ""));
  EXPECT_THAT(summary(), Not(HasSubstr("Omitted")));
  EXPECT_THAT(summary(), Not(HasSubstr("Notes")));
}

TEST_F(SummaryTextTest, TwoFilesOfOneIdAreTwoRows) {
  writeFile(m_Folder.file("src/a"), "");
  writeFile(m_Folder.file("src/b"), "");
  collect(documentText("T", itemText("same", copyAction(m_Folder.file("src/*")))));
  EXPECT_THAT(section(), HasSubstr("\nsame               a  "));
  EXPECT_THAT(section(), HasSubstr("\nsame               b  "));
}

TEST_F(SummaryTextTest, FormatsAreNotAppliedToTexts) {
  writeFile(m_Folder.file("src/100%s%n"), "");
  collect(documentText("50%d", itemText("%n", copyAction(m_Folder.file("src/*")))));
  EXPECT_THAT(section(), StartsWith("50%d:\n"));
  EXPECT_THAT(section(), HasSubstr("\n%n                 100%s%n  "));
}

TEST(SummaryFillersTest, EntriesStandInTheOrderOfTheCallsWithTheirAttributes) {
  const LogRecorder log;
  XMLObject summary("summary", "");
  summary.AddChild(summary.GetRoot(), "Manifest_Not_Included", "");
  summary.AddChild(summary.GetRoot(), "Other_Note", "");
  EXPECT_RESULT(helperUtil::fillSummaryFailedFile(&summary, "z", "name", "what", "why"), 0);
  EXPECT_RESULT(helperUtil::fillSummaryFailedFile(&summary, "a", "", "", ""), 0);
  EXPECT_RESULT(helperUtil::fillSummaryFailedFile(&summary, "z", "name", "what", "why"), 0);
  EXPECT_RESULT(helperUtil::fillSummaryNote(&summary, "one\ntwo"), 0);
  std::vector<std::string> entries;
  for (const auto& section : summary.GetRoot()->GetChildren()) {
    for (const auto& entry : section->GetChildren()) {
      std::string text = entry->GetName() + "=" + entry->GetValue();
      for (const auto& attribute : entry->GetAttributes()) {
        text += "," + attribute->GetName() + "=" + attribute->GetValue();
      }
      entries.push_back(text);
    }
  }
  EXPECT_THAT(entries, ElementsAre("z=name,description=what,reason=why", "a=,description=,reason=",
                                   "z=name,description=what,reason=why", " - =one\ntwo"));
  EXPECT_EQ(log.records().size(), 0U) << log.dump();
}

TEST(SummaryFillersTest, TellAnUnusableSummary) {
  XMLObject empty;
  XMLObject bare("summary", "");
  struct Case {
    XMLObject* summary;
    ResultCode code;
    const char* fileText;
    const char* noteText;
  };
  for (const Case& one :
       {Case{nullptr, TOLMENGINE_ERROR_BAD_PARAMETER, "pXMLSummary is NULL", "pXMLSummary is NULL"},
        Case{&empty, TOLMENGINE_ERROR_NULL_XML_ROOT, "pXMLSummary->GetRoot() is NULL",
             "pXMLSummary->GetRoot() is NULL"},
        Case{&bare, TOLMENGINE_ERROR_NULL_XML_CHILD, "pDCFailedFiles is NULL", "pDCNoteComponent is NULL"}}) {
    const LogRecorder log;
    EXPECT_RESULT(helperUtil::fillSummaryFailedFile(one.summary, "a", "b", "c", "d"), one.code);
    EXPECT_RESULT(helperUtil::fillSummaryNote(one.summary, "e"), one.code);
    const std::vector<LogRecord> records = log.records();
    ASSERT_EQ(records.size(), 2U) << log.dump();
    EXPECT_EQ(records[0].field("Function"), "fillSummaryFailedFile");
    EXPECT_EQ(records[0].text(), one.fileText);
    EXPECT_EQ(records[1].field("Function"), "fillSummaryNote");
    EXPECT_EQ(records[1].text(), one.noteText);
    for (const LogRecord& record : records) {
      EXPECT_EQ(record.level, kLogError) << record.message;
      EXPECT_EQ(record.messageId, MID_DEBUG_MESSAGE) << record.message;
    }
  }
  EXPECT_TRUE(bare.GetRoot()->GetChildren().empty());
}

}  // namespace
}  // namespace halvo

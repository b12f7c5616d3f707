#include "vpn/tools/TOLM/TOLMBundle/Summary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"
#include "vpn/tools/TOLM/TOLMBundle/OpenedBundle_test.h"
#include "vpn/tools/TOLM/TOLMBundle/SummaryBuilder_test.h"
#include "vpn/tools/TOLM/TOLMBundle/ZipBuilder_test.h"

namespace halvo {
namespace {

using test::OpenedBundle;
using test::SummaryBuilder;
using test::ZipBuilder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

std::string golden(const std::string& name) {
  return test::readFile(test::sourcePath("tests/system/golden/" + name + "/summary.txt"));
}

TEST(SummaryTest, GoldenSummaryOfADefaultRunIsReadWhole) {
  const Summary summary = readSummary(golden("default_run"));
  EXPECT_EQ(summary.fault, "");
  EXPECT_EQ(summary.time, "Sun Mar 15 10:42:07 2026");
  EXPECT_EQ(summary.os, "Debian GNU/Linux: 12.0.0");
  EXPECT_EQ(summary.user, "tester");
  EXPECT_EQ(summary.bundlePath, "/tmp/golden.zip");
  ASSERT_THAT(summary.sections, SizeIs(1));
  const SummarySection& section = summary.sections[0];
  EXPECT_EQ(section.title, "Client logs");
  ASSERT_THAT(section.included, SizeIs(4));
  EXPECT_EQ(section.included[0].id, "agent");
  EXPECT_EQ(section.included[0].name, "agent.log");
  EXPECT_EQ(section.included[0].description, "The agent's own log, which it rotates once a day at midnight");
  EXPECT_EQ(section.included[0].last, "1.50K");
  EXPECT_EQ(section.included[1].name, "a-log-with-a-name-that-is-longer-than-its-column.log");
  EXPECT_EQ(section.included[2].id, "an-id-of-more-than-seventeen-bytes");
  ASSERT_THAT(section.omitted, SizeIs(4));
  EXPECT_EQ(section.omitted[0].name, "no_output");
  EXPECT_EQ(section.omitted[0].last,
            "TOLM cannot access temporary output at: /tmp/golden/no_output as specified by Config");
  EXPECT_EQ(section.omitted[3].name, "dangling");
  EXPECT_THAT(section.notDefault, ElementsAre("optional"));
  EXPECT_THAT(summary.unknownIds, IsEmpty());
  EXPECT_THAT(summary.failedDocuments, IsEmpty());
}

TEST(SummaryTest, GoldenSummaryOfARequestIsReadWhole) {
  const Summary summary = readSummary(golden("request_run"));
  EXPECT_EQ(summary.fault, "");
  EXPECT_THAT(summary.sections, ::testing::Not(IsEmpty()));
}

// As an editor of another system leaves it.
TEST(SummaryTest, SummaryWithForeignLineEndsIsReadWhole) {
  const std::string text = golden("default_run");
  std::string foreign = "\xef\xbb\xbf";
  for (const char c : text) {
    foreign += c == '\n' ? "\r\n" : std::string(1, c);
  }
  for (const std::string& changed : {foreign, foreign.substr(3), "\xef\xbb\xbf" + text}) {
    EXPECT_TRUE(isSummary(changed.substr(0, 64)));
    const Summary summary = readSummary(changed);
    EXPECT_EQ(summary.fault, "");
    ASSERT_THAT(summary.sections, SizeIs(1));
    EXPECT_THAT(summary.sections[0].included, SizeIs(4));
    EXPECT_EQ(summary.user, readSummary(text).user);
  }
}

TEST(SummaryTest, NotesOfSeveralLinesStayTogether) {
  std::string text = golden("default_run");
  const std::string note = " - The file(s) of ID optional is/are not included by default by this config.\n";
  text.replace(
      text.find(note), note.size(),
      " - *1: When the request\n         goes on\n - The file(s) of ID two\nlines is/are not included by "
      "default by this config.\n - last\n");
  const Summary summary = readSummary(text);
  EXPECT_EQ(summary.fault, "");
  EXPECT_THAT(
      summary.sections[0].notes,
      ElementsAre("*1: When the request\n         goes on",
                  "The file(s) of ID two\nlines is/are not included by default by this config.", "last"));
  EXPECT_THAT(summary.sections[0].notDefault, ElementsAre("two\nlines"));
}

TEST(SummaryTest, NoteOnALongIdIsRead) {
  std::string text = golden("default_run");
  const std::string id = "long\n" + std::string(20000, 'x');
  const std::string end = " is/are not included by default by this config.\n";
  const std::size_t note = text.find(end) + end.size();
  text.insert(note, " - The file(s) of ID " + id + end + " - The file(s) of ID last" + end);
  const Summary summary = readSummary(text);
  EXPECT_EQ(summary.fault, "");
  EXPECT_THAT(summary.sections[0].notDefault, ElementsAre("optional", id, "last"));
}

// The search for the end isn't made anew for each.
TEST(SummaryTest, NotesWithoutAnEndAreLinesOfTheirOwn) {
  std::string text = golden("default_run");
  const std::size_t note = text.find(" - The file(s) of ID");
  text.resize(note);
  constexpr std::size_t kMany = 100000;
  for (std::size_t i = 0; i < kMany; ++i) {
    text += " - The file(s) of ID x\n";
  }
  const Summary summary = readSummary(text);
  EXPECT_THAT(summary.sections[0].notDefault, IsEmpty());
  ASSERT_THAT(summary.sections[0].notes, SizeIs(kMany));
  EXPECT_EQ(summary.sections[0].notes.back(), "The file(s) of ID x");
}

TEST(SummaryTest, OfAListWithoutAnEndItsFrontIsKept) {
  std::string text = golden("default_run");
  constexpr std::size_t kMany = 200000;
  const Summary summary = readSummary(text + std::string(kMany, '\n'));
  EXPECT_EQ(summary.unknownIds.size(), kMany / 2);
  EXPECT_THAT(summary.fault, HasSubstr("a list has more than 100000 lines"));
  EXPECT_EQ(readSummary(text + std::string(kMany / 2, '\n')).fault, "");
}

// Bytes that pack to nothing took hundreds of megabytes.
TEST(SummaryTest, ASummaryIsReadAsFarAsTheBundlesFilesMayFill) {
  SummaryBuilder builder;
  builder.section("Logs");
  constexpr std::size_t kRows = 125000;  // of 142 bytes
  for (std::size_t i = 0; i < kRows; ++i) {
    builder.omitted("a", "N/A", "", "No file found");
  }
  ZipBuilder zip = ZipBuilder().add({"summary.txt", builder.take()});
  const OpenedBundle small(zip);
  EXPECT_EQ(small->fault(), "the summary has more than 16 MiB; the rest isn't read");
  EXPECT_GT(small->missing().size(), kRows * 9 / 10);
  for (int i = 0; i < 20000; ++i) {
    zip.add({"Logs/" + std::to_string(i), ""});
  }
  const OpenedBundle large(zip);
  EXPECT_EQ(large->fault(), "");
  EXPECT_THAT(large->missing(), SizeIs(kRows));
}

TEST(SummaryTest, CutSummaryGivesWhatIsThereAndAFault) {
  const std::string text = golden("default_run");
  const std::size_t table = text.find("an-seventeen-byt");
  const Summary summary = readSummary(text.substr(0, table));
  EXPECT_THAT(summary.fault, HasSubstr("a table can't be made out"));
  EXPECT_THAT(summary.sections[0].included, SizeIs(3));
  for (std::size_t size = 0; size < text.size(); size += 7) {
    readSummary(text.substr(0, size));
  }
}

TEST(SummaryTest, ForeignTextIsAFaultAndNothingElse) {
  const Summary summary = readSummary("hello\nworld\n");
  EXPECT_THAT(summary.fault, HasSubstr("can't be made out"));
  EXPECT_THAT(summary.sections, IsEmpty());
}

TEST(SummaryTest, KeyIsTheLinesOfATable) {
  EXPECT_EQ(wrappedKey("short", 17), "short");
  EXPECT_EQ(wrappedKey("an-id-of-more-than-seventeen-bytes", 17), "an-id-of-more-th\nan-seventeen-byt\nes");
  EXPECT_EQ(wrappedKey("  two words here and more ", 10), "two words\nhere and\nmore");
  EXPECT_EQ(wrappedKey("   ", 10), "");
}

}  // namespace
}  // namespace halvo

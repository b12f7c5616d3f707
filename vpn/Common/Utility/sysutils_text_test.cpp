#include <gtest/gtest.h>
#include <sys/resource.h>

#include <string>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/ForkedCase.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Utility/sysutils.h"

namespace halvo {

namespace {

class TextFileTest : public ::testing::Test {
 protected:
  // Checks that the one record is an error of `function` with `text`, and forgets it.
  void expectError(const std::string& function, const std::string& text) {
    ASSERT_EQ(m_log.records().size(), 1U) << m_log.dump();
    EXPECT_EQ(m_log.records()[0].level, kLogError);
    EXPECT_EQ(m_log.records()[0].messageId, MID_DEBUG_MESSAGE);
    EXPECT_EQ(m_log.records()[0].field("Function"), function);
    EXPECT_EQ(m_log.records()[0].text(), text);
    m_log.clear();
  }
  void expectSilence() const { EXPECT_TRUE(m_log.records().empty()) << m_log.dump(); }

  void write(const std::string& content) const { test::writeFile(m_strFile, content); }
  std::string content() const { return test::readFile(m_strFile); }

  test::TempFolder m_folder;
  std::string m_strFile = m_folder.file("lines.txt");
  std::string m_strMissing = m_folder.file("missing/lines.txt");
  test::LogRecorder m_log;
};

TEST_F(TextFileTest, SetReplacesTheContent) {
  write("a longer text than the new one\n");
  EXPECT_RESULT(SetTextFileContents(m_strFile, "new\ntext"), 0);
  EXPECT_EQ(content(), "new\ntext");
  expectSilence();
}

TEST_F(TextFileTest, SetTakesAnEmptyText) {
  write("old");
  EXPECT_RESULT(SetTextFileContents(m_strFile, ""), 0);
  EXPECT_EQ(content(), "");
  expectSilence();
}

TEST_F(TextFileTest, SetRefusesAnEmptyName) {
  EXPECT_RESULT(SetTextFileContents("", "text"), GLOBAL_ERROR_BAD_PARAMETER);
  expectError("SetTextFileContents", "File name argument is invalid");
}

TEST_F(TextFileTest, SetLogsAFileThatCantBeOpened) {
  EXPECT_RESULT(SetTextFileContents(m_strMissing, "text"), GLOBAL_ERROR_UNEXPECTED);
  expectError("SetTextFileContents", "Failed to open file " + m_strMissing);
}

TEST_F(TextFileTest, SetLogsAFullDisk) {
  EXPECT_RESULT(SetTextFileContents("/dev/full", "text"), GLOBAL_ERROR_UNEXPECTED);
  expectError("SetTextFileContents", "Failed to update file /dev/full");
  EXPECT_RESULT(SetTextFileContents("/dev/full", std::string(1000000, 'x')), GLOBAL_ERROR_UNEXPECTED);
  expectError("SetTextFileContents", "Failed to update file /dev/full");
}

TEST_F(TextFileTest, AppendAddsALineAtTheEnd) {
  EXPECT_RESULT(AppendLineToFile(m_strFile, "first"), 0);
  EXPECT_RESULT(AppendLineToFile(m_strFile, "second"), 0);
  EXPECT_EQ(content(), "first\nsecond\n");
  expectSilence();
}

TEST_F(TextFileTest, AppendRefusesEmptyArguments) {
  EXPECT_RESULT(AppendLineToFile("", "line"), GLOBAL_ERROR_BAD_PARAMETER);
  expectError("AppendLineToFile", "At least one argument is invalid");
  EXPECT_RESULT(AppendLineToFile(m_strFile, ""), GLOBAL_ERROR_BAD_PARAMETER);
  expectError("AppendLineToFile", "At least one argument is invalid");
  EXPECT_FALSE(test::exists(m_strFile));
}

TEST_F(TextFileTest, AppendLogsAFileThatCantBeOpenedAndAFullDisk) {
  EXPECT_RESULT(AppendLineToFile(m_strMissing, "line"), GLOBAL_ERROR_UNEXPECTED);
  expectError("AppendLineToFile", "Failed to open file " + m_strMissing);
  EXPECT_RESULT(AppendLineToFile("/dev/full", "line"), GLOBAL_ERROR_UNEXPECTED);
  expectError("AppendLineToFile", "Failed to append to file /dev/full");
}

TEST_F(TextFileTest, SearchFindsALineWhateverItsLineEndAndWhiteSpaceBeforeIt) {
  write("one\ntwo \t\r\n  three\nlast");
  EXPECT_TRUE(SeachFileForMatchingLine(m_strFile, "one"));
  EXPECT_TRUE(SeachFileForMatchingLine(m_strFile, "two"));
  EXPECT_TRUE(SeachFileForMatchingLine(m_strFile, "last"));
  EXPECT_TRUE(SeachFileForMatchingLine(m_strFile, "  three"));
  EXPECT_FALSE(SeachFileForMatchingLine(m_strFile, "three"));
  EXPECT_FALSE(SeachFileForMatchingLine(m_strFile, "on"));
  EXPECT_FALSE(SeachFileForMatchingLine(m_strFile, "One"));
  EXPECT_FALSE(SeachFileForMatchingLine(m_strFile, "two \t"));
  expectSilence();
}

TEST_F(TextFileTest, SearchComparesLinesOfAnyLength) {
  const std::string longLine(100000, 'x');
  write("short\n" + longLine + "\n");
  EXPECT_TRUE(SeachFileForMatchingLine(m_strFile, longLine));
  EXPECT_FALSE(SeachFileForMatchingLine(m_strFile, longLine.substr(1)));
}

TEST_F(TextFileTest, SearchRefusesEmptyArguments) {
  EXPECT_FALSE(SeachFileForMatchingLine("", "line"));
  expectError("SeachFileForMatchingLine", "At least one argument is invalid");
  write("\n");
  EXPECT_FALSE(SeachFileForMatchingLine(m_strFile, ""));
  expectError("SeachFileForMatchingLine", "At least one argument is invalid");
}

TEST_F(TextFileTest, SearchLogsAFileThatCantBeOpenedOrRead) {
  EXPECT_FALSE(SeachFileForMatchingLine(m_strMissing, "line"));
  expectError("SeachFileForMatchingLine", "Failed to open file " + m_strMissing);
  EXPECT_FALSE(SeachFileForMatchingLine(m_folder.path(), "line"));
  expectError("SeachFileForMatchingLine", "Failed to inspect all lines in file " + m_folder.path());
}

TEST_F(TextFileTest, RemoveLeavesOutEachMatchingLineAndKeepsTheBytesOfTheOthers) {
  write("keep \r\ngone\nkeep too\t\ngone \r\nlast");
  EXPECT_RESULT(RemoveFromFileMatchingLine(m_strFile, "gone"), 0);
  EXPECT_EQ(content(), "keep \r\nkeep too\t\nlast");
  expectSilence();
}

TEST_F(TextFileTest, RemoveOfTheOnlyLineLeavesAnEmptyFile) {
  write("gone\n");
  EXPECT_RESULT(RemoveFromFileMatchingLine(m_strFile, "gone"), 0);
  EXPECT_EQ(content(), "");
  expectSilence();
}

TEST_F(TextFileTest, RemoveWithoutAMatchLeavesTheContent) {
  const std::string zeroBytes("a\0b\nc", 5);
  write(zeroBytes);
  EXPECT_RESULT(RemoveFromFileMatchingLine(m_strFile, "a"), 0);
  EXPECT_EQ(content(), zeroBytes);
}

TEST_F(TextFileTest, RemoveRefusesEmptyArguments) {
  EXPECT_RESULT(RemoveFromFileMatchingLine("", "line"), GLOBAL_ERROR_BAD_PARAMETER);
  expectError("RemoveFromFileMatchingLine", "At least one argument is invalid");
  EXPECT_RESULT(RemoveFromFileMatchingLine(m_strFile, ""), GLOBAL_ERROR_BAD_PARAMETER);
  expectError("RemoveFromFileMatchingLine", "At least one argument is invalid");
}

TEST_F(TextFileTest, RemoveLogsAFileThatCantBeOpenedOrRead) {
  EXPECT_RESULT(RemoveFromFileMatchingLine(m_strMissing, "line"), GLOBAL_ERROR_UNEXPECTED);
  expectError("RemoveFromFileMatchingLine", "Failed to open file " + m_strMissing);
  EXPECT_RESULT(RemoveFromFileMatchingLine(m_folder.path(), "line"), GLOBAL_ERROR_UNEXPECTED);
  expectError("RemoveFromFileMatchingLine", "Failed to fully inspect file " + m_folder.path());
}

TEST_F(TextFileTest, InsertPutsTheLineBeforeTheMatchingOne) {
  write("a\nmatch \r\nb\n");
  EXPECT_RESULT(insertIntoFilePrePostMatchingLine(m_strFile, "match", "new", true), 0);
  EXPECT_EQ(content(), "a\nnew\nmatch \r\nb\n");
  expectSilence();
}

TEST_F(TextFileTest, InsertPutsTheLineBehindTheMatchingOne) {
  write("a\nmatch\nb\n");
  EXPECT_RESULT(insertIntoFilePrePostMatchingLine(m_strFile, "match", "new", false), 0);
  EXPECT_EQ(content(), "a\nmatch\nnew\nb\n");
}

TEST_F(TextFileTest, InsertBehindALastLineWithoutALineFeedBeginsALine) {
  write("a\nmatch");
  EXPECT_RESULT(insertIntoFilePrePostMatchingLine(m_strFile, "match", "new", false), 0);
  EXPECT_EQ(content(), "a\nmatch\nnew\n");
}

TEST_F(TextFileTest, InsertWithoutAMatchLeavesTheContent) {
  write("a\nb");
  EXPECT_RESULT(insertIntoFilePrePostMatchingLine(m_strFile, "match", "new", true), 0);
  EXPECT_EQ(content(), "a\nb");
}

TEST_F(TextFileTest, InsertRefusesEmptyArguments) {
  const char* const arguments[][3] = {{"", "match", "line"}, {"path", "", "line"}, {"path", "match", ""}};
  for (const auto& [path, match, line] : arguments) {
    EXPECT_RESULT(insertIntoFilePrePostMatchingLine(path, match, line, true), GLOBAL_ERROR_BAD_PARAMETER);
    expectError("insertIntoFilePrePostMatchingLine", "At least one argument is invalid");
  }
}

TEST_F(TextFileTest, InsertLogsAFileThatCantBeOpenedOrRead) {
  EXPECT_RESULT(insertIntoFilePrePostMatchingLine(m_strMissing, "match", "line", true),
                GLOBAL_ERROR_UNEXPECTED);
  expectError("insertIntoFilePrePostMatchingLine", "Failed to open file " + m_strMissing);
  EXPECT_RESULT(insertIntoFilePrePostMatchingLine(m_folder.path(), "match", "line", true),
                GLOBAL_ERROR_UNEXPECTED);
  expectError("insertIntoFilePrePostMatchingLine", "Failed to fully inspect file " + m_folder.path());
}

TEST_F(TextFileTest, WhiteSpaceFileHasOnlyEmptyLinesAfterTrimming) {
  write(" \t\r\n\n\v\f");
  EXPECT_TRUE(FileHasOnlyWhiteSpace(m_strFile));
  write("");
  EXPECT_TRUE(FileHasOnlyWhiteSpace(m_strFile));
  write("\n \n.\n");
  EXPECT_FALSE(FileHasOnlyWhiteSpace(m_strFile));
  write(std::string("\n\0\n", 3));
  EXPECT_FALSE(FileHasOnlyWhiteSpace(m_strFile));
  expectSilence();
}

TEST_F(TextFileTest, WhiteSpaceTestLogsABadNameAndAFileThatCantBeOpenedOrRead) {
  EXPECT_FALSE(FileHasOnlyWhiteSpace(""));
  expectError("FileHasOnlyWhiteSpace", "Invalid file name");
  EXPECT_FALSE(FileHasOnlyWhiteSpace(m_strMissing));
  expectError("FileHasOnlyWhiteSpace", "Failed to open file " + m_strMissing);
  EXPECT_FALSE(FileHasOnlyWhiteSpace(m_folder.path()));
  expectError("FileHasOnlyWhiteSpace", "Failed to inspect all lines in file " + m_folder.path());
}

TEST_F(TextFileTest, ReadGivesAllLinesTrimmed) {
  write("one\r\n\n  two \t\nlast");
  std::vector<std::string> lines = {"from before"};
  EXPECT_RESULT(ReadTextFile(m_strFile, lines), 0);
  EXPECT_EQ(lines, (std::vector<std::string>{"one", "", "  two", "last"}));
  write("");
  EXPECT_RESULT(ReadTextFile(m_strFile, lines), 0);
  EXPECT_TRUE(lines.empty());
  expectSilence();
}

TEST_F(TextFileTest, ReadLogsABadNameAndAFileThatCantBeOpenedOrRead) {
  std::vector<std::string> lines;
  EXPECT_RESULT(ReadTextFile("", lines), GLOBAL_ERROR_BAD_PARAMETER);
  expectError("ReadTextFile", "Invalid file name");
  EXPECT_RESULT(ReadTextFile(m_strMissing, lines), GLOBAL_ERROR_UNEXPECTED);
  expectError("ReadTextFile", "Failed to open file " + m_strMissing);
  EXPECT_RESULT(ReadTextFile(m_folder.path(), lines), GLOBAL_ERROR_UNEXPECTED);
  expectError("ReadTextFile", "Failed to inspect all lines in file " + m_folder.path());
}

// A file may grow to 32 KiB here, so that this one is read and can't be written back.
TEST(TextFileLimitTest, FailureToWriteBackIsHandedOn) {
  const test::TempFolder folder;
  const std::string path = folder.file("lines.txt");
  test::writeFile(path, "gone\n" + std::string(40000, 'x') + "\n");
  const test::ForkedResult result = test::runForked([&path] {
    const rlimit small = {32768, 32768};
    if (!install_sighdlr(SIGXFSZ, SIG_IGN, nullptr) || setrlimit(RLIMIT_FSIZE, &small) != 0) {
      return 1;
    }
    return RemoveFromFileMatchingLine(path, "gone") == GLOBAL_ERROR_UNEXPECTED ? 0 : 2;
  });
  EXPECT_EQ(result.exitStatus, 0) << result.dump();
  ASSERT_EQ(result.records.size(), 1U) << result.dump();
  EXPECT_EQ(result.records[0].text(), "Failed to update file " + path);
}

}  // namespace

}  // namespace halvo

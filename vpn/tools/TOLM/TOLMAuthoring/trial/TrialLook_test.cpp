#include "vpn/tools/TOLM/TOLMAuthoring/trial/TrialLook.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

// A command's heading as a run writes it.
std::string heading(const std::string& command) {
  const std::string stars(75, '*');
  return "\n\r" + stars + "\n\"" + command + "\" output:\n" + stars + "\n\r\n";
}

TEST(TrialLookTest, TheOmittedRowsOfASummaryAreFound) {
  const std::string summary = readFile(sourcePath("tests/system/golden/default_run/summary.txt"));
  const std::vector<std::string> rows = omittedRows(summary);
  ASSERT_THAT(rows, SizeIs(6));
  EXPECT_THAT(rows[0], StartsWith("command            no_output"));
  EXPECT_THAT(rows[5], StartsWith("missing            dangling"));
  EXPECT_EQ(rows[5].substr(rows[5].size() - 14), "File not found");
  EXPECT_THAT(omittedRows("TOLM BUNDLE SUMMARY\n"), IsEmpty());
}

TEST(TrialLookTest, DocumentsThatFailedAreFound) {
  const std::string summary =
      "TOLM BUNDLE SUMMARY\n\n====\nTOLMEngine failed to parse or use the following configuration "
      "files:\n/a/b.xml\n"
      "/a/c d.xml\n\n\nNo instruction found in any config for the following file ID's from request:\nx\n";
  EXPECT_THAT(failedRows(summary), ElementsAre("/a/b.xml", "/a/c d.xml"));
  EXPECT_THAT(failedRows(readFile(sourcePath("tests/system/golden/request_run/summary.txt"))), IsEmpty());
}

TEST(TrialLookTest, ResultsWithoutOutputAndComplaintsAreTold) {
  EXPECT_THAT(resultComplaints(heading("ip addr") + "1: lo\n"), IsEmpty());
  EXPECT_THAT(resultComplaints(heading("true") + " \n"), ElementsAre("\"true\" printed nothing"));
  EXPECT_THAT(
      resultComplaints(heading("ls /x") + "ls: cannot access '/x': No such file or directory\nmore\n"),
      ElementsAre("\"ls /x\" begins with \"ls: cannot access '/x': No such file or directory\""));
  EXPECT_THAT(
      resultComplaints(heading("a b") + "sh: 1: a: not found\n" + heading("a c") + "fine\n" + heading("a d")),
      ElementsAre("\"a b\" begins with \"sh: 1: a: not found\"", "\"a d\" printed nothing"));
}

TEST(TrialLookTest, AComplaintFurtherDownAndOtherTextsAreNone) {
  EXPECT_THAT(resultComplaints(heading("x") + "fine\nPermission denied\n"), IsEmpty());
  EXPECT_THAT(resultComplaints("not found\n"), IsEmpty());
  EXPECT_THAT(resultComplaints("a" + heading("x")), IsEmpty());
  EXPECT_THAT(resultComplaints("\n\r" + std::string(75, '*') + "\n\"cut"), IsEmpty());
}

TEST(TrialLookTest, AWorkFolderIsLookedAtAsAWhole) {
  TempFolder folder;
  writeFile(folder.file("T/true_result.txt"), heading("true"));
  writeFile(folder.file("T/x.log"), "not found\n");
  writeFile(folder.file("sum.txt"), readFile(sourcePath("tests/system/golden/default_run/summary.txt")));
  const TrialFindings findings = lookAtWorkFolder(folder.path());
  EXPECT_THAT(findings.results, ElementsAre("T/true_result.txt: \"true\" printed nothing"));
  EXPECT_THAT(findings.omissions, SizeIs(6));
}

}  // namespace
}  // namespace halvo

#include "vpn/tools/TOLM/TOLMFrontEnd/BundleCheck.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Zip/CZip.h"

namespace halvo {
namespace {

using test::readFile;
using test::writeFile;
using ::testing::HasSubstr;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

class BundleCheckTest : public ::testing::Test {
 protected:
  void SetUp() override {
    writeFile(work() + "/A/one.log", "one\n");
    writeFile(work() + "/A/two.log", std::string(200'000, 't'));
    writeFile(work() + "/empty", "");
    ASSERT_EQ(listWorkFiles(work(), m_Files), "");
  }
  [[nodiscard]] std::string work() const { return m_Folder.file("work"); }
  [[nodiscard]] std::string zip() const { return m_Folder.file("a.zip"); }

  void makeZip(const std::string& password = "") { ASSERT_EQ(CZip().Zip(work(), zip(), password, true), 0U); }
  [[nodiscard]] std::string problem() const {
    const DescriptorHolder file(open(zip().c_str(), O_RDONLY));
    return bundleProblem(file.get(), work(), m_Files);
  }

  test::TempFolder m_Folder;
  WorkFiles m_Files;
};

TEST_F(BundleCheckTest, TheFolderIsListedWithItsSizesAndWithoutLinks) {
  ASSERT_EQ(symlink("/etc/passwd", (work() + "/link").c_str()), 0);
  WorkFiles files;
  EXPECT_EQ(listWorkFiles(work(), files), "");
  EXPECT_THAT(files,
              UnorderedElementsAre(Pair("A/one.log", 4U), Pair("A/two.log", 200'000U), Pair("empty", 0U)));
  EXPECT_THAT(listWorkFiles(m_Folder.file("none"), files), HasSubstr("No such file"));
}

TEST_F(BundleCheckTest, AWholeBundleIsWhole) {
  for (const char* password : {"", "s3cret"}) {
    makeZip(password);
    EXPECT_EQ(problem(), "");
  }
}

TEST_F(BundleCheckTest, ABundleOfMoreEntriesThanAShortNumberHoldsIsReadByTheLongForm) {
  for (int i = 0; i < 66'000; ++i) {
    writeFile(work() + "/many/" + std::to_string(i), "");
  }
  m_Files.clear();
  ASSERT_EQ(listWorkFiles(work(), m_Files), "");
  makeZip();
  EXPECT_EQ(problem(), "");
  std::string text = readFile(zip());
  text.erase(100, 10);
  writeFile(zip(), text);
  EXPECT_NE(problem(), "");
}

TEST_F(BundleCheckTest, ABundleThatIsCutShortAnywhereIsFound) {
  makeZip();
  const std::string whole = readFile(zip());
  for (std::size_t length = 0; length < whole.size(); length += 7) {
    writeFile(zip(), whole.substr(0, length));
    EXPECT_NE(problem(), "") << length;
  }
}

TEST_F(BundleCheckTest, ABlockThatWasLostOnTheWayIsFound) {
  makeZip();
  const std::string whole = readFile(zip());
  for (std::size_t at = 0; at + 60 < whole.size(); at += 13) {
    std::string text = whole;
    text.erase(at, 40);
    writeFile(zip(), text);
    EXPECT_NE(problem(), "") << at;
  }
}

TEST_F(BundleCheckTest, FilesThatAreMissingAreNamed) {
  makeZip();
  writeFile(work() + "/B/later", "x");
  m_Files["B/later"] = 1;
  EXPECT_EQ(problem(), "\"B/later\" is missing from it");
  for (const char* name : {"C", "D", "E", "F"}) {
    writeFile(work() + "/" + name, "x");
    m_Files[name] = 1;
  }
  EXPECT_EQ(problem(), "\"B/later\", \"C\", \"D\" and 2 more are missing from it");
}

TEST_F(BundleCheckTest, AnEntryThatIsShorterThanItsFileIsNamed) {
  // A file that can't be read becomes an empty entry, with success.
  makeZip();
  m_Files["empty"] = 10;
  writeFile(work() + "/empty", "ten bytes.");
  EXPECT_EQ(problem(), "\"empty\" is cut short in it");
}

TEST_F(BundleCheckTest, AFileThatGrewOrWentMeanwhileIsNoFault) {
  makeZip();
  m_Files["A/one.log"] = 2;
  EXPECT_EQ(problem(), "");
  m_Files["gone"] = 5;
  EXPECT_EQ(problem(), "");
}

TEST_F(BundleCheckTest, AnEntryWithoutANameIsAFolderThatCouldNotBeRead) {
  ASSERT_EQ(CZip().createZipFile({work() + "/empty"}, zip(), {""}, ""), 0U);
  EXPECT_EQ(problem(), "the work folder couldn't be read");
  ASSERT_EQ(CZip().createZipFile({work() + "/empty"}, zip(), {"A/"}, ""), 0U);
  EXPECT_EQ(problem(), "the folder \"A/\" of the work folder couldn't be read");
}

TEST_F(BundleCheckTest, WhatIsNoBundleIsFound) {
  writeFile(zip(), "");
  EXPECT_THAT(problem(), HasSubstr("can't be read back"));
  writeFile(zip(), std::string(100'000, 'x'));
  EXPECT_THAT(problem(), HasSubstr("can't be read back"));
}

}  // namespace
}  // namespace halvo

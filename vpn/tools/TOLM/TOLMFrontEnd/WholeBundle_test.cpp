#include "vpn/tools/TOLM/TOLMFrontEnd/WholeBundle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <new>

#include "tests/support/BundleReader.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/Secret.h"

namespace halvo {
namespace {

using test::listFolder;
using test::readFile;
using test::writeFile;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

class WholeBundleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    writeFile(m_Folder.file("work/A/one.log"), "one\n");
    writeFile(m_Folder.file("work/summary.txt"), std::string(100'000, 's'));
    test::makeFolders(m_Folder.file("out"));
  }
  [[nodiscard]] std::string work() const { return m_Folder.file("work"); }
  [[nodiscard]] std::string zip() const { return m_Folder.file("out/a.zip"); }

  ResultCode make(const WholeBundle::Writer& writer = nullptr, const std::string& password = "") {
    std::string text = password;
    const Secret secret(text);
    WholeBundle bundle(
        secret,
        [this](const std::string& path) {
          m_Noted.push_back(path);
          if (m_OnNote && !path.empty()) {
            m_OnNote(path);
          }
        },
        writer);
    const ResultCode rc = bundle.make(work(), zip());
    m_strReason = bundle.reason();
    m_nFiles = bundle.files();
    m_nBytes = bundle.bytes();
    return rc;
  }

  // A writer that does something to the file that was noted.
  template <typename Change>
  WholeBundle::Writer thatSpoils(Change change) {
    return [this, change](const std::string&, int, const std::string&, std::string&) {
      change(m_Noted.back());
      return ResultCode{0};
    };
  }

  test::TempFolder m_Folder;
  std::vector<std::string> m_Noted;
  std::function<void(const std::string& path)> m_OnNote;
  std::string m_strReason;
  std::uint64_t m_nFiles = 0;
  std::uint64_t m_nBytes = 0;
};

TEST_F(WholeBundleTest, TheBundleAppearsForItsUserAloneAndNothingElseDoes) {
  EXPECT_EQ(make(), 0U);
  EXPECT_THAT(listFolder(m_Folder.file("out")), ElementsAre("a.zip"));
  EXPECT_THAT(test::bundleContent(test::Reader::Unzip, zip()),
              ElementsAre(Pair("A/one.log", "one\n"), Pair("summary.txt", std::string(100'000, 's'))));
  struct stat status;
  ASSERT_EQ(stat(zip().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
  EXPECT_EQ(m_nFiles, 2U);
  EXPECT_EQ(m_nBytes, static_cast<std::uint64_t>(status.st_size));
}

TEST_F(WholeBundleTest, ItIsWrittenUnderAHiddenNameThatIsNotedMeanwhile) {
  std::string seen;
  EXPECT_EQ(make(thatSpoils([&seen](const std::string& path) { seen = path; })), 0U);
  EXPECT_THAT(seen, HasSubstr("/out/.a.zip."));
  EXPECT_THAT(m_Noted, ElementsAre(seen, seen, ""));
}

// A signal late in the packing gave the bundle its name, and the older one's place, all the same.
TEST_F(WholeBundleTest, AheadOfItsNameTheRunIsAskedOnceMoreWhetherItGoesOn) {
  writeFile(zip(), "older");
  bool older = false;
  m_OnNote = [&](const std::string& path) {
    // The hidden file is whole by the last time, and the older bundle stands.
    older = std::filesystem::file_size(path) > 0 && readFile(zip()) == "older";
  };
  EXPECT_EQ(make(), 0);
  EXPECT_TRUE(older);
}

TEST_F(WholeBundleTest, APasswordReachesTheArchive) {
  EXPECT_EQ(make(nullptr, "s3cret"), 0U);
  EXPECT_EQ(test::checkBundle(test::Reader::Unzip, zip(), "s3cret").exitStatus, 0);
  EXPECT_NE(test::checkBundle(test::Reader::Unzip, zip(), "wrong").exitStatus, 0);
}

TEST_F(WholeBundleTest, AnOlderBundleSurvivesARunThatFails) {
  writeFile(zip(), "older");
  EXPECT_EQ(make([](const std::string&, int, const std::string&, std::string& reason) {
              reason = "no recipient";
              return ResultCode{5};
            }),
            TOLMENGINE_ERROR_WRITE_FAILURE);
  EXPECT_EQ(m_strReason, "no recipient");
  EXPECT_EQ(readFile(zip()), "older");
  EXPECT_THAT(listFolder(m_Folder.file("out")), ElementsAre("a.zip"));
}

TEST_F(WholeBundleTest, AnOlderBundleIsReplacedByAWholeOne) {
  writeFile(zip(), "older");
  EXPECT_EQ(make(), 0U);
  EXPECT_EQ(test::checkBundle(test::Reader::Python, zip(), "").exitStatus, 0);
}

TEST_F(WholeBundleTest, ALinkInTheBundlesPlaceIsReplacedAndNotFollowed) {
  writeFile(m_Folder.file("precious"), "kept");
  ASSERT_EQ(symlink(m_Folder.file("precious").c_str(), zip().c_str()), 0);
  EXPECT_EQ(make(), 0U);
  EXPECT_EQ(readFile(m_Folder.file("precious")), "kept");
}

TEST_F(WholeBundleTest, AFileOfFourGibibytesWithoutAPasswordIsNamed) {
  writeFile(work() + "/A/sparse", "");
  ASSERT_EQ(truncate((work() + "/A/sparse").c_str(), 0x100000000), 0);
  EXPECT_EQ(make(), TOLMENGINE_ERROR_WRITE_FAILURE);
  EXPECT_THAT(m_strReason, HasSubstr("\"A/sparse\" has 4.0G, and a bundle without a password holds no file"));
  EXPECT_THAT(listFolder(m_Folder.file("out")), IsEmpty());
}

// A name that is free at a look may be taken a moment later, by a run of another user's.
TEST_F(WholeBundleTest, ANameThatIsTakenMeanwhileIsNotReplacedWhereAnOlderBundleIsToStay) {
  std::string none;
  const Secret secret(none);
  WholeBundle bundle(secret, [](const std::string&) {});
  std::vector<std::string> asked;
  bundle.keepOlder([this, &asked] {
    asked.push_back(m_Folder.file("out/a_" + std::to_string(asked.size() + 2) + ".zip"));
    return asked.back();
  });
  writeFile(zip(), "another's");
  writeFile(m_Folder.file("out/a_2.zip"), "a third one's");
  EXPECT_EQ(bundle.make(work(), zip()), 0U);
  EXPECT_EQ(bundle.path(), m_Folder.file("out/a_3.zip"));
  EXPECT_EQ(readFile(zip()), "another's");
  EXPECT_EQ(readFile(m_Folder.file("out/a_2.zip")), "a third one's");
  EXPECT_EQ(test::bundleContent(test::Reader::Unzip, bundle.path()).size(), 2U);
  EXPECT_THAT(listFolder(m_Folder.file("out")), ElementsAre("a.zip", "a_2.zip", "a_3.zip"));
}

TEST_F(WholeBundleTest, AMissingFolderIsTold) {
  std::string none;
  const Secret secret(none);
  WholeBundle bundle(secret, [](const std::string&) {});
  EXPECT_EQ(bundle.make(work(), m_Folder.file("none/a.zip")), TOLMENGINE_ERROR_WRITE_FAILURE);
  EXPECT_THAT(bundle.reason(), HasSubstr("is there a folder for"));
}

TEST_F(WholeBundleTest, AWriterWithoutMemoryLeavesNothing) {
  EXPECT_THROW(static_cast<void>(make([](const std::string&, int, const std::string&,
                                         std::string&) -> ResultCode { throw std::bad_alloc(); })),
               std::bad_alloc);
  EXPECT_THAT(listFolder(m_Folder.file("out")), IsEmpty());
  EXPECT_EQ(m_Noted.back(), "");
}

TEST_F(WholeBundleTest, AFileThatWasPutInTheHiddenOnesPlaceIsNotTaken) {
  EXPECT_EQ(make(thatSpoils([](const std::string& path) {
              unlink(path.c_str());
              writeFile(path, "planted");
            })),
            TOLMENGINE_ERROR_WRITE_FAILURE);
  EXPECT_THAT(m_strReason, HasSubstr("somebody else has changed"));
  EXPECT_FALSE(test::exists(zip()));
}

// The archive's calls opened the hidden file once more by its name: a link there had its target overwritten,
// a pipe held the run up for ever, and a file of somebody else's took in what only the user may read.
TEST_F(WholeBundleTest, WhatTakesTheHiddenNamesPlaceIsNeitherWrittenToNorWaitedFor) {
  writeFile(m_Folder.file("precious"), "kept");
  using Plant = std::function<void(const std::string& path)>;
  const std::vector<Plant> plants = {
      [this](const std::string& path) { std::filesystem::create_symlink(m_Folder.file("precious"), path); },
      [](const std::string& path) { mkfifo(path.c_str(), 0666); },
      [](const std::string& path) { writeFile(path, ""); },
  };
  for (const Plant& plant : plants) {
    m_Noted.clear();
    m_OnNote = [this, &plant](const std::string& path) {
      std::filesystem::rename(path, m_Folder.file("gone"));
      plant(path);
    };
    EXPECT_EQ(make(), TOLMENGINE_ERROR_WRITE_FAILURE);
    EXPECT_THAT(m_strReason, HasSubstr("somebody else has changed"));
    EXPECT_FALSE(test::exists(zip()));
    // What was planted is its owner's, as it was; what was carried away holds nothing.
    EXPECT_EQ(readFile(m_Folder.file("precious")), "kept");
    if (std::filesystem::is_regular_file(m_Noted.front())) {
      EXPECT_EQ(readFile(m_Noted.front()), std::filesystem::is_symlink(m_Noted.front()) ? "kept" : "");
    }
    EXPECT_EQ(readFile(m_Folder.file("gone")), "");
    std::filesystem::remove(m_Noted.front());
  }
}

TEST_F(WholeBundleTest, OfARelativeBundleTheWholePathIsNoted) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(m_Folder.file("out"));
  std::string none;
  const Secret secret(none);
  WholeBundle bundle(secret, [this](const std::string& path) { m_Noted.push_back(path); });
  const ResultCode rc = bundle.make(work(), "a.zip");
  std::filesystem::current_path(before);
  EXPECT_EQ(rc, 0U);
  const auto whole = HasSubstr(m_Folder.file("out") + "/.a.zip.");
  EXPECT_THAT(m_Noted, ElementsAre(whole, whole, ""));
}

}  // namespace
}  // namespace halvo

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/Privileges.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Utility/Holders.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo::helperUtil {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FilesTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::string at(const std::string& name) const { return m_Folder.file(name); }

  // Names that a listing gives, in its order.
  std::vector<std::string> find(const std::string& pattern) {
    std::string folder = m_Folder.path();
    std::string copy = pattern;
    std::list<FileFindEntry> entries;
    m_FindResult = fileFindAll(folder, copy, entries);
    std::vector<std::string> names;
    for (const FileFindEntry& entry : entries) {
      names.push_back(entry.name);
    }
    return names;
  }

  LogRecorder m_Log;
  TempFolder m_Folder;
  ResultCode m_FindResult = 0;
};

using FileCopyTest = FilesTest;

TEST_F(FileCopyTest, CopiesBytesOfAnySizeAroundTheBlock) {
  for (const std::size_t size : {0U, 1U, 4095U, 4096U, 4097U, 100000U}) {
    std::string content(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
      content[i] = static_cast<char>(i * 7);
    }
    writeFile(at("in"), content);
    std::string errorText;
    EXPECT_RESULT(fileCopy(at("in"), at("out"), errorText), 0);
    EXPECT_EQ(readFile(at("out")), content) << size;
    EXPECT_EQ(errorText, "");
  }
}

TEST_F(FileCopyTest, AMissingSourceIsNotFoundAndNotLogged) {
  writeFile(at("out"), "kept");
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("missing"), at("out"), errorText), TOLMENGINE_ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(readFile(at("out")), "kept");
  EXPECT_THAT(m_Log.records(), IsEmpty());
}

TEST_F(FileCopyTest, AMissingFileOntoItselfIsNotFound) {
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("missing"), at("missing"), errorText), TOLMENGINE_ERROR_FILE_NOT_FOUND);
  EXPECT_RESULT(fileCopy("", "", errorText), TOLMENGINE_ERROR_FILE_NOT_FOUND);
}

TEST_F(FileCopyTest, AFileOntoItselfByTheSameTextIsLeftAlone) {
  writeFile(at("a"), "content");
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("a"), at("a"), errorText), 0);
  EXPECT_EQ(readFile(at("a")), "content");
  EXPECT_RESULT(fileCopy(at("a"), "", errorText), 0);
}

TEST_F(FileCopyTest, AFileOntoItselfByAnotherTextIsDeletedAndThenNotOpened) {
  writeFile(at("a"), "content");
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("a"), m_Folder.path() + "/./a", errorText), TOLMENGINE_ERROR_FILE_OPEN_FAILURE);
  EXPECT_FALSE(exists(at("a")));
  EXPECT_EQ(errorText, "No such file or directory");
  EXPECT_THAT(m_Log.records(), IsEmpty());
}

TEST_F(FileCopyTest, ADestinationThatIsAFolderStopsTheCopy) {
  writeFile(at("a"), "content");
  makeFolders(at("folder"));
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("a"), at("folder"), errorText), TOLMENGINE_ERROR_UNEXPECTED);
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "helperUtil::fileDelete", TOLMENGINE_ERROR_UNEXPECTED))
      << m_Log.dump();
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "unlink_file", EISDIR));
}

TEST_F(FileCopyTest, AFolderIsNotCopiedIntoOneThatExists) {
  writeFile(at("src/a"), "1");
  makeFolders(at("dst"));
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("src"), at("dst"), errorText), TOLMENGINE_ERROR_UNEXPECTED);
  EXPECT_THAT(listFolder(at("dst")), IsEmpty());
}

TEST_F(FileCopyTest, ARefusedSourceHasLostTheDestinationAlready) {
  writeFile(at("secret"), "x");
  chmod(at("secret").c_str(), 0);
  writeFile(at("out"), "old");
  const WithoutFileOverride ordinary;
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("secret"), at("out"), errorText), TOLMENGINE_ERROR_FILE_OPEN_FAILURE);
  EXPECT_EQ(errorText, "Permission denied");
  EXPECT_FALSE(exists(at("out")));
  EXPECT_THAT(m_Log.records(), IsEmpty());
}

TEST_F(FileCopyTest, ADestinationThatCantBeOpenedIsLoggedUnderTheSourcesName) {
  writeFile(at("a"), "x");
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("a"), at("missing/out"), errorText), TOLMENGINE_ERROR_FILE_OPEN_FAILURE);
  EXPECT_EQ(errorText, "");
  EXPECT_TRUE(m_Log.has(kLogError, "Failed to open file \"" + at("a") + "\"")) << m_Log.dump();
}

TEST_F(FileCopyTest, NeitherModeNorTimeIsCarriedOver) {
  writeFile(at("a"), "x");
  chmod(at("a").c_str(), 0700);
  setModifiedTime(at("a"), 1000);
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("a"), at("b"), errorText), 0);
  struct stat data;
  ASSERT_EQ(stat(at("b").c_str(), &data), 0);
  EXPECT_EQ(data.st_mode & 0111, 0U);
  EXPECT_GT(data.st_mtime, 1000);
}

TEST_F(FileCopyTest, AFolderIsCopiedAsATree) {
  writeFile(at("src/one"), "1");
  writeFile(at("src/sub/two"), "2");
  makeFolders(at("src/empty"));
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("src"), at("dst"), errorText), 0);
  EXPECT_EQ(readFile(at("dst/one")), "1");
  EXPECT_EQ(readFile(at("dst/sub/two")), "2");
  EXPECT_THAT(listFolder(at("dst/empty")), IsEmpty());
}

TEST_F(FileCopyTest, AFolderReportsSuccessThoughItsEntriesFail) {
  writeFile(at("src/good"), "1");
  ASSERT_EQ(symlink("/nowhere/at/all", at("src/dangling").c_str()), 0);
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("src"), at("dst"), errorText), 0);
  EXPECT_THAT(listFolder(at("dst")), ElementsAre("good"));
  EXPECT_TRUE(m_Log.hasReturnCode(kLogWarning, "helperUtil::fileCopy", TOLMENGINE_ERROR_FILE_NOT_FOUND))
      << m_Log.dump();
}

TEST_F(FileCopyTest, AFolderReportsSuccessThoughItsCopyCantBeMade) {
  writeFile(at("src/a"), "1");
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("src"), at("missing/dst"), errorText), 0);
  EXPECT_TRUE(m_Log.has(kLogError, "helperUtils::MakeDirectory")) << m_Log.dump();
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "mkdir", ENOENT));
}

TEST_F(FileCopyTest, TheRecordsOfEveryEntryBearTheOperationsName) {
  writeFile(at("src/sub/good"), "1");
  ASSERT_EQ(symlink("/nowhere/at/all", at("src/sub/dangling").c_str()), 0);
  ASSERT_EQ(symlink(".", at("src/sub/loop").c_str()), 0);
  writeFile(at("src/sub/refused"), "1");
  chmod(at("src/sub/refused").c_str(), 0);
  std::string errorText;
  {
    const WithoutFileOverride ordinary;
    EXPECT_RESULT(fileCopy(at("src"), at("dst"), errorText), 0);
    EXPECT_RESULT(fileCopy(at("src/sub/good"), at("dst/sub"), errorText), TOLMENGINE_ERROR_UNEXPECTED);
    EXPECT_RESULT(fileCopy(at("src/sub/good"), at("missing/good"), errorText),
                  TOLMENGINE_ERROR_FILE_OPEN_FAILURE);
  }
  EXPECT_GE(m_Log.records().size(), 5U);
  for (const LogRecord& record : m_Log.records()) {
    EXPECT_THAT(record.field("Function"), ::testing::AnyOf("fileCopy", "fileDelete")) << m_Log.dump();
  }
}

TEST_F(FileCopyTest, ALinkInTheDestinationsPlaceGoesAndIsNotWrittenThrough) {
  writeFile(at("src"), "new");
  writeFile(at("precious"), "precious");
  ASSERT_EQ(symlink(at("precious").c_str(), at("dst").c_str()), 0);
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("src"), at("dst"), errorText), 0);
  EXPECT_EQ(readFile(at("dst")), "new");
  EXPECT_EQ(readFile(at("precious")), "precious");
}

TEST_F(FileCopyTest, ARefusedFolderGivesAnEmptyCopy) {
  writeFile(at("src/a"), "1");
  chmod(at("src").c_str(), 0);
  {
    const WithoutFileOverride ordinary;
    std::string errorText;
    EXPECT_RESULT(fileCopy(at("src"), at("dst"), errorText), 0);
  }
  chmod(at("src").c_str(), 0755);
  EXPECT_THAT(listFolder(at("dst")), IsEmpty());
}

// A pattern over the shared temporary folder matches the run's own work folder: the copy went on into
// its own result until the names grew too long.
TEST_F(FileCopyTest, AFolderCopiedIntoItselfEnds) {
  writeFile(at("src/a"), "1");
  makeFolders(at("src/inner"));
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("src"), at("src/inner/copy"), errorText), 0);
  EXPECT_EQ(readFile(at("src/inner/copy/a")), "1");
  EXPECT_THAT(listFolder(at("src/inner/copy")), ElementsAre("a", "inner"));
  EXPECT_THAT(listFolder(at("src/inner/copy/inner")), IsEmpty());
}

// Two links back to their own folder doubled the work at every level.
TEST_F(FileCopyTest, LinksThatLeadBackUpAreLeftOut) {
  writeFile(at("src/a"), "1");
  for (const char* name : {"src/loop1", "src/loop2", "src/loop3"}) {
    ASSERT_EQ(symlink(".", at(name).c_str()), 0);
  }
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("src"), at("dst"), errorText), 0);
  EXPECT_THAT(listFolder(at("dst")), ElementsAre("a"));
  EXPECT_TRUE(m_Log.has(kLogWarning, "The folder leads back into itself")) << m_Log.dump();
}

TEST_F(FileCopyTest, LinksToFilesAndFoldersAreFollowed) {
  writeFile(at("real/a"), "1");
  ASSERT_EQ(symlink(at("real").c_str(), at("link").c_str()), 0);
  ASSERT_EQ(symlink(at("real/a").c_str(), at("filelink").c_str()), 0);
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("link"), at("dst"), errorText), 0);
  EXPECT_EQ(readFile(at("dst/a")), "1");
  EXPECT_RESULT(fileCopy(at("filelink"), at("out"), errorText), 0);
  EXPECT_EQ(readFile(at("out")), "1");
}

TEST_F(FileCopyTest, AFolderIsCopiedUnderEachOfTheNamesBesideItThatLeadToIt) {
  writeFile(at("src/real/a"), "1");
  for (const char* name : {"src/link1", "src/link2"}) {
    ASSERT_EQ(symlink("real", at(name).c_str()), 0);
  }
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("src"), at("dst"), errorText), 0);
  // In whatever order the folder lists them, the first isn't a way back that the others take.
  for (const char* name : {"dst/real/a", "dst/link1/a", "dst/link2/a"}) {
    EXPECT_EQ(readFile(at(name)), "1") << name;
  }
}

TEST_F(FileCopyTest, AFifoIsNotOpenedAndLeavesAnEmptyFolder) {
  ASSERT_EQ(mkfifo(at("fifo").c_str(), 0600), 0);
  std::string errorText;
  EXPECT_RESULT(fileCopy(at("fifo"), at("dst"), errorText), 0);
  EXPECT_THAT(listFolder(at("dst")), IsEmpty());
}

using FileDeleteTest = FilesTest;

TEST_F(FileDeleteTest, AMissingFileIsASuccess) {
  writeFile(at("a"), "x");
  EXPECT_RESULT(fileDelete(at("a")), 0);
  EXPECT_FALSE(exists(at("a")));
  EXPECT_RESULT(fileDelete(at("a")), 0);
  EXPECT_THAT(m_Log.records(), IsEmpty());
}

TEST_F(FileDeleteTest, AFolderIsUnexpected) {
  EXPECT_RESULT(fileDelete(m_Folder.path()), TOLMENGINE_ERROR_UNEXPECTED);
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "unlink_file", EISDIR)) << m_Log.dump();
}

using MakeDirectoryTest = FilesTest;

TEST_F(MakeDirectoryTest, AnExistingFolderIsLoggedAndASuccess) {
  EXPECT_RESULT(MakeDirectory(at("a")), 0);
  EXPECT_THAT(m_Log.records(), IsEmpty());
  EXPECT_RESULT(MakeDirectory(at("a")), 0);
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "mkdir", EEXIST)) << m_Log.dump();
}

TEST_F(MakeDirectoryTest, TellsARefusalFromOtherFailures) {
  EXPECT_RESULT(MakeDirectory(at("missing/a")), TOLMENGINE_ERROR_UNEXPECTED);
  EXPECT_RESULT(MakeDirectory(""), TOLMENGINE_ERROR_UNEXPECTED);
  makeFolders(at("closed"));
  chmod(at("closed").c_str(), 0500);
  const WithoutFileOverride ordinary;
  EXPECT_RESULT(MakeDirectory(at("closed/a")), TOLMENGINE_ERROR_ACCESS_DENIED);
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "mkdir", EACCES));
}

using FileFindAllTest = FilesTest;

TEST_F(FileFindAllTest, MatchesWhateverTheCaseInReaddirOrder) {
  for (const char* name : {"b.LOG", "A.log", "c.txt", "d.Log"}) {
    writeFile(at(name), "");
  }
  std::vector<std::string> expected;
  for (const std::string& name : readdirOrder(m_Folder.path())) {
    if (name == "b.LOG" || name == "A.log" || name == "d.Log") {
      expected.push_back(name);
    }
  }
  EXPECT_EQ(find("*.LOG"), expected);
  EXPECT_RESULT(m_FindResult, 0);
}

TEST_F(FileFindAllTest, ChangesTheCallersTexts) {
  writeFile(at("a.log"), "");
  std::string folder = m_Folder.path();
  std::string pattern = "*.LOG";
  std::list<FileFindEntry> entries;
  EXPECT_RESULT(fileFindAll(folder, pattern, entries), 0);
  EXPECT_EQ(folder, m_Folder.path() + "/");
  EXPECT_EQ(pattern, "*.log");
}

TEST_F(FileFindAllTest, DotAndDotDotAreEntriesLikeOthers) {
  EXPECT_EQ(find("*").size(), 2U);
  EXPECT_RESULT(m_FindResult, 0);
  EXPECT_EQ(find("?"), std::vector<std::string>{"."});
}

TEST_F(FileFindAllTest, TellsFoldersFilesAndTimes) {
  writeFile(at("file"), "");
  setModifiedTime(at("file"), 1234567);
  makeFolders(at("folder"));
  ASSERT_EQ(symlink(at("folder").c_str(), at("link").c_str()), 0);
  std::string folder = m_Folder.path();
  std::string pattern = "????*";
  std::list<FileFindEntry> entries;
  ASSERT_RESULT(fileFindAll(folder, pattern, entries), 0);
  ASSERT_EQ(entries.size(), 3U);
  for (const FileFindEntry& entry : entries) {
    EXPECT_EQ(entry.isDirectory, entry.name != "file") << entry.name;
    if (entry.name == "file") {
      EXPECT_EQ(entry.modifiedTime, 1234567);
    }
  }
}

TEST_F(FileFindAllTest, AnEntryThatCantBeLookedAtIsListedAsAFile) {
  ASSERT_EQ(symlink("/nowhere/at/all", at("dangling").c_str()), 0);
  EXPECT_THAT(find("dangling"), ElementsAre("dangling"));
}

TEST_F(FileFindAllTest, AnEntryThatCantBeLookedAtHasTheTimeOfTheLastReading) {
  std::int64_t time = 1000;
  for (const char* name : {"a.log", "b.log", "c.log"}) {
    writeFile(at(name), "");
    setModifiedTime(at(name), ++time);
  }
  for (const char* name : {"d.log", "e.log", "f.log", "g.log"}) {
    ASSERT_EQ(symlink("/nowhere/at/all", at(name).c_str()), 0);
  }
  std::string folder = m_Folder.path();
  std::string pattern = "*.log";
  std::list<FileFindEntry> entries;
  ASSERT_RESULT(fileFindAll(folder, pattern, entries), 0);
  ASSERT_EQ(entries.size(), 7U);
  std::int64_t last = 0;
  for (const FileFindEntry& entry : entries) {
    EXPECT_FALSE(entry.isDirectory) << entry.name;
    if (entry.name >= "d.log") {
      EXPECT_EQ(entry.modifiedTime, last) << entry.name;
    }
    last = entry.modifiedTime;
  }
}

TEST_F(FileFindAllTest, AnEmptyFolderNameIsABadParameter) {
  std::string folder;
  std::string pattern = "*";
  std::list<FileFindEntry> entries;
  EXPECT_RESULT(fileFindAll(folder, pattern, entries), TOLMENGINE_ERROR_BAD_PARAMETER);
  EXPECT_TRUE(m_Log.has(kLogError, "tstrDirectory is an empty string")) << m_Log.dump();
}

TEST_F(FileFindAllTest, AMissingFolderIsNotFoundWithALineOfInformation) {
  std::string folder = at("missing");
  std::string pattern = "*.LOG";
  std::list<FileFindEntry> entries;
  EXPECT_RESULT(fileFindAll(folder, pattern, entries), TOLMENGINE_ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(pattern, "*.LOG");
  EXPECT_TRUE(m_Log.has(kLogInformation, "\"" + at("missing") + "/\" is not a directory")) << m_Log.dump();
}

TEST_F(FileFindAllTest, APlainFileIsAnOpenFailureWithoutALogLine) {
  writeFile(at("file"), "");
  std::string folder = at("file");
  std::string pattern = "*";
  std::list<FileFindEntry> entries;
  EXPECT_RESULT(fileFindAll(folder, pattern, entries), TOLMENGINE_ERROR_FILE_OPEN_FAILURE);
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
}

TEST_F(FileFindAllTest, EntriesFromBeforeCountAsFound) {
  std::string folder = m_Folder.path();
  std::string pattern = "nothing";
  std::list<FileFindEntry> entries;
  EXPECT_RESULT(fileFindAll(folder, pattern, entries), TOLMENGINE_ERROR_FILE_NOT_FOUND);
  entries.push_back({"earlier", false, 0});
  EXPECT_RESULT(fileFindAll(folder, pattern, entries), 0);
}

TEST_F(FileFindAllTest, NamesOfAnyBytesAreListed) {
  const std::string name = "\xff\x01 \n\"$*?[]";
  writeFile(at(name), "");
  EXPECT_THAT(find("\xff*"), ElementsAre(name));
}

TEST(WildcardMatchTest, TheUsualCases) {
  EXPECT_TRUE(wildcardMatch("*.log", ".log"));
  EXPECT_TRUE(wildcardMatch("*.log", "a.log"));
  EXPECT_FALSE(wildcardMatch("*.log", "a.logs"));
  EXPECT_FALSE(wildcardMatch("a?c", "ac"));
  EXPECT_TRUE(wildcardMatch("a?c", "abc"));
  EXPECT_TRUE(wildcardMatch("*", ""));
  EXPECT_TRUE(wildcardMatch("**", "x"));
  EXPECT_TRUE(wildcardMatch("a*b*c", "a--b--b--c"));
  EXPECT_FALSE(wildcardMatch("a*b*c", "a--b--b--"));
  EXPECT_TRUE(wildcardMatch("a**", "a"));
  EXPECT_FALSE(wildcardMatch("a", "ab"));
  EXPECT_FALSE(wildcardMatch("ab", "a"));
  EXPECT_TRUE(wildcardMatch("[", "["));
  EXPECT_TRUE(wildcardMatch("*aab", "aaaaab"));
}

TEST(WildcardMatchTest, TheEmptyPatternMatchesOnlyTheEmptyText) {
  EXPECT_TRUE(wildcardMatch("", ""));
  EXPECT_FALSE(wildcardMatch("", "a"));
}

TEST(WildcardMatchTest, ANullPointerMatchesNothing) {
  EXPECT_FALSE(wildcardMatch(nullptr, "a"));
  EXPECT_FALSE(wildcardMatch("*", nullptr));
}

TEST(WildcardMatchTest, ManyStarsStayCheap) {
  std::string pattern;
  for (int i = 0; i < 100; ++i) {
    pattern += "*a";
  }
  EXPECT_FALSE(wildcardMatch((pattern + "b").c_str(), std::string(10000, 'a').c_str()));
}

using NewestFileTest = FilesTest;

TEST_F(NewestFileTest, TiesGoToTheLaterEntry) {
  for (const char* name : {"a.log", "b.log", "c.log"}) {
    writeFile(at(name), "");
    setModifiedTime(at(name), 5000);
  }
  writeFile(at("old.log"), "");
  setModifiedTime(at("old.log"), 10);
  NewestFile newest{"stale", 99999999999};
  EXPECT_RESULT(fileGetNewestMatchingFile(m_Folder.path(), "*.LOG", newest), 0);
  std::string last;
  for (const std::string& name : readdirOrder(m_Folder.path())) {
    if (name == "a.log" || name == "b.log" || name == "c.log") {
      last = name;
    }
  }
  EXPECT_EQ(newest.name, last);
  EXPECT_EQ(newest.modifiedTime, 5000);
}

TEST_F(NewestFileTest, AnEmptyFolderAnswersWithDotOrDotDot) {
  makeFolders(at("parent/empty"));
  setModifiedTime(at("parent/empty"), 7000);
  setModifiedTime(at("parent"), 6000);
  NewestFile newest;
  EXPECT_RESULT(fileGetNewestMatchingFile(at("parent/empty"), "*", newest), 0);
  EXPECT_EQ(newest.name, ".");
  setModifiedTime(at("parent"), 7000);
  EXPECT_RESULT(fileGetNewestMatchingFile(at("parent/empty"), "*", newest), 0);
  EXPECT_EQ(newest.name, readdirOrder(at("parent/empty")).back());
}

TEST_F(NewestFileTest, AFileFromBeforeTheYear1970IsNeverTheNewest) {
  writeFile(at("old.log"), "");
  setModifiedTime(at("old.log"), -5);
  NewestFile newest{"stale", 1};
  EXPECT_RESULT(fileGetNewestMatchingFile(m_Folder.path(), "*.log", newest), 0);
  EXPECT_EQ(newest.name, "");
  EXPECT_EQ(newest.modifiedTime, 0);
}

TEST_F(NewestFileTest, AMissIsSilentAndAnotherFailureIsLogged) {
  NewestFile newest;
  EXPECT_RESULT(fileGetNewestMatchingFile(m_Folder.path(), "none", newest), TOLMENGINE_ERROR_FILE_NOT_FOUND);
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
  writeFile(at("file"), "");
  EXPECT_RESULT(fileGetNewestMatchingFile(at("file"), "*", newest), TOLMENGINE_ERROR_FILE_OPEN_FAILURE);
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "helperUtil::fileFindAll", TOLMENGINE_ERROR_FILE_OPEN_FAILURE));
}

using DeleteDirectoryTest = FilesTest;

TEST_F(DeleteDirectoryTest, RemovesATreeWithEverythingInIt) {
  writeFile(at("tree/a/b/file"), "x");
  writeFile(at("tree/top"), "x");
  writeFile(at("tree/.hidden"), "x");
  makeFolders(at("tree/empty"));
  EXPECT_RESULT(fileDeleteDirectory(at("tree")), 0);
  EXPECT_FALSE(exists(at("tree")));
}

TEST_F(DeleteDirectoryTest, AMissingFolderIsToldAsAccessDenied) {
  EXPECT_RESULT(fileDeleteDirectory(at("missing")), TOLMENGINE_ERROR_ACCESS_DENIED);
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "access", ENOENT)) << m_Log.dump();
}

TEST_F(DeleteDirectoryTest, AnEmptyNameIsABadParameter) {
  EXPECT_RESULT(fileDeleteDirectory(""), TOLMENGINE_ERROR_BAD_PARAMETER);
  EXPECT_TRUE(m_Log.has(kLogInformation, "rtstrDirectory is an empty string")) << m_Log.dump();
}

TEST_F(DeleteDirectoryTest, ALinkInsideIsUnlinkedAndNeverFollowed) {
  writeFile(at("home/precious"), "x");
  makeFolders(at("tree"));
  ASSERT_EQ(symlink(at("home").c_str(), at("tree/link").c_str()), 0);
  EXPECT_RESULT(fileDeleteDirectory(at("tree/")), 0);
  EXPECT_FALSE(exists(at("tree")));
  EXPECT_TRUE(exists(at("home/precious")));
}

TEST_F(DeleteDirectoryTest, AFolderWhoseNameIsALinkIsNotTouched) {
  writeFile(at("home/precious"), "x");
  ASSERT_EQ(symlink(at("home").c_str(), at("tree").c_str()), 0);
  for (const char* name : {"tree", "tree/", "tree//"}) {
    EXPECT_RESULT(fileDeleteDirectory(at(name)), TOLMENGINE_ERROR_UNEXPECTED);
  }
  EXPECT_TRUE(exists(at("tree")));
  EXPECT_TRUE(exists(at("home/precious")));
}

TEST_F(DeleteDirectoryTest, AFolderThatCantBeListedGivesTheListingsCode) {
  writeFile(at("tree/a"), "x");
  chmod(at("tree").c_str(), 0);
  {
    const WithoutFileOverride ordinary;
    EXPECT_RESULT(fileDeleteDirectory(at("tree")), TOLMENGINE_ERROR_FILE_OPEN_FAILURE);
  }
  chmod(at("tree").c_str(), 0755);
  EXPECT_TRUE(m_Log.hasReturnCode(kLogWarning, "helperUtil::fileFindAll", TOLMENGINE_ERROR_FILE_OPEN_FAILURE))
      << m_Log.dump();
}

TEST_F(DeleteDirectoryTest, AFailureInsideShowsThroughTheFolderThatStays) {
  writeFile(at("tree/sub/a"), "x");
  writeFile(at("tree/b"), "x");
  chmod(at("tree/sub").c_str(), 0555);
  {
    const WithoutFileOverride ordinary;
    EXPECT_RESULT(fileDeleteDirectory(at("tree")), TOLMENGINE_ERROR_UNEXPECTED);
  }
  chmod(at("tree/sub").c_str(), 0755);
  EXPECT_TRUE(exists(at("tree/sub/a")));
  EXPECT_FALSE(exists(at("tree/b")));
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "helperUtil::fileDelete", TOLMENGINE_ERROR_UNEXPECTED));
}

TEST_F(DeleteDirectoryTest, TheRecordsOfEveryEntryBearTheOperationsName) {
  writeFile(at("tree/sub/closed/a"), "x");
  chmod(at("tree/sub/closed").c_str(), 0555);
  {
    const WithoutFileOverride ordinary;
    EXPECT_RESULT(fileDeleteDirectory(at("tree")), TOLMENGINE_ERROR_UNEXPECTED);
  }
  chmod(at("tree/sub/closed").c_str(), 0755);
  ASSERT_EQ(m_Log.records().size(), 2U) << m_Log.dump();
  EXPECT_EQ(m_Log.records()[0].field("Function"), "fileDelete");
  EXPECT_EQ(m_Log.records()[1].field("Function"), "fileDeleteDirectory");
}

// Folders planted one in the other used up the descriptors, the stack or the length of a path.
TEST_F(DeleteDirectoryTest, ATreeOfAnyDepthGoes) {
  constexpr int kDepth = 3000;
  ASSERT_EQ(mkdir(at("tree").c_str(), 0700), 0);
  int here = open(at("tree").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  for (int i = 0; i < kDepth; ++i) {
    ASSERT_EQ(mkdirat(here, "folder", 0700), 0);
    close(openat(here, "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    const int inner = openat(here, "folder", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    close(here);
    here = inner;
  }
  close(here);
  EXPECT_RESULT(fileDeleteDirectory(at("tree")), 0);
  EXPECT_FALSE(exists(at("tree")));
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
}

TEST_F(DeleteDirectoryTest, AnEmptyFolderThatMayNotBeListedGoesToo) {
  makeFolders(at("tree/closed"));
  chmod(at("tree/closed").c_str(), 0);
  const WithoutFileOverride ordinary;
  EXPECT_RESULT(fileDeleteDirectory(at("tree")), 0);
}

TEST_F(DeleteDirectoryTest, ALeftOverGoesUnlessItIsLocked) {
  writeFile(at("tree/a"), "x");
  {
    const DescriptorHolder run(open(at("tree").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(flock(run.get(), LOCK_EX | LOCK_NB), 0);
    EXPECT_RESULT(fileDeleteLeftOver(at("tree")), TOLMENGINE_ERROR_UNEXPECTED);
    EXPECT_TRUE(exists(at("tree/a")));
    EXPECT_TRUE(m_Log.has(kLogInformation, "is locked by a run"));
  }
  EXPECT_RESULT(fileDeleteLeftOver(at("tree")), 0);
  EXPECT_FALSE(exists(at("tree")));
}

TEST_F(DeleteDirectoryTest, APlainFileIsNoFolder) {
  writeFile(at("file"), "x");
  EXPECT_RESULT(fileDeleteDirectory(at("file")), TOLMENGINE_ERROR_ACCESS_DENIED);
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "access", ENOTDIR)) << m_Log.dump();
  EXPECT_TRUE(exists(at("file")));
}

TEST_F(FilesTest, DeleteAllDeletesTheFilesAndReturnsTheLastFailure) {
  writeFile(at("a"), "x");
  writeFile(at("b"), "x");
  std::string folder = m_Folder.path();
  // "." and ".." are among the entries and can't be unlinked.
  EXPECT_RESULT(fileDeleteAll(folder), TOLMENGINE_ERROR_UNEXPECTED);
  EXPECT_EQ(folder, m_Folder.path() + "/");
  EXPECT_THAT(listFolder(m_Folder.path()), IsEmpty());
  std::string empty;
  EXPECT_RESULT(fileDeleteAll(empty), TOLMENGINE_ERROR_BAD_PARAMETER);
  EXPECT_TRUE(m_Log.has(kLogInformation, "tstrDirectory is an empty string")) << m_Log.dump();
  std::string missing = at("missing");
  EXPECT_RESULT(fileDeleteAll(missing), TOLMENGINE_ERROR_FILE_NOT_FOUND);
}

TEST_F(FilesTest, SizeIsInBytesAfterTranslationAndMinusOneForAMissingFile) {
  writeFile(at("a"), "12345");
  const ScopedEnv folder("TOLM_TEST_FOLDER", m_Folder.path().c_str());
  EXPECT_EQ(fileGetSize(at("a")), 5.0);
  EXPECT_EQ(fileGetSize("$TOLM_TEST_FOLDER/a"), 5.0);
  EXPECT_EQ(fileGetSize(at("missing")), -1.0);
}

}  // namespace
}  // namespace halvo::helperUtil

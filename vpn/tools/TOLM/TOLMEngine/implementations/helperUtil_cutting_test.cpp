#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/ForkedCase.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/Privileges.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo::helperUtil {
namespace {

using namespace test;
using ::testing::IsEmpty;

constexpr char kMark[] = "\xff";

struct Cut {
  const char* name;
  ResultCode (*function)(std::int32_t keepSize, const char* path);
};
constexpr Cut kCuts[] = {{"fileTruncateEnd", fileTruncateEnd}, {"fileTruncateFront", fileTruncateFront}};

std::string bytes(std::size_t size) {
  std::string content(size, '\0');
  for (std::size_t i = 0; i < size; ++i) {
    content[i] = static_cast<char>(i % 251);
  }
  return content;
}

class CuttingTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::string endCut(const std::string& content, std::int32_t keep) {
    writeFile("file", content);
    EXPECT_RESULT(fileTruncateEnd(keep, std::string("file")), 0);
    return readFile("file");
  }
  [[nodiscard]] std::string frontCut(const std::string& content, std::int32_t keep) {
    writeFile("file", content);
    EXPECT_RESULT(fileTruncateFront(keep, std::string("file")), 0);
    return readFile("file");
  }

  // The one record that a cut has left, as level, function and text; the next cut begins anew.
  [[nodiscard]] std::string onlyRecord() {
    const std::vector<LogRecord> records = m_Log.records();
    if (records.size() != 1) {
      return m_Log.dump();
    }
    m_Log.clear();
    return std::string(1, static_cast<char>(records.front().level)) + " " +
           records.front().field("Function") + ": " + records.front().text();
  }

  LogRecorder m_Log;
  TempFolder m_Folder;
  WorkingFolder m_Here{m_Folder.path()};
};

TEST_F(CuttingTest, KeepingNothing) {
  EXPECT_EQ(endCut("abcdef", 0), "");
  EXPECT_EQ(frontCut("abcdef", 0), kMark);
}

TEST_F(CuttingTest, AnEmptyFileKeptAtNothing) {
  EXPECT_EQ(endCut("", 0), "");
  EXPECT_EQ(frontCut("", 0), kMark);
}

TEST_F(CuttingTest, KeepingLessThanTheFile) {
  EXPECT_EQ(endCut("abcdef", 2), "ab");
  EXPECT_EQ(frontCut("abcdef", 2), std::string("ef") + kMark);
}

TEST_F(CuttingTest, KeepingTheWholeFile) {
  EXPECT_EQ(endCut("abcdef", 6), "abcdef");
  EXPECT_EQ(frontCut("abcdef", 6), std::string("abcdef") + kMark);
}

TEST_F(CuttingTest, KeepingMoreThanTheFile) {
  EXPECT_EQ(endCut("abcdef", 7), std::string("abcdef") + kMark);
  EXPECT_EQ(endCut("", 1), kMark);
  EXPECT_EQ(frontCut("abcdef", 7), "");
  EXPECT_EQ(frontCut("", 1), "");
}

TEST_F(CuttingTest, ANegativeSize) {
  for (const std::int32_t keep : {-1, -4096, INT_MIN}) {
    EXPECT_EQ(endCut("abcdef", keep), "") << keep;
    EXPECT_EQ(frontCut("abcdef", keep), kMark) << keep;
  }
}

TEST_F(CuttingTest, SizesAroundABlock) {
  for (const std::int32_t size : {1, 4095, 4096, 4097, 65535, 65536, 65537}) {
    const std::string content = bytes(static_cast<std::size_t>(size) + 100);
    EXPECT_EQ(endCut(content, size), content.substr(0, static_cast<std::size_t>(size)));
    EXPECT_EQ(frontCut(content, size), content.substr(100) + kMark);
  }
}

TEST_F(CuttingTest, ByteValuesOfEveryKindPass) {
  std::string content = "\xff\xff";
  content.push_back('\0');
  content += "\r\n\x1a\xff";
  EXPECT_EQ(endCut(content, 6), content.substr(0, 6));
  EXPECT_EQ(frontCut(content, 6), content.substr(1) + kMark);
}

TEST_F(CuttingTest, AFileOfMoreThanTwoGibibytesIsCutAtEitherEnd) {
  // Sparse, with marked ends.
  constexpr off_t kSize = (off_t{1} << 31) + 4096;
  for (const bool front : {false, true}) {
    const int file = open("big", O_CREAT | O_RDWR | O_TRUNC | O_CLOEXEC, 0600);
    ASSERT_GE(file, 0);
    ASSERT_EQ(ftruncate(file, kSize), 0);
    ASSERT_EQ(pwrite(file, "HEAD", 4, 0), 4);
    ASSERT_EQ(pwrite(file, "TAIL", 4, kSize - 4), 4);
    close(file);
    if (front) {
      EXPECT_RESULT(fileTruncateFront(8, "big"), 0);
      EXPECT_EQ(readFile("big"), std::string(4, '\0') + "TAIL" + kMark);
    } else {
      EXPECT_RESULT(fileTruncateEnd(8, "big"), 0);
      EXPECT_EQ(readFile("big"), "HEAD" + std::string(4, '\0'));
    }
  }
}

TEST_F(CuttingTest, TheLargestSizeThatFitsThirtyTwoBitsIsKept) {
  EXPECT_EQ(endCut("abc", INT_MAX), std::string("abc") + kMark);
  EXPECT_EQ(frontCut("abc", INT_MAX), "");
}

TEST_F(CuttingTest, TheScratchFileStaysBehindAndIsOverwrittenByTheNextCut) {
  writeFile("temp_out.txt", "something earlier, and longer than the cuts");
  static_cast<void>(endCut("abcdef", 2));
  EXPECT_EQ(readFile("temp_out.txt"), "ab");
  static_cast<void>(frontCut("abcdef", 1));
  EXPECT_EQ(readFile("temp_out.txt"), std::string("f") + kMark);
}

TEST_F(CuttingTest, ANullPathIsABadParameter) {
  for (const Cut& cut : kCuts) {
    EXPECT_RESULT(cut.function(1, nullptr), TOLMENGINE_ERROR_BAD_PARAMETER);
    EXPECT_EQ(onlyRecord(), std::string("E ") + cut.name + ": pszFilename is NULL");
  }
  EXPECT_FALSE(exists("temp_out.txt"));
}

TEST_F(CuttingTest, AMissingFileIsAnOpenFailure) {
  for (const Cut& cut : kCuts) {
    EXPECT_RESULT(cut.function(1, "missing"), TOLMENGINE_ERROR_FILE_OPEN_FAILURE);
    EXPECT_EQ(onlyRecord(), std::string("E ") + cut.name + ": Failed to open \"missing\"");
  }
  EXPECT_FALSE(exists("temp_out.txt"));
}

TEST_F(CuttingTest, AnUnwritableWorkingFolderFailsBeforeTheFileIsTouched) {
  writeFile("file", "abcdef");
  chmod(m_Folder.path().c_str(), 0555);
  for (const Cut& cut : kCuts) {
    const WithoutFileOverride ordinary;
    EXPECT_RESULT(cut.function(1, "file"), TOLMENGINE_ERROR_FILE_OPEN_FAILURE);
    EXPECT_EQ(onlyRecord(), std::string("E ") + cut.name + ": Failed to open \"temp_out.txt\"");
  }
  chmod(m_Folder.path().c_str(), 0755);
  EXPECT_EQ(readFile("file"), "abcdef");
}

TEST_F(CuttingTest, AFailureOnTheWayBackIsAWarningAndTheResultIsZero) {
  makeFolders("closed");
  writeFile("closed/file", "abcdef");
  chmod("closed", 0555);
  for (const Cut& cut : kCuts) {
    {
      const WithoutFileOverride ordinary;
      EXPECT_RESULT(cut.function(1, "closed/file"), 0);
    }
    EXPECT_TRUE(m_Log.hasReturnCode(kLogWarning, "helperUtil::fileCopy", TOLMENGINE_ERROR_UNEXPECTED))
        << m_Log.dump();
    m_Log.clear();
  }
  chmod("closed", 0755);
  EXPECT_EQ(readFile("closed/file"), "abcdef");
}

TEST_F(CuttingTest, AScratchFileThatCantBeReadBackLosesTheFileWithAWarning) {
  for (const Cut& cut : kCuts) {
    writeFile("file", "abab");
    writeFile("temp_out.txt", "");
    chmod("temp_out.txt", 0200);
    {
      const WithoutFileOverride ordinary;
      EXPECT_RESULT(cut.function(2, "file"), 0);
    }
    chmod("temp_out.txt", 0600);
    EXPECT_FALSE(exists("file"));
    EXPECT_EQ(readFile("temp_out.txt").substr(0, 2), "ab");
    EXPECT_TRUE(m_Log.hasReturnCode(kLogWarning, "helperUtil::fileCopy", TOLMENGINE_ERROR_FILE_OPEN_FAILURE));
    EXPECT_EQ(onlyRecord(), std::string("W ") + cut.name + ": " + std::strerror(EACCES));
  }
}

// A disk that fills up is not told: what the scratch file got to hold is what the file becomes.
TEST(CuttingOnAFullDiskTest, AScratchFileThatCantBeWrittenWholeBecomesTheFileInSilence) {
  const TempFolder folder;
  const WorkingFolder here(folder.path());
  constexpr rlim_t kRoom = 4096;
  const std::string content = bytes(10000);
  const std::string kept[] = {content.substr(0, kRoom), content.substr(4000, kRoom)};
  for (std::size_t i = 0; i < std::size(kCuts); ++i) {
    writeFile("file", content);
    const ForkedResult result = runForked([i] {
      std::signal(SIGXFSZ, SIG_IGN);
      const rlimit limit = {kRoom, kRoom};
      if (setrlimit(RLIMIT_FSIZE, &limit) != 0) {
        return 2;
      }
      return kCuts[i].function(6000, "file") == 0 ? 0 : 1;
    });
    EXPECT_EQ(result.exitStatus, 0) << kCuts[i].name;
    EXPECT_TRUE(result.records.empty()) << result.dump();
    EXPECT_EQ(readFile("file"), kept[i]) << kCuts[i].name;
  }
}

TEST_F(CuttingTest, AFolderInThePlaceOfTheFileEnds) {
  makeFolders("folder");
  EXPECT_RESULT(fileTruncateEnd(5, "folder"), 0);
  EXPECT_RESULT(fileTruncateFront(5, "folder"), 0);
  EXPECT_TRUE(exists("folder"));
}

}  // namespace
}  // namespace halvo::helperUtil

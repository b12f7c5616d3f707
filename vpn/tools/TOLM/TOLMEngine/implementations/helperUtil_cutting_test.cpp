#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "tests/support/Files.h"
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

  static std::string bytes(std::size_t size) {
    std::string content(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
      content[i] = static_cast<char>(i % 251);
    }
    return content;
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
  EXPECT_RESULT(fileTruncateEnd(1, nullptr), TOLMENGINE_ERROR_BAD_PARAMETER);
  EXPECT_RESULT(fileTruncateFront(1, nullptr), TOLMENGINE_ERROR_BAD_PARAMETER);
  ASSERT_EQ(m_Log.count("pszFilename is NULL"), 2U);
  EXPECT_EQ(m_Log.records().front().field("Function"), "fileTruncateEnd");
  EXPECT_EQ(m_Log.records().back().field("Function"), "fileTruncateFront");
  EXPECT_EQ(m_Log.records().front().level, kLogError);
}

TEST_F(CuttingTest, AMissingFileIsAnOpenFailure) {
  EXPECT_RESULT(fileTruncateEnd(1, "missing"), TOLMENGINE_ERROR_FILE_OPEN_FAILURE);
  EXPECT_RESULT(fileTruncateFront(1, "missing"), TOLMENGINE_ERROR_FILE_OPEN_FAILURE);
  EXPECT_EQ(m_Log.count("Failed to open \"missing\""), 2U);
  EXPECT_TRUE(m_Log.has(kLogError, "Failed to open \"missing\"")) << m_Log.dump();
  EXPECT_FALSE(exists("temp_out.txt"));
}

TEST_F(CuttingTest, AnUnwritableWorkingFolderFailsBeforeTheFileIsTouched) {
  writeFile("file", "abcdef");
  chmod(m_Folder.path().c_str(), 0555);
  {
    const WithoutFileOverride ordinary;
    EXPECT_RESULT(fileTruncateEnd(1, "file"), TOLMENGINE_ERROR_FILE_OPEN_FAILURE);
    EXPECT_RESULT(fileTruncateFront(1, "file"), TOLMENGINE_ERROR_FILE_OPEN_FAILURE);
  }
  chmod(m_Folder.path().c_str(), 0755);
  EXPECT_EQ(m_Log.count("Failed to open \"temp_out.txt\""), 2U);
  EXPECT_TRUE(m_Log.has(kLogError, "Failed to open \"temp_out.txt\"")) << m_Log.dump();
  EXPECT_EQ(readFile("file"), "abcdef");
}

TEST_F(CuttingTest, AFailureOnTheWayBackIsAWarningAndTheResultIsZero) {
  makeFolders("closed");
  writeFile("closed/file", "abcdef");
  chmod("closed", 0555);
  {
    const WithoutFileOverride ordinary;
    EXPECT_RESULT(fileTruncateEnd(1, "closed/file"), 0);
  }
  chmod("closed", 0755);
  EXPECT_TRUE(m_Log.hasReturnCode(kLogWarning, "helperUtil::fileCopy", TOLMENGINE_ERROR_UNEXPECTED))
      << m_Log.dump();
}

TEST_F(CuttingTest, AScratchFileThatCantBeReadBackLosesTheFileWithAWarning) {
  writeFile("file", "abcdef");
  writeFile("temp_out.txt", "");
  chmod("temp_out.txt", 0200);
  {
    const WithoutFileOverride ordinary;
    EXPECT_RESULT(fileTruncateEnd(2, "file"), 0);
  }
  chmod("temp_out.txt", 0600);
  EXPECT_FALSE(exists("file"));
  EXPECT_EQ(readFile("temp_out.txt"), "ab");
  EXPECT_TRUE(m_Log.hasReturnCode(kLogWarning, "helperUtil::fileCopy", TOLMENGINE_ERROR_FILE_OPEN_FAILURE));
  ASSERT_EQ(m_Log.records().size(), 1U) << m_Log.dump();
  EXPECT_EQ(m_Log.records().front().field("Function"), "fileTruncateEnd");
  EXPECT_THAT(m_Log.records().front().text(), ::testing::HasSubstr("Permission denied"));
}

TEST_F(CuttingTest, AFolderInThePlaceOfTheFileEnds) {
  makeFolders("folder");
  EXPECT_RESULT(fileTruncateEnd(5, "folder"), 0);
  EXPECT_RESULT(fileTruncateFront(5, "folder"), 0);
  EXPECT_TRUE(exists("folder"));
}

}  // namespace
}  // namespace halvo::helperUtil

// Cuts that keep as much as their size can say: gigabytes to write, so not for every run (ctest -L huge).

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {
namespace {

using test::LogRecorder;

constexpr std::int32_t kKeep = INT_MAX;

class CuttingHugeTest : public ::testing::Test {
 protected:
  // A file of holes, marked at both ends and on either side of what a cut keeps.
  static void makeFile(off_t size) {
    const int file = open("big", O_CREAT | O_RDWR | O_TRUNC | O_CLOEXEC, 0600);
    const bool made = file >= 0 && pwrite(file, "HEAD", 4, 0) == 4 &&
                      pwrite(file, "abcd", 4, kKeep - 2) == 4 && pwrite(file, "TAIL", 4, size - 4) == 4;
    close(file);
    if (!made) {
      throw std::runtime_error(std::string("can't make a sparse file: ") + std::strerror(errno));
    }
  }

  static std::string bytesAt(off_t offset, std::size_t count) {
    std::string bytes(count, '?');
    const int file = open("big", O_RDONLY | O_CLOEXEC);
    const ssize_t got = pread(file, bytes.data(), count, offset);
    close(file);
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return bytes;
  }

  LogRecorder m_Log;
  test::TempFolder m_Folder;
  test::WorkingFolder m_Here{m_Folder.path()};
};

TEST_F(CuttingHugeTest, AlmostTwoGibibytesAreKeptToTheByte) {
  constexpr off_t kSize = off_t{kKeep} + 4096;
  makeFile(kSize);
  EXPECT_RESULT(helperUtil::fileTruncateEnd(kKeep, "big"), 0);
  EXPECT_EQ(std::filesystem::file_size("big"), std::uintmax_t{kKeep});
  EXPECT_EQ(bytesAt(0, 4), "HEAD");
  EXPECT_EQ(bytesAt(kKeep - 2, 10), "ab");

  makeFile(kSize);
  EXPECT_RESULT(helperUtil::fileTruncateFront(kKeep, "big"), 0);
  EXPECT_EQ(std::filesystem::file_size("big"), std::uintmax_t{kKeep} + 1);
  EXPECT_EQ(bytesAt(0, 4), std::string(4, '\0'));
  EXPECT_EQ(bytesAt(kKeep - 4096 - 2, 4), "abcd");
  EXPECT_EQ(bytesAt(kKeep - 4, 10), "TAIL\xff");
  EXPECT_TRUE(m_Log.records().empty()) << m_Log.dump();
}

}  // namespace
}  // namespace halvo

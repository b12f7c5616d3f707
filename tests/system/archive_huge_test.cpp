// Files at the limit of the plain ZIP form: gigabytes to read, so not for every run (ctest -L huge).

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/BundleReader.h"
#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Zip/CZip.h"

namespace halvo {
namespace {

using test::BundleEntry;
using test::LogRecorder;
using test::Reader;

constexpr std::uint64_t kLimit = 0xffffffff;
constexpr std::uint64_t kMoreThanFourGibibytes = 0x100000000 + 5000000;
constexpr const char* kPassword = "pw";
constexpr ResultCode kBadZipFile = 0xffffff99;  // ZIP_BADZIPFILE, -103

class ArchiveHugeTest : public ::testing::Test {
 protected:
  std::string folder() const { return m_temp.file("work"); }
  std::string bundle() const { return m_temp.file("bundle.zip"); }
  std::string file(const std::string& name) const { return folder() + "/" + name; }

  // A file of holes with a mark at its end.
  void makeSparseFile(const std::string& path, std::uint64_t size) {
    test::makeFolders(folder());
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const bool made = descriptor >= 0 && pwrite(descriptor, "end", 3, static_cast<off_t>(size - 3)) == 3;
    close(descriptor);
    if (!made) {
      throw std::runtime_error("can't make a sparse file");
    }
  }

  test::TempFolder m_temp;
  CZip m_zip;
};

TEST_F(ArchiveHugeTest, EncryptedFileOfMoreThanFourGibibytesTakesTheLargeForm) {
  makeSparseFile(file("large"), kMoreThanFourGibibytes);
  test::writeFile(file("small"), "small");
  LogRecorder log;
  ASSERT_RESULT(m_zip.createZipFile({file("large"), file("small")}, bundle(), {"large", "small"}, kPassword),
                0);
  EXPECT_TRUE(log.records().empty()) << log.dump();

  const std::vector<BundleEntry> entries = test::readBundleEntries(bundle());
  ASSERT_EQ(entries.size(), 2U);
  // The local header has its ZIP64 field, which only the flag of the opening call brings.
  EXPECT_EQ(entries[0].local.versionNeeded, 45);
  EXPECT_EQ(entries[0].local.extra.size(), 20U);
  EXPECT_EQ(entries[1].local.versionNeeded, 20);
  EXPECT_EQ(entries[1].local.extra, "");
  for (const Reader reader : test::allReaders()) {
    const test::RunResult result = test::checkBundle(reader, bundle(), kPassword);
    EXPECT_EQ(result.exitStatus, 0) << test::readerName(reader) << ": " << result.out << result.err;
  }
}

// Meant: without a password the large form isn't asked for, and minizip can't finish such an entry.
TEST_F(ArchiveHugeTest, PlainFileOfMoreThanFourGibibytesFailsTheBundle) {
  makeSparseFile(file("large"), kMoreThanFourGibibytes);
  LogRecorder log;
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), kBadZipFile);
  EXPECT_TRUE(log.hasReturnCode(kLogError, "zipCloseFileInZip", kBadZipFile)) << log.dump();
  EXPECT_TRUE(log.hasReturnCode(kLogError, "CZip::createZipFile", kBadZipFile)) << log.dump();
  const std::vector<BundleEntry> entries = test::readBundleEntries(bundle());
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].local.versionNeeded, 20);
  EXPECT_EQ(entries[0].local.extra, "");
}

TEST_F(ArchiveHugeTest, LimitOfTheLargeFormIsExact) {
  for (const std::uint64_t size : {kLimit - 1, kLimit}) {
    makeSparseFile(file("large"), size);
    bool large = size < kLimit;
    static_cast<void>(m_zip.getCrc(file("large"), large));
    EXPECT_EQ(large, size >= kLimit) << size;
  }
  // The largest file of the plain form, and the first that goes beyond it.
  makeSparseFile(file("large"), kLimit - 1);
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  EXPECT_EQ(test::readBundleEntries(bundle())[0].local.size, kLimit - 1);
  const test::RunResult result = test::checkBundle(Reader::Unzip, bundle(), "");
  EXPECT_EQ(result.exitStatus, 0) << result.out << result.err;
  makeSparseFile(file("large"), kLimit);
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), kBadZipFile);
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), kPassword, true), 0);
  EXPECT_EQ(test::readBundleEntries(bundle())[0].local.extra.size(), 20U);
}

}  // namespace
}  // namespace halvo
